"""Input files that compare_versions.py makes itself: small meshes, damaged copies, side files, jobs.

Everything here is the same in every run, so that outputs made from it can be kept and compared later.
"""
import math
import struct


# --- meshes ---------------------------------------------------------------------------------------------------

def box(size=(10, 20, 30), at=(0, 0, 0)):
    """The twelve facets of a box, outward."""
    low, high = at, tuple(a + s for a, s in zip(at, size))
    corners = [(x, y, z) for z in (high[2], low[2]) for y in (low[1], high[1]) for x in (low[0], high[0])]
    quads = [(0, 1, 3, 2), (4, 6, 7, 5), (0, 4, 5, 1), (2, 3, 7, 6), (0, 2, 6, 4), (1, 5, 7, 3)]
    facets = []
    for a, b, c, d in quads:
        facets += [(corners[a], corners[b], corners[c]), (corners[a], corners[c], corners[d])]
    return facets


def inverted(facets):
    return [(a, c, b) for a, b, c in facets]


def moved(facets, by):
    return [tuple(tuple(c + d for c, d in zip(corner, by)) for corner in facet) for facet in facets]


def ring(outer, inner, height, sides, at=(0, 0, 0)):
    """A closed ring about a point."""
    def corner(radius, k, z):
        angle = 2 * math.pi * k / sides
        return (at[0] + radius * math.cos(angle), at[1] + radius * math.sin(angle), at[2] + z)
    facets = []
    for k in range(sides):
        n = (k + 1) % sides
        for quad in ((corner(outer, k, 0), corner(outer, n, 0), corner(outer, n, height), corner(outer, k, height)),
                     (corner(inner, n, 0), corner(inner, k, 0), corner(inner, k, height), corner(inner, n, height)),
                     (corner(inner, k, height), corner(outer, k, height), corner(outer, n, height),
                      corner(inner, n, height)),
                     (corner(outer, k, 0), corner(inner, k, 0), corner(inner, n, 0), corner(outer, n, 0))):
            facets += [(quad[0], quad[1], quad[2]), (quad[0], quad[2], quad[3])]
    return facets


def bumps(size, cells):
    """A closed block whose top is wavy: many facets at many angles and heights."""
    step = size / cells

    def top(i, j):
        return (i * step, j * step, 5 + math.sin(0.9 * i) * math.cos(0.7 * j))
    facets = []
    for i in range(cells):
        for j in range(cells):
            a, b, c, d = top(i, j), top(i + 1, j), top(i + 1, j + 1), top(i, j + 1)
            facets += [(a, b, c), (a, c, d)]
            low = [(p[0], p[1], 0.0) for p in (a, b, c, d)]
            facets += [(low[0], low[2], low[1]), (low[0], low[3], low[2])]
    for k in range(cells):
        for a, b in ((top(k, 0), top(k + 1, 0)), (top(k + 1, cells), top(k, cells)),
                     (top(0, k + 1), top(0, k)), (top(cells, k), top(cells, k + 1))):
            facets += [((a[0], a[1], 0.0), (b[0], b[1], 0.0), b), ((a[0], a[1], 0.0), b, a)]
    return facets


def binary_stl(facets, header=b"made for comparison", announced=None, normals=None):
    records = []
    for k, facet in enumerate(facets):
        normal = normals[k] if normals else (0, 0, 0)
        records.append(struct.pack("<12fH", *normal, *[c for corner in facet for c in corner], 0))
    head = header.ljust(80, b"\0")[:80] + struct.pack("<i", len(facets) if announced is None else announced)
    return head + b"".join(records)


def ascii_stl(facets, number="%.9g", end="\n", name="made"):
    lines = ["solid " + name]
    for facet in facets:
        lines += ["facet normal 0 0 0", "outer loop"]
        lines += ["vertex " + " ".join(number % c for c in corner) for corner in facet]
        lines += ["endloop", "endfacet"]
    return (end.join(lines + ["endsolid " + name]) + end).encode()


def ctl(vertices, triangles, units=1, magic=121):
    header = bytearray(256)
    struct.pack_into("<2i", header, 0, len(vertices), len(triangles))
    for k in range(4):
        struct.pack_into("<f", header, 8 + 20 * k, 1.0)
    struct.pack_into("<i", header, 72, units)
    struct.pack_into("<2i", header, 160, magic, 12)
    bits = max(len(vertices) - 1, 0).bit_length()
    stream = "".join(format(v, f"0{bits}b") for t in triangles for v in (*t, 0))
    words = bits * 4 * len(triangles) // 32 + 1
    stream = stream.ljust(32 * words, "0")
    body = b"".join(struct.pack("<I", int(stream[32 * i:32 * i + 32], 2)) for i in range(words))
    return bytes(header) + b"".join(struct.pack("<3f", *v) for v in vertices) + body


TETRAHEDRON = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, 10)]
TETRAHEDRON_FACETS = [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]


def with_word(data, offset, word):
    return data[:offset] + struct.pack("<I", word) + data[offset + 4:]


def meshes():
    """Name -> content of every mesh that is made; what is odd about it stands in its name."""
    plain = box()
    made = {
        "box.stl": binary_stl(plain),
        "box-text.stl": ascii_stl(plain),
        "ring.stl": binary_stl(ring(12, 8, 5, 48)),
        "bumps.stl": binary_stl(bumps(40, 12)),
        "bumps-text.stl": ascii_stl(bumps(40, 12)),
        "tetrahedron.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS),
        "tetrahedron-inch.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS, units=0),
        "tetrahedron-unitless.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS, units=2),
        # Shapes.
        "two-boxes.stl": binary_stl(plain + box(at=(20, 0, 0))),
        "cavity.stl": binary_stl(box((20, 20, 20)) + inverted(box((10, 10, 10), (5, 5, 5)))),
        "cavity-of-corner.stl": binary_stl(box((20, 20, 20)) + inverted(box((10, 10, 10), (0.5, 0.5, 0.5)))),
        "nested.stl": binary_stl(sum(
            [(box if k % 2 == 0 else lambda s, a: inverted(box(s, a)))((40 - 4 * k,) * 3, (2 * k,) * 3)
             for k in range(8)], [])),
        "rings.stl": binary_stl(sum([ring(4, 3, 2, 10, (10 * (k % 5), 10 * (k // 5), 0)) for k in range(15)], [])),
        "voids.stl": binary_stl(box((60, 60, 20)) + sum(
            [inverted(box((4, 4, 4), (3 + 8 * (k % 6), 3 + 8 * (k // 6), 3 + k % 3))) for k in range(18)], [])),
        "open.stl": binary_stl(plain[:-1]),
        "inverted.stl": binary_stl(inverted(plain)),
        "one-turned.stl": binary_stl(plain[:-1] + inverted(plain[-1:])),
        "doubled.stl": binary_stl(plain + plain[:2]),
        "shared-edge.stl": binary_stl(plain + box(at=(10, 20, 0))),
        "degenerate.stl": binary_stl(plain + [((0, 0, 0), (0, 0, 0), (10, 0, 0)), ((0, 0, 0), (5, 0, 0), (10, 0, 0))]),
        "tiny.stl": binary_stl(box((1, 1, 1))),
        "huge.stl": binary_stl(box((300, 10, 10))),
        "below.stl": binary_stl(box(at=(0, 0, -5))),
        "high.stl": binary_stl(box(at=(0, 0, 230))),
        "slanted.stl": binary_stl([tuple((x + 0.3 * z, y - 0.2 * z, z) for x, y, z in f) for f in plain]),
        "near.stl": binary_stl(moved(plain, (0.00004, 0, 0)) + box(at=(10.00007, 0, 0))),
        "far-away.stl": binary_stl(moved(plain, (100000.3, -70000.7, 33.3))),
        # Coordinates that are no numbers or hardly fit.
        "large-numbers.stl": binary_stl(moved(plain, (1e20, 0, 0))),
        "largest-numbers.stl": binary_stl([tuple((x * 1e37, y * 1e37, z * 1e37) for x, y, z in f) for f in plain]),
        "smallest-numbers.stl": binary_stl([tuple((x * 1e-44, y * 1e-44, z) for x, y, z in f) for f in plain]),
        "nan.stl": with_word(binary_stl(plain), 84 + 12, 0x7fc00000),
        "nan-negative.stl": with_word(binary_stl(plain), 84 + 12, 0xffc00000),
        "nan-signalling.stl": with_word(binary_stl(plain), 84 + 50 + 24, 0x7f800001),
        "nan-normals.stl": binary_stl(plain, normals=[(math.nan, math.inf, -math.inf)] * len(plain)),
        "infinite.stl": with_word(binary_stl(plain), 84 + 12, 0x7f800000),
        "infinite-negative.stl": with_word(binary_stl(plain), 84 + 16, 0xff800000),
        "infinite.ctl": ctl([(math.inf, 0, 0), *TETRAHEDRON[1:]], TETRAHEDRON_FACETS),
        "nan.ctl": ctl([(math.nan, 0, 0), *TETRAHEDRON[1:]], TETRAHEDRON_FACETS),
        "huge.ctl": ctl([(1e38, -1e38, 3e38), *TETRAHEDRON[1:]], TETRAHEDRON_FACETS),
        "words-text.stl": ascii_stl(plain).replace(b"vertex 0 0 0", b"vertex nan inf -inf", 1),
        "hexadecimal-text.stl": ascii_stl(plain).replace(b"vertex 0 0 0", b"vertex 0x1p3 0 0", 1),
        "exponents-text.stl": ascii_stl(plain, "%.8e"),
        "plus-text.stl": ascii_stl(plain, "%+g"),
        "too-large-text.stl": ascii_stl(plain).replace(b"vertex 0 0 0", b"vertex 1e39 -1e39 1e-50", 1),
        # Binary forms.
        "short.stl": binary_stl(plain, announced=15),
        "long.stl": binary_stl(plain, announced=10),
        "none-announced.stl": binary_stl(plain, announced=0),
        "negative-announced.stl": binary_stl(plain, announced=-1),
        "all-announced.stl": binary_stl(plain, announced=2147483647),
        "trailing.stl": binary_stl(plain) + b"and more",
        "solid-binary.stl": binary_stl(plain, header=b"solid by name\nfacets follow"),
        "solid-facet-binary.stl": binary_stl(plain, header=b"solid\nfacet"),
        "one-facet.stl": binary_stl(plain[:1]),
        "header-only.stl": b"\0" * 84,
        "header-cut.stl": b"\0" * 83,
        "empty.stl": b"",
        "one-byte.stl": b"s",
        # Text forms.
        "crlf-text.stl": ascii_stl(plain, end="\r\n"),
        "cr-text.stl": ascii_stl(plain, end="\r"),
        "tabs-text.stl": ascii_stl(plain).replace(b"facet", b"\tfacet").replace(b"vertex ", b"\t\tvertex\t"),
        "blank-first-text.stl": b"\n" + ascii_stl(plain),
        "blank-second-text.stl": ascii_stl(plain).replace(b"solid made\n", b"solid made\n\n", 1),
        "commas-text.stl": ascii_stl(plain, "%.2f").replace(b".", b","),
        "bom-text.stl": b"\xef\xbb\xbf" + ascii_stl(plain),
        "utf16-text.stl": ascii_stl(plain).decode().encode("utf-16"),
        "upper-text.stl": ascii_stl(plain).upper(),
        "one-facet-text.stl": ascii_stl(plain[:1]),
        "no-facet-text.stl": ascii_stl([]),
        "cut-text.stl": ascii_stl(plain)[:700],
        "no-end-text.stl": ascii_stl(plain).replace(b"endsolid made\n", b""),
        "bad-corner-text.stl": ascii_stl(plain).replace(b"vertex 10 20 0", b"vertex 10 twenty 0", 1),
        "two-numbers-text.stl": ascii_stl(plain).replace(b"vertex 10 20 0", b"vertex 10 20", 1),
        "two-solids-text.stl": ascii_stl(plain) + ascii_stl(box(at=(30, 0, 0)), name="other"),
        "no-newline-text.stl": ascii_stl(plain).rstrip(b"\n"),
        "nul-text.stl": ascii_stl(plain).replace(b"endloop", b"end\0oop", 1),
        "long-line-text.stl": ascii_stl(plain, name="n" * 1500),
        # CTL forms.
        "cut-header.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS)[:200],
        "cut-vertices.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS)[:280],
        "cut-triangles.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS)[:-3],
        "wrong-magic.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS, magic=77),
        "no-triangles.ctl": ctl(TETRAHEDRON, []),
        "bad-index.ctl": ctl([*TETRAHEDRON, (1, 1, 1)], [*TETRAHEDRON_FACETS[:3], (1, 2, 7)]),
        "trailing.ctl": ctl(TETRAHEDRON, TETRAHEDRON_FACETS) + b"and more",
    }
    return made


SIDE_FILES = {
    "good": "5.000000 10.000000 30.000000  0.000000 0.000000 1.000000  3.000000\n"
            "5.000000 10.000000 0.000000  0.000000 0.000000 -1.000000  3.000000\n",
    "loose": "5 10 30 0 0 1 3\n5e0   10.0\t0 0 0 -1 3",
    "crlf": "5 10 30 0 0 1 3\r\n5 10 0 0 0 -1 3\r\n",
    "bad-line": "5 10 30 0 0 1 3\nfive ten\n5 10 0 0 0 -1 3\n",
    "bad": "five ten\n",
    "empty": "",
    "blank-lines": "\n5 10 30 0 0 1 3\n\n\n5 10 0 0 0 -1 3\n\n",
    "far": "500 10 30 0 0 1 3\n",
    "sideways": "5 10 30 1 0 0 3\n",
    "nan": "nan 10 30 0 0 1 3\n5 -nan 0 0 0 -1 3\n",
    "infinite": "inf 10 30 0 0 1 3\n5 10 0 0 0 -1 -inf\n",
    "huge": "1e38 -1e38 30 0 0 1 3\n5 10 1e39 0 0 -1 3\n",
    "many": "".join(f"{k % 10} {k % 20} 30 0 0 1 {1 + k % 3}\n" for k in range(70)),
}


def cut(data, name, places):
    """Copies of a file that end at each of these places; a negative place counts from the end."""
    stem, dot, suffix = name.rpartition(".")
    return {f"{stem}-cut-{place if place >= 0 else 'end' + str(place)}.{suffix}": data[:place] for place in places}


def flipped(data, name, places):
    """Copies of a file with one byte inverted."""
    stem, dot, suffix = name.rpartition(".")
    return {f"{stem}-flip-{place}.{suffix}": data[:place] + bytes([data[place] ^ 0xff]) + data[place + 1:]
            for place in places if place < len(data)}
