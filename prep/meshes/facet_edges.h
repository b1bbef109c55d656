/// Edges that facets share, and the sets of facets that hang together by them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "trq/geometry.h"

namespace trqprep {

inline bool HasEqualIndices(const R_INT4& t) { return t[0] == t[1] || t[1] == t[2] || t[0] == t[2]; }

/// One side of a facet.
struct EdgeUse {
  uint64_t edge;   ///< lower vertex number in the high half, higher one in the low half
  uint32_t facet;  ///< a number of the caller's
  bool forward;    ///< from the lower vertex to the higher one

  int Lower() const { return int(edge >> 32); }
  int Higher() const { return int(edge & 0xFFFFFFFFu); }
};

inline uint64_t EdgeBetween(int a, int b) {
  return uint64_t(std::min(a, b)) << 32 | uint64_t(std::max(a, b));
}

inline EdgeUse UseOf(int from, int to, uint32_t facet) { return {EdgeBetween(from, to), facet, from < to}; }

inline void AddEdges(const R_INT4& triangle, uint32_t facet, std::vector<EdgeUse>& uses) {
  for (int k = 0; k < 3; ++k) uses.push_back(UseOf(triangle[k], triangle[(k + 1) % 3], facet));
}

/// In which the uses of an edge stand together.
inline bool InOrder(const EdgeUse& a, const EdgeUse& b) {
  return a.edge != b.edge ? a.edge < b.edge : a.facet < b.facet;
}
inline void SortEdges(std::vector<EdgeUse>& uses) { std::sort(uses.begin(), uses.end(), InOrder); }

/// Sets of facets that grow together; each is named by its first facet.
class FacetSets {
 public:
  explicit FacetSets(size_t count) : parent_(count) { std::iota(parent_.begin(), parent_.end(), 0u); }
  uint32_t Find(uint32_t facet) {
    while (parent_[facet] != facet) facet = parent_[facet] = parent_[parent_[facet]];
    return facet;
  }
  void Join(uint32_t a, uint32_t b) {
    a = Find(a);
    b = Find(b);
    parent_[std::max(a, b)] = std::min(a, b);
  }

 private:
  std::vector<uint32_t> parent_;
};

}  // namespace trqprep
