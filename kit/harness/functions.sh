# SPDX-License-Identifier: MIT
# shellcheck shell=bash
#
# What vorn-test runs inside the sandbox: boots the device, gives the script its functions, and
# says at the end whether all that it expected came true.
set -euo pipefail

readonly stand_in_folder=/tmp/stand-ins
readonly complaints=/tmp/vorn-test.complaints
readonly told=/tmp/vorn-test.told
daemon=

# Kept in a file: what a subshell or the end of a pipeline expects counts too.
complain()
{
    printf '%s:%s: %s\n' "$script" "${BASH_LINENO[1]}" "$1" >&2
    echo >>"$complaints"
}

expect_equal()
{
    [ "$1" = "$2" ] || complain "expected: $2"$'\n'"     got: $1"
}

expect_match()
{
    # shellcheck disable=SC2053
    [[ $1 == $2 ]] || complain "expected something like: $2"$'\n'"                    got: $1"
}

lsql()
{
    printf '%s' "$1" | vornctl query - || true
}

log_shows()
{
    local waited
    for ((waited = 0; waited < 3000; waited++)); do
        ! grep -qF -- "$1" /dev/console || return 0
        sleep 0.02
    done
    complain "the log does not show: $1"
}

# A name's own file in the folder that the daemon's PATH begins with, or a mount over the path.
stand_in()
{
    local file=$stand_in_folder/$1
    [[ $1 != /* ]] || file=$stand_in_folder/at$1
    mkdir -p "${file%/*}"
    printf '#!/bin/sh\nprintf "%%s\\n" "$*" >>"%s"\n' "$(notes_of "$1")" >"$file"
    chmod +x "$file"
    [[ $1 != /* ]] || cover "$1" "$file"
}

notes_of()
{
    printf '%s/runs%s' "$stand_in_folder" "${1//\//-}"
}

cover()
{
    local place folder
    place=$(readlink -m "${1%/*}")/${1##*/}
    folder=${place%/*}
    [ ! -h "$place" ] || rm "$place"
    if [ ! -e "$place" ] && ! touch "$place" 2>/dev/null; then
        cover_folder "$folder" "$stand_in_folder/links$folder"
    fi
    [ -e "$place" ] || : >"$place"
    mount --bind "$2" "$place"
}

# The same entries, as links; what is mounted in the folder, earlier stand-ins or the daemon
# itself, comes along.
cover_folder()
{
    local mounted kept
    mkdir -p "$2"
    ln -s -t "$2" "/run/host$1"/*
    while read -r _ _ _ _ mounted _; do
        [ "${mounted%/*}" = "$1" ] || continue
        kept=$2/${mounted##*/}
        rm -f "$kept"
        if [ -d "$mounted" ]; then mkdir "$kept"; else : >"$kept"; fi
        mount --rbind "$mounted" "$kept"
    done </proc/self/mountinfo
    mount --rbind "$2" "$1"
}

runs_of()
{
    cat "$(notes_of "$1")" 2>/dev/null || true
}

boot_daemon()
{
    : >/dev/console
    PATH=$stand_in_folder:$PATH setsid /usr/sbin/vorn -f >/tmp/vorn.stderr 2>&1 &
    daemon=$!
    log_shows 'Initialization complete.'
}

stop_daemon()
{
    kill -TERM "$daemon" || true
    lsql '<lsql/>' >/dev/null 2>&1
    wait "$daemon" || complain "the daemon ended with status $?"
}

restart_daemon()
{
    stop_daemon
    boot_daemon
}

# The command that ends the script, by the script's own line even when it is one of these functions
# that failed; once, though every subshell and function on the way out comes by here.
say_where()
(
    trap - ERR
    line=$2
    [ ! -e "$told" ] || exit 0
    for ((level = 1; level < ${#BASH_SOURCE[@]}; level++)); do
        [ "${BASH_SOURCE[level]}" = "$script" ] || continue
        [ "$level" = 1 ] || line=${BASH_LINENO[level - 1]}
        printf '%s:%s: failed with status %s: %s\n' "$script" "$line" "$1" "$3" >&2
        : >"$told"
        break
    done
)

# However the script ends, with exit too, its expectations decide.
finish()
{
    local status=$?
    trap - EXIT ERR
    if [ -n "$daemon" ]; then stop_daemon; fi
    if [ -s "$complaints" ]; then
        printf '\n%s expectation(s) failed; the log:\n' "$(wc -l <"$complaints")" >&2
        cat /dev/console /tmp/vorn.stderr >&2
        [ "$status" != 0 ] || status=1
    fi
    exit "$status"
}

script=$1
shift
mkdir -p "$stand_in_folder"
while read -r program; do
    [ -z "$program" ] || stand_in "$program"
done <<<"$VORN_TEST_STAND_INS"
trap finish EXIT
boot_daemon
set -E
trap 'say_where "$?" "$LINENO" "$BASH_COMMAND"' ERR
# shellcheck disable=SC1090
. "$script"
