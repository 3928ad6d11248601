# The daemon log's destination 6, the console: its shell runs what stands in an entry, and whoever may write to the log's
# segment can choose it. Without it that destination is file only.
option(VOS_WITH_CONSOLE_LOG "Send the daemon log's destination 6 to the console, through a shell" ON)
if(VOS_WITH_CONSOLE_LOG)
    set_property(SOURCE ${PROJECT_SOURCE_DIR}/src/vos/log/entry.cpp
        APPEND PROPERTY COMPILE_DEFINITIONS VOS_WITH_CONSOLE_LOG=1)
else()
    list(FILTER vos_sources EXCLUDE REGEX "/oal_log/console\\.cpp$")
endif()
