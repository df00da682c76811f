# SPDX-License-Identifier: MIT
"""The whole door on a throwaway device: lighttpd, the gate, the helper that judges passwords and the
plugin that starts them. Has to run in the sandbox."""
import contextlib
import functools
import http.client
import json
import os
import pathlib
import shutil
import ssl
import subprocess

import gate

PORT = 8443
PAGE = pathlib.Path("/run/page")
HAS_SECOND_USER = len(pathlib.Path("/proc/self/uid_map").read_text(encoding="ascii").splitlines()) > 1


class Client:
    """The command line of a build."""

    def __init__(self, build):
        self.program = pathlib.Path(build) / "client/vornctl"

    def lsql(self, text):
        run = subprocess.run([self.program, "query", "-"], input=text, text=True,
                             capture_output=True, check=False)
        return run.stdout + run.stderr

    def run(self, *words):
        run = subprocess.run([self.program, *words], text=True, capture_output=True, check=False)
        assert run.returncode == 0, (words, run.stdout, run.stderr)
        return run.stdout


@functools.cache
def trust():
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context


class Browser:
    """Keeps its connection, its cookie and its CSRF token."""

    def __init__(self, port=PORT):
        self.connection = http.client.HTTPSConnection("127.0.0.1", port, timeout=120,
                                                      context=trust())
        self.cookie = None
        self.csrf = None

    def ask(self, method, path, body=None, headers=None):
        headers = dict(headers or {})
        if self.cookie:
            headers["Cookie"] = self.cookie
        if self.csrf and method != "GET":
            headers["X-CSRF-Token"] = self.csrf
        if body is not None:
            headers["Content-Type"] = "application/json"
            body = json.dumps(body)
        self.connection.request(method, path, body, headers)
        answer = self.connection.getresponse()
        text = answer.read()
        return answer, text

    def log_in(self, user, password):
        answer, text = self.ask("POST", "/api/v1/session", {"user": user, "password": password})
        if answer.status == 200:
            self.cookie = answer.headers["Set-Cookie"].split(";")[0]
            self.csrf = json.loads(text)["csrf"]
        return answer.status

    def make_token(self, name):
        answer, text = self.ask("POST", "/api/v1/tokens", {"name": name})
        assert answer.status == 201, text
        return json.loads(text)["token"]


def is_served():
    try:
        return Browser().ask("GET", "/")[0].status == 200
    except (OSError, http.client.HTTPException):
        return False


def prepare():
    """Users that the sandbox can have, and a page of one file."""
    shutil.rmtree("/run/vorn-web", ignore_errors=True)
    passwd = pathlib.Path("/etc/passwd")
    lines = [line for line in passwd.read_text(encoding="utf-8").splitlines()
             if line.split(":")[0] in ("root", "nobody")]
    user = "1000" if HAS_SECOND_USER else "0"
    # The first name of an id is the one that the daemon knows it by.
    for name in ("vorn-gate", "www-data"):
        lines.append(f"{name}:x:{user}:{user}::/:/usr/sbin/nologin")
    for path, text in (("/etc/passwd", "\n".join(lines) + "\n"),
                       ("/etc/group", f"root:x:0:\nwww-data:x:{user}:\nvorn-gate:x:{user}:\n"),
                       ("/etc/shadow", "root:*:19000:0:99999:7:::\n")):
        pathlib.Path(path).unlink()
        pathlib.Path(path).write_text(text, encoding="utf-8")
    PAGE.mkdir(exist_ok=True)
    (PAGE / "index.html").write_text("<!doctype html>page", encoding="ascii")


@contextlib.contextmanager
def opened(build, user, password):
    """The door of a daemon, with one account, until the block ends."""
    prepare()
    os.environ["VORN_WEB_PAGE"] = str(PAGE)
    os.environ["PATH"] = f"{build}/gate:" + os.environ["PATH"]
    client = Client(build)
    daemon = gate.start_daemon()
    client.run("add", "account", user, "password=" + password)
    client.run("set", "web", "enabled=on", f"port={PORT}")
    try:
        gate.await_that(is_served, "the page is served")
        yield client
    except BaseException:
        print(client.run("show", "web"), pathlib.Path("/dev/console").read_text(encoding="utf-8"))
        raise
    finally:
        client.run("set", "web", "enabled=off")
        gate.await_that(lambda: not is_served(), "the page is gone")
        gate.end(daemon)


def process_of(name):
    """The number of the one process of that name."""
    return int(subprocess.run(["pgrep", "-x", name], capture_output=True, text=True,
                              check=True).stdout.split()[0])
