"""Memory on files of at most 512 bytes that announce a great deal."""
import struct

from figures import MIB, parallel, run_measured

LIMIT = 16 * MIB
COUNTS = (0x7FFFFFFF, 0x7FFFFFFE, 0x10000000, 0x01000000, 0x02000000, 26000000, 100000, 0xFFFFFFFF, 0x80000000)


def ctl(vertices, triangles, body=b""):
    header = bytearray(256)
    struct.pack_into("<2I", header, 0, vertices, triangles)
    for k in range(4):
        struct.pack_into("<f", header, 8 + 20 * k, 1.0)
    struct.pack_into("<i", header, 72, 1)
    struct.pack_into("<2i", header, 160, 121, 12)
    return bytes(header) + body


def slc(boundaries, vertices):
    head = b"-SLCVER 2.0 -UNIT MM\r\n\x1a" + bytes(256) + b"\x01" + bytes(16)
    return head + struct.pack("<fIII", 0.5, boundaries, vertices, 0)


def record(allowed):
    """A style record that announces this many allowed values."""
    return struct.pack("<ff3Bff", 2.06, 2.06, 1, 1, 1, 100000, -100000) + struct.pack("<I", allowed)


def bombs():
    """(file name, bytes) of every bomb."""
    for count in COUNTS:
        name = f"{count:x}"
        yield f"facets-{name}.stl", b"bomb".ljust(80) + struct.pack("<I", count) + bytes(50)
        yield f"vertices-{name}.ctl", ctl(count, 4, bytes(64))
        yield f"triangles-{name}.ctl", ctl(4, count, bytes(64))
        yield f"both-{name}.ctl", ctl(count, count, bytes(64))
        yield f"one-vertex-{name}.ctl", ctl(1, count, bytes(16))
        yield f"boundaries-{name}.slc", slc(count, 0) + bytes(128)
        yield f"vertices-{name}.slc", slc(1, count) + bytes(64)
        yield f"allowed-{name}.sty", record(count) + bytes(64)
        yield f"allowed-{name}.rcs", struct.pack("<I", 0) + record(count) + bytes(64)
        # A legacy style is longer than a bomb may be up to its counts, so they stand in a short one here.
        yield f"legacy-{name}.rcs", struct.pack("<f", 2.03) + struct.pack("<I", count) * 120
    yield "solids.stl", (b"solid\nfacet\nouter\n" * 40)[:512]
    yield "line.stl", (b"solid a\n  facet normal " + b"0" * 500)[:512]
    yield "lines.V_D", (b"1e308 " * 100)[:512]
    yield "deep.json", b"[" * 512
    yield "deeper.json", (b'{"a":' * 128)[:512]
    yield "deep.toml", b"a = " + b"[" * 508
    yield "tables.toml", b"[" + b"a." * 250 + b"a]\n"
    yield "inline.toml", (b"a = " + b"{b=" * 200)[:512]
    yield "copies.toml", b"[[part]]\nfile = 'none.stl'\ncopies = 1000\n" * 12


def commands(name):
    """What a person may do with such a file."""
    if name.endswith(".json"):
        return [["style", "import", name, "-o", name + ".sty"], ["recoat", "import", name, "-o", name + ".rcs"]]
    if name.endswith(".toml"):
        return [["info", name], ["build", name, "-o", name + ".out"], ["machines", "--machines", name]]
    one = [["info", name], ["check", name]]
    if name.endswith((".stl", ".ctl")):
        one += [["convert", name, "-o", name + ".out.ctl"], ["info", "--accept-partial", name]]
    if name.endswith(".slc"):
        one += [["slc", "verify", name]]
    if name.endswith((".sty", ".rcs")):
        one += [["style" if name.endswith(".sty") else "recoat", "show", name]]
    return one


def measure(report):
    folder = report.folder("bombs")
    runs = []
    for name, data in bombs():
        assert len(data) <= 512, (name, len(data))
        (folder / name).write_bytes(data)
        runs += commands(name)
    done = parallel(lambda arguments: (arguments, run_measured([report.tool, *arguments], folder, cwd=folder)), runs)
    report.all_of("bombs.answers", [f"{a}: exit {r.exit} {r.err[-200:]}" for a, r in done
                                     if r.crashed() or r.exit not in (0, 1, 2, 3, 4, 5)], len(done),
                   "every one ends with a documented exit code")
    arguments, worst = max(done, key=lambda pair: pair[1].peak)
    report.line("bombs.memory", worst.peak <= LIMIT, f"{worst.peak / MIB:.1f} MiB ({' '.join(arguments)})",
                 "16 MiB", binding=False)
    arguments, worst = max(done, key=lambda pair: pair[1].seconds)
    report.line("bombs.time", worst.seconds <= 1, f"{worst.seconds:.2f} s ({' '.join(arguments)})", "1 s", binding=False)
