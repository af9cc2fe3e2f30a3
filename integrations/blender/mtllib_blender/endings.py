"""The messages that are shown when a task has ended."""

from __future__ import annotations

from typing import List

import mtllib

from . import message
from .message import Message

_LOAD_ADVICE = "Install the add-on again, from a zip file that was built for this system"
_SETTINGS_ADVICE = "Check the add-on's preferences"
_UNITS = ("bytes", "kB", "MB", "GB", "TB")


def checked(is_update: bool) -> Message:
    return Message(
        "INFO", "An update is available" if is_update else "The local copy is up to date"
    )


def planned(plan: mtllib.Plan) -> Message:
    if not plan.is_update:
        return checked(False)
    parts = [
        f"{what} {_counted(amount.files, 'file')} ({_size(amount.bytes)})"
        for what, amount in (
            ("fetch", plan.fetched),
            ("copy", plan.copied),
            ("remove", plan.removed),
        )
        if amount.files > 0
    ]
    text = "An update would " + (", ".join(parts) or "change no file")
    if plan.withdrawn.files > 0:
        text += f"; {_counted(plan.withdrawn.files, 'withdrawn file')} would stay"
    obstructed = [file for file in plan.files if file.kind == "skipped"]
    if not obstructed:
        return Message("INFO", text)
    first = mtllib.printable(f"{obstructed[0].path}: {obstructed[0].reason}")
    files = _counted(len(obstructed), "file")
    return Message("WARNING", f"{text}; {files} would be skipped, such as {first}")


def synchronised(result: mtllib.Result, warnings: List[str]) -> Message:
    return _changed(result, warnings, "The local copy was updated", "The local copy was up to date")


def repaired(result: mtllib.Result, warnings: List[str]) -> Message:
    return _changed(
        result, warnings, "The local copy was repaired", "Nothing in the local copy was wrong"
    )


def verified(verification: mtllib.Verification) -> Message:
    differences = verification.differences
    if not differences:
        files = _counted(verification.compared.files, "file")
        return Message("INFO", f"The local copy is as it should be: {files} compared")
    first = differences[0]
    text = (
        f"{_counted(len(differences), 'file')} of the local copy "
        f"{'differs' if len(differences) == 1 else 'differ'} from the library, "
        f"such as {mtllib.printable(first.path)} ({first.kind})"
    )
    if all(difference.kind == "extra" for difference in differences):
        return Message("WARNING", text)
    return Message("WARNING", f"{text}; Repair Material Library fetches what is wrong")


def cancelled() -> Message:
    return Message("WARNING", "Cancelled; the next run continues from there")


def failed(error: Exception) -> Message:
    """What failed, and what to do."""
    reason = mtllib.printable(str(error)).rstrip(".")
    hint = getattr(error, "hint", "")
    if isinstance(error, mtllib.LoadError) and not error.chain:
        hint = _LOAD_ADVICE  # Users of the add-on did not install the package themselves.
    if not hint and isinstance(error, ValueError):
        hint = _SETTINGS_ADVICE
    return message.error(reason, hint.rstrip("."))


def _changed(
    result: mtllib.Result, warnings: List[str], changed: str, unchanged: str
) -> Message:
    text = unchanged
    if result.updated:
        files = len(result.changed_paths) + len(result.removed_paths) or result.files
        text = f"{changed}: {_counted(files, 'file')}"
    if not warnings:
        return Message("INFO", text)
    return Message("WARNING", f"{text}, {_counted(len(warnings), 'warning')}: {warnings[0]}")


def _counted(number: int, noun: str) -> str:
    return f"{number} {noun}" if number == 1 else f"{number} {noun}s"


def _size(number: float) -> str:
    for unit in _UNITS:
        if number < 1000 or unit == _UNITS[-1]:
            break
        number /= 1000
    return f"{number:.0f} {unit}" if unit == _UNITS[0] else f"{number:.1f} {unit}"
