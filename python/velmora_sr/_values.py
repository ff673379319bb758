"""Arguments that are numbers in a range."""
from __future__ import annotations

from typing import Any

import numpy as np


def number(name: str, value: Any, low: float, high: float) -> float:
    if not isinstance(value, (int, float, np.integer, np.floating)):
        raise TypeError(f"{name} is a number, not {value!r}")
    result = float(value)
    if not low <= result <= high:
        raise ValueError(f"{name} is {low:g} to {high:g}, not {value!r}")
    return result


def integer(name: str, value: Any, low: int, high: int) -> int:
    if isinstance(value, bool) or not isinstance(value, (int, np.integer)):
        raise TypeError(f"{name} is an integer, not {value!r}")
    return int(number(name, value, low, high))
