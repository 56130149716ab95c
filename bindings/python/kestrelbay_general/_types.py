"""Results and error of this package."""

from __future__ import annotations

import datetime
from dataclasses import dataclass
from typing import Optional


class KestrelbayError(Exception):
    """A call that cannot be made or that failed. The message says what is wrong and what to do."""


@dataclass(frozen=True)
class App:
    """An installed application. A text that the registry lacks is empty."""

    name: str
    version: str
    location: str  # folder as registered, unchecked
    install_date: str  # as registered, mostly YYYYMMDD
    changed: Optional[datetime.datetime]  # last change of the registry entry, UTC; None if unknown
    architecture: Optional[int]  # 32 or 64: bits of the registry view that has the entry
    icon_source: str  # as registered: the path of an icon or executable, often with an index
    icon: Optional[bytes]  # PNG, if list(icons=True) drew one
    icon_path: Optional[str]  # of an icon file


@dataclass(frozen=True)
class Facts:
    """The machine. A fact that the machine does not have is None."""

    manufacturer: Optional[str]
    product: Optional[str]
    device_id: Optional[str]
    graphics: Optional[str]
    proxy: Optional[str]
    is_tablet: Optional[bool]
    host_folder: Optional[str]  # None if it has a character outside the code page; see sys.executable


@dataclass(frozen=True)
class Outcome:
    """How an installation or an uninstallation ended."""

    success: bool
    result: str  # "Success", "Fail" or "Cancel"
    message: str
    version: str = ""
