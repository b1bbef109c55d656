"""The schemas of docs/schemas: every command has one, every field has one name, a meaning and an output in which it
stands, and what does not follow a schema is noticed."""
import copy
import json
import pathlib
import re
import unittest
import warnings

import jsonschema

import schemas
import layers_test
import slc_test
from style_files import *
from support import *

# Documents that are no command's.
FILES = {"build-folder", "build-style", "checks", "estimates", "job", "plates", "recoat-style", "usage"}


def files():
    return [name + ".json" for name in schemas.names()] + [schemas.SHARED]


def nodes(schema, pointer=""):
    """Every schema within a schema, with its place."""
    yield pointer, schema
    for key in ("properties", "$defs"):
        for name, inner in schema.get(key, {}).items():
            yield from nodes(inner, f"{pointer}/{key}/{name}")
    for key in ("items", "additionalProperties"):
        if isinstance(schema.get(key), dict):
            yield from nodes(schema[key], f"{pointer}/{key}")
    for k, inner in enumerate(schema.get("anyOf", [])):
        yield from nodes(inner, f"{pointer}/anyOf/{k}")


def kinds(schema, file):
    """The JSON types of what a schema allows, without null."""
    if "$ref" in schema:
        other, schema = schemas.target(schema["$ref"], file)
        return kinds(schema, other)
    if "anyOf" in schema:
        return set().union(*(kinds(inner, file) for inner in schema["anyOf"])) - {"null"}
    values = [schema["const"]] if "const" in schema else schema.get("enum", [])
    named = schema.get("type", [{str: "string", int: "integer", type(None): "null"}[type(v)] for v in values])
    return set([named] if isinstance(named, str) else named) - {"null"}


def seen_in(value, schema, file, pointer, seen):
    """Adds the places of all schemas that a value of a document has to do with."""
    seen.add((file, pointer))
    if "$ref" in schema:
        other, inner = schemas.target(schema["$ref"], file)
        place = schema["$ref"].partition("#")[2]
        seen_in(value, inner, other, place, seen)
    for k, inner in enumerate(schema.get("anyOf", [])):
        if jsonschema.Draft202012Validator(schemas.whole(inner, file)).is_valid(value):
            seen_in(value, inner, file, f"{pointer}/anyOf/{k}", seen)
    if isinstance(value, dict):
        for key, inner in value.items():
            if key in schema.get("properties", {}):
                seen_in(inner, schema["properties"][key], file, f"{pointer}/properties/{key}", seen)
            elif isinstance(schema.get("additionalProperties"), dict):
                seen_in(inner, schema["additionalProperties"], file, f"{pointer}/additionalProperties", seen)
    if isinstance(value, list) and "items" in schema:
        for inner in value:
            seen_in(inner, schema["items"], file, f"{pointer}/items", seen)


class Schemas(unittest.TestCase):
    def test_they_are_schemas(self):
        for file in files():
            jsonschema.Draft202012Validator.check_schema(schemas.read(file))

    def test_every_command_has_one_and_every_one_a_command(self):
        commands = {".".join(words) for words in command_names()}
        self.assertEqual(set(schemas.names()), commands | FILES)

    def test_their_titles_are_the_names_of_the_documents(self):
        for name in schemas.names():
            document = schemas.read(name + ".json")
            self.assertRegex(document["title"], rf"^trqprep\.{re.escape(name)}/[0-9]+$")
            self.assertEqual(document["properties"]["schema"], {"const": document["title"]})

    def test_every_object_is_closed(self):
        for file in files():
            for pointer, schema in nodes(schemas.read(file)):
                if "properties" in schema and not (pointer == "" and "$ref" in schema) and file + pointer != (
                        schemas.SHARED):
                    self.assertIs(schema.get("additionalProperties"), False, file + pointer)

    def test_every_field_says_what_it_means(self):
        for file in files():
            for pointer, schema in nodes(schemas.read(file)):
                named = re.search(r"/properties/[^/]+$", pointer) and pointer != "/properties/data"
                if named and "const" not in schema:
                    place, inner = file, schema
                    while "description" not in inner and "$ref" in inner:
                        place, inner = schemas.target(inner["$ref"], place)
                    if "anyOf" in inner and "description" not in inner:
                        place, inner = schemas.target(inner["anyOf"][0]["$ref"], place)
                    if pointer.endswith(("/properties/min", "/properties/max", "/properties/mean", "/properties/kind",
                                         "/properties/bytes")):
                        continue
                    self.assertTrue(inner.get("description"), file + pointer)

    def test_a_name_means_one_thing(self):
        """Fields of one name have values of one type; what is shared stands in fields.json under that name."""
        found = {}
        for file in files():
            for pointer, schema in nodes(schemas.read(file)):
                if "/properties/" not in pointer or file == "job.json":
                    continue
                name = pointer.rpartition("/")[2]
                if re.search(r"/properties/[^/]+$", pointer):
                    found.setdefault(name, {})[file + pointer] = frozenset(kinds(schema, file))
        self.assertGreater(len(found), 150)
        for name, places in sorted(found.items()):
            plain = {frozenset({"number"} if types == {"integer"} else types - {"integer"} or types)
                     for types in places.values()}
            widest = max(plain, key=len)
            for place, types in places.items():
                types = {"number" if t == "integer" else t for t in types}
                self.assertTrue(types <= widest, f"{name} is {sorted(types)} in {place}, elsewhere {sorted(widest)}")

    def test_the_page_lists_them(self):
        page = (schemas.FOLDER / "README.md").read_text()
        rows = set(re.findall(r"^\| `trqprep\.([\w.-]+)/\d+`", page, re.M))
        self.assertEqual(rows, set(schemas.names()))
        for name in schemas.names():
            self.assertIn(f"| `{schemas.title(name)}` | [{name}.json]({name}.json) |", page)


class Outputs(ToolTest):
    """One workshop in which every command says everything that it can say."""

    @classmethod
    def setUpClass(cls):
        cls.documents = []
        cls.seen = set()

    def take(self, document):
        schemas.check(document)
        self.documents.append(document)
        name = schemas.name_of(document)
        seen_in(document, schemas.read(name + ".json"), name + ".json", "", self.seen)

    def said(self, *arguments, exit=DONE, **more):
        result = self.run_tool(*arguments, "--json", **more)
        self.assertEqual(result.exit, exit, (arguments, result.err, result.out))
        self.take(result.document())
        return result.document()

    def take_folder(self, folder):
        for path in sorted(self.path(folder).glob("*.json")):
            self.take(json.loads(path.read_text()))
        self.take(schemas.tomllib.loads((self.path(folder) / "build.toml").read_text()))

    def meshes(self):
        self.write("box.stl", binary_stl(box_facets()))
        self.write("ring.stl", binary_stl(ring_facets(20, 15, 10)))
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, 10)]
        self.write("tiny.ctl", make_ctl(corners, [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]))
        hollow = box_facets((50, 50, 50)) + [f[::-1] for f in box_facets((20, 20, 20), (10, 10, 10))]
        self.write("hollow.stl", binary_stl(hollow))
        self.said("convert", "box.stl", "--stamp", "1", "-o", "stamped.stl")
        self.said("convert", "box.stl", "--to", "stl-ascii", "-o", "text.stl")
        self.said("convert", "box.stl", "--to", "stl", "-o", b"\xe9.out")
        self.said("transform", "box.stl", "--rotate-z", "15", "-o", "turned.stl")
        self.said("merge", "box.stl", "ring.stl", "-o", "both.stl")
        self.said("simplify", "ring.stl", "--facets", "100", "-o", "less.stl")
        self.said("hollow", "box.stl", "--limit", "1mm", "--validate", "-o", "shell.stl")
        self.said("zcomp", "box.stl", "--style", "Fine.sty", "-o", "raised.stl", exit=INPUT)
        self.said("zcomp", "box.stl", "--height", "0.2", "-o", "raised.stl")

    def styles(self):
        self.write("Fine.sty", build_style(0.1))
        self.write("Thin.sty", build_style(0.05))
        self.write("Old.sty", build_style(0.1, layout="206"))
        self.write("Slow.rcs", recoat_style(sweeps=2))
        self.write("Other.rcs", recoat_style(0.05, sweeps=1))
        for command, file, other, parameter in (("style", "Fine.sty", "Thin.sty", "Dp"),
                                                ("recoat", "Slow.rcs", "Other.rcs", "Z Wait")):
            ending = file[-4:]
            self.said(command, "show", file)
            self.said(command, "show", file, "--all")
            self.said(command, "get", file, parameter)
            self.said(command, "diff", file, other, exit=NO)
            self.said(command, "diff", file, file)
            self.said(command, "verify", file)
            for form in ("json", "txt"):
                self.said(command, "export", file, "--to", form)
            self.good(command, "export", file, "--to", "json", "-o", f"{command}.json")
            self.take(json.loads(self.path(f"{command}.json").read_text()))
            self.said(command, "export", file, "--to", "csv", "-o", f"{command}.csv")
            self.write("part.json", json.dumps({"schema": schemas.title(
                ("build" if command == "style" else "recoat") + "-style")}))
            self.said(command, "import", "part.json", "-o", "imported" + ending)
            self.said(command, "new", "--machine", "TRQ-E7", "-o", "new" + ending)
            self.said(command, "set", file, parameter + "=7", "-o", "set" + ending)
            self.said(command, "set", file, parameter + "=7", "--dry-run")
            self.said(command, "copy", "set" + ending, file, "--params", parameter, "--dry-run")
            self.said(command, "units", file, *(["--from", "mm"] if command == "style" else []), "--to", "in", "-o",
                      "inch" + ending)
        self.said("style", "upgrade", "Old.sty", "-o", "upgraded.sty")
        shutil.copy(SOURCE / "tests/data/recoat/legacy.rcs", self.folder)
        self.said("recoat", "upgrade", "legacy.rcs", "--from", "mm", "-o", "upgraded.rcs")
        self.said("recoat", "sweeps", "Slow.rcs")
        self.said("recoat", "sweeps", "Slow.rcs", "--add", "gap=100,velocity=2.5", "-o", "more.rcs")
        slack = bytearray(self.path("Fine.sty").read_bytes()[:-4])
        slack[56 + 100] = 0x41  # behind the NUL of the style's name
        self.write("slack.sty", bytes(slack) + make_golden_styles.crc(bytes(slack)))
        self.said("style", "verify", "slack.sty")
        shutil.copy(SOURCE / "tests/data/styles/filled_301.sty", self.folder)
        self.said("style", "show", "filled_301.sty")
        self.said("params")
        self.said("params", "--all")
        self.write("machines.toml", '[lab]\ntype = "TRQ-E7"\nvat = "500x500x580mm"\nstyles = "/srv/styles"\n[none]\n')
        self.said("machines", "--machines", "machines.toml")

    def contours(self):
        self.write("three.slc", slc_test.THREE)
        self.said("slc", "info", "three.slc")
        self.said("slc", "verify", "three.slc")
        self.said("slc", "svg", "three.slc", "--layer", "1")
        self.said("slc", "svg", "three.slc", "--layer", "1", "-o", "layer.svg")
        self.said("slc", "svg", "three.slc", "--layers", "1,2", "-o", "drawings")
        self.said("slc", "png", "three.slc", "--size", "40", "-o", "pictures")
        self.said("slc", "sheet", "three.slc", "-o", "sheet.png")
        self.write("open.stl", binary_stl(box_facets()[:-1]))
        self.said("render", "open.stl", "three.slc", "--size", "64x48", "--problems", "-o", "view.png")
        self.said("slc", "area", "three.slc")
        self.write("two.slc", slc_test.slc([slc_test.FRAME, slc_test.EMPTY], 4))
        self.said("slc", "diff", "three.slc", "two.slc", exit=NO)
        self.said("slc", "diff", "two.slc", "three.slc", exit=NO)
        self.said("slc", "diff", "three.slc", "three.slc")
        self.said("slc", "copy", "three.slc", "-o", "again.slc")
        self.said("slc", "mirror", "three.slc", "--axis", "x", "-o", "mirrored.slc")

    def estimates(self):
        shutil.copy(SOURCE / "examples/contours/cone.slc", self.folder)
        self.said("estimate", "cone.slc")
        given = {"beam": "0.1mm", "power": 200, "travel": "300mm", "delay-unit": "s", "recoat-unit": "mm", "dp-unit": "mm",
                 "ec-unit": "mJ/cm2", "sweeps": "normal", "speed-factor": 0.8}
        self.write("Draws.sty", build_style(0.5, Dp=0.15, Ec=10, Large_Up_NumFills=1, Large_Up_Fill_Spacing_1=0.1,
                                            Large_Up_Fill_Cure_Depth_1=0.2, Large_LayerNumHatches=1))
        self.write("Dips.rcs", recoat_style(sweeps=1, change=lambda r: (setattr(r["Z Dip Distance"], "value", 5),
                                                                        setattr(r["Z Wait"], "value", 2))))
        self.said("estimate", "cone.slc", "--style", "Draws.sty", "--recoat", "Dips.rcs")
        options = [text for key, value in given.items() for text in ("--" + key, str(value))]
        self.said("estimate", "cone.slc", "--style", "Draws.sty", "--recoat", "Slow.rcs", *options)
        self.write("process.toml", "[lab]\ntype = \"TRQ-E7\"\n" + "".join(f"{k} = {json.dumps(v)}\n" for k, v in given.items()))
        self.said("build", "box.stl", "--style", "Draws.sty", "--recoat", "Slow.rcs", "--machines", "process.toml", "--slice",
                  "--time", "0", "-o", "estimated")
        self.take_folder("estimated")
        self.said("fleet", "summary", "estimated")
        self.said("fleet", "summary", "estimated", "box.stl", exit=INPUT)
        self.said("build", "box.stl", "--time", "0", "--no-report", "-o", "unsliced")
        self.said("fleet", "summary", "unsliced")

    def vents(self):
        self.said("vents", "find", "box.stl")
        self.said("vents", "add", "box.stl", "--vent", "1", "--drain", "1")
        self.said("vents", "list", "box.stl")
        self.said("vents", "move", "box.stl", "--by", "0,0,0", "-o", "moved.V_D")
        self.said("vents", "remove", "moved.V_D", "1")
        self.said("vents", "remove", "moved.V_D", "--all", "--yes")

    def builds(self):
        name = b"\xe9.stl"
        odd = os.fsencode(self.folder) + b"/"
        pathlib.Path(os.fsdecode(odd + name)).write_bytes(binary_stl(box_facets((5, 5, 20))))
        damaged = bytearray(self.path("Fine.sty").read_bytes())
        damaged[-1] ^= 1
        self.write("Damaged.sty", bytes(damaged))
        self.write("half.sty", build_style(0.1, layout="206"))
        style = b"\xe9.sty"
        pathlib.Path(os.fsdecode(odd + style)).write_bytes(build_style(0.1))
        self.take(schemas.tomllib.loads((SOURCE / "docs/formats/job-file.md").read_text().split("```toml\n")[1]
                                        .split("```")[0].replace('["120mm", 120, 100]', '"120x120x100mm"')))
        self.said("place", "box.stl,copies=2", "ring.stl")
        self.said("place", "box.stl,copies=2", "ring.stl", "--engine", "grid")
        self.nested()
        self.said("build", "box.stl,copies=2,rotate-z=15,units=mm,style=half.sty@0:12", name + b",style=" + style, "--style",
                  "Fine.sty", "--recoat", "Slow.rcs", "--machine", "TRQ-E7", "--z-spacing", "0.5", "--accept-partial", "--force-checks", "--floor", "keep", "--strict", "--allow",
                  "NO-RECOAT", "--report-facets", "all", "-o", "out")
        self.take_folder("out")
        self.said("build", "ring.stl", "--style", "Damaged.sty", "--force-checks", "--report-facets", "100", "-o", "damaged",
                  exit=NO)
        self.take_folder("damaged")
        self.good("style", "new", "--machine", "Mirra", "--thickness", "0.1", "-o", "Mirra.sty")
        self.said("build", "ring.stl,style=Mirra.sty", "box.stl,style=Fine.sty", "--force-checks", "--no-report", "-o", "torn", exit=NO)
        self.take_folder("torn")
        self.said("report", "out", "box.stl", "-o", "out.html")
        self.said("verify", "out")
        self.said("check", "box.stl", "Fine.sty", "out/build.toml")
        self.write("unknown.bin", b"nothing that is known")
        self.said("info", "box.stl")
        self.said("info", "stamped.stl", "text.stl", "tiny.ctl", "three.slc", "Fine.sty", "Slow.rcs", "box.V_D", "out",
                  "out/build.toml", "unknown.bin", exit=INPUT)

    def nested(self):
        """Every key of the engine nest, as people write them and as a build folder has them."""
        text = (SOURCE / "docs/formats/job-file.md").read_text().split("## Nested")[1].split("```toml\n")[1].split("```")[0]
        self.take(schemas.tomllib.loads(text))
        for part in ("bracket.stl", "knob.stl"):
            self.write(part, binary_stl(box_facets((12, 8, 5))))
        self.write("nested.toml", text)
        self.said("build", "nested.toml", "-o", "nested")
        self.take_folder("nested")
        self.said("build", "box.stl,copies=3,plate=1", "--vat", "60x60x60", "--plates", "any", "--time", "0", "-o", "plates")
        self.said("info", "plates")
        self.said("place", "box.stl,copies=3", "--vat", "60x60x60", "--plates", "any", "--time", "0")
        self.take_folder("plates")
        self.said("build", "box.stl,copies=2", "--vat", "60x60x60", "--plates", "5", "--time", "0", "-o", "five")
        self.take_folder("five")
        self.said("build", "box.stl,rotations=4,gap=3", "--order", "given", "-o", "turns")
        self.take_folder("turns")

    def findings(self):
        """What messages say of places."""
        def finds(file, data, exit=NO, *arguments):
            self.write(file, data)
            return self.said("check", file, *arguments, exit=exit)
        whole = box_facets()
        self.said("check", "hollow.stl")
        finds("open.stl", binary_stl(whole[1:]), DONE)
        finds("twice.stl", binary_stl(whole + whole[:1]), DONE)
        finds("inverted.stl", binary_stl([f[::-1] for f in whole]), DONE)
        finds("flat.stl", binary_stl(whole + [(whole[0][0],) * 3]), DONE)
        finds("short.stl", binary_stl(whole, announced=14))
        finds("nan.stl", binary_stl(whole[:-1] + [((float("nan"), 0, 0), (1, 0, 0), (0, 1, 0))]))
        finds("large.stl", binary_stl(box_facets((400, 400, 10))))
        finds("stale.stl", binary_stl(whole), DONE)
        self.write("stale.V_D", "500 0 0 0 0 1 3\n")
        self.said("check", "stale.stl")
        self.said("vents", "list", "stale.stl")
        self.write("bad.V_D", "1 2 3\n0 0 0 0 0 1 3\n")
        self.said("vents", "list", "bad.V_D")
        corners = [(0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, float("inf"))]
        self.write("inf.ctl", make_ctl(corners, [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]))
        self.said("build", "inf.ctl", "-o", "none", exit=INPUT)
        self.said("check", "Fine.sty", "--machine", "Mirra")
        self.write("range.sty", build_style_with(lambda records: setattr(records["Layer Border Power"], "value", 1e9)))
        self.said("check", "range.sty")
        self.write("count.rcs", recoat_style(sweeps=2, change=lambda r: setattr(r["Num Sweeps"], "value", 5)))
        self.said("check", "count.rcs", exit=NO)
        self.write("job.toml", '[[part]]\nfile = "box.stl"\ncopies = 0\n')
        self.said("info", "job.toml", exit=INPUT)
        self.write("place.json", json.dumps({"schema": schemas.title("build-style"), "texts": {"none": "x"}}))
        self.said("style", "import", "place.json", "-o", "x.sty", exit=INPUT)
        self.write("broken.json", "{")
        self.said("style", "import", "broken.json", "-o", "x.sty", exit=INPUT)
        self.said("build", "box.stl,copies=9", "--vat", "30x30x100", "-o", "none", exit=NO_PLACEMENT)
        self.said("build", "ring.stl", "--style", "Fine.sty@0:5", "-o", "none", exit=NO)
        self.write("low.stl", binary_stl(box_facets(at=(0, 0, -5))))
        self.said("build", "low.stl", "--floor", "keep", "-o", "none", exit=NO)
        self.said("place", "box.stl,at=1:1", exit=NO)
        finds("high.stl", binary_stl(box_facets(at=(0, 0, 40))), DONE)
        finds("text.stl", ascii_stl(whole).replace("vertex", "vertex x", 1).encode())
        self.said("repair", "open.stl", "--holes", "0", "-o", "still-open.stl", exit=NO)
        self.said("repair", "open.stl", "-o", "closed.stl")
        self.write("side.stl", binary_stl(box_facets()[:-2]))
        self.said("slice", "side.stl", "-o", "open.slc")
        cup = [[slc_test.boundary(slc_test.rectangle(0, 0, 9, 9))],
               [slc_test.boundary(slc_test.rectangle(0, 0, 9, 9)), slc_test.boundary(slc_test.rectangle(2, 2, 7, 7, True))]]
        self.write("cup.slc", slc_test.slc([slc_test.layer(k * 0.5, *cup[k > 0]) for k in range(4)], 2))
        self.said("check", "--slices", "cup.slc")
        self.write("vessel.stl", binary_stl(layers_test.vessel()))
        self.write("vessel.V_D", "5 10 6 1 0 0 3\n")
        self.said("check", "--slices", "vessel.stl")
        self.said("build", "box.stl", "--style", "Fine.sty", "--slice", "-o", "sliced")
        self.take_folder("sliced")
        self.write("inside-out.stl", binary_stl([tuple(reversed(facet)) for facet in box_facets()]))
        self.said("slice", "inside-out.stl", "-o", "inside-out.slc")
        small = box_facets((1, 1, 1), (50, 0, 0))
        self.write("thin.stl", binary_stl(whole + small))
        self.said("hollow", "thin.stl", "--limit", "2", "-o", "thin-walls.stl")
        self.said("hollow", "open.stl", "--limit", "2", "-o", "skin.stl")
        self.path("full").mkdir()
        self.write("full/letter.txt", b"dear all")
        self.said("build", "box.stl", "-o", "full", "--force", exit=OUTPUT)
        loop = slc_test.boundary([(0, 0), (float("nan"), 1), (0, 0)])
        self.write("nan.slc", slc_test.slc([slc_test.layer(1, loop)], 2))
        self.said("slc", "info", "nan.slc")
        # Two pieces that touch: the second one's mesh put in the place of the first one's.
        self.good("build", "box.stl,copies=2", "-o", "crowd")
        shutil.copy(self.path("crowd/meshes/box-1.ctl"), self.path("crowd/meshes/box-2.ctl"))
        self.said("verify", "crowd", exit=NO)

    def others(self):
        self.said("version")
        self.said("help", "build")
        self.said("build", "--help")
        self.said("completion", "fish")
        self.said("explain", "OPEN-EDGES")
        self.said("--version")
        self.said(exit=USAGE)
        self.said("style", exit=USAGE)

    def test_every_field_stands_in_an_output_and_what_is_no_field_is_noticed(self):
        for scene in (self.styles, self.meshes, self.contours, self.estimates, self.vents, self.builds, self.findings, self.others):
            scene()
        with self.subTest("every command was run"):
            self.assertEqual({schemas.name_of(d) for d in self.documents}, set(schemas.names()))
        with self.subTest("no dead field"):
            places = {(file, pointer) for file in files() for pointer, _ in nodes(schemas.read(file))}
            dead = {file + pointer for file, pointer in places - self.seen if pointer}
            self.assertEqual(sorted(dead), [])
        with self.subTest("a wrong document"):
            self.assert_mistakes_are_noticed()
        with self.subTest("references are followed as any reader of schemas does"):
            self.assert_files_refer_to_each_other()

    def assert_mistakes_are_noticed(self):
        """A further field, a value of another type and a missing field, at every place of a document of each kind."""
        kept = {}
        for document in sorted(self.documents, key=lambda d: -len(json.dumps(d))):
            if document.get("ok", True):
                kept.setdefault(schemas.name_of(document), document)
        self.assertEqual(set(kept), set(schemas.names()) - {"usage"})
        tried = 0
        for name, document in kept.items():
            document = json.loads(json.dumps(document), object_hook=shortened)
            self.assertEqual(schemas.mistakes(document), [], name)
            valid = schemas.validator(name).is_valid
            for value, key in list(places_in(document)):
                before = value[key]
                value[key] = {**(before if isinstance(before, dict) else {}), "unheard_of": 1}
                self.assertFalse(valid(document), (name, key))
                tried += 1
                value[key] = before
            document["unheard_of"] = 1
            self.assertFalse(valid(document), name)
            del document["unheard_of"]
            if "data" in document:
                for key in list(document):
                    self.assertFalse(valid({k: v for k, v in document.items() if k != key}), (name, key))
                required = schemas.read(name + ".json")["then"]["properties"]["data"]["required"]
                for key in required:
                    data = {k: v for k, v in document["data"].items() if k != key}
                    self.assertFalse(valid({**document, "data": data}), (name, key))
        self.assertGreater(tried, 500)

    def assert_files_refer_to_each_other(self):
        last = {schemas.name_of(document): document for document in self.documents}
        for name, document in last.items():
            file = schemas.FOLDER / f"{name}.json"
            with warnings.catch_warnings():
                warnings.simplefilter("ignore", DeprecationWarning)  # its successor is not in all versions
                resolver = jsonschema.RefResolver(file.as_uri(), schemas.read(file.name))
                check = jsonschema.Draft202012Validator(schemas.read(file.name), resolver=resolver)
                self.assertTrue(check.is_valid(document), name)
                self.assertFalse(check.is_valid({**document, "unheard_of": 1}), name)


def shortened(value):
    """Long lists cut to their first entry."""
    return {key: inner[:1] if isinstance(inner, list) and len(inner) > 4 else inner for key, inner in value.items()}


def places_in(value):
    """Every place of a document that holds a value: container and key. Values of a style may be of several types."""
    items = value.items() if isinstance(value, dict) else enumerate(value)
    for key, inner in items:
        if key in ("before", "after"):
            continue
        yield value, key
        if isinstance(inner, (dict, list)):
            yield from places_in(inner)


if __name__ == "__main__":
    unittest.main()
