# Messaging between processes: vos through vos-hubd, a bare relay, and D-Bus.
if(NOT TARGET vos-hubd)
    message(STATUS "vos-hubd is not built: no messaging benchmark")
    return()
endif()
pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
file(GLOB messaging_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/messaging/*.cpp)
add_executable(bench_messaging ${messaging_sources})
target_compile_definitions(bench_messaging PRIVATE _GNU_SOURCE VOS_HUBD="$<TARGET_FILE:vos-hubd>")
target_link_libraries(bench_messaging PRIVATE vos::vos benchmark::benchmark Threads::Threads PkgConfig::DBUS)
add_dependencies(bench_messaging vos-hubd)

# The hub under growing load; a report of its own, not a row of the table.
file(GLOB load_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/messaging/load/*.cpp)
add_executable(hub_load ${load_sources})
target_include_directories(hub_load PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tools)
target_compile_definitions(hub_load PRIVATE _GNU_SOURCE VOS_HUBD="$<TARGET_FILE:vos-hubd>")
target_link_libraries(hub_load PRIVATE vos::vos)
add_dependencies(hub_load vos-hubd)
