#!/usr/bin/env python3
"""What the tool promises about files, tried on Windows: windows_files.py TOOL [--kills N] [--only NAME]

TOOL runs the tool of that system with the arguments behind it, through Wine for instance. Tried are names that only
Windows refuses, both separators, long paths, files that another program holds, files that may only be read, a disk
that fills, Ctrl-C, and N kills (default 200) while a file and while a folder is replaced. Needs mingw-w64 and Wine.
Prints a line for each, and ends with 1 when one fails."""
import argparse
import hashlib
import os
import pathlib
import pty
import random
import resource
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
DONE, NO, USAGE, INPUT, OUTPUT, INTERRUPTED = 0, 1, 2, 3, 4, 130
HELD = 20000  # milliseconds

arguments = argparse.ArgumentParser()
arguments.add_argument("tool")
arguments.add_argument("--kills", type=int, default=200)
arguments.add_argument("--only", default="")
options = arguments.parse_args()
TOOL = str(pathlib.Path(options.tool).resolve())


class Failed(Exception):
    pass


def require(holds, what):
    if not holds:
        raise Failed(what)


class Folder:
    """A folder of its own with a few inputs."""

    def __init__(self):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="trq-windows-"))
        for part in ("ring", "rook"):
            shutil.copy(ROOT / "examples" / "parts" / f"{part}.stl", self.path)
        shutil.copy(ROOT / "examples" / "styles" / "Fine.sty", self.path)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        subprocess.run(["chmod", "-R", "u+w", self.path], check=False)
        shutil.rmtree(self.path)

    def run(self, *words, **how):
        """Exit code and messages."""
        done = subprocess.run([TOOL, *words], cwd=self.path, stdin=subprocess.DEVNULL, capture_output=True, timeout=600,
                              **how)
        self.output = done.stdout
        return done.returncode, done.stderr.decode("utf-8")

    def expect(self, code, *words, says="", **how):
        got, said = self.run(*words, **how)
        require(got == code, f"{words} ended with {got}, not {code}: {said[:500]}")
        require(says in said, f"{words} does not say {says}: {said[:500]}")
        return said

    def names(self):
        return sorted(str(p.relative_to(self.path)) for p in self.path.rglob("*"))

    def left(self):
        return [name for name in self.names() if ".trqprep-" in name]


def state(path):
    """Bytes of a file, or of all files of a folder; None when there is none."""
    if path.is_dir():
        return {str(p.relative_to(path)): hashlib.sha256(p.read_bytes()).hexdigest()
                for p in sorted(path.rglob("*")) if p.is_file()}
    return path.read_bytes() if path.exists() else None


def names(folder):
    for name in ("con.stl", "NUL.stl", "lpt1.ctl", "ring.stl.", "ring ", "a?b.stl", "out.stl:stream"):
        folder.expect(OUTPUT, "convert", "ring.stl", "--to", "stl", "-o", name, says="OUTPUT-UNWRITABLE")
    folder.expect(OUTPUT, "build", "ring.stl", "-o", "aux", says="OUTPUT-UNWRITABLE")
    require(not folder.left(), folder.left())
    folder.expect(DONE, "convert", "ring.stl", "--to", "stl", "-o", "nul")
    folder.expect(DONE, "convert", "ring.stl", "-o", "Zähnräder-日本.ctl")
    require((folder.path / "Zähnräder-日本.ctl").exists(), folder.names())
    folder.expect(DONE, "info", "Zähnräder-日本.ctl")
    require("Zähnräder-日本.ctl" in folder.output.decode("utf-8"), folder.output)
    require(b"\r" not in folder.output, "line ends are two bytes")


def separators(folder):
    (folder.path / "parts" / "old").mkdir(parents=True)
    shutil.copy(folder.path / "ring.stl", folder.path / "parts" / "old")
    folder.expect(DONE, "info", "parts\\old\\ring.stl")
    with_backslash = folder.output
    folder.expect(DONE, "info", "parts/old/ring.stl")
    require(folder.output == with_backslash, "the two separators make two outputs")
    folder.expect(DONE, "convert", ".\\parts/old\\ring.stl", "-o", "parts\\ring.ctl")
    require((folder.path / "parts" / "ring.ctl").exists(), folder.names())
    drive = "Z:" + str(folder.path).replace("/", "\\")
    folder.expect(DONE, "convert", drive + "\\ring.stl", "-o", drive + "\\drive.ctl")
    require((folder.path / "drive.ctl").exists(), folder.names())
    for number, name in enumerate(("parts\\\\old\\\\ring.stl", "parts/old/ring.stl", drive.replace("\\", "\\\\") + "\\\\ring.stl")):
        (folder.path / "job.toml").write_text(f'no-report = true\n[[part]]\nfile = "{name}"\n')
        folder.expect(DONE, "build", "job.toml", "-o", f"out{number}")
    require((folder.path / "out0" / "plate.stl").read_bytes() == (folder.path / "out1" / "plate.stl").read_bytes(), "differ")


def cases(folder):
    (folder.path / "other").mkdir()
    shutil.copy(folder.path / "ring.stl", folder.path / "other" / "RING.STL")
    folder.expect(DONE, "build", "ring.stl", "other/RING.STL", "--no-report", "-o", "out")
    meshes = [p.name.lower() for p in (folder.path / "out").rglob("*.ctl")]
    require(len(meshes) == 2 and len(set(meshes)) == 2, meshes)


def long_paths(folder):
    deep = "/".join(["a" * 60] * 6)
    os.makedirs(folder.path / deep)
    folder.expect(DONE, "convert", "ring.stl", "-o", deep + "/ring.ctl")
    folder.expect(DONE, "info", deep.replace("/", "\\") + "\\ring.ctl")
    folder.expect(OUTPUT, "convert", "ring.stl", "-o", deep + "/ring.ctl", says="OUTPUT-EXISTS")
    folder.expect(DONE, "build", deep + "/ring.ctl", "--no-report", "-o", deep + "/out")
    folder.expect(DONE, "verify", deep + "/out")
    require(not folder.left(), folder.left())


def held_files(folder):
    helper = folder.path / "helper.exe"
    subprocess.run(["x86_64-w64-mingw32-g++-posix", "-std=c++17", "-O1", "-municode", "-static",
                    ROOT / "tests" / "cross" / "windows_helper.cpp", "-o", helper], check=True)
    folder.expect(DONE, "convert", "ring.stl", "-o", "out.ctl")
    before = state(folder.path / "out.ctl")
    # The runner's own environment serves the helper too: it ends in the tool's name.
    runner = pathlib.Path(TOOL).read_text().splitlines()[-1]
    command = runner[:runner.index('"')] + f'"{helper}" out.ctl {HELD}'
    with subprocess.Popen(["sh", "-c", command], cwd=folder.path, stdout=subprocess.PIPE) as holder:
        require(holder.stdout.readline().strip() == b"held", "the helper holds nothing")
        folder.expect(INPUT, "info", "out.ctl", says="INPUT-UNREADABLE")
        folder.expect(OUTPUT, "convert", "rook.stl", "-o", "out.ctl", "--force", says="OUTPUT-UNWRITABLE")
        require(state(folder.path / "out.ctl") == before and not folder.left(), folder.names())
        holder.kill()
    time.sleep(1)
    folder.expect(DONE, "convert", "rook.stl", "-o", "out.ctl", "--force")
    require(state(folder.path / "out.ctl") != before, "nothing was replaced")


def read_only_files(folder):
    before = state(folder.path / "Fine.sty")
    os.chmod(folder.path / "Fine.sty", 0o444)
    folder.expect(OUTPUT, "style", "set", "Fine.sty", "Layer Thickness=0.12", says="OUTPUT-READ-ONLY")
    require(state(folder.path / "Fine.sty") == before, "it was changed")
    folder.expect(DONE, "style", "set", "Fine.sty", "Layer Thickness=0.12", "--force")
    require(state(folder.path / "Fine.sty") != before and not folder.left(), folder.names())
    require(os.stat(folder.path / "Fine.sty").st_mode & 0o222 == 0, "it may be written now")


def edits(folder):
    """Changes of one file at the same time come one after the other."""
    (folder.path / "styles").mkdir()
    (folder.path / "Fine.sty").rename(folder.path / "styles" / "Fine.sty")
    running = [subprocess.Popen([TOOL, "style", "set", "styles\\Fine.sty", f"Layer Thickness=0.1{digit}"], cwd=folder.path,
                                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
               for digit in range(1, 7)]
    for child in running:
        said = child.communicate(timeout=600)[1].decode("utf-8")
        require(child.returncode == DONE, said)
    require(not folder.left(), folder.left())
    folder.expect(DONE, "style", "verify", "styles/Fine.sty")


def full_disk(folder):
    def limit():  # no file beyond so many bytes, in the place of a disk
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (50000, 50000))

    folder.expect(DONE, "convert", "ring.stl", "-o", "out.ctl")
    before = folder.names(), state(folder.path / "out.ctl")
    folder.expect(OUTPUT, "convert", "ring.stl", "--to", "stl-ascii", "-o", "out.ctl", "--force", preexec_fn=limit)
    folder.expect(OUTPUT, "build", "ring.stl", "--no-report", "-o", "out", preexec_fn=limit)
    require((folder.names(), state(folder.path / "out.ctl")) == before, folder.names())


def interruption(folder):
    """Ctrl-C typed at a terminal while a build is under way, later each time until one is too late."""
    interrupted = 0
    for seconds in (0.5, 1, 2, 3, 4.5, 6, 8, 11, 15, 20, 30, 60, 120):
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(folder.path)
            os.execv(TOOL, [TOOL, "build", "ring.stl,copies=20", "--slice", "-o", "out"])
        typed, end = False, time.monotonic() + seconds
        while True:
            ready = select.select([terminal], [], [], 0.05)[0]
            try:
                if ready and not os.read(terminal, 4096):
                    break
            except OSError:
                break
            if not typed and time.monotonic() > end:
                os.write(terminal, b"\x03")
                typed = True
        code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        os.close(terminal)
        if (folder.path / "out").exists():
            require(code == DONE and typed is False or code in (DONE, INTERRUPTED), code)
            break
        require(not folder.left(), folder.left())
        interrupted += code == INTERRUPTED
    require(interrupted > 0, "no run was interrupted")
    return f"{interrupted} interrupted"


def kills(folder):
    """Whatever the moment: the old or the new one stands there, complete. A folder may stand beside, as it was, between the
    two renames; the next run replaces as if nothing had been."""
    draw = random.Random(20)
    writers = [("out.stl", ["convert", None, "--to", "stl", "-o", "out.stl", "--force"]),
               ("out", ["build", None, "--no-report", "-o", "out", "--force"])]
    counts = {"old": 0, "new": 0, "aside": 0}
    for output, command in writers:
        states = []
        for part in ("ring.stl", "rook.stl"):
            begin = time.monotonic()
            folder.expect(DONE, *[part if word is None else word for word in command])
            lasts = time.monotonic() - begin
            states.append(state(folder.path / output))
        require(states[0] != states[1], "old and new are equal")
        for number in range(options.kills // 2):
            words = [("ring.stl", "rook.stl")[number % 2] if word is None else word for word in command]
            before = state(folder.path / output)
            child = subprocess.Popen([TOOL, *words], cwd=folder.path, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                     stderr=subprocess.DEVNULL)
            try:
                child.wait(draw.uniform(0.3, 1.1) * lasts)
            except subprocess.TimeoutExpired:
                child.kill()
            child.wait()
            time.sleep(0.05)
            after = state(folder.path / output)
            if after is None and output == "out":
                aside = folder.path / "out.old"
                require(state(aside) == before, f"kill {number}: neither out nor out.old is the old folder")
                counts["aside"] += 1
                aside.rename(folder.path / "out")
                after = before
            require(after in states, f"kill {number}: {output} is neither the old nor the new one")
            counts["old" if after == before else "new"] += 1
            for left in folder.path.glob(".trqprep-*"):
                shutil.rmtree(left) if left.is_dir() else left.unlink()
            # What a kill left of an old folder that was being removed.
            for left in folder.path.glob("out.old*"):
                shutil.rmtree(left)
    require(counts["old"] and counts["new"], f"{counts}: the kills came at no interesting time")
    return ", ".join(f"{count} {what}" for what, count in counts.items())


def main():
    failures = 0
    for trial in (names, separators, cases, long_paths, held_files, read_only_files, edits, full_disk, interruption, kills):
        if options.only not in trial.__name__:
            continue
        with Folder() as folder:
            try:
                said = trial(folder)
                print(f"{trial.__name__}: {said or 'as promised'}", flush=True)
            except Failed as failure:
                failures += 1
                print(f"{trial.__name__}: FAILED: {str(failure)[:1000]}", flush=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
