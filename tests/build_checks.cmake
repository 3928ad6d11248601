# Checks of what is built and installed rather than of what it does.

# Exports, NEEDED and undefined symbols; sanitizer builds need their own runtime and are left out.
if(NOT VOS_SANITIZE)
    add_test(NAME Build.NeedsNoCxxRuntimeAndExportsOnlyTheMap
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_library.sh $<TARGET_FILE:vos> ${vos_map} ${vos_late_sonames})
endif()

# Every public header compiles alone, in C and in C++.
foreach(standard IN ITEMS c11 c++17 c++20)
    add_test(NAME Build.HeadersCompileAlone.${standard}
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_headers.sh ${standard} ${PROJECT_SOURCE_DIR}/include
            ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER})
endforeach()

# The headers for C++ and the loops, in the strictest warnings.
if(NOT CMAKE_CROSSCOMPILING)
    add_test(NAME Build.LoopsAndMacrosCompileWithoutWarnings
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_cpp.sh ${PROJECT_SOURCE_DIR})
    set_tests_properties(Build.LoopsAndMacrosCompileWithoutWarnings PROPERTIES TIMEOUT 600)
endif()

# What vosgen makes of every description.
if(TARGET vosgen AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME Build.GeneratedCodeIsCleanAndThatWhichIsKept
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_interfaces.sh $<TARGET_FILE:vosgen> ${PROJECT_SOURCE_DIR})
    set_tests_properties(Build.GeneratedCodeIsCleanAndThatWhichIsKept PROPERTIES TIMEOUT 300)
endif()

# A consumer in C through pkg-config and one in C++ through find_package, against an installed tree.
if(NOT CMAKE_CROSSCOMPILING)
    add_test(NAME Build.InstalledTreeServesConsumers
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_install.sh ${CMAKE_COMMAND} ${PROJECT_BINARY_DIR}
            ${PROJECT_SOURCE_DIR}/tests/consumer "${VOS_SANITIZE}")
endif()

# The library inside another project, which keeps its settings.
if(NOT CMAKE_CROSSCOMPILING AND NOT VOS_SANITIZE)
    add_test(NAME Build.LibraryAloneJoinsAnotherProject
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_subproject.sh ${CMAKE_COMMAND} ${PROJECT_SOURCE_DIR})
    set_tests_properties(Build.LibraryAloneJoinsAnotherProject PROPERTIES TIMEOUT 600)
endif()

# The tags we write, read by somebody else's reader.
add_test(NAME Build.NdefRecordsAreReadByAnotherReader
    COMMAND ${PROJECT_SOURCE_DIR}/tests/check_ndef.sh $<TARGET_FILE:vosctl> ${CMAKE_CURRENT_BINARY_DIR}/ndef)
set_tests_properties(Build.NdefRecordsAreReadByAnotherReader PROPERTIES SKIP_RETURN_CODE 77)

# Captures of the monitor, read by tshark with our dissector.
if(TARGET vosctl AND TARGET vos-hubd AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME Build.CapturesAreReadByWireshark
        COMMAND ${PROJECT_SOURCE_DIR}/tests/check_dissector.sh $<TARGET_FILE:vos-hubd> $<TARGET_FILE:vosctl>
            ${PROJECT_SOURCE_DIR}/tools/wireshark/vos.lua)
    set_tests_properties(Build.CapturesAreReadByWireshark PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 120)
endif()

# The interface against the committed description of the last release, which was made from g++'s debug information.
if(CMAKE_BUILD_TYPE STREQUAL "Debug" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU"
        AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND NOT VOS_SANITIZE
        AND VOS_WITH_GB18030 AND VOS_WITH_SECURITY AND VOS_SEMTIMEDOP_FALLBACK)
    add_test(NAME Build.InterfaceIsThatOfTheLastRelease
        COMMAND ${PROJECT_SOURCE_DIR}/scripts/abi.sh check $<TARGET_FILE:vos>)
    set_tests_properties(Build.InterfaceIsThatOfTheLastRelease PROPERTIES SKIP_RETURN_CODE 77)
endif()

# The packaging recipes against what is installed.
if(TARGET vosctl AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME Build.RecipesFitWhatIsInstalled COMMAND ${PROJECT_SOURCE_DIR}/packaging/check.sh ${PROJECT_BINARY_DIR})
endif()

# The README's commands, in the usual lane only: they build the release and install it.
if(EXISTS ${PROJECT_SOURCE_DIR}/tools/vosctl/command_sandbox.cpp AND NOT CMAKE_CROSSCOMPILING
        AND PROJECT_BINARY_DIR STREQUAL "${PROJECT_SOURCE_DIR}/build/dev")
    add_test(NAME Readme.DoesWhatItSays
        COMMAND python3 -B ${PROJECT_SOURCE_DIR}/tests/check_readme.py ${PROJECT_SOURCE_DIR})
    set_tests_properties(Readme.DoesWhatItSays PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 1800)
endif()
