"""The report page: what it contains, and how it behaves in a browser."""

import base64
import hashlib
import html.parser
import json
import os
import pathlib
import re
import shutil
import stat
import struct
import subprocess
import tempfile
import unittest

from browser import Browser

PROGRAM = os.environ["KESTRELBAY_PROGRAM"]
UNINSTALL = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall"
GATE = "\n[HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products]\n"


class Page(html.parser.HTMLParser):
    """The cells of each row, the pictures, and all addresses in the page."""

    def __init__(self, text):
        super().__init__()
        self.rows, self.addresses, self.inside = [], [], None
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.addresses += [attributes[name] for name in ("src", "href", "action") if name in attributes]
        if tag == "tr":
            self.rows.append([])
        if tag == "td":
            self.rows[-1].append("")
        if tag == "img" and self.rows:
            self.rows[-1][0] = attributes["src"]
        if tag != "wbr":
            self.inside = tag

    def handle_endtag(self, tag):
        self.inside = None

    def handle_data(self, data):
        if self.inside == "td":
            self.rows[-1][-1] += data


def report(*arguments):
    return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, timeout=60)


class Machine(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kestrelbay-report-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def machine(self, *apps):
        registry = self.folder / "pc" / "registry"
        registry.mkdir(parents=True)
        text = "Windows Registry Editor Version 5.00\n" + GATE
        for name, values in apps:
            text += f"\n[{UNINSTALL}\\{name}]\n"
            for value, content in {"DisplayName": name, "UninstallString": "u", **values}.items():
                content = content.replace("\\", "\\\\").replace('"', '\\"')
                text += f'"{value}"="{content}"\n'
        (registry / "1.reg").write_text(text, encoding="utf-8")
        return self.folder / "pc"

    def page(self, machine):
        file = self.folder / "report.html"
        done = report("--machine", machine, "report", "-o", file)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return Page(file.read_text(encoding="utf-8"))


class PageTest(Machine):
    def test_holds_each_application_of_the_list(self):
        listed = json.loads(report("list", "--json", "--icons").stdout)
        page = Page(report("report").stdout.decode())
        rows = page.rows[1:]
        self.assertEqual([row[1] for row in rows], [app["displayName"] for app in listed])
        self.assertEqual([row[2] for row in rows], [app["displayVersion"] for app in listed])
        self.assertEqual([row[5] for row in rows], [app["installLocation"] for app in listed])
        pictures = [app["iconText"] for app in listed if app["iconText"].startswith("data:")]
        self.assertGreater(len(pictures), 15)
        self.assertEqual([row[0] for row, app in zip(rows, listed) if app["iconText"].startswith("data:")], pictures)

    def test_needs_nothing_but_itself(self):
        page = Page(report("report").stdout.decode())
        self.assertTrue(page.addresses)
        self.assertEqual([a for a in page.addresses if not a.startswith("data:")], [])

    def test_icon_files_that_are_there_are_drawn_into_the_page(self):
        pc = self.machine(("There", {"DisplayIcon": "C:\\a.ico"}), ("Missing", {"DisplayIcon": "C:\\b.ico"}),
                          ("Other", {"DisplayIcon": "C:\\c.ico"}), ("Damaged", {"DisplayIcon": "C:\\d.ico"}),
                          ("Picture", {"DisplayIcon": "C:\\e.png"}))
        drive = pc / "drives" / "C"
        drive.mkdir(parents=True)
        pixels = b"\x10\x20\x30\xff" * 16 * 16
        image = struct.pack("<IiiHHIIiiII", 40, 16, 32, 1, 32, 0, 0, 0, 0, 0, 0) + pixels + bytes(16 * 4)
        entry = struct.pack("<BBBBHHII", 16, 16, 0, 0, 1, 32, len(image), 22)
        file = b"\0\0\1\0\1\0" + entry + image + b"mark of the machine"
        (drive / "A.ICO").write_bytes(file)
        (drive / "c.ico").write_bytes(b"<svg onload=alert(1)>")
        (drive / "d.ico").write_bytes(b"\0\0\1\0icon")
        (drive / "e.png").write_bytes(b"\x89PNG\r\n\x1a\n" + b"mark of the machine")
        pictures = {row[1]: row[0] for row in self.page(pc).rows[1:]}
        drawn = pictures.pop("There")
        self.assertEqual(pictures, {"Missing": "", "Other": "", "Damaged": "", "Picture": ""})
        self.assertTrue(drawn.startswith("data:image/png;base64,"), drawn[:40])
        bytes_ = base64.b64decode(drawn.partition(",")[2], validate=True)
        self.assertTrue(bytes_.startswith(b"\x89PNG\r\n\x1a\n"))
        self.assertNotIn(b"mark", bytes_)

    def test_a_data_url_of_the_registry_does_not_get_into_the_page(self):
        svg = "data:image/svg+xml;base64,PHN2Zz4="
        pc = self.machine(("Picture", {"DisplayIcon": svg}), ("Plain", {"DisplayIcon": "data:text/html"}))
        page = self.page(pc)
        self.assertEqual([row[0] for row in page.rows[1:]], ["", ""])
        self.assertEqual([a for a in page.addresses if a.startswith("data:")], [])

    def test_policy_allows_the_page_s_own_script_and_style_by_hash(self):
        text = report("report").stdout.decode()
        for element in ("style", "script"):
            content = re.search(rf"<{element}>(.*?)</{element}>", text, re.DOTALL)[1]
            hashed = base64.b64encode(hashlib.sha256(content.encode()).digest()).decode()
            self.assertIn(f"{element}-src 'sha256-{hashed}'", text)
        self.assertNotIn("unsafe-inline", text)

    def test_characters_that_act_on_a_terminal_are_escaped(self):
        name = "\x1b]0;title\x07 \u202egnp.exe \u2066x\u2069 \x9b31m"
        file = self.folder / "report.html"
        page = self.page(self.machine(("Odd", {"DisplayName": name})))
        text = file.read_text(encoding="utf-8")
        self.assertEqual(re.findall("[\x00-\x08\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]", text), [])
        self.assertEqual(page.rows[1][1], "\u241b]0;title\u2407 \u202egnp.exe \u2066x\u2069 \ufffd31m")

    def test_names_are_text_and_never_markup(self):
        name = '<script>alert(1)</script> & "x" <b>'
        page = self.page(self.machine((name, {"DisplayVersion": "</td><img src=x>", "DisplayIcon": '"><i>'})))
        self.assertEqual(page.rows[1][1:3], [name, "</td><img src=x>"])

    def test_paths_may_be_broken_behind_each_backslash(self):
        pc = self.machine(("App", {"InstallLocation": "C:\\Tools\\<b>"}))
        file = self.folder / "report.html"
        self.assertEqual(self.page(pc).rows[1][5], "C:\\Tools\\<b>")
        self.assertIn(">C:\\<wbr>Tools\\<wbr>&lt;b&gt;<", file.read_text(encoding="utf-8"))

    def test_an_empty_machine_has_an_empty_page(self):
        self.assertEqual(len(self.page(self.machine()).rows), 1)

    def test_tells_what_it_wrote(self):
        file = self.folder / "r.html"
        done = report("report", "-o", file, "--json")
        self.assertEqual(json.loads(done.stdout), {"file": str(file), "applications": 45})
        self.assertRegex(report("report", "-o", file).stdout.decode(), r"r\.html: 45 applications, \d+ bytes\n\Z")

    def test_keeps_the_mode_of_the_file_that_it_replaces(self):
        usual = os.umask(0)
        self.addCleanup(os.umask, usual)
        file = self.folder / "r.html"
        for mode in (0o600, 0o640, 0o444, 0o664):
            with self.subTest(oct(mode)):
                file.unlink(missing_ok=True)
                file.write_text("old")
                file.chmod(mode)
                self.assertEqual(report("report", "-o", file).returncode, 0)
                self.assertIn("<html", file.read_text(encoding="utf-8"))
                self.assertEqual(stat.S_IMODE(file.stat().st_mode), mode)

    @unittest.skipUnless(shutil.which("strace"), "strace is not installed")
    def test_a_private_file_is_private_at_every_moment(self):
        file, trace = self.folder / "r.html", self.folder / "trace"
        file.touch(0o600)
        done = subprocess.run(["strace", "-f", "-o", trace, "-e", "trace=openat,open,creat,fchmod,fchmodat,chmod", PROGRAM,
                               "report", "-o", file], capture_output=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        modes = re.findall(r"O_CREAT.*?, (0[0-7]*)\)|chmod.*?, (0[0-7]*)", trace.read_text())
        self.assertTrue(modes)
        self.assertEqual({mode for pair in modes for mode in pair if mode}, {"0600"})

    def test_a_new_file_has_the_usual_mode(self):
        usual = os.umask(0o027)
        self.addCleanup(os.umask, usual)
        file = self.folder / "r.html"
        self.assertEqual(report("report", "-o", file).returncode, 0)
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o640)

    def test_as_json_without_a_file_is_wrong_usage(self):
        done = report("report", "--json")
        self.assertEqual((done.returncode, done.stdout), (2, b""))


class BrowserTest(Machine):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        super().setUp()
        file = self.folder / "report.html"
        self.assertEqual(report("report", "-o", file).returncode, 0)
        self.browser.open(file)

    def names(self):
        return self.browser.run(
            "return [...document.querySelectorAll('tbody tr')].filter((r) => r.offsetParent)"
            ".map((r) => r.cells[1].textContent)")

    def column(self, at):
        return self.browser.run(f"return [...document.querySelectorAll('tbody tr')].map((r) => r.cells[{at}].textContent)")

    def count(self):
        return self.browser.run("return document.getElementById('count').textContent")

    def test_every_picture_is_decoded(self):
        pictures = self.browser.run(
            "return Promise.all([...document.images].map((i) => i.decode().then(() => i.naturalWidth)))")
        self.assertGreater(len(pictures), 20)
        self.assertTrue(all(width in (32, 48, 256) for width in pictures), pictures)

    def test_nothing_is_complained_of(self):
        self.browser.messages()
        self.browser.run("location.reload()")
        self.names()
        self.assertEqual(self.browser.messages(), [])

    def test_search_finds_all_words_in_any_case(self):
        self.browser.press("/", "QUILL writer")
        self.assertEqual(self.names(), ["Quillmarsh Writer", "Quillmarsh Writer Templates (KB7001122)"])
        self.assertEqual(self.count(), "2 of 45 applications")
        self.browser.press("Escape")
        self.assertEqual(len(self.names()), 45)
        self.assertEqual(self.count(), "45 applications")

    def test_search_without_a_match_says_so(self):
        self.browser.press("/", "zzzz")
        self.assertEqual(self.names(), [])
        self.assertTrue(self.browser.run("return document.getElementById('none').offsetParent !== null"))

    def test_columns_are_sorted_by_keyboard(self):
        # After the search field, the tab key reaches the button of the first column.
        self.browser.press("/", "Tab", "Tab", "Enter")
        versions = self.column(2)
        self.assertLess(versions.index("2.0.5"), versions.index("14.0.2"))
        self.assertEqual(versions[-1], "")
        self.assertEqual(self.browser.run("return document.querySelector('[aria-sort]').textContent"), "Version")
        self.browser.press("Enter")
        versions = self.column(2)
        self.assertGreater(versions.index("2.0.5"), versions.index("14.0.2"))
        self.assertEqual(versions[-1], "")
        self.assertEqual(self.browser.run("return document.querySelector('[aria-sort]').ariaSort"), "descending")

    def test_ground_is_light_or_dark_as_the_reader_has_it(self):
        brightness = ("const rgb = (e, p) => getComputedStyle(e)[p].match(/\\d+/g).slice(0, 3).reduce((a, b) => a + +b, 0);"
                      "return [rgb(document.body, 'backgroundColor'), rgb(document.body, 'color')]")
        for scheme in ("light", "dark"):
            self.browser.prefer(scheme)
            ground, ink = self.browser.run(brightness)
            self.assertGreater(abs(ground - ink), 450)
            self.assertEqual(ground > ink, scheme == "light")
            folder = os.environ.get("KESTRELBAY_SCREENSHOTS")
            if folder:
                pathlib.Path(folder, f"report-{scheme}.png").write_bytes(self.browser.screenshot())


if __name__ == "__main__":
    unittest.main()
