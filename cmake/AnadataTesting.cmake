# The one helper that adds a GoogleTest executable to CTest.
find_package(GTest REQUIRED)
include(GoogleTest)

# anadata_add_test(NAME <name> SOURCES <files...> [LIBS <targets...>] [ENV <VAR=value...>])
# Builds <name> against the library and GoogleTest and registers each of its tests with CTest.
# Every test runs in its own process, so process-wide state (settings, handle tables) starts fresh.
function(anadata_add_test)
    cmake_parse_arguments(ARG "" "NAME;TIMEOUT" "SOURCES;LIBS;ENV" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    anadata_warnings(${ARG_NAME})
    target_link_libraries(${ARG_NAME} PRIVATE anadata::anadata anadata_test_support GTest::gtest_main ${ARG_LIBS})
    gtest_discover_tests(${ARG_NAME}
        DISCOVERY_MODE PRE_TEST
        PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${ARG_ENV}")
endfunction()

# anadata_add_service_test(NAME <name> COMMAND <program> [args...] [TIMEOUT <s>])
# Runs the command against a fresh reference service (tests/support/with-service.sh): a temporary
# store with the account "analyst"/"secret", the sample data set "sample" 1234/1, settings exported
# through CLIENT_INI2 and HOME, an empty working directory. Name built programs with
# $<TARGET_FILE:...>. Nothing is registered when the service is not built.
function(anadata_add_service_test)
    cmake_parse_arguments(ARG "" "NAME;TIMEOUT" "COMMAND" ${ARGN})
    if(NOT TARGET anadata-server)
        return()
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_test(NAME ${ARG_NAME}
        COMMAND ${PROJECT_SOURCE_DIR}/tests/support/with-service.sh
                $<TARGET_FILE:anadata-server> $<TARGET_FILE:anadata_seed_sample> -- ${ARG_COMMAND})
    set_tests_properties(${ARG_NAME} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
endfunction()
