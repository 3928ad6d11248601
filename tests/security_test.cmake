vos_test_of_family(VOS_WITH_SECURITY)
vos_test_needs(OpenSSL COMPONENTS Crypto)
target_link_libraries(${name} PRIVATE OpenSSL::Crypto)
