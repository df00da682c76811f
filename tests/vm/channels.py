# SPDX-License-Identifier: MIT
"""The two ways to talk to a virtual machine: to qemu itself, and to the agent inside."""
import base64
import collections
import json
import socket
import time

Result = collections.namedtuple("Result", "status output")


class Closed(Exception):
    """The other side is gone."""


class Late(Exception):
    """The other side did not answer before the deadline."""


class Stream:
    """A connected socket, read by lines and by lengths, each with a deadline."""

    def __init__(self, connection):
        self.connection = connection
        self.pending = b""

    def send(self, data):
        self.connection.settimeout(10)
        try:
            self.connection.sendall(data)
        except socket.timeout:
            raise Late() from None
        except OSError:
            raise Closed() from None

    def line(self, until):
        while b"\n" not in self.pending:
            self._more(until)
        line, _, self.pending = self.pending.partition(b"\n")
        return line

    def exactly(self, size, until):
        while len(self.pending) < size:
            self._more(until)
        data, self.pending = self.pending[:size], self.pending[size:]
        return data

    def close(self):
        self.connection.close()

    def _more(self, until):
        left = until - time.monotonic()
        if left <= 0:
            raise Late()
        self.connection.settimeout(left)
        try:
            data = self.connection.recv(65536)
        except socket.timeout:
            raise Late() from None
        except OSError:
            data = b""
        if not data:
            raise Closed()
        self.pending += data


class Agent:
    """Runs shell commands inside, one after the other."""

    def __init__(self, stream):
        self.stream = stream

    def wait_until_ready(self, until):
        if self.stream.line(until) != b"ready":
            raise Closed()

    def run(self, command, until):
        self.stream.send(base64.b64encode(command.encode()) + b"\n")
        status, size = self.stream.line(until).split()
        output = self.stream.exactly(int(size), until)
        return Result(int(status), output.decode(errors="replace"))


class Monitor:
    """qemu's own control channel (QMP): commands, and the events that came so far."""

    def __init__(self, stream):
        self.stream = stream
        self.events = []

    def greet(self, until):
        self.stream.line(until)
        self.command("qmp_capabilities", until)

    def command(self, name, until, **arguments):
        request = {"execute": name, "arguments": arguments}
        self.stream.send(json.dumps(request).encode() + b"\n")
        while True:
            message = self._message(until)
            if "error" in message:
                raise RuntimeError(f"{name}: {message['error']['desc']}")
            if "return" in message:
                return message["return"]

    def seen(self, name):
        """What came until now, without waiting for more."""
        try:
            while True:
                self._message(time.monotonic() + 0.01)
        except (Late, Closed):
            pass
        return [event for event in self.events if event["event"] == name]

    def wait_for(self, name, until):
        """The first event of that name, also if it came before."""
        while not (found := self.seen(name)):
            self._message(until)
        return found[0]

    def _message(self, until):
        message = json.loads(self.stream.line(until))
        if "event" in message:
            self.events.append(message)
        return message
