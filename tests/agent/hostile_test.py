#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What a hostile broker can do: deny its service, and nothing else. hostile_test.py BUILD-FOLDER, in
the sandbox. Each way to misbehave has an agent of its own, all at the same time."""
import pathlib
import re
import signal
import socket
import subprocess
import time
import unittest

import board
import hostile_broker
from hostile_broker import Hostile, connack, send, text

SECONDS = 60
MOST_KIB = 24 * 1024  # of memory of its own, ever; docs/fleet.md has it
IS_WATCHED = b"__asan_init" in pathlib.Path("/usr/sbin/vorn-agent").read_bytes()
LONGEST_ANSWER = 20   # seconds, of a daemon beside all of them on a busy machine
MOST_ATTEMPTS = 14    # windows of 5, 10, 20, 40 and 60 seconds: seven on average are many
DAEMON = None
ELSEWHERE = None      # where redirections lead


def redirected():
    return text(f"{board.ADDRESS}:{ELSEWHERE.getsockname()[1]}".encode())


def ways():
    """Name: the hostile broker."""
    def hostile(way, **more):
        return Hostile(way, board.HOME, **more)

    def say_nothing(peer):
        peer.serve(0)
        time.sleep(3600)

    def leave(_peer):
        pass

    odd_connacks = [connack(*each) for each in (
        (0, b"\x13\0\0"), (0, b"\x13\0\1"), (0, b"\x21\0\0"), (0, b"\x27\0\0\0\1"),
        (0, b"\x27\0\0\0\x0a"), (0, b"\x24\0"), (0, b"\x12" + text(b"x" * 60000)),
        (0, b"\x7f\1"), (0, b"\x13"), (0x86,), (0xff,), (0, b"", 255))]
    found = {f"odd connack {i}": hostile(send(each), greets=False)
             for i, each in enumerate(odd_connacks)}
    found |= {f"malformed {i}": hostile(send(each))
              for i, each in enumerate(hostile_broker.MALFORMED)}
    found |= {f"babble {i}": hostile(hostile_broker.babble(i), greets=i < 2) for i in range(4)}
    return found | {
        "flood": hostile(hostile_broker.flood),
        "never-release": hostile(hostile_broker.never_release),
        "256-mib": hostile(hostile_broker.declare(256 * 1024 * 1024 - 1)),
        "15-mib": hostile(hostile_broker.declare(15 * 1024 * 1024)),
        "aliases": hostile(hostile_broker.use_aliases),
        "no-tls": hostile(leave, shakes_hands=False),
        "impostor of another authority": hostile(leave, certificate="stranger"),
        "impostor with a device's certificate": hostile(leave, certificate="device"),
        "silent": hostile(say_nothing, greets=False),
        "elsewhere": hostile(send(connack(0x9d, b"\x1c" + redirected())), greets=False),
        "elsewhere-later": hostile(send(b"\xe0" + bytes([2 + len(redirected()) + 1]) + b"\x9d" +
                                        bytes([len(redirected()) + 1]) + b"\x1c" + redirected())),
        "leaves-at-once": hostile(leave, greets=False),
        "leaves": hostile(leave),
        "never-acknowledges": hostile(hostile_broker.ask_and_never_acknowledge),
    }


class Device:
    """An agent of this device, of which the daemon knows nothing; it has the same user's rights."""

    def __init__(self, name, broker, signer):
        self.name, self.broker = name, broker
        self.note = board.HOME / f"{name}.note"
        self.log = board.HOME / f"{name}.log"
        self.words = [
            "/usr/sbin/vorn-agent", "--tenant", "acme", "--device", "ap1", "--broker",
            f"{board.ADDRESS}:{broker.port}", "--signer", signer.public, "--note", self.note,
            "--status", board.HOME / f"{name}.status", "--requests", "--ca", board.HOME / "ca.pem",
            "--certificate", board.HOME / "device.pem", "--key", board.HOME / "device.key"]
        self.most_kib = self.most_threads = 0
        self.ends = []
        self.start_at = 0
        self.start()

    def start(self):
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen(self.words, stderr=log)

    def look(self):
        """And, as the supervisor does, start what has ended, with a pause that doubles."""
        if self.process.poll() is not None:
            if not self.start_at:
                self.ends.append(self.process.returncode)
                self.start_at = time.monotonic() + 2 ** (len(self.ends) - 1)
            elif time.monotonic() >= self.start_at:
                self.start_at = 0
                self.start()
            return
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text("ascii")
        for attribute, field in (("most_kib", "RssAnon"), ("most_threads", "Threads")):
            found = re.search(rf"^{field}:\s+(\d+)", status, re.M)
            if found:  # of one that is ending there is none
                setattr(self, attribute, max(getattr(self, attribute), int(found[1])))


class WhoeverHasAHostileBroker(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        before = board.vornctl("export", "-")
        signer = board.Signer()
        cls.devices = [Device(name, broker, signer) for name, broker in ways().items()]
        cls.slowest = 0
        cls.began = time.monotonic()
        end = cls.began + SECONDS
        while time.monotonic() < end:
            for each in cls.devices:
                each.look()
            start = time.monotonic()
            board.vornctl("show", "system", "hostname")
            cls.slowest = max(cls.slowest, time.monotonic() - start)
            time.sleep(0.2)
        cls.is_same = board.vornctl("export", "-") == before

    @classmethod
    def tearDownClass(cls):
        for each in cls.devices:
            each.process.kill()

    def test_has_an_agent_that_lives(self):
        """But where the library, which is built with its assertions, ends it for what it is sent."""
        for each in self.devices:
            may_abort = each.name.startswith(("malformed", "babble", "odd"))
            for end in each.ends:
                self.assertEqual(end, -signal.SIGABRT, (each.name, each.log.read_text("utf-8")))
                self.assertTrue(may_abort, each.name)

    @unittest.skipIf(IS_WATCHED, "what watches the agent's memory has more of it than the agent")
    def test_has_its_memory_for_itself(self):
        for each in self.devices:
            if each.ends or each.most_kib > 2048:
                print(f"{each.name}: {each.most_kib} KiB, {each.most_threads} threads, "
                      f"{len(each.broker.attempts)} connections, {len(each.ends)} ends")
            self.assertLess(each.most_kib, MOST_KIB, each.name)
            self.assertLessEqual(each.most_threads, 3, each.name)

    def test_connects_no_faster(self):
        for each in self.devices:
            self.assertGreaterEqual(len(each.broker.attempts), 1, each.name)
            self.assertLessEqual(len(each.broker.attempts), MOST_ATTEMPTS, each.name)

    def test_answers_locally_and_stays_as_it_is(self):
        self.assertLess(self.slowest, LONGEST_ANSWER)
        self.assertTrue(self.is_same)
        self.assertFalse([each.name for each in self.devices if each.note.exists()])

    def test_goes_nowhere_else(self):
        ELSEWHERE.setblocking(False)
        with self.assertRaises(BlockingIOError):
            ELSEWHERE.accept()

    def test_says_nothing_to_who_is_not_its_broker(self):
        impostors = [each.broker for each in self.devices if each.name.startswith("impostor")]
        self.assertEqual([len(each.peers) for each in impostors], [0, 0])

    def test_talks_no_more_than_it_would(self):
        [flood] = [each for each in self.devices if each.name == "flood"]
        told = [each.published(b"reported") for each in flood.broker.peers]
        seconds = time.monotonic() - self.began  # more than planned on a busy machine
        self.assertLessEqual(max(told), seconds + 2)


def prepare(build):
    global DAEMON, ELSEWHERE
    board.VORNCTL = build / "client/vornctl"
    board.HOME.mkdir(mode=0o755)
    board.make_certificates()
    board.make_stranger("stranger")
    DAEMON = board.start_daemon()
    ELSEWHERE = socket.create_server(("", 0))


if __name__ == "__main__":
    board.test(prepare, lambda: (DAEMON,))
