#!/bin/sh
# run.sh VOSCTL PYTHON PRELOAD FILE…: pytest in a sandbox. Skipped (77) without pytest.
vosctl=$(realpath "$1") python=$2 preload=$3
shift 3
"$python" -c 'import pytest' 2> /dev/null || { echo "pytest is missing: apt-get install python3-pytest"; exit 77; }
cd "$(dirname "$0")" || exit 1
# shellcheck disable=SC2086 # none is no word
exec "$vosctl" sandbox --no-hub --show "$VOS_TEST_BIN_DIR" --show "$(dirname "$VOS_LIBRARY")" --show "$(realpath ../..)" -- \
    env $preload "$python" -m pytest -q -p no:cacheprovider --rootdir=. "$@"
