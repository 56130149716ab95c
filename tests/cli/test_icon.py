"""The icon of one application."""

import base64
import json
import os
import stat

from kestrelbay import TestCase, app

PICTURE = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 5 + b"end"
CANNED = {"CANNED_ICON": "data:image/png;base64," + base64.b64encode(PICTURE).decode()}


class IconFileTest(TestCase):
    def setUp(self):
        super().setUp()
        self.pc = self.machine(app("Alpha", DisplayIcon='"C:\\\\Alpha\\\\a.ico",0'), app("Bare"))

    def test_path_on_the_machine_is_printed(self):
        self.assertEqual(self.output("--machine", self.pc, "icon", "Alpha"), "C:\\Alpha\\a.ico\n")
        self.assertEqual(json.loads(self.output("--machine", self.pc, "icon", "Alpha", "--json")),
                         {"displayName": "Alpha", "iconText": "C:\\Alpha\\a.ico"})

    def test_path_is_not_written_as_a_picture(self):
        file = self.folder / "a.png"
        for json_option in ([], ["--json"]):
            line = self.refusal(1, "--machine", self.pc, "icon", "Alpha", "-o", file, *json_option)
            self.assertIn("C:\\Alpha\\a.ico", line)
            self.assertFalse(file.exists())

    def test_missing_icon_names_the_list_command(self):
        for name in ("Bare", "alpha", "missing", "", "root", "[a,b]"):
            line = self.refusal(1, "--machine", self.pc, "icon", name)
            self.assertIn(f'no icon: nothing named "{name}"', line)
            self.assertIn("kestrelbay list", line)


class PictureTest(TestCase):
    def test_is_written_unchanged_into_a_pipe(self):
        self.assertEqual(self.run_host("icon", "Alpha", canned=CANNED).stdout, PICTURE)

    def test_is_written_to_a_file(self):
        file = self.folder / "α.png"
        self.assertEqual(self.output("icon", "Alpha", "-o", file, canned=CANNED),
                         f"{file}: PNG, {len(PICTURE)} bytes\n")
        self.assertEqual(file.read_bytes(), PICTURE)
        self.assertEqual(os.listdir(self.folder), ["α.png"])

    def test_replaces_the_file_that_a_link_names(self):
        file, link = self.folder / "a.png", self.folder / "link.png"
        file.write_bytes(b"old")
        link.symlink_to(file)
        self.output("icon", "Alpha", "-o", link, canned=CANNED)
        self.assertTrue(link.is_symlink())
        self.assertEqual(file.read_bytes(), PICTURE)

    def test_keeps_the_mode_of_the_file_that_it_replaces(self):
        file = self.folder / "a.png"
        for mode in (0o600, 0o640, 0o444, 0o666):
            file.unlink(missing_ok=True)
            file.touch()
            file.chmod(mode)
            self.output("icon", "Alpha", "-o", file, canned=CANNED)
            self.assertEqual(file.read_bytes(), PICTURE)
            self.assertEqual(stat.S_IMODE(file.stat().st_mode), mode)

    def test_a_new_file_has_the_usual_mode(self):
        usual = os.umask(0o027)
        self.addCleanup(os.umask, usual)
        file = self.folder / "a.png"
        self.output("icon", "Alpha", "-o", file, canned=CANNED)
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o640)

    def test_a_link_to_nothing_is_named_and_stays(self):
        link = self.folder / "link.png"
        link.symlink_to("nothing.png")
        self.assertIn(f"cannot write {link}: it is a link to nothing.png, which does not exist; remove the link",
                      self.refusal(1, "icon", "Alpha", "-o", link, canned=CANNED))
        self.assertEqual(os.listdir(self.folder), ["link.png"])

    def test_leaves_no_file_if_it_cannot_write(self):
        before = self.folder / "folder"
        before.mkdir()
        for file in (before, self.folder / "missing" / "a.png", before / ("x" * 300)):
            self.assertIn(f"cannot write {file}: ", self.refusal(1, "icon", "A", "-o", file, canned=CANNED))
        self.assertEqual(os.listdir(self.folder), ["folder"])
        self.assertEqual(os.listdir(before), [])

    def test_writes_to_a_device_without_replacing_it(self):
        self.assertIn("No space left", self.refusal(1, "icon", "A", "-o", "/dev/full", canned=CANNED))
        self.assertFalse(os.path.isfile("/dev/full"))
