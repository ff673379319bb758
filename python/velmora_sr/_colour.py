"""RGB to full-range BT.601 (JFIF) YUV 4:2:0 and back, in whole numbers, as the tool has it from libyuv on x86.

The weights of JFIF (ITU-T T.871, clause 7) are rounded to 1/256 on the way to YUV and to 1/64 on the way back.
"""
from __future__ import annotations

from typing import Any, Tuple

import numpy as np
import numpy.typing as npt

Samples = npt.NDArray[np.uint8]

# Rows that are converted at a time, an even number: what they need in between stays small.
_STRIP = 32


def _mean(a: npt.NDArray[Any], b: npt.NDArray[Any]) -> npt.NDArray[Any]:
    """Rounded up, as byte averages of vector units are."""
    mean: npt.NDArray[Any] = (a + b + 1) >> 1
    return mean


def from_rgb(rgb: Samples, y: Samples, u: Samples, v: Samples) -> None:
    """Fills planes from (H, W, 3) samples; chroma is the mean of 2 x 2 pixels, the last ones repeated."""
    height, width = rgb.shape[:2]
    for top in range(0, height, _STRIP):
        strip = rgb[top:top + _STRIP].astype(np.uint16)
        rows = strip.shape[0]
        r, g, b = np.moveaxis(strip, 2, 0)
        y[top:top + rows] = (77 * r + 150 * g + 29 * b + 128) >> 8  # up to 65408
        strip = np.pad(strip, ((0, rows % 2), (0, width % 2), (0, 0)), mode="edge")
        tall = _mean(strip[0::2], strip[1::2])
        r, g, b = np.moveaxis(_mean(tall[:, 0::2], tall[:, 1::2]), 2, 0)
        half = slice(top // 2, top // 2 + tall.shape[0])
        # The sums are 511 to 65281; what is below 0 on the way there wraps around.
        u[half] = (0x8080 + 127 * b - 84 * g - 43 * r) >> 8
        v[half] = (0x8080 + 127 * r - 107 * g - 20 * b) >> 8


def _neighbours(first: int, count: int, available: int) -> Tuple[npt.NDArray[np.intp], npt.NDArray[np.intp]]:
    """For `count` pixels from the one numbered `first`: the nearest chroma sample and the next nearest."""
    pixels = np.arange(first, first + count)
    near = pixels // 2
    return near, np.clip(near + np.where(pixels % 2, 1, -1), 0, available - 1)


def _doubled(plane: Samples, top: int, rows: int, columns: int) -> npt.NDArray[np.int16]:
    """Rows of a chroma plane at the luma samples, less 128: the nearest four count 9, 3, 3 and 1 sixteenths."""
    near, far = _neighbours(top, rows, plane.shape[0])
    tall = 3 * plane[near].astype(np.int16) + plane[far]
    near, far = _neighbours(0, columns, plane.shape[1])
    far[-1] = near[-1]  # the last column keeps to its own sample where the width is odd, too
    doubled: npt.NDArray[np.int16] = ((3 * tall[:, near] + tall[:, far] + 8) >> 4) - 128
    return doubled


# 64 times each luma, and a half of what the final shift takes.
_LUMA = (((np.arange(256) * (0x0101 * 16320)) >> 16) + 32).astype(np.int16)


def to_rgb(y: Samples, u: Samples, v: Samples) -> Samples:
    """(H, W, 3) samples of planes; chroma is interpolated between the centres of its blocks."""
    height, width = y.shape
    rgb = np.empty((height, width, 3), np.uint8)
    for top in range(0, height, _STRIP):
        luma = _LUMA[y[top:top + _STRIP]]
        blue = _doubled(u, top, luma.shape[0], width)
        red = _doubled(v, top, luma.shape[0], width)
        out = rgb[top:top + luma.shape[0]]
        # 1.402, 0.344, 0.714 and 1.772 with 6 fraction bits; all sums are -14432 to 30703.
        out[..., 0] = np.clip((luma + 90 * red) >> 6, 0, 255)
        out[..., 1] = np.clip((luma - 22 * blue - 46 * red) >> 6, 0, 255)
        out[..., 2] = np.clip((luma + 113 * blue) >> 6, 0, 255)
    return rgb
