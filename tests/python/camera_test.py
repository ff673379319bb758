"""The camera path in Python, against `velmora-sr upscale` and `velmora-sr fuse --method camera`."""
import ctypes
import itertools
import math
import os
import subprocess
import threading
from concurrent.futures import ThreadPoolExecutor

from support import SOURCES, TOOL, blurred, np, pytest, raw, run, same, tool

import velmora_sr
from velmora_sr import camera
from velmora_sr.camera import _frames, _ghosts, _records, _session


def view(width, height, left, top):
    """A window of a world with corners, which key points are found at."""
    planes = []
    for seed, shrink in ((1, 1), (2, 2), (3, 2)):
        rng = np.random.default_rng(seed)
        cells = np.kron(rng.integers(20, 235, (60, 60)), np.ones((12, 12)))
        world = np.clip(blurred(cells + rng.integers(-20, 20, cells.shape)), 0, 255).astype(np.uint8)
        planes.append(world[20 + top // shrink:, 20 + left // shrink:][:-(-height // shrink), :-(-width // shrink)])
    return tuple(planes)


def block(layout, frame, writable=True):
    """The same frame as views of one block."""
    height, width = frame[0].shape
    data = raw(layout, *frame)
    return velmora_sr.planes(data if writable else data.tobytes(), width, height, layout)


SMALL = view(200, 150, 0, 0)
FIRST, SECOND = view(480, 420, 0, 0), view(480, 420, 6, 4)
GHOST = np.s_[200:240, 200:240]
SECOND[0][GHOST] = 10


@pytest.mark.parametrize("layout, size, options", [
    ("nv12", (200, 150), {"scale": 2}), ("nv21", (200, 150), {"scale": 1.37}), ("i420", (201, 149), {"scale": 2}),
    ("nv12", (64, 48), {"scale": 3}), ("i420", (17, 16), {"size": (40, 31)}), ("nv12", (1, 1), {"scale": 3}),
    ("nv12", (3, 200), {"scale": 0.4}), ("nv21", (200, 150), {"region": (7, 0, 7, 33), "scale": 2.5}),
    ("nv12", (200, 150), {"region": (1, 1, 130, 120), "size": (300, 201)}),
])
def test_enlarge_makes_the_bytes_of_the_tool(tmp_path, layout, size, options):
    frame = view(*size, 1, 3)
    given = [text for name, value in options.items() for text in (
        f"--{name}", {"scale": str, "size": lambda v: "%dx%d" % v, "region": lambda v: "%d,%d,%d,%d" % v}[name](value))]
    expected = tool("upscale", tmp_path, layout, [frame], *given)
    for own in (block(layout, frame, writable=False), frame):
        assert raw(layout, *camera.enlarge(own, **options)).tobytes() == expected


@pytest.mark.parametrize("layout, size, given, options", [
    ("nv12", (480, 420), "--scale 2", {}),
    ("nv21", (480, 420), "--scale 1.37", {"scale": 1.37}),
    ("i420", (481, 419), "--size 481x419 --ghost 1,5", {"size": (481, 419), "ghost": (1, 5)}),
    ("nv12", (480, 420), "--size 480x420 --stereo --ghost 3,200",
     {"size": (480, 420), "stereo": True, "ghost": (3, 200)}),
    ("nv12", (480, 420), "--region 50,60,301,299 --scale 2", {"region": (50, 60, 301, 299)}),
    ("nv12", (480, 420), "--region 1,1,60,60 --scale 2", {"region": (1, 1, 60, 60)}),
    ("nv12", (399, 420), "--scale 2", {}),
])
def test_fuse_makes_the_bytes_of_the_tool(tmp_path, layout, size, given, options):
    frames = view(*size, 0, 0), view(*size, 6, 4)
    frames[1][0][GHOST] = 10
    expected = tool("fuse", tmp_path, layout, frames, "--method", "camera", *given.split())
    for own in ([block(layout, frame, writable=False) for frame in frames], frames):
        picture, report = camera.fuse(*own, **options)
        assert raw(layout, *picture).tobytes() == expected
        assert same(own[0], view(*size, 0, 0))  # which the library changes, but in a copy
    assert report.fused == (size[0] > 399 and "1,1,60,60" not in given) == (report.reason == "")


def test_frames_are_read_where_they_lie():
    for layout in ("nv12", "nv21"):
        frame = block(layout, SMALL)
        assert _frames.block_of(frame, (200, 150))[1:] == (layout, frame[0].ctypes.data)
    y, u, v = block("nv12", SMALL)
    padded = np.zeros(200 * 150 + 75 * 216, np.uint8)
    pairs = padded[200 * 150:].reshape(75, 108, 2)[:, :100]
    padded[:200 * 150], pairs[..., 0], pairs[..., 1] = y.ravel(), u, v
    with_gaps = padded[:200 * 150].reshape(150, 200), pairs[..., 0], pairs[..., 1]
    for frame in (SMALL, with_gaps, block("i420", SMALL), (y, u, u), (y[:, ::-1], u, v), (y, *block("nv12", SMALL)[1:])):
        assert _frames.layout_in_memory(frame) is None
        assert same(velmora_sr.planes(_frames.block_of(frame, (200, 150))[0], 200, 150), frame)


def test_forms_of_a_frame():
    y, u, v = SMALL
    luma, neutral = camera.enlarge(y, 1.5), np.full((75, 100), 128, np.uint8)
    assert luma.shape == (225, 300) and np.array_equal(luma, camera.enlarge((y, u, v), 1.5)[0])
    assert np.array_equal(camera.enlarge(np.dstack([y, y, y]), 1.5), np.dstack([luma, luma, luma]))
    assert same(camera.enlarge((y, neutral, neutral), 2)[1:], np.full((2, 150, 200), 128))
    fused, neutral = camera.fuse(FIRST[0], SECOND)[0], np.full((210, 240), 128, np.uint8)
    assert fused.ndim == 2 and np.array_equal(fused, camera.fuse((FIRST[0], neutral, neutral), SECOND)[0][0])


def test_report(tmp_path):
    _, report = camera.fuse(FIRST, SECOND, weights=True)
    found = report.registration
    x, y, w = found.homography @ (240, 210, 1)
    assert np.allclose((x / w, y / w), (234, 206), atol=0.5)
    assert found.registered and found.inliers.sum() >= 8 and found.residual.after < 0.2 * found.residual.before
    ends = [points[found.matches[found.inliers, i]] for i, points in enumerate(found.key_points)]
    assert np.abs(np.median(ends[0] - ends[1], axis=0) - (6, 4)).max() < 0.5
    assert found.reduction == 4 and found.milliseconds["search"] > 0 and report.milliseconds["interpolation"] > 0
    assert all(left >= right for left, right in zip(report.region[:2], found.rectangle[:2]))
    assert report.ghost == camera.ghost_thresholds(FIRST, SECOND) and 0.005 < report.replaced_share < 0.5
    assert report.weights.shape == (420, 480) and (report.weights[210:230, 210:230] == 0).all()
    assert np.mean(report.weights == 255) > 0.6

    assert np.array_equal(camera.register(FIRST, SECOND, stereo=True).homography, found.homography)
    flat = np.full((420, 480), 90, np.uint8)
    picture, report = camera.fuse(flat, FIRST, weights=True)
    assert not report.fused and report.reason == report.registration.reason != ""
    assert report.registration.stage == "detector" and report.registration.homography is None
    assert (picture == 90).all() and (report.weights == 255).all()


def test_a_motion_that_makes_it_worse_is_not_taken(tmp_path):
    stripes = np.tile(127 + 100 * np.sin(np.arange(480) / 4), (420, 1)).astype(np.uint8)
    frames = [(stripes.copy(), *frame[1:]) for frame in (FIRST, SECOND)]
    for own, frame in zip(frames, (FIRST, SECOND)):  # key points are in this part alone
        own[0][60:260, 60:320] = frame[0][60:260, 60:320]
    expected = tool("fuse", tmp_path, "nv12", frames, "--method", "camera")
    picture, report = camera.fuse(*frames)
    assert report.registration.stage == "residual" and "differ more than without" in report.reason
    assert raw("nv12", *picture).tobytes() == expected


@pytest.mark.parametrize("height, width, sigma", [(420, 480, 3), (700, 810, 9), (30, 200, 5), (17, 99, 5)])
def test_noise_by_a_plain_loop(height, width, sigma):
    plane = np.random.default_rng(9).normal(np.linspace(-40, 270, width), sigma, (height, width))
    plane = np.clip(np.rint(plane), 0, 255).astype(np.uint8)
    step = 16 * max(1, math.ceil(math.sqrt((width // 16) * (height // 16) / 2048)))
    noises = []
    for y, x in itertools.product(range(1, height - 16, step), range(1, width - 16, step)):
        part = plane[y - 1:y + 17, x - 1:x + 17].astype(int)
        if part[1:-1, 1:-1].min() < 4 or part[1:-1, 1:-1].max() > 251:
            continue
        values = sorted(abs(sum(weight * part[j + 1 + b, i + 1 + a] for (b, a), weight in zip(
            itertools.product((-1, 0, 1), repeat=2), (1, -2, 1, -2, 4, -2, 1, -2, 1))))
            for j in range(16) for i in range(16))
        median = values[128]
        fine = median - 0.5 + (128 - values.index(median)) / values.count(median)
        noises.append(max(fine, 0) / (0.6745 * 6))
    expected = sorted(noises)[int(0.1 * len(noises))] / 0.88 if noises else 0
    assert _ghosts.noise_of((plane, plane[:1], plane[:1]), True) == pytest.approx(expected)
    assert not noises or 0.5 * sigma < expected < 1.5 * sigma


def test_tuning(tmp_path):
    kernels, xml = tmp_path / "kernels", SOURCES / "examples" / "zelk-noisy.xml"
    subprocess.run([TOOL, "-q", "kernels", "--phases", "20", "-o", kernels], check=True)
    expected = tool("fuse", tmp_path, "nv12", (FIRST, SECOND), "--method", "camera", "--config", xml, "--kernel",
                    kernels, "--size", "701x503")
    for files in ((xml, kernels), (str(xml), kernels.read_bytes())):
        picture, report = camera.fuse(FIRST, SECOND, size=(701, 503), configuration=files[0], kernels=files[1])
        assert raw("nv12", *picture).tobytes() == expected
    assert f"<LowThr>{report.ghost[0]}</LowThr>" in xml.read_text() and report.ghost != (1, 5)
    assert not same(camera.enlarge(SMALL, kernels=kernels), camera.enlarge(SMALL))
    cut = kernels.read_bytes()[:-1]
    for error, text, options in (
            (ValueError, "does not take these kernels", {"kernels": cut}),
            (ValueError, "does not take these kernels", {"kernels": b"\x01\x00"}),
            (ValueError, "empty", {"kernels": b""}),
            (ValueError, "does not take this configuration", {"configuration": b"<?xml?><Config/>"}),
            (ValueError, "give one", {"configuration": xml, "ghost": (1, 5)}),
            (ValueError, "low, high", {"ghost": (9, 5)}),
            (FileNotFoundError, "nowhere", {"configuration": "nowhere"})):
        with pytest.raises(error, match=text):
            camera.fuse(FIRST, SECOND, **options)


@pytest.mark.parametrize("error, text, call", [
    (ValueError, "above 0", lambda: camera.enlarge(SMALL, 0)),
    (ValueError, "scale is 0 to 64", lambda: camera.enlarge(SMALL, 65)),
    (ValueError, "30720x26880 is too large", lambda: camera.enlarge(FIRST, 64)),
    (ValueError, "width is 1 to 32767", lambda: camera.enlarge(SMALL, size=(0, 5))),
    (ValueError, "reaches outside", lambda: camera.enlarge(SMALL, region=(0, 0, 200, 9))),
    (ValueError, "sides of 1 to 32767", lambda: camera.enlarge(np.empty((0, 5), np.uint8))),
    (ValueError, "sides of 1 to 32767", lambda: camera.enlarge(np.empty((1, 32768), np.uint8))),
    (TypeError, "uint8, not int64", lambda: camera.enlarge(SMALL[0].astype(int))),
    (ValueError, "differ in size: 480x420 and 200x150", lambda: camera.fuse(FIRST, SMALL)),
])
def test_what_is_refused(error, text, call):
    with pytest.raises(error, match=text):
        call()


def test_without_memory(monkeypatch):
    monkeypatch.setattr(_session, "_allocate", _records.Allocate(lambda *_: None))
    with pytest.raises(MemoryError, match="cannot enlarge to 400x300: out of memory"):
        camera.enlarge(SMALL)
    with pytest.raises(MemoryError, match="cannot register"):
        camera.fuse(FIRST, SECOND)
    monkeypatch.undo()
    assert camera.enlarge(SMALL)[0].shape == (300, 400)


def test_threads_and_forks():
    expected = camera.enlarge(SMALL), camera.fuse(FIRST, SECOND)[0], velmora_sr.upscale(SMALL)
    jobs = (lambda: camera.enlarge(SMALL), lambda: camera.fuse(FIRST, SECOND)[0], lambda: velmora_sr.upscale(SMALL))
    with ThreadPoolExecutor(4) as pool:
        results = list(pool.map(lambda i: jobs[i % 3](), range(24)))
        assert all(same(result, expected[i % 3]) for i, result in enumerate(results))

        done = threading.Event()
        busy = pool.submit(lambda: [jobs[1]() for _ in iter(done.is_set, True)])
        for _ in range(5):
            child = os.fork()
            if child == 0:  # it has no other thread, and no call is half done
                os._exit(0 if same(camera.enlarge(SMALL), expected[0]) else 1)
            assert os.waitpid(child, 0)[1] == 0
        done.set()
        assert len(busy.result()) > 0


def test_records_are_those_of_the_library():
    with _session.session((200, 150), _records.SCENE_SINGLE, _session.Tuning()) as live:
        room = (ctypes.c_uint32 * 1024)(4096)
        record = ctypes.cast(room, ctypes.POINTER(_records.ReportRecord))
        assert _records.load().VELMORA_SR_GetReport(live._handle, record) == 0
    assert room[0] == ctypes.sizeof(_records.ReportRecord) and record.contents.kernelPhases == 50


if __name__ == "__main__":
    run(__file__)
