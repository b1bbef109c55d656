#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "slicing/allowance.h"
#include "slicing/contour_form.h"
#include "slicing/open_ends.h"
#include "slicing/unite.h"
#include "trqprep/slicing.h"

namespace trqprep {
namespace {

using slicing::Chain;
using trq::core::MeshView;

constexpr std::int32_t kNone = -1;
constexpr std::uint64_t kCrossingsOfFacet = 16;

// Of every vertex, the number of planes below it.
class Levels {
 public:
  Levels(const MeshView& mesh, const std::vector<float>& planes, bool in_plane_is_above)
      : planes_(planes), inclusive_(in_plane_is_above) {
    const double span = double(planes.back()) - double(planes.front());
    per_height_ = span > 0 ? double(planes.size() - 1) / span : 0;
    levels_.reserve(mesh.vertices.size());
    for (const PbVec3f& vertex : mesh.vertices) levels_.push_back(Of(vertex[2]));
    none_ = Of(0.0f);
  }
  std::int32_t operator[](std::int32_t vertex) const {
    const auto index = static_cast<std::uint32_t>(vertex);
    return index < levels_.size() ? levels_[index] : none_;
  }

 private:
  bool Above(float z, std::size_t plane) const {
    return inclusive_ ? z >= planes_[plane] : z > planes_[plane];
  }
  std::int32_t Of(float z) const {
    const std::size_t n = planes_.size();
    if (!Above(z, 0)) return 0;  // also what is not a number
    if (Above(z, n - 1)) return static_cast<std::int32_t>(n);
    // Planes mostly stand at equal distances: a guess, and a search where it is wrong.
    const auto guess =
        std::min(static_cast<std::size_t>((double(z) - double(planes_.front())) * per_height_), n - 2);
    for (std::size_t k = guess; k < std::min(guess + 2, n - 1); ++k) {
      if (Above(z, k) && !Above(z, k + 1)) return static_cast<std::int32_t>(k + 1);
    }
    const auto found = inclusive_ ? std::upper_bound(planes_.begin(), planes_.end(), z)
                                  : std::lower_bound(planes_.begin(), planes_.end(), z);
    return static_cast<std::int32_t>(found - planes_.begin());
  }

  const std::vector<float>& planes_;
  bool inclusive_;
  double per_height_ = 0;
  std::int32_t none_ = 0;
  std::vector<std::int32_t> levels_;
};

// An edge by its vertices, the one below the plane first.
using EdgeKey = std::uint64_t;
EdgeKey KeyOf(std::int32_t below, std::int32_t above) {
  return EdgeKey(static_cast<std::uint32_t>(below)) << 32 | static_cast<std::uint32_t>(above);
}

// Finds the segments that begin on an edge, in their order where there are several.
class Starts {
 public:
  // Takes the edges on which segments begin, into a table with open addressing. A mesh can be made whose
  // edges all want the same places; then they are sorted.
  void Take(const std::vector<EdgeKey>& keys) {
    keys_ = &keys;
    const std::size_t n = keys.size();
    int bits = 4;
    while ((std::size_t(1) << bits) < 2 * n) ++bits;
    shift_ = 64 - bits;
    mask_ = (std::size_t(1) << bits) - 1;
    table_.assign(mask_ + 1, kNone);
    next_.assign(n, kNone);
    cursor_.resize(n);
    steps_ = 0;
    sorted_.clear();
    for (std::size_t i = n; i-- > 0;) {
      if ((i + 1) % kBlock == 0 || i + 1 == n) Fetch(keys.data() + i / kBlock * kBlock, i % kBlock + 1);
      cursor_[i] = static_cast<std::int32_t>(i);
      std::size_t slot = SlotOf(keys[i]);
      while (table_[slot] != kNone && keys[std::size_t(table_[slot])] != keys[i]) {
        slot = (slot + 1) & mask_;
        ++steps_;
      }
      next_[i] = table_[slot];
      table_[slot] = static_cast<std::int32_t>(i);
      if (steps_ > kMostSteps * n) return Sort();
    }
  }

  // Looks where the keys are looked for first. A large table lies far apart in memory: so the processor waits
  // for many places at once.
  void Fetch(const EdgeKey* keys, std::size_t count) {
    if (mask_ < kLarge || !sorted_.empty()) return;
    std::int32_t first[kBlock];
    for (std::size_t i = 0; i < count; ++i) first[i] = table_[SlotOf(keys[i])];
    for (std::size_t i = 0; i < count; ++i) {
      if (first[i] != kNone) fetched_ ^= (*keys_)[std::size_t(first[i])];
    }
  }
  static constexpr std::size_t kBlock = 64;

  // The next segment that begins there; kNone when none is left.
  std::int32_t TakeAt(EdgeKey key) {
    const std::int32_t first = FirstOf(key);
    if (first == kNone) return kNone;
    const std::int32_t segment = cursor_[std::size_t(first)];
    if (segment != kNone) cursor_[std::size_t(first)] = next_[std::size_t(segment)];
    return segment;
  }

 private:
  static constexpr std::size_t kMostSteps = 16;
  static constexpr std::size_t kLarge = std::size_t(1) << 16;

  std::size_t SlotOf(EdgeKey key) const { return std::size_t((key * 0x9E3779B97F4A7C15u) >> shift_); }
  std::int32_t FirstOf(EdgeKey key) {
    if (sorted_.empty()) {
      for (std::size_t slot = SlotOf(key); table_[slot] != kNone; slot = (slot + 1) & mask_) {
        if ((*keys_)[std::size_t(table_[slot])] == key) return table_[slot];
        if (++steps_ > 2 * kMostSteps * keys_->size()) {
          SortKeys();
          return FirstOf(key);
        }
      }
      return kNone;
    }
    const auto found = std::lower_bound(sorted_.begin(), sorted_.end(), std::make_pair(key, std::int32_t(0)));
    return found != sorted_.end() && found->first == key ? found->second : kNone;
  }
  void SortKeys() {
    for (std::size_t i = 0; i < keys_->size(); ++i) {
      sorted_.emplace_back((*keys_)[i], static_cast<std::int32_t>(i));
    }
    std::sort(sorted_.begin(), sorted_.end());
  }
  void Sort() {
    SortKeys();
    for (std::size_t i = 0; i < sorted_.size(); ++i) {
      const bool more = i + 1 < sorted_.size() && sorted_[i + 1].first == sorted_[i].first;
      next_[std::size_t(sorted_[i].second)] = more ? sorted_[i + 1].second : kNone;
      cursor_[i] = static_cast<std::int32_t>(i);
    }
  }

  const std::vector<EdgeKey>* keys_ = nullptr;
  int shift_ = 60;
  std::size_t mask_ = 0, steps_ = 0;
  EdgeKey fetched_ = 0;               // of no use, but that what was fetched counts as used
  std::vector<std::int32_t> table_;   // the first segment of the edge that has the place
  std::vector<std::int32_t> next_;    // the next segment of the same edge
  std::vector<std::int32_t> cursor_;  // of a first segment: the one to take next
  std::vector<std::pair<EdgeKey, std::int32_t>> sorted_;
};

// Cuts plane after plane; each thread has one.
class Cutter {
 public:
  Cutter(const MeshView& mesh, const Levels& levels, const std::vector<float>& planes,
         const SliceOptions& options, slicing::Allowance& steps)
      : mesh_(mesh), levels_(levels), planes_(planes), options_(options), steps_(steps) {
    if (options.unite != SliceUnion::kNever) grid_ = slicing::GridOf(GreatestCoordinate());
  }

  // `facets`: those that the plane cuts. Of no use when the allowance of steps is exceeded afterwards.
  void Cut(std::size_t plane, const std::int32_t* facets, std::size_t count,
           std::vector<SliceContour>& contours, std::vector<SliceGap>& gaps, slicing::Union& united) {
    height_ = planes_[plane];
    FindSegments(std::int32_t(plane), facets, count);
    starts_.Take(begins_);
    follows_.resize(count);
    led_to_.assign(count, false);
    for (std::size_t i = 0; i < count; ++i) {
      if (i % Starts::kBlock == 0) starts_.Fetch(&ends_[i], std::min(Starts::kBlock, count - i));
      follows_[i] = starts_.TakeAt(ends_[i]);
      if (follows_[i] != kNone) led_to_[std::size_t(follows_[i])] = true;
    }
    done_.assign(count, false);
    FollowChains(plane, contours, gaps);
    if (steps_.IsExceeded()) return;
    for (std::size_t i = 0; i < count; ++i) {
      if (!done_[i]) FollowLoop(i, contours);
    }
    for (SliceContour& contour : contours) Close(contour);
    if (options_.unite != SliceUnion::kNever) {
      united = slicing::UniteLayer(contours, options_.unite == SliceUnion::kAlways, grid_, kFreeSteps * count,
                                   steps_);
    }
    for (SliceContour& contour : contours)
      slicing::LeaveOut(contour.points, options_.tolerance, contour.closed, loop_);
    contours.erase(std::remove_if(contours.begin(), contours.end(), IsPoint), contours.end());
    std::sort(contours.begin(), contours.end(), slicing::Before);
    contours.shrink_to_fit();
    gaps.shrink_to_fit();
  }

 private:
  // A segment runs from the facet's edge that goes down through the plane to the one that goes up. Facets and
  // levels lie far apart in memory: a block of them is fetched by loops without branches, so that the
  // processor waits for many at once.
  void FindSegments(std::int32_t plane, const std::int32_t* facets, std::size_t count) {
    // By which corners are above, the lowest bit for the first: the lower and the upper corner of the edge
    // that goes down and of the one that goes up.
    static constexpr std::uint8_t kEdges[8][4] = {{0, 0, 0, 0}, {1, 0, 2, 0}, {2, 1, 0, 1}, {2, 1, 2, 0},
                                                  {0, 2, 1, 2}, {1, 0, 1, 2}, {0, 2, 0, 1}, {0, 0, 0, 0}};
    constexpr std::size_t kBlock = 128;
    std::int32_t corners[kBlock][3];
    std::uint8_t above[kBlock];
    begins_.resize(count);
    ends_.resize(count);
    points_.resize(count);
    for (std::size_t first = 0; first < count; first += kBlock) {
      const std::size_t size = std::min(kBlock, count - first);
      for (std::size_t i = 0; i < size; ++i) {
        const R_INT4& facet = mesh_.triangles[std::size_t(facets[first + i])];
        for (int k = 0; k < 3; ++k) corners[i][k] = facet[k];
      }
      for (std::size_t i = 0; i < size; ++i) {
        above[i] = 0;
        for (int k = 0; k < 3; ++k) above[i] |= std::uint8_t(levels_[corners[i][k]] > plane) << k;
      }
      for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t* const edges = kEdges[above[i]];
        begins_[first + i] = KeyOf(corners[i][edges[0]], corners[i][edges[1]]);
        ends_[first + i] = KeyOf(corners[i][edges[2]], corners[i][edges[3]]);
      }
      for (std::size_t i = first; i < first + size; ++i) points_[i] = CrossingOf(ends_[i]);
    }
  }

  SlicePoint CrossingOf(EdgeKey key) const {
    const float* low = mesh_.Vertex(static_cast<std::int32_t>(key >> 32));
    const float* high = mesh_.Vertex(static_cast<std::int32_t>(key & 0xffffffffu));
    const double share = (double(height_) - double(low[2])) / (double(high[2]) - double(low[2]));
    SlicePoint point;
    for (std::size_t k = 0; k < 2; ++k) {
      point[k] = float(double(low[k]) + share * (double(high[k]) - double(low[k])));
    }
    return point;
  }

  void FollowLoop(std::size_t first, std::vector<SliceContour>& contours) {
    loop_.clear();
    std::size_t at = first;
    do {
      done_[at] = true;
      loop_.push_back(points_[at]);
      at = std::size_t(follows_[at]);
    } while (at != first);
    contours.emplace_back();
    std::vector<SlicePoint>& points = contours.back().points;
    points.reserve(loop_.size() + 1);  // the first is repeated later
    points.assign(loop_.begin(), loop_.end());
  }

  void FollowChains(std::size_t plane, std::vector<SliceContour>& contours, std::vector<SliceGap>& gaps) {
    std::vector<Chain> chains;
    for (std::size_t i = 0; i < led_to_.size(); ++i) {
      if (led_to_[i]) continue;
      Chain chain;
      chain.first_edge = begins_[i];
      chain.points.push_back(CrossingOf(begins_[i]));
      std::size_t at = i;
      for (std::int32_t next = std::int32_t(i); next != kNone; next = follows_[at]) {
        at = std::size_t(next);
        done_[at] = true;
        chain.points.push_back(points_[at]);
      }
      chain.last_edge = ends_[at];
      chains.push_back(std::move(chain));
    }
    if (chains.empty()) return;
    slicing::JoinChains(chains, options_.close, plane, steps_, contours, gaps);
    // Loops have no repeated point yet.
    for (SliceContour& contour : contours) {
      if (contour.closed && contour.points.size() > 1 && contour.points.front() == contour.points.back()) {
        contour.points.pop_back();
      }
    }
  }

  static void Close(SliceContour& contour) {
    if (!contour.closed) return;
    slicing::RotateToLeast(contour.points);
    contour.points.push_back(contour.points.front());
  }

  double GreatestCoordinate() const {
    float greatest = 0;
    for (const PbVec3f& vertex : mesh_.vertices) {
      for (int k = 0; k < 2; ++k) {
        const float size = std::abs(vertex[k]);
        if (size > greatest && std::isfinite(size)) greatest = size;
      }
    }
    return double(greatest);
  }

  static bool IsPoint(const SliceContour& contour) {
    return contour.closed &&
           std::all_of(contour.points.begin(), contour.points.end(),
                       [&](const SlicePoint& point) { return point == contour.points.front(); });
  }

  static constexpr std::uint64_t kFreeSteps = 1024;  // of uniting, for each crossing of the layer

  const MeshView& mesh_;
  const Levels& levels_;
  const std::vector<float>& planes_;
  const SliceOptions& options_;
  slicing::Allowance& steps_;
  double grid_ = 1;
  float height_ = 0;
  std::vector<EdgeKey> begins_, ends_;  // of each segment
  std::vector<SlicePoint> points_;      // where each ends
  Starts starts_;
  std::vector<std::int32_t> follows_;  // the segment that begins where this one ends
  std::vector<char> led_to_, done_;
  std::vector<SlicePoint> loop_;  // room for one
};

// Finds the facets that planes cut, for some planes at a time: together they can be many times the facets.
class CutFacets {
 public:
  CutFacets(const MeshView& mesh, const Levels& levels, std::size_t planes) {
    std::vector<std::int64_t> change(planes + 1, 0);
    std::int32_t number = 0;
    for (const R_INT4& facet : mesh.triangles) {
      const std::int32_t a = levels[facet[0]], b = levels[facet[1]], c = levels[facet[2]];
      const std::int32_t low = std::min({a, b, c}), high = std::max({a, b, c});
      if (low < high) {
        ++change[std::size_t(low)];
        --change[std::size_t(high)];
        cuts_.push_back({number, low, high});
      }
      ++number;
    }
    offsets_.assign(planes + 1, 0);
    std::int64_t open = 0;
    for (std::size_t k = 0; k < planes; ++k) {
      open += change[k];
      offsets_[k + 1] = offsets_[k] + std::size_t(open);
    }
  }

  std::size_t crossings() const { return offsets_.back(); }

  // Those of planes from `first` on, of as many as have no more than a million or one for every facet.
  // Returns where the next begin.
  std::size_t Find(std::size_t first) {
    const std::size_t most = std::max(kLeastAtATime, cuts_.size()), begin = offsets_[first];
    std::size_t end = first + 1;
    while (end + 1 < offsets_.size() && offsets_[end + 1] - begin <= most) ++end;
    first_ = first;
    facets_.resize(offsets_[end] - begin);
    at_.assign(offsets_.begin() + std::ptrdiff_t(first), offsets_.begin() + std::ptrdiff_t(end));
    for (const auto [facet, low, high] : cuts_) {
      const std::size_t last = std::min(std::size_t(high), end);
      for (std::size_t k = std::max(std::size_t(low), first); k < last; ++k) {
        facets_[at_[k - first]++ - begin] = facet;
      }
    }
    return end;
  }
  const std::int32_t* Of(std::size_t plane) const {
    return facets_.data() + (offsets_[plane] - offsets_[first_]);
  }
  std::size_t CountOf(std::size_t plane) const { return offsets_[plane + 1] - offsets_[plane]; }

 private:
  static constexpr std::size_t kLeastAtATime = std::size_t(1) << 20;
  struct Cuts {
    std::int32_t facet, low, high;
  };
  std::vector<Cuts> cuts_;  // of the facets that some plane cuts
  std::vector<std::size_t> offsets_, at_;
  std::size_t first_ = 0;
  std::vector<std::int32_t> facets_;
};

Slices Faulty(SliceFault fault) {
  Slices slices;
  slices.fault = fault;
  return slices;
}

}  // namespace

Slices SliceMesh(const MeshView& mesh, const std::vector<float>& planes, const SliceOptions& options) {
  Slices slices;
  slices.layers.resize(planes.size());
  if (planes.empty()) return slices;
  const Levels levels(mesh, planes, options.in_plane_is_above);
  CutFacets cut(mesh, levels, planes.size());
  const std::uint64_t of_facets = kCrossingsOfFacet * mesh.triangles.size();
  if (cut.crossings() > std::max(options.most_crossings, of_facets)) return Faulty(SliceFault::kCrossings);
  slicing::Allowance steps(options.most_steps);
  std::vector<std::vector<SliceGap>> gaps(planes.size());
  std::vector<slicing::Union> unions(planes.size());
  std::vector<std::unique_ptr<Cutter>> cutters;
  for (int i = 0; i < std::max(options.threads, 1); ++i) {
    cutters.push_back(std::make_unique<Cutter>(mesh, levels, planes, options, steps));
  }
  std::exception_ptr failure;
  std::mutex guard;
  for (std::size_t first = 0, end = 0; first < planes.size(); first = end) {
    end = cut.Find(first);
    std::atomic<std::size_t> next{first};
    const auto work = [&](std::size_t number) {
      try {
        for (std::size_t k = next++; k < end; k = next++) {
          cutters[number]->Cut(k, cut.Of(k), cut.CountOf(k), slices.layers[k], gaps[k], unions[k]);
          if (steps.IsExceeded()) next = end;
          if (number == 0 && options.progress) options.progress(double(k + 1) / double(planes.size()));
        }
      } catch (...) {
        const std::lock_guard<std::mutex> lock(guard);
        failure = std::current_exception();
        next = end;
      }
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < cutters.size(); ++i) threads.emplace_back(work, i);
    work(0);
    for (std::thread& thread : threads) thread.join();
    if (failure) std::rethrow_exception(failure);
    if (steps.IsExceeded()) return Faulty(SliceFault::kSteps);
  }
  for (std::vector<SliceGap>& layer : gaps) {
    slices.gaps.insert(slices.gaps.end(), layer.begin(), layer.end());
    std::vector<SliceGap>().swap(layer);
  }
  for (std::size_t k = 0; k < planes.size(); ++k) {
    slices.united += unions[k].changed;
    if (unions[k].inverted_area > 0)
      slices.inverted.push_back({k, unions[k].inverted, unions[k].inverted_area});
  }
  return slices;
}

}  // namespace trqprep
