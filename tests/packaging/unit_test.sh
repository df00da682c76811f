#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# unit_test.sh SOURCE: what the service unit does when the daemon has ended, without systemd.
set -euo pipefail
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
lock=$scratch/lock
command=$(sed -n "s|^ExecStopPost=/bin/sh -c '\(.*\)'\$|\1|p" "$1/debian/vorn.service")
command=${command//\/var\/run\/vorn.lock/$lock}
[ -n "$command" ] || { echo "the unit does nothing at the end"; exit 1; }
printf '#!/bin/sh\necho "$@" >>%s/asked\n' "$scratch" >"$scratch/systemctl"
chmod +x "$scratch/systemctl"

# expect WHAT STATUS: what is asked of systemctl when the daemon ended with that status
expect() {
    rm -f "$scratch/asked"
    PATH=$scratch:$PATH EXIT_STATUS=$2 /bin/sh -c "$command" || true
    said=$(cat "$scratch/asked" 2>/dev/null || true)
    [ "$said" = "$1" ] || { echo "status $2: expected \"$1\", asked \"$said\""; exit 1; }
}

expect "--no-block reboot" 1
: >"$lock"
expect "--no-block reboot" 1
expect "" 0
expect "" TERM
exec 9>"$lock"
flock 9
expect "" 1
