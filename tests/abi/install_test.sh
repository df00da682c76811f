#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# What is installed is enough to build a plugin, and stays below DESTDIR: install_test.sh
# BUILD-FOLDER CMAKE C-COMPILER
set -euo pipefail
build=$1
cmake=$2
compiler=$3
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

DESTDIR=$root "$cmake" --install "$build" --prefix /opt/vorn >/dev/null

expected="bin include lib libexec sbin share"
found=$(cd "$root/opt/vorn" && echo *)
[ "$found" = "$expected" ] || { echo "installed: $found, expected: $expected"; exit 1; }
for file in sbin/vorn bin/vornctl lib/vorn/plugins/system.vorn include/vorn/vorn.h \
    include/vorn-client.h share/bash-completion/completions/vornctl; do
    [ -f "$root/opt/vorn/$file" ] || { echo "$file is not installed"; exit 1; }
done
[ "$(ls "$root")" = opt ] || { echo "something is installed outside the prefix"; exit 1; }

cat >"$root/plugin.c" <<'END'
#include <vorn/vorn.h>

void vorn_plugin_init(void)
{
    vorn_class *klass = vorn_class_new("Radio");
    vorn_class_set_type(klass, VORN_CLASS_UNIQUE_NAMED);
    vorn_classes_add(klass);
}
END
"$compiler" -std=c99 -pedantic -Wall -Wextra -Werror -shared -fPIC \
    -I"$root/opt/vorn/include" "$root/plugin.c" -o "$root/plugin.vorn"
