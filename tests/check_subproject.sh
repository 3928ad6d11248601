#!/bin/sh
# check_subproject.sh CMAKE SOURCE_DIR: builds the library as part of another project (tests/subproject), which checks that
# nothing of its own was changed; runs that project's programs and looks at what it installs.
set -eu
cmake=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
logged() { "$@" > "$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }; }

logged "$cmake" -G Ninja -S "$source/tests/subproject" -B "$scratch/build" -DVOS_SOURCE_DIR="$source" \
    -DVOS_WITH_GB18030=OFF
logged "$cmake" --build "$scratch/build"
for program in daemon-vos daemon-vos-static; do
    logged "$scratch/build/programs/$program"
done
# Nothing of the C++ runtime comes with it, and nothing but the user's own program is installed.
if readelf -d "$scratch/build/programs"/daemon-vos* | grep 'NEEDED.*libstdc'; then exit 1; fi
DESTDIR=$scratch/root logged "$cmake" --install "$scratch/build" --prefix /usr
installed=$(cd "$scratch/root" && find . -type f)
[ "$installed" = ./usr/bin/daemon-vos ] || { echo "installed: $installed"; exit 1; }
