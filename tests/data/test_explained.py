"""An explanation of real hives and exports accounts for every key in them, and for every entry of the list."""

import collections
import json

from inventory import (DEFAULT_VIEW, MACHINE_PRODUCTS, UNINSTALL, USER_DATA, USER_PRODUCTS, VIEW_32, VIEW_64,
                       Registry)
from real import DATA, RealTest, volumes
from test_real_lists import (EVERYONE, OF_EXPORTS, OF_USER_EXPORTS, WINE_USER, registry_of_whole_volume,
                             registry_with_products)
from truth import put

FATES = {"searched", "listed", "merged", "left out", "unread"}
FIELDS = ["displayName", "installLocation", "displayVersion", "displayIcon", "installDate", "lastWriteTime"]


def entries_of(registry):
    """Each subkey that the inventory reads, as (role, path, view), counted without a scan."""
    if registry.machine[VIEW_64].find(MACHINE_PRODUCTS) is None:
        return []
    entries = []
    for view in (VIEW_32, VIEW_64):
        uninstall = registry.machine[view].find(UNINSTALL)
        entries += [("uninstallEntry", f"{UNINSTALL}\\{key.name}", view)
                    for key in (uninstall.children() if uninstall else [])]
    for hive in registry.users.children():
        uninstall, products = hive.find(UNINSTALL), hive.find(USER_PRODUCTS)
        entries += [("uninstallEntry", f"{hive.name}\\{UNINSTALL}\\{key.name}", DEFAULT_VIEW)
                    for key in (uninstall.children() if uninstall else [])]
        for view in (VIEW_32, VIEW_64):
            entries += [("userProduct", f"{hive.name}\\{USER_PRODUCTS}\\{key.name}", view)
                        for key in (products.children() if products else [])]
    return entries


class ExplainedTest(RealTest):
    def check_explained(self, machine, registry):
        """Compares with the list and with the registry itself; returns the number of keys of each fate."""
        explained = json.loads(self.output(*self.chosen(machine), "--json", "explain"))
        keys = explained["keys"]
        self.assertEqual([key["number"] for key in keys], list(range(len(keys))))
        entries = [key for key in keys if key["role"] in ("uninstallEntry", "userProduct")]
        # Their order depends on the views, which this test does not check.
        self.assertCountEqual([(key["role"], key["key"]["path"].lower(), key["view"]) for key in entries],
                              [(role, path.lower(), view) for role, path, view in entries_of(registry)])
        fates = collections.Counter(key["fate"] for key in keys)
        self.assertLessEqual(set(fates), FATES)
        self.assertEqual(explained["counts"], {fate: fates[fate] for fate in explained["counts"]})
        self.assertEqual(sum(explained["counts"].values()), len(keys))
        self.check_records(explained, self.listed(machine))
        return fates

    def check_records(self, explained, listed):
        keys, records = explained["keys"], explained["records"]
        self.assertEqual(explained["counts"]["listed"], len(listed))
        self.assertEqual([{name: record["fields"][name]["text"] for name in FIELDS} for record in records],
                         [{name: entry[name] for name in FIELDS} for entry in listed])
        for record in records:
            self.assertEqual(keys[record["number"]]["fate"], "listed")
        read = {(str(value["key"]), value["name"]): value["text"] for key in keys for value in key.get("values", [])}
        for record in records:
            for field in record["fields"].values():
                self.assertEqual(field["from"] is None, field["text"] == "")
                if field["from"] and field["from"]["value"]:
                    self.assertEqual(read[str(field["from"]["key"]), field["from"]["value"]], field["text"])

    def test_each_hive(self):
        for folder, (hive, sid) in EVERYONE.items():
            with self.subTest(hive=hive):
                kind = "services" if folder in volumes.SERVICES else "users"
                self.check_explained(self.volume(**{kind: {folder: (hive, sid)}}),
                                     put(registry_with_products(), hive, sid))

    def test_each_machine_export(self):
        left_out = 0
        for name in OF_EXPORTS:
            with self.subTest(export=name):
                registry = put(registry_with_products(), name + ".reg")
                left_out += self.check_explained(self.exports(name + ".reg"), registry)["left out"]
        self.assertGreater(left_out, 100)

    def test_each_user_export(self):
        for hive, (number, _) in OF_USER_EXPORTS.items():
            with self.subTest(export=hive):
                registry = put(registry_with_products(), hive, volumes.SID + number, times=False)
                self.check_explained(self.exports(f"import-{hive}.reg"), registry)

    def test_each_wine_prefix(self):
        both = put(put(Registry(), "wine-lomse-system.reg"), "wine-lomse-user.reg", WINE_USER)
        self.check_explained(self.wine_exports("wine-lomse-system", "wine-lomse-user"), both)
        self.assertIsNotNone(both.machine[VIEW_64].find(USER_DATA))
        charm = put(Registry(), "wine-charm-system.reg")
        self.check_explained(self.wine_exports("wine-charm-system"), charm)

    def test_whole_volume(self):
        volume = self.volume(volumes.machine_text(DATA), volumes.USERS, volumes.SERVICES)
        self.assertEqual(self.check_explained(volume, registry_of_whole_volume())["listed"], 25)

    def test_without_the_products_key_only_that_key_is_explained(self):
        machine = self.exports("mssql-Uninstall.reg", products=False)
        fates = self.check_explained(machine, put(Registry(), "mssql-Uninstall.reg"))
        self.assertEqual(fates, {"unread": 1})
