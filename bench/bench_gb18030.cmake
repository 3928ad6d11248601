find_package(ICU REQUIRED COMPONENTS uc)
target_link_libraries(${name} PRIVATE ICU::uc)
