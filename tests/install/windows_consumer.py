#!/usr/bin/env python3
"""An application that mingw-w64 builds against the installed import library runs under Wine and gives the bytes of the
native one: windows_consumer.py --build build/windows --native build/native/bin/whole_build [--scratch FOLDER]
[--compiler x86_64-w64-mingw32-g++-posix] [--wine wine]. Prints what it did; ends with 1 when something differs.
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PARTS = {"bracket.stl": 2, "ring.stl": 3, "l_shape.stl": 1}  # binary and ASCII
STYLES = ["Fine.sty", "Standard.sty", "ThreeSweeps.rcs"]


def run(*command, cwd=None, env=None):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=cwd, env=env)
    if done.returncode != 0:
        sys.exit("%s\n%s%s\nended with %d" % (" ".join(command), done.stdout.decode(errors="replace"),
                                             done.stderr.decode(errors="replace"), done.returncode))
    return done.stdout.replace(b"\r\n", b"\n")


def files_of(folder):
    found = {}
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as f:
            found[name] = f.read()
    return found


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--native", required=True)
    parser.add_argument("--scratch")
    parser.add_argument("--compiler", default="x86_64-w64-mingw32-g++-posix")
    parser.add_argument("--wine", default="wine")
    a = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        check(a, a.scratch or temporary)


def check(a, scratch):
    os.makedirs(scratch, exist_ok=True)
    prefix, source, build, place = (os.path.join(scratch, name) for name in ("prefix", "source", "build", "place"))
    for folder in (prefix, source, build, place):
        shutil.rmtree(folder, ignore_errors=True)
    run("cmake", "--install", a.build, "--prefix", prefix)
    shutil.copytree(os.path.join(ROOT, "tests", "install", "windows_consumer"), source)
    shutil.copy(os.path.join(ROOT, "examples", "whole_build.cpp"), source)
    run("cmake", "-G", "Ninja", "-S", source, "-B", build, "-DCMAKE_SYSTEM_NAME=Windows", "-DCMAKE_CXX_COMPILER=" + a.compiler,
        "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_PREFIX_PATH=" + prefix)
    run("cmake", "--build", build)

    # Beside the installed DLLs, as an application is delivered.
    for name in ("whole_build.exe", "boundary.exe"):
        shutil.copy(os.path.join(build, name), os.path.join(prefix, "bin"))
    env = dict(os.environ, WINEDEBUG="-all")
    os.mkdir(place)
    run(a.wine, os.path.join(prefix, "bin", "boundary.exe"), cwd=place, env=env)

    for part in PARTS:
        shutil.copy(os.path.join(ROOT, "examples", "parts", part), place)
    with open(os.path.join(place, "ring.V_D"), "w", encoding="ascii") as f:
        f.write("24 0.5 1.25  0 0 1  0.5\n")
    for style in STYLES:
        shutil.copy(os.path.join(ROOT, "examples", "styles", style), place)
    arguments = ["out", "200", "7", "Fine.sty", "Standard.sty", "4", "ThreeSweeps.rcs"]
    arguments += [word for part, copies in PARTS.items() for word in (part, str(copies))]
    results = []
    for command in ([os.path.abspath(a.native)], [a.wine, os.path.join(prefix, "bin", "whole_build.exe")]):
        os.mkdir(os.path.join(place, "out"))
        said = run(*command, *arguments, cwd=place, env=env)
        results.append((said, files_of(os.path.join(place, "out"))))
        shutil.rmtree(os.path.join(place, "out"))
    (said, native), (said_there, there) = results
    expected = 1 + sum(PARTS.values()) + PARTS["ring.stl"]  # the plate, a mesh a piece, side files of the rings
    if len(native) != expected:
        sys.exit("%d files, expected %d" % (len(native), expected))
    different = sorted(name for name in set(native) | set(there) if native.get(name) != there.get(name))
    if different or said != said_there:
        sys.exit("differs: %s" % ", ".join(different or ["what was said"]))
    print("whole_build on Windows: %d files and %d bytes of text as native" % (len(there), len(said)))


if __name__ == "__main__":
    main()
