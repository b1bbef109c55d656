"""build with styles: stacks by Z, corrections, side files, the folder and its job file; verify; check of builds."""
import hashlib
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import time
import unittest
import zlib

from style_files import *
from support import *


def apply(matrix, point):
    return [sum(matrix[i][k] * point[k] for k in range(3)) + matrix[i][3] for i in range(3)]


def without_recoat(result):
    """The codes of a build whose recoating is left open on purpose."""
    return [code for code in result.codes() if code != "NO-RECOAT"]


class BuildTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((40, 30, 20))))
        self.write("ring.stl", binary_stl(ring_facets(30, 20, 8)))
        self.write("Default.sty", build_style(0.1))
        self.write("Fine.sty", build_style(0.05))
        self.write("Default.rcs", recoat_style(0))
        self.write("Slow.rcs", recoat_style(0, sweeps=2))

    def document(self, folder="out"):
        return json.loads(self.path(folder).joinpath("build.json").read_text())

    def build(self, *arguments, output="out", **more):
        self.good("build", *arguments, "-o", output, **more)
        return self.document(output)

    def bands(self, stack):
        return [(s["file"].split("/")[1], s["start"], s["end"]) for s in stack]

    def stack(self, *arguments):
        """The bands of the one part, in a build that is thrown away."""
        result = self.run_tool("build", *arguments, "--force-checks", "--force", "-o", "trial", "--json")
        self.assertIn(result.exit, (DONE, NO), result.err)
        return self.bands(self.document("trial")["inputs"][0].get("styles", [])), without_recoat(result)

    def files_of(self, folder):
        return {str(p.relative_to(folder)): p.read_bytes() for p in sorted(folder.rglob("*")) if p.is_file()}


class Stacks(BuildTest):
    def test_a_style_without_band_covers_the_part(self):
        self.assertEqual(self.stack("box.stl", "--style", "Default.sty")[0], [("Default.sty", 0, 20)])

    def test_the_parts_own_band_lies_above_the_style_of_all(self):
        # The order on the command line does not matter: what has no band comes first.
        stack, codes = self.stack("--part", "box.stl,copies=2,style=Fine.sty@0:10mm", "--style", "Default.sty")
        self.assertEqual(stack, [("Fine.sty", 0, 10), ("Default.sty", 10, 20)])
        self.assertEqual(codes, [])

    def test_a_band_inside_splits(self):
        self.assertEqual(self.stack("box.stl", "--style", "Default.sty", "--style", "Fine.sty@5:8")[0],
                         [("Default.sty", 0, 5), ("Fine.sty", 5, 8), ("Default.sty", 8, 20)])

    def test_bands_are_clipped_and_left_out_with_a_warning(self):
        stack, codes = self.stack("box.stl", "--style", "Default.sty", "--style", "Fine.sty@15:99")
        self.assertEqual((stack, codes), ([("Default.sty", 0, 15), ("Fine.sty", 15, 20)], []))
        stack, codes = self.stack("box.stl", "--style", "Default.sty", "--style", "Fine.sty@20:99")
        self.assertEqual((stack, codes), ([("Default.sty", 0, 20)], ["BAND-EMPTY"]))

    def test_bands_are_added_in_the_order_given(self):
        self.write("Third.sty", build_style(0.1))
        self.assertEqual(self.stack("box.stl", "--style", "Default.sty", "--style", "Fine.sty@0:10", "--style",
                                    "Third.sty@0:5")[0],
                         [("Third.sty", 0, 5), ("Fine.sty", 5, 10), ("Default.sty", 10, 20)])

    def test_a_parts_own_style_replaces_that_of_all(self):
        self.assertEqual(self.stack("box.stl,style=Fine.sty", "--style", "Default.sty")[0], [("Fine.sty", 0, 20)])
        self.assertIn("without a band", self.fails(USAGE, "build", "box.stl", "--style", "Fine.sty", "--style",
                                                   "Default.sty", "-o", "out").err)

    def test_z_counts_from_the_floor_of_the_vat(self):
        self.write("box.stl", binary_stl(box_facets((40, 30, 20), (0, 0, 7))))
        self.assertEqual(self.stack("box.stl", "--style", "Default.sty", "--style", "Fine.sty@0:10")[0],
                         [("Fine.sty", 7, 10), ("Default.sty", 10, 27)])
        self.assertEqual(self.stack("box.stl", "--drop", "--style", "Default.sty")[0], [("Default.sty", 0, 20)])

    def test_recoat_styles_cover_the_build(self):
        self.write("box.stl", binary_stl(box_facets((40, 30, 20), (0, 0, 7))))
        document = self.build("box.stl", "ring.stl", "--recoat", "Slow.rcs@0:2mm", "--recoat", "Default.rcs",
                              "--recoat", "Slow.rcs@20:99")
        self.assertEqual(self.bands(document["recoat"]),
                         [("Slow.rcs", 0, 2), ("Default.rcs", 2, 20), ("Slow.rcs", 20, 27)])

    def test_a_band_in_another_unit(self):
        self.assertEqual(self.stack("box.stl", "--style", "Default.sty", "--style", "Fine.sty@0:0.5in")[0],
                         [("Fine.sty", 0, 12.7), ("Default.sty", 12.7, 20)])

    def test_what_is_no_band(self):
        for text in ("Fine.sty@", "Fine.sty@5", "Fine.sty@a:b", "Fine.sty@1:2:3"):
            with self.subTest(text):
                self.assertIn("FROM:TO", self.fails(USAGE, "build", "box.stl", "--style", text, "-o", "out").err)
        # A file whose name holds an '@' is that file.
        self.write("Fine@1:2.sty", build_style(0.1))
        self.assertEqual(self.stack("box.stl", "--style", "Fine@1:2.sty")[0], [("Fine@1_2.sty", 0, 20)])
        self.assertEqual(self.fails(INPUT, "build", "box.stl", "--style", "None.sty", "-o", "out", "--json").codes(),
                         ["INPUT-MISSING"])
        self.assertEqual(self.fails(INPUT, "build", "box.stl", "--style", "Slow.rcs", "-o", "out", "--json").codes(),
                         ["STYLE-KIND"])


class Upgrades(BuildTest):
    def test_checks_are_of_what_is_stored_and_the_upgrade_is_noted_again(self):
        # The range of the Z wait lies where the 206 layout has none to say; a value out of it is in both.
        def wrong(records):
            records["Z Wait"].value, records["Z Wait"].low, records["Z Wait"].high, records["Z Wait"].flags = 9, 1, 2, (1, 1, 1)
        self.write("Old.rcs", recoat_style(0, units="in", sweeps=2, change=wrong, layout="206"))
        self.write("Old.sty", build_style(0.1, layout="206"))
        self.fails(NO, "build", "box.stl", "--style", "Old.sty", "--recoat", "Old.rcs", "--machine", "TRQ-E7", "--force-checks",
                   "-o", "a")
        self.fails(NO, "build", "a/build.toml", "-o", "b")
        for name in ("checks.json", "build.json", "build.toml"):
            self.assertEqual(self.path("a/" + name).read_bytes(), self.path("b/" + name).read_bytes())
        found = json.loads(self.path("a/checks.json").read_text())["findings"]
        notes = [(f["file"], f["text"]) for f in found if f["code"] == "STYLE-UPGRADED"]
        text = "had the 206 layout; the build has its upgrade to the 301 layout"
        self.assertEqual(sorted(notes), [("styles/Old.rcs", text), ("styles/Old.sty", text)])
        said = self.run_tool("build", "b/build.toml", "-o", "c", "--json").codes()
        self.assertEqual(said.count("STYLE-UPGRADED"), 2)


class Numbers(BuildTest):
    def style(self, **values):
        # One down hatch, no fills, the small spot: S = Ec exp((depth + t) / Dp), so that the correction is
        # Dp ln(S / Ec) / t - 1 = depth / t, here 0.25 / 0.1 = 2.5, and 2 whole layers.
        numbers = dict(Dp=0.14, Ec=10, Small_Down_NumHatches=1, Small_Down_Hatch_Cure_Depth_1=0.25,
                       Small_Down_Hatch_Spacing_1=0.15, Small_Spot_Only_Flag=1)
        self.write("Z.sty", build_style(0.1, **{**numbers, **values}))

    def correction(self, *more):
        self.good("build", "box.stl", "--style", "Z.sty", "--machine", "TRQ-E7", *more, "-o", "out", "--force")
        part = self.document()["inputs"][0]
        return part["styles"][0]["z_correction"], part["styles"][0]["z_spacing"]

    def test_z_correction(self):
        self.style()
        self.assertEqual(self.correction(), (2, 0.15))
        self.style(Small_Down_Hatch_Cure_Depth_1=0.45)
        self.assertEqual(self.correction()[0], 4)
        self.style(Dp=0)
        self.assertEqual(self.correction()[0], 0)

    def test_spacing_of_the_z_correction(self):
        self.style()
        self.assertEqual(self.correction("--z-spacing", "0.1"), (0, 0.1))  # no hatch counts
        self.assertEqual(self.correction("--z-spacing", "0.2mm"), (2, 0.2))
        # Without the option the widest of the four counts too.
        self.style(Small_Down_Hatch_Spacing_3=0.3)
        self.assertEqual(self.correction(), (2, 0.3))

    def test_the_first_style_gives_the_first_layer(self):
        self.write("Z.sty", build_style(0.1, Dp=0.14, Ec=10, **{"~int0": 3}))
        document = self.build("box.stl", "--style", "Default.sty", "--style", "Z.sty@0:5")
        part = document["inputs"][0]
        self.assertEqual((part["first_layer_thickness"], part["dp"], part["ec"]), (0.1, 0.14, 10))
        self.assertAlmostEqual(part["z_compensation"], 0.3, places=6)

    def test_area_and_volume_through_the_placement(self):
        document = self.build("box.stl,copies=2,rotate-z=30")
        for piece in document["pieces"]:
            self.assertAlmostEqual(piece["volume"], 40 * 30 * 20, delta=0.5)
            self.assertAlmostEqual(piece["area"], 2 * (40 * 30 + 30 * 20 + 40 * 20), delta=0.2)
        # A part in inches on a plate in millimetres.
        self.write("inch.stl", binary_stl(box_facets((1, 1, 1))))
        self.good("convert", "inch.stl", "--units", "in", "-o", "inch.ctl")
        piece, = self.build("inch.ctl", output="inch")["pieces"]
        self.assertAlmostEqual(piece["volume"], 25.4 ** 3, delta=1)


class SideFiles(BuildTest):
    POINTS = [(0, 15, 10), (20, 15, 20)]

    def check_moved(self, arguments, factor=1):
        document = self.build(*arguments)
        for piece in document["pieces"]:
            lines = self.path("out").joinpath(piece["side_file"]).read_text().splitlines()
            self.assertEqual(len(lines), 2)
            for line, point in zip(lines, self.POINTS):
                numbers = [float(n) for n in line.split()]
                for a, b in zip(numbers, apply(piece["matrix"], point)):
                    self.assertAlmostEqual(a, b, delta=2e-3)
                self.assertEqual(numbers[6], 2 * factor if factor == 1 else 2)

    def test_points_move_along(self):
        text = "".join("%f %f %f  0 0 1  2\n" % p for p in self.POINTS) + "a line of something else\n"
        self.write("box.V_D", text)
        self.check_moved(["box.stl,copies=2,rotate-z=30"])
        self.assertEqual(self.path("out/parts/box.V_D").read_text(), text)
        self.assertEqual(self.path("box.V_D").read_text(), text)
        self.assertEqual(self.good("verify", "out", "--json").codes(), [])

    def test_points_of_a_part_in_another_unit(self):
        self.good("convert", "box.stl", "--units", "in", "-o", "large.ctl")
        self.write("large.V_D", "".join("%f %f %f  0 0 1  2\n" % p for p in self.POINTS))
        self.check_moved(["large.ctl", "--vat", "2000x2000x2000mm"])


class Checks(BuildTest):
    def stops(self, code, *arguments):
        result = self.fails(NO, "build", *arguments, "-o", "out", "--json")
        self.assertEqual([m["code"] for m in result.document()["messages"] if m["severity"] == "error"], [code])
        self.assertFalse(self.path("out").exists())
        self.fails(NO, "build", *arguments, "-o", "out", "--force-checks")
        checks = json.loads(self.path("out/checks.json").read_text())
        self.assertIn(code, [f["code"] for f in checks["findings"]])
        # check says the same of the folder; verify, that it is as it was built.
        result = self.fails(NO, "check", "out", "--json") if code.startswith("Z-") else None
        if result:
            self.assertIn(code, result.codes())
        self.good("verify", "out")

    def codes(self, *arguments):
        return without_recoat(self.good("build", *arguments, "--force", "-o", "out", "--json"))

    def test_z_gap(self):
        self.stops("Z-GAP", "box.stl", "--style", "Fine.sty@0:10")
        self.assertEqual(self.codes("box.stl", "--style", "Fine.sty@0:10", "--style", "Default.sty@10:20"), [])

    def test_z_gap_in_the_recoating(self):
        self.stops("Z-GAP", "box.stl", "--style", "Default.sty", "--recoat", "Slow.rcs@2:20")
        self.assertEqual(self.codes("box.stl", "--style", "Default.sty", "--recoat", "Slow.rcs@0:20"), [])

    def test_z_overlap(self):
        # Neither band holds the other, so that both stay as they are.
        self.stops("Z-OVERLAP", "box.stl", "--style", "Fine.sty@0:12", "--style", "Default.sty@8:20")
        self.assertEqual(self.codes("box.stl", "--style", "Fine.sty@0:12", "--style", "Default.sty@12:20"), [])

    def test_style_crc(self):
        damaged = bytearray(build_style())
        damaged[-1] ^= 1
        self.write("Bad.sty", bytes(damaged))
        self.stops("STYLE-CRC", "box.stl", "--style", "Bad.sty")
        self.assertEqual(self.codes("box.stl", "--style", "Default.sty"), [])

    def test_a_damaged_style_is_remembered_when_the_folder_is_built_again(self):
        damaged = bytearray(build_style())
        damaged[-1] ^= 1
        self.write("Bad.sty", bytes(damaged))
        self.fails(NO, "build", "box.stl", "--style", "Bad.sty", "--style", "Bad.sty@0:5", "--force-checks", "-o", "out")
        self.fails(NO, "build", "out/build.toml", "-o", "again")
        self.assertEqual(self.files_of(self.path("again")), self.files_of(self.path("out")))
        # It is an error as before, which only forced checks pass.
        text = self.path("out/build.toml").read_text()
        self.assertEqual(text.count("damage = "), 2)
        self.write("out/build.toml", text.replace("force-checks = true\n", ""))
        self.assertIn("STYLE-CRC", self.fails(NO, "build", "out/build.toml", "-o", "third", "--json").codes())

    def test_sweep_count(self):
        def change(records):
            records["Num Sweeps"].value = 3
        self.write("Bad.rcs", recoat_style(0, sweeps=2, change=change))
        self.stops("SWEEP-COUNT", "box.stl", "--style", "Default.sty", "--recoat", "Bad.rcs")

    def test_no_style(self):
        self.assertEqual(self.codes("box.stl"), ["NO-STYLE"])
        self.assertEqual(self.codes("box.stl", "--style", "Default.sty"), [])

    def test_layer_mismatch(self):
        self.write("Thick.rcs", recoat_style(0.1))
        self.assertEqual(self.codes("box.stl", "--style", "Default.sty", "--recoat", "Thick.rcs"), [])
        self.assertEqual(self.codes("box.stl", "--style", "Fine.sty", "--recoat", "Thick.rcs"), ["LAYER-MISMATCH"])
        # Only where both apply; 0 is unknown.
        self.assertEqual(self.codes("box.stl", "--style", "Default.sty", "--style", "Fine.sty@0:5", "--recoat",
                                    "Thick.rcs", "--recoat", "Default.rcs@0:5"), [])

    def test_part_and_style_rules_apply(self):
        self.write("open.stl", binary_stl(box_facets((40, 30, 20))[1:]))
        self.write("Mirra.sty", build_style(machine=7))
        self.assertEqual(self.codes("open.stl", "--style", "Mirra.sty", "--machine", "TRQ-E7", "--recoat",
                                    "Default.rcs"), ["OPEN-EDGES", "MACHINE-MISMATCH"])
        findings = json.loads(self.path("out/checks.json").read_text())["findings"]
        self.assertEqual([f["file"] for f in findings], ["parts/open.stl", "styles/Mirra.sty"])

    def test_overlap(self):
        self.build("box.stl,copies=2", "--style", "Default.sty")
        self.good("check", "out")
        shutil.copy(self.path("out/meshes/box-1.ctl"), self.path("out/meshes/box-2.ctl"))
        self.assertIn("OVERLAP", self.fails(NO, "check", "out", "--json").codes())
        self.assertIn("OVERLAP", self.fails(NO, "verify", "out", "--json").codes())


class Folder(BuildTest):
    ARGUMENTS = ["box.stl,copies=2,style=Fine.sty@0:10mm", "--part", "ring.stl,rotate-z=15", "--style", "Default.sty",
                 "--recoat", "Default.rcs", "--recoat", "Slow.rcs@0:2mm", "--machine", "TRQ-E7", "--vat", "200x200x100mm",
                 "--seed", "7"]

    def test_what_it_holds(self):
        self.write("box.V_D", "0 15 10  0 0 1  2\n")
        document = self.build(*self.ARGUMENTS)
        files = self.files_of(self.path("out"))
        self.assertEqual(sorted(files), sorted(
            ["build.json", "build.toml", "checks.json", "plate.stl", "plate.svg", "report.html", "parts/box.stl", "parts/box.V_D",
             "parts/ring.stl", "meshes/box-1.ctl", "meshes/box-1.V_D", "meshes/box-2.ctl", "meshes/box-2.V_D",
             "meshes/ring-1.ctl"] + [f"styles/{s}{e}" for s in ("Default.rcs", "Slow.rcs", "Default.sty", "Fine.sty")
                                     for e in ("", ".csv")]))
        self.assertEqual(files["parts/box.stl"], self.path("box.stl").read_bytes())
        self.assertEqual({f["file"]: f["sha256"] for f in document["files"]},
                         {n: hashlib.sha256(b).hexdigest() for n, b in files.items() if n != "build.json"})
        self.assertEqual((document["machine"], document["machine_type"]), ("TRQ-E7", 6))
        for name in ("styles/Default.sty", "styles/Slow.rcs"):
            stored = int.from_bytes(files[name][-4:], "little")
            self.assertEqual(stored, zlib.crc32(files[name][:-4]) ^ 0xffffffff)
        for text in (files["build.json"], files["build.toml"], files["checks.json"], files["report.html"]):
            self.assertNotIn(str(self.folder).encode(), text)
        self.assertIn(b"Layer Thickness", files["styles/Fine.sty.csv"])

    def test_its_job_file_gives_the_same_bytes_from_anywhere(self):
        self.write("box.V_D", "0 15 10  0 0 1  2\n")
        self.build(*self.ARGUMENTS)
        first = self.files_of(self.path("out"))
        self.path("elsewhere").mkdir()
        shutil.move(self.path("out"), self.path("elsewhere/moved"))
        for name in ("box.stl", "ring.stl", "Default.sty", "Fine.sty", "Default.rcs", "Slow.rcs", "box.V_D"):
            self.path(name).unlink()
        self.good("build", "elsewhere/moved/build.toml", "-o", "again")
        self.assertEqual(self.files_of(self.path("again")), first)
        self.good("build", "moved/build.toml", "-o", "../third", cwd=self.path("elsewhere"))
        self.assertEqual(self.files_of(self.path("third")), first)
        self.good("verify", "again", "third")

    def test_the_same_from_odd_inputs(self):
        # Equal names, old layouts, forced checks, a partial file, a band in inches.
        self.path("other").mkdir()
        self.write("other/box.stl", binary_stl(box_facets((20, 20, 20)), announced=14))
        self.write("other/Default.sty", build_style(0.1, layout="206"))
        self.write("Old.rcs", recoat_style(layout="206"))
        arguments = ["box.stl", "other/box.stl,style=other/Default.sty", "--style", "Default.sty@0:0.5in", "--style",
                     "Fine.sty@0.4in:0.6in", "--recoat", "Old.rcs", "--recoat", "Default.rcs@0:3", "--machine", "Mirra",
                     "--accept-partial", "--force-checks", "--z-spacing", "0.3"]
        self.fails(NO, "build", *arguments, "-o", "out")
        document = self.document()
        self.assertEqual([i["file"] for i in document["inputs"]], ["parts/box.stl", "parts/box-2.stl"])
        self.assertEqual(sorted(p.name for p in self.path("out/styles").iterdir() if p.suffix != ".csv"),
                         ["Default-2.sty", "Default.rcs", "Default.sty", "Fine.sty", "Old.rcs"])
        self.fails(NO, "build", "out/build.toml", "-o", "again")
        self.assertEqual(self.files_of(self.path("again")), self.files_of(self.path("out")))

    def test_a_style_that_is_named_twice_is_stored_once(self):
        document = self.build("box.stl,style=Fine.sty@0:5", "ring.stl,style=./Fine.sty@0:5", "--style", "Default.sty")
        self.assertEqual([s["file"] for s in document["styles"]], ["styles/Default.sty", "styles/Fine.sty"])

    def test_info(self):
        self.build(*self.ARGUMENTS)
        data = self.info_of("out")
        self.assertEqual((data["kind"], data["piece_count"], data["part_count"], data["machine"]), ("build", 3, 2, "TRQ-E7"))
        data = self.info_of("out/build.toml")
        self.assertEqual((data["kind"], data["piece_count"], data["part_count"], data["vat"]), ("job", 3, 2, [200, 200, 100]))


class JobFiles(BuildTest):
    def test_written_by_hand(self):
        self.path("jobs").mkdir()
        self.write("jobs/one.toml", 'vat = "200x200x100mm"\nmachine = "Mirra"\n[[style]]\nfile = "../Default.sty"\n'
                                    '[[part]]\nfile = "../box.stl"\ncopies = 2\n[[part.style]]\nfile = "../Fine.sty"\n'
                                    'band = [0, "10mm"]\n')
        document = self.build("jobs/one.toml")
        self.assertEqual((document["machine"], document["vat"], len(document["pieces"])), ("Mirra", [200, 200, 100], 2))
        self.assertEqual(self.bands(document["inputs"][0]["styles"]), [("Fine.sty", 0, 10), ("Default.sty", 10, 20)])

    def test_what_is_wrong_is_said_with_its_line(self):
        for line, text in (("copys = 2", "copies"), ("copies = 0", "1 to 1000"), ("copies = 2.5", "whole number"),
                           ("rotate-z = \"x\"", "not a number"), ("file = ", "")):
            with self.subTest(line):
                self.write("job.toml", '[[part]]\nfile = "box.stl"\n' + line + "\n")
                result = self.fails(INPUT, "build", "job.toml", "-o", "out", "--json")
                message, = result.document()["messages"]
                self.assertEqual((message["code"], message["where"]), ("JOB-FILE", {"line": 3}))
                self.assertIn(text, message["text"] + message["hint"])

    def test_what_nests_deeper_than_any_job(self):
        # Each part of a key is a table in a table; taken apart by recursion, a million of them end any stack.
        for text, line, words in (("a" + ".a" * 300000 + " = 1\n", 1, "16 names"),
                                  ("seed = 1\n[a" + " . 'a'" * 300000 + "]\n", 2, "16 names"),
                                  ("x = " + "{a=" * 40000 + "1" + "}" * 40000, 1, "depth"),
                                  ("x = " + "[" * 40000 + "]" * 40000, 1, "depth"),
                                  ("\n" + "a." * 16 + "a = 1", 2, "16 names")):
            with self.subTest(text[:40]):
                self.write("deep.toml", text)
                message, = self.fails(INPUT, "build", "deep.toml", "-o", "out", "--json").document()["messages"]
                self.assertEqual((message["code"], message["where"]), ("JOB-FILE", {"line": line}))
                self.assertIn(words, message["text"])

    def test_points_that_part_no_key(self):
        points = "." * 40
        lines = ["# POINTS", "units = 'mm' # POINTS", "[[part]]", 'file = """POINTS\\"', 'POINTS"""""', "copies = '''",
                 "POINTS'''", '"POINTS\\"POINTS" . b = [' + "0.5, " * 40 + "]", "y = 'POINTS\\'", "a." * 15 + "a = 1"]
        self.write("job.toml", "\n".join(lines).replace("POINTS", points))
        # Read to its end: what is refused is what the entries say, the first of them by name.
        message, = self.fails(INPUT, "build", "job.toml", "-o", "out", "--json").document()["messages"]
        self.assertEqual((message["code"], message["where"]), ("JOB-FILE", {"line": 8}))
        self.assertIn("no entry", message["text"])

    def test_a_job_file_says_it_all(self):
        self.write("job.toml", '[[part]]\nfile = "box.stl"\n')
        self.fails(USAGE, "build", "job.toml", "--seed", "3", "-o", "out")
        self.good("build", "job.toml", "--force-checks", "-o", "out")
        self.write("empty.toml", "seed = 1\n")
        self.assertEqual(self.fails(INPUT, "build", "empty.toml", "-o", "out2", "--json").codes(), ["JOB-FILE"])


class CheckedJobs(BuildTest):
    """check JOB: what the build would say, before anything is built."""
    JOB = 'vat = "200x200x100mm"\nmachine = "TRQ-E7"\n[[part]]\nfile = "box.stl"\n'

    def check(self, text, exit=DONE):
        self.path("jobs").mkdir(exist_ok=True)
        self.write("jobs/one.toml", text.replace('file = "', 'file = "../'))
        before = self.files_of(self.folder)
        result = self.run_tool("check", "jobs/one.toml", "--json")
        self.assertEqual(result.exit, exit, result.err)
        self.assertEqual(self.files_of(self.folder), before)  # nothing is written
        said = without_recoat(result)
        result.codes = lambda: said
        return result

    def style(self, file, *band):
        return '[[style]]\nfile = "%s"\n' % file + ("band = [%g, %g]\n" % band if band else "")

    def test_a_sound_job(self):
        result = self.check(self.JOB + self.style("Default.sty"))
        self.assertEqual(result.codes(), [])
        self.assertEqual([(f["file"], f["kind"]) for f in result.document()["data"]["files"]],
                         [("jobs/../box.stl", "stl"), ("jobs/../Default.sty", "build style"), ("jobs/one.toml", "job")])

    def test_stacks(self):
        result = self.check(self.JOB + self.style("Default.sty", 0, 10), NO)
        self.assertEqual(result.codes(), ["Z-GAP"])
        entry = result.document()["data"]["files"][-1]
        self.assertEqual((entry["file"], entry["errors"], entry["warnings"]), ("jobs/one.toml", 1, 1))  # no recoat style
        self.assertEqual(self.check(self.JOB + self.style("Fine.sty", 0, 12) + self.style("Default.sty", 8, 20),
                                    NO).codes(), ["Z-OVERLAP"])
        self.assertEqual(self.check(self.JOB).codes(), ["NO-STYLE"])
        self.write("Thick.rcs", recoat_style(0.2))
        self.assertEqual(self.check(self.JOB + self.style("Default.sty") + '[[recoat]]\nfile = "Thick.rcs"\n').codes(),
                         ["LAYER-MISMATCH"])

    def test_every_file_is_tested_once_in_the_surroundings_of_the_job(self):
        self.write("box.stl", binary_stl(box_facets((40, 30, 20))[1:]))
        self.write("Mirra.sty", build_style(machine=7))
        result = self.check(self.JOB + '[[part]]\nfile = "box.stl"\n' + self.style("Mirra.sty"))
        self.assertEqual(result.codes(), ["OPEN-EDGES", "MACHINE-MISMATCH"])

    def test_everything_is_listed_though_a_part_cannot_be_read(self):
        self.write("box.stl", b"")
        damaged = bytearray(build_style())
        damaged[-1] ^= 1
        self.write("Bad.sty", bytes(damaged))
        result = self.check(self.JOB + self.style("Bad.sty"), NO)
        self.assertEqual(result.codes(), ["STL-EMPTY", "STYLE-CRC", "CHECK-PARTIAL"])

    def test_no_placement(self):
        self.assertEqual(self.check(self.JOB.replace("200x200", "50x50") + "copies = 9\n" + self.style("Default.sty"),
                                    NO).codes(), ["NO-PLACEMENT"])
        self.assertEqual(self.check(self.JOB.replace("200x200", "20x20") + self.style("Default.sty"), NO).codes(),
                         ["TOO-BIG-FOR-VAT"])

    def test_what_is_no_job(self):
        self.assertEqual(self.check("copies = 2\n", INPUT).codes(), ["JOB-FILE"])
        self.assertEqual(self.check(self.JOB + self.style("None.sty"), INPUT).codes(), ["INPUT-MISSING", "CHECK-PARTIAL"])


class Machines(BuildTest):
    def test_a_profile_gives_vat_and_styles(self):
        self.path("styles/Mirra/Mirramm").mkdir(parents=True)
        shutil.copy(self.path("Fine.sty"), self.path("styles/Mirra/Mirramm/Own.sty"))
        self.write("machines.toml", '[lab]\ntype = "Mirra"\nvat = "100x90x80mm"\nstyles = "styles"\n')
        document = self.build("box.stl", "--machines", "machines.toml", "--machine", "lab", "--style", "Own.sty")
        self.assertEqual((document["machine"], document["vat"]), ("Mirra", [100, 90, 80]))
        self.assertEqual(self.bands(document["inputs"][0]["styles"]), [("Own.sty", 0, 20)])
        document = self.build("box.stl", "--machines", "machines.toml", "--vat", "120x120x120mm", output="out2")
        self.assertEqual((document["machine"], document["vat"]), ("Mirra", [120, 120, 120]))
        self.assertIn("lab", self.fails(USAGE, "build", "box.stl", "--machines", "machines.toml", "--machine", "labb",
                                        "-o", "out3").err)


class Verify(BuildTest):
    def setUp(self):
        super().setUp()
        self.build("box.stl,copies=2", "--style", "Default.sty", "--recoat", "Slow.rcs")

    def differs(self, *codes):
        result = self.fails(NO, "verify", "out", "--json")
        self.assertEqual(sorted(set(result.codes())), sorted(codes))
        return result

    def test_a_fresh_build(self):
        self.assertEqual(self.good("verify", "out", "--strict", "--json").codes(), [])

    def test_what_is_not_of_the_build(self):
        for folder in ("out", "out/meshes"):
            for name in (".DS_Store", "Thumbs.db", "desktop.ini"):
                self.write(f"{folder}/{name}", "x")
        self.assertEqual(self.good("verify", "out", "--strict", "--json").codes(), [])
        self.write("out/parts/more.stl", "x")
        self.path("out/.trqprep-left").mkdir()
        self.write("out/.trqprep-left/file", "left over")
        messages = self.good("verify", "out", "--json").document()["messages"]
        self.assertEqual([(m["code"], m["severity"], m["file"]) for m in messages],
                         [("VERIFY-FOREIGN", "note", "out/.trqprep-left/"),
                          ("VERIFY-FOREIGN", "note", "out/parts/more.stl")])
        self.assertIn("out: everything is as it was built\n", self.good("verify", "out").out.decode())
        result = self.fails(NO, "verify", "out", "--strict", "--json")
        self.assertEqual(result.document()["data"]["files"], [{"file": "out", "errors": 2}])
        self.assertEqual({m["severity"] for m in result.document()["messages"]}, {"error"})

    def test_every_changed_file_is_found(self):
        for path in sorted(self.path("out").rglob("*")):
            if not path.is_file() or path.name == "build.json":
                continue
            whole = path.read_bytes()
            with self.subTest(path.name):
                path.write_bytes(whole[:-1] + bytes([whole[-1] ^ 1]))
                self.assertIn("VERIFY-HASH", self.fails(NO, "verify", "out", "--json").codes())
                path.write_bytes(whole)
        self.good("verify", "out")

    def test_a_missing_file(self):
        self.path("out/plate.svg").unlink()
        whole = self.path("out/plate.stl").rename(self.path("plate.stl"))
        self.path("out/plate.stl").symlink_to(whole)
        result = self.differs("VERIFY-FILE")
        self.assertEqual(sorted((m["file"], m["text"]) for m in result.document()["messages"]),
                         [("out/plate.stl", "is not a regular file"), ("out/plate.svg", "is missing")])

    def test_a_changed_build_json(self):
        document = self.document()
        document["seed"] = 99
        self.write("out/build.json", json.dumps(document))
        self.differs("VERIFY-HASH")
        del document["pieces"][1]
        self.write("out/build.json", json.dumps(document))
        self.assertIn("VERIFY-COUNT", self.fails(NO, "verify", "out", "--json").codes())

    def test_a_style_with_a_wrong_checksum(self):
        path = self.path("out/styles/Default.sty")
        data = path.read_bytes()
        path.write_bytes(data[:-1] + bytes([data[-1] ^ 1]))
        self.differs("STYLE-CRC", "VERIFY-HASH")

    def test_hostile_build_json(self):
        for text in ("{}", "[" * 5000, '{"schema":"trqprep.build-folder/2","pieces":[],"inputs":[]}'):
            self.write("out/build.json", text)
            self.assertEqual(self.fails(INPUT, "verify", "out", "--json").codes(), ["BUILD-INVALID"])
        # Well formed, and what copies and writes a value by recursion would run out of stack; so with the list of
        # forced findings.
        deep = '{"schema":"trqprep.build-folder/2","pieces":[],"inputs":[],"files":' + "[" * 300000 + "]" * 300000 + "}"
        self.write("out/build.json", deep)
        for command in ("verify", "info", "check"):
            self.assertEqual(self.fails(INPUT, command, "out", "--json").codes(), ["BUILD-INVALID"])
        document = {"schema": "trqprep.build-folder/2", "pieces": [], "inputs": [], "units": "mm", "vat": [1, 1, 1],
                    "files": [{"file": "../box.stl", "sha256": ""}], "styles": []}
        self.write("out/build.json", json.dumps(document))
        self.assertEqual(self.fails(INPUT, "verify", "out", "--json").codes(), ["BUILD-INVALID"])


class Killed(BuildTest):
    def test_nothing_half_made_stands_under_the_final_name(self):
        arguments = [TOOL, "build", "box.stl,copies=6", "ring.stl,copies=4", "--style", "Default.sty", "--style",
                     "Fine.sty@0:5", "--recoat", "Slow.rcs", "--force", "-o", "out"]
        start = time.monotonic()
        subprocess.run(arguments, cwd=self.folder, check=True, capture_output=True)
        whole = time.monotonic() - start
        shutil.rmtree(self.path("out"))
        chance = random.Random(20)
        standing = 0
        for _ in range(20):
            process = subprocess.Popen(arguments, cwd=self.folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(chance.uniform(0, whole * 1.1))
            process.send_signal(signal.SIGKILL)
            process.wait()
            if self.path("out").exists():
                standing += 1
                self.good("verify", "out")
        # What was left over disturbs nothing.
        self.good("build", *arguments[2:])
        self.good("verify", "out")


class Parallel(BuildTest):
    def test_the_example_of_the_readme(self):
        readme = (SOURCE / "README.md").read_text()
        line, = [l for l in readme.splitlines() if "xargs -P" in l]
        self.path("jobs").mkdir()
        for name in ("one", "two", "three"):
            self.write(f"jobs/{name}.toml", '[[part]]\nfile = "../box.stl"\n[[style]]\nfile = "../Default.sty"\n')
        path = str(pathlib.Path(TOOL).parent) + os.pathsep + os.environ["PATH"]
        completed = subprocess.run(line, shell=True, cwd=self.folder, capture_output=True, env=dict(os.environ, PATH=path))
        self.assertEqual(completed.returncode, 0, completed.stderr)
        self.good("verify", "one", "two", "three")
        self.assertEqual(self.files_of(self.path("one")), self.files_of(self.path("two")))

    def test_the_job_file_of_the_readme(self):
        readme = (SOURCE / "README.md").read_text()
        job = readme.split("```toml\n")[1].split("```")[0]
        self.write("job.toml", job)
        for name in ("Fine.sty", "Standard.sty"):
            self.write(name, build_style(0.1))
        shutil.copy(SOURCE / "examples/parts/bracket.stl", self.folder)
        self.assertEqual(len(self.build("job.toml")["pieces"]), 4)


if __name__ == "__main__":
    unittest.main()
