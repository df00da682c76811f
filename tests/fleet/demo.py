# SPDX-License-Identifier: MIT
"""The tour: demo.py BUILD-FOLDER, in the sandbox. What is shown is what the commands print."""
import os
import pathlib
import subprocess
import sys

import boards

TREE = pathlib.Path(__file__).resolve().parents[2]
DEVICES = """devices:
  ap1: {variables: {address: 10.9.0.21}}
  ap2: {variables: {address: 10.99.0.22}}
  ap3: {variables: {address: 10.9.0.23}}
"""
LOCATIONS = """why: where they are
trial: 10
connection: kept
configuration:
  system: {some: [{values: {location: "floor {{ labels.floor }}"}}]}
  address: {some: [{name: lan, values: {address: "10.9.0.1{{ labels.floor }}"}}]}
"""
ADDRESSES = """why: the new addresses
trial: 8
configuration:
  system: {some: [{values: {location: "floor {{ labels.floor }}"}}]}
  address: {some: [{name: lan, values: {address: "{{ address }}"}}]}
"""


def title(text):
    is_bold = sys.stdout.isatty() and not os.environ.get("NO_COLOR")
    print(f"\n\x1b[1m{text}\x1b[0m\n" if is_bold else f"\n{text}\n", flush=True)


def show(*words):
    """A command, and what it prints, a step to the right."""
    told = [f"'{each}'" if set(each) & set("*% ") else each for each in words]
    print("  $ " + " ".join(told), flush=True)
    with subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True) as command:
        for line in command.stdout:
            print("    " + line, end="", flush=True)


def on_board(each, *words):
    print(f"  {each.name} $ vornctl " + " ".join(words))
    print("".join(f"    {line}\n" for line in each.vornctl(*words).splitlines()), flush=True)


def tour(fleet):
    os.chdir(fleet.operators)
    os.environ["PATH"] = f"{TREE}/fleet:{os.environ['PATH']}"
    for name, text in (("devices.yaml", DEVICES), ("locations.yaml", LOCATIONS), ("addresses.yaml",
                                                                                  ADDRESSES)):
        pathlib.Path(name).write_text(text, "ascii")
    boards.board.await_that(lambda: subprocess.run(
        ["vorn-fleet", "list", "online=yes", "healthy=yes"], check=True,
        capture_output=True).stdout.count(b"\n") == 4, "all boards")

    title("1. Three boards have come to the broker; their configuration has their labels")
    show("vorn-fleet", "list")
    title(
        "2. One template for all of them, in two waves: the second goes out when the first is well")
    show("cat", "locations.yaml")
    show("vorn-fleet", "apply", "locations.yaml", "site=north", "--waves", "1,100%",
         "--healthy-for", "2s")
    title("3. The next change has a slip in it: with 10.99.0.22 board ap2 reaches no broker")
    show("vorn-fleet", "diff", "--change", "addresses.yaml", "site=north")
    show("vorn-fleet", "apply", "addresses.yaml", "site=north", "--waves", "1,100%", "--first",
         "ap2", "--healthy-for", "2s")
    title(
        "4. It has taken the change back by itself and has come back; nobody else was sent anything"
    )
    show("vorn-fleet", "list")
    on_board(fleet.boards[1], "show", "address", "lan", "address", "state")
    title("5. What it had before is what it is to have; then all is well again")
    show("vorn-fleet", "apply", "--undo", "--healthy-for", "2s")
    show("vorn-fleet", "status")


if __name__ == "__main__":
    print("Three boards start, and a broker ...", flush=True)
    FLEET = boards.Fleet(pathlib.Path(sys.argv[1]), 3)
    try:
        tour(FLEET)
    finally:
        FLEET.end()
