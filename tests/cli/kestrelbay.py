"""Runs the command line on machines that the tests write."""

import fcntl
import os
import pathlib
import pty
import select
import shutil
import signal
import struct
import subprocess
import tempfile
import termios
import unicodedata
import unittest

PROGRAM = os.environ["KESTRELBAY_PROGRAM"]
UNINSTALL = r"Software\Microsoft\Windows\CurrentVersion\Uninstall"
UNINSTALL_32 = r"Software\Wow6432Node\Microsoft\Windows\CurrentVersion\Uninstall"
USER = r"HKEY_USERS\S-1-5-21-1-2-3-1001"
HEADER = "Windows Registry Editor Version 5.00\n"
GATE = "\n[HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products]\n"
TEST_SECONDS = int(os.environ.get("KESTRELBAY_TEST_SECONDS", "240"))
# A single command that takes half of TEST_SECONDS counts as hung.
SECONDS = TEST_SECONDS // 2


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def key(path, values, last_write_time=None):
    """One key of a registration file; values are texts."""
    lines = [f"\n[{path}]"]
    if last_write_time is not None:
        lines.append(f";LastWriteTime={last_write_time}")
    lines += [f"{quoted(name)}={quoted(text)}" for name, text in values.items()]
    return "\n".join(lines) + "\n"


def app(name, path=None, last_write_time=None, **values):
    """The uninstall key of an application, by default one of the 64-bit view."""
    values = {"DisplayName": name, "UninstallString": "remove " + name, **values}
    return key(path or f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\{name}", values, last_write_time)


def contents(folder):
    """The contents of a folder, to compare."""
    return {path: path.read_bytes() if path.is_file() else path.lstat().st_mode for path in folder.rglob("*")}


def environment(**changes):
    """The environment of the tests without the variables that the command line reads, and with the changes."""
    own = {name: text for name, text in os.environ.items() if name not in ("COLUMNS", "NO_COLOR")}
    return {**own, "TERM": "xterm", **changes}


def cells(line):
    """The width of a line in cells, by the Unicode database."""
    return sum(0 if unicodedata.category(c) in ("Mn", "Me", "Cf") else
               2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in line)


class TestCase(unittest.TestCase):
    def setUp(self):
        # A test that waits forever fails by name.
        signal.signal(signal.SIGALRM, self.fail_late)
        signal.alarm(TEST_SECONDS)
        self.addCleanup(signal.alarm, 0)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kestrelbay-"))
        self.addCleanup(shutil.rmtree, self.folder)

    @staticmethod
    def fail_late(*_):
        raise TimeoutError(f"the test did not end within {TEST_SECONDS} s")

    def machine(self, *keys, name="pc", encoding="utf-8"):
        """Writes a machine with these keys and the installer's own; returns its folder."""
        registry = self.folder / name / "registry"
        registry.mkdir(parents=True)
        text = HEADER + GATE + "".join(keys)
        (registry / "10-machine.reg").write_bytes(text.encode(encoding, "surrogatepass"))
        return self.folder / name

    def run_host(self, *arguments, canned=None, stdout=subprocess.PIPE, given=None, user=None,
                 cwd=None, **changes):
        """Runs the command line to its end, as another user if `user` is given. Input and output are bytes."""
        if canned:
            changes = {"LD_PRELOAD": os.environ["KESTRELBAY_CANNED"], **canned, **changes}
        if "LD_PRELOAD" in changes:
            changes["ASAN_OPTIONS"] = "verify_asan_link_order=0"
        stdin = {"stdin": subprocess.DEVNULL} if given is None else {"input": given}
        return subprocess.run([PROGRAM, *map(str, arguments)], **stdin, stdout=stdout,
                              stderr=subprocess.PIPE, env=environment(**changes), timeout=SECONDS, user=user, cwd=cwd)

    def output(self, *arguments, **options):
        """Standard output of a run that must succeed without a message."""
        done = self.run_host(*arguments, **options)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout.decode()

    def refusal(self, status, *arguments, **options):
        """The message of a run that must fail with this status and one line."""
        done = self.run_host(*arguments, **options)
        line = done.stderr.decode()
        self.assertEqual(done.returncode, status, line)
        self.assertFalse(done.stdout)
        self.assertRegex(line, r"\Akestrelbay: [^\n]+\n\Z")
        return line

    def run_on_terminal(self, *arguments, columns=80, during=None, **changes):
        """Runs the command line with both outputs on a terminal; returns what the terminal received.

        `during` is called with the process and everything received so far, after each piece.
        """
        ours, its = pty.openpty()
        fcntl.ioctl(its, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=its,
                                   stderr=its, env=environment(**changes))
        os.close(its)
        sent = b""
        while select.select([ours], [], [], SECONDS)[0]:
            try:
                piece = os.read(ours, 65536)
            except OSError:  # the terminal's last program has ended
                break
            sent += piece
            if during:
                during(process, sent)
        os.close(ours)
        self.assertEqual(process.wait(SECONDS), 0)
        return sent.decode().replace("\r\n", "\n")
