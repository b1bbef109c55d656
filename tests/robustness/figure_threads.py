"""Threads with objects of their own, under ThreadSanitizer."""
import subprocess

from figures import BUILD, SOURCE, LeftOut, run


def measure(report):
    if report.quick:
        raise LeftOut("builds the preset tsan; the tests run the same program without it")
    subprocess.run(["cmake", "--preset", "tsan"], cwd=SOURCE, check=True, stdout=subprocess.DEVNULL)
    report.build("threads_tests", preset="tsan")
    done = run([BUILD / "tsan" / "bin" / "threads_tests"])
    races = done.err.count("WARNING: ThreadSanitizer")
    report.line("threads", done.exit == 0 and races == 0, f"exit {done.exit}, {races} races", "exit 0, no race")
