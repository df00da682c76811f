#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""docs/fleet-protocol.md tells the words and bounds of agent/protocol: protocol_page_test.py ROOT"""
import hashlib
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
page = (root / "docs/fleet-protocol.md").read_text(encoding="utf-8")
plain = page.replace(",", "")
missing = []

words = re.search(r"words = \{(.*?)\};", (root / "agent/protocol/reason.cpp").read_text(), re.S)[1]
reasons = [each for each in re.findall(r'"([a-z-]*)"', words) if each]
missing += [each for each in reasons if f"`{each}`" not in page]
bounds = (root / "agent/protocol/bounds.h").read_text(encoding="utf-8")
numbers = re.findall(r"constexpr [\w:]+ (\w+) = ([\d *]+);", bounds)
for name, product in numbers:
    value = 1
    for factor in product.split("*"):
        value *= int(factor)
    missing += [] if re.search(rf"\b{value}\b", plain) else [f"{name} = {value}"]

example = re.search(r'"hash":"([0-9a-f]{64})"', page)[1]
text = re.search(r"^    (\+10:ntp-server.*)$", page, re.M)[1]
if hashlib.sha256(text.encode()).hexdigest() != example:
    missing.append("the hash of the example")
if len(reasons) < 20 or len(numbers) < 10:
    missing.append("the sources themselves")
for each in missing:
    print(f"docs/fleet-protocol.md lacks: {each}")
sys.exit(bool(missing))
