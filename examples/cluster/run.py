"""Bursts and a clip on a cluster of processes of this machine: python3 run.py [FOLDER [PROCESSES]]

The tool takes frames of a scene; views of them become eight bursts of three frames and a clip of 16. The pictures, the
clip and the tables of what became of the frames are left in FOLDER (demo/cluster). Called again with the same
folder it keeps what is there. On a real cluster only the client differs: Client("scheduler:8786").
"""
import os
import pathlib
import subprocess
import sys
from typing import List

from distributed import Client, LocalCluster

from velmora_sr import cluster

TOOL = os.environ.get("VELMORA_SR_TOOL", "velmora-sr")
WIDTH, HEIGHT = 240, 180


def draw_inputs(folder: pathlib.Path) -> None:
    """Bursts in folders of their own, and a clip in which the camera moves."""
    def tool(*arguments: object) -> None:
        subprocess.run([TOOL, "--force", "--quiet", *map(str, arguments)], check=True)

    def region(left: int, top: int) -> str:
        return f"{left},{top},{left + WIDTH - 1},{top + HEIGHT - 1}"

    tool("demo", folder / "demo")
    for number in range(8):
        burst = folder / "bursts" / f"burst-{number}"
        burst.mkdir(parents=True, exist_ok=True)
        for name in ("frame", "second", "third"):
            tool("upscale", folder / "demo" / f"{name}.png", "--scale", 1, "-o", burst / f"{name}.png",
                 "--region", region(50 * number, 40 * number % 300))
    with open(folder / "clip.y4m", "wb") as clip:
        clip.write(f"YUV4MPEG2 W{WIDTH} H{HEIGHT} F25:1\n".encode())
        for number in range(16):
            view = folder / "view.i420"
            tool("upscale", folder / "demo/truth.png", "--scale", 1, "-o", view,
                 "--region", region(200 + 3 * number, 300 + 2 * number))
            clip.write(b"FRAME\n" + view.read_bytes())
            view.unlink()


def summary(what: str, rows: List[cluster.Row]) -> str:
    states = [row.status for row in rows]
    used = sum(row.used or 0 for row in rows) / max(1, len(rows))
    return (f"{what}: {states.count('made')} pictures made, {states.count('kept')} kept, "
            f"{states.count('failed')} failed; {used:.1f} frames in each on average")


def main() -> None:
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "demo/cluster").absolute()
    processes = int(sys.argv[2]) if len(sys.argv) > 2 else os.cpu_count()
    if not (folder / "clip.y4m").exists():
        folder.mkdir(parents=True, exist_ok=True)
        draw_inputs(folder)
    with LocalCluster(n_workers=processes, threads_per_worker=1, dashboard_address=None) as local, \
            Client(local) as client:
        rows = cluster.map_bursts(client, folder / "bursts", folder / "pictures", {"scale": 2},
                                  table=folder / "bursts.csv", progress=cluster.show_progress())
        print(summary("bursts", rows))
        rows = cluster.video(client, folder / "clip.y4m", folder / "big.y4m", {"window": 5}, part_frames=4,
                             table=folder / "clip.csv", progress=cluster.show_progress())
        print(summary("clip", rows))
    print(f"in {folder}: pictures/, big.y4m, bursts.csv, clip.csv")


if __name__ == "__main__":  # the processes of the cluster import this file
    main()
