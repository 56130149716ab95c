"""What a person at a terminal sees."""

import signal
import time

from kestrelbay import TestCase, app, cells

LONG = "A name that is longer than any column of a narrow table has room for, by far"


class TerminalTest(TestCase):
    def setUp(self):
        super().setUp()
        self.pc = self.machine(app(LONG, InstallLocation="C:\\" + "x" * 200, DisplayVersion="1.2.3.4"),
                               app("管理ツール" * 12, InstallLocation="C:\\y"), app("Short"))

    def test_table_is_as_wide_as_the_terminal(self):
        for columns in (60, 80, 200):
            sent = self.run_on_terminal("--machine", self.pc, "list", columns=columns, NO_COLOR="1")
            lines = sent.split("\n")
            self.assertLessEqual(max(map(cells, lines)), columns)
            self.assertGreaterEqual(max(map(cells, lines)), columns - 1)
            self.assertIn("\u2026", sent)

    def test_wished_columns_win_over_the_terminal(self):
        sent = self.run_on_terminal("--machine", self.pc, "list", columns=200, COLUMNS="60", NO_COLOR="1")
        self.assertEqual(max(map(cells, sent.split("\n"))), 60)

    def test_terminal_that_tells_no_width_has_eighty_columns(self):
        sent = self.run_on_terminal("--machine", self.pc, "list", columns=0, NO_COLOR="1")
        self.assertEqual(max(map(cells, sent.split("\n"))), 80)

    def test_heading_is_bold_unless_colour_is_refused(self):
        self.assertTrue(self.run_on_terminal("--machine", self.pc, "list").startswith("\x1b[1mName"))
        self.assertNotIn("\x1b", self.run_on_terminal("--machine", self.pc, "list", NO_COLOR="1"))
        self.assertNotIn("\x1b", self.run_on_terminal("--machine", self.pc, "list", TERM="dumb"))
        self.assertIn("\x1b", self.run_on_terminal("--machine", self.pc, "list", NO_COLOR=""))

    def test_log_is_coloured(self):
        self.assertIn("\x1b[2minfo ", self.run_on_terminal("--machine", self.pc, "--log", "blocked"))


class ProgressTest(TestCase):
    def test_short_load_shows_none(self):
        sent = self.run_on_terminal("--machine", self.machine(app("Alpha")), "list")
        self.assertNotIn("Reading", sent)

    def test_long_load_shows_a_line_and_takes_it_away(self):
        machine = self.machine(*(app(f"Application {i}", DisplayVersion="1.2.3") for i in range(60000)))
        held = []

        def hold(process, sent):
            """Lets the load take its time: it has begun when the first record of the log is there."""
            if not held and b"InitDllLogger" in sent:
                process.send_signal(signal.SIGSTOP)
                time.sleep(0.5)
                process.send_signal(signal.SIGCONT)
                held.append(True)

        sent = self.run_on_terminal("--machine", machine, "--log", "blocked", during=hold, NO_COLOR="1")
        self.assertTrue(held)
        self.assertRegex(sent, r"\rReading the machine #*\.* \d+ %")
        # What follows the bar begins on an empty line.
        self.assertEqual(sent[sent.rindex("\r"):], "\r\x1b[Kcom.tolvan.tvdisk\ncom.tolvan.baymarket\n")

    def test_none_where_standard_error_is_no_terminal(self):
        machine = self.machine(*(app(f"Application {i}") for i in range(60000)))
        self.assertEqual(self.run_host("--machine", machine, "blocked").stderr, b"")
