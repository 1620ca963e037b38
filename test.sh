#!/bin/sh
# Sets up a Debian 12 machine, builds anadata twice (plain and with ASan+UBSan) and runs every test in
# both, then runs the threaded parts (session layer, zip engine, shared record columns, the bindings'
# tables, the service under load) once more under ThreadSanitizer.
set -eu
cd "$(dirname "$0")"

./cmake/debian-deps.sh

jobs="${ANADATA_JOBS:-2}"
for variant in plain asan; do
    dir="build-test-$variant"
    flags="-DCMAKE_BUILD_TYPE=RelWithDebInfo"
    [ "$variant" = asan ] && flags="-DCMAKE_BUILD_TYPE=Debug -DANADATA_SANITIZE=ON -DANADATA_BUILD_BENCH=OFF"
    echo "=== $variant build ==="
    # shellcheck disable=SC2086
    cmake -S . -B "$dir" $flags >/dev/null
    cmake --build "$dir" -j "$jobs"
    echo "=== $variant tests ==="
    ASAN_OPTIONS="detect_leaks=1:abort_on_error=1" UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
        ctest --test-dir "$dir" -j "$jobs" --output-on-failure
done

echo "=== tsan build (threaded parts) ==="
cmake -S . -B build-test-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DANADATA_SANITIZE_THREADS=ON \
    -DANADATA_BUILD_BENCH=OFF -DANADATA_BUILD_TOOLS=OFF -DANADATA_INSTALL=OFF >/dev/null
cmake --build build-test-tsan -j "$jobs" --target session_service_test session_faults_test session_cache_test session_resilience_test util_zip_engine_test \
    test_record_threads test_binding_threads server_load_test
echo "=== tsan tests ==="
TSAN_OPTIONS="halt_on_error=1" ctest --test-dir build-test-tsan -j "$jobs" --output-on-failure \
    -R "^(Session|Resilience|Retries|ZipEngine|SharedColumns|SharedTables|LoadTest)"
