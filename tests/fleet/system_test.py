# SPDX-License-Identifier: MIT
"""vorn-fleet with real boards: system_test.py BUILD-FOLDER, in the sandbox with a second user."""
import json
import pathlib
import subprocess
import sys
import unittest

import boards
from boards import board

PROGRAM = pathlib.Path(__file__).resolve().parents[2] / "fleet/vorn-fleet"
FLEET = None
LOCATION = """
why: where they are
trial: 10
connection: kept
configuration:
  system: {some: [{values: {location: "floor {{ labels.floor }}"}}]}
"""
ADDRESSES = """
why: the new addresses
trial: 8
configuration:
  address: {some: [{name: lan, values: {address: "{{ address }}"}}]}
"""


def fleet(*words, status=0):
    done = subprocess.run([PROGRAM, words[0], "-C", FLEET.operators, *words[1:]],
                          text=True,
                          capture_output=True,
                          check=False,
                          cwd=FLEET.operators,
                          timeout=300)
    assert done.returncode == status, (words, done.stdout, done.stderr)
    return done.stdout


def listed():
    return {each["device"]: each for each in map(json.loads, fleet("list", "--json").splitlines())}


class ThreeBoards(unittest.TestCase):
    def test_1_come_with_their_labels(self):
        board.await_that(
            lambda: all(each["online"] for each in listed().values()) and len(listed()) == 3,
            "all of them")
        board.await_that(
            lambda: all(each["report"] and each["report"]["healthy"] for each in listed().values()),
            "their health")
        self.assertEqual(
            {name: each["labels"] for name, each in listed().items()},
            {f"ap{number}": {"site": "north", "floor": str(number)} for number in (1, 2, 3)})

    def test_2_take_what_waves_bring(self):
        (FLEET.operators / "location.yaml").write_text(LOCATION, "ascii")
        text = fleet("apply", "location.yaml", "site=north", "--waves", "1,100%", "--healthy-for",
                     "2s")
        self.assertIn("done: 3 devices", text)
        for each in FLEET.boards:
            self.assertIn("floor " + each.name[-1], each.vornctl("show", "system", "location"))
        self.assertIn("3 healthy", fleet("status"))
        self.assertIn(
            "floor 2",
            fleet("request", "<lsql><select><system><location/></system></select></lsql>", "ap2"))

    def test_3_come_back_from_what_cuts_them_off(self):
        (FLEET.operators / "addresses.yaml").write_text(ADDRESSES, "ascii")
        (FLEET.operators / "devices.yaml").write_text(
            "devices:\n" + "".join(f"  ap{number}: {{variables: {{address: 10.99.0.{number}}}}}\n"
                                   for number in (1, 2, 3)), "ascii")
        lines = fleet("apply",
                      "addresses.yaml",
                      "ap*",
                      "--waves",
                      "1,100%",
                      "--first",
                      "ap2",
                      "--healthy-for",
                      "2s",
                      "--json",
                      status=1).splitlines()
        end = json.loads(lines[-1])
        self.assertEqual((end["event"], end["wave"]), ("stopped", 1))
        self.assertEqual([(each["device"], each["standing"]) for each in end["devices"]],
                         [("ap2", "taken back")])
        self.assertIn("unreached", end["devices"][0]["why"])
        for each in FLEET.boards:
            self.assertIn(each.address, each.vornctl("show", "address", "lan"))
        self.assertEqual([listed()[name]["report"]["about"] for name in ("ap1", "ap2", "ap3")],
                         [1, 2, 1])

    def test_4_get_back_what_they_had(self):
        text = fleet("apply", "--undo", "--healthy-for", "1s")
        self.assertIn("ap2  what it had before is silent on address lan", text)
        self.assertIn("done: 1 device\n", text)
        self.assertEqual(listed()["ap2"]["report"]["generation"], 3)
        self.assertIn("undone", fleet("status"))


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
    FLEET = boards.Fleet(BUILD, 3)
    try:
        unittest.main(verbosity=2, exit=False, failfast=True)
    finally:
        FLEET.end()
