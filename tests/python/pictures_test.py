"""render, png and report, against the tool."""

import zlib

import numpy as np
import pytest
from conftest import cube, part, style, tool

import trqprep
from trqprep import BuildStyle, Job, Mesh, TrqFileError, TrqValueError


def pixels_of(png):
    """The pixels of an 8-bit PNG file with or without opacity, as (H, W, 3 or 4)."""
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    at, data = 8, b""
    while at < len(png):
        size = int.from_bytes(png[at:at + 4], "big")
        kind, body = png[at + 4:at + 8], png[at + 8:at + 8 + size]
        if kind == b"IHDR":
            width, height = int.from_bytes(body[:4], "big"), int.from_bytes(body[4:8], "big")
            channels = {2: 3, 6: 4}[body[9]]
        if kind == b"IDAT":
            data += body
        at += size + 12
    raw = np.frombuffer(zlib.decompress(data), dtype=np.uint8).reshape(height, 1 + width * channels)
    rows, above = [], np.zeros(width * channels, dtype=int)
    for line in raw:
        row = line[1:].astype(int)
        if line[0] == 2:
            row = (row + above) & 255
        elif line[0] in (1, 3, 4):
            for i in range(len(row)):
                left = row[i - channels] if i >= channels else 0
                corner = above[i - channels] if i >= channels else 0
                if line[0] == 1:
                    row[i] = (row[i] + left) & 255
                elif line[0] == 3:
                    row[i] = (row[i] + (left + above[i]) // 2) & 255
                else:
                    guess = left + above[i] - corner
                    near = min((abs(guess - left), 0, left), (abs(guess - above[i]), 1, above[i]), (abs(guess - corner), 2, corner))
                    row[i] = (row[i] + near[2]) & 255
        rows.append(row)
        above = row
    return np.array(rows, dtype=np.uint8).reshape(height, width, channels)


def test_pictures_have_the_pixels_of_the_tool(tmp_path):
    tool("render", part("rook.stl"), "--size", "160x120", "--view", "30:20", "-o", tmp_path / "tool.png")
    mesh = Mesh.load(part("rook.stl"))
    picture = trqprep.render(mesh, size=(160, 120), view="30:20", threads=2)
    assert picture.shape == (120, 160, 4) and picture.dtype == np.uint8
    assert np.array_equal(picture[:, :, :3], pixels_of((tmp_path / "tool.png").read_bytes())[:, :, :3])
    assert trqprep.png(picture) == (tmp_path / "tool.png").read_bytes()
    picture[0, 0] = 0  # it is the caller's own
    clear = trqprep.render(mesh, size=(64, 64), transparent=True, scale_bar=False)
    assert (clear[0, 0, 3], clear[:, :, 3].max()) == (0, 255)
    assert not np.array_equal(trqprep.render(mesh, size=(64, 64), smooth=True), trqprep.render(mesh, size=(64, 64)))
    assert trqprep.render(mesh, mesh.slice(thickness=1), size=(64, 64)).shape == (64, 64, 4)


def test_what_cannot_be_drawn():
    for wrong in ({"size": (8, 8)}, {"size": (64, 5000)}, {"view": "askew"}, {"threads": 0}):
        with pytest.raises(TrqValueError):
            trqprep.render(cube(), **wrong)
    with pytest.raises(TrqValueError):
        trqprep.render()
    with pytest.raises(TypeError):
        trqprep.render(12)
    with pytest.raises(TrqFileError):
        trqprep.render("/nowhere")
    for wrong in (np.zeros((4, 4, 3)), np.zeros((0, 4, 4)), np.zeros(4)):
        with pytest.raises(TrqValueError):
            trqprep.png(wrong)


def test_problems_are_marked():
    mesh = cube()
    broken = Mesh.from_arrays(mesh.vertices, mesh.triangles[2:])
    with pytest.warns(trqprep.TrqWarning):
        marked = trqprep.render(broken, size=(64, 64), problems=True)
    assert not np.array_equal(marked, trqprep.render(broken, size=(64, 64)))


def test_folders_are_drawn_and_reported_as_the_tool_does(tmp_path):
    with pytest.warns(trqprep.TrqWarning):
        trqprep.build(Job(part("ring.stl"), time=0), tmp_path / "built")
    tool("render", tmp_path / "built", "--size", "64x64", "-o", tmp_path / "tool.png")
    assert trqprep.png(trqprep.render(tmp_path / "built", size=(64, 64))) == (tmp_path / "tool.png").read_bytes()
    page = trqprep.report(tmp_path / "built", path=tmp_path / "mine.html")
    assert page.encode() == (tmp_path / "built" / "report.html").read_bytes() == (tmp_path / "mine.html").read_bytes()
    with pytest.raises(TrqFileError):
        trqprep.report(tmp_path / "built", path=tmp_path / "mine.html")


def test_pages_of_objects(tmp_path):
    mesh = Mesh.load(part("ring.stl"))
    page = trqprep.report(mesh, mesh.slice(thickness=1), BuildStyle.load(style("Fine.sty")))
    assert page.startswith("<!doctype html>") and "ring.stl" in page and "Fine.sty" in page
    assert trqprep.report(cube()) == trqprep.report(cube())
    assert len(trqprep.report(Mesh.load(part("rook.stl")), facets=500)) < len(trqprep.report(Mesh.load(part("rook.stl")), facets="all"))
    with pytest.raises(TrqValueError):
        trqprep.report()
    with pytest.raises(TrqValueError):
        trqprep.report(cube(), facets=0)
