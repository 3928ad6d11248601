# The program against both libraries: against libvos.so it has every other exported function itself, against libvos.a those
# without a prefix of ours.
set(called prctl_spawnProcess prctl_runCommandInShellBlocking vosEid_getAppEid vosMem_initSharedMem vosMem_alloc vosMem_free
    vosMem_getStats vosMem_cleanup vosMem_initSharedMemPointer parseGeneric uitl_strToHex UTIL_strConvToUTF8 vosSem_init
    vosSem_lock semtimedop)
foreach(kind IN ITEMS shared static)
    set(text "void stolen(const char *name);\n")
    foreach(list IN LISTS vos_exports)
        file(STRINGS ${list} names REGEX "^[A-Za-z_]")
        foreach(name IN LISTS names)
            if(NOT name IN_LIST called AND NOT name MATCHES "^(g_|local_crc32)"
                    AND (kind STREQUAL "shared" OR NOT name MATCHES "^(vos|oal|util_|util[A-Z]|UTIL)"))
                string(APPEND text "int ${name}(void) {\n    stolen(\"${name}\");\n    return 0;\n}\n")
            endif()
        endforeach()
    endforeach()
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/own_names_${kind}.c CONTENT "${text}" @ONLY)
    add_executable(own_names_${kind} own_names/program.cpp ${CMAKE_CURRENT_BINARY_DIR}/own_names_${kind}.c)
    target_compile_definitions(own_names_${kind} PRIVATE _GNU_SOURCE $<$<BOOL:${VOS_WITH_GB18030}>:VOS_TEST_GB18030>)
    add_test(NAME OwnNames.AreUsedInside.${kind} COMMAND own_names_${kind})
endforeach()
set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/own_names_shared.c ${CMAKE_CURRENT_BINARY_DIR}/own_names_static.c
    PROPERTIES COMPILE_OPTIONS -w)
target_link_libraries(own_names_shared PRIVATE vos::vos)
target_link_libraries(own_names_static PRIVATE vos::vos-static)

# Without a version the library's semtimedop gives way to whatever the loader finds first.
if(VOS_SEMTIMEDOP_FALLBACK AND NOT VOS_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME OwnNames.LeaveSemtimedopToTheLoader COMMAND sh -c
        "test $($<TARGET_FILE:own_names_shared> lock) = none && test $(LD_PRELOAD=$(ldd $<TARGET_FILE:own_names_shared> |
            sed -n 's/^[[:space:]]*\\(libc[^ ]*\\) .*/\\1/p') $<TARGET_FILE:own_names_shared> lock) = kernel")
endif()
