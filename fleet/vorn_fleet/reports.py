# SPDX-License-Identifier: MIT
"""What devices say, read as what anybody may have written: a member that is not what it should be
is as one that is not there."""
from dataclasses import dataclass, field

from .documents import LARGEST_GENERATION, parse

LONGEST = 1024 * 1024
STATES = ("none", "applied", "trying", "waiting", "refused", "reverted")
MOST_LABELS = 64
MOST_LISTED = 50


def _text(thing, name):
    value = thing.get(name, "")
    return value if isinstance(value, str) else ""


def _number(thing, name):
    value = thing.get(name, 0)
    is_number = isinstance(value, int) and not isinstance(value, bool)
    return value if is_number and 0 <= value <= LARGEST_GENERATION else 0


def _texts(thing, name):
    found = thing.get(name, {})
    if not isinstance(found, dict):
        return {}
    pairs = [(key, value) for key, value in found.items() if isinstance(value, str)]
    return dict(pairs[:MOST_LABELS])


def _list(thing, name, kind):
    found = thing.get(name, [])
    found = found if isinstance(found, list) else []
    return [each for each in found if isinstance(each, kind)][:MOST_LISTED]


@dataclass(frozen=True)
class Report:
    """One report; `fault` says why there is none that could be read."""

    generation: int = 0
    digest: str = ""
    state: str = ""
    about: int = 0
    reason: str = ""
    detail: str = ""
    trial: str = ""
    schema: str = ""
    versions: dict = field(default_factory=dict)
    labels: dict = field(default_factory=dict)
    hash: str = ""
    desired_hash: str = ""
    differences: list = field(default_factory=list)
    difference_count: int = 0
    is_healthy: bool = False
    problems: list = field(default_factory=list)
    fault: str = ""


def read_report(payload):
    """Never fails."""
    if len(payload) > LONGEST:
        return Report(fault=f"a report of {len(payload)} bytes")
    try:
        thing = parse(payload)
    except ValueError:
        return Report(fault="a report that is no JSON")
    if not isinstance(thing, dict) or thing.get("version") != 1 or thing.get("state") not in STATES:
        return Report(fault="a report that is none of version 1")
    return Report(
        **{name: _text(thing, name) for name in ("digest", "state", "reason", "detail", "trial",
                                                 "schema", "hash")},
        generation=_number(thing, "generation"), about=_number(thing, "about"),
        versions=_texts(thing, "versions"), labels=_texts(thing, "labels"),
        desired_hash=_text(thing, "desired-hash"), differences=_list(thing, "differences", dict),
        difference_count=_number(thing, "difference-count"),
        is_healthy=thing.get("healthy") is True, problems=_list(thing, "problems", str))


def read_online(payload):
    """Whether the device is there; None if that was not said."""
    try:
        thing = parse(payload[:1024])
    except ValueError:
        return None
    online = thing.get("online") if isinstance(thing, dict) else None
    return online if isinstance(online, bool) else None


def read_event(payload):
    """A word and a text; None if it is no event."""
    try:
        thing = parse(payload[:LONGEST])
    except ValueError:
        return None
    if not isinstance(thing, dict) or not _text(thing, "event"):
        return None
    return _text(thing, "event"), _text(thing, "text")
