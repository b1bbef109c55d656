"""Damaged meshes that are closed again, and how true to the part, beside admesh at the same limits (--corpus)."""
import json
import math
import random
import statistics
import struct
import sys

from figures import parallel, run

DAMAGES = 1000
LONGEST_MOVE = 0.02  # mm
TOLERANCE = 0.05
HOLE_EDGES = 100
SMALLEST_SIDE = 1  # mm: against it a move is small
MOST_FACETS = 50000
SECONDS = 20


def read_stl(data, binary=True):
    """Facets as triples of corners, without anything of ours."""
    if binary:
        count = struct.unpack_from("<I", data, 80)[0] if len(data) >= 84 else 0
        rows = [struct.unpack_from("<9f", data, 84 + 50 * i + 12) for i in range(count)]
        return [(row[0:3], row[3:6], row[6:9]) for row in rows]
    words = data.decode("latin-1").lower().split()
    corners = [tuple(narrow(float(w)) for w in words[i + 1:i + 4]) for i, word in enumerate(words) if word == "vertex"]
    return [tuple(corners[i:i + 3]) for i in range(0, len(corners) - 2, 3)]


def narrow(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def write_stl(path, facets):
    body = b"".join(struct.pack("<12fH", 0, 0, 0, *a, *b, *c, 0) for a, b, c in facets)
    path.write_bytes(b"damaged".ljust(80, b"\0") + struct.pack("<I", len(facets)) + body)


def closed(facets):
    """Every edge is used as often in each direction; corners are one where all their bits are."""
    if not facets:
        return False
    balance = {}
    for facet in facets:
        keys = [struct.pack("<3f", *corner) for corner in facet]
        for a, b in ((0, 1), (1, 2), (2, 0)):
            a, b = keys[a], keys[b]
            if a != b:
                edge, by = ((a, b), 1) if a < b else ((b, a), -1)
                balance[edge] = balance.get(edge, 0) + by
    return not any(balance.values())


def volume(facets, origin):
    total = []
    for facet in facets:
        (a, b, c), (d, e, f), (g, h, i) = ([p[k] - origin[k] for k in range(3)] for p in facet)
        total.append(a * (e * i - f * h) + b * (f * g - d * i) + c * (d * h - e * g))
    return math.fsum(total) / 6


def sides(facets):
    corners = [corner for facet in facets for corner in facet]
    return [(min(c[k] for c in corners), max(c[k] for c in corners)) for k in range(3)]


def damage(facets, seed):
    """Some facets removed, doubled and turned over, some corners of single facets moved."""
    chance = random.Random(seed)
    facets = list(facets)
    most = max(1, min(len(facets) // 50, 20))
    counts = [0, 0, 0, 0]
    while not any(counts):
        counts = [chance.randint(0, most) for _ in counts]
    removed, doubled, turned, moved = counts
    for _ in range(removed):
        del facets[chance.randrange(len(facets))]
    for _ in range(doubled):
        facets.insert(chance.randint(0, len(facets)), facets[chance.randrange(len(facets))])
    for _ in range(turned):
        i = chance.randrange(len(facets))
        a, b, c = facets[i]
        facets[i] = (a, c, b)
    for _ in range(moved):
        i, k = chance.randrange(len(facets)), chance.randrange(3)
        direction = [chance.gauss(0, 1) for _ in range(3)]
        length = LONGEST_MOVE * chance.random() / math.hypot(*direction)
        corners = list(facets[i])
        corners[k] = tuple(narrow(c + length * d) for c, d in zip(corners[k], direction))
        facets[i] = tuple(corners)
    return facets


def whole_meshes(corpus):
    """(name, facets, volume, origin) of the meshes that are closed, face outward and are large enough."""
    chosen = []
    for entry in json.loads((corpus / "stl" / "index.json").read_text())["files"]:
        shape = entry["measured"].get("geometry") or {}
        if shape.get("unbalanced_edges") != 0 or not 4 <= shape["facets"] <= MOST_FACETS:
            continue
        facets = read_stl((corpus / "stl" / entry["file"]).read_bytes(), entry["format"] == "binary")
        box = sides(facets)
        origin = [(low + high) / 2 for low, high in box]
        content = volume(facets, origin)
        if not closed(facets) or min(high - low for low, high in box) < SMALLEST_SIDE or \
                content < 1e-3 * math.prod(high - low for low, high in box):
            continue
        chosen.append((entry["file"], facets, content, origin))
    return chosen


def measure(report):
    report.need_program("admesh")
    meshes = whole_meshes(report.need_corpus())
    count = 50 if report.quick else DAMAGES
    folder = report.folder("repair")

    def one(seed):
        name, facets, content, origin = meshes[seed % len(meshes)]
        given = folder / f"{seed}.stl"
        write_stl(given, damage(facets, seed))
        found = []
        for tool, command in (
                ("ours", [report.tool, "repair", "--tolerance", f"{TOLERANCE}mm", "--holes", str(HOLE_EDGES), given, "-o"]),
                ("admesh", ["admesh", "--nearby", f"--tolerance={TOLERANCE / 5}", "--iterations=5",
                            f"--increment={TOLERANCE / 5}", "--remove-unconnected", "--fill-holes",
                            "--normal-directions", "--normal-values", given, "--write-binary-stl"])):
            out = folder / f"{seed}-{tool}.stl"
            command[-1:] = [f"{command[-1]}={out}"] if tool == "admesh" else [command[-1], out]
            ran = run(command, timeout=SECONDS)  # admesh goes round in circles on some
            repaired = read_stl(out.read_bytes()) if out.exists() else []
            found.append((closed(repaired), abs(volume(repaired, origin) - content) / content, ran.exit))
            if out.exists():
                out.unlink()
        given.unlink()
        return seed, name, found

    results = parallel(one, range(count))
    for seed, name, found in results:
        if "--verbose" in sys.argv:
            print(seed, name, found)
    ours, theirs = ([found[i] for _, _, found in results] for i in (0, 1))
    closes = [sum(1 for is_closed, _, _ in side if is_closed) for side in (ours, theirs)]
    median = [statistics.median(error for _, error, _ in side) for side in (ours, theirs)]
    both = [(o[1], t[1]) for o, t in zip(ours, theirs) if o[0] and t[0]]
    median_both = [statistics.median(side) for side in zip(*both)]
    report.line("repair.closed", closes[0] >= closes[1],
                f"{closes[0]} of {count}, admesh {closes[1]}; {len(meshes)} meshes", "as many as admesh")
    report.line("repair.volume", median[0] <= median[1] / 2, f"{median[0]:.3g}, admesh {median[1]:.3g}",
                "median error at most half of admesh's")
    report.line("repair.volume_closed", median_both[0] <= median_both[1] / 2,
                f"{median_both[0]:.3g}, admesh {median_both[1]:.3g} ({len(both)} meshes)",
                "the same where both are closed")
