# Shell functions for running a private reference service; sourced by tools/demo.sh and
# tests/support/with-service.sh.

# await_endpoint PID OUT: waits (at most 10 s) until the service started in the background as
# PID announces its address on the first line of OUT, its standard output. Sets endpoint to the
# address and returns 0; returns 1 when the service ends or stays silent, with line holding what
# OUT began with.
await_endpoint() {
    endpoint=
    line=
    tries=0
    while [ $tries -lt 100 ]; do
        line=$(head -n 1 "$2")
        case "$line" in
        listening\ on\ http://*/)
            endpoint=${line#listening on }
            return 0
            ;;
        esac
        kill -0 "$1" 2>/dev/null || return 1
        sleep 0.1
        tries=$((tries + 1))
    done
    return 1
}

# write_settings FILE ACCOUNT PASSWORD ENDPOINT BASE_DIR: the client settings for the service.
write_settings() {
    cat >"$1" <<INI
[tserver]
account=$2
passwd=$3
endpoint=$4
base_dir=$5
[search]
limit=100
page=1
INI
}
