/// Moves pieces that lie over one another apart: guided local search over states of overlap.
#pragma once

#include <cstdint>
#include <vector>

#include "nesting/layout.h"
#include "nesting/random.h"

namespace trqprep::nesting {

constexpr std::size_t kMostPiecesSearched = 1500;  ///< above, pairs need too much memory

/// Pieces, some of which overlap, and how much every overlap weighs.
class Separation {
 public:
  /// By how much the weights of overlaps grow after a sweep, the deepest the most. Slowly takes more pieces
  /// apart in the end; fast takes less time.
  struct Growth {
    double least, most;
  };
  static constexpr Growth kFast = {1.1, 1.5}, kSlow = {1.05, 1.25};

  Separation(const Model& model, std::uint64_t seed, Growth growth = kFast);

  /// Puts pieces at the spots; the first `movable` may be moved. All weights are 1 again.
  void Start(std::vector<Spot> spots, std::size_t movable, double length);
  /// Puts pieces back to spots, with the weights as they are.
  void Restore(const std::vector<Spot>& spots);
  /// Moves every piece that overlaps once to where it weighs least, as far as found, and raises the weight of
  /// what still overlaps. Returns the sum of overlaps, without weights; 0 when there is none.
  double Sweep();
  /// Pulls every piece to the left, then to the front, as long as that is free. Overlaps stay.
  void Compact();

  const std::vector<Spot>& spots() const { return spots_; }
  double Total() const;
  /// Largest right side of all pieces.
  double Used() const;
  /// The piece that overlaps most with this one.
  std::size_t Deepest(std::size_t piece) const;
  Random& random() { return random_; }

  Steps steps = 0;

 private:
  struct Candidate {
    Spot spot;
    double value;
  };
  void SetBox(std::size_t piece);
  void Update(std::size_t piece);
  double Evaluate(std::size_t piece, const Spot& spot, double bound);
  bool Free(std::size_t piece, const Spot& spot);
  void Move(std::size_t piece);
  void Refine(std::size_t piece, Candidate& candidate, double step, double last_step);
  void Clamp(Spot& spot) const;
  bool Colliding(std::size_t piece) const;

  const Model& model_;
  Random random_;
  Growth growth_;
  double length_ = 0;
  std::size_t movable_ = 0;
  std::vector<Spot> spots_;
  std::vector<double> left_, bottom_, right_, top_;
  std::vector<double> weights_, overlaps_;  // of pairs, as full squares
  std::vector<std::size_t> order_, near_;
};

}  // namespace trqprep::nesting
