#include "trqprep/check_mesh.h"

#include <fmt/format.h>

#include "trqprep/mesh_topology.h"

namespace trqprep {
namespace {

constexpr double kStaleMillimetres = 0.1;

class MeshChecks {
 public:
  MeshChecks(const InputMesh& input, const VentsFile& vents) : input_(input), vents_(vents) {}

  std::vector<Message> Run() {
    CheckSurfaces();
    CheckCavities();
    CheckSidePoints();
    return std::move(findings_);
  }

 private:
  void Add(Code code, const std::string& text, Json where, const char* hint) {
    findings_.push_back(Finding(code, input_.path, text).At(std::move(where)).Hint(hint));
  }

  void CheckSurfaces() {
    if (topology_.open_edges > 0) {
      Add(Code::kOpenEdges,
          Counted(topology_.open_edges, "edge belongs", "edges belong") + " to one facet only",
          {{"facet", topology_.first_open_facet}, {"edges", topology_.open_edges}},
          "close the holes where the part was drawn");
    }
    const int64_t bad = topology_.crowded_edges + topology_.misdirected_edges;
    if (bad > 0) {
      int first = topology_.first_crowded_facet;
      if (first < 0 ||
          (topology_.first_misdirected_facet >= 0 && topology_.first_misdirected_facet < first)) {
        first = topology_.first_misdirected_facet;
      }
      Add(Code::kNonManifold,
          fmt::format("{} more than two facets, {} two that wind the same way",
                      Counted(topology_.crowded_edges, "edge has", "edges have"),
                      topology_.misdirected_edges),
          {{"facet", first}, {"edges", bad}},
          "separate bodies that touch, and turn facets that face the wrong way");
    }
    int64_t inverted = 0;
    int first_inverted = -1;
    for (const Surface& surface : topology_.surfaces) {
      if (!surface.closed || !(surface.volume < 0) || surface.cavity) continue;
      if (inverted++ == 0) first_inverted = surface.first_facet;
    }
    if (inverted > 0) {
      Add(Code::kInverted,
          Counted(inverted, "closed surface is", "closed surfaces are") + " turned inside out",
          {{"facet", first_inverted}, {"surfaces", inverted}}, "turn its facets where the part was drawn");
    }
    if (topology_.degenerate_facets > 0) {
      Add(Code::kDegenerate, Counted(topology_.degenerate_facets, "facet has", "facets have") + " no area",
          {{"facet", topology_.first_degenerate_facet}, {"facets", topology_.degenerate_facets}},
          "'trqprep repair' takes out those with two equal corners");
    }
  }

  void CheckCavities() {
    for (const Surface& cavity : topology_.surfaces) {
      if (!cavity.cavity) continue;
      const auto [vent, drain] = OpeningsOf(vents_, 1, cavity.box);
      if (vent && drain) continue;
      Point middle;
      for (size_t axis = 0; axis < 3; ++axis) {
        middle[axis] = (cavity.box.min[axis] + cavity.box.max[axis]) / 2;
      }
      Add(Code::kSealedVoid,
          fmt::format("a cavity around X {} Y {} Z {} {} lacks {}", Plain(middle[0], 3), Plain(middle[1], 3),
                      Plain(middle[2], 3), UnitsName(input_.units),
                      vent    ? "a drain"
                      : drain ? "a vent"
                              : "a vent and a drain"),
          {{"facet", cavity.first_facet}, {"middle", NumbersToJson(middle)}},
          "'trqprep vents add' makes vents and drains");
    }
  }

  void CheckSidePoints() {
    const std::vector<VentEntry>& points = vents_.entries;
    const double limit = kStaleMillimetres * UnitsFactor(Units::kMillimetre, input_.units);
    int64_t stale = 0;
    size_t first = 0;
    double farthest = 0;
    for (size_t i = 0; i < points.size(); ++i) {
      const double distance = DistanceToMesh(*input_.mesh, points[i].point());
      if (distance <= limit) continue;
      if (stale++ == 0) first = i + 1;
      farthest = std::max(farthest, distance);
    }
    if (stale == 0) return;
    Add(Code::kVdStale,
        fmt::format("{} of {} in the side file up to {} {} off the surface, the first is number {}", stale,
                    Counted(int64_t(points.size()), "point", "points"), Plain(farthest, 3),
                    UnitsName(input_.units), first),
        {{"point", first}}, "'trqprep vents list' shows them, 'vents move' and 'vents remove' mend them");
  }

  const InputMesh& input_;
  const VentsFile& vents_;
  const Topology topology_ = AnalyseTopology(*input_.mesh);
  std::vector<Message> findings_;
};

}  // namespace

std::vector<Message> CheckMesh(const InputMesh& input, const VentsFile& vents) {
  return MeshChecks(input, vents).Run();
}

}  // namespace trqprep
