# Sourced by scripts/footprint.sh: an idle daemon on an emulated gateway, with a kernel and a root file system of its own.
# Memory is what the kernel there says; times are the emulator's and are left out.
# shellcheck source=scripts/target/cache.sh
. scripts/target/cache.sh

idle() { "${VOS_CROSS_PREFIX}cc" -Os -fPIC -D_GNU_SOURCE scripts/footprint/idle.c "$@"; }

# device_root DIRECTORY BUILD KERNEL: what the gateway has in its flash.
device_root() {
    local root=$1 dir=$2 kernel=$3 libcrypto=$VOS_SYSROOT/usr/lib/libcrypto.so.3
    mkdir -p "$root"/{bin,dev,lib,proc,tmp,usr/lib,var}
    cp "$kernel/busybox" "$dir/bin/vos-hubd" "$root/bin/"
    cp "$VOS_SYSROOT/usr/lib/libc.so" "$libcrypto" "$dir/libvos.so.1" "$root/usr/lib/"
    aarch64-linux-gnu-strip "$root"/usr/lib/*.so*
    ln -s /usr/lib/libc.so "$root/lib/ld-musl-aarch64.so.1"
    # Not needed by the bare program, but some compilers would link one statically without any shared library.
    idle -DBARE -Wl,--as-needed "$libcrypto" -o "$root/bin/idle_bare"
    idle -Iinclude -L"$dir" -lvos -o "$root/bin/idle_all"
    idle -Iinclude -L"$dir" -lvos -Wl,--no-as-needed "$libcrypto" -o "$root/bin/idle_linked"
    cat > "$root/bin/measure" <<'GUEST'
#!/bin/busybox sh
for dir in /proc /tmp /var; do
    /bin/busybox mount -t "$([ $dir = /proc ] && echo proc || echo tmpfs)" none $dir
done
vos-hubd &
until [ -S /var/hubd_messaging_server_addr ]; do /bin/busybox usleep 20000; done
for name in bare all linked; do
    for i in $(/bin/busybox seq 21); do echo "$name $(idle_$name)"; done
done
/bin/busybox poweroff -f
GUEST
    chmod +x "$root/bin/measure"
}

# device_first DIRECTORY KERNEL: what the kernel starts with; it goes on in the flash at once.
device_first() {
    mkdir -p "$1"/{bin,dev,flash}
    cp "$2/busybox" "$1/bin/"
    cp "$2"/*.ko "$1/"
    cat > "$1/init" <<'GUEST'
#!/bin/busybox sh
/bin/busybox mount -t devtmpfs none /dev
/bin/busybox insmod /loop.ko
/bin/busybox insmod /squashfs.ko
/bin/busybox mount -t squashfs -o loop,ro /flash.image /flash
/bin/busybox mount -o move /dev /flash/dev
exec /bin/busybox switch_root /flash /bin/measure
GUEST
    chmod +x "$1/init"
}

without_time() { sed 's/[^|]*|$//'; }

device_figures() (
    install_packages test target device
    local dir=build/footprint-musl kernel scratch name
    build_target "$dir" vos-hubd -DVOS_BUILD_TOOLS=ON
    kernel=$(cached kernel-arm64 recipe_kernel)
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    device_first "$scratch/first" "$kernel"
    device_root "$scratch/root" "$dir" "$kernel"
    mksquashfs "$scratch/root" "$scratch/first/flash.image" -all-root -quiet -no-progress
    (cd "$scratch/first" && find . | cpio --quiet -o -H newc) > "$scratch/first.cpio"
    timeout 600 qemu-system-aarch64 -machine virt -cpu cortex-a53 -m 256 -nic none -display none -monitor none -no-reboot \
        -serial "file:$dir.console" -kernel "$kernel/vmlinuz" -initrd "$scratch/first.cpio" \
        -append "console=ttyAMA0 quiet panic=1" < /dev/null || true
    echo
    echo "## an idle daemon on an emulated aarch64 machine with musl, after vosLog_init() and vosMsg_initEasy(): KiB"
    idle_head | without_time
    for name in bare all linked; do
        tr -d '\r' < "$dir.console" | sed -n "s/^$name //p" > "$scratch/figures"
        [ "$(wc -l < "$scratch/figures")" = 21 ] || die "the emulated machine did not get to its end; see $dir.console"
        idle_row "$name" "$scratch/figures" | without_time
    done
)
