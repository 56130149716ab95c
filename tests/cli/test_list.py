"""The list of installed applications, for a program and for a person."""

import json

from kestrelbay import UNINSTALL, UNINSTALL_32, USER, TestCase, app, cells

FIELDS = ["displayName", "installLocation", "displayVersion", "displayIcon", "iconText", "installDate",
          "lastWriteTime", "architecture"]
LONG = "A name that is longer than any column of a narrow table has room for, by far"


class JsonTest(TestCase):
    def test_fields_are_those_of_the_record_in_its_order(self):
        machine = self.machine(app("Alpha", InstallLocation="C:\\Alpha\\", DisplayVersion="1.2",
                                   DisplayIcon='"C:\\Alpha\\a.ico",0', InstallDate="20230115",
                                   last_write_time=133182144000000000))
        pairs = json.loads(self.output("--machine", machine, "--json", "list"), object_pairs_hook=list)
        self.assertEqual(pairs, [list(zip(FIELDS, [
            "Alpha", "C:\\Alpha\\", "1.2", '"C:\\Alpha\\a.ico",0', "C:\\Alpha\\a.ico", "20230115",
            "1673740800000", 2]))])

    def test_architecture_is_a_number_and_absent_values_are_empty(self):
        machine = self.machine(app("B 64"), app("A 32", f"HKEY_LOCAL_MACHINE\\{UNINSTALL_32}\\A"),
                               app("C user", f"{USER}\\{UNINSTALL}\\C"))
        apps = json.loads(self.output("--machine", machine, "list", "--json"))
        self.assertEqual([(a["displayName"], a["architecture"]) for a in apps],
                         [("A 32", 1), ("B 64", 2), ("C user", 0)])
        self.assertEqual(apps[0]["displayVersion"], "")
        self.assertEqual(apps[0]["lastWriteTime"], "-11644473600000")

    def test_order_is_that_of_the_list(self):
        machine = self.machine(*(app(name) for name in ("cherry", "Banana", "Zeta", "apple", "zeta2")))
        apps = json.loads(self.output("--machine", machine, "list", "--json"))
        self.assertEqual([a["displayName"] for a in apps], ["apple", "Banana", "cherry", "Zeta", "zeta2"])

    def test_other_scripts_are_unchanged(self):
        names = ["Καφές", "日本語アプリ", "emoji 👩‍💻"]
        machine = self.machine(*map(app, names))
        text = self.output("--machine", machine, "list", "--json")
        for name in names:
            self.assertIn(f'"displayName":"{name}"', text)

    def test_half_a_character_is_replaced(self):
        machine = self.machine(app("Half", DisplayVersion="1\ud800x"), encoding="utf-16")
        apps = json.loads(self.output("--machine", machine, "list", "--json"))
        self.assertEqual(apps[0]["displayVersion"], "1\ufffdx")

    def test_bytes_that_are_no_text_are_replaced(self):
        text = self.output("list", "--json", canned={"CANNED_NAME": b"bad \xff\xc3( end"})
        self.assertEqual(json.loads(text)[0]["displayName"], "bad \ufffd\ufffd( end")

    def test_nothing_installed_is_an_empty_array(self):
        self.assertEqual(json.loads(self.output("--machine", self.machine(), "list", "--json")), [])

    def test_options_may_be_before_or_after_the_command(self):
        machine = self.machine(app("Alpha"))
        before = self.output("--json", "--machine", machine, "list")
        self.assertEqual(before, self.output("list", "--machine", machine, "--json"))
        self.assertEqual(before, self.output("--machine", machine, "list", "--json"))


class TableTest(TestCase):
    def test_shows_each_application_and_the_count(self):
        machine = self.machine(app("Alpha", DisplayVersion="1.2", InstallDate="20230115",
                                   InstallLocation="C:\\Alpha"), app("Beta", InstallDate="January"))
        self.assertEqual(self.output("--machine", machine, "list").split("\n"), [
            "Name   Version  Arch  Installed   Location",
            "Alpha  1.2      x64   2023-01-15  C:\\Alpha",
            "Beta            x64   January",
            "",
            "2 applications.",
            ""])

    def test_counts_one_and_none(self):
        one = self.output("--machine", self.machine(app("Alpha"), name="one"), "list")
        self.assertTrue(one.endswith("\n1 application.\n"))
        none = self.output("--machine", self.machine(name="none"), "list")
        self.assertEqual(none, "No applications.\n")

    def test_cuts_nothing_in_a_pipe(self):
        machine = self.machine(app(LONG, InstallLocation="C:\\" + "x" * 200, DisplayVersion="1"))
        row = self.output("--machine", machine, "list").split("\n")[1]
        self.assertEqual(row.split(), [*LONG.split(), "1", "x64", "C:\\" + "x" * 200])

    def test_fits_the_requested_columns(self):
        machine = self.machine(app(LONG, InstallLocation="C:\\" + "x" * 200, DisplayVersion="1.2.3.4"),
                               app("管理ツール" * 12, InstallLocation="C:\\y"),
                               app("e\u0301" * 90), app("Short"))
        for columns in (1, 7, 20, 40, 60, 80, 120, 200):
            lines = self.output("--machine", machine, "list", COLUMNS=str(columns)).split("\n")[:-3]
            self.assertEqual(len(lines), 5)
            self.assertLessEqual(max(map(cells, lines)), columns, lines)
            # Nothing is wasted either: where there is too much to show, the widest line fills the width.
            if columns >= 60:
                self.assertGreaterEqual(max(map(cells, lines)), columns - 1, lines)

    def test_marks_stay_with_their_letters(self):
        machine = self.machine(app("e\u0301" * 90))
        row = self.output("--machine", machine, "list", COLUMNS="30").split("\n")[1]
        self.assertRegex(row, "\\A(e\u0301){8,}\u2026 ")

    def test_columns_align_after_wide_and_marked_letters(self):
        machine = self.machine(app("日本", DisplayVersion="1.2"), app("Cafe\u0301", DisplayVersion="1.2"),
                               app("Alpha", DisplayVersion="1.2"))
        lines = self.output("--machine", machine, "list").split("\n")[1:4]
        self.assertEqual({cells(line[:line.index("1.2")]) for line in lines}, {len("Alpha  ")})

    def test_control_characters_are_shown_and_have_no_effect(self):
        machine = self.machine(app("Red\x1b[31m\x9b1m\u202eback\x7f", "HKEY_LOCAL_MACHINE\\" + UNINSTALL + "\\R"))
        text = self.output("--machine", machine, "list")
        self.assertIn("Red\u241b[31m\ufffd1m\ufffdback\u2421", text)
        self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e]")
