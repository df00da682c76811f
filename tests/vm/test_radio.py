#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The machine's radios, without the daemon: an access point set up by hand, and a station."""
import unittest

from machine import Machine
from station import Station

KEY = "correct horse"
NETWORK = """interface=wlan0
driver=nl80211
ssid=attic
hw_mode=g
channel=6
country_code=DE
wpa=2
rsn_pairwise=CCMP
"""
WPA2 = f"wpa_key_mgmt=WPA-PSK\nwpa_passphrase={KEY}\n"
SAE = f"wpa_key_mgmt=SAE\nsae_password={KEY}\nieee80211w=2\n"


class AStation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.machine = cls.enterClassContext(Machine(radios=1))
        cls.station = Station(cls.machine)

    def open_network(self, security):
        self.machine.write("/tmp/hostapd.conf", NETWORK + security, "600")
        self.machine.check("hostapd -B -P /tmp/hostapd.pid /tmp/hostapd.conf")
        self.addCleanup(self.machine.check, "kill $(cat /tmp/hostapd.pid); "
                        "while [ -e /tmp/hostapd.pid ]; do sleep 0.05; done")

    def serve_addresses(self):
        self.machine.check("ip address add 10.0.0.1/24 dev wlan0 && "
                           "dnsmasq -C /dev/null --no-ping --user=root --port=0 "
                           "--interface=wlan0 --dhcp-range=10.0.0.50,10.0.0.50 "
                           "--pid-file=/tmp/dnsmasq.pid --dhcp-leasefile=/tmp/leases")
        self.addCleanup(self.machine.check, "kill $(cat /tmp/dnsmasq.pid); "
                        "ip address flush dev wlan0")

    def test_associates_with_wpa2_gets_a_lease_and_pings(self):
        self.open_network(WPA2)
        self.serve_addresses()

        self.assertTrue(self.station.joins("attic", KEY), self.station.log())
        self.assertEqual(self.station.lease(), "10.0.0.50")
        self.assertTrue(self.station.ping("10.0.0.1"))
        self.assertFalse(self.station.ping("10.0.0.2"))

    def test_associates_with_sae(self):
        self.open_network(SAE)

        self.assertTrue(self.station.joins("attic", KEY, sae=True), self.station.log())

    def test_is_refused_with_another_key(self):
        self.open_network(WPA2)

        self.assertFalse(self.station.associate("attic", "battery staple"), self.station.log())
        self.assertFalse(self.station.is_associated())

    def test_loses_a_network_that_goes_away(self):
        self.open_network(WPA2)
        self.assertTrue(self.station.joins("attic", KEY), self.station.log())

        self.doCleanups()

        self.machine.wait_for(f"! wpa_cli -p {self.station.files} -i wlan1 status | grep -q COMPLETED")
        self.assertFalse(self.station.is_associated())


class TheRadio(unittest.TestCase):
    def test_follows_the_regulatory_domain(self):
        with Machine(radios=1) as machine:
            for country, channel_12 in (("DE", "dBm"), ("US", "disabled")):
                machine.check(f"iw reg set {country}")
                machine.wait_for(f"iw reg get | grep -q 'country {country}'")

                # "*  2467.0 MHz [12] (20.0 dBm)", or "(disabled)".
                self.assertRegex(machine.check("iw phy phy0 info"), rf"\[12\].*{channel_12}")


if __name__ == "__main__":
    unittest.main()
