# SPDX-License-Identifier: MIT
"""Stands between devices and their broker: notes how they connect, and can cut them off. The way to the
broker may have TLS, which the devices that are simulated do without."""
import asyncio
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


class Connect:
    """What the first packet of a connection says."""

    def __init__(self, packet):
        _, at = number_at(packet, 1)
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


async def packet_from(reader):
    head = await reader.readexactly(2)
    while head[-1] & 128:
        head += await reader.readexactly(1)
    return head + await reader.readexactly(number_at(head, 1)[0])


class Door:
    def __init__(self, port, broker):
        self.broker = broker
        self.connects = []
        self.open = ()
        self.loop = asyncio.new_event_loop()
        threading.Thread(target=self.loop.run_forever, daemon=True).start()
        server = asyncio.start_server(self.admit, "127.0.0.1", port)
        asyncio.run_coroutine_threadsafe(server, self.loop).result()

    async def admit(self, device, to_device):
        try:
            first = await packet_from(device)
            connect = Connect(first)
            self.connects.append(connect)
            broker, to_broker = await asyncio.open_connection(
                "127.0.0.1", self.broker.port, ssl=self.broker.tls(connect.client))
        except (OSError, EOFError):
            to_device.close()
            return
        to_broker.write(first)
        self.open = (to_device, to_broker)
        await asyncio.gather(self.copy(device, to_broker), self.copy(broker, to_device))

    @staticmethod
    async def copy(source, target):
        try:
            while piece := await source.read(65536):
                target.write(piece)
                await target.drain()
        except OSError:
            pass
        target.close()

    def cut(self):
        """As a network that is gone: nobody says goodbye."""
        for each in self.open:
            self.loop.call_soon_threadsafe(each.transport.abort)
