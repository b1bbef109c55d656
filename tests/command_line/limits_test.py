"""What the tool takes from strangers: memory in proportion to what is read, and limits that are tested first."""
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
        for name, make, _ in worst_text.CASES:
            with self.subTest(name):
                folder = self.path(name.replace(" ", "-").replace(":", "").replace("/", "-"))
                folder.mkdir()
                arguments = make(things, folder)
                size = sum(path.stat().st_size for path in folder.rglob("*") if path.is_file())
                done = subprocess.run([sys.executable, "-c", MEASURE, TOOL, *arguments], stdout=subprocess.PIPE, check=True)
                self.assertLessEqual(int(done.stdout), 10 * size + 64 * MIB)
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
