/// The search for places of copies that have none, and for fewer containers.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "nesting/separation.h"

namespace trqprep::nesting {

/// What a search for places is about.
struct PlacesTask {
  const Model* model = nullptr;
  const Job* job = nullptr;
  std::vector<FixedPieces> fixed;  ///< by container
  /// By container and kind: whether the gap to a fixed piece leaves it no place there. Containers behind the
  /// last of these have no fixed pieces.
  std::vector<std::vector<bool>> kept_away;
  std::size_t most = 1;   ///< containers
  std::size_t least = 1;  ///< containers that area and what is bound to one allow
  bool fill = false;      ///< places are sought for parts with `fill`, else for all others

  /// Area in a container that is left, by needs.
  double FreeArea(const Layout& layout, std::size_t container) const;
  /// Whether a copy may lie there at all.
  bool Allowed(std::size_t kind, std::size_t container) const {
    if (container < kept_away.size() && kept_away[container][kind]) return false;
    const int bound = job->parts[kind].container;
    return bound < 0 || static_cast<std::size_t>(bound) == container;
  }
  /// What is made small, one after the other: area (or with `fill` copies) without a place, containers, and
  /// the squares of the areas that are taken, with the sign changed: the fuller some are, the emptier others.
  using Score = std::array<double, 3>;
  Score ScoreOf(const Layout& layout) const;
  /// Whether the last container could be emptied: more than the least, and nothing in it has to stay.
  bool Reducible(const Layout& layout) const;
};

/// One worker. Puts one more copy into a container, over what lies there, and moves them apart; or one in the
/// place of a smaller one, which goes to where the other was. Copies without a place come first, where there
/// are none those of the last container. Between other containers copies are exchanged when that makes the
/// fuller one fuller.
class PlacesWorker {
 public:
  /// `stop` is looked at between sweeps.
  PlacesWorker(const PlacesTask& task, std::uint64_t seed, const std::function<bool()>& stop);

  /// Goes on from a better layout than its own.
  void Take(const Layout& better);
  /// Works until so many steps were taken since the beginning, and to the end of the sweep then in hand.
  void Run(Steps until);
  const Layout& best() const { return best_; }
  const PlacesTask::Score& score() const { return score_; }
  /// Whether nothing is left to seek, or no area for it: known when Run() came to seek again.
  bool done() const { return done_; }
  /// Whether nothing is left to seek from the start.
  bool Finished() { return done_ = !trying_ && !Choose(); }

 private:
  struct Attempt {
    std::size_t kind, container;
    std::ptrdiff_t instead;  // index of the copy that leaves, or -1
    std::ptrdiff_t source;   // container that the copy comes from, or -1: one without a place
    std::ptrdiff_t from;     // its index there
  };
  bool Choose();
  /// Additions and exchanges that make the score smaller.
  std::vector<Attempt> Attempts(std::ptrdiff_t source, std::size_t& additions) const;
  void Begin(Layout::Filled filled, const Spot& spot);
  Spot InPlaceOf(const Spot& was, std::size_t kind);
  Spot Anywhere(std::size_t kind);
  void Succeed();
  void Fail();

  const PlacesTask& task_;
  Random random_;
  Separation separation_;
  const std::function<bool()>& stop_;
  Layout best_;
  PlacesTask::Score score_{};
  bool done_ = false;
  // The attempt in hand:
  bool trying_ = false, second_ = false;  // second: the copy that left goes to the last container
  Attempt attempt_{};
  Layout next_;  // the layout when it succeeds
  double total_ = 0;
  Steps attempt_until_ = 0;
  Steps patience_ = 1;  // steps of an attempt, by the least
  std::size_t failures_ = 0, choices_ = 1;
};

}  // namespace trqprep::nesting
