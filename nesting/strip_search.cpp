#include "nesting/strip_search.h"

#include <algorithm>

namespace trqprep::nesting {
namespace {

constexpr double kMostRatio = 0.03, kLeastRatio = 0.0005;

}  // namespace

StripWorker::StripWorker(const Model& model, std::size_t movable, std::uint64_t seed,
                         const std::function<bool()>& stop)
    : model_(model), movable_(movable), separation_(model, seed), stop_(stop) {}

void StripWorker::Take(const Feasible& better) {
  const bool goes_on = target_ > 0 && target_ < better.length;
  best_ = better;
  if (goes_on) return;
  double area = 0;
  for (std::size_t i = 0; i < best_.spots.size(); ++i) {
    const Spot& spot = best_.spots[i];
    const Shape& now = model_.shapes[spot.shape];
    area += now.area;
    double narrowest = i < movable_ ? now.width : spot.x + now.width;
    if (i < movable_) {
      for (const std::size_t s : model_.kinds[model_.kind_of_shape[spot.shape]].usable) {
        narrowest = std::min(narrowest, model_.shapes[s].width);
      }
    }
    least_length_ = std::max(least_length_, narrowest);
  }
  least_length_ = std::max(least_length_, area / model_.width);
  pool_.clear();
  failures_ = 0;
  Shrink();
}

void StripWorker::Begin(std::vector<Spot> spots, double length) {
  target_ = length;
  separation_.Start(std::move(spots), movable_, length);
  least_ = separation_.spots();
  least_total_ = separation_.Total();
  strike_total_ = least_total_;
  no_better_ = strikes_ = 0;
}

void StripWorker::Shrink() {
  done_ = done_ || best_.length <= least_length_ * (1 + 1e-6);
  const double length = std::max(best_.length * (1 - ratio_), least_length_);
  std::vector<Spot> spots = best_.spots;
  // Half of the time everything right of a cut moves left, else only what sticks out.
  Random& random = separation_.random();
  if (random.Below(2) == 0) {
    const double cut = random.Unit() * length, by = best_.length - length;
    for (std::size_t i = 0; i < movable_; ++i) {
      if (spots[i].x + model_.shapes[spots[i].shape].width / 2 > cut) spots[i].x -= by;
    }
  }
  Begin(std::move(spots), length);
}

void StripWorker::Disturb() {
  // From one of the layouts that failed, rather one of little overlap, with two large pieces exchanged.
  Random& random = separation_.random();
  const double u = random.Unit();
  const Failure& from = pool_[static_cast<std::size_t>(u * u * static_cast<double>(pool_.size()))];
  std::vector<Spot> spots = from.spots;
  std::vector<std::size_t> large;
  std::vector<std::size_t> by_area(movable_);
  for (std::size_t i = 0; i < movable_; ++i) by_area[i] = i;
  const auto area = [&](std::size_t i) { return model_.shapes[spots[i].shape].weight; };
  std::sort(by_area.begin(), by_area.end(),
            [&](std::size_t a, std::size_t b) { return area(a) != area(b) ? area(a) > area(b) : a < b; });
  double all = 0, sum = 0;
  for (std::size_t i = 0; i < movable_; ++i) all += area(i);
  for (const std::size_t i : by_area) {
    large.push_back(i);
    if ((sum += area(i)) > 0.75 * all) break;
  }
  const std::size_t a = large[random.Below(large.size())];
  std::size_t b = a;
  for (int tries = 0; tries < 20; ++tries) {
    b = large[random.Below(large.size())];
    if (model_.kind_of_shape[spots[a].shape] != model_.kind_of_shape[spots[b].shape]) break;
  }
  const Shape &sa = model_.shapes[spots[a].shape], &sb = model_.shapes[spots[b].shape];
  const double ax = spots[a].x + sa.width / 2, ay = spots[a].y + sa.height / 2;
  const double bx = spots[b].x + sb.width / 2, by = spots[b].y + sb.height / 2;
  spots[a].x += bx - ax, spots[a].y += by - ay;
  spots[b].x += ax - bx, spots[b].y += ay - by;
  Begin(std::move(spots), target_);
}

void StripWorker::Fail() {
  ++failures_;
  Failure failure = {least_, least_total_};
  const auto place = std::upper_bound(pool_.begin(), pool_.end(), failure,
                                      [](const Failure& a, const Failure& b) { return a.total < b.total; });
  pool_.insert(place, std::move(failure));
  if (pool_.size() > 20) pool_.pop_back();
  if (failures_ % 3 == 0) {
    ratio_ = std::max(kLeastRatio, ratio_ / 2);
    pool_.clear();
    quick_ = !quick_;
    Shrink();
  } else if (quick_) {
    Shrink();
  } else {
    Disturb();
  }
}

bool StripWorker::Separate(std::vector<Spot> spots, double length, Steps steps) {
  const Steps until = separation_.steps + steps;
  Begin(std::move(spots), length);
  double total = least_total_;
  while (total > 0 && separation_.steps < until && !stop_()) total = separation_.Sweep();
  if (total > 0) return false;
  separation_.Compact();
  best_ = {separation_.spots(), separation_.Used()};
  return true;
}

void StripWorker::Run(Steps until) {
  while (separation_.steps < until && !done_ && !stop_()) {
    double total = least_total_;
    if (total > 0) total = separation_.Sweep();
    if (total == 0) {
      separation_.Compact();
      const double used = separation_.Used();
      if (used < best_.length) {
        best_ = {separation_.spots(), used};
      }
      if (failures_ == 0) ratio_ = std::min(kMostRatio, ratio_ * 1.5);
      failures_ = 0;
      pool_.clear();
      Shrink();
      continue;
    }
    if (total < least_total_) {
      if (total < 0.98 * least_total_) no_better_ = 0;
      least_total_ = total;
      least_ = separation_.spots();
    } else {
      ++no_better_;
    }
    if (no_better_ < (quick_ ? 60 : 150)) continue;
    if (least_total_ < 0.98 * strike_total_) {
      strikes_ = 0;
    } else {
      ++strikes_;
    }
    strike_total_ = least_total_;
    no_better_ = 0;
    if (strikes_ >= (quick_ ? 2 : 3)) {
      Fail();
    } else {
      separation_.Restore(least_);
    }
  }
}

}  // namespace trqprep::nesting
