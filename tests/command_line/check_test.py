"""check and explain: for every rule of parts and styles a file that breaks it and one that keeps it."""
import unittest

from style_files import *
from support import *


def turned(facets):
    return [(a, c, b) for a, b, c in facets]


BOX = box_facets((100, 100, 100))
HOLLOW = BOX + turned(box_facets((50, 50, 50), (25, 25, 25)))


class CheckTest(ToolTest):
    def finds(self, code, name, data, *more, exit=DONE):
        """The messages of that code."""
        self.write(name, data)
        result = self.run_tool("check", name, *more, "--json")
        self.assertEqual(result.exit, exit, result.err)
        found = [m for m in result.document()["messages"] if m["code"] == code]
        self.assertTrue(found, result.err)
        self.assertEqual({m["severity"] for m in found}, {"error" if exit == NO else "warning"})
        self.assertEqual({m["file"] for m in found}, {name})
        self.assertTrue(all(m["hint"] for m in found), found)
        return found

    def finds_nothing(self, name, data, *more):
        self.write(name, data)
        result = self.good("check", name, *more, "--json")
        self.assertEqual(result.codes(), [])
        return result.document()["data"]


class Parts(CheckTest):
    def test_a_sound_part(self):
        data = self.finds_nothing("a.stl", binary_stl(BOX))
        self.assertEqual(data, {"files": [{"file": "a.stl", "kind": "stl", "errors": 0, "warnings": 0}], "errors": 0,
                                "warnings": 0})

    def test_stl_short(self):
        self.finds("STL-SHORT", "a.stl", binary_stl(BOX, announced=20), exit=NO)

    def test_stl_empty(self):
        self.finds("STL-EMPTY", "a.stl", b"", exit=NO)

    def test_units_doubt(self):
        message, = self.finds("UNITS-DOUBT", "a.stl", binary_stl(box_facets((2.9, 1, 1))))
        self.assertIn("units=", message["hint"])
        # Numbers that make no mesh say as much of their unit.
        one = [((0, 0, 0), (1, 0, 0), (0, 1, 0))]
        foreign = bytearray(binary_stl(one))
        for at in range(80, len(foreign) - 2, 4):
            foreign[at:at + 4] = foreign[at:at + 4][::-1]
        cut = ascii_stl(one).rsplit("endfacet", 1)[0]
        for code, content in (("STL-UNJOINED", binary_stl(one)), ("STL-UNJOINED", ascii_stl(one).encode()),
                              ("STL-SHORT", binary_stl(one, announced=3)), ("STL-ENDIAN", bytes(foreign)),
                              ("STL-CUT", cut.encode()), ("STL-TEXT", ascii_stl(one).replace("outer", "inner").encode())):
            self.write("one.stl", content)
            self.assertEqual(self.fails(NO, "check", "one.stl", "--json").codes(), ["UNITS-DOUBT", code])
            self.assertEqual(self.fails(NO, "check", "one.stl", "--units", "mm", "--json").codes(), [code])
        # Of a size that people build, in millimetres, whatever would fit the vat in inches.
        self.finds_nothing("a.stl", binary_stl(box_facets((9.8, 9.8, 9.8))))
        self.finds_nothing("a.stl", binary_stl(box_facets((2.9, 1, 1))), "--units", "mm")

    def test_open_edges(self):
        message, = self.finds("OPEN-EDGES", "a.stl", binary_stl(BOX[1:]))
        self.assertEqual(message["where"]["edges"], 3)
        # The hole has the corners 0 0 0, 0 100 0 and 100 100 0.
        places = message["where"]["places"]
        self.assert_points([p["point"] for p in places], [(0, 50, 0), (50, 100, 0), (50, 50, 0)])
        self.assertEqual(message["where"]["facet"], places[0]["facet"])
        self.assertEqual([p["facet"] for p in places], sorted(p["facet"] for p in places))
        for place in places:
            x, y, z = place["point"]
            self.assertIn(f"facet {place['facet']} at X {x:g} Y {y:g} Z {z:g}", message["text"])
        self.assertNotIn("others", message["text"])

    def test_places_are_three_in_words_and_a_hundred_as_data(self):
        # Single facets on a line: three open edges each, their middles known.
        facets = [((3 * k, 0, 0), (3 * k + 2, 0, 0), (3 * k, 2, 0)) for k in range(50)]
        message, = self.finds("OPEN-EDGES", "a.stl", binary_stl(facets + facets[:1]))
        places = message["where"]["places"]
        self.assertEqual((len(places), message["where"]["edges"]), (100, 147))
        self.assertEqual(message["text"].count(" at X "), 3)
        self.assertTrue(message["text"].endswith(" mm and others"), message["text"])

    def test_non_manifold(self):
        # The two boxes share one upright edge: four facets stand on it.
        message, = self.finds("NON-MANIFOLD", "a.stl", binary_stl(BOX + box_facets((50, 50, 100), (100, 100, 0))))
        self.assertEqual(message["where"]["edges"], 1)
        self.assertEqual([p["point"] for p in message["where"]["places"]], [[100, 100, 50]])
        # A turned facet has three edges in common with others that wind the other way.
        message, = self.finds("NON-MANIFOLD", "a.stl", binary_stl(turned(BOX[:1]) + BOX[1:]))
        self.assertEqual(message["where"]["edges"], 3)

    def test_inverted(self):
        message, = self.finds("INVERTED", "a.stl", binary_stl(turned(BOX)))
        place, = message["where"]["places"]
        self.assertEqual(place["facet"], 0)
        self.assert_points([place["point"]], [(100 / 3, 200 / 3, 0)])
        # A cavity faces inward rightly.
        self.write("b.stl", binary_stl(HOLLOW))
        self.assertEqual(self.good("check", "b.stl", "--json").codes(), ["SEALED-VOID"])

    def test_degenerate(self):
        line = ((0.0, 0.0, 0.0), (100.0, 0.0, 0.0), (50.0, 0.0, 0.0))
        message, = self.finds("DEGENERATE", "a.stl", binary_stl(BOX + [line]))
        self.assertEqual(message["where"]["facets"], 1)
        self.assertEqual(message["where"]["places"], [{"facet": 12, "point": [50, 0, 0]}])
        self.assertIn("facet 12 at X 50 Y 0 Z 0 mm", message["text"])

    def test_too_big_for_the_vat(self):
        message, = self.finds("TOO-BIG-FOR-VAT", "a.stl", binary_stl(box_facets((300, 290, 100))), exit=NO)
        self.assertEqual(message["where"]["exceeds"], {"x": 50, "y": 40})
        self.finds_nothing("a.stl", binary_stl(box_facets((250, 100, 100))))
        # 260 x 100 fits 250 x 270 after a quarter turn; a part stays as high as it was drawn, and is never below 0.
        self.finds_nothing("a.stl", binary_stl(box_facets((260, 100, 220), (0, 0, 30))), "--vat", "250x270x250mm")
        self.write("b.stl", binary_stl(box_facets((260, 100, 250), (0, 0, -30))))
        self.assertEqual(self.good("check", "b.stl", "--vat", "250x270x250mm", "--json").codes(), ["FLOOR-LIFTED"])
        message, = self.finds("TOO-BIG-FOR-VAT", "a.stl", binary_stl(box_facets((10, 10, 230), (0, 0, 30))), exit=NO)
        self.assertEqual(message["where"]["exceeds"], {"z": 10})

    def test_sealed_void(self):
        message, = self.finds("SEALED-VOID", "a.stl", binary_stl(HOLLOW))
        self.assertEqual(message["where"]["centre"], [50, 50, 50])
        self.assertIn("a vent and a drain", message["text"])
        self.write("a.V_D", "50 50 100  0 0 1  2\n")
        message, = self.finds("SEALED-VOID", "a.stl", binary_stl(HOLLOW))
        self.assertIn("lacks a drain", message["text"])
        self.write("a.V_D", "50 50 100  0 0 1  2\n50 50 0  0 0 -1  2\n")
        self.finds_nothing("a.stl", binary_stl(HOLLOW))
        # Beside the cavity they are of no use to it.
        self.write("a.V_D", "5 5 100  0 0 1  2\n5 5 0  0 0 -1  2\n")
        self.finds("SEALED-VOID", "a.stl", binary_stl(HOLLOW))

    def test_vd_stale(self):
        self.write("a.V_D", "50 50 100  0 0 1  2\n50 50 100.2  0 0 1  2\nno point\n")
        message, = self.finds("VD-STALE", "a.stl", binary_stl(BOX))
        self.assertEqual(message["where"], {"entry": 2})
        self.write("a.V_D", "50 50 100.05  0 0 1  2\n")
        self.finds_nothing("a.stl", binary_stl(BOX))


class Styles(CheckTest):
    def test_a_sound_style_of_either_kind(self):
        self.assertEqual(self.finds_nothing("a.sty", build_style())["files"][0]["kind"], "build style")
        self.assertEqual(self.finds_nothing("a.rcs", recoat_style(sweeps=2))["files"][0]["kind"], "recoat style")

    def test_style_crc(self):
        damaged = bytearray(build_style())
        damaged[500] ^= 1
        self.finds("STYLE-CRC", "a.sty", bytes(damaged), exit=NO)
        self.finds("STYLE-CRC", "a.sty", build_style()[:-10], exit=NO)
        damaged = bytearray(recoat_style())
        damaged[-1] ^= 1
        self.finds("STYLE-CRC", "a.rcs", bytes(damaged), exit=NO)

    def test_style_range(self):
        # Powers may be 50 to 1200.
        message, = self.finds("STYLE-RANGE", "a.sty", build_style(Layer_Border_Power=1201))
        self.assertEqual(message["where"], {"parameter": "Layer Border Power", "value": 1201})
        self.finds_nothing("a.sty", build_style(Layer_Border_Power=1200))
        self.finds_nothing("a.sty", build_style(Layer_Border_Power=50))
        self.finds("STYLE-RANGE", "a.sty", build_style(Layer_Border_Power=49))

    def test_style_range_by_allowed_values(self):
        def allow(values, value):
            def change(records):
                record = records["Stagger"]
                record.allowed, record.value, record.minimum, record.maximum = values, value, 0, 9
            return build_style_with(change)
        self.finds("STYLE-RANGE", "a.sty", allow([1, 3], 2))
        self.finds_nothing("a.sty", allow([1, 3], 3))
        self.finds_nothing("a.sty", allow([1], 2))  # one value alone does not bind

    def test_style_units_mix(self):
        self.finds("STYLE-UNITS-MIX", "a.sty", build_style(0.004))
        self.finds_nothing("a.sty", build_style(0.004), "--units", "in")
        self.finds("STYLE-UNITS-MIX", "a.sty", build_style(0.1), "--units", "in")
        self.finds("STYLE-THICKNESS", "a.sty", build_style(0), exit=NO)
        self.finds("STYLE-UNITS-MIX", "a.rcs", recoat_style(units="in"))
        self.finds_nothing("a.rcs", recoat_style(units="in"), "--units", "in")
        self.finds("STYLE-UNITS-MIX", "a.rcs", recoat_style(units="mm"), "--units", "in")

    def test_machine_mismatch(self):
        self.finds("MACHINE-MISMATCH", "a.sty", build_style(machine=6), "--machine", "Mirra")
        self.finds("MACHINE-MISMATCH", "a.rcs", recoat_style(machine=6), "--machine", "Mirra")
        self.finds_nothing("a.sty", build_style(machine=7), "--machine", "Mirra")
        self.finds_nothing("a.sty", build_style(machine=7))  # no machine to compare with
        # A 206 build style carries no machine, a 206 recoat style does.
        self.finds_nothing("a.sty", build_style(machine=6, layout="206"), "--machine", "Mirra")
        self.finds("MACHINE-MISMATCH", "a.rcs", recoat_style(machine=6, layout="206"), "--machine", "Mirra")

    def test_sweep_count(self):
        def value(number):
            def change(records):
                records["Num Sweeps"].value = number
            return change
        message, = self.finds("SWEEP-COUNT", "a.rcs", recoat_style(sweeps=2, change=value(3)), exit=NO)
        self.assertEqual(message["where"], {"parameter": "Num Sweeps", "list": "sweeps"})
        self.finds("SWEEP-COUNT", "a.rcs", recoat_style(change=value(1)), exit=NO)
        self.finds_nothing("a.rcs", recoat_style(change=value(0)))
        self.finds_nothing("a.rcs", recoat_style(sweeps=2, change=value(2)))


class Folders(CheckTest):
    def test_everything_is_listed(self):
        self.path("in/deep").mkdir(parents=True)
        self.path("in/.trqprep-abc").mkdir()
        self.write("in/good.stl", binary_stl(BOX))
        self.write("in/deep/open.stl", binary_stl(BOX[1:]))
        self.write("in/short.stl", binary_stl(BOX, announced=20))
        self.write("in/.trqprep-abc/open.stl", binary_stl(BOX[1:]))
        self.write("in/a.sty", build_style(Layer_Border_Power=1201))
        self.write("in/notes.txt", "nothing to check")
        result = self.fails(NO, "check", "in", "--json")
        self.assertEqual(result.codes(), ["STYLE-RANGE", "OPEN-EDGES", "STL-SHORT"])
        data = result.document()["data"]
        self.assertEqual([f["file"] for f in data["files"]],
                         ["in/a.sty", "in/deep/open.stl", "in/good.stl", "in/short.stl"])
        self.assertEqual((data["errors"], data["warnings"]), (1, 2))

    def test_a_file_that_is_no_part_and_no_style(self):
        self.write("notes.txt", "nothing to check")
        self.assertEqual(self.fails(INPUT, "check", "notes.txt", "--json").codes(), ["INPUT-UNKNOWN"])
        self.assertEqual(self.fails(INPUT, "check", "missing.stl", "--json").codes(), ["INPUT-MISSING"])


class Explain(ToolTest):
    CODES = ["STL-SHORT", "STL-EMPTY", "STL-CUT", "STL-TEXT", "STL-ENDIAN", "STL-NORMALISED", "UNITS-DOUBT", "OPEN-EDGES",
             "NON-MANIFOLD", "INVERTED", "DEGENERATE", "TOO-BIG-FOR-VAT", "OVERLAP", "GAP-SMALL", "FLOOR-LIFTED", "FLOATING", "NO-STYLE",
             "NO-RECOAT", "Z-GAP", "Z-OVERLAP", "STYLE-CRC", "STYLE-RANGE", "STYLE-THICKNESS", "STYLE-UNITS-MIX",
             "MACHINE-MISMATCH", "LAYER-MISMATCH", "SWEEP-COUNT", "SEALED-VOID", "VD-STALE", "REPAIR-LEFT", "SIMPLIFY-SHAPE",
             "SIMPLIFY-RUINED", "THIN-WALL", "HOLLOW-BOUND", "VD-BOUND"]
    ERRORS = {"STL-SHORT", "STL-EMPTY", "STL-CUT", "STL-TEXT", "STL-ENDIAN", "TOO-BIG-FOR-VAT", "OVERLAP", "GAP-SMALL", "Z-GAP",
              "Z-OVERLAP", "STYLE-CRC", "STYLE-THICKNESS", "SWEEP-COUNT", "REPAIR-LEFT", "SIMPLIFY-RUINED", "HOLLOW-BOUND"}

    def test_the_rules_come_first(self):
        rules = self.json_of("explain")["rules"]
        codes = [r["code"] for r in rules]
        rules = rules[:codes.index("ANSWERED-NO")]
        self.assertLessEqual(set(self.CODES), {r["code"] for r in rules})
        self.assertEqual({r["code"] for r in rules if r["severity"] == "error" and r["code"] in self.CODES}, self.ERRORS)

    def test_one_rule_in_any_case(self):
        text = self.good("explain", "open-edges").out.decode()
        self.assertTrue(text.startswith("OPEN-EDGES (warning): "))
        self.assertTrue(all(len(line) <= 82 for line in text.splitlines()[1:]), text)

    def test_an_unknown_code(self):
        self.assertIn("OPEN-EDGES", self.fails(USAGE, "explain", "OPEN-EDGE").err)

    def test_the_table_of_messages_knows_every_rule(self):
        table = (SOURCE / "docs" / "error-codes.md").read_text()
        for code in self.CODES:
            self.assertTrue(f"| `{code}` |" in table, code)


if __name__ == "__main__":
    unittest.main()
