"""Encrypting and decrypting secrets."""

import json
import os
import pathlib
import pty
import random
import select
import signal
import string
import subprocess
import termios
import time
import unittest

from kestrelbay import PROGRAM, SECONDS, TestCase, environment, key

# Root writes into every folder.
POWERLESS = 65534 if os.geteuid() == 0 else None
THREAD_SANITIZED = b"__tsan_init" in pathlib.Path(PROGRAM).read_bytes()
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

    def test_the_longest_secret_that_can_be_encrypted_can_be_decrypted(self):
        secret = b"x" * (1 << 20)
        hidden = self.encrypt(secret + b"\r\n").encode()
        self.assertGreater(len(hidden), len(secret))
        self.assertEqual(self.run_host("decrypt", given=hidden).stdout, secret)
        self.assertIn("mebibyte", self.refusal(1, "decrypt", given=b"x" * (2 << 20 | 8)))

    def test_text_that_is_not_protected(self):
        hidden = self.encrypt(b"secret")
        for given in (b"secret!", b"QUJD", hidden[:-10].encode(), hidden.swapcase().encode()):
            self.assertIn("cannot decrypt: ", self.refusal(1, "decrypt", given=given))

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

    def test_machine_without_an_identity_gets_one_that_lasts(self):
        machine = self.machine()
        hidden = self.encrypt(b"secret", "--machine", machine).encode()
        change = machine / "registry" / "~change-00000001.reg"
        self.assertRegex(change.read_text("utf-16"), r'"MachineGuid"="[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"')
        self.assertEqual(self.output("--machine", machine, "decrypt", given=hidden), "secret")
        # Without the identity nobody can decrypt, and the next one is another.
        change.unlink()
        self.assertIn("cannot decrypt: ", self.refusal(1, "--machine", machine, "decrypt", given=hidden))
        self.encrypt(b"other", "--machine", machine)
        self.assertIn("cannot decrypt: ", self.refusal(1, "--machine", machine, "decrypt", given=hidden))

    def test_empty_identity_is_none(self):
        machine = self.machine(key(CRYPTOGRAPHY, {"MachineGuid": ""}))
        hidden = self.encrypt(b"secret", "--machine", machine).encode()
        self.assertIn('"MachineGuid"="', (machine / "registry" / "~change-00000001.reg").read_text("utf-16"))
        self.assertEqual(self.output("--machine", machine, "decrypt", given=hidden), "secret")

    def test_machine_that_cannot_get_an_identity_encrypts_nothing(self):
        machine = self.machine()
        self.folder.chmod(0o755)
        (machine / "registry").chmod(0o555)
        self.addCleanup((machine / "registry").chmod, 0o755)
        line = self.refusal(1, "--machine", machine, "encrypt", given=b"secret", user=POWERLESS)
        self.assertIn(f"the machine has no MachineGuid, and a new one cannot be written: {machine}/registry: "
                      "cannot be written", line)

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
            try:
                sent = self.read_until(ours, b"Text to protect: ")
                os.write(ours, b"secret\n")
                hidden = process.stdout.read()
                sent += self.read_until(ours, None)
                self.assertEqual(process.wait(SECONDS), 0)
            finally:
                process.kill()  # "with" waits for its end
        os.close(ours)
        self.assertNotIn(b"secret", sent)
        self.assertEqual(self.output("decrypt", given=hidden), "secret")

    def at_prompt(self, act, **place):
        """The result of `act` for a program that asks for a secret, and for its terminal."""
        ours, its = pty.openpty()
        process = subprocess.Popen([PROGRAM, "encrypt"], stdin=its, stdout=subprocess.DEVNULL, stderr=its,
                                   env=environment(), **(place or {"process_group": 0}))
        try:
            self.read_until(ours, b"Text to protect: ")
            self.assertFalse(self.shows_typing(its))
            return act(process, its)
        finally:
            process.kill()
            process.wait(SECONDS)
            os.close(its)
            os.close(ours)

    @staticmethod
    def shows_typing(terminal):
        return bool(termios.tcgetattr(terminal)[3] & termios.ECHO)

    def goes_on_showing(self, terminal):
        """Waits until typed text is hidden. @return whether it never is"""
        for _ in range(SECONDS * 20):
            if not self.shows_typing(terminal):
                return False
            time.sleep(0.05)
        return True

    def test_a_signal_at_the_prompt_restores_the_terminal_and_ends_the_program(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
            def act(process, terminal):
                process.send_signal(number)
                return process.wait(SECONDS), self.shows_typing(terminal)
            # The program inherits it if a shell that runs the tests in the background ignores the signal.
            self.addCleanup(signal.signal, number, signal.signal(number, signal.SIG_DFL))
            self.assertEqual(self.at_prompt(act), (-number, True))

    def test_a_program_that_is_stopped_at_the_prompt_shows_typing_until_it_continues(self):
        def act(process, terminal):
            process.send_signal(signal.SIGTSTP)
            os.waitpid(process.pid, os.WUNTRACED)
            stopped = self.shows_typing(terminal)
            process.send_signal(signal.SIGCONT)
            return stopped, self.goes_on_showing(terminal)
        # The group of the process has a parent outside of it, as under a shell. The system stops no other groups.
        self.assertEqual(self.at_prompt(act), (True, False))

    def test_a_program_that_the_system_does_not_stop_hides_typing_on(self):
        def act(process, terminal):
            process.send_signal(signal.SIGTSTP)
            time.sleep(0.5)  # the handler shows typing, and must hide it again
            return self.goes_on_showing(terminal)
        # No shell could continue it.
        self.assertFalse(self.at_prompt(act, start_new_session=True))

    @unittest.skipIf(THREAD_SANITIZED, "the sanitizer holds back a signal that arrives between two calls of the system")
    def test_a_stopped_prompt_is_ended_in_the_background_of_a_shell(self):
        shell, ours = pty.fork()
        if shell == 0:
            # Nothing of the person who runs the tests: neither history nor settings nor language.
            own = environment(PS1="ready ", HISTFILE="", HOME=str(self.folder), LC_ALL="C")
            os.execvpe("bash", ["bash", "--norc", "--noprofile", "-i"], own)
        # Waits for the end of the job. The test has an alarm.
        end = (b"kill %1; for n in {1..2000}; do kill -0 %1 2>&- || break; sleep 0.05; done; "
               b"kill -0 %1 2>&- || echo 'prompt is'' gone'\n")
        try:
            for typed, answer in ((b"", b"ready "), (f"'{PROGRAM}' encrypt\n".encode(), b"Text to protect: "),
                                  (b"\x1a", b"Stopped"), (end, b"prompt is gone")):
                os.write(ours, typed)
                self.assertIn(answer, self.read_until(ours, answer))
        finally:
            os.close(ours)  # hangs up, which ends the shell and its programs
            os.waitpid(shell, 0)

    def scanned(self, secret, *arguments, given):
        """The parts of the secret in the memory of the process at its end, and the output."""
        masked = "".join(chr(ord(c) ^ 0x55) for c in secret)
        done = self.run_host(*arguments, given=given, LD_PRELOAD=os.environ["KESTRELBAY_SCAN"], SCAN_FOR=masked)
        self.assertEqual(done.returncode, 0)
        lines = done.stderr.decode().splitlines()
        self.assertRegex(lines.pop(), rf"\Ascanned [1-9]\d* blocks for {len(secret)} bytes\Z")
        return lines, done.stdout

    def test_memory_has_nothing_of_the_secret_at_the_end(self):
        generator = random.Random(7)
        for size in (12, 200, 70000):
            secret = "".join(generator.choices(string.ascii_lowercase, k=min(size, 200)))
            text = secret * (size // len(secret))
            hidden = self.encrypt(text.encode())
            for options in ([], ["--json"]):
                with self.subTest(size=size, options=options):
                    found, output = self.scanned(secret, *options, "decrypt", given=hidden.encode())
                    self.assertIn(secret.encode(), output)
                    self.assertEqual(found, [])
                    found, _ = self.scanned(secret, *options, "encrypt", given=text.encode())
                    self.assertEqual(found, [])

    def test_the_scan_finds_what_is_there(self):
        machine = self.machine(key("HKEY_USERS\\S-1-5-21-1-2-3-1001", {}))
        # The arguments of a process stay in its memory.
        found, _ = self.scanned(str(machine), "--machine", machine, "list", given=b"")
        self.assertTrue(found)

    def test_help_says_who_can_decrypt(self):
        text = self.output("encrypt", "--help")
        self.assertIn("On Windows only the same user on the same machine", text)
        self.assertIn("everybody who can read the machine directory can decrypt", text)
        self.assertIn("without MachineGuid gets a random one first. If the value is changed or removed", text)

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
