#!/usr/bin/env bash
# Builds and tests the library with every combination of the families that a firmware may leave out.
#   ./scripts/combinations.sh [GB18030 SECURITY ANDROID_LOG]…   e.g. OFF ON OFF for one of them; all eight without arguments
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
install_packages build test

# try GB18030 SECURITY ANDROID_LOG: one directory for each, so that a second run only builds what changed.
try() {
    local dir=build/combinations/gb18030-$1.security-$2.android-$3 names
    echo "== VOS_WITH_GB18030=$1 VOS_WITH_SECURITY=$2 VOS_WITH_ANDROID_LOG=$3"
    cmake -G Ninja -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DVOS_WERROR=ON -DVOS_BUILD_TESTS=ON \
        -DVOS_WITH_GB18030="$1" -DVOS_WITH_SECURITY="$2" -DVOS_WITH_ANDROID_LOG="$3" > "$dir.log"
    cmake --build "$dir" >> "$dir.log" || { tail -n 20 "$dir.log"; return 1; }
    ctest --test-dir "$dir" -j "$(nproc)" --output-on-failure --progress >> "$dir.log" || { tail -n 40 "$dir.log"; return 1; }
    grep 'tests passed' "$dir.log"
    # What is left out leaves nothing behind: no export, no library, no header.
    names=$(nm -D --defined-only "$dir/libvos.so.1"; readelf -d "$dir/libvos.so.1"
        grep -ao 'libcrypto[.a-z0-9]*' "$dir/libvos.so.1" || true; DESTDIR=$PWD/$dir/root cmake --install "$dir")
    expect "$1" 'UTF8|gb18030.h' "$(grep -iE 'EncodeToUTF8|/gb18030\.h' <<< "$names" || true)"
    expect "$2" 'libcrypto|security.h' "$(grep -E 'libcrypto|/security\.h' <<< "$names" || true)"
    expect "$3" 'liblog' "$(grep -E '\[liblog' <<< "$names" || true)"
    rm -rf "$dir/root"
}

# expect ON|OFF WHAT FOUND
expect() {
    if [ "$1" = OFF ] && [ -n "$3" ]; then
        echo "left out, yet there ($2):" && echo "$3" && return 1
    elif [ "$1" = ON ] && [ -z "$3" ]; then
        echo "built in, yet missing: $2" && return 1
    fi
}

mkdir -p build/combinations
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
fi
