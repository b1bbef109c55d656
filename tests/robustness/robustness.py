"""Prints every robustness figure beside its mark; scripts/robustness builds what it needs and starts it."""
import argparse
import ast
import importlib
import os
import pathlib
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "command_line"))

import figures  # noqa: E402

# A module each, in the order in which they are printed; what takes long comes last.
NAMES = ["bombs", "worst", "plates", "styles", "corpus", "corpus_memory", "shelf", "repair", "slices", "saving", "kills", "allocations",
         "mutants", "tool_mutants", "attack", "threads", "bits", "systems", "valgrind", "address_space", "answers", "coverage", "fuzz"]


def main():
    parser = argparse.ArgumentParser(prog="scripts/robustness", description=__doc__.split(";")[0] + ".")
    parser.add_argument("--list", action="store_true", help="name the figures and what they are")
    parser.add_argument("--only", metavar="NAME", action="append", choices=NAMES, help="this figure alone")
    parser.add_argument("--quick", action="store_true", help="everything in miniature, in a few minutes")
    parser.add_argument("--corpus", metavar="DIR", help="folder of real STL and SLC files with their indexes")
    options = parser.parse_args()
    if options.list:
        for name in NAMES:
            # Read, not imported: nothing has to be built to tell what there is.
            text = ast.get_docstring(ast.parse((HERE / f"figure_{name}.py").read_text()))
            print(f"{name:16} {text.splitlines()[0]}")
        return 0

    report = figures.Report(options.quick, options.corpus)
    # The tests' own tools are used here too; they find the program by these.
    os.environ["TRQPREP"] = str(report.tool)
    os.environ["TRQ_SOURCE_DIR"] = str(figures.SOURCE)
    left_out = 0
    try:
        for name in options.only or NAMES:
            start = time.monotonic()
            try:
                importlib.import_module("figure_" + name).measure(report)
            except figures.LeftOut as reason:
                left_out += 1
                print(f"left out {name}: {reason}", flush=True)
            if time.monotonic() - start > 60:
                print(f"        ({name} took {time.monotonic() - start:.0f} s)", flush=True)
    finally:
        report.close()
    binding = [name for name, binds in report.missed if binds]
    print(f"{len(report.missed)} marks missed" + (f", {left_out} figures left out" if left_out else ""))
    return 1 if binding else 0


if __name__ == "__main__":
    sys.exit(main())
