#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Compiles the daemon, the plugins and the client library with the headers of musl, a small C
# library such as devices have. Usage: musl_test.sh TREE WORK-FOLDER
set -euo pipefail
cd "$1"
work=$2

machine=$(gcc -dumpmachine)
musl=/usr/include/${machine%-gnu}-musl
version=$(g++ -dumpversion)
[ -e "$musl/stdio.h" ] || { echo "musl-dev is missing"; exit 1; }

# The kernel's, libxml2's, zlib's and jansson's headers, without those of the GNU C library beside them.
rm -rf "$work"
mkdir -p "$work"
ln -s /usr/include/{linux,asm-generic,unicode} "/usr/include/$machine/asm" \
    /usr/include/libxml2/libxml /usr/include/{zlib,zconf,jansson,jansson_config}.h "$work"
# musl has it; Debian's package leaves crypt(3) to a library of its own.
cat >"$work/crypt.h" <<'END'
struct crypt_data {
    int initialized;
    char space[256];
};
char *crypt_r(const char *, const char *, struct crypt_data *);
END

common=(-fsyntax-only -D_GNU_SOURCE -DVORN_VERSION='"0"' -Wall -Wextra -Werror -nostdinc
    -isystem "$musl" -isystem "$(gcc -print-file-name=include)" -isystem "$work"
    -I. -Iinclude -Iplugins/common -Ikit/plugin/include)
cxx=(-std=c++20 -fno-exceptions -fno-rtti -nostdinc++ -include tests/abi/musl_prelude.h
    -isystem "/usr/include/c++/$version" -isystem "/usr/include/$machine/c++/$version")

sources() {
    find "${@:2}" -name "$1" -print0
}

every() {
    xargs -0 -r -n 1 -P "$(nproc)" "$@"
}

sources '*.cpp' core model access change config api input services platform |
    every g++ "${cxx[@]}" "${common[@]}"
sources '*.c' plugins kit/plugin client/library | every gcc -std=c99 "${common[@]}"
