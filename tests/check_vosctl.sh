#!/usr/bin/env bash
# check_vosctl.sh PART BIN_DIR: vosctl as people and scripts use it, with a hub and daemons of its own: "scripts", "top" in
# a terminal (tmux), "report" in a browser (chromium), "replay". Skipped (77) without the tools that a part needs.
set -euo pipefail
part=$1
if [ "${3:-}" != --inside ]; then
    needs=(python3)
    [ "$part" != top ] || needs+=(tmux)
    [ "$part" != report ] || needs+=(chromium)
    for tool in "${needs[@]}"; do
        command -v "$tool" > /dev/null || { echo "$tool is missing: apt-get install $tool"; exit 77; }
    done
    for try in "" "--user --map-root-user"; do
        # shellcheck disable=SC2086 # the options are words
        if unshare $try --mount --net true 2> /dev/null; then
            exec unshare $try --mount --net --pid --fork --mount-proc --kill-child "$BASH" "$0" "$part" "$(realpath "$2")" --inside
        fi
    done
    echo "this account may not create namespaces"
    exit 77
fi
PATH=$2:$PATH
shipped=$(realpath "$(dirname "$0")/../interfaces")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mount -t tmpfs tmpfs /var
cd "$scratch"
mkdir none
export VOS_INTERFACES=$scratch/none
fail() {
    echo "$1"
    exit 1
}
# expect WHAT COMMAND …: the command's output holds the extended regular expression.
expect() {
    local what=$1
    shift
    local got
    got=$("$@" 2>&1) || true
    grep -Eq -- "$what" <<< "$got" || fail "'$*' gives no '$what':"$'\n'"$(head -n 40 <<< "$got" | cut -c 1-300)"
}
# status N COMMAND …
status() {
    local wanted=$1 got=0
    shift
    "$@" > out 2> err || got=$?
    [ "$got" = "$wanted" ] || fail "'$*' ends with $got, not $wanted: $(cat out err)"
}
one_line() {
    if [ "$(wc -l < err)" != 1 ] || ! grep -Eq -- "$1" err; then
        fail "no single line '$1': $(cat err)"
    fi
}
start_hub() {
    vos-hubd 2> /dev/null &
    vosctl wait --timeout 20000 20
}

# What the echo daemon answers to 0x5678, for a vosctl that reads descriptions; fails without that.
describe() {
    mkdir -p interfaces
    VOS_INTERFACES=$scratch/interfaces
    cat > interfaces/echo.toml << 'END'
[interface]
name = "echo"
doc = "A daemon that repeats."
[request.measure]
type = 0x5678
doc = "Measures."
payload = [ { name = "first", type = "u32", doc = "one" }, { name = "second", type = "u32", doc = "another" } ]
reply = [ { name = "first", type = "u32", doc = "one" }, { name = "second", type = "u32", doc = "another" } ]
END
}

part_scripts() {
    # Everybody is awaited, the hub too; who does not come is named.
    status 1 vosctl wait --timeout 100 echo
    one_line 'no hub answers'
    vosctl wait --timeout 20000 --json echo 20 > waited &
    waiting=$!
    start_hub
    echo_daemon --name echo > /dev/null &
    echo=$!
    wait "$waiting"
    expect '^\[\{"name":"echo","connected":true,"eid":65[0-9]+\},\{"name":"20","connected":true,"eid":20\}\]$' cat waited
    status 1 vosctl wait --timeout 100 echo nobody nothing
    one_line '^vosctl: not connected within 100 ms: nobody, nothing$'

    # Attached means that nothing is missed, and the command's end ends the monitor, with its status.
    for i in 1 2 3; do
        status 5 vosctl monitor --json -- sh -c 'vosctl event echo 0x5678 --data x; exit 5'
        one_line '^vosctl: attached$'
        [ "$(grep -c '"type":22136,' out)" = 1 ] || fail "round $i: the event is missed"
    done
    status 143 vosctl monitor --hide-tools -- sh -c 'vosctl request echo ECHO; kill $$'
    [ "$(grep -v '^VOS_RET_OK' out)" = "" ] || fail "the tools' traffic is not hidden: $(cat out)"
    status 1 vosctl monitor -- /absent/program
    expect "^vosctl: cannot run '/absent/program': No such file" cat err
    status 0 timeout -s INT 20 sh -c 'vosctl register 0x5678 -c 1 --json 2> attached & until grep -q "^vosctl: attached$" attached
        do sleep 0.02; done; vosctl event 20 0x5678; wait'
    grep -q '"type":22136,' out || fail "registered, and no event: $(cat out)"

    status 0 vosctl record - -- vosctl request echo ECHO
    expect '^vosctl: /dev/null: messages: [0-9]+' vosctl report - -o /dev/null < out

    # Every result as JSON.
    while IFS='|' read -r keys command; do
        eval "vosctl $command" > out || fail "vosctl $command fails"
        python3 -c 'import json, sys
for line in open("out"):
    value = json.loads(line)
    for each in value if isinstance(value, list) else [value]:
        assert list(each) == sys.argv[1].split(), list(each)' "$keys" || fail "vosctl $command: $(cat out)"
        [ -s out ] || fail "vosctl $command prints nothing"
    done << 'END'
clients hub|list --json
eid count size minUs medianUs p99Us maxUs|ping echo -c 2 --json
result resultName src length payload|request echo ECHO --data 'x"y' --json
uptimeMs messagesPerSecond bytesPerSecond memoryUsed memoryLimit lost clients answers|top --json -c 2 --interval 50
name up mac address mask subnet ipv6|if --json
eid name accessBit|entities --json
cpuPercent ticks memoryPercent memoryKb|load --json --interval 10
pid exitCode signal|run --json -- true
length payload|nfc url http://a.b --json
level event text|xml --json - <<< '<a b="1">t</a>'
time verdict lost type typeName src srcName dst dstName flags flagNames word length payload|monitor --json -- vosctl list 2> /dev/null
messages lost|record trace.pcap --json -- true 2> /dev/null
messages from to lost cut unanswered late answers talks foreign problem|report trace.pcap --json
eid|call vos.getEid '{"name":"echo"}' --json --interfaces "$shipped"
END
    # No heading before a failure.
    kill "$echo"
    mv /var/hubd_messaging_server_addr /var/elsewhere
    for command in list "if none0" "log nothing" "top --json" "monitor"; do
        # shellcheck disable=SC2086 # the command is words
        status 1 vosctl $command
        [ ! -s out ] || fail "vosctl $command prints before it fails: $(cat out)"
    done
}

# A picture of the terminal that tmux keeps; awaits an extended regular expression in it.
screen() { tmux -f /dev/null -S "$scratch/tmux.$terminal" "$@"; }
picture() {
    for ((i = 0; i < 500; i++)); do
        screen capture-pane -p -t top > picture
        ! grep -Eq -- "$1" picture || return 0
        sleep 0.02
    done
    fail "the screen never shows '$1':"$'\n'"$(cat picture)"
}
absent() {
    for ((i = 0; i < 500; i++)); do
        screen capture-pane -p -t top > picture
        grep -Eq -- "$1" picture || return 0
        sleep 0.02
    done
    fail "the screen goes on to show '$1':"$'\n'"$(cat picture)"
}
open_top() { # TERM
    terminal=$1
    screen new-session -d -s top -x 80 -y 24 "TERM=$1 vosctl top --interval 100; echo ended with \$?; sleep 100"
}

part_top() {
    status 1 vosctl top
    if grep -q 'without ncurses' err; then
        echo "ncurses was missing at configure time: apt-get install libncurses-dev"
        exit 77
    fi
    one_line "^vosctl: top needs a terminal; scripts use 'vosctl top --json'$"
    start_hub
    echo_daemon --name echo > /dev/null &
    echo=$!
    echo_daemon --name meshd --delay 100000 > /dev/null &
    head -c 9000000 /dev/zero > large
    vosctl wait --timeout 20000 echo meshd
    for name in screen vt100; do
        open_top "$name"
        picture 'ENTITY NAME .*BEAT OPEN'
        vosctl ping echo -c 300 > /dev/null
        status 1 vosctl request meshd 0x5678 --timeout 50
        picture '^echo +ECHO +[0-9.k]+ +0 +[0-9.]+[mun]s +[0-9.]+[mun]s +[0-9.]+[mun]s'
        picture '^ *65 meshd .* 1 +- *$' # one request open
        picture '^up 0:00:[0-9]+  3 clients .* of 256 MiB \(0%\)$'
        kill -STOP "$echo"
        vosctl request echo ECHO --file large > /dev/null &
        picture '^ *65[0-9]+ echo +[0-9]+ +[0-9]+ +[0-9.kM]+ +[0-9.]+M +- '
        picture '^ *65[0-9]+ vosctl .* yes '                                    # held back
        picture '^held back 1 '
        kill -CONT "$echo"
        picture '^held back 0 '
        screen send-keys -t top s
        picture '^sorted by NAME'
        awk '$2 == "echo" || $2 == "meshd" || $2 == "vosctl" { printf "%s ", $2 }' picture > order
        expect '^echo meshd vosctl ' cat order
        screen send-keys -t top / m e s h Enter
        absent '^ *65[0-9]+ echo'
        screen send-keys -t top Escape
        picture '^ *65[0-9]+ echo'
        screen send-keys -t top Down Enter
        picture 'following 65'
        absent '^ *65 meshd'
        vosctl event echo 0x4321
        picture '0x4321 vosctl'
        screen resize-window -t top -x 60 -y 24
        picture '^too small: vosctl top needs 80x24'
        screen resize-window -t top -x 20 -y 5
        picture '^needs 80x24, q ends$'
        screen resize-window -t top -x 80 -y 24
        picture 'ENTITY NAME'
        screen send-keys -t top q
        picture '^ended with 0'
        screen kill-server
    done
    open_top dumb
    picture "^vosctl: the terminal 'dumb' cannot place text"
    screen kill-server
}

# make_capture FILE COUNT SIZE: requests and replies of two daemons; the second daemon's name is hostile.
make_capture() {
    python3 - "$@" << 'END'
import struct, sys
path, count, size = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
with open(path, "wb") as out:
    out.write(struct.pack("=IHHIIII", 0xA1B23C4D, 2, 4, 0, 0, 262144, 147))
    def put(ns, kind, src, dst, flags, payload):
        body = struct.pack("=IIIIIHHQII", 0, 0, kind, src, dst, flags, 0, 0, 0, len(payload)) + payload
        out.write(struct.pack("=IIII", ns // 10**9, ns % 10**9, len(body), len(body)) + body)
    for eid, name in ((65536, b"left"), (65537, b"</script><script>document.title='broken'</script>")):
        put(0, 0x10000251, eid, 20, 1, name + b"\0\0")
    for i in range(count - 2):
        here, there = (65536, 65537) if i % 2 == 0 else (65537, 65536)
        put(i * 1000, 0x20000001, here, there, 4 if i % 2 else 2, bytes(size))
END
}
browse() { # URL: the page as the browser has made it
    timeout 60 chromium --headless=new --no-sandbox --disable-gpu --user-data-dir="$scratch/profile" \
        --virtual-time-budget=2000 --dump-dom "$1" 2> chromium.log
}

part_report() {
    VOS_INTERFACES=$shipped
    expect '"name":"launched","kind":"notice","type":268436049,' vosctl interfaces vos --json
    start_hub
    echo_daemon --name echo > /dev/null &
    echo_daemon --name mute --delay 100000 > /dev/null &
    vosctl wait --timeout 20000 echo mute
    status 0 vosctl record trace.pcap -- sh -c 'vosctl request echo ECHO --data hello
        vosctl request hubd VOS_MSG_GET_EID_BY_APP_NAME --hex "65 63 68 6f 00"; vosctl request mute ECHO --timeout 50; true'
    expect '^vosctl: messages recorded: [0-9]+$' cat err
    status 0 vosctl report trace.pcap -o trace.html
    one_line '^vosctl: trace.html: messages: [0-9]+, requests without an answer: 1, late replies: 0$'
    expect '<td>echo <small>65[0-9]+</small></td><td>ECHO</td><td class=n>1</td><td class=n>1</td><td class=n>0</td>' cat trace.html
    expect '<noscript><p><b>The diagram needs scripts, which this browser does not run' cat trace.html
    ! grep -E '(src|href)=.?(https?:)?//|@import|url\(' trace.html || fail "the page needs something else"
    asked=$(sed -n '/"type":\[/s/.*"type":\[\(.*\)\].*/\1/p' trace.html | tr ',' '\n' | grep -n '^268449319$' | tail -n 2 | head -n 1)
    browse "file://$PWD/trace.html#m${asked%%:*}" > dom
    expect '<pre id="decoded">\{[[:space:]]*$' cat dom
    expect '^  "name": "(echo|hubd|mute)"' cat dom
    expect 'its answer</button>' cat dom
    expect 'aria-pressed="false">mute 2?[0-9]+</button>' cat dom

    describe
    status 0 vosctl record described.pcap -- vosctl request echo 0x5678 --hex '07 00 00 00 09 00 00 00'
    status 0 vosctl report described.pcap -o described.html
    expect '":\{"first":7,"second":9\}' cat described.html
    expect '<td>echo.measure</td>' cat described.html

    # A hundred thousand messages, of which only those in sight are in the document; a name that is a script is a text.
    make_capture large.pcap 100000 24
    status 0 vosctl report large.pcap -o large.html
    browse "file://$PWD/large.html#m70000" > dom
    expect '100,000 of 100,000 messages' cat dom
    expect '<dd>70000, reply</dd>' cat dom
    expect '<title>large.pcap</title>' cat dom
    rows=$(grep -o 'class="row' dom | wc -l)
    if [ "$rows" -lt 5 ] || [ "$rows" -gt 60 ]; then
        fail "$rows rows in the document"
    fi
    cat large.html - > driven.html << 'END'
<script>
plot.setPointerCapture = () => {};
const box = plot.getBoundingClientRect(), wanted = shown[7], before = to - from, done = [];
const laneAt = eid => box.left + AXIS + laneWidth(box.width) * (laneOf.get(eid) + .5) - shift;
const at = { clientX: (laneAt(D.src[wanted]) + laneAt(D.dst[wanted])) / 2, pointerId: 1,
  clientY: box.top + HEAD + (D.t[wanted] - from) * (box.height - HEAD) / (to - from) };
plot.dispatchEvent(new PointerEvent('pointerdown', at));
plot.dispatchEvent(new PointerEvent('pointerup', at));
done.push('picked', selected === wanted);
document.dispatchEvent(new KeyboardEvent('keydown', { key: 'ArrowRight' }));
done.push('next', selected === shown[8]);
plot.dispatchEvent(new WheelEvent('wheel', { deltaY: -300, clientY: at.clientY }));
done.push('closer', to - from < before);
$('all').click();
done.push('all', from <= MIN && to >= MAX);
document.querySelector('#types button:last-child').click();
done.push('of the rare type', shown.length);
find('70001');
done.push('found', D.first + selected);
document.title = done.join(' ');
</script>
END
    browse "file://$PWD/driven.html" > dom
    expect '<title>picked true next true closer true all true of the rare type 2 found 70001</title>' cat dom

    # Memory does not grow with the capture. (A sanitizer's own does.)
    if ! grep -q __asan_init "$(command -v vosctl)"; then
        make_capture huge.pcap 300000 600
        python3 -c 'import os, resource, subprocess
subprocess.run(["vosctl", "report", "huge.pcap", "-o", "huge.html"], check=True)
used, size = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024, os.path.getsize("huge.pcap")
assert used < size * 0.75, (used, size)' 2> err || fail "$(cat err)"
        expect 'the diagram holds the newest 100000; the tables count all' cat huge.html
        expect '<td class=n>149999</td><td class=n>149999</td><td class=n>0</td>' cat huge.html
    fi

    # Cut, damaged and foreign files: a line each; what can be read is reported.
    head -c 100000 large.pcap > cut.pcap
    status 1 vosctl report cut.pcap -o cut.html
    one_line '^vosctl: cut.pcap: the file is cut behind message 12[0-9]{2}; the report holds the 12[0-9]{2} messages before that$'
    expect '<b>the file is cut behind message 12[0-9]+</b>' cat cut.html
    python3 -c 'data = bytearray(open("large.pcap", "rb").read()); data[50032:50048] = b"\xff" * 16
open("damaged.pcap", "wb").write(data)'
    while IFS='|' read -r line bytes; do
        # shellcheck disable=SC2059 # the bytes are the format
        printf "$bytes" > foreign
        status 1 vosctl report foreign -o foreign.html
        one_line "$line"
        [ ! -e foreign.html ] || fail "a page of a foreign file: $line"
    done << 'END'
is no capture; 'vosctl record' writes one|just text, long enough for a header
is no capture|
ends inside its header|\x4d\x3c\xb2\xa1\x02\x00
is a pcapng file; 'editcap -F nsecpcap'|\x0a\x0d\x0d\x0a\x1c\x00\x00\x00\x4d\x3c\x2b\x1a\x01\x00\x00\x00\xff\xff\xff\xff\xff\xff\xff\xff
is a capture of something else, link type 1;|\x4d\x3c\xb2\xa1\x02\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x04\x00\x01\x00\x00\x00
holds no message|\x4d\x3c\xb2\xa1\x02\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x04\x00\x93\x00\x00\x00
END
    status 1 vosctl report damaged.pcap -o damaged.html
    one_line '(is damaged|is cut) behind message [0-9]+'
    status 1 vosctl report . -o foreign.html
    one_line "cannot read '.': Is a directory"
    status 1 vosctl report cut.pcap -o /dev/full
    one_line "cannot write '/dev/full': No space"
}

part_replay() {
    start_hub
    echo_daemon --name echo --events 2 > /dev/null &
    echo=$!
    vosctl wait --timeout 20000 echo
    status 0 vosctl record trace.pcap -- sh -c 'vosctl request echo ECHO --data 0123456789; vosctl request echo 0x5678'
    for how in "" --at-once; do
        # shellcheck disable=SC2086 # no option is no word
        status 0 vosctl replay trace.pcap --as vosctl --to echo $how
        expect '^sent: 2, answers and events compared: 6, differences: 0$' cat out
    done
    # What the daemon is said to have answered: the second time that the payload passes.
    python3 -c 'data = open("trace.pcap", "rb").read(); at = data.rindex(b"0123456789")
open("other.pcap", "wb").write(data[:at + 4] + b"xy" + data[at + 6:])'
    replay=(vosctl replay other.pcap --as vosctl --to echo --at-once)
    status 1 "${replay[@]}"
    expect '^message [0-9]+, ECHO: the reply differs$' cat out
    expect '^    bytes 4-5     recorded 78 79$' cat out
    expect '^                  now      34 35$' cat out
    one_line '^vosctl: echo does not answer as recorded'
    status 1 "${replay[@]}" --json
    expect '"compared":6,"differences":\[\{"message":[0-9]+,"type":268496912,"typeName":"ECHO","kind":"reply","field":"bytes 4-5","recorded":"78 79","now":"34 35"\}\]' cat out
    status 0 "${replay[@]}" --ignore ECHO:4-5
    status 0 "${replay[@]}" --ignore ECHO
    status 1 "${replay[@]}" --ignore ECHO:word --ignore ECHO:4 --ignore 0x5678
    status 2 "${replay[@]}" --ignore ECHO:5-4
    one_line '^vosctl: --ignore takes TYPE, TYPE:word'

    describe
    status 0 vosctl record described.pcap -- vosctl request echo 0x5678 --hex '07 00 00 00 09 00 00 00'
    python3 -c 'data = open("described.pcap", "rb").read(); at = data.rindex(bytes([7, 0, 0, 0, 9]))
open("described.pcap", "wb").write(data[:at + 4] + b"x" + data[at + 5:])'
    status 1 vosctl replay described.pcap --as vosctl --to echo --at-once
    expect '^message [0-9]+, echo.measure: the reply differs$' cat out
    expect '^    second        recorded 120$' cat out
    status 0 vosctl replay described.pcap --as vosctl --to echo --at-once --ignore 0x5678:second

    # A daemon that says less than it did.
    kill "$echo"
    wait "$echo" || true
    echo_daemon --name echo --events 1 > /dev/null &
    vosctl wait --timeout 20000 echo
    status 1 vosctl replay trace.pcap --as vosctl --to echo --at-once --timeout 300
    expect 'the event differs' cat out
    expect '^                  now      nothing$' cat out

    status 1 vosctl replay trace.pcap --as nobody --to echo
    one_line "holds no message from 'nobody' to 'echo'; it knows: echo, hubd, vosctl"
    head -c 3000 trace.pcap > cut.pcap
    status 1 vosctl replay cut.pcap --as vosctl --to echo
    one_line 'the file is cut behind message [0-9]+; cut it with editcap'
}

part_"$part"
echo "done"
