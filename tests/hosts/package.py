"""The Python package: package.py LIBRARIES OTHER-LIBRARIES. Exceptions: package.py LIBRARIES

On a machine without applications: package.py LIBRARIES --empty. On the machine outside: package.py LIBRARIES
--outside. One folder that is refused: package.py --refuses FOLDER FRAGMENT
"""

import asyncio
import contextlib
import ctypes
import io
import logging
import os
import pathlib
import sys
import sysconfig
import time
import unittest.mock

from kestrelbay_general import KestrelbayError, Library


def refuses(fragment, call):
    try:
        call()
    except KestrelbayError as error:
        assert fragment in str(error), f"{fragment!r} is not in {error}"
    else:
        raise AssertionError(f"not refused: {fragment}")


def survive_exceptions(library):
    for _ in range(500):  # each call meets two exceptions
        facts = library.facts()
        assert facts.is_tablet is None and facts.proxy is None


async def jobs_and_calls(library):
    """Calls on this thread while jobs log on theirs: no deadlock."""
    missing = [asyncio.ensure_future(library.install(r"C:\no such file.exe", f"name {i}")) for i in range(2)]
    while not all(job.done() for job in missing):
        assert library.free_space("C") == 179200
        library.list()
        await asyncio.sleep(0)
    assert [job.result().message for job in missing] == ["Install path is not exist!"] * 2


def end_a_job_after_its_thread_has_left_the_library(library):
    """It leaves shortly after it reports the results. A start takes half a second, and the pause does."""
    begin = time.monotonic()
    asyncio.run(library.install(r"C:\no such file.exe", "a"))
    assert time.monotonic() - begin >= 0.95


def refuse_secrets_that_are_no_text(library):
    """Another program may encrypt any bytes: no byte is replaced."""
    refuses("the secret is empty", lambda: library.encrypt(""))
    hidden = ctypes.c_char_p()
    assert library._guard.GuardEncrypt(b"\xff\xff\xff", ctypes.byref(hidden)) == 0
    refuses("not UTF-8", lambda: library.decrypt(hidden.value.decode()))


def survive_a_filter_that_raises(library):
    """Its exception is printed, as that of a handler, and ends no call and no job."""
    def fail(record):
        raise ValueError("from a filter")
    logger = logging.getLogger("kestrelbay_general")
    logger.addFilter(fail)
    printed = io.StringIO()
    with contextlib.redirect_stderr(printed):
        assert len(library.list()) == 45
        missing = asyncio.run(asyncio.wait_for(library.install(r"C:\no such file.exe", "a"), 60))
    logger.removeFilter(fail)
    assert missing.message == "Install path is not exist!"
    assert "ValueError: from a filter" in printed.getvalue()


@contextlib.contextmanager
def handled_by(emit):
    handler = logging.Handler()
    handler.emit = lambda record: emit(record.getMessage())
    logging.getLogger("kestrelbay_general").addHandler(handler)
    yield
    logging.getLogger("kestrelbay_general").removeHandler(handler)


def let_a_handler_call_the_library(library):
    """The records of its calls wait for the next call: a handler does not get its own without end."""
    calls, depth, deepest, later = 0, 0, 0, []

    def call(_):
        nonlocal calls, depth, deepest
        calls, depth = calls + 1, depth + 1
        deepest = max(deepest, depth)
        library.free_space("C")
        depth -= 1
    with handled_by(call):
        library.start("Nobody has this")
    assert calls > 0 and deepest == 1
    with handled_by(later.append):
        library.start("Nobody has this")
    assert sum("enter GetDiskAvailableSpace" in record for record in later) == calls


def know_no_value_outside_the_language(library):
    dated, future, past, long = library.list()
    assert (dated.name, future.name, past.name, long.name) == ("Dated", "Far future", "Far past", "Long version")
    assert dated.changed.year == 2024 and future.changed is None and past.changed is None
    assert library.facts().host_folder is None  # the code page lacks a character of it


def give_room_to_a_version_that_overruns_the_record(library):
    outcome = asyncio.run(library.install(r"C:\installer.exe", "Long version"))
    assert (outcome.message, outcome.version) == ("Update fail!", "日" * 259)


def forget_only_entries_of_the_64_bit_view(library):
    """For another one the library deletes nothing, or the entry of another application."""
    def count(name):
        return [app.name for app in library.list()].count(name)
    for name in ("Bramblefont Manager", "Confetti Chat \N{PARTY POPPER}"):
        refuses("of a user or of the 32-bit view", lambda: library.forget(name))
        assert count(name) == 2
    assert library.forget("Umberline Accounting") is True and count("Umberline Accounting") == 0
    assert library.forget("Umberline Accounting") is False


def refuse_another_folder(library, folder, other):
    """A process has one library: one of a second folder would break the first one."""
    refuses(f"already loaded from {pathlib.Path(folder).resolve()}", lambda: Library(other))
    assert len(library.list()) == 45
    assert len(Library(os.path.join(folder, ".")).list()) == 45


def refuse_texts_of_a_wrong_type(library):
    refuses("the name must be a str, not NoneType", lambda: library.version(None))
    refuses("the text must be a str, not bytes", lambda: library.decrypt(b"protected"))
    refuses("the text must be a str, not NoneType", lambda: library.encrypt(None))
    refuses("the path must be a str, not int", lambda: library.run(5))
    missing = pathlib.PureWindowsPath(r"C:\no such file.exe")
    assert asyncio.run(library.install(missing, "a")).message == "Install path is not exist!"
    assert library.run(missing) is False


def refuse_another_processor(folder):
    for kind, size in (("win-arm64", 2**63 - 1), ("linux-x86_64", 2**31 - 1)):
        with unittest.mock.patch.object(sysconfig, "get_platform", lambda: kind), \
                unittest.mock.patch.object(sys, "maxsize", size):
            refuses("use Python for x64", lambda: Library(folder))


def refuse_no_folder():
    with unittest.mock.patch.dict(os.environ, {"KESTRELBAY_LIBRARY_DIR": ""}):
        refuses("give the folder", Library)


def main(folder, other=None, fragment=None):
    if folder == "--refuses":
        refuses(fragment, lambda: Library(other))
        return
    library = Library(folder)
    if other == "--empty":
        assert library.list() == [] and library.list(icons=True) == []
        return
    if other == "--outside":
        know_no_value_outside_the_language(library)
        give_room_to_a_version_that_overruns_the_record(library)
        return
    if other is None:
        survive_exceptions(library)
        return
    logging.getLogger("kestrelbay_general").setLevel(logging.DEBUG)
    records = []
    with handled_by(records.append):
        apps = library.list(icons=True)
    assert len(apps) == 45 and sum(app.changed is not None for app in apps) > 0
    assert all(app.icon is None or app.icon.startswith(b"\x89PNG") for app in apps)
    assert library.version("Inkwhistle PDF Viewer") and library.version("Nobody has this") is None
    assert library.facts().graphics == "Lumenfall G40,Basic Display Driver"
    assert library.free_space("?") is None
    assert library.decrypt(library.encrypt("sécret")) == "sécret"
    assert library.start("Nobody has this") is False and library.forget("Nobody has this") is False
    assert any("GetInstalledAppList" in record for record in records)
    asyncio.run(jobs_and_calls(library))
    end_a_job_after_its_thread_has_left_the_library(library)
    let_a_handler_call_the_library(library)

    refuse_another_folder(library, folder, other)
    refuse_another_processor(folder)
    refuse_no_folder()
    refuse_texts_of_a_wrong_type(library)
    long = "é" * 130
    refuses("the name has 260 bytes of UTF-8, but at most 259", lambda: asyncio.run(library.uninstall(long)))
    refuses("the name has 260", lambda: asyncio.run(library.install("a.exe", long)))
    refuses("the installer's path has 260", lambda: asyncio.run(library.install(long, "a")))
    refuses("the parameter text has 260", lambda: asyncio.run(library.install("a.exe", "a", long)))
    assert asyncio.run(library.uninstall("é" * 129 + "e")).message == "Get uninstall path is empty!"
    refuses("null character", lambda: library.version("a\0b"))
    refuses("not valid Unicode", lambda: library.version("\ud800"))
    refuses("not a text that this user", lambda: library.decrypt("no protected text"))
    refuse_secrets_that_are_no_text(library)
    survive_a_filter_that_raises(library)
    refuses("the path contains a quotation mark", lambda: library.run('"a.exe"'))
    refuses("the installer's path contains a quot", lambda: asyncio.run(library.install('"a.exe"', "a")))
    assert library.facts().host_folder == r"C:\Program Files\Baymarket"
    forget_only_entries_of_the_64_bit_view(library)
    library.stop_waiting()
    refuses("jobs cannot start after", lambda: asyncio.run(library.install(r"C:\no such file.exe", "a")))


main(*sys.argv[1:])
