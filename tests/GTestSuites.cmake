# velotune_add_suite_tests(TARGET PROPERTIES...): registers one CTest test per
# GoogleTest suite of the test program TARGET, named after the suite and running
# "TARGET --gtest_filter=Suite.*", with the test properties given (as for
# set_tests_properties). The suites are listed when CTest starts
# (tests/SuiteTests.cmake runs TARGET --gtest_list_tests), so a new TEST or a new
# test file needs no CMake run of its own.
#
# One process per suite rather than per test: a test program loads the toolkit's
# eighty-odd libraries, and the sanitizers add their own start-up and
# LeakSanitizer's check at exit; that cost 0.1 s per process in the plain build
# and up to 0.6 s under AddressSanitizer, far more than most tests take. The
# tests of a suite share their fixture and run one after another, as GoogleTest
# runs them; the suite's output names a failing test.
function(velotune_add_suite_tests target)
    set(props "")
    foreach(p IN LISTS ARGN)
        string(APPEND props " [==[${p}]==]")
    endforeach()
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}_suites.cmake")
    file(GENERATE OUTPUT "${script}" CONTENT
"set(VELOTUNE_SUITE_TARGET ${target})
set(VELOTUNE_SUITE_EXE [==[$<TARGET_FILE:${target}>]==])
set(VELOTUNE_SUITE_PROPERTIES${props})
include([==[${CMAKE_CURRENT_SOURCE_DIR}/SuiteTests.cmake]==])
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
endfunction()
