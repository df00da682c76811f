# SPDX-License-Identifier: MIT
"""A measurement that fails costs its own figures and no others: what is missing is no number, nor is
what is worked out with it, and its rows say so."""
import json
import subprocess
import sys


class NotMeasured(float):
    """No number, whatever is looked for in it."""

    def __new__(cls):
        return super().__new__(cls, "nan")

    def __bool__(self):
        return False

    def __getitem__(self, key):
        return self

    def __contains__(self, key):
        return False


NOT_MEASURED = NotMeasured()


class Found(dict):
    """Figures by name; one that is not there was not measured."""

    def __missing__(self, key):
        return NOT_MEASURED


def read(text):
    """What a measurement has written as JSON."""
    return json.loads(text, object_hook=Found)


def reason(error):
    """What went wrong, with the end of what a program said of it."""
    said = error.stderr if isinstance(error, subprocess.CalledProcessError) else None
    if isinstance(said, bytes):
        said = said.decode(errors="replace")
    return f"{type(error).__name__}: {error}" + "".join(
        f"\n    {line}" for line in (said or "").splitlines()[-5:])


class Failures(list):
    """What could not be measured, and why."""

    def attempt(self, what, measure, *arguments):
        """What measure answers, or what stands for nothing."""
        try:
            return measure(*arguments)
        except (Exception, SystemExit) as error:  # whatever it is, the others are worth as much
            self.append(f"{what}: {reason(error)}")
            print(f"not measured: {self[-1]}", file=sys.stderr, flush=True)
            return NOT_MEASURED
