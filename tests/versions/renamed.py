"""What version 0.1.0 calls otherwise: its JSON documents and job files under the names of today.

A second description of the table in docs/schemas/README.md: compare-versions takes old outputs through it, so that
whatever else differs still shows.
"""
import json
import re

KINDS = {"style": "build style", "recoat": "recoat style"}


def rename(entry, **names):
    for old, new in names.items():
        if old in entry:
            entry[new] = entry.pop(old)


def style(entry):
    rename(entry, bytes="file_size", version="file_version")


def info_entry(entry):
    rename(entry, type="kind", error="code")
    kind = entry["kind"] = KINDS.get(entry.get("kind"), entry.get("kind"))
    if kind is None:
        del entry["kind"]
    if kind in KINDS.values():
        style(entry)
    if kind == "vents":
        rename(entry, entries="entry_count", vents="vent_count", drains="drain_count")
    if kind in ("build", "job"):
        rename(entry, pieces="piece_count", parts="part_count", styles="style_count", recoats="recoat_count")
    contours(entry)


def contours(entry):
    if isinstance(entry.get("z"), dict):
        z = entry.pop("z")
        entry["start"], entry["end"] = z["first"], z["end"]


def data_of(name, data):
    """Renames the data of a command in place; what is returned takes its place."""
    if name == "info":
        data = {"files": data.get("files", [])} if data else data
        for entry in data.get("files", []):
            info_entry(entry)
    elif name == "check":
        for entry in data.get("files", []):
            rename(entry, type="kind")
            entry["kind"] = KINDS.get(entry["kind"], entry["kind"])
    elif name == "verify":
        rename(data, folders="files")
        for entry in data.get("files", []):
            rename(entry, folder="file", differences="errors")
    elif name == "machines":
        for entry in data.get("machines", []):
            rename(entry, type="machine_type", name="machine", styles_inch="styles_in")
        for entry in data.get("profiles", []):
            rename(entry, type="machine_type", vat_mm="vat", styles="style_root")
    elif name == "params":
        for entry in data.get("parameters", []):
            entry["kind"] = KINDS[entry.pop("style")]
    elif name == "build":
        folder(data)
    elif name == "place":
        engine(data)
    elif name == "merge":
        rename(data, inputs="files")
    elif name == "simplify":
        rename(data, before="mesh_before")
    elif name == "hollow":
        if "surfaces" in data:
            data["inner_only"] = data.pop("surfaces") == "inner"
            rename(data["push"], min="least", max="largest")
    elif name == "zcomp":
        rename(data, style="style_file", layers="z_correction")
    elif name == "slc.verify" and "bytes" in data:
        data["file_size"] = data.pop("bytes") + data["trailing_bytes"]
    elif name == "slc.mirror" and "extent" in data:
        data["start"], data["end"] = data.pop("extent")
    elif name == "vents.find":
        for patch in data.get("vents", []) + data.get("drains", []):
            rename(patch, facets="facet_numbers")
    elif name.startswith("vents."):
        if isinstance(data.get("entries"), int):
            rename(data, entries="entry_count")
        for list_name in ("entries", "added", "moved"):
            for entry in data.get(list_name, []):
                rename(entry, kind="opening")
    elif name.startswith(("style.", "recoat.")):
        rename(data, changes="differences")
        if name.endswith(".diff"):
            rename(data, before="file_before", after="file_after")
        if name.endswith((".show", ".verify")):
            style(data)
    contours(data)
    rename(data, input="file")
    return data


def folder(document):
    for entry in document.get("files", []):
        rename(entry, size="file_size")
    engine(document)


def engine(document):
    """It had the grid alone and did not name it."""
    if "cell" in document:
        document.update(engine="grid", piece_gap=0.0, margin=0.0, search_steps=None)


def message(entry):
    where = entry["where"]
    rename(where, middle="centre", point="entry", text="parameter", **{"from": "start", "to": "end"})
    if isinstance(where.get("pieces"), int):
        rename(where, pieces="piece_count")
    if "axis" in where:
        where["axis"] = where["axis"].lower()
    if "exceeds" in where:
        where["exceeds"] = {axis.lower(): by for axis, by in where["exceeds"].items()}


def document_of_today(document):
    """A document of version 1 as version 2."""
    schema = document["schema"]
    name = schema[len("trqprep."):].rpartition("/")[0]
    if name in ("build-style", "recoat-style"):
        return document
    if name == "build-folder":
        folder(document)
    for entry in document.get("messages", document.get("findings", [])):
        message(entry)
    data = document.get("data")
    if isinstance(data, dict):
        if "help" in data:
            name = "help"
        elif name in ("style", "recoat", "slc", "vents"):
            name = "usage"
        document["data"] = data_of(name, data)
        if name == "info":
            document["units"] = None  # of a single file it was the file's
    document["schema"] = f"trqprep.{name}/2"
    return document


def of_today(content, old):
    """A content under today's names, in one layout; one that is neither a document of ours nor a job file stays."""
    if b'"trqprep.job/' in content[:40]:
        content = content.replace(b'"trqprep.job/1"', b'"trqprep.job/2"', 1).replace(b'\nengine = "grid"\n', b"\n", 1)
        return re.sub(rb"(?m)^(accept|force|z|rotate)_(partial|checks|spacing|z) =", rb"\1-\2 =", content)
    try:
        document = json.loads(content.replace(b": <true>,", b': "<true>",'))
    except ValueError:
        return content
    if not isinstance(document, dict) or not str(document.get("schema")).startswith("trqprep."):
        return content
    if old:
        document = document_of_today(document)
    elif document["schema"].startswith("trqprep.info/"):
        document["units"] = None
    return json.dumps(document, indent=2, sort_keys=True).encode()
