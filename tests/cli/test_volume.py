"""Offline volumes whose hives are made here, whole and damaged."""

import importlib.machinery
import importlib.util
import json
import os
import pathlib
import subprocess
import sys
import unittest

from kestrelbay import PROGRAM, UNINSTALL, TestCase, app, contents, environment, key

TESTS = pathlib.Path(__file__).resolve().parent.parent
SUPPORT = TESTS / "support"
MAKE_VOLUME = SUPPORT / "make-volume"
sys.path.append(str(SUPPORT))
import hive_logs
SOFTWARE = "HKEY_LOCAL_MACHINE\\SOFTWARE"
BELOW_SOFTWARE = UNINSTALL.removeprefix("Software\\")
SID = "S-1-5-21-1-2-3-"
# Root may read every file.
POWERLESS = 65534 if os.geteuid() == 0 else None
# A program that is run so sees mounts that nobody else sees.
OWN_MOUNTS = ["unshare", "--map-root-user", "--mount"]
MAY_MOUNT = subprocess.run([*OWN_MOUNTS, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0


def load_make_volume():
    loader = importlib.machinery.SourceFileLoader("make_volume", str(MAKE_VOLUME))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


volumes = load_make_volume()


class VolumeTestCase(TestCase):
    def volume(self, *users):
        """A volume with one application for all users, and one for each user."""
        volume = self.folder / "volume"
        config = volume / "Windows" / "System32" / "config"
        config.mkdir(parents=True)
        self.software = config / "SOFTWARE"
        keys = key(f"{SOFTWARE}\\Classes\\Installer\\Products", {})
        keys += app("Everybody's", f"{SOFTWARE}\\{BELOW_SOFTWARE}\\Everybody")
        for number, user in enumerate(users):
            keys += key(f"{volumes.PROFILE_LIST}{SID}{number}", {"ProfileImagePath": f"C:\\Users\\{user}"})
            (volume / "Users" / user).mkdir(parents=True)
            volumes.make_hive(self.hive(volume, user), "HKEY_USERS\\User",
                              app(f"{user}'s", f"HKEY_USERS\\User\\{UNINSTALL}\\Own"))
        volumes.make_hive(self.software, SOFTWARE, keys)
        volumes.make_hive(config / "SYSTEM", volumes.SYSTEM, volumes.SYSTEM_KEYS)
        return volume

    @staticmethod
    def hive(volume, user):
        return volume / "Users" / user / "NTUSER.DAT"

    def names(self, done):
        return [entry["displayName"] for entry in json.loads(done.stdout)]


class VolumeTest(VolumeTestCase):
    def test_whole_volume(self):
        volume = self.volume("Anna", "Pavel")
        before = contents(volume)
        done = self.run_host("--machine", volume, "--user", "Anna", "list", "--json")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(self.names(done), ["Anna's", "Everybody's", "Pavel's"])
        self.assertEqual(contents(volume), before)

    def test_damaged_hive_is_left_out_and_the_status_tells(self):
        volume = self.volume("Anna", "Pavel")
        hive = self.hive(volume, "Anna")
        whole = hive.read_bytes()
        for damaged in (whole[:4096], whole[:-4096], b"", whole[:5000].replace(b"nk", b"xx"), whole[::-1]):
            hive.write_bytes(damaged)
            before = contents(volume)
            for command in (["list", "--json"], ["--json", "list", "--icons"]):
                done = self.run_host("--machine", volume, *command)
                self.assertEqual(done.returncode, 1)
                self.assertRegex(done.stderr.decode(), rf"\Akestrelbay: {hive}: [^\n]+; it is left out\n\Z")
                self.assertEqual(self.names(done), ["Everybody's", "Pavel's"])
            self.assertEqual(contents(volume), before)

    def test_damage_is_noted_in_answers_and_captures(self):
        volume = self.volume("Anna")
        self.hive(volume, "Anna").write_bytes(b"no hive")
        expected = ["Users/Anna/NTUSER.DAT: the hive is damaged: it does not begin as a hive does; "
                    "restore it from a backup; it is left out"]
        for command in ("facts", "explain"):
            done = self.run_host("--machine", volume, command, "--json")
            self.assertEqual((done.returncode, json.loads(done.stdout)["volume"]["damage"]), (1, expected))
        capture = self.folder / "capture"
        self.assertEqual(self.run_host("--machine", volume, "capture", capture).returncode, 1)
        described = json.loads((capture / "machine.json").read_text(encoding="utf-8"))
        self.assertEqual(described["capture"]["notes"], expected)
        done = self.run_host("--machine", capture, "list")
        self.assertIn(f"captured machine: {expected[0]}\n", done.stderr.decode())

    def test_damage_in_a_folder_whose_name_is_no_utf8_is_noted(self):
        volume = self.volume()
        folder = os.path.join(os.fsencode(volume), b"Users", b"\xff")
        os.makedirs(folder)
        with open(os.path.join(folder, b"NTUSER.DAT"), "wb") as hive:
            hive.write(b"no hive")
        done = self.run_host("--machine", volume, "facts", "--json")
        (line,) = json.loads(done.stdout)["volume"]["damage"]
        self.assertIn("Users/\ufffd/NTUSER.DAT: the hive is damaged", line)

    def test_damage_of_a_key_is_noted_when_it_is_read(self):
        volume = self.volume("Anna")
        hive = self.hive(volume, "Anna")
        hive.write_bytes(hive.read_bytes().replace(b"Own", b"O\0n"))
        whole = hive.read_bytes()
        at = whole.index(b"O\0n") - 76
        hive.write_bytes(whole[:at] + b"xx" + whole[at + 2:])
        done = self.run_host("--machine", volume, "explain", "--json")
        (line,) = json.loads(done.stdout)["volume"]["damage"]
        self.assertRegex(line, r"\AUsers/Anna/NTUSER.DAT: HKEY_USERS.*: a key cannot be read at byte \d+; left out\Z")

    def test_difference_to_a_damaged_volume_tells_by_its_status(self):
        volume = self.volume("Anna")
        saved = self.folder / "saved.json"
        saved.write_text(self.output("--machine", volume, "list", "--json"), encoding="utf-8")
        self.output("diff", saved, volume)
        self.hive(volume, "Anna").write_bytes(b"")
        self.assertEqual(self.run_host("diff", saved, volume).returncode, 1)

    def test_damaged_hive_of_the_machine_is_refused(self):
        volume = self.volume("Anna")
        whole = self.software.read_bytes()
        for damaged in (whole[:4096], whole[:-4096], b"", whole[:8192]):
            self.software.write_bytes(damaged)
            before = contents(volume)
            self.assertIn(f"{self.software}: ", self.refusal(1, "--machine", volume, "list", "--json"))
            self.assertEqual(contents(volume), before)

    def test_folder_that_cannot_be_read_is_reported(self):
        volume = self.volume("Anna", "Pavel")
        self.folder.chmod(0o755)
        for closed, names in ((volume / "Users" / "Anna", ["Everybody's", "Pavel's"]),
                              (volume / "Users", ["Everybody's"])):
            closed.chmod(0)
            done = self.run_host("--machine", volume, "list", "--json", user=POWERLESS)
            closed.chmod(0o755)
            self.assertEqual((done.returncode, self.names(done)), (1, names))
            self.assertRegex(done.stderr.decode(), rf"\Akestrelbay: {closed}: cannot be read [^\n]+ are left out\n\Z")

    def test_hive_that_cannot_be_read_is_reported(self):
        volume = self.volume("Anna", "Pavel")
        self.folder.chmod(0o755)
        for closed in (self.hive(volume, "Anna"), volume / "Users" / "Anna"):
            closed.chmod(0o444 if closed.is_dir() else 0)
            done = self.run_host("--machine", volume, "list", "--json", user=POWERLESS)
            closed.chmod(0o755)
            self.assertEqual((done.returncode, self.names(done)), (1, ["Everybody's", "Pavel's"]))
            self.assertIn(f"kestrelbay: {self.hive(volume, 'Anna')}: ", done.stderr.decode())

    def test_missing_hive_is_reported_and_does_no_harm(self):
        volume = self.volume("Anna")
        system = self.software.with_name("SYSTEM")
        system.unlink()
        done = self.run_host("--machine", volume, "list", "--json")
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stderr.decode(), rf"\Akestrelbay: {system}: [^\n]+; it is left out\n\Z")
        self.assertEqual(self.names(done), ["Anna's", "Everybody's"])

    def test_nothing_is_kept_on_a_volume(self):
        volume = self.volume("Anna")
        before = contents(volume)
        line = self.refusal(1, "--machine", volume, "forget", "Everybody's", "--yes")
        self.assertIn(f"not removed: {volume}: a volume is never changed", line)
        self.assertEqual(contents(volume), before)

    def test_several_people_are_reported_and_one_is_chosen(self):
        volume = self.volume("Anna", "Pavel")
        done = self.run_host("--machine", volume, "list", "--json")
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stderr.decode(),
                         r"\Akestrelbay: [^\n]+: 2 people used the machine; HKEY_CURRENT_USER is Anna's[^\n]+--user\n\Z")
        self.assertIn("the volume has Anna, Pavel",
                      self.refusal(1, "--machine", volume, "--user", "Nobody", "list", "--json"))

    def test_facts_name_the_windows(self):
        volume = self.volume("Anna")
        keys = key(f"{SOFTWARE}\\Microsoft\\Windows NT\\CurrentVersion",
                   {"ProductName": "Windows 10 Pro", "CurrentBuildNumber": "22631", "DisplayVersion": "23H2"})
        volumes.make_hive(self.software, SOFTWARE, keys)
        done = self.run_host("--machine", volume, "facts", "--json")
        self.assertEqual(json.loads(done.stdout)["volume"],
                         {"windows": "Windows 11 Pro 23H2 (build 22631)", "bits": 64, "recovered": [], "damage": []})

    def volume_of_32_bits(self):
        volume = self.volume("Anna")
        keys = volumes.SYSTEM_KEYS + key(f"{volumes.SYSTEM}\\ControlSet001\\Control\\Session Manager\\Environment",
                                         {"PROCESSOR_ARCHITECTURE": "x86"})
        volumes.make_hive(self.software.with_name("SYSTEM"), volumes.SYSTEM, keys)
        return volume

    def test_facts_name_a_windows_of_32_bits(self):
        done = self.run_host("--machine", self.volume_of_32_bits(), "facts", "--json")
        self.assertEqual(json.loads(done.stdout)["volume"]["bits"], 32)

    def test_applications_of_a_windows_of_32_bits_are_listed_in_both_views(self):
        done = self.run_host("--machine", self.volume_of_32_bits(), "list", "--json")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(self.names(done), ["Anna's", "Everybody's", "Everybody's"])

    def test_entries_of_the_default_hive_count_twice(self):
        # HKEY_USERS\.DEFAULT and HKEY_USERS\S-1-5-18 are one hive, and a running Windows lists both.
        volume = self.volume()
        volumes.make_hive(self.software.with_name("DEFAULT"), "HKEY_USERS\\User",
                          app("Services'", f"HKEY_USERS\\User\\{UNINSTALL}\\Own"))
        done = self.run_host("--machine", volume, "list", "--json")
        self.assertEqual(self.names(done), ["Everybody's", "Services'", "Services'"])

    def test_values_of_every_hive_expand_with_the_variables_of_the_current_user(self):
        volume = self.volume("Anna", "Pavel")
        texts = {"Windows": "%windir%", "Programs": "%ProgramW6432%", "Public": "%PUBLIC%", "User": "%USERNAME%"}

        def apps(root, names):
            return "".join(key(f"{root}\\{name}", {"UninstallString": "x"}) + expandable(texts[name]) for name in names)

        def expandable(text):
            data = ",".join(f"{byte:02x}" for byte in (text + "\0").encode("utf-16-le"))
            return f'"DisplayName"=hex(2):{data}\n'

        keys = key(f"{SOFTWARE}\\Classes\\Installer\\Products", {})
        keys += key(f"{SOFTWARE}\\Microsoft\\Windows\\CurrentVersion", {"ProgramFilesDir": "P:\\Programs"})
        keys += key(f"{SOFTWARE}\\Microsoft\\Windows NT\\CurrentVersion", {"SystemRoot": "C:\\Windows"})
        keys += key(volumes.PROFILE_LIST[:-1], {"Public": "P:\\Public"})
        for number, user in enumerate(["Anna", "Pavel"]):
            keys += key(f"{volumes.PROFILE_LIST}{SID}{number}", {"ProfileImagePath": f"C:\\Users\\{user}"})
        keys += apps(f"{SOFTWARE}\\{BELOW_SOFTWARE}", ["Windows", "Programs"])
        volumes.make_hive(self.software, SOFTWARE, keys)
        volumes.make_hive(self.hive(volume, "Anna"), "HKEY_USERS\\User", key("HKEY_USERS\\User\\Empty", {}))
        volumes.make_hive(self.hive(volume, "Pavel"), "HKEY_USERS\\User",
                          apps(f"HKEY_USERS\\User\\{UNINSTALL}", ["Public", "User"]))
        done = self.run_host("--machine", volume, "--user", "Anna", "list", "--json")
        self.assertEqual(sorted(self.names(done)), ["Anna", "C:\\Windows", "P:\\Programs", "P:\\Public"])

    @unittest.skipUnless(MAY_MOUNT, "this account may not mount anything")
    def test_free_space_of_a_mounted_image_is_that_of_the_volume(self):
        volume = self.volume("Anna")
        mounted = self.folder / "mounted"
        mounted.mkdir()
        script = 'mount -t tmpfs -o size=9m none "$2" && cp -r "$1"/. "$2" && exec "$3" --machine "$2" facts --json'
        done = subprocess.run([*OWN_MOUNTS, "sh", "-c", script, "sh", volume, mounted, PROGRAM],
                              stdout=subprocess.PIPE, env=environment(), timeout=60, check=True)
        self.assertEqual(json.loads(done.stdout)["freeMebibytes"], {"C": 8})

    def test_facts_of_a_machine_directory_have_no_volume(self):
        self.assertNotIn("volume", json.loads(self.output("facts", "--json")))


class DirtyVolumeTest(VolumeTestCase):
    """A user's hive is older than its logs: only the logs have the second and third application."""

    def dirty_volume(self):
        volume = self.volume("Anna")
        states = []
        for count in (1, 2, 3):
            names = ["First", "Second", "Third"][:count]
            keys = "".join(app(f"{name}'s", f"HKEY_USERS\\User\\{UNINSTALL}\\{name}") for name in names)
            volumes.make_hive(self.hive(volume, "Anna"), "HKEY_USERS\\User", keys)
            states.append(self.hive(volume, "Anna").read_bytes())
        primary, log = hive_logs.dirty(states)
        self.hive(volume, "Anna").write_bytes(primary)
        self.log = volume / "Users" / "Anna" / "ntuser.dat.LOG1"
        self.log.write_bytes(log)
        return volume

    def test_example_of_the_readme(self):
        subprocess.run([SUPPORT / "make-dirty-volume", "disk"], cwd=self.folder, check=True)
        printed = ""
        for options in ([], ["--no-recovery"]):
            done = self.run_host("--machine", "disk", *options, "list", cwd=self.folder)
            printed += (done.stderr + done.stdout).decode()
        example = "".join(f"    {line}".rstrip() + "\n" for line in printed.splitlines())
        self.assertIn(example, (TESTS.parent / "README.md").read_text(encoding="utf-8"))

    def test_is_recovered_and_not_written(self):
        volume = self.dirty_volume()
        before = contents(volume)
        done = self.run_host("--machine", volume, "list", "--json")
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stderr.decode(), r"\Akestrelbay: [^\n]+: recovered 2 log entries, newest change \S+\n\Z")
        self.assertEqual(self.names(done), ["Everybody's", "First's", "Second's", "Third's"])
        self.assertEqual(contents(volume), before)

    def test_without_recovery_the_file_alone_is_read(self):
        volume = self.dirty_volume()
        done = self.run_host("--machine", volume, "--no-recovery", "list", "--json")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(self.names(done), ["Everybody's", "First's"])

    def test_without_logs_the_answer_may_be_old(self):
        volume = self.dirty_volume()
        self.log.unlink()
        done = self.run_host("--machine", volume, "list", "--json")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr.decode(), r"not written to its end, newest change \S+; it has no usable log")
        self.assertEqual(self.names(done), ["Everybody's", "First's"])

    def test_torn_header_is_rebuilt(self):
        volume = self.dirty_volume()
        hive = self.hive(volume, "Anna")
        hive.write_bytes(b"regf" + b"x" * 508 + hive.read_bytes()[512:])
        done = self.run_host("--machine", volume, "list", "--json")
        self.assertEqual((done.returncode, self.names(done)), (0, ["Everybody's", "First's", "Second's", "Third's"]))

    def test_explanation_and_capture_record_it(self):
        volume = self.dirty_volume()
        explained = json.loads(self.run_host("--machine", volume, "explain", "--json").stdout)
        (hive,) = explained["volume"]["recovered"]
        self.assertEqual((hive["key"], hive["logEntries"], hive["loss"]), (f"HKEY_USERS\\{SID}0", 2, None))
        self.run_host("--machine", volume, "capture", self.folder / "capture")
        captured = json.loads((self.folder / "capture" / "machine.json").read_text(encoding="utf-8"))
        self.assertTrue([note for note in captured["capture"]["notes"] if "recovered 2 log entries" in note])
