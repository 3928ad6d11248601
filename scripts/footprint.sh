#!/usr/bin/env bash
# Prints what the library costs a gateway: sections of the stripped library for 64-bit Arm with musl; memory of an idle
# daemon on a whole emulated machine of that kind; memory and start-up time of one on the machine that runs this.
#   ./scripts/footprint.sh [target | device | idle | peers]…   all four without arguments
set -euo pipefail
self=$(cd "$(dirname "$0")" && pwd -P)/${0##*/}
cd "$(dirname "$self")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
export CMAKE_GENERATOR=Ninja

# build DIRECTORY TARGET OPTION…
build() {
    local dir=$1 target=$2
    shift 2
    mkdir -p build
    cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=MinSizeRel -DVOS_BUILD_EXAMPLES=OFF "$@" > "$dir.log" &&
        cmake --build "$dir" --target "$target" >> "$dir.log" || { tail -n 20 "$dir.log" >&2; return 1; }
}

# section FILE PATTERN…: bytes of the sections whose names match one of the patterns whole.
section() {
    local file=$1
    shift
    { size -A -d "$file" 2> /dev/null || aarch64-linux-gnu-size -A -d "$file"; } |
        awk -v pattern="^($(IFS='|' && echo "$*"))\$" '$1 ~ pattern {sum += $2} END {print sum + 0}'
}

# figures NAME FILE: one row of the table.
figures() {
    local name=$1 file=$2 stripped tables relocations
    stripped=$(mktemp)
    tables=${file%/*}/CMakeFiles/vos_objects.dir/src/util/gb18030/tables.cpp.o
    if [ -e "$tables" ]; then tables=$(section "$tables" '[.]rodata.*'); else tables=0; fi
    aarch64-linux-gnu-strip --strip-all -o "$stripped" "$file" 2> /dev/null || strip --strip-all -o "$stripped" "$file"
    relocations=$(readelf -rW "$stripped" | grep -cE '^[0-9a-f]{12,}')
    printf '| %s | %d | %d | %d | %d | %d | %d | %d | %s | %d |\n' "$name" \
        "$(section "$stripped" '[.]text' '[.]plt' '[.]init' '[.]fini')" \
        "$(($(section "$stripped" '[.]rodata.*') - tables))" "$tables" \
        "$(section "$stripped" '[.]data' '[.]data[.]rel[.]ro.*' '[.]got.*' '[.]dynamic' '[.]init_array' '[.]fini_array')" \
        "$(section "$stripped" '[.]bss')" "$relocations" \
        "$(nm -D --defined-only "$stripped" | awk '$2 != "A"' | wc -l)" \
        "$(readelf -d "$stripped" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | paste -sd ' ')" "$(stat -c %s "$stripped")"
    rm -f "$stripped"
}

table_head() {
    echo '| library | text | read-only data | conversion tables | data | bss | relocations | exports | NEEDED | file |'
    echo '|---|---|---|---|---|---|---|---|---|---|'
}

# build_target DIRECTORY TARGET OPTION…
build_target() {
    eval "$(scripts/target.sh --env musl)"
    build "$@" --toolchain cmake/toolchains/aarch64-linux-musl.cmake
}

target_figures() {
    local dir=build/footprint-musl
    build_target "$dir" vos -DVOS_BUILD_TOOLS=OFF
    build_target "$dir" vosmini -DVOS_BUILD_TOOLS=OFF
    build_target "$dir-small" vos -DVOS_BUILD_TOOLS=OFF -DVOS_WITH_GB18030=OFF
    echo "## aarch64 musl, stripped, bytes"
    table_head
    figures "libvos without GB18030" "$dir-small/libvos.so.1"
    figures "libvos" "$dir/libvos.so.1"
    figures "vosmini" "$dir/bin/vosmini"
    echo
    echo "Text of the objects by family, bytes:"
    find "$dir-small/CMakeFiles" -path '*/vos_*objects.dir/*.o' ! -path '*static_objects*' | while read -r object; do
        name=${object#*/src/}
        name=${name#vos/linux/oal_}
        name=${name#vos/}
        name=${name#util/}
        name=${name%%.cpp.o}
        echo "${name%%/*} $(section "$object" '[.]text.*')"
    done | awk '{sum[$1] += $2} END {for (name in sum) print sum[name], name}' | sort -rn | sed 's/^/    /'
}

idle_head() {
    echo '| program | resident | private, written | private, read only | exec to the hub'\''s answer |'
    echo '|---|---|---|---|---|'
}

# idle_row NAME FILE: a row of the table from 21 runs: medians of memory, the fastest time, which a busy machine spoils last.
idle_row() {
    local column
    printf '| %s |' "$1"
    for column in 1,11 2,11 3,11 4,1; do
        printf ' %d |' "$(cut -d ' ' -f "${column%,*}" "$2" | sort -n | sed -n "${column#*,}p")"
    done
    echo
}

idle_inside() {
    local dir=$1 name i
    mount -t tmpfs tmpfs /tmp
    mount -t tmpfs tmpfs /var
    "$dir/bin/vos-hubd" > /dev/null 2>&1 &
    trap 'kill %1' EXIT
    until [ -S /var/hubd_messaging_server_addr ]; do sleep 0.02; done
    for name in bare all no_libcrypto; do
        for ((i = 0; i < 21; i++)); do "$dir/idle_$name"; done > "/tmp/$name"
        idle_row "$name" "/tmp/$name"
    done
}

idle_figures() {
    local dir=$PWD/build/footprint
    build "$dir" vos-hubd -DVOS_WITH_ANDROID_LOG=OFF # as where there is musl
    build "$dir-small" vos -DVOS_BUILD_TOOLS=OFF -DVOS_WITH_SECURITY=OFF -DVOS_WITH_ANDROID_LOG=OFF -DVOS_WITH_GB18030=OFF
    cc -Os -D_GNU_SOURCE -DBARE scripts/footprint/idle.c -o "$dir/idle_bare"
    cc -Os -D_GNU_SOURCE -Iinclude scripts/footprint/idle.c -L"$dir" -lvos -Wl,-rpath,"$dir" -o "$dir/idle_all"
    cc -Os -D_GNU_SOURCE -Iinclude scripts/footprint/idle.c -L"$dir-small" -lvos -Wl,-rpath,"$dir-small" \
        -o "$dir/idle_no_libcrypto"
    echo
    echo "## an idle daemon on $(uname -m) with glibc, after vosLog_init() and vosMsg_initEasy(): KiB, microseconds from exec"
    idle_head
    sync # pages of a file just built would count as written by the process
    unshare --mount --ipc --propagation private "$BASH" "$self" --inside "$dir"
}

# shellcheck source=scripts/footprint/device.sh
. scripts/footprint/device.sh

peers_figures() {
    echo
    echo "## other libraries as Debian builds them for $(uname -m), stripped, bytes"
    table_head
    local name file
    for name in libdbus-1.so.3 libglib-2.0.so.0 libgio-2.0.so.0; do
        file=$(/sbin/ldconfig -p | awk -v name="$name" '$1 == name {print $NF; exit}')
        [ -z "$file" ] || figures "$name" "$file"
    done
}

if [ "${1:-}" = --inside ]; then
    idle_inside "$2"
    exit
fi
install_packages build
[ $# -gt 0 ] || set -- target device idle peers
for part in "$@"; do "${part}_figures"; done
