# SPDX-License-Identifier: MIT
"""The commands that change nothing."""
import sys
import time
from collections import Counter

from . import configuration
from .output import (device_json, head_words, health_words, json_line, label_words, online_word,
                     state_words, table)
from .planning import wishes_of
from .problem import DONE, FAILED, NOT_THERE, Misused, NotThere, Problem
from .reports import read_event
from .request import ask
from .selectors import read_conditions
from .text import printable


def list_devices(context):
    with context.session() as session:
        session.learn()
        devices = context.selected(session)
    if context.arguments.json:
        for device in devices:
            json_line(device_json(device))
    elif devices:
        table([("DEVICE", "", "STATE", "HEALTH", "LABELS"),
               *((each.name, online_word(each), state_words(each), health_words(each),
                  label_words(each)) for each in devices)])
    return DONE


def _sentences(device):
    """Pairs of a title and a text."""
    yield "labels", label_words(device) or "none"
    yield "connection", {True: "online", False: "offline", None: "never seen"}[device.is_online]
    yield "state", state_words(device)
    report = device.report
    if report and not report.fault:
        if report.detail:
            yield "detail", report.detail
        yield "in force", str(report.generation or "nothing of the fleet's")
        yield "health", "healthy" if report.is_healthy else "not healthy"
        for each in report.problems:
            yield "problem", each
        yield "schema", report.schema
        for name, version in sorted(report.versions.items()):
            yield f"version of {name}", version
    desired = device.desired
    if desired is None:
        yield "document", "none"
    elif desired.fault:
        yield "document", f"{desired.fault} (key {desired.key or 'none'})"
    else:
        by, why = (desired.members.get(name, "") for name in ("by", "why"))
        yield "document", f"{desired.generation} by {by}: {why}"
        for name in ("trial", "attempts", "connection", "local", "schema", "not-before",
                     "not-after"):
            if name in desired.members:
                yield name, str(desired.members[name])


def show(context):
    with context.session() as session:
        session.learn()
        devices = context.selected(session)
    for device in devices:
        if context.arguments.json:
            json_line(device_json(device))
            continue
        print(device.name)
        for title, text in _sentences(device):
            print(f"  {printable(title):<12}  {printable(text)}")
        if device.desired and not device.desired.fault:
            for about, said in configuration.flat(device.desired.configuration).items():
                print(f"    {configuration.told(about)}" +
                      (f" = {printable(said)}" if about[2] else f"  ({said})"))
        _print_differences(device)
    return DONE


def _print_differences(device):
    report = device.report
    if not report or not report.difference_count:
        return
    print(f"  {report.difference_count} differ from it:")
    for each in report.differences:
        about = " ".join(
            printable(str(each.get(name, ""))) for name in ("class", "name", "property")
            if each.get(name))
        print(f"    {about}: wanted {printable(str(each.get('wanted', '')))!r}, "
              f"found {printable(str(each.get('found', '')))!r}")


def diff(context):
    """What the devices differ in from their documents, or with a file what it would change."""
    with context.session() as session:
        session.learn()
        devices = context.selected(session)
    found = 0
    change = context.arguments.change
    wishes = wishes_of(change, devices, context.folder, {}) if change else {}
    for device in devices:
        changes = _changes(device, wishes.get(device.name))
        found += bool(changes)
        if context.arguments.json:
            json_line({
                "device": device.name, "differences": [{
                    "class": about[0], "name": about[1], "property": about[2], "before": before,
                    "after": after
                } for about, before, after in changes]
            })
        elif changes:
            print(device.name)
            for about, before, after in changes:
                print(f"  {configuration.told(about)}: {_side(before)} -> {_side(after)}")
    if not found and not context.arguments.json:
        print("nothing differs")
    return NOT_THERE if found else DONE


def _side(text):
    return "nothing" if text is None else printable(text)


def _changes(device, wish):
    if wish is not None:
        before = device.desired.configuration if device.desired else {}
        return configuration.differences(before, wish["configuration"])
    report = device.report
    return [(tuple(str(each.get(name, "")) for name in ("class", "name", "property")),
             str(each.get("wanted", "")), str(each.get("found", "")))
            for each in (report.differences if report else [])]


def status(context):
    """Of all that are selected together, and of the rollouts."""
    with context.session() as session:
        session.learn()
        devices = context.selected(session)
        heads, faults = [], []
        for name in sorted(session.heads):
            try:
                heads.append(session.head(name))
            except Problem as problem:
                faults.append(str(problem))
    states = Counter(each.report.state if each.report and not each.report.fault else "unknown"
                     for each in devices)
    counts = {"devices": len(devices), "online": sum(each.is_there for each in devices),
              "healthy": sum(bool(each.report and each.report.is_healthy) for each in devices),
              "differ": sum(bool(each.report and each.report.difference_count) for each in devices)}
    wrong = [each for each in devices if not _is_fine(each)]
    if context.arguments.json:
        json_line({
            **counts, "states": states, "wrong": [each.name for each in wrong], "rollouts": [{
                "rollout": each.rollout, "state": each.state, "wave": each.wave,
                "waves": list(each.waves), "by": each.by, "why": each.why,
                "reasons": [list(reason) for reason in each.reasons]
            } for each in heads], "damaged": faults
        })
    else:
        print(", ".join(f"{number} {word}" for word, number in counts.items()))
        if states:
            print("documents: " + ", ".join(f"{number} {word}"
                                            for word, number in sorted(states.items())))
        for each in wrong[:50]:
            print(f"  {each.name}  {online_word(each)}, {printable(state_words(each))}, "
                  f"{printable(health_words(each))}")
        for each in heads:
            print("rollout " + printable(head_words(each)))
        for each in faults:
            print(each)
    return NOT_THERE if wrong or faults or any(each.state == "stopped" for each in heads) else DONE


def _is_fine(device):
    """There, healthy, and what its document says."""
    desired, report = device.desired, device.report
    if not device.is_there or report is None or not report.is_healthy or report.difference_count:
        return False
    return desired is None or (not desired.fault and report.generation == desired.generation and
                               report.state in ("applied", "none"))


def watch(context):
    """Until somebody interrupts it, or for a while."""
    arguments = context.arguments
    conditions = read_conditions(arguments.selector)

    def tell(device, text, /, **thing):
        if not all(each.holds(device) for each in conditions):
            return
        if arguments.json:
            json_line({"time": int(time.time()), "device": device.name, **thing})
        else:
            print(f"{time.strftime('%H:%M:%S')}  {device.name}  {text}", flush=True)

    def news(device, leaf):
        if leaf == "online":
            tell(device, online_word(device), online=device.is_online)
        elif leaf == "desired":
            desired = device.desired
            text = "its document is taken away" if desired is None else f"gets {desired.generation}"
            tell(device,
                 text if not desired or not desired.fault else f"gets what is {desired.fault}",
                 desired=desired.generation if desired else None)
        else:
            tell(device, f"{printable(state_words(device))}, {printable(health_words(device))}",
                 report=device_json(device)["report"])

    def event(device, payload):
        found = read_event(payload)
        if found:
            tell(device,
                 f"{printable(found[0])} {printable(found[1])}".rstrip(),
                 event=found[0],
                 text=found[1])

    with context.session() as session:
        session.learn()
        context.selected(session)
        session.on_news, session.on_event = news, event
        session.learn_events()
        end = time.monotonic() + arguments.seconds if arguments.seconds else None
        while end is None or time.monotonic() < end:
            session.pump(1.0 if end is None else max(0.0, min(1.0, end - time.monotonic())))
            sys.stdout.flush()
    return DONE


def request(context):
    arguments = context.arguments
    lsql = arguments.lsql if arguments.lsql != "-" else sys.stdin.read()
    if not lsql.strip():
        raise Misused("there is no question")
    context.need_signer()
    refusals = 0
    with context.session() as session:
        session.learn()
        devices = [each.name for each in context.selected(session)]
        if not devices:
            raise NotThere("no device is selected")
        for device, reply, refusal in ask(session, devices, lsql, context.signer, arguments.wait):
            refusals += bool(refusal)
            if arguments.json:
                json_line({"device": device, "reply": reply, "refused": refusal and refusal[0],
                           "detail": refusal and refusal[1]})
            elif refusal:
                print(f"{device}: {printable(': '.join(each for each in refusal if each))}",
                      file=sys.stderr)
            else:
                prefix = f"{device}: " if len(devices) > 1 else ""
                print(prefix + printable(reply, len(reply)))
    return FAILED if refusals else DONE
