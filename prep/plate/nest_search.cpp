#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <exception>

#include "prep/plate/outlines.h"
#include "prep/plate/searches.h"
#include "prep/says/side_by_side.h"
#include "trq/core/elementary.h"

namespace trqprep {
namespace {

// What the engine is asked, and how to read what it returns.
struct Asked {
  nesting::Job job;
  std::vector<size_t> part_of;  // of each of its parts, the plate's: what fills the plate comes last
  std::vector<std::vector<double>> turns;  // of each of its parts, in degrees
  std::vector<std::vector<Point>> lowest;  // of each turned so: the lower corner of its box
  bool search = false;                     // a part has no place
  size_t plates = 1;                       // at most
  int64_t pieces = 0;                      // a part that is to fill the plate counts once
  double area = 0;                         // of these
};

Point Lowest(const PlatePart& part, double degrees) {
  return BoxAfter(*part.input.mesh, Compose(Matrix4::Rotation(2, degrees), part.prepare)).min;
}

// Refuses a place that leaves the vat before anything is searched around it.
void RequireInside(const Plate& plate, const PlatePart& part, const Point& corner) {
  const double contact = ContactIn(plate.job.units);
  const Point size = BoxAfter(*part.input.mesh, part.prepare).Size();
  for (size_t axis = 0; axis < 2; ++axis) {
    const double reach = std::max(-corner[axis], corner[axis] + size[axis] - plate.vat[axis]);
    if (reach <= contact) continue;
    Fail(
        ExitCode::kNo,
        Message(Code::kOutsideVat, part.request.path,
                fmt::format("'at' puts the piece {} {} out of the vat in {}", Plain(reach, 4),
                            UnitsName(plate.job.units), static_cast<char>('X' + axis)))
            .Hint(
                "'at' is the lower corner of the turned piece's box, from the front left corner of the vat"));
  }
}

Asked Ask(Observer& observer, const Plate& plate) {
  Asked asked;
  const Job& job = plate.job;
  const auto bare = [&](const Length& length) { return length.In(job.units, job.units); };
  const double tolerance = ToleranceOf(job);
  asked.job.container.length = plate.vat[0];
  asked.job.container.width = plate.vat[1];
  asked.job.container.margin = job.Bare(job.margin);
  asked.job.gap = PlannedGap(plate, job.Bare(job.gap));
  asked.job.clearance = 0;  // the planned gaps have it
  asked.job.use_holes = !job.no_holes;
  asked.job.given_order = job.order == Order::kGiven;
  asked.job.seed = uint64_t(job.seed);
  for (const bool fills : {false, true}) {
    for (size_t i = 0; i < plate.parts.size(); ++i) {
      if ((plate.parts[i].request.copies == kFill) == fills) asked.part_of.push_back(i);
    }
  }
  for (const PlatePart& part : plate.parts) asked.search = asked.search || !part.request.at;
  asked.job.parts.resize(asked.part_of.size());
  asked.turns.resize(asked.part_of.size());
  asked.lowest.resize(asked.part_of.size());
  const auto look = [&](size_t i, Observer& hears) {
    const PlatePart& part = plate.parts[asked.part_of[i]];
    hears.Progress("outline of " + part.name, 0.3);
    nesting::Part& asks = asked.job.parts[i];
    asks.container = int(part.request.plate) - 1;
    // Among pieces that all have their places there is nothing to search.
    if (asked.search)
      asks.outline = OutlineFromAbove(part.input.mesh->view(), part.prepare, tolerance).outline;
    asks.gap = PlannedGap(plate, GapOf(plate, asked.part_of[i]));
    asked.turns[i] = part.request.at ? std::vector<double>{0} : part.request.rotations.All(job.rotations);
    asks.turns.clear();
    for (const double degrees : asked.turns[i]) {
      const Matrix4 turn = Matrix4::Rotation(2, degrees);
      asks.turns.push_back({turn.m[1][0], turn.m[0][0]});
      asked.lowest[i].push_back(Lowest(part, degrees));
    }
  };
  const auto take = [&](size_t i) {
    const PlatePart& part = plate.parts[asked.part_of[i]];
    nesting::Part& asks = asked.job.parts[i];
    const double area = nesting::AreaOf(asks.outline);
    asks.copies = int(part.request.copies);
    if (part.request.copies == kFill) {
      // No more than that fit by their area.
      const auto [length, width] = RoomOf(plate);
      asks.fill = true;
      asks.copies =
          int(std::clamp(std::floor(length * width * double(std::max<int64_t>(job.plates, 1)) / area), 1.0,
                         double(kMostCopies)));
    }
    if (part.request.at) {
      const Point corner = {bare((*part.request.at)[0]), bare((*part.request.at)[1]), 0};
      RequireInside(plate, part, corner);
      asks.copies = 0;
      const Point& lowest = asked.lowest[i][0];
      asked.job.fixed.push_back({i, 0, corner[0] - lowest[0], corner[1] - lowest[1],
                                 size_t(std::max<int64_t>(part.request.plate, 1) - 1)});
    }
    const int64_t count = std::max<int64_t>(part.request.copies, 1);
    asked.pieces += count;
    asked.area += area * double(count);
    asked.plates = std::max(asked.plates, size_t(part.request.plate));
  };
  std::vector<int64_t> facets;
  for (const PlatePart& part : plate.parts) facets.push_back(part.input.mesh->num_triangles());
  SideBySide(observer, asked.part_of.size(), ThreadsForMeshes(job, std::move(facets)), look, take);
  asked.plates = job.plates == kAnyPlates ? std::max(asked.plates, size_t(asked.pieces)) : size_t(job.plates);
  return asked;
}

// True, after messages, when a part is too large in height, or larger than any turn could mend: numbers that
// large are not for the engine either.
bool FarTooLarge(Observer& observer, const Plate& plate) {
  const double rounding = ContactIn(plate.job.units);
  const double diagonal = trq::core::Hypot(plate.vat[0], plate.vat[1]);
  for (const PlatePart& part : plate.parts) {
    const Box box = BoxAfter(*part.input.mesh, part.prepare);
    const Point size = box.Size();
    if (box.max[2] > plate.vat[2] + rounding || !(std::max(size[0], size[1]) <= diagonal + rounding)) {
      return SayTooLarge(observer, plate);
    }
  }
  return false;
}

// Says why pieces have no place: the largest of those, and what would help.
void Explain(Observer& observer, const Plate& plate, const Asked& asked, const nesting::Result& result) {
  using Why = nesting::Missing::Why;
  const bool too_large =
      std::any_of(result.missing.begin(), result.missing.end(),
                  [](const nesting::Missing& missing) { return missing.why == Why::kTooLarge; });
  if (too_large && SayTooLarge(observer, plate)) return;
  const auto area_of = [&](size_t part) { return nesting::AreaOf(asked.job.parts[part].outline); };
  const nesting::Missing& missing =
      *std::max_element(result.missing.begin(), result.missing.end(),
                        [&](const nesting::Missing& a, const nesting::Missing& b) {
                          return area_of(a.part) < area_of(b.part);
                        });
  const auto [length, width] = RoomOf(plate);
  const double room = std::max(length, 0.0) * std::max(width, 0.0) * double(asked.plates);
  double free = room;
  for (const nesting::Placement& placement : result.placements) free -= area_of(placement.part);
  for (const nesting::Placement& placement : asked.job.fixed) free -= area_of(placement.part);
  free = std::max(free, 0.0);
  const PlatePart& part = plate.parts[asked.part_of[missing.part]];
  std::vector<int64_t> placed_of(plate.parts.size());
  for (const nesting::Placement& placement : result.placements) ++placed_of[placement.part];
  for (const nesting::Placement& placement : asked.job.fixed) ++placed_of[placement.part];
  int64_t placed = 0;
  for (size_t i = 0; i < placed_of.size(); ++i) {
    placed += asked.job.parts[i].fill ? std::min<int64_t>(placed_of[i], 1) : placed_of[i];
  }
  const int64_t copy = placed_of[missing.part] + 1;
  const char* unit = UnitsName(plate.job.units);
  observer.Error(
      Message(
          Code::kNoPlacement, part.request.path,
          fmt::format("{} of {} find a place; copy {} of {} does not: it covers {} {}2, and {} {}2 of the "
                      "{} {}2 within the margins are free",
                      placed, Counted(asked.pieces, "piece"), copy, part.name,
                      Plain(area_of(missing.part), 1), unit, Plain(free, 1), unit, Plain(room, 1), unit))
          .At({{"placed", placed},
               {"piece_count", asked.pieces},
               {"part", TextToJson(part.name)},
               {"copy", copy},
               {"free_area", NumberToJson(free)}})
          .Hint(
              missing.why == Why::kNoFreeArea || asked.area > room
                  ? "fewer copies, a larger --vat, or a smaller --margin"
                  : "a smaller --gap or --margin, fewer copies, more --time or --rotations, or a larger --vat"));
}

nesting::Limits LimitsOf(Observer& observer, const Plate& plate, const Asked& asked,
                         std::exception_ptr& stopped) {
  const Job& job = plate.job;
  nesting::Limits limits;
  const auto [length, width] = RoomOf(plate);
  const double gap = asked.job.gap;
  // One piece has its best place at once; what cannot lie beside each other need not be searched for.
  const bool hopeless =
      asked.area > length * width * double(asked.plates) || gap > trq::core::Hypot(length, width);
  const bool fills = std::any_of(asked.job.parts.begin(), asked.job.parts.end(),
                                 [](const nesting::Part& part) { return part.fill; });
  if (fills || (asked.pieces > 1 && !hopeless)) {
    limits.steps = job.steps >= 0
                       ? uint64_t(job.steps)
                       : uint64_t(job.time.value_or(kDefaultSeconds) * double(nesting::kStepsPerSecond));
  }
  limits.threads = int(job.threads);
  limits.wall_seconds = job.wall_limit.value_or(0);
  limits.cancel = [&] {
    try {
      observer.StopIfCancelled();
    } catch (...) {
      stopped = std::current_exception();
    }
    return stopped != nullptr;
  };
  return limits;
}

}  // namespace

bool SearchNest(Observer& observer, Plate& plate) {
  if (FarTooLarge(observer, plate)) return false;
  const Asked asked = Ask(observer, plate);
  observer.Progress("nesting", 0.35);
  std::exception_ptr stopped;
  nesting::Result result;
  result.outcome = nesting::Outcome::kPlaced;
  if (asked.search) {
    nesting::PlatesResult found =
        nesting::NestPlates(asked.job, asked.plates, LimitsOf(observer, plate, asked, stopped));
    result.outcome = found.outcome;
    result.missing = std::move(found.missing);
    result.steps = found.steps;
    result.reason = std::move(found.reason);
    for (size_t i = 0; i < found.containers.size(); ++i) {
      for (nesting::Placement& placement : found.containers[i].placements) {
        placement.container = i;
        result.placements.push_back(placement);
      }
    }
  }
  if (stopped) std::rethrow_exception(stopped);
  if (result.outcome == nesting::Outcome::kBadInput) {
    observer.Error(Message(Code::kNoPlacement, "", "the outlines cannot be placed: " + result.reason));
    return false;
  }
  if (result.outcome != nesting::Outcome::kPlaced) {
    Explain(observer, plate, asked, result);
    return false;
  }
  plate.job.time.reset();
  plate.job.steps = int64_t(result.steps);
  observer.Progress("moving the pieces", 0.55);
  std::vector<nesting::Placement> placements = result.placements;
  placements.insert(placements.end(), asked.job.fixed.begin(), asked.job.fixed.end());
  std::stable_sort(placements.begin(), placements.end(),
                   [&](const nesting::Placement& a, const nesting::Placement& b) {
                     return asked.part_of[a.part] < asked.part_of[b.part];
                   });
  for (PlatePart& part : plate.parts) part.request.copies = 0;
  std::vector<Piece> placed;
  for (const nesting::Placement& placement : placements) {
    Piece piece;
    piece.part = asked.part_of[placement.part];
    PlatePart& part = plate.parts[piece.part];
    piece.copy = int(++part.request.copies);
    piece.rotation = asked.turns[placement.part][placement.turn];
    piece.rotation_index = int(placement.turn);
    piece.plate = placement.container;
    const Point& lowest = asked.lowest[placement.part][placement.turn];
    piece.x = placement.x + lowest[0];
    piece.y = placement.y + lowest[1];
    if (part.request.at) {
      piece.x = plate.job.Bare((*part.request.at)[0]);
      piece.y = plate.job.Bare((*part.request.at)[1]);
    }
    placed.push_back(std::move(piece));
  }
  AddPieces(observer, plate, std::move(placed), [&](Piece& piece) {
    // By one turn from the part as it was read: the same numbers as those of a part that is turned so and has
    // its place from the start.
    const PlatePart& part = plate.parts[piece.part];
    const double factor = UnitsFactor(part.input.units, plate.job.units);
    const Matrix4 scaled =
        Compose(Matrix4::Translation(0, 0, part.prepare.m[2][3]), Matrix4::Scaling(factor, factor, factor));
    piece.matrix = ToCorner(*part.input.mesh, Compose(Matrix4::Rotation(2, TurnOf(plate, piece)), scaled),
                            piece.x, piece.y, false);
  });
  return true;
}

}  // namespace trqprep
