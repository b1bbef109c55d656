#include <algorithm>
#include <cmath>
#include <deque>

#include "prep/report/sheets.h"
#include "trqprep/render.h"
#include "trqprep/round_length.h"

namespace trqprep {
namespace {

constexpr std::int64_t kMostDrawn = 4000000;  // facets of a picture

std::string Drawn(const Scene& scene, std::size_t width, std::size_t height, bool plate) {
  RenderOptions options;
  options.width = width;
  options.height = height;
  options.scale_bar = plate;
  // There may be very many parts.
  if (!plate) options.deepest = 256;
  // From the front, a little from the left and from above, as the viewer begins.
  options.axes.right = {0.894427, -0.447214, 0};
  options.axes.up = {0.249137, 0.498273, 0.830455};
  options.axes.toward = {-0.371391, -0.742781, 0.557086};
  return PngOf(Render(scene, options));
}

bool IsFinite(const Point& point) {
  return std::all_of(point.begin(), point.end(), [](double x) { return std::abs(x) < 1e9; });
}

}  // namespace

std::string PictureOfPart(const ReportPart& part) {
  if (!part.mesh || part.mesh->num_triangles() == 0 || part.mesh->num_triangles() > kMostDrawn) return "";
  const Box box = BoxOf(*part.mesh);
  if (!IsFinite(box.min) || !IsFinite(box.max)) return "";
  Scene scene;
  scene.objects.emplace_back();
  scene.objects.back().mesh = part.mesh->view();
  return Drawn(scene, 192, 144, false);
}

std::string PictureOfPlate(const ReportSubject& subject) {
  Scene scene;
  std::deque<std::vector<PbVec3f>> placed;
  std::int64_t facets = 0;
  for (const ReportPiece& piece : subject.pieces) {
    const CTL* mesh = subject.parts[piece.part].mesh.get();
    if (!mesh || mesh->num_triangles() == 0) continue;
    facets += mesh->num_triangles();
    if (facets > kMostDrawn) return "";
    std::vector<PbVec3f>& vertices = placed.emplace_back();
    vertices.reserve(std::size_t(mesh->num_vertices()));
    for (int i = 0; i < mesh->num_vertices(); ++i) {
      const Point point = piece.matrix.Apply(PointOf(mesh->vertices()[i]));
      if (!IsFinite(point)) return "";
      vertices.emplace_back(float(point[0]), float(point[1]), float(point[2]));
    }
    SceneObject& object = scene.objects.emplace_back();
    object.mesh = {vertices, vertices.size(), mesh->view().triangles};
  }
  if (scene.objects.empty()) return "";
  Box used;
  for (const ReportPiece& piece : subject.pieces) used.Add(piece.box);
  if (subject.vat && IsFinite(*subject.vat) && !used.Empty() && IsFinite(used.max)) {
    const Point& vat = *subject.vat;
    if (!(vat[0] > 0 && vat[1] > 0 && vat[2] > 0)) return "";
    SceneGround& ground = scene.grounds.emplace_back();
    ground.size = vat;
    ground.shown = std::clamp(used.max[2], 0.0, vat[2]);
    scene.grid = RoundLength(std::max(vat[0], vat[1]) / 8);
  }
  scene.unit = UnitsName(subject.units);
  return Drawn(scene, 960, 600, true);
}

}  // namespace trqprep
