#!/usr/bin/env bash
# Makes Example.xml (and the workbook Example.xlsx) in this folder: builds qldb when needed, creates
# a new database on the SQL Server given, runs example-database.sql on it batch by batch, exports
# it with qldb export, and drops the database again.
#
#   examples/make-example.sh "DRIVER={FreeTDS};SERVER=host;PORT=1433;UID=sa;PWD=secret;TDS_Version=7.4"
#
# The server may also come from QLDB_TEST_MSSQL, the variable of the live SQL Server tests. QLDB
# names a qldb program to use instead of building one.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)

fail() {
    echo "make-example: $*" >&2
    exit 1
}

conn=${1:-${QLDB_TEST_MSSQL:-}}
[[ -n $conn ]] || fail "no SQL Server named: give an ODBC connection string such as" \
    "\"DRIVER={FreeTDS};SERVER=host;PORT=1433;UID=sa;PWD=secret;TDS_Version=7.4\", or set QLDB_TEST_MSSQL"

trim() {
    local s=$1
    s=${s#"${s%%[![:space:]]*}"}
    printf '%s' "${s%"${s##*[![:space:]]}"}"
}

# The value of the first of the keys that the connection string holds (keys compared in upper case,
# braces around a value dropped).
setting() {
    local -a pairs
    local wanted pair key
    IFS=';' read -ra pairs <<<"$conn"
    for wanted in "$@"; do
        for pair in "${pairs[@]}"; do
            [[ $pair == *=* ]] || continue
            key=$(trim "${pair%%=*}")
            if [[ ${key^^} == "${wanted^^}" ]]; then
                local value
                value=$(trim "${pair#*=}")
                value=${value#\{}
                printf '%s' "${value%\}}"
                return
            fi
        done
    done
}

host=$(setting SERVER ADDRESS ADDR "Data Source")
host=${host#tcp:}
port=$(setting PORT)
[[ -n $host ]] || fail "the connection string names no SERVER"
server=$host
[[ -n $port && $host != *,* ]] && server="$host,$port"
user=$(setting UID "User ID" User)
password=$(setting PWD Password)
driver=$(setting DRIVER)
tds=$(setting TDS_Version)
# The library reaches SQL Server through the ODBC driver these name (FreeTDS and 7.4 by default).
[[ -n $driver ]] && export QLDB_ODBC_DRIVER_SQLSERVER=${QLDB_ODBC_DRIVER_SQLSERVER:-$driver}
[[ -n $tds ]] && export QLDB_TDS_VERSION_SQLSERVER=${QLDB_TDS_VERSION_SQLSERVER:-$tds}

options=(--provider SQLServer --server "$server")
if [[ -n $user ]]; then
    options+=(--user "$user" --password "$password")
else
    options+=(--integrated)
fi

qldb=${QLDB:-}
if [[ -z $qldb ]]; then
    "$root/scripts/build.sh" "$root/build-demo" -DQLDB_BUILD_TESTS=OFF -DQLDB_BUILD_BENCH=OFF \
        -DQLDB_SANITIZE=OFF >&2
    qldb="$root/build-demo/qldb"
fi

work=$(mktemp -d)
database=""
cleanup() {
    if [[ -n $database ]]; then
        "$qldb" sql "${options[@]}" --database master \
            "ALTER DATABASE [$database] SET SINGLE_USER WITH ROLLBACK IMMEDIATE" \
            "DROP DATABASE [$database]" >/dev/null 2>&1 ||
            echo "make-example: the database $database could not be dropped" >&2
    fi
    rm -rf "$work"
}
trap cleanup EXIT

if ! "$qldb" sql "${options[@]}" --database master "SELECT 1" >/dev/null 2>"$work/reach"; then
    fail "cannot reach the SQL Server at $server: $(head -n 1 "$work/reach")"
fi
name="qldb_example_$$_$RANDOM"
"$qldb" sql "${options[@]}" --database master "CREATE DATABASE [$name]" >/dev/null ||
    fail "cannot create the database $name"
database=$name

# The batches of the script: lines holding only GO end one; comment lines are left out.
batches=()
batch=""
while IFS= read -r line || [[ -n $line ]]; do
    line=${line%$'\r'}
    if [[ $line =~ ^[[:space:]]*[Gg][Oo][[:space:]]*$ ]]; then
        [[ $batch =~ [^[:space:]] ]] && batches+=("$batch")
        batch=""
    elif [[ ! $line =~ ^[[:space:]]*-- && ( -n $batch || $line =~ [^[:space:]] ) ]]; then
        # Blank lines before a batch's first statement are left out too, so that the text of a
        # view or procedure begins with its CREATE.
        batch+="$line"$'\n'
    fi
done <"$here/example-database.sql"
[[ $batch =~ [^[:space:]] ]] && batches+=("$batch")

"$qldb" sql "${options[@]}" --database "$database" "${batches[@]}" >/dev/null ||
    fail "example-database.sql failed on $server (the statements' errors are above)"

# The same options as the live test tests/live/mssql_example_live_test.cpp: keep them in step.
"$qldb" export "${options[@]}" --database "$database" --output "$here/Example.xml" --version 1.1.0 \
    --database-name "qldb Example" --company "Example Trading" --product "qldb example" \
    --tables 'SYS_*' --tables 'A01_*' --views 'A01_*' --functions 'A01_*' --procedures 'A01_*' --triggers \
    --data 'A01_UOM=SELECT * FROM A01_UOM' --prefix A01_ --marker '[#FIRM#]' --workbook "$here/Example.xlsx"
