# bash completion for vosctl: commands, options, message types and the entities on the running hub.
_vosctl() {
    local candidates
    candidates=$(vosctl complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2> /dev/null)
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "${COMP_WORDS[COMP_CWORD]}")
}
complete -o default -F _vosctl vosctl
