// Borders are followed from edge to edge, told from the rims of sheets, and filled.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "prep/meshes/repair_steps.h"
#include "trq/core/elementary.h"

namespace trqprep {
namespace {

constexpr double kPi = 3.14159265358979323846;
// Three quarters of a turn are the border of half a cube; a degree for rounding. A flat or bent sheet's is
// 360.
constexpr double kTurnOfSheet = 271 * kPi / 180;

double AngleAt(const Point& corner, const Point& a, const Point& b) {
  const Point u = Minus(a, corner), v = Minus(b, corner);
  return trq::core::Atan2(Norm(Cross(u, v)), Dot(u, v));
}

/// An edge without its opposite, in the direction in which a facet has it.
struct BorderEdge {
  int from;
  int to;
  int facet;
  bool alone;  ///< no other facet has the edge
};

class Holes {
 public:
  Holes(Observer& observer, RepairedMesh& mesh, const std::vector<bool>& one_sided)
      : observer_(observer), mesh_(mesh) {
    const std::vector<EdgeUse> uses = SortedEdges(mesh.facets);
    const auto for_each_border = [&](auto visit) {
      ForEachEdge(uses, [&](EdgeUses edge) {
        const auto fits = [&](const EdgeUse& use) { return !one_sided[size_t(use.facet)]; };
        if (!std::all_of(edge.begin(), edge.end(), fits)) return;
        const int balance = BalanceOf(edge);
        if (balance == 0) return;
        const EdgeUse& use = *std::find_if(edge.begin(), edge.end(),
                                           [&](const EdgeUse& u) { return u.forward == (balance > 0); });
        const int from = balance > 0 ? use.Lower() : use.Higher();
        const int to = balance > 0 ? use.Higher() : use.Lower();
        for (int n = std::abs(balance); n > 0; --n)
          visit(from, BorderEdge{from, to, int(use.facet), edge.size() == 1});
      });
    };
    auto borders = SortedByVertex<BorderEdge>(
        for_each_border, [](const BorderEdge& a, const BorderEdge& b) { return a.to < b.to; });
    borders_ = std::move(borders.things);
    ends_ = std::move(borders.ends);
    if (borders_.empty()) return;
    unused_.resize(borders_.size() + 1);
    std::iota(unused_.begin(), unused_.end(), size_t{0});
    neighbours_.assign(3 * mesh.facets.size(), -1);
    ForEachEdge(uses, [this](EdgeUses edge) {
      edges_.push_back(edge[0].edge);
      if (edge.size() != 2 || BalanceOf(edge) != 0) return;
      for (size_t i = 0; i < 2; ++i) {
        const EdgeUse& use = edge[i];
        Neighbour(int(use.facet), use.forward ? use.Lower() : use.Higher()) = int(edge[1 - i].facet);
      }
    });
  }

  void Fill(size_t most_edges, MeshRepair& done) {
    for (size_t first = 0; first < borders_.size(); ++first) {
      if (unused_[first] != first) continue;
      observer_.StopIfCancelled();
      double turn = 0;
      const std::vector<int> border = Follow(first, turn);
      if (turn > kTurnOfSheet) continue;
      // Where it comes through a vertex again, it is several holes that touch there.
      std::vector<int> path;
      places_.resize(mesh_.points.size(), -1);
      for (const int vertex : border) {
        if (const int before = PlaceOf(vertex); before >= 0) {
          const auto again = path.begin() + before;
          Fill({again, path.end()}, most_edges, done);
          for (auto gone = again; gone != path.end(); ++gone) PlaceOf(*gone) = -1;
          path.erase(again, path.end());
        }
        PlaceOf(vertex) = int(path.size());
        path.push_back(vertex);
      }
      Fill(path, most_edges, done);
      for (const int vertex : path) PlaceOf(vertex) = -1;
    }
  }

 private:
  static constexpr size_t kNone = size_t(-1);

  /// The facet at the other side of the edge that begins at `from` in this facet; -1: none, or several.
  int& Neighbour(int facet, int from) {
    int k = 0;
    while (mesh_.Facet(facet)[k] != from) ++k;
    return neighbours_[3 * size_t(facet) + size_t(k)];
  }

  /// Where a vertex stands in the path at hand, or -1.
  int& PlaceOf(int vertex) { return places_[size_t(vertex)]; }

  /// The first unused border edge from one vertex, or from one to the other.
  size_t Unused(int from, int to = -1) {
    if (size_t(from) >= ends_.size()) return kNone;
    const size_t begin = from > 0 ? ends_[size_t(from) - 1] : 0, end = ends_[size_t(from)];
    const auto at = [this](size_t i) { return borders_.begin() + static_cast<std::ptrdiff_t>(i); };
    const auto first = std::lower_bound(at(begin), at(end), to,
                                        [](const BorderEdge& edge, int vertex) { return edge.to < vertex; });
    const size_t found = UnusedFrom(size_t(first - borders_.begin()));
    if (found >= end) return kNone;
    return to < 0 || borders_[found].to == to ? found : kNone;
  }

  /// The first unused one from a border edge on. Those passed over point there afterwards, so that many at a
  /// vertex are not gone through again and again.
  size_t UnusedFrom(size_t i) {
    while (unused_[i] != i) i = unused_[i] = unused_[unused_[i]];
    return i;
  }

  /// Goes round `vertex` through the facets from one on, as far as each has one neighbour. Adds up their
  /// angles and returns the vertex at the end of the last edge.
  int GoRound(int vertex, int facet, bool ahead, double& angle) {
    for (;;) {
      const R_INT4& t = mesh_.Facet(facet);
      int k = 0;
      while (t[k] != vertex) ++k;
      const int next = t[(k + 1) % 3], before = t[(k + 2) % 3];
      angle += AngleAt(mesh_.At(vertex), mesh_.At(next), mesh_.At(before));
      const int neighbour = ahead ? Neighbour(facet, vertex) : Neighbour(facet, before);
      if (neighbour < 0) return ahead ? next : before;
      facet = neighbour;
    }
  }

  /// The vertices of a border, and by how much it turns as seen along the surface. No vertices when it does
  /// not come back: its edges lie partly on facets without a direction.
  std::vector<int> Follow(size_t first, double& turn) {
    std::vector<int> vertices;
    for (size_t i = first;;) {
      const BorderEdge& edge = borders_[i];
      unused_[i] = i + 1;
      vertices.push_back(edge.from);
      double angle = 0;
      size_t next = kNone;
      bool back = false;
      if (edge.alone) {
        const int to = GoRound(edge.to, edge.facet, true, angle);
        back = edge.to == borders_[first].from && to == borders_[first].to;
        if (!back) next = Unused(edge.to, to);
      }
      if (!back && next == kNone && edge.to != borders_[first].from) next = Unused(edge.to);
      if (next == kNone && edge.to != borders_[first].from) return {};
      const BorderEdge& after = borders_[next == kNone ? first : next];
      if (!edge.alone && after.alone) GoRound(edge.to, after.facet, false, angle);
      turn += kPi - angle;
      if (next == kNone) return vertices;
      i = next;
    }
  }

  bool IsEdge(int a, int b) const {
    return std::binary_search(edges_.begin(), edges_.end(), EdgeBetween(a, b));
  }

  struct Cost {
    int edges = 0;  ///< sides that are edges of the mesh already: they would get four facets
    double area = 0;
    bool operator<(const Cost& other) const {
      return edges != other.edges ? edges < other.edges : area < other.area;
    }
  };

  /// The triangulation of least area of a closed polygon in space, by those of its parts (G. Barequet and M.
  /// Sharir, Filling gaps in the boundary of a polyhedron, Computer Aided Geometric Design 12, 1995). Among
  /// them those come first that need no edge which is there already.
  void Fill(const std::vector<int>& polygon, size_t most_edges, MeshRepair& done) {
    const size_t n = polygon.size();
    if (n < 3 || n > most_edges) return;
    std::vector<Point> points;
    for (const int vertex : polygon) points.push_back(mesh_.At(vertex));
    std::vector<Cost> best(n * n);
    std::vector<size_t> middle(n * n);
    for (size_t span = 2; span < n; ++span) {
      observer_.StopIfCancelled();
      for (size_t i = 0; i + span < n; ++i) {
        const size_t j = i + span;
        Cost least{std::numeric_limits<int>::max(), 0};
        const Point side = Minus(points[j], points[i]);
        for (size_t m = i + 1; m < j; ++m) {
          const Cost &left = best[i * n + m], &right = best[m * n + j];
          const Point other = Minus(points[m], points[i]);
          double area = Norm(Cross(side, other)) / 2;
          // Of equal ones, those without needles.
          const double longest = std::max(Dot(side, side), Dot(other, other));
          if (area < 1e-6 * longest) area += 1e-7 * longest;
          const Cost cost{left.edges + right.edges, left.area + right.area + area};
          if (cost < least) {
            least = cost;
            middle[i * n + j] = m;
          }
        }
        if (span + 1 < n && IsEdge(polygon[i], polygon[j])) ++least.edges;
        best[i * n + j] = least;
      }
    }
    std::vector<std::array<size_t, 2>> sides = {{0, n - 1}};
    while (!sides.empty()) {
      const auto [i, j] = sides.back();
      sides.pop_back();
      if (j - i < 2) continue;
      const size_t m = middle[i * n + j];
      mesh_.facets.push_back({polygon[i], polygon[j], polygon[m]});
      ++done.added_facets;
      sides.push_back({m, j});
      sides.push_back({i, m});
    }
    ++done.filled_holes;
  }

  Observer& observer_;
  RepairedMesh& mesh_;
  std::vector<BorderEdge> borders_;  // by their vertices
  std::vector<uint32_t> ends_;       // by vertex, the end of those that begin there
  std::vector<size_t> unused_;       // of each its own number, or one from which on to look for an unused one
  std::vector<int> neighbours_;      // three a facet
  std::vector<uint64_t> edges_;      // in order
  std::vector<int> places_;
};

}  // namespace

void FillHoles(Observer& observer, RepairedMesh& mesh, int most_edges, const std::vector<bool>& one_sided,
               MeshRepair& done) {
  Holes(observer, mesh, one_sided).Fill(size_t(most_edges), done);
}

}  // namespace trqprep
