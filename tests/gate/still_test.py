#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the gate keeps of the daemon's answers: still_test.py VORN-GATE, in the sandbox, with a daemon
that is started here. Whatever changes between two looks, the gate says what the daemon says."""
import contextlib
import itertools
import os
import pathlib
import random
import signal
import socket
import struct
import sys
import time
import unittest
import xml.etree.ElementTree

import gate

# What is asked for, as the gate is asked and as the daemon is: class and properties.
QUESTIONS = [
    ("/objects/resolver", "resolver", ("servers", "search", "state")),
    ("/objects/system?properties=contact", "system", ("contact",)),
    ("/objects/static-address?properties=address", "static-address", ("address",)),
    ("/objects/Place", "Place", ("text",)),
    ("/objects/Guest", "Guest", ()),
    ("/objects/access-rule?properties=effect", "access-rule", ("effect",)),
]
USERS = ("ann", "ben")
DENIED = "contact address text search".split()


def lsql(text):
    """What the daemon itself says, to somebody who comes for this one request."""
    with socket.socket(socket.AF_UNIX) as client:
        client.settimeout(120)
        client.connect(b"\0vorn_sock_lsql".ljust(108, b"\0"))
        client.sendall(struct.pack("=I", len(text)) + text.encode())
        pieces = []
        while piece := client.recv(65536):
            pieces.append(piece)
    return xml.etree.ElementTree.fromstring(b"".join(pieces))


def inform(name):
    body = "object=" + name
    with socket.socket(socket.AF_UNIX) as client:
        client.settimeout(120)
        client.connect(b"\0vorn_sock_inform".ljust(108, b"\0"))
        client.sendall(struct.pack("=II", 0, len(body)) + body.encode())
        assert client.recv(100) == b"OK\n"


def done(text):
    answer = lsql(text)
    assert answer.findtext("rc") == "0", (text, xml.etree.ElementTree.tostring(answer))


def in_place(line):
    """Without anybody's request."""
    pathlib.Path("/tmp/in-place").write_text(line + "\n", encoding="ascii")


NUMBERS = itertools.count(1)


def rule_against_reading():
    """Writing stays, so that the schema is the same for him."""
    number = next(NUMBERS)
    return (f'<insert><access-rule name="r{number}"><order>{number}</order>'
            f"<subject>gate:{random.choice(USERS)}</subject><class>*</class>"
            f"<properties>{random.choice(DENIED)}</properties><operations>read</operations>"
            "<effect>deny</effect></access-rule></insert>")


def said_by_daemon(user, class_name, properties):
    wanted = "".join(f"<{name}/>" for name in properties)
    answer = lsql(f'<lsql for-user="{user}" tell-commit="yes"><select><{class_name}>{wanted}'
                  f"</{class_name}></select></lsql>")
    objects = [(each.get("name"), {value.tag: value.text for value in each if value.text})
               for each in answer.find("dataset")]
    return answer.findtext("commit"), objects


def said_by_gate(caller, path, properties):
    told = caller.get(path).json
    objects = [(each.get("name"), {name: value for name, value in each["properties"].items()
                                   if value and name in properties})
               for each in told["objects"]]
    return told["commit"], objects


RULES = [("system", "update", "deny"), ("static-address", "insert", "deny"),
         ("static-address", "*", "deny"), ("*", "*", "permit"), ("route", "delete", "deny"),
         ("system", "read", "deny")]


def rule_about(class_name, operations, effect):
    number = next(NUMBERS)
    return (f'<insert><access-rule name="s{number}"><order>{2000 - number}</order>'
            f"<subject>gate:{random.choice(USERS)}</subject><class>{class_name}</class>"
            f"<operations>{operations}</operations><effect>{effect}</effect></access-rule></insert>")


def rights_by_daemon(user):
    """Who may do what, as far as the schema tells."""
    answer = lsql(f'<lsql for-user="{user}"><select><schema-class><insertable/><deletable/>'
                  "</schema-class></select><select><schema-property><property/><changeable/>"
                  "<insertable/></schema-property></select></lsql>")
    classes, properties = answer.findall("dataset")
    return ([(each.get("name"), each.findtext("insertable") == "yes",
              each.findtext("deletable") == "yes") for each in classes],
            sorted((each.get("name"), each.findtext("property"), each.findtext("changeable") == "yes",
                    each.findtext("insertable") == "yes") for each in properties))


def told_rights(schema):
    classes = schema["classes"]
    return ([(each["name"], each["insertable"], each["deletable"]) for each in classes],
            sorted((each["name"], owned["name"], owned["changeable"], owned["insertable"])
                   for each in classes for owned in each["properties"]))


class KeptAnswers(unittest.TestCase):
    def setUp(self):
        self.callers = {user: CALLERS[user] for user in USERS}
        self.addCleanup(done, '<lsql><write-transaction><delete><access-rule/></delete>'
                              "</write-transaction></lsql>")

    def look(self):
        """While it is so: what others do meanwhile is no error."""
        for user, caller in self.callers.items():
            for path, class_name, properties in QUESTIONS:
                deadline = time.monotonic() + 60
                while True:
                    before = said_by_daemon(user, class_name, properties)
                    told = said_by_gate(caller, path, properties)
                    if before == said_by_daemon(user, class_name, properties):
                        break
                    self.assertLess(time.monotonic(), deadline, "the daemon changes all the time")
                self.assertEqual(told, before, (user, path))

    def have_kept(self):
        """For so long that the gate has had time to hear that nothing changes."""
        end = time.monotonic() + 0.15
        for rounds in itertools.count():
            if rounds >= 3 and time.monotonic() >= end:
                break
            for caller in self.callers.values():
                for path, _, _ in QUESTIONS:
                    self.assertEqual(caller.get(path).status, 200)

    def run_trial(self):
        change = {"op": "update", "class": "system",
                  "properties": {"contact": f"trial {random.random()}"}}
        answer = self.callers["ann"].post("/changes", {"changes": [change], "trial": 600})
        self.assertEqual(answer.status, 200, answer.body)
        self.look()
        self.have_kept()
        trial = answer.json["trial"]["id"]
        reverted = self.callers["ann"].post("/trial/revert", {"id": trial})
        self.assertEqual(reverted.status, 200, reverted.body)

    def changes(self):
        """One of each kind, some of them about nothing that is asked for."""
        number = random.randrange(100000)
        update = f"<update><system><contact>c{number}</contact></system></update>"
        servers = random.choice(["", "192.0.2.1", f"192.0.2.{number % 200 + 2}"])
        api = {"changes": [{"op": "update", "class": "static-address", "name": "lan",
                            "properties": {"address": f"192.168.9.{number % 200 + 2}"}}]}
        written = "<lsql><write-transaction>{}</write-transaction></lsql>"
        return [
            lambda: done(f"<lsql>{update}</lsql>"),
            lambda: done(written.format(update)),
            lambda: done(written.format(f"<update><resolver><servers>{servers}</servers>"
                                        "</resolver></update>")),
            lambda: self.assertEqual(self.callers["ben"].post("/changes", api).status, 200),
            lambda: in_place(f"set t{number}"),
            lambda: in_place(f"add g{number}"),
            lambda: in_place("act now"),
            lambda: in_place("load "),
            lambda: inform("in-place"),
            lambda: [in_place(f"drop {name}")
                     for name, _ in said_by_daemon("ann", "Guest", ())[1][:1]],
            lambda: done(written.format(rule_against_reading())),
            lambda: done(f"<lsql>{rule_against_reading()}</lsql>"),
            lambda: done(written.format("<delete><access-rule/></delete>")),
            lambda: done("<lsql><delete><access-rule/></delete></lsql>"),
            self.run_trial,
            lambda: done("<lsql><write-transaction><select><system/></select></write-transaction>"
                         "</lsql>"),
        ]

    def test_are_what_the_daemon_says_whatever_changes(self):
        for _ in range(3):
            changes = self.changes()
            random.shuffle(changes)
            for change in changes:
                self.have_kept()
                change()
                self.look()

    def look_at_schema(self, reason):
        """Nobody changes anything meanwhile, so that there is nothing to wait for."""
        for user, caller in self.callers.items():
            told = caller.get("/schema")
            self.assertEqual(told_rights(told.json), rights_by_daemon(user), (user, reason))
            self.assertEqual(caller.get("/status").json["schema"], told.json["id"])
            document = caller.get("/openapi.json").json
            described = {name.removeprefix("object-") for name in document["components"]["schemas"]
                         if name.startswith("object-")}
            self.assertEqual(described, {each["name"] for each in told.json["classes"]
                                         if not each["abstract"]})

    def test_of_the_schema_are_those_of_the_rules_of_now(self):
        written = "<lsql><write-transaction>{}</write-transaction></lsql>"
        none = "<delete><access-rule/></delete>"
        default = "<update><access-default><{0}>{1}</{0}></access-default></update>"
        self.addCleanup(done, written.format(default.format("read", "") + default.format("write", "")))
        changes = [written.format(rule_about(*each)) for each in RULES]
        changes += [f"<lsql>{rule_about(*each)}</lsql>" for each in RULES]
        changes += [written.format(none), f"<lsql>{none}</lsql>",
                    written.format(default.format("write", "deny")),
                    written.format(default.format("write", "permit"))]
        random.shuffle(changes)
        ids = set()
        for each in changes:
            for _ in range(2):
                self.look_at_schema("before")
            done(each)
            self.look_at_schema(each)
            ids.add(self.callers["ann"].get("/schema").json["id"])
        self.assertGreater(len(ids), 2)

    def test_of_the_schema_go_with_a_trial_that_ends(self):
        before = self.callers["ben"].get("/schema").json["id"]
        change = {"op": "insert", "class": "access-rule", "name": "trial",
                  "properties": {"order": "1", "subject": "gate:ben", "class": "system",
                                 "operations": "update", "effect": "deny"}}
        answer = self.callers["ann"].post("/changes", {"changes": [change], "trial": 600})
        self.assertEqual(answer.status, 200, answer.body)
        trial = {"id": answer.json["trial"]["id"]}
        self.addCleanup(self.callers["ann"].post, "/trial/revert", trial)
        self.assertNotEqual(self.callers["ben"].get("/schema").json["id"], before)
        self.look_at_schema("on trial")
        reverted = self.callers["ann"].post("/trial/revert", trial)
        self.assertEqual(reverted.status, 200, reverted.body)
        self.assertEqual(self.callers["ben"].get("/schema").json["id"], before)
        self.look_at_schema("taken back")

    def test_of_the_schema_need_no_daemon_whatever_else_changes(self):
        caller = self.callers["ann"]
        done("<lsql><write-transaction><update><system><contact>s</contact></system></update>"
             "</write-transaction></lsql>")
        caller.get("/schema")
        done("<lsql><write-transaction><update><system><contact>t</contact></system></update>"
             "</write-transaction></lsql>")
        in_place("set something")
        DAEMON.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, DAEMON.pid, os.WSTOPPED)
        try:
            self.assertEqual(caller.get("/schema").status, 200)
        finally:
            DAEMON.send_signal(signal.SIGCONT)

    def test_are_those_of_the_daemon_that_is_there(self):
        global DAEMON
        done("<lsql><update><system><contact>not saved</contact></system></update></lsql>")
        in_place("set of the first")
        self.have_kept()
        DAEMON.terminate()
        DAEMON.wait()
        # A child that it has just forked may hold its doors for a moment.
        gate.await_that(lambda: "vorn_sock_lsql" not in pathlib.Path("/proc/net/unix").read_text(
            encoding="utf-8"), "the old doors are gone")
        DAEMON = gate.start_daemon()
        # A child that the first has just forked may have held its connections for a moment.
        gate.await_that(lambda: all(caller.get(path).status == 200
                                    for caller in self.callers.values()
                                    for path, _, _ in QUESTIONS), "the gate is answered again")
        self.look()
        self.have_kept()
        self.look()

    def test_are_told_without_the_daemon(self):
        """Who stands still changes nothing."""
        caller = self.callers["ann"]
        for path in ("/objects/Place", "/objects/system?properties=contact", "/objects/Guest",
                     "/objects/resolver?properties=servers"):
            gate.await_that(lambda asked=path: self.is_told_by_itself(caller, asked), path)

    @staticmethod
    def is_told_by_itself(caller, path):
        """May fail though it is so, when the machine is slow."""
        caller.get(path)
        caller.get(path)
        DAEMON.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, DAEMON.pid, os.WSTOPPED)
        try:
            with gate.connect() as client:
                client.settimeout(1)
                client.sendall(gate.frame("GET", "/api/v1" + path, b"", caller.headers))
                with contextlib.suppress(TimeoutError):
                    return gate.Answer(client.recv(65536)).status == 200
            return False
        finally:
            DAEMON.send_signal(signal.SIGCONT)


if __name__ == "__main__":
    seed = int(os.environ.get("VORN_SEED", time.time_ns() % 1000000))
    random.seed(seed)
    DAEMON = gate.start_daemon()
    GATE = gate.start_gate(sys.argv.pop(1))
    CALLERS = {user: gate.with_token("word of " + user, user) for user in USERS}
    result = unittest.main(exit=False, warnings="ignore").result
    assert GATE.poll() is None, "the gate has ended"
    gate.end(GATE, DAEMON)
    if not result.wasSuccessful():
        print("seed", seed)
    sys.exit(not result.wasSuccessful())
