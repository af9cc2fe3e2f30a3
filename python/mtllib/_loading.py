"""Finds and loads the shared library with the C interface, once in a process."""

from __future__ import annotations

import ctypes
import functools
import os
import pathlib
import sys

from mtllib import _c_interface
from mtllib._errors import ErrorKind, Explanation, LoadError
from mtllib._printable import printable

_ENVIRONMENT_VARIABLE = "MTLLIB_LIBRARY"
_FILE_NAME = "mtlhost.dll" if sys.platform == "win32" else "libmtlhost.so.0"
_BUNDLED_FILE = pathlib.Path(__file__).with_name("_lib") / _FILE_NAME


def _file_to_load() -> str:
    """The one that the environment names, the one in the package, or whatever the system's
    loader finds under the name."""
    named = os.environ.get(_ENVIRONMENT_VARIABLE)
    if named:
        return os.path.abspath(named)
    return str(_BUNDLED_FILE) if _BUNDLED_FILE.exists() else _FILE_NAME


@functools.lru_cache(maxsize=None)
def interface() -> ctypes.CDLL:
    """The C interface; raises LoadError. Calls into it release the interpreter's lock."""
    file = _file_to_load()
    try:
        library = ctypes.CDLL(file)
        _c_interface.declare(library)
    except (OSError, AttributeError) as error:
        sentence = printable(f"Could not load the library {file}: {error}.")
        hint = (
            "Install the package again, with what it needs of the system; the environment variable "
            f"{_ENVIRONMENT_VARIABLE} may name another file."
        )
        raise LoadError(
            sentence, explanation=Explanation(ErrorKind.MODULE, file, sentence, hint)
        ) from error
    return library


def version() -> str:
    """The version of the library that is loaded; raises LoadError."""
    text: bytes = interface().mtlhost_version()
    return text.decode()
