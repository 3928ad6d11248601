#!/usr/bin/env bash
# Builds with counters, runs the tests and prints line and branch coverage of the library by family.
# ./scripts/coverage.sh [--report-only] counts what an earlier run has left.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build test lint

if [ "${1:-}" != --report-only ]; then
    cmake --preset coverage > /dev/null
    # Counters of an earlier build would not fit the new one.
    find build/coverage -name '*.gcda' -delete
    cmake --build --preset coverage
    ctest --preset coverage -j "$(nproc)" --progress
fi
[ -d build/coverage ] || { echo "nothing to report: run ./scripts/coverage.sh without --report-only" >&2; exit 1; }
gcovr --root . --object-directory build/coverage --filter src/ --exclude-throw-branches \
    --exclude-unreachable-branches --json-summary build/coverage/summary.json build/coverage
python3 scripts/coverage_table.py build/coverage/summary.json
