"""The thresholds of de-ghosting: chosen by the noise of a pair, and as a configuration."""
from __future__ import annotations

import math
from typing import Tuple

import numpy as np

from .._pictures import Samples, Yuv

_BLOCK = 16
# More blocks than this tell nothing new: of larger planes every second, third, ... one counts.
_ENOUGH_BLOCKS = 2048
_DARKEST, _LIGHTEST = 4, 251  # samples beyond these may be clipped, which hides their noise
_QUIET_SHARE = 0.2
# Of white noise: median of the absolute values, over the filter's gain (the root of the sum of the squared
# weights is 6), and how far the quietest fifth of such medians lies below their mean.
_MEDIAN_OF_NORMAL = 0.6745
_GAIN = 6
_QUIET_BIAS = 0.88

# Measured on photos, see docs/quality.md: higher thresholds gain little and let ghosts through.
_EDGES = 19
_PER_NOISE = 0.9
_HIGH_TO_LOW = 2.5


def _noise_of_plane(plane: Samples) -> float:
    """Standard deviation in grey levels, from blocks without much detail, by the filter of Immerkaer (1996)."""
    height, width = plane.shape
    side = _BLOCK + 2  # with the neighbours that the filter reads
    if min(width, height) < side:
        return 0.0
    blocks = (width // _BLOCK) * (height // _BLOCK)
    step = _BLOCK * max(math.ceil(math.sqrt(blocks / _ENOUGH_BLOCKS)), 1)
    windows = np.lib.stride_tricks.sliding_window_view(plane, (side, side))[::step, ::step]
    windows = windows.reshape(-1, side, side).astype(np.int32)
    inner = windows[:, 1:-1, 1:-1]
    windows = windows[((inner >= _DARKEST) & (inner <= _LIGHTEST)).all(axis=(1, 2))]
    if windows.shape[0] == 0:
        return 0.0
    # The second difference in both directions: no slope and no curve along one axis passes.
    values = np.abs(np.diff(np.diff(windows, 2, 1), 2, 2)).reshape(windows.shape[0], -1)
    count = values.shape[1]
    median = np.partition(values, count // 2, axis=1)[:, count // 2, None]
    # Whole numbers: the share of the middle value that lies below the median keeps the scale fine.
    up_to_median = count / 2 - (values < median).sum(axis=1)
    fine = median[:, 0] - 0.5 + up_to_median / (values == median).sum(axis=1)
    noise = np.maximum(fine, 0) / (_MEDIAN_OF_NORMAL * _GAIN)
    at = int(_QUIET_SHARE * noise.size / 2)
    return float(np.partition(noise, at)[at]) / _QUIET_BIAS


def noise_of(yuv: Yuv, colour: bool) -> float:
    """That of the noisiest plane."""
    return max(_noise_of_plane(plane) for plane in (yuv if colour else yuv[:1]))


def thresholds_for(noise: float) -> Tuple[int, int]:
    """Thresholds above the noise: the first allows for edges, since frames are compared at whole pixels."""
    low = _EDGES + _PER_NOISE * noise
    return math.floor(min(low, 255) + 0.5), math.floor(min(_HIGH_TO_LOW * low, 255) + 0.5)


def configuration_of(thresholds: Tuple[int, int]) -> bytes:
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<Config><GhostCorrection><LowThr>%d</LowThr>'
            '<HighThr>%d</HighThr></GhostCorrection></Config>\n' % thresholds).encode()
