#!/usr/bin/env bash
# A throw-away PostgreSQL cluster for the tests.
#
#   pg-cluster.sh start DIR PORT   makes a cluster in DIR (which must not hold one yet), starts it on a Unix
#                                  socket in DIR and prints its connection string
#   pg-cluster.sh stop DIR         stops the cluster in DIR, if it runs, and removes DIR
#
# PostgreSQL refuses to run as root, so as root the cluster belongs to the "postgres" user that Debian's
# package creates. The cluster listens on no TCP address.
set -euo pipefail

bindir() {
    local dir
    if command -v pg_config >/dev/null 2>&1 && [ -x "$(pg_config --bindir)/initdb" ]; then
        pg_config --bindir
        return
    fi
    for dir in $(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V -r); do
        if [ -x "$dir/initdb" ]; then
            echo "$dir"
            return
        fi
    done
    echo "pg-cluster: no PostgreSQL server found (initdb); run scripts/install-deps.sh" >&2
    exit 1
}

as_owner() {
    if [ "$(id -u)" -eq 0 ]; then
        runuser -u postgres -- "$@"
    else
        "$@"
    fi
}

start() {
    local dir=$1 port=$2 bin
    bin=$(bindir)
    mkdir -p "$dir"
    if [ "$(id -u)" -eq 0 ]; then
        chown postgres "$dir"
    fi
    if ! as_owner "$bin/initdb" -D "$dir/data" -A trust -U postgres >"$dir/initdb.log" 2>&1; then
        echo "pg-cluster: initdb failed:" >&2
        cat "$dir/initdb.log" >&2
        exit 1
    fi
    if ! as_owner "$bin/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
        -o "-k $dir -c listen_addresses='' -p $port -c fsync=off" start >/dev/null; then
        echo "pg-cluster: the server did not start:" >&2
        cat "$dir/server.log" >&2
        exit 1
    fi
    echo "host=$dir port=$port user=postgres dbname=postgres"
}

stop() {
    local dir=$1 bin
    bin=$(bindir)
    if [ -f "$dir/data/postmaster.pid" ]; then
        as_owner "$bin/pg_ctl" -D "$dir/data" -m immediate -w stop >/dev/null 2>&1 || true
    fi
    rm -rf "$dir"
}

case "${1:-}" in
start) start "$2" "$3" ;;
stop) stop "$2" ;;
*)
    echo "usage: pg-cluster.sh start DIR PORT | stop DIR" >&2
    exit 2
    ;;
esac
