"""Plates of the engine nest: gaps and margins, what parts ask for, how long it searches, and what is said when there is no
place. Distances are measured here, between the boxes of pieces that are boxes."""
import filecmp
import itertools
import json
import math
import os
import pathlib
import resource
import signal
import subprocess
import time
import unittest

from support import *

# The gap is 2 mm and the margin 5 mm unless said otherwise; floats of a plate of 250 mm are rounded by less than this.
ROUNDING = 1e-4
SMALL_VAT = ("--vat", "100x100x50mm")


def apart(one, two):
    """Distance of two boxes in XY."""
    return math.hypot(*(max(one["min"][k] - two["max"][k], two["min"][k] - one["max"][k], 0) for k in range(2)))


class NestTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((20, 20, 10), (3, 4, 0))))
        self.write("bar.stl", binary_stl(box_facets((60, 30, 10))))
        self.write("ring.stl", binary_stl(ring_facets(30, 25, 8)))

    def place(self, *arguments):
        return self.json_of("place", *arguments)

    def refused(self, words, *arguments, exit=USAGE):
        """The message of a job that has mistakes holds the words."""
        result = self.fails(exit, "build", *arguments, "-o", "none")
        self.assertIn(words, result.err)
        self.assertFalse(self.path("none").exists())

    def job(self, text, parts="", name="job.toml"):
        return self.write(name, text + "\n[[part]]\nfile = \"box.stl\"\n" + parts)

    def pieces_of(self, data, part):
        return [piece for piece in data["pieces"] if piece["part"] == part]

    def assert_apart(self, data, gap, margin, gaps=None):
        """Boxes whose turns are right angles keep their gaps: the job's, and those of parts that ask for more."""
        for piece in data["pieces"]:
            for k in range(2):
                self.assertGreaterEqual(piece["box"]["min"][k], margin - ROUNDING)
                self.assertLessEqual(piece["box"]["max"][k], data["vat"][k] - margin + ROUNDING)
        nearest = math.inf
        for one, two in itertools.combinations(data["pieces"], 2):
            wanted = max(gap, *((gaps or {}).get(p["part"], 0) for p in (one, two)))
            found = apart(one["box"], two["box"])
            self.assertGreaterEqual(found, wanted - ROUNDING, (one, two))
            nearest = min(nearest, found)
        if len(data["pieces"]) > 1:
            self.assertAlmostEqual(data["smallest_distance"], nearest, delta=ROUNDING)

    def assert_same_folder(self, one, two):
        names = sorted(str(p.relative_to(self.path(one))) for p in self.path(one).rglob("*") if p.is_file())
        self.assertEqual(names, sorted(str(p.relative_to(self.path(two))) for p in self.path(two).rglob("*") if p.is_file()))
        self.assertEqual(filecmp.cmpfiles(self.path(one), self.path(two), names, shallow=False)[0], names)


class Distances(NestTest):
    def test_the_defaults(self):
        data = self.place("box.stl,copies=5", "bar.stl,copies=2", "--rotations", "4")
        self.assertEqual((data["engine"], data["piece_gap"], data["margin"], data["cell"]), ("nest", 2, 5, None))
        self.assertEqual(len(data["pieces"]), 7)
        self.assert_apart(data, 2, 5)

    def test_those_asked_for(self):
        data = self.place("box.stl,copies=5", "bar.stl,copies=2", "--rotations", "4", "--gap", "0.1in", "--margin", "12.5")
        self.assertAlmostEqual(data["piece_gap"], 2.54)
        self.assert_apart(data, 2.54, 12.5)

    def test_in_inches(self):
        self.write("inch.stl", binary_stl(box_facets((1, 1, 1))))
        data = self.place("inch.stl,copies=4", "--units", "in", "--vat", "5x5x5", "--rotations", "1")
        self.assertAlmostEqual(data["piece_gap"], 2 / 25.4)
        self.assert_apart(data, 2 / 25.4, 5 / 25.4)
        self.assertEqual(data["units"], "in")

    def test_none(self):
        data = self.place("box.stl,copies=25", *SMALL_VAT, "--gap", "0", "--margin", "0", "--rotations", "1")
        self.assertEqual(len(data["pieces"]), 25)  # five by five of 20 mm fill 100 mm
        self.assertEqual(data["smallest_distance"], 0)

    def test_a_part_that_wants_more(self):
        data = self.place("box.stl,copies=4,gap=15", "bar.stl,copies=3", "--rotations", "4")
        self.assert_apart(data, 2, 5, {"box": 15})

    def test_a_part_that_wants_less_gets_what_the_others_want(self):
        data = self.place("box.stl,copies=4,gap=1", "bar.stl,copies=2", "--gap", "6", "--rotations", "4")
        boxes = self.pieces_of(data, "box")
        for one, two in itertools.combinations(data["pieces"], 2):
            wanted = 1 if one in boxes and two in boxes else 6
            self.assertGreaterEqual(apart(one["box"], two["box"]), wanted - ROUNDING)

    def test_the_plate_is_used_from_the_front_left_corner(self):
        piece, = self.place("box.stl", "--rotations", "1")["pieces"]
        self.assertEqual(piece["box"]["min"][:2], [5, 5])

    def test_the_summary_says_the_smallest_distance(self):
        text = self.good("place", "box.stl,copies=3").out.decode()
        self.assertIn("smallest distance seen from above: 2", text)

    def test_upright_sheets_have_gaps_too(self):
        sheet = [((0, 0, 0), (30, 0, 0), (30, 0, 10)), ((0, 0, 0), (30, 0, 10), (0, 0, 10))]
        self.write("sheet.stl", binary_stl(sheet))
        self.assert_apart(self.place("sheet.stl,copies=4", "--rotations", "2"), 2, 5)

    def test_points_have_gaps_too(self):
        self.write("point.ctl", make_ctl([(1, 1, 1)] * 4, [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]))
        self.assert_apart(self.place("point.ctl,copies=4", "box.stl", "--rotations", "1"), 2, 5)


class Grid(NestTest):
    def test_without_gap_and_margin_as_a_job_file_that_does_not_name_it(self):
        self.good("build", "box.stl,copies=4", "bar.stl", "--engine", "grid", "-o", "line")
        self.write("job.toml", '[[part]]\nfile = "box.stl"\ncopies = 4\n[[part]]\nfile = "bar.stl"\n')
        self.good("build", "job.toml", "-o", "file")
        self.assert_same_folder("line", "file")
        text = self.path("file/build.toml").read_text()
        self.assertIn('engine = "grid"\n', text)
        for key in ("gap", "margin", "steps"):
            self.assertNotIn(key, text)

    def test_with_gap_and_margin(self):
        data = self.place("box.stl,copies=6", "bar.stl,copies=2", "--engine", "grid", "--gap", "3", "--margin", "7",
                          "--rotations", "4")
        self.assertEqual((data["engine"], data["piece_gap"], data["margin"], data["search_steps"]), ("grid", 3, 7, None))
        self.assertEqual(len(data["pieces"]), 8)
        self.assert_apart(data, 3, 7)

    def test_with_a_gap_of_a_part(self):
        data = self.place("box.stl,copies=4,gap=9", "bar.stl", "--engine", "grid", "--rotations", "4")
        self.assert_apart(data, 0, 0, {"box": 9})

    def test_a_margin_alone(self):
        data = self.place("box.stl,copies=2", "--engine", "grid", "--margin", "20", *SMALL_VAT, "--rotations", "1")
        self.assert_apart(data, 0, 20)

    def test_the_folder_repeats(self):
        self.good("build", "box.stl,copies=4", "--engine", "grid", "--gap", "3", "--margin", "7", "-o", "one")
        self.good("build", "one/build.toml", "-o", "two")
        self.assert_same_folder("one", "two")

    def test_what_is_not_for_it(self):
        for options in (["--time", "1"], ["--order", "given"], ["--no-holes"], ["--wall-limit", "1"],
                        ["--tolerance", "0.01"]):
            self.refused("engine 'grid'", "box.stl", "--engine", "grid", *options)
        for key in ("rotations=fixed", "at=10:10", "copies=fill"):
            self.refused("engine 'grid'", "box.stl," + key, "--engine", "grid")
        for key in ("time = 1", "steps = 1", 'order = "given"', "no-holes = true"):
            self.refused("engine 'grid'", self.job(key))
        self.refused("engine 'grid'", self.job("", "at = [10, 10]\n"))


class Turning(NestTest):
    def turns(self, rotations):
        data = self.place(f"bar.stl,copies=6,rotations={rotations}", *("--vat", "250x140x50mm"))
        return {piece["rotation"] for piece in data["pieces"]}

    def test_fixed(self):
        self.assertEqual(self.turns("fixed"), {0})
        self.assertEqual(self.turns("1"), {0})

    def test_a_list(self):
        self.assertEqual(self.turns("90:450"), {90})  # one turn, said twice
        self.assertLessEqual(self.turns("0:90:180"), {0, 90, 180})
        self.assertEqual(self.turns("-90:270"), {270})

    def test_a_number(self):
        self.assertLessEqual(self.turns("4"), {0, 90, 180, 270})

    def test_it_comes_after_the_part_s_own_turn(self):
        piece, = self.place("bar.stl,rotate-z=30,rotations=60:60")["pieces"]
        self.assertEqual(piece["rotation"], 60)
        size = [piece["box"]["max"][k] - piece["box"]["min"][k] for k in range(2)]
        self.assertAlmostEqual(size[0], 30, places=4)
        self.assertAlmostEqual(size[1], 60, places=4)

    def test_only_a_turn_makes_it_fit(self):
        narrow = ("--vat", "42x80x50mm")  # 60 x 30 and margins of 5
        self.assertEqual(self.place("bar.stl,rotations=0:90", *narrow)["pieces"][0]["rotation"], 90)
        result = self.fails(NO_PLACEMENT, "place", "bar.stl,rotations=fixed", *narrow, "--json")
        self.assertEqual(result.codes(), ["TOO-BIG-FOR-VAT"])

    def test_what_is_no_turn(self):
        for wrong in ("0", "25", "", "x", "0:x", "0:", "nan:1", "fix", ":".join(map(str, range(25)))):
            self.refused("rotations", f"box.stl,rotations={wrong}")
        for wrong in ("0", "25", "1.5", '"x"', "[]", '["0"]', "[nan]", "true", str(list(range(25)))):
            self.refused("rotations", self.job('engine = "nest"', f"rotations = {wrong}\n"), exit=INPUT)

    def test_in_job_files(self):
        for given, written in (("[0, 90.0, 450]", "rotations = [0, 90]\n"), ('"fixed"', 'rotations = "fixed"\n'),
                               ("6", "rotations = 6\n"), ('"0:45"', "rotations = [0, 45]\n"), ("[0]", 'rotations = "fixed"\n')):
            self.good("build", self.job('engine = "nest"', f"rotations = {given}\n"), "-o", "out", "--force")
            self.assertIn(written, self.path("out/build.toml").read_text().split("[[part]]")[1])


class Places(NestTest):
    def test_the_corner_is_there_and_the_rest_around_it(self):
        data = self.place("box.stl,at=40mm:50mm", "box.stl,copies=8", *SMALL_VAT, "--rotations", "1", "--margin", "3")
        piece, = self.pieces_of(data, "box")
        self.assertEqual(piece["box"]["min"][:2], [40, 50])
        self.assert_apart(data, 2, 3)

    def test_turned_and_in_another_unit(self):
        piece, = self.place("bar.stl,rotate-z=30,at=1:2in")["pieces"]
        self.assertEqual(piece["rotation"], 0)
        for k, wanted in enumerate((25.4, 50.8)):
            self.assertAlmostEqual(piece["box"]["min"][k], wanted, places=4)
            self.assertAlmostEqual(piece["xy"[k]], wanted, places=4)
        width = 60 * math.cos(math.radians(30)) + 30 * math.sin(math.radians(30))
        self.assertAlmostEqual(piece["box"]["max"][0] - piece["box"]["min"][0], width, places=4)

    def test_every_piece_in_its_place_makes_the_same_plate(self):
        self.good("build", "bar.stl,copies=3,rotate-z=10", "ring.stl,copies=2", "-o", "one")
        document = json.loads(self.path("one/build.json").read_text())
        text = self.path("one/build.toml").read_text().split("\n[[part]]")[0]
        for piece in document["pieces"]:
            turn = piece["rotation"] + (10 if piece["part"] == "bar" else 0)
            at = [piece["box"]["min"][k] for k in range(2)]
            text += f"\n[[part]]\nfile = \"{piece['part']}.stl\"\nat = {at}\nrotate-z = {turn}\n"
        self.write("places.toml", text)
        self.good("build", "places.toml", "-o", "two")
        for one, two in zip(document["pieces"], json.loads(self.path("two/build.json").read_text())["pieces"]):
            # Where they stand is told in 32 bits.
            for a, b in zip(read_ctl(self.path("one") / one["mesh"])["vertices"],
                            read_ctl(self.path("two") / two["mesh"])["vertices"]):
                self.assertLess(math.dist(a, b), 3e-4)
        self.good("build", "two/build.toml", "-o", "three")
        self.assert_same_folder("two", "three")

    def test_outside_the_vat(self):
        for at in ("-1:10", "10:-1", "85:10", "10:999999", "99999:5"):
            result = self.fails(NO, "build", f"box.stl,at={at}", "box.stl,copies=3", *SMALL_VAT, "-o", "out", "--json")
            self.assertEqual(result.codes(), ["OUTSIDE-VAT"])
        self.assertFalse(self.path("out").exists())

    def test_pieces_that_lie_over_each_other(self):
        result = self.fails(NO, "place", "box.stl,at=10:10", "box.stl,at=25:25", "--json")
        self.assertIn("OVERLAP", result.codes())

    def test_a_gap_that_leaves_the_others_no_place_takes_no_time(self):
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        result = self.fails(NO_PLACEMENT, "place", "box.stl,at=10:10,gap=400mm", "box.stl,copies=3", *SMALL_VAT, "--json",
                            "--time", "600")
        self.assertEqual(result.codes(), ["NO-PLACEMENT"])
        self.assertLess(resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before, 10)

    def test_what_is_no_place(self):
        for wrong in ("", "1", "1:2:3", "nan:1", "1:inf", "x:y", "1mm:2furlong", "1e400:1"):
            self.refused("at", f"box.stl,at={wrong}")
        self.refused("kilometre", "box.stl,at=1e9:1")
        self.refused("one piece", "box.stl,at=1:1,copies=2")
        self.refused("one piece", "box.stl,at=1:1,copies=fill")
        self.refused("exclude each other", "box.stl,at=10:10,rotations=4")
        for wrong in ("1", "[1]", "[1, 2, 3]", '["1", "y"]', "[nan, 1]", "[inf, 1]"):
            self.refused("at", self.job('engine = "nest"', f"at = {wrong}\n"), exit=INPUT)
        self.refused("one piece", self.job('engine = "nest"', "at = [1, 1]\ncopies = 2\n"))


class Filling(NestTest):
    def test_as_many_as_fit(self):
        # Three times four squares of 20 mm, 2 mm apart, in the 66 x 88 mm that 76 x 98 mm leave within the margins.
        data = self.place("box.stl,copies=fill,rotations=fixed", "--vat", "76x98x50mm", "--time", "1")
        self.assertEqual(len(data["pieces"]), 12)
        self.assertEqual(data["inputs"][0]["copies"], 12)
        self.assert_apart(data, 2, 5)

    def test_beside_everything_else(self):
        for parts in (("box.stl,copies=fill", "bar.stl,copies=2"), ("bar.stl,copies=2", "box.stl,copies=fill")):
            for order in ("size", "given"):
                data = self.place(*parts, *SMALL_VAT, "--rotations", "4", "--time", "0", "--order", order)
                self.assertEqual(len(self.pieces_of(data, "bar")), 2)
                self.assertGreater(len(self.pieces_of(data, "box")), 1)
                self.assert_apart(data, 2, 5)

    def test_the_folder_repeats_it(self):
        self.good("build", "box.stl,copies=fill", "bar.stl", *SMALL_VAT, "--time", "0.5", "-o", "one")
        self.assertIn('copies = "fill"\n', self.path("one/build.toml").read_text())
        self.good("build", "one/build.toml", "-o", "two")
        self.assert_same_folder("one", "two")

    def test_none_fits(self):
        result = self.fails(NO_PLACEMENT, "place", "bar.stl,copies=fill", "box.stl,copies=9", "--vat", "76x76x50mm",
                            "--rotations", "1", "--time", "0", "--json")
        message, = result.document()["messages"]
        self.assertEqual((message["code"], message["where"]["part"], message["where"]["copy"]), ("NO-PLACEMENT", "bar", 1))
        self.assertEqual((message["where"]["placed"], message["where"]["piece_count"]), (9, 10))

    def test_two_parts_cannot(self):
        self.refused("a second part is to fill the plate", "box.stl,copies=fill", "bar.stl,copies=fill")
        self.refused("a second part is to fill the plate",
                     self.job('engine = "nest"', 'copies = "fill"\n[[part]]\nfile = "bar.stl"\ncopies = "fill"\n'))

    def test_other_words(self):
        self.refused("copies", "box.stl,copies=full")
        self.refused("copies", self.job('engine = "nest"', 'copies = "full"\n'), exit=INPUT)
        self.refused("copies", self.job('engine = "nest"', "copies = 0\n"), exit=INPUT)

    def test_info_of_the_job(self):
        self.good("build", "box.stl,copies=fill", *SMALL_VAT, "--time", "0", "-o", "out")
        self.assertEqual(self.info_of("out/build.toml")["part_count"], 1)


class Order(NestTest):
    def test_who_gets_the_corner(self):
        parts = ("box.stl", "bar.stl")
        first = {order: min(self.place(*parts, "--order", order, "--time", "0", "--rotations", "1")["pieces"],
                            key=lambda piece: piece["x"] + piece["y"])["part"] for order in ("size", "given")}
        self.assertEqual(first, {"size": "bar", "given": "box"})

    def test_in_job_files(self):
        self.good("build", "box.stl", "bar.stl", "--order", "given", "-o", "one")
        self.assertIn('order = "given"\n', self.path("one/build.toml").read_text())
        self.good("build", "one/build.toml", "-o", "two")
        self.assert_same_folder("one", "two")
        self.refused("order", self.job('engine = "nest"\norder = "small"'), exit=INPUT)


class Holes(NestTest):
    VAT = ("--vat", "64x64x50mm", "--margin", "1", "--time", "0.2")

    def test_a_piece_lies_in_the_hole_of_another(self):
        self.assertEqual(len(self.place("ring.stl", "box.stl", *self.VAT)["pieces"]), 2)

    def test_unless_that_is_forbidden(self):
        self.fails(NO_PLACEMENT, "place", "ring.stl", "box.stl", *self.VAT, "--no-holes")
        self.write("job.toml", 'engine = "nest"\nvat = "64x64x50mm"\ngap = 2\nmargin = 1\ntime = 0.2\nno-holes = true\n'
                               '[[part]]\nfile = "ring.stl"\n[[part]]\nfile = "box.stl"\n')
        self.fails(NO_PLACEMENT, "build", "job.toml", "-o", "out")


class Searching(NestTest):
    CROWD = ("bar.stl,copies=5", "ring.stl,copies=2", "box.stl,copies=9", "--vat", "180x180x50mm")

    def test_the_folder_repeats_to_the_byte_with_any_threads(self):
        self.good("build", *self.CROWD, "--threads", "2", "-o", "one")
        text = self.path("one/build.toml").read_text()
        self.assertNotIn("time", text)
        self.assertNotIn("threads", text)
        for threads in ("1", "3"):
            self.good("build", "one/build.toml", "--threads", threads, "-o", "again", "--force")
            self.assert_same_folder("one", "again")
            self.good("build", *self.CROWD, "--threads", threads, "-o", "again", "--force")
            self.assert_same_folder("one", "again")

    def test_steps_stand_for_the_time(self):
        self.good("build", *self.CROWD, "--time", "0.1", "-o", "out")
        document = json.loads(self.path("out/build.json").read_text())
        self.assertIn(f"\nsteps = {document['search_steps']}\n", self.path("out/build.toml").read_text())
        self.assertLessEqual(document["search_steps"], 1.2e7)

    def test_no_time_is_the_constructive_pass(self):
        self.assertEqual(self.place(*self.CROWD, "--time", "0")["search_steps"], 0)

    def test_one_piece_takes_no_search(self):
        self.assertEqual(self.place("bar.stl", "--time", "1000")["search_steps"], 0)

    def test_it_ends_when_everything_has_its_place(self):
        started = time.monotonic()
        data = self.place("box.stl,copies=6", "--time", "100000")
        self.assertLessEqual(data["search_steps"], 5e7)  # compacting takes a twentieth of ten seconds
        self.assertLess(time.monotonic() - started, 600 if SANITIZED else 60)

    def test_another_seed_is_another_plate(self):
        self.assertNotEqual(self.place(*self.CROWD)["pieces"], self.place(*self.CROWD, "--seed", "2")["pieces"])

    def test_what_is_no_time(self):
        for option in ("--time", "--wall-limit"):
            for wrong in ("-1", "nan", "inf", "1e9" if option == "--time" else "0", "x"):
                self.refused("", "box.stl", option, wrong)
        for wrong in ("0", "-1", "x", "1.5"):
            self.refused("--threads", "box.stl", "--threads", wrong)
        self.refused("time and steps", self.job('engine = "nest"\ntime = 1\nsteps = 5'))
        for wrong in ("time = -1", "time = nan", "time = 1e9", 'time = "1"', "steps = -1", "steps = 1.5"):
            self.refused("", self.job('engine = "nest"\n' + wrong), exit=INPUT)

    def test_a_limit_by_the_clock_is_repeated_by_steps(self):
        started = time.monotonic()
        self.good("build", "box.stl,copies=fill", "ring.stl", "--vat", "115x115x50mm", "--time", "100000", "--wall-limit",
                  "1", "-o", "one")
        self.assertLess(time.monotonic() - started, 600 if SANITIZED else 60)
        text = self.path("one/build.toml").read_text()
        self.assertNotIn("wall", text)
        self.good("build", "one/build.toml", "-o", "two")
        self.assert_same_folder("one", "two")

    def test_an_interrupted_search_leaves_nothing(self):
        with subprocess.Popen([TOOL, "build", "box.stl,copies=fill", "ring.stl", "--vat", "115x115x50mm", "--time", "100000",
                               "-o", "out"], cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            time.sleep(2)
            self.assertIsNone(process.poll())
            process.send_signal(signal.SIGINT)
            process.communicate(timeout=120)
        self.assertEqual(process.returncode, INTERRUPTED)
        self.assertEqual(self.listing(), ["bar.stl", "box.stl", "ring.stl"])


class Refused(NestTest):
    def message(self, *arguments):
        result = self.fails(NO_PLACEMENT, "place", *arguments, "--json")
        message, = result.document()["messages"]
        return message

    def test_too_large_for_what_the_margins_leave(self):
        message = self.message("bar.stl", "--vat", "66x66x50mm", "--rotations", "1")
        self.assertEqual((message["code"], message["where"]["exceeds"]), ("TOO-BIG-FOR-VAT", {"x": 4}))
        self.assertIn("with a margin of 5 mm", message["text"])
        self.assertIn("--margin", message["hint"])
        self.good("place", "bar.stl", "--vat", "66x66x50mm", "--rotations", "1", "--margin", "3")

    def test_too_large_for_the_vat(self):
        message = self.message("bar.stl", "--vat", "55x55x50mm", "--rotations", "1")
        self.assertEqual(message["where"]["exceeds"], {"x": 5})
        self.assertNotIn("margin", message["text"])

    def test_more_area_than_there_is(self):
        # 90 x 90 mm within the margins; two bars of 60 x 30 mm lie above each other, a third one would need 94 mm.
        message = self.message("bar.stl,copies=5", *SMALL_VAT, "--rotations", "1")
        self.assertEqual(message["code"], "NO-PLACEMENT")
        self.assertEqual(message["where"], {"placed": 2, "piece_count": 5, "part": "bar", "copy": 3,
                                            "free_area": 8100 - 2 * 1800})
        self.assertIn("it covers 1800 mm2, and 4500 mm2 of the 8100 mm2 within the margins are free", message["text"])

    def test_the_largest_that_has_no_place_is_named(self):
        message = self.message("box.stl,copies=3", "bar.stl,copies=3", *SMALL_VAT, "--rotations", "1", "--time", "0",
                               "--order", "given")
        self.assertEqual(message["where"]["part"], "bar")

    def test_gaps_wider_than_the_vat(self):
        for engine in ("nest", "grid"):
            for gap in ("999999mm", "300mm"):  # the boxes are at most 250 mm apart
                message = self.message("box.stl,copies=2", "--gap", gap, "--engine", engine)
                self.assertEqual((message["code"], message["where"]["placed"]), ("NO-PLACEMENT", 1))
            self.good("place", "box.stl", "--gap", "300000", "--engine", engine)  # it has nothing to stand apart from

    def test_margins_wider_than_the_vat(self):
        for engine in ("nest", "grid"):
            for margin in ("120", "125", "126", "900000"):
                message = self.message("box.stl,copies=2", "--margin", margin, "--engine", engine)
                self.assertEqual(message["code"], "TOO-BIG-FOR-VAT")

    def test_lengths_that_are_none(self):
        for option in ("--gap", "--margin", "--tolerance"):
            for wrong in ("-1", "nan", "inf", "1e9", "x", "1e400", ""):
                self.refused("", "box.stl", option, wrong)
        for wrong in ("-1", "nan", "1e9", "x"):
            self.refused("gap", f"box.stl,gap={wrong}")
        for key in ("gap", "margin", "tolerance"):
            for wrong in ("-1", "nan", "-inf", "1e9", '"x"', "true"):
                self.refused(key, self.job(f'engine = "nest"\n{key} = {wrong}'), exit=INPUT)
        self.refused("gap", self.job("", "gap = -1\n"), exit=INPUT)

    def test_engines_that_are_none(self):
        self.refused("", "box.stl", "--engine", "gird")
        self.refused("engine", self.job('engine = "gird"'), exit=INPUT)

    def test_there_is_one_plate(self):
        self.good("place", "box.stl,plate=1")
        self.refused("no plate 2", "box.stl,plate=2")
        for wrong in ("0", "-1", "1001", "x"):
            self.refused("plate", f"box.stl,plate={wrong}")

    def test_coordinates_beyond_everything(self):
        self.write("huge.ctl", make_ctl([(0, 0, 0), (1e30, 0, 0), (0, 10, 0), (0, 0, 10)],
                                        [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]))
        self.assertEqual(self.message("huge.ctl", "box.stl")["code"], "TOO-BIG-FOR-VAT")

    def test_more_pieces_than_can_be_placed(self):
        message = self.message(*["box.stl,copies=1000"] * 11)
        self.assertEqual(message["code"], "NO-PLACEMENT")
        self.assertIn("11000 pieces", message["text"])

    def test_a_thousand_parts(self):
        self.write("small.stl", binary_stl(box_facets((3, 3, 3))))
        text = 'engine = "nest"\ngap = 2\nmargin = 5\nrotations = 1\ntime = 0\nvat = "200x200x50mm"\n'
        self.write("job.toml", text + '[[part]]\nfile = "small.stl"\n' * 1000)
        started = time.monotonic()
        self.good("build", "job.toml", "-o", "out")
        document = json.loads(self.path("out/build.json").read_text())
        self.assertEqual(len(document["pieces"]), 1000)
        self.assert_apart(document, 2, 5)
        self.write("job.toml", text.replace("200x200", "100x100") + '[[part]]\nfile = "small.stl"\n' * 1000)
        result = self.fails(NO_PLACEMENT, "build", "job.toml", "-o", "none")
        self.assertIn("of 1000 pieces find a place", result.err)
        self.assertLess(time.monotonic() - started, 1200 if SANITIZED else 120)


if __name__ == "__main__":
    unittest.main()
