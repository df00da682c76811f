#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Where a device starts from when its configuration is broken."""
import unittest

from device import DEFAULT, RESCUE, STARTUP, Device, document, with_header


class ADevice(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = cls.enterClassContext(Device())

    def setUp(self):
        self.device.write(STARTUP, document("mine"))
        self.device.write(DEFAULT, with_header(document("factory")))
        self.device.write(RESCUE, document("rescued"))

    def assert_starts_as(self, hostname):
        self.device.start_daemon()
        self.addCleanup(self.device.stop_daemon)
        self.assertEqual(self.device.hostname(), hostname)
        self.assertEqual(self.device.check("hostname").strip(), hostname)
        self.assertEqual(self.device.check(f"cat {STARTUP}"), document(hostname))

    def test_starts_from_its_startup_file(self):
        self.assert_starts_as("mine")

    def test_falls_back_to_the_default_if_the_startup_file_is_cut_short(self):
        self.device.write(STARTUP, document("mine")[:-20])

        self.assert_starts_as("factory")

    def test_falls_back_to_the_rescue_if_the_default_has_another_checksum(self):
        self.device.write(STARTUP, document("mine")[:-20])
        self.device.write(DEFAULT, with_header(document("factory")).replace("factory", "faktory"))

        self.assert_starts_as("rescued")


if __name__ == "__main__":
    unittest.main()
