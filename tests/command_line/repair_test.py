"""repair: what each step does to files, what it says of what is left, and that twice is as good as once."""
import random
import struct
import unittest

from support import *


def open_edges(facets):
    """Edges that are not used as often in each direction; corners are one where all their bits are."""
    balance = {}
    for facet in facets:
        keys = [struct.pack("<3f", *corner) for corner in facet]
        for a, b in zip(keys, keys[1:] + keys[:1]):
            if a != b:
                edge, by = ((a, b), 1) if a < b else ((b, a), -1)
                balance[edge] = balance.get(edge, 0) + by
    return sum(1 for n in balance.values() if n)


def grid(n, height=lambda x, y: 0.0):
    at = [[(float(x), float(y), float(height(x, y))) for x in range(n + 1)] for y in range(n + 1)]
    facets = []
    for y in range(n):
        for x in range(n):
            a, b, c, d = at[y][x], at[y][x + 1], at[y + 1][x + 1], at[y + 1][x]
            facets += [(a, b, c), (a, c, d)]
    return facets


class Repair(ToolTest):
    def repaired(self, name, *options, exit=DONE, out="out.stl"):
        """Repairs, makes sure that another repair changes no byte, and returns the data and the facets."""
        document = self.fails(exit, "repair", name, "-o", out, "--force", "--json", *options).document()
        self.fails(exit, "repair", out, "-o", "again-" + out, "--force", *options)
        self.assertEqual(self.path(out).read_bytes(), self.path("again-" + out).read_bytes())
        self.document = document
        return document["data"], read_binary_stl(self.path(out)) if out.endswith(".stl") else None

    def test_a_whole_mesh_stays(self):
        facets = box_facets((10, 20, 30), (1, 2, 3))
        self.write("box.stl", binary_stl(facets))
        data, found = self.repaired("box.stl")
        self.assertEqual(found, facets)
        self.assertEqual(set(data["steps"].values()), {0})
        self.assertEqual((data["mesh_before"]["open_edges"], data["open_edges"]), (0, 0))
        text = self.good("repair", "box.stl", "-o", "text.stl").out.decode()
        self.assertTrue(text.startswith("text.stl: 12 facets, were 12; closed\n"), text)

    def test_every_step_is_said(self):
        box = box_facets()
        facets = box[:11]  # one is missing
        facets.append(facets[4])  # given twice
        facets.append((facets[6][1], facets[6][0], facets[6][2]))  # and back to front
        facets.append((facets[0][0], facets[0][0], facets[0][1]))  # with equal corners
        a, b, c = facets[2]
        facets[2] = (a, c, b)  # turned over
        a, b, c = facets[8]
        facets[8] = (a, (b[0] + 0.02, b[1], b[2]), c)  # moved
        self.assertTrue(0 <= b[0] + 0.02 <= 10)
        self.write("box.stl", binary_stl(facets))
        data, found = self.repaired("box.stl")
        self.assertEqual(sorted(map(sorted, found)), sorted(map(sorted, box)))
        self.assertEqual(open_edges(found), 0)
        self.assertEqual(volume(found), 6000)
        steps = data["steps"]
        self.assertAlmostEqual(steps.pop("largest_move"), 0.02, places=6)
        self.assertEqual(steps, {"given_twice": 2, "equal_corners": 1, "kept_for_box": 0, "turned_facets": 1,
                                 "turned_shells": 0, "undecided_shells": 0, "stitched_edges": 2, "moved_corners": 1,
                                 "filled_holes": 1, "added_facets": 1})
        self.assertEqual((data["mesh_before"]["facets"], data["facets"]), (14, 12))
        self.assertEqual(data["open_edges"], 0)
        text = self.good("repair", "box.stl", "-o", "text.stl").out.decode()
        for line in ("given twice    2 facets removed", "equal corners  1 facet removed",
                     "1 corner moved by at most 0.02 mm", "1 facet to fit their shell, 0 shells",
                     "1 filled with 1 facet"):
            self.assertIn(line, text)

    def test_nothing_is_repaired_unasked(self):
        facets = box_facets()[:11]
        self.write("box.stl", binary_stl(facets))
        self.good("convert", "box.stl", "-o", "same.stl")
        self.assertEqual(read_binary_stl(self.path("same.stl")), facets)

    def test_a_sheet_is_left_open(self):
        for name, sheet, rim in (("quad", grid(1), 4), ("flat", grid(8), 32),
                                 ("waves", grid(12, lambda x, y: 3 * math.sin(x)), 48)):
            facets = [tuple(struct.unpack("<3f", struct.pack("<3f", *c)) for c in f) for f in sheet]
            self.write(name + ".stl", binary_stl(facets))
            data, found = self.repaired(name + ".stl", exit=NO)
            self.assertEqual(found, facets)
            self.assertEqual((data["mesh_before"]["open_edges"], data["open_edges"]), (rim, rim))
            message = self.document["messages"][-1]
            self.assertEqual((message["code"], message["severity"]), ("REPAIR-LEFT", "error"))
            self.assertEqual(message["where"]["edges"], rim)
            self.assertEqual(len(message["where"]["places"]), rim)
            for place in message["where"]["places"]:
                for corner in place["ends"]:
                    self.assertIn(struct.unpack("<3f", struct.pack("<3f", *corner)), found[place["facet"]])

    def test_places_in_text_and_json(self):
        self.write("sheet.stl", binary_stl(grid(40)))
        result = self.fails(NO, "repair", "sheet.stl", "-o", "out.stl")
        self.assertIn("160 edges are still open: at X ", result.err)
        self.assertEqual(result.err.count(" Z 0"), 3)
        self.assertIn("REPAIR-LEFT", result.err)
        self.repaired("sheet.stl", exit=NO)
        self.assertEqual(len(self.document["messages"][-1]["where"]["places"]), 100)
        # Two facets that share a single edge.
        self.assertIn("4 edges are still open", self.fails(NO, "repair", self.write(
            "two.stl", binary_stl(grid(1))), "-o", "out.stl", "--force").err)

    def test_holes(self):
        ring = ring_facets(10, 6, 4, 48)
        # Without the lower face: a border of 48 edges on either side.
        self.write("ring.stl", binary_stl([f for f in ring if any(c[2] for c in f)]))
        data, found = self.repaired("ring.stl", "--holes", "48")
        self.assertEqual((data["steps"]["filled_holes"], data["steps"]["added_facets"]), (2, 92))
        self.assertEqual(open_edges(found), 0)
        data, found = self.repaired("ring.stl", "--holes", "47", exit=NO)
        self.assertEqual((data["steps"]["filled_holes"], data["open_edges"]), (0, 96))
        self.fails(USAGE, "repair", "ring.stl", "-o", "x.stl", "--holes", "1001")
        self.fails(USAGE, "repair", "ring.stl", "-o", "x.stl", "--holes", "-1")

    def test_tolerance_and_units(self):
        facets = box_facets((1, 2, 3))
        a, b, c = facets[0]
        facets[0] = (a, (b[0] + 0.001, b[1], b[2]), c)
        self.write("box.stl", binary_stl(facets))
        data, _ = self.repaired("box.stl", "--units", "in")  # 0.0254 mm
        self.assertEqual(data["steps"]["moved_corners"], 1)
        self.assertEqual(self.document["units"], "in")
        data, _ = self.repaired("box.stl", "--units", "in", "--tolerance", "0.02mm")
        self.assertEqual((data["steps"]["moved_corners"], data["steps"]["added_facets"]), (0, 2))
        self.assertIn("must not be below 0", self.fails(USAGE, "repair", "box.stl", "-o", "x.stl", "--tolerance",
                                                        "-1mm").err)

    def test_other_formats(self):
        facets = box_facets()[:11]
        self.write("box.stl", ascii_stl(facets))
        self.repaired("box.stl", out="box.ctl")
        mesh = read_ctl(self.path("box.ctl"))
        self.assertEqual((len(mesh["vertices"]), len(mesh["triangles"])), (8, 12))
        self.repaired("box.stl", "--to", "stl-ascii", out="box.text")
        self.assertEqual(self.path("box.text").read_text().count("endfacet"), 12)
        # Vertices that the CTL file gives twice become one.
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, 10)]
        twice = make_ctl(corners * 2, [(0, 2, 1), (4, 5, 3), (0, 3, 6), (1, 2, 7)])
        self.write("twice.ctl", twice)
        data, found = self.repaired("twice.ctl")
        self.assertEqual((data["vertices"], open_edges(found)), (4, 0))

    def test_what_cannot_be_repaired(self):
        bad = box_facets()
        for value in (math.inf, math.nan):
            bad[3] = ((value, 0, 0), bad[3][1], bad[3][2])
            self.write("bad.stl", binary_stl(bad))
            self.assertIn("MESH-NAN", self.fails(INPUT, "repair", "bad.stl", "-o", "out.stl").err)
        self.write("empty.stl", b"")
        self.fails(INPUT, "repair", "empty.stl", "-o", "out.stl")
        self.assertEqual(self.listing(), ["bad.stl", "empty.stl"])

    def test_an_existing_file_stays(self):
        self.write("box.stl", binary_stl(box_facets()))
        self.write("out.stl", b"mine")
        self.fails(OUTPUT, "repair", "box.stl", "-o", "out.stl")
        self.assertEqual(self.path("out.stl").read_bytes(), b"mine")

    def test_any_damage(self):
        """The box never changes, a second run changes no byte, and what is said to be closed is."""
        shapes = [box_facets(), ring_facets(10, 6, 4, 12), grid(5, lambda x, y: 0.2 * x * y)]
        shapes.append(box_facets((30, 30, 30)) + box_facets((10, 10, 10), (5, 5, 5)))
        for seed in range(10 if SANITIZED else 40):
            chance = random.Random(seed)
            facets = list(shapes[seed % len(shapes)])
            for _ in range(chance.randint(0, 4)):
                del facets[chance.randrange(len(facets))]
            for _ in range(chance.randint(0, 4)):
                facets.append(facets[chance.randrange(len(facets))])
            for _ in range(chance.randint(0, 6)):
                i, k = chance.randrange(len(facets)), chance.randrange(3)
                corners = list(facets[i])
                corners[k] = tuple(c + chance.uniform(-0.02, 0.02) for c in corners[k])
                facets[i] = tuple(corners)
            facets = [tuple(struct.unpack("<3f", struct.pack("<3f", *c)) for c in f) for f in facets]
            with self.subTest(seed=seed):
                self.write("given.stl", binary_stl(facets))
                result = self.run_tool("repair", "given.stl", "-o", "out.stl", "--force")
                self.assertIn(result.exit, (DONE, NO))
                found = read_binary_stl(self.path("out.stl"))
                self.assertEqual(bounds(found), bounds(facets))
                self.assertEqual(open_edges(found) == 0, result.exit == DONE)
                self.assertEqual(self.run_tool("repair", "out.stl", "-o", "again.stl", "--force").exit, result.exit)
                self.assertEqual(self.path("out.stl").read_bytes(), self.path("again.stl").read_bytes())


if __name__ == "__main__":
    unittest.main()
