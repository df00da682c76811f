# SPDX-License-Identifier: MIT
"""The command line from its words to what a broker retains, over devices that are not there."""
import contextlib
import io
import itertools
import json
import pathlib
import subprocess
import tempfile
import time
import types
import unittest
from unittest import mock

from fakes import OTHER, TOPICS, Broker, Connection, Device, Killed
from vorn_fleet.main import main
from vorn_fleet.signature import Signer, open_signed, Keys
import fakes

TEMPLATE = """
why: another channel
trial: 20
configuration:
  radio: {some: [{name: radio0, values: {channel: "%s{{ labels.number }}"}}]}
"""


class Desk(unittest.TestCase):
    """A folder, a broker, and five devices which have a document each."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.path = pathlib.Path(scratch.name)
        key = self.path / "key.pem"
        subprocess.run(["openssl", "genpkey", "-algorithm", "ed25519", "-out", key], check=True)
        self.signer = Signer.read(key)
        patched = mock.patch.object(fakes, "SIGNER", self.signer)
        patched.start()
        self.addCleanup(patched.stop)
        seconds = itertools.count(1700000000, 10)
        patched = mock.patch("vorn_fleet.planning.time", types.SimpleNamespace(
            time=lambda: next(seconds), strftime=time.strftime, gmtime=time.gmtime))
        patched.start()
        self.addCleanup(patched.stop)
        self.write("fleet.yaml", "tenant: acme\nbroker: none\nsigning-key: key.pem\nby: anna\n")
        self.write("devices.yaml", "devices:\n" + "".join(
            f"  ap{number}: {{labels: {{number: '{number}'}}}}\n" for number in range(5)))
        self.write("old.yaml", TEMPLATE % 1)
        self.write("new.yaml", TEMPLATE % 2)
        self.begin()

    def begin(self):
        """A broker of its own, for another go."""
        self.broker = Broker()
        for number in range(5):
            Device(self.broker, f"ap{number}")
        self.kill_at = None
        self.assertEqual(self.run_it("apply", "old.yaml", "*", "--waves", "100%")[0], 0)

    def write(self, name, text):
        (self.path / name).write_text(text, "utf-8")

    def connect(self, _settings):
        connection = Connection(self.broker)
        connection.kill_at = self.kill_at
        return connection

    def run_it(self, *words):
        told = io.StringIO()
        with mock.patch("vorn_fleet.context.Connection", self.connect), \
                contextlib.redirect_stdout(told), contextlib.redirect_stderr(told), \
                contextlib.chdir(self.path):
            status = main(list(words))
        return status, told.getvalue()

    def killed(self, step, *words):
        """Whether it was."""
        self.kill_at = step
        try:
            self.run_it(*words)
        except Killed:
            return True
        finally:
            self.kill_at = None
        return False

    def leave_running(self, *words):
        """Somebody was killed when the first wave was out."""
        for step in range(50):
            self.begin()
            self.assertTrue(self.killed(step, *words))
            if ("running", 1) in self.rollouts() and any(
                    len(each.heard) > 1 for each in self.broker.devices.values()):
                return

    def channels(self):
        """What the documents of the devices say."""
        found = []
        for number in range(5):
            opened = open_signed(self.broker.retained[TOPICS.of(f"ap{number}", "desired")],
                                 "desired", Keys([self.signer.public]))
            [item] = json.loads(opened.document)["configuration"]["radio"]["some"]
            found.append(item["values"]["channel"])
        return found

    def rollouts(self):
        status = json.loads(self.run_it("status", "--json")[1])
        return [(each["state"], each["wave"]) for each in status["rollouts"]]


class Applying(Desk):
    def test_tells_what_it_would_do_and_does_nothing(self):
        before = dict(self.broker.retained)
        status, text = self.run_it("apply", "new.yaml", "*", "--dry-run", "--json", "--first",
                                   "ap3")
        plan = json.loads(text)
        self.assertEqual((status, len(plan["waves"]), plan["waves"][0][0]["device"]), (0, 2, "ap3"))
        self.assertEqual(
            plan["waves"][0][0]["document"]["configuration"]["radio"]["some"][0]["values"],
            {"channel": "23"})
        self.assertEqual(plan["waves"][0][0]["generation"], 2)
        self.assertEqual(self.broker.retained, before)

    def test_leaves_out_who_has_it_already(self):
        self.assertEqual(self.run_it("apply", "old.yaml", "*"), (0, "5 have it already\n"))
        self.broker.devices["ap1"].report("applied", 1, **{"difference-count": 1})
        status, text = self.run_it("apply", "old.yaml", "*")
        self.assertEqual((status, text.splitlines()[0]), (0, "4 have it already"))
        self.assertEqual([len(self.broker.devices[f"ap{number}"].heard) for number in range(3)],
                         [1, 2, 1])
        self.assertIn("done: 5 devices", self.run_it("apply", "old.yaml", "*", "--again")[1])

    def test_says_what_the_command_line_says_over_the_file(self):
        self.run_it("apply", "new.yaml", "ap0", "--why", "because", "--trial", "33", "--local",
                    "refuse", "--by", "ben", "--connection", "kept", "--attempts", "3")
        document = json.loads(self.broker.devices["ap0"].heard[-1][2])
        self.assertEqual(
            [document[name] for name in ("by", "why", "trial", "local", "connection", "attempts")],
            ["ben", "because", 33, "refuse", "kept", 3])

    def test_goes_to_no_device_of_a_rollout_that_is_under_way(self):
        self.leave_running("apply", "new.yaml", "ap1", "ap2", "--first", "ap1", "--waves", "1,100%")
        status, text = self.run_it("apply", "old.yaml", "ap2", "--again")
        self.assertEqual(status, 1)
        self.assertIn("is under way at 1 of these devices, ap2 for one", text)
        self.assertEqual(self.run_it("apply", "--stop")[0], 0)
        self.assertEqual(self.run_it("apply", "old.yaml", "ap2", "--again")[0], 0)

    def test_is_used_in_one_way_at_a_time(self):
        for words, message in ((("--resume", "--undo"), "one of"), (("new.yaml", "--resume", "x"),
                                                                    "one of"), ((), "which file"),
                               (("new.yaml", ), "which devices"), (("--forget", ), "which rollout"),
                               (("new.yaml", "*", "--stop-at", "x"),
                                "no amount"), (("new.yaml", "*", "--healthy-for", "x"), "no time"),
                               (("nothing.yaml", "*"), "no nothing.yaml")):
            status, text = self.run_it("apply", *words)
            self.assertEqual(status, 2, words)
            self.assertIn(message, text)
        for words, message in ((("--resume", ), "no rollout that is running or stopped"),
                               (("--resume", "x"), "no rollout x"),
                               (("--forget", "x"), "no rollout x"), (("--undo", "x"),
                                                                     "no rollout x")):
            status, text = self.run_it("apply", *words)
            self.assertEqual(status, 5, words)
            self.assertIn(message, text)


class Undoing(Desk):
    def test_brings_back_what_was_there_and_is_told_so(self):
        self.assertEqual(self.run_it("apply", "new.yaml", "*")[0], 0)
        self.assertEqual(self.channels(), ["20", "21", "22", "23", "24"])
        status, text = self.run_it("apply", "--undo")
        self.assertEqual((status, self.channels()), (0, ["10", "11", "12", "13", "14"]))
        self.assertIn("done: 5 devices", text)
        self.assertEqual(sorted(state for state, _ in self.rollouts()), ["done", "done", "undone"])
        self.assertEqual({each.generation for each in self.broker.devices.values()}, {3})

    def test_interrupted_anywhere_can_be_gone_on_with_or_begun_again(self):
        ends = set()
        for step in range(40):
            self.begin()
            self.run_it("apply", "new.yaml", "*")
            is_killed = self.killed(step, "apply", "--undo", "--waves", "2,100%")
            states = [state for state, _ in self.rollouts()]
            if not is_killed:
                ends.add("whole")
            elif "running" in states:
                ends.add("gone on with")
                self.assertEqual(self.run_it("apply", "--resume")[0], 0, step)
            else:
                ends.add("begun again")
                self.assertEqual(self.channels()[0], "20")
                self.assertEqual(self.run_it("apply", "--undo", self.newest_done())[0], 0, step)
            self.assertEqual(self.channels(), ["10", "11", "12", "13", "14"], step)
            self.assertIn("undone", [state for state, _ in self.rollouts()])
            self.assertTrue(all(each.generation == json.loads(each.heard[-1][2])["generation"]
                                for each in self.broker.devices.values()))
            if not is_killed:
                break
        self.assertEqual(ends, {"whole", "gone on with", "begun again"})

    def newest_done(self):
        status = json.loads(self.run_it("status", "--json")[1])
        return [each["rollout"] for each in status["rollouts"] if each["why"] == "another channel"
                and each["state"] == "done" and len(each["waves"]) > 1][-1]

    def test_of_one_that_runs_has_it_stopped_first(self):
        self.leave_running("apply", "new.yaml", "*", "--waves", "2,100%")
        before = len(self.broker.published)
        status, text = self.run_it("apply", "--undo")
        self.assertEqual((status, self.channels()), (0, ["10", "11", "12", "13", "14"]), text)
        heads = [
            payload for _, topic, payload in self.broker.published[before:]
            if topic.startswith(TOPICS.rollouts)
        ]
        self.assertIn(b'"state":"stopped"', heads[0])
        self.assertEqual(sorted(len(each.heard) for each in self.broker.devices.values()),
                         [1, 1, 1, 1, 3])

    def test_can_be_undone(self):
        self.run_it("apply", "new.yaml", "*")
        self.run_it("apply", "--undo")
        self.assertEqual(self.run_it("apply", "--undo")[0], 0)
        self.assertEqual(self.channels(), ["20", "21", "22", "23", "24"])


class Forgetting(Desk):
    def test_leaves_nothing_of_a_rollout_at_the_broker(self):
        [name] = [topic.split("/")[4] for topic in self.broker.retained
                  if topic.startswith(TOPICS.rollouts) and topic.count("/") == 4]
        self.assertEqual(self.run_it("apply", "--forget", name)[0], 0)
        self.assertEqual([topic for topic in self.broker.retained if "~fleet" in topic], [])
        self.assertEqual(self.channels(), ["10", "11", "12", "13", "14"])

    def test_leaves_alone_what_runs(self):
        self.leave_running("apply", "new.yaml", "*", "--waves", "2,100%")
        status = json.loads(self.run_it("status", "--json")[1])
        [name] = [each["rollout"] for each in status["rollouts"] if each["state"] == "running"]
        before = dict(self.broker.retained)
        status, text = self.run_it("apply", "--forget", name)
        self.assertEqual((status, self.broker.retained), (1, before), text)
        self.assertIn("--stop it first", text)

    def test_tidies_up_what_is_damaged_too(self):
        self.broker.publish(TOPICS.rollout("x"), OTHER.sign(b"{}", "rollout"), True)
        self.broker.publish(TOPICS.rollout("x", "ap1"), b"nonsense", True)
        self.assertEqual(self.run_it("status")[0], 5)
        self.assertEqual(self.run_it("apply", "--forget", "x")[0], 0)
        self.assertEqual(self.run_it("status")[0], 0)


if __name__ == "__main__":
    unittest.main()
