#!/bin/sh
# check_library.sh LIBVOS.SO MAP [SONAME…]: no C++ runtime, no unexpected NEEDED, least of all the libraries that are opened
# at first use, exports exactly as the map lists them.
set -eu
lib=$1
map=$2
shift 2
late=" $* "
status=0

needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for name in $needed; do
    case $late in
        *" $name "*) echo "NEEDED at load, yet opened at first use: $name"; status=1 ;;
    esac
    case $name in
        libc.so* | libdl.so* | libcrypto.so* | libcrypt.so* | liblog.so* | ld-linux* | libutil.so*) ;;
        *) echo "unexpected NEEDED: $name"; status=1 ;;
    esac
done

undefined=$(nm -D --undefined-only "$lib" | awk '{print $2}' |
    grep -E '^(_Z|__cxa_(throw|begin|end|guard|allocate|pure)|__gxx|_Unwind|__dynamic_cast)' || true)
if [ -n "$undefined" ]; then
    echo "C++ runtime symbols: $undefined"
    status=1
fi

exported=$(nm -D --defined-only "$lib" | awk '$2 != "A" {print $3}' | sed 's/@.*//' | sort -u)
listed=$(sed -n 's/^    \([A-Za-z_][A-Za-z_0-9]*\);$/\1/p' "$map" | sort -u)
if [ "$exported" != "$listed" ]; then
    echo "exports differ from the version map (< exported, > listed):"
    echo "$exported" > "$map.exported"
    echo "$listed" | diff "$map.exported" - || true
    status=1
fi

if readelf -S "$lib" | grep -qE '\.(init_array|ctors)' &&
    [ "$(readelf -S -W "$lib" | awk '$2 == ".init_array" || $3 == ".init_array" {for (i = 1; i <= NF; i++) if ($i == "INIT_ARRAY") print $(i + 3)}')" != "000008" ]; then
    echo "the library runs constructors at load"
    status=1
fi
exit $status
