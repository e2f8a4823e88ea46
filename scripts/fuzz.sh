#!/bin/sh
# Builds the libFuzzer targets with clang in build-fuzz and runs each one on
# its committed corpus for a bounded time.
#   scripts/fuzz.sh [seconds-per-target] [target...]
# The default is 30 seconds and every fuzz/fuzz_*.cpp. New inputs go to a
# scratch corpus under build-fuzz, so the committed seeds stay as they are.
# Exits non-zero when a target finds a crash, a leak, a timeout or a failed
# check; the reproducer is left in build-fuzz/findings/.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
[ $# -gt 0 ] && shift
build="$root/build-fuzz"

if [ $# -gt 0 ]; then
  targets="$*"
else
  targets=$(cd "$root/fuzz" && ls fuzz_*.cpp | sed 's/\.cpp$//')
fi

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZENVARY_FUZZ=ON -DZENVARY_TESTS=OFF >/dev/null
# shellcheck disable=SC2086
ninja -C "$build" -j2 $targets

mkdir -p "$build/findings"
status=0
for t in $targets; do
  seeds="$root/fuzz/corpus/$t"
  scratch="$build/corpus/$t"
  mkdir -p "$scratch"
  echo "== $t: $seconds s"
  if ! "$build/fuzz/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$build/findings/$t-" "$scratch" "$seeds"; then
    echo "!! $t reported a finding (see $build/findings/)"
    status=1
  fi
done
exit $status
