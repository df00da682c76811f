# SPDX-License-Identifier: MIT
"""A running daemon inside tools/sandbox, seen from outside: what it serves, holds and logs, and when
its tick came. For the long tests, which load it and measure.

A file stands for the watchdog device: each tick fails to report itself alive and says so on
standard error, which is how its time is known.
"""
import os
import pathlib
import signal
import socket
import struct
import subprocess
import threading
import time

LSQL, STREAM, INFORM, NOTIFY = "vorn_sock_lsql", "vorn_sock_lsql_stream", "vorn_sock_inform", 8001
TICK_S = 2
KICK = "vorn: vorn_watchdog_ack ioctl[WDIOC_KEEPALIVE]"
RETAINED = pathlib.Path(__file__).resolve().parent.parent / "system/retained.supp"


def connect(door, timeout=None):
    """Connects to an abstract name, or to a port of the loopback address."""
    if isinstance(door, int):
        client = socket.create_connection(("127.0.0.1", door))
    else:
        client = socket.socket(socket.AF_UNIX)
        client.connect(("\0" + door).ljust(108, "\0"))
    client.settimeout(timeout)
    return client


def framed(door, body):
    if door == STREAM:
        return struct.pack("!II", 1, len(body)) + body
    version = b"" if door == LSQL else struct.pack("=I", 0)
    return version + struct.pack("=I", len(body)) + body


def receive_all(client):
    pieces = []
    while piece := client.recv(1 << 18):
        pieces.append(piece)
    return b"".join(pieces)


def receive_frame(client):
    head = client.recv(8, socket.MSG_WAITALL)
    if len(head) < 8:
        return b""
    return client.recv(struct.unpack("!II", head)[1], socket.MSG_WAITALL)


def exchange(door, body, timeout=600):
    with connect(door, timeout) as client:
        client.sendall(framed(door, body))
        return receive_frame(client) if door == STREAM else receive_all(client)


def comes_true(condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class Daemon:
    """Starts it and waits until it serves."""

    def __init__(self):
        pathlib.Path("/dev/watchdog").touch()
        lsan = f"print_suppressions=0:suppressions={RETAINED}"
        self.process = subprocess.Popen(
            ["/usr/sbin/vorn", "-f"], start_new_session=True, stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE, text=True, errors="replace",
            env={**os.environ, "LSAN_OPTIONS": lsan})
        self.kicks = []
        self.errors = []
        self._reader = threading.Thread(target=self._read_errors, daemon=True)
        self._reader.start()
        if not comes_true(pathlib.Path("/var/run/vorn.pid").exists, 60):
            raise RuntimeError("the daemon does not start: " + "".join(self.errors))

    def _read_errors(self):
        for line in self.process.stderr:
            if line.startswith(KICK):
                self.kicks.append(time.monotonic())
            else:
                self.errors.append(line)

    @property
    def pid(self):
        return self.process.pid

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def memory_kib(self, what="VmRSS"):
        """Resident; "VmHWM" is the most since forget_peak()."""
        for line in pathlib.Path(f"/proc/{self.pid}/status").read_text().splitlines():
            if line.startswith(what + ":"):
                return int(line.split()[1])
        raise RuntimeError("the daemon is gone: " + "".join(self.errors[-20:]))

    def forget_peak(self):
        pathlib.Path(f"/proc/{self.pid}/clear_refs").write_text("5")

    def await_tick(self, seconds=60):
        """The next one that comes: whatever was under way is over then."""
        seen = len(self.kicks)
        return comes_true(lambda: len(self.kicks) > seen, seconds)

    def worst_lateness(self, first_kick):
        """How much longer than two seconds it took from one tick to the next, at worst."""
        kicks = self.kicks[first_kick:]
        gaps = [later - earlier for earlier, later in zip(kicks, kicks[1:])]
        return max(gaps, default=TICK_S) - TICK_S

    def is_sanitized(self):
        return b"__asan_init" in pathlib.Path("/usr/sbin/vorn").read_bytes()

    def shut_down(self):
        """Its exit status; the rest of what it said is in errors then."""
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(60)
        self._reader.join(10)
        return status


class MachineWatch(threading.Thread):
    """How late this machine wakes whoever sleeps on it: what the daemon is not to blame for."""

    def __init__(self):
        super().__init__(daemon=True)
        self.worst = 0.0
        self.start()

    def run(self):
        while True:
            begin = time.monotonic()
            time.sleep(0.05)
            self.worst = max(self.worst, time.monotonic() - begin - 0.05)

    def take_worst(self):
        worst, self.worst = self.worst, 0.0
        return worst
