#include "trqprep/plate_svg.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <utility>

namespace trqprep {
namespace {

struct Edge {
  int from;
  int to;
};

// The edges at which the facets that face up end: between them and facets that do not, or nothing. Each runs
// with the facet that faces up on its left, so that together they are closed loops around what is seen from
// above.
std::vector<Edge> Outline(const std::vector<PbVec3f>& vertices, const R_INT4* triangles, int facets) {
  // The lower vertex, the higher one, and the sense: +1 from low to high, -1 the other way.
  std::vector<std::array<int, 3>> sides;
  for (int i = 0; i < facets; ++i) {
    const R_INT4& t = triangles[i];
    const auto at = [&](int k) { return PointOf(vertices[static_cast<std::size_t>(t[k])]); };
    const Point a = at(0), b = at(1), c = at(2);
    const double twice_area = (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
    if (!(twice_area > 0)) continue;
    for (int k = 0; k < 3; ++k) {
      const int from = t[k];
      const int to = t[(k + 1) % 3];
      sides.push_back({std::min(from, to), std::max(from, to), from < to ? 1 : -1});
    }
  }
  std::sort(sides.begin(), sides.end());
  std::vector<Edge> edges;
  for (std::size_t i = 0; i < sides.size();) {
    const auto [low, high, sense] = sides[i];
    int net = sense;
    while (++i < sides.size() && sides[i][0] == low && sides[i][1] == high) net += sides[i][2];
    // Where an edge has several facets on a side it bounds several layers, and counts for each.
    for (int n = 0; n < std::abs(net); ++n) {
      edges.push_back(net > 0 ? Edge{low, high} : Edge{high, low});
    }
  }
  return edges;
}

// Joins the edges to loops and writes them as a path in millimetres, relative to the corner (x, y).
std::string OutlinePath(const Piece& piece, std::vector<Edge> edges, double to_mm) {
  std::stable_sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.from < b.from; });
  std::vector<bool> used(edges.size(), false);
  const auto next_from = [&](int vertex) {
    auto e = std::lower_bound(edges.begin(), edges.end(), vertex,
                              [](const Edge& edge, int v) { return edge.from < v; });
    for (; e != edges.end() && e->from == vertex; ++e) {
      if (!used[static_cast<std::size_t>(e - edges.begin())])
        return static_cast<std::size_t>(e - edges.begin());
    }
    return edges.size();
  };
  const auto point = [&](int vertex) {
    const PbVec3f& v = piece.vertices[static_cast<std::size_t>(vertex)];
    return Plain((v[0] - piece.x) * to_mm, 2) + " " + Plain((v[1] - piece.y) * to_mm, 2);
  };
  std::string path;
  for (std::size_t start = 0; start < edges.size(); ++start) {
    if (used[start]) continue;
    std::string last = point(edges[start].from);
    const std::string first = last;
    std::string loop = "M" + last;
    std::size_t points = 1;
    for (std::size_t e = start; e < edges.size(); e = next_from(edges[e].to)) {
      used[e] = true;
      const std::string next = point(edges[e].to);
      if (next == last) continue;  // shorter than the picture resolves
      last = next;
      if (next == first) continue;
      loop += "L" + next;
      ++points;
    }
    if (points > 1) path += loop + "Z";
  }
  return path;
}

}  // namespace

std::string PlateSvg(const Plate& plate) {
  const bool inches = plate.job.units == Units::kInch;
  const char* unit = UnitsName(plate.job.units);
  const int digits = inches ? 4 : 2;
  // The page is in millimetres whatever the plate is in: renderers set type badly that is smaller than one.
  const double to_mm = UnitsFactor(plate.job.units, Units::kMillimetre);
  const double vat_x = plate.vat[0] * to_mm;
  const double vat_y = plate.vat[1] * to_mm;
  const double text_size = std::max(vat_x, vat_y) / 50;
  const double margin = text_size * 2.5;
  const double width = vat_x + 2 * margin;
  const double height = vat_y + 2 * margin;
  const auto num = [digits](double value) { return Plain(value, digits); };  // in texts
  const auto page = [](double value) { return Plain(value, 2); };
  const auto down = [&](double y) { return margin + vat_y - y; };  // the page's y grows downwards

  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out += fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}mm\" height=\"{1}mm\" viewBox=\"0 0 {0} "
      "{1}\">\n",
      page(width), page(height));
  out += fmt::format("<title>{} pieces in a vat of {} x {} {}, seen from above</title>\n",
                     plate.pieces.size(), num(plate.vat[0]), num(plate.vat[1]), unit);
  out += fmt::format(
      "<style>text{{font-family:sans-serif;font-size:{0}px;fill:#222}}.line{{fill:none;stroke:#444;stroke-width:0.4}}.part{{fill:#9fc3e6;stroke:#1d4f7c;stroke-width:0.25;stroke-linejoin:round}}.used{{fill:none;stroke:#c2571a;stroke-width:0.25;stroke-dasharray:2}}.small{{fill:#c2571a}}</style>\n",
      page(text_size));

  // One symbol for each part and turn, in the order in which they first appear.
  std::map<std::pair<std::size_t, int>, std::size_t> symbols;
  out += "<defs>\n";
  for (const Piece& piece : plate.pieces) {
    const auto key = std::pair{piece.part, piece.rotation_index};
    if (!symbols.emplace(key, symbols.size() + 1).second) continue;
    const CTL& mesh = *plate.parts[piece.part].input.mesh;
    const std::string path =
        OutlinePath(piece, Outline(piece.vertices, mesh.triangles(), mesh.num_triangles()), to_mm);
    out += fmt::format("<symbol id=\"s{}\" overflow=\"visible\"><path class=\"part\" d=\"{}\"/></symbol>\n",
                       symbols[key], path);
  }
  out += "</defs>\n";

  out += fmt::format("<g transform=\"translate({} {}) scale(1 -1)\">\n", page(margin), page(margin + vat_y));
  out += fmt::format("<rect class=\"line\" x=\"0\" y=\"0\" width=\"{}\" height=\"{}\"/>\n", page(vat_x),
                     page(vat_y));
  for (const Piece& piece : plate.pieces) {
    out +=
        fmt::format("<use href=\"#s{}\" x=\"{}\" y=\"{}\"/>\n", symbols[{piece.part, piece.rotation_index}],
                    page(piece.x * to_mm), page(piece.y * to_mm));
  }
  if (!plate.extent.Empty()) {
    const Point size = plate.extent.Size();
    out += fmt::format("<rect class=\"used\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>\n",
                       page(plate.extent.min[0] * to_mm), page(plate.extent.min[1] * to_mm),
                       page(size[0] * to_mm), page(size[1] * to_mm));
  }
  out += "</g>\n<g text-anchor=\"middle\">\n";
  for (const Piece& piece : plate.pieces) {
    const std::string name = XmlText(
        plate.parts[piece.part].name +
        (plate.parts[piece.part].request.copies > 1 ? fmt::format(" {}", piece.copy) : std::string()));
    const std::string turn = Plain(piece.rotation, 1) + "\xC2\xB0";
    // As large as fits the piece, within reason; letters are a little over half as wide as high.
    const double room =
        piece.box.Size()[0] * to_mm / (0.62 * static_cast<double>(std::max<std::size_t>(name.size(), 4)));
    const double size = std::clamp(std::min(room, piece.box.Size()[1] * to_mm / 3), text_size / 3, text_size);
    const double x = margin + to_mm * (piece.box.min[0] + piece.box.max[0]) / 2;
    const double y = down(to_mm * (piece.box.min[1] + piece.box.max[1]) / 2);
    out += fmt::format(
        "<text x=\"{0}\" y=\"{1}\" style=\"font-size:{3}px\">{2}<tspan x=\"{0}\" "
        "dy=\"1.1em\">{4}</tspan></text>\n",
        page(x), page(y), name, Plain(size, 3), turn);
  }
  out += "</g>\n";
  out += fmt::format("<text x=\"{}\" y=\"{}\">vat {} x {} {}</text>\n", page(margin),
                     page(margin - text_size * 0.7), num(plate.vat[0]), num(plate.vat[1]), unit);
  if (!plate.extent.Empty()) {
    const Point size = plate.extent.Size();
    out +=
        fmt::format("<text class=\"small\" x=\"{}\" y=\"{}\">used {} x {} {}, {} high</text>\n", page(margin),
                    page(height - text_size * 0.9), num(size[0]), num(size[1]), unit, num(size[2]));
  }
  out += "</svg>\n";
  return out;
}

}  // namespace trqprep
