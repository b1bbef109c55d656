"""Time to import flat plates 0.1 wide: a strip, and a square full of neighbouring corners."""
import math
import struct

from figures import run


def binary_stl(facets):
    return b"a flat plate".ljust(80) + struct.pack("<i", len(facets)) + b"".join(
        struct.pack("<12fH", 0, 0, 1, *(c for corner in facet for c in corner), 0) for facet in facets)


def strip(count):
    """A zigzag strip 0.1 wide and as long as it takes."""
    corner = [(0.1 * (k % 2), 0.001 * k, 0.0) for k in range(count + 2)]
    return [(corner[i], corner[i + 1 + i % 2], corner[i + 2 - i % 2]) for i in range(count)]


def square(count):
    """A grid 0.1 wide and 0.1 deep: neighbours are hardly farther apart than corners that merge."""
    side = math.ceil(math.sqrt(count / 2))
    at = lambda x, y: (0.1 * x / side, 0.1 * y / side, 0.0)
    facets = []
    for y in range(side):
        for x in range(side):
            facets += [(at(x, y), at(x + 1, y), at(x + 1, y + 1)), (at(x, y), at(x + 1, y + 1), at(x, y + 1))]
    return facets[:count]


def measure(report):
    folder = report.folder("plates")
    for facets, limit in ((100000, 1),) if report.quick else ((100000, 1), (1000000, 10)):
        for shape in (strip, square):
            name = f"plates.{shape.__name__}.{facets}"
            path = folder / f"{name}.stl"
            path.write_bytes(binary_stl(shape(facets)))
            done = run([report.tool, "info", path, "--json"])
            report.line(name + ".read", done.exit == 0 and f'"facets": {facets}' in done.out.decode(),
                         f"exit {done.exit}", "it is read, with all its facets")
            report.line(name + ".time", done.seconds <= limit, f"{done.seconds:.2f} s", f"{limit} s", binding=False)
            path.unlink()
