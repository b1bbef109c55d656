"""examples/whole_build.cpp makes the plate and the side files that the tool makes, to the byte, and says what is measured
and worked out without the library: whole_build_test.py WHOLE_BUILD TRQPREP.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import stl_report

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
STYLES = os.path.join(ROOT, "examples", "styles")
PARTS = {"bracket.stl": 2, "ring.stl": 3, "l_shape.stl": 1}  # binary and ASCII


def read_bytes(*path):
    with open(os.path.join(*path), "rb") as f:
        return f.read()


class WholeBuild(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        folder = cls.scratch.name
        for part in PARTS:
            shutil.copy(os.path.join(ROOT, "examples", "parts", part), folder)
        with open(os.path.join(folder, "ring.V_D"), "w", encoding="ascii") as f:
            f.write("24 0.5 1.25  0 0 1  0.5\n")
        cls.out, cls.tool = os.path.join(folder, "out"), os.path.join(folder, "tool")
        os.mkdir(cls.out)
        counted = [word for part, copies in PARTS.items() for word in (os.path.join(folder, part), str(copies))]
        cls.said = subprocess.run(
            [EXAMPLE, cls.out, "200", "7", os.path.join(STYLES, "Fine.sty"), os.path.join(STYLES, "Standard.sty"), "4",
             os.path.join(STYLES, "ThreeSweeps.rcs")] + counted, check=True, capture_output=True, text=True).stdout
        parts = ["%s,copies=%d" % (os.path.join(folder, part), copies) for part, copies in PARTS.items()]
        subprocess.run([TOOL, "build"] + parts + ["--vat", "200x200x200mm", "--engine", "grid", "--rotations", "1", "--seed", "7",
                        "-o", cls.tool],
                       check=True, capture_output=True)

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def test_plate_is_the_tools(self):
        plate = read_bytes(self.out, "plate.stl")
        self.assertTrue(plate == read_bytes(self.tool, "plate.stl"))
        facets = sum(copies * stl_report.report(os.path.join(ROOT, "examples", "parts", part)).facets
                     for part, copies in PARTS.items())
        self.assertEqual(len(plate), 84 + 50 * facets)

    def test_side_files_are_the_tools(self):
        sides = sorted(name for name in os.listdir(self.out) if name.endswith(".V_D"))
        self.assertEqual(sides, ["ring-1.V_D", "ring-2.V_D", "ring-3.V_D"])
        for name in sides:
            self.assertEqual(read_bytes(self.out, name), read_bytes(self.tool, "meshes", name), name)

    def test_every_piece_has_its_mesh_and_measures(self):
        lines = re.findall(r"/(\w+)-(\d+)\.ctl: at X (\S+) Y (\S+), area (\S+), volume (\S+)$", self.said, flags=re.MULTILINE)
        self.assertEqual([(stem, int(copy)) for stem, copy, *_ in lines],
                         [(part[:-4], copy + 1) for part, copies in PARTS.items() for copy in range(copies)])
        for stem, copy, x, y, _, volume in lines:
            known = stl_report.report(os.path.join(ROOT, "examples", "parts", stem + ".stl"))
            self.assertAlmostEqual(float(volume) / known.volume, 1, places=4)
            self.assertTrue(0 <= float(x) < 200 and 0 <= float(y) < 200)
            self.assertTrue(os.path.exists(os.path.join(self.out, "%s-%s.ctl" % (stem, copy))))

    def test_upper_style_begins_where_it_was_told(self):
        height = stl_report.report(os.path.join(ROOT, "examples", "parts", "bracket.stl")).high[2]
        lower = "  Z 0 to 4: Fine 0.05 mm, layers of 0.05, "
        upper = "  Z 4 to %g: Standard 0.1 mm, layers of 0.1, " % height
        self.assertRegex(self.said, re.escape("bracket-1.ctl: ") + r".*\n" + re.escape(lower) + r".*\n" + re.escape(upper))


if __name__ == "__main__":
    EXAMPLE, TOOL = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
