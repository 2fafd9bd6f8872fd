#!/usr/bin/env bash
# Builds the benchmarks in release mode and prints their figures.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
# A folder of its own, so that neither the demo's nor the tests' builds change with it.
"$root/scripts/build.sh" "$root/build-bench" -DCMAKE_BUILD_TYPE=Release -DQLDB_BUILD_TESTS=OFF -DQLDB_BUILD_BENCH=ON \
    -DQLDB_SANITIZE=OFF
for bench in "$root"/build-bench/bench/bench_*; do
    [ -x "$bench" ] || continue
    echo "== $(basename "$bench")"
    "$bench" --benchmark_min_time=1 "$@"
done
