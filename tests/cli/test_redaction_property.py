"""10,000 generated secrets in all the places and encodings that redaction covers."""

import json
import random
import re
import unicodedata
import unittest
import urllib.parse

from kestrelbay import UNINSTALL, quoted
from test_redaction import PROFILES, RedactionTestCase, hex_bytes, raw

MACHINES, SECRETS = 20, 500
MARK = "zq"  # begins every secret, and nothing else
LETTERS = "abcdefghijklmnoprstuvwxyz"
HOSTS = ["corp.contoso.example", "münchen.example", "xn--mnchen-3ya.example", "mailserver", "10.0.0.1", "[10.0.0.1]",
         "[IPv6:fe80::1]", "пример.испытание", "kitchen-pc.local"]
MAILS = ["{s}@{h}", "{s}.x@{h}", "mailto:x+{s}@{h}", '"{s} x"@{h}', "<{s}@{h}>", "write to {s}@{h}, or else"]
CREDENTIALS = ["x:{s}@{h}", "{s}:x@{h}", "https://{s}:x@{h}/a", "ftp://x:{s}@{h}", "--proxy={s}:x@{h}"]
SETTINGS = ["setup /password:{s}", "setup --password={s} /S", "setup -pwd {s}", "SA_PASSWORD={s} /qn", 'PASSWORD="{s} x"',
            "/user:{s}", "Data Source=x;Pwd={s};y=1", "-token '{s}'", "Passwort: {s}"]
PATHS = ["C:\\Users\\{s}\\x", "C:\\Benutzer\\nobody\\{s}.exe", "D:\\Profiles\\nobody\\{s}", "E:\\Homes\\{s}\\x",
         "C:\\Users\\nobody\\a\t{s}", "C:\\Users\\nobody\\a\r\n{s}", "\\\\server\\profiles$\\{s}\\x", "%APPDATA%\\x\\{s}",
         "file:///C:/Users/{s}/x", "C:\\Documents and Settings\\nobody\\{s}", "C:\\Utilisateurs\\{s}\\x"]
ACCOUNTS = ["CONTOSO\\{s}", "runs as FABRIKAM\\{s}", "{s}\\admin", "NT-DOM\\x.{s}"]
NAMES = ["Report of {s}", "{s}_2024", "{s}", "x {s}-y", "{p}", "{w}"]
ENCODINGS = ["utf-8", "utf-16-le", "utf-16-be"]


def percent(text):
    return "".join(f"%{byte:02X}" for byte in text.encode())


def wide(text):
    return "".join(chr(ord(c) + 0xFEE0) if 0x20 < ord(c) < 0x7F else c for c in text)


class PropertyTest(RedactionTestCase):
    def secret(self):
        letters = "".join(self.random.choices(LETTERS, k=8))
        secret = self.random.choice([str.lower, str.upper, str.title])(MARK + letters)
        self.secrets.add(secret.lower())
        return secret

    def planted(self, template, secret):
        return template.format(s=secret, h=self.random.choice(HOSTS), p=percent(secret), w=wide(secret))

    def value(self, number, text, isText):
        """A value with that text: as a text, or as bytes in any encoding, at any offset, with any end."""
        name = f"v{number}"
        if isText or self.random.randrange(3) == 0:
            return raw(name, text.encode("utf-16-le") + b"\0\0" * self.random.randrange(2), self.random.choice([1, 2, 7]))
        data = text.encode(self.random.choice(ENCODINGS))
        return raw(name, b"#" * self.random.randrange(3) + data + self.random.choice([b"", b"\0\0", b"!", b" end"]), 3)

    def profile(self, number, name):
        path = "C:\\Users\\" + name
        return f'\n[{PROFILES}\\S-1-5-21-9-{number}]\n"ProfileImagePath"={quoted(path)}\n'

    def lines(self, people):
        for number in range(SECRETS - 2 * len(people)):
            kind = self.random.choice([MAILS, CREDENTIALS, SETTINGS, PATHS, ACCOUNTS])
            text = self.planted(self.random.choice(kind), self.secret())
            yield self.value(number, text, kind is ACCOUNTS or kind is MAILS)
        for number, part in enumerate(part for person in people for part in person):
            for times in range(3):
                template = NAMES[(number + times) % len(NAMES)]
                yield self.value(f"n{number}x{times}", self.planted(template, part), "{s}" not in template)
            yield f'"of {part}"="x"\n'

    def left(self, folder):
        """The secrets that any file still has, in any encoding, as escapes or in full width."""
        for file in folder.rglob("*"):
            if not file.is_file():
                continue
            data = file.read_bytes()
            texts = [data.decode("utf-16" if file.suffix == ".reg" else "utf-8")]
            pieces = hex_bytes(texts[0].replace("\r", "")) if file.suffix == ".reg" else []
            for piece in pieces:
                texts.append(piece.decode("latin-1"))
                for at in (0, 1):
                    texts += [piece[at:][:len(piece[at:]) & ~1].decode(code, "replace") for code in ENCODINGS[1:]]
            text = "\0".join(texts)
            for form in (text, urllib.parse.unquote(text), unicodedata.normalize("NFKC", text)):
                yield from set(re.findall(MARK + "[a-z]{8}", form.lower())) & self.secrets

    def test_none_of_the_planted_secrets_is_left(self):
        count = 0
        for seed in range(MACHINES):
            self.doCleanups(), self.setUp()
            self.random, self.secrets = random.Random(seed), set()
            people = [(self.secret(), self.secret()) for _ in range(20)]
            profiles = "".join(self.profile(number, " ".join(person)) for number, person in enumerate(people))
            entry = f'\n[HKEY_LOCAL_MACHINE\\{UNINSTALL}\\App]\n"DisplayName"="App"\n"UninstallString"="u"\n'
            keys = profiles + entry + "".join(self.lines(people))
            folder = self.redacted(keys)
            with self.subTest(seed=seed):
                self.assertGreaterEqual(len(set(self.left(self.original)) & self.secrets), SECRETS - 5)
                self.assertEqual(sorted(set(self.left(folder))), [])
            count += len(self.secrets)
        self.assertGreaterEqual(count, 10_000 - MACHINES)


if __name__ == "__main__":
    unittest.main()
