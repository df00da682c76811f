#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A device that was changed at random is as one that was booted, with a kernel of its own."""
import os
import unittest

from access_point import COUNTRY
from device import Device
from machine import TREE

COUNT = int(os.environ.get("VORN_SEQUENCES", "5"))
SEED = int(os.environ.get("VORN_SEED", "1"))


class ADevice(unittest.TestCase):
    def test_that_was_changed_is_as_one_that_was_booted(self):
        with Device(radios=1) as device:
            for program in ("udhcpc", "syslogd"):
                device.check(f"ln -sf /run/vm/busybox /usr/bin/{program}")
            device.write("/usr/bin/ntpd", "#!/bin/sh\nexec sleep 100000\n")
            device.check("chmod +x /usr/bin/ntpd")
            device.write(COUNTRY, "DE\n")
            device.load_firewall()
            status, output = device.run(f"{TREE}/tests/equality/sequences --real --seed {SEED} "
                                        f"--count {COUNT}", deadline=300 * COUNT + 60)
            print(output)
            self.assertEqual(status, 0)


if __name__ == "__main__":
    unittest.main()
