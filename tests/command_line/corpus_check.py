"""Real files through info and convert, against figures of an independent reader. Runs when a corpus is configured."""
import json
import os
import pathlib
import random
import shutil
import signal
import struct
import subprocess
import time
import unittest

from style_files import *
from support import *

CORPUS = pathlib.Path(os.environ["TRQ_CORPUS"]) / "stl"


class Corpus(ToolTest):
    def test_files(self):
        for entry in json.loads((CORPUS / "index.json").read_text())["files"]:
            path = CORPUS / entry["file"]
            rule = entry["measured"]["rule"]["load_accept_partial_0"]
            with self.subTest(entry["file"]):
                result = self.run_tool("info", path, "--json")
                converted = self.run_tool("convert", path, "--force", "-o", "out.ctl", "--json")
                if rule["code"] is None or rule.get("endless"):
                    self.assertIn(result.exit, (DONE, INPUT))
                    continue
                if rule["code"] != 0 or rule["facets"] == 0:
                    # A text that only this tool reads, or a file that nobody reads.
                    if result.exit == DONE:
                        self.assertEqual(result.codes()[0], "STL-NORMALISED")
                        self.assertEqual(result.document()["data"]["files"][0]["facets"], entry["facets"])
                        self.assertEqual(converted.exit, DONE)
                    else:
                        self.assertEqual((result.exit, converted.exit), (INPUT, INPUT))
                    continue
                self.assertEqual(result.exit, DONE, result.err)
                data, = result.document()["data"]["files"]
                self.assertEqual(data["facets"], rule["facets"])
                self.assertEqual(converted.exit, DONE, converted.err)
                self.assertEqual(self.info_of("out.ctl")["facets"], rule["facets"])
                shape = entry["measured"].get("geometry")
                if not shape or rule.get("nan") or shape["facets"] != rule["facets"]:
                    continue
                self.assertLessEqual(shape["merge_lower_bound"], data["vertices"])
                self.assertLessEqual(data["vertices"], shape["distinct_vertices"])
                if shape["merge_lower_bound"] != shape["distinct_vertices"] or shape.get("nonfinite_facets"):
                    continue
                # The index prints 32-bit values as doubles, the tool as their shortest decimals.
                narrow = lambda values: struct.pack("<3f", *values)
                self.assertEqual(narrow(data["box"]["min"]), narrow(shape["bbox_min"]))
                self.assertEqual(narrow(data["box"]["max"]), narrow(shape["bbox_max"]))
                self.assertAlmostEqual(data["volume"], shape["signed_volume"],
                                       delta=1e-5 * shape["volume_abs_sum"] + 1e-12)
                self.assertAlmostEqual(data["area"], shape["area"], delta=1e-3 * shape["area"] + 1e-12)


class Contours(ToolTest):
    def test_files(self):
        folder = CORPUS.parent / "slc"
        for entry in json.loads((folder / "index.json").read_text())["files"]:
            path = folder / entry["file"]
            if not path.exists():
                continue
            measured = entry["measured"]
            with self.subTest(entry["file"]):
                if measured["result"] != 0:
                    self.fails(INPUT, "slc", "info", path)
                    self.fails(INPUT, "slc", "verify", path)
                    continue
                data = self.json_of("slc", "info", path)
                self.assertEqual(data["layers"], measured["layers"])
                for key, wanted in (("boundaries", "boundaries"), ("vertices", "vertices"), ("gaps", "gaps"),
                                    ("open", "open_boundaries")):
                    self.assertEqual(data[key], measured[wanted], key)
                self.assertAlmostEqual(sum(layer["area"] for layer in data["each_layer"]),
                                       measured["signed_area_sum"], delta=1e-3)
                self.assertEqual((data["start"], struct.pack("<f", data["end"])),
                                 (measured["z_first"], struct.pack("<f", measured["terminator_z"])))
                self.assertTrue(self.json_of("slc", "verify", path)["same"])
                self.good("slc", "svg", path, "--layer", "1", "-o", "layer.svg", "--force")


class CorpusBuild(ToolTest):
    """Twelve parts, sixty copies, two bands of build styles, three of recoat styles."""

    def parts(self):
        chosen = []
        for entry in json.loads((CORPUS / "index.json").read_text())["files"]:
            rule = entry["measured"]["rule"]["load_accept_partial_0"]
            shape = entry["measured"].get("geometry")
            if rule["code"] != 0 or rule.get("nan") or rule.get("endless") or "bbox_min" not in (shape or {}):
                continue
            sides = [b - a for a, b in zip(shape["bbox_min"], shape["bbox_max"])]
            if 100 <= rule["facets"] <= 60000 and max(sides) <= 150 and min(sides) > 2:
                chosen.append((entry["file"], CORPUS / entry["file"]))
        self.assertGreaterEqual(len(chosen), 12)
        return [path for _, path in sorted(chosen)[:12]]

    def test_a_large_build(self):
        for name, data in (("Fine.sty", build_style(0.05)), ("Default.sty", build_style(0.1)),
                           ("Default.rcs", recoat_style(0)), ("Slow.rcs", recoat_style(0, sweeps=2)),
                           ("Mid.rcs", recoat_style(0, sweeps=1))):
            self.write(name, data)
        arguments = [TOOL, "build", *[f"{path},copies=5" for path in self.parts()], "--drop", "--vat", "1200x1200x400mm",
                     "--style", "Default.sty", "--style", "Fine.sty@0:1", "--recoat", "Default.rcs", "--recoat",
                     "Slow.rcs@0:0.5", "--recoat", "Mid.rcs@0.5:1", "--force", "-o", "out"]
        arguments = [os.fspath(a) for a in arguments]
        start = time.monotonic()
        first = subprocess.run(arguments, cwd=self.folder, capture_output=True)
        whole = time.monotonic() - start
        self.assertEqual(first.returncode, 0, first.stderr.decode(errors="replace"))
        document = json.loads(self.path("out/build.json").read_text())
        self.assertEqual((len(document["inputs"]), len(document["pieces"])), (12, 60))
        self.assertEqual([len(i["styles"]) for i in document["inputs"]], [2] * 12)
        self.assertEqual(len(document["recoat"]), 3)
        self.good("verify", "out")
        self.path("elsewhere").mkdir()
        self.good("build", "../out/build.toml", "-o", "again", cwd=self.path("elsewhere"))
        for path in self.path("out").rglob("*"):
            if path.is_file():
                other = self.path("elsewhere/again") / path.relative_to(self.path("out"))
                self.assertEqual(path.read_bytes(), other.read_bytes(), path)
        shutil.rmtree(self.path("elsewhere"))
        shutil.rmtree(self.path("out"))
        chance = random.Random(1)
        for _ in range(20):
            process = subprocess.Popen(arguments, cwd=self.folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(chance.uniform(0, whole * 1.1))
            process.send_signal(signal.SIGKILL)
            process.wait()
            if self.path("out").exists():
                self.good("verify", "out")


if __name__ == "__main__":
    unittest.main()
