"""A redacted capture does not identify its owner."""

import json
import re

from kestrelbay import UNINSTALL, app, key, quoted
from test_capture import CaptureTestCase

SID = "S-1-5-21-3187042519-904417726-2260358141-1001"
NUMBERS = SID[9:-5]
OTHER_SID = "S-1-12-1-1234567890-1098765432-2345678901-1987654321"
GUID = "4ca1b2f0-5d6e-4f77-8899-aabbccddeeff"
USER, OTHER, SHORT, COMPUTER, OWNER = "Ilka.Grünwald", "Παύλος", "Jo", "KITCHEN-PC", "Ilka Maria Grünwald"
FOLDERS = ["Wichtelpost", "Geheimprojekt", "grünes Ding"]
SECRETS = [USER, OTHER, COMPUTER, OWNER, NUMBERS, OTHER_SID[9:], GUID, *FOLDERS]
HOME = "C:\\Users\\" + USER
PROFILES = r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion\ProfileList"


def numbers_as_bytes(text):
    return b"".join(int(number).to_bytes(4, "little") for number in text.split("-"))


def raw(name, data, kind=3):
    return f"{quoted(name)}=hex({kind:x}):" + ",".join(f"{byte:02x}" for byte in data) + "\n"


def entry(name, lines):
    return f'\n[HKEY_LOCAL_MACHINE\\{UNINSTALL}\\{name}]\n"DisplayName"={quoted(name)}\n"UninstallString"="u"\n' + lines


def hex_bytes(text):
    """The bytes of each hex value of a .reg file."""
    for match in re.finditer(r"hex(?:\([0-9a-f]+\))?:((?:[0-9a-f]{2},?|\\\n\s*)*)", text):
        yield bytes(int(pair, 16) for pair in re.findall("[0-9a-f]{2}", match[1]))


class RedactionTestCase(CaptureTestCase):
    def redacted(self, *keys, options=(), **changes):
        description = {"user": {"sid": SID}, "environment": {
            "USERNAME": USER, "USERPROFILE": HOME, "COMPUTERNAME": COMPUTER, "SystemRoot": "C:\\Windows",
            "LOCALAPPDATA": HOME + "\\AppData\\Local"}, "hostPath": HOME + "\\Desktop\\Wichtelpost\\host.exe",
            "currentDirectory": HOME, **changes}
        self.original = self.described(
            key(r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Cryptography", {"MachineGuid": GUID}),
            key(r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion", {"RegisteredOwner": OWNER}),
            key(PROFILES + "\\" + SID, {"ProfileImagePath": HOME}),
            key(PROFILES + r"\S-1-5-21-1", {"ProfileImagePath": "D:\\Profiles\\" + OTHER}),
            *keys, **description)
        folder, self.told = self.capture(self.original, "--redact", *options)
        return folder

    def found(self, folder, secrets=SECRETS):
        """Each secret that is still in a file, in any encoding and case."""
        pieces = []
        for path in folder.rglob("*"):
            pieces.append((path, str(path.relative_to(folder)).encode()))
            if path.is_file():
                data = path.read_bytes()
                pieces.append((path, data))
                if path.suffix == ".reg":
                    pieces += [(path, bytes_) for bytes_ in hex_bytes(data.decode("utf-16").replace("\r", ""))]
        for secret in secrets:
            for encoding in ("utf-8", "utf-16-le", "utf-16-be", "cp1252", "cp1253"):
                for spelling in {secret, secret.lower(), secret.upper()}:
                    try:
                        sought = spelling.encode(encoding)
                    except UnicodeEncodeError:
                        continue
                    # bytes.lower leaves all but ASCII as it is.
                    yield from ((secret, encoding, str(path)) for path, data in pieces
                                if sought.lower() in data.lower())

    def check(self, folder, secrets=SECRETS):
        self.assertEqual(list(self.found(folder, secrets)), [])

    def apps(self, folder):
        return {a["displayName"]: a for a in json.loads(self.run_host("--machine", folder, "--json", "list").stdout)}


class RedactionTest(RedactionTestCase):
    def test_the_search_finds_what_is_there(self):
        folder, _ = self.capture(self.described(*self.everywhere()), name="open")
        self.assertEqual({secret for secret, _, _ in self.found(folder)}, set(SECRETS) - {OWNER, GUID})

    def test_answers_are_those_about_the_capture_and_redacted_like_it(self):
        folder = self.redacted(*self.everywhere(), options=["--answers"])
        self.check(folder / "answers")
        for command in ("list", "explain"):
            answer = json.loads((folder / "answers" / f"{command}.json").read_text(encoding="utf-8"))
            self.assertTrue(answer)
            self.assertEqual(json.loads(self.run_host("--machine", folder, "--json", command).stdout), answer)

    def test_texts_in_any_script_are_redacted_as_their_answers_are(self):
        home = "C:\\Users\\Łukasz"
        texts = ["wiśniewski@firma.pl", "Tool j.d@firma.de", "C password:ab@z$zqpass", "Иван Петров ivan@firma.pl",
                 "Łukasz Wiśniewski", "夕凪 j.d", "Ümit Łukasz x"]
        folder = self.redacted(*(app(text, DisplayIcon=f"{home}\\{n}\\a.exe") for n, text in enumerate(texts)),
                               options=["--answers"], environment={"USERNAME": "Łukasz", "USERPROFILE": home,
                                                                   "COMPUTERNAME": "j.d", "SystemRoot": "C:\\Windows"})
        answer = json.loads((folder / "answers" / "list.json").read_text(encoding="utf-8"))
        self.assertEqual(len(answer), len(texts))
        listed = json.loads(self.run_host("--machine", folder, "--json", "list").stdout)
        self.assertCountEqual(listed, answer)  # stand-ins have another order than names beyond ASCII
        hidden = self.description(folder)["environment"]["USERPROFILE"]
        self.assertEqual({a["displayIcon"][:len(home)] for a in answer}, {hidden})
        self.check(folder, ["Łukasz", "ivan@", "wiśniewski@"])

    def test_fixed_words_of_the_answers_stay_even_if_users_have_such_names(self):
        for name in ("Display", "listed", "uninstallEntry", "HKEY_LOCAL_MACHINE", "InstallLocation"):
            with self.subTest(name):
                self.doCleanups(), self.setUp()
                folder = self.redacted(app(f"Of {name}", InstallLocation="C:\\x"), options=["--answers"],
                                       environment={"USERNAME": name, "SystemRoot": "C:\\Windows"})
                answer = json.loads((folder / "answers" / "explain.json").read_text(encoding="utf-8"))
                self.assertEqual(json.loads(self.run_host("--machine", folder, "--json", "explain").stdout), answer)
                self.assertNotIn("Of " + name, json.dumps(answer))

    def everywhere(self):
        text = f"{HOME}\\AppData\\Local\\Wichtelpost\\Geheimprojekt\\grünes Ding\\x.exe"
        both = f"{USER} {OTHER} {COMPUTER} {SID} {OTHER_SID} {text}"
        return (
            app(f"Of {USER}", f"HKEY_USERS\\{SID}\\{UNINSTALL}\\{USER}", InstallLocation=text),
            app("Other", f"HKEY_USERS\\{OTHER_SID}\\{UNINSTALL}\\Other", InstallLocation=both.upper()),
            entry("Values", quoted(both) + "=" + quoted(both.lower()) + "\n"
                  + "".join(raw(f"{kind} {encoding} {before}", b"#" * before + both.encode(encoding), kind)
                            for encoding in ("utf-8", "utf-16-le", "utf-16-be") for before in (0, 1) for kind in (1, 3, 7))
                  + raw("sid", b"\1\5\0\0\0\0\0\5\x15\0\0\0" + numbers_as_bytes(NUMBERS) + b"\xe9\3\0\0")))

    def test_nothing_is_left_anywhere(self):
        folder = self.redacted(*self.everywhere())
        self.check(folder)
        sought = numbers_as_bytes(NUMBERS)
        self.assertFalse([1 for bytes_ in hex_bytes(self.registry(folder)) if sought in bytes_])

    def test_the_account_is_hidden_as_the_name_and_the_computer_are(self):
        folder = self.redacted(environment={"USERNAME": USER, "USERDOMAIN": COMPUTER, "COMPUTERNAME": COMPUTER})
        self.check(folder, [USER, COMPUTER])
        hidden = self.description(folder)
        self.assertEqual(hidden["capture"]["account"],
                         hidden["environment"]["COMPUTERNAME"] + "\\" + hidden["user"]["name"])

    def test_the_same_name_has_the_same_stand_in_everywhere(self):
        folder = self.redacted(*self.everywhere())
        name = self.description(folder)["user"]["name"]
        self.assertEqual(len(name), len(USER))
        sid = self.description(folder)["user"]["sid"]
        self.assertIn(f"[HKEY_USERS\\{sid}\\{UNINSTALL}\\{name}]", self.registry(folder))
        self.assertEqual(self.apps(folder)["Of " + name]["installLocation"],
                         self.description(folder)["environment"]["USERPROFILE"] + "\\AppData\\Local\\"
                         + self.words(folder))

    def words(self, folder):
        return re.search(r"Local\\([^,]*\.exe)", self.apps(folder)["Of " + self.description(folder)["user"]["name"]]
                         ["installLocation"])[1]

    def test_stand_ins_have_the_length_of_the_hidden_text(self):
        # A text that fits into the buffers of the library must still fit, and a longer one must still be too long.
        places = {f"{n}": HOME + "\\" + "x" * (n - len(HOME) - 1) for n in (259, 260)}
        folder = self.redacted(*(app(n, InstallLocation=place) for n, place in places.items()))
        self.assertEqual([len(a["installLocation"]) for a in self.apps(folder).values()], [259, 0])

    def test_other_paths_to_a_user_s_folder(self):
        ways = ["%LOCALAPPDATA%\\Wichtelpost\\a.ico", "D:\\Profiles\\" + OTHER + "\\Wichtelpost", "c:/users/nobody/Wichtelpost",
                "C:\\\\Users\\\\nobody\\\\Wichtelpost", '"C:\\Documents and Settings\\nobody\\Wichtelpost\\a.exe" /S']
        folder = self.redacted(*(app(f"{n}", InstallLocation=way) for n, way in enumerate(ways)))
        self.check(folder, [*SECRETS, "nobody"])
        self.assertTrue(self.apps(folder)["4"]["installLocation"].endswith('.exe" /S'))

    def test_windows_own_words_stay(self):
        place = "C:\\Users\\Public\\Wichtelpost;C:\\Windows;%SystemRoot%;C:\\Program Files\\Wichtelpost"
        folder = self.redacted(app("Plain", InstallLocation=place))
        self.assertEqual(self.apps(folder)["Plain"]["installLocation"], place)

    def test_a_short_name_is_sought_as_a_word(self):
        folder = self.redacted(app("Jolly", InstallLocation="D:\\Jo\\jo.txt"), environment={"USERNAME": SHORT})
        self.assertRegex(self.apps(folder)["Jolly"]["installLocation"], r"\AD:\\(U[a-z])\\(?=u)(?i:\1)\.txt\Z")

    def test_a_common_name_is_sought_as_a_word(self):
        folder = self.redacted(app("Plain", InstallLocation="%SystemRoot%\\root\\rooted"), environment={
            "USERNAME": "root", "SystemRoot": "C:\\Windows"})
        self.assertRegex(self.apps(folder)["Plain"]["installLocation"], r"\A%SystemRoot%\\u[a-z]{3}\\rooted\Z")

    def test_a_name_like_a_stand_in_is_hidden_too(self):
        folder = self.redacted(app("useraab waaab"), environment={"USERNAME": "useraab", "COMPUTERNAME": "hostaac"})
        self.check(folder, ["useraab"])

    def test_lists_like_the_machine_except_names(self):
        keys = [app(f"{n}", f"HKEY_USERS\\{SID}\\{UNINSTALL}\\{n}", n, DisplayVersion=f"1.{n}") for n in range(9)]
        folder = self.redacted(*keys)
        self.assertEqual(self.apps(folder), self.apps(self.original))
        self.assertTrue(self.description(folder)["capture"]["redacted"])

    def test_icons_are_at_the_redacted_paths(self):
        sample = json.loads(self.output("--json", "list"))
        folder = self.folder / "sample"
        self.output("capture", folder, "--icons", "--redact")
        plain = self.output("--json", "list", "--icons")
        hidden = self.output("--machine", folder, "--json", "list", "--icons")
        count = [text.count("data:image/png") for text in (plain, hidden)]
        self.assertGreater(count[0], 5)
        self.assertEqual(*count)
        self.assertEqual(len(json.loads(hidden)), len(sample))
        self.assertFalse(list(self.found(folder, ["\\Anna\\", "\\Pavel\\", "/Anna/", "/Pavel/"])))
        for words in ("ConfettiChat", "pixelgarden.exe", "maps.exe", "tutor.exe", "склад.exe", "Local\\\\Brightmoor"):
            self.assertIn(words, plain)
            self.assertNotIn(words, hidden)

    def test_notes_and_refused_keys(self):
        refused = f"HKEY_USERS\\{SID}\\{UNINSTALL}\\{USER}"
        folder = self.redacted(app("A", refused), deniedAccess={refused: ["KEY_READ"]})
        self.assertEqual(len(self.description(folder)["capture"]["notes"]), 1)
        self.check(folder)
        self.assertNotIn(USER, self.told)
        self.assertEqual(len(self.description(folder)["deniedAccess"]), 1)
        self.assertEqual(self.apps(folder), {})
