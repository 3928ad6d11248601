# Sourced by demo.sh, test.sh and bench/run.sh: install_packages GROUP… installs the Debian packages listed in
# scripts/packages/GROUP.txt that are missing. Says what it does; needs root or sudo only when something is missing.
# shellcheck shell=bash

# Sets limit to the words before a command that end it, and what it started, when VOS_PREPARE_UNTIL (seconds since 1970)
# is there; to none where that is not set.
set_limit() {
    local left=$((${VOS_PREPARE_UNTIL:-0} - EPOCHSECONDS))
    limit=()
    [ -z "${VOS_PREPARE_UNTIL:-}" ] || limit=(timeout --kill-after=10 "$((left > 0 ? left : 1))")
}

time_is_over() { [ -n "${VOS_PREPARE_UNTIL:-}" ] && [ "$EPOCHSECONDS" -ge "$VOS_PREPARE_UNTIL" ]; }

install_packages() {
    local dir group list missing=() sudo=() limit
    dir=$(dirname "${BASH_SOURCE[0]}")/packages
    for group in "$@"; do
        list=$dir/$group.txt
        while read -r package; do
            [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2> /dev/null)" = installed ] || missing+=("$package")
        done < <(grep -v '^#' "$list")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    if ! command -v apt-get > /dev/null; then
        echo "missing packages: ${missing[*]}; install them (this script can do so on Debian only)" >&2
        return 1
    fi
    if [ "$(id -u)" != 0 ]; then
        if ! command -v sudo > /dev/null; then
            echo "missing packages: ${missing[*]}; run this script as root, or: apt-get install ${missing[*]}" >&2
            return 1
        fi
        sudo=(sudo)
    fi
    echo "installing missing packages: ${missing[*]}"
    local install=(apt-get install -q -y --no-install-recommends "${missing[@]}")
    set_limit
    "${sudo[@]}" "${limit[@]}" apt-get update -q > /dev/null || return
    set_limit
    # Only the download may be cut short; an installation that has begun comes to its end.
    "${sudo[@]}" "${limit[@]}" "${install[@]}" --download-only > /dev/null || return
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" "${install[@]}" > /dev/null
}
