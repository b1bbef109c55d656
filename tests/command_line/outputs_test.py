"""Nothing is lost: outputs appear whole or not at all, whatever stands under their names."""
import os
import resource
import stat
import subprocess
import threading
import unittest

import support
from support import *


class OutputFiles(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def convert(self, output, *more, **options):
        return self.run_tool("convert", "box.stl", "--to", "ctl", "-o", output, *more, **options)

    def test_an_existing_output_is_refused_and_untouched(self):
        self.write("a.ctl", "precious")
        result = self.convert("a.ctl")
        self.assertEqual(result.exit, OUTPUT)
        self.assertRegex(result.err, r"error: a.ctl: exists already \[OUTPUT-EXISTS\]\n  hint: --force")
        self.assertEqual(self.path("a.ctl").read_bytes(), b"precious")
        self.assert_no_leftovers()

    def test_force_replaces_and_keeps_the_mode(self):
        self.write("a.ctl", "old")
        self.path("a.ctl").chmod(0o640)
        self.assertEqual(self.convert("a.ctl", "--force").exit, DONE)
        self.assertEqual(stat.S_IMODE(self.path("a.ctl").stat().st_mode), 0o640)
        self.assertEqual(len(read_ctl(self.path("a.ctl"))["triangles"]), 12)
        self.path("a.ctl").chmod(0o400)
        self.assertEqual(self.convert("a.ctl", "--force").exit, DONE)
        self.assertEqual(stat.S_IMODE(self.path("a.ctl").stat().st_mode), 0o400)

    def test_a_new_output_follows_the_umask(self):
        for umask in (0o022, 0o077, 0o000):
            self.convert(f"{umask}.ctl", preexec_fn=lambda mask=umask: os.umask(mask))
            self.assertEqual(stat.S_IMODE(self.path(f"{umask}.ctl").stat().st_mode), 0o666 & ~umask)

    def test_a_symbolic_link_is_followed(self):
        self.path("deep").mkdir()
        self.write("deep/real.ctl", "old")
        self.path("link.ctl").symlink_to("deep/real.ctl")
        self.path("link2.ctl").symlink_to(self.path("link.ctl"))
        self.assertEqual(self.convert("link2.ctl").exit, OUTPUT)
        self.assertEqual(self.convert("link2.ctl", "--force").exit, DONE)
        self.assertTrue(self.path("link2.ctl").is_symlink() and self.path("link.ctl").is_symlink())
        self.assertEqual(len(read_ctl(self.path("deep/real.ctl"))["triangles"]), 12)
        self.assert_no_leftovers()

    def test_a_dangling_link_makes_its_target(self):
        self.path("link.ctl").symlink_to("new.ctl")
        self.assertEqual(self.convert("link.ctl").exit, DONE)
        self.assertTrue(self.path("link.ctl").is_symlink())
        self.assertFalse(self.path("new.ctl").is_symlink())
        self.assertEqual(len(read_ctl(self.path("new.ctl"))["triangles"]), 12)

    def test_a_loop_of_links_is_an_output_not_written(self):
        self.path("a.ctl").symlink_to("b.ctl")
        self.path("b.ctl").symlink_to("a.ctl")
        self.assertEqual(self.convert("a.ctl").exit, OUTPUT)

    def test_a_full_device_is_an_output_not_written(self):
        result = self.convert("/dev/full")
        self.assertEqual(result.exit, OUTPUT)
        self.assertIn("[OUTPUT-UNWRITABLE]", result.err)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/full").st_mode))

    def test_the_null_device_takes_everything_and_stays(self):
        self.assertEqual(self.convert("/dev/null").exit, DONE)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))

    def test_a_pipe_is_written_directly(self):
        os.mkfifo(self.path("pipe"))
        received = []
        reader = threading.Thread(target=lambda: received.append(self.path("pipe").read_bytes()))
        reader.start()
        self.assertEqual(self.convert("pipe").exit, DONE)
        reader.join(60)
        self.convert("file.ctl")
        self.assertEqual(received, [self.path("file.ctl").read_bytes()])
        self.assertTrue(stat.S_ISFIFO(self.path("pipe").stat().st_mode))

    def test_a_folder_is_no_file(self):
        self.path("folder").mkdir()
        for name in ("folder", "folder/"):
            self.assertEqual(self.convert(name, "--force").exit, OUTPUT)
        self.assertEqual(self.convert("new/").exit, OUTPUT)
        self.assertEqual(self.listing(), ["box.stl", "folder"])

    def test_a_missing_folder_is_named(self):
        result = self.convert("no/such/a.ctl")
        self.assertEqual(result.exit, OUTPUT)
        self.assertIn("mkdir -p", result.err)

    @unittest.skipIf(os.geteuid() == 0, "root writes everywhere")
    def test_a_read_only_folder(self):
        self.path("sealed").mkdir()
        self.path("sealed").chmod(0o555)
        self.assertEqual(self.convert("sealed/a.ctl").exit, OUTPUT)
        self.assertEqual(list(self.path("sealed").iterdir()), [])

    def test_a_size_limit_leaves_nothing_half_written(self):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (300, 300))
        for output in (["a.ctl"], ["a.stl", "--to", "stl"], ["a.txt", "--to", "stl-ascii"]):
            result = self.run_tool("convert", "box.stl", *(["--to", "ctl"] if len(output) == 1 else []), "-o", *output,
                                   preexec_fn=limit)
            self.assertEqual(result.exit, OUTPUT, result.err)
        self.assertEqual(self.listing(), ["box.stl"])

    def test_standard_output_can_be_the_target(self):
        result = self.run_tool("convert", "box.stl", "--to", "ctl", "-o", "/dev/stdout")
        self.convert("file.ctl")
        self.assertTrue(result.out.startswith(self.path("file.ctl").read_bytes()), result.err)

    def test_temporary_names_are_short_and_gone(self):
        # The longest name that a folder takes: the temporary one must not be longer.
        name = "a" * 251 + ".ctl"
        self.assertEqual(self.convert(name).exit, DONE)
        self.assertEqual(self.listing(), [name, "box.stl"])

    def test_the_input_may_be_the_output(self):
        before = self.path("box.stl").read_bytes()
        self.fails(OUTPUT, "transform", "box.stl", "--translate", "1,0,0", "-o", "box.stl")
        self.assertEqual(self.path("box.stl").read_bytes(), before)
        self.good("transform", "box.stl", "--translate", "1,0,0", "--force", "-o", "box.stl")
        self.assertEqual(bounds(read_binary_stl(self.path("box.stl")))[0], [1, 0, 0])


class OutputFolders(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def build(self, output, *more, **options):
        return self.run_tool("build", "box.stl", "-o", output, *more, **options)

    def test_an_existing_folder_is_refused(self):
        self.path("out").mkdir()
        self.write("out/precious", "yes")
        result = self.build("out")
        self.assertEqual(result.exit, OUTPUT)
        self.assertIn("[OUTPUT-EXISTS]", result.err)
        self.assertEqual([p.name for p in self.path("out").iterdir()], ["precious"])
        self.path("empty").mkdir()
        self.assertEqual(self.build("empty").exit, OUTPUT)
        self.assert_no_leftovers()

    def test_force_exchanges_the_whole_folder(self):
        self.assertEqual(self.build("out/").exit, DONE)
        self.write("out/old", "x")
        self.assertEqual(self.build("out/", "--force").exit, DONE)
        self.assertEqual(sorted(p.name for p in self.path("out").iterdir()),
                         ["build.json", "build.toml", "checks.json", "meshes", "parts", "plate.stl", "plate.svg"])
        self.assertEqual(self.listing(), ["box.stl", "out"])

    def test_a_file_is_never_replaced_by_a_folder(self):
        self.write("out", "precious")
        self.assertEqual(self.build("out", "--force").exit, OUTPUT)
        self.assertEqual(self.path("out").read_bytes(), b"precious")

    def test_a_link_to_a_folder_is_followed(self):
        self.path("deep").mkdir()
        self.path("link").symlink_to("deep/out")
        self.assertEqual(self.build("link").exit, DONE)
        self.assertTrue(self.path("link").is_symlink())
        self.assertTrue((self.path("deep") / "out" / "build.json").exists())
        self.assertEqual(self.build("link", "--force").exit, DONE)
        self.assertEqual([p.name for p in self.path("deep").iterdir()], ["out"])

    def test_the_current_folder_is_not_replaced(self):
        result = self.build(".", "--force")
        self.assertEqual(result.exit, OUTPUT)
        self.assertEqual(self.listing(), ["box.stl"])

    def test_modes(self):
        self.build("out", preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(stat.S_IMODE(self.path("out").stat().st_mode), 0o750)
        self.assertEqual(stat.S_IMODE(self.path("out/build.json").stat().st_mode), 0o640)
        self.assertEqual(stat.S_IMODE(self.path("out/plate.stl").stat().st_mode), 0o640)

    def test_a_size_limit_leaves_no_folder(self):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (500, 500))
        self.assertEqual(self.build("out", preexec_fn=limit).exit, OUTPUT)
        self.assertEqual(self.listing(), ["box.stl"])

    def test_a_leftover_of_a_killed_run_disturbs_nothing(self):
        self.path(".trqprep-abcdef").mkdir()
        self.assertEqual(self.build("out").exit, DONE)
        self.assertTrue(self.path("out/build.json").exists())

    def test_a_failing_build_leaves_nothing(self):
        self.assertEqual(self.build("out", "--vat", "5x5x5mm").exit, NO_PLACEMENT)
        self.assertEqual(self.run_tool("build", "box.stl", "missing.stl", "-o", "out").exit, INPUT)
        self.assertEqual(self.listing(), ["box.stl"])


if __name__ == "__main__":
    unittest.main()
