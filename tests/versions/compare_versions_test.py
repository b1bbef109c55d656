"""scripts/compare-versions finds what differs, however small, and nothing in a tool that is the same."""
import contextlib
import io
import json
import math
import os
import pathlib
import shutil
import struct
import sys
import tempfile
import unittest

import compare_versions

TOOL = os.environ["TRQPREP"]
SOURCE = os.environ["TRQ_SOURCE_DIR"]
SCENES = ("docs/help-convert", "docs/help-build", "docs/help-style-set")

# Behaves like the tool, and states another version in all that it says and writes.
OTHER_VERSION = """#!{python}
import hashlib, pathlib, re, subprocess, sys
done = subprocess.run(["{tool}", *sys.argv[1:]], stdin=sys.stdin, capture_output=True)
replaced = {}
def sum_of(data):
    return hashlib.sha256(data).hexdigest()
def other(data):
    data = re.sub(rb'(trqprep |"version": ")[0-9]+[.][0-9]+[.][0-9]+', rb"\\g<1>98.76.54", data)
    for old, new in replaced.items():
        data = data.replace(old, new)
    return data
# Only where a scene runs: the version is asked for elsewhere.
for path in pathlib.Path(".").rglob("build.json") if pathlib.Path.cwd().name == "scene" else ():
    text = path.read_bytes()
    if b"98.76.54" in text:
        continue
    for name in ("checks.json", "report.html"):
        before, after = (path.parent / name).read_bytes(), other((path.parent / name).read_bytes())
        (path.parent / name).write_bytes(after)
        for size in (b'"file_size": %d,', b'<td class="n">%d</td>'):
            replaced[size % len(before)] = size % len(after)
        replaced[sum_of(before).encode()] = sum_of(after).encode()
    stated = re.search(b'"sum": "([0-9a-f]+)"', text).group(1)
    text = other(text)
    without = text.replace(b',\\n  "sum": "' + stated + b'"', b"")
    replaced[stated] = sum_of({without}).encode()
    path.write_bytes(other(text))
sys.stdout.buffer.write(other(done.stdout)); sys.stderr.buffer.write(other(done.stderr)); sys.exit(done.returncode)
"""


class CompareVersions(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="compare-versions-test-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.frozen = cls.folder / "frozen"
        cls.nothing = cls.folder / "nothing.toml"
        cls.nothing.write_text("")
        cls.compare(None, "--old-tool", TOOL, "--old-tree", SOURCE, "--freeze", cls.frozen)

    @staticmethod
    def compare(allowed, *arguments):
        """Exit code and text of a comparison of the few scenes."""
        more = [argument for scene in SCENES for argument in ("--only", scene)]
        more += ["--allowed", str(allowed or CompareVersions.nothing)]
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            status = compare_versions.main([*map(str, arguments), *more])
        return status, printed.getvalue()

    def wrapped(self, lines):
        """The comparison of the tool with a script that runs it and then does something else."""
        return self.compared_with('#!/bin/sh\n"%s" "$@"; code=$?\n%s\nexit $code\n' % (TOOL, lines))

    def compared_with(self, script, allowed=None):
        path = self.folder / "wrapper"
        path.write_text(script)
        path.chmod(0o755)
        return self.compare(allowed, "--against", self.frozen, "--new", path)

    def assert_finds(self, lines, what):
        status, text = self.wrapped(lines)
        self.assertEqual(status, 1, text)
        self.assertIn(what, text)

    def test_the_tool_is_the_same_as_itself(self):
        status, text = self.compare(None, "--old-tool", TOOL, "--old-tree", SOURCE, "--new", TOOL)
        self.assertEqual(status, 0, text)
        self.assertIn("\nthe same\n", text)
        self.assertRegex(text, r"docs +3 +6 +\d\d +0 +0\n")
        self.assertEqual(self.wrapped("")[0], 0)

    def test_an_exit_code_is_found(self):
        self.assert_finds('[ "$1" != convert ] || code=1', "bracket.ctl: exit\n")

    def test_a_byte_of_the_result_is_found(self):
        self.assert_finds('[ "$1" != convert ] || echo', "bracket.ctl: stdout\n")
        self.assert_finds('[ "$1" != build ] || printf . >&2', "-o out: stderr\n")

    def test_a_byte_of_a_file_is_found(self):
        flip = "printf '\\001' | dd of={0} bs=1 seek={1} conv=notrunc 2>/dev/null"
        self.assert_finds(f"[ ! -f bracket.ctl ] || {flip.format('bracket.ctl', 300)}", "file:bracket.ctl\n")
        # The hash of the folder's build.json is no longer true then, and stays.
        status, text = self.wrapped(f"[ ! -f out/plate.stl ] || {flip.format('out/plate.stl', 79)}")
        self.assertEqual(status, 1, text)
        self.assertIn("file:out/plate.stl\n", text)
        self.assertIn("file:out/build.json\n", text)

    def test_files_more_or_less_and_other_modes_are_found(self):
        self.assert_finds("touch left-behind", "entry:left-behind\n")
        self.assert_finds("rm -f out/plate.svg", "entry:out/plate.svg\n")
        self.assert_finds("[ ! -f changed.sty ] || chmod 600 changed.sty", "entry:changed.sty\n")

    def test_another_version_is_no_difference(self):
        script = OTHER_VERSION.replace("{tool}", TOOL).replace("{python}", sys.executable)
        status, text = self.compared_with(script.replace("{without}", "without"))
        self.assertEqual(status, 0, text)
        # A sum that is not true shows.
        status, text = self.compared_with(script.replace("{without}", "text"))
        self.assertEqual(status, 1, text)
        self.assertIn("file:out/build.json\n", text)

    def test_what_the_table_allows_is_allowed_and_no_more(self):
        table = self.folder / "allowed.toml"
        entry = ('[[difference]]\nreason = "as a test wants it"\nscene = "docs/help-c*"\nwhat = ["stdout"]\n'
                 'changes = ["replaced"]\nold = "facets"\nnew = "triangles"\n')
        table.write_text(entry)
        script = '#!/bin/sh\nif [ "$1" = convert ]; then "%s" "$@" | sed s/facets/%s/; else "%s" "$@"; fi\n'
        status, text = self.compared_with(script % (TOOL, "triangles", TOOL), table)
        self.assertEqual(status, 0, text)
        self.assertIn("allowed 2 times: as a test wants it\n", text)
        self.assertEqual(self.compared_with(script % (TOOL, "trianglez", TOOL), table)[0], 1)

    def test_an_entry_that_allows_nothing_is_stale_in_a_whole_run(self):
        table = self.folder / "stale.toml"
        table.write_text('[[difference]]\nreason = "long ago"\nscene = "*"\nwhat = ["*"]\nchanges = ["any"]\n')
        self.assertEqual(self.compare(table, "--against", self.frozen, "--new", TOOL)[0], 0)
        whole, compare_versions.Comparison.whole = compare_versions.Comparison.whole, lambda self: True
        self.addCleanup(setattr, compare_versions.Comparison, "whole", whole)
        status, text = self.compare(table, "--against", self.frozen, "--new", TOOL)
        self.assertEqual(status, 1)
        self.assertIn("stale", text)


class Changes(unittest.TestCase):
    def alike(self, change, old, new, **entry):
        return compare_versions.alike(old, new, {"changes": [change], **entry})

    def test_nan_bits(self):
        def stl(word, last=0):
            return b"\0" * 80 + struct.pack("<i11fI", 1, *[1.5] * 11, word) + bytes([last, 0])
        self.assertTrue(self.alike("nan-bits", stl(0xffc00000), stl(0x7fc00000)))
        self.assertFalse(self.alike("nan-bits", stl(0xff800000), stl(0x7fc00000)))
        self.assertFalse(self.alike("nan-bits", stl(0xffc00000), stl(0x7fc00000, 1)))

    def test_last_digit(self):
        value = math.cos(1.0)
        texts = [f'"x": {v!r}, "n": 3\n'.encode() for v in (value, math.nextafter(value, 2), math.nextafter(value, 0))]
        self.assertTrue(self.alike("last-digit", texts[0], texts[1]))
        self.assertFalse(self.alike("last-digit", texts[2], texts[1]))
        self.assertTrue(self.alike("last-digit", texts[2], texts[1], steps=2))
        self.assertFalse(self.alike("last-digit", texts[0], texts[0].replace(b"3", b"4")))
        self.assertFalse(self.alike("last-digit", texts[0], texts[0].replace(b"n", b"m")))

    def test_line_order(self):
        self.assertTrue(self.alike("line-order", b"a\nb\n", b"b\na\n"))
        self.assertFalse(self.alike("line-order", b"a\nb\n", b"b\nb\na\n"))


class Plan(unittest.TestCase):
    def test_every_command_is_run_on_examples(self):
        """Each command and verb is started by a scene beside those of its help."""
        with tempfile.TemporaryDirectory() as folder:
            import scenes
            sources = pathlib.Path(folder) / "sources"
            sources.mkdir()
            scenes.make_sources(sources, SOURCE)
            plan = scenes.Plan(sources, TOOL, None)
        started = [step["run"] for scene in plan.scenes if scene.group not in ("help", "docs") for step in scene.steps
                   if "run" in step]
        # The first ones are the same everywhere; the others version 0.1.0 does not know.
        plain = ("explain", "params", "completion", "version", "help", "repair", "slice", "estimate", "render", "report", "fleet")
        fresh = (("slc", "png"), ("slc", "sheet"), ("slc", "area"), ("slc", "diff"))
        for words in plan.commands:
            if words[0] not in plain and tuple(words) not in fresh:
                self.assertTrue(any(tuple(run[:len(words)]) == words for run in started), words)
        self.assertEqual(json.loads(json.dumps(plan.data())), plan.data())


if __name__ == "__main__":
    unittest.main()
