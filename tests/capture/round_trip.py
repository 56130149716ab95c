"""Captures a Wine prefix under Wine and uses the capture on Linux: both lists are equal, byte for byte."""

import base64
import importlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from registries import GUIDS, HIVES, PRODUCTS, SIDS, UNINSTALL, UNINSTALL_32, UNINSTALL_64, USER_DATA_32, USER_DATA_64
from registries import USER_PRODUCTS, Random, everything, filling, number, sz

RUNNER, PROGRAM = os.environ["KESTRELBAY_RUNNER"], os.environ["KESTRELBAY_PROGRAM"]
FILLER = os.environ["KESTRELBAY_FILLER"]
REPLAY = os.environ["KESTRELBAY_REPLAY"]
SEEDS = int(os.environ["KESTRELBAY_ROUND_TRIPS"])
PICTURE = "data:image/png;base64,"
SECONDS = 300
NOWHERE = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}


def load(name):
    sys.path.append(str(pathlib.Path(__file__).parent.parent / "checks"))
    return importlib.import_module(name)


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def run(*command, status=0):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          timeout=SECONDS)
    if done.returncode != status:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}\n{done.stderr}")
    return done


def on_machine(*arguments, **options):
    return run(RUNNER, PROGRAM, *arguments, **options)


def make_prefix(what):
    # Services of Wine inherit the outputs of the program that first needs them.
    script = pathlib.Path(__file__).parent.parent / "support" / "wine-prefix"
    subprocess.run([script, what, os.environ["WINEPREFIX"]], check=True, timeout=SECONDS, **NOWHERE)


def setUpModule():
    make_prefix("make")
    unittest.addModuleCleanup(make_prefix, "remove")


class WineTestCase(unittest.TestCase):
    maxDiff = 4000
    # Keys that an earlier test may have left. The hive of the current user stays.
    PLACES = [UNINSTALL_32, UNINSTALL_64, USER_DATA_32, USER_DATA_64, PRODUCTS,
              rf"HKEY_USERS\.DEFAULT\{UNINSTALL}", rf"HKEY_USERS\.DEFAULT\{USER_PRODUCTS}",
              *(rf"HKEY_USERS\{hive}" for hive in HIVES[1:])]

    @classmethod
    def setUpClass(cls):
        subprocess.run([RUNNER, "cmd.exe", "/c", "exit", "0"], check=True, **NOWHERE)
        # The keys of other users exist until Wine's server ends, which happens when its last program ends.
        cls.alive = subprocess.Popen([RUNNER, "cmd.exe"], **{**NOWHERE, "stdin": subprocess.PIPE})

    @classmethod
    def tearDownClass(cls):
        cls.alive.stdin.close()
        cls.alive.wait(SECONDS)

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kestrelbay-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def fill(self, keys):
        file = self.folder / "fill"
        file.write_bytes(filling(keys, self.PLACES))
        run(RUNNER, FILLER, windows_path(file))

    def capture(self, *options):
        folder = self.folder / "capture"
        shutil.rmtree(folder, ignore_errors=True)
        on_machine("capture", windows_path(folder), *options)
        return folder


class RoundTripTest(WineTestCase):
    def same(self, capture, *command, **options):
        """The answers of the machine, which those of its capture must equal."""
        here = on_machine("--json", *command, **options).stdout
        there = run(REPLAY, "--machine", str(capture), "--json", *command, **options).stdout
        self.assertEqual(here, there)
        return here

    def test_hand_made_mix(self):
        self.fill(everything())
        capture = self.capture()
        apps = json.loads(self.same(capture, "list"))
        # The number of entries that pass the filters: an empty list would be equal as well.
        self.assertEqual(len(apps), 60)
        self.assertEqual({app["architecture"] for app in apps}, {0, 1, 2})
        self.same(capture, "list", "--icons")
        self.same(capture, "version", "Both views")
        self.same(capture, "version", "No such name", status=1)
        self.facts(capture)

    def facts(self, capture):
        here = json.loads(on_machine("--json", "facts").stdout)
        there = json.loads(run(REPLAY, "--machine", str(capture), "--json", "facts").stdout)
        free, freeThen = here.pop("freeMebibytes"), there.pop("freeMebibytes")
        self.assertEqual(here, there)
        # Other programs use the disk at the same time.
        self.assertEqual(list(free), list(freeThen))
        for drive, mebibytes in free.items():
            self.assertAlmostEqual(mebibytes, freeThen[drive], delta=20000)

    def test_facts_that_are_set(self):
        internet = r"HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Internet Settings"
        tablet = r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\Tablet PC"
        bios = r"HKEY_LOCAL_MACHINE\HARDWARE\DESCRIPTION\System\BIOS"
        self.addCleanup(run, RUNNER, "reg", "delete", tablet, "/f")
        self.fill({PRODUCTS: {}, internet: {"ProxyEnable": number(1), "ProxyServer": sz("proxy:8080")},
                   tablet: {"IsTabletPc": sz("1 yes")},
                   bios: {"BaseBoardManufacturer": sz("Thornwick"), "SystemProductName": sz("Slate \u2013 14")}})
        self.facts(self.capture())

    def test_redacted_capture_lists_the_same_except_names(self):
        self.fill(everything())
        apps = json.loads(on_machine("--json", "list").stdout)
        capture = self.capture("--redact")
        redacted = json.loads(run(REPLAY, "--machine", str(capture), "--json", "list").stdout)
        numbers = SIDS[0][len("S-1-5-21-"):-5]
        # A list of this registry shows no other secrets than the names of hives.
        stand_in = json.loads(json.dumps(redacted))
        for app in stand_in:
            for field in ("displayName", "displayVersion"):
                app[field] = re.sub(r"-21-\d{5}-\d{5}-\d{5}", "-21-" + numbers, app[field])
        self.assertEqual(sorted(map(json.dumps, stand_in)), sorted(map(json.dumps, apps)))
        for file in capture.rglob("*.*"):
            data = file.read_bytes().lower()
            for secret in (numbers, json.loads(on_machine("--json", "facts").stdout)["deviceId"]):
                for encoding in ("utf-8", "utf-16-le"):
                    self.assertNotIn(secret.encode(encoding), data, file)

    def test_random_registries(self):
        listed = self.compared = 0
        for seed in range(SEEDS):
            with self.subTest(seed=seed):
                self.fill(Random(seed).make())
                capture = self.capture()
                names = [app["displayName"] for app in json.loads(self.same(capture, "list"))]
                listed += len(names)
                self.facts(capture)
                self.versions(capture, names)
                if seed == 0:
                    self.same(capture, "list", "--icons")
        self.assertGreater(listed, SEEDS * 2)
        self.assertGreater(self.compared, 0)

    def versions(self, capture, names):
        """The versions of some names, which cost two programs each. A name without a version gives status 1."""
        askable = [name for name in dict.fromkeys(names) if name.strip() and not name.startswith("-")]
        for name in askable[:2]:
            here, there = (subprocess.run([*program, "--json", "version", name], stdin=subprocess.DEVNULL, timeout=SECONDS,
                                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
                           for program in ([RUNNER, PROGRAM], [REPLAY, "--machine", str(capture)]))
            self.assertEqual((here.returncode, here.stdout), (there.returncode, there.stdout), name)
            self.assertIn(here.returncode, (0, 1))
            self.compared += here.returncode == 0

    def test_the_machine_has_its_own_order(self):
        self.fill(everything())
        text = (self.capture() / "registry" / "captured-machine.reg").read_text("utf-16")
        order = [text.index(f"\\Uninstall\\{name}]") for name in ("_", "aa")]
        # Wine sorts by small letters and Windows by capitals. If Wine changes that, these registries no longer prove that
        # a capture keeps the order.
        self.assertLess(*order)

    def test_icons_are_equal(self):
        icons = load("check-program-icons")
        programs = [icons.PROGRAMS / (name + ".exe") for name in icons.NAMES]
        programs = {path.stem: path for path in programs if path.exists()}
        place = self.folder / "programs"
        place.mkdir()
        keys = {PRODUCTS: {}}
        for name, path in programs.items():
            shutil.copy(path, pathlib.Path(os.environ["WINEPREFIX"]) / "drive_c" / f"icons-{name}.exe")
            keys[rf"{UNINSTALL_64}\{name}"] = {"DisplayName": sz(name), "UninstallString": sz("u"),
                                              "DisplayIcon": sz(f'"C:\\icons-{name}.exe",0')}
        self.fill(keys)
        capture = self.capture("--icons")
        here = json.loads(on_machine("--json", "list", "--icons").stdout)
        there = json.loads(run(REPLAY, "--machine", str(capture), "--json", "list", "--icons").stdout)
        compared = 0
        for ours, theirs in zip(here, there, strict=True):
            pictures = [app.pop("iconText") for app in (ours, theirs)]
            self.assertEqual(ours, theirs)
            for picture in pictures:
                self.assertTrue(picture.startswith(PICTURE), ours)
            largest = icons.largest_image(programs[ours["displayName"]], place)
            # Each system compresses pictures in its own way, and Wine scales small images.
            if largest and largest[0] == 256:
                here_pixels, there_pixels = (icons.decode(base64.b64decode(p[len(PICTURE):])) for p in pictures)
                self.assertEqual(here_pixels, there_pixels, ours["displayName"])
                compared += 1
        self.assertGreaterEqual(compared, 3)


class TargetTest(WineTestCase):
    def test_an_empty_folder_is_filled(self):
        # A folder cannot replace another one there, so the empty one is removed first.
        folder = self.folder / "empty"
        folder.mkdir()
        on_machine("capture", windows_path(folder))
        self.assertIn("machine.json", [path.name for path in folder.iterdir()])
        self.assertEqual([path.name for path in self.folder.iterdir()], ["empty"])


class ReadingOnlyTest(WineTestCase):
    def test_capture_changes_nothing(self):
        self.fill(everything())
        exports = [self.folder / f"{i}.reg" for i in (1, 2)]
        for number_, file in enumerate(exports):
            for root in (UNINSTALL_64, rf"HKEY_USERS\{SIDS[0]}", r"HKEY_LOCAL_MACHINE\Software\Microsoft\Cryptography"):
                run(RUNNER, "reg", "export", root, windows_path(file.with_suffix("." + str(len(root)))), "/y")
            if number_ == 0:
                first = json.loads(on_machine("--json", "list").stdout)
                self.capture("--icons", "--redact")
        for ending in {file.suffix for file in self.folder.glob("1.*")}:
            self.assertEqual((self.folder / ("1" + ending)).read_bytes(), (self.folder / ("2" + ending)).read_bytes())
        # Includes the times of all listed keys.
        self.assertEqual(first, json.loads(on_machine("--json", "list").stdout))


if __name__ == "__main__":
    unittest.main()
