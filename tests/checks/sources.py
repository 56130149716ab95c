"""Shared by the checks: finds source files and reports problems."""

import pathlib
import sys

SUFFIXES = {".h", ".cpp", ".c"}


def source_files(root, folders, suffixes=SUFFIXES):
    """Every C and C++ file below the named folders of the tree, in a stable order."""
    for folder in folders:
        for path in sorted((pathlib.Path(root) / folder).rglob("*")):
            if path.suffix in suffixes:
                yield path


def finish(problems, checked):
    """Ends the program: with status 1 and one line for each problem, or with 0. No checked file is a problem, too."""
    if not checked:
        problems = ["nothing was found to check"]
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"{checked} checked, {len(problems)} wrong")
    sys.exit(1 if problems else 0)


def expect(name, problems, *fragments):
    """Self-test: exactly one problem for each fragment, in order, naming it."""
    matches = len(problems) == len(fragments) and all(f in p for f, p in zip(fragments, problems))
    if not matches:
        sys.exit(f"self-test '{name}': expected {fragments}, found {problems}")
