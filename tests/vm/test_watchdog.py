#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the hardware watchdog makes of a daemon that hangs. The guest's clock skips idle time."""
import re
import unittest

from device import STARTUP, Device, document

# What the guest's clock says, until it can't say so any more.
TELL_THE_TIME = ("for n in $(seq 100); do read -r up idle </proc/uptime; "
                 "echo \"clock: $up\" >/dev/console; sleep 5; done")


class TheWatchdog(unittest.TestCase):
    def setUp(self):
        self.device = Device(watchdog=True, skip_idle_time=True)
        self.device.start()
        self.addCleanup(self.device.stop)
        self.device.write(STARTUP, document("attic"))
        self.device.start_daemon()

    def test_resets_a_device_whose_daemon_has_hung_for_240_seconds(self):
        self.device.run_to_the_end(f"kill -STOP {self.device.daemon()}; {TELL_THE_TIME}")

        self.assertTrue(self.device.has_event("WATCHDOG"), self.device.console)
        clock = re.findall(r"clock: ([\d.]+)", self.device.console)
        hung = float(clock[-1]) - float(clock[0])
        self.assertTrue(220 < hung < 250, hung)

    def test_leaves_a_device_alone_whose_daemon_lives_or_has_told_it_to_stop(self):
        self.device.check("sleep 300")
        self.assertFalse(self.device.has_event("WATCHDOG"))

        daemon = self.device.daemon()
        self.device.check(f"kill -USR1 {daemon}; sleep 5; kill -STOP {daemon}; sleep 300")

        self.assertFalse(self.device.has_event("WATCHDOG"))


if __name__ == "__main__":
    unittest.main()
