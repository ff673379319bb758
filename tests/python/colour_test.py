"""RGB and YUV: the bytes of the tool, which converts by libyuv, through PNG files."""
import itertools
import platform
import struct
import subprocess
import zlib

from support import TOOL, np, pytest, raw, run

import velmora_sr
from velmora_sr import camera

# libyuv rounds chroma otherwise on other machines.
pytestmark = pytest.mark.skipif(platform.machine() not in ("x86_64", "i686"), reason="not x86")


def write_png(path, rgb):
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    height, width, _ = rgb.shape
    rows = np.insert(rgb.reshape(height, -1), 0, 0, axis=1)  # no filter
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
                     + chunk(b"IDAT", zlib.compress(rows.tobytes(), 1)) + chunk(b"IEND", b""))


def read_png(path):
    data, at, packed = path.read_bytes(), 8, b""
    while at < len(data):
        length, name = struct.unpack_from(">I4s", data, at)
        if name == b"IHDR":
            width, height = struct.unpack_from(">II", data, at + 8)
        if name == b"IDAT":
            packed += data[at + 8:at + 8 + length]
        at += length + 12
    rows = np.frombuffer(zlib.decompress(packed), np.uint8).reshape(height, 1 + 3 * width)
    above, picture = np.zeros(3 * width + 3, int), np.empty((height, width, 3), np.uint8)
    for y, (kind, *row) in enumerate(rows.tolist()):
        line = np.zeros(3 * width + 3, int)
        for x, value in enumerate(row, 3):
            a, b, c = line[x - 3], above[x], above[x - 3]
            nearest = min((a, b, c), key=lambda sample: abs(a + b - c - sample))
            line[x] = (value + (0, a, b, (a + b) // 2, nearest)[kind]) % 256
        above, picture[y] = line, line[3:].reshape(width, 3)
    return picture


def noise(seed, height, width, low, high):
    return np.random.default_rng(seed).integers(low, high, (height, width, 3)).astype(np.uint8)


def corners(low, high):
    """Every block of 2 x 2 pixels that the eight corners of the colour cube make."""
    cube = np.array(list(itertools.product((low, high), repeat=3)), np.uint8)
    blocks = cube[list(itertools.product(range(8), repeat=4))]  # 4096 blocks
    return blocks.reshape(64, 64, 2, 2, 3).transpose(0, 2, 1, 3, 4).reshape(128, 128, 3)


@pytest.mark.parametrize("rgb", [
    noise(1, 300, 401, 0, 256), noise(2, 301, 400, 60, 190), noise(3, 2, 1, 0, 256), noise(4, 1, 3, 0, 256),
    corners(0, 255), corners(70, 180), np.fliplr(noise(5, 67, 129, 0, 256))], ids=lambda rgb: str(rgb.shape))
def test_from_rgb(tmp_path, rgb):
    write_png(tmp_path / "in.png", rgb)
    size = f"{rgb.shape[1]}x{rgb.shape[0]}"
    subprocess.run([TOOL, "-q", "upscale", tmp_path / "in.png", "--size", size, "-o", tmp_path / "out.i420"],
                   check=True)
    planes = [np.empty(rgb.shape[:2], np.uint8)] + [np.empty([(side + 1) // 2 for side in rgb.shape[:2]], np.uint8)
                                                    for _ in "uv"]
    velmora_sr._colour.from_rgb(rgb, *planes)
    picture = camera.enlarge(tuple(planes), 1)
    assert raw("i420", *picture).tobytes() == (tmp_path / "out.i420").read_bytes()


@pytest.mark.parametrize("width, height", [(199, 131), (128, 66), (1, 1), (2, 3)])
def test_to_rgb(tmp_path, width, height):
    half = (height + 1) // 2, (width + 1) // 2
    block = np.random.default_rng(6).integers(0, 256, width * height + 2 * half[0] * half[1]).astype(np.uint8)
    block.tofile(tmp_path / "in.i420")
    subprocess.run([TOOL, "-q", "upscale", tmp_path / "in.i420", "--input-size", f"{width}x{height}", "--scale", "1",
                    "-o", tmp_path / "out.png"], check=True)
    picture = camera.enlarge(velmora_sr.planes(block, width, height, "i420"), 1)
    assert np.array_equal(velmora_sr._colour.to_rgb(*picture), read_png(tmp_path / "out.png"))


def test_pictures_of_the_burst_stage(tmp_path):
    rgb = noise(7, 61, 83, 0, 256)
    write_png(tmp_path / "in.png", rgb)
    subprocess.run([TOOL, "-q", "upscale", tmp_path / "in.png", "--denoise", "5", "-o", tmp_path / "out.png"],
                   check=True)
    assert np.array_equal(velmora_sr.upscale(rgb, 2, noise=5), read_png(tmp_path / "out.png"))


if __name__ == "__main__":
    run(__file__)
