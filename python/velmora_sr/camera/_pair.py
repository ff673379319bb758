"""Two frames of a scene into one picture, or the first alone where they cannot be fused."""
from __future__ import annotations

import math
from dataclasses import dataclass, replace
from typing import Callable, Optional, Tuple

import numpy as np

from .._library import Error
from .._pictures import Samples, Yuv, chroma_shape, planes
from .._values import Region, Size
from . import _records
from ._frames import block_bytes, block_of, even_above, packed
from ._report import Registration, Report, Residual, milliseconds_of, reason_of, registration_of
from ._session import Session, Tuning, session
from ._single import LEAST_SPAN, Enlarger

SMALLEST_SIDE = 400  # of frames that are analysed at a quarter of their size; smaller ones match by chance

_ENOUGH_SAMPLES = 262144


def _even_region(region: Region, covered: Region) -> Region:
    """What the library makes of a region: the part that both frames show, even bounds."""
    def below(value: int) -> int:
        return value - value % 2
    return Region(even_above(max(region.left, covered.left)), even_above(max(region.top, covered.top)),
                  below(min(region.right, covered.right)), below(min(region.bottom, covered.bottom)))


def _inside(region: Region, size: Size) -> Region:
    return Region(max(region.left, 0), max(region.top, 0), min(region.right, size[0] - 1),
                  min(region.bottom, size[1] - 1))


def _residual(first: Samples, second: Samples, registration: Registration) -> Residual:
    """Of a quarter of a million samples at most."""
    assert registration.rectangle is not None and registration.homography is not None
    height, width = first.shape
    left, top, right, bottom = _inside(registration.rectangle, (width, height))
    pixels = (right - left + 1) * (bottom - top + 1)
    step = max(math.ceil(math.sqrt(pixels / _ENOUGH_SAMPLES)), 1)
    y, x = np.mgrid[top:bottom + 1:step, left:right + 1:step]
    h = registration.homography.astype(np.float64)
    along, down, scale = (row[0] * x + row[1] * y + row[2] for row in h)
    at_x = np.clip(along / scale, 0, width - 1)
    at_y = np.clip(down / scale, 0, height - 1)
    x0, y0 = at_x.astype(np.intp), at_y.astype(np.intp)
    x1, y1 = np.minimum(x0 + 1, width - 1), np.minimum(y0 + 1, height - 1)
    fx, fy = at_x - x0, at_y - y0
    there = ((1 - fy) * ((1 - fx) * second[y0, x0] + fx * second[y0, x1])
             + fy * ((1 - fx) * second[y1, x0] + fx * second[y1, x1]))
    own = first[top:bottom + 1:step, left:right + 1:step].astype(np.float64)
    same_place = second[top:bottom + 1:step, left:right + 1:step]
    return Residual(float(np.abs(own - same_place).mean()), float(np.abs(own - there).mean()),
                    float(own.mean()), float(there.mean()))


def _judged(registration: Registration, first: Samples, second: Samples) -> Registration:
    """A registration that leaves more difference than none has failed. Frames that stand still gain nothing,
    and interpolation costs a little: that is no failure."""
    if not registration.registered:
        return registration
    residual = _residual(first, second, registration)
    if residual.after <= 1.05 * residual.before + 0.5:
        return replace(registration, residual=residual)
    return replace(registration, registered=False, residual=residual, stage="residual",
                   reason="with the motion that was found the frames differ more than without")


@dataclass(frozen=True)
class Request:
    scene: int
    region: Region  #: of the first frame
    output: Callable[[Region], Size]  #: the picture's size for a region
    tuning: Tuning
    weights: bool


class _Fusing:
    """One try with frames of a size, which is even and may be larger than the planes."""

    def __init__(self, first: Yuv, second: Yuv, request: Request, frame: Size) -> None:
        self._planes = first, second
        self._request = request
        self._frame = frame
        self._size: Size = first[0].shape[1], first[0].shape[0]
        self._second, self._layout, self._second_at = block_of(second, frame)
        self._first = packed(first, frame, self._layout)  # a copy, since the library changes it
        self._output: Size = (0, 0)
        self.next: Optional[Size] = None  #: frame size to try, if this one would make the library copy
        self.reason = ""
        self.registration: Optional[Registration] = None
        self.region = request.region

    def _plan(self, live: Session) -> bool:
        record = live.register(self._layout, self._first.ctypes.data, self._second_at)
        found = _judged(registration_of(record), self._planes[0][0], self._planes[1][0])
        self.registration = found
        if not found.registered:
            self.reason = found.reason
            return False
        assert found.rectangle is not None
        region = _even_region(self._request.region, _inside(found.rectangle, self._size))
        if region.right - region.left < LEAST_SPAN or region.bottom - region.top < LEAST_SPAN:
            self.reason = "the second frame shows too little of the region, less than 100x100"
            return False
        self.region = region
        self._output = self._request.output(region)
        even = even_above(self._output[0]), even_above(self._output[1])
        if self._frame in (self._output, even):
            # It only copies when both sizes are the same: mirrored columns make them differ.
            is_first = self._frame[0] == even_above(self._size[0])
            self.next = self._frame[0] + (2 if is_first else 4), self._frame[1]
        return self.next is None

    def run(self) -> Optional[Tuple[Yuv, Report]]:
        with session(self._frame, self._request.scene, self._request.tuning) as live:
            if not self._plan(live):
                return None
            luma = np.empty(block_bytes(self._output), np.uint8)
            weights = np.empty((self._frame[1], self._frame[0]), np.uint8) if self._request.weights else None
            record = live.process(self._layout, self._first.ctypes.data, self._second_at, self.region,
                                  self._output, luma, weights)
        if not record.fused:
            raise Error(f"the library cannot fuse these frames: {reason_of(record)}", record.result)
        if weights is not None:
            weights = weights[:self._size[1], :self._size[0]]
        report = Report(True, "", self.region, self.registration, (record.ghostLow, record.ghostHigh),
                        record.replacedShare, weights, milliseconds_of(record))
        return self._finished(luma), report

    def _finished(self, luma: Samples) -> Yuv:
        width, height = self._output
        if width % 2 == 0 and height % 2 == 0:
            return planes(luma, width, height, self._layout)
        # All chroma comes from the de-ghosted first frame: that of the next even size lies on the same grid.
        even = even_above(width), even_above(height)
        block = np.empty(block_bytes(even), np.uint8)
        with session(self._frame, _records.SCENE_SINGLE, Tuning(kernels=self._request.tuning.kernels)) as live:
            live.process(self._layout, self._first.ctypes.data, None, self.region, even, block)
        _, u, v = planes(block, *even, self._layout)
        rows, columns = chroma_shape(self._output)
        return luma[:width * height].reshape(height, width), u[:rows, :columns], v[:rows, :columns]


def fuse_pair(first: Yuv, second: Yuv, request: Request, colour: bool) -> Tuple[Yuv, Report]:
    """The picture and its report; both frames have one size."""
    size: Size = first[0].shape[1], first[0].shape[0]
    registration: Optional[Registration] = None
    if min(size) < SMALLEST_SIDE:
        reason = "frames under %dx%d are too small to fuse, these are %dx%d" % (
            SMALLEST_SIDE, SMALLEST_SIDE, *size)
    else:
        frame: Optional[Size] = (even_above(size[0]), even_above(size[1]))
        while frame is not None:
            fusing = _Fusing(first, second, request, frame)
            done = fusing.run()
            if done is not None:
                return done
            frame = fusing.next
        reason, registration = fusing.reason, fusing.registration
    enlarger = Enlarger(size, request.region, request.output(request.region), colour)
    picture, record = enlarger.run(first, request.tuning)
    weights = np.full(first[0].shape, 255, np.uint8) if request.weights else None
    return picture, Report(False, reason, request.region, registration, (record.ghostLow, record.ghostHigh), 0.0,
                           weights, milliseconds_of(record))


def register_pair(first: Yuv, second: Yuv, scene: int) -> Registration:
    """As `fuse_pair` begins."""
    size: Size = first[0].shape[1], first[0].shape[0]
    frame = even_above(size[0]), even_above(size[1])
    first_alive, layout, first_at = block_of(first, frame)
    second_alive, _, second_at = block_of(second, frame)
    with session(frame, scene, Tuning()) as live:
        record = live.register(layout, first_at, second_at)
        found = registration_of(record)
    del first_alive, second_alive
    return _judged(found, first[0], second[0])
