# SPDX-License-Identifier: MIT
"""Waves over devices that obey, refuse, fall ill, lag and vanish."""
import random
import unittest

from fakes import SIGNER, TOPICS, Broker, Device, session_of
from operators import (HEALTHY_FOR, broker_goes, plan_for, reasons, run, run_with, runner_of,
                       wish_of)
from vorn_fleet import documents
from vorn_fleet.problem import NoBroker
from vorn_fleet.waves import Standing, judge


class AWave(unittest.TestCase):
    def test_goes_out_when_the_one_before_was_healthy_for_the_time(self):
        broker = Broker()
        devices = [
            Device(broker, f"ap{number}", ((5, "trying"), (9, "applied"))) for number in range(10)
        ]
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
            devices = [
                Device(broker, f"ap{number}", ((3, "trying"), (5, way))) for number in range(10)
            ]
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
        devices = [
            Device(broker, f"ap{number}", ((5, "applied"), (50, "ill"), (80, "applied")))
            for number in range(4)
        ]
        head = run(broker, waves="1,100%", healthy_for=40)
        self.assertEqual(head.state, "done")
        times = sorted(each.heard[0][0] for each in devices)
        self.assertLess(times[1], 1000 + 50)
        broker = Broker()
        devices = [
            Device(broker, f"ap{number}", ((5, "applied"), (50, "ill"), (80, "applied")))
            for number in range(4)
        ]
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
        self.assertEqual(
            run_with(lambda number: number in (5, 50, 70), stop_at="2%").state, "stopped")
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
        runner = runner_of(session, plan)
        runner.prepare()
        runner.run()
        self.assertEqual((runner.head.state, runner.head.wave), ("stopped", 1))
        self.assertEqual(set(reasons(runner.head).values()), {"away"})
        self.assertEqual([name for name, each in broker.devices.items() if each.heard],
                         [first.device])

    def test_replaces_no_later_document(self):
        broker = Broker()
        for number in range(4):
            Device(broker, f"ap{number}")
        session = session_of(broker)
        plan = plan_for(session, list(broker.devices), waves="1,100%")
        victim = plan.of_wave(2)[0].device
        later = documents.sign(documents.make("acme", victim, 9, wish_of("3")), SIGNER)
        broker.at(1010, lambda: broker.publish(TOPICS.of(victim, "desired"), later, True))
        runner = runner_of(session, plan)
        runner.prepare()
        runner.run()
        self.assertEqual((runner.head.state, reasons(runner.head)),
                         ("stopped", {victim: "overtaken"}))
        self.assertEqual(broker.retained[TOPICS.of(victim, "desired")], later)

    def test_waits_for_a_broker_that_goes_while_it_goes_out(self):
        broker = Broker()
        Device(broker, "ap0")
        session = session_of(broker)
        runner = runner_of(session, plan_for(session, ["ap0"], waves="100%"))
        runner.prepare()

        def go(topic, payload):
            if b'"wave":1,' in payload and topic.startswith(
                    TOPICS.rollouts) and session.connection.is_connected:
                session.connection.go(False)
                broker.at(broker.now + 200, lambda: session.connection.go(True))

        broker.on_publish = go
        runner.run()
        self.assertEqual(runner.head.state, "done")
        self.assertGreaterEqual(broker.devices["ap0"].heard[0][0], 1200)

    def test_ends_where_the_broker_takes_nothing(self):
        broker = Broker()
        Device(broker, "ap0")
        Device(broker, "ap1")
        for words, refused in (("below v1/acme/~fleet/rollouts/", TOPICS.rollouts),
                               ("write v1/acme/./desired", "ap1/desired")):
            session = session_of(broker)
            runner = runner_of(session, plan_for(session, ["ap0", "ap1"], waves="100%"))
            broker.refuses = lambda topic, refused=refused: refused in topic
            with self.assertRaisesRegex(NoBroker, words):
                runner.prepare()
                runner.run()
            broker.refuses = lambda topic: False
        self.assertEqual([len(each.heard) for each in broker.devices.values()], [1, 0])

    def test_has_its_time_anew_when_nobody_has_looked_for_long(self):
        broker = Broker()
        Device(broker, "ap0", ((20, "applied"),))
        broker.at(1005, lambda: broker.sleep(1000))
        self.assertEqual(run(broker, healthy_for=10, within=40).state, "done")

    def test_was_well_for_no_time_in_which_nobody_has_looked(self):
        broker = Broker()
        devices = [Device(broker, f"ap{number}") for number in range(2)]
        broker.at(1010, lambda: broker.sleep(1000))
        self.assertEqual(run(broker, waves="1,100%").state, "done")
        self.assertGreaterEqual(max(each.heard[0][0] for each in devices), 2010 + HEALTHY_FOR)

    def test_is_sent_again_where_the_broker_forgot_it(self):
        broker = Broker()
        Device(broker, "ap0", ((100, "applied"),))
        broker.at(
            1050,
            lambda: broker.publish(TOPICS.of("ap0", "desired"), b"", True))  # as hear() is not told
        broker.devices["ap0"].hear = lambda payload, hear=broker.devices[
            "ap0"].hear: payload and hear(payload)
        self.assertEqual(run(broker).state, "done")
        self.assertEqual(len({document for _, _, document in broker.devices["ap0"].heard}), 1)

    def test_goes_on_when_the_broker_comes_back(self):
        broker = Broker()
        Device(broker, "ap0")
        Device(broker, "ap1")
        session = session_of(broker)
        runner = runner_of(session, plan_for(session, ["ap0", "ap1"], waves="1,100%"))
        broker.at(1020, lambda: session.connection.go(False))
        broker.at(1500, lambda: session.connection.go(True))
        runner.prepare()
        runner.run()
        self.assertEqual(runner.head.state, "done")
        self.assertGreaterEqual(max(each.heard[0][0] for each in broker.devices.values()), 1500)


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
        broker.devices.clear()
        mine = broker.retained[TOPICS.of("ap0", "desired")]
        twin = documents.make("acme", "ap0", member.generation, wish_of("7"))
        broker.publish(TOPICS.of("ap0", "desired"), documents.sign(twin, SIGNER), True)
        self.assertIs(standing(), Standing.OVERTAKEN, "another document of this number")
        broker.publish(TOPICS.of("ap0", "desired"), mine, True)
        broker.publish(TOPICS.of("ap0", "reported"), b"[" * 9999, True)
        self.assertIs(standing(), Standing.PENDING)
        device.generation += 1
        device.report("applied", device.generation)
        self.assertIs(standing(), Standing.OVERTAKEN)
        broker.publish(TOPICS.of("ap0", "desired"), b"hostile", True)
        self.assertEqual(judge(member, session_of(broker).mirror.device("ap0")),
                         (Standing.OVERTAKEN, "what is retained for it is unsigned"))


class AnyFleet(unittest.TestCase):
    """Devices at random, and what holds whatever they do."""

    WAYS = (((3, "applied"), ), ((40, "trying"), (70, "applied")), ((3, "trying"), (30,
                                                                                    "reverted")),
            ((2, "refused"), ), ((5, "applied"), (30, "ill"), (60, "applied")), ((5, "ill"), ),
            ((1, "offline"), ), ((1, "offline"), (100, "online"), (101, "applied")), ())

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
            ways = chance.choice(self.WAYS) if chance.random() < bad else self.WAYS[chance.randint(
                0, 1)]
            Device(broker, f"ap{number}", ways, is_online=chance.random() < 0.95)
        stop_at = chance.choice(("0", "2%", "10%", "1"))
        session = session_of(broker)
        plan = plan_for(session,
                        list(broker.devices),
                        stop_at=stop_at,
                        waves=chance.choice(("1,10%,100%", "50%,100%")))
        runner = runner_of(session, plan)
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
            self.assertEqual([number for _, number, _ in each.heard],
                             [1] if wave_of[name] <= head.wave else [])
        for name, standing, _ in head.reasons:
            self.assertIn(standing, [each.value for each in Standing])
            self.assertIsNone(broker.devices[name].well_since if standing != "under way" else None)
        if head.state == "done":
            self.assertEqual(head.wave, len(head.waves))
            self.assertLessEqual(len(head.reasons), head.stop_at.at_most(sum(head.waves)))
        else:
            self.assertGreater(len(head.reasons), 0)


if __name__ == "__main__":
    unittest.main()
