#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Several ports that are one link, by a kernel that has such links."""
import unittest

from device import Device

# Both cables end in one switch, where somebody answers.
CABLES = """
ip netns add away
ip -n away link add switch type bridge
ip -n away link set switch up
ip -n away addr add 10.9.0.2/24 dev switch
for port in 0 1; do
  ip link add p$port type veth peer name q$port
  ip link set q$port netns away
  ip -n away link set q$port master switch up
done
"""


class ABond(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = cls.enterClassContext(Device())
        # A kernel that makes one by itself when it learns of bonds would have made "bond0".
        cls.device.check("modprobe bonding max_bonds=0")
        cls.device.check(CABLES)
        cls.device.start_daemon()
        for port in ("p0", "p1"):
            cls.device.vornctl("add", "interface", port, "kind=ethernet", "status=up")

    def setUp(self):
        self.device.vornctl("add", "interface", "bond0", "kind=bond", "members=p0 p1", "status=up")
        self.device.vornctl("add", "address", "lan", "kind=static-address", "interface=bond0",
                            "address=10.9.0.1", "prefix=24")
        self.addCleanup(self.remove)
        self.expect_applied()

    def remove(self):
        self.device.vornctl("delete", "address", "lan")
        self.device.vornctl("delete", "interface", "bond0")
        self.device.wait_for("! ip link show bond0 2>/dev/null")

    def expect_applied(self):
        self.device.wait_for("vornctl show interface bond0 state | grep -q applied")

    def says(self, setting, words):
        self.device.wait_for(f"grep -q '{words}' /sys/class/net/bond0/bonding/{setting}")

    def reaches_the_other_end(self):
        self.device.wait_for("/run/vm/busybox ping -c 1 -W 1 10.9.0.2 >/dev/null")

    def test_goes_on_over_another_port_when_a_cable_is_out(self):
        self.says("mode", "active-backup")
        self.reaches_the_other_end()
        used = self.device.check("cat /sys/class/net/bond0/bonding/active_slave").strip()
        other = {"p0": "p1", "p1": "p0"}[used]
        self.device.check(f"ip -n away link set q{used[1]} down")
        self.addCleanup(self.device.check, f"ip -n away link set q{used[1]} up")

        self.says("active_slave", other)

        self.reaches_the_other_end()

    def test_takes_every_setting_in_its_kernel(self):
        self.device.vornctl("set", "interface", "bond0", "mode=802.3ad", "lacp-rate=fast",
                            "monitor-interval=50", "mtu=1400")

        self.expect_applied()
        self.says("mode", "802.3ad 4")
        self.says("lacp_rate", "fast 1")
        self.says("miimon", "^50$")
        self.says("slaves", "p0 p1")
        self.device.wait_for("ip link show p0 | grep -q 'mtu 1400'")
        self.device.wait_for("ip addr show bond0 | grep -q 10.9.0.1/24")

        self.device.vornctl("set", "interface", "bond0", "monitor-interval=200")
        self.expect_applied()
        self.says("miimon", "^200$")

    def test_lets_a_port_go_that_works_alone_again(self):
        self.device.vornctl("set", "interface", "bond0", "members=p1")

        self.says("slaves", "^p1$")
        self.expect_applied()
        self.device.wait_for("ip link show p0 | grep -q ,UP")

    def test_says_what_somebody_else_has_changed_and_is_repaired(self):
        self.device.check("ip link set p1 nomaster")
        self.device.wait_for("vornctl show interface bond0 state | "
                             "grep -q 'differs: p1 is no member of it'")
        self.device.vornctl("repair", "interface", "bond0")
        self.expect_applied()
        self.says("slaves", "p1")

        self.device.check("ip link del bond0")
        self.device.wait_for("vornctl show interface bond0 state | grep -q 'differs: it is gone'")
        self.device.vornctl("repair")
        self.expect_applied()
        self.reaches_the_other_end()


if __name__ == "__main__":
    unittest.main()
