# SPDX-License-Identifier: MIT
"""A wrong gateway goes out to real boards and simulated ones, by waves: cut_off.py BUILD [--short], by
tests/fleet/with-boards."""
import json
import pathlib
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "fleet")]

import boards  # noqa: E402
import rows  # noqa: E402
import street  # noqa: E402

PROGRAM = HERE.parent.parent / "fleet/vorn-fleet"
TRIAL = 20
GOOD = """
why: somebody to ask
trial: 60
configuration:
  system: {some: [{values: {contact: "{{ device }}@example.net"}}]}
"""
BAD = f"""
why: another gateway
trial: {TRIAL}
configuration:
  route: {{some: [{{name: broker, values: {{destination: {boards.SWITCH}/32, gateway: 10.9.0.254}}}}]}}
"""


class Fleet:
    def __init__(self, build, real, simulated):
        self.fleet = boards.Fleet(build, real)
        self.swarm = street.Swarm(build, simulated, more=["key=" + self.fleet.signer.public])
        self.count = real + simulated
        self.swarm.await_all(180)
        street.await_that(lambda: sum(each["online"] for each in self.listed()) == self.count,
                          "all devices", 180, 1)

    def operate(self, *words):
        done = subprocess.run([PROGRAM, words[0], "-C", self.fleet.operators, "--json", *words[1:]],
                              text=True, capture_output=True, check=False, timeout=300)
        assert done.returncode in (0, 1), (words, done.stdout, done.stderr)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def listed(self):
        return self.operate("list")

    def apply(self, template, *words):
        (self.fleet.operators / "change.yaml").write_text(template, "ascii")
        begin = time.monotonic()
        lines = self.operate("apply", self.fleet.operators / "change.yaml", "*", "--healthy-for", "3s", *words)
        return time.monotonic() - begin, lines[-1]

    def reverted(self, generation):
        """How many say that they are back; a report of one that is cut off is the one from before."""
        reports = [each["report"] for each in self.listed()]
        assert all(each["generation"] == generation and each["trial"] == "none" for each in reports
                   if each["state"] != "trying"), reports
        return sum(each["state"] == "reverted" for each in reports)

    def end(self):
        self.swarm.end()
        self.fleet.end()


def measure(table, build, real, simulated, seconds_beside):
    fleet = Fleet(build, real, simulated)
    try:
        seconds, end = fleet.apply(GOOD, "--waves", "1,25%,100%")
        assert end["event"] == "done", end
        table.add(f"a change for {fleet.count} devices, {real} of them real, in three waves", f"{seconds:.0f} s")
        begin = time.monotonic()
        seconds, end = fleet.apply(BAD, "--waves", "10%,100%", "--first", "ap*", "--stop-at", "2%",
                                   "--connection", "new")
        stopped = end["event"] == "stopped" and end["wave"] == 1
        table.add(f"a wrong gateway, {real} real devices first: stops in wave", str(end.get("wave")), "1", stopped)
        reached = max(1, fleet.count // 10)
        street.await_that(lambda: fleet.reverted(1) >= reached, "those of the first wave back", TRIAL + 240, 1)
        seconds = time.monotonic() - begin
        table.add("  all are back with what they had, by themselves", f"{seconds:.0f} s",
                  f"{TRIAL} + {seconds_beside} s", seconds <= TRIAL + seconds_beside)
        found = fleet.reverted(1)
        table.add("  devices that it reached", str(found), str(reached), found == reached)
    finally:
        fleet.end()


if __name__ == "__main__":
    results = rows.Table()
    is_short = "--short" in sys.argv
    measure(results, pathlib.Path(sys.argv[1]).resolve(), *((2, 18, 180) if is_short else (10, 90, 60)))
    sys.exit(0 if results.is_reached() else 1)
