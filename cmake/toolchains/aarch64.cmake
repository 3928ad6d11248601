# 64-bit Arm, whatever the libc; the files beside this one say which and include it.
# VOS_CROSS_PREFIX is what stands before cc or gcc, c++ or g++, ar and so on. VOS_SYSROOT holds what the target has
# besides. VOS_EMULATOR runs a target program. Each may be given by -D or by the environment.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

foreach(variable IN ITEMS VOS_CROSS_PREFIX VOS_SYSROOT VOS_EMULATOR)
    if(NOT ${variable} AND DEFINED ENV{${variable}})
        set(${variable} $ENV{${variable}} CACHE STRING "see cmake/toolchains/aarch64.cmake")
    endif()
endforeach()
if(NOT VOS_CROSS_PREFIX)
    set(VOS_CROSS_PREFIX ${vos_usual_prefix})
endif()
# The small projects that check the compiler read this file too, and see none of the cache.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VOS_CROSS_PREFIX VOS_SYSROOT)

find_program(VOS_CROSS_CC NAMES ${VOS_CROSS_PREFIX}cc ${VOS_CROSS_PREFIX}gcc ${VOS_CROSS_PREFIX}clang)
find_program(VOS_CROSS_CXX NAMES ${VOS_CROSS_PREFIX}c++ ${VOS_CROSS_PREFIX}g++ ${VOS_CROSS_PREFIX}clang++)
find_program(VOS_CROSS_AR NAMES ${VOS_CROSS_PREFIX}ar llvm-ar)
find_program(VOS_CROSS_RANLIB NAMES ${VOS_CROSS_PREFIX}ranlib llvm-ranlib)
if(NOT VOS_CROSS_CC OR NOT VOS_CROSS_CXX OR NOT VOS_CROSS_AR OR NOT VOS_CROSS_RANLIB)
    message(FATAL_ERROR "missing: ${VOS_CROSS_PREFIX}gcc and its tools; set VOS_CROSS_PREFIX or run scripts/target.sh")
endif()
set(CMAKE_C_COMPILER ${VOS_CROSS_CC})
set(CMAKE_CXX_COMPILER ${VOS_CROSS_CXX})
set(CMAKE_AR ${VOS_CROSS_AR} CACHE FILEPATH "")
set(CMAKE_RANLIB ${VOS_CROSS_RANLIB} CACHE FILEPATH "")

# Nothing of the machine that builds: its headers and libraries are for another processor.
set(CMAKE_FIND_ROOT_PATH ${VOS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind IN ITEMS LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${VOS_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${VOS_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${VOS_SYSROOT}/usr/lib/pkgconfig)

if(VOS_EMULATOR)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${VOS_EMULATOR})
endif()
