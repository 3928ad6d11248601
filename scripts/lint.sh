#!/usr/bin/env bash
# clang-tidy (.clang-tidy) and cppcheck over src/ and tools/; fails on any finding. ./scripts/lint.sh [FILE…] looks at
# those files only. What is suppressed says why where it stands.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build test lint

# For compile_commands.json; clang reads no headers that gcc has compiled.
cmake --preset dev -B build/lint -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON > /dev/null
files=("$@")
if [ ${#files[@]} = 0 ]; then
    # The conversion tables are generated data.
    mapfile -t files < <(git ls-files 'src/**/*.cpp' 'tools/**/*.cpp' | grep -v gb18030/tables)
fi
status=0
echo "== cppcheck"
cppcheck --quiet --std=c++20 --library=posix --enable=warning,performance,portability --inline-suppr \
    --suppressions-list=scripts/cppcheck-suppressions.txt --error-exitcode=1 -j "$(nproc)" \
    -I scripts/cppcheck -I include -I src "${files[@]}" || status=1
echo "== clang-tidy"
printf '%s\n' "${files[@]}" |
    xargs -P "$(nproc)" -n 4 clang-tidy -quiet -p build/lint --extra-arg=-Wno-unknown-warning-option --warnings-as-errors='*' 2> /dev/null || status=1
[ $status = 0 ] && echo "no findings"
exit $status
