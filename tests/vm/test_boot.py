#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""How long a device takes from the start of the daemon until it answers, and what its clock is to it."""
import unittest

from device import STARTUP, Device, document

CLOCKS = ("2036-01-02 03:04:05", "2001-02-03 04:05:06")


class ADevice(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = cls.enterClassContext(Device())
        cls.device.write(STARTUP, document("attic"))
        cls.seconds = cls.device.start_daemon()

    def test_answers_within_seconds_of_the_start_of_its_daemon(self):
        print(f"boot to served: {self.seconds:.2f} s")
        self.assertEqual(self.device.hostname(), "attic")
        self.assertLess(self.seconds, 60)  # emulated, beside others

    def uptime(self):
        return float(self.device.check("cat /proc/uptime").split()[0])

    def told_at(self, clock):
        """Of the trial, once the clock is set."""
        self.device.check(f"date -s '{clock}'")
        return self.device.values("trial")

    def test_takes_a_trial_back_in_time_whatever_its_clock_is_set_to(self):
        for seconds in (20, 200):  # a busy machine may ask too late
            self.device.wait_for("test $(vornctl show trial state -q) = none")
            began = self.uptime()
            self.device.vornctl("set", "system", "hostname=cellar", "--trial", str(seconds))
            told = {clock: self.told_at(clock) for clock in CLOCKS}
            if self.uptime() - began < seconds - 2:
                break

        for clock, trial in told.items():
            self.assertEqual(trial["state"], "pending", clock)
            self.assertLessEqual(int(trial["remaining"]), seconds, clock)
            self.assertEqual(trial["since"][:4], clock[:4])
        self.device.wait_for("test $(vornctl show trial state -q) = none")
        took = self.uptime() - began
        self.assertTrue(seconds - 1 < took < seconds + 90, took)
        self.assertEqual(self.device.hostname(), "attic")


if __name__ == "__main__":
    unittest.main()
