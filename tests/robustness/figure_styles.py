"""Style files written again: byte for byte where 'style verify' has no notes."""
import json

import faults
from figures import SOURCE, run


def measure(report):
    folder = report.folder("styles")
    faults.make_inputs(folder)
    files = [p for place in (SOURCE / "examples" / "styles", SOURCE / "tests" / "data" / "styles",
                             SOURCE / "tests" / "data" / "recoat", folder)
             for p in sorted(place.iterdir()) if p.suffix in (".sty", ".rcs")]
    problems, total = [], 0
    for path in files:
        kind = "style" if path.suffix == ".sty" else "recoat"
        verified = run([report.tool, kind, "verify", path, "--json"])
        notes = json.loads(verified.out)["messages"]
        if verified.exit != 0 or notes:
            continue
        shown = json.loads(run([report.tool, kind, "show", path, "--json"]).out)["data"]
        if shown.get("layout") == "legacy":
            continue  # read and upgraded, never written
        total += 1
        # Setting a parameter to the value that it has changes nothing, so the file is written as it was read.
        # A value out of its own range is refused, and one allowed value is replaced along with it; any parameter
        # without such a list will do.
        out = folder / ("again" + path.suffix)
        for parameter in shown["parameters"]:
            if parameter["allowed"]:
                continue
            value = f"{parameter['name']}={parameter['value']}"
            done = run([report.tool, kind, "set", path, value, "-o", out, "--force"])
            if done.exit == 0:
                break
        if done.exit != 0 or out.read_bytes() != path.read_bytes():
            problems.append(f"{path.name}: exit {done.exit}, not the same bytes: {done.err.strip()[-200:]}")
    report.all_of("styles.bytes", problems, total, "the same bytes where nothing was noted")
