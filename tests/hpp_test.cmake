add_dependencies(${name} vos-hubd)
# Once more, as programs without exceptions and run-time types have it.
add_executable(hpp_plain_test ${source})
add_dependencies(hpp_plain_test vos-hubd)
target_compile_options(hpp_plain_test PRIVATE -fno-exceptions -fno-rtti)
target_link_libraries(hpp_plain_test PRIVATE vos_test_support)
gtest_discover_tests(hpp_plain_test TEST_PREFIX Plain PROPERTIES TIMEOUT 120 DISCOVERY_TIMEOUT 60)
