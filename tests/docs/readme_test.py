#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The commands that the README shows print what it shows: readme_test.py README

Run inside the sandbox, on the demo board.
"""
import os
import pathlib
import re
import subprocess
import sys
import time


def run(command):
    return subprocess.run(command, shell=True, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT).stdout


def watched():
    """One notice, of a change that is made until it has been told."""
    with subprocess.Popen(["vornctl", "watch", "1"], stdout=subprocess.PIPE, text=True) as watcher:
        prefix = 0
        while watcher.poll() is None:
            prefix = prefix % 30 + 1
            run(f"vornctl set address lan prefix={prefix}")
        return watcher.stdout.read()


def neutral(text):
    """Without what differs: the time, the number of the change and what the watcher missed of them,
    the order of plugins in a folder."""
    text = re.sub(r"^([-+]   prefix =) \d+", r"\1 N", text, flags=re.MULTILINE)
    text = re.sub(r"^\d\d:\d\d:\d\d  (.*) \(\d+\)", r"TIME  \1 (N)", text, flags=re.MULTILINE)
    return sorted(text.splitlines())


def main():
    run("ip link add eth0 type veth peer name cable; ip link set cable up")
    subprocess.Popen(["/usr/sbin/vorn", "-f"], start_new_session=True,
                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    while not pathlib.Path("/var/run/vorn.pid").exists():
        time.sleep(0.02)
    readme = pathlib.Path(sys.argv[1]).read_text()
    os.chdir("/tmp")
    block = next(each for each in re.findall(r"^```\w*\n(.*?)^```$", readme, re.DOTALL | re.MULTILINE)
                 if each.startswith("$ vornctl"))
    wrong = 0
    for command, shown in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE):
        printed = watched() if command == "vornctl watch" else run(command)
        if neutral(printed) != neutral(shown):
            wrong += 1
            print(f"$ {command}\nis shown as:\n{shown}but prints:\n{printed}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
