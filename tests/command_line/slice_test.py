"""slice, and slc png, sheet, area and diff: what the contours hold is worked out here, by hand or by cutting facets."""
import json
import math
import struct
import unittest

import slc_test
from png_files import read_chunks, read_rows
from slc_test import area, read_slc
from style_files import *
from support import *


def f32(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def cut_area(facets, z):
    """The area that facets enclose at a height that meets no corner: half the sum of p x q over all cuts."""
    twice = 0.0
    for facet in facets:
        above = [corner[2] > z for corner in facet]
        if all(above) or not any(above):
            continue
        ends = {}
        for k in range(3):
            a, b = facet[k], facet[(k + 1) % 3]
            if (a[2] > z) != (b[2] > z):
                t = (z - a[2]) / (b[2] - a[2])
                # The way along the surface, interior to the left, begins where an edge goes down.
                ends[a[2] > z] = (a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]))
        p, q = ends[True], ends[False]
        twice += p[0] * q[1] - q[0] * p[1]
    return twice / 2


def read_png(path):
    """Width, height, rows of bytes, and the pixels in a metre."""
    chunks = read_chunks(pathlib.Path(path).read_bytes())
    width, height, _, rows = read_rows(chunks, colours=(0,))
    return width, height, rows, struct.unpack_from(">I", chunks[b"pHYs"])[0] if b"pHYs" in chunks else None


class Slice(ToolTest):
    def sliced(self, name, *options, exit=DONE):
        result = self.good("slice", name, *options, "-o", "out.slc", "--force", "--json")
        return result, read_slc(self.path("out.slc"))

    def test_a_box(self):
        self.write("box.stl", binary_stl(box_facets((10, 20, 1), (5, 6, 7))))
        result, file = self.sliced("box.stl", "--thickness", "0.25mm")
        self.assertEqual(file["layers"], [(z, [[(5, 6), (15, 6), (15, 26), (5, 26), (5, 6)]]) for z in (7, 7.25, 7.5, 7.75)])
        self.assertEqual((file["end"], file["table"], file["reserved"]), (8, [(7, 0.25, 0, 0)], bytes(256)))
        self.assertEqual(file["header"], b"-SLCVER 2.0 -UNIT MM -TYPE PART -PACKAGE TRQPREP -EXTENTS "
                                         b"5.000000,15.000000 6.000000,26.000000 7.000000,8.000000\r\n")
        data, = result.document()["data"]["files"]
        self.assertEqual((data["layers"], data["boundaries"], data["open"], data["volume"]), (4, 4, 0, 200))
        self.assertEqual(result.codes(), [])
        self.good("slc", "verify", "out.slc")

    def test_the_last_layer_ends_with_the_part(self):
        self.write("box.stl", binary_stl(box_facets((10, 20, 1.125))))
        _, file = self.sliced("box.stl", "--thickness", "0.25mm")
        self.assertEqual(([z for z, _ in file["layers"]], file["end"]), ([0, 0.25, 0.5, 0.75, 1], 1.125))
        self.write("box.stl", binary_stl(box_facets((10, 20, 1.00005))))
        _, file = self.sliced("box.stl", "--thickness", "0.25mm")
        self.assertEqual(([z for z, _ in file["layers"]], file["end"]), ([0, 0.25, 0.5, 0.75], f32(1.00005)))

    def test_where_a_layer_is_cut(self):
        # A wedge: at height h it is 10 - h wide.
        a, b, c, d = (0, 0, 0), (10, 0, 0), (0, 0, 10), (0, 4, 0)
        e, f = (10, 4, 0), (0, 4, 10)
        wedge = [(a, c, b), (a, b, e), (a, e, d), (d, e, f), (b, c, f), (b, f, e), (a, d, f), (a, f, c)]
        wedge = [tuple(reversed(t)) for t in wedge] if volume(wedge) < 0 else wedge
        self.write("wedge.stl", binary_stl(wedge))
        for cut, shift in (("bottom", 0), ("middle", 0.5), ("top", 1)):
            _, file = self.sliced("wedge.stl", "--thickness", "1mm", "--cut", cut)
            areas = [sum(map(area, loops)) for _, loops in file["layers"]]
            for k, found in enumerate(areas):
                self.assertAlmostEqual(found, 4 * (10 - k - shift), places=4, msg=f"{cut} {k}")

    def test_planes_in_flat_faces(self):
        # Steps: 10 x 10 up to 1, 5 x 10 up to 2. A plane in the flat top of the step sees what is below it only from above.
        stairs = box_facets((10, 10, 1)) + box_facets((5, 10, 1), (0, 0, 1))
        self.write("stairs.stl", binary_stl(stairs))
        _, file = self.sliced("stairs.stl", "--thickness", "1mm", "--cut", "bottom")
        self.assertEqual([sum(map(area, loops)) for _, loops in file["layers"]], [100, 50])
        _, file = self.sliced("stairs.stl", "--thickness", "1mm", "--cut", "top")
        self.assertEqual([sum(map(area, loops)) for _, loops in file["layers"]], [100, 50])

    def test_areas_of_a_ring_are_those_of_its_facets(self):
        ring = ring_facets(10, 6, 8)
        turned = [tuple((f32(x * 0.8 - z * 0.6), f32(y), f32(x * 0.6 + z * 0.8)) for x, y, z in facet) for facet in ring]
        self.write("ring.stl", binary_stl(turned))
        for options in ((), ("--keep-all",), ("--union", "never"), ("--union", "always"), ("--threads", "4")):
            _, file = self.sliced("ring.stl", "--thickness", "0.3mm", *options)
            low = min(c[2] for facet in turned for c in facet)
            tops = [z for z, _ in file["layers"][1:]] + [file["end"]]
            for k, ((z, loops), top) in enumerate(zip(file["layers"], tops)):
                middle = low + (k + 0.5) * f32(0.3) if k + 1 < len(tops) else (z + top) / 2
                self.assertAlmostEqual(sum(map(area, loops)), cut_area(turned, middle), delta=0.02, msg=f"{options} {k}")
                for loop in loops:
                    self.assertEqual(loop[0], loop[-1])
                    self.assertEqual(loop[0], min(loop))

    def test_the_same_bytes_with_any_number_of_threads(self):
        self.write("ring.stl", binary_stl(ring_facets(10, 6, 8)))
        files = []
        for threads in ("1", "2", "7"):
            self.sliced("ring.stl", "--threads", threads)
            files.append(self.path("out.slc").read_bytes())
        self.assertEqual(files[0], files[1])
        self.assertEqual(files[0], files[2])

    def test_shells_that_overlap(self):
        two = box_facets((4, 4, 4)) + box_facets((4, 4, 4), (2, 2, 2))
        self.write("two.stl", binary_stl(two))
        result, file = self.sliced("two.stl", "--thickness", "2mm")
        self.assertEqual([(len(loops), round(sum(map(area, loops)), 4)) for _, loops in file["layers"]],
                         [(1, 16), (1, 28), (1, 16)])
        self.assertEqual(result.document()["data"]["files"][0]["united_layers"], 1)
        _, file = self.sliced("two.stl", "--thickness", "2mm", "--union", "never")
        self.assertEqual([len(loops) for _, loops in file["layers"]], [1, 2, 1])

    def test_inside_out(self):
        self.write("out.stl", binary_stl([tuple(reversed(facet)) for facet in box_facets((4, 4, 4))]))
        result, file = self.sliced("out.stl", "--thickness", "2mm")
        self.assertEqual(result.codes(), ["INVERTED"])
        self.assertEqual(result.document()["messages"][0]["where"]["layers"], 2)
        self.assertEqual([sum(map(area, loops)) for _, loops in file["layers"]], [16, 16])

    def test_what_is_open_stays_open_and_is_told(self):
        self.write("open.stl", binary_stl(box_facets((10, 20, 30))[:-2]))  # a side is missing
        result, file = self.sliced("open.stl", "--thickness", "10mm")
        self.assertEqual(result.codes(), ["SLICE-OPEN"])
        where = result.document()["messages"][0]["where"]
        self.assertEqual(where["contours"], 3)
        self.assertEqual([p["layer"] for p in where["places"]], [1, 2, 3])
        widths = {p["width"] for p in where["places"]}
        self.assertTrue(widths <= {10, 20}, widths)
        self.assertEqual([loop[0] == loop[-1] for _, loops in file["layers"] for loop in loops], [False] * 3)
        self.assertEqual(self.fails(NO, "slice", "open.stl", "--thickness", "10mm", "--strict", "-o", "s.slc", "--json").codes(),
                         ["SLICE-OPEN"])
        # The first hundred are named; a torn part has millions.
        result, _ = self.sliced("open.stl", "--thickness", "0.2mm")
        where = result.document()["messages"][0]["where"]
        self.assertEqual(where["contours"], 150)
        self.assertEqual([p["layer"] for p in where["places"]], list(range(1, 101)))
        # Wide enough, the ends are joined.
        result, file = self.sliced("open.stl", "--thickness", "10mm", "--close", "25mm")
        self.assertEqual((result.codes(), result.document()["data"]["files"][0]["joined"]), ([], 3))
        self.assertEqual([sum(map(area, loops)) for _, loops in file["layers"]], [200] * 3)

    def test_units(self):
        tenth = [tuple(tuple(c / 10 for c in p) for p in facet) for facet in box_facets((10, 20, 30))]
        vertices = sorted({p for facet in tenth for p in facet})
        self.write("inch.ctl", make_ctl(vertices, [tuple(vertices.index(p) for p in facet) for facet in tenth], units=0))
        units = self.info_of("inch.ctl")["units"]
        result, file = self.sliced("inch.ctl", "--thickness", "12.7mm" if units == "in" else "0.5mm")
        self.assertIn(b"-UNIT INCH" if units == "in" else b"-UNIT MM", file["header"])
        self.assertEqual(len(file["layers"]), 6)
        self.assertEqual(file["table"][0][1], 0.5)

    def test_thickness_of_a_style(self):
        self.write("box.stl", binary_stl(box_facets((10, 20, 3))))
        self.write("Fine.sty", build_style_with(lambda records: setattr(records["Layer Thickness"], "value", 0.5)))
        _, file = self.sliced("box.stl", "--style", "Fine.sty")
        self.assertEqual((len(file["layers"]), file["table"]), (6, [(0, 0.5, 0, 0)]))
        _, file = self.sliced("box.stl", "--style", "Fine.sty", "--style-units", "in")
        self.assertEqual((len(file["layers"]), file["end"]), (1, 3))
        self.write("None.sty", build_style_with(lambda records: setattr(records["Layer Thickness"], "value", 0.0)))
        self.assertEqual(self.fails(INPUT, "slice", "box.stl", "--style", "None.sty", "-o", "n.slc", "--json").codes(),
                         ["STYLE-THICKNESS"])

    def test_a_folder_for_several(self):
        self.write("a.stl", binary_stl(box_facets((1, 2, 3))))
        self.path("more").mkdir()
        self.write("more/a.stl", binary_stl(box_facets((10, 20, 30))))
        data = self.json_of("slice", "a.stl", "more/a.stl", "--thickness", "1mm", "-o", "layers")
        self.assertEqual([f["output"] for f in data["files"]], ["layers/a.slc", "layers/a-2.slc"])
        self.assertEqual([len(read_slc(self.path(f["output"]))["layers"]) for f in data["files"]], [3, 30])
        self.fails(OUTPUT, "slice", "a.stl", "-o", "layers/")
        self.good("slice", "a.stl", "-o", "layers/", "--force")

    def test_a_folder_that_is_not_there(self):
        self.write("a.stl", binary_stl(box_facets((1, 2, 3))))
        long = "n" * 200 + "/" + "m" * 200 + "/"
        for folder in ("new/deep/", "new//deeper/", "new/other/../beside/", long):
            self.good("slice", "a.stl", "--thickness", "1mm", "-o", folder)
            self.assertTrue(self.path(folder + "a.slc").is_file(), folder)
        self.assertTrue(self.path("new/other").is_dir())
        for folder in ("a.stl/", "a.stl/deep/"):
            failed = self.fails(OUTPUT, "slice", "a.stl", "--thickness", "1mm", "-o", folder)
            self.assertIn(f"{folder}: cannot be made: Not a directory", failed.err)

    def test_what_makes_no_layers(self):
        self.write("box.stl", binary_stl(box_facets((10, 20, 30))))
        for options, exit, code in ((("--thickness", "0"), USAGE, "USAGE"), (("--thickness", "0.0001mm"), INPUT, "SLICE-LAYERS"),
                                    (("--from", "40mm"), INPUT, "SLICE-LAYERS"), (("--close", "-1"), USAGE, "USAGE"),
                                    (("--thickness", "1mm", "--style", "x.sty"), USAGE, "USAGE")):
            result = self.fails(exit, "slice", "box.stl", *options, "-o", "n.slc", "--json")
            self.assertEqual(result.codes(), [code], options)
        self.assertEqual(self.listing(), ["box.stl"])
        self.write("flat.stl", binary_stl([((0, 0, 1), (9, 0, 1), (0, 9, 1)), ((9, 0, 1), (9, 9, 1), (0, 9, 1))]))
        self.assertEqual(self.fails(INPUT, "slice", "flat.stl", "-o", "n.slc", "--json").codes(), ["SLICE-LAYERS"])

    def test_what_would_take_too_long(self):
        # 1400 facets around a cylinder, cut by 99 999 layers: 140 million crossings.
        around = [(math.cos(2 * math.pi * i / 700), math.sin(2 * math.pi * i / 700)) for i in range(701)]
        side = [facet for (a, b), (c, d) in zip(around, around[1:])
                for facet in (((a, b, 0), (c, d, 0), (c, d, 99.999)), ((a, b, 0), (c, d, 99.999), (a, b, 99.999)))]
        self.write("high.stl", binary_stl(side))
        result = self.fails(INPUT, "slice", "high.stl", "--thickness", "0.001mm", "-o", "n.slc", "--json")
        self.assertEqual(result.codes(), ["SLICE-BOUND"])
        self.assertIn("cross the layers", result.document()["messages"][0]["text"])
        # 20 000 sheets beside each other that touch only below, each open in 20 layers.
        sheets = [((0, 0, -1), (i, 0, 20), (i, 1, 20)) for i in range(20_000)]
        self.write("torn.stl", binary_stl(sheets))
        result = self.fails(INPUT, "slice", "torn.stl", "--thickness", "0.5mm", "-o", "n.slc", "--json")
        self.assertEqual(result.codes(), ["SLICE-BOUND"])
        self.assertIn("repair", result.document()["messages"][0]["hint"])
        self.assertIn("SLICE-BOUND", self.fails(INPUT, "check", "torn.stl", "--slices", "--thickness", "0.5mm", "--json").codes())

    def test_from_a_height(self):
        self.write("box.stl", binary_stl(box_facets((10, 20, 3))))
        _, file = self.sliced("box.stl", "--thickness", "0.5mm", "--from", "2mm")
        self.assertEqual([z for z, _ in file["layers"]], [2, 2.5])


class Builds(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("Fine.sty", build_style_with(lambda records: setattr(records["Layer Thickness"], "value", 0.25)))
        self.write("Coarse.sty", build_style_with(lambda records: setattr(records["Layer Thickness"], "value", 0.75)))

    def build(self, *arguments):
        self.good("build", *arguments, "--slice", "-o", "out", "--force")
        return {f"{p['part']}-{p['copy']}": read_slc(self.path("out") / p["slices"]) for p in json.loads(self.path("out/build.json").read_text())["pieces"]}

    def facets_of(self, piece, counts):
        """Of plate.stl, which holds the pieces one after the other."""
        facets = read_binary_stl(self.path("out/plate.stl"))
        at = sum(counts[:piece])
        return facets[at:at + counts[piece]]

    def test_contours_are_cut_from_the_plate(self):
        ring = [tuple((f32(x), f32(y * 0.8 - z * 0.6), f32(y * 0.6 + z * 0.8)) for x, y, z in facet)
                for facet in ring_facets(10, 6, 4)]
        self.write("ring.stl", binary_stl(ring))
        files = self.build("ring.stl,copies=2,rotate-z=10", "--drop", "--style", "Fine.sty")
        self.assertEqual(sorted(files), ["ring-1", "ring-2"])
        for k, name in enumerate(sorted(files)):
            file, facets = files[name], self.facets_of(k, [len(ring)] * 2)
            heights = [z for z, _ in file["layers"]]
            self.assertEqual(heights[:3], [0, 0.25, 0.5])
            top = max(c[2] for facet in facets for c in facet)
            self.assertEqual(file["end"], top)
            for i, (z, loops) in enumerate(file["layers"]):
                end = heights[i + 1] if i + 1 < len(heights) else top
                self.assertAlmostEqual(sum(map(area, loops)), cut_area(facets, (z + end) / 2), delta=0.02)
        self.good("verify", "--strict", "out")
        self.good("build", "out/build.toml", "-o", "again")
        for name in ("slices/ring-1.slc", "build.json"):
            self.assertEqual(self.path("again/" + name).read_bytes(), self.path("out/" + name).read_bytes())
        self.assertIn("slice = true", self.path("out/build.toml").read_text())

    def test_pieces_share_the_planes_of_the_blade(self):
        self.write("low.stl", binary_stl(box_facets((5, 5, 4), (0, 0, 0.125))))
        self.write("high.stl", binary_stl(box_facets((5, 5, 4), (0, 0, 0.6))))
        files = self.build("low.stl", "high.stl", "--style", "Fine.sty")
        self.assertEqual([z for z, _ in files["low-1"]["layers"]][:2], [0, 0.25])
        self.assertEqual([z for z, _ in files["high-1"]["layers"]][:2], [0.5, 0.75])
        # The first layer of the low part is cut at its middle, which touches it; that of the high one lies in it.
        self.assertEqual(files["high-1"]["table"], [(0.5, 0.25, 0, 0)])

    def test_bands_of_styles(self):
        self.write("box.stl", binary_stl(box_facets((5, 5, 4))))
        file, = self.build("box.stl", "--style", "Fine.sty", "--style", "Coarse.sty@1:3mm").values()
        self.assertEqual([z for z, _ in file["layers"]], [0, 0.25, 0.5, 0.75, 1, 1.75, 2.5, 3, 3.25, 3.5, 3.75])
        self.assertEqual(file["table"], [(0, 0.25, 0, 0), (1, 0.75, 0, 0), (3, 0.25, 0, 0)])
        self.assertEqual(file["end"], 4)

    def test_what_verify_finds(self):
        self.write("box.stl", binary_stl(box_facets((5, 5, 4))))
        self.build("box.stl", "--style", "Fine.sty")
        path = self.path("out/slices/box-1.slc")
        path.write_bytes(path.read_bytes()[:-4])
        self.assertIn("VERIFY-HASH", self.fails(NO, "verify", "out", "--json").codes())
        path.unlink()
        self.assertEqual(self.fails(NO, "verify", "out", "--json").codes(), ["VERIFY-FILE"])

    def test_a_part_without_a_style(self):
        self.write("box.stl", binary_stl(box_facets((5, 5, 4))))
        self.fails(USAGE, "build", "box.stl", "--slice", "-o", "out")
        self.assertNotIn("out", self.listing())

    def test_open_contours_are_findings(self):
        self.write("open.stl", binary_stl(box_facets((10, 20, 3))[:-2]))
        self.good("build", "open.stl", "--style", "Fine.sty", "--slice", "-o", "out")
        checks = json.loads(self.path("out/checks.json").read_text())
        self.assertIn(("SLICE-OPEN", "slices/open-1.slc"), [(f["code"], f["file"]) for f in checks["findings"]])
        self.fails(NO, "build", "open.stl", "--style", "Fine.sty", "--slice", "--strict", "-o", "strict")


class Pictures(slc_test.SlcTest):
    def test_a_picture_of_exact_shares(self):
        # The box of the file is 10 x 20; half a millimetre a pixel, with a pixel around.
        data = self.json_of("slc", "png", "three.slc", "--layers", "1", "--pixel", "0.5mm", "-o", "one.png")
        width, height, rows, per_metre = read_png(self.path("one.png"))
        self.assertEqual((width, height, per_metre), (22, 42, 2000))
        self.assertEqual((data["columns"], data["rows"], data["pixel"]), (22, 42, 0.5))
        for y, row in enumerate(rows):
            for x, grey in enumerate(row):
                px, py = (x - 1) * 0.5, 20 - y * 0.5  # of the pixel's lower left corner
                inside = 0 <= px < 10 and 0 <= py < 20 and not (4 <= px < 6 and 8 <= py < 12)
                self.assertEqual(grey, 255 if inside else 0, (x, y))
        self.good("slc", "png", "three.slc", "--layers", "1", "--pixel", "0.7mm", "-o", "two.png")
        _, _, rows, _ = read_png(self.path("two.png"))
        self.assertAlmostEqual(sum(map(sum, rows)) / 255 * 0.49, 192, delta=0.49)

    def test_pictures_of_several_layers(self):
        data = self.json_of("slc", "png", "three.slc", "--layers", "3,1,z=1.6mm,1-2", "--size", "40", "-o", "pictures")
        self.assertEqual([p["layer"] for p in data["pictures"]], [1, 2, 3])
        self.assertEqual([p["output"] for p in data["pictures"]], [f"pictures/layer-{k}.png" for k in (1, 2, 3)])
        sizes = {read_png(self.path(p["output"]))[:2] for p in data["pictures"]}
        self.assertEqual(sizes, {(21, 40)})
        self.assertFalse(any(map(any, read_png(self.path("pictures/layer-3.png"))[2])))
        self.fails(OUTPUT, "slc", "png", "three.slc", "--size", "40", "-o", "pictures")
        data = self.json_of("slc", "svg", "three.slc", "--layers", "all", "-o", "drawings/")
        self.assertEqual([p["output"] for p in data["pictures"]], [f"drawings/layer-{k}.svg" for k in (1, 2, 3)])

    def test_what_is_no_choice_of_layers(self):
        for layers in ("0", "4", "1-4", "x", "1,,2", "z=9mm", "-1", "2-1", "99999999999"):
            self.fails(USAGE, "slc", "png", "three.slc", "--layers", layers, "-o", "out.png")
        self.fails(USAGE, "slc", "png", "three.slc", "--pixel", "0.0001mm", "-o", "out.png")
        self.fails(USAGE, "slc", "png", "three.slc", "--pixel", "0", "-o", "out.png")
        self.fails(USAGE, "slc", "png", "three.slc", "--pixel", "1", "--size", "40", "-o", "out.png")
        self.assertIn("-o out/", self.fails(USAGE, "slc", "png", "three.slc", "--layers", "1,2", "-o", "out.png").err)
        self.fails(USAGE, "slc", "svg", "three.slc", "--layers", "1,2", "-o", "out.svg")
        self.assertEqual(self.listing(), ["three.slc"])

    def test_a_sheet(self):
        data = self.json_of("slc", "sheet", "three.slc", "-o", "sheet.png")
        self.assertEqual(data["shown"], [1, 2, 3])
        width, height, rows, _ = read_png(self.path("sheet.png"))
        self.assertEqual((width, height), (data["columns"], data["rows"]))
        self.assertEqual({0, 64, 255}, set(b"".join(rows)) & {0, 64, 255})
        self.assertEqual(self.json_of("slc", "sheet", "three.slc", "--count", "1", "-o", "one.png")["shown"], [1])

    def test_names_on_a_sheet_have_room(self):
        tower = slc_test.boundary(slc_test.rectangle(0, 0, 1, 100))
        self.write("wall.slc", slc_test.slc([slc_test.layer(k + 0.125, tower) for k in range(4)], 5))
        data = self.json_of("slc", "sheet", "wall.slc", "--size", "100", "-o", "sheet.png")
        # Two columns of "1 z 0.125 mm", twelve letters of 8 pixels, 8 between and around them.
        self.assertEqual(data["columns"], 2 * (12 * 8 + 8) + 8)

    def test_areas(self):
        data = self.json_of("slc", "area", "three.slc")
        self.assertEqual([(l["area"], l["boundaries"], l["clockwise"], l["perimeter"]) for l in data["each_layer"]],
                         [(192, 2, 1, 72), (19, 2, 0, 24), (0, 0, 0, 0)])
        self.assertEqual(data["volume"], 124.5)
        table = self.good("slc", "area", "three.slc", "--csv").out.decode().splitlines()
        self.assertEqual(table, ["layer,z,area,boundaries,holes,open,perimeter", "1,1,192,2,1,0,72", "2,1.5,19,2,0,0,24",
                                 "3,3,0,0,0,0,0"])

    def test_differences(self):
        self.assertTrue(self.json_of("slc", "diff", "three.slc", "three.slc")["same"])
        other = slc_test.slc([slc_test.FRAME, slc_test.layer(1.50005, slc_test.boundary(slc_test.rectangle(0, 0, 4, 5)))], 4)
        self.write("other.slc", other)
        result = self.fails(NO, "slc", "diff", "three.slc", "other.slc", "--json")
        data = result.document()["data"]
        self.assertEqual((data["same"], data["layers"], data["largest"]), (False, 2, 1))
        self.assertEqual(data["each_layer"], [{"z": 1.5, "area": 19, "other_area": 20}, {"z": 3, "area": 0, "other_area": None}])
        # The same part in inches.
        inch = [slc_test.layer(z / 25.4, *[slc_test.boundary([(x / 25.4, y / 25.4) for x, y in loop]) for loop in loops])
                for z, loops in read_slc(self.path("three.slc"))["layers"]]
        self.write("inch.slc", slc_test.slc(inch, 4 / 25.4, slc_test.HEADER.replace(b"MM", b"INCH")))
        self.good("slc", "diff", "three.slc", "inch.slc")


if __name__ == "__main__":
    unittest.main()
