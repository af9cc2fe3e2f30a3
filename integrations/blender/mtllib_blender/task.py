"""The two things that the add-on does."""

import enum


class Task(enum.Enum):
    CHECK = enum.auto()
    """Tells whether the remote library has changed."""
    SYNCHRONISE = enum.auto()
    """Brings the local copy up to date."""
