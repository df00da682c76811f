# SPDX-License-Identifier: MIT
"""The first line of what is published: who signed the rest, and for what. The key stays where it
is."""
import base64
import binascii
import hashlib
from dataclasses import dataclass

from cryptography.exceptions import InvalidSignature, UnsupportedAlgorithm
from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric.ed25519 import Ed25519PrivateKey, Ed25519PublicKey

from .problem import Misused
from .text import printable

_LONGEST_LINE = 200


def _raw(public):
    return public.public_bytes(serialization.Encoding.Raw, serialization.PublicFormat.Raw)


def key_id(raw):
    return hashlib.sha256(raw).hexdigest()[:16]


class Signer:
    """Has the private half of a key."""

    def __init__(self, private):
        self._private = private
        self.public = _raw(private.public_key())
        self.id = key_id(self.public)

    @classmethod
    def read(cls, path):
        try:
            with open(path, "rb") as file:
                private = serialization.load_pem_private_key(file.read(), None)
        except OSError as error:
            raise Misused(f"{path}: {error.strerror}") from None
        except TypeError:
            raise Misused(f"{path}: the key is encrypted; openssl pkey writes it without") from None
        except (ValueError, UnsupportedAlgorithm):
            raise Misused(f"{path}: this is no private key in PEM") from None
        if not isinstance(private, Ed25519PrivateKey):
            raise Misused(f"{path}: this is no Ed25519 key")
        return cls(private)

    def sign(self, document, purpose):
        line = f"vorn-fleet 1 {purpose} {self.id}".encode()
        signature = base64.b64encode(self._private.sign(line + b"\n" + document))
        return line + b" " + signature + b"\n" + document


class Keys:
    """Public halves, by their ids."""

    def __init__(self, raws=()):
        self.raws = list(raws)
        self._keys = {key_id(raw): Ed25519PublicKey.from_public_bytes(raw) for raw in raws}

    @classmethod
    def read(cls, texts):
        raws = []
        for text in texts:
            try:
                raws.append(base64.b64decode(text, validate=True))
            except (binascii.Error, ValueError):
                raws.append(b"")
            if len(raws[-1]) != 32:
                raise Misused(f"\"{printable(text)}\" is no public key in base64")
        return cls(raws)

    def __contains__(self, identity):
        return identity in self._keys

    def verify(self, identity, signature, data):
        try:
            self._keys[identity].verify(signature, data)
        except InvalidSignature:
            return False
        return True


@dataclass(frozen=True)
class Opened:
    """What stood after a first line. `fault` is a word of the protocol, or empty."""

    document: bytes
    key: str
    fault: str


def open_signed(payload, purpose, keys):
    """The document is there whenever there is a line like a signed one, whatever its fault."""
    line, newline, document = payload.partition(b"\n")
    words = line[:_LONGEST_LINE + 1].split(b" ")
    if (not newline or len(line) > _LONGEST_LINE or len(words) != 5 or
            words[:3] != [b"vorn-fleet", b"1", purpose.encode()]):
        return Opened(b"", "", "unsigned")
    identity = words[3].decode("ascii", "replace")
    if identity not in keys:
        return Opened(document, identity, "unknown-key")
    try:
        signature = base64.b64decode(words[4], validate=True)
    except (binascii.Error, ValueError):
        return Opened(document, identity, "damaged")
    is_right = keys.verify(identity, signature, b" ".join(words[:4]) + b"\n" + document)
    return Opened(document, identity, "" if is_right else "damaged")
