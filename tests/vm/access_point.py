# SPDX-License-Identifier: MIT
"""A device that the reference plugins make an access point, with a station in its range."""
import shlex

from device import STARTUP, Device
from station import Station

KEY = "correct horse"
# vornctl's exit status for what is recorded and not applied, or not yet.
RECORDED = 7
COUNTRY = "/etc/wireless-country"
HOSTAPD = "/var/run/vorn-hostapd-wlan0.conf"
CONFIGURATION = f"""<?xml version="1.0"?>
<config>
  <system><hostname>attic</hostname></system>
  <interface name="br0"><kind>bridge</kind><status>up</status></interface>
  <address name="lan"><kind>static-address</kind><interface>br0</interface>
    <address>192.168.7.1</address><prefix>24</prefix></address>
  <radio name="wlan0"><mode>g</mode><channel>6</channel><status>up</status></radio>
  <wireless-network name="home"><radio>wlan0</radio><ssid>attic</ssid>
    <security>wpa2-psk</security><key>{KEY}</key><bridge>br0</bridge></wireless-network>
  <dhcp><enabled>on</enabled></dhcp>
  <dhcp-pool name="lan"><interface>br0</interface><first>192.168.7.50</first>
    <last>192.168.7.59</last><netmask>255.255.255.0</netmask></dhcp-pool>
</config>
"""


class AccessPoint(Device):
    """A device with a radio and a station in its range."""

    def __init__(self, radios=1):
        super().__init__(radios=radios)

    def boot(self):
        # Of the host's programs these may be missing, or be others; busybox's are meant.
        for program in ("udhcpc", "syslogd"):
            self.check(f"ln -sf /run/vm/busybox /usr/bin/{program}")
        self.write(COUNTRY, "DE\n")
        self.load_firewall()
        self.write(STARTUP, CONFIGURATION)
        self.start_daemon()
        self.station = Station(self)
        self.await_state("running")

    def await_state(self, state, network="home", interface="wlan0"):
        """Of the network on the air."""
        self.wait_for(f"vornctl show wireless-network {network} state | grep -q ' {state}$' && "
                      f"hostapd_cli -p /var/run/vorn-hostapd -i {interface} status | "
                      "grep -q =ENABLED")

    def change(self, *arguments):
        """What vornctl does not see come true in its five seconds may come yet: an emulated radio of a
        busy machine takes longer. Who calls this waits for it."""
        result = self.run("vornctl " + shlex.join(arguments))
        if result.status not in (0, RECORDED):
            raise RuntimeError(result.output)

    def set_network(self, *values):
        self.change("set", "wireless-network", "home", *values)

    def applied(self, request, sign):
        """Prints how long it takes from a request until the system shows that it is applied."""
        before, after = self.check(
            f"cat /proc/uptime; {{ {request} && until {sign}; do sleep 0.02; done; }} "
            ">/dev/null 2>&1 && cat /proc/uptime").splitlines()
        print(f"applied in {float(after.split()[0]) - float(before.split()[0]):.2f} s: {request}")

    @staticmethod
    def on_the_air(name, value):
        """A command that succeeds when hostapd says so."""
        return (f"hostapd_cli -p /var/run/vorn-hostapd -i wlan0 status | "
                f"grep -Fxq '{name}={value}'")
