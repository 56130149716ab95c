"""Explanations and differences with kestrelbay.exe under Wine."""

import json
import tempfile
import unittest

from wine_windows import GATE, UNINSTALL, reg, run_host

ENTRIES = {"ExplainA": {"DisplayName": "Explained Ж", "UninstallString": "u", "DisplayVersion": "1"},
           "ExplainB": {"DisplayName": "Hidden Ж", "UninstallString": "u", "SystemComponent": "1"}}


class ExplainTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        reg("add", GATE, "/f")
        for entry, values in ENTRIES.items():
            for name, text in values.items():
                reg("add", f"{UNINSTALL}\\{entry}", "/v", name, "/d", text, "/f")

    @classmethod
    def tearDownClass(cls):
        for entry in ENTRIES:
            reg("delete", f"{UNINSTALL}\\{entry}", "/f")

    def explained(self, *arguments):
        done = run_host("--json", "explain", *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return json.loads(done.stdout)

    def test_counts_add_up_to_the_keys_and_match_the_list(self):
        explained = self.explained()
        self.assertEqual(sum(explained["counts"].values()), len(explained["keys"]))
        listed = json.loads(run_host("--json", "list").stdout)
        self.assertEqual(explained["counts"]["listed"], len(listed))
        self.assertEqual([record["fields"]["displayName"]["text"] for record in explained["records"]],
                         [entry["displayName"] for entry in listed])

    def test_name_is_found_in_any_case_and_with_any_blanks(self):
        (key,) = self.explained("EXPLAINEDж")["keys"]
        self.assertEqual((key["displayName"], key["fate"]), ("Explained Ж", "listed"))

    def test_entry_that_is_left_out_has_its_rule(self):
        (key,) = self.explained("hidden ж")["keys"]
        self.assertEqual((key["fate"], key["rule"]), ("left out", "systemComponent"))
        self.assertIn("left out: SystemComponent is 1", run_host("explain", "Hidden Ж").stdout.decode())

    def test_difference_of_saved_lists(self):
        with tempfile.NamedTemporaryFile() as before, tempfile.NamedTemporaryFile() as after:
            for file, version in ((before, "1"), (after, "2")):
                reg("add", f"{UNINSTALL}\\ExplainA", "/v", "DisplayVersion", "/d", version, "/f")
                file.write(run_host("--json", "list").stdout)
                file.flush()
            sides = ["Z:" + file.name.replace("/", "\\") for file in (before, after)]
            (changed,) = json.loads(run_host("--json", "diff", *sides).stdout)["changed"]
            self.assertEqual(changed["fields"]["displayVersion"], {"before": "1", "after": "2"})
            self.assertEqual(run_host("diff", "--exit-code", *sides).returncode, 1)
            self.assertEqual(run_host("diff", "--exit-code", sides[0], sides[0]).returncode, 0)
            done = run_host("diff", sides[0], "C:\\")
            self.assertEqual(done.returncode, 1)
            self.assertIn("which Windows cannot open", done.stderr.decode())
