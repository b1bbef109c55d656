"""Contours: files and layers, against the tool and against geometry."""

import os

import numpy as np
import pytest
from conftest import SOURCE, cube, part, read, tool

from trqprep import Contours, Mesh, TrqFileError, TrqValueError


def example():
    folder = os.path.join(SOURCE, "examples", "contours")
    return os.path.join(folder, sorted(name for name in os.listdir(folder) if name.endswith(".slc"))[0])


def test_layers_of_a_box():
    contours = cube(10).slice(thickness=2)
    assert len(contours) == 5
    assert contours.z.tolist() == [0, 2, 4, 6, 8] and contours.top == 10
    assert contours.areas.tolist() == [100] * 5 and contours.volume == 1000
    assert contours.units == "mm" and contours.file == ""
    assert len(contours.layers) == 5
    assert [len(layer) for layer in contours.layers] == [1] * 5
    outline = contours.layers[2][0]
    assert outline.shape == (5, 2) and outline.dtype == np.float32
    x, y = outline.astype(float).T
    assert (x[:-1] * y[1:] - x[1:] * y[:-1]).sum() / 2 == 100  # counter-clockwise
    assert np.array_equal(contours[-1][0], contours[4][0])
    with pytest.raises(IndexError):
        contours[5]
    assert len(list(contours)) == 5


def test_a_file_says_what_info_says(tmp_path):
    data, _ = tool("info", example())
    contours = Contours.load(example())
    mine = contours.to_dict()
    assert mine == {key: data[key] for key in mine}
    each, _ = tool("slc", "info", example())
    assert contours.areas.tolist() == [layer["area"] for layer in each["each_layer"]]
    assert [len(layer) for layer in contours.layers] == [layer["boundaries"] for layer in each["each_layer"]]
    contours.save(tmp_path / "again.slc")
    tool("slc", "copy", example(), "-o", tmp_path / "tool.slc")
    assert (tmp_path / "again.slc").read_bytes() == (tmp_path / "tool.slc").read_bytes()
    assert np.array_equal(Contours.loads(read(example())).areas, contours.areas)
    with pytest.raises(TrqFileError):
        contours.save(tmp_path / "again.slc")


def test_findings_are_those_of_the_tool(tmp_path):
    Mesh.load(part("vase.stl")).slice(thickness=0.5).save(tmp_path / "vase.slc")
    _, messages = tool("check", tmp_path / "vase.slc", "--slices", exits=(0, 1))
    found = Contours.load(tmp_path / "vase.slc").check()
    assert [finding.to_dict() for finding in found] == messages
    for wrong in ({"pitch": 0}, {"overhang": -1}):
        with pytest.raises(TrqValueError):
            cube().slice(thickness=1).check(**wrong)


def test_what_is_no_contours(tmp_path):
    with pytest.raises(TrqFileError):
        Contours.load(part("ring.stl"))
    with pytest.raises(TrqFileError):
        Contours.load(tmp_path / "none.slc")
    with pytest.raises(TrqFileError):
        Contours.loads(read(example())[:-200])


def test_contours_show_themselves():
    contours = cube().slice(thickness=1)
    assert repr(contours) == "<Contours: 10 layers, mm>"
    assert "<svg" in contours._repr_html_() and "<svg" in contours.svg(0)
    with pytest.raises(IndexError):
        contours.svg(10)
