"""Installing and uninstalling: progress, results, Ctrl-C, and lasting changes."""

import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess

from kestrelbay import HEADER, PROGRAM, SECONDS, UNINSTALL, TestCase, app, environment, key

ENTRY = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\Alpha"
REMOVER = r"C:\Alpha\remove.exe"
# Root writes into every folder.
POWERLESS = 65534 if os.geteuid() == 0 else None
# Programs wait for this file, so that a test decides when they continue.
GO = r"C:\go"


class JobTestCase(TestCase):
    def pc(self, *keys, programs):
        """A machine with these programs, each a list of steps or a description. A file is at each path."""
        machine = self.machine(*keys)
        described = {path: what if isinstance(what, dict) else {"steps": what} for path, what in programs.items()}
        (machine / "machine.json").write_text(json.dumps({"programs": described}))
        for path in programs:
            file = machine / "drives" / "C" / path[3:].replace("\\", "/")
            file.parent.mkdir(parents=True, exist_ok=True)
            file.touch()
        return machine

    def setup_file(self, machine, name, *keys):
        """A registration file for a step to merge."""
        folder = machine / "setups"
        folder.mkdir(exist_ok=True)
        (folder / name).write_text(HEADER + "".join(keys))

    def alpha(self, version="1.0"):
        return app("Alpha", DisplayVersion=version, UninstallString=f'"{REMOVER}" /S')

    def listed(self, machine):
        return {entry["displayName"]: entry["displayVersion"]
                for entry in json.loads(self.output("--machine", machine, "--json", "list"))}


    def follow(self, machine, *arguments, user=None):
        """Starts the command line; to be used as a context."""
        return subprocess.Popen([PROGRAM, "--machine", str(machine), *arguments], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment(), user=user)

    def read_until(self, process, awaited, lines=b""):
        """Reads standard error until it has `awaited`; `lines` is the part read before."""
        while awaited not in lines:
            piece = os.read(process.stderr.fileno(), 4096)
            self.assertTrue(piece, lines)
            lines += piece
        return lines

    def let_go_on(self, machine):
        (machine / "drives" / "C" / "go").touch()

    def finish(self, process, lines):
        """Waits for the end; returns the status and both outputs."""
        output, rest = process.communicate(timeout=SECONDS)
        return process.returncode, output.decode(), (lines + rest).decode()

    def let_go_on_when(self, machine, awaited, *arguments):
        """Runs the command line; its programs continue when standard error has `awaited`."""
        with self.follow(machine, *arguments) as process:
            lines = self.read_until(process, awaited)
            self.let_go_on(machine)
            return self.finish(process, lines)


class InstallTest(JobTestCase):
    def setUp(self):
        super().setUp()
        self.step = [{"merges": "setups/alpha.reg", "adds": [REMOVER]}]

    def machine_with(self, *keys):
        machine = self.pc(*keys, programs={r"C:\setup.exe": [*self.step]})
        self.setup_file(machine, "alpha.reg", self.alpha("2.0"))
        return machine

    def test_new_application_is_printed_and_lasts(self):
        machine = self.machine_with()
        self.assertEqual(self.output("--machine", machine, "install", r"C:\setup.exe", "--name", "Alpha"),
                         "Installed Alpha: not installed -> 2.0\n")
        self.assertEqual(self.listed(machine), {"Alpha": "2.0"})
        self.assertTrue((machine / "drives" / "C" / "Alpha" / "remove.exe").exists())

    def test_update_is_printed_with_both_versions(self):
        machine = self.machine_with(self.alpha())
        self.assertEqual(self.output("--machine", machine, "install", r"C:\setup.exe", "--name", "Alpha"),
                         "Updated Alpha: 1.0 -> 2.0\n")

    def test_json_has_the_record_and_the_change(self):
        machine = self.machine_with()
        self.assertEqual(
            json.loads(self.output("--machine", machine, "--json", "install", r"C:\setup.exe", "--name", "Alpha")),
            {"displayName": "Alpha", "result": "Success", "errMsg": "NULL", "displayVersion": "2.0",
             "before": None, "after": {"displayVersion": "2.0"}, "change": "appeared", "stopped": False})

    def test_failure_is_printed_on_standard_error(self):
        machine = self.pc(programs={r"C:\setup.exe": {"exitCode": 3}})
        line = self.refusal(1, "--machine", machine, "install", r"C:\setup.exe", "--name", "Alpha")
        self.assertIn('not installed: "Alpha" is not listed', line)

    def test_failure_in_json_is_printed_on_both(self):
        machine = self.pc(self.alpha(), programs={r"C:\setup.exe": {"elevation": "refused"}})
        done = self.run_host("--machine", machine, "--json", "install", r"C:\setup.exe", "--name", "Alpha")
        self.assertEqual(done.returncode, 1)
        self.assertIn(b'not updated: "Alpha" has the same version as before (1.0 -> 1.0)', done.stderr)
        told = json.loads(done.stdout)
        self.assertEqual((told["result"], told["errMsg"], told["change"]), ("Fail", "Update fail!", "still there"))

    def test_failure_that_later_is_none_is_said_to_have_changed(self):
        for message, after, told in (
                ("Cannot find the app from registry!", "2.0",
                 'not installed when the library looked: "A" has changed since then (not installed -> 2.0); see'),
                ("Update fail!", "2.0", 'not updated when the library looked: "A" has changed since then (1.0 -> 2.0); see'),
                ("Update fail!", "-", '"A" has changed since then (1.0 -> not installed)'),
                ("Update fail!", "1.0", 'not updated: "A" has the same version as before (1.0 -> 1.0)')):
            canned = {"CANNED_NAME": "A", "CANNED_ERRMSG": message, "CANNED_AFTER": after,
                      "CANNED_BEFORE": "1.0" if message == "Update fail!" else "-"}
            self.assertIn(told, self.refusal(1, "install", r"C:\setup.exe", "--name", "A", canned=canned))

    def test_update_that_leaves_nothing_is_printed_as_a_removal(self):
        machine = self.pc(self.alpha(), programs={r"C:\setup.exe": [{"merges": "setups/gone.reg"}]})
        self.setup_file(machine, "gone.reg", f"\n[-{ENTRY}]\n")
        self.assertEqual(self.output("--machine", machine, "install", r"C:\setup.exe", "--name", "Alpha"),
                         "Removed by its installer, Alpha: 1.0 -> not installed\n")

    def test_missing_installer_and_names(self):
        machine = self.machine(name="empty")
        self.assertIn("there is no file C:\\none.exe",
                      self.refusal(1, "--machine", machine, "install", r"C:\none.exe", "--name", "A"))
        self.assertIn("no installer",
                      self.refusal(1, "--machine", machine, "install", "", "--name", "A"))
        setup = self.machine_with()
        self.assertIn("no name: give the one that the application will be listed under, with --name",
                      self.refusal(1, "--machine", setup, "install", r"C:\setup.exe", "--name", ""))
        self.assertIn("--name", self.refusal(2, "--machine", machine, "install", r"C:\none.exe"))
        self.assertIn("at most 259",
                      self.refusal(2, "--machine", machine, "install", "C:\\" + "x" * 257, "--name", "A"))

    def test_version_longer_than_its_field_is_printed_whole(self):
        self.step = [{"merges": "setups/alpha.reg"}]
        machine = self.pc(programs={r"C:\setup.exe": self.step})
        version = "é" * 259
        self.setup_file(machine, "alpha.reg", self.alpha(version))
        told = json.loads(self.output("--machine", machine, "--json", "install", r"C:\setup.exe", "--name", "Alpha"))
        self.assertEqual(told["displayVersion"], version)

    def test_arguments_reach_the_installer(self):
        machine = self.machine_with()
        done = self.run_host("--machine", machine, "--log", "install", r"C:\setup.exe", "--name", "Alpha",
                             "--args", "/S /D=x")
        self.assertIn(b"appPath=C:\\setup.exe, para=/S /D=x", done.stderr)

    def test_terminal_shows_the_seconds_and_erases_them(self):
        self.step[0]["waitMs"] = 1200
        sent = self.run_on_terminal("--machine", self.machine_with(), "install", r"C:\setup.exe", "--name", "Alpha")
        self.assertIn("\rInstalling Alpha, 1 s", sent)
        self.assertTrue(sent.endswith("\r\x1b[KInstalled Alpha: not installed -> 2.0\n"), repr(sent[-200:]))


class UninstallTest(JobTestCase):
    def machine_with(self, steps, **setups):
        machine = self.pc(self.alpha(), programs={REMOVER: steps})
        self.setup_file(machine, "sub.reg", key(ENTRY + "\\Removal", {}))
        self.setup_file(machine, "gone.reg", f"\n[-{ENTRY}]\n")
        return machine

    def test_removal_is_printed_and_lasts(self):
        machine = self.machine_with([{"waitsForWatch": ENTRY, "merges": "setups/gone.reg", "removes": [REMOVER]}])
        self.assertEqual(self.output("--machine", machine, "uninstall", "Alpha"),
                         "Removed Alpha: 1.0 -> not installed\n")
        self.assertEqual(self.listed(machine), {})
        self.assertFalse((machine / "drives" / "C" / "Alpha" / "remove.exe").exists())

    def test_uninstaller_that_goes_on_is_waited_for_before_the_machine_is_left(self):
        machine = self.machine_with([{"waitsForWatch": ENTRY, "merges": "setups/sub.reg"},
                                     {"waitsForFile": GO, "merges": "setups/gone.reg"}])
        status, output, lines = self.let_go_on_when(machine, b'"Alpha" is still listed', "uninstall", "Alpha")
        self.assertEqual((status, output), (1, ""))
        self.assertRegex(lines, r"\Akestrelbay: [^\n]+\n\Z")
        self.assertEqual(self.listed(machine), {})

    def test_failure_that_later_is_none_is_said_to_have_changed(self):
        canned = {"CANNED_NAME": "A", "CANNED_ERRMSG": "The app is still in registry!", "CANNED_BEFORE": "1.0"}
        self.assertIn('not removed when the library looked: "A" is gone since then (1.0 -> not installed)',
                      self.refusal(1, "uninstall", "A", canned={**canned, "CANNED_AFTER": "-"}))
        self.assertIn('not removed: "A" is still listed (1.0 -> 1.0)',
                      self.refusal(1, "uninstall", "A", canned={**canned, "CANNED_AFTER": "1.0"}))

    def test_refusals_say_what_to_do(self):
        machine = self.pc(self.alpha(), app("Bare", UninstallString=r"C:\none.exe"),
                          programs={REMOVER: {"elevation": "refused"}})
        self.assertIn("was refused", self.refusal(1, "--machine", machine, "uninstall", "Alpha"))
        self.assertIn("kestrelbay forget", self.refusal(1, "--machine", machine, "uninstall", "Bare"))
        self.assertIn('nothing is listed as "None"', self.refusal(1, "--machine", machine, "uninstall", "None"))
        self.assertIn("no name: give the name under which the application is listed",
                      self.refusal(1, "--machine", machine, "uninstall", ""))

    def test_application_without_a_command_is_named(self):
        # An entry that the installer manages is listed without one.
        product = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\{{11111111-2222-3333-4444-555555555555}}"
        machine = self.machine(key(product, {"DisplayName": "Bare", "WindowsInstaller": "1"}))
        self.assertIn('"Bare" has no uninstall command; remove it with the program that installed it',
                      self.refusal(1, "--machine", machine, "uninstall", "Bare"))

    def test_json_has_the_cancellation(self):
        machine = self.pc(self.alpha(), programs={REMOVER: {"givesHandle": False}})
        done = self.run_host("--machine", machine, "--json", "uninstall", "Alpha")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(json.loads(done.stdout)["result"], "Cancel")


class InterruptTest(JobTestCase):
    # Programs wait for a file here, so that none ends before the command line has printed its verdict.
    WAITING = {"waitsForFile": GO}

    def interrupt(self, machine, *arguments, waiting, verdict, user=None):
        """Interrupts a job that waits, and lets its program continue after the verdict is printed."""
        with self.follow(machine, "--log", *arguments, user=user) as process:
            lines = self.read_until(process, waiting)
            process.send_signal(signal.SIGINT)
            lines = self.read_until(process, verdict, lines)
            self.let_go_on(machine)
            return self.finish(process, lines)

    def interrupt_installer(self, machine, *arguments):
        return self.interrupt(machine, *arguments, "install", r"C:\setup.exe", "--name", "Alpha",
                              waiting=b"enter StartInstallProcessAndWait", verdict=b"kestrelbay: stopped waiting: ")

    def test_first_one_ends_the_wait_and_not_the_installer(self):
        machine = self.pc(programs={r"C:\setup.exe": [{**self.WAITING, "merges": "setups/alpha.reg"}]})
        self.setup_file(machine, "alpha.reg", self.alpha())
        status, output, lines = self.interrupt_installer(machine)
        self.assertEqual((status, output), (1, ""))
        self.assertIn("no longer waiting: the installer goes on by itself", lines)
        self.assertIn("setStopAppEvent success.", lines)
        self.assertIn('stopped waiting: "Alpha" is not listed yet, and the installer goes on by itself; see the result '
                      'later with: kestrelbay list', lines)
        self.assertNotIn("failed", lines.partition("no longer waiting")[2])
        self.assertEqual(self.listed(machine), {"Alpha": "1.0"})

    def test_json_says_that_the_wait_was_ended(self):
        machine = self.pc(programs={r"C:\setup.exe": [self.WAITING]})
        status, output, _ = self.interrupt_installer(machine, "--json")
        self.assertEqual(status, 1)
        told = json.loads(output)
        self.assertEqual((told["result"], told["change"], told["stopped"]), ("Fail", "none", True))

    def test_removal_is_judged_at_once_and_its_uninstaller_goes_on(self):
        machine = self.pc(self.alpha(), programs={REMOVER: [{**self.WAITING, "merges": "setups/gone.reg"}]})
        self.setup_file(machine, "gone.reg", f"\n[-{ENTRY}]\n")
        status, output, lines = self.interrupt(machine, "uninstall", "Alpha", waiting=b"rootKeyStr=",
                                               verdict=b"kestrelbay: stopped waiting: ")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("no longer waiting: the uninstaller goes on by itself", lines)
        self.assertIn('stopped waiting: "Alpha" is still listed with version "1.0", and the uninstaller goes on', lines)
        self.assertEqual(self.listed(machine), {})

    def close(self, machine):
        """From now on nobody can write into the machine's registry."""
        (machine / "registry").chmod(0o555)
        self.addCleanup((machine / "registry").chmod, 0o755)

    def interrupt_on_a_closed_machine(self, program, arguments, waiting):
        machine = self.pc(self.alpha(), programs={program: [{**self.WAITING, "merges": "setups/change.reg"}]})
        self.setup_file(machine, "change.reg", self.alpha("2.0"))
        self.folder.chmod(0o755)
        self.close(machine)
        status, output, lines = self.interrupt(machine, *arguments, waiting=waiting, user=POWERLESS,
                                               verdict=b"kestrelbay: stopped waiting: ")
        self.assertEqual((status, output), (1, ""))
        self.assertRegex(lines, r"\nkestrelbay: a program could not change the machine: [^\n]*registry: cannot be "
                                r"written \(Permission denied\); make it writable, or use a copy of the machine\n\Z")
        self.assertEqual(self.listed(machine), {"Alpha": "1.0"})

    def test_installer_that_cannot_write_after_the_first_one_is_reported(self):
        self.interrupt_on_a_closed_machine(r"C:\setup.exe", ["install", r"C:\setup.exe", "--name", "Alpha"],
                                           b"enter StartInstallProcessAndWait")

    def test_uninstaller_that_cannot_write_after_the_first_one_is_reported(self):
        self.interrupt_on_a_closed_machine(REMOVER, ["uninstall", "Alpha"], b"rootKeyStr=")

    def test_second_one_ends_the_process(self):
        machine = self.pc(programs={r"C:\setup.exe": [self.WAITING]})
        with self.follow(machine, "--log", "install", r"C:\setup.exe", "--name", "Alpha") as process:
            lines = self.read_until(process, b"enter StartInstallProcessAndWait")
            process.send_signal(signal.SIGINT)
            lines = self.read_until(process, b"no longer waiting", lines)
            process.send_signal(signal.SIGINT)
            status, _, _ = self.finish(process, lines)
        self.assertEqual(status, -signal.SIGINT)


class SampleTest(JobTestCase):
    DOWNLOADS = "C:\\Users\\Anna\\Downloads\\"

    def sample(self):
        """A copy of the sample, on which changes last, and where no program takes longer than it must."""
        copy = self.folder / "my-pc"
        shutil.copytree(pathlib.Path(PROGRAM).parents[1] / "share" / "kestrelbay" / "desk", copy)
        file = copy / "machine.json"
        machine = json.loads(file.read_text())
        for program in machine["programs"].values():
            for step in program.get("steps", []):
                step["waitMs"] = step["waitMs"] // 10
        file.write_text(json.dumps(machine))
        return copy

    def test_default_machine_installs_and_stays_as_it_is(self):
        self.assertEqual(
            self.output("install", self.DOWNLOADS + "mothlight-setup.exe", "--name", "Mothlight Player"),
            "Installed Mothlight Player: not installed -> 2.6.1\n")
        self.assertIn("nothing is listed", self.refusal(1, "uninstall", "Mothlight Player"))

    def test_each_kind_of_program_is_there(self):
        self.assertEqual(
            self.output("install", self.DOWNLOADS + "inkwhistle-4.0.exe", "--name", "Inkwhistle PDF Viewer"),
            "Updated Inkwhistle PDF Viewer: 3.9 -> 4.0\n")
        self.assertIn("not listed", self.refusal(1, "install", self.DOWNLOADS + "gullyfoot-setup.exe",
                                                 "--name", "Gullyfoot Importer"))
        self.assertIn("2.60.0 -> 2.60.0", self.refusal(1, "install", self.DOWNLOADS + "wrenlock-update.exe",
                                                       "--name", "Wrenlock Password Safe"))
        self.assertIn("was refused", self.refusal(1, "uninstall", "Wrenlock Password Safe"))
        self.assertIn("still running", self.refusal(1, "uninstall", "Skerry Screen Reader"))

    def test_does_on_a_copy_as_the_readme_says(self):
        readme = (pathlib.Path(__file__).parents[2] / "README.md").read_text()
        block, told = re.search(r"^    alias pc=.*\n((?:    .+\n)+)\n((?:    .+\n)+)", readme, re.MULTILINE).groups()
        machine = self.sample()
        lines = []
        for line in block.splitlines():
            command, *arguments = shlex.split(line, comments=True)
            self.assertEqual(command, "pc")
            done = self.run_host("--machine", machine, *arguments)
            lines += ["    " + line for line in (done.stdout + done.stderr).decode().splitlines()]
        expected = "".join(r"(?s:.*)" if line == "    ..." else re.escape(line + "\n") for line in told.splitlines())
        self.assertRegex("\n".join(lines) + "\n", r"\A" + expected + r"\Z")
        self.assertEqual(self.listed(machine)["Inkwhistle PDF Viewer"], "4.0")

    def test_other_programs_of_the_sample_do_on_a_copy_as_its_description_says(self):
        machine = self.sample()
        self.assertEqual(self.output("--machine", machine, "uninstall", "Inkwhistle PDF Viewer"),
                         "Removed Inkwhistle PDF Viewer: 3.9 -> not installed\n")
        self.assertRegex(self.output("--machine", machine, "install", self.DOWNLOADS + "oakhollow-18.exe",
                                     "--name", "Oakhollow Archiver"),
                         r"\AUpdated Oakhollow Archiver: [\d.]+ -> 18\.00\n\Z")
        self.assertIn("still running", self.refusal(1, "--machine", machine, "uninstall", "Skerry Screen Reader"))
        listed = self.listed(machine)
        self.assertEqual(listed["Oakhollow Archiver"], "18.00")
        for name in ("Inkwhistle PDF Viewer", "Skerry Screen Reader"):
            self.assertNotIn(name, listed)
