target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
