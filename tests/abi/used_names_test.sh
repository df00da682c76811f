#!/bin/sh
# SPDX-License-Identifier: MIT
# used_names_test.sh CMAKE CC NM SCRIPT PLUGIN...: a daemon for just these plugins exports what they
# leave to it, and no other name.
set -eu

cmake=$1 cc=$2 nm=$3 script=$4
shift 4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

plugins=
for each; do plugins="$plugins;$each"; done
"$cmake" "-DNM=$nm" "-DPLUGINS=${plugins#;}" "-DLIST=$folder/used.list" -P "$script"

wanted=$(readelf -W --dyn-syms "$@" | awk '$7 == "UND" && $8 ~ /^vorn_/ { print $8 }' | sort -u)
[ "$(echo "$wanted" | wc -l)" -gt 100 ] || { echo "the plugins need hardly anything"; exit 1; }
{
    for name in $wanted vorn_that_no_plugin_uses; do echo "int $name(void) { return 0; }"; done
    echo "int main(void) { return 0; }"
} >"$folder/names.c"
"$cc" -fPIE -pie -Wl,--dynamic-list="$folder/used.list" -o "$folder/names" "$folder/names.c"
found=$(readelf -W --dyn-syms "$folder/names" | awk '$7 != "UND" && $8 ~ /^vorn_/ { print $8 }' | sort -u)
[ "$found" = "$wanted" ] || { echo "exported are"; echo "$found"; exit 1; }
