#!/bin/sh
# The round trip in one command: build what is missing (the tool, the service and the Python
# package), start a private service, register a sample data set with the anadata tool, list,
# search, fetch and show it, then clean up.
#
#   ./tools/demo.sh [--no-build] [--build-dir DIR]
#
# The service runs on 127.0.0.1 on a free port with a store in a temporary directory; the
# directory and the service are gone when the script ends, however it ends.
set -eu

repo=$(cd "$(dirname "$0")/.." && pwd)
build="$repo/build"
do_build=1
while [ $# -gt 0 ]; do
    case "$1" in
    --no-build) do_build=0 ;;
    --build-dir)
        [ $# -ge 2 ] || { echo "demo: --build-dir needs a directory" >&2; exit 2; }
        build=$2
        shift
        ;;
    -h | --help)
        sed -n '2,9p' "$0" | sed 's/^# \{0,1\}//'
        exit 0
        ;;
    *)
        echo "demo: unknown option $1 (try --help)" >&2
        exit 2
        ;;
    esac
    shift
done
case "$build" in /*) ;; *) build="$PWD/$build" ;; esac
. "$repo/tools/private-service.sh"

if [ "$do_build" = 1 ]; then
    "$repo/cmake/debian-deps.sh"
    [ -f "$build/CMakeCache.txt" ] || cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
    targets="anadata-tool anadata-server"
    # The Python package too, when the build has it (Python 3 with numpy and pybind11).
    grep -q "^ANADATA_PYTHON_RUN:INTERNAL=" "$build/CMakeCache.txt" && targets="$targets anadata_python"
    # shellcheck disable=SC2086
    cmake --build "$build" -j "$(nproc)" --target $targets
fi
tool="$build/tools/anadata"
server="$build/server/anadata-server"
for program in "$tool" "$server"; do
    [ -x "$program" ] || { echo "demo: $program is missing (build first, or drop --no-build)" >&2; exit 1; }
done

top=$(mktemp -d "${TMPDIR:-/tmp}/anadata-demo.XXXXXX")
server_pid=
cleanup() {
    status=$?
    if [ -n "$server_pid" ]; then
        kill "$server_pid" 2>/dev/null || true
        wait "$server_pid" 2>/dev/null || true
    fi
    rm -rf "$top"
    exit $status
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Shows each command as a user would type it, then runs it.
run() {
    printf '\n$ %s\n' "$*"
    "$@"
}

mkdir "$top/work"
printf 'shotno,date,energy\n4711,2026/11/22,1.5\n' >"$top/explog.csv"
echo "demo-password" | "$server" --store "$top/store" --add-user demo >/dev/null

"$server" --store "$top/store" --bind 127.0.0.1 --port 0 --explog "$top/explog.csv" >"$top/server.out" 2>"$top/server.err" &
server_pid=$!
if ! await_endpoint "$server_pid" "$top/server.out"; then
    echo "demo: the service did not start" >&2
    cat "$top/server.err" >&2
    exit 1
fi
echo "service: $endpoint (store $top/store)"

write_settings "$top/client.ini" demo demo-password "$endpoint" "$top/work"
# The library looks here first, so a settings file of the user's own is left out of the demo.
CLIENT_INI2="$top/client.ini"
export CLIENT_INI2
PATH="$build/tools:$PATH"
cd "$top/work"

run anadata sample sample.dat --name demo --shot 4711 --points 20
run anadata put sample.dat
run anadata list
run anadata search demo --shots 4700-4800
mkdir fetched
run anadata get demo 4711 -o fetched
run anadata show fetched/sample.dat
run anadata export demo 4711 --csv -o demo.csv
run head -4 demo.csv
run anadata explog 4711
echo
echo "demo: round trip done; stopping the service and removing $top"
