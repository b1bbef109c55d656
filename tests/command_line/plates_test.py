"""One job over several plates: a folder of build folders that repeat themselves, and one job file that repeats all."""
import json
import re
import shutil
import unittest

from support import INPUT, NO, NO_PLACEMENT, OUTPUT, USAGE, ToolTest, binary_stl, box_facets
from style_files import build_style

QUICK = ["--vat", "100x100x60mm", "--time", "0"]


def everything(folder):
    return {str(p.relative_to(folder)): p.read_bytes() for p in sorted(folder.rglob("*")) if p.is_file()}


class Plates(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((40, 30, 5))))
        self.write("bar.stl", binary_stl(box_facets((80, 10, 5))))
        self.path("sub").mkdir()
        self.write("sub/box.stl", binary_stl(box_facets((20, 20, 8))))
        self.write("Fine.sty", build_style(0.1))

    def build(self, *more, output="out", parts=("box.stl,copies=5", "bar.stl,copies=3", "sub/box.stl,copies=2,style=Fine.sty")):
        return self.json_of("build", *parts, *QUICK, "--plates", "any", "-o", output, *more)

    def plates(self, folder="out"):
        return json.loads(self.path(f"{folder}/plates.json").read_text())

    def test_every_piece_lies_on_one_plate(self):
        data = self.build()
        self.assertEqual([p["folder"] for p in data["plates"]], [f"plate-{i + 1}" for i in range(len(data["plates"]))])
        # 5 x 1200 + 3 x 800 + 2 x 400 of 90 x 90 that a plate has within its margins: two at the least.
        self.assertGreaterEqual(len(data["plates"]), 2)
        self.assertEqual(sum(p["piece_count"] for p in data["plates"]), 10)
        for plate in data["plates"]:
            document = json.loads(self.path(f"out/{plate['folder']}/build.json").read_text())
            self.assertEqual(len(document["pieces"]), plate["piece_count"])
            self.assertEqual(document["sum"], plate["sum"])
            for piece in document["pieces"]:
                low, high = piece["box"]["min"], piece["box"]["max"]
                self.assertGreaterEqual(min(low[:2]), 5 - 1e-3)
                self.assertLessEqual(max(high[:2]), 95 + 1e-3)
            self.assertGreaterEqual(document["smallest_distance"] or 2, 2 - 1e-3)
        self.assertEqual(sorted(p.name for p in self.path("out").iterdir()),
                         sorted(["build.toml", "plates.json"] + [p["folder"] for p in data["plates"]]))

    def test_a_job_of_several_plates_is_checked_plate_by_plate(self):
        self.build()
        found = self.run_tool("check", "out/build.toml", "--json")
        self.assertEqual(found.exit, 0, found.err)
        self.assertNotIn("OVERLAP", found.codes())
        # What is wrong on one of them is found.
        self.write("two.toml", "vat = '100x100x60mm'\nengine = 'nest'\nplates = 'any'\ntime = 0\n" +
                   "[[part]]\nfile = 'box.stl'\nat = [10, 10]\n" * 2 + "[[part]]\nfile = 'bar.stl'\ncopies = 9\n")
        found = self.fails(NO, "check", "two.toml", "--json")
        self.assertEqual(found.codes().count("OVERLAP"), 1)

    def test_a_plate_repeats_itself(self):
        data = self.build()
        for plate in data["plates"]:
            folder = self.path("out") / plate["folder"]
            text = (folder / "build.toml").read_text()
            self.assertEqual(text.count("[[part]]"), plate["piece_count"])
            self.assertEqual(len(re.findall(r"^at = ", text, re.M)), plate["piece_count"])
            self.assertEqual(len(re.findall(r"^rotate-z = ", text, re.M)), plate["piece_count"])
            self.good("build", f"out/{plate['folder']}/build.toml", "-o", "again", "--force")
            self.assertEqual(everything(folder), everything(self.path("again")))

    def test_the_whole_repeats_itself_from_anywhere(self):
        self.build()
        self.path("out").rename(self.path("moved"))
        for name in ("box.stl", "bar.stl", "Fine.sty"):
            self.path(name).unlink()
        shutil.rmtree(self.path("sub"))
        self.good("build", "moved/build.toml", "-o", "again")
        self.assertEqual(everything(self.path("moved")), everything(self.path("again")))
        self.good("build", "again/build.toml", "-o", "third")
        self.assertEqual(everything(self.path("moved")), everything(self.path("third")))

    def test_what_is_true_of_every_plate_is_said_once(self):
        parts = ("box.stl,copies=8,style=Fine.sty",)
        result = self.good("build", *parts, *QUICK, "--plates", "any", "-o", "out", "--json")
        self.assertEqual(result.codes().count("NO-RECOAT"), 1)
        self.assertGreaterEqual(len(self.plates()["plates"]), 2)
        for plate in self.plates()["plates"]:  # and written to each, which repeats itself
            document = json.loads(self.path(f"out/{plate['folder']}/checks.json").read_text())
            self.assertEqual([f["code"] for f in document["findings"]].count("NO-RECOAT"), 1)
            self.good("build", f"out/{plate['folder']}/build.toml", "-o", "again", "--force")
            self.assertEqual(everything(self.path("out") / plate["folder"]), everything(self.path("again")))
        self.good("build", *parts, *QUICK, "--plates", "any", "-o", "two", "--strict", "--allow", "NO-RECOAT")
        self.fails(NO, "build", *parts, *QUICK, "--plates", "any", "-o", "three", "--strict")

    def test_threads_change_nothing(self):
        self.build("--threads", "1", output="one")
        self.build("--threads", "2", output="two")
        self.assertEqual(everything(self.path("one")), everything(self.path("two")))

    def test_a_file_is_there_once_a_plate(self):
        self.build(parts=("box.stl,copies=5",))
        for plate in self.plates()["plates"]:
            self.assertEqual([p.name for p in (self.path("out") / plate["folder"] / "parts").iterdir()], ["box.stl"])

    def test_verify_accepts_it_and_sees_changes(self):
        self.build()
        self.good("verify", "--strict", "out")
        self.good("check", "out")
        first = self.path("out/plate-1")
        before = (first / "plate.svg").read_bytes()
        (first / "plate.svg").write_text("changed")
        self.assertEqual(self.fails(NO, "verify", "out", "--json").codes(), ["VERIFY-HASH"])
        (first / "plate.svg").write_bytes(before)
        self.write("out/note.txt", "x")
        self.write("out/plate-2/note.txt", "x")
        self.assertEqual(self.good("verify", "out", "--json").codes(), ["VERIFY-FOREIGN"] * 2)
        self.path("out/note.txt").unlink()
        self.path("out/plate-2/note.txt").unlink()
        toml = self.path("out/build.toml").read_text()
        self.write("out/build.toml", toml + "# changed\n")
        self.assertEqual(self.fails(NO, "verify", "out", "--json").codes(), ["VERIFY-HASH"])
        self.write("out/build.toml", toml)
        shutil.rmtree(self.path("out/plate-2"))
        self.assertIn("VERIFY-FILE", self.fails(NO, "verify", "out", "--json").codes())

    def test_info_tells_of_every_plate(self):
        names = [plate["folder"] for plate in self.build()["plates"]]
        entry, = self.json_of("info", "out")["files"]
        self.assertEqual((entry["kind"], [plate["folder"] for plate in entry["plates"]]), ("build", names))
        for plate in entry["plates"]:
            document = json.loads(self.path(f"out/{plate['folder']}/build.json").read_text())
            self.assertEqual((plate["piece_count"], plate["part_count"], plate["vat"]),
                             (len(document["pieces"]), len(document["inputs"]), [100, 100, 60]))
        lines = self.good("info", "out").out.decode().splitlines()
        self.assertEqual(lines[0], f"out: {len(names)} plates, a build folder each")
        self.assertEqual(len([line for line in lines if line.startswith("out/plate-")]), len(names))
        self.path("out/plate-2/build.json").unlink()
        self.assertEqual(self.fails(INPUT, "info", "out", "--json").codes(), ["BUILD-INVALID"])

    def test_another_plate_in_the_place_of_one_is_seen(self):
        self.build()
        self.build(output="other", parts=("bar.stl,copies=9",))
        shutil.rmtree(self.path("out/plate-1"))
        shutil.copytree(self.path("other/plate-1"), self.path("out/plate-1"))
        self.assertEqual(self.fails(NO, "verify", "out", "--json").codes(), ["VERIFY-HASH"])

    def test_force_replaces_it_and_keeps_foreign_files(self):
        self.build()
        self.fails(OUTPUT, "build", "box.stl", "-o", "out")
        self.build("--force", parts=("box.stl",))
        self.assertEqual(len(self.plates()["plates"]), 1)
        self.good("build", "box.stl", "-o", "out", "--force")  # by a single build, and back
        self.assertTrue(self.path("out/build.json").exists())
        self.build("--force")
        self.write("out/plate-1/mine.txt", "mine")
        self.fails(OUTPUT, "build", "box.stl", "-o", "out", "--force")
        self.assertEqual(self.path("out/plate-1/mine.txt").read_text(), "mine")

    def test_parts_may_be_bound_to_plates(self):
        self.build(parts=("box.stl,copies=2,plate=2", "bar.stl,plate=1", "sub/box.stl,plate=2,at=10:60"))
        counts = [p["piece_count"] for p in self.plates()["plates"]]
        self.assertEqual(counts, [1, 3])
        placed = json.loads(self.path("out/plate-2/build.json").read_text())["pieces"][-1]
        self.assertEqual((placed["x"], placed["y"]), (10, 60))

    def test_a_number_of_plates_is_a_bound(self):
        parts = ["box.stl,copies=5", *QUICK]
        self.fails(NO_PLACEMENT, "build", *parts, "--plates", "1", "-o", "out")
        self.fails(NO_PLACEMENT, "build", "box.stl,copies=50", *QUICK, "--plates", "2", "-o", "out")
        self.good("build", *parts, "--plates", "9", "-o", "out")
        self.assertLess(len(self.plates()["plates"]), 9)

    def test_one_plate_is_a_plain_folder(self):
        self.good("build", "box.stl", *QUICK, "--plates", "1", "-o", "out")
        self.assertTrue(self.path("out/build.json").exists())
        self.assertNotIn("plates", self.path("out/build.toml").read_text())

    def test_place_shows_the_plates_that_build_makes(self):
        built = self.build()
        parts = ["box.stl,copies=5", "bar.stl,copies=3", "sub/box.stl,copies=2"]
        placed = self.json_of("place", *parts, *QUICK, "--plates", "any", "--svg", "seen.svg")
        self.assertEqual([p["folder"] for p in placed["plates"]], [p["folder"] for p in built["plates"]])
        self.assertNotIn("pieces", placed)
        for plate in placed["plates"]:
            document = json.loads(self.path(f"out/{plate['folder']}/build.json").read_text())
            self.assertEqual([p["box"] for p in plate["pieces"]], [p["box"] for p in document["pieces"]])
            self.assertEqual(plate["smallest_distance"], document["smallest_distance"])
            number = plate["folder"].split("-")[1]
            picture = self.path(f"seen-{number}.svg").read_text()
            self.assertEqual(picture.count("<use "), self.path(f"out/{plate['folder']}/plate.svg").read_text().count("<use "))
        self.assertFalse(self.path("seen.svg").exists())
        text = self.good("place", *parts, *QUICK, "--plates", "any").out.decode()
        self.assertEqual(len(re.findall(r"^plate-\d+: \d+ pieces?, smallest distance ", text, re.M)), len(placed["plates"]))

    def test_pictures_of_several_plates_are_written_all_or_none(self):
        self.write("seen-2.svg", "mine")
        self.fails(OUTPUT, "place", "bar.stl,copies=20", *QUICK, "--plates", "any", "--svg", "seen.svg")
        self.assertEqual(self.path("seen-2.svg").read_text(), "mine")
        self.assertFalse(self.path("seen-1.svg").exists())
        self.assert_no_leftovers()

    def test_place_without_enough_plates(self):
        self.fails(NO_PLACEMENT, "place", "box.stl,copies=30", *QUICK, "--plates", "2")
        self.fails(USAGE, "place", "box.stl", "--plates", "0")

    def test_usage(self):
        for arguments in (["box.stl,copies=fill", "--plates", "any"],
                          ["box.stl,copies=fill", "bar.stl,copies=fill", "--plates", "2"],
                          ["box.stl", "--plates", "0"], ["box.stl", "--plates", "some"], ["box.stl,plate=3", "--plates", "2"],
                          ["box.stl", "--plates", "2", "--engine", "grid"]):
            self.fails(USAGE, "build", *arguments, "-o", "out")
            self.assertFalse(self.path("out").exists())

    def test_errors_leave_nothing_behind(self):
        self.fails(NO, "build", "box.stl,at=1:1", "bar.stl,copies=9", *QUICK, "--plates", "any",
                   "-o", "out")
        self.assertFalse(self.path("out").exists())
        self.assert_no_leftovers()
        self.fails(NO, "build", "box.stl,at=1:1", "bar.stl,copies=9", *QUICK, "--plates", "any", "-o", "out", "--force-checks")
        self.good("verify", "out")

    def test_a_malformed_list_is_said(self):
        self.build()
        self.write("out/plates.json", "{}")
        self.fails(INPUT, "verify", "out")
        self.fails(INPUT, "check", "out")


if __name__ == "__main__":
    unittest.main()
