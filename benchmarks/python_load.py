#!/usr/bin/python3
"""python_load.py trqprep|meshio FILE TIMES: CPU seconds of loading a mesh, then of its volume by numpy on the arrays that
come of it, each time, in JSON. `view` is one look at an array of ours."""
import json
import sys
import time
import warnings

import numpy as np

warnings.simplefilter("ignore")


def volume(vertices, triangles):
    a, b, c = (vertices[triangles[:, k]].astype(np.float64) for k in range(3))
    return float(np.einsum("ij,ij->", a, np.cross(b, c))) / 6


def of_ours(path):
    import trqprep

    begin = time.process_time()
    mesh = trqprep.Mesh.load(path, units="mm")
    loaded = time.process_time()
    found = volume(mesh.vertices, mesh.triangles)
    done = time.process_time()
    for _ in range(1000):
        mesh.vertices, mesh.triangles
    return {"load": loaded - begin, "volume": done - loaded, "view": (time.process_time() - done) / 2000, "found": found}


def of_meshio(path):
    import meshio

    begin = time.process_time()
    mesh = meshio.read(path)
    loaded = time.process_time()
    found = volume(mesh.points, mesh.cells_dict["triangle"])
    return {"load": loaded - begin, "volume": time.process_time() - loaded, "found": found}


def main():
    which, path, times = sys.argv[1:]
    for _ in range(int(times)):
        print(json.dumps({"trqprep": of_ours, "meshio": of_meshio}[which](path)), flush=True)


if __name__ == "__main__":
    main()
