"""Folders and files that others change, link and block while the tool reads and writes them."""
import fcntl
import json
import os
import pathlib
import shutil
import signal
import subprocess
import threading
import unittest

from style_files import *
from support import *

SOON = 240 if SANITIZED else 60  # seconds after which a command hangs; the machine may be busy


class Folders(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets((40, 30, 20))))

    def begin(self, *arguments, **more):
        return subprocess.Popen([TOOL, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, **more)

    def end(self, process):
        out, err = process.communicate(timeout=SOON)
        return process.returncode, err.decode()


class BuildFolders(Folders):
    """A build folder with something else in the place of one of its files."""

    def setUp(self):
        super().setUp()
        self.write("Fine.sty", build_style(0.1))
        self.write("box.V_D", "20 15 20 0 0 1 3\n")
        self.good("build", "box.stl", "--style", "Fine.sty", "-o", "out")
        self.files = sorted(str(p.relative_to(self.path("out"))) for p in self.path("out").rglob("*") if p.is_file())
        self.assertGreater(len(self.files), 8)
        shutil.copytree(self.path("out"), self.path("outside"))

    def replaced(self, name, make):
        """Runs with something else in the place of a file or folder below out."""
        path = self.path("out") / name
        path.rename(self.path("aside"))
        make(path)
        try:
            yield path
        finally:
            path.unlink()
            self.path("aside").rename(path)

    def test_pipes_devices_and_links_are_found_and_nobody_waits_for_them(self):
        kinds = {"pipe": os.mkfifo, "device": lambda p: os.symlink("/dev/zero", p),
                 "link": lambda p: os.symlink(self.path("outside") / p.relative_to(self.path("out")), p)}
        # Those that are read for themselves in every kind, each of the others in one.
        for number, name in enumerate(self.files):
            for kind, make in list(kinds.items()) if name in ("build.json", "checks.json") else [list(kinds.items())[number % 3]]:
                with self.subTest(kind=kind, name=name):
                    for path in self.replaced(name, make):
                        self.look_at(name, make, path)
        self.assertEqual(self.good("verify", "outside").err, "")

    def look_at(self, name, make, path):
        found = self.run_tool("verify", "out", "--json", timeout=SOON)
        checked = self.run_tool("check", "out", "--json", timeout=SOON)
        forced = self.run_tool("build", "box.stl", "-o", "out", "--force", timeout=SOON, verified=False)
        if name == "build.json":
            self.assertEqual((found.exit, found.codes()), (INPUT, ["BUILD-INVALID"]))
            # No build folder any more: the files in it are checked one by one.
            self.assertIn(checked.exit, (DONE, NO))
            self.assertEqual(forced.exit, OUTPUT)
            self.assertIn("OUTPUT-FOREIGN", forced.err)
            return
        for result in found, checked:
            said = [m["file"] for m in result.document()["messages"] if m["code"] == "VERIFY-FILE"]
            # `check` cannot look at a part whose side file it cannot read.
            unread = result is checked and name == "parts/box.V_D"
            self.assertEqual((result.exit, said), (INPUT if unread else NO, ["out/" + name]))
        # What has a name that the folder lists is removed itself, not what it leads to.
        self.assertEqual(forced.exit, DONE, forced.err)
        shutil.rmtree(self.path("out"))
        shutil.copytree(self.path("outside"), self.path("out"))
        path.unlink()
        make(path)

    def test_a_folder_that_is_a_link_is_not_entered(self):
        for name in ("meshes", "parts", "styles"):
            for path in self.replaced(name, lambda p: os.symlink(self.path("outside") / p.name, p)):
                with self.subTest(name):
                    listed = ["out/" + f for f in self.files if f.startswith(name + "/")]
                    for command in "verify", "check":
                        result = self.fails(NO, command, "out", "--json")
                        said = [m["file"] for m in result.document()["messages"] if m["code"] == "VERIFY-FILE"]
                        self.assertEqual(sorted(said), listed, command)
                    self.assertIn("OUTPUT-FOREIGN", self.fails(OUTPUT, "build", "box.stl", "-o", "out", "--force").err)
        self.assertEqual(self.good("verify", "outside").err, "")

    def test_what_is_checked_is_what_was_listed(self):
        # The folder below gives way to a link again and again; what that leads to has the same names and open edges.
        below, outside = self.path("out/parts"), self.path("outside/parts")
        for i in range(200):
            self.write(below / f"{i}.stl", binary_stl(box_facets((4, 3, 2))))
            self.write(outside / f"{i}.stl", binary_stl(box_facets((4, 3, 2))[1:]))
            self.write(outside / f"{i}.V_D", "no numbers\n")
        shutil.copytree(below, self.path("plain/parts"))
        self.assertLessEqual({"OPEN-EDGES", "VD-LINE"}, set(self.good("check", "outside", "--json").codes()))
        for folder in "out", "plain":
            below, stop = self.path(folder) / "parts", threading.Event()

            def swap():
                while not stop.is_set():
                    below.rename(self.path("aside"))
                    below.symlink_to(outside)
                    below.unlink()
                    self.path("aside").rename(below)
            thread = threading.Thread(target=swap)
            thread.start()
            try:
                for _ in range(8):
                    result = self.run_tool("check", folder, "--json", timeout=SOON)
                    self.assertIn(result.exit, (DONE, NO, INPUT), result.err)
                    self.assertFalse({"OPEN-EDGES", "VD-LINE"} & set(result.codes()), folder)
            finally:
                stop.set()
                thread.join()

    def test_documents_that_are_something_else(self):
        for name in ("build.json", "plates.json"):
            self.path("other").mkdir()
            for document in ("1e308", "true", "null", '"text"', "[]", "[[1]]", "{}", '{"schema": 3}'):
                self.write(f"other/{name}", document)
                for words in (["info", "other"], ["check", "other"], ["verify", "other"], ["build", "box.stl", "-o", "other", "--force"]):
                    with self.subTest(name=name, document=document, words=words):
                        done = self.run_tool(*words)
                        self.assertIn(done.exit, (1, 3, 4), done.err)
                        self.assertNotIn("[INTERNAL]", done.err)
                        self.assertEqual(self.path(f"other/{name}").read_text(), document)
            shutil.rmtree(self.path("other"))

    def test_a_mesh_is_that_of_one_piece(self):
        document = json.loads((self.path("out") / "build.json").read_text())
        document["pieces"] *= 2
        (self.path("out") / "build.json").write_text(json.dumps(document))
        for words in (("check", "out"), ("verify", "out"), ("info", "out"), ("render", "out", "-o", "out.png"),
                      ("report", "out", "-o", "out.html"), ("estimate", "out")):
            with self.subTest(words):
                self.assertEqual(self.fails(INPUT, *words, "--json").codes(), ["BUILD-INVALID"])

    def test_what_was_left_under_way_is_named(self):
        (self.path("out") / ".trqprep-abcdef").mkdir()
        os.mkfifo(self.path("out") / "meshes" / ".trqprep-pipe")
        result = self.good("verify", "out", "--json", timeout=SOON)
        self.assertEqual([(m["code"], m["file"]) for m in result.document()["messages"]],
                         [("VERIFY-FOREIGN", "out/.trqprep-abcdef/"), ("VERIFY-FOREIGN", "out/meshes/.trqprep-pipe")])
        self.fails(NO, "verify", "out", "--strict")


class Replacing(Folders):
    """Folders that are swapped, linked and in use while a build replaces them."""

    def build_and_swap(self, take_place):
        """Stops a build while it writes, lets `take_place` put something at the name it writes under, and goes on."""
        self.write("large.stl", binary_stl(ring_facets(20, 10, 5, sides=8000)))
        victim = self.path("victim")
        victim.mkdir()
        (victim / "plate.stl").write_text("precious")
        for _ in range(100):
            process = self.begin("build", "large.stl", "--rotations", "1", "-o", "out")
            under_way = None
            while process.poll() is None and under_way is None:
                under_way = next(self.folder.glob(".trqprep-*"), None)
            process.send_signal(signal.SIGSTOP)
            if under_way is not None and process.poll() is None and not self.path("out").exists():
                break
            process.send_signal(signal.SIGCONT)
            process.communicate()
            shutil.rmtree(self.path("out"), ignore_errors=True)
        else:
            self.fail("never stopped in time")
        under_way.rename(self.path("aside"))
        take_place(victim, under_way)
        process.send_signal(signal.SIGCONT)
        code, err = self.end(process)
        self.assertEqual(code, OUTPUT, err)
        self.assertIn("OUTPUT-CHANGED", err)
        self.assertFalse(self.path("out").exists())
        victim = under_way.resolve()
        self.assertEqual([p.name for p in victim.iterdir()], ["plate.stl"])
        self.assertEqual((victim / "plate.stl").read_text(), "precious")
        self.assertEqual(list(self.path("aside").rglob("*")), [])

    def test_a_link_in_the_place_of_the_folder_under_way_is_not_followed(self):
        self.build_and_swap(lambda victim, name: name.symlink_to(victim))

    def test_a_folder_in_the_place_of_the_folder_under_way_is_left_alone(self):
        self.build_and_swap(lambda victim, name: victim.rename(name))

    def test_a_link_to_a_folder_and_a_parent_of_the_current_one(self):
        self.path("other").mkdir()
        (self.path("other") / "precious").write_text("precious")
        self.path("link").symlink_to("other")
        self.assertIn("OUTPUT-FOREIGN", self.fails(OUTPUT, "build", "box.stl", "-o", "link", "--force").err)
        (self.path("other") / "precious").unlink()
        self.good("build", "box.stl", "-o", "link", "--force")
        self.assertTrue(self.path("link").is_symlink())
        self.good("build", "box.stl", "-o", "link/", "--force")
        self.assertTrue((self.path("other") / "plate.stl").exists())
        below = self.path("other") / "meshes"
        for name in ("..", "../../link", ".", str(below)):
            self.fails(OUTPUT, "build", self.path("box.stl"), "-o", name, "--force", cwd=below, verified=False)
        self.assertTrue((below / "box-1.ctl").exists())


class SideFiles(Folders):
    """A .V_D file beside a part that is a link."""

    def setUp(self):
        super().setUp()
        self.write("secret", "20 15 20 0 0 1 3\n")
        self.path("box.V_D").symlink_to("secret")
        self.commands = [("build", "box.stl", "-o", "out"), ("place", "box.stl"), ("check", "box.stl"),
                         ("hollow", "box.stl", "--limit", "1mm", "-o", "hollow.stl"), ("vents", "list", "box.stl"),
                         ("vents", "add", "box.stl", "--vent", "1"), ("vents", "move", "box.stl", "--by", "0,0,0"),
                         ("vents", "remove", "box.stl", "1"), ("vents", "remove", "box.stl", "--all", "--yes")]

    def test_is_refused(self):
        for command in self.commands:
            with self.subTest(command):
                result = self.fails(INPUT, *command, "--json")
                said, = [m for m in result.document()["messages"] if m["code"] == "INPUT-LINK"]
                self.assertEqual(said["file"], "box.V_D")
                self.assertIn("--follow-links", said["hint"])
        self.assertFalse(self.path("out").exists())
        self.assertEqual(self.path("secret").read_text(), "20 15 20 0 0 1 3\n")

    def test_is_refused_where_it_leads_nowhere(self):
        self.path("secret").unlink()
        self.assertIn("INPUT-LINK", self.fails(INPUT, "build", "box.stl", "-o", "out").err)

    def test_is_followed_when_that_is_said(self):
        for command in self.commands:
            with self.subTest(command):
                self.path("secret").write_text("20 15 20 0 0 1 3\n")
                self.good(*command, "--follow-links")
        self.assertFalse(self.path("out/parts/box.V_D").is_symlink())
        self.assertEqual(self.path("out/parts/box.V_D").read_text(), "20 15 20 0 0 1 3\n")

    def test_a_job_file_cannot_say_it_and_goes_with_it(self):
        self.write("job.toml", '[[part]]\nfile = "box.stl"\n')
        self.assertIn("INPUT-LINK", self.fails(INPUT, "build", "job.toml", "-o", "out").err)
        self.assertIn("INPUT-LINK", self.fails(INPUT, "check", "job.toml").err)
        self.good("check", "job.toml", "--follow-links")
        self.good("build", "job.toml", "-o", "out", "--follow-links")
        self.good("build", "out/build.toml", "-o", "again")
        self.write("sly.toml", 'follow_links = true\n[[part]]\nfile = "box.stl"\n')
        self.fails(INPUT, "build", "sly.toml", "-o", "sly")

    def test_one_that_is_named_itself_is_read(self):
        self.assertEqual(len(self.json_of("vents", "list", "box.V_D")["entries"]), 1)
        self.good("info", "box.V_D")

    def test_a_pipe_is_not_waited_for(self):
        self.path("box.V_D").unlink()
        os.mkfifo(self.path("box.V_D"))
        for command in self.commands:
            self.assertIn("INPUT-SPECIAL", self.fails(INPUT, *command, timeout=SOON).err)

    def test_a_part_of_that_name_has_none(self):
        self.path("box.V_D").unlink()
        self.path("box.stl").rename(self.path("mesh.V_D"))
        self.good("build", "mesh.V_D", "-o", "out")
        made = [*self.path("out").glob("parts/*"), *self.path("out").glob("meshes/*")]
        self.assertEqual(sorted(p.name for p in made), ["mesh-1.ctl", "mesh.V_D"])
        self.good("build", "out/build.toml", "-o", "again")


class Edits(Folders):
    """Files that are changed in place by several at once."""

    AT_ONCE = 20

    def test_every_value_arrives(self):
        self.write("Fine.sty", build_style(0.1))
        # Floating-point parameters without range or list of values.
        names = ["Dp", "Ec"]
        for parameter in self.json_of("style", "show", "Fine.sty")["parameters"]:
            if len(names) == self.AT_ONCE:
                break
            name = parameter["name"]
            if name in names:
                continue
            if self.run_tool("style", "set", "Fine.sty", f"{name}=7.5", "--dry-run").exit == DONE:
                names.append(name)
        self.assertEqual(len(names), self.AT_ONCE)
        runs = [self.begin("style", "set", "Fine.sty", f"{name}=7.5") for name in names]
        for name, run_ in zip(names, runs):
            code, err = self.end(run_)
            self.assertEqual(code, DONE, (name, err))
        values = {p["name"]: p["value"] for p in self.json_of("style", "show", "Fine.sty")["parameters"]}
        self.assertEqual([values[name] for name in names], [7.5] * self.AT_ONCE)
        self.assert_no_leftovers()

    def test_every_vent_arrives(self):
        for existing in (True, False):
            with self.subTest(existing=existing):
                if existing:
                    self.write("box.V_D", "20 15 20 0 0 1 3\n")
                else:
                    self.path("box.V_D").unlink()
                runs = [self.begin("vents", "add", "box.stl", "--vent", f"{i + 1},15,20") for i in range(self.AT_ONCE)]
                for run_ in runs:
                    code, err = self.end(run_)
                    self.assertEqual(code, DONE, err)
                places = sorted(float(line.split()[0]) for line in self.path("box.V_D").read_text().splitlines())
                self.assertEqual(places, sorted(([20.0] if existing else []) + [i + 1.0 for i in range(self.AT_ONCE)]))
        self.assert_no_leftovers()

    def waiting(self, *arguments):
        """A run that waits for the lock of the folder, which this process holds."""
        process = self.begin(*arguments)
        folder = os.path.realpath(self.folder)
        while process.poll() is None:
            try:
                if any(os.readlink(f"/proc/{process.pid}/fd/{n}") == folder for n in os.listdir(f"/proc/{process.pid}/fd")):
                    return process
            except FileNotFoundError:
                pass
        self.fail("did not wait: " + process.communicate()[1].decode())

    def test_a_run_waits_and_changes_what_it_finds_then(self):
        self.write("box.V_D", "20 15 20 0 0 1 3\n")
        folder = os.open(self.folder, os.O_RDONLY)
        try:
            fcntl.flock(folder, fcntl.LOCK_EX)
            process = self.waiting("vents", "add", "box.V_D", "--vent", "1,2,3")
            self.write("box.V_D", "30 15 20 0 0 1 3\n")
        finally:
            os.close(folder)
        self.assertEqual(self.end(process)[0], DONE)
        self.assertEqual([line.split()[0] for line in self.path("box.V_D").read_text().splitlines()], ["30", "1.000000"])

    def test_a_signal_ends_the_wait(self):
        self.write("Fine.sty", build_style(0.1))
        before = self.path("Fine.sty").read_bytes()
        folder = os.open(self.folder, os.O_RDONLY)
        try:
            fcntl.flock(folder, fcntl.LOCK_EX)
            process = self.waiting("style", "set", "Fine.sty", "Dp=7")
            process.send_signal(signal.SIGINT)
            self.assertEqual(self.end(process)[0], INTERRUPTED)
            # What changes nothing waits for nobody.
            for arguments in (("--dry-run",), ("-o", "other.sty")):
                self.good("style", "set", "Fine.sty", "Dp=7", *arguments, timeout=SOON)
        finally:
            os.close(folder)
        self.assertEqual(self.path("Fine.sty").read_bytes(), before)
        self.assert_no_leftovers()

    @unittest.skipIf(os.geteuid() != 0, "files are given away by root alone")
    def test_root_leaves_a_file_to_its_owner(self):
        self.write("Fine.sty", build_style(0.1))
        self.write("box.V_D", "20 15 20 0 0 1 3\n")
        for name, command in (("Fine.sty", ("style", "set", "Fine.sty", "Dp=7")),
                              ("box.V_D", ("vents", "add", "box.V_D", "--vent", "1,2,3")),
                              ("box.stl", ("convert", "box.stl", "-o", "box.stl", "--force"))):
            os.chown(self.path(name), 12345, 23456)
            self.path(name).chmod(0o640)
            self.good(*command)
            status = self.path(name).stat()
            self.assertEqual((status.st_uid, status.st_gid, status.st_mode & 0o7777), (12345, 23456, 0o640), name)


if __name__ == "__main__":
    unittest.main()
