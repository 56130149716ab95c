"""Wrong usage, help, and the commands with fixed answers."""

import json

from kestrelbay import TestCase


class WrongUsageTest(TestCase):
    def test_is_refused_in_one_line(self):
        for arguments, part in (
                ([], "no command given"),
                (["--json"], "no command given"),
                (["nonsense"], "nonsense"),
                (["list", "list"], "list"),
                (["list", "blocked"], "blocked"),
                (["--wrong", "list"], "--wrong"),
                (["list", "--wrong"], "--wrong"),
                (["list", "--machine"], "--machine"),
                (["list", "--json=perhaps"], "--json"),
                (["icon"], "NAME"),
                (["icon", "one", "two"], "two"),
                (["icon", "Alpha", "-o", ""], "--output: the name is empty"),
                (["report", "-o", ""], "--output: the name is empty"),
                (["capture", ""], "DIR: the name is empty"),
                (["root", "--mode", "3"], "--mode"),
                (["root", "--mode", "x"], "--mode")):
            with self.subTest(arguments):
                line = self.refusal(2, *arguments)
                self.assertIn(part, line)
                self.assertIn("kestrelbay --help", line)

    def test_is_found_before_the_machine_is_opened(self):
        self.assertNotIn("missing", self.refusal(2, "--machine", self.folder / "missing", "nonsense"))


class HelpTest(TestCase):
    def test_names_the_commands_and_the_exit_status(self):
        text = self.output("--help")
        for part in ("kestrelbay [OPTIONS] COMMAND", "--machine DIR", "--json", "--log", "blocked", "icon",
                     "list", "root", "Exit status"):
            self.assertIn(part, text)
        self.assertEqual(text, self.output("-h"))

    def test_each_command_has_its_own(self):
        for command, part in (("list", "--icons"), ("icon", "FILE.png"), ("root", "--mode"),
                              ("blocked", "blocked")):
            self.assertIn(part, self.output(command, "--help"))

    def test_version_is_a_line(self):
        self.assertRegex(self.output("--version"), r"\Akestrelbay \d+\.\d+\n\Z")


class FixedAnswersTest(TestCase):
    def test_blocked(self):
        names = ["com.tolvan.tvdisk", "com.tolvan.baymarket"]
        machine = self.machine()
        self.assertEqual(self.output("--machine", machine, "blocked").split(), names)
        self.assertEqual(json.loads(self.output("--machine", machine, "blocked", "--json")), names)

    def test_root(self):
        machine = self.machine()
        (machine / "machine.json").write_text(
            '{"hostPath": "D:\\\\Store\\\\host.exe", "currentDirectory": "D:\\\\Work"}')
        self.assertEqual(self.output("--machine", machine, "root"), "D:\\Store\n")
        self.assertEqual(self.output("--machine", machine, "root", "--mode", "1"), "D:\\Work\n")
        self.assertEqual(json.loads(self.output("--machine", machine, "--json", "root")), {"root": "D:\\Store"})
