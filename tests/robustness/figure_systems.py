"""The same bytes on other systems and for older processors: unit tests, bit probe and command lines under emulators."""
import re

from figures import LeftOut, SOURCE, run

SYSTEMS = ("native", "arm64", "s390x", "i686", "windows")


def measure(report):
    if report.quick:
        raise LeftOut("takes hours")
    for system in SYSTEMS:
        done = run([SOURCE / "scripts" / "cross", system, "--test"], timeout=6 * 3600)
        text = done.out.decode(errors="replace")
        if done.exit != 0:
            print("\n".join("        " + line for line in (text + done.err).splitlines()[-20:]), flush=True)
        counts = re.findall(r"^\d+ (?:digests|commands), .*$", text, re.M)
        report.line(f"systems.{system}", done.exit == 0, "; ".join(counts) or "did not end well", "nothing differs")
