# SPDX-License-Identifier: MIT
"""Documents, their hashes and signatures, and the words people use for times and amounts."""
import base64
import json
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import unittest

from fakes import KEYS, OTHER, SIGNER
from vorn_fleet import configuration, documents, reports, text
from vorn_fleet.problem import Misused
from vorn_fleet.signature import Keys, Signer, key_id, open_signed

TREE = pathlib.Path(__file__).resolve().parents[2]
PAGE = (TREE / "docs/fleet-protocol.md").read_text("utf-8")
sys.path.insert(0, str(TREE / "tests/agent"))

RADIO = {"radio": {"some": [{"name": "radio0", "values": {"channel": "11"}}]}}


def wish(configuration_=None, **more):
    return documents.check_wish({"configuration": configuration_ or RADIO, **more})


def random_configuration(chance):
    def word():
        return "".join(chance.choice("abZ0 ,:;é€=") for _ in range(chance.randint(1, 6)))

    def items():
        return [{
            **({"name": name} if name else {}), "values": {
                word(): chance.choice(["", word()]) for _ in range(chance.randint(0, 3))
            }
        } for name in {chance.choice([word(), None]) for _ in range(chance.randint(0, 3))}]

    made = {}
    for _ in range(chance.randint(0, 4)):
        made[word()] = {"all": items()
                        } if chance.random() < 0.5 else {"some": items(), "none": [word()]}
    return made


class AHash(unittest.TestCase):
    def test_is_that_of_the_pages_example(self):
        example = json.loads(re.search(r'^\{"version":1,"tenant".*?\}\}\}$', PAGE, re.M | re.S)[0])
        self.assertEqual(configuration.hash_of(example["configuration"]), example["hash"])

    def test_is_what_the_agents_tests_make_of_any_configuration(self):
        import board
        chance = random.Random(7)
        for _ in range(300):
            made = random_configuration(chance)
            self.assertEqual(configuration.hash_of(made), board.hash_of(made), made)

    def test_does_not_depend_on_order_or_empty_values(self):
        one = {"a": {"some": [{"name": "x", "values": {"p": "1", "q": "2", "r": ""}},
                              {"name": "y", "values": {}}]}, "b": {"none": ["m", "n"]}}
        other = {
            "b": {"none": ["n", "m"]}, "a": {
                "some": [{"values": {}, "name": "y"}, {"name": "x", "values": {"q": "2", "p": "1"}}]
            }
        }
        self.assertEqual(configuration.hash_of(one), configuration.hash_of(other))


class AConfiguration(unittest.TestCase):
    def test_is_refused_where_a_device_would_refuse_it(self):
        for wrong, words in (([], "member for each class"), ({"a": []}, "has to have members"),
                             ({"a": {}}, "either"), ({"a": {"all": [], "some": []}}, "either"),
                             ({"a": {"every": []}}, "no member"), ({"a": {"all": {}}},
                                                                   "list of instances"),
                             ({"a": {"all": [{"name": "x"}]}}, "lacks its values"),
                             ({"a": {"all": [{"values": {"p": 1}}]}},
                              "not int"), ({"a": {"all": [{"values": {"p": "\0"}}]}}, "character"),
                             ({"a": {"all": [{"values": {}, "nam": ""}]}}, "no member"), ({
                                 "a": {"all": [{"values": {}, "name": "x"}] * 2}
                             }, "twice"), ({"a": {"none": "x"}},
                                           "list of names"), ({"a": {"none": [1]}}, "not int")):
            with self.assertRaisesRegex(Misused, words, msg=wrong):
                configuration.check(wrong)
        configuration.check(RADIO)

    def test_differs_from_another_in_what_they_say(self):
        after = {"radio": {"some": [{"name": "radio0", "values": {"channel": "6", "width": "40"}}]}}
        self.assertEqual(configuration.differences(RADIO, after),
                         [(("radio", "radio0", "channel"), "11", "6"),
                          (("radio", "radio0", "width"), None, "40")])
        self.assertEqual(configuration.differences(RADIO, RADIO), [])

    def test_shows_what_an_earlier_one_would_leave_as_it_is(self):
        changed = {
            "radio": {"some": [{"name": "radio0", "values": {"channel": "6", "width": "40"}}]},
            "ntp-server": {"all": [{"name": "a", "values": {"address": "x"}}]}
        }
        self.assertEqual(configuration.untouched(changed, RADIO), [("ntp-server", "", ""),
                                                                   ("ntp-server", "a", ""),
                                                                   ("ntp-server", "a", "address"),
                                                                   ("radio", "radio0", "width")])
        self.assertEqual(
            configuration.untouched(changed, {"radio": {"all": []}, "ntp-server": {"all": []}}), [])
        self.assertEqual(configuration.untouched(RADIO, {"radio": {"none": ["radio0"]}}), [])


class ASignature(unittest.TestCase):
    def test_is_that_of_openssl(self):
        with tempfile.TemporaryDirectory() as scratch:
            key, data = pathlib.Path(scratch, "key.pem"), pathlib.Path(scratch, "data")
            subprocess.run(["openssl", "genpkey", "-algorithm", "ed25519", "-out", key], check=True)
            signer = Signer.read(key)
            payload = signer.sign(b'{"version":1}', "desired")
            line, _, document = payload.partition(b"\n")
            words = line.split(b" ")
            data.write_bytes(b" ".join(words[:4]) + b"\n" + document)
            made = subprocess.run(
                ["openssl", "pkeyutl", "-sign", "-rawin", "-inkey", key, "-in", data],
                check=True,
                capture_output=True).stdout
        self.assertEqual(base64.b64decode(words[4]), made)
        self.assertEqual(words[:3], [b"vorn-fleet", b"1", b"desired"])
        self.assertEqual(words[3].decode(), key_id(signer.public))

    def test_holds_for_its_bytes_its_purpose_and_its_key_alone(self):
        payload = SIGNER.sign(b"{}", "desired")
        self.assertEqual(open_signed(payload, "desired", KEYS).fault, "")
        for wrong, purpose, fault in ((payload + b" ", "desired", "damaged"), (payload, "request",
                                                                               "unsigned"),
                                      (OTHER.sign(b"{}", "desired"), "desired",
                                       "unknown-key"), (payload.replace(b"=\n", b"!\n"), "desired",
                                                        "damaged"), (b"", "desired", "unsigned"),
                                      (b"\n", "desired", "unsigned"), (b"vorn-fleet 1 desired",
                                                                       "desired", "unsigned"),
                                      (b"vorn-fleet 1 desired " + b"x" * 300 + b" y\n", "desired",
                                       "unsigned")):
            self.assertEqual(open_signed(wrong, purpose, KEYS).fault, fault, wrong)

    def test_needs_a_key_that_is_one(self):
        with tempfile.TemporaryDirectory() as scratch:
            path = pathlib.Path(scratch, "key.pem")
            with self.assertRaisesRegex(Misused, "No such file"):
                Signer.read(path)
            path.write_text("no key", "ascii")
            with self.assertRaisesRegex(Misused, "no private key in PEM"):
                Signer.read(path)
            subprocess.run(["openssl", "genpkey", "-algorithm", "x25519", "-out", path], check=True)
            with self.assertRaisesRegex(Misused, "no Ed25519 key"):
                Signer.read(path)
            subprocess.run([
                "openssl", "genpkey", "-algorithm", "ed25519", "-aes256", "-pass", "pass:x", "-out",
                path
            ],
                           check=True)
            with self.assertRaisesRegex(Misused, "encrypted"):
                Signer.read(path)
        for wrong in ("", "AAAA", "not base64!"):
            with self.assertRaisesRegex(Misused, "no public key"):
                Keys.read([wrong])


class ADocument(unittest.TestCase):
    def test_has_the_members_of_the_protocol(self):
        made = json.loads(
            documents.make("acme", "ap1", 7, wish(by="anna", why="x", trial="30", local="refuse")))
        self.assertEqual(
            made, {
                "version": 1, "tenant": "acme", "device": "ap1", "generation": 7, "by": "anna",
                "why": "x", "trial": 30, "local": "refuse", "configuration": RADIO,
                "hash": configuration.hash_of(RADIO)
            })

    def test_is_refused_before_it_is_sent_where_a_device_would_refuse_it(self):
        for wrong, words in (({"trial": "4"}, "trial"), ({"trial": "x"},
                                                         "trial"), ({"attempts": "11"}, "attempts"),
                             ({"local": "keep"}, "one of"), ({"by": "x" * 201}, "200 bytes"),
                             ({"why": "é" * 101}, "200 bytes"), ({"why": []}, "200 bytes"),
                             ({"schema": "12"}, "hexadecimal"), ({"generation": "4"}, "no member"),
                             ({"not-before": "9", "not-after": "8"}, "before"),
                             ({"trial": True}, "trial"), ({"trial": "\u0664\u0665"}, "trial")):
            with self.assertRaisesRegex(Misused, words, msg=wrong):
                wish(**wrong)
        with self.assertRaisesRegex(Misused, "no configuration"):
            documents.check_wish({"why": "x"})
        large = {"a": {"some": [{"values": {"p": "x" * documents.LONGEST}}]}}
        with self.assertRaisesRegex(Misused, "262144 are the most"):
            documents.sign(documents.make("acme", "ap1", 1, wish(large)), SIGNER)
        with self.assertRaisesRegex(Misused, "no number left"):
            documents.make("acme", "ap1", documents.LARGEST_GENERATION + 1, wish())

    def test_is_read_back_as_it_was_meant(self):
        made = documents.make("acme", "ap1", 7, wish(by="anna", attempts="2"))
        read = documents.read(documents.sign(made, SIGNER), "acme", "ap1", KEYS)
        self.assertEqual((read.generation, read.digest, read.fault),
                         (7, documents.digest_of(made), ""))
        self.assertEqual(documents.check_wish(read.wish), wish(by="anna", attempts="2"))

    def test_is_believed_only_when_all_of_it_is_right(self):
        def fault(document, signer=SIGNER):
            return documents.read(signer.sign(document, "desired"), "acme", "ap1", KEYS).fault

        good = documents.make("acme", "ap1", 7, wish())
        self.assertEqual(fault(good), "")
        self.assertEqual(fault(good, OTHER), "unknown-key")
        self.assertEqual(fault(good.replace(b"ap1", b"ap2")), "other-device")
        self.assertEqual(fault(good.replace(b'"11"', b'"12"')), "malformed")
        for wrong in (b"", b"[]", b"{}", b"{", b"\xff", b"[" * 100000, b'{"a":1,"a":2}',
                      b"9" * 5000, good.replace(b'{"version"', b'{"version":1,"version"'),
                      good.replace(b":7",
                                   b":7.5"), good.replace(b":7",
                                                          b":0"), good.replace(b":7", b":true")):
            self.assertEqual(fault(wrong), "malformed", wrong[:50])
        self.assertEqual(
            documents.read(b"x" * (documents.LONGEST + 1), "acme", "ap1", KEYS).fault, "too-large")


class AReport(unittest.TestCase):
    def test_says_what_it_says(self):
        example = re.search(r'^\{"version":1,"generation":42,"digest".*?\}$', PAGE, re.M | re.S)[0]
        report = reports.read_report(example.encode())
        self.assertEqual(
            (report.fault, report.generation, report.state, report.about, report.trial),
            ("", 42, "applied", 42, "none"))
        self.assertEqual((report.is_healthy, report.versions["daemon"], report.desired_hash),
                         (True, "0.1.0", "181e..."))

    def test_is_none_when_it_is_hostile(self):
        for wrong in (b"", b"[" * 100000, b"{}", b"[]", b"\xff\xfe", b"9" * 5000,
                      b'{"version":1,"state":"x"}', b'{"version":2,"state":"none"}',
                      b'{"version":1,"state":"none"}' + b" " * reports.LONGEST):
            self.assertTrue(reports.read_report(wrong).fault, wrong[:50])

    def test_lacks_what_is_not_what_it_should_be(self):
        report = reports.read_report(
            json.dumps({
                "version": 1, "state": "applied", "generation": -1, "about": True, "detail": [],
                "versions": [], "labels": {"a": 1, "b": "c"}, "differences": "x",
                "problems": [1, "y"], "healthy": "yes", "difference-count": 10**30
            }).encode())
        self.assertEqual((report.generation, report.about, report.detail, report.versions),
                         (0, 0, "", {}))
        self.assertEqual((report.labels, report.differences, report.problems),
                         ({"b": "c"}, [], ["y"]))
        self.assertEqual((report.is_healthy, report.difference_count, report.fault), (False, 0, ""))

    def test_tells_who_is_there(self):
        for payload, is_online in ((b'{"version":1,"online":true}',
                                    True), (b'{"online":false}', False), (b'{"online":1}', None),
                                   (b"x", None), (b"[]", None)):
            self.assertIs(reports.read_online(payload), is_online)
        self.assertEqual(reports.read_event(b'{"event":"trial","text":"ours"}'), ("trial", "ours"))
        self.assertIsNone(reports.read_event(b'{"event":5}'))


class AVersion(unittest.TestCase):
    def test_is_the_trees(self):
        told = subprocess.run([TREE / "fleet/vorn-fleet", "--version"],
                              check=True,
                              capture_output=True,
                              text=True).stdout
        self.assertEqual(
            told.split()[1],
            re.search(r"project\(vorn VERSION (\S+)", (TREE / "CMakeLists.txt").read_text())[1])


class Words(unittest.TestCase):
    def test_are_shown_without_what_moves_a_terminal(self):
        self.assertEqual(text.printable("a\x1b[2J\nb\x07\u202e\u200b\x9b"),
                         r"a\x1b[2J\nb\x07\u202e\u200b\x9b")
        self.assertEqual(text.printable("Köln €"), "Köln €")
        self.assertEqual(text.printable("x" * 500), "x" * 400 + "...")
        self.assertEqual(text.printable(5), "5")

    def test_tell_times(self):
        for word, seconds in (("90", 90), ("90s", 90), ("10m", 600), ("2h", 7200), ("1d", 86400),
                              ("0", 0)):
            self.assertEqual(text.seconds_of(word), seconds)
        for wrong in ("", "x", "-1", "1w", "1.5m", "\u0661m"):
            with self.assertRaises(Misused):
                text.seconds_of(wrong)
        self.assertEqual([text.told_seconds(each) for each in (0, 59.2, 600, 3600, 370)],
                         ["0s", "1m", "10m", "1h", "6m10s"])

    def test_count(self):
        self.assertEqual([text.counted(each, "wave") for each in (0, 1, 2)],
                         ["0 waves", "1 wave", "2 waves"])

    def test_tell_amounts(self):
        five, share = text.Amount.read("5"), text.Amount.read("2.5%")
        self.assertEqual([five.at_least(3), five.at_least(9), five.at_most(3)], [3, 5, 5])
        self.assertEqual(
            [share.at_least(1),
             share.at_least(41),
             share.at_most(39),
             share.at_most(40)], [1, 2, 0, 1])
        self.assertEqual((str(five), str(share)), ("5", "2.5%"))
        self.assertEqual(text.Amount.read("7%").at_most(100), 7)
        for wrong in ("", "%", "101%", "1.5", "-1", "x"):
            with self.assertRaises(Misused):
                text.Amount.read(wrong)


if __name__ == "__main__":
    unittest.main()
