#!/usr/bin/env bash
# check.sh BUILD_DIR: checks the recipes against a built tree. Syntax, version, licence, options; every installed file
# lands in one package and no recipe names a file that is not installed.
set -euo pipefail
build=$(realpath "${1:?usage: packaging/check.sh BUILD_DIR}")
cd "$(dirname "$0")"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
problems=0
problem() {
    echo "$1"
    problems=1
}
listing() { (cd "$1" && find . ! -type d | LC_ALL=C sort); }

# The installed tree as the recipes see it: libraries directly below /usr/lib.
for component in runtime dev tools mini; do
    cmake --install "$build" --component "$component" --prefix "$scratch/$component/usr" > "$scratch/install.log"
    for lib in "$scratch/$component"/usr/lib/*-linux-*; do
        [ ! -d "$lib" ] || { cp -a "$lib/." "$scratch/$component/usr/lib/" && rm -r "$lib"; }
    done
    rm -rf "$scratch/$component/usr/share/man" "$scratch/$component/usr/share/doc"
done
mkdir "$scratch/all"
cp -a "$scratch/runtime/." "$scratch/dev/." "$scratch/mini/." "$scratch/all/"
mkdir "$scratch/devel"
cp -a "$scratch/runtime/." "$scratch/dev/." "$scratch/devel/"

# Options that a recipe sets exist in the build.
options_exist() {
    grep -o -- '-DVOS_[A-Z0-9_]*' "$1" | sort -u | while read -r option; do
        grep -q "^${option#-D}:" "$build/CMakeCache.txt" || echo "$1: there is no option ${option#-D}"
    done
}

# --- OpenWrt: its own make code runs, with stand-ins for the build system around it
mkdir -p "$scratch/openwrt/include"
: > "$scratch/openwrt/rules.mk"
: > "$scratch/openwrt/include/cmake.mk"
cat > "$scratch/openwrt/include/package.mk" <<'MK'
SHELL := /bin/bash
INSTALL_DIR := install -d -m0755
CP := cp -fpR
define BuildPackage
all: $(1)
$(1):
	$(call Build/InstallDev,$(OUT)/dev)
	$(call Package/$(1)/install,$(OUT)/$(1))
	@echo '$(PKG_VERSION)' > $(OUT)/version
endef
MK
make -s -C openwrt/libvos TOPDIR="$scratch/openwrt" INCLUDE_DIR="$scratch/openwrt/include" OUT="$scratch/openwrt" \
    PKG_INSTALL_DIR="$scratch/all" || problem "OpenWrt: make fails"
[ "$(cat "$scratch/openwrt/version")" = "$version" ] || problem "OpenWrt: PKG_VERSION is not $version"
diff <(listing "$scratch/runtime") <(listing "$scratch/openwrt/libvos") ||
    problem "OpenWrt: Package/libvos/install differs from the run-time files"
diff <(listing "$scratch/mini") <(listing "$scratch/openwrt/vosmini") ||
    problem "OpenWrt: Package/vosmini/install differs from the installed files"
diff <(listing "$scratch/devel") <(listing "$scratch/openwrt/dev") ||
    problem "OpenWrt: Build/InstallDev differs from the installed files"

# --- Buildroot: files come from the project's own install step
cat > "$scratch/buildroot.mk" <<MK
cmake-package =
include $PWD/buildroot/package/libvos/libvos.mk
all:
	@echo '\$(LIBVOS_VERSION) \$(LIBVOS_DEPENDENCIES)'
MK
[[ "$(make -s -f "$scratch/buildroot.mk" BR2_PACKAGE_LIBVOS_SECURITY=y)" == "$version openssl"* ]] ||
    problem "Buildroot: version or dependencies are wrong"
(cd .. && sed -n 's/^sha256 //p' packaging/buildroot/package/libvos/libvos.hash | sha256sum -c --quiet -) ||
    problem "Buildroot: the licence's hash is stale"

# --- Yocto, and the configuration menus of all
# Debian's own Python has the parser of the menus.
python=/usr/bin/python3
[ -x "$python" ] || python=python3
"$python" check_recipes.py "$version" "$scratch" || problem "recipes need a look"

for recipe in openwrt/libvos/Makefile buildroot/package/libvos/libvos.mk \
    yocto/recipes-support/libvos/libvos_"$version".bb; do
    missing=$(options_exist "$recipe")
    [ -z "$missing" ] || problem "$missing"
done
[ "$problems" = 0 ] && echo "the recipes fit version $version"
