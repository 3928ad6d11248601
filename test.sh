#!/usr/bin/env bash
# Installs what is missing, then builds and tests. ./test.sh [LANE…] with LANE of: dev asan fuzz tsan clang
# coverage; without arguments dev, asan and a short round of the fuzz targets. CI runs more: see .ci/run.
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh
install_packages build test docs fuzz

lanes=("$@")
[ ${#lanes[@]} -gt 0 ] || lanes=(dev asan fuzz)
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_stack_use_after_return=1:strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
for lane in "${lanes[@]}"; do
    echo "== $lane"
    cmake --preset "$lane" > /dev/null
    cmake --build --preset "$lane"
    ctest --preset "$lane" -j "$(nproc)" --progress --output-junit "$PWD/build/$lane/tests.xml"
done
