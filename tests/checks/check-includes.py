#!/usr/bin/env python3
"""Checks the includes of each room: dependencies point one way. Checks also that only the edge tests for the
platform, and that no folder has too many source files.

usage: check-includes.py ROOT | --self-test
"""

import collections
import pathlib
import re
import sys
import tempfile

from sources import expect, finish, source_files

FOLDERS = ["include", "src", "guard", "platform", "tools", "tests", "bench", "fuzz", "samples", "proof"]
PUBLIC_HEADER = "KestrelbayGeneralSDK.h"
# For each room, the rooms that it may include besides itself.
SRC_ROOMS = {
    "base": set(),
    "icons": {"base"},
    "facts": {"base"},
    "protection": {"base"},
    "inventory": {"base", "icons"},
    "lifecycle": {"base", "inventory", "facts"},
    "exports": {"base", "icons", "facts", "protection", "inventory", "lifecycle"},
}
SIMULATED_ROOMS = {
    "base": set(),
    "registry": {"base"},
    "pictures": {"base"},
    "regfile": {"base", "registry"},
    "machine": {"base", "registry", "regfile", "pictures"},
    "volume": {"base", "registry", "regfile", "machine"},
    "directory": {"base", "registry", "regfile", "machine", "volume"},
    "port": {"base", "registry", "pictures", "machine"},
}
TOOL_ROOMS = {
    "console": set(),
    "views": {"console"},
    "explain": {"console", "views"},
    "commands": {"console", "views", "explain", "capture"},
}
# Single files that need more than their room: the folder or header that each may include, and why.
EXCEPTIONS = {
    # Each port operation acts on the current machine, which the first call opens.
    "platform/simulated/port/": {"simulated/directory/CurrentMachine.h"},
    # An explanation consists of a scan's own decisions, which the C interface does not report.
    "tools/kestrelbay/explain/": {"base/", "inventory/"},
    # The simulated host opens the machine that the command line names.
    "tools/kestrelbay/console/SystemSimulated.cpp": {"simulated/directory/", "simulated/base/WideText.h"},
    # Starting a program on Windows needs COM, which a host of another language may not be able to initialise.
    "guard/ApartmentWindows.cpp": {"objbase.h"},
    # Base64 is an operation of the port.
    "tools/kestrelbay/console/Base64.cpp": {"platform/Constants.h", "platform/Protection.h"},
    # The C interface draws the icons of executables only, and the report shows those of .ico files too.
    "tools/kestrelbay/commands/ReportCommand.cpp": {"icons/IconPicture.h"},
    # The library reports a missing and an invalid setting alike, so the command line looks which one it is.
    "tools/kestrelbay/console/Setting.cpp": {"platform/Constants.h", "platform/Registry.h"},
    # A capture reads the machine through the port and writes the simulated machine's own form. It reads the keys
    # that a scan reads, so it takes their paths and rules from the scan.
    "tools/capture/": {
        "platform/",
        "base/LoadTimeObjects.h",
        "base/RegistryKey.h",
        "inventory/UninstallKeyScanner.h",
        "simulated/base/UpperCase.h",
        "simulated/directory/CaptureFormat.h",
        "simulated/regfile/RegFileWriter.h",
    },
    # ... and lists values, which the port does not offer, as a port operation would.
    "tools/capture/MachineCallsSimulated.cpp": {
        "simulated/directory/CurrentMachine.h",
        "simulated/port/Call.h",
        "simulated/port/LockedKey.h",
    },
    "platform/windows/Log.cpp": {"log/log.h"},
    "platform/log/": {"log/log.h"},
}
MOST_SOURCE_FILES = 45
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
CONDITION = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b(.*)")
PLATFORM_MACRO = re.compile(r"\b(_WIN32|_WIN64|WIN32|__linux__|__linux|__unix__|__MINGW\w*|_MSC_VER|__CYGWIN__)\b")


def is_standard(name):
    """Headers of the C++ and C standard libraries as C++ names them: no folder and no ending."""
    return re.fullmatch(r"[a-z_0-9]+", name) is not None


def is_excepted(path, name):
    return any(
        path.startswith(place) and any(name.startswith(allowed) for allowed in headers)
        for place, headers in EXCEPTIONS.items()
    )


def room_problem(rooms, room, name):
    """Why a file of `room` may not include `name`, which is ROOM/FILE; None if it may."""
    target = name.partition("/")[0]
    if room not in rooms:
        return f"{room}/ is not a room that this check knows"
    if target == room or target in rooms[room]:
        return None
    return f"{room}/ must not include {target}/"


def problem_in_src(path, kind, name):
    if is_standard(name) and kind == "<":
        return None
    folder, _, rest = name.partition("/")
    if rest and folder == "platform" or name == PUBLIC_HEADER:
        return None
    if not rest or folder not in SRC_ROOMS:
        return "src/ may include its own, platform/ and the standard library"
    return room_problem(SRC_ROOMS, path.parts[1], name)


def problem_in_port(path, kind, name):
    if name.startswith("platform/") or is_standard(name):
        return None
    return "the port's headers may include one another and the standard library"


def problem_in_simulated(path, kind, name):
    if name.startswith("simulated/"):
        return room_problem(SIMULATED_ROOMS, path.parts[2], name.removeprefix("simulated/"))
    return None if kind == "<" or name.startswith("platform/") else "platform/simulated/ includes only platform/"


def problem_in_platform(path, kind, name):
    own = kind == "<" or name.startswith("platform/") or "/" not in name
    return None if own else "platform/ includes only itself and the operating system"


def problem_in_kestrelbay(path, kind, name):
    if kind == "<" or name == PUBLIC_HEADER:
        return None
    if len(path.parts) == 3:  # Main.cpp
        rooms, room = {"main": set(TOOL_ROOMS)}, "main"
    else:
        rooms, room = TOOL_ROOMS, path.parts[2]
    return room_problem(rooms, room, name)


def problem_in_capture(path, kind, name):
    own = kind == "<" or "/" not in name
    return None if own else "tools/capture/ includes itself, the port and the form of a machine directory"


def problem_in_public(path, kind, name):
    # The headers of the layers over the interface include it.
    if path.name != PUBLIC_HEADER and name == PUBLIC_HEADER:
        return None
    if path.suffix == ".hpp" and kind == "<" and is_standard(name):
        return None
    return None if name in {"stdbool.h", "stdint.h"} else "the public header may include stdbool.h and stdint.h"


def problem_in_guard(path, kind, name):
    own = kind == '"' and "/" not in name
    return None if own or is_standard(name) else "guard/ includes itself, the public headers and the standard library"


RULES = [
    ("include/", problem_in_public),
    ("src/", problem_in_src),
    ("guard/", problem_in_guard),
    ("platform/include/", problem_in_port),
    ("platform/simulated/", problem_in_simulated),
    ("platform/", problem_in_platform),
    ("tools/kestrelbay/", problem_in_kestrelbay),
    ("tools/capture/", problem_in_capture),
]


def problems_of_file(root, path):
    relative = path.relative_to(root)
    text_path = relative.as_posix()
    rule = next((rule for prefix, rule in RULES if text_path.startswith(prefix)), None)
    may_ask = text_path.startswith(("platform/", "tests/support/"))
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        where = f"{text_path}:{number}"
        include = INCLUDE.match(line)
        excepted = include and is_excepted(text_path, include.group(2))
        problem = include and rule and not excepted and rule(relative, *include.groups())
        if problem:
            yield f"{where}: {include.group(2)}: {problem}"
        condition = CONDITION.match(line)
        if condition and not may_ask and PLATFORM_MACRO.search(condition.group(1)):
            yield f"{where}: asks for the platform; that belongs into platform/ or tests/support/"


def crowded_folders(files, root):
    """One line for each folder with too many source files."""
    counts = collections.Counter(path.parent for path in files)
    for folder, count in sorted(counts.items()):
        if count > MOST_SOURCE_FILES:
            yield f"{folder.relative_to(root)}: {count} source files; split it, {MOST_SOURCE_FILES} at most"


def check(root):
    files = list(source_files(root, FOLDERS))
    problems = [problem for path in files for problem in problems_of_file(root, path)]
    return problems + list(crowded_folders(files, root)), len(files)


def self_test():
    fixtures = [
        ("windows header", "src/base/A.cpp", "#include <windows.h>", ["windows.h"]),
        ("third-party header", "src/base/A.cpp", "#include <nlohmann/json.hpp>", ["nlohmann"]),
        ("bare own header", "src/base/A.cpp", '#include "A.h"', ["A.h"]),
        ("what src may", "src/inventory/A.cpp", '#include <map>\n#include "base/B.h"\n#include "platform/C.h"', []),
        ("base looks up", "src/base/A.cpp", '#include "inventory/B.h"', ["base/ must not include inventory/"]),
        ("guard may", "guard/A.cpp", '#include <new>\n#include "KestrelbayGuard.h"\n#include "Apartment.h"', []),
        ("guard looks inside", "guard/A.cpp", '#include "base/B.h"', ["guard/ includes itself"]),
        ("guard calls Windows", "guard/A.cpp", "#include <windows.h>", ["guard/ includes itself"]),
        ("exports may", "src/exports/A.cpp", '#include "inventory/B.h"\n#include "lifecycle/C.h"', []),
        ("nobody includes exports", "src/lifecycle/A.cpp", '#include "exports/B.h"', ["must not include exports/"]),
        ("inventory looks up", "src/inventory/A.cpp", '#include "lifecycle/B.h"', ["inventory/ must not"]),
        ("facts look aside", "src/facts/A.h", '#include "inventory/B.h"', ["facts/ must not"]),
        ("lifecycle may", "src/lifecycle/A.cpp", '#include "inventory/B.h"\n#include "facts/C.h"', []),
        ("unknown room", "src/new/A.cpp", '#include "base/B.h"', ["not a room"]),
        ("port stays narrow", "platform/include/platform/A.h", "#include <windows.h>", ["windows.h"]),
        ("binding looks up", "platform/simulated/base/A.cpp", '#include "base/B.h"', ["base/B.h"]),
        ("forwarder looks up", "platform/windows/A.cpp", '#include "base/B.h"', ["base/B.h"]),
        ("registry looks up", "platform/simulated/registry/A.h", '#include "simulated/machine/B.h"', ["registry/ must"]),
        ("port may", "platform/simulated/port/A.cpp", '#include "simulated/registry/B.h"', []),
        ("port acts on the machine", "platform/simulated/port/A.h", '#include "simulated/directory/CurrentMachine.h"', []),
        ("port reads no directory", "platform/simulated/port/A.h", '#include "simulated/directory/JsonFile.h"', ["port/"]),
        ("machine reads no volume", "platform/simulated/machine/A.h", '#include "simulated/volume/B.h"', ["machine/"]),
        ("tool looks inside", "tools/kestrelbay/Main.cpp", '#include "inventory/B.h"', ["inventory/B.h"]),
        ("tool opens a machine", "tools/kestrelbay/commands/A.cpp", '#include "simulated/directory/B.h"', ["simulated"]),
        ("tool explains", "tools/kestrelbay/explain/A.h", '#include "inventory/ScanEvents.h"', []),
        ("list explains", "tools/kestrelbay/commands/A.cpp", '#include "inventory/ScanEvents.h"', ["inventory/"]),
        ("views print", "tools/kestrelbay/views/A.cpp", '#include "console/Output.h"', []),
        ("console has no views", "tools/kestrelbay/console/A.cpp", '#include "views/Table.h"', ["console/ must not"]),
        ("host opens a machine", "tools/kestrelbay/console/SystemSimulated.cpp", '#include "simulated/directory/B.h"', []),
        ("host looks further", "tools/kestrelbay/console/SystemSimulated.cpp", '#include "simulated/registry/Key.h"', ["Key.h"]),
        ("capture uses the port", "tools/capture/A.cpp", '#include "platform/Registry.h"', []),
        ("capture reads what a scan reads", "tools/capture/A.cpp", '#include "base/LoadTimeObjects.h"', []),
        ("capture scans nothing", "tools/capture/A.cpp", '#include "inventory/InventoryScan.h"', ["InventoryScan.h"]),
        ("console encodes by the port", "tools/kestrelbay/console/Base64.cpp", '#include "platform/Protection.h"', []),
        ("console has no port", "tools/kestrelbay/console/A.cpp", '#include "platform/Protection.h"', ["platform/"]),
        ("capture writes the form", "tools/capture/A.cpp", '#include "simulated/regfile/RegFileWriter.h"', []),
        ("capture looks further", "tools/capture/A.cpp", '#include "simulated/machine/Machine.h"', ["Machine.h"]),
        ("public header", "include/KestrelbayGeneralSDK.h", "#include <stddef.h>", ["stddef.h"]),
        ("condition in src", "src/base/A.cpp", "#ifdef _WIN32", ["asks for the platform"]),
        ("condition in a test", "tests/unit/A.cpp", "#if defined(__linux__)", ["asks for the platform"]),
        ("condition at the edge", "tests/support/A.cpp", "#ifdef _WIN32", []),
    ]
    for name, file, text, fragments in fixtures:
        with tempfile.TemporaryDirectory() as root:
            path = pathlib.Path(root) / file
            path.parent.mkdir(parents=True)
            path.write_text(text + "\n", encoding="utf-8")
            expect(name, check(pathlib.Path(root))[0], *fragments)
    with tempfile.TemporaryDirectory() as root:
        folder = pathlib.Path(root) / "tests" / "unit"
        folder.mkdir(parents=True)
        for number in range(MOST_SOURCE_FILES + 1):
            (folder / f"A{number}.cpp").touch()
        expect("a crowded folder", check(pathlib.Path(root))[0], "tests/unit: 46 source files")
    finish([], len(fixtures) + 1)


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    finish(*check(pathlib.Path(sys.argv[1])))
