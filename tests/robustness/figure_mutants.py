"""Mutants of our own files through the harnesses of fuzz/: no signal, nothing slow."""
import re
import subprocess

from figures import BUILD, SOURCE, run

FORMATS = "stl ctl slc build_style recoat_style legacy_recoat_style side_file".split()
LINE = re.compile(r"(\d+) mutants, ([\d.]+) CPU s, slowest ([\d.]+) s \(number (\d+)\), (\d+) over")


def measure_preset(report, preset, count, mark):
    report.build("mutants", "make_seeds", preset=preset)
    programs = BUILD / preset / "bin"
    seeds = report.folder("seeds")
    subprocess.run([programs / "make_seeds", seeds], check=True)
    for name in FORMATS:
        done = run([programs / "mutants", name, str(count), "1", seeds])
        found = LINE.search(done.out.decode(errors="replace"))
        label = f"mutants.{name}" + ("" if preset == "release" else ".sanitized")
        if done.crashed() or done.exit != 0 or not found:
            report.line(label, False, f"exit {done.exit}: {done.err[-200:]!r}", "no signal")
            continue
        report.line(label, int(found[5]) == 0, f"{found[1]} in {float(found[2]):.1f} CPU s, slowest {found[3]} s",
                     f"no signal, none over 2 s{mark}", binding=False)


def measure(report):
    measure_preset(report, "release", 50 if report.quick else 10000, "" if report.quick else ", 120 s together")
    if not report.quick:
        subprocess.run(["cmake", "--preset", "asan-ubsan"], cwd=SOURCE, check=True, stdout=subprocess.DEVNULL)
        measure_preset(report, "asan-ubsan", 500, "")
