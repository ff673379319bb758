"""Whole jobs in one call, each with a handle of its own."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Optional, Sequence, Tuple, cast

import numpy as np
import numpy.typing as npt

from . import _library, _pictures
from ._burst import Burst, FrameReport, Report, Use
from ._pictures import AnyFrame, Frame
from ._progress import Told


class _Shares:
    """Joins the shares of several calls: adding all frames takes a few per cent of the time."""

    _ADDING = 0.03

    def __init__(self, told: Told, frames: int) -> None:
        self._told = told
        self._begin, self._length = 0.0, self._ADDING / frames
        self._left = frames

    def next(self) -> None:
        self._begin += self._length
        self._left -= 1
        if self._left == 0:
            self._begin, self._length = self._ADDING, 1 - self._ADDING

    def __call__(self, share: float) -> None:
        self._told(self._begin + share * self._length)


def fuse(frames: Sequence[AnyFrame], scale: float = 2, reference: int = 0, noise: Optional[float] = None,
         sharpened: Optional[float] = None, effort: str = "normal",
         threads: int = 0, region: Optional[Sequence[int]] = None, size: Optional[Sequence[int]] = None,
         progress: Optional[Told] = None) -> Tuple[AnyFrame, Report]:
    """One picture, `scale` times as large, of one to eight frames of a scene, and the report on it.

    frames     grey, RGB or YUV, all of one size; they must not change during the call
    scale      1 to 4; the picture has round(scale * side) samples, halves rounded up
    reference  index of the frame whose view and form the picture has, from the end where it is below 0
    noise      standard deviation of luma's noise in grey levels, 0 to 64; None: measured
    sharpened  by how much the camera sharpened its frames, -0.6 to 1; None: 0.15
    effort     "normal" or "fast"
    threads    most threads at work, 1 to 64; 0: one per processor. The picture does not depend on it
    region     (left, top, right, bottom) in pixels, ends inclusive: what the picture shows of its reference;
               None: all of it
    size       (width, height) of the picture in place of `scale`, 1 to 4 times the region on each axis
    progress   called with the share done, 0 to 1; an exception that it raises stops the call

    `report.frames` has the frames in their order. Frames that cannot be used are left out, which their
    report says; that is no error.
    """
    if isinstance(frames, np.ndarray) and frames.ndim < 3:
        raise TypeError("frames is a sequence of frames; upscale takes one")
    if not 1 <= len(frames) <= _library.MOST_FRAMES:
        raise ValueError(f"a picture is made of 1 to {_library.MOST_FRAMES} frames, not {len(frames)}")
    if not -len(frames) <= reference < len(frames):
        raise IndexError(f"there is no frame {reference} among {len(frames)}")
    _, frame_size = _pictures.form_of(frames[0])
    shares = None if progress is None else _Shares(progress, len(frames))
    with Burst(*frame_size, scale, noise, sharpened, effort, threads, region, size, shares) as burst:
        numbers = []
        for frame in frames:
            numbers.append(burst.add(frame))
            if shares is not None:
                shares.next()
        picture = burst.render(numbers[reference])
        return cast(AnyFrame, picture), burst.report()


def upscale(image: AnyFrame, scale: float = 2, noise: Optional[float] = None, sharpened: Optional[float] = None,
            effort: str = "normal", threads: int = 0, region: Optional[Sequence[int]] = None,
            size: Optional[Sequence[int]] = None, progress: Optional[Told] = None) -> AnyFrame:
    """One frame, `scale` times as large, cleaned of its noise; arguments as in `fuse`."""
    return fuse([image], scale, 0, noise, sharpened, effort, threads, region, size, progress)[0]


@dataclass(frozen=True)
class Registration:
    """How a second frame lies to a first one."""

    registered: bool
    reason: str  #: why not, else ""
    homography: npt.NDArray[np.float64]  #: (3, 3): luma samples (x, y, 1) of a to those of b; else the identity
    gain: float  #: gain * sample of b + bias is as bright as a,
    bias: float  #: in grey levels
    residual_before: float  #: root mean square difference at half size, in grey levels,
    residual_after: float  #: as b lies and after registration and photometric match
    mean_weight: float  #: how far b agrees with a then, 0 to 1


def register(a: Frame, b: Frame, noise: Optional[float] = None, threads: int = 0) -> Registration:
    """Finds the motion and the exposure that take frame `b` onto frame `a`, both of one size.

    The burst stage finds them while it makes a picture, so this makes one of the two frames at scale 1 with
    effort "fast" and drops it. Frames that do not register are no error: `registered` is False.
    """
    _, report = fuse([a, b], 1, 0, noise, None, "fast", threads)
    found: FrameReport = report.frames[1]
    return Registration(found.use is Use.USED, found.reason, found.homography, found.gain, found.bias,
                        found.residual_before, found.residual_after, found.mean_weight)
