#include "trqprep/plate_svg.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "prep/plate/searches.h"
#include "prep/says/side_by_side.h"

#include "trqprep/round_length.h"

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
    const auto at = [&](int k) { return PointOf(vertices[size_t(t[k])]); };
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
  for (size_t i = 0; i < sides.size();) {
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
      if (!used[size_t(e - edges.begin())]) return size_t(e - edges.begin());
    }
    return edges.size();
  };
  const auto point = [&](int vertex) {
    const PbVec3f& v = piece.vertices[size_t(vertex)];
    return Plain((v[0] - piece.x) * to_mm, 2) + " " + Plain((v[1] - piece.y) * to_mm, 2);
  };
  std::string path;
  for (size_t start = 0; start < edges.size(); ++start) {
    if (used[start]) continue;
    std::string last = point(edges[start].from);
    const std::string first = last;
    std::string loop = "M" + last;
    size_t points = 1;
    for (size_t e = start; e < edges.size(); e = next_from(edges[e].to)) {
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

// Where pieces whose boxes lie within that of this one end along Y; nothing where there are none.
std::optional<double> EndOfInner(const Plate& plate, const Piece& piece) {
  std::optional<double> end;
  for (const Piece& other : plate.pieces) {
    const Box &in = other.box, &out = piece.box;
    if (&other == &piece || in.min[0] < out.min[0] || in.min[1] < out.min[1] || in.max[0] > out.max[0] ||
        in.max[1] > out.max[1]) {
      continue;
    }
    end = std::max(end.value_or(in.max[1]), in.max[1]);
  }
  return end;
}

// How a value is written; numbers are places on the page.
const std::string& OnPage(const std::string& text) { return text; }
std::string OnPage(double value) { return Plain(value, 2); }

}  // namespace

std::string PlateSvg(Observer& observer, const Plate& plate) {
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
  std::string out;
  const auto add = [&](const char* format, const auto&... values) {
    out += fmt::format(fmt::runtime(format), OnPage(values)...);
  };

  add(R"(<?xml version="1.0" encoding="UTF-8"?>
<svg xmlns="http://www.w3.org/2000/svg" width="{0}mm" height="{1}mm" viewBox="0 0 {0} {1}">
<title>{2} pieces in a vat of {3} x {4} {5}, seen from above</title>
<style>text{{font-family:sans-serif;font-size:{6}px;fill:#222}}.line{{fill:none;stroke:#444;stroke-width:0.4}}.part{{fill:#9fc3e6;stroke:#1d4f7c;stroke-width:0.25;stroke-linejoin:round}}.used{{fill:none;stroke:#c2571a;stroke-width:0.25;stroke-dasharray:2}}.small{{fill:#c2571a}}.margin{{fill:none;stroke:#888;stroke-width:0.25;stroke-dasharray:1}}.near{{fill:none;stroke:#b00020;stroke-width:0.6;stroke-linecap:round}}.distance{{fill:#b00020;stroke:#fff;stroke-width:{7}px;stroke-linejoin:round;paint-order:stroke}}</style>
<defs>
)",
      width, height, std::to_string(plate.pieces.size()), num(plate.vat[0]), num(plate.vat[1]), unit,
      text_size, text_size / 4);

  // One symbol for each part and turn, in the order in which they first appear.
  std::map<std::pair<size_t, int>, std::string> symbols;
  std::vector<const Piece*> drawn;
  for (const Piece& piece : plate.pieces) {
    const auto fresh =
        symbols.emplace(std::pair{piece.part, piece.rotation_index}, fmt::format("s{}", symbols.size() + 1));
    if (fresh.second) drawn.push_back(&piece);
  }
  std::vector<std::string> paths(drawn.size());
  std::vector<int64_t> facets;
  for (const Piece* piece : drawn) facets.push_back(plate.parts[piece->part].input.mesh->num_triangles());
  SideBySide(
      observer, drawn.size(), ThreadsForMeshes(plate.job, std::move(facets)),
      [&](size_t i, Observer& hears) {
        hears.StopIfCancelled();
        const CTL& mesh = *plate.parts[drawn[i]->part].input.mesh;
        paths[i] = OutlinePath(*drawn[i], Outline(drawn[i]->vertices, mesh.triangles(), mesh.num_triangles()),
                               to_mm);
      },
      [&](size_t i) {
        add("<symbol id=\"{}\" overflow=\"visible\"><path class=\"part\" d=\"{}\"/></symbol>\n",
            symbols.at({drawn[i]->part, drawn[i]->rotation_index}), std::exchange(paths[i], {}));
      });
  add("</defs>\n<g transform=\"translate({} {}) scale(1 -1)\">\n"
      "<rect class=\"line\" x=\"0\" y=\"0\" width=\"{}\" height=\"{}\"/>\n",
      margin, margin + vat_y, vat_x, vat_y);
  const double walls = plate.job.Bare(plate.job.margin) * to_mm;
  if (walls > 0 && 2 * walls < std::min(vat_x, vat_y)) {
    add("<rect class=\"margin\" x=\"{0}\" y=\"{0}\" width=\"{1}\" height=\"{2}\"/>\n", walls,
        vat_x - 2 * walls, vat_y - 2 * walls);
  }
  for (const Piece& piece : plate.pieces) {
    add("<use href=\"#{}\" x=\"{}\" y=\"{}\"/>\n", symbols[{piece.part, piece.rotation_index}],
        piece.x * to_mm, piece.y * to_mm);
  }
  const Box& used = plate.extent;
  const Point size = used.Size();
  if (!used.Empty()) {
    add("<rect class=\"used\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>\n", used.min[0] * to_mm,
        used.min[1] * to_mm, size[0] * to_mm, size[1] * to_mm);
  }
  if (const std::optional<Nearness>& closest = plate.closest) {
    add("<path class=\"near\" d=\"M{} {}L{} {}\"/>\n", closest->from[0] * to_mm, closest->from[1] * to_mm,
        closest->to[0] * to_mm, closest->to[1] * to_mm);
  }
  add("</g>\n<g text-anchor=\"middle\">\n");
  for (const Piece& piece : plate.pieces) {
    const PlatePart& part = plate.parts[piece.part];
    const std::string name =
        XmlText(part.name + (part.request.copies > 1 ? fmt::format(" {}", piece.copy) : std::string()));
    // As large as fits the piece, within reason; letters are a little over half as wide as high.
    const Point extent = piece.box.Size();
    const double room = extent[0] * to_mm / (0.62 * double(std::max<size_t>(name.size(), 4)));
    double letters = std::clamp(std::min(room, extent[1] * to_mm / 3), text_size / 3, text_size);
    double middle = (piece.box.min[1] + piece.box.max[1]) / 2;
    // What has another piece within it is named behind that one: two names in the middle would lie over each
    // other.
    if (const std::optional<double> behind = EndOfInner(plate, piece)) {
      const double free = piece.box.max[1] - *behind;
      letters = std::clamp(free * to_mm / 2.4, text_size / 3, letters);
      middle = piece.box.max[1] - free / 2;
    }
    // The page's y grows downwards.
    add("<text x=\"{0}\" y=\"{1}\" style=\"font-size:{3}px\">{2}<tspan x=\"{0}\" "
        "dy=\"1.1em\">{4}\xC2\xB0</tspan></text>\n",
        margin + to_mm * (piece.box.min[0] + piece.box.max[0]) / 2, margin + vat_y - to_mm * middle, name,
        Plain(letters, 3), Plain(TurnOf(plate, piece), 1));
  }
  if (const std::optional<Nearness>& closest = plate.closest) {
    add("<text class=\"distance\" x=\"{}\" y=\"{}\">{} {}</text>\n",
        margin + to_mm * (closest->from[0] + closest->to[0]) / 2,
        margin + vat_y - to_mm * (closest->from[1] + closest->to[1]) / 2 - text_size / 3,
        Plain(closest->distance, 3), unit);
  }
  add("<text x=\"{}\" y=\"{}\">front</text>\n", margin + vat_x / 2, margin + vat_y + text_size);
  add("</g>\n<text x=\"{}\" y=\"{}\">vat {} x {} {}</text>\n", margin, margin - text_size * 0.7,
      num(plate.vat[0]), num(plate.vat[1]), unit);
  if (!used.Empty()) {
    add("<text class=\"small\" x=\"{}\" y=\"{}\">used {} x {} {}, {} high</text>\n", margin,
        height - text_size * 0.9, num(size[0]), num(size[1]), unit, num(size[2]));
  }
  const double scale = RoundLength(plate.vat[0] / 4), right = margin + vat_x, low = height - text_size * 0.9;
  add("<path class=\"line\" d=\"M{0} {1}v{2}H{3}v-{2}\"/>\n<text text-anchor=\"end\" x=\"{4}\" y=\"{5}\">{6} "
      "{7}</text>\n",
      right - scale * to_mm, low - text_size / 2, text_size / 2, right, right - scale * to_mm - text_size / 2,
      low, num(scale), unit);
  return out + "</svg>\n";
}

}  // namespace trqprep
