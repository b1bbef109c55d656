"""The JSON Schemas of docs/schemas, and whether documents follow them.

`support.run` puts every document that a command prints, and every build folder that it writes, to `check`: a field that
no schema names fails the test that made it.
"""
import functools
import json
import os
import pathlib
import tomllib

try:
    import jsonschema
except ImportError as error:
    raise SystemExit("python3-jsonschema is needed: apt-get install python3-jsonschema") from error

FOLDER = pathlib.Path(os.environ["TRQ_SOURCE_DIR"]) / "docs" / "schemas"
SHARED = "fields.json"


@functools.lru_cache(maxsize=None)
def read(name):
    """A file of the folder, as it is."""
    return json.loads((FOLDER / name).read_text(encoding="utf-8"))


def names():
    """The documents that have a schema, without "trqprep." and version."""
    return sorted(path.name[:-len(".json")] for path in FOLDER.glob("*.json") if path.name != SHARED)


def title(name):
    """Name and version of a document, such as "trqprep.info/2"."""
    return read(name + ".json")["title"]


def target(reference, file):
    """What a $ref of a file leads to: the file, and the schema there."""
    path, _, pointer = reference.partition("#")
    schema = read(path or file)
    for step in pointer.strip("/").split("/") if pointer else []:
        schema = schema[step]
    return path or file, schema


def whole(schema, file):
    """The schema with every $ref replaced by what it leads to, so that checking follows none."""
    if isinstance(schema, list):
        return [whole(entry, file) for entry in schema]
    if not isinstance(schema, dict):
        return schema
    rest = {key: whole(value, file) for key, value in schema.items() if key not in ("$ref", "$defs", "description")}
    if "$ref" not in schema:
        return rest
    other, found = target(schema["$ref"], file)
    found = whole(found, other)
    return {"allOf": [found], **rest} if rest else found


@functools.lru_cache(maxsize=None)
def validator(name):
    return jsonschema.Draft202012Validator(whole(read(name + ".json"), name + ".json"))


def name_of(document):
    """The name under which a document's schema stands; None when it names no document of ours."""
    schema = document.get("schema") if isinstance(document, dict) else None
    if not isinstance(schema, str) or not schema.startswith("trqprep."):
        return None
    return schema[len("trqprep."):].rpartition("/")[0]


def mistakes(document):
    """What a document of ours does that its schema forbids, a line each."""
    name = name_of(document)
    if name is None or not (FOLDER / f"{name}.json").exists():
        return [f"there is no schema for it in docs/schemas: {str(document)[:200]}"]
    found = []
    for error in validator(name).iter_errors(document):
        error = jsonschema.exceptions.best_match([error])
        place = "/".join(str(step) for step in error.absolute_path)
        found.append(f"{document['schema']}, {place or 'document'}: {error.message[:400]}")
    return found


def check(document):
    found = mistakes(document)
    assert not found, "against docs/schemas (a new field goes there, too):\n  " + "\n  ".join(found)


def check_output(text):
    """Checks what a command printed, when that is a document of ours."""
    if not text.lstrip()[:1] == b"{":
        return
    try:
        document = json.loads(text)
    except ValueError:
        return
    if name_of(document):
        check(document)


def check_folder(folder):
    """Checks the documents of a build folder that was just written."""
    folder = pathlib.Path(folder)
    for path in sorted(folder.glob("*.json")):
        check(json.loads(path.read_text(encoding="utf-8")))
    check(tomllib.loads((folder / "build.toml").read_text(encoding="utf-8")))
