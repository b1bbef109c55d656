/// Pieces of work on several threads, of which an observer hears what it hears of one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "trqprep/observer.h"

namespace trqprep {

/// Does `work` of 0, 1, ... on so many threads, and `take` behind each on the calling thread, in their order;
/// with one thread everything on the calling one, one after the other. What `work` says to the observer that
/// it is given reaches `observer` on the calling thread, in the order of the numbers, and the first failure
/// in that order ends the work and is thrown: what behind it was done already is not heard of. `work` shares
/// nothing with that of other numbers, and asks nothing: every question gets a no.
void SideBySide(Observer& observer, std::size_t count, std::int64_t threads,
                const std::function<void(std::size_t, Observer&)>& work,
                const std::function<void(std::size_t)>& take = nullptr);

}  // namespace trqprep
