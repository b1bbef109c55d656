"""estimate, and estimate.json of builds: resin and times, worked out here from the documented formulas."""
import json
import math
import struct
import unittest

import slc_test
from style_files import *
from support import *

GIVEN = ["--power", "200", "--dp-unit", "mm", "--ec-unit", "mJ/cm2", "--travel", "300mm", "--delay-unit", "s"]
MIRRA = 3  # of the machines with one spot


# --- the formulas, written down once more ---------------------------------------------------------------------

def ratio(spacing, half_width):
    """What neighbouring lines add: the sum over lines, as it is defined."""
    reach = int(6 * half_width / spacing) + 2
    return sum(math.exp(-2 * (n * spacing / half_width) ** 2) for n in range(-reach, reach + 1))


def speed(power, half_width, ec, dp, depth):
    """mW, mm, mJ/cm2, mm, mm: mm/s."""
    return math.sqrt(2 / math.pi) * power / (half_width * ec / 100) * math.exp(-depth / dp)


def hatch_seconds(area, spacing, depth, power=200, half_width=0.1, ec=10, dp=0.15):
    line = depth - dp * math.log(ratio(spacing, half_width))
    return area / spacing / speed(power, half_width, ec, dp, line)


def border_seconds(length, depth, power=200, half_width=0.1, ec=10, dp=0.15):
    return length / speed(power, half_width, ec, dp, depth)


# --- inputs ---------------------------------------------------------------------------------------------------

def rectangle(x, y, width, height):
    return [(x, y), (x + width, y), (x + width, y + height), (x, y + height), (x, y)]


def slc(layers, end, unit="MM"):
    """layers: (z, contours)."""
    data = f"-SLCVER 2.0 -UNIT {unit} -TYPE PART -EXTENTS 0,100 0,100 0,100\r\n".encode() + b"\x1a" + bytes(256)
    data += struct.pack("<B4f", 1, layers[0][0], layers[1][0] - layers[0][0] if len(layers) > 1 else 0.1, 0, 0)
    for z, contours in layers:
        data += struct.pack("<fI", z, len(contours))
        for contour in contours:
            data += struct.pack("<II", len(contour), 0) + b"".join(struct.pack("<2f", *p) for p in contour)
    return data + struct.pack("<fI", end, 0xFFFFFFFF)


def slab(layers=20, thickness=0.1, contour=None, start=0):
    contour = contour or rectangle(0, 0, 40, 20)
    return slc([(start + k * thickness, [contour]) for k in range(layers)], start + layers * thickness)


def drawing(layer="Small", machine=MIRRA, thickness=0.1, faces=False, **more):
    """A style that draws borders of 0.1 and one hatch of 0.05 beyond the layer, 0.1 apart, and nothing else."""
    values = {"Dp": 0.15, "Ec": 10}
    for spot in ("Small", "Large"):
        values[f"Draw {spot} Layer Border Prime Flag"] = 0
        for face in ("Up", "Down"):
            values[f"Draw {spot} {face} Borders Flag"] = 0
    values["Small LayerBorder  Cure Depth"] = values["Large LayerBorder Cure Depth"] = 0.1
    for spot in ("Small", "Large"):
        values[f"{spot} LayerNumHatches"] = 1
        values[f"{spot} LayerHatch Cure Depth 1"] = 0.05
        values[f"{spot} LayerHatch Spacing 1"] = 0.1
    values.update(more)

    def change(records):
        for name, value in values.items():
            records[name].value = value
    style = make_golden_styles.default_style()
    style.machine = machine
    style.records["Layer Thickness"].value = thickness
    change(style.records)
    return make_golden_styles.layout_301(style)


def recoating(velocities=(50, 60), primary=(), secondary=(), machine=MIRRA, **more):
    style = make_golden_recoat.default_style()
    style.thickness, style.machine, style.units = 0.1, machine, "mm"
    record = make_golden_recoat.Record
    for name, count, list_of in (("sweeps", "Num Sweeps", velocities), ("primary", "Num Tooling PrimarySweeps", primary),
                                 ("secondary", "Num Tooling SecondarySweeps", secondary)):
        setattr(style, name, [(record("f", 100, 100), record("f", v, v)) for v in list_of])
        if list_of:
            counted = style.records[count]
            counted.value, counted.low, counted.high = len(list_of), 0, len(list_of)
    for name, value in more.items():
        style.records[name].value = value
    return make_golden_recoat.pack_301(style)


class Estimate(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("slab.slc", slab())
        self.write("plain.sty", drawing())
        self.write("plain.rcs", recoating())

    def tool(self, *arguments, exit=DONE):
        return self.fails(exit, *arguments)

    def estimate(self, *arguments, exit=DONE):
        document = self.tool("estimate", *arguments, "--json", exit=exit).document()
        self.messages = document["messages"]
        return document["data"]["estimates"][0] if document["data"].get("estimates") else None

    def codes(self):
        return [m["code"] for m in self.messages]

    def near(self, value, expected, share=1e-5):
        self.assertAlmostEqual(value, expected, delta=abs(expected) * share)


class Drawing(Estimate):
    def test_a_slab_is_its_borders_and_hatches(self):
        e = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN)
        self.near(e["resin"], 40 * 20 * 2 / 1000)
        self.assertIsNone(e["mesh_resin"])
        self.assertEqual((e["recoats"], e["piece_count"]), (20, 1))
        band = e["parts"][0]["bands"][0]
        self.near(band["border_seconds"], border_seconds(20 * 120, 0.1 + 0.1))
        self.near(band["hatch_seconds"], hatch_seconds(20 * 800, 0.1, 0.05 + 0.1))
        self.assertEqual(band["fill_seconds"], 0)
        least = border_seconds(2400, 0.2) + hatch_seconds(16000, 0.1, 0.15)
        self.near(e["drawing"]["least"], least)
        self.near(e["drawing"]["most"], 1.46 * least)
        # Two sweeps over 300 mm at 50 and 60 mm/s: 11 s.
        self.near(e["recoating"]["seconds"], 20 * 11)
        self.near(e["total"]["least"], least + 220)
        self.near(e["total"]["most"], 1.46 * least + 220)
        border, hatch = band["passes"]
        self.assertEqual([border[k] for k in ("face", "stroke", "pass", "spacing")], ["layer", "border", 1, None])
        self.near(border["length"], 2400)
        self.near(border["speed"], speed(200, 0.1, 10, 0.15, 0.2))
        self.near(hatch["length"], 160000)
        self.near(hatch["cure_depth"], 0.15)
        self.near(hatch["line_depth"], 0.15 - 0.15 * math.log(ratio(0.1, 0.1)))
        self.assertEqual(self.messages, [])

    def test_mils_are_the_published_example(self):
        """Dp 5.8, half-width 5, spacing 6 and target depth 3 mil: a line by itself cures to 2.383 mil."""
        mil = 0.0254
        self.write("mil.sty", drawing(Dp=5.8, **{"Small LayerHatch Cure Depth 1": 3 * mil - 0.1,
                                                 "Small LayerHatch Spacing 1": 6 * mil}))
        e = self.estimate("slab.slc", "--style", "mil.sty", "--recoat", "plain.rcs", "--beam", str(5 * mil), *GIVEN[:2],
                          "--dp-unit", "mil", *GIVEN[4:])
        hatch = e["parts"][0]["bands"][0]["passes"][1]
        self.near(hatch["cure_depth"], 3 * mil)
        self.assertAlmostEqual(hatch["line_depth"] / mil, 2.383, delta=0.0005)

    def test_the_half_width_follows_from_the_line_width_and_the_border(self):
        self.write("line.sty", drawing(**{"Small Line Width": 0.25}))
        e = self.estimate("slab.slc", "--style", "line.sty", "--recoat", "plain.rcs", *GIVEN)
        half = 0.25 / math.sqrt(2 * 0.2 / 0.15)
        band = e["parts"][0]["bands"][0]
        self.near(band["half_width"], half)
        self.near(band["border_seconds"], border_seconds(2400, 0.2, half_width=half))
        self.near(band["hatch_seconds"], hatch_seconds(16000, 0.1, 0.15, half_width=half))

    def test_faces_have_borders_hatches_and_fills_of_their_own(self):
        """A pad of 10 x 10 on a slab of 40 x 20, four layers each: 700 + 100 face up, 800 down."""
        big, small = rectangle(0, 0, 40, 20), rectangle(15, 5, 10, 10)
        self.write("step.slc", slc([(0.1 * k, [big if k < 4 else small]) for k in range(8)], 0.8))
        self.write("faces.sty", drawing(**{
            "Small LayerNumHatches": 0, "Draw Small Layer Borders Flag": 0, "Draw Small Up Borders Flag": 1,
            "Small UpBorder  Cure Depth": 0.1, "Small Up Number of Hatches": 2, "Small Up Hatch Cure Depth 1": 0.05,
            "Small Up Hatch Cure Depth 2": 0.06, "Small Up Hatch Spacing 1": 0.2, "Small Up Hatch Spacing 2": 0.3,
            "Small Up NumFills": 1, "Small Up Fill Cure Depth 1": 0.21, "Small Up Fill Spacing  1": 0.05,
            "Small Down NumFills": 1, "Small Down Fill Cure Depth 1": 0.22, "Small Down Fill Spacing 1": 0.06}))
        e = self.estimate("step.slc", "--style", "faces.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN)
        passes = {(p["face"], p["stroke"], p["pass"]): p for p in e["parts"][0]["bands"][0]["passes"]}
        self.assertEqual(set(passes), {("up", "border", 1), ("up", "hatch", 1), ("up", "hatch", 2), ("up", "fill", 1),
                                       ("down", "fill", 1)})
        # Rows are 0.1 mm apart.
        self.near(passes["up", "border", 1]["length"], 120 + 40 + 40, 0.003)
        for key, area, spacing, depth in ((("up", "hatch", 1), 800, 0.2, 0.15), (("up", "hatch", 2), 800, 0.3, 0.16),
                                          (("up", "fill", 1), 800, 0.05, 0.21), (("down", "fill", 1), 800, 0.06, 0.22)):
            self.near(passes[key]["seconds"], hatch_seconds(area, spacing, depth), 0.01)
            self.near(passes[key]["cure_depth"], depth)

    def test_machines_with_a_large_spot_take_the_large_parameters(self):
        for machine, flag, spot, depth in ((6, 0, "large", 0.3), (6, 1, "small", 0.2), (MIRRA, 0, "small", 0.2)):
            self.write("two.sty", drawing(machine=machine, **{"Large LayerBorder Cure Depth": 0.2, "Small Spot Only Flag": flag}))
            e = self.estimate("slab.slc", "--style", "two.sty", "--beam", "0.1mm", *GIVEN)
            band = e["parts"][0]["bands"][0]
            self.assertEqual(band["spot"], spot)
            self.near(band["passes"][0]["cure_depth"], depth)
        e = self.estimate("slab.slc", "--style", "two.sty", "--machine", "TRQ-E7", *GIVEN)
        self.assertEqual((e["parts"][0]["bands"][0]["spot"], e["machine_type"]), ("large", 6))

    def test_each_band_is_drawn_by_its_style(self):
        self.write("deep.sty", drawing(**{"Small LayerBorder  Cure Depth": 0.2, "Small LayerNumHatches": 0}))
        e = self.estimate("slab.slc", "--style", "plain.sty", "--style", "deep.sty@0.5:1.5", "--recoat", "plain.rcs", "--beam",
                          "0.1mm", *GIVEN)
        bands = e["parts"][0]["bands"]
        self.assertEqual([(b["style"], b["layers"]) for b in bands], [("plain.sty", 5), ("deep.sty", 10), ("plain.sty", 5)])
        for b, start, end in zip(bands, (0, 0.5, 1.5), (0.5, 1.5, 2)):
            self.near(1 + b["start"], 1 + start)
            self.near(b["end"], end)
        self.near(bands[1]["drawing_seconds"], border_seconds(1200, 0.3))
        for b in (bands[0], bands[2]):
            self.near(b["drawing_seconds"], border_seconds(600, 0.2) + hatch_seconds(4000, 0.1, 0.15))

    def test_a_cylinder(self):
        circle = [(10 * math.cos(2 * math.pi * (k % 720) / 720), 10 * math.sin(2 * math.pi * (k % 720) / 720)) for k in range(721)]
        self.write("cylinder.slc", slab(50, 0.1, circle))
        e = self.estimate("cylinder.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN)
        self.near(e["resin"], math.pi * 100 * 5 / 1000, 1e-4)
        self.near(e["drawing"]["least"],
                  border_seconds(50 * 20 * math.pi, 0.2) + hatch_seconds(50 * 100 * math.pi, 0.1, 0.15), 1e-4)

    def test_the_speed_factor_of_a_build_takes_the_range_away(self):
        arguments = ["slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN]
        theory = self.estimate(*arguments)["drawing"]["least"]
        e = self.estimate(*arguments, "--speed-factor", "0.8")
        self.near(e["drawing"]["least"], theory / 0.8)
        self.assertEqual(e["drawing"]["least"], e["drawing"]["most"])

    def test_passes_that_cure_nothing_are_left_out_and_told_of(self):
        self.write("odd.sty", drawing(**{"Small LayerNumHatches": 2, "Small LayerHatch Cure Depth 2": -0.1,
                                         "Small Up NumFills": 2, "Small Up Fill Cure Depth 2": 0.2}))
        e = self.estimate("slab.slc", "--style", "odd.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN)
        self.assertEqual(self.codes(), ["ESTIMATE-PASS"])
        self.assertEqual(self.messages[0]["severity"], "note")
        self.assertEqual(self.messages[0]["text"], "3 passes are left out: layer hatch 2: its cure depth is 0; "
                         "up fill 1: its cure depth is 0; up fill 2: its spacing is 0")
        self.near(e["drawing"]["least"], border_seconds(2400, 0.2) + hatch_seconds(16000, 0.1, 0.15))


class Recoating(Estimate):
    def seconds(self, *more, delay="s"):
        e = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "r.rcs", "--beam", "0.1mm", *GIVEN[:-1], delay, *more)
        return e["recoating"]["seconds"]

    def test_sweeps_dips_and_waits_add_up(self):
        # Down and up 8 mm at 5 mm/s, reached within 0.25 s: 1.85 s each way. Waits 1 + 2 + 10 s. 6 + 5 s of sweeps.
        self.write("r.rcs", recoating(**{"Z Velocity": 5, "Z Acceleration": 20, "Z Dip Distance": 8, "Z Pre DipDelay": 1,
                                         "Z Post DipDelay": 2, "Z Wait": 10}))
        self.near(self.seconds(), 20 * (11 + 3.7 + 13))
        self.near(self.seconds(delay="ms"), 20 * (11 + 3.7 + 0.013))

    def test_the_lists_have_their_own_dips(self):
        self.write("r.rcs", recoating((50,), (25, 100), (30, 30, 10), **{
            "Z Wait": 1, "Primary ZWait": 2, "Primary ZDipDistance": 6, "Primary ZVelocity": 3, "Secondary ZWait": 4}))
        self.near(self.seconds(), 20 * (6 + 1))
        self.near(self.seconds("--sweeps", "primary"), 20 * (12 + 3 + 4 + 2))
        self.near(self.seconds("--sweeps", "secondary"), 20 * (10 + 10 + 30 + 4))

    def test_velocities_may_be_in_inches(self):
        self.write("r.rcs", recoating((2,)))
        self.near(self.seconds("--recoat-unit", "in"), 20 * 300 / 50.8)

    def test_a_velocity_of_zero_leaves_its_time_out(self):
        self.write("r.rcs", recoating((50, 0), **{"Z Dip Distance": 5}))
        e = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "r.rcs", "--beam", "0.1mm", *GIVEN)
        self.assertEqual(e["recoating"], {"seconds": 120, "complete": False})
        self.assertIsNone(e["total"])
        self.assertEqual(self.codes(), ["ESTIMATE-STYLE", "ESTIMATE-STYLE"])
        text = self.tool("estimate", "slab.slc", "--style", "plain.sty", "--recoat", "r.rcs", "--beam", "0.1mm", *GIVEN).out.decode()
        self.assertIn("recoating  at least 2 min 0 s (", text)

    def test_layers_that_end_at_one_height_are_recoated_once(self):
        self.write("low.slc", slab(10, 0.1))
        self.write("shifted.slc", slab(3, 0.1, start=0.05))
        self.write("near.slc", slab(2, 0.1, start=0.00005))
        e = self.estimate("slab.slc", "low.slc", "shifted.slc", "near.slc", "--style", "plain.sty", "--recoat", "plain.rcs",
                          "--beam", "0.1mm", *GIVEN)
        self.assertEqual((e["recoats"], e["piece_count"], len(e["parts"])), (23, 4, 4))
        self.near(e["recoating"]["seconds"], 23 * 11)

    def test_bands_of_recoat_styles(self):
        self.write("slow.rcs", recoating((10,)))
        e = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--recoat", "slow.rcs@0:0.5", "--beam",
                          "0.1mm", *GIVEN)
        self.assertEqual([(b["file"], b["recoats"], b["sweep_count"]) for b in e["recoat_bands"]],
                         [("slow.rcs", 5, 1), ("plain.rcs", 15, 2)])
        self.near(e["recoating"]["seconds"], 5 * 30 + 15 * 11)


class Missing(Estimate):
    def needs(self):
        return [m["where"].get("needs") for m in self.messages if m["code"] == "ESTIMATE-MISSING"]

    def test_what_is_not_said_leaves_its_time_out(self):
        self.write("wait.rcs", recoating(**{"Z Wait": 3}))
        e = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "wait.rcs", "--beam", "0.1mm")
        self.assertEqual(self.needs(), [["power", "dp-unit", "ec-unit"], ["travel"], ["delay-unit"]])
        self.assertEqual((e["drawing"], e["total"]), (None, None))
        self.assertFalse(e["recoating"]["complete"])
        self.near(e["resin"], 1.6)
        self.estimate("slab.slc", *GIVEN)
        self.assertEqual(self.needs(), [["style"], ["recoat"]])
        for option, needed in zip(GIVEN[::2], ("power", "dp-unit", "ec-unit", "travel", "delay-unit")):
            at = GIVEN.index(option)
            e = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "wait.rcs", "--beam", "0.1mm", *GIVEN[:at], *GIVEN[at + 2:])
            self.assertEqual(self.needs(), [[needed]])
            self.assertIsNone(e["total"])
        self.estimate("slab.slc", "--strict", exit=NO)

    def test_what_a_style_does_not_say_is_named(self):
        for change, word in (({"Dp": 0}, "Dp is 0"), ({"Ec": 0}, "Ec is 0"), ({}, "line width")):
            self.write("none.sty", drawing(**change))
            e = self.estimate("slab.slc", "--style", "none.sty", "--recoat", "plain.rcs", *GIVEN)
            self.assertEqual(self.codes(), ["ESTIMATE-STYLE"])
            self.assertIn(word, self.messages[0]["text"])
            self.assertIsNone(e["drawing"])

    def test_values_that_mean_nothing_are_refused(self):
        for option, value in (("--power", "0"), ("--power", "strong"), ("--beam", "-1mm"), ("--travel", "0"),
                              ("--delay-unit", "h"), ("--dp-unit", "m"), ("--ec-unit", "J/m2"), ("--sweeps", "all"),
                              ("--speed-factor", "0"), ("--power", "1e300")):
            self.tool("estimate", "slab.slc", option, value, exit=USAGE)
        self.write("inch.slc", slc([(0, [rectangle(0, 0, 1, 1)])], 0.1, "INCH"))
        self.tool("estimate", "slab.slc", "inch.slc", exit=USAGE)
        self.write("e7.rcs", recoating(machine=6))
        self.tool("estimate", "slab.slc", "--style", "plain.sty", "--recoat", "e7.rcs", exit=USAGE)
        for side in (1e7, 1e30):
            self.write("vast.slc", slc([(0, [rectangle(0, 0, side, side)])], 0.1))
            self.assertIn("[OUTSIDE-VAT]", self.run_tool("estimate", "vast.slc").err)
            self.assertEqual(self.run_tool("estimate", "vast.slc").exit, 3)


class Builds(Estimate):
    def setUp(self):
        super().setUp()
        self.write("machines.toml", LAB_PROFILE)
        self.write("box.stl", binary_stl(box_facets((10, 20, 5))))
        self.write("ring.stl", binary_stl(ring_facets(20, 10, 8, sides=96)))
        self.write("e7.sty", drawing(machine=6, **{"Large Up NumFills": 1, "Large Up Fill Cure Depth 1": 0.2,
                                                   "Large Up Fill Spacing 1": 0.1}))
        self.write("thin.sty", drawing(machine=6, thickness=0.05))
        self.write("e7.rcs", recoating(machine=6, **{"Z Wait": 2}))
        self.line = ["box.stl,copies=2", "ring.stl", "--style", "e7.sty", "--style", "thin.sty@0:1", "--recoat", "e7.rcs",
                     "--machines", "machines.toml", "--time", "0"]

    def figures(self, estimate):
        """Without what names files and parts."""
        return {**{k: v for k, v in estimate.items() if k not in ("file", "parts", "recoat_bands", "schema", "tool", "mesh_resin")},
                "recoat_bands": [{k: v for k, v in band.items() if k != "file"} for band in estimate["recoat_bands"]]}

    def test_job_folder_and_contours_give_the_same_figures(self):
        self.tool("build", *self.line, "--slice", "-o", "sliced")
        written = json.loads(self.path("sliced/estimate.json").read_text())
        self.tool("build", *self.line, "-o", "plain")
        self.assertFalse(self.path("plain/estimate.json").exists())
        of_slices = self.estimate("sliced")
        for other in ("plain", "sliced/build.toml", "plain/build.toml"):
            e = self.estimate(other)
            self.assertEqual({**e, "file": ""}, {**of_slices, "file": ""}, other)
        self.assertEqual(self.figures(written), self.figures(of_slices))
        self.assertEqual([p["part"] for p in written["parts"]], ["box", "ring"])
        slices = sorted(str(p.relative_to(self.folder)) for p in self.path("sliced/slices").iterdir())
        e = self.estimate(*slices, "--style", "e7.sty", "--style", "thin.sty@0:1", "--recoat", "e7.rcs", "--machines", "machines.toml")
        # Heights of recoat bands end with the layers here, with the pieces there.
        self.assertEqual(self.figures(e), self.figures(of_slices))
        bands = [band for part in of_slices["parts"] for band in part["bands"]]
        of_files = [band for part in e["parts"] for band in part["bands"]]
        self.near(sum(b["drawing_seconds"] for b in of_files), sum(b["drawing_seconds"] for b in bands))
        self.near(of_slices["resin"], of_slices["mesh_resin"], 1e-3)
        self.near(of_slices["mesh_resin"], (2 * 1000 + volume(ring_facets(20, 10, 8, sides=96))) / 1000)
        self.assertEqual([b["layers"] for b in of_slices["parts"][0]["bands"]], [20, 40])

    def test_the_folder_is_made_again_and_verifies(self):
        self.tool("build", *self.line, "--slice", "-o", "out")
        listed = [f["file"] for f in json.loads(self.path("out/build.json").read_text())["files"]]
        self.assertIn("estimate.json", listed)
        self.tool("verify", "out", "--strict")
        self.tool("build", "out/build.toml", "-o", "again")
        self.assertEqual(self.path("again/estimate.json").read_bytes(), self.path("out/estimate.json").read_bytes())
        self.assertEqual(self.path("again/build.json").read_bytes(), self.path("out/build.json").read_bytes())
        self.tool("build", *self.line, "--slice", "-o", "out", "--force")
        self.path("out/estimate.json").write_text("{}")
        found = self.tool("verify", "out", "--json", exit=NO).document()["messages"]
        self.assertEqual([m["code"] for m in found], ["VERIFY-HASH"])

    def test_several_plates_have_one_each(self):
        self.tool("build", "box.stl,copies=3", "--style", "e7.sty", "--recoat", "e7.rcs", "--machines", "machines.toml", "--vat",
                      "30x40x60mm", "--plates", "any", "--time", "0", "--slice", "-o", "plates")
        document = self.tool("estimate", "plates", "--json").document()
        self.assertGreater(len(document["data"]["estimates"]), 1)
        for e in document["data"]["estimates"]:
            written = json.loads(self.path(e["file"] + "/estimate.json").read_text())
            self.assertEqual({k: v for k, v in e.items() if k != "file"},
                             {k: v for k, v in written.items() if k not in ("schema", "tool")})
        self.tool("verify", "plates", "--strict")
        self.tool("estimate", "plates/build.toml", exit=USAGE)

    def test_without_what_it_needs_there_is_no_file_and_a_note_names_it(self):
        self.write("poor.toml", "[lab]\ntype = 6\npower = 200\ndp-unit = 'mm'\n")
        done = self.tool("build", "box.stl", "--style", "e7.sty", "--recoat", "e7.rcs", "--machines", "poor.toml", "--slice",
                             "--strict", "--time", "0", "-o", "out", "--json")
        told = [m for m in done.document()["messages"] if m["code"].startswith("ESTIMATE")]
        self.assertEqual([(m["code"], m["severity"]) for m in told], [("ESTIMATE-STYLE", "note"), ("ESTIMATE-MISSING", "note")])
        self.assertEqual(told[1]["where"], {"needs": ["ec-unit", "travel", "delay-unit"]})
        self.assertFalse(self.path("out/estimate.json").exists())
        e = self.estimate("out", *GIVEN, "--beam", "0.1mm")
        self.assertIsNotNone(e["total"])

    def test_a_profile_and_the_line_say_the_same(self):
        by_line = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN)
        self.write("mirra.toml", LAB_PROFILE.replace('type = "TRQ-E7"\n', ""))
        by_profile = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--machines", "mirra.toml")
        self.assertEqual(by_profile, by_line)
        stronger = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--machines", "mirra.toml", "--power", "400")
        self.near(stronger["drawing"]["least"], by_line["drawing"]["least"] / 2)
        for line in ("power = 0", "power = 'much'", "travel = []", "delay-unit = 'h'", "sweeps = 'all'", "tavel = 3"):
            self.write("bad.toml", f"[lab]\n{line}\n")
            self.assertIn("MACHINES-FILE", self.tool("estimate", "slab.slc", "--machines", "bad.toml", exit=INPUT).err)
            self.write("bad_job.toml", f"{line}\n[[part]]\nfile = 'box.stl'\n")
            self.assertIn("JOB-FILE", self.tool("estimate", "bad_job.toml", exit=INPUT).err)

    def test_an_inch_build_takes_the_same_resin_and_time(self):
        inch = 1 / 25.4
        self.write("inch.slc", slc([(0.1 * inch * k, [[(x * inch, y * inch) for x, y in rectangle(0, 0, 40, 20)]])
                                    for k in range(20)], 2 * inch, "INCH"))
        self.write("inch.sty", drawing(thickness=0.1 * inch, **{
            name: value * inch for name, value in (("Small LayerBorder  Cure Depth", 0.1), ("Small LayerHatch Cure Depth 1", 0.05),
                                                   ("Small LayerHatch Spacing 1", 0.1))}))
        self.write("inch.rcs", recoating((50 * inch, 60 * inch)))
        a = self.estimate("slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN)
        b = self.estimate("inch.slc", "--style", "inch.sty", "--recoat", "inch.rcs", "--beam", "0.1mm", *GIVEN)
        for key in ("resin",):
            self.near(b[key], a[key])
        self.near(b["total"]["least"], a["total"]["least"])
        self.assertEqual(b["recoats"], 20)

    def test_styles_do_not_go_with_a_job_or_folder(self):
        self.tool("build", *self.line, "-o", "out")
        for of in ("out", "out/build.toml"):
            self.tool("estimate", of, "--style", "e7.sty", exit=USAGE)

    def test_the_ball_of_thirty_millimetres(self):
        """4/3 pi 30^3 mm3 = 113.097 ml, within 0.1 %."""
        rings, sides = 180, 360
        def point(i, k):
            a, b = math.pi * i / rings, 2 * math.pi * (k % sides) / sides
            return (30 * math.sin(a) * math.cos(b), 30 * math.sin(a) * math.sin(b), -30 * math.cos(a))
        facets = []
        for i in range(rings):
            for k in range(sides):
                a, b, c, d = point(i, k), point(i, k + 1), point(i + 1, k + 1), point(i + 1, k)
                if i > 0:
                    facets.append((a, b, c))
                if i < rings - 1:
                    facets.append((a, c, d))
        self.write("ball.stl", binary_stl(facets))
        self.write("fine.sty", drawing(machine=6, thickness=0.05))
        self.write("ball.toml", 'machine = "TRQ-E7"\nfloor = "lift"\n[[style]]\nfile = "fine.sty"\n[[part]]\nfile = "ball.stl"\n')
        e = self.estimate("ball.toml")
        self.assertEqual(e["recoats"], 1200)
        self.assertAlmostEqual(e["resin"], 113.097, delta=0.113)
        self.assertAlmostEqual(e["mesh_resin"], 113.097, delta=0.113)


class Text(Estimate):
    def test_what_is_printed(self):
        text = self.tool("estimate", "slab.slc", "--style", "plain.sty", "--recoat", "plain.rcs", "--beam", "0.1mm", *GIVEN).out.decode()
        lines = text.splitlines()
        self.assertEqual(lines[0], "slab.slc: 1 piece, 20 layers")
        self.assertEqual(lines[1], "  resin      1.6 ml by areas")
        self.assertTrue(all(len(line) < 130 for line in lines), text)
        self.assertIn(" (200 mW, half-width 0.1 mm, Dp in mm, Ec in mJ/cm2, 1 to 0.685 of the speed of theory)\n", lines[2] + "\n")
        self.assertEqual(lines[3], "  recoating  3 min 40 s (20 recoats, normal sweeps in mm/s, travel 300 mm, waits in s)")
        self.assertEqual(lines[4], "  total      4 min 2 s to 4 min 12 s")


if __name__ == "__main__":
    unittest.main()
