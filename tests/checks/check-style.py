#!/usr/bin/env python3
"""Checks the form of the sources: no function over 60 lines, no file over 400, no catch in src/, and the format of
clang-format.

usage: check-style.py ROOT | --self-test
"""

import pathlib
import re
import subprocess
import sys
import tempfile

from sources import SUFFIXES, expect, finish, source_files

LONGEST_FUNCTION = 60
LONGEST_FILE = 400
FOLDERS = ["include", "src", "guard", "platform", "tools", "tests", "bench", "fuzz", "samples", "proof"]
NOT_CODE = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])+\'', re.DOTALL
)
SCOPE = re.compile(r"\b(?:namespace|class|struct|union|enum)\b[^()]*$|\bextern\s*$")


def without_comments_and_texts(code):
    """The code with comments and literals blanked, line for line."""
    return NOT_CODE.sub(lambda match: "\n" * match.group().count("\n"), code)


def functions(code):
    """(line, lines) of each outermost function: a rough count of braces, made after comments are gone."""
    scopes = []  # for each open brace, where its function began, or None
    head_start = 0
    for match in re.finditer(r"[{};]|^[ \t]*#(?:\\\n|[^\n])*", code, re.MULTILINE):
        token = match.group()
        if token == "{":
            head = code[head_start : match.start()]
            inside = any(start is not None for start in scopes)
            is_function = not inside and "(" in head and not SCOPE.search(head.strip())
            start = head_start + len(head) - len(head.lstrip())
            scopes.append(start if is_function else None)
        elif token == "}" and scopes:
            start = scopes.pop()
            if start is not None:
                first = code.count("\n", 0, start) + 1
                yield first, code.count("\n", 0, match.end()) + 2 - first
        head_start = match.end()


def long_functions(root, files):
    for path in files:
        for line, lines in functions(without_comments_and_texts(path.read_text(encoding="utf-8"))):
            if lines > LONGEST_FUNCTION:
                yield f"{path.relative_to(root)}:{line}: {lines} lines in one function, {LONGEST_FUNCTION} at most"


def long_files(root, files):
    for path in files:
        lines = path.read_text(encoding="utf-8").count("\n")
        if lines > LONGEST_FILE:
            yield f"{path.relative_to(root)}: {lines} lines in one file, {LONGEST_FILE} at most"


def caught(root):
    """By design the library catches no exception: it crosses into the host, or ends the process on a worker."""
    for path in source_files(root, ["src"]):
        code = without_comments_and_texts(path.read_text(encoding="utf-8"))
        for match in re.finditer(r"\bcatch\b", code):
            line = code.count("\n", 0, match.start()) + 1
            yield f"{path.relative_to(root)}:{line}: src/ catches nothing"


def unformatted(files):
    """One line for each file that clang-format would change."""
    if not files:
        return []
    command = ["clang-format", "--dry-run", "--Werror", "--ferror-limit=1", *map(str, files)]
    output = subprocess.run(command, capture_output=True, text=True, check=False).stderr
    return [line for line in output.splitlines() if ": error:" in line]


def check(root):
    files = list(source_files(root, FOLDERS, SUFFIXES | {".hpp"}))
    problems = [*long_functions(root, files), *long_files(root, files), *caught(root), *unformatted(files)]
    return problems, len(files)


def self_test():
    body = "  Step();\n"
    signature = "void Work(int a,\n          int b) "
    texts = [
        ("60 lines pass", "void Work() {\n" + body * 58 + "}\n", []),
        ("61 lines fail", "void Work() {\n" + body * 59 + "}\n", ["A.cpp:1: 61 lines"]),
        ("a long head counts", signature + "{\n" + body * 58 + "}\n", ["A.cpp:1: 61 lines"]),
        ("inside a class", "class A {\n  void Work() {\n" + "  " + ("  " + body) * 59 + "  }\n};\n", ["A.cpp:2: 61"]),
        ("many short ones", "namespace a {\nvoid Work() {\n  Step();\n}\n" + "void Go() { Step(); }\n" * 70 + "}  // namespace a\n", []),
        ("braces in texts", 'void Work() {\n  Say("}");\n' + body * 58 + "}\n", ["A.cpp:1: 61 lines"]),
        ("after a directive", "#define A(x) x\nvoid Work() {\n" + body * 59 + "}\n", ["A.cpp:2: 61 lines"]),
        ("400 lines in a file pass", "int a;\n" * 400, []),
        ("401 lines in a file fail", "int a;\n" * 401, ["A.cpp: 401 lines in one file"]),
        ("catch", "void Work() {\n  try {\n    Step();\n  } catch (...) {  // why\n  }\n}\n", ["A.cpp:4: src/ catches"]),
        ("no catch", "// catch\nconst char* text = \"catch\";\nint catches = 0;\n", []),
        ("format", "void  Work( ) {}\n", ["A.cpp:1:5: error"]),
    ]
    for name, text, fragments in texts:
        with tempfile.TemporaryDirectory() as root:
            path = pathlib.Path(root) / "src" / "A.cpp"
            path.parent.mkdir()
            path.write_text(text, encoding="utf-8")
            (path.parent / ".clang-format").write_text("BasedOnStyle: Google\n", encoding="utf-8")
            folder = pathlib.Path(root)
            measured = [*long_functions(folder, [path]), *long_files(folder, [path]), *caught(folder)]
            problems = check(folder)[0] if name == "format" else measured
            expect(name, problems, *fragments)
    finish([], len(texts))


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    finish(*check(pathlib.Path(sys.argv[1])))
