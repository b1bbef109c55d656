/// The search for a shorter length: workers that separate overlapping pieces in ever shorter containers.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "nesting/separation.h"

namespace trqprep::nesting {

/// Pieces without overlaps, and the length that they need.
struct Feasible {
  std::vector<Spot> spots;
  double length = 0;
};

/// One worker. Takes a layout without overlaps, shortens the container, and separates what then overlaps.
class StripWorker {
 public:
  /// Pieces from `movable` on stay where they are. `stop` is looked at between sweeps.
  StripWorker(const Model& model, std::size_t movable, std::uint64_t seed, const std::function<bool()>& stop);

  /// Goes on from a better layout than its own; what it has in hand it finishes first where that would be
  /// shorter.
  void Take(const Feasible& better);
  /// Works until so many steps were taken since the beginning, and to the end of the sweep then in hand.
  void Run(Steps until);
  /// Tries, for so many steps, to take the overlaps out of a layout in a container of this length. True when
  /// it did; the layout is in best() then.
  bool Separate(std::vector<Spot> spots, double length, Steps steps);
  const Feasible& best() const { return best_; }
  /// Whether no shorter length is possible.
  bool done() const { return done_; }

 private:
  void Shrink();
  void Disturb();
  void Fail();
  void Begin(std::vector<Spot> spots, double length);

  const Model& model_;
  std::size_t movable_;
  Separation separation_;
  const std::function<bool()>& stop_;
  Feasible best_;
  double least_length_ = 0;  // that area, fixed pieces and single pieces allow
  bool done_ = false;
  double target_ = 0;    // length of the attempt in hand
  double ratio_ = 0.02;  // by how much to shorten
  int failures_ = 0;     // since the last success
  // The attempt in hand:
  std::vector<Spot> least_;  // layout of the least overlap
  double least_total_ = 0;
  double strike_total_ = 0;  // at the start of this strike
  int no_better_ = 0;
  int strikes_ = 0;
  bool quick_ = false;
  struct Failure {
    std::vector<Spot> spots;
    double total;
  };
  std::vector<Failure> pool_;
};

}  // namespace trqprep::nesting
