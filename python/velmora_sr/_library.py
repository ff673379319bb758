"""Finds and loads the shared library; its records and functions, as burst.h declares them."""
from __future__ import annotations

import ctypes
import ctypes.util
import functools
import os
import pathlib
import subprocess
from typing import Iterator, NoReturn, Tuple, Type

_NAMES = ("libvelmora_sr.so.1", "libvelmora_sr.so")

BAD_ARGUMENT = -1
NO_MEMORY = -2
FULL = -4
NO_FRAME = -5

LARGEST_SCALE = 4
MOST_FRAMES = 8
MOST_NOISE = 64
MOST_THREADS = 64
SIDES = (16, 65535)
STAGES = ("pyramids", "registration", "translations", "weights", "noise", "reconstruction")


class Error(RuntimeError):
    """The library has refused or given up a call. `code` is its result, a negative number of burst.h; the calls
    of the camera path return 0, too, where a stage has failed.

    Wrong arguments are a ValueError, memory that ran out a MemoryError, and the number of a frame that is
    not held a LookupError, each with the library's text.
    """

    def __init__(self, text: str, code: int) -> None:
        super().__init__(text)
        self.code = code

    def __reduce__(self) -> Tuple[Type[Error], Tuple[str, int]]:
        return Error, (str(self), self.code)  # with its code to other processes


# Velmora_SR_BurstProgress; what is handed to it is a Python object.
Progress = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.py_object, ctypes.c_double)


class Params(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        *[(name, ctypes.c_int32) for name in (
            "width", "height", "left", "top", "regionWidth", "regionHeight", "outputWidth",
            "outputHeight", "effort", "threads")],
        ("noise", ctypes.c_float),
        ("sharpened", ctypes.c_float),
        ("allocator", ctypes.c_void_p),
        ("executor", ctypes.c_void_p),
        ("progress", Progress),
        ("progressUser", ctypes.py_object),
    ]


class Planes(ctypes.Structure):
    """Velmora_SR_BurstFrame, and Velmora_SR_BurstPicture, which is laid out alike."""

    _fields_ = [
        *[(name, ctypes.c_void_p) for name in ("y", "u", "v")],
        *[(name, ctypes.c_ssize_t) for name in ("yStride", "uStride", "vStride")],
        *[(name, ctypes.c_int32) for name in ("yStep", "uStep", "vStep")],
    ]


class FrameRecord(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("use", ctypes.c_int32),
        ("reason", ctypes.c_char_p),
        ("homography", ctypes.c_double * 9),
        *[(name, ctypes.c_double) for name in (
            "gain", "bias", "residualBefore", "residualAfter", "meanWeight", "share")],
        ("localTiles", ctypes.c_int32),
    ]


class ReportRecord(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("framesUsed", ctypes.c_int32),
        ("noise", ctypes.c_double),
        ("noiseU", ctypes.c_double),
        ("noiseV", ctypes.c_double),
        ("milliseconds", ctypes.c_double * len(STAGES)),
        ("memory", ctypes.c_uint64),
        ("peakMemory", ctypes.c_uint64),
    ]


def _files_in(folder: pathlib.Path) -> Iterator[str]:
    for name in _NAMES:
        if (folder / name).is_file():
            yield str(folder / name)


def _candidates() -> Iterator[str]:
    named = os.environ.get("VELMORA_SR_LIBRARY")
    if named:  # that one or none
        yield from _files_in(pathlib.Path(named)) if os.path.isdir(named) else (named,)
        return
    yield from _files_in(pathlib.Path(__file__).parent)
    try:
        told = subprocess.run(["pkg-config", "--variable=libdir", "velmora_sr"], stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, check=False, encoding="utf-8").stdout.strip()
    except OSError:
        told = ""
    if told:
        yield from _files_in(pathlib.Path(told))
    yield _NAMES[0]
    found = ctypes.util.find_library("velmora_sr")
    if found:
        yield found


def _declare(library: ctypes.CDLL) -> ctypes.CDLL:
    handle, number = ctypes.c_void_p, ctypes.c_int32
    record = ctypes.POINTER
    for name, result, arguments in (
        ("BurstCreate", number, (record(Params), record(handle))),
        ("BurstDestroy", None, (record(handle),)),
        ("BurstAdd", number, (handle, record(Planes), record(number))),
        ("BurstRender", number, (handle, number, record(Planes))),
        ("BurstDrop", number, (handle, number)),
        ("BurstFrameReport", number, (handle, number, record(FrameRecord))),
        ("BurstReport", number, (handle, record(ReportRecord))),
        ("BurstWeights", number, (handle, number, ctypes.c_void_p, ctypes.c_ssize_t)),
        ("BurstMessage", ctypes.c_char_p, (handle,)),
    ):
        function = getattr(library, "VELMORA_SR_" + name)
        function.restype = result
        function.argtypes = arguments
    return library


@functools.lru_cache(maxsize=None)
def load() -> ctypes.CDLL:
    """The library, loaded by the first call. CDLL releases the interpreter's lock during calls."""
    faults = []
    for path in _candidates():
        try:
            return _declare(ctypes.CDLL(path))
        except OSError as error:
            faults.append(str(error))
        except AttributeError as error:  # a version without the burst stage
            faults.append(f"{path}: {error}")
    raise OSError("libvelmora_sr.so.1 cannot be loaded; VELMORA_SR_LIBRARY may name the file or its folder: "
                  + ("; ".join(faults) or "it is not there"))


def refuse(code: int, text: str) -> NoReturn:
    """Raises what a negative result stands for."""
    if code == BAD_ARGUMENT:
        raise ValueError(text)
    if code == NO_MEMORY:
        raise MemoryError(text)
    if code == NO_FRAME:
        raise LookupError(text)
    raise Error(text, code)
