# SPDX-License-Identifier: MIT
"""Agents, daemons and the broker are killed at random while one generation after the other goes out."""
import random
import time

import street

SPEED = 20  # of the devices' clocks: a minute's pause is three seconds
TRIAL = 60


class Storm:
    def __init__(self, build, count, generations, kills, seed):
        self.broker = street.Broker()
        self.swarm = street.Swarm(build, count, SPEED)
        self.count, self.generations = count, generations
        self.random = random.Random(seed)
        # When each is to happen, in generations; of twenty one hits the broker.
        self.due = sorted(self.random.uniform(0, generations - 1) for _ in range(kills))
        self.killed = {"agent": 0, "daemon": 0, "broker": 0}

    def kill_one(self):
        what = self.random.choices(["agent", "daemon", "broker"], [12, 7, 1])[0]
        self.killed[what] += 1
        if what != "broker":
            self.swarm.tell(f"kill {what} {self.random.randrange(self.count)}")
            return
        self.broker.kill()
        time.sleep(self.random.uniform(0, 0.3))
        self.broker.start()

    def send(self, generation):
        """An operator who is told that the broker did not take it sends it again."""
        for _ in range(50):
            try:
                return self.swarm.conduct(generation, seconds=0, trial=TRIAL, attempts=10, size=100,
                                          connection=self.random.choice(["new", "kept"]))
            except street.NoBroker:
                time.sleep(0.1)
        raise AssertionError("no broker takes it")

    def run(self):
        """What the devices' books say in the end."""
        self.swarm.await_all(180)
        for generation in range(1, self.generations + 1):
            self.send(generation)
            while self.due and self.due[0] < generation:
                self.due.pop(0)
                time.sleep(self.random.expovariate(20))
                self.kill_one()
        self.send(self.generations)  # the broker may have forgotten it since
        seconds, stats = self.swarm.await_all(
            300, lambda found: found["lowest"] == self.generations and found["on_trial"] == 0,
            "the last generation everywhere")
        self.swarm.end()
        self.broker.kill()
        return seconds, stats


def measure(table, build, count, generations, kills):
    seed = random.randrange(1000000)
    storm = Storm(build, count, generations, kills, seed)
    seconds, stats = storm.run()
    killed = ", ".join(f"{number} of {what}s" for what, number in storm.killed.items())
    table.add(f"{kills} kills ({killed}) during {generations} generations for {count} devices (seed {seed})",
              f"{stats['applied']} tried, {stats['confirmed']} kept")
    table.add("  devices that end with the last", f"all, {seconds:.0f} s after it", "all")
    table.add("  changes that were lost, made twice, or out of order", str(stats["out_of_order"]), "0",
              stats["out_of_order"] == 0)
