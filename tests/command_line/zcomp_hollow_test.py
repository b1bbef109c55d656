"""zcomp and hollow, against coordinates worked out by hand."""
import importlib.util
import math
import random
import struct
import time
import unittest

import support
from support import *


_golden = importlib.util.spec_from_file_location(
    "golden", SOURCE / "tests" / "data" / "styles" / "make_golden_styles.py")
golden = importlib.util.module_from_spec(_golden)
_golden.loader.exec_module(golden)


def records(path):
    """The facet records of a binary STL file: normal, three corners, attribute."""
    data = pathlib.Path(path).read_bytes()
    count, = struct.unpack_from("<i", data, 80)
    assert len(data) == 84 + 50 * count
    found = []
    for i in range(count):
        numbers = struct.unpack_from("<12fH", data, 84 + 50 * i)
        found.append((numbers[:3], [numbers[3:6], numbers[6:9], numbers[9:12]], numbers[12]))
    return found


def torus_facets(around, across):
    def at(i, k):
        u, v = 2 * math.pi * (i % around) / around, 2 * math.pi * (k % across) / across
        return ((30 + 10 * math.cos(v)) * math.cos(u), (30 + 10 * math.cos(v)) * math.sin(u), 10 * math.sin(v))
    facets = []
    for i in range(around):
        for k in range(across):
            a, b, c, d = at(i, k), at(i + 1, k), at(i + 1, k + 1), at(i, k + 1)
            facets += [(a, b, c), (a, c, d)]
    return facets


class Zcomp(ToolTest):
    def setUp(self):
        super().setUp()
        self.facets = box_facets((10, 20, 30))
        self.write("box.stl", binary_stl(self.facets))

    def raised(self, by):
        """Both facets of the bottom go up, every other keeps its corners."""
        return [tuple((x, y, z + by) for x, y, z in f) if all(z == 0 for _, _, z in f) else tuple(map(tuple, f))
                for f in self.facets]

    def test_the_underside_of_a_box(self):
        data = self.json_of("zcomp", "box.stl", "--height", "0.5", "-o", "out.stl")
        self.assertEqual((data["facets"], data["raised"], data["height"]), (12, 2, 0.5))
        found = records(self.path("out.stl"))
        self.assertEqual([tuple(corners) for _, corners, _ in found], self.raised(0.5))
        self.assertEqual([n for n, corners, _ in found if all(c[2] == 0.5 for c in corners)], [(0, 0, -1)] * 2)
        self.assertEqual({attribute for _, _, attribute in found}, {0})
        self.assertEqual(self.listing(), ["box.stl", "out.stl"])

    def test_units(self):
        self.good("zcomp", "box.stl", "--height", "0.5in", "-o", "out.stl")
        self.assertEqual([tuple(f[1]) for f in records(self.path("out.stl"))],
                         [tuple(tuple(struct.unpack("<3f", struct.pack("<3f", *c))) for c in f)
                          for f in self.raised(12.7)])
        # The CTL file keeps its inches, and the length is in millimetres.
        self.good("convert", "box.stl", "--units", "in", "-o", "inch.ctl")
        data = self.json_of("zcomp", "inch.ctl", "--height", "2.54", "-o", "out.ctl")
        self.assertEqual((data["raised"], read_ctl(self.path("out.ctl"))["units"]), (2, 0))
        self.assertAlmostEqual(data["height"], 0.1, places=7)
        self.assertEqual(len(read_ctl(self.path("out.ctl"))["triangles"]), 12)

    def test_what_is_doubtful(self):
        result = self.good("zcomp", "box.stl", "--height", "30", "-o", "out.stl", "--json")
        self.assertEqual(result.codes(), ["ZCOMP-HIGH"])
        self.write("up.stl", binary_stl([((0, 0, 0), (9, 0, 0), (9, 9, 1)), ((0, 0, 0), (9, 9, 1), (0, 9, 0))]))
        result = self.good("zcomp", "up.stl", "--height", "0.1", "-o", "up2.stl", "--json")
        self.assertEqual(result.codes(), ["ZCOMP-NOTHING"])
        self.assertEqual(read_binary_stl(self.path("up2.stl")), read_binary_stl(self.path("up.stl")))
        for height in ("0", "-1", "x"):
            self.fails(USAGE, "zcomp", "box.stl", "--height", height, "-o", "no.stl")
        self.fails(USAGE, "zcomp", "box.stl", "-o", "no.stl")
        self.assertNotIn("no.stl", self.listing())

    def test_an_output_that_exists_stays(self):
        self.write("out.stl", "precious")
        self.fails(OUTPUT, "zcomp", "box.stl", "--height", "1", "-o", "out.stl")
        self.assertEqual(self.path("out.stl").read_text(), "precious")
        self.good("zcomp", "box.stl", "--height", "1", "-o", "out.stl", "--force")
        self.assertEqual(len(records(self.path("out.stl"))), 12)

    def test_a_temporary_folder_named_from_the_current_one(self):
        self.path("tmp").mkdir()
        self.good("zcomp", "box.stl", "--height", "1", "-o", "out.stl", env={"TMPDIR": "tmp"})
        self.assertEqual(list(self.path("tmp").iterdir()), [])


class ZcompStyle(ToolTest):
    """Heights from a style of one small hatch and one small fill; the large ones cure deeper."""

    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((10, 20, 30))))
        style = golden.default_style()
        for name, value in (("Layer Thickness", 0.02), ("Dp", 0.2), ("Ec", 10),
                            ("Small Down NumHatches", 1), ("Small Down Hatch Cure Depth 1", 0.2),
                            ("Small Down Hatch Spacing 1", 0.01),
                            ("Small Down NumFills", 1), ("Small Down Fill Cure Depth 1", 0.31),
                            ("Large Down NumFills", 1), ("Large Down Fill Cure Depth 1", 0.51)):
            style.records[name].value = value
        style.machine = 2
        self.write("s.sty", golden.layout_301(style))

    @staticmethod
    def layers(hatch_factor, thickness=0.02, dp=0.2):
        """Cured depth over the thickness, less one; Ec cancels."""
        exposure = hatch_factor * math.exp((0.2 + thickness) / dp) + math.exp(0.31 / dp)
        return math.floor(dp * math.log(exposure) / thickness - 1)

    def test_the_height_is_whole_layers(self):
        self.assertEqual((self.layers(1), self.layers(1.27), self.layers(0)), (19, 20, 14))
        for options, wanted in (((), 19), (("--machine", "TRQ-C3"), 19), (("--machine", "trq-b2"), 20),
                                (("--machine", "1"), 20), (("--machine", "TRQ-E7"), 24),
                                (("--spacing", "0.0099"), 14), (("--spacing", "0.0101"), 19)):
            data = self.json_of("zcomp", "box.stl", "--style", "s.sty", *options, "-o", "out.stl", "--force")
            self.assertEqual(data["z_correction"], wanted, options)
            self.assertAlmostEqual(data["height"], wanted * 0.02, places=6)
        bottom = [c for f in records(self.path("out.stl"))[:2] for c in f[1]]
        for corner in bottom:
            self.assertAlmostEqual(corner[2], 0.38, places=6)

    def test_units_of_the_style(self):
        data = self.json_of("zcomp", "box.stl", "--style", "s.sty", "--style-units", "in", "-o", "out.stl")
        self.assertAlmostEqual(data["height"], 19 * 0.02 * 25.4, places=4)
        self.assertEqual((data["z_correction"], data["style_units"], data["machine"]), (19, "in", "TRQ-C3"))

    def test_what_gives_no_height(self):
        self.write("none.sty", golden.layout_301(golden.default_style()))
        result = self.fails(INPUT, "zcomp", "box.stl", "--style", "none.sty", "-o", "out.stl", "--json")
        self.assertEqual(result.codes(), ["ZCOMP-NO-HEIGHT"])
        self.write("cut.sty", self.path("s.sty").read_bytes()[:-5])
        result = self.fails(INPUT, "zcomp", "box.stl", "--style", "cut.sty", "-o", "out.stl", "--json")
        self.assertEqual(result.codes(), ["STYLE-CRC"])
        self.fails(INPUT, "zcomp", "box.stl", "--style", "absent.sty", "-o", "out.stl")
        result = self.fails(USAGE, "zcomp", "box.stl", "--style", "s.sty", "--machine", "TRQ-C5", "-o", "out.stl", "--json")
        self.assertEqual(result.codes(), ["MACHINE-UNKNOWN"])
        self.fails(USAGE, "zcomp", "box.stl", "--style", "s.sty", "--height", "1", "-o", "out.stl")
        self.fails(USAGE, "zcomp", "box.stl", "--height", "1", "--machine", "TRQ-C3", "-o", "out.stl")
        self.assertNotIn("out.stl", self.listing())


class Hollow(ToolTest):
    def shell(self, facets, *options, name="out.stl"):
        """The two halves of a hollow part, and what the tool says."""
        self.write("part.stl", binary_stl(facets))
        document = self.good("hollow", "part.stl", *options, "-o", name, "--force", "--json").document()
        found = [f[1] for f in records(self.path(name))]
        return found[:len(facets)], found[len(facets):], document

    def test_a_unit_cube_goes_inward_by_half_its_edges(self):
        facets = box_facets((1, 1, 1))
        outer, inner, document = self.shell(facets, "--limit", "10")
        self.assertEqual([tuple(f) for f in outer], [tuple(map(tuple, f)) for f in facets])
        # Along the diagonal of every corner: three faces of equal angle.
        step = 0.5 / math.sqrt(3)
        for facet, pushed in zip(facets, inner):
            for corner, point in zip(reversed(facet), pushed):
                for c, p in zip(corner, point):
                    self.assertAlmostEqual(p, step if c == 0 else 1 - step, places=6)
        data = document["data"]
        self.assertEqual(data["facets"], 24)
        for key in ("least", "mean", "largest"):
            self.assertAlmostEqual(data["push"][key], 0.5, places=6)
        saved = (1 - 2 * step) ** 3
        self.assertAlmostEqual(data["resin_saved"], saved, places=5)
        self.assertAlmostEqual(data["volume_before"], 1, places=6)
        self.assertAlmostEqual(data["volume_after"], 1 - saved, places=5)
        self.assertEqual(data["closed_inner_surfaces"], 1)
        self.assertAlmostEqual(volume([f[1] for f in records(self.path("out.stl"))]), 1 - saved, places=5)

    def test_longer_edges_go_by_the_limit(self):
        _, _, document = self.shell(box_facets((10, 20, 30)), "--limit", "2")
        data = document["data"]
        self.assertAlmostEqual(data["push"]["least"], 2, places=5)
        self.assertAlmostEqual(data["push"]["largest"], 2, places=5)
        off = 2 * 2 / math.sqrt(3)
        self.assertAlmostEqual(data["resin_saved"], (10 - off) * (20 - off) * (30 - off), delta=0.01)
        text = self.good("hollow", "part.stl", "--limit", "2", "-o", "two.stl").out.decode()
        self.assertIn("2 to 2 mm, mean 2", text)
        self.assertIn("inner surfaces  1 closed", text)
        self.assertNotIn("thick", text)

    def test_a_push_is_halved_until_it_crosses_nothing(self):
        # The top of a flat pyramid is 0.3 above its base, and no edge is short: 2, 1, 0.5 cross, 0.25 does not.
        a, b, c, top = (0, 0, 0), (20, 0, 0), (0, 20, 0), (6, 6, 0.3)
        facets = [(a, c, b), (a, b, top), (b, c, top), (c, a, top)]
        for options, wanted in (((), 2), (("--validate",), 0.25)):
            _, inner, document = self.shell(facets, "--limit", "2", *options)
            pushed = inner[1][0]  # reversed: the top is the first corner
            self.assertAlmostEqual(math.dist(pushed, top), wanted, places=5)
            self.assertEqual(pushed[2] > 0, bool(options))
            self.assertEqual(document["data"]["validated"], bool(options))

    def test_the_wall_is_measured(self):
        # Every corner goes 2 along its diagonal, so the inner box begins 2 / sqrt(3) inside each face.
        _, _, document = self.shell(box_facets((10, 20, 30)), "--limit", "2")
        wall = document["data"]["wall"]
        face = 2 / math.sqrt(3)
        self.assertAlmostEqual(wall["least"], face, places=5)
        self.assertAlmostEqual(wall["mean"], (8 * 2 + 12 * face) / 20, places=5)
        self.assertEqual(wall["thin_share"], 0)
        self.assertNotIn("THIN-WALL", [m["code"] for m in document["messages"]])
        text = self.good("hollow", "part.stl", "--limit", "2", "-o", "two.stl").out.decode()
        self.assertIn("  wall            at least 1.1547 mm, mean 1.4928; 0 % below half of the limit\n", text)

    @unittest.skipIf(os.environ.get("TRQ_SANITIZE"), "a hundred million steps")
    def test_long_facets_across_each_other_end_before_the_time_is_spent(self):
        # Each of 30 000 needles comes near a tenth of the others.
        chance = random.Random(2)
        needles = []
        for _ in range(30000):
            a = [chance.uniform(0, 100) for _ in range(3)]
            b = [chance.uniform(0, 100) for _ in range(3)]
            needles.append((tuple(a), tuple(b), (b[0] + 0.05, b[1] + 0.05, b[2] - 0.05)))
        self.write("part.stl", binary_stl(needles + needles[:1]))
        for more in ([], ["--validate"]):
            ran = self.fails(NO, "hollow", "part.stl", "--limit", "1", "-o", "out.stl", "--json", *more)
            self.assertEqual(ran.codes()[-1], "HOLLOW-BOUND")
            self.assertFalse(pathlib.Path(self.path("out.stl")).exists())

    def test_a_thin_wall_is_named(self):
        # The small box at the end of the large one has edges of 1, so it is pushed by a half only.
        large, small = box_facets((10, 20, 30)), box_facets((1, 1, 1), (50, 0, 0))
        _, _, document = self.shell(large + small, "--limit", "2")
        thin = [m for m in document["messages"] if m["code"] == "THIN-WALL"]
        self.assertEqual([m["severity"] for m in thin], ["warning"])
        least = 0.5 / math.sqrt(3)
        self.assertAlmostEqual(thin[0]["where"]["thickness"], least, places=5)
        x, y, z = thin[0]["where"]["point"]
        self.assertTrue(50 <= x <= 51 and 0 <= y <= 1 and 0 <= z <= 1)
        self.assertIn("0.2887 mm thick at X 5", thin[0]["text"])
        wall = document["data"]["wall"]
        self.assertAlmostEqual(wall["thin_share"], 20 / 40, places=6)
        self.assertEqual(wall["point"], thin[0]["where"]["point"])

    def test_resin_is_saved_by_closed_parts_only(self):
        facets = box_facets((10, 20, 30))
        _, _, document = self.shell(facets, "--limit", "2")
        data = document["data"]
        self.assertAlmostEqual(data["resin_saved"], data["volume_before"] - data["volume_after"], places=3)
        for part in (facets[:-1], [f[::-1] for f in facets]):
            _, _, document = self.shell(part, "--limit", "2")
            self.assertIsNone(document["data"]["resin_saved"])
            text = self.good("hollow", "part.stl", "--limit", "2", "-o", "out.stl", "--force").out.decode()
            self.assertNotIn("resin saved", text)
            self.assertIn("  wall ", text)

    def test_the_inner_skin_alone_makes_the_part_hollow(self):
        facets = box_facets((10, 20, 30))
        _, inner, _ = self.shell(facets, "--limit", "2")
        self.good("hollow", "part.stl", "--limit", "2", "--inner-only", "-o", "skin.stl")
        skin = read_binary_stl(self.path("skin.stl"))
        self.assertEqual([tuple(f) for f in inner], skin)
        self.assertLess(volume(skin), 0)
        self.good("merge", "part.stl", "skin.stl", "-o", "merged.stl")
        self.assertEqual(read_binary_stl(self.path("merged.stl")), read_binary_stl(self.path("out.stl")))
        self.fails(USAGE, "hollow", "part.stl", "--limit", "2", "--inner-only", "--both", "-o", "no.stl")

    def test_as_a_ctl_file(self):
        self.write("part.stl", binary_stl(box_facets((10, 20, 30))))
        self.good("convert", "part.stl", "--units", "in", "-o", "part.ctl")
        data = self.json_of("hollow", "part.ctl", "--limit", "1in", "-o", "out.ctl")
        self.assertEqual(data["limit"], 1)
        ctl = read_ctl(self.path("out.ctl"))
        self.assertEqual((ctl["units"], len(ctl["vertices"]), len(ctl["triangles"])), (0, 16, 24))
        for before, after in zip(ctl["triangles"][:12], ctl["triangles"][12:]):
            self.assertEqual([i + 8 for i in before[:3]], after[2::-1])
        outside = [v for v in ctl["vertices"][:8]]
        self.assertEqual((min(outside), max(outside)), ((0, 0, 0), (10, 20, 30)))
        self.assertEqual(self.json_of("hollow", "part.ctl", "--limit", "25.4", "-o", "two.ctl")["limit"], 1)

    def test_cavities_are_counted(self):
        two = box_facets((10, 10, 10)) + box_facets((10, 10, 10), (20, 0, 0))
        _, _, document = self.shell(two, "--limit", "1")
        self.assertEqual(document["data"]["closed_inner_surfaces"], 2)
        self.assertEqual(document["data"]["sealed_cavities"], 2)
        _, _, document = self.shell(box_facets()[:-1], "--limit", "1")
        self.assertEqual((document["data"]["closed_inner_surfaces"], document["data"]["sealed_cavities"]), (0, 0))
        # At the hole the skin lies in the faces around it, so the wall is thin there too.
        self.assertEqual([m["code"] for m in document["messages"]], ["OPEN-EDGES", "THIN-WALL"])
        inverted = [f[::-1] for f in box_facets()]
        _, _, document = self.shell(inverted, "--limit", "1")
        self.assertEqual([m["code"] for m in document["messages"]], ["INVERTED"])

    def test_cavities_without_vent_and_drain_are_warned_of(self):
        facets = box_facets((10, 20, 30))
        for lines, wanted in (([], "no vent and no drain"),
                              (["5 10 30  0 0 1  3"], "no drain"),
                              (["5 10 0  0 0 -1  3"], "no vent"),
                              (["5 10 30  0 0 1  3", "0.5 10 0  0 0 -1  3"], "no drain"),
                              (["5 10 30  0 0 1  3", "5 10 0  0 0 -1  3"], None)):
            self.write("part.V_D", "".join(line + "\n" for line in lines))
            _, _, document = self.shell(facets, "--limit", "2")
            texts = [m["text"] for m in document["messages"] if m["code"] == "SEALED-VOID"]
            self.assertEqual(len(texts), 0 if wanted is None else 1, lines)
            self.assertEqual(document["data"]["sealed_cavities"], len(texts))
            for text in texts:
                self.assertIn(f"has {wanted};", text)

    def test_vents_of_a_part_in_inches(self):
        self.write("part.stl", binary_stl(box_facets((10, 20, 30))))
        self.good("convert", "part.stl", "--units", "in", "-o", "inch.ctl")
        self.write("inch.V_D", "5 10 30  0 0 1  3\n5 10 0  0 0 -1  3\n")
        data = self.json_of("hollow", "inch.ctl", "--limit", "2in", "-o", "out.stl")
        self.assertEqual(data["sealed_cavities"], 0)
        self.assertAlmostEqual(data["limit"], 50.8, places=4)

    def test_what_makes_no_sense(self):
        self.write("part.stl", binary_stl(box_facets()))
        for limit in ("0", "-1", "1e40"):
            self.fails(USAGE, "hollow", "part.stl", "--limit", limit, "-o", "no.stl")
        self.fails(USAGE, "hollow", "part.stl", "-o", "no.stl")
        self.assertEqual(self.listing(), ["part.stl"])

    def test_a_large_part_is_done_in_time(self):
        """A closed surface of 100 000 facets, checked, within ten seconds; less of it with sanitizers."""
        around, across = (50, 40) if support.SANITIZED else (250, 200)
        facets = torus_facets(around, across)
        self.write("torus.stl", binary_stl(facets))
        start = time.monotonic()
        data = self.json_of("hollow", "torus.stl", "--limit", "2", "--validate", "-o", "out.stl")
        self.assertLess(time.monotonic() - start, 10 if not support.SANITIZED else 60)
        self.assertEqual((data["facets"], data["closed_inner_surfaces"]), (2 * len(facets), 1))
        self.assertLess(data["volume_after"], data["volume_before"])


if __name__ == "__main__":
    unittest.main()
