"""Files that are too large for the memory: one line names the file and says what to do."""

import subprocess

from kestrelbay import HEADER, PROGRAM, SECONDS, app, environment, key
from test_volume import VolumeTestCase

MEBIBYTE = 1 << 20


class LackOfMemoryTest(VolumeTestCase):
    def run_with(self, mebibytes, machine, *arguments):
        return subprocess.run(["prlimit", f"--as={mebibytes * MEBIBYTE}", PROGRAM, "--machine", machine, *arguments],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, env=environment(),
                              timeout=SECONDS)

    def check_refused(self, machine, file, mebibytes):
        done = self.run_with(mebibytes, machine, "list")
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, r"\Akestrelbay: [^\n]+\n\Z")
        self.assertIn(f"{file}: ", done.stderr)
        self.assertIn("memory", done.stderr)
        self.assertIn("; close other programs", done.stderr)

    def test_registration_file_larger_than_the_memory_is_named(self):
        machine = self.machine(app("Alpha"))
        large = machine / "registry" / "20.reg"
        with large.open("wb") as file:
            file.truncate(200 * MEBIBYTE)
        self.check_refused(machine, large, 100)

    def test_registration_file_whose_keys_need_more_memory_is_named(self):
        machine = self.machine(app("Alpha"))
        large = machine / "registry" / "20.reg"
        large.write_text(HEADER + "".join(key(f"HKEY_LOCAL_MACHINE\\Software\\Key{i}", {}) for i in range(100_000)))
        self.check_refused(machine, large, 32)

    def test_hive_larger_than_the_memory_is_named(self):
        volume = self.volume()
        with self.software.open("ab") as file:
            file.write(b"x" * (60 * MEBIBYTE))
        self.check_refused(volume, self.software, 40)

    def test_hive_of_a_user_larger_than_the_memory_costs_only_this_user(self):
        volume = self.volume("Anna", "Pavel")
        with self.hive(volume, "Pavel").open("ab") as file:
            file.write(b"x" * (60 * MEBIBYTE))
        done = self.run_with(40, volume, "list", "--json")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(self.names(done), ["Anna's", "Everybody's"])
        self.assertIn(f"{self.hive(volume, 'Pavel')}: ", done.stderr)
