vos_test_needs(EXPAT)
target_link_libraries(${name} PRIVATE EXPAT::EXPAT)
