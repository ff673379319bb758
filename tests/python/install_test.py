"""The package as pip installs it, without a compiler, and how it finds the library."""
import importlib.util
import os
import pathlib
import shutil
import subprocess
import sys

from support import SOURCES, pytest, run

LIBRARY = pathlib.Path(os.environ["VELMORA_SR_LIBRARY"]).resolve()
PROGRAM = """
import os, sys, numpy, velmora_sr
from velmora_sr import camera
assert velmora_sr.__file__.startswith(os.getcwd() + os.sep), velmora_sr.__file__
grey = numpy.full((100, 120), 77, numpy.uint8)
assert (velmora_sr.upscale(grey) == 77).all() and (camera.enlarge(grey) == 77).all()
mapped = {line.split(None, 5)[-1].strip() for line in open("/proc/self/maps") if "libvelmora_sr" in line}
print(*mapped, file=sys.stderr)
"""


@pytest.fixture(scope="module")
def site(tmp_path_factory):
    if importlib.util.find_spec("pip") is None or importlib.util.find_spec("wheel") is None:
        pytest.skip("pip or wheel is missing")
    folder = tmp_path_factory.mktemp("pip")
    shutil.copytree(SOURCES / "python", folder / "source", ignore=shutil.ignore_patterns("build", "*.egg-info"))
    subprocess.run([sys.executable, "-m", "pip", "install", "--quiet", "--disable-pip-version-check", "--no-index",
                    "--no-build-isolation", "--no-deps", "--target", folder / "site", folder / "source"],
                   check=True, env={**os.environ, "CC": "false", "CXX": "false"})
    return folder / "site"


def loaded(site, **environment):
    """The file that a fresh interpreter loads, or its last words. Standard output has the library's progress."""
    cleared = {name: value for name, value in os.environ.items()
               if name not in ("VELMORA_SR_LIBRARY", "LD_LIBRARY_PATH", "PYTHONPATH", "PKG_CONFIG_PATH")}
    done = subprocess.run([sys.executable, "-c", PROGRAM], cwd=site, env={**cleared, **environment}, check=False,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, encoding="utf-8")
    return done.stderr.splitlines()[-1]


def test_all_sources_are_installed(site):
    def sources(folder):
        return {file.relative_to(folder) for file in folder.rglob("*") if file.suffix in (".py", ".typed")}
    assert sources(site / "velmora_sr") == sources(SOURCES / "python" / "velmora_sr")


def test_where_the_library_is_found(site, tmp_path):
    folder = tmp_path / "with blank"
    folder.mkdir()
    (folder / "libvelmora_sr.so.1").symlink_to(LIBRARY)
    (tmp_path / "velmora_sr.pc").write_text(
        f"libdir={folder}\nName: velmora_sr\nDescription: here\nVersion: 1\nLibs: -L${{libdir}} -lvelmora_sr\n")
    for named in (LIBRARY, folder):
        assert loaded(site, VELMORA_SR_LIBRARY=str(named)) == str(LIBRARY)
    if shutil.which("pkg-config"):
        assert loaded(site, PKG_CONFIG_PATH=str(tmp_path)) == str(LIBRARY)
    assert loaded(site, LD_LIBRARY_PATH=str(folder)) == str(LIBRARY)
    for named in (tmp_path, tmp_path / "nowhere", tmp_path / "velmora_sr.pc"):
        assert "VELMORA_SR_LIBRARY may name" in loaded(site, VELMORA_SR_LIBRARY=str(named))
    beside = site / "velmora_sr" / "libvelmora_sr.so.1"
    shutil.copy(LIBRARY, beside)
    assert loaded(site, PKG_CONFIG_PATH=str(tmp_path)) == str(beside)
    beside.unlink()


if __name__ == "__main__":
    run(__file__)
