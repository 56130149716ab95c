"""Why applications are listed, and why others are not."""

import json
import re

from kestrelbay import HEADER, UNINSTALL, UNINSTALL_32, USER, TestCase, app, key

ROOT = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}"
ROOT_32 = f"HKEY_LOCAL_MACHINE\\{UNINSTALL_32}"
COUNTS = re.compile(r"(\d+) keys?: (\d+) searched, (\d+) listed, (\d+) merged, (\d+) left out, (\d+) not read\.")


class ExplainTest(TestCase):
    def explained(self, machine, *arguments):
        return json.loads(self.output("--machine", machine, "--json", "explain", *arguments))

    def entry(self, machine, *arguments):
        """The only key in the explanation."""
        keys = self.explained(machine, *arguments)["keys"]
        self.assertEqual(len(keys), 1)
        return keys[0]

    def test_each_rule_has_its_text(self):
        rules = {
            "systemComponent": app("A", SystemComponent="1"),
            "noUninstallString": key(ROOT + "\\B", {"DisplayName": "B"}),
            "noName": key(ROOT + "\\C", {"UninstallString": "u"}),
            "publisherExcluded": app("D", Publisher="TOLVAN Handheld Engine"),
            "knowledgeBaseName": app("KB123456"),
            "hasParent": app("F", ParentKeyName="x"),
            "updateRelease": app("G", ReleaseType="Hotfix"),
            "accepted": app("H"),
        }
        keys = self.explained(self.machine(*rules.values()))["keys"]
        entries = [entry for entry in keys if entry["role"] == "uninstallEntry"]
        self.assertCountEqual([entry["rule"] for entry in entries], rules)
        for entry in entries:
            self.assertEqual(entry["fate"], "listed" if entry["rule"] == "accepted" else "left out")

    def test_all_keys_in_a_table_add_up(self):
        text = self.output("--machine", self.machine(app("Alpha"), app("Beta", SystemComponent="1")), "explain")
        lines = text.splitlines()
        self.assertIn("HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products: opened", lines)
        self.assertIn(["Beta", "x64", "Beta", "left", "out:", "SystemComponent", "is", "1"],
                      [line.split() for line in lines])
        numbers = list(map(int, COUNTS.fullmatch(lines[-1]).groups()))
        self.assertEqual(numbers[0], sum(numbers[1:]))
        self.assertEqual(numbers[2], 1)

    def test_name_is_found_in_any_case_and_with_any_blanks(self):
        machine = self.machine(app("Ärger  Plus\u00a0", f"{ROOT}\\x"), app("Other"))
        for name in ("Ärger  Plus\u00a0", "ärgerplus", " ÄRGER PLUS ", "X"):
            entry = self.entry(machine, name)
            self.assertEqual(entry["displayName"], "Ärger  Plus\u00a0")
        self.assertIn('not exactly the one asked for: "Ärger  Plus', self.output("--machine", machine, "explain", "x"))

    def test_name_of_an_entry_rejected_before_its_name_is_found(self):
        machine = self.machine(app("Hidden", f"{ROOT}\\x", SystemComponent="1"))
        self.assertEqual(self.entry(machine, "Hidden")["rule"], "systemComponent")
        self.assertTrue(self.output("--machine", machine, "explain", "Hidden").endswith(
            "Nothing of that name is listed.\n"))

    def test_unknown_name_is_refused(self):
        self.assertIn('"Gamma"', self.refusal(1, "--machine", self.machine(app("Alpha")), "explain", "Gamma"))
        self.refusal(2, "--machine", self.machine(name="blank"), "explain", " ")

    def test_value_that_is_no_text_has_its_type(self):
        machine = self.machine(app("Alpha", DisplayVersion="x" * 300) + '"InstallDate"=hex:01,02\n')
        values = {value["name"]: value for value in self.entry(machine, "Alpha")["values"]}
        self.assertEqual((values["DisplayVersion"]["found"], values["DisplayVersion"]["bytes"]), ("tooLong", 602))
        self.assertEqual((values["InstallDate"]["found"], values["InstallDate"]["type"]), ("otherType", 3))
        self.assertEqual((values["Publisher"]["found"], values["Publisher"]["bytes"]), ("missing", None))
        text = self.output("--machine", machine, "explain", "Alpha")
        for note in ("(too long: 602 bytes, 520 at most)", "(no text: type 3)", "(not there)"):
            self.assertIn(note, text)

    def test_merged_entries_name_each_other_and_the_source_of_each_field(self):
        user = f"{USER}\\{UNINSTALL}\\Second"
        machine = self.machine(
            app("Alpha", f"{ROOT_32}\\First", InstallLocation="C:\\Alpha"),
            key(user, {"DisplayName": "Alpha", "WindowsInstaller": "1", "DisplayVersion": "2"}))
        explained = self.explained(machine, "Alpha")
        first, second = explained["keys"]
        self.assertEqual((first["fate"], first["mergedInto"]), ("merged", second["number"]))
        self.assertEqual((second["fate"], second["earlier"]), ("listed", first["number"]))
        self.assertEqual(second["filled"], ["installLocation", "uninstallString", "registryKey", "architecture"])
        (record,) = explained["records"]
        self.assertEqual(record["fields"]["displayVersion"]["from"],
                         {"key": {"root": "HKEY_USERS", "path": user.partition("\\")[2], "view": 0},
                          "value": "DisplayVersion"})
        self.assertEqual(record["fields"]["installLocation"]["from"],
                         {"key": {"root": "HKEY_LOCAL_MACHINE", "path": f"{UNINSTALL}\\First", "view": 1},
                          "value": "InstallLocation"})
        self.assertEqual(record["fields"]["displayIcon"], {"text": "", "from": None})
        text = self.output("--machine", machine, "explain", "Alpha")
        self.assertIn(f"merged into {user}: no value differs", text)

    def test_records_that_disagree_name_the_field(self):
        machine = self.machine(app("Alpha", f"{ROOT}\\1", DisplayVersion="1"),
                               app("Alpha", f"{ROOT}\\2", DisplayVersion="2"),
                               app("Beta", f"{ROOT_32}\\3"), app("Beta", f"{ROOT}\\3"))
        self.assertIn("listed beside 1: the versions differ", self.output("--machine", machine, "explain", "Alpha"))
        self.assertIn("listed beside 3, 32-bit view: the views differ",
                      self.output("--machine", machine, "explain", "Beta"))

    def test_without_the_products_key_every_explanation_names_it(self):
        machine = self.machine()
        (machine / "registry" / "10-machine.reg").write_text(HEADER + app("Alpha"), encoding="utf-8")
        for arguments in ([], ["Alpha"]):
            entry = self.entry(machine, *arguments)
            self.assertEqual((entry["role"], entry["fate"], entry["status"]), ("installerProducts", "unread", 2))
            self.assertIn("not there: without this key nothing is listed",
                          self.output("--machine", machine, "explain", *arguments))

    def test_the_table_has_the_text_of_the_value_that_decided(self):
        machine = self.machine(
            app("A", SystemComponent="1x"), app("B", UninstallString="u" * 300), app("C", ParentKeyName="Parent"),
            app("D", ReleaseType="Hotfix"), key(ROOT + "\\E", {"DisplayName": "E"}))
        text = self.output("--machine", machine, "explain")
        for words in ('SystemComponent is 1 ("1x")', "no UninstallString (too long: 602 bytes, 520 at most)",
                      'it has a ParentKeyName ("Parent")', 'by its ReleaseType ("Hotfix")', "no UninstallString\n"):
            self.assertIn(words, text)

    def test_all_values_of_all_keys_and_the_sources_of_all_fields(self):
        machine = self.machine(app("Alpha", DisplayVersion="7.5"), app("Beta", SystemComponent="1"))
        text = self.output("--machine", machine, "explain", "--values")
        listed = self.output("--machine", machine, "explain", "Alpha")
        self.assertIn(listed.partition("\n\n")[0], text)
        self.assertRegex(text, r"\nSystemComponent +1\n")
        self.assertRegex(text, r"\ndisplayVersion +DisplayVersion +7\.5\n")
        self.assertEqual(text.splitlines()[-1], self.output("--machine", machine, "explain").splitlines()[-1])
        keys = json.loads(self.output("--machine", machine, "--json", "explain"))["keys"]
        for entry in keys:
            self.assertIn(f"{entry['key']['root']}\\{entry['key']['path']}", text)
        self.assertNotIn("not exactly the one", text)

    def test_hive_without_the_path_is_printed(self):
        machine = self.machine(key(f"{USER}\\Software", {}))
        unread = [entry["key"]["path"] for entry in self.explained(machine)["keys"]
                  if entry["fate"] == "unread" and entry["role"] == "uninstallKey"]
        self.assertIn(f"{USER}\\{UNINSTALL}".partition("\\")[2], unread)

    def test_table_fits_the_requested_columns(self):
        machine = self.machine(app("A name " * 30, InstallLocation="C:\\" + "x" * 200))
        table = [line for line in self.output("--machine", machine, "explain", COLUMNS="60").splitlines()
                 if not line.startswith("HKEY_")][:-1]
        self.assertGreater(len(table), 1)
        self.assertLessEqual(max(map(len, table)), 60)
