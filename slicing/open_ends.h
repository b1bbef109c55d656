/// What becomes of contours whose ends meet no facet.
#pragma once

#include <cstdint>
#include <vector>

#include "slicing/allowance.h"
#include "trqprep/slicing.h"

namespace trqprep::slicing {

/// A run of segments from an edge that nothing leads to, to one that nothing leads from.
struct Chain {
  std::vector<SlicePoint> points;
  std::uint64_t first_edge = 0, last_edge = 0;  ///< keys of the edges on which it begins and ends
};

/// Joins chains whose ends lie on the same edge, whatever their direction; then those whose ends are within
/// `close` of each other, the nearest first. Adds the contours, and a gap for every pair of ends that is no
/// pair of one edge. Of no use when the allowance is exceeded
/// afterwards.
void JoinChains(const std::vector<Chain>& chains, double close, std::size_t layer, Allowance& steps,
                std::vector<SliceContour>& contours, std::vector<SliceGap>& gaps);

}  // namespace trqprep::slicing
