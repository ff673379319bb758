"""Takes jobs to the workers of a cluster and their rows back."""
from __future__ import annotations

import functools
import itertools
import uuid
from typing import Any, Callable, Dict, Iterable, List, NamedTuple, Optional, Sequence, Tuple

from distributed import Client, Future, KilledWorker, as_completed

from . import _tool
from ._table import Row

Progress = Callable[[int, int, Sequence[Row]], None]

# Jobs that the scheduler holds for each thread of the workers: enough that none waits for the client, few
# enough that a million of them costs neither its memory nor its time.
_AHEAD = 4


class Job(NamedTuple):
    #: called on a worker; raises _tool.Refused for what no other try would change
    work: "functools.partial[List[Row]]"
    rows: List[Row]  #: what stands for the job when it fails


def _do(work: "functools.partial[Any]") -> Tuple[Any, Optional[str]]:
    """On a worker: the result, or why there is none. Other exceptions have the scheduler try again."""
    try:
        return work(), None
    except _tool.Refused as refusal:
        return None, str(refusal)


def require_one_version(client: Client) -> None:
    """Raises RuntimeError when workers have tools of several versions, and what keeps one from running its own."""
    versions = client.run(_tool.version)
    if len(set(versions.values())) > 1:
        raise RuntimeError(f"workers have tools of several versions: {versions}")


def ask(client: Client, retries: int, work: Callable[..., Any], *arguments: Any) -> Any:
    """What a function gives on a worker. Raises what it raises."""
    result, refusal = client.submit(_do, functools.partial(work, *arguments), pure=False, retries=retries).result()
    if refusal is not None:
        raise _tool.Refused(refusal)
    return result


def run(client: Client, jobs: Iterable[Job], total: int, retries: int, progress: Optional[Progress]) -> List[Row]:
    """The rows of all jobs, in their order; `total` is how many there will be.

    Jobs are taken as the workers come to them. Those under way are called off when this is broken off.
    """
    rows: Dict[int, Sequence[Row]] = {}
    waiting = iter(enumerate(jobs))
    under_way: Dict[Future, Tuple[int, Job]] = {}
    ended = as_completed(loop=client.loop, with_results=True, raise_errors=False)
    done = room = 0
    more = True
    try:
        while True:
            if more and len(under_way) <= room // 2:
                room = _AHEAD * max(1, sum(client.nthreads().values()))  # workers come and go
                wanted = max(1, room - len(under_way))
                batch = list(itertools.islice(waiting, wanted))
                more = len(batch) == wanted
                futures = client.map(_do, [job.work for _, job in batch], pure=False,
                                     retries=retries)
                under_way.update(zip(futures, batch))
                ended.update(futures)
            if not under_way:
                return list(itertools.chain.from_iterable(rows[number] for number in range(len(rows))))
            future, result = next(ended)
            number, job = under_way.pop(future)
            rows[number] = _rows(job, future.status, result)
            done += len(rows[number])
            if progress:
                progress(done, total, rows[number])
    finally:
        client.cancel(list(under_way))


def _rows(job: Job, status: str, result: Any) -> Sequence[Row]:
    if status == "finished":
        rows: Sequence[Row]
        rows, fault = result
        if fault is None:
            return rows
    elif status != "error":
        fault = f"given up by the scheduler: {status}"
    elif isinstance(result[1], KilledWorker):
        fault = "every worker that tried it was lost"
    else:
        fault = f"{result[0].__name__}: {result[1]}"
    return [row._replace(error=fault) for row in job.rows]


def new_id() -> str:
    """Of a run, by which its outputs are told from those that were there before."""
    return uuid.uuid4().hex
