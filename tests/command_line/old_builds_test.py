"""Build folders and job files of version 0.1.0: they verify, and build the same meshes again."""
import json
import shutil
import unittest

from support import *

OLD = SOURCE / "tests" / "data" / "builds-0.1.0"
# Facets of the plate, counted by hand: a block has 12, the ring of six sides 48, the pyramid 4.
FACETS = {"plain": 2 * 12 + 48, "inches": 4 + 48, "styled": 2 * 12 + 12 + 48}


class OldBuilds(ToolTest):
    def assert_same_build(self, old, new):
        """The same placed meshes and side files, byte for byte."""
        def built(folder):
            files = [folder / "plate.stl", *(folder / "meshes").iterdir(), *(folder / "parts").iterdir()]
            return {str(path.relative_to(folder)): path.read_bytes() for path in files}
        wanted, found = built(old), built(new)
        self.assertEqual(sorted(wanted), sorted(found))
        for name, content in wanted.items():
            self.assertEqual(content, found[name], name)

    def test_they_are_of_that_version(self):
        for name, facets in FACETS.items():
            self.assertEqual(json.loads((OLD / name / "build.json").read_text())["tool"], "trqprep 0.1.0")
            self.assertEqual(len(read_binary_stl(OLD / name / "plate.stl")), facets)

    def test_they_verify(self):
        for name in FACETS:
            with self.subTest(name):
                data = self.json_of("verify", OLD / name)
                self.assertEqual([folder["errors"] for folder in data["files"]], [0])

    def test_they_are_summed_up(self):
        data = self.json_of("fleet", "summary", *(OLD / name for name in FACETS))
        documents = [json.loads((OLD / name / "build.json").read_text()) for name in FACETS]
        self.assertEqual([b["piece_count"] for b in data["builds"]], [len(d["pieces"]) for d in documents])
        self.assertAlmostEqual(data["builds"][0]["volume"], sum(p["volume"] for p in documents[0]["pieces"]), 2)

    def test_their_job_files_build_the_same(self):
        for name in FACETS:
            with self.subTest(name):
                shutil.copytree(OLD / name, self.path(name))
                # The styled build was forced past damaged styles, and says so.
                self.fails(NO if name == "styled" else DONE, "build", f"{name}/build.toml", "-o", f"{name}-again")
                self.assert_same_build(OLD / name, self.path(f"{name}-again"))
                self.good("verify", f"{name}-again")

    def test_a_job_file_with_every_key_builds_the_same(self):
        shutil.copytree(OLD, self.path("old"))
        self.fails(NO, "build", "old/inputs/all-keys.toml", "-o", "again")
        self.assert_same_build(OLD / "styled", self.path("again"))

    def test_a_side_file_turns_with_its_part(self):
        # block-1 is turned by 90 degrees, which puts (x, y) at (20 - y, x), then stands where build.json says.
        document = json.loads((OLD / "plain" / "build.json").read_text())
        piece, = [p for p in document["pieces"] if p["mesh"] == "meshes/block-1.ctl"]
        vertices = read_ctl(OLD / "plain" / piece["mesh"])["vertices"]
        x, y = min(v[0] for v in vertices), min(v[1] for v in vertices)
        text = (OLD / "plain" / piece["side_file"]).read_text()
        lines = [[float(n) for n in line.split()] for line in text.splitlines()]
        wanted = [[20 - py + x, px + y, pz] for px, py, pz in ((5, 10, 30), (2.5, 4, 0))]
        for line, place in zip(lines, wanted):
            for found, coordinate in zip(line, place):
                self.assertAlmostEqual(found, coordinate, places=5)


class Spelling(ToolTest):
    """Keys of job files are those of the command line; those of version 0.1.0, with underscores, are read."""

    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def job(self, text, head=""):
        self.write("job.toml", head + '[[part]]\nfile = "box.stl"\n' + text)
        return "job.toml"

    def test_both_spellings_build_the_same(self):
        for key in ("rotate_z", "rotate-z"):
            self.good("build", self.job(f"{key} = 30\n"), "-o", key)
        self.assertEqual(self.path("rotate_z/build.json").read_bytes(), self.path("rotate-z/build.json").read_bytes())
        self.assertIn("\nrotate-z = 30\n", self.path("rotate_z/build.toml").read_text())

    def test_a_key_given_twice(self):
        for text, head in (("rotate_z = 1\nrotate-z = 1\n", ""), ("copies = 2\ncopies = 2\n", ""),
                           ("", 'z-spacing = 1\nz_spacing = 1\n')):
            self.assertIn("[JOB-FILE]", self.fails(USAGE, "build", self.job(text, head), "-o", "out").err)
        for setting in ("copies=2,copies=2", "rotate-z=1,copies=2,rotate-z=1"):
            self.assertIn("is given twice", self.fails(USAGE, "build", f"box.stl,{setting}", "-o", "out").err)
        self.assertFalse(self.path("out").exists())

    def test_a_mistake_names_the_key_as_it_was_given(self):
        self.assertIn("'rotate_z'", self.fails(INPUT, "build", self.job('rotate_z = "x"\n'), "-o", "out").err)
        message = self.fails(INPUT, "build", self.job("rotate_y = 1\n"), "-o", "out").err
        self.assertIn("'rotate_y'", message)
        self.assertIn("rotate-z", message)


if __name__ == "__main__":
    unittest.main()
