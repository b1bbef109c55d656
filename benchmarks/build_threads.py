#!/usr/bin/env python3
"""build_threads.py TOOL MAKE_MESH [FOLDER] [--runs N] [--threads N]: a build of 12 parts of 10^6 facets on one and on more
threads in turns. Prints medians of CPU time, elapsed time and peak memory and their ratios; ends with 1 when a byte differs."""
import argparse
import hashlib
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

PARTS = 12


def digest(folder):
    total = hashlib.sha256()
    for path in sorted(p for p in folder.rglob("*") if p.is_file()):
        total.update(str(path.relative_to(folder)).encode())
        # In pieces: the next child's peak begins with what this process has.
        with open(path, "rb") as file:
            while block := file.read(1 << 20):
                total.update(block)
    return total.hexdigest()


def run(command):
    """Seconds of CPU, elapsed seconds, peak memory in kB."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, used = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command} ended with {process.returncode}")
    return used.ru_utime + used.ru_stime, time.monotonic() - begin, used.ru_maxrss


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("tool")
    parser.add_argument("make_mesh")
    parser.add_argument("folder", nargs="?", default="/dev/shm" if os.path.isdir("/dev/shm") else None)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--threads", type=int, default=2)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="build-threads-", dir=options.folder) as name:
        folder = pathlib.Path(name)
        first = folder / "part-1.stl"
        subprocess.run([options.make_mesh, "1000000", first], check=True)
        parts = [first] + [shutil.copy(first, folder / f"part-{i + 2}.stl") for i in range(PARTS - 1)]
        measured = {1: [], options.threads: []}
        digests = set()
        for _ in range(options.runs):
            for threads, figures in measured.items():
                out = folder / "out"
                figures.append(run([options.tool, "build", *parts, "--vat", "1000x1000x400mm", "--time", "0", "--no-report",
                                    "--threads", str(threads), "-o", out]))
                digests.add(digest(out))
                shutil.rmtree(out)
        medians = {threads: [statistics.median(column) for column in zip(*figures)] for threads, figures in measured.items()}
    one, more = medians[1], medians[options.threads]
    for k, (what, unit) in enumerate((("CPU time", "s"), ("elapsed", "s"), ("peak memory", "kB"))):
        print(f"{what}: {one[k]:.4g} {unit} on one thread, {more[k]:.4g} {unit} on {options.threads}: {more[k] / one[k]:.3f} times")
    print("same bytes" if len(digests) == 1 else "other bytes")
    return 0 if len(digests) == 1 else 1


if __name__ == "__main__":
    sys.exit(main())
