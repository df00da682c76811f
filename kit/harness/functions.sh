# SPDX-License-Identifier: MIT
# shellcheck shell=bash
#
# What vorn-test runs inside the sandbox: boots the device, gives the script its functions, and
# says at the end whether all that it expected came true.
set -euo pipefail

readonly stand_in_folder=/tmp/stand-ins
failures=0
daemon=

complain()
{
    failures=$((failures + 1))
    printf '%s:%s: %s\n' "$script" "${BASH_LINENO[1]}" "$1" >&2
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
    for ((waited = 0; waited < 1000; waited++)); do
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
    printf '#!/bin/sh\n{ printf "%%s" "$*"; printf "\\n"; } >>"%s"\n' "$(notes_of "$1")" >"$file"
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
        mkdir -p "$stand_in_folder/links$folder"
        ln -s -t "$stand_in_folder/links$folder" "/run/host$folder"/*
        mount --bind "$stand_in_folder/links$folder" "$folder"
    fi
    [ -e "$place" ] || : >"$place"
    mount --bind "$2" "$place"
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
    kill -TERM "$daemon"
    lsql '<lsql/>' >/dev/null 2>&1
    wait "$daemon" || complain "the daemon ended with status $?"
}

restart_daemon()
{
    stop_daemon
    boot_daemon
}

script=$1
shift
mkdir -p "$stand_in_folder"
while read -r program; do
    [ -z "$program" ] || stand_in "$program"
done <<<"$VORN_TEST_STAND_INS"
boot_daemon
# shellcheck disable=SC1090
. "$script"
stop_daemon
if [ "$failures" != 0 ]; then
    printf '\n%s expectation(s) failed; the log:\n' "$failures" >&2
    cat /dev/console /tmp/vorn.stderr >&2
    exit 1
fi
