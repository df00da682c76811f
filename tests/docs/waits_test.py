#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the daemon calls that can wait for something outside is in the table of
docs/reliability.md, with the file that calls it and its bound: what each object file imports is
looked at. A door of its own has a row of its own."""
import functools
import pathlib
import re
import subprocess
import sys
import unittest

TREE = pathlib.Path(sys.argv.pop(1))
DAEMON = sys.argv.pop(1)

# Streams end in read and write, which are looked at themselves.
CAN_WAIT = set("""
accept accept4 clock_nanosleep close closedir connect copy_file_range creat dlopen epoll_pwait
epoll_wait execve execvp fallocate fchmod fdatasync flock fork fstat fsync ftruncate getaddrinfo
getdents gethostbyname getrandom ioctl link lockf lstat mkdir msgrcv msync nanosleep open openat
opendir pause pclose poll popen ppoll pread pselect pwrite read readdir readlink readv realpath recv
recvfrom recvmsg rename renameat rmdir select sem_wait send sendfile sendmsg sendto sigsuspend
sigtimedwait sigwait sigwaitinfo sleep stat symlink sync syncfs system tcdrain truncate unlink
unlinkat usleep vfork wait wait4 waitid waitpid write writev
""".split())


def plain(symbol):
    """Its name without the variants for large files and checked lengths."""
    name = re.sub(r"^__(\w+?)_(chk|2)$", r"\1", symbol.split("@")[0])
    return name.removesuffix("64")


@functools.cache
def called():
    lines = subprocess.run(["nm", "-A", "--undefined-only", DAEMON], check=True,
                           capture_output=True, text=True).stdout
    found = re.findall(r"^[^:]+:(\w+)\.cpp\.o:.* U (\S+)$", lines, re.MULTILINE)
    return {(plain(symbol), file) for file, symbol in found if plain(symbol) in CAN_WAIT}


def rows():
    text = (TREE / "docs/reliability.md").read_text()
    section = text.split("\n## What can wait, and for how long\n")[1].split("\n## ")[0]
    return [line.split("|") for line in section.splitlines() if line.startswith("|")][2:]


def in_ticks(cell):
    return set(re.findall(r"`(\w+)`", cell))


def in_docs():
    return {(name, file) for _, calls, files, *_ in rows()
            for name in in_ticks(calls) for file in in_ticks(files)}


class Waits(unittest.TestCase):
    def test_have_their_bound_in_the_docs(self):
        self.assertIn(("select", "eloop"), called())
        self.assertEqual(called() - in_docs(), set())

    def test_in_the_docs_are_those_of_the_daemon(self):
        for _, calls, files, *_ in rows():
            names = in_ticks(calls) & CAN_WAIT
            there = {file for name, file in called() if name in names or not names}
            self.assertLessEqual(in_ticks(files), there, calls)
            self.assertLessEqual(names, {name for name, _ in called()}, calls)

    def test_at_every_door_have_a_row(self):
        doors = {name for file in (TREE / "api").rglob("*.cpp")
                 for name in re.findall(r'"(vorn_sock_\w+)"', file.read_text())}
        self.assertIn("vorn_sock_lsql_stream", doors)
        self.assertEqual(doors - {name for row in rows() for name in in_ticks(row[1])}, set())


if __name__ == "__main__":
    unittest.main()
