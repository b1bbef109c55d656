"""Standard output is the result and nothing else; exit codes tell the truth; messages name the culprit."""
import json
import os
import re
import signal
import subprocess
import time
import unittest

import support
from support import *


class StandardOutput(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))
        self.write("short.stl", binary_stl(box_facets()[:10], announced=12))

    def test_json_is_one_document_with_the_promised_envelope(self):
        result = self.good("info", "box.stl", "--json")
        document = result.document()
        self.assertEqual(list(document), ["schema", "tool", "ok", "exit", "units", "data", "messages"])
        self.assertEqual(document["schema"], "trqprep.info/2")
        self.assertRegex(document["tool"], r"^trqprep \d+\.\d+\.\d+$")
        self.assertIs(document["ok"], True)
        self.assertEqual((document["exit"], document["units"], document["messages"]), (0, "mm", []))

    def test_json_on_failure_is_one_document_too(self):
        for arguments, code, schema in [
                (["info", "missing.stl"], INPUT, "trqprep.info/2"),
                (["convert", "box.stl", "-o", "no/such/folder/a.ctl"], OUTPUT, "trqprep.convert/2"),
                (["build", "box.stl", "--vat", "5x5x5mm", "-o", "out"], NO_PLACEMENT, "trqprep.build/2"),
                (["convert", "box.stl"], USAGE, "trqprep.convert/2"),
                (["convert", "--frce"], USAGE, "trqprep.convert/2"),
                (["nonsense"], USAGE, "trqprep.usage/2"), ([], USAGE, "trqprep.usage/2")]:
            with self.subTest(arguments):
                result = self.fails(code, *arguments, "--json")
                document = result.document()
                self.assertEqual((document["ok"], document["exit"], document["schema"]), (False, code, schema))
                self.assertTrue(any(m["severity"] == "error" for m in document["messages"]))
                self.assertIsInstance(document["data"], dict)

    def test_messages_have_all_fields_and_the_promised_look(self):
        result = self.fails(INPUT, "info", "short.stl", "--json")
        message, = result.document()["messages"]
        self.assertEqual(list(message), ["code", "severity", "file", "where", "text", "hint"])
        self.assertEqual(message["code"], "STL-SHORT")
        self.assertEqual(message["file"], "short.stl")
        self.assertEqual(message["where"], {"announced": 12, "present": 10})
        self.assertIn("trqprep: error: short.stl: binary STL announces 12 facets, file holds 10 [STL-SHORT]\n"
                      "  hint: --accept-partial uses the 10 facets present\n", result.err)

    def test_without_json_messages_stay_off_standard_output(self):
        result = self.fails(INPUT, "info", "short.stl")
        self.assertEqual(result.out, b"")
        result = self.good("info", "short.stl", "--accept-partial")
        self.assertNotIn(b"STL-SHORT", result.out)
        self.assertIn("[STL-SHORT]", result.err)

    def test_what_the_library_prints_goes_to_the_error_stream(self):
        self.write("bad.ctl", b"x" * 100)
        result = self.fails(INPUT, "info", "bad.ctl", "--json")
        result.document()
        self.assertIn("Invalid CTL file - No header", result.err)

    def test_a_bad_file_does_not_hide_the_others(self):
        result = self.fails(INPUT, "info", "box.stl", "missing.stl", "--json")
        files = result.document()["data"]["files"]
        self.assertEqual([f.get("facets") for f in files], [12, None])
        self.assertEqual(files[1]["code"], "INPUT-MISSING")

    def test_a_full_standard_output_is_an_output_not_written(self):
        with open("/dev/full", "wb") as full:
            result = self.run_tool("info", "box.stl", stdout=full)
        self.assertEqual(result.exit, OUTPUT)
        self.assertIn("standard output", result.err)

    def test_a_closed_pipe_is_reported_and_kills_nothing(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        result = self.run_tool("info", "box.stl", stdout=write_end)
        os.close(write_end)
        self.assertEqual(result.exit, OUTPUT)

    def test_closed_standard_streams_do_no_harm(self):
        command = f'"{support.TOOL}" convert box.stl -o box.ctl <&- >&- 2>&-'
        completed = subprocess.run(["sh", "-c", command], cwd=self.folder)
        self.assertEqual(completed.returncode, OUTPUT)  # the result could not be printed
        self.assertEqual(len(read_ctl(self.path("box.ctl"))["triangles"]), 12)


class UsageErrors(ToolTest):
    def test_an_unknown_option_gets_the_nearest_three(self):
        for arguments in (["info", "--jsn"], ["info", "x.stl", "--jsn"], ["info", "--jsn=1", "x"]):
            result = self.fails(USAGE, *arguments)
            self.assertIn("unknown option --jsn", result.err)
            self.assertRegex(result.err, r"hint: did you mean --json, \S+ or \S+\?")

    def test_an_unknown_command_gets_the_nearest_three(self):
        result = self.fails(USAGE, "bild", "x.stl")
        self.assertRegex(result.err, r"unknown command 'bild' \[USAGE\]\n  hint: did you mean build, \S+ or \S+\?")

    def test_an_unknown_setting_of_a_part_gets_the_nearest(self):
        self.write("box.stl", binary_stl(box_facets()))
        result = self.fails(USAGE, "place", "box.stl,copis=2")
        self.assertRegex(result.err, r"box.stl: 'copis=2' is not a setting of a part \[USAGE\]\n  hint: did you mean copies")

    def test_an_unknown_value_gets_the_nearest(self):
        result = self.fails(USAGE, "completion", "bsh")
        self.assertIn("did you mean bash", result.err)

    def test_wrong_values_are_usage_errors(self):
        self.write("box.stl", binary_stl(box_facets()))
        for arguments in (["place", "box.stl", "--vat", "250x250"], ["place", "box.stl", "--vat", "0x1x1"],
                          ["place", "box.stl", "--vat", "nanx1x1"], ["place", "box.stl", "--rotations", "25"],
                          ["place", "box.stl", "--rotations", "0"], ["place", "box.stl", "--seed", "-1"],
                          ["place", "box.stl,copies=0"], ["place", "box.stl,copies"], ["place", "box.stl,"],
                          ["place"], ["info"], ["info", "box.stl", "--units", "cm"],
                          ["convert", "box.stl", "-o", "box.xyz"], ["convert", "box.stl", "-o", ""],
                          ["convert", "box.stl", "-o", "box.ctl", "--stamp", "1"],
                          ["transform", "box.stl", "-o", "a.stl", "--translate", "1,2"],
                          ["transform", "box.stl", "-o", "a.stl", "--scale", "0"],
                          ["transform", "box.stl", "-o", "a.stl", "--mirror", "w"],
                          ["transform", "box.stl", "-o", "a.stl", "--rotate-x", "inf"],
                          ["transform", "box.stl", "-o", "a.stl", "--matrix", "1,2,3"],
                          ["transform", "box.stl", "-o", "a.stl", "--matrix", "1,0,0,0,0,1,0,0,0,0,0,0"],
                          ["simplify", "box.stl", "-o", "a.stl", "--facets", "0"],
                          ["simplify", "box.stl", "-o", "a.stl"], ["help", "nothing"]):
            with self.subTest(arguments):
                result = self.fails(USAGE, *arguments)
                self.assertRegex(result.err, r"^trqprep: error: .* \[USAGE\]\n")
                self.assertEqual(result.out, b"")
        self.assertEqual(self.listing(), ["box.stl"])

    def test_a_line_break_in_a_name_stays_on_its_line(self):
        result = self.fails(INPUT, "info", "a\nb.stl")
        self.assertIn("trqprep: error: a\\x0ab.stl: ", result.err)


class BadInputs(ToolTest):
    def check_all(self, name, code, *more):
        for command in (["info", name], ["convert", name, "-o", "out.ctl"], ["convert", name, "-o", "out.stl"],
                        ["transform", name, "--drop", "-o", "out.stl"], ["simplify", name, "--facets", "4", "-o", "out.stl"],
                        ["merge", name, "-o", "out.stl"], ["place", name], ["build", name, "-o", "out"]):
            with self.subTest(command):
                result = self.fails(INPUT, *command, "--json", *more)
                self.assertIn(code, result.codes())
                message = next(m for m in result.document()["messages"] if m["code"] == code)
                self.assertEqual(message["file"], name)
                self.assertFalse(self.path("out.ctl").exists() or self.path("out.stl").exists()
                                 or self.path("out").exists())
        self.assert_no_leftovers()

    def test_missing(self):
        self.check_all("missing.stl", "INPUT-MISSING")

    def test_folder(self):
        self.path("folder.stl").mkdir()
        for command in (["convert", "folder.stl", "-o", "out.ctl"], ["place", "folder.stl"]):
            self.assertIn("[INPUT-FOLDER]", self.fails(INPUT, *command).err)
        self.assertIn("[INPUT-FOLDER]", self.fails(INPUT, "info", "folder.stl").err)
        self.path("plain").mkdir()
        self.assertIn("[INPUT-UNKNOWN]", self.fails(INPUT, "info", "plain").err)

    def test_special_files_are_refused_and_nothing_hangs(self):
        os.mkfifo(self.path("pipe.stl"))
        self.check_all("pipe.stl", "INPUT-SPECIAL")
        self.assertIn("[INPUT-SPECIAL]", self.fails(INPUT, "info", "/dev/zero").err)

    @unittest.skipIf(os.geteuid() == 0, "root reads everything")
    def test_unreadable(self):
        self.write("secret.stl", binary_stl(box_facets()))
        self.path("secret.stl").chmod(0)
        self.check_all("secret.stl", "INPUT-UNREADABLE")

    def test_empty(self):
        self.write("empty.stl", b"")
        self.check_all("empty.stl", "STL-EMPTY")

    def test_short_header(self):
        self.write("cut.stl", b"a" * 40 + b"\0" * 39)
        self.check_all("cut.stl", "STL-HEADER")

    def test_short(self):
        self.write("short.stl", binary_stl(box_facets()[:10], announced=12))
        self.check_all("short.stl", "STL-SHORT")

    def test_oversized_count(self):
        self.write("huge.stl", binary_stl(box_facets(), announced=2**31 - 1))
        self.check_all("huge.stl", "STL-SHORT")

    def test_no_count(self):
        for count in (0, -5):
            self.write("none.stl", binary_stl([], announced=count))
            self.check_all("none.stl", "STL-COUNT")

    def test_single_facet(self):
        self.write("one.stl", binary_stl(box_facets()[:1]))
        self.check_all("one.stl", "STL-UNJOINED")

    def test_not_a_number(self):
        facets = box_facets()
        facets[5] = (facets[5][0], (float("nan"), 0, 0), facets[5][2])
        self.write("nan.stl", binary_stl(facets))
        self.check_all("nan.stl", "MESH-NAN")
        self.assertEqual(self.fails(INPUT, "info", "nan.stl", "--json").document()["messages"][0]["where"],
                         {"facet": 5, "corner": 2})

    def test_random_bytes(self):
        self.write("random.stl", bytes((i * 7919 + i * i) % 251 for i in range(5000)))
        self.check_all("random.stl", "STL-SHORT")

    def test_text_with_a_broken_corner_names_the_line(self):
        text = ascii_stl(box_facets()).replace("vertex 10 20 0", "vertex 10 twenty 0", 1)
        line = text.split("\n").index("vertex 10 twenty 0") + 1
        self.write("text.stl", text)
        self.check_all("text.stl", "STL-TEXT")
        message = self.fails(INPUT, "info", "text.stl", "--json").document()["messages"][0]
        self.assertEqual(message["where"], {"line": line, "column": 11})
        self.assertEqual(message["text"], f"line {line}, column 11: 'twenty' is not a number")

    def test_every_shorter_ctl_is_refused(self):
        self.write("box.stl", binary_stl(box_facets()))
        self.good("convert", "box.stl", "-o", "box.ctl")
        whole = self.path("box.ctl").read_bytes()
        for length in (0, 1, 255, 256, 257, 300, 351, 352, 353, len(whole) - 4, len(whole) - 1):
            self.write("cut.ctl", whole[:length])
            result = self.fails(INPUT, "info", "cut.ctl", "--json")
            self.assertEqual(result.codes(), ["CTL-INVALID"], length)

    def test_ctl_with_an_index_beyond_its_vertices(self):
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, 10), (5, 5, 5)]
        self.write("index.ctl", make_ctl(corners, [(0, 2, 1), (0, 1, 3), (0, 3, 7), (1, 2, 3)]))
        self.check_all("index.ctl", "CTL-INDEX")

    def test_not_a_number_in_a_ctl(self):
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, float("nan"))]
        self.write("nan.ctl", make_ctl(corners, [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]))
        self.check_all("nan.ctl", "MESH-NAN")

    def test_infinite_coordinates_are_refused(self):
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, float("inf"))]
        self.write("inf.ctl", make_ctl(corners, [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]))
        self.write("inf.stl", binary_stl(box_facets() + [((0, 0, 0), (1, 1, 1), (float("-inf"), 0, 0))]))
        self.write("text.stl", ascii_stl(box_facets() + [((0, 0, 0), (1, 1, 1), (3e38, 0, 0))]).replace("3e+38", "1e39"))
        for name in ("inf.ctl", "inf.stl", "text.stl"):
            self.check_all(name, "MESH-NAN")
            self.assertIn("[MESH-NAN]", self.fails(INPUT, "convert", name, "-o", "a.stl").err)

    def test_unknown_content(self):
        self.write("notes.txt", "just some words\nand more\n")
        result = self.fails(INPUT, "info", "notes.txt")
        self.assertIn("[INPUT-UNKNOWN]", result.err)

    @unittest.skipIf(SANITIZED, "sanitizers need the address space")
    def test_no_memory_is_an_internal_error(self):
        facets = [((i % 1000, i // 1000, 0), (i % 1000 + 1, i // 1000, 0), (i % 1000, i // 1000 + 1, 0))
                  for i in range(300000)]
        self.write("large.stl", binary_stl(facets))
        self.write("box.stl", binary_stl(box_facets()))

        def info(name, kilobytes):
            command = f'ulimit -v {kilobytes}; exec "{support.TOOL}" info {name} --json'
            return subprocess.run(["sh", "-c", command], cwd=self.folder, capture_output=True)
        # The least room in which a small file can be read is far too little for the large one.
        room = next(r for r in range(20000, 1000000, 2000) if info("box.stl", r).returncode == DONE)
        completed = info("large.stl", room + 2000)
        self.assertEqual(completed.returncode, INTERNAL, completed.stderr)
        self.assertEqual(json.loads(completed.stdout)["messages"][-1]["code"], "NO-MEMORY")


class Interruption(ToolTest):
    def interrupt(self, number, *arguments):
        # Writing into a pipe that nobody reads holds the tool at a place where its temporary file exists.
        os.mkfifo(self.path("pipe"))
        temporary = self.path("tmp")
        temporary.mkdir()
        process = subprocess.Popen([support.TOOL, *arguments], cwd=self.folder, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=dict(os.environ, TMPDIR=str(temporary)))
        for _ in range(600):
            if list(temporary.iterdir()):
                break
            time.sleep(0.05)
        self.assertTrue(list(temporary.iterdir()), "the tool did not get that far")
        process.send_signal(number)
        out, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, INTERRUPTED, err)
        self.assertEqual(list(temporary.iterdir()), [])
        return out, err

    def setUp(self):
        super().setUp()
        self.write("box.stl", binary_stl(box_facets()))

    def test_sigint(self):
        out, err = self.interrupt(signal.SIGINT, "convert", "box.stl", "--to", "ctl", "-o", "pipe")
        self.assertEqual(out, b"")
        self.assertIn(b"[INTERRUPTED]", err)

    def test_sigterm_with_json(self):
        out, _ = self.interrupt(signal.SIGTERM, "convert", "box.stl", "--to", "ctl", "-o", "pipe", "--json")
        document = json.loads(out)
        self.assertEqual((document["schema"], document["exit"], document["ok"]), ("trqprep.convert/2", 130, False))


class UnusualNames(ToolTest):
    NAME = b"na\xefve\xff.stl"

    def test_names_that_are_not_utf8_are_given_as_bytes(self):
        (self.path("x").parent / os.fsdecode(self.NAME)).write_bytes(binary_stl(box_facets()))
        data = self.info_of(self.NAME)
        self.assertEqual(data["file"], {"bytes": self.NAME.hex()})
        result = self.fails(INPUT, "info", b"\xfe.stl", "--json")
        self.assertEqual(result.document()["messages"][0]["file"], {"bytes": "fe2e73746c"})

    def test_a_build_of_such_a_name(self):
        (self.path("x").parent / os.fsdecode(self.NAME)).write_bytes(binary_stl(box_facets()))
        self.good("build", self.NAME, "-o", "out")
        document = json.loads((self.folder / "out/build.json").read_bytes().decode("utf-8"))
        self.assertEqual(document["inputs"][0]["file"], {"bytes": (b"parts/" + self.NAME).hex()})
        self.assertEqual(os.listdir(os.fsencode(self.folder / "out/meshes")), [b"na\xefve\xff-1.ctl"])
        (self.folder / "out/plate.svg").read_bytes().decode("utf-8")

    def test_brackets_commas_and_dashes_are_parts_of_names(self):
        for name in ("[a,b]", "a,copies=2", "-x.stl"):
            self.write(name, binary_stl(box_facets()))
        self.assertEqual(self.info_of("[a,b]")["facets"], 12)
        self.assertEqual(self.good("info", "--json", "--", "-x.stl").document()["data"]["files"][0]["facets"], 12)
        self.assertEqual(len(self.json_of("place", "a,copies=2")["pieces"]), 1)
        self.assertEqual(len(self.json_of("place", "a,copies=2,copies=3")["pieces"]), 3)


class Headers(ToolTest):
    def test_header_text_that_is_not_utf8(self):
        self.write("box.stl", binary_stl(box_facets(), header=b"caf\xe9"))
        self.assertEqual(self.info_of("box.stl")["header"], {"bytes": "636166e9"})


if __name__ == "__main__":
    unittest.main()
