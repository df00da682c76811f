#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The API as docs/api.md has it: api_test.py VORN-GATE, in the sandbox, with a daemon that is
started here."""
import contextlib
import json
import os
import re
import select
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest

import gate

LAN = "/objects/static-address/lan"


def change(address, **more):
    return {"op": "update", "class": "static-address", "name": "lan",
            "properties": {"address": address}, **more}


def rule(name, user, properties, operations, of_class="system"):
    """Denies it."""
    return {"op": "insert", "class": "access-rule", "name": name,
            "properties": {"order": "1", "subject": "gate:" + user, "class": of_class,
                           "properties": properties, "operations": operations, "effect": "deny"}}


class Helper(threading.Thread):
    """Stands in for the one who judges passwords: about a slow one he thinks until he may answer."""

    def __init__(self):
        super().__init__(daemon=True)
        self.is_thinking = threading.Event()
        self.may_answer = threading.Event()
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(gate.PASSWORDS)
        self.listener.listen()
        self.start()

    def run(self):
        while True:
            client, _ = self.listener.accept()
            question = client.recv(2048).split(b"\0")
            if question[2] == b"slow":
                self.is_thinking.set()
                self.may_answer.wait()
            with contextlib.suppress(BrokenPipeError):
                client.sendall({b"right": b"yes\n", b"slow": b"yes\n",
                                b"often": b"wait 7\n"}.get(question[2], b"no\n"))
            client.close()


class Unfinished(threading.Thread):
    """A request that has not come whole: after how long the gate gives it up."""

    def __init__(self, raw):
        super().__init__(daemon=True)
        self.client = gate.connect()
        self.began = time.monotonic()
        self.client.sendall(raw)
        self.start()

    def run(self):
        self.answer = self.client.recv(65536)
        self.seconds = time.monotonic() - self.began


class TheApi(unittest.TestCase):
    def setUp(self):
        self.root = ROOT

    def problem(self, answer, status, kind):
        self.assertEqual(answer.status, status, answer.body)
        self.assertEqual(answer.headers["Content-Type"], "application/problem+json")
        self.assertEqual(answer.json["type"], "urn:vorn:" + kind)
        self.assertEqual(answer.json["status"], status)
        return answer.json

    def address(self):
        return self.root.get(LAN).json["objects"][0]["properties"]["address"]

    def test_tells_the_schema_with_a_tag(self):
        answer = self.root.get("/schema")
        classes = {each["name"]: each for each in answer.json["classes"]}
        self.assertTrue(classes["interface"]["abstract"])
        self.assertEqual(classes["static-address"]["superclass"], "address")
        mtu = [p for p in classes["ethernet"]["properties"] if p["name"] == "mtu"][0]
        self.assertTrue(mtu["writable"])
        self.assertIsInstance(mtu["accepts"], list)
        again = self.root.get("/schema", ("HTTP_IF_NONE_MATCH", answer.headers["ETag"]))
        self.assertEqual((again.status, again.body), (304, b""))

    def test_reads_objects_with_conditions(self):
        found = self.root.get("/objects/interface?properties=mtu&where=mtu+%3D+1500").json
        self.assertEqual([(o["class"], o["name"], o["properties"]) for o in found["objects"]],
                         [("ethernet", "eth0", {"mtu": "1500"})])
        self.assertEqual(self.root.get("/objects/interface?where=mtu+%3D+1").json["objects"], [])
        self.problem(self.root.get("/objects/interface?where=mtu+%3D"), 400, "bad-request")
        self.problem(self.root.get("/objects/interface?where=" + "(" * 3000), 400, "bad-request")
        self.problem(self.root.get("/objects/interface?properties=none"), 400, "bad-request")
        self.problem(self.root.get("/objects/interface?x=1"), 400, "bad-request")
        self.problem(self.root.get("/objects/nothing"), 404, "not-found")
        self.problem(self.root.get("/objects/ethernet/eth9"), 404, "not-found")
        self.problem(self.root.get("/objects/system/x"), 404, "not-found")

    def test_tells_what_is_there_now_to_whoever_asks_again(self):
        for contact in ("one", "two", "one"):
            change = {"op": "update", "class": "system", "properties": {"contact": contact}}
            self.assertEqual(self.root.post("/changes", {"changes": [change]}).status, 200)
            told = [self.root.get("/objects/system?properties=contact").json for _ in range(3)]
            self.assertEqual([t["objects"][0]["properties"] for t in told],
                             [{"contact": contact}] * 3)
            self.assertEqual(len({t["commit"] for t in told}), 1)

    def deny(self, *rules):
        """Until the test ends."""
        self.assertEqual(self.root.post("/changes", {"changes": [*rules]}).status, 200)
        ends = [{"op": "delete", "class": "access-rule", "name": each["name"]} for each in rules]
        self.addCleanup(self.root.post, "/changes", {"changes": ends})

    def test_tells_nobody_what_another_may_read(self):
        ann, ben = (gate.with_token("word of " + name, name) for name in ("ann", "ben"))
        self.deny(rule("unread", "ben", "contact", "read"))
        known = {"op": "update", "class": "system", "properties": {"contact": "in the attic"}}
        self.assertEqual(self.root.post("/changes", {"changes": [known]}).status, 200)
        # He may write it, so that both have the same schema, by which answers are known again.
        self.assertEqual(ann.get("/schema").json, ben.get("/schema").json)
        for _ in range(2):
            told = ann.get("/objects/system").json["objects"][0]["properties"]
            self.assertEqual(told["contact"], "in the attic")
            told = ben.get("/objects/system").json["objects"][0]["properties"]
            self.assertNotIn("contact", told)
            self.assertIn("hostname", told)

    def test_tells_each_what_he_may_do(self):
        ann, ben = (gate.with_token("plan of " + name, name) for name in ("anna-2", "ben-2"))
        self.deny(rule("unchanged", "ben-2", "contact", "update"),
                  rule("undeleted", "ben-2", "", "delete"))

        def may(caller):
            system = [c for c in caller.get("/schema").json["classes"] if c["name"] == "system"][0]
            contact = [p for p in system["properties"] if p["name"] == "contact"][0]
            self.assertTrue(contact["writable"])
            return (system["insertable"], system["deletable"], contact["changeable"],
                    contact["insertable"])

        self.assertEqual(may(ann), (True, True, True, True))
        self.assertEqual(may(ben), (True, False, False, True))
        contact = {"op": "update", "class": "system", "properties": {"contact": "x"}}
        denied = self.problem(ben.post("/changes", {"changes": [contact]}), 403, "access-denied")
        self.assertEqual(denied["errors"][0]["property"], "contact")

    def test_tells_in_metrics_what_may_be_read_elsewhere(self):
        ann, ben = (gate.with_token("sight of " + name, name) for name in ("ann-3", "ben-3"))
        self.deny(rule("unseen", "ben-3", "load memory-total", "read"),
                  rule("unseen-too", "ben-3", "result", "read", "save"))
        families = ("device_uptime_seconds ", "device_load ", "device_memory_bytes{",
                    'program_memory_bytes{program="vorn"}', "saved ")

        def told(caller):
            text = caller.get("/metrics").body.decode()
            return [("\n" + each) in text for each in families]

        self.assertEqual(told(ann), [True] * 5)
        self.assertEqual(told(ben), [True] + [False] * 4)

    def test_tells_so_many_series_and_no_more(self):
        names = [f"port{i}" for i in range(504)]  # of four series each
        pairs = zip(names[::2], names[1::2])
        links = "\n".join(f"link add {a} type veth peer name {b}" for a, b in pairs)
        subprocess.run(["ip", "-batch", "-"], input=links.encode(), check=True)

        def each(operation):
            return {"changes": [{"op": operation, "class": "ethernet", "name": name}
                                for name in names]}

        self.addCleanup(self.root.post, "/changes", each("delete"))
        added = self.root.post("/changes", each("insert"))
        self.assertEqual(added.status, 200, added.body)
        text = self.root.get("/metrics").body.decode()
        self.assertTrue(text.endswith("# EOF\n"))
        series = [line for line in text.splitlines() if not line.startswith("#")]
        self.assertEqual(len(set(series)), 2000)
        self.assertEqual(len(series), 2000)

    def test_makes_no_label_of_what_comes_from_the_air(self):
        macs = [f"02:00:00:00:00:0{i}" for i in range(3)]

        def insert(of_class, properties, **more):
            return {"op": "insert", "class": of_class, "properties": properties, **more}

        added = self.root.post("/changes", {"changes": [
            insert("radio", {"state": "running on channel 1"}, name="radio0"),
            insert("station", {"network": "guests", "unknown": "no answer"}),
            *(insert("station", {"mac": mac, "network": "home"}) for mac in macs)]})
        self.assertEqual(added.status, 200, added.body)
        text = self.root.get("/metrics").body.decode()
        self.assertIn('\nradio_up{radio="radio0"} 1\n', text)
        self.assertIn('\nstations{network="home"} 3\n', text)
        self.assertNotIn('"guests"', text)
        for mac in macs:
            self.assertNotIn(mac, text)
        labels = set(re.findall(r'[{,]([a-z_]+)="', text))
        self.assertEqual(labels - {"interface", "kind", "network", "phase", "program", "provider",
                                   "radio"},
                         set())

    def test_changes_all_or_nothing(self):
        self.problem(self.root.post("/changes", {"changes": [
            change("192.168.3.1"), change("192.168.3.256")]}), 422, "refused")
        self.assertNotEqual(self.address(), "192.168.3.1")
        done = self.root.post("/changes", {"changes": [change("192.168.3.1")], "comment": "c"})
        self.assertEqual(done.status, 200, done.body)
        self.assertTrue(done.json["saved"])
        self.assertEqual(done.json["counts"], [1])
        self.assertEqual(self.address(), "192.168.3.1")
        self.assertEqual(self.root.get("/history").json["generations"][0]["comment"], "c")

    def test_takes_so_many_changes_in_one_request_and_no_more(self):
        contacts = [{"op": "update", "class": "system", "properties": {"contact": str(i)}}
                    for i in range(1001)]
        self.problem(self.root.post("/changes", {"changes": contacts}), 400, "bad-request")
        done = self.root.post("/changes", {"changes": contacts[:-1]})
        self.assertEqual(done.status, 200, done.body)
        self.assertEqual(done.json["counts"], [1] * 1000)
        told = self.root.get("/objects/system?properties=contact").json["objects"][0]
        self.assertEqual(told["properties"], {"contact": "999"})

    def test_inserts_and_deletes_members_of_families(self):
        insert = {"op": "insert", "class": "bridge", "name": "br7", "properties": {"stp": "off"}}
        self.assertEqual(self.root.post("/changes", {"changes": [insert]}).status, 200)
        self.assertEqual(self.root.get("/objects/bridge/br7").json["objects"][0]["class"], "bridge")
        refused = self.problem(self.root.post("/changes", {"changes": [insert]}), 422, "refused")
        self.assertEqual(refused["errors"][0]["change"], 0)
        delete = {"op": "delete", "class": "bridge", "name": "br7"}
        self.assertEqual(self.root.post("/changes", {"changes": [delete]}).status, 200)
        self.problem(self.root.post("/changes", {"changes": [delete]}), 422, "refused")

    def test_names_the_property_that_is_wrong(self):
        wrong = self.problem(self.root.post("/changes", {"changes": [change("192.168.3.999")]}),
                             422, "refused")["errors"][0]
        self.assertEqual((wrong["class"], wrong["name"], wrong["property"], wrong["change"]),
                         ("static-address", "lan", "address", 0))
        for length in (300, 150, 145, 120, 100):  # of which the daemon tells no more than it has room for
            wrong = self.problem(self.root.post("/changes", {"changes": [change("1" * length)]}),
                                 422, "refused")["errors"][0]
            self.assertEqual((wrong["class"], wrong["name"], wrong["property"]),
                             ("static-address", "lan", "address"))
            told = self.root.post("/changes", {"explain": True, "changes": [
                {"op": "update", "class": "system", "properties": {"contact": "somebody"}},
                change("1" * length)]})
            wrong = told.json["refused"][0]
            self.assertEqual((wrong["class"], wrong["name"], wrong["property"], wrong["change"]),
                             ("static-address", "lan", "address", 1))

    def test_lets_nobody_overwrite_what_he_has_not_seen(self):
        tag = self.root.get(LAN).headers["ETag"]
        commit = self.root.get(LAN).json["commit"]
        self.assertEqual(self.root.post(
            "/changes", {"changes": [change("192.168.4.1", **{"if-match": tag})]}).status, 200)
        self.problem(self.root.post(
            "/changes", {"changes": [change("192.168.4.2", **{"if-match": tag})]}), 412, "changed")
        self.problem(self.root.post("/changes", {"changes": [change("192.168.4.2")]},
                                    ("HTTP_IF_MATCH", tag)), 412, "changed")
        self.problem(self.root.post("/changes", {"changes": [change("192.168.4.2")],
                                                 "if-match": commit}), 412, "changed")
        self.assertEqual(self.address(), "192.168.4.1")
        other = {"op": "update", "class": "system", "properties": {"contact": "x"}}
        tag = self.root.get(LAN).headers["ETag"]
        self.assertEqual(self.root.post("/changes", {"changes": [other]}).status, 200)
        self.assertEqual(self.root.get(LAN).headers["ETag"], tag)

    def test_explains_and_changes_nothing(self):
        before = self.address()
        told = self.root.post("/changes", {"changes": [change("192.168.5.1")], "explain": True}).json
        self.assertEqual(told["changes"][0]["values"],
                         [{"property": "address", "before": before, "after": "192.168.5.1"}])
        self.assertIn("network", [each["name"] for each in told["providers"]])
        told = self.root.post("/changes", {"changes": [change("192.168.5.x")], "explain": True}).json
        self.assertEqual(told["refused"][0]["property"], "address")
        self.assertEqual(self.address(), before)

    def test_holds_trials(self):
        before = self.address()
        begun = self.root.post("/changes", {"changes": [change("192.168.6.1")], "trial": 60}).json
        self.assertFalse(begun["saved"])
        trial = self.root.get("/trial").json
        self.assertEqual((trial["state"], trial["id"]), ("pending", begun["trial"]["id"]))
        self.problem(self.root.post("/changes", {"changes": [change("192.168.6.2")]}), 409, "trial")
        self.problem(self.root.post("/trial/confirm", {"id": "0"}), 409, "trial")
        self.assertEqual(self.root.post("/trial/revert", {"id": trial["id"]}).status, 200)
        self.assertEqual(self.address(), before)
        begun = self.root.post("/changes", {"changes": [change("192.168.6.3")], "trial": 60}).json
        kept = self.root.post("/trial/confirm", {"id": begun["trial"]["id"]})
        self.assertTrue(kept.json["saved"])
        self.assertEqual(self.root.get("/trial").json, {"state": "none"})
        self.problem(self.root.post("/trial/confirm", {"id": begun["trial"]["id"]}), 409, "trial")

    def test_goes_back_in_history(self):
        self.root.post("/changes", {"changes": [change("192.168.8.1")]})
        newest = self.root.get("/history").json["generations"][0]["id"]
        self.root.post("/changes", {"changes": [change("192.168.8.2")]})
        differences = self.root.get(f"/history/{newest}/diff").json["changes"]
        self.assertEqual(differences[0]["values"], [
            {"property": "address", "before": "192.168.8.1", "after": "192.168.8.2"}])
        self.assertEqual(self.root.get(f"/history/{newest}/diff/{newest}").json["changes"], [])
        told = self.root.post(f"/history/{newest}/rollback", {"explain": True}).json
        self.assertEqual(told["changes"][0]["values"][0]["after"], "192.168.8.1")
        self.assertEqual(self.root.post(f"/history/{newest}/rollback", {}).status, 200)
        self.assertEqual(self.address(), "192.168.8.1")
        self.assertTrue(self.root.get(f"/history/{newest}").json["objects"])
        self.problem(self.root.get("/history/999999"), 404, "not-found")
        self.problem(self.root.get("/history/x"), 404, "not-found")

    def test_tells_of_changes_as_they_happen_and_of_those_missed(self):
        stream = self.root.stream()
        self.assertEqual(stream.head["Content-Type"], "text/event-stream")
        self.assertEqual(stream.next()[0], "hello")
        self.root.post("/changes", {"changes": [change("192.168.9.1")]})
        name, first, data = stream.await_event("change")
        self.assertIn("192.168.9.1", data["changes"])
        stream.close()
        for last in (2, 3):
            self.root.post("/changes", {"changes": [change(f"192.168.9.{last}")]})
        again = self.root.stream(("HTTP_LAST_EVENT_ID", first))
        told = [again.await_event("change") for _ in range(2)]
        self.assertIn("192.168.9.2", told[0][2]["changes"])
        self.assertIn("192.168.9.3", told[1][2]["changes"])
        self.assertEqual(told[1][2]["number"], told[0][2]["number"] + 1)
        again.close()
        other = self.root.stream(("HTTP_LAST_EVENT_ID", "00000000-1"))
        self.assertEqual([other.next()[0] for _ in range(2)], ["hello", "reset"])
        other.close()

    def test_tells_of_trials_as_they_happen(self):
        stream = self.root.stream()
        self.assertEqual(stream.await_event("trial")[2], {"state": "none"})
        begun = self.root.post("/changes", {"changes": [change("192.168.10.1")], "trial": 60}).json
        self.assertEqual(stream.await_event("trial")[2]["id"], begun["trial"]["id"])
        self.root.post("/trial/revert", {"id": begun["trial"]["id"]})
        self.assertEqual(stream.await_event("trial")[2], {"state": "none"})
        stream.close()

    def test_ends_the_oldest_of_too_many_streams_of_one(self):
        many = gate.with_token("many", name="many")
        streams = [many.stream()]
        other = self.root.stream()
        streams += [many.stream() for _ in range(8)]
        self.assertEqual(streams[0].await_event("later")[2], {})
        self.assertIsNone(streams[0].next())
        for each in (*streams[1:], other):
            each.await_event("trial")
        many.post("/changes", {"changes": [change("192.168.9.9")]})
        for each in (*streams[1:], other):
            each.await_event("change")
            each.close()

    def test_ends_a_stream_when_so_much_waits_for_its_reader(self):
        fast, slow = self.root.stream(), self.root.stream()
        is_over = select.poll()
        is_over.register(slow.client, select.POLLHUP)
        for i in range(3000):
            contact = {"op": "update", "class": "system", "properties": {"contact": str(i)}}
            self.assertEqual(self.root.post("/changes", {"changes": [contact]}).status, 200)
            fast.await_event("change")
            if is_over.poll(0):
                break
        else:
            self.fail("it is still kept for whoever reads nothing")
        got = len(slow.file.read())  # what was on its way
        self.assertAlmostEqual(fast.taken - got, 64 * 1024, delta=4096)
        fast.close()
        slow.close()

    def test_tells_metrics_and_status(self):
        text = self.root.get("/metrics").body.decode()
        self.assertTrue(text.endswith("# EOF\n"))
        self.assertIn('interface_receive_bytes_total{interface="eth0"}', text)
        status = self.root.get("/status").json
        self.assertEqual(status["schema"], self.root.get("/schema").json["id"])
        self.assertEqual(status["device"], {"hostname": "attic"})
        self.assertEqual(status["trial"], {"state": "none"})
        commits = self.root.get("/commits").json["commits"]
        self.assertEqual(sorted((c["number"] for c in commits), reverse=True),
                         [c["number"] for c in commits])

    def test_lets_in_who_knows_a_password(self):
        self.problem(gate.Caller().post("/session", {"user": "a", "password": "b"}),
                     401, "login-refused")
        paused = gate.Caller().post("/session", {"user": "a", "password": "often"})
        self.problem(paused, 429, "paused")
        self.assertEqual(paused.headers["Retry-After"], "7")
        opened = gate.Caller().post("/session", {"user": "anna", "password": "right"})
        self.assertEqual(opened.status, 200)
        cookie, _, attributes = opened.headers["Set-Cookie"].partition("; ")
        self.assertEqual(attributes, "Path=/api/; HttpOnly; Secure; SameSite=Strict")
        anna = gate.Caller(("HTTP_COOKIE", cookie))
        self.assertEqual(anna.get("/session").json["user"], "anna")
        self.assertEqual(anna.get("/status").status, 200)
        body = {"changes": [change("192.168.11.1")]}
        self.problem(anna.post("/changes", body), 403, "csrf")
        self.problem(anna.post("/changes", body, ("HTTP_X_CSRF_TOKEN", "x")), 403, "csrf")
        csrf = ("HTTP_X_CSRF_TOKEN", opened.json["csrf"])
        self.assertEqual(anna.post("/changes", body, csrf).status, 200)
        self.problem(anna.ask("DELETE", "/session"), 403, "csrf")
        # Who sends a token means it, whatever cookie his program has.
        word = ("HTTP_AUTHORIZATION", "Bearer secret")
        self.assertEqual(anna.post("/changes", {**body, "explain": True}, word).status, 200)
        self.problem(anna.get("/status", (word[0], word[1] + "x")), 401, "not-logged-in")
        self.assertEqual(anna.get("/session").status, 200)
        stream = anna.stream()
        self.assertEqual(anna.ask("DELETE", "/session", None, csrf).status, 204)
        self.problem(anna.get("/session"), 401, "not-logged-in")
        self.assertEqual(stream.await_event("bye")[2], {})
        stream.close()

    def test_answers_who_is_logged_in_while_many_log_in(self):
        opened = gate.Caller().post("/session", {"user": "anna", "password": "right"})
        anna = gate.Caller(("HTTP_COOKIE", opened.headers["Set-Cookie"].partition("; ")[0]))
        login = gate.frame("POST", "/api/v1/session",
                           json.dumps({"user": "ben", "password": "slow"}).encode(),
                           [("CONTENT_TYPE", "application/json")])
        many = [gate.connect() for _ in range(5)]  # more than there are who answer
        for client in many:
            client.sendall(login)
        self.assertTrue(HELPER.is_thinking.wait(60))
        self.assertEqual(anna.get("/status").status, 200)
        HELPER.may_answer.set()
        for client in many:  # none of them has waited for so long that he was given up
            self.assertEqual(gate.Answer(client.recv(65536)).status, 200)
            client.close()

    def test_answers_nobody_it_does_not_know(self):
        for path in ("/schema", "/objects/system", "/events", "/metrics", "/openapi.json",
                     "/nothing"):
            self.problem(gate.Caller().get(path), 401, "not-logged-in")
            self.problem(gate.Caller(("HTTP_COOKIE", "vorn-session=x")).get(path),
                         401, "not-logged-in")
            self.problem(gate.Caller(("HTTP_AUTHORIZATION", "Bearer x")).get(path),
                         401, "not-logged-in")

    def test_knows_no_token_when_their_file_is_gone(self):
        program = gate.with_token("of a file", name="file")
        self.assertEqual(program.get("/status").status, 200)
        os.rename(gate.TOKENS, gate.TOKENS + ".kept")
        try:
            self.problem(program.get("/status"), 401, "not-logged-in")
        finally:
            os.rename(gate.TOKENS + ".kept", gate.TOKENS)
        self.assertEqual(program.get("/status").status, 200)

    def test_z_gives_up_a_request_that_does_not_come(self):
        for each in UNFINISHED:
            each.join(60)
            self.assertFalse(each.is_alive(), "it is still waited for")
            self.assertEqual(each.answer, b"")
            self.assertGreaterEqual(each.seconds, 9)
            self.assertLess(each.seconds, 40)  # on a busy machine

    def test_refuses_what_is_no_request(self):
        for body in (b"", b"[]", b"{", b'{"changes":{}}', b'{"changes":[]}', b'{"changes":[1]}',
                     b'{"changes":[{"op":"drop","class":"system"}]}',
                     b'{"changes":[{"op":"update"}],"x":1}',
                     b'{"changes":[{"op":"update","class":"system","properties":{"contact":1}}]}',
                     b'{"changes":[{"op":"update","class":"address","properties":{}}]}',
                     b'{"changes":[{"op":"update","class":"system","properties":{}}],"trial":1}'):
            answer = self.root.post("/changes", body)
            self.assertIn(answer.status, (400, 422), (body, answer.body))
        for name in ("a b", "<a/>", "x y='1'", "system><delete", ""):
            self.problem(self.root.post("/changes", {"changes": [
                {"op": "update", "class": name, "properties": {}}]}), 422, "refused")
            self.problem(self.root.post("/changes", {"changes": [
                {"op": "update", "class": "system", "properties": {name: "x"}}]}), 422, "refused")
        hostile = "</contact><x/>&amp;\"'"
        self.assertEqual(self.root.post("/changes", {"changes": [
            {"op": "update", "class": "system", "properties": {"contact": hostile}}]}).status, 200)
        self.assertEqual(
            self.root.get("/objects/system").json["objects"][0]["properties"]["contact"], hostile)
        self.problem(self.root.ask("POST", "/changes", None), 400, "bad-request")
        self.problem(gate.Answer(gate.exchange(gate.frame(
            "POST", "/api/v1/changes", b"{}", self.root.headers))), 415, "media-type")
        self.problem(self.root.ask("PUT", "/changes", {}), 405, "method")
        self.problem(self.root.get("/nothing"), 404, "not-found")
        self.problem(gate.Answer(gate.exchange(b"99999:")), 431, "header-too-large")
        longer = gate.frame("POST", "/api/v1/changes", b"x" * (1024 * 1024 + 1), self.root.headers)
        self.problem(gate.Answer(gate.exchange(longer, is_all=True)), 413, "too-large")

    def test_tells_at_once_that_too_many_wait_for_a_daemon_that_hangs(self):
        DAEMON.send_signal(signal.SIGSTOP)
        waiting = [gate.connect() for _ in range(100)]
        for client in waiting:
            client.sendall(gate.frame("GET", "/api/v1/trial", b"", self.root.headers))
        for client in waiting[67:]:  # three are being answered, and 64 wait
            self.problem(gate.Answer(client.recv(65536)), 503, "busy")
        DAEMON.send_signal(signal.SIGCONT)
        for client in waiting[:67]:
            self.assertEqual(gate.Answer(client.recv(65536)).status, 200)
        for client in waiting:
            client.close()

    def await_no_daemon(self):
        """A child that it has just forked holds its socket for a moment, and answers nobody."""
        deadline = time.monotonic() + 20
        while self.root.get("/status").status == 500 and time.monotonic() < deadline:
            time.sleep(0.05)

    def test_goes_on_when_the_daemon_is_another(self):
        global DAEMON
        stream = self.root.stream()
        stream.await_event("trial")
        DAEMON.terminate()
        DAEMON.wait()
        self.await_no_daemon()
        self.problem(self.root.get("/status"), 503, "no-daemon")
        DAEMON = gate.start_daemon()
        self.assertEqual(stream.await_event("reset")[2], {})
        self.assertEqual(self.root.get("/status").status, 200)
        stream.close()


if __name__ == "__main__":
    DAEMON = gate.start_daemon()
    GATE = gate.start_gate(sys.argv.pop(1))
    ROOT = gate.with_token("secret")
    HELPER = Helper()
    WHOLE = gate.frame("POST", "/api/v1/changes", b"{}", ROOT.headers)
    UNFINISHED = [Unfinished(raw) for raw in (b"", b"9", WHOLE[:40], WHOLE[:-1])]
    result = unittest.main(exit=False, warnings="ignore").result
    assert GATE.poll() is None, "the gate has ended"
    gate.end(GATE, DAEMON)
    sys.exit(not result.wasSuccessful())
