#!/usr/bin/env python3
"""Checks the list of the sample machine against a list written by hand.

usage: check-desk.py [--without FIELD] EXPECTED.json COMMAND...

The command prints the list as JSON. Applications whose names differ only in the case of ASCII letters may be in
any order among themselves. --without omits a field that the machine cannot store from the comparison.
"""

import argparse
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
    """The entries in list order, sorted by all fields among equal names."""
    groups = itertools.groupby(entries, key=sort_key)
    return [entry for _, group in groups for entry in sorted(group, key=json.dumps)]


def differences(listed, expected):
    for entry in listed:
        if list(entry) != FIELDS:
            yield f"{entry}: its fields are not those of the record, in the record's order"
    for position, (ours, theirs) in enumerate(itertools.zip_longest(in_fixed_order(listed), in_fixed_order(expected))):
        if ours != theirs:
            ours, theirs = (json.dumps(entry, ensure_ascii=False) for entry in (ours, theirs))
            yield f"at {position}: listed {ours}\n  expected {theirs}"


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--without", metavar="FIELD", choices=FIELDS)
    parser.add_argument("expected", type=pathlib.Path)
    parser.add_argument("command", nargs=argparse.REMAINDER)
    return parser.parse_args()


if __name__ == "__main__":
    wanted = arguments()
    output = subprocess.run(wanted.command, check=True, stdout=subprocess.PIPE).stdout
    lists = [json.loads(output), json.loads(wanted.expected.read_text(encoding="utf-8"))]
    for entry in itertools.chain(*lists):
        if wanted.without in entry:
            entry[wanted.without] = "left out"
    finish(list(differences(*lists)), len(lists[1]))
