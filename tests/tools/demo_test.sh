#!/bin/sh
# Runs the service part of tools/demo.sh against the built tree and checks it left nothing behind.
set -u
repo=$1
build=$2
scratch=$(mktemp -d "${TMPDIR:-/tmp}/anadata-demo-test.XXXXXX") || exit 1
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/tmp"

TMPDIR="$scratch/tmp" "$repo/tools/demo.sh" --no-build --build-dir "$build" >"$scratch/out" 2>&1
status=$?
cat "$scratch/out"
fail() {
    echo "demo_test: $1" >&2
    exit 1
}
[ $status -eq 0 ] || fail "demo.sh exited with $status"
for expected in '$ anadata put sample.dat' 'registered sample.dat as demo 4711/1' '$ anadata list' 'demo  1' \
    '$ anadata search demo --shots 4700-4800' '$ anadata get demo 4711 -o fetched' \
    'fetched demo 4711/1 -> fetched/sample.dat' '$ anadata show fetched/sample.dat' 'name:     demo' \
    'energy  1.5'; do
    grep -qF -- "$expected" "$scratch/out" || fail "missing from the output: $expected"
done
[ -z "$(ls -A "$scratch/tmp")" ] || fail "left behind: $(ls -A "$scratch/tmp")"

# Interrupted halfway, it still stops the service and removes its directory.
TMPDIR="$scratch/tmp" "$repo/tools/demo.sh" --no-build --build-dir "$build" >"$scratch/out2" 2>&1 &
demo=$!
tries=0
while ! grep -q '^service:' "$scratch/out2" && [ $tries -lt 100 ]; do
    sleep 0.1
    tries=$((tries + 1))
done
kill -TERM $demo
wait $demo
pid=$(ls "$scratch/tmp" 2>/dev/null)
[ -z "$pid" ] || fail "left behind after SIGTERM: $pid"
echo "demo_test: ok"
