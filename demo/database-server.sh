#!/usr/bin/env bash
# A private database server of this machine's packages. Makes its data in FOLDER when there are none, then becomes
# the server, which ends with the process that started this script.
#   database-server.sh postgresql|mariadb FOLDER PORT [ADDRESS [SERVER-OPTION...]]
# ADDRESS is one of the loopback interface. DATABASE_USER and DATABASE_PASSWORD are those of its administrator. By root
# it is run under the account of its package, which has to be able to come to FOLDER: database servers refuse root.
set -euo pipefail
system=$1 folder=$2 port=$3 address=${4:-127.0.0.1}
options=("${@:5}")
data=$folder/data
# For temporary files: a MariaDB that starts removes those that others have in the common folder.
scratch=$folder/scratch
mkdir -p "$data" "$scratch"

# as_account ACCOUNT SIGNAL: sets run, the command that runs another under the account, until its parent ends.
as_account() {
    run=(setpriv --pdeathsig "$2")
    [ "$(id -u)" -eq 0 ] || return 0
    chmod 755 "$folder"
    chown "$1" "$data" "$scratch"
    run+=(--reuid "$1" --regid "$1" --init-groups)
}

case $system in
postgresql)
    as_account postgres QUIT
    programs=$(printf '%s\n' /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
    if [ ! -e "$data/PG_VERSION" ]; then
        (umask 022 && printf '%s\n' "$DATABASE_PASSWORD" >"$folder/password")
        "${run[@]}" "$programs/initdb" -D "$data" -U "$DATABASE_USER" -A scram-sha-256 --pwfile "$folder/password" \
            -E UTF8 --locale=C.UTF-8 --no-sync
    fi
    exec "${run[@]}" "$programs/postgres" -D "$data" -p "$port" -c listen_addresses="$address" \
        -c unix_socket_directories= "${options[@]}"
    ;;
mariadb)
    as_account mysql KILL
    if [ ! -e "$data/mysql" ]; then
        (umask 022 && cat >"$folder/begin.sql") <<EOT
create user if not exists '$DATABASE_USER'@'%' identified by '${DATABASE_PASSWORD//\'/\'\'}';
grant all on *.* to '$DATABASE_USER'@'%' with grant option;
EOT
        "${run[@]}" mariadb-install-db --no-defaults --datadir="$data" --tmpdir="$scratch" --skip-test-db \
            --auth-root-authentication-method=normal --innodb-flush-method=nosync --debug-no-sync
    fi
    exec "${run[@]}" /usr/sbin/mariadbd --no-defaults --datadir="$data" --tmpdir="$scratch" --port="$port" \
        --bind-address="$address" --skip-name-resolve --socket="$data/socket" --pid-file="$data/pid" \
        --init-file="$folder/begin.sql" "${options[@]}"
    ;;
esac
