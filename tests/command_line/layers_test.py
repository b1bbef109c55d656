"""check --slices: islands, overhangs, cups and trapped resin of boxes, whose places and volumes are worked out by hand."""
import math
import unittest

import slc_test
from slc_test import boundary, layer, rectangle
from style_files import *
from support import *


def turned(facets):
    return [tuple(reversed(facet)) for facet in facets]


# A vessel of 20 x 20 x 10 with a hollow of 10 x 10 from z 2 up, open at the top: its rim is four bars.
def vessel():
    walls = [(0, 0, 20, 5), (0, 15, 20, 5), (0, 5, 5, 10), (15, 5, 5, 10)]
    bars = [facet for x, y, width, depth in walls for facet in box_facets((width, depth, 8), (x, y, 2))]
    return box_facets((20, 20, 2)) + bars


CAVITY = box_facets((20, 20, 20)) + turned(box_facets((10, 10, 10), (5, 5, 5)))


class Layers(ToolTest):
    def found(self, name, *options, exit=DONE):
        result = self.run_tool("check", name, "--slices", *options, "--json")
        self.assertEqual(result.exit, exit, result.err)
        return {m["code"]: m for m in result.document()["messages"]}

    def test_layers_that_would_take_hours_are_not_looked_at(self):
        # Twenty metres: 10 000 layers of 2 mm, twice in 200 000 rows that each have two ends.
        self.write("giant.stl", binary_stl(box_facets((20000, 20000, 20000))))
        found = self.found("giant.stl", "--thickness", "2mm", "--vat", "30000x30000x30000mm")
        self.assertEqual(set(found), {"LAYERS-BOUND"})
        self.assertEqual(found["LAYERS-BOUND"]["severity"], "warning")
        self.assertIn("--thickness", found["LAYERS-BOUND"]["hint"])
        # Thicker layers, and pictures, whose layers are as high as such a part asks for.
        found = self.found("giant.stl", "--thickness", "100mm", "--pitch", "20mm", "--vat", "30000x30000x30000mm")
        self.assertEqual(set(found), {"STARTS-AT"})
        self.assertEqual(found["STARTS-AT"]["where"]["places"][0]["layer"], 1)
        self.write("large.stl", binary_stl(box_facets((5000, 5000, 50))))
        result = self.run_tool("render", "large.stl", "--problems", "-o", "large.png", "--json")
        self.assertEqual((result.exit, result.codes()), (DONE, ["STARTS-AT"]), result.err)

    def test_an_island(self):
        # The second box begins 5 above the plate, beside the first.
        self.write("two.stl", binary_stl(box_facets((10, 10, 10)) + box_facets((4, 4, 2), (20, 0, 5))))
        found = self.found("two.stl", "--thickness", "0.5mm")
        self.assertEqual(set(found), {"STARTS-AT", "ISLAND"})
        place, = found["ISLAND"]["where"]["places"]
        self.assertEqual((place["layer"], place["z"]), (11, 5))
        self.assertAlmostEqual(place["area"], 16, delta=0.5)
        self.assertTrue(20 <= place["x"] <= 24 and 0 <= place["y"] <= 4)
        self.assertEqual(found["ISLAND"]["severity"], "warning")
        start, = found["STARTS-AT"]["where"]["places"]
        self.assertEqual((start["layer"], found["STARTS-AT"]["severity"]), (1, "note"))
        self.fails(NO, "check", "two.stl", "--slices", "--strict")

    def test_an_overhang(self):
        # A plate of 30 x 10 on a leg of 10 x 10: 20 x 10 hang over, but for the width of the overhang.
        self.write("table.stl", binary_stl(box_facets((10, 10, 5)) + box_facets((30, 10, 2), (0, 0, 5))))
        found = self.found("table.stl", "--thickness", "0.5mm")
        self.assertEqual(set(found) - {"NON-MANIFOLD"}, {"STARTS-AT", "UNSUPPORTED"})
        place, = found["UNSUPPORTED"]["where"]["places"]
        self.assertEqual(place["layer"], 11)
        self.assertAlmostEqual(place["area"], (20 - 0.5) * 10, delta=2)
        self.assertNotIn("UNSUPPORTED", self.found("table.stl", "--thickness", "0.5mm", "--overhang", "25mm"))

    def test_prisms_that_lean(self):
        # Over 10 of height the top moves by 10 tan of the angle from the vertical.
        for angle, wanted in ((40, False), (50, True)):
            shift = 10 * math.tan(math.radians(angle))
            for c, s in ((1, 0), (0, 1), (0.5 ** 0.5, 0.5 ** 0.5)):
                # Leaning along X, then turned, so that its side faces where it leans to.
                leaning = [[(x + z / 10 * shift, y, z) for x, y, z in facet] for facet in box_facets((100, 100, 10))]
                facets = [tuple((c * x - s * y, s * x + c * y, z) for x, y, z in facet) for facet in leaning]
                self.write("prism.stl", binary_stl(facets))
                found = self.found("prism.stl", "--thickness", "0.1mm")
                self.assertEqual("UNSUPPORTED" in found, wanted, (angle, c, s))

    def test_a_cup(self):
        self.write("cup.stl", binary_stl(vessel()))
        found = self.found("cup.stl", "--thickness", "0.5mm")
        self.assertEqual(set(found) - {"NON-MANIFOLD"}, {"STARTS-AT", "CUP"})
        place, = found["CUP"]["where"]["places"]
        self.assertEqual((place["layer"], place["last_layer"]), (5, 20))
        self.assertAlmostEqual(place["volume"], 800, delta=10)
        self.assertIn("0.8", found["CUP"]["text"])
        # Upside down it is a bell, which is open below.
        self.write("bell.stl", binary_stl([tuple((x, -y, 10 - z) for x, y, z in facet) for facet in vessel()]))
        self.assertNotIn("CUP", self.found("bell.stl", "--thickness", "0.5mm"))
        self.assertIn("TRAPPED", self.found("bell.stl", "--thickness", "0.5mm", "--solid-platform"))

    def test_a_cup_with_a_drain(self):
        self.write("cup.stl", binary_stl(vessel()))
        self.write("cup.V_D", "10 10 2 0 0 -1 3\n")
        self.assertNotIn("CUP", self.found("cup.stl", "--thickness", "0.5mm"))
        # Halfway up the wall: only what lies below is held.
        self.write("cup.V_D", "5 10 6 1 0 0 3\n")
        cup = self.found("cup.stl", "--thickness", "0.5mm", "--vent-radius", "0.6mm")["CUP"]
        self.assertTrue(cup["text"].endswith("freed by entry 1"), cup["text"])  # level, so neither vent nor drain
        place, = cup["where"]["places"]
        # The layer from 5 to 5.5 comes within 0.6 of the drain: what lies from 2 to 5 is held.
        self.assertEqual((place["layer"], place["last_layer"], place["entry"]), (5, 10, 1))
        self.assertAlmostEqual(place["volume"], 300, delta=5)

    def test_trapped_resin_takes_the_place_of_the_sealed_void(self):
        self.write("cavity.stl", binary_stl(CAVITY))
        self.assertIn("SEALED-VOID", {m["code"] for m in self.good("check", "cavity.stl", "--json").document()["messages"]})
        found = self.found("cavity.stl", "--thickness", "0.5mm")
        self.assertEqual(set(found), {"STARTS-AT", "TRAPPED", "UNSUPPORTED"})  # the ceiling of the cavity hangs over
        place, = found["TRAPPED"]["where"]["places"]
        self.assertEqual((place["layer"], place["last_layer"]), (11, 30))
        self.assertAlmostEqual(place["volume"], 1000, delta=10)

    def test_slice_contour_files(self):
        ring = [boundary(rectangle(0, 0, 9, 9)), boundary(rectangle(2, 2, 7, 7, True))]
        self.write("cup.slc", slc_test.slc([layer(k * 0.5, *(ring if k else ring[:1])) for k in range(4)], 2))
        place, = self.found("cup.slc")["CUP"]["where"]["places"]
        self.assertEqual((place["layer"], place["last_layer"]), (2, 4))
        self.assertAlmostEqual(place["volume"], 25 * 1.5, delta=1)
        self.fails(INPUT, "check", "cup.slc")

    def test_pictures_show_them(self):
        ring = [boundary(rectangle(0, 0, 9, 9)), boundary(rectangle(2, 2, 7, 7, True))]
        self.write("cup.slc", slc_test.slc([layer(k * 0.5, *(ring if k else ring[:1])) for k in range(4)], 2))
        result = self.good("slc", "svg", "cup.slc", "--layer", "2", "--problems", "--json")
        self.assertEqual(result.codes(), ["STARTS-AT", "CUP"])
        picture = result.document()["data"]["svg"]
        self.assertIn(">CUP</text>", picture)
        self.assertEqual(picture.count("<circle"), 1)
        self.assertNotIn("<circle", self.good("slc", "svg", "cup.slc", "--layer", "1", "--problems", "--json").document()["data"]["svg"])
        self.assertNotIn("mark", self.good("slc", "svg", "cup.slc", "--layer", "2").out.decode())

    def test_builds_with_slices(self):
        self.write("cup.stl", binary_stl(vessel()))
        self.write("Fine.sty", build_style_with(lambda records: setattr(records["Layer Thickness"], "value", 0.5)))
        self.good("build", "cup.stl", "--style", "Fine.sty", "--slice", "-o", "out")
        found = self.found("out")
        self.assertEqual(found["CUP"]["file"], "out/slices/cup-1.slc")
        place, = found["CUP"]["where"]["places"]
        self.assertAlmostEqual(place["volume"], 800, delta=10)

    def test_ends_are_joined_by_millimetres_in_inches_too(self):
        # A side of 0.05 in, which is 1.27 mm, is missing.
        facets = box_facets((1, 0.05, 1))[:-2]
        vertices = sorted({p for facet in facets for p in facet})
        self.write("inch.ctl", make_ctl(vertices, [tuple(vertices.index(p) for p in facet) for facet in facets], units=0))
        self.assertEqual(self.info_of("inch.ctl")["units"], "in")
        self.assertIn("SLICE-OPEN", self.found("inch.ctl", "--thickness", "1mm"))

    def test_thickness_that_is_none(self):
        self.write("box.stl", binary_stl(box_facets((10, 10, 10))))
        self.fails(USAGE, "check", "box.stl", "--slices", "--thickness", "0")


if __name__ == "__main__":
    unittest.main()
