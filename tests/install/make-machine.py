"""Makes the machine that hosts of the guide's claims run on: make-machine.py FOLDER

Its registration file also prepares a real machine. Of its installers one ends at once and one outlasts every host.
"""

import json
import pathlib
import sys

# Without the key of the products an inventory is empty, whatever else there is.
REGISTRATION = """Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Long version]
"DisplayName"="Long version"
"DisplayVersion"="%s"
"UninstallString"="u"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products]

[HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS]
"BaseBoardManufacturer"="%s"
"SystemProductName"="%s"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\Tablet PC]
"IsTabletPc"=-

[HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings]
"ProxyEnable"=-
"""
LONGEST = "\u65e5" * 259
TOO_LONG = LONGEST + "\u65e5"
LONG_ADAPTER = "\u65e5" * 200
TEN_MINUTES_IN_MS = 600_000

machine = pathlib.Path(sys.argv[1])
(machine / "registry").mkdir(parents=True)
(machine / "drives" / "C").mkdir(parents=True)
text = (REGISTRATION % (LONGEST, LONGEST, TOO_LONG)).replace("\n", "\r\n")
(machine / "registry" / "claims.reg").write_bytes(text.encode("utf-16"))
for name in ("installer.exe", "slow-installer.exe"):
    (machine / "drives" / "C" / name).touch()
programs = {"C:\\slow-installer.exe": {"steps": [{"waitMs": TEN_MINUTES_IN_MS}]}}
description = {"programs": programs, "graphicsAdapters": [LONG_ADAPTER]}
(machine / "machine.json").write_text(json.dumps(description), encoding="utf-8")
