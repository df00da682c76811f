# SPDX-License-Identifier: MIT
"""A real board takes changes over a bad link, and then nothing happens: bad_link_rows.py BUILD [CHANGES [MINUTES]],
by tests/fleet/with-boards, where the kernel has netem: tests/vm/bad_link starts one. The link loses 30 % of the
frames each way, and there and back takes two seconds. A change goes out each minute, whatever became of the last."""
import json
import pathlib
import re
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "fleet")]

import boards  # noqa: E402
import board  # noqa: E402
import rows  # noqa: E402

LOSS, ROUND_TRIP_MS = "30%", 2000


class Link:
    """Two ends of netem between the board's cable and the switch; what the board sends is counted before them."""

    def __init__(self, number, device):
        self.cable = f"cable{number}"
        board.run("ip", "link", "add", "middle", "type", "bridge")
        board.run("ip", "link", "add", "to-switch", "type", "veth", "peer", "name", "to-middle")
        for name, bridge in ((self.cable, "middle"), ("to-switch", "middle"), ("to-middle", "switch")):
            board.run("ip", "link", "set", name, "master", bridge, "up")
        for name in ("middle", "switch", self.cable, "to-switch", "to-middle"):
            pathlib.Path(f"/proc/sys/net/ipv6/conf/{name}/disable_ipv6").write_text("1", "ascii")
        # One frame for each segment: a virtual interface would have many of them lost, or none.
        device.run("ip", "link", "set", "eth0", "gso_max_segs", "1")
        board.run("ip", "link", "set", "switch", "gso_max_segs", "1")
        for name in (self.cable, "to-switch"):
            board.run("tc", "qdisc", "add", "dev", name, "root", "netem", "loss", LOSS, "delay",
                      f"{ROUND_TRIP_MS // 2}ms")
        board.run("ip", "link", "set", "middle", "up")

    def bytes_from_device(self):
        [told] = json.loads(board.run("ip", "-json", "-stats", "link", "show", "dev", self.cable))
        return told["stats64"]["rx"]["bytes"]

    def lost(self):
        """Frames to the device, and from it."""
        return [int(re.search(rb"dropped (\d+)", board.run("tc", "-s", "qdisc", "show", "dev", name))[1])
                for name in (self.cable, "to-switch")]


def desire(fleet, number):
    """Each third on a new connection."""
    configuration = {"system": {"some": [{"values": {"contact": str(number)}}]}}
    fleet.broker.desire(fleet.signer.sign({
        "version": 1, "tenant": "acme", "device": "ap1", "generation": number, "by": "anna", "why": "an hour of them",
        "trial": 300, "attempts": 10, "connection": "new" if number % 3 == 1 else "kept",
        "hash": board.hash_of(configuration), "configuration": configuration}))


def measure_changes(table, fleet, link, changes):
    begin, before = time.monotonic(), link.bytes_from_device()
    for number in range(1, changes + 1):
        desire(fleet, number)
        time.sleep(max(0, begin + 60 * number - time.monotonic()))
    fleet.broker.await_report(3600, state="applied", about=changes, generation=changes, trial="none")
    table.add(f"{changes} changes in as many minutes, over a link that loses 30 % and takes 2 s: the last is in force "
              "after", f"{time.monotonic() - begin:.0f} s", "ends right")
    kept = [report["about"] for topic, report in fleet.broker.told
            if topic == "reported" and report["state"] == "applied"]
    table.add("  kept, of those that were not overtaken by the next", str(len(set(kept))), "in order",
              kept == sorted(kept))
    contact = fleet.boards[0].vornctl("show", "system", "contact")
    table.add("  what the device has", contact.split()[-1], str(changes), contact.split()[-1] == str(changes))
    table.add("  bytes from the device for each", f"{(link.bytes_from_device() - before) / changes:.0f}")


def measure_idle(table, link, minutes):
    found = []
    for _ in range(minutes):
        before = link.bytes_from_device()
        time.sleep(60)
        found.append(link.bytes_from_device() - before)
    each = sum(found) / minutes
    table.add(f"  {minutes} idle minutes: bytes from the device in one, with all that is around them", f"{each:.0f}",
              "1024", each < 1024)
    table.add("  in the worst", str(max(found)))


def measure(table, build, changes=60, idle_minutes=10):
    fleet = boards.Fleet(build, 1)
    try:
        # A clock that skips idle time skips much of it while a machine that is busy reads files.
        board.await_that(lambda: fleet.broker.last("online").get("online"), "the device", 3600)
        link = Link(1, fleet.boards[0])
        measure_changes(table, fleet, link, changes)
        time.sleep(60)
        measure_idle(table, link, idle_minutes)
        table.add("  frames that the link has lost, to the device and from it", "{}, {}".format(*link.lost()))
    finally:
        fleet.end()


if __name__ == "__main__":
    results = rows.Table()
    measure(results, pathlib.Path(sys.argv[1]).resolve(), *map(int, sys.argv[2:4]))
    sys.exit(0 if results.is_reached() else 1)
