# SPDX-License-Identifier: MIT
"""A build that is there already: how it compiles a file and links a program, and its tests."""
import importlib.machinery
import importlib.util
import json
import os
import pathlib
import re
import shlex
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# System tests that go through the whole daemon, the most likely to notice something first. Those of
# the file's own subject come before them, and all others come after them if somebody has the time.
WIDE = ["LsqlSockets", "NotifyPorts", "ConfigurationFiles", "Saves", "Commands", "Signals",
        "Starts", "InformSockets", "BootLoads", "Copies", "BrokenStarts", "Services", "Obstacles",
        "Watchdogs", "SecondDaemons", "RequestedReboots", "SignalsDuringTheBoot", "CommandLines",
        "StartUpLogs", "Loops"]


def tests_of_files():
    """tools/tests-of as a module."""
    loader = importlib.machinery.SourceFileLoader("tests_of", str(ROOT / "tools/tests-of"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("tests_of", loader))
    loader.exec_module(module)
    return module


class Unusable(Exception):
    """Why nothing can be said about any mutant."""


class Build:
    """The daemon's part of it, and the test programs of the daemon's folders."""

    def __init__(self, folder, scratch, thorough=False):
        self.folder, self.scratch, self.thorough = folder.resolve(), scratch, thorough
        if not (self.folder / "compile_commands.json").exists():
            raise Unusable("there is no build yet: ./dev build makes one")
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        self.compile = {}
        for entry in commands:
            # The daemon's own objects, not those that a test program compiles again.
            if "vorn_daemon.dir" in entry["command"]:
                self.compile[os.path.relpath(entry["file"], ROOT)] = shlex.split(entry["command"])
        self.source = {path: (ROOT / path).read_bytes() for path in self.compile}

    def get_ready(self):
        """Builds what the mutants are tried with, which takes minutes where nothing is built."""
        self.subjects = tests_of_files()
        self.test_sources = self.subjects.sources_of_tests(self.folder)
        programs = self.unit_programs()
        self.finish([f"{name}_tests" for name in [*programs, "system"]])
        self.link = {name: self.link_command(f"tests/{name}_tests") for name in programs}
        self.link["vorn"] = self.link_command("vorn")
        self.members = {name: self.members_of(name) for name in self.link}
        self.link["system"] = self.link_command("tests/system_tests")
        self.system_names = self.names_of_system_tests()
        self.stamps = self.stamps_now()

    def finish(self, tests):
        """A program that is older than its sources says nothing about them."""
        made = subprocess.run(["ninja", "-C", self.folder, "programs", *tests],
                              capture_output=True, text=True, check=False)
        if made.returncode != 0:
            raise Unusable(f"the build fails:\n{made.stdout}")

    def unit_programs(self):
        """Those of the daemon's folders, which link its objects and need no device."""
        folders = {path.split("/")[0] for path in self.compile}
        tests = ROOT / "tests"
        return sorted(name for name, sources in self.test_sources.items()
                      if any(source.is_relative_to(tests)
                             and source.relative_to(tests).parts[0] in folders
                             for source in sources))

    def link_command(self, target):
        lines = subprocess.run(["ninja", "-C", self.folder, "-t", "commands", target],
                               capture_output=True, text=True, check=True).stdout.splitlines()
        command = next(line for line in reversed(lines) if f"-o {target} " in line)
        command = shlex.split(command.split("&&")[1])
        return command[:1] + ["-fuse-ld=lld", "-Wl,-S"] + command[1:]

    def members_of(self, program):
        """The daemon's objects in a program: a change of any other is nothing to it."""
        command = list(self.link[program])
        command[command.index("-o") + 1] = str(self.scratch / "traced")
        trace = subprocess.run(command + ["-Wl,--trace"], capture_output=True, text=True,
                               check=True, cwd=self.folder).stdout
        return set(re.findall(r"libvorn_daemon\.a\(([^)]*)\)", trace))

    def has(self, program, path):
        command = self.compile[path]
        member = os.path.basename(command[command.index("-o") + 1])
        return member in self.members.get(program, ())

    def programs_with(self, path):
        """The unit tests' programs to ask about a file, those of its own tests first."""
        own = [name for name, _ in self.subjects.tests_of(pathlib.Path(path), self.test_sources)]
        return sorted((name for name in self.members if name != "vorn" and self.has(name, path)),
                      key=lambda name: (name not in own, name))

    def system_tests_of(self, path):
        """Names of tests: those whose subject the file is, and the others."""
        own = [suite for name, suites in
               self.subjects.tests_of(pathlib.Path(path), self.test_sources) if name == "system"
               for suite in suites]
        near = [name for name in self.system_names
                if any(re.match(rf"(\w+/)?{suite}[./]", name) for suite in own)]
        return near, [name for name in self.system_names
                      if name not in near and (self.thorough or self.is_wide(name))]

    @staticmethod
    def is_wide(name):
        return any(re.match(rf"(\w+/)?{suite}\.", name) for suite in WIDE)

    def costs_of_system_tests(self):
        """Seconds, as far as ctest has run them."""
        try:
            lines = (self.folder / "Testing/Temporary/CTestCostData.txt").read_text().splitlines()
        except OSError:
            return {}
        # After these come the names of those that failed, alone.
        found = [line.split() for line in lines if re.match(r"system\.\S+ \d+ ", line)]
        return {name.removeprefix("system."): float(cost) for name, _, cost in found}

    def names_of_system_tests(self):
        listed = subprocess.run([self.folder / "tests/system_tests", "--gtest_list_tests"],
                                capture_output=True, text=True, check=True).stdout.splitlines()
        suite, names = "", []
        for line in listed:
            if line.startswith("  "):
                names.append(suite + line.split()[0])
            elif line.split("#")[0].rstrip().endswith("."):
                suite = line.split()[0]
        return names

    def stamps_now(self):
        """What a build that runs meanwhile would change."""
        files = [self.folder / "libvorn_daemon.a", self.folder / "vorn"]
        files += [self.folder / f"tests/{name}_tests" for name in self.link if name != "vorn"]
        return [file.stat().st_mtime_ns for file in files]

    def refuse_changes(self):
        try:
            same = self.stamps == self.stamps_now()
        except OSError:
            same = False
        if not same:
            raise Unusable("the build changed meanwhile")

    def parse_arguments(self, path):
        words = self.compile[path][1:]
        return [word for word in words
                if word.startswith(("-D", "-I", "-std", "-f", "/usr/include"))
                or word == "-isystem"]

    def object_command(self, path, source, target):
        """It counts how fast the compiler is, not how fast what it makes."""
        command = [word for word in self.compile[path]
                   if not word.startswith(("-W", "-M", "-O", "-g"))
                   and not word.endswith("ccache")]
        command[command.index("-o") + 1] = str(target)
        command[command.index("-c") + 1] = str(source)
        return command[:1] + ["-w", "-O1", "-iquote", str((ROOT / path).parent)] + command[1:]

    def link_with(self, program, objects, target):
        """The program, with objects that come before the archive that holds the originals."""
        command = list(self.link[program])
        command[command.index("-o") + 1] = str(target)
        return command[:1] + ["-Wl,--allow-multiple-definition", *map(str, objects)] + command[1:]
