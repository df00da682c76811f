# SPDX-License-Identifier: MIT
"""An operator's folder, its templates, and who is selected."""
import pathlib
import tempfile
import unittest

from fakes import KEYS, SIGNER, TOPICS
from vorn_fleet import documents
from vorn_fleet.folder import Folder
from vorn_fleet.mirror import Mirror
from vorn_fleet.problem import Misused, NotThere
from vorn_fleet.selectors import select
from vorn_fleet.templates import Template


class InAFolder(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.path = pathlib.Path(scratch.name)

    def write(self, name, text):
        (self.path / name).write_text(text, "utf-8")

    def render(self, text, labels=None, **variables):
        self.write("change.yaml", text)
        return Template(str(self.path), "change.yaml").render("ap1", labels or {}, variables)


class ATemplate(InAFolder):
    def test_says_what_is_a_devices_own(self):
        text = """
why: {{ device }} at {{ labels.site }}
configuration:
  ntp-server:
    all:
{% for each in servers %}
      - {name: "{{ loop.index }}", values: {address: {{ each }}}}
{% endfor %}
"""
        self.assertEqual(self.render(text, {"site": "north"}, servers=["192.0.2.1", "192.0.2.2"]), {
            "why": "ap1 at north", "configuration": {"ntp-server": {"all": [
                {"name": "1", "values": {"address": "192.0.2.1"}},
                {"name": "2", "values": {"address": "192.0.2.2"}}]}}})

    def test_puts_no_value_where_it_could_change_the_form(self):
        for value in ("a: b", "x #3", "'", '"', "\\n", "[1]", "{}", "- a", "a\nb: c", "&x", "*x",
                      "!!int 5", "|", "%TAG", "---", " x ", "{{ device }}", ""):
            for place in ("{{ value }}", "'{{ value }}'", '"{{ value }}"'):
                self.assertEqual(self.render(f"why: {place}\n", value=value), {"why": value})
        self.assertEqual(self.render("why: {{ value|upper }}{{ 1 + 1 }}\n", value="a: b"),
                         {"why": "A: B2"})

    def test_has_texts_where_others_see_switches_and_numbers(self):
        self.assertEqual(self.render("a: on\nb: 010\nc: 1.50\nd: null\ne: 2026-11-23\n"),
                         {"a": "on", "b": "010", "c": "1.50", "d": "null", "e": "2026-11-23"})

    def test_complains_with_file_and_line(self):
        for text, words in (("a: 1\nb: {{ nothing }}\n",
                             "change.yaml:2: for ap1: 'nothing' is undefined"),
                            ("a: 1\n\nb: {% if %}\n",
                             "change.yaml:3: "), ("a: 1\nb: 1\na: 2\n",
                                                  'change.yaml:3: "a" stands there twice'),
                            ("a: [1\nb: 2\n", "change.yaml:2: "), ("a: &x 1\nb: *x\n",
                                                                   "change.yaml:2: .*references"),
                            ("- a\n", "change.yaml: has to have members"),
                            ("", "change.yaml: has to have members"),
                            ("a: {{ labels }}\n", "change.yaml:1: for ap1: dict is no text"),
                            ("a: {{ 1 / 0 }}\n", "change.yaml:1: for ap1: division by zero"),
                            ("? [x]\n: y\n", "change.yaml:1: a name has to be a text"),
                            ("{% include 'other.yaml' %}",
                             "for ap1: .*other.yaml"), ("{{ a }}: 1\n{{ b }}: 2\n",
                                                        "for ap1: two names have become the same")):
            with self.assertRaisesRegex(Misused, words, msg=text):
                self.render(text, a="x", b="x")
        with self.assertRaisesRegex(Misused, "there is no nothing.yaml"):
            Template(str(self.path), "nothing.yaml")

    def test_is_kept_in_its_sandbox(self):
        for text in ("a: {{ ''.__class__.__mro__ }}\n", "a: {{ labels.update({'x': 'y'}) }}\n",
                     "a: {{ range(10000000)|list|length }}\n"):
            with self.assertRaises(Misused, msg=text):
                self.render(text)

    def test_includes_others_of_its_folder(self):
        self.write("part.yaml", "why: {{ device }}\n")
        self.assertEqual(self.render("{% include 'part.yaml' %}"), {"why": "ap1"})
        with self.assertRaises(Misused):
            self.render("{% include '../../etc/passwd' %}")


class AFolder(InAFolder):
    def test_may_be_empty(self):
        folder = Folder(self.path)
        self.assertEqual((folder.settings, folder.devices), ({"signers": []}, {}))

    def test_says_which_broker_and_what_the_devices_are(self):
        self.write("fleet.yaml",
                   "tenant: acme\nbroker: b:1\nsigning-key: keys/a.pem\nsigners: [A, B]\n")
        self.write(
            "devices.yaml", "defaults: {labels: {role: ap}, variables: {channel: 1, width: 20}}\n"
            "devices: {ap1: {labels: {site: north}, variables: {channel: 6}}, ap2: }\n")
        folder = Folder(self.path)
        self.assertEqual(folder.settings["signing-key"], str(self.path / "keys/a.pem"))
        self.assertEqual(folder.settings["signers"], ["A", "B"])
        self.assertEqual(folder.devices["ap1"].labels, {"role": "ap", "site": "north"})
        self.assertEqual(folder.devices["ap1"].variables, {"channel": "6", "width": "20"})
        self.assertEqual(folder.devices["ap2"].variables, {"channel": "1", "width": "20"})

    def test_is_refused_with_what_is_wrong(self):
        for name, text, words in (("fleet.yaml", "tennant: x\n",
                                   "no setting \"tennant\""), ("fleet.yaml", "tenant: [x]\n",
                                                               "tenant: has to be a text"),
                                  ("fleet.yaml", "signers: [[x]]\n",
                                   "list of keys"), ("fleet.yaml", "- x\n", "has to have members"),
                                  ("devices.yaml", "device: {}\n",
                                   "no member \"device\""), ("devices.yaml", "devices: {a/b: }\n",
                                                             "can't be a device's name"),
                                  ("devices.yaml", "devices: {a: {label: {}}}\n",
                                   "no member \"label\""),
                                  ("devices.yaml", "devices: {a: {labels: {x: [y]}}}\n",
                                   "labels have to be texts"), ("devices.yaml",
                                                                "devices: {a: {variables: [y]}}\n",
                                                                "have to have names"),
                                  ("devices.yaml", "devices: {a: {variables: {device: y}}}\n",
                                   "can be called"),
                                  ("devices.yaml", "devices: {a: {variables: {a-b: y}}}\n",
                                   "can be called"), ("devices.yaml", "devices:\n  a:\n  a:\n",
                                                      ":3: \"a\" stands there twice")):
            self.write(name, text)
            with self.assertRaisesRegex(Misused, words, msg=text):
                Folder(self.path)
            (self.path / name).unlink()
        with self.assertRaisesRegex(Misused, "there is no folder"):
            Folder(self.path / "nothing")


class ASelector(unittest.TestCase):
    def setUp(self):
        self.mirror = Mirror(TOPICS, KEYS)
        for name, site, role in (("ap1", "north", "ap"), ("ap2", "south", "ap"), ("sw1", "north",
                                                                                  "switch")):
            self.mirror.device(name).given = {"site": site, "role": role}
        self.mirror.hear("v1/acme/ap2/online", b'{"version":1,"online":true}')

    def names(self, *words):
        return [each.name for each in select(words, list(self.mirror.devices.values()))]

    def test_is_what_all_words_say(self):
        for words, names in (((), ["ap1", "ap2",
                                   "sw1"]), (("*", ), ["ap1", "ap2",
                                                       "sw1"]), (("ap*", ), ["ap1", "ap2"]),
                             (("site=north", "role=ap"), ["ap1"]), (("site=n*", ), ["ap1", "sw1"]),
                             (("site=north,south", "role!=ap"),
                              ["sw1"]), (("id=ap1,sw1", ), ["ap1",
                                                            "sw1"]), (("online=yes", ), ["ap2"]),
                             (("online!=yes", "role=ap"), ["ap1"]), (("site=nowhere", ), []),
                             (("ap1", "sw*"), ["ap1",
                                               "sw1"]), (("ap1", "sw*", "role=ap"), ["ap1"])):
            self.assertEqual(self.names(*words), names, words)

    def test_is_refused_where_it_is_a_slip(self):
        for word, words in ((
                "sight=north",
                "no device has a label \"sight\"; there are: differs, healthy, id, .*site"),
                            ("ap9", "no device \"ap9\""), ("id=ap1,ap9", "no device \"ap9\"")):
            with self.assertRaisesRegex(NotThere, words):
                self.names(word)
        for word in ("=x", "site=", "!=x"):
            with self.assertRaises(Misused):
                self.names(word)

    def test_knows_what_devices_and_their_documents_say(self):
        self.mirror.hear("v1/acme/ap7/reported",
                         b'{"version":1,"state":"refused","labels":{"site":"roof","x":"y"}}')
        self.assertEqual(self.names("site=roof"), ["ap7"])
        self.assertEqual(self.names("state=refused"), ["ap7"])
        wanted = {"fleet": {"some": [{"values": {"labels": "site=cellar odd ="}}]}}
        document = documents.make("acme", "ap7", 1, documents.check_wish({"configuration": wanted}))
        self.mirror.hear("v1/acme/ap7/desired", SIGNER.sign(document, "desired"))
        self.assertEqual(self.names("site=cellar", "x=y"), ["ap7"])
        self.mirror.device("ap7").given = {"site": "desk"}
        self.assertEqual(self.names("site=desk"), ["ap7"])


class AMirror(unittest.TestCase):
    def test_shows_nothing_that_is_no_devices(self):
        mirror = Mirror(TOPICS, KEYS)
        for topic in ("v1/acme/ap1", "v1/acme/ap1/else", "v1/acme/~fleet/online",
                      "v1/other/ap1/online", "v1/acme/ap1/online/x", "v1/acme/a b/online",
                      "v1/acme//online", ""):
            self.assertIsNone(mirror.hear(topic, b'{"online":true}'), topic)
        self.assertEqual(mirror.devices, {})

    def test_tells_what_is_new(self):
        mirror = Mirror(TOPICS, KEYS)
        online = b'{"version":1,"online":true}'
        self.assertEqual(mirror.hear("v1/acme/ap1/online", online)[1], "online")
        self.assertIsNone(mirror.hear("v1/acme/ap1/online", online))
        self.assertEqual(mirror.hear("v1/acme/ap1/online", b"")[1], "online")
        self.assertIsNone(mirror.device("ap1").is_online)

    def test_knows_the_highest_number_that_anything_tells(self):
        mirror = Mirror(TOPICS, KEYS)
        self.assertEqual(mirror.device("ap1").last_generation, 0)
        mirror.hear("v1/acme/ap1/reported",
                    b'{"version":1,"state":"refused","generation":3,"about":9}')
        self.assertEqual(mirror.device("ap1").last_generation, 9)
        document = documents.make("acme", "ap1", 12, documents.check_wish({"configuration": {}}))
        mirror.hear("v1/acme/ap1/desired", SIGNER.sign(document, "desired"))
        self.assertEqual(mirror.device("ap1").last_generation, 12)


if __name__ == "__main__":
    unittest.main()
