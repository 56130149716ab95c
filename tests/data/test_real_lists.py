"""Lists of real hives and exports, compared with a second model that reads them by another program."""

import json

from inventory import UNINSTALL, Registry, list_installed
from kestrelbay import key
from real import DATA, TIME_0, RealTest, volumes
from truth import put

EVERYONE = {**volumes.USERS, **volumes.SERVICES}
MACHINE_PRODUCTS = r"HKEY_LOCAL_MACHINE\Software\Classes\Installer\Products"
MACHINE_UNINSTALL = "HKEY_LOCAL_MACHINE\\" + UNINSTALL
WINE_USER = "S-1-5-21-0-0-0-1000"
# Counted by hand in the real data: two empty lists would agree as well.
OF_HIVES = {"tony": 4, "wsl": 1, "rathbun": 1, "bperry": 1, "patrick": 0, "joe": 0, "LocalService": 0}
OF_EXPORTS = {"xp-Uninstall-quarter": 12, "mssql-Uninstall": 4, "mssql_engine-Uninstall": 0}
OF_USER_EXPORTS = {"ntuser-tony-2022-02": ("2001", 4), "ntuser-wsl-2024": ("2002", 1),
                   "hkcu-software-2020": ("2003", 5), "ntuser-rathbun-win11": ("2004", 1),
                   "ntuser-bperry": ("2005", 1)}


def registry_with_products():
    registry = Registry()
    registry.at(MACHINE_PRODUCTS)
    return registry


def registry_of_whole_volume():
    registry = put(Registry(), "wine-charm-system.reg", times=False)
    for name in OF_EXPORTS:
        put(registry, name + ".reg", times=False)
    for hive, sid in EVERYONE.values():
        put(registry, hive, sid)
    return registry


class VolumeTest(RealTest):
    def test_each_hive_alone(self):
        for folder, (hive, sid) in EVERYONE.items():
            with self.subTest(hive=hive):
                expected = list_installed(put(registry_with_products(), hive, sid))
                self.assertEqual(len(expected), OF_HIVES[folder])
                self.assertNotIn(None, [entry["lastWriteTime"] for entry in expected])
                kind = "services" if folder in volumes.SERVICES else "users"
                self.check(self.volume(**{kind: {folder: (hive, sid)}}), expected)

    def test_hive_of_another_root_lists_nothing(self):
        # Its root is a key that belongs below Software.
        self.check(self.volume(users={"tony": ("hkcu-software-2020", volumes.SID + "2003")}), [])

    def test_whole_volume(self):
        expected = list_installed(registry_of_whole_volume())
        dated = [entry for entry in expected if entry["lastWriteTime"]]
        self.assertEqual((len(expected), len(dated)), (25, 7))
        volume = self.volume(volumes.machine_text(DATA), volumes.USERS, volumes.SERVICES)
        self.check(volume, expected)


class ExportTest(RealTest):
    def test_each_machine_export_alone(self):
        for name, count in OF_EXPORTS.items():
            with self.subTest(export=name):
                expected = list_installed(put(registry_with_products(), name + ".reg"), TIME_0)
                self.assertEqual(len(expected), count)
                self.check(self.exports(name + ".reg"), expected)

    def test_each_user_export_alone(self):
        for hive, (number, count) in OF_USER_EXPORTS.items():
            with self.subTest(export=hive):
                registry = put(registry_with_products(), hive, volumes.SID + number, times=False)
                expected = list_installed(registry, TIME_0)
                self.assertEqual(len(expected), count)
                self.check(self.exports(f"import-{hive}.reg"), expected)

    def test_all_in_one_machine(self):
        registry = registry_with_products()
        for name in OF_EXPORTS:
            put(registry, name + ".reg")
        for hive, (number, _) in OF_USER_EXPORTS.items():
            put(registry, hive, volumes.SID + number, times=False)
        names = [name + ".reg" for name in OF_EXPORTS] + [f"import-{hive}.reg" for hive in OF_USER_EXPORTS]
        expected = list_installed(registry, TIME_0)
        self.assertGreater(len(expected), 20)
        self.check(self.exports(*names), expected)

    def test_without_the_products_key_the_list_is_empty(self):
        names = [name + ".reg" for name in OF_EXPORTS] + [f"import-{hive}.reg" for hive in OF_USER_EXPORTS]
        for name in names:
            self.check(self.exports(name, products=False), [])


class ProductCodeTest(RealTest):
    def test_real_codes_are_packed_like_real_keys(self):
        pairs = json.loads((DATA / "truth" / "packed_pairs.json").read_text(encoding="utf-8"))["pairs"]
        self.assertGreaterEqual(len(pairs), 5)
        keys = []
        for pair in pairs:
            keys.append(key(f"{MACHINE_PRODUCTS}\\{pair['packed']}", {"ProductName": pair["packed"]}))
            keys.append(key(f"{MACHINE_UNINSTALL}\\{pair['product_code']}", {"WindowsInstaller": "1"}))
        names = [entry["displayName"] for entry in self.listed(self.machine(*keys))]
        self.assertEqual(names, sorted(pair["packed"] for pair in pairs))


class WineTest(RealTest):
    def test_machine_and_user_of_one_prefix(self):
        registry = put(put(Registry(), "wine-lomse-system.reg"), "wine-lomse-user.reg", WINE_USER)
        expected = list_installed(registry)
        self.assertEqual([entry["architecture"] for entry in expected], [1, 1, 2, 2, 2, 2, 2])
        self.check(self.wine_exports("wine-lomse-system", "wine-lomse-user"), expected)

    def test_user_s_products_need_the_user_s_hive(self):
        expected = list_installed(put(Registry(), "wine-lomse-system.reg"))
        self.assertEqual(len(expected), 4)
        self.check(self.wine_exports("wine-lomse-system"), expected)

    def test_machine_without_products_of_users(self):
        expected = list_installed(put(Registry(), "wine-charm-system.reg"))
        self.assertEqual(len(expected), 2)
        self.check(self.wine_exports("wine-charm-system"), expected)
