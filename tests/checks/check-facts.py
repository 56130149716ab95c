#!/usr/bin/env python3
"""Checks the ledger of facts about Windows: each operation of the port has a row in the table of its header,
each row has a class of evidence and a source, and each contract test that a row names exists.

usage: check-facts.py ROOT | --self-test
"""

import pathlib
import re
import sys
import tempfile

from sources import expect, finish, source_files

LEDGER = "docs/windows-facts.md"
PORT = "platform/include/platform"
CLASSES = {"W", "D", "R", "B"}
CONSEQUENCE = "If false:"
COLUMNS = 5
COMMENT = re.compile(r"/\*.*?\*/|//[^\n]*", re.S)
DIRECTIVE = re.compile(r"^\s*#(?:[^\n]*\\\n)*[^\n]*", re.M)
# A declaration begins its line. An inline function is not an operation of Windows.
OPERATION = re.compile(
    r"^(?!inline|constexpr|static_assert|using)[A-Za-z_][\w:]*(?:[ *&]+[\w:]+)*[ *&]+(\w+)\([^;{]*\);", re.M
)
TEST = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)")
NAMED_TEST = re.compile(r"`(\w+\.\w+)`")


def operations(root):
    """For each header of the port, the operations that it declares."""
    found = {}
    for path in sorted((root / PORT).glob("*.h")):
        code = DIRECTIVE.sub("", COMMENT.sub("", path.read_text(encoding="utf-8")))
        names = OPERATION.findall(code)
        if names:
            found[path.name] = names
    return found


def tests(root):
    return {
        ".".join(match)
        for path in source_files(root, ["tests"])
        for match in TEST.findall(path.read_text(encoding="utf-8"))
    }


def rows(text):
    """Each row of a table below a header's heading: line number, header, cells."""
    header = None
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("## "):
            header = line[3:].strip() if line.endswith(".h") else None
        elif header and line.startswith("| `"):
            yield number, header, [cell.strip() for cell in line.strip().strip("|").split(" | ")]


def problems_of_row(declared, existing, header, cells):
    if len(cells) != COLUMNS:
        yield f"{len(cells)} columns, {COLUMNS} expected"
        return
    operation, _, evidence, source, named = cells
    if operation.strip("`") not in declared.get(header, []):
        yield f"{operation} is not an operation of {header}"
    if evidence not in CLASSES:
        yield f"class {evidence or 'missing'}: W, D, R or B"
    if not source:
        yield "no source"
    if (evidence == "B") != source.startswith(CONSEQUENCE):
        yield f'a row of class B, and no other, begins its source with "{CONSEQUENCE}"'
    names = NAMED_TEST.findall(named)
    if not names:
        yield "names no contract test"
    for name in names:
        if name not in existing:
            yield f"there is no test {name}"


def check(root):
    declared = operations(root)
    existing = tests(root)
    problems = []
    described = set()
    for number, header, cells in rows((root / LEDGER).read_text(encoding="utf-8")):
        described.add((header, cells[0].strip("`")))
        found = problems_of_row(declared, existing, header, cells)
        problems += [f"{LEDGER}:{number}: {text}" for text in found]
    for header, names in declared.items():
        missing = [name for name in names if (header, name) not in described]
        problems += [f"{LEDGER}: {header}: {name} has no row" for name in missing]
    return problems, sum(map(len, declared.values()))


def self_test():
    header = "int Open(const char* name,\n         int room);\n/** int Old(); */\ninline int Own() { return 0; }\n"
    good = "| `Open` | Opens. | W | a.c test_open | `Keys.Opens` |"
    fixtures = [
        ("a good row", good, []),
        ("no row", "", ["Open has no row"]),
        ("another header's row", "## B.h\n\n" + good, ["`Open` is not an operation of B.h", "Open has no row"]),
        ("unknown operation", good + "\n" + good.replace("`Open`", "`Old`"), ["`Old` is not an operation"]),
        ("nothing yet", good.replace("| W |", "| N |"), ["class N"]),
        ("no class", good.replace("| W |", "|  |"), ["class missing"]),
        ("no source", good.replace("a.c test_open", ""), ["no source"]),
        ("no consequence", good.replace("| W |", "| B |"), ["If false:"]),
        ("a consequence", good.replace("| W | a.c test_open", "| B | If false: none."), []),
        ("too much", good.replace("a.c test_open", "If false: none."), ["If false:"]),
        ("no test", good.replace("`Keys.Opens`", "none"), ["names no contract test"]),
        ("unknown test", good.replace("`Keys.Opens`", "`Keys.Opens`, `Keys.Shuts`"), ["no test Keys.Shuts"]),
        ("a column too few", good.replace(" | a.c test_open", ""), ["4 columns"]),
    ]
    for name, table, fragments in fixtures:
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for file, text in [
                (f"{PORT}/A.h", header),
                ("tests/contract/KeysTest.cpp", "TEST_F(Keys, Opens) {}\n"),
                (LEDGER, "# Facts\n\n## A.h\n\n" + table + "\n"),
            ]:
                path = root / file
                path.parent.mkdir(parents=True)
                path.write_text(text, encoding="utf-8")
            expect(name, check(root)[0], *fragments)
    finish([], len(fixtures))


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    finish(*check(pathlib.Path(sys.argv[1])))
