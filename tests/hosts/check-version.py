"""Checks that every package has the version of the project: check-version.py SOURCES VERSION"""

import pathlib
import re
import sys

PLACES = {
    "bindings/python/pyproject.toml": r'^version = "(.*)"$',
    "bindings/python/kestrelbay_general/__init__.py": r'^__version__ = "(.*)"$',
    "bindings/python/README.md": r"kestrelbay_general-([\d.]+)-py3",
    "bindings/node/package.json": r'"version": "(.*)\.0"',
    "bindings/node/README.md": r"kestrelbay-general-([\d.]+)\.0\.tgz",
    "bindings/dotnet/KestrelbayGeneral.csproj": r"<Version>(.*)\.0</Version>",
    "bindings/dotnet/KestrelbayGeneral.cs": r'PackageVersion = "(.*)"',
    "bindings/dotnet/Types.cs": r'AssemblyVersion\("(.*)\.0\.0"\)',
    "bindings/dotnet/README.md": r"KestrelbayGeneral\.([\d.]+)\.0\.nupkg",
}

sources, version = pathlib.Path(sys.argv[1]), sys.argv[2]
wrong = 0
for place, pattern in PLACES.items():
    found = re.findall(pattern, (sources / place).read_text(encoding="utf-8"), re.MULTILINE)
    if set(found) != {version}:
        print(f"{place}: {found or 'no version'}, but the project has {version}")
        wrong += 1
sys.exit(wrong != 0)
