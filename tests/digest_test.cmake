# The block functions are no exports; a copy of them is linked in so that both paths can be compared.
vos_test_needs(OpenSSL COMPONENTS Crypto)
file(GLOB block_functions ${PROJECT_SOURCE_DIR}/src/util/digest/sha256_*.cpp)
target_sources(${name} PRIVATE ${block_functions} ${PROJECT_SOURCE_DIR}/src/internal/processor.cpp)
target_link_libraries(${name} PRIVATE OpenSSL::Crypto)
