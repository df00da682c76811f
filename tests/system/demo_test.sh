#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs the demo of a build folder and looks for what each of its steps is there to show, in order.
set -euo pipefail
tests=$(cd "$(dirname "$0")" && pwd)

export LSAN_OPTIONS=print_suppressions=0:suppressions=$tests/retained.supp
tour=$("$tests/../../tools/demo" "$1") || {
    printf '%s\n' "$tour"
    echo "the demo failed"
    exit 1
}
rest=$tour
lacking=0

shows()
{
    if [[ $rest == *"$1"* ]]; then
        rest=${rest#*"$1"}
    else
        echo "the demo does not show, at its place: $1"
        lacking=1
    fi
}

shows '1. The hardware'
shows '<hostname>attic</hostname>'
shows '3. The daemon boots'
shows 'vorn: Loading '
shows 'vorn: Running "hostname attic"'
shows 'vorn: Initialization complete.'
shows '    attic'
shows '192.168.1.1/24'
shows '$ vornctl list'
shows '    interface '
shows ' unique-named, abstract  yes'
shows '      state       applied'
shows '<status>up</status><rx-packets>'
shows '192.168.7.1/24'
shows '<address>192.168.7.1</address>'
shows 'configuration changed (2) by tour'
shows 'Value "192.168.7.256" is not valid'
shows '192.168.7.1/24'
shows '$ vornctl inform interface name=eth0'
shows '    OK'
shows '192.168.7.1/24'
shows '8. A change that cuts its author off'
shows '$ vornctl set address lan address=10.9.8.7 --trial 5'
shows '10.9.8.7/24'
shows '<address>192.168.7.1</address>'
shows 'After five seconds'
shows '192.168.7.1/24'
shows 'vorn: trial: taken back.'
shows '9. Power off and on again'
shows '192.168.7.1/24'
shows 'address  192.168.7.1'
[ "$lacking" = 0 ] || printf '%s\n' "$tour"
exit "$lacking"
