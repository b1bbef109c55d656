"""Help, man page, completion and reference page come from one option tree and are true."""
import os
import pathlib
import re
import shutil
import subprocess
import unittest

import support
from support import *

TOOL_FOLDER = str(pathlib.Path(support.TOOL).parent)
SHELL_ENVIRONMENT = dict(os.environ, PATH=TOOL_FOLDER + os.pathsep + os.environ["PATH"])


class ExampleFolder(ToolTest):
    """A folder that holds the example files."""

    def prepare(self):
        for folder in ("parts", "styles", "contours"):
            source = SOURCE / "examples" / folder
            if source.is_dir():
                for path in source.iterdir():
                    if path.is_file() and path.suffix != ".py":
                        shutil.copy(path, self.folder)

    def run_line(self, line):
        completed = subprocess.run(["bash", "-c", line], cwd=self.folder, env=SHELL_ENVIRONMENT, capture_output=True,
                                   timeout=1200)
        wanted = 1 if line.endswith("# exit 1") else 0
        self.assertEqual(completed.returncode, wanted, f"{line}\n{completed.stderr.decode(errors='replace')}")


class Examples(ExampleFolder):
    """The two examples of every --help are run, in order."""

    def check_command(self, words):
        result = self.good(*words, "--help")
        text = result.out.decode()
        self.assertIn("\nExamples:\n", text)
        examples = [line.strip() for line in text.split("\nExamples:\n")[1].splitlines()]
        self.assertEqual(len(examples), 2, text)
        self.prepare()
        for line in examples:
            self.assertTrue(line.startswith("trqprep "), line)
            self.run_line(line)
        self.assert_no_leftovers()


def add_example_tests():
    for words in command_names():
        def test(self, words=words):
            self.check_command(words)
        setattr(Examples, "test_" + "_".join(words), test)


add_example_tests()


class Documents(ExampleFolder):
    """Every command block of the README and of the documents; those with outputs are run by transcripts_test.py."""

    def test_command_blocks_of_the_documents_run(self):
        documents = [SOURCE / "README.md", *sorted((SOURCE / "docs").rglob("*.md"))]
        for document in documents:
            if document.name == "trqprep.md":
                continue  # its blocks are the examples of --help
            lines = []
            for block in re.findall(r"^```(?:sh|bash)\n(.*?)^```", document.read_text(), re.S | re.M):
                lines += [l for l in block.replace("\\\n", " ").splitlines() if l.startswith("trqprep ")]
            if not lines:
                continue
            with self.subTest(document.name):
                for path in list(self.folder.iterdir()):
                    shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink()
                self.prepare()
                (self.folder / "examples").symlink_to(SOURCE / "examples")
                # Files whose content the document shows: "..., `NAME`:" before the block.
                for name, content in re.findall(r"`([\w.-]+)`:\n\n```toml\n(.*?)^```", document.read_text(), re.S | re.M):
                    self.write(name, content)
                for line in lines:
                    self.run_line(line)


class Pages(ToolTest):
    def test_the_committed_reference_page_is_current(self):
        page = self.good("help", "--reference-page").out.decode()
        self.assertEqual((SOURCE / "docs" / "trqprep.md").read_text(), page,
                         "run: trqprep help --reference-page > docs/trqprep.md")

    def test_every_command_and_option_is_in_every_page(self):
        page = self.good("help", "--reference-page").out.decode()
        man = self.good("help", "--man-page").out.decode().replace("\\-", "-")
        names = command_names()
        self.assertIn(["build"], names)
        for words in names:
            text = self.good("help", *words).out.decode()
            self.assertEqual(text, self.good(*words, "--help").out.decode())
            section = page.split("### trqprep " + " ".join(words) + "\n")[1].split("\n### ")[0]
            for option in re.findall(r"^  ((?:-\w, )?--[\w-]+)", text, re.M):
                self.assertIn("`" + option, section)
                self.assertIn(option, man)

    def test_the_manual_page_is_sound(self):
        man = self.good("help", "--man-page").out
        if not shutil.which("groff"):
            self.assertTrue(man.startswith(b".TH TRQPREP 1"))
            return
        completed = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z"], input=man, capture_output=True)
        self.assertEqual(completed.stderr, b"")
        text = subprocess.run(["groff", "-man", "-Tascii", "-P-cbou"], input=man, capture_output=True).stdout.decode()
        self.assertIn("trqprep build", text)
        self.assertIn("--rotations", text)

    def test_help_can_be_had_as_json(self):
        document = self.good("build", "--help", "--json").document()
        self.assertIn("Usage: trqprep build", document["data"]["help"])

    def test_version(self):
        self.assertRegex(self.good("version").out.decode(), r"^trqprep \d+\.\d+\.\d+\n$")
        self.assertEqual(self.good("--version").out, self.good("version").out)


class Completion(ToolTest):
    def complete(self, *words):
        script = self.good("completion", "bash").out.decode()
        line = " ".join(f"'{w}'" for w in words)
        program = (f"{script}\nCOMP_WORDS=({line}); COMP_CWORD={len(words) - 1}\n_trqprep 2>/dev/null\n"
                   'printf "%s\\n" "${COMPREPLY[@]}"\n')
        completed = subprocess.run(["bash", "-c", program], cwd=self.folder, capture_output=True)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        return sorted(completed.stdout.decode().split())

    def test_commands(self):
        self.assertIn("build", self.complete("trqprep", "b"))
        self.assertEqual(self.complete("trqprep", "transf"), ["transform"])

    def test_options(self):
        self.assertEqual(self.complete("trqprep", "transform", "--rot"), ["--rotate-x", "--rotate-y", "--rotate-z"])
        self.assertEqual(self.complete("trqprep", "version", "--js"), ["--json"])

    def test_values(self):
        self.assertEqual(self.complete("trqprep", "info", "--units", ""), ["in", "mm"])
        self.assertEqual(self.complete("trqprep", "completion", ""), ["bash", "fish", "zsh"])
        self.assertEqual(self.complete("trqprep", "convert", "a.stl", "--to", "stl"), ["stl", "stl-ascii"])

    def lines(self, *words):
        """What is offered, a word a line: names have blanks, which the shell wants escaped."""
        script = self.good("completion", "bash").out.decode()
        line = " ".join(f"'{w}'" for w in words)
        program = (f"{script}\nCOMP_WORDS=({line}); COMP_CWORD={len(words) - 1}\n_trqprep 2>/dev/null\n"
                   'printf "%s\\n" "${COMPREPLY[@]}"\n')
        return subprocess.run(["bash", "-c", program], cwd=self.folder, capture_output=True,
                              check=True).stdout.decode().splitlines()

    def test_names_of_machines_rules_and_parameters_and_keys_of_parts(self):
        machines = [m["machine"] for m in self.json_of("machines")["machines"]]
        for words in (("machines",), ("build", "--machine"), ("style", "new", "--machine"), ("zcomp", "--machine")):
            found = self.lines("trqprep", *words, "")
            self.assertEqual([name.replace("\\", "") for name in found], machines, words)
        self.assertEqual(self.lines("trqprep", "machines", "MirraPX"),
                         [name.replace(" ", "\\ ").replace("(", "\\(").replace(")", "\\)") for name in machines
                          if name.startswith("MirraPX")])
        rules = [rule["code"] for rule in self.json_of("explain")["rules"]]
        self.assertEqual(self.lines("trqprep", "explain", ""), rules)
        parameters = self.json_of("params")["parameters"]
        names = {kind: [p["name"] for p in parameters if p["kind"] == kind] for kind in ("build style", "recoat style")}
        for words, wanted in ((("params",), names["build style"] + names["recoat style"]),
                              (("style", "get", "a.sty"), names["build style"]),
                              (("style", "show", "a.sty", "--only"), names["build style"]),
                              (("recoat", "copy", "a.rcs", "b.rcs", "--params"), names["recoat style"])):
            self.assertEqual([name.replace("\\", "") for name in self.lines("trqprep", *words, "")], wanted, words)
        self.assertEqual(self.lines("trqprep", "style", "set", "a.sty", "Layer Th"), ["Layer\\ Thickness="])
        for words in (("build",), ("place",), ("build", "box.stl", "--part")):
            self.assertEqual(self.lines("trqprep", *words, "box.stl,"),
                             ["box.stl," + key for key in ("copies=", "copies=fill", "rotate-z=", "units=", "rotations=",
                                                           "rotations=fixed", "at=", "gap=", "plate=", "style=")])
        self.assertEqual(self.lines("trqprep", "build", "box.stl,copies=2,rotate"), ["box.stl,copies=2,rotate-z="])
        self.assertEqual(self.lines("trqprep", "build", "box.stl,rotations=f"), ["box.stl,rotations=fixed"])
        self.assertEqual(self.lines("trqprep", "build", "--plates", ""), ["any"])

    def test_files(self):
        self.write("part.stl", "x")
        self.assertEqual(self.complete("trqprep", "info", "pa"), ["part.stl"])

    def test_the_other_shells_know_every_command(self):
        for shell in ("zsh", "fish"):
            script = self.good("completion", shell).out.decode()
            for words in command_names():
                self.assertIn(words[0], script)
            self.assertIn("rotations", script)
            # Keys of parts, offered by build and place for their parts and by --part.
            (words,) = [line for line in script.splitlines() if " copies= " in line]
            for word in ("copies=fill", "rotations=fixed", "at=", "gap=", "plate="):
                self.assertIn(f" {word}", words)
            self.assertEqual(script.count("_trqprep_words_of_part"), 1 + 4)
            if shutil.which(shell):
                completed = subprocess.run([shell, "-n"], input=script.encode(), capture_output=True)
                self.assertEqual(completed.returncode, 0, completed.stderr)


if __name__ == "__main__":
    unittest.main()
