"""The messages when a check or a synchronisation has ended."""

from __future__ import annotations

from typing import List

import mtllib

from . import message
from .message import Message

_NETWORK_ADVICE = (
    "Check the address and the proxy in the add-on's preferences, and the network; then try again"
)
_FOLDER_ADVICE = (
    "Check that the folder in the add-on's preferences can be written and its disk has space; "
    "then try again"
)
_LIBRARY_ADVICE = (
    "Check the address in the add-on's preferences; if it is right, tell who runs the library"
)
_LOAD_ADVICE = (
    "Install the add-on's zip file that was built for this system, and the system's libcurl "
    "and JsonCpp"
)
_SETTINGS_ADVICE = "Check the add-on's preferences"


def checked(is_update: bool) -> Message:
    return Message(
        "INFO", "An update is available" if is_update else "The local copy is up to date"
    )


def synchronised(result: mtllib.Result, warnings: List[str]) -> Message:
    text = "The local copy was up to date"
    if result.updated:
        text = f"The local copy was updated: {_counted(result.files, 'file')}"
    if not warnings:
        return Message("INFO", text)
    return Message("WARNING", f"{text}, {_counted(len(warnings), 'warning')}: {warnings[0]}")


def cancelled() -> Message:
    return Message("WARNING", "Cancelled; the next run starts over")


def failed(error: Exception) -> Message:
    """With the whole chain, what failed first, and with what to do."""
    reason = mtllib.printable(str(error)).rstrip(".")
    return message.error(reason, _advice(error))


def _advice(error: Exception) -> str:
    if isinstance(error, mtllib.LoadError):
        return _LOAD_ADVICE
    if not isinstance(error, mtllib.SyncError):
        return _SETTINGS_ADVICE
    if any(entry.code > 0 for entry in error.chain):
        return _FOLDER_ADVICE
    if any(entry.tag.startswith("Http") for entry in error.chain):
        return _NETWORK_ADVICE
    return _LIBRARY_ADVICE


def _counted(number: int, noun: str) -> str:
    return f"{number} {noun}" if number == 1 else f"{number} {noun}s"
