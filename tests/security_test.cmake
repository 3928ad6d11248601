find_package(OpenSSL REQUIRED COMPONENTS Crypto)
target_link_libraries(${name} PRIVATE OpenSSL::Crypto)
if(NOT VOS_WITH_SECURITY)  # nothing to test: only the entry point that every test has
    set_property(TARGET ${name} PROPERTY SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/support/sandbox.cpp)
endif()
