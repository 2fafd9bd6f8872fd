#!/usr/bin/env bash
# Installs what is missing, builds qldb, and runs it: the connection string it composes for a
# SQL Server database, and a few statements on its own SQLite demo database (created on first use
# in the user's data folder).
#
# It builds in a folder of its own, build-demo/, without tests or benchmarks: the test command's
# build/ keeps its tests whatever order the two commands run in.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" "$root/build-demo" -DQLDB_BUILD_TESTS=OFF -DQLDB_BUILD_BENCH=OFF -DQLDB_SANITIZE=OFF
qldb="$root/build-demo/qldb"

echo "== Connection string for SQL Server, OLE DB provider generation 4:"
"$qldb" connstr --provider SQLServer --native-client 4 --server ACCOUNTS01 --database A01_DATA --user sa --password secret
echo
echo "== Statements on the demo database:"
"$qldb" sql \
    "CREATE TABLE IF NOT EXISTS DEMO_ITEMS (ID INTEGER PRIMARY KEY, NAME VARCHAR(40), PRICE FLOAT)" \
    "DELETE FROM DEMO_ITEMS" \
    "INSERT INTO DEMO_ITEMS (ID, NAME, PRICE) VALUES (1, 'Bolt M6', 0.12), (2, 'Nut M6', 0.05), (3, 'Washer', NULL)" \
    "SELECT ID, NAME, PRICE FROM DEMO_ITEMS ORDER BY ID"
