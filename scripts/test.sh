#!/usr/bin/env bash
# Installs the dependencies, builds, and runs the whole test suite.
#   scripts/test.sh             optimised build in build/
#   scripts/test.sh --sanitize  AddressSanitizer + UndefinedBehaviorSanitizer in build-asan/
#   scripts/test.sh --no-deps   skip the apt-get step
set -euo pipefail
cd "$(dirname "$0")/.."
dir=build
flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
deps=1
for arg in "$@"; do
  case "$arg" in
    --sanitize) dir=build-asan; flags=(-DCMAKE_BUILD_TYPE=Debug -DZENVARY_SANITIZE=ON) ;;
    --no-deps) deps=0 ;;
    *) echo "usage: $0 [--sanitize] [--no-deps]" >&2; exit 2 ;;
  esac
done
if [ "$deps" = 1 ]; then ./scripts/install-deps.sh; fi
cmake -S . -B "$dir" -G Ninja "${flags[@]}"
cmake --build "$dir" -j "$(nproc)"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
# The installed package as a user meets it: pkg-config, find_package, the man
# page and pip. Not in the sanitizer build, whose libraries would need the
# sanitizer runtime in every program that links them.
if [ "$dir" = build ]; then ./tests/install/check_install.sh "$dir"; fi
