#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Who is at the other end of a cable, by a kernel's frames, and buttons, by its input devices."""
import unittest

from device import Device

# Another machine's end, and what speaks LLDP there.
CABLE = """
ip netns add away
ip link add p0 type veth peer name q0
ip link set q0 netns away up
mkdir -p /run/lldpd
ip netns exec away lldpd -d -u /run/away.socket -I q0 -S 'Switch in the cellar' >/run/away.log 2>&1 &
"""

# Makes a device with one key, and presses it for as many seconds as each line says.
BUTTON = """
import fcntl, os, struct, sys, time
KEY_RESTART, EV_SYN, EV_KEY = 408, 0, 1
device = os.open("/dev/uinput", os.O_WRONLY)
fcntl.ioctl(device, 0x40045564, EV_KEY)
fcntl.ioctl(device, 0x40045565, KEY_RESTART)
os.write(device, struct.pack("80sHHHHI", b"front-panel", 0x19, 1, 1, 1, 0) + bytes(4 * 64 * 4))
fcntl.ioctl(device, 0x5501)
def tell(kind, code, value):
    os.write(device, struct.pack("llHHi", 0, 0, kind, code, value))
with open(sys.argv[1]) as presses:
    for line in presses:
        for value, seconds in (1, float(line)), (0, 0):
            tell(EV_KEY, KEY_RESTART, value)
            tell(EV_SYN, 0, 0)
            time.sleep(seconds)
"""


class TheEndsOfACable(unittest.TestCase):
    def setUp(self):
        self.device = self.enterContext(Device(skip_idle_time=True))
        self.device.check(CABLE)
        self.device.start_daemon()

    def test_tell_each_other_who_they_are(self):
        self.device.vornctl("add", "interface", "p0", "kind=ethernet", "status=up")
        self.device.vornctl("set", "lldp", "enabled=on", "interfaces=p0", "interval=1",
                            "description=Access point, upstairs")

        self.device.wait_for("lldpcli -u /run/away.socket configure lldp tx-interval 1 && "
                             "vornctl show lldp-neighbour | grep -q 'Switch in the cellar'")
        self.assertEqual(self.device.values("lldp-neighbour")["interface"], "p0")
        self.device.wait_for("lldpcli -u /run/away.socket show neighbors | "
                             "grep -q 'Access point, upstairs'")

        self.device.check("ip -n away link set q0 down")
        self.device.wait_for("! vornctl show lldp-neighbour | grep -q 'Switch in the cellar'")


class AButton(unittest.TestCase):
    def setUp(self):
        self.device = self.enterContext(Device(skip_idle_time=True))
        self.device.check("modprobe -a uinput evdev")
        self.device.start_daemon()

    def test_restarts_the_device_when_it_is_held_long_enough_and_not_before(self):
        told = self.device.run("vornctl add button reset key=restart device=front-panel "
                               "restart-after=2")
        self.assertIn("waiting for front-panel", told.output)
        self.device.write("/run/button.py", BUTTON)
        self.device.check("mkfifo /run/presses; sleep 1000000 >/run/presses & "
                          "python3 /run/button.py /run/presses >/run/button.log 2>&1 &")
        self.device.wait_for("vornctl show button reset state | grep -q applied")

        self.device.check("echo 0.5 >/run/presses")
        self.device.wait_for("vornctl show button reset last-action | grep -q none")
        held = int(self.device.values("button", "reset")["last-held"])
        self.assertTrue(500 <= held < 2000, held)

        self.device.run_to_the_end("echo 2.5 >/run/presses; sleep 1000")


if __name__ == "__main__":
    unittest.main()
