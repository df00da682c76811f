# SPDX-License-Identifier: MIT
"""Rollouts that are planned, interrupted anywhere, taken up by somebody else, and taken back."""
import dataclasses
import unittest
import unittest.mock

from cryptography.hazmat.primitives.asymmetric.ed25519 import Ed25519PrivateKey

from fakes import KEYS, OTHER, SIGNER, TOPICS, Broker, Device, Killed, session_of
from operators import BOTH, HEALTHY_FOR, plan_for, reasons, resume, run, runner_of, wish_of
from vorn_fleet import documents, planning, rollout
from vorn_fleet.problem import Misused, NotThere, Problem
from vorn_fleet.signature import Signer
from vorn_fleet.text import Amount
from vorn_fleet.topics import is_identifier
from vorn_fleet.waves import Standing


class APlan(unittest.TestCase):
    def cut(self, names, waves, **more):
        return rollout.cut_into_waves(names, rollout.read_waves(waves),
                                      more.get("is_there", lambda name: True),
                                      more.get("is_first", lambda name: False))

    def test_cuts_all_devices_into_waves(self):
        names = [f"ap{number}" for number in range(41)]
        waves = self.cut(names, "1,5%,25%,100%")
        self.assertEqual([len(each) for each in waves], [1, 2, 8, 30])
        self.assertEqual(sorted(sum(waves, [])), sorted(names))
        self.assertEqual([len(each) for each in self.cut(names[:2], "1,5%,25%,100%")], [1, 1])
        self.assertEqual([len(each) for each in self.cut(names[:1], "100%")], [1])
        for wrong in ("1,5%", "", "x", "1,,2"):
            with self.assertRaises(Misused):
                self.cut(names, wrong)

    def test_begins_with_whom_one_wants_and_ends_with_whom_nobody_sees(self):
        names = [f"ap{number}" for number in range(20)]
        waves = self.cut(names, "1,50%,100%", is_first=lambda name: name == "ap7",
                         is_there=lambda name: name not in ("ap3", "ap4"))
        self.assertEqual(waves[0], ["ap7"])
        self.assertLessEqual({"ap3", "ap4"}, set(waves[2][-2:]))
        waves = self.cut(names, "1,100%", is_first=lambda name: name == "ap7", is_there=lambda name: name != "ap7")
        self.assertEqual(waves[1][-1], "ap7", "who is away proves nothing, whoever wants him first")

    def test_has_an_id_of_its_own_and_a_greater_one_than_those_before(self):
        moment = 1795413307.968
        same = [planning.new_id(moment) for _ in range(10)]
        self.assertEqual(len(set(same)), 10)
        self.assertLess(max(same), planning.new_id(moment + 0.0001))
        self.assertLess("20261123-055507-f7ce", min(same))  # as they were made once
        self.assertTrue(all(map(is_identifier, same)), same)

    def test_has_the_next_number_of_each_device(self):
        broker = Broker()
        Device(broker, "ap0", generation=41)
        session = session_of(broker)
        plan = plan_for(session, ["ap0", "ap1"], waves="100%")
        self.assertEqual({name: each.generation for name, each in plan.members.items()},
                         {"ap0": 42, "ap1": 1})

    def test_is_not_made_over_what_nobody_knows(self):
        for payload, words in ((OTHER.sign(documents.make("acme", "ap0", 3, wish_of()),
                                           "desired"), OTHER.id), (b"nonsense", "unsigned")):
            broker = Broker()
            broker.publish(TOPICS.of("ap0", "desired"), payload, True)
            with self.assertRaisesRegex(Problem, words):
                plan_for(session_of(broker), ["ap0"])

    def test_sends_nothing_when_one_document_is_too_large(self):
        broker = Broker()
        Device(broker, "ap0")
        before = len(broker.published)
        with self.assertRaisesRegex(Misused, "ap0: .*bytes"):
            run(broker, wish=wish_of("x" * documents.LONGEST))
        with self.assertRaises(NotThere):
            plan_for(session_of(broker), [])
        with self.assertRaisesRegex(Misused, "shorter"):
            run(broker, within=5)
        self.assertEqual(
            [topic for _, topic, _ in broker.published[before:] if "fence" not in topic], [])


class Interrupted(unittest.TestCase):
    """Somebody is killed at each of his publications in turn; somebody else takes the rollout
    up."""

    def fleet(self):
        broker = Broker()
        for number in range(7):
            Device(broker, f"ap{number}", ((4, "applied"),))
        return broker

    def prepared(self):
        broker = self.fleet()
        session = session_of(broker)
        runner = runner_of(session, plan_for(session, list(broker.devices)))
        runner.prepare()
        return broker, runner

    @staticmethod
    def write_head(broker, runner, **changed):
        """As somebody else would who has the key."""
        head = session_of(broker).head(runner.head.rollout)
        broker.publish(TOPICS.rollout(head.rollout),
                       rollout.head_payload(head.now(**changed), SIGNER), True)

    def test_anywhere_a_rollout_is_either_not_begun_or_taken_up(self):
        whole = self.fleet()
        self.assertEqual(run(whole).state, "done")
        steps = sum(topic.startswith("v1/acme/") and not topic.endswith(("/reported", "/online"))
                    for _, topic, _ in whole.published)
        kinds = set()
        for step in range(steps + 1):
            broker = self.fleet()
            session = session_of(broker)
            runner = runner_of(session, plan_for(session, list(broker.devices)))
            session.connection.kill_at = step
            try:
                runner.prepare()
                runner.run()
                killed = False
            except Killed:
                killed = True
            session.connection.close()
            states = [session_of(broker).head(name).state for name in session_of(broker).heads]
            if killed and states in ([], ["preparing"]):
                kinds.add("not begun")
                self.assertEqual([each.heard for each in broker.devices.values()], [[]] * 7)
                self.assertEqual(
                    states or
                    [topic for topic in broker.retained if topic.startswith(TOPICS.rollouts)],
                    states, "what nobody finds")
                continue
            kinds.add("taken up" if killed else "whole")
            head = resume(broker) if states == ["running"] else runner.head
            self.assertEqual(head.state, "done", step)
            for each in broker.devices.values():
                self.assertEqual(each.generation, 1)
                self.assertEqual(len({document for _, _, document in each.heard}), 1)
            self.check_spacing(broker, 4)
        self.assertEqual(kinds, {"not begun", "taken up", "whole"})

    def check_spacing(self, broker, lag):
        """Waves of 1, 3 and 3: none before the last was healthy for the time."""
        first = sorted(each.heard[0][0] for each in broker.devices.values())
        for before, after in ((0, 1), (3, 4)):
            self.assertGreaterEqual(first[after] - first[before], lag + HEALTHY_FOR)

    def test_a_rollout_that_was_stopped_stops_again_when_it_is_taken_up(self):
        broker = Broker()
        for number in range(5):
            Device(broker, f"ap{number}", ((2, "refused"),))
        first = run(broker)
        self.assertEqual(first.state, "stopped")
        self.assertEqual(reasons(resume(broker)), reasons(first))
        self.assertEqual(sum(len(each.heard) for each in broker.devices.values()), 1)

    def test_two_at_once_do_what_one_does(self):
        broker = self.fleet()
        session = session_of(broker, BOTH)
        runner = runner_of(session, plan_for(session, list(broker.devices)))
        runner.prepare()
        broker.at(1030, lambda: self.assertEqual(resume(broker).state, "done"))
        runner.run()
        self.assertEqual(runner.head.state, "done")
        self.assertEqual({each.generation for each in broker.devices.values()}, {1})

    def test_who_sees_somebody_ahead_goes_on_from_there(self):
        broker, runner = self.prepared()
        broker.at(1002, lambda: self.write_head(broker, runner, wave=3))
        runner.run()
        self.assertEqual(runner.head.state, "done")
        self.assertLess(max(each.heard[0][0] for each in broker.devices.values()), 1005)

    def test_who_is_told_to_stop_sends_nothing_more(self):
        broker, runner = self.prepared()
        broker.at(1030, lambda: self.write_head(broker, runner, state="stopped"))
        runner.run()
        self.assertEqual((runner.head.state, runner.head.wave), ("stopped", 1))
        self.assertEqual(sum(len(each.heard) for each in broker.devices.values()), 1)

    def test_a_rollout_that_somebody_else_made_up_is_not_taken_up(self):
        broker = self.fleet()
        session = session_of(broker)
        runner = runner_of(session, plan_for(session, ["ap0"], waves="100%"))
        runner.prepare()
        name = runner.head.rollout
        topic = TOPICS.rollout(name, "ap0")
        good = broker.retained[topic]
        for wrong, words in ((OTHER.sign(good.partition(b"\n")[2], "rollout"), OTHER.id),
                             (good.replace(b"radio0",
                                           b"radio1"), "damaged"), (b"", "retains 0"), (SIGNER.sign(
                                               good.partition(b"\n")[2].replace(b'"ap0"', b'"ap1"'),
                                               "rollout"), "topic"), (SIGNER.sign(b"{}", "rollout"),
                                                                      "can't be read"),
                             (SIGNER.sign(good.partition(b"\n")[2], "desired"), "unsigned")):
            broker.publish(TOPICS.rollout(name),
                           rollout.head_payload(runner.head.now(state="running"), SIGNER), True)
            broker.publish(topic, wrong, True)
            with self.assertRaisesRegex(Problem, words):
                session_of(broker).learn_members(name)
        broker.publish(TOPICS.rollout("x"), broker.retained[TOPICS.rollout(name)], True)
        with self.assertRaisesRegex(Problem, "is one of"):
            session_of(broker).head("x")


class TakingBack(unittest.TestCase):
    def undo(self, broker, overrides=None):
        session = session_of(broker)
        [name] = [
            name for name in session.heads
            if session.head(name).state in ("stopped", "done", "running")
        ]
        old = session.learn_members(name)
        wishes, left = planning.wishes_before(old, session.mirror, KEYS,
                                              {"why": "back", **(overrides or {})})
        if wishes:
            members = planning.members_of(wishes, session.mirror, "acme", SIGNER)
            plan = planning.plan_of(
                members, session.mirror, {
                    "tenant": "acme", "by": "ben", "why": "back",
                    "waves": rollout.read_waves("100%"), "healthy_for": 5, "within": 0,
                    "stop_at": Amount.read("0"), "is_first": lambda name: False, "undoes": name
                })
            runner = runner_of(session, plan)
            runner.prepare()
            runner.run()
        return set(wishes), left

    def test_sends_what_each_device_had_before_with_a_number_of_its_own(self):
        broker = Broker()
        for number in range(4):
            Device(broker, f"ap{number}")
            before = documents.make("acme", f"ap{number}", 5, wish_of(str(number), why="before"))
            broker.publish(TOPICS.of(f"ap{number}", "desired"), documents.sign(before, SIGNER),
                           True)
        broker.settle()
        broker.devices["ap2"].ways = ((2, "refused"),)
        head = run(broker, waves="100%")
        self.assertEqual((head.state, reasons(head)), ("stopped", {"ap2": "refused"}))
        broker.devices["ap2"].ways = ((2, "applied"),)
        self.assertEqual(self.undo(broker), ({"ap0", "ap1", "ap2", "ap3"}, {}))
        session = session_of(broker)
        for number in range(4):
            desired = session.mirror.device(f"ap{number}").desired
            self.assertEqual((desired.generation, desired.members["why"]), (7, "back"))
            self.assertEqual(desired.configuration, wish_of(str(number))["configuration"])
            self.assertEqual(broker.devices[f"ap{number}"].generation, 7)

    def test_leaves_alone_who_had_nothing_or_has_something_else_by_now(self):
        broker = Broker()
        Device(broker, "ap0")
        Device(broker, "ap1")
        self.assertEqual(run(broker, waves="100%").state, "done")
        later = documents.sign(documents.make("acme", "ap1", 9, wish_of("3")), SIGNER)
        broker.publish(TOPICS.of("ap1", "desired"), later, True)
        wishes, left = self.undo(broker)
        self.assertEqual(wishes, set())
        self.assertEqual(left,
                         {"ap0": "had no document before", "ap1": "has another document by now"})

    def test_sends_no_document_back_that_does_not_hold(self):
        broker = Broker()
        Device(broker, "ap0")
        strange = Signer(Ed25519PrivateKey.generate())
        old = documents.make("acme", "ap0", 1, wish_of("1"))
        broker.publish(TOPICS.of("ap0", "desired"), documents.sign(old, SIGNER), True)
        session = session_of(broker)
        plan = plan_for(session, ["ap0"], waves="100%")
        for wrong, word in ((documents.sign(old, strange), "unknown-key"), (b"nonsense", "unsigned"),
                            (documents.sign(old, SIGNER)[:-1] + b" ", "damaged")):
            plan.members["ap0"] = dataclasses.replace(plan.members["ap0"], before=wrong)
            head = plan.head.now(wave=1)
            with unittest.mock.patch.object(planning, "judge", lambda *_: (Standing.HEALTHY, "")):
                found = planning.wishes_before(rollout.Plan(head, plan.members), session.mirror, KEYS, {})
            self.assertEqual(found, ({}, {"ap0": f"had one that is {word}"}))

    def test_sends_what_was_there_although_its_time_is_over(self):
        broker = Broker()
        Device(broker, "ap0")
        before = documents.make("acme", "ap0", 1, wish_of("1", **{"not-before": 10, "not-after": 20}))
        broker.publish(TOPICS.of("ap0", "desired"), documents.sign(before, SIGNER), True)
        broker.settle()
        self.assertEqual(run(broker, waves="100%").state, "done")
        self.assertEqual(self.undo(broker), ({"ap0"}, {}))
        members = session_of(broker).mirror.device("ap0").desired.members
        self.assertEqual(members.keys() & {"not-before", "not-after"}, set())

    def test_goes_to_those_alone_who_got_it(self):
        broker = Broker()
        for number in range(6):
            Device(broker, f"ap{number}", ((1, "applied"),))
            before = documents.make("acme", f"ap{number}", 1, wish_of("1"))
            broker.publish(TOPICS.of(f"ap{number}", "desired"), documents.sign(before, SIGNER),
                           True)
        broker.settle()
        for each in broker.devices.values():
            each.ways = ((2, "reverted"),)
        self.assertEqual(run(broker).state, "stopped")
        [hit] = [name for name, each in broker.devices.items() if len(each.heard) == 2]
        broker.devices[hit].ways = ((2, "applied"),)
        self.assertEqual(self.undo(broker)[0], {hit})
        self.assertEqual([len(each.heard) for name, each in broker.devices.items() if name != hit],
                         [1] * 5)

    def test_tells_what_stays_since_the_earlier_document_is_silent_on_it(self):
        broker = Broker()
        Device(broker, "ap0")
        before = {"ntp-server": {"none": ["a"]}}
        session = session_of(broker)
        plan = plan_for(session, ["ap0"], waves="100%")
        kept = planning.kept_by_undo(plan, {"ap0": documents.check_wish({"configuration": before})})
        self.assertEqual(kept, {"ap0": ["radio radio0", "radio radio0 channel"]})
        self.assertEqual(planning.kept_by_undo(plan, {"ap0": wish_of("1")}), {})


if __name__ == "__main__":
    unittest.main()
