"""Writes each program of a guide to a file: the code blocks whose first line is a comment with a file's name.

usage: extract-programs.py GUIDE.md FOLDER
"""

import pathlib
import re
import sys

guide, folder = sys.argv[1], pathlib.Path(sys.argv[2])
text = pathlib.Path(guide).read_text(encoding="utf-8")
programs = re.findall(r"^```c(?:pp)?\n/\* (\w+\.c(?:pp)?) \*/\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)
blocks = len(re.findall(r"^```c", text, re.MULTILINE))
if not programs or len(programs) != blocks:
    sys.exit(f"{guide}: {blocks} blocks of code, {len(programs)} of them named programs")
for name, program in programs:
    (folder / name).write_text(program, encoding="utf-8")
