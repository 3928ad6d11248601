# Sourced by demo.sh, test.sh and bench/run.sh: install_packages GROUP… installs the Debian packages listed in
# scripts/packages/GROUP.txt that are missing. Says what it does; needs root or sudo only when something is missing.
install_packages() {
    local dir group list missing=() sudo=()
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
    "${sudo[@]}" apt-get update -q > /dev/null
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -q -y --no-install-recommends "${missing[@]}" > /dev/null
}
