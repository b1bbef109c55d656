"""The wheel: built and installed without network, imported in an environment of its own."""

import os
import shutil
import subprocess
import sys
import zipfile

import pytest
from conftest import SOURCE, part

BUILD = os.environ.get("TRQ_PYTHON_BUILD")

LOOK = """
import sys, trqprep
mesh = trqprep.Mesh.load(sys.argv[1])
assert trqprep.__file__.startswith(sys.prefix), trqprep.__file__
with open("/proc/self/maps") as maps:
    libraries = {line.split()[-1] for line in maps if "libTRQSharedDll" in line}
assert len(libraries) == 1 and libraries.pop().startswith(sys.prefix)
print(len(mesh), trqprep.__version__)
"""


def run(*command, **settings):
    # Proxies that nothing listens at: whatever asks the network fails.
    environment = {key: value for key, value in os.environ.items() if key not in ("PYTHONPATH", "TRQ_PYTHON_BUILD")}
    environment.update(http_proxy="http://127.0.0.1:9", https_proxy="http://127.0.0.1:9", PIP_NO_INDEX="1",
                       **settings.pop("more", {}))
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=environment,
                          **settings)
    assert done.returncode == 0, done.stdout.decode()[-3000:]
    return done.stdout.decode()


@pytest.mark.skipif(not BUILD, reason="TRQ_PYTHON_BUILD names no build folder")
def test_a_wheel(tmp_path):
    # Besides its own folder setup.py reads the version alone when a build folder is given.
    shutil.copytree(os.path.join(SOURCE, "python"), tmp_path / "tree" / "python")
    shutil.copy(os.path.join(SOURCE, "CMakeLists.txt"), tmp_path / "tree")
    run(sys.executable, "-m", "build", "--wheel", "--no-isolation", "--outdir", tmp_path, tmp_path / "tree" / "python",
        more={"TRQ_PYTHON_BUILD": BUILD})
    wheel, = tmp_path.glob("trqprep-*.whl")
    names = zipfile.ZipFile(wheel).namelist()
    for name in ("__init__.py", "__init__.pyi", "errors.py", "py.typed"):
        assert "trqprep/" + name in names
    assert [name for name in names if name.startswith("trqprep/_native.") and name.endswith(".so")]
    assert [name for name in names if name.startswith("trqprep/libTRQSharedDll.so")]
    run(sys.executable, "-m", "venv", "--system-site-packages", tmp_path / "own")
    python = tmp_path / "own" / "bin" / "python"
    run(python, "-m", "pip", "install", "--no-index", "--no-deps", wheel)
    assert run(python, "-I", "-c", LOOK, part("ring.stl"), cwd=tmp_path).split()[0] == "3840"
