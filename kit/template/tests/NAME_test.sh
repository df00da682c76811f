# shellcheck shell=bash
# Run by vorn-test on a booted device; `vorn-test --help` lists what can be used here.
# There is no @NAME@ctl on this device: the plugin says so in the log and goes on.
log_shows '@NAME@: can'\''t set first.'

vornctl set @NAME@ first level=55
expect_equal "$(vornctl show @NAME@ first level | tail -n 1)" '  level  55'
expect_match "$(lsql '<lsql><update><@NAME@><level>x</level></@NAME@></update></lsql>')" \
    '*Value "x" is not valid*'

restart_daemon
expect_equal "$(vornctl show @NAME@ first level | tail -n 1)" '  level  55'
