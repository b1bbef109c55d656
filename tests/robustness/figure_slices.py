"""Contours of closed meshes: all closed, areas and volumes as sums over the facets (--corpus)."""
import json
import struct

from figure_repair import closed, read_stl
from figures import parallel, run


def measure(report):
    corpus = report.need_corpus()
    report.build("slice_probe")
    probe = report.tool.parent / "slice_probe"
    folder = report.folder("slices")
    entries = [e for e in json.loads((corpus / "stl" / "index.json").read_text())["files"]
               if (e["measured"].get("geometry") or {}).get("unbalanced_edges") == 0 and e["measured"]["geometry"]["facets"] > 3]
    if report.quick:
        entries = [e for e in entries if e["measured"]["geometry"]["facets"] < 5000]

    def one(item):
        number, entry = item
        facets = read_stl((corpus / "stl" / entry["file"]).read_bytes(), entry["format"] == "binary")
        if not closed(facets):
            return None  # as this reader reads it
        path = folder / f"{number}.raw"
        path.write_bytes(b"".join(struct.pack("<9f", *a, *b, *c) for a, b, c in facets))
        done = run([probe, path], timeout=1200)
        path.unlink()
        if done.exit != 0:
            return f"{entry['file']}: ended with {done.exit}"
        contours, unclosed, area, volume = done.out.split()
        found[0] += int(contours)
        found[1] = max(found[1], float(area))
        found[2] = max(found[2], float(volume))
        if int(unclosed) or float(area) > 1 or float(volume) > 1:
            return f"{entry['file']}: {int(unclosed)} of {int(contours)} open, area {float(area)}, volume {float(volume)}"
        return ""

    found = [0, 0.0, 0.0]
    answers = [a for a in parallel(one, enumerate(entries)) if a is not None]
    print(f"        {found[0]} contours; errors in their allowances: area {found[1]:.3g}, volume {found[2]:.3g}")
    report.all_of("slices", [a for a in answers if a], len(answers), "no contour open, areas and volumes of the facets")
