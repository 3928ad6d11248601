set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
target_compile_options(${name} PRIVATE -fno-pie)
target_link_options(${name} PRIVATE -no-pie)
