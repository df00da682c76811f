# SPDX-License-Identifier: MIT
"""The brokers that the protocol is held against. Nothing in it may rest on one of them."""
import hashlib
import os
import subprocess

import street




class Mosquitto(street.Broker):
    name = "mosquitto"
    port = street.PORT
    user = None



EJABBERD = """
loglevel: error
hosts: [localhost]
auth_method: [anonymous]
anonymous_protocol: login_anon
allow_multiple_connections: true
listen:
  - port: 1884
    ip: "127.0.0.1"
    module: mod_mqtt
modules:
  mod_mqtt:
    access_publish: {}
    access_subscribe: {}
    session_expiry: 5 minutes
"""


class Ejabberd:
    """Debian's, as a broker alone. It lets nobody in without a user's name."""

    name = "ejabberd"
    port = 1884

    def __init__(self):
        self.home = street.HOME / "ejabberd"
        (self.home / "none").mkdir(parents=True)
        (self.home / "ejabberd.yml").write_text(EJABBERD, "ascii")
        self.process = None
        self.start()

    @staticmethod
    def user(client):
        return hashlib.sha256(client.encode()).hexdigest()[:16] + "@localhost", "x"

    def start(self):
        environment = {**os.environ, "HOME": str(self.home), "ERL_LIBS": "/usr/lib/x86_64-linux-gnu",
                       "EJABBERD_CONFIG_PATH": str(self.home / "ejabberd.yml"),
                       "EJABBERD_LOG_PATH": str(self.home / "log"),
                       "CONTRIB_MODULES_CONF_DIR": str(self.home / "none")}
        with open(self.home / "out", "ab") as out:
            self.process = subprocess.Popen(
                ["erl", "-noinput", "-mnesia", "dir", f'"{self.home}/mnesia"', "-s", "ejabberd"],
                cwd=self.home, env=environment, stdout=out, stderr=out)
        street.await_that(self.answers, "ejabberd")

    def answers(self):
        name, password = self.user("x")
        return subprocess.run(["mosquitto_pub", "-V", "5", "-p", str(self.port), "-u", name, "-P", password,
                               "-t", "x", "-m", "x"], check=False, capture_output=True).returncode == 0

    def kill(self):
        self.process.kill()
        self.process.wait()


KNOWN = {"mosquitto": Mosquitto, "ejabberd": Ejabberd}
