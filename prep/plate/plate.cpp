#include "trqprep/plate.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <numeric>
#include <set>

#include "prep/plate/searches.h"
#include "prep/says/side_by_side.h"
#include "trqprep/paths.h"
#include "trqprep/sha256.h"
#include "trqprep/stored_style.h"
#include "trqprep/vat_fit.h"
#include "trqprep/vents_file.h"

namespace trqprep {
namespace {

constexpr double kContactMillimetres = 0.001;
constexpr double kFloatingMillimetres = 30;
constexpr double kClearanceMillimetres = 0.0005;  // half of what is no fault of a gap
constexpr double kToleranceMillimetres = 0.05;
constexpr size_t kLongestName = 200;  // leaves room for "-100.ctl" in a file name

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

std::string FreshNames::Of(const std::string& stem, const std::string& ending) {
  std::string name = stem + ending;
  if (taken_.insert(Lower(name)).second) return name;
  int& number = next_.try_emplace(Lower(name), 2).first->second;
  do {
    name = fmt::format("{}-{}{}", stem, number++, ending);
  } while (!taken_.insert(Lower(name)).second);
  return name;
}

namespace {

// How near a piece stands to a wall, and where.
struct WallDistance {
  const char* wall;
  double distance;
  Point place;
};

std::vector<WallDistance> WallDistances(const Neighbours& pieces, size_t piece) {
  std::vector<WallDistance> walls;
  const PlacedShape& shape = pieces.shapes[piece];
  for (const size_t axis : {0, 1}) {
    for (const bool far : {false, true}) {
      const double edge = (far ? pieces.boxes[piece].max : pieces.boxes[piece].min)[axis];
      WallDistance found{axis == 0 ? (far ? "right" : "left") : (far ? "back" : "front"),
                         far ? pieces.vat[axis] - edge : edge, pieces.boxes[piece].min};
      for (int i = 0; i < 3 * shape.facets; ++i) {
        const Point corner = PointOf(shape.vertices[shape.triangles[i / 3][i % 3]]);
        if (corner[axis] != edge) continue;
        found.place = corner;
        break;
      }
      walls.push_back(found);
    }
  }
  return walls;
}

}  // namespace

std::vector<Message> FindNeighbours(Observer& observer, Neighbours& pieces, const std::string& file,
                                    const std::string& what) {
  std::vector<Message> findings;
  const char* unit = UnitsName(pieces.units);
  const auto add = [&](Code code, const std::string& text, const std::vector<size_t>& of, double x, double y,
                       Json where) {
    Json names = Json::array();
    for (const size_t piece : of) names.push_back(TextToJson(pieces.names[piece]));
    where.update({{"pieces", names}, {"x", NumberToJson(x)}, {"y", NumberToJson(y)}});
    findings.push_back(
        Message(code, file, fmt::format("{}{} near X {} Y {}", what, text, Plain(x, 2), Plain(y, 2)))
            .At(where));
  };
  SeenFromAbove seen(pieces.shapes);
  if (pieces.threads > 1) {
    const double largest =
        pieces.gaps.empty() ? 0 : *std::max_element(pieces.gaps.begin(), pieces.gaps.end());
    const auto side_by_side = [&](const std::function<void(size_t)>& look) {
      SideBySide(observer, pieces.shapes.size(), pieces.threads, [&](size_t i, Observer& hears) {
        hears.StopIfCancelled();
        look(i);
      });
    };
    side_by_side([&](size_t i) { seen.Look(i); });
    side_by_side([&](size_t i) { seen.LookCloser(i, largest); });
  }
  std::set<std::pair<size_t, size_t>> overlapping;
  for (const Overlap& overlap : seen.FindOverlaps(pieces.contact)) {
    overlapping.insert({overlap.first, overlap.second});
    add(Code::kOverlap,
        fmt::format("{} and {} overlap seen from above, by at least {} {}", pieces.names[overlap.first],
                    pieces.names[overlap.second], Plain(overlap.depth, 4), unit),
        {overlap.first, overlap.second}, overlap.x, overlap.y, Json::object());
  }
  const double allowed = pieces.contact + pieces.rounding;
  const bool all_overlaps = !seen.cut_short();
  std::vector<double> wanted;
  for (const double gap : pieces.gaps) wanted.push_back(gap - allowed);
  const Distances distances = seen.MeasureDistances(wanted);
  pieces.closest = distances.smallest;
  const auto short_by = [](double distance, double least) {
    return Json{{"distance", NumberToJson(distance)}, {"wanted", NumberToJson(least)}};
  };
  for (const Nearness& near : distances.short_ones) {
    if (overlapping.count({near.first, near.second}) != 0) continue;
    if (near.distance == 0 && !all_overlaps) continue;  // may be one that is not named
    const double gap = std::max(pieces.gaps[near.first], pieces.gaps[near.second]);
    add(Code::kGapSmall,
        fmt::format("{} and {} are {} {} apart seen from above where {} are wanted,",
                    pieces.names[near.first], pieces.names[near.second], Plain(near.distance, 4), unit,
                    Plain(gap, 4)),
        {near.first, near.second}, (near.from[0] + near.to[0]) / 2, (near.from[1] + near.to[1]) / 2,
        short_by(near.distance, gap));
  }
  for (size_t i = 0; pieces.margin > 0 && i < pieces.shapes.size(); ++i) {
    for (const WallDistance& wall : WallDistances(pieces, i)) {
      // What reaches out of the vat is another finding.
      if (wall.distance < -pieces.contact || wall.distance >= pieces.margin - allowed) continue;
      add(Code::kGapSmall,
          fmt::format("{} is {} {} from the {} wall where {} are wanted,", pieces.names[i],
                      Plain(wall.distance, 4), unit, wall.wall, Plain(pieces.margin, 4)),
          {i}, wall.place[0], wall.place[1], short_by(wall.distance, pieces.margin));
    }
  }
  if (seen.cut_short()) {
    findings.push_back(
        Message(Code::kPairsBound, file,
                fmt::format("{} stand so near to each other that not every pair was looked at; of those that "
                            "overlap or are too near {} each are named",
                            Counted(int64_t(pieces.shapes.size()), "piece"), SeenFromAbove::kMostNamed)));
  }
  return findings;
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
    FailUsage(input.path,
              fmt::format("the file states its unit, {}, and units={} is another", UnitsName(input.units),
                          UnitsName(*part.units)),
              "leave units= away; 'trqprep transform --scale' changes the size of a part");
  }
  return input;
}

namespace {

// The lowest Z of the part in the plate's unit.
double LowestOf(const InputMesh& input, Units units) {
  const double factor = UnitsFactor(input.units, units);
  return BoxAfter(*input.mesh, Matrix4::Scaling(factor, factor, factor)).min[2];
}

}  // namespace

namespace {

// Who reads the file of a part: itself, one before it that names the same file, or a part that is known.
struct Reader {
  const PlatePart* part;
  bool known;
};

// Of each part of the job.
std::vector<Reader> ReadersOf(const Job& job, const std::vector<PlatePart>& parts, const Plate* known) {
  std::map<std::pair<std::string, std::optional<Units>>, Reader> readers;
  for (size_t i = 0; known && i < known->parts.size(); ++i) {
    const PartRequest& request = known->parts[i].request;
    readers.try_emplace({request.path, request.units}, Reader{&known->parts[i], true});
  }
  std::vector<Reader> of_each;
  for (size_t i = 0; i < parts.size(); ++i) {
    const PartRequest& request = job.parts[i];
    of_each.push_back(
        readers.try_emplace({request.path, request.units}, Reader{&parts[i], false}).first->second);
  }
  return of_each;
}

// By the size of their files, as if they were binary STL; a file that another part reads has none.
std::vector<int64_t> FacetsInFiles(const Job& job, const std::vector<PlatePart>& parts,
                                   const std::vector<Reader>& readers) {
  constexpr uintmax_t kRecord = 50;
  std::vector<int64_t> facets(parts.size(), 0);
  for (size_t i = 0; i < parts.size(); ++i) {
    if (readers[i].part != &parts[i]) continue;
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(job.parts[i].path, error);
    if (!error) facets[i] = int64_t(size / kRecord);
  }
  return facets;
}

bool SameStyles(const PartRequest& a, const PartRequest& b) {
  return std::equal(a.styles.begin(), a.styles.end(), b.styles.begin(), b.styles.end(),
                    [](const StyleRequest& p, const StyleRequest& q) {
                      return p.path == q.path && p.banded == q.banded && p.from.value == q.from.value &&
                             p.from.unit == q.from.unit && p.to.value == q.to.value && p.to.unit == q.to.unit;
                    });
}

// Pieces that have their places are parts of their own; of those that differ in nothing else one brings the
// file. It is named before the others, so that a folder's own files keep their names.
void NameParts(std::vector<PlatePart>& parts) {
  std::vector<const PlatePart*> first(parts.size(), nullptr);
  std::map<std::string, std::vector<const PlatePart*>> placed;  // by path, those that differ otherwise
  for (size_t i = 0; i < parts.size(); ++i) {
    const PartRequest& request = parts[i].request;
    if (request.at) {
      std::vector<const PlatePart*>& others = placed[request.path];
      const auto same = std::find_if(others.begin(), others.end(), [&](const PlatePart* other) {
        return other->request.units == request.units && SameStyles(other->request, request);
      });
      if (same != others.end()) {
        first[i] = *same;
      } else {
        others.push_back(&parts[i]);
      }
    }
    parts[i].shares_file = first[i] != nullptr;
  }
  FreshNames names;
  for (const bool shared : {false, true}) {
    for (size_t i = 0; i < parts.size(); ++i) {
      PlatePart& part = parts[i];
      if (part.shares_file != shared) continue;
      const std::string& given = part.request.name;
      part.name = names.Of(shared ? first[i]->name : given.empty() ? Stem(part.request.path) : given);
      part.file_name = shared ? first[i]->name : part.name;
    }
  }
}

}  // namespace

Plate LoadPlate(Observer& observer, const Job& job, const Plate* known) {
  if (const auto message = TooManyParts(job)) Fail(ExitCode::kNoPlacement, *message);
  Plate plate;
  plate.job = job;
  plate.vat = job.VatIn(job.units);
  const std::array<double, 3> vat_mm = job.VatIn(Units::kMillimetre);
  if (*std::max_element(vat_mm.begin(), vat_mm.end()) > kLongestMillimetres) {
    FailUsage("", "a side of the vat is longer than a kilometre", "is its unit right?");
  }
  std::vector<PlatePart> parts(job.parts.size());
  const std::vector<Reader> readers = ReadersOf(job, parts, known);
  const auto prepare = [&](PlatePart& part) {
    const double factor = UnitsFactor(part.input.units, job.units);
    const Matrix4 scaled = Matrix4::Scaling(factor, factor, factor);
    const double lowest = LowestOf(part.input, job.units);
    part.prepare = ToCorner(*part.input.mesh, Compose(Matrix4::Rotation(2, part.request.rotate_z), scaled), 0,
                            0, job.drop || IsLifted(lowest, job.units, job.floor));
  };
  const auto read = [&](size_t i, Observer& hears) {
    hears.Progress("reading " + job.parts[i].path, 0.3 * double(i) / double(job.parts.size()));
    PlatePart& part = parts[i];
    part.request = job.parts[i];
    if (readers[i].part != &part) return;
    // Files stay open to be copied from.
    const size_t said = hears.messages().size();
    part.input = ReadPart(hears, job, part.request, {false, true, true});
    WarnOfUnits(hears, part.input, &vat_mm);
    if (const auto finding = FloorFinding(part.request.path, LowestOf(part.input, job.units), job)) {
      hears.Say(*finding);
    }
    part.remarks.assign(hears.messages().begin() + static_cast<std::ptrdiff_t>(said), hears.messages().end());
    // A part whose name is that of a side file is none.
    if (!IsSideFileName(part.request.path)) {
      part.side_file = ReadSideFile(part.request.path, job.follow_links);
    }
    prepare(part);
  };
  const auto take = [&](size_t i) {
    PlatePart& part = parts[i];
    if (const auto [reader, is_known] = readers[i]; reader != &part) {
      part.input = reader->input;
      part.side_file = reader->side_file;
      part.remarks = reader->remarks;
      for (const Message& remark : part.remarks) {
        if (!is_known && !part.request.at) observer.Say(remark);
      }
      prepare(part);
    }
    // So that the job file says it of this part, for whom it is read by.
    if (part.input.units_given && !part.input.units_stated) part.request.units = part.input.units;
    plate.job.parts[i].units = part.request.units;
  };
  const int64_t threads = ThreadsForMeshes(job, FacetsInFiles(job, parts, readers));
  SideBySide(observer, parts.size(), threads, read, take);
  plate.parts = std::move(parts);
  NameParts(plate.parts);
  return plate;
}

std::optional<Message> TooManyParts(const Job& job) {
  const bool grid = job.engine == Engine::kGrid;
  const int64_t count = grid ? GridComponents(job) : PieceCount(job);
  const int64_t most = grid ? kMostGridComponents : kMostNestedPieces;
  if (count <= most) return std::nullopt;
  return Message(Code::kNoPlacement, "",
                 fmt::format("{} are more than the {} that can be placed together",
                             Counted(count, grid ? "part" : "piece"), most))
      .Hint("divide them over several builds");
}

bool PlacePieces(Observer& observer, Plate& plate) {
  observer.Progress("placing", 0.3);
  return plate.job.engine == Engine::kGrid ? SearchOnGrid(observer, plate) : SearchNest(observer, plate);
}

Matrix4 ToCorner(const CTL& mesh, const Matrix4& matrix, double x, double y, bool drop) {
  const Box box = BoxAfter(mesh, matrix);
  return Compose(Matrix4::Translation(x - box.min[0], y - box.min[1], drop ? -box.min[2] : 0), matrix);
}

int64_t PieceCount(const Job& job) {
  int64_t count = 0;
  for (const PartRequest& part : job.parts) count += std::max<int64_t>(part.copies, 1);
  return count;
}

int64_t ThreadsForMeshes(const Job& job, std::vector<int64_t> facets) {
  constexpr double kHeld = 36,
                   kNeeded = 128;  // bytes a facet: as long as the build lasts, and while it is looked at
  constexpr double kLittle = 64 << 20;
  std::sort(facets.begin(), facets.end(), std::greater<>());
  if (facets.empty()) return 1;
  const double all = kHeld * std::accumulate(facets.begin(), facets.end(), 0.0) + kNeeded * double(facets[0]);
  double more = std::max(all / 4, kLittle);
  int64_t threads = 1;
  while (threads < std::min(job.threads, int64_t(facets.size()))) {
    more -= kNeeded * double(facets[size_t(threads)]);
    if (more < 0) break;
    ++threads;
  }
  return threads;
}

double GapOf(const Plate& plate, size_t part) {
  const std::optional<Length>& own = plate.parts[part].request.gap;
  return plate.job.Bare(own ? own : plate.job.gap);
}

double PlannedGap(const Plate& plate, double gap) {
  if (gap == 0) return 0;
  const double clearance = kClearanceMillimetres * UnitsFactor(Units::kMillimetre, plate.job.units);
  return std::min(gap, 2 * (plate.vat[0] + plate.vat[1])) + clearance;
}

double ToleranceOf(const Job& job) {
  return job.Bare(job.tolerance.value_or(Length{kToleranceMillimetres, Units::kMillimetre}));
}

std::array<double, 2> RoomOf(const Plate& plate) {
  const double walls = 2 * plate.job.Bare(plate.job.margin);
  return {plate.vat[0] - walls, plate.vat[1] - walls};
}

bool SayTooLarge(Observer& observer, const Plate& plate) {
  const auto [length, width] = RoomOf(plate);
  const std::array<double, 3> within = {std::max(length, 0.0), std::max(width, 0.0), plate.vat[2]};
  bool found = false;
  for (const PlatePart& part : plate.parts) {
    // A piece that has its place has its turn too.
    const std::vector<double> turns =
        part.request.at ? std::vector<double>{0} : part.request.rotations.All(plate.job.rotations);
    const auto too_big = [&](const std::array<double, 3>& room) {
      return TooBigForVat(part.request.path, part.name,
                          VatExcess(*part.input.mesh, part.prepare, room, turns, true), room, plate.job.units,
                          turns.size());
    };
    auto message = too_big(plate.vat);
    if (!message && !part.request.at) {
      message = too_big(within);
      if (message) {
        message->text = fmt::format("with a margin of {} {} ", Plain(plate.job.Bare(plate.job.margin), 4),
                                    UnitsName(plate.job.units)) +
                        message->text;
        message->Hint("a smaller --margin, or a larger --vat");
      }
    }
    if (message) observer.Error(*message);
    found = found || message;
  }
  return found;
}

void AddPieces(Observer& observer, Plate& plate, std::vector<Piece> pieces,
               const std::function<void(Piece&)>& place) {
  plate.pieces = std::move(pieces);
  const auto make = [&](size_t i, Observer& hears) {
    hears.StopIfCancelled();
    Piece& piece = plate.pieces[i];
    place(piece);
    piece.vertices = PlacedVertices(*plate.parts[piece.part].input.mesh, piece.matrix);
    for (const PbVec3f& vertex : piece.vertices) piece.box.Add(PointOf(vertex));
  };
  SideBySide(observer, plate.pieces.size(), plate.job.threads, make,
             [&](size_t i) { plate.extent.Add(plate.pieces[i].box); });
}

std::vector<Message> CheckPieces(Observer& observer, Plate& plate) {
  observer.Progress("checking", 0.6);
  std::vector<Message> findings;
  const double contact = ContactIn(plate.job.units);
  const char* unit = UnitsName(plate.job.units);
  Neighbours pieces;
  pieces.units = plate.job.units;
  pieces.contact = contact;
  pieces.vat = plate.vat;
  pieces.margin = plate.job.Bare(plate.job.margin);
  pieces.threads = plate.job.threads;
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
    pieces.names.push_back(PieceName(plate, piece));
    pieces.shapes.push_back(
        {piece.vertices.data(), part.input.mesh->triangles(), part.input.mesh->num_triangles()});
    pieces.boxes.push_back(piece.box);
    pieces.gaps.push_back(GapOf(plate, piece.part));
    for (size_t axis = 0; axis < 3; ++axis) {
      const double below = -piece.box.min[axis];
      const double above = piece.box.max[axis] - plate.vat[axis];
      if (below <= contact && above <= contact) continue;
      Outside& entry = outside[{piece.part, axis}];
      if (entry.pieces++ == 0) entry.first = pieces.names[i];
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
  observer.Progress("measuring distances", 0.7);
  for (Message& finding : FindNeighbours(observer, pieces, "", "pieces ")) {
    findings.push_back(finding.Hint(finding.code == Code::kOverlap
                                        ? "another --seed or a larger --vat gives another placement"
                                        : "a part's 'at' and 'gap' decide, and --gap and --margin"));
  }
  plate.closest = pieces.closest;
  return findings;
}

std::vector<PbVec3f> PlacedVertices(const CTL& mesh, const Matrix4& matrix) {
  std::vector<PbVec3f> vertices;
  vertices.reserve(size_t(mesh.num_vertices()));
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    const Point moved = matrix.Apply(PointOf(mesh.vertices()[i]));
    vertices.emplace_back(float(moved[0]), float(moved[1]), float(moved[2]));
  }
  return vertices;
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
  const bool grid = plate.job.engine == Engine::kGrid;
  json["engine"] = WordOf(plate.job.engine);
  json["piece_gap"] = NumberToJson(plate.job.Bare(plate.job.gap));
  json["margin"] = NumberToJson(plate.job.Bare(plate.job.margin));
  json["search_steps"] = grid ? Json(nullptr) : Json(plate.job.steps);
  json["cell"] = grid ? FloatsToJson(plate.cell) : Json(nullptr);
  json["inputs"] = Json::array();
  for (const PlatePart& part : plate.parts) {
    json["inputs"].push_back({{"part", TextToJson(part.name)},
                              {"file", TextToJson(part.request.path)},
                              {"sha256", part.input.sha256},
                              {"copies", part.request.copies},
                              {"rotate_z", NumberToJson(part.request.rotate_z)},
                              {"piece_gap", NumberToJson(GapOf(plate, size_t(&part - plate.parts.data())))},
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
