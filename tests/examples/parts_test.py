"""The parts of examples/parts are what their generator makes, and are sound."""

import math
import os
import struct
import subprocess
import sys
import tempfile
import unittest

import stl_report

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PARTS = os.path.join(ROOT, "examples", "parts")

# Worked by hand from the drawings, with true circles; arcs made of chords lose a little.
CORNER = 1 - math.pi / 4  # what rounding takes from a square corner of side 1
HAND_VOLUMES = {
    "bracket.stl": 60 * (40 * 6 + 39 * 6 + CORNER * 8**2) - 4 * 6 * math.pi * 2.75**2,
    "l_shape.stl": 12 * (64**2 - 40**2 - 5 * CORNER * 6**2 + CORNER * 10**2 - math.pi * (4**2 + 4**2 + 5**2)),
    "ring.stl": 2 * math.pi * 27 * (2 * 3 - 4 * CORNER * 0.6**2),
}


def names():
    return sorted(n for n in os.listdir(PARTS) if n.endswith(".stl"))


def read_bytes(path):
    with open(path, "rb") as f:
        return f.read()


class Parts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.reports = {n: stl_report.report(os.path.join(PARTS, n)) for n in names()}

    def test_generator_gives_the_same_bytes_again(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([sys.executable, "-B", os.path.join(ROOT, "examples", "make_parts.py"), folder], check=True)
            self.assertEqual(sorted(os.listdir(folder)), names())
            for name in names():
                same = read_bytes(os.path.join(folder, name)) == read_bytes(os.path.join(PARTS, name))
                self.assertTrue(same, name)

    def test_every_part_is_closed_and_faces_outward(self):
        for name, r in self.reports.items():
            self.assertTrue(r.closed, name)
            self.assertGreater(r.volume, 0, name)

    def test_sizes_are_those_of_real_parts(self):
        self.assertGreaterEqual(len(self.reports), 6)
        for name, r in self.reports.items():
            self.assertTrue(500 <= r.facets <= 20000, name)
            self.assertEqual(r.low, (0, 0, 0), name)
            self.assertTrue(20 <= max(r.high) <= 80, name)

    def test_both_forms_of_stl_are_there(self):
        self.assertEqual({r.form for r in self.reports.values()}, {"ascii", "binary"})

    def test_volumes_agree_with_the_drawings(self):
        for name, volume in HAND_VOLUMES.items():
            self.assertAlmostEqual(self.reports[name].volume / volume, 1, delta=0.011, msg=name)

    def test_hollow_parts_hold_less_than_their_outline(self):
        vase = self.reports["vase.stl"]
        outline = math.pi / 4 * vase.high[0] * vase.high[1] * vase.high[2]
        self.assertLess(vase.volume, 0.3 * outline)
        self.assertGreater(vase.area, 2 * math.pi * 17 * vase.high[2] * 2)  # an outer and an inner wall


class Report(unittest.TestCase):
    """What judges the parts can say no."""

    A, B, C, D = (0.0, 0.0, 0.0), (3.0, 0.0, 0.0), (0.0, 3.0, 0.0), (0.0, 0.0, 4.0)
    TETRAHEDRON = [(A, C, B), (A, B, D), (B, C, D), (C, A, D)]

    def test_tetrahedron(self):
        r = stl_report.measure("binary", self.TETRAHEDRON)
        self.assertTrue(r.closed)
        self.assertAlmostEqual(r.volume, 6)
        self.assertAlmostEqual(r.area, 4.5 + 6 + 6 + math.sqrt(12**2 + 12**2 + 9**2) / 2)

    def test_hole_flip_and_double_facet_are_open(self):
        flipped = [self.TETRAHEDRON[0][::-1]] + self.TETRAHEDRON[1:]
        doubled = self.TETRAHEDRON + self.TETRAHEDRON[:1]
        for facets in (self.TETRAHEDRON[1:], flipped, doubled):
            self.assertFalse(stl_report.measure("binary", facets).closed)

    def test_inside_out_has_negative_volume(self):
        r = stl_report.measure("binary", [t[::-1] for t in self.TETRAHEDRON])
        self.assertTrue(r.closed)
        self.assertAlmostEqual(r.volume, -6)

    def test_reads_both_forms(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "t.stl")
            with open(path, "wb") as f:
                f.write(b" " * 80 + struct.pack("<I", 4))
                for t in self.TETRAHEDRON:
                    f.write(struct.pack("<12fH", 0, 0, 0, *(c for p in t for c in p), 0))
            self.assertEqual(stl_report.read_facets(path), ("binary", self.TETRAHEDRON))
            with open(path, "w") as f:
                f.write("solid t\n")
                for t in self.TETRAHEDRON:
                    f.write("facet normal 0 0 0\nouter loop\n")
                    f.writelines("vertex %g %g %g\n" % p for p in t)
                    f.write("endloop\nendfacet\n")
                f.write("endsolid t\n")
            self.assertEqual(stl_report.read_facets(path), ("ascii", self.TETRAHEDRON))


if __name__ == "__main__":
    unittest.main()
