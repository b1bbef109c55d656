// Part, Job, Plate and Build: placing parts and building; estimates and verifying.
#include <cerrno>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "mesh_object.h"
#include "trqprep/build.h"
#include "trqprep/build_estimate.h"
#include "trqprep/job_defaults.h"
#include "trqprep/job_file.h"
#include "trqprep/plate_svg.h"
#include "trqprep/plates.h"
#include "trqprep/style_document.h"
#include "trqprep/verify_folder.h"

namespace trqprep::python {
namespace {

// --- settings ----------------------------------------------------------------------------------------------

// "rotate_z" for "rotate-z".
std::string KeyOf(const std::string& name) {
  std::string key = name;
  for (char& c : key) c = c == '_' ? '-' : c;
  return key;
}

// The words of several values with a separator between, or of one.
std::string JoinedWords(const py::handle& value, const char* separator) {
  if (!py::isinstance<py::tuple>(value) && !py::isinstance<py::list>(value)) return WordsOf(value);
  std::string text;
  for (const py::handle item : value) text += (text.empty() ? "" : separator) + WordsOf(item);
  return text;
}

std::vector<py::object> Several(const py::handle& value) {
  std::vector<py::object> all;
  if (py::isinstance<py::tuple>(value) || py::isinstance<py::list>(value)) {
    for (const py::handle item : value) all.push_back(py::reinterpret_borrow<py::object>(item));
  } else {
    all.push_back(py::reinterpret_borrow<py::object>(value));
  }
  return all;
}

template <class Owner>
struct Storing {
  Owner& owner;
  const JobField<Owner>& field;
  const py::handle& value;

  void operator()(bool Owner::*member) const { owner.*member = value.cast<bool>(); }
  void operator()(std::array<Length, 3> Owner::*member) const {
    owner.*member = ParseVat(JoinedWords(value, "x"));
  }
  void operator()(Units Owner::*member) const {
    const std::optional<Units> units = UnitsFromName(WordsOf(value));
    if (!units) throw std::invalid_argument("'" + WordsOf(value) + "' is not mm or in");
    owner.*member = *units;
  }
  void operator()(std::vector<Code> Owner::*member) const {
    for (const py::object& code : Several(value)) (owner.*member).push_back(ParseCode(WordsOf(code)));
  }
  void operator()(std::vector<StyleRequest> Owner::*) const {
    for (const py::object& style : Several(value)) StoreText(owner, field, WordsOf(style));
  }
  template <class Other>
  void operator()(const Other&) const {
    StoreText(owner, field, JoinedWords(value, ":"));
  }
};

// False when the owner has no such field.
template <class Owner>
bool Store(Owner& owner, const std::vector<JobField<Owner>>& fields, const std::string& name,
           const py::handle& value) {
  const std::string key = KeyOf(name);
  for (const JobField<Owner>& field : fields) {
    if (key != field.key) continue;
    try {
      std::visit(Storing<Owner>{owner, field, value}, field.member);
    } catch (const std::invalid_argument& mistake) {
      RaiseValue(name + ": " + mistake.what());
    } catch (const std::logic_error&) {
      RaiseValue(name + ": '" + WordsOf(value) + "' is none of " + (*field.type ? field.type : "its values"));
    }
    return true;
  }
  return false;
}

// --- parts and jobs ----------------------------------------------------------------------------------------

PartRequest NewPart(const py::object& path, const py::kwargs& settings) {
  PartRequest part;
  part.path = PathOf(path);
  for (const auto& [name, value] : settings) {
    const auto key = name.cast<std::string>();
    if (key == "name") {
      part.name = value.cast<std::string>();
    } else if (key == "file" || !Store(part, PartFields(), key, value)) {
      throw py::type_error("a part has no setting '" + key + "'");
    }
  }
  return part;
}

PartRequest PartOf(const py::handle& given) {
  if (py::isinstance<PartRequest>(given)) return given.cast<PartRequest>();
  // A text may hold settings behind commas, as on the command line.
  return py::isinstance<py::str>(given) ? ParsePart(PathOf(given)) : NewPart(py::reinterpret_borrow<py::object>(given), {});
}

void SetProcess(MachineProcess& process, const std::string& name, const py::handle& value, bool& known) {
  for (const ProcessField& field : ProcessFields()) {
    if (KeyOf(name) != field.key) continue;
    known = true;
    try {
      StoreProcess(process, field, WordsOf(value));
    } catch (const std::invalid_argument& mistake) {
      RaiseValue(name + ": " + mistake.what());
    }
  }
}

Job NewJob(const py::args& parts, const py::kwargs& settings) {
  Job job;
  job.engine = Engine::kNest;
  std::string machine, machines;
  MachineProcess process;
  for (const auto& [key, value] : settings) {
    const auto name = key.cast<std::string>();
    bool known = true;
    if (name == "machine") {
      machine = WordsOf(value);
    } else if (name == "machines") {
      machines = PathOf(value);
    } else if (name == "threads") {
      job.threads = value.cast<std::int64_t>();
      if (job.threads < 1 || job.threads > 1024) RaiseValue("threads: 1 to 1024");
    } else if (name == "wall_limit") {
      job.wall_limit = value.cast<double>();
    } else if (name == "follow_links") {
      job.follow_links = value.cast<bool>();
    } else {
      known = name != "part" && Store(job, JobFields(), name, value);
      if (!known) SetProcess(process, name, value, known);
    }
    if (!known) throw py::type_error("a job has no setting '" + name + "'");
  }
  job.units_given = settings.contains("units");
  for (const py::handle part : parts) job.parts.push_back(PartOf(part));
  if (job.parts.empty()) RaiseValue("no part was given", "name STL or CTL files");
  ChooseMachine(machine, machines, settings.contains("vat"), job);
  CompleteProcess(process, job.process);
  job.process = process;
  job.machine_of_styles = !job.machine;
  TakeUsualDistances(job);
  if (const auto mistake = FindMistake(job)) RaiseValue(mistake->text, mistake->hint);
  return job;
}

Job LoadJob(const py::object& path) {
  Job job = ReadJobFile(PathOf(path));
  if (const auto mistake = FindMistake(job)) RaiseValue(mistake->text, mistake->hint);
  return job;
}

// --- plates ------------------------------------------------------------------------------------------------

std::string SvgOf(const Plate& plate) {
  Observer silent;
  return PlateSvg(silent, plate);
}

/// A placed plate; it never changes.
struct PlacedPlateObject {
  std::shared_ptr<const Plate> plate;
  std::vector<Message> findings;
};

struct PieceObject {
  std::shared_ptr<const Plate> plate;
  std::size_t number = 0;

  const Piece& piece() const { return plate->pieces[number]; }
  const PlatePart& part() const { return plate->parts[piece().part]; }
};

py::capsule OwnerOf(const PieceObject& piece) {
  using Held = std::shared_ptr<const Plate>;
  auto held = std::make_unique<Held>(piece.plate);
  py::capsule capsule(held.get(), [](void* p) { delete static_cast<Held*>(p); });
  static_cast<void>(held.release());
  return capsule;
}

py::array_t<double> BoundsOf(const Box& box) {
  py::array_t<double> bounds({2, 3});
  for (py::ssize_t axis = 0; axis < 3; ++axis) {
    bounds.mutable_at(0, axis) = box.min[std::size_t(axis)];
    bounds.mutable_at(1, axis) = box.max[std::size_t(axis)];
  }
  return bounds;
}

py::array_t<double> MatrixOf(const PieceObject& piece) {
  py::array_t<double> matrix({4, 4});
  for (py::ssize_t row = 0; row < 4; ++row) {
    for (py::ssize_t column = 0; column < 4; ++column) matrix.mutable_at(row, column) = piece.piece().matrix.m[row][column];
  }
  return matrix;
}

py::array_t<float> VerticesOf(const PieceObject& piece) {
  constexpr py::ssize_t kFloat = sizeof(float);
  const std::vector<PbVec3f>& vertices = piece.piece().vertices;
  return ReadOnly<float>({py::ssize_t(vertices.size()), 3}, {3 * kFloat, kFloat},
                         reinterpret_cast<const float*>(vertices.data()), OwnerOf(piece));
}

Mesh MeshOf(const PieceObject& piece) {
  Listener listener;
  InputMesh placed = Unlocked(listener, [&] {
    const std::vector<PbVec3f>& vertices = piece.piece().vertices;
    InputMesh copy = Mesh(piece.part().input).Copy();
    copy.path.clear();
    copy.units = piece.plate->job.units;
    copy.mesh->SetUnits(copy.units == Units::kInch ? trq::units::kInch : trq::units::kMillimetre);
    std::copy(vertices.begin(), vertices.end(), copy.mesh->vertices());
    copy.mesh->recalculate_extents();
    copy.mesh->Calculate_normals();
    return copy;
  });
  return Mesh(std::move(placed));
}

py::list PiecesOf(const std::shared_ptr<const Plate>& plate) {
  py::list pieces;
  for (std::size_t i = 0; i < plate->pieces.size(); ++i) pieces.append(py::cast(PieceObject{plate, i}));
  return pieces;
}

PlacedPlateObject Place(const Job& job, const py::object& progress) {
  if (job.plates != 1) RaiseValue("the job is for several plates", "place_plates() places it");
  Listener listener(Saying::kWarn, progress);
  PlacedPlateObject placed;
  bool found = false;
  Unlocked(listener, [&] {
    auto plate = std::make_shared<Plate>(LoadPlate(listener, job));
    found = PlacePieces(listener, *plate);
    if (found) placed.findings = CheckPieces(listener, *plate);
    placed.plate = std::move(plate);
  });
  if (!found) RaiseSaid(listener.messages(), Code::kNoPlacement, "there is no placement");
  return placed;
}

py::list PlacePlates(const Job& job, const py::object& progress) {
  Listener listener(Saying::kWarn, progress);
  std::optional<PlacedPlates> placed = Unlocked(listener, [&] { return PlaceOnPlates(job, listener); });
  if (!placed) RaiseSaid(listener.messages(), Code::kNoPlacement, "there is no placement");
  py::list plates;
  for (PlacedPlate& plate : placed->plates) {
    plates.append(py::cast(
        PlacedPlateObject{std::make_shared<Plate>(std::move(plate.plate)), std::move(plate.findings)}));
  }
  return plates;
}

// --- builds ------------------------------------------------------------------------------------------------

struct BuiltFolder {
  std::string folder;
  Json document;
  std::vector<Message> findings;
  std::shared_ptr<const Plate> plate;  // null of several plates
  bool forced = false;
};

BuiltFolder BuildJob(const Job& job, const py::object& path, bool replace, const py::object& progress) {
  BuiltFolder built;
  built.folder = PathOf(path);
  Listener listener(Saying::kWarn, progress);
  bool placed = false, written = false, wrong = false;
  Unlocked(listener, [&] {
    if (job.plates != 1) {
      PlatesReport report = BuildPlates(job, built.folder, replace, listener);
      placed = report.placed, written = report.written, wrong = report.wrong;
      built.document = std::move(report.document);
      return;
    }
    BuildReport report = Build(job, built.folder, replace, listener);
    placed = report.placed(), written = report.written, wrong = report.wrong;
    built.document = std::move(report.document);
    for (BuildFinding& finding : report.findings) built.findings.push_back(std::move(finding.message));
    built.plate = std::make_shared<Plate>(std::move(report.plate));
  });
  if (!placed) RaiseSaid(listener.messages(), Code::kNoPlacement, "there is no placement");
  if (!written) RaiseSaid(listener.messages(), Code::kBuildInvalid, "the checks found errors; nothing was written");
  built.forced = wrong;
  listener.TellErrors();
  return built;
}

// --- estimates ---------------------------------------------------------------------------------------------

HeldFolder FolderOf(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  HeldFolder folder(path);
  if (!folder.held()) FailInput(Code::kInputUnreadable, path, SystemText(errno));
  return folder;
}

bool IsFolder(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

py::object Told(Listener& listener, const Estimator& estimator) {
  for (const Message& message : estimator.Messages()) listener.Say(message);
  return FromJson(estimator.Document());
}

py::object EstimateOfJob(Listener& listener, Job job, const MachineProcess& given) {
  if (job.plates != 1) RaiseValue("the job is for several plates", "build it, and estimate the folder");
  MachineProcess process = given;
  CompleteProcess(process, job.process);
  job.process = process;
  job.slice = true;
  std::unique_ptr<Estimator> estimator = Unlocked(listener, [&]() -> std::unique_ptr<Estimator> {
    BuildReport report = CheckBuild(job, listener);
    if (!report.placed()) return nullptr;
    return EstimateOf(listener, report.plate, *report.setup, report.slices);
  });
  if (!estimator) RaiseSaid(listener.messages(), Code::kNoPlacement, "there is no placement");
  return Told(listener, *estimator);
}

py::object Estimate(const py::args& inputs, const py::kwargs& settings) {
  ContourStyles styles;
  MachineProcess process;
  Job profile;
  std::string machine, machines, units = "mm";
  py::object progress = py::none();
  for (const auto& [key, value] : settings) {
    const auto name = key.cast<std::string>();
    bool known = true;
    if (name == "style" || name == "recoat") {
      for (const py::object& style : Several(value)) {
        (name == "style" ? styles.styles : styles.recoats).push_back(ParseStyleRequest(WordsOf(style)));
      }
    } else if (name == "machine") {
      machine = WordsOf(value);
    } else if (name == "machines") {
      machines = PathOf(value);
    } else if (name == "units") {
      units = WordsOf(value);
    } else if (name == "progress") {
      progress = py::reinterpret_borrow<py::object>(value);
    } else {
      known = false;
      SetProcess(process, name, value, known);
    }
    if (!known) throw py::type_error("an estimate has no setting '" + name + "'");
  }
  ChooseMachine(machine, machines, false, profile);
  CompleteProcess(process, profile.process);
  styles.machine = profile.machine;
  const Units bare = UnitsOf(units);
  Listener listener(Saying::kWarn, progress);
  if (inputs.size() == 1 && py::isinstance<Job>(inputs[0])) {
    return EstimateOfJob(listener, inputs[0].cast<Job>(), process);
  }
  std::vector<std::string> paths;
  for (const py::handle input : inputs) paths.push_back(PathOf(input));
  if (paths.empty()) RaiseValue("there is nothing to estimate", "a Job, a build folder, or slice-contour files");
  if (paths.size() == 1 && NamesJobFile(paths[0]) && !IsFolder(paths[0])) {
    return EstimateOfJob(listener, ReadJobFile(paths[0]), process);
  }
  std::unique_ptr<Estimator> estimator = Unlocked(listener, [&] {
    if (paths.size() != 1 || !IsFolder(paths[0])) {
      return EstimateContours(listener, paths, bare, styles, process);
    }
    const HeldFolder folder = FolderOf(paths[0]);
    if (HoldsPlates(folder)) {
      FailUsage(paths[0], "the folder holds several plates", "estimate each of its folders");
    }
    return EstimateFolder(listener, folder, process);
  });
  return Told(listener, *estimator);
}

py::list Verify(const py::object& folder) {
  const std::string path = PathOf(folder);
  Listener listener(Saying::kKeep);
  std::vector<Message> found = Unlocked(listener, [&] { return VerifyFolder(listener, path); });
  return FindingsOf(found);
}

}  // namespace

void AddPlate(py::module_& module) {
  using py::arg;
  py::class_<PartRequest>(module, "Part", R"(A part of a job: Part(path, copies=6, rotate_z=15, ...).

Settings: copies (1 to 1000, or "fill"), rotate_z (degrees), rotations (a number, "fixed", or
a list of degrees to choose from), at (x, y), gap (a length), plate, units, style (one or a
list, as "Fine.sty" or "Fine.sty@0:10mm"), name.)")
      .def(py::init(&NewPart), arg("path"))
      .def_property_readonly("path", [](const PartRequest& p) { return TextOf(p.path); }, "str")
      .def_property_readonly("copies", [](const PartRequest& p) -> py::object {
        if (p.copies == kFill) return py::str("fill");
        return py::int_(p.copies);
      }, "int, or \"fill\": as many as fit.")
      .def("__repr__", [](const PartRequest& p) { return TextOf("<Part '" + p.path + "'>"); });

  py::class_<Job>(module, "Job", R"(What to build: Job("gear.stl,copies=4", Part("cup.stl"), vat="200x200x150mm", ...).

Parts are paths, texts as the command line takes them, or Part. Settings are the keys of job
files (docs/formats/job-file.md) with _ for -, with the defaults of `trqprep build`: units, vat
(three lengths or a text), engine, gap, margin, tolerance, time, order, no_holes, plates,
rotations, seed, drop, floor, style, recoat, machine, machines, z_spacing, slice, no_report,
report_facets, force_checks, strict, allow, and what estimates need. Lengths without a unit are
in `units`. Also threads, wall_limit (seconds) and follow_links.)")
      .def(py::init(&NewJob))
      .def_static("load", &LoadJob, arg("path"),
                  "Reads a job file; files that it names are seen from its folder. Raises TrqFileError.")
      .def("to_toml", [](const Job& job) { return TextOf(JobFileText(job)); },
           "str: the job file of this job; lengths are in its unit.")
      .def_property_readonly("parts", [](const Job& job) {
        py::list parts;
        for (const PartRequest& part : job.parts) parts.append(py::cast(part));
        return parts;
      }, "list of Part.")
      .def_property_readonly("units", [](const Job& job) { return UnitsName(job.units); }, "\"mm\" or \"in\".")
      .def_property_readonly("vat", [](const Job& job) {
        const std::array<double, 3> vat = job.VatIn(job.units);
        return py::make_tuple(vat[0], vat[1], vat[2]);
      }, "(x, y, z) of the vat, in `units`.")
      .def("__repr__", [](const Job& job) {
        return TextOf("<Job: " + Counted(std::int64_t(job.parts.size()), "part") + ">");
      });

  py::class_<PieceObject>(module, "Piece", "A copy of a part in its place; lengths are in the plate's unit.")
      .def_property_readonly("part", [](const PieceObject& p) { return TextOf(p.part().name); }, "str: name of the part.")
      .def_property_readonly("copy", [](const PieceObject& p) { return p.piece().copy; }, "int, from 1.")
      .def_property_readonly("x", [](const PieceObject& p) { return p.piece().x; }, "float: of the lower corner of its box.")
      .def_property_readonly("y", [](const PieceObject& p) { return p.piece().y; }, "float: of the lower corner of its box.")
      .def_property_readonly("rotation", [](const PieceObject& p) { return p.piece().rotation; },
                             "float: turn about Z that the placement chose, in degrees.")
      .def_property_readonly("matrix", &MatrixOf, "(4, 4) float64: takes the mesh of the part's file to its place.")
      .def_property_readonly("bounds", [](const PieceObject& p) { return BoundsOf(p.piece().box); },
                             "(2, 3) float64: lower and upper corner.")
      .def_property_readonly("vertices", &VerticesOf,
                             "(V, 3) float32: placed, a read-only view without a copy that keeps them alive.")
      .def_property_readonly("mesh", &MeshOf, "Mesh: a copy of the placed part.")
      .def("__repr__", [](const PieceObject& p) {
        return TextOf("<Piece " + p.part().name + "-" + std::to_string(p.piece().copy) + " at " + Plain(p.piece().x, 3) + ", " +
                      Plain(p.piece().y, 3) + ", turned " + Plain(p.piece().rotation, 3) + ">");
      });

  py::class_<PlacedPlateObject>(module, "Plate", "Parts in their places in the vat.")
      .def_property_readonly("pieces", [](const PlacedPlateObject& p) { return PiecesOf(p.plate); }, "list of Piece.")
      .def_property_readonly("findings", [](const PlacedPlateObject& p) { return FindingsOf(p.findings); },
                             "list of Finding: OVERLAP, GAP-SMALL, OUTSIDE-VAT; empty when all is well.")
      .def_property_readonly("units", [](const PlacedPlateObject& p) { return UnitsName(p.plate->job.units); }, "\"mm\" or \"in\".")
      .def_property_readonly("vat", [](const PlacedPlateObject& p) {
        return py::make_tuple(p.plate->vat[0], p.plate->vat[1], p.plate->vat[2]);
      }, "(x, y, z), in `units`.")
      .def_property_readonly("bounds", [](const PlacedPlateObject& p) { return BoundsOf(p.plate->extent); },
                             "(2, 3) float64: around all pieces, in `units`.")
      .def_property_readonly("job", [](const PlacedPlateObject& p) { return p.plate->job; },
                             "Job: with the steps that the search took.")
      .def("to_dict", [](const PlacedPlateObject& p) { return FromJson(DescribePlate(*p.plate)); },
           "dict: as `trqprep place --json` has it.")
      .def("svg", [](const PlacedPlateObject& p) { return TextOf(SvgOf(*p.plate)); }, "str: the view from above.")
      .def("_repr_html_", [](const PlacedPlateObject& p) { return TextOf(SvgOf(*p.plate)); })
      .def("__len__", [](const PlacedPlateObject& p) { return p.plate->pieces.size(); })
      .def("__repr__", [](const PlacedPlateObject& p) {
        return TextOf("<Plate: " + Counted(std::int64_t(p.plate->pieces.size()), "piece") + " of " +
                      Counted(std::int64_t(p.plate->parts.size()), "part") + ">");
      });

  py::class_<BuiltFolder>(module, "Build", "A build folder that was written.")
      .def_property_readonly("folder", [](const BuiltFolder& b) { return TextOf(b.folder); }, "str: its path.")
      .def_property_readonly("document", [](const BuiltFolder& b) { return FromJson(b.document); },
                             "dict: its build.json, or plates.json of several plates.")
      .def_property_readonly("findings", [](const BuiltFolder& b) { return FindingsOf(b.findings); },
                             "list of Finding: of parts, plate, styles and stacks.")
      .def_property_readonly("plate", [](const BuiltFolder& b) -> py::object {
        if (!b.plate) return py::none();
        return py::cast(PlacedPlateObject{b.plate, {}});
      }, "Plate, or None of several plates.")
      .def_property_readonly("forced", [](const BuiltFolder& b) { return b.forced; },
                             "bool: written although the checks found errors, as the job asked.")
      .def("_repr_html_", [](const BuiltFolder& b) { return TextOf(b.plate ? SvgOf(*b.plate) : ""); })
      .def("__repr__", [](const BuiltFolder& b) { return TextOf("<Build in '" + b.folder + "'>"); });

  module.def("place", &Place, arg("job"), py::kw_only(), arg("progress") = py::none(),
             R"(Reads the parts of a job and searches a placement: a Plate.

progress: called with what is done, a str, and the share, 0 to 1. Raises TrqError
(NO-PLACEMENT, with the reason) when there is none. Source: `trqprep place`.)");
  module.def("place_plates", &PlacePlates, arg("job"), py::kw_only(), arg("progress") = py::none(),
             "The same on as few plates as it takes, up to the job's `plates`: a list of Plate.");
  module.def("build", &BuildJob, arg("job"), arg("folder"), py::kw_only(), arg("replace") = false,
             arg("progress") = py::none(),
             R"(Places, sets up and checks a job and writes its build folder: a Build.

The folder has the same bytes as that of `trqprep build`. replace: a folder that holds nothing
but a build goes. progress: as of `place`. Raises TrqError when there is no placement or the
checks find errors (they are in its `findings`); nothing is written then. Source: `trqprep
build`, docs/formats/build-folder.md.)");
  module.def("estimate", &Estimate,
             R"(estimate(job_or_folder_or_contour_files..., **settings) -> dict

How much resin a build takes, and how long: a Job, a build folder, or slice-contour files with
style=, recoat= and units=. machine, machines, and what styles do not say: beam, power, travel,
delay_unit, recoat_unit, dp_unit, ec_unit, sweeps, speed_factor; progress. What is not known is
warned of (ESTIMATE-MISSING). Times are in seconds, lengths in mm: docs/schemas/estimates.json.
Source: `trqprep estimate`, docs/estimate.md.)");
  module.def("verify", &Verify, arg("folder"),
             "Reads a build folder again: a list of Finding, what differs from what its build.json says; empty "
             "when nothing does. Source: `trqprep verify`.");
}

}  // namespace trqprep::python
