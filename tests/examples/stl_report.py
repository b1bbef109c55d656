#!/usr/bin/env python3
"""Reads STL files without the library and reports on the surface: stl_report.py FILE...

Each facet's corners are compared bit for bit. A surface is closed when every edge is walked exactly once in each
direction, and faces outward when its volume is positive.
"""

import collections
import math
import os
import struct
import sys

Report = collections.namedtuple("Report", "form facets vertices closed volume area low high")


def read_facets(path):
    """The form ("ascii" or "binary") and a list of triples of points."""
    with open(path, "rb") as f:
        data = f.read()
    if len(data) >= 84:
        count = struct.unpack_from("<I", data, 80)[0]
        if len(data) == 84 + 50 * count:
            facets = []
            for i in range(count):
                v = struct.unpack_from("<12f", data, 84 + 50 * i)
                facets.append((v[3:6], v[6:9], v[9:12]))
            return "binary", facets
    corners = []
    for line in data.decode("ascii").splitlines():
        words = line.split()
        if words and words[0] == "vertex":
            # As a reader with 32-bit coordinates holds them.
            corners.append(struct.unpack("<3f", struct.pack("<3f", *map(float, words[1:4]))))
    if not corners or len(corners) % 3:
        raise ValueError("%s: neither binary nor ASCII STL" % path)
    return "ascii", [tuple(corners[i:i + 3]) for i in range(0, len(corners), 3)]


def cross(u, v):
    return (u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0])


def measure(form, facets):
    edges = collections.Counter()
    points = set()
    volume, area = [], []
    for a, b, c in facets:
        points.update((a, b, c))
        edges.update(((a, b), (b, c), (c, a)))
        n = cross([q - p for p, q in zip(a, b)], [q - p for p, q in zip(a, c)])
        area.append(math.sqrt(sum(s * s for s in n)) / 2)
        volume.append(sum(p * q for p, q in zip(a, cross(b, c))) / 6)
    closed = all(n == 1 and edges.get((q, p)) == 1 and p != q for (p, q), n in edges.items())
    low = tuple(min(p[k] for p in points) for k in range(3))
    high = tuple(max(p[k] for p in points) for k in range(3))
    return Report(form, len(facets), len(points), closed, math.fsum(volume), math.fsum(area), low, high)


def report(path):
    return measure(*read_facets(path))


def main():
    for path in sys.argv[1:]:
        r = report(path)
        size = " x ".join("%.2f" % (h - l) for l, h in zip(r.low, r.high))
        print("%s: %s, %d facets, %d vertices, %s, volume %.3f, area %.3f, %s mm" % (
            os.path.basename(path), r.form, r.facets, r.vertices, "closed" if r.closed else "OPEN", r.volume,
            r.area, size))


if __name__ == "__main__":
    main()
