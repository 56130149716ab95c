"""Names below a user folder are hidden in every form of the path."""

import json
import unittest

from kestrelbay import app, quoted
from test_redaction import HOME, OTHER, PROFILES, USER, RedactionTestCase, entry, raw

WORDS = ["Wichtelpost", "Geheimprojekt", "Tagebuch"]
DEEP = "Wichtelpost\\Geheimprojekt\\Tagebuch"


class PathsTest(RedactionTestCase):
    def hidden(self, *texts, values=(), **changes):
        """Texts of values once the machine is redacted, of which none may hold a word of the paths."""
        named = "".join(f"{quoted(f'v{n}')}={quoted(text)}\n" for n, text in enumerate(texts))
        folder = self.redacted(entry("Texts", named + "".join(values)), **changes)
        self.check(folder, [*WORDS, USER, OTHER])
        self.same_verdicts(folder)
        explained = self.registry(folder)
        found = [explained.partition(f'"v{n}"="')[2].partition('"\n')[0].replace("\\\\", "\\").replace('\\"', '"')
                 for n in range(len(texts))]
        self.assertEqual([len(text) for text in found], [len(text) for text in texts])
        return found

    def same_verdicts(self, folder):
        kinds = [[(entry["fate"], entry["rule"]) for entry in json.loads(
            self.run_host("--machine", machine, "--json", "explain").stdout)["keys"]] for machine in (self.original, folder)]
        self.assertEqual(kinds[0], kinds[1])

    def test_per_cent_signs_semicolons_and_quotes_do_not_end_a_path(self):
        self.hidden(f"{HOME}\\100% Wichtelpost\\Geheimprojekt;Tagebuch\\a.exe", f"{HOME}\\%NoSuch%\\{DEEP}",
                    f'"{HOME}"\\{DEEP}', f'{HOME}\\"Wichtelpost Geheimprojekt" Tagebuch\\x.ico,0',
                    f'"{HOME}\\"{DEEP}', f'{HOME}\\*\\{DEEP}', f'"{HOME}\\a b.exe" Wichtelpost\\Geheimprojekt')

    def test_arguments_after_a_quoted_program_stay(self):
        found, = self.hidden(f'"{HOME}\\Wichtelpost\\x.exe" /S --silent "/log" C:\\Windows')
        self.assertTrue(found.endswith('.exe" /S --silent "/log" C:\\Windows'), found)

    def test_tabs_and_line_ends_do_not_end_a_path(self):
        self.hidden(values=[raw(f"c{n}", f"{HOME}\\a{sign}Wichtelpost\\Geheimprojekt".encode("utf-16-le"), 1)
                            for n, sign in enumerate(("\t", "\r\n", "\n"))])

    def test_folders_of_users_by_translated_names_and_below_other_drives(self):
        self.hidden(*(f"{root}\\nobody\\{DEEP}" for root in ("C:\\Benutzer", "D:\\Utilisateurs", "C:\\Dokumente und Einstellungen",
                                                          "D:\\Profiles", "E:\\Homes", "\\\\server\\profiles$")))

    def test_a_path_of_more_than_1024_characters_is_hidden_whole(self):
        self.hidden(HOME + "\\" + "\\".join(["Geheimprojekt"] * 200) + "\\Tagebuch")

    def test_a_folder_with_a_name_of_more_than_128_characters(self):
        self.hidden("C:\\Users\\" + "Wichtelpost" * 14 + "\\" + DEEP)

    def test_variables_of_a_user_s_folder(self):
        for name in ("USERPROFILE", "APPDATA", "LOCALAPPDATA", "OneDrive", "OneDriveCommercial", "HOMEDRIVE%%HOMEPATH"):
            with self.subTest(name):
                self.doCleanups(), self.setUp()
                self.hidden(f"%{name}%\\{DEEP}", f"%{name.lower()}%/{DEEP}", f'"%{name}%"\\{DEEP}')

    def test_a_variable_that_is_not_set_may_be_the_user_s(self):
        self.hidden(f"%HausDerIlka%\\{DEEP}", f"%PUBLIC%\\..\\{USER}\\{DEEP}")

    def test_a_captured_variable_below_the_user_s_folder(self):
        found, = self.hidden(f"%MyTools%\\{DEEP}", environment={"SystemRoot": "C:\\Windows", "MyTools": HOME + "\\Tools"})
        self.assertTrue(found.startswith("%MyTools%\\"))

    def test_a_variable_that_names_a_short_path_of_the_user_s_folder(self):
        self.hidden(f"%TEMP%\\{DEEP}", environment={"TEMP": "C:\\Users\\ILKA~1.GR\\AppData\\Local\\Temp"})

    def test_a_folder_of_the_user_s_on_another_drive(self):
        self.hidden(f"D:\\Wichtelpost\\{DEEP}", environment={"OneDrive": "D:\\Wichtelpost"})

    def test_other_variables_lead_elsewhere(self):
        text = "%SystemRoot%\\Wichtelmann;%OS%\\Wichtelmann"
        self.assertEqual(self.hidden(text, environment={"SystemRoot": "C:\\Windows", "OS": "Windows_NT"}), [text])

    def test_the_user_s_variable_below_users(self):
        found, = self.hidden(f"C:\\Users\\%USERNAME%\\{DEEP}")
        self.assertTrue(found.startswith("C:\\Users\\%USERNAME%\\"))

    def test_a_path_through_a_common_folder(self):
        self.hidden(f"C:\\Users\\Public\\..\\nobody\\{DEEP}", f'C:\\"Users"\\nobody\\{DEEP}', f"C:\\Users\\.\\nobody\\{DEEP}",
                    f"C:\\DOCUME~1\\nobody\\{DEEP}")

    def test_short_words_and_last_names_are_words_too(self):
        found, = self.hidden(f"{HOME}\\ab\\Wichtelpost.zoe")
        self.assertNotIn("\\ab\\", found)
        self.assertNotIn(".zoe", found)

    def test_the_list_of_folders_ends_where_another_path_begins(self):
        found, = self.hidden(f"{HOME}\\Wichtelpost;C:\\Wichtelmann;%SystemRoot%\\x", environment={"SystemRoot": "C:\\Windows"})
        self.assertTrue(found.endswith(";C:\\Wichtelmann;%SystemRoot%\\x"), found)

    def test_profile_image_path_is_expanded(self):
        self.hidden("nobody's Geheimprojekt", "D:\\Haus\\Geheimprojekt\\Wichtelpost\\x", values=[
            f"\n[{PROFILES}\\S-1-5-21-2]\n" + raw("ProfileImagePath", "%Platte%\\Haus\\Geheimprojekt\0".encode("utf-16-le"), 2)],
            environment={"Platte": "D:"})

    def test_the_machine_s_own_folder_of_profiles(self):
        self.hidden("E:\\Leute\\Geheimprojekt\\Wichtelpost", values=[
            f"\n[{PROFILES}]\n" + raw("ProfilesDirectory", "E:\\Leute\0".encode("utf-16-le"), 2)])

    def test_paths_in_bytes(self):
        text = f"{HOME}\\a;b%c\\{DEEP}"
        self.hidden(values=[raw(f"b{at}", b"#" * at + text.encode(encoding)) for at, encoding in enumerate(
            ("utf-16-le", "utf-16-be", "utf-8"))])

    def test_notes_hide_the_path_and_stay_readable(self):
        folder = self.redacted(app("A", DisplayIcon=f"{HOME}\\Wichtelpost\\a.exe"), options=["--icons"])
        self.check(folder, WORDS)
        place = self.original / "drives" / "C" / "Users" / USER / "Wichtelpost"
        place.mkdir(parents=True)
        with open(place / "a.exe", "wb") as big:
            big.truncate((64 << 20) + 1)
        folder, told = self.capture(self.original, "--icons", "--redact", name="again")
        self.check(folder, WORDS)
        self.assertRegex(told, r"\.exe: icon file not captured: it has 67108865 bytes, and only ")


if __name__ == "__main__":
    unittest.main()
