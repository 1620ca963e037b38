# The helpers that add tests to CTest: GoogleTest executables, commands run against a test service,
# the labels that tell the two kinds apart, and one scratch directory for every test's files.
find_package(GTest REQUIRED)
include(GoogleTest)

# Every test keeps its temporary files under one directory of the build tree (TMPDIR), made
# before the first test and removed after the last, so a test that aborts or is killed still
# leaves nothing in /tmp. Running a test program by hand falls back to /tmp.
set(ANADATA_TEST_TMPDIR ${PROJECT_BINARY_DIR}/test-tmp)
add_test(NAME test_tmp_setup COMMAND sh -c "rm -rf \"$0\" && mkdir \"$0\"" ${ANADATA_TEST_TMPDIR})
add_test(NAME test_tmp_cleanup COMMAND ${CMAKE_COMMAND} -E rm -rf ${ANADATA_TEST_TMPDIR})
set_tests_properties(test_tmp_setup PROPERTIES FIXTURES_SETUP anadata_tmp LABELS offline)
set_tests_properties(test_tmp_cleanup PROPERTIES FIXTURES_CLEANUP anadata_tmp LABELS offline)

# anadata_test_properties(<test>... LABEL offline|service [TIMEOUT <s>])
# Labels tests "offline" (no anadata-server is started) or "service" (one is), and gives them the
# scratch directory. `ctest -L offline` runs without any server.
function(anadata_test_properties)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "" ${ARGN})
    if(NOT ARG_LABEL MATCHES "^(offline|service)$")
        message(FATAL_ERROR "anadata_test_properties: LABEL offline or service expected for ${ARG_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set_tests_properties(${ARG_UNPARSED_ARGUMENTS} PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT}
        FIXTURES_REQUIRED anadata_tmp ENVIRONMENT TMPDIR=${ANADATA_TEST_TMPDIR})
endfunction()

# anadata_add_test(NAME <name> SOURCES <files...> [LIBS <targets...>] [SERVER] [TIMEOUT <s>])
# Builds <name> against the library and GoogleTest and registers each of its tests with CTest.
# Every test runs in its own process, so process-wide state (settings, handle tables) starts fresh.
# SERVER: the tests start anadata-server themselves (ANADATA_SERVER_PROGRAM names it, the client
# and server test helpers are on the include path); they are labelled "service", others "offline".
function(anadata_add_test)
    cmake_parse_arguments(ARG "SERVER" "NAME;TIMEOUT" "SOURCES;LIBS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    anadata_warnings(${ARG_NAME})
    target_link_libraries(${ARG_NAME} PRIVATE anadata::anadata anadata_test_support GTest::gtest_main ${ARG_LIBS})
    set(label offline)
    if(ARG_SERVER)
        set(label service)
        target_link_libraries(${ARG_NAME} PRIVATE anadata_soap_client Threads::Threads)
        target_compile_definitions(${ARG_NAME} PRIVATE ANADATA_SERVER_PROGRAM="$<TARGET_FILE:anadata-server>"
                                                       SERVICE_NAMESPACE="${ANADATA_SERVICE_NAMESPACE}")
        target_include_directories(${ARG_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests/client ${PROJECT_SOURCE_DIR}/tests/server)
        add_dependencies(${ARG_NAME} anadata-server)
    endif()
    gtest_discover_tests(${ARG_NAME}
        DISCOVERY_MODE PRE_TEST
        PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS ${label} FIXTURES_REQUIRED anadata_tmp
                   ENVIRONMENT TMPDIR=${ANADATA_TEST_TMPDIR})
endfunction()

# anadata_add_service_test(NAME <name> COMMAND <program> [args...] [TIMEOUT <s>])
# Runs the command against a fresh reference service (tests/support/with-service.sh): a temporary
# store with the account "analyst"/"secret", the sample data set "sample" 1234/1, settings exported
# through CLIENT_INI2 and HOME, an empty working directory. Name built programs with
# $<TARGET_FILE:...>. Labelled "service". Nothing is registered when the service is not built.
function(anadata_add_service_test)
    cmake_parse_arguments(ARG "" "NAME;TIMEOUT" "COMMAND" ${ARGN})
    if(NOT TARGET anadata-server)
        return()
    endif()
    add_test(NAME ${ARG_NAME}
        COMMAND ${PROJECT_SOURCE_DIR}/tests/support/with-service.sh
                $<TARGET_FILE:anadata-server> $<TARGET_FILE:anadata_seed_sample> -- ${ARG_COMMAND})
    anadata_test_properties(${ARG_NAME} LABEL service TIMEOUT ${ARG_TIMEOUT})
endfunction()
