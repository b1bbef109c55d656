"""fleet summary: sums over many build folders, and what it says of damaged ones."""
import csv
import io
import json
import shutil
import unittest

from support import DONE, INPUT, LAB_PROFILE, NO, USAGE, ToolTest, binary_stl, box_facets
from style_files import build_style, recoat_style

QUICK = ["--time", "0", "--no-report"]


class Summary(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((10, 20, 5))))  # 1000 mm3
        self.write("Draws.sty", build_style(0.5, Dp=0.15, Ec=10, Large_LayerNumHatches=1))
        self.write("Dips.rcs", recoat_style(0.5, sweeps=1))
        self.write("lab.toml", LAB_PROFILE)

    def build(self, folder, *more, copies=1):
        self.good("build", f"box.stl,copies={copies}", *QUICK, "-o", folder, *more)
        return folder

    def styled(self, folder, copies=1):
        return self.build(folder, "--style", "Draws.sty", "--recoat", "Dips.rcs", "--machines", "lab.toml", "--slice",
                          copies=copies)

    def summary(self, *folders, exit=DONE):
        result = self.run_tool("fleet", "summary", *folders, "--json")
        self.assertEqual(result.exit, exit, result.err)
        return result.document()["data"]

    def test_sums(self):
        folders = [self.build("one"), self.build("three", copies=3), self.styled("styled", copies=2)]
        data = self.summary(*folders)
        self.assertEqual([b["folder"] for b in data["builds"]], folders)
        self.assertEqual([b["piece_count"] for b in data["builds"]], [1, 3, 2])
        for build, volume in zip(data["builds"], (1000, 3000, 2000)):
            self.assertAlmostEqual(build["volume"], volume, 2)
        # Whole layers of 0.5 mm: by layers the boxes hold what they hold.
        self.assertEqual([b["resin"] for b in data["builds"][:2]], [None, None])
        self.assertAlmostEqual(data["builds"][2]["resin"], 2, 3)
        estimate, = self.json_of("estimate", "styled")["estimates"]
        self.assertEqual(data["builds"][2]["total"], estimate["total"])
        self.assertEqual([b["total"] for b in data["builds"][:2]], [None, None])
        self.assertEqual([b["warnings"] for b in data["builds"]], [1, 1, 0])
        self.assertEqual(data["builds"][0]["findings"], [{"code": "NO-STYLE", "severity": "warning", "count": 1}])
        totals = data["totals"]
        self.assertEqual((totals["build_count"], totals["part_count"], totals["piece_count"]), (3, 3, 6))
        self.assertAlmostEqual(totals["volume"], 6000, 2)
        self.assertAlmostEqual(totals["resin"], 2, 3)
        self.assertEqual(totals["total"], estimate["total"])
        self.assertEqual((totals["errors"], totals["warnings"]), (0, 2))
        self.assertEqual(totals["findings"], [{"code": "NO-STYLE", "severity": "warning", "count": 2, "build_count": 2}])
        self.assertEqual((totals["estimated_count"], totals["damaged_count"]), (1, 0))

    def test_twice_the_same_folder_counts_twice(self):
        folder = self.styled("styled", copies=2)
        once, twice = self.summary(folder)["totals"], self.summary(folder, folder + "/")["totals"]
        for key in ("piece_count", "volume", "resin"):
            self.assertAlmostEqual(twice[key], 2 * once[key], 4)
        for key in ("least", "most"):
            self.assertAlmostEqual(twice["total"][key], 2 * once["total"][key], 2)

    def test_volumes_are_in_mm_whatever_the_unit_of_the_build(self):
        self.write("inch.stl", binary_stl(box_facets((1, 1, 1))))
        self.good("build", "inch.stl", "--units", "in", "--vat", "5x5x5", *QUICK, "-o", "inch")
        self.assertAlmostEqual(self.summary("inch")["builds"][0]["volume"], 25.4 ** 3, 1)

    def test_findings_of_forced_builds(self):
        self.write("open.stl", binary_stl(box_facets((10, 20, 5))[:-1]))
        forced = self.run_tool("build", "open.stl,at=5:5", "open.stl,at=8:8", *QUICK, "--force-checks", "-o", "forced")
        self.assertEqual(forced.exit, NO)
        wanted = json.loads(self.path("forced/checks.json").read_text())["findings"]
        build, = self.summary("forced")["builds"]
        for severity, key in (("error", "errors"), ("warning", "warnings")):
            self.assertEqual(build[key], sum(f["severity"] == severity for f in wanted), wanted)
        self.assertGreater(build["errors"], 0)
        self.assertEqual({f["code"]: f["count"] for f in build["findings"]},
                         {code: sum(f["code"] == code for f in wanted) for code in {f["code"] for f in wanted}})
        ranks = [("note", "warning", "error").index(f["severity"]) for f in build["findings"]]
        self.assertEqual(ranks, sorted(ranks, reverse=True))

    def test_several_plates_have_a_row_each(self):
        self.good("build", "box.stl,copies=3", "--vat", "30x30x30mm", "--plates", "any", *QUICK, "-o", "plates")
        plates = json.loads(self.path("plates/plates.json").read_text())["plates"]
        self.assertGreater(len(plates), 1)
        data = self.summary("plates")
        self.assertEqual([b["folder"] for b in data["builds"]], [f"plates/{p['folder']}" for p in plates])
        self.assertEqual(data["totals"]["piece_count"], 3)
        self.assertAlmostEqual(data["totals"]["volume"], 3000, 1)

    # --- damage ---------------------------------------------------------------------------------------------

    def damaged(self, name, damage):
        shutil.copytree(self.path("good"), self.path(name))
        damage(self.path(name))

    def assert_damage(self, codes, *folders, exit):
        """Each folder by itself, and between good ones, which are summed up all the same."""
        for folder in folders:
            with self.subTest(folder):
                self.assertEqual(self.summary(folder, exit=exit)["damaged"], [{"folder": folder, "codes": codes}])
                data = self.summary("good", folder, "good", exit=exit)
                self.assertEqual([b["folder"] for b in data["builds"]], ["good", "good"])
                self.assertEqual(data["totals"]["piece_count"], 2)
                self.assertEqual(data["totals"]["damaged_count"], 1)

    def test_what_is_not_as_it_was_built(self):
        self.styled("good")
        self.damaged("longer", lambda f: (f / "plate.stl").write_bytes((f / "plate.stl").read_bytes() + b"\0"))
        self.damaged("cut", lambda f: (f / "meshes/box-1.ctl").write_bytes(b""))
        self.damaged("checks", lambda f: (f / "checks.json").write_text(
            (f / "checks.json").read_text().replace('"findings"', '"Findings"')))
        self.damaged("estimate", lambda f: (f / "estimate.json").write_text(
            (f / "estimate.json").read_text().replace('"resin"', '"Resin"')))
        self.damaged("told", lambda f: (f / "build.json").write_text(
            (f / "build.json").read_text().replace('"copy": 1', '"copy": 2')))
        self.assert_damage(["VERIFY-HASH"], "longer", "cut", "checks", "estimate", "told", exit=NO)
        self.damaged("less", lambda f: (f / "plate.svg").unlink())
        self.damaged("linked", lambda f: ((f / "plate.svg").unlink(), (f / "plate.svg").symlink_to("../good/plate.svg")))
        self.assert_damage(["VERIFY-FILE"], "less", "linked", exit=NO)

    def test_what_is_no_build(self):
        self.styled("good")
        self.path("empty").mkdir()
        self.damaged("cut", lambda f: (f / "build.json").write_bytes((f / "build.json").read_bytes()[:100]))
        self.damaged("other", lambda f: (f / "build.json").write_text("{}"))
        self.assert_damage(["BUILD-INVALID"], "empty", "cut", "other", "box.stl", exit=INPUT)
        self.assert_damage(["INPUT-MISSING"], "absent", exit=INPUT)

    def test_the_worse_exit_code_counts(self):
        self.build("good")
        self.damaged("less", lambda f: (f / "plate.svg").unlink())
        data = self.summary("less", "absent", "good", exit=INPUT)
        self.assertEqual([d["codes"] for d in data["damaged"]], [["VERIFY-FILE"], ["INPUT-MISSING"]])
        self.summary("less", "good", exit=NO)

    # --- how it is written ----------------------------------------------------------------------------------

    def test_csv(self):
        self.styled("styled")
        shutil.copytree(self.path("styled"), self.path('odd, "name"'))
        self.build("plain", copies=2)
        result = self.fails(INPUT, "fleet", "summary", "styled", 'odd, "name"', "plain", "absent", "--csv")
        rows = list(csv.DictReader(io.StringIO(result.out.decode())))
        self.assertEqual([r["folder"] for r in rows], ["styled", 'odd, "name"', "plain", "absent"])
        data = self.summary("styled", 'odd, "name"', "plain")
        for row, build in zip(rows, data["builds"]):
            self.assertEqual(int(row["piece_count"]), build["piece_count"])
            self.assertEqual(float(row["volume_mm3"]), build["volume"])
            self.assertEqual(row["resin_ml"], "" if build["resin"] is None else json.dumps(build["resin"]))
            for column, key in (("least_s", "least"), ("most_s", "most")):
                self.assertEqual(row[column], "" if build["total"] is None else json.dumps(build["total"][key]))
            self.assertEqual((int(row["errors"]), int(row["warnings"])), (build["errors"], build["warnings"]))
            self.assertEqual(row["damage"], "")
        self.assertEqual((rows[2]["findings"], rows[3]["damage"]), ("NO-STYLE", "INPUT-MISSING"))

    def test_text(self):
        self.styled("styled")
        self.build("plain", copies=2)
        lines = self.fails(INPUT, "fleet", "summary", "styled", "plain", "absent").out.decode().splitlines()
        self.assertEqual(len(lines), 8, lines)
        self.assertRegex(lines[1], r"^ +1 +1 +1 +1 .* styled$")
        self.assertRegex(lines[2], r"^ +1 +2 +2 +- +-  plain: NO-STYLE$")
        self.assertRegex(lines[3], r"damaged  absent: INPUT-MISSING$")
        self.assertRegex(lines[4], r"^ +2 +3 +3 +1 .*  2 builds$")
        self.assertIn("those of 1 of them", lines[5])
        self.assertEqual(lines[6:], ["warning NO-STYLE: 1 in 1 build", "damaged INPUT-MISSING: 1 folder"])

    def test_it_wants_folders(self):
        self.fails(USAGE, "fleet", "summary")
        self.fails(USAGE, "fleet")


if __name__ == "__main__":
    unittest.main()
