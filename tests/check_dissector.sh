#!/usr/bin/env bash
# check_dissector.sh HUB VOSCTL DISSECTOR: captures what a hub routes with vosctl monitor --pcap and has tshark read it
# with our dissector. Skipped (77) without tshark or private namespaces.
set -euo pipefail
if [ "${4:-}" != --inside ]; then
    command -v tshark > /dev/null || { echo "tshark is missing: apt-get install tshark"; exit 77; }
    for try in "" "--user --map-root-user"; do
        # shellcheck disable=SC2086 # the options are words
        if unshare $try --mount --net true 2> /dev/null; then
            exec unshare $try --mount --net "$BASH" "$0" "$(realpath "$1")" "$(realpath "$2")" "$(realpath "$3")" --inside
        fi
    done
    echo "this account may not create namespaces"
    exit 77
fi
vosctl=$2
scratch=$(mktemp -d)
mount -t tmpfs tmpfs /var
cp "$3" "$scratch/vos.lua"
export VOS_INTERFACES=$scratch/interfaces
mkdir "$VOS_INTERFACES"
source=$(dirname "$3")/../..
cp "$source"/interfaces/* "$VOS_INTERFACES"
"$(dirname "$2")/vosgen" lua "$source/examples/meshd.toml" -o "$VOS_INTERFACES/meshd.lua"
cd "$scratch"
"$1" &
hub=$!
trap 'kill "$hub" 2> /dev/null; wait; rm -rf "$scratch"' EXIT
until [ -S /var/hubd_messaging_server_addr ]; do sleep 0.02; done

"$vosctl" monitor --pcap trace.pcap --type VOS_MSG_GET_EID_BY_APP_NAME -c 2 &
monitor=$!
# Asks until the monitor has seen a request and its reply; what it misses before it is attached does not matter.
while kill -0 "$monitor" 2> /dev/null; do
    "$vosctl" request hubd VOS_MSG_GET_EID_BY_APP_NAME --hex '68 75 62 64 00' > /dev/null || true # "hubd"
done
wait "$monitor"

read_capture() { HOME=$scratch tshark -X "lua_script:vos.lua" -r trace.pcap "$@" 2> tshark.log; }
fields=$(read_capture -T fields -E separator=, -e frame.protocols -e vos.type -e vos.dst -e vos.flags.request \
    -e vos.length -e vos.GetEid.name -Y vos.flags.request==1)
echo "$fields"
[[ $fields == vos,0x10003627,20,1,5,hubd ]] || [[ $fields == vos,0x10003627,20,True,5,hubd ]] || { cat tshark.log; exit 1; }
replies=$(read_capture -T fields -E separator=, -e vos.src -e vos.word -e _ws.col.Info -Y vos.flags.response==1)
echo "$replies"
[[ $replies == "20,20,VOS_MSG_GET_EID_BY_APP_NAME reply = 20, 0 bytes" ]]

# From a machine of the other byte order.
# shellcheck disable=SC2059 # the words are the format
number() { for word; do printf "\\x${word:0:2}\\x${word:2:2}\\x${word:4:2}\\x${word:6:2}"; done; }
# packet TYPE FLAGS PAYLOAD: what a capture holds of a message.
packet() {
    local captured
    captured=$(printf %08x $((40 + ${#3} / 2)))
    number 00000000 00000000 "$captured" "$captured" 00000000 00000000 \
        "$1" 00000004 00000102 "00${2}0000" 00000000 00000000 00000000 "$(printf %08x $((${#3} / 2)))"
    # shellcheck disable=SC2059,SC2001
    printf "$(sed 's/../\\x&/g' <<< "$3")"
}
capture() { number a1b23c4d 00020004 00000000 00000000 00040000 00000093; }
{ capture && packet 10002c07 01 00000102 && packet 10002c07 01 ""; } > big.pcap
big=$(HOME=$scratch tshark -X lua_script:vos.lua -r big.pcap -T fields -E separator=, -e vos.dst -e _ws.col.Info 2> tshark.log)
echo "$big"
[[ $big == "258,VOS_MSG_SAVE_LOG_TO_FLASH event, 4 bytes"$'\n'"258,VOS_MSG_SAVE_LOG_TO_FLASH event, 0 bytes" ]]

# What the tools say of a payload that does not fit, and no stumbling: type, flags, payload, reason.
zeroes() { printf '%0*d' $((2 * $1)) 0; }
name=$(printf '78%.0s' {1..22})
rows=(
    "1000f104 01 $(zeroes 13)02$(zeroes 58) 'online' is 2, neither 0 nor 1"
    "1000f104 01 $(zeroes 14)$name$(zeroes 36) 'name' does not end with a NUL"
    "1000f104 01 $(zeroes 71) 71 bytes, where Node has 72"
    "1000f101 04 0002$(zeroes 78) 'count' says 2, there is room for 1"
    "1000f101 04 0001$(zeroes 19)ff$(zeroes 59) 'online' is 255, neither 0 nor 1"
    "1000f101 04 $(zeroes 8)78 'comment' does not end with a NUL"
    "1000f105 00 00 1 byte, where none is described"
    "1000700b 00 $(zeroes 23)1f$(zeroes 9) 'pluginName' stands at 31, outside of what follows the record"
    "1000700b 00 $(zeroes 16)ff$(zeroes 16) 'pluginName' stands at 18374686479671623680, outside of what follows the record"
    "1000700b 00 $(zeroes 23)20$(zeroes 8)78 'pluginName' does not end with a NUL"
)
capture > misfits.pcap
for row in "${rows[@]}"; do
    read -r type flags payload reason <<< "$row"
    packet "$type" "$flags" "$payload" >> misfits.pcap
    echo "The payload does not fit its description: $reason"
done > reasons
HOME=$scratch tshark -X lua_script:vos.lua -r misfits.pcap -T fields -e _ws.expert.message > seen 2> tshark.log
diff reasons seen || { cat tshark.log; exit 1; }

# A capture that ends inside a header is no reason to stumble.
head -c 60 trace.pcap > cut.pcap
HOME=$scratch tshark -X lua_script:vos.lua -r cut.pcap > cut.log 2>&1 || true
! grep -i "lua error" cut.log
