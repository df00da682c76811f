#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Links of several ports, by a kernel that has them: bonds, and bridges that filter VLANs."""
import json
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


# A cable with VLANs, whose other end is in all of them, and one that knows of none but tries two.
VLANS = """
for name in trunk desk; do
  ip netns add $name
  ip link add $name type veth peer name port netns $name
  ip netns exec $name sysctl -qw net.ipv6.conf.all.disable_ipv6=1
  ip -n $name link set port up
  for vlan in 10 20; do
    ip -n $name link add port.$vlan link port type vlan id $vlan
    ip -n $name link set port.$vlan up
  done
done
ip -n trunk addr add 10.10.0.2/24 dev port.10
ip -n trunk addr add 10.20.0.2/24 dev port.20
ip -n desk addr add 10.10.0.3/24 dev port
ip -n desk addr add 10.20.0.3/24 dev port
ip -n desk addr add 10.20.0.4/24 dev port.20
"""
device = None


def setUpModule():
    global device
    device = unittest.enterModuleContext(Device())
    # A kernel that makes one by itself when it learns of bonds would have made "bond0".
    device.check("modprobe bonding max_bonds=0")
    device.check(CABLES)
    device.check(VLANS)
    device.start_daemon()


class ABond(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = device
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


class AFilteringBridge(unittest.TestCase):
    PORTS = {"trunk": ["10 tagged", "20 tagged"], "desk": ["10 untagged"], "br0": ["10 tagged", "20 tagged"]}

    @classmethod
    def setUpClass(cls):
        device.write("/tmp/changes", """add interface trunk kind=ethernet status=up
add interface desk kind=ethernet status=up
add interface br0 kind=bridge members='trunk desk' vlan-filtering=on status=up
add interface br0.10 kind=vlan parent=br0 id=10 status=up
add interface br0.20 kind=vlan parent=br0 id=20 status=up
add address ten kind=static-address interface=br0.10 address=10.10.0.1 prefix=24
add address twenty kind=static-address interface=br0.20 address=10.20.0.1 prefix=24
add bridge-port trunk tagged='10 20'
add bridge-port desk untagged=10
""")
        device.vornctl("batch", "/tmp/changes")

    def carried(self, link):
        [told] = json.loads(device.check(f"bridge -j vlan show dev {link}")) or [{"vlans": []}]
        return [f"{each['vlan']} {'un' if 'Egress Untagged' in each.get('flags', []) else ''}tagged"
                for each in told["vlans"]]

    def expect_the_configured_vlans(self):
        for name in self.PORTS:
            klass = "interface" if name == "br0" else "bridge-port"
            device.wait_for(f"vornctl show {klass} {name} state | grep -q applied")
        self.assertEqual({name: self.carried(name) for name in self.PORTS}, self.PORTS)

    def answers(self, place, address):
        code = device.check(f"ip netns exec {place} /run/vm/busybox ping -c 1 -W 1 {address} >/dev/null; echo $?")
        return code.strip() == "0"

    def test_passes_each_packet_to_its_vlan_and_nowhere_else(self):
        self.expect_the_configured_vlans()
        for place, address in (("desk", "10.10.0.2"), ("desk", "10.10.0.1"), ("trunk", "10.10.0.1"),
                               ("trunk", "10.20.0.1"), ("trunk", "10.10.0.3")):
            self.assertTrue(self.answers(place, address), (place, address))
        for place, address in (("trunk", "10.20.0.3"), ("trunk", "10.20.0.4"), ("desk", "10.20.0.1")):
            self.assertFalse(self.answers(place, address), (place, address))

        device.vornctl("set", "bridge-port", "trunk", "tagged=10")
        self.addCleanup(device.vornctl, "set", "bridge-port", "trunk", "tagged=10 20")
        self.assertFalse(self.answers("trunk", "10.20.0.1"))
        self.assertTrue(self.answers("trunk", "10.10.0.3"))

    def test_tells_what_somebody_else_has_changed_and_is_repaired(self):
        device.check("vornctl watch </dev/null >/tmp/notices 2>&1 & echo $! >/tmp/watching")
        self.addCleanup(device.check, "kill $(cat /tmp/watching)")
        # Until it has subscribed.
        device.wait_for("vornctl set system location=$(cut -d. -f1 /proc/uptime); test -s /tmp/notices")
        for by_hand, words in (("del dev trunk vid 20", "it does not carry VLAN 20"),
                               ("add dev desk vid 98-99", "it carries VLAN 98-99"),
                               ("add dev desk vid 10", "it carries VLAN 10 in another way"),
                               ("del dev br0 vid 20 self", "it does not carry VLAN 20")):
            device.check(f"bridge vlan {by_hand}")
            device.wait_for(f"grep -q '{words}' /tmp/notices")
        device.check("ip link set br0 type bridge vlan_filtering 0")
        device.wait_for("grep -q 'it does not filter VLANs' /tmp/notices")

        device.vornctl("repair")

        self.expect_the_configured_vlans()

    def test_takes_a_port_that_is_made_anew_and_lets_one_go(self):
        device.check("ip link del desk")
        device.wait_for("vornctl show bridge-port desk state | grep -q 'waiting for desk'")
        device.check("ip link add desk type veth peer name spare netns desk")
        self.expect_the_configured_vlans()

        device.vornctl("set", "bridge-port", "desk", "untagged=20", "tagged=10")
        self.assertEqual(self.carried("desk"), ["10 tagged", "20 untagged"])
        device.vornctl("delete", "bridge-port", "desk")
        self.addCleanup(device.vornctl, "add", "bridge-port", "desk", "untagged=10")
        self.assertEqual(self.carried("desk"), [])


if __name__ == "__main__":
    unittest.main()
