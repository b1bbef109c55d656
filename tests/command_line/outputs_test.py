"""Nothing is lost: outputs appear whole or not at all, whatever stands under their names."""
import os
import resource
import shutil
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
        self.assertEqual(result.out, self.path("file.ctl").read_bytes())
        self.assertIn("12 facets", result.err)  # the summary

    def pipe(self, name, *arguments, exit=DONE):
        with open(self.path(name), "rb") as stream:
            shell = subprocess.run(["cat"], stdin=stream, stdout=subprocess.PIPE, check=True)
        result = self.run_tool(*arguments, input=shell.stdout, stdin=None)
        self.assertEqual(result.exit, exit, result.err)
        return result

    def test_meshes_pass_through_pipes(self):
        self.good("transform", "box.stl", "--translate", "5,0,0", "-o", "file.stl")
        result = self.pipe("box.stl", "transform", "-", "--translate", "5,0,0", "--to", "stl", "-o", "-")
        self.assertEqual(result.out, self.path("file.stl").read_bytes())
        self.assertIn("12 facets", result.err)
        for command in (["convert", "-", "--to", "stl-ascii", "-o", "-"], ["merge", "-", "box.stl", "--to", "ctl", "-o", "-"],
                        ["simplify", "-", "--facets", "12", "--to", "ctl", "-o", "-"],
                        ["zcomp", "-", "--height", "1mm", "--to", "stl", "-o", "-"],
                        ["hollow", "-", "--limit", "2mm", "--to", "ctl", "-o", "-"]):
            with self.subTest(command[0]):
                self.good(*[a if a != "-" else "box.stl" if i == 1 else "direct" for i, a in enumerate(command)],
                          "--force")
                self.assertEqual(self.pipe("box.stl", *command).out, self.path("direct").read_bytes())
        self.assertEqual(self.pipe("box.stl", "info", "-", "--json").document()["data"]["files"][0]["facets"], 12)
        self.pipe("box.stl", "check", "-")
        self.assertEqual(self.listing(), ["box.stl", "direct", "file.stl"])

    def test_an_output_on_standard_output_leaves_no_room_for_a_document(self):
        for name in ("-", "/dev/stdout"):
            result = self.fails(USAGE, "convert", "missing.stl", "--to", "stl", "-o", name, "--json")
            self.assertEqual(result.codes(), ["USAGE"])
        self.fails(USAGE, "place", "box.stl", "--svg", "-", "--json")
        self.fails(USAGE, "build", "box.stl", "-o", "-")

    def test_a_picture_on_standard_output_stands_alone(self):
        result = self.good("place", "box.stl", "--svg", "-")
        self.good("place", "box.stl", "--svg", "plate.svg")
        self.assertEqual(result.out, self.path("plate.svg").read_bytes())

    def test_what_cannot_be_read_from_standard_input_is_said(self):
        self.write("no.stl", "no mesh")
        self.assertIn("error: -: ", self.pipe("no.stl", "convert", "-", "--to", "stl", "-o", "a.stl", exit=INPUT).err)
        self.fails(INPUT, "convert", "-", "--to", "stl", "-o", "a.stl")  # an empty one
        self.assertEqual(self.listing(), ["box.stl", "no.stl"])

    def test_what_was_not_done_is_not_told(self):
        self.good("style", "new", "--machine", "TRQ-E7", "-o", "blank.sty")
        self.good("recoat", "new", "--machine", "TRQ-E7", "-o", "blank.rcs")
        for command in (["style", "set", "blank.sty", "Dp=1"], ["recoat", "set", "blank.rcs", "Z Wait=3"],
                        ["recoat", "sweeps", "blank.rcs", "--add", "gap=1,velocity=2"],
                        ["recoat", "units", "blank.rcs", "--to", "mm"]):
            with self.subTest(command[1]):
                self.assertEqual(self.fails(OUTPUT, *command, "-o", "no/such/file").out, b"")
                self.assertEqual(self.fails(OUTPUT, *command, "-o", "box.stl").out, b"")

    def test_a_read_only_file_is_not_changed_in_place(self):
        self.good("style", "new", "--machine", "TRQ-E7", "-o", "blank.sty")
        self.good("recoat", "new", "--machine", "TRQ-E7", "-o", "blank.rcs")
        self.write("box.V_D", "1 2 3  0 0 1  1\n")
        for name, *command in (["blank.sty", "style", "set", "blank.sty", "Dp=1"],
                               ["blank.rcs", "recoat", "sweeps", "blank.rcs", "--add", "gap=1,velocity=2"],
                               ["blank.rcs", "recoat", "units", "blank.rcs", "--to", "mm"],
                               ["box.V_D", "vents", "move", "box.V_D", "--by", "1,0,0"]):
            with self.subTest(" ".join(command[:2])):
                before = self.path(name).read_bytes()
                self.path(name).chmod(0o444)
                result = self.fails(OUTPUT, *command)
                self.assertIn("is read-only [OUTPUT-READ-ONLY]\n  hint: --force replaces it", result.err)
                self.assertEqual((result.out, self.path(name).read_bytes()), (b"", before))
                self.good(*command, "-o", "copy")
                self.path("copy").unlink()
                self.good(*command, "--force")
                self.assertNotEqual(self.path(name).read_bytes(), before)
                self.assertEqual(stat.S_IMODE(self.path(name).stat().st_mode), 0o444)
        self.path("blank.sty").chmod(0o464)
        self.good("style", "set", "blank.sty", "Dp=2")

    def test_styles_and_json_pass_through_pipes(self):
        self.good("style", "new", "--machine", "TRQ-E7", "-o", "blank.sty")
        self.good("style", "set", "blank.sty", "Dp=1", "-o", "set.sty")
        self.assertEqual(self.pipe("blank.sty", "style", "set", "-", "Dp=1").out, self.path("set.sty").read_bytes())
        same = self.pipe("set.sty", "style", "set", "-", "Dp=1")
        self.assertEqual(same.out, self.path("set.sty").read_bytes())
        self.assertIn("nothing to change", same.err)
        self.assertEqual(self.pipe("set.sty", "style", "get", "-", "Dp").out, b"1\n")
        self.pipe("set.sty", "style", "set", "-", "Dp=1", "--json", exit=USAGE)
        self.good("style", "export", "set.sty", "--to", "json", "-o", "set.json")
        self.assertEqual(self.pipe("set.sty", "style", "export", "-", "--to", "json", "-o", "-").out,
                         self.path("set.json").read_bytes())
        self.assertEqual(self.pipe("set.json", "style", "import", "-", "-o", "-").out,
                         self.path("set.sty").read_bytes())
        shutil.copy(SOURCE / "examples/styles/Fine.sty", self.path("Fine.sty"))
        self.good("zcomp", "box.stl", "--style", "Fine.sty", "-o", "file.stl")
        self.assertEqual(self.pipe("Fine.sty", "zcomp", "box.stl", "--style", "-", "--to", "stl", "-o", "-").out,
                         self.path("file.stl").read_bytes())

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

    def tree(self, folder):
        return {str(p.relative_to(self.path(folder))): p.read_bytes() if p.is_file() else None
                for p in self.path(folder).rglob("*")}

    def refused(self, folder, *names):
        before = self.tree(folder)
        result = self.build(folder, "--force", "--json")
        self.assertEqual((result.exit, result.codes()), (OUTPUT, ["OUTPUT-FOREIGN"]))
        for name in names:
            self.assertIn(name, result.document()["messages"][0]["text"])
        self.assertEqual(self.tree(folder), before)
        self.assert_no_leftovers()
        return result

    def test_force_never_replaces_what_is_no_build_folder(self):
        self.path("shelf/deep").mkdir(parents=True)
        for name in ("ring.stl", "block.stl", "thesis.txt", "deep/more.stl"):
            self.write("shelf/" + name, "precious")
        text = self.refused("shelf", "block.stl, deep/, ring.stl and 1 more").document()["messages"][0]["text"]
        self.assertIn("not made by trqprep", text)
        self.write("shelf/build.json", "{}")
        self.refused("shelf", "block.stl, build.json, deep/ and 2 more")
        self.write("shelf/build.json", '{"schema": "trqprep.build-folder/1", "files": [{"file": "../box.stl"}]}')
        self.refused("shelf", "block.stl, build.json, deep/ and 2 more")
        os.symlink("shelf", self.path("link"))
        self.assertEqual(self.build("link", "--force").exit, OUTPUT)
        self.assertEqual(self.path("shelf/thesis.txt").read_bytes(), b"precious")

    def test_force_never_replaces_a_build_folder_that_holds_more(self):
        self.assertEqual(self.build("out").exit, DONE)
        for name in ("notes.txt", "meshes/notes.txt", "Thumbs.db.txt"):
            self.write("out/" + name, "precious")
            self.refused("out", "besides its own files", name)
            self.path("out/" + name).unlink()
        for name in ("empty", "parts/empty", ".DS_Store"):
            self.path("out/" + name).mkdir()
            self.refused("out", name + "/")
            self.path("out/" + name).rmdir()
        self.path("elsewhere").mkdir()
        self.write("elsewhere/box-1.ctl", "precious")
        self.path("out/meshes").rename(self.path("meshes"))
        self.path("out/meshes").symlink_to(self.path("elsewhere"))
        self.refused("out", "meshes")
        self.assertEqual(self.path("elsewhere/box-1.ctl").read_bytes(), b"precious")

    def test_force_follows_no_link_when_it_removes(self):
        self.write("precious.svg", "precious")
        self.assertEqual(self.build("out").exit, DONE)
        self.path("out/plate.svg").unlink()
        self.path("out/plate.svg").symlink_to(self.path("precious.svg"))
        self.assertEqual(self.build("out", "--force").exit, DONE)
        self.assertEqual(self.path("precious.svg").read_bytes(), b"precious")
        self.assertTrue(self.path("out/plate.svg").is_file() and not self.path("out/plate.svg").is_symlink())

    def test_force_replaces_an_empty_folder(self):
        self.path("empty").mkdir()
        self.assertEqual(self.build("empty", "--force").exit, DONE)
        self.assertTrue(self.path("empty/build.json").exists())
        self.path("opened").mkdir()
        self.write("opened/.DS_Store", "x")
        self.assertEqual(self.build("opened", "--force").exit, DONE)
        self.assertFalse(self.path("opened/.DS_Store").exists())
        self.assertEqual(self.listing(), ["box.stl", "empty", "opened"])

    def test_force_replaces_a_folder_that_lacks_files_of_its_own(self):
        self.assertEqual(self.build("out").exit, DONE)
        self.path("out/plate.stl").unlink()
        self.path("out/meshes/box-1.ctl").unlink()
        self.path("out/meshes").rmdir()
        self.assertEqual(self.build("out", "--force").exit, DONE)
        self.assertEqual(self.run_tool("verify", "out").exit, DONE)

    def test_force_replaces_a_folder_of_version_0_1_0(self):
        for name in ("plain", "styled"):
            shutil.copytree(SOURCE / "tests/data/builds-0.1.0" / name, self.path(name))
            self.assertEqual(self.build(name, "--force").exit, DONE)
            self.assertEqual(self.run_tool("verify", name).exit, DONE)
        self.assertEqual(self.listing(), ["box.stl", "plain", "styled"])

    def test_force_exchanges_the_whole_folder(self):
        self.assertEqual(self.build("out/").exit, DONE)
        for folder in ("", "meshes/"):
            for name in (".DS_Store", "Thumbs.db", "desktop.ini"):
                self.write("out/" + folder + name, "x")
        self.assertEqual(self.build("out/", "--force").exit, DONE)
        self.assertEqual(sorted(p.name for p in self.path("out").iterdir()),
                         ["build.json", "build.toml", "checks.json", "meshes", "parts", "plate.stl", "plate.svg",
                          "report.html"])
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
        self.assertEqual(self.build("out").exit, DONE)
        for folder, output in (("out", "../out"), ("out/meshes", ".."), ("out/meshes", self.path("out"))):
            result = self.run_tool("build", self.path("box.stl"), "-o", output, "--force", cwd=self.path(folder))
            self.assertEqual(result.exit, OUTPUT)
            self.assertIn("is the current folder, or holds it", result.err)
        self.assertEqual(self.run_tool("verify", "out").exit, DONE)

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

    def test_names_differ_in_more_than_case(self):
        for name in ("a/RING.STL", "a/Fine.sty", "ring.stl", "ring-2.stl", "FINE.sty"):
            self.path(name).parent.mkdir(exist_ok=True)
            if name.endswith("sty"):
                self.good("style", "new", "--machine", "TRQ-E7", "--name", name, "-o", name)
            else:
                self.write(name, binary_stl(box_facets()))
        self.assertEqual(self.build("out", "a/RING.STL", "ring.stl,style=a/Fine.sty", "ring-2.stl,style=FINE.sty",
                                    "--force-checks").exit, NO)
        names = [str(p.relative_to(self.path("out"))) for p in self.path("out").rglob("*")]
        self.assertEqual(len({name.lower() for name in names}), len(names), names)
        self.assertEqual(sorted(p.name for p in self.path("out/meshes").iterdir()),
                         ["RING-1.ctl", "box-1.ctl", "ring-2-1.ctl", "ring-2-2-1.ctl"])

    def test_a_failing_build_leaves_nothing(self):
        self.assertEqual(self.build("out", "--vat", "5x5x5mm").exit, NO_PLACEMENT)
        self.assertEqual(self.run_tool("build", "box.stl", "missing.stl", "-o", "out").exit, INPUT)
        self.assertEqual(self.listing(), ["box.stl"])


if __name__ == "__main__":
    unittest.main()
