"""What a `Library` is made from, in the terms of Python."""

from __future__ import annotations

import enum
import os
from dataclasses import dataclass
from typing import Optional, Union


class SystemProxy(enum.Enum):
    """The type of `SYSTEM_PROXY`."""

    SYSTEM_PROXY = "system"


SYSTEM_PROXY = SystemProxy.SYSTEM_PROXY
"""The proxy of the user's system settings, on Linux of the environment."""

Proxy = Union[SystemProxy, str, None]
Path = Union[str, "os.PathLike[str]"]


@dataclass(frozen=True)
class Settings:
    """The arguments of `Library`."""

    url: str
    directory: Path
    sub_path: str = ""
    proxy: Proxy = SYSTEM_PROXY
    module: Optional[Path] = None
