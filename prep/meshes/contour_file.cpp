#include "trqprep/contour_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>

#include "trqprep/mesh_writer.h"
#include "trqprep/paths.h"

namespace trqprep {
namespace {

constexpr char kHeaderEnd = 0x1A;

struct Word {
  size_t begin;
  size_t end;
};

// The values of a key: the words between it and the next key. "-KEY" is a key, "-20,20" is none.
std::vector<Word> ValuesOf(const std::string& header, const std::string& key) {
  constexpr char kBlanks[] = " \t\n\v\f\r";
  std::vector<Word> values;
  bool within = false;
  size_t begin = 0, end = 0;
  while ((begin = header.find_first_not_of(kBlanks, end)) != std::string::npos) {
    end = std::min(header.find_first_of(kBlanks, begin), header.size());
    if (end - begin > 1 && header[begin] == '-' &&
        std::isalpha(static_cast<unsigned char>(header[begin + 1]))) {
      if (within) break;
      within = Lower(header.substr(begin, end - begin)) == "-" + Lower(key);
    } else if (within) {
      values.push_back({begin, end});
    }
  }
  return values;
}

// What of a layer is cut short, from kLayerZShort on.
constexpr const char* kLayerParts[] = {
    "its z; the terminator is missing", "its boundary count",         "the vertex count of a boundary",
    "the gap count of a boundary",      "the vertices of a boundary",
};

[[noreturn]] void FailToRead(const std::string& path, const trq::core::Place& place,
                             const trq::core::Contours& read) {
  const int code = -int(place.item);
  Message message(Code::kSlcShort, path, "");
  message.Hint("the file was cut or damaged; slice the part again").At({{"byte", place.byte}});
  if (code <= trq::slc_file::kLayerZShort) {
    message.text = fmt::format("the file ends in layer {}, at {}", read.layers.size() + 1,
                               kLayerParts[trq::slc_file::kLayerZShort - code]);
    message.At({{"byte", place.byte}, {"layer", read.layers.size() + 1}});
  } else if (code == trq::slc_file::kReservedOrCountShort) {
    message.text = "the file ends before the count of the sampling table";
  } else if (code == trq::slc_file::kTableEntryShort) {
    message.text = fmt::format("the file ends in entry {} of {} of the sampling table", read.table.size() + 1,
                               read.table_count);
  } else if (code == trq::slc_file::kEmptyTable) {
    message.code = Code::kSlcTable;
    message.text = "the sampling table has no entry";
    message.Hint("slice the part again");
  } else {
    message.code = Code::kSlcHeader;
    message.text = code == trq::slc_file::kHeaderTooLong
                       ? fmt::format("no byte 1A ends the header within {} bytes", slc::kMaxHeader)
                       : "the file ends inside the header, or the header holds a byte FF";
    message.Hint("is this a file of slice contours?");
  }
  Fail(ExitCode::kInput, message);
}

}  // namespace

bool LooksLikeSlc(const FileHead& file) {
  const std::string head = file.head.substr(0, slc::kMaxHeader + 1);
  const size_t header_end = head.find(kHeaderEnd);
  if (header_end != std::string::npos && HeaderField(head.substr(0, header_end), "SLCVER")) return true;
  return LowerExtension(file.path) == "slc" && !LooksLikeCtl(file) && !LooksLikeStl(file);
}

ContourFile ReadContours(Observer& observer, Units bare, const std::string& path) {
  InputFile input(path);
  return ReadContours(observer, bare, input, path);
}

ContourFile ReadContours(Observer& observer, Units bare, InputFile& input, const std::string& path) {
  ContourFile file;
  file.path = path;
  file.file_size = input.head().size;
  const trq::core::Result<void> done = trq::core::ReadSlc(input, file.contours);
  if (!done) FailToRead(path, done.error().place, file.contours);
  file.end = input.Position().value_or(file.file_size);

  const std::string unit = Lower(HeaderField(file.contours.header, "UNIT").value_or(""));
  file.units_stated = true;
  if (unit == "mm") {
    file.units = Units::kMillimetre;
  } else if (unit == "inch" || unit == "in" || unit == "inches") {
    file.units = Units::kInch;
  } else {
    file.units = bare;
    file.units_stated = false;
    WarnOfUnknownUnits(observer, path, file.units);
  }
  const auto& reserved = file.contours.reserved;
  const auto used = std::find_if(reserved.begin(), reserved.end(), [](auto b) { return b != 0; });
  if (used != reserved.end()) {
    observer.Note(
        Message(Code::kSlcReserved, path, "the reserved block holds more than zeros; no meaning is known")
            .At({{"byte", file.reserved_offset() + size_t(used - reserved.begin())}}));
  }
  if (file.end < file.file_size) {
    observer.Note(
        Message(Code::kSlcTrailing, path,
                Counted(int64_t(file.file_size - file.end), "byte") + " behind the terminator not read")
            .At({{"byte", file.end}}));
  }
  return file;
}

bool IsFinite(const trq::SlcBoundary& boundary) {
  const size_t count = size_t{2} * boundary.vertex_count;
  return std::all_of(boundary.points, boundary.points + count, [](float c) { return std::isfinite(c); });
}

double TwiceArea(const trq::SlcBoundary& boundary) {
  if (boundary.vertex_count < 3 || !IsFinite(boundary)) return 0;
  const float* p = boundary.points;
  const size_t count = boundary.vertex_count;
  // About the first vertex, so that contours far from the origin keep their digits.
  const double x0 = p[0], y0 = p[1];
  double sum = 0;
  for (size_t i = 1; i + 1 < count; ++i) {
    const double ax = p[2 * i] - x0, ay = p[2 * i + 1] - y0;
    const double bx = p[2 * i + 2] - x0, by = p[2 * i + 3] - y0;
    sum += ax * by - ay * bx;
  }
  return sum;
}

ContourSummary Summarize(Observer& observer, const ContourFile& file) {
  ContourSummary summary;
  const std::vector<trq::SlcLayer>& layers = file.contours.layers;
  summary.layers.reserve(file.layer_count());
  size_t not_finite_layer = 0, negative = 0, negative_layer = 0;
  for (size_t i = 0; i + 1 < layers.size(); ++i) {
    LayerSummary layer;
    layer.z = layers[i].z;
    for (const trq::SlcBoundary& boundary : layers[i].boundaries()) {
      ++layer.boundaries;
      layer.vertices += boundary.vertex_count;
      layer.gaps += boundary.gap_count;
      const float* p = boundary.points;
      const size_t last = boundary.vertex_count > 0 ? 2 * (size_t{boundary.vertex_count} - 1) : 0;
      if (boundary.vertex_count > 0 && (p[0] != p[last] || p[1] != p[last + 1])) ++layer.open;
      if (!IsFinite(boundary)) {
        if (summary.not_finite++ == 0) not_finite_layer = i + 1;
        continue;
      }
      const double twice_area = TwiceArea(boundary);
      if (twice_area < 0) ++layer.clockwise;
      layer.area += twice_area / 2;
      for (size_t v = 0; v < boundary.vertex_count; ++v) {
        summary.box.Add(Point{p[2 * v], p[2 * v + 1], layer.z});
        summary.box.Add(Point{p[2 * v], p[2 * v + 1], layers[i + 1].z});
      }
    }
    if (layer.area < 0 && negative++ == 0) negative_layer = i + 1;
    double thickness = double(layers[i + 1].z) - layer.z;
    // Some programs repeat the last z in the terminator.
    if (thickness == 0 && i > 0 && i + 2 == layers.size()) {
      thickness = double(layer.z) - layers[i - 1].z;
    }
    if (std::isfinite(thickness)) summary.volume += layer.area * thickness;
    summary.total.boundaries += layer.boundaries;
    summary.total.clockwise += layer.clockwise;
    summary.total.open += layer.open;
    summary.total.vertices += layer.vertices;
    summary.total.gaps += layer.gaps;
    summary.layers.push_back(layer);
  }
  if (summary.not_finite > 0) {
    observer.Warn(Message(Code::kSlcNan, file.path,
                          fmt::format("{} left out, the first in layer {}, for a vertex that is not finite",
                                      Counted(summary.not_finite, "boundary"), not_finite_layer))
                      .Hint("slice the part again")
                      .At({{"layer", not_finite_layer}}));
  }
  if (negative > 0) {
    observer.Warn(Message(Code::kSlcWinding, file.path,
                          fmt::format("{} with a negative area, the first is layer {}",
                                      Counted(negative, "layer"), negative_layer))
                      .Hint("outer contours run counterclockwise, those of holes clockwise")
                      .At({{"layer", negative_layer}}));
  }
  return summary;
}

std::optional<std::string> HeaderField(const std::string& header, const std::string& key) {
  const std::vector<Word> values = ValuesOf(header, key);
  if (values.empty()) return std::nullopt;
  return header.substr(values.front().begin, values.back().end - values.front().begin);
}

std::string WithExtents(const std::string& header, size_t axis,
                        const std::function<std::array<double, 2>(double, double)>& change) {
  const std::vector<Word> values = ValuesOf(header, "EXTENTS");
  if (axis >= values.size()) return header;
  const Word word = values[axis];
  try {
    const std::vector<double> pair = ParseNumbers(header.substr(word.begin, word.end - word.begin), 2);
    const std::array<double, 2> changed = change(pair[0], pair[1]);
    const auto text = [](double value) { return NumberToJson(float(value)).dump(); };
    return header.substr(0, word.begin) + text(changed[0]) + "," + text(changed[1]) + header.substr(word.end);
  } catch (const std::invalid_argument&) {
    return header;  // not the two numbers that belong there
  }
}

void DescribeContours(Json& data, const ContourFile& file, const ContourSummary& summary) {
  data["units"] = UnitsName(file.units);
  data["units_stated"] = file.units_stated;
  data["file_size"] = file.file_size;
  data["header"] = TextToJson(file.contours.header);
  DescribeBox(data, summary.box, file.units);
  data["layers"] = summary.layers.size();
  const std::vector<trq::SlcLayer>& layers = file.contours.layers;
  data["start"] = NumberToJson(layers.front().z);
  data["end"] = NumberToJson(layers.back().z);
  data["boundaries"] = summary.total.boundaries;
  data["clockwise"] = summary.total.clockwise;
  data["open"] = summary.total.open;
  data["vertices"] = summary.total.vertices;
  data["gaps"] = summary.total.gaps;
  data["volume"] = NumberToJson(summary.volume);
  data["table_count"] = file.contours.table_count;
  Json table = Json::array();
  for (const trq::SlcTableEntry& entry : file.contours.table) {
    table.push_back(Json{{"min_z", NumberToJson(entry.min_z)},
                         {"layer_thickness", NumberToJson(entry.layer_thickness)},
                         {"line_width_compensation", NumberToJson(entry.line_width_compensation)}});
  }
  data["table"] = table;
}

uint64_t WriteContours(const trq::core::Contours& contours, const std::string& path, bool replace) {
  return WriteFile(path, replace, [&contours](trq::core::ByteSink& sink) {
    static_cast<void>(trq::core::WriteSlc(contours, sink));  // the sink tells of a failure
  });
}

}  // namespace trqprep
