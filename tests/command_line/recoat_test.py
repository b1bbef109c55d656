"""`trqprep recoat`: recoat styles and their sweeps. What files have to hold is packed by the script that makes the
golden files, which does not use the library. What build and recoat styles share is tested in style_test.py."""
import csv
import io
import json
import struct
import sys
import unittest

import support
from support import *

sys.path.insert(0, str(SOURCE / "tests" / "data" / "recoat"))
import make_golden_recoat as golden  # noqa: E402

GOLDEN = SOURCE / "tests" / "data" / "recoat"
GOLDEN_FILES = ["default_301.rcs", "default_206.rcs", "filled_301.rcs", "filled_206.rcs", "legacy.rcs",
                "legacy_sweeps.rcs"]
COUNTS = ["Num Sweeps", "Num Tooling PrimarySweeps", "Num Tooling SecondarySweeps"]


def f32(x):
    return struct.unpack("<f", struct.pack("<f", x))[0]


class RecoatTest(ToolTest):
    def golden_file(self, name, as_name=None):
        return self.write(as_name or name, (GOLDEN / name).read_bytes())

    def make(self, name="a.rcs", change=lambda style: None, pack=golden.pack_301, start=golden.default_style):
        style = start()
        change(style)
        return self.write(name, pack(style))

    def bytes_of(self, name):
        return self.path(name).read_bytes()

    def parameters(self, name):
        return {p["name"]: p for p in self.json_of("recoat", "show", name, "--all")["parameters"]}


def counted(style):
    """The count records as the tool keeps them, with lists of these lengths."""
    for name, sweeps in zip(COUNTS, (style.sweeps, style.primary, style.secondary)):
        if sweeps:
            record = style.records[name]
            record.value, record.low, record.high = len(sweeps), 0, len(sweeps)


class Verify(RecoatTest):
    def test_golden_files_are_good(self):
        for name in GOLDEN_FILES:
            with self.subTest(name):
                self.golden_file(name)
                document = self.good("recoat", "verify", name, "--json").document()
                self.assertEqual((document["data"]["lost"], document["data"]["notes"], document["messages"]), ([], [], []))
                self.assertEqual(document["data"]["layout"], "legacy" if "legacy" in name else name[-7:-4])

    def test_damage_is_found(self):
        whole = (GOLDEN / "filled_301.rcs").read_bytes()
        for at in [4, 31, 2264, len(whole) // 2, len(whole) - 1]:
            self.write("a.rcs", whole[:at] + bytes([whole[at] ^ 1]) + whole[at + 1:])
            self.assertIn("STYLE-CRC", self.fails(NO, "recoat", "verify", "a.rcs", "--json").codes())
        for length in (0, 7, 8, 2263, len(whole) - 5, len(whole) - 1):
            self.write("a.rcs", whole[:length])
            self.fails(INPUT if length < 8 else NO, "recoat", "verify", "a.rcs")
        self.write("a.rcs", (GOLDEN / "legacy_sweeps.rcs").read_bytes()[:-1])
        self.assertIn("STYLE-UNKNOWN", self.fails(INPUT, "recoat", "verify", "a.rcs", "--json").codes())

    def test_hostile_sweep_counts_end_soon(self):
        for maximum in (2**31 - 1, 1000000, -5):
            self.make(change=lambda style: setattr(style.records["Num Sweeps"], "high", maximum))
            result = self.run_tool("recoat", "verify", "a.rcs", "--json")
            self.assertEqual(result.exit, NO if maximum > 0 else DONE)
            self.assertEqual(result.codes()[:1], ["STYLE-SHORT"] if maximum > 0 else [])

    def test_slack_is_a_note_and_a_lost_value_an_error(self):
        data = bytearray((GOLDEN / "filled_206.rcs").read_bytes()[:-4])
        data[4 + 23 + 4 + 400] = 0x41
        self.write("a.rcs", golden.crc(bytes(data)))
        document = self.good("recoat", "verify", "a.rcs", "--json").document()
        self.assertEqual([n["name"] for n in document["data"]["notes"]], ["style_name"])
        data = bytearray((GOLDEN / "legacy.rcs").read_bytes())
        data[4 + 400] = data[516 + 400] = 0x41
        self.write("b.rcs", bytes(data))
        document = self.good("recoat", "verify", "b.rcs", "--json").document()
        self.assertEqual([n["name"] for n in document["data"]["notes"]], ["style_name", "full_path_name"])

        def widened(style):
            gap, velocity = golden.Record("f", 100, 100, (1, 1, 1), 50, 60, [100]), golden.Record("f", 2)
            style.sweeps = [(gap, velocity)]
            counted(style)
        self.make("c.rcs", widened)
        result = self.fails(NO, "recoat", "verify", "c.rcs", "--json")
        self.assertEqual([(e["name"], e["text"]) for e in result.document()["data"]["lost"]],
                         [("sweeps[1] gap", "maximum 60 becomes 100")])

    def test_the_other_kind_is_named(self):
        (self.folder / "a.sty").write_bytes((SOURCE / "tests/data/styles/default_301.sty").read_bytes())
        err = self.fails(INPUT, "recoat", "verify", "a.sty").err
        self.assertIn("it is a build style: 'trqprep style verify'", err)
        err = self.fails(INPUT, "recoat", "show", "a.sty").err
        self.assertRegex(err, r"is a build style, not a recoat style \[STYLE-KIND\]\n  hint: the command for it is 'trqprep style'")
        self.golden_file("default_206.rcs")
        self.assertIn("STYLE-KIND", self.fails(INPUT, "style", "show", "default_206.rcs", "--json").codes())


class ExportAndImport(RecoatTest):
    def test_json_gives_the_same_bytes_or_those_of_the_upgrade(self):
        for name in GOLDEN_FILES:
            with self.subTest(name):
                self.golden_file(name)
                self.write("a.json", self.good("recoat", "export", name, "--to", "json").out)
                self.good("recoat", "import", "a.json", "-o", "imported.rcs", "--force")
                if "301" in name:
                    self.assertEqual(self.bytes_of("imported.rcs"), self.bytes_of(name))
                else:
                    self.good("recoat", "upgrade", name, "-o", "upgraded.rcs", "--force")
                    self.assertEqual(self.bytes_of("imported.rcs"), self.bytes_of("upgraded.rcs"))

    def test_text_exports_are_the_librarys(self):
        for name, style in (("default_301.rcs", golden.default_style()), ("filled_301.rcs", golden.filled_style())):
            self.golden_file(name)
            # A 301 file does not hold the "Version" record; its value is the header's version word.
            style.records["Version"] = golden.default_style().records["Version"]
            for to, comma in (("txt", False), ("csv", True)):
                self.assertEqual(self.good("recoat", "export", name, "--to", to).out, golden.export(style, comma))

    def test_the_tidy_table_has_the_sweeps(self):
        self.golden_file("filled_301.rcs")
        text = self.good("recoat", "export", "filled_301.rcs", "--to", "tidy-csv").out.decode()
        rows = {row["name"]: row for row in csv.DictReader(io.StringIO(text))}
        self.assertEqual(len(rows), 14 + 15 + 48 + 2 * 6)
        self.assertEqual(rows["secondary[2] gap"]["value"], "121")
        self.assertEqual(rows["sweeps[3] velocity"]["default"], "4")
        self.assertEqual(rows["layer_thickness"]["value"], "0.125")

    def test_counts_that_are_not_true_are_refused(self):
        self.golden_file("filled_301.rcs")
        self.good("recoat", "export", "filled_301.rcs", "--to", "json", "-o", "a.json")
        document = json.loads(self.bytes_of("a.json"))
        count = next(p for p in document["parameters"] if p["name"] == "Num Sweeps")
        for maximum in (2, 4, 0):
            count["maximum"] = maximum
            self.write("b.json", json.dumps(document))
            self.assertEqual(self.fails(INPUT, "recoat", "import", "b.json", "-o", "b.rcs", "--json").codes(),
                             ["STYLE-JSON"])
        document["sweeps"]["sweps"] = []
        self.write("b.json", json.dumps(document))
        self.assertIn("there is no entry 'sweps'", self.fails(INPUT, "recoat", "import", "b.json", "-o", "b.rcs").err)


class FirstWord(RecoatTest):
    def test_a_206_file_may_begin_with_any_user_level_but_the_version(self):
        # As a float the level is the version of a 301 file, or that of a legacy one; the whole file says what it is.
        for first in (4.0, 2.03, -1.5):  # 2.06 begins a build style
            with self.subTest(first=first):
                level, = struct.unpack("<i", struct.pack("<f", first))
                self.make(change=lambda style: setattr(style, "level", level), pack=golden.pack_206)
                data = self.info_of("a.rcs")
                self.assertEqual((data["kind"], data["layout"], data["user_level"]), ("recoat style", "206", level))
                self.assertEqual(self.json_of("recoat", "verify", "a.rcs")["lost"], [])
                before = self.parameters("a.rcs")
                self.good("recoat", "set", "a.rcs", "Z Wait=1", "-o", "set.rcs", "--force")
                wanted = golden.default_style()
                wanted.level = level
                wanted.records["Z Wait"].value = 1
                self.assertEqual(self.bytes_of("set.rcs"), golden.pack_206(wanted))
                self.assertEqual(self.parameters("set.rcs")["Z Wait"]["value"], before["Z Wait"]["value"] + 1)
                self.good("recoat", "units", "a.rcs", "--from", "in", "--to", "mm", "-o", "mm.rcs", "--force")
                self.assertEqual(self.info_of("mm.rcs")["layout"], "206")
                self.good("recoat", "upgrade", "a.rcs", "-o", "new.rcs", "--force")
                data = self.info_of("new.rcs")
                self.assertEqual((data["layout"], data["user_level"]), ("301", level))

    def test_version_3_01_is_that_of_a_301_file(self):
        level, = struct.unpack("<i", struct.pack("<f", 3.01))
        self.make(change=lambda style: setattr(style, "level", level), pack=golden.pack_206)
        for verb in (["show", "a.rcs"], ["verify", "a.rcs"], ["upgrade", "a.rcs"], ["set", "a.rcs", "Z Wait=1"]):
            result = self.run_tool("recoat", *verb, "--json")
            self.assertIn(result.exit, (NO, INPUT))
            self.assertIn("STYLE-SHORT", result.codes())


class Edit(RecoatTest):
    def test_set_changes_the_value_alone(self):
        for pack in (golden.pack_301, golden.pack_206):
            self.make(pack=pack, start=golden.filled_style)
            self.good("recoat", "set", "a.rcs", "Z Dip Distance=8.5", "SecondaryZWait=12")

            def change(style):
                style.records["Z Dip Distance"].value = 8.5
                style.records["Secondary ZWait"].value = 12
            self.make("wanted.rcs", change, pack, golden.filled_style)
            self.assertEqual(self.bytes_of("a.rcs"), self.bytes_of("wanted.rcs"))

    def test_diff_names_exactly_the_edited_parameters(self):
        for name in ("default_301.rcs", "default_206.rcs"):
            self.golden_file(name)
            self.good("recoat", "set", name, "Z Wait=3", "Primary ZVelocity=2.5", "-o", "b.rcs", "--force")
            result = self.fails(NO, "recoat", "diff", name, "b.rcs", "--json")
            self.assertEqual([d["name"] for d in result.document()["data"]["differences"]], ["Z Wait", "Primary ZVelocity"])

    def test_diff_tells_sweeps(self):
        self.make("a.rcs", start=golden.filled_style)

        def change(style):
            style.sweeps[1][1].value = 9
            style.secondary.pop()
            style.records[COUNTS[2]].high = 1
        self.make("b.rcs", change, start=golden.filled_style)
        result = self.fails(NO, "recoat", "diff", "a.rcs", "b.rcs")
        self.assertEqual(result.out.decode(), "Num Tooling SecondarySweeps: maximum 2 -> 1\n"
                                              "sweeps[2] velocity: value 3.5 -> 9\nsecondary: length 2 -> 1\n")

    def test_count_records_are_not_set_by_hand(self):
        self.golden_file("filled_301.rcs")
        before = self.bytes_of("filled_301.rcs")
        for name, listed in zip(COUNTS, ("sweeps", "primary", "secondary")):
            err = self.fails(NO, "recoat", "set", "filled_301.rcs", name + "=1").err
            self.assertIn("hint: 'trqprep recoat sweeps FILE --list " + listed + "'", err)
        self.make("b.rcs")
        result = self.good("recoat", "copy", "filled_301.rcs", "b.rcs", "--params", "Num*", "--json")
        self.assertEqual([c["name"] for c in result.document()["data"]["differences"]], ["Number Of Secondary"])
        self.assertEqual(self.bytes_of("filled_301.rcs"), before)

    def test_a_206_file_refuses_the_preferred_gap(self):
        self.golden_file("default_206.rcs")
        err = self.fails(NO, "recoat", "set", "default_206.rcs", "Preferred Blade Gap=1").err
        self.assertIn("hint: 'trqprep recoat upgrade' makes a 301 file of it", err)

    def test_new_is_the_default_style(self):
        self.good("recoat", "new", "--machine", "TRQ-E7", "-o", "a.rcs")
        self.assertEqual(self.bytes_of("a.rcs"), (GOLDEN / "default_301.rcs").read_bytes())

        def change(style):
            style.machine, style.name, style.units = 23, "Slow", "mm"
        self.make("wanted.rcs", change)
        self.good("recoat", "new", "--machine", "23", "--name", "Slow", "--units", "mm", "-o", "b.rcs")
        self.assertEqual(self.bytes_of("b.rcs"), self.bytes_of("wanted.rcs"))

    def test_new_for_layers_of_a_thickness(self):
        self.good("recoat", "new", "--machine", "TRQ-E7", "--layer-thickness", "0.05", "-o", "a.rcs")
        self.good("recoat", "new", "--machine", "TRQ-E7", "-o", "b.rcs")
        thin, blank = self.bytes_of("a.rcs"), self.bytes_of("b.rcs")
        place = blank.index(struct.pack("<f", 0.004))
        self.assertEqual(thin[:-4], blank[:place] + struct.pack("<f", 0.05) + blank[place + 4:-4])
        self.fails(USAGE, "recoat", "new", "--machine", "TRQ-E7", "--layer-thickness", "-1", "-o", "c.rcs")


class Sweeps(RecoatTest):
    def test_lists_what_the_file_holds(self):
        self.golden_file("filled_301.rcs")
        self.assertEqual(self.good("recoat", "sweeps", "filled_301.rcs").out.decode(),
                         "list sweeps (3)\n  1  gap 100 %  velocity 2.5\n  2  gap 101 %  velocity 3.5\n"
                         "  3  gap 102 %  velocity 4.5\nlist primary (1)\n  1  gap 110 %  velocity 12.5\n"
                         "list secondary (2)\n  1  gap 120 %  velocity 22.5\n  2  gap 121 %  velocity 23.5\n")
        self.assertEqual(self.good("recoat", "sweeps", "filled_301.rcs", "--list", "primary").out.decode(),
                         "list primary (1)\n  1  gap 110 %  velocity 12.5\n")
        self.golden_file("legacy_sweeps.rcs")
        sweeps = self.json_of("recoat", "sweeps", "legacy_sweeps.rcs")["sweeps"]
        self.assertEqual([[(s["gap"]["value"], s["velocity"]["value"]) for s in sweeps[k]]
                          for k in ("sweeps", "primary", "secondary")],
                         [[(100, 1.5), (101, 2.5)], [(110, 11.5)], [(120, 21.5), (121, 22.5), (122, 23.5)]])

    def test_adding_keeps_the_count_records_true(self):
        for pack in (golden.pack_301, golden.pack_206):
            self.make(pack=pack)
            self.good("recoat", "sweeps", "a.rcs", "--add", "gap=100,velocity=2.5", "--add", "velocity=3,gap=90")
            self.good("recoat", "sweeps", "a.rcs", "--list", "secondary", "--add", "gap=110,velocity=4")

            def change(style):
                def sweep(gap, velocity):
                    return golden.Record("f", gap, gap), golden.Record("f", velocity, velocity)
                style.sweeps, style.secondary = [sweep(100, 2.5), sweep(90, 3)], [sweep(110, 4)]
                counted(style)
            self.make("wanted.rcs", change, pack)
            self.assertEqual(self.bytes_of("a.rcs"), self.bytes_of("wanted.rcs"))
            self.good("recoat", "verify", "a.rcs")

    def test_removing_counts_from_one_in_the_list_as_shown(self):
        self.make(start=golden.filled_style)
        self.good("recoat", "sweeps", "a.rcs", "--remove", "1", "--remove", "2", "--add", "gap=5,velocity=6")

        def change(style):
            style.sweeps = [style.sweeps[2], (golden.Record("f", 5, 5), golden.Record("f", 6, 6))]
            record = style.records["Num Sweeps"]
            record.value = record.high = 2
        self.make("wanted.rcs", change, start=golden.filled_style)
        self.assertEqual(self.bytes_of("a.rcs"), self.bytes_of("wanted.rcs"))
        # The last one goes, too, and the count says so.
        self.good("recoat", "sweeps", "a.rcs", "--list", "primary", "--remove", "1")
        count = self.parameters("a.rcs")["Num Tooling PrimarySweeps"]
        self.assertEqual((count["value"], count["maximum"]), (0, 0))
        self.assertEqual(self.json_of("recoat", "sweeps", "a.rcs")["sweeps"]["primary"], [])
        self.good("recoat", "verify", "a.rcs")

    def test_mistakes_change_nothing(self):
        self.golden_file("filled_301.rcs")
        before = self.bytes_of("filled_301.rcs")
        self.assertIn("there is no sweep 4 in list sweeps, which has 3",
                      self.fails(NO, "recoat", "sweeps", "filled_301.rcs", "--remove", "4").err)
        for more in (["--remove", "0"], ["--remove", "x"], ["--add", "gap=100"], ["--add", "gap=100,velocity=2mm"],
                     ["--add", "gap=1,gap=2"], ["--add", "gap=1,velocity=2,x=3"], ["--add", "gap=1,velocity=nan"],
                     ["--list", "third"]):
            with self.subTest(more):
                self.fails(USAGE, "recoat", "sweeps", "filled_301.rcs", *more)
        self.good("recoat", "sweeps", "filled_301.rcs", "--remove", "1", "--dry-run")
        self.assertEqual(self.bytes_of("filled_301.rcs"), before)
        self.golden_file("legacy_sweeps.rcs")
        self.assertIn("STYLE-LEGACY", self.fails(INPUT, "recoat", "sweeps", "legacy_sweeps.rcs", "--remove", "1", "--json").codes())


class UpgradeAndUnits(RecoatTest):
    def test_upgrade_of_a_206_file(self):
        for start in (golden.default_style, golden.filled_style):
            self.make(pack=golden.pack_206, start=start)
            old = start()

            def change(new):
                new.level, new.machine, new.name, new.path = old.level, old.machine, old.name, old.path
                new.description, new.units, new.none_texts = old.description, old.units, old.none_texts
                for name, _ in golden.TABLE[:26]:
                    if name != "Version":
                        new.records[name] = old.records[name]
                new.sweeps, new.primary, new.secondary = old.sweeps, old.primary, old.secondary
                new.thickness = 0
                new.records["Preferred Blade Gap"].flags = (0, 1, 1)
            self.make("wanted.rcs", change)
            self.good("recoat", "upgrade", "a.rcs")
            self.assertEqual(self.bytes_of("a.rcs"), self.bytes_of("wanted.rcs"))

    def test_upgrade_of_a_legacy_file(self):
        self.golden_file("legacy_sweeps.rcs", "a.rcs")
        result = self.good("recoat", "upgrade", "a.rcs", "--from", "mm", "--json")
        self.assertEqual((result.codes(), result.document()["data"]["layout"]), ([], "301"))

        def change(style):
            style.name, style.path, style.description, style.units = "Old recoat", "styles/Old.rcs", "flat form", "mm"
            numbers = {"RecoatType": 1, "Start Z": 0.5, "End Z": 12.25, "Number Of Secondary": 9}
            for i, name in enumerate(golden.MOVES_301[2:] + golden.DIPS):
                numbers[name] = i + 1
            for name, number in numbers.items():
                record = style.records[name]
                record.value = record.default = number
            style.sweeps, style.primary, style.secondary = [
                [tuple(golden.Record("f", x, x) for x in (100 + 10 * n + k, 1.5 + 10 * n + k)) for k in range(count)]
                for n, count in enumerate((2, 1, 3))]
            counted(style)
            for name, count in zip(COUNTS, (2, 1, 3)):
                style.records[name].default = count
        self.make("wanted.rcs", change)
        self.assertEqual(self.bytes_of("a.rcs"), self.bytes_of("wanted.rcs"))
        # Without --from it is taken as inches, which is said.
        self.golden_file("legacy.rcs")
        self.assertEqual(self.good("recoat", "upgrade", "legacy.rcs", "--json").codes(), ["STYLE-UNITS"])

    def test_units_converts_the_narrow_set_and_rewrites_the_text(self):
        self.make(change=lambda style: setattr(style, "units", "mm"), start=golden.filled_style)
        data = self.json_of("recoat", "units", "a.rcs", "--to", "in")
        factor = f32(0.03937008)

        def change(style):
            style.units = "in"
            records = [style.records["Start Z"], style.records["End Z"]]
            records += [velocity for _, velocity in style.sweeps + style.primary + style.secondary]
            for record in records:
                for field in ("value", "default"):
                    setattr(record, field, f32(getattr(record, field) * factor))
                if (record.low, record.high) != (100000, -100000):
                    record.low, record.high = f32(record.low * factor), f32(record.high * factor)
                record.allowed = [f32(x * factor) for x in record.allowed]
        self.make("wanted.rcs", change, start=golden.filled_style)
        self.assertEqual(self.bytes_of("a.rcs"), self.bytes_of("wanted.rcs"))
        self.assertEqual(data["left_alone"][:3], ["Z Velocity", "Z Acceleration", "Z Dip Distance"])
        self.assertIn("Preferred Blade Gap", data["left_alone"])
        self.assertIn("layer_thickness", data["left_alone"])

    def test_units_take_the_files_text_as_the_present_units(self):
        self.make()  # states "in"
        self.fails(NO, "recoat", "units", "a.rcs", "--from", "mm", "--to", "in")
        before = self.bytes_of("a.rcs")
        self.good("recoat", "units", "a.rcs", "--to", "in")
        self.assertEqual(self.bytes_of("a.rcs"), before)
        self.make(change=lambda style: setattr(style, "units", "furlong"))
        self.assertIn("STYLE-UNITS", self.fails(INPUT, "recoat", "units", "a.rcs", "--to", "in", "--json").codes())
        self.good("recoat", "units", "a.rcs", "--from", "mm", "--to", "in")
        self.assertEqual(self.info_of("a.rcs")["length_units"], "in")


class Info(RecoatTest):
    def test_info_tells_by_content(self):
        for name in GOLDEN_FILES:
            for as_name in (name, "a.bin", "wrong.sty"):
                with self.subTest((name, as_name)):
                    self.golden_file(name, as_name)
                    data = self.info_of(as_name)
                    self.assertEqual((data["kind"], data["kind_from_name"]), ("recoat style", False))
                    self.assertEqual(data["layout"], "legacy" if "legacy" in name else name[-7:-4])
        data = self.info_of("filled_301.rcs")
        self.assertEqual((data["machine"], data["length_units"], data["sweep_counts"]),
                         ("Altor 900", "mm", {"sweeps": 3, "primary": 1, "secondary": 2}))

    def test_the_name_decides_where_the_content_does_not_and_that_is_said(self):
        whole = (GOLDEN / "filled_301.rcs").read_bytes() + bytes(5)
        self.write("a.rcs", whole)
        result = self.good("info", "a.rcs", "--json")
        self.assertEqual((result.document()["data"]["files"][0]["kind"], result.codes()), ("recoat style", ["STYLE-NAME-DECIDES", "STYLE-CRC"]))
        self.write("a.sty", whole[:3000])
        self.assertEqual(self.fails(INPUT, "info", "a.sty", "--json").codes(), ["STYLE-NAME-DECIDES", "STYLE-SHORT"])

    def test_version_4_is_no_recoat_style(self):
        self.make(change=lambda style: setattr(style, "version", 4.0))
        self.fails(INPUT, "recoat", "show", "a.rcs")


class ExampleStyle(RecoatTest):
    def test_it_has_three_sweeps_and_a_primary_and_a_secondary_list(self):
        path = SOURCE / "examples" / "styles" / "ThreeSweeps.rcs"
        self.good("recoat", "verify", path)
        sweeps = self.json_of("recoat", "sweeps", path)["sweeps"]
        self.assertEqual({k: len(v) for k, v in sweeps.items()}, {"sweeps": 3, "primary": 1, "secondary": 1})


if __name__ == "__main__":
    unittest.main()
