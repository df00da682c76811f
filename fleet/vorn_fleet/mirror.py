# SPDX-License-Identifier: MIT
"""What a broker retains, as far as it has told. Fed with messages, it waits for nothing."""
from dataclasses import dataclass, field

from . import documents
from .reports import Report, read_online, read_report

LONGEST_LABEL = 64


def labels_in(configuration):
    """The labels that a document gives a device: `labels` of its class fleet, site=north
    role=ap."""
    part = configuration.get("fleet", {})
    text = next((item["values"].get("labels", "")
                 for item in part.get("all", []) + part.get("some", [])), "")
    return dict(each.split("=", 1) for each in text.split() if "=" in each[1:])


@dataclass
class Device:
    """One device. `desired` is None where nothing is retained, `report` likewise."""

    name: str
    payload: bytes = b""
    desired: documents.Desired = None
    report: Report = None
    is_online: bool = None
    given: dict = field(default_factory=dict)  # labels that the folder gives it

    @property
    def labels(self):
        """What the device says of itself, over it what its document says, over it the folder."""
        own = self.report.labels if self.report else {}
        wanted = labels_in(self.desired.configuration) if self.desired else {}
        return {**own, **wanted, **self.given}

    @property
    def last_generation(self):
        """The highest number that anything tells which is retained."""
        report = self.report or Report()
        return max(self.desired.generation if self.desired else 0, report.generation, report.about)

    @property
    def is_there(self):
        return self.is_online is True

    @property
    def has_said_anything(self):
        return self.desired is not None or self.report is not None or self.is_online is not None


class Mirror:
    """The devices of a tenant by their names."""

    def __init__(self, topics, keys):
        self._topics = topics
        self._keys = keys
        self.devices = {}

    def device(self, name):
        if name not in self.devices:
            self.devices[name] = Device(name)
        return self.devices[name]

    def hear(self, topic, payload):
        """The device that a message told something new of, and what; None for any other message."""
        found = self._topics.device_and_leaf(topic)
        if not found:
            return None
        name, leaf = found
        if leaf == "event":
            return self.device(name), leaf
        device = self.device(name)
        before = (device.payload, device.report, device.is_online)
        if leaf == "desired":
            device.payload = payload
            device.desired = documents.read(payload, self._topics.tenant, name,
                                            self._keys) if payload else None
        elif leaf == "reported":
            device.report = read_report(payload) if payload else None
        else:
            device.is_online = read_online(payload) if payload else None
        is_new = before != (device.payload, device.report, device.is_online)
        return (device, leaf) if is_new else None
