"""Pieces that are to stand apart: what is found when they do not, and what a plate says of its closest pair."""
import json
import unittest
import xml.etree.ElementTree as ElementTree

from support import DONE, NO, ToolTest, binary_stl, box_facets, ring_facets


class Gaps(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((10, 20, 5))))

    def place(self, *parts, code=NO, margin="0", more=()):
        """The findings of boxes with these keys, on a plate without margin and with a gap of 2 mm."""
        result = self.run_tool("build", *[f"box.stl,{keys}" for keys in parts], "--gap", "2mm", "--margin", margin,
                              
                               "--time", "0", "-o", "out", "--json", "--force", *more)
        self.assertEqual(result.exit, code, result.err)
        return result.document()

    def findings(self, document):
        return [m for m in document["messages"] if m["code"] == "GAP-SMALL"]

    def test_two_pieces_too_near(self):
        document = self.place("at=10:10", "at=21.5:20")
        finding, = self.findings(document)
        self.assertEqual(finding["severity"], "error")
        where = finding["where"]
        self.assertEqual(where["pieces"], ["box-1", "box-2-1"])
        self.assertAlmostEqual(where["distance"], 1.5, places=5)
        self.assertEqual(where["wanted"], 2)
        self.assertAlmostEqual(where["x"], 20.75, places=4)
        self.assertTrue(20 <= where["y"] <= 30)
        self.assertIn("box-1 and box-2-1 are 1.5 mm apart seen from above where 2 are wanted, near X 20.75", finding["text"])

    def test_a_thousandth_is_no_fault(self):
        self.assertEqual(self.findings(self.place("at=10:10", "at=21.9992:10", code=DONE)), [])
        self.assertEqual(len(self.findings(self.place("at=10:10", "at=21.998:10"))), 1)

    def test_corners_count_not_boxes(self):
        # Diagonally 1.5 mm each way: 2.12 mm apart.
        self.assertEqual(self.findings(self.place("at=10:10", "at=21.5:31.5", code=DONE)), [])
        self.assertEqual(len(self.findings(self.place("at=10:10", "at=21.3:31.3"))), 1)

    def test_the_larger_gap_of_two_counts(self):
        self.assertEqual(self.findings(self.place("at=10:10", "at=24:10", code=DONE)), [])
        finding, = self.findings(self.place("at=10:10,gap=5mm", "at=24:10"))
        self.assertEqual(finding["where"]["wanted"], 5)
        self.assertEqual(self.findings(self.place("at=10:10,gap=1mm", "at=21.5:10,gap=0", code=DONE)), [])

    def test_no_gap_asks_for_nothing(self):
        self.assertEqual(self.findings(self.place("at=10:10,gap=0", "at=20:10,gap=0", code=DONE)), [])

    def test_overlapping_pieces_are_said_once(self):
        document = self.place("at=10:10", "at=15:10")
        self.assertEqual([m["code"] for m in document["messages"] if m["severity"] == "error"], ["OVERLAP"])
        self.assertEqual(document["data"]["smallest_distance"], 0)

    def test_many_in_one_place_are_named_in_part(self):
        # 50 in one place are 1225 pairs; 45 are 990, each of them named.
        for count, named, bound in ((45, 990, []), (50, 1000, ["PAIRS-BOUND"])):
            document = self.place(*["at=10:10"] * count)
            errors = [m["code"] for m in document["messages"] if m["severity"] == "error"]
            self.assertEqual(errors, ["OVERLAP"] * named + bound)
        # Beside each other, with more wanted between any two than the vat has.
        document = self.place(*[f"at={1 + 11 * (k % 10)}:{1 + 21 * (k // 10)},gap=500mm" for k in range(50)])
        errors = [m["code"] for m in document["messages"] if m["severity"] == "error"]
        self.assertEqual(errors, ["GAP-SMALL"] * 1000 + ["PAIRS-BOUND"])
        # The nearest ones: a millimetre, and corners.
        near = [m["where"]["distance"] for m in document["messages"] if m["code"] == "GAP-SMALL"]
        self.assertEqual((min(near), near.count(1), near.count(min(near))), (1, 85, 85))
        self.assertEqual(document["data"]["smallest_distance"], 1)
        # What was not looked at is not built unless that is said, and the folder verifies then.
        self.assertFalse(self.path("out").exists())
        self.place(*["at=10:10"] * 50, more=["--force-checks"], code=NO)
        self.good("verify", "out")

    def test_walls(self):
        document = self.place("at=3:6", "at=236:227", margin="5mm")
        said = {(m["where"]["pieces"][0], round(m["where"]["distance"], 4), m["text"].split(" wall")[0].split()[-1])
                for m in self.findings(document)}
        self.assertEqual(said, {("box-1", 3, "left"), ("box-2-1", 4, "right"), ("box-2-1", 3, "back")})
        for message in self.findings(document):
            self.assertEqual(len(message["where"]["pieces"]), 1)
            self.assertEqual(message["where"]["wanted"], 5)
        left, = (m for m in self.findings(document) if m["where"]["distance"] == 3 and "left" in m["text"])
        self.assertEqual(left["where"]["x"], 3)

    def test_nothing_is_written_unless_forced(self):
        self.place("at=10:10", "at=21.5:10")
        self.assertFalse(self.path("out").exists())
        self.place("at=10:10", "at=21.5:10", more=("--force-checks",))
        self.assertIn("GAP-SMALL", self.path("out/checks.json").read_text())
        self.good("verify", "out")  # what was forced is not said again
        result = self.fails(NO, "check", "out", "--json")
        self.assertIn("GAP-SMALL", result.codes())

    def test_a_part_in_a_hole_has_a_gap_too(self):
        self.write("ring.stl", binary_stl(ring_facets(40, 30, 8)))
        keys = ["ring.stl,at=20:20", "box.stl,at=55:50,gap=15"]
        self.good("build", *keys, "--time", "0", "-o", "out")
        document = json.loads(self.path("out/build.json").read_text())
        # From the middle of the ring at (60, 60) to a corner of the box.
        self.assertAlmostEqual(document["smallest_distance"], 30 - (5 ** 2 + 10 ** 2) ** 0.5, delta=0.2)
        self.fails(NO, "build", keys[0], "box.stl,at=55:50,gap=20", "--time", "0", "-o", "other")

    def test_summary_names_the_pair(self):
        out = self.good("place", "box.stl,at=10:10", "box.stl,at=24:10", "box.stl,at=100:100").out.decode()
        self.assertIn("smallest distance seen from above: 4 mm, of box-1 and box-2-1\n", out)

    def test_verify_measures_the_meshes(self):
        self.good("build", "box.stl,copies=2", "--gap", "2mm", "--time", "0", "-o", "out")
        path = self.path("out/build.json")
        document = json.loads(path.read_text())
        for part in document["inputs"]:
            self.assertEqual(part["piece_gap"], 2)
            part["piece_gap"] = 3
        document["margin"] = 6
        path.write_text(json.dumps(document))
        result = self.run_tool("verify", "out", "--json", verified=False)
        texts = [m["text"] for m in result.document()["messages"] if m["code"] == "GAP-SMALL"]
        self.assertEqual(sum("apart" in text for text in texts), 1)
        self.assertTrue(any("left wall where 6 are wanted" in text for text in texts), texts)

    def test_the_picture_shows_the_margin(self):
        ns = {"s": "http://www.w3.org/2000/svg"}
        for margin, wanted in (("7mm", [("7", "7", "236", "236")]), ("0", [])):
            self.good("place", "box.stl", "--margin", margin, "--svg", "plate.svg", "--force")
            root = ElementTree.parse(self.path("plate.svg")).getroot()
            found = root.findall(".//s:rect[@class='margin']", ns)
            self.assertEqual([tuple(r.get(k) for k in ("x", "y", "width", "height")) for r in found], wanted)


if __name__ == "__main__":
    unittest.main()
