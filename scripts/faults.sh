#!/usr/bin/env bash
# Lets every call of the library for memory or descriptors fail once under every test, with sanitizers.
# ./scripts/faults.sh [memory|descriptors] [TEST_REGEX]; without arguments both, all tests.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build test

cmake --preset asan > /dev/null
cmake --build --preset asan
failed=0
for resource in ${1:-memory descriptors}; do
    python3 scripts/fault_runs.py build/asan "$resource" "${2:-}" || failed=1
done
exit $failed
