#include "trqprep/mesh_repair.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include "prep/meshes/cavities.h"
#include "prep/meshes/repair_steps.h"
#include "trqprep/mesh_writer.h"

namespace trqprep {
namespace {

constexpr size_t kPlacesInText = 3;
// Repairs until the file reads back as it was repaired; nearly always the first one does.
constexpr int kMostRepairs = 5;

// Rounds of all steps. Two or three are enough; this ends what would go in circles.
constexpr int kMostRounds = 20;
// How many open edges stitching looks at in all rounds together; reached where millions are open only.
constexpr int64_t kLooksAnyway = 3000000;
constexpr int64_t kLooksAnEdge = 2;
// Sweeps over all patches to turn them; seldom more than three are needed.
constexpr int kMostSweeps = 50;

// --- vertices and numbers ---------------------------------------------------------------------------------

/// Makes vertices at one place one and numbers all in the order of their first use.
void Number(RepairedMesh& mesh) {
  std::vector<int> first(mesh.points.size());
  {
    std::vector<std::tuple<float, float, float, int>> places;
    places.reserve(mesh.points.size());
    for (const PbVec3f& p : mesh.points) places.push_back({p[0], p[1], p[2], int(places.size())});
    std::sort(places.begin(), places.end());
    const std::tuple<float, float, float, int>* last = nullptr;  // the first one of its place
    for (const auto& place : places) {
      const auto& [x, y, z, point] = place;
      if (!last || std::tie(x, y, z) != std::tie(std::get<0>(*last), std::get<1>(*last), std::get<2>(*last)))
        last = &place;
      first[size_t(point)] = std::get<3>(*last);
    }
  }
  std::vector<int> number(mesh.points.size(), -1);
  std::vector<PbVec3f> points;
  for (R_INT4& facet : mesh.facets) {
    for (int k = 0; k < 3; ++k) {
      const int point = first[size_t(facet[k])];
      int& new_number = number[size_t(point)];
      if (new_number < 0) {
        new_number = int(points.size());
        points.push_back(mesh.points[size_t(point)]);
      }
      facet[k] = new_number;
    }
  }
  mesh.points = std::move(points);
}

void Erase(RepairedMesh& mesh, const std::vector<bool>& gone) {
  size_t kept = 0;
  for (size_t i = 0; i < mesh.facets.size(); ++i) {
    if (!gone[i]) mesh.facets[kept++] = mesh.facets[i];
  }
  mesh.facets.erase(mesh.facets.begin() + static_cast<std::ptrdiff_t>(kept), mesh.facets.end());
}

// --- facets that go
// -----------------------------------------------------------------------------------------

void DropEqualCorners(RepairedMesh& mesh, MeshRepair& done) {
  // How many facets reach each side of the box: one must stay.
  const Box box = BoxOf(mesh);
  std::array<int, 6> holders{};
  const auto reaches = [&](const R_INT4& facet, size_t side) {
    bool any = false;
    for (int k = 0; k < 3; ++k) {
      const double c = mesh.At(facet[k])[side % 3];
      any = any || c == (side < 3 ? box.min[side] : box.max[side - 3]);
    }
    return any;
  };
  for (const R_INT4& facet : mesh.facets) {
    for (size_t side = 0; side < 6; ++side) holders[side] += reaches(facet, side) ? 1 : 0;
  }
  std::vector<bool> gone(mesh.facets.size(), false);
  done.kept_for_box = 0;
  for (size_t i = 0; i < mesh.facets.size(); ++i) {
    const R_INT4& facet = mesh.facets[i];
    if (!HasEqualIndices(facet)) continue;
    bool last = false;
    for (size_t side = 0; side < 6; ++side) last = last || (reaches(facet, side) && holders[side] == 1);
    if (last) {
      ++done.kept_for_box;
      continue;
    }
    for (size_t side = 0; side < 6; ++side) holders[side] -= reaches(facet, side) ? 1 : 0;
    gone[i] = true;
    ++done.equal_corners;
  }
  Erase(mesh, gone);
}

/// A facet by its corners in order.
struct Twin {
  std::array<int, 3> corners;
  bool odd;  ///< they turn the other way in the facet
  int facet;
};

std::vector<Twin> Twins(const RepairedMesh& mesh) {
  const auto for_each = [&mesh](auto visit) {
    for (size_t i = 0; i < mesh.facets.size(); ++i) {
      const R_INT4& t = mesh.facets[i];
      if (HasEqualIndices(t)) continue;
      Twin twin{{t[0], t[1], t[2]}, false, int(i)};
      const bool ordered = (t[0] < t[1]) + (t[1] < t[2]) + (t[2] < t[0]) == 2;
      twin.odd = !ordered;
      std::sort(twin.corners.begin(), twin.corners.end());
      visit(twin.corners[0], twin);
    }
  };
  return SortedByVertex<Twin>(for_each,
                              [](const Twin& a, const Twin& b) {
                                return a.corners != b.corners ? a.corners < b.corners : a.facet < b.facet;
                              })
      .things;
}

/// Drops the facets marked, connected ones together, but not where more would be open afterwards. What is
/// open is told by direction, or by the number of facets at an edge alone.
void DropMarked(RepairedMesh& mesh, const std::vector<bool>& marked, bool by_direction, MeshRepair& done) {
  if (std::find(marked.begin(), marked.end(), true) == marked.end()) return;
  FacetSets sets(mesh.facets.size());
  std::vector<std::pair<uint32_t, int>> changes;  // a facet, and how much more is open at an edge of it
  ForEachEdge(SortedEdges(mesh.facets), [&](EdgeUses uses) {
    int before = 0, after = 0;
    const EdgeUse* last = nullptr;  // of those marked
    for (const EdgeUse& use : uses) {
      const int by = by_direction && !use.forward ? -1 : 1;
      before += by;
      if (!marked[size_t(use.facet)]) {
        after += by;
        continue;
      }
      if (last) sets.Join(last->facet, use.facet);
      last = &use;
    }
    const auto open = [by_direction](int sum) { return by_direction ? std::abs(sum) : sum % 2; };
    if (last) changes.push_back({last->facet, open(after) - open(before)});
  });
  std::vector<int> change(mesh.facets.size(), 0);
  for (const auto& [facet, more] : changes) change[sets.Find(facet)] += more;
  std::vector<bool> gone(mesh.facets.size(), false);
  for (size_t i = 0; i < mesh.facets.size(); ++i) {
    gone[i] = marked[i] && change[sets.Find(uint32_t(i))] <= 0;
    done.given_twice += gone[i] ? 1 : 0;
  }
  Erase(mesh, gone);
}

void DropTwins(RepairedMesh& mesh, MeshRepair& done) {
  for (const bool same_way : {true, false}) {
    const std::vector<Twin> twins = Twins(mesh);
    std::vector<bool> marked(mesh.facets.size(), false);
    std::array<bool, 2> seen{};  // on these corners, of both directions
    for (size_t begin = 0, i = 0; i < twins.size(); ++i) {
      if (twins[i].corners != twins[begin].corners) begin = i;
      if (i == begin) seen = {};
      bool& before = seen[twins[i].odd ? 1 : 0];
      // The second way round: only the first facet that is against the first of all.
      marked[size_t(twins[i].facet)] = same_way ? before : twins[i].odd != twins[begin].odd && !before;
      before = true;
    }
    DropMarked(mesh, marked, same_way, done);
  }
}

// --- directions
// ---------------------------------------------------------------------------------------------

/// Facets connected by edges that just two of them have.
struct Patches {
  std::vector<int> of_facet;    ///< -1 for facets with equal corners
  std::vector<bool> turn;       ///< of facets: against most of their patch
  std::vector<int> facets;      ///< of patches: how many
  std::vector<bool> one_sided;  ///< of patches: its facets cannot all be turned alike
};

Patches FindPatches(const RepairedMesh& mesh, const std::vector<EdgeUse>& uses) {
  const size_t count = mesh.facets.size();
  struct Link {
    int facet = -1;
    bool alike = true;
  };
  std::vector<std::array<Link, 3>> links(count);
  const auto link = [&links](const EdgeUse& a, const EdgeUse& b) {
    auto& of = links[size_t(a.facet)];
    *std::find_if(of.begin(), of.end(), [](const Link& l) { return l.facet < 0; }) = {int(b.facet),
                                                                                      a.forward != b.forward};
  };
  ForEachEdge(uses, [&](EdgeUses edge) {
    if (edge.size() != 2) return;
    link(edge[0], edge[1]);
    link(edge[1], edge[0]);
  });
  Patches patches{std::vector<int>(count, -1), std::vector<bool>(count, false), {}, {}};
  std::vector<int> members;
  for (size_t start = 0; start < count; ++start) {
    if (patches.of_facet[start] >= 0 || HasEqualIndices(mesh.facets[start])) continue;
    const int patch = int(patches.facets.size());
    bool one_sided = false;
    members.assign(1, int(start));
    patches.of_facet[start] = patch;
    size_t turned = 0;
    for (size_t next = 0; next < members.size(); ++next) {
      const auto facet = size_t(members[next]);
      turned += patches.turn[facet] ? 1 : 0;
      for (const Link& to : links[facet]) {
        if (to.facet < 0) continue;
        const auto other = size_t(to.facet);
        const bool turn = patches.turn[facet] == to.alike;
        if (patches.of_facet[other] < 0) {
          patches.of_facet[other] = patch;
          patches.turn[other] = turn;
          members.push_back(to.facet);
        } else if (patches.turn[other] != turn) {
          one_sided = true;
        }
      }
    }
    const bool against = 2 * turned > members.size();
    for (const int member : members) {
      const auto facet = size_t(member);
      patches.turn[facet] = !one_sided && patches.turn[facet] != against;
    }
    patches.facets.push_back(int(members.size()));
    patches.one_sided.push_back(one_sided);
  }
  return patches;
}

/// Patches meet at edges with other than two facets. Which of them are to be turned so that those edges are
/// open no more, the smaller ones first.
std::vector<bool> PatchesToTurn(const std::vector<EdgeUse>& uses, const Patches& patches) {
  struct Meeting {
    size_t edge;
    int patch;
    int balance;
  };
  std::vector<Meeting> meetings;
  std::vector<int> balances;
  ForEachEdge(uses, [&](EdgeUses edge) {
    if (edge.size() < 3) return;
    int sum = 0;
    for (const EdgeUse& use : edge) {
      const auto facet = size_t(use.facet);
      const int by = use.forward != patches.turn[facet] ? 1 : -1;
      meetings.push_back({balances.size(), patches.of_facet[facet], by});
      sum += by;
    }
    balances.push_back(sum);
  });
  std::stable_sort(meetings.begin(), meetings.end(), [&](const Meeting& a, const Meeting& b) {
    const int m = patches.facets[size_t(a.patch)], n = patches.facets[size_t(b.patch)];
    return m != n ? m < n : a.patch < b.patch;
  });
  std::vector<bool> turn(patches.facets.size(), false);
  // Every turn takes something away from what is open. One after another along a chain, each in a sweep of
  // its own, they are left to the next round.
  bool any = true;
  for (int sweep = 0; any && sweep < kMostSweeps; ++sweep) {
    any = false;
    for (size_t begin = 0, end = 0; begin < meetings.size(); begin = end) {
      const auto patch = size_t(meetings[begin].patch);
      while (end < meetings.size() && meetings[end].patch == meetings[begin].patch) ++end;
      if (patches.one_sided[patch]) continue;
      int change = 0;
      const auto turn_over = [&] {
        for (size_t i = begin; i < end; ++i) {
          int& balance = balances[meetings[i].edge];
          change -= std::abs(balance);
          balance -= 2 * meetings[i].balance;
          change += std::abs(balance);
          meetings[i].balance = -meetings[i].balance;
        }
      };
      turn_over();
      if (change >= 0) {
        turn_over();
        continue;
      }
      turn[patch] = !turn[patch];
      any = true;
    }
  }
  return turn;
}

/// Turns facets to fit their neighbours. Returns for each whether it has no direction that does.
std::vector<bool> TurnAlike(RepairedMesh& mesh, MeshRepair& done) {
  const std::vector<EdgeUse> uses = SortedEdges(mesh.facets);
  const Patches patches = FindPatches(mesh, uses);
  const std::vector<bool> turn = PatchesToTurn(uses, patches);
  std::vector<bool> one_sided(mesh.facets.size(), false);
  for (size_t i = 0; i < mesh.facets.size(); ++i) {
    if (patches.of_facet[i] < 0) continue;
    const auto patch = size_t(patches.of_facet[i]);
    one_sided[i] = patches.one_sided[patch];
    if (patches.turn[i] == turn[patch]) continue;
    mesh.Turn(int(i));
    ++done.turned_facets;
  }
  return one_sided;
}

CTL MeshOf(const RepairedMesh& mesh) {
  trq::core::Mesh value;
  value.header.num_vertices = int(mesh.points.size());
  value.header.num_triangles = int(mesh.facets.size());
  value.vertices.grow(mesh.points.size() + 1);
  value.triangles.grow(std::max<size_t>(mesh.facets.size(), 1));
  std::copy(mesh.points.begin(), mesh.points.end(), value.vertices.data());
  std::copy(mesh.facets.begin(), mesh.facets.end(), value.triangles.data());
  CTL made;
  made.adopt(std::move(value));
  return made;
}

/// The shells: patches, those together that close each other's edges. Facets must be turned alike.
Topology ShellsOf(const RepairedMesh& mesh) {
  const std::vector<EdgeUse> uses = SortedEdges(mesh.facets);
  const Patches patches = FindPatches(mesh, uses);
  FacetSets sets(patches.facets.size());
  std::vector<bool> open = patches.one_sided;
  ForEachEdge(uses, [&](EdgeUses edge) {
    if (edge.size() == 2) return;               // closed, or of a patch with one side
    std::vector<std::pair<int, int>> balances;  // of the patches
    for (const EdgeUse& use : edge) {
      balances.push_back({patches.of_facet[size_t(use.facet)], use.forward ? 1 : -1});
    }
    std::sort(balances.begin(), balances.end());
    int first = -1;
    for (size_t begin = 0, end = 0; begin < balances.size(); begin = end) {
      const int patch = balances[begin].first;
      int own = 0;
      for (; end < balances.size() && balances[end].first == patch; ++end) own += balances[end].second;
      if (own == 0) continue;
      if (BalanceOf(edge) != 0) open[size_t(patch)] = true;
      if (first >= 0) sets.Join(uint32_t(first), uint32_t(patch));
      first = patch;
    }
  });
  Topology shells;
  std::vector<int> shell_of(patches.facets.size(), -1);
  for (size_t i = 0; i < mesh.facets.size(); ++i) {
    const int patch = patches.of_facet[i];
    shells.surface_of_facet.push_back(-1);
    if (patch < 0) continue;
    int& number = shell_of[sets.Find(uint32_t(patch))];
    if (number < 0) {
      number = int(shells.surfaces.size());
      shells.surfaces.emplace_back();
      shells.surfaces.back().closed = true;
      shells.surfaces.back().first_facet = int(i);
    }
    shells.surface_of_facet.back() = number;
    Surface& shell = shells.surfaces[size_t(number)];
    ++shell.facets;
    for (int k = 0; k < 3; ++k) shell.box.Add(mesh.At(mesh.facets[i][k]));
    if (open[size_t(patch)]) shell.closed = false;
  }
  std::vector<double> areas(shells.surfaces.size(), 0);
  for (size_t i = 0; i < mesh.facets.size(); ++i) {
    if (shells.surface_of_facet[i] < 0) continue;
    const auto number = size_t(shells.surface_of_facet[i]);
    const Point origin = shells.surfaces[number].box.min;
    const R_INT4& t = mesh.facets[i];
    const Point a = Minus(mesh.At(t[0]), origin), b = Minus(mesh.At(t[1]), origin),
                c = Minus(mesh.At(t[2]), origin);
    shells.surfaces[number].volume += Dot(a, Cross(b, c)) / 6;
    areas[number] += Norm(Cross(Minus(b, a), Minus(c, a))) / 2;
  }
  // Rounding does not decide which way a sheet with two sides faces.
  for (size_t i = 0; i < areas.size(); ++i) {
    Surface& shell = shells.surfaces[i];
    if (std::fabs(shell.volume) <= 1e-9 * areas[i] * Norm(shell.box.Size())) shell.volume = 0;
  }
  return shells;
}

/// Turns closed shells outward or inward.
void TurnShells(RepairedMesh& mesh, MeshRepair& done) {
  Topology shells = ShellsOf(mesh);
  const auto number_of = [&shells](size_t facet) {
    return size_t(std::max(shells.surface_of_facet[facet], 0));
  };
  std::vector<bool> turn(shells.surfaces.size(), false);
  const auto turn_marked = [&](RepairedMesh& m) {
    for (size_t i = 0; i < m.facets.size(); ++i) {
      if (shells.surface_of_facet[i] >= 0 && turn[number_of(i)]) m.Turn(int(i));
    }
  };
  std::vector<int> depths(shells.surfaces.size(), 0);
  if (shells.surfaces.size() > 1) {
    // All outward, to see which lies in which; an open one lies in none and holds none.
    const auto turn_inward = [&] {
      for (size_t i = 0; i < turn.size(); ++i) {
        if (turn[i]) shells.surfaces[i].volume *= -1;
      }
      turn_marked(mesh);
    };
    bool any_closed = false;
    for (size_t i = 0; i < turn.size(); ++i) {
      turn[i] = shells.surfaces[i].volume < 0;
      any_closed = any_closed || shells.surfaces[i].closed;
    }
    if (any_closed) {
      turn_inward();
      depths = NestingDepths(MeshOf(mesh), shells);
      turn_inward();
    }
  }
  Box open;
  for (const Surface& shell : shells.surfaces) {
    if (!shell.closed) open.Add(shell.box);
  }
  done.undecided_shells = 0;
  for (size_t i = 0; i < turn.size(); ++i) {
    const Surface& shell = shells.surfaces[i];
    turn[i] = false;
    if (!shell.closed || shell.volume == 0) continue;
    bool inside_open = true;
    for (size_t k = 0; k < 3; ++k) {
      inside_open = inside_open && open.min[k] <= shell.box.min[k] && open.max[k] >= shell.box.max[k];
    }
    if (depths[i] < 0 || inside_open) {
      ++done.undecided_shells;
      continue;
    }
    turn[i] = (depths[i] % 2 == 0) == (shell.volume < 0);
    done.turned_shells += turn[i] ? 1 : 0;
  }
  turn_marked(mesh);
}

// What only grows.
constexpr int MeshRepair::*const kCounts[] = {
    &MeshRepair::given_twice,   &MeshRepair::equal_corners,  &MeshRepair::turned_facets,
    &MeshRepair::turned_shells, &MeshRepair::stitched_edges, &MeshRepair::moved_corners,
    &MeshRepair::filled_holes,  &MeshRepair::added_facets,
};

int Work(const MeshRepair& done) {
  int sum = 0;
  for (const auto count : kCounts) sum += done.*count;
  return sum;
}

}  // namespace

Box BoxOf(const RepairedMesh& mesh) {
  Box box;
  for (const R_INT4& facet : mesh.facets) {
    for (int k = 0; k < 3; ++k) box.Add(mesh.At(facet[k]));
  }
  return box;
}

bool MeshRepair::any() const { return Work(*this) > 0; }

MeshRepair& MeshRepair::operator+=(const MeshRepair& next) {
  for (const auto count : kCounts) this->*count += next.*count;
  kept_for_box = next.kept_for_box;
  undecided_shells = next.undecided_shells;
  largest_move = std::max(largest_move, next.largest_move);
  open_after = next.open_after;
  left = next.left;
  return *this;
}

MeshRepair RepairMesh(Observer& observer, InputMesh& input, const RepairLimits& limits) {
  RequireFinite(input);
  CTL& target = *input.mesh;
  const trq::core::MeshView view = target.view();
  RepairedMesh mesh;
  mesh.points.assign(view.vertices.begin(), view.vertices.begin() + view.vertex_count);
  mesh.facets.assign(view.triangles.begin(), view.triangles.end());
  // They take as much memory as the mesh that is worked on.
  target.vertices_ = {};
  target.triangles_ = {};
  target.header.num_vertices = 0;
  target.header.num_triangles = 0;
  std::vector<bool> used(mesh.points.size(), false);
  for (const R_INT4& facet : mesh.facets) {
    for (int k = 0; k < 3; ++k) used[size_t(facet[k])] = true;
  }
  std::vector<PbVec3f> unused;
  for (size_t i = 0; i < used.size(); ++i) {
    if (!used[i]) unused.push_back(mesh.points[i]);
  }

  MeshRepair done;
  const auto count_open = [&mesh](auto visit) {
    ForEachEdge(SortedEdges(mesh.facets), [&](EdgeUses uses) {
      if (BalanceOf(uses) != 0) visit(uses[0]);
    });
  };
  Number(mesh);
  count_open([&done](const EdgeUse&) { ++done.open_before; });
  int64_t looks = kLooksAnyway + kLooksAnEdge * done.open_before;
  for (int round = 0; round < kMostRounds; ++round) {
    const int before = Work(done);
    observer.StopIfCancelled();
    DropEqualCorners(mesh, done);
    DropTwins(mesh, done);
    const int joined = done.moved_corners;
    StitchEdges(observer, mesh, limits.tolerance, looks, done);
    if (done.moved_corners != joined) DropTwins(mesh, done);
    observer.StopIfCancelled();
    const std::vector<bool> one_sided = TurnAlike(mesh, done);
    FillHoles(observer, mesh, limits.hole_edges, one_sided, done);
    TurnShells(mesh, done);
    if (Work(done) == before) break;
    Number(mesh);
  }
  count_open([&](const EdgeUse& use) {
    if (++done.open_after > int64_t(kPlacesKept)) return;
    done.left.push_back({int(use.facet), mesh.At(use.forward ? use.Lower() : use.Higher()),
                         mesh.At(use.forward ? use.Higher() : use.Lower())});
  });

  mesh.points.insert(mesh.points.end(), unused.begin(), unused.end());
  CTL made = MeshOf(mesh);
  target.vertices_ = std::move(made.vertices_);
  target.triangles_ = std::move(made.triangles_);
  target.header.num_vertices = made.header.num_vertices;
  target.header.num_triangles = made.header.num_triangles;
  if (done.any()) target.header.sort_state = trq::sort_state::kUnsorted;
  target.Calculate_normals();
  target.recalculate_extents();
  target.extents_valid = 1;
  return done;
}

namespace {

Json CornerToJson(const Point& point) {
  Json corner = Json::array();
  for (const double c : point) corner.push_back(NumberToJson(float(c)));
  return corner;
}

}  // namespace

MeshRepair RepairForFile(Observer& observer, InputMesh& input, const RepairLimits& limits,
                         MeshFormat format) {
  CTL& mesh = *input.mesh;
  ReadsBackSame(mesh, format);  // what is repaired are the coordinates that the file will hold
  MeshRepair done = RepairMesh(observer, input, limits);
  for (int i = 1; i < kMostRepairs && !ReadsBackSame(mesh, format); ++i) {
    done += RepairMesh(observer, input, limits);
  }
  return done;
}

void DescribeRepair(Json& data, const MeshRepair& done) {
  data.update({{"open_edges", done.open_after},
               {"steps",
                {{"given_twice", done.given_twice},
                 {"equal_corners", done.equal_corners},
                 {"kept_for_box", done.kept_for_box},
                 {"turned_facets", done.turned_facets},
                 {"turned_shells", done.turned_shells},
                 {"undecided_shells", done.undecided_shells},
                 {"stitched_edges", done.stitched_edges},
                 {"moved_corners", done.moved_corners},
                 {"largest_move", NumberToJson(done.largest_move)},
                 {"filled_holes", done.filled_holes},
                 {"added_facets", done.added_facets}}}});
}

Message RepairLeft(const std::string& output, const MeshRepair& done) {
  Message message(Code::kRepairLeft, output,
                  Counted(done.open_after, "edge is", "edges are") + " still open: at");
  Json places = Json::array();
  for (const OpenEdge& edge : done.left) {
    if (places.size() < kPlacesInText) {
      message.text += fmt::format("{} X {} Y {} Z {}", places.empty() ? "" : ",", Plain(edge.from[0], 4),
                                  Plain(edge.from[1], 4), Plain(edge.from[2], 4));
    }
    places.push_back({{"facet", edge.facet}, {"ends", {CornerToJson(edge.from), CornerToJson(edge.to)}}});
  }
  if (done.left.size() > kPlacesInText) message.text += " and elsewhere";
  message.At({{"edges", done.open_after}, {"places", places}});
  return message.Hint("a larger --tolerance or --holes may close them; the rim of a sheet stays open");
}

}  // namespace trqprep
