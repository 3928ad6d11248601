vos_test_needs(TIFF)
target_link_libraries(${name} PRIVATE TIFF::TIFF)
