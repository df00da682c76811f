#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Kinds of security and standards of the plugin wireless, with a station that uses them."""
import json
import unittest

from access_point import KEY, AccessPoint

OWE = "key_mgmt=OWE\nieee80211w=2"
FAST = f'key_mgmt=FT-PSK\npsk="{KEY}"'
EAP = ('key_mgmt=WPA-EAP\neap=PWD\nidentity="anna"\npassword="{}"')
# hostapd without a radio is a RADIUS server.
SERVER = """driver=none
interface=lo
eap_server=1
eap_user_file=/tmp/users
radius_server_clients=/tmp/clients
radius_server_auth_port=1812
"""
USERS = f'"anna" PWD "{KEY}"\nradius_accept_attr=64:d:13\nradius_accept_attr=65:d:6\n' \
        'radius_accept_attr=81:s:20\n'


class WirelessNetworks(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = cls.enterClassContext(AccessPoint(radios=2))
        cls.device.boot()
        cls.station = cls.device.station

    def setUp(self):
        self.device.vornctl("set", "radio", "wlan0", "mode=g", "channel=6", "status=up")
        self.set_network("security=wpa2-psk", f"key={KEY}", "dynamic-vlan=off")

    def set_network(self, *values):
        self.device.set_network(*values)
        self.device.await_state("running")

    def assert_joins(self, *arguments, **options):
        self.assertTrue(self.station.joins(*arguments, **options), self.station.log())

    def assert_reaches_the_device(self):
        self.assertTrue(self.station.lease())
        self.assertTrue(self.station.ping("192.168.7.1"))

    def test_take_old_and_new_stations(self):
        self.set_network("security=wpa2-wpa3")

        self.assert_joins("attic", KEY)
        self.assert_reaches_the_device()
        self.assert_joins("attic", KEY, sae=True)
        self.assert_reaches_the_device()

    def test_encrypt_for_anybody(self):
        self.set_network("security=owe", "key=")

        self.assert_joins("attic", security=OWE)
        self.assert_reaches_the_device()
        self.assertFalse(self.station.associate("attic", deadline=8), "without encryption")

    def test_know_keys_of_single_stations(self):
        mac = self.station.run(
            f"cat /sys/class/net/{self.station.interface}/address").output.strip()
        self.device.vornctl("add", "station-key", "other", "network=home",
                            "mac=00:11:22:33:44:55", "key=of somebody else")
        self.device.vornctl("add", "station-key", "own", "network=home", f"mac={mac}",
                            "key=battery staple")
        self.addCleanup(self.device.vornctl, "delete", "station-key", "own")
        self.addCleanup(self.device.vornctl, "delete", "station-key", "other")
        self.device.await_state("running")

        self.assert_joins("attic", "battery staple")
        self.assert_reaches_the_device()
        self.assertFalse(self.station.associate("attic", "of somebody else"))
        self.assert_joins("attic", KEY)

    def test_put_the_user_of_a_key_into_its_vlan(self):
        self.set_network("dynamic-vlan=optional", "vlan-bridge=br-v")
        self.device.vornctl("add", "station-key", "guest", "network=home", "vlan=30",
                            "key=battery staple")
        self.addCleanup(self.device.vornctl, "delete", "station-key", "guest")
        self.device.await_state("running")

        self.assert_joins("attic", "battery staple")

        self.device.wait_for("ip link show master br-v30 | grep -q wlan0.30")

    def ask_servers(self, *servers):
        """Each by its name and port; one listens."""
        self.device.write("/tmp/radius.conf", SERVER, "600")
        self.device.write("/tmp/users", USERS, "600")
        self.device.write("/tmp/clients", "127.0.0.1 known by both\n", "600")
        self.device.check("ip link set lo up && "
                          "hostapd -B -P /tmp/radius.pid /tmp/radius.conf")
        self.addCleanup(self.device.check, "kill $(cat /tmp/radius.pid)")
        for name, port in servers:
            self.device.vornctl("add", "radius-server", name, "address=127.0.0.1",
                                f"port={port}", "secret=known by both")
            self.addCleanup(self.device.vornctl, "delete", "radius-server", name)
        self.addCleanup(self.device.set_network, "security=wpa2-psk", f"key={KEY}",
                        "dynamic-vlan=off", "radius-servers=")
        self.set_network("security=wpa2-eap", "dynamic-vlan=required", "vlan-bridge=br-v",
                         "radius-servers=" + " ".join(name for name, _ in servers))

    def test_put_stations_into_the_vlan_that_a_server_tells(self):
        self.ask_servers(("awake", "1812"))

        self.assert_joins("attic", security=EAP.format(KEY))
        self.device.wait_for("ip link show master br-v20 | grep -q wlan0.20")
        self.assertFalse(self.station.associate("attic", security=EAP.format("wrong"),
                                                deadline=15))

    def test_are_as_fast_as_the_radio_is_told(self):
        self.addCleanup(self.device.vornctl, "set", "radio", "wlan0", "mode=g", "channel=6",
                        "width=20", "standard=n")
        for values, signs in (
                (("channel=1", "standard=ax", "width=40"), (("ieee80211ax", "1"),)),
                (("mode=a", "channel=36", "standard=ac", "width=80"),
                 (("ieee80211ac", "1"), ("vht_oper_chwidth", "1"),
                  ("vht_oper_centr_freq_seg0_idx", "42"))),
                (("standard=ax", "channel=44"), (("ieee80211ax", "1"), ("he_oper_chwidth", "1")))):
            self.device.vornctl("set", "radio", "wlan0", *values)
            self.device.await_state("running")
            for name, value in signs:
                self.device.wait_for(self.device.on_the_air(name, value))
            self.assert_joins("attic", KEY)

    def open_another_access_point(self, *values):
        """With a radio and a hostapd of its own, and the name, the key and the bridge of the first."""
        self.device.vornctl("add", "radio", "wlan1", "mode=g", "channel=1", "status=up")
        self.addCleanup(self.device.vornctl, "delete", "radio", "wlan1")
        self.device.vornctl("add", "wireless-network", "annex", "radio=wlan1", "ssid=attic",
                            "security=wpa2-psk", f"key={KEY}", "bridge=br0", *values)
        self.addCleanup(self.device.vornctl, "delete", "wireless-network", "annex")
        self.device.await_state("running", "annex", "wlan1")

    def test_let_stations_go_from_one_access_point_to_the_next(self):
        roaming = ("fast-transition=on", "neighbour-reports=on", "transition-management=on")
        self.set_network(*roaming)
        self.addCleanup(self.device.set_network, *(each.replace("=on", "=off") for each in roaming))
        self.open_another_access_point(*roaming)
        access_points = [self.device.check(f"cat /sys/class/net/{name}/address").strip()
                         for name in ("wlan0", "wlan1")]
        self.assert_joins("attic", security=FAST)
        self.assert_reaches_the_device()

        self.assertTrue(self.station.roams(access_points, "2412,2437"), self.station.log()[-9999:])

        self.assertEqual(self.station.status()["key_mgmt"], "FT-PSK")
        self.assertTrue(self.station.ping("192.168.7.1"))
        self.station.asks("neighbor_rep_request", "RRM-NEIGHBOR-REP-RECEIVED")
        self.station.asks("wnm_bss_query 0", "BSS Transition Management Request")

    def test_choose_their_channel(self):
        self.device.vornctl("set", "radio", "wlan0", "channel=auto")
        self.device.wait_for(self.device.on_the_air("state", "ENABLED"))

        self.assert_joins("attic", KEY)

    def test_tell_how_busy_channels_are(self):
        self.device.vornctl("set", "radio", "wlan0", "channel=auto")
        self.device.wait_for(self.device.on_the_air("state", "ENABLED"))
        # An emulated iw may be asked in vain at first.
        surveys = [each["values"] for each in json.loads(self.device.wait_for(
            "vornctl --json show survey >/tmp/known && ! grep -q 'no answer' /tmp/known && cat /tmp/known"))]

        self.assertTrue(surveys)
        self.assertEqual([each["unknown"] for each in surveys if each["unknown"]], [])
        self.device.check("iw dev wlan0 scan dump")
        self.device.vornctl("--json", "show", "neighbour")


if __name__ == "__main__":
    unittest.main()
