#!/usr/bin/env python3
"""Checks that dependencies run one way, by the includes; and that only the edge asks for the platform.

usage: check-includes.py ROOT | --self-test
"""

import pathlib
import re
import sys
import tempfile

from sources import expect, finish, source_files

FOLDERS = ["include", "src", "platform", "tools", "tests", "bench", "fuzz", "samples"]
ROOF = "src/frame/KestrelbayGeneralSDK.cpp"
PUBLIC_HEADER = "KestrelbayGeneralSDK.h"
# Which parts of src/ a part may look into, besides itself.
ALLOWED_PARTS = {
    "frame": set(),
    "inventory": {"frame"},
    "machine": {"frame"},
    "protection": {"frame"},
    "lifecycle": {"frame", "inventory", "machine"},
}
# A capture reads the machine through the port, and shares the form of machine directories with their reader.
CAPTURE_MAY = {"simulated/CaptureFormat.h", "simulated/Checksum.h", "simulated/RegFileWriter.h", "simulated/UpperCase.h"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
CONDITION = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b(.*)")
PLATFORM_MACRO = re.compile(r"\b(_WIN32|_WIN64|WIN32|__linux__|__linux|__unix__|__MINGW\w*|_MSC_VER|__CYGWIN__)\b")


def is_standard(name):
    """Headers of the C++ and C standard libraries as C++ names them: no folder and no ending."""
    return re.fullmatch(r"[a-z_0-9]+", name) is not None


def problem_in_src(path, kind, name):
    if is_standard(name) and kind == "<":
        return None
    folder, _, rest = name.partition("/")
    if folder == "platform" and rest:
        return None
    if name == PUBLIC_HEADER:
        return None
    part = path.parts[1]
    if not rest or folder not in ALLOWED_PARTS:
        return "src/ may include its own, platform/ and the standard library"
    if path.as_posix() == ROOF or folder == part or folder in ALLOWED_PARTS.get(part, set()):
        return None
    return f"{part}/ must not look into {folder}/"


def problem_in_port(path, kind, name):
    if name.startswith("platform/") or is_standard(name):
        return None
    return "the port's headers may include one another and the standard library"


def problem_in_tools(path, kind, name):
    if name in ("simulated/MachineDirectory.h", "simulated/WideText.h") and path.name == "HostSimulated.cpp":
        return None
    # An explanation is made of a scan's own decisions, of which the C interface tells nothing.
    if name == "inventory/Explanation.h" and path.as_posix().startswith("tools/kestrelbay/Explain"):
        return None
    folder = name.partition("/")[0]
    if path.parts[1] == "capture" and (
        folder == "platform"
        or name in CAPTURE_MAY
        or (name == "simulated/Machine.h" and path.name == "SurroundingsSimulated.cpp")
    ):
        return None
    if folder in ALLOWED_PARTS or folder in {"platform", "simulated"}:
        return "tools are clients of the C interface; HostSimulated.cpp alone opens a machine"
    return None


def problem_in_public(path, kind, name):
    return None if name in {"stdbool.h", "stdint.h"} else "the public header may include stdbool.h and stdint.h"


def problem_in_platform(path, kind, name):
    if name.partition("/")[0] in ALLOWED_PARTS or name == PUBLIC_HEADER:
        return "platform/ must not look into src/"
    return None


RULES = [
    ("include/", problem_in_public),
    ("src/", problem_in_src),
    ("platform/include/", problem_in_port),
    ("platform/", problem_in_platform),
    ("tools/", problem_in_tools),
]


def problems_of_file(root, path):
    relative = path.relative_to(root)
    text_path = relative.as_posix()
    rule = next((rule for prefix, rule in RULES if text_path.startswith(prefix)), None)
    may_ask = text_path.startswith(("platform/", "tests/support/"))
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        where = f"{text_path}:{number}"
        include = INCLUDE.match(line)
        problem = include and rule and rule(relative, *include.groups())
        if problem:
            yield f"{where}: {include.group(2)}: {problem}"
        condition = CONDITION.match(line)
        if condition and not may_ask and PLATFORM_MACRO.search(condition.group(1)):
            yield f"{where}: asks for the platform; that belongs into platform/ or tests/support/"


def check(root):
    files = list(source_files(root, FOLDERS))
    return [problem for path in files for problem in problems_of_file(root, path)], len(files)


def self_test():
    fixtures = [
        ("windows header", "src/frame/A.cpp", "#include <windows.h>", ["windows.h"]),
        ("third-party header", "src/frame/A.cpp", "#include <nlohmann/json.hpp>", ["nlohmann"]),
        ("bare own header", "src/frame/A.cpp", '#include "A.h"', ["A.h"]),
        ("what src may", "src/inventory/A.cpp", '#include <map>\n#include "frame/B.h"\n#include "platform/C.h"', []),
        ("frame looks up", "src/frame/A.cpp", '#include "inventory/B.h"', ["frame/ must not look into inventory/"]),
        ("the roof may", ROOF, '#include "inventory/B.h"\n#include "lifecycle/C.h"', []),
        ("inventory looks up", "src/inventory/A.cpp", '#include "lifecycle/B.h"', ["inventory/ must not"]),
        ("machine looks aside", "src/machine/A.h", '#include "inventory/B.h"', ["machine/ must not"]),
        ("lifecycle may", "src/lifecycle/A.cpp", '#include "inventory/B.h"\n#include "machine/C.h"', []),
        ("port stays narrow", "platform/include/platform/A.h", "#include <windows.h>", ["windows.h"]),
        ("binding looks up", "platform/simulated/A.cpp", '#include "frame/B.h"', ["frame/B.h"]),
        ("tool looks inside", "tools/kestrelbay/Main.cpp", '#include "inventory/B.h"', ["inventory/B.h"]),
        ("tool opens a machine", "tools/kestrelbay/Main.cpp", '#include "simulated/MachineDirectory.h"', ["simulated"]),
        ("tool explains", "tools/kestrelbay/ExplainText.h", '#include "inventory/Explanation.h"', []),
        ("explanation looks further", "tools/kestrelbay/ExplainText.h", '#include "inventory/AppList.h"', ["AppList"]),
        ("list explains", "tools/kestrelbay/ListCommand.cpp", '#include "inventory/Explanation.h"', ["Explanation.h"]),
        ("host opens a machine", "tools/kestrelbay/HostSimulated.cpp", '#include "simulated/MachineDirectory.h"', []),
        ("host looks further", "tools/kestrelbay/HostSimulated.cpp", '#include "simulated/Key.h"', ["simulated/Key.h"]),
        ("capture uses the port", "tools/capture/A.cpp", '#include "platform/Registry.h"', []),
        ("capture writes the form", "tools/capture/A.cpp", '#include "simulated/RegFileWriter.h"', []),
        ("capture looks further", "tools/capture/A.cpp", '#include "simulated/Machine.h"', ["simulated/Machine.h"]),
        ("public header", "include/KestrelbayGeneralSDK.h", "#include <stddef.h>", ["stddef.h"]),
        ("condition in src", "src/frame/A.cpp", "#ifdef _WIN32", ["asks for the platform"]),
        ("condition in a test", "tests/unit/A.cpp", "#if defined(__linux__)", ["asks for the platform"]),
        ("condition at the edge", "tests/support/A.cpp", "#ifdef _WIN32", []),
    ]
    for name, file, text, fragments in fixtures:
        with tempfile.TemporaryDirectory() as root:
            path = pathlib.Path(root) / file
            path.parent.mkdir(parents=True)
            path.write_text(text + "\n", encoding="utf-8")
            expect(name, check(pathlib.Path(root))[0], *fragments)
    finish([], len(fixtures))


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    finish(*check(pathlib.Path(sys.argv[1])))
