# SPDX-License-Identifier: MIT
"""Clients that misbehave. Each goes on until a point in time, and is a process of its own."""
import multiprocessing
import random
import resource
import select
import socket
import struct
import time

from watched_daemon import INFORM, LSQL, NOTIFY, STREAM, connect, framed, receive_all

LARGEST = 16 << 20
# Longer than anybody is waited for: who gives up sooner does not show whether somebody was.
STUBBORN_S = 30
SELECT = b'<lsql><select><Radio name="r0"><channel/></Radio></select></lsql>'
INFORMATION = b"object=radio&action=now"
GOOD = {LSQL: SELECT, STREAM: SELECT, INFORM: INFORMATION}
NOTICE = b'<?xml version="1.0"?><conf_changed origin="o">1</conf_changed>\n\0'
QUITE_LARGE_REPLY = b"<lsql>" + b'<select><Radio properties="all"/></select>' * 2500 + b"</lsql>"
LARGE_REPLY = b"<lsql>" + b'<select><Radio properties="all"/></select>' * 20000 + b"</lsql>"


def goes_on(until):
    return time.monotonic() < until


def send(client, data):
    """False when the other side has closed."""
    try:
        client.sendall(data)
        return True
    except (BrokenPipeError, ConnectionResetError):
        return False


def await_end(client):
    """Until the other side closes; whatever it says is taken."""
    try:
        receive_all(client)
    except ConnectionResetError:
        pass


def await_hang_up(client, seconds):
    """True when the other side has closed; what it sent stays where it is."""
    poll = select.poll()
    poll.register(client, 0)
    return bool(poll.poll(seconds * 1000))


def do_nothing(until):
    time.sleep(max(until - time.monotonic(), 0))


def stop_after(until, door, beginning):
    """Says so much and no more, again and again."""
    while goes_on(until):
        with connect(door) as client:
            send(client, beginning)
            await_end(client)


def send_a_byte_a_second(until, door):
    while goes_on(until):
        with connect(door) as client:
            for byte in framed(door, GOOD[door]):
                if not send(client, bytes([byte])):
                    break
                time.sleep(1)


def take_a_byte_a_second(until, door, request):
    while goes_on(until):
        with connect(door) as client:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)
            send(client, framed(door, request))
            end = time.monotonic() + STUBBORN_S
            while goes_on(end) and client.recv(1) and not await_hang_up(client, 1):
                pass


def send_late(client, door, request, delay):
    """The last byte comes after the delay."""
    whole = framed(door, request)
    send(client, whole[:-1])
    time.sleep(delay)
    send(client, whole[-1:])


def take_no_reply(until, door, request, delay=0.0):
    while goes_on(until):
        with connect(door) as client:
            send_late(client, door, request, delay)
            await_hang_up(client, STUBBORN_S)


def write_on_after_the_request(until, door, delay=0.0):
    """A little all the time, as one who has not said everything yet."""
    while goes_on(until):
        with connect(door) as client:
            send_late(client, door, GOOD[door], delay)
            end = time.monotonic() + STUBBORN_S
            while goes_on(end) and send(client, b"x"):
                time.sleep(0.02)


def pour_after_the_request(until, door):
    """As much as is taken."""
    while goes_on(until):
        with connect(door) as client:
            send(client, framed(door, GOOD[door]))
            end = time.monotonic() + STUBBORN_S
            while goes_on(end) and send(client, b"x" * 65536):
                pass


def announce_4_gib(until, door):
    announced = framed(door, b"")[:-4] + struct.pack("=I", 0xFFFFFFFF)
    while goes_on(until):
        with connect(door) as client:
            send(client, announced)
            while goes_on(until) and send(client, b"x" * 65536):
                pass


def come_together(until, door, number):
    while goes_on(until):
        clients = [connect(door) for _ in range(number)]
        for client in clients:
            send(client, framed(door, GOOD[door]))
        for client in clients:
            receive_all(client)
            client.close()


def be_silent_together(until, door, number):
    while goes_on(until):
        clients = [connect(door) for _ in range(number)]
        for client in clients:
            await_end(client)
            client.close()


def crowd(until, door, number, beginning, rest=(), every_s=1):
    """
    So many come, say so much, then the next piece of the rest every now and then, and take nothing;
    for whoever is sent away another one comes at once.
    """
    allow_descriptors(number)
    poll = select.poll()
    clients = {}

    def come():
        client = connect(door)
        clients[client.fileno()] = client
        poll.register(client, 0)
        client.setblocking(False)
        say(client, beginning)

    said = 0
    next_piece = time.monotonic() + every_s
    while goes_on(until):
        if len(clients) < number:
            come()
        for descriptor, _ in poll.poll(0 if len(clients) < number else 50):
            poll.unregister(descriptor)
            clients.pop(descriptor).close()
        if said < len(rest) and time.monotonic() > next_piece:
            for client in clients.values():
                say(client, rest[said])
            said += 1
            next_piece += every_s
    for client in clients.values():
        client.close()


def crowd_that_goes(until, door, number, said):
    """So many come, say so much and go together, again and again."""
    allow_descriptors(number)
    while goes_on(until):
        clients = [connect(door) for _ in range(number)]
        for client in clients:
            client.setblocking(False)
            say(client, said)
        for client in clients:
            client.close()


def allow_descriptors(number):
    resource.setrlimit(resource.RLIMIT_NOFILE, (2 * number, 2 * number))


def say(client, data):
    """What is taken of it without waiting."""
    try:
        client.send(data)
    except (BlockingIOError, BrokenPipeError, ConnectionResetError):
        pass


def ask_on_and_take_nothing(until):
    """On one connection that stays."""
    while goes_on(until):
        with connect(STREAM) as client:
            client.settimeout(STUBBORN_S)
            while goes_on(until) and send(client, framed(STREAM, SELECT) * 100):
                pass


def go_at_every_byte_of_the_request(until, door):
    request = framed(door, GOOD[door])
    while goes_on(until):
        for length in range(len(request) + 1):
            with connect(door) as client:
                send(client, request[:length])


def go_at_every_byte_of_the_reply(until, door):
    request = framed(door, GOOD[door])
    with connect(door) as client:
        send(client, request)
        longest = len(receive_all(client))
    while goes_on(until):
        for length in range(longest + 1):
            with connect(door) as client:
                send(client, request)
                if length > 0:
                    client.recv(length, socket.MSG_WAITALL)


def send_requests(until, door, *bodies):
    while goes_on(until):
        for body in bodies:
            with connect(door) as client:
                send(client, framed(door, body))
                await_end(client)


def send_noise(until, door):
    source = random.Random(1)
    while goes_on(until):
        send_requests(0, door)
        with connect(door) as client:
            send(client, source.randbytes(source.randrange(2000)))
            client.shutdown(socket.SHUT_WR)
            await_end(client)


def change(origin="o"):
    request = f'<lsql origin="{origin}"><update><Board><label>x</label></Board></update></lsql>'
    with connect(LSQL) as client:
        send(client, framed(LSQL, request.encode()))
        receive_all(client)


def subscribe():
    client = connect(NOTIFY)
    client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    client.send(b"x")
    return client


def write_a_byte_a_second_and_listen(until):
    with subscribe() as client:
        client.setblocking(False)
        while goes_on(until):
            client.send(b"n")
            change()
            time.sleep(1)


def go_at_every_byte_of_a_notice(until):
    while goes_on(until):
        for length in range(len(NOTICE) + 1):
            with subscribe() as client:
                for _ in range(3):  # one pass accepts it, the next takes its byte
                    change()
                if length > 0:
                    client.recv(length, socket.MSG_WAITALL)


def subscribe_together(until, number):
    """The ninth and who comes after are sent away."""
    while goes_on(until):
        clients = [connect(NOTIFY) for _ in range(number)]
        for client in clients:
            send(client, b"x")
        change()
        for client in clients:
            client.close()


def write_to_notices(until, *texts):
    while goes_on(until):
        for text in texts:
            with connect(NOTIFY) as client:
                send(client, text)
                change()


def never_read_notices(until):
    with subscribe():
        while goes_on(until):
            change("o" * 20000)


def write_notices_for_ever(until, number):
    clients = [subscribe() for _ in range(number)]
    for client in clients:
        client.setblocking(False)
    while goes_on(until):
        for client in clients:
            try:
                client.send(b"n" * 65536)
            except BlockingIOError:
                pass
    for client in clients:
        client.close()


def connect_and_never_subscribe(until, number):
    """More than there are descriptors, if they are not refused."""
    resource.setrlimit(resource.RLIMIT_NOFILE, (2 * number, 2 * number))
    clients = [connect(NOTIFY, 5) for _ in range(number)]
    do_nothing(until)
    for client in clients:
        client.close()


def come_and_go_as_subscribers(until):
    linger = struct.pack("ii", 1, 0)
    while goes_on(until):
        with subscribe() as rude:
            change()
            rude.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, linger)


def in_a_process(attack, until, *arguments):
    process = multiprocessing.get_context("fork").Process(target=attack, args=(until, *arguments))
    process.start()
    return process


def fork_all(until, *attacks):
    """Ends with a failure if one of them does."""
    processes = [in_a_process(attack, until, *arguments) for attack, *arguments in attacks]
    for process in processes:
        process.join()
    if any(process.exitcode for process in processes):
        raise SystemExit(1)
