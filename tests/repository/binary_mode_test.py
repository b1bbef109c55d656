"""Files are opened in binary mode: systems with a text mode would turn line feeds into pairs and stop at a byte 26. The
library opens them in one place, where the rule for names with backslashes stands.
"""

import glob
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FOLDERS = "include host foundation companions geometry styles recoat setup placement prep tools examples".split()

# A mode stands as a text of its own, also where it is handed on; streams say it by name.
MODE = re.compile(r'"[rwa][+btexcm]*"')
# A key of parts, in braces of a table's row.
ROW = re.compile(r'\{"at", "at",')
STREAM = re.compile(r"\b[io]?fstream\b[^;]*;")


def openings(text):
    """The modes and the statements with a file stream of a source, each with whether it is binary."""
    text = re.sub(r"^\s*(//|#include).*", "", text, flags=re.MULTILINE)
    text = ROW.sub("{", text)
    return ([(mode, "b" in mode) for mode in MODE.findall(text)] +
            [(statement, "ios::binary" in statement) for statement in STREAM.findall(text)])


class BinaryMode(unittest.TestCase):
    def test_every_file_is_opened_in_it(self):
        found = 0
        for folder in FOLDERS:
            for path in glob.glob(os.path.join(ROOT, folder, "**", "*"), recursive=True):
                if not path.endswith((".h", ".cpp")):
                    continue
                with open(path, encoding="utf-8") as f:
                    for what, binary in openings(f.read()):
                        found += 1
                        self.assertTrue(binary, "%s: %s" % (os.path.relpath(path, ROOT), what))
        self.assertGreater(found, 20)

    def test_the_library_opens_in_one_place(self):
        found = set()
        for folder in "include/trq host foundation geometry styles recoat setup placement".split():
            for path in glob.glob(os.path.join(ROOT, folder, "**", "*"), recursive=True):
                if not path.endswith((".h", ".cpp")):
                    continue
                with open(path, encoding="utf-8") as f:
                    if re.search(r"\b(fopen|freopen|_?w?s?open|_wfopen|fdopen|CreateFileW?)\(|\b[io]?fstream\b", re.sub(r"//.*", "", f.read())):
                        found.add(os.path.relpath(path, ROOT))
        # One place a system, and the user table of one of them.
        self.assertEqual(found, {"host/file_services_posix.cpp", "host/file_services_windows.cpp", "host/system_posix.cpp"})

    def test_the_check_finds_what_is_not(self):
        text = 'fopen(p, "w"); Open(p, "rt"); Open(p, "a+"); // fopen(p, "w")\n  // "r"\nOpen(p, "rb+"); Say("wrong");\n'
        self.assertEqual([binary for _, binary in openings(text)], [False, False, False, False, True])
        text = "#include <fstream>\nstd::ifstream a(p); std::ofstream b(p, std::ios::binary);"
        self.assertEqual([binary for _, binary in openings(text)], [False, True])


if __name__ == "__main__":
    unittest.main()
