vos_test_compares_with(EXPAT EXPAT::EXPAT)
