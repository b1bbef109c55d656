"""info, convert, transform, simplify and merge: what they say and write, worked out by hand."""
import math
import struct
import unittest

from support import *


class Info(ToolTest):
    def test_a_box(self):
        self.write("box.stl", binary_stl(box_facets((10, 20, 30), (1, 2, 3))))
        data = self.info_of("box.stl")
        self.assertEqual(data["kind"], "stl")
        self.assertEqual((data["facets"], data["vertices"]), (12, 8))
        self.assertEqual(data["box"], {"min": [1, 2, 3], "max": [11, 22, 33]})
        self.assertAlmostEqual(data["volume"], 6000, places=3)
        self.assertAlmostEqual(data["area"], 2 * (200 + 300 + 600), places=3)
        self.assertEqual(data["size_mm"], [10, 20, 30])
        for inch, mm in zip(data["size_in"], (10, 20, 30)):
            self.assertAlmostEqual(inch, mm / 25.4, places=9)
        self.assertEqual(data["format"], "binary STL")
        self.assertEqual(data["header"], "made by a test")
        text = self.good("info", "box.stl").out.decode()
        self.assertIn("10 x 20 x 30 mm (0.3937 x 0.7874 x 1.1811 in)", text)

    def test_the_same_from_text(self):
        self.write("box.stl", ascii_stl(box_facets()))
        data = self.info_of("box.stl")
        self.assertEqual((data["format"], data["facets"], data["vertices"]), ("ASCII STL", 12, 8))

    def test_content_decides_and_not_the_name(self):
        self.write("a.dat", binary_stl(box_facets()))
        self.assertEqual(self.info_of("a.dat")["kind"], "stl")
        self.good("convert", "a.dat", "-o", "b.ctl")
        self.path("b.ctl").rename(self.path("b.stl"))
        self.assertEqual(self.info_of("b.stl")["kind"], "ctl")

    def test_floats_read_back_to_the_same_value(self):
        values = [0.1, 1 / 3, 16777217.0 / 3, 1e-30, 1e30, 1.1754944e-38, 2.0000002]
        for value in values:
            narrow = struct.unpack("<f", struct.pack("<f", value))[0]
            self.write("box.stl", binary_stl(box_facets((10, 10, 10), (0, 0, 0)) + [
                ((narrow, 0, 0), (0, 10, 0), (0, 0, 10))]))
            result = self.good("info", "box.stl", "--json").document()["data"]["files"][0]["box"]
            found = result["min"][0] if narrow < 0 else max(result["max"][0], 0)
            wanted = max(narrow, 10.0)
            self.assertEqual(struct.pack("<f", found), struct.pack("<f", wanted))

    def test_units(self):
        self.write("box.stl", binary_stl(box_facets((1, 2, 3))))
        document = self.good("info", "box.stl", "--units", "in", "--json").document()
        data = document["data"]["files"][0]
        self.assertEqual((data["units"], data["box"]["max"]), ("in", [1, 2, 3]))
        for mm, inch in zip(data["size_mm"], (1, 2, 3)):
            self.assertAlmostEqual(mm, inch * 25.4, places=9)

    def test_a_ctl_states_its_unit(self):
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, 10)]
        facets = [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]
        for code, units, stated in ((0, "in", True), (1, "mm", True), (2, "mm", False)):
            self.write("a.ctl", make_ctl(corners, facets, code))
            result = self.good("info", "a.ctl", "--json")
            data = result.document()["data"]["files"][0]
            self.assertEqual((data["units"], data["units_stated"]), (units, stated))
            self.assertEqual("UNITS-UNKNOWN" in result.codes(), code == 2)
            self.assertAlmostEqual(data["volume"], 1000 / 6, places=3)
        self.assertEqual(self.info_of("a.ctl", "--units", "in")["units"], "in")

    def test_a_part_below_three_millimetres_leaves_the_unit_in_doubt(self):
        for side, doubted in ((2.99, True), (3.0, False)):
            self.write("box.stl", binary_stl(box_facets((side, 1, 1))))
            result = self.good("info", "box.stl", "--json")
            self.assertEqual("UNITS-DOUBT" in result.codes(), doubted)
        self.write("box.stl", binary_stl(box_facets((1, 1, 1))))
        for units in ("mm", "in"):
            self.assertNotIn("UNITS-DOUBT", self.good("info", "box.stl", "--units", units, "--json").codes())

    def test_a_file_with_several_solids(self):
        solid = binary_stl(box_facets())
        self.write("two.stl", solid + solid)
        data = self.info_of("two.stl")
        self.assertEqual((data["facets"], data["solids"]), (24, 2))
        self.write("tail.stl", solid + b"x" * 20)
        result = self.good("info", "tail.stl", "--json")
        self.assertEqual(result.document()["data"]["files"][0]["facets"], 12)
        self.assertEqual(result.codes(), ["STL-TRAILING"])

    def test_a_short_file_accepted_in_part(self):
        self.write("short.stl", binary_stl(box_facets()[:10], announced=12))
        result = self.good("info", "short.stl", "--accept-partial", "--json")
        self.assertEqual(result.document()["data"]["files"][0]["facets"], 10)
        message, = result.document()["messages"]
        self.assertEqual((message["code"], message["severity"]), ("STL-SHORT", "warning"))
        self.assertEqual(message["where"], {"announced": 12, "present": 10})

    def test_every_file_stands_once_in_data(self):
        self.write("box.stl", binary_stl(box_facets()))
        self.assertEqual(list(self.json_of("info", "box.stl")), ["files"])
        data = self.json_of("info", "box.stl", "box.stl")
        self.assertEqual(list(data), ["files"])
        self.assertEqual(len(data["files"]), 2)


class Convert(ToolTest):
    def setUp(self):
        super().setUp()
        self.facets = box_facets((10, 20, 30), (-1, 2, 3))
        self.write("box.stl", binary_stl(self.facets))

    def test_to_ctl_and_back(self):
        self.good("convert", "box.stl", "-o", "box.ctl")
        ctl = read_ctl(self.path("box.ctl"))
        self.assertEqual(ctl["units"], 1)
        self.assertEqual(len(ctl["vertices"]), 8)
        facets = [tuple(ctl["vertices"][i] for i in t[:3]) for t in ctl["triangles"]]
        self.assertEqual(facets, [tuple(map(tuple, f)) for f in self.facets])
        self.good("convert", "box.ctl", "-o", "again.stl")
        self.assertEqual(read_binary_stl(self.path("again.stl")), facets)

    def test_binary_stl_has_the_fixed_header_and_made_normals(self):
        self.good("convert", "box.stl", "-o", "out.stl")
        data = self.path("out.stl").read_bytes()
        self.assertEqual(data[:80], b"Kestrabin STL".ljust(80, b"\0"))
        self.assertEqual(struct.unpack_from("<3f", data, 84), (0, 0, -1))

    def test_text(self):
        self.good("convert", "box.stl", "--to", "stl-ascii", "-o", "text.stl")
        text = self.path("text.stl").read_text()
        self.assertTrue(text.startswith("solid Kestrabin STL\n  facet normal "))
        self.assertTrue(text.endswith("endsolid\n"))
        self.assertEqual(text.count("vertex"), 36)
        self.good("convert", "text.stl", "-o", "again.stl")
        self.assertEqual(volume(read_binary_stl(self.path("again.stl"))), volume(self.facets))

    def test_stamp(self):
        self.good("convert", "box.stl", "--stamp", "42", "-o", "out.stl")
        data = self.path("out.stl").read_bytes()
        self.assertTrue(data.startswith(b"Kestrabin 1.5 "))
        self.assertIn(b" 42 ", data[:80])
        self.assertEqual(len(data), 84 + 12 * 50)
        self.assertIn("crc_valid", self.info_of("out.stl"))

    def test_units(self):
        self.good("convert", "box.stl", "--to-units", "in", "-o", "inch.ctl")
        ctl = read_ctl(self.path("inch.ctl"))
        self.assertEqual(ctl["units"], 0)
        self.assert_points({v for v in ctl["vertices"]},
                           {tuple(c / 25.4 for c in v) for f in self.facets for v in f}, 4)
        # An STL file cannot say inches, so it is written in --units: the size stays what it was.
        self.good("convert", "inch.ctl", "-o", "back.stl")
        low, high = bounds(read_binary_stl(self.path("back.stl")))
        for found, wanted in zip(low + high, [-1, 2, 3, 9, 22, 33]):
            self.assertAlmostEqual(found, wanted, places=4)
        self.good("convert", "inch.ctl", "--to-units", "in", "-o", "inch.stl")
        self.assertAlmostEqual(bounds(read_binary_stl(self.path("inch.stl")))[1][2], 33 / 25.4, places=5)

    def test_the_same_input_gives_the_same_bytes(self):
        for ending in ("stl", "ctl"):
            self.good("convert", "box.stl", "-o", f"a.{ending}")
            self.good("convert", "box.stl", "-o", f"b.{ending}")
            self.assertEqual(self.path(f"a.{ending}").read_bytes(), self.path(f"b.{ending}").read_bytes())


class Transform(ToolTest):
    """A box from the origin to (10, 20, 30)."""

    def setUp(self):
        super().setUp()
        self.facets = box_facets((10, 20, 30))
        self.write("box.stl", binary_stl(self.facets))

    def corners_after(self, *options):
        self.good("transform", "box.stl", *options, "--force", "-o", "out.stl")
        return read_binary_stl(self.path("out.stl"))

    def check(self, low, high, *options, size=6000.0):
        facets = self.corners_after(*options)
        found = bounds(facets)
        for k in range(3):
            self.assertAlmostEqual(found[0][k], low[k], places=4)
            self.assertAlmostEqual(found[1][k], high[k], places=4)
        self.assertAlmostEqual(volume(facets), size, places=1)

    def test_quarter_turns_take_each_corner_where_it_belongs(self):
        # Counter-clockwise seen from the positive end: x: y to z; y: z to x; z: x to y.
        turns = {"--rotate-x": lambda x, y, z: (x, -z, y),
                 "--rotate-y": lambda x, y, z: (z, y, -x),
                 "--rotate-z": lambda x, y, z: (-y, x, z)}
        for option, turn in turns.items():
            with self.subTest(option):
                found = self.corners_after(option, "90")
                wanted = [tuple(turn(*corner) for corner in facet) for facet in self.facets]
                self.assertEqual(found, wanted)  # exactly, winding and order included
                self.assertEqual(volume(found), 6000)
                self.assertEqual(self.info_of("out.stl")["volume"], 6000)

    def test_no_turn_changes_nothing(self):
        for option in ("--rotate-x", "--rotate-y", "--rotate-z"):
            self.assertEqual(self.corners_after(option, "0"), [tuple(f) for f in self.facets])

    def test_order_counts(self):
        self.check((-20, 10, 0), (0, 20, 30), "--translate", "10,0,0", "--rotate-z", "90")
        self.check((-10, 0, 0), (10, 10, 30), "--rotate-z", "90", "--translate", "10,0,0")
        self.check((-30, 5, 0), (-10, 15, 30), "--rotate-z", "90", "--translate", "-10,0,0", "--translate", "0,5,0")
        self.check((-20, 15, 0), (0, 25, 30), "--translate", "10,0,0", "--rotate-z", "90", "--translate", "0,5,0")

    def test_negative_numbers_are_values(self):
        self.check((-0.5, 0, 0), (9.5, 20, 30), "--translate", "-.5,0,0")
        self.check((0, -10, 0), (20, 0, 30), "--rotate-z", "-90")

    def test_lengths_carry_units(self):
        self.check((25.4, 1, 0), (35.4, 21, 30), "--translate", "1in,1mm,0")
        self.good("transform", "box.stl", "--units", "in", "--translate", "1,25.4mm,0", "--force", "-o", "out.stl")
        self.assertEqual(bounds(read_binary_stl(self.path("out.stl"))), ([1, 1, 0], [11, 21, 30]))

    def test_scale(self):
        self.check((0, 0, 0), (20, 40, 60), "--scale", "2", size=48000)
        self.check((0, 0, 0), (10, 40, 15), "--scale", "1,2,0.5", size=6000)

    def test_mirrors_keep_the_facets_outward(self):
        self.check((-10, 0, 0), (0, 20, 30), "--mirror", "x")
        self.check((0, -20, 0), (10, 0, 30), "--mirror", "y")
        self.check((0, 0, -30), (10, 20, 0), "--mirror", "z")
        self.check((-10, 0, -30), (0, 20, 0), "--mirror", "x", "--mirror", "z")
        self.check((-20, 0, 0), (0, 20, 30), "--scale", "-2,1,1", size=12000)
        first = self.corners_after("--mirror", "x")[0]
        a, b, c = self.facets[0]
        self.assertEqual(first, tuple((-x + 0.0, y, z) for x, y, z in (b, a, c)))

    def test_matrix(self):
        self.check((-20, 3, 0), (0, 13, 30), "--matrix", "0,-1,0,0,1,0,0,3,0,0,1,0")
        self.check((-20, 3, 0), (0, 13, 30), "--matrix", "0,-1,0,0,1,0,0,3mm,0,0,1,0,0,0,0,1")
        self.fails(USAGE, "transform", "box.stl", "--matrix", "1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,2", "-o", "no.stl")

    def test_drop_and_center_see_where_the_part_is_by_then(self):
        self.check((0, -30, 0), (10, 0, 20), "--rotate-x", "90", "--drop")
        self.check((0, -30, 0), (10, 0, 20), "--translate", "0,0,7", "--rotate-x", "90", "--translate", "0,7,7", "--drop")
        self.check((-5, -10, 0), (5, 10, 30), "--translate", "3,4,0", "--center")
        self.check((-4, -10, 0), (6, 10, 30), "--center", "--translate", "1,0,0")

    def test_oblique_turns_keep_volume_and_drop_to_exactly_zero(self):
        facets = self.corners_after("--rotate-x", "33.3", "--rotate-y", "12", "--rotate-z", "-71", "--drop")
        self.assertAlmostEqual(volume(facets), 6000, delta=0.01)
        self.assertAlmostEqual(bounds(facets)[0][2], 0, places=6)
        side = math.dist(facets[0][0], facets[0][1])
        self.assertAlmostEqual(side, math.dist(*self.facets[0][:2]), places=4)

    def test_a_ctl_keeps_its_unit_and_is_unsorted_afterwards(self):
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, 10)]
        data = bytearray(make_ctl(corners, [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)], 0))
        struct.pack_into("<i", data, 76, 1)
        self.write("a.ctl", bytes(data))
        self.good("transform", "a.ctl", "--translate", "25.4mm,0,0", "-o", "b.ctl")
        ctl = read_ctl(self.path("b.ctl"))
        self.assertEqual((ctl["units"], ctl["sort_state"]), (0, 0))
        self.assertEqual(ctl["vertices"][0], (1, 0, 0))

    def test_without_a_step_it_copies_and_says_so(self):
        result = self.good("transform", "box.stl", "-o", "out.stl", "--json")
        self.assertEqual(result.codes(), ["TRANSFORM-NOTHING"])


def squares_facets(size, at=(0, 0, 0)):
    """The facets of a box whose faces are cut into unit squares; sizes are whole numbers."""
    facets = []
    for axis in range(3):
        u, v = (axis + 1) % 3, (axis + 2) % 3
        for side in (0, size[axis]):
            for i in range(size[u]):
                for j in range(size[v]):
                    corners = []
                    for du, dv in ((0, 0), (1, 0), (1, 1), (0, 1)):
                        point = [0, 0, 0]
                        point[axis], point[u], point[v] = side, i + du, j + dv
                        corners.append(tuple(a + b for a, b in zip(point, at)))
                    if side == 0:
                        corners.reverse()
                    a, b, c, d = corners
                    facets += [(a, b, c), (a, c, d)]
    return facets


def hinge_facets():
    """Two plates of 1 mm, 8 mm apart, with a wall of 1 mm between them that touches both."""
    return (squares_facets((30, 20, 1)) + squares_facets((30, 20, 1), (0, 0, 9)) +
            squares_facets((1, 20, 8), (15, 0, 1)))


class Simplify(ToolTest):
    SIDES = 200

    def write_ring(self):
        self.write("ring.stl", binary_stl(ring_facets(20, 12, 5, self.SIDES)))
        return self.SIDES / 2 * math.sin(2 * math.pi / self.SIDES) * (20 ** 2 - 12 ** 2) * 5

    def test_what_was_and_what_is(self):
        ring = self.write_ring()
        result = self.good("simplify", "ring.stl", "--facets", "400", "-o", "less.stl", "--json")
        data = result.document()["data"]
        self.assertEqual(result.codes(), [])
        facets = read_binary_stl(self.path("less.stl"))
        self.assertEqual((data["facets"], data["target"], data["engine"], data["forced"]),
                         (len(facets), 400, "quadric", False))
        self.assertLessEqual(abs(len(facets) - 400), 20)
        self.assertEqual((data["mesh_before"]["facets"], data["mesh_before"]["open_edges"], data["open_edges"]), (1600, 0, 0))
        self.assertAlmostEqual(data["mesh_before"]["volume"], ring, places=2)
        self.assertLess(abs(data["volume"] - ring), 0.01 * ring)
        self.assertAlmostEqual(data["volume"], volume(facets), places=2)
        self.assertEqual([data["box"][end][2] for end in ("min", "max")], [0, 5])
        text = self.good("simplify", "ring.stl", "--facets", "400", "-o", "again.stl").out.decode()
        self.assertRegex(text, r"again\.stl: \d+ facets, were 1600\n"
                               r"  volume      [\d.]+ mm3, was [\d.]+ mm3\n"
                               r"  area        [\d.]+ mm2, was [\d.]+ mm2\n"
                               r"  size        [\d.]+ x [\d.]+ x 5 mm, was 40 x 40 x 5 mm\n"
                               r"  open edges  0, were 0\n")
        self.assertEqual(self.path("again.stl").read_bytes(), self.path("less.stl").read_bytes())

    def test_thin_walls_stay(self):
        facets = hinge_facets()
        solid = 2 * 30 * 20 + 20 * 8
        self.write("hinge.stl", binary_stl(facets))
        goal = len(facets) // 10
        result = self.good("simplify", "hinge.stl", "--facets", str(goal), "-o", "less.stl", "--json")
        data = result.document()["data"]
        self.assertLess(abs(data["volume"] - solid), 0.01 * solid)
        self.assertLessEqual(abs(data["facets"] - goal), 0.05 * goal)
        self.assertNotIn("SIMPLIFY-SHAPE", result.codes())
        # The library's own way joins the two sides of each wall, and is not let.
        result = self.fails(NO, "simplify", "hinge.stl", "--facets", str(goal), "--engine", "grid", "-o", "grid.stl",
                            "--json")
        self.assertIn("SIMPLIFY-RUINED", result.codes())
        self.assertNotIn("grid.stl", self.listing())

    def test_flat_faces_come_to_their_corners(self):
        self.write("box.stl", binary_stl(squares_facets((12, 9, 6))))
        data = self.json_of("simplify", "box.stl", "--facets", "12", "-o", "less.stl")
        self.assertEqual((data["facets"], data["vertices"]), (12, 8))
        self.assertEqual(data["box"], {"min": [0, 0, 0], "max": [12, 9, 6]})
        self.assert_points({c for f in read_binary_stl(self.path("less.stl")) for c in f},
                           {c for f in box_facets((12, 9, 6)) for c in f})

    def test_a_changed_shape_is_warned_of(self):
        # From 200 sides to about 12: the area of a regular polygon falls by about 1 - sin(t) / t, t = 2 pi / 12.
        self.write_ring()
        result = self.good("simplify", "ring.stl", "--facets", "100", "-o", "less.stl", "--json")
        self.assertEqual(result.codes(), ["SIMPLIFY-SHAPE"])
        self.assertEqual(result.document()["messages"][0]["severity"], "warning")

    def test_a_ruined_shape_is_not_written(self):
        self.write_ring()
        command = ["simplify", "ring.stl", "--facets", "24", "-o", "less.stl"]
        result = self.fails(NO, *command, "--json")
        self.assertIn("SIMPLIFY-RUINED", result.codes())
        self.assertEqual(result.document()["exit"], 1)
        data = result.document()["data"]
        self.assertLess(data["volume"], 0.9 * data["mesh_before"]["volume"])
        self.assertFalse(data["forced"])
        self.assertEqual(self.listing(), ["ring.stl"])
        self.assertEqual(self.fails(NO, *command).out, b"")
        result = self.fails(NO, *command, "--force-checks", "--json")
        self.assertTrue(result.document()["data"]["forced"])
        self.assertEqual(len(read_binary_stl(self.path("less.stl"))), data["facets"])

    def test_an_open_sheet_is_judged_by_its_area(self):
        sheet = [f for f in squares_facets((20, 20, 1)) if all(c[2] == 1 for c in f)]
        self.write("sheet.stl", binary_stl(sheet))
        result = self.good("simplify", "sheet.stl", "--facets", "200", "-o", "less.stl", "--json")
        self.assertEqual(result.codes(), [])
        data = result.document()["data"]
        self.assertEqual((data["mesh_before"]["open_edges"], data["open_edges"]), (80, 80))
        self.assertAlmostEqual(data["area"], 400, places=3)

    def test_a_missed_number_is_said(self):
        ring = self.write_ring()
        result = self.good("simplify", "ring.stl", "--facets", "200", "--engine", "grid", "-o", "less.stl", "--json")
        data = result.document()["data"]
        self.assertEqual(data["engine"], "grid")
        facets = read_binary_stl(self.path("less.stl"))
        self.assertEqual(data["facets"], len(facets))
        self.assertGreater(abs(len(facets) - 200), 10)
        self.assertIn("SIMPLIFY-TARGET", result.codes())
        note = [m for m in result.document()["messages"] if m["code"] == "SIMPLIFY-TARGET"][0]
        self.assertEqual(note["severity"], "note")
        self.assertIn(f"{len(facets)} facets, 200 were asked for", note["text"])

    def test_the_grid_joins_what_lies_within_its_width(self):
        """Of two boxes of 12 facets and area 600 + 6, sixteen facets ask for a width of sqrt(606 / 16) = 6.15."""
        large, small = box_facets((10, 10, 10)), box_facets((1, 1, 1), (50, 0, 0))
        self.write("two.stl", binary_stl(large + small))
        data = self.json_of("simplify", "two.stl", "--facets", "16", "--engine", "grid", "-o", "one.stl")
        self.assertEqual(data["facets"], 12)
        self.assertEqual(sorted(map(sorted, read_binary_stl(self.path("one.stl")))), sorted(map(sorted, large)))

    def test_nothing_to_do(self):
        self.write("box.stl", binary_stl(box_facets()))
        for engine in ("quadric", "grid"):
            result = self.good("simplify", "box.stl", "--facets", "12", "--engine", engine, "-o", f"{engine}.stl", "--json")
            self.assertEqual(result.codes(), ["SIMPLIFY-NOTHING"])
            self.assertEqual(len(read_binary_stl(self.path(f"{engine}.stl"))), 12)

    def test_nothing_left_is_refused(self):
        self.write("box.stl", binary_stl(box_facets((10, 10, 10))))
        result = self.fails(INPUT, "simplify", "box.stl", "--facets", "1", "--engine", "grid", "-o", "none.stl")
        self.assertIn("[MESH-EMPTY]", result.err)
        self.assertEqual(self.listing(), ["box.stl"])

    def test_units_of_the_output(self):
        self.write("box.stl", binary_stl(squares_facets((12, 9, 6))))
        self.good("convert", "box.stl", "--units", "in", "-o", "box.ctl")
        data = self.json_of("simplify", "box.ctl", "--facets", "12", "-o", "less.stl")
        self.assertEqual((data["mesh_before"]["units"], data["units"]), ("in", "mm"))
        self.assertAlmostEqual(data["mesh_before"]["volume"], 648, places=3)
        self.assertAlmostEqual(data["volume"], 648 * 25.4 ** 3, delta=20)


class Merge(ToolTest):
    def test_merge(self):
        one, two = box_facets((10, 10, 10)), box_facets((5, 5, 5), (20, 0, 0))
        self.write("one.stl", binary_stl(one))
        self.write("two.stl", ascii_stl(two))
        self.good("merge", "one.stl", "two.stl", "-o", "both.stl")
        self.assertEqual(read_binary_stl(self.path("both.stl")), [tuple(f) for f in one + two])

    def test_merge_brings_all_to_one_unit(self):
        corners = [(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1)]
        self.write("inch.ctl", make_ctl(corners, [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)], 0))
        self.write("box.stl", binary_stl(box_facets()))
        self.good("merge", "inch.ctl", "box.stl", "-o", "both.ctl")
        ctl = read_ctl(self.path("both.ctl"))
        self.assertEqual(ctl["units"], 1)
        self.assertAlmostEqual(ctl["vertices"][1][0], 25.4, places=5)
        self.assertEqual(len(ctl["triangles"]), 16)


if __name__ == "__main__":
    unittest.main()
