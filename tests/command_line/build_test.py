"""place and build: where the pieces stand, what the folder holds, and what is said when it does not work."""
import hashlib
import json
import math
import pathlib
import re
import shutil
import struct
import unittest
import xml.etree.ElementTree as ElementTree

from support import *

PARTS = SOURCE / "examples" / "parts"


def apply(matrix, point):
    return tuple(sum(matrix[i][k] * point[k] for k in range(3)) + matrix[i][3] for i in range(3))


class BuildFolder(ToolTest):
    def setUp(self):
        super().setUp()
        self.box = box_facets((40, 20, 10), (5, 6, 7))
        self.ring = ring_facets(30, 20, 8)
        self.write("box.stl", binary_stl(self.box))
        self.write("ring.stl", binary_stl(self.ring))
        self.arguments = ["box.stl,copies=3,rotate-z=90", "--part", "ring.stl,copies=2", "--vat", "200x200x100mm",
                          "--engine", "grid", "--seed", "7"]

    def build(self, output="out", *more):
        self.good("build", *self.arguments, "-o", output, *more)
        return json.loads(self.path(output).joinpath("build.json").read_text())

    def test_the_folder_holds_what_was_promised(self):
        document = self.build()
        files = sorted(str(p.relative_to(self.path("out"))) for p in self.path("out").rglob("*") if p.is_file())
        self.assertEqual(files, ["build.json", "build.toml", "checks.json", "meshes/box-1.ctl", "meshes/box-2.ctl",
                                 "meshes/box-3.ctl", "meshes/ring-1.ctl", "meshes/ring-2.ctl", "parts/box.stl",
                                 "parts/ring.stl", "plate.stl", "plate.svg", "report.html"])
        self.assertEqual(document["schema"], "trqprep.build-folder/2")
        self.assertEqual((document["units"], document["vat"], document["seed"]), ("mm", [200, 200, 100], 7))
        for side in document["cell"]:
            self.assertAlmostEqual(side, 200 / 31, places=4)
        self.assertEqual([(i["part"], i["file"], i["copies"], i["rotate_z"]) for i in document["inputs"]],
                         [("box", "parts/box.stl", 3, 90), ("ring", "parts/ring.stl", 2, 0)])
        for entry in document["inputs"]:
            self.assertEqual(entry["sha256"], hashlib.sha256(self.path("out").joinpath(entry["file"]).read_bytes()).hexdigest())
        self.assertEqual([(p["part"], p["copy"], p["mesh"]) for p in document["pieces"]],
                         [("box", 1, "meshes/box-1.ctl"), ("box", 2, "meshes/box-2.ctl"), ("box", 3, "meshes/box-3.ctl"),
                          ("ring", 1, "meshes/ring-1.ctl"), ("ring", 2, "meshes/ring-2.ctl")])

    def test_matrices_take_the_untouched_meshes_to_the_plate(self):
        document = self.build()
        plate = read_binary_stl(self.path("out/plate.stl"))
        expected = []
        for piece in document["pieces"]:
            source = self.box if piece["part"] == "box" else self.ring
            matrix = piece["matrix"]
            self.assertEqual(matrix[3], [0, 0, 0, 1])
            moved = [tuple(apply(matrix, corner) for corner in facet) for facet in source]
            expected += moved
            # Rigid: lengths and volume stay.
            self.assertAlmostEqual(volume(moved), volume(source), delta=1e-6 * abs(volume(source)))
            low, high = bounds(moved)
            for k in range(3):
                self.assertAlmostEqual(piece["box"]["min"][k], low[k], places=4)
                self.assertAlmostEqual(piece["box"]["max"][k], high[k], places=4)
            self.assertAlmostEqual(low[0], piece["x"], places=4)
            self.assertAlmostEqual(low[1], piece["y"], places=4)
            ctl = read_ctl(self.path("out") / piece["mesh"])
            self.assertEqual(ctl["units"], 1)
            corners = [tuple(ctl["vertices"][i] for i in t[:3]) for t in ctl["triangles"]]
            for found, wanted in zip(corners, moved):
                for a, b in zip(found, wanted):
                    self.assertLess(math.dist(a, b), 1e-3)
        self.assertEqual(len(plate), len(expected))
        for found, wanted in zip(plate, expected):
            for a, b in zip(found, wanted):
                self.assertLess(math.dist(a, b), 1e-3)

    def test_z_is_kept_or_dropped(self):
        document = self.build()
        self.assertEqual({p["box"]["min"][2] for p in document["pieces"] if p["part"] == "box"}, {7})
        document = self.build("dropped", "--drop")
        self.assertEqual({p["box"]["min"][2] for p in document["pieces"]}, {0})

    def test_the_matrix_holds_both_turns(self):
        document = self.build()
        for piece in document["pieces"]:
            asked = 90 if piece["part"] == "box" else 0
            angle = math.radians(piece["rotation"] + asked)
            self.assertAlmostEqual(piece["matrix"][0][0], math.cos(angle), places=9)
            self.assertAlmostEqual(piece["matrix"][1][0], math.sin(angle), places=9)

    def test_extent_and_smallest_distance(self):
        document = self.build()
        low, high = bounds(read_binary_stl(self.path("out/plate.stl")))
        narrow = lambda values: struct.pack("<3f", *values)
        self.assertEqual(narrow(document["extent"]["min"]) + narrow(document["extent"]["max"]), narrow(low) + narrow(high))
        # Brute force over the outlines' corners bounds the distance from above, the boxes from below.
        pieces = [[c[:2] for t in read_ctl(self.path("out") / p["mesh"])["vertices"] for c in [t]]
                  for p in document["pieces"]]
        nearest = min(math.dist(a, b) for i, one in enumerate(pieces) for two in pieces[i + 1:] for a in one for b in two)
        self.assertGreater(document["smallest_distance"], 0)
        self.assertLessEqual(document["smallest_distance"], nearest + 1e-4)
        pair = document["closest_pair"]
        self.assertAlmostEqual(math.dist(*pair["points"]), document["smallest_distance"], delta=1e-4)
        for name, point in zip(pair["names"], pair["points"]):
            piece, = (p for p in document["pieces"] if f"{p['part']}-{p['copy']}" == name)
            for at, low, high in zip(point, piece["box"]["min"], piece["box"]["max"]):
                self.assertTrue(low - 1e-4 <= at <= high + 1e-4)

    def test_a_single_piece_has_no_distance(self):
        self.good("build", "box.stl", "-o", "one")
        self.assertIsNone(json.loads(self.path("one/build.json").read_text())["smallest_distance"])
        self.assertIsNone(json.loads(self.path("one/build.json").read_text())["closest_pair"])

    def test_two_runs_give_the_same_bytes(self):
        self.build("one")
        self.build("two")
        for path in sorted(self.path("one").rglob("*")):
            if path.is_file():
                other = self.path("two") / path.relative_to(self.path("one"))
                self.assertEqual(path.read_bytes(), other.read_bytes(), path)
        self.assertNotIn("two", self.path("two/build.json").read_text())

    def test_another_seed_is_recorded(self):
        self.arguments[-1] = "8"
        self.assertEqual(self.build()["seed"], 8)

    def test_json_says_what_build_json_says(self):
        document = self.good("build", *self.arguments, "-o", "out", "--json").document()
        self.assertEqual(document["schema"], "trqprep.build/2")
        stored = json.loads(self.path("out/build.json").read_text())
        data = document["data"]
        self.assertEqual((data.pop("output"), data.pop("forced")), ("out", False))
        self.assertEqual(data, {k: v for k, v in stored.items() if k not in ("schema", "tool")})

    def test_info_knows_the_folder(self):
        self.build()
        data = self.info_of("out")
        self.assertEqual((data["kind"], data["piece_count"], data["part_count"]), ("build", 5, 2))
        self.write("out/build.json", "{}")
        self.assertIn("[BUILD-INVALID]", self.fails(INPUT, "info", "out").err)
        self.write("out/build.json", "[" * 5000)
        self.assertIn("[BUILD-INVALID]", self.fails(INPUT, "info", "out").err)

    def test_equal_names_are_numbered(self):
        self.path("other").mkdir()
        shutil.copy(self.path("box.stl"), self.path("other/box.stl"))
        self.write("box-2.stl", binary_stl(self.box))
        data = self.json_of("place", "box.stl", "other/box.stl", "box-2.stl", "box.stl")
        self.assertEqual([i["part"] for i in data["inputs"]], ["box", "box-2", "box-2-2", "box-3"])

    def test_parts_keep_the_order_of_the_command_line(self):
        data = self.json_of("place", "--part", "ring.stl", "box.stl", "--part", "ring.stl,rotate-z=30")
        self.assertEqual([(i["part"], i["rotate_z"]) for i in data["inputs"]],
                         [("ring", 0), ("box", 0), ("ring-2", 30)])

    def test_more_than_a_hundred_copies(self):
        self.write("small.stl", binary_stl(box_facets((3, 3, 3))))
        data = self.json_of("place", "small.stl,copies=130", "--rotations", "1")
        self.assertEqual([p["copy"] for p in data["pieces"]], list(range(1, 131)))
        places = {(p["x"], p["y"]) for p in data["pieces"]}
        self.assertEqual(len(places), 130)

    def test_inches(self):
        self.write("inch.stl", binary_stl(box_facets((2, 1, 1))))
        self.good("build", "inch.stl,copies=2", "--units", "in", "--vat", "10x10x10", "-o", "out")
        document = json.loads(self.path("out/build.json").read_text())
        self.assertEqual((document["units"], document["vat"]), ("in", [10, 10, 10]))
        self.assertEqual(read_ctl(self.path("out/meshes/inch-1.ctl"))["units"], 0)
        size = [b - a for a, b in zip(document["pieces"][0]["box"]["min"], document["pieces"][0]["box"]["max"])]
        self.assertAlmostEqual(sorted(size)[2], 2, places=4)
        # A vat in millimetres and a part in its own unit come to the plate's.
        self.good("convert", "inch.stl", "--units", "in", "-o", "inch.ctl")
        data = self.json_of("place", "inch.ctl", "--vat", "254x254x254mm")
        size = [b - a for a, b in zip(data["pieces"][0]["box"]["min"], data["pieces"][0]["box"]["max"])]
        self.assertAlmostEqual(sorted(size)[2], 50.8, places=3)

    def size_of(self, *arguments):
        box = self.json_of("place", *arguments)["pieces"][0]["box"]
        return [round(high - low, 3) for low, high in zip(box["min"], box["max"])]

    def test_the_unit_of_a_part(self):
        self.write("tiny.stl", binary_stl(box_facets((2, 1, 0.5))))
        self.assertEqual(self.good("place", "tiny.stl", "--json").codes(), ["UNITS-DOUBT"])
        for units, factor in (("mm", 1), ("in", 25.4), ("cm", 10), ("m", 1000)):
            vat = ("--vat", "3000x3000x3000", "--rotations", "1")
            self.assertEqual(self.size_of("tiny.stl,units=" + units, *vat), [2 * factor, factor, 0.5 * factor])
            self.assertEqual(self.good("place", "tiny.stl,units=" + units, *vat, "--json").codes(), [])
        self.assertIn("mm, in, cm or m", self.fails(USAGE, "place", "tiny.stl,units=ft").err)
        # A file that states its unit is not contradicted.
        self.good("convert", "tiny.stl", "--units", "in", "-o", "tiny.ctl")
        self.assertEqual(self.size_of("tiny.ctl,units=in", "--rotations", "1"), [50.8, 25.4, 12.7])
        self.assertIn("states its unit, in", self.fails(USAGE, "place", "tiny.ctl,units=mm").err)

    def test_the_unit_of_a_part_is_remembered(self):
        self.write("tiny.stl", binary_stl(box_facets((2, 1, 0.5))))
        self.write("tiny.V_D", "1 0.5 0.5 0 0 1 0.1\n")
        self.good("build", "tiny.stl,units=cm", "-o", "out")
        self.assertIn(b'units = "cm"', self.path("out/build.toml").read_bytes())
        self.assertEqual(json.loads(self.path("out/build.json").read_text())["inputs"][0]["units"], "cm")
        point = self.path("out/meshes/tiny-1.V_D").read_text().split()[:3]
        box = json.loads(self.path("out/build.json").read_text())["pieces"][0]["box"]
        for axis in range(3):
            inside = (box["min"][axis] + box["max"][axis]) / 2 if axis < 2 else box["max"][2]
            self.assertAlmostEqual(float(point[axis]), inside, places=4)
        self.good("build", "out/build.toml", "-o", "again")
        self.good("verify", "out", "again")
        self.assertEqual(self.good("check", "out/build.toml", "out", "--json").codes(), ["NO-STYLE"] * 2)
        for name in ("build.toml", "build.json", "checks.json", "plate.stl", "parts/tiny.stl", "meshes/tiny-1.V_D"):
            self.assertEqual(self.path("again").joinpath(name).read_bytes(), self.path("out").joinpath(name).read_bytes(), name)
        # What --units says is said of the part, too.
        self.good("build", "tiny.stl", "--units", "mm", "-o", "said")
        self.assertIn(b'rotate-z = 0\nunits = "mm"', self.path("said/build.toml").read_bytes())
        self.assertNotIn("UNITS-DOUBT", self.good("build", "said/build.toml", "-o", "once-more", "--json").codes())

    def test_a_job_in_inches_whose_part_fits_in_millimetres(self):
        self.write("box.stl", binary_stl(box_facets((40, 30, 20))))
        for more, doubted in (("", True), ('units = "in"\n', False)):
            self.write("job.toml", 'units = "in"\n[[part]]\nfile = "box.stl"\n' + more)
            self.assertEqual("UNITS-DOUBT" in self.fails(NO, "check", "job.toml", "--json").codes(), doubted)
        self.write("job.toml", 'units = "in"\n[[part]]\nfile = "box.stl"\nunits = "mm"\n')
        self.assertEqual(self.good("check", "job.toml", "--json").codes(), ["NO-STYLE"])


class NoPlacement(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((60, 30, 10))))

    def test_too_large_says_by_how_much(self):
        result = self.fails(NO_PLACEMENT, "build", "box.stl", "--vat", "50x50x50mm", "--rotations", "1", "-o", "out", "--json")
        message, = result.document()["messages"]
        self.assertEqual(message["code"], "TOO-BIG-FOR-VAT")
        self.assertEqual(message["file"], "box.stl")
        self.assertEqual(message["where"]["exceeds"], {"x": 10})
        self.assertIn("by 10 mm in X", message["text"])
        self.assertEqual(self.listing(), ["box.stl"])

    def test_too_high(self):
        result = self.fails(NO_PLACEMENT, "place", "box.stl", "--vat", "100x100x8mm", "--json")
        self.assertEqual(result.document()["messages"][0]["where"]["exceeds"], {"z": 2})

    def test_every_part_that_is_too_large_is_named(self):
        self.write("tall.stl", binary_stl(box_facets((10, 10, 99))))
        result = self.fails(NO_PLACEMENT, "place", "box.stl", "tall.stl", "--vat", "50x50x50mm", "--json")
        self.assertEqual([m["file"] for m in result.document()["messages"]], ["box.stl", "tall.stl"])

    def test_a_part_longer_than_a_side_may_fit_when_turned(self):
        # 60 x 30 in a vat of 50 x 61 fits after a quarter turn.
        self.good("place", "box.stl", "--vat", "50x62x50mm", "--engine", "grid", "--rotations", "4")
        self.fails(NO_PLACEMENT, "place", "box.stl", "--vat", "50x62x50mm", "--engine", "grid", "--rotations", "1")

    def test_otherwise_it_says_how_many_find_a_place(self):
        # In 100 x 100 a piece of 60 x 30 covers 19 x 10 cells of 31 and needs a cell of its own row and column free:
        # three fit above each other, unturned; a fourth does not.
        result = self.fails(NO_PLACEMENT, "place", "box.stl,copies=9", "--vat", "100x100x50mm", "--engine", "grid",
                            "--rotations", "1", "--json")
        message, = result.document()["messages"]
        self.assertEqual(message["code"], "NO-PLACEMENT")
        where = message["where"]
        self.assertEqual((where["piece_count"], where["part"]), (9, "box"))
        self.assertEqual(where["copy"], where["placed"] + 1)
        self.good("place", f"box.stl,copies={where['placed']}", "--vat", "100x100x50mm", "--engine", "grid",
                  "--rotations", "1")
        self.fails(NO_PLACEMENT, "place", f"box.stl,copies={where['placed'] + 1}", "--vat", "100x100x50mm", "--engine", "grid",
                   "--rotations", "1")

    def test_more_parts_than_the_grid_takes(self):
        result = self.fails(NO_PLACEMENT, "place", *["box.stl"] * 102, "--engine", "grid", "--json")
        self.assertEqual(result.codes()[-1], "NO-PLACEMENT")


class Checks(ToolTest):
    def test_a_part_below_the_floor_is_outside_the_vat(self):
        self.write("low.stl", binary_stl(box_facets((20, 20, 20), (0, 0, -5))))
        result = self.fails(NO, "build", "low.stl", "--floor", "keep", "-o", "out", "--json")
        message, no_style = result.document()["messages"]
        self.assertEqual(no_style["code"], "NO-STYLE")
        self.assertEqual((message["code"], message["where"]), ("OUTSIDE-VAT", {"piece": "low-1", "piece_count": 1, "axis": "z"}))
        self.assertIn("--floor keep", message["hint"])
        self.assertEqual(self.listing(), ["low.stl"])
        self.assertEqual(len(self.fails(NO, "place", "low.stl,copies=4", "--floor", "keep", "--json").document()["messages"]), 1)
        self.good("build", "low.stl", "--drop", "-o", "out")
        # A contact of a thousandth of a millimetre is none.
        self.write("low.stl", binary_stl(box_facets((20, 20, 20), (0, 0, -0.0009))))
        self.good("build", "low.stl", "-o", "out2")
        self.write("low.stl", binary_stl(box_facets((20, 20, 20), (0, 0, -0.002))))
        self.fails(NO, "build", "low.stl", "--floor", "keep", "-o", "out3")

    def test_no_two_pieces_of_a_crowded_plate_overlap(self):
        self.write("l.stl", binary_stl(box_facets((50, 10, 5)) + box_facets((10, 40, 5), (0, 10, 0))))
        self.write("ring.stl", binary_stl(ring_facets(25, 18, 5)))
        data = self.json_of("place", "l.stl,copies=8", "ring.stl,copies=4", "--vat", "200x200x50mm", "--engine", "grid")
        self.assertEqual(len(data["pieces"]), 12)
        self.assertGreater(data["smallest_distance"], 0)


class Picture(ToolTest):
    NS = {"s": "http://www.w3.org/2000/svg"}

    def setUp(self):
        super().setUp()
        self.write("ring & <co>.stl", binary_stl(ring_facets(30, 20, 8)))
        self.write("box.stl", binary_stl(box_facets((40, 20, 10))))
        self.data = self.json_of("place", "ring & <co>.stl,copies=2", "box.stl", "--vat", "200x180x100mm",
                                 "--rotations", "4", "--svg", "plate.svg")
        self.root = ElementTree.parse(self.path("plate.svg")).getroot()

    def test_it_is_drawn_to_scale(self):
        self.assertTrue(self.root.get("width").endswith("mm"))
        view = [float(v) for v in self.root.get("viewBox").split()]
        self.assertAlmostEqual(float(self.root.get("width")[:-2]), view[2])
        self.assertAlmostEqual(float(self.root.get("height")[:-2]), view[3])
        vat = self.root.find(".//s:rect[@class='line']", self.NS)
        self.assertEqual((vat.get("width"), vat.get("height")), ("200", "180"))

    def test_inches_are_drawn_to_the_same_scale(self):
        self.good("place", "box.stl", "--units", "in", "--vat", "60x70x80in", "--svg", "inch.svg")
        root = ElementTree.parse(self.path("inch.svg")).getroot()
        view = [float(v) for v in root.get("viewBox").split()]
        self.assertEqual((root.get("width"), root.get("height")), (f"{view[2]:g}mm", f"{view[3]:g}mm"))
        vat = root.find(".//s:rect[@class='line']", self.NS)
        self.assertEqual((vat.get("width"), vat.get("height")), ("1524", "1778"))
        loop, = self.loops(root.find(".//s:symbol", self.NS))
        sides = sorted({round(math.dist(a, b)) for a, b in zip(loop, loop[1:] + loop[:1])})
        self.assertEqual(sides, [508, 1016])
        texts = ["".join(t.itertext()) for t in root.findall(".//s:text", self.NS)]
        self.assertIn("vat 60 x 70 in", texts)

    def texts(self, root):
        return ["".join(t.itertext()) for t in root.findall(".//s:text", self.NS)]

    def test_it_shows_front_scale_and_the_closest_pair(self):
        self.assertIn("front", self.texts(self.root))
        self.assertIn("50 mm", self.texts(self.root))
        bars = [p.get("d") for p in self.root.findall("s:path[@class='line']", self.NS)]
        start, end = re.fullmatch(r"M(\S+) \S+?v\S+?H(\S+?)v\S+", bars[0]).groups()
        self.assertAlmostEqual(float(end) - float(start), 50, places=2)
        pair, = self.root.findall(".//s:path[@class='near']", self.NS)
        ends = [[float(n) for n in end.split()] for end in pair.get("d")[1:].split("L")]
        for drawn, wanted in zip(ends, self.data["closest_pair"]["points"]):
            self.assertLess(math.dist(drawn, wanted), 0.01)
        self.assertAlmostEqual(math.dist(*ends), self.data["smallest_distance"], delta=0.02)
        label = self.root.find(".//s:text[@class='distance']", self.NS).text
        self.assertEqual(label.split()[1], "mm")
        self.assertAlmostEqual(float(label.split()[0]), self.data["smallest_distance"], delta=0.0006)

    def test_one_piece_has_no_closest_pair(self):
        self.good("place", "box.stl", "--svg", "one.svg")
        root = ElementTree.parse(self.path("one.svg")).getroot()
        self.assertIsNone(root.find(".//s:path[@class='near']", self.NS))

    def test_the_name_of_a_frame_is_not_over_that_of_the_piece_in_it(self):
        # A frame of 60 around 40; a block of 20 in it: the places of both names, a line each of 1.1 letters' height.
        frame = [facet for box in (((60, 10, 5), (0, 0, 0)), ((60, 10, 5), (0, 50, 0)), ((10, 40, 5), (0, 10, 0)),
                                   ((10, 40, 5), (50, 10, 0))) for facet in box_facets(*box)]
        self.write("frame.stl", binary_stl(frame))
        self.write("block.stl", binary_stl(box_facets((20, 20, 5))))
        self.good("place", "frame.stl,at=10mm:10mm", "block.stl,at=30mm:30mm", "--vat", "100x100x60mm", "--svg", "in.svg")
        texts = ElementTree.parse(self.path("in.svg")).getroot().findall(".//s:text", self.NS)
        lines = {}
        for text in texts:
            if text.text in ("frame", "block"):
                size = float(re.search(r"font-size:([\d.]+)px", text.get("style")).group(1))
                lines[text.text] = (float(text.get("y")) - size, float(text.get("y")) + 1.4 * size)
        self.assertLess(lines["frame"][1], lines["block"][0])

    def test_one_symbol_a_part_and_turn(self):
        turns = {(p["part"], p["rotation"]) for p in self.data["pieces"]}
        self.assertEqual(len(self.root.findall(".//s:symbol", self.NS)), len(turns))
        uses = self.root.findall(".//s:use", self.NS)
        self.assertEqual(len(uses), 3)
        for use, piece in zip(uses, self.data["pieces"]):
            self.assertAlmostEqual(float(use.get("x")), piece["x"], delta=0.006)
            self.assertAlmostEqual(float(use.get("y")), piece["y"], delta=0.006)

    def loops(self, symbol):
        path = symbol.find("s:path", self.NS).get("d")
        return [[tuple(map(float, point.split())) for point in loop.rstrip("Z").split("L")]
                for loop in path.split("M") if loop]

    def test_outlines_are_those_of_the_meshes(self):
        symbols = self.root.findall(".//s:symbol", self.NS)
        areas = []
        for symbol in symbols:
            area = 0.0
            for loop in self.loops(symbol):
                area += sum(a[0] * b[1] - b[0] * a[1] for a, b in zip(loop, loop[1:] + loop[:1])) / 2
            areas.append(area)
        # The ring: two loops, the inner one the other way round, so that its hole stays open.
        self.assertEqual(len(self.loops(symbols[0])), 2)
        polygon = 48 / 2 * math.sin(2 * math.pi / 48)
        self.assertAlmostEqual(areas[0], polygon * (30 ** 2 - 20 ** 2), delta=2)
        self.assertAlmostEqual(areas[-1], 800, places=3)
        self.assertEqual(len(self.loops(symbols[-1])[0]), 4)

    def test_names_turns_and_extent_are_written(self):
        texts = ["".join(t.itertext()) for t in self.root.findall(".//s:text", self.NS)]
        self.assertTrue(any(t.startswith("ring & _co_ 1") for t in texts), texts)
        self.assertTrue(any("°" in t for t in texts))
        self.assertTrue(any(t.startswith("used ") for t in texts))
        self.assertIsNotNone(self.root.find(".//s:rect[@class='used']", self.NS))

    def test_an_existing_picture_is_refused(self):
        self.fails(OUTPUT, "place", "box.stl", "--svg", "plate.svg")
        self.good("place", "box.stl", "--svg", "plate.svg", "--force")


class ExampleParts(ToolTest):
    def test_the_example_parts_make_a_plate(self):
        arguments = [f"{path},copies=2" for path in sorted(PARTS.glob("*.stl"))]
        self.assertGreaterEqual(len(arguments), 6)
        data = self.json_of("build", *arguments, "-o", "out")
        facets = sum(i["facets"] * i["copies"] for i in data["inputs"])
        self.assertEqual(len(read_binary_stl(self.path("out/plate.stl"))), facets)


if __name__ == "__main__":
    unittest.main()
