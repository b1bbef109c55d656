/// The constructive pass: piece after piece at the leftmost, then frontmost free place of a grid of cells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "nesting/layout.h"

namespace trqprep::nesting {

/// Rows of cells from one to before another.
struct CellRun {
  int from;
  int to;
};
/// The cells that a shape touches, by columns.
using CellRuns = std::vector<std::vector<CellRun>>;

/// What filling one container after another has in common.
class FillState {
 public:
  /// How many pieces there are to place.
  explicit FillState(std::size_t pieces) : left_(kAlways + kOfPiece * static_cast<std::int64_t>(pieces)) {}

  /// What looking for places may cost: thousands of parts that differ, or hundreds on as many plates, would
  /// be tried everywhere. That ends it, after some seconds, by looking less far.
  bool spent() const { return left_ < 0; }
  /// Words of cells that were looked at.
  void Take(std::size_t words) { left_ -= static_cast<std::int64_t>(words); }

  double model_cell = 0;                           ///< what the model asks of cells; 0: not known so far
  double cell = 0;                                 ///< what `runs` are of
  std::unordered_map<std::size_t, CellRuns> runs;  ///< by shape

 private:
  static constexpr std::int64_t kAlways = 4'000'000'000, kOfPiece = 300'000;
  std::int64_t left_;
};

/// Adds pieces to `spots`, in the order of `kinds` (a part's index for each piece), and appends the index of
/// each that was placed to `placed`. All gaps are kept. What finds no place is left out, and so is every
/// later piece of its part. `stop` is asked before every piece. Once the state's budget is spent, parts that
/// come new are put no farther left than the piece before, and a container in which some had no place is
/// full.
void FillFromTheLeft(const Model& model, const std::vector<std::size_t>& kinds, std::vector<Spot>& spots,
                     std::vector<std::size_t>& placed, FillState& state, const std::function<bool()>& stop);

}  // namespace trqprep::nesting
