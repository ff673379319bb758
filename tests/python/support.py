"""What the tests of the Python package share. Without NumPy or pytest it ends the program with 77."""
import os
import pathlib
import signal
import subprocess
import sys

try:
    import numpy as np
    import pytest
except ImportError as error:
    print(error)
    sys.exit(77)

# Python leaves it ignored where it finds it so, as in what a shell runs in the background.
signal.signal(signal.SIGINT, signal.default_int_handler)

SOURCES = pathlib.Path(__file__).parents[2]
TOOL = os.environ["VELMORA_SR_TOOL"]


def run(file):
    sys.exit(pytest.main(["-q", "-p", "no:cacheprovider", file]))


def blurred(samples):
    for _ in range(2):
        for axis in (0, 1):
            samples = (np.roll(samples, -1, axis) + 2 * samples + np.roll(samples, 1, axis)) / 4
    return samples


def scene(seed, height, width):
    """A smooth texture of full contrast."""
    samples = np.random.default_rng(seed).integers(0, 256, (height, width)).astype(float)
    return np.clip((blurred(samples) - 128) * 2.5 + 128, 0, 255).astype(np.uint8)


def raw(layout, y, u, v):
    pair = (v, u) if layout == "nv21" else (u, v)
    return np.concatenate([y.ravel(), (np.concatenate if layout == "i420" else np.dstack)(pair).ravel()])


def same(first, second):
    return all(np.array_equal(a, b) for a, b in zip(first, second, strict=True))


def tool(command, folder, layout, frames, *options):
    """The bytes that the tool makes of raw frames."""
    height, width = frames[0][0].shape
    out = folder / f"out.{layout}"
    files = [folder / f"{number}.{layout}" for number in range(len(frames))]
    for file, frame in zip(files, frames):
        raw(layout, *frame).tofile(file)
    subprocess.run([TOOL, "--force", "--quiet", command, "--input-size", f"{width}x{height}", "--input-format",
                    layout, *map(str, options), "-o", out, *files], check=True)
    return out.read_bytes()
