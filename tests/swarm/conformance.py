#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Each promise of docs/fleet-protocol.md, seen from the broker: conformance.py BUILD BROKER [TEST]...
in the sandbox. The device is simulated, with the agent as it is."""
import base64
import hashlib
import json
import pathlib
import sys
import time
import unittest

TREE = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path[:0] = [str(TREE / "tests/swarm"), str(TREE / "tests/agent")]

import board  # noqa: E402
import brokers  # noqa: E402
import door  # noqa: E402
import street  # noqa: E402
from cryptography.hazmat.primitives import serialization  # noqa: E402
from cryptography.hazmat.primitives.asymmetric.ed25519 import Ed25519PrivateKey  # noqa: E402
from paho.mqtt import client as mqtt  # noqa: E402
from paho.mqtt.packettypes import PacketTypes  # noqa: E402
from paho.mqtt.properties import Properties  # noqa: E402

DOOR = 1999
BASE = "v1/acme/sim0/"
BUILD = BROKER = GATE = SWARM = OPERATOR = None
KEY = Ed25519PrivateKey.from_private_bytes(b"\1" * 32)  # as tests/agent/signer.h has it
GENERATION = 0


def sign(document, purpose="desired", key=KEY):
    raw = json.dumps(document).encode()
    public = key.public_key().public_bytes(serialization.Encoding.Raw, serialization.PublicFormat.Raw)
    line = f"vorn-fleet 1 {purpose} {hashlib.sha256(public).hexdigest()[:16]}".encode()
    return line + b" " + base64.b64encode(key.sign(line + b"\n" + raw)) + b"\n" + raw


def wish(generation=None, cut=False, location="roof", **more):
    global GENERATION
    GENERATION = generation or GENERATION + 1
    configuration = {"system": {"some": [{"values": {"location": location}}]}}
    if cut:
        configuration["route"] = {"some": [{"name": "default", "values": {"gateway": "10.9.0.254"}}]}
    return {"version": 1, "tenant": "acme", "device": "sim0", "generation": GENERATION, "by": "anna",
            "why": "a test", "trial": 30, "connection": "kept", "hash": board.hash_of(configuration),
            "configuration": configuration, **more}


class Operator:
    """What the broker tells whoever may read everything, in order."""

    def __init__(self, name="operator"):
        self.told = []
        self.client = mqtt.Client(name, protocol=mqtt.MQTTv5)
        tls = BROKER.tls(name)
        if tls:
            self.client.tls_set_context(tls)
        self.client.on_message = lambda _client, _own, message: self.told.append(message)
        self.client.on_connect = lambda *_: self.client.subscribe(BASE + "#", 1)
        self.client.connect("127.0.0.1", BROKER.port)
        self.client.loop_start()
        street.await_that(self.client.is_connected, "the operator")

    def end(self):
        self.client.disconnect()
        self.client.loop_stop()

    def publish(self, leaf, payload, retain=False, properties=None):
        self.client.publish(BASE + leaf, payload, 1, retain, properties).wait_for_publish(60)

    def desire(self, document):
        self.publish("desired", document if isinstance(document, bytes) else sign(document), True)

    def of(self, leaf):
        return [message for message in list(self.told) if message.topic == BASE + leaf]

    def last(self, leaf):
        found = self.of(leaf)
        return json.loads(found[-1].payload) if found else {}

    def await_report(self, seconds=90, **members):
        wanted = {name.replace("_", "-"): value for name, value in members.items()}
        street.await_that(lambda: wanted.items() <= self.last("reported").items(),
                          lambda: (wanted, self.last("reported")), seconds)
        return self.last("reported")


def apply(**more):
    document = wish(**more)
    OPERATOR.desire(document)
    return OPERATOR.await_report(state="applied", about=document["generation"], trial="none")


def events(since):
    """Words and texts, of what the operator was told after so many messages."""
    told = [json.loads(message.payload) for message in OPERATOR.told[since:] if message.topic == BASE + "event"]
    return [(each["event"], each["text"]) for each in told]


def await_again(seconds=150):
    """A connection more than there was."""
    before = len(GATE.connects)
    yield
    street.await_that(lambda: len(GATE.connects) > before and SWARM.stats()["connected"] == 1,
                      "it back", seconds)


class ADevice(unittest.TestCase):
    def test_connects_as_the_page_says(self):
        first = GATE.connects[0]
        self.assertEqual((first.protocol, first.version, first.client), (b"MQTT", 5, "acme/sim0"))
        self.assertEqual((first.clean_start, first.keep_alive, first.properties[0x11]), (False, 60, 120))
        self.assertEqual((first.will_topic, first.will_qos, first.will_retained),
                         (b"v1/acme/sim0/online", 1, True))
        self.assertEqual(json.loads(first.will), {"version": 1, "online": False})
        self.assertEqual(first.will_properties[0x18], 60)

    def test_has_what_it_says_retained(self):
        apply()
        newcomer = Operator("newcomer")
        street.await_that(lambda: newcomer.last("reported") and newcomer.last("online"), "both", 60)
        self.assertTrue(newcomer.of("reported")[0].retain)
        self.assertEqual(newcomer.last("online"), {"version": 1, "online": True})
        self.assertEqual(newcomer.of("event"), [])
        newcomer.end()

    def test_applies_and_tells_of_it(self):
        before = len(OPERATOR.told)
        report = apply()
        self.assertEqual(report["generation"], GENERATION)
        self.assertEqual(report["hash"], report["desired-hash"])
        states = [json.loads(message.payload)["state"] for message in OPERATOR.told[before:]
                  if message.topic == BASE + "reported"]
        self.assertEqual(states[-2:], ["trying", "applied"])
        street.await_that(lambda: {("trial", "ours"), ("trial", "none")} <= set(events(before)), "the trial", 60)
        self.assertEqual({word for word, _ in events(before)}, {"changed", "trial"})

    def test_proves_a_change_on_a_new_connection(self):
        before = len(GATE.connects)
        apply(connection="new")
        self.assertEqual(len(GATE.connects), before + 1)

    def test_applies_once_what_is_repeated(self):
        document = sign(wish())
        OPERATOR.desire(document)
        OPERATOR.await_report(state="applied", about=GENERATION, trial="none")
        before = SWARM.stats()["applied"]
        for _ in range(5):
            OPERATOR.desire(document)
        apply()
        self.assertEqual(SWARM.stats()["applied"], before + 1)

    def test_refuses_with_a_reason(self):
        apply()
        stranger = Ed25519PrivateKey.from_private_bytes(b"\2" * 32)
        before, last = SWARM.stats()["applied"], GENERATION
        for reason, payload in (
                ("older", sign(wish(last - 1))), ("reused", sign(wish(last, location="cellar"))),
                ("unsigned", b"{}"), ("unknown-key", sign(wish(last + 1), key=stranger)),
                ("damaged", sign(wish(last + 1)).replace(b"roof", b"rook")),
                ("malformed", sign(wish(last + 1, colour="red"))),
                ("other-device", sign(wish(last + 1, device="sim1"))),
                ("schema", sign(wish(last + 1, schema="0" * 16))),
                ("expired", sign(wish(last + 1, **{"not-after": 1700000000}))),
                ("too-large", b"x" * 262145)):
            with self.subTest(reason):
                OPERATOR.desire(payload)
                OPERATOR.await_report(state="refused", reason=reason, generation=last)
        self.assertEqual(SWARM.stats()["applied"], before)
        wish(last)
        apply()

    def test_waits_for_its_time(self):
        for seconds in (8, 60):  # on a busy machine it may come too late to wait for anything
            OPERATOR.desire(wish(**{"not-before": int(time.time()) + seconds}))
            OPERATOR.await_report(seconds + 90, state="applied", about=GENERATION, trial="none")
            told = [json.loads(message.payload) for message in OPERATOR.of("reported")]
            waited = {each["reason"] for each in told
                      if (each["state"], each["about"]) == ("waiting", GENERATION)}
            if waited:
                break
        self.assertEqual(waited, {"not-yet"})

    def test_keeps_what_it_has_when_nothing_is_desired(self):
        apply()
        OPERATOR.publish("desired", b"", True)
        time.sleep(1.5)
        self.assertEqual(OPERATOR.last("reported")["generation"], GENERATION)
        apply()

    def test_takes_back_what_cuts_it_off(self):
        last = apply()["generation"]
        OPERATOR.desire(wish(cut=True, trial=6, connection="new"))
        report = OPERATOR.await_report(state="reverted", about=GENERATION, trial="none")
        self.assertEqual((report["generation"], report["reason"]), (last, "unreached"))
        apply()

    def test_ends_well_when_its_agent_or_daemon_dies(self):
        for what in ("agent", "daemon"):
            with self.subTest(what):
                OPERATOR.desire(wish(connection="new", attempts=3))
                street.await_that(lambda: SWARM.stats()["on_trial"] == 1, "the trial", 60)
                SWARM.tell(f"kill {what} 0")
                OPERATOR.await_report(150, state="applied", about=GENERATION, trial="none")
        self.assertEqual(SWARM.stats()["out_of_order"], 0)

    def test_answers_requests(self):
        question = {"version": 1, "tenant": "acme", "device": "sim0", "not-after": int(time.time()) + 100,
                    "lsql": "<lsql><select><system/></select></lsql>"}
        properties = Properties(PacketTypes.PUBLISH)
        properties.ResponseTopic = BASE + "response/me"
        properties.CorrelationData = b"\0\1\2"
        OPERATOR.publish("request", sign(question, "request"), properties=properties)
        street.await_that(lambda: OPERATOR.of("response/me"), "a response", 60)
        [message] = OPERATOR.of("response/me")
        self.assertEqual(message.properties.CorrelationData, b"\0\1\2")
        self.assertLessEqual(message.properties.MessageExpiryInterval, 300)
        self.assertEqual(json.loads(message.payload)["refused"], "")
        OPERATOR.publish("request", sign(question, "desired"), properties=properties)
        street.await_that(lambda: len(OPERATOR.of("response/me")) == 2, "another", 60)
        self.assertEqual(OPERATOR.last("response/me")["refused"], "unsigned")
        properties.ResponseTopic = BASE + "desired"
        OPERATOR.publish("request", sign(question, "request"), properties=properties)
        time.sleep(1)
        self.assertEqual(len(OPERATOR.of("response/me")), 2)

    def test_is_back_before_its_will_is_told(self):
        before = len(OPERATOR.of("online"))
        again = await_again()
        next(again)
        GATE.cut()
        next(again, None)
        street.await_that(lambda: len(OPERATOR.of("online")) > before, "it online", 60)
        told = {message.payload for message in OPERATOR.of("online")[before:]}
        self.assertEqual(told, {b'{"version":1,"online":true}'})
        apply()

    def test_takes_up_what_was_desired_meanwhile(self):
        again = await_again()
        next(again)
        SWARM.tell("kill agent 0")
        OPERATOR.desire(wish())
        OPERATOR.desire(wish())
        next(again, None)
        OPERATOR.await_report(state="applied", about=GENERATION, generation=GENERATION, trial="none")

    def test_y_tells_its_will_when_it_is_gone(self):
        """With what is left of it: the process ends for good."""
        begin = time.monotonic()
        SWARM.process.kill()
        SWARM.process.wait()
        street.await_that(lambda: OPERATOR.last("online") == {"version": 1, "online": False},
                          "the will", 150)
        self.assertGreater(time.monotonic() - begin, 50)


def main():
    global BUILD, BROKER, GATE, SWARM, OPERATOR
    BUILD = pathlib.Path(sys.argv.pop(1))
    street.prepare()
    BROKER = brokers.KNOWN[sys.argv.pop(1)]()
    try:
        GATE = door.Door(DOOR, BROKER)
        SWARM = street.Swarm(BUILD, 1, 1, DOOR, ["requests"])
        OPERATOR = Operator()
        OPERATOR.await_report(state="none", generation=0)
        unittest.main(verbosity=2, warnings="ignore")
    finally:
        SWARM.process.kill()
        BROKER.kill()


if __name__ == "__main__":
    main()
