"""Runs velmora-sr as a process of its own, and puts what it made in place: whole, once, with a record of how."""
from __future__ import annotations

import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import time
import uuid
from typing import Any, Callable, Dict, Iterable, Iterator, Sequence

from ._library import _candidates as libraries

Record = Dict[str, Any]

_NAME = "velmora-sr"


class Refused(RuntimeError):
    """The tool, or what lies where its output should go, refuses a job; another try would change nothing."""


class Died(RuntimeError):
    """A signal has ended the tool: another try may do better."""


def find() -> str:
    """The tool: the file that VELMORA_SR_TOOL names, else the one on PATH, else that of the library's tree."""
    named = os.environ.get("VELMORA_SR_TOOL")
    if named:
        return named
    found = shutil.which(_NAME)
    if found:
        return found
    for library in map(pathlib.Path, libraries()):
        for folder in library.parents if library.is_absolute() else ():
            tool = folder / "bin" / _NAME
            if os.access(tool, os.X_OK):
                return str(tool)
    raise FileNotFoundError(f"{_NAME} is not on this machine; VELMORA_SR_TOOL may name it")


def run(*arguments: str) -> str:
    """What the tool writes to standard output. Raises Refused with its message, or Died."""
    command = [find(), "--quiet", *arguments]
    # A worker that is killed takes its tool along, so that the next try has the processor for itself.
    leash = shutil.which("setpriv")
    if leash:
        command = [leash, "--pdeathsig", "KILL", *command]
    ended = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                           check=False, encoding="utf-8", errors="replace")
    if ended.returncode < 0:
        raise Died(f"{_NAME} was ended by {signal.Signals(-ended.returncode).name}")
    if ended.returncode > 0:
        errors = [line.partition("error: ")[2] for line in ended.stderr.splitlines() if "error: " in line]
        raise Refused("; ".join(errors) or ended.stderr.strip() or f"exit status {ended.returncode}")
    return ended.stdout


def version() -> str:
    """The version that decides what the bytes are."""
    return run("--version").splitlines()[0]


def describe(path: str) -> list[object]:
    """By what a file is known again: its name, size and time of change."""
    about = os.stat(path)
    return [os.path.basename(path), about.st_size, about.st_mtime_ns]


def make(command: str, inputs: Sequence[str], arguments: Sequence[str], output: str, run_id: str) -> Record:
    """Has the tool make a file from others. See `produce`."""
    # A worker runs a job for each of its threads. The camera's calls have a pool of their own.
    fixed = any(argument.startswith("--threads=") for argument in arguments) or "--method=camera" in arguments
    threads = [] if fixed else ["--threads=1"]

    def work(path: str) -> Iterator[str]:
        for line in run(command, *arguments, *threads, "-o", path, "--json", "-", "--", *inputs).splitlines():
            report = json.loads(line)
            del report["output"]  # where it was made, not where it is
            yield json.dumps(report) + "\n"

    return produce(work, origin_of(command, inputs, arguments), output, run_id)


def origin_of(command: str, inputs: Sequence[str], arguments: Sequence[str]) -> Record:
    """What the bytes of a file come from, as records have it."""
    chosen = [argument for argument in arguments if not argument.startswith("--threads=")]
    return {"command": command, "arguments": chosen, "inputs": [_describe(path) for path in inputs]}


def _describe(path: str) -> list[object]:
    """By what a file is known again: its name, size and time of change."""
    about = os.stat(path)
    return [os.path.basename(path), about.st_size, about.st_mtime_ns]


def produce(work: Callable[[str], Iterable[str]], origin: Record, output: str, run_id: str) -> Record:
    """Calls `work` with the path of a file to make, and moves that file to `output`.

    The record beside the output is there first: a line of its `origin`, the run, the machine and the time it
    took, which is returned, and then the lines that `work` gives, one for each picture. An output that is
    there already is left alone: if it has the same origin it is the one that is asked for, else the job is
    refused.
    """
    folder, name = os.path.split(output)
    # Of this output alone: a try that comes after one whose worker was killed removes what is left of it.
    scratch = os.path.join(folder, f".{name}.making")
    shutil.rmtree(scratch, ignore_errors=True)
    if os.path.lexists(output):
        return known(output, origin)
    os.makedirs(scratch, exist_ok=True)
    try:
        made = os.path.join(scratch, uuid.uuid4().hex + os.path.splitext(name)[1])
        start = time.monotonic()
        report = list(work(made))
        record = {**origin, "run": run_id, "host": socket.gethostname(),
                  "seconds": round(time.monotonic() - start, 3)}
        with open(_record_path(made), "w", encoding="utf-8") as file:
            file.write(json.dumps(record) + "\n")
            file.writelines(report)
            file.flush()
            os.fsync(file.fileno())
        if os.path.lexists(output):
            return known(output, origin)
        os.replace(_record_path(made), _record_path(output))
        return record if _place(made, output) else known(output, origin)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


def known(output: str, origin: Record) -> Record:
    """The record of an output that is there. Refuses one that is of another origin."""
    try:
        with open(_record_path(output), encoding="utf-8") as file:
            record: Record = json.loads(file.readline())
        same = all(record[key] == value for key, value in origin.items())
    except (FileNotFoundError, ValueError, KeyError, TypeError) as error:
        raise Refused(f"{output}: exists already, and nothing tells how it was made") from error
    if not same:
        raise Refused(f"{output}: exists already, made of other inputs or with other options")
    return record


def report_of(output: str) -> Iterator[str]:
    """What the tool has told of each picture, a line of JSON for each."""
    with open(_record_path(output), encoding="utf-8") as file:
        file.readline()
        yield from file


def _record_path(output: str) -> str:
    return output + ".jsonl"


def _place(made: str, output: str) -> bool:
    """Gives a finished file its name, unless another has it."""
    try:
        os.link(made, output)
    except FileExistsError:
        return False
    except OSError:  # a file system without links
        os.rename(made, output)
    return True
