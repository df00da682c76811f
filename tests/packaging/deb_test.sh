#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The Debian packages as a device gets them: built, installed with their dependencies in a clean
# root, run there in namespaces of their own, removed. deb_test.sh SOURCE-FOLDER SCRATCH-FOLDER
#
# The clean root is kept in ~/.cache/vorn for the next time, of whatever tree, until Debian has newer
# packages. Where there is none yet, and Debian can't be reached, this fails.
set -euo pipefail
source=$1
scratch=$2
suite=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vorn
base=$cache/clean-$suite
root=$scratch/root

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

# Works as in the root, with its own users, processes and network: see tools/sandbox.
inside() {
    bwrap --bind "$root" / --proc /proc --dev /dev --tmpfs /tmp --tmpfs /run \
        --bind "$scratch/console" /dev/console --bind "$scratch/panic" /proc/sys/kernel/panic \
        --bind "$scratch/packages" /mnt --unshare-all --uid 0 --gid 0 --cap-add ALL --die-with-parent \
        --setenv PATH /usr/sbin:/usr/bin:/sbin:/bin --setenv DEBIAN_FRONTEND noninteractive \
        --setenv LC_ALL C.UTF-8 -- "$@"
}

# Whether the clean root is of the packages that Debian has now. Where that can't be asked it is good enough.
is_newest() {
    local list=deb.debian.org_debian_dists_${suite}_InRelease
    curl -sf --max-time 20 -o "$scratch/$list" "http://deb.debian.org/debian/dists/$suite/InRelease" ||
        return 0
    cmp -s "$scratch/$list" "$base/var/lib/apt/lists/$list"
}

mkdir -p "$scratch"
: >"$scratch/console"
echo 0 >"$scratch/panic"

echo '== the packages are built'
rm -rf "$scratch/packages"
mkdir -p "$scratch/packages/source"
git -C "$source" ls-files -co --exclude-standard -z | (cd "$source" && xargs -0 tar c) |
    tar x -C "$scratch/packages/source"
(
    export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}" DEB_BUILD_OPTIONS="parallel=2"
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    cd "$scratch/packages/source"
    dpkg-buildpackage -b -us -uc
) >"$scratch/log" 2>&1 || { cat "$scratch/log"; fail dpkg-buildpackage; }
rm -rf "$scratch/packages/source"
cd "$scratch/packages"

echo '== they have what Debian asks of them'
lintian --allow-root --fail-on error,warning ./*.changes || fail 'lintian finds fault with them'
dpkg-deb --fsys-tarfile vorn-dev_*.deb | tar x -C "$scratch" ./usr/lib
[ -n "$(find "$scratch/usr" -name '*.a')" ] || fail 'there are no static libraries'
contents=$(dpkg-deb --fsys-tarfile vorn-dev_*.deb | tar t)
for file in reference/index.html reference/supervise_8h.html plugins/network/network.c \
    examples/cxx/CMakeLists.txt; do
    grep -qx "./usr/share/doc/vorn-dev/$file\(.gz\)\?" <<<"$contents" || fail "vorn-dev lacks $file"
done
size=$(dpkg-deb --fsys-tarfile vorn-client_*.deb | tar x -O ./usr/bin/vornctl | wc -c)
[ "$size" -le $((250 * 1024)) ] || fail "vornctl takes $size bytes"
! grep -rqaF "$scratch" "$scratch/usr" || fail 'a static library or a description names the build folder'

echo '== a clean root is made'
needed=$(for each in vorn_ vorn-plugins_ vorn-client_ vorn-gate_ vorn-agent_ vorn-fleet_ libvorn-client0_; do
    dpkg-deb -f "$each"*.deb Depends
done | tr ',' '\n' | sed 's/^ *//; s/[ (|:].*//; /vorn/d; /^$/d' | sort -u | paste -sd,)
mkdir -p "$cache"
exec 8>"$base.lock"
flock 8
if [ "$(cat "$base/complete" 2>/dev/null)" != "$suite $needed" ] || ! is_newest; then
    rm -rf "$base"
    # It knows no packages that others provide, as python3-cffi-backend does what cryptography asks for.
    debootstrap --variant=minbase --include="$needed,hostname,procps,python3-cffi-backend" "$suite" "$base" \
        >"$scratch/log" 2>&1 || { tail "$scratch/log"; fail 'debootstrap needs the network'; }
    rm -rf "${base:?}"/var/cache/apt/archives/*.deb "${base:?}/dev"
    mkdir "${base:?}/dev"
    echo "$suite $needed" >"$base/complete"
fi
rm -rf "$root"
cp -a "$base" "$root"
exec 8>&-
# The namespace below has one user: what makes others works outside of one alone.
echo 'vorn-gate:x:999:999::/nonexistent:/usr/sbin/nologin' >>"$root/etc/passwd"
echo 'vorn-agent:x:998:998::/nonexistent:/usr/sbin/nologin' >>"$root/etc/passwd"

echo '== they can be installed, and install what they should'
find "$root" -xdev \( -type f -o -type l -o -type d \) | sort >"$scratch/before"
inside sh -c 'dpkg -i /mnt/vorn_*.deb /mnt/vorn-plugins_*.deb /mnt/vorn-client_*.deb /mnt/vorn-gate_*.deb /mnt/vorn-agent_*.deb /mnt/vorn-fleet_*.deb /mnt/libvorn-client0_*.deb' \
    >"$scratch/log" 2>&1 || { cat "$scratch/log"; fail 'dpkg -i'; }
for file in usr/sbin/vorn usr/bin/vornctl usr/lib/vorn/plugins/save.vorn etc/config usr/lib/vorn/plugins/web.vorn \
    usr/sbin/vorn-gate usr/sbin/vorn-gate-passwd usr/share/man/man8/vorn-gate.8.gz \
    usr/lib/vorn/plugins/fleet.vorn usr/sbin/vorn-agent usr/share/man/man8/vorn-agent.8.gz \
    usr/bin/vorn-fleet usr/share/vorn-fleet/vorn_fleet/waves.py usr/share/man/man1/vorn-fleet.1.gz \
    lib/systemd/system/vorn.service etc/init.d/vorn usr/share/man/man8/vorn.8.gz \
    usr/share/doc/vorn/copyright usr/share/bash-completion/completions/vornctl; do
    [ -e "$root/$file" ] || [ -e "$root/${file%.gz}" ] || fail "$file is missing"
done
inside test ! -e /var/run/vorn.pid || fail 'installing started the daemon'

echo '== the installed daemon serves the installed client'
cp "$source/packaging/examples/config.xml" "$root/etc/config/config.xml"
cat >"$root/try" <<'END'
set -e
ip link add eth0 type veth peer name cable
setsid vorn -f >/tmp/output 2>&1 &
daemon=$!
for _ in $(seq 3000); do
    [ ! -e /var/run/vorn.pid ] || break
    sleep 0.02
done
vornctl show system hostname
vornctl show web enabled >/dev/null
vornctl show fleet enabled >/dev/null
vorn-fleet --version
! vorn-fleet list --tenant acme --broker 127.0.0.1 --plain 2>/dev/null || exit 1
vornctl set system hostname=cellar
hostname
vornctl --version
kill "$daemon"
vornctl show system >/dev/null 2>&1 || true
wait "$daemon"
END
version=$(sed -n 's/^project(vorn VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
found=$(inside setsid sh /try) || { cat "$scratch/console"; fail 'the installed daemon does not work'; }
[ "$found" = "$(printf 'system\n  hostname  attic\nvorn-fleet %s\ncellar\n%s' "$version" "$(inside vornctl --version)")" ] ||
    fail "it said: $found"
grep -q '<hostname>cellar</hostname>' "$root/etc/config/config.xml" || fail 'nothing was saved'

echo '== the init script starts and stops it'
cat >"$root/try" <<'END'
set -e
echo 1 >/var/run/vorn.pid # of a daemon that is gone
/etc/init.d/vorn start
[ "$(cat /var/run/vorn.pid)" != 1 ]
/etc/init.d/vorn status
vornctl show system hostname
/etc/init.d/vorn start
/etc/init.d/vorn stop
[ ! -e /var/run/vorn.pid ]
! /etc/init.d/vorn status
END
inside setsid sh /try >"$scratch/log" 2>&1 || { cat "$scratch/log" "$scratch/console"; fail 'the init script'; }

echo '== removed, they leave configuration and nothing else'
rm "$root/try"
inside dpkg --purge vorn-fleet vorn-agent vorn-gate vorn-client libvorn-client0 vorn-plugins vorn >"$scratch/log" 2>&1 ||
    { cat "$scratch/log"; fail 'dpkg --purge'; }
find "$root" -xdev \( -type f -o -type l -o -type d \) | sort >"$scratch/after"
left=$(comm -13 "$scratch/before" "$scratch/after" | sed "s|^$root||" |
    grep -vE '^/(var/(lib/dpkg|log|cache)/|etc/\.pwd|etc/config/history(/|$))' || true)
[ "$left" = "$(printf '/etc/config\n/etc/config/config.xml\n/etc/vorn-plugins')" ] || fail "left behind: $left"
