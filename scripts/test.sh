#!/usr/bin/env bash
# Installs what is missing, builds qldb with its tests, starts PostgreSQL and MariaDB on loopback,
# and runs every test: once in a normal build, once under AddressSanitizer and
# UndefinedBehaviorSanitizer.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"

eval "$("$root/scripts/services.sh")"
trap '"$root/scripts/services.sh" stop >/dev/null 2>&1 || true' EXIT

"$root/scripts/build.sh" "$root/build"
(cd "$root/build" && ctest --output-on-failure -j2)

if [ "${QLDB_SKIP_SANITIZERS:-0}" != "1" ]; then
    echo "== The same tests under AddressSanitizer and UndefinedBehaviorSanitizer"
    "$root/scripts/build.sh" "$root/build-sanitize" -DQLDB_SANITIZE=ON -DQLDB_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
    (cd "$root/build-sanitize" &&
        ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j2)
fi
