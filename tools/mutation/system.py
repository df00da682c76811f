# SPDX-License-Identifier: MIT
"""
The tests of the running daemon. Elsewhere each of them has a device of its own; here those that
pass so share one, of which recorder.cpp takes away what they leave: to make a device takes longer
than most of them. What fails there counts when it fails alone too.
"""
import tempfile
import threading
import time

from mutation.build import ROOT, Unusable
from mutation.process import UNCHANGED, fails, in_sandbox, limits_for
from mutation.record import Test, read_record, recording_in

# Each survivor costs all of them: a test that takes longer than this is left out, unless the file
# is its subject.
QUICK_SECONDS, OWN_SECONDS = 0.4, 2
# So many may fail without any change: some don't like the company of the C library's checks.
MOST_FAILING = 10
TOO_SLOW = Test("", 1e9, frozenset())


class SystemTests:
    """Those that belong to files, each with what it reaches when nothing is changed."""

    def __init__(self, build, schemata):
        self.build, self.schemata, self.lock = build, schemata, threading.Lock()
        self.shared, self.alone = {}, {}
        self.costs = build.costs_of_system_tests()

    def run(self, daemon, names, limits, more=(), fast=("--gtest_fail_fast",), **how):
        """In one device."""
        return in_sandbox(limits, [
            "--pid1", "--vorn", daemon, "--bind", ROOT / "tests/system/ng_migrate",
            "/usr/bin/ng_migrate", *more, "--", self.schemata.program("system"),
            f"--gtest_filter={':'.join(names)}", *fast],
            cwd=self.build.folder / "tests/system", **how)

    def learn(self, names, longest):
        """
        Finds out which of the unchanged tests can share a device, and what each reaches. One that
        takes too long is tried once more, alone.
        """
        left = [name for name in names if name not in self.shared and name not in self.alone
                and self.costs.get(name, 0) <= 4 * longest]
        doubtful = []
        while left:
            passed, failed, cut = self.recorded(left, 2 * longest)
            self.shared.update((test.name, test) for test in passed)
            done = {test.name for test in passed} | set(failed) | ({cut} if cut else set(left))
            doubtful += [name for name in left if name in done and name not in self.shared]
            left = [name for name in left if name not in done]
        for name in doubtful:
            self.learn_alone(name, longest)
        failed = [name for name in self.alone if self.alone[name] is None]
        if len(failed) > MOST_FAILING:
            raise Unusable(f"without any change these tests fail: {', '.join(failed)}")

    def learn_alone(self, name, longest):
        """None if it does not pass, even when it is tried again."""
        for _ in range(2):
            passed, _, cut = self.recorded([name], 2 * longest)
            if passed or cut:
                break
        self.alone[name] = passed[0] if passed else TOO_SLOW if cut else None

    def recorded(self, names, longest):
        """What passed, what failed, and what was cut off since it took longer."""
        with tempfile.TemporaryDirectory(dir=self.build.scratch) as scratch:
            bind, record = recording_in(scratch)
            began = time.time()

            def takes_too_long():
                return time.time() - max(began, record.stat().st_mtime) > longest + 1

            status = self.run(self.schemata.program("vorn"), names, UNCHANGED, bind, fast=(),
                              given_up=takes_too_long)
            passed, failed, running = read_record(record)
        return passed, failed, running or names[0] if status is None else None

    def tests_for(self, mutant):
        """Two lists: those that share a device, and the others."""
        near, others = self.build.system_tests_of(mutant.path)
        with self.lock:
            self.learn(near, OWN_SECONDS)
            self.learn(others, QUICK_SECONDS)
        return [self.schemata.reaching(mutant, [
            test for longest, names in ((OWN_SECONDS, near), (QUICK_SECONDS, others))
            for test in map(tests.get, names) if test and test.seconds <= longest])
            for tests in (self.shared, self.alone)]

    def who_notices(self, mutant, folder):
        """The first test that fails, or nothing."""
        shared, alone = self.tests_for(mutant)
        if not shared and not alone:
            return None
        daemon = self.schemata.mutated("vorn", mutant, folder)
        return self.who_notices_in_one_device(daemon, shared) or next(
            (test.name for test in alone
             if fails(lambda test=test: self.run(daemon, [test.name], limits_for(test.seconds)))),
            None)

    def who_notices_in_one_device(self, daemon, tests):
        left = {test.name: test for test in tests}
        while left:
            with tempfile.TemporaryDirectory(dir=self.build.scratch) as scratch:
                bind, record = recording_in(scratch)
                limits = limits_for(sum(test.seconds for test in left.values()))
                if self.run(daemon, left, limits, bind) == 0:
                    return None
                passed, failures, running = read_record(record)
            failed = next(iter(failures), running or next(iter(left)))
            if self.run(daemon, [failed], limits_for(left[failed].seconds)) != 0:
                return failed
            with self.lock: # those that ran before it make a difference to it
                if failed in self.shared:
                    self.alone[failed] = self.shared.pop(failed)
            for name in [failed, *(test.name for test in passed)]:
                left.pop(name, None)
        return None
