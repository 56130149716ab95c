"""Damaged hives and exports: one line names the file, and no list is incomplete without a message."""

import codecs
import json
import random
import re

from inventory import Registry, list_installed
from real import DATA, RealTest, volumes
from truth import put

OTHERS = {"rathbun": volumes.USERS["rathbun"]}
# A statement that is complete by its own text, although the file was cut after it.
WHOLE_STATEMENT = re.compile(
    r'|\[HKEY_.*\]|(@|"([^"\\]|\\.)*")=("([^"\\]|\\.)*"|dword:[0-9a-f]{1,8}|hex(\([0-9a-f]\))?:[0-9a-f,]*)')
CONTINUED = re.compile(r"\\\n *(?=[0-9a-f])")
LAST_STATEMENT = re.compile(r"((?:(?:.*,\\\n)*.*\n)*?)((?:.*,\\\n)*.*)")


def garbage(size):
    return random.Random(7).randbytes(size)


class DamagedHiveTest(RealTest):
    def volume_with(self, user_hive):
        """A volume where tony's hive is damaged and another user's is not."""
        volume = self.volume(users={**OTHERS, "tony": volumes.USERS["tony"]})
        self.hive = volume / "Users" / "tony" / "NTUSER.DAT"
        self.hive.write_bytes(user_hive(self.hive.read_bytes()))
        return volume

    def check_others_are_listed(self, user_hive):
        volume = self.volume_with(user_hive)
        done = self.run_host("--machine", volume, "--no-recovery", "--json", "list")
        self.assertEqual(done.returncode, 1, done.stderr)
        warning = done.stderr.decode()
        self.assertRegex(warning, r"\Akestrelbay: [^\n]+\n\Z")
        self.assertIn(str(self.hive), warning)
        registry = Registry()
        registry.at(r"HKEY_LOCAL_MACHINE\Software\Classes\Installer\Products")
        for hive, sid in OTHERS.values():
            put(registry, hive, sid)
        self.assertEqual(json.loads(done.stdout), list_installed(registry))

    def test_users_hive_cut_in_half(self):
        self.check_others_are_listed(lambda whole: whole[:len(whole) // 2])

    def test_users_hive_with_little_more_than_its_header(self):
        self.check_others_are_listed(lambda whole: whole[:8192])

    def test_users_hive_cut_at_the_end_of_a_page(self):
        for pages in (2, 100, 1000):
            self.check_others_are_listed(lambda whole: whole[:pages * 4096])

    def test_application_with_a_broken_key_is_the_only_one_lost(self):
        whole = json.loads(self.output("--machine", self.volume(users={"tony": volumes.USERS["tony"]}),
                                       "--no-recovery", "--json", "list"))

        def broken(hive):
            key = hive.index(b"GitHubDesktop", hive.index(b"nk\x20\0")) - 76
            while hive[key:key + 2] != b"nk":
                key = hive.index(b"GitHubDesktop", key + 77) - 76
            return hive[:key] + b"xx" + hive[key + 2:]
        volume = self.volume(users={"tony": volumes.USERS["tony"]})
        hive = volume / "Users" / "tony" / "NTUSER.DAT"
        hive.write_bytes(broken(hive.read_bytes()))
        done = self.run_host("--machine", volume, "--no-recovery", "--json", "list")
        self.assertEqual(json.loads(done.stdout), [app for app in whole if app["displayName"] != "GitHub Desktop"])
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr.decode(), rf"\Akestrelbay: {re.escape(str(hive))}: HKEY_USERS\\[^\n]+"
                         r"\\Uninstall\\GitHubDesktop: a key cannot be read at byte \d+; left out\n\Z")

    def test_users_hive_that_is_empty(self):
        self.check_others_are_listed(lambda whole: b"")

    def test_users_hive_of_garbage(self):
        self.check_others_are_listed(lambda whole: garbage(len(whole)))

    def test_users_hive_with_a_good_header_before_garbage(self):
        self.check_others_are_listed(lambda whole: whole[:4096] + garbage(len(whole) - 4096))

    def test_machines_hive(self):
        for damage in (lambda whole: whole[:5000], lambda whole: garbage(len(whole)), lambda whole: b""):
            volume = self.volume()
            software = volume / "Windows" / "System32" / "config" / "SOFTWARE"
            software.write_bytes(damage(software.read_bytes()))
            self.assertIn(str(software), self.refusal(1, "--machine", volume, "--json", "list"))


class DamagedExportTest(RealTest):
    def check_cuts(self, name, encoding, cuts):
        """Cuts an export at many places. It must be refused, unless its last statement is complete."""
        whole = (DATA / "reg" / name).read_bytes()
        machine = self.exports(name)
        export = machine / "registry" / name
        results = {0: 0, 1: 0}
        for cut in random.Random(len(name)).sample(range(200, len(whole)), cuts):
            export.write_bytes(whole[:cut])
            text = codecs.getincrementaldecoder(encoding)().decode(whole[:cut])
            half = encoding == "utf-16" and cut % 2 == 1
            above, statement = LAST_STATEMENT.fullmatch(text.replace("\r", "")).groups()
            is_whole = not half and WHOLE_STATEMENT.fullmatch(CONTINUED.sub("", statement))
            with self.subTest(cut=cut, statement=statement):
                if is_whole:
                    self.listed(machine)
                else:
                    self.check_refusal(machine, export, half, above.count("\n") + 1, text.count("\n") + 1)
            results[0 if is_whole else 1] += 1
        return results

    def check_refusal(self, machine, export, half, first_line, last_line):
        line = self.refusal(1, "--machine", machine, "--json", "list")
        place = re.match(re.escape(f"kestrelbay: {export}:") + r"(\d+): (.*)", line)
        self.assertIsNotNone(place, line)
        if half:
            self.assertIn("half a character", place[2])
        else:
            self.assertTrue(first_line <= int(place[1]) <= last_line, line)

    def test_cut_anywhere(self):
        for name, encoding in (("mssql-Uninstall.reg", "utf-16"), ("import-ntuser-wsl-2024.reg", "utf-8")):
            results = self.check_cuts(name, encoding, 40)
            self.assertGreater(min(results.values()), 0, results)

    def test_cut_in_the_middle_of_a_text(self):
        name = "mssql_engine-Uninstall.reg"
        machine = self.exports(name)
        export = machine / "registry" / name
        text = export.read_bytes().decode("utf-16")
        at = text.index('"DisplayName"="') + len('"DisplayName"="') + 5
        export.write_bytes(text[:at].encode("utf-16"))
        line = self.refusal(1, "--machine", machine, "--json", "list")
        self.assertIn(f"{export}:{text.count(chr(10), 0, at) + 1}: the text has no closing quote", line)

    def test_garbage_instead_of_an_export(self):
        machine = self.exports("mssql-Uninstall.reg")
        export = machine / "registry" / "mssql-Uninstall.reg"
        export.write_bytes(garbage(5000))
        self.assertIn(str(export), self.refusal(1, "--machine", machine, "--json", "list"))
