"""What the functions of this package return and raise."""

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
    location: str
    install_date: str
    changed: Optional[datetime.datetime]
    architecture: Optional[int]  # 32 or 64
    icon_source: str
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
    host_folder: Optional[str]  # None if it has a character outside the code page; sys.executable has its path


@dataclass(frozen=True)
class Outcome:
    """How an installation or an uninstallation ended."""

    success: bool
    result: str  # "Success", "Fail" or "Cancel"
    message: str
    version: str = ""
