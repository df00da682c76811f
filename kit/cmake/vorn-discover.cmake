# Registers the cases of GoogleTest programs with CTest. CMake's own discovery lets newer programs
# write the list of their tests to a file, which they cannot from within a sandbox; this one reads
# what they print, and runs them outside it: a list does not start a test.
#
#   vorn_discover_tests(TARGET [PREFIX text] [SUITES] [EMULATOR command...] [RUNNER command...]
#                       [PROPERTIES name value...])
#
# SUITES makes one test of all cases of a suite. The emulator, if any, lists and runs the program;
# the runner is put before both when it runs. The tests are listed when CTest starts, again after
# the program has been built again.
set(VORN_LIST_TESTS "${CMAKE_CURRENT_LIST_DIR}/vorn-list-tests.cmake")

function(vorn_discover_tests target)
    cmake_parse_arguments(PARSE_ARGV 1 of "SUITES" "PREFIX" "EMULATOR;RUNNER;PROPERTIES")
    if(NOT of_SUITES)
        set(of_SUITES OFF)
    else()
        set(of_SUITES ON)
    endif()
    set(list "${CMAKE_CURRENT_BINARY_DIR}/${target}-list.cmake")
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}-discovery.cmake")
    file(GENERATE OUTPUT "${script}" CONTENT "
if(NOT EXISTS [==[$<TARGET_FILE:${target}>]==])
    add_test([==[${of_PREFIX}${target}_is_not_built]==] false)
    return()
endif()
if([==[$<TARGET_FILE:${target}>]==] IS_NEWER_THAN [==[${list}]==]
   OR [==[${script}]==] IS_NEWER_THAN [==[${list}]==]
   OR [==[${VORN_LIST_TESTS}]==] IS_NEWER_THAN [==[${list}]==])
    include([==[${VORN_LIST_TESTS}]==])
    vorn_list_tests([==[$<TARGET_FILE:${target}>]==] [==[${list}]==] [==[${of_PREFIX}]==]
        [==[${of_SUITES}]==] [==[${of_EMULATOR}]==] [==[${of_RUNNER}]==] [==[${of_PROPERTIES}]==])
endif()
include([==[${list}]==])
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
endfunction()
