# SPDX-License-Identifier: MIT
"""Questions to devices: signed, for a minute, answered at a topic of our own."""
import os
import time

from .documents import parse, written
from .problem import Misused
from .reports import LONGEST
from .text import printable

LIFE = 60
_LONGEST = 16 * 1024


def question(tenant, device, lsql, signer, now):
    document = written({
        "version": 1, "tenant": tenant, "device": device, "not-after": int(now) + LIFE, "lsql": lsql
    })
    payload = signer.sign(document, "request")
    if len(payload) > _LONGEST:
        raise Misused(f"the question has {len(payload)} bytes; {_LONGEST} are the most")
    return payload


def answer_of(payload):
    """The reply, or the word and the words of why there is none."""
    try:
        thing = parse(payload) if len(payload) <= LONGEST else None
        refused, detail, reply = (thing[name] for name in ("refused", "detail", "reply"))
        if not all(isinstance(each, str) for each in (refused, detail, reply)):
            raise ValueError
    except (ValueError, KeyError, TypeError):
        return "", ("malformed", "the answer can't be read")
    return (reply, None) if not refused else ("", (refused, detail))


def ask(session, devices, lsql, signer, seconds):
    """Yields each device with its reply and its refusal, as they come; those that have not answered
    come last."""
    connection, topics = session.connection, session.topics
    waiting = {os.urandom(16): device for device in devices}
    questions = [(each, question(topics.tenant, device, lsql, signer, time.time()), correlation)
                 for correlation, device in waiting.items()
                 for each in [topics.of(device, f"response/{connection.name}")]]
    connection.subscribe([topic for topic, _, _ in questions])
    for topic, payload, correlation in questions:
        connection.publish(topics.of(waiting[correlation], "request"), payload,
                           response=(topic, correlation), expiry=LIFE)
    end = time.monotonic() + seconds
    while waiting and time.monotonic() < end:
        message = connection.take(end - time.monotonic())
        if message is None:
            continue
        device = waiting.get(message.correlation)
        if device is None or message.topic != topics.of(device, f"response/{connection.name}"):
            session.hear(message)
            continue
        del waiting[message.correlation]
        yield device, *answer_of(message.payload)
    for device in waiting.values():
        yield device, "", ("no answer", f"{printable(device)} is away, or answers no questions")
