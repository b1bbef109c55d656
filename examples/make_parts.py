#!/usr/bin/env python3
"""Makes the parts of examples/parts: make_parts.py [FOLDER].

Everyday parts in millimetres, standing on Z = 0, each a closed surface with its facets facing outward. Coordinates
are whole numbers of 0.1 micrometre until they are written, so that the triangulation is exact and every run, on any
machine, writes the same bytes.
"""

import math
import os
import struct
import sys

UNIT = 10000  # coordinate steps a millimetre


def to_steps(millimetres):
    return math.floor(millimetres * UNIT + 0.5)


def circle(radius, count, center=(0.0, 0.0), start=0.0, sweep=2 * math.pi):
    """Points of an arc, counterclockwise for a positive sweep; the end point is left out of a full circle."""
    full = abs(abs(sweep) - 2 * math.pi) < 1e-9
    steps = count if full else count - 1
    return [
        (center[0] + radius * math.cos(start + sweep * i / steps),
         center[1] + radius * math.sin(start + sweep * i / steps))
        for i in range(count)
    ]


# ---- triangulation of polygons with holes, on whole numbers ----


def turn(a, b, c):
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0])


def twice_area(loop):
    return sum(p[0] * q[1] - q[0] * p[1] for p, q in zip(loop, loop[1:] + loop[:1]))


def distance2(a, b):
    return (a[0] - b[0]) ** 2 + (a[1] - b[1]) ** 2


def between(a, b, p):
    """p, on the line through a and b, lies on the segment."""
    return min(a[0], b[0]) <= p[0] <= max(a[0], b[0]) and min(a[1], b[1]) <= p[1] <= max(a[1], b[1])


def segments_meet(a, b, c, d):
    """The segments share a point that is not an end of both."""
    if a in (c, d) or b in (c, d):
        other = [p for p in (c, d) if p not in (a, b)]
        return any(turn(a, b, p) == 0 and between(a, b, p) for p in other)
    t1, t2, t3, t4 = turn(a, b, c), turn(a, b, d), turn(c, d, a), turn(c, d, b)
    if ((t1 > 0) != (t2 > 0)) and ((t3 > 0) != (t4 > 0)) and 0 not in (t1, t2, t3, t4):
        return True
    return any(t == 0 and between(*s, p) for t, s, p in
               ((t1, (a, b), c), (t2, (a, b), d), (t3, (c, d), a), (t4, (c, d), b)))


def bridge(outer, holes):
    """One loop that walks the outer border and, along bridges there and back, every hole."""
    loop = list(outer)
    waiting = [list(h) for h in holes]
    while waiting:
        edges = list(zip(loop, loop[1:] + loop[:1]))
        for h in waiting:
            edges += zip(h, h[1:] + h[:1])
        candidates = sorted(
            (distance2(loop[i], h[j]), k, i, j)
            for k, h in enumerate(waiting) for j in range(len(h)) for i in range(len(loop)))
        for _, k, i, j in candidates:
            a, b = loop[i], waiting[k][j]
            if not any(segments_meet(a, b, c, d) for c, d in edges):
                hole = waiting.pop(k)
                loop = loop[:i + 1] + hole[j:] + hole[:j + 1] + loop[i:]
                break
        else:
            raise ValueError("a hole cannot be reached")
    return loop


def triangulate(outer, holes=()):
    """Triangles as triples of points; outer counterclockwise, holes clockwise. Ears with short cuts go first."""
    points = bridge(outer, holes)
    after = {i: (i + 1) % len(points) for i in range(len(points))}
    before = {j: i for i, j in after.items()}

    def is_ear(i):
        a, b, c = points[before[i]], points[i], points[after[i]]
        if turn(a, b, c) <= 0:
            return False
        low = (min(a[0], b[0], c[0]), min(a[1], b[1], c[1]))
        high = (max(a[0], b[0], c[0]), max(a[1], b[1], c[1]))
        for j in after:
            p = points[j]
            if not (low[0] <= p[0] <= high[0] and low[1] <= p[1] <= high[1]) or p in (a, b, c):
                continue
            if turn(a, b, p) >= 0 and turn(b, c, p) >= 0 and turn(c, a, p) >= 0:
                return False
        return True

    def cut_length(i):
        return distance2(points[before[i]], points[after[i]])

    ears = {i: cut_length(i) for i in after if is_ear(i)}
    triangles = []
    while len(after) > 3:
        if not ears:
            ears = {i: cut_length(i) for i in after if is_ear(i)}
        i = min(ears, key=lambda k: (ears[k], k))
        a, c = before[i], after[i]
        triangles.append((points[a], points[i], points[c]))
        after[a], before[c] = c, a
        del after[i], before[i], ears[i]
        for j in (a, c):
            ears.pop(j, None)
            if is_ear(j):
                ears[j] = cut_length(j)
    last = next(iter(after))
    triangles.append((points[last], points[after[last]], points[after[after[last]]]))
    return triangles


# ---- solids: lists of triangles of whole-number points ----


class Solid:
    def __init__(self):
        self.triangles = []

    def quad(self, a, b, c, d):
        """Two facets, cut along the shorter diagonal; one or none where corners coincide."""
        def length2(p, q):
            return sum((s - t) ** 2 for s, t in zip(p, q))
        if length2(a, c) <= length2(b, d):
            facets = ((a, b, c), (a, c, d))
        else:
            facets = ((a, b, d), (b, c, d))
        self.triangles += [f for f in facets if len(set(f)) == 3]

    def face(self, outer, holes, place, up=True):
        """A flat face; place turns a point of the plane into one of space, up tells whether the plane's
        counterclockwise is outward."""
        outer = list(outer) if twice_area(outer) > 0 else list(outer)[::-1]
        holes = [list(h) if twice_area(h) < 0 else list(h)[::-1] for h in holes]
        for t in triangulate(outer, holes):
            corners = [place(p) for p in t]
            self.triangles.append(tuple(corners if up else corners[::-1]))

    def wall(self, loop, lower, upper, inward=False):
        """The strip between two placements of one loop; outward for a counterclockwise outer border."""
        loop = list(loop) if (twice_area(loop) > 0) != inward else list(loop)[::-1]
        for p, q in zip(loop, loop[1:] + loop[:1]):
            self.quad(lower(p), lower(q), upper(q), upper(p))

    def revolve(self, rings):
        """Joins rings of points (each a list of points, or a single point on the axis) in order, from the bottom
        outside to the top and down the inside."""
        for low, high in zip(rings, rings[1:]):
            count = max(len(low), len(high))
            for i in range(count):
                j = (i + 1) % count
                a, b = low[i % len(low)], low[j % len(low)]
                c, d = high[j % len(high)], high[i % len(high)]
                self.quad(a, b, c, d)


def steps2(points):
    return [(to_steps(x), to_steps(y)) for x, y in points]


def at_height(millimetres):
    z = to_steps(millimetres)
    return lambda p: (p[0], p[1], z)


def rings_of(profile, count, radius_at=None):
    """Rings about the Z axis for (radius, z) pairs; radius 0 gives the single point on the axis."""
    rings = []
    for r, z in profile:
        if r == 0:
            rings.append([(0, 0, to_steps(z))])
            continue
        ring = []
        for i in range(count):
            angle = 2 * math.pi * i / count
            rr = radius_at(r, z, angle) if radius_at else r
            ring.append((to_steps(rr * math.cos(angle)), to_steps(rr * math.sin(angle)), to_steps(z)))
        rings.append(ring)
    return rings


def extrusion(outer, holes, height):
    solid = Solid()
    outer, holes = steps2(outer), [steps2(h) for h in holes]
    solid.face(outer, holes, at_height(0), up=False)
    solid.face(outer, holes, at_height(height))
    solid.wall(outer, at_height(0), at_height(height))
    for h in holes:
        solid.wall(h, at_height(0), at_height(height), inward=True)
    return solid


# ---- the parts ----


def make_bracket():
    """Angle bracket, 60 x 40 x 45: two flanges 6 thick, a fillet between them, two bolt holes in each."""
    length, depth, height, thick, fillet = 60, 40, 45, 6, 8
    solid = Solid()
    arc = circle(fillet, 17, (thick + fillet, thick + fillet), 1.5 * math.pi, -0.5 * math.pi)
    # The profile in Y and Z, counterclockwise seen from +X.
    profile = steps2([(0, 0), (depth, 0), (depth, thick)] + arc + [(thick, height), (0, height)])
    width, t = to_steps(length), to_steps(thick)
    front = to_steps(thick + fillet)
    solid.face(profile, [], lambda p: (0, p[0], p[1]), up=False)
    solid.face(profile, [], lambda p: (width, p[0], p[1]))

    def flange(far, holes, outside, inside, up):
        """Both sides of a flange, whole outside and from the fillet on inside, and its holes."""
        holes = [steps2(circle(2.75, 48, h)) for h in holes]
        solid.face([(0, 0), (width, 0), (width, far), (0, far)], holes, outside, up=not up)
        solid.face([(0, front), (width, front), (width, far), (0, far)], holes, inside, up=up)
        for h in holes:
            solid.wall(h, outside if up else inside, inside if up else outside, inward=True)

    # Counterclockwise in X and Y faces +Z; counterclockwise in X and Z faces -Y.
    flange(to_steps(depth), [(15, 28), (45, 28)], lambda p: (p[0], p[1], 0), lambda p: (p[0], p[1], t), up=True)
    flange(to_steps(height), [(15, 32), (45, 32)], lambda p: (p[0], 0, p[1]), lambda p: (p[0], t, p[1]), up=False)
    # The two free ends and the fillet are strips along X.
    strips = [(profile[1], profile[2])] + [(p, q) for p, q in zip(profile[3:], profile[4:-2])]
    strips.append((profile[-2], profile[-1]))
    for p, q in strips:
        solid.quad((0, p[0], p[1]), (0, q[0], q[1]), (width, q[0], q[1]), (width, p[0], p[1]))
    return solid


def gear_profile(module, teeth, pressure_degrees=20.0):
    """Border of a spur gear with involute flanks, counterclockwise."""
    pitch = module * teeth / 2
    base = pitch * math.cos(math.radians(pressure_degrees))
    tip, root = pitch + module, pitch - 1.25 * module

    def involute(radius):
        a = math.acos(min(1.0, base / radius))
        return math.tan(a) - a

    def half_angle(radius):
        return math.pi / (2 * teeth) + involute(pitch) - involute(max(radius, base))

    flank = [root] + [base + (tip - base) * (i / 7) ** 1.5 for i in range(8)]
    points = []
    for k in range(teeth):
        middle = 2 * math.pi * k / teeth
        polar = [(r, middle - half_angle(r)) for r in flank]
        polar.append((tip, middle))
        polar += [(r, middle + half_angle(r)) for r in reversed(flank)]
        here = middle + half_angle(root)
        gap = 2 * math.pi / teeth - 2 * half_angle(root)
        polar += [(root, here + gap * i / 3) for i in (1, 2)]
        points += [(r * math.cos(a), r * math.sin(a)) for r, a in polar]
    return points


def make_spur_gear():
    """Spur gear, module 2, 20 teeth, 8 wide, with a hub to 14 and a bore with keyway."""
    face_width, hub_top, hub_radius, bore_radius = 8, 14, 10, 4
    key_half, key_depth = 1.25, 1.4
    solid = Solid()
    border = steps2(gear_profile(2.0, 20))
    hub = steps2(circle(hub_radius, 72))
    start = math.asin(key_half / bore_radius)
    bore = steps2(circle(bore_radius, 41, start=start, sweep=2 * math.pi - 2 * start) +
                  [(bore_radius + key_depth, -key_half), (bore_radius + key_depth, key_half)])
    solid.face(border, [bore], at_height(0), up=False)
    solid.wall(border, at_height(0), at_height(face_width))
    solid.face(border, [hub], at_height(face_width))
    solid.wall(hub, at_height(face_width), at_height(hub_top))
    solid.face(hub, [bore], at_height(hub_top))
    solid.wall(bore, at_height(0), at_height(hub_top), inward=True)
    return solid


def make_l_shape():
    """L-shaped plate, 64 x 64 x 12, arms 24 wide, rounded corners, a hole in each arm."""
    size, arm, corner, inner, height = 64, 24, 6, 10, 12
    quarter = 0.5 * math.pi
    border = []
    for center, start in (((corner, corner), 2), ((size - corner, corner), 3), ((size - corner, arm - corner), 0)):
        border += circle(corner, 17, center, start * quarter, quarter)
    border += circle(inner, 25, (arm + inner, arm + inner), 3 * quarter, -quarter)
    for center, start in (((arm - corner, size - corner), 0), ((corner, size - corner), 1)):
        border += circle(corner, 17, center, start * quarter, quarter)
    return extrusion(border, [circle(4, 48, (52, 12)), circle(4, 48, (12, 52)), circle(5, 48, (13, 13))], height)


def make_vase():
    """Vase, 70 high, walls 2.4 thick: open at the top, closed as a surface."""
    height, wall, floor, levels, count = 70.0, 2.4, 3.0, 44, 100

    def outside(z):
        s = z / height
        return 17 + 9 * math.sin(math.pi * (0.12 + 1.05 * s)) + 2.5 * s * s

    outer = [(outside(height * i / levels), height * i / levels) for i in range(levels + 1)]
    inner = [(outside(z) - wall, z)
             for z in (floor + (height - floor) * i / levels for i in range(levels, -1, -1))]
    solid = Solid()
    solid.revolve(rings_of([(0, 0)] + outer + inner + [(0, floor)], count))
    return solid


def make_ring():
    """Thin ring, 56 across, 2 x 3 in section, edges rounded by 0.6."""
    inside, outside, height, edge, count = 26.0, 28.0, 3.0, 0.6, 120
    quarter = 0.5 * math.pi
    section = []
    for center, start in (((outside - edge, edge), 3), ((outside - edge, height - edge), 0),
                          ((inside + edge, height - edge), 1), ((inside + edge, edge), 2)):
        section += circle(edge, 4, center, start * quarter, quarter)
    solid = Solid()
    solid.revolve(rings_of(section + section[:1], count))
    return solid


def make_rook():
    """Chess rook, 78 high, with a hollow top and six battlements."""
    count, merlons, inner = 96, 6, 8.5
    outline = [(0, 0), (16, 0), (17, 1), (17, 5), (16, 6)]
    outline += circle(2.5, 11, (13.5, 8.5), -0.5 * math.pi, math.pi)
    for i in range(1, 37):  # the waist
        s = i / 37
        outline.append((13.5 - 4.0 * math.sin(0.5 * math.pi * min(1.0, 1.6 * s)) + 0.8 * s ** 3, 11 + 46 * s))
    outline += circle(1.5, 9, (10.8, 58.5), -0.5 * math.pi, math.pi)
    outline += [(12.2, 62), (13, 66), (13, 70)]
    cup = [(inner, 70), (inner, 66), (inner - 1, 65), (0, 65)]
    solid = Solid()
    solid.revolve(rings_of(outline, count))
    solid.revolve(rings_of(cup, count))
    outer_low, outer_high, inner_low, inner_high = rings_of([(13, 70), (13, 78), (inner, 70), (inner, 78)], count)
    span = count // merlons
    raised = [i % span < span * 5 // 8 for i in range(count)]
    for i in range(count):
        j = (i + 1) % count
        if raised[i]:
            solid.quad(outer_low[i], outer_low[j], outer_high[j], outer_high[i])
            solid.quad(outer_high[i], outer_high[j], inner_high[j], inner_high[i])
            solid.quad(inner_high[i], inner_high[j], inner_low[j], inner_low[i])
        else:
            solid.quad(outer_low[i], outer_low[j], inner_low[j], inner_low[i])
        if raised[i] and not raised[i - 1]:
            solid.quad(outer_low[i], outer_high[i], inner_high[i], inner_low[i])
        if raised[i - 1] and not raised[i]:
            solid.quad(outer_low[i], inner_low[i], inner_high[i], outer_high[i])
    return solid


def make_knob():
    """Grip knob, 40 across, twelve scallops, domed top, with a stem hole 12 deep from below."""
    count, height, hole = 144, 24.0, 4.0

    def scalloped(radius, z, angle):
        if radius <= hole:
            return radius
        deep = 1.6 * math.sin(math.pi * min(1.0, max(0.0, (z - 2) / (height - 4))))
        return radius - deep * (0.5 - 0.5 * math.cos(12 * angle)) * (radius / 20.0) ** 4

    side = [(18.5, 0), (19.5, 0.8)] + [(20.0, 2 + 18.0 * i / 30) for i in range(31)]
    dome = [(20.0 * math.cos(a), 20 + 4 * math.sin(a)) for a in (0.5 * math.pi * i / 20 for i in range(1, 20))]
    solid = Solid()
    solid.revolve(rings_of([(0, 12), (hole, 12), (hole, 0)] + side + dome + [(0, height)], count, scalloped))
    return solid


PARTS = [
    # name, how to make it, form
    ("bracket", make_bracket, "binary"),
    ("knob", make_knob, "binary"),
    ("l_shape", make_l_shape, "ascii"),
    ("ring", make_ring, "ascii"),
    ("rook", make_rook, "binary"),
    ("spur_gear", make_spur_gear, "binary"),
    ("vase", make_vase, "binary"),
]


# ---- STL ----


def standing_at_origin(triangles):
    low = [min(p[k] for t in triangles for p in t) for k in range(3)]
    return [tuple(tuple(p[k] - low[k] for k in range(3)) for p in t) for t in triangles]


def normal(t):
    u = [t[1][k] - t[0][k] for k in range(3)]
    v = [t[2][k] - t[0][k] for k in range(3)]
    n = (u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0])
    length = math.sqrt(sum(c * c for c in n))
    return tuple(round(c / length, 6) + 0.0 for c in n)


def write_binary(path, name, triangles):
    with open(path, "wb") as f:
        f.write(("binary STL: " + name).encode("ascii").ljust(80))
        f.write(struct.pack("<I", len(triangles)))
        for t in triangles:
            corners = [c / UNIT for p in t for c in p]
            f.write(struct.pack("<12fH", *normal(t), *corners, 0))


def write_ascii(path, name, triangles):
    with open(path, "w", encoding="ascii", newline="\n") as f:
        f.write("solid %s\n" % name)
        for t in triangles:
            f.write("  facet normal %.6f %.6f %.6f\n    outer loop\n" % normal(t))
            for p in t:
                f.write("      vertex %.4f %.4f %.4f\n" % tuple(c / UNIT for c in p))
            f.write("    endloop\n  endfacet\n")
        f.write("endsolid %s\n" % name)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "parts")
    os.makedirs(folder, exist_ok=True)
    for name, make, form in PARTS:
        triangles = standing_at_origin(make().triangles)
        write = write_binary if form == "binary" else write_ascii
        write(os.path.join(folder, name + ".stl"), name, triangles)


if __name__ == "__main__":
    main()
