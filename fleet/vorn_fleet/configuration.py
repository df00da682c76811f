# SPDX-License-Identifier: MIT
"""What a document says of a device: its form, its hash, and what two of them do not have in
common."""
import hashlib

from .problem import Misused
from .text import printable


def _fail(place, what):
    raise Misused(f"{printable(place)}: {what}")


def _check_text(place, text, is_empty_ok=True):
    if not isinstance(text, str):
        _fail(place, f"has to be a text, not {type(text).__name__}")
    if "\0" in text or any("\ud800" <= each <= "\udfff" for each in text):
        _fail(place, "has a character that no configuration can have")
    if not text and not is_empty_ok:
        _fail(place, "is empty")


def _check_members(place, thing, known):
    if not isinstance(thing, dict):
        _fail(place, "has to have members")
    for name in thing:
        if name not in known:
            _fail(place, f"has no member \"{printable(name)}\"")


def _check_items(place, items):
    if not isinstance(items, list):
        _fail(place, "has to be a list of instances")
    seen = set()
    for number, item in enumerate(items, 1):
        here = f"{place} {number}"
        _check_members(here, item, ("name", "values"))
        if "name" in item:
            _check_text(f"{here} name", item["name"], is_empty_ok=False)
        if item.get("name") in seen:
            _fail(here, f"\"{printable(item.get('name') or '')}\" stands there twice")
        seen.add(item.get("name"))
        values = item.get("values")
        if not isinstance(values, dict):
            _fail(here, "lacks its values")
        for name, value in values.items():
            _check_text(f"{here} values", name, is_empty_ok=False)
            _check_text(f"{here} {name}", value)


def check(configuration):
    """Complains of what a device would call malformed."""
    if not isinstance(configuration, dict):
        _fail("configuration", "has to have a member for each class")
    for name, part in configuration.items():
        _check_text("configuration", name, is_empty_ok=False)
        _check_members(name, part, ("all", "some", "none"))
        if ("all" in part) == ("some" in part or "none" in part):
            _fail(name, "has either \"all\", or \"some\" and \"none\"")
        for each in ("all", "some"):
            if each in part:
                _check_items(f"{name} {each}", part[each])
        if not isinstance(part.get("none", []), list):
            _fail(f"{name} none", "has to be a list of names")
        for each in part.get("none", []):
            _check_text(f"{name} none", each, is_empty_ok=False)


def _word(text):
    raw = text.encode()
    return b"%d:%s," % (len(raw), raw)


def _items(part):
    return part.get("all", []) + part.get("some", [])


def hash_of(configuration):
    """Of the canonical form, in hexadecimal digits."""
    texts = []
    for name, part in configuration.items():
        for item in _items(part):
            text = b"+" + _word(name) + (_word(item["name"]) if "name" in item else b"") + b"="
            values = sorted((key.encode(), value) for key, value in item["values"].items() if value)
            texts.append(text +
                         b"".join(_word(key.decode()) + _word(value)
                                  for key, value in values) + b";")
        for each in part.get("none", []):
            texts.append(b"-" + _word(name) + _word(each) + b";")
    return hashlib.sha256(b"".join(sorted(texts))).hexdigest()


def flat(configuration):
    """Each thing it says, by what it is about: (class, name, property) to a text. Without a
    property it is the instance, or with neither the class, of which it says that there are no
    others."""
    said = {}
    for name, part in configuration.items():
        if "all" in part:
            said[(name, "", "")] = "these alone"
        for item in _items(part):
            title = item.get("name", "")
            if title:
                said[(name, title, "")] = "there"
            for key, value in item["values"].items():
                said[(name, title, key)] = value
        for each in part.get("none", []):
            said[(name, each, "")] = "not there"
    return said


def told(about):
    """What something is about, for people: radio radio0 channel."""
    return " ".join(printable(each) for each in about if each)


def differences(before, after):
    """Triples of what it is about, what was said of it and what is now; None for nothing."""
    old, new = flat(before), flat(after)
    return [(about, old.get(about), new.get(about)) for about in sorted(old.keys() | new.keys())
            if old.get(about) != new.get(about)]


def untouched(changed, by):
    """What `changed` says that a device which gets `by` afterwards keeps, since that is silent on
    it."""
    other = flat(by)
    whole = {name for name, part in by.items() if "all" in part}
    gone = {(name, each) for name, part in by.items() for each in part.get("none", [])}
    return [about for about in sorted(flat(changed))
            if about not in other and about[0] not in whole and about[:2] not in gone and
            not (about[1] and not about[2] and flat(changed)[about] == "there" and
                 any(each[:2] == about[:2] for each in other))]
