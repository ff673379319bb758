"""One handle of the camera path at a time, whoever calls."""
from __future__ import annotations

import contextlib
import ctypes
import os
import threading
from dataclasses import dataclass
from typing import Iterator, Optional

from .._library import Error
from .._pictures import Samples
from .._values import Region, Size
from . import _records, _report
from ._records import InputFrames, ReportRecord

# The library keeps tables, thresholds and threads for the whole process: a handle holds this lock from its
# creation to its end. A fork waits for it, since the child of a fork in mid-call could not go on.
_lock = threading.Lock()
os.register_at_fork(before=_lock.acquire, after_in_parent=_lock.release, after_in_child=_lock.release)

# The C functions are called without a line of Python in between, where Ctrl-C could end a call halfway.
_process = ctypes.PyDLL(None)
_process.malloc.restype = ctypes.c_void_p
_process.malloc.argtypes = (ctypes.c_size_t,)
_process.free.restype = None
_process.free.argtypes = (ctypes.c_void_p,)
_allocate = _records.Allocate(_process.malloc)
_release = _records.Release(_process.free)


@dataclass(frozen=True)
class Tuning:
    """The bytes of tuning files; empty: what is built in."""

    configuration: bytes = b""
    kernels: bytes = b""


class Session:
    """Calls on the live handle."""

    def __init__(self, handle: ctypes.c_void_p, size: Size, scene: int) -> None:
        self._library = _records.load()
        self._handle = handle
        self._size = size
        self._scene = scene

    def report(self) -> ReportRecord:
        record = ReportRecord(size=ctypes.sizeof(ReportRecord))
        self._library.VELMORA_SR_GetReport(self._handle, ctypes.byref(record))
        return record

    def _frames(self, layout: str, first: int, second: Optional[int], region: Region) -> InputFrames:
        width, height = self._size
        frames = InputFrames(width, height, _records.FORMATS[layout], first)
        frames.left, frames.top, frames.right, frames.bottom = region
        if self._scene == _records.SCENE_LEFT_RIGHT:
            frames.rightData = second
        else:
            frames.leftData2 = second
        return frames

    @property
    def _count(self) -> int:
        return 1 if self._scene == _records.SCENE_SINGLE else 2

    def register(self, layout: str, first: int, second: int) -> ReportRecord:
        """Registers the frames at two addresses; raises unless the frames alone decided."""
        frames = self._frames(layout, first, second, Region(0, 0, 0, 0))
        self._library.VELMORA_SR_Register(self._handle, ctypes.byref(frames), self._count)
        record = self.report()
        if not record.registered and not _report.is_about_frames(record):
            _refuse(record, "the library cannot register the frames")
        return record

    def process(self, layout: str, first: int, second: Optional[int], region: Region, size: Size,
                output: Samples, weights: Optional[Samples] = None) -> ReportRecord:
        """Stretches the region onto `output`, a frame of that size; raises unless all of it was written."""
        frames = self._frames(layout, first, second, region)
        out = _records.OutputFrame(*size, frames.format, output.ctypes.data)
        where = None if weights is None else weights.ctypes.data
        self._library.VELMORA_SR_RequestWeights(self._handle, where)
        self._library.VELMORA_SR_Process(self._handle, ctypes.byref(frames), self._count, ctypes.byref(out))
        record = self.report()
        if not record.written:
            _refuse(record, "the library cannot enlarge to %dx%d" % size)
        if _report.shown_of(record) != region:
            raise Error(f"the library shows {tuple(_report.shown_of(record))}, not {tuple(region)}", 0)
        return record


def _refuse(record: ReportRecord, what: str) -> None:
    text = f"{what}: {_report.reason_of(record)}"
    if record.cause == _records.CAUSE_MEMORY:
        raise MemoryError(text)
    raise Error(text, record.result)


def _check(code: int, record: ReportRecord, tuning: Tuning) -> None:
    """Whether the handle has what it was given: the library itself goes on with what is built in."""
    if code != 0 or record.kernelPhases == 0 and not tuning.kernels:
        raise MemoryError("the camera path cannot start: out of memory or threads")
    if tuning.configuration and not record.configurationRead:
        raise ValueError("the library does not take this configuration: an XML document with "
                         "0 <= LowThr <= HighThr <= 255 in /Config/GhostCorrection is wanted")
    if tuning.kernels and not record.kernelsRead:
        raise ValueError("the library does not take these kernels: a whole kernel file of 1 to 1024 phases is "
                         "wanted")


@contextlib.contextmanager
def session(size: Size, scene: int, tuning: Tuning) -> Iterator[Session]:
    """A handle for frames of this size, for as long as the block lasts."""
    library = _records.load()
    params = _records.CreateParams(*size, scene, _allocate, _release)
    given = _records.TuningBytes(tuning.configuration or None, len(tuning.configuration),
                                 tuning.kernels or None, len(tuning.kernels))
    handle = ctypes.c_void_p()
    with _lock:
        try:
            code = library.VELMORA_SR_CreateFromMemory(ctypes.byref(params), ctypes.byref(given),
                                                       ctypes.byref(handle))
            if not handle:
                raise MemoryError("the camera path cannot start: out of memory")
            live = Session(handle, size, scene)
            _check(code, live.report(), tuning)
            yield live
        finally:
            if handle:
                library.VELMORA_SR_Destroy(ctypes.byref(handle))
