"""What the figures share: their lines, running programs by the thousand, limits and measured runs."""
import concurrent.futures
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = SOURCE / "build"
MIB = 1 << 20


class LeftOut(Exception):
    """A figure that cannot be had here, and why."""


class Report:
    """One run of the script: its options, and the lines that it printed."""

    def __init__(self, quick, corpus, preset="release"):
        self.quick = quick
        self.corpus = pathlib.Path(corpus).resolve() if corpus else None
        self.tool = BUILD / preset / "bin" / "trqprep"
        self.preset = preset
        self.missed = []
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="trq-robustness-"))

    def close(self):
        shutil.rmtree(self.scratch, ignore_errors=True)

    def folder(self, name):
        """A new, empty folder."""
        return pathlib.Path(tempfile.mkdtemp(prefix=name + "-", dir=self.scratch))

    def line(self, name, held, value, mark, binding=True):
        """Prints a figure beside its mark. Times and sizes are not binding: a busy machine may miss them."""
        word = "held" if held else "MISSED"
        print(f"{word:7} {name:28} {value:44} mark: {mark}", flush=True)
        if not held:
            self.missed.append((name, binding))

    def all_of(self, name, problems, total, mark):
        """A figure that says how many of a number of cases did as they should."""
        for problem in problems[:10]:
            print(f"        {problem}", flush=True)
        self.line(name, total > 0 and not problems, f"{total - len(problems)} of {total}", mark)

    def need_corpus(self):
        if not self.corpus:
            raise LeftOut("needs --corpus DIR")
        return self.corpus

    def need_program(self, *names):
        for name in names:
            if not shutil.which(name):
                raise LeftOut(f"needs {name}")

    def build(self, *targets, preset=None):
        """Builds targets that the usual build leaves out."""
        subprocess.run(["ninja", "--quiet", "-C", str(BUILD / (preset or self.preset)), *targets], check=True,
                       stdout=subprocess.DEVNULL)

    def tool_run(self, *arguments, **more):
        return run([self.tool, *arguments], **more)


class Ran:
    """A finished program: exit code (negative: the signal that ended it), output, seconds and peak bytes."""

    def __init__(self, exit, out, err, seconds, peak=None):
        self.exit, self.out, self.err, self.seconds, self.peak = exit, out, err, seconds, peak

    def crashed(self):
        return self.exit < 0 or self.exit > 128 or "Sanitizer" in self.err or "runtime error:" in self.err


def run(command, timeout=600, **more):
    more.setdefault("stdin", subprocess.DEVNULL)
    start = time.monotonic()
    try:
        done = subprocess.run([os.fspath(c) for c in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              timeout=timeout, **more)
    except subprocess.TimeoutExpired as late:
        return Ran(-signal.SIGALRM, b"", f"not finished after {timeout} s", late.timeout)
    return Ran(done.returncode, done.stdout, done.stderr.decode(errors="replace"), time.monotonic() - start)


def run_measured(command, scratch, **more):
    """As run, with the peak of resident memory. A small program starts the command: a peak counts from the memory of
    the one that started it."""
    note = tempfile.NamedTemporaryFile(dir=scratch, delete=False).name
    done = run(["/usr/bin/time", "--quiet", "-f", "%M", "-o", note, *command], **more)
    text = pathlib.Path(note).read_text().split()
    os.unlink(note)
    done.peak = int(text[-1]) * 1024 if text else None
    return done


def parallel(function, items):
    """[function(item)], as many at a time as there are processors."""
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 1) as pool:
        return list(pool.map(function, items))
