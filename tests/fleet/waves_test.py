# SPDX-License-Identifier: MIT
"""Rollouts over devices that obey, refuse, fall ill, lag and vanish, and operators who are interrupted anywhere."""
import random
import unittest

import fakes
from fakes import KEYS, OTHER, SIGNER, TOPICS, Broker, Device, Killed, session_of
from vorn_fleet import documents, planning, rollout
from vorn_fleet.problem import Misused, NotThere, Problem
from vorn_fleet.runner import Runner
from vorn_fleet.signature import Keys
from vorn_fleet.text import Amount
from vorn_fleet.waves import Standing, judge

HEALTHY_FOR = 60
BOTH = Keys([SIGNER.public, OTHER.public])


class Silent:
    """A teller who tells nobody, and who knows what he was told."""

    def __init__(self):
        self.absent = []
        self.warnings = []

    def wave(self, head, decision):
        pass

    standings = wave

    def warn(self, text):
        self.warnings.append(text)

    def waiting_for_broker(self):
        pass

    def ended(self, head, absent):
        self.absent = absent


def wish_of(channel="11", **more):
    configuration = {"radio": {"some": [{"name": "radio0", "values": {"channel": channel}}]}}
    return documents.check_wish({"trial": 20, "configuration": configuration, **more})


def plan_for(session, names, waves="1,50%,100%", stop_at="0", healthy_for=HEALTHY_FOR, within=0, wish=None,
             signer=SIGNER, undoes=""):
    members = planning.members_of({name: wish or wish_of() for name in names}, session.mirror, "acme", signer)
    return planning.plan_of(members, session.mirror, {
        "tenant": "acme", "by": "anna", "why": "a test", "waves": rollout.read_waves(waves),
        "healthy_for": healthy_for, "within": within, "stop_at": Amount.read(stop_at),
        "is_first": lambda name: False, "undoes": undoes})


def runner_of(broker, session, plan, signer=SIGNER):
    return Runner(session, plan, signer, Silent(), clock=lambda: broker.now)


def run(broker, **how):
    """A rollout to all devices of a broker: its head at the end."""
    session = session_of(broker)
    runner = runner_of(broker, session, plan_for(session, list(broker.devices), **how))
    runner.prepare()
    runner.run()
    session.connection.end()
    return runner.head


def resume(broker, signer=OTHER, keys=BOTH):
    """Somebody else, who has no folder, with a key of his own."""
    session = session_of(broker, keys, "somebody-else")
    [name] = [name for name in session.heads if session.head(name).state in ("running", "stopped")]
    runner = runner_of(broker, session, session.learn_members(name), signer)
    runner.run()
    session.connection.end()
    return runner.head


def reasons(head):
    return {name: standing for name, standing, _ in head.reasons}


class AWave(unittest.TestCase):
    def test_goes_out_when_the_one_before_was_healthy_for_the_time(self):
        broker = Broker()
        devices = [Device(broker, f"ap{number}", ((5, "trying"), (9, "applied"))) for number in range(10)]
        head = run(broker)
        self.assertEqual((head.state, head.waves, head.wave), ("done", (1, 4, 5), 3))
        times = sorted(each.heard[0][0] for each in devices)
        self.assertEqual(len(set(times)), 3)
        self.assertGreaterEqual(times[1] - times[0], 9 + HEALTHY_FOR)
        self.assertGreaterEqual(times[5] - times[4], 9 + HEALTHY_FOR)
        self.assertEqual([len(each.heard) for each in devices], [1] * 10)

    def test_does_not_go_out_when_the_one_before_was_refused_or_taken_back(self):
        for way in ("refused", "reverted"):
            broker = Broker()
            devices = [Device(broker, f"ap{number}", ((3, "trying"), (5, way))) for number in range(10)]
            head = run(broker)
            [hit] = [each for each in devices if each.heard]
            self.assertEqual((head.state, head.wave), ("stopped", 1))
            standing = "refused" if way == "refused" else "taken back"
            why = "rejected" if way == "refused" else "unreached"
            self.assertEqual([list(each) for each in head.reasons], [[hit.name, standing, why]])
            self.assertLess(broker.now, 1000 + 10)

    def test_does_not_go_out_when_one_stays_away_ill_or_under_way(self):
        for way, standing in (("offline", "away"), ("ill", "not healthy"), ("trying", "under way")):
            broker = Broker()
            devices = [Device(broker, f"ap{number}", ((3, way),)) for number in range(10)]
            head = run(broker, within=200)
            self.assertEqual((head.state, set(reasons(head).values())), ("stopped", {standing}))
            self.assertEqual(sum(len(each.heard) for each in devices), 1)
            self.assertGreaterEqual(broker.now, 1200)
            self.assertLess(broker.now, 1202)

    def test_waits_anew_when_somebody_falls_ill_in_between(self):
        broker = Broker()
        devices = [Device(broker, f"ap{number}", ((5, "applied"), (50, "ill"), (80, "applied"))) for number in range(4)]
        head = run(broker, waves="1,100%", healthy_for=40)
        self.assertEqual(head.state, "done")
        times = sorted(each.heard[0][0] for each in devices)
        self.assertLess(times[1], 1000 + 50)
        broker = Broker()
        devices = [Device(broker, f"ap{number}", ((5, "applied"), (50, "ill"), (80, "applied"))) for number in range(4)]
        run(broker, waves="1,100%", healthy_for=60)
        times = sorted(each.heard[0][0] for each in devices)
        self.assertGreaterEqual(times[1], 1000 + 80 + 60)

    def test_waits_for_as_many_attempts_as_a_document_has(self):
        broker = Broker()
        Device(broker, "ap0", ((5, "reverted"), (40, "trying"), (50, "applied")))
        self.assertEqual(run(broker, wish=wish_of(attempts=2)).state, "done")
        broker = Broker()
        Device(broker, "ap0", ((5, "reverted"), (40, "trying"), (50, "applied")))
        self.assertEqual(run(broker).state, "stopped")

    def test_goes_out_although_a_few_failed_where_that_is_allowed(self):
        broker = Broker()
        for number in range(100):
            Device(broker, f"ap{number}", ((2, "refused" if number in (5, 50) else "applied"),))
        head = run(broker, waves="60%,100%", stop_at="4%")
        self.assertEqual((head.state, set(reasons(head))), ("done", {"ap5", "ap50"}))
        self.assertEqual(run_with(lambda number: number in (5, 50, 70), stop_at="2%").state, "stopped")
        self.assertEqual(run_with(lambda number: number in (5, 50, 70), stop_at="3").state, "done")

    def test_does_not_wait_for_whom_nobody_has_seen(self):
        broker = Broker()
        for number in range(10):
            Device(broker, f"ap{number}", is_online=number > 3)
        head = run(broker)
        self.assertEqual((head.state, set(head.absent)), ("done", {"ap0", "ap1", "ap2", "ap3"}))
        self.assertTrue(all(each.heard for each in broker.devices.values()))

    def test_counts_who_comes_back_while_it_lasts(self):
        broker = Broker()
        Device(broker, "ap0", ((30, "applied"),))
        Device(broker, "ap1", ((10, "online"), (20, "reverted")), is_online=False)
        head = run(broker, waves="100%")
        self.assertEqual((head.state, reasons(head)), ("stopped", {"ap1": "taken back"}))

    def test_stops_where_a_whole_wave_would_prove_nothing(self):
        broker = Broker()
        for number in range(6):
            Device(broker, f"ap{number}")
        session = session_of(broker)
        plan = plan_for(session, list(broker.devices), waves="1,3,100%")
        [first] = plan.of_wave(1)
        for member in plan.of_wave(2):
            broker.at(1030, broker_goes(broker, member.device))
        runner = runner_of(broker, session, plan)
        runner.prepare()
        runner.run()
        self.assertEqual((runner.head.state, runner.head.wave), ("stopped", 1))
        self.assertEqual(set(reasons(runner.head).values()), {"away"})
        self.assertEqual([name for name, each in broker.devices.items() if each.heard], [first.device])

    def test_replaces_no_later_document(self):
        broker = Broker()
        for number in range(4):
            Device(broker, f"ap{number}")
        session = session_of(broker)
        plan = plan_for(session, list(broker.devices), waves="1,100%")
        victim = plan.of_wave(2)[0].device
        later = documents.sign(documents.make("acme", victim, 9, wish_of("3")), SIGNER)
        broker.at(1010, lambda: broker.publish(TOPICS.of(victim, "desired"), later, True))
        runner = runner_of(broker, session, plan)
        runner.prepare()
        runner.run()
        self.assertEqual((runner.head.state, reasons(runner.head)), ("stopped", {victim: "overtaken"}))
        self.assertEqual(broker.retained[TOPICS.of(victim, "desired")], later)

    def test_is_sent_again_where_the_broker_forgot_it(self):
        broker = Broker()
        Device(broker, "ap0", ((100, "applied"),))
        broker.at(1050, lambda: broker.publish(TOPICS.of("ap0", "desired"), b"", True)) # as hear() is not told
        broker.devices["ap0"].hear = lambda payload, hear=broker.devices["ap0"].hear: payload and hear(payload)
        self.assertEqual(run(broker).state, "done")
        self.assertEqual(len({document for _, _, document in broker.devices["ap0"].heard}), 1)

    def test_goes_on_when_the_broker_comes_back(self):
        broker = Broker()
        Device(broker, "ap0")
        Device(broker, "ap1")
        session = session_of(broker)
        runner = runner_of(broker, session, plan_for(session, ["ap0", "ap1"], waves="1,100%"))
        broker.at(1020, lambda: setattr(session.connection, "is_connected", False))
        broker.at(1500, lambda: setattr(session.connection, "is_connected", True))
        runner.prepare()
        runner.run()
        self.assertEqual(runner.head.state, "done")
        self.assertGreaterEqual(max(each.heard[0][0] for each in broker.devices.values()), 1500)


def broker_goes(broker, name):
    return lambda: broker.devices[name].go(False)


def run_with(is_bad, **how):
    broker = Broker()
    for number in range(100):
        Device(broker, f"ap{number}", ((2, "refused" if is_bad(number) else "applied"),))
    return run(broker, waves="100%", **how)


class APlan(unittest.TestCase):
    def cut(self, names, waves, **more):
        return rollout.cut_into_waves(names, rollout.read_waves(waves), more.get("is_there", lambda name: True),
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

    def test_has_the_next_number_of_each_device(self):
        broker = Broker()
        Device(broker, "ap0", generation=41)
        session = session_of(broker)
        plan = plan_for(session, ["ap0", "ap1"], waves="100%")
        self.assertEqual({name: each.generation for name, each in plan.members.items()}, {"ap0": 42, "ap1": 1})

    def test_is_not_made_over_what_nobody_knows(self):
        for payload, words in ((OTHER.sign(documents.make("acme", "ap0", 3, wish_of()), "desired"), OTHER.id),
                               (b"nonsense", "unsigned")):
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
        self.assertEqual([topic for _, topic, _ in broker.published[before:] if "fence" not in topic], [])


class AJudgement(unittest.TestCase):
    def test_takes_no_report_for_what_it_is_not(self):
        broker = Broker()
        device = Device(broker, "ap0", ways=())
        session = session_of(broker)
        member = plan_for(session, ["ap0"], waves="100%").members["ap0"]

        def standing():
            session.pump(0)
            while session.connection.take(0) is not None:
                pass
            fresh = session_of(broker)
            return judge(member, fresh.mirror.device("ap0"))[0]

        self.assertIs(standing(), Standing.UNSENT)
        broker.publish(TOPICS.of("ap0", "desired"), documents.sign(member.document, SIGNER), True)
        self.assertIs(standing(), Standing.PENDING)
        device.generation = member.generation
        device.report("applied", member.generation)
        self.assertIs(standing(), Standing.PENDING, "another document of this number")
        device.digest = member.digest
        device.report("applied", member.generation, trial="ours")
        self.assertIs(standing(), Standing.PENDING, "on trial")
        device.report("applied", member.generation, healthy="yes")
        self.assertIs(standing(), Standing.ILL)
        device.report("applied", member.generation)
        self.assertIs(standing(), Standing.HEALTHY)
        device.go(False)
        self.assertIs(standing(), Standing.AWAY)
        device.go(True)
        broker.publish(TOPICS.of("ap0", "reported"), b"[" * 9999, True)
        self.assertIs(standing(), Standing.PENDING)
        device.generation += 1
        device.report("applied", device.generation)
        self.assertIs(standing(), Standing.OVERTAKEN)
        broker.devices.clear()
        broker.publish(TOPICS.of("ap0", "desired"), b"hostile", True)
        self.assertIs(standing(), Standing.OVERTAKEN)


class Interrupted(unittest.TestCase):
    """Somebody is killed at each of his publications in turn; somebody else takes the rollout up."""

    def fleet(self):
        broker = Broker()
        for number in range(7):
            Device(broker, f"ap{number}", ((4, "applied"),))
        return broker

    def test_anywhere_a_rollout_is_either_not_begun_or_taken_up(self):
        whole = self.fleet()
        self.assertEqual(run(whole).state, "done")
        steps = sum(topic.startswith("v1/acme/") and not topic.endswith(("/reported", "/online"))
                    for _, topic, _ in whole.published)
        kinds = set()
        for step in range(steps + 1):
            broker = self.fleet()
            session = session_of(broker)
            runner = runner_of(broker, session, plan_for(session, list(broker.devices)))
            session.connection.kill_at = step
            try:
                runner.prepare()
                runner.run()
                killed = False
            except Killed:
                killed = True
            session.connection.end()
            states = [session_of(broker).head(name).state for name in session_of(broker).heads]
            if killed and states in ([], ["preparing"]):
                kinds.add("not begun")
                self.assertEqual([each.heard for each in broker.devices.values()], [[]] * 7)
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
        runner = runner_of(broker, session, plan_for(session, list(broker.devices)))
        runner.prepare()
        broker.at(1030, lambda: self.assertEqual(resume(broker).state, "done"))
        runner.run()
        self.assertEqual(runner.head.state, "done")
        self.assertEqual({each.generation for each in broker.devices.values()}, {1})

    def test_who_is_told_to_stop_sends_nothing_more(self):
        broker = self.fleet()
        session = session_of(broker)
        plan = plan_for(session, list(broker.devices))
        runner = runner_of(broker, session, plan)
        runner.prepare()

        def stop():
            head = session_of(broker).head(plan.head.rollout)
            broker.publish(TOPICS.rollout(head.rollout), rollout.head_payload(head.now(state="stopped"), SIGNER), True)

        broker.at(1030, stop)
        runner.run()
        self.assertEqual((runner.head.state, runner.head.wave), ("stopped", 1))
        self.assertEqual(sum(len(each.heard) for each in broker.devices.values()), 1)

    def test_a_rollout_that_somebody_else_made_up_is_not_taken_up(self):
        broker = self.fleet()
        session = session_of(broker)
        runner = runner_of(broker, session, plan_for(session, ["ap0"], waves="100%"))
        runner.prepare()
        name = runner.head.rollout
        topic = TOPICS.rollout(name, "ap0")
        good = broker.retained[topic]
        for wrong, words in ((OTHER.sign(good.partition(b"\n")[2], "rollout"), OTHER.id),
                             (good.replace(b"radio0", b"radio1"), "damaged"), (b"", "retains 0"),
                             (SIGNER.sign(good.partition(b"\n")[2].replace(b'"ap0"', b'"ap1"'), "rollout"), "topic"),
                             (SIGNER.sign(b"{}", "rollout"), "can't be read"),
                             (SIGNER.sign(good.partition(b"\n")[2], "desired"), "unsigned")):
            broker.publish(TOPICS.rollout(name), rollout.head_payload(runner.head.now(state="running"), SIGNER), True)
            broker.publish(topic, wrong, True)
            with self.assertRaisesRegex(Problem, words):
                session_of(broker).learn_members(name)
        broker.publish(TOPICS.rollout("x"), broker.retained[TOPICS.rollout(name)], True)
        with self.assertRaisesRegex(Problem, "is one of"):
            session_of(broker).head("x")


class TakingBack(unittest.TestCase):
    def undo(self, broker, overrides=None):
        session = session_of(broker)
        [name] = [name for name in session.heads if session.head(name).state in ("stopped", "done", "running")]
        old = session.learn_members(name)
        wishes, left = planning.wishes_before(old, session.mirror, KEYS, {"why": "back", **(overrides or {})})
        if wishes:
            members = planning.members_of(wishes, session.mirror, "acme", SIGNER)
            plan = planning.plan_of(members, session.mirror, {
                "tenant": "acme", "by": "ben", "why": "back", "waves": rollout.read_waves("100%"), "healthy_for": 5,
                "within": 0, "stop_at": Amount.read("0"), "is_first": lambda name: False, "undoes": name})
            runner = runner_of(broker, session, plan)
            runner.prepare()
            runner.run()
        return set(wishes), left

    def test_sends_what_each_device_had_before_with_a_number_of_its_own(self):
        broker = Broker()
        for number in range(4):
            Device(broker, f"ap{number}")
            before = documents.make("acme", f"ap{number}", 5, wish_of(str(number), why="before"))
            broker.publish(TOPICS.of(f"ap{number}", "desired"), documents.sign(before, SIGNER), True)
        broker.now += 100
        while broker._due:
            broker.pass_time(10)
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
        self.assertEqual(left, {"ap0": "had no document before", "ap1": "has another document by now"})

    def test_goes_to_those_alone_who_got_it(self):
        broker = Broker()
        for number in range(6):
            Device(broker, f"ap{number}", ((1, "applied"),))
            before = documents.make("acme", f"ap{number}", 1, wish_of("1"))
            broker.publish(TOPICS.of(f"ap{number}", "desired"), documents.sign(before, SIGNER), True)
        while broker._due:
            broker.pass_time(10)
        for each in broker.devices.values():
            each.ways = ((2, "reverted"),)
        self.assertEqual(run(broker).state, "stopped")
        [hit] = [name for name, each in broker.devices.items() if len(each.heard) == 2]
        broker.devices[hit].ways = ((2, "applied"),)
        self.assertEqual(self.undo(broker)[0], {hit})
        self.assertEqual([len(each.heard) for name, each in broker.devices.items() if name != hit], [1] * 5)

    def test_tells_what_stays_since_the_earlier_document_is_silent_on_it(self):
        broker = Broker()
        Device(broker, "ap0")
        before = {"ntp-server": {"none": ["a"]}}
        session = session_of(broker)
        plan = plan_for(session, ["ap0"], waves="100%")
        kept = planning.kept_by_undo(plan, {"ap0": documents.check_wish({"configuration": before})})
        self.assertEqual(kept, {"ap0": ["radio radio0", "radio radio0 channel"]})
        self.assertEqual(planning.kept_by_undo(plan, {"ap0": wish_of("1")}), {})


class AnyFleet(unittest.TestCase):
    """Devices at random, and what holds whatever they do."""

    WAYS = (((3, "applied"),), ((40, "trying"), (70, "applied")), ((3, "trying"), (30, "reverted")), ((2, "refused"),),
            ((5, "applied"), (30, "ill"), (60, "applied")), ((5, "ill"),), ((1, "offline"),),
            ((1, "offline"), (100, "online"), (101, "applied")), ())

    def test_gets_no_wave_before_the_last_one_is_well(self):
        ended = set()
        for seed in range(80):
            with self.subTest(seed=seed):
                ended.add(self.check_one(random.Random(seed)))
        self.assertEqual(ended, {"done", "stopped"})

    def check_one(self, chance):
        broker = Broker()
        bad = chance.choice((0, 0, 0.02, 0.3))
        for number in range(chance.randint(1, 40)):
            ways = chance.choice(self.WAYS) if chance.random() < bad else self.WAYS[chance.randint(0, 1)]
            Device(broker, f"ap{number}", ways, is_online=chance.random() < 0.95)
        stop_at = chance.choice(("0", "2%", "10%", "1"))
        session = session_of(broker)
        plan = plan_for(session, list(broker.devices), stop_at=stop_at, waves=chance.choice(("1,10%,100%", "50%,100%")))
        runner = runner_of(broker, session, plan)
        wave_of = {name: each.wave for name, each in plan.members.items()}
        begun = {}

        def look(topic, _):
            device, leaf = topic.split("/")[-2:]
            if leaf == "desired" and wave_of[device] not in begun:
                begun[wave_of[device]] = broker.now
                self.check_before(broker, plan, wave_of, wave_of[device], runner.head)

        broker.on_publish = look
        runner.prepare()
        runner.run()
        self.check_end(broker, runner.head, wave_of)
        return runner.head.state

    def check_before(self, broker, plan, wave_of, wave, head):
        sent = [name for name, number in wave_of.items() if number < wave]
        waited = [name for name in sent if name not in head.absent]
        unwell = [name for name in waited if broker.devices[name].well_since is None or
                  broker.now - broker.devices[name].well_since < HEALTHY_FOR]
        self.assertLessEqual(len(unwell), plan.head.stop_at.at_most(len(sent)), (wave, unwell))

    def check_end(self, broker, head, wave_of):
        for name, each in broker.devices.items():
            self.assertEqual([number for _, number, _ in each.heard], [1] if wave_of[name] <= head.wave else [])
        for name, standing, _ in head.reasons:
            self.assertIn(standing, [each.value for each in Standing])
            self.assertIsNone(broker.devices[name].well_since if standing != "under way" else None)
        if head.state == "done":
            self.assertEqual(head.wave, len(head.waves))
            self.assertLessEqual(len(head.reasons), head.stop_at.at_most(sum(head.waves)))
        else:
            self.assertGreater(len(head.reasons), 0)


if __name__ == "__main__":
    assert fakes
    unittest.main()
