"""The records and functions of velmora_sr.h and report.h."""
from __future__ import annotations

import ctypes
import functools

from .. import _library

SCENE_SINGLE = 0
SCENE_LEFT_RIGHT = 1
SCENE_LEFT_LEFT = 2

FORMATS = {"nv12": 4, "nv21": 5}

CAUSE_FRAMES = 1
CAUSE_MEMORY = 2

_STAGE_ROOM = 16

Allocate = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_int32)
Release = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int32)


class CreateParams(ctypes.Structure):
    _fields_ = [
        *[(name, ctypes.c_int32) for name in ("inImageWidth", "inImageHeight", "srScene")],
        ("alloc", Allocate),
        ("free", Release),
        ("configFileName", ctypes.c_char_p),
        ("kernelFileName", ctypes.c_char_p),
    ]


class TuningBytes(ctypes.Structure):
    _fields_ = [
        ("configuration", ctypes.c_char_p),
        ("configurationSize", ctypes.c_uint32),
        ("kernels", ctypes.c_char_p),
        ("kernelsSize", ctypes.c_uint32),
    ]


class InputFrames(ctypes.Structure):
    _fields_ = [
        *[(name, ctypes.c_int32) for name in ("width", "height", "format")],
        ("leftData", ctypes.c_void_p),
        ("reserved5", ctypes.c_uint32),
        ("rightData", ctypes.c_void_p),
        ("reserved7", ctypes.c_uint32),
        *[(name, ctypes.c_int32) for name in ("left", "top", "right", "bottom")],
        *[(name, ctypes.c_uint32) for name in ("reserved12", "reserved13", "reserved14")],
        ("leftData2", ctypes.c_void_p),
    ]


class OutputFrame(ctypes.Structure):
    _fields_ = [
        *[(name, ctypes.c_int32) for name in ("width", "height", "format")],
        ("data", ctypes.c_void_p),
        *[(name, ctypes.c_int32) for name in ("left", "top", "right", "bottom")],
    ]


class KeyPoint(ctypes.Structure):
    _fields_ = [("x", ctypes.c_float), ("y", ctypes.c_float)]


class Match(ctypes.Structure):
    _fields_ = [(name, ctypes.c_int32) for name in ("first", "second", "inlier")]


class ReportRecord(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        *[(name, ctypes.c_int32) for name in (
            "scene", "result", "written", "fused", "registered", "stage", "cause")],
        ("reason", ctypes.c_char_p),
        ("reduction", ctypes.c_int32),
        ("detectorThreshold", ctypes.c_float),
        ("matchRatio", ctypes.c_float),
        ("keyPointCount", ctypes.c_int32 * 2),
        ("matchCount", ctypes.c_int32),
        ("inlierCount", ctypes.c_int32),
        ("keyPoints", ctypes.POINTER(KeyPoint) * 2),
        ("matches", ctypes.POINTER(Match)),
        ("hasHomography", ctypes.c_int32),
        ("homography", ctypes.c_float * 9),
        *[(name, ctypes.c_int32) for name in ("left", "top", "right", "bottom", "ghostLow", "ghostHigh")],
        ("replacedShare", ctypes.c_double),
        *[(name, ctypes.c_int32) for name in (
            "configurationRead", "kernelsRead", "kernelPhases",
            "shownLeft", "shownTop", "shownRight", "shownBottom")],
        ("milliseconds", ctypes.c_double * _STAGE_ROOM),
    ]


@functools.lru_cache(maxsize=None)
def load() -> ctypes.CDLL:
    """The library, with the functions of the camera path declared."""
    library = _library.load()
    handle, number, record = ctypes.c_void_p, ctypes.c_int32, ctypes.POINTER
    for name, arguments in (
        ("CreateFromMemory", (record(CreateParams), record(TuningBytes), record(handle))),
        ("Register", (handle, record(InputFrames), number)),
        ("RequestWeights", (handle, ctypes.c_void_p)),
        ("Process", (handle, record(InputFrames), number, record(OutputFrame))),
        ("GetReport", (handle, record(ReportRecord))),
        ("Destroy", (record(handle),)),
    ):
        function = getattr(library, "VELMORA_SR_" + name)
        function.restype = number
        function.argtypes = arguments
    return library
