#include "prep/report/sheets.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <utility>

#include "trqprep/base64.h"
#include "trqprep/layer_picture.h"
#include "trqprep/message_table.h"
#include "trqprep/round_length.h"

namespace trqprep {
namespace {

// "3.5 x 2 x 1", with signs of multiplication.
std::string SizeText(const Point& size, double factor, int digits) {
  std::string text;
  for (std::size_t k = 0; k < 3; ++k) {
    text += (k == 0 ? "" : " \xC3\x97 ") + Plain(size[k] * factor, digits);
  }
  return text;
}

std::string SizeIn(const Point& size, Units from, Units to) {
  return SizeText(size, UnitsFactor(from, to), to == Units::kInch ? 3 : 2) + " " + UnitsName(to);
}

// Volumes in ml or cubic inches, areas in square centimetres or inches: numbers that people can compare.
std::string VolumeText(double volume, Units units) {
  return units == Units::kInch ? Plain(volume, 3) + " in\xC2\xB3" : Plain(volume / 1000, 2) + " ml";
}
std::string AreaText(double area, Units units) {
  return units == Units::kInch ? Plain(area, 2) + " in\xC2\xB2" : Plain(area / 100, 1) + " cm\xC2\xB2";
}

// "12 936": digits in groups of three, kept on one line.
std::string Grouped(std::int64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) {
    at -= 3;
    text.insert(at, "\xE2\x80\xAF");
  }
  return text;
}

std::string BandText(const ReportBand& band, const char* unit) {
  return fmt::format("{}\xE2\x80\x93{} {}", Plain(band.start, 3), Plain(band.end, 3), unit);
}

// The last part of a file's name.
std::string Short(const std::string& file) { return file.substr(file.rfind('/') + 1); }

std::string PngImage(const std::string& png) { return "data:image/png;base64," + Base64(png); }

bool HasPlace(const FindingPlace& place) { return !place.pieces.empty() || !place.points.empty(); }

const char* ClassOf(const ReportFinding& finding) {
  return finding.severity == "error" ? "error" : finding.severity == "warning" ? "warning" : "note";
}

void OpenSection(Html& page, const std::string& id, const char* name, const char* title) {
  page.Add("<section id=\"{0}-{1}\" aria-labelledby=\"{0}-{1}-title\">\n<h2 id=\"{0}-{1}-title\">{2}</h2>\n",
           id, name, title);
}

}  // namespace

void AddStage(Html& page, const ReportSubject& subject, const std::string& id, const PageScene& scene,
              const std::vector<FindingPlace>& places) {
  if (!HasMeshes(subject) && subject.svg.empty()) return;
  const char* unit = UnitsName(subject.units);
  OpenSection(page, id, "plate", subject.vat ? "The plate" : "The part");
  const bool marked = HasMeshes(subject) && std::any_of(places.begin(), places.end(), HasPlace);
  const bool alone = subject.svg.empty() && !marked;
  page.Add("<div class=\"stage{}\">\n", alone ? " alone" : "");
  if (HasMeshes(subject)) {
    double height = 0, floor = 0;
    Box box;
    for (const ReportPiece& piece : subject.pieces) box.Add(piece.box);
    if (!box.Empty()) {
      floor = std::min(0.0, box.min[2]);
      height = box.max[2];
    }
    page.Add("<figure class=\"view\" data-scene=\"{}-scene\">\n", id);
    page.Add("<div class=\"canvas live\"><canvas tabindex=\"0\" role=\"img\" aria-label=\"")
        .Text(subject.title);
    page.Add(
        " in 3D. Arrow keys turn, plus and minus zoom, N and P go from piece to piece.\"></canvas>"
        "<p class=\"hint\" aria-hidden=\"true\"></p></div>\n");
    const std::string picture = PictureOfPlate(subject);
    if (!picture.empty()) {
      page.Add("<img class=\"still\" alt=\"{} in 3D\" src=\"{}\">\n", XmlText(subject.title),
               PngImage(picture));
    }
    page.Add(
        "<p class=\"still\">The view in 3D needs a browser with JavaScript and WebGL; everything else is on "
        "this page as it is.</p>\n");
    page.Add(
        "<div class=\"controls live\">\n<label class=\"cut\">Section <input type=\"range\" min=\"{0}\" "
        "max=\"{1}\" step=\"{2}\" value=\"{1}\" data-cut> <output data-cut-height>whole</output></label>\n",
        Plain(floor, 4), Plain(height, 4), Plain(std::max((height - floor) / 1000, 1e-4), 4));
    page.Add(
        "<span class=\"buttons\" role=\"group\" aria-label=\"View\"><button type=\"button\" "
        "data-view=\"iso\">Whole</button><button type=\"button\" data-view=\"top\">Top</button><button "
        "type=\"button\" data-view=\"front\">Front</button><button type=\"button\" "
        "data-view=\"left\">Left</button></span>\n</div>\n");
    page.Add(
        "<figcaption class=\"live\">Drag to turn, with Shift or the right button to move; the wheel zooms once "
        "the view was clicked. Keys: arrows turn, Shift and arrows move, + and \xE2\x88\x92 zoom, Page Up and "
        "Page Down cut, N and P choose, H hides, Esc lets go, Home shows all.");
    if (scene.facets < scene.all_facets) {
      page.Add(" Shown with {} of {}: meshes were simplified for this page.",
               Grouped(std::int64_t(scene.facets)), Grouped(std::int64_t(scene.all_facets)) + " facets");
    }
    if (subject.vat) page.Add(" The floor's grid is <span data-grid></span> {}.", unit);
    page.Add("</figcaption>\n</figure>\n");
  }
  if (!alone) page.Add("<div class=\"beside\">\n");
  if (!subject.svg.empty()) {
    page.Add(
        "<figure class=\"above\"><img alt=\"The plate from above: {}\" src=\"data:image/svg+xml;base64,{}\">"
        "<figcaption>From above; names, turns and the smallest distance</figcaption></figure>\n",
        XmlText(Counted(std::int64_t(subject.pieces.size()), "piece") + " in the vat"), Base64(subject.svg));
  }
  if (marked) {
    page.Add("<div class=\"live\">\n<h3>What was found</h3>\n<ul class=\"marks\">\n");
    for (std::size_t i = 0; i < places.size(); ++i) {
      const ReportFinding& finding = subject.findings[i];
      if (HasPlace(places[i])) {
        page.Add("<li class=\"{}\"><button type=\"button\" data-go=\"{}\">", ClassOf(finding), i);
        page.Text(finding.code).Add("</button> ").Text(finding.text).Add("</li>\n");
      }
    }
    page.Add("</ul>\n</div>\n");
  }
  page.Add(alone ? "</div>\n</section>\n" : "</div>\n</div>\n</section>\n");
}

void AddPieces(Html& page, const ReportSubject& subject, const std::string& id) {
  if (subject.pieces.empty() || subject.kind == ReportSubject::Kind::kContours) return;
  const char* unit = UnitsName(subject.units);
  const bool build = subject.kind == ReportSubject::Kind::kBuild;
  OpenSection(page, id, "pieces", build ? "Pieces" : "Measures");
  page.Add(
      "<div class=\"wide\"><table class=\"pieces\">\n<thead><tr><th class=\"live\"><span "
      "class=\"quiet\">shown</span></th>");
  // Copies look alike: a picture a part. In long lists the first copy shows it, of the first parts.
  constexpr std::size_t kMostPictures = 400;
  const bool many = subject.pieces.size() > kMostPictures;
  std::map<std::string, std::string> pictures;
  for (const ReportPiece& piece : subject.pieces) {
    const ReportPart& part = subject.parts[piece.part];
    if (pictures.size() == kMostPictures) break;
    if (pictures.count(part.file) == 0) pictures[part.file] = PictureOfPart(part);
  }
  const bool pictured =
      std::any_of(pictures.begin(), pictures.end(), [](const auto& p) { return !p.second.empty(); });
  if (pictured) page.Add("<th>Picture</th>");
  page.Add("<th>Piece</th>");
  if (build) page.Add("<th class=\"n\">X, Y in {}</th><th class=\"n\">Turn</th>", unit);
  page.Add("<th>Size</th><th class=\"n\">Facets</th><th class=\"n\">Volume</th><th class=\"n\">Area</th>");
  if (build) page.Add("<th>Styles by height</th><th class=\"n\">Z correction</th>");
  page.Add("</tr></thead>\n<tbody>\n");
  for (std::size_t i = 0; i < subject.pieces.size(); ++i) {
    const ReportPiece& piece = subject.pieces[i];
    const ReportPart& part = subject.parts[piece.part];
    const std::string name = NameMarkup(piece.name);
    page.Add(
        "<tr id=\"{0}-piece-{1}\" data-piece=\"{2}\"><td class=\"live\"><input type=\"checkbox\" checked "
        "data-show aria-label=\"show {3}\"></td>",
        id, i + 1, i, XmlText(piece.name));
    if (pictured) {
      std::string& png = pictures[part.file];
      page.Add("<td class=\"picture\">");
      if (!png.empty()) page.Add("<img alt=\"{}\" src=\"{}\">", XmlText(part.name), PngImage(png));
      if (many) png.clear();
      page.Add("</td>");
    }
    page.Add(
        "<th scope=\"row\"><button type=\"button\" class=\"live name\" data-pick aria-pressed=\"false\">{0}"
        "</button><span class=\"still name\">{0}</span></th>",
        name);
    if (build) {
      page.Add("<td class=\"n\">{}<br>{}</td><td class=\"n\">{}\xC2\xB0</td>", Plain(piece.box.min[0], 3),
               Plain(piece.box.min[1], 3), Plain(piece.turn, 2));
    }
    const Point size = piece.box.Empty() ? Point{} : piece.box.Size();
    page.Add("<td>{}<br><span class=\"quiet\">{}</span></td>",
             SizeIn(size, subject.units, Units::kMillimetre), SizeIn(size, subject.units, Units::kInch));
    page.Add("<td class=\"n\">{}</td>", Grouped(part.facets));
    page.Add("<td class=\"n\">{}</td>", piece.volume ? VolumeText(*piece.volume, subject.units) : "");
    page.Add("<td class=\"n\">{}</td>", piece.area ? AreaText(*piece.area, subject.units) : "");
    if (build) {
      page.Add("<td>");
      for (const ReportBand& band : part.styles) {
        page.Add("<div>{} <span class=\"quiet\">{}</span></div>", NameMarkup(Short(band.file)),
                 BandText(band, unit));
      }
      if (part.styles.empty()) page.Add("<span class=\"quiet\">none</span>");
      page.Add("</td><td class=\"n\">");
      for (const ReportBand& band : part.styles) {
        page.Add("<div>{}</div>", band.z_correction == 0 ? std::string("none")
                                                         : (band.z_correction > 0 ? "+" : "\xE2\x88\x92") +
                                                               Counted(std::abs(band.z_correction), "layer"));
      }
      page.Add("</td>");
    }
    page.Add("</tr>\n");
  }
  page.Add("</tbody>\n</table></div>\n</section>\n");
}

void AddFindings(Html& page, const ReportSubject& subject, const std::string& id,
                 const std::vector<FindingPlace>& places) {
  if (!subject.checked) return;
  OpenSection(page, id, "checks", "Checks");
  if (subject.findings.empty()) {
    page.Add("<p class=\"good\">Nothing was found.</p>\n</section>\n");
    return;
  }
  page.Add("<ol class=\"findings\">\n");
  for (std::size_t i = 0; i < subject.findings.size(); ++i) {
    const ReportFinding& finding = subject.findings[i];
    page.Add("<li id=\"{}-finding-{}\" class=\"{}\"><p><strong class=\"code\">", id, i + 1, ClassOf(finding));
    page.Text(finding.code).Add("</strong> <span class=\"severity\">").Text(finding.severity).Add("</span> ");
    if (!finding.file.empty()) page.Add("{} ", NameMarkup(finding.file));
    page.Text(finding.text);
    if (HasMeshes(subject) && HasPlace(places[i])) {
      page.Add(" <button type=\"button\" class=\"live\" data-go=\"{}\">Show</button>", i);
    }
    page.Add("</p>");
    if (!finding.hint.empty()) page.Add("<p class=\"hint-text\">").Text(finding.hint).Add("</p>");
    if (const MessageRow* row = FindRow(finding.code); row && row->story && *row->story) {
      page.Add("<details><summary>What this means</summary><p>").Text(row->story).Add("</p></details>");
    }
    page.Add("</li>\n");
  }
  page.Add("</ol>\n</section>\n");
}

void AddBands(Html& page, const ReportSubject& subject, const std::string& id) {
  struct Column {
    std::string name;
    std::size_t others = 0;
    std::vector<ReportBand> bands;
  };
  std::vector<Column> columns;
  double height = 0;
  const auto add = [&](const std::string& name, const std::vector<ReportBand>& bands) {
    if (bands.empty()) return;
    for (const ReportBand& band : bands) height = std::max(height, band.end);
    for (Column& column : columns) {
      if (std::equal(bands.begin(), bands.end(), column.bands.begin(), column.bands.end(),
                     [](const ReportBand& a, const ReportBand& b) {
                       return a.file == b.file && a.start == b.start && a.end == b.end;
                     })) {
        ++column.others;
        return;
      }
    }
    columns.push_back({name, 0, bands});
  };
  for (const ReportPart& part : subject.parts) add(part.name, part.styles);
  add("recoating", subject.recoat);
  if (columns.empty() || !(height > 0) || !std::isfinite(height)) return;

  std::vector<std::string> files;
  const auto colour = [&](const std::string& file) {
    auto found = std::find(files.begin(), files.end(), file);
    if (found == files.end()) found = files.insert(files.end(), file);
    return (found - files.begin()) % 6;
  };
  constexpr double kTall = 220, kTop = 12, kLeft = 56, kWide = 116;
  const char* unit = UnitsName(subject.units);
  OpenSection(page, id, "bands", "Styles by height");
  page.Add(
      "<div class=\"wide\"><svg class=\"bands\" role=\"img\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
      "aria-label=\"Which style covers which heights\">\n",
      kLeft + kWide * double(columns.size()) + 10, kTall + 44);
  const auto y = [&](double z) { return Plain(kTop + kTall * (1 - std::clamp(z / height, 0.0, 1.0)), 1); };
  const double mark = RoundLength(height / 3);
  for (double z = 0; z <= height * 1.0001; z += mark) {
    page.Add(
        "<path class=\"rule\" d=\"M{0} {1}H{2}\"/><text class=\"axis\" x=\"{3}\" y=\"{1}\" dy=\"4\">{4} {5}</text>\n",
        kLeft - 4, y(z), kLeft + kWide * double(columns.size()), kLeft - 8, Plain(z, 4), unit);
  }
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const double x = kLeft + kWide * double(i) + 12;
    for (const ReportBand& band : columns[i].bands) {
      const double top = kTop + kTall * (1 - std::clamp(band.end / height, 0.0, 1.0));
      const double tall = kTop + kTall * (1 - std::clamp(band.start / height, 0.0, 1.0)) - top;
      page.Add("<g><title>").Text(Short(band.file) + ", " + BandText(band, unit)).Add("</title>");
      page.Add("<rect class=\"band b{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>", colour(band.file),
               x, Plain(top, 1), kWide - 24, Plain(std::max(tall, 1.0), 1));
      if (tall >= 14) {
        std::string name = Short(band.file);
        if (name.size() > 14) name = name.substr(0, 12) + "\xE2\x80\xA6";
        page.Add("<text class=\"inside\" x=\"{}\" y=\"{}\">", x + kWide / 2 - 12,
                 Plain(top + tall / 2 + 4, 1));
        page.Text(name).Add("</text>");
      }
      page.Add("</g>\n");
    }
    std::string name = columns[i].name;
    if (name.size() > 16) name = name.substr(0, 14) + "\xE2\x80\xA6";
    page.Add("<text class=\"foot\" x=\"{}\" y=\"{}\">", x + kWide / 2 - 12, kTop + kTall + 16).Text(name);
    page.Add("</text>");
    if (columns[i].others > 0) {
      page.Add("<text class=\"foot quiet\" x=\"{}\" y=\"{}\">and {}</text>", x + kWide / 2 - 12,
               kTop + kTall + 30, Counted(std::int64_t(columns[i].others), "other"));
    }
    page.Add("\n");
  }
  page.Add("</svg></div>\n<ul class=\"legend\">\n");
  for (std::size_t i = 0; i < files.size(); ++i) {
    page.Add("<li><span class=\"b{}\"></span>{}</li>\n", i % 6, NameMarkup(files[i]));
  }
  page.Add("</ul>\n</section>\n");
}

namespace {

// A list a region, in columns: most styles change more than a hundred parameters.
void AddParameters(Html& page, const std::vector<const StyleParameter*>& parameters, bool changed) {
  page.Add("<div class=\"parameters\">\n");
  std::string region;
  for (const StyleParameter* parameter : parameters) {
    if (region != StyleRegionName(parameter->region)) {
      page.Add(region.empty() ? "" : "</dl>\n");
      region = StyleRegionName(parameter->region);
      page.Add("<h5>").Text(region).Add("</h5>\n<dl>\n");
    }
    const RecordValues& record = parameter->record;
    page.Add("<div><dt>").Text(parameter->name).Add("</dt><dd>").Text(record.value.Text());
    if (changed) page.Add(" <span class=\"quiet\">").Text(record.default_value.Text()).Add("</span>");
    page.Add("</dd></div>\n");
  }
  page.Add(region.empty() ? "</div>\n" : "</dl>\n</div>\n");
}

// Parameters by region, each region where its first one stands.
std::vector<const StyleParameter*> ByRegion(std::vector<const StyleParameter*> parameters) {
  std::vector<trq::StyleRegion> order;
  for (const StyleParameter* parameter : parameters) {
    if (std::find(order.begin(), order.end(), parameter->region) == order.end())
      order.push_back(parameter->region);
  }
  const auto place = [&](const StyleParameter* p) {
    return std::find(order.begin(), order.end(), p->region);
  };
  std::stable_sort(parameters.begin(), parameters.end(),
                   [&](const StyleParameter* a, const StyleParameter* b) { return place(a) < place(b); });
  return parameters;
}

}  // namespace

void AddStyles(Html& page, const ReportSubject& subject, const std::string& id) {
  if (subject.styles.empty()) return;
  OpenSection(page, id, "styles", "Style sheets");
  for (const StyleFile& file : subject.styles) {
    const StyleDocument& style = file.style;
    Json facts;
    DescribeStyle(file, facts);
    page.Add("<article class=\"sheet\">\n<h3>{}</h3>\n<p class=\"quiet\">", NameMarkup(Short(file.path)));
    page.Text(StyleKindName(file.kind));
    const auto add = [&](const char* words, const char* key) {
      const std::optional<std::string> text = TextFromJson(facts[key]);
      if (text && !text->empty()) page.Add(" \xC2\xB7 {}", words).Text(*text);
    };
    add("name ", "style_name");
    add("", "machine");
    add("lengths in ", "length_units");
    add("", "build_description");
    add("checksum ", "crc");
    page.Add("</p>\n");
    std::vector<const StyleParameter*> changed, rest;
    for (std::size_t i = 0; i < style.parameters.size(); ++i) {
      const StyleParameter& parameter = style.parameters[i];
      if (!parameter.named || !IsStored(style, i)) continue;
      const bool differs = parameter.record.value != parameter.record.default_value;
      if (differs) changed.push_back(&parameter);
      if (!differs && parameter.record.display != 0) rest.push_back(&parameter);
    }
    if (changed.empty()) {
      page.Add("<p>Every parameter has its default.</p>\n");
    } else {
      page.Add("<h4>{} from the default <span class=\"quiet\">(grey)</span></h4>\n",
               Counted(std::int64_t(changed.size()), "parameter differs", "parameters differ"));
      AddParameters(page, ByRegion(changed), true);
    }
    for (std::size_t list = 0; list < kSweepLists; ++list) {
      if (style.sweeps[list].empty()) continue;
      page.Add("<h4>").Text(list == 0 ? "Sweeps" : fmt::format("Sweeps, {}", SweepListName(list)));
      page.Add(
          "</h4>\n<table class=\"sweeps\"><thead><tr><th>Sweep</th><th class=\"n\">Gap, %</th><th "
          "class=\"n\">Velocity</th></tr></thead><tbody>\n");
      for (std::size_t i = 0; i < style.sweeps[list].size(); ++i) {
        page.Add("<tr><th scope=\"row\">{}</th><td class=\"n\">{}</td><td class=\"n\">{}</td></tr>\n", i + 1,
                 XmlText(style.sweeps[list][i].gap.value.Text()),
                 XmlText(style.sweeps[list][i].velocity.value.Text()));
      }
      page.Add("</tbody></table>\n");
    }
    if (!rest.empty()) {
      page.Add("<details><summary>{} the default</summary>\n",
               Counted(std::int64_t(rest.size()), "parameter has", "parameters have"));
      AddParameters(page, ByRegion(rest), false);
      page.Add("</details>\n");
    }
    page.Add("</article>\n");
  }
  page.Add("</section>\n");
}

namespace {

constexpr std::size_t kStills = 6;
constexpr double kStillPixels = 220;

// The layer that holds a height: the last one that begins at or below it.
const trq::SlcLayer* LayerAt(const trq::core::Contours& contours, double z) {
  const trq::SlcLayer* found = nullptr;
  for (const trq::SlcLayer& layer : contours.layers) {
    if (!(double(layer.z) <= z)) break;
    found = layer.is_terminator() ? nullptr : &layer;
  }
  return found;
}

// All pieces at a height, dark on white.
std::string StillOfLayers(const ReportSubject& subject, const Box& around, double z) {
  const Point size = around.Size();
  const double pixel = std::max({size[0], size[1], 1e-6}) / kStillPixels;
  GreyImage image(std::size_t(std::ceil(size[0] / pixel)) + 1, std::size_t(std::ceil(size[1] / pixel)) + 1);
  for (const ReportPiece& piece : subject.pieces) {
    const trq::SlcLayer* layer = piece.layers ? LayerAt(*piece.layers, z) : nullptr;
    if (!layer || layer->boundaries().empty() || piece.box.Empty()) continue;
    // The piece's own pixels, on the raster of the whole.
    const auto column = [&](double x) {
      return std::size_t(std::clamp((x - around.min[0]) / pixel, 0.0, double(image.width - 1)));
    };
    const auto row = [&](double y) {
      return std::size_t(std::clamp((around.max[1] - y) / pixel, 0.0, double(image.height - 1)));
    };
    const std::size_t left = column(piece.box.min[0]), top = row(piece.box.max[1]);
    PictureFrame frame;
    frame.pixel = pixel;
    frame.left = around.min[0] + double(left) * pixel;
    frame.top = around.max[1] - double(top) * pixel;
    frame.width = column(piece.box.max[0]) - left + 1;
    frame.height = row(piece.box.min[1]) - top + 1;
    GreyImage drawn = DrawLayer(*layer, frame);
    for (std::size_t y = 0; y < frame.height; ++y) {
      for (std::size_t x = 0; x < frame.width; ++x) {
        std::uint8_t& target = image.at(left + x, top + y);
        target = std::max(target, drawn.at(x, y));
      }
    }
  }
  for (std::uint8_t& grey : image.pixels) grey = std::uint8_t(255 - grey * 3 / 4);
  return PngOf(image);
}

}  // namespace

void AddLayers(Html& page, const ReportSubject& subject, const std::string& id, const PageScene& scene) {
  if (!HasLayers(subject)) return;
  const char* unit = UnitsName(subject.units);
  Box around;
  std::size_t layers = 0;
  for (const ReportPiece& piece : subject.pieces) {
    around.Add(piece.box);
    if (piece.layers) layers = std::max(layers, piece.layers->layers.size());
  }
  if (around.Empty()) return;
  OpenSection(page, id, "layers", "Layers");
  page.Add(
      "<figure class=\"layers live\" data-layers=\"{0}-scene\">\n<canvas role=\"img\" width=\"900\" height=\"600\" "
      "aria-label=\"The contours of one layer, seen from above\"></canvas>\n<div class=\"controls\"><label "
      "class=\"cut\">Layer <input type=\"range\" min=\"1\" max=\"1\" value=\"1\" data-layer> <output "
      "data-layer-height></output></label></div>\n",
      id);
  if (scene.layer_step > 1) {
    page.Add(
        "<figcaption>Shown is one layer in {}: all of them would make this page too large.</figcaption>\n",
        scene.layer_step);
  }
  page.Add("</figure>\n<ul class=\"stills\">\n");
  const double low = around.min[2], high = around.max[2];
  for (std::size_t i = 0; i < kStills; ++i) {
    const double z = low + (high - low) * (double(i) + 0.5) / double(kStills);
    const std::string at = fmt::format("Z {} {}", Plain(z, 2), unit);
    page.Add("<li><img alt=\"The layer at {0}\" src=\"{1}\"><span>{0}</span></li>\n", at,
             PngImage(StillOfLayers(subject, around, z)));
  }
  page.Add("</ul>\n</section>\n");
}

void AddEstimate(Html& page, const ReportSubject& subject, const std::string& id) {
  const Json& estimate = subject.estimate;
  if (!estimate.is_object()) return;
  OpenSection(page, id, "estimate", "Estimate");
  page.Add("<dl class=\"facts\">\n");
  const auto fact = [&](const char* words, const std::string& value) {
    page.Add("<div><dt>{}</dt><dd>{}</dd></div>\n", words, XmlText(value));
  };
  const auto number = [](const Json& json, const char* key) {
    return json[key].is_number() ? std::optional(json[key].get<double>()) : std::nullopt;
  };
  const auto time = [](double seconds) {
    const auto minutes = std::int64_t(std::round(std::clamp(seconds, 0.0, 1e12) / 60));
    return minutes < 60 ? Plain(seconds / 60, 1) + " min"
                        : fmt::format("{} h {:02} min", minutes / 60, minutes % 60);
  };
  const auto range = [&](const Json& times) {
    const auto least = number(times, "least"), most = number(times, "most");
    if (!least || !most) return std::string();
    return time(*least) == time(*most) ? time(*least) : time(*least) + " to " + time(*most);
  };
  if (const auto resin = number(estimate, "resin")) fact("Resin", Plain(*resin, 1) + " ml");
  if (const auto resin = number(estimate, "mesh_resin")) fact("Resin, by meshes", Plain(*resin, 1) + " ml");
  if (const auto recoats = number(estimate, "recoats"))
    fact("Recoats", Grouped(std::int64_t(std::round(std::clamp(*recoats, 0.0, 1e15)))));
  for (const auto& [words, key] : {std::pair{"Time", "total"}, {"Drawing", "drawing"}}) {
    const std::string text = range(estimate[key]);
    if (!text.empty()) fact(words, text);
  }
  if (const auto seconds = number(estimate["recoating"], "seconds")) fact("Recoating", time(*seconds));
  page.Add("</dl>\n</section>\n");
}

void AddRecord(Html& page, const ReportSubject& subject, const std::string& id) {
  if (subject.job.empty() && subject.files.empty()) return;
  OpenSection(page, id, "record", subject.kind == ReportSubject::Kind::kBuild ? "Job and files" : "File");
  if (!subject.job.empty()) {
    page.Add("<details><summary>The job file</summary><pre>").Text("");
    // A line at a time: line ends are no characters that a name may hold.
    for (const std::string& line : Split(subject.job, '\n')) page.Text(line).Add("\n");
    page.Add("</pre></details>\n");
  }
  if (!subject.files.empty()) {
    const bool fold = subject.files.size() > 1;
    if (fold)
      page.Add("<details><summary>{}</summary>\n",
               Counted(std::int64_t(subject.files.size()), "file with its sum", "files with their sums"));
    page.Add(
        "<div class=\"wide\"><table class=\"sums\">\n<thead><tr><th>File</th><th class=\"n\">Bytes</th><th>SHA-256</th>"
        "</tr></thead>\n<tbody>\n");
    for (const ReportFile& file : subject.files) {
      page.Add("<tr><th scope=\"row\">{}</th><td class=\"n\">{}</td><td><code>{}</code></td></tr>\n",
               NameMarkup(file.name), Grouped(std::int64_t(file.size)), XmlText(file.sha256));
    }
    page.Add("</tbody>\n</table></div>\n");
    if (fold) page.Add("</details>\n");
  }
  page.Add("</section>\n");
}

}  // namespace trqprep
