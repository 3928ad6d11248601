# Tests in Python: the package, its test kit, and with it the sandbox and the examples. A sanitizer's runtime has to be in
# the process before the library is.
find_program(VOS_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
find_program(VOS_PYTHON NAMES python3)
if(NOT VOS_PYTHON OR NOT TARGET vosctl OR NOT TARGET vos-hubd OR CMAKE_CROSSCOMPILING)
    message(STATUS "left out: the tests in Python, which need python3, vosctl and vos-hubd on this machine")
    return()
endif()
if(VOS_SANITIZE MATCHES "thread")
    message(STATUS "left out: the tests in Python, whose interpreter ThreadSanitizer does not know")
    return()
endif()

set(environment PATH=$<TARGET_FILE_DIR:vosctl>:$ENV{PATH} PYTHONPATH=${PROJECT_SOURCE_DIR}/python
    PYTHONDONTWRITEBYTECODE=1 VOS_LIBRARY=$<TARGET_FILE:vos> VOS_TEST_BIN_DIR=${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
if(VOS_SANITIZE MATCHES "address")
    execute_process(COMMAND ${CMAKE_C_COMPILER} -print-file-name=libasan.so
        OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND environment ASAN_OPTIONS=detect_leaks=0)
    set(preload LD_PRELOAD=${runtime})
    if(DEFINED ENV{ASAN_OPTIONS})
        list(APPEND environment VOS_TEST_ASAN_OPTIONS=$ENV{ASAN_OPTIONS})
    endif()
endif()

# vos_python_test(NAME FILE …): files of tests/python in a sandbox; skipped where pytest is missing.
function(vos_python_test name)
    list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/tests/python/)
    add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} -E env ${environment}
        ${PROJECT_SOURCE_DIR}/tests/python/run.sh $<TARGET_FILE:vosctl> ${VOS_PYTHON} "${preload}" ${ARGN})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300 SKIP_RETURN_CODE 77)
endfunction()
vos_python_test(Python.TalksThroughTheHub test_connection.py test_aio.py)
vos_python_test(Testing.RunsADaemonAmongPeersAndExplainsFailures test_testing.py)
vos_python_test(Sandbox.KeepsACommandApartFromTheMachine test_sandbox.py)
if(TARGET example_statusd)
    vos_python_test(Examples.LiveTheirWholeDay test_examples.py)
endif()

if(TARGET vosgen)
    vos_python_test(Python.GeneratedPeersUnderstandEachOther test_generated.py)
endif()

add_test(NAME Python.PassesMypyStrictly COMMAND ${PROJECT_SOURCE_DIR}/tests/python/check_types.sh
    ${CMAKE_CURRENT_BINARY_DIR}/mypy)
set_tests_properties(Python.PassesMypyStrictly PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 300)

# The template of a daemon's repository, which knows nothing but an installed tree.
if(TARGET vosgen AND VOS_BUILD_PYTHON AND NOT VOS_SANITIZE)
    add_test(NAME Template.BuildsAndPassesItsTestsFromAnInstalledTree
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_template.sh ${CMAKE_COMMAND} ${PROJECT_BINARY_DIR}
            ${PROJECT_SOURCE_DIR}/docs/manual/vosctl.md ${CMAKE_CURRENT_BINARY_DIR}/template)
    set_tests_properties(Template.BuildsAndPassesItsTestsFromAnInstalledTree PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 300)
endif()
