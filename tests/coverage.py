#!/usr/bin/env python3
"""tests/coverage.py: how much of what reads files is run by the tests, the mutants and the fuzz corpus.

Builds the preset `coverage`, runs the tests of the readers, the mutants, and the fuzz harnesses over their seeds, over
tests/regressions/fuzz and over what fuzz/soak has collected in build/fuzz/corpus, and prints lines and branches
(without those of exceptions) of every reader source. Fails below the marks."""

import argparse
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "coverage"
LINES, BRANCHES = 95.0, 85.0  # the marks, in per cent
FORMATS = "stl ctl slc build_style recoat_style legacy_recoat_style side_file".split()
SUITES = "foundation geometry styles recoat setup faults".split()
READERS = """foundation/bounded_read.h foundation/bytes.cpp foundation/triangle_bag.cpp geometry/ctl_packing.cpp
geometry/mesh_file.cpp geometry/slc_file.cpp geometry/slc_contours.cpp geometry/stl_import.cpp geometry/stl_text.cpp
geometry/vertex_merge.cpp recoat/legacy_recoat_style.cpp recoat/recoat_style_file.cpp setup/model_side_file.cpp
styles/build_style_layouts.cpp styles/parameter_record.cpp styles/style_file.cpp styles/style_file.h
styles/style_bytes.cpp styles/style_bytes.h styles/style_layout.cpp styles/style_layout.h""".split()


def run(command, **more):
    print("+", " ".join(str(c) for c in command[:6]), flush=True)
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **more)


def exercise(quick):
    for old in BUILD.rglob("*.gcda"):
        old.unlink()
    seeds = BUILD / "fuzz" / "seeds"
    env = dict(os.environ, TRQ_SEEDS=str(seeds))
    run([BUILD / "bin" / "make_seeds", seeds])
    for suite in SUITES:
        run([BUILD / "bin" / f"{suite}_tests", "--gtest_brief=1"], env=env)
    for name in FORMATS:
        run([BUILD / "bin" / "mutants", name, "500" if quick else "2000", "1", seeds])
        folders = [seeds / name, ROOT / "tests" / "regressions" / "fuzz" / name, ROOT / "build" / "fuzz" / "corpus" / name]
        run([BUILD / "bin" / "fuzz_run", name, *(f for f in folders if f.is_dir())])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quick", action="store_true", help="fewer mutants")
    parser.add_argument("--no-build", action="store_true", help="use build/coverage as it is")
    parser.add_argument("--no-run", action="store_true", help="report on the last run")
    options = parser.parse_args()
    if not options.no_build:
        subprocess.run(["cmake", "--preset", "coverage"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
        targets = ["make_seeds", "mutants", "fuzz_run"] + [f"{s}_tests" for s in SUITES]
        subprocess.run(["cmake", "--build", "--preset", "coverage", "--target", *targets], cwd=ROOT, check=True,
                       stdout=subprocess.DEVNULL)
    if not options.no_run:
        exercise(options.quick)
    command = ["gcovr", "--root", ROOT, "--exclude-throw-branches", "--exclude-unreachable-branches", "--json-summary", "-"]
    for source in READERS:
        command += ["--filter", str(ROOT / source) + "$"]
    command.append(BUILD / "CMakeFiles" / "trq_objects.dir")
    report = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    for row in report["files"]:
        print(f"{row['filename']:40} {row['line_covered']:5}/{row['line_total']:<5} lines {row['line_percent']:6.1f} %  "
              f"{row['branch_covered']:5}/{row['branch_total']:<5} branches {row['branch_percent'] or 100.0:6.1f} %")
    lines, branches = report["line_percent"], report["branch_percent"]
    print(f"readers: lines {lines:.1f} % (mark {LINES:.0f}), branches {branches:.1f} % (mark {BRANCHES:.0f})")
    return 0 if lines >= LINES and branches >= BRANCHES else 1


if __name__ == "__main__":
    sys.exit(main())
