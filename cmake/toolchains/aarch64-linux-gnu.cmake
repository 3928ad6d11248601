# 64-bit Arm with glibc. VOS_SYSROOT is a whole root directory, libc included.
set(vos_usual_prefix aarch64-linux-gnu-)
include(${CMAKE_CURRENT_LIST_DIR}/aarch64.cmake)
set(CMAKE_SYSROOT ${VOS_SYSROOT})
