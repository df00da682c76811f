# SPDX-License-Identifier: MIT
"""Agents and daemons of real boards, whole boards, and their broker are killed at random while one generation
after the other goes out: storm_of_boards.py BUILD [BOARDS GENERATIONS KILLS [SEED]], by tests/fleet/with-boards."""
import pathlib
import random
import re
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "fleet")]

import boards  # noqa: E402
import board  # noqa: E402
import rows  # noqa: E402
import street  # noqa: E402
from cryptography.hazmat.primitives import serialization  # noqa: E402
from cryptography.hazmat.primitives.asymmetric import ed25519  # noqa: E402

PAUSE = 0.7  # seconds between two kills: a board has to come back now and then
LAST_BACK = 300


class Signer:
    """Who signs what fleet_conductor sends."""

    raw = ed25519.Ed25519PrivateKey.from_private_bytes(b"\1" * 32).public_key().public_bytes(
        serialization.Encoding.Raw, serialization.PublicFormat.Raw)
    public = board.base64.b64encode(raw).decode()


class Storm:
    def __init__(self, build, count, seed):
        board.TOPIC = "v1/acme/+/"
        self.build, self.count = build, count
        self.random = random.Random(seed)
        self.fleet = boards.Fleet(build, 0)
        self.fleet.boards = [boards.Board(number, pathlib.Path("/tmp/boards")) for number in range(count)]
        for number, each in enumerate(self.fleet.boards):
            each.name = f"sim{number}"  # as fleet_conductor calls whom it sends documents
            each.join(Signer)
        self.killed = dict.fromkeys(("agent", "daemon", "board", "broker"), 0)

    def send(self, generation):
        """An operator who is told that the broker did not take it sends it again: the same bytes."""
        def is_taken():
            try:
                street.conduct(self.build, generation, 0, self.count, seconds=0, attempts=10, size=100,
                               connection=("kept", "new")[generation % 2])
                return True
            except street.NoBroker:
                return False

        board.await_that(is_taken, "a broker that takes it")

    def kill_one(self):
        [what] = self.random.choices(list(self.killed), [20, 8, 8, 1])
        self.killed[what] += 1
        victim = self.random.choice(self.fleet.boards)
        if what == "broker":
            self.fleet.broker.kill()
            self.fleet.broker.start()
            return
        if what in ("daemon", "board"):
            victim.kill_daemon()
        if what in ("agent", "board"):
            victim.kill_agent()
        if what in ("daemon", "board"):
            victim.start()

    def reports(self, number):
        return [text for topic, text in list(self.fleet.broker.told) if topic == f"v1/acme/sim{number}/reported"]

    def await_all(self, generation):
        def has_it(number):
            last = (self.reports(number) or [{}])[-1]
            return (last.get("state"), last.get("generation"), last.get("trial")) == ("applied", generation, "none")

        missing = set(range(self.count))

        def have_it():
            missing.difference_update([each for each in missing if has_it(each)])
            return not missing

        begin = time.monotonic()
        board.await_that(have_it, lambda: {each: self.reports(each)[-1:] for each in missing}, LAST_BACK)
        return time.monotonic() - begin

    def run(self, generations, kills):
        # When each is to happen, in generations: none in the first, which saves that it is a board of the fleet.
        due = sorted(self.random.uniform(1, generations - 1) for _ in range(kills))
        self.send(1)
        self.await_all(1)
        for generation in range(2, generations + 1):
            self.send(generation)
            while due and due[0] < generation:
                due.pop(0)
                time.sleep(self.random.expovariate(1 / PAUSE))
                self.kill_one()
        self.send(generations)  # the broker may have forgotten it since
        return self.await_all(generations)

    def kept(self, number):
        """What the board's own history has, the oldest first."""
        return [int(each) for each in re.findall(r"fleet (\d+),", self.fleet.boards[number].vornctl("history"))]

    def faults(self):
        """What was made twice or out of order, by what the boards said and by what they have."""
        found = []
        for number in range(self.count):
            said = [each["generation"] for each in self.reports(number) if each["trial"] == "none"]
            kept = self.kept(number)
            if said != sorted(said) or not kept or kept != sorted(set(kept)):
                found.append((number, said, kept))
        return found


def measure(table, build, count, generations, kills, seed):
    storm = Storm(build, count, seed)
    try:
        seconds = storm.run(generations, kills)
        killed = ", ".join(f"{number} of {what}s" for what, number in storm.killed.items())
        table.add(f"{kills} kills ({killed}) during {generations} generations for {count} real boards (seed {seed})",
                  f"all end with the last, {seconds:.0f} s after it", "all")
        faults = storm.faults()
        for each in faults:
            print(each)
        table.add("  boards with changes that were lost, made twice, or out of order", str(len(faults)), "0",
                  not faults)
    finally:
        storm.fleet.end()


if __name__ == "__main__":
    results = rows.Table()
    given = list(map(int, sys.argv[2:])) or [10, 60, 300]
    [seed] = given[3:] or [random.randrange(1000000)]
    print(f"seed {seed}", flush=True)  # also of a storm that has no end
    measure(results, pathlib.Path(sys.argv[1]).resolve(), *given[:3], seed)
    sys.exit(0 if results.is_reached() else 1)
