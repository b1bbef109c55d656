"""What the tool takes from strangers: memory in proportion to what is read, and limits that are tested first."""
import os
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
