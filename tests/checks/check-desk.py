#!/usr/bin/env python3
"""Checks the list of the sample machine against the list worked out by hand.

usage: check-desk.py KESTRELBAY EXPECTED.json

Applications whose names differ in nothing but the case of ASCII letters stand together in no fixed order.
"""

import itertools
import json
import pathlib
import subprocess
import sys

from sources import finish

FIELDS = [
    "displayName", "installLocation", "displayVersion", "displayIcon", "iconText", "installDate",
    "lastWriteTime", "architecture",
]


def sort_key(entry):
    lowered = "".join(c.lower() if c.isascii() else c for c in entry["displayName"])
    return lowered.encode("utf-16-be", "surrogatepass")


def in_fixed_order(entries):
    """The entries in list order, those of equal names among themselves in an order of our own."""
    groups = itertools.groupby(entries, key=sort_key)
    return [entry for _, group in groups for entry in sorted(group, key=json.dumps)]


def differences(listed, expected):
    for entry in listed:
        if list(entry) != FIELDS:
            yield f"{entry}: its fields are not those of the record, in the record's order"
    for position, (ours, theirs) in enumerate(itertools.zip_longest(in_fixed_order(listed), in_fixed_order(expected))):
        if ours != theirs:
            yield f"at {position}: listed {json.dumps(ours, ensure_ascii=False)}\n  expected {json.dumps(theirs, ensure_ascii=False)}"


if __name__ == "__main__":
    output = subprocess.run([sys.argv[1], "--json", "list"], check=True, capture_output=True).stdout
    expected = json.loads(pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))
    finish(list(differences(json.loads(output), expected)), len(expected))
