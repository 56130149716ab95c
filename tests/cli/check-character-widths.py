#!/usr/bin/env python3
"""Checks that CharacterWidths.h is what make-character-widths prints: check-character-widths.py FOLDER.

If the Unicode version of this Python is another one, only the characters of both versions are compared.
"""

import pathlib
import re
import subprocess
import sys


def ranges(header):
    """For each character named in the header its array, and the Unicode version that the header names."""
    arrays = {}
    for name, body in re.findall(r"(k\w+)\[\] = \{(.*?)\};", header, re.S):
        for first, last in re.findall(r"\{0x(\w+), 0x(\w+)\}", body):
            arrays.update((code, name) for code in range(int(first, 16), int(last, 16) + 1))
    return arrays, re.search(r"Unicode (\S+);", header).group(1)


folder = pathlib.Path(sys.argv[1])
stored, stored_version = ranges((folder / "CharacterWidths.h").read_text())
printed, printed_version = ranges(
    subprocess.run([sys.executable, folder / "make-character-widths"], check=True, text=True,
                   stdout=subprocess.PIPE).stdout)
if not stored or not printed:
    sys.exit("no character found: has the form of the header changed?")
compared = range(0x110000) if stored_version == printed_version else range(0x80, 0x2000)
wrong = [hex(code) for code in compared if stored.get(code) != printed.get(code)]
if wrong:
    sys.exit(f"print CharacterWidths.h anew, it differs for {len(wrong)} characters: {' '.join(wrong[:20])}")
print(f"{len(stored)} characters as Unicode {printed_version} has them")
