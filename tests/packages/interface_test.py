"""The binary interface of the library as it was built: its name has the number that abi/ describes, and it exports every
function and object that stands there. scripts/abi compares types and arguments as well. Versions agree wherever one is named."""
import os
import pathlib
import re
import subprocess
import unittest
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LIBRARY = os.environ["TRQ_LIBRARY"]
VERSION = os.environ["TRQ_VERSION"]


class Interface(unittest.TestCase):
    def setUp(self):
        (self.path,) = (ROOT / "abi").glob("*.abi")
        self.described = ElementTree.parse(self.path).getroot()

    def test_the_name_is_the_one_described(self):
        told = subprocess.run(["objdump", "-p", LIBRARY], check=True, capture_output=True, text=True).stdout
        soname = re.search(r"SONAME\s+(\S+)", told).group(1)
        self.assertEqual(self.path.name, soname + ".abi")
        self.assertEqual(self.described.get("soname"), soname)

    def test_everything_described_is_exported(self):
        told = subprocess.run(["nm", "-D", "--defined-only", LIBRARY], check=True, capture_output=True, text=True).stdout
        exported = {line.split()[-1] for line in told.splitlines()}
        # What a program compiles for itself, inline functions and the like, is weak or unique: it may be here or not.
        described = {symbol.get("name") for symbol in self.described.iter("elf-symbol")
                     if symbol.get("binding") == "global-binding" and symbol.get("is-defined") == "yes"}
        self.assertGreater(len(described), 300)
        self.assertEqual(sorted(described - exported), [])

    def test_what_is_exported_is_described(self):
        told = subprocess.run(["nm", "-D", "--defined-only", LIBRARY], check=True, capture_output=True, text=True).stdout
        strong = {line.split()[-1] for line in told.splitlines() if line.split()[-2] in "TDBR"}
        described = {symbol.get("name") for symbol in self.described.iter("elf-symbol")}
        self.assertEqual(sorted(strong - described), [], "scripts/abi --update describes what is new")


class Versions(unittest.TestCase):
    def test_every_place_names_the_same(self):
        changelog = (ROOT / "packaging" / "debian" / "changelog").read_text()
        self.assertEqual(re.match(r"trqshareddll \((.*)-\d+\)", changelog).group(1), VERSION)
        headings = re.findall(r"^## (.*)$", (ROOT / "CHANGELOG.md").read_text(), re.M)
        self.assertEqual([heading for heading in headings if heading != "Unreleased"][0], VERSION)


if __name__ == "__main__":
    unittest.main()
