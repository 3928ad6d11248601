target_link_libraries(${name} PRIVATE hub_stage)
