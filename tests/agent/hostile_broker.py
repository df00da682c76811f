# SPDX-License-Identifier: MIT
"""Brokers that do what no broker may: each is one way to misbehave, on a port of its own."""
import random
import socket
import ssl
import struct
import threading
import time

TOPIC = b"v1/acme/ap1/"
CONNECT, CONNACK, PUBLISH, PUBACK, SUBSCRIBE, SUBACK, PINGREQ, PINGRESP, DISCONNECT = (
    1, 2, 3, 4, 8, 9, 12, 13, 14)


def number(value):
    """As MQTT writes lengths."""
    raw = b""
    while True:
        value, digit = divmod(value, 128)
        raw += bytes([digit | (128 if value else 0)])
        if not value:
            return raw


def packet(kind, body, flags=0):
    return bytes([kind << 4 | flags]) + number(len(body)) + body


def text(raw):
    return struct.pack(">H", len(raw)) + raw


def publish(topic, payload, qos=0, identifier=1, properties=b"", flags=0):
    body = text(topic) + (struct.pack(">H", identifier) if qos else b"")
    return packet(PUBLISH, body + number(len(properties)) + properties + payload, flags | qos << 1)


def connack(reason=0, properties=b"", flags=0):
    return packet(CONNACK, bytes([flags, reason]) + number(len(properties)) + properties)


class Peer:
    """The device's end of one connection."""

    def __init__(self, stream):
        self.stream = stream
        self.heard = []  # kinds and bodies

    def take(self, count):
        raw = b""
        while len(raw) < count:
            more = self.stream.recv(count - len(raw))
            if not more:
                raise ConnectionError
            raw += more
        return raw

    def read(self):
        first = self.take(1)[0]
        length = shift = 0
        while True:
            digit = self.take(1)[0]
            length |= (digit & 127) << shift
            shift += 7
            if digit < 128:
                break
        self.heard.append((first >> 4, first & 15, self.take(length)))
        return self.heard[-1]

    def serve(self, seconds=3600, acknowledges=True):
        """As a broker does that has nothing to say."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.stream.settimeout(max(0.01, end - time.monotonic()))
            try:
                kind, flags, body = self.read()
            except TimeoutError:
                return
            if kind == SUBSCRIBE:
                self.stream.sendall(packet(SUBACK, body[:2] + b"\0\1"))
            elif kind == PINGREQ:
                self.stream.sendall(packet(PINGRESP, b""))
            elif kind == PUBLISH and flags & 6 and acknowledges:
                size = struct.unpack(">H", body[:2])[0]
                self.stream.sendall(packet(PUBACK, body[2 + size:4 + size]))

    def published(self, leaf):
        topic = text(TOPIC + leaf)
        return sum(kind == PUBLISH and body.startswith(topic) for kind, _, body in self.heard)


class Hostile:
    """Listens; whoever connects meets the way, a function that is given the peer after CONNECT."""

    def __init__(self, way, home, greets=True, shakes_hands=True, certificate="broker"):
        self.way, self.greets, self.shakes_hands = way, greets, shakes_hands
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(home / f"{certificate}.pem", home / f"{certificate}.key")
        self.context.load_verify_locations(home / "ca.pem")
        self.context.verify_mode = ssl.CERT_REQUIRED
        self.door = socket.create_server(("", 0), backlog=16)
        self.port = self.door.getsockname()[1]
        self.attempts = []
        self.peers = []
        self.streams = []
        threading.Thread(target=self.listen, daemon=True).start()

    def listen(self):
        while True:
            stream, _ = self.door.accept()
            self.attempts.append(time.monotonic())
            self.streams.append(stream)  # stays open unless somebody closes it
            threading.Thread(target=self.meet, args=(stream,), daemon=True).start()

    def meet(self, stream):
        if not self.shakes_hands:
            return
        try:
            peer = Peer(self.context.wrap_socket(stream, server_side=True))
            self.peers.append(peer)
            peer.read()
            if self.greets:
                peer.stream.sendall(connack())
                peer.serve(0.3)
            self.way(peer)
            peer.stream.close()
        except OSError:
            pass


def send(raw):
    """Once, and nothing else."""
    def way(peer):
        peer.stream.sendall(raw)
        peer.serve()
    return way


MALFORMED = [
    packet(0, b""), packet(15, b"\0"), b"\x30\xff\xff\xff\xff\x7f", packet(PUBLISH, b"\xff\xff"),
    publish(TOPIC + b"desired", b"x", 3), packet(SUBACK, b""), packet(PUBACK, b"\0\x63"),
    packet(PUBACK, b"\0\1\x80\x7f"), connack(), packet(PUBLISH, text(b"a/#") + b"\0x"),
    packet(PUBLISH, text(b"\xff\xfe\0") + b"\0x"), packet(PUBLISH, text(TOPIC) + b"\x7f\1"),
    packet(PINGRESP, b"1234"), packet(1, b"\0\4MQTT\5\2\0\x3c\0\0\0"), packet(5, b""),
    packet(6, b"\0\1", 2), packet(7, b"\0\1"), packet(11, b"\0\1"), packet(2, b""),
    publish(TOPIC + b"request", b"x", 0, 1, b"\x08\xff\xff"),
    publish(TOPIC + b"request", b"x", 0, 1, b"\x08" + text(b"v1/acme/ap1/response") * 40),
]


def flood(peer):
    """Ten thousand, for this device, for others and for nobody."""
    topics = [b"desired", b"request", b"reported", b"desired/x", b"", b"../ap2/desired"]
    for i in range(10000):
        payload = b"vorn-fleet 1 desired 0123456789abcdef " + str(i).encode() + b"x" * (i % 3000)
        peer.stream.sendall(publish(TOPIC + topics[i % len(topics)], payload, i % 2, i % 60000 + 1))
    peer.serve()


def never_release(peer):
    """QoS 2, of which the second half never comes."""
    for i in range(2000):
        peer.stream.sendall(publish(TOPIC + b"desired", b"x" * 50000, 2, i + 1))
    peer.serve()


def declare(size):
    """A packet of that size, as much of it as is taken."""
    def way(peer):
        head = text(TOPIC + b"desired") + b"\0\1\0"
        peer.stream.sendall(bytes([PUBLISH << 4 | 3]) + number(size) + head)
        for _ in range(size // 65536):
            peer.stream.sendall(bytes(65536))
        peer.serve()
    return way


def use_aliases(peer):
    for alias in (0, 1, 65535):
        raw = b"\x23" + struct.pack(">H", alias)
        peer.stream.sendall(publish(TOPIC + b"desired", b"x", 0, 1, raw))
        peer.stream.sendall(publish(b"", b"x", 0, 1, raw))
    peer.stream.sendall(publish(b"", b"x"))
    peer.serve()


def ask_and_never_acknowledge(peer):
    for i in range(500):
        peer.stream.sendall(publish(TOPIC + b"request", b"x", 0, 1,
                                    b"\x08" + text(TOPIC + b"response/" + str(i).encode())))
    peer.serve(acknowledges=False)


def babble(seed):
    chance = random.Random(seed)

    def way(peer):
        peer.stream.sendall(chance.randbytes(chance.randrange(1, 4000)))
        peer.serve(2)
    return way
