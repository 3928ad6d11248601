add_dependencies(${name} vos-hubd vosctl)

# vosctl in scripts, in a terminal and in a browser.
if(TARGET example_echo_daemon AND NOT CMAKE_CROSSCOMPILING)
    foreach(part IN ITEMS scripts:ScriptsAwaitCountAndRead top:TopShowsTheHubInATerminal
            report:ReportIsAPageForABrowser replay:ReplayTellsWhatAnswersDiffer)
        string(REPLACE ":" ";" part ${part})
        list(GET part 0 what)
        list(GET part 1 test)
        add_test(NAME Vosctl.${test}
            COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_vosctl.sh ${what} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
        set_tests_properties(Vosctl.${test} PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 180)
    endforeach()
endif()
