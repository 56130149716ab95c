"""Installing and uninstalling with kestrelbay.exe under Wine. A file beside each program has its steps."""

import fcntl
import json
import os
import pathlib
import pty
import select
import shutil
import struct
import subprocess
import tempfile
import termios
import time
import unittest

from wine_windows import GATE, PROGRAM, SECONDS, UNINSTALL, reg, run_host

TEST_PROGRAM = pathlib.Path(PROGRAM[1]).with_name("kestrelbay-test-program.exe")
ENTRY = UNINSTALL + r"\CliJob"
# Kinds of steps, as the program numbers them.
CREATE_KEY, DELETE_KEY, SET_TEXT, DELETE_VALUE, WAIT_FOR_SIGNAL, WAIT_FOR_WATCH = range(6)


def exists(key):
    query = [PROGRAM[0], "reg", "query", key]
    return subprocess.run(query, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=SECONDS).returncode == 0


class WindowsJobTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kestrelbay-"))
        self.addCleanup(shutil.rmtree, self.folder)
        reg("add", GATE, "/f")

    def program(self, name, *steps):
        """A program that does these steps: kind, key, name, text. Returns its path on Windows."""
        file = self.folder / name
        shutil.copy(TEST_PROGRAM, file)
        lines = ["0"]
        for kind, key, *texts in steps:
            lines += [str(kind), key, "0", *(texts + ["", ""])[:2]]
        file.with_name(name + ".steps").write_bytes("\n".join(lines + [""]).encode("utf-16-le"))
        return "Z:" + str(file).replace("/", "\\")

    def install(self, version, command="remove"):
        setup = self.program(f"setup-{version}.exe", (SET_TEXT, ENTRY, "DisplayName", "Job"),
                             (SET_TEXT, ENTRY, "UninstallString", command),
                             (SET_TEXT, ENTRY, "DisplayVersion", version))
        return run_host("install", setup, "--name", "Job")

    def test_installs_lists_updates_and_removes(self):
        remover = self.program("remove.exe", (WAIT_FOR_WATCH, "", "Job"), (DELETE_VALUE, ENTRY, "DisplayName"),
                               (CREATE_KEY, ENTRY + r"\Gone"), (DELETE_KEY, ENTRY))
        for version, told in (("1.0", b"Installed Job: not installed -> 1.0\n"),
                              ("2.0", b"Updated Job: 1.0 -> 2.0\n")):
            done = self.install(version, f'"{remover}" /S')
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, told, b""))
        self.assertIn("Job", [entry["displayName"] for entry in json.loads(run_host("list", "--json").stdout)])
        done = run_host("--json", "uninstall", "Job")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(json.loads(done.stdout), {
            "displayName": "Job", "result": "Success", "errMsg": "NULL", "before": {"displayVersion": "2.0"},
            "after": None, "change": "gone", "stopped": False})

    def test_sample_installer_does_as_the_readme_says(self):
        setup = "Z:" + PROGRAM[1].replace("kestrelbay.exe", "sample-setup.exe").replace("/", "\\")
        for command, told in (
                (["install", setup, "--name", "Mothlight", "--args", "Mothlight 2.6.1"],
                 b"Installed Mothlight: not installed -> 2.6.1\n"),
                (["start", "Mothlight"], b"Started Mothlight.\n"),
                (["install", setup, "--name", "Mothlight", "--args", "Mothlight 2.7.0"],
                 b"Updated Mothlight: 2.6.1 -> 2.7.0\n"),
                (["version", "Mothlight"], b"2.7.0\n"),
                (["uninstall", "Mothlight"], b"Removed Mothlight: 2.7.0 -> not installed\n"),
                (["install", setup, "--name", "Mothlight", "--args", "Mothlight 2.7.0"],
                 b"Installed Mothlight: not installed -> 2.7.0\n"),
                (["uninstall", "Mothlight"], b"Removed Mothlight: 2.7.0 -> not installed\n")):
            done = run_host(*command)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, told, b""))

    def test_ctrl_c_ends_the_wait_and_not_the_installer(self):
        setup = self.program("held.exe", (CREATE_KEY, ENTRY), (WAIT_FOR_SIGNAL, "", "kestrelbay-cli-never"))
        end = [PROGRAM[0], "taskkill", "/f", "/im", "held.exe"]
        self.addCleanup(subprocess.run, end, check=True, stdout=subprocess.DEVNULL, timeout=SECONDS)
        ours, its = pty.openpty()
        # Wide enough that no line is broken.
        fcntl.ioctl(its, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 1000, 0, 0))
        process = subprocess.Popen([*PROGRAM, "--log", "install", setup, "--name", "Job"], stdin=its, stdout=its,
                                   stderr=its, start_new_session=True)
        os.close(its)
        sent = b""
        interrupted = False
        limit = time.monotonic() + SECONDS
        # The installer keeps the terminal open, so the test waits for the end of the command only.
        while select.select([ours], [], [], 0.1)[0] or (process.poll() is None and time.monotonic() < limit):
            try:
                sent += os.read(ours, 65536) if select.select([ours], [], [], 0)[0] else b""
            except OSError:  # the terminal's last program has ended
                break
            # Only after the installer runs: an interrupted Wine does not finish the start of a program.
            if not interrupted and b"enter StartInstallProcessAndWait" in sent and exists(ENTRY):
                os.write(ours, b"\x03")
                interrupted = True
        os.close(ours)
        self.assertEqual(process.wait(SECONDS), 1, sent)
        self.assertIn(b"no longer waiting: the installer goes on by itself", sent)
        self.assertIn(b'stopped waiting: "Job" is not listed yet, and the installer goes on by itself', sent)

    def test_failures_end_in_status_one(self):
        done = run_host("install", self.program("nothing.exe"), "--name", "Job")
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertIn(b'not installed: "Job" is not listed', done.stderr)
        done = run_host("uninstall", "Job")
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertIn(b'nothing is listed as "Job"', done.stderr)
