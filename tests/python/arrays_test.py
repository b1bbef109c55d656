"""Arrays of every kind end in TrqError or a mesh. TRQ_ARRAYS is their number."""

import os
import warnings

import numpy as np
import trqprep
from conftest import CUBE_TRIANGLES, CUBE_VERTICES, cube
from trqprep import Mesh, RecoatStyle, TrqError

COUNT = int(os.environ.get("TRQ_ARRAYS", "10000"))
DTYPES = ["f2", "f4", "f8", ">f4", ">f8", "i1", "i2", "i4", "i8", ">i4", "u1", "u2", "u4", "u8", "c8", "?", "O", "U4", "S3",
          "M8[s]", "m8[s]", "V4", [("x", "f4"), ("y", "f4")]]
ODD = [0, 1, -1, 2, 7, 8, 100, -2**31, 2**31 - 1, 2**31, 2**63 - 1, -2**63, 2**64 - 1, np.nan, np.inf, -np.inf, 3.5e38, 1e-45, 0.5]


def shape(rng, columns):
    kind = rng.integers(12)
    if kind < 8:
        return (int(rng.integers(0, 40)), columns)
    return [(), (columns,), (5, columns + 1), (3, 4, columns)][kind - 8]


def values(rng, columns, usual):
    """An array, or what is to be one."""
    if rng.integers(4) == 0:
        array = np.array(usual)
    else:
        array = rng.integers(-2, 12, size=shape(rng, columns)).astype(float)
        if rng.integers(2):
            array = np.asarray(array + rng.random(array.shape))
    if array.size and rng.integers(3) == 0:
        array = array.astype(object)
        array.flat[rng.integers(array.size)] = ODD[rng.integers(len(ODD))]
    dtype = DTYPES[rng.integers(len(DTYPES))] if rng.integers(3) else ["f4", "f8", "i4", "i8"][rng.integers(4)]
    try:
        array = array.astype(dtype)
    except (ValueError, TypeError, OverflowError):
        pass
    how = rng.integers(10)
    if how == 0:
        array = np.asfortranarray(array)
    elif how == 1 and array.ndim:
        array = array[::-1]
    elif how == 2 and array.ndim == 2:
        array = np.repeat(array, 2, axis=0)[::2]
    elif how == 3 and array.ndim == 2:
        array = np.hstack([array, array])[:, :columns]
    elif how == 4:
        return array.tolist()
    elif how == 5:
        array.flags.writeable = False
    elif how == 6 and array.ndim == 2:
        return [tuple(row) for row in array.tolist()][:-1] + [(1, 2)]
    elif how == 7 and rng.integers(4) == 0:
        return [None, "text", 12, {}, object(), b"abc", [[[]]], range(3)][rng.integers(8)]
    return array


def asked(rng, mesh):
    """What a mesh is asked once it is one."""
    mesh.volume, mesh.area, mesh.bounds, mesh.normals.sum(), mesh.vertices.sum(), mesh.triangles.max()
    kind = rng.integers(12)
    if kind == 0:
        mesh.repair()
    elif kind == 1:
        mesh.check()
    elif kind == 2:
        mesh.slice(thickness=max(float(mesh.bounds[1, 2] - mesh.bounds[0, 2]) / 7, 1e-3))
    elif kind == 3:
        mesh.simplify(4)
    elif kind == 4:
        mesh.hollow(0.1)
    elif kind == 5:
        trqprep.render(mesh, size=(16, 16))


def attempt(rng, mesh, sweeps):
    kind = rng.integers(8)
    if kind < 4:
        asked(rng, Mesh.from_arrays(values(rng, 3, CUBE_VERTICES), values(rng, 3, CUBE_TRIANGLES)))
    elif kind == 4:
        mesh.replace(values(rng, 3, CUBE_VERTICES), values(rng, 3, CUBE_TRIANGLES))
    elif kind == 5:
        mesh.transformed(values(rng, 4, np.eye(4)))
    elif kind == 6:
        sweeps.sweeps = values(rng, 2, [[1, 2]])
    else:
        copy = cube()
        with copy.edit() as (v, t):
            flat = t if rng.integers(2) else v
            flat[rng.integers(len(flat)), rng.integers(3)] = rng.integers(-3, 12) if rng.integers(3) else 2**31 - 1
        asked(rng, copy)


def test_arrays_of_every_kind():
    rng = np.random.default_rng(20)
    mesh, sweeps = cube(), RecoatStyle.new("TRQ-E7")
    good = bad = 0
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        for number in range(COUNT):
            try:
                attempt(rng, mesh, sweeps)
                good += 1
            except TrqError as error:
                bad += 1
                assert error.code and error.text
            except Exception as error:
                raise AssertionError("array %d ended in %s: %s" % (number, type(error).__name__, error)) from error
    assert good > COUNT / 100 and bad > COUNT / 10
