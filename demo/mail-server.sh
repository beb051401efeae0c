# shellcheck shell=bash
# Sourced by story.sh: a private POP3 server on a loopback port, with one mailbox.
#   bash mail-server.sh PASSWORD   for the tests, with a mailbox for any user: prints its folder, its port and its TLS
#       port, serves until its standard input ends

mail_user=zhangwei
mail_password=demo-password
mail_configuration=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
mail_server=
mail_folder=
mail_port=
mail_tls_port=

# Fails, saying why, when there is no such server on this machine or it does not start.
start_mail_server() {
    local dovecot series=2.3 internal_user=dovecot internal_group=dovecot login_user=dovenull uid gid
    dovecot=$(PATH=$PATH:/usr/sbin command -v dovecot) || {
        echo "There is no Dovecot on this machine."
        return 1
    }
    [[ $("$dovecot" --version) != 2.[0-3].* ]] && series=2.4
    # The server gives its rights up and must still reach its files, wherever this folder is.
    mail_folder=$(mktemp -d)
    chmod 755 "$mail_folder"
    mkdir -p "$mail_folder/run" "$mail_folder/mail/$mail_user/new" "$mail_folder/mail/$mail_user/cur" \
        "$mail_folder/mail/$mail_user/tmp"
    if [ "$(id -u)" -eq 0 ]; then
        uid=$(id -u mail) gid=$(id -g mail)
        chown -R mail "$mail_folder/mail"
    else
        uid=$(id -u) gid=$(id -g) internal_user=$(id -un) internal_group=$(id -gn) login_user=$(id -un)
    fi
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 30 -subj /CN=localhost \
        -addext subjectAltName=DNS:localhost -keyout "$mail_folder/key.pem" -out "$mail_folder/cert.pem" 2>/dev/null
    # Another program may take a port in the moment between finding and using it.
    for _ in $(seq 10); do
        mail_port=$(free_port)
        mail_tls_port=$(free_port)
        sed -e "s|@DIR@|$mail_folder|; s|@PORT@|$mail_port|; s|@TLS_PORT@|$mail_tls_port|; s|@UID@|$uid|" \
            -e "s|@GID@|$gid|; s|@PASSWORD_HEX@|$(printf %s "$mail_password" | od -An -tx1 | tr -d ' \n')|" \
            -e "s|@INTERNAL_USER@|$internal_user|; s|@LOGIN_USER@|$login_user|; s|@INTERNAL_GROUP@|$internal_group|" \
            "$mail_configuration"/dovecot{-$series,}.conf.in >"$mail_folder/dovecot.conf"
        "$dovecot" -F -c "$mail_folder/dovecot.conf" >"$mail_folder/start.log" 2>&1 &
        mail_server=$!
        for _ in $(seq 200); do
            port_answers "$mail_port" && return 0
            kill -0 "$mail_server" 2>/dev/null || break
            sleep 0.05
        done
        kill "$mail_server" 2>/dev/null || true
        wait "$mail_server" || true
        mail_server=
    done
    echo "The private POP3 server did not start:"
    cat "$mail_folder/start.log" "$mail_folder/log" 2>/dev/null | tail -n 3
    return 1
}

port_answers() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# A port that nothing listens on, within the range that a mail account's port has.
free_port() {
    local port
    while :; do
        port=$((RANDOM % 20000 + 12000))
        port_answers $port || break
    done
    echo $port
}

# deliver_mail FILE
deliver_mail() {
    local new=$mail_folder/mail/$mail_user/new
    cp "$1" "$new/../tmp/demo"
    [ "$(id -u)" -ne 0 ] || chown mail "$new/../tmp/demo"
    mv "$new/../tmp/demo" "$new/$(date +%s).M1.demo"
}

stop_mail_server() {
    [ -n "$mail_folder" ] || return 0
    [ -z "$mail_server" ] || { kill -TERM $mail_server 2>/dev/null && wait $mail_server; } || true
    rm -rf "$mail_folder"
}

if [ "$0" = "${BASH_SOURCE[0]}" ]; then
    set -euo pipefail
    mail_password=$1
    trap stop_mail_server EXIT
    start_mail_server
    echo "$mail_folder $mail_port $mail_tls_port"
    cat >/dev/null
fi
