"""Starting applications and programs, and removing entries."""

import json
import os
import pty
import subprocess

from kestrelbay import PROGRAM, SECONDS, UNINSTALL, UNINSTALL_32, USER, TestCase, app, environment, key


class LaunchingTest(TestCase):
    def setUp(self):
        super().setUp()
        self.pc = self.machine(app("Alpha", DisplayIcon="C:\\Apps\\alpha.exe,0"),
                               app("Beta", DisplayIcon="C:\\Apps\\gone.exe"), app("Gamma"))
        apps = self.pc / "drives" / "C" / "Apps"
        apps.mkdir(parents=True)
        (apps / "alpha.exe").touch()

    def describe(self, **description):
        (self.pc / "machine.json").write_text(json.dumps(description))

    def test_start(self):
        self.assertEqual(self.output("--machine", self.pc, "start", "Alpha"), "Started Alpha.\n")
        self.assertEqual(self.output("--machine", self.pc, "--json", "start", "Alpha"), '{"started":true}\n')

    def test_not_started(self):
        for name in ("Beta", "Gamma", "Delta", "alpha", ""):
            self.assertIn(f'"{name}"', self.refusal(1, "--machine", self.pc, "start", name))

    def test_refused_elevation(self):
        self.describe(elevation="refused")
        self.refusal(1, "--machine", self.pc, "start", "Alpha")

    def test_apps_folder_goes_first_and_knows_the_alias(self):
        self.describe(appsFolder=[{"name": "Notes", "id": "Notes!App"}])
        done = self.run_host("--machine", self.pc, "--log", "start", "Alpha", "--alias", "My Notes")
        self.assertIn(b"find app in APPSRC_FOLDER, fullpath is Notes!App.", done.stderr)

    def test_folder_that_fails_falls_through_to_the_inventory(self):
        for folder in (None, [], [None, {"name": "Alpha", "id": "Alpha!App"}]):
            self.describe(appsFolder=folder)
            done = self.run_host("--machine", self.pc, "--log", "start", "Alpha")
            self.assertEqual(done.returncode, 0)
            self.assertIn(b"find app in APPSRC_REGISTRY", done.stderr)

    def test_run(self):
        self.assertEqual(self.output("--machine", self.pc, "run", "C:\\Apps\\alpha.exe"),
                         "Started C:\\Apps\\alpha.exe.\n")
        self.assertEqual(self.output("--machine", self.pc, "--json", "run", "C:\\Apps\\alpha.exe", "--", "-x"),
                         '{"started":true}\n')
        self.assertIn("C:\\none.exe", self.refusal(1, "--machine", self.pc, "run", "C:\\none.exe"))

    def test_run_on_a_thread_tells_nothing(self):
        for program in ("C:\\Apps\\alpha.exe", "C:\\none.exe"):
            self.assertIn("the library does not report whether it started",
                          self.output("--machine", self.pc, "run", "--async", program))


class ForgetTest(TestCase):
    def names(self, machine):
        return [entry["displayName"] for entry in json.loads(self.output("--machine", machine, "--json", "list"))]

    def test_entry_is_removed_for_good(self):
        machine = self.machine(app("Alpha"), app("Beta"))
        self.assertEqual(self.output("--machine", machine, "forget", "Alpha", "--yes"),
                         "Removed the entry of Alpha.\n")
        self.assertEqual(self.names(machine), ["Beta"])
        self.assertEqual(self.output("--machine", machine, "--json", "forget", "-y", "Beta"),
                         '{"removed":true}\n')
        self.assertEqual(self.names(machine), [])

    def test_keys_below_the_entry_go_in_the_same_change(self):
        entry = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\Alpha"
        machine = self.machine(app("Alpha"), *(key(f"{entry}\\{name}", {"x": "y"}) for name in ("1", "2\\3", "4")))
        self.output("--machine", machine, "forget", "Alpha", "--yes")
        self.assertEqual(sorted(file.name for file in (machine / "registry").iterdir()),
                         ["10-machine.reg", "~change-00000001.reg"])
        self.assertEqual(self.names(machine), [])

    def test_unknown_name(self):
        machine = self.machine(app("Alpha"))
        self.assertIn('"alpha"', self.refusal(1, "--machine", machine, "forget", "alpha", "--yes"))

    def test_entry_that_stays_is_told_although_the_library_reports_success(self):
        for number, path in enumerate((f"{USER}\\{UNINSTALL}", f"HKEY_LOCAL_MACHINE\\{UNINSTALL_32}")):
            entry = app("Alpha", path=path + "\\Alpha")
            machine = self.machine(entry, name=f"pc{number}")
            self.assertEqual(self.names(machine), ["Alpha"])
            self.assertIn("still listed although the library reports success",
                          self.refusal(1, "--machine", machine, "forget", "Alpha", "--yes"))

    def test_of_two_entries_one_goes(self):
        path = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\"
        machine = self.machine(app("Alpha", path=path + "A"), app("Alpha", path=path + "B"))
        self.output("--machine", machine, "forget", "Alpha", "--yes")
        self.assertEqual(self.names(machine), ["Alpha"])

    def test_refused(self):
        machine = self.machine(app("Alpha"))
        (machine / "machine.json").write_text(json.dumps({
            "elevation": "refused",
            "deniedAccess": {f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\Alpha": ["DELETE"]}}))
        self.assertIn("elevation was refused", self.refusal(1, "--machine", machine, "forget", "Alpha", "--yes"))
        self.assertEqual(self.names(machine), ["Alpha"])

    def test_nobody_to_ask(self):
        machine = self.machine(app("Alpha"))
        self.assertIn("--yes", self.refusal(2, "--machine", machine, "forget", "Alpha"))
        self.assertEqual(self.names(machine), ["Alpha"])

    def answered(self, machine, answer):
        ours, its = pty.openpty()
        os.write(ours, answer)
        done = subprocess.run([PROGRAM, "--machine", str(machine), "forget", "Alpha"], stdin=its,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment(),
                              timeout=SECONDS)
        os.close(its)
        os.close(ours)
        self.assertIn(b'Remove the registry entry of "Alpha"', done.stderr)
        return done

    def test_person_is_asked(self):
        machine = self.machine(app("Alpha"))
        for answer in (b"n\n", b"\n", b"maybe\n"):
            done = self.answered(machine, answer)
            self.assertEqual((done.returncode, done.stdout), (1, b""))
            self.assertEqual(self.names(machine), ["Alpha"])
        self.assertEqual(self.answered(machine, b"y\n").returncode, 0)
        self.assertEqual(self.names(machine), [])
