# SPDX-License-Identifier: MIT
"""Which devices: `ap-1 ap-2 sw-*` by their names, one of which has to fit; `site=north,south`,
`role!=ap` by what is known of them, all of which has to hold."""
import fnmatch
from dataclasses import dataclass

from .problem import Misused, NotThere
from .text import printable

OWN_KEYS = ("id", "online", "state", "healthy", "schema", "differs")


def facts_of(device):
    """What of a device can be asked for besides its labels. They stand over labels of the same
    name."""
    report = device.report
    return {"id": device.name, "online": "yes" if device.is_there else "no",
            "state": report.state if report else "", "schema": report.schema if report else "",
            "healthy": "yes" if report and report.is_healthy else "no",
            "differs": "yes" if report and report.difference_count else "no"}


@dataclass(frozen=True)
class Condition:
    key: str
    patterns: tuple
    is_denied: bool

    @classmethod
    def read(cls, word):
        key, _, pattern = word.partition("=")
        is_denied = key.endswith("!")
        key = key.removesuffix("!")
        if not key or not pattern:
            raise Misused(f"\"{printable(word)}\" selects nothing: KEY=PATTERN and KEY!=PATTERN do")
        return cls(key, tuple(pattern.split(",")), is_denied)

    def holds(self, device):
        value = {**device.labels, **facts_of(device)}.get(self.key)
        is_like = value is not None and any(
            fnmatch.fnmatchcase(value, each) for each in self.patterns)
        return is_like != self.is_denied


def read_conditions(words):
    """All of them have to hold; the names are one."""
    names = tuple(each for each in words if "=" not in each)
    return ([Condition("id", names, False)] if names else []) + [
        Condition.read(each) for each in words if "=" in each]


def select(words, devices):
    """The devices, sorted, that are selected. A key that no device has, or a plain
    name that none has, is more likely a slip than a wish."""
    conditions = read_conditions(words)
    known = {key for device in devices for key in device.labels} | set(OWN_KEYS)
    for each in conditions:
        if each.key not in known:
            raise NotThere(f"no device has a label \"{printable(each.key)}\"; there are: "
                           f"{', '.join(printable(key) for key in sorted(known))}")
        if each.key == "id" and not each.is_denied:
            for name in each.patterns:
                if not any(fnmatch.fnmatchcase(device.name, name) for device in devices):
                    raise NotThere(f"there is no device \"{printable(name)}\"")
    return sorted((device for device in devices if all(each.holds(device) for each in conditions)),
                  key=lambda device: device.name)
