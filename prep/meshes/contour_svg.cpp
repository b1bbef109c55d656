#include "trqprep/contour_svg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "trqprep/message.h"
#include "trqprep/round_length.h"

namespace trqprep {
std::string LayerSvg(const ContourFile& file, const ContourSummary& summary, size_t index,
                     const std::vector<PictureMark>& marks) {
  const trq::SlcLayer& layer = file.contours.layers[index];
  const LayerSummary& about = summary.layers[index];
  const std::string unit = UnitsName(file.units);
  // A part without an extent gets a page all the same.
  Point low{0, 0, 0};
  Point size = summary.box.Empty() ? Point{0, 0, 0} : summary.box.Size();
  if (!summary.box.Empty()) low = summary.box.min;
  double largest = std::max(size[0], size[1]);
  if (!(largest > 0)) largest = UnitsFactor(Units::kMillimetre, file.units);
  // The page has its own unit, a thousandth of the part: renderers set type badly that is smaller than one.
  const double k = 1000 / largest;
  const auto page = [](double value) { return Plain(value, 2); };
  // Contours stay in the file's unit. A hundred thousandth of the part is finer than any print.
  const int digits = std::clamp(5 - DecimalExponent(largest), 0, 12);
  const auto num = [digits](double value) { return Plain(value, digits); };

  const double text_size = 33;
  const double margin = 50;
  const std::string title =
      fmt::format("layer {} of {}, z {} {}, area {} {}\xC2\xB2", index + 1, summary.layers.size(),
                  Plain(layer.z, 5), unit, Plain(about.area, file.units == Units::kInch ? 5 : 3), unit);
  const std::string counts =
      fmt::format("{} outer, {} inner", about.boundaries - about.clockwise, about.clockwise);
  const double bar = RoundLength(largest / 4);
  const std::string bar_text = Plain(bar, 12) + " " + unit;
  // Letters are a little over half as wide as high.
  const double text_width = 0.6 * text_size;
  const double caption = k * bar + text_width * double(bar_text.size() + counts.size() + 4);
  const double width = std::max({k * size[0], text_width * double(title.size()), caption}) + 2 * margin;
  const double left = (width - k * size[0]) / 2;
  const double top = margin + 1.8 * text_size;
  const double bottom = top + k * size[1];
  const double height = bottom + 2.2 * text_size + margin;
  const double bar_y = bottom + 1.9 * text_size;

  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out += fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}{4}\" height=\"{1}{4}\" viewBox=\"0 0 {2} "
      "{3}\">\n",
      Plain(width / k, digits + 2), Plain(height / k, digits + 2), page(width), page(height), unit);
  out += "<title>" + title + "</title>\n";
  out += fmt::format(
      "<style>text{{font-family:sans-serif;font-size:{0}px;fill:#222}}.solid{{fill:#9fc3e6;fill-rule:evenodd}}.outer,.inner,.box{{fill:none;stroke-width:{1};stroke-linejoin:round}}.outer{{stroke:#1d4f7c}}.inner{{stroke:#c2571a}}.box{{stroke:#999;stroke-dasharray:{2}}}.bar{{fill:none;stroke:#222;stroke-width:4}}{3}</style>\n",
      page(text_size), num(4 / k), num(16 / k),
      marks.empty() ? "" : ".mark{fill:none;stroke:#d00000;stroke-width:4}.name{fill:#d00000}");

  std::string paths[2];  // outer, inner
  for (const trq::SlcBoundary& boundary : layer.boundaries()) {
    if (boundary.vertex_count == 0 || !IsFinite(boundary)) continue;
    size_t count = boundary.vertex_count;
    const float* p = boundary.points;
    if (count > 1 && p[0] == p[2 * count - 2] && p[1] == p[2 * count - 1]) --count;
    std::string& path = paths[TwiceArea(boundary) < 0 ? 1 : 0];
    for (size_t i = 0; i < count; ++i) {
      path += fmt::format("{}{} {}", i == 0 ? "M" : "L", num(p[2 * i] - low[0]), num(p[2 * i + 1] - low[1]));
    }
    path += "Z";
  }
  // y grows upwards within the group.
  out += fmt::format("<g transform=\"translate({0} {1}) scale({2} -{2})\">\n", page(left), page(bottom),
                     NumberToJson(k).dump());
  out += fmt::format("<rect class=\"box\" x=\"0\" y=\"0\" width=\"{}\" height=\"{}\"/>\n", num(size[0]),
                     num(size[1]));
  // One path for the filling: the rule has to see all boundaries at once.
  if (!paths[0].empty() || !paths[1].empty())
    out += "<path class=\"solid\" d=\"" + paths[0] + paths[1] + "\"/>\n";
  if (!paths[0].empty()) out += "<path class=\"outer\" d=\"" + paths[0] + "\"/>\n";
  if (!paths[1].empty()) out += "<path class=\"inner\" d=\"" + paths[1] + "\"/>\n";
  out += "</g>\n";
  for (const PictureMark& mark : marks) {
    if (index < mark.first || index > mark.last) continue;
    const std::string x = page(left + k * (mark.x - low[0])), y = page(bottom - k * (mark.y - low[1]));
    out += fmt::format(
        "<circle class=\"mark\" cx=\"{}\" cy=\"{}\" r=\"20\"/>\n<text class=\"name\" x=\"{}\" y=\"{}\" text-anchor=\"middle\">{}</text>\n",
        x, y, x, page(bottom - k * (mark.y - low[1]) - 26), XmlText(mark.text));
  }
  out += fmt::format("<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">{}</text>\n", page(width / 2),
                     page(margin + 0.6 * text_size), XmlText(title));
  out += fmt::format("<path class=\"bar\" d=\"M{0} {1}V{2}H{3}V{1}\"/>\n", page(margin),
                     page(bar_y - 0.5 * text_size), page(bar_y), page(margin + k * bar));
  out += fmt::format("<text x=\"{}\" y=\"{}\">{}</text>\n", page(margin + k * bar + 0.5 * text_size),
                     page(bar_y), XmlText(bar_text));
  out += fmt::format("<text x=\"{}\" y=\"{}\" text-anchor=\"end\">{}</text>\n", page(width - margin),
                     page(bar_y), counts);
  out += "</svg>\n";
  return out;
}

}  // namespace trqprep
