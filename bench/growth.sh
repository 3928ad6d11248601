#!/usr/bin/env bash
# Builds and runs hub_load and draws its picture. See bench/README.md.
set -euo pipefail
usage="usage: bench/growth.sh [--picture FILE.svg] [HUB_LOAD'S ARGUMENT …]"
cd "$(dirname "$0")/.."
picture=
if [ "${1:-}" = --picture ]; then
    picture=${2:?$usage}
    shift 2
fi
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
install_packages build bench
cmake --preset bench > /dev/null
cmake --build --preset bench --target hub_load > /dev/null
tables=$(mktemp)
trap 'rm -f "$tables" "$tables.svg"' EXIT
build/release/bin/hub_load "$@" | tee "$tables"
if [ -n "$picture" ]; then
    python3 bench/messaging/load/picture.py < "$tables" > "$tables.svg"
    mv "$tables.svg" "$picture"
fi
