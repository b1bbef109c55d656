"""Worst cases among meshes: each makes its files of about n facets in a folder and returns the arguments of trqprep.
CASES lists (name, make, sizes)."""
import math
import pathlib
import random
import struct

SIZES = (10_000, 100_000, 1_000_000)

RECORD = struct.Struct("<12fH")


def stl(folder, name, facets):
    """Writes a binary STL file; a facet is nine numbers. A file that is there already is kept: names tell contents."""
    path = pathlib.Path(folder) / name
    if path.exists():
        return str(path)
    with open(path, "wb") as out:
        out.write(bytes(84))
        count, block = 0, []
        for facet in facets:
            block.append(RECORD.pack(0, 0, 0, *facet, 0))
            count += 1
            if len(block) == 10_000:
                out.write(b"".join(block))
                block.clear()
        out.write(b"".join(block))
        out.seek(80)
        out.write(struct.pack("<I", count))
    return str(path)


# --- Meshes -----------------------------------------------------------------------------------------------------

def joined(mesh):
    """With the first facet once more: no mesh is read of which no two facets share a corner."""
    def facets(n, *more):
        every = mesh(n - 1, *more)
        first = next(every)
        yield first
        yield first
        yield from every
    return facets


def box(low, high, inward=False):
    corner = [(x, y, z) for z in (low[2], high[2]) for y in (low[1], high[1]) for x in (low[0], high[0])]
    for a, b, c, d in ((0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)):
        for p, q, r in ((a, b, c), (a, c, d)):
            if inward:
                q, r = r, q
            yield corner[p] + corner[q] + corner[r]


def rings(n):
    """Square rings around each other, each with a small cavity in it: every box lies in all the boxes outside of it."""
    count = max(1, n // 44)
    for i in range(count):
        inner = 5 + 90 * i / count
        outer = inner + 60 / count
        loop = []
        for x, y in ((-1, -1), (1, -1), (1, 1), (-1, 1)):
            loop.append([(r * x, r * y, z) for r, z in ((inner, 0), (outer, 0), (outer, 1), (inner, 1))])
        for a, b in zip(loop, loop[1:] + loop[:1]):
            for k in range(4):
                m = (k + 1) % 4
                yield a[k] + b[k] + b[m]
                yield a[k] + b[m] + a[m]
        part = 60 / count / 4
        yield from box((inner + part, 0, 0.25), (outer - part, 0.5, 0.75), True)


def cavities(n):
    """Many small cavities in one box."""
    yield from box((0, 0, 0), (100, 100, 100))
    count = max(1, n // 12 - 1)
    side = math.ceil(count ** (1 / 3))
    step = 98 / side
    for i in range(count):
        low = [1 + step * c for c in (i % side, i // side % side, i // side // side)]
        yield from box(low, [c + step / 2 for c in low], True)


def nested(n):
    """Boxes in boxes, facing outward and inward in turn."""
    count = max(1, n // 12)
    for i in range(count):
        low = 50 * i / (count + 1)
        yield from box((low,) * 3, (100 - low,) * 3, i % 2 == 1)


@joined
def flats(n, jitter=0.0):
    """The same flat triangle on every level."""
    chance = random.Random(1)
    for i in range(n):
        z = 20 * i / n
        by = [chance.uniform(-jitter, jitter) for _ in range(6)]
        yield by[0], by[1], z, 100 + by[2], by[3], z, by[4], 100 + by[5], z


def prism(n, sides=16, radius=40.0, draft=0.0, twist=0.0):
    """Levels of an upright prism; drafted, each level is a little narrower than the one below."""
    levels = max(1, n // (2 * sides) - 1)

    def corner(level, side):
        r = radius * (1 - draft * level / levels)
        angle = 2 * math.pi * (side % sides) / sides + 0.1 + twist * level / levels
        return r * math.cos(angle), r * math.sin(angle), 60 * level / levels
    below = [corner(0, s) for s in range(sides + 1)]
    for s in range(sides):
        yield (0, 0, 0) + below[s + 1] + below[s]
    for level in range(levels):
        above = [corner(level + 1, s) for s in range(sides + 1)]
        for s in range(sides):
            yield below[s] + below[s + 1] + above[s + 1]
            yield below[s] + above[s + 1] + above[s]
        below = above
    for s in range(sides):
        yield (0, 0, 60) + below[s] + below[s + 1]


@joined
def needles(n):
    """Thin facets through the whole of a ball, as close together on it at every size."""
    chance = random.Random(2)
    radius = 0.04 * math.sqrt(n)
    for _ in range(n):
        ends = []
        for _ in range(2):
            away = [chance.gauss(0, 1) for _ in range(3)]
            length = radius / math.hypot(*away)
            ends.append(tuple(50 + c * length for c in away))
        yield ends[0] + ends[1] + (ends[1][0] + 0.05, ends[1][1] + 0.05, ends[1][2] - 0.05)


@joined
def soup(n):
    """Facets of any size anywhere."""
    chance = random.Random(3)
    for _ in range(n):
        yield tuple(chance.uniform(0, 100) for _ in range(9))


def hub(n):
    """Two vertices that all facets share half and half: a wheel whose rim has n / 2 corners."""
    count = n // 2
    rim = [(50 + 40 * math.cos(2 * math.pi * i / count), 50 + 40 * math.sin(2 * math.pi * i / count), 0.0)
           for i in range(count)]
    for a, b in zip(rim, rim[1:] + rim[:1]):
        yield (50, 50, 20) + a + b
        yield (50, 50, -20) + b + a


def bows(n):
    """Triangles that share one corner and nothing else: all borders come through it. As many lie over each place."""
    for i in range(n):
        angle = 2 * math.pi * i / n
        ends = [(40 * math.cos(a), 40 * math.sin(a), i * 7919 % 1000 / 10) for a in (angle, angle + 10_000 / n)]
        yield (0, 0, -5) + ends[0] + ends[1]


def doubled(n):
    """One facet, half of the times in the other direction."""
    for i in range(n):
        yield (0, 0, 0) + ((10, 0, 0) + (0, 10, 5) if i < n // 2 else (0, 10, 5) + (10, 0, 0))


def sphere(n):
    rows = max(2, round(math.sqrt(n / 4)))
    columns = 2 * rows

    def at(row, column):
        a, b = 2 * math.pi * (column % columns) / columns, math.pi * row / rows
        r = 40 * math.sin(b) if 0 < row < rows else 0.0
        return 50 + r * math.cos(a), 50 + r * math.sin(a), 50 + 40 * math.cos(b)
    above = [at(0, c) for c in range(columns + 1)]
    for row in range(rows):
        below = [at(row + 1, c) for c in range(columns + 1)]
        for c in range(columns):
            if row < rows - 1:
                yield above[c] + below[c] + below[c + 1]
            if row > 0:
                yield above[c] + below[c + 1] + above[c + 1]
        above = below


def holes(n):
    """A sheet of n facets with a three-sided hole in every cell."""
    side = max(1, math.isqrt(n // 7))
    step = 100 / side
    for i in range(side):
        for j in range(side):
            x, y = i * step, j * step
            corners = [(x, y, 0), (x + step, y, 0), (x + step, y + step, 0), (x, y + step, 0)]
            inner = [(x + 0.3 * step, y + 0.3 * step, 0), (x + 0.7 * step, y + 0.3 * step, 0),
                     (x + 0.5 * step, y + 0.7 * step, 0)]
            a, b, c, d = corners
            p, q, r = inner
            yield a + b + p
            yield b + q + p
            yield b + c + q
            yield c + r + q
            yield c + d + r
            yield d + p + r
            yield d + a + p


@joined
def cracked(n):
    """Facets that share no corner, all borders open and within reach of each other: a sheet torn apart."""
    side = max(1, math.isqrt(n // 2))
    step = 100 / side
    gap = min(0.02, step / 10)
    for i in range(side):
        for j in range(side):
            x, y = i * step, j * step
            u, v = x + step - gap, y + step - gap
            yield x + gap, y, 0, u, y, 0, u, v - gap, 0
            yield x, y + gap, 0, u - gap, v, 0, x, v, 0


def one_crack(n):
    """Facets that hang on one long edge, n / 2 from each side, with corners along it within a stitching step."""
    count = n // 2
    for i in range(count):
        x = 0.01 * i / count
        for y in (10, -10):
            yield x, y / 1e4, 0, x + 0.01 / count, y / 1e4, 0, 100 * i / count, y, 5


def fence(n):
    """A thin wall whose corners stand at even distances, powers of two: their low bits are all alike."""
    count = n // 2
    step = 128 / (1 << (count - 1).bit_length())
    for i in range(count):
        x, y = i * step, (i + 1) * step
        yield x, 0, 0, y, 0, 0, y, 0.25, 9
        yield x, 0, 0, y, 0.25, 9, x, 0.25, 9


def comb(n):
    """Thin upright wedges in a row, as near to each other in every size. A level line that goes over a layer meets all in the
    end, and each to the left of those that it met before."""
    step = 100 / (1_000_000 // 8)
    for i in range(n // 8):
        x, y = 100 - step * i, step * i / 10
        around = [(x, y), (x + 0.4 * step, y), (x + 0.2 * step, y + 40)]
        low, high = ([corner + (z,) for corner in around] for z in (0.0, 1.0))
        yield low[0] + low[2] + low[1]
        yield high[0] + high[1] + high[2]
        for p, q in ((0, 1), (1, 2), (2, 0)):
            yield low[p] + low[q] + high[q]
            yield low[p] + high[q] + high[p]


# --- Corners that share a place in the table of vertices --------------------------------------------------------

CELL = 61.8 * struct.unpack("<f", struct.pack("<f", 1e-4))[0]
CELL_ZERO = 0x4338000000000000  # the number of the cell at the origin
FACTORS = (0x9E3779B97F4A7C15, 0xC2B2AE3D27D4EB4F, 0x165667B19E3779F9)
LAST_FACTOR = 0xD6E8FEB86659FD93
WORD = 1 << 64


def reduced(basis):
    """A basis of short vectors of the same lattice, by pairwise reduction until nothing gets shorter."""
    def dot(a, b):
        return sum(p * q for p, q in zip(a, b))
    basis = [list(v) for v in basis]
    again = True
    while again:
        again = False
        for i in range(3):
            for j in range(3):
                if i == j:
                    continue
                times = (2 * dot(basis[i], basis[j]) + dot(basis[j], basis[j])) // (2 * dot(basis[j], basis[j]))
                shorter = [p - times * q for p, q in zip(basis[i], basis[j])]
                if dot(shorter, shorter) < dot(basis[i], basis[i]):
                    basis[i] = shorter
                    again = True
    return basis


def near_origin(basis):
    """Returns a function: the point of the lattice's coset nearest to the origin or about."""
    (a, b, c), (d, e, f), (g, h, i) = basis
    det = a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g)
    adjoint = ((e * i - f * h, c * h - b * i, b * f - c * e), (f * g - d * i, a * i - c * g, c * d - a * f),
               (d * h - e * g, b * g - a * h, a * e - b * d))

    def reduce(point):
        parts = [sum(point[k] * adjoint[k][m] for k in range(3)) for m in range(3)]
        times = [(2 * part + det) // (2 * det) for part in parts]
        return [point[k] - sum(times[m] * basis[m][k] for m in range(3)) for k in range(3)]
    return reduce


def colliding(n):
    """Points whose cells all fall into the first slots of a table that is looked up by the highest bits of the sum of
    cells times FACTORS, folded and multiplied by LAST_FACTOR. Few of them have the same sum."""
    inverse = pow(FACTORS[0], -1, WORD)
    unmixed = pow(LAST_FACTOR, -1, WORD)
    basis = reduced([(WORD, 0, 0), (-FACTORS[1] * inverse % WORD, 1, 0), (-FACTORS[2] * inverse % WORD, 0, 1)])
    reduce = near_origin(basis)
    around = [[0, 0, 0]] + [[sign * c for c in vector] for vector in basis for sign in (1, -1)]
    low = struct.Struct("<3f")
    number = made = 0
    while made < n:
        number += 1
        folded = ((number << 34) + number * 0x9E3779B1 % (1 << 32)) * unmixed % WORD
        cell_sum = (folded ^ folded >> 32) - CELL_ZERO * sum(FACTORS)
        first = reduce([cell_sum * inverse % WORD, 0, 0])
        for by in around:
            cells = [p + q for p, q in zip(first, by)]
            if max(map(abs, cells)) * CELL < 30_000:
                made += 1
                yield low.unpack(low.pack(*(c * CELL for c in cells)))


@joined
def attack(n):
    points = list(colliding(3 * n))
    for i in range(0, 3 * n, 3):
        yield points[i] + points[i + 1] + points[i + 2]


def crowd(n):
    """Corners a little over the import's tolerance apart, and just as many that lie within it of several."""
    side = math.ceil((1.5 * n) ** (1 / 3))
    points = []
    for i in range(3 * n // 2):
        points.append(tuple(1.01e-4 * c for c in (i % side, i // side % side, i // side // side)))
    between = [tuple(c + 0.5e-4 for c in p) for p in points]
    points += between
    for i in range(0, len(points) - 2, 3):
        yield points[i] + points[i + 1] + points[i + 2]


MESHES = {"rings": rings, "cavities": cavities, "nested": nested, "prism": prism, "needles": needles, "soup": soup,
          "hub": hub, "sphere": sphere, "holes": holes, "cracked": cracked, "one crack": one_crack, "attack": attack,
          "crowd": crowd, "flats": flats, "bows": bows, "doubled": doubled, "fence": fence, "comb": comb}

PAIRS = {"flats": flats, "shaken flats": lambda n: flats(n, 0.01), "prisms": prism,
         "drafted prisms": lambda n: prism(n, draft=0.3), "twisted prisms": lambda n: prism(n, twist=0.5),
         "diamonds": lambda n: prism(n, sides=4, draft=0.01), "needles": needles, "soup": soup, "hubs": hub,
         "spheres": sphere, "rings": rings}


def command(words, name, mesh):
    """A case: the words with FILE, DIR and N put in."""
    def make(n, folder):
        path = stl(folder, f"{name.replace(' ', '_')}-{n}.stl", mesh(n))
        return [word.replace("FILE", path).replace("DIR", str(folder)).replace("N", str(n // 4)) for word in words.split()]
    return make


def pair(words, name, mesh):
    """Two pieces of n / 2 facets each."""
    def make(n, folder):
        path = stl(folder, f"pair_{name.replace(' ', '_')}-{n}.stl", mesh(n // 2))
        return [word.replace("FILE", path).replace("DIR", str(folder)) for word in words.split()]
    return make


def openings(words, mesh, off):
    """A mesh of half the bytes and points of the other half; each `off` away from the surface."""
    def make(n, folder):
        path = pathlib.Path(stl(folder, f"openings_{off}-{n}.stl", mesh(n)))
        with open(path.with_suffix(".V_D"), "w") as lines:
            chance = random.Random(4)
            for _ in range(n):
                away = [chance.gauss(0, 1) for _ in range(3)]
                length = (40 + off) / math.hypot(*away)
                lines.write(" ".join(f"{50 + c * length:.3f}" for c in away) + " 0 0 1 3\n")
        return [word.replace("FILE", str(path)).replace("DIR", str(folder)) for word in words.split()]
    return make


def sealed(words):
    """Cavities, and points beside all of them."""
    def make(n, folder):
        path = pathlib.Path(stl(folder, f"sealed-{n}.stl", cavities(n)))
        with open(path.with_suffix(".V_D"), "w") as lines:
            lines.writelines(f"{100 * i / n:.4f} {-1 - i % 7} {i % 90} 0 0 1 3\n" for i in range(n))
        return [word.replace("FILE", str(path)).replace("DIR", str(folder)) for word in words.split()]
    return make


SINGLE = ("info FILE", "check FILE", "convert FILE -o DIR/out.ctl --force", "simplify FILE --facets N --force-checks -o DIR/out.stl --force",
          "repair FILE -o DIR/out.stl --force", "hollow FILE --limit 1 -o DIR/out.stl --force",
          "hollow FILE --limit 1 --validate -o DIR/out.stl --force", "vents find FILE", "place FILE --vat 2000x2000x500",
          "render FILE -o DIR/out.png", "report FILE -o DIR/out.html",
          "transform FILE --rotate-x 30 -o DIR/out.stl --force", "zcomp FILE --height 0.5 -o DIR/out.stl --force",
          "slice FILE --thickness 0.5 -o DIR/out.slc --force", "slice FILE --thickness 0.5 --union always -o DIR/out.slc --force",
          "check FILE --slices --thickness 0.1mm")


def named(words):
    return words.split(" FILE")[0] + "".join(text for option, text in (("--validate", " validated"), ("--union", " united"),
                                                                       ("--slices", " slices")) if option in words)


CASES = [
    *((f"{name}: {named(words)}", command(words, name, mesh), SIZES)
      for name, mesh in MESHES.items() for words in SINGLE),
    *((f"two {name}: {words.split()[0]}", pair(words, name, mesh), SIZES) for name, mesh in PAIRS.items()
      for words in ("place FILE FILE --vat 200x200x200 --drop", "build FILE FILE --vat 200x200x200 --drop -o DIR/built --force --force-checks")),
    *((f"{where} openings: {words.split(' FILE')[0]}", openings(words, sphere, off), SIZES)
      for where, off in (("near", 0), ("far", 1000), ("central", -40))
      for words in ("check FILE", "vents list FILE", "vents move FILE --by 0,0,0 -o DIR/out.V_D")),
    *((f"sealed cavities: {words.split()[0]}", sealed(words), SIZES)
      for words in ("check FILE", "hollow FILE --limit 0.01 -o DIR/out.stl --force")),
]
