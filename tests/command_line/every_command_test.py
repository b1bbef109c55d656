"""Every command once on good files and once on files cut in half: what sanitized builds see of all commands."""
import pathlib
import shutil
import tempfile
import unittest

import faults
from support import *

# What neither writes nor stands among the readers of faults.py.
OTHERS = [["verify", "out"], ["explain", "Z-GAP"], ["vents", "list", "part.V_D"], ["slc", "info", "cone.slc"],
          ["slc", "verify", "cone.slc"], ["slc", "area", "cone.slc"], ["slc", "diff", "cone.slc", "cone.slc"],
          ["estimate", "cone.slc", "--style", "style.sty", "--recoat", "style.rcs", "--power", "250", "--dp-unit", "mm",
           "--ec-unit", "mJ/cm2", "--travel", "300mm", "--delay-unit", "s"], ["estimate", "out"],
          ["fleet", "summary", "out", "out"],
          ["style", "get", "style.sty", "Layer Thickness"], ["style", "verify", "style.sty"],
          ["recoat", "show", "style.rcs"], ["recoat", "get", "style.rcs", "Z Wait"],
          ["recoat", "diff", "style.rcs", "other.rcs"], ["recoat", "verify", "style.rcs"], ["completion", "bash"], ["version"],
          ["render", "part.stl", "cone.slc", "out", "--problems", "--size", "64x48", "-o", "view.png"]]
GROUPS = ("style", "recoat", "slc", "vents", "fleet")


class EveryCommand(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.TemporaryDirectory(prefix="trqprep-every-")
        cls.addClassCleanup(cls.root.cleanup)
        cls.workshop = faults.Workshop(cls.root.name)
        build = next(w for w in faults.WRITERS if w.name == "build")
        cls.workshop.run_in_template(build.command())
        cls.commands = [w.command() for w in faults.WRITERS] + faults.READERS + OTHERS

    def test_every_command_is_here(self):
        tried = {" ".join(c[:2]) if c[0] in GROUPS else c[0] for c in self.commands}
        self.assertEqual({" ".join(name) for name in command_names()} - tried, set())

    def run_all(self, damage, exits):
        for command in self.commands:
            for more in ([], ["--json"]):
                with self.subTest(" ".join(command + more)):
                    folder = self.workshop.fresh()
                    damage(folder / "work")
                    done = self.workshop.run(folder, command + more)
                    self.assertIn(done.returncode, exits, done.text)
                    self.assertEqual(findings_of_sanitizers(done.text), [])
                    self.assertEqual(self.workshop.leftovers(folder), [])
                    shutil.rmtree(folder)

    def test_on_good_files(self):
        # Exit 1 tells of differences and of what checks find.
        self.run_all(lambda work: None, (DONE, NO))

    def test_on_files_cut_in_half(self):
        def halve(work):
            for path in work.rglob("*"):
                if path.is_file():
                    path.write_bytes(path.read_bytes()[:path.stat().st_size // 2])
        # What half a build.json does not list is not replaced.
        self.run_all(halve, (DONE, NO, USAGE, INPUT, OUTPUT))


if __name__ == "__main__":
    unittest.main()
