# SPDX-License-Identifier: MIT
"""A device that writes one value of one of a thousand instances, again and again."""
import pathlib
import time
import xml.etree.ElementTree as tree

from books import Log, configuration
from watched_daemon import LSQL, STREAM, Daemon, connect, exchange, framed, receive_frame

STARTUP = pathlib.Path("/etc/config/config.xml")
INSTANCES, PROPERTIES = 1000, 10
TOGETHER = 8
# Bytes of each write: as they were asked for, and with what the C library rounds up, which shows where
# they are more than the heap gives back and takes again by itself.
MOST_LEFT_BEHIND, MOST_RESIDENT = 230, 256
ENOUGH_TO_SHOW = 10_000
MINUTES_OF_A_YEAR = 365 * 24 * 60
ANSWER = b'<?xml version="1.0"?>\n<lsql_result><rc>0</rc><counter>1</counter></lsql_result>\n'


def value(number):
    """Thirteen letters, as each value of the instance has."""
    return f"value{number % 10**8:08}"


def request(name, changed, number):
    return framed(STREAM, f'<lsql><write-transaction><update><Item name="{name}"><{changed}>'
                  f"{value(number)}</{changed}></Item></update></write-transaction></lsql>".encode())


class Writes:
    """As many transactions as are asked for, each of another value, on a connection that stays."""

    def __init__(self, chance, count):
        self.chance = chance
        self.items = {f"item{number:04}": {f"p{i}": value(i) for i in range(PROPERTIES)}
                      for number in range(INSTANCES)}
        STARTUP.write_text('<?xml version="1.0"?>\n<config>' + "".join(
            f'<Item name="{name}">' + "".join(f"<{key}>{text}</{key}>"
                                              for key, text in values.items()) + "</Item>"
            for name, values in self.items.items()) + "</config>\n")
        self.daemon = Daemon()
        self.client = connect(STREAM, 60)
        self.log = Log("/dev/console")
        self.wrong = 0
        self.done = 0
        self.write(min(10_000, count // 2))  # by then the heap has what the work itself needs
        self.before, self.descriptors = self.daemon.memory_kib(), self.daemon.descriptors()
        self.left_before = self.left_behind()
        self.first = self.done
        self.begin = time.monotonic()

    def write(self, count):
        names = list(self.items)
        end = self.done + count
        while self.done < end:
            many = min(TOGETHER, end - self.done)
            requests = []
            for _ in range(many):
                self.done += 1
                name, changed = self.chance.choice(names), f"p{self.chance.randrange(PROPERTIES)}"
                self.items[name][changed] = value(self.done)
                requests.append(request(name, changed, self.done))
            self.client.sendall(b"".join(requests))
            self.wrong += sum(receive_frame(self.client) != ANSWER for _ in range(many))

    @staticmethod
    def left_behind():
        """Instances and their bytes, as the daemon tells them."""
        answer = exchange(LSQL, b"<lsql><select><Board><left_behind/></Board></select></lsql>")
        return [int(word) for word in tree.fromstring(answer).find(".//left_behind").text.split()]

    def balance(self):
        """What is not as it should be."""
        self.seconds = time.monotonic() - self.begin
        self.after = self.daemon.memory_kib()
        writes = self.done - self.first
        shows = writes >= ENOUGH_TO_SHOW and not self.daemon.is_sanitized()
        self.allowed = MOST_RESIDENT if shows else None
        instances, kept = (now - before
                           for now, before in zip(self.left_behind(), self.left_before))
        self.kept, self.resident = kept / writes, (self.after - self.before) * 1024 / writes
        problems = []
        if self.wrong:
            problems.append(f"{self.wrong} wrong answers")
        if instances != writes:
            problems.append(f"{instances} instances are left behind")
        if self.kept > MOST_LEFT_BEHIND:
            problems.append("too much is left behind")
        if self.allowed and self.resident > self.allowed:
            problems.append("too much is resident")
        if self.daemon.descriptors() != self.descriptors:
            problems.append(f"{self.daemon.descriptors()} descriptors, {self.descriptors} before")
        running = exchange(LSQL, b'<lsql><select><Item properties="all"/></select></lsql>')
        wanted = {("Item", name, tuple(sorted(values.items())))
                  for name, values in self.items.items()}
        if configuration(tree.fromstring(running).find("dataset")) != wanted:
            problems.append("the running configuration is another")
        self.client.close()
        if self.daemon.shut_down() != 0:
            problems.append("the daemon did not end well")
        self.log.read_on()
        if self.log.unexpected:
            problems.append(f"log: {dict(self.log.unexpected)}")
        print(self)
        return problems

    def __str__(self):
        writes = self.done - self.first
        year = self.resident * MINUTES_OF_A_YEAR / 1e6
        return (f"writes      {writes} of one value in a class of {INSTANCES} in "
                f"{self.seconds:.0f} s\n"
                f"descriptors {self.descriptors}\n"
                f"memory      {self.before} KiB before, {self.after} KiB at the end\n"
                f"  kept      an instance of each write, {self.kept:.0f} bytes, "
                f"{MOST_LEFT_BEHIND} allowed\n"
                f"  resident  {self.resident:.0f} bytes of each write, {self.allowed or 'any'} allowed\n"
                f"  a year    of one write a minute: {year:.0f} MB")
