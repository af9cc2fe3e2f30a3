"""Passes events to Python's logging, to the logger "mtllib".

Stages, one or two for each file, are DEBUG; the few informational lines of a run are INFO;
warnings are WARNING; the failure that ends a run is ERROR, or INFO if the run was cancelled.
Progress, plans and files are not logged. Every message is one printable line.
"""

from __future__ import annotations

import logging

from mtllib._errors import chain_text
from mtllib._events import Event
from mtllib._printable import printable

_LEVELS = {
    "stage": logging.DEBUG,
    "info": logging.INFO,
    "warning": logging.WARNING,
    "error": logging.ERROR,
}

_logger = logging.getLogger("mtllib")
# An application that sets up no logging gets exceptions, not lines on its standard error.
_logger.addHandler(logging.NullHandler())


def log(event: Event, cancelled: bool) -> None:
    """Logs the event of a run, which may have been cancelled, on the thread that calls."""
    level = _LEVELS.get(event.kind)
    if level is None:
        return
    if cancelled and event.kind == "error":
        level = logging.INFO
    _logger.log(level, "%s", chain_text(event.chain) or printable(event.text))
