#!/usr/bin/env bash
# Lets honest, signalled, stopped and killed pairs of processes talk through a vos-hubd of their own, in directories of
# their own. ./scripts/soak.sh [SECONDS], 600 by default; VOS_PRESET names the build, release by default. Prints one
# line; fails when an honest pair lost a message or another loss was not told to its sender.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build
preset=${VOS_PRESET:-release}
cmake --preset "$preset" > /dev/null
cmake --build --preset "$preset" --target vos-hubd vos-soak > /dev/null
user=()
[ "$(id -u)" = 0 ] || user=(--map-root-user)
# shellcheck disable=SC2016
exec unshare "${user[@]}" --mount --pid --fork --kill-child bash -c '
    mount -t tmpfs none /var && mount -t tmpfs none /tmp
    "$1/vos-hubd" > /tmp/hub.log 2>&1 &
    until [ -S /var/hubd_messaging_server_addr ]; do sleep 0.01; done
    "$1/vos-soak" "$2"' soak "$PWD/build/$preset/bin" "${1:-600}"
