#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

#include "trqprep/nesting.h"

// Shares nothing with the search: what proves a result must not repeat its mistakes.
namespace trqprep::nesting {
namespace {

struct Line {
  Point a, b;
};

struct Piece {
  std::vector<std::vector<Line>> outers, holes;  // holes of all regions
  std::vector<std::size_t> region_of_hole;
  std::vector<Line> lines;
  Point low = {0, 0}, high = {0, 0};
  double gap = 0;
  std::size_t container = 0;
};

std::vector<Line> LinesOf(const Ring& ring, const Turn& turn, double x, double y) {
  std::vector<Line> lines;
  const auto place = [&](const Point& p) {
    return Point{turn.cosine * p.x - turn.sine * p.y + x, turn.sine * p.x + turn.cosine * p.y + y};
  };
  for (std::size_t i = 0; i < ring.size(); ++i)
    lines.push_back({place(ring[i]), place(ring[(i + 1) % ring.size()])});
  return lines;
}

double Cross(Point o, Point a, Point b) { return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x); }

double ToLine(Point p, const Line& line) {
  const double dx = line.b.x - line.a.x, dy = line.b.y - line.a.y;
  const double length = dx * dx + dy * dy;
  const double t =
      length > 0 ? std::clamp(((p.x - line.a.x) * dx + (p.y - line.a.y) * dy) / length, 0.0, 1.0) : 0.0;
  const double ex = p.x - line.a.x - t * dx, ey = p.y - line.a.y - t * dy;
  return std::sqrt(ex * ex + ey * ey);
}

double Between(const Line& a, const Line& b) {
  const double s = Cross(a.a, a.b, b.a), t = Cross(a.a, a.b, b.b), u = Cross(b.a, b.b, a.a),
               v = Cross(b.a, b.b, a.b);
  if (((s > 0 && t < 0) || (s < 0 && t > 0)) && ((u > 0 && v < 0) || (u < 0 && v > 0))) return 0;
  return std::min({ToLine(a.a, b), ToLine(a.b, b), ToLine(b.a, a), ToLine(b.b, a)});
}

/// Whether a ray from the point to the right crosses the lines with a sum other than 0.
bool Around(const std::vector<Line>& lines, Point p) {
  int sum = 0;
  for (const Line& line : lines) {
    if (line.a.y <= p.y && line.b.y > p.y && Cross(line.a, line.b, p) > 0) ++sum;
    if (line.a.y > p.y && line.b.y <= p.y && Cross(line.a, line.b, p) < 0) --sum;
  }
  return sum != 0;
}

/// Inside an outer ring, whatever the holes.
bool InOuter(const Piece& piece, Point p) {
  for (const auto& ring : piece.outers) {
    if (Around(ring, p)) return true;
  }
  return false;
}

bool Inside(const Piece& piece, Point p) {
  for (std::size_t r = 0; r < piece.outers.size(); ++r) {
    if (!Around(piece.outers[r], p)) continue;
    bool in_hole = false;
    for (std::size_t h = 0; h < piece.holes.size(); ++h) {
      in_hole = in_hole || (piece.region_of_hole[h] == r && Around(piece.holes[h], p));
    }
    if (!in_hole) return true;
  }
  return false;
}

double ToOutline(const Piece& piece, Point p) {
  double nearest = std::numeric_limits<double>::infinity();
  for (const Line& line : piece.lines) nearest = std::min(nearest, ToLine(p, line));
  return nearest;
}

/// Where two lines cross: as parts of the first.
double CrossingAt(const Line& a, const Line& b) {
  const double s = Cross(b.a, b.b, a.a), t = Cross(b.a, b.b, a.b);
  return s == t ? 0.5 : s / (s - t);
}

/// How deep parts of `a` lie in `b`: tried at corners and between the places where lines cross.
double DepthOf(const Piece& a, const Piece& b) {
  double deepest = 0;
  for (const Line& line : a.lines) {
    if (std::max(line.a.x, line.b.x) < b.low.x || std::min(line.a.x, line.b.x) > b.high.x ||
        std::max(line.a.y, line.b.y) < b.low.y || std::min(line.a.y, line.b.y) > b.high.y) {
      continue;
    }
    std::vector<double> at = {0, 1};
    for (const Line& other : b.lines) {
      const double s = Cross(line.a, line.b, other.a), t = Cross(line.a, line.b, other.b);
      if ((s > 0) != (t > 0)) {
        const double where = CrossingAt(line, other);
        if (where > 0 && where < 1) at.push_back(where);
      }
    }
    std::sort(at.begin(), at.end());
    std::vector<double> tried = at;
    for (std::size_t i = 0; i + 1 < at.size(); ++i) tried.push_back((at[i] + at[i + 1]) / 2);
    for (const double t : tried) {
      const Point p = {line.a.x + t * (line.b.x - line.a.x), line.a.y + t * (line.b.y - line.a.y)};
      if (p.x < b.low.x || p.x > b.high.x || p.y < b.low.y || p.y > b.high.y || !Inside(b, p)) continue;
      deepest = std::max(deepest, ToOutline(b, p));
    }
  }
  return deepest;
}

/// How deep points in the middle of `a` lie in both: finds pieces that lie exactly over each other.
double CommonDepth(const Piece& a, const Piece& b) {
  double deepest = 0;
  const double low = std::max(a.low.y, b.low.y), high = std::min(a.high.y, b.high.y);
  for (const double share : {0.5, 0.21, 0.83}) {
    const double y = low + share * (high - low);
    std::vector<double> at;
    for (const Line& line : a.lines) {
      if ((line.a.y <= y) != (line.b.y <= y)) {
        at.push_back(line.a.x + (y - line.a.y) * (line.b.x - line.a.x) / (line.b.y - line.a.y));
      }
    }
    std::sort(at.begin(), at.end());
    for (std::size_t i = 0; i + 1 < at.size(); ++i) {
      const Point p = {(at[i] + at[i + 1]) / 2, y};
      if (p.x < b.low.x || p.x > b.high.x || !Inside(a, p) || !Inside(b, p)) continue;
      deepest = std::max(deepest, std::min(ToOutline(a, p), ToOutline(b, p)));
    }
  }
  return deepest;
}

/// The smallest distance between lines of two pieces that is below `limit`, or `limit`.
double Nearest(const Piece& a, const Piece& b, double limit) {
  // Lines of one that come near the box of the other, by columns of a grid.
  const auto near = [&](const Piece& of, const Piece& other) {
    std::vector<const Line*> kept;
    for (const Line& line : of.lines) {
      if (std::max(line.a.x, line.b.x) >= other.low.x - limit &&
          std::min(line.a.x, line.b.x) <= other.high.x + limit &&
          std::max(line.a.y, line.b.y) >= other.low.y - limit &&
          std::min(line.a.y, line.b.y) <= other.high.y + limit) {
        kept.push_back(&line);
      }
    }
    return kept;
  };
  const auto lines = near(a, b), others = near(b, a);
  if (lines.empty() || others.empty()) return limit;
  const double low = std::max(a.low.x, b.low.x) - limit, high = std::min(a.high.x, b.high.x) + limit;
  const std::size_t columns = std::clamp<std::size_t>(others.size() / 2, 1, 4096);
  const double width = std::max((high - low) / static_cast<double>(columns), 1e-300);
  const auto column = [&](double x) {
    return static_cast<std::size_t>(std::clamp((x - low) / width, 0.0, static_cast<double>(columns - 1)));
  };
  std::vector<std::vector<const Line*>> grid(columns);
  for (const Line* line : others) {
    const std::size_t last = column(std::max(line->a.x, line->b.x) + limit);
    for (std::size_t c = column(std::min(line->a.x, line->b.x) - limit); c <= last; ++c)
      grid[c].push_back(line);
  }
  double nearest = limit;
  for (const Line* line : lines) {
    const std::size_t last = column(std::max(line->a.x, line->b.x));
    for (std::size_t c = column(std::min(line->a.x, line->b.x)); c <= last; ++c) {
      for (const Line* other : grid[c]) {
        if (std::min(line->a.y, line->b.y) > std::max(other->a.y, other->b.y) + limit ||
            std::min(other->a.y, other->b.y) > std::max(line->a.y, line->b.y) + limit) {
          continue;
        }
        nearest = std::min(nearest, Between(*line, *other));
      }
    }
  }
  return nearest;
}

}  // namespace

double AreaOf(const Outline& outline) {
  const auto area = [](const Ring& ring) {
    double twice = 0;
    for (std::size_t i = 0; i < ring.size(); ++i)
      twice += Cross(ring[0], ring[i], ring[(i + 1) % ring.size()]);
    return std::fabs(twice) / 2;
  };
  double sum = 0;
  for (const Region& region : outline) {
    sum += area(region.outer);
    for (const Ring& hole : region.holes) sum -= area(hole);
  }
  return sum;
}

std::vector<Fault> CheckPlacements(const Job& job, const std::vector<Placement>& placements,
                                   const std::vector<Missing>& missing, double tolerance) {
  std::vector<Fault> faults;
  std::vector<Placement> all = placements;
  all.insert(all.end(), job.fixed.begin(), job.fixed.end());
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Placement& p = all[i];
    if (p.part >= job.parts.size() || p.turn >= job.parts[p.part].turns.size() || !(p.x * 0 == 0) ||
        !(p.y * 0 == 0)) {
      faults.push_back({Fault::What::kNumber, i, i, 0});
    }
  }
  if (!faults.empty()) return faults;
  std::vector<int> copies(job.parts.size(), 0);
  for (std::size_t i = 0; i < placements.size(); ++i) {
    const Placement& p = placements[i];
    ++copies[p.part];
    const int bound = job.parts[p.part].container;
    if (bound >= 0 && p.container != static_cast<std::size_t>(bound))
      faults.push_back({Fault::What::kContainer, i, i, 0});
  }
  for (const Missing& m : missing) {
    if (m.part < copies.size()) copies[m.part] += m.copies;
  }
  for (std::size_t p = 0; p < copies.size(); ++p) {
    if (job.parts[p].fill ? copies[p] > job.parts[p].copies : copies[p] != job.parts[p].copies) {
      faults.push_back({Fault::What::kCopies, p, p, 0});
    }
  }
  std::vector<Piece> pieces;
  for (const Placement& p : all) {
    const Part& part = job.parts[p.part];
    const Turn& turn = part.turns[p.turn];
    Piece piece;
    piece.gap = part.gap >= 0 ? part.gap : job.gap;
    piece.container = p.container;
    for (const Region& region : part.outline) {
      piece.outers.push_back(LinesOf(region.outer, turn, p.x, p.y));
      piece.lines.insert(piece.lines.end(), piece.outers.back().begin(), piece.outers.back().end());
      for (const Ring& hole : region.holes) {
        piece.holes.push_back(LinesOf(hole, turn, p.x, p.y));
        piece.region_of_hole.push_back(piece.outers.size() - 1);
        // Of a hole that nothing may lie in only its inside matters.
        if (!job.use_holes) continue;
        piece.lines.insert(piece.lines.end(), piece.holes.back().begin(), piece.holes.back().end());
      }
    }
    piece.low = piece.high = piece.lines[0].a;
    for (const auto& ring : piece.outers) {
      for (const Line& line : ring) {
        piece.low = {std::min(piece.low.x, line.a.x), std::min(piece.low.y, line.a.y)};
        piece.high = {std::max(piece.high.x, line.a.x), std::max(piece.high.y, line.a.y)};
      }
    }
    pieces.push_back(std::move(piece));
  }
  const Container& box = job.container;
  for (std::size_t i = 0; i < placements.size(); ++i) {
    double wall = std::min({pieces[i].low.x, pieces[i].low.y, box.width - pieces[i].high.y});
    if (!box.strip) wall = std::min(wall, box.length - pieces[i].high.x);
    if (wall < box.margin - tolerance) faults.push_back({Fault::What::kWall, i, i, wall});
  }
  std::vector<std::size_t> by_left(pieces.size());
  double most_gap = 0;
  for (std::size_t i = 0; i < pieces.size(); ++i)
    by_left[i] = i, most_gap = std::max(most_gap, pieces[i].gap);
  std::sort(by_left.begin(), by_left.end(), [&](std::size_t a, std::size_t b) {
    return pieces[a].low.x != pieces[b].low.x ? pieces[a].low.x < pieces[b].low.x : a < b;
  });
  for (std::size_t i = 0; i < by_left.size(); ++i) {
    for (std::size_t j = i + 1; j < by_left.size(); ++j) {
      const std::size_t first = std::min(by_left[i], by_left[j]), second = std::max(by_left[i], by_left[j]);
      const Piece &a = pieces[first], &b = pieces[second];
      if (pieces[by_left[j]].low.x > pieces[by_left[i]].high.x + most_gap) break;
      const double gap = std::max(a.gap, b.gap);
      if (first >= placements.size() || a.container != b.container || a.low.x > b.high.x + gap ||
          b.low.x > a.high.x + gap || a.low.y > b.high.y + gap || b.low.y > a.high.y + gap) {
        continue;
      }
      const double depth = std::max({DepthOf(a, b), DepthOf(b, a), CommonDepth(a, b)});
      if (depth > tolerance) {
        faults.push_back({Fault::What::kGap, first, second, -depth});
        continue;
      }
      if (gap > tolerance) {
        const double distance = Nearest(a, b, gap);
        if (distance < gap - tolerance) {
          faults.push_back({Fault::What::kGap, first, second, distance});
          continue;
        }
      }
      if (job.use_holes) continue;
      const auto in_hole = [&](const Piece& inner, const Piece& outer) {
        return std::any_of(inner.outers.begin(), inner.outers.end(), [&](const std::vector<Line>& ring) {
          return InOuter(outer, ring[0].a) && ToOutline(outer, ring[0].a) > tolerance;
        });
      };
      if (in_hole(a, b) || in_hole(b, a)) faults.push_back({Fault::What::kHole, first, second, 0});
    }
  }
  return faults;
}

}  // namespace trqprep::nesting
