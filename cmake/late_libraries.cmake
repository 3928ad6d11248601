# Libraries that few daemons need: libvos.so opens a shared one at first use, so that the others have none of its pages.
# libvos.a is always linked with them.
option(VOS_OPEN_AT_FIRST_USE "Let libvos.so open libcrypto and libcrypt when they are first needed" ON)
find_program(VOS_READELF NAMES ${CMAKE_READELF} readelf llvm-readelf)
mark_as_advanced(VOS_READELF)

# vos_late_library(DEFINITION FILE LINK…): links libvos.a with LINK…, and libvos.so too unless it can open FILE by its soname,
# which DEFINITION then gives to the sources.
macro(vos_late_library definition file)
    set(soname "")
    set(usual TRUE)
    get_filename_component(directory "${file}" DIRECTORY)
    if(NOT directory IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
        set(usual FALSE)
    endif()
    # A sanitizer's dlopen stands between the loader and our run path.
    if(VOS_OPEN_AT_FIRST_USE AND VOS_READELF AND EXISTS "${file}" AND (usual OR NOT VOS_SANITIZE))
        execute_process(COMMAND ${VOS_READELF} -d ${file} OUTPUT_VARIABLE dynamic ERROR_QUIET)
        if(dynamic MATCHES "soname: \\[([^]]+)\\]")
            set(soname ${CMAKE_MATCH_1})
        endif()
    endif()
    if(soname)
        list(APPEND vos_late_sonames ${soname})
        list(APPEND vos_late_definitions ${definition}="${soname}")
        list(APPEND vos_static_libs ${ARGN})
        if(NOT usual AND NOT CMAKE_CROSSCOMPILING)
            list(APPEND vos_late_directories ${directory})
        endif()
    else()
        list(APPEND vos_private_libs ${ARGN})
    endif()
endmacro()
