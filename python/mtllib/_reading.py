"""Turns records of the C interface into Python objects."""

from __future__ import annotations

import ctypes
from typing import Dict, List, Optional, Tuple, Union

from mtllib import _c_interface as c
from mtllib._errors import ErrorEntry, ErrorKind, Explanation
from mtllib._events import Event, EventKind, Progress
from mtllib._results import (
    Amount,
    ChangeKind,
    Difference,
    DifferenceKind,
    FileChange,
    Plan,
    Result,
    Verification,
)

# A newer library may have kinds of its own, which are left out.
_EVENT_KINDS: Dict[int, EventKind] = {
    c.EVENT_STAGE: "stage",
    c.EVENT_INFO: "info",
    c.EVENT_WARNING: "warning",
    c.EVENT_ERROR: "error",
    c.EVENT_PLANNED: "plan",
    c.EVENT_FILE: "file",
    c.EVENT_WAITING: "waiting",
}
_CHANGE_KINDS: Dict[int, ChangeKind] = {
    c.FILE_FETCHED: "fetched",
    c.FILE_COPIED: "copied",
    c.FILE_WITHDRAWN: "withdrawn",
    c.FILE_REMOVED: "removed",
    c.FILE_SKIPPED: "skipped",
}
_DIFFERENCE_KINDS: Dict[int, DifferenceKind] = {
    c.FILE_DAMAGED: "damaged",
    c.FILE_MISSING: "missing",
    c.FILE_EXTRA: "extra",
    c.FILE_CHANGED: "changed",
    c.FILE_WRONG_SIZE: "wrong size",
    c.FILE_UNREADABLE: "unreadable",
}
_MICROSECONDS_PER_SECOND = 1_000_000


def event_of(
    library: ctypes.CDLL, record: c.EventRecord
) -> Union[Progress, Event, None]:
    text = record.text.decode()
    if record.kind == c.EVENT_PROGRESS:
        return Progress(
            text,
            _known(record.permille),
            _known(record.megabytes_done),
            _known(record.megabytes_total),
            _known(record.bytes_done),
            _known(record.bytes_total),
            record.bytes_per_second if record.bytes_per_second > 0 else None,
            record.seconds_left if record.seconds_left >= 0 else None,
        )
    kind = _EVENT_KINDS.get(record.kind)
    if kind is None:
        return None
    if kind == "plan":
        return Event(kind, text, plan=plan_of(record.plan.contents))
    if kind == "file":
        change = _change_of(record.file.contents)
        return None if change is None else Event(kind, text, file=change)
    if kind == "waiting":
        return Event(kind, text, process=record.process)
    return Event(kind, text, tuple(chain_of(library, record.error)))


def plan_of(record: c.PlanRecord, is_update: bool = True) -> Plan:
    changes = (_change_of(x.contents) for x in record.files[: record.file_count])
    return Plan(
        is_update,
        tuple(change for change in changes if change is not None),
        _amount_of(record.fetched),
        _amount_of(record.copied),
        _amount_of(record.replaced),
        _amount_of(record.removed),
        _amount_of(record.withdrawn),
        _amount_of(record.unchanged),
        record.unknown_sizes,
        record.space_needed,
        _known(record.space_available),
    )


def result_of(record: c.ResultRecord) -> Result:
    return Result(
        record.is_changed != 0,
        _amount_of(record.fetched),
        _amount_of(record.copied),
        _amount_of(record.removed),
        _amount_of(record.withdrawn),
        _amount_of(record.unchanged),
        _texts_of(record.changed_paths, record.changed_count),
        _texts_of(record.removed_paths, record.removed_count),
        record.stamp.decode(),
        record.received_bytes,
        record.commit_microseconds / _MICROSECONDS_PER_SECOND,
    )


def verification_of(record: c.ResultRecord) -> Verification:
    files = (x.contents for x in record.differences[: record.difference_count])
    differences = tuple(
        Difference(_DIFFERENCE_KINDS[file.kind], file.path.decode(), file.reason.decode())
        for file in files
        if file.kind in _DIFFERENCE_KINDS
    )
    return Verification(differences, _amount_of(record.compared))


def chain_of(library: ctypes.CDLL, error: Optional[int]) -> List[ErrorEntry]:
    chain = []
    while error is not None:
        chain.append(
            ErrorEntry(
                library.mtlhost_error_tag(error).decode(),
                library.mtlhost_error_code(error),
                library.mtlhost_error_message(error).decode(),
                library.mtlhost_error_connection_reason(error),
                library.mtlhost_error_http_status(error),
            )
        )
        error = library.mtlhost_error_next(error)
    return chain


def explanation_of(library: ctypes.CDLL, error: Optional[int]) -> Explanation:
    """Of the chain that begins there."""
    return Explanation(
        ErrorKind(library.mtlhost_error_kind(error)),
        library.mtlhost_error_about(error).decode(),
        library.mtlhost_error_sentence(error).decode(),
        library.mtlhost_error_hint(error).decode(),
    )


def _change_of(record: c.FileRecord) -> Optional[FileChange]:
    kind = _CHANGE_KINDS.get(record.kind)
    return kind and FileChange(
        kind,
        record.path.decode(),
        _known(record.bytes),
        record.source.decode(),
        record.reason.decode(),
    )


def _amount_of(record: c.AmountRecord) -> Amount:
    return Amount(record.files, record.bytes)


def _texts_of(texts: "ctypes._Pointer[ctypes.c_char_p]", count: int) -> Tuple[str, ...]:
    return tuple(text.decode() for text in texts[:count])


def _known(number: int) -> Optional[int]:
    return None if number < 0 else number
