"""Frames and pictures: which form an array has, where its planes lie, conversion from and to RGB."""
from __future__ import annotations

import enum
from typing import Any, Tuple, Union

import numpy as np
import numpy.typing as npt

from ._library import Planes

Samples = npt.NDArray[np.uint8]
Yuv = Tuple[Samples, Samples, Samples]
Frame = Union[Samples, Yuv]
Picture = Union[Samples, Yuv]
Size = Tuple[int, int]  # width, height


class Form(enum.Enum):
    GREY = "grey"
    RGB = "RGB"
    YUV = "YUV"


def chroma_shape(size: Size) -> Tuple[int, int]:
    return (size[1] + 1) // 2, (size[0] + 1) // 2


def planes(block: Any, width: int, height: int, layout: str = "nv12") -> Yuv:
    """Views (y, u, v) of a raw frame, without a copy: luma rows, then the chroma rows.

    block   uint8 array or bytes of width * height + 2 * ((width + 1) // 2) * ((height + 1) // 2) samples
            without padding between rows, of any shape that is contiguous
    layout  "nv12" (pairs U V), "nv21" (pairs V U) or "i420" (U plane, V plane)
    """
    if layout not in ("nv12", "nv21", "i420"):
        raise ValueError(f'layout "{layout}" is none of nv12, nv21 and i420')
    samples = block if isinstance(block, np.ndarray) else np.frombuffer(block, np.uint8)
    if samples.dtype != np.uint8:
        raise TypeError(f"a raw frame has samples of uint8, not {samples.dtype}")
    if not samples.flags.c_contiguous:
        raise ValueError("a raw frame is contiguous; slice its planes instead")
    samples = samples.reshape(-1)
    half = chroma_shape((width, height))
    luma, chroma = width * height, half[0] * half[1]
    if width < 1 or height < 1 or samples.size != luma + 2 * chroma:
        raise ValueError(f"{samples.size} samples are no {layout} frame of {width}x{height}")
    y = samples[:luma].reshape(height, width)
    if layout == "i420":
        return y, samples[luma:luma + chroma].reshape(half), samples[luma + chroma:].reshape(half)
    pairs = samples[luma:].reshape(*half, 2)
    first, second = pairs[..., 0], pairs[..., 1]
    return (y, first, second) if layout == "nv12" else (y, second, first)


def _require_samples(array: Any, name: str) -> None:
    if not isinstance(array, np.ndarray):
        raise TypeError(f"{name} is an array or, for YUV, a tuple (y, u, v) of arrays, "
                        f"not {type(array).__name__}")
    if array.dtype != np.uint8:
        raise TypeError(f"{name} has samples of uint8, not {array.dtype}")


def form_of(frame: Frame) -> Tuple[Form, Size]:
    """Form and size of a frame; raises TypeError or ValueError for what is none."""
    if isinstance(frame, tuple):
        if len(frame) != 3:
            raise ValueError(f"a YUV frame has three planes, not {len(frame)}")
        for plane, name in zip(frame, ("plane Y", "plane U", "plane V")):
            _require_samples(plane, name)
            if plane.ndim != 2:
                raise ValueError(f"{name} has the shape {plane.shape}, not two dimensions")
        size = frame[0].shape[1], frame[0].shape[0]
        for plane, name in zip(frame[1:], ("plane U", "plane V")):
            if plane.shape != chroma_shape(size):
                raise ValueError(f"{name} has the shape {plane.shape}, not {chroma_shape(size)}")
        return Form.YUV, size
    _require_samples(frame, "a frame")
    if frame.ndim == 2:
        return Form.GREY, (frame.shape[1], frame.shape[0])
    if frame.ndim == 3 and frame.shape[2] == 3:
        return Form.RGB, (frame.shape[1], frame.shape[0])
    raise ValueError(f"a frame has the shape (H, W) or (H, W, 3), not {frame.shape}")


def _readable(plane: Samples) -> Samples:
    """The plane itself, or a copy where its strides are none that the library takes."""
    row, step = plane.strides
    if 1 <= step < 2 ** 31 and abs(row) > step * (plane.shape[1] - 1):
        return plane
    return np.ascontiguousarray(plane)


def to_yuv(frame: Frame, form: Form, size: Size) -> Yuv:
    """The planes of a frame, for the library to read; they share memory with the frame if they can."""
    if isinstance(frame, tuple):
        y, u, v = (_readable(plane) for plane in frame)
        return y, u, v
    if form is Form.RGB:
        return _from_rgb(frame)
    neutral = np.full(chroma_shape(size), 128, np.uint8)
    return _readable(frame), neutral, neutral


def empty_yuv(size: Size) -> Yuv:
    half = chroma_shape(size)
    return np.empty((size[1], size[0]), np.uint8), np.empty(half, np.uint8), np.empty(half, np.uint8)


def from_yuv(yuv: Yuv, form: Form) -> Picture:
    if form is Form.GREY:
        return yuv[0]
    return _to_rgb(yuv) if form is Form.RGB else yuv


def record_of(yuv: Yuv) -> Planes:
    y, u, v = yuv
    return Planes(y.ctypes.data, u.ctypes.data, v.ctypes.data, y.strides[0], u.strides[0], v.strides[0],
                  y.strides[1], u.strides[1], v.strides[1])


# Rows that are converted at a time, an even number: what they need in between stays small.
_STRIP = 128


def _from_rgb(rgb: Samples) -> Yuv:
    """Full-range BT.601 with 16 fraction bits; chroma from sums of 2 x 2 pixels, the last ones repeated."""
    height, width = rgb.shape[:2]
    y, u, v = empty_yuv((width, height))
    for top in range(0, height, _STRIP):
        strip = rgb[top:top + _STRIP].astype(np.int32)
        rows = strip.shape[0]
        r, g, b = np.moveaxis(strip, 2, 0)
        y[top:top + rows] = (19595 * r + 38470 * g + 7471 * b + (1 << 15)) >> 16
        strip = np.pad(strip, ((0, rows % 2), (0, width % 2), (0, 0)), mode="edge")
        fours = strip[0::2, 0::2] + strip[1::2, 0::2] + strip[0::2, 1::2] + strip[1::2, 1::2]
        r, g, b = np.moveaxis(fours, 2, 0)  # up to 1020; the sums below stay under 2^27
        half = slice(top // 2, top // 2 + fours.shape[0])
        middle = (128 << 18) + (1 << 17)
        u[half] = np.minimum((-11059 * r - 21709 * g + 32768 * b + middle) >> 18, 255)
        v[half] = np.minimum((32768 * r - 27439 * g - 5329 * b + middle) >> 18, 255)
    return y, u, v


def _neighbours(first: int, count: int, available: int) -> Tuple[npt.NDArray[np.intp], npt.NDArray[np.intp]]:
    """For `count` pixels from the one numbered `first`: the nearest chroma sample and the next nearest."""
    pixels = np.arange(first, first + count)
    near = pixels // 2
    return near, np.clip(near + np.where(pixels % 2, 1, -1), 0, available - 1)


def _doubled(plane: Samples, top: int, rows: int, columns: int) -> npt.NDArray[np.int32]:
    """Rows of a chroma plane at the luma samples, times 16, less 128: -2048 .. 2032."""
    near, far = _neighbours(top, rows, plane.shape[0])
    tall = 3 * plane[near].astype(np.int32) + plane[far]
    near, far = _neighbours(0, columns, plane.shape[1])
    doubled: npt.NDArray[np.int32] = 3 * tall[:, near] + tall[:, far] - (128 << 4)
    return doubled


def _to_rgb(yuv: Yuv) -> Samples:
    y, u, v = yuv
    height, width = y.shape
    rgb = np.empty((height, width, 3), np.uint8)
    for top in range(0, height, _STRIP):
        luma = (y[top:top + _STRIP].astype(np.int32) << 20) + (1 << 19)  # below 2^29
        blue = _doubled(u, top, luma.shape[0], width)
        red = _doubled(v, top, luma.shape[0], width)
        out = rgb[top:top + luma.shape[0]]
        # Products below 2^28: 1.402, 0.344136, 0.714136 and 1.772 with 16 fraction bits.
        out[..., 0] = np.clip((luma + 91881 * red) >> 20, 0, 255)
        out[..., 1] = np.clip((luma - 22554 * blue - 46802 * red) >> 20, 0, 255)
        out[..., 2] = np.clip((luma + 116130 * blue) >> 20, 0, 255)
    return rgb
