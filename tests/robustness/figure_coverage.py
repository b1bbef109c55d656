"""Lines and branches of the reader sources that tests, mutants and the fuzz corpus run."""
import re
import sys

from figures import SOURCE, LeftOut, run


def measure(report):
    if report.quick:
        raise LeftOut("builds the preset coverage")
    report.need_program("gcovr")
    done = run([sys.executable, "-B", SOURCE / "tests" / "coverage.py"], timeout=7200)
    found = re.search(r"readers: lines ([\d.]+) % .* branches ([\d.]+) %", done.out.decode(errors="replace"))
    if not found:
        report.line("coverage", False, f"exit {done.exit}: {done.err[-200:]!r}", "a report")
        return
    report.line("coverage.lines", float(found[1]) >= 95, f"{found[1]} %", "95 %")
    report.line("coverage.branches", float(found[2]) >= 85, f"{found[2]} %", "85 % without those of exceptions")
