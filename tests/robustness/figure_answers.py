"""The same CTL bytes and reports from every compiler, at every optimisation level, sanitized, and in a locale with
decimal commas (--corpus)."""
import hashlib
import os
import subprocess

from figures import BUILD, SOURCE, parallel, run

from figure_corpus import entries

LOCALE = "de_DE.UTF-8"
SANITIZERS = "address,undefined,float-cast-overflow"
# name -> compiler, flags, sanitizers. They are compared with the release build.
BUILDS = {
    "gcc-O2": ("g++", "-O2", ""),
    "gcc-O0": ("g++", "-O0", ""),
    "clang-O2": ("clang++", "-O2", ""),
    "clang-O0": ("clang++", "-O0", ""),
    "sanitized": ("g++", "-O1 -g1", SANITIZERS),
}


def build(name, compiler, flags, sanitizers):
    folder = BUILD / "robustness" / name
    launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if run(["sh", "-c", "command -v ccache"]).exit == 0 else []
    for command in (["cmake", "-G", "Ninja", "-S", SOURCE, "-B", folder, "-DCMAKE_BUILD_TYPE=None",
                     f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_FLAGS={flags}", f"-DTRQ_SANITIZE={sanitizers}",
                     *launcher],
                    ["ninja", "--quiet", "-C", folder, "trqprep", "mesh_probe", "host_locale"]):
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return folder


def answers(report, folder, files, environment=None, probe_arguments=()):
    """One digest a file of all that the tool and the library have to say about it, and of what they write."""
    environment = dict(os.environ, **(environment or {}))

    def one(path):
        out = report.folder("answers")
        digest = hashlib.sha256()
        commands = [["info", path, "--json"]]
        if path.suffix.lower() == ".slc":
            commands += [["slc", "info", path, "--json"], ["slc", "copy", path, "-o", "out.slc"],
                         ["slc", "svg", path, "--layer", "1", "-o", "out.svg"]]
        else:
            commands += [["convert", path, "-o", "out.ctl"], ["check", path, "--json"],
                         ["convert", path, "--to", "stl-ascii", "-o", "out.txt"]]
        for command in commands:
            done = run([folder / "bin" / "trqprep", *command], cwd=out, env=environment)
            if done.crashed():
                return f"exit {done.exit}: {done.err.strip()[-200:]}"
            digest.update(b"%d\n%s\n%s\n" % (done.exit, done.out, done.err.encode()))
        if path.suffix.lower() != ".slc":
            done = run([folder / "bin" / "mesh_probe", *probe_arguments, "--out", out, path],
                       env={k: v for k, v in environment.items() if k != "LD_PRELOAD"})
            if done.exit != 0:
                return f"exit {done.exit}: {done.err.strip()[-200:]}"
            digest.update(done.out)
        for made in sorted(out.iterdir()):
            digest.update(made.name.encode() + b"\0" + made.read_bytes())
            made.unlink()
        return digest.hexdigest()

    return dict(zip(files, parallel(one, files)))


def measure(report):
    report.need_corpus()
    report.need_program("localedef", *([] if report.quick else ["g++", "clang++"]))
    files = [path for _, path in entries(report.corpus)] + sorted((report.corpus / "slc").glob("*.slc"))
    if report.quick:
        files = sorted(files, key=lambda path: path.stat().st_size)[:100:10]
    report.build("mesh_probe", "host_locale")
    reference = BUILD / report.preset
    first = answers(report, reference, files)

    def compare(name, found):
        problems = [f"{path.name}: {found[path] if found[path].startswith('exit') else 'another answer'}" for path in files
                    if found[path] != first[path] or found[path].startswith("exit")]
        report.all_of("answers." + name, problems, len(files), "CTL bytes and reports as those of the release build")

    compare("again", answers(report, reference, files))

    locales = report.folder("locales")
    made = run(["localedef", "-c", "-i", "de_DE", "-f", "UTF-8", locales / LOCALE])
    if not (locales / LOCALE).exists():
        report.line("answers.locale", False, f"localedef: exit {made.exit} {made.err.strip()[-100:]}", "a locale is made")
        return
    environment = {"LOCPATH": str(locales), "TRQ_HOST_LOCALE": LOCALE,
                   "LD_PRELOAD": str(reference / "lib" / "libhost_locale.so")}
    compare("locale", answers(report, reference, files, environment, ["--locale", LOCALE]))
    for name, settings in {} if report.quick else BUILDS.items():
        compare(name, answers(report, build(name, *settings), files))
