"""Captures of machines, and their use on another computer."""

import json
import os
import random
import re
import shutil
import stat
import subprocess
import unittest

from kestrelbay import (HEADER, PROGRAM, UNINSTALL, UNINSTALL_32, USER, TestCase, app, environment, key,
                        quoted)

USER_DATA = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Installer\UserData"
FACTS = (key(r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Cryptography",
             {"MachineGuid": "4ca1b2f0-5d6e-4f77-8899-aabbccddeeff"})
         + key(r"HKEY_LOCAL_MACHINE\HARDWARE\DESCRIPTION\System\BIOS",
               {"BaseBoardManufacturer": "Thornwick", "SystemProductName": "Slate 14", "BIOSVendor": "Other"})
         + key(USER + r"\Software\Microsoft\Windows\CurrentVersion\Internet Settings",
               {"ProxyEnable": "1", "ProxyServer": "proxy:8080", "AutoConfigURL": "http://secret/"}))
MACHINE_JSON = {
    "user": {"sid": "S-1-5-21-1-2-3-1001", "name": "Ilka"},
    "environment": {"SystemRoot": "C:\\Windows", "USERNAME": "Ilka", "Tools": "D:\\Tools", "TOKEN": "hush"},
    "graphicsAdapters": ["Lumenfall G40", None, "Two"],
    "disks": {"C": {"freeBytes": 5 << 30, "sizeBytes": 9 << 30}, "E": {"freeBytes": 0, "sizeBytes": 1}},
    "appsFolder": [{"name": "Calculator", "id": "Calc!App"}, {"id": "Nameless!App"}, {"name": ""}, None],
}


class CaptureTestCase(TestCase):
    def described(self, *keys, name="pc", **changes):
        machine = self.machine(*keys, name=name, encoding="utf-16")
        (machine / "machine.json").write_text(json.dumps({**MACHINE_JSON, **changes}))
        return machine

    def capture(self, machine, *options, name="capture"):
        """Captures a machine; returns the folder and standard error."""
        folder = self.folder / name
        done = self.run_host("--machine", machine, "capture", folder, *options)
        self.assertEqual(done.returncode, 0, done.stderr)
        return folder, done.stderr.decode()

    def description(self, capture):
        return json.loads((capture / "machine.json").read_text())

    def registry(self, capture):
        return "".join(file.read_text("utf-16") for file in sorted((capture / "registry").iterdir()))

    def answers(self, machine, *commands):
        return [self.run_host("--machine", machine, "--json", *command).stdout
                for command in commands or (["list"], ["facts"], ["list", "--icons"])]


class RoundTripTest(CaptureTestCase):
    MIX = (app("Alpha", InstallLocation="C:\\Alpha\\", DisplayIcon='"C:\\Alpha\\a.ico",0',
               last_write_time=133182144000000001)
           + app("_under") + app("Äpfel 日本語 👩") + app("KB123456") + app("No command", UninstallString="")
           + app("Alpha", f"HKEY_LOCAL_MACHINE\\{UNINSTALL_32}\\Alpha", 7)
           + app("Mine", f"{USER}\\{UNINSTALL}\\Mine")
           + app("Theirs", f"HKEY_USERS\\S-1-5-21-9-9-9-1002\\{UNINSTALL}\\Theirs")
           + key(USER + r"\Software\Microsoft\Installer\Products\00000000000000000000000000000001",
                 {"ProductName": "Product", "ProductIcon": "C:\\p.ico"})
           + key(USER_DATA + r"\S-1-5-21-1-2-3-1001\Products\00000000000000000000000000000001"
                 r"\InstallProperties", {"DisplayName": "Other", "DisplayVersion": "2.0"}, 99)
           + f"\n[HKEY_LOCAL_MACHINE\\{UNINSTALL}\\Odd]\n\"DisplayName\"=hex(2):25,00,54,00,6f,00,6f,00,6c,00,73,00,"
             "25,00,5c,00,78,00\n\"UninstallString\"=hex(1):75,00,00\n\"SystemComponent\"=hex:01,00,00,00\n"
             "\"Blob\"=hex(7777):00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,17,18\n"
             "@=dword:00000007\n\"DisplayVersion\"=hex(b):01,00,00,00,00,00,00,00\n")

    def test_capture_has_the_same_list_and_facts(self):
        machine = self.described(self.MIX, FACTS)
        capture, told = self.capture(machine)
        self.assertEqual(self.answers(machine), self.answers(capture))
        names = [a["displayName"] for a in json.loads(self.answers(capture)[0])]
        self.assertEqual(names, ["_under", "Alpha", "Alpha", "D:\\Tools\\x", "Mine", "Product", "Theirs",
                                 "Äpfel 日本語 👩"])

    def test_records_the_account(self):
        for number, (variables, account) in enumerate((({"UserName": "Anna", "USERDOMAIN": "KITCHEN-PC"}, "KITCHEN-PC\\Anna"),
                                                       ({"USERNAME": "Anna"}, "Anna"))):
            capture, _ = self.capture(self.described(name=f"pc{number}", environment=variables), name=f"c{number}")
            record = self.description(capture)["capture"]
            self.assertEqual((record["account"], record["session"]), (account, None))

    def test_a_capture_of_a_capture_is_the_same(self):
        first, _ = self.capture(self.described(self.MIX, FACTS))
        second, _ = self.capture(first, name="again")
        self.assertEqual(self.registry(first), self.registry(second))

    def test_values_keep_type_and_bytes(self):
        capture, _ = self.capture(self.described(self.MIX))
        text = self.registry(capture)
        self.assertIn('"Blob"=hex(7777):00,01,02,03,04', text)
        self.assertIn('"UninstallString"=hex(1):75,00,00\n', text)
        self.assertIn(";LastWriteTime=133182144000000001\n", text)

    def test_sample_lists_the_same_with_icons(self):
        folder = self.folder / "capture"
        self.output("capture", folder, "--icons")
        for command in (["list"], ["list", "--icons"], ["facts"]):
            self.assertEqual(self.output("--json", *command), self.output("--machine", folder, "--json", *command))
        self.assertIn("image/png", self.output("--machine", folder, "--json", "list", "--icons"))

    def test_without_icons_no_file_is_taken(self):
        folder = self.folder / "capture"
        self.output("capture", folder)
        self.assertFalse((folder / "drives").exists())

    def test_keys_keep_the_order_in_which_they_were_listed(self):
        # Two products of one name: the order of the keys decides which record keeps its values.
        entries = [key(f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\{name}", {"DisplayName": "Same", "UninstallString": "u",
                                                                  "DisplayVersion": name}) for name in "b_A"]
        machine = self.described(*entries, registryOrder="as listed")
        capture, _ = self.capture(machine)
        self.assertEqual(re.findall(r"Uninstall\\(.)\]", self.registry(capture)), ["b", "_", "A"])
        self.assertEqual(self.answers(machine), self.answers(capture))

    def test_hives_keep_their_order_including_the_user_s(self):
        hives = ["S-1-5-21-9-9-9-1002", "S-1-5-21-1-2-3-1001", ".DEFAULT"]
        machine = self.described(*(app(hive, f"HKEY_USERS\\{hive}\\{UNINSTALL}\\App") for hive in hives),
                                 registryOrder="as listed")
        capture, _ = self.capture(machine)
        self.assertEqual(re.findall(r"\[HKEY_USERS\\([^\\]+)\]", self.registry(capture)), hives)


class ContentTest(CaptureTestCase):
    def test_only_keys_that_the_library_reads_are_captured(self):
        capture, _ = self.capture(self.described(
            FACTS, app("Alpha"), key(r"HKEY_LOCAL_MACHINE\Software\Private", {"Key": "diary"}),
            key(USER_DATA + r"\S-1-5-18\Products\0\InstallProperties", {"DisplayName": "machine's"})))
        text = self.registry(capture)
        for absent in ("diary", "machine's", "AutoConfigURL", "BIOSVendor"):
            self.assertNotIn(absent, text)
        self.assertIn(r"UserData\S-1-5-18]", text)
        self.assertIn('"ProxyServer"="proxy:8080"', text)

    def test_environment_has_the_variables_of_windows_and_of_texts(self):
        capture, _ = self.capture(self.described(RoundTripTest.MIX))
        self.assertEqual(set(self.description(capture)["environment"]), {"SystemRoot", "USERNAME", "Tools"})

    def test_refused_keys_are_noted_and_refused_again(self):
        refused = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\Locked"
        machine = self.described(app("Alpha"), app("Locked"), deniedAccess={refused: ["KEY_READ"]})
        capture, told = self.capture(machine)
        self.assertEqual(told, f"kestrelbay: {refused}: access denied, to the library as well\n")
        self.assertEqual(self.description(capture)["deniedAccess"], {refused: ["KEY_READ"]})
        done = self.run_host("--machine", capture, "list", "--json")
        self.assertEqual([a["displayName"] for a in json.loads(done.stdout)], ["Alpha"])
        self.assertEqual(done.stderr.decode(), "kestrelbay: captured machine: " + told.partition(" ")[2])

    def test_icons_beyond_the_limit_are_left_out_and_noted(self):
        machine = self.described(app("Big", DisplayIcon="C:\\big.exe"), app("Small", DisplayIcon="C:\\small.exe"))
        drive = machine / "drives" / "c"
        drive.mkdir(parents=True)
        (drive / "small.exe").write_bytes(b"MZ")
        with open(drive / "big.exe", "wb") as big:
            big.truncate((64 << 20) + 1)
        capture, told = self.capture(machine, "--icons")
        self.assertEqual([file.name for file in (capture / "drives" / "C").iterdir()], ["small.exe"])
        self.assertRegex(told, r"big\.exe: icon file not captured: it has 67108865 bytes")

    def test_icon_paths_stay_inside_the_capture(self):
        machine = self.described(app("Up", DisplayIcon="C:\\a\\..\\..\\..\\up.exe"))
        (machine / "drives" / "c" / "a").mkdir(parents=True)
        (machine / "drives" / "c" / "up.exe").write_bytes(b"MZ")
        capture, _ = self.capture(machine, "--icons")
        self.assertTrue((capture / "drives" / "C" / "up.exe").exists())
        self.assertEqual(self.answers(machine), self.answers(capture))

    def test_summary(self):
        machine = self.described(app("Alpha"))
        told = json.loads(self.output("--machine", machine, "--json", "capture", self.folder / "c"))
        self.assertEqual(list(told), ["directory", "keys", "files", "bytes", "notes"])
        text = self.output("--machine", machine, "capture", self.folder / "d")
        self.assertRegex(text, r"/d: \d+ keys, 0 files of icons, \d+ bytes\n\Z")


class TargetTest(CaptureTestCase):
    def test_an_empty_folder_is_filled(self):
        (self.folder / "capture").mkdir()
        capture, _ = self.capture(self.described(app("Alpha")))
        self.assertTrue((capture / "machine.json").exists())

    def test_other_folders_are_refused(self):
        machine = self.described(app("Alpha"))
        full = self.folder / "full"
        full.mkdir()
        (full / "mine.txt").write_text("mine")
        self.assertIn("not an empty folder", self.refusal(1, "--machine", machine, "capture", full))
        self.assertIn("not a folder", self.refusal(1, "--machine", machine, "capture", full / "mine.txt"))
        self.assertIn("cannot be created", self.refusal(1, "--machine", machine, "capture", self.folder / "no" / "where"))
        self.assertEqual(sorted(file.name for file in self.folder.iterdir()), ["full", "pc"])
        self.assertEqual((full / "mine.txt").read_text(), "mine")

    def test_a_folder_keeps_its_mode(self):
        (self.folder / "capture").mkdir()
        for mode in (0o700, 0o750, 0o2770):
            shutil.rmtree(self.folder / "capture")
            (self.folder / "capture").mkdir()
            (self.folder / "capture").chmod(mode)
            self.output("capture", self.folder / "capture")
            self.assertEqual(stat.S_IMODE((self.folder / "capture").stat().st_mode), mode)

    def test_a_link_to_an_empty_folder_stays(self):
        link, target = self.folder / "link", self.folder / "target"
        target.mkdir()
        link.symlink_to(target)
        self.output("capture", link)
        self.assertTrue(link.is_symlink())
        self.assertTrue((target / "machine.json").is_file())

    def test_a_link_to_nothing_is_named(self):
        link = self.folder / "link"
        link.symlink_to(self.folder / "nothing")
        self.assertIn("link: a link to a folder that does not exist", self.refusal(1, "capture", link))
        self.assertTrue(link.is_symlink())

    @unittest.skipIf(os.geteuid() == 0, "root may write anywhere")
    def test_a_folder_that_cannot_be_written(self):
        self.folder.chmod(0o500)
        self.addCleanup(self.folder.chmod, 0o700)
        self.refusal(1, "capture", self.folder / "capture")

    def test_a_file_that_cannot_be_written_leaves_nothing(self):
        # The limit ends a write where a full disk would.
        done = subprocess.run(["bash", "-c", 'trap "" XFSZ; ulimit -f 1; exec "$@"', "bash", PROGRAM, "capture",
                               str(self.folder / "capture")], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=environment())
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr.decode(), r"\Akestrelbay: cannot write registry/captured-machine.reg [^\n]+\n\Z")
        self.assertEqual(list(self.folder.iterdir()), [])


    def test_an_icon_file_that_does_not_fit_on_the_disk_ends_the_capture(self):
        machine = self.described(app("Alpha", DisplayIcon="C:\\a.exe"))
        (machine / "drives" / "C").mkdir(parents=True)
        (machine / "drives" / "C" / "a.exe").write_bytes(b"MZ" * (1 << 19))
        done = subprocess.run(["bash", "-c", 'trap "" XFSZ; ulimit -f 512; exec "$@"', "bash", PROGRAM, "--machine", machine,
                               "capture", self.folder / "capture", "--icons"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=environment())
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr.decode(), r"\Akestrelbay: cannot write drives/C/a.exe of the capture: [^\n]+\n\Z")
        self.assertFalse((self.folder / "capture").exists())


class BadCaptureTest(CaptureTestCase):
    def setUp(self):
        super().setUp()
        machine = self.described(app("Alpha", DisplayIcon="C:\\a.exe"))
        (machine / "drives" / "C").mkdir(parents=True)
        (machine / "drives" / "C" / "a.exe").write_bytes(b"MZ" * 100)
        self.good, _ = self.capture(machine, "--icons")
        self.output("--machine", self.good, "list")

    def line(self, name):
        line = self.refusal(1, "--machine", self.good, "list")
        self.assertIn(str(self.good / name) + ":", line)
        self.assertIn("; ", line)
        return line

    def cut(self, name):
        data = (self.good / name).read_bytes()
        (self.good / name).write_bytes(data[:len(data) // 2])

    def test_registration_file_cut_off(self):
        self.cut("registry/captured-machine.reg")
        self.assertIn("cut off", self.line("registry/captured-machine.reg"))

    def test_icon_file_cut_off(self):
        self.cut("drives/C/a.exe")
        self.assertIn("cut off", self.line("drives/C/a.exe"))

    def test_icon_file_edited(self):
        file = self.good / "drives" / "C" / "a.exe"
        file.write_bytes(b"mz" + file.read_bytes()[2:])
        self.assertIn("not as it was captured: it was changed", self.line("drives/C/a.exe"))

    def test_any_damage_of_any_file_is_reported_in_one_line(self):
        chance = random.Random(7)
        for path in sorted(path for path in self.good.rglob("*") if path.is_file()):
            data = path.read_bytes()
            for _ in range(16):
                at, size = chance.randrange(len(data)), chance.randrange(1, 40)
                damaged = chance.choice([
                    data[:at], data[:at] + data[at + size:], data[:at + size] + data[at:],
                    data[:at] + bytes([data[at] ^ 1 << chance.randrange(8)]) + data[at + 1:]])
                if damaged == data:
                    continue
                path.write_bytes(damaged)
                with self.subTest(path=path.name, damaged=damaged):
                    self.check_damage(path, data, damaged)
            path.write_bytes(data)
        self.output("--machine", self.good, "list")

    def check_damage(self, path, data, damaged):
        # Blanks between the members of machine.json have no meaning.
        if path.suffix == ".json" and self.parsed(data) == self.parsed(damaged):
            return self.output("--machine", self.good, "list")
        line = self.refusal(1, "--machine", self.good, "list")
        if path.suffix != ".json":
            self.assertIn(str(path) + ": ", line)

    def parsed(self, data):
        try:
            return json.loads(data)
        except ValueError:
            return None

    def test_description_cut_off(self):
        self.cut("machine.json")
        self.refusal(1, "--machine", self.good, "list")

    def test_missing_file(self):
        (self.good / "registry" / "captured-users.reg").unlink()
        self.assertIn("missing", self.line("registry/captured-users.reg"))

    def test_missing_description(self):
        (self.good / "machine.json").unlink()
        self.assertIn("missing", self.line("machine.json"))

    def test_registration_file_edited(self):
        file = self.good / "registry" / "captured-machine.reg"
        file.write_bytes(file.read_bytes().replace("Alpha".encode("utf-16-le"), "Aleph".encode("utf-16-le")))
        self.assertIn("changed", self.line("registry/captured-machine.reg"))

    def test_registration_file_added(self):
        (self.good / "registry" / "more.reg").write_text(HEADER)
        self.assertIn("no part of the capture", self.line("registry/more.reg"))

    def test_description_edited(self):
        file = self.good / "machine.json"
        file.write_text(file.read_text().replace('"Lumenfall G40"', '"Lumenfall G41"'))
        self.assertIn("not as it was captured", self.line("machine.json"))

    def test_edited_on_purpose(self):
        file = self.good / "machine.json"
        changed = self.description(self.good)
        del changed["capture"]
        file.write_text(json.dumps(changed))
        (self.good / "registry" / "more.reg").write_text(HEADER + app("Beta"))
        names = [a["displayName"] for a in json.loads(self.output("--machine", self.good, "--json", "list"))]
        self.assertEqual(names, ["Alpha", "Beta"])

    def test_newer_format_with_unknown_members(self):
        changed = {**self.description(self.good), "quantumState": 1}
        changed["capture"]["format"] = 2
        (self.good / "machine.json").write_text(json.dumps(changed))
        self.assertIn("format 2", self.line("machine.json"))

    def test_a_file_has_one_spelling_of_its_path(self):
        for spelling in ("registry//captured-users.reg", "./registry/captured-users.reg", "registry/./captured-users.reg"):
            changed = self.description(self.good)
            changed["capture"].pop("checksum", None)
            files = changed["capture"]["files"]
            files[spelling] = files["registry/captured-users.reg"]
            checksum = 0xCBF29CE484222325  # FNV-1a of the members in their order
            for byte in json.dumps(changed, sort_keys=True, separators=(",", ":"), ensure_ascii=False).encode():
                checksum = (checksum ^ byte) * 0x100000001B3 % (1 << 64)
            changed["capture"]["checksum"] = f"{checksum:016x}"
            (self.good / "machine.json").write_text(json.dumps(changed))
            self.assertIn(f"capture.files.{spelling}: must be a path without", self.refusal(1, "--machine", self.good, "list"))
            del files[spelling]
            (self.good / "machine.json").write_text(json.dumps(changed))

    def test_record_of_another_shape(self):
        for record in (7, {}, {"format": "one"}, {"format": 1}, {"format": 1, "files": []}):
            (self.good / "machine.json").write_text(json.dumps({"capture": record}))
            self.line("machine.json")

    def test_unknown_order(self):
        (self.good / "machine.json").write_text('{"registryOrder": "random"}')
        self.assertIn("registryOrder", self.line("machine.json"))

    def test_changes_of_a_capture_last(self):
        self.output("--machine", self.good, "forget", "Alpha", "--yes")
        self.assertEqual(self.output("--machine", self.good, "--json", "list"), "[]\n")


if __name__ == "__main__":
    unittest.main()
