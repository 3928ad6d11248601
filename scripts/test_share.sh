#!/bin/sh
# Prints how many lines of C and C++ the tests have, how many everything else has, and the share of the one in the other.
# Lines that are blank or hold a // comment only do not count, nor do generated tables.
# usage: scripts/test_share.sh [LIMIT]  fails when the share is above LIMIT percent
set -eu
cd "$(dirname "$0")/.."
command -v git >/dev/null || { echo "missing: git; get it with: apt-get install git"; exit 2; }
git rev-parse --git-dir >/dev/null 2>&1 || { echo "missing: the git checkout whose files are counted"; exit 2; }
lines() {
    git ls-files -z --cached --others --exclude-standard -- "$@" | grep -zE '\.(c|cc|cpp|h|hpp)$' | grep -zv table |
        xargs -0 sh -c 'for file; do [ ! -e "$file" ] || cat "$file"; done' sh | grep -cvE '^[[:space:]]*(//.*)?$'
}
tests=$(lines tests)
others=$(($(lines .) - tests))
share=$((100 * tests / others))
echo "lines of C and C++: tests $tests, everything else $others, share $share %"
[ "$share" -le "${1:-100}" ] || { echo "the tests weigh more than $1 % of the rest"; exit 1; }
