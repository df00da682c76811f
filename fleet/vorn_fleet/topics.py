# SPDX-License-Identifier: MIT
"""Where things are at a broker. What is below ~fleet is the other ends' own: no device can have
that name."""
import re

from .problem import Misused
from .text import printable

_IDENTIFIER = re.compile(r"[A-Za-z0-9._-]{1,64}")
LEAVES = ("desired", "reported", "online", "event")


def is_identifier(text):
    return bool(_IDENTIFIER.fullmatch(text))


class Topics:
    """Those of one tenant."""

    def __init__(self, tenant):
        if not is_identifier(tenant):
            raise Misused(f"\"{printable(tenant)}\" can't be the name of a tenant")
        self.tenant = tenant
        self.top = f"v1/{tenant}/"
        self.rollouts = f"{self.top}~fleet/rollouts/"

    def of(self, device, leaf):
        return f"{self.top}{device}/{leaf}"

    def rollout(self, rollout, device=None):
        return self.rollouts + rollout + (f"/{device}" if device else "")

    def fence(self, client):
        return f"{self.top}~fleet/fence/{client}"

    def device_and_leaf(self, topic):
        """Of a device's topic; nothing of any other."""
        device, _, leaf = topic.removeprefix(self.top).partition("/")
        if topic.startswith(self.top) and is_identifier(device) and leaf in LEAVES:
            return device, leaf
        return None

    def rollout_and_device(self, topic):
        """Of a rollout's topic, the device being empty at its head; nothing of any other."""
        rollout, _, device = topic.removeprefix(self.rollouts).partition("/")
        if (topic.startswith(self.rollouts) and is_identifier(rollout) and
                (not device or is_identifier(device))):
            return rollout, device
        return None
