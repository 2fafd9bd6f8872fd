#!/usr/bin/env bash
# Starts the PostgreSQL and MariaDB servers that the live tests use, on loopback and unprivileged
# ports, with their data under one directory. Safe to run again: running servers are reused.
#
#   eval "$(scripts/services.sh)"      start (or reuse) both, export QLDB_TEST_PG / QLDB_TEST_MARIADB
#   scripts/services.sh stop           stop both (the data stays for the next start)
#   scripts/services.sh status         say which are running
#
# Settings (environment):
#   QLDB_SERVICES_DIR   data, sockets and logs          (default /tmp/qldb-services)
#   QLDB_PG_PORT        PostgreSQL port                 (default 55432)
#   QLDB_MARIADB_PORT   MariaDB port                    (default 53306)
#
# Both servers get a database "qldb_test" and a user "qldb" with password "qldb". The user may do
# anything on these throwaway servers (create databases, end other sessions), which the live tests
# need to provoke real faults. Only the export lines go to standard output; progress goes to
# standard error.
set -euo pipefail

DIR="${QLDB_SERVICES_DIR:-/tmp/qldb-services}"
PG_PORT="${QLDB_PG_PORT:-55432}"
MARIADB_PORT="${QLDB_MARIADB_PORT:-53306}"
TEST_DB=qldb_test
TEST_USER=qldb
TEST_PASSWORD=qldb

PG_DATA="$DIR/pg/data"
PG_RUN="$DIR/pg/run"
PG_LOG="$DIR/pg/server.log"
MA_DATA="$DIR/mariadb/data"
MA_RUN="$DIR/mariadb/run"
MA_SOCK="$MA_RUN/mariadb.sock"
MA_LOG="$DIR/mariadb/server.log"

log() { echo "services: $*" >&2; }
die() {
    log "$*"
    exit 1
}

pg_bin() {
    local d
    d=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
    [[ -n "$d" && -x "$d/postgres" ]] || die "no PostgreSQL server binaries under /usr/lib/postgresql"
    echo "$d"
}

# PostgreSQL refuses to run as root, and mariadbd should not either: when we are root the servers
# run as their system users, otherwise as ourselves.
IS_ROOT=0
[[ $(id -u) -eq 0 ]] && IS_ROOT=1

as_pg() {
    if ((IS_ROOT)); then
        runuser -u postgres -- "$@"
    else
        "$@"
    fi
}

wait_until() { # seconds, description, command...
    local seconds=$1 what=$2
    shift 2
    local i
    for ((i = 0; i < seconds * 4; i++)); do
        if "$@" >/dev/null 2>&1; then
            return 0
        fi
        sleep 0.25
    done
    die "$what did not become ready within ${seconds}s"
}

# ---- PostgreSQL -----------------------------------------------------------------------------

pg_ready() { "$(pg_bin)/pg_isready" -q -h 127.0.0.1 -p "$PG_PORT"; }

pg_start() {
    local bin
    bin=$(pg_bin)
    mkdir -p "$DIR/pg" "$PG_RUN"
    ((IS_ROOT)) && chown postgres: "$DIR/pg" "$PG_RUN"
    if [[ ! -s "$PG_DATA/PG_VERSION" ]]; then
        log "initialising PostgreSQL in $PG_DATA"
        rm -rf "$PG_DATA"
        as_pg mkdir -p "$PG_DATA"
        as_pg "$bin/initdb" -D "$PG_DATA" -U postgres --auth-local=trust --auth-host=scram-sha-256 \
            -E UTF8 --locale=C.UTF-8 >"$DIR/pg/initdb.log" 2>&1 ||
            die "initdb failed, see $DIR/pg/initdb.log"
        cat <<EOF | as_pg tee -a "$PG_DATA/postgresql.conf" >/dev/null
listen_addresses = '127.0.0.1'
port = $PG_PORT
unix_socket_directories = '$PG_RUN'
fsync = off
synchronous_commit = off
full_page_writes = off
max_connections = 100
deadlock_timeout = 200ms
EOF
    fi
    if pg_ready; then
        log "PostgreSQL already running on port $PG_PORT"
    else
        log "starting PostgreSQL on port $PG_PORT"
        as_pg "$bin/pg_ctl" -D "$PG_DATA" -l "$PG_LOG" -w -t 60 start >/dev/null 9>&- ||
            die "PostgreSQL did not start, see $PG_LOG"
        wait_until 60 PostgreSQL pg_ready
    fi
    local psql=("$bin/psql" -h "$PG_RUN" -p "$PG_PORT" -U postgres -d postgres -v ON_ERROR_STOP=1 -qtA)
    if [[ $(as_pg "${psql[@]}" -c "SELECT 1 FROM pg_roles WHERE rolname = '$TEST_USER'") != 1 ]]; then
        as_pg "${psql[@]}" -c "CREATE ROLE $TEST_USER LOGIN SUPERUSER PASSWORD '$TEST_PASSWORD'" >/dev/null
    fi
    if [[ $(as_pg "${psql[@]}" -c "SELECT 1 FROM pg_database WHERE datname = '$TEST_DB'") != 1 ]]; then
        as_pg "${psql[@]}" -c "CREATE DATABASE $TEST_DB OWNER $TEST_USER" >/dev/null
    fi
}

pg_stop() {
    if [[ -s "$PG_DATA/PG_VERSION" ]] && pg_ready; then
        log "stopping PostgreSQL"
        as_pg "$(pg_bin)/pg_ctl" -D "$PG_DATA" -w -m fast stop >/dev/null
    fi
}

# ---- MariaDB --------------------------------------------------------------------------------

# mariadb-install-db gives root and the server's own user socket logins: we are one of them.
MA_ADMIN=root
((IS_ROOT)) || MA_ADMIN=$(id -un)
ma_client() { mariadb --no-defaults --protocol=socket -S "$MA_SOCK" -u "$MA_ADMIN" "$@"; }
ma_ready() { mariadb-admin --no-defaults --protocol=socket -S "$MA_SOCK" -u "$MA_ADMIN" ping; }

ma_start() {
    local user
    user=$(id -un)
    ((IS_ROOT)) && user=mysql
    mkdir -p "$DIR/mariadb" "$MA_RUN"
    ((IS_ROOT)) && chown mysql: "$DIR/mariadb" "$MA_RUN"
    if [[ ! -d "$MA_DATA/mysql" ]]; then
        log "initialising MariaDB in $MA_DATA"
        rm -rf "$MA_DATA"
        mariadb-install-db --no-defaults --datadir="$MA_DATA" --user="$user" \
            --auth-root-authentication-method=socket --skip-test-db >"$DIR/mariadb/install.log" 2>&1 ||
            die "mariadb-install-db failed, see $DIR/mariadb/install.log"
    fi
    if ma_ready >/dev/null 2>&1; then
        log "MariaDB already running on port $MARIADB_PORT"
    else
        log "starting MariaDB on port $MARIADB_PORT"
        local args=(--no-defaults --datadir="$MA_DATA" --port="$MARIADB_PORT" --bind-address=127.0.0.1
            --socket="$MA_SOCK" --pid-file="$MA_RUN/mariadb.pid" --log-error="$MA_LOG"
            --skip-name-resolve --innodb-flush-log-at-trx-commit=0 --innodb-lock-wait-timeout=10
            --character-set-server=utf8mb4 --collation-server=utf8mb4_general_ci)
        ((IS_ROOT)) && args+=(--user=mysql)
        setsid nohup mariadbd "${args[@]}" >/dev/null 2>&1 </dev/null 9>&- &
        wait_until 60 MariaDB ma_ready
    fi
    ma_client <<EOF
CREATE DATABASE IF NOT EXISTS $TEST_DB;
CREATE USER IF NOT EXISTS '$TEST_USER'@'127.0.0.1' IDENTIFIED BY '$TEST_PASSWORD';
CREATE USER IF NOT EXISTS '$TEST_USER'@'localhost' IDENTIFIED BY '$TEST_PASSWORD';
GRANT ALL PRIVILEGES ON *.* TO '$TEST_USER'@'127.0.0.1' WITH GRANT OPTION;
GRANT ALL PRIVILEGES ON *.* TO '$TEST_USER'@'localhost' WITH GRANT OPTION;
EOF
}

ma_stop() {
    if ma_ready >/dev/null 2>&1; then
        log "stopping MariaDB"
        mariadb-admin --no-defaults --protocol=socket -S "$MA_SOCK" -u "$MA_ADMIN" shutdown
    fi
}

# ---- main -----------------------------------------------------------------------------------

mkdir -p "$DIR"
chmod 755 "$DIR"
# Several developers may start the services at the same moment: one does the work, the others
# wait for it and then reuse what it started. The servers must not inherit the lock's descriptor
# (9>&- where they start), or the lock would live as long as they do.
exec 9>"$DIR/.lock"
flock -w 180 9 || die "could not take $DIR/.lock"

case "${1:-start}" in
start)
    pg_start
    ma_start
    echo "export QLDB_TEST_PG='DRIVER={PostgreSQL Unicode};SERVER=127.0.0.1;PORT=$PG_PORT;DATABASE=$TEST_DB;UID=$TEST_USER;PWD=$TEST_PASSWORD;'"
    echo "export QLDB_TEST_MARIADB='DRIVER={MariaDB Unicode};SERVER=127.0.0.1;PORT=$MARIADB_PORT;DATABASE=$TEST_DB;UID=$TEST_USER;PWD=$TEST_PASSWORD;'"
    ;;
stop)
    ma_stop
    pg_stop
    ;;
status)
    if pg_ready >/dev/null 2>&1; then log "PostgreSQL running on port $PG_PORT"; else log "PostgreSQL stopped"; fi
    if ma_ready >/dev/null 2>&1; then log "MariaDB running on port $MARIADB_PORT"; else log "MariaDB stopped"; fi
    ;;
*)
    die "usage: $0 [start|stop|status]"
    ;;
esac
