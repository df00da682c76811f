#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What becomes of a document when broker, agent, daemon or all of the device end at any step:
cut_test.py BUILD-FOLDER, in the sandbox with a second user."""
import os
import pathlib
import random
import signal
import time
import unittest

import board
import fleet_test
from fleet_test import apply, desire, show, system

NOTE = pathlib.Path("/etc/config/fleet/note")
BACK = 240  # seconds: a loss, and attempts that came too early


def broker():
    return fleet_test.BROKER


def tell(process, word):
    os.kill(process if isinstance(process, int) else process.pid, word)


def agent():
    [pid] = board.pids_of("vorn-agent")
    return pid


def cut_power():
    """What was not flushed may be there all the same, which a virtual machine's disk does better."""
    found = board.pids_of("vorn-agent")
    for each in [fleet_test.DAEMON.pid, *found]:
        tell(each, signal.SIGKILL)
    fleet_test.DAEMON.wait()
    board.await_that(lambda: not set(found) & set(board.pids_of("vorn-agent")), "the agent's end")


def boot():
    """And waits until the agent has said that it is there."""
    before = len(broker().told)
    fleet_test.DAEMON = board.start_daemon()
    board.await_that(lambda: any(topic == "online" for topic, _ in broker().told[before:]), "it back")


def times_in_history(number):
    return board.vornctl("history").count(f"fleet {number},")


def restart_broker(forgets):
    broker().kill()
    if forgets:
        for each in board.HOME.glob("mosquitto.db*"):
            each.unlink()
    before = len(broker().told)
    broker().start()
    board.await_that(lambda: {"reported", "online"} <=
                     {topic for topic, _ in broker().told[before:]}, "it back", BACK)


def desire_unacknowledged(location, **more):
    """The change is on trial, and the broker does not say that it has heard of it."""
    tell(agent(), signal.SIGSTOP)
    number = desire(system(location=location), **more)
    tell(broker().process, signal.SIGSTOP)
    tell(agent(), signal.SIGCONT)
    board.await_that(lambda: location in show("system"), "the change")
    time.sleep(0.5)
    return number


class AfterABrokersDeath(unittest.TestCase):
    def test_the_device_is_back_and_says_everything_anew(self):
        number = apply(system(location="a"))["generation"]
        for forgets in (False, True):
            restart_broker(forgets)
            broker().await_report(state="applied", generation=number, trial="none")
            self.assertEqual(broker().last("online"), {"version": 1, "online": True})
        self.assertEqual(times_in_history(number), 1)

        # Somebody publishes what was in force before: it comes to a broker that knows nothing of it.
        broker().desire(fleet_test.SIGNER.sign(fleet_test.wish(system(location="old"), number - 1)))
        broker().await_report(state="refused", reason="older", generation=number)
        self.assertIn(" a\n", show("system", "location"))
        fleet_test.GENERATION = number
        apply(system(location="b"))

    def test_a_trial_is_proved_to_the_next_one(self):
        number = desire_unacknowledged("proved")
        broker().kill()
        broker().start()
        broker().await_report(state="applied", about=number, generation=number, trial="none")
        self.assertEqual(times_in_history(number), 1)


class AfterACut(unittest.TestCase):
    def test_before_the_change_the_attempt_counts(self):
        apply(system(location="before"))
        cut_power()
        number = fleet_test.GENERATION + 1
        interrupted = NOTE.read_text("ascii").split()[2]
        NOTE.write_text(f"{number} 1 {interrupted}\n", "ascii")
        boot()
        desire(system(location="never"))
        report = broker().await_report(state="reverted", about=number)
        self.assertEqual(report["reason"], "interrupted")
        self.assertIn("before", show("system", "location"))
        apply(system(location="again"), attempts=2)

    def test_on_trial_the_old_configuration_is_back(self):
        apply(system(location="old"))
        number = desire_unacknowledged("new")
        cut_power()
        tell(broker().process, signal.SIGCONT)
        boot()
        report = broker().await_report(state="reverted", about=number, trial="none")
        self.assertEqual(report["reason"], "interrupted")
        self.assertLess(report["generation"], number)
        self.assertIn("old", show("system", "location"))

    def test_on_trial_it_is_tried_as_often_as_the_document_says(self):
        number = desire_unacknowledged("twice", attempts=2)
        cut_power()
        tell(broker().process, signal.SIGCONT)
        boot()
        broker().await_report(state="applied", about=number, generation=number)
        self.assertIn("twice", show("system", "location"))

    def test_when_it_is_saved_it_is_in_force_and_not_made_again(self):
        saved = pathlib.Path("/etc/config/config.xml")
        number = desire(system(location="kept"))
        board.await_that(lambda: f"<generation>{number}</generation>" in saved.read_text("utf-8"),
                         "a save")
        cut_power()
        boot()
        broker().await_report(state="applied", about=number, generation=number, trial="none")
        # The history hears of it after the save, which may be too late for it.
        self.assertLessEqual(times_in_history(number), 1)
        self.assertIn("kept", show("system", "location"))

    def test_at_any_moment_the_device_ends_with_the_last_and_never_goes_back(self):
        chance = random.Random(5)
        start = len(broker().told)
        for i in range(8):
            number = desire(system(location=f"cut {i}"), attempts=9)
            time.sleep(chance.uniform(0, 0.4))
            cut_power()
            boot()
        broker().await_report(state="applied", about=number, generation=number, trial="none")
        self.assertIn("cut 7", show("system", "location"))
        told = [text for topic, text in broker().told[start:] if topic == "reported"]
        kept = [text["generation"] for text in told if text["trial"] == "none"]
        self.assertEqual(kept, sorted(kept))


if __name__ == "__main__":
    board.test(fleet_test.prepare, lambda: (broker() and broker().process,
                                            broker() and broker().listener, fleet_test.DAEMON))
