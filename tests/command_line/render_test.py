"""render: what stands where in pictures is worked out here from the parts."""
import re
import unittest

import slc_test
from png_files import read_chunks, read_rows
from support import *


def read_png(path_or_bytes):
    """Width, height, and rows of pixels: tuples of three or four bytes."""
    data = path_or_bytes if isinstance(path_or_bytes, bytes) else pathlib.Path(path_or_bytes).read_bytes()
    width, height, channels, rows = read_rows(read_chunks(data), colours=(2, 6))
    return width, height, [[tuple(row[i:i + channels]) for i in range(0, len(row), channels)] for row in rows]


def is_reddish(pixel):
    return pixel[0] > 180 and pixel[1] < 90 and pixel[2] < 90


class Render(ToolTest):
    def drawn(self, *arguments, **more):
        result = self.good("render", *arguments, "-o", "view.png", "--force", "--json", **more)
        width, height, rows = read_png(self.path("view.png"))
        data = result.document()["data"]
        self.assertEqual((data["columns"], data["rows"]), (width, height))
        return data, rows, result

    def test_a_box_from_three_sides_fills_its_outline(self):
        # 10 x 20 x 40 mm: from above, from the front and from the left.
        self.write("box.stl", binary_stl(box_facets((10, 20, 40), (5, 6, 7))))
        for view, wide, high in (("top", 10, 20), ("front", 10, 40), ("left", 20, 40), ("0:90", 10, 20), ("-90:0", 20, 40)):
            with self.subTest(view):
                data, rows, _ = self.drawn("box.stl", "--view", view, "--size", "thumb", "--transparent")
                opaque = [(x, y) for y, row in enumerate(rows) for x, pixel in enumerate(row) if pixel[3] > 127]
                columns = max(x for x, _ in opaque) - min(x for x, _ in opaque) + 1
                lines = max(y for _, y in opaque) - min(y for _, y in opaque) + 1
                self.assertAlmostEqual(columns * data["pixel"], wide, delta=1.01 * data["pixel"])
                self.assertAlmostEqual(lines * data["pixel"], high, delta=1.01 * data["pixel"])
                self.assertEqual(len(opaque), columns * lines)
                self.assertGreater(max(columns, lines), 220)

    def test_sizes(self):
        self.write("box.stl", binary_stl(box_facets()))
        for size, expected in ((None, (800, 600)), ("16x16", (16, 16)), ("40x4096", (40, 4096)), ("thumb", (256, 256))):
            data, _, _ = self.drawn("box.stl", *(["--size", size] if size else []))
            self.assertEqual((data["columns"], data["rows"]), expected)
        for size in ("15x16", "16x4097", "16", "16x16x16", "x", "0x0", "16X16", "-16x16", "1e2x16", "thumbs"):
            self.fails(USAGE, "render", "box.stl", "--size", size, "-o", "no.png")
        for view in ("bottom", "1", "1:2:3", "0:91", "0:-90.5", "361:0", "nan:0", ":", "iso:iso"):
            self.fails(USAGE, "render", "box.stl", "--view", view, "-o", "no.png")
        for more in (["--layer", "0"], ["--plate", "0"], ["--threads", "65"], ["--shade", "round"], ["--color", "box.stl"],
                     ["--color", "box.stl=#12345"], ["--color", "box.stl=red"], ["--color", "other.stl=#123456"]):
            self.fails(USAGE, "render", "box.stl", *more, "-o", "no.png")
        self.assertFalse(self.path("no.png").exists())

    def test_sheets_without_end_are_drawn_coarser(self):
        # As large as the picture and 30 000 times in one place: 100 x 80 x 4 samples, about half of them covered by each.
        self.write("sheets.stl", binary_stl([((0, 0, 0), (10, 0, 0), (0, 8, 0))] * 30_000))
        data, rows, result = self.drawn("sheets.stl", "--view", "top", "--size", "100x80")
        notes = [m for m in result.document()["messages"] if m["code"] == "PICTURE-COARSE"]
        self.assertEqual([m["severity"] for m in notes], ["note"])
        self.assertIn("2 x 2 pixels", notes[0]["text"])
        for y in range(0, 80, 2):
            for x in range(0, 100, 2):
                self.assertEqual({rows[y + j][x + i] for i in (0, 1) for j in (0, 1)}, {rows[y][x]})
        self.assertGreater(len({pixel for row in rows for pixel in row}), 2)
        # Fine again where there are few.
        self.write("sheet.stl", binary_stl([((0, 0, 0), (10, 0, 0), (0, 8, 0))] * 3))
        _, _, result = self.drawn("sheet.stl", "--view", "top", "--size", "100x80")
        self.assertNotIn("PICTURE-COARSE", [m["code"] for m in result.document()["messages"]])
        # The size of a pixel is told of those in the file.
        data, rows, _ = self.drawn("sheets.stl", "--view", "top", "--size", "thumb", "--transparent")
        lowest = max(sum(pixel[3] > 127 for pixel in row) for row in rows)
        self.assertAlmostEqual(lowest * data["pixel"], 10, delta=3 * data["pixel"])

    def test_colours_of_inputs(self):
        self.write("left.stl", binary_stl(box_facets((10, 10, 10))))
        self.write("right=.stl", binary_stl(box_facets((10, 10, 10), (20, 0, 0))))
        data, rows, _ = self.drawn("left.stl", "right=.stl", "--view", "top", "--size", "300x100", "--color", "left.stl=#20c020",
                                   "--color", "right=.stl=#2020C0")
        self.assertEqual(data["facets"], 24)
        middle = rows[len(rows) // 2]
        left, right = middle[300 // 3], middle[2 * 300 // 3]
        self.assertGreater(left[1], 2 * left[2])
        self.assertGreater(right[2], 2 * right[1])

    def test_the_same_pixels_with_any_number_of_threads(self):
        self.write("ring.stl", binary_stl(ring_facets(20, 12, 8, sides=60)))
        self.good("build", "ring.stl,copies=3", "-o", "out")
        for names in (["ring.stl"], ["out"]):
            for shade in ("flat", "smooth"):
                seen = set()
                for threads in ("1", "2", "5"):
                    self.good("render", *names, "--shade", shade, "--threads", threads, "-o", "view.png", "--force")
                    seen.add(self.path("view.png").read_bytes())
                self.assertEqual(len(seen), 1)

    def test_standard_output(self):
        self.write("box.stl", binary_stl(box_facets()))
        done = self.good("render", "box.stl", "--size", "32x32", "-o", "-")
        self.assertEqual(read_png(done.out)[:2], (32, 32))
        self.fails(USAGE, "render", "box.stl", "-o", "-", "--json")

    def test_units_of_inputs_are_kept_apart(self):
        # An inch beside 25.4 mm.
        self.write("inch.stl", binary_stl(box_facets((1, 1, 1))))
        self.good("convert", "inch.stl", "--units", "in", "-o", "inch.ctl")
        self.write("box.stl", binary_stl(box_facets((25.4, 25.4, 25.4), (50.8, 0, 0))))
        data, rows, _ = self.drawn("box.stl", "inch.ctl", "--view", "top", "--size", "400x200", "--transparent")
        row = [pixel[3] > 127 for pixel in rows[80]]
        spans = [len(span) for span in "".join("x" if solid else " " for solid in row).split()]
        self.assertEqual(len(spans), 2)
        self.assertAlmostEqual(spans[0], spans[1], delta=1.01)
        self.assertAlmostEqual(spans[0] * data["pixel"], 25.4, delta=1.01 * data["pixel"])

    def test_slice_contours(self):
        self.write("three.slc", slc_test.slc([slc_test.FRAME, slc_test.EMPTY, slc_test.FRAME], 4))
        data, whole, _ = self.drawn("three.slc", "--size", "thumb", "--transparent")
        self.assertEqual((data["layers"], data["facets"]), (3, 0))
        data, one, _ = self.drawn("three.slc", "--layer", "1", "--size", "thumb", "--transparent")
        self.assertEqual(data["layers"], 1)
        self.assertNotEqual(whole, one)
        self.fails(USAGE, "render", "three.slc", "--layer", "4", "-o", "no.png")

    def test_a_stack_looks_like_its_part(self):
        # Of a box no light or line tells layers apart from above.
        self.write("box.stl", binary_stl(box_facets((20, 10, 5))))
        self.good("slice", "box.stl", "--thickness", "0.5mm", "-o", "box.slc")
        _, mesh, _ = self.drawn("box.stl", "--view", "top", "--size", "100x80", "--color", "box.stl=#808080")
        _, stack, _ = self.drawn("box.slc", "--view", "top", "--size", "100x80", "--color", "box.slc=#808080")
        self.assertEqual(mesh, stack)

    def test_build_folders(self):
        self.write("box.stl", binary_stl(box_facets((30, 20, 10))))
        self.write("ring.stl", binary_stl(ring_facets(20, 12, 8)))
        self.good("build", "box.stl,copies=2", "ring.stl", "-o", "out", "--vat", "100x100x50mm")
        data, rows, _ = self.drawn("out/", "--view", "top", "--color", "ring=#10e010", "--color", "out/parts/box.stl=#e010e0")
        self.assertEqual((data["piece_count"], data["facets"]), (3, 24 + len(ring_facets(20, 12, 8))))
        green = sum(p[1] > 1.5 * p[0] for row in rows for p in row)
        purple = sum(p[0] > 1.5 * p[1] for row in rows for p in row)
        self.assertGreater(green * data["pixel"]**2, 0.5 * 3.14 * (20**2 - 12**2))
        self.assertAlmostEqual(purple * data["pixel"]**2, 2 * 30 * 20, delta=150)

    def test_several_plates(self):
        self.write("box.stl", binary_stl(box_facets((60, 60, 10))))
        self.good("build", "box.stl,copies=2", "--plates", "any", "--vat", "80x80x50mm", "-o", "out")
        self.assertEqual(self.drawn("out")[0]["piece_count"], 2)
        self.assertEqual(self.drawn("out", "--plate", "2")[0]["piece_count"], 1)
        self.fails(USAGE, "render", "out", "--plate", "3", "-o", "no.png")
        self.fails(USAGE, "render", "out/plate-1", "--plate", "2", "-o", "no.png")

    def test_problems_are_numbered_as_the_messages_are(self):
        facets = box_facets((20, 20, 20))
        self.write("open.stl", binary_stl(facets[:-1]))
        data, rows, result = self.drawn("open.stl", "--problems", "--size", "400x300")
        messages = result.document()["messages"]
        marked = [messages[number - 1]["code"] for number in data["marked"]]
        self.assertIn("OPEN-EDGES", marked)
        self.assertGreater(sum(is_reddish(p) for row in rows for p in row), 300)
        _, plain, _ = self.drawn("open.stl", "--size", "400x300")
        self.assertEqual(sum(is_reddish(p) for row in plain for p in row), 0)
        # As people read it.
        told = self.good("render", "open.stl", "--problems", "-o", "view.png", "--force").out.decode()
        self.assertEqual([int(n) for n in re.findall(r"^ *(\d+)  [A-Z-]+: ", told, re.M)], data["marked"])

    def test_neighbours_that_overlap_are_marked(self):
        self.write("box.stl", binary_stl(box_facets((20, 20, 5))))
        self.fails(NO, "build", "box.stl,at=10:10", "box.stl,at=25:10", "-o", "out", "--vat", "80x60x50mm", "--force-checks")
        data, rows, result = self.drawn("out", "--problems", "--view", "top", "--size", "400x300")
        messages = result.document()["messages"]
        self.assertIn("OVERLAP", [messages[number - 1]["code"] for number in data["marked"]])
        self.assertTrue(any(is_reddish(p) for row in rows for p in row))

    def test_an_island_is_marked(self):
        self.write("two.stl", binary_stl(box_facets((20, 20, 4)) + box_facets((6, 6, 4), (7, 7, 8))))
        data, _, result = self.drawn("two.stl", "--problems")
        messages = result.document()["messages"]
        self.assertIn("ISLAND", [messages[number - 1]["code"] for number in data["marked"]])

    def test_what_is_no_picture(self):
        self.write("notes.txt", b"nothing")
        self.write("nan.stl", binary_stl([((0, 0, 0), (1, 0, 0), (float("nan"), 1, 0))]))
        for name in ("notes.txt", "missing.stl", "nan.stl", "."):
            self.fails(INPUT, "render", name, "-o", "no.png")
        self.write("box.stl", binary_stl(box_facets()))
        self.good("build", "box.stl", "-o", "out")
        text = self.path("out/build.json").read_text()
        for old, new in (('"vat"', '"cat"'), ("meshes/box-1.ctl", "../box.stl"), ("meshes/box-1.ctl", "meshes/none.ctl"),
                         ('"units"', '"knots"')):
            self.assertIn(old, text)
            self.path("out/build.json").write_text(text.replace(old, new))
            self.fails(INPUT, "render", "out", "-o", "no.png")
        self.assertFalse(self.path("no.png").exists())

    def test_numbers_of_any_size(self):
        for size, at in ((1e-30, 0), (1e30, 0), (1, 1e8), (1e-3, 5)):
            self.write("box.stl", binary_stl(box_facets((size, size, size), (at, at, at))))
            with self.subTest(size=size, at=at):
                self.drawn("box.stl", "--size", "48x48")


if __name__ == "__main__":
    unittest.main()
