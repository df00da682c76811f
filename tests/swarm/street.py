# SPDX-License-Identifier: MIT
"""A broker, devices that are simulated, and whoever sends them documents."""
import json
import pathlib
import signal
import subprocess
import time

HOME = pathlib.Path("/run/fleet")
PORT = 1883

CONFIGURATION = f"""
user root
persistence true
persistence_location {HOME}/
max_queued_messages 0
max_inflight_messages 1000
set_tcp_nodelay true
listener {PORT} 127.0.0.1
allow_anonymous true
"""
# A broker that is killed forgets what it has not saved: with this it is at most a second's worth, and
# a broker that has much to do does not save each message.
SAVES_EACH_SECOND = CONFIGURATION + "autosave_interval 1\n"


def await_that(is_so, what, seconds=120, pause=0.02):
    end = time.monotonic() + seconds
    while not is_so():
        assert time.monotonic() < end, what() if callable(what) else what
        time.sleep(pause)


class NoBroker(Exception):
    """It was there no more, or not yet."""


class Broker:
    """mosquitto, with a listener for those who are in the same network, without TLS."""

    def __init__(self, configuration=SAVES_EACH_SECOND):
        self.file = HOME / "broker.conf"
        self.file.write_text(configuration, "ascii")
        self.process = None
        self.start()

    def start(self):
        with open(HOME / "broker.log", "ab") as log:
            self.process = subprocess.Popen(["mosquitto", "-c", self.file], stdout=log, stderr=log)
        await_that(self.answers, "a broker")

    def answers(self):
        return subprocess.run(["mosquitto_pub", "-p", str(PORT), "-t", "x", "-m", "x"], check=False,
                              capture_output=True).returncode == 0

    def save(self):
        saved = HOME / "mosquitto.db"
        saved.unlink(missing_ok=True)
        self.process.send_signal(signal.SIGUSR1)
        await_that(saved.exists, "what is retained on the disk")

    def kill(self):
        self.process.kill()
        self.process.wait()


def conduct(build, generation, first, count, port=PORT, **words):
    """What fleet_conductor prints."""
    run = subprocess.run(
        [build / "tests/swarm/fleet_conductor", "127.0.0.1", str(port), "acme", str(first), str(count),
         str(generation), *(f"{k}={v}" for k, v in words.items())], capture_output=True, text=True, check=False)
    if run.returncode != 0:
        raise NoBroker(run.stdout + run.stderr)
    return json.loads(run.stdout)


class Swarm:
    """Simulated devices, in a process of their own."""

    def __init__(self, build, count, speed=1, port=PORT, more=()):
        self.build, self.count, self.speed, self.port = build, count, speed, port
        self.process = subprocess.Popen(
            [build / "tests/swarm/fleet_swarm", str(count), "127.0.0.1", str(port), str(speed),
             "acme", *more], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def tell(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        answer = json.loads(self.process.stdout.readline())
        assert "error" not in answer, line
        return answer

    def stats(self):
        return self.tell("stats")

    def await_all(self, seconds, is_so=None, what="all devices"):
        """Answers how long it took, and what was told last."""
        begin = time.monotonic()
        while True:
            stats = self.stats()
            if is_so(stats) if is_so else stats["connected"] == self.count:
                return time.monotonic() - begin, stats
            assert time.monotonic() < begin + seconds, (what, stats)
            time.sleep(0.2)

    def end(self):
        self.process.stdin.close()
        self.process.wait()

    def conduct(self, generation, count=None, **words):
        return conduct(self.build, generation, 0, count or self.count, self.port, **words)


def prepare():
    HOME.mkdir()
    # Each connection has a port of this one address; of those that were closed some wait a minute.
    pathlib.Path("/proc/sys/net/ipv4/ip_local_port_range").write_text("1100 65000", "ascii")
