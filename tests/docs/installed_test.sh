#!/bin/sh
# SPDX-License-Identifier: MIT
#
# What authors of plugins read is where they look for it: installed_test.sh CMAKE BUILD PREFIX
set -eu
cmake=$1
build=$2
prefix=$3
doc=$prefix/share/doc/vorn-dev

rm -rf "$prefix"
"$cmake" --install "$build" --component dev --prefix "$prefix" >/dev/null
for file in reference/index.html reference/provider_8h.html reference/supervise_8h.html \
    reference/patience_8h.html plugins/network/network.c plugins/common/declare.h \
    examples/cxx/CMakeLists.txt plugin-guide.md; do
    [ -s "$doc/$file" ] || {
        echo "FAILED: $file is not installed" >&2
        exit 1
    }
done
grep -q vorn_provider_set_check_fn "$doc/reference/provider_8h.html"
rm -rf "$prefix"
