#!/usr/bin/env bash
# Prints how many lines of C and C++ stand in tests/ and how many elsewhere: neither blank nor a // comment, without
# generated tables.
set -euo pipefail
cd "$(dirname "$0")/.."

# lines PATHSPEC…
lines() { git ls-files -z -- "$@" ':!src/util/gb18030/tables.cpp' ':!tools/common/hub.h' | xargs -0 cat | grep -cvE '^[[:space:]]*(//|$)'; }

tests=$(lines 'tests/*.'{c,cpp,h,hpp})
code=$(lines '*.'{c,cpp,h,hpp} ':!tests' ':!scripts')
printf 'lines: %d in tests, %d in all other C and C++: %d %%\n' "$tests" "$code" $((100 * tests / code))
