"""Standard output, and errors when it cannot be written."""

import os
import subprocess

from kestrelbay import PROGRAM, SECONDS, TestCase, app, environment


class OutputTest(TestCase):
    def setUp(self):
        super().setUp()
        self.pc = self.machine(*(app(f"Application {i}") for i in range(1000)))

    def test_a_reader_that_closes_the_pipe_is_no_error(self):
        for arguments in (["list"], ["list", "--json"], ["blocked"]):
            reading, writing = os.pipe()
            os.close(reading)
            done = self.run_host("--machine", self.pc, *arguments, stdout=writing)
            os.close(writing)
            self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_a_reader_may_read_the_first_line_only(self):
        with subprocess.Popen([PROGRAM, "--machine", str(self.pc), "list", "--json"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=environment()) as process:
            self.assertEqual(process.stdout.readline(), b"[\n")
            process.stdout.close()
            self.assertEqual(process.stderr.read(), b"")
            self.assertEqual(process.wait(SECONDS), 0)

    def test_a_full_disk_is_an_error(self):
        for arguments in (["list"], ["list", "--json"], ["blocked"], ["root"], ["--help"]):
            with open("/dev/full", "wb") as full:
                line = self.refusal(1, "--machine", self.pc, *arguments, stdout=full)
            self.assertIn("No space left on device", line)

    def test_a_closed_output_is_an_error(self):
        script = 'exec "$0" "$@" >&-'
        done = subprocess.run(["sh", "-c", script, PROGRAM, "--machine", str(self.pc), "list"],
                              stderr=subprocess.PIPE, env=environment(), timeout=SECONDS)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr.decode(), r"\Akestrelbay: cannot write [^\n]+\n\Z")

    def test_an_exception_of_the_library_is_an_error(self):
        line = self.refusal(1, "list", canned={"CANNED_THROW": "no thread to be had"})
        self.assertIn("no thread to be had", line)


class LogTest(TestCase):
    def test_records_are_lines_on_standard_error(self):
        done = self.run_host("--machine", self.machine(app("Alpha")), "--log", "list")
        lines = done.stderr.decode().splitlines()
        self.assertEqual(done.returncode, 0)
        self.assertRegex(lines[0], r"\Ainfo KestrelbayGeneralSDK InitDllLogger:\d+ .*call back init success")
        self.assertRegex(lines[1], r"\Ainfo KestrelbayGeneralSDK GetInstalledAppList:\d+ enter GetInstalledAppList\Z")
        self.assertNotIn("\x1b", done.stderr.decode())

    def test_output_is_the_same_with_it(self):
        machine = self.machine(app("Alpha"))
        done = self.run_host("--machine", machine, "list", "--json", "--log")
        self.assertEqual(done.stdout.decode(), self.output("--machine", machine, "list", "--json"))

    def test_standard_error_that_cannot_be_written_stops_nothing(self):
        machine = self.machine(app("Alpha"))
        script = 'exec "$0" "$@" 2>/dev/full'
        done = subprocess.run(["sh", "-c", script, PROGRAM, "--machine", str(machine), "--log", "list"],
                              stdout=subprocess.PIPE, env=environment(), timeout=SECONDS)
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"Alpha", done.stdout)
