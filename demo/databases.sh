# shellcheck shell=bash disable=SC2012,SC2034,SC2317
# Sourced by demo/story.sh: the sample office's database on each system.
#   start_database sqlite|postgresql|mariadb   makes an empty database with the sample schema; a private server
#                                              of this machine's packages for the latter two, on loopback only
#   sql QUERY   or   sql <FILE                 runs it, rows as bare values
#   sql_table QUERY                            the same as a table with headings
#   stop_database                              ends the private server; its data stays in demo/run
# start_database sets connect_string. Needs free_port. demo/run is the current folder.

databases_folder=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
database_user=sms
database_password=demo
database_server=

start_database() {
    case $1 in
    sqlite) start_sqlite ;;
    postgresql) start_postgresql ;;
    mariadb) start_mariadb ;;
    esac
    sql <"../schema/$1.sql" >/dev/null
}

stop_database() {
    [ -n "$database_server" ] || return 0
    # A fast shutdown for PostgreSQL, which would wait for its clients on SIGTERM.
    kill "-$database_stop_signal" "$database_server" 2>/dev/null || true
    wait "$database_server" 2>/dev/null || true
    database_server=
    [ ! -L database ] || rm -rf "$(readlink database)" database
}

start_sqlite() {
    sql() { sqlite3 -cmd '.timeout 5000' oa.db "$@"; }
    sql_table() { sql -header -column "$1"; }
    # Our own file may be in write-ahead mode; an office's file keeps the mode it has.
    sql 'pragma journal_mode=wal' >/dev/null
    connect_string="Provider=SQLite;Data Source=\"$PWD/oa.db\""
}

start_postgresql() {
    launch_database postgresql INT
    export PGPASSWORD=$database_password
    client=(psql -h 127.0.0.1 -p "$port" -U "$database_user" -X -q -v ON_ERROR_STOP=1)
    wait_for_database "${client[@]}" -d postgres -c 'create database oa'
    sql() { "${client[@]}" -d oa -A -t ${1:+-c "$1"}; }
    sql_table() { "${client[@]}" -d oa -P footer=off -c "$1"; }
    connect_string="Provider=PostgreSQL;Data Source=127.0.0.1;Port=$port;Initial Catalog=oa"
    connect_string+=";User ID=$database_user;Password=$database_password"
}

start_mariadb() {
    launch_database mariadb TERM
    export MYSQL_PWD=$database_password
    client=(mariadb --no-defaults --protocol=tcp -h 127.0.0.1 -P "$port" -u "$database_user"
        --default-character-set=utf8mb4)
    wait_for_database "${client[@]}" -e 'create database oa character set utf8mb4'
    sql() { "${client[@]}" oa -N -B ${1:+-e "$1"}; }
    sql_table() { "${client[@]}" oa --table -e "$1"; }
    connect_string="Provider=MariaDB;Data Source=127.0.0.1;Port=$port;Initial Catalog=oa"
    connect_string+=";User ID=$database_user;Password=$database_password"
}

# launch_database SYSTEM STOP-SIGNAL: sets port. The server's folder is elsewhere when other accounts cannot come to
# this one, or when its name is not plain: the script that makes MariaDB's first tables fails on blanks in a path.
launch_database() {
    local folder=$PWD/database
    if ! setpriv --reuid nobody --clear-groups test -x "$PWD" 2>/dev/null && [ "$(id -u)" -eq 0 ] ||
        [[ $PWD = *[!A-Za-z0-9/._-]* ]]; then
        folder=$(mktemp -d)
        ln -s "$folder" database
    fi
    port=$(free_port)
    DATABASE_USER=$database_user DATABASE_PASSWORD=$database_password \
        "$databases_folder/database-server.sh" "$1" "$folder" "$port" >database.log 2>&1 &
    database_server=$!
    database_stop_signal=$2
}

no_database() {
    tail -n 3 database.log
    echo "The database server did not start; all it said is in demo/run/database.log."
    exit 1
}

wait_for_database() {
    local tries
    for tries in $(seq 240); do
        "$@" >/dev/null 2>&1 && return
        if ! kill -0 "$database_server" 2>/dev/null || [ "$tries" -eq 240 ]; then
            no_database
        fi
        sleep 0.25
    done
}
