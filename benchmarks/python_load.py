#!/usr/bin/python3
"""python_load.py trqprep|meshio FILE TIMES: CPU seconds of loading a mesh, so often; then of loading it and its volume by
numpy on the arrays that come of it, in JSON. `view` is one look at an array of ours. The first of each is left out: it pays
for memory that the others find.
"""
import json
import sys
import time
import warnings

import numpy as np

warnings.simplefilter("ignore")


def volume(vertices, triangles):
    a, b, c = (vertices[triangles[:, k]].astype(np.float64) for k in range(3))
    return float(np.einsum("ij,ij->", a, np.cross(b, c))) / 6


def trqprep_arrays(path):
    import trqprep

    mesh = trqprep.Mesh.load(path, units="mm")
    return mesh.vertices, mesh.triangles


def meshio_arrays(path):
    import meshio

    mesh = meshio.read(path)
    return mesh.points, mesh.cells_dict["triangle"]


def seconds(work):
    begin = time.process_time()
    work()
    return time.process_time() - begin


def views(path):
    import trqprep

    mesh = trqprep.Mesh.load(path, units="mm")

    def look():
        for _ in range(1000):
            mesh.vertices, mesh.triangles

    return seconds(look) / 2000


def main():
    which, path, times = sys.argv[1:]
    arrays = {"trqprep": trqprep_arrays, "meshio": meshio_arrays}[which]
    for key, work in (("load", lambda: arrays(path)), ("volume", lambda: volume(*arrays(path)))):
        for time_taken in [seconds(work) for _ in range(int(times) + 1)][1:]:
            print(json.dumps({key: time_taken}), flush=True)
    if which == "trqprep":
        print(json.dumps({"view": views(path)}))


if __name__ == "__main__":
    main()
