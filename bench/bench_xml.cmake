find_package(EXPAT REQUIRED)
target_link_libraries(${name} PRIVATE EXPAT::EXPAT)
