# SPDX-License-Identifier: MIT
"""The connection to a broker: MQTT 5, over TLS unless the folder says otherwise.

paho's thread only puts what comes into a queue; whoever has the connection takes it out. A
connection that was lost is made anew by itself, and what was subscribed to is subscribed to again.
"""
import queue
import socket
import ssl
import time
import uuid
from dataclasses import dataclass

import paho.mqtt.client as mqtt
from paho.mqtt.packettypes import PacketTypes
from paho.mqtt.properties import Properties
from paho.mqtt.subscribeoptions import SubscribeOptions

from .problem import Misused, NoBroker
from .text import printable

LARGEST_PACKET = 4 * 1024 * 1024
_KEEP_ALIVE = 60
_WITHIN = 15.0
_LONGEST_PAUSE = 30
# paho-mqtt 2 asks which calls are meant; 1.6 has one kind.
_CALLS = (mqtt.CallbackAPIVersion.VERSION2,) if hasattr(mqtt, "CallbackAPIVersion") else ()


@dataclass(frozen=True)
class Message:
    topic: str
    payload: bytes
    correlation: bytes = b""
    response: str = ""  # where an answer goes


def split_address(text, is_encrypted=True):
    """HOST, HOST:PORT, [ADDRESS]:PORT."""
    host, colon, port = text.rpartition(":")
    if not colon or "]" in port or (":" in host and not host.startswith("[")):
        host, port = text, "8883" if is_encrypted else "1883"
    host = host.removeprefix("[").removesuffix("]")
    if not host or not (port.isascii() and port.isdigit()) or not 0 < int(port) < 65536:
        raise Misused(f"\"{printable(text)}\" is no address of a broker: HOST and HOST:PORT are")
    return host, int(port)


def _tls_of(settings):
    try:
        context = ssl.create_default_context(cafile=settings.get("authorities"))
        if settings.get("certificate"):
            context.load_cert_chain(settings["certificate"], settings.get("key"))
    except OSError as error:
        files = [
            settings[name] for name in ("authorities", "certificate", "key") if settings.get(name)
        ]
        raise Misused(f"{', '.join(files)}: {printable(error.strerror or str(error))}") from None
    return context


def _password(settings):
    try:
        with open(settings["password-file"], encoding="utf-8") as file:
            return file.readline().rstrip("\n")
    except OSError as error:
        raise Misused(f"{settings['password-file']}: {error.strerror}") from None


class Connection:
    """Made when it is opened; whoever takes from it is told when it was lost."""

    def __init__(self, settings):
        is_encrypted = settings.get("tls", "on") != "off"
        if not settings.get("broker"):
            raise Misused("which broker? fleet.yaml, or --broker, says it")
        self._address = split_address(settings["broker"], is_encrypted)
        self.name = "vorn-fleet-" + uuid.uuid4().hex[:12]
        self._client = mqtt.Client(*_CALLS, client_id=self.name, protocol=mqtt.MQTTv5)
        if is_encrypted:
            self._client.tls_set_context(_tls_of(settings))
        if settings.get("user"):
            self._client.username_pw_set(
                settings["user"], _password(settings) if settings.get("password-file") else None)
        self._client.reconnect_delay_set(1, _LONGEST_PAUSE)
        self._client.on_connect = self._on_connect
        self._client.on_disconnect = self._on_disconnect
        self._client.on_subscribe = self._on_subscribe
        self._client.on_message = self._on_message
        self._events = queue.Queue()
        self._answers = queue.Queue()
        self._filters = []
        self._is_open = False
        self.is_connected = False
        self.clock = time.monotonic

    def open(self):
        properties = Properties(PacketTypes.CONNECT)
        properties.MaximumPacketSize = LARGEST_PACKET
        where = f"{self._address[0]}:{self._address[1]}"
        try:
            self._client.connect(*self._address, keepalive=_KEEP_ALIVE, clean_start=True,
                                 properties=properties)
        except ssl.SSLError as error:
            raise NoBroker(f"{where}: {printable(error.reason or str(error))}") from None
        except ssl.CertificateError as error:
            raise NoBroker(f"{where}: {printable(str(error))}") from None
        except (OSError, socket.timeout, ValueError) as error:
            raise NoBroker(
                f"{where}: {printable(getattr(error, 'strerror', None) or str(error))}") from None
        self._client.loop_start()
        kind, why = self._answer(where)
        if kind != "connected":
            self.close()
            raise NoBroker(f"{where}: {printable(why)}")
        self._is_open = True
        self.is_connected = True

    def _answer(self, where):
        try:
            return self._answers.get(timeout=_WITHIN)
        except queue.Empty:
            self.close()
            raise NoBroker(f"{where}: no answer within {_WITHIN:.0f} seconds") from None

    def close(self):
        self._is_open = False
        self._client.disconnect()
        self._client.loop_stop()

    def subscribe(self, filters):
        """Returns when the broker has agreed. What is retained is told from then on: with QoS 0,
        since of more than a thousand messages a broker drops what it would have to keep until we
        acknowledge it. What a lost connection takes along is told again with the next one."""
        options = SubscribeOptions(qos=0)
        self._filters += [(each, options) for each in filters]
        self._client.subscribe([(each, options) for each in filters])
        kind, codes = self._answer("the broker")
        if kind == "lost":
            raise NoBroker(f"the broker has ended the connection: {printable(codes)}")
        refused = [each for each, code in zip(filters, codes) if code.value >= 0x80]
        if refused:
            raise NoBroker(f"the broker does not let this user read {printable(refused[0])}")

    def unsubscribe(self, filters):
        gone = set(filters)
        self._filters = [each for each in self._filters if each[0] not in gone]
        self._client.unsubscribe(list(filters))

    def publish(self, topic, payload, is_retained=False, response=None, expiry=None):
        """Does not wait. `response` is a topic and the data that come back with what is told
        there."""
        properties = Properties(PacketTypes.PUBLISH)
        if response:
            properties.ResponseTopic, properties.CorrelationData = response
        if expiry:
            properties.MessageExpiryInterval = expiry
        self._client.publish(topic, payload, qos=1, retain=is_retained, properties=properties)

    def take(self, seconds):
        """The next message, or None when none has come in that time."""
        end = time.monotonic() + seconds
        while True:
            try:
                event = self._events.get(timeout=max(0.0, end - time.monotonic()))
            except queue.Empty:
                return None
            if isinstance(event, Message):
                return event
            self.is_connected = event
            return None

    def _on_connect(self, _client, _userdata, _flags, code, _properties):
        if code.value >= 0x80:
            self._answers.put(("refused", str(code)))
        elif not self._is_open:
            self._answers.put(("connected", ""))
        else:
            if self._filters:
                self._client.subscribe(list(self._filters))
            self._events.put(True)

    def _on_disconnect(self, _client, _userdata, *told):
        """The code, and perhaps properties; paho-mqtt 2 has flags before it."""
        if self.is_connected:
            self._events.put(False)
        self._answers.put(("lost", str(told[1 if _CALLS else 0])))

    def _on_subscribe(self, _client, _userdata, _mid, codes, _properties):
        self._answers.put(("subscribed", codes))

    def _on_message(self, _client, _userdata, message):
        properties = message.properties
        self._events.put(
            Message(message.topic, message.payload, getattr(properties, "CorrelationData", b""),
                    getattr(properties, "ResponseTopic", "")))
