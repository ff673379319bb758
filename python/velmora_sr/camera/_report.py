"""What a call of the camera path did."""
from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Dict, Optional, Tuple

import numpy as np
import numpy.typing as npt

from .._pictures import Samples
from .._values import Region
from . import _records
from ._records import ReportRecord

_STAGES = ("", "call", "reduction", "integral", "detector", "descriptor", "trees", "search", "RANSAC",
           "refinement", "area", "maps", "deghosting", "interpolation")


@dataclass(frozen=True)
class Residual:
    """How much two frames differ in luma where both show the same, in grey levels."""

    before: float  #: mean absolute difference of the samples at the same place
    after: float  #: of those where the homography leads, interpolated bilinearly
    first_mean: float  #: mean of the first frame
    second_mean: float  #: of the second, where the homography leads


@dataclass(frozen=True)
class Registration:
    """How the second frame lies to the first, and how that was found."""

    registered: bool
    reason: str  #: why not, else ""
    stage: str  #: that failed, else ""
    reduction: int  #: by which the analysed frames are smaller: 4 or 1
    detector_threshold: float  #: after the luma statistics: 280, 150 or 50
    match_ratio: float  #: bound of the ratio test: 0.45 or 0.4
    key_points: Tuple[npt.NDArray[np.float32], npt.NDArray[np.float32]]  #: (n, 2) each: x, y in pixels
    matches: npt.NDArray[np.int32]  #: (n, 2): indices of key points of the first and the second frame
    inliers: npt.NDArray[np.bool_]  #: (n,): the matches that agree with the homography
    homography: Optional[npt.NDArray[np.float32]]  #: (3, 3): pixels (x, y, 1) of the first to the second;
    #: None where too few points matched; there, too, where it was rejected
    rectangle: Optional[Region]  #: of the first frame, which the second covers; None unless registered
    residual: Optional[Residual]  #: None without a rectangle
    milliseconds: Dict[str, float]  #: elapsed times by stage


@dataclass(frozen=True)
class Report:
    """What `fuse` made of its two frames."""

    fused: bool  #: the picture shows both frames; False: the first alone
    reason: str  #: why not, else ""
    region: Region  #: the part of the first frame that the picture shows
    registration: Optional[Registration]  #: None for frames that were too small to be looked at
    ghost: Tuple[int, int]  #: thresholds of de-ghosting in force, in grey levels
    replaced_share: float  #: of the samples of the region, by de-ghosting, 0 to 1
    weights: Optional[Samples]  #: if wanted, (H, W) of the first frame: 255 kept, 0 replaced
    milliseconds: Dict[str, float]  #: elapsed times by stage, registration included


def milliseconds_of(record: ReportRecord) -> Dict[str, float]:
    return {name: record.milliseconds[number] for number, name in enumerate(_STAGES) if name}


def _key_points(record: ReportRecord, frame: int) -> npt.NDArray[np.float32]:
    count = record.keyPointCount[frame]
    points = np.empty((count, 2), np.float32)
    if count > 0:
        ctypes.memmove(points.ctypes.data, record.keyPoints[frame], points.nbytes)
    return points


def registration_of(record: ReportRecord) -> Registration:
    """Copies what lies in the library."""
    matches = np.empty((record.matchCount, 3), np.int32)
    if record.matchCount > 0:
        ctypes.memmove(matches.ctypes.data, record.matches, matches.nbytes)
    registered = record.registered != 0
    homography = np.array(record.homography[:], np.float32).reshape(3, 3) if record.hasHomography else None
    return Registration(
        registered, "" if registered else reason_of(record), "" if registered else _STAGES[record.stage],
        record.reduction, record.detectorThreshold, record.matchRatio,
        (_key_points(record, 0), _key_points(record, 1)), matches[:, :2], matches[:, 2] != 0, homography,
        Region(record.left, record.top, record.right, record.bottom) if registered else None, None,
        milliseconds_of(record))


def reason_of(record: ReportRecord) -> str:
    return (record.reason or b"").decode("utf-8", "replace")


def shown_of(record: ReportRecord) -> Region:
    return Region(record.shownLeft, record.shownTop, record.shownRight, record.shownBottom)


def is_about_frames(record: ReportRecord) -> bool:
    """Whether a registration that failed did so because of the frames."""
    return bool(record.cause == _records.CAUSE_FRAMES)
