# SPDX-License-Identifier: MIT
"""What is printed: tables and sentences for people, one JSON value a line for scripts."""
import json
import shutil
import sys
from collections import Counter

from .text import counted, printable, told_seconds
from .waves import Standing

_MOST_NAMED = 10


def table(rows, write=print):
    """In columns as wide as they have to be."""
    rows = [[printable(each, 60) for each in row] for row in rows]
    widths = [max(map(len, column)) for column in zip(*rows)]
    for row in rows:
        write("  ".join(each.ljust(width) for each, width in zip(row, widths)).rstrip())


def json_line(thing, write=print):
    """In ASCII, which no terminal takes for anything else."""
    write(json.dumps(thing))


def device_json(device):
    """What is known of a device, for scripts."""
    desired, report = device.desired, device.report
    return {
        "device": device.name, "online": device.is_online, "labels": device.labels,
        "desired": desired and {
            "generation": desired.generation, "fault": desired.fault, "key": desired.key,
            "document": desired.members
        }, "report": report and {
            "generation": report.generation, "state": report.state, "about": report.about,
            "reason": report.reason, "detail": report.detail, "trial": report.trial,
            "schema": report.schema, "versions": report.versions, "hash": report.hash,
            "desired-hash": report.desired_hash, "difference-count": report.difference_count,
            "differences": report.differences, "healthy": report.is_healthy,
            "problems": report.problems, "fault": report.fault
        }
    }


def online_word(device):
    return {True: "online", False: "offline", None: "-"}[device.is_online]


def state_words(device):
    """How far it is with its document, in a few words."""
    desired, report = device.desired, device.report
    if report is None:
        return "never reported"
    if report.fault:
        return report.fault
    wanted = desired.generation if desired else 0
    if wanted > report.about and report.about >= report.generation:
        return f"{wanted} not yet seen"
    text = f"{report.state} {report.about}" if report.state != "none" else "no document"
    return f"{text}: {report.reason}" if report.reason else text


def health_words(device):
    report = device.report
    if report is None or report.fault:
        return "-"
    words = [] if report.is_healthy else [report.problems[0] if report.problems else "not healthy"]
    if report.difference_count:
        words.append(f"{report.difference_count} differ")
    return "; ".join(words) or "healthy"


def label_words(device):
    return " ".join(f"{key}={value}" for key, value in sorted(device.labels.items()))


def head_words(head):
    text = (f"{head.rollout}  {head.state}, wave {head.wave} of {len(head.waves)}, "
            f"{counted(sum(head.waves), 'device')}, by {head.by or '?'}")
    return text + (f": {head.why}" if head.why else "")


class Teller:
    """What becomes of a rollout. On a terminal the last line shows how it stands."""

    def __init__(self, is_json, stream=None):
        self._stream = stream or sys.stdout
        self._is_json = is_json
        self._is_live = not is_json and self._stream.isatty()
        self._line = ""
        self._told = {}
        self._is_waiting = False

    def say(self, text, /, **thing):
        """One thing for people, another for scripts."""
        if self._is_json:
            json_line(thing, self._write)
        else:
            self._erase()
            self._write(text)
            self._draw()

    def warn(self, text):
        if self._told.get("") != text:
            self._told[""] = text
            self.say(printable(text), event="warning", text=text)

    def wave(self, head, decision):
        names = [each.device for each in decision.members]
        away = [each for each in names if each in decision.absent]
        text = f"wave {head.wave} of {len(head.waves)}: {self.names(names)}"
        if away:
            text += f"; away, and not waited for: {self.names(away)}"
        self._line = ""
        self.say(text, event="wave", wave=head.wave, of=len(head.waves), devices=names, absent=away)

    def standings(self, head, course):
        """Each device whose standing is another, and the line."""
        self._is_waiting = False
        for name, (standing, why) in course.standings.items():
            if self._told.get(name) == (standing, why):
                continue
            self._told[name] = (standing, why)
            if standing is Standing.UNSENT or (not self._is_json and standing is Standing.PENDING):
                continue
            words = standing.value + (f": {printable(why)}" if why else "")
            self.say(f"  {name}  {words}",
                     event="device",
                     device=name,
                     standing=standing.value,
                     why=why)
        if not course.standings:
            return
        counts = Counter(standing.value for standing, _ in course.standings.values())
        self._line = (f"wave {head.wave} of {len(head.waves)}, {len(course.standings)} of "
                      f"{counted(sum(head.waves), 'device')}: " +
                      ", ".join(f"{number} {word}" for word, number in sorted(counts.items())))
        self._erase()
        self._draw()

    def waiting_for_broker(self):
        if not self._is_waiting:
            self._is_waiting = True
            self.say("the broker is away; it goes on when that is back", event="broker-away")

    def ended(self, head, absent):
        self._line = ""
        reasons = [
            f"  {printable(name)}  {printable(standing)}" + (f": {printable(why)}" if why else "")
            for name, standing, why in head.reasons
        ]
        text = {
            "done": "done: " + counted(sum(head.waves), "device"),
            "stopped": f"stopped in wave {head.wave} of {len(head.waves)}"
        }.get(head.state, head.state)
        if absent:
            text += f"; away, the broker keeps theirs: {self.names(absent)}"
        if head.state == "stopped":
            text += f"\n  go on: vorn-fleet apply --resume {head.rollout}"
            text += f"\n  back:  vorn-fleet apply --undo {head.rollout}"
        self.say("\n".join([text.split("\n")[0], *reasons, *text.split("\n")[1:]]),
                 event=head.state,
                 rollout=head.rollout,
                 wave=head.wave,
                 of=len(head.waves),
                 absent=absent,
                 devices=[{"device": name, "standing": standing, "why": why}
                          for name, standing, why in head.reasons])

    def interrupted(self, head):
        self._line = ""
        if head.state == "preparing":
            text = ("interrupted before anything was sent; to tidy up: "
                    f"vorn-fleet apply --forget {head.rollout}")
        else:
            text = (f"interrupted in wave {head.wave} of {len(head.waves)}; to go on: "
                    f"vorn-fleet apply --resume {head.rollout}")
        self.say(text, event="interrupted", rollout=head.rollout, state=head.state, wave=head.wave)

    @staticmethod
    def names(names):
        shown = ", ".join(names[:_MOST_NAMED])
        return shown + (f" and {len(names) - _MOST_NAMED} more" if len(names) > _MOST_NAMED else "")

    def _write(self, text):
        print(text, file=self._stream, flush=True)

    def _erase(self):
        if self._is_live:
            self._stream.write("\r\x1b[K")

    def _draw(self):
        if self._is_live:
            self._stream.write(self._line[:shutil.get_terminal_size().columns - 1])
            self._stream.flush()


def plan_words(plan):
    """What a rollout is going to do, for people."""
    head = plan.head
    lines = [
        f"rollout {head.rollout}: {counted(sum(head.waves), 'device')} in "
        f"{counted(len(head.waves), 'wave')}, each healthy for {told_seconds(head.healthy_for)} "
        f"within {told_seconds(head.within)}, stopped at more than {head.stop_at} failed"
    ]
    for number in range(1, len(head.waves) + 1):
        names = [each.device for each in plan.of_wave(number)]
        lines.append(f"  wave {number}: {Teller.names(names)}")
    return "\n".join(lines)
