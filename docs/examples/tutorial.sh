#!/usr/bin/env bash
# tutorial.sh SOURCE_DIR BUILD_DIR c|cpp CMAKE CC CXX SANITIZE: installs the build, then does what the tutorial says with
# its files, from an empty directory to a package; in private namespaces with an empty /tmp.
set -euo pipefail
source=$1 build=$2 language=$3 cmake=$4
export CC=$5 CXX=$6
[ -z "$7" ] || export CFLAGS=-fsanitize=$7 CXXFLAGS=-fsanitize=$7

if [ "${8:-}" != --inside ]; then
    for try in "" "--user --map-root-user"; do
        # shellcheck disable=SC2086 # the options are words
        if unshare $try --mount --ipc true 2> /dev/null; then
            exec unshare $try --mount --ipc "$0" "$@" --inside
        fi
    done
    echo "this account may not create namespaces"
    exit 77
fi
# The checkout stays visible where it lies below /tmp.
exec {sourceFd}< "$source" {buildFd}< "$build"
mount -t tmpfs -o mode=1777 tmpfs /tmp
for place in "$source:$sourceFd" "$build:$buildFd"; do
    [ -d "${place%:*}" ] || { mkdir -p "${place%:*}" && mount --bind "/proc/$$/fd/${place##*:}" "${place%:*}"; }
done

DESTDIR=/tmp/root "$cmake" --install "$build" > /tmp/log
prefix=/tmp/root$(sed -n 's/^prefix=//p' "$build/vos.pc")
PATH=$prefix/bin:$PATH
LD_LIBRARY_PATH=$(dirname "$(find /tmp/root -name 'libvos.so.1')")
export PATH LD_LIBRARY_PATH CMAKE_PREFIX_PATH=$prefix
mkdir /tmp/meshd
cp "$source"/examples/tutorial/* /tmp/meshd
cd /tmp/meshd

# said COMMAND…: quiet unless it fails.
said() { "$@" > /tmp/log 2>&1 || { cat /tmp/log && exit 1; }; }
said "$cmake" -B build -DMESHD_LANGUAGE="$language"
said "$cmake" --build build
said ctest --test-dir build --output-on-failure
cd build
said cpack
dpkg-deb --contents meshd_1.0.0_*.deb | grep ' ./usr/sbin/meshd$'
