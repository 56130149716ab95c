"""Output on a terminal."""

import json
import re
import signal
import time

from kestrelbay import UNINSTALL, TestCase, app, cells

ODD = f"HKEY_LOCAL_MACHINE\\{UNINSTALL}\\Odd"
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

    def test_columns_of_the_environment_precede_those_of_the_terminal(self):
        sent = self.run_on_terminal("--machine", self.pc, "list", columns=200, COLUMNS="60", NO_COLOR="1")
        self.assertEqual(max(map(cells, sent.split("\n"))), 60)

    def test_a_terminal_without_a_width_has_eighty_columns(self):
        sent = self.run_on_terminal("--machine", self.pc, "list", columns=0, NO_COLOR="1")
        self.assertEqual(max(map(cells, sent.split("\n"))), 80)

    def test_heading_is_bold_unless_colour_is_refused(self):
        self.assertTrue(self.run_on_terminal("--machine", self.pc, "list").startswith("\x1b[1mName"))
        self.assertNotIn("\x1b", self.run_on_terminal("--machine", self.pc, "list", NO_COLOR="1"))
        self.assertNotIn("\x1b", self.run_on_terminal("--machine", self.pc, "list", TERM="dumb"))
        self.assertIn("\x1b", self.run_on_terminal("--machine", self.pc, "list", NO_COLOR=""))

    def test_json_on_a_terminal_escapes_what_would_act_on_it(self):
        name = "\x1b[31mA\x9b1m \u202egnp.exe \u2066b\u2069 \x7f \u200bzero"
        pc = self.machine(app(name, ODD), name="odd")
        sent = self.run_on_terminal("--machine", pc, "--json", "list", NO_COLOR="1")
        self.assertEqual(re.findall("[\x00-\x09\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]", sent), [])
        self.assertEqual([entry["displayName"] for entry in json.loads(sent)], [name])
        # Programs that read a pipe get the characters themselves.
        self.assertIn("\u202egnp.exe", self.output("--machine", pc, "--json", "list"))

    def test_report_on_a_terminal_escapes_what_would_act_on_it(self):
        pc = self.machine(app("\x1b[31mA \u202egnp.exe", ODD), name="odd")
        sent = self.run_on_terminal("--machine", pc, "report")
        self.assertIn("\u241b[31mA &#x202E;gnp.exe", sent)
        self.assertNotRegex(sent, "[\x1b\u202e]")

    def test_table_shows_characters_without_width_and_tags(self):
        hidden = ["\u200b", "\u200d", "\u2060", "\ufeff", "\u180e", "\U000e0041", "\U000e007f", "\u3164", "\u00ad", "\u17b4",
                  "\u17b5", "\u2065", "\ufff0", "\ufff8", "\U0001bca0", "\U0001bca3", "\U0001d173", "\U0001d17a"]
        pc = self.machine(*(app(f"A{c}{n}") for n, c in enumerate(hidden)), name="odd")
        text = self.output("--machine", pc, "list")
        for n, character in enumerate(hidden):
            self.assertIn(f"A\ufffd{n}", text)
            self.assertNotIn(character, text)

    def test_log_is_coloured(self):
        self.assertIn("\x1b[2minfo ", self.run_on_terminal("--machine", self.pc, "--log", "blocked"))


class ProgressTest(TestCase):
    def test_short_load_shows_none(self):
        sent = self.run_on_terminal("--machine", self.machine(app("Alpha")), "list")
        self.assertNotIn("Reading", sent)

    def test_a_long_load_shows_a_line_and_erases_it(self):
        machine = self.machine(*(app(f"Application {i}", DisplayVersion="1.2.3") for i in range(60000)))
        held = []

        def hold(process, sent):
            """Stops the process for half a second when the load has begun, which the first log record shows."""
            if not held and b"InitDllLogger" in sent:
                process.send_signal(signal.SIGSTOP)
                time.sleep(0.5)
                process.send_signal(signal.SIGCONT)
                held.append(True)

        sent = self.run_on_terminal("--machine", machine, "--log", "blocked", during=hold, NO_COLOR="1")
        self.assertTrue(held)
        self.assertRegex(sent, r"\rReading the machine #*\.* \d+ %")
        # The output after the bar begins on an empty line.
        self.assertEqual(sent[sent.rindex("\r"):], "\r\x1b[Kcom.tolvan.tvdisk\ncom.tolvan.baymarket\n")

    def test_none_where_standard_error_is_no_terminal(self):
        machine = self.machine(*(app(f"Application {i}") for i in range(60000)))
        self.assertEqual(self.run_host("--machine", machine, "blocked").stderr, b"")
