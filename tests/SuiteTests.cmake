# Run by CTest when it starts, once per test program (see GTestSuites.cmake):
# adds one test per GoogleTest suite of VELOTUNE_SUITE_EXE, with the properties in
# VELOTUNE_SUITE_PROPERTIES. A program that is not built, or that cannot list its
# tests, gets one test of that name, which fails.
if(NOT EXISTS "${VELOTUNE_SUITE_EXE}")
    add_test(${VELOTUNE_SUITE_TARGET}_NOT_BUILT ${VELOTUNE_SUITE_TARGET}_NOT_BUILT)
else()
    execute_process(COMMAND "${VELOTUNE_SUITE_EXE}" --gtest_list_tests
                    OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE status
                    TIMEOUT 60)
    if(NOT status EQUAL 0)
        message(WARNING "${VELOTUNE_SUITE_EXE} --gtest_list_tests failed (${status}): ${errors}")
        add_test(${VELOTUNE_SUITE_TARGET}_NOT_LISTED ${VELOTUNE_SUITE_TARGET}_NOT_LISTED)
    else()
        # Suite lines start in the first column ("Suite." or "Prefix/Suite."),
        # test lines are indented.
        string(REPLACE "\n" ";" lines "${listing}")
        foreach(line IN LISTS lines)
            if(line MATCHES "^([A-Za-z_][A-Za-z0-9_/]*)\\.")
                set(suite "${CMAKE_MATCH_1}")
                add_test("${suite}" "${VELOTUNE_SUITE_EXE}" "--gtest_filter=${suite}.*")
                set_tests_properties("${suite}" PROPERTIES ${VELOTUNE_SUITE_PROPERTIES})
            endif()
        endforeach()
    endif()
endif()
