"""vents find, list, add, move and remove, and what info says about a side file."""
import math
import struct
import unittest

from support import *

VENT = "5.000000 10.000000 30.000000  0.000000 0.000000 1.000000  3.000000\n"
DRAIN = "5.000000 10.000000 0.000000  0.000000 0.000000 -1.000000  3.000000\n"


class VentsTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((10, 20, 30))))

    def side_file(self, name="box.V_D"):
        return self.path(name).read_text()


class Find(VentsTest):
    def find(self, facets):
        self.write("part.stl", binary_stl(facets))
        return self.json_of("vents", "find", "part.stl")

    def test_a_box_has_one_place_each(self):
        data = self.find(box_facets((10, 20, 30), (1, 2, 3)))
        vent, = data["vents"]
        drain, = data["drains"]
        self.assertEqual((vent["patch"], vent["facet_numbers"], drain["facet_numbers"]), (1, [2, 3], [0, 1]))
        self.assertAlmostEqual(vent["area"], 200, places=6)
        for found, wanted in zip(vent["centre"] + drain["centre"], (6, 12, 33, 6, 12, 3)):
            self.assertAlmostEqual(found, wanted, places=6)
        self.assertEqual((vent["height"], drain["height"]), (30, 0))
        text = self.good("vents", "find", "part.stl").out.decode()
        self.assertRegex(text, r"\n +1 +200 +30 +2  6, 12, 33\n")

    def test_the_best_come_first(self):
        # Three towers on one level, and a slab that floats.
        parts = [((4, 4, 10), (0, 0, 0)), ((2, 2, 20), (10, 0, 0)), ((6, 6, 10), (20, 0, 0)), ((3, 3, 1), (30, 0, 5))]
        data = self.find([f for size, at in parts for f in box_facets(size, at)])
        self.assertEqual([(round(p["height"], 6), round(p["area"], 6)) for p in data["vents"]],
                         [(20, 4), (10, 36), (10, 16), (6, 9)])
        self.assertEqual([(round(p["height"], 6), round(p["area"], 6)) for p in data["drains"]],
                         [(0, 36), (0, 16), (0, 4), (5, 9)])
        self.assertEqual([p["patch"] for p in data["vents"]], [1, 2, 3, 4])

    def test_the_centre_lies_on_the_patch(self):
        data = self.find(ring_facets(20, 10, 5))
        vent, = data["vents"]
        x, y, z = vent["centre"]
        self.assertEqual(z, 5)
        self.assertTrue(9.9 < math.hypot(x - 20, y - 20) < 20.1)
        self.assertAlmostEqual(vent["area"], 48 / 2 * math.sin(math.pi / 24) * (400 - 100), delta=1e-3)

    def test_how_far_a_facet_may_tilt(self):
        for cosine, wanted in ((0.996, 1), (0.994, 0), (-0.996, 1), (-0.994, 0)):
            tilt = math.sqrt(1 - cosine ** 2) / abs(cosine)
            a, b, c, d = (0, 0, 0), (10, 0, 10 * tilt), (10, 10, 10 * tilt), (0, 10, 0)
            facets = [(a, b, c), (a, c, d)] if cosine > 0 else [(a, c, b), (a, d, c)]
            data = self.find(facets)
            patches = data["vents" if cosine > 0 else "drains"]
            self.assertEqual(len(patches), wanted, cosine)
            if wanted:
                self.assertEqual(patches[0]["facet_numbers"], [0, 1])
                self.assertAlmostEqual(patches[0]["centre"][2], 5 * tilt, places=5)
            self.assertEqual(data["drains" if cosine > 0 else "vents"], [])

    def test_patches_that_touch_in_a_corner_stay_apart(self):
        square = lambda x, y: [((x, y, 1), (x + 1, y, 1), (x + 1, y + 1, 1)), ((x, y, 1), (x + 1, y + 1, 1), (x, y + 1, 1))]
        self.assertEqual([p["facet_numbers"] for p in self.find(square(0, 0) + square(1, 1))["vents"]], [[0, 1], [2, 3]])
        self.assertEqual([p["facet_numbers"] for p in self.find(square(0, 0) + square(1, 0))["vents"]], [[0, 1, 2, 3]])

    def test_a_part_without_a_place(self):
        a, b, c, top = (0, 0, 0), (9, 0, 9), (0, 9, 9), (4, 4, 30)
        data = self.find([(a, c, b), (a, b, top), (b, c, top), (c, a, top)])
        self.assertEqual((data["vents"], data["drains"]), ([], []))
        self.assertEqual(self.good("vents", "find", "part.stl").out.decode().count("  none\n"), 2)


class Add(VentsTest):
    def test_at_patches_and_points(self):
        self.good("vents", "add", "box.stl", "--vent", "1", "--drain", "1")
        self.assertEqual(self.side_file(), VENT + DRAIN)
        self.good("vents", "add", "box.stl", "--vent", "2,3mm,30", "--diameter", "0.1in")
        self.assertEqual(self.side_file(), VENT + DRAIN +
                         "2.000000 3.000000 30.000000  0.000000 0.000000 1.000000  2.540000\n")
        self.assertEqual(self.listing(), ["box.V_D", "box.stl"])

    def test_a_part_in_inches(self):
        self.good("convert", "box.stl", "--units", "in", "-o", "inch.ctl")
        data = self.json_of("vents", "add", "inch.ctl", "--drain", "25.4,50.8,0")
        self.assertEqual(data["added"][0]["point"], [1, 2, 0])
        self.assertEqual(self.side_file("inch.V_D"),
                         "1.000000 2.000000 0.000000  0.000000 0.000000 -1.000000  0.118110\n")

    def test_without_the_part(self):
        self.good("vents", "add", "absent.stl", "--vent", "1,2,3")
        self.good("vents", "add", "absent.V_D", "--drain", "1,2,0")
        self.assertEqual(self.side_file("absent.V_D").count("\n"), 2)
        self.fails(USAGE, "vents", "add", "absent.V_D", "--vent", "1")

    def test_what_stands_there_stays_byte_for_byte(self):
        for before in ("1 2 3 0 0 1 .5", "1 2 3  0 0 1  0.5\n# a remark\n\n"):
            self.write("box.V_D", before)
            result = self.good("vents", "add", "box.stl", "--vent", "1", "--json")
            self.assertEqual(self.side_file(), before.rstrip("\n") + ("\n\n" if before.endswith("\n\n") else "\n") + VENT)
            self.assertEqual("VD-LINE" in result.codes(), "#" in before)

    def test_a_place_beside_the_part_is_warned_of(self):
        for z, wanted in (("30.09", []), ("30.11", ["VD-STALE"])):
            self.assertEqual(self.good("vents", "add", "box.stl", "--vent", "5,5," + z, "--json").codes(), wanted)

    def test_into_another_file(self):
        self.good("vents", "add", "box.stl", "--vent", "1", "-o", "other.V_D")
        self.assertEqual(self.listing(), ["box.stl", "other.V_D"])
        self.fails(OUTPUT, "vents", "add", "box.stl", "--vent", "1", "-o", "other.V_D")
        self.good("vents", "add", "box.stl", "--drain", "1", "-o", "other.V_D", "--force")
        self.assertEqual(self.side_file("other.V_D"), DRAIN)

    def test_what_makes_no_sense(self):
        for place in ("0", "2", "x", "1,2", "1,2,nan", "-1"):
            self.fails(USAGE, "vents", "add", "box.stl", "--vent", place)
        self.fails(USAGE, "vents", "add", "box.stl")
        self.fails(USAGE, "vents", "add", "box.stl", "--vent", "1", "--diameter", "0")
        self.assertEqual(self.listing(), ["box.stl"])


class ListEntries(VentsTest):
    def test_what_the_file_says(self):
        self.write("box.V_D", "1 2 30  0 0 1  0.5\r\n\n5 5 -4  0 0 -2e0  +3\n1 1 1  1 0 0  0\n")
        result = self.good("vents", "list", "box.stl", "--json")
        entries = result.document()["data"]["entries"]
        self.assertEqual([e["opening"] for e in entries], ["vent", "drain", "unknown"])
        self.assertEqual([e["point"] for e in entries], [[1, 2, 30], [5, 5, -4], [1, 1, 1]])
        self.assertEqual([e["diameter"] for e in entries], [0.5, 3, 0])
        for found, wanted in zip([e["distance"] for e in entries], (0, 4, 1)):
            self.assertAlmostEqual(found, wanted, places=6)
        self.assertEqual(result.codes(), ["VD-STALE", "VD-STALE"])
        self.assertIn("vent", self.good("vents", "list", "box.V_D").out.decode())

    def test_there_is_no_file(self):
        self.assertEqual(self.fails(INPUT, "vents", "list", "box.stl", "--json").codes(), ["INPUT-MISSING"])

    def test_the_name_ends_at_the_last_period(self):
        self.write("box.v2.V_D", VENT)
        self.write("box.v2.stl", binary_stl(box_facets((10, 20, 30))))
        self.assertEqual(len(self.json_of("vents", "list", "box.v2.stl")["entries"]), 1)

    def test_lines_that_no_program_reads(self):
        bad = ["1 2 3  0 0 1", "1 2 3  0 0 1  x", "one", "1 2 3  0 0 1  0.5 8", " " * 518 + "1 2 3 0 0 1 2"]
        for line in bad:
            self.write("box.V_D", VENT + line + "\n" + DRAIN)
            result = self.good("vents", "list", "box.stl", "--json")
            self.assertEqual(len(result.document()["data"]["entries"]), 2, line)
            message, = result.document()["messages"]
            self.assertEqual((message["code"], message["where"]), ("VD-LINE", {"line": 2}))


class Move(VentsTest):
    def test_the_point_moves_and_the_rest_stays(self):
        self.write("box.V_D", "1 2 3  0 0 1  0.5\n")
        self.good("vents", "move", "box.stl", "--by", "1,0,0")
        self.assertEqual(self.side_file(),
                         "2.000000 2.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n")
        self.good("vents", "move", "box.V_D", "--by", "-1mm,0.1in,0")
        self.assertEqual(self.side_file(),
                         "1.000000 4.540000 3.000000  0.000000 0.000000 1.000000  0.500000\n")
        self.assertEqual(self.listing(), ["box.V_D", "box.stl"])

    def test_a_turn_comes_before_the_move(self):
        self.write("box.V_D", "1 2 3  0 0 1  0.5\n")
        self.good("vents", "move", "box.V_D", "--rotate-z", "90", "--by", "10,0,0")
        self.assertEqual(self.side_file(),
                         "8.000000 1.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n")

    def test_along_with_a_transformed_part(self):
        self.good("vents", "add", "box.stl", "--vent", "1", "--drain", "1")
        self.good("transform", "box.stl", "--rotate-z", "30", "--translate", "5mm,6mm,7mm", "-o", "moved.stl")
        self.good("vents", "move", "box.stl", "--rotate-z", "30", "--by", "5mm,6mm,7mm", "-o", "moved.V_D")
        result = self.good("vents", "list", "moved.stl", "--json")
        self.assertEqual(result.codes(), [])
        for entry in result.document()["data"]["entries"]:
            self.assertLess(entry["distance"], 1e-4)

    def test_only_the_named_entries(self):
        self.write("box.V_D", "1 2 3  0 0 1  0.5\nnonsense\n4 5 6 0 0 1 7")
        result = self.good("vents", "move", "box.V_D", "2", "--by", "1,1,1", "--json")
        self.assertEqual(self.side_file(), "1 2 3  0 0 1  0.5\nnonsense\n"
                         "5.000000 6.000000 7.000000  0.000000 0.000000 1.000000  7.000000\n")
        self.assertEqual([e["entry"] for e in result.document()["data"]["moved"]], [2])

    def test_what_makes_no_sense(self):
        self.write("box.V_D", VENT)
        self.fails(USAGE, "vents", "move", "box.V_D")
        for number in ("0", "2", "x"):
            self.fails(USAGE, "vents", "move", "box.V_D", number, "--by", "1,1,1")
        self.fails(USAGE, "vents", "move", "box.V_D", "--by", "1,1")
        self.fails(INPUT, "vents", "move", "absent.V_D", "--by", "1,1,1")
        self.assertEqual(self.side_file(), VENT)


class Remove(VentsTest):
    def test_entries(self):
        self.write("box.V_D", VENT + "# kept\n" + DRAIN + VENT)
        self.good("vents", "remove", "box.stl", "3", "1", "3")
        self.assertEqual(self.side_file(), "# kept\n" + DRAIN)
        self.good("vents", "remove", "box.stl", "1", "-o", "rest.V_D")
        self.assertEqual((self.side_file(), self.side_file("rest.V_D")), ("# kept\n" + DRAIN, "# kept\n"))

    def test_the_whole_file_only_on_a_yes(self):
        self.write("box.V_D", VENT)
        result = self.fails(NO, "vents", "remove", "box.stl", "--all", "--json")
        self.assertEqual((result.codes(), result.document()["data"]["deleted"]), (["ANSWERED-NO"], False))
        self.assertEqual(self.side_file(), VENT)
        self.assertTrue(self.json_of("vents", "remove", "box.stl", "--all", "--yes")["deleted"])
        self.assertEqual(self.listing(), ["box.stl"])
        self.fails(INPUT, "vents", "remove", "box.stl", "--all", "--yes")

    def test_what_makes_no_sense(self):
        self.write("box.V_D", VENT)
        self.fails(USAGE, "vents", "remove", "box.stl")
        self.fails(USAGE, "vents", "remove", "box.stl", "1", "--all")
        self.fails(USAGE, "vents", "remove", "box.stl", "2")
        self.assertEqual(self.side_file(), VENT)


class Info(VentsTest):
    def test_by_content(self):
        self.write("numbers.dat", VENT + DRAIN + DRAIN)
        data = self.info_of("numbers.dat")
        self.assertEqual((data["kind"], data["entry_count"], data["vent_count"], data["drain_count"]), ("vents", 3, 1, 2))

    def test_by_name(self):
        self.write("box.V_D", "")
        self.assertEqual(self.info_of("box.V_D")["entry_count"], 0)
        self.write("box.V_D", "nothing of the kind\n")
        self.assertEqual(self.fails(INPUT, "info", "box.V_D", "--json").codes(), ["VD-LINE", "VD-LINE"])
        self.write("text.txt", "nothing of the kind\n")
        self.assertEqual(self.fails(INPUT, "info", "text.txt", "--json").codes(), ["INPUT-UNKNOWN"])



class Stale(ToolTest):
    def test_a_hundred_are_named_and_the_others_counted(self):
        self.write("box.stl", binary_stl(box_facets()))
        self.write("box.V_D", "".join(f"500 {k} 0 0 0 1 3\n" for k in range(150)))
        for command in (["list", "box.stl"], ["move", "box.stl", "--by", "0,0,1", "-o", "moved.V_D"]):
            result = self.good("vents", *command, "--json")
            stale = [m for m in result.document()["messages"] if m["code"] == "VD-STALE"]
            self.assertEqual([m["where"].get("entry") for m in stale], [*range(1, 101), None])
            self.assertIn("50 entries are away from the part besides", stale[-1]["text"])
        entries = self.json_of("vents", "list", "box.stl")["entries"]
        self.assertEqual((len(entries), entries[149]["distance"] > 400), (150, True))


    def test_points_that_every_facet_is_as_far_from_end_the_search(self):
        # A ball of n facets, and n points in its middle: each would look at every facet.
        rows, turns = 60, 120

        def corner(i, k):
            height, turn = math.pi * i / rows, 2 * math.pi * (k % turns) / turns
            wide = math.sin(height) if 0 < i < rows else 0
            return (10 * wide * math.cos(turn), 10 * wide * math.sin(turn), 10 * math.cos(height))
        facets = []
        for i in range(rows):
            for k in range(turns):
                a, b, c, d = corner(i, k), corner(i + 1, k), corner(i + 1, k + 1), corner(i, k + 1)
                facets += ([(a, b, c)] if i < rows - 1 else []) + ([(a, c, d)] if i > 0 else [])
        self.write("ball.stl", binary_stl(facets))
        self.write("ball.V_D", "0 0 0 0 0 1 3\n" * 20000)
        self.assertEqual(set(self.good("check", "ball.stl", "--json").codes()) & {"VD-BOUND", "VD-STALE"}, {"VD-BOUND", "VD-STALE"})
        result = self.good("vents", "list", "ball.stl", "--json")
        self.assertEqual(result.codes()[-1], "VD-BOUND")
        entries = result.document()["data"]["entries"]
        self.assertLess(abs(entries[0]["distance"] - 10), 0.1)
        self.assertNotIn("distance", entries[-1])


if __name__ == "__main__":
    unittest.main()
