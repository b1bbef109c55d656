"""slc info, verify, svg, mirror and copy, on files built here byte by byte."""
import math
import re
import struct
import unittest
import xml.etree.ElementTree

from support import *

HEADER = b"-SLCVER 2.0 -UNIT MM -TYPE PART -PACKAGE A_TEST -EXTENTS 0,10 0,20 1,4\r\n"
TERMINATOR = 0xFFFFFFFF


def boundary(points, gaps=0):
    return struct.pack("<II", len(points), gaps) + b"".join(struct.pack("<2f", *p) for p in points)


def rectangle(x0, y0, x1, y1, clockwise=False):
    points = [(x0, y0), (x1, y0), (x1, y1), (x0, y1), (x0, y0)]
    return points[::-1] if clockwise else points


def layer(z, *boundaries):
    return struct.pack("<fI", z, len(boundaries)) + b"".join(boundaries)


def slc(layers, end, header=HEADER, reserved=bytes(256), table=((1.0, 0.5, 0.25, 0.0),), count=None):
    data = header + b"\x1a" + reserved + struct.pack("<B", len(table) if count is None else count)
    data += b"".join(struct.pack("<4f", *entry) for entry in table)
    return data + b"".join(layers) + struct.pack("<fI", end, TERMINATOR)


def read_slc(path):
    """An independent reader: header, reserved block, table and layers of (z, boundaries)."""
    data = pathlib.Path(path).read_bytes()
    start = data.index(b"\x1a")
    reserved = data[start + 1:start + 257]
    at = start + 257
    count = data[at]
    at += 1
    table = [struct.unpack_from("<4f", data, at + 16 * i) for i in range(count)]
    at += 16 * count
    layers = []
    while True:
        z, boundaries = struct.unpack_from("<fI", data, at)
        at += 8
        if boundaries == TERMINATOR:
            assert at == len(data)
            return {"header": data[:start], "reserved": reserved, "table": table, "layers": layers, "end": z}
        loops = []
        for _ in range(boundaries):
            vertices, _ = struct.unpack_from("<II", data, at)
            at += 8
            loops.append([struct.unpack_from("<2f", data, at + 8 * i) for i in range(vertices)])
            at += 8 * vertices
        layers.append((z, loops))


def area(points):
    return sum(a[0] * b[1] - b[0] * a[1] for a, b in zip(points, points[1:] + points[:1])) / 2


# Three layers: a frame of 10 x 20 with a hole of 2 x 4, a smaller block beside a small one, and an empty one.
FRAME = layer(1, boundary(rectangle(0, 0, 10, 20), 3), boundary(rectangle(4, 8, 6, 12, clockwise=True)))
BLOCKS = layer(1.5, boundary(rectangle(0, 0, 4, 4)), boundary(rectangle(7, 2, 10, 3)))
EMPTY = layer(3)
THREE = slc([FRAME, BLOCKS, EMPTY], 4)


class SlcTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("three.slc", THREE)


class Info(SlcTest):
    def test_what_the_layers_hold(self):
        document = self.good("slc", "info", "three.slc", "--json").document()
        data = document["data"]
        self.assertEqual(document["messages"], [])
        self.assertEqual((document["units"], data["units"], data["units_stated"]), ("mm", "mm", True))
        self.assertEqual((data["layers"], data["boundaries"], data["clockwise"], data["open"]), (3, 4, 1, 0))
        self.assertEqual((data["vertices"], data["gaps"]), (20, 3))
        self.assertEqual((data["start"], data["end"]), (1, 4))
        self.assertEqual(data["box"], {"min": [0, 0, 1], "max": [10, 20, 3]})  # the third layer is empty
        self.assertEqual(data["table"], [{"min_z": 1, "layer_thickness": 0.5, "line_width_compensation": 0.25}])
        self.assertEqual([l["area"] for l in data["each_layer"]], [192, 19, 0])
        self.assertEqual([l["z"] for l in data["each_layer"]], [1, 1.5, 3])
        self.assertEqual([l["layer"] for l in data["each_layer"]], [1, 2, 3])
        # 0.5 mm of the first layer, 1.5 of the second
        self.assertAlmostEqual(data["volume"], 192 * 0.5 + 19 * 1.5, places=9)
        text = self.good("slc", "info", "three.slc").out.decode()
        self.assertIn("10 x 20 x 2 mm", text)
        self.assertRegex(text, r"\n +1 +1 +2 +10 +192\n")
        self.assertIn("from z 1: 0.5 mm, line width compensation 0.25 mm", text)

    def test_info_knows_it_by_its_content(self):
        self.path("three.slc").rename(self.path("contours.dat"))
        data = self.info_of("contours.dat")
        self.assertEqual((data["kind"], data["layers"], data["volume"]), ("slc", 3, 124.5))
        self.assertNotIn("each_layer", data)

    def test_units(self):
        inches = slc([FRAME], 4, HEADER.replace(b"MM", b"INCH"))
        self.write("inch.slc", inches)
        data = self.json_of("slc", "info", "inch.slc", "--units", "mm")
        self.assertEqual((data["units"], data["size_in"]), ("in", [10, 20, 3]))
        for found, wanted in zip(data["size_mm"], (254, 508, 76.2)):
            self.assertAlmostEqual(found, wanted, places=9)
        self.write("none.slc", slc([FRAME], 4, b"-SLCVER 2.0"))
        result = self.good("slc", "info", "none.slc", "--units", "in", "--json")
        self.assertEqual((result.codes(), result.document()["data"]["units"]), (["UNITS-UNKNOWN"], "in"))

    def test_open_boundaries_and_wrong_windings_are_told(self):
        self.write("open.slc", slc([layer(1, boundary(rectangle(0, 0, 2, 2)[:-1]))], 2))
        data = self.json_of("slc", "info", "open.slc")
        self.assertEqual((data["open"], data["each_layer"][0]["area"]), (1, 4))
        self.write("wrong.slc", slc([FRAME, layer(1.5, boundary(rectangle(0, 0, 2, 2, True)))], 2))
        result = self.good("slc", "info", "wrong.slc", "--json")
        self.assertEqual(result.codes(), ["SLC-WINDING"])
        self.assertEqual(result.document()["messages"][0]["where"], {"layer": 2})
        self.assertEqual(result.document()["data"]["each_layer"][1]["area"], -4)

    def test_vertices_that_are_not_finite_are_left_out(self):
        for value in (math.nan, math.inf, -math.inf):
            self.write("odd.slc", slc([layer(1, boundary([(0, 0), (value, 0), (1, 1), (0, 0)])), FRAME], 2))
            result = self.good("slc", "info", "odd.slc", "--json")
            self.assertEqual(result.codes(), ["SLC-NAN"])
            data = result.document()["data"]
            self.assertEqual((data["each_layer"][0]["area"], data["box"]["max"]), (0, [10, 20, 2]))
            self.fails(INPUT, "slc", "mirror", "odd.slc", "--axis", "x", "-o", "out.slc")

    def test_bytes_without_a_meaning_are_noted(self):
        self.write("more.slc", slc([FRAME], 2, reserved=b"\0" * 9 + b"x" + b"\0" * 246) + b"trailing")
        result = self.good("slc", "info", "more.slc", "--json")
        messages = result.document()["messages"]
        self.assertEqual([(m["code"], m["severity"]) for m in messages],
                         [("SLC-RESERVED", "note"), ("SLC-TRAILING", "note")])
        size = self.path("more.slc").stat().st_size
        self.assertEqual([m["where"] for m in messages], [{"byte": len(HEADER) + 10}, {"byte": size - 8}])

    def test_a_table_count_of_128_and_more_reads_no_entries(self):
        self.write("many.slc", slc([FRAME], 2, table=(), count=200))
        data = self.json_of("slc", "info", "many.slc")
        self.assertEqual((data["table_count"], data["table"], data["layers"]), (200, [], 1))
        self.assertIn("a table count of 200 reads no entries", self.good("slc", "info", "many.slc").out.decode())
        self.good("slc", "verify", "many.slc")

    def test_every_shorter_file_is_refused_with_its_place(self):
        data = slc([layer(1, boundary([(0, 0), (1, 0), (0, 0)]))], 2, b"-SLCVER 2.0 -UNIT MM")
        header = len(b"-SLCVER 2.0 -UNIT MM") + 1
        layers = header + 256 + 1 + 16
        for size in [*range(0, header + 2), *range(layers - 18, len(data))]:
            self.write("cut.slc", data[:size])
            result = self.fails(INPUT, "slc", "info", "cut.slc", "--json")
            message, = result.document()["messages"]
            wanted = "SLC-HEADER" if size < header else "SLC-SHORT"
            self.assertEqual((message["code"], message["file"]), (wanted, "cut.slc"), size)
            if size >= layers:
                self.assertEqual(message["where"].get("layer"), 1 if size < len(data) - 8 else 2, size)

    def test_what_is_no_slice_contour_file(self):
        self.write("zero.slc", slc([FRAME], 2, table=(), count=0))
        self.assertEqual(self.fails(INPUT, "slc", "info", "zero.slc", "--json").codes(), ["SLC-TABLE"])
        self.write("long.slc", b"x" * 2049 + b"\x1a")
        self.assertEqual(self.fails(INPUT, "info", "long.slc", "--json").codes(), ["SLC-HEADER"])
        self.write("part.slc", binary_stl(box_facets()))
        self.assertEqual(self.info_of("part.slc")["kind"], "stl")
        self.assertEqual(self.fails(INPUT, "slc", "info", "absent.slc", "--json").codes(), ["INPUT-MISSING"])

    def test_a_name_longer_than_the_library_keeps(self):
        folder = self.folder
        for _ in range(3):
            folder = folder / ("n" * 200)
            folder.mkdir()
        (folder / "three.slc").write_bytes(THREE)
        self.assertEqual(self.json_of("slc", "info", folder / "three.slc")["layers"], 3)
        self.good("slc", "copy", folder / "three.slc", "-o", folder / "copy.slc")
        self.assertEqual((folder / "copy.slc").read_bytes(), THREE)


class Verify(SlcTest):
    def test_a_sound_file(self):
        data = self.json_of("slc", "verify", "three.slc")
        self.assertEqual((data["same"], data["file_size"], data["trailing_bytes"]), (True, len(THREE), 0))

    def test_reserved_block_and_trailing_bytes_are_no_difference(self):
        self.write("more.slc", slc([FRAME], 2, reserved=b"r" * 256) + b"tail")
        result = self.good("slc", "verify", "more.slc", "--json")
        data = result.document()["data"]
        self.assertEqual((data["same"], data["reserved_is_zero"], data["trailing_bytes"]), (True, False, 4))
        self.assertEqual(result.codes(), ["SLC-RESERVED", "SLC-TRAILING"])

    def test_numbers_without_a_value_survive(self):
        odd = struct.pack("<2I", 0x7FC12345, 0xFF812345)
        self.write("odd.slc", slc([struct.pack("<fIII", 1, 1, 1, 7) + odd], 2))
        self.assertTrue(self.json_of("slc", "verify", "odd.slc")["same"])


class Copy(SlcTest):
    def test_everything_but_what_follows_the_terminator(self):
        data = slc([FRAME, EMPTY], 4, reserved=b"r" * 256)
        self.write("more.slc", data + b"tail")
        self.good("slc", "copy", "more.slc", "-o", "copy.slc")
        self.assertEqual(self.path("copy.slc").read_bytes(), data)
        self.fails(OUTPUT, "slc", "copy", "more.slc", "-o", "copy.slc")
        self.good("slc", "copy", "three.slc", "-o", "copy.slc", "--force")
        self.assertEqual(self.path("copy.slc").read_bytes(), THREE)


class Mirror(SlcTest):
    def mirrored(self, *options):
        self.good("slc", "mirror", "three.slc", *options, "-o", "out.slc", "--force")
        return read_slc(self.path("out.slc"))

    def check_xy(self, file, reflect):
        before = read_slc(self.path("three.slc"))
        self.assertEqual([z for z, _ in file["layers"]], [1, 1.5, 3])
        self.assertEqual(file["end"], 4)
        for (_, loops), (_, found) in zip(before["layers"], file["layers"]):
            self.assertEqual(len(loops), len(found))
            for loop, turned in zip(loops, found):
                self.assertEqual(turned, [reflect(p) for p in loop][::-1])
                self.assertAlmostEqual(area(turned), area(loop), places=4)

    def test_in_place(self):
        file = self.mirrored("--axis", "x")
        self.check_xy(file, lambda p: (10 - p[0], p[1]))
        self.assertIn(b"-EXTENTS 0.0,10.0 0,20 1,4", file["header"])
        self.assertEqual(file["table"], [(1.0, 0.5, 0.25, 0.0)])

    def test_at_a_plane_and_beside(self):
        self.check_xy(self.mirrored("--axis", "y", "--plane", "0"), lambda p: (p[0], -p[1]))
        file = self.mirrored("--axis", "y", "--beside", "5mm")
        self.check_xy(file, lambda p: (p[0], 45 - p[1]))  # from 25 to 45: five behind the part
        self.assertIn(b" 25.0,45.0 1,4", file["header"])

    def test_upside_down(self):
        file = self.mirrored("--axis", "z", "--plane", "4")
        # The empty layer from 3 to 4 lies from 4 to 5, the blocks of 1.5 to 3 from 5 to 6.5, the frame on top.
        self.assertEqual([z for z, _ in file["layers"]], [4, 5, 6.5])
        self.assertEqual(file["end"], 7)
        before = [loops for _, loops in read_slc(self.path("three.slc"))["layers"]]
        self.assertEqual([loops for _, loops in file["layers"]], before[::-1])
        self.assertIn(b" 4.0,7.0\r\n", file["header"])
        self.assertEqual(file["table"], [(4.0, 0.5, 0.25, 0.0)])

    def test_upside_down_where_the_terminator_repeats_the_last_height(self):
        self.write("three.slc", slc([layer(1, boundary(rectangle(0, 0, 3, 3))), layer(1.5, boundary(rectangle(0, 0, 2, 2))),
                                     layer(2.5, boundary(rectangle(0, 0, 1, 1)))], 2.5))
        self.assertEqual(self.json_of("slc", "info", "three.slc")["volume"], 9 * 0.5 + 4 * 1 + 1 * 1)
        file = self.mirrored("--axis", "z", "--plane", "0")
        self.assertEqual([(z, area(loops[0])) for z, loops in file["layers"]], [(-2.5, 1), (-1.5, 4), (-1, 9)])
        self.assertEqual(file["end"], -1)

    def test_the_ranges_of_the_table_turn_too(self):
        self.write("three.slc", slc([FRAME, BLOCKS, EMPTY], 4, table=((1, 0.5, 0, 0), (1.5, 1.5, 0, 0))))
        file = self.mirrored("--axis", "z", "--plane", "4")
        self.assertEqual(file["table"], [(4.0, 1.5, 0, 0), (6.5, 0.5, 0, 0)])

    def test_twice_is_as_before(self):
        for axis in "xyz":
            self.good("slc", "mirror", "three.slc", "--axis", axis, "-o", "once.slc", "--force")
            self.good("slc", "mirror", "once.slc", "--axis", axis, "-o", "twice.slc", "--force")
            before, after = read_slc(self.path("three.slc")), read_slc(self.path("twice.slc"))
            for key in ("layers", "table", "end", "reserved"):
                self.assertEqual(before[key], after[key], axis)

    def test_what_makes_no_sense(self):
        self.fails(USAGE, "slc", "mirror", "three.slc", "-o", "out.slc")
        self.fails(USAGE, "slc", "mirror", "three.slc", "--axis", "w", "-o", "out.slc")
        self.fails(USAGE, "slc", "mirror", "three.slc", "--axis", "x", "--plane", "1", "--beside", "1", "-o", "o.slc")
        self.assertEqual(self.listing(), ["three.slc"])


class Svg(SlcTest):
    def picture(self, *options):
        root = xml.etree.ElementTree.fromstring(self.good("slc", "svg", "three.slc", *options).out)
        name = "{http://www.w3.org/2000/svg}"
        paths = {p.get("class"): p.get("d") for p in root.iter(name + "path")}
        texts = ["".join(t.itertext()) for t in root.iter(name + "text")]
        return root, paths, texts

    @staticmethod
    def loops(path):
        return [[tuple(map(float, p.split())) for p in re.split("[ML]", loop) if p] for loop in path.split("Z") if loop]

    def test_outer_and_inner_boundaries_are_filled_together(self):
        root, paths, texts = self.picture("--layer", "1")
        outer = [(0, 0), (10, 0), (10, 20), (0, 20)]
        inner = [(4, 8), (4, 12), (6, 12), (6, 8)]
        self.assertEqual(self.loops(paths["outer"]), [outer])
        self.assertEqual(self.loops(paths["inner"]), [inner])
        self.assertEqual(self.loops(paths["solid"]), [outer, inner])
        self.assertIn("fill-rule:evenodd", root.find("{http://www.w3.org/2000/svg}style").text)
        self.assertIn("layer 1 of 3, z 1 mm, area 192 mm\u00b2", texts)
        self.assertIn("1 outer, 1 inner", texts)

    def test_it_is_drawn_to_scale(self):
        for unit, name in ((b"MM", "mm"), (b"INCH", "in")):
            self.write("three.slc", slc([FRAME, BLOCKS], 4, HEADER.replace(b"MM", unit)))
            root, _, texts = self.picture("--layer", "2")
            width, height = root.get("width"), root.get("height")
            self.assertTrue(width.endswith(name) and height.endswith(name))
            _, _, page_width, page_height = map(float, root.get("viewBox").split())
            svg = "{http://www.w3.org/2000/svg}"
            scale = re.search(r"scale\(([\d.]+) -([\d.]+)\)", root.find(svg + "g").get("transform"))
            self.assertEqual(scale[1], scale[2])
            # A length of the part, on the page, as printed: the same length.
            self.assertAlmostEqual(float(scale[1]) * float(width[:-2]) / page_width, 1, places=4)
            self.assertAlmostEqual(float(scale[1]) * float(height[:-2]) / page_height, 1, places=4)
            self.assertIn("5 " + name, texts)  # the scale bar
            bar = [p.get("d") for p in root.iter(svg + "path") if p.get("class") == "bar"][0]
            start, end = re.match(r"M([\d.]+) [\d.]+V[\d.]+H([\d.]+)V", bar).groups()
            self.assertAlmostEqual((float(end) - float(start)) / float(scale[1]), 5, places=3)
            box = root.find(svg + "g").find(svg + "rect")
            self.assertEqual((box.get("width"), box.get("height")), ("10", "20"))

    def test_layers_by_height(self):
        for z, wanted in (("1", 1), ("1.49", 1), ("1.5mm", 2), ("2.999", 2), ("3", 3), ("4", 3),
                          ("0.0590551in", 2)):
            self.good("slc", "svg", "three.slc", "--z", z, "-o", "layer.svg", "--force")
            data = self.json_of("slc", "svg", "three.slc", "--z", z, "-o", "layer.svg", "--force")
            self.assertEqual(data["layer"], wanted, z)
        for z in ("0.99", "4.01"):
            self.fails(USAGE, "slc", "svg", "three.slc", "--z", z)

    def test_an_empty_layer_and_an_empty_part(self):
        _, paths, texts = self.picture("--layer", "3")
        self.assertEqual(list(paths), ["bar"])
        self.assertIn("0 outer, 0 inner", texts)
        self.write("three.slc", slc([EMPTY], 4))
        self.picture("--layer", "1")

    def test_what_makes_no_sense(self):
        self.fails(USAGE, "slc", "svg", "three.slc")
        self.fails(USAGE, "slc", "svg", "three.slc", "--layer", "4")
        self.fails(USAGE, "slc", "svg", "three.slc", "--layer", "0")
        self.fails(USAGE, "slc", "svg", "three.slc", "--layer", "1", "--z", "1")


class Example(ToolTest):
    def test_the_cone_is_what_its_generator_says(self):
        cone = SOURCE / "examples" / "contours" / "cone.slc"
        data = self.json_of("slc", "info", cone)
        self.assertEqual((data["layers"], data["boundaries"], data["clockwise"]), (50, 100, 50))
        # Rings of chords: a 64-gon of radius r has the area 32 r^2 sin(2 pi / 64).
        factor = 32 * math.sin(2 * math.pi / 64)
        for i, layer_data in enumerate(data["each_layer"]):
            radius = 20 - 15 * i / 50
            self.assertAlmostEqual(layer_data["area"], factor * (radius ** 2 - 3 ** 2), delta=0.02)
        self.good("slc", "verify", cone)


if __name__ == "__main__":
    unittest.main()
