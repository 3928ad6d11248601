find_package(PkgConfig REQUIRED)
pkg_check_modules(LIBCRYPTO REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(ZLIB REQUIRED IMPORTED_TARGET zlib)
target_link_libraries(${name} PRIVATE PkgConfig::LIBCRYPTO PkgConfig::ZLIB)
# The table path, which the library does not export and this machine may never choose.
target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src/util/crc32_paths.cpp ${PROJECT_SOURCE_DIR}/src/util/processor.cpp)
