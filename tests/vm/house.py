# SPDX-License-Identifier: MIT
"""The access point of packaging/examples/house.xml, with a provider, a switch and three stations."""
from device import STARTUP, Device
from machine import TREE
from station import LEASE_SCRIPT, Station

COUNTRY = "/etc/wireless-country"
# Somewhere in the world; the provider leads there.
FAR_AWAY = "198.51.100.1"
PROVIDER = "/run/provider"
PROVIDER_LEASES = (
    f"ip netns exec provider dnsmasq -C /dev/null --user=root --port=0 --interface=line "
    f"--dhcp-range=203.0.113.50,203.0.113.59 --dhcp-range=::,constructor:line,ra-only --enable-ra "
    f"--no-ping --pid-file={PROVIDER}/pid --dhcp-leasefile={PROVIDER}/leases")


class House(Device):
    """Of the three stations one lives there, one is a guest, and one is a thing."""

    def __init__(self):
        super().__init__(radios=2, stations=3)

    def boot(self):
        # Of the host's programs these may be missing, or be others; busybox's are meant.
        for program in ("udhcpc", "syslogd"):
            self.check(f"ln -sf /run/vm/busybox /usr/bin/{program}")
        self.write("/etc/udhcpc/default.script", LEASE_SCRIPT, mode="755")
        # Debian's busybox has none, and there is nobody to ask.
        self.write("/usr/bin/ntpd", "#!/bin/sh\nexec sleep 1000000\n", mode="755")
        self.write(COUNTRY, "DE\n")
        self.load_firewall()
        self._lay_cables()
        self.write(STARTUP, (TREE / "packaging/examples/house.xml").read_text(encoding="utf-8"))
        self.start_daemon()
        self.living, self.guest, self.thing = (Station(self, number) for number in range(3))
        self.await_air()
        self.wait_for("vornctl show address provider current | grep -q 203.0.113")

    def _lay_cables(self):
        self.check(
            f"mkdir -p {PROVIDER} && ip netns add provider && ip netns add switch && "
            "ip link add eth1 type veth peer name line netns provider && "
            "ip link add eth0 type veth peer name trunk netns switch && "
            "ip -n provider link set lo up && "
            f"ip -n provider address add {FAR_AWAY}/32 dev lo && "
            "ip -n provider address add 203.0.113.1/24 dev line && "
            "ip -n provider address add 2001:db8:1::1/64 dev line && "
            "ip -n provider link set line up && ip -n switch link set trunk up && "
            + PROVIDER_LEASES)

    def await_air(self):
        """Until all networks are on the air."""
        for interface in ("wlan0", "wlan1"):
            self.wait_for(f"hostapd_cli -p /var/run/vorn-hostapd -i {interface} status | "
                          "grep -q =ENABLED")
        self.wait_for("test $(vornctl show wireless-network - state | grep -c ' running$') = 4")
