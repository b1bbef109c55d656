"""What the documents of job files, machine profiles and build folders say is so."""
import hashlib
import json
import re
import shutil
import unittest

from support import *

FORMATS = SOURCE / "docs" / "formats"


def blocks(document, kind):
    return re.findall(rf"^```{kind}\n(.*?)^```$", (FORMATS / document).read_text(), re.S | re.M)


def keys(value, above=""):
    """The keys of a JSON value, as "inputs.styles.file"."""
    if isinstance(value, dict):
        for key, inner in value.items():
            yield above + key
            yield from keys(inner, above + key + ".")
    elif isinstance(value, list):
        for inner in value:
            yield from keys(inner, above)


class Formats(ToolTest):
    def build(self):
        for name in ("parts/bracket.stl", "parts/ring.stl", "styles/Fine.sty", "styles/ThreeSweeps.rcs"):
            shutil.copy(SOURCE / "examples" / name, self.folder)
        self.write("job.toml", blocks("job-file.md", "toml")[0])
        self.good("build", "job.toml", "-o", "out")
        return (self.folder / "out" / "build.json").read_text()

    def test_the_example_job_becomes_the_job_of_its_folder(self):
        self.build()
        self.assertEqual((self.folder / "out" / "build.toml").read_text(), blocks("job-file.md", "toml")[1])

    def test_every_key_of_a_job_is_in_the_document_and_the_other_way_round(self):
        fields = set(re.findall(r'^ +\{"([\w-]+)", (?:nullptr|")', (SOURCE / "prep/plate/job.cpp").read_text(), re.M))
        self.assertIn("rotate-z", fields)
        process = re.findall(r'^ +\{"([\w-]+)", "', (SOURCE / "prep/styles/machine_process.cpp").read_text(), re.M)
        self.assertIn("power", process)
        fields |= set(process)
        profiles = (FORMATS / "machine-profiles.md").read_text()
        self.assertEqual(set(re.findall(r"^\| `([\w-]+)`", profiles, re.M)), {"type", "vat", "styles", *process})
        rows = set(re.findall(r"^\| `(?:\[\[)?(?:part\.)?([\w-]+)", (FORMATS / "job-file.md").read_text(), re.M))
        self.assertEqual(rows, fields | {"schema", "band", "damage", "upgraded"})

    def test_the_folder_holds_the_files_of_the_document_and_nothing_else(self):
        self.build()
        example = (FORMATS / "build-folder.md").read_text().split("## Worked example")[1].split("```")[0]
        said = {name for name in re.findall(r"`([^`\s]+)`", example) if "." in name}
        there = {str(p.relative_to(self.folder / "out")) for p in (self.folder / "out").rglob("*") if p.is_file()}
        self.assertEqual(there, said)

    def test_the_example_piece_stands_in_build_json(self):
        self.assertIn(blocks("build-folder.md", "json")[0], self.build())

    def test_the_sum_is_taken_as_the_document_says(self):
        text = self.build()
        end = text.index(',\n  "sum": ')
        self.assertEqual(hashlib.sha256((text[:end] + "\n}\n").encode()).hexdigest(), json.loads(text)["sum"])

    def test_every_key_of_build_json_and_checks_json_is_in_the_document(self):
        self.build()
        page = (FORMATS / "build-folder.md").read_text()
        for name, heading in (("build.json", "## build.json"), ("checks.json", "## checks.json")):
            section = page.split(heading + "\n")[1].split("\n## ")[0]
            rows = [line.split(" | ", 1) for line in section.splitlines() if line.startswith("| `")]
            documents = [json.loads((self.folder / "out" / name).read_text())]
            documents += [json.loads(p.read_text()) for p in (SOURCE / "tests/data/builds-0.1.0").glob("*/" + name)]
            self.assertGreater(len(documents), 1)
            said = {key for row in rows for key in re.findall(r"`([\w.]+)`", row[0])}
            inside = {(key, word) for row in rows for key in re.findall(r"`([\w.]+)`", row[0])
                      for word in re.findall(r"`(\w+)`", row[1])}
            for key in {key for document in documents for key in keys(document)}:
                above, _, last = key.rpartition(".")
                if key.startswith("findings.where."):
                    continue  # other numbers with every code
                self.assertTrue(key in said or (above, last) in inside, key)

    def test_the_example_machines_are_profiles(self):
        self.write("workshop.toml", blocks("machine-profiles.md", "toml")[0])
        listed = self.json_of("machines", "--machines", "workshop.toml")["profiles"]
        self.assertEqual([entry["name"] for entry in listed], ["lab", "small one"])
        self.assertEqual(listed[0]["style_root"], "/srv/styles")

    def test_styles_are_found_below_the_style_root_as_the_document_says(self):
        shutil.copy(SOURCE / "examples" / "parts" / "ring.stl", self.folder)
        folder = re.search(r"for TRQ-E7\s+that\s+is\s+`(\S+)/`", (FORMATS / "machine-profiles.md").read_text()).group(1)
        (self.folder / "root" / folder).mkdir(parents=True)
        shutil.copy(SOURCE / "examples" / "styles" / "Fine.sty", self.folder / "root" / folder)
        self.write("workshop.toml", '[lab]\ntype = "TRQ-E7"\nvat = "120x120x100mm"\nstyles = "root"\n')
        self.good("build", "ring.stl", "--machines", "workshop.toml", "--style", "Fine.sty", "--rotations", "1",
                  "--force-checks", "-o", "out")
        self.assertTrue((self.folder / "out" / "styles" / "Fine.sty").exists())


if __name__ == "__main__":
    unittest.main()
