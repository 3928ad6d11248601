#!/bin/sh
# check_headers.sh STANDARD INCLUDE_DIR CC CXX: every public header compiles alone, with the warnings of this project.
set -eu
standard=$1
include=$2
case $standard in
    c++*) compiler=$4 language=c++ ;;
    *) compiler=$3 language=c ;;
esac
status=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for header in "$include"/vos/*.h "$include"/vos/loop/*.h; do
    name=${header#"$include"/}
    # Twice, so that a missing include guard shows.
    printf '#include "%s"\n#include "%s"\nextern int unused;\n' "$name" "$name" > "$scratch/header.$language"
    names=
    case $name in vos/loop*) names=-D_GNU_SOURCE ;; esac
    $compiler -std="$standard" -x $language -Wall -Wextra -Wshadow -Wconversion -Werror $names -I"$include" \
        -c "$scratch/header.$language" -o "$scratch/header.o" ||
        { echo "$name does not compile alone as $standard"; status=1; }
done
printf '%s\n' '#include "vos/dbg.h"' 'void say(int number);' \
    'void say(int number) { VOS_DBG_ERROR("text"); VOS_DBG_DEBUG("%d", number); }' > "$scratch/macros.$language"
$compiler -std="$standard" -x $language -Wall -Wextra -pedantic -Werror -I"$include" -c "$scratch/macros.$language" \
    -o "$scratch/macros.o" || { echo "the macros of vos/dbg.h are not $standard"; status=1; }
exit $status
