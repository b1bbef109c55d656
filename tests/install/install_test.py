"""Installs the build, moves the installation, and builds and runs a program of its own against it."""

import argparse
import glob
import json
import os
import shlex
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests", "examples"))
import stl_report  # noqa: E402  (measures without the library)
import desktop  # noqa: E402


def run(*command, env=None):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env=env)
    if done.returncode != 0:
        sys.exit("%s\n%s\nended with %d" % (" ".join(command), done.stdout, done.returncode))
    return done.stdout


def with_pkg_config(a, prefix, source, part, known):
    """The same program, built with what pkg-config says of the installation."""
    (folder,) = glob.glob(os.path.join(prefix, "lib", "**", "pkgconfig"), recursive=True)
    env = dict(os.environ, PKG_CONFIG_PATH=folder, LD_LIBRARY_PATH=os.path.dirname(folder))
    words = shlex.split(run("pkg-config", "--cflags", "--libs", "trqshareddll", env=env))
    if run("pkg-config", "--modversion", "trqshareddll", env=env).strip() != a.version:
        sys.exit("pkg-config names another version than " + a.version)
    program = os.path.join(a.scratch, "by_pkg_config")
    run(a.compiler, "-std=c++17", *shlex.split(a.flags), source, *words, "-o", program)
    if tuple(run(program, part, env=env).split()) != known:
        sys.exit("built with pkg-config it says something else")


def with_prep(a, prefix, options, part):
    """A program of an outside application makes a build, when the tool's libraries are installed."""
    if not glob.glob(os.path.join(prefix, "lib", "**", "TRQPrepConfig.cmake"), recursive=True):
        print("without the tool there is no TRQPrep")
        return
    build, job, out = (os.path.join(a.scratch, name) for name in ("prep-build", "job.toml", "prep-out"))
    run(a.cmake, "-S", os.path.join(ROOT, "tests", "packages", "prep_consumer"), "-B", build, *options)
    run(a.cmake, "--build", build)
    shutil.copy(part, os.path.join(a.scratch, "part.stl"))
    with open(job, "w", encoding="utf-8") as f:
        f.write('vat = "250x250x250mm"\n[[part]]\nfile = "part.stl"\ncopies = 2\n')
    if run(os.path.join(build, "outside_build"), job, out) != "2 pieces\n":
        sys.exit("a program outside does not build what the job says")
    run(os.path.join(prefix, "bin", "trqprep"), "verify", out)


def main():
    parser = argparse.ArgumentParser()
    for name in ("cmake", "generator", "compiler", "flags", "build", "version", "scratch"):
        parser.add_argument("--" + name, required=True)
    a = parser.parse_args()

    shutil.rmtree(a.scratch, ignore_errors=True)
    os.makedirs(a.scratch)
    first, prefix = os.path.join(a.scratch, "first"), os.path.join(a.scratch, "moved")
    run(a.cmake, "--install", a.build, "--prefix", first)
    os.rename(first, prefix)  # nothing in the package may depend on where it was installed

    source, build = os.path.join(a.scratch, "consumer"), os.path.join(a.scratch, "consumer-build")
    shutil.copytree(os.path.join(ROOT, "tests", "install", "consumer"), source)
    shutil.copy(os.path.join(ROOT, "examples", "print_volume.cpp"), source)
    options = ("-G", a.generator, "-DCMAKE_CXX_COMPILER=" + a.compiler, "-DCMAKE_CXX_FLAGS=" + a.flags,
               "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_PREFIX_PATH=" + prefix)
    run(a.cmake, "-S", source, "-B", build, *options)
    run(a.cmake, "--build", build)

    # No path to the library but the one that the package wrote into the program.
    env = {k: v for k, v in os.environ.items() if k != "LD_LIBRARY_PATH"}
    for name in ("bracket.stl", "l_shape.stl"):  # binary and ASCII
        path = os.path.join(ROOT, "examples", "parts", name)
        known = stl_report.report(path)
        facets, volume = run(os.path.join(build, "print_volume"), path, env=env).split()
        if int(facets) != known.facets or abs(float(volume) / known.volume - 1) > 1e-5:
            sys.exit("%s: %s facets, volume %s; expected %d, %.6f" % (name, facets, volume, known.facets, known.volume))
        print("%s: %s facets, volume %s" % (name, facets, volume))
    with_pkg_config(a, prefix, os.path.join(source, "print_volume.cpp"), path, (facets, volume))
    with_prep(a, prefix, options, path)

    if a.version not in run(os.path.join(prefix, "bin", "trqprep"), "version", env=env):
        sys.exit("the installed trqprep does not say that it is version " + a.version)

    # The schemas that stand beside it know what it prints.
    document = json.loads(run(os.path.join(prefix, "bin", "trqprep"), "info", "--json", path, env=env))
    name = document["schema"][len("trqprep."):].partition("/")[0]
    schemas = os.path.join(prefix, "share", "trqprep", "schemas")
    with open(os.path.join(schemas, name + ".json"), encoding="utf-8") as f:
        if json.load(f)["title"] != document["schema"]:
            sys.exit("the installed schema is not that of " + document["schema"])
    if sorted(os.listdir(schemas)) != sorted(os.listdir(os.path.join(ROOT, "docs", "schemas"))):
        sys.exit("not all schemas are installed in " + schemas)
    desktop.check(prefix, os.path.join(a.scratch, "desktop"), env)


if __name__ == "__main__":
    main()
