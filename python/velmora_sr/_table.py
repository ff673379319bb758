"""The table of a run: a row for each picture."""
from __future__ import annotations

import csv
import importlib.util
import os
import tempfile
from typing import Any, Iterable, Mapping, NamedTuple, Optional


class Row(NamedTuple):
    """One picture. What is not known is None."""

    name: str  #: of the burst; of a frame of a clip, its number
    options: str  #: as the tool takes them
    output: str  #: path of the picture or clip
    status: str  #: "made", "kept" of an earlier run, or "failed"
    error: Optional[str] = None  #: why it failed
    width: Optional[int] = None  #: of the picture in pixels, as height
    height: Optional[int] = None
    frames: Optional[int] = None  #: that were offered
    used: Optional[int] = None  #: of these, the reference among them
    left_out: Optional[str] = None  #: why others were not
    reference: Optional[int] = None  #: its number, from 1
    share: Optional[float] = None  #: of the reference in the picture, 0 to 1
    noise: Optional[float] = None  #: standard deviation of luma in grey levels
    motion: Optional[float] = None  #: the largest of the frames, in pixels of the input
    residual: Optional[float] = None  #: the largest of the frames used, along the motion, in grey levels
    seconds: Optional[float] = None  #: wall time of the job that made the file it is in
    host: Optional[str] = None  #: the machine that made it


# Nullable types of pandas; all others are text.
_TYPES = {**dict.fromkeys(("width", "height", "frames", "used", "reference"), "Int64"),
          **dict.fromkeys(("share", "noise", "motion", "residual", "seconds"), "Float64")}


def rows_of(rows: Iterable[Row], record: Mapping[str, Any], run_id: str,
            pictures: Iterable[Mapping[str, Any]]) -> list[Row]:
    """`rows` filled in with what the tool reports of their pictures; `record` is that of their output."""
    status = "made" if record["run"] == run_id else "kept"
    return [_filled(row, picture)._replace(status=status, seconds=record["seconds"], host=record["host"])
            for picture, row in zip(pictures, rows)]


def _filled(row: Row, picture: Mapping[str, Any]) -> Row:
    frames = picture["frames"]
    used = [frame for frame in frames if frame["use"] != "left out"]
    others = [frame for frame in used if frame["use"] != "reference"]
    reasons = sorted({frame["reason"] for frame in frames if frame["reason"]})
    share = [frame["share"] for frame in frames if frame["use"] == "reference"]
    return row._replace(
        width=picture["width"], height=picture["height"], frames=len(frames), used=len(used),
        left_out="; ".join(reasons) or None, reference=picture["reference"], share=share[0] if share else None,
        noise=picture["noise"], motion=_largest(frame["motion"] for frame in others),
        residual=_largest(frame["residual"]["after"] for frame in others))


def _largest(values: Iterable[Optional[float]]) -> Optional[float]:
    return max((value for value in values if value is not None), default=None)


def require_format(path: str) -> None:
    """Raises ValueError for a table that cannot be written here, before there are rows for it."""
    suffix = os.path.splitext(path)[1]
    if suffix not in (".csv", ".parquet"):
        raise ValueError(f"{path}: a table is a .csv or a .parquet")
    engines = ("pyarrow", "fastparquet")
    if suffix == ".parquet" and not (importlib.util.find_spec("pandas")
                                     and any(map(importlib.util.find_spec, engines))):
        raise ValueError(f"{path}: a .parquet takes pandas and {' or '.join(engines)}; write a .csv")


def write_table(rows: Iterable[Row], path: str | os.PathLike[str]) -> None:
    """Writes rows as CSV or, where pandas and pyarrow or fastparquet are there, as Parquet, by the extension.

    A table of that name is replaced when the new one is complete.
    """
    path = os.path.abspath(path)
    require_format(path)
    with tempfile.TemporaryDirectory(prefix=".table.", dir=os.path.dirname(path)) as scratch:
        made = os.path.join(scratch, os.path.basename(path))
        if path.endswith(".csv"):
            with open(made, "w", newline="", encoding="utf-8") as file:
                table = csv.writer(file)
                table.writerow(Row._fields)
                table.writerows(rows)
        else:
            import pandas

            types = {name: _TYPES.get(name, "string") for name in Row._fields}
            pandas.DataFrame(list(rows), columns=Row._fields).astype(types).to_parquet(made, index=False)
        os.replace(made, path)
