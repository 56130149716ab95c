"""Protecting secrets and turning them back."""

import json
import os
import pty
import select
import subprocess

from kestrelbay import PROGRAM, SECONDS, TestCase, environment, key

CRYPTOGRAPHY = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography"


class SecretsTest(TestCase):
    def encrypt(self, secret, *options):
        return self.output(*options, "encrypt", given=secret)

    def test_secret_comes_back_byte_by_byte(self):
        for secret in (b"secret", "gr\u00fcn \u65e5".encode(), b"\xff\xfe", b"two\nlines", b"x" * 5000, b" "):
            hidden = self.encrypt(secret)
            self.assertRegex(hidden, r"\A([A-Za-z0-9+/=]{1,64}\r\n)+\Z")
            done = self.run_host("decrypt", given=hidden.encode())
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, secret, b""))

    def test_one_line_end_is_left_out(self):
        for given, kept in ((b"s\n", b"s"), (b"s\r\n", b"s"), (b"s\n\n", b"s\n"), (b"s\r", b"s")):
            hidden = self.encrypt(given)
            self.assertEqual(self.run_host("decrypt", given=hidden.encode()).stdout, kept)

    def test_json(self):
        hidden = json.loads(self.encrypt(b"secret", "--json"))["protectedText"]
        self.assertEqual(json.loads(self.output("--json", "decrypt", given=hidden.encode())),
                         {"text": "secret"})

    def test_the_same_secret_looks_different_each_time(self):
        self.assertNotEqual(self.encrypt(b"secret"), self.encrypt(b"secret"))

    def test_nothing_to_protect(self):
        for given in (None, b"", b"\n"):
            self.refusal(1, "encrypt", given=given)
            self.refusal(1, "decrypt", given=given)
        self.assertIn("NUL", self.refusal(1, "encrypt", given=b"a\0b"))
        self.assertIn("mebibyte", self.refusal(1, "encrypt", given=b"x" * (1 << 20 | 1)))

    def test_text_that_is_not_protected(self):
        hidden = self.encrypt(b"secret")
        for given in (b"secret!", b"QUJD", hidden[:-10].encode(), hidden.swapcase().encode()):
            self.assertIn("nothing came back", self.refusal(1, "decrypt", given=given))

    def test_text_of_another_machine_or_user(self):
        here = self.machine(key(CRYPTOGRAPHY, {"MachineGuid": "here"}), name="here")
        there = self.machine(key(CRYPTOGRAPHY, {"MachineGuid": "there"}), name="there")
        other = self.machine(key(CRYPTOGRAPHY, {"MachineGuid": "here"}), name="other")
        (other / "machine.json").write_text('{"user": {"sid": "S-1-5-21-1-2-3-1004"}}')
        hidden = self.encrypt(b"secret", "--machine", here).encode()
        self.assertEqual(self.output("--machine", here, "decrypt", given=hidden), "secret")
        self.refusal(1, "--machine", there, "decrypt", given=hidden)
        done = self.run_host("--machine", other, "--log", "decrypt", given=hidden)
        self.assertIn(b"errCode=-2146893813", done.stderr)

    def test_neither_log_nor_error_holds_the_secret(self):
        done = self.run_host("--log", "encrypt", given=b"correct horse")
        self.assertIn(b"enter ProtectData", done.stderr)
        self.assertNotIn(b"horse", done.stderr)
        self.assertNotIn(done.stdout[:40], done.stderr)

    def test_secret_is_asked_for_and_not_shown(self):
        ours, its = pty.openpty()
        with subprocess.Popen([PROGRAM, "encrypt"], stdin=its, stdout=subprocess.PIPE, stderr=its,
                              env=environment()) as process:
            os.close(its)
            sent = self.read_until(ours, b"Text to protect: ")
            os.write(ours, b"secret\n")
            hidden = process.stdout.read()
            sent += self.read_until(ours, None)
            self.assertEqual(process.wait(SECONDS), 0)
        os.close(ours)
        self.assertNotIn(b"secret", sent)
        self.assertEqual(self.output("decrypt", given=hidden), "secret")

    @staticmethod
    def read_until(terminal, mark):
        sent = b""
        while select.select([terminal], [], [], SECONDS)[0]:
            try:
                sent += os.read(terminal, 65536)
            except OSError:  # its last program has ended
                break
            if mark and mark in sent:
                break
        return sent
