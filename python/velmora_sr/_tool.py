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
from typing import Any, Callable, Sequence

from ._library import _candidates as libraries

Record = "dict[str, Any]"

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


def record_of(output: str) -> Record | None:
    """How a file was made, if that is known."""
    try:
        with open(output + ".json", encoding="utf-8") as file:
            record = json.load(file)
    except (FileNotFoundError, ValueError):
        return None
    return record if isinstance(record, dict) else None


def make(command: str, inputs: Sequence[str], arguments: Sequence[str], output: str, run_id: str) -> Record:
    """Has the tool make a file. See `produce`."""
    def work(path: str) -> dict[str, Any]:
        report = json.loads(run(command, *arguments, "-o", path, "--json", "-", "--", *inputs))
        report.pop("output", None)  # where it was made, not where it is
        return report

    return produce(work, {"command": command, "arguments": list(arguments),
                          "inputs": [describe(path) for path in inputs]}, output, run_id)


def produce(work: Callable[[str], dict[str, Any]], origin: dict[str, Any], output: str,
            run_id: str) -> Record:
    """Calls `work` with the path of a file to make, and moves that file to `output`.

    The report that `work` returns goes into the record, beside the output: how it was made (`origin`), by
    which run, where and how long. The record is there before the output is. An output that is there
    already is left alone: with a record of the same origin it is the one that is asked for, else the job is
    refused.
    """
    if os.path.lexists(output):
        record = record_of(output)
        if record is None:
            raise Refused(f"{output}: exists already, and nothing tells how it was made")
        if any(record.get(key) != value for key, value in origin.items()):
            raise Refused(f"{output}: exists already, made of other inputs or with other options")
        return record
    folder, name = os.path.split(output)
    # Of this output alone: a try that comes after one whose worker was killed removes what is left of it.
    scratch = os.path.join(folder, f".{name}.making")
    shutil.rmtree(scratch, ignore_errors=True)
    os.makedirs(scratch, exist_ok=True)
    try:
        made = os.path.join(scratch, uuid.uuid4().hex + os.path.splitext(name)[1])
        start = time.monotonic()
        report = work(made)
        record = {**origin, "run": run_id, "host": socket.gethostname(),
                  "seconds": round(time.monotonic() - start, 3), "report": report}
        with open(made + ".json", "w", encoding="utf-8") as file:
            json.dump(record, file)
            file.write("\n")
            file.flush()
            os.fsync(file.fileno())
        if not os.path.lexists(output):
            os.replace(made + ".json", output + ".json")
        _place(made, output)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    return record


def _place(made: str, output: str) -> None:
    """Gives a finished file its name, which it takes from no other file."""
    try:
        os.link(made, output)
    except FileExistsError as error:
        raise Refused(f"{output}: exists already, another process has made it meanwhile") from error
    except OSError:  # a file system without links
        os.rename(made, output)
