"""Applications of this Windows machine: list, install, remove, start; machine facts; short secrets.

    from kestrelbay_general import Library
    for app in Library("C:/store/bin").list():
        print(app.name, app.version)

The folder holds KestrelbayGeneral.dll, KestrelbayGuard.dll and log.dll. On Linux it holds the three shared
libraries, and the machine is the directory that the environment variable KESTRELBAY_MACHINE names.

Log records go to logging.getLogger("kestrelbay_general") when a call returns, and while a job runs.
"""

from __future__ import annotations

import asyncio
import base64
import concurrent.futures
import ctypes
import datetime
import logging
import os
import pathlib
import sys
import threading
import time
import traceback
from typing import Any, List, Optional

from ._native import FIELD_BYTES, INSTALL, UNINSTALL, AnyPath, Entry, decode, encode, encode_path, load
from ._types import App, Facts, KestrelbayError, Outcome

__version__ = "1.0"
__all__ = ["App", "Facts", "KestrelbayError", "Library", "Outcome"]

_BUFFER_BYTES = 65536
_POLL_SECONDS = 0.02
_PAUSE_SECONDS = 0.5  # after a job, so that its thread can leave the library
_NEVER_WRITTEN = -11644473600000
_PNG = "data:image/png;base64,"
_FAILURES = {
    -1: "the machine's setting is missing or not a number",
    -2: "out of memory",
    -3: "a thread could not be started",
    -4: "unexpected exception in the library",
}
_log = logging.getLogger(__name__)
_log.addHandler(logging.NullHandler())
_levels = {2: logging.DEBUG, 3: logging.INFO, 4: logging.WARNING, 5: logging.ERROR}
_job_locks = {"Install": threading.Lock(), "Uninstall": threading.Lock()}
_stopped = threading.Event()
_forwarding = threading.local()


class Library:
    """The library. Thread-safe. Loaded once and never unloaded."""

    def __init__(self, folder: Optional[AnyPath] = None) -> None:
        """Loads the library from `folder`, else from the environment variable KESTRELBAY_LIBRARY_DIR."""
        chosen = os.environ.get("KESTRELBAY_LIBRARY_DIR") if folder is None else folder
        if not chosen:
            raise KestrelbayError("give the folder of KestrelbayGeneral.dll, or set KESTRELBAY_LIBRARY_DIR")
        path = pathlib.Path(chosen).resolve()
        self._general, self._guard = load(path)
        self._general.ReleaseDllStr.restype = None
        try:
            self._guard.GuardVersion.restype = ctypes.c_char_p
            found = decode(self._guard.GuardVersion())
        except AttributeError:
            found = "unknown"
        if found != __version__:
            raise KestrelbayError(f"the libraries in {path} have version {found}, this package {__version__}: "
                                  "install the same version of both")
        self._call("QueueLog")

    def list(self, icons: bool = False) -> List[App]:
        """All installed applications, sorted by name. With `icons`, draws the icon of each executable."""
        entries, count = ctypes.POINTER(Entry)(), ctypes.c_uint32()
        try:
            self._call("GetInstalledAppList", ctypes.byref(entries), ctypes.byref(count), ctypes.c_bool(icons))
            return [_app(entries[i]) for i in range(count.value)]
        finally:
            self._call("ReleaseInstalledAppList", ctypes.byref(entries), ctypes.c_int32(count.value))

    def version(self, name: str) -> Optional[str]:
        """Version of an application; None if it is not installed or has none."""
        return self._fact("GetAppVersion", encode(name, "the name"), b"")

    def facts(self) -> Facts:
        """Facts about the machine."""
        tablet = self._call("IsTabletPC", allowed=(-1,))
        return Facts(
            manufacturer=self._fact("GetManufacturer"), product=self._fact("GetProductName"),
            device_id=self._fact("GetDeviceId"), graphics=self._fact("GetGraphics"),
            proxy=self._fact("GetProxyServer"), is_tablet=None if tablet < 0 else bool(tablet),
            host_folder=self._host_folder())

    def free_space(self, drive: str) -> Optional[int]:
        """Mebibytes free to the calling user on a drive such as "C:"; None if unknown."""
        mebibytes = ctypes.c_int64()
        self._call("GetDiskAvailableSpace", encode(drive, "the drive"), ctypes.byref(mebibytes))
        return mebibytes.value if mebibytes.value >= 0 else None

    async def install(self, installer: AnyPath, name: str, parameters: str = "") -> Outcome:
        """Runs an installer elevated and waits until it ends. Does not wait if the shell starts it without a handle
        of its process. Installations run one after another."""
        job = INSTALL()
        job.path = encode_path(installer, "the installer's path", FIELD_BYTES - 1)
        job.name = encode(name, "the name", FIELD_BYTES - 1)
        job.parameters = encode(parameters, "the parameter text", FIELD_BYTES - 1)
        return await self._job("Install", job)

    async def uninstall(self, name: str) -> Outcome:
        """Runs the application's uninstall command and waits until the registry changes. Uninstallations run one
        after another. Waits forever if the user cancels the command; only stop_waiting() ends that."""
        job = UNINSTALL()
        job.name = encode(name, "the name", FIELD_BYTES - 1)
        return await self._job("Uninstall", job)

    def stop_waiting(self) -> None:
        """Ends the wait of every job for the life of the process, which then refuses jobs. It cannot be undone."""
        _stopped.set()
        self._call("SetStopAppEvent")

    def start(self, name: str, alias: str = "") -> bool:
        """Starts an installed application. Returns whether the start succeeded. Blocks while a person answers the
        prompt for elevation. Leaves COM initialised on this thread, single-threaded."""
        return self._call("StartApp", encode(name, "the name"), encode(alias, "the alias")) == 1

    def run(self, path: AnyPath, arguments: str = "") -> bool:
        """Starts a program without elevation. Returns whether it was started."""
        return self._call("StartAnyExe", encode_path(path, "the path"), encode(arguments, "the arguments")) == 1

    def forget(self, name: str) -> bool:
        """Deletes the first entry of list() with this name; False for an unknown one. True may only mean that an
        elevated command was started. Raises for an entry of a user or of the 32-bit view. Blocks as start()."""
        encoded = encode(name, "the name")
        first = next((app for app in self.list() if app.name == name), None)
        if first and first.architecture != 64:
            raise KestrelbayError("this entry is of a user or of the 32-bit view: the library cannot delete it")
        return self._call("DeleteAppRegistryInfo", encoded) == 1

    def encrypt(self, secret: str) -> str:
        """Protects a short secret for this user on this machine."""
        if secret == "":
            raise KestrelbayError("the secret is empty: decrypt() could not return it")
        return self._transform("Encrypt", secret, "the secret could not be protected")

    def decrypt(self, protected: str) -> str:
        """Returns the secret that encrypt() was called with."""
        return self._transform("Decrypt", protected, "this is not a text that this user on this machine protected")

    def _transform(self, function: str, text: str, failure: str) -> str:
        output = ctypes.c_char_p()
        try:
            self._call(function, encode(text, "the text"), ctypes.byref(output))
            result = output.value or b""
        finally:
            ctypes.memset(output, 0, len(output.value or b""))
            self._general.ReleaseDllStr(ctypes.byref(output))
        if not result:
            raise KestrelbayError(failure)
        try:
            return result.decode()
        except UnicodeDecodeError:
            raise KestrelbayError("the secret is not UTF-8: decrypt it with the program that encrypted it") from None

    def _fact(self, function: str, *arguments: bytes) -> Optional[str]:
        buffer, size = ctypes.create_string_buffer(_BUFFER_BYTES), ctypes.c_int32(_BUFFER_BYTES)
        found = self._call(function, *arguments, buffer, ctypes.byref(size), allowed=(-1,))
        return decode(buffer.value) if found == 1 else None

    def _host_folder(self) -> Optional[str]:
        buffer, size = ctypes.create_string_buffer(_BUFFER_BYTES), ctypes.c_int32(_BUFFER_BYTES)
        self._call("GetRootDir", buffer, ctypes.byref(size), ctypes.c_uint32(2))
        text = buffer.value.decode("mbcs" if sys.platform == "win32" else "utf-8", "replace")
        return None if "?" in text else text  # for a character outside the code page; no path contains it

    async def _job(self, kind: str, job: Any) -> Outcome:
        done: "concurrent.futures.Future[Outcome]" = concurrent.futures.Future()
        threading.Thread(target=self._run_job, args=(kind, job, done), daemon=True).start()
        return await asyncio.shield(asyncio.wrap_future(done))

    def _run_job(self, kind: str, job: Any, done: "concurrent.futures.Future[Outcome]") -> None:
        with _job_locks[kind]:
            try:
                done.set_result(self._perform(kind, job))
            except BaseException as error:  # else the caller would wait forever
                _keep.append(job)
                done.set_exception(error)

    def _perform(self, kind: str, job: Any) -> Outcome:
        if _stopped.is_set():
            raise KestrelbayError("jobs cannot start after stop_waiting(): use another process")
        self._call("Start" + kind, ctypes.byref(job))
        while not job.finished:
            time.sleep(_POLL_SECONDS)
            self._forward_log()
        time.sleep(_PAUSE_SECONDS)
        self._forward_log()
        result = decode(job.result)
        version = decode(bytes(job)[6 * FIELD_BYTES:].partition(b"\0")[0]) if kind == "Install" else ""
        return Outcome(result == "Success", result, decode(job.message), version)

    def _call(self, function: str, *arguments: Any, allowed: tuple[int, ...] = ()) -> int:
        status: int = getattr(self._guard, "Guard" + function)(*arguments)
        self._forward_log()
        if status < 0 and status not in allowed:
            raise KestrelbayError(f"{function}: {_FAILURES.get(status, status)}")
        return status

    def _forward_log(self) -> None:
        """Records of calls that a handler makes wait for the next call: the handler would get its own without end."""
        if getattr(_forwarding, "is_active", False):
            return
        _forwarding.is_active = True
        try:
            for level, message in self._take_log():
                _emit(level, message)
        finally:
            _forwarding.is_active = False

    def _take_log(self) -> List[tuple[int, str]]:
        records = []
        level, size, dropped = ctypes.c_int32(), ctypes.c_int32(_BUFFER_BYTES), ctypes.c_uint32()
        text = ctypes.create_string_buffer(_BUFFER_BYTES)
        while True:
            taken = self._guard.GuardTakeLog(
                ctypes.byref(level), text, ctypes.byref(size), ctypes.byref(dropped))
            if dropped.value:
                records.append((logging.WARNING, f"{dropped.value} log records were dropped"))
            if taken == 0:
                return records
            if taken < 0:
                text = ctypes.create_string_buffer(size.value)
            else:
                records.append((_levels.get(level.value, logging.INFO), decode(text.value)))
            size.value = len(text)


_keep: list[Any] = []  # records of jobs that could not start: the library still has their addresses


def _emit(level: int, message: str) -> None:
    try:
        _log.log(level, "%s", message)
    except Exception:  # of a filter: as logging does with those of a handler
        if logging.raiseExceptions:
            traceback.print_exc()


def _changed(milliseconds: int) -> Optional[datetime.datetime]:
    """None if the time could not be read, or is not in the years 1 to 9999."""
    epoch = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
    try:
        return None if milliseconds == _NEVER_WRITTEN else epoch + datetime.timedelta(milliseconds=milliseconds)
    except OverflowError:
        return None


def _app(entry: Entry) -> App:
    icon = decode(entry.icon)
    is_picture = icon.startswith(_PNG)
    return App(
        name=decode(entry.name), version=decode(entry.version), location=decode(entry.location),
        install_date=decode(entry.install_date), icon_source=decode(entry.icon_source),
        changed=_changed(int(entry.changed)),
        architecture={1: 32, 2: 64}.get(entry.architecture),
        icon=base64.b64decode(icon[len(_PNG):]) if is_picture else None,
        icon_path=icon if icon and not is_picture else None)
