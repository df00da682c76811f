# SPDX-License-Identifier: MIT
"""The daemon with its plugin fleet, a broker, and somebody who has the key, on a throwaway device."""
import base64
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import threading
import time
import unittest

HOME = pathlib.Path("/run/fleet-test")
TOPIC = "v1/acme/ap1/"
ADDRESS = "192.168.1.1"
HAS_SECOND_USER = len(pathlib.Path("/proc/self/uid_map").read_text("ascii").splitlines()) > 1

BROKER = f"""
user root
per_listener_settings true
persistence true
persistence_location {HOME}/
listener 8883 0.0.0.0
cafile {HOME}/ca.pem
certfile {HOME}/broker.pem
keyfile {HOME}/broker.key
require_certificate true
use_identity_as_username true
allow_anonymous false
listener 1883 127.0.0.1
allow_anonymous true
"""


def await_that(is_so, what, seconds=180):
    end = time.monotonic() + seconds
    while not is_so():
        assert time.monotonic() < end, what() if callable(what) else what
        time.sleep(0.02)


def run(*words, **more):
    return subprocess.run(words, check=True, capture_output=True, **more).stdout


CURVE = ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes")


def make_authority(home):
    run("openssl", "req", "-x509", *CURVE, "-days", "30", "-subj", "/CN=authority", "-keyout",
        home / "ca.key", "-out", home / "ca.pem")


def make_certificate(home, name, subject, extension="keyUsage=digitalSignature"):
    """A key, and what the authority says of it."""
    (home / "extension").write_text(extension, "ascii")
    request = run("openssl", "req", "-new", *CURVE, "-subj", "/CN=" + subject, "-keyout",
                  home / f"{name}.key")
    run("openssl", "x509", "-req", "-days", "30", "-CA", home / "ca.pem", "-CAkey",
        home / "ca.key", "-CAcreateserial", "-extfile", home / "extension", "-out",
        home / f"{name}.pem", input=request)


def make_certificates():
    """A small authority, and what it says of the broker and of the device."""
    make_authority(HOME)
    make_certificate(HOME, "broker", "broker", f"subjectAltName=IP:{ADDRESS}")
    make_certificate(HOME, "device", "acme-ap1")
    for each in HOME.glob("*.key"):
        each.chmod(0o644)


def make_stranger(name):
    """The broker's certificate, as anybody can make it who is not our authority."""
    run("openssl", "req", "-x509", *CURVE, "-days", "30", "-subj", "/CN=broker", "-addext",
        f"subjectAltName=IP:{ADDRESS}", "-keyout", HOME / f"{name}.key", "-out", HOME / f"{name}.pem")


def make_users():
    lines = ["root:x:0:0::/:/bin/sh"]
    lines.append(f"vorn-agent:x:{1000 if HAS_SECOND_USER else 0}:{1000 if HAS_SECOND_USER else 0}"
                 "::/:/usr/sbin/nologin")
    pathlib.Path("/etc/passwd").unlink()
    pathlib.Path("/etc/passwd").write_text("\n".join(lines) + "\n", "ascii")


def netstring(text):
    raw = text.encode()
    return b"%d:%s," % (len(raw), raw)


def hash_of(configuration):
    """As docs/fleet-protocol.md has it."""
    texts = []
    for name, part in configuration.items():
        for item in part.get("all", []) + part.get("some", []):
            text = b"+" + netstring(name) + (netstring(item["name"]) if "name" in item else b"")
            values = sorted((k.encode(), v) for k, v in item["values"].items() if v)
            text += b"=" + b"".join(netstring(k.decode()) + netstring(v) for k, v in values)
            texts.append(text + b";")
        for each in part.get("none", []):
            texts.append(b"-" + netstring(name) + netstring(each) + b";")
    return hashlib.sha256(b"".join(sorted(texts))).hexdigest()


class Signer:
    def __init__(self):
        self.file = HOME / "signer.pem"
        run("openssl", "genpkey", "-algorithm", "ed25519", "-out", self.file)
        public = run("openssl", "pkey", "-in", self.file, "-pubout", "-outform", "DER")[-32:]
        self.public = base64.b64encode(public).decode()
        self.id = hashlib.sha256(public).hexdigest()[:16]

    def sign(self, document, purpose="desired"):
        raw = json.dumps(document).encode()
        line = f"vorn-fleet 1 {purpose} {self.id}".encode()
        (HOME / "signed").write_bytes(line + b"\n" + raw)
        signature = run("openssl", "pkeyutl", "-sign", "-rawin", "-inkey", self.file, "-in",
                        HOME / "signed")
        return line + b" " + base64.b64encode(signature) + b"\n" + raw


class Broker:
    """mosquitto, and what it has been told, in order."""

    def __init__(self):
        (HOME / "broker.conf").write_text(BROKER, "ascii")
        self.told = []
        self.start()

    def start(self):
        with open(HOME / "broker.log", "ab") as log:
            self.process = subprocess.Popen(["mosquitto", "-c", HOME / "broker.conf"], stdout=log,
                                            stderr=log)
        await_that(lambda: subprocess.run(["mosquitto_pub", "-t", "x", "-m", "x"], check=False,
                                          capture_output=True).returncode == 0, "a broker")
        heard = [word for topic in ("reported", "online", "event", "response/#", "state/#")
                 for word in ("-t", TOPIC + topic)]
        self.listener = subprocess.Popen(["mosquitto_sub", "-V", "5", "-q", "1", *heard, "-F",
                                          "%t\t%p"], stdout=subprocess.PIPE)
        self.ear = threading.Thread(target=self.listen, args=(self.listener.stdout,), daemon=True)
        self.ear.start()

    def listen(self, stream):
        for line in stream:
            topic, _, payload = line.rstrip(b"\n").partition(b"\t")
            self.told.append((topic.decode().removeprefix(TOPIC), json.loads(payload)))

    def kill(self):
        for each in (self.process, self.listener):
            each.kill()
            each.wait()
        self.ear.join()
        self.listener.stdout.close()

    def publish(self, payload, topic="desired", *options):
        subprocess.run(["mosquitto_pub", "-V", "5", "-q", "1", "-t", TOPIC + topic, "-s", *options],
                       input=payload, check=True)

    def desire(self, payload):
        self.publish(payload, "desired", "-r")

    def last(self, topic):
        return next((text for each, text in reversed(self.told) if each == topic), {})

    def await_report(self, seconds=180, **members):
        def is_told():
            report = self.last("reported")
            return all(report.get(name.replace("_", "-")) == value
                       for name, value in members.items())

        try:
            await_that(is_told, "", seconds)
        except AssertionError:
            raise AssertionError(f"no report of {members}; the last: {self.last('reported')}, "
                                 f"{vornctl('show', 'fleet')}") from None
        return self.last("reported")


def bytes_sent():
    """Over the connection to the broker, with what TLS adds; TCP and IP have some 52 for a packet."""
    [line] = run("ss", "-tinOH", "dport", "=", ":8883").decode().splitlines()
    return int(re.search(r"bytes_sent:(\d+)", line)[1]) + 52 * int(re.search(r"segs_out:(\d+)", line)[1])


def wakes_of(pid):
    """How often its threads have waited for something and were woken."""
    return sum(int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)", each.read_text("ascii"), re.M)[1])
               for each in pathlib.Path(f"/proc/{pid}/task").glob("*/status"))


def private_kib_of(pid):
    """What nobody else uses: written pages, and those of files that no other process has mapped."""
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text("ascii")
    return sum(int(each) for each in re.findall(r"^Private_(?:Clean|Dirty):\s+(\d+)", text, re.M))


VORNCTL = None


def vornctl(*words, status=0):
    done = subprocess.run([VORNCTL, *words], text=True, capture_output=True, check=False)
    assert done.returncode == status, (words, done.stdout, done.stderr)
    return done.stdout + done.stderr


def test(prepare, processes):
    """Whatever becomes of the tests, the processes that they leave are ended."""
    folder = pathlib.Path(sys.argv.pop(1))
    try:
        prepare(folder)
        unittest.main(verbosity=2)
    finally:
        print(pathlib.Path("/dev/console").read_text("utf-8")[-3000:] if os.environ.get("LOG") else "")
        for each in processes():
            if each:
                each.kill()
                each.wait()


def start_daemon():
    subprocess.run(["ip", "link", "add", "eth0", "type", "veth", "peer", "name", "cable"],
                   check=False, stderr=subprocess.DEVNULL)
    subprocess.run(["ip", "link", "set", "cable", "up"], check=True)
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    with open("/dev/console", "a", encoding="ascii") as log:
        daemon = subprocess.Popen(["setsid", "/usr/sbin/vorn", "-f"], stderr=log, stdout=log)
    doors = pathlib.Path("/proc/net/unix")
    await_that(lambda: "vorn_sock_lsql_stream" in doors.read_text("utf-8"), "open doors")
    return daemon


def pids_of(program):
    found = []
    for each in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (each / "cmdline").read_bytes().split(b"\0")
        except OSError:
            continue
        if os.path.basename(words[0]).decode() == program:
            found.append(int(each.name))
    return found
