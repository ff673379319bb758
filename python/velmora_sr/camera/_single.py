"""Frames of any size through the one-frame call, exactly: the library wants even sides and regions of 100
samples and more."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Optional, Tuple

import numpy as np

from .._pictures import Samples, Yuv, chroma_shape, empty_yuv, planes
from .._values import Region, Size
from . import _records
from ._frames import block_bytes, block_of, even_above
from ._records import ReportRecord
from ._session import Session, Tuning, session

LEAST_SPAN = 99  # from the first column or row of a region to the last
MOST_PIXELS = 600_000_000

_TAPS_AHEAD = 2  # samples beyond a position that a kernel reads


@dataclass(frozen=True)
class _Axis:
    """How output samples are had along an axis: region and output are lengthened in the same proportion, so
    that the library takes the steps of the region itself, and what is too much is cut off."""

    first: int
    last: int  #: that the library is told
    produced: int  #: samples that it delivers; 1 for a region of one sample, which is repeated


def _axis(first: int, last: int, wanted: int, least_span: int) -> _Axis:
    span = last - first
    if span == 0:
        return _Axis(first, first + least_span, 1)
    times = max(-(-least_span // span), 1)
    return _Axis(first, first + times * span, times * (wanted - 1) + 1)


@dataclass(frozen=True)
class _Call:
    region: Region  #: in luma samples
    output: Size


def _luma_call(region: Region, output: Size) -> _Call:
    x = _axis(region.left, region.right, output[0], LEAST_SPAN)
    y = _axis(region.top, region.bottom, output[1], LEAST_SPAN)
    return _Call(Region(x.first, y.first, x.last, y.last), (x.produced, y.produced))


def _chroma_call(region: Region, output: Size) -> _Call:
    """The same on the chroma grid, in a frame of twice its size."""
    rows, columns = chroma_shape(output)
    x = _axis(region.left // 2, region.right // 2, columns, (LEAST_SPAN + 1) // 2)
    y = _axis(region.top // 2, region.bottom // 2, rows, (LEAST_SPAN + 1) // 2)
    return _Call(Region(2 * x.first, 2 * y.first, 2 * x.last, 2 * y.last), (2 * x.produced, 2 * y.produced))


def _side(count: int, last: int) -> int:
    """Of the frame that holds `count` samples and the last one of all regions."""
    if count % 2 == 0 and last < count:
        return count
    # Mirrored samples as far as any kernel reads, twice as far for chroma: the library's border is not met.
    return even_above(max(count - 1, last) + 2 * _TAPS_AHEAD + 2)


def _keep(produced: Samples, target: Samples) -> None:
    """Copies what is wanted; a single column or row is repeated."""
    target[:] = produced[:target.shape[0], :target.shape[1]]


class Enlarger:
    """Stretches a region of frames onto pictures: its first and last columns and rows land on the picture's,
    and chroma follows the same rule on its own grid. Raises ValueError for what is beyond the library."""

    def __init__(self, size: Size, region: Region, output: Size, colour: bool) -> None:
        self._output = output
        self._luma = _luma_call(region, output)
        self._chroma: Optional[_Call] = None
        one_call = self._luma == _Call(region, output) and output[0] % 2 == 0 and output[1] % 2 == 0
        if colour and not one_call:
            self._chroma = _chroma_call(region, output)
        self._colour = colour
        calls = [call for call in (self._luma, self._chroma) if call is not None]
        self._frame = (_side(size[0], max(call.region.right for call in calls)),
                       _side(size[1], max(call.region.bottom for call in calls)))
        for call in calls:
            # The library's own plane between the passes has 16 bits for each output column and frame row.
            if (call.output[0] * call.output[1] > MOST_PIXELS
                    or 2 * call.output[0] * (self._frame[1] + 8) >= 2 ** 32):
                raise ValueError("a picture of %dx%d is too large for the library" % output)

    @staticmethod
    def _run(live: Session, layout: str, address: int, call: _Call) -> Tuple[Yuv, ReportRecord]:
        block = np.empty(block_bytes(call.output), np.uint8)
        record = live.process(layout, address, None, call.region, call.output, block)
        if call.output[0] % 2 == 0 and call.output[1] % 2 == 0:
            return planes(block, *call.output, layout), record
        luma = block[:call.output[0] * call.output[1]].reshape(call.output[1], call.output[0])
        return (luma, luma[:0], luma[:0]), record  # the chroma of an odd size lacks samples

    def run(self, yuv: Yuv, tuning: Tuning) -> Tuple[Yuv, ReportRecord]:
        """The picture, whose chroma means nothing without colour, and the report on its luma."""
        alive, layout, address = block_of(yuv, self._frame)
        with session(self._frame, _records.SCENE_SINGLE, tuning) as live:
            luma, record = self._run(live, layout, address, self._luma)
            if self._chroma is None and self._luma.output == self._output:
                return luma, record
            chroma = luma if self._chroma is None else self._run(live, layout, address, self._chroma)[0]
        del alive
        result = empty_yuv(self._output)
        _keep(luma[0], result[0])
        if self._colour:
            _keep(chroma[1], result[1])
            _keep(chroma[2], result[2])
        return result, record
