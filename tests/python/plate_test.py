"""Job, Plate, build, estimate and verify, against the tool."""

import contextlib
import os
import shutil
import warnings

import numpy as np
import pytest
from conftest import cube, part, style, tool

import trqprep
from trqprep import Job, Part, TrqError, TrqFileError, TrqValueError, TrqWarning


@contextlib.contextmanager
def ignored():
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        yield


def files_of(folder):
    found = {}
    for here, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(here, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, folder)] = file.read()
    return found


def quiet_job(*parts, **settings):
    return Job(*(parts or (part("ring.stl"), Part(part("spur_gear.stl"), copies=3))), time=0, **settings)


def test_a_plate_is_that_of_the_tool():
    data, _ = tool("place", part("ring.stl"), part("spur_gear.stl") + ",copies=3", "--time", 0)
    told = []
    plate = trqprep.place(quiet_job(), progress=lambda what, share: told.append((what, share)))
    assert plate.to_dict() == {key: data[key] for key in plate.to_dict()}
    assert told and isinstance(told[0][0], str)
    assert len(plate) == len(plate.pieces) == 4
    assert plate.findings == [] and plate.units == "mm" and plate.vat == (250, 250, 250)
    for piece, row in zip(plate.pieces, data["pieces"]):
        assert (piece.x, piece.y) == pytest.approx((row["x"], row["y"]), abs=1e-5)
        assert piece.copy == row["copy"] and piece.part == row["part"]
        box = np.array([piece.vertices.min(axis=0), piece.vertices.max(axis=0)])
        assert np.allclose(box, piece.bounds, atol=1e-4)
        mesh = trqprep.Mesh.load(part(piece.part + ".stl"))
        placed = mesh.vertices.astype(float) @ piece.matrix[:3, :3].T + piece.matrix[:3, 3]
        assert np.allclose(placed, piece.vertices, atol=1e-4)
        assert piece.mesh.volume == pytest.approx(mesh.volume, rel=1e-4)
        assert 0 <= piece.rotation < 360 and piece.part in repr(piece)
    assert plate.bounds.shape == (2, 3)
    assert "<svg" in plate.svg() and "<svg" in plate._repr_html_()
    assert repr(plate) == "<Plate: 4 pieces of 2 parts>"
    assert isinstance(plate.job, Job)


def test_a_view_of_a_piece_outlives_its_plate():
    vertices = trqprep.place(quiet_job()).pieces[1].vertices
    assert np.isfinite(vertices).all() and vertices.max() <= 250
    with pytest.raises(ValueError):
        vertices[0] = 1


def test_no_placement():
    with pytest.raises(TrqError) as caught:
        trqprep.place(Job(part("ring.stl"), vat=(5, 5, 5), time=0))
    assert caught.value.findings and caught.value.code in [finding.code for finding in caught.value.findings]


def test_builds_have_the_bytes_of_the_tool(tmp_path):
    job = quiet_job(style=[style("Fine.sty"), style("Fine.sty") + "@0:2mm"], recoat=style("ThreeSweeps.rcs"), slice=True,
                    vat="200x200x150mm")
    told = []
    with ignored():
        built = trqprep.build(job, tmp_path / "mine", progress=lambda what, share: told.append(share))
    data, messages = tool("build", part("ring.stl"), part("spur_gear.stl") + ",copies=3", "--time", 0, "--style",
                          style("Fine.sty"), "--style", style("Fine.sty") + "@0:2mm", "--recoat",
                          style("ThreeSweeps.rcs"), "--slice", "--vat", "200x200x150mm", "-o", tmp_path / "tool")
    mine, theirs = files_of(tmp_path / "mine"), files_of(tmp_path / "tool")
    assert sorted(mine) == sorted(theirs)
    assert [name for name in mine if mine[name] != theirs[name]] == []
    assert "report.html" in mine and any(name.startswith("slices" + os.sep) for name in mine)
    assert built.folder == str(tmp_path / "mine") and not built.forced
    assert {key: built.document[key] for key in data if key in built.document} == {
        key: data[key] for key in data if key in built.document}
    assert told
    assert isinstance(built.plate, trqprep.Plate) and len(built.plate) == 4
    assert "<svg" in built._repr_html_() and "mine" in repr(built)
    assert trqprep.verify(tmp_path / "mine") == []
    with pytest.raises(TrqFileError) as caught:
        trqprep.build(job, tmp_path / "mine")
    assert caught.value.code == "OUTPUT-EXISTS"
    # From its own job file.
    with ignored():
        trqprep.build(Job.load(tmp_path / "mine" / "build.toml"), tmp_path / "again")
    assert files_of(tmp_path / "again")["plate.stl"] == mine["plate.stl"]
    (tmp_path / "mine" / "plate.stl").write_bytes(b"spoilt")
    assert "VERIFY-HASH" in [finding.code for finding in trqprep.verify(tmp_path / "mine")]


def test_errors_keep_a_build_from_being_written(tmp_path):
    mesh = cube(20)
    trqprep.Mesh.from_arrays(mesh.vertices, mesh.triangles[2:]).save(tmp_path / "open.stl")
    job = Job(tmp_path / "open.stl", time=0, strict=True)
    with pytest.raises(TrqError) as caught:
        trqprep.build(job, tmp_path / "built")
    assert not (tmp_path / "built").exists()
    assert "OPEN-EDGES" in [finding.code for finding in caught.value.findings]
    with pytest.warns(TrqWarning):
        built = trqprep.build(Job(tmp_path / "open.stl", time=0, strict=True, force_checks=True), tmp_path / "built")
    assert built.forced and (tmp_path / "built" / "build.json").exists()


def test_several_plates(tmp_path):
    job = Job(Part(part("ring.stl"), copies=4), vat=(70, 70, 50), time=0, plates="any")
    plates = trqprep.place_plates(job)
    data, _ = tool("place", part("ring.stl") + ",copies=4", "--vat", "70x70x50mm", "--time", 0, "--plates", "any")
    assert len(plates) == len(data["plates"]) and sum(len(plate) for plate in plates) == 4
    with pytest.raises(TrqValueError):
        trqprep.place(job)
    with pytest.warns(TrqWarning):
        built = trqprep.build(job, tmp_path / "plates")
    assert built.plate is None and len(built.document["plates"]) == len(plates)


def test_settings_of_jobs_and_parts():
    job = Job(part("ring.stl") + ",copies=2", Part(part("knob.stl"), rotate_z=90, at=("10mm", 12), style="a.sty"),
              units="mm", gap="3mm", margin=4, rotations=8, seed=7, order="given", no_holes=True, machine="TRQ-E7",
              tolerance=0.1, power=250, dp_unit="mm", allow=["OPEN-EDGES"], strict=True, time=1.5, threads=2)
    text = job.to_toml()
    for line in ('gap = "3mm"', "rotations = 8", "seed = 7", 'order = "given"', "no-holes = true", "copies = 2",
                 "rotate-z = 90", "strict = true"):
        assert line.replace('"3mm"', "") in text.replace('"3mm"', "") or line in text, line
    assert "TRQ-E7" in text and "OPEN-EDGES" in text and "power" in text
    assert [p.copies for p in job.parts] == [2, 1]
    assert job.vat == (250, 250, 250) and job.units == "mm"
    assert Job(part("ring.stl"), units="in").units == "in"
    assert Job(Part(part("ring.stl"), copies="fill")).parts[0].copies == "fill"
    for wrong in ({"gap": "wide"}, {"rotations": 0}, {"vat": "small"}, {"order": "mine"}, {"engine": "grid", "time": 1},
                  {"units": "cm"}, {"machine": "none such"}, {"drop": True, "floor": "keep"}, {"threads": 0},
                  {"allow": "NONE-SUCH"}, {"power": "strong"}, {"vat": (1, 2)}):
        with pytest.raises(TrqValueError):
            Job(part("ring.stl"), **wrong)
    with pytest.raises(TrqValueError):
        Job()
    for wrong in ({"nonsense": 1}, {"part": "x"}, {"gap": None}):
        with pytest.raises(TypeError):
            Job(part("ring.stl"), **wrong)
    with pytest.raises(TypeError):
        Part(part("ring.stl"), nonsense=1)
    with pytest.raises(TrqValueError):
        Part(part("ring.stl"), copies=0)
    with pytest.raises(TrqFileError):
        Job.load("/nowhere/job.toml")
    assert repr(job) == "<Job: 2 parts>" and "ring.stl" in repr(Job(part("ring.stl")).parts[0])


def test_estimates_are_those_of_the_tool(tmp_path):
    cube(20).slice(thickness=0.1).save(tmp_path / "cube.slc")
    settings = {"power": 250, "dp_unit": "mm", "ec_unit": "mJ/cm2", "travel": "300mm", "delay_unit": "s", "beam": "0.1mm"}
    line = [word for key, value in settings.items() for word in ("--" + key.replace("_", "-"), str(value))]
    data, messages = tool("estimate", tmp_path / "cube.slc", "--style", style("Fine.sty"), "--recoat",
                          style("ThreeSweeps.rcs"), *line, exits=(0, 1))
    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("always")
        mine = trqprep.estimate(tmp_path / "cube.slc", style=style("Fine.sty"), recoat=style("ThreeSweeps.rcs"), **settings)
    wanted = dict(data["estimates"][0])
    del wanted["file"]
    assert mine == wanted
    assert [warning.message.code for warning in told] == [m["code"] for m in messages if m["severity"] == "warning"]
    assert mine["resin"] == pytest.approx(8, rel=1e-3)

    # A job, and the folder built of it.
    shutil.copy(part("ring.stl"), tmp_path)
    job = Job(tmp_path / "ring.stl", time=0, slice=True, style=style("Fine.sty"), recoat=style("ThreeSweeps.rcs"), **settings)
    with ignored():
        of_job = trqprep.estimate(job)
        trqprep.build(job, tmp_path / "built")
        of_folder = trqprep.estimate(tmp_path / "built")
        assert trqprep.estimate(tmp_path / "built" / "build.toml")["resin"] == pytest.approx(of_folder["resin"])
    assert of_job["resin"] == pytest.approx(of_folder["resin"], rel=1e-6)
    with pytest.raises(TrqValueError):
        trqprep.estimate()
    with pytest.raises(TypeError):
        trqprep.estimate(tmp_path / "cube.slc", nonsense=1)
    with pytest.raises(TrqValueError):
        trqprep.estimate(tmp_path / "cube.slc", power="strong")
    with pytest.raises(TrqFileError):
        trqprep.verify(tmp_path)
