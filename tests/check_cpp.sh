#!/bin/sh
# check_cpp.sh SOURCE_DIR: vos.hpp and loop.h, and macros of the C headers in C++, in the strictest warnings of both compilers.
set -eu
source=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cat > "$scratch/use.cpp" << 'END'
#include VOS_HEADER
void use(void *block);
void use(void *block) {
    block = VOS_MALLOC_FLAGS(1, ALLOC_ZEROIZE);
    VOS_LOG_NOTICE("%p", block);
    VOS_DBG_DEBUG("%p", block);
    VOS_FREE(block);
    UTIL_ASSERT(true);
}
END
sed '/VOS_DBG_DEBUG/d' "$scratch/use.cpp" > "$scratch/use17.cpp"
printf '#include <vos/loop.h>\nint use(VosLoop *loop);\nint use(VosLoop *loop) { return vosLoop_run(loop); }\n' > "$scratch/loop.c"
cp "$scratch/loop.c" "$scratch/loop.cpp"
warnings="-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wdouble-promotion -Werror -I$source/include"
cxx="$warnings -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual"
status=0
check() { "$@" -fsyntax-only || { echo "warns: $*"; status=1; }; }
for compiler in g++ clang++; do
    command -v "$compiler" > /dev/null || continue
    # shellcheck disable=SC2086 # the options are words
    for standard in c++20 c++2b; do
        printf '' | "$compiler" -std=$standard -x c++ -fsyntax-only - 2> /dev/null || continue
        for mode in "" "-fno-exceptions -fno-rtti"; do
            check "$compiler" -std=$standard $mode $cxx '-DVOS_HEADER=<vos/vos.hpp>' "$scratch/use.cpp"
        done
    done
    for use in "$source"/examples/*.cpp "$source"/docs/examples/*.cpp "$source"/docs/examples/cookbook/*.cpp; do
        check "$compiler" -std=c++20 $cxx "$use"
    done
    # shellcheck disable=SC2086
    for standard in c++17 c++20; do
        check "$compiler" -std=$standard $cxx '-DVOS_HEADER=<vos/vos.h>' "$scratch/use17.cpp"
        check "$compiler" -std=$standard $cxx "$scratch/loop.cpp"
    done
done
# shellcheck disable=SC2086
for compiler in gcc clang; do
    ! command -v "$compiler" > /dev/null ||
        check "$compiler" -std=c11 -D_GNU_SOURCE $warnings -Wstrict-prototypes -Wmissing-prototypes "$scratch/loop.c"
done
exit $status
