"""`trqprep style`: build styles seen, changed, compared, checked, exported and imported. What files have to hold is
packed by the script that makes the golden files, which does not use the library."""
import csv
import io
import json
import os
import stat
import struct
import subprocess
import sys
import unittest

import support
from support import *

sys.path.insert(0, str(SOURCE / "tests" / "data" / "styles"))
import make_golden_styles as golden  # noqa: E402

GOLDEN = SOURCE / "tests" / "data" / "styles"
GOLDEN_FILES = ["default_301.sty", "default_206.sty", "filled_301.sty", "filled_206.sty"]
POWERS = golden.LAYER_POWERS + golden.UP_FILL_POWERS + golden.UP_HATCH_POWERS


def floats(*patterns):
    """Floats of these bit patterns; a not-a-number keeps its bits only where it is not computed with."""
    return [struct.unpack("<f", struct.pack("<I", p))[0] for p in patterns]


def with_crc(data):
    return data + golden.crc(data)


class StyleTest(ToolTest):
    def golden_file(self, name, as_name=None):
        return self.write(as_name or name, (GOLDEN / name).read_bytes())

    def default(self, name="a.sty", change=lambda records: None, layout=golden.layout_301):
        style = golden.default_style()
        change(style.records)
        return self.write(name, layout(style))

    def bytes_of(self, name):
        return self.path(name).read_bytes()

    def parameter(self, name, parameter):
        return self.json_of("style", "get", name, parameter)["parameters"][0]


def data_difference(a, b):
    """The first byte that differs."""
    return next(i for i in range(len(a)) if a[i] != b[i])


class Verify(StyleTest):
    def test_golden_files_are_good(self):
        for name in GOLDEN_FILES:
            with self.subTest(name):
                self.golden_file(name)
                document = self.good("style", "verify", name, "--json").document()
                self.assertEqual((document["data"]["lost"], document["data"]["notes"], document["messages"]), ([], [], []))
                self.assertEqual(document["data"]["layout"], name[-7:-4])
                self.assertIs(document["data"]["crc_valid"], True)

    def test_every_flipped_byte_is_found(self):
        whole = (GOLDEN / "default_206.sty").read_bytes()
        for at in list(range(0, 40)) + list(range(40, len(whole), 701)) + [len(whole) - 1]:
            self.write("a.sty", whole[:at] + bytes([whole[at] ^ 0x10]) + whole[at + 1:])
            result = self.run_tool("style", "verify", "a.sty", "--json")
            # A flipped version word makes it no style file at all.
            self.assertEqual(result.exit, INPUT if at < 4 else NO, at)
            self.assertIn("STYLE-UNKNOWN" if at < 4 else "STYLE-CRC", result.codes(), at)

    def test_prefixes_are_not_good(self):
        for name in ("default_301.sty", "filled_206.sty"):
            whole = (GOLDEN / name).read_bytes()
            for length in [0, 3, 4, 7, 8, 2263, 2264, len(whole) // 2, len(whole) - 5, len(whole) - 4, len(whole) - 1]:
                self.write("a.sty", whole[:length])
                result = self.run_tool("style", "verify", "a.sty")
                self.assertEqual(result.exit, INPUT if length < 8 else NO, (name, length))
        self.write("a.sty", whole + b"more")
        result = self.fails(NO, "style", "verify", "a.sty", "--json")
        self.assertIn("STYLE-LENGTH", result.codes())

    def test_what_is_no_build_style_is_malformed_input(self):
        self.write("a.sty", b"solid nothing\n" * 100)
        self.assertIn("[STYLE-UNKNOWN]", self.fails(INPUT, "style", "verify", "a.sty").err)
        self.write("b.sty", struct.pack("<2f", 2.05, 2.05) + bytes(9000))
        self.fails(INPUT, "style", "verify", "b.sty")
        self.assertIn("[INPUT-MISSING]", self.fails(INPUT, "style", "verify", "missing.sty").err)
        self.assertIn("[INPUT-FOLDER]", self.fails(INPUT, "style", "verify", ".").err)

    def test_bytes_after_a_nul_are_notes(self):
        data = bytearray((GOLDEN / "default_301.sty").read_bytes()[:-4])
        data[56 + 100] = 0x41  # in the field of the style name, "None"
        self.write("a.sty", with_crc(bytes(data)))
        document = self.good("style", "verify", "a.sty", "--json").document()
        self.assertEqual(document["data"]["notes"],
                         [{"name": "style_name", "byte": 60, "text": "bytes after the text's NUL become zero"}])
        self.assertEqual([m["code"] for m in document["messages"]], ["STYLE-SLACK"])

    def test_dead_fields_of_206_files_are_notes(self):
        style = golden.default_style()
        data = bytearray(golden.layout_206(style)[:-4])
        struct.pack_into("<f", data, 4, 1.25)  # default of the "Version" record
        # The flags word follows "Additional Boundaries": 170 records and two names before it.
        style.records["Additional Boundaries"].value = 77
        at = data_difference(golden.layout_206(golden.default_style()), golden.layout_206(style)) + 23
        struct.pack_into("<i", data, at, struct.unpack_from("<i", data, at)[0] | 0x1000)
        self.write("a.sty", with_crc(bytes(data)))
        document = self.good("style", "verify", "a.sty", "--json").document()
        self.assertEqual([(n["name"], n["byte"]) for n in document["data"]["notes"]], [("Version", 0), ("flags word", at)])
        self.assertEqual(document["data"]["lost"], [])

    def test_values_that_do_not_survive_are_named(self):
        def listed_below_minimum(records):
            records["Dp"].minimum, records["Dp"].maximum, records["Dp"].allowed = 5, 6, [4.5, 5.5]
        self.default(change=listed_below_minimum)
        result = self.fails(NO, "style", "verify", "a.sty", "--json")
        self.assertEqual([(e["name"], e["text"]) for e in result.document()["data"]["lost"]],
                         [("Dp", "minimum 5 becomes 4.5")])
        self.assertIn("STYLE-LOST", result.codes())

        # A compensation flag is stored inverted: only 0 and 1 come back.
        data = bytearray(golden.layout_301(golden.default_style())[:-4])
        style = golden.default_style()
        style.records["Small Line Width Compenstation Flag"].value = 0
        at = data_difference(golden.layout_301(golden.default_style()), golden.layout_301(style))
        struct.pack_into("<i", data, at, 5)
        self.write("b.sty", with_crc(bytes(data)))
        result = self.fails(NO, "style", "verify", "b.sty", "--json")
        self.assertEqual(result.document()["data"]["lost"],
                         [{"name": "Small Line Width Compenstation Flag", "byte": at, "text": "value 5 becomes 1"}])

        # A text without NUL, and one of two copies that differ.
        data = bytearray(golden.layout_301(golden.default_style())[:-4])
        data[568:632] = b"x" * 64
        data[1240:1244] = b"Lost"
        self.write("c.sty", with_crc(bytes(data)))
        result = self.fails(NO, "style", "verify", "c.sty", "--json")
        self.assertEqual([(e["name"], e["byte"]) for e in result.document()["data"]["lost"]],
                         [("header_text_1", 568), ("header_text_5", 1240)])

    def test_hostile_list_counts_end_soon(self):
        whole = bytearray((GOLDEN / "default_206.sty").read_bytes())
        for count in (2**31 - 1, -2**31):
            struct.pack_into("<i", whole, 19, count)
            self.write("a.sty", with_crc(bytes(whole[:-4])))
            self.run_tool("style", "verify", "a.sty")
            result = self.run_tool("style", "verify", "a.sty")
            self.assertEqual(result.exit, NO if count > 0 else DONE, result.err)


class ExportAndImport(StyleTest):
    def test_json_gives_the_same_bytes_of_301_files(self):
        def odd_numbers(records):
            records["Dp"].value, records["Dp"].default = floats(0x7F800000, 0xFF800000)
            records["Ec"].value, records["Ec"].default = floats(0x80000000, 0x00000001)
            records["Start Z"].value = 16777217 / 3
            records["~float3"].value, records["~int2"].value = 0.1, -7
            records["QC ZBond"].allowed = [0.1, 0.2, 0.3]
            records["QC ZBond"].minimum, records["QC ZBond"].maximum = 0.1, 0.3
        names = [self.golden_file("default_301.sty"), self.golden_file("filled_301.sty"), self.default("odd.sty", odd_numbers)]
        for name in names:
            with self.subTest(name):
                self.write("style.json", self.good("style", "export", name, "--to", "json").out)
                self.good("style", "import", "style.json", "-o", "again.sty", "--force")
                self.assertEqual(self.bytes_of("again.sty"), self.bytes_of(name))
                # The document of --json is read as well, and standard input.
                self.write("whole.json", self.good("style", "export", name, "--to", "json", "--json").out)
                with open(self.path("whole.json"), "rb") as stdin:
                    self.good("style", "import", "-", "-o", "again.sty", "--force", stdin=stdin)
                self.assertEqual(self.bytes_of("again.sty"), self.bytes_of(name))

    def test_json_keeps_the_bits_of_a_not_a_number(self):
        data = bytearray(golden.layout_301(golden.default_style())[:-4])
        struct.pack_into("<I", data, 2264, 0x7FC12345)  # value of "Shell Support Spacing", the first record
        self.write("a.sty", with_crc(bytes(data)))
        self.good("style", "export", "a.sty", "--to", "json", "-o", "a.json")
        style = json.loads(self.bytes_of("a.json"))
        values = {p["name"]: p["value"] for p in style["parameters"]}
        self.assertEqual(values["Shell Support Spacing"], "nan:7fc12345")
        self.good("style", "import", "a.json", "-o", "b.sty")
        self.assertEqual(self.bytes_of("b.sty"), self.bytes_of("a.sty"))
        table = self.good("style", "export", "a.sty", "--to", "tidy-csv").out.decode()
        self.assertIn("Shell Support Spacing,Features,float,length,nan:7fc12345,0.4,", table)

    def test_json_of_a_206_file_gives_the_bytes_of_its_upgrade(self):
        for name in ("default_206.sty", "filled_206.sty"):
            with self.subTest(name):
                self.golden_file(name)
                self.good("style", "export", name, "--to", "json", "-o", name + ".json")
                self.good("style", "import", name + ".json", "-o", "imported.sty", "--force")
                self.good("style", "upgrade", name, "-o", "upgraded.sty", "--force")
                self.assertEqual(self.bytes_of("imported.sty"), self.bytes_of("upgraded.sty"))

    def test_texts_that_are_not_utf8_survive(self):
        style = golden.default_style()
        style.name = "caf\xe9 \xff"
        self.write("a.sty", golden.layout_301(style))
        result = self.good("style", "export", "a.sty", "--to", "json", "-o", "a.json")
        self.assertEqual(json.loads(self.bytes_of("a.json"))["texts"]["style_name"], {"bytes": "636166e920ff"})
        self.good("style", "import", "a.json", "-o", "b.sty")
        self.assertEqual(self.bytes_of("b.sty"), self.bytes_of("a.sty"))
        self.good("style", "show", "a.sty", "--json").document()
        self.assertEqual(result.out, b"")

    def test_text_exports_are_the_librarys(self):
        self.golden_file("default_301.sty")
        style = golden.default_style()
        # The two share a place in the file.
        style.records["QC Min Large Thick Skin Width"] = style.records["Shelling Thickness"]
        for to, comma in (("txt", False), ("csv", True)):
            out = self.good("style", "export", "default_301.sty", "--to", to).out
            self.assertEqual(out, golden.export(style, comma).encode("latin-1"))
        # What build style files do not store is as in a new style.
        style = golden.filled_style()
        style.description, style.units = "None", "in"
        style.records["Version"] = golden.default_style().records["Version"]
        style.records["Version"].value = 4.0
        style.records["QC Min Large Thick Skin Width"] = style.records["Shelling Thickness"]
        for name in ("Small Line Width Compenstation Flag", "Large Line Width Compenstation Flag"):
            style.records[name].value = 1 if style.records[name].value else 0  # stored inverted, so as 0 or 1
        self.golden_file("filled_301.sty")
        for to, comma in (("txt", False), ("csv", True)):
            out = self.good("style", "export", "filled_301.sty", "--to", to).out
            self.assertEqual(out, golden.export(style, comma).encode("latin-1"))

    def test_the_tidy_table_is_complete(self):
        self.golden_file("filled_301.sty")
        text = self.good("style", "export", "filled_301.sty", "--to", "tidy-csv").out.decode()
        rows = {row["name"]: row for row in csv.DictReader(io.StringIO(text))}
        self.assertEqual(len(rows), 14 + 17 + 262)
        style = golden.filled_style()
        self.assertEqual((rows["machine_type"]["value"], rows["style_name"]["value"]), ("18", "Filled style"))
        unnamed = {"~int0": "AfterMinLargeNSWidth", "~int1": "AfterZFilteringFlag[0]", "~int2": "AfterZFilteringFlag[1]"}
        unnamed.update({"~float%d" % i: "AfterSupportCureDepths[%d]" % i for i in range(15)})
        style.records["QC Min Large Thick Skin Width"] = style.records["Shelling Thickness"]
        checked = 0
        for name, record in style.records.items():
            if name == "Version" or name.startswith("~float") and int(name[6:]) > 14:
                continue
            row = rows[unnamed.get(name, name)]
            number = int if record.integer else float
            if not name.endswith("Compenstation Flag"):
                self.assertEqual(number(row["value"]), record.value, name)
            self.assertEqual(number(row["default"]), record.default, name)
            self.assertEqual([int(row[f]) for f in ("display", "edit", "range")], record.flags, name)
            self.assertEqual([number(x) for x in row["allowed"].split()], record.allowed, name)
            checked += 1
        self.assertEqual(checked, 255)

    def test_wrong_documents_are_malformed_input(self):
        self.golden_file("default_301.sty")
        self.good("style", "export", "default_301.sty", "--to", "json", "-o", "a.json")
        original = json.loads(self.bytes_of("a.json"))
        layer = next(i for i, p in enumerate(original["parameters"]) if p["name"] == "Layer Thickness")
        flag = next(i for i, p in enumerate(original["parameters"]) if p["name"] == "DH Flag")
        shared = next(i for i, p in enumerate(original["parameters"]) if p["name"] == "QC Min Large Thick Skin Width")

        def change(edit):
            document = json.loads(json.dumps(original))
            edit(document)
            return json.dumps(document)
        wrong = {
            "no json": "{", "a list": "[]", "a number": "7", "empty": "",
            "recoat": change(lambda d: d.update(schema="trqprep.recoat-style/1")),
            "unknown entry": change(lambda d: d.update(paramters=[])),
            "unknown word": change(lambda d: d["words"].update(user_levl=1)),
            "unknown text": change(lambda d: d["texts"].update(style_nam="x")),
            "unknown parameter": change(lambda d: d["parameters"][layer].update(name="Layer Thicknes")),
            "given twice": change(lambda d: d["parameters"].append(d["parameters"][layer])),
            "text as value": change(lambda d: d["parameters"][layer].update(value="0.1")),
            "too large": change(lambda d: d["parameters"][layer].update(value=1e39)),
            "fraction": change(lambda d: d["parameters"][flag].update(value=0.5)),
            "beyond 32 bits": change(lambda d: d["parameters"][flag].update(value=2**31)),
            "flag beyond a byte": change(lambda d: d["parameters"][flag].update(edit=256)),
            "list no list": change(lambda d: d["parameters"][flag].update(allowed=1)),
            "shared slot": change(lambda d: d["parameters"][shared].update(value=0.5)),
            "text too long": change(lambda d: d["texts"].update(header_text_1="x" * 64)),
            "text with NUL": change(lambda d: d["texts"].update(header_text_1="a\0b")),
            "hex": change(lambda d: d["texts"].update(header_text_1={"bytes": "0g"})),
            "version": change(lambda d: d["words"].update(file_version=2.06)),
            "in no file": change(lambda d: d["texts"].update(build_description="x")),
        }
        for name, text in wrong.items():
            with self.subTest(name):
                self.write("w.json", text)
                result = self.fails(INPUT, "style", "import", "w.json", "-o", "out.sty", "--json")
                self.assertEqual(result.codes(), ["STYLE-JSON"])
        self.assertEqual(self.listing(), ["a.json", "default_301.sty", "w.json"])
        self.write("w.json", wrong["unknown parameter"])
        self.assertRegex(self.fails(INPUT, "style", "import", "w.json", "-o", "out.sty").err,
                         r"there is no parameter 'Layer Thicknes' \[STYLE-JSON\]\n  hint: did you mean Layer Thickness,")
        # What is left away keeps the values of a new style, and that is said.
        self.write("few.json", change(lambda d: d.update(parameters=d["parameters"][layer:layer + 1])))
        document = self.good("style", "import", "few.json", "-o", "out.sty", "--json").document()
        self.assertEqual(len(document["data"]["missing"]), 261)
        self.assertEqual(document["messages"][0]["severity"], "warning")
        self.assertEqual(self.bytes_of("out.sty"), self.bytes_of("default_301.sty"))


class ShowAndGet(StyleTest):
    def test_show_prints_value_unit_default_range_allowed_editable(self):
        def change(records):
            records["Dp"].value, records["Dp"].allowed, records["Dp"].flags = 0.14, [0.14, 0.2], [1, 0, 1]
            records["Dp"].minimum, records["Dp"].maximum = 0.1, 0.3
            records["Ec"].flags = [0, 1, 1]
        self.default(change=change)
        text = self.good("style", "show", "a.sty").out.decode()
        self.assertRegex(text, r"a\.sty: build style, 301 layout\n  name +None\n  machine +TRQ-E7 \(6\)")
        self.assertRegex(text, r"\nResin\n  parameter +value +unit +default +range +allowed +editable\n"
                               r"  Dp +0\.14 +resin +0 +\[0\.1, 0\.3\] +\{0\.14, 0\.2\} +no\n")
        self.assertRegex(text, r"\n  Layer Border Power +600 +power +600 +\[50, 1200\] +any +yes\n")
        self.assertRegex(text, r"\n  Start Z +0 +length +0 +- +any +yes\n")
        self.assertNotRegex(text, r"\n  Ec ")  # the user interface hides it
        self.assertNotIn("AfterSupportCureDepths", text)
        self.assertRegex(text, r"\n(\d+) more with --all\n$")
        text = self.good("style", "show", "a.sty", "--all").out.decode()
        self.assertRegex(text, r"\n  Ec ")
        self.assertRegex(text, r"\n  AfterSupportCureDepths\[14\] +0 ")
        self.assertRegex(text, r"\n  AfterSupportCureDepths\[15\] \(not in this file\) +0 ")
        self.assertNotIn("more with --all", text)

    def test_only_selects_by_name_or_pattern(self):
        self.default()
        data = self.json_of("style", "show", "a.sty", "--only", "Large Up Fill*", "--only", "layerthickness")
        self.assertEqual(len(data["parameters"]), 13)
        self.assertEqual({p["region"] for p in data["parameters"]}, {"Large up", "General"})
        self.assertEqual(len(self.json_of("style", "show", "a.sty", "--all")["parameters"]), 262)
        self.assertEqual(len([p for p in self.json_of("style", "show", "a.sty", "--only", "*")["parameters"]]), 236)

    def test_a_206_file_shows_what_it_stores(self):
        self.default(layout=golden.layout_206)
        names = [p["name"] for p in self.json_of("style", "show", "a.sty")["parameters"]]
        self.assertIn("Shelling Flag", names)  # a bit of the flags word
        self.assertIn("Shelling Thickness", names)
        for name in ("Layer Border Power", "Draw Borders Last Flag", "QC Min Large Thick Skin Width"):
            self.assertNotIn(name, names)

    def test_get_prints_the_value_alone(self):
        self.default(change=lambda records: setattr(records["Layer Thickness"], "value", 0.1))
        for name in ("Layer Thickness", "LayerThickness", "layer thickness"):
            self.assertEqual(self.good("style", "get", "a.sty", name).out, b"0.1\n")
        out = self.good("style", "get", "a.sty", "Up Hatch ? Power").out
        self.assertEqual(out, b"".join(b"Up Hatch %d Power=600\n" % i for i in range(4)))
        self.assertEqual(self.good("style", "get", "a.sty", "AfterSupportCureDepths[3]").out, b"0\n")

    def test_an_unknown_name_gets_the_nearest_three(self):
        self.default()
        for verb in (["get", "a.sty", "Layer Thicknes"], ["set", "a.sty", "Layer Thicknes=1"],
                     ["show", "a.sty", "--only", "Layer Thicknes"]):
            err = self.fails(USAGE, "style", *verb).err
            self.assertRegex(err, r"there is no parameter 'Layer Thicknes' \[STYLE-PARAMETER\]\n"
                                  r"  hint: did you mean Layer Thickness, .+ or .+\?")
        self.assertIn("no parameter matches 'Foo*'", self.fails(USAGE, "style", "get", "a.sty", "Foo*").err)


class Set(StyleTest):
    def test_the_file_holds_the_new_values_and_nothing_else_changes(self):
        for layout in (golden.layout_301, golden.layout_206):
            with self.subTest(layout.__name__):
                self.default("a.sty", layout=layout)
                self.good("style", "set", "a.sty", "Layer Thickness=0.1", "Hatch Type=3", "Dp=-1e-3", "DH Flag=1",
                          "Shelling Thickness=0.5", "Small LayerBorder  Cure Depth=+0.25")

                def change(records):
                    records["Layer Thickness"].value = 0.1
                    records["Hatch Type"].value = 3
                    records["Dp"].value = -1e-3
                    records["DH Flag"].value = 1
                    records["Shelling Thickness"].value = 0.5
                    records["Small LayerBorder  Cure Depth"].value = 0.25
                self.default("wanted.sty", change, layout)
                self.assertEqual(self.bytes_of("a.sty"), self.bytes_of("wanted.sty"))

    def test_patterns_set_every_match(self):
        self.default()
        data = self.json_of("style", "set", "a.sty", "*Power=700", "Large*Angle*=45", "-o", "b.sty")
        self.assertEqual(sorted(c["name"] for c in data["differences"]),
                         sorted(POWERS + [n for n in golden.plain(golden.REGIONS) if n.startswith("Large") and "Angle" in n]))

        def change(records):
            for name in POWERS:
                records[name].value = 700
            for name in golden.plain(golden.REGIONS):
                if name.startswith("Large") and "Angle" in name:
                    records[name].value = 45
        self.default("wanted.sty", change)
        self.assertEqual(self.bytes_of("b.sty"), self.bytes_of("wanted.sty"))

    def test_range_and_allowed_values_are_checked(self):
        def change(records):
            records["Hatch Type"].allowed = [1, 2, 5]
            records["Hatch Type"].minimum, records["Hatch Type"].maximum = 1, 5
            records["QC ZBond"].allowed = [0.1, 0.2]
            records["QC ZBond"].minimum, records["QC ZBond"].maximum = 0.1, 0.2
            records["Dp"].minimum, records["Dp"].maximum, records["Dp"].flags = 0, 1, [1, 1, 0]
        self.default(change=change)
        before = self.bytes_of("a.sty")
        for assignment in ("Layer Border Power=49.999", "Layer Border Power=1201", "Layer*Power=-1", "Hatch Type=3",
                           "QC ZBond=0.15", "Smart Best Surface Finish Layers=21", "Hatch Type=1.5", "Dp=nan", "Dp=inf",
                           "Dp=1e39", "Hatch Type=2147483648", "Version=3.01"):
            with self.subTest(assignment):
                result = self.fails(NO, "style", "set", "a.sty", "Layer Thickness=1", assignment, "--json")
                self.assertEqual(set(result.codes()), {"STYLE-REFUSED"})
                self.assertEqual(self.bytes_of("a.sty"), before)
        self.assertIn("Layer Border Power: 49 is outside the range [50, 1200]",
                      self.fails(NO, "style", "set", "a.sty", "Layer Border Power=49").err)
        self.assertIn("Hatch Type: 3 is none of the allowed values {1, 2, 5}",
                      self.fails(NO, "style", "set", "a.sty", "Hatch Type=3").err)
        # A range whose flag is 0 binds like any other; --force-value writes past it.
        self.assertIn("Dp: 7 is not in [0, 1]", self.fails(NO, "style", "set", "a.sty", "Dp=7").err)
        self.good("style", "set", "a.sty", "Dp=7", "--force-value", "-o", "forced.sty")
        self.assertEqual(self.parameter("forced.sty", "Dp")["value"], 7)
        # The ends of a range are in it, listed values are taken as 32-bit numbers, and a record without range takes every finite number.
        self.good("style", "set", "a.sty", "Layer Border Power=50", "Layer Hatch 0 Power=1200", "Hatch Type=5",
                  "QC ZBond=0.2", "Start Z=-3e38", "End Z=1e-50", "Fill Type=-2147483648")
        self.assertEqual(self.parameter("a.sty", "Start Z")["value"], -3e38)
        self.assertEqual(self.parameter("a.sty", "End Z")["value"], 0)
        self.good("style", "verify", "a.sty")

    def test_the_shared_slot_is_refused_with_its_reason(self):
        for layout in (golden.layout_301, golden.layout_206):
            self.default(layout=layout)
            before = self.bytes_of("a.sty")
            err = self.fails(NO, "style", "set", "a.sty", "QC Min Large Thick Skin Width=0.3").err
            self.assertRegex(err, r'the file stores "Shelling Thickness" .*\[STYLE-REFUSED\]\n  hint: set "Shelling Thickness"')
            self.assertEqual(self.bytes_of("a.sty"), before)
        self.good("style", "set", "a.sty", "Shelling Thickness=0.3")
        self.assertEqual(self.good("style", "get", "a.sty", "QC Min Large Thick Skin Width").out, b"0.3\n")

    def test_a_unit_or_nonsense_is_a_usage_error(self):
        self.default()
        for value in ("0.1mm", "0.1 mm", "4in", "90deg", '0.1"', "50%"):
            err = self.fails(USAGE, "style", "set", "a.sty", "Layer Thickness=" + value).err
            self.assertIn("a value takes no unit [STYLE-VALUE]\n  hint: values are stored as typed, in the file's own units",
                          err)
        for value in ("", "abc", "1,5", "0x10", "1e", "--1"):
            err = self.fails(USAGE, "style", "set", "a.sty", "Layer Thickness=" + value).err
            self.assertIn("[STYLE-VALUE]", err)
        self.assertIn("is not NAME=VALUE", self.fails(USAGE, "style", "set", "a.sty", "Layer Thickness").err)

    def test_a_206_file_refuses_what_it_cannot_store(self):
        self.default(layout=golden.layout_206)
        err = self.fails(NO, "style", "set", "a.sty", "Layer Border Power=500").err
        self.assertRegex(err, r"Layer Border Power: the file's 206 layout does not store it \[STYLE-REFUSED\]\n"
                              r"  hint: 'trqprep style upgrade'")
        # The flags word has one bit.
        self.assertIn("DH Flag: the 206 layout cannot hold value 5; it would be read as 1",
                      self.fails(NO, "style", "set", "a.sty", "DH Flag=5").err)
        err = self.fails(NO, "style", "set", "a.sty", "AfterSupportCureDepths[20]=1").err
        self.assertIn("does not store it", err)

    def test_a_single_allowed_value_follows_within_the_range(self):
        def change(records):
            records["Dp"].allowed, records["Dp"].minimum, records["Dp"].maximum = [0.5], 0, 1
        self.default(change=change)
        self.good("style", "set", "a.sty", "Dp=0.75")
        self.assertEqual(self.parameter("a.sty", "Dp")["allowed"], [0.75])
        self.fails(NO, "style", "set", "a.sty", "Dp=1.5")

    def test_not_editable_is_a_warning(self):
        self.default(change=lambda records: setattr(records["Dp"], "flags", [1, 0, 1]))
        result = self.good("style", "set", "a.sty", "Dp=0.75", "--json")
        self.assertEqual(result.codes(), ["STYLE-NOT-EDITABLE"])

    def test_dry_run_shows_and_writes_nothing(self):
        self.default()
        before = self.bytes_of("a.sty")
        result = self.good("style", "set", "a.sty", "Layer Thickness=0.1", "--dry-run", "-o", "b.sty")
        self.assertEqual(result.out, b"Layer Thickness: value 0 -> 0.1\n")
        self.assertEqual((self.bytes_of("a.sty"), self.listing()), (before, ["a.sty"]))

    def test_the_file_is_replaced_whole_with_its_mode_through_links(self):
        self.default("real.sty")
        os.chmod(self.path("real.sty"), 0o640)
        self.path("link.sty").symlink_to("real.sty")
        inode = self.path("real.sty").stat().st_ino
        self.good("style", "set", "link.sty", "Layer Thickness=0.1")
        self.assertTrue(self.path("link.sty").is_symlink())
        status = self.path("real.sty").stat()
        self.assertEqual(stat.S_IMODE(status.st_mode), 0o640)
        self.assertNotEqual(status.st_ino, inode)
        self.assert_no_leftovers()

    def test_outputs_are_not_overwritten(self):
        self.default()
        self.default("b.sty")
        self.assertIn("OUTPUT-EXISTS", self.fails(OUTPUT, "style", "set", "a.sty", "Dp=1", "-o", "b.sty", "--json").codes())
        self.fails(OUTPUT, "style", "new", "--machine", "TRQ-E7", "-o", "b.sty")
        self.fails(OUTPUT, "style", "upgrade", "a.sty", "-o", "b.sty")
        self.fails(OUTPUT, "style", "export", "a.sty", "--to", "txt", "-o", "b.sty")
        self.good("style", "set", "a.sty", "Dp=1", "-o", "b.sty", "--force")

    def test_what_an_edit_would_lose_is_warned_of(self):
        data = bytearray(golden.layout_301(golden.default_style())[:-4])
        data[568:632] = b"x" * 64
        self.write("a.sty", with_crc(bytes(data)))
        result = self.good("style", "set", "a.sty", "Dp=1", "--json")
        self.assertEqual(result.codes(), ["STYLE-LOST"])


class Diff(StyleTest):
    def test_names_exactly_the_edited_parameters(self):
        for name in GOLDEN_FILES:
            with self.subTest(name):
                self.golden_file(name)
                edits = ["Layer Thickness=150", "Large Up FillAngle 3=150", "Stagger=200"]
                if name.startswith("filled"):  # their ranges are around their own values, some have allowed values
                    edits = [e for e in edits if self.run_tool("style", "set", name, e, "--dry-run").exit == DONE]
                self.good("style", "set", name, *edits, "-o", "edited.sty", "--force")
                result = self.run_tool("style", "diff", name, "edited.sty", "--json")
                self.assertEqual(result.exit, NO if edits else DONE)
                self.assertEqual([d["name"] for d in result.document()["data"]["differences"]],
                                 [e.split("=")[0] for e in edits])

    def test_prints_the_fields_that_differ(self):
        self.default("a.sty")

        def change(records):
            records["Dp"].value, records["Dp"].allowed = 0.5, [0.5]
        self.default("b.sty", change)
        result = self.fails(NO, "style", "diff", "a.sty", "b.sty")
        # Reading widens the range by the listed value.
        self.assertEqual(result.out, b"Dp: value 0 -> 0.5\nDp: minimum 100000 -> 0.5\nDp: maximum -100000 -> 0.5\n"
                                     b"Dp: allowed {} -> {0.5}\n")
        result = self.fails(NO, "style", "diff", "a.sty", "b.sty", "--json")
        self.assertEqual(result.document()["data"]["differences"][0]["fields"]["value"], {"before": 0, "after": 0.5})

    def test_equal_files_end_with_0(self):
        self.default("a.sty")
        self.default("b.sty")
        self.assertEqual(self.good("style", "diff", "a.sty", "b.sty").out, b"")

    def test_texts_and_words_are_compared_too(self):
        self.default("a.sty")
        style = golden.default_style()
        style.name, style.machine = "Other", 7
        self.write("b.sty", golden.layout_301(style))
        data = self.fails(NO, "style", "diff", "a.sty", "b.sty", "--json").document()["data"]
        self.assertEqual([d["name"] for d in data["differences"]], ["machine_type", "style_name"])

    def test_layouts_are_compared_as_read(self):
        self.default("a.sty", layout=golden.layout_206)
        self.good("style", "upgrade", "a.sty", "-o", "b.sty")
        result = self.good("style", "diff", "a.sty", "b.sty", "--json")
        self.assertEqual(result.codes(), ["STYLE-LAYOUTS"])


class Copy(StyleTest):
    def test_whole_records_are_copied(self):
        def change(records):
            for name in ("Dp", "Small Up FillAngle 1", "Small Down NumFills", "Shelling Thickness"):
                record = records[name]
                record.value, record.default, record.flags = 2, 3, [1, 0, 1]
                record.minimum, record.maximum, record.allowed = 1, 4, [2, 3]
            records["Ec"].value = 9
        self.default("from.sty", change)
        self.default("to.sty")
        result = self.good("style", "copy", "from.sty", "to.sty", "--params", "S*", "--params", "Dp", "--json")
        self.assertEqual([c["name"] for c in result.document()["data"]["differences"]],
                         ["Small Up FillAngle 1", "Small Down NumFills", "QC Min Large Thick Skin Width", "Dp",
                          "Shelling Thickness"])

        def wanted(records):
            change(records)
            records["Ec"].value = 0
        self.default("wanted.sty", wanted)
        self.assertEqual(self.bytes_of("to.sty"), self.bytes_of("wanted.sty"))

    def test_a_pattern_leaves_out_what_cannot_be_copied(self):
        self.default("from.sty", lambda records: setattr(records["Layer Border Power"], "value", 99))
        self.default("to.sty", layout=golden.layout_206)
        result = self.good("style", "copy", "from.sty", "to.sty", "--params", "*", "--json")
        self.assertEqual(set(result.codes()), {"STYLE-SKIPPED"})
        self.assertEqual(result.document()["data"]["differences"], [])
        self.fails(NO, "style", "copy", "from.sty", "to.sty", "--params", "Layer Border Power")
        self.fails(NO, "style", "copy", "from.sty", "to.sty", "--params", "QC Min Large Thick Skin Width")
        self.fails(USAGE, "style", "copy", "from.sty", "to.sty")


class UpgradeAndUnits(StyleTest):
    def test_upgrade_gives_the_301_file_that_the_conversion_states(self):
        for made in (golden.default_style, golden.filled_style):
            old = made()
            self.write("a.sty", golden.layout_206(old))
            self.good("style", "upgrade", "a.sty")
            new = golden.default_style()
            new.name, new.path = old.name, old.path
            new.header_texts[4:] = old.header_texts[4:]
            kept = ["Start Z", "End Z", "Layer Thickness"] + golden.plain(golden.REGIONS) + golden.SUPPORTS
            start = golden.NAMES.index("Large Retract Start")
            kept += [n for n in golden.NAMES[start:golden.NAMES.index("Min Width For Small Spot") + 1]
                     if n not in ("QC Min Large Thick Skin Width", "DH Flag")] + ["Shelling Thickness"]
            for name in kept:
                new.records[name] = old.records[name]
            for name in golden.BITS:
                flag = name.lstrip("!")
                new.records[flag].value = 1 if old.records[flag].value != 0 else 0
            lbp = new.records["LBP for B2"]
            lbp.minimum = lbp.maximum = 0
            self.assertEqual(self.bytes_of("a.sty"), golden.layout_301(new))

    def test_upgrading_a_301_file_changes_nothing(self):
        self.golden_file("filled_301.sty")
        before = self.bytes_of("filled_301.sty")
        self.good("style", "upgrade", "filled_301.sty")
        self.assertEqual(self.bytes_of("filled_301.sty"), before)

    def test_units_convert_the_115_lengths(self):
        def change(records):
            for name, record in records.items():
                if not record.integer:
                    record.value = record.default = 2
            records["Dp"].minimum, records["Dp"].maximum = 0, 5
            records["Start Z"].minimum, records["Start Z"].maximum, records["Start Z"].allowed = 0, 8, [2, 4]
            for name in POWERS:
                records[name].value = 600
        lengths = [n for n in golden.NAMES if n not in golden.INTEGERS and "Angle" not in n and n[0] != "~" and
                   n not in ("Version", "Dp", "Ec", "High Speed Scan Threshold", "Min Large NS Width") + tuple(POWERS)]
        self.assertEqual(len(lengths), 115)
        factor = golden.f32(25.4)

        def converted(records):
            change(records)
            for name in lengths:
                record = records[name]
                record.value, record.default = golden.f32(2 * factor), golden.f32(2 * factor)
            start = records["Start Z"]
            start.maximum, start.allowed = golden.f32(8 * factor), [golden.f32(2 * factor), golden.f32(4 * factor)]
            for name in ("Shell Support Spacing", "Shelling Thickness"):
                record = records[name]
                record.minimum = golden.f32(golden.f32(record.minimum) * factor)
                record.maximum = golden.f32(golden.f32(record.maximum) * factor)
        self.default("a.sty", change)
        self.default("wanted.sty", converted)
        data = self.json_of("style", "units", "a.sty", "--from", "in", "--to", "mm", "-o", "b.sty")
        self.assertEqual(self.bytes_of("b.sty"), self.bytes_of("wanted.sty"))
        self.assertEqual(data["left_alone"], ["Min Large NS Width", "the records without a name"])
        # And back, to within the rounding of the factors; a record without range has none still.
        self.good("style", "units", "b.sty", "--from", "mm", "--to", "in")
        self.assertAlmostEqual(self.parameter("b.sty", "Layer Thickness")["value"], 2, places=5)
        self.assertEqual(self.parameter("b.sty", "Layer Thickness")["minimum"], 100000)

    def test_units_want_both(self):
        self.default()
        self.fails(USAGE, "style", "units", "a.sty", "--to", "mm")
        self.fails(USAGE, "style", "units", "a.sty", "--from", "in")
        self.fails(USAGE, "style", "units", "a.sty", "--from", "cm", "--to", "mm")
        before = self.bytes_of("a.sty")
        self.good("style", "units", "a.sty", "--from", "mm", "--to", "mm")
        self.assertEqual(self.bytes_of("a.sty"), before)


class NewAndInfo(StyleTest):
    def test_new_is_the_default_style_of_the_machine(self):
        self.good("style", "new", "--machine", "TRQ-E7", "-o", "a.sty")
        self.assertEqual(self.bytes_of("a.sty"), (GOLDEN / "default_301.sty").read_bytes())
        style = golden.default_style()
        style.machine, style.name = 12, "Fine"
        self.good("style", "new", "--machine", "mirrafnpx (dual vat)", "--name", "Fine", "-o", "b.sty")
        self.assertEqual(self.bytes_of("b.sty"), golden.layout_301(style))
        err = self.fails(USAGE, "style", "new", "--machine", "TRQ-E8", "-o", "c.sty").err
        self.assertRegex(err, r"there is no machine 'TRQ-E8' \[MACHINE-UNKNOWN\]\n  hint: did you mean TRQ-E7")
        self.fails(USAGE, "style", "new", "--machine", "6", "--name", "x" * 512, "-o", "c.sty")
        self.assertEqual(self.listing(), ["a.sty", "b.sty"])

    def test_info_tells_a_style_by_its_content(self):
        for name in GOLDEN_FILES:
            for as_name in (name, "some.stl.bin", "wrong.rcs"):
                self.golden_file(name, as_name)
                data = self.info_of(as_name)
                self.assertEqual((data["kind"], data["layout"]), ("build style", name[-7:-4]))
                self.assertIs(data["crc_valid"], True)
                self.assertIs(data["kind_from_name"], False)
        text = self.good("info", "filled_301.sty").out.decode()
        self.assertRegex(text, r"build style, 301 layout, \d+ bytes\n  name +Filled style\n  machine +Altor 900 \(18\)\n"
                               r"  CRC +[0-9a-f]{8}, valid")

    def test_info_of_a_damaged_style(self):
        whole = (GOLDEN / "default_301.sty").read_bytes()
        self.write("a.sty", whole[:3000] + b"\x55" + whole[3001:])
        result = self.good("info", "a.sty", "--json")
        self.assertEqual(result.codes(), ["STYLE-CRC"])
        self.write("a.sty", whole[:3000])
        self.assertEqual(self.fails(INPUT, "info", "a.sty", "--json").codes(), ["STYLE-NAME-DECIDES", "STYLE-SHORT"])
        self.write("a.sty", whole + bytes(8))
        result = self.good("info", "a.sty", "--json")
        self.assertEqual(result.codes(), ["STYLE-NAME-DECIDES", "STYLE-CRC"])
        self.write("b.bin", whole[:3000])
        self.assertEqual(self.fails(INPUT, "info", "b.bin", "--json").codes(), ["INPUT-UNKNOWN"])

    def test_damaged_files_are_refused_by_every_verb(self):
        whole = (GOLDEN / "default_301.sty").read_bytes()
        self.write("bad.sty", whole[:3000] + b"\x55" + whole[3001:])
        self.write("short.sty", whole[:3000])
        self.write("none.sty", b"nothing of the kind")
        self.default()
        for name, code in (("bad.sty", "STYLE-CRC"), ("short.sty", "STYLE-SHORT"), ("none.sty", "STYLE-UNKNOWN")):
            before = self.bytes_of(name)
            for verb in (["show", name], ["get", name, "Dp"], ["set", name, "Dp=1"], ["diff", name, "a.sty"],
                         ["diff", "a.sty", name], ["copy", name, "a.sty", "--params", "Dp"],
                         ["copy", "a.sty", name, "--params", "Dp"], ["export", name, "--to", "json"],
                         ["upgrade", name], ["units", name, "--from", "in", "--to", "mm"]):
                with self.subTest((name, verb)):
                    codes = self.fails(INPUT, "style", *verb, "--json").codes()
                    self.assertEqual([c for c in codes if c != "STYLE-NAME-DECIDES"], [code])
                    self.assertEqual(self.bytes_of(name), before)
        self.assert_no_leftovers()


class ExampleStyles(StyleTest):
    def test_the_script_makes_the_same_bytes_again(self):
        subprocess.run([str(SOURCE / "examples" / "make_styles.sh"), support.TOOL, str(self.folder / "made")], check=True,
                       stdout=subprocess.DEVNULL)
        wanted = SOURCE / "examples" / "styles"
        names = sorted(p.name for p in wanted.iterdir())
        self.assertEqual(sorted(p.name for p in (self.folder / "made").iterdir()), names)
        for name in names:
            self.assertEqual((self.folder / "made" / name).read_bytes(), (wanted / name).read_bytes(), name)

    def test_they_are_good(self):
        for path in (SOURCE / "examples" / "styles").glob("*.sty"):
            self.good("style", "verify", path)
            shown = {p["name"]: p for p in self.json_of("style", "show", path)["parameters"]}
            self.assertGreater(shown["Dp"]["value"], 0)
            self.assertGreater(shown["Layer Thickness"]["value"], 0)


if __name__ == "__main__":
    unittest.main()
