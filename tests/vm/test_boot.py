#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""How long a device takes from the start of the daemon until it answers."""
import unittest

from device import STARTUP, Device, document


class ADevice(unittest.TestCase):
    def test_answers_within_seconds_of_the_start_of_its_daemon(self):
        with Device() as device:
            device.write(STARTUP, document("attic"))

            seconds = device.start_daemon()

            print(f"boot to served: {seconds:.2f} s")
            self.assertEqual(device.hostname(), "attic")
            self.assertLess(seconds, 10)


if __name__ == "__main__":
    unittest.main()
