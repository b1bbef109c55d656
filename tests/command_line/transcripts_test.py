"""The console blocks of the documents: commands behind "$ ", each followed by what it prints, on either stream.

A line of three dots stands for any lines; " # exit N" behind a command says how it ends. The blocks of a document are run from top
to bottom in one folder, in which examples/ is, and files whose content the document shows.

transcripts_test.py --write [PAGE...] fills in what the commands print now where the page has no dots.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["TRQ_SOURCE_DIR"])
TOOL = pathlib.Path(os.environ["TRQPREP"])
SHOWN = re.compile(r"`([\w.-]+)`:\n\n```toml\n(.*?)^```|^```console\n(.*?)^```", re.S | re.M)


def pages():
    return [page for page in sorted((SOURCE / "docs").rglob("*.md")) if "\n```console\n" in page.read_text()]


def steps(block):
    """The commands of a block, each with the lines that follow it."""
    found = []
    for line in block.splitlines():
        if found and found[-1][0].endswith("\\"):
            found[-1] = (found[-1][0] + "\n" + line, [])
        elif line.startswith("$ "):
            found.append((line[2:], []))
        else:
            found[-1][1].append(line)
    return found


def matches(lines, wanted):
    """Whether the lines are those wanted, of which "..." is any number."""
    pattern = "".join("(?:.*\n)*?" if line == "..." else re.escape(line) + "\n" for line in wanted)
    return re.fullmatch(pattern, "".join(line + "\n" for line in lines)) is not None


def run_page(page, see):
    """Runs a page in a folder of its own; `see` gets each command, its exit code, what it printed and what the page says."""
    text = page.read_text()
    environment = dict(os.environ, PATH=f"{TOOL.parent}{os.pathsep}{os.environ['PATH']}", LC_ALL="C")
    with tempfile.TemporaryDirectory(prefix="trqprep-page-") as folder:
        (pathlib.Path(folder) / "examples").symlink_to(SOURCE / "examples")
        for name, content, block in SHOWN.findall(text):
            if name:
                (pathlib.Path(folder) / name).write_text(content)
                continue
            for command, wanted in steps(block):
                done = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=600)
                see(command, done.returncode, done.stdout.rstrip("\n").splitlines(), wanted)


def wanted_code(command):
    said = re.search(r" # exit (\d+)$", command)
    return int(said.group(1)) if said else 0


class Transcripts(unittest.TestCase):
    def test_the_pages_show_what_happens(self):
        seen = 0
        for page in pages():
            with self.subTest(page.name):
                def see(command, code, printed, wanted):
                    nonlocal seen
                    seen += 1
                    self.assertEqual(code, wanted_code(command), command + "\n" + "\n".join(printed))
                    if not matches(printed, wanted):
                        self.assertEqual(printed, wanted, command)
                run_page(page, see)
        self.assertGreater(seen, 30)

    def test_what_matches(self):
        for lines, wanted, result in (
                ([], [], True), (["a"], [], False), ([], ["a"], False), (["a", "b"], ["a", "b"], True),
                (["a", "b", "c"], ["a", "...", "c"], True), (["a", "b", "c"], ["...", "b"], False), ([], ["..."], True),
                (["a.c"], ["a.c"], True), (["abc"], ["a.c"], False)):
            self.assertEqual(matches(lines, wanted), result, (lines, wanted))

    def test_blocks_are_told_apart(self):
        self.assertEqual(steps("$ a b\nx\n$ c\n"), [("a b", ["x"]), ("c", [])])
        self.assertEqual(steps("$ a \\\n  b\nx\n"), [("a \\\n  b", ["x"])])
        self.assertEqual(wanted_code("trqprep check a.stl # exit 1"), 1)


def write(page):
    texts = []

    def see(command, code, printed, wanted):
        if code != wanted_code(command):
            print(f"{page.name}: {command}: ended with {code}\n" + "\n".join(printed), file=sys.stderr)
        texts.append((command, printed if "..." not in wanted else wanted))
    run_page(page, see)

    def fill(match):
        if not match.group(3):
            return match.group(0)
        lines = []
        for command, _ in steps(match.group(3)):
            said, output = texts.pop(0)
            assert said == command
            lines += ["$ " + command, *output]
        return "```console\n" + "".join(line.rstrip() + "\n" for line in lines) + "```"
    page.write_text(SHOWN.sub(fill, page.read_text()))


if __name__ == "__main__":
    if sys.argv[1:2] == ["--write"]:
        for each in map(pathlib.Path, sys.argv[2:]) if sys.argv[2:] else pages():
            write(each)
    else:
        unittest.main()
