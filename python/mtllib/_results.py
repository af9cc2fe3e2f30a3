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
    """So many files, and the bytes in them."""

    files: int = 0
    bytes: int = 0


@dataclass(frozen=True)
class FileChange:
    """A file of the copy, and what becomes of it."""

    kind: ChangeKind
    """"fetched": its content comes from the server. "copied": its content is that of another
    file, and comes from there. "withdrawn": the library does not have it any longer, and it
    stays. "removed": the same, and it is removed. "skipped": the library has it, and what
    lies in its place stays."""
    path: str
    """Relative to the folder of the copy. The server chose it: `mtllib.printable` makes it fit
    to be shown."""
    size: Optional[int] = None
    """In bytes, where it is known."""
    source: str = ""
    """Of "copied": the file of the copy that has the content, if it is there already. Of "fetched":
    the address that it came from, once it has, of a library with several."""
    reason: str = ""
    """Of "skipped": why, in words that follow the path."""


@dataclass(frozen=True)
class Plan:
    """What `Library.sync` would do."""

    is_update: bool
    """False when it would do nothing."""
    files: Tuple[FileChange, ...]
    """All but those that are as they should be."""
    fetched: Amount
    """Each content counts once, and without what a cut run has fetched of it."""
    copied: Amount
    """From other files."""
    replaced: Amount
    """Files that there are, with the bytes that they have."""
    removed: Amount
    """Withdrawn files that are removed."""
    withdrawn: Amount
    """Those that stay."""
    unchanged: Amount
    """Files that are as they should be, or are nobody's to change."""
    unknown_sizes: int
    """Files to fetch whose sizes are unknown: they are not in the bytes."""
    space_needed: int
    """In bytes, until the old files have gone."""
    space_available: Optional[int]
    """In bytes, where it is known."""


@dataclass(frozen=True)
class Difference:
    """A file that differs from the list that the last run followed."""

    kind: DifferenceKind
    """"damaged": it has the listed size, and another content. "wrong size": it has another size.
    "unreadable": it, or a folder of that name, cannot be read. "missing": there is no such
    file. "extra": the list does not name it. "changed": it has another size or content, and the
    library lets others change it."""
    path: str
    """Relative to the folder of the copy."""
    reason: str = ""
    """Why it is "unreadable", in the system's words."""


@dataclass(frozen=True)
class Verification:
    """What `Library.verify` found."""

    differences: Tuple[Difference, ...]
    """Empty when the copy is as it should be."""
    compared: Amount
    """Files that were read."""


@dataclass(frozen=True)
class Result:
    """What a run did. With the module, no more is known than `updated` and what was fetched."""

    updated: bool
    """Whether some file was put in its place or removed."""
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
    """Files that were put in their places, relative to the folder of the copy: an application
    loads them anew."""
    removed_paths: Tuple[str, ...] = ()
    """Files that were removed."""
    stamp: str = ""
    """Of the library, as far as it was fetched."""
    received_bytes: int = 0
    """In all: stamp, list and files."""
    commit_seconds: float = 0
    """From before the first file was put in its place until after the last."""
    skipped_events: int = 0
    """Events left out because the handlers could not keep up; never warnings or errors."""

    @property
    def files(self) -> int:
        """How many files were fetched."""
        return self.fetched.files
