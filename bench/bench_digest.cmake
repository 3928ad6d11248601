# The portable block function is no export; a copy of it is linked in.
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src/util/digest/sha256_portable.cpp)
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(${name} PRIVATE OpenSSL::Crypto ${CMAKE_DL_LIBS})
if(VOS_WITH_SECURITY)
    target_compile_definitions(${name} PRIVATE BENCH_WITH_SECURITY)
endif()
