"""What compare_versions.py runs: scenes, each a folder with input files and the commands that run in it, in order.

A plan is plain data, so that it can be kept beside the outputs that it gave:
  {"scenes": [{"group", "name", "inputs": {name: source or {"text": ...}}, "steps": [step]}]}
A source is a path below the folder of sources ("examples/...", "data/...", "made/...") or "corpus/...".
A step is {"run": [argument]} or {"shell": line}, with "stdin" when something is piped in, and "bounded" when the old
tool is known to run out of time on some inputs of that kind: then its timeout is no difference.
"""
import json
import pathlib
import re
import shlex
import subprocess

import made_files

QUICK_GROUPS = ("docs", "examples", "contours", "builds")


class Scene:
    def __init__(self, group, name, inputs):
        self.group, self.name, self.inputs, self.steps = group, name, dict(inputs), []

    def text(self, name, content):
        self.inputs[name] = {"text": content}
        return self

    def run(self, *lines, **more):
        """A command a line, as words of a shell; a list is taken as it is."""
        for line in lines:
            words = shlex.split(line) if isinstance(line, str) else list(line)
            self.steps.append({"run": words, **more})
        return self

    def both(self, *lines, **more):
        """Each command as text, and once more with --json (with --force as well when it writes a file)."""
        for line in lines:
            words = shlex.split(line) if isinstance(line, str) else list(line)
            again = ["--force"] if {"-o", "--svg"} & set(words) and "--force" not in words else []
            self.run(words, [*words, *again, "--json"], **more)
        return self

    def shell(self, *lines, **more):
        self.steps += [{"shell": line, **more} for line in lines]
        return self


class Plan:
    def __init__(self, sources, tool, corpus):
        self.sources, self.tool, self.corpus = pathlib.Path(sources), tool, corpus
        self.scenes = []
        self.commands = self._commands()
        for make in (self.help, self.docs, self.examples, self.styles, self.contours, self.builds, self.made,
                     self.names, self.damaged):
            make()
        if corpus:
            self.corpus_meshes()
            self.corpus_contours()
            self.corpus_builds()

    def scene(self, group, name, inputs=()):
        self.scenes.append(Scene(group, name, inputs))
        return self.scenes[-1]

    def data(self):
        return {"scenes": [vars(scene) for scene in self.scenes]}

    def _output(self, *arguments):
        return subprocess.run([self.tool, *arguments], capture_output=True, check=True).stdout.decode()

    def _commands(self):
        """["info"], ["style", "show"], ..., and the texts of --help."""
        page = self._output("help", "--reference-page")
        names = [heading.split() for heading, body in
                 re.findall(r"^### trqprep ([^\n]+)\n(.*?)(?=^### |\Z)", page, re.S | re.M) if "```text" in body]
        return {tuple(words): self._output(*words, "--help") for words in names}

    def files(self, folder, *suffixes):
        root = self.sources / folder
        return {path.name: f"{folder}/{path.name}" for path in sorted(root.iterdir())
                if path.is_file() and path.suffix in suffixes}

    def example_files(self):
        return {**self.files("examples/parts", ".stl"), **self.files("examples/styles", ".sty", ".rcs"),
                **self.files("examples/contours", ".slc")}

    def style_files(self):
        return {**self.files("examples/styles", ".sty", ".rcs"), **self.files("data/styles", ".sty"),
                **self.files("data/recoat", ".rcs")}

    # --- help, and what is no command ---------------------------------------------------------------------

    def help(self):
        pages = self.scene("help", "pages")
        pages.run("", "--help", "-h", "help", "help --json", "--help --json", "--version", "--version --json")
        pages.run("help --man-page", "help --reference-page", "help --man-page --json", "help --reference-page --json")
        pages.both("version", "explain", "params", "params --all", "params --kind style", "params --kind recoat",
                   "params 'Large Up*'", "params '*Angle?'", "params nothing*", "machines", "machines TRQ-E7",
                   "machines 6", "machines nowhere", "completion bash", "completion zsh", "completion fish",
                   "completion tcsh")
        stories = self.scene("help", "stories")
        codes = json.loads(self._output("explain", "--json"))
        for code in sorted(set(re.findall(r'"code": "([A-Z-]+)"', json.dumps(codes)))):
            stories.both(f"explain {code}")
        stories.both("explain open-edges", "explain OPEN-EDGE", "explain OPEN-EDGES Z-GAP", "explain X", "explain ''")
        for words in self.commands:
            name = " ".join(words)
            scene = self.scene("help", "-".join(words), {"box.stl": "made/box.stl"})
            scene.run(f"{name} --help", f"{name} -h", f"{name} --help --json", f"help {name}", f"help {name} --json")
            scene.both(name, f"{name} --no-such-option", f"{name} absent", f"{name} absent absent absent",
                       f"{name} box.stl --units", f"{name} --units furlong box.stl", f"{name} -o", f"{name} ''",
                       f"{name} box.stl --forse", f"{name} box.stl box.stl")
        wrong = self.scene("help", "no-command")
        wrong.both("bild", "style", "recoat", "vents", "slc", "style shw", "recoat swep", "vents fnd", "slc inof",
                   "help bild", "help style shw", "--josn", "-x", "''", "build --json=yes", "--units mm", "--yes")

    # --- what the documents show --------------------------------------------------------------------------

    def docs(self):
        examples = self.example_files()
        for words, text in self.commands.items():
            lines = [line.strip() for line in text.split("\nExamples:\n")[1].splitlines() if line.strip()]
            self.scene("docs", "help-" + "-".join(words), examples).shell(*lines)
        documents = [self.sources / "README.md", *sorted((self.sources / "docs").rglob("*.md"))]
        for document in documents:
            lines = []
            for block in re.findall(r"^```(?:sh|console|bash)\n(.*?)^```", document.read_text(), re.S | re.M):
                for line in block.replace("\\\n", " ").splitlines():
                    line = re.sub(r"^\$ ", "", line).strip()
                    # Outputs of jobs side by side come in any order: one after the other here.
                    line = line.replace("xargs -P 4", "xargs -P 1")
                    if re.search(r"\btrqprep ", line):
                        lines.append(line)
            if not lines:
                continue
            inputs = dict(examples)
            for folder in ("parts", "styles", "contours"):
                for name, source in self.files("examples/" + folder, ".stl", ".sty", ".rcs", ".slc").items():
                    inputs[f"examples/{folder}/{name}"] = source
            scene = self.scene("docs", document.name, inputs)
            for name in ("first", "second"):
                scene.text(f"jobs/{name}.toml", f'units = "mm"\n[[part]]\nfile = "../bracket.stl"\n'
                           f'copies = {len(name) - 4}\n')
            scene.shell(*lines)

    # --- meshes -------------------------------------------------------------------------------------------

    def mesh_steps(self, scene, name, small=True):
        """Every mesh command on one file; `small` ones get the forms that differ in options only as well."""
        bounded = {"bounded": True}
        scene.both(f"info {name}", f"check {name}", **bounded)
        scene.both(f"convert {name} -o made.ctl", f"convert {name} -o made.stl",
                   f"convert {name} --to stl-ascii -o made-text.stl", f"convert {name} --to-units in -o inch.ctl")
        scene.run("info made.ctl --json", "info inch.ctl", f"convert {name} --to ctl --units in -o read-in-inches.ctl",
                  "convert made.ctl -o back.stl", "convert made-text.stl -o back-text.ctl")
        scene.both(f"transform {name} --rotate-z 30 --scale 1.1 --translate 1mm,2,-0.25in --mirror x -o turned.ctl")
        scene.run(f"transform {name} --rotate-x 90 --drop --center -o standing.stl",
                  f"transform made.ctl --mirror z --rotate-y 48 --to stl-ascii -o mirrored.stl")
        scene.both(f"zcomp {name} --height 0.2mm -o raised.stl", f"hollow {name} --limit 1mm -o hollow.stl", **bounded)
        scene.run(f"hollow {name} --limit 1mm --validate --inner-only -o skin.ctl", **bounded)
        scene.both(f"simplify {name} --facets 100 -o coarse.stl", f"vents find {name}", f"vents list {name}",
                   f"vents add {name} --vent 1 --drain 1", f"vents list {name}")
        scene.both(f"place {name},copies=2 --drop --svg plate.svg --rotations 4",
                   f"merge {name} made.ctl -o merged.stl")
        scene.run(f"build {name} --rotations 1 --drop -o one-turn", f"build {name} --force-checks -o all-turns",
                  f"build {name} --drop --json --style Fine.sty --recoat ThreeSweeps.rcs --machine TRQ-E7 -o styled",
                  "verify one-turn all-turns styled", "verify styled --json", "info one-turn", "info styled --json",
                  "check styled", "build styled/build.toml -o again", "build all-turns/build.toml --json -o again-all",
                  "verify again", **bounded)
        if not small:
            return
        for option in ("--accept-partial", "--units in"):
            scene.both(f"info {name} {option}", f"check {name} {option}",
                       f"convert {name} {option} -o other.ctl --force")
        scene.both(f"convert {name} --to-units in --units in -o inch.stl", f"convert {name} --stamp 7 -o stamped.stl",
                   "info stamped.stl")
        for name_of, line in {"x": "--rotate-x 33.3", "y": "--rotate-y -120", "z": "--rotate-z 7.25",
                              "scale": "--scale 2,0.5,1e-3", "small": "--scale 1e-30", "large": "--scale 1e30",
                              "mirror": "--mirror y --mirror z", "nothing": "", "zero": "--scale 0",
                              "drop": "--drop", "center": "--center --rotate-z 45 --drop",
                              "matrix": "--matrix 1,0,0,5,0,0.6,-0.8,0,0,0.8,0.6,0.1"}.items():
            scene.run(f"transform {name} {line} -o moved-{name_of}.ctl --json",
                      f"transform {name} {line} --to stl-ascii -o moved-{name_of}.stl")
        scene.both(f"zcomp {name} --style Fine.sty -o by-style.ctl", f"hollow {name} --limit 0.05in --both -o both.ctl",
                   f"simplify {name} --facets 6 -o six.ctl", f"merge {name} {name} --to stl-ascii -o twice.stl",
                   **bounded)
        scene.run(f"place {name},copies=4,rotate-z=30 --vat 60x60x100mm --json", f"build {name},copies=3 --seed 5 "
                  "--vat 120x120x300mm --drop --units in -o inches", **bounded)

    def mesh_inputs(self, name, source):
        return {name: source, "Fine.sty": "examples/styles/Fine.sty",
                "ThreeSweeps.rcs": "examples/styles/ThreeSweeps.rcs"}

    def examples(self):
        for name, source in self.files("examples/parts", ".stl").items():
            scene = self.scene("examples", name, self.mesh_inputs(name, source))
            self.mesh_steps(scene, name)
        every = self.example_files()
        scene = self.scene("examples", "together", every)
        parts = " ".join(self.files("examples/parts", ".stl"))
        scene.both(f"info {' '.join(every)}", f"check {' '.join(every)}", "check .", "info .",
                   f"merge {parts} -o all.stl",
                   f"merge {parts} --to ctl --units in -o all.ctl", f"place {parts}", f"build {parts} -o plate")
        scene = self.scene("examples", "angles", {"box.stl": "made/box.stl"})
        for angle in (1, 5, 12.34, 15, 24, 30, 37.5, 45, 48, 60, 72, 75, 89.99, 90, 105, 120, 135, 150, 179.99, 180,
                      195, 222.22, 270, 300, 330, 359.5, 360, 450, 720, 1e6, -1, -45, -90, -180, -270, 1e-3):
            for axis in "xyz":
                scene.run(f"transform box.stl --rotate-{axis} {angle} --json --force -o turned.ctl")
            scene.run(f"place box.stl,rotate-z={angle} --json")
        # Sine or cosine of these is another double in C libraries, with FMA or without.
        for angle in (7.93, 8.31, 9.57, 13.37, 15.44, 48):
            scene.both(f"build box.stl,rotate-z={angle} -o turned-{angle}")
            scene.run(f"verify turned-{angle}", f"build turned-{angle}/build.toml -o again-{angle}")

    def made(self):
        for name in sorted(made_files.meshes()):
            scene = self.scene("made", name, self.mesh_inputs(name, f"made/{name}"))
            self.mesh_steps(scene, name)
        for name, content in sorted(made_files.SIDE_FILES.items()):
            scene = self.scene("made", f"side-file-{name}", {"box.stl": "made/box.stl"}).text("box.V_D", content)
            scene.both("info box.V_D", "vents list box.stl", "vents list box.V_D", "check box.stl",
                       "vents move box.V_D --by 1mm,0.5in,-2 -o moved.V_D",
                       "vents move box.stl --rotate-z 33 -o turned.V_D",
                       "vents move box.V_D 2 --by 1,1,1 --rotate-z 90 -o one-moved.V_D",
                       "vents remove box.stl 1 -o fewer.V_D", "vents remove box.V_D 9 -o none.V_D",
                       "vents add box.stl --vent 1 --drain 1 -o more.V_D",
                       "vents add box.V_D --vent 1,2,30 --diameter 0.1in -o placed.V_D",
                       "build box.stl,copies=2,rotate-z=90 --rotations 4 -o built")
            scene.run("build box.stl,rotate-z=20 --rotations 24 -o turned", "verify built turned",
                      "build built/build.toml -o again", "build box.stl --units in --vat 40x40x40in -o inches",
                      "transform box.stl --translate 1,2,3 -o moved.stl", "vents add box.stl --vent 1 --drain 1",
                      "vents remove box.V_D 1", "vents remove box.stl --all", "vents remove box.stl --all --yes",
                      "vents list box.stl")
        scene = self.scene("made", "vents", self.mesh_inputs("ring.stl", "made/ring.stl"))
        scene.both("vents add ring.stl", "vents add ring.stl --vent 99", "vents add ring.stl --vent x",
                   "vents add ring.stl --drain 1,2", "vents add ring.stl --vent 1 --diameter 0",
                   "vents add absent.V_D --drain 1,2,0", "vents add absent.V_D --vent 1",
                   "vents move ring.stl --by 1,1,1",
                   "vents move absent.stl", "vents remove ring.stl", "vents remove ring.stl 1", "vents list absent.stl",
                   "vents find absent.stl", "vents add ring.stl --vent 1 --vent 10,0,5 --drain 1 --diameter 2mm",
                   "vents move ring.stl --rotate-z 48.25", "vents remove ring.stl 1 3")

    # --- styles -------------------------------------------------------------------------------------------

    def style_steps(self, scene, name, kind):
        """Every verb of `style` or `recoat` on one file."""
        length, pattern = ("Layer Thickness", "Large*") if kind == "style" else ("Z Dip Distance", "*Velocity")
        scene.both(f"info {name}", f"check {name}", f"{kind} show {name}", f"{kind} show {name} --all",
                   f"{kind} show {name} --only '{pattern}'", f"{kind} show {name} --only nothing",
                   f"{kind} verify {name}",
                   f"{kind} get {name} '{length}'", f"{kind} get {name} '*'", f"{kind} get {name} Layr",
                   f"{kind} get {name} {length.upper().replace(' ', '')}")
        for form in ("txt", "csv", "json", "tidy-csv"):
            scene.run(f"{kind} export {name} --to {form}", f"{kind} export {name} --to {form} -o style.{form}",
                      f"{kind} export {name} --to {form} -o again.{form} --json")
        scene.run(f"{kind} export {name} --to xml", f"{kind} export {name} --to txt -o style.txt")
        suffix = "sty" if kind == "style" else "rcs"
        scene.both(f"{kind} import style.json -o imported.{suffix}", f"{kind} diff {name} imported.{suffix}",
                   f"{kind} set {name} '{length}=0.1' -o set.{suffix}", f"{kind} diff {name} set.{suffix}",
                   f"{kind} set {name} '{length}=0.125' --dry-run", f"{kind} set {name} '{length}=thick'",
                   f"{kind} set {name} '{length}=1e9' -o refused.{suffix}", f"{kind} set {name} '{length}=nan'",
                   f"{kind} set {name} '{length}=3mm'", f"{kind} set {name} '{length}'",
                   f"{kind} set {name} 'Nowhere=1'",
                   f"{kind} set {name} '{pattern}=1' -o pattern.{suffix}",
                   f"{kind} upgrade {name} --dry-run", f"{kind} upgrade {name} -o upgraded.{suffix}",
                   f"{kind} verify upgraded.{suffix}", f"{kind} diff {name} upgraded.{suffix}",
                   f"{kind} units {name} --from mm --to in -o inch.{suffix}",
                   f"{kind} units {name} --from in --to mm -o mm.{suffix}",
                   f"{kind} units {name} --from mm --to mm --dry-run",
                   f"{kind} units {name} --to mm -o other.{suffix}",
                   f"{kind} copy Fine.sty {name} --params 'Small*' -o mixed.{suffix}",
                   f"{kind} copy ThreeSweeps.rcs {name} --params '*' -o mixed-recoat.{suffix}",
                   f"{kind} copy {name} imported.{suffix} --params '{pattern}' --dry-run",
                   f"{kind} copy {name} imported.{suffix} --params nothing")
        if kind == "recoat":
            for which in ("sweeps", "primary", "secondary"):
                scene.both(f"recoat sweeps {name} --list {which}",
                           f"recoat sweeps {name} --list {which} --add gap=100,velocity=2.5 -o more-{which}.rcs",
                           f"recoat sweeps more-{which}.rcs --list {which} --remove 1 -o fewer-{which}.rcs",
                           f"recoat sweeps {name} --list {which} --remove 9 --dry-run")
            scene.both(f"recoat sweeps {name}", f"recoat sweeps {name} --add gap=1",
                       f"recoat sweeps {name} --add gap=a,velocity=1")
        scene.run(f"{kind} set {name} '{length}=0.15'", f"{kind} upgrade {name}",
                  f"{kind} units {name} --from mm --to in",
                  f"{kind} verify {name}")

    def styles(self):
        both = {"Fine.sty": "examples/styles/Fine.sty", "ThreeSweeps.rcs": "examples/styles/ThreeSweeps.rcs"}
        for name, source in self.style_files().items():
            kinds = ("style", "recoat") if name in both else ("style" if name.endswith(".sty") else "recoat",)
            for kind in kinds:
                self.style_steps(self.scene("styles", f"{kind}-{name}", {**both, name: source}), name, kind)
            # In a build, whatever it is.
            option, other = ("--style", "Fine.sty") if name.endswith(".sty") else ("--recoat", "ThreeSweeps.rcs")
            scene = self.scene("styles", f"build-{name}", {**both, name: source, "box.stl": "made/box.stl"})
            scene.both(f"build box.stl {option} {name} -o plain", f"build box.stl {option} {name}@0:5mm "
                       f"{option} {other} --units in --vat 40x40x40 -o bands",
                       f"build box.stl {option} {name} --machine MirraMax --z-spacing 0.1 --force-checks -o forced",
                       f"zcomp box.stl --style {name} -o raised.stl",
                       f"zcomp box.stl --style {name} --style-units in --machine 8 --spacing 0.5mm -o raised-inch.stl")
            scene.run("verify plain bands forced", "build plain/build.toml -o again",
                      "build bands/build.toml -o again-bands",
                      "build forced/build.toml -o again-forced", "check forced", "check forced/build.toml --json")
            # Damaged.
            data = (self.sources / source).read_bytes()
            for damaged, content in {**made_files.cut(data, name, (0, 3, 4, 100, len(data) // 2, -4, -1)),
                                     **made_files.flipped(data, name, (0, 5, 300, len(data) - 2))}.items():
                self._made(damaged, content)
                scene = self.scene("styles", f"damaged-{damaged}", {**both, damaged: f"made/{damaged}",
                                                                   "box.stl": "made/box.stl"})
                kind = kinds[0] if name not in both else ("style" if name.endswith(".sty") else "recoat")
                scene.both(f"info {damaged}", f"check {damaged}", f"{kind} show {damaged}", f"{kind} verify {damaged}",
                           f"{kind} export {damaged} --to json", f"{kind} set {damaged} Dp=0.2 -o set.sty",
                           f"{kind} diff {damaged} {other}",
                           f"{kind} upgrade {damaged} -o upgraded.sty", f"build box.stl {option} {damaged} -o out")
        scene = self.scene("styles", "new", both)
        machines = re.findall(r'"type": (\d+)', self._output("machines", "--json"))
        for number in sorted(set(machines), key=int):
            scene.run(f"style new --machine {number} -o {number}.sty", f"recoat new --machine {number} -o {number}.rcs",
                      f"recoat new --machine {number} --units mm --layer-thickness 0.1 --name Trial --json "
                      f"-o {number}-mm.rcs",
                      f"style export {number}.sty --to tidy-csv", f"recoat show {number}.rcs --all")
        scene.both("style new --machine Nowhere -o x.sty",
                   "style new --machine TRQ-E7 --name '" + "n" * 300 + "' -o long.sty",
                   "recoat new --machine TRQ-E7 --layer-thickness -1 -o x.rcs",
                   "style new --machine TRQ-E7 -o Fine.sty")
        scene = self.scene("styles", "import", both)
        scene.run("style export Fine.sty --to json -o fine.json",
                  "recoat export ThreeSweeps.rcs --to json -o three.json")
        scene.shell("trqprep style export Fine.sty --to json | trqprep style import - -o piped.sty",
                    "trqprep recoat import three.json -o three.rcs && trqprep recoat diff three.rcs ThreeSweeps.rcs")
        for number, content in enumerate((
                "", "{", "[]", "{}", "null", '{"schema": "other"}', '{"a": 1, "a": 2}', '{"records": 3}', "\x00",
                                          "{" * 100,
                '{"records": [{"name": "Layer Thickness", "value": "thick"}]}', '{"parameters": []}', '{"x": 1e999}')):
            scene.text(f"document-{number}.json", content)
            scene.both(f"style import document-{number}.json -o out-{number}.sty",
                       f"recoat import document-{number}.json -o out-{number}.rcs", f"info document-{number}.json")
        scene.both("style import three.json -o crossed.sty", "recoat import fine.json -o crossed.rcs")

    # --- slice contours -----------------------------------------------------------------------------------

    def contour_steps(self, scene, name):
        scene.both(f"info {name}", f"slc info {name}", f"slc info {name} --units in", f"slc verify {name}",
                   f"slc copy {name} -o copy.slc", f"check {name}")
        scene.run(f"slc svg {name} --layer 1", f"slc svg {name} --layer 10 -o ten.svg",
                  f"slc svg {name} --z 5mm -o five.svg",
                  f"slc svg {name} --z 0.1in --units in --json -o inch.svg", f"slc svg {name} --layer 0",
                  f"slc svg {name} --layer 99999", f"slc svg {name} --z -5", f"slc svg {name}",
                  f"slc svg {name} --layer 2 --json")
        for axis in "xyz":
            scene.both(f"slc mirror {name} --axis {axis} -o {axis}.slc",
                       f"slc mirror {name} --axis {axis} --plane 1.5 -o p{axis}.slc",
                       f"slc mirror {name} --axis {axis} --beside 5mm -o b{axis}.slc")
            scene.run(f"slc verify {axis}.slc", f"slc info b{axis}.slc")
        scene.both(f"slc mirror {name} --axis w -o w.slc", f"slc mirror {name} --axis x --plane 1 --beside 1 -o w.slc",
                   f"slc mirror {name} --axis z --plane 1e30 -o w.slc")

    def contours(self):
        for name, source in self.files("examples/contours", ".slc").items():
            self.contour_steps(self.scene("contours", name, {name: source}), name)
            data = (self.sources / source).read_bytes()
            copies = {**made_files.cut(data, name, (0, 10, 200, 600, 1000, len(data) // 2, -1, -4, -9)),
                      **made_files.flipped(data, name, (3, 100, 300, 700, 2000, len(data) - 3)),
                      "trailing.slc": data + b"more", "nan.slc": data.replace(data[3000:3004], b"\0\0\xc0\x7f", 1),
                      "infinite.slc": data.replace(data[3000:3004], b"\0\0\x80\x7f", 1)}
            for damaged, content in copies.items():
                self._made(damaged, content)
                self.contour_steps(self.scene("contours", damaged, {damaged: f"made/{damaged}"}), damaged)

    # --- builds -------------------------------------------------------------------------------------------

    def builds(self):
        files = {**self.example_files(), "box.stl": "made/box.stl", "ring-small.stl": "made/ring.stl",
                 "tetrahedron.ctl": "made/tetrahedron.ctl", "cavity.stl": "made/cavity.stl"}
        small = "box.stl ring-small.stl,copies=3 tetrahedron.ctl,copies=2,rotate-z=15"
        lines = {
            "copies": f"{small} --seed 3", "one-turn": f"{small} --rotations 1",
                 "four-turns": f"{small} --rotations 4 --drop",
            "inches": f"{small} --units in --vat 50x50x50", "inch-vat": f"{small} --vat 9.8x9.8x9.8in",
            "styles": f"{small} --style Fine.sty --recoat ThreeSweeps.rcs --machine TRQ-E7",
            "bands": f"{small} --style Fine.sty --style Standard.sty@1:2.5mm --style Standard.sty@4:0.2in "
                     "--recoat ThreeSweeps.rcs",
            "own-style": "box.stl,style=Standard.sty ring-small.stl,style=Standard.sty@0:1,copies=2 --style Fine.sty",
            "gap": "box.stl --style Fine.sty@0:5", "above": "box.stl --style Fine.sty --style Standard.sty@100:200",
            "reversed-band": "box.stl --style Fine.sty@5:1", "bad-band": "box.stl --style Fine.sty@a:b",
            "no-style-file": "box.stl --style absent.sty",
                 "wrong-kind": "box.stl --style ThreeSweeps.rcs --recoat Fine.sty",
            "machine-name": "box.stl --machine trqe7", "machine-number": "box.stl --machine 9",
                 "no-machine": "box.stl --machine Nowhere",
            "tight": "ring-small.stl,copies=12 --vat 60x60x20mm",
                 "no-room": "ring-small.stl,copies=40 --vat 60x60x20mm",
            "too-big": "box.stl --vat 5x5x5mm", "too-high": "box.stl --vat 100x100x10mm",
                 "odd-vat": "box.stl --vat 10x10",
            "many": "box.stl,copies=101", "none": "", "zero-copies": "box.stl,copies=0", "bad-key": "box.stl,copys=2",
            "twice-key": "box.stl,copies=2,copies=3",
                 "turned": "box.stl,rotate-z=90 box.stl,rotate-z=45.5 --rotations 24",
            "absent": "absent.stl box.stl", "folder": ".", "cavity": "cavity.stl",
                 "forced": "cavity.stl --force-checks",
            "spacing": "box.stl --style Standard.sty --z-spacing 0.05mm",
                 "wide-spacing": "box.stl --style Standard.sty --z-spacing 1in",
            "seed-0": f"{small} --seed 0", "seed-large": f"{small} --seed 4294967295",
                 "seed-too-large": f"{small} --seed 4294967296",
            "turns-25": f"{small} --rotations 25", "profile": f"{small} --machines machines.toml --machine lab",
            "profile-styles": "box.stl --machines machines.toml --machine rooted --style Fine.sty",
            "no-profile": "box.stl --machines machines.toml --machine elsewhere",
                 "bad-profile": "box.stl --machines bad.toml --machine lab",
            "examples": "bracket.stl spur_gear.stl,copies=6,rotate-z=15 rook.stl,copies=2,style=Standard.sty@0:4mm "
                        "--style Fine.sty --recoat ThreeSweeps.rcs --machine TRQ-E7",
            "examples-drop": "knob.stl l_shape.stl,copies=2,rotate-z=48 ring.stl vase.stl --drop --vat 300x300x300mm "
                             "--seed 9",
            "same-name": "box.stl sub/box.stl BOX.stl", "reused-output": "box.stl",
        }
        machines = '[lab]\ntype = "TRQ-E7"\nvat = "500x500x580mm"\n\n[rooted]\ntype = 6\nstyles = "styles"\n'
        for name, line in lines.items():
            scene = self.scene("builds", name, {**files, "sub/box.stl": "made/ring.stl", "BOX.stl": "made/bumps.stl"})
            scene.text("machines.toml", machines).text("bad.toml", '[lab]\ntype = "TRQ-E7"\nvats = "1x1x1mm"\n')
            scene.both(f"build {line} -o out", f"place {line} --svg plate.svg")
            scene.run("verify out", "verify out --json", "info out", "info out --json", "check out",
                      "check out/build.toml --json",
                      "build out/build.toml -o again", "build out/build.toml", f"build {line} -o out --force",
                      "verify again out", f"build {line} -o again")
            if name in ("styles", "cavity"):
                scene.shell("cp -r out broken && printf x >> broken/plate.stl && trqprep verify broken; "
                            "trqprep verify broken --json",
                            "rm broken/meshes/*-1.ctl && trqprep verify broken; trqprep check broken",
                            "cp box.stl broken/added.stl && trqprep verify broken --json; trqprep info broken",
                            "cp out/plate.stl broken/ && sed -i 's/\"units\": \"mm\"/\"units\": \"in\"/' "
                            "broken/build.json && trqprep verify broken",
                            "rm broken/build.json && trqprep verify broken; trqprep check broken",
                            "echo '{' > broken/build.json; trqprep verify broken; trqprep info broken; "
                            "trqprep build broken/build.json",
                            "trqprep verify absent; trqprep verify box.stl; trqprep verify out out absent --json")
        scene = self.scene("builds", "machines", files).text("machines.toml", machines).text("empty.toml", "")
        for number, content in enumerate(('x = 1\n', '[a]\ntype = "Nowhere"\n', '[a]\ntype = 99\n', '[a]\nvat = 3\n',
                                          '[a]\nvat = "1x1"\n',
                                          '[a]\nstyle = "x"\n', '[a\n', '[a]\ntype = 6\n[a]\ntype = 7\n',
                                          '[a]\nstyles = 1\n')):
            scene.text(f"bad-{number}.toml", content)
            scene.both(f"machines --machines bad-{number}.toml")
        scene.both("machines --machines machines.toml", "machines lab --machines machines.toml",
                   "machines rooted --machines machines.toml",
                   "machines --machines empty.toml", "machines --machines absent.toml", "machines --machines .",
                   "machines b --machines machines.toml")
        self.jobs(files)

    def jobs(self, files):
        whole = ('schema = "trqprep.job/1"\nunits = "in"\nmachine = "TRQ-E7"\nvat = ["250mm", 9.8, "9.8in"]\n'
                 'rotations = 4\nseed = 7\n'
                 'drop = true\naccept_partial = true\nforce_checks = true\nz_spacing = "0.2mm"\n'
                 '[[style]]\nfile = "Fine.sty"\n[[style]]\nfile = "Standard.sty"\nband = [0, "4mm"]\n'
                 '[[recoat]]\nfile = "ThreeSweeps.rcs"\n'
                 '[[recoat]]\nfile_bytes = "' + b"ThreeSweeps.rcs".hex() + '"\nband = ["1mm", 0.5]\n'
                 '[[part]]\nfile = "box.stl"\ncopies = 2\nrotate_z = 90\n[[part.style]]\nfile = "Standard.sty"\n'
                 '[[part]]\nfile = "ring-small.stl"\n[[part]]\nfile = "short.stl"\n')
        part = '[[part]]\nfile = "box.stl"\n'
        texts = {
            "whole": whole, "least": part, "nothing": "", "no-part": 'units = "mm"\n',
                 "no-file": "[[part]]\ncopies = 1\n",
            "absent-part": '[[part]]\nfile = "absent.stl"\n', "absent-style": '[[style]]\nfile = "absent.sty"\n' + part,
            "schema": 'schema = "trqprep.job/2"\n' + part, "units": 'units = "ft"\n' + part,
                 "units-number": "units = 3\n" + part,
            "machine": 'machine = "Nowhere"\n' + part, "vat": 'vat = "1x1"\n' + part,
                 "vat-list": "vat = [1, 2]\n" + part,
            "vat-zero": "vat = [1, 2, 0]\n" + part, "rotations": "rotations = 25\n" + part,
                 "rotations-text": 'rotations = "4"\n' + part,
            "seed": "seed = -1\n" + part, "drop": "drop = 1\n" + part, "spacing": 'z_spacing = "wide"\n' + part,
                 "key": "turns = 4\n" + part,
            "part-key": part + "copy = 2\n", "part-table": '[part]\nfile = "box.stl"\n',
                 "copies": part + "copies = 0\n",
            "copies-float": part + "copies = 1.5\n", "rotate": part + 'rotate_z = "90"\n',
                 "rotate-nan": part + "rotate_z = nan\n",
            "style-key": '[[style]]\nfile = "Fine.sty"\nbands = [0, 1]\n' + part,
                 "band": '[[style]]\nfile = "Fine.sty"\nband = [1]\n' + part,
            "band-text": '[[style]]\nfile = "Fine.sty"\nband = ["a", "b"]\n' + part,
                 "empty-name": '[[part]]\nfile = ""\n',
            "bytes": '[[part]]\nfile_bytes = "xyz"\n', "nul": '[[part]]\nfile = "a\\u0000b"\n',
                 "twice": "seed = 1\nseed = 2\n" + part,
            "syntax": "seed = \n" + part, "unclosed": '[[part]]\nfile = "box.stl\n',
                 "damage": '[[style]]\nfile = "Fine.sty"\ndamage = "x"\n' + part,
            "damage-number": '[[style]]\nfile = "Fine.sty"\ndamage = 1\n' + part,
                 "folder-part": '[[part]]\nfile = "."\n',
            "band-above": '[[style]]\nfile = "Fine.sty"\n[[style]]\nfile = "Standard.sty"\nband = [90, 100]\n' + part,
            "cr": part.replace("\n", "\r\n"), "latin": part + "# \xe9\n",
        }
        for name, content in texts.items():
            scene = self.scene("builds", f"job-{name}", {**files, "short.stl": "made/short.stl"}).text("job.toml",
                                                                                                       content)
            scene.text("sub/job.toml", content.replace('file = "', 'file = "../'))
            scene.both("check job.toml", "info job.toml", "build job.toml -o out", "build sub/job.toml -o sub-out")
            scene.run("verify out", "build out/build.toml -o again", "place job.toml",
                      "build job.toml --seed 2 -o mixed",
                      "build job.toml box.stl -o two")

    # --- names --------------------------------------------------------------------------------------------

    def names(self):
        files = {"Fine.sty": "examples/styles/Fine.sty", "ThreeSweeps.rcs": "examples/styles/ThreeSweeps.rcs"}
        for name in ("with blank.stl", "comma,.stl", "two.dots.stl", "NOSUFFIX", "UPPER.STL", "-dash.stl",
                     "\u00e9t\u00e9.stl",
                     "quote'\".stl", "new\nline.stl", "plate.stl", "byte\udcff.stl", "a,copies=2.stl"):
            scene = self.scene("names", re.sub(r"[^\w.]", "-", name), {**files, name: "made/box.stl"})
            argument = "./" + name if name.startswith("-") else name
            scene.both(["info", argument], ["check", argument], ["convert", argument, "-o", "out.ctl"],
                       ["build", argument, "-o", "out"],
                       ["build", argument + ",copies=2,rotate-z=90", "-o", "out-copies"], ["vents", "add", argument,
                                                                                           "--vent", "1"],
                       ["build", argument, "-o", "with-vent"], ["place", argument], ["info", name])
            scene.run("verify out out-copies with-vent", "build out/build.toml -o again",
                      "build with-vent/build.toml -o again-vent",
                      ["convert", "--to", "stl", argument, "-o", argument + ".stl"], "check out")
        # Every combination of what exists below a name with '\'.
        back = "sub\\box.stl"
        for case, inputs in {"only-folder": {"sub/other.stl": "made/ring.stl"},
                             "slash": {"sub/box.stl": "made/box.stl"},
                             "backslash": {back: "made/box.stl"}, "both": {back: "made/box.stl",
                                                                           "sub/box.stl": "made/ring.stl"},
                             "neither": {"box.stl": "made/box.stl"}}.items():
            scene = self.scene("names", f"backslash-{case}", {**files, **inputs, "here.stl": "made/box.stl",
                                                             "cone.slc": "examples/contours/cone.slc"})
            scene.both(["info", back], ["check", back], ["convert", back, "-o", "out.ctl"],
                       ["convert", "here.stl", "-o", "sub\\new.stl"],
                       ["convert", "here.stl", "-o", "sub\\new.ctl"], ["convert", "here.stl", "-o", "none\\new.ctl"],
                       ["convert", "here.stl", "--stamp", "1", "-o", "sub\\stamped.stl"],
                       ["convert", "here.stl", "--to", "stl-ascii", "-o", "sub\\text.stl"],
                       ["transform", back, "--rotate-z", "30", "-o", "sub\\turned.stl"], ["vents", "add", back,
                                                                                          "--vent", "1,1,30"],
                       ["vents", "list", back], ["vents", "move", back, "--by", "1,1,1"], ["vents", "add", "here.stl",
                                                                                           "--vent", "1", "-o",
                                                                                           "sub\\v.V_D"],
                       ["slc", "copy", "cone.slc", "-o", "sub\\cone.slc"], ["slc", "info", "sub\\cone.slc"],
                       ["slc", "verify", "sub\\cone.slc"],
                       ["slc", "mirror", "cone.slc", "--axis", "x", "-o", "sub\\mirrored.slc"],
                       ["style", "set", "Fine.sty", "Dp=0.15", "-o", "sub\\set.sty"],
                       ["style", "show", "sub\\set.sty", "--only", "Dp"], ["style", "export", "Fine.sty", "--to", "txt",
                                                                           "-o", "sub\\style.txt"],
                       ["recoat", "set", "ThreeSweeps.rcs", "Z Wait=3", "-o", "sub\\set.rcs"],
                       ["hollow", back, "--limit", "1mm", "-o", "sub\\h.stl"],
                       ["zcomp", back, "--height", "0.2mm", "-o", "sub\\z.stl"], ["build", back, "--style",
                                                                                  "sub\\set.sty", "-o", "out"],
                       ["build", "here.stl", "-o", "sub\\out"], ["place", back, "--svg", "sub\\plate.svg"],
                       ["verify", "out"], ["verify", "sub\\out"],
                       ["build", "out/build.toml", "-o", "again"], ["vents", "remove", back, "--all", "--yes"])

    # --- what is missing or cut ---------------------------------------------------------------------------

    def _made(self, name, content):
        path = self.sources / "made" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def damaged(self):
        for name, source in self.files("examples/parts", ".stl").items():
            if name not in ("bracket.stl", "ring.stl", "l_shape.stl"):
                continue
            data = (self.sources / source).read_bytes()
            copies = made_files.cut(data, name, (1, 40, 80, 83, 84, 85, 134, 300, 1000, 10001, len(data) // 2, -1, -20,
                                                 -60))
            copies.update(made_files.flipped(data, name, (0, 1, 79, 80, 83, 90, 1000, len(data) // 3)))
            for damaged, content in copies.items():
                self._made(damaged, content)
                scene = self.scene("damaged", damaged, self.mesh_inputs(damaged, f"made/{damaged}"))
                scene.both(f"info {damaged}", f"check {damaged}", f"info {damaged} --accept-partial",
                           f"check {damaged} --accept-partial",
                           f"convert {damaged} -o out.ctl", f"convert {damaged} --accept-partial -o part.ctl",
                           f"build {damaged} -o out",
                           f"build {damaged} --accept-partial --force-checks -o part", f"vents find {damaged}",
                           bounded=True)
                scene.run("verify part", "build part/build.toml -o again")
        scene = self.scene("damaged", "outputs", self.mesh_inputs("box.stl", "made/box.stl"))
        scene.text("file", "x").text("full/file", "x")
        scene.both("convert box.stl -o absent/out.ctl", "convert box.stl -o file/out.ctl", "convert box.stl -o full",
                   "convert box.stl --to ctl -o /dev/full",
                   "convert box.stl -o out.xyz", "convert box.stl -o box.stl", "build box.stl -o absent/out",
                   "build box.stl -o file", "build box.stl -o full",
                   "build box.stl -o .", "build box.stl -o /dev/full", "place box.stl --svg full",
                   "place box.stl --svg absent/plate.svg",
                   "style set Fine.sty Dp=0.1 -o absent/x.sty", "style set Fine.sty Dp=0.1 -o full",
                   "style export Fine.sty --to txt -o /dev/full",
                   "slc copy box.stl -o x.slc", "merge box.stl -o absent/x.stl", "simplify box.stl --facets 5 -o full",
                   "info /dev/null", "check /dev/null",
                   "info full", "check full", "info file", "check file", "convert file -o x.ctl",
                   "convert full -o x.ctl")
        scene.shell("trqprep info box.stl > /dev/full", "trqprep style export Fine.sty --to txt > /dev/full",
                    "mkfifo pipe; trqprep info pipe",
                    "trqprep convert box.stl --to stl -o - | head -c 80 | od -c",
                    "ln -s box.stl link.stl; trqprep convert link.stl -o target.ctl; "
                    "ln -s target.ctl link.ctl; trqprep convert box.stl -o link.ctl --force; ls",
                    "ln -s nowhere dangling.stl; trqprep info dangling.stl; "
                    "trqprep convert box.stl -o dangling.stl --force; ls")

    # --- other people's files -----------------------------------------------------------------------------

    def corpus_meshes(self):
        root = pathlib.Path(self.corpus) / "stl"
        self.corpus_files = [path for path in sorted(root.rglob("*"))
                             if path.is_file() and path.suffix.lower() not in (".json", ".md")]
        for path in self.corpus_files:
            relative = str(path.relative_to(root))
            scene = self.scene("corpus-stl", relative.replace("/", "-"), self.mesh_inputs("part.stl",
                                                                                          f"corpus/stl/{relative}"))
            self.mesh_steps(scene, "part.stl", small=path.stat().st_size <= 20000)
            if path.stat().st_size > 20000:
                scene.both("info part.stl --accept-partial", "convert part.stl --units in -o other.stl", bounded=True)

    def corpus_contours(self):
        root = pathlib.Path(self.corpus) / "slc"
        for path in sorted(root.glob("*.slc")):
            self.contour_steps(self.scene("corpus-slc", path.name, {"part.slc": f"corpus/slc/{path.name}"}), "part.slc")

    def corpus_builds(self):
        """Eight files a plate, with styles in bands and parts of their own."""
        styles = {**self.files("examples/styles", ".sty", ".rcs")}
        small = [path for path in self.corpus_files if 2000 <= path.stat().st_size <= 400000]
        for number in range(0, len(small), 8):
            chosen = small[number:number + 8]
            inputs = {f"{k}-{path.name}": "corpus/stl/" + str(path.relative_to(pathlib.Path(self.corpus) / "stl"))
                      for k, path in enumerate(chosen)}
            scene = self.scene("corpus-builds", f"plate-{number // 8:02}", {**styles, **inputs})
            scene.both(["check", *inputs], bounded=True)
            parts = [f"{name},copies={1 + k % 3},rotate-z={15 * k}" for k, name in enumerate(inputs)]
            for name in inputs:  # what cannot be read is left out, the same in both
                scene.shell(f"trqprep convert '{name}' -o '{pathlib.PurePath(name).stem}.ctl'")
            shared = ("--drop --vat 900x900x900mm --style Fine.sty --style Standard.sty@1:4mm --recoat ThreeSweeps.rcs "
                      "--force-checks")
            scene.run(["build", *parts, *shared.split(), "-o", "all"], ["place", *parts, "--drop", "--vat",
                                                                        "900x900x900mm", "--json"], bounded=True)
            scene.shell(f"trqprep build *.ctl {shared} --rotations 4 --json -o ctl",
                        "trqprep verify ctl; trqprep build ctl/build.toml -o again; "
                        "trqprep build *.ctl --rotations 1 --drop --vat 40x40x40in -o inches", bounded=True)
            path = self.sources / "made" / f"plate-{number // 8:02}.toml"
            path.parent.mkdir(parents=True, exist_ok=True)
            head = ('units = "mm"\nvat = "900x900x900mm"\nrotations = 4\ndrop = true\nforce_checks = true\n\n'
                    '[[style]]\nfile = "Fine.sty"\n')
            path.write_text(head + "".join(
                f"\n[[part]]\nfile = {json.dumps(name)}\ncopies = {1 + k % 2}\nrotate_z = {30 * k}\n"
                for k, name in enumerate(inputs)))
            scene.inputs["job.toml"] = f"made/{path.name}"
            scene.run("check job.toml", "check job.toml --json", "build job.toml -o job", "verify job",
                      "build job/build.toml -o job-again", bounded=True)


def make_sources(folder, root_of_old):
    """Copies of the examples, documents and golden styles of the old tree, and the files made here."""
    import shutil
    folder, old = pathlib.Path(folder), pathlib.Path(root_of_old)
    for source, target in (("examples/parts", "examples/parts"), ("examples/styles", "examples/styles"),
                           ("examples/contours", "examples/contours"), ("docs", "docs"), ("tests/data/styles",
                                                                                          "data/styles"),
                           ("tests/data/recoat", "data/recoat")):
        shutil.copytree(old / source, folder / target)
    shutil.copy(old / "README.md", folder / "README.md")
    (folder / "made").mkdir()
    for name, content in made_files.meshes().items():
        (folder / "made" / name).write_bytes(content)
