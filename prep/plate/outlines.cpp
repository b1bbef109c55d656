#include "prep/plate/outlines.h"
#include "trq/core/elementary.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <optional>
#include <polyclipping/clipper.hpp>
#include <utility>

namespace trqprep {
namespace {

namespace cl = ClipperLib;

constexpr double kSteps = 536870912;     // of the grid over the longer side; Clipper is fast up to 2^30
constexpr size_t kFewCorners = 32;       // are left as they are
constexpr size_t kMostCorners = 10'000;  // are of use to anybody
constexpr double kMostUnionWork = 4e6;   // edges looked at, about 0.1 s
constexpr size_t kMostRasterWork = 10'000'000;  // rows and words, about 0.1 s; a facet adds
constexpr size_t kRasterWorkOfFacet = 80;
constexpr size_t kMostRasterEdges = 1'000'000;
constexpr double kMostCells = 131072;  // along the longer side
constexpr double kMostBends = 0.99;    // of the room that growing made

/// A corner on the grid.
struct Dot2 {
  int32_t x;
  int32_t y;
  friend bool operator==(const Dot2& a, const Dot2& b) { return a.x == b.x && a.y == b.y; }
};

/// From one corner to another, by number.
struct Side {
  uint32_t from;
  uint32_t to;
};

int64_t TwiceArea(const Dot2& a, const Dot2& b, const Dot2& c) {
  return int64_t(b.x - a.x) * (c.y - a.y) - int64_t(b.y - a.y) * (c.x - a.x);
}

/// Facets on the grid: corners at one place are one, a facet is there once, counter-clockwise. `lines` are
/// facets seen edge-on, but for those that are sides of others.
struct Shadow {
  Box box;
  double unit = 1;  ///< of the grid, whose origin is the lower corner of the box
  std::vector<Dot2> corners;
  std::vector<std::array<uint32_t, 3>> facets;
  std::vector<Side> lines;
};

/// Items by their first number, those of one number next to each other.
template <class Item, class Key>
std::vector<Item> Grouped(const std::vector<Item>& items, size_t keys, std::vector<uint32_t>& starts,
                          Key key) {
  starts.assign(keys + 1, 0);
  for (const Item& item : items) ++starts[key(item) + 1];
  std::partial_sum(starts.begin(), starts.end(), starts.begin());
  std::vector<Item> grouped(items.size());
  std::vector<uint32_t> next(starts.begin(), starts.end() - 1);
  for (const Item& item : items) grouped[next[key(item)]++] = item;
  return grouped;
}

/// Sorts by group and then by `less`, and leaves one of each that is equal.
template <class Item, class Key, class Less>
void MakeDistinct(std::vector<Item>& items, size_t keys, Key key, Less less) {
  std::vector<uint32_t> starts;
  items = Grouped(items, keys, starts, key);
  size_t kept = 0;
  for (size_t k = 0; k < keys; ++k) {
    const auto first = items.begin() + starts[k], last = items.begin() + starts[k + 1];
    std::sort(first, last, less);
    for (auto item = first; item != last; ++item) {
      if (item == first || less(*(item - 1), *item)) items[kept++] = *item;
    }
  }
  items.resize(kept);
}

// Leaves each place once, in the order of their first ones, and answers their numbers. Sorted rather than
// hashed, so that no places make it slow.
std::vector<uint32_t> Weld(std::vector<Dot2>& dots) {
  std::vector<std::pair<uint64_t, uint32_t>> sorted;
  sorted.reserve(dots.size());
  for (const Dot2& dot : dots) {
    sorted.emplace_back(uint64_t(uint32_t(dot.x)) << 32 | uint32_t(dot.y), uint32_t(sorted.size()));
  }
  std::sort(sorted.begin(), sorted.end());
  std::vector<uint32_t> numbers(dots.size());  // first that of an equal one
  for (size_t i = 0, first = 0; i < sorted.size(); ++i) {
    if (sorted[i].first != sorted[first].first) first = i;
    numbers[sorted[i].second] = sorted[first].second;
  }
  size_t kept = 0;
  for (size_t i = 0; i < dots.size(); ++i) {
    const bool known = numbers[i] != i;
    if (!known) dots[kept] = dots[i];
    numbers[i] = known ? numbers[numbers[i]] : uint32_t(kept++);
  }
  dots.resize(kept);
  return numbers;
}

// Lines that are no side of a facet; a place, only where nothing else ends.
void KeepLoneLines(Shadow& shadow) {
  const auto less = [](const Side& a, const Side& b) {
    return a.from != b.from ? a.from < b.from : a.to < b.to;
  };
  const auto from = [](const Side& line) { return line.from; };
  MakeDistinct(shadow.lines, shadow.corners.size(), from, less);
  std::vector<bool> known(shadow.lines.size(), false), used(shadow.corners.size(), false);
  for (const auto& facet : shadow.facets) {
    for (size_t k = 0; k < 3; ++k) {
      const uint32_t a = facet[k], b = facet[(k + 1) % 3];
      used[a] = true;
      const Side side{std::min(a, b), std::max(a, b)};
      const auto found = std::lower_bound(shadow.lines.begin(), shadow.lines.end(), side, less);
      if (found != shadow.lines.end() && !less(side, *found))
        known[size_t(found - shadow.lines.begin())] = true;
    }
  }
  for (const Side& line : shadow.lines) {
    if (line.from != line.to) used[line.from] = used[line.to] = true;
  }
  size_t kept = 0;
  for (size_t i = 0; i < known.size(); ++i) {
    const Side line = shadow.lines[i];
    if (!(line.from == line.to ? used[line.from] : known[i])) shadow.lines[kept++] = line;
  }
  shadow.lines.resize(kept);
}

Shadow ShadowOf(const trq::core::MeshView& mesh, const Matrix4& matrix) {
  Shadow shadow;
  const auto place = [&](int32_t index) {
    const float* v = mesh.Vertex(index);
    return matrix.Apply({v[0], v[1], v[2]});
  };
  const auto usable = [](const Point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]); };
  // Vertices that no facet has may be anywhere.
  std::vector<bool> used(mesh.vertices.size(), false);
  std::vector<bool> finite(mesh.vertices.size() + 1, true);
  for (size_t i = 0; i < mesh.vertices.size(); ++i) finite[i] = usable(place(int32_t(i)));
  const auto slot = [&](int32_t index) {
    return uint32_t(index) < mesh.vertices.size() ? size_t(index) : mesh.vertices.size();
  };
  const auto whole = [&](const R_INT4& t) {
    return finite[slot(t[0])] && finite[slot(t[1])] && finite[slot(t[2])];
  };
  used.push_back(false);
  for (const R_INT4& t : mesh.triangles) {
    if (!whole(t)) continue;
    for (int k = 0; k < 3; ++k) used[slot(t[k])] = true;
  }
  for (size_t i = 0; i < used.size(); ++i) {
    if (used[i]) shadow.box.Add(place(i < mesh.vertices.size() ? int32_t(i) : -1));
  }
  if (shadow.box.Empty()) return shadow;
  const Point size = shadow.box.Size();
  const double longest = std::max(size[0], size[1]);
  if (longest > 0) {
    const double power = trq::core::PowerOfTwo(trq::core::BinaryExponent(longest));
    shadow.unit = (longest == power / 2 ? longest : power) / kSteps;
  }
  if (!(longest > 0 && shadow.unit > 0)) shadow.unit = 1 / kSteps;
  std::vector<uint32_t> numbers(used.size(), 0);  // first of the used ones, then of places
  for (size_t i = 0; i < used.size(); ++i) {
    if (!used[i]) continue;
    const Point p = place(i < mesh.vertices.size() ? int32_t(i) : -1);
    numbers[i] = uint32_t(shadow.corners.size());
    shadow.corners.push_back({int32_t(std::round((p[0] - shadow.box.min[0]) / shadow.unit)),
                              int32_t(std::round((p[1] - shadow.box.min[1]) / shadow.unit))});
  }
  const std::vector<uint32_t> places = Weld(shadow.corners);
  for (size_t i = 0; i < used.size(); ++i) {
    if (used[i]) numbers[i] = places[numbers[i]];
  }
  for (const R_INT4& t : mesh.triangles) {
    if (!whole(t)) continue;
    std::array<uint32_t, 3> f{numbers[slot(t[0])], numbers[slot(t[1])], numbers[slot(t[2])]};
    const auto at = [&](size_t k) { return shadow.corners[f[k]]; };
    const int64_t area = TwiceArea(at(0), at(1), at(2));
    if (area == 0) {
      // The two ends of the three.
      const auto order = [&](uint32_t a, uint32_t b) {
        const Dot2 &p = shadow.corners[a], &q = shadow.corners[b];
        return p.x != q.x ? p.x < q.x : p.y < q.y;
      };
      const auto [low, high] = std::minmax_element(f.begin(), f.end(), order);
      shadow.lines.push_back({std::min(*low, *high), std::max(*low, *high)});
      continue;
    }
    if (area < 0) std::swap(f[1], f[2]);
    std::rotate(f.begin(), std::min_element(f.begin(), f.end()), f.end());
    shadow.facets.push_back(f);
  }
  MakeDistinct(
      shadow.facets, shadow.corners.size(), [](const auto& f) { return f[0]; },
      [](const auto& a, const auto& b) { return a[1] != b[1] ? a[1] < b[1] : a[2] < b[2]; });
  KeepLoneLines(shadow);
  return shadow;
}

// The sides at which the number of facets over a place changes, as often as by how many; facets are on their
// left. Where two facets lie on both sides of an edge, it is none; where both lie on one, it counts twice.
std::vector<Side> Silhouette(const Shadow& shadow) {
  struct Entry {
    uint32_t low;
    uint32_t high;
    int32_t sense;
  };
  std::vector<Entry> sides;
  sides.reserve(3 * shadow.facets.size());
  for (const auto& f : shadow.facets) {
    for (size_t k = 0; k < 3; ++k) {
      const uint32_t a = f[k], b = f[(k + 1) % 3];
      sides.push_back({std::min(a, b), std::max(a, b), a < b ? 1 : -1});
    }
  }
  std::vector<uint32_t> starts;
  sides = Grouped(sides, shadow.corners.size(), starts, [](const Entry& side) { return side.low; });
  std::vector<Side> result;
  for (size_t k = 0; k + 1 < starts.size(); ++k) {
    const auto last = sides.begin() + starts[k + 1];
    std::sort(sides.begin() + starts[k], last,
              [](const Entry& a, const Entry& b) { return a.high < b.high; });
    for (auto side = sides.begin() + starts[k]; side != last;) {
      const Entry entry = *side;
      int32_t net = 0;
      for (; side != last && side->high == entry.high; ++side) net += side->sense;
      for (int32_t n = std::abs(net); n > 0; --n) {
        result.push_back(net > 0 ? Side{entry.low, entry.high} : Side{entry.high, entry.low});
      }
    }
  }
  return result;
}

// About how many edges a union by sweeping looks at: those across each height where one ends, and pairs of
// which each may cut the other.
double UnionWork(const Shadow& shadow, const std::vector<Side>& sides) {
  const double most = 2 * kMostUnionWork;
  if (double(sides.size()) > most / 8) return most;
  std::vector<std::pair<int32_t, int32_t>> events;  // the height, and by how many the edges become more
  for (const Side& side : sides) {
    const auto [low, high] = std::minmax(shadow.corners[side.from].y, shadow.corners[side.to].y);
    events.emplace_back(low, 1);
    events.emplace_back(high, -1);
  }
  std::sort(events.begin(), events.end());
  double work = 0, across = 0;
  for (size_t i = 0; i < events.size(); ++i) {
    across += events[i].second;
    if (i + 1 == events.size() || events[i + 1].first != events[i].first) work += across;
  }
  constexpr double kPair = 4, kCells = 64;
  std::vector<double> held(size_t(kCells * kCells), 0);
  const auto cell = [&](int32_t at) { return size_t(std::min(at / (kSteps / kCells), kCells - 1)); };
  for (const Side& side : sides) {
    const Dot2 &a = shadow.corners[side.from], &b = shadow.corners[side.to];
    for (size_t y = cell(std::min(a.y, b.y)); y <= cell(std::max(a.y, b.y)); ++y) {
      for (size_t x = cell(std::min(a.x, b.x)); x <= cell(std::max(a.x, b.x)); ++x) {
        work += kPair * held[y * size_t(kCells) + x]++ / 16;
      }
    }
    if (work > most) break;
  }
  return work;
}

// Closed paths along the sides; as many begin as end at every corner.
cl::Paths Loops(const Shadow& shadow, const std::vector<Side>& all) {
  std::vector<uint32_t> next;
  const std::vector<Side> sides =
      Grouped(all, shadow.corners.size(), next, [](const Side& side) { return side.from; });
  const std::vector<uint32_t> starts = next;
  cl::Paths loops;
  for (uint32_t first = 0; first + 1 < starts.size(); ++first) {
    while (next[first] < starts[first + 1]) {
      cl::Path loop;
      for (uint32_t at = first; next[at] < starts[at + 1];) {
        loop.emplace_back(shadow.corners[at].x, shadow.corners[at].y);
        at = sides[next[at]++].to;
      }
      loops.push_back(std::move(loop));
    }
  }
  return loops;
}

// What the facets cover, or nothing when a union of so many edges would take too long.
std::optional<cl::Paths> ExactUnion(const Shadow& shadow) {
  const std::vector<Side> sides = Silhouette(shadow);
  std::vector<Side> edges = sides;
  edges.insert(edges.end(), shadow.lines.begin(), shadow.lines.end());
  if (UnionWork(shadow, edges) > kMostUnionWork) return std::nullopt;
  cl::Paths paths = Loops(shadow, sides);
  for (const Side& line : shadow.lines) {
    const Dot2 a = shadow.corners[line.from], b = shadow.corners[line.to];
    const cl::cInt w = 1;
    // Wide enough to be an area, and less than it is grown by later.
    const bool steep = std::abs(b.y - a.y) > std::abs(b.x - a.x);
    const auto [low, high] = (steep ? a.y < b.y : a.x < b.x) ? std::pair{a, b} : std::pair{b, a};
    if (steep || low == high) {
      paths.push_back(
          {{low.x - w, low.y}, {low.x + w, low.y}, {high.x + w, high.y + w}, {high.x - w, high.y + w}});
    } else {
      paths.push_back({{low.x, low.y - w}, {high.x, high.y - w}, {high.x, high.y + w}, {low.x, low.y + w}});
    }
  }
  cl::Clipper clipper;
  clipper.AddPaths(paths, cl::ptSubject, true);
  cl::Paths covered;
  if (!clipper.Execute(cl::ctUnion, covered, cl::pftPositive)) return std::nullopt;
  return covered;
}

cl::Paths Grown(const cl::Paths& paths, double by) {
  cl::ClipperOffset offset;
  offset.AddPaths(paths, cl::jtMiter, cl::etClosedPolygon);
  cl::Paths grown;
  offset.Execute(grown, by);
  return grown;
}

/// Cells that facets come near, a bit each, in blocks of 64 by 64 that are there where some are not.
class CellGrid {
 public:
  explicit CellGrid(size_t cells) : blocks_((cells + 63) / 64), states_(blocks_ * blocks_, kEmpty) {
    next_open_.resize((blocks_ + 1) * blocks_);
    for (size_t i = 0; i < next_open_.size(); ++i) next_open_[i] = uint32_t(i % (blocks_ + 1));
  }

  size_t work = 0;
  size_t rows() const { return 64 * blocks_; }

  /// Sets every cell of which a cell next to it touches the triangle, in cells.
  void Fill(std::array<nesting::Point, 3> t) {
    std::sort(t.begin(), t.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
    const auto slope = [](const auto& a, const auto& b) { return b.y > a.y ? (b.x - a.x) / (b.y - a.y) : 0; };
    const double low = slope(t[0], t[1]), high = slope(t[1], t[2]), whole = slope(t[0], t[2]);
    const std::pair extent = std::minmax({t[0].x, t[1].x, t[2].x});
    // Where the triangle begins and ends at a height.
    const auto across = [&](double y) {
      y = std::clamp(y, t[0].y, t[2].y);
      return std::minmax({t[0].x + (y - t[0].y) * whole,
                          y < t[1].y ? t[0].x + (y - t[0].y) * low : t[1].x + (y - t[1].y) * high});
    };
    using Ends = std::pair<double, double>;
    const auto span = [&](double from, double to, const Ends& first, const Ends& last) {
      double left = std::min(first.first, last.first), right = std::max(first.second, last.second);
      if (from <= t[1].y && t[1].y <= to) {
        left = std::min(left, t[1].x);
        right = std::max(right, t[1].x);
      }
      // A slope may be so steep that its end is missed by rounding.
      return std::pair{size_t(int64_t(std::max(left, extent.first))) - 1,
                       size_t(int64_t(std::min(right, extent.second))) + 1};
    };
    const size_t last = size_t(t[2].y) + 1;
    for (size_t row = size_t(t[0].y) - 1; row <= last;) {
      const size_t end = std::min(last, row | 63);
      ++work;
      if (end > row + 8) {
        const double from = double(row) - 1, to = double(end) + 2;
        const auto [left, right] = span(from, to, across(from), across(to));
        if (NextOpen(row / 64, left / 64) > right / 64) {
          row = end + 1;
          continue;
        }
      }
      const double begin = double(row) - 1;
      // At the lower height of a row, and at the next two.
      std::array<Ends, 3> ends{across(begin), across(begin + 1), across(begin + 2)};
      for (; row <= end; ++row) {
        const double from = double(row) - 1;
        const Ends upper = across(from + 3);
        const auto [left, right] = span(from, from + 3, ends[0], upper);
        ends = {ends[1], ends[2], upper};
        Set(row, left, right);
      }
    }
  }

  bool At(size_t x, size_t row) const { return (Word(row, x / 64) >> (x % 64) & 1) != 0; }

  /// Closed lines around the cells that are set, those on the left; `scale` times a corner less `origin`
  /// stands in the paths. Nothing when there are more than `most` edges along X.
  std::optional<cl::Paths> Boundary(size_t most, double scale, double origin) const {
    struct Edge {
      uint32_t row;
      uint32_t from;
      uint32_t to;
      uint32_t next;
    };
    std::vector<Edge> edges;
    // By column, the edge that a side going up comes from, and the one that a side going down goes to.
    std::vector<uint32_t> up(rows() + 1), down(rows() + 1);
    std::vector<size_t> here;
    for (size_t row = 1; row < rows(); ++row) {
      if (row % 64 == 0 || row == 1) {
        here.clear();
        for (size_t block = 0; block < blocks_; ++block) {
          const uint32_t state = states_[row / 64 * blocks_ + block];
          if (row % 64 == 0 || (state != kEmpty && state != kFull)) here.push_back(block);
        }
      }
      const size_t first = edges.size();
      for (const bool begins : {true, false}) {
        const size_t before = edges.size();
        for (const size_t block : here) {
          const uint64_t above = Word(row, block), below = Word(row - 1, block);
          uint64_t bits = begins ? above & ~below : below & ~above;
          while (bits != 0) {
            const auto start = size_t(__builtin_ctzll(bits));
            const uint64_t rest = ~(bits >> start);
            const size_t length = rest != 0 ? size_t(__builtin_ctzll(rest)) : 64;
            const uint64_t run = length == 64 ? ~uint64_t{0} : ((uint64_t{1} << length) - 1) << start;
            bits &= ~run;
            const auto a = uint32_t(64 * block + start), b = uint32_t(a + length);
            uint32_t Edge::*const right = begins ? &Edge::to : &Edge::from;
            if (edges.size() > before && edges.back().*right == a) {
              edges.back().*right = b;
            } else {
              edges.push_back(begins ? Edge{uint32_t(row), a, b, 0} : Edge{uint32_t(row), b, a, 0});
            }
          }
        }
      }
      // What comes from below and goes there, before what goes on above takes its column.
      for (const bool lower : {true, false}) {
        for (size_t i = first; i < edges.size(); ++i) {
          Edge& edge = edges[i];
          const bool begins = edge.from < edge.to;
          const bool from_below = begins ? At(edge.from - 1, row) : !At(edge.from, row - 1);
          const bool to_below = begins ? At(edge.to, row) : !At(edge.to - 1, row - 1);
          if (lower && from_below) edges[up[edge.from]].next = uint32_t(i);
          if (lower && to_below) edge.next = down[edge.to];
          if (!lower && !from_below) down[edge.from] = uint32_t(i);
          if (!lower && !to_below) up[edge.to] = uint32_t(i);
        }
      }
      if (edges.size() > most) return std::nullopt;
      if (row % 64 == 0) {
        here.erase(std::remove_if(here.begin(), here.end(),
                                  [&](size_t block) {
                                    const uint32_t state = states_[row / 64 * blocks_ + block];
                                    return state == kEmpty || state == kFull;
                                  }),
                   here.end());
      }
    }
    cl::Paths paths;
    for (size_t i = 0; i < edges.size(); ++i) {
      if (edges[i].row == 0) continue;  // seen
      cl::Path path;
      for (size_t at = i; edges[at].row != 0; at = edges[at].next) {
        for (const uint32_t x : {edges[at].from, edges[at].to}) {
          path.emplace_back(cl::cInt(std::round(double(x) * scale - origin)),
                            cl::cInt(std::round(double(edges[at].row) * scale - origin)));
        }
        edges[at].row = 0;
      }
      paths.push_back(std::move(path));
    }
    return paths;
  }

 private:
  static constexpr uint32_t kEmpty = 0xFFFFFFFF, kFull = 0xFFFFFFFE;
  struct Block {
    std::array<uint64_t, 64> rows{};
    size_t full = 0;  ///< rows
  };

  uint64_t Word(size_t row, size_t block) const {
    const uint32_t state = states_[row / 64 * blocks_ + block];
    return state == kEmpty ? 0 : state == kFull ? ~uint64_t{0} : held_[state].rows[row % 64];
  }

  // The first block of the row of blocks that is not full, from this one on.
  size_t NextOpen(size_t row, size_t block) {
    uint32_t* const next = &next_open_[row * (blocks_ + 1)];
    while (next[block] != block) {
      next[block] = next[next[block]];
      block = next[block];
    }
    return block;
  }

  void Set(size_t row, size_t left, size_t right) {
    for (size_t block = NextOpen(row / 64, left / 64); block <= right / 64;
         block = NextOpen(row / 64, block + 1)) {
      ++work;
      uint32_t& state = states_[row / 64 * blocks_ + block];
      if (state == kEmpty) {
        if (free_.empty()) {
          state = uint32_t(held_.size());
          held_.emplace_back();
        } else {
          state = free_.back();
          free_.pop_back();
          held_[state] = Block();
        }
      }
      const size_t from = left > 64 * block ? left - 64 * block : 0,
                   to = std::min<size_t>(right - 64 * block, 63);
      Block& held = held_[state];
      uint64_t& word = held.rows[row % 64];
      const uint64_t mask = ~uint64_t{0} >> (63 - to + from) << from;
      if ((word | mask) == word) continue;
      word |= mask;
      if (~word != 0 || ++held.full < held.rows.size()) continue;
      free_.push_back(state);
      state = kFull;
      next_open_[row / 64 * (blocks_ + 1) + block] = uint32_t(block + 1);
    }
  }

  size_t blocks_;  // along a side
  std::vector<uint32_t> states_;
  std::vector<uint32_t> next_open_;
  std::vector<Block> held_;
  std::vector<uint32_t> free_;
};

// Leaves out the inner corners of steps that are no deeper than `cell`, and so adds what is inside of them.
cl::Path WithoutSteps(const cl::Path& path, double cell) {
  cl::Path kept;
  for (size_t i = 0; i < path.size(); ++i) {
    const cl::IntPoint &p = path[i > 0 ? i - 1 : path.size() - 1], &q = path[i],
                       &r = path[i + 1 < path.size() ? i + 1 : 0];
    const double dx = double(r.X - p.X), dy = double(r.Y - p.Y);
    const double turn = dx * double(q.Y - p.Y) - dy * double(q.X - p.X);
    if (turn <= 0 || turn > cell * trq::core::Hypot(dx, dy)) kept.push_back(q);
  }
  return kept;
}

// The lines around cells of a side of `cell` that facets come near; nothing when it is too much work, and
// then `done` is the share of it that was done, or 1 when the lines are too many.
std::optional<cl::Paths> RasterUnion(const Shadow& shadow, double cell, double& done) {
  constexpr double kBorder = 2;
  const Point size = shadow.box.Size();
  CellGrid grid(size_t(std::max(size[0], size[1]) / (cell * shadow.unit)) + 2 * size_t(kBorder) + 1);
  const auto at = [&](uint32_t corner) {
    const Dot2& dot = shadow.corners[corner];
    return nesting::Point{dot.x / cell + kBorder, dot.y / cell + kBorder};
  };
  const auto height = [&](const std::array<uint32_t, 3>& f) {
    const auto [low, high] =
        std::minmax({shadow.corners[f[0]].y, shadow.corners[f[1]].y, shadow.corners[f[2]].y});
    return (double(high) - low) / cell;
  };
  constexpr double kRowsMore = 3;  // of a facet without height
  const size_t most = kMostRasterWork + kRasterWorkOfFacet * (shadow.facets.size() + shadow.lines.size());
  double rows = 0;
  const auto fill = [&](const std::array<uint32_t, 3>& f) {
    grid.Fill({at(f[0]), at(f[1]), at(f[2])});
    rows += height(f) + kRowsMore;
    return grid.work <= most;
  };
  const auto fill_all = [&] {
    // Large ones first: they fill blocks that others then need not look at.
    for (const bool large : {true, false}) {
      for (const auto& f : shadow.facets) {
        if ((height(f) > 64) == large && !fill(f)) return false;
      }
    }
    return std::all_of(shadow.lines.begin(), shadow.lines.end(), [&](const Side& line) {
      return fill({line.from, line.to, line.to});
    });
  };
  if (!fill_all()) {
    double all = 0;
    for (const auto& f : shadow.facets) all += height(f) + kRowsMore;
    for (const Side& line : shadow.lines) all += height({line.from, line.to, line.to}) + kRowsMore;
    done = rows / all;
    return std::nullopt;
  }
  done = 1;
  auto paths = grid.Boundary(kMostRasterEdges, cell, kBorder * cell);
  if (paths) {
    for (cl::Path& path : *paths) path = WithoutSteps(path, cell);
  }
  return paths;
}

// Leaves corners out as long as one can walk along both lines, never backwards, and never be farther apart
// than `room`: so the line passes over no place that is farther from it.
cl::Path Simplified(cl::Path path, double room) {
  const size_t count = path.size();
  if (count < 4) return path;
  std::rotate(
      path.begin(),
      std::min_element(path.begin(), path.end(),
                       [](const auto& a, const auto& b) { return a.X != b.X ? a.X < b.X : a.Y < b.Y; }),
      path.end());
  const auto may_skip = [&](size_t from, size_t to) {
    const cl::IntPoint &p = path[from], &q = path[to % count];
    const double dx = double(q.X - p.X), dy = double(q.Y - p.Y), length = dx * dx + dy * dy;
    double along = 0;
    for (size_t k = from + 1; k < to; ++k) {
      const double x = double(path[k].X - p.X), y = double(path[k].Y - p.Y);
      if (length > 0) along = std::clamp((x * dx + y * dy) / length, along, 1.0);
      const double ox = x - along * dx, oy = y - along * dy;
      if (ox * ox + oy * oy > room * room) return false;
    }
    return true;
  };
  cl::Path kept;
  for (size_t from = 0; from < count;) {
    kept.push_back(path[from]);
    size_t good = from + 1, step = 1;
    while (good < count && may_skip(from, std::min(good + step, count))) {
      good = std::min(good + step, count);
      step *= 2;
    }
    for (; step > 0; step /= 2) {
      if (good + step <= count && may_skip(from, good + step)) good += step;
    }
    from = good;
  }
  return kept;
}

size_t CornersOf(const cl::Paths& paths) {
  size_t corners = 0;
  for (const cl::Path& path : paths) corners += path.size();
  return corners;
}

void SimplifyAll(cl::Paths& paths, double room) {
  for (cl::Path& path : paths) path = Simplified(std::move(path), room);
}

// Regions of what the paths enclose inside of the box of the facets.
nesting::Outline Regions(const Shadow& shadow, const cl::Paths& paths) {
  const Point size = shadow.box.Size();
  const auto right = cl::cInt(std::ceil(size[0] / shadow.unit)),
             top = cl::cInt(std::ceil(size[1] / shadow.unit));
  cl::Clipper clipper;
  clipper.AddPaths(paths, cl::ptSubject, true);
  // What has no width, a wall, keeps that of a line.
  const cl::cInt wide = right == 0 ? 2 : 0, high = top == 0 ? 2 : 0;
  clipper.AddPath({{-wide, -high}, {right + wide, -high}, {right + wide, top + high}, {-wide, top + high}},
                  cl::ptClip, true);
  cl::PolyTree tree;
  clipper.Execute(cl::ctIntersection, tree, cl::pftPositive, cl::pftNonZero);
  const auto ring = [&](const cl::PolyNode& node) {
    nesting::Ring corners;
    for (const cl::IntPoint& p : node.Contour) {
      nesting::Point corner{shadow.box.min[0] + double(p.X) * shadow.unit,
                            shadow.box.min[1] + double(p.Y) * shadow.unit};
      if (right > 0) corner.x = std::clamp(corner.x, shadow.box.min[0], shadow.box.max[0]);
      if (top > 0) corner.y = std::clamp(corner.y, shadow.box.min[1], shadow.box.max[1]);
      corners.push_back(corner);
    }
    return corners;
  };
  nesting::Outline outline;
  for (const cl::PolyNode* node = tree.GetFirst(); node; node = node->GetNext()) {
    if (node->IsHole()) continue;
    nesting::Region region{ring(*node), {}};
    for (const cl::PolyNode* hole : node->Childs) region.holes.push_back(ring(*hole));
    outline.push_back(std::move(region));
  }
  return outline;
}

}  // namespace

SeenOutline OutlineFromAbove(const trq::core::MeshView& mesh, const Matrix4& matrix, double tolerance) {
  constexpr double kHair = 3;  // of the grid: more than rounding takes away
  const Shadow shadow = ShadowOf(mesh, matrix);
  if (shadow.box.Empty()) return {};
  const double allowed = std::max(tolerance / shadow.unit, kSteps * 1e-6);
  if (const auto exact = ExactUnion(shadow)) {
    if (CornersOf(*exact) <= kFewCorners)
      return {Regions(shadow, Grown(*exact, kHair)), 2 * kHair * shadow.unit};
    // A corner grows by at most twice as much as the edges.
    cl::Paths grown = Grown(*exact, allowed / 3);
    SimplifyAll(grown, kMostBends * allowed / 3);
    if (CornersOf(grown) <= kMostCorners) return {Regions(shadow, grown), allowed * shadow.unit};
  }
  // The far corner of a cell next to one that a facet touches is two diagonals away; steps add a cell, and
  // so does what lines bend.
  const double cells = 2 * std::sqrt(2.0) + 2;
  const Point size = shadow.box.Size();
  double cell = std::max(allowed / cells, std::max(size[0], size[1]) / shadow.unit / kMostCells);
  for (;;) {
    double done = 1;
    if (auto paths = RasterUnion(shadow, cell, done)) {
      SimplifyAll(*paths, kMostBends * cell);
      if (CornersOf(*paths) <= kMostCorners) return {Regions(shadow, *paths), cell * cells * shadow.unit};
      cell *= 2;
      continue;
    }
    // Larger cells are in fewer rows.
    do {
      cell *= 4;
      done *= 4;
    } while (done < 1);
  }
}

}  // namespace trqprep
