#!/usr/bin/env python3
"""Checks that the three places that list the exports agree: the header, the .def file and the binary.

Checks also that a DLL imports from log.dll, and otherwise only from the DLLs of Windows.

usage: check-exports.py [--guard] HEADER DEF LIBRARY SYMBOL-TOOL | --self-test
--guard checks KestrelbayGuard, which imports KestrelbayGeneral.dll and has no fixed number of exports.
The symbol tool is nm for a shared object and objdump for a DLL.
"""

import pathlib
import re
import subprocess
import sys

from sources import expect, finish

# Hosts are built against this number. An export that is missing from all three places must be noticed, too.
EXPORT_COUNT = 25
ALLOWED_DLLS = {
    "advapi32.dll", "comctl32.dll", "crypt32.dll", "dxgi.dll", "gdi32.dll", "gdiplus.dll", "kernel32.dll",
    "log.dll", "msvcrt.dll", "ole32.dll", "shell32.dll", "user32.dll",
}
# Imported at load, so that a machine without log.dll fails at once and not at the first record.
REQUIRED_DLLS = {"log.dll"}


def names_in_header(text):
    without_comments = re.sub(r"/\*.*?\*/|//[^\n]*|^\s*#[^\n]*", "", text, flags=re.DOTALL | re.MULTILINE)
    return set(re.findall(r"KESTRELBAY_(?:GUARD_)?API\s+[\w\s*]+?\b(\w+)\s*\(", without_comments))


def names_in_definition(text):
    return set(re.findall(r"^\s+(\w+)\s*$", text.partition("EXPORTS")[2], re.MULTILINE))


def names_in_shared_object(text):
    """From `nm -D --defined-only`: address, kind, name; version nodes (A) are not symbols."""
    lines = (line.split() for line in text.splitlines())
    return {fields[2].partition("@")[0] for fields in lines if len(fields) == 3 and fields[1] != "A"}


def names_in_dll(text):
    """From `objdump -p`: the rows of the name table, "[ordinal] name" or "[ordinal] +base[...] rva name"."""
    table = text.partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    return set(re.findall(r"^\s*\[\s*\d+\].*?(\S+)\s*$", table, re.MULTILINE))


def imports_of_dll(text):
    return {name.lower() for name in re.findall(r"DLL Name: (\S+)", text)}


def compare(place, names, other_place, other_names):
    for name in sorted(names - other_names):
        yield f"{name}: in {place}, but not in {other_place}"
    for name in sorted(other_names - names):
        yield f"{name}: in {other_place}, but not in {place}"


def check_texts(header, definition, binary, is_dll, export_count=2, required=frozenset(REQUIRED_DLLS)):
    exports = names_in_header(header)
    problems = list(compare("the header", exports, "the .def file", names_in_definition(definition)))
    in_binary = names_in_dll(binary) if is_dll else names_in_shared_object(binary)
    problems += compare("the header", exports, "the library", in_binary)
    if export_count and len(exports) != export_count:
        problems.append(f"{len(exports)} exports in the header, and there must be {export_count}")
    if is_dll:
        imports = imports_of_dll(binary)
        foreign = sorted(imports - ALLOWED_DLLS - required)
        problems += [f"{name}: the library needs it, and a machine may not have it" for name in foreign]
        problems += [f"{name}: the library does not import it" for name in sorted(required - imports)]
    return problems, len(exports)


def check(header, definition, library, tool, is_guard=False):
    is_dll = library.endswith(".dll")
    options = ["-p"] if is_dll else ["-D", "--defined-only"]
    binary = subprocess.run([tool, *options, library], check=True, capture_output=True, text=True).stdout
    read = lambda name: pathlib.Path(name).read_text(encoding="utf-8")
    texts = (read(header), read(definition), binary, is_dll)
    return check_texts(*texts, None, {"kestrelbaygeneral.dll"}) if is_guard else check_texts(*texts, EXPORT_COUNT)


def self_test():
    header = (
        "#define KESTRELBAY_API\n/* KESTRELBAY_API void Old(void); */\n"
        "KESTRELBAY_API void One(int a);\nKESTRELBAY_API const char* Two(\n    void);\n"
    )
    definition = "LIBRARY L\nEXPORTS\n  One\n  Two\n"
    shared = "0000000000001000 T One\n0000000000001010 T Two\n0000000000000000 A BASE\n"
    dll = (
        "\tDLL Name: KERNEL32.dll\n\tDLL Name: log.dll\n"
        "[Ordinal/Name Pointer] Table\n\t[   0] One\n\t[   1] Two\n\nother\n\t[   2] Three\n"
    )
    fixtures = [
        ("agreement", (header, definition, shared, False), []),
        ("agreement of a DLL", (header, definition, dll, True), []),
        ("one too few", ("KESTRELBAY_API void One(int a);", "EXPORTS\n  One\n", shared[:27], False),
         ["1 exports in the header, and there must be 2"]),
        ("missing in .def", (header, "EXPORTS\n  One\n", shared, False), ["Two: in the header, but not in the .def"]),
        ("extra in .def", (header, definition + "  Three\n", shared, False), ["Three: in the .def file"]),
        ("extra symbol", (header, definition, shared + "00 W _ZdlPv\n", False), ["_ZdlPv: in the library"]),
        ("missing symbol", (header, definition, shared[:27], False), ["Two: in the header, but not in the library"]),
        ("extra in the DLL", (header, definition, dll.replace("Two\n", "Two\n\t[   2] Three\n"), True), ["Three: in the lib"]),
        ("foreign DLL", (header, definition, "\tDLL Name: libstdc++-6.dll\n" + dll, True), ["libstdc++-6.dll: the library needs"]),
        ("no log.dll", (header, definition, dll.replace("\tDLL Name: log.dll\n", ""), True), ["log.dll: the library does"]),
    ]
    guard = ("KESTRELBAY_GUARD_API int One(void);", "EXPORTS\n  One\n", dll.replace("\t[   1] Two\n", ""), True, None)
    fixtures += [
        ("guard", (*guard, {"log.dll"}), []),
        ("guard alone", (*guard, {"kestrelbaygeneral.dll"}), ["kestrelbaygeneral.dll: the library does"]),
    ]
    for name, texts, fragments in fixtures:
        expect(name, check_texts(*texts)[0], *fragments)
    finish([], len(fixtures))


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    is_guard = sys.argv[1] == "--guard"
    finish(*check(*sys.argv[1 + is_guard :], is_guard=is_guard))
