// Open edges become pairs: candidates are found with a tree of the points at them, and taken nearest first.
#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "prep/meshes/repair_steps.h"

namespace trqprep {
namespace {

// Points that are looked at near one, and facets at a point. More lie there only where a mesh is far smaller
// than the tolerance; time must not grow as their square.
constexpr size_t kMostNear = 16;
constexpr size_t kMostFacetsTried = 64;

double Distance(const Point& a, const Point& b) { return Norm(Minus(a, b)); }

// Points halved again and again along their widest side (J. L. Bentley, Multidimensional binary search trees
// used for associative searching, 1975), without pointers: the middle of a range parts it.
class PointTree {
 public:
  PointTree(const RepairedMesh& mesh, std::vector<int> points) : mesh_(mesh), points_(std::move(points)) {
    axes_.resize(points_.size());
    Build(0, points_.size());
  }

  /// The points within `reach` of one, itself first, then the nearest; kMostNear besides itself.
  void Near(int point, double reach, std::vector<int>& found) {
    near_.clear();
    reach_ = reach;
    Search(mesh_.At(point), point, 0, points_.size());
    std::sort_heap(near_.begin(), near_.end());
    found.assign(1, point);
    for (const auto& [distance, other] : near_) found.push_back(other);
  }

 private:
  void Build(size_t first, size_t last) {
    if (last - first < 2) return;
    Box box;
    for (size_t i = first; i < last; ++i) box.Add(mesh_.At(points_[i]));
    const Point size = box.Size();
    const auto axis = size_t(std::max_element(size.begin(), size.end()) - size.begin());
    const size_t middle = first + (last - first) / 2;
    const auto at = [this](size_t i) { return points_.begin() + static_cast<std::ptrdiff_t>(i); };
    std::nth_element(at(first), at(middle), at(last), [&](int a, int b) {
      const double x = mesh_.At(a)[axis], y = mesh_.At(b)[axis];
      return x != y ? x < y : a < b;
    });
    axes_[middle] = static_cast<unsigned char>(axis);
    Build(first, middle);
    Build(middle + 1, last);
  }

  void Search(const Point& centre, int but, size_t first, size_t last) {
    if (first >= last) return;
    const size_t middle = first + (last - first) / 2;
    const Point point = mesh_.At(points_[middle]);
    const double distance = Distance(centre, point);
    if (distance <= reach_ && points_[middle] != but) {
      near_.push_back({distance, points_[middle]});
      std::push_heap(near_.begin(), near_.end());
      if (near_.size() > kMostNear) {
        std::pop_heap(near_.begin(), near_.end());
        near_.pop_back();
        reach_ = near_.front().first;
      }
    }
    const double off = centre[axes_[middle]] - point[axes_[middle]];
    if (off <= reach_) Search(centre, but, first, middle);
    if (-off <= reach_) Search(centre, but, middle + 1, last);
  }

  const RepairedMesh& mesh_;
  std::vector<int> points_;
  std::vector<unsigned char> axes_;
  std::vector<std::pair<double, int>> near_;  // a heap, the farthest in front
  double reach_ = 0;
};

/// The facets of each point.
class FacetLists {
 public:
  explicit FacetLists(const RepairedMesh& mesh)
      : first_(mesh.points.size() + 1, 0), all_(3 * mesh.facets.size()) {
    for (const R_INT4& facet : mesh.facets) {
      for (int k = 0; k < 3; ++k) ++first_[size_t(facet[k])];
    }
    for (size_t i = 1; i < first_.size(); ++i) first_[i] += first_[i - 1];
    for (size_t i = mesh.facets.size(); i-- > 0;) {
      for (int k = 0; k < 3; ++k) all_[--first_[size_t(mesh.facets[i][k])]] = int(i);
    }
  }
  trq::Span<const int> Of(int point) const {
    const size_t first = first_[size_t(point)];
    return {all_.data() + first, first_[size_t(point) + 1] - first};
  }

 private:
  std::vector<size_t> first_;  // where each point's facets begin in all_
  std::vector<int> all_;
};

/// Points that may become one, two and two.
struct Candidate {
  double distance;                           ///< the largest of the pairs
  std::array<std::pair<int, int>, 3> pairs;  ///< equal ones where there is nothing to do
  std::array<size_t, 2> edges;               ///< numbers of the open edges; equal for two facets

  bool operator<(const Candidate& other) const {
    if (distance != other.distance) return distance < other.distance;
    return edges != other.edges ? edges < other.edges : pairs < other.pairs;
  }
};

class Stitching {
 public:
  Stitching(RepairedMesh& mesh, double tolerance, MeshRepair& done)
      : mesh_(mesh), tolerance_(tolerance), box_(BoxOf(mesh)), done_(done) {}

  /// False when nothing is open.
  bool Run(double reach) {
    reach_ = reach;
    FindOpenEdges();
    if (open_.empty()) return false;
    candidates_.clear();
    FindEdges();
    FindFacets();
    std::sort(candidates_.begin(), candidates_.end());
    Join();
    return true;
  }

  /// Counts what was done.
  void Report() {
    if (!given_) return;
    FindOpenEdges();
    done_.stitched_edges += int(open_at_first_ - open_.size()) / 2;
    for (size_t i = 0; i < clusters_.size(); ++i) {
      const int point = int(i);
      const double move = Distance(PointOf(given_points_[i]), mesh_.At(Find(point)));
      if (move > 0) ++done_.moved_corners;
      done_.largest_move = std::max(done_.largest_move, move);
    }
  }

 private:
  void FindOpenEdges() {
    open_.clear();
    open_sides_.assign(mesh_.facets.size(), 0);
    ForEachEdge(SortedEdges(mesh_.facets), [this](EdgeUses uses) {
      if (uses.size() % 2 == 0) return;
      open_.push_back(uses[0].edge);
      if (uses.size() == 1) ++open_sides_[size_t(uses[0].facet)];
    });
    if (!given_) open_at_first_ = open_.size();
  }

  static std::pair<int, int> EndsOf(uint64_t edge) { return {int(edge >> 32), int(edge & 0xFFFFFFFFu)}; }

  /// Pairs of open edges whose ends lie together.
  void FindEdges() {
    std::vector<int> ends;
    for (const uint64_t edge : open_) {
      const auto [a, b] = EndsOf(edge);
      ends.push_back(a);
      ends.push_back(b);
    }
    std::sort(ends.begin(), ends.end());
    ends.erase(std::unique(ends.begin(), ends.end()), ends.end());
    PointTree tree(mesh_, std::move(ends));
    std::vector<int> near_a, near_b;
    for (size_t i = 0; i < open_.size(); ++i) {
      const auto [a, b] = EndsOf(open_[i]);
      tree.Near(a, reach_, near_a);
      tree.Near(b, reach_, near_b);
      const double length = Distance(mesh_.At(a), mesh_.At(b));
      for (const int c : near_a) {
        for (const int d : near_b) {
          if (c == d) continue;
          const auto other = std::lower_bound(open_.begin(), open_.end(), EdgeBetween(c, d));
          if (other == open_.end() || *other != EdgeBetween(c, d)) continue;
          const auto j = size_t(other - open_.begin());
          if (j <= i) continue;
          const double distance =
              std::max(Distance(mesh_.At(a), mesh_.At(c)), Distance(mesh_.At(b), mesh_.At(d)));
          // Ends farther apart belong to the two sides of a hole.
          if (distance > std::min(length, Distance(mesh_.At(c), mesh_.At(d))) / 2) continue;
          candidates_.push_back({distance, {{{a, c}, {b, d}, {a, a}}}, {i, j}});
        }
      }
    }
  }

  /// Facets with two open edges that lie on another one: nearly given twice.
  void FindFacets() {
    std::vector<int> loose;
    for (size_t i = 0; i < mesh_.facets.size(); ++i) {
      if (open_sides_[i] > 1) loose.push_back(int(i));
    }
    if (loose.empty()) return;
    const FacetLists lists(mesh_);
    std::vector<int> all;
    for (int i = 0; i < int(mesh_.points.size()); ++i) {
      if (!lists.Of(i).empty()) all.push_back(i);
    }
    PointTree tree(mesh_, std::move(all));
    std::vector<int> near;
    for (const int facet : loose) {
      R_INT4 t = mesh_.Facet(facet);
      for (int turn = 0; turn < 2 && lists.Of(t[1]).size() < lists.Of(t[0]).size(); ++turn) t = Rotated(t, 1);
      double shortest = tolerance_ * 2;
      for (int k = 0; k < 3; ++k) {
        shortest = std::min(shortest, Distance(mesh_.At(t[k]), mesh_.At(t[(k + 1) % 3])));
      }
      tree.Near(t[0], reach_, near);
      for (const int point : near) {
        const auto others = lists.Of(point);
        for (const int other : others.First(std::min(others.size(), kMostFacetsTried))) {
          if (other == facet || HasEqualIndices(mesh_.Facet(other))) continue;
          R_INT4 u = mesh_.Facet(other);
          while (u[0] != point) u = Rotated(u, 1);
          for (int swapped = 0; swapped < 2; ++swapped, std::swap(u[1], u[2])) {
            Candidate candidate{0, {}, {open_.size(), open_.size()}};
            for (int k = 0; k < 3; ++k) {
              candidate.pairs[size_t(k)] = {t[k], u[k]};
              candidate.distance = std::max(candidate.distance, Distance(mesh_.At(t[k]), mesh_.At(u[k])));
            }
            if (candidate.distance > 0 && candidate.distance <= std::min(reach_, shortest / 2))
              candidates_.push_back(candidate);
          }
        }
      }
    }
  }

  static R_INT4 Rotated(const R_INT4& t, int by) { return {t[by % 3], t[(by + 1) % 3], t[(by + 2) % 3]}; }

  // --- joining ------------------------------------------------------------------------------------------

  /// Points as they were given that became one, named by the lowest of them.
  struct Cluster {
    int parent;
    int next;       ///< the next point of the cluster, or -1
    int last;       ///< of a cluster's name: its last point
    size_t facets;  ///< of all points
    int best;       ///< the point with the most facets
    Box box;
  };
  int Find(int point) {
    while (clusters_[size_t(point)].parent != point) {
      int& parent = clusters_[size_t(point)].parent;
      parent = clusters_[size_t(parent)].parent;
      point = parent;
    }
    return point;
  }
  Cluster& At(int point) { return clusters_[size_t(point)]; }

  int Better(int a, int b) const {
    const size_t m = given_->Of(a).size(), n = given_->Of(b).size();
    return m != n ? (m > n ? a : b) : std::min(a, b);
  }

  /// Where a cluster will be: its best point, but on the sides of the mesh's box that it touches. False when
  /// that is no place.
  bool PlaceOf(const Box& box, int best, PbVec3f& place) const {
    place = given_points_[size_t(best)];
    for (int k = 0; k < 3; ++k) {
      const auto i = size_t(k);
      const bool lowest = box.min[i] == box_.min[i], highest = box.max[i] == box_.max[i];
      if (lowest && highest && box.min[i] != box.max[i]) return false;
      if (lowest) place[k] = float(box.min[i]);
      if (highest) place[k] = float(box.max[i]);
    }
    return true;
  }

  bool MayJoin(int a, int b) {
    a = Find(a);
    b = Find(b);
    if (a == b) return true;
    if (At(a).facets > At(b).facets) std::swap(a, b);
    for (int point = a; point >= 0; point = At(point).next) {
      for (const int facet : given_->Of(point)) {
        for (int k = 0; k < 3; ++k) {
          if (Find(mesh_.Facet(facet)[k]) == b) return false;  // it would lose a corner
        }
      }
    }
    Box box = At(a).box;
    box.Add(At(b).box);
    PbVec3f place;
    if (!PlaceOf(box, Better(At(a).best, At(b).best), place)) return false;
    Point farthest;
    for (size_t k = 0; k < 3; ++k) {
      const double c = place[int(k)];
      farthest[k] = std::max(box.max[k] - c, c - box.min[k]);
    }
    return Norm(farthest) <= tolerance_;
  }

  void Unite(int a, int b) {
    a = Find(a);
    b = Find(b);
    if (a == b) return;
    if (b < a) std::swap(a, b);
    At(b).parent = a;
    At(At(a).last).next = b;
    At(a).last = At(b).last;
    At(a).facets += At(b).facets;
    At(a).best = Better(At(a).best, At(b).best);
    At(a).box.Add(At(b).box);
  }

  void Join() {
    if (candidates_.empty()) return;
    if (!given_) {
      given_.emplace(mesh_);
      given_points_ = mesh_.points;
      for (int i = 0; i < int(mesh_.points.size()); ++i) {
        clusters_.push_back({i, -1, i, given_->Of(i).size(), i, {}});
        clusters_.back().box.Add(mesh_.At(i));
      }
    }
    std::vector<bool> stitched(open_.size() + 1, false);
    bool any = false;
    for (const Candidate& candidate : candidates_) {
      const auto [i, j] = candidate.edges;
      if (stitched[i] || stitched[j]) continue;
      bool may = true;
      for (const auto& [a, b] : candidate.pairs) may = may && MayJoin(a, b);
      if (!may) continue;
      for (const auto& [a, b] : candidate.pairs) Unite(a, b);
      any = true;
      stitched[i] = stitched[j] = i != j;
    }
    if (!any) return;
    for (size_t i = 0; i < mesh_.points.size(); ++i) {
      const int point = int(i);
      if (Find(point) != point || At(point).next < 0) continue;
      PlaceOf(At(point).box, At(point).best, mesh_.points[i]);
    }
    for (R_INT4& facet : mesh_.facets) {
      for (int k = 0; k < 3; ++k) facet[k] = Find(facet[k]);
    }
  }

  RepairedMesh& mesh_;
  const double tolerance_;
  const Box box_;
  MeshRepair& done_;
  double reach_ = 0;
  std::vector<uint64_t> open_;  // edges with an odd number of facets, in order
  size_t open_at_first_ = 0;
  std::vector<int> open_sides_;  // of each facet: edges that no other facet has
  std::vector<Candidate> candidates_;
  std::optional<FacetLists> given_;  // before anything was joined, as the points and their clusters
  std::vector<PbVec3f> given_points_;
  std::vector<Cluster> clusters_;
};

}  // namespace

void StitchEdges(RepairedMesh& mesh, double tolerance, MeshRepair& done) {
  if (!(tolerance > 0)) return;
  Stitching stitching(mesh, tolerance, done);
  for (const double share : {0.125, 0.25, 0.5, 1.0}) {
    if (!stitching.Run(share * tolerance)) break;
  }
  stitching.Report();
}

}  // namespace trqprep
