#!/usr/bin/env bash
# Builds library, hub, tools, examples and tests for 64-bit Arm and runs the tests under emulation.
#   ./scripts/target.sh [musl] [glibc]        both lanes without arguments; installs what is missing
#   ./scripts/target.sh --within SECONDS …    a lane that cannot be prepared in that time is left out, which is
#                                             no failure the first time
#   ./scripts/target.sh --env musl            prints the environment for `cmake --preset musl-aarch64` by hand
# A cross toolchain of your own for the musl lane: VOS_CROSS_PREFIX=/opt/…/aarch64-linux-musl-
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd -P)
cd "$root"
# shellcheck source=scripts/target/cache.sh
. scripts/target/cache.sh

zig_version=0.16.0
# What the library, its tools and its tests link, as Debian has it for the target.
glibc_packages=(android-liblog-dev libc6-dev libcli11-dev libcrypt-dev libexpat1-dev libgmock-dev libgtest-dev libicu-dev
    libssl-dev libstdc++-12-dev libtiff-dev nlohmann-json3-dev zlib1g-dev)

prepare_musl() {
    local zig=$vos_cache/zig-$zig_version/bin/aarch64-linux-musl- key=zig-$zig_version
    local prefix=${VOS_CROSS_PREFIX:-$zig}
    if [ "$prefix" = "$zig" ]; then
        command -v npm > /dev/null || install_packages npm >&2
        cached "zig-$zig_version" recipe_zig "$zig_version" "$vos_cache/zig-$zig_version" > /dev/null
    else
        command -v "${prefix}cc" "${prefix}gcc" > /dev/null || die "VOS_CROSS_PREFIX=$prefix: no ${prefix}gcc there"
        key=$(printf '%s' "$prefix" | tr -c 'A-Za-z0-9_.\n-' _)
    fi
    local runtime crypto
    runtime=$(cached musl-runtime recipe_musl_runtime)
    crypto=$(cached "libcrypto-$key" recipe_libcrypto "$prefix" "/usr")
    VOS_SYSROOT=$(cached "musl-aarch64-$key" recipe_musl_sysroot "$prefix" "$runtime" "$crypto")
    VOS_CROSS_PREFIX=$prefix
}

prepare_glibc() {
    need aarch64-linux-gnu-g++ g++-aarch64-linux-gnu
    VOS_CROSS_PREFIX=aarch64-linux-gnu-
    VOS_SYSROOT=$(cached glibc-aarch64 recipe_debian_sysroot arm64 "${glibc_packages[@]}")
}

# The tests that a lane leaves out, from scripts/target/skipped.txt, as one regular expression.
skipped() {
    awk -v lane="$1" '!/^#/ && ($1 == lane || $1 == "both") {print $2}' scripts/target/skipped.txt | paste -sd '|'
}

# not_prepared LANE: fails when the preparation failed the last time too, although what it fetches can be fetched.
not_prepared() {
    local mark=$vos_cache/$1.not-prepared
    if [ -e "$mark" ] && timeout 60 apt-get update -q -o APT::Update::Error-Mode=any > /dev/null 2>&1 &&
        { ! command -v npm || timeout 60 npm ping; } > /dev/null 2>&1; then
        echo "== $1: FAILED, it could not be prepared twice in a row and the registries can be reached"
        return 1
    fi
    mkdir -p "$vos_cache"
    touch "$mark"
}

run_lane() (
    local lane=$1 preset=$1-aarch64 skip
    mkdir -p build
    [ -z "$within" ] || export VOS_PREPARE_UNTIL=$((EPOCHSECONDS + within))
    # A process of its own, because set -e is off in a condition.
    if ! { "$BASH" scripts/target.sh --env "$lane" > "build/$preset.env" && scripts/target/emulate.sh true; } 2>&1 |
        tee "build/$preset.log" >&2; then
        [ -n "$within" ] || exit 1
        echo "== $preset: NOT RUN, the lane could not be prepared: $(tail -n 1 "build/$preset.log")"
        not_prepared "$lane"
        exit
    fi
    rm -f "$vos_cache/$lane.not-prepared"
    # shellcheck source=/dev/null
    . "build/$preset.env"
    echo "== $preset: build"
    cmake --preset "$preset" > "build/$preset.log" || { tail -n 20 "build/$preset.log"; exit 1; }
    sed -n 's/^-- left out/left out/p' "build/$preset.log"
    cmake --build --preset "$preset"
    echo "== $preset: tests"
    skip=$(skipped "$lane")
    scripts/target/emulate.sh ctest --preset "$preset" -j "$(nproc)" --progress \
        --output-junit "$root/build/$preset/tests.xml" ${skip:+-E "^($skip)\$"}
    if [ -n "$skip" ]; then
        echo "== $preset: tests that were left out, and why"
        awk -v lane="$lane" '!/^#/ && ($1 == lane || $1 == "both") {$1 = ""; print " " $0}' scripts/target/skipped.txt
    fi
)

print_env() (
    "prepare_$1"
    printf 'export VOS_CROSS_PREFIX=%q VOS_SYSROOT=%q\n' "$VOS_CROSS_PREFIX" "$VOS_SYSROOT"
    printf 'export VOS_EMULATOR=%q QEMU_LD_PREFIX=%q\n' "qemu-aarch64;-L;$VOS_SYSROOT" "$VOS_SYSROOT"
)

lanes=()
action=run_lane
within=
while [ $# -gt 0 ]; do
    case $1 in
        musl | glibc) lanes+=("$1") ;;
        --env) action=print_env ;;
        --within)
            within=${2:?seconds}
            shift
            ;;
        *) die "unknown lane $1; lanes are: musl glibc" ;;
    esac
    shift
done
[ ${#lanes[@]} -gt 0 ] || lanes=(musl glibc)
if [ $action = print_env ]; then
    install_packages build test target >&2 || {
        ! time_is_over || say "could not install these packages: its time was over"
        exit 1
    }
fi
for lane in "${lanes[@]}"; do
    "$action" "$lane"
done
