#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# tools/hardened sees each thing that a binary may lack. $1: the C compiler.
set -euo pipefail

tree=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/prog.c" <<'C'
#include <stdio.h>
#include <string.h>
#ifdef BOTH
__asm__(".pushsection .both, \"awx\"\n.long 0\n.popsection");
#endif
int main(int argc, char **argv)
{
    char line[9000];
    strncpy(line, argv[argc - 1], sizeof line - 1);
    line[sizeof line - 1] = '\0';
    fprintf(stdout, argv[0], line);
    return 0;
}
C

good=(-O2 -fPIE -pie -fstack-protector-strong -fstack-clash-protection
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
    "-Wl,-z,relro,-z,now,-z,noexecstack,--export-dynamic-symbol=main")
marked=false
if "$1" -w -fcf-protection -fsyntax-only "$work/prog.c" 2>/dev/null; then
    good+=(-fcf-protection)
    marked=true
fi

# Not every C library has checked calls.
checked=false
if printf '#include <features.h>\n' | "$1" -E -dM - | grep -q __GLIBC__; then
    checked=true
fi

# $1: what is to be said of a program built with the rest.
says()
{
    local wanted=$1
    shift
    "$compiler" -w "$work/prog.c" -o "$work/prog" "${good[@]}" "$@"
    ! "$tree/tools/hardened" "$work/prog" >"$work/said" || { echo "accepted: $*"; exit 1; }
    grep -qF -- "$work/prog $wanted" "$work/said" || { cat "$work/said"; exit 1; }
}

compiler=$1
"$compiler" -w "$work/prog.c" -o "$work/prog" "${good[@]}"
"$tree/tools/hardened" "$work/prog"
says "is not position independent" -fno-pie -no-pie
says "leaves its tables writable" -Wl,-z,lazy
says "leaves its tables writable" -Wl,-z,norelro
says "may run code on its stack" -Wl,-z,execstack
says "has no guards on its stack" -fno-stack-protector
if $checked; then
    says "calls fprintf unchecked" -U_FORTIFY_SOURCE
fi
says "has memory that is both written and run" -DBOTH
if $marked; then
    says "does not mark the entries of 1 functions, main" -fcf-protection=none
    says "may jump over the guard page of its stack" -fno-stack-clash-protection
    says "writes into its code at the start" -fno-pie -mcmodel=large -Wl,-z,notext
fi

if $checked; then
    # Nothing is forgiven but what is unchecked in a program that is compiled alike.
    "$compiler" -w "$work/prog.c" -o "$work/alike" "${good[@]}"
    "$compiler" -w "$work/prog.c" -o "$work/prog" "${good[@]}" -U_FORTIFY_SOURCE
    ! "$tree/tools/hardened" "$work/prog" --like "$work/alike" >/dev/null || { echo "accepted: --like"; exit 1; }
    "$tree/tools/hardened" "$work/prog" --like "$work/prog"
fi
