#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A device that its configuration or a plugin keeps from coming up gets there by itself."""
import pathlib
import tempfile
import unittest

from device import BUILD, STARTUP, Device
from machine import make_disk

PLUGIN = BUILD / "tests/system/plugins/deadly.vorn"
UNPROVEN = f"{STARTUP}.unproven"
# With "endless" the plugin does not come back from its commit at boot.
GOOD = ('<?xml version="1.0"?>\n<config>\n  <Deadly name="mine">\n    <value>good</value>\n'
        '  </Deadly>\n</config>\n')


class ADevice(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="vorn-disk.")
        self.addCleanup(folder.cleanup)
        content = pathlib.Path(folder.name, "content")
        content.mkdir()
        (content / "config.xml").write_text(GOOD)
        disk = pathlib.Path(folder.name, "disk")
        make_disk(disk, content)
        self.device = Device(disk=disk)
        self.addCleanup(self.device.stop)
        self.start()

    def start(self):
        self.device.start()
        # The rest of /etc is in memory, as nothing but /etc/config outlives a reset.
        self.device.check(f"cp {PLUGIN} /usr/lib/vorn/plugins/ && mkdir -p /etc/vorn-suspects.new/x")

    def restart_with_a_watchdog(self):
        """The guest's clock skips idle time, so that its patience is over soon."""
        self.device.stop()
        self.device.watchdog = self.device.skip_idle_time = True
        self.start()

    def hang_at_boot(self, count):
        self.device.check("vorn >/dev/console 2>&1")
        self.device.wait_for(f"grep -q '^boots .* {count}$' /etc/config/history/boots")

    def hang_until_the_watchdog_strikes(self):
        self.device.run_to_the_end("vorn >/dev/console 2>&1; sleep 400")
        self.assertTrue(self.device.has_event("WATCHDOG"), self.device.console)
        self.device.stop()
        self.start()

    def value(self):
        return self.device.values("Deadly", "mine")["value"]

    def set(self, value, proven_after):
        self.device.write("/tmp/changes", f"set Deadly mine value={value}\n"
                                          f"set history proven-after={proven_after}\n")
        self.device.vornctl("batch", "/tmp/changes")

    def test_comes_back_with_the_newest_configuration_that_was_proven(self):
        self.device.start_daemon()
        self.set("better", "0")
        self.device.stop_daemon()
        self.device.start_daemon()
        self.set("endless", "")
        self.device.check(f"kill -9 {self.device.daemon()}")

        self.hang_at_boot(1)
        self.device.check("kill -9 $(pidof vorn)")
        self.hang_at_boot(2)
        self.restart_with_a_watchdog()
        self.hang_until_the_watchdog_strikes()
        self.assertRegex(self.device.check("cat /etc/config/vorn-suspects"),
                         r"(?m)^2 commit 0 [0-9]+ [0-9a-f]{1,16} deadly\.vorn$")
        self.device.start_daemon()

        self.assertEqual(self.value(), "better")
        self.assertIn("history: the configuration did not stay up in 3 boots: generation 2 takes "
                      "its place", self.device.console)
        status, output = self.device.run("vornctl status")
        self.assertEqual(status, 5, output)
        self.assertIn("! a configuration that did not stay up", output)
        self.assertIn("endless", self.device.check(f"cat {UNPROVEN}"))
        self.assertNotIn("left out", output)


if __name__ == "__main__":
    unittest.main()
