#!/bin/sh
# check_interfaces.sh VOSGEN SOURCE_DIR: what is kept of the descriptions is what vosgen makes of them now; what it makes in C
# and C++ compiles alone in the strictest warnings of both compilers, and as Python.
set -eu
vosgen=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
status=0
check() { "$@" || { echo "fails: $*"; status=1; }; }

"$vosgen" names "$source"/interfaces/vos.toml "$source"/interfaces/hub.toml > "$scratch/msg_types.inc"
check diff "$scratch/msg_types.inc" "$source/tools/common/msg_types.inc"
"$vosgen" c "$source/interfaces/hub.toml" > "$scratch/hub.h"
check diff "$scratch/hub.h" "$source/tools/common/hub.h"
for file in "$source"/interfaces/*.toml "$source"/examples/*.toml; do
    name=$(basename "$file" .toml)
    "$vosgen" lua "$file" > "$scratch/$name.lua"
    [ "$(dirname "$file")" != "$source/interfaces" ] || check diff "$scratch/$name.lua" "${file%.toml}.lua"
    "$vosgen" c "$file" > "$scratch/$name.h"
    "$vosgen" cpp "$file" > "$scratch/$name.hpp"
    "$vosgen" python "$file" > "$scratch/$name.py"
    check python3 -c 'import ast, sys; ast.parse(open(sys.argv[1]).read())' "$scratch/$name.py"
    for suffix in h hpp; do
        printf '#include "%s.%s"\n#include "%s.%s"\nextern int unused;\n' "$name" $suffix "$name" $suffix > "$scratch/use.$suffix"
    done
    warnings="-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wcast-qual -Werror -fsyntax-only
        -I$source/include -I$scratch"
    for compiler in gcc clang; do
        # shellcheck disable=SC2086 # the options are words
        ! command -v $compiler > /dev/null || check $compiler -std=c11 -x c $warnings -Wstrict-prototypes "$scratch/use.h"
    done
    for compiler in g++ clang++; do
        # shellcheck disable=SC2086
        ! command -v $compiler > /dev/null || {
            check $compiler -std=c++17 -x c++ $warnings -Wold-style-cast "$scratch/use.h"
            check $compiler -std=c++20 -x c++ $warnings -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual "$scratch/use.hpp"
        }
    done
done
exit $status
