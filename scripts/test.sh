#!/usr/bin/env bash
# Installs what is missing, builds qldb with its tests, starts PostgreSQL and MariaDB on loopback,
# and runs every test: once in a normal build, once under AddressSanitizer and
# UndefinedBehaviorSanitizer.
#
# Each build is configured with its tests on, explicitly, whatever an earlier configuration left in
# its cache; and ctest fails when it finds no test, rather than passing with nothing run.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"

eval "$("$root/scripts/services.sh")"
trap '"$root/scripts/services.sh" stop >/dev/null 2>&1 || true' EXIT

"$root/scripts/build.sh" "$root/build" -DQLDB_BUILD_TESTS=ON -DQLDB_SANITIZE=OFF
(cd "$root/build" && ctest --output-on-failure --no-tests=error -j2)

if [ "${QLDB_SKIP_SANITIZERS:-0}" != "1" ]; then
    echo "== The same tests under AddressSanitizer and UndefinedBehaviorSanitizer"
    "$root/scripts/build.sh" "$root/build-sanitize" -DQLDB_BUILD_TESTS=ON -DQLDB_SANITIZE=ON -DQLDB_BUILD_BENCH=OFF \
        -DCMAKE_BUILD_TYPE=Debug
    (cd "$root/build-sanitize" &&
        ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure --no-tests=error -j2)
fi
