# SPDX-License-Identifier: MIT
"""The load of the soak, in rounds, each answer held against the model."""
import pathlib
import select
import signal
import time
import xml.etree.ElementTree as tree

from books import Log, Memory, configuration
from model import FEWEST, Model
from watched_daemon import INFORM, LSQL, NOTIFY, Daemon, comes_true, connect, exchange, framed, \
    receive_all

STARTUP = pathlib.Path("/etc/config/config.xml")
DEBUG_LEVELS = 7
TOGETHER = 8
STEPS, TRANSACTIONS = 1000, 20
PLAIN = {"select_one": 400, "select_where": 80, "select_all": 20, "select_refreshed": 20,
         "update_in_place": 300, "insert_in_place": 35, "delete_in_place": 35, "relabel": 10,
         "be_refused": 40, "run": 1}


class Load:
    def __init__(self, chance):
        self.chance = chance
        self.daemon = Daemon()
        self.log = Log("/dev/console")
        self.memory = Memory()
        self.model = Model(chance)
        self.problems = []
        self.rounds = self.requests = self.writes = self.informs = self.signals = 0
        self.begin = time.monotonic()
        self.play([self.model.insert_in_place() for _ in range(FEWEST)])
        self.play([self.model.relabel()])
        self.subscriber = self.subscribe()
        self.deaf = self.subscribe()
        self.stop_watchdog()
        self.descriptors = self.daemon.descriptors()

    def expect(self, given, wanted, what):
        if given != wanted:
            self.problems.append(f"{what}: {str(given)[:300]!r} instead of {str(wanted)[:300]!r}")

    @staticmethod
    def subscribe():
        client = connect(NOTIFY, 20)
        client.send(b"x")
        for _ in range(2):  # accepting takes one pass of the loop, the first byte another
            exchange(LSQL, b"<lsql/>")
        return client

    def stop_watchdog(self):
        """Which closes its device."""
        self.daemon.process.send_signal(signal.SIGUSR1)
        comes_true(lambda: self.log.read_on() or self.log.lines > 1)

    # A round

    def play(self, steps):
        """Several clients are there at a time; they are served in the order they came in."""
        for first in range(0, len(steps), TOGETHER):
            clients = []
            for text, answer in steps[first:first + TOGETHER]:
                client = connect(LSQL, 60)
                client.sendall(framed(LSQL, text.encode()))
                clients.append((client, text, answer))
            for client, text, answer in clients:
                given = receive_all(client).decode()
                client.close()
                if answer is not None:
                    self.expect(given, answer, text)
        self.requests += len(steps)

    def inform(self, action, answer):
        self.expect(exchange(INFORM, b"object=soak&action=" + action), answer, action)
        self.requests += 1
        self.informs += 1

    def play_steps(self):
        names = self.chance.choices(list(PLAIN), PLAIN.values(), k=STEPS)
        for first in range(0, len(names), TOGETHER):
            self.play([getattr(self.model, name)() for name in names[first:first + TOGETHER]])
            if first % 64 == 0:
                self.inform(b"now", b"OK\n")
        self.inform(b"fail", b"ERR returned by handler\n")

    def play_transactions(self):
        self.play([self.model.transact() for _ in range(TRANSACTIONS)])
        self.play([self.model.transact_in_vain()])
        self.writes += TRANSACTIONS

    def play_a_round(self, with_writes):
        self.rounds += 1
        before, requests, writes = self.daemon.memory_kib(), self.requests, self.writes
        self.play_steps()
        if with_writes:
            self.play_transactions()
        self.memory.note(before, self.daemon.memory_kib(), self.requests - requests,
                         self.writes - writes)
        if self.rounds % 10 == 1:
            self.play_a_save()
            self.send_signals()
            self.deaf.close()
            self.deaf = self.subscribe()
        self.log.read_on()
        if not self.problems:
            comes_true(lambda: self.daemon.descriptors() == self.descriptors)
            self.expect(self.daemon.descriptors(), self.descriptors, "descriptors")

    def play_a_save(self):
        """Everything is on the disk by the time it is answered, and a notice on its way."""
        self.play([self.model.save()])
        notice = b""
        while not notice.endswith(b"\0"):
            notice += self.subscriber.recv(1)
        self.expect(notice, f'<?xml version="1.0"?><conf_changed>{self.model.saves + 1}'
                    "</conf_changed>\n\0".encode(), "notice")
        self.expect(configuration(tree.parse(STARTUP).getroot()), self.model.everything(), "saved")

    def send_signals(self):
        for number in (signal.SIGHUP, signal.SIGUSR1, signal.SIGCHLD):
            self.daemon.process.send_signal(number)
            exchange(LSQL, b"<lsql/>")
        self.turn_through_debug_levels()
        self.signals += 3

    def turn_through_debug_levels(self):
        """From none to the highest and back to none."""
        for _ in range(DEBUG_LEVELS):
            seen = self.log.levels
            self.daemon.process.send_signal(signal.SIGWINCH)
            comes_true(lambda seen=seen: self.log.read_on() or self.log.levels > seen)
        self.expect(self.log.level, 0, "debug level")
        self.signals += DEBUG_LEVELS

    # The books

    @staticmethod
    def running():
        answer = exchange(LSQL, b'<lsql><select><Item properties="all"/></select>'
                                b"<select><Board><label/></Board></select></lsql>")
        return set().union(*map(configuration, tree.fromstring(answer).iter("dataset")))

    def balance(self):
        """What is not as it should be."""
        comes_true(lambda: self.log.read_on() or self.log.crashes > 0)
        self.expect(self.log.crashes > 0, True, "crashes")
        self.play_a_save()
        self.expect(self.running(), self.model.everything(), "running")
        self.expect(select.select([self.subscriber], [], [], 0)[0], [], "another notice")
        balanced = self.memory.balance() or self.daemon.is_sanitized()
        self.expect(balanced, True, "memory is balanced")
        self.shut_down()
        self.boot_again()
        print(self)
        return self.problems

    def shut_down(self):
        self.seconds = time.monotonic() - self.begin
        self.expect(self.daemon.shut_down(), 0, "exit status")
        self.log.read_on()
        self.expect(dict(self.log.unexpected), {}, "log")
        errors = [line for line in self.daemon.errors if "WDIOC_SETTIMEOUT" not in line]
        self.expect(errors, [], "standard error")

    def boot_again(self):
        """What was saved is what comes up."""
        pathlib.Path("/var/run/vorn.pid").unlink()
        self.daemon = Daemon()
        self.expect(self.running(), self.model.everything(), "after a reboot")
        self.expect(self.daemon.shut_down(), 0, "exit status of the second run")

    def __str__(self):
        return (f"requests    {self.requests} in {self.seconds:.0f} s, of these "
                f"{self.writes} write transactions, {self.model.saves} saves, "
                f"{self.informs} informs\n"
                f"signals     {self.signals}\n"
                f"crashes     {self.log.crashes} of the supervised service\n"
                f"log         {self.log.lines} lines, {sum(self.log.unexpected.values())} of them "
                f"unexpected\n"
                f"descriptors {self.descriptors}\n{self.memory}")
