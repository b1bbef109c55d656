"""Faults while the tool saves, for the short tests of faults_test.py and the long runs of scripts/robustness: disks
that fill, folders that cannot be written or vanish, kills, and memory that runs out.

Each function answers the problems that it found, one line each, and how many cases it tried."""
import os
import pathlib
import random
import shutil
import signal
import struct
import subprocess
import tempfile
import time

from style_files import build_style, recoat_style
from support import (DONE, INTERNAL, NO, OUTPUT, SANITIZED, SOURCE, TOOL, binary_stl, box_facets, ring_facets)

HANGS = 240 if SANITIZED else 60  # seconds after which a command hangs; the machine may be busy
OUT = "{out}"  # stands for the output's name in a command


class Writer:
    """A command that writes: its name, its arguments, the name of its output, and whether that is a folder. Without
    OUT among the arguments the command changes that file, an input, in place."""

    def __init__(self, name, arguments, output, folder=False):
        self.name, self.arguments, self.output, self.is_folder = name, arguments, output, folder
        self.in_place = OUT not in arguments

    def command(self, output=None, force=True):
        output = self.output if output is None else output
        arguments = [output if a == OUT else a for a in self.arguments]
        return arguments + ([] if self.in_place or not force else ["--force"])


def _styles(kind, ending):
    source = "style." + ending
    writers = [
        Writer(f"{kind} new", [kind, "new", "--machine", "TRQ-E7", "-o", OUT], "out." + ending),
        Writer(f"{kind} import", [kind, "import", kind + ".json", "-o", OUT], "out." + ending),
        Writer(f"{kind} export", [kind, "export", source, "--to", "json", "-o", OUT], "out.json"),
    ]
    edits = [
        ("set", [source, "Layer Thickness=0.12" if kind == "style" else "Z Wait=3"]),
        ("copy", ["other." + ending, source, "--params", "*"]),
        ("upgrade", ["old." + ending]),
        ("units", [source, *(["--from", "mm"] if kind == "style" else []), "--to", "in"]),
    ]
    if kind == "recoat":
        edits.append(("sweeps", [source, "--add", "gap=100,velocity=2"]))
    for verb, arguments in edits:
        changed = "old." + ending if verb == "upgrade" else source
        writers.append(Writer(f"{kind} {verb}", [kind, verb, *arguments, "-o", OUT], "out." + ending))
        writers.append(Writer(f"{kind} {verb} in place", [kind, verb, *arguments], changed))
    return writers


WRITERS = [
    Writer("convert", ["convert", "part.stl", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("convert ascii", ["convert", "part.stl", "--to", "stl-ascii", "-o", OUT], "out.stl"),
    Writer("convert ctl", ["convert", "part.stl", "--to", "ctl", "-o", OUT], "out.ctl"),
    Writer("convert stamped", ["convert", "part.stl", "--stamp", "7", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("transform", ["transform", "part.stl", "--translate", "1,2,3", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("zcomp", ["zcomp", "part.stl", "--height", "0.2mm", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("hollow", ["hollow", "part.stl", "--limit", "1mm", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("simplify", ["simplify", "part.stl", "--facets", "60", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("repair", ["repair", "part.stl", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("merge", ["merge", "part.stl", "box.stl", "--to", "stl", "-o", OUT], "out.stl"),
    Writer("place", ["place", "part.stl", "--rotations", "1", "--svg", OUT], "out.svg"),
    Writer("build", ["build", "part.stl", "--style", "style.sty", "--recoat", "style.rcs", "--rotations", "1",
                     "--force-checks", "-o", OUT], "out", folder=True),
    Writer("report", ["report", "part.stl", "cone.slc", "style.sty", "style.rcs", "-o", OUT], "out.html"),
    Writer("slc svg", ["slc", "svg", "cone.slc", "--layer", "3", "-o", OUT], "out.svg"),
    Writer("slc png", ["slc", "png", "cone.slc", "--layers", "3", "--size", "40", "-o", OUT], "out.png"),
    Writer("slc sheet", ["slc", "sheet", "cone.slc", "--size", "40", "-o", OUT], "out.png"),
    Writer("render", ["render", "part.stl", "--size", "64x48", "-o", OUT], "out.png"),
    Writer("slice", ["slice", "part.stl", "--thickness", "1mm", "-o", OUT], "out.slc"),
    Writer("slc mirror", ["slc", "mirror", "cone.slc", "--axis", "x", "-o", OUT], "out.slc"),
    Writer("slc copy", ["slc", "copy", "cone.slc", "-o", OUT], "out.slc"),
    Writer("vents add", ["vents", "add", "part.stl", "--vent", "1", "-o", OUT], "out.V_D"),
    Writer("vents add in place", ["vents", "add", "part.stl", "--vent", "1"], "part.V_D"),
    Writer("vents move", ["vents", "move", "part.stl", "--by", "1,2,3", "-o", OUT], "out.V_D"),
    Writer("vents turn", ["vents", "move", "part.stl", "--rotate-z", "90", "-o", OUT], "out.V_D"),
    Writer("vents move in place", ["vents", "move", "part.stl", "--by", "1,2,3"], "part.V_D"),
    Writer("vents remove", ["vents", "remove", "part.V_D", "1", "-o", OUT], "out.V_D"),
    Writer("vents remove in place", ["vents", "remove", "part.V_D", "1"], "part.V_D"),
    *_styles("style", "sty"),
    *_styles("recoat", "rcs"),
]


def make_inputs(folder):
    """Everything that the writers read. The folder for temporary files is apart, so that leftovers are seen."""
    folder = pathlib.Path(folder)
    facets = ring_facets(20, 10, 5, sides=24)
    (folder / "part.stl").write_bytes(binary_stl(facets))
    (folder / "box.stl").write_bytes(binary_stl(box_facets()))
    (folder / "part.V_D").write_text("5 20 5  0 0 1  3\n5 20 0  0 0 -1  3\n")
    shutil.copy(SOURCE / "examples" / "contours" / "cone.slc", folder / "cone.slc")
    for name, data in (("style.sty", build_style()), ("other.sty", build_style(0.05)),
                       ("old.sty", build_style(layout="206")), ("style.rcs", recoat_style(sweeps=2)),
                       ("other.rcs", recoat_style(change=lambda records: setattr(records["Z Wait"], "value", 7))), ("old.rcs", recoat_style(layout="206"))):
        (folder / name).write_bytes(data)
    for kind, source in (("style", "style.sty"), ("recoat", "style.rcs")):
        subprocess.run([TOOL, kind, "export", source, "--to", "json", "-o", kind + ".json"], cwd=folder, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def snapshot(path):
    """The bytes of a file, or of every file of a folder by name; None when nothing is there."""
    path = pathlib.Path(path)
    if path.is_dir():
        return {str(p.relative_to(path)): p.read_bytes() for p in sorted(path.rglob("*")) if p.is_file()}
    return path.read_bytes() if path.exists() else None


class Workshop:
    """A template of inputs, and fresh copies of it to run commands in."""

    def __init__(self, root):
        self.root = pathlib.Path(root)
        self.template = self.root / "template"
        self.template.mkdir()
        make_inputs(self.template)
        self.expected = {}

    def fresh(self):
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.root))
        shutil.copytree(self.template, folder / "work")
        (folder / "tmp").mkdir()
        return folder

    def environment(self, folder, **more):
        return dict(os.environ, TMPDIR=str(folder / "tmp"), **more)

    def run(self, folder, arguments, prefix=(), **more):
        environment = self.environment(folder, **more.pop("env", {}))
        more.setdefault("stdout", subprocess.PIPE)
        command = [*prefix, TOOL, *arguments]
        try:
            done = subprocess.run(command, cwd=folder / "work", env=environment, timeout=HANGS,
                                  stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, **more)
        except subprocess.TimeoutExpired as late:
            done = subprocess.CompletedProcess(command, -signal.SIGALRM, b"", late.stderr or b"")
        done.text = done.stderr.decode(errors="replace")
        return done

    def run_in_template(self, arguments):
        """Adds what the command writes to what all fresh folders hold."""
        subprocess.run([TOOL, *arguments], cwd=self.template, check=True, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def result_of(self, writer):
        """What the command writes when nothing is in its way."""
        if writer.name not in self.expected:
            folder = self.fresh()
            done = self.run(folder, writer.command())
            if done.returncode != DONE:
                raise AssertionError(f"{writer.name}: exit {done.returncode} without any fault\n{done.text}")
            self.expected[writer.name] = snapshot(folder / "work" / writer.output)
            shutil.rmtree(folder)
        return self.expected[writer.name]

    def put_old(self, writer, folder):
        """Puts something in the place of the output, and answers what stands there."""
        output = folder / "work" / writer.output
        if writer.is_folder:
            output.mkdir()
            (output / "precious").write_text("old")
            (output / "build.json").write_text('{"schema": "trqprep.build-folder/1", "files": [{"file": "precious"}]}')
        elif not writer.in_place:
            output.write_text("old")
        return snapshot(output)

    def leftovers(self, folder):
        found = [str(p.relative_to(folder)) for p in folder.rglob(".trqprep-*")]
        return found + [str(p.relative_to(folder)) for p in (folder / "tmp").iterdir()]


def refusal_problem(workshop, writer, folder, done, old, named):
    """What is wrong with the way in which a command refused to write; None: nothing."""
    if done.returncode != OUTPUT:
        return f"exit {done.returncode}, not {OUTPUT}: {done.text.strip()[-300:]}"
    errors = [line for line in done.text.splitlines() if "error: " in line]
    if not any(named in line for line in errors):
        return f"no message names {named}: {done.text.strip()[-300:]}"
    if snapshot(folder / "work" / writer.output) != old:
        return "the old file was touched"
    left = workshop.leftovers(folder)
    return f"left behind: {left}" if left else None


def size_limits(workshop, writer, sizes):
    """A limit to the size of files, as a full disk: at so many sizes below the largest file that is written."""
    result = workshop.result_of(writer)
    largest = max(map(len, result.values())) if writer.is_folder else len(result)
    limits = sorted({k * largest // sizes for k in range(sizes)})
    problems = []
    for limit in limits:
        folder = workshop.fresh()
        old = workshop.put_old(writer, folder)
        done = workshop.run(folder, writer.command(), prefix=["prlimit", f"--fsize={limit}"])
        problem = refusal_problem(workshop, writer, folder, done, old, writer.output)
        if problem:
            problems.append(f"{writer.name}, {limit} of {largest} bytes: {problem}")
        shutil.rmtree(folder)
    return problems, len(limits)


def full_device(workshop, writer):
    """The output is /dev/full."""
    if writer.in_place:
        return [], 0
    folder = workshop.fresh()
    done = workshop.run(folder, writer.command("/dev/full"))
    problem = refusal_problem(workshop, writer, folder, done, None, "/dev/full")
    if not problem and not pathlib.Path("/dev/full").is_char_device():
        problem = "/dev/full was replaced"
    shutil.rmtree(folder)
    return ([f"{writer.name} to /dev/full: {problem}"] if problem else []), 1


def full_standard_output(workshop, arguments):
    """What a command prints goes to /dev/full."""
    folder = workshop.fresh()
    with open("/dev/full", "wb") as full:
        done = workshop.run(folder, arguments, stdout=full)
    problem = None
    if done.returncode != OUTPUT or "standard output" not in done.text:
        problem = f"{' '.join(arguments)} > /dev/full: exit {done.returncode}: {done.text.strip()[-300:]}"
    shutil.rmtree(folder)
    return [problem] if problem else [], 1


def closed_pipe(workshop, arguments):
    """Nobody reads what a command prints."""
    folder = workshop.fresh()
    reader, writer = os.pipe()
    os.close(reader)
    done = workshop.run(folder, arguments, stdout=writer)
    os.close(writer)
    problem = None
    if done.returncode != OUTPUT or "standard output" not in done.text:
        problem = f"{' '.join(arguments)} | true: exit {done.returncode}: {done.text.strip()[-300:]}"
    shutil.rmtree(folder)
    return [problem] if problem else [], 1


def _bound_by_permissions(folder):
    """What to put before a command so that permission bits hold for it, root's too; None where that cannot be had."""
    if os.geteuid() != 0:
        return []
    prefix = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"]  # root without the right to pass them by
    try:
        works = subprocess.run([*prefix, TOOL, "info", folder / "work" / "part.stl"], stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    except FileNotFoundError:
        return None
    return prefix if works.returncode == DONE else None


def no_folder(workshop, writer):
    """Folders in which nothing can be made: below a regular file, one that is not there, one that nobody may write in
    (/proc, where root has no more rights than others), and one that has vanished while it was the current one."""
    problems, total = [], 0
    if not writer.in_place:
        for place in ("part.stl/", "no/such/", "/proc/"):
            folder = workshop.fresh()
            name = place + writer.output
            done = workshop.run(folder, writer.command(name))
            problem = refusal_problem(workshop, writer, folder, done, None, name)
            problems += [f"{writer.name} to {name}: {problem}"] if problem else []
            total += 1
            shutil.rmtree(folder)
        folder = workshop.fresh()
        work = str(folder / "work")
        gone = folder / "gone"
        gone.mkdir()
        inputs = {p.name for p in (folder / "work").iterdir()}
        command = [f"{work}/{a}" if a in inputs else a for a in writer.command()]
        done = workshop.run(folder, command, prefix=["sh", "-c", 'cd "$0" && rmdir "$0" && exec "$@"', str(gone)])
        problem = refusal_problem(workshop, writer, folder, done, None, writer.output)
        problems += [f"{writer.name} in a vanished folder: {problem}"] if problem else []
        total += 1
        shutil.rmtree(folder)
    return problems, total


def vanishing_folder(workshop, writer):
    """The output's folder is removed while the command writes in it. Answers the problems and whether that was in time."""
    folder = workshop.fresh()
    work = folder / "work"
    (work / "large.stl").write_bytes(binary_stl(ring_facets(20, 10, 5, sides=LARGE_SIDES)))
    gone = work / "gone"
    gone.mkdir()
    name = "gone/" + writer.output
    process = subprocess.Popen([TOOL, *writer.command(name)], cwd=work, env=workshop.environment(folder),
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    while process.poll() is None and not any(gone.iterdir()):
        pass
    process.send_signal(signal.SIGSTOP)  # where it is now it stays until the folder is gone
    in_time = process.poll() is None and not (work / name).exists()
    shutil.rmtree(gone)
    process.send_signal(signal.SIGCONT)
    text = process.communicate(timeout=HANGS)[1].decode(errors="replace")
    done = subprocess.CompletedProcess([], process.returncode)
    done.text = text
    problem = refusal_problem(workshop, writer, folder, done, None, name) if in_time else None
    shutil.rmtree(folder)
    return ([f"{writer.name}, its folder removed: {problem}"] if problem else []), in_time


def read_only_folder(workshop, writer):
    """The output's folder has no write permission. Answers no case where root cannot give up its rights."""
    folder = workshop.fresh()
    work = folder / "work"
    old = workshop.put_old(writer, folder)
    prefix = _bound_by_permissions(folder)
    if prefix is None:
        shutil.rmtree(folder)
        return [], 0
    work.chmod(0o555)
    done = workshop.run(folder, writer.command(), prefix=prefix)
    problem = refusal_problem(workshop, writer, folder, done, old, writer.output)
    work.chmod(0o755)
    shutil.rmtree(folder)
    return ([f"{writer.name} in a read-only folder: {problem}"] if problem else []), 1


def odd_names(workshop, writer):
    """Outputs, and what is changed in place, under names of 255 bytes, of UTF-8, and of bytes that are no text."""
    ending = os.fsencode("" if writer.is_folder else pathlib.Path(writer.output).suffix)
    wanted = workshop.result_of(writer)
    problems = []
    names = [b"n" * (255 - len(ending)) + ending, "Prüfkörper №7 試験片".encode() + ending,
             ("é" * 120).encode() + ending, b"\xff\xfe not text" + ending, b" blank and 'quotes'\"" + ending]
    for name in names:
        folder = workshop.fresh()
        work = os.fsencode(folder / "work")
        arguments = [os.fsencode(a) for a in writer.command(output=writer.output)]
        if writer.in_place:
            os.rename(work + b"/" + os.fsencode(writer.output), work + b"/" + name)
            if name.endswith(b".V_D"):
                arguments[2] = name
                if writer.name == "vents add in place":  # by place: there is no part of that name
                    arguments[-1] = b"5,20,5"
            else:
                arguments = [name if a == os.fsencode(writer.output) else a for a in arguments]
        else:
            arguments = [name if a == os.fsencode(writer.output) else a for a in arguments]
        done = workshop.run(folder, arguments)
        made = snapshot(os.fsdecode(work + b"/" + name))
        problem = None
        if done.returncode != DONE:
            problem = f"exit {done.returncode}: {done.text.strip()[-300:]}"
        elif made != wanted and writer.name != "vents add in place":
            problem = "not what is written under another name"
        elif workshop.leftovers(folder):
            problem = f"left behind: {workshop.leftovers(folder)}"
        if problem:
            problems.append(f"{writer.name} to {name!r}: {problem}")
        shutil.rmtree(folder)
    return problems, len(names)


# --- kills ------------------------------------------------------------------------------------------------------

# One writer a kind of output, with inputs large enough that saving takes its time.
LARGE_SIDES = 2000
KILLED = [
    Writer("STL", ["convert", "large.stl", "-o", OUT], "out.stl"),
    Writer("CTL", ["convert", "large.stl", "-o", OUT], "out.ctl"),
    Writer("style file", ["style", "set", "style.sty", "Layer Thickness=0.12"], "style.sty"),
    Writer("recoat file", ["recoat", "set", "style.rcs", "Z Wait=3"], "style.rcs"),
    Writer("SLC", ["slc", "copy", "cone.slc", "-o", OUT], "out.slc"),
    Writer("side file", ["vents", "add", "part.stl", "--vent", "1"], "part.V_D"),
    Writer("build folder", ["build", "part.stl", "--style", "style.sty", "--rotations", "1", "--force-checks", "-o", OUT],
           "out", folder=True),
]


def _restore(writer, workshop, folder, old):
    """Puts the old output back and clears what killed runs left."""
    work = folder / "work"
    for path in [*work.glob(".trqprep-*"), *(folder / "tmp").iterdir()]:
        shutil.rmtree(path) if path.is_dir() else path.unlink()
    output = work / writer.output
    if snapshot(output) != old:
        if writer.is_folder:
            shutil.rmtree(output, ignore_errors=True)
            workshop.put_old(writer, folder)
        else:
            output.write_bytes(old)


def kills(workshop, writer, wanted, seed=1):
    """Kills the writer at random moments, most of them while it saves. Answers the problems, the kills, and how many
    of them came after the new file had been begun."""
    chance = random.Random(seed)
    folder = workshop.fresh()
    work = folder / "work"
    (work / "large.stl").write_bytes(binary_stl(ring_facets(20, 10, 5, sides=LARGE_SIDES)))
    old = workshop.put_old(writer, folder)
    command = [TOOL, *writer.command()]

    def begin():
        return subprocess.Popen(command, cwd=work, env=workshop.environment(folder), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def begun():
        return any(work.glob(".trqprep-*"))

    # How long a run takes, and when it begins to write; the shortest of a few.
    first, whole = [], []
    for _ in range(5):
        start = time.monotonic()
        process = begin()
        seen = None
        while process.poll() is None:
            if seen is None and begun():
                seen = time.monotonic() - start
        whole.append(time.monotonic() - start)
        first.append(seen if seen is not None else whole[-1])
        new = snapshot(work / writer.output)
        _restore(writer, workshop, folder, old)
    from_, to = min(first) * 0.9, max(whole) * 1.1
    problems, killed, in_saving, rounds = [], 0, 0, 0
    while killed < wanted and rounds < 200 * wanted:
        rounds += 1
        process = begin()
        time.sleep(chance.uniform(0, to) if rounds % 4 == 0 else chance.uniform(from_, to))
        process.send_signal(signal.SIGKILL)
        if process.wait() != -signal.SIGKILL:
            _restore(writer, workshop, folder, old)
            continue
        killed += 1
        in_saving += begun()
        there = snapshot(work / writer.output)
        if there not in (old, new):
            problems.append(f"{writer.name}, kill {killed}: neither the old nor the new one")
        if rounds % 10 == 0 or there != old:
            _restore(writer, workshop, folder, old)  # between these, leftovers stand about and disturb nothing
    shutil.rmtree(folder)
    if killed < wanted:
        problems.append(f"{writer.name}: only {killed} runs could be killed")
    return problems, killed, in_saving


# --- memory -----------------------------------------------------------------------------------------------------

READERS = [["info", "part.stl"], ["info", "style.sty", "--json"], ["info", "cone.slc"], ["check", "part.stl"],
           ["vents", "find", "part.stl"], ["machines"], ["params", "Z*"], ["style", "show", "style.sty"],
           ["style", "diff", "style.sty", "other.sty"], ["recoat", "export", "style.rcs", "--to", "tidy-csv"],
           ["help", "build"]]


def spread(total, wanted):
    """At most `wanted` whole numbers from 0 to total - 1, evenly spread."""
    if total <= wanted:
        return list(range(total))
    return sorted({k * total // wanted for k in range(wanted)})


class Failing:
    """Runs commands with the n-th allocation failing, by a library that stands before the system's allocator."""

    def __init__(self, workshop, shim):
        self.workshop, self.shim = workshop, shim

    def _run(self, folder, arguments, **environment):
        return self.workshop.run(folder, arguments, env={"LD_PRELOAD": str(self.shim), **environment})

    def count(self, arguments):
        """How many allocations a run makes, and its exit code and output."""
        folder = self.workshop.fresh()
        note = folder / "count"
        done = self._run(folder, arguments, TRQ_COUNT_TO=str(note))
        total = int(note.read_text())
        result = done.returncode, done.stdout, self._results(folder)
        shutil.rmtree(folder)
        return total, result

    def places(self, total, wanted):
        """At most `wanted` of the allocations 1 to `total`: a quarter of them while the tool sets itself up, which is most
        allocations and the same for every command, the rest while the command does its own work."""
        setting_up = min(self.count(["version"])[0], total)
        return ([1 + n for n in spread(setting_up, wanted // 4)] +
                [1 + setting_up + n for n in spread(total - setting_up, wanted - wanted // 4)])

    def _results(self, folder):
        template = {p.name for p in self.workshop.template.iterdir()}
        return {p.name: snapshot(p) for p in (folder / "work").iterdir()
                if p.name not in template or snapshot(p) != snapshot(self.workshop.template / p.name)}

    def problem(self, arguments, undisturbed, n, on):
        """The n-th allocation fails (and, with `on`, all later ones): exit 70, a message, and nothing half written; or, when
        the system or the library can do without that memory, the same as ever."""
        folder = self.workshop.fresh()
        environment = {"TRQ_FAIL_AT": str(n), **({"TRQ_FAIL_ON": "1"} if on else {})}
        done = self._run(folder, arguments, **environment)
        results, left = self._results(folder), self.workshop.leftovers(folder)
        shutil.rmtree(folder)
        where = f"{' '.join(arguments)}, allocation {n}{' and on' if on else ''}"
        if left:
            return f"{where}: left behind {left}"
        if (done.returncode, done.stdout, results) == undisturbed:
            return None
        if done.returncode != INTERNAL or "error: " not in done.text:
            return f"{where}: exit {done.returncode}: {done.text.strip()[-300:]}"
        # Memory may also run out after the output has got its name; it is complete then.
        return f"{where}: wrote something else" if results and results != undisturbed[2] else None


def small_address_space(workshop, arguments, limit):
    """An address space of so many KiB: exit 70 and a message; or the program cannot even be loaded (127), or all went
    well."""
    folder = workshop.fresh()
    done = workshop.run(folder, arguments, prefix=["prlimit", f"--as={limit * 1024}"])
    left = workshop.leftovers(folder)
    shutil.rmtree(folder)
    where = f"{' '.join(arguments)} in {limit} KiB"
    if left:
        return f"{where}: left behind {left}"
    if done.returncode in (DONE, NO) or done.returncode == INTERNAL and "error: " in done.text:
        return None
    if done.returncode == 127 and "shared libraries" in done.text:
        return None
    if done.returncode == -signal.SIGSEGV and not done.text and limit * 1024 < os.path.getsize(TOOL) + (1 << 20):
        return None  # the system itself ends a program whose own file finds no room, before its first instruction
    return f"{where}: exit {done.returncode}: {done.text.strip()[-300:]}"
