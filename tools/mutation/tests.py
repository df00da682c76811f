# SPDX-License-Identifier: MIT
"""Which tests reach a mutant, and whether one of them notices it."""
import pathlib
import tempfile
import threading

from mutation.build import Unusable
from mutation.process import UNCHANGED, fails, in_sandbox, limits_for
from mutation.record import read_record, recording_in
from mutation.schemata import Stillborn
from mutation.system import MOST_FAILING, SystemTests

# Unit tests that take longer than this come after the others.
SHORT_SECONDS = 0.05
# A mutant may wait for ever; what is unchanged ends, however busy the machine is.
HANGING_SECONDS = 10

# The sanitizers' leak checker, without the rest of them.
LEAKS = ["LD_PRELOAD=liblsan.so.0"]
# The C library looks for bytes written beside what was asked for, and leaves no old values in
# memory.
CAREFUL = ["LD_PRELOAD=libc_malloc_debug.so.0", "MALLOC_CHECK_=3", "MALLOC_PERTURB_=165"]


class Tests:
    """All tests, each with what it reaches when nothing is changed."""

    def __init__(self, build, schemata):
        self.build, self.schemata, self.lock = build, schemata, threading.Lock()
        self.unit, self.clean = {}, {}
        self.system = SystemTests(build, schemata)

    def run_unit_tests(self, file, groups, environment, limits, more=(),
                       how="--gtest_fail_fast"):
        """What comes back is the status of the first group of tests that fails, or 0."""
        script = " && ".join(f'"$0" {how} --gtest_filter="{":".join(group)}"' for group in groups)
        # The leak checker reserves more addresses than there will ever be memory.
        memory = "--as=4000000000" if environment == CAREFUL else "--data=4000000000"
        patience = UNCHANGED.cpu if limits is UNCHANGED else HANGING_SECONDS
        return in_sandbox(limits, [*more, "--", "env", f"VORN_TEST_SECONDS={patience}",
                                   *environment, "sh", "-c", script, file],
                          memory, cwd=self.build.folder / "tests")

    def unit_tests(self, program):
        """Those that pass when nothing is changed; a busy machine has another try."""
        with self.lock:
            if program not in self.unit:
                file = self.schemata.program(program)
                tests, failed = self.recorded(file)
                if failed:
                    tests, failed = self.recorded(file)
                if len(failed) > MOST_FAILING:
                    raise Unusable(f"without any change these tests of {file.name} fail: "
                                   f"{', '.join(failed)}")
                self.unit[program] = tests
            return self.unit[program]

    def recorded(self, file):
        """The tests of a program that pass, and the names of those that fail."""
        with tempfile.TemporaryDirectory(dir=self.build.scratch) as scratch:
            bind, record = recording_in(scratch)
            self.run_unit_tests(file, [["*"]], CAREFUL, UNCHANGED, bind, how="")
            passed, failed, running = read_record(record)
        if running or not passed:
            raise Unusable(f"without any change {file.name} ends in {running or 'no test'}")
        return passed, failed

    def leaves_nothing(self, program):
        """Whether the leak checker has nothing to say when nothing is changed: it has, of tests
        that die."""
        with self.lock:
            if program not in self.clean:
                file = self.schemata.program(program)
                names = [test.name for test in self.unit[program]]
                self.clean[program] = self.run_unit_tests(file, [names], LEAKS, UNCHANGED) == 0
            return self.clean[program]

    def groups(self, tests, path):
        """Names of the tests that most likely notice, then the quick others, then the slow ones."""
        own = set(self.build.subjects.suites_named_after(pathlib.Path(path)))
        groups = [], [], []
        for test in tests:
            group = 2 if test.seconds > SHORT_SECONDS else 0 if test.is_of(own) else 1
            groups[group].append(test.name)
        return [group for group in groups if group]

    def who_notices(self, mutant, folder):
        """The first test program that fails, its own folder's before the others; or nothing."""
        meeting = {}
        for program in self.build.programs_with(mutant.path):
            tests = self.schemata.reaching(mutant, self.unit_tests(program))
            if tests:
                meeting[program] = tests
        for environment in CAREFUL, LEAKS:
            for program, tests in meeting.items():
                if environment == LEAKS and not self.leaves_nothing(program):
                    continue
                file = self.schemata.mutated(program, mutant, folder)
                limits = limits_for(sum(test.seconds for test in tests))
                groups = self.groups(tests, mutant.path)
                if fails(lambda: self.run_unit_tests(file, groups, environment, limits)):
                    return file.name
                file.unlink()
        return self.system.who_notices(mutant, folder)

    def verdict(self, mutant):
        """Who caught it, 'stillborn' or 'survived'."""
        self.build.refuse_changes()
        with tempfile.TemporaryDirectory(dir=self.build.scratch) as folder:
            try:
                noticed = self.who_notices(mutant, pathlib.Path(folder))
            except Stillborn:
                return "stillborn"
        self.build.refuse_changes()
        return noticed or "survived"
