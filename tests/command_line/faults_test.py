"""Faults while the tool saves, in short; scripts/robustness runs the same with many more sizes, kills and
allocations."""
import os
import pathlib
import tempfile
import unittest

import faults
from support import *

SHIM = os.environ.get("TRQ_FAILING_ALLOCATION", "")


class Faults(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.TemporaryDirectory(prefix="trqprep-faults-")
        cls.addClassCleanup(cls.root.cleanup)
        cls.workshop = faults.Workshop(cls.root.name)

    def every_writer(self, fault):
        total = 0
        for writer in faults.WRITERS:
            with self.subTest(writer.name):
                problems, cases = fault(self.workshop, writer)
                total += cases
                self.assertEqual(problems, [])
        return total

    def test_every_command_that_writes_is_here(self):
        page = run("help", "--reference-page").out.decode()
        writing = set()
        for name in command_names():
            heading = "### trqprep " + " ".join(name) + "\n"
            options = page[page.index(heading):].split("\n### ")[0]
            if "`-o, --output" in options or "`--svg FILE`" in options:
                writing.add(" ".join(name))
        tried = {" ".join(w.arguments[:2]) if w.arguments[0] in ("style", "recoat", "slc", "vents") else w.arguments[0]
                 for w in faults.WRITERS}
        self.assertEqual(writing, tried)

    def test_a_file_size_limit(self):
        self.assertGreater(self.every_writer(lambda w, x: faults.size_limits(w, x, 3)), 100)

    def test_a_full_device(self):
        self.every_writer(faults.full_device)

    def test_folders_that_cannot_be_written(self):
        self.every_writer(faults.no_folder)

    def test_a_folder_that_vanishes_meanwhile(self):
        for writer in faults.KILLED:
            if writer.in_place:
                continue
            with self.subTest(writer.name):
                for _ in range(300):
                    problems, in_time = faults.vanishing_folder(self.workshop, writer)
                    self.assertEqual(problems, [])
                    if in_time:
                        break
                else:
                    self.fail("never removed in time")

    def test_a_read_only_folder(self):
        if self.every_writer(faults.read_only_folder) == 0:
            self.skipTest("root writes everywhere, and cannot give that right up here")

    def test_long_and_odd_names(self):
        self.every_writer(faults.odd_names)

    def test_a_full_standard_output_and_a_closed_pipe(self):
        for arguments in faults.READERS:
            with self.subTest(" ".join(arguments)):
                self.assertEqual(faults.full_standard_output(self.workshop, arguments)[0], [])
                self.assertEqual(faults.closed_pipe(self.workshop, arguments)[0], [])

    def test_kills(self):
        for writer in faults.KILLED:
            with self.subTest(writer.name):
                problems, killed, _ = faults.kills(self.workshop, writer, 5)
                self.assertEqual((problems, killed), ([], 5))

    @unittest.skipIf(SANITIZED, "the sanitizer has an allocator of its own")
    def test_allocations_that_fail(self):
        failing = faults.Failing(self.workshop, SHIM)
        for arguments in ([["info", "part.stl"], ["style", "show", "style.sty"]] +
                          [w.command() for w in faults.WRITERS if w.name in ("convert ctl", "build", "slc mirror")]):
            with self.subTest(" ".join(arguments)):
                total, undisturbed = failing.count(arguments)
                self.assertGreater(total, 1000)
                for k, number in enumerate(failing.places(total, 24)):
                    self.assertIsNone(failing.problem(arguments, undisturbed, number, on=k % 2 == 1))

    @unittest.skipIf(SANITIZED, "the sanitizer needs an address space of its own")
    def test_a_small_address_space(self):
        for arguments in (["info", "part.stl"], ["convert", "part.stl", "-o", "out.ctl"]):
            for limit in (4000, 14000, 18000, 24000):
                self.assertIsNone(faults.small_address_space(self.workshop, arguments, limit))


if __name__ == "__main__":
    unittest.main()
