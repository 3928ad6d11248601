#!/bin/sh
# man_pages.sh DOXYGEN_MAN_DIR OUT_DIR VERSION EXPORT_LISTS…: turns Doxygen's man pages into vos_FAMILY.3 for every
# header, one link for every exported function that a header describes, vosctl.1, vosmini.1 and vos-hubd.8.
set -eu
from=$1/man3
out=$2
version=$3
shift 3
rm -rf "$out"
mkdir -p "$out/man1" "$out/man3" "$out/man8"

# page SOURCE NAME SECTION INCLUDE: no date, no author, the usual headings, names as man(1) finds them.
page() {
    awk -v name="$2" -v section="$3" -v include="$4" -v version="$version" '
        /^\.TH / { printf ".TH \"%s\" \"%s\" \"\" \"libvos %s\" \"libvos\"\n", name, section, version; next }
        /^\.SH "Author"/ { exit }
        /^\.SH NAME/ {
            print
            getline
            sub(/^[^ ]+ \\- /, name " \\- ")
            sub(name ": ", "")
            sub(/[ ]+$/, "")
            sub(/\\&\.$/, "")
            print
            next
        }
        /^\.SH SYNOPSIS/ && include != "" {
            printf ".SH SYNOPSIS\n.nf\n#include <%s>\n\ncc ... -lvos\n.fi\n", include
            skip = 1
            next
        }
        skip && /^\.S[SH]/ { skip = 0 }
        skip { next }
        /^\.SH "Detailed Description"/ { print ".SH DESCRIPTION"; next }
        /^\.SH "Function Documentation"/ { print ".SH FUNCTIONS"; next }
        /^\.SH / { print toupper($0); next }
        { sub(/^\047/, "\\\\\\&\047"); gsub(/\\fC/, "\\fB"); sub(/[ \t]+$/, ""); print }
    ' "$1"
}

for file in "$from"/*.h.3; do
    header=$(basename "$file" .3)
    page "$file" "vos_${header%.h}" 3 "vos/$header" > "$out/man3/vos_${header%.h}.3"
done
page "$from/vosctl.3" vosctl 1 "" > "$out/man1/vosctl.1"
page "$from/vosmini.3" vosmini 1 "" > "$out/man1/vosmini.1"
page "$from/vos-hubd.3" vos-hubd 8 "" > "$out/man8/vos-hubd.8"

cat "$@" | grep '^[A-Za-z_]' | while read -r name; do
    source=$(grep -lE "^\.SS .*[^A-Za-z0-9_]${name}[^A-Za-z0-9_]" "$out"/man3/vos_*.3 | head -n 1) || true
    [ -z "$source" ] || echo ".so man3/$(basename "$source")" > "$out/man3/$name.3"
done
