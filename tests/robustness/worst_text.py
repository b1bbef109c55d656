"""Worst cases among what is read as text, numbers or lists: each makes its files of about n things in a folder and
returns the arguments of trqprep. CASES lists (name, make, sizes)."""
import json
import math
import pathlib
import shutil
import struct
import sys

DATA = pathlib.Path(__file__).resolve().parents[1] / "data"
sys.path.insert(0, str(DATA / "styles"))
sys.path.insert(0, str(DATA / "recoat"))
import make_golden_recoat  # noqa: E402
import make_golden_styles  # noqa: E402

SIZES = (10_000, 100_000, 1_000_000)


TETRAHEDRON = struct.pack("<I", 4) + b"".join(
    struct.pack("<12fH", 0, 0, 0, *(9.0 * (c == k) for c in corners for k in (1, 2, 3)), 0)
    for corners in ((0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)))


def put(folder, name, data):
    path = pathlib.Path(folder) / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(data if isinstance(data, bytes) else data.encode())
    return str(path)


# --- Contours and meshes ----------------------------------------------------------------------------------------

def empty_layers(n, folder):
    head = b"-SLCVER 2.0 -UNIT MM\r\n\x1a" + bytes(256) + b"\x01" + struct.pack("<4f", 0, 0.5, 0, 0)
    layers = b"".join(struct.pack("<fI", 0.5 * i, 0) for i in range(n))
    return put(folder, "empty.slc", head + layers + struct.pack("<fI", 0.5 * n, 0xFFFFFFFF))


def empty_boundaries(n, folder):
    head = b"-SLCVER 2.0 -UNIT MM\r\n\x1a" + bytes(256) + b"\x01" + struct.pack("<4f", 0, 0.5, 0, 0)
    return put(folder, "boundaries.slc", head + struct.pack("<fI", 0, n) + bytes(8 * n) + struct.pack("<fI", 1, 0xFFFFFFFF))


def few_vertices(vertices, triangles, folder):
    """A CTL file whose triangles take (vertices - 1).bit_length() bits an index, all of vertex 0."""
    header = bytearray(256)
    struct.pack_into("<2i", header, 0, vertices, triangles)
    struct.pack_into("<4f", header, 8, 1, 0, 0, 0)
    struct.pack_into("<2i", header, 72, 1, 0)
    struct.pack_into("<2i", header, 160, 121, 12)
    corners = b"".join(struct.pack("<3f", k % 2, k // 2 % 2, k // 4 % 2) for k in range(vertices))
    words = (vertices - 1).bit_length() * 4 * triangles // 32 + 1
    return put(folder, f"{vertices}.ctl", bytes(header) + corners + bytes(4 * words))


def ascii_facets(n, folder):
    facet = "facet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\n"
    return put(folder, "same.stl", "solid same\n" + facet * n + "endsolid same\n")


def one_line(n, folder):
    """A text STL without line ends."""
    facet = "facet normal 0 0 0 outer loop vertex 0 0 0 vertex 1 0 0 vertex 0 1 0 endloop endfacet "
    return put(folder, "line.stl", "solid line " + facet * n + "endsolid line")


def long_word(n, folder):
    """A text STL of one facet and a word of n digits, and one of n blanks."""
    return put(folder, "word.stl", "solid word\nfacet normal 0 0 0\nouter loop\nvertex 0 0 0." + "0" * n +
               "\nvertex 1 0 0\nvertex 0" + " " * n + "1 0\nendloop\nendfacet\nendsolid word\n")


def long_name(n, folder):
    return put(folder, "name.stl", "solid " + "x" * n + "\nfacet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
               "vertex 0 1 0\nendloop\nendfacet\nendsolid\n")


def blank_lines(n, folder):
    return put(folder, "blank.stl", "\n" * n + "solid a\nfacet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
               "vertex 0 1 0\nendloop\nendfacet\nendsolid a\n")


# --- Styles and JSON --------------------------------------------------------------------------------------------

def allowed_style(n, folder):
    style = make_golden_styles.default_style()
    style.records["Small Up Number of Hatches"].allowed = range(n)
    return put(folder, "allowed.sty", make_golden_styles.layout_301(style))


def allowed_json(n, folder):
    # A number of hatches takes the values from 0 to the last one allowed.
    record = {"value": 0, "default": 0, "display": 1, "edit": 1, "range": 1, "minimum": 0, "maximum": n - 1,
              "allowed": list(range(n))}
    document = {"schema": "trqprep.build-style/1", "parameters": [{"name": "Small Up Number of Hatches", **record}]}
    return put(folder, "allowed.json", json.dumps(document, separators=(",", ":")))


def style_import(make):
    return lambda n, folder: ["style", "import", make(n, folder), "-o", str(pathlib.Path(folder) / "out.sty")]


def json_objects(n, folder):
    return put(folder, "objects.json", "[" + ",".join(["{}"] * n) + "]")


def json_numbers(n, folder):
    return put(folder, "numbers.json", "[" + ",".join(["0"] * n) + "]")


def json_members(n, folder):
    """Objects of as many members as one may have."""
    most = 1000
    members = ",".join(f'"member {k}":0' for k in range(most))
    return put(folder, "members.json", "[" + ",".join(["{" + members + "}"] * (n // most)) + "]")


def json_same_member(n, folder):
    return put(folder, "same.json", "[" + ",".join(["{" + ",".join(['"a":0'] * 1000) + "}"] * (n // 1000)) + "]")


def json_members_of_one(n, folder):
    return put(folder, "one.json", "{" + ",".join(f'"member {k}":0' for k in range(n)) + "}")


def json_text(n, folder):
    return put(folder, "text.json", '{"schema":"' + "\\u00e9" * n + '"}')


def build_folder(members):
    """A build folder whose build.json says `members(n)`."""
    def make(n, folder):
        box = {"min": [0, 0, 0], "max": [1, 1, 1]}
        document = {"schema": "trqprep.build-folder/1", "units": "mm", "vat": [10, 10, 10], "inputs": [], "pieces": [],
                    "extent": box, "recoat": [], "styles": [], "files": [], "sum": "", **members(n)}
        put(folder, "build.json", json.dumps(document))
        return str(folder)
    return make


many_files = build_folder(lambda n: {"files": [{"file": f"parts/{k}", "sha256": "", "size": 0} for k in range(n)]})
many_pieces = build_folder(lambda n: {"pieces": [{"part": "a", "mesh": f"meshes/none-{k}.ctl"} for k in range(n)]})
many_inputs = build_folder(
    lambda n: {"inputs": [{"part": f"p{k}", "file": "parts/none.stl", "facets": 1, "copies": 0} for k in range(n // 2)],
               "pieces": [{"part": f"p{k}", "mesh": f"meshes/none-{k}.ctl",
                           "box": {"min": [0, 0, 0], "max": [1, 1, 1]}} for k in range(n // 2)]})


# --- Job and machine files --------------------------------------------------------------------------------------

def parts(n, folder):
    return put(folder, "parts.toml", "[[part]]\nfile = 'none.stl'\n" * n)


def same_styles(n, folder):
    put(folder, "part.stl", bytes(80) + TETRAHEDRON)
    return put(folder, "styles.toml", "[[part]]\nfile = 'part.stl'\n" + "[[part.style]]\nfile = 'none.sty'\n" * n)


def tables(n, folder):
    return put(folder, "tables.toml", "".join(f"[t{k}]\nvat = '1x1x1mm'\n" for k in range(n)))


def deep_tables(n, folder):
    return put(folder, "deep.toml", "".join(f"[a.b.c.d.e.f.g.h.t{k}]\n" for k in range(n)))


def keys(n, folder):
    return put(folder, "keys.toml", "".join(f"k{k} = 1\n" for k in range(n)))


def dotted_keys(n, folder):
    return put(folder, "dotted.toml", "".join(f"a.b.c.k{k} = 1\n" for k in range(n)))


def inline_tables(n, folder):
    return put(folder, "inline.toml", "a = [" + "{b={c=1}}," * n + "]\n")


def list_of_lists(n, folder):
    return put(folder, "lists.toml", "a = [" + "[]," * n + "]\n")


def toml_text(n, folder):
    return put(folder, "text.toml", 'a = """' + "\\u00e9" * n + '"""\n')


def comments(n, folder):
    return put(folder, "comments.toml", "# nothing\n" * n)


# --- Pieces -----------------------------------------------------------------------------------------------------

VAT = "vat = '1000x1000x100mm'\n"
NEST = "units = 'mm'\nengine = 'nest'\n"


def piece_count(n):
    return max(2, n // 100)


def job(name, head, entry, vat=VAT):
    """A job of n / 100 parts: `entry(k, count)` says the k-th."""
    def make(n, folder):
        parts = pathlib.Path(folder) / name
        parts.mkdir(exist_ok=True)
        put(parts, "part.stl", bytes(80) + TETRAHEDRON)
        count = piece_count(n)
        return put(folder, f"{name}.toml", NEST + vat + head + "".join(f"[[part]]\n{entry(k, count)}\n" for k in range(count)))
    return make


def in_rows(k, count):
    side = math.isqrt(count - 1) + 1
    return f"at = [{2 + k % side * 900 / side}, {2 + k // side * 900 / side}]"


def one_in_another(n, folder):
    """A job of square rings around each other."""
    parts = pathlib.Path(folder) / "rings"
    shutil.rmtree(parts, ignore_errors=True)
    parts.mkdir()
    count = piece_count(n)
    entries = []
    for k in range(count):
        inner = 1 + 400 * k / count
        ring = list(square_ring(inner, inner + 200 / count))
        put(parts, f"{k}.stl", bytes(80) + struct.pack("<I", len(ring)) + b"".join(
            struct.pack("<12fH", 0, 0, 0, *facet, 0) for facet in ring))
        corner = 450 - inner - 200 / count
        entries.append(f"[[part]]\nfile = 'rings/{k}.stl'\nat = [{corner}, {corner}]\n")
    return put(folder, "rings.toml", NEST + VAT + "".join(entries))


def square_ring(inner, outer):
    corners = [[(x * r, y * r, z) for x, y in ((1, 1), (-1, 1), (-1, -1), (1, -1))] for r in (inner, outer) for z in (0, 1)]
    low_in, high_in, low_out, high_out = corners
    for k in range(4):
        m = (k + 1) % 4
        for a, b, c, d in ((low_in[k], low_in[m], low_out[m], low_out[k]), (high_in[k], high_out[k], high_out[m], high_in[m]),
                           (low_out[k], low_out[m], high_out[m], high_out[k]), (low_in[k], high_in[k], high_in[m], low_in[m])):
            yield a + b + c
            yield a + c + d


def tower(n, folder):
    """Slice contours of the same square in every layer."""
    head = b"-SLCVER 2.0 -UNIT MM\r\n\x1a" + bytes(256) + b"\x01" + struct.pack("<4f", 0, 0.05, 0, 0)
    square = struct.pack("<II10f", 5, 0, 0, 0, 60, 0, 60, 60, 0, 60, 0, 0)
    layers = b"".join(struct.pack("<fI", 50 * k / n, 1) + square for k in range(n))
    return put(folder, "tower.slc", head + layers + struct.pack("<fI", 50, 0xFFFFFFFF))


# --- Side files -------------------------------------------------------------------------------------------------

def points(n, folder):
    return put(folder, "points.V_D", "1 2 3  0 0 1  0.5\n" * n)


def bad_points(n, folder):
    return put(folder, "bad.V_D", "1 2 3  0 0 1  0.5\nnone\n" * (n // 2))


def beside(make):
    """A small part beside a side file."""
    def both(n, folder):
        side = pathlib.Path(make(n, folder))
        put(folder, side.stem + ".stl", bytes(80) + TETRAHEDRON)
        return str(side.with_suffix(".stl"))
    return both


def commands(name, make, *lines, pieces=()):
    """A case for each line of words, in which FILE is what was made; `pieces` says how many it asks for."""
    def case(words):
        return lambda n, folder: [make(n, folder) if word == "FILE" else word.replace("DIR", str(folder))
                                  for word in words]
    for line in lines:
        words = line.split()
        yield f"{name}: {' '.join(w for w in words if w not in ('FILE', '-o', 'DIR/out'))}", case(words), SIZES, *pieces


CASES = [
    *commands("empty layers", empty_layers, "slc info FILE", "slc info FILE --json", "slc verify FILE", "info FILE",
              "slc svg FILE --layer 1 -o DIR/out.svg", "slc mirror FILE --axis x -o DIR/out.slc"),
    *commands("empty boundaries", empty_boundaries, "slc info FILE", "slc verify FILE"),
    *commands("CTL of 2 vertices", lambda n, folder: few_vertices(2, n, folder), "info FILE", "check FILE",
              "convert FILE -o DIR/out.stl"),
    *commands("CTL of 8 vertices", lambda n, folder: few_vertices(8, n, folder), "info FILE", "check FILE"),
    *commands("same facets", ascii_facets, "info FILE", "convert FILE -o DIR/out.stl"),
    *commands("text STL in one line", one_line, "info FILE"),
    *commands("long words", long_word, "info FILE"),
    *commands("long name", long_name, "info FILE"),
    *commands("blank lines", blank_lines, "info FILE"),
    *commands("allowed values", allowed_style, "style show FILE", "style show FILE --json", "style verify FILE",
              "style export FILE --to json", "style export FILE --to csv", "style export FILE --to tidy-csv",
              "style diff FILE FILE", "style units FILE --from mm --to in -o DIR/out.sty", "check FILE", "info FILE",
              "style set FILE SmallUpNumberOfHatches=1 -o DIR/out.sty"),
    *commands("allowed values in JSON", allowed_json, "style import FILE -o DIR/out.sty"),
    *commands("JSON objects", json_objects, "style import FILE -o DIR/out.sty", "recoat import FILE -o DIR/out.rcs"),
    *commands("JSON numbers", json_numbers, "style import FILE -o DIR/out.sty"),
    *commands("JSON members", json_members, "style import FILE -o DIR/out.sty"),
    *commands("JSON members of one name", json_same_member, "style import FILE -o DIR/out.sty"),
    *commands("JSON members of one object", json_members_of_one, "style import FILE -o DIR/out.sty"),
    *commands("JSON text", json_text, "style import FILE -o DIR/out.sty"),
    *commands("files of a build", many_files, "verify FILE", "info FILE"),
    *commands("pieces of a build", many_pieces, "verify FILE", "check FILE", "info FILE"),
    *commands("inputs of a build", many_inputs, "check FILE"),
    *commands("parts", parts, "build FILE -o DIR/out", "check FILE", "info FILE"),
    *(row for name, make in (
        ("pieces in rows", job("rows", "gap = '0mm'\n", lambda k, count: f"file = 'rows/part.stl'\n{in_rows(k, count)}")),
        ("pieces in one place", job("place", "", lambda k, count: "file = 'place/part.stl'\nat = [5, 5]")),
        ("pieces with large gaps", job("gaps", "gap = '1000mm'\n",
                                       lambda k, count: f"file = 'gaps/part.stl'\n{in_rows(k, count)}")),
        ("pieces to be placed", job("free", "", lambda k, count: "file = 'free/part.stl'")),
        ("pieces around each other", one_in_another))
      for row in commands(name, make, "check FILE", "build FILE -o DIR/out --force-checks", pieces=(piece_count,))),
    # A build writes a report of every plate besides.
    *commands("pieces on a plate each", job("plates", "vat = '12x12x100mm'\nmargin = '0mm'\nplates = 'any'\ntime = 0\n",
                                            lambda k, count: "file = 'plates/part.stl'", vat=""),
              "check FILE", pieces=(piece_count,)),
    *commands("tower of layers", tower, "slc info FILE", "info FILE", "check FILE", "render FILE -o DIR/out.png",
              "render FILE --view top -o DIR/out.png", "report FILE -o DIR/out.html"),
    *commands("styles of a part", same_styles, "build FILE -o DIR/out", "check FILE"),
    *commands("TOML tables", tables, "machines --machines FILE", "build FILE -o DIR/out"),
    *commands("TOML tables in tables", deep_tables, "machines --machines FILE"),
    *commands("TOML keys", keys, "machines --machines FILE", "build FILE -o DIR/out"),
    *commands("TOML dotted keys", dotted_keys, "machines --machines FILE"),
    *commands("TOML inline tables", inline_tables, "machines --machines FILE"),
    *commands("TOML lists", list_of_lists, "machines --machines FILE"),
    *commands("TOML text", toml_text, "machines --machines FILE"),
    *commands("TOML comments", comments, "machines --machines FILE"),
    *commands("vents", points, "vents list FILE", "vents list FILE --json", "info FILE"),
    *commands("lines that are no vents", bad_points, "vents list FILE", "info FILE"),
    *commands("vents of a part", beside(points), "check FILE", "vents list FILE", "convert FILE -o DIR/out.ctl"),
]
