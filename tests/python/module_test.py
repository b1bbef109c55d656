"""The module as a whole: stubs, docstrings, errors, interrupts, memory."""

import ast
import inspect
import os
import pickle
import signal
import subprocess
import sys
import warnings

import pytest
import trqprep
from conftest import cube, part
from trqprep import Mesh, TrqError, TrqFileError, TrqValueError, TrqWarning

HERE = os.path.dirname(trqprep.__file__)


def stubs():
    """What the stubs name: functions, and classes with their members."""
    with open(os.path.join(HERE, "__init__.pyi"), encoding="utf-8") as file:
        tree = ast.parse(file.read())
    functions, classes = {}, {}
    for node in tree.body:
        if isinstance(node, ast.FunctionDef):
            functions[node.name] = node
        if isinstance(node, ast.ClassDef):
            classes[node.name] = {item.name if isinstance(item, ast.FunctionDef) else item.target.id: item for item in node.body}
    return functions, classes


def public(names):
    return {name for name in names if not name.startswith("_")}


def test_stubs_name_what_there_is():
    functions, classes = stubs()
    things = {name: getattr(trqprep, name) for name in trqprep.__all__}
    own = {name: thing for name, thing in things.items() if not (isinstance(thing, type) and issubclass(thing, Exception))}
    assert public(functions) == {name for name, thing in own.items() if not isinstance(thing, type)}
    for name, thing in own.items():
        if not isinstance(thing, type):
            continue
        mine = public(vars(thing))
        named = public(classes[name])
        inherited = {member for base in thing.__mro__[1:] for member in vars(base)}
        assert named - inherited <= mine and mine - inherited <= named, name
    assert os.path.exists(os.path.join(HERE, "py.typed"))


def test_stubs_name_the_arguments():
    functions, classes = stubs()
    for where, names in [(trqprep, functions)] + [(getattr(trqprep, c), m) for c, m in classes.items() if hasattr(trqprep, c)]:
        for name, node in names.items():
            if name.startswith("_") or not isinstance(node, ast.FunctionDef) or getattr(node.args, "kwarg", None):
                continue
            thing = inspect.getattr_static(where, name)
            thing = getattr(where, name) if not isinstance(thing, property) else None
            if thing is None or name in ("keys", "items", "values", "get", "to_trimesh", "from_trimesh"):
                continue
            signature = thing.__doc__.splitlines()[0]
            for argument in node.args.args + node.args.kwonlyargs:
                assert argument.arg == "self" or argument.arg + ":" in signature, (name, argument.arg, signature)


def test_everything_is_explained():
    for name in trqprep.__all__:
        thing = getattr(trqprep, name)
        assert inspect.getdoc(thing), name
        if isinstance(thing, type) and not issubclass(thing, Exception):
            for member in public(vars(thing)):
                assert inspect.getdoc(getattr(thing, member)), (name, member)
            assert thing.__module__ == "trqprep"


def test_errors_are_of_two_families():
    error = TrqFileError("CODE", "text", "hint", "file")
    assert isinstance(error, TrqError) and isinstance(error, OSError) and not isinstance(error, ValueError)
    assert str(error) == "file: text [CODE]; hint"
    assert isinstance(TrqValueError("CODE", "text"), ValueError) and str(TrqValueError("CODE", "text")) == "text [CODE]"
    assert issubclass(TrqWarning, UserWarning)
    for one in (error, TrqValueError("C", "t", "h", "f"), TrqError("C", "t"), TrqWarning("C", "t", "h", "f")):
        again = pickle.loads(pickle.dumps(one))
        assert (again.code, again.text, again.hint, again.file) == (one.code, one.text, one.hint, one.file)
        assert type(again) is type(one)


def test_a_warning_can_be_an_error(tmp_path):
    cube(1).save(tmp_path / "small.stl")
    with pytest.raises(TrqWarning) as caught:
        Mesh.load(tmp_path / "small.stl")
    assert caught.value.code == "UNITS-DOUBT"
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", TrqWarning)
        Mesh.load(tmp_path / "small.stl")


def test_what_progress_raises_ends_the_work():
    class Enough(Exception):
        pass

    def told(what, share):
        raise Enough(what)

    with pytest.raises(Enough):
        Mesh.load(part("rook.stl")).slice(thickness=0.1, progress=told)


# A handler that runs while the work does sees that the mesh is in use; afterwards it would not be.
IN_THE_WORK = """
import signal, sys, numpy, trqprep, warnings
warnings.simplefilter("ignore")
n = 300
around, along = numpy.meshgrid(numpy.linspace(0, 2 * numpy.pi, n, endpoint=False), numpy.linspace(0, 2, n))
wall = 20 + 2 * numpy.sin(9 * around) + numpy.sin(40 * along)
points = numpy.stack([wall * numpy.cos(around), wall * numpy.sin(around), 30 * along], axis=-1).reshape(-1, 3)
i, j = (k.ravel() for k in numpy.meshgrid(numpy.arange(n), numpy.arange(n - 1)))
a, b, c, d = j * n + i, j * n + (i + 1) % n, (j + 1) * n + i, (j + 1) * n + (i + 1) % n
facets = numpy.concatenate([numpy.stack([a, b, d], axis=-1), numpy.stack([a, d, c], axis=-1)])
mesh = trqprep.Mesh.from_arrays(points, facets)
soup = trqprep.Mesh.from_arrays(points[facets.ravel()], numpy.arange(facets.size).reshape(-1, 3))
works = {
    "repair": (soup, lambda: soup.repair()),
    "hollow": (mesh, lambda: mesh.hollow(1.0, validate=True)),
    "check": (mesh, lambda: mesh.check(layers=True)),
    "slice": (mesh, lambda: mesh.slice(thickness=0.02)),
}
busy, work = works[sys.argv[1]]
def arrived(number, frame):
    try:
        with busy.edit():
            sys.exit(43)
    except BufferError:
        sys.exit(42)
signal.signal(signal.SIGALRM, arrived)
signal.setitimer(signal.ITIMER_REAL, 0.02)
work()
sys.exit(44)
"""


@pytest.mark.parametrize("work", ("repair", "hollow", "check", "slice"))
def test_an_interrupt_arrives_while_the_work_is_done(work):
    done = subprocess.run([sys.executable, "-c", IN_THE_WORK, work], timeout=240)
    assert done.returncode == 42


INTERRUPTED = """
import os, signal, sys, threading, trqprep
contours = trqprep.Mesh.load(sys.argv[1]).slice(thickness=0.1)
shares = []
def told(what, share):
    if not shares:
        threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT)).start()
    shares.append(share)
try:
    contours.check(pitch=0.001, progress=told)
except KeyboardInterrupt:
    sys.exit(42 if shares[-1] < 0.9 else 43)
"""


def test_an_interrupt_ends_a_long_call():
    done = subprocess.run([sys.executable, "-c", INTERRUPTED, part("rook.stl")], timeout=240)
    assert done.returncode == 42
    assert signal.getsignal(signal.SIGINT) is signal.default_int_handler


def resident():
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_no_growth_over_many_loads(tmp_path):
    path = tmp_path / "cube.stl"
    cube().save(path)
    short = tmp_path / "short.stl"
    short.write_bytes(path.read_bytes()[:200])

    def load(times):
        for _ in range(times):
            mesh = Mesh.load(path, units="mm")
            mesh.vertices.sum(), mesh.triangles[1:]
            with mesh.edit() as (v, t):
                v += 1
            mesh.repair().to_dict()
            try:
                Mesh.load(short, units="mm")
            except TrqFileError:
                pass

    count = int(os.environ.get("TRQ_LOADS", "10000"))
    load(1000)
    before = resident()
    load(count)
    assert resident() - before < 1 << 20
