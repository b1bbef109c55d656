"""libFuzzer under ASan and UBSan: executions and CPU time so far (fuzz/totals.txt), findings open."""
import subprocess

from figures import SOURCE

EXECUTIONS, CPU_SECONDS = 20_000_000, 1200


def measure(report):
    if not report.quick:
        report.need_program("clang++")
        done = subprocess.run([SOURCE / "fuzz" / "soak", "--cpu", "60"], check=False)
        report.line("fuzz.findings", done.returncode == 0, "none" if done.returncode == 0 else "see build/fuzz/findings",
                     "no finding open")
    totals = SOURCE / "fuzz" / "totals.txt"
    for line in totals.read_text().splitlines():
        if line.startswith("#"):
            continue
        name, runs, cpu = line.split()
        report.line(f"fuzz.{name}", int(runs) >= EXECUTIONS or float(cpu) >= CPU_SECONDS,
                     f"{int(runs):,} executions, {float(cpu) / 60:.1f} CPU minutes", "20,000,000 or 20 minutes",
                     binding=False)
