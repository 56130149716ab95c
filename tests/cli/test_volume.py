"""Offline volumes whose hives are made here, whole and damaged."""

import importlib.machinery
import importlib.util
import json
import pathlib

from kestrelbay import UNINSTALL, TestCase, app, contents, key

MAKE_VOLUME = pathlib.Path(__file__).parent.parent / "support" / "make-volume"
SOFTWARE = "HKEY_LOCAL_MACHINE\\SOFTWARE"
BELOW_SOFTWARE = UNINSTALL.removeprefix("Software\\")
SID = "S-1-5-21-1-2-3-"


def load_make_volume():
    loader = importlib.machinery.SourceFileLoader("make_volume", str(MAKE_VOLUME))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


volumes = load_make_volume()


class VolumeTest(TestCase):
    def volume(self, *users):
        """A volume where one application is everybody's, and one each user's own."""
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

    def test_whole_volume(self):
        volume = self.volume("Anna", "Pavel")
        before = contents(volume)
        done = self.run_host("--machine", volume, "list", "--json")
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

    def test_missing_hive_is_told_and_does_no_harm(self):
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
        self.run_host("--machine", volume, "forget", "Everybody's")
        self.assertEqual(contents(volume), before)
