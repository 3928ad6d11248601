vos_test_needs(OpenSSL COMPONENTS Crypto)
target_link_libraries(${name} PRIVATE OpenSSL::Crypto)
vos_test_compares_with(ZLIB ZLIB::ZLIB)
# The table path, which the library does not export and this machine may never choose.
target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src/util/codec/crc32_paths.cpp ${PROJECT_SOURCE_DIR}/src/internal/processor.cpp)
if(TARGET vosctl AND NOT VOS_TEST_LIBRARY_ONLY)
    add_dependencies(${name} vosctl)
    target_compile_definitions(${name} PRIVATE VOS_TEST_HAS_VOSCTL)
endif()
