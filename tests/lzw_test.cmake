find_package(PkgConfig REQUIRED)
pkg_check_modules(LIBTIFF REQUIRED IMPORTED_TARGET libtiff-4)
target_link_libraries(${name} PRIVATE PkgConfig::LIBTIFF)
