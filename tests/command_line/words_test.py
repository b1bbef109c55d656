"""What the tool says: every error has a next step, every code is explained, and texts are ordinary English."""
import re
import struct
import unittest

import style_files
import support
from support import *
from help_test import ExampleFolder


class Codes(ToolTest):
    def setUp(self):
        super().setUp()
        source = (SOURCE / "include/trqprep/message_table.h").read_text()
        self.count = len(re.findall(r"^  k\w+,$", source, re.M))

    def test_explain_knows_every_code(self):
        rules = self.json_of("explain")["rules"]
        self.assertEqual(len(rules), self.count)
        for rule in rules:
            with self.subTest(rule["code"]):
                # Stories teach: what it means, how it comes about, what to do.
                self.assertGreaterEqual(len(re.findall(r"[.?] |[.]$", rule["story"])), 2)
                self.assertGreater(len(rule["story"]), 80)
                self.assertGreater(len(rule["hint"]), 5)
                self.assertNotIn("`", rule["hint"])
                text = self.good("explain", rule["code"]).out.decode()
                self.assertIn(rule["title"], text)
                self.assertIn("Next step: ", text)

    def test_no_error_goes_without_a_next_step(self):
        for rule in self.json_of("explain")["rules"]:
            if rule["severity"] == "error":
                self.assertNotIn("none needed", rule["hint"], rule["code"])

    def test_codes_that_were_not_known_to_explain(self):
        for code in ("OUTSIDE-VAT", "STL-COUNT", "STL-HEADER", "STL-TRAILING", "MESH-NAN", "NO-PLACEMENT",
                     "BAND-EMPTY", "CHECK-PARTIAL", "usage"):
            self.good("explain", code)

    def test_the_page_of_codes_is_made_from_the_table(self):
        copy = self.folder / "tree"
        for name in ("prep/says/message_table.cpp", "docs/error-codes.md", "scripts/error-codes"):
            (copy / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(SOURCE / name, copy / name)
        page = (copy / "docs/error-codes.md").read_text()
        subprocess.run(["python3", copy / "scripts/error-codes"], check=True)
        self.assertEqual((copy / "docs/error-codes.md").read_text(), page, "run: scripts/error-codes")


class Hints(ToolTest):
    """Errors that had no hint; `support.run` looks at every error of every suite."""

    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def test_usage(self):
        self.write("f.sty", style_files.build_style())
        self.write("f.rcs", style_files.recoat_style(sweeps=1))
        self.good("slice", "box.stl", "-o", "box.slc") if ["slice"] in command_names() else None
        for line in ("place box.stl,copies=0", "transform box.stl -o a.stl --scale 0", "transform box.stl -o a.stl --matrix 1,2",
                     "transform box.stl -o a.stl --rotate-x ninety", "zcomp box.stl -o a.stl",
                     "zcomp box.stl -o a.stl --height 1 --style f.sty", "hollow box.stl -o a.stl --both --inner-only",
                     "vents add box.stl", "vents move box.stl", "slc svg x.slc -o a.svg", "recoat sweeps f.rcs --remove 9",
                     "style import box.stl -o g.sty", "build box.stl --machines box.stl -o out", "explain NOTHING",
                     "verify nofolder", "convert box.stl --to stl-ascii --stamp 1 -o a.stl"):
            with self.subTest(line):
                result = self.run_tool(*line.split())
                self.assertIn(result.exit, (NO, USAGE, INPUT))
                self.assertRegex(result.err, r"(?m)^trqprep: error: .*\n  hint: \S")

    def test_a_full_disk(self):
        result = self.fails(OUTPUT, "convert", "box.stl", "--to", "stl-ascii", "-o", "/dev/full")
        self.assertIn("\n  hint: ", result.err)

    def test_a_factor_that_is_too_large_is_a_usage_error(self):
        for scale in ("1e39", "1e300"):
            result = self.fails(USAGE, "transform", "box.stl", "--scale", scale, "-o", "a.stl")
            self.assertIn("--scale", result.err.split("hint:")[1])
            self.assertNotIn("export", result.err)


class Suggestions(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def test_an_option_that_belongs_to_a_part(self):
        for option in ("copies", "rotate-z"):
            result = self.fails(USAGE, "build", "box.stl", f"--{option}", "3", "-o", "out")
            self.assertIn(f"hint: it belongs to a part and is written behind it: PART.stl,{option}=VALUE", result.err)

    def test_an_option_of_another_command(self):
        result = self.fails(USAGE, "info", "box.stl", "--vat", "1x1x1")
        self.assertIn("it is an option of 'trqprep build', ", result.err)
        result = self.fails(USAGE, "info", "box.stl", "--stamp", "1")
        self.assertIn("it is an option of 'trqprep convert'", result.err)

    def test_a_name_that_begins_with_a_hyphen(self):
        self.write("-ring.stl", binary_stl(box_facets()))
        result = self.fails(USAGE, "info", "-ring.stl")
        self.assertIn("./-ring.stl", result.err)
        self.assertIn("-- -ring.stl", result.err)
        self.good("info", "./-ring.stl")
        self.good("info", "--", "-ring.stl")

    def test_an_option_without_its_value(self):
        self.assertIn("--units needs a value: mm|in [USAGE]", self.fails(USAGE, "info", "box.stl", "--units").err)
        self.assertIn("--seed needs a value: N [USAGE]", self.fails(USAGE, "place", "box.stl", "--seed").err)

    def test_patterns_match_in_any_case(self):
        wanted = self.good("params", "Large Up*").out
        self.assertEqual(self.good("params", "LARGE up*").out, wanted)
        self.write("f.sty", style_files.build_style())
        self.assertEqual(self.good("style", "get", "f.sty", "LAYER*").out, self.good("style", "get", "f.sty", "Layer*").out)


class Folders(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def test_verify_of_what_is_no_build_folder(self):
        result = self.fails(INPUT, "verify", "nofolder")
        self.assertIn("nofolder: there is no such folder [INPUT-MISSING]\n  hint: ", result.err)
        (self.folder / "empty").mkdir()
        result = self.fails(INPUT, "verify", "empty")
        self.assertIn("empty: is not a build folder: it holds no build.json [BUILD-INVALID]\n  hint: ", result.err)
        result = self.fails(INPUT, "verify", "box.stl")
        self.assertIn("box.stl: is a file, not a build folder [BUILD-INVALID]", result.err)

    def test_the_command_that_verify_names_works(self):
        for folder in ("out", "my out"):
            self.good("build", "box.stl", "-o", folder)
            (self.folder / folder / "plate.svg").write_text("changed")
            (self.folder / folder / "more.txt").write_text("x")
            result = self.fails(NO, "verify", folder)
            commands = set(re.findall(r"hint: '(trqprep .*)' builds it again", result.err))
            self.assertEqual(len(commands), 1, result.err)
            completed = subprocess.run(["bash", "-c", commands.pop().replace("trqprep", f"'{support.TOOL}'", 1)],
                                       cwd=self.folder, capture_output=True)
            self.assertEqual(completed.returncode, 0, completed.stderr)
            self.good("verify", folder + "-again")

    def test_the_cell_of_the_build_is_the_one_used(self):
        self.write("small.stl", binary_stl(box_facets((1, 1, 1))))
        data = self.json_of("build", "small.stl", "--vat", "9.8x9.8x9.8in", "--units", "in", "--engine", "grid", "-o", "out")
        # The grid's own arithmetic: the vat in single precision and the margin, a part in 31 of it.
        def f32(x):
            return struct.unpack("f", struct.pack("f", x))[0]
        source = (SOURCE / "placement/grid_eval.cpp").read_text()
        margin = float(re.search(r"kVatMargin = ([0-9.e-]+)", source)[1])
        cell = f32(f32(f32(9.8) + f32(margin)) * f32(0.032258064))
        self.assertEqual([f32(x) for x in data["cell"]], [cell, cell])

    def test_an_oversized_job_file_is_named_as_one(self):
        with open(self.folder / "big.toml", "wb") as file:
            file.truncate((256 << 20) + 1)
        result = self.fails(INPUT, "build", "big.toml", "-o", "out")
        self.assertIn("is too large for a job file", result.err)

    def test_where_the_styles_of_a_profile_are_looked_for(self):
        self.write("lab.toml", '[lab]\ntype = "TRQ-E7"\nstyles = "root"\n')
        result = self.fails(INPUT, "build", "box.stl", "--machines", "lab.toml", "--style", "Fine.sty", "-o", "out")
        self.assertIn("root/trqe7/e7mm/", result.err)
        folder = self.folder / "root/trqe7/e7mm"
        folder.mkdir(parents=True)
        shutil.copy(SOURCE / "examples/styles/Fine.sty", folder)
        self.good("build", "box.stl", "--machines", "lab.toml", "--style", "Fine.sty", "-o", "out")
        self.assertIn("/srv/styles/trqe7/e7mm/", " ".join(self.good("machines", "--help").out.decode().split()))


class Vents(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def test_a_place_far_from_the_part_is_warned_of(self):
        for name in ("box.stl", "box.V_D"):
            result = self.good("vents", "add", name, "--vent", "500mm,0,0", "-o", name + ".V_D")
            self.assertIn("vent 1 at 500, 0, 0 is not on the part, but 490 mm away [VD-STALE]", result.err)
            self.assertIn("the part reaches from 0, 0, 0 to 10, 20, 30 mm", result.err)
        self.assertEqual(self.good("vents", "add", "box.V_D", "--vent", "5,10,30").err, "")

    def test_removing_all_asks_its_own_question(self):
        self.good("vents", "add", "box.stl", "--vent", "1", "--drain", "1")
        result = self.fails(NO, "vents", "remove", "box.stl", "--all")
        self.assertIn("delete box.V_D with its 2 holes?", result.err)
        self.assertNotIn("rotating", result.err)
        self.assertTrue(self.path("box.V_D").exists())
        self.good("vents", "remove", "box.stl", "--all", "--yes")
        self.assertFalse(self.path("box.V_D").exists())


class Styles(ToolTest):
    def test_units_of_a_206_file_hints_at_the_upgrade(self):
        self.write("a.sty", style_files.build_style(layout="206"))
        result = self.run_tool("style", "units", "a.sty", "--from", "mm", "--to", "in")
        if result.exit == NO:
            self.assertIn("hint: 'trqprep style upgrade' first", result.err)
        self.write("a.rcs", style_files.recoat_style(layout="206"))
        result = self.run_tool("recoat", "units", "a.rcs", "--to", "in")
        if result.exit == NO:
            self.assertIn("hint: 'trqprep recoat upgrade' first", result.err)

    def test_a_damaged_206_build_style_is_one(self):
        whole = style_files.build_style(layout="206")
        self.write("a.bin", whole[:-8])
        result = self.run_tool("info", "a.bin", "--json")
        self.assertEqual(result.codes()[-1], "STYLE-SHORT")
        self.assertIn("206 layout", result.document()["messages"][-1]["text"])
        damaged = bytearray(whole)
        damaged[100] ^= 1
        self.write("b.rcs", bytes(damaged))
        self.assertEqual(self.info_of("b.rcs")["kind"], "build style")

    def test_that_the_name_decided_is_said_before_the_damage(self):
        whole = style_files.recoat_style(sweeps=1)
        self.write("a.rcs", whole[:-6])
        for verb in ("show", "get", "set", "verify", "export"):
            more = {"get": ["Z Wait"], "set": ["Z Wait=1"], "export": ["--to", "json"]}.get(verb, [])
            result = self.run_tool("recoat", verb, "a.rcs", *more)
            self.assertIn("[STYLE-NAME-DECIDES]", result.err, verb)
        self.write("box.stl", binary_stl(box_facets()))
        self.assertIn("[STYLE-NAME-DECIDES]", self.run_tool("check", "a.rcs").err)
        self.assertIn("[STYLE-NAME-DECIDES]", self.run_tool("build", "box.stl", "--recoat", "a.rcs", "-o", "out").err)

    def test_recoat_takes_what_the_legacy_reader_takes(self):
        golden = (SOURCE / "tests/data/recoat/legacy_sweeps.rcs").read_bytes()
        wanted = self.show(golden)
        longer = self.run_tool_on(golden + bytes(8))
        self.assertEqual(longer.exit, DONE, longer.err)
        self.assertIn("8 bytes behind the last sweep not read", longer.err)
        other = self.run_tool_on(struct.pack("<f", 2.02) + golden[4:])
        self.assertEqual(other.exit, DONE, other.err)
        self.assertEqual(other.out, wanted)
        # By content alone the length holds.
        self.write("a.bin", golden + bytes(8))
        self.assertNotEqual(self.run_tool("info", "a.bin", "--json").document()["data"].get("type"), "recoat")

    def run_tool_on(self, data):
        self.write("a.rcs", data)
        return self.run_tool("recoat", "show", "a.rcs")

    def show(self, data):
        result = self.run_tool_on(data)
        self.assertEqual(result.exit, DONE, result.err)
        return result.out


class English(ToolTest):
    def test_counts_have_their_plural(self):
        self.write("box.stl", binary_stl(box_facets()))
        self.write("f.sty", style_files.build_style(0.05))
        text = self.good("build", "box.stl", "--style", "f.sty", "-o", "out").out.decode()
        self.assertIn("1 piece of 1 part in a vat", text)
        self.assertIn("layers of 0.05 mm", text)
        self.assertIn("2 pieces of 1 part in", self.good("place", "box.stl,copies=2").out.decode())

    def test_a_ctl_file_is_told_of_as_info_tells(self):
        self.write("a.stl", binary_stl(box_facets((39.99949, 39.99999, 40))))
        converted = self.good("convert", "a.stl", "-o", "a.ctl").out.decode()
        told = self.good("info", "a.ctl").out.decode()
        size = re.search(r"size +(.*)", told)[1]
        self.assertIn(size, converted)

    def test_no_message_or_help_is_worded_as_nobody_speaks(self):
        page = self.good("help", "--reference-page").out.decode()
        self.assertNotIn("temporary file and compares", page)
        source = ""
        for room in ("tools/trqprep", "prep"):
            for path in (SOURCE / room).rglob("*.cpp"):
                source += re.sub(r"(?m)^\s*//.*$", "", path.read_text())
        texts = re.findall(r'"((?:[^"\\\n]|\\.)*)"', source) + [page]
        for text in texts:
            self.assertNotRegex(text, r"(?<!there )\b(is|are) no (whole |regular |known )?(text|number|list|file|folder|sweep|band|style|"
                                      r"corner|surface|setting|machine|JSON|build|recoat|length|kind)\b")
            self.assertNotRegex(text, r"\{\}(:[^}]*)? (facets|pieces|parts|layers|sweeps|copies|entries|holes)\b")


class Pages(ExampleFolder):
    def test_the_reference_page_runs_from_top_to_bottom_in_one_folder(self):
        self.prepare()
        page = (SOURCE / "docs/trqprep.md").read_text()
        lines = [line for block in re.findall(r"^```sh\n(.*?)^```", page, re.S | re.M) for line in block.splitlines()]
        self.assertGreater(len(lines), 60)
        failed = []
        for line in lines:
            try:
                self.run_line(line)
            except AssertionError as error:
                failed.append(str(error))
        self.assertEqual(failed, [])

    def test_the_first_build_of_the_readme_prints_no_warning(self):
        readme = (SOURCE / "README.md").read_text()
        self.assertIn('export PATH="$PWD/build/release/bin:$PATH"', readme)
        line = re.search(r"^trqprep build (?:.*\\\n)*.*", readme, re.M)[0].replace("\\\n", " ")
        (self.folder / "examples").symlink_to(SOURCE / "examples")
        result = self.good(*line.split()[1:])
        self.assertEqual(result.err, "")

    def test_names_of_examples_hold_what_they_say(self):
        for document in (SOURCE / "README.md", SOURCE / "docs/trqprep.md"):
            self.assertNotIn("knob-4000", document.read_text())


del ExampleFolder  # its own tests stand in help_test.py

if __name__ == "__main__":
    unittest.main()
