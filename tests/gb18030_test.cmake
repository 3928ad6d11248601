vos_test_of_family(VOS_WITH_GB18030)
vos_test_compares_with(ICU ICU::uc COMPONENTS uc)

# The committed tables are what the generator makes of ICU.
if(TARGET ICU::uc)
    add_executable(gen_gb18030 ${PROJECT_SOURCE_DIR}/tools/gen_gb18030/main.cpp)
    target_link_libraries(gen_gb18030 PRIVATE ICU::uc)
    add_test(NAME Build.Gb18030TablesAreUpToDate
        COMMAND sh -c "$<TARGET_FILE:gen_gb18030> | cmp - ${PROJECT_SOURCE_DIR}/src/util/gb18030/tables.cpp")
endif()
