#!/usr/bin/env bash
# meshd_test.sh MESHD: meshd with a hub of its own, asked through vosctl.
set -euo pipefail
if [ -z "${MESHD_TEST_INSIDE:-}" ]; then
    # The hub's socket has a fixed place below /var: a private one, without root where user namespaces exist.
    [ "$(id -u)" = 0 ] || root=--map-root-user
    MESHD_TEST_INSIDE=1 exec unshare ${root:+"$root"} --mount --ipc "$0" "$@"
fi
mount -t tmpfs tmpfs /var

# [helpers]
# eventually TEXT COMMAND…: runs the command until it prints the text, ten seconds at most.
eventually() {
    for ((try = 0; try < 100; try++)); do
        ! "${@:2}" 2> /dev/null | grep -qF "$1" || return 0
        sleep 0.1
    done
    echo "never seen: $1"
    "${@:2}" || true
    exit 1
}
# add ID QUALITY: calls the procedure; both numbers are one byte here.
add() { vosctl request meshd 0x1000f120 --srpc --word 1 --hex "$1 00 00 00 $2 00 00 00"; }
# [helpers]

trap 'kill $(jobs -p) 2> /dev/null || true; wait' EXIT
vos-hubd &
eventually vosctl vosctl list # the hub answers
"$1" & meshd=$!

# [test]
eventually '00 00 00 00 64 00 00 00' vosctl request meshd 0x1000f121 # no nodes yet, nothing bad
vosctl register 0x1000f122 --count 1 > /var/event & watcher=$!
eventually 0x1000f122 eval 'add 07 5a; cat /var/event' # until the event of an added node was seen
wait $watcher
eventually '02 00 00 00' add 08 28
eventually '02 00 00 00 28 00 00 00' vosctl request meshd 0x1000f121 # the survey has been round
eventually ', 0 bytes' add 09 65 # a quality above 100 is refused
vosctl event meshd 0x1000f123 --word 1

kill -TERM $meshd
wait $meshd # fails unless it ends with 0
# [test]
echo "all well"
