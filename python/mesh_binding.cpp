// Mesh: arrays in and out, files, and what meshes are asked and made into.
#include "trq/mesh_values.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "contours_object.h"
#include "mesh_object.h"
#include "trq/core/mesh.h"
#include "trqprep/base64.h"
#include "trqprep/check_part.h"
#include "trqprep/hollow.h"
#include "trqprep/mesh_repair.h"
#include "trqprep/mesh_slices.h"
#include "trqprep/mesh_writer.h"
#include "trqprep/simplify.h"

namespace trqprep::python {

// --- the object --------------------------------------------------------------------------------------------

namespace {

// What an array holds on to.
struct Hold {
  std::shared_ptr<CTL> mesh;
  std::shared_ptr<Looks> looks;
  bool writable;
};

void LetGo(void* held) {
  const std::unique_ptr<Hold> hold(static_cast<Hold*>(held));
  --hold->looks->views;
  if (hold->writable) --hold->looks->writable;
}

int UnitsCode(Units units) { return units == Units::kInch ? trq::units::kInch : trq::units::kMillimetre; }

}  // namespace

py::capsule Mesh::Look(bool writable) const {
  auto hold = std::make_unique<Hold>(Hold{input.mesh, looks, writable});
  py::capsule capsule(hold.get(), LetGo);
  static_cast<void>(hold.release());
  ++looks->views;
  if (writable) ++looks->writable;
  return capsule;
}

void Mesh::Settle() {
  if (!edited && looks->writable == 0) return;
  if (in_use > 0) RaiseBuffer("the mesh is written to while other work uses it");
  edited = true;
  CTL& mesh = *input.mesh;
  const auto vertices = std::int64_t(vertex_count());
  for (std::size_t i = 0; i < facet_count(); ++i) {
    for (int k = 0; k < 3; ++k) {
      const std::int64_t vertex = mesh.triangles()[i][k];
      if (vertex >= 0 && vertex < vertices) continue;
      RaiseValue("facet " + std::to_string(i) + " names vertex " + std::to_string(vertex) + " of " +
                     std::to_string(vertices),
                 "write indices from 0 to the number of vertices less 1");
    }
  }
  RequireNumbers(input);
  // In place: Python may look at them.
  if (const auto made = trq::core::CalculateNormals(mesh.view(), {mesh.normals(), facet_count()}); !made) {
    RaiseValue("normals cannot be computed");
  }
  mesh.header.sort_state = trq::sort_state::kUnsorted;
  mesh.recalculate_extents();
  mesh.extents_valid = 1;
  edited = false;
}

void Mesh::RequireNumbers(InputMesh mesh) {
  mesh.path.clear();
  RequireFinite(mesh);
}

InputMesh Mesh::Copy() const {
  InputMesh copy = input;
  copy.mesh = std::make_shared<CTL>();
  input.mesh->copy(copy.mesh.get());
  copy.mesh->header = input.mesh->header;
  copy.mesh->units = input.mesh->units;
  copy.mesh->recalculate_extents();
  copy.mesh->extents_valid = 1;
  return copy;
}

namespace {

// --- arrays ------------------------------------------------------------------------------------------------

constexpr py::ssize_t kFloat = sizeof(float);
constexpr py::ssize_t kInt = sizeof(std::int32_t);

template <class T>
py::array_t<T> View(const Mesh& mesh, std::vector<py::ssize_t> shape, std::vector<py::ssize_t> strides,
                    const T* data, bool writable) {
  const py::capsule owner = mesh.Look(writable);
  if (!writable) return ReadOnly<T>(std::move(shape), std::move(strides), data, owner);
  return py::array_t<T>(std::move(shape), std::move(strides), data, owner);
}

py::array_t<float> Vertices(const Mesh& mesh, bool writable) {
  return View<float>(mesh, {py::ssize_t(mesh.vertex_count()), 3}, {3 * kFloat, kFloat},
                     reinterpret_cast<const float*>(mesh.input.mesh->vertices()), writable);
}

py::array_t<std::int32_t> Triangles(const Mesh& mesh, bool writable) {
  return View<std::int32_t>(mesh, {py::ssize_t(mesh.facet_count()), 3}, {4 * kInt, kInt},
                            reinterpret_cast<const std::int32_t*>(mesh.input.mesh->triangles()), writable);
}

py::array_t<std::int32_t> Attributes(const Mesh& mesh) {
  return View<std::int32_t>(mesh, {py::ssize_t(mesh.facet_count())}, {4 * kInt},
                            reinterpret_cast<const std::int32_t*>(mesh.input.mesh->triangles()) + 3, false);
}

py::array_t<float> Normals(Mesh& mesh) {
  mesh.Settle();
  return View<float>(mesh, {py::ssize_t(mesh.facet_count()), 3}, {3 * kFloat, kFloat},
                     reinterpret_cast<const float*>(mesh.input.mesh->normals()), false);
}

// What Python gives as an array of numbers with two dimensions, the second of `columns`.
template <class T>
py::array_t<T, py::array::c_style | py::array::forcecast> Table(const py::object& values, const char* kinds,
                                                                const char* what, const char* wanted) {
  py::array array = py::array::ensure(values);
  if (!array) {
    PyErr_Clear();
    RaiseValue(std::string(what) + " cannot be made an array", wanted);
  }
  const char kind = array.dtype().kind();
  if (std::string(kinds).find(kind) == std::string::npos) {
    RaiseValue(std::string(what) + " are of type " + py::str(array.dtype()).cast<std::string>(), wanted);
  }
  if (array.ndim() != 2 || array.shape(1) != 3) {
    RaiseValue(std::string(what) + " have the shape " +
                   py::str(py::reinterpret_borrow<py::object>(array.attr("shape"))).cast<std::string>(),
               wanted);
  }
  auto table = py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(array);
  if (!table) {
    PyErr_Clear();
    RaiseValue(std::string(what) + " cannot be converted", wanted);
  }
  return table;
}

constexpr std::size_t kMostFacets = std::numeric_limits<std::int32_t>::max() / 4;
constexpr const char* kVerticesWanted = "an array of shape (V, 3), of floats or whole numbers";
constexpr const char* kTrianglesWanted = "an array of shape (T, 3) of whole numbers, each the number of a vertex";

template <class T>
void CopyVertices(const T* from, trq::core::Mesh& mesh) {
  const auto count = std::size_t(mesh.header.num_vertices);
  for (std::size_t i = 0; i < count; ++i) {
    mesh.vertices[i] = PbVec3f(float(from[3 * i]), float(from[3 * i + 1]), float(from[3 * i + 2]));
  }
}

// Throws what from_arrays raises.
std::shared_ptr<CTL> MeshOfArrays(const py::object& vertices, const py::object& triangles, Units units,
                                  const std::string& path) {
  const auto corners = Table<std::int64_t>(triangles, "iu", "triangles", kTrianglesWanted);
  const auto facet_count = std::size_t(corners.shape(0));
  py::array given = py::array::ensure(vertices);
  const bool single = given && given.dtype().is(py::dtype::of<float>());
  if (!given) PyErr_Clear();
  using Singles = py::array_t<float, py::array::c_style | py::array::forcecast>;
  using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
  const Singles singles = single ? Table<float>(given, "f", "vertices", kVerticesWanted) : Singles();
  const Doubles doubles = single ? Doubles() : Table<double>(vertices, "fiu", "vertices", kVerticesWanted);
  const auto vertex_count = std::size_t(single ? singles.shape(0) : doubles.shape(0));
  if (facet_count == 0) RaiseValue("there is no triangle", kTrianglesWanted);
  if (facet_count > kMostFacets || vertex_count > kMostFacets) RaiseValue("there are too many of them");

  trq::core::Mesh mesh;
  mesh.header.units = UnitsCode(units);
  for (int i = 0; i < 4; ++i) mesh.header.matrix[i][i] = 1;
  mesh.header.num_vertices = std::int32_t(vertex_count);
  mesh.header.num_triangles = std::int32_t(facet_count);
  mesh.vertices = trq::MeshArray<PbVec3f>(vertex_count + 1);
  mesh.triangles = trq::MeshArray<R_INT4>(facet_count);
  mesh.normals = trq::MeshArray<VECTOR>(facet_count);
  if (single) {
    CopyVertices(singles.data(), mesh);
  } else {
    CopyVertices(doubles.data(), mesh);
  }
  const std::int64_t* corner = corners.data();
  for (std::size_t i = 0; i < facet_count; ++i) {
    for (int k = 0; k < 3; ++k, ++corner) {
      if (*corner < 0 || *corner >= std::int64_t(vertex_count)) {
        RaiseValue("facet " + std::to_string(i) + " names vertex " + std::to_string(*corner) + " of " +
                       std::to_string(vertex_count),
                   kTrianglesWanted);
      }
      mesh.triangles[i][k] = std::int32_t(*corner);
    }
  }
  InputMesh input;
  input.path = path;
  input.mesh = std::make_shared<CTL>();
  input.mesh->adopt(std::move(mesh));
  Mesh::RequireNumbers(input);
  if (!trq::core::CalculateNormals(input.mesh->view(), {input.mesh->normals(), facet_count})) {
    RaiseValue("normals cannot be computed");
  }
  input.mesh->recalculate_extents();
  input.mesh->extents_valid = 1;
  return input.mesh;
}

Mesh FromArrays(const py::object& vertices, const py::object& triangles, const std::string& unit) {
  const Units units = UnitsOf(unit);
  InputMesh input;
  input.units = units;
  input.units_given = true;
  input.mesh = MeshOfArrays(vertices, triangles, units, "");
  return Mesh(std::move(input));
}

void Replace(Mesh& mesh, const py::object& vertices, const py::object& triangles) {
  if (mesh.looks->views > 0) RaiseBuffer("arrays of the mesh are in use: its size cannot change");
  if (mesh.in_use > 0) RaiseBuffer("the mesh is in use: its size cannot change");
  mesh.input.mesh = MeshOfArrays(vertices, triangles, mesh.input.units, mesh.input.path);
  mesh.edited = false;
}

/// `with mesh.edit() as (v, t)`.
class Edit {
 public:
  explicit Edit(py::object mesh) : mesh_(std::move(mesh)) {}

  py::tuple Enter() {
    auto& mesh = mesh_.cast<Mesh&>();
    if (mesh.in_use > 0) RaiseBuffer("the mesh is in use and cannot be written to");
    arrays_ = py::make_tuple(Vertices(mesh, true), Triangles(mesh, true));
    mesh.edited = true;
    return arrays_;
  }

  bool Exit(const py::object& error, const py::object&, const py::object&) {
    for (const py::handle array : arrays_) array.attr("setflags")(py::arg("write") = false);
    arrays_ = py::tuple();
    if (error.is_none()) mesh_.cast<Mesh&>().Settle();
    return false;
  }

 private:
  py::object mesh_;
  py::tuple arrays_;
};

// --- files -------------------------------------------------------------------------------------------------

ReadOptions Reading(const std::optional<std::string>& units, bool accept_partial) {
  ReadOptions options;
  options.units_given = units.has_value();
  if (units) options.units = UnitsOf(*units);
  options.accept_partial = accept_partial;
  return options;
}

Mesh Load(const py::object& path, const std::optional<std::string>& units, bool accept_partial) {
  const std::string name = PathOf(path);
  const ReadOptions options = Reading(units, accept_partial);
  Listener listener;
  InputMesh input = Unlocked(listener, [&] {
    InputMesh read = ReadMesh(listener, options, name);
    WarnOfUnits(listener, read, nullptr);
    return read;
  });
  return Mesh(std::move(input));
}

Mesh Loads(const py::buffer& data, const std::optional<std::string>& units, bool accept_partial,
           const std::string& name) {
  const py::buffer_info bytes = data.request();
  if (PyBuffer_IsContiguous(bytes.view(), 'C') == 0) RaiseValue("the bytes do not lie one after the other");
  const ReadOptions options = Reading(units, accept_partial);
  const trq::Bytes all(static_cast<const unsigned char*>(bytes.ptr), std::size_t(bytes.size * bytes.itemsize));
  Listener listener;
  InputMesh input = Unlocked(listener, [&] {
    InputMesh read = ReadMesh(listener, options, std::make_shared<InputFile>(name, all));
    WarnOfUnits(listener, read, nullptr);
    return read;
  });
  input.path.clear();
  return Mesh(std::move(input));
}

void Save(Mesh& mesh, const py::object& path, const std::string& format, const std::optional<std::string>& units,
          bool replace) {
  const std::string name = PathOf(path);
  if (!format.empty() && format != "stl" && format != "stl-ascii" && format != "ctl") {
    RaiseValue("'" + format + "' is no format of a mesh", "stl, stl-ascii or ctl");
  }
  const Units wanted = units ? UnitsOf(*units) : mesh.input.units;
  Listener listener;
  const InUse in_use(mesh);
  Unlocked(listener, [&] {
    const MeshFormat kind = OutputFormat(name, format);
    InputMesh copy = mesh.Copy();
    ConvertUnits(copy, wanted);
    WriteMesh(listener, *copy.mesh, name, kind, replace);
  });
}

// --- questions ---------------------------------------------------------------------------------------------

py::array_t<double> Bounds(Mesh& mesh) {
  mesh.Settle();
  const Box box = mesh.input.box();
  py::array_t<double> bounds({2, 3});
  for (py::ssize_t axis = 0; axis < 3; ++axis) {
    bounds.mutable_at(0, axis) = box.min[std::size_t(axis)];
    bounds.mutable_at(1, axis) = box.max[std::size_t(axis)];
  }
  return bounds;
}

template <class Measure>
auto Measured(Mesh& mesh, Measure measure) {
  Listener listener;
  const InUse in_use(mesh);
  return Unlocked(listener, [&] { return measure(mesh.input); });
}

py::object ToDict(Mesh& mesh) {
  Json data = Json::object();
  Measured(mesh, [&](const InputMesh& input) { DescribeMesh(data, input); });
  return FromJson(data);
}

std::array<double, 3> VatOf(const py::handle& vat, Units bare) {
  std::array<double, 3> sides{};
  if (py::isinstance<py::str>(vat)) {
    const std::array<Length, 3> lengths = ParseVat(vat.cast<std::string>());
    for (std::size_t i = 0; i < 3; ++i) sides[i] = lengths[i].In(Units::kMillimetre, bare);
    return sides;
  }
  if (py::len(vat) != 3) RaiseValue("a vat has three sides", "such as (250, 250, 250) or \"250x250x250mm\"");
  for (std::size_t i = 0; i < 3; ++i) {
    sides[i] = LengthOf(vat[py::int_(i)]).In(Units::kMillimetre, bare);
  }
  return sides;
}

std::optional<VentsFile> VentsOf(Observer& observer, const InputMesh& input) {
  if (input.path.empty()) return std::nullopt;
  return ReadVentsIfThere(observer, input.path, false);
}

py::list Check(Mesh& mesh, const py::object& vat, bool layers, const py::object& thickness,
               const std::string& floor, bool drop) {
  PartCheck check;
  check.vat_mm = VatOf(vat, Units::kMillimetre);
  if (!TakeWord(check.job.floor, floor)) RaiseValue("'" + floor + "' says nothing of the floor", "lift or keep");
  check.job.drop = drop;
  if (layers) check.layers.emplace();
  check.thickness = LengthIfGiven(thickness);
  if (check.thickness && !(check.thickness->value > 0)) RaiseValue("the thickness is not above 0");
  Listener listener(Saying::kKeep);
  const InUse in_use(mesh);
  Unlocked(listener, [&] {
    CheckPart(listener, mesh.input, check,
              [&] { return VentsOf(listener, mesh.input).value_or(VentsFile()); });
  });
  return FindingsOf(listener.messages());
}

// --- work --------------------------------------------------------------------------------------------------

Mesh Repair(Mesh& mesh, const py::object& tolerance, int holes) {
  RepairLimits limits;
  limits.tolerance =
      LengthIfGiven(tolerance).value_or(kRepairTolerance).In(mesh.input.units, mesh.input.units);
  limits.hole_edges = holes;
  if (!(limits.tolerance >= 0)) RaiseValue("the tolerance is below 0");
  if (holes < 0 || holes > kMostHoleEdges) RaiseValue("holes of 0 to 1000 edges can be filled");
  Listener listener;
  const InUse in_use(mesh);
  Json facts = Json::object();
  InputMesh repaired = Unlocked(listener, [&] {
    InputMesh copy = mesh.Copy();
    Json before;
    DescribeMesh(before, copy);
    const MeshRepair done = RepairForFile(listener, copy, limits, copy.format);
    RequireFacets(*copy.mesh, copy.path, "repairing");
    before["open_edges"] = done.open_before;
    facts["mesh_before"] = before;
    DescribeMesh(facts, copy);
    DescribeRepair(facts, done);
    if (done.open_after > 0) listener.Error(RepairLeft(copy.path, done));
    return copy;
  });
  listener.TellErrors();
  return Mesh(std::move(repaired), std::move(facts));
}

Matrix4 MatrixOf(const py::object& values) {
  const auto given = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(values);
  constexpr const char* kWanted = "an array of shape (4, 4): rows of numbers, the translation in the last column";
  if (!given) {
    PyErr_Clear();
    RaiseValue("the matrix cannot be made an array", kWanted);
  }
  if (given.ndim() != 2 || given.shape(0) != 4 || given.shape(1) != 4) RaiseValue("the matrix has another shape", kWanted);
  Matrix4 matrix;
  for (py::ssize_t row = 0; row < 4; ++row) {
    for (py::ssize_t column = 0; column < 4; ++column) {
      const double number = given.at(row, column);
      if (!std::isfinite(number)) RaiseValue("a number of the matrix is not finite");
      matrix.m[row][column] = number;
    }
  }
  const double* last = matrix.m[3];
  if (last[0] != 0 || last[1] != 0 || last[2] != 0 || last[3] != 1) {
    RaiseValue("the last row of the matrix must be 0, 0, 0, 1");
  }
  if (matrix.Determinant() == 0) RaiseValue("the matrix has no inverse: it flattens the part");
  return matrix;
}

bool IsFinite(const Box& box) {
  const Point size = box.Size();
  return std::isfinite(size[0]) && std::isfinite(size[1]) && std::isfinite(size[2]);
}

Mesh Transformed(Mesh& mesh, const py::object& values) {
  const Matrix4 matrix = MatrixOf(values);
  Listener listener;
  const InUse in_use(mesh);
  bool fits = true;
  InputMesh moved = Unlocked(listener, [&] {
    InputMesh copy = mesh.Copy();
    fits = ApplyToMesh(*copy.mesh, matrix) && IsFinite(copy.box());
    return copy;
  });
  if (!fits) RaiseValue("the transformation takes the part beyond the numbers that a mesh can hold (3.4e38)");
  return Mesh(std::move(moved));
}

Mesh Converted(Mesh& mesh, const std::string& unit) {
  const Units units = UnitsOf(unit);
  Listener listener;
  const InUse in_use(mesh);
  InputMesh converted = Unlocked(listener, [&] {
    InputMesh copy = mesh.Copy();
    ConvertUnits(copy, units);
    RequireFinite(copy);
    return copy;
  });
  converted.units_given = true;
  return Mesh(std::move(converted));
}

Mesh HollowedMesh(Mesh& mesh, const py::object& limit, bool validate, bool inner_only) {
  Hollowing how;
  how.limit = float(LengthOf(limit).In(mesh.input.units, mesh.input.units));
  if (!(how.limit > 0) || !std::isfinite(how.limit)) RaiseValue("the limit must be above 0");
  if (mesh.facet_count() > kMostFacets / 2) RaiseValue("the hollow part would have too many facets");
  how.validate = validate;
  Listener listener;
  const InUse in_use(mesh);
  how.vents = [&] { return VentsOf(listener, mesh.input); };
  Json facts = Json::object();
  InputMesh hollow = Unlocked(listener, [&] {
    InputMesh copy = mesh.Copy();
    HollowPart part = HollowMesh(listener, copy, how);
    DescribeHollow(facts, part, inner_only);
    if (inner_only) {
      copy.mesh = std::move(part.inner);
    } else {
      MergeSkin(*copy.mesh);
    }
    copy.mesh->Calculate_normals();
    return copy;
  });
  listener.TellErrors();
  return Mesh(std::move(hollow), std::move(facts));
}

Mesh Simplify(Mesh& mesh, std::int64_t facets, const std::string& engine, bool force_checks) {
  if (facets < 1 || facets > std::numeric_limits<std::int32_t>::max()) RaiseValue("facets must be 1 or more");
  if (engine != "quadric" && engine != "grid") RaiseValue("'" + engine + "' is no engine", "quadric or grid");
  Listener listener;
  const InUse in_use(mesh);
  Json facts = Json::object();
  InputMesh simple = Unlocked(listener, [&] {
    InputMesh copy = mesh.Copy();
    const ShapeMeasures was = MeasureShape(copy);
    Json before;
    DescribeMesh(before, copy);
    before["open_edges"] = was.open_edges;
    const bool simplified = engine == "grid" ? copy.mesh->approximate(int(facets)) != 0
                                             : SimplifyMesh(listener, *copy.mesh, int(facets));
    if (!simplified) {
      listener.Warn(Message(Code::kSimplifyNothing, copy.path,
                            "has only " + Counted(was.facets, "facet") + "; nothing was simplified"));
    }
    RequireFacets(*copy.mesh, copy.path, ("simplifying to about " + Counted(facets, "facet")).c_str());
    copy.mesh->Calculate_normals();
    copy.mesh->recalculate_extents();
    copy.mesh->extents_valid = 1;
    const ShapeMeasures now = MeasureShape(copy);
    for (Message& message : simplified ? CheckSimplified(copy.path, int(facets), was, now) : std::vector<Message>()) {
      if (message.code == Code::kSimplifyRuined && !force_checks) {
        Fail(ExitCode::kNo, message.Hint("ask for more facets; force_checks=True returns it all the same"));
      }
      listener.Say(std::move(message));
    }
    DescribeMesh(facts, copy);
    facts["open_edges"] = now.open_edges;
    facts["mesh_before"] = before;
    return copy;
  });
  listener.TellErrors();
  return Mesh(std::move(simple), std::move(facts));
}

Contours Slice(Mesh& mesh, const py::object& thickness, const std::string& cut, const py::object& start,
               const py::object& close, const std::string& unite, bool keep_all, int threads,
               const py::object& progress) {
  const Units units = mesh.input.units;
  SlicingRequest request;
  const auto thick = float(LengthOf(thickness).In(units, units));
  if (!(thick > 0)) RaiseValue("the thickness must be above 0");
  if (cut != "bottom" && cut != "middle" && cut != "top") RaiseValue("'" + cut + "' is no cut", "bottom, middle or top");
  if (unite != "auto" && unite != "always" && unite != "never") RaiseValue("'" + unite + "' is no union", "auto, always or never");
  if (threads < 1 || threads > 64) RaiseValue("threads must be 1 to 64");
  request.cut = LayerCutFromName(cut);
  request.how = UsualSliceOptions(units);
  request.how.in_plane_is_above = request.cut == LayerCut::kTop;
  if (const auto given = LengthIfGiven(close)) request.how.close = given->In(units, units);
  if (!(request.how.close >= 0)) RaiseValue("close must not be below 0");
  if (keep_all) request.how.tolerance = -1;
  request.how.unite = unite == "always"  ? SliceUnion::kAlways
                      : unite == "never" ? SliceUnion::kNever
                                         : SliceUnion::kAuto;
  request.how.threads = threads;
  const std::optional<Length> from = LengthIfGiven(start);
  Listener listener(Saying::kWarn, progress);
  const InUse in_use(mesh);
  ContourFile file = Unlocked(listener, [&] {
    const Box box = mesh.input.box();
    request.bands = {{from ? from->In(units, units) : box.min[2], box.max[2], thick}};
    ContourFile sliced;
    sliced.units = units;
    sliced.units_stated = true;
    sliced.contours =
        SliceWhole(listener, mesh.input.mesh->view(), box, units, request, mesh.input.path).contours;
    return sliced;
  });
  return Contours(std::move(file));
}

}  // namespace

void AddMesh(py::module_& module) {
  using py::arg;
  py::class_<Edit>(module, "MeshEdit", "What `Mesh.edit` returns: to be used in a `with` statement.")
      .def("__enter__", &Edit::Enter)
      .def("__exit__", &Edit::Exit);

  py::class_<Mesh>(module, "Mesh", R"(A triangle mesh: shared vertices, and triangles as triples of their numbers.

Operations return a new mesh and leave this one as it is. Lengths are in `units`; bare
numbers given as lengths are too, and a text such as "2mm" says its own.)")
      .def_static("load", &Load, arg("path"), py::kw_only(), arg("units") = py::none(),
                  arg("accept_partial") = false,
                  R"(Reads an STL or CTL file, told apart by content.

path: str or os.PathLike. units: "mm", "in", "cm" or "m", of a file that does not say them
(None: millimetres; a part that is then oddly small is warned of). accept_partial: take the
facets there are when a file is cut.
Raises TrqFileError. Source: `trqprep info`, docs/formats/stl.md and ctl.md.)")
      .def_static("loads", &Loads, arg("data"), py::kw_only(), arg("units") = py::none(),
                  arg("accept_partial") = false, arg("name") = "bytes",
                  R"(The same of bytes in memory: any object with a buffer. `name` stands in messages, and its
ending counts where the content does not tell the format.)")
      .def_static("from_arrays", &FromArrays, arg("vertices"), arg("triangles"), py::kw_only(),
                  arg("units") = "mm",
                  R"(Makes a mesh of copies of arrays.

vertices: (V, 3), floats or whole numbers, rounded to float32; finite.
triangles: (T, 3), whole numbers from 0 to V - 1, at least one row; counter-clockwise seen
from outside.
Raises TrqValueError for anything else.)")
      .def("save", &Save, arg("path"), py::kw_only(), arg("format") = "", arg("units") = py::none(),
           arg("replace") = false,
           R"(Writes the mesh, whole or not at all.

format: "stl", "stl-ascii" or "ctl"; without it the ending of the path says it. units: those
of the file's coordinates (None: the mesh's own). replace: an existing file goes.
Raises TrqFileError. The bytes are those of `trqprep convert`.)")
      .def_property_readonly("vertices", [](const Mesh& m) { return Vertices(m, false); },
                             "(V, 3) float32, in `units`: a read-only view without a copy, which keeps the "
                             "vertices alive.")
      .def_property_readonly("triangles", [](const Mesh& m) { return Triangles(m, false); },
                             "(T, 3) int32, numbers of vertices: a read-only view without a copy, with gaps "
                             "between its rows, which keeps the triangles alive.")
      .def_property_readonly("attributes", &Attributes,
                             "(T,) int32: what the file says of each facet, a read-only view without a copy.")
      .def_property_readonly("normals", &Normals,
                             "(T, 3) float32, of length 1, outward: a read-only view without a copy. A facet "
                             "without area has (0, 0, 0) or not-a-number.")
      .def("edit", [](py::object mesh) { return Edit(std::move(mesh)); },
           R"(To write coordinates and triangles in place:

    with mesh.edit() as (v, t):
        v[:, 2] += 1

v: (V, 3) float32, t: (T, 3) int32. At the end box and normals are made anew, and the arrays
become read-only; an index that names no vertex, or a coordinate that is not finite, raises
TrqValueError there, and in every operation until it is mended. BufferError while other work
uses the mesh. A slice of an array that outlives the edit can still be written through: what it
holds is looked at before every operation, but must not change while one runs.)")
      .def("replace", &Replace, arg("vertices"), arg("triangles"),
           R"(Takes the place of all vertices and triangles, as `from_arrays` does; the unit stays.
BufferError while an array of the mesh is in use: its size could not change.)")
      .def_property_readonly("bounds", &Bounds,
                             "(2, 3) float64: lower and upper corner of the box, in `units`.")
      .def_property_readonly(
          "volume", [](Mesh& m) { return Measured(m, [](const InputMesh& i) { return i.volume(); }); },
          "float: what the surface encloses, in cubic `units`, summed in double; negative when it is inside out.")
      .def_property_readonly(
          "area", [](Mesh& m) { return Measured(m, [](const InputMesh& i) { return i.area(); }); },
          "float: of the surface, in square `units`, summed in double.")
      .def_property_readonly("units", [](const Mesh& m) { return UnitsName(m.input.units); },
                             "\"mm\", \"in\", \"cm\" or \"m\".")
      .def_property_readonly("units_stated", [](const Mesh& m) { return m.input.units_stated; },
                             "bool: the file said its unit.")
      .def_property_readonly("file", [](const Mesh& m) { return TextOf(m.input.path); },
                             "str: the path that it was read from; empty for one made in memory.")
      .def_property_readonly("format", [](const Mesh& m) { return MeshFormatName(m.input.format); },
                             "\"binary STL\", \"ASCII STL\" or \"CTL\": of the file.")
      .def_property_readonly("facts", [](const Mesh& m) { return FromJson(m.facts); },
                             "dict: what the operation that made the mesh found out, as the tool's --json says "
                             "it (docs/schemas); empty for one that was read or made of arrays.")
      .def("to_dict", &ToDict,
           "dict: facets, vertices, box, area, volume, sizes and unit, as `trqprep info --json` has them.")
      .def("check", &Check, py::kw_only(), arg("vat") = py::make_tuple(250, 250, 250), arg("layers") = false,
           arg("thickness") = py::none(), arg("floor") = "lift", arg("drop") = false,
           R"(What would spoil a build of this part: a list of Finding, empty when all is well.

vat: three lengths in mm, or a text such as "10x10x10in". layers: look at layers of
`thickness` (None: 0.1 mm) too, for islands, overhangs, cups and trapped resin. floor, drop:
as a build has them. A vents-and-drains file beside the mesh's file is read.
Source: `trqprep check`.)")
      .def("repair", &Repair, py::kw_only(), arg("tolerance") = py::none(), arg("holes") = 100,
           R"(A mesh whose surface is closed, as far as it can be.

tolerance: how far a corner may be moved (None: 0.05 mm). holes: holes with more edges stay,
0 to 1000. What was done is in `facts`; edges that are still open are warned of (REPAIR-LEFT).
Source: `trqprep repair`.)")
      .def("transformed", &Transformed, arg("matrix"),
           R"(A mesh moved by a matrix.

matrix: (4, 4), applied to columns (x, y, z, 1): the translation, in `units`, is its last
column, its last row 0, 0, 0, 1. Applied in double, rounded once; facets keep facing outward.
Raises TrqValueError for a matrix without inverse.)")
      .def("converted", &Converted, arg("units"), "The same part with coordinates in another unit.")
      .def("hollow", &HollowedMesh, arg("limit"), py::kw_only(), arg("validate") = false,
           arg("inner_only") = false,
           R"(A hollow part: this surface and an inner one, or the inner one alone.

limit: the largest push inward, a length. validate: shorten pushes that would cross the
surface. Push and wall are in `facts`; a thin wall, an open surface and cavities without vent
and drain are warned of. Source: `trqprep hollow`.)")
      .def("simplify", &Simplify, arg("facets"), py::kw_only(), arg("engine") = "quadric",
           arg("force_checks") = false,
           R"(A mesh of about so many facets that keeps the shape.

engine: "quadric", or "grid", the library's own way. A change of the shape of more than 1 % is
warned of, beyond 10 % raises TrqError unless force_checks. Source: `trqprep simplify`.)")
      .def("slice", &Slice, py::kw_only(), arg("thickness") = "0.1mm", arg("cut") = "middle",
           arg("start") = py::none(), arg("close") = py::none(), arg("union") = "auto",
           arg("keep_all") = false, arg("threads") = 1, arg("progress") = py::none(),
           R"(The Contours of layers.

thickness, start (None: the lowest point), close (ends of open contours are joined up to it;
None: 0.1 mm): lengths. cut: "bottom", "middle" or "top" of a layer. union: "auto", "always"
or "never". keep_all: leave no point out. progress: called with what is done, a str, and the
share, 0 to 1. Source: `trqprep slice`, docs/slicing.md.)")
      .def("copy", [](Mesh& m) { return Mesh(Measured(m, [&](const InputMesh&) { return m.Copy(); }), m.facts); },
           "A mesh with arrays of its own.")
      .def("__len__", [](const Mesh& m) { return m.facet_count(); })
      .def("__repr__", [](const Mesh& m) {
        const std::string from = m.input.path.empty() ? "" : " of '" + m.input.path + "'";
        return TextOf("<Mesh" + from + ": " + Counted(std::int64_t(m.facet_count()), "facet") + ", " +
                      Counted(std::int64_t(m.vertex_count()), "vertex", "vertices") + ", " +
                      UnitsName(m.input.units) + ">");
      });
}

}  // namespace trqprep::python
