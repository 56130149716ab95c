#!/usr/bin/env python3
"""Turns a registry file of Wine ("WINE REGISTRY Version 2") into a registration file, version 5.00.

Usage: wine-registry-to-reg.py WINE-FILE[.xz] REG-FILE

Keys come under HKEY_LOCAL_MACHINE or HKEY_USERS\\<SID>, as the file's second line says. Times are kept as
";LastWriteTime=" comments, data byte for byte. Keys that are links to other keys are left out.
"""
import lzma
import re
import sys

ESCAPES = {"n": "\n", "r": "\r", "t": "\t", "a": "\a", "b": "\b", "e": "\x1b", "f": "\f", "v": "\v"}
ESCAPE = re.compile(r"\\(x[0-9a-fA-F]{1,4}|[0-7]{1,3}|.)", re.DOTALL)
TEXT_TYPES = {"": 1, "str(2):": 2, "str(7):": 7}


def unescape(text):
    def character(match):
        code = match[1]
        if code[0] == "x" and len(code) > 1:
            return chr(int(code[1:], 16))
        return chr(int(code, 8)) if code[0] in "01234567" else ESCAPES.get(code, code)

    return ESCAPE.sub(character, text)


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def hex_data(kind, data):
    return ("hex:" if kind == 3 else f"hex({kind:x}):") + ",".join(f"{byte:02x}" for byte in data)


def root_of(line):
    if line.endswith(r"\\Machine"):
        return "HKEY_LOCAL_MACHINE"
    user = re.search(r"User\\\\(.+)$", line)
    if not user:
        sys.exit(f"unknown root: {line}")
    return "HKEY_USERS\\" + user[1]


def value_line(line):
    name, data = re.match(r'(@|"(?:[^"\\]|\\.)*")=(.*)$', line, re.DOTALL).groups()
    name = name if name == "@" else quoted(unescape(name[1:-1]))
    text = re.match(r'(str\(\d+\):|)"(.*)"$', data, re.DOTALL)
    if not text:
        return f"{name}={data}"
    value = unescape(text[2])
    kind = TEXT_TYPES[text[1]]
    if kind == 1 and all(character >= " " for character in value):
        return f"{name}={quoted(value)}"
    return f"{name}=" + hex_data(kind, (value + "\0").encode("utf-16-le", "surrogatepass"))


def logical_lines(text):
    """Lines with their continuations: bytes that continue after a backslash, or a text with a line end."""
    pending = ""
    for line in text.split("\n"):
        pending += line.lstrip() if pending else line
        if pending.endswith(",\\"):
            pending = pending[:-1]
            continue
        yield pending
        pending = ""


def convert(text):
    root = None
    key = []
    for line in logical_lines(text):
        if line.startswith(";;"):
            root = root_of(line)
        elif line.startswith("["):
            yield from key
            name = unescape(line[1 : line.rindex("]")])
            key = ["", f"[{root}\\{name}]"]
        elif line.startswith("#time="):
            key.append(f";LastWriteTime={int(line[6:], 16)}")
        elif line.startswith("#link"):
            key = None
        elif line[:1] in ('"', "@") and key:
            key.append(value_line(line))
        key = key or []
    yield from key


def main():
    source, target = sys.argv[1:]
    with (lzma.open if source.endswith(".xz") else open)(source, "rt", encoding="utf-8", newline="") as file:
        text = file.read()
    if not text.startswith("WINE REGISTRY Version 2"):
        sys.exit(f"{source}: not a registry file of Wine")
    lines = ["Windows Registry Editor Version 5.00", *convert(text), ""]
    with open(target, "wb") as file:
        file.write("\ufeff".encode("utf-16-le") + "\r\n".join(lines).encode("utf-16-le", "surrogatepass"))


main()
