vos_test_compares_with(TIFF TIFF::TIFF)
