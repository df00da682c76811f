# SPDX-License-Identifier: MIT
"""Texts: what others wrote made fit for a terminal, and times and amounts as people write them.

Whatever comes from a broker may have been made to do something to the terminal of who reads it.
"""
import math
import re
from dataclasses import dataclass

from .problem import Misused

LONGEST_SHOWN = 400
_SECONDS = {"s": 1, "m": 60, "h": 3600, "d": 86400}


def printable(text, longest=LONGEST_SHOWN):
    """Without what moves a cursor, hides or turns around what stands beside it, and not endless."""
    text = text if isinstance(text, str) else str(text)
    shown = "".join(each if each.isprintable() else each.encode("unicode_escape").decode("ascii")
                    for each in text[:longest])
    return shown + "..." if len(text) > longest else shown


def seconds_of(text):
    """10, 90s, 10m, 2h and 1d."""
    found = re.fullmatch(r"([0-9]{1,7})([smhd]?)", text)
    if not found:
        raise Misused(f"\"{printable(text)}\" is no time: 90s, 10m, 2h and 1d are")
    return int(found[1]) * _SECONDS[found[2] or "s"]


def told_seconds(seconds):
    """The other way round, in the largest unit that tells it."""
    seconds = max(0, math.ceil(seconds))
    for unit, size in (("d", 86400), ("h", 3600), ("m", 60)):
        if seconds >= size and seconds % size == 0:
            return f"{seconds // size}{unit}"
    if seconds > 120:
        return f"{seconds // 60}m{seconds % 60:02}s"
    return f"{seconds}s"


def counted(number, word):
    """1 device, 2 devices."""
    return f"{number} {word}" + ("" if number == 1 else "s")


@dataclass(frozen=True)
class Amount:
    """So many, or so much of a whole."""

    number: float
    is_share: bool

    @classmethod
    def read(cls, text):
        found = re.fullmatch(r"([0-9]{1,7}(?:\.[0-9]{1,3})?)(%?)", text)
        if not found or (not found[2] and "." in found[1]) or (found[2] and float(found[1]) > 100):
            raise Misused(f"\"{printable(text)}\" is no amount: 5 and 2% are")
        return cls(float(found[1]), bool(found[2]))

    def __str__(self):
        return f"{self.number:g}" + ("%" if self.is_share else "")

    def at_least(self, whole):
        """How many that are, a part being one."""
        exact = whole * self.number / 100 if self.is_share else self.number
        return min(whole, math.ceil(round(exact, 6)))

    def at_most(self, whole):
        """How many that are, a part being none."""
        exact = whole * self.number / 100 if self.is_share else self.number
        return math.floor(round(exact, 6))
