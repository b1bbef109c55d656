"""Time and memory of trqprep on the worst inputs that are known, and how they grow.

python3 worst_cases.py TOOL FOLDER [--only WORDS] [--sizes 10000,100000] [--limit SECONDS]
"""
import argparse
import importlib
import math
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

MODULES = ("worst_mesh", "worst_text")
LARGEST_EXPONENT = 1.2
LONGEST = 20.0             # seconds of CPU time, of 10^6
MEMORY_A_BYTE = 10
MEMORY_MORE = 64 << 20
MEMORY_A_PIECE = 32 << 10  # that a job asks for: in as few bytes as it likes, up to 10 000
SHORTEST = 0.05            # seconds: below, a time says nothing about growth


def measure(argv, folder, limit):
    """(exit, CPU seconds, peak bytes) of a run; the exit is None when a signal or the limit of CPU time ended it. A small
    program starts the tool: a peak counts from the memory of the one that started it, and this one makes large files."""
    def prepare():
        resource.setrlimit(resource.RLIMIT_CPU, (limit, limit + 1))
    with tempfile.NamedTemporaryFile() as note, open(os.devnull, "wb") as nothing:
        child = subprocess.Popen(["/usr/bin/time", "--quiet", "-f", "%M", "-o", note.name, *argv], stdin=subprocess.DEVNULL,
                                 stdout=nothing, stderr=nothing, cwd=folder, preexec_fn=prepare)
        _, status, usage = os.wait4(child.pid, 0)
        peak = int(note.read().split()[-1]) * 1024
    child.returncode = os.waitstatus_to_exitcode(status)
    return child.returncode if 0 <= child.returncode < 128 else None, usage.ru_utime + usage.ru_stime, peak


def input_bytes(argv, folder):
    """The size of the files that the arguments name, side files included."""
    total = 0
    for word in argv:
        path = pathlib.Path(folder) / word
        if "out" not in path.stem and path.is_dir():
            total += sum(p.stat().st_size for p in path.rglob("*") if p.is_file())
        if "out" not in path.stem and path.is_file():
            total += path.stat().st_size
            parts = path.with_suffix("")  # a job's
            if path.suffix == ".toml" and parts.is_dir():
                total += sum(p.stat().st_size for p in parts.iterdir())
            side = path.with_suffix(".V_D")
            total += side.stat().st_size if side != path and side.is_file() else 0
    return total


def exponent(first, last):
    (n, seconds), (m, more) = first, last
    return math.log(max(more, SHORTEST) / max(seconds, SHORTEST)) / math.log(m / n)


def run_case(tool, case, folder, sizes, limit):
    """Rows (name, n, exit, seconds, bytes, bytes allowed, exponent since the size before). A case is a name, what makes
    its files and returns the arguments, its sizes, and maybe how many pieces it asks for."""
    name, make, own_sizes, *pieces = case
    before = None
    for n in sizes or own_sizes:
        argv = [str(word) for word in make(n, folder)]
        for left in pathlib.Path(folder).glob("out*"):  # by the run before, it would be refused or read
            shutil.rmtree(left) if left.is_dir() else left.unlink()
        allowed = MEMORY_A_BYTE * input_bytes(argv, folder) + MEMORY_MORE + MEMORY_A_PIECE * sum(count(n) for count in pieces)
        code, seconds, memory = measure([tool, *argv], folder, limit)
        # What makes contours holds them as what reads them does; a check makes them too.
        if "--slices" in argv and code is not None:
            measure([tool, "slice", argv[1], "--thickness", argv[argv.index("--thickness") + 1], "-o", "out.slc"], folder, limit)
        allowed += MEMORY_A_BYTE * sum(path.stat().st_size for path in pathlib.Path(folder).glob("out*.slc"))
        yield name, n, code, seconds, memory, allowed, exponent(before, (n, seconds)) if before else 0.0
        before = (n, seconds)
        if code is None:
            return


def main():
    words = argparse.ArgumentParser(description=__doc__)
    words.add_argument("tool")
    words.add_argument("folder", nargs="?")
    words.add_argument("--only", default="", help="cases whose name holds this; several with commas")
    words.add_argument("--sizes", type=lambda text: [int(n) for n in text.split(",")])
    words.add_argument("--limit", type=int, default=60)
    words.add_argument("--modules", default=",".join(MODULES))
    given = words.parse_args()
    with tempfile.TemporaryDirectory() as own:
        folder = given.folder or own
        tool = str(pathlib.Path(given.tool).resolve())
        wrong = 0
        for module in given.modules.split(","):
            if not (pathlib.Path(__file__).parent / f"{module}.py").exists():
                continue
            for case in importlib.import_module(module).CASES:
                if not any(part in case[0] for part in given.only.split(",")):
                    continue
                for name, n, code, seconds, memory, allowed, power in run_case(tool, case, folder, given.sizes, given.limit):
                    misses = [word for word, bad in (("TIME", code is None or seconds > LONGEST * max(1, n / 1e6)),
                                                     ("GROWTH", power > LARGEST_EXPONENT), ("MEMORY", memory > allowed)) if bad]
                    wrong += bool(misses)
                    print(f"{name:40} {n:8} exit {code!s:5} {seconds:7.2f} s {memory / 2**20:7.0f} MiB of {allowed / 2**20:6.0f}"
                          f"  n^{power:.2f} {' '.join(misses)}", flush=True)
        print(f"{wrong} figures miss their mark")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
