"""A second implementation of the inventory, in Python, over a registry of dictionaries.

It shares no code with the library. Each rule is implemented again, in the simplest way.
"""

import re

UNINSTALL = r"Software\Microsoft\Windows\CurrentVersion\Uninstall"
USER_DATA = r"Software\Microsoft\Windows\CurrentVersion\Installer\UserData"
MACHINE_PRODUCTS = r"Software\Classes\Installer\Products"
USER_PRODUCTS = r"Software\Microsoft\Installer\Products"
WOW64 = "software\\wow6432node\\"
EXCLUDED_PUBLISHER = "TOLVAN Handheld Engine"
LONGEST_VALUE = 520  # bytes
FILETIME_OF_1970 = 116444736000000000
DEFAULT_VIEW, VIEW_32, VIEW_64 = 0, 1, 2
REG_SZ, REG_EXPAND_SZ, REG_DWORD = 1, 2, 4
ENVIRONMENT = {"systemroot": r"C:\Windows", "systemdrive": "C:", "programfiles": r"C:\Program Files",
               "programfiles(x86)": r"C:\Program Files (x86)", "programdata": r"C:\ProgramData"}


def code_units(text):
    return text.encode("utf-16-be", "surrogatepass")


def upper_units(name):
    """A name in upper case, character by character. A character whose upper case is longer stays."""
    return code_units("".join(c.upper() if len(c.upper()) == 1 else c for c in name))


class Key:
    """Sub keys by name, in the registry's order when they are asked for."""

    def __init__(self, name=""):
        self.name = name
        self.values = {}  # name in small letters -> (type, bytes of data, text or number)
        self.sub_keys = {}
        self.milliseconds = None  # since 1970; None if unknown

    def at(self, path):
        """The key at a path below this one, created if it is missing."""
        key = self
        for name in path.split("\\"):
            key = key.sub_keys.setdefault(upper_units(name), Key(name))
        return key

    def find(self, path):
        key = self
        for name in path.split("\\"):
            key = key and key.sub_keys.get(upper_units(name))
        return key

    def children(self):
        return [self.sub_keys[units] for units in sorted(self.sub_keys)]

    def read(self, name):
        kind, size, data = self.values.get(name.lower(), (None, 0, ""))
        if size > LONGEST_VALUE:
            return ""
        if kind == REG_DWORD:
            return str(data - (1 << 32) if data >> 31 else data)
        if kind == REG_SZ:
            return data.split("\0")[0]
        if kind == REG_EXPAND_SZ:
            return re.sub("%([^%]+)%", lambda match: ENVIRONMENT.get(match[1].lower(), match[0]), data.split("\0")[0])
        return ""

    def is_set(self, name):
        digits = re.match(r"[ \t\n\v\f\r]*([+-]?[0-9]+)", self.read(name))
        return digits is not None and int(digits[1]) == 1


class Registry:
    def __init__(self):
        self.machine = {VIEW_32: Key(), VIEW_64: Key()}
        self.users = Key()

    def at(self, path):
        """The key at a whole path, as a 64-bit program names it."""
        root, _, below = path.partition("\\")
        if root == "HKEY_USERS":
            return self.users.at(below)
        assert root == "HKEY_LOCAL_MACHINE", path
        if below.lower().startswith(WOW64):
            return self.machine[VIEW_32].at("Software\\" + below[len(WOW64):])
        return self.machine[VIEW_64].at(below)


def packed(code):
    groups = code.replace("{", "").replace("}", "").split("-")
    if len(groups) != 5 or len(groups[3]) % 2 or len(groups[4]) % 2:
        return None
    swapped = groups[3] + groups[4]
    return "".join(group[::-1] for group in groups[:3]) + "".join(
        swapped[at + 1] + swapped[at] for at in range(0, len(swapped), 2))


def is_update(name, entry):
    return (re.fullmatch("KB[0-9]{6}", name) is not None or entry.read("ParentKeyName") != ""
            or entry.read("ReleaseType") in ("Security Update", "Update Rollup", "Hotfix"))


class Scan:
    def __init__(self, registry):
        self.registry = registry
        self.records = []

    def run(self):
        self.products = self.registry.machine[VIEW_64].find(MACHINE_PRODUCTS)
        if self.products is None:
            return []
        for view in (VIEW_32, VIEW_64):
            self.uninstall_key(self.registry.machine[view].find(UNINSTALL), view)
        for hive in self.registry.users.children():
            self.uninstall_key(hive.find(UNINSTALL), DEFAULT_VIEW)
            self.user_products(hive.find(USER_PRODUCTS))
        lowered = {ord(c): c.lower() for c in "ABCDEFGHIJKLMNOPQRSTUVWXYZ"}
        return sorted(self.records, key=lambda record: code_units(record["displayName"].translate(lowered)))

    def uninstall_key(self, key, view):
        for entry in key.children() if key else []:
            if entry.is_set("SystemComponent"):
                continue
            if entry.is_set("WindowsInstaller"):
                code = packed(entry.name)
                self.managed(entry, self.products.find(code) if code else None, view)
            elif not ("" in (entry.read("UninstallString"), entry.read("DisplayName"))
                      or entry.read("Publisher") == EXCLUDED_PUBLISHER or is_update(entry.name, entry)):
                self.add(entry, entry.read("DisplayName"), entry.read("DisplayIcon"), view)

    def managed(self, entry, product, view):
        name = (product and product.read("ProductName")) or entry.read("DisplayName")
        icon = (product and product.read("ProductIcon")) or entry.read("DisplayIcon")
        if name == "" or entry.read("Publisher") == EXCLUDED_PUBLISHER:
            return False
        self.add(entry, name, icon, view)
        return True

    def user_products(self, products):
        for view in (VIEW_32, VIEW_64) if products else ():
            user_data = self.registry.machine[view].find(USER_DATA)
            for product in products.children() if user_data else ():
                any(self.user_product(product, sid, view) for sid in user_data.children() if sid.name != "S-1-5-18")

    def user_product(self, product, sid, view):
        branch = sid.find("Products")
        same = [key for key in branch.children() if key.name == product.name] if branch else []
        properties = same[0].find("InstallProperties") if same else None
        if properties is None or properties.is_set("SystemComponent"):
            return False
        return self.managed(properties, product, view)

    def add(self, entry, name, icon, view):
        new = {"displayName": name, "installLocation": entry.read("InstallLocation"),
               "displayVersion": entry.read("DisplayVersion"), "displayIcon": icon,
               "installDate": entry.read("InstallDate"), "milliseconds": entry.milliseconds,
               "architecture": view, "command": entry.read("UninstallString")}
        earlier = next((record for record in self.records if record["displayName"] == name), None)
        if earlier and self.merges(new, earlier):
            self.records.remove(earlier)
        self.records.append(new)

    @staticmethod
    def merges(new, earlier):
        """Fills the gaps of the new record up to the first disagreement."""
        for field in ("architecture", "displayIcon", "installLocation", "displayVersion"):
            if new[field] and earlier[field] and new[field] != earlier[field]:
                return False
            new[field] = new[field] or earlier[field]
        if new["command"] and earlier["command"] and new["command"] != earlier["displayVersion"]:
            return False
        new["command"] = new["command"] or earlier["command"]
        return True


def icon_text(display_icon):
    """The icon text of a list without the icons of executables."""
    if ".exe" in display_icon:
        return ""
    return display_icon.split(",")[0].replace('"', "").replace("\\\\", "\\").strip(" ")


def list_installed(registry, unknown_time=None):
    """The list as kestrelbay prints it for programs. Keys without a known time have `unknown_time`."""
    entries = []
    for record in Scan(registry).run():
        known = record["milliseconds"] is not None
        entry = {field: record[field].encode("utf-16", "surrogatepass").decode("utf-16", "replace")
                 for field in ("displayName", "installLocation", "displayVersion", "displayIcon", "installDate")}
        entries.append({**entry, "iconText": icon_text(entry["displayIcon"]), "architecture": record["architecture"],
                        "lastWriteTime": str(record["milliseconds"]) if known else unknown_time})
    return entries
