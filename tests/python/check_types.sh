#!/bin/sh
# check_types.sh CACHE: mypy --strict over the package. Skipped (77) without mypy.
command -v mypy > /dev/null || { echo "mypy is missing: apt-get install mypy"; exit 77; }
cd "$(dirname "$0")/../../python" && mypy --strict --cache-dir "$1" --python-executable /usr/bin/python3 -p vos
