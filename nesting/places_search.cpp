#include "nesting/places_search.h"

#include <algorithm>

namespace trqprep::nesting {
namespace {

constexpr Steps kAttempt = 4'000'000;  // the shortest
constexpr Steps kMostPatience = 64;
constexpr std::size_t kMostFailures = 32;  // before attempts become longer

}  // namespace

double PlacesTask::FreeArea(const Layout& layout, std::size_t container) const {
  const Layout::Filled& filled = layout.containers[container];
  double area = model->room - fixed[container].area;
  for (std::size_t i = 0; i < filled.movable; ++i)
    area -= model->kinds[model->kind_of_shape[filled.spots[i].shape]].need;
  return area;
}

bool PlacesTask::Reducible(const Layout& layout) const {
  if (fill || layout.containers.size() <= least) return false;
  const Layout::Filled& last = layout.containers.back();
  if (last.spots.size() > last.movable) return false;
  return std::all_of(last.spots.begin(), last.spots.end(), [&](const Spot& spot) {
    return job->parts[model->kind_of_shape[spot.shape]].container < 0;
  });
}

PlacesTask::Score PlacesTask::ScoreOf(const Layout& layout) const {
  double missing = 0;
  for (std::size_t k = 0; k < layout.left.size(); ++k) {
    if (job->parts[k].fill == fill) missing += layout.left[k] * (fill ? 1 : model->kinds[k].need);
  }
  double last = 0;
  if (Reducible(layout)) last = model->room - FreeArea(layout, layout.containers.size() - 1);
  return {missing, static_cast<double>(layout.containers.size()), last};
}

PlacesWorker::PlacesWorker(const PlacesTask& task, std::uint64_t seed, const std::function<bool()>& stop)
    : task_(task), random_(seed), separation_(*task.model, random_.Bits()), stop_(stop) {}

void PlacesWorker::Take(const Layout& better) {
  best_ = better;
  score_ = task_.ScoreOf(best_);
  trying_ = done_ = false;
}

bool PlacesWorker::Choose() {
  const Model& model = *task_.model;
  const std::size_t count = best_.containers.size();
  // Whose copies are to be placed: those without a place, or the last container's.
  std::vector<std::ptrdiff_t> sources(model.kinds.size(), -1);
  std::vector<std::size_t> kinds;
  bool from_last = false;
  for (std::size_t k = 0; k < best_.left.size(); ++k) {
    if (best_.left[k] > 0 && task_.job->parts[k].fill == task_.fill && !model.kinds[k].usable.empty())
      kinds.push_back(k);
  }
  if (kinds.empty() && task_.Reducible(best_)) {
    from_last = true;
    const Layout::Filled& last = best_.containers.back();
    for (std::size_t i = 0; i < last.movable; ++i) {
      const std::size_t k = model.kind_of_shape[last.spots[i].shape];
      if (sources[k] < 0) kinds.push_back(k);
      sources[k] = static_cast<std::ptrdiff_t>(i);
    }
  }
  std::vector<Attempt> additions, exchanges;
  for (std::size_t c = 0; c < count - (from_last ? 1 : 0); ++c) {
    const Layout::Filled& filled = best_.containers[c];
    if (filled.movable >= kMostPiecesSearched) continue;
    const double free = task_.FreeArea(best_, c);
    std::vector<std::ptrdiff_t> here(model.kinds.size(), -1);
    for (std::size_t i = 0; i < filled.movable; ++i)
      here[model.kind_of_shape[filled.spots[i].shape]] = static_cast<std::ptrdiff_t>(i);
    for (const std::size_t k : kinds) {
      if (!task_.Allowed(k, c)) continue;
      const double need = model.kinds[k].need;
      if (free >= need) additions.push_back({k, c, -1, sources[k]});
      if (task_.fill) continue;
      for (std::size_t other = 0; other < here.size(); ++other) {
        const double gained = model.kinds[other].need;
        if (here[other] < 0 || task_.job->parts[other].fill || gained > need * (1 - 1e-9) ||
            free + gained < need || (from_last && !task_.Allowed(other, count - 1))) {
          continue;
        }
        exchanges.push_back({k, c, here[other], sources[k]});
      }
    }
  }
  if (additions.empty() && exchanges.empty()) return false;
  choices_ = std::min(kMostFailures, additions.size() + exchanges.size());
  const auto& list =
      exchanges.empty() || (!additions.empty() && random_.Below(2) == 0) ? additions : exchanges;
  attempt_ = list[random_.Below(list.size())];
  next_ = best_;
  Layout::Filled filled = next_.containers[attempt_.container];
  Spot spot = Anywhere(attempt_.kind);
  if (attempt_.instead >= 0) {
    // Near its middle, where there is room already.
    const auto leaving = filled.spots.begin() + attempt_.instead;
    const Shape &was = model.shapes[leaving->shape], &is = model.shapes[spot.shape];
    spot.x = leaving->x + (was.width - is.width) / 2;
    spot.y = leaving->y + (was.height - is.height) / 2;
    filled.spots.erase(leaving);
    --filled.movable;
  }
  second_ = false;
  Begin(std::move(filled), spot);
  return true;
}

Spot PlacesWorker::Anywhere(std::size_t kind) {
  const Model& model = *task_.model;
  const auto& usable = model.kinds[kind].usable;
  Spot spot = {usable[random_.Below(usable.size())], 0, 0};
  spot.x = random_.Unit() * (model.length - model.shapes[spot.shape].width);
  spot.y = random_.Unit() * (model.width - model.shapes[spot.shape].height);
  return spot;
}

void PlacesWorker::Begin(Layout::Filled filled, const Spot& spot) {
  filled.spots.insert(filled.spots.begin() + static_cast<std::ptrdiff_t>(filled.movable), spot);
  ++filled.movable;
  trying_ = true;
  attempt_until_ = separation_.steps + kAttempt * patience_;
  separation_.Start(std::move(filled.spots), filled.movable, task_.model->length);
  total_ = separation_.Total();
}

void PlacesWorker::Succeed() {
  separation_.Compact();
  const Model& model = *task_.model;
  const std::size_t last = next_.containers.size() - 1;
  const bool from_last = attempt_.from >= 0;
  Layout::Filled& changed = next_.containers[second_ ? last : attempt_.container];
  if (!second_) {
    const Layout::Filled before = changed;
    changed.movable = before.movable + (attempt_.instead >= 0 ? 0 : 1);
    changed.spots = separation_.spots();
    if (from_last) {
      Layout::Filled& source = next_.containers[last];
      source.spots.erase(source.spots.begin() + attempt_.from);
      --source.movable;
    } else {
      --next_.left[attempt_.kind];
    }
    if (attempt_.instead >= 0) {
      const std::size_t other =
          model.kind_of_shape[before.spots[static_cast<std::size_t>(attempt_.instead)].shape];
      if (from_last) {
        second_ = true;
        Begin(next_.containers[last], Anywhere(other));
        return;
      }
      ++next_.left[other];
    }
  } else {
    changed.spots = separation_.spots();
    ++changed.movable;
  }
  // Containers that only stood for what was taken away end the list.
  if (from_last && next_.containers.back().movable == 0) {
    next_.containers.pop_back();
    while (next_.containers.size() > task_.least && next_.containers.back().spots.empty())
      next_.containers.pop_back();
  }
  best_ = next_;
  score_ = task_.ScoreOf(best_);
  trying_ = false;
  failures_ = 0;
  patience_ = std::max<Steps>(1, patience_ / 2);
}

void PlacesWorker::Fail() {
  trying_ = false;
  // When about all were tried in vain, each is given twice the time.
  if (++failures_ >= std::max<std::size_t>(choices_, 2)) {
    failures_ = 0;
    patience_ = std::min(patience_ * 2, kMostPatience);
  }
}

void PlacesWorker::Run(Steps until) {
  while (separation_.steps < until && !done_ && !stop_()) {
    if (!trying_ && !Choose()) {
      done_ = true;
      return;
    }
    if (total_ > 0) total_ = separation_.Sweep();
    if (total_ == 0) {
      Succeed();
    } else if (separation_.steps >= attempt_until_) {
      Fail();
    }
  }
}

}  // namespace trqprep::nesting
