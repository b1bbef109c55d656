#include "trqprep/check_mesh.h"

#include <fmt/format.h>

#include "trqprep/facet_distance.h"
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

  // With the first of the places: three in words, all that are kept as data. `counted` names the count there.
  void AddAt(Code code, const std::string& text, const std::vector<MeshPlace>& places, const char* counted,
             int64_t count, const char* hint) {
    constexpr size_t kNamed = 3;
    std::string named;
    Json all = Json::array();
    for (const MeshPlace& place : places) {
      if (all.size() < kNamed) {
        named += fmt::format("{}facet {} at X {} Y {} Z {}", named.empty() ? "; " : ", ", place.facet,
                             Plain(place.at[0], 3), Plain(place.at[1], 3), Plain(place.at[2], 3));
      }
      all.push_back(Json{{"facet", place.facet}, {"point", NumbersToJson(place.at)}});
    }
    named += std::string(" ") + UnitsName(input_.units);
    if (count > int64_t(kNamed)) named += " and others";
    Add(code, text + named, {{"facet", places.front().facet}, {counted, count}, {"places", all}}, hint);
  }

  void CheckSurfaces() {
    if (topology_.open_edges > 0) {
      AddAt(Code::kOpenEdges,
            Counted(topology_.open_edges, "edge belongs", "edges belong") + " to one facet only",
            topology_.open_places, "edges", topology_.open_edges, "close the holes where the part was drawn");
    }
    const int64_t bad = topology_.crowded_edges + topology_.misdirected_edges;
    if (bad > 0) {
      AddAt(Code::kNonManifold,
            fmt::format("{} more than two facets, {} two that wind the same way",
                        Counted(topology_.crowded_edges, "edge has", "edges have"),
                        topology_.misdirected_edges),
            topology_.non_manifold_places, "edges", bad,
            "separate bodies that touch, and turn facets that face the wrong way");
    }
    int64_t inverted = 0;
    std::vector<MeshPlace> places;
    for (const Surface& surface : topology_.surfaces) {
      if (!surface.closed || !(surface.volume < 0) || surface.cavity) continue;
      if (size_t(inverted++) < kPlacesKept) {
        places.push_back(PlaceOf(*input_.mesh, surface.first_facet));
      }
    }
    if (inverted > 0) {
      AddAt(Code::kInverted,
            Counted(inverted, "closed surface is", "closed surfaces are") + " turned inside out", places,
            "surfaces", inverted, "turn its facets where the part was drawn");
    }
    if (topology_.degenerate_facets > 0) {
      AddAt(Code::kDegenerate, Counted(topology_.degenerate_facets, "facet has", "facets have") + " no area",
            topology_.degenerate_places, "facets", topology_.degenerate_facets,
            "'trqprep repair' takes out those with two equal corners");
    }
  }

  void CheckCavities() {
    std::vector<Box> boxes;
    for (const Surface& surface : topology_.surfaces) {
      if (surface.cavity) boxes.push_back(surface.box);
    }
    const std::vector<Openings> openings = OpeningsOf(vents_, 1, boxes);
    auto opening = openings.begin();
    for (const Surface& cavity : topology_.surfaces) {
      if (!cavity.cavity) continue;
      const auto [vent, drain] = *opening++;
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
          {{"facet", cavity.first_facet}, {"centre", NumbersToJson(middle)}},
          "'trqprep vents add' makes vents and drains");
    }
  }

  void CheckSidePoints() {
    const std::vector<VentEntry>& points = vents_.entries;
    const double limit = kStaleMillimetres * UnitsFactor(Units::kMillimetre, input_.units);
    int64_t stale = 0;
    size_t first = 0;
    double farthest = 0;
    if (points.empty()) return;
    std::vector<Point> places;
    for (const VentEntry& entry : points) places.push_back(entry.point());
    const auto distances = FacetDistances(*input_.mesh, places.size()).From(places);
    for (size_t i = 0; i < points.size(); ++i) {
      if (!distances[i] || *distances[i] <= limit) continue;
      if (stale++ == 0) first = i + 1;
      farthest = std::max(farthest, *distances[i]);
    }
    const auto left_out = std::find(distances.begin(), distances.end(), std::nullopt);
    if (left_out != distances.end()) {
      const auto compared =
          std::count_if(distances.begin(), distances.end(), [](auto& d) { return d.has_value(); });
      Add(Code::kVdBound,
          fmt::format("{} of {} in the side file were compared with the part; the others would take too long",
                      compared, Counted(int64_t(points.size()), "point")),
          {{"entry", left_out - distances.begin() + 1}},
          "'trqprep vents list' shows the points; move or remove those that are not on the part");
    }
    if (stale == 0) return;
    Add(Code::kVdStale,
        fmt::format("{} of {} in the side file up to {} {} off the surface, the first is number {}", stale,
                    Counted(int64_t(points.size()), "point", "points"), Plain(farthest, 3),
                    UnitsName(input_.units), first),
        {{"entry", first}}, "'trqprep vents list' shows them, 'vents move' and 'vents remove' change them");
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
