"""Handles of the burst stage, and what they report."""
from __future__ import annotations

import ctypes
import contextlib
import enum
import threading
import weakref
from dataclasses import dataclass
from typing import Any, Dict, Iterator, List, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from . import _library, _pictures
from ._pictures import Form, Frame, Picture, Samples, Yuv
from ._progress import Told, Watch
from ._values import Region, Size, integer, number, region_in, scaled, sides

_EFFORTS = {"normal": 0, "fast": 1}


class Use(enum.IntEnum):
    """Whether a frame went into the last picture, and if not, why."""

    UNUSED = 0  #: nothing has been rendered since the frame was added
    REFERENCE = 1  #: the picture was made around it
    USED = 2  #: it contributed
    NO_MOTION = -1  #: no motion was found that maps the reference onto it
    LOW_OVERLAP = -2  #: it shows less than half of the reference
    RESIDUAL = -3  #: registered, it fits no better than unregistered
    LOW_WEIGHT = -4  #: it differs from the reference almost everywhere


@dataclass(frozen=True)
class FrameReport:
    """What the last picture made of one frame."""

    frame: int  #: the frame's number
    use: Use
    reason: str  #: why it was left out, else ""
    homography: npt.NDArray[np.float64]  #: (3, 3): luma samples (x, y, 1) of the reference to this frame's
    gain: float  #: gain * sample + bias is as bright as the reference,
    bias: float  #: in grey levels
    residual_before: float  #: root mean square difference from the reference at half size, in grey levels,
    residual_after: float  #: as the frame lies and after registration and photometric match
    mean_weight: float  #: over the region, 0 to 1
    share: float  #: of all weights of the picture, 0 to 1
    local_tiles: int  #: tiles of 32 x 32 samples that moved on their own by parallax


@dataclass(frozen=True)
class Report:
    """What the last picture took."""

    frames_used: int  #: the reference included; 0 before the first picture
    noise: float  #: standard deviation of luma's noise in grey levels, measured or given
    noise_u: float  #: and of chroma's
    noise_v: float
    milliseconds: Dict[str, float]  #: elapsed times by stage
    memory: int  #: bytes held by the handle now
    peak_memory: int  #: the most it has held at any time
    frames: Tuple[FrameReport, ...]  #: of the frames held, in the order in which they were added


def _frame_number(value: Any) -> int:
    return integer("the number of a frame", value, -2 ** 31, 2 ** 31 - 1)


def _text(message: Optional[bytes]) -> str:
    return (message or b"").decode("utf-8", "replace")


def _output_size(shown: Region, scale: float, size: Optional[Sequence[int]]) -> Size:
    """Of the picture; the library takes 1 to 4 times the region."""
    largest, most = _library.SIDES[1], _library.LARGEST_SCALE
    output = scaled(shown.size, scale) if size is None else sides(size, largest)
    if max(output) > largest:
        raise ValueError("a picture of %dx%d is too large: " % output
                         + f"neither side has more than {largest} samples")
    if any(not side <= wanted <= most * side for side, wanted in zip(shown.size, output)):
        raise ValueError("%dx%d samples cannot become %dx%d: " % (*shown.size, *output)
                         + f"each side grows 1 to {most} times")
    return output


def _destroy(library: ctypes.CDLL, handle: ctypes.c_void_p) -> None:
    library.VELMORA_SR_BurstDestroy(ctypes.byref(handle))


class Burst:
    """Up to eight frames of one size, of which pictures are made: for windows that slide over a clip.

        with velmora_sr.Burst(1920, 1080, 2, effort="fast") as burst:
            first, second = burst.add(frames[0]), burst.add(frames[1])
            picture = burst.render(first)
            burst.drop(first)

    width, height  of the frames, 16 to 65535 each
    scale          1 to 4; the picture has round(scale * side) samples, halves rounded up
    size           (width, height) of the picture in its place, 1 to 4 times the region on each axis
    region         (left, top, right, bottom) in pixels, ends inclusive, at least 16 by 16: what the picture
                   shows of its reference frame; None: all of it
    noise          standard deviation of luma's noise in grey levels, 0 to 64; None: measured
    sharpened      by how much the camera sharpened its frames, -0.6 to 1; None: 0.15, which suits
                   frames of unknown origin; 0.3 for most cameras' JPEG files
    effort         "normal", or "fast": about half the time, 0.1 to 0.4 dB less
    threads        most threads at work in a call, 1 to 64; 0: one per processor
    progress       called on the thread of the call with its share done, 0 to 1, some dozen times a second;
                   an exception that it raises, as Ctrl-C does, stops `add` or `render` and comes out of it.
                   It must not call the burst's methods

    What was found about pairs of frames is kept for the next picture. Methods may be called from any
    thread; they wait for each other. After `close` or the `with` block they raise ValueError.
    """

    def __init__(self, width: int, height: int, scale: float = 2, noise: Optional[float] = None,
                 sharpened: Optional[float] = None, effort: str = "normal", threads: int = 0,
                 region: Optional[Sequence[int]] = None, size: Optional[Sequence[int]] = None,
                 progress: Optional[Told] = None) -> None:
        params = _library.Params(size=ctypes.sizeof(_library.Params))
        params.width = integer("width", width, *_library.SIDES)
        params.height = integer("height", height, *_library.SIDES)
        self._size: Size = (params.width, params.height)
        shown = region_in(self._size, region)
        if min(shown.size) < _library.SIDES[0]:
            raise ValueError("the region has %dx%d samples, " % shown.size + "the least is 16x16")
        params.left, params.top = shown[:2]
        params.regionWidth, params.regionHeight = shown.size
        self._output = _output_size(shown, number("scale", scale, 1, _library.LARGEST_SCALE), size)
        params.outputWidth, params.outputHeight = self._output
        params.noise = -1 if noise is None else number("noise", noise, 0, _library.MOST_NOISE)
        params.sharpened = -1 if sharpened is None else number("sharpened", sharpened, -0.6, 1)
        if effort not in _EFFORTS:
            raise ValueError(f"effort is normal or fast, not {effort!r}")
        params.effort = _EFFORTS[effort]
        params.threads = integer("threads", threads, 0, _library.MOST_THREADS)

        self._watch = Watch(progress)
        params.progress, params.progressUser = Watch.step, self._watch.user

        self._frames: Dict[int, Tuple[Form, Yuv]] = {}  # the library reads them until they are dropped
        self._taken: List[Yuv] = []  # frames that it may read while they have no number here
        self._lock = threading.RLock()
        self._called = False
        self._library = _library.load()
        self._handle = ctypes.c_void_p()
        code = self._library.VELMORA_SR_BurstCreate(ctypes.byref(params), ctypes.byref(self._handle))
        if code != 0:
            _library.refuse(code, f"frames of {width}x{height} cannot be enlarged to "
                                  f"{params.outputWidth}x{params.outputHeight} (code {code})")
        self._finalizer = weakref.finalize(self, _destroy, self._library, self._handle)

    def __enter__(self) -> Burst:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Releases the library's memory and lets the frames go; may be called again."""
        with self._exclusive():
            self._finalizer()
            self._frames.clear()
            self._taken.clear()

    @contextlib.contextmanager
    def _exclusive(self) -> Iterator[None]:
        """The handle for one thread, and for one method of that thread."""
        with self._lock:
            if self._called:
                raise RuntimeError("a progress function must not call the burst's methods")
            try:
                self._called = True
                yield
            finally:
                self._called = False

    def _call(self, function: str, *arguments: Any) -> None:
        """Calls the library, within `_exclusive`."""
        if not self._finalizer.alive:
            raise ValueError("the burst is closed")
        code = getattr(self._library, "VELMORA_SR_" + function)(self._handle, *arguments)
        failure, self._watch.failure = self._watch.failure, None
        if failure is not None:
            raise failure
        if code != 0:
            _library.refuse(code, _text(self._library.VELMORA_SR_BurstMessage(self._handle)))

    def add(self, frame: Frame) -> int:
        """Takes a grey, RGB or YUV frame and returns its number, above 0 and never used twice.

        The samples of a grey or YUV frame are not copied: they must not change until the frame is dropped.
        """
        form, size = _pictures.form_of(frame)
        if size != self._size:
            raise ValueError("the frame has %dx%d samples, the burst is for %dx%d" % (*size, *self._size))
        yuv = _pictures.to_yuv(frame, form, size)
        taken = ctypes.c_int32()
        with self._exclusive():
            self._taken.append(yuv)
            try:
                self._call("BurstAdd", ctypes.byref(_pictures.record_of(yuv)), ctypes.byref(taken))
                self._frames[taken.value] = form, yuv
            except Exception:
                self._taken.pop()
                raise
            self._taken.pop()
        return taken.value

    def drop(self, frame: int) -> None:
        """Lets a frame go, with what was found about it."""
        with self._exclusive():
            self._call("BurstDrop", _frame_number(frame))
            del self._frames[frame]

    def render(self, reference: int) -> Picture:
        """The picture around the frame with this number, from all frames held, in that frame's form."""
        yuv = _pictures.empty_yuv(self._output)
        with self._exclusive():
            self._call("BurstRender", _frame_number(reference), ctypes.byref(_pictures.record_of(yuv)))
            form = self._frames[reference][0]
        return _pictures.from_yuv(yuv, form)

    def weights(self, frame: int) -> Samples:
        """How much a frame counted in the last picture: (height, width) of uint8, 255: as the reference."""
        weights = np.empty((self._size[1], self._size[0]), np.uint8)
        with self._exclusive():
            self._call("BurstWeights", _frame_number(frame), weights.ctypes.data, weights.strides[0])
        return weights

    def report(self) -> Report:
        """What the last picture took, and what it made of each frame that is held."""
        record = _library.ReportRecord(size=ctypes.sizeof(_library.ReportRecord))
        with self._exclusive():
            self._call("BurstReport", ctypes.byref(record))
            frames = tuple(self._frame_report(number) for number in self._frames)
        return Report(record.framesUsed, record.noise, record.noiseU, record.noiseV,
                      dict(zip(_library.STAGES, record.milliseconds)), record.memory, record.peakMemory,
                      frames)

    def _frame_report(self, number: int) -> FrameReport:
        record = _library.FrameRecord(size=ctypes.sizeof(_library.FrameRecord))
        self._call("BurstFrameReport", number, ctypes.byref(record))
        homography = np.array(record.homography[:], np.float64).reshape(3, 3)
        return FrameReport(number, Use(record.use), _text(record.reason), homography, record.gain,
                           record.bias, record.residualBefore, record.residualAfter, record.meanWeight,
                           record.share, record.localTiles)
