# SPDX-License-Identifier: MIT
"""What is measured of a fleet, each with the goal that it has to reach."""
import statistics
import time

import street


class Table:
    def __init__(self):
        self.rows = []

    def add(self, what, found, goal="", is_reached=True):
        self.rows.append((what, found, goal, is_reached))
        print(f"{'  ' if is_reached else '! '}{what}: {found}" + (f"   (goal: {goal})" if goal else ""),
              flush=True)

    def is_reached(self):
        return all(row[3] for row in self.rows)

    def show(self):
        wide = max(len(row[0]) for row in self.rows)
        print()
        for what, found, goal, is_reached in self.rows:
            print(f"{what:{wide}}  {found:>14}  {goal:>14}  {'' if is_reached else 'MISSED'}".rstrip())


class Fleet:
    """Simulated devices that have a broker and a change behind them."""

    def __init__(self, build, count):
        # As it is installed: a copy of all that is retained, each second, would be measured, too.
        self.broker = street.Broker(street.CONFIGURATION)
        self.swarm = street.Swarm(build, count)
        self.count = count
        self.generation = 0

    def conduct(self, **words):
        if not words.get("bare"):
            self.generation += 1
        return self.swarm.conduct(self.generation, **words)

    def end(self):
        self.swarm.end()
        self.broker.kill()


def measure_start(table, fleet):
    """All are there for the first time, as after a loss of power that hit all of them."""
    seconds, stats = fleet.swarm.await_all(180)
    table.add(f"{fleet.count} agents start at once: all connected after", f"{seconds:.1f} s")
    table.add("  connections in the busiest second", str(stats["connections"]["most_a_second"]))


def measure_change(table, fleet, rounds):
    """One change to all, as fast as the broker takes it, beside messages of its size."""
    taken, slow, same, floor = [], [], [], []
    fleet.conduct()  # what every device keeps afterwards has been made once
    for _ in range(rounds):
        fleet.swarm.tell("bare")
        fleet.conduct(bare=1)
        time.sleep(1)
        bare = fleet.swarm.tell("measured")["since_begin"]
        fleet.swarm.tell("proof")
        proof = fleet.conduct(bare=2)["since_begin"]
        fleet.swarm.tell("agents")
        own = fleet.conduct()
        assert own["applied"] == fleet.count, own
        taken.append(own["since_begin"]["p99"] / 1000)
        slow.append(own["since_begin"]["p50"] / bare["p50"])
        same.append(own["since_begin"]["p50"] / proof["p50"])
        floor.append(proof["p50"] / bare["p50"])
    worst = max(taken)
    table.add(f"one change to {fleet.count}: 99 % reported applied within", f"{worst:.1f} s", "10 s",
              worst <= 10)
    table.add("  p50 beside the same messages one way", f"{statistics.median(slow):.1f} times")
    table.add("  p50 beside the same ways without agents", f"{statistics.median(same):.1f} times")
    table.add("  those ways beside one way", f"{statistics.median(floor):.1f} times")


def measure_pace(table, fleet, rounds, has_goal, rate=200):
    """The same to a few, so slowly that nobody waits for a processor."""
    few = min(fleet.count, 5 * rate)
    slow, same, floor = [], [], []
    for _ in range(rounds):
        fleet.swarm.tell("bare")
        fleet.conduct(bare=1, rate=rate, count=few)
        time.sleep(0.5)
        bare = fleet.swarm.tell("measured")["each"]["p50"]
        fleet.swarm.tell("proof")
        proof = fleet.conduct(bare=2, rate=rate, count=few)["each"]["p50"]
        fleet.swarm.tell("agents")
        own = fleet.conduct(rate=rate, count=few)["each"]["p50"]
        slow.append(own / bare)
        same.append(own / proof)
        floor.append(proof / bare)
    table.add(f"{rate} changes a second: p50 beside messages one way",
              f"{statistics.median(slow):.1f} times")
    found = statistics.median(same)
    table.add("  p50 beside the same ways without agents", f"{found:.1f} times",
              "3 times" if has_goal else "", not has_goal or found <= 3)
    table.add("  those ways beside one way: what no agent can be faster than",
              f"{statistics.median(floor):.1f} times")


def measure_memory(table, fleet):
    found = fleet.swarm.tell("memory")
    each = found["in_use_each"]
    table.add("memory of a simulated agent, with its connection and its document",
              f"{each} bytes", "8192 bytes", each <= 8192)
    table.add("  with what lies between", f"{found['private_each']} bytes")


def measure_return(table, fleet, seconds_away=1):
    """The broker is killed and started again."""
    fleet.swarm.tell("forget")
    fleet.broker.save()
    fleet.broker.kill()
    time.sleep(seconds_away)
    fleet.broker.start()
    seconds, stats = fleet.swarm.await_all(180)
    table.add(f"broker killed: {fleet.count} agents are back within", f"{seconds:.0f} s", "120 s",
              seconds <= 120)
    for word, what in (("connections", "connections"), ("dials", "attempts")):
        most = stats[word]["most_a_second"]
        table.add(f"  {what} in the busiest second", str(most), "500", most <= 500)
