#!/bin/sh
# with-service.sh SERVER_PROGRAM SEED_PROGRAM -- COMMAND [ARGS...]: runs COMMAND against a fresh
# reference service on 127.0.0.1 (account "analyst"/"secret", an experiment log for shots 1234 and
# 1235, the sample data set SEED_PROGRAM registers), in an empty working directory with CLIENT_INI2,
# HOME, ANADATA_TEST_ENDPOINT and ANADATA_TEST_STORE set; removes everything afterwards. The exit
# status is COMMAND's, or 125 when the service could not be set up.
set -u
server=$1
seed=$2
shift 3
case "$server" in /*) ;; *) server="$PWD/$server" ;; esac
case "$seed" in /*) ;; *) seed="$PWD/$seed" ;; esac
. "$(dirname "$0")/../../tools/private-service.sh"

top=$(mktemp -d "${TMPDIR:-/tmp}/anadata-service.XXXXXX") || exit 125
server_pid=
cleanup() {
    if [ -n "$server_pid" ]; then
        kill "$server_pid" 2>/dev/null
        wait "$server_pid" 2>/dev/null
    fi
    rm -rf "$top"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

mkdir "$top/work" "$top/home"
printf 'shotno,date,energy\n1234,2009/03/07,1.5\n1235,2009/03/08,2.5\n' >"$top/explog.csv"
echo secret | "$server" --store "$top/store" --add-user analyst >/dev/null || {
    echo "with-service: could not add the test account" >&2
    exit 125
}

# The server announces its address on the first line of standard output.
"$server" --store "$top/store" --bind 127.0.0.1 --port 0 --explog "$top/explog.csv" >"$top/server.out" &
server_pid=$!
await_endpoint "$server_pid" "$top/server.out" || {
    echo "with-service: the service did not start (got: $line)" >&2
    exit 125
}

write_settings "$top/home/client.ini" analyst secret "$endpoint" "$top/work"
export CLIENT_INI2="$top/home/client.ini" HOME="$top/home"
export ANADATA_TEST_ENDPOINT="$endpoint" ANADATA_TEST_STORE="$top/store"

(cd "$top/work" && "$seed" >"$top/seed.log" 2>&1) || {
    cat "$top/seed.log" >&2
    echo "with-service: could not register the sample data set" >&2
    exit 125
}

(cd "$top/work" && "$@")
