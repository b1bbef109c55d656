#include "trqprep/simplify.h"

#include <fmt/format.h>
#include <meshoptimizer.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>
#include <tuple>
#include <utility>

#include "prep/meshes/facet_edges.h"
#include "trq/core/elementary.h"
#include "trqprep/mesh_topology.h"

namespace trqprep {
namespace {

constexpr double kTargetMargin = 0.05;
constexpr double kNoticedChange = 0.01;
constexpr double kRuinousChange = 0.10;

// The simplifier goes through all facets of a vertex for each of its neighbours: time would grow as their
// square.
constexpr unsigned kMostFacetsOfVertex = 5000;

using Indices = std::vector<unsigned>;  // three a facet

/// The mesh as the simplifier takes it.
struct Welded {
  std::vector<int> vertices;     ///< of the mesh, one a place, ascending (but see SplitHubs)
  std::vector<float> positions;  ///< x, y, z of each of them, scaled
  Indices indices;               ///< into `vertices`; no facet has a corner twice
};

// Vertices with the same coordinates, bit for bit but for the sign of a zero, become the first of them.
// Sorted rather than hashed, so that no coordinates make it slow.
Welded Weld(const CTL& mesh) {
  const auto count = size_t(mesh.num_vertices());
  const auto coordinates = [&mesh](unsigned vertex) {
    const PbVec3f& v = mesh.vertices()[vertex];
    return std::tuple(v[0], v[1], v[2]);
  };
  Indices order(count);
  std::iota(order.begin(), order.end(), 0u);
  std::sort(order.begin(), order.end(), [&](unsigned a, unsigned b) {
    return std::tuple_cat(coordinates(a), std::tuple(a)) < std::tuple_cat(coordinates(b), std::tuple(b));
  });
  Indices first(count);
  for (size_t i = 0; i < count; ++i) {
    const bool same = i > 0 && coordinates(order[i]) == coordinates(order[i - 1]);
    first[order[i]] = same ? first[order[i - 1]] : order[i];
  }

  constexpr unsigned kUnused = std::numeric_limits<unsigned>::max();
  Indices number(count, kUnused);
  Welded welded;
  for (int facet = 0; facet < mesh.num_triangles(); ++facet) {
    const R_INT4& t = mesh.triangles()[facet];
    const std::array<unsigned, 3> corners{first[size_t(t[0])], first[size_t(t[1])], first[size_t(t[2])]};
    if (corners[0] == corners[1] || corners[1] == corners[2] || corners[0] == corners[2]) continue;
    for (const unsigned corner : corners) {
      number[corner] = 0;
      welded.indices.push_back(corner);
    }
  }
  // A power of two changes no digit, and keeps the simplifier's own arithmetic from overflowing.
  float largest = 0;
  for (size_t i = 0; i < count; ++i) {
    if (number[i] == kUnused) continue;
    number[i] = static_cast<unsigned>(welded.vertices.size());
    welded.vertices.push_back(int(i));
    for (int k = 0; k < 3; ++k) largest = std::max(largest, std::fabs(mesh.vertices()[i][k]));
  }
  const double scale = trq::core::PowerOfTwo(-trq::core::BinaryExponent(largest));
  for (const int vertex : welded.vertices) {
    for (int k = 0; k < 3; ++k) {
      welded.positions.push_back(float(mesh.vertices()[vertex][k] * scale));
    }
  }
  for (unsigned& index : welded.indices) index = number[index];
  return welded;
}

struct EdgeCounts {
  size_t open = 0;     ///< edges of one facet
  size_t crowded = 0;  ///< edges of more than two facets
};

EdgeCounts CountEdges(const Indices& indices) {
  std::vector<EdgeUse> uses;
  uses.reserve(indices.size());
  for (size_t i = 0; i < indices.size(); i += 3) {
    const auto corner = [&](size_t k) { return int(indices[i + k]); };
    AddEdges(R_INT4(corner(0), corner(1), corner(2)), uint32_t(i / 3), uses);
  }
  SortEdges(uses);
  EdgeCounts counts;
  for (size_t begin = 0, end = 0; begin < uses.size(); begin = end) {
    while (end < uses.size() && uses[end].edge == uses[begin].edge) ++end;
    if (end - begin == 1) ++counts.open;
    if (end - begin > 2) ++counts.crowded;
  }
  return counts;
}

/// Marks facets that have the corners of another one in the opposite order, each with one such partner: two
/// facets that cover each other enclose nothing and only crowd the edges around them. Returns how many.
size_t MarkOppositePairs(const Indices& indices, std::vector<bool>& marked) {
  struct Facet {
    std::array<unsigned, 3> corners;  // ascending
    bool even;                        // an even number of swaps brought them into order
    size_t number;
  };
  std::vector<Facet> facets;
  facets.reserve(indices.size() / 3);
  for (size_t i = 0; i < indices.size(); i += 3) {
    Facet facet{{indices[i], indices[i + 1], indices[i + 2]}, true, i / 3};
    for (const auto& [a, b] : {std::pair{0u, 1u}, {1u, 2u}, {0u, 1u}}) {
      if (facet.corners[a] <= facet.corners[b]) continue;
      std::swap(facet.corners[a], facet.corners[b]);
      facet.even = !facet.even;
    }
    facets.push_back(facet);
  }
  std::sort(facets.begin(), facets.end(), [](const Facet& a, const Facet& b) {
    return std::tie(a.corners, a.even, a.number) < std::tie(b.corners, b.even, b.number);
  });
  marked.assign(facets.size(), false);
  size_t count = 0;
  for (size_t begin = 0, end = 0; begin < facets.size(); begin = end) {
    size_t odd = 0;
    for (end = begin; end < facets.size() && facets[end].corners == facets[begin].corners; ++end) {
      if (!facets[end].even) ++odd;
    }
    const size_t pairs = std::min(odd, end - begin - odd);
    for (size_t i = 0; i < pairs; ++i) {
      marked[facets[begin + i].number] = true;
      marked[facets[end - 1 - i].number] = true;
    }
    count += 2 * pairs;
  }
  return count;
}

Indices Without(const Indices& indices, const std::vector<bool>& marked) {
  Indices kept;
  for (size_t i = 0; i < indices.size(); i += 3) {
    if (!marked[i / 3]) kept.insert(kept.end(), indices.begin() + i, indices.begin() + i + 3);
  }
  return kept;
}

/// The mesh with vertices of too many facets as several at one place, each of the next facets. The new ones
/// come last. Nothing when there are none.
std::optional<Welded> SplitHubs(const Welded& welded) {
  Indices facets(welded.vertices.size(), 0);
  for (const unsigned index : welded.indices) ++facets[index];
  if (facets.empty() || *std::max_element(facets.begin(), facets.end()) <= kMostFacetsOfVertex) return {};
  Welded split = welded;
  Indices latest(facets.size());
  std::iota(latest.begin(), latest.end(), 0u);
  std::fill(facets.begin(), facets.end(), 0u);
  for (unsigned& index : split.indices) {
    const unsigned vertex = index;
    if (++facets[vertex] > kMostFacetsOfVertex) {
      facets[vertex] = 1;
      latest[vertex] = static_cast<unsigned>(split.vertices.size());
      split.vertices.push_back(int(vertex));
      for (size_t k = 0; k < 3; ++k) split.positions.push_back(welded.positions[3 * size_t(vertex) + k]);
    }
    index = latest[vertex];
  }
  return split;
}

/// Runs of the simplifier over one mesh.
class Simplifier {
 public:
  explicit Simplifier(const Welded& welded)
      : welded_(welded), split_(SplitHubs(welded)), edges_(CountEdges(welded.indices)) {
    std::vector<bool> marked;
    keeps_pairs_ = MarkOppositePairs(welded.indices, marked) > 0;
    locks_border_ = edges_.open > 0;
  }

  /// The first result within 5 % of the target without more crowded edges than the mesh had; where no run
  /// gives one, of those with the fewest crowded edges the one that is nearest to the target.
  Indices RunForTarget(Observer& observer, size_t target) {
    // Large meshes take seconds a run, and their faults are few.
    const int runs = welded_.indices.size() > 3 * 500000 ? 3 : 10;
    const auto margin = size_t(kTargetMargin * double(target));
    Indices best;
    std::pair best_faults{std::numeric_limits<size_t>::max(), size_t{0}};
    size_t aim = target;
    for (int run = 0; run < runs && 3 * aim < welded_.indices.size(); ++run) {
      observer.StopIfCancelled();
      Indices result = RunNear(aim, margin);
      const size_t facets = result.size() / 3;
      const size_t crowded = CountEdges(result).crowded;
      const size_t off = std::max(facets, target) - std::min(facets, target);
      const std::pair faults{crowded - std::min(crowded, edges_.crowded), off <= margin ? 0 : off};
      if (faults < best_faults) {
        best_faults = faults;
        best = std::move(result);
      }
      if (best_faults == std::pair<size_t, size_t>{0, 0}) break;
      if (facets + margin < target) {
        aim += std::max<size_t>((target - facets) / 2, 1);  // pairs that covered each other were taken out
      } else if (facets < target + margin) {
        aim += std::max<size_t>(margin / 2, 1);
      } else {
        break;
      }
    }
    return best;
  }

 private:
  Indices RunNear(size_t facets, size_t margin) {
    if (locks_border_) {
      Indices result = RunOnce(facets, meshopt_SimplifyLockBorder);
      if (result.size() <= 3 * (facets + margin)) return result;
      locks_border_ = false;
    }
    return RunOnce(facets, 0);
  }

  Indices RunOnce(size_t facets, unsigned options) const {
    const Welded& given = split_ ? *split_ : welded_;
    Indices result(given.indices.size());
    // An error a million times as large as the mesh: the number of facets alone decides.
    const size_t count =
        meshopt_simplify(result.data(), given.indices.data(), given.indices.size(), given.positions.data(),
                         given.vertices.size(), 3 * sizeof(float), 3 * facets, 1e6f, options, nullptr);
    result.resize(count);
    std::vector<bool> marked;
    if (split_) {
      const size_t vertices = welded_.vertices.size();
      for (unsigned& index : result) {
        if (index >= vertices) index = static_cast<unsigned>(split_->vertices[index]);
      }
      for (size_t i = 0; i < result.size(); i += 3) {
        marked.push_back(HasEqualIndices({int(result[i]), int(result[i + 1]), int(result[i + 2])}));
      }
      result = Without(result, marked);
    }
    if (!keeps_pairs_ && MarkOppositePairs(result, marked) > 0) result = Without(result, marked);
    return result;
  }

  const Welded& welded_;
  const std::optional<Welded> split_;
  EdgeCounts edges_;
  bool keeps_pairs_ = false;
  bool locks_border_ = false;
};

std::string Percent(double share) { return fmt::format("{:.{}f} %", 100 * share, share < 0.1 ? 2 : 1); }

}  // namespace

bool SimplifyMesh(Observer& observer, CTL& mesh, int facets) {
  if (mesh.num_triangles() <= facets) return false;
  Welded welded = Weld(mesh);
  const auto target = size_t(facets);
  if (welded.indices.size() > 3 * target) {
    welded.indices = Simplifier(welded).RunForTarget(observer, target);
  }
  const int attribute = mesh.triangles()[0][3];
  const bool one_attribute =
      std::all_of(mesh.triangles(), mesh.triangles() + mesh.num_triangles(),
                  [attribute](const R_INT4& triangle) { return triangle[3] == attribute; });

  // Both arrays only become shorter; vertices keep their order, so each moves to an index that is done with.
  constexpr int kUnused = -1;
  std::vector<int> number(welded.vertices.size(), kUnused);
  for (const unsigned index : welded.indices) number[index] = 0;
  int vertices = 0;
  for (size_t i = 0; i < number.size(); ++i) {
    if (number[i] == kUnused) continue;
    mesh.vertices()[vertices] = mesh.vertices()[welded.vertices[i]];
    number[i] = vertices++;
  }
  std::fill(mesh.vertices() + vertices, mesh.vertices() + mesh.num_vertices(), PbVec3f(0, 0, 0));
  mesh.header.num_vertices = vertices;
  mesh.header.num_triangles = int(welded.indices.size() / 3);
  for (int facet = 0; facet < mesh.num_triangles(); ++facet) {
    R_INT4& triangle = mesh.triangles()[facet];
    for (int k = 0; k < 3; ++k) {
      triangle[k] = number[welded.indices[size_t(3 * facet + k)]];
    }
    triangle[3] = one_attribute ? attribute : 0;
  }
  mesh.header.sort_state = trq::sort_state::kUnsorted;
  mesh.recalculate_extents();
  mesh.extents_valid = 1;
  return true;
}

bool ShapeMeasures::has_volume() const {
  // A body as thin as a float's last digits of its sides has none that could be trusted.
  return closed && std::fabs(volume) > 1e-9 * area * std::sqrt(area);
}

ShapeMeasures MeasureShape(const InputMesh& input) {
  const Topology topology = AnalyseTopology(*input.mesh);
  ShapeMeasures measures;
  measures.facets = input.mesh->num_triangles();
  measures.area = input.area();
  measures.volume = input.volume();
  measures.open_edges = topology.open_edges;
  measures.crowded_edges = topology.crowded_edges + topology.misdirected_edges;
  measures.closed = !topology.surfaces.empty();
  for (const Surface& surface : topology.surfaces) {
    measures.closed = measures.closed && surface.closed;
    measures.box.Add(surface.box);
  }
  return measures;
}

ShapeChange CompareShapes(const ShapeMeasures& before, const ShapeMeasures& after) {
  if (before.has_volume()) {
    return {std::fabs(after.volume - before.volume) / std::fabs(before.volume), "volume"};
  }
  if (before.box.Empty()) return {};
  if (after.box.Empty()) return {1, "area"};
  const double by_area = before.area > 0 ? std::fabs(after.area - before.area) / before.area : 0;
  double moved = 0, longest = 0;
  for (size_t k = 0; k < 3; ++k) {
    moved = std::max({moved, std::fabs(after.box.min[k] - before.box.min[k]),
                      std::fabs(after.box.max[k] - before.box.max[k])});
    longest = std::max(longest, before.box.Size()[k]);
  }
  const double by_box = longest > 0 ? moved / longest : 0;
  return by_box > by_area ? ShapeChange{by_box, "box"} : ShapeChange{by_area, "area"};
}

std::vector<Message> CheckSimplified(const std::string& path, int facets, const ShapeMeasures& before,
                                     const ShapeMeasures& after) {
  std::vector<Message> messages;
  const auto say = [&](Code code, const std::string& text) { messages.push_back(Finding(code, path, text)); };
  const ShapeChange change = CompareShapes(before, after);
  if (change.share > kRuinousChange) {
    say(Code::kSimplifyRuined, fmt::format("with {} the {} changes by {}", Counted(after.facets, "facet"),
                                           change.measure, Percent(change.share)));
  } else if (change.share > kNoticedChange) {
    say(Code::kSimplifyShape, fmt::format("the {} changed by {}", change.measure, Percent(change.share)));
  }
  if (before.closed && !after.closed) {
    say(Code::kSimplifyShape, fmt::format("the surface was closed and now has {} open edge{}",
                                          after.open_edges, after.open_edges == 1 ? "" : "s"));
  }
  if (after.crowded_edges > before.crowded_edges) {
    say(Code::kNonManifold,
        fmt::format("{} edge{} no longer join{} exactly two facets in opposite directions, {} before",
                    after.crowded_edges, after.crowded_edges == 1 ? "" : "s",
                    after.crowded_edges == 1 ? "s" : "",
                    before.crowded_edges == 0 ? std::string("none") : std::to_string(before.crowded_edges)));
  }
  if (std::abs(after.facets - double(facets)) > kTargetMargin * facets) {
    say(Code::kSimplifyTarget,
        fmt::format("the result has {}, {} were asked for", Counted(after.facets, "facet"), facets));
  }
  return messages;
}

}  // namespace trqprep
