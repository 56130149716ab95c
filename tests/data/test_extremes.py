"""Registries at the limits of Windows: all other entries are listed correctly."""

import json

from kestrelbay import GATE, HEADER, UNINSTALL, USER, TestCase, app, key

ROOT = "HKEY_LOCAL_MACHINE\\" + UNINSTALL
MOST_LEVELS = 512  # including the predefined key
LONGEST_NAME = 255


def hexadecimal(data):
    return "hex(1):" + ",".join(f"{byte:02x}" for byte in data)


def utf16(text):
    return text.encode("utf-16-le", "surrogatepass")


def long_name():
    return '"' + "v" * 16384 + '"="long"\n'


class ExtremesTest(TestCase):
    def names(self, *keys, encoding="utf-8"):
        """The listed names of these keys, on a machine with two ordinary applications."""
        machine = self.machine(app("Alpha"), *keys, app("Omega", f"{USER}\\{UNINSTALL}\\Omega"),
                               name=f"pc{len(list(self.folder.iterdir()))}", encoding=encoding)
        return [entry["displayName"] for entry in json.loads(self.output("--machine", machine, "list", "--json"))]

    @staticmethod
    def entry_named(data):
        """An entry whose name has these bytes."""
        return key(ROOT + "\\Bytes", {"UninstallString": "u"}) + f'"DisplayName"={hexadecimal(data)}\n'

    def check_left_out(self, *keys):
        """Checks that the last of these keys is left out with a message that has its line, and all others are listed."""
        machine = self.machine(app("Alpha"), *keys, name=f"pc{len(list(self.folder.iterdir()))}")
        done = self.run_host("--machine", machine, "list", "--json")
        self.assertEqual(done.returncode, 0)
        self.assertEqual([entry["displayName"] for entry in json.loads(done.stdout)], ["Alpha"])
        number = (HEADER + GATE + app("Alpha") + "".join(keys[:-1])).count("\n") + 2
        self.assertRegex(done.stderr.decode(),
                         rf"\Akestrelbay: [^\n]+10-machine.reg:{number}: [^\n]+ more than Windows allows; it is left out\n\Z")

    def test_keys_hundreds_deep(self):
        for levels in (500, MOST_LEVELS):
            deep = "\\".join(["HKEY_LOCAL_MACHINE", "Software"] + ["d"] * (levels - 2))
            below = "\\".join([ROOT] + ["d"] * (levels - 1 - ROOT.count("\\")))
            self.assertEqual(self.names(app("Deep", deep), app("Deeper", below)), ["Alpha", "Omega"])

    def test_key_too_deep_is_left_out(self):
        deep = "\\".join(["HKEY_LOCAL_MACHINE"] + ["d"] * MOST_LEVELS)
        self.check_left_out(app("Deep", deep))

    def test_only_the_direct_subkeys_of_the_uninstall_key_are_entries(self):
        self.assertEqual(self.names(app("Inner", ROOT + "\\Alpha\\Inner")), ["Alpha", "Omega"])

    def test_longest_names_of_keys(self):
        longest = "n" * LONGEST_NAME
        self.assertEqual(self.names(app("Long", f"{ROOT}\\{longest}"), app("Longer", f"{ROOT}\\{longest[1:]}\u00fc")),
                         ["Alpha", "Long", "Longer", "Omega"])

    def test_longest_name_of_a_user(self):
        hive = "HKEY_USERS\\" + "u" * LONGEST_NAME
        self.assertEqual(self.names(app("Long", f"{hive}\\{UNINSTALL}\\Long")), ["Alpha", "Long", "Omega"])

    def test_longer_name_of_a_key_is_left_out(self):
        self.check_left_out(app("Long", ROOT + "\\" + "n" * (LONGEST_NAME + 1)))

    def test_longer_name_of_a_value_is_left_out(self):
        self.check_left_out(key(ROOT + "\\Other", {"UninstallString": "u"}).rstrip("\n"), "\n" + long_name())

    def test_text_ends_at_a_nul_inside(self):
        entry = self.entry_named(utf16("A\0B"))
        self.assertEqual(self.names(entry, app("C\0D", ROOT + "\\Raw")), ["A", "Alpha", "C", "Omega"])

    def test_text_without_its_nul_is_read_whole(self):
        self.assertEqual(self.names(self.entry_named(utf16("No"))), ["Alpha", "No", "Omega"])

    def test_half_a_character_affects_no_other_value(self):
        for data in (utf16("B") + b"d", b"x", b""):
            self.assertLessEqual({"Alpha", "Omega"}, set(self.names(self.entry_named(data))))

    def test_key_whose_name_holds_a_nul_cannot_be_opened(self):
        self.assertEqual(self.names(app("Nul", ROOT + "\\a\0b")), ["Alpha", "Omega"])

    def test_lone_surrogates(self):
        entries = [app("High\ud800", ROOT + "\\a"), app("Low\udc00x", ROOT + "\\b"),
                   app("Turned\udc00\ud800", ROOT + "\\c"), app("Key", ROOT + "\\d\ud800"),
                   key(ROOT + "\\Alpha", {"Name\udbff": "x\udbff"})]
        self.assertEqual(self.names(*entries, encoding="utf-16"),
                         ["Alpha", "High\ufffd", "Key", "Low\ufffdx", "Omega", "Turned\ufffd\ufffd"])

    def test_whole_pairs_are_kept(self):
        self.assertEqual(self.names(app("\U0001f98a", ROOT + "\\\U0001f98a"), encoding="utf-16"),
                         ["Alpha", "Omega", "\U0001f98a"])

    def test_values_longer_than_the_inventory_reads(self):
        fits, too_long = "x" * 259, "x" * 260
        entries = [app(fits, ROOT + "\\a", UninstallString="u"), app(too_long, ROOT + "\\b", UninstallString="u"),
                   app("No command", ROOT + "\\c", UninstallString=too_long)]
        self.assertEqual(self.names(*entries), ["Alpha", "Omega", fits])

    def test_ten_thousand_entries(self):
        names = [f"B{number:05}" for number in range(10000)]
        self.assertEqual(self.names(*map(app, names)), ["Alpha", *names, "Omega"])
