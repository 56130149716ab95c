"""Lists real exports that Wine's own program imported into its registry."""

import codecs
import json
import os
import subprocess
import tempfile
import unittest

from inventory import UNINSTALL, Registry, list_installed
from truth import DATA, put

RUNNER, PROGRAM = os.environ["KESTRELBAY_RUNNER"], os.environ["KESTRELBAY_PROGRAM"]
SID = "S-1-5-21-1111111111-2222222222-3333333333-2001"
MACHINE_PRODUCTS = r"HKEY_LOCAL_MACHINE\Software\Classes\Installer\Products"
SECONDS = 120


def run(*command):
    return subprocess.run([RUNNER, *command], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          timeout=SECONDS).stdout


def import_text(text):
    """Imports the text of a file as UTF-16, because Wine reads any other encoding as the ANSI code page."""
    with tempfile.NamedTemporaryFile(suffix=".reg") as file:
        file.write(text.encode("utf-16"))
        file.flush()
        run("reg", "import", "Z:" + file.name.replace("/", "\\"))


def import_export(name):
    data = (DATA / "reg" / name).read_bytes()
    import_text(data.decode("utf-16" if data.startswith(codecs.BOM_UTF16_LE) else "utf-8"))


def listed():
    entries = json.loads(run(PROGRAM, "--json", "list"))
    for entry in entries:
        # Importing sets the time.
        del entry["lastWriteTime"]
    return entries


class ImportTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        # The keys of other users exist until Wine's server ends, which happens when its last program ends.
        alive = subprocess.Popen([RUNNER, "cmd.exe"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.addCleanup(alive.wait, SECONDS)
        self.addCleanup(alive.stdin.close)
        run("reg", "add", MACHINE_PRODUCTS, "/f")

    def remove(self, *keys):
        import_text("Windows Registry Editor Version 5.00\n" + "".join(f"\n[-{key}]\n" for key in keys))

    def test_list_is_the_model_s(self):
        registry = Registry()
        put(put(registry, "mssql-Uninstall.reg"), "ntuser-tony-2022-02", SID)
        registry.at(MACHINE_PRODUCTS)
        expected = list_installed(registry)
        for entry in expected:
            del entry["lastWriteTime"]
        self.assertEqual(len(expected), 8)
        uninstall = registry.at("HKEY_LOCAL_MACHINE\\" + UNINSTALL)
        made = [f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\{key.name}" for key in uninstall.children()]
        before = listed()
        self.addCleanup(self.remove, "HKEY_USERS\\" + SID, *made)
        for name in ("mssql-Uninstall.reg", "import-ntuser-tony-2022-02.reg"):
            import_export(name)
        # Without the applications of Wine itself: none of the real ones has such a name.
        self.assertEqual([entry for entry in listed() if entry not in before], expected)
