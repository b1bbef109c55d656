"""Tests run the library's code as it is compiled into the library: none includes a header of its rooms that rounds numbers
in inline code, of which the test would have a copy of its own, made at another level. tests/bits is there for such code.
"""

import glob
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
ROOMS = "host foundation geometry styles recoat setup placement".split()
TESTS = "tests fuzz".split()

INCLUDE = re.compile(r'^#include "((?:%s)/[\w/.]+)"' % "|".join(ROOMS), re.MULTILINE)
# A conversion to float, or a function that returns one and has its body there.
ROUNDS = re.compile(r"static_cast<float>\(|\b(?:float|VECTOR|PbVec[23]f) \w+\([^;{}]*\)[^;{}]*\{")


def sources(folders):
    for folder in folders:
        for path in glob.glob(os.path.join(ROOT, folder, "**", "*"), recursive=True):
            if path.endswith((".h", ".cpp")):
                with open(path, encoding="utf-8") as f:
                    yield os.path.relpath(path, ROOT), re.sub(r"//.*", "", f.read())


def rounding_headers(headers):
    """Names of the headers that round, or include one that does."""
    found = {name for name, text in headers.items() if ROUNDS.search(text)}
    while True:
        more = {name for name, text in headers.items() if name not in found and found & set(INCLUDE.findall(text))}
        if not more:
            return found
        found |= more


class InlineCode(unittest.TestCase):
    def test_tests_have_no_copy_of_it(self):
        headers = {name: text for name, text in sources(ROOMS) if name.endswith(".h")}
        rounding = rounding_headers(headers)
        self.assertIn("geometry/placed_points.h", rounding)
        for name, text in sources(TESTS):
            self.assertEqual(set(INCLUDE.findall(text)) & rounding, set(), name)

    def test_applications_have_no_copy_of_it_either(self):
        for name, text in sources(["include"]):
            self.assertNotIn("static_cast<float>(", text, name)

    def test_the_check_finds_it(self):
        headers = {"geometry/a.h": "inline float Half(float v) { return v / 2; }",
                   "geometry/b.h": '#include "geometry/a.h"\nint f();',
                   "geometry/c.h": "float Declared(float v);\nint Whole(double v) { return static_cast<int>(v); }",
                   "geometry/d.h": "void Set(float& v, double d) { v = static_cast<float>(d); }"}
        self.assertEqual(rounding_headers(headers), {"geometry/a.h", "geometry/b.h", "geometry/d.h"})


if __name__ == "__main__":
    unittest.main()
