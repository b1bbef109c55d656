"""make_builds.py TOOL: makes the folders beside this file with a trqprep of version 0.1.0. README.md tells about them.

All turns are by multiples of 90 degrees: sine and cosine of other angles came from the C library then.
"""
import math
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
STYLES = HERE.parents[2] / "examples" / "styles"

BUILDS = {
    "plain": "inputs/block.stl,copies=2,rotate-z=90 inputs/ring.stl --rotations 4 --seed 3 --vat 60x50x40mm",
    "inches": "inputs/pyramid.ctl,rotate-z=180 inputs/ring.stl,rotate-z=270 --units in --rotations 1 --vat 40x30x20in",
    "styled": "inputs/all-keys.toml",
}


def box(size, at=(0, 0, 0)):
    low, high = at, tuple(a + s for a, s in zip(at, size))
    corners = [(x, y, z) for z in (high[2], low[2]) for y in (low[1], high[1]) for x in (low[0], high[0])]
    facets = []
    for a, b, c, d in [(0, 1, 3, 2), (4, 6, 7, 5), (0, 4, 5, 1), (2, 3, 7, 6), (0, 2, 6, 4), (1, 5, 7, 3)]:
        facets += [(corners[a], corners[b], corners[c]), (corners[a], corners[c], corners[d])]
    return facets


def ring(outer, inner, height, sides):
    def corner(radius, k, z):
        return (radius * math.cos(2 * math.pi * k / sides), radius * math.sin(2 * math.pi * k / sides), z)
    facets = []
    for k in range(sides):
        n = (k + 1) % sides
        for a, b, c, d in ((corner(outer, k, 0), corner(outer, n, 0), corner(outer, n, height),
                            corner(outer, k, height)),
                           (corner(inner, n, 0), corner(inner, k, 0), corner(inner, k, height),
                            corner(inner, n, height)),
                           (corner(inner, k, height), corner(outer, k, height), corner(outer, n, height),
                            corner(inner, n, height)),
                           (corner(outer, k, 0), corner(inner, k, 0), corner(inner, n, 0), corner(outer, n, 0))):
            facets += [(a, b, c), (a, c, d)]
    return facets


def binary_stl(facets, announced=None):
    records = [struct.pack("<12fH", 0, 0, 0, *[c for corner in facet for c in corner], 0) for facet in facets]
    return b"made by make_builds.py".ljust(80, b"\0") + struct.pack("<i", announced or len(facets)) + b"".join(records)


def main():
    tool = sys.argv[1]
    assert subprocess.run([tool, "version"], capture_output=True, check=True).stdout == b"trqprep 0.1.0\n"
    with tempfile.TemporaryDirectory() as scratch:
        scratch = pathlib.Path(scratch)
        inputs = scratch / "inputs"
        shutil.copytree(HERE / "inputs", inputs)
        (inputs / "block.stl").write_bytes(binary_stl(box((10, 20, 30))))
        (inputs / "ring.stl").write_bytes(binary_stl(ring(8, 5, 4, 6)))
        # Twelve facets, of which fifteen are announced: what accept_partial is for.
        (inputs / "cut.stl").write_bytes(binary_stl(box((9, 6, 3.5), (1, 2, 0)), announced=15))
        (inputs / "pyramid.stl").write_bytes(binary_stl([((0, 0, 0), (0, 3, 0), (4, 0, 0)),
                                                         ((0, 0, 0), (4, 0, 0), (1, 1, 2)),
                                                         ((4, 0, 0), (0, 3, 0), (1, 1, 2)),
                                                         ((0, 3, 0), (0, 0, 0), (1, 1, 2))]))
        # The job names the styles where the folder keeps them, so that they are here once.
        (scratch / "styled" / "styles").mkdir(parents=True)
        for name in ("Fine.sty", "ThreeSweeps.rcs"):
            shutil.copy(STYLES / name, scratch / "styled" / "styles")
        subprocess.run([tool, "convert", "inputs/pyramid.stl", "--units", "in", "--force", "-o", "inputs/pyramid.ctl"],
                       cwd=scratch,
                       check=True)
        (inputs / "pyramid.stl").unlink()
        (scratch / "made").mkdir()
        for name, line in BUILDS.items():
            subprocess.run([tool, "build", *line.split(), "-o", "made/" + name], cwd=scratch, check=True)
            shutil.rmtree(HERE / name, ignore_errors=True)
            shutil.copytree(scratch / "made" / name, HERE / name)
        shutil.copytree(inputs, HERE / "inputs", dirs_exist_ok=True)


if __name__ == "__main__":
    main()
