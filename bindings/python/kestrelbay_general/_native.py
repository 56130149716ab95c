"""The C functions of KestrelbayGuard.h. Loads their libraries."""

from __future__ import annotations

import ctypes
import os
import pathlib
import sys
import sysconfig
import threading
from typing import Any, Optional, Type, Union

from ._types import KestrelbayError

FIELD_BYTES = 260
AnyPath = Union[str, "os.PathLike[str]"]
_loading = threading.Lock()
_folder: Optional[pathlib.Path] = None  # of the libraries, which a process has once


class Entry(ctypes.Structure):
    _fields_ = [(name, ctypes.c_char_p) for name in (
        "name", "location", "version", "icon_source", "icon", "install_date", "changed")] + [
        ("architecture", ctypes.c_int32)]


def _job_type(*fields: str) -> Type[ctypes.Structure]:
    layout = [(name, ctypes.c_char * FIELD_BYTES) for name in fields]
    extra = [("room", ctypes.c_char * 1024), ("finished", ctypes.c_int32)]
    return type("Job", (ctypes.Structure,), {"_fields_": layout + extra})


INSTALL = _job_type("path", "name", "key", "parameters", "result", "message", "version")
UNINSTALL = _job_type("name", "key", "result", "message")


def encode(text: str, what: str, limit: Optional[int] = None) -> bytes:
    if not isinstance(text, str):
        raise KestrelbayError(f"{what} must be a str, not {type(text).__name__}")
    try:
        encoded = text.encode("utf-8")
    except UnicodeEncodeError as error:
        raise KestrelbayError(f"{what} is not valid Unicode text: {error.reason}") from None
    if b"\0" in encoded:
        raise KestrelbayError(f"{what} contains a null character: remove it")
    if limit is not None and len(encoded) > limit:
        raise KestrelbayError(f"{what} has {len(encoded)} bytes of UTF-8, but at most {limit} are possible: shorten it")
    return encoded


def encode_path(path: AnyPath, what: str, limit: Optional[int] = None) -> bytes:
    encoded = encode(os.fspath(path) if isinstance(path, os.PathLike) else path, what, limit)
    if b'"' in encoded:
        raise KestrelbayError(f"{what} contains a quotation mark: remove it, the library adds its own")
    return encoded


def decode(text: Optional[bytes]) -> str:
    return (text or b"").decode("utf-8", "replace")


def load(folder: pathlib.Path) -> tuple[ctypes.CDLL, ctypes.CDLL]:
    """Loads KestrelbayGeneral and KestrelbayGuard."""
    global _folder
    kind = sysconfig.get_platform()
    if sys.maxsize < 2**32 or not kind.endswith(("amd64", "x86_64")):
        raise KestrelbayError(f"this Python is for {kind}, but the library is for x64: use Python for x64")
    options: dict[str, Any] = {}
    if sys.platform == "win32":
        names = ["KestrelbayGeneral.dll", "KestrelbayGuard.dll", "log.dll"]
        options = {"winmode": 0x100 | 0x800}  # the DLL's own folder and System32 only
    else:
        names = ["libKestrelbayGeneral.so", "libKestrelbayGuard.so", "libkestrelbay_machine.so"]
    if not folder.is_dir():
        raise KestrelbayError(f"{folder} is not a folder: give the folder that holds {', '.join(names)}")
    for name in names:
        if not (folder / name).is_file():
            raise KestrelbayError(f"{name} is missing in {folder}: copy it there from the KestrelbayGeneral package")
    with _loading:
        if _folder not in (None, folder):
            raise KestrelbayError(f"the library is already loaded from {_folder}: a process has one")
        loaded = []
        for name in names[:2]:
            try:
                loaded.append(ctypes.CDLL(str(folder / name), **options))
            except OSError as error:
                raise KestrelbayError(f"{folder / name} cannot be loaded: {error}. "
                                      "Copy all libraries of one x64 KestrelbayGeneral package there") from None
            _folder = folder
    return loaded[0], loaded[1]
