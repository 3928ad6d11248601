#!/usr/bin/env bash
# Builds the Debian packages libvos1, libvos-dev, libvos-doc, vos-tools and python3-vos and their debug symbols into
# build/package and checks them: lintian, the exported symbols, and, where this account may chroot, a fresh Debian tree
# with the packages in which examples, template, test kit and sandbox are built and run. ./scripts/package.sh [--no-tree]
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
root=$PWD
build=$root/build/package
suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-stable}")
# Where this machine has its own packages from.
mirror=${VOS_DEBIAN_MIRROR:-$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' 'Origin: Debian' |
    awk -v suite="$suite" '$2 == suite {print $1; exit}')}

say() { printf '== %s\n' "$1"; }
fail() {
    echo "package.sh: $1" >&2
    exit 1
}
# fail_with LOG TEXT: the end of a log, then the line that says what failed.
fail_with() {
    tail -n 10 "$1" >&2
    fail "$2; all of it is in $1"
}

case "${1:-}" in
    "" | --no-tree) ;;
    *) fail "unknown argument '$1'; usage: ./scripts/package.sh [--no-tree]" ;;
esac
install_packages build docs package
command -v npm > /dev/null || install_packages npm

say "building"
flags="-g -ffile-prefix-map=$root=/usr/src/libvos -fstack-protector-strong -D_FORTIFY_SOURCE=2"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DVOS_BUILD_DOCS=ON \
    -DVOS_WITH_ANDROID_LOG=OFF -DCMAKE_C_FLAGS="${CFLAGS:-} $flags" -DCMAKE_CXX_FLAGS="${CXXFLAGS:-} $flags" \
    -DCMAKE_EXE_LINKER_FLAGS="-Wl,-z,relro -Wl,-z,now" > /dev/null
cmake --build "$build" > "$build/build.log" 2>&1 || fail_with "$build/build.log" "the build failed"
rm -f "$build"/*.deb "$build"/*.ddeb
(umask 022 && cd "$build" && cpack -G DEB > cpack.log 2>&1) || fail_with "$build/cpack.log" "cpack failed"
debs=("$build"/*.deb)
symbols=("$build"/*.ddeb)
for deb in "${debs[@]}" "${symbols[@]}"; do
    printf '%s: %s files, %s KiB installed, depends on %s\n' "${deb##*/}" "$(dpkg-deb -c "$deb" | grep -vc '/$')" \
        "$(dpkg-deb -f "$deb" Installed-Size)" "$(dpkg-deb -f "$deb" Depends)"
    printf '    %s\n' "$(dpkg-deb -f "$deb" Description | head -n 1)"
done
[ "$(for deb in "${debs[@]}"; do dpkg-deb -f "$deb" Description | head -n 1; done | sort -u | wc -l)" = ${#debs[@]} ] ||
    fail "two packages have one synopsis"

say "lintian"
lintian --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs --allow-root "${debs[@]}" "${symbols[@]}" ||
    fail "lintian complains"

say "the symbols file"
unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT
dpkg-deb -R "$build"/libvos1_*.deb "$unpacked/package"
version=$(dpkg-deb -f "$build"/libvos1_*.deb Version)
dpkg-gensymbols -plibvos1 -v"$version" -P"$unpacked/package" -I"$unpacked/package/DEBIAN/symbols" -O"$unpacked/symbols" -c4 ||
    fail "the symbols file is not what the library exports"
printf '%s symbols\n' "$(grep -c '@' "$unpacked/symbols")"
readelf -n "$unpacked"/package/usr/lib/*/libvos.so.1 | sed -n 's|.*Build ID: \(..\)|/\1/|p' > "$unpacked/id"
dpkg-deb -c "$build"/libvos1-dbgsym_*.ddeb > "$unpacked/list"
grep -qF "$(cat "$unpacked/id").debug" "$unpacked/list" ||
    fail "the debug symbols are not those of the library"

[ "${1:-}" != --no-tree ] || exit 0
[ "$(id -u)" = 0 ] || fail "the Debian tree needs root (chroot); --no-tree leaves it out"
tree=$(mktemp -d /var/tmp/vos-tree.XXXXXX)
trap 'umount -l "$tree/proc" 2> /dev/null || true; rm -rf --one-file-system "$tree" "$unpacked"' EXIT
say "a fresh Debian tree ($suite) with the packages"
[ -n "$mirror" ] || fail "no package source of $suite is configured; name one: VOS_DEBIAN_MIRROR=URL"
cache=$root/build/debootstrap
mkdir -p "$cache"
debootstrap --variant=minbase --include=gcc,libc6-dev,pkg-config --cache-dir="$cache" "$suite" "$tree" "$mirror" \
    > "$build/debootstrap.log" 2>&1 || fail_with "$build/debootstrap.log" "debootstrap of $suite from $mirror failed"
cp "${debs[@]}" "$tree/tmp/"
mkdir -p "$tree/src"
awk '/^```c$/ {code = 1; next} /^```$/ {code = 0} code' README.md > "$tree/src/exampled.c"
cp -r docs/examples "$tree/src/manual"
[ ! -e /etc/apt/apt.conf.d ] || cp -r /etc/apt/apt.conf.d/*prox* "$tree/etc/apt/apt.conf.d/" 2> /dev/null || true
cp /etc/resolv.conf "$tree/etc/" 2> /dev/null || true
chroot "$tree" sh -c 'apt-get update -q && apt-get install -q -y --no-install-recommends /tmp/*.deb g++ cmake make python3-pytest' \
    > "$build/install.log" 2>&1 || fail_with "$build/install.log" "the packages do not install"

say "the examples, built and run in that tree"
cat > "$tree/src/run" <<'INSIDE'
set -eu
cd /src
flags="-std=gnu11 -D_GNU_SOURCE"
examples=/usr/share/doc/libvos-dev/examples
for source in "$examples"/*.c; do
    gcc $flags -Wall -o "/usr/local/bin/$(basename "$source" .c)" "$source" $(pkg-config --cflags --libs vos)
done
mkdir -p /plugin/bin /var/run/netns
: > /var/run/netns/guest
printf 'Name: com.operator.example\nImportInterface: wifi, led\n' > /plugin/Info.plugin
rm -f /tmp/*.deb
vos-hubd > /hub.log 2>&1 &
hub=$!
until [ -S /var/hubd_messaging_server_addr ]; do sleep 0.05; done
cd /plugin/bin
failed=0
for source in /src/manual/*.c; do
    name=$(basename "$source" .c)
    gcc $flags -o "/src/manual_$name" "$source" $(pkg-config --cflags --libs vos)
    sed -n '/^\/\* Prints:$/,/^\*\/$/p' "$source" | sed '1d;$d' > /expected
    "/src/manual_$name" | sed 's/\x1b\[[0-9;]*m//g' > /printed || true
    if diff /expected /printed; then
        echo "ok $name"
    else
        echo "FAILED $name"
        failed=1
    fi
done
echo_daemon --name echo > /dev/null &
echo=$!
for i in 1 2 3 4 5 6 7 8 9; do vosctl list | grep -q ' echo ' && break; sleep 0.1; done
vosctl ping echo -c 100 && client echo "from the tree" && kill "$echo" "$hub" && wait || failed=1
"$examples"/ci-sample/ci.sh /src/exampled.c || failed=1
cp -r "$examples/template" /src/lampd
cmake -S /src/lampd -B /src/lampd/build > /template.log && cmake --build /src/lampd/build >> /template.log &&
    ctest --test-dir /src/lampd/build --output-on-failure || { cat /template.log; failed=1; }
sh -n "$examples"/units/exampled.init || failed=1
mkdir /src/tests
cat > /src/tests/test_echo.py << 'END'
pytest_plugins = ["vos.testing"]
def test_it_is_a_kit(daemon, client, traffic):
    daemon("echo_daemon", "--name", "echo")
    assert client.request("echo", 0x1000F010, b"hello").payload == b"hello"
    assert any(each.message.payload == b"hello" for each in traffic.messages)
END
vosctl sandbox --no-hub -- python3 -m pytest -q -p no:cacheprovider /src/tests || failed=1
vosctl sandbox -- sh -c 'echo_daemon --name echo > /dev/null & vosctl wait echo && vosctl list --json' || failed=1
for page in man3/vos_msg.3 man3/vosMsg_init.3 man1/vosctl.1 man1/vosgen.1 man1/vosmini.1 man8/vos-hubd.8; do
    [ -e "/usr/share/man/$page.gz" ] || { echo "no $page"; failed=1; }
done
[ -e /usr/share/doc/libvos-doc/html/manual_msg.html ] || failed=1
exit $failed
INSIDE
# A mount of its own, so that the programs inside can have namespaces too.
# shellcheck disable=SC2016 # for the shell inside
unshare --mount --ipc --net --pid --fork --kill-child sh -c 'mount --bind "$1" "$1" && mount -t proc proc "$1/proc" &&
    exec env -i HOME=/root PATH="$PATH" chroot "$1" timeout 300 sh /src/run' sh "$tree" ||
    fail "the examples do not run in the tree"
say "done: ${debs[*]##*/}"
