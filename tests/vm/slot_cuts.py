# SPDX-License-Identifier: MIT
"""Power cuts of a device with three firmwares, which start in turn with one configuration."""
import base64
import random
import re
import time
import zlib

from cut_machine import OPTIONS, STOP, CutMachine, Torn, make_initramfs
from machine import MachineError, make_disk

ENTRIES = 300
SLOTS = (0, 1, 2)
SILENT = 0 # it declares no version
PROPERTIES = {0: "chan", 1: "chan", 2: "channel"}
CUT_EARLY = 0.4 # of all cuts: while one comes up
MOST_CUT_EARLY = 2 # in a row: after three the daemon would take its configuration for the reason
NUMBER = re.compile(r'(<Wlan name="w0">\s*<chan(?:nel)?>)(\d+)(?=<)')


def delivered():
    """What the first firmware finds on a new device."""
    entries = "".join(f'<Wlan name="e{i}"><chan>{"0123456789" * 6}</chan></Wlan>'
                      for i in range(ENTRIES))
    # Each boot is cut off; it must not count as one that failed.
    return ('<?xml version="1.0"?>\n<config>'
            "<history><proven-after>0</proven-after></history>"
            f'<Wlan name="w0"><chan>0</chan></Wlan>{entries}</config>\n')


def put_in(slot):
    """A command that makes it the slot's firmware."""
    return f"cp /usr/slots/{slot}/* /usr/lib/vorn/plugins/"


def start(machine, slot, preload):
    """Gives the startup file once the daemon serves."""
    until = "until [ -s /run/vorn.pid ]; do sleep 0.05; done"
    return base64.b64decode(machine.check(
        f"cd /; {put_in(slot)} && {preload} vorn 2>/dev/null && {until} && "
        "base64 /etc/config/config.xml")).decode()


def save(machine, slot, number):
    machine.check(f"(/usr/save_loop {number} {PROPERTIES[slot]} >/dev/ttyS0 2>&1 &)")
    until = time.monotonic() + 300
    while "saved" not in machine.console:
        if time.monotonic() > until:
            raise MachineError(f"nothing is saved:\n{machine.console[-2000:]}")
        time.sleep(0.02)


def reference_of(folder, slot):
    """A document as the slot's firmware writes it."""
    with CutMachine(folder) as machine:
        machine.check("mount -t ext4 /dev/vda /etc")
        start(machine, slot, "")
        save(machine, slot, 1)
        machine.check(STOP)
        return machine.check("cat /etc/config/config.xml; umount /etc")


class SlotsDisk:
    """What must be on it."""

    def __init__(self, references):
        self.references = references
        self.may_be = {slot: [] for slot in SLOTS} # the number saved last, and the one after
        self.highest = 0

    def find(self, text):
        """The slot whose document it is, and the number in it."""
        found = NUMBER.search(text)
        for slot, reference in self.references.items():
            if found and NUMBER.sub(rf"\g<1>{found[2]}", reference) == text:
                return slot, int(found[2])
        raise Torn(f"nobody's document, {len(text)} bytes")

    def judge(self, startup, history):
        numbers = {slot: [] for slot in SLOTS}
        for text in [startup, *map(document_in, history)]:
            if text == delivered():
                continue
            slot, number = self.find(text)
            numbers[slot].append(number)
        if startup != delivered():
            slot, number = self.find(startup)
            if number not in self.may_be[slot]:
                raise Torn(f"slot {slot}: the startup file is at {number}, "
                           f"may be {self.may_be[slot]}")
        for slot, allowed in self.may_be.items():
            if allowed and max(numbers[slot], default=-1) not in allowed:
                raise Torn(f"slot {slot}: kept are {numbers[slot]}, may be {allowed}")

    def has_started(self, slot, startup):
        if not self.may_be[slot]:
            return
        if startup == delivered():
            raise Torn(f"slot {slot} has started with what was delivered")
        found, number = self.find(startup)
        if found != slot or number not in self.may_be[slot]:
            raise Torn(f"slot {slot} has started with {number} of slot {found}, "
                       f"may be {self.may_be[slot]}")
        self.may_be[slot] = [number]

    def note(self, slot, first, console):
        if "not saved" in console:
            raise MachineError(f"a save failed:\n{console[-2000:]}")
        saved = [int(text) for text in re.findall(r"^saved (\d+)\r?\n", console, re.MULTILINE)]
        last = saved[-1] if saved else first - 1
        self.may_be[slot] = ([last] if saved else self.may_be[slot]) + [last + 1]
        self.highest = last + 1


def document_in(generation):
    try:
        head, _, rest = zlib.decompress(generation, wbits=31).decode().partition("\n\n")
    except zlib.error as what:
        raise Torn(f"a generation is damaged: {what}") from None
    [size] = re.findall(r"^document (\d+)$", head, re.MULTILINE)
    return rest[:int(size)]


def read_disk(machine):
    output = machine.check(f"mount -t ext4 -o {OPTIONS} /dev/vda /etc && cd /etc && for file in "
                           "config/config.xml config/history/*.gz; do "
                           "[ ! -e $file ] || base64 $file; echo ---; done")
    startup, *history = [base64.b64decode(text) for text in output.split("---")[:-1]]
    return startup.decode(), [packed for packed in history if packed]


def cycle(machine, disk, slot, is_early, preload):
    machine.start()
    try:
        disk.judge(*read_disk(machine))
        if is_early:
            machine.check(f"cd /; {put_in(slot)} && ({preload} vorn >/dev/null 2>&1 &)")
            time.sleep(random.uniform(0, 1))
        else:
            disk.has_started(slot, start(machine, slot, preload))
            first = disk.highest + 1
            save(machine, slot, first)
            time.sleep(random.uniform(0, 1))
        machine.process.kill()
        machine.process.wait()
        if not is_early:
            disk.note(slot, first, machine.console)
    finally:
        machine.stop()


def make_fresh_disk(folder):
    (folder / "etc/config").mkdir(parents=True, exist_ok=True)
    (folder / "etc/config/config.xml").write_text(delivered())
    make_disk(folder / "disk", folder / "etc")


def run(folder, cycles, preload):
    """The number of cycles whose disk was not as it should be; each one starts afresh then."""
    make_initramfs(folder / "initramfs")
    references = {}
    for slot in SLOTS:
        make_fresh_disk(folder)
        references[slot] = reference_of(folder, slot)
    make_fresh_disk(folder)
    with CutMachine(folder) as machine:
        machine.keep()
    disk = SlotsDisk(references)
    bad = early = changes = silent_changes = 0
    began = time.monotonic()
    last = SLOTS[0]
    for done in range(1, cycles + 1):
        # Each has to have saved, the oldest first, before it can find that another one did: who has
        # written nothing reads a newer one's as it is, and has more in its own from then on.
        new = [slot for slot in SLOTS if not disk.may_be[slot]]
        slot = new[0] if new else random.choice(SLOTS)
        is_early = not new and early < MOST_CUT_EARLY and random.random() < CUT_EARLY
        early = early + 1 if is_early else 0
        changes += slot != last
        silent_changes += slot != last and SILENT in (slot, last)
        last = slot
        try:
            cycle(CutMachine(folder), disk, slot, is_early, preload)
        except Torn as what:
            bad += 1
            print(f"cycle {done}: {what}", flush=True)
            make_fresh_disk(folder)
            disk = SlotsDisk(references)
        if done % 20 == 0 or done == cycles:
            minutes = (time.monotonic() - began) / 60
            print(f"{done} cycles, {bad} bad, {done / minutes:.0f} a minute, {changes} changes of "
                  f"slots, {silent_changes} of them from or to the one without versions, saved up to "
                  f"{disk.highest}", flush=True)
    return bad
