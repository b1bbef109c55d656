"""What the documents show exists: links lead to files and to headings, code of the README is code of the examples.

The commands they show are run by tests/command_line/help_test.py.
"""

import glob
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\(([^)#\s]*)(?:#([^)]*))?\)")


def documents():
    found = [os.path.join(ROOT, "README.md"), os.path.join(ROOT, "CHANGELOG.md")]
    return found + sorted(glob.glob(os.path.join(ROOT, "docs", "**", "*.md"), recursive=True))


def read(path):
    with open(path, encoding="utf-8") as f:
        return f.read()


def anchors(path):
    headings = re.findall(r"^#+ (.*)$", BLOCK.sub("", read(path)), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-") for heading in headings}


class Documents(unittest.TestCase):
    def test_links_lead_to_files_and_headings(self):
        seen = 0
        for path in documents():
            for target, anchor in LINK.findall(BLOCK.sub("", read(path))):
                if re.match(r"[a-z]+:", target) or re.match(r"(\.\./)?reference/", target):
                    continue  # those of reference/ are made with the site, and checked in it
                file = os.path.normpath(os.path.join(os.path.dirname(path), target)) if target else path
                self.assertTrue(os.path.exists(file), path + ": " + target)
                if anchor:
                    self.assertIn(anchor, anchors(file), path)
                seen += 1
        self.assertGreater(seen, 0)

    def test_cpp_blocks_of_the_readme_are_lines_of_the_examples(self):
        programs = "".join(read(p) for p in sorted(glob.glob(os.path.join(ROOT, "examples", "*.cpp"))))
        blocks = [text for kind, text in BLOCK.findall(read(os.path.join(ROOT, "README.md"))) if kind == "cpp"]
        self.assertTrue(blocks)
        for text in blocks:
            self.assertIn(text, programs)

    def test_commands_of_the_readme_stand_where_they_are_run(self):
        for kind, text in BLOCK.findall(read(os.path.join(ROOT, "README.md"))):
            if kind not in ("sh", "console", "bash"):
                self.assertIsNone(re.search(r"^(\$ )?trqprep ", text, re.MULTILINE), text)

    def test_scripts_that_documents_name_exist(self):
        for path in documents():
            for name in re.findall(r"`((?:scripts|\.ci)/[\w.-]+)", read(path)):
                self.assertTrue(os.path.exists(os.path.join(ROOT, name)), path + ": " + name)


if __name__ == "__main__":
    unittest.main()
