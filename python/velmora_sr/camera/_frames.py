"""Frames as the camera path takes them: one block of luma rows, then pairs of chroma, with even sides. Planar
chroma it shifts, so that I420 goes as pairs, too."""
from __future__ import annotations

from typing import Optional, Tuple

import numpy as np

from .._pictures import Samples, Yuv, planes
from .._values import Size


def even_above(value: int) -> int:
    return value + value % 2


def block_bytes(size: Size) -> int:
    """Of a frame; that of an odd size has no chroma for its last column or row."""
    return size[0] * size[1] + 2 * (size[0] // 2) * (size[1] // 2)


def layout_in_memory(yuv: Yuv) -> Optional[str]:
    """"nv12" or "nv21" for planes of even sides that lie as one such block without gaps; else None."""
    y, u, v = yuv
    height, width = y.shape
    if width % 2 or height % 2 or y.strides != (width, 1) or not u.strides == v.strides == (width, 2):
        return None
    chroma = y.ctypes.data + width * height
    return {(0, 1): "nv12", (1, 0): "nv21"}.get((u.ctypes.data - chroma, v.ctypes.data - chroma))


def packed(yuv: Yuv, size: Size, layout: str) -> Samples:
    """A block of `size`, which is even and at least that of the planes; it continues them mirrored."""
    block = np.empty(block_bytes(size), np.uint8)
    for target, plane in zip(planes(block, *size, layout), yuv):
        beyond = [(0, target.shape[axis] - plane.shape[axis]) for axis in (0, 1)]
        target[:] = np.pad(plane, beyond, mode="reflect")
    return block


def block_of(yuv: Yuv, size: Size) -> Tuple[Samples, str, int]:
    """A frame of `size` for the library to read, its layout and its address: the planes where they lie, if
    they can be taken so. What is returned keeps the samples alive."""
    layout = layout_in_memory(yuv)
    if layout is not None and yuv[0].shape == (size[1], size[0]):
        return yuv[0], layout, yuv[0].ctypes.data
    block = packed(yuv, size, "nv12")
    return block, "nv12", block.ctypes.data
