# SPDX-License-Identifier: MIT
"""Operators who send documents to devices that are not there."""
from fakes import OTHER, SIGNER, Broker, Device, session_of
from vorn_fleet import documents, planning, rollout
from vorn_fleet.runner import Runner
from vorn_fleet.signature import Keys
from vorn_fleet.text import Amount

HEALTHY_FOR = 60
BOTH = Keys([SIGNER.public, OTHER.public])


class Silent:
    """A teller who tells nobody, and who knows what he was told."""

    def __init__(self):
        self.absent = []
        self.warnings = []

    def wave(self, head, decision):
        pass

    standings = wave

    def warn(self, text):
        self.warnings.append(text)

    def waiting_for_broker(self):
        pass

    def ended(self, head, absent):
        self.absent = absent


def wish_of(channel="11", **more):
    configuration = {"radio": {"some": [{"name": "radio0", "values": {"channel": channel}}]}}
    return documents.check_wish({"trial": 20, "configuration": configuration, **more})


def plan_for(session,
             names,
             waves="1,50%,100%",
             stop_at="0",
             healthy_for=HEALTHY_FOR,
             within=0,
             wish=None,
             signer=SIGNER,
             undoes=""):
    members = planning.members_of({name: wish or wish_of() for name in names}, session.mirror,
                                  "acme", signer)
    return planning.plan_of(members, session.mirror, {
        "tenant": "acme", "by": "anna", "why": "a test", "waves": rollout.read_waves(waves),
        "healthy_for": healthy_for, "within": within, "stop_at": Amount.read(stop_at),
        "is_first": lambda name: False, "undoes": undoes})


def runner_of(session, plan, signer=SIGNER):
    return Runner(session, plan, signer, Silent())


def run(broker, **how):
    """A rollout to all devices of a broker: its head at the end."""
    session = session_of(broker)
    runner = runner_of(session, plan_for(session, list(broker.devices), **how))
    runner.prepare()
    runner.run()
    session.connection.close()
    return runner.head


def resume(broker, signer=OTHER, keys=BOTH):
    """Somebody else, who has no folder, with a key of his own."""
    session = session_of(broker, keys, "somebody-else")
    [name] = [name for name in session.heads if session.head(name).state in ("running", "stopped")]
    runner = runner_of(session, session.learn_members(name), signer)
    runner.run()
    session.connection.close()
    return runner.head


def reasons(head):
    return {name: standing for name, standing, _ in head.reasons}


def broker_goes(broker, name):
    return lambda: broker.devices[name].go(False)


def run_with(is_bad, **how):
    broker = Broker()
    for number in range(100):
        Device(broker, f"ap{number}", ((2, "refused" if is_bad(number) else "applied"),))
    return run(broker, waves="100%", **how)
