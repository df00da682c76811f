# SPDX-License-Identifier: MIT
"""vorn-fleet as operators run it, with a real mosquitto, in the sandbox; the devices are made
up."""
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import fakes
from vorn_fleet import documents
from vorn_fleet.broker import Connection, split_address
from vorn_fleet.problem import Misused, NoBroker
from vorn_fleet.signature import Signer, open_signed

PROGRAM = pathlib.Path(__file__).resolve().parents[2] / "fleet/vorn-fleet"
TEMPLATE = """
why: another channel
trial: 5
configuration:
  radio: {some: [{name: radio0, values: {channel: "{{ channel }}"}}]}
"""
CONFIGURATION = """
user root
per_listener_settings true
persistence true
persistence_location %s/
listener 1883 127.0.0.1
allow_anonymous true
listener 1884 127.0.0.1
allow_anonymous false
password_file %s/passwords
listener 1885 127.0.0.1
allow_anonymous true
acl_file %s/rules
"""
RULES = """
topic read v1/acme/#
topic write v1/acme/~fleet/fence/#
"""


def await_that(is_so, what, seconds=120):
    end = time.monotonic() + seconds
    while not is_so():
        assert time.monotonic() < end, what
        time.sleep(0.02)


class Mosquitto:
    def __init__(self, folder):
        self.folder = folder
        (folder / "m.conf").write_text(CONFIGURATION % (folder, folder, folder), "ascii")
        (folder / "rules").write_text(RULES, "ascii")
        (folder / "passwords").touch(0o600)
        subprocess.run(["mosquitto_passwd", "-b", folder / "passwords", "anna", "secret"],
                       check=True,
                       capture_output=True)
        self.start()

    def start(self):
        with open(self.folder / "log", "ab") as log:
            self.process = subprocess.Popen(["mosquitto", "-c", self.folder / "m.conf"],
                                            stdout=log,
                                            stderr=log)
        await_that(lambda: subprocess.run(["mosquitto_pub", "-t", "x", "-m", "x"], check=False,
                                          capture_output=True).returncode == 0, "a broker")

    def stop(self):
        self.process.terminate()
        self.process.wait()


def leaf_of(message):
    return message.response.split("/", 3)[3]


class Devices:
    """Apply what comes, one way or the other, on a connection of their own."""

    def __init__(self, signer, names):
        self.ways = {name: "applied" for name in names}
        self.numbers = {name: 0 for name in names}
        self.heard = []
        self._signer = signer
        self._connection = Connection({"broker": "127.0.0.1", "tls": "off"})
        self._connection.open()
        self._connection.subscribe(
            [f"v1/acme/{name}/{leaf}" for name in names for leaf in ("desired", "request")])
        for name in names:
            self.say(name, "online", {"version": 1, "online": True})
            self.report(name, "none", 0)
        self._is_going = True
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def say(self, name, leaf, thing):
        self._connection.publish(f"v1/acme/{name}/{leaf}",
                                 json.dumps(thing).encode(),
                                 is_retained=True)

    def report(self, name, state, about, digest="", **more):
        self.say(
            name, "reported", {
                "version": 1, "generation": self.numbers[name], "digest": digest, "state": state,
                "about": about, "reason": "" if state in ("applied", "none") else "unreached",
                "detail": "", "trial": "none", "schema": "", "versions": {"daemon": "0.1.0"},
                "hash": "", "desired-hash": "", "differences": [], "difference-count": 0,
                "healthy": True, "problems": [], **more
            })

    def _run(self):
        while self._is_going:
            message = self._connection.take(0.1)
            if message is None or not message.payload:
                continue
            name, leaf = message.topic.split("/")[2:]
            if leaf == "request":
                self._answer(name, message)
                continue
            opened = open_signed(message.payload, "desired", fakes.Keys([self._signer.public]))
            assert not opened.fault
            document = json.loads(opened.document)
            self.heard.append((name, document["generation"]))
            if document["generation"] <= self.numbers[name]:
                continue
            if self.ways[name] == "applied":
                self.numbers[name] = document["generation"]
            self.report(name, self.ways[name], document["generation"],
                        documents.digest_of(opened.document))

    def _answer(self, name, message):
        opened = open_signed(message.payload, "request", fakes.Keys([self._signer.public]))
        answer = {
            "version": 1, "refused": "", "detail": "",
            "reply": "<" + json.loads(opened.document)["lsql"] + ">\x1b"
        }
        if name == "ap1":
            answer = {**answer, "refused": "off", "detail": "not here", "reply": ""}
        for place, correlation in ((message.response, b"not asked for"),
                                   (f"v1/acme/other/{leaf_of(message)}", message.correlation)):
            self._connection.publish(place,
                                     b'{"refused":"","detail":"","reply":"forged"}',
                                     response=("x", correlation))
        self._connection.publish(message.response, json.dumps(answer).encode(),
                                 response=("x", message.correlation))

    def end(self):
        self._is_going = False
        self._thread.join()
        self._connection.close()


class AnOperator(unittest.TestCase):
    """Each test has a broker, a folder and six devices."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.path = pathlib.Path(scratch.name)
        self.broker = Mosquitto(self.path)
        self.addCleanup(lambda: self.broker.stop())
        subprocess.run(
            ["openssl", "genpkey", "-algorithm", "ed25519", "-out", self.path / "key.pem"],
            check=True)
        self.signer = Signer.read(self.path / "key.pem")
        self.write("fleet.yaml",
                   "tenant: acme\nbroker: 127.0.0.1\ntls: off\nsigning-key: key.pem\nby: anna\n")
        names = [f"ap{number}" for number in range(6)]
        self.write("devices.yaml", "defaults: {labels: {role: ap}}\ndevices:\n" + "".join(
            f"  {name}: {{labels: {{site: {'north' if name < 'ap3' else 'south'}}}, "
            f"variables: {{channel: {1 + int(name[2:])}}}}}\n" for name in names))
        self.write("channel.yaml", TEMPLATE)
        self.devices = Devices(self.signer, names)
        self.addCleanup(self.devices.end)

    def write(self, name, text):
        (self.path / name).write_text(text, "utf-8")

    def fleet(self, *words, status=0, folder=None):
        done = subprocess.run([PROGRAM, words[0], "-C", folder or self.path, *words[1:]], text=True,
                              capture_output=True, check=False, timeout=240, cwd=folder or self.path)
        self.assertEqual(done.returncode, status, (words, done.stdout, done.stderr))
        return done.stdout + done.stderr

    def apply(self, *words, status=0):
        return self.fleet("apply", "channel.yaml", *words, "--healthy-for", "0", status=status)

    def test_sees_selects_changes_and_takes_back(self):
        self.assertIn("ap5     online  no document  healthy  role=ap site=south",
                      self.fleet("list"))
        self.assertEqual(self.fleet("list", "site=north", "ap2").split("\n")[1].split()[0], "ap2")
        self.assertIn("radio radio0 channel: nothing -> 3",
                      self.fleet("diff", "--change", "channel.yaml", "ap2", status=5))
        self.assertIn("wave 1: ", self.apply("*", "--dry-run"))
        self.assertEqual(self.devices.heard, [])
        text = self.apply("site=north", "--waves", "1,100%")
        self.assertIn("wave 2 of 2", text)
        self.assertIn("done: 3 devices", text)
        self.assertEqual(sorted(self.devices.heard), [("ap0", 1), ("ap1", 1), ("ap2", 1)])
        self.assertIn("3 have it already", self.apply("site=north"))
        self.assertIn("1 by anna: another channel", self.fleet("show", "ap1"))
        self.write("channel.yaml", TEMPLATE.replace("channel }}", "channel }}0"))
        self.apply("*", "--waves", "100%")
        self.assertIn("ap3  had no document before", self.undo_last())
        self.assertIn(("ap0", 3), self.devices.heard)
        self.assertIn("radio radio0 channel = 1\n", self.fleet("show", "ap0"))
        self.assertIn("online, ", self.fleet("status"))

    def undo_last(self):
        rollouts = json.loads(self.fleet("status", "--json"))["rollouts"]
        return self.fleet("apply",
                          "--undo",
                          rollouts[-1]["rollout"],
                          "--healthy-for",
                          "0",
                          status=1)

    def test_is_stopped_by_what_a_device_says(self):
        self.devices.ways["ap4"] = "reverted"
        lines = [
            json.loads(each)
            for each in self.apply("*", "--first", "ap4", "--json", status=1).splitlines()
        ]
        self.assertEqual(lines[0]["event"], "begun")
        self.assertEqual(
            lines[-1], {
                "event": "stopped", "rollout": lines[0]["rollout"], "wave": 1, "of": 2,
                "absent": [],
                "devices": [{"device": "ap4", "standing": "taken back", "why": "unreached"}]
            })
        self.assertEqual(self.devices.heard, [("ap4", 1)])
        text = self.fleet("status", status=5)
        self.assertIn("stopped, wave 1 of 2", text)
        self.assertIn("ap4  online, reverted 1: unreached", text)
        self.assertIn("no rollout that is running", self.fleet("apply", "--stop", status=5))

    @staticmethod
    def generation_of(device):
        """Of the report that the broker retains."""
        told = subprocess.run(["mosquitto_sub", "-t", f"v1/acme/{device}/reported", "-C", "1"],
                              check=True, capture_output=True).stdout
        return json.loads(told)["generation"]

    def interrupt(self, number):
        """A rollout that waits for its first wave to be healthy, and is ended then."""
        rollout = subprocess.Popen(
            [PROGRAM, "apply", "channel.yaml", "*", "-C", self.path, "--healthy-for", "1h"],
            cwd=self.path,
            stdout=subprocess.PIPE,
            text=True)
        await_that(lambda: self.devices.heard, "a first wave")
        await_that(lambda: self.generation_of(self.devices.heard[0][0]) == 1, "its report")
        rollout.send_signal(number)
        text = rollout.communicate(timeout=120)[0]
        return rollout.returncode, text

    def test_is_interrupted_and_somebody_else_goes_on(self):
        status, text = self.interrupt(signal.SIGINT)
        self.assertEqual(status, 130)
        self.assertIn("--resume", text)
        self.assertEqual(len(self.devices.heard), 1)
        self.assertIn("is under way at 5 of these", self.apply("*", status=1))
        other = self.path / "other"
        other.mkdir()
        self.assertIn(
            "which broker",
            self.fleet("apply",
                       "--resume",
                       "--tenant",
                       "acme",
                       "--signing-key",
                       self.path / "key.pem",
                       folder=other,
                       status=2))
        self.assertIn("running, wave 1 of 2", self.fleet("status"))
        self.shorten()
        text = self.fleet("apply",
                          "--resume",
                          "--tenant",
                          "acme",
                          "--signing-key",
                          self.path / "key.pem",
                          "--broker",
                          "127.0.0.1",
                          "--plain",
                          folder=other)
        self.assertIn("done: 6 devices", text)
        self.assertEqual(sorted(self.devices.heard), [(f"ap{number}", 1) for number in range(6)])

    def shorten(self):
        """What is retained of the rollout asks for no hour any more."""
        [topic, payload] = subprocess.run(
            ["mosquitto_sub", "-t", "v1/acme/~fleet/rollouts/+", "-C", "1", "-F", "%t\n%p"],
            check=True,
            capture_output=True).stdout.split(b"\n", 1)
        document = payload.partition(b"\n")[2].rstrip(b"\n").replace(b'"healthy-for":3600',
                                                                     b'"healthy-for":0')
        subprocess.run(["mosquitto_pub", "-r", "-q", "1", "-t", topic, "-s"], check=True,
                       input=self.signer.sign(document, "rollout"))

    def test_is_killed_and_the_rollout_stays(self):
        self.assertEqual(self.interrupt(signal.SIGKILL)[0], -signal.SIGKILL)
        self.broker.stop()
        self.broker.start()
        self.assertIn("running, wave 1 of 2", self.fleet("status"))
        self.assertIn("is stopped", self.fleet("apply", "--stop"))
        [rollout] = json.loads(self.fleet("status", "--json", status=5))["rollouts"]
        self.assertIn("is forgotten", self.fleet("apply", "--forget", rollout["rollout"]))
        left = subprocess.run(["mosquitto_sub", "-t", "v1/acme/~fleet/#", "-W", "1"], check=False,
                              capture_output=True).stdout
        self.assertEqual(left, b"")

    def test_waits_for_a_broker_that_is_away(self):
        rollout = subprocess.Popen([
            PROGRAM, "apply", "channel.yaml", "*", "-C", self.path, "--healthy-for", "4", "--waves",
            "1,100%"
        ],
                                   cwd=self.path,
                                   stdout=subprocess.PIPE,
                                   text=True)
        await_that(lambda: self.devices.heard, "a first wave")
        self.broker.stop()
        end = threading.Timer(120, rollout.kill)
        end.start()
        text = ""
        while "the broker is away" not in text and (line := rollout.stdout.readline()):
            text += line
        self.broker.start()
        text += rollout.communicate()[0]
        end.cancel()
        self.assertEqual(rollout.returncode, 0, text)
        self.assertIn("the broker is away", text)
        self.assertIn("done: 6 devices", text)

    def test_is_told_what_is_wrong_with_the_broker(self):
        self.assertIn("Connection refused", self.fleet("list", "--broker", "127.0.0.1:9", status=3))
        self.assertIn("Not authorized", self.fleet("list", "--broker", "127.0.0.1:1884", status=3))
        self.write("secret", "secret\n")
        self.write("fleet.yaml", (self.path / "fleet.yaml").read_text("utf-8") +
                   "user: anna\npassword-file: secret\n")
        self.assertIn("ap1", self.fleet("list", "--broker", "127.0.0.1:1884"))
        self.write("secret", "wrong\n")
        self.assertIn("Not authorized", self.fleet("list", "--broker", "127.0.0.1:1884", status=3))
        self.write("fleet.yaml", "tenant: acme\nbroker: 127.0.0.1\nsigning-key: key.pem\n")
        self.assertIn("vorn-fleet: 127.0.0.1:1883: ",
                      self.fleet("list", "--broker", "127.0.0.1:1883", status=3))

    def test_is_told_what_is_wrong_with_his_files_before_anything_is_sent(self):
        for name, text, words in (("channel.yaml", "configuration: {{ nothing }}\n",
                                   "channel.yaml:1: for ap0"), ("channel.yaml",
                                                                TEMPLATE + "generation: 5\n",
                                                                "no member \"generation\""),
                                  ("channel.yaml",
                                   TEMPLATE.replace("trial: 5",
                                                    "trial: {{ channel }}"), "for ap0: trial"),
                                  ("key.pem", "no key", "key.pem: this is no private key")):
            before = (self.path / name).read_text("utf-8")
            self.write(name, text)
            self.assertIn(words, self.apply("*", status=2))
            self.write(name, before)
        for words, message in ((("sight=north", ), "no device has a label \"sight\""),
                               (("ap9", ), "no device \"ap9\""), (("site=nowhere", ),
                                                                  "no device is selected")):
            self.assertIn(message, self.apply(*words, status=5))
        self.assertIn("which devices?", self.apply(status=2))
        self.assertIn("has to be 100%", self.apply("*", "--waves", "1", status=2))
        self.assertEqual(self.devices.heard, [])

    def test_sees_no_tricks_of_a_terminal(self):
        trick = "\x1b]0;gone\x07\x1b[2J\u202e"
        self.devices.report("ap0",
                            "refused",
                            1,
                            reason=trick,
                            detail=trick,
                            healthy=False,
                            problems=[trick],
                            versions={trick: trick},
                            schema=trick,
                            labels={"site" + trick: trick},
                            differences=[{
                                "class": trick, "name": trick, "property": trick, "wanted": trick,
                                "found": trick
                            }],
                            **{"difference-count": 1})
        subprocess.run(["mosquitto_pub", "-r", "-t", "v1/acme/ap1/reported", "-s"],
                       input=b"[" * 100000,
                       check=True)
        for words, status in ((("list", ), 0), (("show", "ap0"), 0), (("status", ), 5),
                              (("diff", ), 5), (("list", "--json"), 0), (("watch", "--seconds",
                                                                          "1s"), 0)):
            text = self.fleet(*words, status=status)
            for each in text:
                self.assertTrue(each.isprintable() or each == "\n", (words, each))
        self.assertIn("a report that is no JSON", self.fleet("list"))

    def test_sees_all_devices_however_many_they_are(self):
        publisher = Connection({"broker": "127.0.0.1", "tls": "off"})
        publisher.open()
        for number in range(3000):
            for leaf in ("online", "reported"):
                publisher.publish(f"v1/acme/many{number}/{leaf}",
                                  b'{"version":1,"online":true,"state":"none"}', True)
        publisher.publish("v1/acme/last/online", b'{"version":1,"online":true}', True)
        await_that(
            lambda: subprocess.run(
                ["mosquitto_sub", "-t", "v1/acme/last/online", "-C", "1", "-W", "30"],
                check=False,
                capture_output=True).returncode == 0, "the last one")
        publisher.close()
        text = self.fleet("list", "--json")
        devices = [json.loads(each) for each in text.splitlines()]
        self.assertEqual(sum(each["device"].startswith("many") for each in devices), 3000)
        self.assertEqual(sum(each["report"] is not None for each in devices), 3006)

    def test_asks_devices(self):
        text = self.fleet("request", "lsql", "ap0")
        self.assertEqual(text, "<lsql>\\x1b\n")
        text = self.fleet("request", "lsql", "site=north", "--json", status=1)
        answers = {each["device"]: each for each in map(json.loads, text.splitlines())}
        self.assertEqual(set(answers), {"ap0", "ap1", "ap2"})
        self.assertEqual((answers["ap1"]["refused"], answers["ap2"]["reply"]),
                         ("off", "<lsql>\x1b"))

    def test_watches(self):
        watch = subprocess.Popen([PROGRAM, "watch", "-C", self.path, "ap*"],
                                 stdout=subprocess.PIPE,
                                 text=True)
        lines = []

        def read():
            for line in watch.stdout:
                lines.append(line)

        def tell_until_seen(device, text):
            self.devices.say(device, "event",
                             {"version": 1, "time": 1, "event": "trial", "text": text})
            return any(f"{device}  trial {text}" in line for line in lines)

        reader = threading.Thread(target=read)
        reader.start()
        await_that(lambda: tell_until_seen("ap5", "pending"), "somebody who watches")
        self.devices.say("ap3", "online", {"version": 1, "online": False})
        self.apply("ap2")
        await_that(lambda: tell_until_seen("ap2", "none"), "the last word")
        watch.send_signal(signal.SIGINT)
        self.assertEqual(watch.wait(120), 130)
        reader.join()
        watch.stdout.close()
        text = "".join(lines)
        for words in ("ap3  offline", "ap2  gets 1", "ap2  applied 1, healthy", "ap2  trial none"):
            self.assertIn(words, text)

    def test_who_may_not_write_is_told_so(self):
        self.assertIn("may this user write",
                      self.apply("ap0", "--broker", "127.0.0.1:1885", status=3))


class AnAddress(unittest.TestCase):
    def test_has_a_host_and_perhaps_a_port(self):
        for text, pair in (("a", ("a", 8883)), ("a:1", ("a", 1)), ("[::1]:5", ("::1", 5)),
                           ("[::1]", ("::1", 8883)), ("::1", ("::1", 8883))):
            self.assertEqual(split_address(text), pair)
        self.assertEqual(split_address("a", False), ("a", 1883))
        for text in ("", ":1", "a:", "a:x", "a:0", "a:65536", "a:\u0661"):
            with self.assertRaises(Misused, msg=text):
                split_address(text)
        with self.assertRaises(NoBroker):
            Connection({"broker": "127.0.0.1:9", "tls": "off"}).open()


if __name__ == "__main__":
    os.environ["PYTHONDONTWRITEBYTECODE"] = "1"
    sys.exit(unittest.main(verbosity=2))
