"""Handles of the burst stage, and what they report."""
from __future__ import annotations

import ctypes
import enum
import math
import threading
import weakref
from dataclasses import dataclass
from typing import Any, Dict, Optional, Tuple

import numpy as np
import numpy.typing as npt

from . import _library, _pictures
from ._pictures import Form, Frame, Picture, Samples, Size, Yuv
from ._values import integer, number

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
    noise          standard deviation of luma's noise in grey levels, 0 to 64; None: measured
    sharpened      by how much the camera sharpened its frames, -0.6 to 1; None: 0.15, which suits
                   frames of unknown origin; 0.3 for most cameras' JPEG files
    effort         "normal", or "fast": about half the time, 0.1 to 0.4 dB less
    threads        most threads at work in a call, 1 to 64; 0: one per processor

    What was found about pairs of frames is kept for the next picture. Methods may be called from any
    thread; they wait for each other. After `close` or the `with` block they raise ValueError.
    """

    def __init__(self, width: int, height: int, scale: float = 2, noise: Optional[float] = None,
                 sharpened: Optional[float] = None, effort: str = "normal", threads: int = 0) -> None:
        params = _library.Params(size=ctypes.sizeof(_library.Params))
        params.width = integer("width", width, *_library.SIDES)
        params.height = integer("height", height, *_library.SIDES)
        factor = number("scale", scale, 1, _library.LARGEST_SCALE)
        params.outputWidth = math.floor(params.width * factor + 0.5)
        params.outputHeight = math.floor(params.height * factor + 0.5)
        if max(params.outputWidth, params.outputHeight) > _library.SIDES[1]:
            raise ValueError(f"a picture of {params.outputWidth}x{params.outputHeight} is too large: "
                             f"neither side has more than {_library.SIDES[1]} samples")
        params.noise = -1 if noise is None else number("noise", noise, 0, _library.MOST_NOISE)
        params.sharpened = -1 if sharpened is None else number("sharpened", sharpened, -0.6, 1)
        if effort not in _EFFORTS:
            raise ValueError(f"effort is normal or fast, not {effort!r}")
        params.effort = _EFFORTS[effort]
        params.threads = integer("threads", threads, 0, _library.MOST_THREADS)

        self._size: Size = (params.width, params.height)
        self._output: Size = (params.outputWidth, params.outputHeight)
        self._frames: Dict[int, Tuple[Form, Yuv]] = {}  # the library reads them until they are dropped
        self._lock = threading.Lock()
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
        with self._lock:
            self._finalizer()
            self._frames.clear()

    def _call(self, function: str, *arguments: Any) -> None:
        """Calls the library with the lock held."""
        if not self._finalizer.alive:
            raise ValueError("the burst is closed")
        code = getattr(self._library, "VELMORA_SR_" + function)(self._handle, *arguments)
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
        number = ctypes.c_int32()
        with self._lock:
            self._call("BurstAdd", ctypes.byref(_pictures.record_of(yuv)), ctypes.byref(number))
            self._frames[number.value] = form, yuv
        return number.value

    def drop(self, frame: int) -> None:
        """Lets a frame go, with what was found about it."""
        with self._lock:
            self._call("BurstDrop", _frame_number(frame))
            del self._frames[frame]

    def render(self, reference: int) -> Picture:
        """The picture around the frame with this number, from all frames held, in that frame's form."""
        yuv = _pictures.empty_yuv(self._output)
        with self._lock:
            self._call("BurstRender", _frame_number(reference), ctypes.byref(_pictures.record_of(yuv)))
            form = self._frames[reference][0]
        return _pictures.from_yuv(yuv, form)

    def weights(self, frame: int) -> Samples:
        """How much a frame counted in the last picture: (height, width) of uint8, 255: as the reference."""
        weights = np.empty((self._size[1], self._size[0]), np.uint8)
        with self._lock:
            self._call("BurstWeights", _frame_number(frame), weights.ctypes.data, weights.strides[0])
        return weights

    def report(self) -> Report:
        """What the last picture took, and what it made of each frame that is held."""
        record = _library.ReportRecord(size=ctypes.sizeof(_library.ReportRecord))
        with self._lock:
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
