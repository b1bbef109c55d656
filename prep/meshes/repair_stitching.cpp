// Open edges become pairs: candidates are found with a tree of the points at them, and taken nearest first.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "prep/meshes/repair_steps.h"

namespace trqprep {
namespace {

// Points that are looked at near one, and facets at a point. More lie there only where a mesh is far smaller
// than the tolerance; time must not grow as their square.
constexpr size_t kMostNear = 16;
constexpr size_t kMostFacetsTried = 64;
// What may be tried for each open edge, on average, and in any mesh. Behind that only the nearest points
// count.
constexpr size_t kTriesAnEdge = 64;
constexpr size_t kTriesAnyway = 1000000;
constexpr size_t kNearThen = 1;
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// The next float from one that is not negative, up for 1 and down for -1, within 0 and infinity.
float Neighbour(float x, int direction) {
  if (x == (direction > 0 ? kInfinity : 0.0F)) return x;
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  bits += uint32_t(direction);
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

double Distance(const Point& a, const Point& b) { return Norm(Minus(a, b)); }

// Points halved again and again along their widest side (J. L. Bentley, Multidimensional binary search trees
// used for associative searching, 1975). The parts of part i are 2 i and 2 i + 1. A search begins at the
// place of its point and goes outwards as far as it must: a few parts are looked at, wherever the point lies.
class PointTree {
 public:
  /// `reaches`: of every point of the mesh, how far it will be asked about; below 0 when it is not in the
  /// tree.
  PointTree(const RepairedMesh& mesh, std::vector<float> reaches) : nearest_(std::move(reaches)) {
    points_.reserve(size_t(std::count_if(nearest_.begin(), nearest_.end(), IsAsked)));
    for (size_t i = 0; i < nearest_.size(); ++i) {
      if (IsAsked(nearest_[i])) points_.push_back({mesh.points[i], int(i)});
    }
    size_t parts = 2;
    for (size_t most = points_.size(); most > kLeaf; most = (most + 1) / 2) parts *= 2;
    axes_.resize(parts);
    boxes_.resize(parts);
    Build(1, 0, points_.size());
    FindRooms();
    places_.resize(nearest_.size());
    for (size_t place = 0; place < points_.size(); ++place) {
      const auto number = size_t(points_[place].number);
      places_[number] = uint32_t(place);
      FindNearest(place, nearest_[number]);
    }
  }

  /// Gives up what Follow makes anew. Nothing may be asked until then.
  void Rest() {
    boxes_ = {};
    rooms_ = {};
    places_ = {};
    last_found_ = {};
  }

  /// Follows its mesh after Rest, when points became one, `find(point)` that of a given number: what was
  /// found out about the others stays. False when a new tree is needed, and this one is of no use any more.
  template <class Find>
  bool Follow(const RepairedMesh& mesh, const std::vector<float>& reaches, Find find) {
    places_.assign(reaches.size(), kNowhere);
    std::vector<bool> is_moved(reaches.size(), false);
    size_t moved = 0;
    for (const bool stays : {true, false}) {
      for (size_t place = 0; place < points_.size(); ++place) {
        if (points_[place].number < 0) continue;
        const auto number = size_t(find(points_[place].number));
        if (!IsAsked(reaches[number]) || places_[number] != kNowhere) continue;
        if (stays && PointOf(points_[place].at) != mesh.At(int(number))) continue;
        places_[number] = uint32_t(place);
        if (stays) continue;
        is_moved[number] = true;
        ++moved;
      }
    }
    for (size_t i = 0; i < reaches.size(); ++i) {
      if (IsAsked(reaches[i]) && places_[i] == kNowhere) return false;
    }
    if (moved > points_.size() / 8) return false;
    std::vector<float> nearest(reaches.size(), 0);
    for (size_t place = 0; place < points_.size(); ++place) {
      Placed& point = points_[place];
      if (point.number < 0) continue;
      const auto before = size_t(point.number), number = size_t(find(point.number));
      if (places_[number] != place) {
        point = {{kInfinity, kInfinity, kInfinity}, -1};
        continue;
      }
      // Nobody came nearer but those that were moved. Nothing was found where less was asked for.
      const bool known = nearest_[before] >= 0 || reaches[number] <= -nearest_[before];
      if (known && !is_moved[number]) nearest[number] = nearest_[before];
      point = {mesh.points[number], int(number)};
    }
    nearest_ = std::move(nearest);
    boxes_.resize(axes_.size());
    FindBoxes(1, 0, points_.size());
    FindRooms();
    std::optional<PointTree> among_moved;
    if (moved > 0) {
      std::vector<float> of_moved(reaches.size(), -1);
      for (size_t i = 0; i < is_moved.size(); ++i) {
        if (is_moved[i]) of_moved[i] = 0;
      }
      among_moved.emplace(mesh, std::move(of_moved));
    }
    // Points that follow each other lie near each other: most of these are far from all that were moved.
    for (size_t first = 0, last = 0; first < points_.size(); first = last) {
      last = std::min(first + kLeaf, points_.size());
      const bool near_moved =
          among_moved && among_moved->HasAny(BoxOf(first, last), MostOf(reaches, first, last));
      for (size_t place = first; place < last; ++place) {
        if (points_[place].number < 0) continue;
        const auto number = size_t(points_[place].number);
        if (near_moved || nearest_[number] == 0) FindNearest(place, reaches[number]);
      }
    }
    return true;
  }

  /// False when no other point lies within `reach` of one.
  bool HasNear(int point, double reach) const {
    const float nearest = nearest_[size_t(point)];
    return nearest >= 0 && double(nearest) <= reach;
  }

  /// The points within `reach` of one, itself first, then the nearest; `most` besides itself.
  void Near(int point, double reach, size_t most, std::vector<int>& found) {
    found.assign(1, point);
    if (!HasNear(point, reach)) return;
    Found& last = last_found_[size_t(point) % last_found_.size()];
    if (last.point != point || last.reach != reach || last.most != most) {
      most_ = most;
      SearchAround(places_[size_t(point)], reach);
      std::sort_heap(near_.begin(), near_.end());
      last = {point, reach, most, {}};
      for (const auto& [distance, other] : near_) last.near.push_back(other);
    }
    found.insert(found.end(), last.near.begin(), last.near.end());
  }

 private:
  struct Placed {
    PbVec3f at;
    int number;  ///< below 0 and infinitely far away: it became one with another
  };
  struct FloatBox {
    PbVec3f min;
    PbVec3f max;
  };
  // The edges of a facet follow each other, and so do questions about its corners.
  struct Found {
    int point = -1;
    double reach = 0;
    size_t most = 0;
    std::vector<int> near;
  };
  static constexpr size_t kLeaf = 12;  // so few are looked at one by one
  static constexpr uint32_t kNowhere = std::numeric_limits<uint32_t>::max();

  static bool IsAsked(float reach) { return reach >= 0; }

  void FindNearest(size_t place, float reach) {
    most_ = 1;
    if (reach > 0) SearchAround(place, double(reach));
    const bool any = reach > 0 && !near_.empty();
    nearest_[size_t(points_[place].number)] =
        any ? Neighbour(float(near_[0].first), -1)
            : -std::max(reach, std::numeric_limits<float>::denorm_min());
  }

  /// Whether a point may lie within `reach` of a box: false is sure.
  bool HasAny(const FloatBox& box, float reach) {
    if (box.min[0] > box.max[0]) return false;
    near_.clear();
    const Point low = PointOf(box.min), high = PointOf(box.max);
    for (size_t k = 0; k < 3; ++k) centre_[k] = low[k] + (high[k] - low[k]) / 2;
    but_ = -1;
    most_ = 1;
    Shorten(double(reach) + Distance(low, high) * 0.51);
    if (SquareTo(1) <= square_) Search(1, 0, points_.size());
    return !near_.empty();
  }

  float MostOf(const std::vector<float>& reaches, size_t first, size_t last) const {
    float most = 0;
    for (size_t i = first; i < last; ++i) {
      if (points_[i].number >= 0) most = std::max(most, reaches[size_t(points_[i].number)]);
    }
    return most;
  }

  void Build(size_t part, size_t first, size_t last) {
    if (first == last) return;
    boxes_[part] = BoxOf(first, last);
    if (last - first <= kLeaf) return;
    const int axis = WidestSide(boxes_[part]);
    axes_[part] = static_cast<unsigned char>(axis);
    const size_t middle = Middle(first, last);
    const auto at = [this](size_t i) { return points_.begin() + static_cast<std::ptrdiff_t>(i); };
    // Equal ones are parted by the other axes: both parts of a plane would be searched for each point of it.
    std::nth_element(at(first), at(middle), at(last), [axis](const Placed& a, const Placed& b) {
      for (int k = axis; k < axis + 2; ++k) {
        if (a.at[k % 3] != b.at[k % 3]) return a.at[k % 3] < b.at[k % 3];
      }
      return a.at[(axis + 2) % 3] < b.at[(axis + 2) % 3];
    });
    Build(2 * part, first, middle);
    Build(2 * part + 1, middle, last);
  }

  static FloatBox Nothing() {
    return {{kInfinity, kInfinity, kInfinity}, {-kInfinity, -kInfinity, -kInfinity}};
  }

  static void Extend(FloatBox& box, const PbVec3f& min, const PbVec3f& max) {
    for (int k = 0; k < 3; ++k) {
      box.min[k] = std::min(box.min[k], min[k]);
      box.max[k] = std::max(box.max[k], max[k]);
    }
  }

  FloatBox BoxOf(size_t first, size_t last) const {
    FloatBox box = Nothing();
    for (size_t i = first; i < last; ++i) {
      if (points_[i].number >= 0) Extend(box, points_[i].at, points_[i].at);
    }
    return box;
  }

  /// The boxes of the parts as they are, with the points where they are now.
  void FindBoxes(size_t part, size_t first, size_t last) {
    if (first == last) return;
    if (last - first <= kLeaf) {
      boxes_[part] = BoxOf(first, last);
      return;
    }
    FindBoxes(2 * part, first, Middle(first, last));
    FindBoxes(2 * part + 1, Middle(first, last), last);
    boxes_[part] = boxes_[2 * part];
    Extend(boxes_[part], boxes_[2 * part + 1].min, boxes_[2 * part + 1].max);
  }

  static int WidestSide(const FloatBox& box) {
    int axis = 0;
    for (const int k : {1, 2}) {
      if (double(box.max[k]) - box.min[k] > double(box.max[axis]) - box.min[axis]) axis = k;
    }
    return axis;
  }

  /// Between the points of all other parts: what lies within a room is near points of its part only.
  void FindRooms() {
    rooms_.resize(boxes_.size());
    if (!points_.empty()) FindRooms(1, 0, points_.size(), {Nothing().max, Nothing().min});
  }

  void FindRooms(size_t part, size_t first, size_t last, const FloatBox& room) {
    rooms_[part] = room;
    if (last - first <= kLeaf) return;
    const int axis = axes_[part];
    FloatBox lower = room, upper = room;
    lower.max[axis] = std::min(room.max[axis], boxes_[2 * part + 1].min[axis]);
    upper.min[axis] = std::max(room.min[axis], boxes_[2 * part].max[axis]);
    const size_t middle = Middle(first, last);
    FindRooms(2 * part, first, middle, lower);
    FindRooms(2 * part + 1, middle, last, upper);
  }

  static size_t Middle(size_t first, size_t last) { return first + (last - first) / 2; }

  /// What lies within `reach` of the point at a place, nearest `most_`.
  void SearchAround(size_t place, double reach) {
    near_.clear();
    centre_ = PointOf(points_[place].at);
    but_ = points_[place].number;
    Shorten(reach);
    struct Part {
      size_t number, first, last;
    };
    std::array<Part, 64> path;  // the parts that hold the place, all points first
    path[0] = {1, 0, points_.size()};
    size_t depth = 0;
    while (path[depth].last - path[depth].first > kLeaf) {
      Part half = path[depth];
      const size_t middle = Middle(half.first, half.last);
      const bool lower = place < middle;
      half.number = 2 * half.number + (lower ? 0 : 1);
      (lower ? half.last : half.first) = middle;
      path[++depth] = half;
    }
    Search(path[depth].number, path[depth].first, path[depth].last);
    for (; depth > 0 && !Within(rooms_[path[depth].number]); --depth) {
      const Part& own = path[depth];
      const Part& both = path[depth - 1];
      const size_t other = own.number ^ 1;
      if (SquareTo(other) > square_) continue;
      own.first == both.first ? Search(other, own.last, both.last) : Search(other, both.first, own.first);
    }
  }

  bool Within(const FloatBox& room) const {
    const double more = reach_ * (1 + 1e-12);
    for (int k = 0; k < 3; ++k) {
      const double c = centre_[size_t(k)];
      if (!(c - room.min[k] > more && room.max[k] - c > more)) return false;
    }
    return true;
  }

  void Search(size_t part, size_t first, size_t last) {
    if (last - first <= kLeaf) {
      for (size_t i = first; i < last; ++i) Try(points_[i]);
      return;
    }
    const size_t middle = Middle(first, last);
    const double low = SquareTo(2 * part), high = SquareTo(2 * part + 1);
    // The nearer ones first: the others are seldom near enough then.
    for (const bool lower : {low <= high, low > high}) {
      if ((lower ? low : high) > square_) continue;
      lower ? Search(2 * part, first, middle) : Search(2 * part + 1, middle, last);
    }
  }

  double SquareTo(size_t part) const {
    const FloatBox& box = boxes_[part];
    double square = 0;
    for (int k = 0; k < 3; ++k) {
      const double c = centre_[size_t(k)];
      const double off = std::max({double(box.min[k]) - c, c - double(box.max[k]), 0.0});
      square += off * off;
    }
    return square;
  }

  void Try(const Placed& point) {
    if (point.number == but_) return;
    const Point off = Minus(centre_, PointOf(point.at));
    if (Dot(off, off) > square_) return;
    const double distance = Norm(off);
    if (distance > reach_) return;
    near_.push_back({distance, point.number});
    std::push_heap(near_.begin(), near_.end());
    if (near_.size() <= most_) return;
    std::pop_heap(near_.begin(), near_.end());
    near_.pop_back();
    Shorten(near_.front().first);
  }

  void Shorten(double reach) {
    reach_ = reach;
    square_ = reach * reach * (1 + 1e-12);  // rounding keeps nothing away
  }

  std::vector<Placed> points_;
  std::vector<FloatBox> boxes_;      // of the parts
  std::vector<unsigned char> axes_;  // of the parts: along which they were halved
  std::vector<FloatBox> rooms_;      // of the parts
  std::vector<uint32_t> places_;     // by number: where in points_
  std::vector<float> nearest_;       // by number: no other point is nearer; negative: none within so much
  // A search.
  std::vector<std::pair<double, int>> near_;  // a heap, the farthest in front
  size_t most_ = 0;
  Point centre_;
  int but_ = 0;
  double reach_ = 0;
  double square_ = 0;  // of the reach, or a little more
  std::array<Found, 16> last_found_;
};

/// Things in the order of the points that they belong to.
template <class Thing>
class Lists {
 public:
  /// `add_all(add)` calls add(point, thing) for everything, in the order of each list, and is called twice.
  template <class AddAll>
  Lists(size_t points, AddAll add_all) : first_(points + 2, 0) {
    add_all([this](int point, const Thing&) { ++first_[size_t(point) + 2]; });
    for (size_t i = 2; i < first_.size(); ++i) first_[i] += first_[i - 1];
    all_.resize(first_.back());
    add_all([this](int point, const Thing& thing) { all_[first_[size_t(point) + 1]++] = thing; });
  }
  trq::Span<const Thing> Of(int point) const {
    const size_t first = first_[size_t(point)];
    return {all_.data() + first, first_[size_t(point) + 1] - first};
  }

 private:
  std::vector<uint32_t> first_;  // where each point's things begin in all_
  std::vector<Thing> all_;
};

using FacetLists = Lists<int>;
FacetLists ListsOf(const RepairedMesh& mesh) {
  return {mesh.points.size(), [&mesh](auto add) {
            for (size_t i = 0; i < mesh.facets.size(); ++i) {
              for (int k = 0; k < 3; ++k) add(mesh.facets[i][k], int(i));
            }
          }};
}

/// Points that may become one, two and two: the ends of two open edges, or the corners of two facets.
struct Candidate {
  double distance;  ///< the largest of the pairs
  uint32_t first;   ///< numbers of the open edges or facets
  uint32_t second;
  /// How they lie on each other. Edges: 1 when the lower end of one comes to the higher of the other.
  /// Facets: kFacets and by how much the first and the second are rotated, and whether the second is turned.
  uint32_t turn;
};
constexpr uint32_t kFacets = 2;

class Stitching {
 public:
  Stitching(Observer& observer, RepairedMesh& mesh, double tolerance, int64_t& looks, MeshRepair& done)
      : observer_(observer),
        mesh_(mesh),
        tolerance_(tolerance),
        looks_(looks),
        box_(BoxOf(mesh)),
        done_(done) {}

  /// False when nothing is open, or nothing may be looked at any more.
  bool Run(double reach) {
    reach_ = reach;
    if (changed_) {
      if (looks_ <= 0) return false;
      Look();
    }
    if (open_.empty()) return false;
    stitched_.assign(open_.size(), false);
    last_.reset();
    do {
      observer_.StopIfCancelled();
      limit_.reset();
      candidates_.clear();
      FindEdges();
      FindFacets();
      std::sort(candidates_.begin(), candidates_.end(),
                [this](const Candidate& a, const Candidate& b) { return Before(a, b); });
      for (const Candidate& candidate : candidates_) Join(candidate);
      if (limit_) last_ = limit_;
    } while (limit_);
    if (changed_) Move();
    return true;
  }

  /// Counts what was done.
  void Report() {
    if (!given_) return;
    if (changed_) FindOpenEdges();
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
    std::vector<unsigned char> open_sides(mesh_.facets.size(), 0);
    ForEachEdge(SortedEdges(mesh_.facets), [&](EdgeUses uses) {
      if (uses.size() % 2 == 0) return;
      open_.push_back(uses[0].edge);
      if (uses.size() == 1) ++open_sides[size_t(uses[0].facet)];
    });
    loose_.clear();
    for (size_t i = 0; i < open_sides.size(); ++i) {
      if (open_sides[i] > 1) loose_.push_back(int(i));
    }
    if (!given_) open_at_first_ = open_.size();
  }

  /// What is open and what lies near it: the same until something is joined.
  void Look() {
    arcs_.reset();
    for (std::optional<PointTree>* tree : {&end_tree_, &tree_}) {
      if (*tree) (*tree)->Rest();
    }
    lists_.reset();
    FindOpenEdges();
    if (open_.empty()) return;
    changed_ = false;
    looks_ -= int64_t(open_.size());
    arcs_.emplace(mesh_.points.size(), [this](auto add) {
      for (size_t i = 0; i < open_.size(); ++i) {
        const auto [a, b] = EndsOf(open_[i]);
        add(a, {b, uint32_t(i)});
        add(b, {a, uint32_t(i)});
      }
    });
    std::vector<float> reaches(mesh_.points.size(), -1);
    const auto reach_at = [&](int point, double reach) {
      float& at = reaches[size_t(point)];
      at = std::max(at, Neighbour(float(std::min(tolerance_, reach)), 1));
    };
    for (const uint64_t edge : open_) {
      const auto [a, b] = EndsOf(edge);
      for (const int end : {a, b}) reach_at(end, Distance(mesh_.At(a), mesh_.At(b)) / 2);
    }
    const auto not_ends = std::count(reaches.begin(), reaches.end(), -1.0F);
    Plant(end_tree_, reaches);
    if (loose_.empty()) {
      tree_.reset();
      return;
    }
    lists_ = std::make_shared<const FacetLists>(ListsOf(mesh_));
    reaches.assign(reaches.size(), -1);
    for (size_t i = 0; i < reaches.size(); ++i) {
      if (!lists_->Of(int(i)).empty()) reaches[i] = 0;
    }
    if (std::count(reaches.begin(), reaches.end(), -1.0F) == not_ends) {
      tree_.reset();
      return;
    }
    for (const int facet : loose_) {
      for (int k = 0; k < 3; ++k) reach_at(mesh_.Facet(facet)[k], ReachOf(mesh_.Facet(facet)));
    }
    Plant(tree_, reaches);
  }

  /// A tree for these reaches: the one before where it can follow.
  void Plant(std::optional<PointTree>& tree, const std::vector<float>& reaches) {
    if (tree && tree->Follow(mesh_, reaches, [this](int point) { return Find(point); })) return;
    tree.reset();
    tree.emplace(mesh_, reaches);
  }

  /// How far the corners of a facet may be moved: half its shortest edge.
  double ReachOf(const R_INT4& t) const {
    double reach = tolerance_;
    for (int k = 0; k < 3; ++k) {
      reach = std::min(reach, Distance(mesh_.At(t[k]), mesh_.At(t[(k + 1) % 3])) / 2);
    }
    return reach;
  }

  static std::pair<int, int> EndsOf(uint64_t edge) { return {int(edge >> 32), int(edge & 0xFFFFFFFFu)}; }

  /// Pairs of open edges whose ends lie together.
  void FindEdges() {
    std::vector<int> near_a, near_b;
    const size_t most_tries = kTriesAnyway + kTriesAnEdge * open_.size();
    size_t tries = 0;
    for (size_t i = 0; i < open_.size(); ++i) {
      if (stitched_[i]) continue;
      observer_.StopIfCancelled();
      const auto [a, b] = EndsOf(open_[i]);
      if (!end_tree_->HasNear(a, Reach()) && !end_tree_->HasNear(b, Reach())) continue;
      const double length = Distance(mesh_.At(a), mesh_.At(b));
      // Ends farther apart than half of an edge belong to the two sides of a hole.
      const double reach = std::min(Reach(), length / 2);
      if (!end_tree_->HasNear(a, reach) && !end_tree_->HasNear(b, reach)) continue;
      const size_t most = tries < most_tries ? kMostNear : kNearThen;
      end_tree_->Near(a, reach, most, near_a);
      end_tree_->Near(b, reach, most, near_b);
      const auto pair = [&, a = a, b = b](int c, const Arc& arc) {
        const size_t j = arc.edge;
        if (j <= i || stitched_[j]) return;
        const double distance =
            std::max(Distance(mesh_.At(a), mesh_.At(c)), Distance(mesh_.At(b), mesh_.At(arc.to)));
        if (distance > std::min(length, Distance(mesh_.At(c), mesh_.At(arc.to))) / 2) return;
        Add({distance, uint32_t(i), uint32_t(j), c < arc.to ? 0U : 1U});
      };
      for (const int c : near_a) {
        const trq::Span<const Arc> arcs = arcs_->Of(c);
        if (arcs.size() <= near_b.size()) {
          tries += arcs.size();
          for (const Arc& arc : arcs) {
            if (std::find(near_b.begin(), near_b.end(), arc.to) != near_b.end()) pair(c, arc);
          }
          continue;
        }
        tries += near_b.size();
        for (const int d : near_b) {
          const auto arc = std::lower_bound(arcs.begin(), arcs.end(), d,
                                            [](const Arc& of_c, int point) { return of_c.to < point; });
          if (arc != arcs.end() && arc->to == d) pair(c, *arc);
        }
      }
    }
  }

  /// Facets with two open edges that lie on another one: nearly given twice.
  void FindFacets() {
    if (loose_.empty()) return;
    PointTree& tree = tree_ ? *tree_ : *end_tree_;
    std::vector<int> near;
    const size_t most_tries = kTriesAnyway + kTriesAnEdge * loose_.size();
    size_t tries = 0;
    for (const int facet : loose_) {
      observer_.StopIfCancelled();
      int rotated = 0;
      R_INT4 t = mesh_.Facet(facet);
      const auto any_near = [&](double reach) {
        return tree.HasNear(t[0], reach) || tree.HasNear(t[1], reach) || tree.HasNear(t[2], reach);
      };
      if (!any_near(Reach())) continue;
      const double reach = std::min(Reach(), ReachOf(t));
      if (!any_near(reach)) continue;
      for (; rotated < 2 && lists_->Of(t[1]).size() < lists_->Of(t[0]).size(); ++rotated) t = Rotated(t, 1);
      tree.Near(t[0], reach, tries < most_tries ? kMostNear : kNearThen, near);
      for (const int point : near) {
        const auto others = lists_->Of(point);
        for (const int other : others.First(std::min(others.size(), kMostFacetsTried))) {
          ++tries;
          if (other == facet || HasEqualIndices(mesh_.Facet(other))) continue;
          int by = 0;
          while (mesh_.Facet(other)[by] != point) ++by;
          for (const int turned : {0, 1}) {
            Candidate candidate{0, uint32_t(facet), uint32_t(other),
                                kFacets + uint32_t(rotated + 3 * by + 9 * turned)};
            bool joined = given_ != nullptr;
            for (const auto& [p, q] : PairsOf(candidate)) {
              candidate.distance = std::max(candidate.distance, Distance(mesh_.At(p), mesh_.At(q)));
              joined = joined && Find(p) == Find(q);
            }
            if (candidate.distance > 0 && candidate.distance <= reach && !joined) Add(candidate);
          }
        }
      }
    }
  }

  static R_INT4 Rotated(const R_INT4& t, int by) { return {t[by % 3], t[(by + 1) % 3], t[(by + 2) % 3]}; }

  // --- candidates -----------------------------------------------------------------------------------------

  /// The points that would become one; equal ones where there is nothing to do.
  std::array<std::pair<int, int>, 3> PairsOf(const Candidate& candidate) const {
    const auto [first, second] = std::pair(candidate.first, candidate.second);
    if (candidate.turn < kFacets) {
      const auto [a, b] = EndsOf(open_[first]);
      const auto [c, d] = EndsOf(open_[second]);
      const bool crossed = candidate.turn == 1;
      return {{{a, crossed ? d : c}, {b, crossed ? c : d}, {a, a}}};
    }
    const int turn = int(candidate.turn - kFacets);
    const R_INT4 t = Rotated(mesh_.facets[first], turn % 3);
    R_INT4 u = Rotated(mesh_.facets[second], turn / 3 % 3);
    if (turn >= 9) std::swap(u[1], u[2]);
    return {{{t[0], u[0]}, {t[1], u[1]}, {t[2], u[2]}}};
  }

  /// The nearest first, edges before facets.
  bool Before(const Candidate& a, const Candidate& b) const {
    if (a.distance != b.distance) return a.distance < b.distance;
    const bool facets_a = a.turn >= kFacets, facets_b = b.turn >= kFacets;
    if (facets_a != facets_b) return facets_b;
    if (facets_a) return PairsOf(a) < PairsOf(b);
    return std::tie(a.first, a.second, a.turn) < std::tie(b.first, b.second, b.turn);
  }

  /// How far apart points may be to be of use in this batch.
  double Reach() const { return limit_ ? std::min(reach_, limit_->distance) : reach_; }

  /// Keeps the nearest of those that come after the last batch: so memory stays small where there are many.
  void Add(const Candidate& candidate) {
    if ((last_ && !Before(*last_, candidate)) || (limit_ && !Before(candidate, *limit_))) return;
    candidates_.push_back(candidate);
    const size_t batch = std::max<size_t>(1 << 16, open_.size() / 2);
    if (candidates_.size() < 2 * batch) return;
    const auto end = candidates_.begin() + static_cast<std::ptrdiff_t>(batch);
    std::nth_element(candidates_.begin(), end - 1, candidates_.end(),
                     [this](const Candidate& a, const Candidate& b) { return Before(a, b); });
    limit_ = *(end - 1);
    candidates_.erase(end, candidates_.end());
  }

  // --- joining ------------------------------------------------------------------------------------------

  /// Points as they were given that became one, named by the lowest of them.
  struct Cluster {
    int parent;
    int next;         ///< the next point of the cluster, or -1
    int last;         ///< of a cluster's name: its last point
    uint32_t facets;  ///< of all points
    int best;         ///< the point with the most facets
    PbVec3f low;      ///< their box
    PbVec3f high;
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

  static Box BoxOfCluster(const Cluster& cluster) { return {PointOf(cluster.low), PointOf(cluster.high)}; }

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

  /// Whether two clusters have a place together.
  bool MayMeet(int a, int b) {
    a = Find(a);
    b = Find(b);
    if (a == b) return true;
    Box box = BoxOfCluster(At(a));
    box.Add(BoxOfCluster(At(b)));
    PbVec3f place;
    if (!PlaceOf(box, Better(At(a).best, At(b).best), place)) return false;
    Point farthest;
    for (size_t k = 0; k < 3; ++k) {
      const double c = place[int(k)];
      farthest[k] = std::max(box.max[k] - c, c - box.min[k]);
    }
    return Norm(farthest) <= tolerance_;
  }

  /// Whether a facet would lose a corner if two clusters became one; of clusters with many facets each this
  /// is only looked up, unless `search_many`.
  bool ShareFacet(int a, int b, bool search_many) {
    a = Find(a);
    b = Find(b);
    if (a == b) return false;
    if (At(a).facets > At(b).facets) std::swap(a, b);
    const bool many = At(a).facets > kMostFacetsTried;
    if (many && !search_many) return shared_.count({a, b}) > 0;
    if (many != search_many) return false;
    for (int point = a; point >= 0; point = At(point).next) {
      for (const int facet : given_->Of(point)) {
        for (int k = 0; k < 3; ++k) {
          if (Find(mesh_.Facet(facet)[k]) != b) continue;
          if (many) shared_.insert({a, b});
          return true;
        }
      }
    }
    return false;
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
    for (int k = 0; k < 3; ++k) {
      At(a).low[k] = std::min(At(a).low[k], At(b).low[k]);
      At(a).high[k] = std::max(At(a).high[k], At(b).high[k]);
    }
  }

  void Join(const Candidate& candidate) {
    const bool edges = candidate.turn < kFacets;
    if (edges && (stitched_[candidate.first] || stitched_[candidate.second])) return;
    if (!given_) {
      given_ = lists_ ? lists_ : std::make_shared<const FacetLists>(ListsOf(mesh_));
      given_points_ = mesh_.points;
      clusters_.reserve(mesh_.points.size());
      for (int i = 0; i < int(mesh_.points.size()); ++i) {
        const PbVec3f& point = mesh_.points[size_t(i)];
        clusters_.push_back({i, -1, i, uint32_t(given_->Of(i).size()), i, point, point});
      }
    }
    const auto pairs = PairsOf(candidate);
    for (const auto& [a, b] : pairs) {
      if (!MayMeet(a, b)) return;
    }
    for (const bool search_many : {false, true}) {
      for (const auto& [a, b] : pairs) {
        if (ShareFacet(a, b, search_many)) return;
      }
    }
    for (const auto& [a, b] : pairs) Unite(a, b);
    changed_ = true;
    if (edges) stitched_[candidate.first] = stitched_[candidate.second] = true;
  }

  /// Moves what was joined to its place.
  void Move() {
    for (size_t i = 0; i < mesh_.points.size(); ++i) {
      const int point = int(i);
      if (Find(point) != point || At(point).next < 0) continue;
      PlaceOf(BoxOfCluster(At(point)), At(point).best, mesh_.points[i]);
    }
    for (R_INT4& facet : mesh_.facets) {
      for (int k = 0; k < 3; ++k) facet[k] = Find(facet[k]);
    }
  }

  /// An open edge at a point.
  struct Arc {
    int to;
    uint32_t edge;
  };

  Observer& observer_;
  RepairedMesh& mesh_;
  const double tolerance_;
  int64_t& looks_;
  const Box box_;
  MeshRepair& done_;
  double reach_ = 0;
  bool changed_ = true;         // since Look
  std::vector<uint64_t> open_;  // edges with an odd number of facets, in order
  size_t open_at_first_ = 0;
  std::vector<int> loose_;  // facets with at least two edges that no other facet has
  std::optional<Lists<Arc>> arcs_;
  std::optional<PointTree> end_tree_;  // of the ends of open edges
  std::optional<PointTree> tree_;      // of all corners; none where these are the same
  std::shared_ptr<const FacetLists> lists_;
  std::vector<bool> stitched_;  // of open edges
  std::vector<Candidate> candidates_;
  std::optional<Candidate> last_;            // of the batch before
  std::optional<Candidate> limit_;           // of this batch, when there are more
  std::shared_ptr<const FacetLists> given_;  // before anything was joined, as the points and their clusters
  std::vector<PbVec3f> given_points_;
  std::vector<Cluster> clusters_;
  std::set<std::pair<int, int>> shared_;  // clusters of many facets that share one
};

}  // namespace

void StitchEdges(Observer& observer, RepairedMesh& mesh, double tolerance, int64_t& looks, MeshRepair& done) {
  if (!(tolerance > 0)) return;
  Stitching stitching(observer, mesh, tolerance, looks, done);
  for (const double share : {0.125, 0.25, 0.5, 1.0}) {
    if (!stitching.Run(share * tolerance)) break;
  }
  stitching.Report();
}

}  // namespace trqprep
