"""Facts about the machine, and versions."""

import json

from kestrelbay import TestCase, app, key

TABLET = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\Tablet PC"
PROXY = r"HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Internet Settings"
BIOS = "HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS"


class FactsTest(TestCase):
    def described(self, *keys, **description):
        machine = self.machine(*keys)
        (machine / "machine.json").write_text(json.dumps(description))
        return machine

    def test_sample(self):
        self.assertEqual(json.loads(self.output("--json", "facts")), {
            "manufacturer": "Thornwick Boards",
            "productName": "Meridian Desk 40",
            "deviceId": "6d0f2c81-74b9-4e35-a1c6-92e80f5d3b47",
            "proxyServer": "proxy.desk.example:8080",
            "graphics": "Lumenfall G40,Basic Display Driver",
            "isTablet": False,
            "freeMebibytes": {"C": 179200, "D": 700}})

    def test_table(self):
        self.assertEqual(self.output("facts"),
                         "Manufacturer  Thornwick Boards\n"
                         "Product       Meridian Desk 40\n"
                         "Device id     6d0f2c81-74b9-4e35-a1c6-92e80f5d3b47\n"
                         "Proxy         proxy.desk.example:8080\n"
                         "Graphics      Lumenfall G40,Basic Display Driver\n"
                         "Tablet        no\n"
                         "Free on C:    179200 MiB\n"
                         "Free on D:    700 MiB\n")

    def test_unknown_facts_are_null(self):
        facts = json.loads(self.output("--machine", self.machine(), "--json", "facts"))
        self.assertEqual(facts, {"manufacturer": None, "productName": None, "deviceId": None,
                                 "proxyServer": None, "graphics": None, "isTablet": False,
                                 "freeMebibytes": {}})
        self.assertIn("Product       (not known)\n", self.output("--machine", self.machine(name="b"), "facts"))

    def answers(self, machine):
        """The fact, its setting as --json and as the table show it, and the message, of tablet and proxy."""
        done = self.run_host("--machine", machine, "--json", "facts")
        table = self.run_host("--machine", machine, "facts")
        self.assertEqual((done.returncode, table.returncode, table.stderr), (0, 0, done.stderr))
        facts, lines = json.loads(done.stdout), table.stdout.decode().splitlines()
        messages = done.stderr.decode().splitlines()
        return [(facts[member], facts.get("settings", {}).get(member),
                 next(line[14:] for line in lines if line.startswith(label)),
                 next((line for line in messages if label in line), ""))
                for member, label in (("isTablet", "Tablet"), ("proxyServer", "Proxy"))]

    def test_a_missing_setting_differs_from_an_invalid_one(self):
        for number, text in enumerate((None, "maybe", "", "9999999999")):
            values = [{}, {}] if text is None else [{"IsTabletPc": text}, {"ProxyEnable": text}]
            state, part = ("missing", "is missing") if text is None else ("invalid", "is not a 32-bit number")
            with self.subTest(text):
                machine = self.machine(key(TABLET, values[0]), key(PROXY, values[1]), name=f"pc{number}")
                for name, answer in zip((f'"IsTabletPc" of {TABLET}', '"ProxyEnable" of HKEY_CURRENT_USER'),
                                        self.answers(machine)):
                    self.assertEqual(answer[:3], (None, state, f"(not known: setting {state})"))
                    self.assertIn(name, answer[3])
                    self.assertIn(part, answer[3])

    def test_a_setting_that_is_a_number_has_no_message(self):
        machine = self.machine(key(TABLET, {"IsTabletPc": "1"}),
                               key(PROXY, {"ProxyEnable": "1", "ProxyServer": "proxy:80"}))
        self.assertEqual(self.answers(machine),
                         [(True, None, "yes", ""), ("proxy:80", None, "proxy:80", "")])

    def test_a_setting_that_is_no_number_hides_no_other_fact(self):
        machine = self.machine(key(TABLET, {"IsTabletPc": "maybe"}), key(BIOS, {"SystemProductName": "M\x07"}))
        self.assertIn("Product       M\u2407\n", self.run_host("--machine", machine, "facts").stdout.decode())

    def test_adapter_that_fails_has_an_empty_name(self):
        machine = self.described(graphicsAdapters=["A", None, "C"])
        self.assertEqual(json.loads(self.output("--machine", machine, "--json", "facts"))["graphics"], "A,,C")

    def test_wrong_description_is_refused_with_its_member(self):
        for number, (member, value, told) in enumerate([
                ("disks", {"C": {"freeBytes": 2, "sizeBytes": 1}}, "disks.C"),
                ("disks", {"C": {"freeBytes": 2}}, "disks.C.sizeBytes"),
                ("disks", {"CC": {}}, "disks.CC"),
                ("disks", {"C": {"freeBytes": -1, "sizeBytes": 1}}, "disks.C.freeBytes"),
                ("graphicsAdapters", [""], "graphicsAdapters[0]"),
                ("graphicsAdapters", "A", "graphicsAdapters"),
                ("appsFolder", [{"name": 1}], "appsFolder[0].name"),
                ("appsFolder", [{"icon": "x"}], "appsFolder[0].icon"),
                ("appsFolder", {}, "appsFolder")]):
            machine = self.machine(name=f"pc{number}")
            (machine / "machine.json").write_text(json.dumps({member: value}))
            self.assertIn(f"machine.json:1: {told}: ", self.refusal(1, "--machine", machine, "facts"))


class VersionTest(TestCase):
    def test_version(self):
        machine = self.machine(app("Alpha", DisplayVersion="1.2\t3"), app("Beta"))
        self.assertEqual(self.output("--machine", machine, "version", "Alpha"), "1.2\u24093\n")
        self.assertEqual(json.loads(self.output("--machine", machine, "--json", "version", "Alpha")),
                         {"displayName": "Alpha", "displayVersion": "1.2\t3"})

    def test_no_version(self):
        machine = self.machine(app("Alpha", DisplayVersion="1"), app("Beta"))
        for name in ("Beta", "alpha", "Gamma"):
            self.assertIn(f'"{name}"', self.refusal(1, "--machine", machine, "version", name))
