#!/usr/bin/env bash
# Compares the library's ABI with the committed description of the last release; fails on an incompatible change.
#   scripts/abi.sh check LIBRARY    compare; status 0 compatible, 1 incompatible, 77 when abigail-tools is missing
#   scripts/abi.sh update [LIBRARY] describe LIBRARY, or a fresh build of it, in abi/libvos.abi: part of a release
# LIBRARY is a build with debug information. Additions are compatible.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
baseline=$root/abi/libvos.abi

case "${1:-}:$#" in
    check:2 | update:1 | update:2) ;;
    *)
        echo "usage: scripts/abi.sh check LIBRARY | update [LIBRARY]" >&2
        exit 2
        ;;
esac
if ! command -v abidw > /dev/null; then
    echo "abi.sh: abigail-tools is missing: apt-get install abigail-tools"
    exit 77
fi
library=${2:-}
if [ -z "$library" ]; then
    cmake -S . -B build/abi -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVOS_BUILD_TOOLS=OFF -DVOS_BUILD_EXAMPLES=OFF > /dev/null
    cmake --build build/abi --target vos > build/abi/build.log || {
        echo "abi.sh: the build failed; see build/abi/build.log" >&2
        exit 1
    }
    library=build/abi/libvos.so
fi
[ -e "$library" ] || { echo "abi.sh: there is no $library; build the target vos first" >&2; exit 1; }

opaque=(--suppressions abi/suppressions.ini)
if [ "$1" = update ]; then
    abidw --exported-interfaces-only --short-locs --no-corpus-path --no-comp-dir-path --no-elf-needed "$library" |
        sed "s|path='$root/|path='|" > "$baseline.new"
    mv "$baseline.new" "$baseline"
    echo "abi/libvos.abi describes $(grep -c '<elf-symbol ' "$baseline") symbols"
    exit 0
fi
[ -e "$baseline" ] || { echo "abi.sh: abi/libvos.abi is missing: scripts/abi.sh update" >&2; exit 1; }

# A changed structure or argument is only a "change" to abidiff (status 4), as new names are; without new names any
# change is one that a program built against the release could notice.
if ! abidiff --exported-interfaces-only "${opaque[@]}" --no-added-syms "$baseline" "$library"; then
    echo "the ABI changed incompatibly: mend it, or raise the major version and run scripts/abi.sh update"
    exit 1
fi
abidiff --exported-interfaces-only "${opaque[@]}" "$baseline" "$library" ||
    echo "only additions: new names stand below a line @VOS_1.x in src/exports; run scripts/abi.sh update at the release"
