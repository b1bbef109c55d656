"""Build preparation for stereolithography: meshes, styles, slice contours, plates and builds.

Everything runs in the libraries that the command trqprep uses, and gives the same results.
docs/python.md is a tutorial.
"""

from collections.abc import Mapping as _Mapping

from . import _native
from ._native import (
    Build,
    BuildStyle,
    Contours,
    Finding,
    Job,
    Mesh,
    Parameter,
    Part,
    Piece,
    Plate,
    RecoatStyle,
    Style,
    __version__,
    build,
    estimate,
    place,
    place_plates,
    png,
    render,
    report,
    verify,
)
from .errors import TrqError, TrqFileError, TrqValueError, TrqWarning

__all__ = [
    "Build",
    "BuildStyle",
    "Contours",
    "Finding",
    "Job",
    "Mesh",
    "Parameter",
    "Part",
    "Piece",
    "Plate",
    "RecoatStyle",
    "Style",
    "TrqError",
    "TrqFileError",
    "TrqValueError",
    "TrqWarning",
    "build",
    "estimate",
    "place",
    "place_plates",
    "png",
    "render",
    "report",
    "verify",
]


def _to_trimesh(self):
    """The mesh as a trimesh.Trimesh with copies of the arrays; needs the package trimesh."""
    import trimesh

    mesh = trimesh.Trimesh(vertices=self.vertices.copy(), faces=self.triangles.copy(), process=False)
    if self.units != "m":  # trimesh names it otherwise
        mesh.units = self.units
    return mesh


def _from_trimesh(mesh, *, units=None):
    """A Mesh of anything that has `vertices` (V, 3) and `faces` (F, 3), such as a trimesh.Trimesh.

    units: "mm", "in", "cm" or "m"; None: those that the object names, or millimetres.
    """
    if units is None:
        named = getattr(mesh, "units", None)
        units = {"millimeters": "mm", "inches": "in", "centimeters": "cm", "meters": "m"}.get(named, named) or "mm"
    return Mesh.from_arrays(mesh.vertices, mesh.faces, units=units)


Mesh.to_trimesh = _to_trimesh
Mesh.from_trimesh = staticmethod(_from_trimesh)
_to_trimesh.__name__, _to_trimesh.__qualname__ = "to_trimesh", "Mesh.to_trimesh"
_from_trimesh.__name__, _from_trimesh.__qualname__ = "from_trimesh", "Mesh.from_trimesh"

for _name in ("keys", "items", "values", "get"):
    setattr(Style, _name, getattr(_Mapping, _name))
_Mapping.register(Style)

for _thing in (getattr(_native, _name) for _name in __all__ if hasattr(_native, _name)):
    if isinstance(_thing, type):
        _thing.__module__ = "trqprep"
