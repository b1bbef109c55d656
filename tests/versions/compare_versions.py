"""Runs an older trqprep and the present one over the same commands and compares everything that comes out of them:
standard output, error stream, exit code, and every file that was written, byte by byte. scripts/compare-versions
starts it.

The old tool is built from the repository's history, with a flag (OLD_FLAGS) that keeps its compiler from leaving out
roundings. Outputs are compared after masking what has to differ:
- "trqprep X.Y.Z", and the version that `version --json` states;
- in build.json the sizes and hashes that are true of the files beside it, and its own sum when that is true of its
  text: the files themselves are compared, and a wrong hash stays and shows;
- the folder in which the scene runs, and the random part of a temporary file's name.

allowed.toml lists the differences that are meant, each with its reason and with the one change that it allows.
"""
import argparse
import collections
import concurrent.futures
import difflib
import fnmatch
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import time
import tomllib
import zlib

import renamed
import scenes

ROOT = pathlib.Path(__file__).resolve().parents[2]
OLD_REVISION = "c029e52650ca"  # version 0.1.0
OLD_FLAGS = "-fno-tree-slp-vectorize"
TIMEOUT = 60
KEPT_FILE = 4 << 20  # larger files are frozen as their hash alone


# --- one tool, one scene --------------------------------------------------------------------------------------

class Tool:
    def __init__(self, path):
        self.path = os.path.abspath(path)
        with tempfile.TemporaryDirectory() as folder:  # whatever it is that is handed in
            stated = subprocess.run([self.path, "version"], cwd=folder, capture_output=True, check=True).stdout.decode()
            page = subprocess.run([self.path, "help", "build"], cwd=folder, capture_output=True).stdout
        self.version = re.fullmatch(r"trqprep (\S+)\n", stated).group(1).encode()
        self.has_engines = b"--engine" in page


# Plates are compared as the engine makes them that every version has; job files name theirs.
ON_THE_GRID = """#!/bin/sh
case "$1" in
  build|place)
    last=
    for word; do
      case "$last:$word" in
        --machines:*) ;;
        *.toml) exec {tool} "$@" ;;
      esac
      last=$word
    done
    command=$1
    shift
    exec {tool} "$command" --engine grid "$@" ;;
esac
exec {tool} "$@"
"""


class SceneRun:
    """Runs the steps of a scene in a folder of its own and records what each did."""

    def __init__(self, tool, scene, sources, corpus, folder):
        self.tool, self.scene, self.folder = tool, scene, pathlib.Path(folder)
        self.true_hashes = set()
        self.contents = {}  # masked hash -> masked bytes
        self.stats = {}  # path -> what tells that a file was written again
        (self.folder / "scene").mkdir(parents=True)
        (self.folder / "bin").mkdir()
        self.command = self.folder / "bin" / "trqprep"
        if tool.has_engines:
            self.command.write_text(ON_THE_GRID.replace("{tool}", shlex.quote(tool.path)))
            self.command.chmod(0o755)
        else:
            self.command.symlink_to(tool.path)
        self.place = self.folder / "scene"
        for name, source in scene["inputs"].items():
            target = self.place / name
            target.parent.mkdir(parents=True, exist_ok=True)
            if isinstance(source, dict):
                target.write_bytes(source["text"].encode("latin-1"))
            elif source.startswith("corpus/"):
                shutil.copyfile(pathlib.Path(corpus) / source[len("corpus/"):], target)
            else:
                shutil.copyfile(pathlib.Path(sources) / source, target)
        self.environment = {"PATH": f"{self.folder}/bin:/usr/local/bin:/usr/bin:/bin", "HOME": str(self.folder),
                            "LC_ALL": "C.UTF-8",
                            "TZ": "UTC", "TMPDIR": str(self.folder)}
        self.changes()

    def steps(self):
        return [self.step(step) for step in self.scene["steps"]]

    def step(self, step):
        command = ["bash", "-c", step["shell"]] if "shell" in step else [self.command, *step["run"]]
        process = subprocess.Popen(command, cwd=self.place, env=self.environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, start_new_session=True)
        try:
            out, err = process.communicate(timeout=TIMEOUT)
            code = process.returncode
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            out, err, code = b"", b"", "timeout"
        files = self.changes()
        return {"exit": code, "stdout": self.keep(self.masked(out, step)), "stderr": self.keep(self.masked(err, step)),
                "files": files}

    def keep(self, data):
        name = hashlib.sha256(data).hexdigest()
        self.contents[name] = data
        return name

    def masked(self, data, step=None):
        data = data.replace(b"trqprep " + self.tool.version, b"trqprep <version>")
        if step and b'"trqprep.version/' in data:
            data = data.replace(b'"version": "' + self.tool.version + b'"', b'"version": "<version>"')
        data = data.replace(os.fsencode(self.place), b"<scene>").replace(os.fsencode(self.folder), b"<folder>")
        data = re.sub(rb"\.trqprep-\w{6}", b".trqprep-<random>", data)
        if self.true_hashes:
            def size_and_hash(match):
                size, between, stated = match.groups()
                true = stated in self.true_hashes
                return b'"' + size + b'": <true>,' + between + b'"<true>"' if true else match.group()
            data = re.sub(rb'"((?:file_)?size)": \d+,(\s+"sha256": )"([0-9a-f]{64})"', size_and_hash, data)
            data = re.sub(rb'<td class="n">\d+(</td><td><code>([0-9a-f]{64}))',  # a row of report.html
                          lambda m: b"<true>" + m[1] if m[2] in self.true_hashes else m.group(), data)
            data = re.sub(rb"\b[0-9a-f]{64}\b", lambda m: b"<true>" if m.group() in self.true_hashes else m.group(),
                          data)
        return data

    def changes(self):
        """What is new, changed or gone since the last call: path -> [kind, mode, hash of the content]."""
        found, changed = {}, {}
        for folder, folders, files in os.walk(self.place):
            for name in folders + files:
                path = os.path.join(folder, name)
                status = os.lstat(path)
                found[os.path.relpath(path, self.place)] = (status.st_mode, status.st_ino, status.st_size,
                                                            status.st_mtime_ns)
        fresh = sorted(name for name, stat in found.items() if self.stats.get(name) != stat)
        for name in fresh:
            if os.path.basename(name) == "build.json":
                self.learn_hashes(self.place / name)
        for name in fresh:
            path, mode = self.place / name, found[name][0]
            kind = "link" if path.is_symlink() else "folder" if path.is_dir() else "file" if path.is_file() else "other"
            if kind == "folder":
                if name not in self.stats:
                    changed[name] = [kind, oct(mode), ""]
                continue
            content = {"link": lambda: os.fsencode(os.readlink(path)), "file": path.read_bytes, "other": bytes}[kind]()
            changed[name] = [kind, oct(mode), self.keep(self.masked(content))]
        for name in self.stats:
            if name not in found:
                changed[name] = ["gone", "", ""]
        self.stats = found
        return changed

    def learn_hashes(self, path):
        """Which hashes of a build.json are true of the files beside it. Its sum is that of its text without it."""
        try:
            text = path.read_bytes()
            document = json.loads(text)
            entries = [*document["files"], *document["inputs"]]
            for entry in entries:
                name = entry["file"]  # an object where it is no text
                content = (path.parent / (os.fsdecode(bytes.fromhex(name["bytes"])) if isinstance(name, dict) else name)).read_bytes()
                stated = entry["sha256"]
                size = entry.get("file_size", entry.get("size", len(content)))
                if hashlib.sha256(content).hexdigest() == stated and size == len(content):
                    self.true_hashes.add(stated.encode())
            without = re.sub(rb',\n  "sum": "[0-9a-f]{64}"\n\}\n\Z', b"\n}\n", text)
            if hashlib.sha256(without).hexdigest() == document["sum"]:
                self.true_hashes.add(document["sum"].encode())
        except (OSError, ValueError, KeyError, TypeError):
            pass  # no build.json of a build: compared as it is


# --- differences ----------------------------------------------------------------------------------------------

Difference = collections.namedtuple("Difference", "scene step what old new")


def command_of(step):
    return step["shell"] if "shell" in step else "trqprep " + " ".join(step["run"])


def differences_of(scene, old, new):
    """What differs between the records of two runs; contents are still hashes."""
    name = scene["group"] + "/" + scene["name"]
    for step, before, after in zip(scene["steps"], old, new):
        if before["exit"] == "timeout" and step.get("bounded"):
            return  # nothing behind it can be compared
        for what in ("exit", "stdout", "stderr"):
            if before[what] != after[what]:
                yield Difference(name, step, what, before[what], after[what])
        for path in sorted({*before["files"], *after["files"]}):
            one, other = (record["files"].get(path) for record in (before, after))
            if one == other:
                continue
            # A file that only one of them wrote again, with the same bytes, shows as absent in the other.
            if one is None or other is None or one[:2] != other[:2]:
                yield Difference(name, step, "entry:" + path, one, other)
            else:
                yield Difference(name, step, "file:" + path, one[2], other[2])


def printable(text):
    return text.decode("utf-8", "backslashreplace")


def is_text(data):
    return b"\0" not in data and not re.search(rb"[\x80-\xff]{4}", data)


def described(old, new):
    """A few lines that show where two contents differ."""
    if old is None or new is None:
        return "    (the content was not kept)"
    if is_text(old) and is_text(new):
        lines = list(difflib.unified_diff(printable(old).splitlines(), printable(new).splitlines(), lineterm="",
                                          n=0))[2:]
        lines = lines or ["(only line ends or the end of the file differ)"]
        return "\n".join("    " + line[:200] for line in lines[:8] + (["..."] if len(lines) > 8 else []))
    places = [k for k in range(0, min(len(old), len(new))) if old[k] != new[k]] if len(old) < 3e6 else []
    text = f"    {len(old)} and {len(new)} bytes, {len(places)} differ"
    if places:
        k = places[0]
        text += f", from byte {k} on: {old[k:k + 12].hex(' ')} | {new[k:k + 12].hex(' ')}"
    return text


# --- what is allowed ------------------------------------------------------------------------------------------

def one_nan(data):
    """Every NaN among the floats of a binary STL or CTL file with the bits of the usual one."""
    out = bytearray(data)

    def mend(places):
        for k in places:
            word = struct.unpack_from("<I", out, k)[0]
            if word & 0x7f800000 == 0x7f800000 and word & 0x007fffff:
                struct.pack_into("<I", out, k, 0x7fc00000)
    count = struct.unpack_from("<i", out, 80)[0] if len(out) >= 84 else -1
    if count > 0 and len(out) == 84 + 50 * count:
        mend(84 + 50 * facet + 4 * word for facet in range(count) for word in range(12))
    elif len(out) >= 256 and struct.unpack_from("<i", out, 160)[0] == 121:
        mend(k for k in range(256, min(len(out) - 3, 256 + 12 * struct.unpack_from("<i", out)[0]), 4))
    return bytes(out)


def numbers_alike(old, new, steps):
    """Whether two texts are the same but for numbers at most so many doubles apart."""
    number = re.compile(rb"-?\d+(?:\.\d+)?(?:e[-+]?\d+)?")
    if number.sub(b"#", old) != number.sub(b"#", new):
        return False

    def place(text):
        bits = struct.unpack("<q", struct.pack("<d", float(text)))[0]
        return bits if bits >= 0 else -(bits & 0x7fffffffffffffff)
    return all(a == b or abs(place(a) - place(b)) <= steps for a, b in zip(number.findall(old), number.findall(new)))


def nan_text(data):
    return re.sub(rb"nan:[0-9a-f]{8}", b"nan:7fc00000", data.replace(b"-nan", b"nan"))


def unworded(data):
    """Messages without their words, codes and severities kept; counts and thicknesses as the old version wrote them."""
    data = re.sub(rb"(?m)^(trqprep: \w+: ).*( \[[A-Z0-9-]+\])(?:\n  hint: .*)?$", rb"\1#\2", data)
    data = re.sub(rb'(?m)^( *"(?:text|hint)": )(?:".*"|\{[^}]*\})', rb"\1#", data)
    data = re.sub(rb"\b1 (piece|part|facet|layer|byte|sweep|vent|drain|file)\b", rb"1 \1s", data)
    data = re.sub(rb"\b1 entry\b", b"1 entries", data)
    data = re.sub(rb"(?m): errors (\d+), warnings (\d+)$", rb": \1 errors, \2 warnings", data)
    data = re.sub(rb"(?m): (\d+) errors?, (\d+) warnings?$", rb": \1 errors, \2 warnings", data)
    data = re.sub(rb"(?m): (?:differences (\d+)|(\d+) differences?)$", rb": \1\2 differences", data)
    return re.sub(rb"(?m)(, layers of [0-9.e+-]+) (?:mm|in)\b", rb"\1", data)


# The changes that an entry may allow: each makes two contents alike that differ in nothing else. `old` tells which of
# the two it is.
CHANGES = {
    "nan-bits": lambda data, old, entry: one_nan(data),
    "nan-text": lambda data, old, entry: nan_text(data),
    "line-order": lambda data, old, entry: sorted(data.splitlines()),
    "masked": lambda data, old, entry: re.sub(entry["pattern"].encode(), b"#", data),
    "replaced": lambda data, old, entry: re.sub(entry["old"].encode(), entry["new"].encode(), data) if old else data,
    "renamed": lambda data, old, entry: renamed.of_today(data, old),
    "last-digit": lambda data, old, entry: data,
    "worded": lambda data, old, entry: unworded(data),
    "any": lambda data, old, entry: b"",
}


def alike(old, new, entry):
    """Whether two contents differ in nothing but the changes of an entry of the table."""
    if old is None or new is None:
        return "any" in entry["changes"]
    for change in entry["changes"]:
        old, new = CHANGES[change](old, True, entry), CHANGES[change](new, False, entry)
    return old == new or "last-digit" in entry["changes"] and numbers_alike(old, new, entry.get("steps", 1))


class Allowed:
    def __init__(self, path):
        self.entries = tomllib.loads(pathlib.Path(path).read_text()).get("difference", []) if path else []
        self.used = [0] * len(self.entries)
        for entry in self.entries:
            unknown = set(entry) - {"reason", "scene", "command", "what", "changes", "pattern", "old", "new", "steps"}
            lacking = {"reason", "scene", "what", "changes"} - set(entry)
            if unknown or lacking or set(entry["changes"]) - set(CHANGES):
                sys.exit(f"{path}: an entry wants reason, scene, what and changes: {entry}")

    def entry_for(self, difference, old, new):
        """The number of the first entry that allows this, or None."""
        matches = fnmatch.fnmatchcase
        for number, entry in enumerate(self.entries):
            if (matches(difference.scene, entry["scene"])
                    and matches(command_of(difference.step), entry.get("command", "*"))
                    and any(matches(difference.what, pattern) for pattern in entry["what"]) and alike(old, new, entry)):
                return number
        return None


# --- frozen outputs -------------------------------------------------------------------------------------------

class Frozen:
    """A folder of outputs: plan.json, sources/, a record a scene, contents by their hash."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)

    def record_path(self, number):
        return self.folder / "records" / f"{number:04}.json"

    def save(self, number, records, contents):
        self.record_path(number).parent.mkdir(exist_ok=True)
        self.record_path(number).write_text(json.dumps(records))
        for name, data in contents.items():
            path = self.folder / "contents" / name[:2] / name
            if len(data) <= KEPT_FILE and not path.exists():
                path.parent.mkdir(parents=True, exist_ok=True)
                temporary = path.with_suffix(f".{threading.get_ident()}")
                temporary.write_bytes(zlib.compress(data, 1))
                temporary.rename(path)

    def records(self, number):
        return json.loads(self.record_path(number).read_text())

    def content(self, name):
        path = self.folder / "contents" / name[:2] / name
        return zlib.decompress(path.read_bytes()) if path.exists() else None


# --- the whole ------------------------------------------------------------------------------------------------

def build_old(revision):
    """The tool of an older revision, built once, below build/versions."""
    full = subprocess.run(["git", "-C", ROOT, "rev-parse", "--verify", revision + "^{commit}"], capture_output=True,
                          text=True)
    if full.returncode != 0:
        sys.exit(f"the history holds no revision {revision} (a shallow clone?): --old-tool or --against does without")
    folder = ROOT / "build" / "versions" / full.stdout.strip()[:12]
    source, tool = folder / "source", folder / "build" / "bin" / "trqprep"
    if not tool.exists():
        print(f"== build: {folder.relative_to(ROOT)}", flush=True)
        shutil.rmtree(folder, ignore_errors=True)
        source.mkdir(parents=True)
        archive = subprocess.run(["git", "-C", ROOT, "archive", full.stdout.strip()], capture_output=True,
                                 check=True).stdout
        subprocess.run(["tar", "-x", "-C", source], input=archive, check=True)
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        with open(folder / "log", "wb") as log:
            for command in (["cmake", "-S", source, "-B", folder / "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                             "-DTRQ_BUILD_TESTS=OFF", f"-DCMAKE_CXX_FLAGS={OLD_FLAGS}", *launcher],
                            ["ninja", "-C", folder / "build", "trqprep"]):
                if subprocess.run(command, stdout=log, stderr=log).returncode != 0:
                    sys.exit(f"could not be built: {folder / 'log'}")
    return tool, source


def old_tree(arguments, scratch):
    """The old tool, and the tree whose examples and documents are run."""
    if not arguments.old_tool:
        return build_old(arguments.old)
    if arguments.old_tree:
        return arguments.old_tool, arguments.old_tree
    tree = scratch / "tree"
    tree.mkdir()
    archive = subprocess.run(["git", "-C", ROOT, "archive", arguments.old], capture_output=True)
    if archive.returncode != 0:
        sys.exit(f"the history holds no revision {arguments.old}: --old-tree names its files")
    subprocess.run(["tar", "-x", "-C", tree], input=archive.stdout, check=True)
    return arguments.old_tool, tree


class Comparison:
    def __init__(self, arguments, scratch):
        self.arguments, self.scratch = arguments, scratch
        self.old = self.new = self.frozen = None
        if arguments.against:
            self.frozen = Frozen(arguments.against)
            self.sources = self.frozen.folder / "sources"
            plan = json.loads((self.frozen.folder / "plan.json").read_text())
            self.corpus = arguments.corpus or plan.get("corpus")
        else:
            tool, tree = old_tree(arguments, scratch)
            self.old = Tool(tool)
            self.sources = pathlib.Path(arguments.freeze or scratch) / "sources"
            self.sources.mkdir(parents=True)
            scenes.make_sources(self.sources, tree)
            self.corpus = arguments.corpus and os.path.abspath(arguments.corpus)
            plan = {**scenes.Plan(self.sources, self.old.path, self.corpus).data(), "corpus": self.corpus}
        if not arguments.freeze:
            self.new = Tool(arguments.new)
        self.plan = plan
        self.scenes = [(number, scene) for number, scene in enumerate(plan["scenes"]) if self.chosen(scene)]
        self.allowed = Allowed(arguments.allowed)
        self.lock = threading.Lock()
        self.groups = collections.defaultdict(collections.Counter)
        self.unlisted, self.slow = [], []
        self.shown = [[] for _ in self.allowed.entries]

    def chosen(self, scene):
        name = scene["group"] + "/" + scene["name"]
        if self.arguments.only:
            return any(fnmatch.fnmatchcase(name, pattern) for pattern in self.arguments.only)
        if self.arguments.quick and scene["group"] not in scenes.QUICK_GROUPS:
            return False
        return self.corpus is not None or not scene["group"].startswith("corpus-")

    def whole(self):
        return self.corpus is not None and not self.arguments.only and not self.arguments.quick

    def run(self):
        def size(item):  # the longest first, so that no core waits at the end
            return -sum((pathlib.Path(self.corpus) / source[7:]).stat().st_size for source in item[1]["inputs"].values()
                        if isinstance(source, str) and source.startswith("corpus/")) - len(item[1]["steps"])
        with concurrent.futures.ThreadPoolExecutor(self.arguments.jobs) as pool:
            for result in [pool.submit(self.scene, *item) for item in sorted(self.scenes, key=size)]:
                result.result()

    def observe(self, tool, scene, number, side):
        folder = self.scratch / side / str(number)
        started = time.monotonic()
        run = SceneRun(tool, scene, self.sources, self.corpus, folder)
        records = run.steps()
        subprocess.run(["chmod", "-R", "u+rwx", folder], check=False, stderr=subprocess.DEVNULL)
        shutil.rmtree(folder, ignore_errors=True)
        return records, run.contents, time.monotonic() - started

    def scene(self, number, scene):
        contents = {}
        if self.arguments.freeze:
            records, contents, seconds = self.observe(self.old, scene, number, "old")
            Frozen(self.arguments.freeze).save(number, records, contents)
            self.count(scene, records, [], seconds)
            return
        if self.frozen:
            old, seconds = self.frozen.records(number), 0
        else:
            old, contents, seconds = self.observe(self.old, scene, number, "old")
        new, new_contents, more = self.observe(self.new, scene, number, "new")

        def content(what, value, side):
            if what == "exit":
                return str(value).encode()
            if what.startswith("entry:"):
                return json.dumps(value[:2] if value else None).encode()
            return side.get(value) if side is new_contents or not self.frozen else self.frozen.content(value)
        found = [(d, content(d.what, d.old, contents), content(d.what, d.new, new_contents))
                 for d in differences_of(scene, old, new)]
        self.count(scene, new, found, seconds + more, sum(r["exit"] == "timeout" for r in old))

    def count(self, scene, records, found, seconds, timeouts=0):
        with self.lock:
            group = self.groups[scene["group"]]
            group.update(scenes=1, commands=len(records), timeouts=timeouts,
                         files=sum(entry[0] == "file" for record in records for entry in record["files"].values()))
            self.slow.append((seconds, scene["group"] + "/" + scene["name"]))
            for difference, old, new in found:
                number = self.allowed.entry_for(difference, old, new)
                group.update(allowed=number is not None, unlisted=number is None)
                if number is None:
                    self.unlisted.append((difference, described(old, new)))
                else:
                    self.allowed.used[number] += 1
                    self.shown[number].append(difference)

    def report(self):
        if self.arguments.freeze:
            print(f"{'group':14} {'scenes':>7} {'commands':>9} {'files':>8}")
            for name, group in self.groups.items():
                print(f"{name:14} {group['scenes']:7} {group['commands']:9} {group['files']:8}")
            return 0
        print(f"{'group':14} {'scenes':>7} {'commands':>9} {'files':>8} {'allowed':>8} {'not allowed':>12}")
        for name, group in sorted(self.groups.items()):
            late = f"   {group['timeouts']} not compared: the old tool takes over {TIMEOUT} s"
            print(f"{name:14} {group['scenes']:7} {group['commands']:9} {group['files']:8} {group['allowed']:8} "
                  f"{group['unlisted']:12}{late if group['timeouts'] else ''}")
        failed = bool(self.unlisted)
        for entry, used, shown in zip(self.allowed.entries, self.allowed.used, self.shown):
            if used:
                print(f"\nallowed {used} times: {entry['reason'].strip()}")
                limit = None if self.arguments.all else 3
                for difference in shown[:limit]:
                    print(f"  {difference.scene}: {command_of(difference.step)}: {difference.what}"[:230])
                if limit and used > limit:
                    print(f"  ... and {used - limit} more (--all shows them)")
            elif self.whole():
                failed = True
                print(f"\nstale: no difference is allowed by this any more: {entry}")
        if self.unlisted:
            print(f"\n{len(self.unlisted)} differences that are not allowed:")
            limit = None if self.arguments.all else 60
            for difference, text in sorted(self.unlisted, key=lambda u: u[0].scene)[:limit]:
                print(f"  {difference.scene}: {command_of(difference.step)}: {difference.what}\n{text}"[:1600])
            if limit and len(self.unlisted) > limit:
                print(f"  ... and {len(self.unlisted) - limit} more (--all shows them)")
        if self.arguments.times:
            for seconds, name in sorted(self.slow, reverse=True)[:20]:
                print(f"  {seconds:7.1f} s {name}")
        but = ", but for what is allowed" if any(self.allowed.used) else ""
        print("\ndifferent" if failed else "\nthe same" + but)
        return int(failed)


def main(argv=None):
    parser = argparse.ArgumentParser(prog="scripts/compare-versions", description=__doc__.split("\n\n")[0],
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--old", default=OLD_REVISION, metavar="REV",
                        help="revision of the old tool (default: version 0.1.0)")
    parser.add_argument("--old-tool", metavar="PATH", help="an old tool that is built already")
    parser.add_argument("--old-tree", metavar="DIR", help="its source tree (default: taken from the history by --old)")
    parser.add_argument("--new", default=str(ROOT / "build/release/bin/trqprep"), metavar="PATH",
                        help="the new tool (default: build/release)")
    parser.add_argument("--corpus", metavar="DIR", help="a folder with stl/ and slc/ of files made by others")
    parser.add_argument("--quick", action="store_true", help="examples and documents only")
    parser.add_argument("--only", action="append", metavar="GLOB", help="only these scenes, such as 'corpus-stl/*'")
    parser.add_argument("--freeze", metavar="DIR",
                        help="run the old tool alone and keep its outputs in this new folder")
    parser.add_argument("--against", metavar="DIR", help="compare with the outputs kept there instead of an old tool")
    parser.add_argument("--allowed", default=str(pathlib.Path(__file__).with_name("allowed.toml")), metavar="FILE",
                        help="the differences that are meant")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), metavar="N")
    parser.add_argument("--all", action="store_true", help="show every difference")
    parser.add_argument("--times", action="store_true", help="show the slowest scenes")
    parser.add_argument("--list", action="store_true", help="list the scenes and run nothing")
    arguments = parser.parse_args(argv)
    if arguments.freeze and os.path.exists(arguments.freeze):
        sys.exit(f"{arguments.freeze} exists already")
    started = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="trqprep-compare-", ignore_cleanup_errors=True) as scratch:
        comparison = Comparison(arguments, pathlib.Path(scratch))
        if arguments.list:
            for _, scene in comparison.scenes:
                print(f"{scene['group']}/{scene['name']}: {len(scene['steps'])} commands")
            return 0
        if arguments.freeze:
            (pathlib.Path(arguments.freeze) / "plan.json").write_text(json.dumps(comparison.plan))
        comparison.run()
        status = comparison.report()
        print(f"{time.monotonic() - started:.0f} s")
        return status


if __name__ == "__main__":
    sys.exit(main())
