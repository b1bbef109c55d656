#include "nesting/separation.h"

#include <algorithm>
#include <limits>

namespace trqprep::nesting {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr int kAnywhere = 24;  // samples over the container
constexpr int kAround = 12;    // samples about the piece
constexpr std::size_t kRefined = 3;
constexpr double kDecay = 0.95;

}  // namespace

Separation::Separation(const Model& model, std::uint64_t seed, Growth growth)
    : model_(model), random_(seed), growth_(growth) {}

void Separation::SetBox(std::size_t piece) {
  const Spot& spot = spots_[piece];
  const Shape& shape = model_.shapes[spot.shape];
  left_[piece] = spot.x, right_[piece] = spot.x + shape.width;
  bottom_[piece] = spot.y, top_[piece] = spot.y + shape.height;
}

void Separation::Start(std::vector<Spot> spots, std::size_t movable, double length) {
  length_ = length;
  movable_ = movable;
  const std::size_t n = spots.size();
  weights_.assign(n * n, 1);
  left_.resize(n), right_.resize(n), bottom_.resize(n), top_.resize(n);
  for (std::size_t i = 0; i < movable; ++i) Clamp(spots[i]);
  Restore(spots);
}

void Separation::Restore(const std::vector<Spot>& spots) {
  spots_ = spots;
  const std::size_t n = spots_.size();
  overlaps_.assign(n * n, 0);
  for (std::size_t i = 0; i < n; ++i) SetBox(i);
  for (std::size_t i = 0; i < movable_; ++i) Update(i);
}

void Separation::Update(std::size_t piece) {
  const std::size_t n = spots_.size();
  const Spot& spot = spots_[piece];
  for (std::size_t j = 0; j < n; ++j) {
    if (j == piece) continue;
    const Spot& other = spots_[j];
    const Shape& that = model_.Seen(other.shape, spot.shape);
    const Shape& shape = model_.Seen(spot.shape, other.shape);
    const double gap = model_.Gap(spot.shape, other.shape);
    double overlap = 0;
    if (Collide(shape, that, other.x - spot.x, other.y - spot.y, gap, steps)) {
      overlap = Overlap(shape, that, other.x - spot.x, other.y - spot.y, gap, steps);
    }
    overlaps_[piece * n + j] = overlaps_[j * n + piece] = overlap;
  }
}

double Separation::Evaluate(std::size_t piece, const Spot& spot, double bound) {
  const std::size_t n = spots_.size();
  const Shape& shape = model_.shapes[spot.shape];
  const double* weights = &weights_[piece * n];
  const auto& kinds = model_.kinds;
  const double own_gap = kinds[model_.kind_of_shape[spot.shape]].gap;
  const double left = spot.x, right = spot.x + shape.width, bottom = spot.y, top = spot.y + shape.height;
  double value = 0;
  steps += 4 + n / 8;
  for (std::size_t j = 0; j < n; ++j) {
    // The larger gap of the two is looked up only for those that a small gap does not part.
    if (left_[j] > right + own_gap || right_[j] + own_gap < left || bottom_[j] > top + own_gap ||
        top_[j] + own_gap < bottom) {
      const double gap = kinds[model_.kind_of_shape[spots_[j].shape]].gap;
      if (gap <= own_gap || left_[j] > right + gap || right_[j] + gap < left || bottom_[j] > top + gap ||
          top_[j] + gap < bottom) {
        continue;
      }
    }
    if (j == piece) continue;
    const Spot& other = spots_[j];
    const Shape& seen = model_.Seen(spot.shape, other.shape);
    const Shape& that = model_.Seen(other.shape, spot.shape);
    const double gap = model_.Gap(spot.shape, other.shape);
    const double dx = other.x - spot.x, dy = other.y - spot.y;
    if (!Collide(seen, that, dx, dy, gap, steps)) continue;
    value += weights[j] * Overlap(seen, that, dx, dy, gap, steps);
    if (value >= bound) return kInfinite;
  }
  return value;
}

void Separation::Clamp(Spot& spot) const {
  const Shape& shape = model_.shapes[spot.shape];
  spot.x = std::max(0.0, std::min(spot.x, length_ - shape.width));
  spot.y = std::max(0.0, std::min(spot.y, model_.width - shape.height));
}

bool Separation::Colliding(std::size_t piece) const {
  const std::size_t n = spots_.size();
  for (std::size_t j = 0; j < n; ++j) {
    if (overlaps_[piece * n + j] > 0) return true;
  }
  return false;
}

void Separation::Refine(std::size_t piece, Candidate& candidate, double step, double last_step) {
  double step_x = step, step_y = step;
  while (candidate.value > 0 && (step_x > last_step || step_y > last_step)) {
    // Along X, along Y or along a diagonal, both ways.
    double x = 0, y = 0;
    const std::size_t axis = random_.Below(4);
    if (axis != 1) x = step_x;
    if (axis != 0) y = axis == 3 ? -step_y : step_y;
    bool better = false;
    for (int way = 0; way < 2; ++way, x = -x, y = -y) {
      Spot moved = {candidate.spot.shape, candidate.spot.x + x, candidate.spot.y + y};
      Clamp(moved);
      if (moved.x == candidate.spot.x && moved.y == candidate.spot.y) continue;
      const double value = Evaluate(piece, moved, candidate.value);
      if (value < candidate.value) {
        candidate = {moved, value};
        better = true;
        break;
      }
    }
    const double factor = better ? 1.1 : 0.5;
    const double gentle = better ? 1.1 : 0.7071067811865476;
    if (axis == 0) step_x *= factor;
    if (axis == 1) step_y *= factor;
    if (axis >= 2) step_x *= gentle, step_y *= gentle;
  }
}

void Separation::Move(std::size_t piece) {
  const Model::Kind& kind = model_.kinds[model_.kind_of_shape[spots_[piece].shape]];
  const Spot here = spots_[piece];
  Candidate best[kRefined];
  std::size_t found = 0;
  const auto offer = [&](const Candidate& candidate) {
    // Two that lie close together would be refined into the same spot.
    const double near = 0.05 * model_.shapes[candidate.spot.shape].diameter;
    std::size_t place = found;
    for (std::size_t i = 0; i < found; ++i) {
      const double dx = best[i].spot.x - candidate.spot.x, dy = best[i].spot.y - candidate.spot.y;
      if (best[i].spot.shape == candidate.spot.shape && dx < near && -dx < near && dy < near && -dy < near) {
        if (candidate.value >= best[i].value) return;
        place = i;
        break;
      }
    }
    if (place == found) {
      if (found < kRefined) {
        ++found;
      } else {
        place = found - 1;
        if (candidate.value >= best[place].value) return;
      }
    }
    best[place] = candidate;
    for (; place > 0 && best[place].value < best[place - 1].value; --place)
      std::swap(best[place], best[place - 1]);
  };
  const auto bound = [&] { return found < kRefined ? kInfinite : best[found - 1].value; };
  offer({here, Evaluate(piece, here, kInfinite)});
  const double length = length_;
  for (int i = 0; i < kAnywhere + kAround; ++i) {
    Spot spot;
    spot.shape = kind.usable[random_.Below(kind.usable.size())];
    const Shape& shape = model_.shapes[spot.shape];
    if (shape.width > length) continue;
    if (i < kAnywhere) {
      spot.x = random_.Unit() * (length - shape.width);
      spot.y = random_.Unit() * (model_.width - shape.height);
    } else {
      const Shape& now = model_.shapes[here.shape];
      const double reach = 0.25 * now.diameter;
      spot.x = here.x + (now.width - shape.width) / 2 + random_.Between(-reach, reach);
      spot.y = here.y + (now.height - shape.height) / 2 + random_.Between(-reach, reach);
      Clamp(spot);
    }
    const double value = Evaluate(piece, spot, bound());
    if (value < kInfinite) offer({spot, value});
    if (value == 0) break;
  }
  const double small = [&] {
    const Shape& shape = model_.shapes[here.shape];
    return std::min(shape.width, shape.height);
  }();
  Candidate chosen = best[0];
  for (std::size_t i = 0; i < found && chosen.value > 0; ++i) {
    Refine(piece, best[i], 0.25 * small, 0.02 * small);
    if (best[i].value < chosen.value) chosen = best[i];
  }
  if (chosen.value > 0) Refine(piece, chosen, 0.01 * small, 0.001 * small);
  spots_[piece] = chosen.spot;
  SetBox(piece);
  Update(piece);
}

double Separation::Sweep() {
  const std::size_t n = spots_.size();
  order_.clear();
  for (std::size_t i = 0; i < movable_; ++i) {
    if (Colliding(i)) order_.push_back(i);
  }
  for (std::size_t i = order_.size(); i > 1; --i) std::swap(order_[i - 1], order_[random_.Below(i)]);
  for (const std::size_t piece : order_) {
    if (Colliding(piece)) Move(piece);
  }
  double total = 0, most = 0;
  for (std::size_t i = 0; i < movable_; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) {
      total += overlaps_[i * n + j];
      most = std::max(most, overlaps_[i * n + j]);
    }
  }
  steps += n * n / 16;
  for (std::size_t i = 0; i < movable_; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) {
      const double overlap = overlaps_[i * n + j];
      double weight = weights_[i * n + j];
      weight *= overlap > 0 ? growth_.least + (growth_.most - growth_.least) * (overlap / most) : kDecay;
      weights_[i * n + j] = weights_[j * n + i] = std::max(weight, 1.0);
    }
  }
  return total;
}

double Separation::Total() const {
  const std::size_t n = spots_.size();
  double total = 0;
  for (std::size_t i = 0; i < movable_; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) total += overlaps_[i * n + j];
  }
  return total;
}

std::size_t Separation::Deepest(std::size_t piece) const {
  const auto row = overlaps_.begin() + static_cast<std::ptrdiff_t>(piece * spots_.size());
  return static_cast<std::size_t>(std::max_element(row, row + static_cast<std::ptrdiff_t>(spots_.size())) -
                                  row);
}

double Separation::Used() const {
  double used = 0;
  for (const double right : right_) used = std::max(used, right);
  return used;
}

bool Separation::Free(std::size_t piece, const Spot& spot) { return Evaluate(piece, spot, 0) == 0; }

void Separation::Compact() {
  for (int rounds = 0; rounds < 20; ++rounds) {
    order_.clear();
    for (std::size_t i = 0; i < movable_; ++i) order_.push_back(i);
    std::sort(order_.begin(), order_.end(), [&](std::size_t a, std::size_t b) {
      return left_[a] != left_[b]       ? left_[a] < left_[b]
             : bottom_[a] != bottom_[b] ? bottom_[a] < bottom_[b]
                                        : a < b;
    });
    double moved = 0;
    const double least = 1e-7 * model_.width;
    for (const std::size_t piece : order_) {
      for (int axis = 0; axis < 2; ++axis) {
        Spot spot = spots_[piece];
        double& at = axis == 0 ? spot.x : spot.y;
        const double from = at;
        for (double step = std::min(at, 0.1 * model_.width); step > least;) {
          const double was = at;
          at = std::max(0.0, at - step);
          if (at < was && Free(piece, spot)) continue;
          at = was;
          step /= 2;
        }
        if (at < from) {
          if (axis == 0) moved = std::max(moved, from - at);
          spots_[piece] = spot;
          SetBox(piece);
        }
      }
    }
    if (moved <= 1e-4 * model_.width) break;
  }
  for (std::size_t i = 0; i < movable_; ++i) Update(i);
}

}  // namespace trqprep::nesting
