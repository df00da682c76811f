#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The whole door on a throwaway device: lighttpd, the gate, the helper that judges passwords and the
plugin that starts them: web_test.py BUILD-FOLDER, in the sandbox with a second user."""
import http.client
import json
import os
import pathlib
import socket
import ssl
import subprocess
import sys
import threading
import time
import unittest
import warnings

import door
import gate
from door import PORT, Browser, trust

BUILD = pathlib.Path(sys.argv.pop(1))
PASSWORD = "not a long one"
CLIENT = door.Client(BUILD)
vornctl = CLIENT.run
lsql = CLIENT.lsql


def log_in_as_anna():
    browser = Browser()
    status = browser.log_in("anna", PASSWORD)
    deadline = time.monotonic() + 90
    while status == 429 and time.monotonic() < deadline:  # an earlier test has failed to log in
        time.sleep(0.2)
        status = browser.log_in("anna", PASSWORD)
    assert status == 200, status
    return browser


def answers_of(*paths):
    """Of a server that may just be starting anew."""
    try:
        return tuple(Browser().ask("GET", path)[0].status for path in paths)
    except (OSError, http.client.HTTPException):
        return None


def lifetime_of_new_session():
    try:
        browser = Browser()
        if browser.log_in("anna", PASSWORD) != 200:
            return None
        return json.loads(browser.ask("GET", "/api/v1/session")[1])["expires"]
    except (OSError, http.client.HTTPException):
        return None


class TheDoor(unittest.TestCase):
    def test_serves_the_page_with_its_headers(self):
        answer, text = Browser().ask("GET", "/")
        self.assertEqual((answer.status, text), (200, b"<!doctype html>page"))
        policy = dict(each.split(" ", 1) for each in
                      answer.headers["Content-Security-Policy"].split("; "))
        self.assertEqual(policy["default-src"], "'self'")
        self.assertLessEqual(set(" ".join(policy.values()).split()), {"'self'", "'none'"})
        self.assertEqual(answer.headers["X-Content-Type-Options"], "nosniff")
        for path in ("/../etc/passwd", "/%2e%2e/etc/passwd", "/..%2fetc/passwd", "/nothing"):
            answer, text = Browser().ask("GET", path)
            self.assertIn(answer.status, (400, 403, 404), path)
            self.assertNotIn(b"root", text)

    def test_has_browsers_keep_what_is_named_by_its_digest_alone(self):
        browser = log_in_as_anna()
        for path, kept in (("/", "no-cache"), ("/index.html", "no-cache"), ("/?x", "no-cache"),
                           ("/index.html?01ab23cd", "private, max-age=31536000, immutable"),
                           ("/api/v1/session?01ab23cd", "no-store"),
                           ("/api/v1/objects/system", "private, no-cache")):
            answer, _ = browser.ask("GET", path)
            self.assertEqual(answer.headers.get_all("Cache-Control"), [kept], path)

    def test_lets_in_whom_the_system_knows(self):
        browser = log_in_as_anna()
        answer, text = browser.ask("GET", "/api/v1/objects/account/anna")
        self.assertEqual(json.loads(text)["objects"][0]["properties"],
                         {"password": "********", "state": "applied"})
        self.assertEqual(Browser().log_in("bert", PASSWORD), 401)
        self.assertIn(Browser().log_in("anna", PASSWORD + "x"), (401, 429))

    def test_changes_in_the_name_of_who_asks(self):
        browser = log_in_as_anna()
        body = {"changes": [{"op": "update", "class": "system", "properties": {"contact": "c"}}]}
        answer, text = browser.ask("POST", "/api/v1/changes", body)
        self.assertEqual(answer.status, 200, text)
        commit = json.loads(browser.ask("GET", "/api/v1/commits")[1])["commits"][0]
        self.assertEqual((commit["user"], commit["program"]), ("gate:anna", "vorn-gate"))
        generation = json.loads(browser.ask("GET", "/api/v1/history")[1])["generations"][0]
        self.assertEqual((generation["user"], generation["program"]), ("gate:anna", "vorn-gate"))
        browser.csrf = "wrong"
        self.assertEqual(browser.ask("POST", "/api/v1/changes", body)[0].status, 403)

    def test_shows_nobody_what_he_may_not_see(self):
        browser = log_in_as_anna()
        for _ in range(2):  # what was told before is told to nobody who may not see it now
            answer, text = browser.ask("GET", "/api/v1/objects/resolver")
            self.assertEqual(len(json.loads(text)["objects"]), 1, text)
        vornctl("add", "access-rule", "anna", "order=1", "subject=gate:anna", "class=resolver",
                "operations=*", "effect=deny")
        answer, text = browser.ask("GET", "/api/v1/objects/resolver")
        self.assertTrue(answer.status == 404 or json.loads(text)["objects"] == [], text)
        body = {"changes": [{"op": "update", "class": "resolver", "properties": {"search": "a"}}]}
        self.assertIn(browser.ask("POST", "/api/v1/changes", body)[0].status, (403, 422))
        vornctl("delete", "access-rule", "anna")
        answer, text = browser.ask("POST", "/api/v1/changes", body)
        self.assertEqual(answer.status, 200, text)

    def test_keeps_no_password_but_its_hash(self):
        saved = pathlib.Path("/etc/config/config.xml").read_text(encoding="utf-8")
        self.assertNotIn(PASSWORD, saved)
        self.assertIn("$6$", saved)
        entry = [line for line in pathlib.Path("/etc/shadow").read_text(encoding="utf-8").split()
                 if line.startswith("anna:")]
        self.assertEqual(len(entry), 1)
        self.assertIn(entry[0].split(":")[1], saved)
        vornctl("set", "account", "anna", "password=" + PASSWORD)
        self.assertEqual(log_in_as_anna().ask("GET", "/api/v1/session")[0].status, 200)

    def test_makes_and_takes_users_with_their_accounts(self):
        vornctl("add", "account", "carl", "password=" + PASSWORD)
        self.assertIn("carl:x:601", pathlib.Path("/etc/passwd").read_text(encoding="utf-8"))
        vornctl("delete", "account", "carl")
        for path in ("/etc/passwd", "/etc/shadow"):
            self.assertNotIn("carl:", pathlib.Path(path).read_text(encoding="utf-8"))
        refused = lsql("<lsql><write-transaction><insert><account name=\"nobody\"/></insert>"
                       "</write-transaction></lsql>")
        self.assertIn("it is a user of the system", refused)
        refused = lsql("<lsql><write-transaction><insert><account name=\"a:b\"/></insert>"
                       "</write-transaction></lsql>")
        self.assertIn("a user's name is", refused)

    def test_leaves_who_was_there_his_own_password(self):
        files = [pathlib.Path(path) for path in ("/etc/passwd", "/etc/shadow")]
        before = [(file.stat().st_ino, file.read_text(encoding="utf-8")) for file in files]
        vornctl("add", "account", "root")
        vornctl("delete", "account", "root")
        self.assertEqual([(file.stat().st_ino, file.read_text(encoding="utf-8"))
                          for file in files], before)

    def test_puts_nothing_in_the_place_of_a_file_that_it_cannot_read(self):
        shadow = pathlib.Path("/etc/shadow")
        kept = shadow.rename("/etc/shadow.kept")
        os.mkfifo(shadow)
        try:
            run = subprocess.run([BUILD / "client/vornctl", "add", "account", "dora"],
                                 capture_output=True, text=True, check=False)
            self.assertIn('account "dora": failed: /etc/shadow: Invalid argument', run.stderr)
            self.assertTrue(shadow.is_fifo())
        finally:
            kept.replace(shadow)
        vornctl("set", "account", "dora", "password=" + PASSWORD + "!")
        self.assertIn("applied", vornctl("show", "account", "dora"))
        vornctl("delete", "account", "dora")

    def test_adds_a_line_where_the_last_one_has_no_end(self):
        users = pathlib.Path("/etc/passwd")
        users.write_text(users.read_text(encoding="utf-8").rstrip("\n"), encoding="utf-8")
        vornctl("add", "account", "emil", "password=" + PASSWORD)
        self.assertIn("\nemil:x:601", users.read_text(encoding="utf-8"))
        vornctl("delete", "account", "emil")

    def test_takes_tokens_until_they_are_deleted(self):
        token = log_in_as_anna().make_token("backup")
        program = {"Authorization": "Bearer " + token}
        self.assertEqual(Browser().ask("GET", "/api/v1/status", None, program)[0].status, 200)
        self.assertNotIn(token, vornctl("export", "-"))
        vornctl("delete", "api-token", "backup")
        self.assertEqual(Browser().ask("GET", "/api/v1/status", None, program)[0].status, 401)

    @unittest.skipUnless(door.HAS_SECOND_USER, "there is one user only")
    def test_runs_without_rights(self):
        for name in ("vorn-gate", "lighttpd"):
            status = pathlib.Path(f"/proc/{door.process_of(name)}/status").read_text(encoding="utf-8")
            fields = dict(line.split(":\t", 1) for line in status.splitlines() if ":\t" in line)
            self.assertEqual(fields["Uid"].split(), ["1000"] * 4, name)
            self.assertEqual(int(fields["CapEff"], 16), 0, name)
        self.assertEqual(os.stat("/run/vorn-web/passwords").st_mode & 0o777, 0o600)
        self.assertEqual(os.stat("/run/vorn-web/tokens").st_mode & 0o777, 0o640)
        spool = os.stat("/run/vorn-web/spool")
        self.assertEqual((spool.st_uid, spool.st_mode & 0o777), (1000, 0o700))
        self.assertEqual(os.stat("/etc/config/web/certificate.pem").st_mode & 0o777, 0o600)

    def test_streams_events_through_the_web_server(self):
        browser = log_in_as_anna()
        browser.connection.request("GET", "/api/v1/events", headers={"Cookie": browser.cookie})
        stream = browser.connection.getresponse()
        self.assertEqual(stream.readline(), b"event: hello\n")
        vornctl("set", "system", "location=here")
        for line in iter(stream.readline, b""):
            if line == b"event: change\n":
                return
        self.fail("the stream has ended")

    def test_splits_no_headers(self):
        for line in (b"GET /api/v1/session HTTP/1.1\r\nHost: x\r\nCookie: a\rSet-Cookie: b\r\n\r\n",
                     b"GET /api/v1/%0d%0aSet-Cookie:x HTTP/1.1\r\nHost: x\r\n\r\n",
                     b"POST /api/v1/session HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\n"
                     b"Content-Length: 6\r\n\r\nabcdef",
                     b"GET /api/v1/session HTTP/1.1\r\nHost: x\r\nX_CSRF_Token: y\r\n\r\n"):
            with socket.create_connection(("127.0.0.1", PORT), 60) as raw:
                with trust().wrap_socket(raw) as client:
                    client.sendall(line)
                    answer = client.recv(65536)
            self.assertIn(answer.split()[1], (b"400", b"401", b"404"), line)
            self.assertNotIn(b"\r\nSet-Cookie", answer)

    def test_is_closed_to_addresses_that_are_not_allowed(self):
        page, session = "/", "/api/v1/session"
        # Others each time, which only the server that is started anew says.
        for allowed, statuses in (("192.0.2.0/24 198.51.100.7", (403, 403)),
                                  ("192.0.2.0/24 127.0.0.1", (200, 401)),
                                  ("127.0.0.2", (403, 403)),
                                  ("126.0.0.0/7", (200, 401)),
                                  ("128.0.0.0/1", (403, 403)),
                                  ("", (200, 401))):
            vornctl("set", "web", "allowed=" + allowed)
            gate.await_that(lambda wanted=statuses: answers_of(page, session) == wanted, allowed)
        for wrong in (" ".join(f"192.0.2.{i}" for i in range(17)), "192.0.2.1/33", "192.0.2",
                      "192.0.2.0/24,192.0.3.0/24", "::1", 'x" {'):
            run = subprocess.run([BUILD / "client/vornctl", "set", "web", "allowed=" + wrong],
                                 capture_output=True, text=True, check=False)
            self.assertIn(f'Value "{wrong}" is not valid for property "allowed" of class "web".'
                          " Valid is: at most 16 IPv4 addresses", run.stderr)

    def test_gives_sessions_the_lifetime_that_is_configured(self):
        for lifetime in (61, 3600):  # each time with another gate
            vornctl("set", "web", f"session-lifetime={lifetime}")
            gate.await_that(lambda wanted=lifetime: lifetime_of_new_session() == wanted, lifetime)
        for wrong in ("59", "86401", "60 --help"):
            run = subprocess.run([BUILD / "client/vornctl", "set", "web",
                                  "session-lifetime=" + wrong],
                                 capture_output=True, text=True, check=False)
            self.assertIn("Valid is: ", run.stderr, wrong)

    def test_speaks_no_tls_of_long_ago(self):
        context = ssl.create_default_context()
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        context.set_ciphers("ALL:@SECLEVEL=0")
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)
            context.minimum_version = context.maximum_version = ssl.TLSVersion.TLSv1_1
        with socket.create_connection(("127.0.0.1", PORT), 60) as raw:
            with self.assertRaises(ssl.SSLError):
                context.wrap_socket(raw)

    def test_z_pauses_whoever_guesses_and_nobody_who_is_in(self):
        browser = log_in_as_anna()
        statuses = []

        def guess():
            for _ in range(10):
                statuses.append(Browser().log_in("anna", "a guess"))

        guessers = [threading.Thread(target=guess) for _ in range(4)]
        for each in guessers:
            each.start()
        slowest = 0.0
        while any(each.is_alive() for each in guessers):
            began = time.monotonic()
            self.assertEqual(browser.ask("GET", "/api/v1/session")[0].status, 200)
            slowest = max(slowest, time.monotonic() - began)
        self.assertLess(slowest, 20)  # on a busy machine
        self.assertEqual(set(statuses), {401, 429})
        self.assertLess(statuses.count(401), 12)


if __name__ == "__main__":
    with door.opened(BUILD, "anna", PASSWORD):
        result = unittest.main(exit=False, warnings="ignore").result
        if not result.wasSuccessful():
            print(pathlib.Path("/dev/console").read_text(encoding="utf-8"))
    sys.exit(not result.wasSuccessful())
