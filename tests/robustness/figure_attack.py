"""Mutants of every kind of file through every command, sanitized: documented codes, nothing found, nothing left.

The files are those of a workshop with a part, styles of all layouts, contours, a side file, documents, a job file,
machine profiles and a build folder. One or two of them are mutated, and a command that reads them is run.
"""
import json
import os
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import threading

from figures import BUILD, SOURCE

RUNS = 100_000
SEED = 15
EXITS = (0, 1, 2, 3, 4, 5)
SLOW = 20_000  # milliseconds of processor time, sanitized, for files of a few kilobytes

# What each kind of file is read by; {} is the file.
MESH = ["info {}", "check {}", "convert {} --to ctl -o o.ctl", "convert {} --to stl-ascii -o o.stl",
        "convert {} --normalize -o o.stl", "info {} --accept-partial", "convert {} --accept-partial --to stl -o o.stl",
        "transform {} --rotate-x 30 --translate 1,2,3 -o o.stl", "transform {} --scale 1e20 -o o.stl",
        "simplify {} --facets 8 -o o.stl", "simplify {} --facets 8 --engine grid -o o.stl", "repair {} -o o.stl",
        "slice {} --thickness 0.5mm -o o.slc", "slice {} --thickness 1mm --union always --cut top -o o.slc",
        "check {} --slices --thickness 1mm",
        "merge {} box.stl -o o.stl", "hollow {} --limit 1mm -o o.stl", "hollow {} --limit 1mm --validate -o o.stl",
        "vents list {}", "vents find {}", "vents add {} --vent 1 -o o.V_D", "zcomp {} --height 0.2mm -o o.stl",
        "place {},copies=2 box.stl --engine grid --rotations 2", "place {} --drop --svg o.svg",
        "build {} --style style.sty --recoat style.rcs --engine grid --rotations 1 -o o", "build {},units=cm box.stl --force-checks --time 0 -o o",
        "build {} box.stl --style style.sty --slice --engine grid --rotations 1 -o o", "place {},copies=3 box.stl --time 0",
        "build {},copies=2 box.stl --plates any --time 0 -o o", "render {} box.stl --size 64x48 -o o.png", "report {} box.stl -o o.html",
        "report {} --report-facets 20 -o o.html",
        "render {} --problems --shade smooth --view 10:-20 --transparent --size thumb -o o.png"]
STYLE = ["info {}", "check {}", "{k} show {}", "{k} get {} *", "{k} verify {}", "{k} export {} --to json -o o.json",
         "{k} export {} --to csv -o o.csv", "{k} export {} --to txt -o o.txt", "{k} diff {} {other}", "{k} copy {other} {} --params * -o o.bin",
         "{k} copy {} {other} --params * -o o.bin", "{k} units {} --to in -o o.bin", "{k} upgrade {} -o o.bin",
         "{k} set {} \"Layer Thickness=0.12\" -o o.bin", "{k} set {} \"Z Wait=3\" -o o.bin"]
COMMANDS = {
    "part.stl": MESH, "text.stl": MESH, "part.ctl": MESH,
    "part.V_D": ["vents list part.stl", "vents list {}", "check part.stl", "info {}", "vents move part.stl --by 1,2,3 -o o.V_D",
                 "vents remove {} 1 -o o.V_D", "vents move {} --rotate-z 90", "vents add part.stl --drain 2 -o o.V_D",
                 "build part.stl --engine grid --rotations 1 -o o"],
    "cone.slc": ["info {}", "slc info {}", "slc verify {}", "slc copy {} -o o.slc", "slc mirror {} --axis x -o o.slc",
                 "slc mirror {} --axis z --plane 3 -o o.slc", "slc svg {} --layer 3 -o o.svg", "check {}",
                 "slc png {} --layers 1,3 --size 40 -o o", "slc sheet {} --size 40 -o o.png", "slc area {} --csv", "slc diff {} {}",
                 "slc svg {} --layers all --problems -o o", "check {} --slices",
                 "estimate {} --style style.sty --recoat style.rcs --power 250 --dp-unit mm --ec-unit mJ/cm2 --travel 300mm --delay-unit s",
                 "estimate {} cone.slc", "render {} --size 64x48 -o o.png",
                 "render {} --layer 2 --view 200:-30 --size thumb --problems -o o.png", "report {} -o o.html"],
    "style.sty": STYLE + ["report {} -o o.html", "build box.stl --style {} --engine grid --rotations 1 -o o", "zcomp part.stl --style {} -o o.stl",
                          "check job.toml", "build box.stl --style {}@0:5 --force-checks --time 0 -o o",
                          "estimate cone.slc --style {} --power 250 --dp-unit mil --ec-unit mJ/cm2"],
    "old.sty": STYLE + ["report {} -o o.html", "build box.stl --style {} --engine grid --rotations 1 -o o"],
    "style.rcs": STYLE + ["report {} -o o.html", "build box.stl --recoat {} --engine grid --rotations 1 -o o", "recoat sweeps {} --add gap=100,velocity=2 -o o.rcs",
                          "recoat sweeps {}", "estimate cone.slc --recoat {} --travel 300mm --delay-unit ms",
                          "estimate cone.slc --recoat {} --travel 300mm --sweeps secondary --recoat-unit in"],
    "old.rcs": STYLE + ["report {} -o o.html", "build box.stl --recoat {} --engine grid --rotations 1 -o o"],
    "legacy.rcs": STYLE + ["report {} -o o.html", "build box.stl --recoat {} --engine grid --rotations 1 -o o"],
    "style.json": ["style import {} -o o.sty", "info {}", "recoat import {} -o o.rcs"],
    "recoat.json": ["recoat import {} -o o.rcs", "info {}"],
    "job.toml": ["check {}", "build {} -o o", "build {} --force-checks -o o", "info {}", "check {} --strict", "estimate {}"],
    "machines.toml": ["machines --machines {}", "build box.stl --machines {} --machine Bench --engine grid --rotations 1 -o o",
                      "check box.stl --machines {} --machine Bench", "estimate cone.slc --style style.sty --machines {} --machine Bench"],
    "out/build.json": ["report out -o o.html", "render out --size 64x48 -o o.png", "render out --problems --size 64x48 -o o.png", "verify out", "fleet summary out out", "check out", "info out", "build box.stl --engine grid --rotations 1 -o out --force", "verify out --strict", "estimate out"],
    "out/build.toml": ["report out -o o.html", "build out/build.toml -o o", "check out/build.toml", "verify out", "check out", "estimate out"],
    "out/checks.json": ["report out -o o.html", "verify out", "fleet summary out", "check out"],
    "out/plate.stl": ["report out -o o.html", "verify out", "info out/plate.stl"],
    "out/meshes/part-1.ctl": ["report out -o o.html", "verify out", "check out", "info {}", "render out --size 64x48 -o o.png",
                              "render out --problems --view front --size 48x64 -o o.png"],
    "out/meshes/part-1.V_D": ["verify out", "vents list {}"],
    "out/styles/style.sty": ["report out -o o.html", "verify out", "check out", "build out/build.toml -o o", "estimate out"],
    "out/styles/style.rcs": ["report out -o o.html", "verify out", "check out", "build out/build.toml -o o", "estimate out"],
    "out/parts/part.stl": ["report out -o o.html", "verify out", "check out", "build out/build.toml -o o", "estimate out"],
}
KEPT = {"style": "other.sty", "recoat": "other.rcs"}
# TRQ_ATTACK_COMMANDS="render report" runs these alone.
if chosen := os.environ.get("TRQ_ATTACK_COMMANDS", "").split():
    COMMANDS = {name: some for name, all_of in COMMANDS.items() if (some := [c for c in all_of if c.split()[0] in chosen])}

JOB = """units = "mm"
vat = "120x120x100mm"
rotations = 2
seed = 3
machine = "TRQ-E7"
strict = true
allow = ["NO-RECOAT"]
beam = "0.1mm"
power = 250
travel = 300
delay-unit = "s"
dp-unit = "mm"
ec-unit = "mJ/cm2"
[[style]]
file = "style.sty"
[[recoat]]
file = "style.rcs"
band = [0, "10mm"]
[[part]]
file = "part.stl"
copies = 2
rotate-z = 15.5
units = "mm"
[[part.style]]
file = "other.sty"
band = [0, 5]
[[part]]
file = "box.stl"
"""
MACHINES = """[Bench]
type = "TRQ-E7"
vat = "120x120x100mm"
styles = "styles"
power = 250
dp-unit = "mil"
ec-unit = "mJ/cm2"
speed-factor = 0.7
[Small]
type = 6
vat = "2x2x2in"
"""
WORDS = [b"-1", b"0", b"1e308", b"1e-320", b"nan", b"inf", b"-inf", b"2147483648", b"9" * 40, b"[[", b"]]", b"{", b"}", b"\"", b"'''",
         b"\x00", b"\xff\xfe", b"\xef\xbb\xbf", b"\r", b"\n\n", b"\\u0000", b"null", b"true", b"../", b"/", b"a" * 300, b"=", b",", b"#",
         b"solid", b"endsolid", b"vertex", b"facet", b"[/a]", b"[=]", b"[!]", b"[.a]"]
NUMBERS = [0, 1, -1, 2, 3, 127, 128, 255, 256, 65535, 65536, 0x7fffffff, -0x80000000, 0x7f800000, 0x7fc00000, -0x00800000,
           0x7f7fffff, 0x3f800000, 1000, 26_000_000, 100_000_000, 0x79000000, 121]


def mutate(data, chance, others):
    data = bytearray(data)
    for _ in range(chance.choice((1, 1, 1, 2, 3, 8))):
        at = chance.randrange(len(data)) if data else 0
        kind = chance.randrange(11)
        if not data or kind == 0:
            data[at:at] = chance.choice(WORDS)
        elif kind == 1:
            data[at] ^= 1 << chance.randrange(8)
        elif kind == 2:
            data[at] = chance.randrange(256)
        elif kind == 3:
            at -= at % 4
            data[at:at + 4] = struct.pack(chance.choice("<>") + "i", chance.choice(NUMBERS))
        elif kind == 4:
            data[at:at + 4] = struct.pack("<f", chance.choice((0.0, -1.0, 1e38, -1e38, float("nan"), float("inf"), 1e-40, 1e6, 254.0)))
        elif kind == 5:
            del data[at:]
        elif kind == 6:
            del data[at:at + chance.choice((1, 2, 4, 12, 50, 100))]
        elif kind == 7:
            piece = data[at:at + chance.choice((1, 4, 12, 50, 200))]
            data[at:at] = piece * chance.choice((1, 2, 20))
        elif kind == 8:
            other = chance.choice(others)
            begin = chance.randrange(len(other) + 1)
            data[at:at] = other[begin:begin + chance.choice((4, 16, 64, 400))]
        elif kind == 9:
            lines = bytes(data).split(b"\n")
            i, j = chance.randrange(len(lines)), chance.randrange(len(lines))
            lines[i], lines[j] = lines[j], chance.choice((lines[i], lines[i], b"", lines[i] * 2))
            data = bytearray(b"\n".join(lines))
        else:
            data[at:at + chance.randrange(1, 5)] = chance.choice(WORDS)
    return bytes(data)


class Bench:
    """The files, and workers that run commands on mutants of them."""

    def __init__(self, report, preset):
        import faults  # finds the tool by the environment
        self.server = BUILD / preset / "bin" / "tool_server"
        self.root = pathlib.Path(report.folder("attack"))
        shop = self.root / "shop"
        shop.mkdir()
        faults.make_inputs(shop)
        from support import ascii_stl, box_facets
        (shop / "text.stl").write_text(ascii_stl(box_facets((12, 9, 7))))
        shutil.copy(SOURCE / "tests" / "data" / "recoat" / "legacy_sweeps.rcs", shop / "legacy.rcs")
        (shop / "job.toml").write_text(JOB)
        (shop / "machines.toml").write_text(MACHINES)
        for words in (["convert", "part.stl", "-o", "part.ctl"],
                      ["build", "part.stl", "--style", "style.sty", "--recoat", "style.rcs", "--rotations", "1", "-o", "out"]):
            done = subprocess.run([faults.TOOL, *words], cwd=shop, capture_output=True)
            if done.returncode not in (0, 1):
                raise SystemExit(f"{words}: {done.stderr.decode()}")
        self.files = {str(p.relative_to(shop)): p.read_bytes() for p in shop.rglob("*") if p.is_file()}
        self.folders = sorted(str(p.relative_to(shop)) for p in shop.rglob("*") if p.is_dir())
        missing = set(COMMANDS) - set(self.files)
        if missing:
            raise SystemExit(f"no such files: {missing}")
        explained = subprocess.run([faults.TOOL, "explain", "--json"], capture_output=True).stdout
        self.codes = {rule["code"] for rule in json.loads(explained)["data"]["rules"]}
        self.problems, self.done, self.slowest, self.exits = [], 0, (0, ""), {}
        self.lock = threading.Lock()

    def worker(self, number, numbers):
        place = self.root / f"worker{number}"
        environment = dict(os.environ, ASAN_OPTIONS="detect_leaks=1:allocator_may_return_null=1", UBSAN_OPTIONS="print_stacktrace=1")
        server = subprocess.Popen([self.server], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=environment)
        others = list(self.files.values())
        for run in numbers:
            chance = random.Random(f"{SEED} {run}")
            work, temporary = place / "work", place / "tmp"
            shutil.rmtree(place, ignore_errors=True)
            for folder in (work, temporary, *(work / name for name in self.folders)):
                folder.mkdir(parents=True)
            for name, data in self.files.items():
                (work / name).write_bytes(data)
            name = chance.choice(list(COMMANDS))
            (work / name).write_bytes(mutate(self.files[name], chance, others))
            if chance.random() < 0.1:
                second = chance.choice(list(COMMANDS))
                (work / second).write_bytes(mutate(self.files[second], chance, others))
            kind = "recoat" if name.endswith(".rcs") else "style"
            if chance.random() < 0.05:  # the other kind's commands refuse it
                kind = "style" if kind == "recoat" else "recoat"
            words = command_words(chance.choice(COMMANDS[name]), name, kind) + (["--json"] if chance.random() < 0.5 else [])
            out, err = place / "stdout", place / "stderr"
            server.stdin.write("\x1f".join(map(str, [work, temporary, out, err, *words])).encode() + b"\n")
            server.stdin.flush()
            answer = server.stdout.readline().split()
            if len(answer) != 2:
                raise SystemExit(f"the server ended at run {run}")
            self.judge(run, words, int(answer[0]), int(answer[1]), out.read_bytes(), err.read_text(errors="replace"), place)
        server.stdin.close()
        server.wait()
        shutil.rmtree(place, ignore_errors=True)

    def judge(self, run, words, exit, milliseconds, out, err, place):
        problem = None
        said = [line.rsplit("[", 1)[1][:-1] for line in err.splitlines()
                if line.startswith("trqprep: ") and line.endswith("]") and "[" in line]
        left = [p.name for p in (place / "work").rglob(".trqprep-*")] + [p.name for p in (place / "tmp").iterdir()]
        if exit not in EXITS:
            problem = f"exit {exit}"
        elif "Sanitizer" in err or "runtime error:" in err:
            problem = "found by a sanitizer"
        elif left:
            problem = f"left behind {left}"
        elif milliseconds > SLOW:
            problem = f"{milliseconds} ms"
        elif "--json" in words:
            try:
                document = json.loads(out)
                unknown = {m["code"] for m in document["messages"]} - self.codes
                if unknown or document["exit"] != exit:
                    problem = f"codes {unknown}, exit {document['exit']}"
            except ValueError as error:
                problem = f"no document: {error}"
        elif exit not in (0, 1) and not said:
            problem = "no message with a code"
        elif set(said) - self.codes:
            problem = f"unknown codes {set(said) - self.codes}"
        with self.lock:
            self.done += 1
            self.exits[exit] = self.exits.get(exit, 0) + 1
            self.slowest = max(self.slowest, (milliseconds, f"run {run}: {' '.join(words)}"))
            if problem:
                self.problems.append(f"run {run}: {' '.join(words)}: {problem}: {err.strip()[-600:]}")


def command_words(command, name, kind):
    quoted, words = False, [""]
    for c in command:
        if c == '"':
            quoted = not quoted
        elif c == " " and not quoted:
            words.append("")
        else:
            words[-1] += c
    return [w.replace("{k}", kind).replace("{other}", KEPT[kind]).replace("{}", name) for w in words]


def measure(report):
    preset = "asan-ubsan"
    subprocess.run(["cmake", "--preset", preset], cwd=SOURCE, check=True, stdout=subprocess.DEVNULL)
    report.build("tool_server", preset=preset)
    bench = Bench(report, preset)
    count = 300 if report.quick else int(os.environ.get("TRQ_ATTACK_RUNS", RUNS))
    first = int(os.environ.get("TRQ_ATTACK_FIRST", 0))
    workers = os.cpu_count() or 1
    threads = [threading.Thread(target=bench.worker, args=(k, range(first + k, first + count, workers))) for k in range(workers)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if bench.done != count:
        bench.problems.append(f"{bench.done} of {count} runs were made")
    print(f"        exits: {dict(sorted(bench.exits.items()))}; slowest {bench.slowest[0]} ms, {bench.slowest[1]}", file=sys.stdout)
    report.all_of("attack", bench.problems, count, "documented codes; nothing found by a sanitizer, nothing left")
