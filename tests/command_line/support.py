"""What the command-line tests share: running the tool, and building and reading mesh files without the library."""
import json
import math
import os
import pathlib
import re
import shutil
import struct
import subprocess
import tempfile
import unittest

import schemas

TOOL = os.environ["TRQPREP"]
SOURCE = pathlib.Path(os.environ["TRQ_SOURCE_DIR"])
SANITIZED = bool(os.environ.get("TRQ_SANITIZE"))

# Every command flushes what it writes. Nobody waits for a disk where there is a file system in memory with room.
if "TMPDIR" not in os.environ and os.path.isdir("/dev/shm") and shutil.disk_usage("/dev/shm").free > 1 << 30:
    os.environ["TMPDIR"] = tempfile.tempdir = "/dev/shm"

DONE, NO, USAGE, INPUT, OUTPUT, NO_PLACEMENT, INTERNAL, INTERRUPTED = 0, 1, 2, 3, 4, 5, 70, 130

# A machine profile with all that an estimate wants.
LAB_PROFILE = """[lab]
type = "TRQ-E7"
vat = "200x200x200mm"
beam = "0.1mm"
power = 200
travel = 300
delay-unit = "s"
dp-unit = "mm"
ec-unit = "mJ/cm2"
"""


def findings_of_sanitizers(text):
    """The lines in which a sanitizer tells that it found something."""
    return [line for line in text.splitlines() if "Sanitizer:" in line or ": runtime error: " in line]


class Result:
    def __init__(self, completed):
        self.exit = completed.returncode
        self.out = completed.stdout
        self.err = completed.stderr.decode("utf-8", "replace") if completed.stderr is not None else ""

    def document(self):
        return json.loads(self.out.decode("utf-8"))

    def codes(self):
        return [m["code"] for m in self.document()["messages"]]


def run(*arguments, cwd=None, env=None, verified=True, **more):
    """Runs the tool. What a build wrote is verified, unless `verified` is false: for folders that are broken on purpose."""
    environment = dict(os.environ, **(env or {}))
    more.setdefault("stdin", subprocess.DEVNULL)
    more.setdefault("stdout", subprocess.PIPE)
    more.setdefault("stderr", subprocess.PIPE)
    more.setdefault("timeout", 1200)
    result = Result(subprocess.run([TOOL, *arguments], cwd=cwd, env=environment, **more))
    check_hints(result)
    # Some of them end a program with 1, which is also an answer.
    if SANITIZED and findings_of_sanitizers(result.err):
        raise AssertionError(result.err)
    check_documents(result, arguments, cwd, verified)
    return result


def check_hints(result):
    """Every error names the next step, whichever test met it."""
    lines = result.err.splitlines()
    for line, after in zip(lines, lines[1:] + [""]):
        if re.match(r"trqprep: error: .*\[[A-Z0-9-]+\]$", line) and "; hint: " not in line and not after.startswith("  hint: "):
            raise AssertionError("an error without a hint: " + line)
    if b'"severity": "error"' in (result.out or b""):
        for message in result.document()["messages"]:
            if message["severity"] == "error" and not message["hint"]:
                raise AssertionError(f"an error without a hint: {message}")


def check_documents(result, arguments, cwd, verified):
    """What was printed, and the build folder that was written, follow their schemas, and `verify` accepts the folder."""
    if result.out:
        schemas.check_output(result.out)
    if not arguments or arguments[0] != "build" or result.exit not in (DONE, NO):
        return
    for option, value in zip(arguments, arguments[1:]):
        if option in ("-o", "--output"):
            folder = pathlib.Path(os.fsdecode(cwd or "."), os.fsdecode(value))
            if (folder / "build.json").exists() or (folder / "plates.json").exists():
                for each in [folder, *folder.glob("plate-*")]:
                    schemas.check_folder(each)
                if verified and not SANITIZED:  # once is enough, and there it takes seconds
                    seen = subprocess.run([TOOL, "verify", "--strict", folder], stdout=subprocess.PIPE,
                                          stderr=subprocess.STDOUT, timeout=1200)
                    if seen.returncode != DONE:
                        raise AssertionError(f"{arguments} wrote what 'verify' refuses: {seen.stdout.decode()}")


class ToolTest(unittest.TestCase):
    """Each test runs in a folder of its own."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="trqprep-test-"))
        self.addCleanup(self._remove)

    def _remove(self):
        subprocess.run(["chmod", "-R", "u+rwx", str(self.folder)], check=False)
        shutil.rmtree(self.folder, ignore_errors=True)

    def run_tool(self, *arguments, **more):
        more.setdefault("cwd", self.folder)
        return run(*[os.fspath(a) if not isinstance(a, bytes) else a for a in arguments], **more)

    def good(self, *arguments, **more):
        result = self.run_tool(*arguments, **more)
        self.assertEqual(result.exit, DONE, result.err)
        return result

    def json_of(self, *arguments, **more):
        """The data of a command that succeeds."""
        return self.good(*arguments, "--json", **more).document()["data"]

    def info_of(self, *arguments, **more):
        """What `info` says of a single file."""
        entry, = self.json_of("info", *arguments, **more)["files"]
        return entry

    def fails(self, code, *arguments, **more):
        result = self.run_tool(*arguments, **more)
        self.assertEqual(result.exit, code, result.err)
        return result

    def path(self, name):
        return self.folder / name

    def write(self, name, data):
        self.path(name).write_bytes(data if isinstance(data, bytes) else data.encode())
        return name

    def listing(self):
        return sorted(p.name for p in self.folder.iterdir())

    def assert_no_leftovers(self, folder=None):
        for path in pathlib.Path(folder or self.folder).rglob(".trqprep-*"):
            self.fail(f"left behind: {path}")

    def assert_points(self, found, wanted, places=5):
        """The same points, in any order and as often."""
        def key(p):
            return tuple(round(c, places) + 0.0 for c in p)
        self.assertEqual(sorted(map(key, found)), sorted(map(key, wanted)))


# --- meshes ---------------------------------------------------------------------------------------------------

def box_facets(size=(10, 20, 30), at=(0, 0, 0)):
    """The twelve facets of a box, outward."""
    x0, y0, z0 = at
    x1, y1, z1 = (a + s for a, s in zip(at, size))
    v = [(x, y, z) for z in (z0, z1) for y in (y0, y1) for x in (x0, x1)]
    quads = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    facets = []
    for a, b, c, d in quads:
        facets += [(v[a], v[b], v[c]), (v[a], v[c], v[d])]
    return facets


def ring_facets(outer, inner, height, sides=48):
    """A closed ring about the middle of a square of twice the outer radius."""
    def at(radius, k, z):
        angle = 2 * math.pi * k / sides
        return (outer + radius * math.cos(angle), outer + radius * math.sin(angle), z)
    facets = []

    def quad(a, b, c, d):
        facets.extend([(a, b, c), (a, c, d)])
    for k in range(sides):
        n = k + 1
        quad(at(outer, k, 0), at(outer, n, 0), at(outer, n, height), at(outer, k, height))
        quad(at(inner, n, 0), at(inner, k, 0), at(inner, k, height), at(inner, n, height))
        quad(at(inner, k, height), at(outer, k, height), at(outer, n, height), at(inner, n, height))
        quad(at(outer, k, 0), at(inner, k, 0), at(inner, n, 0), at(outer, n, 0))
    return facets


def binary_stl(facets, header=b"made by a test", announced=None, attribute=0):
    head = header.ljust(80, b"\0")[:80] + struct.pack("<i", len(facets) if announced is None else announced)
    return head + b"".join(struct.pack("<12fH", 0, 0, 0, *[c for corner in facet for c in corner], attribute)
                           for facet in facets)


def ascii_stl(facets):
    lines = ["solid made"]
    for facet in facets:
        lines += ["facet normal 0 0 0", "outer loop"]
        lines += ["vertex %.9g %.9g %.9g" % corner for corner in facet]
        lines += ["endloop", "endfacet"]
    return "\n".join(lines + ["endsolid made"]) + "\n"


def read_binary_stl(path):
    data = pathlib.Path(path).read_bytes()
    count = struct.unpack_from("<i", data, 80)[0]
    assert len(data) == 84 + 50 * count, (len(data), count)
    facets = []
    for i in range(count):
        f = struct.unpack_from("<12f", data, 84 + 50 * i)
        facets.append((f[3:6], f[6:9], f[9:12]))
    return facets


def read_ctl(path):
    """Header fields, vertices and triangles of a CTL file."""
    data = pathlib.Path(path).read_bytes()
    vertex_count, triangle_count = struct.unpack_from("<2i", data, 0)
    units, sort_state = struct.unpack_from("<2i", data, 72)
    assert struct.unpack_from("<i", data, 160)[0] == 121
    vertices = [struct.unpack_from("<3f", data, 256 + 12 * i) for i in range(vertex_count)]
    bits = max(vertex_count - 1, 0).bit_length()
    words = bits * 4 * triangle_count // 32 + 1
    start = 256 + 12 * vertex_count
    assert len(data) == start + 4 * words, (len(data), start + 4 * words)
    stream = "".join(format(w, "032b") for w in struct.unpack_from(f"<{words}I", data, start))
    values = [int(stream[i * bits:(i + 1) * bits], 2) for i in range(4 * triangle_count)]
    triangles = [values[4 * i:4 * i + 4] for i in range(triangle_count)]
    return {"units": units, "sort_state": sort_state, "vertices": vertices, "triangles": triangles}


def make_ctl(vertices, triangles, units=1):
    """A CTL file, packed here bit by bit."""
    header = bytearray(256)
    struct.pack_into("<2i", header, 0, len(vertices), len(triangles))
    for k in range(4):
        struct.pack_into("<f", header, 8 + 20 * k, 1.0)
    struct.pack_into("<i", header, 72, units)
    struct.pack_into("<2i", header, 160, 121, 12)
    bits = max(len(vertices) - 1, 0).bit_length()
    stream = "".join(format(v, f"0{bits}b") for t in triangles for v in (*t, 0))
    words = bits * 4 * len(triangles) // 32 + 1
    stream = stream.ljust(32 * words, "0")
    body = b"".join(struct.pack("<I", int(stream[32 * i:32 * i + 32], 2)) for i in range(words))
    return bytes(header) + b"".join(struct.pack("<3f", *v) for v in vertices) + body


def volume(facets):
    total = 0.0
    for a, b, c in facets:
        total += (a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2])
                  + a[2] * (b[0] * c[1] - b[1] * c[0]))
    return total / 6


def bounds(facets):
    corners = [corner for facet in facets for corner in facet]
    return ([min(c[k] for c in corners) for k in range(3)], [max(c[k] for c in corners) for k in range(3)])


def command_names():
    """Every command line prefix that can be run: ["info"], ["style", "show"], ..."""
    page = run("help", "--reference-page").out.decode()
    found = []
    for heading, body in re.findall(r"^### trqprep ([^\n]+)\n(.*?)(?=^### |\Z)", page, re.S | re.M):
        if "```text" in body:
            found.append(heading.split())
    return found
