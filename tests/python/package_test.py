"""The Python package, against the tool and against what can be worked out. Run as a program, it exits with
77 where NumPy or pytest is missing."""
import os
import pathlib
import pickle
import re
import signal
import sys
import threading
from concurrent.futures import ThreadPoolExecutor

from support import SOURCES, np, pytest, raw, run, same, scene, tool

import velmora_sr

WORLD = scene(1, 160, 200)
COLOURS = scene(2, 80, 100), scene(3, 80, 100)
# Two frames of 151x121: what A shows at (x, y), B does at (x + 2, y - 2).
A, B = WORLD[10:131, 10:161], WORLD[12:133, 8:159]
U, V = (plane[5:66, 5:81] for plane in COLOURS)
FRAMES = (A, U, V), (B, *(plane[6:67, 4:80] for plane in COLOURS))


@pytest.mark.parametrize("layout, scale, shape, options, given", [
    ("nv12", 2, (242, 302), {}, ()),
    ("nv21", 1.5, (182, 227), {"noise": 4.0, "effort": "fast"}, ("--effort", "fast")),
    ("i420", 1, (121, 151), {"noise": 4.0, "sharpened": 0.3, "threads": 3}, ("--sharpened", 0.3)),
    ("nv12", 3, (60, 48), {"region": (7, 20, 22, 39)}, ("--region", "7,20,22,39")),
    ("nv12", 2, (121, 300), {"size": (300, 121)}, ("--size", "300x121")),
])
@pytest.mark.parametrize("count", [1, 2])
def test_same_bytes_as_the_tool(tmp_path, layout, scale, shape, options, given, count):
    noise = "--denoise" if count == 1 else "--noise"
    given += () if "size" in options else ("--scale", scale)
    expected = tool("upscale" if count == 1 else "fuse", tmp_path, layout, FRAMES[:count], *given,
                    noise, options.get("noise", "auto"))
    blocks = [raw(layout, *frame) for frame in FRAMES[:count]]
    frames = [velmora_sr.planes(block, 151, 121, layout) for block in blocks]
    assert all(np.shares_memory(plane, block) for frame, block in zip(frames, blocks) for plane in frame)
    picture, report = velmora_sr.fuse(frames, scale, **options)
    assert report.frames_used == count and picture[0].shape == shape
    assert velmora_sr.block(picture, layout).tobytes() == expected
    if count == 1:
        assert same(velmora_sr.upscale(frames[0], scale, **options), picture)


def test_forms_and_strides_of_the_same_frame_give_the_same_picture():
    neutral = np.full((61, 76), 128, np.uint8)
    luma = velmora_sr.upscale(A, 2)
    stored = bytes(A.tobytes())  # cannot be written
    for frame in (A.copy(), np.flipud(np.flipud(A).copy()), np.fliplr(np.fliplr(A).copy()), np.asfortranarray(A),
                  np.dstack([A, B])[..., 0], np.frombuffer(stored, np.uint8).reshape(A.shape)):
        assert np.array_equal(velmora_sr.upscale(frame, 2), luma)
    grey = np.full((121, 151), 128)
    assert same(velmora_sr.upscale((A, neutral, neutral), 2), (luma, grey, grey))
    assert np.array_equal(velmora_sr.upscale(np.dstack([A, A, A]), 2), np.dstack([luma, luma, luma]))


@pytest.mark.parametrize("colour", [(255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255), (200, 30, 90)])
def test_colours_come_back(colour):
    picture = velmora_sr.upscale(np.full((131, 33, 3), colour, np.uint8), 2)
    assert picture.shape == (262, 66, 3) and np.abs(picture.astype(int) - colour).max() <= 2


def test_registration_finds_the_shift_or_says_why_not():
    found = velmora_sr.register(A, B)
    x, y, w = found.homography @ (75, 60, 1)
    assert found.registered and found.reason == "" and found.residual_after < 0.2 * found.residual_before
    assert np.allclose((x / w, y / w), (77, 58), atol=0.05)
    lost = velmora_sr.register(A, scene(9, 121, 151))
    assert not lost.registered and lost.reason


def test_window():
    with velmora_sr.Burst(151, 121, 2) as burst:
        first, second = burst.add(FRAMES[0]), burst.add(FRAMES[1])
        assert same(burst.render(first), velmora_sr.fuse(FRAMES, 2)[0])
        report = burst.report()
        assert [frame.use.name for frame in report.frames] == ["REFERENCE", "USED"]
        assert sum(frame.share for frame in report.frames) == pytest.approx(1)
        assert (burst.weights(first) == 255).all() and 0 < burst.weights(second).mean() < 255
        burst.drop(first)
        assert same(burst.render(second), velmora_sr.upscale(FRAMES[1], 2))
        for number in (first, 99):
            with pytest.raises(LookupError, match=f"No frame with the number {number} is held"):
                burst.render(number)
        for _ in range(7):
            burst.add(A)
        with pytest.raises(velmora_sr.Error, match="holds 8 frames") as caught:
            burst.add(A)
        copy = pickle.loads(pickle.dumps(caught.value))
        assert copy.code == caught.value.code == -4 and str(copy) == str(caught.value)
    with pytest.raises(ValueError, match="closed"):
        burst.add(A)


@pytest.mark.parametrize("error, text, call", [
    (TypeError, "uint8, not float64", lambda: velmora_sr.upscale(A.astype(float), 2)),
    (TypeError, "not list", lambda: velmora_sr.upscale([[1, 2]], 2)),
    (TypeError, "one", lambda: velmora_sr.fuse(A, 2)),
    (ValueError, r"\(121, 151, 4\)", lambda: velmora_sr.upscale(np.dstack([A] * 4), 2)),
    (ValueError, "three planes, not 2", lambda: velmora_sr.upscale((A, U), 2)),
    (ValueError, "plane V has the shape", lambda: velmora_sr.upscale((A, U, V[1:]), 2)),
    (ValueError, "151x120 samples, the burst is for 151x121", lambda: velmora_sr.fuse([A, A[1:]], 2)),
    (ValueError, "height is 16 to 65535", lambda: velmora_sr.upscale(A[:15], 2)),
    (ValueError, "scale is 1 to 4", lambda: velmora_sr.upscale(A, 4.1)),
    (ValueError, "noise is 0 to 64", lambda: velmora_sr.upscale(A, 2, noise=float("nan"))),
    (ValueError, "sharpened is -0.6 to 1", lambda: velmora_sr.upscale(A, 2, sharpened=2)),
    (ValueError, "effort is", lambda: velmora_sr.upscale(A, 2, effort="best")),
    (ValueError, "threads is 0 to 64", lambda: velmora_sr.upscale(A, 2, threads=65)),
    (TypeError, "threads is an integer", lambda: velmora_sr.upscale(A, 2, threads=1.5)),
    (ValueError, "1 to 8 frames, not 9", lambda: velmora_sr.fuse([A] * 9, 2)),
    (IndexError, "no frame 2", lambda: velmora_sr.fuse([A, B], 2, reference=2)),
    (ValueError, "15x16 samples, the least is 16x16", lambda: velmora_sr.upscale(A, 2, region=(0, 0, 14, 15))),
    (ValueError, "outside the frame of 151x121", lambda: velmora_sr.upscale(A, 2, region=(0, 0, 151, 120))),
    (ValueError, "left, top", lambda: velmora_sr.upscale(A, 2, region=(0, 0, 9))),
    (ValueError, "grows 1 to 4", lambda: velmora_sr.upscale(A, size=(150, 242))),
    (TypeError, "scale is a number, not '2'", lambda: velmora_sr.upscale(A, "2")),
    (TypeError, "not of a grey picture", lambda: velmora_sr.block(A)),
    (ValueError, "no nv12 frame of 8x8", lambda: velmora_sr.planes(bytes(95), 8, 8)),
])
def test_what_is_refused(error, text, call):
    with pytest.raises(error, match=text):
        call()


def test_threads_share_handles_and_the_interpreter():
    expected = velmora_sr.fuse([A, B], 2, threads=1)[0]
    with velmora_sr.Burst(151, 121, 2) as burst, ThreadPoolExecutor(4) as pool:
        numbers = [burst.add(A), burst.add(B)]
        shared = pool.map(lambda _: burst.render(numbers[0]), range(8))
        own = pool.map(lambda _: velmora_sr.fuse([A, B], 2, threads=2)[0], range(8))
        assert all(np.array_equal(picture, expected) for picture in [*shared, *own])

    # Nobody is asked to give the interpreter's lock away here: another thread runs only if calls do.
    interval, ran, started = sys.getswitchinterval(), threading.Event(), threading.Event()
    thread = threading.Thread(target=lambda: (started.wait(), ran.set()))
    with velmora_sr.Burst(151, 121, 4) as burst:
        number = burst.add(A)
        thread.start()
        sys.setswitchinterval(1000)
        try:
            started.set()
            released = any(burst.render(number) is not None and ran.is_set() for _ in range(100))
        finally:
            sys.setswitchinterval(interval)
        thread.join()
    assert released


def test_a_burst_keeps_the_frames_it_holds():
    frame = A.copy()
    free = sys.getrefcount(frame)
    burst = velmora_sr.Burst(151, 121)
    numbers = [burst.add(frame), burst.add(frame)]
    held = sys.getrefcount(frame)
    burst.drop(numbers[0])
    assert free < sys.getrefcount(frame) < held
    burst.close()
    assert sys.getrefcount(frame) == free


def test_progress():
    shares = []
    picture, _ = velmora_sr.fuse(FRAMES, 2, progress=shares.append)
    assert same(picture, velmora_sr.fuse(FRAMES, 2)[0])
    assert shares == sorted(shares) and shares[0] >= 0 and shares[-1] == 1 and len(set(shares)) > 3


def test_exceptions_of_progress_stop_the_call():
    stop = None

    def told(share):
        if stop is not None:
            stop(share)

    def fail(share):
        raise KeyError("enough")

    with velmora_sr.Burst(151, 121, 4, progress=told) as burst:
        expected = burst.render(burst.add(A))
        for stop, error, text in ((fail, KeyError, "enough"), (lambda _: burst.report(), RuntimeError, "must not"),
                                  (lambda _: os.kill(os.getpid(), signal.SIGINT), KeyboardInterrupt, "")):
            for call in (lambda: burst.add(B), lambda: burst.render(1)):
                with pytest.raises(error, match=text):
                    call()
        stop = None
        assert np.array_equal(burst.render(1), expected) and len(burst.report().frames) == 1


def test_ctrl_c_stops_a_call_without_progress():
    big = np.tile(scene(4, 500, 500), (4, 4))
    timer = threading.Timer(0.1, lambda: os.kill(os.getpid(), signal.SIGINT))
    with velmora_sr.Burst(2000, 2000, 4, threads=1) as burst:
        number = burst.add(big)
        timer.start()
        with pytest.raises(KeyboardInterrupt) as caught:
            burst.render(number)
        assert "_progress.py" in str(caught.traceback[-1].path)  # in the midst, not after the call
        timer.join()


def test_the_examples_of_the_readme(tmp_path, monkeypatch, capsys):
    monkeypatch.chdir(tmp_path)
    os.mkdir("burst")
    world = np.kron(np.random.default_rng(8).integers(0, 256, (50, 60)), np.ones((12, 12))).astype(np.uint8)
    for number in range(3):
        luma = world[number:480 + number, 2 * number:640 + 2 * number]
        raw("nv12", luma, *np.full((2, 240, 320), 128, np.uint8)).tofile(f"burst/{number}.nv12")
    variables = {}
    for code in re.findall("```python\n(.*?)```", (SOURCES / "python" / "README.md").read_text(), re.S):
        exec(code, variables)
    expected, report = velmora_sr.fuse(variables["frames"])
    assert raw("nv12", *expected).tobytes() == pathlib.Path("big.nv12").read_bytes() and report.frames_used == 3
    assert capsys.readouterr().out.count("% replaced") == 4 and variables["told"].fused


def test_version_is_that_of_the_header():
    header = (SOURCES / "include/velmora_sr/version.h").read_text()
    assert f'VELMORA_SR_VERSION_STRING "{velmora_sr.__version__}"' in header


if __name__ == "__main__":
    run(__file__)
