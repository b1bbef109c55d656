"""docs/python.md says what happens: its examples are run in a folder with the parts and styles they name."""

import doctest
import os
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
