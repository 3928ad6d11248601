#!/usr/bin/env bash
# Builds library, tools and examples with every combination of the families that a firmware may leave out, looks at what
# is installed and runs the tests.
#   ./scripts/combinations.sh [--quick] [GB18030 SECURITY ANDROID_LOG]…
# e.g. OFF ON OFF for one of them; all eight without arguments, and then the tests at each level of optimisation.
# --quick leaves the tests out, but for those of the data formats at -O1, as CI does.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
install_packages build test

# One directory for all: only what an option changes is built anew.
dir=build/combinations
log=$dir.log

# logged COMMAND…: shows what it said only when it fails.
logged() {
    "$@" >> "$log" 2>&1 || {
        echo FAILED
        tail -n 40 "$log"
        echo "the whole log: $log"
        return 1
    }
}

# try GB18030 SECURITY ANDROID_LOG
try() {
    local names
    printf 'VOS_WITH_GB18030=%-3s VOS_WITH_SECURITY=%-3s VOS_WITH_ANDROID_LOG=%-3s ' "$1" "$2" "$3"
    : > "$log"
    logged cmake -G Ninja -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DVOS_WERROR=ON -DVOS_BUILD_TESTS="$tests" \
        -DVOS_WITH_GB18030="$1" -DVOS_WITH_SECURITY="$2" -DVOS_WITH_ANDROID_LOG="$3"
    logged cmake --build "$dir"
    # What is left out leaves nothing behind: no export, no library, no header.
    logged tests/check_library.sh "$dir/libvos.so.1" "$dir/vos.map"
    logged tests/check_install.sh cmake "$dir" tests/consumer ""
    # libvos.so opens some libraries at first use: it names them in its data.
    names=$(nm -D --defined-only "$dir/libvos.so.1" && readelf -d "$dir/libvos.so.1" && cat "$dir/install_manifest.txt" &&
        { grep -aoE 'lib(crypto|log)[.]so[.0-9]*' "$dir/libvos.so.1" || true; })
    expect "$1" 'UTF8|gb18030.h' "$(grep -iE 'EncodeToUTF8|/gb18030\.h' <<< "$names" || true)"
    expect "$2" 'libcrypto|security.h' "$(grep -E 'libcrypto|/security\.h' <<< "$names" || true)"
    expect "$3" 'liblog' "$(grep -E '^liblog|\[liblog' <<< "$names" || true)"
    if [ $tests = ON ]; then
        logged ctest --test-dir "$dir" -j "$(nproc)" --output-on-failure --progress
        grep 'tests passed' "$log"
    else
        echo built
    fi
}

# expect ON|OFF WHAT FOUND
expect() {
    if [ "$1" = OFF ] && [ -n "$3" ]; then
        echo "left out, yet there ($2):" && echo "$3" && return 1
    elif [ "$1" = ON ] && [ -z "$3" ]; then
        echo "built in, yet missing: $2" && return 1
    fi
}

# optimised LEVEL [TEST…]: what a compiler makes of code that is not sound shows at some levels only.
optimised() {
    local level=$1 test targets=()
    shift
    printf 'optimised with %s: ' "$level"
    : > "$log"
    logged cmake -G Ninja -S . -B "$dir$level" -DCMAKE_BUILD_TYPE=None -DCMAKE_C_FLAGS="$level" \
        -DCMAKE_CXX_FLAGS="$level" -DVOS_BUILD_TESTS=ON -DVOS_TEST_LIBRARY_ONLY="$([ $# = 0 ] && echo OFF || echo ON)"
    for test in "$@"; do targets+=(--target "${test}_test"); done
    logged cmake --build "$dir$level" "${targets[@]}"
    for test in "$@"; do logged "$dir$level/bin/${test}_test"; done
    [ $# = 0 ] || { echo "$*" && return; }
    logged ctest --test-dir "$dir$level" -j "$(nproc)" --output-on-failure --progress
    grep 'tests passed' "$log"
}
formats=(codec digest gb18030 lzw text utf8 xml)

tests=ON
if [ "${1:-}" = --quick ]; then
    tests=OFF
    shift
fi
mkdir -p build
if [ $# -gt 0 ]; then
    while [ $# -gt 0 ]; do
        try "$1" "$2" "$3"
        shift 3
    done
else
    for gb18030 in ON OFF; do
        for security in ON OFF; do
            for android in ON OFF; do
                try "$gb18030" "$security" "$android"
            done
        done
    done
    if [ $tests = ON ]; then
        for level in -O0 -O1 -O2 -O3 -Os; do optimised $level; done
    else
        optimised -O1 "${formats[@]}"
    fi
fi
