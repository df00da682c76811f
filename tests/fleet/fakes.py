# SPDX-License-Identifier: MIT
"""A broker, devices and a clock that are not there: what takes an hour takes a moment."""
import collections
import heapq
import itertools
import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "fleet"))

from cryptography.hazmat.primitives.asymmetric.ed25519 import Ed25519PrivateKey

from vorn_fleet.broker import Message
from vorn_fleet.documents import digest_of
from vorn_fleet.session import Session
from vorn_fleet.signature import Keys, Signer, open_signed
from vorn_fleet.topics import Topics

SIGNER = Signer(Ed25519PrivateKey.from_private_bytes(b"\1" * 32))
OTHER = Signer(Ed25519PrivateKey.from_private_bytes(b"\2" * 32))
KEYS = Keys([SIGNER.public])
TOPICS = Topics("acme")


class Killed(BaseException):
    """As kill -9: nobody catches it."""


def matches(pattern, topic):
    wanted, words = pattern.split("/"), topic.split("/")
    return len(wanted) == len(words) and all(each in ("+", word)
                                             for each, word in zip(wanted, words))


class Broker:
    """Retains, tells who has subscribed, and moves the clock."""

    def __init__(self):
        self.now = 1000.0
        self.retained = {}
        self.published = []  # time, topic, payload
        self.clients = []
        self.devices = {}
        self._due = []
        self._order = itertools.count()
        self.on_publish = lambda topic, payload: None
        self.refuses = lambda topic: False

    def publish(self, topic, payload, is_retained):
        if self.refuses(topic):
            return
        self.published.append((self.now, topic, payload))
        if is_retained and payload:
            self.retained[topic] = payload
        elif is_retained:
            self.retained.pop(topic, None)
        for client in self.clients:
            client.tell(topic, payload)
        device, leaf = topic.split("/")[-2:]
        if leaf == "desired" and device in self.devices:
            self.devices[device].hear(payload)
        self.on_publish(topic, payload)

    def at(self, when, action):
        heapq.heappush(self._due, (when, next(self._order), action))

    def sleep(self, seconds):
        """Nothing happens meanwhile, and nobody looks."""
        self.now += seconds
        self._due = [(when + seconds, *rest) for when, *rest in self._due]

    def settle(self):
        """All that is due happens."""
        while self._due:
            self.pass_time(1000)

    def pass_time(self, seconds):
        """Up to the first thing that happens, or that long."""
        end = self.now + seconds
        if self._due and self._due[0][0] <= end:
            self.now, _, action = heapq.heappop(self._due)
            action()
        else:
            self.now = end


class Connection:
    """As the real one has it."""

    def __init__(self, broker, name="operator"):
        self.name = name
        self.is_connected = True
        self.clock = lambda: broker.now
        self._broker = broker
        self._filters = []
        self._events = collections.deque()
        self.kill_at = None  # so many publications from now on
        self._held = []
        broker.clients.append(self)

    def open(self):
        pass

    def close(self):
        self._broker.clients.remove(self)

    def subscribe(self, filters):
        self._filters += filters
        for topic, payload in sorted(self._broker.retained.items()):
            if any(matches(each, topic) for each in filters):
                self.tell(topic, payload)

    def unsubscribe(self, filters):
        self._filters = [each for each in self._filters if each not in filters]

    def publish(self, topic, payload, is_retained=False, response=None, expiry=None):
        del response, expiry
        if self.kill_at is not None:
            self.kill_at -= 1
            if self.kill_at < 0:
                raise Killed
        if self.is_connected:
            self._broker.publish(topic, payload, is_retained)
        else:
            self._held.append((topic, payload, is_retained))

    def go(self, is_connected):
        """What was published meanwhile is, when it comes back."""
        self.is_connected = is_connected
        while is_connected and self._held:
            self._broker.publish(*self._held.pop(0))

    def tell(self, topic, payload):
        if any(matches(each, topic) for each in self._filters):
            self._events.append(Message(topic, payload))

    def take(self, seconds):
        if not self._events:
            self._broker.pass_time(seconds)
        return self._events.popleft() if self._events else None


def session_of(broker, keys=KEYS, name="operator"):
    session = Session(Connection(broker, name), TOPICS, keys)
    session.learn()
    return session


class Device:
    """Does with a document what `ways` says, a list of pairs: after so many seconds, to be so."""

    def __init__(self, broker, name, ways=((2, "applied"),), generation=0, is_online=True):
        self.name = name
        self.ways = ways
        self.generation = generation
        self.digest = ""
        self.heard = []
        self.well_since = None
        self._broker = broker
        broker.devices[name] = self
        self._put("online", {"version": 1, "online": is_online})
        self.report("none", 0)

    def _put(self, leaf, thing):
        self._broker.publish(TOPICS.of(self.name, leaf), json.dumps(thing).encode(), True)

    def go(self, is_online):
        self._put("online", {"version": 1, "online": is_online})

    def report(self, state, about, healthy=True, reason="", **more):
        """What it says of itself, from now on."""
        is_well = state == "applied" and healthy
        self.well_since = (self.well_since or self._broker.now) if is_well else None
        self._put(
            "reported", {
                "version": 1, "generation": self.generation, "digest": self.digest, "state": state,
                "about": about, "reason": reason, "detail": "", "trial": "none", "schema": "",
                "versions": {}, "hash": "", "desired-hash": "", "differences": [],
                "difference-count": 0, "healthy": healthy,
                "problems": [] if healthy else ["the fan stands still"], **more
            })

    def hear(self, payload):
        opened = open_signed(payload, "desired", Keys([SIGNER.public, OTHER.public]))
        assert not opened.fault, opened.fault
        document = json.loads(opened.document)
        assert (document["tenant"], document["device"]) == ("acme", self.name)
        self.heard.append((self._broker.now, document["generation"], opened.document))
        if document["generation"] > self.generation:
            for after, way in self.ways:
                self._broker.at(
                    self._broker.now + after,
                    lambda way=way: self._become(way, document["generation"], opened.document))

    def _become(self, way, number, document):
        if way == "applied":
            self.generation, self.digest = number, digest_of(document)
            self.report("applied", number)
        elif way == "ill":
            self.generation, self.digest = number, digest_of(document)
            self.report("applied", number, healthy=False)
        elif way == "trying":
            self.report("trying", number)
        elif way in ("refused", "reverted"):
            self.report(way, number, reason="rejected" if way == "refused" else "unreached")
        else:
            self.go(way == "online")
