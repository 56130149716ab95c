"""Puts the contents of the real files into the registry of the model."""

import datetime
import json
import os
import pathlib

from inventory import FILETIME_OF_1970

DATA = pathlib.Path(os.environ["KESTRELBAY_DATA"])
EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


def milliseconds(key):
    """The time of a key: of two, the more exact one."""
    if key.get("last_write_filetime") is not None:
        return (key["last_write_filetime"] - FILETIME_OF_1970) // 10000
    if key.get("last_write") is None:
        return None
    return (datetime.datetime.fromisoformat(key["last_write"].replace("Z", "+00:00")) - EPOCH) // datetime.timedelta(
        milliseconds=1)


def put_key(registry, path, key, times):
    target = registry.at(path)
    if times:
        target.milliseconds = milliseconds(key)
    for value in key["values"]:
        data = value["number"] if "number" in value else value.get("text")
        target.values[value["name"].lower()] = (value["type"], value["bytes"], data)
    for below in key.get("subkeys", []):
        put_key(registry, path + "\\" + below["key"], below, times)


def put(registry, name, user=None, times=True):
    """Puts the keys of truth/NAME.json. `user` is the SID of the hive, for a file without a root."""
    truth = json.loads((DATA / "truth" / (name + ".json")).read_text(encoding="utf-8"))
    for family in filter(None, truth["families"].values()):
        path = family["path"].replace("HKEY_CURRENT_USER", f"HKEY_USERS\\{user}")
        if not path.startswith("HKEY_"):
            software = "Software\\" if truth["kind"] == "ntuser_software" else ""
            path = f"HKEY_USERS\\{user}\\{software}{path}"
        registry.at(path)
        for entry in family["entries"]:
            put_key(registry, f"{path}\\{entry['key']}", entry, times)
    return registry
