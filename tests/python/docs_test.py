"""docs/python.md says what happens: its examples are run in a folder with the parts and styles they name."""

import contextlib
import doctest
import io
import os
import re
import shutil
import warnings

from conftest import PARTS, SOURCE, STYLES


def test_the_tutorial(tmp_path, monkeypatch):
    for folder in (PARTS, STYLES):
        for name in os.listdir(folder):
            shutil.copy(os.path.join(folder, name), tmp_path)
    monkeypatch.chdir(tmp_path)
    with warnings.catch_warnings():
        warnings.simplefilter("default")
        failed, tried = doctest.testfile(os.path.join(SOURCE, "docs", "python.md"), module_relative=False,
                                         optionflags=doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE)
    assert tried > 20
    assert failed == 0


def test_the_lines_of_the_readme_run(tmp_path, monkeypatch):
    with open(os.path.join(SOURCE, "README.md"), encoding="utf-8") as file:
        block, = re.findall(r"^```python\n(.*?)^```", file.read(), re.S | re.M)
    os.symlink(os.path.join(SOURCE, "examples"), tmp_path / "examples")
    monkeypatch.chdir(tmp_path)
    said = io.StringIO()
    with contextlib.redirect_stdout(said), warnings.catch_warnings():
        warnings.simplefilter("ignore")
        exec(compile(block, "README.md", "exec"), {})
    assert "[60. 40. 45.]" in said.getvalue()
    assert (tmp_path / "plate" / "build.json").exists() and (tmp_path / "part.slc").exists()
