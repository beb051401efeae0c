# shellcheck shell=bash disable=SC2012,SC2034,SC2317
# Sourced by demo/story.sh: the sample office's database on each system.
#   start_database sqlite|postgresql|mariadb   makes an empty database with the sample schema; a private server
#                                              of this machine's packages for the latter two, on loopback only
#   sql QUERY   or   sql <FILE                 runs it, rows as bare values
#   sql_table QUERY                            the same as a table with headings
#   stop_database                              ends the private server; its data stays in demo/run
# start_database sets connect_string. Needs free_port. demo/run is the current folder.

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
    local programs
    programs=$(ls -d /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
    make_data_folder postgres
    echo $database_password >"$data/../password"
    as_account "$programs/initdb" -D "$data" -U $database_user -A scram-sha-256 --pwfile "$data/../password" \
        -E UTF8 --locale=C.UTF-8 >database.log 2>&1 || no_database
    database_stop_signal=INT
    launch_database "$programs/postgres" -D "$data" -p "$port" -c listen_addresses=127.0.0.1 \
        -c unix_socket_directories=
    export PGPASSWORD=$database_password
    client=(psql -h 127.0.0.1 -p "$port" -U "$database_user" -X -q -v ON_ERROR_STOP=1)
    wait_for_database "${client[@]}" -d postgres -c 'create database oa'
    sql() { "${client[@]}" -d oa -A -t ${1:+-c "$1"}; }
    sql_table() { "${client[@]}" -d oa -P footer=off -c "$1"; }
    connect_string="Provider=PostgreSQL;Data Source=127.0.0.1;Port=$port;Initial Catalog=oa"
    connect_string+=";User ID=$database_user;Password=$database_password"
}

start_mariadb() {
    make_data_folder mysql
    cat >"$data/../begin.sql" <<EOT
create database if not exists oa character set utf8mb4;
create user if not exists '$database_user'@'127.0.0.1' identified by '$database_password';
grant all on oa.* to '$database_user'@'127.0.0.1';
EOT
    as_account mariadb-install-db --no-defaults --datadir="$data" --tmpdir="$scratch" --skip-test-db \
        --auth-root-authentication-method=normal >database.log 2>&1 || no_database
    database_stop_signal=TERM
    launch_database /usr/sbin/mariadbd --no-defaults --datadir="$data" --tmpdir="$scratch" --port="$port" \
        --bind-address=127.0.0.1 --skip-name-resolve --socket=socket --pid-file=pid --init-file="$data/../begin.sql"
    export MYSQL_PWD=$database_password
    client=(mariadb --no-defaults --protocol=tcp -h 127.0.0.1 -P "$port" -u "$database_user"
        --default-character-set=utf8mb4)
    wait_for_database "${client[@]}" oa -e 'select 1'
    sql() { "${client[@]}" oa -N -B ${1:+-e "$1"}; }
    sql_table() { "${client[@]}" oa --table -e "$1"; }
    connect_string="Provider=MariaDB;Data Source=127.0.0.1;Port=$port;Initial Catalog=oa"
    connect_string+=";User ID=$database_user;Password=$database_password"
}

# Sets data, scratch, port and as_account, the command that runs another under the server's account. Database
# servers refuse to run as root: they get the account of their package. Their folder is elsewhere when that account
# cannot come to this one, or when its name is not plain. scratch is for temporary files: a MariaDB that starts removes those of others in the
# common folder.
make_data_folder() {
    local parent=$PWD/database
    as_account=(env)
    if [ "$(id -u)" -eq 0 ]; then
        as_account=(setpriv --reuid "$1" --regid "$1" --init-groups)
    fi
    # The script that makes MariaDB's first tables fails on blanks in a path.
    if ! as_account test -x "$PWD" || [[ $PWD = *[!A-Za-z0-9/._-]* ]]; then
        parent=$(mktemp -d)
        ln -s "$parent" database
    fi
    data=$parent/data
    scratch=$parent/scratch
    mkdir -p "$data" "$scratch"
    if [ "$(id -u)" -eq 0 ]; then
        chmod 755 "$parent"
        chown "$1" "$data" "$scratch"
    fi
    port=$(free_port)
}

as_account() { "${as_account[@]}" "$@"; }

launch_database() {
    # Not through a function: the process to be stopped is the server itself.
    "${as_account[@]}" "$@" >>database.log 2>&1 &
    database_server=$!
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
