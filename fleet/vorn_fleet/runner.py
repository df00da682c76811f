# SPDX-License-Identifier: MIT
"""Carries a rollout out, step by step, each of which is at the broker before the next one begins:
whoever is interrupted anywhere leaves what somebody else goes on from.

    preparing: its documents come; nobody has got one yet, and it can only be forgotten
    running:   `wave` of the head goes up before the documents of that wave go out
    stopped, done, undone: nothing more is sent
"""
from . import documents
from .problem import Problem
from .rollout import head_payload, member_payload
from .waves import Course, Standing, Step

_LONGEST_PAUSE = 1.0  # well below LONGEST_GAP of waves


def complaint(session):
    return ("the broker does not retain a rollout: may this user write below "
            f"{session.topics.rollouts}?")


def put_state(session, rollout, state, signer):
    """Of a rollout that somebody else may be running. One that was forgotten has no state."""
    head = session.head(rollout)
    if head is not None and head.state != state:
        session.put(
            [(session.topics.rollout(rollout), head_payload(head.now(state=state), signer))],
            complaint(session))


class Runner:
    """One that runs a plan. There may be others: what they do is the same, so it does no harm."""

    def __init__(self, session, plan, signer, teller):
        self._session = session
        self._plan = plan
        self._signer = signer
        self._teller = teller
        self._clock = session.clock
        self._course = None
        self._seen = None

    @property
    def head(self):
        return self._plan.head

    def prepare(self):
        """All of the plan is at the broker afterwards, and nothing of it at a device."""
        topics, head = self._session.topics, self.head
        self._put_head()
        self._session.follow(head.rollout)
        self._session.put([(topics.rollout(head.rollout, name),
                            member_payload(each, head.tenant, head.rollout, self._signer))
                           for name, each in self._plan.members.items()], complaint(self._session))

    def run(self):
        """Until it is done or stopped. Answers what failed."""
        self._put_head(state="running", reasons=())
        if self.head.undoes:
            put_state(self._session, self.head.undoes, "undone", self._signer)
        self._course = Course(self._plan, self._clock())
        while True:
            if not self._session.is_connected:
                self._teller.waiting_for_broker()
                self._session.pump(_LONGEST_PAUSE)
                continue
            if self._is_taken_over():
                return self.head.reasons
            decision = self._course.look(self._session.mirror, self._clock())
            self._teller.standings(self.head, self._course)
            if decision.step is Step.WAIT:
                left = decision.again_at - self._clock()
                self._session.pump(min(_LONGEST_PAUSE, max(0.01, left)))
            elif decision.step is Step.SEND:
                self._send(decision)
            else:
                return self._end(decision)

    def _send(self, decision):
        if decision.wave > self.head.wave:
            self._put_head(wave=decision.wave, absent=decision.absent)
            self._teller.wave(self.head, decision)
        topics = self._session.topics
        things = [(topics.of(each.device, "desired"), documents.sign(each.document, self._signer))
                  for each in decision.members]
        self._session.put(
            things, "the broker does not retain the documents of devices: may this user write "
            f"{topics.of('+', 'desired')}?")
        self._course.sent(self._clock())

    def _end(self, decision):
        state = "done" if decision.step is Step.DONE else "stopped"
        reasons = tuple([name, standing.value, why] for name, standing, why in decision.reasons)
        self._put_head(state=state, reasons=reasons)
        absent = [name for name in self.head.absent
                  if self._course.standings.get(name, (None,))[0] is Standing.AWAY]
        self._teller.ended(self.head, absent)
        return reasons

    def _put_head(self, **changes):
        self._plan.head = self.head.now(**changes)
        self._session.put([(self._session.topics.rollout(self.head.rollout),
                            head_payload(self.head, self._signer))], complaint(self._session))

    def _is_taken_over(self):
        """Somebody else has stopped it, or is ahead."""
        payload = self._session.heads.get(self.head.rollout)
        if payload == self._seen:
            return False
        self._seen = payload
        try:
            theirs = self._session.head(self.head.rollout)
        except Problem as problem:
            self._teller.warn(str(problem))
            return False
        if theirs is None or theirs == self.head:
            return False
        if theirs.wave > self.head.wave:
            self._plan.head = self.head.now(wave=theirs.wave, absent=theirs.absent)
        if theirs.state in ("running", "preparing"):
            return False
        self._plan.head = theirs
        self._teller.ended(theirs, [])
        return True
