#include "prep/meshes/cavities.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "prep/meshes/facet_boxes.h"

namespace trqprep {
namespace {

/// The sign of the exact sum of terms that are exact themselves (J. R. Shewchuk, Adaptive precision
/// floating-point arithmetic and fast robust geometric predicates, 1997: the sum is kept as parts that do
/// not overlap, the largest last).
class ExactSum {
 public:
  void Add(double term) {
    size_t kept = 0;
    for (size_t i = 0; i < count_; ++i) {
      const double sum = term + parts_[i];
      const double of_part = sum - term;
      const double lost = (term - (sum - of_part)) + (parts_[i] - of_part);
      if (lost != 0) parts_[kept++] = lost;
      term = sum;
    }
    if (term != 0) parts_[kept++] = term;
    count_ = kept;
  }
  /// The product of three numbers with the digits of a float.
  void AddProduct(double a, double b, double c) {
    const double ab = a * b;             // exact, and so are the products with its halves
    const double wide = ab * 134217729;  // 2^27 + 1
    const double half = wide - (wide - ab);
    Add(half * c);
    Add((ab - half) * c);
  }
  int Sign() const { return count_ == 0 ? 0 : parts_[count_ - 1] > 0 ? 1 : -1; }

 private:
  std::array<double, 48> parts_;
  size_t count_ = 0;
};

/// The sign of `value`, when no rounding of about ten operations on numbers that add up to `size` can have
/// changed it; else 0.
int SureSign(double value, double size) {
  if (!(std::fabs(value) > 4e-15 * size)) return 0;
  return value > 0 ? 1 : -1;
}

/// Which way a, b, c turn in the plane of coordinates u and v: 1 counter-clockwise, 0 on one line.
int Turn(const Point& a, const Point& b, const Point& c, size_t u, size_t v) {
  const double left = (b[u] - a[u]) * (c[v] - a[v]), right = (b[v] - a[v]) * (c[u] - a[u]);
  if (const int sign = SureSign(left - right, std::fabs(left) + std::fabs(right))) return sign;
  ExactSum sum;
  for (const auto& [p, q] : {std::pair{&a, &b}, {&b, &c}, {&c, &a}}) {
    sum.Add((*p)[u] * (*q)[v]);
    sum.Add(-((*p)[v] * (*q)[u]));
  }
  return sum.Sign();
}

// A point that is asked about lies a hair further along x, then y, then z (each far less than the one
// before), so that it is never on a plane, edge or corner. All of its comparisons use that same place.

/// Which way a, b and the point turn; 0 where a and b are one place in that plane.
int TurnToPoint(const Point& a, const Point& b, const Point& point, size_t u, size_t v) {
  if (const int sign = Turn(a, b, point, u, v)) return sign;
  const double by_u = a[v] - b[v], by_v = b[u] - a[u];
  const double first = u < v ? by_u : by_v, second = u < v ? by_v : by_u;
  const double change = first != 0 ? first : second;
  return (change > 0) - (change < 0);
}

/// Each axis and the two that follow it.
constexpr size_t kAxes[3][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}};

/// 1 for a point before the facet (where its normal goes), -1 for one behind. The facet has an area.
int Side(const Corners& facet, const Point& point) {
  const auto& [a, b, c] = facet;
  double value = 0, size = 0;
  for (const auto& [k, u, v] : kAxes) {
    const double left = (b[u] - a[u]) * (c[v] - a[v]), right = (b[v] - a[v]) * (c[u] - a[u]);
    value += (left - right) * (point[k] - a[k]);
    size += (std::fabs(left) + std::fabs(right)) * std::fabs(point[k] - a[k]);
  }
  if (const int sign = SureSign(value, size)) return sign;
  ExactSum sum;
  const auto add = [&sum](double sign, const Point& p, const Point& q, const Point& r) {
    for (const auto& [k, u, v] : kAxes) {
      sum.AddProduct(sign * p[k], q[u], r[v]);
      sum.AddProduct(-sign * p[k], q[v], r[u]);
    }
  };
  add(1, b, c, point);
  add(-1, a, c, point);
  add(1, a, b, point);
  add(-1, a, b, c);
  if (const int sign = sum.Sign()) return sign;
  for (const auto& [k, u, v] : kAxes) {
    if (const int sign = Turn(a, b, c, u, v)) return sign;
  }
  return 0;
}

/// How much more often a surface winds around the end of a walk than around its start, by this facet of
/// it. The walk goes along x, then y, then z.
int WindingAlong(const Corners& facet, const Box& box, const Point& start, const Point& end) {
  int change = 0;
  Point from = start;
  for (size_t axis = 0; axis < 3; ++axis) {
    Point to = from;
    to[axis] = end[axis];
    const auto passes = [&] {
      if (!Meet(box, BoxOf({from, to, to}))) return false;
      const size_t u = (axis + 1) % 3, v = (axis + 2) % 3;
      const int turn = TurnToPoint(facet[0], facet[1], to, u, v);
      return turn != 0 && turn == TurnToPoint(facet[1], facet[2], to, u, v) &&
             turn == TurnToPoint(facet[2], facet[0], to, u, v);
    };
    if (from[axis] != to[axis] && passes()) change += (Side(facet, from) - Side(facet, to)) / 2;
    from = to;
  }
  return change;
}

/// False when a plane parts the facet from the box by more than rounding: its own, or one through a side and
/// along an axis. Their boxes meet.
bool MayTouch(const Corners& facet, const Box& box) {
  Point centre, half;
  double slack = 0;
  for (size_t k = 0; k < 3; ++k) {
    centre[k] = (box.min[k] + box.max[k]) / 2;
    half[k] = (box.max[k] - box.min[k]) / 2;
    for (const double c : {box.min[k], box.max[k], facet[0][k], facet[1][k], facet[2][k]}) {
      slack = std::max(slack, 1e-12 * std::fabs(c));
    }
  }
  const Corners from = {Minus(facet[0], centre), Minus(facet[1], centre), Minus(facet[2], centre)};
  const auto sum = [](const Point& p) { return std::fabs(p[0]) + std::fabs(p[1]) + std::fabs(p[2]); };
  for (size_t s = 0; s < 3; ++s) {
    const Point &corner = from[s], &opposite = from[(s + 2) % 3];
    const Point side = Minus(facet[(s + 1) % 3], facet[s]);
    for (const auto& [k, u, v] : kAxes) {
      const double a = side[u] * corner[v] - side[v] * corner[u];
      const double b = side[u] * opposite[v] - side[v] * opposite[u];
      const double reach = (half[u] + slack) * std::fabs(side[v]) + (half[v] + slack) * std::fabs(side[u]);
      if (std::min(a, b) > reach || std::max(a, b) < -reach) return false;
    }
  }
  const Point p = Minus(facet[1], facet[0]), q = Minus(facet[2], facet[0]), normal = Cross(p, q);
  double reach = slack * sum(p) * sum(q);
  for (size_t k = 0; k < 3; ++k) reach += half[k] * std::fabs(normal[k]);
  return std::fabs(Dot(normal, from[0])) <= reach;
}

/// A surface that faces outward, and its facets near a part of space.
struct Outer {
  size_t surface;
  size_t first;  ///< in the list of facets
  size_t last;
  int winding;  ///< how often the surface winds around the place that was walked to
};

/// A corner of a surface: what does it lie in?
struct Question {
  size_t surface;
  Point corner;
  Box box;        ///< of the surface
  size_t number;  ///< those of a surface follow each other
  int depth = 0;  ///< surfaces found around it; of a cavity one is enough

  /// What makes two questions alike.
  double operator[](size_t k) const { return k < 3 ? corner[k] : k < 6 ? box.min[k - 3] : box.max[k - 6]; }
};

// A coordinate that is infinite or no number makes such a volume, and the surface neither of the two.
bool FacesInward(const Surface& surface) {
  return surface.closed && surface.volume < 0 && std::isfinite(surface.volume);
}
bool FacesOutward(const Surface& surface) {
  return surface.closed && surface.volume > 0 && std::isfinite(surface.volume);
}

class NestingSearch {
 public:
  /// `cavities`: the lowest corner of each surface that faces inward is asked about; otherwise six corners of
  /// each that faces outward are.
  NestingSearch(const CTL& mesh, const Topology& topology, bool cavities)
      : mesh_(mesh), surfaces_(topology.surfaces), cavities_(cavities) {
    std::vector<size_t> slots(surfaces_.size());  // where its next facet goes
    first_question_.resize(surfaces_.size());
    for (size_t i = 0; i < surfaces_.size(); ++i) {
      const Surface& surface = surfaces_[i];
      if (FacesOutward(surface)) {
        slots[i] = facets_.size();
        facets_.resize(slots[i] + size_t(surface.facets));
        outers_.push_back({i, slots[i], facets_.size(), 0});
      }
      first_question_[i] = questions_.size();
      if (cavities ? !FacesInward(surface) : !FacesOutward(surface)) continue;
      for (int k = 0; k < (cavities ? 1 : 6); ++k)
        questions_.push_back({i, surface.box.max, surface.box, questions_.size()});
    }
    for (const Question& question : questions_) place_.push_back(question.number);
    for (int facet = 0; facet < mesh.num_triangles(); ++facet) {
      const auto number = topology.surface_of_facet[size_t(facet)];
      if (number < 0) continue;
      const Surface& surface = surfaces_[size_t(number)];
      if (FacesOutward(surface)) facets_[slots[size_t(number)]++] = facet;
      if (cavities ? !FacesInward(surface) : !FacesOutward(surface)) continue;
      Question* const asked = &questions_[first_question_[size_t(number)]];
      for (const Point& corner : CornersOf(mesh, facet)) {
        if (cavities) asked->corner = std::min(asked->corner, corner);
        for (size_t k = 0; k < 3 && !cavities; ++k) {
          if (corner[k] == surface.box.min[k]) asked[k].corner = corner;
          if (corner[k] == surface.box.max[k]) asked[3 + k].corner = corner;
        }
      }
    }
  }

  /// The questions, answered, in any order.
  const std::vector<Question>& Run() {
    if (!questions_.empty()) {
      // A place before every float: no surface winds around it.
      const Point start = {-0x1p129, questions_[0].corner[1], questions_[0].corner[2]};
      Decide(0, questions_.size(), start, 0, outers_.size(), 0);
    }
    return questions_;
  }

 private:
  /// Decides a range of questions by a range of outers, whose windings are those around `start`. They list
  /// all facets that touch the box of `start` and the questions' corners. `depth` surfaces are known to be
  /// around all of them.
  void Decide(size_t first, size_t last, const Point& start, size_t first_outer, size_t last_outer,
              int depth) {
    const Point end = questions_[first].corner;
    std::array<double, 9> low, high;
    for (size_t k = 0; k < 9; ++k) {
      low[k] = high[k] = questions_[first][k];
      for (size_t i = first; i < last; ++i) {
        low[k] = std::min(low[k], questions_[i][k]);
        high[k] = std::max(high[k], questions_[i][k]);
      }
    }
    const Box corners{{low[0], low[1], low[2]}, {high[0], high[1], high[2]}};
    const size_t kept_facets = facets_.size(), kept_outers = outers_.size();
    bool all = false;
    for (size_t o = first_outer; o < last_outer && !all; ++o) {
      Outer outer = outers_[o];
      const Box& box = surfaces_[outer.surface].box;
      bool holds_some = true, holds_all = true;  // as far as the ranges of the boxes tell
      for (size_t k = 0; k < 3; ++k) {
        holds_some = holds_some && box.min[k] <= high[3 + k] && box.max[k] >= low[6 + k];
        holds_all = holds_all && box.min[k] <= low[3 + k] && box.max[k] >= high[6 + k];
      }
      if (!holds_some) continue;
      const size_t first_facet = facets_.size();
      for (size_t f = outer.first; f < outer.last; ++f) {
        const Corners facet = CornersOf(mesh_, facets_[f]);
        const Box facet_box = BoxOf(facet);
        outer.winding += WindingAlong(facet, facet_box, start, end);
        if (corners.min != corners.max && Meet(facet_box, corners) && MayTouch(facet, corners)) {
          facets_.push_back(facets_[f]);
        }
      }
      outer.first = first_facet;
      outer.last = facets_.size();
      // Without facets here its winding is the same around all corners.
      if (outer.first == outer.last && outer.winding < 1) continue;
      const bool around_all = outer.first == outer.last && holds_all;
      if (around_all) {
        ++depth;
        // No surface is around itself.
        for (size_t k = 0; k < 6 && !cavities_; ++k) {
          const size_t own = place_[first_question_[outer.surface] + k];
          if (own >= first && own < last) --questions_[own].depth;
        }
      }
      all = around_all && cavities_;
      if (!around_all) outers_.push_back(outer);
    }
    if (!all && outers_.size() > kept_outers && low != high) {
      size_t widest = 0;
      for (size_t k = 1; k < 9; ++k) {
        if (high[k] - low[k] > high[widest] - low[widest]) widest = k;
      }
      const size_t middle = first + (last - first) / 2;
      Question* const all_questions = questions_.data();
      std::nth_element(all_questions + first, all_questions + middle, all_questions + last,
                       [&](const Question& a, const Question& b) { return a[widest] < b[widest]; });
      for (size_t i = first; i < last; ++i) place_[questions_[i].number] = i;
      const size_t end_outer = outers_.size();
      Decide(first, middle, end, kept_outers, end_outer, depth);
      Decide(middle, last, end, kept_outers, end_outer, depth);
    } else {
      for (size_t i = first; i < last; ++i) questions_[i].depth += depth;
    }
    facets_.resize(kept_facets);
    outers_.resize(kept_outers);
  }

  const CTL& mesh_;
  const std::vector<Surface>& surfaces_;
  const bool cavities_;
  std::vector<Question> questions_;
  std::vector<size_t> first_question_;  // of surfaces: the number of its first question
  std::vector<size_t> place_;           // of questions by their numbers: where they are now
  std::vector<int> facets_;  // of outers, one range after another: those of a part of space after its whole's
  std::vector<Outer> outers_;
};

}  // namespace

void FindCavities(const CTL& mesh, Topology& topology) {
  NestingSearch search(mesh, topology, true);
  for (const Question& question : search.Run()) {
    topology.surfaces[question.surface].cavity = question.depth > 0;
  }
}

std::vector<int> NestingDepths(const CTL& mesh, const Topology& topology) {
  constexpr int kNone = -2;  // not asked about
  std::vector<int> depths(topology.surfaces.size(), kNone);
  NestingSearch search(mesh, topology, false);
  for (const Question& question : search.Run()) {
    int& depth = depths[question.surface];
    depth = depth == kNone || depth == question.depth ? question.depth : -1;
  }
  std::replace(depths.begin(), depths.end(), kNone, -1);
  return depths;
}

}  // namespace trqprep
