pkg_check_modules(LIBCRYPTO REQUIRED IMPORTED_TARGET libcrypto)
target_link_libraries(${name} PRIVATE PkgConfig::LIBCRYPTO)
