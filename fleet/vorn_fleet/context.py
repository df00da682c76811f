# SPDX-License-Identifier: MIT
"""What every command has: the folder, the settings with what the command line says over them, the
session."""
import contextlib
import getpass

from .broker import Connection
from .folder import Folder
from .problem import Misused
from .selectors import select
from .session import Session
from .signature import Keys, Signer
from .topics import Topics

OVERRIDES = {
    "tenant": "tenant", "broker": "broker", "ca": "authorities", "certificate": "certificate",
    "key": "key", "signing_key": "signing-key", "by": "by"
}


class Context:
    """Of one run."""

    def __init__(self, arguments):
        self.arguments = arguments
        self.folder = Folder(arguments.folder)
        self.settings = dict(self.folder.settings)
        for option, name in OVERRIDES.items():
            if getattr(arguments, option, None):
                self.settings[name] = getattr(arguments, option)
        if arguments.plain:
            self.settings["tls"] = "off"
        if not self.settings.get("tenant"):
            raise Misused("whose fleet? fleet.yaml, or --tenant, says it")
        self.topics = Topics(self.settings["tenant"])
        self._signer = None

    @property
    def signer(self):
        if self._signer is None:
            if not self.settings.get("signing-key"):
                raise Misused("what signs? fleet.yaml, or --signing-key, says where the key is")
            self._signer = Signer.read(self.settings["signing-key"])
        return self._signer

    def need_signer(self):
        """Complains before anything is sent."""
        return self.signer

    @property
    def by(self):
        """For who reads it later; it proves nothing."""
        if self.settings.get("by"):
            return self.settings["by"]
        try:
            return getpass.getuser()
        except (KeyError, OSError):
            return "somebody"

    def keys(self):
        """Whose documents we believe in: our own and the folder's."""
        raws = Keys.read(self.settings["signers"]).raws
        if self.settings.get("signing-key"):
            raws = [self.signer.public, *raws]
        return Keys(raws)

    @contextlib.contextmanager
    def session(self):
        connection = Connection(self.settings)
        session = Session(connection, self.topics, self.keys())
        for name, known in self.folder.devices.items():
            session.mirror.device(name).given = known.labels
        connection.open()
        try:
            yield session
        finally:
            connection.close()

    def selected(self, session):
        """The devices that the command line names: all, if it names none."""
        return select(self.arguments.selector, list(session.mirror.devices.values()))
