# SPDX-License-Identifier: MIT
"""The books of the soak: the log and what may be in it, and where memory went."""
import collections
import re

ALLOWED = [re.compile(each + r"\Z") for each in (
    r"vorn: Initialization complete\.",
    r"vorn: Exit due to signal 15\.",
    r"vorn: Debug level is now \d\.",
    r"vorn: Watchdog (already )?stopped\.",
    r"vorn: soak: the worker has crashed",
    r"vorn: Invalid LSQL request: <lsql><select>",
    # At a higher debug level, on the way of SIGWINCH round the levels.
    r"vorn: Running .*",
    r"vorn: Service (worker|ng_migrate) with pid \d+ is no longer running\. .*",
    r"vorn: Stopping \w+ \(\d+\)\.\.\.",
    # What SIGHUP prints: classes with their properties, instances with their values, services.
    r"Class: (Board|Item) .*",
    r"Instance.*", r"Service +State +PID", r"(worker|ng_migrate) +\w+ +\d+", r"  .*", r"",
)]


class Log:
    """Reads on where it stopped reading; keeps what nobody expects."""

    def __init__(self, path):
        self.file = open(path, errors="replace")
        self.rest = ""
        self.lines = self.crashes = self.levels = self.level = 0
        self.unexpected = collections.Counter()

    def read_on(self):
        *lines, self.rest = (self.rest + self.file.read()).split("\n")
        for line in lines:
            self.take(line)

    def take(self, line):
        self.lines += 1
        self.crashes += line == "vorn: soak: the worker has crashed"
        if found := re.match(r"vorn: Debug level is now (\d)", line):
            self.levels += 1
            self.level = int(found[1])
        if not any(allowed.match(line) for allowed in ALLOWED):
            self.unexpected[line] += 1


class Memory:
    """
    Looked at in the second half of each part: by then the heap has the size that the load needs.
    Without write transactions nothing may grow, however long it takes. A write transaction keeps
    the instances that it changed or took out, up to three of them, as they were: a changed one
    without the values that it shares with its successor. How many there are in their class makes no
    difference.
    """

    FLUCTUATION_KIB = 128
    KEPT_PER_WRITE = 1200

    def __init__(self):
        self.without, self.with_writes = [], []

    def note(self, before, after, requests, writes):
        """Resident KiB before and after a round."""
        part = self.with_writes if writes else self.without
        part.append((before, after, requests, writes))

    @staticmethod
    def second_half(part):
        """KiB more, requests, and writes."""
        half = part[len(part) // 2:]
        return (half[-1][1] - half[0][0], sum(each[2] for each in half),
                sum(each[3] for each in half))

    def balance(self):
        flat, self.requests, _ = self.second_half(self.without)
        grown, _, self.writes = self.second_half(self.with_writes)
        self.flat, self.grown = flat, grown
        self.allowed = self.FLUCTUATION_KIB + self.writes * self.KEPT_PER_WRITE / 1024
        return flat <= self.FLUCTUATION_KIB and grown <= self.allowed

    def __str__(self):
        per_write = self.grown * 1024 / self.writes
        return (f"memory      {self.without[0][0]} KiB at first, {self.with_writes[-1][1]} KiB at "
                f"last\n"
                f"  flat      {self.flat} KiB more after {self.requests} requests without write "
                f"transactions, {self.FLUCTUATION_KIB} allowed\n"
                f"  kept      {self.grown} KiB for {self.writes} write transactions, "
                f"{self.allowed:.0f} allowed: {per_write:.0f} bytes for each")


def configuration(root):
    """What is in a document as (class, name, values), in no order."""
    return {(element.tag, element.get("name"),
             tuple(sorted((value.tag, value.text) for value in element))) for element in root}
