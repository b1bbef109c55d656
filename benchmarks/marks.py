#!/usr/bin/env python3
"""Measures every mark and prints one table: marks.py BUILD_FOLDER [nesting|slicing|python]

Runs the benchmark programs and the tool of a build and divides medians of the CPU time (user and system) of repetitions
that alternate with each other. Peers that are not installed are left out, with a note.
"""
import contextlib
import json
import math
import os
import pathlib
import re
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from typing import Callable, Optional

import slice_peers

# Strips: label and what nest_strips is called with. Wall clocks and two threads, so nothing else may run.
STRIPS = [
    ("10 s", ["--seconds", "10"]),
    ("60 s", ["--seconds", "60"]),
    ("libnest2d", ["--peer", "--seconds", "10", "--seeds", "1"]),
]
REPETITIONS = 7
PROCESS_REPETITIONS = 9
SLICE_REPETITIONS = 3  # of peers, which take many seconds to read a mesh
SLICE_LAYERS = 100
PYTHON = "/usr/bin/python3"  # Debian's, which numpy belongs to
PYTHON_REPETITIONS = 7
PART_FACETS = (400000, 1600000)  # a real part is refined until it has so many
SCALE = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}

# Program, the benchmarks that are measured together, repetitions. Peers are measured beside an import of their own: the
# memory that they leave behind would make parse-store look faster than it is.
PART_GROUP = ("slice_benchmark", "(Limit|Slice)/part/", 5)
GROUPS = [
    ("stl_import_benchmark", "(parse_store|import|import_with_normals)/sphere-1M$", REPETITIONS),
    ("stl_import_benchmark", "(import|admesh|assimp)/sphere-1M$", REPETITIONS, "peers"),
    ("stl_import_benchmark", "(literal|memory)/sphere-1M", 5),
    ("stl_import_benchmark", "(parse_store|import)/sphere-100k$", 15),
    ("stl_import_benchmark", "(parse_store|import)/sphere-5M$", REPETITIONS),
    ("stl_import_benchmark", "memory/sphere-5M", 5),
    ("stl_import_benchmark", "(parse_store|import)/plate-1M$", REPETITIONS),
    ("stl_import_benchmark", "(parse_store|import)/small-plate-1M$", REPETITIONS),
    ("stl_import_benchmark", "(import|literal)/small-plate-100k$", 5),
    ("stl_import_benchmark", "(parse_store|import)/gyroid-1M$", REPETITIONS),
    ("stl_import_benchmark", "(parse_store|import)/shuffled-1M$", REPETITIONS),
    ("stl_import_benchmark", "(parse_store|import)/jittered-1M$", REPETITIONS),
    ("stl_import_benchmark", "(from_chars_alone|import)/ascii-1M$", REPETITIONS),
    ("stl_import_benchmark", "(import|assimp|literal)/ascii-1M$", 5, "peers"),
    ("stl_export_benchmark", "(fwrite|save)/binary$", 11),
    ("stl_export_benchmark", "(save|fprintf)/ascii$", 5),
    ("ctl_file_benchmark", "(WriteSameBytes|WriteCtl)/1000$", REPETITIONS),
    ("ctl_file_benchmark", "(ReadSameBytes|ReadCtl)/1000$", REPETITIONS),
    ("mesh_measure_benchmark", ".*", REPETITIONS),
    ("placement_benchmark", "Place/hundred_pieces_of_ten_parts", 5),
    ("placement_benchmark", "Place/hundred_parts", 5),
    ("placement_benchmark", "Place/(one|two|five)_", 11),
    ("placement_benchmark", "Add<.*/1000000$", 5),
    ("shell_offset_benchmark", "Sphere.*/(10|1000)$", 5),
    ("shell_offset_benchmark", "ThinWall.*/1000$", 5),
    ("slc_benchmark", "(LoadSlc|ReadSameBytes|SaveSlc|WriteSameBytes)/1000$", REPETITIONS),
    ("slc_benchmark", "(LoadSlc|ReadSameBytes|SaveSlc|WriteSameBytes)/20$", REPETITIONS),
    ("literal_forms_benchmark", ".*", 5),
    ("slice_benchmark", "(Limit|Slice)/(sphere|gyroid)/", 5),
    ("slice_benchmark", "Slice/(sphere|gyroid)(_two_threads)?/", 5, "threads"),
    PART_GROUP,
    ("slice_benchmark", "(Slice|Estimate)/(sphere|gyroid)(_without_faces)?/1000/", 5, "estimate"),
    ("topology_benchmark", "Analyse/(Rings|Nested|Blocks|Cavities).*/(64|1024)$", 5),
]


@dataclass
class Measured:
    """Medians by name; absent where nothing was measured."""

    cpu: dict = field(default_factory=dict)  # seconds
    counters: dict = field(default_factory=dict)  # (name, counter)
    processes: dict = field(default_factory=dict)  # name: {"cpu", "wall", "memory"}
    strips: dict = field(default_factory=dict)  # label: document of nest_strips
    mixes: dict = field(default_factory=dict)  # document of nest_mixes.py


def run_group(folder, measured, program, pattern, repetitions, label=""):
    command = [os.path.join(folder, "bin", program), "--benchmark_filter=^" + pattern, "--benchmark_format=json",
               f"--benchmark_repetitions={repetitions}", "--benchmark_enable_random_interleaving=true",
               "--benchmark_min_time=0.05"]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)} failed ({done.returncode}):\n{done.stderr}")
    # Meshes and their reading may write to standard output before the document.
    document = json.loads(done.stdout[done.stdout.index('{\n  "context"'):])
    times, counters = {}, {}
    for entry in document["benchmarks"]:
        if entry.get("run_type") != "iteration":
            continue
        if entry.get("error_occurred"):
            sys.exit(f"{entry['name']}: {entry.get('error_message')}")
        name = f"{label or program[:-len('_benchmark')]}:{re.sub('/iterations:1', '', entry['run_name'])}"
        times.setdefault(name, []).append(entry["cpu_time"] * SCALE[entry["time_unit"]])
        if "bytes_per_facet" in entry:
            counters.setdefault((name, "bytes_per_facet"), []).append(entry["bytes_per_facet"])
    if not times:
        sys.exit(f"{program}: nothing matches {pattern}")
    measured.cpu.update({name: statistics.median(values) for name, values in times.items()})
    measured.counters.update({key: statistics.median(values) for key, values in counters.items()})


def run_groups(folder, measured, wanted):
    for group in filter(wanted, GROUPS):
        began = time.perf_counter()
        print(f"== {group[0]} {group[1]}", end="", file=sys.stderr, flush=True)
        run_group(folder, measured, *group)
        print(f" {time.perf_counter() - began:.0f} s", file=sys.stderr)


def run_process(command):
    """CPU seconds, wall seconds and the largest resident set in bytes of one whole process."""
    start = time.perf_counter()
    pid = os.posix_spawn(command[0], command, os.environ,
                         file_actions=[(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)])
    _, status, usage = os.wait4(pid, 0)
    wall = time.perf_counter() - start
    if os.waitstatus_to_exitcode(status) != 0:
        sys.exit(f"{' '.join(command)} failed")
    return usage.ru_utime + usage.ru_stime, wall, usage.ru_maxrss * 1024


@contextlib.contextmanager
def display():
    """A display for programs that need one, apart from what they take themselves; nothing where there is no Xvfb."""
    program = shutil.which("Xvfb")
    if not program:
        yield False
        return
    with subprocess.Popen([program, "-displayfd", "1", "-screen", "0", "1024x768x24"], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True) as server:
        number = server.stdout.readline().strip()
        before = os.environ.get("DISPLAY")
        os.environ["DISPLAY"] = ":" + number
        try:
            yield bool(number)
        finally:
            if before is None:
                del os.environ["DISPLAY"]
            else:
                os.environ["DISPLAY"] = before
            server.terminate()


def real_part(folder, corpus, temporary):
    """A file in `temporary`: the largest binary STL file of a corpus, each facet made four until they are enough."""
    sizes = []
    for path in pathlib.Path(corpus).rglob("*.[sS][tT][lL]"):
        with open(path, "rb") as f:
            head = f.read(84)
        if len(head) == 84 and path.stat().st_size == 84 + 50 * struct.unpack_from("<I", head, 80)[0]:
            sizes.append((path.stat().st_size // 50, str(path)))
    facets, part = max(sizes, default=(0, ""))
    if not facets:
        sys.exit(f"{corpus}: no binary STL file")
    print(f"== part: {os.path.relpath(part, corpus)}, {facets} facets", file=sys.stderr)
    made = shutil.copyfile(part, os.path.join(temporary, "part.stl"))
    while facets < PART_FACETS[0] and 4 * facets <= PART_FACETS[1]:
        refined = os.path.join(temporary, "refined.stl")
        subprocess.run([os.path.join(folder, "bin", "make_mesh"), "refine", made, refined], check=True)
        os.replace(refined, made)
        facets *= 4
    return made


def make_meshes(folder, temporary):
    """Files of the meshes that whole programs read, by name; a part where TRQ_CORPUS names a folder."""
    meshes = {name: os.path.join(temporary, f"{name}.stl") for name in ("sphere", "gyroid")}
    make = os.path.join(folder, "bin", "make_mesh")
    subprocess.run([make, "1000000", meshes["sphere"]], check=True)
    subprocess.run([make, "gyroid", "1000000", meshes["gyroid"]], check=True)
    if "TRQ_CORPUS" in os.environ:
        meshes["part"] = real_part(folder, os.environ["TRQ_CORPUS"], temporary)
        os.environ["TRQ_SLICE_PART"] = meshes["part"]
    return meshes


def heights(tool, mesh):
    document = json.loads(subprocess.run([tool, "info", "--json", mesh], stdout=subprocess.PIPE, check=True).stdout)
    box = document["data"]["files"][0]["box"]
    return box["min"][2], box["max"][2]


def run_processes(folder, measured, meshes, temporary, only_render=False):
    tool = os.path.join(folder, "bin", "trqprep")
    commands = {"info": [tool, "info", meshes["sphere"]], "version": [tool, "version"]}
    for name, *arguments in (("admesh", meshes["sphere"]), ("assimp", "info", meshes["sphere"])):
        program = shutil.which(name)
        if program:
            commands[name] = [program, *arguments]
    for name, mesh in meshes.items():
        if name == "gyroid":
            continue
        low, high = heights(tool, mesh)
        commands[f"info {name}"] = [tool, "info", mesh]
        if only_render:
            continue
        for union in ("never", "auto"):
            commands[f"slice {name} {union}"] = [
                tool, "slice", mesh, "--thickness", f"{(high - low) / SLICE_LAYERS!r}mm", "--threads", "1", "--union", union,
                "--force", "-o", os.path.join(temporary, f"{name}.slc")]
    picture = os.path.join(temporary, "sphere.png")
    commands["render"] = [tool, "render", meshes["sphere"], "-o", picture, "--force"]
    with display() as shown:
        if shown and shutil.which("f3d"):
            commands["f3d"] = [shutil.which("f3d"), meshes["sphere"], "--output=" + picture, "--resolution=800,600"]
        samples = {name: [] for name in commands}
        for _ in range(PROCESS_REPETITIONS):
            for name, command in commands.items():
                samples[name].append(run_process(command))
    for name, values in samples.items():
        cpu, wall, memory = (statistics.median(column) for column in zip(*values))
        measured.processes[name] = {"cpu": cpu, "wall": wall, "memory": memory}


def run_python(folder, measured, meshes):
    """Reading from Python beside reading from C++, and beside meshio where that is installed: in turns."""
    environment = dict(os.environ, PYTHONPATH=os.path.join(folder, "python"))
    script = [PYTHON, os.path.join(os.path.dirname(os.path.abspath(__file__)), "python_load.py")]
    commands = {"library": [os.path.join(folder, "bin", "load_mesh")], "trqprep": [*script, "trqprep"]}
    if subprocess.run([PYTHON, "-c", "import meshio"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
        commands["meshio"] = [*script, "meshio"]
    else:
        print("== meshio is not installed: it is not measured", file=sys.stderr)
    samples = {}
    for _ in range(PYTHON_REPETITIONS):
        for name, command in commands.items():
            done = subprocess.run([*command, meshes["sphere"], "3"], stdout=subprocess.PIPE, text=True, check=True, env=environment)
            for line in done.stdout.splitlines():
                for key, value in json.loads(line).items():
                    samples.setdefault((name, key), []).append(value)
    for (name, key), values in samples.items():
        measured.cpu[f"python:{name} {key}"] = statistics.median(values)


def run_findings(folder, measured):
    done = subprocess.run([os.path.join(folder, "bin", "layer_findings"), "1000000", str(SLICE_LAYERS)],
                          stdout=subprocess.PIPE, text=True, check=True)
    for name, pattern in (("findings", r"([\d.]+) of slicing"), ("rows once", r"([\d.]+) times as fast as polygons"),
                          ("rows of pairs", r"for each pair [\d.]+ s, ([\d.]+) times")):
        measured.counters["layers", name] = float(re.search(pattern, done.stdout).group(1))


def run_slice_peers(folder, measured, meshes, temporary):
    tool = os.path.join(folder, "bin", "trqprep")
    for mesh, path in meshes.items():
        for peer, step in slice_peers.steps(temporary, path, *heights(tool, path), SLICE_LAYERS).items():
            print(f"== {peer}, slicing step of {mesh}", file=sys.stderr, flush=True)
            measured.cpu[f"{peer}:{mesh}"] = statistics.median(
                slice_peers.cpu_between(*step) for _ in range(SLICE_REPETITIONS))


def run_strips(folder, measured):
    """Nothing is measured where the build names no folder of instances."""
    for label, arguments in STRIPS:
        with tempfile.TemporaryDirectory() as temporary:
            answer = os.path.join(temporary, "strips.json")
            command = [os.path.join(folder, "bin", "nest_strips"), *arguments, "--json", answer]
            done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
            if done.returncode == 2:
                print("== nest_strips: no folder of strips was named", file=sys.stderr)
                return
            if done.returncode != 0:
                sys.exit(f"{' '.join(command)} failed ({done.returncode}):\n{done.stdout}{done.stderr}")
            print(f"== nest_strips {' '.join(arguments)}\n{done.stdout}", end="", file=sys.stderr, flush=True)
            with open(answer, encoding="utf-8") as f:
                measured.strips[label] = json.load(f)


def run_mixes(folder, measured):
    """Nothing is measured where TRQ_CORPUS names no folder of parts."""
    if "TRQ_CORPUS" not in os.environ:
        return
    with tempfile.TemporaryDirectory() as temporary:
        answer = os.path.join(temporary, "mixes.json")
        program = os.path.join(os.path.dirname(os.path.abspath(__file__)), "nest_mixes.py")
        subprocess.run([sys.executable, program, os.path.join(folder, "bin", "trqprep"), os.environ["TRQ_CORPUS"], "--json",
                        answer], stdout=sys.stderr, check=True)
        with open(answer, encoding="utf-8") as f:
            measured.mixes = json.load(f)


# How a row's number comes from what was measured. Each answers None where something is missing.


def times(name, limit):
    """How many times as long as the limit."""
    return lambda m: m.cpu[name] / m.cpu[limit] if name in m.cpu and limit in m.cpu else None


def faster(name, other):
    """How many times faster than the other."""
    return times(other, name)


def per_unit(name, other, scale):
    """The cost of one unit of a job, in costs of one unit of another job that is `scale` times smaller."""
    return lambda m: m.cpu[name] / m.cpu[other] / scale


def exponent(name, small, large):
    """The power of the size with which the time of a job grows."""
    return lambda m: math.log(m.cpu[f"{name}/{large}"] / m.cpu[f"{name}/{small}"]) / math.log(large / small)


def counter(name, which):
    return lambda m: m.counters[name, which]


def process(name, which, scale):
    return lambda m: m.processes[name][which] * scale


def process_times(name, limit):
    return lambda m: (m.processes[name]["cpu"] / m.processes[limit]["cpu"]
                      if name in m.processes and limit in m.processes else None)


def process_more(name, other):
    """Memory beyond that of another process, in MB."""
    return lambda m: ((m.processes[name]["memory"] - m.processes[other]["memory"]) * 1e-6
                      if name in m.processes and other in m.processes else None)


def process_faster(name, other):
    return lambda m: m.processes[other]["cpu"] / m.processes[name]["cpu"] if other in m.processes else None


def beyond(name, other, which, scale):
    return lambda m: (m.processes[name][which] - m.processes[other][which]) * scale


def strips(label, which):
    return lambda m: m.strips.get(label, {}).get(which) or None


SLICE_MESHES = {"sphere": "sphere-1M", "gyroid": "gyroid-1M", "part": "a real part of about 750k"}


@dataclass
class Row:
    job: str
    mark: Optional[float]  # None: printed for comparison
    stretch: Optional[float]
    value: Callable
    at_most: bool = True
    unit: str = "×"


def at_least(job, mark, stretch, value):
    return Row(job, mark, stretch, value, at_most=False)


def import_row(mesh, mark, stretch=2):
    return Row(f"binary import, {mesh}, of parse-store", mark, stretch,
               times(f"stl_import:import/{mesh}", f"stl_import:parse_store/{mesh}"))


NESTING = [
    *[at_least(f"strips of the nesting engine, {label}, two threads, of the best known: {which}", mark, stretch,
               strips(label, which))
      for label, which, mark, stretch in (("10 s", "mean", 0.92, 0.95), ("10 s", "least", 0.85, None),
                                          ("60 s", "mean", 0.95, 0.97), ("60 s", "least", 0.88, None))],
    at_least("strips with gaps of 1 % of their height, 10 s, use of libnest2d's: mean", 1.05, None,
             strips("libnest2d", "mean")),
    at_least("mixes of twelve parts by the nesting engine, 10 s, of those by the grid, five vats", 1.5, None,
             lambda m: m.mixes.get("ratio")),
    *[Row(f"place --time 0, {pieces} pieces of ten parts, 24 turns, whole process", mark, None,
          lambda m, pieces=pieces: m.mixes.get(pieces), unit=" s")
      for pieces, mark in (("100", 1), ("1000", 20))],
]

SLICING = [
    *[Row(f"slicing, {SLICE_MESHES[mesh]}, {planes} layers, of a plain loop that stores the crossings", mark, stretch,
          times(f"slice:Slice/{mesh}/{planes}/process_time", f"slice:Limit/{mesh}/{planes}"))
      for mesh in ("sphere", "gyroid", "part") for planes, mark, stretch in ((100, 3, 2), (1000, 6, 3.5))],
    *[at_least(f"slicing, {SLICE_MESHES[mesh]}, {SLICE_LAYERS} layers, against the slicing step of {text}", mark, stretch,
               faster(f"slice:Slice/{mesh}/{SLICE_LAYERS}/process_time", f"{peer}:{mesh}"))
      for peer, text, mark, stretch in (("cura", "CuraEngine", 7, 12), ("prusa", "prusa-slicer (resin)", 20, 35))
      for mesh in SLICE_MESHES],
    *[Row(f"trqprep slice --union {union}, {SLICE_MESHES[mesh]}, {SLICE_LAYERS} layers to SLC, whole process, of info", mark,
          stretch, process_times(f"slice {mesh} {union}", f"info {mesh}"))
      for union, mark, stretch in (("never", 1.6, 1.3), ("auto", 2.5, 1.6)) for mesh in ("sphere", "part")],
    *[Row(f"trqprep slice, {SLICE_MESHES[mesh]}, {SLICE_LAYERS} layers, memory beyond that of info", 64, 16,
          process_more(f"slice {mesh} auto", f"info {mesh}"), unit=" MB")
      for mesh in ("sphere", "part")],
    Row(f"islands, overhangs and cups, closed gyroid-1M, {SLICE_LAYERS} layers, of its slicing", 3, None,
        counter("layers", "findings")),
    *[at_least(f"area of a layer without the one below, {how}, against polygon differences", mark, None,
               counter("layers", name))
      for how, name, mark in (("rows made once a layer", "rows once", 10), ("rows made for each pair", "rows of pairs", None))],
    *[Row(f"slicing, {SLICE_MESHES[mesh]}, {planes} layers, CPU time with two threads of that with one", 1.15, None,
          times(f"threads:Slice/{mesh}_two_threads/{planes}/process_time", f"threads:Slice/{mesh}/{planes}/process_time"))
      for mesh in ("sphere", "gyroid") for planes in (100, 1000)],
]

RENDERING = [
    Row("trqprep render, sphere-1M, 800x600, CPU time of that of info", 3, 2,
        lambda m: m.processes["render"]["cpu"] / m.processes["info"]["cpu"]),
    Row("trqprep render, sphere-1M, 800x600, CPU time beyond info", 0.3, 0.15, beyond("render", "info", "cpu", 1),
        unit=" s"),
    Row("trqprep render, sphere-1M, 800x600, peak memory beyond info", 100, None, beyond("render", "info", "memory", 1e-6),
        unit=" MB"),
    at_least("trqprep render, sphere-1M, 800x600, whole process against f3d under Xvfb", None, None,
             process_faster("render", "f3d")),
]
PYTHON_ROWS = [
    Row("Mesh.load in Python, sphere-1M, of the same reading in C++", 1.05, None,
        times("python:trqprep load", "python:library mesh")),
    Row("Mesh.load in Python, sphere-1M, of trq::core::ReadStlFile", None, None,
        times("python:trqprep load", "python:library core")),
    Row("a view of an array in Python, sphere-1M", 1, 0.01, lambda m: m.cpu["python:trqprep view"] * 1e3, unit=" ms"),
    at_least("loading and volume by numpy, sphere-1M, against meshio", 10, 20, faster("python:trqprep volume", "python:meshio volume")),
]

ROWS = [
    import_row("sphere-1M", 4),
    import_row("sphere-5M", 4),
    import_row("plate-1M", 4),
    import_row("small-plate-1M", 4),
    import_row("gyroid-1M", 4),
    import_row("shuffled-1M", 6),
    import_row("jittered-1M", 12),
    Row("binary import, cost a facet of 5M in that of 100k (flat: taken as 1.5)", 1.5, None,
        per_unit("stl_import:import/sphere-5M", "stl_import:import/sphere-100k", 50)),
    at_least("binary import, sphere-1M, against libadmesh (open, exact edges, shared vertices)", 3, 6,
             faster("peers:import/sphere-1M", "peers:admesh/sphere-1M")),
    at_least("binary import, sphere-1M, against libassimp (aiImportFile, JoinIdenticalVertices)", 10, 20,
             faster("peers:import/sphere-1M", "peers:assimp/sphere-1M")),
    Row("peak memory of an import, sphere-1M", 80, 50, counter("stl_import:memory/sphere-1M", "bytes_per_facet"),
        unit=" bytes a facet"),
    Row("peak memory of an import, sphere-5M", 80, 50, counter("stl_import:memory/sphere-5M", "bytes_per_facet"),
        unit=" bytes a facet"),
    Row("LoadSTLFile with normals, sphere-1M, of parse-store", 5, 3,
        times("stl_import:import_with_normals/sphere-1M", "stl_import:parse_store/sphere-1M")),
    Row("ASCII import, sphere-1M, of from_chars on the same numbers (in memory, nothing else)", 1.3, 1.0,
        times("stl_import:import/ascii-1M", "stl_import:from_chars_alone/ascii-1M")),
    at_least("ASCII import, sphere-1M, against libassimp", 6, None,
             faster("peers:import/ascii-1M", "peers:assimp/ascii-1M")),
    Row("binary STL write, of fwrite of the same bytes", 1.5, 1.1, times("stl_export:save/binary", "stl_export:fwrite/binary")),
    at_least("ASCII STL write, against fprintf", 3, 4,
             faster("stl_export:save/ascii", "stl_export:fprintf/ascii")),
    Row("CTL write, of plain write of the same bytes", 2, 1.3, times("ctl_file:WriteCtl/1000", "ctl_file:WriteSameBytes/1000")),
    Row("CTL read, of plain read of the same bytes", 2, 1.3, times("ctl_file:ReadCtl/1000", "ctl_file:ReadSameBytes/1000")),
    *[Row(f"{what}, of a plain loop", 1.3, 1.1, times(f"mesh_measure:{what}", f"mesh_measure:plain/{what}"))
      for what in ("extents", "area", "volume", "normals")],
    *[at_least(f"find_placement, {text}, 24 rotations, against the literal search", 25, 40,
               faster(f"placement:Place/{job}", f"placement:Place/{job}/literal"))
      for job, text in (("hundred_pieces_of_ten_parts", "100 pieces of 10 parts"),
                        ("hundred_parts", "100 different pieces"))],
    *[at_least(f"find_placement, small job ({job.replace('_', ' ')}), against the literal search", 1, None,
               faster(f"placement:Place/{job}", f"placement:Place/{job}/literal"))
      for job in ("one_piece_one_rotation", "one_piece", "two_pieces_one_rotation", "five_pieces_four_rotations",
                  "one_piece_too_wide")],
    at_least("GridEval::add, 1M facets, 24 rotations, against the literal rasteriser", 2, 4,
             faster("placement:Add<GridEval>/1000000", "placement:Add<LiteralGridEval>/1000000")),
    Row("validated shell, sphere-1M, of the unvalidated push", 10, 6,
        times("shell_offset:Sphere/1000", "shell_offset:SphereUnvalidated/1000")),
    Row("validated shell, thin wall 1M, of the unvalidated push", 10, 6,
        times("shell_offset:ThinWall/1000", "shell_offset:ThinWallUnvalidated/1000")),
    Row("validated shell, cost a vertex of 1M in that of 10k (flat: taken as 2)", 2, None,
        per_unit("shell_offset:Sphere/1000", "shell_offset:Sphere/10", 100)),
    *[Row(f"SLC {verb}, 100 MB, {vertices} vertices a boundary, of plain {plain}", 2, 1.5,
          times(f"slc:{verb.capitalize()}Slc/{vertices}", f"slc:{plain.capitalize()}SameBytes/{vertices}"))
      for verb, plain in (("load", "read"), ("save", "write")) for vertices in (1000, 20)],
    *SLICING,
    *[Row(f"estimate, {mesh}-1M, 1000 layers, {text}, with slicing, of slicing", mark, None,
          times(f"estimate:Estimate/{mesh}{which}/1000/process_time", f"estimate:Slice/{mesh}/1000/process_time"))
      for mesh in ("sphere", "gyroid")
      for which, text, mark in (("", "faces up and down", 3.5), ("_without_faces", "areas and borders", 1.3))],
    *[Row(f"surfaces and cavities, {text}, exponent of the time from 64k to 1M facets", 1.25, 1.1,
          exponent(f"topology:Analyse/{job}", 64, 1024), unit="")
      for job, text in (("RingsSideBySide", "rings side by side"), ("RingsAroundEachOther", "rings around each other"),
                        ("NestedShells", "nested shells"), ("BlocksBetweenCups", "blocks between cups"),
                        ("CavitiesInOne", "many cavities in one ball"))],
    at_least("trqprep info, sphere-1M, whole process against admesh", 2, 3, process_faster("info", "admesh")),
    Row("trqprep info, sphere-1M, peak memory", 100, None, process("info", "memory", 1e-6), unit=" MB"),
    Row("trqprep version, whole process, elapsed", 10, 5, process("version", "wall", 1e3), unit=" ms"),
    *RENDERING,
    *PYTHON_ROWS,
    *NESTING,
    # For comparison.

    *[at_least(f"slicing, {SLICE_MESHES[mesh]}, {SLICE_LAYERS} layers, against the slicing step of prusa-slicer (resin) that "
               "closes no gaps", None, None, faster(f"slice:Slice/{mesh}/{SLICE_LAYERS}/process_time", f"prusa open:{mesh}"))
      for mesh in SLICE_MESHES],
    at_least("trqprep info, sphere-1M, whole process against assimp info", None, None, process_faster("info", "assimp")),
    *[at_least(f"{job}, against the literal form", None, None, faster(f"{name}{form}", f"{name}{literal}"))
      for job, name, form, literal in (
          ("binary import, sphere-1M", "stl_import:", "import/sphere-1M", "literal/sphere-1M"),
          ("binary import, small plate of 100k", "stl_import:", "import/small-plate-100k",
           "literal/small-plate-100k"),
          ("ASCII import, sphere-1M", "peers:", "import/ascii-1M", "literal/ascii-1M"),
          ("validated shell, sphere of 20k", "literal_forms:", "shell/20", "shell/literal/20"),
          ("z sort, 1M shuffled", "literal_forms:", "sort/1000", "sort/literal/1000"),
          ("truncateVertices, 1M", "literal_forms:", "snap/1000", "snap/literal/1000"),
          ("CTL packing, 1M", "literal_forms:", "pack/1000", "pack/literal/1000"))],
]


def number(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def evaluate(measured, rows):
    """Lines of the table and the jobs whose marks are missed or not measured."""
    lines = ["| Job | Mark | Stretch | Measured | |", "|---|---|---|---|---|"]
    missed, unmeasured = [], []
    for row in rows:
        sign = "≤" if row.at_most else "≥"
        goals = [f"{sign} {number(goal)}{row.unit}" if goal is not None else "" for goal in (row.mark, row.stretch)]
        value = row.value(measured)
        if value is None:
            unmeasured.append(row.job)
            lines.append(f"| {row.job} | {goals[0]} | {goals[1]} | | not measured |")
            continue

        def holds(goal):
            return goal is not None and (value <= goal if row.at_most else value >= goal)

        verdict = "" if row.mark is None else "stretch" if holds(row.stretch) else "held" if holds(row.mark) else "missed"
        if verdict == "missed":
            missed.append(f"{row.job}: {number(value)}{row.unit}, mark {goals[0]}")
        lines.append(f"| {row.job} | {goals[0]} | {goals[1]} | {number(value)}{row.unit} | {verdict} |")
    return lines, missed, unmeasured


def output_of(*command):
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                              check=False).stdout.strip()
    except OSError:
        return ""


def conditions():
    with open("/proc/cpuinfo", encoding="utf-8") as f:
        model = re.search(r"model name\s*: (.*)", f.read())
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    commit = output_of("git", "-C", root, "describe", "--always", "--dirty")
    return (f"{time.strftime('%Y-%m-%d %H:%M', time.gmtime())} UTC, commit {commit or 'unknown'}, "
            f"{model.group(1) if model else 'unknown processor'}, {os.cpu_count()} cores, load {os.getloadavg()[0]:.1f}")


def main():
    only = sys.argv[2] if len(sys.argv) == 3 else ""
    if len(sys.argv) not in (2, 3) or only not in ("", "nesting", "slicing", "render", "python"):
        sys.exit("usage: marks.py BUILD_FOLDER [nesting|slicing|render|python]")
    start = time.perf_counter()
    lines = [conditions()]
    measured = Measured()
    with tempfile.TemporaryDirectory() as temporary:
        if only == "python":
            run_python(sys.argv[1], measured, make_meshes(sys.argv[1], temporary))
        elif only == "render":
            run_processes(sys.argv[1], measured, make_meshes(sys.argv[1], temporary), temporary, only_render=True)
        elif only != "nesting":
            meshes = make_meshes(sys.argv[1], temporary)
            run_groups(sys.argv[1], measured, lambda group: (not only or group[0] == "slice_benchmark") and
                       (group != PART_GROUP or "part" in meshes))
            run_processes(sys.argv[1], measured, meshes, temporary)
            run_findings(sys.argv[1], measured)
            if not only:
                run_python(sys.argv[1], measured, meshes)
            run_slice_peers(sys.argv[1], measured, meshes, temporary)
    if only in ("", "nesting"):
        run_strips(sys.argv[1], measured)
        run_mixes(sys.argv[1], measured)
    rows = {"nesting": NESTING, "slicing": SLICING, "render": RENDERING, "python": PYTHON_ROWS}.get(only, ROWS)
    table, missed, unmeasured = evaluate(measured, rows)
    print("\n".join(lines + [""] + table))
    print(f"\nMedians of CPU time, {min(g[2] for g in GROUPS)} repetitions and more in turns; "
          f"{time.perf_counter() - start:.0f} s in all.")
    for job in unmeasured:
        print(f"Not measured, the peer is not installed or no strips or corpus were named: {job}")
    for text in missed:
        print(f"MISSED: {text}")
    print(f"{len(missed)} of {sum(row.mark is not None for row in rows)} marks missed." if missed
          else "All marks that were measured are held.")


if __name__ == "__main__":
    main()
