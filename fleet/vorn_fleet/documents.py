# SPDX-License-Identifier: MIT
"""The documents: how one is made of what an operator wants, and how a retained one is read."""
import hashlib
import json
from dataclasses import dataclass, field

from . import configuration as content
from .problem import Misused
from .signature import open_signed
from .text import printable

LONGEST = 256 * 1024
LARGEST_GENERATION = 9007199254740991
LONGEST_GIVEN = 200
BOUNDS = {"trial": (5, 86400), "attempts": (1, 10), "not-before": (1, LARGEST_GENERATION),
          "not-after": (1, LARGEST_GENERATION)}
WORDS = {"connection": ("new", "kept"), "local": ("report", "refuse", "overwrite")}
TRIAL = 120
MEMBERS = ("by", "why", "schema", "configuration", *BOUNDS, *WORDS)


def parse(raw):
    """JSON that somebody else wrote: whatever is wrong with it, a ValueError."""
    def unique(pairs):
        members = dict(pairs)
        if len(members) != len(pairs):
            raise ValueError("a member stands there twice")
        return members

    try:
        return json.loads(raw.decode("utf-8"), object_pairs_hook=unique)
    except RecursionError:
        raise ValueError("it is too deep") from None


def written(thing):
    """The bytes of a JSON value, the same ones each time."""
    return json.dumps(thing, ensure_ascii=False, separators=(",", ":")).encode()


def digest_of(document):
    return hashlib.sha256(document).hexdigest()


def _number(name, value):
    low, high = BOUNDS[name]
    text = str(value)
    is_number = not isinstance(value, bool) and text.isascii() and text.isdigit()
    if not is_number or not low <= int(text) <= high:
        raise Misused(f"{name}: has to be a whole number from {low} to {high}")
    return int(text)


def check_wish(wish):
    """Of members as the protocol has them, numbers as texts or not: what of them a document
    gets."""
    checked = {}
    for name, value in wish.items():
        if name in BOUNDS:
            checked[name] = _number(name, value)
        elif name in WORDS and value not in WORDS[name]:
            raise Misused(f"{name}: has to be one of {', '.join(WORDS[name])}")
        elif name not in MEMBERS:
            raise Misused(f"a document has no member \"{printable(name)}\"")
        else:
            checked[name] = value
    for name in ("by", "why"):
        text = checked.setdefault(name, "")
        if not isinstance(text, str) or len(text.encode("utf-8", "replace")) > LONGEST_GIVEN:
            raise Misused(f"{name}: has to be a text of up to {LONGEST_GIVEN} bytes")
    schema = checked.get("schema", "0" * 16)
    if not isinstance(schema, str) or len(schema) != 16 or schema.strip("0123456789abcdef"):
        raise Misused("schema: has to be 16 hexadecimal digits")
    if checked.get("not-after", LARGEST_GENERATION) < checked.get("not-before", 1):
        raise Misused("not-after: is before not-before")
    if "configuration" not in checked:
        raise Misused("there is no configuration")
    content.check(checked["configuration"])
    return {"trial": TRIAL, **checked}


def make(tenant, device, generation, wish):
    """The bytes of a document. A wish that was checked always makes one, unless it is too large."""
    if generation > LARGEST_GENERATION:
        raise Misused(f"{device}: there is no number left for a document")
    configuration = wish["configuration"]
    document = {"version": 1, "tenant": tenant, "device": device, "generation": generation,
                **{name: wish[name] for name in wish if name != "configuration"},
                "hash": content.hash_of(configuration), "configuration": configuration}
    return written(document)


def sign(document, signer):
    payload = signer.sign(document, "desired")
    if len(payload) > LONGEST:
        raise Misused(f"the document has {len(payload)} bytes; {LONGEST} are the most")
    return payload


@dataclass(frozen=True)
class Desired:
    """What is retained as a device's document, whoever wrote it."""

    generation: int = 0
    digest: str = ""
    key: str = ""
    fault: str = ""  # a word of the protocol: who reads it does not believe in the rest then
    members: dict = field(default_factory=dict)

    @property
    def configuration(self):
        return self.members.get("configuration", {})

    @property
    def wish(self):
        """What another document needs to say the same."""
        return {name: value for name, value in self.members.items() if name in MEMBERS}


def read(payload, tenant, device, keys):
    """Never fails: what is wrong with it is its fault."""
    if len(payload) > LONGEST:
        return Desired(fault="too-large")
    opened = open_signed(payload, "desired", keys)
    if opened.fault:
        return Desired(key=opened.key, fault=opened.fault)
    try:
        members = parse(opened.document)
        wish = check_wish({name: value for name, value in members.items() if name in MEMBERS})
        generation = members["generation"]
        if (type(generation) is not int or not 1 <= generation <= LARGEST_GENERATION or
                content.hash_of(wish["configuration"]) != members["hash"]):
            raise ValueError
    except (ValueError, KeyError, AttributeError, Misused):
        return Desired(key=opened.key, fault="malformed")
    is_for_it = (members.get("tenant"), members.get("device")) == (tenant, device)
    fault = "" if is_for_it else "other-device"
    return Desired(generation, digest_of(opened.document), opened.key, fault, members)
