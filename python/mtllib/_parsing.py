"""Parses sizes and times as users write them, by the rules of the library."""

from __future__ import annotations

from mtllib._loading import interface


def parse_size(text: str) -> int:
    """The bytes of "500", "64k", "10M" or "2G", by powers of 1000. Raises `ValueError` for other
    texts, and `LoadError`."""
    size = -1 if "\0" in text else interface().mtlhost_parse_size(text.encode())
    if size < 0:
        raise ValueError(f"not a number of bytes, perhaps with k, M or G: {text}")
    return int(size)


def parse_duration(text: str) -> int:
    """The seconds of "90", "90s", "30m" or "2h", at most a year. Raises `ValueError` for other
    texts, and `LoadError`."""
    seconds = -1 if "\0" in text else interface().mtlhost_parse_duration(text.encode())
    if seconds < 0:
        raise ValueError(f"not a number of seconds, perhaps with m or h: {text}")
    return int(seconds)
