"""Machines that cannot be used, and the one that is used where none is named."""

import json
import subprocess

from kestrelbay import HEADER, PROGRAM, TestCase, app, environment


class MachineTest(TestCase):
    def list_refusal(self, machine):
        return self.refusal(1, "--machine", machine, "list")

    def test_missing_folder(self):
        self.assertIn(str(self.folder / "none"), self.list_refusal(self.folder / "none"))

    def test_file_instead_of_a_folder(self):
        file = self.folder / "file"
        file.write_text("x")
        self.assertIn(str(file), self.list_refusal(file))

    def test_folder_that_is_no_machine(self):
        (self.folder / "holiday.txt").write_text("x")
        self.assertIn(str(self.folder), self.list_refusal(self.folder))

    def test_malformed_registration_file_is_told_with_its_line(self):
        machine = self.machine(app("Alpha"))
        bad = machine / "registry" / "20-bad.reg"
        bad.write_text(HEADER + "\n[HKEY_LOCAL_MACHINE\\Software\\X]\n\"a\"=nonsense\n")
        self.assertIn(f"{bad}:4: ", self.list_refusal(machine))

    def test_malformed_json_is_told_with_its_line(self):
        machine = self.machine(app("Alpha"))
        bad = machine / "machine.json"
        bad.write_text('{\n  "user": {,}\n}\n')
        self.assertIn(f"{bad}:2: ", self.list_refusal(machine))

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

    def test_sample_is_used_where_none_is_named(self):
        self.assertGreater(len(json.loads(self.output("--json", "list"))), 10)

    def test_line_tells_names_without_letting_them_act(self):
        line = self.list_refusal(self.folder / "no\x1b[31mne")
        self.assertIn("no\u241b[31mne", line)
