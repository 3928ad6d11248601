#!/usr/bin/env bash
# emulate.sh COMMAND…: runs it where the kernel starts programs for 64-bit Arm through qemu, so that children of
# emulated programs are emulated too. The registration lives in namespaces of its own; the machine is left as it is.
set -euo pipefail
# shellcheck source=scripts/target/cache.sh
. "$(dirname "$0")/cache.sh"
need qemu-aarch64 qemu-user

binfmt=/proc/sys/fs/binfmt_misc
# ELF, 64 bits, little-endian, executable or shared object, EM_AARCH64; F: the interpreter is opened now, whatever is
# mounted over its path later.
magic='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'

case ${1:-} in
    --in-namespaces)
        # Until all ids are mapped this process is nobody; the programs it then executes are root.
        until grep -q . /proc/self/uid_map && grep -q . /proc/self/gid_map; do sleep 0.01; done
        exec "$BASH" "$0" --mapped "${@:2}"
        ;;
    --mapped)
        mount -t binfmt_misc none "$binfmt"
        printf '%s' ":vos-aarch64:M::$magic:$mask:$(command -v qemu-aarch64):F" > "$binfmt/register"
        exec "${@:2}"
        ;;
esac

if grep -qs '^enabled' "$binfmt/qemu-aarch64"; then
    exec "$@"
fi
unshare --user --map-root-user --mount mount -t binfmt_misc none "$binfmt" 2> /dev/null ||
    die "this kernel keeps no interpreters for a namespace (Linux 6.7 does); register qemu for the machine:" \
        "apt-get install qemu-user-binfmt"
if [ "$(id -u)" != 0 ]; then
    exec unshare --user --map-root-user --mount "$BASH" "$0" --mapped "$@"
fi
unshare --user --mount "$BASH" "$0" --in-namespaces "$@" <&0 &
child=$!
trap 'kill $child' INT TERM
while [ "$(readlink "/proc/$child/ns/user")" = "$(readlink /proc/self/ns/user)" ]; do sleep 0.01; done
# All ids but the last, which stands for no id: tests give files to other users.
for map in uid_map gid_map; do echo "0 0 4294967295" > "/proc/$child/$map"; done
wait "$child"
