#!/usr/bin/env bash
# run.sh PROGRAM SOURCE HUB: runs a manual example in private namespaces with an empty /tmp and /var and a hub, and
# compares what it prints with the comment "Prints:" at the end of its source. Colours of the log are left out of the
# comparison.
set -euo pipefail
program=$(realpath "$1") source=$(realpath "$2") hub=$(realpath "$3")
expected=$(sed -n '/^\/\* Prints:$/,/^\*\/$/p' "$source" | sed '1d;$d')

if [ "${4:-}" != --inside ]; then
    for try in "" "--user --map-root-user"; do
        # shellcheck disable=SC2086 # the options are words
        if unshare $try --mount --ipc --net true 2> /dev/null; then
            exec unshare $try --mount --ipc --net "$BASH" "$0" "$program" "$source" "$hub" --inside
        fi
    done
    echo "this account may not create namespaces"
    exit 77
fi

# Whatever lies below /tmp or /var is run through descriptors that outlive the mounts.
exec {programFd}< "$program" {hubFd}< "$hub"
if [ -x "$(dirname "$hub")/vosctl" ]; then
    exec {vosctlFd}< "$(dirname "$hub")/vosctl"
    export VOSCTL=/proc/$$/fd/$vosctlFd
fi
libraries=$(dirname "$(dirname "$program")")
exec {librariesFd}< "$libraries"
mount -t tmpfs tmpfs /tmp
mount -t tmpfs tmpfs /var
mkdir -p /tmp/plugin/bin /var/run/netns
: > /var/run/netns/guest
printf 'Name: com.operator.example\nImportInterface: wifi, led\n' > /tmp/plugin/Info.plugin
cd /tmp/plugin/bin
export LD_LIBRARY_PATH=/proc/$$/fd/$librariesFd

"/proc/self/fd/$hubFd" &
hubPid=$!
trap 'kill "$hubPid"; wait "$hubPid" || true' EXIT
for ((i = 0; i < 500; i++)); do
    [ ! -S /var/hubd_messaging_server_addr ] || break
    sleep 0.02
done
printed=$(timeout 60 "/proc/self/fd/$programFd" | sed $'s/\x1b\\[[0-9;]*m//g')
diff <(echo "$expected") <(echo "$printed") && echo "as the manual says"
