"""Differences of two lists."""

import json

from kestrelbay import UNINSTALL, UNINSTALL_32, TestCase, app

ROOT = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}"


class ListsTest(TestCase):
    def setUp(self):
        super().setUp()
        self.count = 0

    def pc(self, *keys):
        self.count += 1
        return self.machine(*keys, name=f"pc{self.count}")

    def saved(self, *keys):
        """The list of such a machine, saved to a file."""
        self.count += 1
        file = self.folder / f"list{self.count}.json"
        file.write_text(self.output("--machine", self.pc(*keys), "--json", "list"), encoding="utf-8")
        return file


class DiffTest(ListsTest):
    def diff(self, before, after):
        return json.loads(self.output("--json", "diff", before, after))

    def check_changed(self, before, after, expected):
        """One application is changed in these fields, and nothing else differs."""
        difference = self.diff(self.pc(*before), self.pc(*after))
        self.assertEqual((difference["appeared"], difference["gone"]), ([], []))
        (changed,) = difference["changed"]
        self.assertEqual({name: (field["before"], field["after"]) for name, field in changed["fields"].items()},
                         expected)

    def test_prints_appeared_gone_and_changed_applications(self):
        before = self.pc(app("Alpha", DisplayVersion="1"), app("Beta", DisplayVersion="5"), app("Same"))
        after = self.pc(app("Alpha", DisplayVersion="2"), app("Gamma"), app("Same"))
        difference = self.diff(before, after)
        self.assertEqual([entry["displayName"] for entry in difference["appeared"]], ["Gamma"])
        self.assertEqual([entry["displayName"] for entry in difference["gone"]], ["Beta"])
        (changed,) = difference["changed"]
        self.assertEqual(changed["application"]["displayVersion"], "2")
        self.assertEqual(changed["fields"], {"displayVersion": {"before": "1", "after": "2"}})
        self.assertEqual(difference["same"], 1)
        lines = [line.split() for line in self.output("diff", before, after).splitlines()]
        self.assertEqual(lines, [["What", "Name", "Arch", "Field", "Before", "After"],
                                 ["changed", "Alpha", "x64", "displayVersion", "1", "2"],
                                 ["gone", "Beta", "x64", "displayVersion", "5"],
                                 ["appeared", "Gamma", "x64", "displayVersion"], [],
                                 "1 appeared, 1 gone, 1 changed, 1 the same.".split()])

    def test_every_field_is_compared(self):
        first = app("Alpha", InstallLocation="C:\\A", DisplayVersion="1", DisplayIcon="a.ico", InstallDate="20240101",
                    last_write_time=133182144000000000)
        second = app("Alpha", f"HKEY_LOCAL_MACHINE\\{UNINSTALL_32}\\Alpha", InstallLocation="C:\\B",
                     DisplayVersion="2", DisplayIcon="b.ico", InstallDate="20250101",
                     last_write_time=133182144010000000)
        fields = {"installLocation": ("C:\\A", "C:\\B"), "displayVersion": ("1", "2"),
                  "displayIcon": ("a.ico", "b.ico"), "installDate": ("20240101", "20250101"),
                  "lastWriteTime": ("1673740800000", "1673740801000"), "architecture": (2, 1)}
        self.check_changed([first], [second], fields)
        difference = self.diff(self.saved(first), self.saved(second))
        self.assertEqual(difference["changed"][0]["fields"]["iconText"], {"before": "a.ico", "after": "b.ico"})

    def test_machine_and_its_saved_list_are_the_same(self):
        keys = [app("Alpha", DisplayVersion="1"), app("Beta", DisplayIcon="C:\\b.exe")]
        machine, file = self.pc(*keys), self.saved(*keys)
        for sides in ((machine, file), (file, machine), (machine, machine), (file, file)):
            self.assertEqual(self.output("diff", *sides), "0 appeared, 0 gone, 0 changed, 2 the same.\n")

    def test_one_name_is_paired_by_architecture(self):
        wide, narrow = f"{ROOT}\\A", f"HKEY_LOCAL_MACHINE\\{UNINSTALL_32}\\A"
        self.check_changed([app("A", narrow, DisplayVersion="1"), app("A", wide, DisplayVersion="1")],
                           [app("A", narrow, DisplayVersion="1"), app("A", wide, DisplayVersion="2")],
                           {"displayVersion": ("1", "2")})

    def test_one_name_and_architecture_is_paired_by_location_and_then_by_version(self):
        first = {"InstallLocation": "C:\\1", "DisplayVersion": "1"}
        second = {"InstallLocation": "C:\\2", "DisplayVersion": "2"}
        moved = {"InstallLocation": "C:\\2", "DisplayVersion": "1"}
        self.check_changed([app("A", f"{ROOT}\\1", **first), app("A", f"{ROOT}\\2", **second)],
                           [app("A", f"{ROOT}\\1", **first), app("A", f"{ROOT}\\2", **moved)],
                           {"displayVersion": ("2", "1")})
        third = {"InstallLocation": "C:\\3", "DisplayVersion": "2"}
        self.check_changed([app("A", f"{ROOT}\\1", **first), app("A", f"{ROOT}\\2", **second)],
                           [app("A", f"{ROOT}\\1", **third), app("A", f"{ROOT}\\2", **first)],
                           {"installLocation": ("C:\\2", "C:\\3")})

    def test_one_of_two_applications_of_a_name_is_gone(self):
        narrow = app("A", f"HKEY_LOCAL_MACHINE\\{UNINSTALL_32}\\A", DisplayVersion="1")
        difference = self.diff(self.pc(app("A", DisplayVersion="1"), narrow), self.pc(narrow))
        self.assertEqual([entry["architecture"] for entry in difference["gone"]], [2])
        self.assertEqual(difference["same"], 1)

    def test_names_that_differ_in_case_are_different(self):
        difference = self.diff(self.pc(app("Alpha")), self.pc(app("ALPHA")))
        self.assertEqual((len(difference["appeared"]), len(difference["gone"])), (1, 1))

    def test_status_says_whether_they_differ_only_with_the_option(self):
        one, two = self.saved(app("Alpha")), self.saved(app("Beta"))
        for arguments, status in (([one, two], 0), ([one, one, "--exit-code"], 0), ([one, two, "--exit-code"], 1)):
            done = self.run_host("diff", *arguments)
            self.assertEqual((done.returncode, done.stderr), (status, b""))

    def test_trouble_has_its_own_status_as_for_diff(self):
        good, missing = self.saved(app("Alpha")), self.folder / "missing.json"
        self.refusal(1, "diff", good, missing)
        self.refusal(2, "diff", "--exit-code", good, missing)
        with open("/dev/full", "wb") as full:
            self.refusal(2, "diff", "--exit-code", good, good, stdout=full)
            self.refusal(1, "diff", good, good, stdout=full)

    def test_option_machine_is_refused(self):
        file = self.saved()
        self.assertIn("omit --machine", self.refusal(2, "--machine", self.pc(), "diff", file, file))
        self.refusal(2, "diff", file)


class BadListTest(ListsTest):
    def check_refused(self, contents, *words):
        good = self.saved(app("Alpha"))
        bad = self.folder / "bad.json"
        bad.write_bytes(contents)
        for sides in ((good, bad), (bad, good)):
            line = self.refusal(1, "diff", *sides)
            for word in (str(bad), *words):
                self.assertIn(word, line)

    def test_list_that_is_cut_off_is_refused(self):
        whole = self.saved(app("Alpha"), app("Beta")).read_bytes()
        for length in range(len(whole.rstrip())):
            with self.subTest(length=length):
                bad = self.folder / "cut.json"
                bad.write_bytes(whole[:length])
                self.assertIn("ends in the middle", self.refusal(1, "diff", bad, bad))

    def test_other_files_are_refused(self):
        self.check_refused(b"\x00\x01", "bad.json:1: is not JSON from here on")
        self.check_refused(b"[\n{},\nx]", "bad.json:3: is not JSON from here on")
        self.check_refused(b"{}", "is not a list of applications")
        self.check_refused(b"[3]", "application 1: is not an application")
        self.check_refused(b"[{}]", "application 1: has no displayName")
        self.check_refused(b"[1e999]", "bad.json: has a number that is too large")
        self.check_refused("[]".encode("utf-16"), "is UTF-16, ")

    def test_list_of_more_than_128_mebibytes_is_refused(self):
        large = self.folder / "large.json"
        with large.open("wb") as file:
            file.truncate((128 << 20) + 1)
        self.assertIn(f"{large}: larger than 128 MiB; ", self.refusal(1, "diff", large, large))

    def test_edited_list_is_refused(self):
        entry = json.loads(self.saved(app("Alpha")).read_text(encoding="utf-8"))[0]
        for change, word in (({"displayVersion": 3}, "displayVersion is not a text"),
                             ({"architecture": "x64"}, "architecture is not a whole number"),
                             ({"architecture": 1 << 32}, "architecture is not a whole number"),
                             ({"publisher": "x"}, "has fields that no list of this version has")):
            self.check_refused(json.dumps([{**entry, **change}]).encode(), "application 1: " + word)

    def test_unreadable_files_are_refused(self):
        file = self.saved(app("Alpha"))
        for missing in (self.folder / "none.json", self.folder):
            self.assertIn(str(missing), self.refusal(1, "diff", file, missing))
