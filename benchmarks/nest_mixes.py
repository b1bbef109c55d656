#!/usr/bin/env python3
"""Nesting of parts by whole runs of the tool: nest_mixes.py TRQPREP FOLDER [--json FILE]

A mix is one copy of each of twelve parts of a corpus. How many mixes a plate takes by --engine grid and by --engine nest
(--time 10), with the same gap of 2 mm and margin of 5 mm, on five square vats in steps of 50 mm: the first is the smallest
that takes at least six by grid. Whole mixes are coarse on one vat, hence the sum of all five. And the CPU time of
`place --time 0`, whole processes with reading and proof: 100 and 1000 pieces of the first ten of the parts, 24 turns, on a
square vat that the boxes of these fill by two fifths.

The twelve are the first, by name, of each folder below FOLDER that
- `trqprep check` finds no error in: it is closed,
- has 100 facets or more, so that it is no plain block,
- is 20 to 110 mm wide in X and in Y and at most 200 mm high;
of these the first twelve by name of folder. None is scaled or repaired.
"""
import json
import math
import os
import resource
import subprocess
import sys
from pathlib import Path

PARTS = 12
LEAST_MIXES = 6
HEIGHT = 200
STEP = 50
VATS = 5
APART = ["--gap", "2mm", "--margin", "5mm"]


def run(tool, *arguments):
    """Exit status, the document's data, and CPU seconds."""
    def used():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = used()
    done = subprocess.run([tool, *map(str, arguments), "--json"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          check=False)
    document = json.loads(done.stdout) if done.stdout.strip() else {}
    return done.returncode, document.get("data") or {}, used() - before


def ordinary(tool, path):
    status, data, _ = run(tool, "info", path)
    if status != 0:
        return False
    about = data["files"][0] if "files" in data else data
    sizes = about.get("size_mm") or [0, 0, 0]
    return (about.get("facets", 0) >= 100 and all(20 <= size <= 110 for size in sizes[:2]) and sizes[2] <= HEIGHT
            and run(tool, "check", path)[0] == 0)


def choose(tool, corpus):
    chosen = []
    for folder in sorted(path for path in Path(corpus).iterdir() if path.is_dir()):
        files = sorted(path for path in folder.iterdir() if path.suffix.lower() == ".stl" and "," not in path.name)
        first = next((path for path in files if ordinary(tool, path)), None)
        if first:
            chosen.append(first)
        if len(chosen) == PARTS:
            return chosen
    sys.exit(f"{corpus}: {len(chosen)} parts of ordinary size, {PARTS} are needed")


def place(tool, parts, copies, side, *more):
    """Status, data, CPU seconds."""
    asked = [f"{part},copies={copies}" for part in parts]
    status, data, cpu = run(tool, "place", *asked, "--vat", f"{side}x{side}x{HEIGHT}mm", *APART, *more)
    if status not in (0, 5):
        sys.exit(f"place ended with {status}")
    return status == 0, data, cpu


def mixes(tool, parts, side, start, *more):
    """The largest number of mixes that find places; `start` is where counting begins."""
    count = start
    if place(tool, parts, count, side, *more)[0]:
        while place(tool, parts, count + 1, side, *more)[0]:
            count += 1
        return count
    while count > 0 and not place(tool, parts, count, side, *more)[0]:
        count -= 1
    return count


def compare_engines(tool, parts):
    side = STEP
    while not place(tool, parts, LEAST_MIXES, side, "--engine", "grid")[0]:
        side += STEP
    rows = []
    for side in range(side, side + VATS * STEP, STEP):
        grid = mixes(tool, parts, side, LEAST_MIXES, "--engine", "grid")
        nest = mixes(tool, parts, side, math.ceil(1.5 * grid), "--engine", "nest", "--time", "10")
        rows.append({"side": side, "grid": grid, "nest": nest, "ratio": nest / grid})
        print(f"vat {side} mm square, gap 2 mm, margin 5 mm: grid {grid} mixes of {PARTS}, nest {nest}: "
              f"{nest / grid:.2f} times", flush=True)
    ratio = sum(row["nest"] for row in rows) / sum(row["grid"] for row in rows)
    print(f"all {VATS} vats: {ratio:.2f} times")
    return {"vats": rows, "ratio": ratio}


def time_construction(tool, parts, copies):
    area = 0
    for part in parts:
        size = run(tool, "info", part)[1]["files"][0]["size_mm"]
        area += size[0] * size[1] * copies
    side = STEP * math.ceil(math.sqrt(area / 0.4) / STEP)
    runs = []
    for _ in range(3):
        placed, data, cpu = place(tool, parts, copies, side, "--engine", "nest", "--time", "0", "--rotations", "24")
        runs.append(cpu)
    return {"pieces": len(parts) * copies, "side": side, "placed": placed, "cpu": sorted(runs)[1]}


def main():
    arguments = sys.argv[1:]
    output = arguments.pop(arguments.index("--json") + 1) if "--json" in arguments else None
    arguments = [argument for argument in arguments if argument != "--json"]
    if len(arguments) != 2:
        sys.exit(__doc__.split("\n", maxsplit=1)[0])
    tool, corpus = os.path.abspath(arguments[0]), arguments[1]
    parts = choose(tool, corpus)
    for part in parts:
        print(f"part {part.relative_to(corpus)}")
    construction = [time_construction(tool, parts[:10], copies) for copies in (10, 100)]
    for row in construction:
        print(f"{row['pieces']} pieces of 10 parts, 24 turns, --time 0, vat {row['side']} mm square: {row['cpu']:.2f} s of "
              f"CPU{'' if row['placed'] else ', not all placed'}", flush=True)
    engines = compare_engines(tool, parts)
    if output:
        document = {**{str(row["pieces"]): row["cpu"] for row in construction}, **engines}
        Path(output).write_text(json.dumps(document, indent=2) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
