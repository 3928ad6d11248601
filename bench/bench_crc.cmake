pkg_check_modules(ZLIB REQUIRED IMPORTED_TARGET zlib)
target_link_libraries(${name} PRIVATE PkgConfig::ZLIB)
target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src/util/codec/crc32_paths.cpp ${PROJECT_SOURCE_DIR}/src/internal/processor.cpp)
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
