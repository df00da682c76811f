# SPDX-License-Identifier: MIT
"""The command that changes devices: rollouts begun, taken up, taken back, stopped and forgotten."""
from .output import Teller, head_words, json_line, plan_words
from .planning import (kept_by_undo, members_of, plan_of, says_the_same, wishes_before, wishes_of)
from .problem import DONE, FAILED, INTERRUPTED, Misused, NoBroker, NotThere, Problem
from .rollout import read_waves
from .runner import Runner, put_state
from .selectors import read_conditions
from .text import Amount, printable, seconds_of

WAVES, UNDO_WAVES, HEALTHY_FOR, STOP_AT = "1,10%,100%", "100%", "1m", "0"


def apply(context):
    arguments = context.arguments
    chosen = [
        name for name in ("resume", "undo", "stop", "forget")
        if getattr(arguments, name) is not None
    ]
    if len(chosen) > 1 or (chosen and (arguments.change or arguments.selector)):
        raise Misused("one of a file with devices, --resume, --undo, --stop and --forget")
    if not chosen and not arguments.change:
        raise Misused("which file says what the devices are to be like?")
    if not chosen and not arguments.selector:
        raise Misused("which devices? '*' are all")
    context.need_signer()
    teller = Teller(arguments.json)
    with context.session() as session:
        session.learn()
        if chosen:
            return {"resume": _resume, "undo": _undo, "stop": _stop,
                    "forget": _forget}[chosen[0]](context, session, teller)
        return _begin(context, session, teller)


def _overrides(arguments, names=("why", "trial", "attempts", "connection", "local")):
    """Members of documents that the command line gives."""
    return {
        name: getattr(arguments, name) for name in names if getattr(arguments, name) is not None
    }


def _how(context, why, waves, undoes=""):
    arguments = context.arguments
    conditions = read_conditions(arguments.first or [])
    return {"tenant": context.topics.tenant, "by": context.by, "why": why,
            "waves": read_waves(arguments.waves or waves),
            "healthy_for": seconds_of(arguments.healthy_for or HEALTHY_FOR),
            "within": seconds_of(arguments.within) if arguments.within else 0,
            "stop_at": Amount.read(arguments.stop_at or STOP_AT), "undoes": undoes,
            "conditions": conditions}


def _plan(session, members, how):
    conditions = how.pop("conditions")
    how["is_first"] = lambda name: bool(conditions) and all(
        each.holds(session.mirror.device(name)) for each in conditions)
    return plan_of(members, session.mirror, how)


def _begin(context, session, teller):
    arguments = context.arguments
    devices = context.selected(session)
    if not devices:
        raise NotThere("no device is selected")
    wishes = wishes_of(arguments.change, devices, context.folder,
                       {"by": context.by, **_overrides(arguments)})
    same = [] if arguments.again else [
        each.name for each in devices if says_the_same(wishes[each.name], each)
    ]
    for name in same:
        del wishes[name]
    if same:
        teller.say(f"{len(same)} have it already", event="unchanged", devices=same)
    if not wishes:
        return DONE
    members = members_of(wishes, session.mirror, context.topics.tenant, context.signer)
    _refuse_busy(session, members)
    why = next(iter(wishes.values()))["why"]
    plan = _plan(session, members, _how(context, why, WAVES))
    if arguments.dry_run:
        return _tell_plan(arguments, plan)
    return _start(context, session, teller, plan)


def _start(context, session, teller, plan):
    head = plan.head
    teller.say(plan_words(plan),
               event="begun",
               rollout=head.rollout,
               waves=list(head.waves),
               undoes=head.undoes)
    return _run(context, session, teller, plan, is_new=True)


def _tell_plan(arguments, plan):
    if arguments.json:
        json_line({"rollout": plan.head.rollout, "waves": [
            [{"device": each.device, "generation": each.generation, "document": each.members}
             for each in plan.of_wave(number)] for number in range(1, len(plan.head.waves) + 1)]})
    else:
        print(plan_words(plan))
    return DONE


def _refuse_busy(session, members, but=""):
    """One device is in one rollout at a time that may still send something."""
    for name in sorted(session.heads):
        head = session.head(name)
        if not head.is_open or name == but:
            continue
        session.follow(name)
        shared = sorted(members.keys() & session.members.get(name, {}).keys())
        if shared:
            raise Problem(
                f"rollout {name} of {printable(head.by)} is under way at {len(shared)} of these "
                f"devices, {shared[0]} for one: apply --resume or --stop it first")


def _run(context, session, teller, plan, is_new):
    runner = Runner(session, plan, context.signer, teller)
    try:
        if is_new:
            runner.prepare()
        runner.run()
    except KeyboardInterrupt:
        teller.interrupted(runner.head)
        return INTERRUPTED
    except NoBroker:
        teller.interrupted(runner.head)
        raise
    return DONE if runner.head.state == "done" else FAILED


def _named(session, name, states, is_newest_meant=False):
    """The rollout that is meant: of several that are in one of these states it has to be said,
    unless the newest is what anybody would mean."""
    if name:
        head = session.head(name)
        if head is None:
            raise NotThere(f"there is no rollout {printable(name)}")
        if head.state not in states:
            raise Problem(f"rollout {name} is {head.state}")
        return head
    found = [head for head in map(session.head, sorted(session.heads)) if head.state in states]
    if not found:
        raise NotThere(f"there is no rollout that is {' or '.join(states)}")
    if is_newest_meant:
        return max(found, key=lambda each: (each.started, each.rollout))
    if len(found) > 1:
        raise Misused("which one?\n" + "\n".join(printable(head_words(each)) for each in found))
    return found[0]


def _resume(context, session, teller):
    head = _named(session, context.arguments.resume, ("running", "stopped"))
    plan = session.learn_members(head.rollout)
    if context.arguments.stop_at:
        plan.head = plan.head.now(stop_at=Amount.read(context.arguments.stop_at))
    teller.say(printable(head_words(plan.head)),
               event="resumed",
               rollout=head.rollout,
               wave=head.wave)
    return _run(context, session, teller, plan, is_new=False)


def _undo(context, session, teller):
    arguments = context.arguments
    head = _named(session, arguments.undo, ("running", "stopped", "done"), is_newest_meant=True)
    if head.is_open and not arguments.dry_run:
        # Nothing more of it goes out meanwhile.
        put_state(session, head.rollout, "stopped", context.signer)
    why = arguments.why or f"takes back {head.rollout}"
    overrides = {
        **_overrides(arguments, ("trial", "attempts", "connection", "local")), "by": context.by,
        "why": why
    }
    old = session.learn_members(head.rollout)
    wishes, left = wishes_before(old, session.mirror, session.keys, overrides)
    _tell_what_stays(teller, left, kept_by_undo(old, wishes))
    if not wishes and not arguments.dry_run:
        put_state(session, head.rollout, "undone", context.signer)
    if not wishes:
        return FAILED if left else DONE
    members = members_of(wishes, session.mirror, context.topics.tenant, context.signer)
    _refuse_busy(session, members, but=head.rollout)
    plan = _plan(session, members, _how(context, why, UNDO_WAVES, undoes=head.rollout))
    if arguments.dry_run:
        return _tell_plan(arguments, plan)
    status = _start(context, session, teller, plan)
    return FAILED if status == DONE and left else status


def _tell_what_stays(teller, left, kept):
    for name, why_not in left.items():
        teller.say(f"  {name}  {why_not}: it is left alone", event="left", device=name, why=why_not)
    for name, what in kept.items():
        teller.say(f"  {name}  what it had before is silent on {', '.join(what)}: that stays",
                   event="kept", device=name, kept=what)


def _stop(context, session, teller):
    head = _named(session, context.arguments.stop, ("running",))
    put_state(session, head.rollout, "stopped", context.signer)
    teller.say(f"{head.rollout} is stopped", event="stopped", rollout=head.rollout)
    return DONE


def _forget(context, session, teller):
    """What the broker retains of a rollout; the devices keep what they have."""
    name = context.arguments.forget
    if not name:
        raise Misused("which rollout? --forget ID")
    if name not in session.heads:
        raise NotThere(f"there is no rollout {printable(name)}")
    try:
        head = session.head(name)
    except Problem:
        head = None  # damaged, or somebody else's: all the more
    if head and head.is_open:
        raise Problem(f"rollout {name} is running: --stop it first")
    session.follow(name)
    session.remove(name)
    teller.say(f"{name} is forgotten", event="forgotten", rollout=name)
    return DONE
