#!/usr/bin/env python3
"""Makes examples/contours/cone.slc: make_cone.py [FILE].

A cone frustum in millimetres, radius 20 at the bottom and 5 at the top, 10 high, with a bore of radius 3 along its
axis, sliced into 50 layers of 0.2. Every layer has two closed contours of 64 corners: the outer one counterclockwise,
the bore clockwise, each ending on its first corner.
"""

import math
import os
import struct
import sys

LAYERS = 50
THICKNESS = 0.2
BOTTOM_RADIUS = 20.0
TOP_RADIUS = 5.0
BORE_RADIUS = 3.0
CORNERS = 64


def contour(radius, direction):
    """A vertex count, a gap count and a closed loop of corners; the same bytes on every machine."""
    points = []
    for i in range(CORNERS + 1):
        angle = direction * 2 * math.pi * (i % CORNERS) / CORNERS
        # A tenth of a micrometre is finer than any machine and coarser than what libraries differ by.
        points += [round(radius * math.cos(angle), 4), round(radius * math.sin(angle), 4)]
    return struct.pack("<II", CORNERS + 1, 0) + struct.pack("<%df" % len(points), *points)


def cone():
    header = "-SLCVER 2.0 -UNIT MM -TYPE PART -PACKAGE MAKE_CONE -EXTENTS %g,%g %g,%g %g,%g\r\n" % (
        -BOTTOM_RADIUS, BOTTOM_RADIUS, -BOTTOM_RADIUS, BOTTOM_RADIUS, 0, LAYERS * THICKNESS)
    parts = [header.encode("ascii"), b"\x1a", bytes(256), struct.pack("<B4f", 1, 0, THICKNESS, 0, 0)]
    for layer in range(LAYERS):
        radius = BOTTOM_RADIUS + (TOP_RADIUS - BOTTOM_RADIUS) * layer / LAYERS
        parts.append(struct.pack("<fI", layer * THICKNESS, 2))
        parts.append(contour(radius, 1))
        parts.append(contour(BORE_RADIUS, -1))
    parts.append(struct.pack("<fI", LAYERS * THICKNESS, 0xFFFFFFFF))
    return b"".join(parts)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "cone.slc")
    with open(path, "wb") as file:
        file.write(cone())


if __name__ == "__main__":
    main()
