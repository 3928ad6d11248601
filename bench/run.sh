#!/usr/bin/env bash
# Builds and runs every benchmark and prints one table. See bench/README.md.
set -euo pipefail
usage="usage: bench/run.sh [--quick] [--repetitions N] [--filter REGEX] [--markdown FILE]"
cd "$(dirname "$0")/.."
repetitions=7 filter=. markdown= quick=
arguments=("$@")
while [ $# -gt 0 ]; do
    case $1 in
        --quick) quick=1 ;;
        --repetitions) repetitions=${2:?$usage} && shift ;;
        --filter) filter=${2:?$usage} && shift ;;
        --markdown) markdown=${2:?$usage} && shift ;;
        *) echo "$usage" >&2 && exit 2 ;;
    esac
    shift
done
build=$PWD/build/release results=$PWD/build/release/bench-results

if [ -z "${VOS_BENCH_INSIDE:-}" ]; then
    . scripts/packages.sh
    install_packages build bench
    cmake --preset bench > /dev/null
    cmake --build --preset bench
    # The hub's socket has a fixed place below /var: private to this run, without root where user namespaces exist.
    as_root=()
    [ "$(id -u)" = 0 ] || as_root=(--user --map-root-user)
    VOS_BENCH_INSIDE=1 exec unshare "${as_root[@]}" --mount "$PWD/bench/run.sh" "${arguments[@]}"
fi

exec 3< "$PWD"
mount -t tmpfs tmpfs /var
if [ ! -e "$PWD/bench/run.sh" ]; then
    mkdir -p "$PWD" && mount --rbind /proc/self/fd/3 "$PWD" && cd "$PWD"  # the clone itself lies below /var
fi
exec 3<&-
if [ -e /tmp/logdbg ]; then
    echo "warning: /tmp/logdbg is there: the library writes diagnostics, figures will be off" >&2
fi

rm -rf "$results" && mkdir -p "$results"
options=(--benchmark_repetitions="$repetitions" --benchmark_enable_random_interleaving=true
    --benchmark_filter="$filter" --benchmark_out_format=json)
if [ -n "$quick" ]; then
    export VOS_BENCH_QUICK=1
    options+=(--benchmark_min_time=0.01)
fi
for binary in "$build"/bin/bench_*; do
    name=$(basename "$binary")
    echo "running $name" >&2
    "$binary" "${options[@]}" --benchmark_out="$results/$name.json" > "$results/$name.log" 2>&1 ||
        { cat "$results/$name.log" >&2; exit 1; }
done
if [ -x "$build/bin/bench_messaging" ]; then
    python3 bench/count_calls.py "$build/bin/bench_messaging" "$filter" "$results/calls.json"
fi
if grep -Eq "$filter" <<< 'allocations of one'; then
    "$build/bin/bench_hpp" --allocations="$results/allocations.json"
fi
python3 bench/report.py ${markdown:+--markdown "$markdown"} --targets bench/targets.txt "$results"/*.json
