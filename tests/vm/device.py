# SPDX-License-Identifier: MIT
"""A virtual machine that is a device: the daemon of a build, its plugins and its files."""
import functools
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import tempfile

from machine import PATIENCE_S, TREE, Machine

BUILD = pathlib.Path(os.environ.get("VORN_BUILD", TREE / "build/release")).resolve()
STARTUP = "/etc/config/config.xml"
DEFAULT = "/etc/defaultconfig.xml"
RESCUE = "/etc/rescueconfig.xml"


@functools.cache
def firmware():
    """The files of a device, as an installation of the build makes them."""
    folder = tempfile.TemporaryDirectory(prefix="vorn-firmware.")
    for component in ("daemon", "plugins", "client"):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", "/usr", "--component", component],
                       check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, "DESTDIR": folder.name})
    return folder


def document(hostname):
    """A configuration that can be told from others by the name of its device."""
    return ('<?xml version="1.0"?>\n'
            f"<config><system><hostname>{hostname}</hostname></system></config>\n")


def with_header(text):
    """What the default file has before its document."""
    checksum = hashlib.md5(text.encode()).hexdigest()
    return f"Version: 1\nLength: {len(text.encode())}\nMD5sum: {checksum}\n\n{text}"


# A table with each kind of statement that the firewall's provider writes.
ANY_RULES = """table inet any {
  counter one { }
  chain input { type filter hook input priority filter; policy accept;
    ct state established,related accept
    ct status dnat accept
    icmpv6 type { nd-router-solicit } accept
    iifname { "lo", "eth9*" } tcp dport { 80, 90-99 } counter name "one" reject
  }
  chain prerouting { type nat hook prerouting priority dstnat; policy accept;
    meta nfproto ipv4 tcp dport 80 dnat ip to 192.0.2.1:80
  }
  chain postrouting { type nat hook postrouting priority srcnat; policy accept;
    meta nfproto ipv4 masquerade
  }
}
delete table inet any
"""


class Device(Machine):
    """The daemon does not run until start_daemon."""

    def __init__(self, **options):
        super().__init__(layers=[firmware().name], **options)

    def _set_up_devices(self):
        # The host may have files of a device, too.
        self.check(f"rm -rf /etc/config {DEFAULT} {RESCUE} /etc/post-init; mkdir /etc/config; "
                   "hostname fresh")
        super()._set_up_devices()

    def load_firewall(self):
        """The first rules load a dozen modules; an emulated processor may take longer for that than
        a provider waits for nft."""
        self.write("/tmp/any-rules", ANY_RULES)
        self.check("nft -f /tmp/any-rules")

    def start_daemon(self, options="", deadline=PATIENCE_S):
        """Starts it and waits until it answers; the seconds that took, by the guest's clock."""
        before, after = self.check(
            f"cat /proc/uptime; /usr/sbin/vorn {options} >/dev/console 2>&1 && "
            "until vornctl show system >/dev/null 2>&1; do sleep 0.02; done; cat /proc/uptime",
            deadline).splitlines()
        return float(after.split()[0]) - float(before.split()[0])

    def stop_daemon(self):
        pid = self.daemon()
        self.check(f"kill {pid}")
        self.wait_for(f"! kill -0 {pid} 2>/dev/null")

    def daemon(self):
        """Its process id."""
        return int(self.check("cat /var/run/vorn.pid"))

    def vornctl(self, *arguments, deadline=PATIENCE_S):
        """What vornctl prints; it must succeed."""
        return self.check("vornctl " + shlex.join(arguments), deadline)

    def values(self, *arguments):
        """Of the one instance that `vornctl show` prints for the arguments."""
        [instance] = json.loads(self.vornctl("--json", "show", *arguments))
        return instance["values"]

    def hostname(self):
        return self.values("system")["hostname"]
