SUMMARY = "Runtime library for home-gateway daemons"
DESCRIPTION = "Messages between processes through a hub, a log, memory, timers, child processes, and helpers for text, \
addresses and data formats, with a plain C interface and without the C++ runtime."
HOMEPAGE = "https://gateway.invalid/libvos"
BUGTRACKER = "https://gateway.invalid/libvos/issues"
SECTION = "libs"
LICENSE = "BSD-2-Clause"
LIC_FILES_CHKSUM = "file://LICENSE;md5=559b93f2bdeb5660e3096897ad4c2919"

LIBVOS_MIRROR ?= "https://downloads.gateway.invalid"
SRC_URI = "${LIBVOS_MIRROR}/libvos-${PV}.tar.gz"
# The hash of the release that you build belongs here: SRC_URI[sha256sum] = "…"

inherit cmake pkgconfig

PACKAGECONFIG ??= "security gb18030 console-log semtimedop-fallback"
# libcrypto, and with glibc libcrypt, are opened at first use: the scan for shared libraries does not see them.
PACKAGECONFIG[security] = "-DVOS_WITH_SECURITY=ON,-DVOS_WITH_SECURITY=OFF,openssl,libcrypto"
PACKAGECONFIG[gb18030] = "-DVOS_WITH_GB18030=ON,-DVOS_WITH_GB18030=OFF"
PACKAGECONFIG[console-log] = "-DVOS_WITH_CONSOLE_LOG=ON,-DVOS_WITH_CONSOLE_LOG=OFF"
PACKAGECONFIG[semtimedop-fallback] = "-DVOS_SEMTIMEDOP_FALLBACK=ON,-DVOS_SEMTIMEDOP_FALLBACK=OFF"
# Hub and command-line tools for development images; CLI11, the JSON and the TOML library come from meta-oe.
PACKAGECONFIG[tools] = "-DVOS_BUILD_TOOLS=ON,-DVOS_BUILD_TOOLS=OFF,cli11 nlohmann-json tomlplusplus ncurses"
DEPENDS:append:libc-glibc = " virtual/crypt"
RDEPENDS:${PN}:append:class-target:libc-glibc = " libxcrypt"

EXTRA_OECMAKE += "-DVOS_BUILD_EXAMPLES=OFF -DVOS_BUILD_PYTHON=OFF -DVOS_WITH_ANDROID_LOG=OFF"

PACKAGE_BEFORE_PN = "vos-tools vosmini"
FILES:vos-tools = " \
    ${bindir}/vos-hubd \
    ${bindir}/vosctl \
    ${bindir}/vosgen \
    ${datadir}/bash-completion/completions/vosctl \
    ${datadir}/vos-tools \
    ${datadir}/vos/interfaces \
"

FILES:vosmini = "${bindir}/vosmini"

BBCLASSEXTEND = "native nativesdk"
