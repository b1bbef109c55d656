#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <thread>

#include "nesting/constructive_fill.h"
#include "nesting/strip_search.h"
#include "trqprep/nesting.h"

namespace trqprep::nesting {
namespace {

// Part of what a result depends on: workers, and steps of each between two comparisons.
constexpr std::size_t kWorkers = 2;
constexpr Steps kRound = 8'000'000;
// What a container of given length spends on a shorter length once all pieces have their place.
constexpr Steps kCompactingSteps = 50'000'000;
constexpr double kMostCoordinate = 1e9;
constexpr int kMostCopies = 100'000;
constexpr std::size_t kMostPiecesSearched = 1500;  // above, pairs need too much memory

std::string WhatIsWrong(const Job& job) {
  const auto number = [](double v) { return v * 0 == 0 && std::fabs(v) <= kMostCoordinate; };
  const Container& box = job.container;
  if (!number(box.width) || !number(box.margin) || (!box.strip && !number(box.length))) {
    return "the container's sizes are no numbers that can be used";
  }
  if (box.margin < 0 || job.gap < 0 || !number(job.gap) || job.clearance < 0 || !number(job.clearance)) {
    return "gap, margin and clearance must be 0 or more";
  }
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
  }
  return "";
}

/// The rounds of workers. Every worker does the same whichever thread it runs on.
class Rounds {
 public:
  Rounds(const Limits& limits, Steps budget)
      : limits_(limits), budget_(budget), began_(std::chrono::steady_clock::now()) {}

  /// Whether there is another round; its steps for each worker in `steps`.
  bool Next(Steps& steps, Steps times = 1) {
    if (ended_ || spent_ >= budget_) return false;
    steps = std::min(times * kRound, (budget_ - spent_ + kWorkers - 1) / kWorkers);
    return true;
  }

  /// Runs `work(worker)` for all workers. False when the round was broken off: its results do not count.
  template <typename Work>
  bool Run(Steps steps, const Work& work) {
    const std::size_t threads =
        std::clamp<std::size_t>(static_cast<std::size_t>(std::max(limits_.threads, 1)), 1, kWorkers);
    std::exception_ptr failed[kWorkers];
    const auto share = [&](std::size_t thread) {
      try {
        for (std::size_t w = thread; w < kWorkers && !stop_.load(std::memory_order_relaxed); w += threads)
          work(w);
      } catch (...) {
        failed[thread] = std::current_exception();
        stop_ = true;
      }
    };
    caller_ = std::this_thread::get_id();
    std::vector<std::thread> others;
    for (std::size_t t = 1; t < threads; ++t) others.emplace_back(share, t);
    share(0);
    for (std::thread& other : others) other.join();
    for (const std::exception_ptr& failure : failed) {
      if (failure) std::rethrow_exception(failure);
    }
    Ask();
    if (stop_) {
      ended_ = true;
      return false;
    }
    spent_ = std::min(budget_, spent_ + steps * kWorkers);
    return true;
  }

  /// What workers look at between sweeps.
  bool Stopped() {
    if (std::this_thread::get_id() == caller_) Ask();
    return stop_.load(std::memory_order_relaxed);
  }
  bool cancelled() const { return cancelled_; }
  Steps spent() const { return spent_; }
  void Allow(Steps budget) { budget_ = std::min(budget_, budget); }

 private:
  void Ask() {
    if (limits_.cancel && limits_.cancel()) cancelled_ = stop_ = true;
    if (limits_.wall_seconds > 0) {
      const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - began_;
      if (passed.count() >= limits_.wall_seconds) stop_ = true;
    }
  }

  const Limits& limits_;
  Steps budget_;
  Steps spent_ = 0;
  std::chrono::steady_clock::time_point began_;
  std::thread::id caller_;
  std::atomic<bool> stop_{false};
  bool cancelled_ = false;
  bool ended_ = false;
};

class Nester {
 public:
  Nester(const Job& job, const Limits& limits)
      : job_(job), model_(job), rounds_(limits, limits.steps), stop_([this] { return rounds_.Stopped(); }) {}

  Result Run() {
    Construct();
    FindPlaces();
    if (!rounds_.cancelled() && !layout_.spots.empty()) {
      Compact();
      if (model_.strip || left_.empty()) Shorten();
    }
    return Finish();
  }

 private:
  void Construct() {
    std::vector<std::size_t> order;
    for (std::size_t p = 0; p < job_.parts.size(); ++p) {
      if (model_.kinds[p].usable.empty()) continue;
      order.insert(order.end(), static_cast<std::size_t>(job_.parts[p].copies), p);
    }
    for (const Placement& fixed : job_.fixed) {
      const std::size_t s = model_.kinds[fixed.part].first_shape + fixed.turn;
      const Shape& shape = model_.shapes[s];
      fixed_.push_back(
          {s, fixed.x + shape.corner.x - model_.margin, fixed.y + shape.corner.y - model_.margin});
    }
    const auto size = [&](std::size_t p) { return model_.shapes[model_.kinds[p].first_shape].weight; };
    if (!job_.given_order) {
      // What fills up the container comes behind what has to be there.
      std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        if (job_.parts[a].fill != job_.parts[b].fill) return !job_.parts[a].fill;
        return size(a) > size(b);
      });
    }
    std::vector<Spot> spots = fixed_;
    std::vector<std::size_t> placed;
    FillFromTheLeft(model_, order, spots, placed);
    spots.erase(spots.begin(), spots.begin() + static_cast<std::ptrdiff_t>(fixed_.size()));
    std::size_t next = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
      if (next < placed.size() && placed[next] == i) {
        ++next;
      } else {
        left_.push_back(order[i]);
      }
    }
    Take(std::move(spots));
  }

  /// Copies that do not overlap become the layout, with the fixed pieces behind them.
  void Take(std::vector<Spot> spots) {
    movable_ = spots.size();
    spots.insert(spots.end(), fixed_.begin(), fixed_.end());
    layout_ = {std::move(spots), 0};
    for (const Spot& spot : layout_.spots) {
      layout_.length = std::max(layout_.length, spot.x + model_.shapes[spot.shape].width);
    }
  }

  double FreeArea() const {
    double area = model_.length * model_.width;
    for (const Spot& spot : layout_.spots) area -= model_.shapes[spot.shape].area;
    return area;
  }
  bool AreaAllows(std::size_t kind) const {
    return FreeArea() >= model_.shapes[model_.kinds[kind].first_shape].area;
  }

  std::unique_ptr<StripWorker> Worker(std::size_t index, std::size_t movable, std::uint64_t salt) const {
    return std::make_unique<StripWorker>(model_, movable,
                                         Random(job_.seed * 1000003 + salt * kWorkers + index).Bits(), stop_);
  }

  void Compact() {
    if (movable_ > kMostPiecesSearched) return;
    Separation separation(model_, job_.seed);
    separation.Start(layout_.spots, movable_, model_.length);
    if (separation.Total() > 0) return;
    separation.Compact();
    layout_ = {separation.spots(), separation.Used()};
  }

  /// Tries to find places for what has none, one piece more at a time.
  void FindPlaces() {
    std::uint64_t salt = 1;
    Steps steps = 0, times = 1;
    std::size_t tried = 0;  // attempts since the last success
    while (!left_.empty() && movable_ < kMostPiecesSearched && rounds_.Next(steps, times)) {
      // The largest first, every other kind in between.
      std::vector<std::size_t> kinds;
      for (const std::size_t kind : left_) {
        if (std::find(kinds.begin(), kinds.end(), kind) == kinds.end() && AreaAllows(kind))
          kinds.push_back(kind);
      }
      if (kinds.empty()) break;
      const std::size_t kind = kinds[tried % kinds.size()];
      std::unique_ptr<StripWorker> workers[kWorkers];
      bool found[kWorkers] = {};
      ++salt;
      const bool whole = rounds_.Run(steps, [&](std::size_t w) {
        workers[w] = Worker(w, movable_ + 1, salt);
        Random random(job_.seed + salt * kWorkers + w);
        const auto& usable = model_.kinds[kind].usable;
        Spot spot = {usable[random.Below(usable.size())], 0, 0};
        spot.x = random.Unit() * (model_.length - model_.shapes[spot.shape].width);
        spot.y = random.Unit() * (model_.width - model_.shapes[spot.shape].height);
        std::vector<Spot> spots = layout_.spots;
        spots.insert(spots.begin() + static_cast<std::ptrdiff_t>(movable_), spot);
        found[w] = workers[w]->Separate(std::move(spots), model_.length, steps);
      });
      if (!whole) return;
      // When all were tried in vain, each is given twice the time.
      if (++tried % kinds.size() == 0) times = std::min<Steps>(times * 2, 64);
      for (std::size_t w = 0; w < kWorkers; ++w) {
        if (!found[w]) continue;
        std::vector<Spot> spots = workers[w]->best().spots;
        spots.resize(movable_ + 1);
        Take(std::move(spots));
        left_.erase(std::find(left_.begin(), left_.end(), kind));
        tried = 0;
        break;
      }
    }
  }

  void Shorten() {
    if (movable_ == 0 || movable_ > kMostPiecesSearched || (movable_ == 1 && fixed_.empty())) return;
    if (!model_.strip) rounds_.Allow(rounds_.spent() + kCompactingSteps);
    std::unique_ptr<StripWorker> workers[kWorkers];
    Steps until = 0, steps = 0;
    while (rounds_.Next(steps)) {
      until += steps;
      const bool whole = rounds_.Run(steps, [&](std::size_t w) {
        if (!workers[w]) {
          workers[w] = Worker(w, movable_, 0);
          workers[w]->Take(layout_);
        } else if (workers[w]->best().length > layout_.length) {
          workers[w]->Take(layout_);
        }
        workers[w]->Run(until);
      });
      if (!whole) return;
      bool done = false;
      for (const auto& worker : workers) {
        if (worker->best().length < layout_.length) layout_ = worker->best();
        done = done || worker->done();
      }
      if (done) return;
    }
  }

  Result Finish() {
    Result result;
    result.steps = rounds_.spent();
    if (rounds_.cancelled()) {
      result.outcome = Outcome::kCancelled;
      return result;
    }
    for (std::size_t i = 0; i < layout_.spots.size(); ++i) {
      const Spot& spot = layout_.spots[i];
      const Shape& shape = model_.shapes[spot.shape];
      const std::size_t part = model_.kind_of_shape[spot.shape];
      const double x = spot.x + model_.margin, y = spot.y + model_.margin;
      result.length = std::max(result.length, x + shape.width);
      if (i < movable_) {
        result.placements.push_back(
            {part, spot.shape - model_.kinds[part].first_shape, x - shape.corner.x, y - shape.corner.y});
      }
    }
    std::stable_sort(result.placements.begin(), result.placements.end(),
                     [](const Placement& a, const Placement& b) { return a.part < b.part; });
    result.outcome = Outcome::kPlaced;
    for (std::size_t p = 0; p < job_.parts.size(); ++p) {
      const bool too_large = model_.kinds[p].usable.empty() && job_.parts[p].copies > 0;
      const int missing =
          too_large ? job_.parts[p].copies : static_cast<int>(std::count(left_.begin(), left_.end(), p));
      // As many as fit is one at least.
      if (missing == 0 || (job_.parts[p].fill && missing < job_.parts[p].copies)) continue;
      result.outcome = Outcome::kPartly;
      result.missing.push_back({p, missing,
                                too_large       ? Missing::Why::kTooLarge
                                : AreaAllows(p) ? Missing::Why::kNoPlace
                                                : Missing::Why::kNoFreeArea});
    }
    return result;
  }

  const Job& job_;
  Model model_;
  Rounds rounds_;
  const std::function<bool()> stop_;
  std::vector<Spot> fixed_;
  Feasible layout_;
  std::size_t movable_ = 0;
  std::vector<std::size_t> left_;  // parts, an entry for each copy without a place
};

}  // namespace

Result Nest(const Job& job, const Limits& limits) {
  Result result;
  result.reason = WhatIsWrong(job);
  if (!result.reason.empty()) return result;
  if (limits.cancel && limits.cancel()) {
    result.outcome = Outcome::kCancelled;
    return result;
  }
  return Nester(job, limits).Run();
}

PlatesResult NestPlates(const Job& job, std::size_t most, const Limits& limits) {
  PlatesResult result;
  result.reason = WhatIsWrong(job);
  if (result.reason.empty() && job.container.strip)
    result.reason = "a strip takes everything: there is no second one";
  if (!result.reason.empty()) return result;
  Job rest = job;
  Limits remaining = limits;
  Steps left = limits.steps;
  const auto began = std::chrono::steady_clock::now();
  const double room = std::max(1e-9, (job.container.length - 2 * job.container.margin) *
                                         (job.container.width - 2 * job.container.margin));
  result.outcome = Outcome::kPlaced;
  while (result.containers.size() < most) {
    if (limits.wall_seconds > 0) {
      const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - began;
      remaining.wall_seconds = std::max(1e-9, limits.wall_seconds - passed.count());
    }
    // Every container that is still to come has its share of the steps.
    double area = 0;
    for (const Part& part : rest.parts) area += AreaOf(part.outline) * part.copies;
    remaining.steps = left / static_cast<Steps>(std::clamp(std::ceil(area / (0.75 * room)), 1.0, 1e6));
    Result one = Nest(rest, remaining);
    result.steps += one.steps;
    left -= std::min(left, one.steps);
    if (one.outcome == Outcome::kCancelled) {
      result.outcome = Outcome::kCancelled;
      return result;
    }
    const bool empty = one.placements.empty() && rest.fixed.empty();
    result.missing = one.missing;
    for (std::size_t p = 0; p < rest.parts.size(); ++p) rest.parts[p].copies = 0;
    for (const Missing& missing : one.missing) rest.parts[missing.part].copies = missing.copies;
    rest.fixed.clear();
    one.missing.clear();
    one.outcome = Outcome::kPlaced;
    if (!empty) result.containers.push_back(std::move(one));
    if (result.missing.empty() || empty) break;
  }
  if (!result.missing.empty()) result.outcome = Outcome::kPartly;
  return result;
}

}  // namespace trqprep::nesting
