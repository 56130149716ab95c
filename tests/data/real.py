"""Machines from real files, and the lists that kestrelbay prints for them."""

import importlib.machinery
import importlib.util
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

import kestrelbay
from truth import DATA

SUPPORT = pathlib.Path(__file__).parent.parent / "support"
TIME_0 = "-11644473600000"
# The one key without which nothing is listed.
BARE_SOFTWARE = "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products]\n"


def load_make_volume():
    loader = importlib.machinery.SourceFileLoader("make_volume", str(SUPPORT / "make-volume"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


volumes = load_make_volume()


class RealTest(kestrelbay.TestCase):
    maxDiff = None

    def volume(self, software=BARE_SOFTWARE, users=None, services=None):
        """Creates a Windows volume; returns its folder."""
        volume = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        volumes.make_volume(volume, DATA, software, users or {}, services or {})
        return volume

    def exports(self, *names, products=True):
        """Creates a machine from registration files, with or without the products key; returns its folder."""
        machine = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        (machine / "registry").mkdir()
        if products:
            (machine / "registry" / "products.reg").write_text(kestrelbay.HEADER + kestrelbay.GATE, encoding="utf-8")
        for name in names:
            shutil.copy(DATA / "reg" / name, machine / "registry")
        return machine

    def wine_exports(self, *names):
        machine = self.exports(products=False)
        for name in names:
            subprocess.run([sys.executable, SUPPORT / "wine-registry-to-reg.py", DATA / "reg" / (name + ".reg.xz"),
                            machine / "registry" / (name + ".reg")], check=True)
        return machine

    @staticmethod
    def chosen(machine):
        """The options that name a machine. The true data are those of the hives without their logs, which some lack."""
        if not (machine / "Windows").is_dir():
            return ["--machine", machine]
        users = sorted(entry.name for entry in (machine / "Users").iterdir()) if (machine / "Users").is_dir() else []
        return ["--machine", machine, "--no-recovery", *(["--user", users[0]] if len(users) > 1 else [])]

    def listed(self, machine):
        return json.loads(self.output(*self.chosen(machine), "--json", "list"))

    def check(self, machine, expected):
        """Compares all eight fields of all entries. None is an unknown time, for which any number is correct."""
        listed = self.listed(machine)
        for entry, wanted in zip(listed, expected):
            if wanted["lastWriteTime"] is None:
                self.assertRegex(entry["lastWriteTime"], r"\A-?[0-9]+\Z")
                entry["lastWriteTime"] = None
        self.assertEqual(listed, expected)
        self.check_capture(machine)

    def check_capture(self, machine):
        """Checks that a capture has the same list, and a redacted capture as many entries."""
        lists = []
        for options in ([], ["--redact"]):
            folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder)) / "capture"
            self.output(*self.chosen(machine), "capture", folder, *options)
            lists.append(self.output("--machine", folder, "--json", "list"))
        self.assertEqual(lists[0], self.output(*self.chosen(machine), "--json", "list"))
        self.assertEqual(len(json.loads(lists[1])), len(json.loads(lists[0])))
