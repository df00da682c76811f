# SPDX-License-Identifier: MIT
"""When the next wave goes out, and when none does: a judgement of each device, and of all of them.

It looks at what the broker retains and at the time, and says what is to be done. It does nothing
itself and keeps nothing but since when each device has been well, so that somebody else can begin
in the middle: he waits once more for the time that a wave has to be healthy, and loses nothing
else.
"""
import enum
from dataclasses import dataclass


class Standing(enum.Enum):
    """Of one device in a rollout."""

    UNSENT = "not sent"
    OVERTAKEN = "overtaken"
    REFUSED = "refused"
    REVERTED = "taken back"
    AWAY = "away"
    PENDING = "under way"
    ILL = "not healthy"
    HEALTHY = "healthy"


LONGEST_GAP = 15.0  # seconds between two looks
HARD = (Standing.OVERTAKEN, Standing.REFUSED, Standing.REVERTED)


def judge(member, device):
    """How far a device is with its document, and for people why."""
    desired, report = device.desired, device.report
    if desired is None or (desired.generation < member.generation and not desired.fault):
        return Standing.UNSENT, ""
    if desired.fault:
        return Standing.OVERTAKEN, f"what is retained for it is {desired.fault}"
    if desired.digest != member.digest:
        return Standing.OVERTAKEN, f"{desired.generation} was sent after {member.generation}"
    if report and report.generation > member.generation:
        return Standing.OVERTAKEN, f"{report.generation} is in force"
    found = _told(member, report) if report and report.about == member.generation else None
    if found:
        return found
    if not device.is_there:
        return Standing.AWAY, "it is not connected"
    return _as_reported(member, report)


def _told(member, report):
    why = ": ".join(each for each in (report.reason, report.detail) if each)
    if report.state == "refused":
        return Standing.REFUSED, why
    if report.state == "reverted":
        is_last = member.members.get("attempts", 1) == 1
        if is_last:
            return Standing.REVERTED, why
        return Standing.PENDING, f"taken back, may be tried again: {why}"
    return None


def _as_reported(member, report):
    if report is None or report.fault:
        return Standing.PENDING, report.fault if report else "it has never reported"
    is_applied = (report.state == "applied" and report.generation == member.generation and
                  report.digest == member.digest and report.trial == "none")
    if not is_applied:
        is_about_it = report.about == member.generation
        return Standing.PENDING, report.state if is_about_it else "it has not answered"
    if not report.is_healthy:
        return Standing.ILL, next(iter(report.problems), "it does not say what is wrong")
    return Standing.HEALTHY, ""


class Step(enum.Enum):
    WAIT = "wait"
    SEND = "send"
    STOP = "stop"
    DONE = "done"


@dataclass(frozen=True)
class Decision:
    """With SEND, `members` go out and `absent` are those of them who are away; with STOP, and with
    DONE, `reasons` are triples of device, standing and why."""

    step: Step
    wave: int = 0
    members: tuple = ()
    absent: tuple = ()
    reasons: tuple = ()
    again_at: float = 0.0


class Course:
    """The judgement of a plan over time. `now` is of any clock that does not go back."""

    def __init__(self, plan, now):
        self.plan = plan
        self.standings = {}  # device to standing and why, of those that were sent
        self._since = {}
        self._began = now
        self._looked = now

    def look(self, mirror, now):
        """What is to be done now. What it says is to be done is not done before it was told: heads
        first."""
        head = self.plan.head
        self._note_gap(now)
        unsent = self._judge(mirror, now)
        if unsent:
            return Decision(Step.SEND, head.wave, tuple(unsent), head.absent)
        reasons = self._failures()
        waited = [each for each in self.standings if each not in self._absent()]
        allowed = head.stop_at.at_most(len(waited))
        if len(reasons) > allowed:
            return Decision(Step.STOP, head.wave, reasons=reasons)
        late = self._late(waited, now)
        if late:
            if now < self._began + head.within:
                return Decision(Step.WAIT, head.wave, again_at=self._next_time(late, now))
            reasons = self._failures() + tuple((each, *self.standings[each]) for each in late)
            if len(reasons) > allowed:
                return Decision(Step.STOP, head.wave, reasons=reasons)
        return self._go_on(mirror, reasons)

    def sent(self, now):
        """A wave has gone out: its time begins."""
        self._began = now

    def _note_gap(self, now):
        """Who was asleep is as somebody who takes it up: he has not seen what was meanwhile."""
        if now - self._looked > LONGEST_GAP:
            self._since.clear()
            self._began = now
        self._looked = now

    def _judge(self, mirror, now):
        unsent = []
        for member in self.plan.sent():
            device = mirror.device(member.device)
            standing, why = judge(member, device)
            self.standings[member.device] = (standing, why)
            if standing is Standing.UNSENT:
                unsent.append(member)
            if standing is not Standing.HEALTHY:
                self._since.pop(member.device, None)
            else:
                self._since.setdefault(member.device, now)
        return unsent

    def _absent(self):
        """Who was away when its document went out, and has not come since."""
        return {each for each in self.plan.head.absent
                if each in self.standings and self.standings[each][0] is Standing.AWAY}

    def _failures(self):
        return tuple((name, standing, why)
                     for name, (standing, why) in sorted(self.standings.items())
                     if standing in HARD)

    def _late(self, waited, now):
        """Who is neither well for long enough nor given up."""
        healthy_for = self.plan.head.healthy_for
        return sorted(each for each in waited if self.standings[each][0] not in HARD and
                      (each not in self._since or now < self._since[each] + healthy_for))

    def _next_time(self, late, now):
        times = [
            self._since[each] + self.plan.head.healthy_for for each in late if each in self._since
        ]
        return min([self._began + self.plan.head.within, *(each for each in times if each > now)])

    def _go_on(self, mirror, reasons):
        head = self.plan.head
        if head.wave == len(head.waves):
            return Decision(Step.DONE, head.wave, reasons=tuple(reasons))
        following = self.plan.of_wave(head.wave + 1)
        away = tuple(
            sorted(each.device for each in following if not mirror.device(each.device).is_there))
        if len(away) == len(following) and head.wave + 1 < len(head.waves):
            return Decision(Step.STOP, head.wave, reasons=tuple(
                (each, Standing.AWAY, "nobody of the next wave is there") for each in away))
        overtaken = self._overtaken(following, mirror)
        if overtaken:
            return Decision(Step.STOP, head.wave, reasons=overtaken)
        return Decision(Step.SEND, head.wave + 1, tuple(following),
                        tuple(sorted({*head.absent, *away})))

    @staticmethod
    def _overtaken(members, mirror):
        """Nobody's later document is replaced by an earlier one."""
        judged = [(each.device, *judge(each, mirror.device(each.device))) for each in members]
        return tuple(each for each in judged if each[1] is Standing.OVERTAKEN)
