# SPDX-License-Identifier: MIT
"""The brokers that the protocol is held against. Nothing in it may rest on one of them."""
import hashlib
import os
import ssl
import subprocess

import board
import street


class Mosquitto(street.Broker):
    port = street.PORT

    @staticmethod
    def tls(_client):
        return None


EJABBERD = """
loglevel: error
hosts: [localhost]
certfiles: [HOME/broker.pem, HOME/broker.key]
c2s_cafile: HOME/ca.pem
listen:
  - port: 1884
    ip: "127.0.0.1"
    module: mod_mqtt
    tls: true
    tls_verify: true
modules:
  mod_mqtt:
    access_publish: {}
    access_subscribe: {}
    session_expiry: 5 minutes
"""


class Ejabberd:
    """Debian's, as a broker alone. Whoever says no user's name is let in by a certificate that is for
    his client identifier, or, where that can't be a user's name of it, for the SHA-1 of that."""

    port = 1884

    def __init__(self):
        self.home = street.HOME / "ejabberd"
        (self.home / "none").mkdir(parents=True)
        (self.home / "ejabberd.yml").write_text(EJABBERD.replace("HOME", str(self.home)), "ascii")
        board.make_authority(self.home)
        board.make_certificate(self.home, "broker", "broker", "subjectAltName=IP:127.0.0.1")
        self.process = None
        self.start()

    def files_of(self, client):
        """The certificate and the key of a client."""
        user = hashlib.sha1(client.encode()).hexdigest() if "/" in client else client
        if not (self.home / f"{user}.pem").exists():
            board.make_certificate(self.home, user, user)
        return self.home / f"{user}.pem", self.home / f"{user}.key"

    def tls(self, client):
        context = ssl.create_default_context(cafile=self.home / "ca.pem")
        context.load_cert_chain(*self.files_of(client))
        return context

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
        certificate, key = self.files_of("x")
        return subprocess.run(
            ["mosquitto_pub", "-V", "5", "-h", "127.0.0.1", "-p", str(self.port), "-i", "x", "--cafile",
             self.home / "ca.pem", "--cert", certificate, "--key", key, "-t", "x", "-m", "x"],
            check=False, capture_output=True).returncode == 0

    def kill(self):
        self.process.kill()
        self.process.wait()


KNOWN = {"mosquitto": Mosquitto, "ejabberd": Ejabberd}
