"""The camera path of libvelmora_sr: one or two frames as cameras of phones enlarge and fuse them.

    big = camera.enlarge(frame, 2)
    big, report = camera.fuse(first, second, 2)

`enlarge` makes the bytes of `velmora-sr upscale`, `fuse` those of `velmora-sr fuse --method camera`. Frames
are arrays as for `velmora_sr.fuse`, 1 to 32767 samples a side. YUV frames with even sides that lie as one
NV12 or NV21 block (views by `velmora_sr.planes`) go to the library where they lie; others, and the first of
two, which the library changes, are copied. No frame of the caller is changed, and where its planes lie makes
no difference to the picture.

Geometry: sample (0, 0) is the centre of the top-left pixel; the first and last columns and rows of the region
land on the picture's. See velmora_sr.h and report.h for what happens inside.

Calls release the interpreter's lock while the library works, with sixteen threads of its own, and may be made
from any thread. The library keeps the state of this path for the whole process, so calls wait for each other,
and a fork waits for a call to end. Other code of the process must not use the camera path meanwhile.

The library tells its steps to standard output and, with the tag NB7UO_ZELK, to standard error, two lines of
error priority in each call among them. The environment variable ANDROID_LOG_TAGS=NB7UO_ZELK:S silences the
latter.
"""
from __future__ import annotations

import os
from typing import Optional, Sequence, Tuple, Union, cast

from .. import _pictures
from .._pictures import AnyFrame, Form, Frame
from .._values import Region, Size, integer, number, region_in, scaled, sides
from . import _ghosts, _pair, _records, _single
from ._report import Registration, Report, Residual
from ._session import Tuning

__all__ = ["Region", "Registration", "Report", "Residual", "enlarge", "fuse", "ghost_thresholds", "register"]

_LARGEST_SIDE = 32767  # positions are 16.16 fixed point with a sign
_LARGEST_SCALE = 64

Source = Union[bytes, str, "os.PathLike[str]"]  # the bytes of a file, or its path


def _read(source: Optional[Source], name: str) -> bytes:
    if source is None:
        return b""
    if isinstance(source, bytes):
        data = source
    else:
        with open(source, "rb") as file:
            data = file.read()
    if not data:
        raise ValueError(f"{name}: the file is empty")
    return data


def _form_of(frame: Frame) -> Tuple[Form, Size]:
    form, size = _pictures.form_of(frame)
    if not (1 <= min(size) and max(size) <= _LARGEST_SIDE and size[0] * size[1] <= _single.MOST_PIXELS):
        raise ValueError(f"a frame has sides of 1 to {_LARGEST_SIDE} samples and {_single.MOST_PIXELS} at most, "
                         "not %dx%d" % size)
    return form, size


class _OutputSize:
    """The picture's size for a region, of the arguments `scale` and `size`."""

    def __init__(self, scale: float, size: Optional[Sequence[int]]) -> None:
        self._size = None if size is None else sides(size, _LARGEST_SIDE)
        self._scale = number("scale", scale, 0, _LARGEST_SCALE)
        if self._scale == 0:
            raise ValueError("scale is above 0")

    def __call__(self, region: Region) -> Size:
        size = self._size or scaled(region.size, self._scale)
        if max(size) > _LARGEST_SIDE or size[0] * size[1] > _single.MOST_PIXELS:
            raise ValueError("a picture of %dx%d is too large: " % size + f"it has {_LARGEST_SIDE} samples a side "
                             f"and {_single.MOST_PIXELS} in all at most")
        return size


def _pair_of(first: Frame, second: Frame) -> Tuple[Form, Size, _pictures.Yuv, _pictures.Yuv]:
    form, size = _form_of(first)
    second_form, second_size = _form_of(second)
    if second_size != size:
        raise ValueError("the frames differ in size: %dx%d and %dx%d" % (*size, *second_size))
    return form, size, _pictures.to_yuv(first, form, size), _pictures.to_yuv(second, second_form, size)


def enlarge(frame: AnyFrame, scale: float = 2, size: Optional[Sequence[int]] = None,
            region: Optional[Sequence[int]] = None, kernels: Optional[Source] = None) -> AnyFrame:
    """One frame, or a region of it, on the grid of a larger picture, in the frame's form.

    frame    grey, RGB or YUV; it must not change during the call
    scale    above 0, up to 64: the picture has round(scale * side) samples, halves rounded up
    size     (width, height) of the picture in its place, 1 to 32767 each
    region   (left, top, right, bottom) in pixels, ends inclusive; None: the whole frame
    kernels  bytes or path of a kernel file; None: those built in

    Raises TypeError or ValueError for what is refused, MemoryError, Error with the library's text.
    """
    form, frame_size = _form_of(frame)
    shown = region_in(frame_size, region)
    enlarger = _single.Enlarger(frame_size, shown, _OutputSize(scale, size)(shown), form is not Form.GREY)
    yuv = _pictures.to_yuv(frame, form, frame_size)
    picture, _ = enlarger.run(yuv, Tuning(kernels=_read(kernels, "kernels")))
    return cast(AnyFrame, _pictures.from_yuv(picture, form))


def fuse(first: AnyFrame, second: Frame, scale: float = 2, size: Optional[Sequence[int]] = None,
         region: Optional[Sequence[int]] = None, stereo: bool = False,
         ghost: Optional[Tuple[int, int]] = None, configuration: Optional[Source] = None,
         kernels: Optional[Source] = None, weights: bool = False) -> Tuple[AnyFrame, Report]:
    """One picture of two frames, in the form of the first, and the report on it.

    first          grey, RGB or YUV; the picture shows the part of it that the second shows, too
    second         of the same size; neither must change during the call
    scale          above 0, up to 64: the picture has round(scale * side) samples of that part
    size           (width, height) of the picture in its place; the scale then follows
    region         of the first frame, as in `enlarge`
    stereo         the frames are those of two cameras, not two of one
    ghost          thresholds (low, high) of de-ghosting, 0 to 255: samples that differ by less than low stay,
                   from high on the second frame's take their place. None: those of the configuration,
                   or without one `ghost_thresholds(first, second)`. The library's own are (1, 5)
    configuration  bytes or path of an XML configuration, which sets the thresholds
    kernels        bytes or path of a kernel file; None: those built in
    weights        the report is to have the weights of de-ghosting

    Frames that cannot be registered, or have less than 400 samples a side, are no error: the first is
    enlarged alone, and the report says why. Raises what `enlarge` raises.
    """
    if ghost is not None and configuration is not None:
        raise ValueError("ghost and configuration both set thresholds: give one")
    form, frame_size, one, two = _pair_of(first, second)
    shown, output = region_in(frame_size, region), _OutputSize(scale, size)
    output(shown)
    if configuration is not None:
        xml = _read(configuration, "configuration")
    else:
        if ghost is None:
            ghost = _thresholds(first, one, second, two)
        low, high = (integer("a threshold", value, 0, 255) for value in ghost)
        if low > high:
            raise ValueError(f"thresholds are (low, high), not {ghost!r}")
        xml = _ghosts.configuration_of((low, high))
    scene = _records.SCENE_LEFT_RIGHT if stereo else _records.SCENE_LEFT_LEFT
    request = _pair.Request(scene, shown, output, Tuning(xml, _read(kernels, "kernels")), weights)
    picture, report = _pair.fuse_pair(one, two, request, form is not Form.GREY)
    return cast(AnyFrame, _pictures.from_yuv(picture, form)), report


def register(first: Frame, second: Frame, stereo: bool = False) -> Registration:
    """Finds the motion of the second frame against the first, as `fuse` does before it fuses.

    Key points by box-filtered Hessians (SURF: Bay et al., 2008), matched in kd-trees with a ratio test (Lowe,
    2004); a homography by RANSAC (Fischler and Bolles, 1981), refined by Levenberg-Marquardt over its inliers.
    docs/registration.md tells how accurate that is.

    Frames that cannot be registered are no error: `registered` is False. Below 400 samples a side key points
    match by chance only. Raises what `enlarge` raises.
    """
    _, _, one, two = _pair_of(first, second)
    return _pair.register_pair(one, two, _records.SCENE_LEFT_RIGHT if stereo else _records.SCENE_LEFT_LEFT)


def _thresholds(first: Frame, one: _pictures.Yuv, second: Frame, two: _pictures.Yuv) -> Tuple[int, int]:
    return _ghosts.thresholds_for(max(_ghosts.noise_of(yuv, _pictures.form_of(frame)[0] is not Form.GREY)
                                      for frame, yuv in ((first, one), (second, two))))


def ghost_thresholds(first: Frame, second: Frame) -> Tuple[int, int]:
    """The thresholds (low, high) of de-ghosting, in grey levels, that suit the noise of two frames."""
    _, _, one, two = _pair_of(first, second)
    return _thresholds(first, one, second, two)
