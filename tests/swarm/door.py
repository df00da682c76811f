# SPDX-License-Identifier: MIT
"""Stands between devices and their broker: notes how they connect, and can give them a user's name and
password, which a broker may insist on, and a device with a certificate does not have."""
import socket
import struct
import threading


def number_at(data, at):
    """A length of MQTT's, and what follows it."""
    value = shift = 0
    while True:
        byte = data[at]
        value |= (byte & 127) << shift
        at, shift = at + 1, shift + 7
        if byte < 128:
            return value, at


def length_of(value):
    out = bytearray()
    while True:
        value, rest = value >> 7, value & 127
        out.append(rest | (128 if value else 0))
        if not value:
            return bytes(out)


def text_at(data, at):
    (size,) = struct.unpack_from(">H", data, at)
    return data[at + 2:at + 2 + size], at + 2 + size


def properties_at(data, at):
    """Of those that a device sends with CONNECT: numbers, by their identifiers."""
    size, at = number_at(data, at)
    end, found = at + size, {}
    while at < end:
        name, wide = data[at], {0x11: 4, 0x18: 4, 0x27: 4, 0x21: 2, 0x22: 2}[data[at]]
        found[name] = int.from_bytes(data[at + 1:at + 1 + wide], "big")
        at += 1 + wide
    return found, end


def shut(connection):
    try:
        connection.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass  # it is already


class Connect:
    """What the first packet of a connection says."""

    def __init__(self, packet):
        _, at = number_at(packet, 1)
        self.head = at
        self.packet = packet
        protocol, at = text_at(packet, at)
        self.version, self.flags = packet[at], packet[at + 1]
        self.protocol = protocol
        (self.keep_alive,) = struct.unpack_from(">H", packet, at + 2)
        self.properties, at = properties_at(packet, at + 4)
        client, at = text_at(packet, at)
        self.client = client.decode()
        self.clean_start = bool(self.flags & 2)
        self.will_qos, self.will_retained = self.flags >> 3 & 3, bool(self.flags & 32)
        self.will_properties, at = properties_at(packet, at)
        self.will_topic, at = text_at(packet, at)
        self.will, at = text_at(packet, at)
        assert at == len(packet)

    def with_user(self, name, password):
        flags_at = self.head + 2 + len(self.protocol) + 1
        body = bytearray(self.packet[self.head:])
        body[flags_at - self.head] |= 0xC0
        for text in (name.encode(), password.encode()):
            body += struct.pack(">H", len(text)) + text
        return self.packet[:1] + length_of(len(body)) + bytes(body)


class Door:
    def __init__(self, port, broker_port, user=None):
        self.broker_port, self.user = broker_port, user
        self.connects = []
        self.open = []
        self.server = socket.create_server(("127.0.0.1", port))
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            client, _ = self.server.accept()
            threading.Thread(target=self.admit, args=(client,), daemon=True).start()

    def admit(self, client):
        try:
            data = b""
            while len(data) < 2 or len(data) < sum(number_at(data, 1)):
                piece = client.recv(65536)
                if not piece:
                    return
                data += piece
            end = sum(number_at(data, 1))
            connect = Connect(data[:end])
            self.connects.append(connect)
            broker = socket.create_connection(("127.0.0.1", self.broker_port))
        except OSError:
            client.close()
            return
        first = connect.with_user(*self.user(connect.client)) if self.user else data[:end]
        broker.sendall(first + data[end:])
        self.open = [client, broker]
        for source, target in ((client, broker), (broker, client)):
            threading.Thread(target=self.copy, args=(source, target), daemon=True).start()

    @staticmethod
    def copy(source, target):
        try:
            while piece := source.recv(65536):
                target.sendall(piece)
        except OSError:
            pass
        shut(source)
        shut(target)

    def cut(self):
        """As a network that is gone: nobody says goodbye."""
        for each in self.open:
            shut(each)
