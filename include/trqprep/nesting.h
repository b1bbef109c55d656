/// Where outlines lie in a rectangle without coming nearer to one another than they may.
/// Knows outlines alone, neither meshes nor files. docs/nesting.md tells how it works and what it is after.
///
/// Everything is decided by counted steps, never by the clock: the same job, seed and steps give the same
/// bits on every machine and with any number of threads. Lengths are millimetres in the examples; any one
/// unit will do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace trqprep::nesting {

struct Point {
  double x;
  double y;
};

/// Corners of a closed line, in either direction; the last is joined to the first.
using Ring = std::vector<Point>;

/// What is inside `outer` and in no hole.
struct Region {
  Ring outer;
  std::vector<Ring> holes;
};

/// One or several regions that move together.
using Outline = std::vector<Region>;

/// A turn about the origin by its sine and cosine: (x, y) goes to (cosine x - sine y, sine x + cosine y).
struct Turn {
  double sine = 0;
  double cosine = 1;
};

/// Copies of one outline.
struct Part {
  Outline outline;
  std::vector<Turn> turns = {Turn()};  ///< that a copy may have; at least one
  int copies = 1;
  double gap = -1;     ///< to every other piece, at least; below 0: the job's
  bool fill = false;   ///< as many as fit, at most `copies`; placed when all else is
  int container = -1;  ///< of several, from 0, that its copies lie in; below 0: any
};

/// A piece lies where its outline, turned by `part.turns[turn]` and then moved by (x, y), lies.
struct Placement {
  std::size_t part;
  std::size_t turn;
  double x;
  double y;
  std::size_t container = 0;  ///< of several
};

/// The rectangle from (0, 0) to (length, width): length along X, width along Y.
struct Container {
  double length = 0;  ///< of a strip: not read
  double width = 0;
  bool strip = false;  ///< open to the right: the length used is what is made small
  double margin = 0;   ///< from every piece to the walls, the open end of a strip apart
};

struct Job {
  std::vector<Part> parts;
  std::vector<Placement>
      fixed;  ///< pieces that stay where they are, besides the copies; they may touch one another
  Container container;
  double gap = 0;             ///< between pieces; of two the larger counts
  double clearance = 0.0005;  ///< planned on top of every gap, for those who round what is placed
  bool use_holes = true;      ///< pieces may lie in holes of others
  bool given_order = false;   ///< the constructive pass takes parts as they come, not the largest first
  std::uint64_t seed = 1;
};

/// Steps of a second of one processor, by which times become steps. A step is the cost of examining one pair
/// of edges.
constexpr std::uint64_t kStepsPerSecond = 120'000'000;

/// How long a job may take. `steps` bounds the search alone: the constructive pass, and pulling pieces to the
/// left and to the front, always run to their ends; of thousands of parts that differ, or hundreds on as many
/// plates, the constructive pass looks at fewer places after some seconds. The search ends by itself when
/// every copy has its place in the fewest containers that area allows (or none of those left finds area) and
/// those are compacted, which takes half a second's steps; that of a strip does not.
struct Limits {
  std::uint64_t steps = 0;  ///< of all workers together; 0: no search
  int threads = 1;          ///< changes nothing but the time
  double wall_seconds = 0;  ///< above 0: the search ends here, with what the last finished round had
  std::function<bool()>
      cancel;  ///< true ends everything; called by the calling thread, every few milliseconds
};

enum class Outcome {
  kPlaced,    ///< every copy has its place
  kPartly,    ///< some have none: `missing`
  kBadInput,  ///< `reason` says what; nothing was placed
  kCancelled,
};

/// Why no place was found for copies of a part.
struct Missing {
  enum class Why {
    kTooLarge,    ///< for the empty container, in every turn
    kNoFreeArea,  ///< all that has to be there has more area, with half of its gaps, than there is
    kNoPlace,     ///< there is area, but no place was found
  };
  std::size_t part;
  int copies;
  Why why;
  double free_area = 0;               ///< of the container that has the most of those it may lie in
  std::ptrdiff_t blocking_part = -1;  ///< whose piece is most in the way there; below 0: none
};

struct Result {
  Outcome outcome = Outcome::kBadInput;
  std::vector<Placement> placements;  ///< of the copies, by part; without `Job::fixed`
  std::vector<Missing> missing;
  double length = 0;        ///< largest X of all pieces, fixed ones included
  std::uint64_t steps = 0;  ///< given as `Limits::steps` they repeat the result
  std::string reason;       ///< of kBadInput
};

/// Places the copies: a constructive pass, then a search for a shorter length (a strip) or for places of what
/// found none (a container of given length), then compacting towards the corner (margin, margin).
Result Nest(const Job& job, const Limits& limits);

/// Several containers of the same size, `most` at most (10 000 at the very most): as few as can be found,
/// then the shortest length in each. How many there are is told by the last one that holds anything: one
/// before it may be empty when parts are bound to later ones. `containers[i]` has placements and length of
/// the i-th.
struct PlatesResult {
  Outcome outcome = Outcome::kBadInput;
  std::vector<Result> containers;
  std::vector<Missing> missing;  ///< what no container took
  std::uint64_t steps = 0;       ///< given as `Limits::steps` they repeat the result
  std::string reason;
};
PlatesResult NestPlates(const Job& job, std::size_t most, const Limits& limits);

/// What is wrong with placements, found by comparing edges with edges and nothing of the search.
struct Fault {
  enum class What {
    kNumber,     ///< a part or turn that does not exist, or a coordinate that is no number
    kCopies,     ///< more or fewer of a part than expected
    kWall,       ///< nearer to a wall than the margin
    kGap,        ///< nearer to another piece than the gap, or over it
    kHole,       ///< in a hole of another piece where that is forbidden
    kContainer,  ///< in another container than the part is bound to
  };
  What what;
  std::size_t first;   ///< index of the placement; for kCopies the part
  std::size_t second;  ///< of kGap and kHole: the other placement; fixed ones follow the placements
  double distance;     ///< found; below 0 when one piece lies over another
};

/// Checks that all copies of `job` are placed (but for those of parts with `fill` and those in `missing`),
/// and distances to walls and between pieces (not between two fixed ones) that are less than asked for by
/// more than `tolerance`. Pieces of gap 0 may lie over each other by `tolerance`. The clearance is not asked
/// for. Placements of several containers may be checked at once.
std::vector<Fault> CheckPlacements(const Job& job, const std::vector<Placement>& placements,
                                   const std::vector<Missing>& missing, double tolerance);

/// Area of an outline: its regions' outer rings less their holes.
double AreaOf(const Outline& outline);

}  // namespace trqprep::nesting
