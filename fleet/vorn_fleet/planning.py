# SPDX-License-Identifier: MIT
"""A rollout before it begins: everything is made, checked and signed here, and nothing is sent."""
import os
import time
from pathlib import Path

from . import configuration, documents
from .problem import Misused, NotThere, Problem
from .rollout import Head, Member, Plan, cut_into_waves
from .templates import Template
from .text import printable
from .waves import Standing, judge

SLACK = 300  # seconds that a wave has besides its trial and the time in which it is to be healthy


def new_id(started):
    """The day, the second, and the moment in it: of two rollouts the later one has the greater id.
    Chance tells those apart that begin at the same moment, with two operators, say."""
    moment = f"{int(started % 1 * 0x10000):04x}"
    return time.strftime("%Y%m%d-%H%M%S-", time.gmtime(started)) + moment + os.urandom(4).hex()


def wishes_of(change, devices, folder, overrides):
    """What each device is to be told. A file that is wrong for one device is wrong."""
    path = Path(change)
    template = Template(str(path.parent), path.name)
    wishes = {}
    for device in devices:
        known = folder.devices.get(device.name)
        thing = template.render(device.name, device.labels, known.variables if known else {})
        try:
            wishes[device.name] = documents.check_wish({**thing, **overrides})
        except Misused as error:
            raise Misused(f"{path.name}: for {device.name}: {error}") from None
    return wishes


def says_the_same(wish, device):
    """Another document would change nothing."""
    desired = device.desired
    if (desired is None or desired.fault or not device.report or device.report.difference_count or
            device.report.generation != desired.generation):
        return False
    ours, theirs = dict(wish), desired.wish
    for each in (ours, theirs):
        for name in ("by", "why", "trial"):
            each.pop(name, None)
    return (configuration.hash_of(ours.pop("configuration")) ==
            configuration.hash_of(theirs.pop("configuration")) and ours == theirs)


def members_of(wishes, mirror, tenant, signer):
    """A member for each device, not yet in a wave."""
    members = {}
    for name, wish in sorted(wishes.items()):
        device = mirror.device(name)
        fault = device.desired.fault if device.desired else ""
        if fault == "unknown-key":
            raise Problem(
                f"{name} has a document that was signed by {printable(device.desired.key)}, which "
                "is neither our key nor one of the signers in fleet.yaml")
        if fault:
            raise Problem(
                f"what the broker retains as the document of {name} is {fault}; whoever knows what "
                "it is can clear it")
        generation = device.last_generation + 1
        document = documents.make(tenant, name, generation, wish)
        try:
            documents.sign(document, signer)
        except Misused as error:
            raise Misused(f"{name}: {error}") from None
        members[name] = Member(name, 0, generation, document, device.payload)
    return members


def plan_of(members, mirror, how):
    """`how` has what a head says besides: tenant, by, why, waves (as amounts), healthy_for, within,
    stop_at, is_first, undoes."""
    if not members:
        raise NotThere("there is no device to send anything to")
    waves = cut_into_waves(members, how["waves"], lambda name: mirror.device(name).is_there,
                           how["is_first"])
    placed = {}
    for number, names in enumerate(waves, 1):
        for name in names:
            each = members[name]
            placed[name] = Member(name, number, each.generation, each.document, each.before)
    trial = max(each.members["trial"] for each in members.values())
    within = how["within"] or how["healthy_for"] + trial + SLACK
    if within < how["healthy_for"]:
        raise Misused("--within is shorter than --healthy-for")
    started = time.time()
    head = Head(new_id(started), how["tenant"], how["by"], how["why"], int(started),
                tuple(len(each) for each in waves), how["healthy_for"], within, how["stop_at"],
                undoes=how["undoes"])
    return Plan(head, placed)


def wishes_before(plan, mirror, keys, overrides):
    """What the devices of a rollout had before it, and who can't be given it, with why."""
    wishes, left = {}, {}
    for member in plan.sent():
        standing, _ = judge(member, mirror.device(member.device))
        if standing is Standing.UNSENT:
            continue
        if standing is Standing.OVERTAKEN:
            left[member.device] = "has another document by now"
            continue
        before = documents.read(member.before, plan.head.tenant, member.device, keys)
        if not member.before:
            left[member.device] = "had no document before"
        elif before.fault:
            left[member.device] = f"had one that is {before.fault}"
        else:
            wish = {
                name: value for name, value in before.wish.items()
                if name not in ("not-before", "not-after")
            }
            wishes[member.device] = {**documents.check_wish(wish), **overrides}
    return wishes, left


def kept_by_undo(plan, wishes):
    """What the earlier documents are silent on, by device: it stays as it is."""
    kept = {}
    for name, wish in wishes.items():
        about = configuration.untouched(plan.members[name].members["configuration"],
                                        wish["configuration"])
        if about:
            kept[name] = [configuration.told(each) for each in about]
    return kept
