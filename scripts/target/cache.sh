# Sourced by the scripts of the target lanes: the cache, and how something gets into it. Every entry is made beside its
# place and moved there when it is whole, so that a failure leaves nothing half-built.
# shellcheck shell=bash
vos_target_dir=$(dirname "${BASH_SOURCE[0]}")
# shellcheck source=scripts/packages.sh
. "$vos_target_dir/../packages.sh"
export vos_cache=${VOS_CACHE:-${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/libvos}

say() { printf '%s: %s\n' "${0##*/}" "$*" >&2; }

die() {
    say "$*"
    exit 1
}

# need COMMAND PACKAGE: what is missing and how to get it, in one line.
need() { command -v "$1" > /dev/null || die "missing: $1; get it with: apt-get install $2"; }

# reason LOG: why a command failed, in one line.
reason() {
    if time_is_over; then
        echo "its time was over"
    else
        grep -m 1 -iE '(^|[ :])(error|fatal)|^E:' "$1" || tail -n 1 "$1"
    fi
}

# discard DIRECTORY: what still writes there was told to end and has a moment to do so.
discard() { rm -rf "$1" 2> /dev/null || { sleep 2 && rm -rf "$1"; }; }

# cached ENTRY FUNCTION ARGUMENT…: runs FUNCTION ARGUMENT… in an empty directory that becomes $vos_cache/ENTRY. Prints
# that path; what the function says goes to a log beside it, shown when the function fails.
cached() {
    local entry=$vos_cache/$1 limit
    shift
    if [ ! -d "$entry" ]; then
        mkdir -p "$vos_cache"
        find "$vos_cache" -maxdepth 1 -name 'unfinished.*' -mtime +0 -exec rm -rf {} +
        unfinished=$(mktemp -d "$vos_cache/unfinished.XXXXXX")
        trap 'discard "$unfinished"' EXIT
        say "making ${entry##*/} for later runs too"
        set_limit
        # A shell of its own, because set -e is off in a condition.
        if ! "${limit[@]}" bash -c 'set -euo pipefail; . "$1"; cd "$2"; shift 2; "$@"' "$0" "$vos_target_dir/recipes.sh" \
            "$unfinished" "$@" > "$entry.log" 2>&1 < /dev/null; then
            tail -n 20 "$entry.log" >&2
            die "could not make ${entry##*/}: $(reason "$entry.log"); the whole log: $entry.log"
        fi
        chmod 755 "$unfinished"
        mv -T "$unfinished" "$entry"
        trap - EXIT
    fi
    printf '%s\n' "$entry"
}

# apt with an architecture and a state of its own: neither the machine's sources nor its dpkg architectures change.
private_apt() {
    local arch=$1 dir=$vos_cache/apt-$1
    shift
    apt-get -q -y -o APT::Architecture="$arch" -o APT::Architectures="$arch" -o Dir::State="$dir" \
        -o Dir::State::status="$dir/status" -o Dir::Cache="$dir/cache" -o Dir::Etc::sourcelist="$dir/sources.list" \
        -o Dir::Etc::sourceparts=/dev/null -o APT::Sandbox::User=root -o APT::Install-Recommends=false \
        -o Acquire::Languages=none "$@"
}

# update_private_apt ARCH: the machine's own Debian sources, for packages of ARCH and for source archives.
update_private_apt() {
    local arch=$1 dir=$vos_cache/apt-$1
    mkdir -p "$dir/lists/partial" "$dir/cache/archives/partial"
    : > "$dir/status"
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
        sort -u | awk '{print "deb", $0; print "deb-src", $0}' > "$dir/sources.list"
    [ -s "$dir/sources.list" ] || { echo "no Debian package source is configured; run apt-get update" && return 1; }
    private_apt "$arch" update
}
