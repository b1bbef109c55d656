"""Arrays of meshes: views without copies, their owners, edits, and what the sizes of meshes depend on."""

import gc
import threading
import time
import warnings

import numpy as np
import pytest
from conftest import CUBE_TRIANGLES, CUBE_VERTICES, cube, part

from trqprep import Contours, Mesh, TrqValueError


def test_views_share_memory_and_cannot_be_written_to():
    mesh = cube()
    first, second = mesh.vertices, mesh.vertices
    assert first.dtype == np.float32 and first.shape == (8, 3) and first.flags.c_contiguous
    assert np.shares_memory(first, second)
    triangles = mesh.triangles
    assert triangles.dtype == np.int32 and triangles.shape == (12, 3) and triangles.strides == (16, 4)
    assert np.shares_memory(triangles, mesh.triangles)
    for view in (first, triangles, mesh.normals, mesh.attributes):
        assert not view.flags.writeable and not view.flags.owndata
        with pytest.raises(ValueError):
            view[0] = 1
        with pytest.raises(ValueError):
            view.flags.writeable = True


def test_views_outlive_their_owner():
    mesh = cube()
    vertices, triangles, normals = mesh.vertices[2:], mesh.triangles[:, 1], mesh.normals
    del mesh
    gc.collect()
    rubbish = [np.full(5000, 7.0) for _ in range(200)]  # what would lie in freed memory
    assert np.array_equal(vertices, np.array(CUBE_VERTICES)[2:] * 10)
    assert np.array_equal(triangles, np.array(CUBE_TRIANGLES)[:, 1])
    assert np.allclose(np.abs(normals).sum(axis=1), 1)
    del rubbish


def test_contours_outlive_their_owner():
    layer = cube().slice(thickness=5)[1]
    gc.collect()
    assert [contour.shape for contour in layer] == [(5, 2)]
    assert sorted(map(tuple, layer[0][:4].tolist())) == [(0, 0), (0, 10), (10, 0), (10, 10)]
    with pytest.raises(ValueError):
        layer[0][0] = 1


def test_a_view_takes_less_than_a_millisecond():
    mesh = Mesh.load(part("rook.stl"))
    for name in ("vertices", "triangles", "normals"):
        begin = time.process_time()
        for _ in range(1000):
            getattr(mesh, name)
        assert (time.process_time() - begin) / 1000 < 1e-3


def test_an_edit_writes_in_place():
    mesh = cube()
    address = mesh.vertices.ctypes.data
    with mesh.edit() as (v, t):
        v[:, 2] *= 2
        t[0] = t[0][::-1]
        t[0] = t[0][::-1].copy()
    assert mesh.vertices.ctypes.data == address
    assert mesh.volume == 2000
    assert mesh.bounds[1].tolist() == [10, 10, 20]
    with pytest.raises(ValueError):
        v[0] = 1
    with mesh.edit() as (v, t):
        t[:] = t[:, ::-1].copy()
    assert mesh.volume == -2000
    assert mesh.normals[0].tolist() == [1, 0, 0]  # of the side at x = 0, now inward


def test_an_edit_that_makes_no_mesh():
    mesh = cube()
    with pytest.raises(TrqValueError, match="names vertex 8 of 8"):
        with mesh.edit() as (v, t):
            t[5, 1] = 8
    for ask in (lambda: mesh.volume, lambda: mesh.normals, mesh.check, mesh.repair, mesh.to_dict, lambda: mesh.bounds,
                lambda: mesh.slice(thickness=1), lambda: mesh.hollow(1), mesh.copy, mesh._repr_html_):
        with pytest.raises(TrqValueError):
            ask()
    with mesh.edit() as (v, t):
        t[5] = CUBE_TRIANGLES[5]
    assert mesh.volume == 1000
    with pytest.raises(TrqValueError, match="MESH-NAN"):
        with mesh.edit() as (v, t):
            v[0, 0] = np.nan
    with mesh.edit() as (v, t):
        v[0, 0] = 0
    assert mesh.volume == 1000


def test_an_edit_ended_by_an_error_raises_that():
    mesh = cube()
    with pytest.raises(KeyError):
        with mesh.edit() as (v, t):
            t[0, 0] = 99
            raise KeyError("mine")
    with pytest.raises(TrqValueError):
        mesh.area


def test_writing_through_a_slice_after_the_edit_is_noticed():
    mesh = cube()
    with mesh.edit() as (v, t):
        kept = t[:2]
    kept[0, 0] = 1000000
    with pytest.raises(TrqValueError):
        mesh.volume
    kept[0, 0] = 0
    assert mesh.volume == 1000


def test_sizes_cannot_change_while_views_live():
    mesh = cube()
    for name in ("vertices", "triangles", "normals", "attributes"):
        view = getattr(mesh, name)[1:]
        with pytest.raises(BufferError):
            mesh.replace(CUBE_VERTICES, CUBE_TRIANGLES)
        del view
    mesh.replace(np.array(CUBE_VERTICES) * 3, CUBE_TRIANGLES)
    assert mesh.volume == 27
    with mesh.edit() as (v, t):
        with pytest.raises(BufferError):
            mesh.replace(CUBE_VERTICES, CUBE_TRIANGLES)
    del v, t
    with pytest.raises(TrqValueError):
        mesh.replace(CUBE_VERTICES, [[0, 1, 8]])
    assert mesh.volume == 27


def test_operations_leave_the_mesh_and_its_views_alone():
    mesh = Mesh.load(part("knob.stl"))
    before = [mesh.vertices.copy(), mesh.triangles.copy(), mesh.normals.copy()]
    views = [mesh.vertices, mesh.triangles, mesh.normals]
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        for work in (mesh.repair, lambda: mesh.simplify(400, force_checks=True), lambda: mesh.transformed(np.eye(4)),
                     lambda: mesh.slice(thickness=1), lambda: mesh.converted("in"), lambda: mesh.hollow(1)):
            work()
    for view, was in zip(views, before):
        assert np.array_equal(view, was)


def test_no_edit_while_work_uses_the_mesh():
    mesh = Mesh.load(part("rook.stl"))
    seen = []

    def told(what, share):
        for attempt in (lambda: mesh.edit().__enter__(), lambda: mesh.replace(CUBE_VERTICES, CUBE_TRIANGLES)):
            with pytest.raises(BufferError):
                attempt()
            seen.append(share)

    mesh.slice(thickness=1, progress=told)
    assert seen
    with mesh.edit() as (v, t):
        pass


def test_two_threads_run_side_by_side():
    """While one thread works without the lock, the other one counts."""
    mesh = Mesh.load(part("rook.stl"))
    done = threading.Event()
    meshes = [mesh.copy(), mesh.copy()]

    def work(own):
        for _ in range(2):
            own.slice(thickness=0.05)
        done.set()

    workers = [threading.Thread(target=work, args=(own,)) for own in meshes]
    for worker in workers:
        worker.start()
    steps = 0
    while not done.is_set():
        steps += 1
        time.sleep(0.0005)
    for worker in workers:
        worker.join()
    # With the lock held a thread would get a turn between two calls only.
    assert steps > 20
    assert np.array_equal(meshes[0].vertices, mesh.vertices)
    assert meshes[0].slice(thickness=1).volume == meshes[1].slice(thickness=1).volume
    assert isinstance(meshes[0].slice(thickness=1), Contours)
