"""Arguments: numbers in a range, sizes and regions."""
from __future__ import annotations

import math
import numbers
from typing import Any, NamedTuple, Optional, Sequence, Tuple

import numpy as np

Size = Tuple[int, int]  # width, height


class Region(NamedTuple):
    """A rectangle of a frame in pixels, all four bounds inclusive."""

    left: int
    top: int
    right: int
    bottom: int

    @property
    def size(self) -> Size:
        return self.right - self.left + 1, self.bottom - self.top + 1


def number(name: str, value: Any, low: float, high: float) -> float:
    if not isinstance(value, numbers.Real):
        raise TypeError(f"{name} is a number, not {value!r}")
    result = float(value)
    if not low <= result <= high:
        raise ValueError(f"{name} is {low:g} to {high:g}, not {value!r}")
    return result


def integer(name: str, value: Any, low: int, high: int) -> int:
    if isinstance(value, bool) or not isinstance(value, (int, np.integer)):
        raise TypeError(f"{name} is an integer, not {value!r}")
    return int(number(name, value, low, high))


def region_in(size: Size, region: Optional[Sequence[int]]) -> Region:
    """None: all of the frame."""
    if region is None:
        return Region(0, 0, size[0] - 1, size[1] - 1)
    if len(region) != 4:
        raise ValueError(f"a region is (left, top, right, bottom), not {region!r}")
    left, top, right, bottom = (integer("a bound of the region", bound, 0, 65535) for bound in region)
    if not (left <= right < size[0] and top <= bottom < size[1]):
        raise ValueError(f"the region {tuple(region)} is empty or reaches outside the frame of %dx%d" % size)
    return Region(left, top, right, bottom)


def sides(size: Sequence[int], largest: int) -> Size:
    if len(size) != 2:
        raise ValueError(f"a size is (width, height), not {size!r}")
    return integer("width", size[0], 1, largest), integer("height", size[1], 1, largest)


def scaled(size: Size, scale: float) -> Size:
    """Halves are rounded up; no side is below 1."""
    return max(math.floor(size[0] * scale + 0.5), 1), max(math.floor(size[1] * scale + 0.5), 1)
