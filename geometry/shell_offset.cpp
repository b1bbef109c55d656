#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/number_text.h"
#include "foundation/vector3.h"
#include "geometry/facet_file.h"
#include "geometry/facet_tree.h"
#include "geometry/mesh_access.h"
#include "geometry/mesh_output.h"
#include "geometry/mesh_transform.h"
#include "trq/core/elementary.h"
#include "trq/core/shell.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

using trq::core::MeshView;

constexpr char kStlName[] = "shellstl.stl";
constexpr char kReportName[] = "ctlshell.txt";
constexpr char kWriting[] = "shell file write";

constexpr int kMaxRounds = 501;
constexpr double kWeightGain = 1.005;
constexpr float kNoEdge = 1e30f;

constexpr double kPlaneDistance = 1e-4;    // a point this near a plane lies on it
constexpr double kCornerDistance = 1e-4;   // a point this near a corner lies on the triangle
constexpr double kCosineTolerance = 1e-5;  // of angles seen from the corners
constexpr double kNearestPlane = 1e-5;     // a plane this near the start of a push is not crossed

PbVec3f Round(const Vec& v) { return PbVec3f(float(v.x), float(v.y), float(v.z)); }

bool SamePoint(const PbVec3f& a, const PbVec3f& b) { return a[0] == b[0] && a[1] == b[1] && a[2] == b[2]; }

/// start - distance * direction, rounded to float.
PbVec3f Pushed(const PbVec3f& start, float distance, const VECTOR& direction) {
  const double d = distance;
  return Round({start[0] - d * direction.x, start[1] - d * direction.y, start[2] - d * direction.z});
}

// ---- tests against one triangle ----

bool AnyNaN(const Vec& v) { return std::isnan(v.x) || std::isnan(v.y) || std::isnan(v.z); }

/// Whether `point` is seen from `corner` between `left` and `right`.
bool SeenBetween(const Vec& point, const Vec& corner, const Vec& left, const Vec& right) {
  const Vec to_left = left - corner;
  const Vec to_right = right - corner;
  const Vec to_point = point - corner;
  const double left_length = Length(to_left);
  const double right_length = Length(to_right);
  const double point_length = Length(to_point);
  if (left_length == 0 || right_length == 0) return false;
  const double least = Dot(to_left, to_right) / (left_length * right_length) - kCosineTolerance;
  // NaN fails both.
  return Dot(to_left, to_point) / (left_length * point_length) >= least &&
         Dot(to_right, to_point) / (right_length * point_length) >= least;
}

bool LiesOnTriangle(const Vec& point, const Vec& a, const Vec& b, const Vec& c) {
  if (AnyNaN(point) || AnyNaN(a) || AnyNaN(b) || AnyNaN(c)) return false;
  const Vec normal = Cross(b - a, c - a);
  const double normal_length = Length(normal);
  // A triangle without area has no plane to be far from.
  if (normal_length != 0 && !(std::fabs(Dot(point - a, normal)) / normal_length <= kPlaneDistance)) {
    return false;
  }
  for (const Vec* corner : {&a, &b, &c}) {
    if (Length(point - *corner) <= kCornerDistance) return true;
  }
  return SeenBetween(point, a, b, c) && SeenBetween(point, b, c, a) && SeenBetween(point, c, a, b);
}

bool Crosses(float distance, const PbVec3f& p, const PbVec3f& q, const PbVec3f& corner_a,
             const PbVec3f& corner_b, const PbVec3f& corner_c) {
  const Vec start = Widen(p);
  const Vec a = Widen(corner_a) - start;
  const Vec b = Widen(corner_b) - start;
  const Vec c = Widen(corner_c) - start;
  const Vec normal = Cross(b - a, c - a);
  const double k = -Dot(a, normal);
  const double plane_distance = std::fabs(k) / Length(normal);
  if (plane_distance < kNearestPlane || plane_distance > distance) return false;
  const Vec u = Widen(q) - start;
  const double along = Dot(u, normal);
  if (along == 0) return false;
  const double s = -k / along;
  if (s < 1e-6 || s > 1.000001) return false;
  // The point and the corners are passed on as floats.
  return LiesOnTriangle(Widen(Round({s * u.x, s * u.y, s * u.z})), Widen(Round(a)), Widen(Round(b)),
                        Widen(Round(c)));
}

// ---- shortening a push ----

/// The push of one vertex while it is tested against triangle after triangle.
class Push {
 public:
  Push(const PbVec3f& vertex, const VECTOR& direction, float distance)
      : vertex_(vertex),
        direction_(direction),
        distance_(distance),
        tested_(Pushed(vertex, distance, direction)) {}

  float distance() const { return distance_; }

  void HalveWhileCrossing(const MeshView& mesh, const R_INT4& triangle) {
    const PbVec3f a = Corner(mesh, triangle, 0);
    const PbVec3f b = Corner(mesh, triangle, 1);
    const PbVec3f c = Corner(mesh, triangle, 2);
    if (SamePoint(a, vertex_) || SamePoint(b, vertex_) || SamePoint(c, vertex_)) return;
    while (Crosses(distance_, vertex_, tested_, a, b, c)) {
      distance_ = float(distance_ * 0.5);
      // Kept: the tested point moves on by the halved distance, it does not come back to it.
      tested_ = Pushed(tested_, distance_, direction_);
    }
  }

 private:
  PbVec3f vertex_;
  VECTOR direction_;
  float distance_;
  PbVec3f tested_;
};

// What the rounding of tested points and of relative coordinates to float can amount to, as a share of the
// coordinates: some thirty steps, half a unit in the last place (2^-24) each, with room to spare.
constexpr double kRounding = 4e-6;

double LargestCoordinate(const PbVec3f& p) {
  return std::max({std::fabs(p[0]), std::fabs(p[1]), std::fabs(p[2])});
}

/// How far from a triangle, in its plane, a point may lie that is taken as lying on it. `largest` is the
/// largest coordinate of the mesh.
/// Seen from a corner, the tolerance of the cosines lets pass a deviation of acos(1 - 1e-5) = 0.0045 from a
/// side. A corner whose angle has the sine s lets pass less: 2e-5 / s, and 1e-3 in length, as a point off the
/// plane is seen at another angle. Each side has a corner in common with the shortest one, so its two corners
/// bound all. Behind itself an obtuse corner sees too, but the other one does not, beyond 0.007 / s of the
/// shortest side.
double ReachInPlane(const Vec (&corners)[3], double largest) {
  double shortest = std::numeric_limits<double>::infinity(), longest = 0;
  for (int k = 0; k < 3; ++k) {
    const double length = Length(corners[k] - corners[(k + 1) % 3]);
    shortest = std::min(shortest, length);
    longest = std::max(longest, length);
  }
  const double wide = 0.005 * longest;
  const double area = Length(Cross(corners[1] - corners[0], corners[2] - corners[0]));
  const double sine = area / (shortest * longest);  // of the corners at the shortest side, or less
  // Corners are rounded when they are looked from: below that size, to other angles.
  if (!(sine > 0.2 && shortest * sine > 1e-5 * largest)) return wide;
  return std::min(wide, (3e-5 * longest + 0.01 * shortest) / sine + 1e-3);
}

/// A box outside of which no point is taken as lying on the triangle.
Bounds ReachOfTriangle(const MeshView& mesh, const R_INT4& triangle, double mesh_largest) {
  const PbVec3f corners[3] = {Corner(mesh, triangle, 0), Corner(mesh, triangle, 1),
                              Corner(mesh, triangle, 2)};
  double largest = 0;
  Bounds box;
  for (int k = 0; k < 3; ++k) {
    const float a = corners[0][k], b = corners[1][k], c = corners[2][k];
    box.low[k] = std::isnan(a) || std::isnan(b) || std::isnan(c) ? NAN : std::min({a, b, c});
    box.high[k] = std::max({a, b, c});
    largest = std::max(largest, LargestCoordinate(corners[k]));
  }
  const double margin = kPlaneDistance + kRounding * largest +
                        ReachInPlane({Widen(corners[0]), Widen(corners[1]), Widen(corners[2])}, mesh_largest);
  for (int k = 0; k < 3; ++k) {
    box.low[k] -= margin;
    box.high[k] += margin;
  }
  return box;
}

/// A box around all points that a push of `distance` and its halvings can test: the halvings add up to less
/// than twice the distance.
Bounds ReachOfPush(const PbVec3f& vertex, const VECTOR& direction, float distance) {
  const double ends[3] = {vertex[0] - 2.001 * distance * direction.x,
                          vertex[1] - 2.001 * distance * direction.y,
                          vertex[2] - 2.001 * distance * direction.z};
  const double margin = kRounding * (LargestCoordinate(vertex) + 3.0 * std::fabs(distance));
  Bounds box;
  for (int k = 0; k < 3; ++k) {
    box.low[k] = std::min<double>(vertex[k], ends[k]) - margin;
    box.high[k] = std::max<double>(vertex[k], ends[k]) + margin;
  }
  return box;
}

/// Shortens the pushes of a mesh's vertices with the same results as testing every triangle in order.
class PushValidator {
 public:
  explicit PushValidator(const MeshView& mesh) : mesh_(mesh), tree_(Reaches(mesh)) {}

  float Shorten(size_t vertex, const VECTOR& direction, float distance) {
    const Bounds reach = ReachOfPush(mesh_.vertices[vertex], direction, distance);
    // A vertex, direction or distance that is not finite crosses nothing: where the push meets a plane is not
    // a number then, or at its very start. For the same reason the tree needs no triangles that are not
    // finite.
    if (!IsFinite(reach)) return distance;
    Push push(mesh_.vertices[vertex], direction, distance);
    tree_.Find(reach, candidates_);
    tests_ += candidates_.size();
    for (const uint32_t i : candidates_) push.HalveWhileCrossing(mesh_, mesh_.triangles[i]);
    return push.distance();
  }

  size_t tests() const { return tests_; }

 private:
  static std::vector<Bounds> Reaches(const MeshView& mesh) {
    double largest = 0;
    for (size_t i = 0; i < mesh.vertex_count; ++i) {
      const double coordinate = LargestCoordinate(mesh.vertices[i]);
      if (std::isfinite(coordinate)) largest = std::max(largest, coordinate);
    }
    std::vector<Bounds> boxes(mesh.triangles.size());
    for (size_t i = 0; i < boxes.size(); ++i) boxes[i] = ReachOfTriangle(mesh, mesh.triangles[i], largest);
    return boxes;
  }

  const MeshView mesh_;
  FacetTree tree_;
  std::vector<uint32_t> candidates_;
  size_t tests_ = 0;
};

// ---- facets around vertices ----

/// What the push of every vertex is made from.
class Surroundings {
 public:
  struct AdjacentFacet {
    uint32_t facet;
    float weight;  // the facet's angle at the vertex, in radians
  };

  explicit Surroundings(const MeshView& mesh)
      : mesh_(mesh), ends_(mesh.vertex_count + 1), smallest_squared_edges_(mesh.vertex_count, kNoEdge) {
    const size_t triangle_count = mesh.triangles.size();
    ForEachCorner(triangle_count, [&](size_t, int, size_t vertex) { ++ends_[vertex + 1]; });
    for (size_t i = 1; i < ends_.size(); ++i) ends_[i] += ends_[i - 1];
    facets_.resize(ends_.back());
    // Until all facets are in, ends_[v] is where the next one of v goes; afterwards it is v's end.
    ForEachCorner(triangle_count, [&](size_t t, int k, size_t vertex) { AddCorner(t, k, vertex); });
  }

  size_t vertex_count() const { return smallest_squared_edges_.size(); }
  bool HasFacets(size_t vertex) const { return begin(vertex) != ends_[vertex]; }
  float smallest_squared_edge(size_t vertex) const { return smallest_squared_edges_[vertex]; }

  /// The direction against which the vertex is pushed, found by re-weighting its facets.
  VECTOR Direction(size_t vertex) {
    VECTOR direction;
    for (int round = 0; round < kMaxRounds; ++round) {
      direction = WeightedNormal(vertex);
      double largest = -1000;
      AdjacentFacet* worst = nullptr;
      for (size_t i = begin(vertex); i < ends_[vertex]; ++i) {
        const double against = -Dot(Widen(direction), Widen(mesh_.Normal(facets_[i].facet)));
        if (against > largest) {
          largest = against;
          worst = &facets_[i];
        }
      }
      if (largest <= 0 || !worst) break;
      worst->weight = float(worst->weight * kWeightGain);
    }
    return direction;
  }

 private:
  size_t begin(size_t vertex) const { return vertex == 0 ? 0 : ends_[vertex - 1]; }

  /// Calls f(triangle, corner, vertex) for the corners that are vertices of the mesh, in order.
  template <class F>
  void ForEachCorner(size_t triangle_count, const F& f) const {
    for (size_t t = 0; t < triangle_count; ++t) {
      for (int k = 0; k < 3; ++k) {
        const int32_t index = mesh_.triangles[t][k];
        if (index >= 0 && size_t(index) < vertex_count()) {
          f(t, k, size_t(index));
        }
      }
    }
  }

  void AddCorner(size_t t, int k, size_t vertex) {
    const R_INT4& triangle = mesh_.triangles[t];
    const Vec p = Widen(Corner(mesh_, triangle, k));
    const Vec to_a = Widen(Corner(mesh_, triangle, (k + 1) % 3)) - p;
    const Vec to_b = Widen(Corner(mesh_, triangle, (k + 2) % 3)) - p;
    float& smallest = smallest_squared_edges_[vertex];
    for (const Vec* edge : {&to_a, &to_b}) {
      const float squared = float(Dot(*edge, *edge));
      if (squared < smallest) smallest = squared;
    }
    const double angle = trq::core::Acos(Dot(to_a, to_b) / (Length(to_a) * Length(to_b)));
    facets_[ends_[vertex]++] = {uint32_t(t), float(angle)};
  }

  VECTOR WeightedNormal(size_t vertex) const {
    double total = 0;
    for (size_t i = begin(vertex); i < ends_[vertex]; ++i) total += facets_[i].weight;
    Vec sum = {0, 0, 0};
    for (size_t i = begin(vertex); i < ends_[vertex]; ++i) {
      // A facet without an angle makes the total not a number, and then all facets count alike.
      const double share = total > 0 ? facets_[i].weight / total : 1.0;
      const Vec normal = Widen(mesh_.Normal(facets_[i].facet));
      sum = {sum.x + share * normal.x, sum.y + share * normal.y, sum.z + share * normal.z};
    }
    const double length = Length(sum);
    if (length == 0) return VECTOR();
    return VECTOR(float(sum.x / length), float(sum.y / length), float(sum.z / length));
  }

  const MeshView mesh_;
  std::vector<size_t> ends_;  // of the vertices' runs in facets_
  std::vector<AdjacentFacet> facets_;
  std::vector<float> smallest_squared_edges_;
};

// ---- output ----

bool HasShell(const CTL& mesh) {
  return mesh.shell_vertices_ && mesh.shell_vertices_.size() >= mesh.view().vertex_count;
}

/// The mesh's triangles at the places of its shell.
MeshView ShellOf(const CTL& mesh) {
  MeshView shell = mesh.view();
  shell.vertices = mesh.shell_vertices_;
  return shell;
}

/// Kept: always 1.
int SaveShellStl(CTL& mesh, trq::Span<const PbVec3f> shell) {
  WriteOnRecord(mesh, kStlName, kWriting,
                [&](trq::core::ByteSink& sink) { trq::core::WriteMeshAndShell(mesh.view(), shell, sink); });
  return 1;
}

}  // namespace

trq::MeshArray<PbVec3f> trq::core::OffsetShell(const MeshView& mesh, const ShellOffset& how) {
  return OffsetShell(mesh, how, [] { return false; });
}

trq::MeshArray<PbVec3f> trq::core::OffsetShell(const MeshView& mesh, const ShellOffset& how,
                                               const std::function<bool()>& stop) {
  Surroundings surroundings(mesh);
  MeshArray<PbVec3f> shell = MeshArray<PbVec3f>::ForOverwrite(mesh.vertex_count);
  std::unique_ptr<PushValidator> validator;
  if (how.validate) validator = std::make_unique<PushValidator>(mesh);
  for (size_t i = 0; i < mesh.vertex_count; ++i) {
    if (stop()) return {};
    shell[i] = mesh.vertices[i];
    if (!surroundings.HasFacets(i)) continue;
    float distance = float(std::sqrt(double(surroundings.smallest_squared_edge(i))));
    if (distance < 0.1) distance = float(0.1);
    // Kept: a shortest edge up to the limit is halved, a longer one is replaced by the limit.
    distance = distance <= how.limit ? float(distance * 0.5) : how.limit;
    const VECTOR direction = surroundings.Direction(i);
    if (validator) {
      distance = validator->Shorten(i, direction, distance);
      if (how.most_tests > 0 && validator->tests() > how.most_tests) return {};
    }
    shell[i] = Pushed(shell[i], distance, direction);
  }
  return shell;
}

void trq::core::WriteMeshAndShell(const MeshView& mesh, Span<const PbVec3f> shell_vertices, ByteSink& sink) {
  constexpr char kStlHeader[] = "Kestrabin Shelled STL";
  const size_t count = mesh.triangles.size();
  detail::FacetWriter out(sink, shell_vertices.data() ? 2 * count : count, kStlHeader, sizeof kStlHeader);
  for (size_t i = 0; i < count; ++i) {
    const R_INT4& triangle = mesh.triangles[i];
    out.Add(mesh.Normal(i), mesh.Corner(triangle, 0), mesh.Corner(triangle, 1), mesh.Corner(triangle, 2));
  }
  if (!shell_vertices.data()) return;
  MeshView shell = mesh;
  shell.vertices = shell_vertices;
  for (size_t i = 0; i < count; ++i) {
    const VECTOR n = mesh.Normal(i);
    const R_INT4& triangle = mesh.triangles[i];
    out.Add(VECTOR(-n.x, -n.y, -n.z), shell.Corner(triangle, 2), shell.Corner(triangle, 1),
            shell.Corner(triangle, 0));
  }
}

int CTL::offset_ctl() {
  if (!vertices_) return 0;
  shell_made = 1;
  shell_vertices_ = trq::core::OffsetShell(view(), {offset_limit, validate_offsets == 1});
  push_directions_.reset();
  return 0;
}

float CTL::validate_offset(int vertex, float distance, int triangle_count) {
  const MeshView mesh = view();
  const size_t directions = std::min(push_directions_.size(), mesh.vertex_count);
  if (vertex < 0 || size_t(vertex) >= directions) return distance;
  if (triangle_count < 1 || size_t(triangle_count) > mesh.triangles.size()) return distance;
  const size_t i = size_t(vertex);
  Push push(vertices_[i], push_directions_[i], distance);
  for (const R_INT4& triangle : mesh.triangles.First(size_t(triangle_count)))
    push.HalveWhileCrossing(mesh, triangle);
  return push.distance();
}

int CTL::FindIntnsPoint(float distance, PbVec3f p, PbVec3f q, PbVec3f a, PbVec3f b, PbVec3f c) {
  return Crosses(distance, p, q, a, b, c) ? 1 : 0;
}

int CTL::PointOnTriangle(VECTOR point, PbVec3f a, PbVec3f b, PbVec3f c) {
  return LiesOnTriangle(Widen(point), Widen(a), Widen(b), Widen(c)) ? 1 : 0;
}

float CTL::tetra_analysis(PbVec3f p, PbVec3f a, PbVec3f b, PbVec3f c) {
  const Vec normal = Cross(Widen(b) - Widen(a), Widen(c) - Widen(a));
  const double distance = Dot(Widen(p) - Widen(a), normal) / Length(normal);
  // NaN, of a triangle without area, is 0 as well.
  return distance >= kNearestPlane ? float(distance) : 0.0f;
}

int CTL::SaveCTLandShellAsSTL() { return HasShell(*this) ? SaveShellStl(*this, shell_vertices_) : 1; }

int CTL::SaveCTLasSTL() { return SaveShellStl(*this, {}); }

int CTL::MergeShellAndCTLintoCTL() {
  if (!HasShell(*this)) return 0;
  header.num_vertices = int32_t(view().vertex_count);
  const size_t count = view().triangles.size();
  AppendMesh(header, vertices_, triangles_, header, shell_vertices_, triangles_);
  for (size_t i = count; i < view().triangles.size(); ++i) std::swap(triangles_[i][0], triangles_[i][2]);
  shell_vertices_.reset();
  extents_valid = 0;
  return 0;
}

int CTL::dumpshell() {
  if (!HasShell(*this)) return 1;
  WriteOnRecord(*this, kReportName, kWriting, [&](trq::core::ByteSink& sink) {
    const MeshView shell = ShellOf(*this);
    std::string text = "Number of Triangles : " + std::to_string(shell.triangles.size()) + "\n";
    for (size_t i = 0; i < shell.triangles.size(); ++i) {
      text += "OFFSET TRIANGLE " + std::to_string(i + 1) + " \n";
      for (int k = 0; k < 3; ++k) {
        const float* const p = shell.Corner(shell.triangles[i], k);
        text += "Vertex " + std::to_string(k + 1) + " : ";
        AppendThree(text, p[0], p[1], p[2]);
        text += '\n';
      }
      const VECTOR n = shell.Normal(i);
      text += "Normal   : ";
      AppendThree(text, -n.x, -n.y, -n.z);
      text += "\n\n";
      Drain(text, sink);
    }
    text += "End of offsetted shell file \n";
    Drain(text, sink, 0);
  });
  return 1;
}
