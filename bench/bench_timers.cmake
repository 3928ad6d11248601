pkg_check_modules(LIBEVENT REQUIRED IMPORTED_TARGET libevent_core)
target_link_libraries(${name} PRIVATE PkgConfig::LIBEVENT)
