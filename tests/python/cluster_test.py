"""Bursts and clips on a cluster, against plain runs of the tool. Run as a program, it exits with 77 where
distributed is missing."""
import csv
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor

from support import SOURCES, TOOL, pytest, run, scene

try:
    from distributed import Client
except ImportError as error:
    print(error)
    sys.exit(77)

from velmora_sr import _tool, cluster

WIDTH, HEIGHT = 64, 48


def tool(*arguments):
    return subprocess.run([TOOL, "--quiet", *map(str, arguments)], check=True, stdout=subprocess.PIPE).stdout


def frames(count, seed):
    """Views of a smooth scene, each a pixel on from the one before, as I420."""
    samples = scene(seed, HEIGHT + 2, WIDTH + 2 * count)
    grey = bytes([128]) * (WIDTH * HEIGHT // 2)
    return [samples[1:-1, at:at + WIDTH].tobytes() + grey for at in range(count)]


class Cluster:
    """A scheduler and two workers, processes of their own. Their tool is a script that writes down its calls,
    and stops at the first that `trap` is in, for the test to kill its worker."""

    def __init__(self, folder):
        self.folder = folder
        self.log, self.trapped = folder / "log", folder / "trapped"
        self._trap = folder / "trap"
        script = folder / "tool"
        script.write_text(f"""#!/bin/sh
echo "$*" >>{self.log}
if [ -e {self._trap} ] && echo "$*" | grep -qFf {self._trap} && mv {self._trap} {self._trap}.sprung; then
  echo "$$ $PPID" >{self.trapped}.new
  mv {self.trapped}.new {self.trapped}
  exec sleep 600
fi
exec {TOOL} "$@"
""")
        script.chmod(0o755)
        self._environment = {**os.environ, "VELMORA_SR_TOOL": str(script),
                             "DASK_DISTRIBUTED__SCHEDULER__ALLOWED_FAILURES": "1"}
        self._file = folder / "scheduler.json"
        self._workers = []
        self._scheduler = self._start("scheduler", "--port", "0")
        self.client = Client(scheduler_file=str(self._file), set_as_default=False)

    def _start(self, kind, *options):
        return subprocess.Popen(
            ["/usr/bin/env", "-C", str(self.folder), sys.executable, "-m", f"distributed.cli.dask_{kind}", "--host",
             "127.0.0.1", "--no-dashboard", "--scheduler-file", str(self._file), *options],
            env=self._environment, stdout=subprocess.DEVNULL, stderr=(self.folder / "messages").open("a"))

    def refresh(self):
        """Two workers, an empty log, no trap."""
        self._workers = [worker for worker in self._workers if worker.poll() is None]
        while len(self._workers) < 2:
            self._workers.append(self._start("worker", "--no-nanny", "--nthreads", "1", "--local-directory",
                                             str(self.folder)))
        self.client.wait_for_workers(2, timeout=120)
        for file in (self.log, self.trapped, self._trap):
            file.unlink(missing_ok=True)

    def trap(self, text):
        self._trap.write_text(text)

    def wait_for_trapped(self, result):
        """The processes of the tool that is trapped, and of its worker, while `result` is not there yet."""
        wait_for(lambda: self.trapped.exists() or result.done())
        if not self.trapped.exists():
            pytest.fail(f"nothing was trapped: {result.result(timeout=120)}")
        return map(int, self.trapped.read_text().split())

    def kill_trapped(self, result):
        """Kills the worker whose tool is trapped; returns the process of that tool."""
        process, worker = self.wait_for_trapped(result)
        self.kill(worker)
        return process

    def kill(self, worker):
        own, = (own for own in self._workers if own.pid == worker)
        own.kill()
        own.wait()

    def calls(self, text):
        return sum(text in line for line in self.log.read_text().splitlines())

    def stop(self):
        self.client.close()
        for process in (*self._workers, self._scheduler):
            process.terminate()
            process.wait(120)


def wait_for(condition):
    end = time.monotonic() + 120
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.02)


def is_gone(process):
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] in "ZX"
    except FileNotFoundError:
        return True


@pytest.fixture(scope="module")
def processes(tmp_path_factory):
    started = Cluster(tmp_path_factory.mktemp("cluster"))
    yield started
    started.stop()


@pytest.fixture
def workers(processes):
    processes.refresh()
    return processes


@pytest.fixture(scope="module")
def bursts(tmp_path_factory):
    """Six bursts of two frames, as PNG."""
    folder = tmp_path_factory.mktemp("bursts")
    for number in range(6):
        (folder / f"b{number}").mkdir()
        for at, block in enumerate(frames(2, number)):
            raw = folder / f"frame_w{WIDTH}_h{HEIGHT}_f0.yuv"
            raw.write_bytes(block)
            tool("upscale", raw, "--scale", 1, "-o", folder / f"b{number}" / f"{at}.png")
            raw.unlink()
    return folder


@pytest.fixture(scope="module")
def clip(tmp_path_factory):
    path = tmp_path_factory.mktemp("clip") / "clip.y4m"
    path.write_bytes(f"YUV4MPEG2 W{WIDTH} H{HEIGHT} F25:1 XMARK=1\n".encode()
                     + b"".join(b"FRAME\n" + block for block in frames(11, 9)))
    return path


def pictures(folder):
    return {path.name: path.read_bytes() for path in folder.iterdir() if path.suffix != ".jsonl"}


@pytest.fixture(scope="module")
def background():
    with ThreadPoolExecutor() as threads:
        yield threads.submit


def test_bursts_survive_a_lost_worker_and_are_made_once(workers, background, bursts, tmp_path):
    workers.trap("b2/")
    seen = []
    result = background(cluster.map_bursts, workers.client, bursts, tmp_path / "out", {"scale": 1.5},
                        table=tmp_path / "table.csv", progress=lambda *state: seen.append(state[:2]))
    trapped = workers.kill_trapped(result)
    rows = result.result(timeout=120)
    wait_for(lambda: is_gone(trapped))  # it would go on beside the next try
    tool("fuse", "--bursts", bursts, "--scale", 1.5, "--output-dir", tmp_path / "plain")
    assert pictures(tmp_path / "out") == pictures(tmp_path / "plain")
    assert [workers.calls(f"/b{number}/0.png") for number in range(6)] == [1, 1, 2, 1, 1, 1]
    assert seen == [(done, 6) for done in range(1, 7)]

    row = rows[2]
    assert row[:8] == ("b2", "scale=1.5", str(tmp_path / "out/b2.png"), "made", None, 96, 72, 2)
    assert row.used == 2 and row.reference == 1 and row.left_out is None and 0.9 < row.motion < 1.1
    assert 0.3 < row.share < 0.7 and row.residual < 2 and row.seconds > 0
    with open(tmp_path / "table.csv", newline="") as file:
        table = list(csv.DictReader(file))
    assert table == [{key: "" if value is None else str(value) for key, value in row._asdict().items()}
                     for row in rows]

    # Finished ones are kept, a missing one is made again, and one of other inputs is told, not replaced.
    before = {path: path.stat().st_mtime_ns for path in (tmp_path / "out").glob("*.png")}
    (tmp_path / "out/b1.png").unlink()
    (tmp_path / "out/b3.png.jsonl").unlink()
    workers.refresh()
    again = cluster.map_bursts(workers.client, bursts, tmp_path / "out", {"scale": 1.5})
    assert [row.status for row in again] == ["kept", "made", "kept", "failed", "kept", "kept"]
    assert again[0] == rows[0]._replace(status="kept") and "nothing tells how it was made" in again[3].error
    assert workers.calls("fuse") == 1 and pictures(tmp_path / "out") == pictures(tmp_path / "plain")
    other = cluster.map_bursts(workers.client, bursts, tmp_path / "out", {"scale": 2})
    assert {row.status for row in other} == {"failed"} and "with other options" in other[0].error
    assert all(path.stat().st_mtime_ns == time for path, time in before.items() if path.name != "b1.png")


def test_burst_that_loses_every_worker_does_not_end_the_run(workers, background, bursts, tmp_path):
    workers.trap("b2/")
    result = background(cluster.map_bursts, workers.client, bursts, tmp_path / "out", {"scale": 1})
    _, first = workers.wait_for_trapped(result)
    workers.trapped.unlink()
    workers.trap("b2/")
    workers.kill(first)
    workers.kill_trapped(result)
    workers.refresh()
    rows = result.result(timeout=120)
    assert (rows[2].status, rows[2].error) == ("failed", "every worker that tried it was lost")
    # What waited on the same workers may have been given up with it.
    assert all(row.status == "made" or row.error == rows[2].error for row in rows)
    again = cluster.map_bursts(workers.client, bursts, tmp_path / "out", {"scale": 1})
    assert [row.status for row in again] == ["kept" if row.status == "made" else "made" for row in rows]
    assert not list(tmp_path.rglob("*.making"))


def test_failed_bursts_are_rows_and_sets_of_options_have_folders(workers, bursts, tmp_path):
    (tmp_path / "single").mkdir()
    shutil.copy(bursts / "b0/0.png", tmp_path / "single")
    (tmp_path / "text.png").write_text("no picture")
    inputs = [bursts / "b0", tmp_path / "single", [bursts / "b1/1.png", tmp_path / "text.png"],
              (bursts / "b1/0.png", bursts / "b2/0.png"), tmp_path / "missing"]
    sets = [{"effort": "fast", "region": (0, 0, 31, 31), "strict_size": None}, {"noise": 3}]
    rows = cluster.map_bursts(workers.client, inputs, tmp_path / "out", sets, retries=0, name="big-{}.i420")
    assert [row.status for row in rows] == ["made", "failed", "failed", "made", "failed"] * 2
    for at, text in (1, "two frames or more"), (2, "text.png"), (4, "FileNotFoundError"):
        assert text in rows[at].error and rows[at].width is None
    assert [row.noise == 3 for row in rows[5:]] == [True, False, False, True, False]
    assert rows[3].used == 1 and rows[3].left_out and rows[3].share == 1
    for folder, options in (("effort=fast,region=0,0,31,31", ["--effort", "fast", "--region", "0,0,31,31"]),
                            ("noise=3", ["--noise", 3])):
        tool("fuse", *inputs[3], *options, "-o", tmp_path / "plain.i420")
        assert (tmp_path / "out" / folder / "big-0.i420").read_bytes() == (tmp_path / "plain.i420").read_bytes()
        (tmp_path / "plain.i420").unlink()
    assert not list(tmp_path.rglob("*.making"))


@pytest.mark.parametrize("options, part_frames, suffix", [
    ({"window": 3}, 4, ".y4m"), ({"window": 6, "scale": 1}, 1, ".nv12"), ({"method": "camera"}, 100, ".y4m")])
def test_clip_has_the_bytes_of_one_run(workers, background, clip, tmp_path, options, part_frames, suffix):
    out = tmp_path / f"big{suffix}"
    workers.trap("--frames=")
    result = background(cluster.video, workers.client, clip, out, options, part_frames=part_frames)
    workers.kill_trapped(result)
    rows = result.result(timeout=120)
    tool("video", clip, "-o", tmp_path / f"plain{suffix}", *(f"--{key}={value}" for key, value in options.items()))
    assert out.read_bytes() == (tmp_path / f"plain{suffix}").read_bytes()
    assert workers.calls("--frames=") == -(-11 // part_frames) + 1
    assert [(row.name, row.reference, row.status, row.output) for row in rows] == [
        (str(number), number, "made", str(out)) for number in range(1, 12)]
    assert sorted(path.name for path in tmp_path.iterdir()) == sorted([out.name, out.name + ".jsonl", f"plain{suffix}"])
    kept = cluster.video(workers.client, clip, out, options)
    assert [row[:3] + row[4:14] for row in kept] == [row[:3] + row[4:14] for row in rows]
    assert {row.status for row in kept} == {"kept"}


def test_clip_with_missing_parts_is_not_written_until_the_next_run(workers, background, clip, tmp_path):
    out = tmp_path / "big.y4m"
    workers.trap("--frames=5-8")
    result = background(cluster.video, workers.client, clip, out, part_frames=4, retries=0)
    process, _ = workers.wait_for_trapped(result)
    os.kill(process, signal.SIGKILL)
    with pytest.raises(cluster.Incomplete, match="4 of 11 frames are missing: .*ended by SIGKILL") as caught:
        result.result(timeout=120)
    assert [row.status for row in caught.value.rows] == ["made"] * 4 + ["failed"] * 4 + ["made"] * 3
    assert not out.exists()
    rows = cluster.video(workers.client, clip, out, part_frames=4)
    assert [row.status for row in rows] == ["kept"] * 4 + ["made"] * 4 + ["kept"] * 3
    assert workers.calls("--frames=") == 4
    tool("video", clip, "-o", tmp_path / "plain.y4m")
    assert out.read_bytes() == (tmp_path / "plain.y4m").read_bytes()

    broken = tmp_path / "broken.y4m"
    broken.write_bytes(clip.read_bytes()[:-9])
    with pytest.raises(cluster.Incomplete, match="2 of 10 frames are missing: .*frame 11 ends after"):
        cluster.video(workers.client, broken, tmp_path / "other.y4m", part_frames=4)
    assert not (tmp_path / "other.y4m").exists()


def test_nonsense_is_refused_before_any_work(workers, bursts, clip, tmp_path):
    client, out = workers.client, tmp_path / "out"
    os.mkfifo(tmp_path / "pipe.y4m")
    (tmp_path / "there.y4m").write_text("of somebody else")
    for error, text, call in (
        (ValueError, "two pictures would be", lambda: cluster.map_bursts(client, [bursts / "b0", bursts / "b0"], out)),
        (ValueError, "has a path for each", lambda: cluster.map_bursts(client, bursts, [out])),
        (ValueError, "without files", lambda: cluster.map_bursts(client, [[]], out)),
        (ValueError, "output_dir: is not for", lambda: cluster.map_bursts(client, bursts, out, {"output_dir": 1})),
        (ValueError, "a .csv or a .parquet", lambda: cluster.map_bursts(client, bursts, out, table="table.txt")),
        (ValueError, "no standard input", lambda: cluster.video(client, "-", out)),
        (ValueError, "one frame or more", lambda: cluster.video(client, clip, out, part_frames=0)),
        (RuntimeError, "is no file", lambda: cluster.video(client, tmp_path / "pipe.y4m", out)),
        (RuntimeError, "nothing tells how it was", lambda: cluster.video(client, clip, tmp_path / "there.y4m")),
        (FileNotFoundError, "gone", lambda: cluster.video(client, tmp_path / "gone.y4m", out, retries=0)),
    ):
        with pytest.raises(error, match=text):
            call()
    assert not out.exists() and workers.calls("fuse") + workers.calls("video") == 0
    assert (tmp_path / "there.y4m").read_text() == "of somebody else"


def test_tool_is_named_or_on_the_path_or_beside_the_library(tmp_path, monkeypatch):
    for folder in ("lib/machine", "bin", "path"):
        (tmp_path / folder).mkdir(parents=True)
    (tmp_path / "lib/machine/libvelmora_sr.so.1").touch()
    for program in tmp_path / "bin/velmora-sr", tmp_path / "path/velmora-sr":
        program.touch(0o755)
    monkeypatch.setenv("VELMORA_SR_LIBRARY", str(tmp_path / "lib/machine"))
    monkeypatch.setenv("PATH", str(tmp_path / "path"))
    monkeypatch.setenv("VELMORA_SR_TOOL", "/named")
    assert _tool.find() == "/named"
    monkeypatch.delenv("VELMORA_SR_TOOL")
    for place in "path", "bin":
        assert _tool.find() == str(tmp_path / place / "velmora-sr")
        (tmp_path / place / "velmora-sr").unlink()
    with pytest.raises(FileNotFoundError, match="VELMORA_SR_TOOL may name it"):
        _tool.find()


def test_workers_with_other_tools_are_refused(bursts, tmp_path):
    class Mixed:
        def run(self, function):
            return {"tcp://a": "velmora-sr 1.2.6", "tcp://b": "velmora-sr 1.2.5"}

    with pytest.raises(RuntimeError, match="several versions: .*tcp://b.*1.2.5"):
        cluster.map_bursts(Mixed(), bursts, tmp_path / "out")


def test_example_makes_what_the_tool_makes(tmp_path):
    example = subprocess.run([sys.executable, SOURCES / "examples/cluster/run.py", tmp_path, "2"], check=True,
                             stdout=subprocess.PIPE, encoding="utf-8")
    assert "bursts: 8 pictures made, 0 kept, 0 failed; 3.0 frames" in example.stdout, example.stdout
    assert "clip: 16 pictures made, 0 kept, 0 failed; 4." in example.stdout
    tool("fuse", "--bursts", tmp_path / "bursts", "--output-dir", tmp_path / "plain")
    tool("video", tmp_path / "clip.y4m", "--window", 5, "-o", tmp_path / "plain.y4m")
    assert pictures(tmp_path / "plain") == pictures(tmp_path / "pictures")
    assert (tmp_path / "plain.y4m").read_bytes() == (tmp_path / "big.y4m").read_bytes()
    for table, rows in ("bursts.csv", 8), ("clip.csv", 16):
        assert len((tmp_path / table).read_text().splitlines()) == rows + 1


@pytest.mark.parametrize("engine", ["pyarrow", "fastparquet"])
def test_parquet_has_the_rows_and_their_types(tmp_path, engine):
    pandas = pytest.importorskip("pandas")
    pytest.importorskip(engine)
    rows = [cluster.Row("b0", "", "b0.png", "failed", "why"), cluster.Row("b1", "", "b1.png", "made", width=96, share=0.5)]
    cluster.write_table(rows, tmp_path / "table.parquet")
    table = pandas.read_parquet(tmp_path / "table.parquet", engine=engine).astype(object)
    assert [cluster.Row(*row) for row in table.where(table.notna(), None).itertuples(index=False)] == rows


if __name__ == "__main__":
    run(__file__)
