#!/bin/sh
# Builds the benchmarks in Release mode in build-bench and runs them; extra
# arguments go to the benchmark program (e.g. --benchmark_filter=base64).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-bench"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZENVARY_BENCH=ON -DZENVARY_TESTS=OFF >/dev/null
ninja -C "$build" -j2 zenvary_bench
# The bzip2 rows compare with the command-line tool; without it they are skipped.
command -v bzip2 >/dev/null || echo "run.sh: no bzip2 tool on PATH (scripts/install-deps.sh installs it)" >&2
exec "$build/bench/zenvary_bench" "$@"
