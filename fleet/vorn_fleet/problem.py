# SPDX-License-Identifier: MIT
"""What goes wrong, and with which exit status. The numbers are vornctl's."""

DONE, FAILED, MISUSED, NO_BROKER, NOT_THERE, INTERRUPTED = 0, 1, 2, 3, 5, 130


class Problem(Exception):
    """Told to people in its own words; nothing is half done."""

    status = FAILED


class Misused(Problem):
    """An argument, a file of the folder, a template or a key."""

    status = MISUSED


class NoBroker(Problem):
    """Not reached, lost, or not let in."""

    status = NO_BROKER


class NotThere(Problem):
    """No such device, label or rollout."""

    status = NOT_THERE
