"""Frames and pictures: which form an array has, and where its planes lie."""
from __future__ import annotations

import enum
import math
from typing import Any, Tuple, TypeVar, Union

import numpy as np

from . import _colour
from ._library import Planes
from ._values import Size

Samples = _colour.Samples
Yuv = Tuple[Samples, Samples, Samples]
Frame = Union[Samples, Yuv]
Picture = Union[Samples, Yuv]
AnyFrame = TypeVar("AnyFrame", bound=Frame)  # a picture has the form of its frame


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


def block(picture: Picture, layout: str = "nv12") -> Samples:
    """A raw frame of a YUV picture, as `planes` takes it apart: one dimension, for files and other programs."""
    form, size = form_of(picture)
    if form is not Form.YUV:
        raise TypeError(f"a raw frame is made of planes (y, u, v), not of a {form.value} picture")
    samples = np.empty(size[0] * size[1] + 2 * math.prod(chroma_shape(size)), np.uint8)
    for target, plane in zip(planes(samples, *size, layout), picture):
        target[:] = plane
    return samples


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
        yuv = empty_yuv(size)
        _colour.from_rgb(frame, *yuv)
        return yuv
    neutral = np.full(chroma_shape(size), 128, np.uint8)
    return _readable(frame), neutral, neutral


def empty_yuv(size: Size) -> Yuv:
    half = chroma_shape(size)
    return np.empty((size[1], size[0]), np.uint8), np.empty(half, np.uint8), np.empty(half, np.uint8)


def from_yuv(yuv: Yuv, form: Form) -> Picture:
    if form is Form.GREY:
        return yuv[0]
    return _colour.to_rgb(*yuv) if form is Form.RGB else yuv


def record_of(yuv: Yuv) -> Planes:
    y, u, v = yuv
    return Planes(y.ctypes.data, u.ctypes.data, v.ctypes.data, y.strides[0], u.strides[0], v.strides[0],
                  y.strides[1], u.strides[1], v.strides[1])
