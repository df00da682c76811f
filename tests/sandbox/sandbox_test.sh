#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# What tools/sandbox promises, as a user of it sees it.
#
# Much of what stands in single quotes is shell for the inside:
# shellcheck disable=SC2016

# shellcheck source=tests/sandbox/harness.sh
source "${BASH_SOURCE[0]%/*}/harness.sh"

# --- processes -------------------------------------------------------------------------

command_is_root_among_its_own() {
    expect "$(inside -- 'id -u; id -g; set -- /proc/[0-9]*; echo $#')" $'0\n0\n2'
}

# Only root can let somebody in.
second_user_has_no_rights() {
    local become='' wanted=$'0\nwritten'
    if [[ $EUID == 0 ]]; then
        become='setpriv --reuid 1000 --regid 1000 --clear-groups --'
        wanted=$'1000\nrefused'
    fi
    expect "$(inside --second-user -- "$become sh -c '
        touch /tmp/mine; stat -c %u /tmp/mine
        echo 5 2>/dev/null >/proc/sys/kernel/panic && echo written || echo refused'")" "$wanted"
}

signal_to_process_1() {
    local before
    before=$(outside)

    inside -- 'kill -TERM 1; kill -KILL 1'

    expect "$(outside)" "$before"
}

signal_to_the_group() {
    sleep 60 >/dev/null 2>&1 &
    ends_with 143 inside -- 'kill -TERM 0; sleep 60'

    kill -0 $!
    kill $!
}

signal_to_every_process() {
    sleep 60 >/dev/null 2>&1 &
    expect "$(inside -- 'sleep 60 & kill -KILL -1; echo still here')" 'still here'

    kill -0 $!
    kill $!
}

pid1_option() {
    expect "$("$sandbox" --pid1 -- bash -c 'echo $$')" 1
    [[ $("$sandbox" -- bash -c 'echo $$') != 1 ]]
}

session_of_its_own() {
    [[ $("$sandbox" cut -d' ' -f6 /proc/self/stat) != 0 ]]
}

# Many of them: their end takes longer than the way back to here.
leftovers_end_with_the_command() {
    local root
    root=$(fresh)

    inside --root "$root" -- 'for ((i = 0; i < 200; ++i)); do sleep 60 & done'

    gone "$(first_process "$root")"
}

ended_by_signal() {
    local signal=$1 status=$2 root first script
    root=$(fresh)
    "$sandbox" --root "$root" -- bash -c ': >/tmp/ready; sleep 60' &
    script=$!
    await test -e "$root/tmp/ready"
    first=$(first_process "$root")

    kill -"$signal" "$script"

    await gone "$first"
    ends_with "$status" wait "$script"
}

sigterm_ends_all() { ended_by_signal TERM 143; }
sigkill_ends_all() { ended_by_signal KILL 137; }

usual_signal_dispositions() {
    local ignored='s/^SigIgn:\t//p'
    expect "$("$sandbox" sed -n "$ignored" /proc/self/status)" \
        "$(sed -n "$ignored" /proc/self/status)"
}

no_further_descriptors() {
    expect "$("$sandbox" ls /proc/self/fd)" "$(ls /proc/self/fd)"
}

# --- the kernel ------------------------------------------------------------------------

panic_timeout() {
    local before root
    before=$(outside)
    root=$(fresh)

    expect "$(inside --root "$root" -- 'cat /proc/sys/kernel/panic')" 0
    inside --root "$root" -- 'echo 5 >/proc/sys/kernel/panic'

    expect "$(<"$root/panic")" 5
    expect "$(outside)" "$before"
    expect "$(inside --root "$root" -- 'cat /proc/sys/kernel/panic')" 0
}

sysctls_are_read_only() {
    expect "$(inside -- 'find /proc/sys -path /proc/sys/net -prune -o -type f -writable -print')" \
        /proc/sys/kernel/panic
}

kernel_files_are_read_only() {
    expect "$(inside -- 'find /proc -maxdepth 1 -type f -perm /222 -writable
                         find /sys/kernel /sys/power /sys/module -type f -writable')" ''
}

forwarding_stays_inside() {
    local before
    before=$(outside)

    expect "$(inside -- 'cd /proc/sys/net/ipv4; echo 1 >ip_forward; cat ip_forward')" 1

    expect "$(outside)" "$before"
}

writable_mounts() {
    expect "$(inside -- 'cut -d" " -f5 /proc/self/mountinfo | sort -u | while read -r place; do
                             if [[ -w $place ]]; then echo $place; fi
                         done' | grep -Ev '^/proc$|^/dev(/|$)' | tr '\n' ' ')" \
        '/etc /proc/sys/kernel/panic /run /tmp /usr/lib '
}

devices() {
    expect "$(inside -- 'cd /dev; for file in * pts/* shm/*; do
                             if [[ ! -h $file && ( -b $file || -c $file ) ]]; then echo $file; fi
                         done' | tr '\n' ' ')" \
        'full null random tty urandom zero pts/ptmx '
}

shared_memory_is_private() {
    expect "$(inside -- 'ls -A /dev/shm; : >/dev/shm/vorn-sandbox-test; ls /dev/shm')" \
        vorn-sandbox-test
    [[ ! -e /dev/shm/vorn-sandbox-test ]]
}

# --- the network and names -------------------------------------------------------------

hostname_stays_inside() {
    local before
    before=$(outside)

    expect "$(inside -- 'uname -n; hostname board; uname -n')" $'sandbox\nboard'

    expect "$(outside)" "$before"
}

loopback_answers() {
    "$sandbox" --bind "$work/probe" /tmp/probe -- /tmp/probe loopback
}

interfaces_can_be_made() {
    local before
    before=$(outside)

    inside -- 'ip link add wan0 type veth peer name wan1
               ip link add lan type bridge
               ip link add link wan0 name guest type macvlan
               ip link set wan1 master lan
               ip addr add 192.0.2.1/24 dev lan
               ip link show guest' >/dev/null

    expect "$(outside)" "$before"
}

abstract_sockets_are_private() {
    local name="vorn-sandbox-test-$$" status=0
    "$work/probe" listen "$name" >"$work/listening" 2>&1 &
    await test -s "$work/listening"

    "$work/probe" connect "$name"
    "$sandbox" --bind "$work/probe" /tmp/probe -- /tmp/probe connect "$name" || status=$?

    kill $!
    expect "$status" 1
}

# --- files -----------------------------------------------------------------------------

rename_works() {
    inside -- 'for folder in /etc /etc/config; do
                   echo new >$folder/aside
                   mv $folder/aside $folder/hosts
                   expr $(cat $folder/hosts) : new
               done' >/dev/null
}

links_keep_resolving() {
    local list
    list=$(fresh)/list
    local resolving='for f in /etc/* /etc/alternatives/* /usr/lib/* /usr/lib/*-linux-*/*; do
                         if [[ -e $f ]]; then echo "$f"; fi
                     done'
    bash -c "$resolving" | grep -Ev '^(/etc/(post-init|.*config.*)|/usr/lib/vorn)$' >"$list"

    expect "$(inside -- 'while read -r f; do [[ -e $f ]] || echo "$f"; done' <"$list")" ''
    [[ -s $list ]]
}

files_lie_in_their_places() {
    local files root
    files=$(fresh)
    root=$(fresh)
    cd "$files"
    printf '#!/bin/sh\necho daemon\n' >some-daemon
    chmod +x some-daemon
    for name in a.so b.so c.xml d.xml r.xml; do echo "$name" >$name; done

    expect "$(inside --root "$root" --vorn some-daemon --plugin a.so --plugin b.so \
        --config c.xml --default d.xml --rescue r.xml -- \
        'vorn; cat /etc/config/config.xml /etc/defaultconfig.xml /etc/rescueconfig.xml
         cd /usr/lib/vorn/plugins; cat *; ls /usr/sbin/ip >/dev/null')" \
        $'daemon\nc.xml\nd.xml\nr.xml\na.so\nb.so'

    cat "$root"/etc/{config/config,defaultconfig,rescueconfig}.xml
    ls "$root"/usr/lib/vorn/plugins/{a,b}.so
}

second_start_finds_files() {
    local root
    root=$(fresh)
    echo given >"$root.xml"
    inside --root "$root" --config "$root.xml" -- \
        'echo saved >/etc/config/new; mv /etc/config/new /etc/config/config.xml
         echo 1 >/tmp/file; echo 2 >/var/run/file; mv /etc/hosts /etc/hosts.old'

    expect "$(inside --root "$root" -- 'cat /etc/config/config.xml /tmp/file /var/run/file
                                        ls /etc/hosts.old; ! ls /etc/hosts 2>/dev/null')" \
        $'saved\n1\n2\n/etc/hosts.old'
    expect "$(inside --root "$root" --config "$root.xml" -- 'cat /etc/config/config.xml')" given
}

given_again_through_a_link() {
    local root victim
    root=$(fresh)
    victim=$(fresh)/victim
    echo untouched >"$victim"
    echo given >"$root.xml"
    inside --root "$root" -- "ln -s $victim /etc/config/config.xml"

    expect "$(inside --root "$root" --config "$root.xml" -- 'cat /etc/config/config.xml')" given

    expect "$(<"$victim")" untouched
}

scratch_files_seen_from_outside() {
    local root
    root=$(fresh)
    inside --root "$root/made" -- 'echo 1 >/dev/console; echo 2 >/run/vorn.pid; echo 3 >/tmp/f
                                   echo 4 >/etc/config/config.xml'

    expect "$(cd "$root/made"; cat console var/run/vorn.pid tmp/f etc/config/config.xml)" \
        $'1\n2\n3\n4'
    inside --root "$root/made" -- '[[ ! -s /dev/console ]]'
}

binds_are_seen() {
    local files
    files=$(fresh)
    printf '#!/bin/sh\necho stand-in\n' >"$files/tool"
    chmod +x "$files/tool"
    : >"$files/device"

    expect "$(inside --bind "$files/tool" /usr/bin/md5sum --bind "$files/tool" /usr/bin/ng_migrate \
        --bind "$files/tool" /etc/post-init --bind "$files/tool" /etc/hosts \
        --bind "$files/device" /dev/watchdog -- \
        'md5sum; /usr/bin/ng_migrate; /etc/post-init; sh /etc/hosts; echo V >/dev/watchdog')" \
        $'stand-in\nstand-in\nstand-in\nstand-in'
    expect "$(<"$files/device")" V
}

temporary_folder_goes() {
    local folder kept
    folder=$(fresh)
    TMPDIR=$folder inside -- 'echo 1 >/etc/file; false' || true
    expect "$(ls "$folder")" ''

    kept=$(TMPDIR=$folder "$sandbox" --keep -- bash -c 'echo 1 >/etc/file' 2>&1)
    expect "$(<"${kept#sandbox: kept in }/etc/file")" 1
}

tree_is_readable() {
    cmp "$sandbox" <("$sandbox" cat "$sandbox")
    ends_with 1 inside -- "echo >>'$sandbox'"

    # This one lies in /tmp, which is another one inside, and so does the current folder.
    local tree
    tree=$(mktemp -d /tmp/sandbox-test.XXXXXX)
    mkdir "$tree"/{tools,build}
    cp "$sandbox" "$tree/tools"
    echo built >"$tree/build/file"
    expect "$(cd "$tree/build" && ../tools/sandbox cat "$tree/build/file" file)" $'built\nbuilt'
    rm -r "$tree"
}

# Starts a sandbox on a host whose /etc is the given folder.
with_host_etc() {
    unshare --user --map-root-user --mount sh -c \
        'mount --bind "$1" /etc; shift; exec "$@"' sh "$1" "$sandbox" "${@:2}"
}

host_files_are_not_lent() {
    local etc
    etc=$(fresh)
    mkdir "$etc/config"
    touch "$etc"/{hosts,defaultconfig.xml,rescueconfig.xml,post-init,config/config.xml}

    expect "$(with_host_etc "$etc" find /etc | sort)" $'/etc\n/etc/config\n/etc/hosts'
}

# The resolver's address often lies in /run; here it lies in /tmp. Both are others inside.
links_out_of_etc_keep_resolving() {
    local etc address
    etc=$(fresh)
    address=$(mktemp /tmp/sandbox-test.XXXXXX)
    echo nameserver >"$address"
    ln -s "..$address" "$etc/resolv.conf"
    ln -s ../proc/self/comm "$etc/relative"
    ln -s /proc/self/comm "$etc/absolute"

    expect "$(with_host_etc "$etc" cat /etc/resolv.conf /etc/relative /etc/absolute)" \
        $'nameserver\ncat\ncat'
    rm "$address"
}

environment() {
    expect "$(MARK=1 TMPDIR=$work PATH=/usr/bin:/bin inside -- \
        'echo $MARK ${TMPDIR-unset}; command -v ip >/dev/null; echo $PATH')" \
        $'1 unset\n/usr/bin:/bin:/usr/sbin:/sbin'
}

# --- the command's own matters ---------------------------------------------------------

exit_status() {
    ends_with 0 "$sandbox" true
    ends_with 1 "$sandbox" false
    ends_with 42 "$sandbox" -- bash -c 'exit 42'
    ends_with 42 "$sandbox" --pid1 -- bash -c 'exit 42'
    ends_with 137 "$sandbox" -- bash -c 'kill -KILL $$'
}

streams_pass_through() {
    local files
    files=$(fresh)
    echo in | inside -- 'cat; echo error >&2' >"$files/out" 2>"$files/error"
    expect "$(<"$files/out")" in
    expect "$(<"$files/error")" error
}

arguments_pass_unchanged() {
    expect "$("$sandbox" -- printf '<%s>' --root 'a b' '' '*')" '<--root><a b><><*>'
    expect "$("$sandbox" printf '<%s>' --keep)" '<--keep>'
}

leak_is_reported() {
    local report
    report=$(LSAN_OPTIONS=exitcode=23 ends_with 23 "$sandbox" "$@" \
        --bind "$work/probe" /tmp/probe -- /tmp/probe leak 2>&1)
    contains "$report" '77 byte(s) leaked in 1 allocation(s).'
}

leak_checking() {
    leak_is_reported
    leak_is_reported --pid1
}

# --- failures --------------------------------------------------------------------------

# Runs what is to fail in the sandbox itself, with the given reason.
refused() {
    local reason=$1 output
    shift
    output=$(ends_with 125 "$@" 2>&1)
    contains "$output" "$reason"
}

wrong_usage_is_refused() {
    refused 'no command given' "$sandbox"
    refused 'no command given' "$sandbox" --keep --
    refused 'unknown option --wrong' "$sandbox" --wrong true
    refused '--bind needs 2 argument(s)' "$sandbox" --bind /tmp
    refused '--config: there is no /absent' "$sandbox" --config /absent true
    refused 'tmp is not an absolute path' "$sandbox" --bind / tmp true
    refused '--bind: there is no /opt/absent/x' "$sandbox" --bind / /opt/absent/x true
}

failing_step_is_told() {
    local root
    root=$(fresh)
    echo >"$root/file"
    refused 'mkdir' "$sandbox" --root "$root/file/folder" true
}

folder_turned_link_is_refused() {
    local root victim
    root=$(fresh)
    victim=$(fresh)
    inside --root "$root" -- "rmdir /etc/config; ln -s $victim /etc/config"

    refused 'etc/config has become a link' "$sandbox" --root "$root" --config "$sandbox" true

    expect "$(ls "$victim")" ''
}

missing_bwrap_is_told() {
    refused 'apt-get install bubblewrap' env PATH=/absent "$BASH" "$sandbox" true
}

refused_namespaces_are_told() {
    refused 'user.max_user_namespaces' bwrap --unshare-user --disable-userns \
        --ro-bind / / --dev /dev --proc /proc --tmpfs /tmp --ro-bind "$sandbox" /tmp/tools/sandbox \
        --unsetenv TMPDIR /tmp/tools/sandbox true
}

# --- the run ---------------------------------------------------------------------------

all_checks() {
    check 'the command is root among processes of its own' command_is_root_among_its_own
    check 'a second user has no rights' second_user_has_no_rights
    check 'process 1 outside is unharmed by a signal to process 1' signal_to_process_1
    check 'nothing outside is hurt by a signal to the process group' signal_to_the_group
    check 'nothing outside is hurt by a signal to every process' signal_to_every_process
    check 'with --pid1, and only then, the command is process 1' pid1_option
    check 'the command has no session, and so no terminal, from outside' session_of_its_own
    check 'what the command left running is ended with it' leftovers_end_with_the_command
    check 'SIGTERM to the script ends everything inside' sigterm_ends_all
    check 'SIGKILL to the script ends everything inside' sigkill_ends_all
    check 'the command starts with the signal dispositions of outside' usual_signal_dispositions
    check 'the command gets no further descriptors' no_further_descriptors

    check "the host's kernel.panic is unchanged by writing to it" panic_timeout
    check 'no other sysctl but those of the network can be written' sysctls_are_read_only
    check 'no other file of /proc and no file of /sys can be written' kernel_files_are_read_only
    check 'a sysctl of the network can be written and stays inside' forwarding_stays_inside
    check 'only scratch mounts can be written' writable_mounts
    check 'no device of the host but the harmless ones is there' devices
    check 'shared memory is private' shared_memory_is_private

    check 'a hostname set inside stays inside' hostname_stays_inside
    check 'loopback answers' loopback_answers
    check 'bridge, veth and macvlan interfaces can be made and stay inside' interfaces_can_be_made
    check 'an abstract socket outside is not seen inside' abstract_sockets_are_private

    check 'rename works in /etc and /etc/config' rename_works
    check 'what resolves in /etc and /usr/lib outside resolves inside' links_keep_resolving
    check 'links that lead out of /etc keep resolving' links_out_of_etc_keep_resolving
    check 'the given files lie in their places' files_lie_in_their_places
    check 'a second start finds the files of the first' second_start_finds_files
    check 'a file given again replaces a link, not what it leads to' given_again_through_a_link
    check 'the scratch files are seen from outside' scratch_files_seen_from_outside
    check 'stand-ins for tools and devices are seen' binds_are_seen
    check 'a temporary folder is removed at the end unless kept' temporary_folder_goes
    check 'the tree can be read but not written, also in /tmp' tree_is_readable
    check "the host's own device files are not lent" host_files_are_not_lent
    check 'the environment is passed on, but for TMPDIR and PATH' environment

    check "the exit status is the command's" exit_status
    check 'the standard streams pass through' streams_pass_through
    check 'arguments pass unchanged' arguments_pass_unchanged
    check 'leak checking works inside, also as process 1' leak_checking

    check 'wrong usage is refused with a reason' wrong_usage_is_refused
    check 'a step that fails is told' failing_step_is_told
    check 'a folder that was turned into a link is refused' folder_turned_link_is_refused
    check 'a missing bwrap is told with what to do' missing_bwrap_is_told
    check 'refused user namespaces are told with what to do' refused_namespaces_are_told
}

main "$@"
