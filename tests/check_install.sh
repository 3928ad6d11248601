#!/bin/sh
# check_install.sh CMAKE BUILD_DIR CONSUMER_DIR SANITIZE: installs into a scratch directory and builds and runs a C11
# program through pkg-config and a C++17 program through find_package against it, each with the shared library and with all
# of the static one, the C11 program also with -static.
set -eu
cmake=$1
build=$2
consumer=$(realpath "$3")
sanitize=$4
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
flags=
[ -z "$sanitize" ] || flags="-fsanitize=$sanitize"

DESTDIR=$scratch/root $cmake --install "$build" > "$scratch/install.log"
prefix=$(sed -n 's/^prefix=//p' "$build/vos.pc")
libdir=$scratch/root$(dirname "$(dirname "$(find "$scratch/root" -name vos.pc | sed "s|^$scratch/root||")")")

interface=
[ ! -x "$scratch/root$prefix/bin/vosgen" ] || interface=$consumer/../../examples/meshd.toml
export PKG_CONFIG_PATH="$libdir/pkgconfig"
whole_archive="s|-lvos|-Wl,--whole-archive,$libdir/libvos.a,--no-whole-archive|"
vos_flags() { pkg-config --define-variable=prefix="$scratch/root$prefix" "$@" vos; }
# shellcheck disable=SC2046
cc -std=c11 -Wall -Wextra -Werror $flags "$consumer/consumer.c" $(vos_flags --cflags --libs) -o "$scratch/c_consumer"
LD_LIBRARY_PATH=$libdir "$scratch/c_consumer"
# shellcheck disable=SC2046
cc -std=c11 $flags "$consumer/consumer.c" $(vos_flags --cflags --libs --static | sed "$whole_archive") -o "$scratch/c_consumer"
"$scratch/c_consumer"
if [ -z "$sanitize" ]; then
    # Nothing is left to load: the line of the manual's page on porting, with all of the library.
    # shellcheck disable=SC2046
    cc -std=c11 -static "$consumer/consumer.c" $(vos_flags --cflags --libs --static | sed "$whole_archive") \
        -o "$scratch/c_consumer" 2> "$scratch/static.log" || { cat "$scratch/static.log"; exit 1; }
    "$scratch/c_consumer"
    if readelf -l "$scratch/c_consumer" | grep INTERP; then exit 1; fi
fi

$cmake -S "$consumer" -B "$scratch/cxx" -DCMAKE_PREFIX_PATH="$scratch/root$prefix" -DCMAKE_CXX_FLAGS="$flags" \
    ${interface:+"-DINTERFACE=$interface"} \
    > "$scratch/cmake.log" || { cat "$scratch/cmake.log"; exit 1; }
$cmake --build "$scratch/cxx" > "$scratch/build.log" || { cat "$scratch/build.log"; exit 1; }
LD_LIBRARY_PATH=$libdir "$scratch/cxx/consumer"
"$scratch/cxx/static_consumer"
if [ -n "$interface" ]; then
    LD_LIBRARY_PATH=$libdir "$scratch/cxx/described_consumer"
    DESTDIR=$scratch/root $cmake --install "$scratch/cxx" --prefix "$prefix" > "$scratch/install.log"
    for file in meshd.toml meshd.lua vos.toml hub.lua; do
        [ -f "$scratch/root$prefix/share/vos/interfaces/$file" ] || { echo "$file is not installed"; exit 1; }
    done
fi

for tool in vos-hubd vosctl vosgen; do
    [ -x "$scratch/root$prefix/bin/$tool" ] || { echo "$tool is not installed"; exit 1; }
    LD_LIBRARY_PATH=$libdir "$scratch/root$prefix/bin/$tool" --help > /dev/null
done
