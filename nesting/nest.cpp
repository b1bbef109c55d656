#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>

#include "nesting/constructive_fill.h"
#include "nesting/places_search.h"
#include "nesting/rounds.h"
#include "nesting/strip_search.h"
#include "trqprep/nesting.h"

namespace trqprep::nesting {
namespace {

// What containers of given length spend on shorter lengths once all pieces have their places.
constexpr Steps kCompactingSteps = kStepsPerSecond / 2;
constexpr double kMostCoordinate = 1e9;
constexpr int kMostCopies = 100'000;
constexpr std::size_t kMostContainers = 10'000;

std::string WhatIsWrong(const Job& job, std::size_t most) {
  const auto number = [](double v) { return v * 0 == 0 && std::fabs(v) <= kMostCoordinate; };
  const Container& box = job.container;
  if (!number(box.width) || !number(box.margin) || (!box.strip && !number(box.length))) {
    return "the container's sizes are no numbers that can be used";
  }
  if (box.margin < 0 || job.gap < 0 || !number(job.gap) || job.clearance < 0 || !number(job.clearance)) {
    return "gap, margin and clearance must be 0 or more";
  }
  if (most == 0) return "no container";
  if (box.strip && most > 1) return "a strip takes everything: there is no second one";
  std::size_t copies = 0;
  for (std::size_t p = 0; p < job.parts.size(); ++p) {
    const Part& part = job.parts[p];
    const std::string name = "part " + std::to_string(p) + ": ";
    if (part.turns.empty()) return name + "no turn is allowed";
    for (const Turn& turn : part.turns) {
      const double square = turn.sine * turn.sine + turn.cosine * turn.cosine;
      if (!(square > 1 - 1e-9 && square < 1 + 1e-9))
        return name + "sine and cosine of a turn do not belong together";
    }
    if (!number(part.gap)) return name + "the gap is no number that can be used";
    if (part.copies < 0) return name + "fewer than no copies";
    if (part.container >= 0 && static_cast<std::size_t>(part.container) >= most)
      return name + "bound to a container that there is not";
    copies += static_cast<std::size_t>(part.copies);
    if (copies > static_cast<std::size_t>(kMostCopies))
      return "more than " + std::to_string(kMostCopies) + " copies";
    bool any = false;
    for (const Region& region : part.outline) {
      if (region.outer.empty()) return name + "a region without corners";
      any = true;
      std::vector<const Ring*> rings = {&region.outer};
      for (const Ring& hole : region.holes) rings.push_back(&hole);
      for (const Ring* ring : rings) {
        for (const Point& point : *ring) {
          if (!number(point.x) || !number(point.y)) return name + "a corner whose coordinates cannot be used";
        }
      }
    }
    if (!any) return name + "no outline";
  }
  for (const Placement& fixed : job.fixed) {
    if (fixed.part >= job.parts.size() || fixed.turn >= job.parts[fixed.part].turns.size() ||
        !number(fixed.x) || !number(fixed.y)) {
      return "a fixed piece of no part, at no turn or at no place";
    }
    if (fixed.container >= most) return "a fixed piece in a container that there is not";
  }
  return "";
}

class Nester {
 public:
  Nester(const Job& job, std::size_t most, const Limits& limits)
      : job_(job),
        model_(job),
        rounds_(limits, limits.steps),
        stop_([this] { return rounds_.Stopped(); }),
        cancelled_([this] { return rounds_.Cancelled(); }) {
    task_.model = &model_;
    task_.job = &job_;
    task_.most = most;
    layout_.left.assign(job.parts.size(), 0);
    std::size_t bound = 1;
    for (const Placement& fixed : job.fixed) bound = std::max(bound, fixed.container + 1);
    for (std::size_t p = 0; p < job.parts.size(); ++p) {
      if (model_.kinds[p].usable.empty()) continue;
      layout_.left[p] = job.parts[p].copies;
      if (layout_.left[p] > 0) bound = std::max<std::size_t>(bound, job.parts[p].container + 1);
    }
    while (layout_.containers.size() < bound) AddContainer();
    if (!model_.strip && !job.fixed.empty()) FindKeptAway();
    enough_area_ = FindLeast();
    hopeless_ = !model_.strip && (job.fixed.empty() ? NoTwoTogether() : FixedKeepAllAway());
  }

  PlatesResult Run() {
    Construct(false);
    bool complete = Search(false);
    if (HasFill()) {
      Construct(true);
      complete = complete && Search(true);
    }
    if (!rounds_.cancelled()) {
      PullLeft(layout_);
      if (complete) Shorten(layout_);
    }
    return Finish();
  }

 private:
  /// A part with `fill` on a strip has all its copies there.
  bool Fills(std::size_t part) const { return job_.parts[part].fill && !model_.strip; }

  bool HasFill() const {
    for (std::size_t p = 0; p < job_.parts.size(); ++p) {
      if (Fills(p)) return true;
    }
    return false;
  }

  void AddContainer() {
    task_.fixed.push_back(FixedIn(model_, job_, task_.fixed.size()));
    layout_.containers.push_back({task_.fixed.back().spots, 0});
  }

  /// The fewest containers that area and what is bound allow. False when not even the most do.
  bool FindLeast() {
    std::vector<double> bound(layout_.containers.size(), 0);
    double need = 0;
    for (std::size_t p = 0; p < layout_.left.size(); ++p) {
      if (job_.parts[p].fill) continue;
      double& sum =
          job_.parts[p].container < 0 ? need : bound[static_cast<std::size_t>(job_.parts[p].container)];
      sum += model_.kinds[p].need * layout_.left[p];
    }
    // Sums of many are rounded.
    const double room = model_.room * (1 + 1e-9);
    bool enough = true;
    for (std::size_t c = 0; c < bound.size(); ++c) {
      const double free = room - task_.fixed[c].area - bound[c];
      enough = enough && free >= 0;
      need -= std::max(0.0, free);
    }
    task_.least = bound.size();
    for (; need > 0 && task_.least < task_.most; ++task_.least) need -= room;
    return enough && need <= 0;
  }

  /// Whether gaps are so wide that every container takes one piece, wherever that lies.
  bool NoTwoTogether() const {
    // Farthest apart are pieces in opposite corners of the container. Their outlines are no farther apart
    // than any point of the one is from any of the other: taken are those that reach farthest out of the
    // corners.
    struct Reach {
      std::array<Point, 4>
          from_corner;  // 0 upper right, 1 upper left, 2 lower right, 3 lower left; over turns
      double size;      // of the largest box
    };
    std::vector<std::pair<std::size_t, Reach>> reaches;
    for (std::size_t p = 0; p < model_.kinds.size(); ++p) {
      if (layout_.left[p] == 0) continue;
      Reach reach = {{}, 0};
      reach.from_corner.fill({kMostCoordinate, kMostCoordinate});
      for (const std::size_t s : model_.kinds[p].usable) {
        const Shape& shape = model_.shapes[s];
        reach.size = std::max({reach.size, shape.width, shape.height});
        for (std::size_t c = 0; c < 4; ++c) {
          Point best = {0, 0};
          for (const Edge& edge : shape.edges) {
            const Point point = {(c & 1) != 0 ? edge.ax : shape.width - edge.ax,
                                 (c & 2) != 0 ? edge.ay : shape.height - edge.ay};
            if (point.x + point.y > best.x + best.y) best = point;
          }
          Point& least = reach.from_corner[c];
          least = {std::min(least.x, best.x), std::min(least.y, best.y)};
        }
      }
      reaches.emplace_back(p, reach);
    }
    if (reaches.size() > kMostPiecesSearched) return false;
    for (std::size_t i = 0; i < reaches.size(); ++i) {
      for (std::size_t j = i; j < reaches.size(); ++j) {
        const auto& [a, first] = reaches[i];
        const auto& [b, second] = reaches[j];
        if (a == b && layout_.left[a] == 1) continue;
        const double gap = std::max(model_.kinds[a].gap, model_.kinds[b].gap);
        const double size = std::max(first.size, second.size);
        for (std::size_t c = 0; c < 4; ++c) {
          const Point& one = first.from_corner[c];
          const Point& other = second.from_corner[3 - c];
          const double along = std::max(model_.length - one.x - other.x, size);
          const double across = std::max(model_.width - one.y - other.y, size);
          if (std::sqrt(along * along + across * across) * (1 + 1e-9) >= gap) return false;
        }
      }
    }
    return true;
  }

  /// Whether the gaps to fixed pieces leave a copy no place anywhere, however the others lie.
  bool FixedKeepAllAway() const {
    for (std::size_t p = 0; p < layout_.left.size(); ++p) {
      bool allowed = layout_.left[p] == 0;
      for (std::size_t c = 0; c < task_.most && !allowed; ++c) allowed = task_.Allowed(p, c);
      if (!allowed) return true;
    }
    return false;
  }

  void FindKeptAway() {
    for (const FixedPieces& fixed : task_.fixed) {
      std::vector<bool>& kinds = task_.kept_away.emplace_back();
      for (std::size_t p = 0; p < layout_.left.size(); ++p)
        kinds.push_back(layout_.left[p] > 0 && KeptAway(p, fixed.spots));
    }
  }

  /// Whether copies of a part are too near to one of the fixed pieces wherever they lie.
  bool KeptAway(std::size_t part, const std::vector<Spot>& fixed) const {
    const Model::Kind& kind = model_.kinds[part];
    return std::any_of(fixed.begin(), fixed.end(), [&](const Spot& spot) {
      const double gap = std::max(kind.gap, model_.kinds[model_.kind_of_shape[spot.shape]].gap);
      // Two shapes are no farther apart than a corner of the one and a corner of the other; and a corner that
      // moves with its piece is farthest from one that does not where the piece lies in a corner of the
      // container. Taken are those that are best for that.
      const Point still = Least(model_.shapes[spot.shape], [&](double x, double y) {
        return Farthest(spot.x + x, model_.length) + Farthest(spot.y + y, model_.width);
      });
      const double x = spot.x + still.x, y = spot.y + still.y;
      return std::all_of(kind.usable.begin(), kind.usable.end(), [&](std::size_t s) {
        const Shape& shape = model_.shapes[s];
        const auto apart = [&](double u, double v) {
          return Farthest(x - u, model_.length - shape.width) + Farthest(y - v, model_.width - shape.height);
        };
        const Point moving = Least(shape, apart);
        return apart(moving.x, moving.y) * (1 + 1e-9) < gap * gap;
      });
    });
  }

  /// Square of the larger distance of `at` from 0 and from `end`.
  static double Farthest(double at, double end) { return std::max(at * at, (end - at) * (end - at)); }

  /// The corner of the shape for which the measure is least.
  template <typename Measure>
  static Point Least(const Shape& shape, const Measure& measure) {
    Point least = {0, 0};
    double value = std::numeric_limits<double>::infinity();
    for (const Edge& edge : shape.edges) {
      const double now = measure(edge.ax, edge.ay);
      if (now < value) value = now, least = {edge.ax, edge.ay};
    }
    return least;
  }

  /// Places copies of parts with `fill`, or of all others, in containers as they come; adds what it needs.
  void Construct(bool fill) {
    const auto size = [&](std::size_t p) { return model_.shapes[model_.kinds[p].first_shape].weight; };
    FillState state(
        static_cast<std::size_t>(std::accumulate(layout_.left.begin(), layout_.left.end(), std::int64_t{0})));
    // What has to lie in one container comes first.
    std::vector<std::size_t> parts;
    for (std::size_t p = 0; p < layout_.left.size(); ++p) {
      if (Fills(p) == fill) parts.push_back(p);
    }
    std::stable_sort(parts.begin(), parts.end(), [&](std::size_t a, std::size_t b) {
      const bool bound_a = job_.parts[a].container >= 0, bound_b = job_.parts[b].container >= 0;
      return bound_a != bound_b ? bound_a : !job_.given_order && size(a) > size(b);
    });
    for (std::size_t c = 0; c < task_.most && !rounds_.Cancelled(); ++c) {
      std::vector<std::size_t> order;
      bool any_free = false;
      for (const std::size_t p : parts) {
        if (layout_.left[p] == 0) continue;
        any_free = any_free || job_.parts[p].container < 0;
        if (task_.Allowed(p, c)) order.insert(order.end(), static_cast<std::size_t>(layout_.left[p]), p);
      }
      if (c == layout_.containers.size()) {
        if (!any_free) break;
        AddContainer();
      }
      Layout::Filled& filled = layout_.containers[c];
      std::vector<Spot> spots = filled.spots;
      std::vector<std::size_t> placed;
      FillFromTheLeft(model_, order, spots, placed, state, cancelled_);
      // New ones stand behind the fixed pieces.
      const auto fixed = filled.spots.begin() + static_cast<std::ptrdiff_t>(filled.movable);
      filled.spots.insert(fixed, spots.end() - static_cast<std::ptrdiff_t>(placed.size()), spots.end());
      filled.movable += placed.size();
      for (const std::size_t i : placed) --layout_.left[order[i]];
      if (filled.spots.empty() && c + 1 == layout_.containers.size() && c + 1 > task_.least) {
        layout_.containers.pop_back();
        break;
      }
    }
  }

  template <typename Worker, typename... Arguments>
  std::unique_ptr<Worker> Make(std::size_t index, std::uint64_t salt, const Arguments&... arguments) const {
    const std::uint64_t seed = Random(job_.seed * 1000003 + salt * kWorkers + index).Bits();
    return std::make_unique<Worker>(arguments..., seed, stop_);
  }

  /// Seeks places for copies of parts with `fill`, or for all others and then fewer containers. Whether it
  /// came to its end. A search for fewer may find none for long: what there is until then is shortened first.
  bool Search(bool fill) {
    if (model_.strip || hopeless_) return true;
    if (!fill && !enough_area_) return true;
    task_.fill = fill;
    std::unique_ptr<PlacesWorker> workers[kWorkers];
    Steps until = 0, steps = 0;
    for (std::size_t w = 0; w < kWorkers; ++w) {
      workers[w] = Make<PlacesWorker>(w, fill ? 2 : 1, task_);
      workers[w]->Take(layout_);
    }
    if (workers[0]->Finished()) return true;
    const bool shorten = !fill && !HasFill();
    Layout now = layout_;
    const auto keep = [&](const Layout& better) {
      layout_ = better;
      PullLeft(layout_);
      if (shorten && task_.ScoreOf(layout_)[0] == 0) Shorten(layout_);
    };
    if (shorten && workers[0]->score()[0] == 0) keep(now);
    while (rounds_.Next(steps)) {
      until += steps;
      if (!rounds_.Run(steps, [&](std::size_t w) { workers[w]->Run(until); })) return false;
      std::size_t best = 0;
      for (std::size_t w = 1; w < kWorkers; ++w) {
        if (workers[w]->score() < workers[best]->score()) best = w;
      }
      now = workers[best]->best();
      for (const auto& worker : workers) {
        if (worker->score() > workers[best]->score()) worker->Take(now);
      }
      const bool done = workers[best]->done();
      const auto score = workers[best]->score(), kept = task_.ScoreOf(layout_);
      if (score[0] < kept[0] || (score[0] == kept[0] && score[1] < kept[1])) {
        if (done) {
          layout_ = now;
        } else {
          keep(now);
        }
      }
      if (done) return true;
    }
    return false;
  }

  /// Every container on its own: pieces to the left and to the front as they are.
  void PullLeft(Layout& layout) {
    for (Layout::Filled& filled : layout.containers) {
      if (filled.movable > kMostPiecesSearched || filled.movable == 0) continue;
      Separation separation(model_, job_.seed);
      separation.Start(filled.spots, filled.movable, model_.length);
      if (separation.Total() > 0) continue;
      separation.Compact();
      filled.spots = separation.spots();
    }
  }

  void Shorten(Layout& layout) {
    const Steps share = kCompactingSteps / layout.containers.size() / kWorkers + 1;
    for (std::size_t c = 0; c < layout.containers.size(); ++c) {
      Layout::Filled& filled = layout.containers[c];
      if (filled.movable == 0 || filled.movable > kMostPiecesSearched || filled.spots.size() == 1) continue;
      Feasible best = {filled.spots, LengthOf(filled)};
      std::unique_ptr<StripWorker> workers[kWorkers];
      Steps until = 0, steps = 0;
      bool done = false;
      while (!done && (model_.strip || until < share) &&
             rounds_.Next(steps, model_.strip ? kRound : std::min(kRound, share - until))) {
        until += steps;
        const bool whole = rounds_.Run(steps, [&](std::size_t w) {
          if (!workers[w]) {
            workers[w] = Make<StripWorker>(w, c == 0 ? 0 : c + 2, model_, filled.movable);
            workers[w]->Take(best);
          } else if (workers[w]->best().length > best.length) {
            workers[w]->Take(best);
          }
          workers[w]->Run(until);
        });
        if (!whole) return;
        for (const auto& worker : workers) {
          if (worker->best().length < best.length) best = worker->best();
          done = done || worker->done();
        }
        filled.spots = best.spots;
      }
    }
  }

  double LengthOf(const Layout::Filled& filled) const {
    double length = 0;
    for (const Spot& spot : filled.spots) length = std::max(length, spot.x + model_.shapes[spot.shape].width);
    return length;
  }

  PlatesResult Finish() {
    PlatesResult result;
    result.steps = rounds_.spent();
    if (rounds_.cancelled()) {
      result.outcome = Outcome::kCancelled;
      return result;
    }
    result.outcome = Outcome::kPlaced;
    for (std::size_t p = 0; p < job_.parts.size(); ++p) {
      const bool too_large = model_.kinds[p].usable.empty() && job_.parts[p].copies > 0;
      const int missing = too_large ? job_.parts[p].copies : layout_.left[p];
      // As many as fit is one at least.
      if (missing == 0 || (job_.parts[p].fill && missing < job_.parts[p].copies)) continue;
      result.outcome = Outcome::kPartly;
      result.missing.push_back(too_large ? Missing{p, missing, Missing::Why::kTooLarge} : WhyMissing(p));
    }
    for (std::size_t c = 0; c < layout_.containers.size(); ++c) {
      const Layout::Filled& filled = layout_.containers[c];
      Result one;
      one.outcome = Outcome::kPlaced;
      if (!filled.spots.empty()) one.length = LengthOf(filled) + model_.margin;
      for (std::size_t i = 0; i < filled.movable; ++i) {
        const Spot& spot = filled.spots[i];
        const Shape& shape = model_.shapes[spot.shape];
        const std::size_t part = model_.kind_of_shape[spot.shape];
        one.placements.push_back({part, spot.shape - model_.kinds[part].first_shape,
                                  spot.x + model_.margin - shape.corner.x,
                                  spot.y + model_.margin - shape.corner.y, c});
      }
      std::stable_sort(one.placements.begin(), one.placements.end(),
                       [](const Placement& a, const Placement& b) { return a.part < b.part; });
      result.containers.push_back(std::move(one));
    }
    return result;
  }

  Missing WhyMissing(std::size_t part) const {
    Missing missing = {part, layout_.left[part], Missing::Why::kNoFreeArea};
    std::size_t roomiest = layout_.containers.size();
    for (std::size_t c = 0; c < layout_.containers.size(); ++c) {
      const int bound = job_.parts[part].container;
      if (bound >= 0 && static_cast<std::size_t>(bound) != c) continue;
      double free = model_.length * model_.width - task_.fixed[c].area;
      const Layout::Filled& filled = layout_.containers[c];
      for (std::size_t i = 0; i < filled.movable; ++i) free -= model_.shapes[filled.spots[i].shape].area;
      if (roomiest == layout_.containers.size() || free > missing.free_area) {
        missing.free_area = free;
        roomiest = c;
      }
      if (enough_area_ && task_.FreeArea(layout_, c) >= model_.kinds[part].need)
        missing.why = Missing::Why::kNoPlace;
    }
    if (roomiest < layout_.containers.size()) missing.blocking_part = MostInTheWay(part, roomiest);
    return missing;
  }

  /// The part of the piece that lies deepest in a copy where that overlaps least.
  std::ptrdiff_t MostInTheWay(std::size_t part, std::size_t container) const {
    const Layout::Filled& filled = layout_.containers[container];
    if (filled.spots.empty() || filled.spots.size() > kMostPiecesSearched) return -1;
    const std::size_t shape = model_.kinds[part].usable.front();
    std::vector<Spot> spots = {{shape, (model_.length - model_.shapes[shape].width) / 2,
                                (model_.width - model_.shapes[shape].height) / 2}};
    spots.insert(spots.end(), filled.spots.begin(), filled.spots.end());
    Separation separation(model_, job_.seed);
    separation.Start(std::move(spots), 1, model_.length);
    separation.Sweep();
    const std::size_t deepest = separation.Deepest(0);
    return static_cast<std::ptrdiff_t>(model_.kind_of_shape[separation.spots()[deepest].shape]);
  }

  const Job& job_;
  Model model_;
  PlacesTask task_;
  Rounds rounds_;
  const std::function<bool()> stop_, cancelled_;
  bool enough_area_ = true;
  bool hopeless_ = false;  // gaps are so wide that a search cannot find anything
  Layout layout_;
};

}  // namespace

PlatesResult NestPlates(const Job& job, std::size_t most, const Limits& limits) {
  PlatesResult result;
  most = std::min(most, kMostContainers);
  result.reason = WhatIsWrong(job, most);
  if (!result.reason.empty()) return result;
  if (limits.cancel && limits.cancel()) {
    result.outcome = Outcome::kCancelled;
    return result;
  }
  return Nester(job, most, limits).Run();
}

Result Nest(const Job& job, const Limits& limits) {
  PlatesResult all = NestPlates(job, 1, limits);
  Result result;
  if (!all.containers.empty()) result = std::move(all.containers[0]);
  result.outcome = all.outcome;
  result.missing = std::move(all.missing);
  result.steps = all.steps;
  result.reason = std::move(all.reason);
  return result;
}

}  // namespace trqprep::nesting
