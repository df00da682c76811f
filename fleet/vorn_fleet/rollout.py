# SPDX-License-Identifier: MIT
"""A rollout as the broker retains it: a head, and for each device the document that it is to get
and the one it had before.

They are signed for a purpose of their own, so that no device takes one for its document: what is
not sent yet can't be sent by a broker either. Whoever takes a rollout up signs anew.
"""
import functools
import hashlib
from dataclasses import dataclass, field, replace

from .documents import digest_of, parse, written
from .problem import Misused, Problem
from .signature import open_signed
from .text import Amount, printable
from .topics import is_identifier

STATES = ("preparing", "running", "stopped", "done", "undone")
_PURPOSE = "rollout"


def cut_into_waves(names, amounts, is_there, is_first=lambda name: False):
    """Lists of devices. Those that are away come last: they prove nothing. Otherwise chance
    decides, the same each time, so that a wave is no rack."""
    def rank(name):
        return (not is_there(name), not is_first(name), hashlib.sha256(name.encode()).digest())

    ordered = sorted(names, key=rank)
    waves, taken = [], 0
    for amount in amounts:
        reached = max(taken, amount.at_least(len(ordered)))
        if reached > taken:
            waves.append(ordered[taken:reached])
        taken = reached
    if taken < len(ordered):
        raise Misused("the last wave has to be 100%")
    return waves


def read_waves(text):
    return [Amount.read(each) for each in text.split(",")]


@dataclass(frozen=True)
class Member:
    """What a rollout has for one device."""

    device: str
    wave: int
    generation: int
    document: bytes
    before: bytes  # what was retained: a whole payload, or nothing

    @functools.cached_property
    def digest(self):
        return digest_of(self.document)

    @functools.cached_property
    def members(self):
        return parse(self.document)


@dataclass(frozen=True)
class Head:
    """What a rollout is. `wave` is the number of those that went out; `absent` are the devices that
    were away when theirs did."""

    rollout: str
    tenant: str
    by: str
    why: str
    started: int
    waves: tuple  # how many devices each has
    healthy_for: int
    within: int
    stop_at: Amount
    state: str = "preparing"
    wave: int = 0
    absent: tuple = ()
    reasons: tuple = ()
    undoes: str = ""

    def now(self, **changed):
        return replace(self, **changed)

    @property
    def is_open(self):
        return self.state == "running"


@dataclass
class Plan:
    """A head and its members by device."""

    head: Head
    members: dict = field(default_factory=dict)

    def of_wave(self, number):
        """Counted from 1."""
        return [each for each in self.members.values() if each.wave == number]

    def sent(self):
        return [each for each in self.members.values() if each.wave <= self.head.wave]


def head_payload(head, signer):
    thing = {
        "version": 1, "tenant": head.tenant, "rollout": head.rollout, "by": head.by,
        "why": head.why, "started": head.started, "waves": list(head.waves),
        "healthy-for": head.healthy_for, "within": head.within, "stop-at": str(head.stop_at),
        "state": head.state, "wave": head.wave, "absent": list(head.absent),
        "reasons": list(head.reasons), "undoes": head.undoes
    }
    return signer.sign(written(thing), _PURPOSE)


def member_payload(member, tenant, rollout, signer):
    thing = {"version": 1, "tenant": tenant, "rollout": rollout, "device": member.device,
             "wave": member.wave, "generation": member.generation,
             "document": member.document.decode(), "before": member.before.decode("latin-1")}
    return signer.sign(written(thing), _PURPOSE)


def _opened(payload, keys, what):
    opened = open_signed(payload, _PURPOSE, keys)
    if opened.fault == "unknown-key":
        raise Problem(
            f"{what} was signed by {printable(opened.key)}, which is not among the signers")
    if opened.fault:
        raise Problem(f"{what} is {opened.fault}")
    return parse(opened.document)


def read_head(payload, tenant, rollout, keys):
    """What it can't read is a Problem."""
    what = f"rollout {printable(rollout)}"
    try:
        thing = _opened(payload, keys, what)
        if (thing["version"], thing["tenant"], thing["rollout"]) != (1, tenant, rollout):
            raise Problem(
                f"{what} is one of {printable(thing['tenant'])}: {printable(thing['rollout'])}")
        head = Head(rollout, tenant, thing["by"], thing["why"], thing["started"],
                    tuple(thing["waves"]), thing["healthy-for"], thing["within"],
                    Amount.read(thing["stop-at"]), thing["state"], thing["wave"],
                    tuple(thing["absent"]), tuple(thing["reasons"]), thing["undoes"])
    except (ValueError, KeyError, TypeError, Misused):
        raise Problem(
            f"{what} can't be read: another version of vorn-fleet may have written it") from None
    if head.state not in STATES:
        raise Problem(f"{what} can't be read: it is {printable(head.state)}")
    return head


def read_member(payload, tenant, rollout, device, keys):
    """Likewise. A document that is not for this device is not passed on."""
    what = f"{printable(device)} in rollout {printable(rollout)}"
    try:
        thing = _opened(payload, keys, what)
        named = tuple(thing[name] for name in ("version", "tenant", "rollout", "device"))
        document = thing["document"].encode()
        inner = parse(document)
        is_same = (inner["tenant"], inner["device"], inner["generation"]) == (
            tenant, device, thing["generation"])
        if named != (1, tenant, rollout, device) or not is_same or not is_identifier(device):
            raise Problem(f"{what} is not what its topic says")
        return Member(device, int(thing["wave"]), inner["generation"], document,
                      thing["before"].encode("latin-1"))
    except (ValueError, KeyError, TypeError):
        raise Problem(
            f"{what} can't be read: another version of vorn-fleet may have written it") from None
