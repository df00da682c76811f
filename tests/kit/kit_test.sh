#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The plugin kit as its users have it: installed, nothing else of the tree in sight, in an empty
# folder. kit_test.sh BUILD-FOLDER SOURCE-FOLDER CMAKE
set -euo pipefail
build=$1
source=$2
cmake=$3
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
prefix=$root/opt/vorn

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

"$cmake" --install "$build" --prefix "$prefix" >/dev/null
documents=$prefix/share/doc/vorn-dev
for example in c cxx supervised; do
    cp -r "$documents/examples/$example" "$root/$example"
done
diff -r "$source/kit/examples" "$documents/examples" >&2 || fail "examples are not installed whole"
[ -f "$documents/plugins/wireless/radios.c" ] || fail "the plugins' sources are not installed"
cd "$root"
PATH=$prefix/bin:$PATH
export CMAKE_PREFIX_PATH=$prefix PKG_CONFIG_PATH=$prefix/lib/pkgconfig
PKG_CONFIG_PATH+=:$(echo "$prefix"/lib/*/pkgconfig)

# Builds and tests the folder.
build_and_test() {
    "$cmake" -G Ninja -S "$1" -B "$1/build" >"$1.log" 2>&1 || { cat "$1.log"; fail "configure $1"; }
    "$cmake" --build "$1/build" >>"$1.log" 2>&1 || { cat "$1.log"; fail "build $1"; }
    ctest --test-dir "$1/build" --output-on-failure -j 2 >>"$1.log" 2>&1 ||
        { cat "$1.log"; fail "test $1"; }
    grep -q '100% tests passed' "$1.log" || { cat "$1.log"; fail "$1 has no tests"; }
}

echo '== a new plugin builds and passes its tests'
vorn-plugin-new lamp-post >/dev/null
build_and_test lamp-post

echo '== so does it with make'
make -s -C lamp-post >/dev/null
make -s -C lamp-post install DESTDIR="$root/device" >/dev/null
[ -f "$root/device$prefix/lib/vorn/plugins/lamp-post.vorn" ] || fail "make install"

echo '== a new plugin needs a proper name and a new folder'
! vorn-plugin-new lamp-post 2>err || fail "a folder was overwritten"
grep -q 'lamp-post exists already' err || fail "$(cat err)"
for name in Lamp 1lamp 'lamp post' lamp_post -lamp lamp-; do
    ! vorn-plugin-new "$name" new 2>/dev/null || fail "the name $name was taken"
done
[ ! -e new ] || fail "a refused plugin left a folder"

echo '== the examples build with the installed tree only, the one in C also as C99'
build_and_test c
build_and_test cxx
build_and_test supervised

echo '== what the library brings is in a plugin that make builds, too'
mkdir plain
vorn-plugin-new beacon plain/beacon >/dev/null
cp supervised/beacon.c plain/beacon/beacon.c
make -s -C plain/beacon >/dev/null || fail 'make with the library'
vorn-plugin-check plain/beacon/beacon.vorn >/dev/null || fail 'the plugin that make built'

echo '== a program is built with the client library'
cat >client.c <<'END'
#include <stdio.h>
#include <vorn-client.h>
int main(void)
{
    char *reply;
    vorn_client *client = vorn_client_new();
    const int status = vorn_client_request(client, "<lsql/>", 7, &reply, NULL);
    puts(vorn_client_status_text(status));
    vorn_client_delete(client);
}
END
read -ra flags < <(pkg-config --cflags --libs vorn-client)
cc -std=c99 -pedantic -Wall -Wextra -Werror client.c "${flags[@]}" -o client ||
    fail 'a program with libvorn-client'
libraries=$(dirname "$(find "$prefix" -name libvorn-client.so)")
[ "$(LD_LIBRARY_PATH=$libraries "$prefix/libexec/vorn/sandbox" \
    -- "$PWD/client")" = 'no daemon is listening on this machine' ] || fail 'the client library'

echo '== a plugin that needs what the daemon does not export is not built'
cat >lamp-post/lamp-post.c <<'END'
#include <vorn/vorn.h>
void vorn_no_such_thing(void);
void eloop_no_such_loop(void);
void vorn_plugin_init(void) { vorn_no_such_thing(); eloop_no_such_loop(); vorn_plugin_new("1.0"); }
END
! "$cmake" --build lamp-post/build >log 2>&1 || fail "it was built"
tr -s '\n ' ' ' <log | grep -q \
    'does not export: eloop_no_such_loop, vorn_no_such_thing' || { cat log; fail "no reason given"; }
[ ! -e lamp-post/build/lamp-post.vorn ] || fail "what was refused is still there"

echo '== a script that expects something else fails and says what'
cat >wrong.sh <<'END'
expect_equal "$(vornctl show Nothing)" something
END
! vorn-test wrong.sh >log 2>&1 || fail "it passed"
grep -q 'wrong.sh:1: expected: something' log || { cat log; fail "no reason given"; }
# shellcheck disable=SC2016
for wrong in 'expect_equal a b; exit 0' '(expect_equal a b)' 'echo | expect_equal a b' \
    'echo "$(expect_match a b)"' 'restart_daemon; expect_equal a b; exit' \
    'kill -9 "$daemon"' 'false'; do
    echo "$wrong" >wrong.sh
    ! vorn-test wrong.sh >log 2>&1 || fail "it passed: $wrong"
done
# shellcheck disable=SC2016
printf 'true\nfalse || true\nx=$(echo a | grep b)\necho on\n' >wrong.sh
! vorn-test wrong.sh >log 2>&1 || fail "it passed"
grep -q 'wrong.sh:3: failed with status 1: grep b' log || { cat log; fail "no line given"; }
echo 'expect_equal a a; exit 0' >right.sh
vorn-test right.sh >log 2>&1 || { cat log; fail 'exit 0 is no failure'; }
! vorn-test --plugin /no/such/plugin wrong.sh >/dev/null 2>&1 || fail "a missing plugin was taken"
! vorn-test >/dev/null 2>&1 || fail "no script was taken"

echo '== a stand-in notes how it is run, and leaves the others in its folder where they are'
cat >stand_in.sh <<'END'
vornctl set motd text=x
expect_equal "$(runs_of killall)" ''
for program in /usr/bin/env /usr/bin/no-such-program /usr/bin/true; do
    "$program" a b
    expect_equal "$(runs_of "$program")" 'a b'
done
END
vorn-test --stand-in killall --stand-in /usr/bin/env --stand-in /usr/bin/no-such-program \
    --stand-in /usr/bin/true \
    --plugin cxx/build/motd.vorn stand_in.sh || fail "stand-ins"
