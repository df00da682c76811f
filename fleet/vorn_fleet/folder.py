# SPDX-License-Identifier: MIT
"""An operator's folder: fleet.yaml says which broker and which keys, devices.yaml what the devices
are."""
import os
import pathlib
from dataclasses import dataclass, field

from .problem import Misused
from .templates import read_yaml
from .text import printable
from .topics import is_identifier

SETTINGS = ("tenant", "broker", "tls", "authorities", "certificate", "key", "user", "password-file",
            "signing-key", "signers", "by")
_PATHS = ("authorities", "certificate", "key", "password-file", "signing-key")


@dataclass
class Known:
    """What the folder says of a device."""

    labels: dict = field(default_factory=dict)
    variables: dict = field(default_factory=dict)


class Folder:
    """A folder that lacks one of the two files is one that says nothing there."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        if not self.path.is_dir():
            raise Misused(f"there is no folder {printable(str(path))}")
        self.settings = self._settings(self._read("fleet.yaml"))
        self.devices = self._devices(self._read("devices.yaml"))

    def _read(self, name):
        path = self.path / name
        try:
            text = path.read_text("utf-8")
        except FileNotFoundError:
            return {}
        except (OSError, UnicodeDecodeError) as error:
            raise Misused(
                f"{path}: {getattr(error, 'strerror', None) or 'this is no UTF-8'}") from None
        thing = read_yaml(text, str(path))
        return self._mapping(thing or {}, name)

    def _mapping(self, thing, name):
        if not isinstance(thing, dict):
            raise Misused(f"{self.path / name}: has to have members")
        return thing

    def _settings(self, found):
        for name, value in found.items():
            if name not in SETTINGS:
                raise Misused(
                    f"{self.path / 'fleet.yaml'}: there is no setting \"{printable(name)}\"")
            if name != "signers" and not isinstance(value, str):
                raise Misused(f"{self.path / 'fleet.yaml'}: {name}: has to be a text")
        settings = dict(found)
        for name in _PATHS:
            if settings.get(name):
                settings[name] = str(self.path / os.path.expanduser(settings[name]))
        signers = settings.get("signers", [])
        settings["signers"] = signers.split() if isinstance(signers, str) else signers
        if not all(isinstance(each, str) for each in settings["signers"]):
            raise Misused(f"{self.path / 'fleet.yaml'}: signers: has to be a list of keys")
        return settings

    def _devices(self, found):
        name = "devices.yaml"
        for each in found:
            if each not in ("defaults", "devices"):
                raise Misused(f"{self.path / name}: there is no member \"{printable(each)}\"")
        defaults = self._known(found.get("defaults") or {}, "defaults")
        devices = {}
        for device, thing in self._mapping(found.get("devices") or {}, name).items():
            if not is_identifier(device):
                raise Misused(
                    f"{self.path / name}: \"{printable(device)}\" can't be a device's name")
            known = self._known(thing or {}, device)
            devices[device] = Known({**defaults.labels, **known.labels},
                                    {**defaults.variables, **known.variables})
        return devices

    def _known(self, thing, place):
        name = self.path / "devices.yaml"
        for each in self._mapping(thing, "devices.yaml"):
            if each not in ("labels", "variables"):
                raise Misused(f"{name}: {place}: there is no member \"{printable(each)}\"")
        known = Known(thing.get("labels") or {}, thing.get("variables") or {})
        if not isinstance(known.labels, dict) or not all(isinstance(each, str)
                                                         for each in known.labels.values()):
            raise Misused(f"{name}: {place}: labels have to be texts")
        if not isinstance(known.variables, dict):
            raise Misused(f"{name}: {place}: variables have to have names")
        for each in known.variables:
            if not each.isidentifier() or each in ("device", "labels") or each.startswith("_"):
                raise Misused(f"{name}: {place}: no variable can be called \"{printable(each)}\"")
        return known
