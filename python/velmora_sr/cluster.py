"""Many bursts, long clips and sets of options on several machines, by Dask distributed and the tool.

    from distributed import Client
    from velmora_sr import cluster

    client = Client("scheduler:8786")
    rows = cluster.map_bursts(client, "/archive/bursts", "/archive/pictures", {"scale": 2}, table="run.csv")
    rows = cluster.video(client, "/archive/clip.y4m", "/archive/big.y4m", {"window": 5})

Paths are the same on all machines: workers and the client share the storage. Each worker runs the tool
`velmora-sr` as a process of its own, one at a time for each of its threads: the one that VELMORA_SR_TOOL
names there, else the one on PATH, else that of the library's tree. All have to be of one version.

An output appears under its name when it is complete, and what has that name already is never replaced.
Beside it stands its record, `OUTPUT.jsonl`: what it was made of, with which options, where, and what became
of each frame. A job of a worker that is lost goes to another one. A run that was broken off is started
again with the same call: outputs with a record of the same inputs (by name, size and time of change) and
options are kept. What a killed worker has left half done lies in a folder `.OUTPUT.making` until then.
One run at a time may write a folder of outputs.
"""
from __future__ import annotations

import glob
import hashlib
import itertools
import json
import os
import shutil
import stat
import sys
import urllib.parse
from functools import partial
from typing import Any, Iterable, Iterator, List, Mapping, NamedTuple, Optional, Sequence, TextIO, Union

from distributed import Client

from . import _jobs, _tool
from ._jobs import Progress
from ._table import Row, require_format, rows_of, write_table

__all__ = ["Incomplete", "Row", "bursts_in", "map_bursts", "show_progress", "video", "write_table"]

Path = Union[str, "os.PathLike[str]"]
Burst = Union[Path, Sequence[Path]]  # a folder, or files
Options = Mapping[str, Any]

# Options that say where files go, and which frames are made: the run's.
_OWN_OPTIONS = {"output", "output-dir", "name", "jobs", "bursts", "json", "mask", "strict", "frames", "help"}
_PICTURES = (".png", ".jpg", ".jpeg", ".tif", ".tiff", ".webp")


class Incomplete(RuntimeError):
    """Parts of a clip could not be made. `rows` tells of all; those that were made are kept for the next run."""

    def __init__(self, text: str, rows: List[Row]) -> None:
        super().__init__(text)
        self.rows = rows


def bursts_in(folder: Path) -> List[str]:
    """The subfolders of a folder in the order of their names, but for hidden ones."""
    with os.scandir(folder) as entries:
        return sorted(entry.path for entry in entries if entry.is_dir() and not entry.name.startswith("."))


def map_bursts(client: Client, inputs: Union[Path, Iterable[Burst]], outputs: Union[Path, Sequence[Path]],
               options: Union[Options, Sequence[Options], None] = None, *, name: str = "{}.png",
               table: Optional[Path] = None, retries: int = 3,
               progress: Optional[Progress] = None) -> List[Row]:
    """Makes a picture of each burst with `velmora-sr fuse`, and returns a row for each, in their order.

    inputs: a folder, each subfolder of which is a burst, or a list of bursts. A burst is a folder, of which
        the pictures are taken in the order of their names, or a list of files.
    outputs: a folder, made if missing, in which the picture of a burst is called `name`, with {} for the name
        of its folder or, without extension, of its first file. Or a list with a path for each burst.
    options: those of `velmora-sr fuse` without their dashes, such as {"scale": 1.5, "effort": "fast"}. True
        stands for an option that takes no value, a tuple for values with commas between them; files are
        given as pathlib.Path or with their whole path. A list of such sets makes a picture of each burst
        with each set, in a subfolder of `outputs` that is called by the set ("scale=1.5,effort=fast").
        A burst is made by one thread unless {"threads": N} is given.
    table: a .csv or .parquet file for the rows, see `write_table`.
    retries: how often a burst is tried again when a signal has ended its tool or its storage has failed. A
        burst whose worker is lost is tried as often as the scheduler allows
        (distributed.scheduler.allowed-failures); for those that wait there it counts as a try.
    progress: called with the number of pictures done, that of all, and the rows that have come; see
        `show_progress`.

    A burst that fails is a row with status "failed" and does not stop the others. Raises ValueError for what
    makes no sense before any work is done, and RuntimeError when workers have tools of several versions.
    """
    if options is None or isinstance(options, Mapping):
        sets, one_set = [options or {}], True
    else:
        sets, one_set = list(options), False
    bursts = [_absolute(burst)
              for burst in (bursts_in(inputs) if isinstance(inputs, (str, os.PathLike)) else inputs)]
    run_id = _jobs.new_id()
    jobs = []
    for chosen in sets:
        arguments = _arguments(chosen)
        label = _label(arguments)
        if isinstance(outputs, (str, os.PathLike)):
            folder = os.path.abspath(outputs)
            if not one_set:
                folder = os.path.join(folder, urllib.parse.quote(label, safe="=,") or "default")
            paths = [os.path.join(folder, name.format(_stem(burst))) for burst in bursts]
        else:
            paths = [os.path.abspath(path) for path in outputs]
            if not one_set or len(paths) != len(bursts):
                raise ValueError("outputs: a list has a path for each burst, and goes with one set of options")
        for burst, path in zip(bursts, paths):
            row = Row(_stem(burst), label, path, "failed")
            jobs.append(_jobs.Job(partial(_fuse, row, burst, arguments, run_id), [row]))
    _require_different([job.rows[0].output for job in jobs])
    _check(client, table)
    rows = _jobs.run(client, jobs, len(jobs), retries, progress)
    if table is not None:
        write_table(rows, table)
    return rows


def video(client: Client, clip: Path, out: Path, options: Optional[Options] = None, *, part_frames: int = 64,
          table: Optional[Path] = None, retries: int = 3, progress: Optional[Progress] = None) -> List[Row]:
    """Makes a clip with `velmora-sr video` on all workers, and returns a row for each frame.

    clip: a Y4M file or raw frames; its length has to be known, so no pipe.
    out: a .y4m or raw file, of the bytes that one run of the tool over the whole clip gives.
    options: those of `velmora-sr video`, as for `map_bursts`.
    part_frames: how many frames a job makes; it reads those around them, too. Parts lie in a folder
        `.OUT.*.parts` until the clip is complete, so that a run that was broken off goes on with the missing
        ones, if this number stays the same. In the meantime they take as much storage again as `out`.
    table, retries, progress: as for `map_bursts`.

    Raises Incomplete when parts could not be made, and RuntimeError for a clip or options that the tool
    refuses; `out` then stays what it was.
    """
    if part_frames < 1:
        raise ValueError("part_frames: a part has one frame or more")
    if os.fspath(clip) == "-" or os.fspath(out) == "-":
        raise ValueError("workers share no standard input and output: clip and out are files")
    arguments = _arguments(options or {})
    clip, out = os.path.abspath(clip), os.path.abspath(out)
    run_id = _jobs.new_id()
    _check(client, table)
    plan: _Plan = _jobs.ask(client, retries, _plan, clip, out, arguments)
    rows = plan.rows
    if not rows:
        jobs = _part_jobs(plan, clip, out, arguments, part_frames, run_id)
        rows = _jobs.run(client, jobs, plan.frames, retries, progress)
        failed = [row for row in rows if row.status == "failed"]
        if failed:
            raise Incomplete(f"{out}: {len(failed)} of {len(rows)} frames are missing: {failed[0].error}", rows)
        _jobs.ask(client, retries, _join, plan, clip, out, arguments, [job.work.args[2] for job in jobs], run_id)
    if table is not None:
        write_table(rows, table)
    return rows


def show_progress(stream: TextIO = sys.stderr) -> Progress:
    """A function for `progress`: a line that is rewritten, and one for each failure, which stays."""
    failures = 0

    def show(done: int, total: int, rows: Sequence[Row]) -> None:
        nonlocal failures
        if rows and rows[0].status == "failed":
            failures += len(rows)
            stream.write(f"\r\x1b[K{rows[0].name}: {rows[0].error}\n")
        stream.write(f"\r{done} of {total}" + (f", {failures} failed" if failures else ""))
        if done == total:
            stream.write("\n")
        stream.flush()

    return show


# --- On the client ---


def _arguments(options: Options) -> List[str]:
    """Options as the tool takes them."""
    arguments = []
    for key, value in options.items():
        option = key.replace("_", "-")
        if option in _OWN_OPTIONS:
            raise ValueError(f"{key}: is not for the caller to set, but for the run")
        if isinstance(value, os.PathLike):
            value = os.path.abspath(value)
        elif isinstance(value, (tuple, list)):
            value = ",".join(map(str, value))
        if value is None or value is False:
            continue
        arguments.append(f"--{option}" if value is True else f"--{option}={value}")
    return arguments


def _label(arguments: Sequence[str]) -> str:
    return ",".join(argument[2:] for argument in arguments)


def _absolute(burst: Burst) -> Union[str, List[str]]:
    if isinstance(burst, (str, os.PathLike)):
        return os.path.abspath(burst)
    if not burst:
        raise ValueError("inputs: a burst without files")
    return [os.path.abspath(file) for file in burst]


def _stem(burst: Union[str, Sequence[str]]) -> str:
    """By what a burst is called."""
    return os.path.basename(burst) if isinstance(burst, str) else os.path.splitext(os.path.basename(burst[0]))[0]


def _require_different(outputs: Iterable[str]) -> None:
    seen = set()
    for output in outputs:
        if output in seen:
            raise ValueError(f"two pictures would be {output}; give each burst and each set a name of its own")
        seen.add(output)


def _check(client: Client, table: Optional[Path]) -> None:
    """What would otherwise come out when all is done, or as many failures."""
    if table is not None:
        require_format(os.path.abspath(table))
    _jobs.require_one_version(client)


class _Plan(NamedTuple):
    """What a worker finds out about a clip."""

    rows: List[Row]  # if an earlier run has finished it
    frames: int  # else, as the folder for the parts
    folder: str


def _part_jobs(plan: _Plan, clip: str, out: str, arguments: Sequence[str], part_frames: int,
               run_id: str) -> List[_jobs.Job]:
    jobs = []
    for first in range(1, plan.frames + 1, part_frames):
        last = min(first + part_frames - 1, plan.frames)
        part = os.path.join(plan.folder, f"{first:09}-{last:09}{os.path.splitext(out)[1]}")
        # The last part goes on to the end, so that a clip that breaks off there is found out.
        chosen = [*arguments, f"--frames={first}-" + ("" if last == plan.frames else str(last))]
        rows = [Row(str(number), _label(arguments), out, "failed") for number in range(first, last + 1)]
        jobs.append(_jobs.Job(partial(_part, rows, clip, part, chosen, run_id), rows))
    return jobs


# --- On the workers ---


def _pictures(output: str) -> Iterator[Mapping[str, Any]]:
    return map(json.loads, _tool.report_of(output))


def _fuse(row: Row, burst: Union[str, List[str]], arguments: Sequence[str], run_id: str) -> List[Row]:
    if isinstance(burst, str):
        with os.scandir(burst) as entries:
            burst = sorted(entry.path for entry in entries if entry.is_file()
                           and not entry.name.startswith(".") and entry.name.lower().endswith(_PICTURES))
    record = _tool.make("fuse", burst, arguments, row.output, run_id)
    return rows_of([row], record, run_id, _pictures(row.output))


def _plan(clip: str, out: str, arguments: Sequence[str]) -> _Plan:
    if not stat.S_ISREG(os.stat(clip).st_mode):
        raise _tool.Refused(f"{clip}: is no file, so how many frames it has is not known")
    origin = _tool.origin_of("video", [clip], arguments)
    if os.path.lexists(out):
        record = _tool.known(out, origin)
        _remove_parts(out)
        blank = (Row(str(number), _label(arguments), out, "failed") for number in itertools.count(1))
        return _Plan(rows_of(blank, record, "", _pictures(out)), 0, "")
    raw = [argument for argument in arguments if argument.startswith(("--input-size=", "--input-format="))]
    frames = json.loads(_tool.run("info", "--json", *raw, "--", clip)).get("frames", 0)
    if frames < 1:
        raise _tool.Refused(f"{clip}: its header does not tell how many frames it has")
    # Parts of other origin or by another tool lie elsewhere.
    digest = hashlib.sha256(json.dumps([origin, _tool.version()]).encode()).hexdigest()[:16]
    folder, name = os.path.split(out)
    return _Plan([], frames, os.path.join(folder, f".{name}.{digest}.parts"))


def _part(rows: List[Row], clip: str, part: str, arguments: Sequence[str], run_id: str) -> List[Row]:
    record = _tool.make("video", [clip], arguments, part, run_id)
    pictures = list(_pictures(part))
    if len(pictures) != len(rows):
        raise _tool.Refused(f"{clip}: from frame {rows[0].name} on there should be {len(rows)} frames, not "
                            f"{len(pictures)}")
    return rows_of(rows, record, run_id, pictures)


def _join(plan: _Plan, clip: str, out: str, arguments: Sequence[str], parts: Sequence[str], run_id: str) -> None:
    def work(path: str) -> Iterator[str]:
        with open(path, "wb") as whole:
            header = None
            for part in parts:
                with open(part, "rb") as file:
                    if file.read(10) == b"YUV4MPEG2 ":  # each part has the header of the whole
                        file.seek(0)
                        line = file.readline()
                        if header is None:
                            whole.write(line)
                        elif line != header:
                            raise _tool.Refused(f"{part}: has another header than the part before")
                        header = line
                    else:
                        file.seek(0)
                    shutil.copyfileobj(file, whole, 1 << 22)
                yield from _tool.report_of(part)
            whole.flush()
            os.fsync(whole.fileno())

    _tool.produce(work, _tool.origin_of("video", [clip], arguments), out, run_id)
    _remove_parts(out)


def _remove_parts(out: str) -> None:
    folder, name = os.path.split(out)
    for parts in glob.glob(os.path.join(glob.escape(folder), f".{glob.escape(name)}.*.parts")):
        shutil.rmtree(parts, ignore_errors=True)
