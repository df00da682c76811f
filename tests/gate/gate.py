# SPDX-License-Identifier: MIT
"""The daemon and the gate on a throwaway device, asked over SCGI."""
import hashlib
import json
import os
import pathlib
import socket
import subprocess
import time

SOCKET = "/run/gate"
TOKENS = "/run/tokens"
PASSWORDS = "/run/passwords"


def await_that(is_so, what, seconds=60):
    end = time.monotonic() + seconds
    while not is_so():
        assert time.monotonic() < end, what
        time.sleep(0.01)


def frame(method, uri, body=b"", headers=()):
    pairs = [("CONTENT_LENGTH", str(len(body))), ("SCGI", "1"), ("REQUEST_METHOD", method),
             ("REQUEST_URI", uri), ("REMOTE_ADDR", "192.0.2.1"), *headers]
    head = b"".join(n.encode() + b"\0" + v.encode() + b"\0" for n, v in pairs)
    return b"%d:%s," % (len(head), head) + body


def connect():
    client = socket.socket(socket.AF_UNIX)
    client.settimeout(120)
    client.connect(SOCKET)
    return client


class Answer:
    def __init__(self, raw):
        head, _, self.body = raw.partition(b"\r\n\r\n")
        lines = head.decode().split("\r\n")
        self.headers = dict(line.split(": ", 1) for line in lines)
        self.status = int(self.headers["Status"].split()[0])

    @property
    def json(self):
        return json.loads(self.body)


def exchange(raw, is_all=False):
    """The gate is told that it is all where it would otherwise read on for a while."""
    with connect() as client:
        client.sendall(raw)
        if is_all:
            client.shutdown(socket.SHUT_WR)
        pieces = []
        while piece := client.recv(65536):
            pieces.append(piece)
    return b"".join(pieces)


class Caller:
    """Somebody with headers of his own."""

    def __init__(self, *headers):
        self.headers = headers

    def ask(self, method, path, body=None, *headers):
        raw = b""
        more = list(self.headers) + list(headers)
        if body is not None:
            raw = body if isinstance(body, bytes) else json.dumps(body).encode()
            more.append(("CONTENT_TYPE", "application/json"))
        return Answer(exchange(frame(method, "/api/v1" + path, raw, more)))

    def get(self, path, *headers):
        return self.ask("GET", path, None, *headers)

    def post(self, path, body, *headers):
        return self.ask("POST", path, body, *headers)

    def stream(self, *headers):
        client = connect()
        client.sendall(frame("GET", "/api/v1/events", b"", list(self.headers) + list(headers)))
        return Stream(client)


class Stream:
    """Server-sent events, one after the other: (name, id, data)."""

    def __init__(self, client):
        self.client = client
        self.file = client.makefile("rb")
        self.taken = 0
        self.head = {}
        while (line := self.file.readline().strip()):
            name, _, value = line.decode().partition(": ")
            self.head[name] = value

    def next(self):
        event = {"event": None, "id": None, "data": None}
        for line in iter(self.file.readline, b""):
            self.taken += len(line)
            line = line.decode().rstrip("\n")
            if line.startswith(":") or (not line and event["event"] is None):
                continue
            if not line:
                return event["event"], event["id"], json.loads(event["data"])
            name, _, value = line.partition(": ")
            event[name] = value
        return None

    def await_event(self, name):
        while (event := self.next()) is not None:
            if event[0] == name:
                return event
        raise AssertionError(f"no event {name} came")

    def close(self):
        self.file.close()
        self.client.close()


def with_token(token, user="root", name="t"):
    with open(TOKENS, "a", encoding="ascii") as file:
        file.write(f"{hashlib.sha256(token.encode()).hexdigest()} {user} {name}\n")
    return Caller(("HTTP_AUTHORIZATION", "Bearer " + token))


def start_daemon():
    subprocess.run(["ip", "link", "add", "eth0", "type", "veth", "peer", "name", "cable"],
                   check=False, stderr=subprocess.DEVNULL)
    subprocess.run(["ip", "link", "set", "cable", "up"], check=True)
    with open("/dev/console", "w", encoding="ascii") as log:
        daemon = subprocess.Popen(["setsid", "/usr/sbin/vorn", "-f"], stderr=log, stdout=log)
    doors = pathlib.Path("/proc/net/unix")
    await_that(lambda: "vorn_sock_lsql_stream" in doors.read_text(encoding="utf-8"),
               "the daemon opens its doors")
    return daemon


def start_gate(program, *options):
    open(TOKENS, "a", encoding="ascii").close()
    gate = subprocess.Popen([program, "--socket", SOCKET, "--tokens", TOKENS,
                             "--passwords", PASSWORDS, *options])
    await_that(lambda: os.path.exists(SOCKET) and os.stat(SOCKET).st_mode & 0o777 == 0o660,
               "the gate opens its socket")
    return gate


def end(*programs):
    """What a sanitizer had to say of one is its status."""
    for program in programs:
        program.terminate()
        assert program.wait(60) == 0, program.args
