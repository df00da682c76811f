# SPDX-License-Identifier: MIT
# shellcheck shell=bash
vornctl set motd text='Welcome to the attic'
expect_equal "$(cat /etc/motd)" 'Welcome to the attic'

restart_daemon
expect_equal "$(vornctl show motd | tail -n 1)" '  text  Welcome to the attic'
