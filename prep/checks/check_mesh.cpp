#include "trqprep/check_mesh.h"

#include <fmt/format.h>

#include "trqprep/mesh_topology.h"

namespace trqprep {
namespace {

constexpr double kStaleMillimetres = 0.1;

std::string Counted(std::int64_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

void CheckCavities(const InputMesh& input, const Topology& topology, const VentsFile& vents,
                   std::vector<Message>& findings) {
  for (const Surface& cavity : topology.surfaces) {
    if (!cavity.cavity) continue;
    const Openings openings = OpeningsOf(vents, 1, cavity.box);
    const bool vent = openings.vent, drain = openings.drain;
    if (vent && drain) continue;
    const char* missing = vent ? "a drain" : drain ? "a vent" : "a vent and a drain";
    Json place = Json::array();
    for (std::size_t axis = 0; axis < 3; ++axis) {
      place.push_back(NumberToJson((cavity.box.min[axis] + cavity.box.max[axis]) / 2));
    }
    findings.push_back(Finding(Code::kSealedVoid, input.path,
                               fmt::format("a cavity around X {} Y {} Z {} {} lacks {}",
                                           Plain(place[0].get<double>(), 3), Plain(place[1].get<double>(), 3),
                                           Plain(place[2].get<double>(), 3), UnitsName(input.units), missing))
                           .At({{"facet", cavity.first_facet}, {"middle", place}})
                           .Hint("'trqprep vents add' makes vents and drains"));
  }
}

void CheckSidePoints(const InputMesh& input, const VentsFile& vents, std::vector<Message>& findings) {
  const std::vector<VentEntry>& points = vents.entries;
  const double limit = kStaleMillimetres * UnitsFactor(Units::kMillimetre, input.units);
  std::int64_t stale = 0;
  std::size_t first = 0;
  double farthest = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double distance = DistanceToMesh(*input.mesh, points[i].point());
    if (distance <= limit) continue;
    if (stale++ == 0) first = i;
    farthest = std::max(farthest, distance);
  }
  if (stale == 0) return;
  findings.push_back(
      Finding(Code::kVdStale, input.path,
              fmt::format("{} of {} in the side file up to {} {} off the surface, the first is number {}",
                          stale, Counted(static_cast<std::int64_t>(points.size()), "point", "points"),
                          Plain(farthest, 3), UnitsName(input.units), first + 1))
          .At({{"point", first + 1}})
          .Hint("'trqprep vents list' shows them, 'vents move' and 'vents remove' mend them"));
}

}  // namespace

std::vector<Message> CheckMesh(const InputMesh& input, const VentsFile& vents) {
  std::vector<Message> findings;
  const Topology topology = AnalyseTopology(*input.mesh);
  if (topology.open_edges > 0) {
    findings.push_back(
        Finding(Code::kOpenEdges, input.path,
                Counted(topology.open_edges, "edge belongs", "edges belong") + " to one facet only")
            .At({{"facet", topology.first_open_facet}, {"edges", topology.open_edges}})
            .Hint("close the holes where the part was drawn"));
  }
  const std::int64_t bad = topology.crowded_edges + topology.misdirected_edges;
  if (bad > 0) {
    int first = topology.first_crowded_facet;
    if (first < 0 || (topology.first_misdirected_facet >= 0 && topology.first_misdirected_facet < first)) {
      first = topology.first_misdirected_facet;
    }
    findings.push_back(Finding(Code::kNonManifold, input.path,
                               fmt::format("{} more than two facets, {} two that wind the same way",
                                           Counted(topology.crowded_edges, "edge has", "edges have"),
                                           topology.misdirected_edges))
                           .At({{"facet", first}, {"edges", bad}})
                           .Hint("separate bodies that touch, and turn facets that face the wrong way"));
  }
  std::int64_t inverted = 0;
  int first_inverted = -1;
  for (const Surface& surface : topology.surfaces) {
    if (!surface.closed || !(surface.volume < 0) || surface.cavity) continue;
    if (inverted++ == 0) first_inverted = surface.first_facet;
  }
  if (inverted > 0) {
    findings.push_back(
        Finding(Code::kInverted, input.path,
                Counted(inverted, "closed surface is", "closed surfaces are") + " turned inside out")
            .At({{"facet", first_inverted}, {"surfaces", inverted}})
            .Hint("turn its facets where the part was drawn"));
  }
  if (topology.degenerate_facets > 0) {
    findings.push_back(
        Finding(Code::kDegenerate, input.path,
                Counted(topology.degenerate_facets, "facet has", "facets have") + " no area")
            .At({{"facet", topology.first_degenerate_facet}, {"facets", topology.degenerate_facets}})
            .Hint("'trqprep simplify' drops those with two equal corners"));
  }
  CheckCavities(input, topology, vents, findings);
  CheckSidePoints(input, vents, findings);
  return findings;
}

}  // namespace trqprep
