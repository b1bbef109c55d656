"""What the tool takes from strangers: memory in proportion to what is read, and limits that are tested first."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

from support import *

sys.path.insert(0, str(SOURCE / "tests" / "robustness"))
import worst_text  # noqa: E402

MIB = 1 << 20
# A peak counts from the memory of the one that starts the program, so a small one does.
MEASURE = """import resource, subprocess, sys
subprocess.run(sys.argv[1:], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024)
"""


@unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
class Memory(ToolTest):
    def test_peaks_are_at_most_ten_times_the_input_and_64_mib(self):
        things = 30_000
        for name, make, _, *pieces in worst_text.CASES:
            with self.subTest(name):
                folder = self.path(name.replace(" ", "-").replace(":", "").replace("/", "-"))
                folder.mkdir()
                arguments = make(things, folder)
                size = sum(path.stat().st_size for path in folder.rglob("*") if path.is_file())
                done = subprocess.run([sys.executable, "-c", MEASURE, TOOL, *arguments], stdout=subprocess.PIPE, check=True)
                self.assertLessEqual(int(done.stdout), 10 * size + 64 * MIB + sum(count(things) for count in pieces) * 32 * 1024)
                shutil.rmtree(folder)


class JobFiles(ToolTest):
    def test_too_many_parts_are_refused_before_any_is_read(self):
        # Of 102 parts none is there; nobody looks for them.
        self.write("job.toml", "".join(f"[[part]]\nfile = 'none-{k}.stl'\n" for k in range(102)))
        for arguments, code in ((["build", "job.toml", "-o", "out"], NO_PLACEMENT), (["check", "job.toml"], NO)):
            result = self.fails(code, *arguments, "--json")
            self.assertEqual(result.codes(), ["NO-PLACEMENT"])
            self.assertIn("102 parts are more than the 101 that can be placed together", result.err)
        # 100 copies count as one part.
        self.write("copies.toml", "[[part]]\nfile = 'none.stl'\ncopies = 100\n" * 102)
        self.assertEqual(self.fails(NO_PLACEMENT, "build", "copies.toml", "-o", "out", "--json").codes(), ["NO-PLACEMENT"])
        self.write("few.toml", "[[part]]\nfile = 'none.stl'\n" * 101)
        self.assertEqual(self.fails(INPUT, "build", "few.toml", "-o", "out", "--json").codes(), ["INPUT-MISSING"])

    def test_a_file_that_parts_share_is_read_once_and_built_as_before(self):
        self.write("part.stl", binary_stl(box_facets((4, 5, 6))))
        shutil.copy(self.path("part.stl"), self.path("same.stl"))
        self.write("part.V_D", "1 2 3  0 0 1  0.5\n")
        shutil.copy(self.path("part.V_D"), self.path("same.V_D"))
        self.write("once.toml", "[[part]]\nfile = 'part.stl'\n[[part]]\nfile = 'part.stl'\nrotate_z = 90\n")
        self.write("twice.toml", "[[part]]\nfile = 'part.stl'\n[[part]]\nfile = 'same.stl'\nrotate_z = 90\n")
        self.good("build", "once.toml", "-o", "once")
        self.good("build", "twice.toml", "-o", "twice")
        for name in ("plate.stl", "meshes/part-1.ctl", "parts/part.stl", "parts/part.V_D"):
            self.assertEqual(self.path("once/" + name).read_bytes(), self.path("twice/" + name).read_bytes())
        for once, twice in (("meshes/part-2-1.ctl", "meshes/same-1.ctl"), ("meshes/part-2-1.V_D", "meshes/same-1.V_D"),
                            ("parts/part-2.stl", "parts/same.stl")):
            self.assertEqual(self.path("once/" + once).read_bytes(), self.path("twice/" + twice).read_bytes())
        self.good("verify", "once")

    @unittest.skipUnless(shutil.which("strace") and not SANITIZED, "needs strace, which the leak sanitizer does not bear")
    def test_a_file_that_parts_share_is_opened_once(self):
        self.write("part.stl", binary_stl(box_facets((4, 5, 6))))
        self.write("job.toml", "[[part]]\nfile = 'part.stl'\n" * 5)
        trace = subprocess.run(["strace", "-f", "-e", "trace=openat", TOOL, "build", "job.toml", "-o", "out"], cwd=self.folder,
                               stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, check=False).stderr.decode()
        self.assertEqual(len(re.findall(r"[^/]part\.stl\", O_RDONLY", trace)), 1, trace)

    def test_names_of_tables_begin_with_letters_digits_or_quotes(self):
        for text in ("[/a]", "[=]", "[!]", "[.a]", "[]", "[[/a]]", "[ +a]", "a = 1\n[$]", "[a.=]"):
            self.write("file.toml", text + "\n")
            result = self.fails(INPUT, "build", "file.toml", "-o", "out", "--json")
            self.assertEqual(result.codes(), ["JOB-FILE"])
            result = self.fails(INPUT, "machines", "--machines", "file.toml", "--json")
            self.assertEqual(result.codes(), ["MACHINES-FILE"])

    def test_values_of_a_document_end(self):
        for text in ("a = [" + "0," * 100_000 + "]\n", "[[part]]\n" * 51_000, "".join(f"k{i} = 1\n" for i in range(100_001))):
            self.write("file.toml", text)
            result = self.fails(INPUT, "build", "file.toml", "-o", "out")
            self.assertIn("more than 100000 values", result.err)
        # Texts and comments may hold what they like.
        self.write("file.toml", "# " + "=" * 200_000 + "\n[lab]\ntype = '" + "," * 200_000 + "'\n")
        self.assertIn("there is no machine type", self.fails(INPUT, "machines", "--machines", "file.toml").err)


class FewVertices(ToolTest):
    def test_many_facets_of_few_vertices_are_refused(self):
        for vertices, facets, exit in ((2, 65_536, DONE), (2, 65_537, INPUT), (8, 100_000, INPUT), (700, 70_000, DONE),
                                       (700, 70_001, INPUT)):
            with self.subTest(vertices=vertices, facets=facets):
                path = worst_text.few_vertices(vertices, facets, self.folder)
                result = self.fails(exit, "convert", path, "-o", "out.stl", "--force")
                if exit == INPUT:
                    self.assertIn(f"announces {facets} facets of {vertices} vertices", result.err)


class Names(ToolTest):
    PART = binary_stl(box_facets((9, 10, 11)))

    def built(self, *names):
        """The names of the parts in the folder that is built of these files; the folder is as it should be."""
        parts = [argument for name in names for argument in ("--part", os.path.join(os.fsencode("."), os.fsencode(name)))]
        for name in names:
            (pathlib.Path(os.fsdecode(os.fsencode(self.folder))) / name).write_bytes(self.PART)
        self.good("build", *parts[1:2], *parts[2:], "-o", "out", "--force")
        self.good("verify", "out")
        self.good("build", "out/build.toml", "-o", "again", "--force")
        found = {}
        for folder in ("out", "again"):
            root = self.path(folder)
            found[folder] = {str(path.relative_to(root)): path.read_bytes() for path in root.rglob("*") if path.is_file()}
        self.assertEqual(found["out"], found["again"])
        for name in found["out"]:
            for piece in name.split("/"):
                self.assertLessEqual(len(os.fsencode(piece)), 255)
                self.assertNotRegex(piece, r'[<>:"\\|?*\x00-\x1f]|[. ]$|(?i:^(con|prn|aux|nul|com\d|lpt\d)(\.|$))')
        lower = [name.lower() for name in found["out"]]
        self.assertEqual(len(set(lower)), len(lower))
        return sorted(name[6:] for name in found["out"] if name.startswith("parts/"))

    def test_names_work_on_every_file_system(self):
        for given, wanted in ((["NUL.stl", "a:b.stl"], ["NUL_.stl", "a_b.stl"]), (["com1.x.stl"], ["com1_.x.stl"]),
                              (["Lpt9"], ["Lpt9_"]), (["what?.stl", "what*.stl"], ["what_-2.stl", "what_.stl"]),
                              (["end .stl", "dot..stl"], ["dot_.stl", "end_.stl"]), (["console.stl"], ["console.stl"]),
                              (["RING.STL", "ring.stl"], ["RING.STL", "ring-2.stl"]), (["a.b|c"], ["a.stl"]),
                              (["dot."], ["dot"]), (["tab\tbed.stl"], ["tab_bed.stl"])):
            with self.subTest(given):
                self.assertEqual(self.built(*given), wanted)

    def test_long_names_are_cut_between_characters(self):
        self.assertEqual(self.built("x" * 251 + ".stl"), ["x" * 200 + ".stl"])
        self.assertEqual(self.built("y." + "e" * 253), ["y.stl"])
        self.assertEqual(self.built("x" + "\u00e9" * 125 + ".stl"), ["x" + "\u00e9" * 99 + ".stl"])
        name = "z" * 251 + ".stl"
        self.write(name, self.PART)
        self.good("build", name, "--part", name, "-o", "twice")
        self.assertEqual(sorted(path.name for path in self.path("twice/parts").iterdir()),
                         ["z" * 200 + "-2.stl", "z" * 200 + ".stl"])

    def test_the_content_says_what_a_part_is(self):
        for name in ("words.txt", "words", "words.obj"):
            self.write(name, "no mesh")
            self.assertEqual(self.fails(INPUT, "build", name, "-o", "out", "--json").codes(), ["INPUT-UNKNOWN"])


class Lengths(ToolTest):
    def test_a_vat_is_a_kilometre_at_most(self):
        self.write("box.stl", binary_stl(box_facets((10, 20, 30))))
        for vat in ("1e40x10x10mm", "100x100x1000001mm", "39371x1x1in", "1000001x1x1"):
            for command in (["build", "box.stl", "-o", "out"], ["place", "box.stl"], ["check", "box.stl"]):
                self.fails(USAGE, *command, "--vat", vat)
        # Bare lengths in inches, on the line and in a file.
        self.fails(USAGE, "place", "box.stl", "--units", "in", "--vat", "39371x39371x39371")
        self.write("job.toml", "units = 'in'\nvat = [1e5, 100, 100]\n[[part]]\nfile = 'box.stl'\n")
        self.fails(USAGE, "build", "job.toml", "-o", "out")

    def test_parts_far_away_lie_outside_the_vat(self):
        far = [[(x, y, z * 1e30) for x, y, z in facet] for facet in box_facets((10, 20, 30))]
        for z, more in ((-3e7, ("--floor", "keep")), (3e7, ())):
            self.write("away.stl", binary_stl(box_facets((10, 20, 64), (0, 0, z))))
            self.assertIn(self.run_tool("build", "away.stl", *more, "-o", "out").exit, (NO, NO_PLACEMENT))
        self.write("far.stl", binary_stl(far))
        self.assertIn(self.run_tool("build", "far.stl", "-o", "out", "--force-checks").exit, (NO, NO_PLACEMENT))
        self.assertFalse(self.path("out").exists())


class LongLists(ToolTest):
    def test_long_lists_of_allowed_values_are_told_in_part(self):
        path = worst_text.allowed_style(1000, self.folder)
        rows = [line for line in self.good("style", "show", path).out.decode().splitlines()
                if line.strip().startswith("Small Up Number of Hatches ")]
        listed = ", ".join(str(value) for value in range(100))
        self.assertEqual(len(rows), 1)
        self.assertIn("{" + listed + ", and 900 more}", rows[0])
        parameters = self.json_of("style", "show", path)["parameters"]
        allowed, = (p["allowed"] for p in parameters if p["name"] == "Small Up Number of Hatches")
        self.assertEqual(allowed, list(range(1000)))

    def test_long_lists_are_complete_in_text_and_document(self):
        path = worst_text.empty_layers(5000, self.folder)
        lines = self.good("slc", "info", path).out.decode().splitlines()
        self.assertEqual([line.split()[0] for line in lines[-5000:]], [str(k + 1) for k in range(5000)])
        layers = self.json_of("slc", "info", path)["each_layer"]
        self.assertEqual([(layer["layer"], layer["z"]) for layer in layers], [(k + 1, 0.5 * k) for k in range(5000)])
        path = worst_text.points(5000, self.folder)
        lines = self.good("vents", "list", path).out.decode().splitlines()
        self.assertEqual([line.split()[0] for line in lines[-5000:]], [str(k + 1) for k in range(5000)])
        self.assertEqual(len(self.json_of("vents", "list", path)["entries"]), 5000)


if __name__ == "__main__":
    unittest.main()
