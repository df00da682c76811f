# SPDX-License-Identifier: MIT
"""What a command has of a broker: the mirror of what is retained, the rollouts, and messages out.

MQTT does not say when all was told that is retained. A message of our own, sent after the
subscription, comes back after it at most brokers; a while of silence after it makes sure at the
others.
"""
from . import rollout as rollouts
from .mirror import Mirror
from .problem import NoBroker, NotThere, Problem
from .text import printable

_SILENCE = 0.3
_PATIENCE = 30.0
_MOST_DRAINED = 10000
_AT_ONCE = 100  # a broker holds back no more than some hundreds of messages for one client


class Session:
    """An open connection, and what came over it."""

    def __init__(self, connection, topics, keys):
        self.connection = connection
        self.topics = topics
        self.keys = keys
        self.mirror = Mirror(topics, keys)
        self.heads = {}  # payloads by rollouts
        self.members = {}  # payloads by rollouts and devices
        self.on_event = lambda device, payload: None
        self.on_news = lambda device, leaf: None
        self.clock = connection.clock
        self._fences = 0
        self._passed = 0
        self._awaited = set()

    @property
    def is_connected(self):
        return self.connection.is_connected

    def learn(self, leaves=("desired", "reported", "online")):
        """All devices that the broker knows of, and all rollouts."""
        self._read([self.topics.of("+", leaf) for leaf in leaves] + [self.topics.rollout("+")])

    def learn_events(self):
        """What happens from now on."""
        self.connection.subscribe([self.topics.of("+", "event")])

    def learn_members(self, rollout):
        """The plan of a rollout."""
        head = self.head(rollout)
        if head is None:
            raise NotThere(f"there is no rollout {printable(rollout)}")
        self.follow(rollout)
        members = {}
        for device, payload in sorted(self.members.get(rollout, {}).items()):
            members[device] = rollouts.read_member(payload, self.topics.tenant, rollout, device,
                                                   self.keys)
        if len(members) != sum(head.waves):
            raise Problem(f"rollout {rollout} has {sum(head.waves)} devices; the broker retains "
                          f"{len(members)} of them")
        return rollouts.Plan(head, members)

    def head(self, rollout):
        """As it was heard last; None if there is none."""
        payload = self.heads.get(rollout)
        return payload and rollouts.read_head(payload, self.topics.tenant, rollout, self.keys)

    def follow(self, rollout):
        """Its members, now and later."""
        self._read([self.topics.rollout(rollout, "+")])

    def put(self, things, complaint):
        """Has the broker retain pairs of a topic and a payload, of which an empty one takes back
        what is there. A broker that refuses says nothing of it, but one that agrees tells us of
        what we wrote; a few at a time, since it holds back no more."""
        for start in range(0, len(things), _AT_ONCE):
            self._awaited = set(things[start:start + _AT_ONCE])
            for topic, payload in things[start:start + _AT_ONCE]:
                self.connection.publish(topic, payload, is_retained=True)
            self._await_echoes(complaint)

    def _await_echoes(self, complaint):
        end = self.clock() + _PATIENCE
        while self._awaited:
            if not self.is_connected:
                end = self.clock() + _PATIENCE
            elif self.clock() > end:
                raise NoBroker(complaint)
            self.pump(0.2)

    def pump(self, seconds):
        """Takes in all that has come; when nothing has, waits that long for the first message."""
        message = self.connection.take(seconds)
        for _ in range(_MOST_DRAINED):
            if message is None:
                return
            self.hear(message)
            message = self.connection.take(0.0)

    def remove(self, rollout):
        """Takes back a rollout; its head last, without which nobody would find the rest."""
        topics = [
            self.topics.rollout(rollout, each) for each in sorted(self.members.get(rollout, {}))
        ]
        self.put([(topic, b"") for topic in [*topics, self.topics.rollout(rollout)]],
                 "the broker does not take back a rollout")

    def hear(self, message):
        """Whether that was something new."""
        if message.topic == self.topics.fence(self.connection.name):
            self._passed += 1
            return False
        self._awaited.discard((message.topic, message.payload))
        found = self.topics.rollout_and_device(message.topic)
        if found:
            return self._hear_of_rollout(*found, message.payload)
        news = self.mirror.hear(message.topic, message.payload)
        if not news:
            return False
        device, leaf = news
        if leaf == "event":
            self.on_event(device, message.payload)
        else:
            self.on_news(device, leaf)
        return True

    def _hear_of_rollout(self, rollout, device, payload):
        place = self.members.setdefault(rollout, {}) if device else self.heads
        if payload:
            place[device or rollout] = payload
        else:
            place.pop(device or rollout, None)
        return True

    def _read(self, filters):
        if not self._fences:
            self.connection.subscribe([self.topics.fence(self.connection.name)])
        self.connection.subscribe(filters)
        self._fences += 1
        self.connection.publish(self.topics.fence(self.connection.name), b"")
        end = self.clock() + _PATIENCE
        while self.clock() < end:
            message = self.connection.take(_SILENCE)
            if message is not None:
                self.hear(message)
            elif not self.connection.is_connected:
                raise NoBroker("the broker has ended the connection")
            elif self._passed >= self._fences or self.clock() > end - _PATIENCE + 10 * _SILENCE:
                self._passed = self._fences
                return
        raise NoBroker(
            f"the broker has not told all that it retains within {_PATIENCE:.0f} seconds")
