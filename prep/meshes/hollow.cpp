#include "trqprep/hollow.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>
#include <vector>

#include "trq/core/shell.h"
#include "trqprep/mesh_topology.h"

namespace trqprep {
namespace {

// A closed surface takes 3 to 20 a facet.
constexpr size_t kMostTests = 20'000'000;
constexpr size_t kMostTestsAFacet = 20;

using Push = HollowPart::Push;

[[noreturn]] void FailBound(const std::string& input, const std::string& doing) {
  Fail(ExitCode::kNo,
       Message(Code::kHollowBound, input,
               doing + " would take too long: too many long facets lie across each other")
           .Hint("'trqprep repair' and 'trqprep simplify' make a surface of them, if they are one"));
}

// How far the vertices that a facet uses were pushed.
Push PushOf(const CTL& mesh) {
  std::vector<bool> used(size_t(mesh.num_vertices()), false);
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) used[size_t(mesh.triangles()[i][k])] = true;
  }
  Push push;
  size_t count = 0;
  double sum = 0;
  for (size_t i = 0; i < used.size(); ++i) {
    if (!used[i]) continue;
    const Point outer = PointOf(mesh.vertices()[i]);
    const Point inner = PointOf(mesh.shell_vertices_[i]);
    const double length = std::hypot(inner[0] - outer[0], inner[1] - outer[1], inner[2] - outer[2]);
    push.least = count == 0 ? length : std::min(push.least, length);
    push.largest = std::max(push.largest, length);
    sum += length;
    ++count;
  }
  if (count > 0) push.mean = sum / double(count);
  return push;
}

// The inner skin by itself, facing inward as it does in the hollow part.
std::unique_ptr<CTL> InnerSkin(CTL& mesh) {
  auto inner = std::make_unique<CTL>();
  mesh.copy(inner.get());
  std::copy_n(mesh.shell_vertices_.get(), mesh.num_vertices(), inner->vertices());
  for (int i = 0; i < inner->num_triangles(); ++i) {
    R_INT4& triangle = inner->triangles()[i];
    std::swap(triangle[0], triangle[2]);
  }
  inner->header.sort_state = 0;
  inner->recalculate_extents();
  inner->extents_valid = 1;
  return inner;
}

// Warns of inner surfaces that liquid resin cannot leave: the side file of the part has no vent and drain
// for them. `factor` takes its points to the unit of the surfaces.
int CountSealed(Observer& observer, const std::string& input, const std::vector<Surface>& surfaces,
                const std::optional<VentsFile>& vents, double factor, const char* unit) {
  std::vector<Box> boxes;
  std::vector<double> volumes;
  for (const Surface& surface : surfaces) {
    if (!surface.closed || !(surface.volume < 0)) continue;
    boxes.push_back(surface.box);
    volumes.push_back(-surface.volume);
  }
  std::vector<Openings> openings(boxes.size());
  if (vents) openings = OpeningsOf(*vents, factor, boxes);
  int sealed = 0;
  double largest = 0;
  bool has_vent = false, has_drain = false;
  for (size_t i = 0; i < boxes.size(); ++i) {
    const auto [vent, drain] = openings[i];
    if (vent && drain) continue;
    if (sealed++ > 0 && volumes[i] <= largest) continue;
    largest = volumes[i];
    has_vent = vent;
    has_drain = drain;
  }
  if (sealed == 0) return 0;
  const char* lacks = has_vent ? "no drain" : has_drain ? "no vent" : "no vent and no drain";
  std::string text = sealed == 1
                         ? fmt::format("the cavity of {} {}3 has {}", Plain(largest, 3), unit, lacks)
                         : fmt::format("{} cavities lack a vent or a drain; the largest, of {} {}3, has {}",
                                       sealed, Plain(largest, 3), unit, lacks);
  observer.Warn(Message(Code::kSealedVoid, input, text + "; resin stays inside")
                    .Hint("'trqprep vents find' shows places, 'trqprep vents add' makes one"));
  return sealed;
}

void WarnOfThinWall(Observer& observer, const std::string& input, const Wall& wall, double limit,
                    const char* unit) {
  if (wall.points == 0 || !(wall.least < limit / 2)) return;
  const auto& [x, y, z] = wall.place;
  observer.Warn(
      Message(Code::kThinWall, input,
              fmt::format("the wall is {} {unit} thick at X {} Y {} Z {} {unit}, less than half of the "
                          "limit of {} {unit}; so it is at {} % of the points measured",
                          Plain(wall.least, 4), Plain(x, 3), Plain(y, 3), Plain(z, 3), Plain(limit, 4),
                          Plain(100 * wall.thin_share, 1), fmt::arg("unit", unit)))
          .At({{"point", NumbersToJson(wall.place)}, {"thickness", NumberToJson(wall.least)}})
          .Hint("simplify a part of many small facets first; short edges hold the push back"));
}

}  // namespace

HollowPart HollowMesh(Observer& observer, InputMesh& input, const Hollowing& how) {
  CTL& mesh = *input.mesh;
  HollowPart part;
  part.limit = how.limit;
  part.validated = how.validate;
  const Topology outside = AnalyseTopology(mesh);
  part.was_closed = std::all_of(outside.surfaces.begin(), outside.surfaces.end(),
                                [](const Surface& s) { return s.closed; });
  if (!part.was_closed) {
    observer.Warn(Message(Code::kOpenEdges, input.path,
                          fmt::format("the surface is not closed ({}); inside and outside are "
                                      "uncertain",
                                      Counted(int64_t(outside.open_edges), "open edge")))
                      .Hint("'trqprep check' tells where"));
  }
  part.volume_before = input.volume();
  if (part.volume_before < 0) {
    observer.Warn(
        Message(Code::kInverted, input.path, "the facets face inward, so the skin is pushed outward")
            .Hint("turn the facets where the part was drawn"));
  }

  observer.Progress("pushing the vertices inward", 0.1);
  const size_t most_tests = kMostTests + kMostTestsAFacet * size_t(mesh.num_triangles());
  std::exception_ptr cancelled;  // the library lets nothing through
  const auto stop = [&] {
    try {
      observer.StopIfCancelled();
    } catch (...) {
      cancelled = std::current_exception();
    }
    return bool(cancelled);
  };
  mesh.shell_vertices_ = trq::core::OffsetShell(mesh.view(), {how.limit, how.validate, most_tests}, stop);
  if (cancelled) std::rethrow_exception(cancelled);
  if (!mesh.shell_vertices_) FailBound(input.path, "validating the pushes");
  mesh.shell_made = 1;
  part.push = PushOf(mesh);
  if (!std::isfinite(part.push.mean)) {
    FailInput(Code::kMeshNan, input.path, "a vertex has no direction in which to be pushed",
              "'trqprep check' shows facets without area");
  }
  part.inner = InnerSkin(mesh);
  const Topology inside = AnalyseTopology(*part.inner);
  for (const Surface& surface : inside.surfaces) {
    part.closed_inner_surfaces += surface.closed ? 1 : 0;
    part.saved -= surface.volume;
  }
  part.sealed_cavities =
      CountSealed(observer, input.path, inside.surfaces, how.vents ? how.vents() : std::nullopt,
                  how.vents_factor, UnitsName(input.units));
  observer.Progress("measuring the wall", 0.7);
  part.wall = MeasureWall(observer, mesh, *part.inner, how.limit / 2.0);
  if (part.wall.bound) FailBound(input.path, "measuring the wall");
  WarnOfThinWall(observer, input.path, part.wall, how.limit, UnitsName(input.units));
  return part;
}

void MergeSkin(CTL& mesh) {
  mesh.MergeShellAndCTLintoCTL();
  mesh.header.sort_state = 0;
  mesh.recalculate_extents();
  mesh.extents_valid = 1;
}

void DescribeHollow(Json& data, const HollowPart& part, bool inner_only) {
  // Volumes of open surfaces mean nothing, and a skin that came out of the part saves nothing.
  const bool saves = part.was_closed && part.saved > 0 && part.saved < part.volume_before;
  const int facets = part.inner->num_triangles();
  data.update({{"inner_only", inner_only},
               {"facets", inner_only ? facets : 2 * facets},
               {"limit", NumberToJson(part.limit)},
               {"validated", part.validated},
               {"push",
                {{"least", NumberToJson(part.push.least)},
                 {"mean", NumberToJson(part.push.mean)},
                 {"largest", NumberToJson(part.push.largest)}}},
               {"wall",
                {{"least", NumberToJson(part.wall.least)},
                 {"mean", NumberToJson(part.wall.mean)},
                 {"thin_share", NumberToJson(part.wall.thin_share)},
                 {"point", NumbersToJson(part.wall.place)}}},
               {"volume_before", NumberToJson(part.volume_before)},
               {"volume_after", NumberToJson(part.volume_before - part.saved)},
               {"resin_saved", saves ? NumberToJson(part.saved) : Json(nullptr)},
               {"closed_inner_surfaces", part.closed_inner_surfaces},
               {"sealed_cavities", part.sealed_cavities}});
}

}  // namespace trqprep
