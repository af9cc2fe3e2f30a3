"""Sizes and times as users write them."""

from __future__ import annotations

import pytest

import mtllib


def test_sizes_are_in_decimal_units() -> None:
    sizes = [mtllib.parse_size(x) for x in ("0", "500", "64k", "10M")]
    assert sizes == [0, 500, 64_000, 10_000_000]


def test_times_are_in_seconds_minutes_or_hours() -> None:
    times = [mtllib.parse_duration(x) for x in ("0", "90", "90s", "2m", "1h")]
    assert times == [0, 90, 90, 120, 3600]


@pytest.mark.parametrize("text", ["", "x", "-1", "1.5", " 1", "1\0"])
def test_other_texts_are_refused(text: str) -> None:
    with pytest.raises(ValueError, match="not a number of bytes, perhaps with k, M or G: "):
        mtllib.parse_size(text)
    with pytest.raises(ValueError, match="not a number of seconds, perhaps with m or h: "):
        mtllib.parse_duration(text)
