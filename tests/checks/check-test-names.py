#!/usr/bin/env python3
"""Checks the names of applications that the proof kit must not meet on a machine that others use: each name that a
conformance test gives to a function that starts, installs or removes is in the list of MachineInUse.cpp.

usage: check-test-names.py ROOT | --self-test
"""

import pathlib
import re
import sys
import tempfile

from sources import expect, finish, source_files

LIST = "tests/support/windows/MachineInUse.cpp"
NAMES = re.compile(r"kNamesOfTests\[\] = \{(.*?)\};", re.S)
TEXT = r'"((?:[^"\\]|\\.)*)"'
CALLS = (
    re.compile(r"\bUninstallRecord \w+\(" + TEXT),
    re.compile(r"\bInstallRecord \w+\([^,;]*,\s*" + TEXT),
    re.compile(r'\b(?:StartApp|DeleteAppRegistryInfo)"?\)?\(' + TEXT),
)
# They name nothing, or a name that no application has.
HARMLESS = {"", "No such application here"}


def check(root):
    """@return the problems, and the number of names that tests give"""
    names = re.findall(TEXT, NAMES.search((root / LIST).read_text(encoding="utf-8"))[1])
    listed = {name.lower() for name in names}  # the list matches in any case
    problems, given = [], 0
    for path in source_files(root, ["tests/conformance"]):
        text = path.read_text(encoding="utf-8")
        for call in CALLS:
            for name in call.findall(text):
                given += 1
                if name.lower() not in listed and name not in HARMLESS:
                    problems.append(f"{path.relative_to(root)}: {name} is not in kNamesOfTests of {LIST}")
    return problems, given


def self_test():
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / LIST).parent.mkdir(parents=True)
        (root / "tests/conformance").mkdir()
        (root / LIST).write_text('kNamesOfTests[] = {u"App", u"A\\\\B"};', encoding="utf-8")
        test = root / "tests/conformance/Test.cpp"
        test.write_text('UninstallRecord record("App");\nUninstallRecord other("A\\\\B");', encoding="utf-8")
        expect("listed names", check(root)[0])
        for text in ('UninstallRecord record("New");', 'InstallRecord record(setup, "New", "/S");',
                     'StartApp("New", "")', 'Export<decltype(&::DeleteAppRegistryInfo)>("DeleteAppRegistryInfo")("New")'):
            test.write_text(text, encoding="utf-8")
            expect(text, check(root)[0], "New is not in kNamesOfTests")


if sys.argv[1] == "--self-test":
    self_test()
else:
    finish(*check(pathlib.Path(sys.argv[1])))
