# SPDX-License-Identifier: MIT
"""Runs programs that may do anything, in the sandbox and within limits."""
import dataclasses
import os
import subprocess
import time

from mutation.build import ROOT

# Ended by what it has spent, which no other work on the machine makes more.
SPENT_ALL = 128 + 9
LOOKS_EVERY = 0.05


@dataclasses.dataclass(frozen=True)
class Limits:
    """In seconds: how long a test may take, and how much work it may be."""
    wall: float
    cpu: int


UNCHANGED = Limits(300, 120)


def limits_for(seconds):
    """A few times what the tests take when nothing is changed."""
    return Limits(4 * seconds + 10, int(3 * seconds) + 2)


def run(command, seconds, given_up=None, **more):
    """The exit status, or None when the time was over, or somebody had given it up."""
    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          stdin=subprocess.DEVNULL, start_new_session=True, **more) as child:
        end = time.monotonic() + seconds
        while True:
            left = end - time.monotonic()
            try:
                return child.wait(left if given_up is None else min(left, LOOKS_EVERY))
            except subprocess.TimeoutExpired:
                if time.monotonic() >= end or given_up and given_up():
                    os.killpg(child.pid, 9)
                    child.wait()
                    return None


def in_sandbox(limits, arguments, memory="--as=4000000000", **more):
    """The exit status of a command in the sandbox, whose arguments these are; see run()."""
    return run(["prlimit", f"--cpu={limits.cpu}", memory, "--core=0", "--fsize=2000000000",
                str(ROOT / "tools/sandbox"), *map(str, arguments)], limits.wall, **more)


def fails(test):
    """Twice, so that a busy machine is not taken for a change that shows."""
    status = test()
    return status == SPENT_ALL or status != 0 and test() != 0
