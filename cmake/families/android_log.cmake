# The daemon log's destination 4, Android's log: ON where liblog is found. Without it that destination is file only.
find_path(VOS_ANDROID_LOG_INCLUDE log/log_id.h PATH_SUFFIXES android)
find_library(VOS_ANDROID_LOG_LIBRARY log PATH_SUFFIXES android ${CMAKE_LIBRARY_ARCHITECTURE}/android)
mark_as_advanced(VOS_ANDROID_LOG_INCLUDE VOS_ANDROID_LOG_LIBRARY)
set(vos_android_log_found OFF)
if(VOS_ANDROID_LOG_INCLUDE AND VOS_ANDROID_LOG_LIBRARY)
    set(vos_android_log_found ON)
endif()
option(VOS_WITH_ANDROID_LOG "Send the daemon log's destination 4 to Android's log" ${vos_android_log_found})

if(NOT VOS_WITH_ANDROID_LOG)
    list(FILTER vos_sources EXCLUDE REGEX "/oal_log/android\\.cpp$")
elseif(NOT vos_android_log_found)
    message(FATAL_ERROR "VOS_WITH_ANDROID_LOG needs liblog (Debian: android-liblog-dev)")
else()
    set_property(SOURCE ${PROJECT_SOURCE_DIR}/src/vos/log/entry.cpp
        APPEND PROPERTY COMPILE_DEFINITIONS VOS_WITH_ANDROID_LOG=1)
    set_source_files_properties(${PROJECT_SOURCE_DIR}/src/vos/linux/oal_log/android.cpp
        PROPERTIES COMPILE_OPTIONS "-isystem${VOS_ANDROID_LOG_INCLUDE}")
    list(APPEND vos_private_libs ${VOS_ANDROID_LOG_LIBRARY})  # its own calls stay in reach of the process
    cmake_path(GET VOS_ANDROID_LOG_LIBRARY PARENT_PATH vos_android_log_dir)
    list(APPEND vos_pc_private "-L${vos_android_log_dir} -llog")
    # Debian keeps the library where the loader does not look by itself.
    if(NOT CMAKE_CROSSCOMPILING AND NOT vos_android_log_dir IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
        cmake_language(DEFER CALL set_property TARGET vos PROPERTY INSTALL_RPATH ${vos_android_log_dir})
        list(APPEND vos_pc_private "-Wl,-rpath,${vos_android_log_dir}")
    endif()
endif()
