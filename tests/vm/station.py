# SPDX-License-Identifier: MIT
"""A wireless station beside the device: its own radio, its own network namespace, one machine."""
import shlex

from machine import PATIENCE_S, station_namespace

BUSYBOX = "/run/vm/busybox"
# What wpa_supplicant logs of every access point that it joins or loses, and, in detail, of a fast transition to one.
JOINED = "CTRL-EVENT-CONNECTED"
LEFT = "CTRL-EVENT-DISCONNECTED"
CHANGED_OVER = "FT: Completed successfully"
LEASE_SCRIPT = """#!/bin/sh
case $1 in
    deconfig) ip address flush dev "$interface" ;;
    bound)
        ip address add "$ip/$mask" dev "$interface"
        [ -z "$router" ] || ip route replace default via "$router"
        [ ! -d "/run/$interface" ] || echo "$ip" >"/run/$interface/address"
        ;;
esac
"""


class Station:
    """Of a machine with radios, of which it has one."""

    def __init__(self, machine, number=0):
        self.machine = machine
        self.namespace = station_namespace(number)
        self.interface = f"wlan{machine.radios + number}"
        self.files = f"/run/{self.interface}"
        machine.check(f"mkdir -p {self.files}")
        machine.write(f"{self.files}/lease", LEASE_SCRIPT, mode="755")
        self.run("ip link set lo up")

    def run(self, command, deadline=PATIENCE_S):
        """In the station's namespace."""
        return self.machine.run(
            f"ip netns exec {self.namespace} sh -c {shlex.quote(command)}", deadline)

    def associate(self, ssid, key=None, sae=False, deadline=90, security=None):
        """Leaves where it was and joins a network; whether that came about. It gives up when the
        key is refused. `security` are wpa_supplicant's own lines, instead of a key."""
        self.leave()
        security = security or self._security(key, sae)
        self.machine.write(f"{self.files}/supplicant.conf", self._configuration(ssid, security),
                           "600")
        status, output = self.run(
            f"wpa_supplicant -B -D nl80211 -i {self.interface} -c {self.files}/supplicant.conf "
            f"-P {self.files}/pid -f {self.files}/log")
        if status != 0:
            raise RuntimeError(f"wpa_supplicant does not start: {output}")
        self.machine.run(
            f"end=$(($(cut -d. -f1 /proc/uptime) + {deadline})); "
            "while test $(cut -d. -f1 /proc/uptime) -lt $end; do "
            f"{self._cli()} status | grep -q ^wpa_state=COMPLETED && break; "
            f"grep -q TEMP-DISABLED {self.files}/log && break; sleep 0.2; done")
        return self.is_associated()

    def joins(self, *arguments, **options):
        """Associates with a network that lets it in: an emulated radio misses the times of a
        handshake now and then, as a far one does, and a person would try again."""
        return any(self.associate(*arguments, **options) for _ in range(3))

    def is_associated(self):
        """Also with the keys in place, where the network has one."""
        return self.machine.run(f"{self._cli()} status | grep -q ^wpa_state=COMPLETED").status == 0

    def roams(self, access_points, frequencies):
        """Goes from that of two access points where it is to the other one; whether it did so without
        proving its key again. Of an emulated radio some tries miss their time: then it joins anew."""
        self.machine.check(f"{self._cli()} log_level DEBUG")
        for _ in range(8):
            [to] = set(access_points) - {self.status()["bssid"]}
            self.machine.wait_for(f"{self._cli()} scan freq={frequencies} && sleep 1 && "
                                  f"{self._cli()} bss {to} | grep -q ^bssid=")
            joined, changed_over = self.log().count(JOINED), self.log().count(CHANGED_OVER)
            self.machine.check(f"{self._cli()} roam {to} | grep -Fxq OK")
            self.machine.wait_for(f"test $(grep -c {JOINED} {self.files}/log) -gt {joined} && "
                                  f"{self._cli()} status | grep -q ^wpa_state=COMPLETED")
            if self.status()["bssid"] == to and self.log().count(CHANGED_OVER) > changed_over:
                return True
        return False

    def asks(self, request, sign):
        """Its access point, until wpa_supplicant logs the answer: a frame may get lost."""
        self.machine.wait_for(
            f"{self._cli()} {request}; sleep 1; grep -q '{sign}' {self.files}/log")

    def status(self):
        """What wpa_supplicant says of it: state, access point, security."""
        lines = self.machine.check(f"{self._cli()} status").splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)

    def leave(self):
        self.machine.run(f"pid=$(cat {self.files}/pid) && kill $pid && "
                         "while kill -0 $pid; do sleep 0.05; done")
        self.machine.check(f"rm -f {self.files}/pid {self.files}/log {self.files}/address")

    def lease(self):
        """Asks for an address and takes it; None if there is none to be had."""
        self.run(f"rm -f {self.files}/address; {BUSYBOX} udhcpc -i {self.interface} -n -q -t 20 -T 1 "
                 f"-s {self.files}/lease")
        return self.address()

    def address(self):
        """The one that it was given."""
        return self.run(f"cat {self.files}/address 2>/dev/null").output.strip() or None

    def ping(self, address):
        return self.run("for try in 1 2 3; do "
                        f"{BUSYBOX} ping -c 1 -W 3 {address} && exit; done; exit 1").status == 0

    def begin_pinging(self, address):
        """Ten times a second, until end_pinging."""
        self.run(f"{BUSYBOX} ping -i 0.1 {address} >{self.files}/pings 2>&1 & "
                 f"echo $! >{self.files}/pinging")
        self.await_answers()

    def await_answers(self):
        """Until some more have come."""
        before = len(self._answers())
        self.machine.wait_for(f"test $(grep -c seq= {self.files}/pings) -ge {before + 5}")

    def end_pinging(self):
        """How many had no answer, and how many of those followed on each other."""
        self.await_answers()
        self.machine.check(f"kill $(cat {self.files}/pinging)")
        answers = sorted(set(self._answers()))
        gaps = [after - before - 1 for before, after in zip(answers, answers[1:])]
        return sum(gaps), max(gaps)

    def _answers(self):
        lines = self.machine.run(f"cat {self.files}/pings").output.splitlines()
        return [int(line.split("seq=")[1].split()[0]) for line in lines if " ttl=" in line]

    def log(self):
        """What wpa_supplicant had to say since it last tried to associate."""
        return self.machine.run(f"cat {self.files}/log").output

    def _cli(self):
        return f"2>/dev/null wpa_cli -p {self.files} -i {self.interface}"

    @staticmethod
    def _security(key, sae):
        if key is None:
            return "key_mgmt=NONE"
        if sae:
            return f'key_mgmt=SAE\nsae_password="{key}"\nieee80211w=2'
        return f'key_mgmt=WPA-PSK\npsk="{key}"'

    def _configuration(self, ssid, security):
        return (f"ctrl_interface={self.files}\nnetwork={{\nssid=\"{ssid}\"\nscan_ssid=1\n"
                f"{security}\n}}\n")
