"""Real files through info and convert, against figures of an independent reader. Runs when a corpus is configured."""
import json
import os
import pathlib
import struct
import unittest

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
                if rule["code"] != 0:
                    self.assertEqual((result.exit, converted.exit), (INPUT, INPUT))
                    continue
                self.assertEqual(result.exit, DONE, result.err)
                data = result.document()["data"]
                self.assertEqual(data["facets"], rule["facets"])
                if rule["facets"] == 0:
                    self.assertEqual(converted.exit, INPUT)
                    continue
                self.assertEqual(converted.exit, DONE, converted.err)
                self.assertEqual(self.json_of("info", "out.ctl")["facets"], rule["facets"])
                shape = entry["measured"].get("geometry")
                if not shape or rule.get("nan") or shape["facets"] != rule["facets"]:
                    continue
                self.assertLessEqual(shape["merge_lower_bound"], data["vertices"])
                self.assertLessEqual(data["vertices"], shape["distinct_vertices"])
                if shape["merge_lower_bound"] != shape["distinct_vertices"] or shape["nonfinite_facets"]:
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
                self.assertEqual((data["z"]["first"], struct.pack("<f", data["z"]["end"])),
                                 (measured["z_first"], struct.pack("<f", measured["terminator_z"])))
                self.assertTrue(self.json_of("slc", "verify", path)["same"])
                self.good("slc", "svg", path, "--layer", "1", "-o", "layer.svg", "--force")


if __name__ == "__main__":
    unittest.main()
