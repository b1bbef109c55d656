"""info and convert on mutants of every format, and on what the fuzzers have kept."""
import subprocess

from figures import BUILD, SOURCE, parallel, run

FORMATS = {"stl": ".stl", "ctl": ".ctl", "slc": ".slc", "build_style": ".sty", "recoat_style": ".rcs",
           "legacy_recoat_style": ".rcs", "side_file": ".V_D"}
LARGEST = 1 << 20


def measure(report):
    report.build("mutants", "make_seeds")
    seeds = report.folder("seeds")
    run([report.tool.parent / "make_seeds", seeds])
    count = 20 if report.quick else 1000
    folder = report.folder("mutants")
    files = []
    for name, ending in FORMATS.items():
        where = folder / name
        where.mkdir()
        run([report.tool.parent / "mutants", name, str(count), "2", seeds, "--write", where])
        made = sorted(p for p in where.rglob("*") if p.is_file())
        kept = sorted((BUILD / "fuzz" / "corpus" / name).glob("*"))[:: 1 if not report.quick else 1000][:count]
        for number, source in enumerate([*made, *kept]):
            if source.stat().st_size <= LARGEST:
                path = where / f"input{number}{ending}"
                path.write_bytes(source.read_bytes())
                files.append(path)

    # Where all are run, the sanitized build gets some of them: it takes half a second each.
    for preset, inputs, seconds in [("release", files, 1)] + ([] if report.quick else [("asan-ubsan", files[::20], 10)]):
        if preset != report.preset:
            subprocess.run(["cmake", "--preset", preset], cwd=SOURCE, check=True, stdout=subprocess.DEVNULL)
            report.build("trqprep", preset=preset)
        through(report, "tool_mutants" + ("" if preset == "release" else ".sanitized"), BUILD / preset / "bin" / "trqprep",
                inputs, seconds)


def through(report, name, tool, files, seconds):
    """Runs the tool over the files and prints what became of it."""
    def one(path):
        runs = [("info", run([tool, "info", path], timeout=60))]
        if path.suffix in (".stl", ".ctl"):
            runs.append(("convert", run([tool, "convert", path, "--force", "-o", path.with_suffix(".out.ctl")], timeout=60)))
        return path, runs

    problems, total, slowest = [], 0, (0.0, "")
    for path, runs in parallel(one, files):
        for verb, done in runs:
            total += 1
            slowest = max(slowest, (done.seconds, f"{verb} {path.parent.name}"))
            if done.crashed() or done.exit not in (0, 3):
                problems.append(f"{verb} {path.parent.name}/{path.name}: exit {done.exit}: {done.err.strip()[-200:]}")
    report.all_of(name, problems, total, "info and convert end with exit 0 or 3")
    report.line(name + ".time", slowest[0] <= seconds, f"{slowest[0]:.2f} s ({slowest[1]})", f"{seconds} s up to 1 MiB",
                binding=False)
