/// What a union by a sweep will cost.
#pragma once

#include <cstdint>

#include <polyclipping/clipper.hpp>

namespace trqprep::slicing {

/// About how many edges are looked at to unite these: those that a level line meets at every height of a
/// point, again for each path that begins there, and pairs that change their order. Beyond `most`, as many as
/// were counted until then.
std::uint64_t UnionSteps(const ClipperLib::Paths& paths, std::uint64_t most);

}  // namespace trqprep::slicing
