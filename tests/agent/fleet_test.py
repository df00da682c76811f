#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A device of a fleet, with the real daemon, agent and broker: fleet_test.py BUILD-FOLDER, in the
sandbox with a second user."""
import os
import pathlib
import signal
import subprocess
import threading
import time
import unittest

import board

DAEMON = BROKER = SIGNER = None
GENERATION = 0


def system(**values):
    return {"system": {"some": [{"values": values}]}}


def wish(configuration, generation=None, **more):
    global GENERATION
    GENERATION = generation or GENERATION + 1
    document = {"version": 1, "tenant": "acme", "device": "ap1", "generation": GENERATION,
                "by": "anna", "why": "a test", "trial": 60, "connection": "kept",
                "hash": board.hash_of(configuration), "configuration": configuration}
    document.update(more)
    return document


def desire(configuration, **more):
    document = wish(configuration, **more)
    BROKER.desire(SIGNER.sign(document))
    return document["generation"]


def apply(configuration, **more):
    number = desire(configuration, **more)
    return BROKER.await_report(state="applied", about=number, generation=number, trial="none")


def ask(**what):
    before = len(BROKER.told)
    question = {"version": 1, "tenant": "acme", "device": "ap1", "not-after": int(time.time()) + 290}
    BROKER.publish(SIGNER.sign({**question, **what}, "request"), "request", "-D", "publish",
                   "response-topic", board.TOPIC + "response/me")
    board.await_that(lambda: any(topic == "response/me" for topic, _ in BROKER.told[before:]),
                     "a response")
    return BROKER.last("response/me")


def show(*words):
    return board.vornctl("show", *words)


class ADeviceOfAFleet(unittest.TestCase):
    def test_applies_reports_and_confirms(self):
        report = apply(system(location="the roof"), connection="new")
        self.assertEqual(report["hash"], report["desired-hash"])
        self.assertEqual(report["hash"], board.hash_of(system(location="the roof")))
        self.assertEqual(report["difference-count"], 0)
        self.assertIn("the roof", show("system"))
        saved = pathlib.Path("/etc/config/config.xml").read_text("utf-8")
        self.assertIn("the roof", saved)
        self.assertIn(f"<generation>{GENERATION}</generation>", saved)
        self.assertIn("a test", board.vornctl("history"))

    def test_makes_classes_what_a_document_says(self):
        servers = {"ntp-server": {"all": [{"name": "a", "values": {"address": "192.0.2.1"}},
                                          {"name": "b", "values": {"address": "192.0.2.2"}}]}}
        self.assertEqual(apply(servers)["difference-count"], 0)
        self.assertIn("192.0.2.2", show("ntp-server"))
        servers["ntp-server"]["all"].pop()
        self.assertEqual(apply(servers)["difference-count"], 0)
        self.assertNotIn("192.0.2.2", show("ntp-server"))
        self.assertEqual(apply({"ntp-server": {"none": ["a"]}})["difference-count"], 0)
        self.assertNotIn("192.0.2.1", show("ntp-server"))
        both = {"address": {"some": [{"name": "second", "values": {
            "kind": "static-address", "interface": "eth0", "address": "10.8.0.1", "prefix": "24"}}]}}
        self.assertEqual(apply(both)["difference-count"], 0)
        self.assertIn("10.8.0.1", show("address"))
        self.assertEqual(apply({"address": {"none": ["second"]}})["difference-count"], 0)

    def test_refuses_what_the_daemon_refuses(self):
        number = desire(system(hostname="not a name!"))
        report = BROKER.await_report(state="refused", about=number)
        self.assertEqual(report["reason"], "rejected")
        self.assertIn("not a name!", report["detail"])
        for name, reason in (("nothing-like-it", "unknown-class"), ("trial", "unknown-class")):
            number = desire({name: {"some": [{"values": {}}]}})
            self.assertEqual(BROKER.await_report(state="refused", about=number)["reason"], reason)
        number = desire({"fleet": {"some": [{"values": {"generation": "9"}}]}})
        self.assertEqual(BROKER.await_report(state="refused", about=number)["reason"], "rejected")
        apply(system(location="x"))

    def test_refuses_what_nobody_signed(self):
        before = show("system", "location")
        BROKER.desire(SIGNER.sign(wish(system(location="hell"))).replace(b"hell", b"hall"))
        BROKER.await_report(state="refused", reason="damaged")
        BROKER.desire(b"vorn-fleet 1 desired")
        BROKER.await_report(state="refused", reason="unsigned")
        self.assertEqual(show("system", "location"), before)
        apply(system(location="x"))

    def test_reports_what_others_change(self):
        apply(system(location="cellar"))
        board.vornctl("set", "system", "location=attic")
        report = BROKER.await_report(**{"difference-count": 1})
        self.assertEqual(report["differences"], [{"class": "system", "name": "", "property": "location",
                                                  "wanted": "cellar", "found": "attic"}])
        self.assertNotEqual(report["hash"], report["desired-hash"])
        board.vornctl("set", "system", "location=cellar")

    def test_puts_back_what_others_change_where_the_document_says_so(self):
        apply(system(location="mine"), local="overwrite")
        board.vornctl("set", "system", "location=yours")
        board.await_that(lambda: "mine" in show("system", "location"), "it back")
        BROKER.await_report(state="applied", generation=GENERATION, trial="none",
                            **{"difference-count": 0})

    def test_keeps_others_from_changing_what_it_guards(self):
        apply(system(location="here"), local="refuse")
        refusal = board.vornctl("set", "system", "location=there", status=1)
        self.assertIn("The fleet alone changes class", refusal)
        self.assertIn("here", show("system"))
        board.vornctl("add", "ntp-server", "c", "address=192.0.2.9")
        board.vornctl("delete", "ntp-server", "c")
        apply(system(location="elsewhere"))
        board.vornctl("set", "system", "location=there")

    def test_answers_questions(self):
        question = "<lsql><select><system><hostname/></system></select></lsql>"
        self.assertIn("<hostname>attic</hostname>", ask(lsql=question)["reply"])
        answer = ask(lsql="<lsql><update><system><hostname>x</hostname></system></update></lsql>")
        self.assertEqual((answer["refused"], answer["reply"]), ("rejected", ""))
        self.assertEqual(ask(lsql="<get_conf/>")["refused"], "rejected")

    def test_tells_values_while_somebody_watches(self):
        def told():
            return [text for topic, text in BROKER.told[before:] if topic == "state/daemon"]

        def is_silent():
            count = len(told())
            time.sleep(3)
            return len(told()) == count

        watch = ["daemon.uptime", "daemon.version", "nothing-like-it"]
        for patience in (12, 60, 240):  # a busy machine may tell nothing for a while
            before = len(BROKER.told)
            until = int(time.time()) + patience
            self.assertEqual(ask(watch=watch, every=1, until=until)["refused"], "")
            while len(told()) < 3 and time.time() < until:
                time.sleep(0.02)
            if len(told()) >= 3:
                break
        first, second, third = told()[:3]
        self.assertEqual((first["sequence"], first["whole"]), (1, True))
        self.assertEqual(set(first["instances"][0]["values"]), {"uptime", "version"})
        for text, number in ((second, 2), (third, 3)):
            self.assertEqual((text["sequence"], text["whole"]), (number, False))
            self.assertEqual(set(text["instances"][0]["values"]), {"uptime"})
        self.assertEqual(BROKER.last("state/nothing-like-it")["instances"], [])
        time.sleep(max(0, until + 1 - time.time()))
        board.await_that(is_silent, "silence")

    def test_tells_what_it_is_called_among_the_others(self):
        board.vornctl("set", "fleet", "labels=site=north role=ap")
        BROKER.await_report(labels={"site": "north", "role": "ap"})
        refusal = board.vornctl("set", "fleet", "labels=site", status=1)
        self.assertIn("up to 16 of KEY=VALUE", refusal)
        for wrong in ("=north", "site=", "site=" + "x" * 65, "site=a b"):
            board.vornctl("set", "fleet", "labels=" + wrong, status=1)
        apply({"fleet": {"some": [{"values": {"labels": ""}}]}})
        BROKER.await_report(labels={})

    def test_tells_how_it_is_doing(self):
        self.assertEqual(BROKER.last("online"), {"version": 1, "online": True})
        text = show("fleet", "connected", "state")
        self.assertIn("running", text)
        self.assertIn("yes", text)

    def test_costs_next_to_nothing_while_nothing_happens(self):
        [pid] = board.pids_of("vorn-agent")
        before = board.bytes_sent(), board.wakes_of(pid)
        time.sleep(61)
        after = board.bytes_sent(), board.wakes_of(pid)
        private = board.private_kib_of(pid)
        print(f"in a minute {after[0] - before[0]} bytes, {after[1] - before[1]} wakes; {private} KiB")
        self.assertLess(after[0] - before[0], 512)
        self.assertLess(after[1] - before[1], 16)
        self.assertLess(private, 2048)

    @unittest.skipUnless(board.HAS_SECOND_USER, "there is one user only")
    def test_may_do_what_rules_let_it(self):
        rule = {"name": "more", "values": {"order": "1", "subject": "any", "class": "*",
                                           "operations": "*", "effect": "permit"}}
        number = desire({"access-rule": {"some": [rule]}})
        report = BROKER.await_report(state="refused", about=number)
        self.assertEqual(report["reason"], "rejected")
        self.assertIn("Access denied", report["detail"])
        apply(system(location="x"))

    @unittest.skipUnless(board.HAS_SECOND_USER, "there is one user only")
    def test_has_no_rights(self):
        [pid] = board.pids_of("vorn-agent")
        status = pathlib.Path(f"/proc/{pid}/status").read_text("utf-8")
        fields = dict(line.split(":\t", 1) for line in status.splitlines() if ":\t" in line)
        self.assertEqual(fields["Uid"].split(), ["1000"] * 4)
        self.assertEqual(int(fields["CapEff"], 16), 0)

    def test_takes_back_what_cuts_it_off(self):
        before = show("address", "lan")
        number = desire({"address": {"some": [{"name": "lan", "values": {"address": "192.168.7.1"}}]}},
                        trial=6, connection="new")
        board.await_that(lambda: "192.168.7.1" in show("address", "lan"), "the change")
        report = BROKER.await_report(state="reverted", about=number, trial="none")
        self.assertEqual(report["reason"], "unreached")
        self.assertLess(report["generation"], number)
        self.assertEqual(show("address", "lan"), before)
        apply(system(location="back"))

    def test_is_not_confused_by_who_changes_the_same_meanwhile(self):
        """What a document takes away may be gone by the time that it does, or be there again."""
        over = threading.Event()

        def come_and_go(name):
            while not over.is_set():
                for words in (("add", "ntp-server", name, "address=192.0.2.9"), ("delete", "ntp-server", name)):
                    subprocess.run([board.VORNCTL, *words], check=False, capture_output=True)

        guests = [threading.Thread(target=come_and_go, args=[f"guest{i}"]) for i in range(4)]
        host = {"name": "host", "values": {}}
        before = len(BROKER.told)
        try:
            for each in guests:
                each.start()
            for i in range(100):  # of which five to ten meet a guest between two of the agent's words
                host["values"]["address"] = f"192.0.2.{i + 1}"
                number = desire({"ntp-server": {"all": [host]}}, attempts=9)
                board.await_that(lambda: any(topic == "reported" and text["about"] == number
                                             for topic, text in BROKER.told[before:]), "an answer")
        finally:
            over.set()
            for each in guests:
                each.join()
        BROKER.await_report(state="applied", about=number, generation=number, trial="none")
        refused = [text["detail"] for topic, text in BROKER.told[before:]
                   if topic == "reported" and text["state"] == "refused"]
        self.assertEqual(refused, [])
        apply({"ntp-server": {"all": []}})

    def test_goes_to_the_next_broker_where_one_is_away(self):
        apply({"fleet": {"some": [{"values": {"brokers": f"{board.ADDRESS}:1 {board.ADDRESS}:8883"}}]}},
              connection="new")
        apply(system(location="by the second"), connection="new")
        apply({"fleet": {"some": [{"values": {"brokers": f"{board.ADDRESS}:8883"}}]}}, connection="new")

    def test_leaves_nothing_unread(self):
        """What lies in a socket is the kernel's memory."""
        for number in range(5):
            apply(system(location=f"place {number}"))
        [pid] = board.pids_of("vorn-agent")

        def unread():
            own = [line.split() for line in board.run("ss", "-xHp").decode().splitlines() if f"pid={pid}," in line]
            return [line for line in own if (line[2], line[3]) != ("0", "0")] if own else ["no sockets"]

        board.await_that(lambda: not unread(), unread)

    def test_z_finishes_what_was_interrupted(self):
        """The agent dies while its change is on trial."""
        configuration = {"fleet": {"some": [{"values": {"requests": "off"}}]}}
        apply(configuration, connection="new")  # which restarts the agent in its own trial
        self.assertIn("off", show("fleet", "requests"))

        [pid] = board.pids_of("vorn-agent")
        os.kill(pid, signal.SIGSTOP)
        number = desire(system(location="after"))
        os.kill(pid, signal.SIGKILL)
        BROKER.await_report(state="applied", about=number, generation=number)

    def test_zz_survives_the_daemon(self):
        global DAEMON
        apply(system(location="kept"))
        number = GENERATION
        DAEMON.kill()
        DAEMON.wait()
        DAEMON = board.start_daemon()
        before = len(BROKER.told)
        board.await_that(lambda: any(topic == "online" for topic, _ in BROKER.told[before:]), "it back")
        BROKER.await_report(state="applied", about=number, generation=number)


def prepare(build):
    global DAEMON, BROKER, SIGNER
    board.VORNCTL = build / "client/vornctl"
    board.HOME.mkdir(mode=0o755)
    board.make_users()
    board.make_certificates()
    DAEMON = board.start_daemon()
    BROKER = board.Broker()
    SIGNER = board.Signer()
    board.vornctl("set", "fleet", "enabled=on", "tenant=acme", "device=ap1", "requests=on",
                  f"brokers={board.ADDRESS}:8883", f"signers={SIGNER.public}",
                  f"authorities={board.HOME}/ca.pem", f"certificate={board.HOME}/device.pem",
                  f"key={board.HOME}/device.key")
    # As docs/fleet.md has it.
    board.vornctl("add", "access-rule", "fleet", "order=10", "subject=user:vorn-agent", "class=*",
                  "operations=*", "effect=permit")
    board.vornctl("add", "access-rule", "fleet-rules", "order=9", "subject=user:vorn-agent",
                  "class=access-rule", "operations=insert update delete", "effect=deny")
    board.vornctl("set", "access-default", "read=deny", "write=deny")
    BROKER.await_report(state="none", generation=0)


if __name__ == "__main__":
    board.test(prepare, lambda: (BROKER and BROKER.process, BROKER and BROKER.listener, DAEMON))
