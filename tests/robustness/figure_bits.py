"""The same floats from every compiler, at every optimisation level and for newer processors, and from literal forms."""
import pathlib
import subprocess

from figures import BUILD, SOURCE, run

COMPILERS = ("g++", "clang++")
LEVELS = ("-O0", "-O1", "-O2", "-O3", "-O3 -march=x86-64-v3")
QUICK = (("clang++", "-O1"),)
HERE = pathlib.Path(__file__).resolve().parent


def build(compiler, level, launcher="", name=""):
    """The library and the probe, as the project builds them but for the compiler and its level."""
    folder = BUILD / "bits" / (compiler.strip("+") + level.replace(" ", "") + name)
    if not launcher and run(["sh", "-c", "command -v ccache"]).exit == 0:
        launcher = "ccache"
    for command in (["cmake", "-G", "Ninja", "-S", SOURCE, "-B", folder, "-DCMAKE_BUILD_TYPE=None",
                     f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_FLAGS={level}", "-DTRQ_BUILD_TOOL=OFF",
                     f"-DCMAKE_CXX_COMPILER_LAUNCHER={launcher}"],
                    ["ninja", "--quiet", "-C", folder, "bit_probe"]):
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return digests(folder / "bin" / "bit_probe")


def digests(program):
    done = run([program])
    if done.exit != 0:
        raise RuntimeError(f"{program}: exit {done.exit} {done.err[-200:]}")
    return dict(reversed(line.split()) for line in done.out.decode().splitlines())


def differing(found, wanted):
    return [name for name in wanted if found.get(name) != wanted[name]]


def measure(report):
    report.build("bit_probe", "bit_oracle")
    shipped = digests(BUILD / report.preset / "bin" / "bit_probe")
    literal = digests(BUILD / report.preset / "bin" / "bit_oracle")
    report.all_of("bits.literal_forms", differing(shipped, literal), len(literal), "digests as those of the release build")

    settings = QUICK if report.quick else [(compiler, level) for compiler in COMPILERS for level in LEVELS]
    report.need_program(*sorted({compiler for compiler, _ in settings}))
    # A machine runs code for x86-64-v3 when it has these.
    has_v3 = {"avx2", "fma", "bmi2", "movbe"} <= set(pathlib.Path("/proc/cpuinfo").read_text().split())
    for compiler, level in settings:
        if "v3" in level and not has_v3:
            print(f"        bits {compiler} {level}: not on this machine", flush=True)
            continue
        found = build(compiler, level)
        report.all_of(f"bits {compiler} {level}", differing(found, shipped), len(shipped), "digests as those of the release build")

    if not report.quick:
        # Why cmake/TrqCompilerSettings.cmake has its rule.
        found = build("g++", "-O2", HERE / "without_the_rule.sh", "-without-the-rule")
        wrong = differing(found, shipped)
        print("        " + ", ".join(wrong), flush=True)
        report.line("bits.without_the_rule", bool(wrong), f"{len(wrong)} of {len(shipped)} differ",
                    "some, as long as g++ -O2 needs the rule", binding=False)
