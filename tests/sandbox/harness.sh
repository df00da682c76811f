# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# What the checks of sandbox_test.sh are written with, and how they are run: once as whoever
# starts the test and, if that is root, once more as an ordinary user. The lines are TAP.

set -euo pipefail

readonly ordinary_id=65534
readonly tests=${BASH_SOURCE[0]%/*}

who=
sandbox=
work=

# --- what checks are made of -----------------------------------------------------------

# One check: a sentence, then the function that answers whether it is true. Inside it any
# failing command fails the check; what it printed is shown then.
check() {
    local output status
    set +e
    output=$(set -e; "$2" 2>&1)
    status=$?
    set -e
    if ((status == 0)); then
        printf 'ok - as %s: %s\n' "$who" "$1"
    else
        printf 'not ok - as %s: %s\n' "$who" "$1"
        printf '%s\n' "$output" | sed 's/^/# /'
    fi
}

expect() {
    [[ $1 == "$2" ]] || {
        printf 'expected: %s\nseen:     %s\n' "$2" "$1"
        return 1
    }
}

contains() {
    [[ $1 == *"$2"* ]] || {
        printf 'expected somewhere: %s\nseen: %s\n' "$2" "$1"
        return 1
    }
}

# Runs a command that is to end with the given status, and passes on what it prints.
ends_with() {
    local wanted=$1 status=0
    shift
    "$@" || status=$?
    expect "$status" "$wanted"
}

# Runs lines of shell in a sandbox. What precedes "--" are options of the sandbox.
inside() {
    local options=()
    while [[ $1 != -- ]]; do
        options+=("$1")
        shift
    done
    "$sandbox" "${options[@]}" -- bash -ec "$2" inside "${@:3}"
}

# A folder of its own for each check that needs one.
fresh() {
    mktemp -d "$work/XXXXXX"
}

await() {
    local i
    for ((i = 0; i < 3000; ++i)); do
        if "$@"; then return 0; fi
        sleep 0.02
    done
    echo "in vain awaited: $*"
    return 1
}

gone() {
    local state
    ! read -r state 2>/dev/null <"/proc/$1/stat" || [[ ${state##*) } == [ZX]* ]]
}

first_process() {
    sed -n 's/.*"child-pid": *\([0-9]*\).*/\1/p' "$1/init.json"
}

# What of the outside a program inside might hurt, each in a line.
outside() {
    sed 's/.*) //' /proc/1/stat | cut -d' ' -f20
    cat /proc/sys/kernel/panic /proc/sys/net/ipv4/ip_forward
    uname -n
    ip -o link | cut -d: -f2
}

# --- how they are run ------------------------------------------------------------------

# Some checks signal process 1 or every process: not before it is sure who would get it.
bail_out_unless_separate() {
    local kind
    for kind in pid user mnt net uts ipc; do
        [[ $("$sandbox" readlink /proc/self/ns/$kind) == $kind:* &&
            $("$sandbox" readlink /proc/self/ns/$kind) != "$(readlink /proc/self/ns/$kind)" ]] || {
            echo "Bail out! The sandbox has no $kind namespace of its own."
            exit 1
        }
    done
}

# Once through as whoever runs this.
pass() {
    who=$1
    sandbox=$(cd -P "$tests/../.." && pwd)/tools/sandbox
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    "${CC:-cc}" -std=c11 -D_GNU_SOURCE -fsanitize=address -o "$work/probe" "$tests/probe.c"
    bail_out_unless_separate
    all_checks
}

# The tree may lie where only root can read, so the ordinary user gets a copy.
pass_as_ordinary_user() {
    local tree script=tests/sandbox/sandbox_test.sh
    tree=$(mktemp -d)
    (cd "$tests/../.." && cp --parents tools/sandbox tests/sandbox/* "$tree")
    mkdir "$tree/tmp"
    chown -R "$ordinary_id:$ordinary_id" "$tree"
    (cd "$tree" && setpriv --reuid=$ordinary_id --regid=$ordinary_id --clear-groups \
        env -u HOME TMPDIR="$tree/tmp" "$BASH" $script --pass 'an ordinary user') ||
        echo 'Bail out! The checks as an ordinary user ended early.'
    rm -rf "$tree"
}

number_lines() {
    awk '/^(not )?ok / { sub(/ok/, "ok " ++count) }
         /^not ok|^Bail/ { bad = 1 }
         { print; fflush() }
         END { print "1.." count + 0; exit bad || !count }'
}

main() {
    if [[ ${1-} == --pass ]]; then
        pass "$2"
    elif (($(id -u) == 0)); then
        { "$BASH" "$tests/sandbox_test.sh" --pass root; pass_as_ordinary_user; } | number_lines
    else
        "$BASH" "$tests/sandbox_test.sh" --pass 'an ordinary user' | number_lines
    fi
}
