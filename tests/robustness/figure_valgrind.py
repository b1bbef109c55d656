"""valgrind on every corpus file below 1 MB: no error, no leak, no open descriptor (--corpus)."""
import re

from figures import parallel, run

from figure_corpus import entries

STANDARD = 3  # descriptors of every program


def measure(report):
    report.need_corpus()
    report.need_program("valgrind")
    files = [path for _, path in entries(report.corpus)] + sorted((report.corpus / "slc").glob("*.slc"))
    files = [path for path in files if path.stat().st_size < 1000000]
    if report.quick:
        files = sorted(files, key=lambda path: path.stat().st_size)[::10]
    report.build("mesh_probe")
    probe = report.tool.parent / "mesh_probe"

    def look(path):
        out = report.folder("valgrind")
        # The probe ends on its own, so that leaks show; its SLC files go through the tool.
        command = [report.tool, "slc", "verify", path] if path.suffix == ".slc" else [probe, "--out", out, path]
        done = run(["valgrind", "--error-exitcode=99", "--leak-check=full", "--show-leak-kinds=definite,indirect,possible",
                    "--errors-for-leak-kinds=definite,indirect", "--track-fds=yes", *command], timeout=1800)
        opened = re.search(r"FILE DESCRIPTORS: (\d+) open \((\d+) std\)", done.err)
        if done.exit not in (0, 1, 3):
            return f"{path.name}: exit {done.exit}: {done.err.strip()[-300:]}"
        if path.suffix != ".slc" and (not opened or int(opened[1]) > STANDARD):
            return f"{path.name}: {opened[0] if opened else 'no count of descriptors'}"
        return None

    problems = [p for p in parallel(look, files) if p]
    report.all_of("valgrind", problems, len(files), "no error, no leak, no open descriptor")
