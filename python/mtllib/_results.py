"""Records of what an update will do to a copy or has done, and of how a copy differs from its
library."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Literal, Optional, Tuple

ChangeKind = Literal["fetched", "copied", "withdrawn", "removed", "skipped"]
DifferenceKind = Literal[
    "damaged", "missing", "extra", "changed", "wrong size", "unreadable"
]


@dataclass(frozen=True)
class Amount:
    """A number of files, and the bytes in them."""

    files: int = 0
    bytes: int = 0


@dataclass(frozen=True)
class FileChange:
    """A file of the copy, and what becomes of it."""

    kind: ChangeKind
    """"fetched": its content comes from the server. "copied": its content is copied from another
    file. "withdrawn": the library no longer has it; it stays in the copy. "removed": the library
    no longer has it; it is removed. "skipped": something else is in its place, and stays there."""
    path: str
    """Relative to the folder of the copy. The server chose it: `mtllib.printable` makes it safe
    to show."""
    size: Optional[int] = None
    """In bytes, where it is known."""
    source: str = ""
    """For "copied", the file of the copy that has the content, if it already exists. For "fetched",
    with a library of several addresses, the one that it came from, once it has arrived."""
    reason: str = ""
    """For "skipped": why, in words that follow the path."""


@dataclass(frozen=True)
class Plan:
    """What `Library.sync` would do."""

    is_update: bool
    """False if it would do nothing."""
    files: Tuple[FileChange, ...]
    """All but those that are as they should be."""
    fetched: Amount
    """Each content counts once, less what an interrupted run has already fetched of it."""
    copied: Amount
    """From other files."""
    replaced: Amount
    """Existing files, with their current sizes."""
    removed: Amount
    """Withdrawn files that are removed."""
    withdrawn: Amount
    """Those that stay."""
    unchanged: Amount
    """Files that are as they should be, or that must not be changed."""
    unknown_sizes: int
    """Files to fetch whose sizes are unknown, and so not included in the bytes."""
    space_needed: int
    """In bytes, before the old files are gone."""
    space_available: Optional[int]
    """In bytes, where it is known."""


@dataclass(frozen=True)
class Difference:
    """A file that differs from the list that the last run followed."""

    kind: DifferenceKind
    """"damaged": it has the listed size, but different content. "wrong size": its size is not the
    listed one. "unreadable": it, or a folder of that name, cannot be read. "missing": it is listed,
    but there is no such file. "extra": it is not listed. "changed": its size or content differs,
    and the library allows others to change it."""
    path: str
    """Relative to the folder of the copy."""
    reason: str = ""
    """For "unreadable": why, in the system's words."""


@dataclass(frozen=True)
class Verification:
    """What `Library.verify` found."""

    differences: Tuple[Difference, ...]
    """Empty if the copy is as it should be."""
    compared: Amount
    """Files that were read."""


@dataclass(frozen=True)
class Result:
    """What a run did. With the module, only `updated` and `fetched` are known."""

    updated: bool
    """Whether any file was put in place or removed."""
    fetched: Amount = Amount()
    """From the server."""
    copied: Amount = Amount()
    """From other files of the copy."""
    removed: Amount = Amount()
    """Withdrawn files that were removed."""
    withdrawn: Amount = Amount()
    """Those that stayed."""
    unchanged: Amount = Amount()
    """Files that stayed as they were."""
    changed_paths: Tuple[str, ...] = ()
    """Files that were put in place, relative to the folder of the copy: an application should
    reload them."""
    removed_paths: Tuple[str, ...] = ()
    """Files that were removed."""
    stamp: str = ""
    """The library's stamp, as far as it was fetched."""
    received_bytes: int = 0
    """In total: stamp, list and files."""
    commit_seconds: float = 0
    """From just before the first file was put in place until just after the last."""
    skipped_events: int = 0
    """Events dropped because the handlers could not keep up; never warnings or errors."""

    @property
    def files(self) -> int:
        """How many files were fetched."""
        return self.fetched.files
