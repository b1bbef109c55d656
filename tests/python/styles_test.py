"""BuildStyle and RecoatStyle, against the tool."""

import os
import warnings
from collections.abc import Mapping

import numpy as np
import pytest
from conftest import SOURCE, read, style, tool

import trqprep
from trqprep import BuildStyle, RecoatStyle, TrqFileError, TrqValueError


def test_a_style_maps_names_to_parameters():
    data, _ = tool("style", "show", style("Fine.sty"), "--all")
    fine = BuildStyle.load(style("Fine.sty"))
    assert isinstance(fine, Mapping) and isinstance(fine, trqprep.Style)
    names = [parameter["name"] for parameter in data["parameters"]]
    assert list(fine) == list(fine.keys()) == names
    assert len(fine) == len(names)
    for parameter in data["parameters"]:
        mine = fine[parameter["name"]]
        assert mine.to_dict() == {key: parameter[key] for key in mine.to_dict()}
        assert mine.name == parameter["name"]
        assert mine.value == parameter["value"]
    assert "Layer Thickness" in fine and "layer thickness" not in fine and 3 not in fine
    assert fine.get("nothing") is None
    with pytest.raises(KeyError):
        fine["nothing"]
    assert [name for name, parameter in fine.items() if parameter.value != parameter.default]
    assert len(list(fine.values())) == len(fine)
    thickness = fine["Layer Thickness"]
    assert thickness.unit == "length" and isinstance(thickness.value, float) and thickness.region
    assert "Layer Thickness" in repr(thickness)
    ranged = [parameter for parameter in fine.values() if parameter.range]
    assert ranged and all(least <= most for least, most in (parameter.range for parameter in ranged))
    assert all(isinstance(parameter.allowed, tuple) for parameter in fine.values())


def test_setting_values(tmp_path):
    fine = BuildStyle.load(style("Fine.sty"))
    fine["Layer Thickness"] = np.float32(0.125)
    assert fine["Layer Thickness"].value == 0.125
    fine.save(tmp_path / "mine.sty")
    tool("style", "set", style("Fine.sty"), "Layer Thickness=0.125", "-o", tmp_path / "tool.sty")
    assert (tmp_path / "mine.sty").read_bytes() == (tmp_path / "tool.sty").read_bytes()
    with pytest.raises(TrqFileError) as caught:
        fine.save(tmp_path / "mine.sty")
    assert caught.value.code == "OUTPUT-EXISTS"
    fine.save(tmp_path / "mine.sty", replace=True)

    ranged = next(p for p in fine.values() if p.range and p.range[1] < 1e6 and not p.allowed and p.unit == "power" and isinstance(p.value, float))
    with pytest.raises(TrqValueError) as caught:
        fine[ranged.name] = ranged.range[1] * 2 + 1
    assert caught.value.code == "STYLE-REFUSED"
    assert fine[ranged.name].value == ranged.value
    fine.set(ranged.name, ranged.range[1] * 2 + 1, force=True)
    assert fine[ranged.name].value == pytest.approx(ranged.range[1] * 2 + 1)
    with pytest.raises(KeyError):
        fine["nothing"] = 1
    with pytest.raises(TrqValueError) as caught:
        fine["Layer Thickness"] = "thick"
    assert caught.value.code == "STYLE-VALUE"
    for wrong in (float("nan"), float("inf"), 1e300):
        with pytest.raises(TrqValueError):
            fine["Layer Thickness"] = wrong
    with pytest.raises(TypeError):
        fine["Layer Thickness"] = None


def test_differences_are_those_of_the_tool():
    data, _ = tool("style", "diff", style("Fine.sty"), style("Standard.sty"), exits=(1,))
    fine, standard = BuildStyle.load(style("Fine.sty")), BuildStyle.load(style("Standard.sty"))
    assert fine.diff(standard) == data["differences"]
    assert fine.diff(fine) == []
    standard["Layer Thickness"] = 0.2
    changed = {entry["name"]: entry for entry in standard.diff(BuildStyle.load(style("Standard.sty")))}
    assert changed["Layer Thickness"]["fields"]["value"]["before"] == 0.2
    with pytest.raises(TypeError):
        fine.diff(RecoatStyle.load(style("ThreeSweeps.rcs")))


def test_documents_there_and_back(tmp_path):
    tool("style", "export", style("Fine.sty"), "--to", "json", "-o", tmp_path / "fine.json")
    import json

    fine = BuildStyle.load(style("Fine.sty"))
    assert fine.to_dict() == json.loads((tmp_path / "fine.json").read_text())
    again = BuildStyle.from_dict(fine.to_dict())
    again.save(tmp_path / "again.sty")
    assert (tmp_path / "again.sty").read_bytes() == read(style("Fine.sty"))
    with pytest.raises(TrqValueError):
        BuildStyle.from_dict({"schema": "of something else"})
    with pytest.raises(TypeError):
        BuildStyle.from_dict({"parameters": object()})


def test_verify_and_check(tmp_path):
    fine = BuildStyle.load(style("Fine.sty"))
    _, messages = tool("style", "verify", style("Fine.sty"))
    assert [finding.to_dict() for finding in fine.verify()] == messages
    _, messages = tool("check", style("Fine.sty"), exits=(0, 1))
    assert [finding.to_dict() for finding in fine.check()] == messages
    fine.set("Layer Thickness", 0, force=True)
    assert "STYLE-THICKNESS" in [finding.code for finding in fine.check()]
    assert "MACHINE-MISMATCH" in [finding.code for finding in fine.check(machine="MirraPX (dual vat)")]
    with pytest.raises(TrqValueError) as caught:
        fine.check(machine="none such")
    assert caught.value.code == "MACHINE-UNKNOWN"


def test_what_is_no_style(tmp_path):
    with pytest.raises(TrqFileError):
        BuildStyle.load(style("ThreeSweeps.rcs"))
    spoilt = bytearray(read(style("Fine.sty")))
    spoilt[len(spoilt) // 2] ^= 255
    (tmp_path / "spoilt.sty").write_bytes(spoilt)
    with pytest.raises(TrqFileError) as caught:
        BuildStyle.load(tmp_path / "spoilt.sty")
    assert caught.value.code == "STYLE-CRC"


def test_new_styles_and_upgrades(tmp_path):
    new = BuildStyle.new("TRQ-E7", name="Mine")
    assert (new.name, new.kind, new.layout, new.file) == ("Mine", "build style", "301", "")
    new.save(tmp_path / "mine.sty")
    tool("style", "new", "--machine", "TRQ-E7", "--name", "Mine", "-o", tmp_path / "tool.sty")
    assert (tmp_path / "mine.sty").read_bytes() == (tmp_path / "tool.sty").read_bytes()
    assert BuildStyle.load(style("Fine.sty")).upgrade().diff(BuildStyle.load(style("Fine.sty"))) == []
    with pytest.raises(TrqValueError):
        BuildStyle.load(style("Fine.sty")).upgrade(units="mm")


@pytest.mark.parametrize("name", ["styles/filled_206.sty", "recoat/filled_206.rcs", "recoat/legacy_sweeps.rcs"])
def test_upgrades_are_those_of_the_tool(tmp_path, name):
    path = os.path.join(SOURCE, "tests", "data", name)
    kind, command = (BuildStyle, "style") if name.endswith(".sty") else (RecoatStyle, "recoat")
    _, messages = tool(command, "upgrade", path, "-o", tmp_path / "tool")
    old = kind.load(path)
    assert old.layout in ("206", "legacy")
    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("always")
        new = old.upgrade()
    assert [warning.message.code for warning in told] == [m["code"] for m in messages if m["severity"] == "warning"]
    assert new.layout == "301" and new.name == old.name
    new.save(tmp_path / "mine")
    assert read(tmp_path / "mine") == read(tmp_path / "tool")
    if old.layout == "legacy":
        with pytest.raises(TrqValueError):
            old.save(tmp_path / "legacy")


def test_sweeps(tmp_path):
    three = RecoatStyle.load(style("ThreeSweeps.rcs"))
    data, _ = tool("recoat", "sweeps", style("ThreeSweeps.rcs"))
    wanted = [[sweep["gap"]["value"], sweep["velocity"]["value"]] for sweep in data["sweeps"]["sweeps"]]
    assert three.sweeps.dtype == np.float32
    assert three.sweeps.tolist() == wanted
    assert three.sweeps.shape[1] == 2 and three.primary_sweeps.shape[1] == 2 and three.secondary_sweeps.shape[1] == 2
    three.sweeps = [[100, 2.5], [50, 1]]
    three.save(tmp_path / "two.rcs")
    again = RecoatStyle.load(tmp_path / "two.rcs")
    assert again.sweeps.tolist() == [[100, 2.5], [50, 1]]
    for wrong in ([1, 2], [[1, 2, 3]], "text", [[float("nan"), 1]]):
        with pytest.raises(TrqValueError):
            three.sweeps = wrong


def test_styles_show_themselves():
    fine = BuildStyle.load(style("Fine.sty"))
    assert "BuildStyle" in repr(fine) and "301" in repr(fine)
    assert fine._repr_html_().startswith("<table>") and "Layer Thickness" in fine._repr_html_()
    assert "RecoatStyle" in repr(RecoatStyle.load(style("ThreeSweeps.rcs")))
