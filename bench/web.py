# SPDX-License-Identifier: MIT
"""What the door to the network costs: objects beside files of their size, the gate's memory, and what
a thousand of its clients take from those who ask the daemon on the device itself."""
import asyncio
import json
import os
import pathlib
import re
import resource
import subprocess
import sys
import time

TREE = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TREE / "tests/gate"))

import door  # noqa: E402
import measured  # noqa: E402
from measured import NOT_MEASURED, Failures  # noqa: E402

PLUGINS = ["access", "commits", "history", "network", "save", "schema", "system", "trial", "web"]
OBJECT = "/api/v1/objects/resolver"
REQUESTS = 2000
SELECT = "<lsql><select><system><hostname/></system></select></lsql>"
PASSWORD = "of no importance"
CROWD = 1000
STREAMS_OF_ONE = 8
PROCESSORS = sorted(os.sched_getaffinity(0))
FIRST, LAST = PROCESSORS[0], PROCESSORS[-1]


def private_memory(number):
    """Bytes that the process has written; unchanged pages of files come and go for free. They count
    also while a child that is not yet its program shares them."""
    rollup = pathlib.Path(f"/proc/{number}/smaps_rollup").read_text(encoding="ascii")
    return sum(int(line.split()[1]) * 1024 for line in rollup.splitlines()
               if line.startswith("Anonymous:"))


def measure(build, quick):
    """Ratios and bytes, measured inside a sandbox."""
    plugins = [word for name in PLUGINS for word in ("--plugin", build / f"plugins/{name}.vorn")]
    command = [TREE / "tools/sandbox", "--second-user", "--vorn", build / "vorn", *plugins,
               "--config", TREE / "packaging/examples/config.xml", "--",
               sys.executable, __file__, build, "1" if quick else "7"]
    run = subprocess.run(command, check=True, capture_output=True, text=True,
                         env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"})
    return measured.read(run.stdout.splitlines()[-1])


def add_rows(report, found):
    report.add("one object over TLS, of a file of its size (one client, pinned)", None,
               found["object"], 0.5, at_least=True)
    report.add("one object over TLS, of a file of its size (as many as can)", None,
               found["object_at_most"])
    report.add("private memory of the gate, idle", None, found["idle_bytes"] / 1024, 4096,
               unit="KiB")
    report.add("private memory of the gate with 1,000 event streams", None,
               found["crowded_bytes"] / 1024, 4096, unit="KiB")
    for kind in ("streams", "slow"):
        report.add(f"99th percentile beside 1,000 {kind} at the door, of that without", None,
                   found[kind], 1.2)


# Inside the sandbox ----------------------------------------------------------------------------

def pin(processors, *names):
    """All threads of the programs, and of this one, which hands it on to what it starts."""
    for number in (os.getpid(), *(door.process_of(name) for name in names)):
        for task in os.listdir(f"/proc/{number}/task"):
            os.sched_setaffinity(int(task), processors)


def rate(path, token):
    """Requests a second of one client on one connection."""
    config = pathlib.Path("/tmp/requests")
    config.write_text(f'insecure\nsilent\nfail\nheader = "Authorization: Bearer {token}"\n'
                      + f'url = "https://127.0.0.1:{door.PORT}{path}"\noutput = /dev/null\n'
                      * REQUESTS, encoding="ascii")
    begin = time.monotonic()
    subprocess.run(["curl", "-K", config], check=True)
    return REQUESTS / (time.monotonic() - begin)


def full_rate(path, token):
    """The same of a client that does hardly more than write and read, on eight connections."""
    run = subprocess.run(["wrk", "-t1", "-c8", "-d1s", "-H", f"Authorization: Bearer {token}",
                          f"https://127.0.0.1:{door.PORT}{path}"],
                         check=True, capture_output=True, text=True)
    assert "Non-2xx" not in run.stdout and "Socket errors" not in run.stdout, run.stdout
    return float(re.search(r"Requests/sec:\s*([\d.]+)", run.stdout).group(1))


def compare_rates(rate_of, token, rounds):
    """The best of each, measured in turns: what else the machine does makes either slower."""
    pairs = [(rate_of(OBJECT, token), rate_of("/same.json", token)) for _ in range(rounds)]
    print(*(f"{own:.0f}/{file:.0f}" for own, file in pairs), file=sys.stderr)
    return max(own for own, _ in pairs) / max(file for _, file in pairs)


class Crowd:
    """Clients that come together, each with a connection of its own over TLS."""

    def __init__(self):
        self.trust = door.trust()
        self.open = []
        self.creeping = None

    async def connect(self):
        reader, writer = await asyncio.open_connection("127.0.0.1", door.PORT, ssl=self.trust)
        self.open.append(writer)
        return reader, writer

    async def listen(self, token):
        reader, writer = await self.connect()
        writer.write(f"GET /api/v1/events HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer {token}"
                     "\r\n\r\n".encode())
        status = await reader.readline()
        assert b" 200 " in status, (len(self.open), await reader.read(2000))

    async def creep(self):
        """A byte of its request each second."""
        _, writer = await self.connect()
        writer.write(b"GET /api/v1/session HTTP/1.1\r\nX-Slow: ")

    async def go_on_creeping(self):
        while True:
            for writer in self.open:
                writer.write(b"s")
                await asyncio.sleep(1 / CROWD)

    async def leave(self):
        if self.creeping:
            self.creeping.cancel()
        for writer in self.open:
            writer.transport.abort()


async def together(comings, at_once=20):
    gate = asyncio.Semaphore(at_once)

    async def one(coming):
        async with gate:
            await coming
    await asyncio.gather(*(one(each) for each in comings))


async def streams(tokens):
    crowd = Crowd()
    await together(crowd.listen(tokens[i // STREAMS_OF_ONE]) for i in range(CROWD))
    return crowd


async def slow(_):
    crowd = Crowd()
    await together(crowd.creep() for _ in range(CROWD))
    crowd.creeping = asyncio.create_task(crowd.go_on_creeping())
    return crowd


async def percentile(build):
    """What 99 of 100 exchanges take at most, on the daemon's own socket and processor."""
    run = await asyncio.create_subprocess_exec(
        f"{build}/bench/crowd", "percentile", SELECT, stdout=subprocess.PIPE,
        preexec_fn=lambda: os.sched_setaffinity(0, {FIRST}))
    out, _ = await run.communicate()
    assert run.returncode == 0
    return float(out)


async def beside(come, client, build, tokens, rounds, look=lambda: None):
    """Of the best of each, measured in turns."""
    found = []
    for _ in range(rounds):
        alone = await percentile(build)
        crowd = await come(tokens)
        crowded = await percentile(build)
        look()
        await crowd.leave()
        # lighttpd finds out whose listener is gone when there is something to tell him.
        client.run("set", "system", f"contact={len(found)}")
        await asyncio.sleep(1)
        found.append((crowded, alone))
    print(*(f"{crowded:.0f}/{alone:.0f}" for crowded, alone in found), file=sys.stderr)
    return min(crowded for crowded, _ in found) / min(alone for _, alone in found)


def inside(build, rounds):
    resource.setrlimit(resource.RLIMIT_NOFILE, (4096, 4096))
    result = {}
    failures = Failures()
    with door.opened(build, "anna", PASSWORD) as client:
        browser = door.Browser()
        assert browser.log_in("anna", PASSWORD) == 200
        tokens = [browser.make_token(f"t{i}") for i in range(-(-CROWD // STREAMS_OF_ONE))]
        answer, text = browser.ask("GET", OBJECT)
        assert answer.status == 200, text
        (door.PAGE / "same.json").write_bytes(text)
        gate = door.process_of("vorn-gate")
        everything = os.sched_getaffinity(0)
        pin({FIRST}, "lighttpd", "vorn-gate", "vorn")
        result["object"] = failures.attempt("one object over TLS", compare_rates, rate, tokens[0],
                                            rounds)
        pin(everything, "lighttpd", "vorn-gate", "vorn")
        result["object_at_most"] = failures.attempt("objects over TLS, as many as can",
                                                    compare_rates, full_rate, tokens[0], rounds)
        result["idle_bytes"] = private_memory(gate)

        def note_memory():
            result["crowded_bytes"] = private_memory(gate)
        # The crowd comes from elsewhere: what it takes to be one is not the device's.
        pin({FIRST}, "vorn")
        os.sched_setaffinity(0, {LAST})
        few = min(rounds, 3)
        for come, look in ((streams, note_memory), (slow, lambda: None)):
            result[come.__name__] = failures.attempt(
                f"1,000 {come.__name__} at the door", lambda: asyncio.run(
                    beside(come, client, build, tokens, few, look)))
    result = {name: found for name, found in result.items() if found is not NOT_MEASURED}
    print(json.dumps({**result, "failures": failures}))


if __name__ == "__main__":
    inside(sys.argv[1], int(sys.argv[2]))
