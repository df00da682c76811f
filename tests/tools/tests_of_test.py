#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""tests_of_test.py BUILD-FOLDER CTEST, in the tree: what ./dev try builds and runs for each source."""
import importlib.machinery
import importlib.util
import pathlib
import re
import subprocess
import sys

FOLDERS = ("core", "model", "change", "config", "api", "input", "services", "plugins")
build, ctest = sys.argv[1:]


def module(path):
    sys.dont_write_bytecode = True
    loader = importlib.machinery.SourceFileLoader("tests_of", path)
    loaded = importlib.util.module_from_spec(importlib.util.spec_from_loader("tests_of", loader))
    loader.exec_module(loaded)
    return loaded


def tests_like(pattern):
    listed = subprocess.run([ctest, "--test-dir", build, "-N", "-R", pattern], check=True,
                            capture_output=True, text=True)
    return re.findall(r"^ *Test +#\d+: (\w+)\.", listed.stdout + listed.stderr, re.MULTILINE)


tool = module("tools/tests-of")
sources = [path for folder in FOLDERS for path in pathlib.Path(folder).rglob("*.c*")
           if path.suffix in (".c", ".cpp")]
assert len(sources) > 100
programs = tool.sources_of_tests(pathlib.Path(build))
found = {path: list(tool.tests_of(path, programs)) for path in sources}
unknown = [str(path) for path, tests in found.items() if not tests]
assert not unknown, f"no tests belong to {', '.join(unknown)}"
for path in ("fleet/vorn_fleet/waves.py", "tests/fleet/waves_test.py"):
    named = subprocess.run(["tools/tests-of", build, path], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    assert named[0] == "programs" and set(tests_like(named[1])) == {"operators"}, (path, named)
# All at once is the longest that ctest can be given.
named = subprocess.run(["tools/tests-of", build, *map(str, sources)], check=True,
                       capture_output=True, text=True).stdout.splitlines()
asked = {program.removesuffix("_tests") for program in named[0].split()}
answered = set(tests_like(named[1]))
assert asked and asked == answered, f"ctest knows {answered} of {asked}"
