# SPDX-License-Identifier: MIT
"""Several boards with the real daemon and agent in one sandbox: each has a network, mounts and a
host name of its own, and a cable to the switch at which the broker is."""
import os
import pathlib
import signal
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "agent"))

import board

SWITCH = "10.9.0.1"
CONFIGURATION = """<?xml version="1.0"?>
<config>
  <system><hostname>{name}</hostname></system>
  <interface name="eth0"><kind>ethernet</kind><status>up</status></interface>
  <address name="lan">
    <kind>static-address</kind><interface>eth0</interface><address>{address}</address>
    <prefix>24</prefix>
  </address>
</config>
"""


class Board:
    """One that runs from its making to its end."""

    def __init__(self, number, folder):
        self.name = f"ap{number}"
        self.address = f"10.9.0.{10 + number}"
        self.folder = folder / self.name
        self._holder = subprocess.Popen(
            ["unshare", "--net", "--mount", "--uts", "sleep", "infinity"])
        holder = pathlib.Path(f"/proc/{self._holder.pid}/ns/uts")
        board.await_that(lambda: os.readlink(holder) != os.readlink("/proc/self/ns/uts"),
                         "a board of its own")
        self._lay_out()
        board.run("ip", "link", "add", f"cable{number}", "type", "veth", "peer", "name", "eth0",
                  "netns", str(self._holder.pid))
        board.run("ip", "link", "set", f"cable{number}", "master", "switch", "up")
        self.run("ip", "link", "set", "lo", "up")
        self.start()

    def start(self):
        with open(self.folder / "console", "ab") as console:
            self._daemon = subprocess.Popen(self._words("setsid", "/usr/sbin/vorn", "-f"),
                                            stdout=console,
                                            stderr=console)
        board.await_that(lambda: self._try(board.VORNCTL, "ping") == 0, "an answer of the daemon")

    def kill_daemon(self):
        self._daemon.kill()
        self._daemon.wait()

    def kill_agent(self):
        """Whatever has none now will have one soon."""
        for pid in board.pids_of("vorn-agent"):
            try:
                if os.readlink(f"/proc/{pid}/ns/net") == os.readlink(f"/proc/{self._holder.pid}/ns/net"):
                    os.kill(pid, signal.SIGKILL)
            except OSError:
                pass  # it has ended meanwhile

    def _lay_out(self):
        for each in ("config", "run"):
            (self.folder / each).mkdir(parents=True)
        (self.folder / "console").touch()
        (self.folder / "config/config.xml").write_text(
            CONFIGURATION.format(name=self.name, address=self.address), "ascii")
        places = [("config", "/etc/config"), ("run", "/run"), ("console", "/dev/console")]
        if not os.path.samefile("/run", "/var/run"):
            places.append(("run", "/var/run"))
        # The sandbox's own links lead there.
        (self.folder / "run/host").mkdir()
        self.run("mount", "--rbind", "/run/host", self.folder / "run/host")
        for each, place in places:
            self.run("mount", "--rbind", self.folder / each, place)

    def _words(self, *words):
        return [
            "nsenter", "--target",
            str(self._holder.pid), "--net", "--mount", "--uts", *map(str, words)
        ]

    def _try(self, *words):
        return subprocess.run(self._words(*words), check=False, capture_output=True).returncode

    def run(self, *words):
        done = subprocess.run(self._words(*words), check=False, capture_output=True, text=True)
        assert done.returncode == 0, (words, done.stdout, done.stderr)
        return done.stdout

    def vornctl(self, *words):
        return self.run(board.VORNCTL, *words)

    def join(self, signer):
        """Makes it a device of the fleet, as docs/fleet.md has it."""
        self.vornctl("set", "fleet", "enabled=on", "tenant=acme", f"device={self.name}",
                     "requests=on", f"brokers={SWITCH}:8883", f"signers={signer.public}",
                     f"authorities={board.HOME}/ca.pem", f"certificate={board.HOME}/device.pem",
                     f"key={board.HOME}/device.key", f"labels=site=north floor={self.name[-1]}")

    def end(self):
        for each in (self._daemon, self._holder):
            each.kill()
            each.wait()


class Fleet:
    """A broker and its boards; whoever operates them has a folder."""

    def __init__(self, build, count, operators=pathlib.Path("/tmp/fleet")):
        board.VORNCTL = build / "client/vornctl"
        board.ADDRESS = SWITCH
        board.HOME = pathlib.Path("/tmp/authority")
        board.BROKER = board.BROKER.replace("/run/fleet-test", str(board.HOME))
        board.HOME.mkdir()
        operators.mkdir()
        self.operators = operators
        board.make_users()
        board.make_certificates()
        board.run("ip", "link", "add", "switch", "type", "bridge")
        board.run("ip", "addr", "add", f"{SWITCH}/24", "dev", "switch")
        board.run("ip", "link", "set", "switch", "up")
        self.broker = board.Broker()
        self.signer = board.Signer()
        (operators / "fleet.yaml").write_text(
            f"tenant: acme\nbroker: {SWITCH}\nauthorities: {board.HOME}/ca.pem\n"
            f"certificate: {board.HOME}/device.pem\nkey: {board.HOME}/device.key\n"
            f"signing-key: {self.signer.file}\nby: anna\n", "ascii")
        self.boards = [Board(number, pathlib.Path("/tmp/boards")) for number in range(1, count + 1)]
        for each in self.boards:
            each.join(self.signer)

    def end(self):
        for each in self.boards:
            each.end()
        self.broker.kill()
