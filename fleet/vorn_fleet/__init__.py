# SPDX-License-Identifier: MIT
"""The operators' end of a fleet: docs/fleet-protocol.md, seen from the other side."""
