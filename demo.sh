#!/usr/bin/env bash
# Builds the release, then shows real daemons talking through a hub and checks what they show. The hub and the daemons
# run in a sandbox (vosctl sandbox) with an empty /var and /tmp: nothing on the machine is touched, and no root is needed
# where user namespaces are allowed. Ends by itself; status 0 when every step showed what it should.
# shellcheck disable=SC2317 # the steps are called by name
set -euo pipefail
self=${BASH_SOURCE[0]}
root=$(cd "$(dirname "$self")" && pwd -P)
cd "$root"
bin=$root/build/release/bin
work=/tmp/demo # inside the sandbox

steps=(launch latency events timeout resend daemon log stop)

build() {
    # shellcheck source=scripts/packages.sh
    . scripts/packages.sh
    install_packages build
    echo "building into build/release"
    cmake --preset release > /dev/null
    cmake --build --preset release
}

# --- what the steps are made of

declare -A pids
declare -A verdicts
step=
traced=0

heading() { printf '\n== %s\n' "$1"; }
say() { printf '   %s\n' "$1"; }

# check TEXT COMMAND…: the step has shown TEXT when the command succeeds.
check() {
    local text=$1
    shift
    if "$@" > /dev/null 2>&1; then
        printf '   [ok]     %s\n' "$text"
    else
        printf '   [FAILED] %s\n' "$text"
        verdicts[$step]=FAILED
    fi
}

# start NAME COMMAND…: in the background; its output goes to NAME.log.
start() {
    local name=$1
    shift
    "$@" > "$work/$name.log" 2>&1 &
    pids[$name]=$!
}

# finish NAME [SIGNAL]: sends the signal, if any, and gives the process's exit status; kills it after ten seconds.
finish() {
    local i pid=${pids[$1]}
    unset "pids[$1]"
    [ -z "${2:-}" ] || kill -s "$2" "$pid"
    for ((i = 0; i < 500; i++)); do
        kill -0 "$pid" 2> /dev/null || break
        sleep 0.02
    done
    kill -KILL "$pid" 2> /dev/null
    wait "$pid" 2> /dev/null
}

# await NAME PATTERN: until NAME.log holds the pattern, ten seconds at most.
await() {
    local i
    for ((i = 0; i < 500; i++)); do
        grep -Eq "$2" "$work/$1.log" && return
        sleep 0.02
    done
    return 1
}

shows() { grep -Eq "$2" "$work/$1.log"; }

# run NAME COMMAND…: in the foreground, its output shown and kept in NAME.log.
run() {
    local name=$1 status=0
    shift
    say "\$ ${1##*/} ${*:2}"
    "$@" > "$work/$name.log" 2>&1 || status=$?
    sed 's/^/     /' "$work/$name.log"
    return "$status"
}

# What the hub traced since the last call, the first lines of it.
show_trace() {
    local most=14 total
    total=$(wc -l < "$work/hub.log")
    ((total > traced)) || return
    say "the hub's trace of it:"
    tail -n +$((traced + 1)) "$work/hub.log" | head -n $((total - traced)) | head -n "$most" | cut -c 1-150 |
        sed 's/^/     | /'
    ((total - traced <= most)) || say "  | and $((total - traced - most)) lines more"
    traced=$total
}

end_all() {
    local name
    exec 2> /dev/null # the shell's own notices of what is killed here
    for name in "${!pids[@]}"; do
        kill -KILL "${pids[$name]}"
    done
    wait
}

# --- the steps

step_launch() {
    heading "Daemons launch: by name, by id and by plug-in name"
    start hub "$bin/vos-hubd" --trace
    for ((i = 0; i < 500; i++)); do
        [ ! -S /var/hubd_messaging_server_addr ] || break
        sleep 0.02
    done
    mkdir -p "$work/plugin/bin"
    echo "Name: com.operator.demo" > "$work/plugin/Info.plugin"
    start named "$bin/echo_daemon" --name echo
    start numbered "$bin/echo_daemon" --id 300
    start plugin env -C "$work/plugin/bin" "$bin/echo_daemon"
    check "the daemon named echo gets an id from the hub" await named '^launched as entity [1-9][0-9]*$'
    check "the daemon that asks for id 300 gets it" await numbered '^launched as entity 300$'
    check "the plug-in is known by the name in ../Info.plugin" await plugin '^launched as entity [1-9][0-9]*$'
    run list "$bin/vosctl" list
    check "vosctl lists all three" eval "shows list ' echo ' && shows list ' 300 ' && shows list ' com.operator.demo '"
    show_trace
}

step_latency() {
    heading "10,000 requests, one after the other: client, hub, daemon, hub, client"
    say "(the hub writes a trace line for each message meanwhile)"
    run ping "$bin/vosctl" ping echo -c 10000 --size 64
    check "10,000 replies" test $? = 0
    check "latency figures" shows ping '^10000 requests .* median [0-9.]+ p99 [0-9.]+ '
    show_trace
}

step_events() {
    heading "Events that arrive during a request are handed out after it, in order"
    say "the daemon sends three events before it replies"
    start talkative "$bin/echo_daemon" --name talkative --events 3
    await talkative launched
    run ask "$bin/client" --listen 200 talkative "what is new?"
    check "first the reply, then events 1, 2 and 3" \
        test "$(sed -E 's/ from [0-9]+//' "$work/ask.log" | tr '\n' ';')" = \
        "reply: 0 'what is new?';event 1;event 2;event 3;"
    show_trace
}

step_timeout() {
    heading "A slow peer: the request times out, the late reply is still received, the next request works"
    say "the daemon takes 700 ms, the client waits for 300 ms and then listens for 1500 ms"
    start slow "$bin/echo_daemon" --name slow --delay 700
    await slow launched
    run late "$bin/client" --timeout 300 --listen 1500 slow "hurry"
    check "the request ends with VOS_RET_TIMEOUT (9809)" shows late '^no reply from [0-9]+ within 300 ms \(9809\)$'
    local left
    left=$(sed -nE "s/^late reply .*'hurry', ([0-9]+) ms of listening left$/\1/p" "$work/late.log")
    check "the late reply comes with about 1100 of the 1500 ms left" test "${left:-0}" -gt 0 -a "${left:-0}" -le 1150
    run patient "$bin/client" --timeout 5000 slow "take your time"
    check "a longer time-out gets the reply" shows patient "^reply from [0-9]+: 0 'take your time'$"
    show_trace
}

step_resend() {
    heading "A peer is killed during a request, comes back and gets the request again"
    start victim "$bin/echo_daemon" --id 301 --delay 60000
    await victim launched
    start asker "$bin/client" --timeout 20000 301 "still there?"
    check "the first daemon holds the request" await victim '^request from'
    say "kill -9, and a new process under the same id"
    finish victim KILL
    start reborn "$bin/echo_daemon" --id 301 --delay 50
    check "the new daemon gets the request" await reborn '^request from'
    check "the client's request succeeds" finish asker
    sed 's/^/     /' "$work/asker.log"
    check "the client gets the new daemon's reply" shows asker "^reply from 301: 0 'still there\?'$"
    check "the hub told the client to send it again" shows hub ' VOS_MSG_RESEND_REQUEST '
    show_trace
}

step_daemon() {
    heading "A status daemon: timers, delayed messages, background work, numbered procedures, remote commands"
    start statusd "$bin/statusd"
    check "the daemon launches" await statusd '^launched as entity [1-9][0-9]*$'
    start reports "$bin/vosctl" register 0x1000f021 --count 3
    local call=(request statusd 0x1000f020 --srpc --hex 0000000000000000 --word)
    run uptime "$bin/vosctl" "${call[@]}" 101
    check "procedure 101 answers with the uptime" shows uptime '\|0D 0H 0M [0-9]+S\|'
    run command "$bin/vosctl" cli statusd -- echo "two words" --flag
    check "a remote command's output and result come back" \
        test "$(tr '\n' ';' < "$work/command.log")" = "two words --flag;result VOS_RET_OK (0);"
    run refused "$bin/vosctl" cli statusd -- format /
    check "an unknown command is refused" shows refused 'VOS_RET_UNKNOWN_NAME \(9801\)$'
    check "three reports come, each by a delayed message" finish reports
    sed 's/^/     /' "$work/reports.log" | cut -c 1-150
    check "a background measurement came home through the hub" await hub 'VOS_MSG_SYSTEM_TASK_FINISH statusd'
    run load "$bin/vosctl" "${call[@]}" 102
    check "procedure 102 answers with the CPU load" shows load '\|[0-9]+ % of the CP'
    check "heartbeats come from a timer" await hub 'VOS_MSG_HEARTBEAT statusd'
    run reboot "$bin/vosctl" reboot
    check "the hub notes the reboot and reboots nothing" shows hub 'asks for a reboot'
    run counters "$bin/vosctl" list
    check "the hub counts the daemon's heartbeats" shows counters ' statusd .* [1-9][0-9]* '
    show_trace
}

step_log() {
    heading "A daemon's log is turned up and down from outside, and the ring shows where it logs"
    local i eid file
    eid=$("$bin/vosctl" list | awk '$2 == "statusd" {print $1}')
    file=/tmp/log3/$eid.log
    run ring "$bin/vosctl" log statusd
    check "errors only, to standard error" shows ring '^level +error \(3\)'
    check "the ring holds call sites of entries that were suppressed" shows ring '^    <[a-zA-Z_]+:[0-9]+>$'
    check "the file holds no debug entry" eval "! grep -q 'load is' '$file'"
    run up "$bin/vosctl" log statusd --level debug --dest 5 --max-size 2000
    for ((i = 0; i < 500; i++)); do
        ! grep -q 'load is' "$file" || break
        sleep 0.02
    done
    check "debug entries reach the file at once" grep -q 'load is' "$file"
    run down "$bin/vosctl" log statusd --level error
    run logs "$bin/vosctl" log --all
    check "the level is down again, the other settings stay" shows logs "^EID$eid +error \(3\) +5 +2000 "
    tail -n 5 "$file" | sed 's/^/     | /'
    check "the daemon ends its measurement and stops" finish statusd TERM
}

step_stop() {
    heading "Everything ends cleanly on SIGTERM"
    local name
    for name in named numbered plugin talkative slow reborn; do
        check "$name stops" finish "$name" TERM
    done
    check "the hub stops" finish hub TERM
    check "the hub's socket is gone" test ! -e /var/hubd_messaging_server_addr
    show_trace
}

inside() {
    mkdir "$work"
    set +e # from here on check() decides
    trap end_all EXIT
    trap 'exit 130' INT TERM
    for step in "${steps[@]}"; do
        verdicts[$step]=ok
        "step_$step"
    done
    heading "Summary"
    local log status=0
    for step in "${steps[@]}"; do
        printf '   %-10s %s\n' "$step" "${verdicts[$step]}"
        [ "${verdicts[$step]}" = ok ] || status=1
    done
    say "$(cat "$work/ping.log")"
    if [ "$status" != 0 ]; then
        for log in "$work"/*.log; do
            heading "the end of ${log##*/}"
            tail -n 5 "$log" | cut -c 1-150
        done
    fi
    say "$SECONDS seconds after the build"
    exit "$status"
}

if [ "${1:-}" = --inside ]; then
    inside
fi
build
# Its hub is a step of the demo.
exec "$bin/vosctl" sandbox --no-hub --name demo -- "$BASH" "$root/demo.sh" --inside
