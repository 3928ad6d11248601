#!/usr/bin/env bash
# Builds a daemon and runs it against a hub, in namespaces of its own with an empty /var and /tmp: nothing on the machine
# is touched. ./ci.sh [SOURCE…]
set -euo pipefail
daemon=exampled      # as it calls itself on the hub
sources=("$@")
[ ${#sources[@]} -gt 0 ] || sources=("$daemon.c")

if [ -z "${CI_INSIDE:-}" ]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    # shellcheck disable=SC2046 # flags are words
    cc -std=gnu11 -Wall -Wextra -Werror -g -fsanitize=address,undefined "${sources[@]}" \
        $(pkg-config --cflags --libs vos) -o "$work/daemon"
    spaces="--mount --ipc --net --pid --fork --kill-child --mount-proc"
    unshare $spaces true 2> /dev/null || spaces="--user --map-root-user $spaces"
    # shellcheck disable=SC2086
    CI_INSIDE=1 WORK=$work unshare $spaces "$BASH" "$0"
    exit
fi

fail() {
    echo "ci.sh: $1" >&2
    cat "$log" >&2
    exit 1
}
exec {program}< "$WORK/daemon" # still there when the mounts hide it
mount -t tmpfs -o mode=1777 tmpfs /tmp
mount -t tmpfs tmpfs /var
log=/tmp/daemon.log

read -r _ < <(exec vos-hubd --ready-fd 3 3>&1 > /tmp/hub.log)
hub=$!
"/proc/self/fd/$program" > "$log" 2>&1 &
pid=$!

# Connected within ten seconds, and answering.
for ((i = 0; i < 100; i++)); do
    ! vosctl list | grep -qw "$daemon" || break
    sleep 0.1
done
vosctl request "$daemon" 0x1000f020 || fail "$daemon does not answer"

# Without a hub it ends, and not with 0: whoever supervises it starts it again.
kill "$hub"
status=0
wait "$pid" || status=$?
[ "$status" = 1 ] || fail "$daemon ended with $status when the hub had gone"
echo "ci.sh: $daemon answers, and ends with 1 when the hub has gone"
