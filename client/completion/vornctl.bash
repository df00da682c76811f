# SPDX-License-Identifier: MIT
# Completion of vornctl for bash: the words come from the running device.

_vornctl()
{
    local current=${COMP_WORDS[COMP_CWORD]} line=${COMP_LINE:0:COMP_POINT} candidate head
    COMPREPLY=()

    # bash ends a word at "=" and ":", vornctl does not: what bash has seen already goes.
    head=${line##*[[:blank:]]}
    if [[ $current == [=:] ]]; then current=; fi
    head=${head%"$current"}

    while IFS= read -r candidate; do
        [[ $candidate == "$head" ]] || COMPREPLY+=("$(printf '%q' "${candidate#"$head"}")")
    done < <(vornctl complete -- "$line" 2>/dev/null)

    # A property waits for its value.
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *= ]]; then
        compopt -o nospace 2>/dev/null
    fi
    case $line in
        *" batch "* | *" query "* | *" import "* | *" export "* | *" diff "*)
            [[ ${#COMPREPLY[@]} -gt 0 ]] || mapfile -t COMPREPLY < <(compgen -f -- "$current")
            ;;
    esac
}

complete -F _vornctl vornctl
