#!/usr/bin/env bash
# Runs every fuzz target with AddressSanitizer and UndefinedBehaviorSanitizer, keeps what was found outside the
# committed corpus, and writes the figures into docs/fuzzing.md. ./scripts/fuzz.sh [SECONDS] [TARGET…], 60 seconds for
# each target by default; with targets named the document stays as it is.
#
# ./scripts/fuzz.sh --runs N [TARGET…] goes on until every target has N executions, those of earlier such calls counted
# (build/fuzz/fuzz/runs): a campaign may be stopped and called again. The document is written when all are there.
#
# ./scripts/fuzz.sh --minimize [TARGET…] drops the inputs of the committed corpora that reach nothing the others do not.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build fuzz

seconds=60
runs=
minimize=false
case ${1:-} in
--runs)
    runs=$2
    shift 2
    ;;
--minimize)
    minimize=true
    shift
    ;;
*[!0-9]* | '') ;;
*)
    seconds=$1
    shift
    ;;
esac
cmake --preset fuzz > /dev/null
cmake --build --preset fuzz
targets=("$@")
if [ ${#targets[@]} = 0 ]; then
    mapfile -t targets < <(cd fuzz && ls fuzz_*.cpp | sed 's/^fuzz_//; s/\.cpp$//')
fi
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT

if $minimize; then
    for target in "${targets[@]}"; do
        mkdir "$temporary/$target"
        build/fuzz/bin/fuzz_"$target" -merge=1 "$temporary/$target" "fuzz/corpus/$target" > "$temporary/log" 2>&1 ||
            { cat "$temporary/log" >&2; exit 1; }
        for input in "fuzz/corpus/$target"/*; do
            # libFuzzer names what it keeps by its SHA-1.
            name=$(sha1sum < "$input" | cut -d ' ' -f 1)
            [ -e "$temporary/$target/$name" ] || { rm "$input" && echo "$target: dropped ${input##*/}"; }
        done
    done
    exit 0
fi

# The executions of a campaign so far, kept beside its inputs; it runs in pieces, so that what a stopped one did counts.
piece=1000000
counted() { cat "build/fuzz/fuzz/runs/$1" 2> /dev/null || echo 0; }
logs=build/fuzz/fuzz/logs  # of each target's last piece
mkdir -p build/fuzz/fuzz/runs $logs

# The longest input, where more bytes take long and reach little more: each is a turn or two of the hub.
declare -A longest=([hub]=256)

# fuzz TARGET LIMIT: -max_total_time=SECONDS or -runs=EXECUTIONS
fuzz() {
    build/fuzz/bin/fuzz_"$1" "$2" -max_len="${longest[$1]:-0}" -rss_limit_mb=1024 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/$1-" \
        "build/fuzz/fuzz/found/$1" "fuzz/corpus/$1" > "$logs/$1.log" 2>&1 || return
    echo $(($(counted "$1") + $(stat_of "$1" number_of_executed_units))) > "build/fuzz/fuzz/runs/$1"
}
stat_of() { sed -n "s/^stat::$2: *//p" "$logs/$1.log"; }

campaign() {
    local left
    while left=$((runs - $(counted "$1"))) && [ $left -gt 0 ]; do
        fuzz "$1" -runs=$((left < piece ? left : piece)) || return
    done
    [ -e "$logs/$1.log" ] || fuzz "$1" -runs=1  # all were there: only the figures
}

failed=()
table=$temporary/table
printf '| target | executions | a second | edges | features | inputs kept |\n|---|---|---|---|---|---|\n' | tee "$table"
for target in "${targets[@]}"; do
    log=$logs/$target.log
    found=build/fuzz/fuzz/found/$target
    mkdir -p "$found"
    if [ -n "$runs" ]; then limited=(campaign "$target"); else limited=(fuzz "$target" -max_total_time="$seconds"); fi
    if ! "${limited[@]}"; then
        tail -n 60 "$log" >&2
        echo "fuzz_$target failed; its input is build/fuzz/$target-*" >&2
        failed+=("$target")
        continue
    fi
    # What was found shrinks to the inputs that reach something new; the committed corpus stays as it is.
    mkdir "$temporary/$target"
    build/fuzz/bin/fuzz_"$target" -merge=1 "$temporary/$target" "fuzz/corpus/$target" "$found" > /dev/null 2>&1
    rm -rf "$found" && mv "$temporary/$target" "$found"
    last=$(grep -E '^#[0-9]+.* cov: ' "$log" | tail -n 1)
    printf '| %s | %s | %s | %s | %s | %s |\n' "$target" \
        "$([ -n "$runs" ] && counted "$target" || stat_of "$target" number_of_executed_units)" \
        "$(stat_of "$target" average_exec_per_sec)" \
        "$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<< "$last")" "$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<< "$last")" \
        "$(ls "$found" | wc -l)" | tee -a "$table"
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "failed: ${failed[*]}" >&2
    exit 1
fi
if [ $# = 0 ]; then
    {
        sed '/^<!-- figures -->/,$d' docs/fuzzing.md
        printf '<!-- figures -->\nLast written by `scripts/fuzz.sh %s`, on %s processors, %s:\n\n' \
            "${runs:+--runs }${runs:-$seconds}" "$(nproc)" "$(date +%Y-%m-%d)"
        cat "$table"
    } > "$temporary/document"
    cp "$temporary/document" docs/fuzzing.md
fi
