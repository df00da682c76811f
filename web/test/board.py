# SPDX-License-Identifier: MIT
"""The page in front of a whole board: the daemon with the plugin `web`, and what that starts.

Inside tools/sandbox: board.py BUILD-FOLDER COMMAND...: runs COMMAND on a machine of its own, at the
other end of the device's cable. VORN_ADDRESS, VORN_USER and VORN_PASSWORD tell it where and as whom
to log in.
"""
import os
import pathlib
import shutil
import socket
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "tests" / "gate"))
import door  # pylint: disable=wrong-import-position
import gate  # pylint: disable=wrong-import-position

BUILD = pathlib.Path(sys.argv.pop(1))
CLIENT = door.Client(BUILD)
USER, PASSWORD, ADDRESS = "anna", "a long word", "192.168.1.1"


def open_the_door():
    """Who serves the page is a user without rights, whose files lie where he can read them."""
    shutil.copytree(BUILD / "web/page", door.PAGE, dirs_exist_ok=True)
    os.environ["VORN_WEB_PAGE"] = str(door.PAGE)
    os.environ["PATH"] = f"{BUILD}/gate:" + os.environ["PATH"]
    gate.start_daemon()
    CLIENT.run("add", "account", USER, "password=" + PASSWORD)
    add_users_with_few_rights()
    CLIENT.run("set", "web", "enabled=on")


def add_users_with_few_rights():
    """Who reads everything and changes nothing; who sees the system and may change its contact, on
    trial; who may do nothing at all."""
    schema = [("guest", "schema-class", "", "read", "permit"),
              ("guest", "schema-property", "", "read", "permit")]
    rules = [("reader", "*", "", "read", "permit"), ("reader", "*", "", "*", "deny"), *schema,
             ("guest", "system", "", "read", "permit"),
             ("guest", "system", "contact", "update", "permit"),
             ("guest", "trial", "", "*", "permit"), ("guest", "*", "", "*", "deny"),
             ("stranger", "*", "", "*", "deny")]
    for user in ("reader", "guest", "stranger"):
        CLIENT.run("add", "account", user, "password=" + PASSWORD)
    for number, (user, klass, properties, operations, effect) in enumerate(rules):
        CLIENT.run("add", "access-rule", f"rule-{number}", f"order={number}",
                   f"subject=gate:{user}", f"class={klass}", f"properties={properties}",
                   f"operations={operations}", f"effect={effect}")


def another_machine():
    """A machine at the other end of the cable, in two networks that the device can be in."""
    machine = subprocess.Popen(["unshare", "-n", "sleep", "infinity"])
    inside = ["nsenter", "-t", str(machine.pid), "-n"]
    own = os.readlink("/proc/self/ns/net")
    gate.await_that(lambda: os.readlink(f"/proc/{machine.pid}/ns/net") != own, "the machine is there")
    subprocess.run(["ip", "link", "set", "cable", "netns", str(machine.pid)], check=True)
    # A browser gives up what it loads when an address comes, as one of the link's own would later.
    for command in (["ip", "link", "set", "lo", "up"],
                    ["ip", "link", "set", "cable", "addrgenmode", "none"],
                    ["ip", "link", "set", "cable", "up"],
                    ["ip", "addr", "add", "192.168.1.100/24", "dev", "cable"],
                    ["ip", "addr", "add", "192.168.2.100/24", "dev", "cable"]):
        subprocess.run(inside + command, check=True)
    return inside


def answers():
    try:
        socket.create_connection((ADDRESS, 443), 1).close()
        return True
    except OSError:
        return False


def main():
    door.prepare()
    open_the_door()
    inside = another_machine()
    gate.await_that(answers, "the web server answers")
    told = {"VORN_ADDRESS": f"https://{ADDRESS}", "VORN_USER": USER, "VORN_PASSWORD": PASSWORD}
    ended = subprocess.run(inside + sys.argv[1:], env={**os.environ, **told}, check=False)
    if ended.returncode != 0:
        print(pathlib.Path("/dev/console").read_text(encoding="utf-8", errors="replace")[-4000:])
    sys.exit(ended.returncode)


if __name__ == "__main__":
    main()
