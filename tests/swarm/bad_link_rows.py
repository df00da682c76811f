# SPDX-License-Identifier: MIT
"""A real board behind a bad link takes changes, and then nothing happens: bad_link_rows.py BUILD [CHANGES
MINUTES], by tests/fleet/with-boards. The link loses 30 % of the frames each way, and takes two seconds."""
import json
import pathlib
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "fleet")]

import boards  # noqa: E402
import board  # noqa: E402
import cut_off  # noqa: E402
import rows  # noqa: E402
import street  # noqa: E402

LOSS, ROUND_TRIP = 0.3, 2.0
CHANGE = """
why: change {number}
trial: 300
attempts: 10
configuration:
  system: {{some: [{{values: {{contact: "{number}"}}}}]}}
"""


class Link:
    """Between the switch and the first board's cable."""

    def __init__(self, cable):
        board.run("ip", "link", "set", cable, "nomaster")
        board.run("ip", "link", "add", "bad", "type", "veth", "peer", "name", "worse")
        board.run("ip", "link", "set", "worse", "master", "switch", "up")
        board.run("ip", "link", "set", "bad", "up")
        for each in (cable, "bad", "worse", "switch"):
            pathlib.Path(f"/proc/sys/net/ipv6/conf/{each}/disable_ipv6").write_text("1", "ascii")
        self.process = subprocess.Popen([sys.executable, HERE / "bad_link.py", cable, "bad", str(LOSS),
                                         str(ROUND_TRIP / 2)],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def bytes_from_device(self):
        self.process.stdin.write("\n")
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())[0]

    def end(self):
        self.process.stdin.close()
        self.process.wait()


class Behind(cut_off.Fleet):
    def __init__(self, build):  # pylint: disable=super-init-not-called
        self.fleet = boards.Fleet(build, 1)
        street.await_that(lambda: [each["online"] for each in self.listed()] == [True], "the device", 60, 1)

    def report(self):
        return self.listed()[0]["report"]

    def end(self):
        self.fleet.end()


def measure(table, build, changes, idle_minutes):
    behind = Behind(build)
    board_end = behind.fleet.boards[0]
    board_end.run(sys.executable, HERE / "bad_link.py", "eth0")
    subprocess.run([sys.executable, HERE / "bad_link.py", "switch"], check=True)
    link = Link("cable1")
    try:
        begin, before = time.monotonic(), link.bytes_from_device()
        for number in range(1, changes + 1):
            (behind.fleet.operators / "change.yaml").write_text(CHANGE.format(number=number), "ascii")
            subprocess.run([cut_off.PROGRAM, "apply", "-C", behind.fleet.operators,
                            behind.fleet.operators / "change.yaml", "*", "--within", "1s", "--healthy-for", "0s",
                            "--again", "--connection", "new" if number % 3 == 1 else "kept"],
                           check=False, capture_output=True)
            time.sleep(30)
        street.await_that(lambda: (behind.report()["state"], behind.report()["generation"]) == ("applied", changes),
                          "the last change", 600, 2)
        seconds = time.monotonic() - begin
        table.add(f"{changes} changes over a link that loses 30 % and takes 2 s: the last is in force after",
                  f"{seconds:.0f} s", "ends right")
        table.add("  bytes that the device sent", str(link.bytes_from_device() - before))
        time.sleep(60)
        before = link.bytes_from_device()
        time.sleep(60 * idle_minutes)
        each = (link.bytes_from_device() - before) / idle_minutes
        table.add("  bytes in an idle minute, with all that TLS, TCP and IP add", f"{each:.0f}", "1024", each < 1024)
    finally:
        link.end()
        behind.end()


if __name__ == "__main__":
    results = rows.Table()
    measure(results, pathlib.Path(sys.argv[1]).resolve(), *map(int, sys.argv[2:4] or (8, 3)))
    sys.exit(0 if results.is_reached() else 1)
