#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Who builds packages gets what runs on a device, and no test, benchmark or fuzz target; nor does who
# takes the tree into a project of his own. configure_test.sh SOURCE-FOLDER CMAKE
set -euo pipefail
source=$1
cmake=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

configure() {
    "$cmake" -S "$1" -B "$scratch/build" --fresh -DCMAKE_EXPORT_COMPILE_COMMANDS=ON "${@:2}" \
        >"$scratch/log" 2>&1 || { cat "$scratch/log"; fail "configuring $1"; }
}

# What would be compiled that no device needs.
unasked() {
    grep -oE "\"file\": \"$source/(tests|bench|fuzz)/[^\"]*" "$scratch/build/compile_commands.json" || true
}

configure "$source" -DVORN_DEVELOPER=ON
[ -n "$(unasked)" ] || fail 'a developer gets no tests'

configure "$source"
[ -z "$(unasked)" ] || fail "a plain build compiles $(unasked | head -n 1)"
! grep -q -- -Werror "$scratch/build/compile_commands.json" || fail 'a plain build takes warnings for errors'
grep -q -- -O2 "$scratch/build/compile_commands.json" || fail 'a plain build does not optimise'

# GNU's linker asks GCC by itself what such an archive holds, and Clang only when it is told to.
if command -v clang++ >/dev/null && command -v ninja >/dev/null; then
    configure "$source" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DVORN_GATE=ON -DVORN_AGENT=ON
    parts=$(ninja -C "$scratch/build" -t commands client/command_line/libvornctl_parts.a)
    for program in client/vornctl gate/vorn-gate agent/vorn-agent; do
        link=$(ninja -C "$scratch/build" -t commands -s $program)
        [[ $parts != *" -flto"* || $link = *" -flto"* ]] ||
            fail "$program is not optimised while linking, and what it shares with vornctl is"
    done
fi

mkdir "$scratch/project"
cat >"$scratch/project/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(firmware LANGUAGES C CXX)
add_subdirectory($source vorn)
END
configure "$scratch/project" -DVORN_DEVELOPER=ON
[ -z "$(unasked)" ] || fail "a part of another project compiles $(unasked | head -n 1)"
