#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# vorn-plugin-check on plugins and files, good and bad: plugin_check_test.sh CHECKER BUILD-FOLDER
# SOURCE-FOLDER C-COMPILER [FLAGS]
set -euo pipefail
checker=$1
plugins=$2/plugins
boards=$2/tests/system/plugins
modules=$2/tests/plugins/modules
source=$3
shift 3
compiler=("$@")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
export LSAN_OPTIONS=detect_leaks=0 # the process is thrown away with all it has
failures=0

complain() {
    failures=$((failures + 1))
    printf 'FAILED: %s\n' "$1"
    cat out err
}

# expect STATUS ARGUMENTS...: runs it, and keeps what it said for `says`.
expect() {
    local wanted=$1 status=0
    shift
    what="$*"
    "$checker" "$@" >out 2>err || status=$?
    [ "$status" = "$wanted" ] || complain "$what: status $status, expected $wanted"
}

says() {
    grep -qF -- "$1" out err || complain "$what: does not say: $1"
}

says_not() {
    ! grep -qF -- "$1" out err || complain "$what: says: $1"
}

plugin() {
    printf '#include <vorn/vorn.h>\n#include <stdlib.h>\nvoid vorn_plugin_init(void)\n{\n%s\n}\n' \
        "$2" >"$1.c"
    "${compiler[@]}" -shared -fPIC -I"$source/include" "$1.c" -o "$1.vorn"
}

# What is well.
expect 0 "$plugins/system.vorn" "$plugins/network.vorn" "$plugins/save.vorn"
says 'Class: system'
says '  class interface'
says '  inform handler interface'
says 'address                                       rwip'
says '0 problem(s)'
tr -s '\n ' ' ' <out | grep -q 'in order system system.vorn buttons system.vorn network network.vorn save save.vorn' ||
    complain 'the providers are not in their order, with their plugins'
expect 0 "$plugins/network.vorn"
says 'system                         not present'

# What does not load, or is refused.
expect 1 "$boards/without_entry.vorn"
says 'without_entry.vorn: not loaded'
says 'problem: Plugin does not contain vorn_plugin_init:'
expect 1 "$modules/null_entry.so"
# Some C libraries take what is null for what is not there.
grep -q '^  problem: .*Symbol not found: vorn_plugin_init$' out ||
    says 'problem: vorn_plugin_init is set to null.'
expect 1 "$modules/unresolved.so"
says 'problem: Unable to load plugin '
says 'vorn_no_such_function'
expect 1 /no/such/plugin.vorn
says 'problem: Unable to load plugin "/no/such/plugin.vorn":'
expect 1 "$boards/old_version.vorn"
says 'problem: Plugin "old_version.vorn" version "1.1" is unsupported.'
expect 1 "$boards/broken_class.vorn"
says 'problem: Class "Typeless" has no type set.'
says 'problem: Class "Typeless" is invalid.'
expect 1 "$boards/provider_loop.vorn"
says 'problem: Loop detected in providers order: b, a, b.'
plugin twice 'vorn_plugin_new("1.0");
    vorn_class *klass = vorn_class_new("system"); vorn_class_set_type(klass, 1);
    vorn_classes_add(klass);'
expect 1 "$plugins/system.vorn" ./twice.vorn
says 'problem: Class with name "system" already in classes.'
expect 1 ./twice.vorn "$plugins/no-such.vorn" "$boards/broken_class.vorn"
says '3 problem(s)'

# Callbacks that nobody would call.
plugin stray 'vorn_plugin_new("1.0");
    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_property_change_fn(committer, "system", "hostnaem",
        (vorn_committer_property_change_fn)abort);
    vorn_committer_set_instance_change_fn(committer, "sytsem",
        (vorn_committer_instance_change_fn)abort, 0);
    vorn_committer_set_property_change_fn(committer, "interface", "parent",
        (vorn_committer_property_change_fn)abort);
    vorn_refresher *refresher = vorn_refresher_new("system");
    vorn_refresher_set_property_fn(refresher, "uptiem", (vorn_refresher_property_fn)abort);
    vorn_refresher_new("no-such");'
expect 1 "$plugins/system.vorn" "$plugins/network.vorn" ./stray.vorn
says 'problem: Committer for property "hostnaem", which class "system" does not have.'
says 'problem: Committer for class "sytsem", which nobody brings.'
says 'problem: Refresher for property "uptiem", which class "system" does not have.'
says 'problem: Refresher for class "no-such", which nobody brings.'
says '4 problem(s)'
plugin idle 'vorn_plugin_new("1.0");
    vorn_class *klass = vorn_class_new("idle"); vorn_class_set_type(klass, 1);
    vorn_classes_add(klass);'
expect 0 ./idle.vorn
says 'notice: no provider comes with its classes'
says 'notice: class idle has no label and help for people: itself'
plugin half 'vorn_plugin_new("1.0");
    vorn_class *klass = vorn_class_new("half"); vorn_class_set_type(klass, 1);
    vorn_class_set_label(klass, "Half"); vorn_class_set_help(klass, "Half of it.");
    vorn_property *told = vorn_property_new("told"); vorn_property_set_writable(told, 0);
    vorn_property_set_label(told, "Told"); vorn_property_set_help(told, "It is told.");
    vorn_property *left = vorn_property_new("left"); vorn_property_set_writable(left, 0);
    vorn_class_add_property(klass, told); vorn_class_add_property(klass, left);
    vorn_classes_add(klass);'
expect 0 ./half.vorn
says 'notice: class half has no label and help for people: left'
expect 0 "$plugins/system.vorn"
says_not 'notice:'
plugin mute 'vorn_plugin_new("1.0");
    vorn_provider *provider = vorn_provider_new("mute");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, vorn_committer_new());
    vorn_providers_add(provider);'
expect 0 ./mute.vorn
says "notice: provider mute can't explain what its commit would do"

# What takes the process down.
plugin crash 'abort();'
expect 3 "$plugins/system.vorn" ./crash.vorn
says 'vorn-plugin-check: ./crash.vorn crashed: Aborted'
plugin quit 'exit(0);'
expect 3 ./quit.vorn
says 'vorn-plugin-check: ./quit.vorn ended the process'
plugin hang 'for (volatile int i = 0;; i = !i) continue;'
expect 3 ./hang.vorn
says 'vorn-plugin-check: ./hang.vorn hangs'

# Misuse.
expect 2
expect 2 --startup
expect 2 --unknown x "$plugins/system.vorn"
expect 2 --startup config.xml
expect 0 --help
says 'Usage: vorn-plugin-check'

# Migrations.
plugin moved 'vorn_plugin *plugin = vorn_plugin_new("1.0");
    static const struct vorn_migration steps[] = {
        VORN_RENAME_PROPERTY(1, "board", "label", "text"), VORN_DROP_PROPERTY(2, "board", "old") };
    vorn_plugin_set_schema(plugin, "moved", 2, steps, 2);
    vorn_class *klass = vorn_class_new("board"); vorn_class_set_type(klass, 1);
    vorn_class_set_persistence(klass, 1);
    vorn_property *text = vorn_property_new("text"); vorn_property_set_writable(text, 0);
    vorn_class_add_property(klass, text);
    vorn_classes_add(klass);'
printf '<config><board><label>x</label><old>1</old></board></config>' >old.xml
expect 1 --migrate old.xml ./moved.vorn
says '<?vorn-schema moved="2"?>'
says '<text>x</text>'
says_not '<old>'
grep -qxF 'board: old: it is dropped in version 2' err || complain 'the loss is not told'
expect 0 --migrate old.xml --to moved=1 ./moved.vorn
says '<old>1</old>'
[ ! -s err ] || complain 'something is lost'
expect 1 --migrate old.xml --to moved=3 ./moved.vorn
says 'The schema "moved" has no version later than 2.'
expect 1 --migrate none.xml ./moved.vorn
says "none.xml can't be read"
expect 1 --migrate old.xml ./none.vorn
expect 2 --to moved=1 ./moved.vorn
expect 2 --migrate old.xml --startup old.xml ./moved.vorn
expect 0 --startup old.xml ./moved.vorn
says 'Schema "moved": migrated from version 0 to 2.'
says 'Schema "moved", version 2: dropped 1 of "board": old.'
says '0 thing(s) in it would be skipped'
says_not 'is not named after its file'
cp moved.vorn renamed.vorn
expect 0 ./renamed.vorn
says 'notice: schema moved is not named after its file'
plugin circle 'vorn_plugin *plugin = vorn_plugin_new("1.0");
    static const struct vorn_migration steps[] = {
        VORN_RENAME_CLASS(1, "a", "b"), VORN_RENAME_CLASS(1, "b", "a") };
    vorn_plugin_set_schema(plugin, "circle", 1, steps, 2);'
expect 1 ./circle.vorn
says 'problem: Schema "circle" of plugin "circle.vorn": renames of "a" lead in version 1 to where they began.'

# Files: every kind of thing that a boot skips, with its line.
cat >good.xml <<'END'
<?xml version="1.0"?>
<config>
  <Radio name="r0">
    <channel>6</channel>
  </Radio>
</config>
END
cat >bad.xml <<'END'
<?xml version="1.0"?>
<config>
  <Radio name="r0">
    <channel>6</channel>
    <mode>far too long</mode>
    <speed>1</speed>
  </Radio>
  <Toaster/>
  <Radio name="r0"/>
  <Radio/>
  <Address name="lan"><kind>Radio</kind></Address>
  <Address name="wan"/>
  <Address name="dmz">
    <speed>2</speed>
    <kind>Static</kind>
  </Address>
</config>
END
expect 0 "$boards/board.vorn" --startup good.xml
says '3 instance(s)'
says 'would boot from the startup file good.xml, with 3 instance(s); 0 thing(s)'
expect 1 "$boards/board.vorn" --startup bad.xml
says 'line 5: Value "far too long" is not valid for property "mode" of class "Radio" - skipping.'
says 'line 6: Property "speed" is not valid for class "Radio" - skipping.'
says 'line 8: Instance has an unknown class "Toaster".'
says 'line 9: Couldn'\''t add instance "r0" of class "Radio". Skipping instance.'
says 'line 10: Bad instance name "(null)" of class "Radio"- skipping.'
says 'line 11: Instance of class "Address" subclass identifier property "kind" value is "Radio"'
says 'line 12: Instance of class "Address" does not contain a subclass identifier property "kind".'
says 'line 14: Property "speed" is not valid for class "Static" - skipping.'
says 'would boot from the startup file bad.xml, with 4 instance(s); 8 thing(s)'

# Fallbacks.
wrap() {
    printf 'Version: 1\nLength: %s\nMD5sum: %s\n\n' "$(wc -c <"$1")" "$(md5sum <"$1" | cut -c1-32)"
    cat "$1"
}
wrap good.xml >default.xml
sed 's/MD5sum: ./MD5sum: x/' default.xml >wrong_sum.xml
sed 's/^Version/Vision/' default.xml >wrong_header.xml
echo '<config><Radio' >broken.xml
wrap broken.xml >broken_default.xml
echo '<other/>' >other.xml
board=$boards/board.vorn

expect 1 "$board" --startup broken.xml
says 'XML line '
says 'Config not parsed successfully.'
says 'would boot with an empty configuration'
expect 1 "$board" --startup other.xml
says 'root node is not "config"'
expect 1 "$board" --startup broken.xml --default default.xml
says 'would boot from the default file default.xml'
expect 0 "$board" --startup good.xml --default default.xml --rescue good.xml
says 'would boot from the startup file good.xml'
expect 1 "$board" --default wrong_sum.xml --rescue good.xml
says "the header says x"
says 'would boot from the rescue file good.xml'
expect 1 "$board" --default wrong_header.xml --rescue good.xml
says 'the header is bad (code 1'
says 'would boot from the rescue file good.xml'
expect 1 "$board" --default broken_default.xml --rescue good.xml
says 'would boot with an empty configuration'
expect 1 "$board" --default missing.xml --rescue good.xml
says 'would boot from the rescue file good.xml'
expect 1 "$board" --startup missing.xml --rescue broken.xml
says 'would boot with an empty configuration'
wrap bad.xml >bad_default.xml
expect 1 "$board" --default bad_default.xml
says 'line 9: Value "far too long"'
says_not 'line 5:'

[ "$failures" = 0 ] || { echo "$failures expectation(s) failed"; exit 1; }
