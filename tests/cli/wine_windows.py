"""kestrelbay.exe under Wine: the same program on the real machine."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

PROGRAM = [os.environ["KESTRELBAY_RUNNER"], os.environ["KESTRELBAY_PROGRAM"]]
UNINSTALL = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall"
GATE = r"HKEY_LOCAL_MACHINE\Software\Classes\Installer\Products"
INTERNET = r"HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Internet Settings"
SECONDS = 120


def reg(*arguments):
    """Arranges the registry.

    On a loaded machine Wine's own program sometimes fails, so an addition has three tries. A deletion has one, because
    a second deletion of the same key fails.
    """
    for _ in range(3 if arguments[0] == "add" else 1):
        done = subprocess.run([PROGRAM[0], "reg", *arguments], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                              timeout=SECONDS)
        if done.returncode == 0:
            return
    raise RuntimeError(f"reg {' '.join(arguments)}: exit status {done.returncode}, {done.stderr!r}")


def run_host(*arguments, stdout=subprocess.PIPE, given=b""):
    own = {name: text for name, text in os.environ.items() if name != "COLUMNS"}
    return subprocess.run([*PROGRAM, *arguments], input=given, stdout=stdout, stderr=subprocess.PIPE, env=own,
                          timeout=SECONDS)


class WindowsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        reg("add", GATE, "/f")
        for name, text in (("DisplayName", "Alpha 日本語"), ("UninstallString", "remove"),
                           ("DisplayIcon", r"C:\Alpha\a.ico"), ("InstallDate", "20230115")):
            reg("add", UNINSTALL + r"\CliAlpha", "/v", name, "/d", text, "/f")

    @classmethod
    def tearDownClass(cls):
        reg("delete", UNINSTALL + r"\CliAlpha", "/f")

    def refusal(self, status, *arguments, **options):
        done = run_host(*arguments, **options)
        self.assertEqual(done.returncode, status)
        self.assertFalse(done.stdout)
        self.assertRegex(done.stderr.decode(), r"\Akestrelbay: [^\n]+\n\Z")
        return done.stderr.decode()

    def test_list_for_a_program(self):
        done = run_host("list", "--json")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        alpha = [a for a in json.loads(done.stdout) if a["displayName"] == "Alpha 日本語"]
        self.assertEqual(len(alpha), 1)
        self.assertGreater(int(alpha[0].pop("lastWriteTime")), 1600000000000)
        self.assertEqual(list(alpha[0].items()), [
            ("displayName", "Alpha 日本語"), ("installLocation", ""), ("displayVersion", ""),
            ("displayIcon", r"C:\Alpha\a.ico"), ("iconText", r"C:\Alpha\a.ico"), ("installDate", "20230115"),
            ("architecture", 2)])

    def test_list_for_a_person(self):
        lines = run_host("list").stdout.decode().splitlines()
        self.assertIn(["Alpha", "日本語", "x64", "2023-01-15"], [line.split() for line in lines])
        self.assertRegex(lines[-1], r"\A\d+ applications?\.\Z")

    def test_icon_of_a_name_in_another_script(self):
        self.assertEqual(run_host("icon", "Alpha 日本語").stdout, b"C:\\Alpha\\a.ico\n")
        self.assertIn('"Beta 日本語"', self.refusal(1, "icon", "Beta 日本語"))

    def test_fixed_answers(self):
        self.assertEqual(json.loads(run_host("blocked", "--json").stdout),
                         ["com.tolvan.tvdisk", "com.tolvan.baymarket"])
        folder = os.path.dirname(PROGRAM[1]).replace("/", "\\")
        self.assertEqual(json.loads(run_host("root", "--json").stdout), {"root": "Z:" + folder})

    def test_wrong_usage(self):
        self.assertIn("omit --machine", self.refusal(2, "--machine", "pc", "list"))
        self.assertIn("no command given", self.refusal(2))
        self.assertIn("nonsense", self.refusal(2, "nonsense"))

    def test_log(self):
        self.assertIn("info KestrelbayGeneralSDK GetInstalledAppList:", run_host("--log", "list").stderr.decode())

    def test_output_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            self.assertIn("cannot write", self.refusal(1, "list", stdout=full))
        reading, writing = os.pipe()
        os.close(reading)
        done = run_host("list", stdout=writing)
        os.close(writing)
        self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_secret_comes_back(self):
        hidden = run_host("encrypt", given="gr\u00fcn\r\n".encode()).stdout
        self.assertRegex(hidden, rb"\A[A-Za-z0-9+/=\r\n]+\Z")
        done = run_host("decrypt", given=hidden)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "gr\u00fcn".encode(), b""))
        self.assertIn("cannot decrypt", self.refusal(1, "decrypt", given=b"QUJD"))
        self.assertIn("empty", self.refusal(1, "encrypt"))

    def test_facts(self):
        facts = json.loads(run_host("facts", "--json").stdout)
        self.assertEqual([name for name in facts if name != "settings"],
                         ["manufacturer", "productName", "deviceId", "proxyServer", "graphics",
                          "isTablet", "freeMebibytes"])
        self.assertGreaterEqual(facts["freeMebibytes"]["C"], 0)
        self.assertRegex(facts["deviceId"], r"\A[0-9a-f-]{36}\Z")

    def test_capture_records_account_and_session(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(run_host("capture", "Z:" + folder.replace("/", "\\") + "\\pc").returncode, 0)
            description = json.loads((pathlib.Path(folder) / "pc" / "machine.json").read_text())
        record = description["capture"]
        self.assertRegex(record["account"], r"\A[^\\]+\\" + re.escape(description["user"]["name"]) + r"\Z")
        self.assertIsInstance(record["session"], int)

    def test_a_missing_setting_differs_from_an_invalid_one(self):
        reg("add", INTERNET, "/v", "ProxyEnable", "/d", "maybe", "/f")
        self.assertEqual(json.loads(run_host("facts", "--json").stdout)["settings"]["proxyServer"], "invalid")
        reg("delete", INTERNET, "/v", "ProxyEnable", "/f")
        self.assertEqual(json.loads(run_host("facts", "--json").stdout)["settings"]["proxyServer"], "missing")

    def test_program_and_version(self):
        self.assertEqual(run_host("run", r"C:\windows\system32\hostname.exe").returncode, 0)
        self.refusal(1, "run", r"C:\none.exe")
        self.refusal(1, "start", "Alpha 日本語")
        self.refusal(1, "version", "Alpha 日本語")

    def test_entry_is_forgotten(self):
        for name in ("DisplayName", "UninstallString"):
            reg("add", UNINSTALL + r"\CliBeta", "/v", name, "/d", "Beta Б", "/f")
        self.assertIn("--yes", self.refusal(2, "forget", "Beta Б"))
        done = run_host("forget", "Beta Б", "--yes")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertIn("is installed", self.refusal(1, "forget", "Beta Б", "--yes"))
