# SPDX-License-Identifier: MIT
"""What the programs say of the tests that run in them: recorder.cpp writes it."""
import pathlib
import typing

# Where they find the files, in the sandbox: what was reached, a byte for each mutant, and what they
# say.
PLACE = "/usr/lib/vorn-mutants"
MOST = 65536


class Test(typing.NamedTuple):
    name: str
    seconds: float
    reached: frozenset

    def is_of(self, suites):
        """A name may have an instance's before it, or a type's after it."""
        return not suites.isdisjoint(self.name.split(".")[0].split("/"))


def recording_in(scratch):
    """What the sandbox is told, and the record; whoever the program becomes can write it."""
    folder = pathlib.Path(scratch)
    (folder / "reached").write_bytes(bytes(MOST))
    (folder / "record").touch()
    for file in folder, folder / "reached", folder / "record":
        file.chmod(0o777)
    return ["--bind", folder, PLACE], folder / "record"


def read_record(record):
    """The tests that passed, the names of those that failed, and of the one that never ended."""
    passed, failed, running = [], [], None
    for line in record.read_text().splitlines():
        name, result, milliseconds, *reached = line.split()
        running = name if result == "started" else None
        if result == "passed":
            passed.append(Test(name, int(milliseconds) / 1000, frozenset(map(int, reached))))
        elif result == "failed":
            failed.append(name)
    return passed, failed, running
