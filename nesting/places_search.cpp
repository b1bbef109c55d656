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
    if (job->parts[k].fill == fill) missing += layout.left[k] * (fill ? 1 : model->kinds[k].bulk);
  }
  double squares = 0;
  for (std::size_t c = 0; c < layout.containers.size() && !fill; ++c) {
    const double taken = model->room - FreeArea(layout, c);
    squares += taken * taken;
  }
  return {missing, static_cast<double>(layout.containers.size()), -squares};
}

PlacesWorker::PlacesWorker(const PlacesTask& task, std::uint64_t seed, const std::function<bool()>& stop)
    : task_(task), random_(seed), separation_(*task.model, random_.Bits(), Separation::kSlow), stop_(stop) {}

void PlacesWorker::Take(const Layout& better) {
  best_ = better;
  score_ = task_.ScoreOf(best_);
  trying_ = done_ = false;
}

std::vector<PlacesWorker::Attempt> PlacesWorker::Attempts(std::ptrdiff_t source,
                                                          std::size_t& additions) const {
  const Model& model = *task_.model;
  const std::size_t count = model.kinds.size();
  // A copy of each kind that lies in a container and may leave it.
  const auto copies_in = [&](std::size_t container) {
    std::vector<std::ptrdiff_t> copies(count, -1);
    const Layout::Filled& filled = best_.containers[container];
    for (std::size_t i = 0; i < filled.movable; ++i)
      copies[model.kind_of_shape[filled.spots[i].shape]] = static_cast<std::ptrdiff_t>(i);
    return copies;
  };
  const auto from = static_cast<std::size_t>(source);  // where that is not -1
  std::vector<std::ptrdiff_t> movable(count, -1);
  double free_there = 0;
  if (source < 0) {
    for (std::size_t k = 0; k < count; ++k) {
      if (best_.left[k] > 0 && task_.job->parts[k].fill == task_.fill && !model.kinds[k].usable.empty())
        movable[k] = 0;
    }
  } else {
    movable = copies_in(from);
    free_there = task_.FreeArea(best_, from);
  }
  std::vector<Attempt> list, exchanges;
  for (std::size_t c = 0; c < best_.containers.size(); ++c) {
    if (static_cast<std::ptrdiff_t>(c) == source || best_.containers[c].movable >= kMostPiecesSearched)
      continue;
    const double free = task_.FreeArea(best_, c);
    const auto here = copies_in(c);
    // Whether so much more area here and less there makes the sum of squares larger.
    const auto better = [&](double more) {
      return source < 0 || (free_there - free + more > 1e-9 * model.room);
    };
    for (std::size_t k = 0; k < count; ++k) {
      if (movable[k] < 0 || !task_.Allowed(k, c)) continue;
      const double need = model.kinds[k].need, bulk = model.kinds[k].bulk;
      if (free >= need && better(need)) list.push_back({k, c, -1, source, movable[k]});
      for (std::size_t other = 0; other < count && !task_.fill; ++other) {
        const double gained = model.kinds[other].need;
        const bool smaller =
            source < 0 ? model.kinds[other].bulk < bulk * (1 - 1e-6) : gained <= need * (1 - 1e-6);
        if (here[other] < 0 || !smaller || free + gained < need || !better(need - gained) ||
            (source >= 0 && !task_.Allowed(other, from))) {
          continue;
        }
        exchanges.push_back({k, c, here[other], source, movable[k]});
      }
    }
  }
  additions = list.size();
  list.insert(list.end(), exchanges.begin(), exchanges.end());
  return list;
}

bool PlacesWorker::Choose() {
  const auto count = static_cast<std::ptrdiff_t>(best_.containers.size());
  std::ptrdiff_t main = -1;
  if (score_[0] == 0) {
    if (!task_.Reducible(best_)) return false;
    main = count - 1;
  }
  std::ptrdiff_t source = main;
  if (!task_.fill && count > 1 && random_.Below(2) == 0)
    source = static_cast<std::ptrdiff_t>(random_.Below(best_.containers.size()));
  std::size_t additions = 0;
  std::vector<Attempt> list = Attempts(source, additions);
  if (list.empty()) list = Attempts(main, additions);
  for (source = 0; list.empty() && source < count && !task_.fill; ++source)
    list = Attempts(source, additions);
  if (list.empty()) return false;
  choices_ = std::min(kMostFailures, list.size());
  // As many additions as exchanges.
  const bool add = additions == list.size() || (additions > 0 && random_.Below(2) == 0);
  attempt_ = list[add ? random_.Below(additions) : additions + random_.Below(list.size() - additions)];
  next_ = best_;
  Layout::Filled filled = next_.containers[attempt_.container];
  Spot spot = Anywhere(attempt_.kind);
  if (attempt_.instead >= 0) {
    const auto leaving = filled.spots.begin() + attempt_.instead;
    spot = InPlaceOf(*leaving, attempt_.kind);
    filled.spots.erase(leaving);
    --filled.movable;
  }
  second_ = false;
  Begin(std::move(filled), spot);
  return true;
}

Spot PlacesWorker::InPlaceOf(const Spot& was, std::size_t kind) {
  const Model& model = *task_.model;
  Spot spot = Anywhere(kind);
  const Shape &old = model.shapes[was.shape], &is = model.shapes[spot.shape];
  spot.x = was.x + (old.width - is.width) / 2;
  spot.y = was.y + (old.height - is.height) / 2;
  return spot;
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
  const std::size_t moved =
      attempt_.source < 0 ? attempt_.container : static_cast<std::size_t>(attempt_.source);
  if (!second_) {
    Layout::Filled& target = next_.containers[attempt_.container];
    const std::ptrdiff_t instead = attempt_.instead;
    const Spot leaving = instead < 0 ? Spot{} : target.spots[static_cast<std::size_t>(instead)];
    const std::size_t other = task_.model->kind_of_shape[leaving.shape];
    if (instead < 0) ++target.movable;
    target.spots = separation_.spots();
    if (attempt_.source < 0) {
      --next_.left[attempt_.kind];
      if (instead >= 0) ++next_.left[other];
    } else {
      Layout::Filled& source = next_.containers[moved];
      const Spot gone = source.spots[static_cast<std::size_t>(attempt_.from)];
      source.spots.erase(source.spots.begin() + attempt_.from);
      --source.movable;
      if (instead >= 0) {
        second_ = true;
        Begin(source, InPlaceOf(gone, other));
        return;
      }
    }
  } else {
    next_.containers[moved].spots = separation_.spots();
    ++next_.containers[moved].movable;
  }
  // A container that became empty takes what the last one holds.
  if (next_.containers[moved].spots.empty() && task_.Reducible(next_)) {
    std::swap(next_.containers[moved], next_.containers.back());
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
