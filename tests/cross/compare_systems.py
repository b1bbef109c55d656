"""Runs the tool built for this machine and the one built for another system over the same commands, and compares output,
errors, exit code and every byte that was written: nothing may differ. scripts/cross starts it.

Scenes are those of tests/versions, and what later versions brought besides.
"""
import argparse
import os
import pathlib
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "versions"))
import compare_versions  # noqa: E402
import scenes  # noqa: E402

# Of the scenes of tests/versions: about a thousand commands.
CHOSEN = ["help/pages", "help/no-command", "docs/help-transform", "examples/bracket.stl", "examples/angles",
          "made/side-file-good", "made/side-file-bad", "made/side-file-nan", "made/vents",
          "styles/style-Fine.sty", "styles/recoat-ThreeSweeps.rcs", "styles/new", "styles/damaged-Fine.sty-cut-*",
          "contours/cone.slc", "contours/cone-cut-600.slc", "contours/cone-flip-300.slc", "contours/nan.slc",
          "builds/copies", "builds/styles", "builds/bands", "builds/inch-vat", "builds/no-room", "builds/job-whole",
          "builds/job-syntax", "names/with-blank.stl", "names/UPPER.STL", "names/*t*.stl", "damaged/outputs",
          "damaged/bracket-cut-84.stl", "damaged/bracket-cut-10001.stl", "damaged/bracket-flip-83.stl"]
QUICK = ["docs/help-transform", "made/vents", "styles/new", "builds/bands", "builds/inch-vat", "names/with-blank.stl",
         "damaged/bracket-cut-10001.stl"]

NEST = """engine = "nest"
time = 0
rotations = 8
gap = "1mm"
vat = "250x250x150mm"
drop = true
[[part]]
file = "bracket.stl"
copies = 3
[[part]]
file = "ring.stl"
copies = 4
"""


class SystemsPlan(scenes.Plan):
    """The chosen scenes, and those of commands that the oldest version lacks."""

    def __init__(self, sources, tool, corpus):
        super().__init__(sources, tool, corpus)
        files = self.example_files()

        def scene(name):
            return self.scene("systems", name, files)
        slices = scene("slices")
        slices.both("slice bracket.stl --thickness 0.5mm -o bracket.slc", "slc info bracket.slc", "check bracket.slc --slices",
                    "slice ring.stl vase.stl --thickness 1mm --union auto -o two.slc",
                    "slice ring.stl --thickness 0.02in -o ring.slc", "slice rook.stl --thickness 2mm --threads 2 -o rook.slc")
        slices.run("slc svg bracket.slc --layer 5 -o layer.svg", "slc png bracket.slc --layers 5,7 -o layers/",
                   "slc diff bracket.slc ring.slc")
        estimate = scene("estimate")
        estimate.run("slice knob.stl --thickness 1mm -o knob.slc")
        estimate.both("estimate knob.slc", "estimate knob.slc --style Fine.sty --recoat ThreeSweeps.rcs --machine TRQ-E7 "
                      "--beam 0.1mm --power 100 --travel 300mm --delay-unit s --dp-unit mm --ec-unit mJ/cm2", "build knob.stl --drop --slice --style Fine.sty --recoat ThreeSweeps.rcs "
                      "--machine TRQ-E7 -o built", "estimate built", "verify built", "check built")
        pictures = scene("pictures")
        pictures.run("render vase.stl -o vase.png --size 200x150", "render bracket.stl ring.stl -o two.png --view front",
                     "slc png cone.slc --layers 3 --size 300 -o cone.png", "build ring.stl,copies=2 --drop -o ring-build",
                     "report ring.stl -o ring.html", "render ring-build -o plate.png", "verify ring-build")
        nested = scene("nested").text("nest.toml", NEST).text(
            "plates.toml", NEST.replace("drop = true", 'drop = true\nplates = "any"').replace("copies = 3", "copies = 30"))
        nested.run("build nest.toml -o nest", "verify nest", "build nest/build.toml -o again", "build plates.toml -o plates", "verify plates", "info plates --json")
        meshes = scene("meshes")
        meshes.both("repair bracket.stl -o repaired.stl", "simplify knob.stl --facets 200 -o coarse.stl",
                    "hollow rook.stl --limit 1mm --validate -o hollow.stl", "zcomp vase.stl --style Fine.sty -o raised.stl",
                    "check hollow.stl")
        shared = scene("documents")
        shared.both("style show Fine.sty --all", "recoat show ThreeSweeps.rcs --all", "params --all", "machines", "explain",
                    "version")




def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("native", help="the tool built for this machine")
    parser.add_argument("other", help="the other tool, or a program that runs it")
    parser.add_argument("--quick", action="store_true", help="a quarter of the scenes")
    parser.add_argument("--only", action="append", metavar="GLOB", help="only these scenes, such as 'systems/*'")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), metavar="N")
    parser.add_argument("--all", action="store_true", help="show every difference")
    chosen = parser.parse_args()
    compare_versions.TIMEOUT = 1200  # emulated and on a busy machine
    scenes.Plan = SystemsPlan
    arguments = argparse.Namespace(
        old_tool=chosen.native, old_tree=ROOT, new=chosen.other, corpus=None, quick=False, freeze=None, against=None,
        only=chosen.only or [*(QUICK if chosen.quick else CHOSEN), "systems/*"], allowed=None, jobs=chosen.jobs,
        all=chosen.all, times=True)
    with tempfile.TemporaryDirectory(prefix="trqprep-systems-", ignore_cleanup_errors=True) as scratch:
        comparison = compare_versions.Comparison(arguments, pathlib.Path(scratch))
        comparison.run()
        status = comparison.report()
    commands = sum(group["commands"] for group in comparison.groups.values())
    files = sum(group["files"] for group in comparison.groups.values())
    print(f"{commands} commands, {files} files, {len(comparison.unlisted)} differences")
    if commands < 100 and not chosen.only:
        sys.exit("fewer than 100 commands were compared")
    return status


if __name__ == "__main__":
    sys.exit(main())
