#!/usr/bin/env python3
"""Tests the proof kit under Wine, from its zip alone: test_proof.py KIT.zip KESTRELBAY [TEST]...

Wine plays a machine that is in use: it has other applications, and no test may change them.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile

HERE = pathlib.Path(__file__).resolve().parent
WINE = shutil.which("wine64", path=os.environ["PATH"] + ":/usr/lib/wine")
UNINSTALL = r"Software\Microsoft\Windows\CurrentVersion\Uninstall"
OTHERS = {
    rf"HKLM\{UNINSTALL}\Shore": {"DisplayName": "Lighthouse é日", "UninstallString": r"C:\L\un.exe"},
    rf"HKLM\{UNINSTALL}\{{A-1}}": {"DisplayName": "Harbour", "UninstallString": "u", "DisplayVersion": "2"},
    rf"HKCU\{UNINSTALL}\Shore2": {"DisplayName": "Jetty", "UninstallString": "u", "InstallLocation": r"C:\users\x\J"},
    # A product without properties of its installation is not listed.
    r"HKLM\Software\Classes\Installer\Products\0123456789ABCDEF0123456789ABCDEF": {"ProductName": "Quay"},
}
NOBODY = 65534


class ProofTestCase(unittest.TestCase):
    kit, program = None, None

    def setUp(self):
        self.temporary = tempfile.TemporaryDirectory(prefix="proof-")
        self.addCleanup(self.temporary.cleanup)
        self.folder = pathlib.Path(self.temporary.name)
        self.folder.chmod(0o755)
        self.user = []
        self.start_prefix()

    def start_prefix(self):
        self.prefix = self.folder / "prefix"
        self.prefix.mkdir()
        if self.user:
            os.chown(self.prefix, NOBODY, NOBODY)
        variables = {name: value for name, value in os.environ.items() if not name.startswith("KESTRELBAY")}
        self.environment = {**variables, "WINEPREFIX": str(self.prefix), "WINEDEBUG": "-all",
                            "HOME": str(self.prefix), "LC_ALL": "C.UTF-8"}
        self.addCleanup(self.run_unix, "wineserver", "-k", "-w")
        self.wine("wineboot.exe", "-i")
        for key, values in OTHERS.items():
            self.add(key, values)
        self.run_unix("wineserver", "-w")

    def run_unix(self, *command):
        return subprocess.run([*self.user, *command], env=self.environment, capture_output=True, check=False)

    def wine(self, *command):
        run = self.run_unix(WINE, *command)
        return run.returncode, run.stdout.decode("utf-8", "replace").replace("\r", "")

    def add(self, key, values):
        for name, text in values.items():
            self.assertEqual(self.wine("reg.exe", "add", key, "/v", name, "/d", text, "/f")[0], 0)

    def unpack(self, name="kit"):
        """Unpacks the kit. @return the folder of prove.cmd"""
        folder = self.folder / name
        with zipfile.ZipFile(self.kit) as zipped:
            zipped.extractall(folder)
        if self.user:
            for path in [folder, *folder.rglob("*")]:
                os.chmod(path, 0o555)
        return next(folder.iterdir())

    def prove(self, kit, *options):
        """Does what a double click does, but does not ask for administrator rights."""
        return self.wine("cmd.exe", "/c", "Z:" + str(kit / "prove.cmd").replace("/", "\\"), "--as-is", *options)

    def registry(self):
        """Keys with their values, without times, and without what Wine writes by itself."""
        self.run_unix("wineserver", "-w")
        keys = {}
        for file in ("system.reg", "user.reg"):
            key = None
            for line in (self.prefix / file).read_text(encoding="utf-8", errors="replace").splitlines():
                if line.startswith("["):
                    key = file + line[:line.rindex("]")]
                    keys[key] = []
                elif key and line and not line.startswith("#"):
                    keys[key].append(line)
        volatile = re.compile(r"\\\\(Wine|Explorer|Nls|MountedDevices|Services|Time Zones?|Control|Enum)\b", re.I)
        return {key: values for key, values in keys.items() if not volatile.search(key)}

    def files(self):
        volatile = re.compile(r"/(Temp|temp|Prefetch|INetCache|AppData/Local/Microsoft)(/|$)")
        return {str(path) for path in (self.prefix / "drive_c").rglob("*") if not volatile.search(str(path))}

    def report(self, folder):
        with zipfile.ZipFile(folder / "proof.zip") as zipped:
            self.assertIsNone(zipped.testzip())
            return json.loads(zipped.read("proof.json")), zipped.namelist()

    def check_proof(self, folder):
        run = subprocess.run([HERE.parent / "scripts" / "check-proof", folder / "proof.zip", "--program", self.program],
                             capture_output=True, text=True, check=False)
        return run.returncode, run.stdout + run.stderr


class ProofTest(ProofTestCase):
    def test_everything_runs_from_a_path_with_blanks_and_letters_above_ascii(self):
        kit = self.unpack("Mein Prüfstand 日")
        registry, files = self.registry(), self.files()
        status, output = self.prove(kit)
        self.assertEqual(status, 0, output)
        self.assertEqual(self.registry(), registry)
        self.assertEqual(self.files(), files)
        self.assertIn("[1/10] capture ...", output)
        report, names = self.report(kit)
        steps = {step["name"]: step for step in report["steps"]}
        self.assertEqual(len(steps), 10)
        for step in steps.values():
            self.assertTrue(step["passed"], step)
            for test in step.get("notRun", []):
                self.assertTrue(test["reason"])
        self.assertGreater(steps["contract"]["tests"], 100)
        for name in ("contract", "conformance", "jobs"):
            self.assertLess(len(steps[name]["notRun"]), steps[name]["tests"] / 4, steps[name]["notRun"])
            self.assertIn(f"results/{name}.xml", names)
        for name in ("random-registry", "guard"):
            self.assertEqual(steps[name]["notRun"], [])
        self.assertIn("capture/machine.json", names)
        status, told = self.check_proof(kit)
        self.assertIn("list: 3 applications, 0 differences", told)
        self.assertRegex(told, r"explain: \d+ keys, 0 differences")
        self.assertNotIn("FAILED", told)

    def test_an_application_with_a_name_of_a_test_is_a_reason_to_refuse(self):
        self.add(rf"HKLM\{UNINSTALL}\Foreign", {"DisplayName": "app", "UninstallString": "u"})
        self.check_refusal("an application has a name that tests use: app")

    def test_a_key_with_a_name_of_a_test_is_a_reason_to_refuse(self):
        self.add(r"HKLM\Software\KestrelbayContract", {"Other": "1"})
        self.check_refusal("the key exists and is not of this proof")

    def check_refusal(self, reason):
        kit = self.unpack()
        registry, files = self.registry(), self.files()
        status, output = self.prove(kit)
        self.assertEqual(status, 2)
        self.assertIn(reason, output)
        self.assertEqual(self.registry(), registry)
        self.assertEqual(self.files(), files)
        self.assertFalse((kit / "proof.zip").exists())

    def test_a_key_of_others_stays_and_its_tests_do_not_run(self):
        self.add(rf"HKLM\{UNINSTALL}\App", {"DisplayName": "Foreign", "UninstallString": "u"})
        kit = self.unpack()
        registry = self.registry()
        status, output = self.prove(kit, "--only=jobs", "--only=conformance")
        self.assertEqual(status, 0, output)
        self.assertEqual(self.registry(), registry)
        report, _ = self.report(kit)
        reasons = [test["reason"] for step in report["steps"] for test in step["notRun"]]
        self.assertGreater(len(reasons), 20)
        self.assertTrue(any("a key of others" in reason and reason.endswith("App") for reason in reasons), reasons)

    def test_without_administrator_rights_the_rest_runs_and_each_reason_is_given(self):
        kit = self.unpack()
        registry = self.registry()
        steps = ("contract", "conformance", "jobs", "stop")
        status, output = self.prove(kit, "--without-rights", *(f"--only={step}" for step in steps))
        self.assertEqual(status, 0, output)
        self.assertEqual(self.registry(), registry)
        self.assertIn("Not run on this machine:", output)
        self.assertIn("administrator rights are missing", output)
        report, _ = self.report(kit)
        self.assertFalse(report["machine"]["elevated"])
        ran = {step["name"]: step["tests"] - len(step["notRun"]) for step in report["steps"]}
        self.assertGreater(ran["contract"], 60)
        self.assertGreater(ran["conformance"], 20)
        self.assertEqual(ran["stop"], 0)

    def test_a_run_that_was_killed_is_cleaned_up_by_the_next(self):
        kit = self.unpack()
        registry, files = self.registry(), self.files()
        work = self.prefix / "drive_c" / "ProgramData" / "KestrelbayProof"
        proof = subprocess.Popen([WINE, kit / "bin" / "proof.exe", "--as-is", "--only=jobs"], env=self.environment,
                                 stdout=subprocess.DEVNULL)
        made = work / "temp" / "kestrelbay-test-keys.bin"
        deadline = time.monotonic() + 120
        while not (made.exists() and b"A\0p\0p" in made.read_bytes()):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)
        proof.kill()
        proof.wait()
        # Its children end with it.
        deadline = time.monotonic() + 30
        while subprocess.run(["pgrep", "-f", r"KestrelbayProof\\bin\\conformance-jobs"], check=False,
                             capture_output=True).returncode == 0:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.1)
        self.assertTrue(work.exists())
        self.assertNotEqual(self.registry(), registry)
        status, output = self.prove(kit, "--only=icon-floor")
        self.assertEqual(status, 0, output)
        self.assertEqual(self.registry(), registry)
        self.assertEqual(self.files(), files)

    def test_a_closed_window_lets_the_proof_clean_up(self):
        kit = self.unpack()
        registry, files = self.registry(), self.files()
        closer = self.folder / "close-window.exe"
        subprocess.run(["x86_64-w64-mingw32-gcc", "-Wall", "-Werror", "-static", HERE / "close-window.c", "-o", closer],
                       check=True)
        command = f"{kit / 'bin' / 'proof.exe'} --as-is --only=jobs"
        status, output = self.wine(closer, command)
        self.assertEqual(status, 0, output)
        self.assertEqual(self.registry(), registry)
        self.assertEqual(self.files(), files)

    def test_without_its_programs_it_says_that_the_zip_is_packed(self):
        kit = self.unpack()
        shutil.rmtree(kit / "bin")
        status, output = self.prove(kit)
        self.assertEqual((status, output.count("Unpack the whole zip first")), (2, 1), output)

    def test_a_key_that_a_killed_run_did_not_make_stays(self):
        work = self.prefix / "drive_c" / "ProgramData" / "KestrelbayProof"
        work.mkdir()
        (work / "mine.txt").write_text("mine")
        self.check_refusal("the folder exists and is not of this proof")
        self.assertEqual((work / "mine.txt").read_text(), "mine")


class ReadOnlyTest(ProofTestCase):
    def setUp(self):
        self.user = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"]
        self.temporary = tempfile.TemporaryDirectory(prefix="proof-")
        self.addCleanup(self.temporary.cleanup)
        self.folder = pathlib.Path(self.temporary.name)
        self.folder.chmod(0o755)
        self.start_prefix()

    @unittest.skipUnless(os.getuid() == 0, "only root can become another user")
    def test_a_folder_that_cannot_be_written_to_gets_no_report(self):
        kit = self.unpack()
        status, output = self.prove(kit, "--only=scan-floor")
        self.assertEqual(status, 0, output)
        self.assertFalse((kit / "proof.zip").exists())
        written = re.search(r"Written: (.*)", output)[1]
        self.assertIn("users", written.lower())
        path = self.prefix / "dosdevices" / written.replace("\\", "/").replace("C:", "c:")
        with zipfile.ZipFile(path) as zipped:
            self.assertIn("proof.json", zipped.namelist())


class CheckProofTest(unittest.TestCase):
    """Runs check-proof on reports of other machines."""

    program = None

    def run_check(self, archive):
        run = subprocess.run([HERE.parent / "scripts" / "check-proof", archive, "--program", ProofTestCase.program],
                             capture_output=True, text=True, check=False)
        return run.returncode, run.stdout + run.stderr

    def report(self, folder, **changes):
        answers = {"list": [], "explain": {"keys": [], "records": [], "counts": {}}, **changes.pop("answers", {})}
        machine = {"windows": {"product": "Windows 10", "displayVersion": "22H2", "build": 19045, "update": 1},
                   "wine": None, "ansiCodePage": 1252, "locale": "de-DE", "elevated": True}
        described = {"version": "1.0", "time": "2026-01-01T00:00:00Z", "machine": machine, "steps": [], **changes}
        archive = pathlib.Path(folder) / "proof.zip"
        with zipfile.ZipFile(archive, "w") as zipped:
            zipped.writestr("proof.json", json.dumps(described))
            zipped.writestr("capture/machine.json", "{}")
            for name, answer in answers.items():
                zipped.writestr(f"capture/answers/{name}.json", json.dumps(answer))
        return archive

    def test_what_is_no_report_is_said_in_one_line(self):
        with tempfile.TemporaryDirectory() as folder:
            archive = pathlib.Path(folder) / "proof.zip"
            archive.write_bytes(b"no zip")
            status, told = self.run_check(archive)
        self.assertEqual((status, told.count("\n")), (2, 1), told)

    def test_failed_tests_slow_figures_and_differences_are_findings(self):
        steps = [{"name": "contract", "passed": False, "end": "exited", "seconds": 1, "tests": 2,
                  "failed": ["Suite.Test"], "notRun": [{"test": "Suite.Other", "reason": "rights"}]},
                 {"name": "scan-floor", "passed": True, "end": "exited", "seconds": 1,
                  "timing": "scan 9 ms, bare calls 3 ms, ratio of medians 3.000"}]
        with tempfile.TemporaryDirectory() as folder:
            archive = self.report(folder, steps=steps, answers={"list": [{"displayName": "Only on Windows"}]})
            status, told = self.run_check(archive)
        self.assertEqual(status, 1, told)
        self.assertIn("failed: Suite.Test", told)
        self.assertIn("not run: Suite.Other: rights", told)
        self.assertIn("slow: more than", told)
        self.assertIn("list: Windows has 1, simulated has 0", told)


if __name__ == "__main__":
    ProofTestCase.kit, ProofTestCase.program = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
