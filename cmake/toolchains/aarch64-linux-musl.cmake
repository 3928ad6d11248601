# The gateway: 64-bit Arm with musl. The compiler brings musl; VOS_SYSROOT adds libcrypto.
set(vos_usual_prefix aarch64-linux-musl-)
include(${CMAKE_CURRENT_LIST_DIR}/aarch64.cmake)
# Programs reach data of shared libraries through the GOT: the libc that zig links against knows no data alignment.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
