#!/usr/bin/env bash
# Configures and builds qldb into the given build directory (default: build).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${1:-"$root/build"}
shift || true
cmake -S "$root" -B "$build_dir" -G Ninja "$@" >/dev/null
cmake --build "$build_dir" -j"$(nproc)"
