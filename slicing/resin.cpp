#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "slicing/pockets.h"
#include "slicing/rows.h"
#include "trq/core/elementary.h"
#include "trqprep/layer_findings.h"

namespace trqprep {
namespace {

using slicing::BeyondFinder;
using slicing::BeyondRun;
using slicing::RowGrid;
using slicing::RowMaker;
using slicing::Rows;
using slicing::Sets;

// What a layer is and what was found in it.
struct Layer {
  Rows rows;  // narrow enough for its overhang
  slicing::Hollows hollows;
  slicing::HollowLinks links;
  std::vector<slicing::OpenedHollow> opened;
  std::vector<LayerPlace> islands, unsupported;
};

// What a thread needs besides.
struct Scratch {
  ContourViews contours;
  RowMaker maker;
  Rows below;
  BeyondFinder beyond;
  Sets sets;
};

bool InOrder(const LayerPlace& a, const LayerPlace& b) {
  return std::make_pair(a.y, a.x) < std::make_pair(b.y, b.x);
}

// An area of runs, and the middle of the longest.
class Patch {
 public:
  void Add(const slicing::RowRun& run, double y) {
    const float length = run.high - run.low;
    length_ += double(length);
    if (length <= longest_) return;
    longest_ = length;
    x_ = (double(run.low) + double(run.high)) / 2;
    y_ = y;
  }
  bool empty() const { return longest_ < 0; }
  LayerPlace In(std::size_t layer, double pitch) const { return {layer, x_, y_, length_ * pitch}; }

 private:
  double length_ = 0, x_ = 0, y_ = 0;
  float longest_ = -1;
};

class Search {
 public:
  Search(const LayerStack& stack, const LayerFindingOptions& options) : stack_(stack), options_(options) {
    heights_.reserve(stack.bottoms.size());
    for (std::size_t k = 0; k < stack.bottoms.size(); ++k) {
      double height = stack.tops[k] - stack.bottoms[k];
      if (!(height > 0) || !std::isfinite(height)) height = 0;
      // Layers of a file differ by what its floats round to.
      const double doubt = 1e-3 * height + 2.4e-7 * std::abs(stack.tops[k]);
      if (k > 0 && std::abs(height - heights_.back()) <= doubt) height = heights_.back();
      heights_.push_back(height);
    }
  }

  LayerFindings Run() {
    const std::size_t count = stack_.bottoms.size();
    ContourViews contours;
    std::vector<double> travels;  // of each layer
    for (std::size_t k = 0; k < count; ++k) {
      contours.clear();
      stack_.contours(k, contours);
      travels.push_back(extent_.Add(contours));
    }
    LayerFindings findings;
    grid_ = {extent_.low, extent_.Widened(options_.pitch)};
    findings.pitch = grid_.pitch;
    double crossings = 0;
    for (std::size_t k = 0; k < count; ++k) {
      crossings += Weight(travels[k]) * (travels[k] / grid_.pitch + travels[k] / FineGridOf(k).pitch);
    }
    findings.beyond_bound = crossings > extent_.MostCrossings(options_.most_crossings, 100);
    if (findings.beyond_bound) return findings;

    // A few layers at a time: first each by itself, then each with the one below, then all in their order.
    const auto threads = static_cast<std::size_t>(std::max(options_.threads, 1));
    scratch_.resize(threads);
    std::vector<Layer> layers(1 + LayersAtATime(threads));
    slicing::Pockets pockets;
    for (std::size_t first = 0; first < count; first += layers.size() - 1) {
      const std::size_t some = std::min(layers.size() - 1, count - first);
      ForEach(some, [&](std::size_t i, Scratch& scratch) { Load(first + i, layers[i + 1], scratch); });
      ForEach(some, [&](std::size_t i, Scratch& scratch) {
        Compare(first + i, layers[i], layers[i + 1], scratch);
      });
      for (std::size_t i = 1; i <= some; ++i) {
        Layer& layer = layers[i];
        const std::size_t k = first + i - 1;
        pockets.Add(k, heights_[k], layer.hollows.list, layer.links, layer.opened);
        Take(layer.islands, findings.islands);
        Take(layer.unsupported, findings.unsupported);
        if (!findings.start && !layer.rows.runs.empty()) {
          Patch patch;
          Each(layer.rows, [&](std::size_t run, double y) { patch.Add(layer.rows.runs[run], y); });
          findings.start = patch.In(k, layer.rows.grid.pitch);
          findings.islands.clear();
          findings.unsupported.clear();
        }
      }
      std::swap(layers[0], layers[some]);
      if (options_.progress) options_.progress(double(first + some) / double(count));
    }
    pockets.End(count, findings);
    for (auto* list : {&findings.cups, &findings.trapped}) {
      std::sort(list->begin(), list->end(), [](const ResinPocket& a, const ResinPocket& b) {
        return std::make_tuple(a.begin, a.y, a.x) < std::make_tuple(b.begin, b.y, b.x);
      });
    }
    return findings;
  }

 private:
  // What crossings cost, where many stand in a row to be sorted: a quarter more for every doubling.
  double Weight(double travel) const {
    constexpr double kLogOfTwo = 0.6931471805599453;
    const double in_a_row = travel / (extent_.high - extent_.low);
    return 1 + 0.25 * trq::core::Log(std::max(1.0, in_a_row / 16)) / kLogOfTwo;
  }

  // So many that threads seldom wait for each other, but no more crossings than the largest layer may have.
  std::size_t LayersAtATime(std::size_t threads) const {
    if (threads == 1) return 1;
    double finest = grid_.pitch;
    for (std::size_t k = 0; k < stack_.bottoms.size(); ++k) finest = std::min(finest, FineGridOf(k).pitch);
    const double crossings = extent_.travel / finest;
    const auto most = 4 * double(threads);
    return static_cast<std::size_t>(
        std::clamp(slicing::kMostCrossings / (crossings + 1), double(threads), most));
  }
  double OverhangOf(std::size_t k) const {
    if (options_.overhang >= 0) return options_.overhang;
    return k == 0 ? heights_[0] : std::max(heights_[k], heights_[k - 1]);
  }
  RowGrid FineGridOf(std::size_t k) const {
    return {grid_.origin, extent_.WidenedFor(OverhangOf(k), options_.pitch)};
  }

  void Load(std::size_t k, Layer& layer, Scratch& scratch) const {
    scratch.contours.clear();
    stack_.contours(k, scratch.contours);
    scratch.maker.Make(scratch.contours, FineGridOf(k), layer.rows);
    scratch.maker.Make(scratch.contours, grid_, layer.hollows.rows);
    FindHollows(layer.hollows, scratch.sets);
    layer.opened.clear();
    for (std::size_t i = 0; i < options_.openings.size(); ++i) {
      const auto& [x, y, z] = options_.openings[i];
      const double away = std::max({0.0, stack_.bottoms[k] - z, z - stack_.tops[k]});
      FindOpened(layer.hollows, x, y, away, options_.opening_radius, i, layer.opened);
    }
  }

  void Compare(std::size_t k, const Layer& below, Layer& layer, Scratch& scratch) const {
    const bool on_plate = k == 0 && options_.solid_platform && stack_.bottoms[0] <= heights_[0] / 2;
    if (on_plate) {
      layer.links.clear();
    } else {
      FindLinks(below.hollows, layer.hollows, layer.links);
    }

    const Rows* under = &below.rows;
    if (k > 0 && under->grid.pitch != layer.rows.grid.pitch) {
      scratch.contours.clear();
      stack_.contours(k - 1, scratch.contours);
      scratch.maker.Make(scratch.contours, layer.rows.grid, scratch.below);
      under = &scratch.below;
    }
    scratch.beyond.Find(layer.rows, *under, OverhangOf(k));
    FindIslands(k, layer, scratch.beyond.touched());
    FindUnsupported(k, layer, scratch);
  }

  template <class Take>
  static void Each(const Rows& rows, const Take& take) {
    for (std::int32_t row = rows.first; row < rows.end(); ++row) {
      const auto [first, last] = rows.RunsOf(row);
      for (std::size_t i = first; i < last; ++i) take(i, rows.grid.HeightOf(row));
    }
  }

  static void FindIslands(std::size_t k, Layer& layer, const std::vector<char>& touched) {
    layer.islands.clear();
    std::vector<Patch> patches(touched.size());
    Each(layer.rows, [&](std::size_t run, double y) {
      const auto area = static_cast<std::size_t>(layer.rows.areas[run]);
      if (!touched[area]) patches[area].Add(layer.rows.runs[run], y);
    });
    for (const Patch& patch : patches) {
      if (!patch.empty()) layer.islands.push_back(patch.In(k, layer.rows.grid.pitch));
    }
    std::sort(layer.islands.begin(), layer.islands.end(), InOrder);
  }

  void FindUnsupported(std::size_t k, Layer& layer, Scratch& scratch) const {
    layer.unsupported.clear();
    const std::vector<BeyondRun>& runs = scratch.beyond.runs();
    const std::vector<char>& touched = scratch.beyond.touched();
    double length = 0;
    for (const BeyondRun& run : runs) length += double(run.run.high) - double(run.run.low);
    const double pitch = layer.rows.grid.pitch;
    if (length * pitch <= options_.least_area) return;
    // Runs of neighbouring rows are of one area when less than a pitch of X parts them: that of an edge which
    // leans is as thin as the edge is far out.
    scratch.sets.Reset(runs.size());
    const auto near = static_cast<float>(pitch);
    std::size_t begin = 0, before = 0, before_end = 0;
    while (begin < runs.size()) {
      std::size_t end = begin;
      while (end < runs.size() && runs[end].row == runs[begin].row) ++end;
      if (before == before_end || runs[before].row + 1 != runs[begin].row) before = before_end;
      for (std::size_t i = before, j = begin; i < before_end && j < end;) {
        const slicing::RowRun &a = runs[i].run, &b = runs[j].run;
        if (std::max(a.low, b.low) - std::min(a.high, b.high) < near) {
          scratch.sets.Join(static_cast<std::int32_t>(i), static_cast<std::int32_t>(j));
        }
        ++(a.high < b.high ? i : j);
      }
      before = begin;
      before_end = begin = end;
    }
    std::vector<Patch> patches(runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
      if (!touched[std::size_t(runs[i].area)]) continue;  // an island
      patches[std::size_t(scratch.sets.Find(static_cast<std::int32_t>(i)))].Add(
          runs[i].run, layer.rows.grid.HeightOf(runs[i].row));
    }
    for (const Patch& patch : patches) {
      const LayerPlace place = patch.In(k, pitch);
      if (place.area > options_.least_area) layer.unsupported.push_back(place);
    }
    std::sort(layer.unsupported.begin(), layer.unsupported.end(), InOrder);
  }

  static void Take(const std::vector<LayerPlace>& from, std::vector<LayerPlace>& to) {
    to.insert(to.end(), from.begin(), from.end());
  }

  // Does `count` pieces of work on all threads, each with a scratch of its own.
  template <class Work>
  void ForEach(std::size_t count, const Work& work) {
    std::atomic<std::size_t> next{0};
    std::exception_ptr failure;
    std::mutex guard;
    const auto run = [&](std::size_t thread) {
      try {
        for (std::size_t i = next++; i < count; i = next++) work(i, scratch_[thread]);
      } catch (...) {
        const std::lock_guard<std::mutex> lock(guard);
        failure = std::current_exception();
        next = count;
      }
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < std::min(scratch_.size(), count); ++i) threads.emplace_back(run, i);
    run(0);
    for (std::thread& thread : threads) thread.join();
    if (failure) std::rethrow_exception(failure);
  }

  const LayerStack& stack_;
  const LayerFindingOptions& options_;
  std::vector<double> heights_;
  slicing::RowExtent extent_;
  RowGrid grid_;
  std::vector<Scratch> scratch_;
};

}  // namespace

LayerStack StackOf(const Slices& slices, const LayerPlan& plan) {
  return {plan.bottoms, plan.tops, [&slices](std::size_t layer, ContourViews& contours) {
            static_assert(sizeof(SlicePoint) == 2 * sizeof(float), "points are pairs that lie in a row");
            for (const SliceContour& contour : slices.layers[layer]) {
              if (!contour.points.empty())
                contours.push_back({contour.points.front().data(), contour.points.size()});
            }
          }};
}

LayerStack StackOf(const trq::core::Contours& contours) {
  LayerStack stack;
  for (const trq::SlcLayer& layer : contours.layers) {
    if (!stack.bottoms.empty()) stack.tops.push_back(double(layer.z));
    if (layer.is_terminator()) break;
    stack.bottoms.push_back(double(layer.z));
  }
  const std::size_t count = stack.bottoms.size();
  if (stack.tops.size() < count) {
    stack.tops.push_back(stack.bottoms.back() +
                         (count > 1 ? stack.bottoms[count - 1] - stack.bottoms[count - 2] : 0));
  }
  stack.contours = [&contours](std::size_t layer, ContourViews& views) {
    for (const trq::SlcBoundary& boundary : contours.layers[layer].boundaries()) {
      views.push_back({boundary.points, boundary.vertex_count});
    }
  };
  return stack;
}

LayerFindings FindInLayers(const LayerStack& stack, const LayerFindingOptions& options) {
  return Search(stack, options).Run();
}

}  // namespace trqprep
