#!/bin/sh
# SPDX-License-Identifier: MIT
# tracepoints_test.sh DAEMON
set -eu

found=$(readelf -n "$1" | awk '/Provider:/ { provider = $2 } /Name:/ { print provider ":" $2 }' |
    sort -u)
wanted="vorn:provider__begin
vorn:provider__end
vorn:request__begin
vorn:request__end"
[ "$found" = "$wanted" ] || { echo "found: $found"; exit 1; }
