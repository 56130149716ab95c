"""Installing and removing: progress, outcomes, Ctrl-C, and what lasts."""

import json
import os
import signal
import subprocess
import time

from kestrelbay import HEADER, PROGRAM, SECONDS, UNINSTALL, TestCase, app, environment, key

ENTRY = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\Alpha"
REMOVER = r"C:\Alpha\remove.exe"


class JobTestCase(TestCase):
    def pc(self, *keys, programs):
        """A machine with programs by path, each a list of steps or a description; files stand at the paths."""
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


class InstallTest(JobTestCase):
    def setUp(self):
        super().setUp()
        self.step = [{"merges": "setups/alpha.reg", "adds": [REMOVER]}]

    def machine_with(self, *keys):
        machine = self.pc(*keys, programs={r"C:\setup.exe": [*self.step]})
        self.setup_file(machine, "alpha.reg", self.alpha("2.0"))
        return machine

    def test_new_application_is_told_and_lasts(self):
        machine = self.machine_with()
        self.assertEqual(self.output("--machine", machine, "install", r"C:\setup.exe", "--name", "Alpha"),
                         "Installed Alpha: not installed -> 2.0\n")
        self.assertEqual(self.listed(machine), {"Alpha": "2.0"})
        self.assertTrue((machine / "drives" / "C" / "Alpha" / "remove.exe").exists())

    def test_update_is_told_with_both_versions(self):
        machine = self.machine_with(self.alpha())
        self.assertEqual(self.output("--machine", machine, "install", r"C:\setup.exe", "--name", "Alpha"),
                         "Updated Alpha: 1.0 -> 2.0\n")

    def test_json_has_the_record_and_the_change(self):
        machine = self.machine_with()
        self.assertEqual(
            json.loads(self.output("--machine", machine, "--json", "install", r"C:\setup.exe", "--name", "Alpha")),
            {"displayName": "Alpha", "result": "Success", "errMsg": "NULL", "displayVersion": "2.0",
             "before": None, "after": {"displayVersion": "2.0"}, "change": "appeared", "stopped": False})

    def test_failure_is_told_on_standard_error(self):
        machine = self.pc(programs={r"C:\setup.exe": {"exitCode": 3}})
        line = self.refusal(1, "--machine", machine, "install", r"C:\setup.exe", "--name", "Alpha")
        self.assertIn('not installed: "Alpha" is not listed', line)

    def test_failure_in_json_is_told_on_both(self):
        machine = self.pc(self.alpha(), programs={r"C:\setup.exe": {"elevation": "refused"}})
        done = self.run_host("--machine", machine, "--json", "install", r"C:\setup.exe", "--name", "Alpha")
        self.assertEqual(done.returncode, 1)
        self.assertIn(b'not updated: "Alpha" has its version still (1.0 -> 1.0)', done.stderr)
        told = json.loads(done.stdout)
        self.assertEqual((told["result"], told["errMsg"], told["change"]), ("Fail", "Update fail!", "still there"))

    def test_missing_installer_and_names(self):
        machine = self.pc(programs={})
        self.assertIn("there is no file C:\\none.exe",
                      self.refusal(1, "--machine", machine, "install", r"C:\none.exe", "--name", "A"))
        self.assertIn("no installer",
                      self.refusal(1, "--machine", machine, "install", "", "--name", "A"))
        self.assertIn("--name", self.refusal(2, "--machine", machine, "install", r"C:\none.exe"))
        self.assertIn("at most 259",
                      self.refusal(2, "--machine", machine, "install", "C:\\" + "x" * 257, "--name", "A"))

    def test_version_longer_than_its_field_is_told_whole(self):
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

    def test_terminal_shows_how_long_it_takes_and_takes_that_away(self):
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

    def test_removal_is_told_and_lasts(self):
        machine = self.machine_with([{"waitMs": 300, "merges": "setups/gone.reg", "removes": [REMOVER]}])
        self.assertEqual(self.output("--machine", machine, "uninstall", "Alpha"),
                         "Removed Alpha: 1.0 -> not installed\n")
        self.assertEqual(self.listed(machine), {})
        self.assertFalse((machine / "drives" / "C" / "Alpha" / "remove.exe").exists())

    def test_uninstaller_that_goes_on_is_waited_for_before_the_machine_is_left(self):
        machine = self.machine_with([{"waitMs": 300, "merges": "setups/sub.reg"},
                                     {"waitMs": 700, "merges": "setups/gone.reg"}])
        self.assertIn('"Alpha" is still listed', self.refusal(1, "--machine", machine, "uninstall", "Alpha"))
        self.assertEqual(self.listed(machine), {})

    def test_refusals_say_what_to_do(self):
        machine = self.pc(self.alpha(), app("Bare", UninstallString=r"C:\none.exe"),
                          programs={REMOVER: {"elevation": "refused"}})
        self.assertIn("was refused", self.refusal(1, "--machine", machine, "uninstall", "Alpha"))
        self.assertIn("kestrelbay forget", self.refusal(1, "--machine", machine, "uninstall", "Bare"))
        self.assertIn('nothing is listed as "None"', self.refusal(1, "--machine", machine, "uninstall", "None"))

    def test_json_tells_the_cancellation(self):
        machine = self.pc(self.alpha(), programs={REMOVER: {"givesHandle": False}})
        done = self.run_host("--machine", machine, "--json", "uninstall", "Alpha")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(json.loads(done.stdout)["result"], "Cancel")


class InterruptTest(JobTestCase):
    def interrupt(self, machine, *arguments, count=1, waiting=b"enter StartInstallProcessAndWait"):
        """Interrupts a job that is sure to wait, and then its end; returns status and both outputs."""
        with subprocess.Popen([PROGRAM, "--machine", str(machine), "--log", *arguments], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment()) as process:
            lines = b""
            while waiting not in lines:
                lines += os.read(process.stderr.fileno(), 4096)
            for _ in range(count):
                process.send_signal(signal.SIGINT)
                while count > 1 and b"no longer waiting" not in lines:
                    lines += os.read(process.stderr.fileno(), 4096)
            output, rest = process.communicate(timeout=SECONDS)
            return process.returncode, output.decode(), (lines + rest).decode()

    def test_first_one_ends_the_wait_and_not_the_installer(self):
        machine = self.pc(programs={r"C:\setup.exe": [{"waitMs": 2000, "merges": "setups/alpha.reg"}]})
        self.setup_file(machine, "alpha.reg", self.alpha())
        status, output, lines = self.interrupt(machine, "install", r"C:\setup.exe", "--name", "Alpha")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("no longer waiting: the installer goes on by itself", lines)
        self.assertIn("setStopAppEvent success.", lines)
        self.assertIn('not installed: "Alpha" is not listed', lines)
        self.assertEqual(self.listed(machine), {"Alpha": "1.0"})

    def test_json_tells_that_the_wait_was_ended(self):
        machine = self.pc(programs={r"C:\setup.exe": [{"waitMs": 1000}]})
        status, output, _ = self.interrupt(machine, "--json", "install", r"C:\setup.exe", "--name", "Alpha")
        self.assertEqual(status, 1)
        told = json.loads(output)
        self.assertEqual((told["result"], told["change"], told["stopped"]), ("Fail", "none", True))

    def test_removal_is_judged_at_once_and_its_uninstaller_goes_on(self):
        machine = self.pc(self.alpha(), programs={REMOVER: [{"waitMs": 2000, "merges": "setups/gone.reg"}]})
        self.setup_file(machine, "gone.reg", f"\n[-{ENTRY}]\n")
        status, output, lines = self.interrupt(machine, "uninstall", "Alpha", waiting=b"rootKeyStr=")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("no longer waiting: the uninstaller goes on by itself", lines)
        self.assertIn('"Alpha" is still listed (1.0 -> 1.0); its uninstaller failed, or is still at work', lines)
        self.assertEqual(self.listed(machine), {})

    def test_second_one_ends_the_process(self):
        machine = self.pc(programs={r"C:\setup.exe": [{"waitMs": 600000}]})
        begin = time.monotonic()
        status, _, lines = self.interrupt(machine, "install", r"C:\setup.exe", "--name", "Alpha", count=2)
        self.assertEqual(status, -signal.SIGINT)
        self.assertIn("no longer waiting", lines)
        self.assertLess(time.monotonic() - begin, SECONDS)


class SampleTest(JobTestCase):
    def test_default_machine_installs_and_stays_as_it_is(self):
        self.assertEqual(
            self.output("install", r"C:\Users\Anna\Downloads\mothlight-setup.exe", "--name", "Mothlight Player"),
            "Installed Mothlight Player: not installed -> 2.6.1\n")
        self.assertIn("nothing is listed", self.refusal(1, "uninstall", "Mothlight Player"))

    def test_each_kind_of_program_is_there(self):
        downloads = "C:\\Users\\Anna\\Downloads\\"
        self.assertEqual(
            self.output("install", downloads + "inkwhistle-4.0.exe", "--name", "Inkwhistle PDF Viewer"),
            "Updated Inkwhistle PDF Viewer: 3.9 -> 4.0\n")
        self.assertIn("not listed",
                      self.refusal(1, "install", downloads + "gullyfoot-setup.exe", "--name", "Gullyfoot Importer"))
        self.assertIn("2.60.0 -> 2.60.0",
                      self.refusal(1, "install", downloads + "wrenlock-update.exe", "--name", "Wrenlock Password Safe"))
        self.assertIn("was refused", self.refusal(1, "uninstall", "Wrenlock Password Safe"))
        self.assertIn("still at work", self.refusal(1, "uninstall", "Skerry Screen Reader"))
