"""Registries for the round trip: one by hand that covers all rules, and any number of random ones."""

import random
import struct

MACHINE = "HKEY_LOCAL_MACHINE"
CURRENT = r"Microsoft\Windows\CurrentVersion"
UNINSTALL = rf"Software\{CURRENT}\Uninstall"
UNINSTALL_64 = rf"{MACHINE}\{UNINSTALL}"
UNINSTALL_32 = rf"{MACHINE}\Software\Wow6432Node\{CURRENT}\Uninstall"
USER_DATA_64 = rf"{MACHINE}\Software\{CURRENT}\Installer\UserData"
USER_DATA_32 = rf"{MACHINE}\Software\Wow6432Node\{CURRENT}\Installer\UserData"
PRODUCTS = rf"{MACHINE}\Software\Classes\Installer\Products"
USER_PRODUCTS = r"Software\Microsoft\Installer\Products"
SIDS = ["S-1-5-21-71111-72222-73333-2001", "S-1-5-21-71111-72222-73333-2002"]
HIVES = [".DEFAULT", *SIDS, SIDS[0] + "_Classes"]
GUIDS = ["{12345678-ABCD-EF01-2345-6789ABCDEF01}", "{00000001-0002-0003-0405-060708090A0B}"]
PACKED = ["87654321DCBA10FE32547698BADCFE10", "1000000020003000405060708090A0B0"]
SZ, EXPAND, BINARY, DWORD, MULTI, QWORD = 1, 2, 3, 4, 7, 11

# Systems differ in whether letters sort before or after the signs between Z and a.
KEY_NAMES = ["_", "[x", "^", "`", "Zz", "aa", "App", "app2", "KB123456", "KB1234567", "kb123456", "1", "-", "{no-guid}",
             "\u00c4pfel", "\u00e4pfel2", "\u0416", "\u03c3", "\u65e5\u672c", "\U0001f469", "\ufb01", "a]b", "a b", "[HKEY",
             *GUIDS, GUIDS[0].lower()]
NAMES = ["App", "app", "Product", "\u00c9tude", "zeta2", "Zeta", "\u65e5\u672c\u8a9e\u30a2\u30d7\u30ea", "\u0417\u0430\u043c\u043e\u043a",
         "\u039a\u03b1\u03c6\u03ad\u03c2", "\u062f\u0641\u062a\u0631", "emoji \U0001f469\u200d\U0001f4bb", "", "a\tb", "half \ud800"]


def text(words):
    return words.encode("utf-16-le", "surrogatepass")


def number(value):
    return DWORD, (value % 2**32).to_bytes(4, "little")


def sz(words, kind=SZ):
    return kind, text(words + "\0")


DELETE_TREE, MAKE_KEY, SET_VALUE = range(3)


def record(kind, name, data_type=0, data=b""):
    return struct.pack("<4I", kind, data_type, len(text(name)), len(data)) + text(name) + data


def filling(keys, delete=()):
    """The input of fill-registry: keys by path, each a dictionary of values, each type and bytes."""
    records = [record(DELETE_TREE, path) for path in delete]
    for path, values in keys.items():
        records.append(record(MAKE_KEY, path))
        records += [record(SET_VALUE, name, *value) for name, value in values.items()]
    return b"".join(records)


def everything():
    """Each filter, each way to merge, both views, user hives, installer products, unusual types, long values."""
    keys = {PRODUCTS: {}}

    def entry(name, where=UNINSTALL_64, **values):
        plain = {"DisplayName": sz(name), "UninstallString": sz("remove"), **values}
        keys[rf"{where}\{name}"] = {k: v for k, v in plain.items() if v is not None}

    for name in KEY_NAMES:
        entry(name)
    for name, values in {
        "Component": {"SystemComponent": number(1)}, "Component text": {"SystemComponent": sz("1x")},
        "Component bytes": {"SystemComponent": (BINARY, b"\1\0\0\0")}, "No component": {"SystemComponent": number(0)},
        "No command": {"UninstallString": None}, "Long command": {"UninstallString": sz("u" * 260)},
        "Command that just fits": {"UninstallString": sz("u" * 259)}, "No name": {"DisplayName": sz("")},
        "Excluded": {"Publisher": sz("TOLVAN Handheld Engine")}, "Nearly": {"Publisher": sz("tolvan handheld engine")},
        "Patch": {"ParentKeyName": sz("Parent")}, "Security": {"ReleaseType": sz("Security Update")},
        "Rollup": {"ReleaseType": sz("Update Rollup")}, "Hotfix": {"ReleaseType": sz("Hotfix")},
        "Small hotfix": {"ReleaseType": sz("hotfix")}, "Installer's": {"WindowsInstaller": number(1), "UninstallString": None},
        "Quick": {"DisplayVersion": (QWORD, b"\1" * 8)}, "Many": {"DisplayVersion": (MULTI, text("1\0002\0\0"))},
        "Odd type": {"DisplayVersion": (0x7777, b"\1\2\3")}, "Odd bytes": {"DisplayVersion": (SZ, b"1\0.")},
        "No NUL": {"DisplayVersion": (SZ, text("1.0"))}, "Number": {"DisplayVersion": number(-2)},
        "Expanded": {"InstallLocation": sz("%SystemRoot%\\x;%NoSuch%;%", EXPAND)},
        "Own variable": {"InstallLocation": sz("%PROGRAMFILES(X86)%\\%systemdrive%", EXPAND)},
        "Long": {"InstallLocation": sz("%SystemRoot%" * 40, EXPAND), "": sz("unnamed"), "Blob": (BINARY, bytes(range(256)) * 300)},
        "Behind NUL": {"DisplayVersion": sz("1\0hidden")}, "Line ends": {"InstallLocation": sz("a\r\nb\nc")},
        "Quotes": {"InstallLocation": sz('"C:\\a b\\"'), 'na"me\\': sz("v")},
        "Icon": {"DisplayIcon": sz('"C:\\none.ico",0')}, "Capitals": {"DisplayIcon": sz("C:\\NONE.EXE")},
    }.items():
        entry(name, **values)
    for view, version in ((UNINSTALL_32, "1"), (UNINSTALL_64, "2")):
        entry("Both views", view, DisplayVersion=sz(version), InstallDate=sz("20240102"))
        entry("Only here " + version, view)
    entry("Same", UNINSTALL_32, DisplayVersion=sz("1"), UninstallString=None, WindowsInstaller=number(1))
    entry("Same", UNINSTALL_64, DisplayVersion=sz("1"), InstallLocation=sz("C:\\Same"))
    entry(GUIDS[0], WindowsInstaller=number(1), DisplayName=sz("Packed"))
    keys[rf"{PRODUCTS}\{PACKED[0]}"] = {"ProductName": sz("Packed by the machine"), "ProductIcon": sz("C:\\p.ico")}
    for sid in HIVES[:3]:
        entry("Of " + sid, rf"HKEY_USERS\{sid}\{UNINSTALL}")
        entry("_" + sid, rf"HKEY_USERS\{sid}\{UNINSTALL}", DisplayName=sz("App"), DisplayVersion=sz(sid))
    keys[rf"HKEY_USERS\{SIDS[0]}\{USER_PRODUCTS}\{PACKED[0]}"] = {"ProductName": sz("User's product")}
    keys[rf"HKEY_USERS\{SIDS[1]}\{USER_PRODUCTS}\{PACKED[1]}"] = {"ProductIcon": sz("C:\\q.ico")}
    keys[rf"HKEY_USERS\{SIDS[1]}\{USER_PRODUCTS}\{PACKED[1].lower()}x"] = {"ProductName": sz("Never found")}
    for user_data in (USER_DATA_64, USER_DATA_32):
        for sid in ("S-1-5-18", *SIDS):
            for code in PACKED:
                keys[rf"{user_data}\{sid}\Products\{code}\InstallProperties"] = {
                    "DisplayName": sz("Properties of " + sid), "DisplayVersion": sz("9"),
                    **({"SystemComponent": number(1)} if sid == SIDS[0] and code == PACKED[1] else {})}
    return keys


class Random:
    """The same seed always gives the same registry."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def value(self, words):
        kind = self.random.randrange(16)
        if kind == 0:
            return number(self.random.randrange(3))
        if kind == 1:
            return BINARY, text(words)
        if kind == 2:
            return sz("x" * self.random.choice([258, 259, 260, 300]))
        if kind == 3:
            return self.random.choice([SZ, EXPAND]), text(words)
        if kind == 4:
            return self.random.choice([MULTI, QWORD, 0, 0x7777]), text(words + "\0\0")
        if kind == 5:
            return SZ, text(words + "\0")[:-1]
        return sz(words + self.random.choice(["", "", "\0tail"]), self.random.choice([SZ, SZ, EXPAND]))

    def values(self, **choices):
        """Each value with its possible texts and its probability in tenths."""
        return {name: self.value(self.random.choice(texts)) for name, (often, texts) in choices.items()
                if self.random.randrange(10) < often}

    def entry(self):
        return self.values(
            DisplayName=(9, NAMES), UninstallString=(8, ["u.exe", "1.0", ""]), DisplayVersion=(6, ["1.0", "2.0"]),
            InstallLocation=(5, ["C:\\App", "%SystemRoot%\\App", "%NoSuch%"]), DisplayIcon=(5, ["app.ico", "app.exe,0"]),
            InstallDate=(5, ["20240101"]), Publisher=(2, ["TOLVAN Handheld Engine", "Vendor"]),
            ParentKeyName=(1, ["Parent", ""]), ReleaseType=(1, ["Security Update", "Hotfix", "hotfix"]),
            SystemComponent=(1, ["1", " 1x", "0", "yes"]), WindowsInstaller=(5, ["1", "01", "+1", "0", ""]))

    def product(self):
        return self.values(ProductName=(5, ["App", "Product", ""]), ProductIcon=(5, ["product.ico", "app.ico"]))

    def some(self, names, most):
        return self.random.sample(names, self.random.randrange(min(most, len(names)) + 1))

    def make(self):
        keys = {PRODUCTS: {}} if self.random.randrange(20) else {}
        if keys:
            keys.update({rf"{PRODUCTS}\{code}": self.product() for code in self.some(PACKED, 2)})
        for place in (UNINSTALL_32, UNINSTALL_64, *(rf"HKEY_USERS\{hive}\{UNINSTALL}" for hive in self.some(HIVES, 3))):
            keys.update({rf"{place}\{name}": self.entry() for name in self.some(KEY_NAMES, 8)})
        for hive in self.some(HIVES, 3):
            keys.update({rf"HKEY_USERS\{hive}\{USER_PRODUCTS}\{code}": self.product() for code in self.some(PACKED, 2)})
        for user_data in (USER_DATA_32, USER_DATA_64):
            for sid in self.some(["S-1-5-18", *SIDS], 3):
                keys.update({rf"{user_data}\{sid}\Products\{code}\InstallProperties": self.entry()
                             for code in self.some(PACKED, 2)})
        return keys
