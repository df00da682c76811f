#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The table of limits in docs/lsql.md is that of core/base/limits.h: the same numbers in the same
order."""
import pathlib
import re
import sys
import unittest

TREE = pathlib.Path(sys.argv.pop(1))
UNITS = {"KiB": 1 << 10, "MiB": 1 << 20, "s": 1000}


def in_code():
    text = (TREE / "core/base/limits.h").read_text()
    numbers = re.findall(r"^constexpr [\w:]+(?: int)? \w+ = ([^;]+);", text, re.MULTILINE)
    return [eval(number.replace("u", "")) for number in numbers]  # noqa: S307


def in_docs():
    section = (TREE / "docs/lsql.md").read_text().split("\n## Limits\n")[1].split("\n## ")[0]
    cells = re.findall(r"\| ([\d,]+)(?: (\w+))? \|$", section, re.MULTILINE)
    return [int(number.replace(",", "")) * UNITS.get(unit, 1) for number, unit in cells]


class Limits(unittest.TestCase):
    def test_are_documented(self):
        documented = in_docs()
        self.assertGreater(len(documented), 15)
        self.assertEqual(documented, in_code())


if __name__ == "__main__":
    unittest.main()
