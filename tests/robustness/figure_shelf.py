"""Texts as other programs read them (--corpus), and mutants of texts: no message counts facets out of letters."""
import collections
import json
import random
import re

from figures import SOURCE, LeftOut, parallel, run

MUTANTS = 10000
LARGEST_SEED = 1 << 16
ANNOUNCED = re.compile(r"announces (-?\d+) facets")
PRINTABLE = frozenset(range(0x20, 0x7F)) | frozenset(range(0x09, 0x0E))
KEYWORDS = [b"solid", b"facet", b"outer", b"loop", b"vertex", b"endloop", b"endfacet", b"endsolid"]


def texts(corpus):
    """(path, entry of the index) of the files that are text."""
    found = []
    for entry in json.loads((corpus / "stl" / "index.json").read_text())["files"]:
        path = corpus / "stl" / entry["file"]
        if entry["format"] != "binary" and b"\0" not in path.read_bytes():
            found.append((path, entry))
    return found


def read_by_tool(report, path, *more):
    """(exit, facets or None, messages)"""
    ran = report.tool_run("info", path, "--json", *more, timeout=60)
    try:
        document = json.loads(ran.out)
    except ValueError:
        return ran.exit, None, [{"code": "NONE", "text": ran.err}]
    entry, = document["data"].get("files") or [{}]
    return ran.exit, entry.get("facets"), document["messages"]


# --- mutants --------------------------------------------------------------------------------------------------

def mutant(seed, chance):
    """The seed with up to eight changes that hit a text: bytes, words, lines, line ends, what it is encoded in."""
    data = bytearray(seed)
    for _ in range(chance.randint(1, 8)):
        at = chance.randrange(len(data) + 1)
        kind = chance.randrange(11)
        if kind == 0:
            data[at:at + chance.randint(1, 8)] = bytes(chance.randrange(256) for _ in range(chance.randint(0, 8)))
        elif kind == 1:
            data[at:at] = b"\0" * chance.randint(1, 4)
        elif kind == 2:
            del data[at:]
        elif kind == 3:
            del data[at:at + chance.randint(1, 200)]
        elif kind == 4:
            data[at:at] = chance.choice([b"\n", b"\r", b"\r\n", b"\t", b"  ", b"\x1a", b"\xef\xbb\xbf", b"\xff\xfe", b"#"])
        elif kind == 5:
            data[at:at] = chance.choice(KEYWORDS) + chance.choice([b" ", b"\n", b"\t", b""])
        elif kind == 6:
            data[at:at] = chance.choice([b"nan", b"1e99", b"-inf", b"0x1p3", b"1,5", b"1e", b"-", b".", b"9" * 400])
        elif kind == 7:
            data = data.replace(chance.choice(KEYWORDS), chance.choice(KEYWORDS), chance.randint(1, 5))
        elif kind == 8:
            data = data.replace(*chance.choice([(b"\n", b"\r"), (b"\n", b"\r\n"), (b"  ", b"\t"), (b".", b","), (b"\n", b" ")]))
        elif kind == 9:
            lines = data.split(b"\n")
            line = chance.randrange(len(lines))
            lines[line:line + 1] = chance.choice([[], [lines[line]] * 2, [b"", lines[line]], [b"\t" + lines[line]]])
            data = bytearray(b"\n".join(lines))
        elif len(data) % 2 == 0 and chance.random() < 0.3:
            data = bytearray(bytes(data).decode("latin-1").encode(chance.choice(["utf-16", "utf-16-le", "utf-16-be"])))
    return bytes(data)


def letters_counted(data, messages):
    """The message that takes text for a facet count."""
    for message in messages:
        found = ANNOUNCED.search(message["text"])
        if found and sum(byte in PRINTABLE for byte in data[80:84]) >= 2:
            return message["text"]
    return None


def mutants(report):
    if report.corpus:
        seeds = [path.read_bytes() for path, _ in texts(report.corpus)]
    else:
        seeds = []
        for path in sorted((SOURCE / "examples" / "parts").glob("*.stl")):
            out = report.folder("text") / "part.stl"
            report.tool_run("convert", path, "--to", "stl-ascii", "-o", out)
            seeds.append(out.read_bytes())
    seeds = [seed for seed in seeds if len(seed) <= LARGEST_SEED] or [b"".join(s.splitlines(True)[:99]) for s in seeds]
    chance = random.Random(1984)
    folder = report.folder("mutants")
    made = [mutant(chance.choice(seeds), chance) for _ in range(200 if report.quick else MUTANTS)]
    codes = collections.Counter()

    def look(item):
        number, data = item
        path = folder / f"m{number}.stl"
        path.write_bytes(data)
        more = ["--accept-partial"] if number % 2 else []
        code, facets, messages = read_by_tool(report, path, *more)
        path.unlink()
        wrong = None
        if code not in (0, 3) or (code == 0) != (facets is not None and facets > 0):
            wrong = f"exit {code} with {facets} facets"
        elif code == 3 and not any(m["severity"] == "error" for m in messages):
            wrong = "exit 3 without an error"
        return number, wrong or letters_counted(data, messages), code, [m["code"] for m in messages]

    problems = []
    for number, problem, code, said in parallel(look, list(enumerate(made))):
        codes["read" if code == 0 else said[-1]] += 1
        if problem:
            problems.append(f"mutant {number}: {problem}")
    print("        " + ", ".join(f"{count} {code}" for code, count in codes.most_common()), flush=True)
    report.all_of("shelf.mutants", problems, len(made), "exit 0 or 3; no message counts facets out of letters")


# --- other programs -------------------------------------------------------------------------------------------

def facets_said(ran, pattern):
    """The facets that a program found; None when it did not read the file."""
    found = re.search(pattern, ran.out.decode(errors="replace"))
    return int(found.group(1)) if ran.exit == 0 and found and int(found.group(1)) > 0 else None


def peers(report, path):
    home = report.folder("home")
    admesh = run(["admesh", "--exact", path], timeout=20, cwd=home)
    assimp = run(["assimp", "info", path], timeout=20, cwd=home)
    slicer = run(["prusa-slicer", "--info", path], timeout=60, cwd=home, env={"HOME": str(home), "PATH": "/usr/bin:/bin"})
    return {"admesh": facets_said(admesh, r"Number of facets\s*:\s*(\d+)"),
            "assimp": facets_said(assimp, r"Faces:\s*(\d+)"),
            "prusa-slicer": facets_said(slicer, r"number_of_facets\s*=\s*(\d+)")}


def majority(report):
    report.need_program("admesh", "assimp", "prusa-slicer")
    files = texts(report.need_corpus())

    def look(item):
        path, entry = item
        return entry, peers(report, path), read_by_tool(report, path)

    problems, differences, letters, total = [], [], [], 0
    for (path, _), (entry, said, (code, facets, messages)) in zip(files, parallel(look, files)):
        counted = letters_counted(path.read_bytes(), messages)
        if counted:
            letters.append(f"{entry['file']}: {counted}")
        counts = [count for count in said.values() if count is not None]
        told = ", ".join(f"{name} {count or 'refuses'}" for name, count in said.items())
        mine = facets if code == 0 else "refused, " + messages[-1]["code"]
        if len(counts) < 2:
            if code == 0 or counts:
                differences.append(f"{entry['file']}: trqprep {mine}; {told}")
            continue
        total += 1
        agreed = [count for count in counts if counts.count(count) > 1]
        wanted = agreed[0] if agreed else entry["facets"]
        if code != 0 or facets != wanted:
            problems.append(f"{entry['file']}: trqprep {mine}, not {wanted}; {told}")
        elif set(counts) != {facets} or len(counts) < 3:
            differences.append(f"{entry['file']}: trqprep {mine}; {told}")
    for difference in differences:
        print(f"        differs: {difference}", flush=True)
    report.all_of("shelf.majority", problems, total, "of the texts that two of three others read: their facets")
    report.all_of("shelf.letters", letters, len(files), "no message counts facets out of letters")


def measure(report):
    mutants(report)
    try:
        majority(report)
    except LeftOut as reason:
        print(f"left out of shelf: {reason}", flush=True)
