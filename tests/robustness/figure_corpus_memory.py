"""Peak memory on every corpus file, and time on the terrain (--corpus)."""
from figures import MIB, parallel, run_measured

from figure_corpus import entries

TERRAIN = "openfoam-openfoam-dev/terrain.stl"


def measure(report):
    files = entries(report.need_corpus())
    files = [path for _, path in files] + sorted((report.corpus / "slc").glob("*.slc"))
    scratch = report.folder("memory")

    def look(path):
        done = run_measured([report.tool, "info", path], scratch)
        return path, done, done.peak - 32 * MIB - 8 * path.stat().st_size

    runs = parallel(look, files)
    problems = [f"{path.name}: exit {done.exit}" for path, done, _ in runs if done.crashed() or done.exit not in (0, 3)]
    report.all_of("corpus.info", problems, len(runs), "info ends with exit 0 or 3 on every file")
    over = [(path, done) for path, done, excess in runs if excess > 0]
    path, done, _ = max(runs, key=lambda one: one[2])
    report.line("corpus.memory", not over, f"{len(runs) - len(over)} of {len(runs)}, closest {done.peak / MIB:.1f} MiB on "
                 f"{path.stat().st_size / MIB:.2f} MiB", "32 MiB + 8 x file size", binding=False)
    terrain = report.corpus / "stl" / TERRAIN
    if terrain.exists():
        best = min(run_measured([report.tool, "info", terrain], scratch).seconds for _ in range(3))
        report.line("corpus.terrain", best <= 0.5, f"{best:.2f} s, best of 3", "0.5 s", binding=False)
