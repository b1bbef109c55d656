"""Files and folders that comments and documents name exist."""

import glob
import os
import re
import subprocess
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Names of what the project itself is made of; those of styles, meshes and reports are examples and outputs.
FILE = re.compile(r"(?<![\w./<>$}\\*-])((?:[\w.-]+/)*\w[\w.-]*\.(?:md|h|cpp|py|cmake))(?![\w/*(-]|\.\w)")
GENERATED = {"export.h"}
MADE_WITH_THE_SITE = ("reference/", "../reference/")
BLOCK = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
COMMENT = {
    ".cpp": re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL),
    ".py": re.compile(r"(?m:^\s*#[^\n]*)|(?m:^\s*r?\"\"\").*?\"\"\"", re.DOTALL),
    ".txt": re.compile(r"#[^\n]*"),
}
COMMENT[".h"] = COMMENT[".cpp"]
COMMENT[".cmake"] = COMMENT[".toml"] = COMMENT[""] = COMMENT[".txt"]


def tracked(root):
    listed = subprocess.run(["git", "-C", root, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            check=True, stdout=subprocess.PIPE).stdout.decode()
    return [path for path in listed.split("\0") if path and os.path.isfile(os.path.join(root, path))]


def prose(path, text):
    """What a file says to its reader: its comments; of a document all but the code blocks."""
    ending = os.path.splitext(path)[1]
    if ending == ".md":
        return BLOCK.sub("", text)
    if ending not in COMMENT or ending == "" and not text.startswith("#!"):
        return ""
    return "\n".join(COMMENT[ending].findall(text))


def dangling(path, text, folders, has_path, names):
    """Names in the file at `path` that lead nowhere. `folders`: those of the root, below which folders and scripts are
    found; `has_path`: whether a path from the root exists, in which * stands for anything; `names`: of all files."""
    inside = re.compile(r"(?<![\w./<>$}{\\-])((?:%s)/(?:[\w*<>.-]+/)*(?:[\w*<>-]+)?)(?![\w.*<>-]*\.\w)"
                        % "|".join(map(re.escape, folders)))
    spoken = prose(path, text)
    found = []
    for name in sorted(set(FILE.findall(spoken)) | set(inside.findall(spoken))):
        anything = re.sub(r"<\w+>", "*", name)
        places = ("", os.path.dirname(path), "include", "tests")
        if "/" not in name and name in names | GENERATED or name.startswith(MADE_WITH_THE_SITE):
            continue
        if not any(has_path(os.path.normpath(os.path.join(place, anything))) for place in places):
            found.append(name)
    return found


class Check(unittest.TestCase):
    def dangling(self, path, text):
        there = {"docs/formats/ctl.md", "docs/formats", "geometry/mesh.h", "include/trq/geometry.h", "tests/mutants"}
        return dangling(path, text, ["docs", "geometry", "tests"], there.__contains__, {"ctl.md", "mesh.h", "geometry.h"})

    def test_comments_and_documents_are_read_code_is_not(self):
        self.assertEqual(self.dangling("a.cpp", '#include "no.h"\nint x;  // as in yes/no.h'), ["yes/no.h"])
        self.assertEqual(self.dangling("a.py", 'import x  # no.py\n"""As in no.cpp."""\n  # gone.py\n'), ["gone.py", "no.cpp"])
        self.assertEqual(self.dangling("a.md", "`no.md`\n```\ngone.md\n```\n"), ["no.md"])
        self.assertEqual(self.dangling("tool", "#!/bin/sh\n# docs/no\necho docs/none\n"), ["docs/no"])

    def test_paths_from_the_root_the_file_and_the_include_folder_and_bare_names_are_found(self):
        self.assertEqual(self.dangling("docs/formats/slc.md", "ctl.md, `docs/formats/ctl.md`, mesh.h, trq/geometry.h"), [])
        self.assertEqual(self.dangling("a.h", "// mesh.h, geometry/mesh.h, tests/mutants/, see geometry/mesh.cpp."),
                         ["geometry/mesh.cpp"])

    def test_parts_of_names_and_names_of_functions_are_no_names(self):
        self.assertEqual(self.dangling("a.md", "`*_test.cpp`, a.h(), <name>.md, part.html"), [])


class ThisTree(unittest.TestCase):
    def test_names_no_file_that_does_not_exist(self):
        files = tracked(ROOT)
        names = {os.path.basename(path) for path in files}
        folders = sorted({path.split("/")[0] for path in files if "/" in path})
        found = []
        for path in files:
            try:
                with open(os.path.join(ROOT, path), encoding="utf-8") as f:
                    text = f.read()
            except UnicodeDecodeError:
                continue
            if path == os.path.relpath(__file__, ROOT):
                continue
            found += ["%s: %s" % (path, name)
                      for name in dangling(path, text, folders, lambda p: bool(glob.glob(os.path.join(ROOT, p))), names)]
        self.assertEqual(found, [])


if __name__ == "__main__":
    unittest.main()
