#include "trqprep/check_mesh.h"

#include <fmt/format.h>

#include <algorithm>

#include "trqprep/mesh_topology.h"

namespace trqprep {
namespace {

constexpr double kStaleMillimetres = 0.1;
constexpr double kRounding = 1e-5;  // what single precision may add to the size of a part

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

Point VatExcess(const CTL& mesh, const Matrix4& prepare, const std::array<double, 3>& vat,
                std::int64_t rotations, bool stands) {
  Point best{};
  double least = 1e300;
  for (std::int64_t r = 0; r < rotations; ++r) {
    const double degrees = static_cast<double>(r) * 360.0 / static_cast<double>(rotations);
    const Box box = BoxAfter(mesh, Compose(Matrix4::Rotation(2, degrees), prepare));
    const Point size = box.Size();
    const Point over = {size[0] - vat[0], size[1] - vat[1], (stands ? box.max[2] : size[2]) - vat[2]};
    const double worst = std::max(over[0], over[1]);
    if (worst < least) {
      least = worst;
      best = over;
    }
  }
  return best;
}

std::optional<Message> TooBigForVat(const std::string& file, const std::string& part, const Point& excess,
                                    const std::array<double, 3>& vat, Units units, std::int64_t rotations) {
  const char* unit = UnitsName(units);
  std::string by;
  Json where{{"part", TextToJson(part)}, {"exceeds", Json::object()}};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (excess[axis] <= kRounding) continue;
    const char name[] = {static_cast<char>('X' + axis), 0};
    by += fmt::format("{}{} {} in {}", by.empty() ? "" : ", ", Plain(excess[axis], 3), unit, name);
    where["exceeds"][name] = NumberToJson(excess[axis]);
  }
  if (by.empty()) return std::nullopt;
  return Finding(Code::kTooBigForVat, file,
                 fmt::format("too large for the vat of {} x {} x {} {}: by {} (best of {} turns)",
                             Plain(vat[0], 3), Plain(vat[1], 3), Plain(vat[2], 3), unit, by, rotations))
      .At(where)
      .Hint("lay it down with 'trqprep transform', or name a larger --vat; is its unit right?");
}

}  // namespace trqprep
