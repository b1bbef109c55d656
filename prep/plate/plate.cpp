#include "trqprep/plate.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

#include "trq/placement.h"
#include "trqprep/paths.h"
#include "trqprep/sha256.h"
#include "trqprep/stored_style.h"
#include "trqprep/vat_fit.h"
#include "trqprep/vents_file.h"

namespace trqprep {
namespace {

constexpr double kContactMillimetres = 0.001;
constexpr double kFloatingMillimetres = 30;
constexpr size_t kMostComponents = 101;  // what the grid's tables take
constexpr size_t kLongestName = 200;     // leaves room for "-100.ctl" in a file name

Matrix4 TurnAboutZ(const Matrix4& prepare, double degrees) {
  return Compose(Matrix4::Rotation(2, degrees), prepare);
}

Matrix4 ToCorner(const CTL& mesh, const Matrix4& matrix, double x, double y, bool drop) {
  const Box box = BoxAfter(mesh, matrix);
  return Compose(Matrix4::Translation(x - box.min[0], y - box.min[1], drop ? -box.min[2] : 0), matrix);
}

double AngleOf(const Plate& plate, int64_t rotation) {
  return double(rotation) * 360.0 / double(plate.job.rotations);
}

// What the placement works on: a copy of each part, prepared, with at most 100 copies a component.
struct Component {
  size_t part;
  int first_copy;
  int copies;
};

std::vector<Component> Components(const Job& job, int64_t pieces) {
  std::vector<Component> components;
  for (size_t i = 0; i < job.parts.size(); ++i) {
    int64_t left = std::min(job.parts[i].copies, pieces);
    pieces -= left;
    for (int first = 0; left > 0; first += GridEval::MAX_COPIES, left -= GridEval::MAX_COPIES) {
      components.push_back({i, first, int(std::min<int64_t>(left, GridEval::MAX_COPIES))});
    }
  }
  return components;
}

int64_t PieceCount(const Job& job) {
  int64_t count = 0;
  for (const PartRequest& part : job.parts) count += part.copies;
  return count;
}

// Searches a place for the first `pieces` pieces.
bool Search(const Plate& plate, int64_t pieces, GridEval& grid) {
  for (const Component& component : Components(plate.job, pieces)) {
    const PlatePart& part = plate.parts[component.part];
    CTL copy;
    part.input.mesh->copy(&copy);
    ApplyToMesh(copy, part.prepare);
    grid.add(copy, component.copies);
  }
  // The search draws from rand(): the seed makes it repeatable.
  std::srand(static_cast<unsigned>(plate.job.seed));
  return grid.find_placement() != 0;
}

GridEval MakeGrid(const Plate& plate) {
  return GridEval(float(plate.vat[0]), float(plate.vat[1]), float(plate.vat[2]), int(plate.job.rotations));
}

// Says why there is no placement.
void Explain(Observer& observer, const Plate& plate) {
  const int64_t turns = plate.job.rotations, pieces = PieceCount(plate.job);
  bool too_big = false;
  for (const PlatePart& part : plate.parts) {
    const Point over = VatExcess(*part.input.mesh, part.prepare, plate.vat, turns, true);
    const auto message = TooBigForVat(part.request.path, part.name, over, plate.vat, plate.job.units, turns);
    if (message) observer.Error(*message);
    too_big = too_big || message;
  }
  if (too_big) return;
  // The most pieces that find a place, with one more finding none.
  int64_t placed = 0;
  int64_t failing = pieces;
  while (failing - placed > 1) {
    const int64_t middle = placed + (failing - placed) / 2;
    observer.Progress("looking for the reason", 0.5);
    GridEval grid = MakeGrid(plate);
    (Search(plate, middle, grid) ? placed : failing) = middle;
  }
  const Component last = Components(plate.job, failing).back();
  const PlatePart& part = plate.parts[last.part];
  const int copy = last.first_copy + last.copies;
  observer.Error(
      Message(Code::kNoPlacement, part.request.path,
              fmt::format("{} of {} find a place, in the order given; copy {} of {} does not", placed,
                          Counted(pieces, "piece"), copy, part.name))
          .At({{"placed", placed}, {"piece_count", pieces}, {"part", TextToJson(part.name)}, {"copy", copy}})
          .Hint("fewer copies, a larger --vat, more --rotations, or another --seed"));
}

void ApplyTo(const CTL& mesh, Piece& piece) {
  piece.vertices.reserve(size_t(mesh.num_vertices()));
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    const Point moved = piece.matrix.Apply(PointOf(mesh.vertices()[i]));
    piece.box.Add(PointOf(piece.vertices.emplace_back(float(moved[0]), float(moved[1]), float(moved[2]))));
  }
}

// The value of a field that is reported.
Json FieldToJson(const Job& job, const JobField<Job>& field) {
  if (const auto* whole = std::get_if<WholeMember<Job>>(&field.member)) return job.*whole->member;
  if (const auto* flag = std::get_if<bool Job::*>(&field.member)) return job.**flag;
  if (std::holds_alternative<Units Job::*>(field.member)) return UnitsName(job.units);
  return NumbersToJson(job.VatIn(job.units));
}

template <class Values>
Json FloatsToJson(const Values& values) {
  return NumbersToJson(std::vector<float>(values.begin(), values.end()));
}

Json BoxToJson(const Box& box) { return {{"min", FloatsToJson(box.min)}, {"max", FloatsToJson(box.max)}}; }

}  // namespace

std::string Stem(const std::string& path) {
  return PortableName(std::filesystem::path(path).stem().string(), kLongestName);
}

std::string FreshName(std::set<std::string>& taken, const std::string& stem, const std::string& ending) {
  std::string name = stem + ending;
  for (int number = 2; !taken.insert(Lower(name)).second; ++number) {
    name = fmt::format("{}-{}{}", stem, number, ending);
  }
  return name;
}

Message OverlapFinding(const Overlap& overlap, const std::string& file, const std::string& what,
                       const std::vector<std::string>& names, Units units) {
  const std::string& first = names[overlap.first];
  const std::string& second = names[overlap.second];
  return Message(Code::kOverlap, file,
                 fmt::format("{}{} and {} overlap seen from above, by at least {} {} near X {} Y {}", what,
                             first, second, Plain(overlap.depth, 4), UnitsName(units), Plain(overlap.x, 2),
                             Plain(overlap.y, 2)))
      .At({{"pieces", Json::array({TextToJson(first), TextToJson(second)})},
           {"x", NumberToJson(overlap.x)},
           {"y", NumberToJson(overlap.y)}});
}

std::string PieceName(const Plate& plate, const Piece& piece) {
  return fmt::format("{}-{}", plate.parts[piece.part].name, piece.copy);
}

double ContactIn(Units units) { return kContactMillimetres * UnitsFactor(Units::kMillimetre, units); }

bool IsLifted(double lowest, Units units, Floor floor) {
  return floor == Floor::kLift && lowest < -ContactIn(units);
}

std::optional<Message> FloorFinding(const std::string& file, double lowest, const Job& job) {
  if (job.drop) return std::nullopt;
  const std::string unit = UnitsName(job.units);
  const Json where{{"z", NumberToJson(lowest)}};
  if (IsLifted(lowest, job.units, job.floor)) {
    return Finding(Code::kFloorLifted, file,
                   fmt::format("reaches {} {} below Z = 0 and is moved up by that", Plain(-lowest, 4), unit))
        .At(where)
        .Hint("--floor keep refuses it instead");
  }
  if (lowest * UnitsFactor(job.units, Units::kMillimetre) <= kFloatingMillimetres) return std::nullopt;
  return Finding(Code::kFloating, file,
                 fmt::format("begins {} {} above Z = 0, with nothing below it", Plain(lowest, 4), unit))
      .At(where)
      .Hint("--drop puts the lowest point of every part at Z = 0");
}

double TurnOf(const Plate& plate, const Piece& piece) {
  const double turn = std::fmod(plate.parts[piece.part].request.rotate_z + piece.rotation, 360.0);
  return turn < 0 ? turn + 360 : turn;
}

InputMesh ReadPart(Observer& observer, const Job& job, const PartRequest& part, const MeshReading& how) {
  InputMesh input =
      ReadMesh(observer, {part.units.value_or(job.units), job.accept_partial, part.units || job.units_given},
               part.path, how);
  if (part.units && input.units_stated && input.units != *part.units) {
    FailUsage(part.path,
              fmt::format("the file states its unit, {}, and units={} is another", UnitsName(input.units),
                          UnitsName(*part.units)),
              "leave units= away; 'trqprep transform --scale' changes the size of a part");
  }
  return input;
}

std::optional<Message> TooManyParts(const Job& job) {
  const size_t count = Components(job, PieceCount(job)).size();
  if (count <= kMostComponents) return std::nullopt;  // the grid would leave out the others
  return Message(Code::kNoPlacement, "",
                 fmt::format("{} are more than the {} that can be placed together",
                             Counted(int64_t(count), "part"), kMostComponents))
      .Hint("divide them over several builds");
}

namespace {

// The lowest Z of the part in the plate's unit.
double LowestOf(const InputMesh& input, Units units) {
  const double factor = UnitsFactor(input.units, units);
  return BoxAfter(*input.mesh, Matrix4::Scaling(factor, factor, factor)).min[2];
}

}  // namespace

Plate LoadPlate(Observer& observer, const Job& job) {
  if (const auto message = TooManyParts(job)) Fail(ExitCode::kNoPlacement, *message);
  Plate plate;
  plate.job = job;
  plate.vat = job.VatIn(job.units);
  const std::array<double, 3> vat_mm = job.VatIn(Units::kMillimetre);
  if (*std::max_element(vat_mm.begin(), vat_mm.end()) > kLongestMillimetres) {
    FailUsage("", "a side of the vat is longer than a kilometre", "is its unit right?");
  }
  for (size_t i = 0; i < job.parts.size(); ++i) {
    observer.Progress("reading " + job.parts[i].path, 0.3 * double(i) / double(job.parts.size()));
    PlatePart part;
    part.request = job.parts[i];
    const auto end = job.parts.begin() + static_cast<std::ptrdiff_t>(i);
    const auto same = std::find_if(job.parts.begin(), end, [&](const PartRequest& other) {
      return other.path == end->path && other.units == end->units;
    });
    if (same != end) {
      const PlatePart& other = plate.parts[size_t(same - job.parts.begin())];
      part.input = other.input;
      part.side_file = other.side_file;
      part.remarks = other.remarks;
      for (const Message& remark : part.remarks) observer.Say(remark);
    } else {
      // Files stay open to be copied from.
      const size_t said = observer.messages().size();
      part.input = ReadPart(observer, job, part.request, {false, true, true});
      WarnOfUnits(observer, part.input, &vat_mm);
      if (const auto finding = FloorFinding(part.request.path, LowestOf(part.input, job.units), job)) {
        observer.Say(*finding);
      }
      part.remarks.assign(observer.messages().begin() + static_cast<std::ptrdiff_t>(said),
                          observer.messages().end());
      // A part whose name is that of a side file is none.
      if (!IsSideFileName(part.request.path)) {
        part.side_file = ReadSideFile(part.request.path, job.follow_links);
      }
    }
    // So that the job file says it of this part, for whom it is read by.
    if (part.input.units_given && !part.input.units_stated) part.request.units = part.input.units;
    plate.job.parts[i].units = part.request.units;
    const double factor = UnitsFactor(part.input.units, job.units);
    const Matrix4 scaled = Matrix4::Scaling(factor, factor, factor);
    const double lowest = LowestOf(part.input, job.units);
    part.prepare = ToCorner(*part.input.mesh, TurnAboutZ(scaled, part.request.rotate_z), 0, 0,
                            job.drop || IsLifted(lowest, job.units, job.floor));
    plate.parts.push_back(std::move(part));
  }
  std::set<std::string> taken;
  for (PlatePart& part : plate.parts) part.name = FreshName(taken, Stem(part.request.path));
  return plate;
}

bool PlacePieces(Observer& observer, Plate& plate) {
  observer.Progress("placing", 0.3);
  GridEval grid = MakeGrid(plate);
  const int64_t pieces = PieceCount(plate.job);
  const std::vector<Component> components = Components(plate.job, pieces);
  if (!Search(plate, pieces, grid)) {
    Explain(observer, plate);
    return false;
  }
  plate.cell = {grid.x_size, grid.y_size};
  observer.Progress("moving the pieces", 0.5);
  for (size_t c = 0; c < components.size(); ++c) {
    const PlatePart& part = plate.parts[components[c].part];
    for (int copy = 0; copy < components[c].copies; ++copy) {
      const int component = int(c);
      Piece& piece = plate.pieces.emplace_back();
      piece.part = components[c].part;
      piece.copy = components[c].first_copy + copy + 1;
      piece.x = grid.x_shift(component, copy);
      piece.y = grid.y_shift(component, copy);
      piece.rotation = grid.z_rot(component, copy);
      piece.rotation_index = int(std::lround(piece.rotation * double(plate.job.rotations) / 360));
      piece.matrix =
          ToCorner(*part.input.mesh, TurnAboutZ(part.prepare, AngleOf(plate, piece.rotation_index)), piece.x,
                   piece.y, false);
      ApplyTo(*part.input.mesh, piece);
      plate.extent.Add(piece.box);
    }
  }
  return true;
}

std::vector<Message> CheckPieces(Observer& observer, Plate& plate) {
  observer.Progress("checking", 0.6);
  std::vector<Message> findings;
  const double contact = ContactIn(plate.job.units);
  const char* unit = UnitsName(plate.job.units);
  std::vector<std::string> names;
  std::vector<PlacedShape> shapes;
  // One message a part and axis: copies reach out of the vat together.
  struct Outside {
    double by = 0;
    int pieces = 0;
    bool below = false;
    std::string first;
  };
  std::map<std::pair<size_t, size_t>, Outside> outside;
  for (size_t i = 0; i < plate.pieces.size(); ++i) {
    const Piece& piece = plate.pieces[i];
    const PlatePart& part = plate.parts[piece.part];
    names.push_back(PieceName(plate, piece));
    shapes.push_back({piece.vertices.data(), part.input.mesh->triangles(), part.input.mesh->num_triangles()});
    for (size_t axis = 0; axis < 3; ++axis) {
      const double below = -piece.box.min[axis];
      const double above = piece.box.max[axis] - plate.vat[axis];
      if (below <= contact && above <= contact) continue;
      Outside& entry = outside[{piece.part, axis}];
      if (entry.pieces++ == 0) entry.first = names[i];
      entry.by = std::max({entry.by, below, above});
      entry.below = entry.below || below > contact;
    }
  }
  for (const auto& [key, entry] : outside) {
    const std::string axis(1, static_cast<char>('X' + key.second));
    const std::string what =
        entry.pieces == 1 ? "piece " + entry.first + " reaches"
                          : fmt::format("{}, {} first, reach", Counted(entry.pieces, "piece"), entry.first);
    Message message(Code::kOutsideVat, plate.parts[key.first].request.path,
                    fmt::format("{} {} {} out of the vat in {}", what, Plain(entry.by, 4), unit, axis));
    if (key.second == 2 && entry.below) message.Hint("without --floor keep parts are moved up to Z = 0");
    findings.push_back(message.At({{"piece", TextToJson(entry.first)},
                                   {"piece_count", entry.pieces},
                                   {"axis", std::string(1, static_cast<char>('x' + key.second))}}));
  }
  for (const Overlap& overlap : FindOverlaps(shapes, contact)) {
    findings.push_back(OverlapFinding(overlap, "", "pieces ", names, plate.job.units)
                           .Hint("another --seed or a larger --vat gives another placement"));
  }
  observer.Progress("measuring distances", 0.8);
  plate.closest = MeasureDistances(shapes, [](size_t, size_t) { return 0.0; }).smallest;
  return findings;
}

trq::core::MeshView PieceView(const Plate& plate, const Piece& piece) {
  const CTL& mesh = *plate.parts[piece.part].input.mesh;
  return {piece.vertices, piece.vertices.size(), mesh.view().triangles};
}

int64_t FacetCount(const Plate& plate) {
  int64_t facets = 0;
  for (const Piece& piece : plate.pieces) facets += plate.parts[piece.part].input.mesh->num_triangles();
  return facets;
}

Json DescribePlate(const Plate& plate) {
  Json json;
  for (const JobField<Job>& field : JobFields()) {
    if ((field.use & JobField<Job>::kReported) != 0) json[field.key] = FieldToJson(plate.job, field);
  }
  json["cell"] = FloatsToJson(plate.cell);
  json["inputs"] = Json::array();
  for (const PlatePart& part : plate.parts) {
    json["inputs"].push_back({{"part", TextToJson(part.name)},
                              {"file", TextToJson(part.request.path)},
                              {"sha256", part.input.sha256},
                              {"copies", part.request.copies},
                              {"rotate_z", NumberToJson(part.request.rotate_z)},
                              {"units", UnitsName(part.input.units)},
                              {"facets", part.input.mesh->num_triangles()},
                              {"vertices", part.input.mesh->num_vertices()}});
  }
  json["pieces"] = Json::array();
  for (const Piece& piece : plate.pieces) {
    Json matrix;
    for (const auto& row : piece.matrix.m) matrix.push_back(NumbersToJson(row));
    json["pieces"].push_back({{"part", TextToJson(plate.parts[piece.part].name)},
                              {"copy", piece.copy},
                              {"x", NumberToJson(float(piece.x))},
                              {"y", NumberToJson(float(piece.y))},
                              {"rotation", NumberToJson(float(piece.rotation))},
                              {"matrix", matrix},
                              {"box", BoxToJson(piece.box)}});
  }
  json["extent"] = BoxToJson(plate.extent);
  json["smallest_distance"] = nullptr;
  json["closest_pair"] = nullptr;
  if (const std::optional<Nearness>& closest = plate.closest) {
    json["smallest_distance"] = NumberToJson(closest->distance);
    Json names = Json::array();
    for (const size_t i : {closest->first, closest->second}) {
      names.push_back(TextToJson(PieceName(plate, plate.pieces[i])));
    }
    json["closest_pair"] = {{"names", names},
                            {"points", {FloatsToJson(closest->from), FloatsToJson(closest->to)}}};
  }
  return json;
}

}  // namespace trqprep
