#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "prep/plate/outlines.h"
#include "prep/plate/searches.h"
#include "trq/host.h"
#include "trq/placement.h"
#include "trqprep/vat_fit.h"

namespace trqprep {
namespace {

// What the placement works on: a copy of each part, prepared, with at most 100 copies a component.
struct Component {
  size_t part;
  int first_copy;
  int copies;
};

/// While this lives, placement draws what the seed stands for on every system.
class Seeded {
 public:
  explicit Seeded(unsigned seed) : random_(seed) { trq::SetRandomSource(trq::SeededRandom::Draw, &random_); }
  Seeded(const Seeded&) = delete;
  Seeded& operator=(const Seeded&) = delete;
  ~Seeded() { trq::SetRandomSource(nullptr, nullptr); }

 private:
  trq::SeededRandom random_;
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

double AngleOf(const Plate& plate, int64_t rotation) {
  return double(rotation) * 360.0 / double(plate.job.rotations);
}

Matrix4 Turned(const Plate& plate, const Matrix4& prepare, int rotation) {
  return Compose(Matrix4::Rotation(2, AngleOf(plate, rotation)), prepare);
}

// The mesh with a rim as wide as `by` around what it covers seen from above, in polygons that hold circles.
CTL Grown(const CTL& mesh, const Matrix4& prepare, double by, double tolerance) {
  constexpr int kSides = 16;
  std::array<Point, kSides> around;
  const double reach = by / Matrix4::Rotation(2, 180.0 / kSides).m[0][0];
  for (int k = 0; k < kSides; ++k) {
    around[size_t(k)] = Matrix4::Rotation(2, (k + 0.5) * 360 / kSides).Apply({reach, 0, 0});
  }
  trq::core::Mesh grown;
  std::vector<PbVec3f> points;
  std::vector<R_INT4> facets(mesh.triangles(), mesh.triangles() + mesh.num_triangles());
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    const Point p = prepare.Apply(PointOf(mesh.vertices()[i]));
    points.emplace_back(float(p[0]), float(p[1]), float(p[2]));
  }
  const auto add_edge = [&](const nesting::Point& a, const nesting::Point& b) {
    // Around both ends, each with the sides that face away from the other one.
    const int first = int(points.size());
    for (int k = 0; k < kSides; ++k) {
      const Point& side = around[size_t(k)];
      const bool at_b = side[0] * (b.x - a.x) + side[1] * (b.y - a.y) > 0;
      const nesting::Point& end = at_b ? b : a;
      points.emplace_back(float(end.x + side[0]), float(end.y + side[1]), 0.0F);
    }
    for (int k = 2; k < kSides; ++k) {
      R_INT4 facet{};
      facet[0] = first;
      facet[1] = first + k - 1;
      facet[2] = first + k;
      facets.push_back(facet);
    }
  };
  const SeenOutline seen = OutlineFromAbove(mesh.view(), prepare, tolerance);
  for (const nesting::Region& region : seen.outline) {
    std::vector<const nesting::Ring*> rings = {&region.outer};
    for (const nesting::Ring& hole : region.holes) rings.push_back(&hole);
    for (const nesting::Ring* ring : rings) {
      for (size_t i = 0; i < ring->size(); ++i) add_edge((*ring)[i], (*ring)[(i + 1) % ring->size()]);
    }
  }
  grown.header.num_vertices = int(points.size());
  grown.header.num_triangles = int(facets.size());
  grown.vertices.grow(points.size() + 1);
  grown.triangles.grow(std::max<size_t>(facets.size(), 1));
  std::copy(points.begin(), points.end(), grown.vertices.data());
  std::copy(facets.begin(), facets.end(), grown.triangles.data());
  CTL made;
  made.adopt(std::move(grown));
  return made;
}

// What the grid searches with: parts as they are, or grown by half of the largest gap in a vat that is
// smaller by the rest of the margin.
class Grid {
 public:
  explicit Grid(const Plate& plate) : plate_(plate) {
    double gap = 0;
    for (size_t i = 0; i < plate.parts.size(); ++i) gap = std::max(gap, PlannedGap(plate, GapOf(plate, i)));
    const double by = gap / 2;
    inset_ = plate.job.Bare(plate.job.margin) - by;
    if (by > 0) {
      const double tolerance = ToleranceOf(plate.job);
      for (const PlatePart& part : plate.parts) {
        grown_.push_back(Grown(*part.input.mesh, part.prepare, by, tolerance));
      }
    }
  }

  bool HasRoom() const { return plate_.vat[0] > 2 * inset_ && plate_.vat[1] > 2 * inset_; }
  GridEval Make() const {
    return GridEval(float(plate_.vat[0] - 2 * inset_), float(plate_.vat[1] - 2 * inset_),
                    float(plate_.vat[2]), int(plate_.job.rotations));
  }

  // Searches a place for the first `pieces` pieces.
  bool Search(int64_t pieces, GridEval& grid) {
    for (const Component& component : Components(plate_.job, pieces)) {
      const PlatePart& part = plate_.parts[component.part];
      CTL copy;
      if (grown_.empty()) {
        part.input.mesh->copy(&copy);
        ApplyToMesh(copy, part.prepare);
      } else {
        grown_[component.part].copy(&copy);
        ApplyToMesh(copy, ToCorner(copy, Matrix4(), 0, 0, false));
      }
      grid.add(copy, component.copies);
    }
    const Seeded while_searching(static_cast<unsigned>(plate_.job.seed));
    return grid.find_placement() != 0;
  }

  // How far inside of what the grid placed at (0, 0) the lower corner of the turned part itself stands.
  Point CornerOf(size_t part, int rotation) const {
    if (grown_.empty()) return {inset_, inset_, 0};
    const Matrix4 turn = Turned(plate_, Matrix4(), rotation);
    const Box box = BoxAfter(*plate_.parts[part].input.mesh, Compose(turn, plate_.parts[part].prepare));
    const Box around = BoxAfter(grown_[part], turn);
    return {inset_ + box.min[0] - around.min[0], inset_ + box.min[1] - around.min[1], 0};
  }

 private:
  const Plate& plate_;
  double inset_ = 0;
  std::vector<CTL> grown_;  // empty without a gap
};

// Says why there is no placement.
void Explain(Observer& observer, const Plate& plate, Grid& maker) {
  const int64_t pieces = PieceCount(plate.job);
  if (SayTooLarge(observer, plate)) return;
  // The most pieces that find a place, with one more finding none.
  int64_t placed = 0;
  int64_t failing = pieces;
  while (failing - placed > 1) {
    const int64_t middle = placed + (failing - placed) / 2;
    observer.Progress("looking for the reason", 0.5);
    GridEval grid = maker.Make();
    (maker.Search(middle, grid) ? placed : failing) = middle;
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

}  // namespace

int64_t GridComponents(const Job& job) { return int64_t(Components(job, PieceCount(job)).size()); }

bool SearchOnGrid(Observer& observer, Plate& plate) {
  Grid maker(plate);
  GridEval grid = maker.Make();
  const int64_t pieces = PieceCount(plate.job);
  if (!maker.HasRoom() || !maker.Search(pieces, grid)) {
    Explain(observer, plate, maker);
    return false;
  }
  plate.cell = {grid.x_size, grid.y_size};
  observer.Progress("moving the pieces", 0.5);
  const std::vector<Component> components = Components(plate.job, pieces);
  std::vector<Piece> placed;
  for (size_t c = 0; c < components.size(); ++c) {
    for (int copy = 0; copy < components[c].copies; ++copy) {
      const int component = int(c);
      Piece piece;
      piece.part = components[c].part;
      piece.copy = components[c].first_copy + copy + 1;
      piece.rotation = grid.z_rot(component, copy);
      piece.rotation_index = int(std::round(piece.rotation * double(plate.job.rotations) / 360));
      const Point corner = maker.CornerOf(piece.part, piece.rotation_index);
      piece.x = grid.x_shift(component, copy) + corner[0];
      piece.y = grid.y_shift(component, copy) + corner[1];
      placed.push_back(std::move(piece));
    }
  }
  AddPieces(observer, plate, std::move(placed), [&](Piece& piece) {
    const PlatePart& part = plate.parts[piece.part];
    piece.matrix = ToCorner(*part.input.mesh, Turned(plate, part.prepare, piece.rotation_index), piece.x,
                            piece.y, false);
  });
  return true;
}

}  // namespace trqprep
