find_package(spdlog REQUIRED)
target_link_libraries(${name} PRIVATE spdlog::spdlog)
