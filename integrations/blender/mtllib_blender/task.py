"""The tasks that the add-on carries out."""

import enum


class Task(enum.Enum):
    CHECK = enum.auto()
    """Finds out whether the remote library has changed."""
    PLAN = enum.auto()
    """Says what it would take to bring the local copy up to date."""
    SYNCHRONISE = enum.auto()
    """Brings the local copy up to date."""
    VERIFY = enum.auto()
    """Compares the local copy with the list that the last synchronisation followed."""
    REPAIR = enum.auto()
    """Fetches what is wrong in the local copy."""
