"""Makes the machine that hosts of the guide's claims run on: make-machine.py FOLDER UNINSTALLER

Its registration file also prepares a real machine, where UNINSTALLER is a program that ends and removes nothing. Of
its installers one ends at once and one outlasts every host.
"""

import json
import pathlib
import sys

# Without the key of the products an inventory is empty, whatever else there is.
REGISTRATION = """Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Long version]
"DisplayName"="Long version"
"DisplayVersion"=hex(1):%s
"UninstallString"="u"
"DisplayIcon"="C:\\\\windows\\\\notepad.exe"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Long name]
"DisplayName"="%s"
"DisplayVersion"="8.7"
"UninstallString"="u"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Without uninstaller]
"DisplayName"="Without uninstaller"
"UninstallString"="C:\\\\no such folder\\\\uninstall.exe"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Cancelled]
"DisplayName"="Cancelled"
"UninstallString"="%s"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Handless]
"DisplayName"="Handless"
"UninstallString"="C:\\\\handless.exe"
"DisplayIcon"="C:\\\\handless.exe"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products]

[HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS]
"BaseBoardManufacturer"=hex(1):%s
"SystemProductName"="%s"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\Tablet PC]
"IsTabletPc"=-

[HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings]
"ProxyEnable"=-
"""
LONGEST = "\u65e5" * 260
WITHOUT_NUL = LONGEST.encode("utf-16-le").hex(",")
LONG_NAME = "\u65e5" * 87
LONG_ADAPTER = "\u65e5" * 200
TEN_MINUTES_IN_MS = 600_000

machine = pathlib.Path(sys.argv[1])
uninstaller = sys.argv[2].replace("\\", "\\\\")
(machine / "registry").mkdir(parents=True)
(machine / "drives" / "C").mkdir(parents=True)
text = (REGISTRATION % (WITHOUT_NUL, LONG_NAME, uninstaller, WITHOUT_NUL, LONGEST)).replace("\n", "\r\n")
(machine / "registry" / "claims.reg").write_bytes(text.encode("utf-16"))
for name in ("installer.exe", "installer.msi", "slow-installer.exe", "uninstaller.exe", "handless.exe"):
    (machine / "drives" / "C" / name).touch()
programs = {
    "C:\\slow-installer.exe": {"steps": [{"waitMs": TEN_MINUTES_IN_MS}]},
    "C:\\handless.exe": {"givesHandle": False, "steps": [{"waitMs": TEN_MINUTES_IN_MS}]},
    "C:\\uninstaller.exe": {"steps": [{"adds": ["C:\\ended"]}]},
}
description = {"currentDirectory": "C:\\", "programs": programs, "graphicsAdapters": [LONG_ADAPTER]}
(machine / "machine.json").write_text(json.dumps(description), encoding="utf-8")
