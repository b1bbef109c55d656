"""Codes, counts, measures and round trips of real files, against an independent reader (--corpus)."""
import json
import struct

from figures import parallel, run

PARTS_PER_BILLION = 1000  # 1e-6


def entries(corpus):
    """(entry of the index, path) of every STL file."""
    index = json.loads((corpus / "stl" / "index.json").read_text())["files"]
    return [(entry, corpus / "stl" / entry["file"]) for entry in index]


def narrow(value):
    return struct.unpack("<I", struct.pack("<f", value))[0]


def wide(bits):
    return struct.unpack("<f", struct.pack("<I", bits))[0]


def code_problem(found, rule):
    if rule.get("endless") or rule["code"] is None:
        return None  # it ended
    wanted = rule["code"]
    # A mesh with a corner that is no number is loaded, but its normals cannot be calculated.
    if wanted == 0 and rule.get("nan"):
        wanted = 1
    if found["code"] != wanted:
        return f"code {found['code']}, not {wanted}"
    if rule["code"] == 0 and found["facets"] != rule["facets"]:
        return f"{found['facets']} facets, not {rule['facets']}"
    return None


def measured(entry, rule):
    """The geometry of the index where it speaks of what was loaded."""
    shape = entry["measured"].get("geometry")
    whole = shape and rule["code"] == 0 and not rule.get("endless") and not rule.get("nan")
    whole = whole and shape["facets"] == rule["facets"] and not shape.get("nonfinite_facets") and "merge_lower_bound" in shape
    return shape if whole else None


def measure_problem(found, shape):
    low, high = found["box"][:3], found["box"][3:]
    if [low, high] != [[narrow(v) for v in shape["bbox_min"]], [narrow(v) for v in shape["bbox_max"]]]:
        # Zeros of either sign are the same place.
        if [[wide(b) for b in low], [wide(b) for b in high]] != [shape["bbox_min"], shape["bbox_max"]]:
            return "another box"
    if abs(wide(found["volume"]) - shape["signed_volume"]) > 1e-5 * shape["volume_abs_sum"]:
        return f"volume {wide(found['volume'])}, not {shape['signed_volume']}"
    if abs(wide(found["area"]) - shape["area"]) > 1e-3 * shape["area"]:
        return f"area {wide(found['area'])}, not {shape['area']}"
    return None


def slice_contours(report):
    """Slice contours: the code, the layers, and that they come back when written again."""
    index = json.loads((report.corpus / "slc" / "index.json").read_text())["files"]
    problems, total = [], 0
    for entry in index:
        path = report.corpus / "slc" / entry["file"]
        if not path.exists():
            continue  # only its figures are kept
        total += 1
        wanted = entry["measured"]
        info = report.tool_run("slc", "info", path, "--json")
        if wanted["result"] != 0:
            if info.exit != 3:
                problems.append(f"{path.name}: exit {info.exit}, not 3")
            continue
        layers = json.loads(info.out)["data"].get("layers") if info.exit == 0 else None
        verify = report.tool_run("slc", "verify", path)
        if (info.exit, verify.exit, layers) != (0, 0, wanted["layers"]):
            problems.append(f"{path.name}: exits {info.exit} and {verify.exit}, {layers} layers")
    report.all_of("corpus.slc", problems, total, "code and layers as the index says; the same when written again")


def measure(report):
    corpus = report.need_corpus()
    report.build("mesh_probe")
    probe = report.tool.parent / "mesh_probe"
    files = entries(corpus)

    def look(item):
        entry, path = item
        out = report.folder("probe")
        done = run([probe, "--out", out, path])
        partial = run([probe, "--partial", path])
        return entry, done, partial

    codes, vertices, measures, ctl, binary, near, text = ([] for _ in range(7))
    totals = dict.fromkeys(("codes", "vertices", "measures", "ctl", "binary", "near", "text"), 0)
    for entry, done, partial in parallel(look, files):
        name = entry["file"]
        rules = entry["measured"]["rule"]
        for ran, rule in ((done, rules["load_accept_partial_0"]), (partial, rules["load_accept_partial_1"])):
            totals["codes"] += 1
            problem = f"exit {ran.exit}" if ran.exit != 0 else code_problem(json.loads(ran.out), rule)
            if problem:
                codes.append(f"{name}: {problem}")
        if done.exit != 0:
            continue
        found = json.loads(done.out)
        rule = rules["load_accept_partial_0"]
        shape = measured(entry, rule)
        if shape:
            totals["vertices"] += 1
            if not shape["merge_lower_bound"] <= found["vertices"] <= shape["distinct_vertices"]:
                vertices.append(f"{name}: {found['vertices']}")
            if shape["merge_lower_bound"] == shape["distinct_vertices"]:
                totals["measures"] += 1
                problem = measure_problem(found, shape)
                if problem:
                    measures.append(f"{name}: {problem}")
        if "ctl" not in found:
            continue
        totals["ctl"] += 1
        if found["ctl"] != "good":
            ctl.append(f"{name}: {found['ctl']}")
        if found["code"] != 0 or rule.get("passes", 2) > 2:
            continue  # no finite mesh, or of several solids
        totals["text"] += 1
        # Where corners are closer than the merge tolerance but not equal, the import numbers vertices by the corners
        # as they came, and a file of merged corners numbers them anew.
        if shape and shape["merge_lower_bound"] == shape["distinct_vertices"]:
            totals["binary"] += 1
            if found["binary"] != "good":
                binary.append(f"{name}: {found['binary']}")
        else:
            totals["near"] += 1
            if found["binary"] not in ("good", "renumbered"):
                near.append(f"{name}: {found['binary']}")
        if not 0 <= found["text_ppb"] <= PARTS_PER_BILLION:
            text.append(f"{name}: {found['text_ppb']} parts per billion")
    report.all_of("corpus.codes", codes, totals["codes"], "code and facet total as the index says, both ways")
    report.all_of("corpus.vertices", vertices, totals["vertices"], "between merge_lower_bound and distinct_vertices")
    report.all_of("corpus.measures", measures, totals["measures"],
                   "box exact, volume 1e-5, area 1e-3 where no corner is in doubt")
    report.all_of("corpus.ctl", ctl, totals["ctl"], "written as CTL and read: the same")
    report.all_of("corpus.binary_stl", binary, totals["binary"], "written as binary STL and read: the same")
    report.all_of("corpus.binary_stl_near", near, totals["near"],
                   "with corners nearly equal: the same facets, vertices may be renumbered")
    report.all_of("corpus.ascii_stl", text, totals["text"], "written as ASCII STL and read: within 1e-6")
    slice_contours(report)
