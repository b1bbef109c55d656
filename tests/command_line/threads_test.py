"""build --threads: the same folder, document, messages and exit code with any number, and how many there are without it."""
import os
import unittest

from support import (DONE, INPUT, NO, NO_PLACEMENT, OUTPUT, SANITIZED, USAGE, ToolTest, binary_stl, box_facets)
from style_files import build_style, recoat_style
from terminal_test import run_at_terminal

NUMBERS = ("1", "2", "3", "7")
QUICK = ("--time", "0", "--no-report")


def everything(folder):
    return {str(p.relative_to(folder)): p.read_bytes() for p in sorted(folder.rglob("*")) if p.is_file()}


class Threads(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((10, 20, 5))))
        self.write("bar.stl", binary_stl(box_facets((40, 6, 5))))
        self.write("open.stl", binary_stl(box_facets((10, 10, 5))[:-1]))
        self.write("long.stl", binary_stl(box_facets((10, 12, 5))) + b"behind the last facet")
        self.write("part.stl", binary_stl(box_facets((12, 12, 5))))
        self.write("part.V_D", "")
        self.write("Fine.sty", build_style(0.1))
        self.write("Dips.rcs", recoat_style(0.1, sweeps=1))

    def assert_same(self, exit, *arguments):
        """What is printed and written by every number of threads; the result of one."""
        of_one = None
        for number in NUMBERS:
            for option in ("--json", "--all"):
                result = self.run_tool("build", *arguments, "--threads", number, option, "-o", "out", "--force")
                self.assertEqual(result.exit, exit, result.err)
                folder = everything(self.path("out")) if self.path("out").exists() else None
                found = (result.out, result.err, folder)
                if option == "--json":
                    documents = found
                    continue
                if of_one is None:
                    of_one = documents, found
                self.assertEqual(found[:2], of_one[1][:2])
                self.assertEqual(documents[:2], of_one[0][:2])
                self.assertTrue((documents, found) == of_one, number)
        return of_one

    def test_good_builds(self):
        parts = ("box.stl,copies=3", "open.stl", "long.stl", "part.stl", "box.stl,rotate-z=30", "bar.stl", "box.stl,gap=4mm")
        self.assert_same(DONE, *parts, *QUICK, "--style", "Fine.sty", "--recoat", "Dips.rcs", "--slice")
        self.assert_same(DONE, *parts, "--no-report", "--engine", "grid", "--rotations", "2")
        self.assert_same(DONE, *parts, *QUICK, "--vat", "60x60x60mm", "--plates", "any")

    def test_failures(self):
        self.write("cut.stl", binary_stl(box_facets())[:-70])
        for exit, *arguments in ((INPUT, "box.stl", "long.stl", "cut.stl", "absent.stl", "part.stl"),
                                 (INPUT, "box.stl", "absent.stl", "cut.stl"),
                                 (USAGE, "box.stl", "long.stl", "--slice"),
                                 (NO, "box.stl,at=10:10", "bar.stl,at=12:12"),
                                 (NO_PLACEMENT, "box.stl", "bar.stl", "--vat", "30x30x30mm"),
                                 (NO, "box.stl", "long.stl", "open.stl", "--strict")):
            with self.subTest(arguments):
                (document, said, folder), _ = self.assert_same(exit, *arguments, *QUICK)
                self.assertIsNone(folder)
                self.assert_no_leftovers()

    def test_a_folder_that_cannot_be_written(self):
        import resource
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (2000, 2000))
        said = set()
        for number in NUMBERS:
            result = self.run_tool("build", "box.stl,copies=9", "bar.stl", *QUICK, "--threads", number, "-o", "out", preexec_fn=limit)
            self.assertEqual(result.exit, OUTPUT, result.err)
            said.add(result.err)
            self.assertFalse(self.path("out").exists())
            self.assert_no_leftovers()
        self.assertEqual(len(said), 1)

    @unittest.skipIf(SANITIZED, "what is preloaded would come before the sanitizer")
    def test_how_many_there_are(self):
        def count(*arguments, terminal=False):
            log = self.path("threads")
            log.unlink(missing_ok=True)
            environment = {"LD_PRELOAD": os.environ["TRQ_COUNTED_THREADS"], "TRQ_THREADS": str(log)}
            command = ["build", *arguments, "-o", "out", "--force"]
            if terminal:
                code, _, shown = run_at_terminal(command, self.folder, environment, typed=b"")
                self.assertEqual(code, DONE, shown)
            else:
                self.good(*command, env=environment)
            return log.stat().st_size
        line = ("box.stl", "bar.stl", "long.stl", "part.stl", "--engine", "grid", "--rotations", "1", "--no-report")
        one = count(*line, "--threads", "1")
        self.assertGreater(count(*line, "--threads", "3"), one)
        self.assertEqual(count(*line), one)
        self.path("out").rename(self.path("job"))
        self.assertEqual(count("job/build.toml"), one)
        self.assertEqual(count("job/build.toml", terminal=True), one)
        self.assertGreater(count("job/build.toml", "--threads", "3"), one)
        if len(os.sched_getaffinity(0)) > 1:
            self.assertGreater(count(*line, terminal=True), one)


if __name__ == "__main__":
    unittest.main()
