#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What a device knows after it was off."""
import pathlib
import tempfile
import unittest

from device import Device, document
from machine import make_disk


class TheConfiguration(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="vorn-disk.")
        self.addCleanup(folder.cleanup)
        content = pathlib.Path(folder.name, "content")
        content.mkdir()
        (content / "config.xml").write_text(document("attic"))
        disk = pathlib.Path(folder.name, "disk")
        make_disk(disk, content)
        self.device = Device(disk=disk)
        self.device.start()
        self.addCleanup(self.device.stop)
        self.device.start_daemon()

    def test_survives_a_reboot(self):
        self.assertEqual(self.device.hostname(), "attic")
        self.device.vornctl("set", "system", "hostname=cellar", "contact=ops@example.net")

        self.device.reboot()
        self.assertEqual(self.device.check("hostname").strip(), "fresh")
        self.device.start_daemon()

        self.assertEqual(self.device.check("hostname").strip(), "cellar")
        self.assertEqual(self.device.values("system")["contact"], "ops@example.net")

    def test_survives_a_power_cut_right_behind_an_accepted_change(self):
        self.device.vornctl("set", "system", "hostname=cellar")

        self.device.cut_power()
        self.device.start_daemon()

        self.assertEqual(self.device.hostname(), "cellar")


if __name__ == "__main__":
    unittest.main()
