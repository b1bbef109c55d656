"""Worst cases that are known, of every kind of file: time, its growth, and memory (worst_mesh.py, worst_text.py)."""
import importlib

import worst_cases

QUICK = (3_000, 30_000)


def measure(report):
    total, slow, growing, large = 0, [], [], []
    for module in worst_cases.MODULES:
        folder = report.folder("worst")
        for case in importlib.import_module(module).CASES:
            if report.quick and hash_of(case[0]) % 8:
                continue
            total += 1
            for name, n, code, seconds, memory, allowed, power in worst_cases.run_case(
                    report.tool, case, folder, QUICK if report.quick else None, 120):
                row = f"{name}, {n}: exit {code}, {seconds:.2f} s, {memory / 2**20:.0f} MiB of {allowed / 2**20:.1f}, n^{power:.2f}"
                if code is None or seconds > worst_cases.LONGEST * max(1, n / 1e6):
                    slow.append(row)
                if power > worst_cases.LARGEST_EXPONENT:
                    growing.append(row)
                if memory > allowed:
                    large.append(row)
                if not report.quick:
                    print("        " + row, flush=True)
    # A busy machine may miss times.
    report.line("worst.time", not slow, f"{total - len(slow)} of {total} cases", "20 s of CPU time for 10^6", binding=False)
    report.line("worst.growth", not growing, f"{total - len(growing)} of {total} cases", "exponent 1.2", binding=False)
    report.all_of("worst.memory", large, total, "10 times the input and 64 MiB, 32 KiB a piece asked for")
    for row in slow + growing:
        print("        " + row, flush=True)


def hash_of(text):
    return sum(ord(c) * (k + 1) for k, c in enumerate(text))
