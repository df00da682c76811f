#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the daemon calls that can wait for something outside is in the table of
docs/reliability.md, with its bound: the names that the binary imports are looked at."""
import pathlib
import re
import subprocess
import sys
import unittest

TREE = pathlib.Path(sys.argv.pop(1))
VORN = sys.argv.pop(1)

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


def imported():
    lines = subprocess.run(["nm", "-D", "--undefined-only", VORN], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    names = (line.split()[-1].split("@")[0] for line in lines)
    return {re.sub(r"^__(\w+)_chk$", r"\1", name).removesuffix("64") for name in names}


def in_docs():
    text = (TREE / "docs/reliability.md").read_text()
    section = text.split("\n## What can wait, and for how long\n")[1].split("\n## ")[0]
    rows = [line for line in section.splitlines() if line.startswith("|")][2:]
    return {name for row in rows for name in re.findall(r"`(\w+)`", row.split("|")[1])}


class Waits(unittest.TestCase):
    def test_have_their_bound_in_the_docs(self):
        self.assertIn("select", imported())
        self.assertEqual(imported() & CAN_WAIT - in_docs(), set())

    def test_in_the_docs_are_those_of_the_daemon(self):
        self.assertEqual(in_docs() & CAN_WAIT - imported(), set())


if __name__ == "__main__":
    unittest.main()
