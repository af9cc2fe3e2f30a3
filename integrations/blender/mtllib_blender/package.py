"""Finds the Python package mtllib: the one inside the add-on's folder, else an installed one."""

from __future__ import annotations

import importlib
import pathlib
import sys

_OWN = pathlib.Path(__file__).with_name("vendor")


class MissingPackage(Exception):
    """Says where it was looked for."""


def provide() -> None:
    """From now on, `import mtllib` works; raises MissingPackage."""
    sys.path.insert(0, str(_OWN))
    try:
        importlib.import_module("mtllib")
    except ImportError as error:
        raise MissingPackage(
            f"The Python package mtllib is missing: it is neither in {_OWN} nor installed for "
            f"Python {sys.version_info.major}.{sys.version_info.minor} ({error})"
        ) from error
    finally:
        sys.path.remove(str(_OWN))
