#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the agent says, byte by byte, to a broker that writes it down: wire_test.py BUILD-FOLDER, in
the sandbox."""
import ctypes
import json
import os
import pathlib
import socket
import struct
import threading
import time
import unittest

import board
import hostile_broker as mqtt
import hostile_test

PROPERTY = {"session expiry": b"\x11", "receive maximum": b"\x21", "packet size": b"\x27",
            "will delay": b"\x18", "correlation": b"\x09", "message expiry": b"\x02"}

PIDFD_GETFD = 438
TCP_THIN_LINEAR_TIMEOUTS = 16


def options_of_connections(process, option):
    """What another process has told TCP of each connection to a broker."""
    libc = ctypes.CDLL(None, use_errno=True)
    handle = os.pidfd_open(process.pid)
    found = []
    for each in pathlib.Path(f"/proc/{process.pid}/fd").iterdir():
        if os.readlink(each).startswith("socket:"):
            number = libc.syscall(PIDFD_GETFD, handle, int(each.name), 0)
            assert number >= 0, os.strerror(ctypes.get_errno())
            with socket.socket(fileno=number) as copy:
                if copy.family == socket.AF_INET and copy.getpeername()[0] == board.ADDRESS:
                    found.append(copy.getsockopt(socket.IPPROTO_TCP, option))
    os.close(handle)
    return found


def said_all(peer):
    leaves = (b"online", b"reported", b"response/me", b"state/daemon")
    return (all(peer.published(each) for each in leaves) and
            any(kind == mqtt.PINGREQ for kind, _, _ in peer.heard))


class WhatTheAgentSays(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        signer = board.Signer()
        # As late as may be: the agent may not be there for minutes on a busy machine.
        question = {"version": 1, "tenant": "acme", "device": "ap1",
                    "not-after": int(time.time()) + 290, "watch": ["daemon.uptime"], "every": 600,
                    "until": int(time.time()) + 290}
        asked = mqtt.publish(mqtt.TOPIC + b"request", signer.sign(question, "request"), 1, 7,
                             b"\x08" + mqtt.text(mqtt.TOPIC + b"response/me") +
                             b"\x09" + mqtt.text(b"77"))
        cls.served = threading.Event()

        def way(peer):
            peer.stream.sendall(mqtt.connack(0, b"\x13" + struct.pack(">H", 2)))
            peer.serve(1)
            peer.stream.sendall(asked)
            end = time.monotonic() + 100
            while not said_all(peer) and time.monotonic() < end:
                peer.serve(1)
            peer.serve(2)  # and what it may say beside
            cls.served.set()
            peer.serve()

        broker = mqtt.Hostile(way, board.HOME, greets=False)
        device = hostile_test.Device("wire", broker, signer)
        assert cls.served.wait(150), "no connection"
        cls.is_stubborn = options_of_connections(device.process, TCP_THIN_LINEAR_TIMEOUTS)
        device.process.terminate()
        cls.status = device.process.wait(60)
        [peer] = broker.peers
        board.await_that(lambda: any(kind == mqtt.DISCONNECT for kind, _, _ in peer.heard),
                         "its last word")
        cls.heard = peer.heard

    def test_is_tried_again_without_longer_and_longer_waits(self):
        self.assertEqual(self.is_stubborn, [1])

    def of(self, kind):
        return [(flags, body) for each, flags, body in self.heard if each == kind]

    def published(self, leaf):
        topic = mqtt.text(mqtt.TOPIC + leaf)
        return [(flags, body[len(topic) + 2:]) for flags, body in self.of(mqtt.PUBLISH)
                if body.startswith(topic)]

    def test_is_who_it_is_and_leaves_a_will(self):
        [(_, body)] = self.of(mqtt.CONNECT)
        self.assertEqual(body[:7], b"\0\4MQTT\5")
        self.assertEqual(body[7], 0x04 | 0x08 | 0x20)  # a retained will at QoS 1, no clean start
        self.assertEqual(struct.unpack(">H", body[8:10])[0], 60)
        size = body[10]
        properties, rest = body[11:11 + size], body[11 + size:]
        self.assertIn(PROPERTY["session expiry"] + struct.pack(">I", 120), properties)
        self.assertIn(PROPERTY["packet size"] + struct.pack(">I", 262144 + 4096), properties)
        self.assertTrue(rest.startswith(mqtt.text(b"acme/ap1")))
        rest = rest[len(mqtt.text(b"acme/ap1")):]
        self.assertEqual(rest, b"\5" + PROPERTY["will delay"] + struct.pack(">I", 60) +
                         mqtt.text(mqtt.TOPIC + b"online") +
                         mqtt.text(b'{"version":1,"online":false}'))

    def test_asks_for_its_own_alone(self):
        self.assertEqual([body[3:] for _, body in self.of(mqtt.SUBSCRIBE)],
                         [mqtt.text(mqtt.TOPIC + each) + b"\1" for each in (b"desired", b"request")])

    def test_retains_what_is_to_be_retained_and_has_everything_acknowledged(self):
        leaves = {b"online": True, b"reported": True, b"response/me": False, b"state/daemon": False}
        for leaf, is_retained in leaves.items():
            self.assertTrue(self.published(leaf), leaf)
            for flags, _ in self.published(leaf):
                self.assertEqual(flags, 2 | is_retained, leaf)
        self.assertEqual(sum(len(self.published(each)) for each in [*leaves, b"event"]),
                         len(self.of(mqtt.PUBLISH)))

    def test_answers_with_what_belongs_to_the_question(self):
        [(_, body)] = self.published(b"response/me")
        properties = body[1:1 + body[0]]
        self.assertIn(PROPERTY["correlation"] + mqtt.text(b"77"), properties)
        self.assertIn(PROPERTY["message expiry"] + struct.pack(">I", 300), properties)
        self.assertEqual(json.loads(body[1 + body[0]:])["refused"], "")

    def test_pings_as_often_as_the_broker_wants(self):
        self.assertGreaterEqual(len(self.of(mqtt.PINGREQ)), 1)

    def test_leaves_so_that_its_will_is_told(self):
        self.assertEqual(self.status, 0)
        self.assertEqual(self.of(mqtt.DISCONNECT)[0][1][:1], b"\x04")


if __name__ == "__main__":
    board.test(hostile_test.prepare, lambda: (hostile_test.DAEMON,))
