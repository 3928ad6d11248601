pkg_check_modules(CARES REQUIRED IMPORTED_TARGET libcares)
target_link_libraries(${name} PRIVATE PkgConfig::CARES)
