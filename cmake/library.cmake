# libvos.so and libvos.a: C++20 without the C++ runtime, exports from a version map.
find_package(Threads REQUIRED)

file(GLOB_RECURSE vos_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.cpp)
file(GLOB vos_exports CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/exports/*.txt)

# Families that a firmware may leave out drop their sources and export lists here; vos_private_libs collects what the
# others need besides libc, vos_static_libs what libvos.a needs but libvos.so opens by itself.
set(vos_private_libs "")
set(vos_static_libs "")
set(vos_late_sonames "")
set(vos_late_definitions "")
set(vos_late_directories "")
# What is compiled once for each of the two, and with what: libvos.a may have to do without a library.
set(vos_bind_names oal_password security/bind)
set(vos_shared_definitions "")
set(vos_shared_libs "")
set(vos_static_definitions "")
set(vos_static_left_out "")
include(${PROJECT_SOURCE_DIR}/cmake/late_libraries.cmake)
foreach(family_file IN ITEMS android_log console_log gb18030 security semaphore)
    include(${PROJECT_SOURCE_DIR}/cmake/families/${family_file}.cmake OPTIONAL)
endforeach()

# One export list for each family, joined into one version map with a node for each release that added names. Names belong
# to the first release unless a line "@VOS_1.1" stands above them; below "@unversioned" they get no version, so that a
# definition that stands earlier in the loader's order takes their place.
set(vos_map ${PROJECT_BINARY_DIR}/vos.map)
set(vos_nodes VOS_1.0)
foreach(list IN LISTS vos_exports)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
    file(STRINGS ${list} names REGEX "^[@A-Za-z_]")
    set(node VOS_1.0)
    foreach(name IN LISTS names)
        if(name STREQUAL "@unversioned")
            set(node unversioned)
        elseif(name MATCHES "^@(VOS_[0-9.]+)$")
            set(node ${CMAKE_MATCH_1})
            list(APPEND vos_nodes ${node})
        else()
            string(APPEND vos_names_${node} "    ${name};\n")
        endif()
    endforeach()
endforeach()
list(REMOVE_DUPLICATES vos_nodes)
list(SORT vos_nodes COMPARE NATURAL)
set(vos_map_text "")
set(before "")
foreach(node IN LISTS vos_nodes)
    string(APPEND vos_map_text "${node} {\nglobal:\n${vos_names_${node}}")
    if(NOT before AND vos_names_unversioned)
        string(APPEND vos_map_text "local:\n    _*;\n")  # C++ inline code; the rest is hidden
    elseif(NOT before)
        string(APPEND vos_map_text "local:\n    *;\n")
    endif()
    string(APPEND vos_map_text "}${before};\n")
    set(before " ${node}")
endforeach()
if(vos_names_unversioned)
    string(PREPEND vos_map_text "/* without a version:\n${vos_names_unversioned}*/\n")
endif()
file(CONFIGURE OUTPUT ${vos_map} CONTENT "${vos_map_text}" @ONLY)

# The library's calls reach its own functions, whatever a program calls its. These stay open to replacement.
set(vos_open ${PROJECT_BINARY_DIR}/vos.open)
file(WRITE ${vos_open}
    "{ semtimedop; g_vosStdin; g_vosStdout; g_vosStderr; g_ndefAppDataHead; local_crc32_table; };\n")
include(CheckLinkerFlag)
check_linker_flag(CXX -Wl,--dynamic-list=${vos_open} VOS_LINKER_BINDS)
set(vos_bind_option "")
set(vos_bind_definition "")
if(VOS_LINKER_BINDS)
    set(vos_bind_option -Wl,--dynamic-list=${vos_open})
else()
    set(vos_bind_definition VOS_BIND_BY_VISIBILITY)
endif()

set(vos_atomics "")
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    # The compiler's run-time choice between two kinds of atomic instructions would bring a constructor that runs at load.
    include(CheckCXXCompilerFlag)
    check_cxx_compiler_flag(-mno-outline-atomics VOS_OUTLINE_ATOMICS)
    if(VOS_OUTLINE_ATOMICS)
        set(vos_atomics -mno-outline-atomics)
    endif()
endif()

# What calls those libraries directly is compiled once for each of the two.
set(vos_bind_sources ${vos_sources})
list(JOIN vos_bind_names "|" vos_bind_pattern)
list(FILTER vos_bind_sources INCLUDE REGEX "/(${vos_bind_pattern})\\.cpp$")
list(REMOVE_ITEM vos_sources ${vos_bind_sources})
set(vos_static_sources ${vos_bind_sources})
foreach(name IN LISTS vos_static_left_out)
    list(FILTER vos_static_sources EXCLUDE REGEX "/${name}\\.cpp$")
endforeach()
# What a debugger or a C++ program needs to look through the library's frames. Debug builds always have them.
set(vos_unwind_default ON)
if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
    set(vos_unwind_default OFF)
endif()
option(VOS_WITH_UNWIND "Unwind tables, so that a backtrace passes through the library" ${vos_unwind_default})
set(vos_unwind -fno-asynchronous-unwind-tables -fno-unwind-tables)
if(VOS_WITH_UNWIND OR CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(vos_unwind -fasynchronous-unwind-tables)
endif()

add_library(vos_objects OBJECT ${vos_sources})
add_library(vos_shared_objects OBJECT ${vos_bind_sources})
add_library(vos_static_objects OBJECT ${vos_static_sources})
target_compile_definitions(vos_shared_objects PRIVATE ${vos_late_definitions} ${vos_shared_definitions})
target_compile_definitions(vos_static_objects PRIVATE ${vos_static_definitions})
foreach(objects IN ITEMS vos_objects vos_shared_objects vos_static_objects)
    set_target_properties(${objects} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_include_directories(${objects} PUBLIC ${PROJECT_SOURCE_DIR}/include PRIVATE ${PROJECT_SOURCE_DIR}/src)
    target_compile_definitions(${objects} PRIVATE _GNU_SOURCE ${vos_bind_definition})
    target_link_libraries(${objects} PRIVATE Threads::Threads ${vos_private_libs} ${vos_static_libs})
    target_compile_options(${objects} PRIVATE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fno-exceptions -fno-rtti
        -fno-semantic-interposition -fno-threadsafe-statics -ffunction-sections -fdata-sections ${vos_unwind}
        ${vos_atomics})
endforeach()

# Sanitizers and counters keep books that a child with its parent's memory would write into.
if(VOS_SANITIZE OR VOS_COVERAGE)
    set_source_files_properties(${PROJECT_SOURCE_DIR}/src/vos/linux/oal_prctl/start.cpp
        PROPERTIES COMPILE_DEFINITIONS VOS_START_BY_FORK)
endif()

# In a build for size these stay fast: they see every byte of large inputs.
foreach(fast IN ITEMS util/codec/ util/digest/ util/gb18030/ util/lzw/ util/utf8/ util/xml/token.cpp)
    foreach(source IN LISTS vos_sources)
        cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR}/src OUTPUT_VARIABLE name)
        string(FIND ${name} ${fast} at)
        if(at EQUAL 0)
            set_property(SOURCE ${source} APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:MinSizeRel>:-O2>)
        endif()
    endforeach()
endforeach()

add_library(vos SHARED $<TARGET_OBJECTS:vos_objects> $<TARGET_OBJECTS:vos_shared_objects>)
add_library(vos_static STATIC $<TARGET_OBJECTS:vos_objects> $<TARGET_OBJECTS:vos_static_objects>)
set_target_properties(vos PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LINKER_LANGUAGE C LINK_DEPENDS ${vos_map} BUILD_RPATH "${vos_late_directories}")
set_target_properties(vos_static PROPERTIES OUTPUT_NAME vos LINKER_LANGUAGE C EXPORT_NAME vos-static)
target_link_options(vos PRIVATE -Wl,--version-script=${vos_map} ${vos_bind_option} -Wl,--gc-sections -Wl,--as-needed -Wl,--hash-style=gnu)
if(NOT VOS_SANITIZE)
    target_link_options(vos PRIVATE -Wl,-z,defs -Wl,-z,relro -Wl,-z,now)
endif()
foreach(target IN ITEMS vos vos_static)
    target_include_directories(${target} INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
target_link_libraries(vos PRIVATE Threads::Threads ${CMAKE_DL_LIBS} ${vos_private_libs} ${vos_shared_libs})
target_link_libraries(vos_static INTERFACE Threads::Threads ${vos_private_libs} ${vos_static_libs})
add_library(vos::vos ALIAS vos)
add_library(vos::vos-static ALIAS vos_static)
