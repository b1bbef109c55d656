"""What build and check decide without being asked: machine, floor, layer thickness, strictness, and how much they say."""
import json
import unittest

from style_files import *
from support import *


class SafeBuilds(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((40, 30, 20))))
        self.write("E7.sty", build_style(0.1, machine=6))
        self.write("E7.rcs", recoat_style(0, machine=6))

    def document(self, folder="out"):
        return json.loads(self.path(folder).joinpath("build.json").read_text())

    def job(self, folder="out"):
        return self.path(folder).joinpath("build.toml").read_text()


class Machines(SafeBuilds):
    def test_the_machine_of_all_styles_is_used_said_and_kept(self):
        result = self.good("build", "box.stl", "--style", "E7.sty", "--recoat", "E7.rcs", "-o", "out")
        self.assertEqual(self.document()["machine_type"], 6)
        self.assertIn("machine: " + self.document()["machine"], result.out.decode())
        self.assertIn('machine = "' + self.document()["machine"] + '"', self.job())
        self.good("build", "out/build.toml", "-o", "again")
        for name in ("build.json", "checks.json", "plate.stl"):
            self.assertEqual(self.path("out").joinpath(name).read_bytes(),
                             self.path("again").joinpath(name).read_bytes(), name)

    def test_styles_of_layout_206_have_no_vote(self):
        self.write("Old.sty", build_style(0.1, layout="206"))
        self.good("build", "box.stl", "--style", "Old.sty", "-o", "out")
        self.assertIsNone(self.document()["machine_type"])

    def test_styles_of_two_machines_are_an_error(self):
        self.write("Other.rcs", recoat_style(0, machine=7))
        result = self.fails(NO, "build", "box.stl", "--style", "E7.sty", "--recoat", "Other.rcs", "-o", "out",
                            "--json")
        said = [m for m in result.document()["messages"] if m["code"] == "MACHINE-MISMATCH"]
        self.assertEqual([(m["severity"], m["where"]["machine_type"]) for m in said], [("error", 7)])
        self.assertFalse(self.path("out").exists())
        # One that is named is taken, and the other style is a warning.
        self.good("build", "box.stl", "--style", "E7.sty", "--recoat", "Other.rcs", "--machine", "6", "-o", "out")

    def test_a_job_file_without_the_key_stays_without(self):
        self.write("job.toml", '[[style]]\nfile = "E7.sty"\n[[part]]\nfile = "box.stl"\n')
        self.good("build", "job.toml", "-o", "out")
        self.assertIsNone(self.document()["machine_type"])


class Thickness(SafeBuilds):
    def test_no_layers_no_build(self):
        for thickness in (0, -0.1):
            with self.subTest(thickness):
                self.write("Flat.sty", build_style(thickness))
                self.assertIn("STYLE-THICKNESS", self.fails(NO, "check", "Flat.sty", "--json").codes())
                self.assertIn("STYLE-THICKNESS",
                              self.fails(NO, "build", "box.stl", "--style", "Flat.sty", "-o", "out").err)
                self.assertFalse(self.path("out").exists())

    def test_a_new_style_says_that_it_has_none(self):
        self.assertIn("STYLE-THICKNESS", self.good("style", "new", "--machine", "6", "-o", "blank.sty").err)
        result = self.good("style", "new", "--machine", "6", "--thickness", "0.125", "-o", "thin.sty")
        self.assertNotIn("STYLE-THICKNESS", result.err)
        self.assertEqual(self.good("check", "thin.sty", "--json").document()["data"]["errors"], 0)
        self.fails(USAGE, "style", "new", "--machine", "6", "--thickness", "0", "-o", "no.sty")

    def test_set_refuses_it(self):
        self.assertIn("STYLE-THICKNESS", self.fails(NO, "style", "set", "E7.sty", "Layer Thickness=0").err)
        self.assertEqual(self.path("E7.sty").read_bytes(), build_style(0.1, machine=6))

    def test_set_refuses_what_a_check_would_find_though_the_range_flag_is_off(self):
        def bounded(records):
            record = records["Dp"]
            record.value, record.minimum, record.maximum, record.flags = 3.5, 3, 4, [1, 1, 0]
        self.write("Bounded.sty", build_style_with(bounded))
        before = self.path("Bounded.sty").read_bytes()
        self.fails(NO, "style", "set", "Bounded.sty", "Dp=1e9")
        self.assertEqual(self.path("Bounded.sty").read_bytes(), before)
        self.good("style", "set", "Bounded.sty", "Dp=3.75")
        self.good("style", "set", "Bounded.sty", "Dp=1e9", "--force-value")
        self.assertIn("STYLE-RANGE", self.good("check", "Bounded.sty", "--json").codes())
        # What was found wrong before may stay so.
        self.good("style", "set", "Bounded.sty", "Dp=5")


class FloorOfTheVat(SafeBuilds):
    def test_a_part_below_is_moved_up_with_its_side_file_and_bands(self):
        # From Z -12 to 8; a vent at its top.
        self.write("low.stl", binary_stl(box_facets((40, 30, 20), (5, 6, -12))))
        self.write("low.V_D", "15 16 8 0 0 1 1\n")
        result = self.good("build", "low.stl", "--style", "E7.sty@0:4", "--style", "E7.sty@4:99", "-o", "out",
                           "--rotations", "1")
        self.assertIn("FLOOR-LIFTED", result.err)
        low, high = bounds(read_binary_stl(self.path("out") / "plate.stl"))
        self.assertEqual((low[2], high[2]), (0, 20))
        stack = self.document()["inputs"][0]["styles"]
        self.assertEqual([(s["start"], s["end"]) for s in stack], [(0, 4), (4, 20)])
        vent = self.path("out").joinpath("meshes", "low-1.V_D").read_text().split()
        self.assertAlmostEqual(float(vent[2]), 20, places=4)
        self.good("build", "out/build.toml", "-o", "again")
        self.assertEqual(self.path("out").joinpath("build.json").read_bytes(),
                         self.path("again").joinpath("build.json").read_bytes())
        self.assertIn("FLOOR-LIFTED", self.good("check", "low.stl", "--json").codes())

    def test_keep_refuses(self):
        self.write("low.stl", binary_stl(box_facets((40, 30, 20), (0, 0, -12))))
        self.assertIn("OUTSIDE-VAT", self.fails(NO, "build", "low.stl", "--floor", "keep", "-o", "out").err)
        self.assertIn("OUTSIDE-VAT", self.fails(NO, "check", "low.stl", "--floor", "keep", "--json").codes())
        self.fails(USAGE, "build", "low.stl", "--floor", "keep", "--drop", "-o", "out")

    def test_a_part_high_above_is_warned_of(self):
        for z, floating in ((30, False), (30.5, True)):
            self.write("high.stl", binary_stl(box_facets((40, 30, 20), (0, 0, z))))
            self.assertEqual("FLOATING" in self.good("build", "high.stl", "--force", "-o", "out").err, floating)
            self.assertEqual("FLOATING" in self.good("check", "high.stl", "--json").codes(), floating)
        self.assertNotIn("FLOATING", self.good("build", "high.stl", "--drop", "--force", "-o", "out").err)


class Strictness(SafeBuilds):
    def test_warnings_become_errors_but_for_the_allowed(self):
        style = ("build", "box.stl", "--style", "E7.sty", "-o")
        self.assertIn("NO-RECOAT", self.good(*style, "a").err)
        self.assertIn("error: ", self.fails(NO, *style, "b", "--strict").err)
        self.assertFalse(self.path("b").exists())
        self.good(*style, "b", "--strict", "--allow", "NO-RECOAT")
        self.fails(USAGE, *style, "c", "--strict", "--allow", "NO-RECOTA")
        self.good("build", "b/build.toml", "-o", "c")
        self.assertEqual(self.path("b").joinpath("build.toml").read_bytes(),
                         self.path("c").joinpath("build.toml").read_bytes())
        self.write("open.stl", binary_stl(box_facets()[:-1]))
        self.good("check", "open.stl")
        self.fails(NO, "check", "open.stl", "--strict")
        self.good("check", "open.stl", "--strict", "--allow", "OPEN-EDGES")

    def test_a_style_in_another_unit_stops_a_build(self):
        self.write("Inch.sty", build_style(0.004))
        self.good("check", "Inch.sty")
        self.assertIn("STYLE-UNITS-MIX", self.fails(NO, "build", "box.stl", "--style", "Inch.sty", "-o", "out").err)

    def test_a_forced_build_says_so(self):
        self.write("Inch.sty", build_style(0.004))
        result = self.fails(NO, "build", "box.stl", "--style", "Inch.sty", "-o", "out", "--force-checks")
        self.assertTrue(self.path("out").joinpath("plate.stl").exists())
        self.assertIn("forced", result.out.decode().splitlines()[-1])
        self.assertIn("STYLE-UNITS-MIX", result.out.decode().splitlines()[-1])
        result = self.fails(NO, "build", "box.stl", "--style", "Inch.sty", "-o", "two", "--force-checks", "--json")
        self.assertIs(result.document()["data"]["forced"], True)


class Saying(SafeBuilds):
    def test_a_missing_part_of_a_job_file_is_sought_in_its_folder(self):
        self.path("jobs").mkdir()
        self.path("jobs/job.toml").write_text('[[part]]\nfile = "none.stl"\n')
        for command in (("build", "jobs/job.toml", "-o", "out"), ("check", "jobs/job.toml")):
            self.assertIn("folder of the job file", self.fails(INPUT, *command).err)

    def test_the_table_shows_the_whole_turn(self):
        result = self.good("place", "box.stl,rotate-z=30", "--rotations", "1", "--svg", "plate.svg")
        self.assertIn("   30", result.out.decode().splitlines()[1])
        self.assertIn("30\u00b0", self.path("plate.svg").read_text())

    def test_many_parts_say_each_code_once(self):
        names = []
        for i in range(12):
            names.append(self.write(f"open{i}.stl", binary_stl(box_facets((20 + i, 10, 10))[:-1])))
        styles = ("--style", "E7.sty", "--recoat", "E7.rcs")
        result = self.good("build", *names, *styles, "-o", "out")
        self.assertLessEqual(len(result.out.splitlines()), 25)
        text = result.out.decode()
        self.assertRegex(text, r"E7\.sty on 12 parts: ")
        self.assertIn("recoating by 1 style, styles/E7.rcs first", text)
        self.assertEqual(result.err.count("[OPEN-EDGES]"), 1)
        self.assertIn("12 files: ", result.err)
        for name in names:
            self.assertEqual(result.err.count(f"{name}: OPEN-EDGES"), 1)
        every = self.good("build", *names, *styles, "-o", "all", "--all")
        self.assertEqual(every.err.count("[OPEN-EDGES]"), 12)
        checked = self.good("check", *names)
        self.assertEqual(len(checked.out.splitlines()), 12)
        self.assertEqual(checked.err.count("[OPEN-EDGES]"), 1)
        self.assertEqual(self.good("check", *names, "--all").err.count("[OPEN-EDGES]"), 12)
        self.assertEqual(self.good("check", *names, "--json").codes(), 12 * ["OPEN-EDGES"])


if __name__ == "__main__":
    unittest.main()
