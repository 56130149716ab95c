"""A redacted capture of a volume does not identify its users."""

import json
import unittest

from kestrelbay import UNINSTALL, app, key
from test_volume import SID, VolumeTestCase, volumes


class VolumeRedactionTest(VolumeTestCase):
    def unlisted(self, *users):
        """A volume with a profile that its ProfileList lacks."""
        volume = self.volume(*users)
        (volume / "Users" / "zephyrin").mkdir(parents=True)
        volumes.make_hive(self.hive(volume, "zephyrin"), "HKEY_USERS\\User", app("Own", f"HKEY_USERS\\User\\{UNINSTALL}\\Own"))
        return volume

    def capture(self, *arguments):
        """Captures the machine; returns the folder, and standard error of a list of it."""
        folder = self.folder / "capture"
        self.run_host("--machine", *arguments, "capture", folder, "--redact")
        return folder, self.run_host("--machine", folder, "list").stderr.decode()

    def check(self, folder, *secrets):
        for file in folder.rglob("*"):
            text = str(file) + (file.read_bytes().decode("utf-16" if file.suffix == ".reg" else "utf-8") if file.is_file() else "")
            for secret in secrets:
                self.assertNotIn(secret.lower(), text.lower())

    def notes(self, folder):
        return json.loads((folder / "machine.json").read_text(encoding="utf-8"))["capture"]["notes"]

    def test_notes_about_damage_hide_users(self):
        volume = self.unlisted("Marlene", "Jo")
        for user in ("Marlene", "Jo", "zephyrin"):
            self.hive(volume, user).write_bytes(b"no hive")
        folder, told = self.capture(volume)
        self.check(folder, "Marlene", "zephyrin", "/Jo/")
        self.assertEqual(len(self.notes(folder)), 3)
        for note in self.notes(folder):
            self.assertRegex(note, r"\AUsers/(\w\w|\w{7,8})/NTUSER\.DAT: the hive is damaged: it does not begin as a hive does; ")
            self.assertIn(f"captured machine: {note}\n", told)

    def test_notes_about_damaged_keys_hide_sids_and_names(self):
        volume = self.volume("Marlene")
        volumes.make_hive(self.hive(volume, "Marlene"), "HKEY_USERS\\User",
                          key(f"HKEY_USERS\\User\\{UNINSTALL}\\Of Marlene", {"DisplayName": "x"})
                          + app("Own", f"HKEY_USERS\\User\\{UNINSTALL}\\Own"))
        hive = self.hive(volume, "Marlene")
        whole = hive.read_bytes()
        at = whole.index(b"Of Marlene") - 76
        hive.write_bytes(whole[:at] + b"xx" + whole[at + 2:])
        folder, _ = self.capture(volume)
        self.check(folder, "Marlene", SID)
        note, = self.notes(folder)
        self.assertRegex(note, r"\AUsers/\w{7}/NTUSER\.DAT: HKEY_USERS\\S-1-5-21-[\d-]+\\Software\\.*: .*left out\Z")

    def test_a_profile_without_a_sid_is_hidden(self):
        folder, _ = self.capture(self.unlisted("Anna"))
        self.check(folder, "zephyrin")
        self.assertRegex((folder / "registry" / "captured-users.reg").read_text("utf-16"), r"\[HKEY_USERS\\[Uu]ser\w{4}\\")

    def test_a_profile_without_a_sid_can_be_captured_as_the_user(self):
        volume = self.unlisted()
        for options in ([], ["--redact"]):
            folder = self.folder / f"capture{len(options)}"
            self.run_host("--machine", volume, "--user", "zephyrin", "capture", folder, *options)
            self.assertEqual(self.names(self.run_host("--machine", folder, "list", "--json")), ["Everybody's", "Own"])
            sid = json.loads((folder / "machine.json").read_text(encoding="utf-8"))["user"]["sid"]
            self.assertIn(f"[HKEY_USERS\\{sid}\\", (folder / "registry" / "captured-users.reg").read_text("utf-16"))


if __name__ == "__main__":
    unittest.main()
