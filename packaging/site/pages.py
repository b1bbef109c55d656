#!/usr/bin/env python3
"""Lays out the pages of the site: pages.py TRQPREP XML OUT.

Copies docs/ and the changelog to OUT/pages, makes the pages of OUT/pages/reference from what the tool says of itself, from the
schemas and from what Doxygen found in the headers (its XML), and writes OUT/mkdocs.yml.
"""
import functools
import html
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BLOCK = re.compile(r"(^```.*?^```$)", re.M | re.S)
LINK = re.compile(r"\[([^\]]*)\]\((?![a-z]+:|#)([^)#\s]+)(#[^)]*)?\)")


def cell(value):
    """A value as a cell of a table."""
    if value is None:
        return "-"
    if isinstance(value, list):
        return ", ".join(map(cell, value)) or "-"
    text = "%g" % value if isinstance(value, float) else str(value)
    return html.escape(text, quote=False).replace("|", "\\|").replace("\n", " ").replace("*", "\\*").replace("_", "\\_")


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + "---|" * len(heads)]
    return "\n".join(lines + ["| " + " | ".join(map(str, row)) + " |" for row in rows]) + "\n"


def prose(text):
    """A text of the tool in Markdown: what stands in single quotes or begins with two hyphens is a command."""
    return re.sub(r"'(trqprep [^']*)'|(?<![\w`-])(--[a-z][\w-]*)", lambda m: "`" + (m[1] or m[2]) + "`", cell(text))


# --- copied

def adapted(page, text):
    """A page of the repository as a page of the site: links to what is no part of the site lose their target, lists stand
    apart from the lines before."""
    def link(match):
        words, target, anchor = match[1], match[2], match[3] or ""
        place = (page.parent / target).resolve()
        if place == ROOT / "CHANGELOG.md":
            place = ROOT / "docs" / "changelog.md"
        if not place.is_relative_to(ROOT / "docs") or place.is_dir():
            return words
        # The changelog stands in the root and becomes a page beside the others.
        begin = ROOT / "docs" if page.parent == ROOT else page.parent
        return f"[{words}]({os.path.relpath(place, begin)}{anchor})"

    parts = BLOCK.split(text)
    for i in range(0, len(parts), 2):
        parts[i] = LINK.sub(link, parts[i])
        parts[i] = re.sub(r"^((?!\s*(?:[-*]|\d+\.) |\s|\|).+)\n(?=(?:[-*]|\d+\.) )", r"\1\n\n", parts[i], flags=re.M)
    return "".join(parts)


def copy(out):
    for source in sorted((ROOT / "docs").rglob("*")):
        target = out / source.relative_to(ROOT / "docs")
        if source.is_dir():
            target.mkdir(parents=True, exist_ok=True)
        elif source.suffix == ".md":
            target.write_text(adapted(source, source.read_text()))
        else:
            shutil.copyfile(source, target)
    changes = ROOT / "CHANGELOG.md"
    (out / "changelog.md").write_text(adapted(changes, changes.read_text()))


# --- made from what the tool says of itself

def told(tool, *words):
    done = subprocess.run([tool, *words, "--json"], check=True, capture_output=True, text=True)
    return json.loads(done.stdout)["data"]


def messages(tool):
    lines = ["# Messages", "",
             "Every message of the tool has a code. `trqprep explain CODE` prints what stands here; the page is made from it.", ""]
    rules = sorted(told(tool, "explain")["rules"], key=lambda rule: rule["code"])
    for rule in rules:
        lines += [f"## {rule['code']}", "", f"*{rule['severity'].capitalize()}*: {prose(rule['title'])}.", ""]
        if rule.get("story"):
            lines += [prose(rule["story"]), ""]
        if rule.get("hint"):
            lines += [f"Next step: {prose(rule['hint'])}.", ""]
    return "\n".join(lines)


def parameters(tool):
    lines = ["# Parameters of styles", "",
             "What `trqprep params` prints; the page is made from it. Values are in the file's own units. Without a range every finite "
             "number is taken, and one of the allowed values where there are some.", ""]
    rows = told(tool, "params")["parameters"]
    for kind in dict.fromkeys(row["kind"] for row in rows):
        lines += [f"## {kind.capitalize()}", ""]
        of_kind = [row for row in rows if row["kind"] == kind]
        for region in dict.fromkeys(row["region"] for row in of_kind):
            heads = ["Parameter", "Type", "Unit", "Default", "Range", "Allowed"]
            lines += [f"### {region}, {kind}" if region else f"### {kind}", ""]
            body = []
            for row in of_kind:
                if row["region"] == region:
                    ends = (row["minimum"], row["maximum"])
                    span = "-" if ends == (None, None) else " to ".join(map(cell, ends))
                    body.append(("`" + row["name"] + "`", row["type"], cell(row["unit"]), cell(row["default"]), span,
                                 cell(row.get("allowed"))))
            lines += [table(heads, body)]
    return "\n".join(lines)


def machines(tool):
    rows = [(m["machine_type"], cell(m["machine"]), *("`%s`" % m[key] if m[key] else "-" for key in ("styles_mm", "styles_in")))
            for m in told(tool, "machines")["machines"]]
    return ("# Machines\n\nWhat `trqprep machines` prints; the page is made from it. "
            "[Machine profiles](../formats/machine-profiles.md) say more of the machines of a workshop.\n\n" +
            table(["Number", "Machine", "Styles in mm", "Styles in inches"], rows))


# --- made from the schemas

@functools.lru_cache(maxsize=None)
def schema_file(name):
    return json.loads((ROOT / "docs" / "schemas" / name).read_text())


def layers(part, file):
    """A schema and those that it refers to, each with the file that its own references start from."""
    yield part, file
    if "$ref" in part:
        name, _, pointer = part["$ref"].partition("#")
        file = name or file
        part = schema_file(file)
        for word in filter(None, pointer.split("/")):
            part = part[word]
        yield from layers(part, file)


def first(part, file, key):
    """What the nearest of the layers says for a key, and its file."""
    return next(((layer[key], at) for layer, at in layers(part, file) if key in layer), (None, file))


def kind_of(part, file):
    for key in ("const", "enum"):
        value, _ = first(part, file, key)
        if value is not None:
            return ", ".join(map(json.dumps, value)) if key == "enum" else json.dumps(value)
    either, at = first(part, file, "anyOf")
    if either:
        return " or ".join(dict.fromkeys(kind_of(each, at) for each in either))
    name, _ = first(part, file, "type")
    items, at = first(part, file, "items")
    if name == "array" and items:
        return "array of " + kind_of(items, at)
    return " or ".join(name) if isinstance(name, list) else name or "any"


def schema_rows(part, file, path="", seen=None):
    """The fields of a schema: name, type, meaning; those of objects inside follow, named from the outside."""
    seen = set() if seen is None else seen
    for layer, at in layers(part, file):
        for each in layer.get("anyOf", []):
            yield from schema_rows(each, at, path, seen)
        if "items" in layer:
            yield from schema_rows(layer["items"], at, path + "[]", seen)
        for name, field in layer.get("properties", {}).items():
            full = f"{path}.{name}" if path else name
            text, _ = first(field, at, "description")
            if (full, text) not in seen:
                seen.add((full, text))
                yield full, kind_of(field, at), text or ""
                if full.count(".") + full.count("[]") < 8:
                    yield from schema_rows(field, at, full, seen)


def documents():
    common = list(schema_rows({"$ref": "#/$defs/Document"}, "fields.json"))
    names = {name for name, _, _ in common}
    lines = ["# Fields of JSON documents", "",
             "Made from the schemas. [JSON documents](../schemas/README.md) tells what holds for all of them, and has the "
             "schemas themselves.", "", "## Every document that a command prints", "",
             table(["Field", "Type", "Meaning"],
                   [(f"`{name}`", cell(kind), cell(text)) for name, kind, text in common])]
    for path in sorted((ROOT / "docs" / "schemas").glob("*.json")):
        if path.name == "fields.json":
            continue
        schema = schema_file(path.name)
        lines += [f"## {schema['title']}", "", cell(schema.get("description", "")), ""]
        rows = [(f"`{name}`", cell(kind), cell(text)) for name, kind, text in schema_rows(schema, path.name)
                if name not in names]
        if rows:
            lines += [table(["Field", "Type", "Meaning"], rows)]
    return "\n".join(lines)


# --- made from the headers

def cpp(folder):
    """Classes and functions that the headers name, with their first sentence, linked into Doxygen's pages."""
    def brief(node):
        text = "".join(node.find("briefdescription").itertext()).strip() if node.find("briefdescription") is not None else ""
        return cell(re.sub(r"\s+", " ", text))

    def page(refid, kind):
        if kind == "member":
            file, _, anchor = refid.rpartition("_1")
            return f"../cpp/{file}.html#{anchor}"
        return f"../cpp/{refid}.html"

    sections = {}
    index = ElementTree.parse(folder / "index.xml").getroot()
    for compound in index.findall("compound"):
        kind = compound.get("kind")
        if kind not in ("class", "struct", "namespace"):
            continue
        refid = compound.get("refid")
        node = ElementTree.parse(folder / (refid + ".xml")).getroot().find("compounddef")
        name = node.findtext("compoundname")
        if "detail" in name.split("::") or "<" in name or node.get("prot") == "private":
            continue
        rows = sections.setdefault("Classes" if kind != "namespace" else "Functions", [])
        if kind != "namespace":
            rows.append((f"[`{name}`]({page(refid, 'class')})", brief(node)))
            continue
        for member in node.iter("memberdef"):
            if member.get("kind") == "function":
                rows.append((f"[`{name}::{member.findtext('name')}`]({page(member.get('id'), 'member')})", brief(member)))
    # Functions of the global namespace belong to their headers.
    for file in sorted(folder.glob("*_8h.xml")):
        for member in ElementTree.parse(file).getroot().iter("memberdef"):
            if member.get("kind") == "function":
                sections.setdefault("Functions", []).append(
                    (f"[`{member.findtext('name')}`]({page(member.get('id'), 'member')})", brief(member)))
    lines = ["# C++", "",
             "The classes and functions of the installed headers, each linked to what its header says of it. `trq/` is the "
             "interface, `trq/core/` the same work as plain functions, `trqprep/` whole builds. "
             "[All headers](../cpp/files.html), [all classes](../cpp/annotated.html).", ""]
    for heading in ("Classes", "Functions"):
        rows = sorted(dict(sections.get(heading, [])).items())
        if not rows:
            sys.exit("Doxygen found no " + heading.lower())
        lines += [f"## {heading}", "", table(["Name", "What it is"], rows)]
    return "\n".join(lines)


def configuration(out):
    """mkdocs.yml with the pages that are there: some come from parts of the project that may not be built."""
    lines = []
    for line in (ROOT / "packaging/site/mkdocs.yml").read_text().splitlines():
        page = re.search(r": ([\w./-]+\.md)$", line)
        if page and page[1] in ("python.md", "fleet.md", "windows.md", "systems.md") and not (out / "pages" / page[1]).exists():
            continue
        line = re.sub(r"^(\w+_dir): .*/", lambda m: f"{m[1]}: {out}/", line)
        lines.append(line)
    (out / "mkdocs.yml").write_text("\n".join(lines) + "\n")


def main():
    tool, folder, out = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]).resolve()
    pages = out / "pages"
    pages.mkdir(parents=True, exist_ok=True)
    copy(pages)
    made = pages / "reference"
    made.mkdir(exist_ok=True)
    (made / "messages.md").write_text(messages(tool))
    (made / "parameters.md").write_text(parameters(tool))
    (made / "machines.md").write_text(machines(tool))
    (made / "documents.md").write_text(documents())
    (made / "cpp.md").write_text(cpp(folder))
    configuration(out)


if __name__ == "__main__":
    main()
