"""Machines from other people, full disks, and machines that cannot be written."""

import collections
import json
import os
import pathlib
import resource
import shutil
import subprocess

from kestrelbay import HEADER, PROGRAM, SECONDS, TestCase, app, contents, environment
from test_jobs import ENTRY, REMOVER, JobTestCase
from test_machine import POWERLESS


class ClosedWorldTest(TestCase):
    def setUp(self):
        super().setUp()
        self.secret = self.folder / "outside" / "secret.txt"
        self.secret.parent.mkdir()
        self.secret.write_text("secret")

    def check_refused(self, machine, link, *arguments):
        before = contents(self.folder)
        line = self.refusal(1, "--machine", machine, *arguments)
        self.assertIn(f"{link}: leads out of {machine}", line)
        self.assertEqual(contents(self.folder), before)

    def test_links_that_leave_are_refused_in_one_line(self):
        machine = self.machine(app("Alpha"))
        for name in ("registry/20.reg", "machine.json", "drives/C"):
            link = machine / name
            link.parent.mkdir(exist_ok=True)
            link.symlink_to(self.secret if link.suffix else self.secret.parent)
            self.check_refused(machine, link, "list")
            link.unlink()

    def test_forget_writes_through_no_link(self):
        machine = self.machine(app("Alpha"))
        (machine / "registry" / "~change.tmp").symlink_to(self.secret)
        self.output("--machine", machine, "forget", "Alpha", "--yes")
        self.assertEqual(self.secret.read_text(), "secret")

    def test_capture_with_icons_takes_no_file_from_outside(self):
        machine = self.machine(app("Alpha", DisplayIcon=r"C:\App\secret.txt"))
        (machine / "drives" / "C").mkdir(parents=True)
        (machine / "drives" / "C" / "App").symlink_to(self.secret.parent)
        self.run_host("--machine", machine, "capture", "--icons", self.folder / "copy")
        self.assertEqual(list((self.folder / "copy").rglob("secret.txt")), [])

    def test_number_of_a_change_that_would_wrap_is_refused(self):
        machine = self.machine(app("Alpha"))
        change = machine / "registry" / "~change-18446744073709551615.reg"
        change.write_text(HEADER)
        self.assertIn(f"{change}: ", self.refusal(1, "--machine", machine, "list"))

    def test_sparse_registration_file_of_ten_gigabytes_is_refused_without_being_read(self):
        machine = self.machine(app("Alpha"))
        large = machine / "registry" / "20.reg"
        with large.open("wb") as file:
            file.truncate(10 << 30)
        self.assertIn(f"{large}: larger than 1 GiB", self.refusal(1, "--machine", machine, "list"))
        self.assertLess(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, 2 << 20)


class IdentityTest(TestCase):
    def test_machines_without_an_identity_share_no_key_and_keep_their_own(self):
        here, there = self.machine(app("Alpha"), name="here"), self.machine(app("Alpha"), name="there")
        hidden = self.output("--machine", here, "encrypt", given=b"secret").encode()
        self.assertEqual(self.output("--machine", here, "decrypt", given=hidden), "secret")
        for _ in range(2):
            self.refusal(1, "--machine", there, "decrypt", given=hidden)
            self.output("--machine", there, "encrypt", given=b"other")


class UnwritableTest(JobTestCase):
    """Each command says that the machine could not be written, and where, and ends."""

    def read_only(self):
        machine = self.pc(self.alpha(), programs={
            r"C:\setup.exe": [{"merges": "setups/alpha.reg"}],
            REMOVER: [{"merges": "setups/gone.reg", "removes": [REMOVER]}]})
        self.setup_file(machine, "alpha.reg", self.alpha("2.0"))
        self.setup_file(machine, "gone.reg", f"\n[-{ENTRY}]\n")
        self.folder.chmod(0o755)
        for folder in (machine, *filter(pathlib.Path.is_dir, machine.rglob("*"))):
            folder.chmod(0o555)
            self.addCleanup(folder.chmod, 0o755)
        return machine

    def check_refused(self, machine, *arguments):
        before = contents(machine)
        line = self.refusal(1, "--machine", machine, *arguments, user=POWERLESS)
        self.assertIn(f"{machine}/registry: cannot be written (Permission denied); ", line)
        self.assertEqual(contents(machine), before)

    def test_forget(self):
        self.check_refused(self.read_only(), "forget", "Alpha", "--yes")

    def test_install(self):
        self.check_refused(self.read_only(), "install", r"C:\setup.exe", "--name", "Alpha")

    def test_uninstall_ends(self):
        machine = self.read_only()
        before = contents(machine)
        line = self.refusal(1, "--machine", machine, "uninstall", "Alpha", user=POWERLESS)
        self.assertRegex(line, "not removed: .*: cannot be written ")
        self.assertEqual(contents(machine), before)


if shutil.which("strace"):
    class FullDiskTest(UnwritableTest):
        """The same with a full disk: fsync fails with ENOSPC."""

        fault = "fsync:error=ENOSPC"
        problem = "No space left on device); make room on the disk"

        def read_only(self):
            machine = super().read_only()
            for folder in (machine, *filter(pathlib.Path.is_dir, machine.rglob("*"))):
                folder.chmod(0o755)
            return machine

        def check_refused(self, machine, *arguments):
            before = contents(machine)
            done = subprocess.run(
                ["strace", "-f", "-o", os.devnull, "-e", f"trace={self.fault.split(':')[0]}",
                 "-e", f"inject={self.fault}", PROGRAM, "--machine", str(machine), *arguments],
                stdin=subprocess.DEVNULL, capture_output=True, env=environment(), timeout=SECONDS)
            self.assertEqual(done.returncode, 1, done.stderr)
            self.assertIn(f"{machine}/registry: cannot be written ({self.problem}", done.stderr.decode())
            self.assertEqual(contents(machine), before)

        def test_uninstall_ends(self):
            self.check_refused(self.read_only(), "uninstall", "Alpha")

        def number_of_the_write(self, *arguments):
            """Which write of its thread is the first one to the registry; a sanitizer writes as well."""
            machine, calls = self.read_only(), self.folder / "calls"
            subprocess.run(["strace", "-f", "-y", "-o", calls, "-e", "trace=write", PROGRAM, "--machine", str(machine),
                            *arguments], stdin=subprocess.DEVNULL, capture_output=True, env=environment(),
                           timeout=SECONDS, check=True)
            counts = collections.Counter()
            for line in calls.read_text(errors="replace").splitlines():
                thread, call = line.split(maxsplit=1)
                counts[thread] += call.startswith("write(")
                if call.startswith("write(") and f"{machine}/registry/" in call.partition(">")[0]:
                    shutil.rmtree(machine)
                    return counts[thread]
            raise AssertionError("no write to the registry")

        def test_forget_at_the_write(self):
            arguments = "forget", "Alpha", "--yes"
            self.fault = f"write:error=ENOSPC:when={self.number_of_the_write(*arguments)}"
            self.problem = "No space left on device); "
            self.check_refused(self.read_only(), *arguments)

    class ReadOnlyDiskTest(FullDiskTest):
        """The disk became read-only before the change got its name."""

        fault = "renameat:error=EROFS"
        problem = "Read-only file system); "
        # Nothing is written to such a disk.
        test_forget_at_the_write = None
