"""Mesh: files, measures and operations, against the tool and against arithmetic."""

import os

import numpy as np
import pytest
from conftest import CUBE_TRIANGLES, CUBE_VERTICES, PARTS, cube, part, read, tool

import trqprep
from trqprep import Mesh, TrqFileError, TrqValueError, TrqWarning

ALL_PARTS = sorted(name for name in os.listdir(PARTS) if name.endswith(".stl"))


def facts_of(data, keys):
    return {key: data[key] for key in keys}


@pytest.mark.parametrize("name", ALL_PARTS)
def test_a_mesh_says_what_info_says(name):
    data, _ = tool("info", part(name))
    mesh = Mesh.load(part(name))
    assert mesh.to_dict() == facts_of(data, mesh.to_dict())
    assert set(mesh.to_dict()) >= {"facets", "vertices", "box", "area", "volume"}
    assert mesh.volume == pytest.approx(data["volume"], rel=1e-12)
    assert mesh.area == pytest.approx(data["area"], rel=1e-12)
    assert np.array_equal(mesh.bounds.astype(np.float32), np.array([data["box"]["min"], data["box"]["max"]], dtype=np.float32))
    assert len(mesh) == data["facets"] == mesh.triangles.shape[0]
    assert mesh.vertices.shape == (data["vertices"], 3)
    assert mesh.format == data["format"]
    assert mesh.file == part(name)


def test_measures_of_a_cube():
    mesh = cube(10)
    assert mesh.volume == 1000
    assert mesh.area == 600
    assert mesh.bounds.tolist() == [[0, 0, 0], [10, 10, 10]]
    assert mesh.units == "mm"
    assert mesh.facts == {}
    assert np.array_equal(mesh.attributes, np.zeros(12))
    outward = mesh.vertices[mesh.triangles].mean(axis=1) - 5
    assert ((mesh.normals * outward).sum(axis=1) > 0).all()
    assert np.allclose(np.linalg.norm(mesh.normals, axis=1), 1)


def test_volume_by_numpy_is_that_of_the_mesh():
    mesh = Mesh.load(part("rook.stl"))
    a, b, c = (mesh.vertices[mesh.triangles[:, k]].astype(float) for k in range(3))
    assert (a * np.cross(b, c)).sum() / 6 == pytest.approx(mesh.volume, rel=1e-9)


def test_bytes_in_memory_read_as_the_file(tmp_path):
    Mesh.load(part("ring.stl")).save(tmp_path / "ring.stl")
    data = read(tmp_path / "ring.stl")
    for given in (data, bytearray(data), memoryview(data), np.frombuffer(data, dtype=np.uint8)):
        mesh = Mesh.loads(given)
        assert np.array_equal(mesh.vertices, Mesh.load(tmp_path / "ring.stl").vertices)
        assert mesh.file == ""
    with pytest.raises(TrqFileError) as caught:
        Mesh.loads(data[:300], name="short.stl", units="mm")
    assert (caught.value.code, caught.value.file) == ("STL-SHORT", "short.stl")
    assert len(Mesh.loads(memoryview(data)[:])) == len(mesh)
    with pytest.raises(TrqValueError):
        Mesh.loads(memoryview(data)[::2])


@pytest.mark.parametrize("form", ["stl", "stl-ascii", "ctl"])
def test_saving_writes_what_convert_writes(tmp_path, form):
    ending = form.split("-")[0]
    mesh = Mesh.load(part("bracket.stl"))
    before = mesh.vertices.copy()
    mesh.save(tmp_path / ("mine." + ending), format=form)
    tool("convert", part("bracket.stl"), "-o", tmp_path / ("tool." + ending), "--to", form)
    assert (tmp_path / ("mine." + ending)).read_bytes() == (tmp_path / ("tool." + ending)).read_bytes()
    assert np.array_equal(mesh.vertices, before)
    with pytest.raises(TrqFileError) as caught:
        mesh.save(tmp_path / ("mine." + ending), format=form)
    assert caught.value.code == "OUTPUT-EXISTS"
    mesh.save(tmp_path / ("mine." + ending), format=form, replace=True)


def test_saving_in_another_unit(tmp_path):
    cube(25.4).save(tmp_path / "inch.stl", units="in")
    assert np.allclose(Mesh.load(tmp_path / "inch.stl", units="in").bounds, [[0] * 3, [1] * 3], atol=1e-6)
    converted = cube(25.4).converted("in")
    assert converted.units == "in"
    assert np.allclose(converted.bounds[1], 1, atol=1e-6)
    # A CTL file says its unit.
    converted.save(tmp_path / "inch.ctl")
    again = Mesh.load(tmp_path / "inch.ctl")
    assert again.units == "in" and again.units_stated


def test_a_dash_is_a_file_and_no_stream(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    cube().save("-", format="stl")
    assert (tmp_path / "-").stat().st_size == 84 + 50 * 12
    assert len(Mesh.load("-")) == 12


def test_transformed_is_what_the_matrix_says(tmp_path):
    mesh = Mesh.load(part("bracket.stl"))
    matrix = np.array([[0, -1, 0, 5], [1, 0, 0, -2], [0, 0, 1, 3], [0, 0, 0, 1.0]])
    moved = mesh.transformed(matrix)
    wanted = mesh.vertices.astype(float) @ matrix[:3, :3].T + matrix[:3, 3]
    assert np.array_equal(moved.vertices, wanted.astype(np.float32))
    data, _ = tool("transform", part("bracket.stl"), "--matrix", ",".join(str(x) for x in matrix.ravel()), "-o",
                   tmp_path / "moved.stl")
    assert moved.to_dict() == facts_of(data, moved.to_dict())
    # A mirror keeps facets facing outward.
    assert mesh.transformed(np.diag([-1, 1, 1, 1])).volume == pytest.approx(mesh.volume, rel=1e-6)
    for wrong in (np.zeros((4, 4)), np.eye(3), "text", np.full((4, 4), np.nan), np.ones((4, 4)), None):
        with pytest.raises(TrqValueError):
            mesh.transformed(wrong)
    with pytest.raises(TrqValueError):
        mesh.transformed(np.diag([1e38, 1e38, 1e38, 1]))


def test_repair_does_what_the_tool_does(tmp_path):
    mesh = Mesh.load(part("bracket.stl"))
    holed = Mesh.from_arrays(mesh.vertices, mesh.triangles[3:])
    holed.save(tmp_path / "holed.stl")
    data, _ = tool("repair", tmp_path / "holed.stl", "-o", tmp_path / "tool.stl")
    repaired = Mesh.load(tmp_path / "holed.stl").repair()
    assert repaired.facts["steps"] == data["steps"]
    assert repaired.facts["open_edges"] == 0
    assert repaired.facts["mesh_before"] == data["mesh_before"]
    assert repaired.to_dict() == facts_of(data, repaired.to_dict())
    repaired.save(tmp_path / "mine.stl")
    assert (tmp_path / "mine.stl").read_bytes() == (tmp_path / "tool.stl").read_bytes()
    with pytest.warns(TrqWarning) as told:
        still = Mesh.load(tmp_path / "holed.stl").repair(holes=0)
    assert [warning.message.code for warning in told] == ["REPAIR-LEFT"]
    assert still.facts["open_edges"] > 0


def test_simplify_does_what_the_tool_does(tmp_path):
    data, _ = tool("simplify", part("rook.stl"), "--facets", 1500, "-o", tmp_path / "tool.stl", exits=(0, 1))
    simple = Mesh.load(part("rook.stl")).simplify(1500)
    assert simple.to_dict() == facts_of(data, simple.to_dict())
    assert simple.facts["mesh_before"] == data["mesh_before"]
    with pytest.warns(TrqWarning, match="SIMPLIFY-NOTHING"):
        cube().simplify(5000)
    with pytest.raises(TrqValueError):
        cube().simplify(0)
    with pytest.raises(trqprep.TrqError) as caught:
        Mesh.load(part("rook.stl")).simplify(8)
    assert caught.value.code in ("SIMPLIFY-RUINED", "MESH-EMPTY")


def test_hollow_does_what_the_tool_does(tmp_path):
    data, messages = tool("hollow", part("l_shape.stl"), "--limit", "2mm", "--validate", "-o", tmp_path / "tool.stl")
    with pytest.warns(TrqWarning) as told:
        hollow = Mesh.load(part("l_shape.stl")).hollow("2mm", validate=True)
    assert [warning.message.code for warning in told] == [message["code"] for message in messages]
    assert hollow.facts == facts_of(data, hollow.facts)
    assert len(hollow) == data["facets"]
    assert hollow.volume == pytest.approx(data["volume_after"], rel=1e-6)
    with pytest.warns(TrqWarning):
        skin = Mesh.load(part("l_shape.stl")).hollow(2, validate=True, inner_only=True)
    assert skin.volume < 0
    for wrong in (0, -1, "nonsense"):
        with pytest.raises(TrqValueError):
            cube().hollow(wrong)


@pytest.mark.parametrize("name", ALL_PARTS)
def test_check_finds_what_the_tool_finds(name):
    for arguments, settings in (((), {}), (("--slices",), {"layers": True}), (("--vat", "5x5x5mm"), {"vat": (5, 5, 5)})):
        _, messages = tool("check", part(name), *arguments, exits=(0, 1))
        found = Mesh.load(part(name)).check(**settings)
        assert [finding.to_dict() for finding in found] == messages
        assert [finding.code for finding in found] == [message["code"] for message in messages]


def test_findings_of_an_open_box():
    found = Mesh.from_arrays(CUBE_VERTICES, CUBE_TRIANGLES[2:]).converted("cm").check()
    assert [f.code for f in found if f.code == "OPEN-EDGES"] == ["OPEN-EDGES"]
    one = [f for f in found if f.code == "OPEN-EDGES"][0]
    assert one.severity == "error" or one.severity == "warning"
    assert one.where["edges"] == 4
    assert "OPEN-EDGES" in repr(one) and one.hint and one.file == ""


def test_slices_are_those_of_the_tool(tmp_path):
    mesh = Mesh.load(part("knob.stl"))
    mesh.slice(thickness="0.5mm").save(tmp_path / "mine.slc")
    tool("slice", part("knob.stl"), "--thickness", "0.5mm", "-o", tmp_path / "tool.slc")
    assert (tmp_path / "mine.slc").read_bytes() == (tmp_path / "tool.slc").read_bytes()
    told = []
    mesh.slice(thickness=0.2, threads=2, progress=lambda what, share: told.append(share))
    assert told and all(0 <= share <= 1 for share in told)
    for wrong in ({"thickness": 0}, {"cut": "side"}, {"union": "some"}, {"threads": 0}, {"close": -1},
                  {"thickness": "thick"}):
        with pytest.raises(TrqValueError):
            mesh.slice(**wrong)


def test_what_is_no_mesh(tmp_path):
    with pytest.raises(TrqFileError) as caught:
        Mesh.load(tmp_path / "none.stl")
    error = caught.value
    assert isinstance(error, OSError) and isinstance(error, trqprep.TrqError)
    assert (error.code, error.file, error.filename) == ("INPUT-MISSING", str(tmp_path / "none.stl"), str(tmp_path / "none.stl"))
    assert error.hint and error.text in str(error) and error.code in str(error)
    for wrong in ("", "a\0b"):
        with pytest.raises(TrqValueError):
            Mesh.load(wrong)
    with pytest.raises(TypeError):
        Mesh.load(12)
    with pytest.raises(TrqValueError):
        Mesh.load(part("ring.stl"), units="ell")
    Mesh.load(part("ring.stl")).save(tmp_path / "cut.stl")
    (tmp_path / "cut.stl").write_bytes(read(tmp_path / "cut.stl")[:1000])
    with pytest.raises(TrqFileError) as caught:
        Mesh.load(tmp_path / "cut.stl", units="mm")
    assert caught.value.code == "STL-SHORT"
    assert caught.value.where["present"] == 18
    with pytest.warns(TrqWarning, match="STL-SHORT"):
        assert len(Mesh.load(tmp_path / "cut.stl", accept_partial=True, units="mm")) == 18


def test_a_doubtful_unit_is_warned_of(tmp_path):
    cube(1).save(tmp_path / "small.stl")
    with pytest.warns(TrqWarning) as told:
        Mesh.load(tmp_path / "small.stl")
    assert told[0].message.code == "UNITS-DOUBT"
    assert told[0].filename == __file__
    Mesh.load(tmp_path / "small.stl", units="mm")


class Foreign:
    """What from_trimesh takes: anything with vertices and faces."""

    units = "inches"
    vertices = CUBE_VERTICES
    faces = CUBE_TRIANGLES


def test_meshes_of_others_by_their_arrays(monkeypatch):
    mesh = Mesh.from_trimesh(Foreign())
    assert (mesh.units, mesh.volume) == ("in", 1)
    assert Mesh.from_trimesh(Foreign(), units="mm").units == "mm"

    import sys
    import types

    class Trimesh:
        def __init__(self, vertices, faces, process):
            self.vertices, self.faces, self.process = vertices, faces, process

    monkeypatch.setitem(sys.modules, "trimesh", types.SimpleNamespace(Trimesh=Trimesh))
    there = mesh.to_trimesh()
    assert there.process is False and there.vertices.flags.writeable
    assert np.array_equal(there.faces, CUBE_TRIANGLES)
    assert Mesh.from_trimesh(there).units == "in"


def test_a_mesh_shows_itself():
    mesh = Mesh.load(part("ring.stl"))
    assert "facets" in repr(mesh) and "ring.stl" in repr(mesh) and "mm" in repr(mesh)
    html = mesh._repr_html_()
    assert html.startswith("<figure>") and "data:image/png;base64,iVBOR" in html and "<script" not in html
    copied = mesh.copy()
    assert copied.vertices.ctypes.data != mesh.vertices.ctypes.data
    assert np.array_equal(copied.triangles, mesh.triangles)
