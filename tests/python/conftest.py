"""What the tests of the Python package share. TRQPREP is the tool, TRQ_SOURCE_DIR the source tree."""

import json
import os
import subprocess
import warnings

import numpy as np
import pytest

import trqprep

SOURCE = os.environ["TRQ_SOURCE_DIR"]
PARTS = os.path.join(SOURCE, "examples", "parts")
STYLES = os.path.join(SOURCE, "examples", "styles")

CUBE_VERTICES = [[x, y, z] for x in (0, 1) for y in (0, 1) for z in (0, 1)]
# Two triangles a side, counter-clockwise seen from outside.
CUBE_TRIANGLES = [[0, 1, 3], [0, 3, 2], [4, 6, 7], [4, 7, 5], [0, 4, 5], [0, 5, 1],
                  [2, 3, 7], [2, 7, 6], [0, 2, 6], [0, 6, 4], [1, 5, 7], [1, 7, 3]]


def read(path):
    with open(path, "rb") as file:
        return file.read()


def cube(size=10.0):
    return trqprep.Mesh.from_arrays(np.array(CUBE_VERTICES, dtype=float) * size, CUBE_TRIANGLES)


def part(name):
    return os.path.join(PARTS, name)


def style(name):
    return os.path.join(STYLES, name)


def tool(*arguments, exits=(0,)):
    """Runs the tool with --json and returns its data and messages."""
    environment = {key: value for key, value in os.environ.items() if key not in ("LD_PRELOAD", "ASAN_OPTIONS")}
    done = subprocess.run([os.environ["TRQPREP"], *map(str, arguments), "--json"], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, env=environment)
    assert done.returncode in exits, done.stderr.decode()[:500]
    document = json.loads(done.stdout)
    data = document["data"]
    if len(data.get("files", [])) == 1 and arguments[0] == "info":
        data = data["files"][0]
    if "units" in document:
        data.setdefault("units", document["units"])
    return data, document["messages"]


@pytest.fixture(autouse=True)
def silence(capfd):
    """Nothing prints, whatever is done."""
    yield
    out, error = capfd.readouterr()
    assert out == ""
    assert error == ""


@pytest.fixture(autouse=True)
def warnings_are_errors():
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        yield
