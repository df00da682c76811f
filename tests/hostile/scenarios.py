# SPDX-License-Identifier: MIT
"""Who misbehaves how, and what the daemon promises the others meanwhile.

A client has five seconds for its request and five to take the reply, and whoever is silent or slow
costs nobody else anything: others wait for nobody, and the tick is not late. A request that is
served is no waiting: it takes what its work takes, and all there is to hold against it is that the
watchdog, at 240 seconds, does not strike, on a board that is ten times slower than this machine.
"""
import dataclasses
import random
import typing

import clients
from watched_daemon import INFORM, LSQL, STREAM, framed

REQUEST, REPLY = 5, 5
WORK = 240 / 10


@dataclasses.dataclass
class Scenario:
    name: str
    attack: typing.Callable
    arguments: tuple = ()
    wait_s: float = 0  # promised to the others
    late_s: float = 0  # promised for the tick
    lasts_s: float = 1
    in_short_form: bool = True


def slow(name, attack, *arguments, limit=REQUEST, short=True):
    """Is waited for as long as a deadline, and nobody waits meanwhile."""
    return Scenario(name, attack, arguments, lasts_s=limit + 1, in_short_form=short)


def thousand(name, attack, *arguments, wait_s=0, short=False):
    """Of one habit at once, and always as many."""
    return Scenario(f"1,000: {name}", attack, arguments, wait_s, lasts_s=2, in_short_form=short)


def quick(name, attack, *arguments):
    return Scenario(name, attack, arguments)


def work(name, *bodies, door=LSQL):
    return Scenario(name, clients.send_requests, (door, *bodies), WORK, WORK)


def numbered(count, form):
    return b"".join(form % i for i in range(count))


def filled(front, piece, back, size=clients.LARGEST):
    return front + piece * ((size - len(front) - len(back)) // len(piece)) + back


def bomb():
    text = b'<!DOCTYPE lsql [<!ENTITY a "aaaaaaaaaa">'
    for name in range(ord("b"), ord("z") + 1):
        text += b'<!ENTITY %c "%s">' % (name, b"&%c;" % (name - 1) * 10)
    return text + b"]><lsql><select><Radio>&z;</Radio></select></lsql>"


def waiting_clients():
    return [
        quick("nobody", clients.do_nothing),
        slow("silent", clients.stop_after, LSQL, b""),
        slow("one byte a second", clients.send_a_byte_a_second, LSQL, short=False),
        slow("half a length", clients.stop_after, LSQL, b"\x10\x00", short=False),
        slow("half a request", clients.stop_after, LSQL, b"\xff\x00\x00\x00<lsql>"),
        quick("announces 4 GiB and writes", clients.announce_4_gib, LSQL),
        quick("50 at once", clients.come_together, LSQL, 50),
        quick("50 silent at once", clients.be_silent_together, LSQL, 50),
        quick("goes at every byte of the request", clients.go_at_every_byte_of_the_request, LSQL),
        quick("goes at every byte of the reply", clients.go_at_every_byte_of_the_reply, LSQL),
        slow("takes no reply", clients.take_no_reply, LSQL, clients.LARGE_REPLY, limit=REPLY),
        slow("takes a byte of the reply a second", clients.take_a_byte_a_second, LSQL,
             clients.LARGE_REPLY, limit=REPLY, short=False),
        slow("as late as allowed, then takes no reply", clients.take_no_reply, LSQL,
             clients.LARGE_REPLY, REQUEST - 0.3, limit=REQUEST + REPLY, short=False),
        slow("writes on after its request", clients.write_on_after_the_request, LSQL,
             limit=REPLY, short=False),
        slow("as late as allowed, then writes on", clients.write_on_after_the_request, LSQL,
             REQUEST - 0.3, limit=REQUEST + REPLY, short=False),
        slow("pours after its request", clients.pour_after_the_request, LSQL, limit=REPLY,
             short=False),
    ]


def informing_clients():
    return [
        slow("inform: silent", clients.stop_after, INFORM, b""),
        slow("inform: one byte a second", clients.send_a_byte_a_second, INFORM, short=False),
        slow("inform: half a length", clients.stop_after, INFORM, b"\0\0\0\0\x10", short=False),
        slow("inform: half a request", clients.stop_after, INFORM, b"\0\0\0\0\xff\0\0\0object=",
             short=False),
        quick("inform: announces 4 GiB and writes", clients.announce_4_gib, INFORM),
        quick("inform: 50 at once", clients.come_together, INFORM, 50),
        quick("inform: goes at every byte of the request",
              clients.go_at_every_byte_of_the_request, INFORM),
        quick("inform: goes at every byte of the reply",
              clients.go_at_every_byte_of_the_reply, INFORM),
        quick("inform: takes no reply", clients.take_no_reply, INFORM, clients.INFORMATION),
        slow("inform: writes on after its request", clients.write_on_after_the_request, INFORM,
             limit=REPLY, short=False),
        slow("inform: pours after its request", clients.pour_after_the_request, INFORM,
             limit=REPLY, short=False),
        quick("inform: 50 silent at once", clients.be_silent_together, INFORM, 50),
        quick("inform: noise", clients.send_noise, INFORM),
        work("inform: 16 MiB of pairs", numbered(1_400_000, b"n%d=1&"), door=INFORM),
        work("inform: 16 MiB of one pair", filled(b"object=", b"r", b""), door=INFORM),
        work("inform: 16 MiB without a pair", filled(b"", b"&", b""), door=INFORM),
        work("inform: NULs", b"\0", b"\0" * 1000, b"object=radio\0&action=now", door=INFORM),
        work("inform: invalid UTF-8", b"object=\xff\xfe&\xc3\x28=\x80", door=INFORM),
    ]


def staying_clients():
    frame = framed(STREAM, clients.SELECT)
    return [
        slow("stream: half a frame", clients.stop_after, STREAM, frame[:20]),
        slow("stream: one byte a second", clients.send_a_byte_a_second, STREAM, short=False),
        slow("stream: takes no reply", clients.take_no_reply, STREAM, clients.LARGE_REPLY,
             limit=REPLY, short=False),
        slow("stream: asks on and takes nothing", clients.ask_on_and_take_nothing, limit=REPLY,
             short=False),
        quick("stream: announces 4 GiB and writes", clients.announce_4_gib, STREAM),
        quick("stream: goes at every byte of the request",
              clients.go_at_every_byte_of_the_request, STREAM),
        quick("stream: noise", clients.send_noise, STREAM),
    ]


# Which are tried in the short form too; every other habit at every door in the long one.
OFTEN = {"silent", "announce 16 MiB and send 100,000 bytes", "take no reply", "stream: silent",
         "stream: take no reply", "stream: ask 100 times and take no replies",
         "inform: half a request"}


def crowd_at(door, prefix):
    """More than are taken, of each habit; a large reply that nobody takes costs its work before."""
    whole = framed(door, clients.GOOD[door])
    half = whole[:-8]
    huge = framed(door, b" " * clients.LARGEST)[:-clients.LARGEST]
    large = clients.INFORMATION if door == INFORM else clients.QUITE_LARGE_REPLY
    noise = random.Random(1).randbytes(3000)
    habits = {
        "silent": [b""],
        "half a length": [huge[:-2]],
        "half a request": [half],
        "one byte a second": [half[:8], [half[at:at + 1] for at in range(8, len(half))]],
        "announce 4 GiB": [huge[:-4] + b"\xff" * 4 + b" " * 10_000],
        "announce 16 MiB and send 100,000 bytes": [huge + b" " * 100_000],
        "announce 16 MiB and pour": [huge, [b" " * 10_000] * 1000, 0.02],
        "noise": [framed(door, noise) + noise],
        "take no reply": [framed(door, large)],
        "write on after their request": [whole + b"x" * 10_000],
        "pour after their request": [whole, [b"x" * 10_000] * 1000, 0.02],
    }
    if door == STREAM:
        habits["ask 100 times and take no replies"] = [whole * 100]
    for habit, said in habits.items():
        name = prefix + habit
        yield thousand(name, clients.crowd, door, 1000, *said,
                       wait_s=WORK if "take no" in habit else 0, short=name in OFTEN)
    for habit, said in {"go in the middle of their request": half,
                        "go before their reply": whole}.items():
        yield thousand(prefix + habit, clients.crowd_that_goes, door, 1000, said)


def crowds():
    return [each for door, prefix in ((LSQL, ""), (STREAM, "stream: "), (INFORM, "inform: "))
            for each in crowd_at(door, prefix)]


def subscribers():
    return [
        quick("subscriber that never reads", clients.never_read_notices),
        quick("subscriber that writes for ever", clients.write_notices_for_ever, 1),
        quick("7 subscribers that write for ever", clients.write_notices_for_ever, 7),
        quick("1,050 that never subscribe", clients.connect_and_never_subscribe, 1050),
        quick("50 subscribe at once", clients.subscribe_together, 50),
        quick("subscribers that come and go", clients.come_and_go_as_subscribers),
        quick("subscribers that go at every byte of a notice",
              clients.go_at_every_byte_of_a_notice),
        quick("subscriber that writes a byte a second", clients.write_a_byte_a_second_and_listen),
        quick("subscribers that write NULs and invalid UTF-8", clients.write_to_notices,
              b"\0", b"\0" * 1000, b"\xff\xfe\xfd", b"<?xml version='1.0'?>"),
    ]


def documents():
    head, tail = b"<lsql><select><Radio ", b"/></select></lsql>"
    return [
        work("100,000 elements deep", b"<lsql>" + b"<and>" * 100_000),
        work("ten thousand attributes", head + numbered(10_000, b'a%d="" ') + tail),
        work("a million attributes", head + numbered(1_000_000, b'a%d="" ') + tail),
        work("800,000 namespaces", head + numbered(800_000, b'xmlns:a%d="u" ') + tail),
        work("a million names", b"<lsql>" + numbered(1_500_000, b"<a%d/>") + b"</lsql>"),
        work("default attributes", b"<!DOCTYPE lsql [<!ATTLIST a "
             + numbered(10_000, b'a%d CDATA "x" ') + b">]>" + filled(b"<lsql>", b"<a/>", b"</lsql>")
             [:15 << 20]),
        work("entity bomb", bomb()),
        work("entity that is a file", b'<!DOCTYPE lsql [<!ENTITY it SYSTEM "/etc/passwd">]>'
             b"<lsql><select><Radio>&it;</Radio></select></lsql>"),
        work("16 MiB of elements", filled(b"<lsql>", b"<a/>", b"</lsql>")),
        work("16 MiB of selects", filled(b"<lsql>", b"<select><Radio/></select>", b"</lsql>")),
        work("16 MiB of text", filled(b"<lsql>", b"text ", b"</lsql>")),
        work("16 MiB of white space around a select", filled(clients.SELECT, b"\n", b"")),
        work("16 MiB of CDATA", filled(b"<lsql>", b"<![CDATA[a]]>", b"</lsql>")),
        work("16 MiB of where",
             filled(b"<lsql><select><Radio/></select><where><or>", b"<value/>",
                    b"</or></where></lsql>")),
        work("NULs", b"\0", b"\0" * 1000, clients.SELECT[:20] + b"\0" + clients.SELECT[20:]),
        work("invalid UTF-8", b"\xff\xfe\xfd", clients.SELECT.replace(b"r0", b"r\xc3\x28"),
             b"<lsql>\xf8\x88\x80\x80\x80</lsql>"),
        work("other encodings", clients.SELECT.decode().encode("utf-16"),
             b'<?xml version="1.0" encoding="utf-7"?>' + clients.SELECT),
        Scenario("noise", clients.send_noise, (LSQL,)),
    ]


def everybody(until):
    clients.fork_all(until, (clients.stop_after, LSQL, b""), (clients.stop_after, INFORM, b""),
                     (clients.stop_after, STREAM, framed(STREAM, clients.SELECT)[:20]),
                     (clients.never_read_notices,), (clients.write_notices_for_ever, 4))


def all_scenarios():
    return waiting_clients() + informing_clients() + staying_clients() + crowds() \
        + subscribers() + documents() + [
            Scenario("silent at every door, deaf and loud subscribers", everybody, (), lasts_s=12),
        ]
