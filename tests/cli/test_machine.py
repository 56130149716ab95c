"""Machines that cannot be used, and the default machine."""

import json
import os
import subprocess

from kestrelbay import HEADER, PROGRAM, TestCase, app, contents, environment

# Root may read and write every file.
POWERLESS = 65534 if os.geteuid() == 0 else None


class MachineTest(TestCase):
    def list_refusal(self, machine):
        """The only line of the refusal. Checks that it changes nothing on disk."""
        before = contents(self.folder)
        line = self.refusal(1, "--machine", machine, "list")
        self.assertEqual(contents(self.folder), before)
        return line

    def test_missing_folder(self):
        self.assertIn(str(self.folder / "none"), self.list_refusal(self.folder / "none"))

    def test_file_instead_of_a_folder(self):
        file = self.folder / "file"
        file.write_text("x")
        self.assertIn(str(file), self.list_refusal(file))

    def test_folder_without_a_machine(self):
        (self.folder / "holiday.txt").write_text("x")
        self.assertIn(str(self.folder), self.list_refusal(self.folder))

    def test_malformed_registration_file_is_refused_with_its_line(self):
        machine = self.machine(app("Alpha"))
        bad = machine / "registry" / "20-bad.reg"
        bad.write_text(HEADER + "\n[HKEY_LOCAL_MACHINE\\Software\\X]\n\"a\"=nonsense\n")
        self.assertIn(f"{bad}:4: ", self.list_refusal(machine))

    def test_malformed_json_is_refused_with_its_line(self):
        machine = self.machine(app("Alpha"))
        bad = machine / "machine.json"
        bad.write_text('{\n  "user": {,}\n}\n')
        self.assertIn(f"{bad}:2: ", self.list_refusal(machine))

    def test_wrong_json_is_refused_with_its_line_and_member(self):
        machine = self.machine(app("Alpha"))
        bad = machine / "machine.json"
        bad.write_text('{\n  "appsFolder": [{},\n  {"name": 1}]}\n')
        self.assertIn(f"{bad}:3: appsFolder[1].name: ", self.list_refusal(machine))

    def test_json_nested_too_deep(self):
        machine = self.machine(app("Alpha"))
        bad = machine / "machine.json"
        for start in ('"capture": {"format": 1},', ""):
            bad.write_text("{" + start + '"x":\n' + "[" * 200000 + "]" * 200000 + "}")
            self.assertIn(f"{bad}:2: ", self.list_refusal(machine))

    def test_folder_and_pipe_in_place_of_files(self):
        machine = self.machine(app("Alpha"))
        for name in ("machine.json", "registry/20.reg"):
            (machine / name).mkdir()
            self.assertIn(f"{machine / name}: ", self.list_refusal(machine))
            (machine / name).rmdir()
            os.mkfifo(machine / name)
            before = set(machine.rglob("*"))
            self.assertIn(f"{machine / name}: ", self.refusal(1, "--machine", machine, "list"))
            self.assertEqual(set(machine.rglob("*")), before)
            (machine / name).unlink()

    def test_folder_that_cannot_be_read(self):
        machine = self.machine(app("Alpha"))
        self.folder.chmod(0o755)
        for closed in (machine, machine / "registry", machine / "registry" / "10-machine.reg"):
            mode = closed.stat().st_mode
            closed.chmod(0)
            self.assertIn(f"{closed}: ", self.refusal(1, "--machine", machine, "list", user=POWERLESS))
            closed.chmod(mode)
        self.output("--machine", machine, "list", user=POWERLESS)

    def test_machine_that_cannot_be_written_is_listed_and_stays_as_it_is(self):
        machine = self.machine(app("Alpha"))
        self.folder.chmod(0o755)
        (machine / "registry").chmod(0o555)
        self.addCleanup((machine / "registry").chmod, 0o755)
        before = contents(machine)
        self.assertIn("Alpha", self.output("--machine", machine, "list", user=POWERLESS))
        self.run_host("--machine", machine, "forget", "Alpha", user=POWERLESS)
        self.assertEqual(contents(machine), before)
        self.assertIn("Alpha", self.output("--machine", machine, "list", user=POWERLESS))

    def test_machine_in_use(self):
        machine = self.machine(*(app(f"Application {i}") for i in range(1000)))
        # Its list is more than a pipe holds, so it does not end before it is read.
        with subprocess.Popen([PROGRAM, "--machine", str(machine), "--json", "list"], stdout=subprocess.PIPE,
                              env=environment()) as first:
            beginning = first.stdout.read(1)
            self.assertIn(str(machine), self.list_refusal(machine))
            self.assertEqual(len(json.loads(beginning + first.stdout.read())), 1000)
        self.assertEqual(first.returncode, 0)
        self.output("--machine", machine, "list")

    def test_sample_is_the_default_machine(self):
        self.assertGreater(len(json.loads(self.output("--json", "list"))), 10)

    def test_names_in_messages_have_no_effect_on_the_terminal(self):
        line = self.list_refusal(self.folder / "no\x1b[31mne")
        self.assertIn("no\u241b[31mne", line)
