#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The reference plugins make a wireless access point, and a station uses it."""
import json
import unittest

from access_point import HOSTAPD, KEY, AccessPoint
from device import STARTUP


def in_hostapds_file(line):
    return f"grep -Fxq '{line}' {HOSTAPD}"


ON_THE_AIR = AccessPoint.on_the_air
# Requests, and what shows that each is applied.
CHANGES = (
    ("vornctl set system hostname=cellar", "test $(hostname) = cellar"),
    ("vornctl set system time-zone=CET-1", "grep -Fxq CET-1 /etc/TZ"),
    ("vornctl set wireless-network home ssid=cellar", ON_THE_AIR("ssid[0]", "cellar")),
    ("vornctl set wireless-network home 'key=battery staple'",
     in_hostapds_file("wpa_passphrase=battery staple")),
    ("vornctl set wireless-network home hidden=on", in_hostapds_file("ignore_broadcast_ssid=1")),
    ("vornctl set wireless-network home max-stations=9", in_hostapds_file("max_num_sta=9")),
    ("vornctl add access-list some mac=00:11:22:33:44:66", "vornctl show access-list some"),
    ("vornctl set wireless-network home access-list=some", in_hostapds_file("macaddr_acl=0")),
    ("vornctl add access-list some mac=00:11:22:33:44:55",
     "grep -Fq 00:11:22:33:44:55 /var/run/vorn-hostapd-wlan0.macs"),
    ("vornctl set wireless-network home access-list=",
     "! grep -q macaddr_acl /var/run/vorn-hostapd-wlan0.conf"),
    ("vornctl delete access-list some", "! vornctl show access-list some | grep -q mac"),
    ("vornctl set wireless-network home security=wpa3-sae",
     f"{in_hostapds_file('wpa_key_mgmt=SAE')} && {ON_THE_AIR('state', 'ENABLED')}"),
    ("vornctl set radio wlan0 channel=11", ON_THE_AIR("channel", "11")),
    ("vornctl set radio wlan0 mode=b",
     f"{in_hostapds_file('hw_mode=b')} && {ON_THE_AIR('state', 'ENABLED')}"),
    ("vornctl set radio wlan0 power=10", "iw dev wlan0 info | grep -q 'txpower 10.00 dBm'"),
    ("vornctl set radio wlan0 status=down", "! pidof hostapd"),
    ("vornctl set radio wlan0 status=up", ON_THE_AIR("state", "ENABLED")),
    ("vornctl set address lan address=192.168.7.2", "ip addr show br0 | grep -q 192.168.7.2/24"),
    ("vornctl set address lan address=192.168.7.1", "ip addr show br0 | grep -q 192.168.7.1/24"),
    ("vornctl add address six kind=static-ipv6-address interface=br0 address=2001:db8::1 prefix=64",
     "ip addr show br0 | grep -q 2001:db8::1/64"),
    ("vornctl set address six address=2001:db8::2", "ip addr show br0 | grep -q 2001:db8::2/64"),
    ("vornctl add ipv6-route out destination=2001:db8:8::/48 gateway=2001:db8::9",
     "ip -6 route show 2001:db8:8::/48 | grep -q 2001:db8::9"),
    ("vornctl delete ipv6-route out", "test -z \"$(ip -6 route show 2001:db8:8::/48)\""),
    ("vornctl add ipv6-announcement lan interface=br0",
     "grep -q constructor:br0 /var/run/vorn-dnsmasq.conf && pidof dnsmasq"),
    ("vornctl delete ipv6-announcement lan",
     "! grep -q constructor:br0 /var/run/vorn-dnsmasq.conf && pidof dnsmasq"),
    ("vornctl add address auto kind=slaac-address interface=br0",
     "grep -qx 2 /proc/sys/net/ipv6/conf/br0/accept_ra"),
    ("vornctl delete address auto", "! grep -qx 2 /proc/sys/net/ipv6/conf/br0/accept_ra"),
    ("vornctl delete address six", "! ip addr show br0 | grep -q 2001:db8::2/64"),
    ("vornctl set dhcp-pool lan lease-time=600",
     "grep -q ,600 /var/run/vorn-dnsmasq.conf && pidof dnsmasq"),
    ("vornctl add dhcp-host printer mac=00:11:22:33:44:55 address=192.168.7.20",
     "grep -Fq 192.168.7.20 /var/run/vorn-dnsmasq.hosts"),
    ("vornctl delete dhcp-host printer", "test ! -s /var/run/vorn-dnsmasq.hosts"),
    ("vornctl add dhcp-option mtu code=26 kind=number16 value=1400",
     "grep -q ,1400s /var/run/vorn-dnsmasq.conf && pidof dnsmasq"),
    ("vornctl delete dhcp-option mtu",
     "! grep -q ,1400s /var/run/vorn-dnsmasq.conf && pidof dnsmasq"),
    ("vornctl set dhcp enabled=off", "! pidof dnsmasq"),
    ("vornctl set dhcp enabled=on", "pidof dnsmasq"),
    ("vornctl add interface v9 kind=vlan parent=br0 id=9 status=up",
     "ip -d link show v9 | grep -q 'id 9 '"),
    ("vornctl set interface v9 mtu=1400", "ip link show v9 | grep -q 'mtu 1400'"),
    ("vornctl set interface v9 status=down", "! ip link show v9 | grep -q ,UP"),
    ("vornctl add interface b9 kind=bridge status=up", "ip link show b9 | grep -q ,UP"),
    ("vornctl set interface b9 members=v9", "ip link show master b9 | grep -q v9"),
    ("vornctl set interface b9 stp=on", "ip -d link show b9 | grep -q 'stp_state 1'"),
    ("vornctl set interface b9 vlan-filtering=on", "ip -d link show b9 | grep -q 'vlan_filtering 1'"),
    ("vornctl add bridge-port v9 tagged=10-20 untagged=7",
     "bridge vlan show dev v9 | grep -q '7 PVID Egress Untagged'"),
    ("vornctl set bridge-port v9 tagged=10", "! bridge vlan show dev v9 | grep -q ' 20'"),
    ("vornctl delete bridge-port v9", "! bridge vlan show dev v9 | grep -q ' 10'"),
    ("vornctl add address wan kind=dhcp-address interface=b9", "pgrep -fx 'udhcpc -f -i b9'"),
    ("vornctl delete address wan", "! pgrep -fx 'udhcpc -f -i b9'"),
    ("vornctl add route out destination=172.16.0.0/12 gateway=192.168.7.9",
     "ip route show 172.16.0.0/12 | grep -q 192.168.7.9"),
    ("vornctl delete route out", "test -z \"$(ip route show 172.16.0.0/12)\""),
    ("vornctl delete interface b9", "! ip link show b9"),
    ("vornctl delete interface v9", "! ip link show v9"),
    # What a bridge without members leaves a VLAN with is no address.
    ("ip link add p9 type veth peer name p8 && vornctl add interface b9 kind=bridge members=p9 "
     "status=up && vornctl add interface v9 kind=vlan parent=b9 id=9 status=up",
     "ip link show v9 | grep -q ,UP"),
    ("ip link set p9 nomaster && ip link set v9 down && ip link show v9 | "
     "grep -q 'ether 00:00:00:00:00:00' && vornctl set system contact=me",
     "ip link show v9 | grep -q ,UP"),
    ("vornctl delete interface v9 && vornctl delete interface b9", "! ip link show b9"),
    ("vornctl set routing ipv4=on ipv6=on", "grep -qx 1 /proc/sys/net/ipv6/conf/all/forwarding"),
    ("vornctl set resolver servers=192.168.7.9", "grep -q 192.168.7.9 /etc/resolv.conf"),
    ("vornctl set firewall enabled=on", "nft list table inet vorn"),
    ("vornctl add zone inside interfaces='br0 wlan*' input=accept", "nft list table inet vorn | grep -q br0"),
    ("vornctl add zone outside interfaces='eth9*' masquerade=on",
     "nft list table inet vorn | grep -q masquerade"),
    ("vornctl add forwarding out from=inside to=outside",
     "nft list table inet vorn | grep -Fq 'oifname \"eth9*\" accept'"),
    ("vornctl add port-forward web zone=outside protocol=tcp port=8080 address=192.168.7.20",
     "nft list table inet vorn | grep -q 'dnat ip to 192.168.7.20'"),
    ("vornctl add firewall-rule ping protocol=icmp icmp-type=echo-request action=accept",
     "nft list table inet vorn | grep -q rule-ping"),
    ("vornctl set firewall enabled=off", "! nft list table inet vorn"),
    ("vornctl set dns enabled=on", "pgrep -fx 'dnsmasq --keep-in-foreground .*'"),
    ("vornctl add dns-record printer names=printer.home.example addresses=192.168.7.20",
     "/run/vm/busybox nslookup printer.home.example 127.0.0.1 | grep -Fq 192.168.7.20"),
    ("vornctl set dns enabled=off", "! pgrep -fx 'dnsmasq --keep-in-foreground .*'"),
    ("vornctl set log enabled=on level=5", "pgrep -fx 'syslogd -n -l 5'"),
    ("vornctl set log enabled=off", "! pgrep -x syslogd"),
)


class AnAccessPoint(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = cls.enterClassContext(AccessPoint())
        cls.device.boot()
        cls.station = cls.device.station

    def setUp(self):
        self.device.set_network("ssid=attic", "security=wpa2-psk", f"key={KEY}", "status=up")
        self.device.vornctl("set", "radio", "wlan0", "mode=g", "channel=6", "status=up")
        self.device.await_state("running")

    def assert_joins(self, *arguments, **options):
        self.assertTrue(self.station.joins(*arguments, **options), self.station.log())

    def test_lets_a_station_in_and_gives_it_an_address(self):
        self.assert_joins("attic", KEY)

        self.assertRegex(self.station.lease(), r"^192\.168\.7\.5\d$")
        self.assertTrue(self.station.ping("192.168.7.1"))

    def test_lets_a_station_in_with_sae(self):
        self.device.set_network("security=wpa3-sae")
        self.device.await_state("running")

        self.assert_joins("attic", KEY, sae=True)
        self.assertTrue(self.station.lease())
        self.assertTrue(self.station.ping("192.168.7.1"))

    def test_tells_which_stations_there_are(self):
        self.assert_joins("attic", KEY)
        self.assertTrue(self.station.lease())

        # An emulated iw may be asked in vain at first.
        [known] = json.loads(self.device.wait_for(
            "vornctl --json show station >/tmp/known && grep -q '\"-[0-9]' /tmp/known && cat /tmp/known"))
        station = known["values"]
        mac = self.station.run("cat /sys/class/net/wlan1/address").output.strip()
        self.assertEqual((station["mac"], station["network"]), (mac, "home"))
        self.assertRegex(station["signal"], r"^-\d+$")
        self.assertRegex(station["tx-rate"], r"^[\d.]+$")
        lease = self.device.values("dhcp-lease")
        self.assertEqual(lease["mac"], mac)

        self.station.leave()
        self.device.wait_for("test \"$(vornctl --json show station)\" = '[]'")

    def test_takes_the_new_key_and_refuses_the_old_one(self):
        self.assert_joins("attic", KEY)

        self.device.set_network("ssid=cellar", "key=battery staple")

        self.assertFalse(self.station.associate("cellar", KEY), self.station.log())
        self.assert_joins("cellar", "battery staple")
        self.assertTrue(self.station.lease())

    def test_changes_nothing_for_a_channel_that_the_country_forbids(self):
        before = self.device.check(f"cat {HOSTAPD}")
        hostapd = self.device.processes("hostapd")

        status, output = self.device.run("vornctl set radio wlan0 channel=14")

        self.assertEqual(status, 1)
        self.assertIn('Value "14" is not valid for property "channel"', output)
        self.assertEqual(self.device.check(f"cat {HOSTAPD}"), before)
        self.assertEqual(self.device.processes("hostapd"), hostapd)
        self.assert_joins("attic", KEY)

    def test_is_back_when_its_hostapd_was_killed(self):
        [hostapd] = self.device.processes("hostapd")

        self.device.check(f"kill -9 {hostapd}")

        self.device.wait_for(f"pid=$(pidof hostapd) && test $pid != {hostapd}")
        self.device.await_state("running")
        self.assert_joins("attic", KEY)

    def test_gives_its_network_the_vlan_back_when_hostapd_starts_anew(self):
        self.device.write("/tmp/changes", "set interface br0 vlan-filtering=on\n"
                                          "add bridge-port br0 untagged=7\nadd bridge-port wlan0 untagged=7\n")
        self.device.vornctl("batch", "/tmp/changes")
        self.device.write("/tmp/as-before", "set interface br0 vlan-filtering=\n"
                                            "delete bridge-port br0\ndelete bridge-port wlan0\n"
                                            "set radio wlan0 beacon-interval=\n")
        self.addCleanup(self.device.vornctl, "batch", "/tmp/as-before")
        carries = "bridge vlan show dev wlan0 | grep -q '7 PVID Egress Untagged'"
        self.device.wait_for(carries)
        [hostapd] = self.device.processes("hostapd")

        self.device.vornctl("set", "radio", "wlan0", "beacon-interval=200")

        self.device.wait_for(f"pid=$(pidof hostapd) && test $pid != {hostapd} && {carries}")
        self.device.wait_for("vornctl show bridge-port wlan0 state | grep -q applied")
        self.assert_joins("attic", KEY)
        self.station.lease()
        self.assertTrue(self.station.ping("192.168.7.1"))

    def test_restarts_no_dhcp_server_for_a_new_name_and_no_hostapd_for_a_fixed_lease(self):
        dnsmasq, hostapd = self.device.processes("dnsmasq"), self.device.processes("hostapd")

        self.device.set_network("ssid=cellar")
        self.device.vornctl("add", "dhcp-host", "printer", "mac=00:11:22:33:44:55",
                            "address=192.168.7.20")

        self.device.wait_for(self.device.on_the_air("ssid[0]", "cellar"))
        self.assertEqual(self.device.processes("dnsmasq"), dnsmasq)
        self.assertEqual(self.device.processes("hostapd"), hostapd)
        self.device.vornctl("delete", "dhcp-host", "printer")

    def test_keeps_listed_stations_out(self):
        mac = self.station.run("cat /sys/class/net/wlan1/address").output.strip()
        self.device.vornctl("add", "access-list", "unwanted", f"mac={mac}")
        self.device.set_network("access-list=unwanted")
        self.addCleanup(self.device.set_network, "access-list=")
        self.device.await_state("running")

        self.assertFalse(self.station.associate("attic", KEY, deadline=8))
        self.device.set_network("access-list=")
        self.device.vornctl("delete", "access-list", "unwanted")
        self.assert_joins("attic", KEY)

    def test_applies_each_kind_of_change_within_a_moment(self):
        self.addCleanup(self.device.set_network, "access-list=", "hidden=off", "max-stations=")
        for request, sign in CHANGES:
            self.device.applied(request, sign)

    def test_hides_its_keys(self):
        self.device.set_network("key=battery staple")

        self.assertNotIn("battery staple", self.device.vornctl("show", "wireless-network", "home"))
        self.assertNotIn("battery staple", self.device.check(f"cat {STARTUP}"))
        self.assertNotIn("battery staple", self.device.console)
        readers = "setpriv --reuid 65534 --regid 65534 --clear-groups cat"
        for path in (HOSTAPD, "/etc/config/wireless-keys"):
            self.assertIn("battery staple", self.device.check(f"cat {path}"))
            self.assertNotEqual(self.device.run(f"{readers} {path}").status, 0)


if __name__ == "__main__":
    unittest.main()
