#include "trqprep/contour_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace trqprep {
namespace {

constexpr char kHeaderEnd = 0x1A;

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

bool IsBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// A word of the header that stands for itself: "-KEY" is a key, "-20,20" is none.
struct Word {
  std::size_t begin;
  std::size_t end;
};

std::vector<Word> Words(const std::string& text) {
  std::vector<Word> words;
  for (std::size_t i = 0; i < text.size();) {
    if (IsBlank(text[i])) {
      ++i;
      continue;
    }
    Word word{i, i};
    while (i < text.size() && !IsBlank(text[i])) ++i;
    word.end = i;
    words.push_back(word);
  }
  return words;
}

bool IsKey(const std::string& text, const Word& word) {
  return word.end - word.begin > 1 && text[word.begin] == '-' &&
         std::isalpha(static_cast<unsigned char>(text[word.begin + 1]));
}

// The values of a key: the words between it and the next key.
std::vector<Word> ValuesOf(const std::string& header, const std::string& key) {
  std::vector<Word> values;
  bool within = false;
  for (const Word& word : Words(header)) {
    if (IsKey(header, word)) {
      if (within) break;
      within = Upper(header.substr(word.begin, word.end - word.begin)) == "-" + Upper(key);
    } else if (within) {
      values.push_back(word);
    }
  }
  return values;
}

[[noreturn]] void FailToRead(const std::string& path, int code, std::uint64_t byte, const slc& model) {
  Message message(Code::kSlcShort, path, "");
  message.Hint("the file was cut or damaged; slice the part again").At({{"byte", byte}});
  const char* cut = nullptr;  // what of a layer is cut short
  switch (code) {
    case trq::slc_file::kHeaderTooLong:
      message.code = Code::kSlcHeader;
      message.text = fmt::format("no byte 1A ends the header within {} bytes", slc::kMaxHeader);
      message.Hint("is this a file of slice contours?");
      break;
    case trq::slc_file::kBadHeaderByte:
      message.code = Code::kSlcHeader;
      message.text = "the file ends inside the header, or the header holds a byte FF";
      message.Hint("is this a file of slice contours?");
      break;
    case trq::slc_file::kReservedOrCountShort:
      message.text = "the file ends before the count of the sampling table";
      break;
    case trq::slc_file::kEmptyTable:
      message.code = Code::kSlcTable;
      message.text = "the sampling table has no entry";
      message.Hint("slice the part again");
      break;
    case trq::slc_file::kTableEntryShort:
      message.text = fmt::format("the file ends in entry {} of {} of the sampling table",
                                 model.table.size() + 1, model.table_count);
      break;
    case trq::slc_file::kLayerZShort:
      cut = "its z; the terminator is missing";
      break;
    case trq::slc_file::kBoundaryCountShort:
      cut = "its boundary count";
      break;
    case trq::slc_file::kVertexCountShort:
      cut = "the vertex count of a boundary";
      break;
    case trq::slc_file::kGapCountShort:
      cut = "the gap count of a boundary";
      break;
    default:
      cut = "the vertices of a boundary";
      break;
  }
  if (cut) {
    message.text = fmt::format("the file ends in layer {}, at {}", model.layers.size() + 1, cut);
    message.At({{"byte", byte}, {"layer", model.layers.size() + 1}});
  }
  Fail(ExitCode::kInput, message);
}

}  // namespace

std::string ContourFile::header() const {
  return std::string(model->header_text, static_cast<std::size_t>(model->header_length));
}

bool LooksLikeSlc(const FileHead& file) {
  const std::string_view head(file.head);
  const std::size_t header_end = head.substr(0, slc::kMaxHeader + 1).find(kHeaderEnd);
  if (header_end != std::string_view::npos) {
    const std::string header(head.substr(0, header_end));
    if (HeaderField(header, "SLCVER")) return true;
  }
  const std::size_t size = file.path.size();
  return size >= 4 && Upper(file.path.substr(size - 4)) == ".SLC" && !LooksLikeCtl(file) &&
         !LooksLikeStl(file);
}

ContourFile ReadContours(Observer& observer, Units bare, const std::string& path) {
  InputFile input(path);
  ContourFile file;
  file.path = path;
  file.file_size = input.head().size;
  file.model = std::make_unique<slc>();
  trq::core::Contours read;
  const trq::core::Result<void> done = trq::core::ReadSlc(input, read);
  SetHeader(*file.model, read.header);
  file.reserved = read.reserved;
  file.model->table_count = read.table_count;
  file.model->table = std::move(read.table);
  file.model->layers = std::move(read.layers);
  if (!done)
    FailToRead(path, -static_cast<int>(done.error().place.item), done.error().place.byte, *file.model);
  file.end = input.Position().value_or(file.file_size);

  const std::string unit = Upper(HeaderField(file.header(), "UNIT").value_or(""));
  file.units_stated = true;
  if (unit == "MM") {
    file.units = Units::kMillimetre;
  } else if (unit == "INCH" || unit == "IN" || unit == "INCHES") {
    file.units = Units::kInch;
  } else {
    file.units = bare;
    file.units_stated = false;
    observer.Warn(Message(Code::kUnitsUnknown, path,
                          fmt::format("the file does not say its unit; taken as {}", UnitsName(file.units)))
                      .Hint("--units mm or --units in says which it is"));
  }
  const auto used = std::find_if(file.reserved.begin(), file.reserved.end(), [](auto b) { return b != 0; });
  if (used != file.reserved.end()) {
    observer.Note(
        Message(Code::kSlcReserved, path, "the reserved block holds more than zeros; no meaning is known")
            .At({{"byte", file.reserved_offset() + static_cast<std::size_t>(used - file.reserved.begin())}}));
  }
  if (file.end < file.file_size) {
    observer.Note(
        Message(Code::kSlcTrailing, path,
                fmt::format("{} bytes behind the terminator were not read", file.file_size - file.end))
            .At({{"byte", file.end}}));
  }
  return file;
}

bool IsFinite(const trq::SlcBoundary& boundary) {
  const std::size_t count = std::size_t{2} * boundary.vertex_count;
  return std::all_of(boundary.points, boundary.points + count, [](float c) { return std::isfinite(c); });
}

double TwiceArea(const trq::SlcBoundary& boundary) {
  if (boundary.vertex_count < 3 || !IsFinite(boundary)) return 0;
  const float* p = boundary.points;
  const std::size_t count = boundary.vertex_count;
  // About the first vertex, so that contours far from the origin keep their digits.
  const double x0 = p[0], y0 = p[1];
  double sum = 0;
  for (std::size_t i = 1; i + 1 < count; ++i) {
    const double ax = p[2 * i] - x0, ay = p[2 * i + 1] - y0;
    const double bx = p[2 * i + 2] - x0, by = p[2 * i + 3] - y0;
    sum += ax * by - ay * bx;
  }
  return sum;
}

ContourSummary Summarize(Observer& observer, const ContourFile& file) {
  ContourSummary summary;
  const std::vector<trq::SlcLayer>& layers = file.model->layers;
  std::size_t not_finite_layer = 0, negative = 0, negative_layer = 0;
  for (std::size_t i = 0; i + 1 < layers.size(); ++i) {
    LayerSummary layer;
    layer.z = layers[i].z;
    for (const trq::SlcBoundary& boundary : layers[i].boundaries()) {
      ++layer.boundaries;
      layer.vertices += boundary.vertex_count;
      layer.gaps += boundary.gap_count;
      const float* p = boundary.points;
      const std::size_t last = boundary.vertex_count > 0 ? 2 * (std::size_t{boundary.vertex_count} - 1) : 0;
      if (boundary.vertex_count > 0 && (p[0] != p[last] || p[1] != p[last + 1])) ++layer.open;
      if (!IsFinite(boundary)) {
        if (summary.not_finite++ == 0) not_finite_layer = i + 1;
        continue;
      }
      const double twice_area = TwiceArea(boundary);
      if (twice_area < 0) ++layer.clockwise;
      layer.area += twice_area / 2;
      for (std::size_t v = 0; v < boundary.vertex_count; ++v) {
        summary.box.Add(Point{p[2 * v], p[2 * v + 1], layer.z});
        summary.box.Add(Point{p[2 * v], p[2 * v + 1], layers[i + 1].z});
      }
    }
    if (layer.area < 0 && negative++ == 0) negative_layer = i + 1;
    double thickness = static_cast<double>(layers[i + 1].z) - layer.z;
    // Some programs repeat the last z in the terminator.
    if (thickness == 0 && i > 0 && i + 2 == layers.size()) {
      thickness = static_cast<double>(layer.z) - layers[i - 1].z;
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
                          fmt::format("{} boundaries have a vertex that is not finite, the first in layer "
                                      "{}; they are left out",
                                      summary.not_finite, not_finite_layer))
                      .Hint("slice the part again")
                      .At({{"layer", not_finite_layer}}));
  }
  if (negative > 0) {
    observer.Warn(Message(Code::kSlcWinding, file.path,
                          fmt::format("{} layers have a negative area, the first is layer {}", negative,
                                      negative_layer))
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

std::string WithExtents(const std::string& header, std::size_t axis,
                        const std::function<std::array<double, 2>(double, double)>& change) {
  const std::vector<Word> values = ValuesOf(header, "EXTENTS");
  if (axis >= values.size()) return header;
  const Word word = values[axis];
  try {
    const std::vector<double> pair = ParseNumbers(header.substr(word.begin, word.end - word.begin), 2);
    const std::array<double, 2> changed = change(pair[0], pair[1]);
    const auto text = [](double value) { return NumberToJson(static_cast<float>(value)).dump(); };
    return header.substr(0, word.begin) + text(changed[0]) + "," + text(changed[1]) + header.substr(word.end);
  } catch (const std::invalid_argument&) {
    return header;  // not the two numbers that belong there
  }
}

bool SetHeader(slc& model, const std::string& header) {
  if (header.size() > slc::kMaxHeader) return false;
  std::memset(model.header_text, 0, sizeof model.header_text);
  std::memcpy(model.header_text, header.data(), header.size());
  model.header_length = static_cast<std::int32_t>(header.size());
  return true;
}

void DescribeContours(Json& data, const ContourFile& file, const ContourSummary& summary) {
  data["units"] = UnitsName(file.units);
  data["units_stated"] = file.units_stated;
  data["file_size"] = file.file_size;
  data["header"] = TextToJson(file.header());
  if (summary.box.Empty()) {
    data["box"] = nullptr;
    data["size_mm"] = nullptr;
    data["size_in"] = nullptr;
  } else {
    Json lower = Json::array(), upper = Json::array(), size_mm = Json::array(), size_in = Json::array();
    for (std::size_t k = 0; k < 3; ++k) {
      lower.push_back(NumberToJson(static_cast<float>(summary.box.min[k])));
      upper.push_back(NumberToJson(static_cast<float>(summary.box.max[k])));
      const double side = summary.box.Size()[k];
      size_mm.push_back(NumberToJson(side * UnitsFactor(file.units, Units::kMillimetre)));
      size_in.push_back(NumberToJson(side * UnitsFactor(file.units, Units::kInch)));
    }
    data["box"] = Json{{"min", lower}, {"max", upper}};
    data["size_mm"] = size_mm;
    data["size_in"] = size_in;
  }
  data["layers"] = summary.layers.size();
  const std::vector<trq::SlcLayer>& layers = file.model->layers;
  data["z"] = Json{{"first", NumberToJson(layers.front().z)}, {"end", NumberToJson(layers.back().z)}};
  data["boundaries"] = summary.total.boundaries;
  data["clockwise"] = summary.total.clockwise;
  data["open"] = summary.total.open;
  data["vertices"] = summary.total.vertices;
  data["gaps"] = summary.total.gaps;
  data["volume"] = NumberToJson(summary.volume);
  data["table_count"] = file.model->table_count;
  Json table = Json::array();
  for (const trq::SlcTableEntry& entry : file.model->table) {
    table.push_back(Json{{"min_z", NumberToJson(entry.min_z)},
                         {"layer_thickness", NumberToJson(entry.layer_thickness)},
                         {"line_width_compensation", NumberToJson(entry.line_width_compensation)}});
  }
  data["table"] = table;
}

std::uint64_t ContourFileSize(const slc& model) {
  std::uint64_t size = static_cast<std::uint64_t>(model.header_length) + 1 + slc::kReservedSize + 1 +
                       sizeof(trq::SlcTableEntry) * model.table.size();
  for (const trq::SlcLayer& layer : model.layers) {
    size += 8;
    for (const trq::SlcBoundary& boundary : layer.boundaries())
      size += 8 + 8 * std::uint64_t{boundary.vertex_count};
  }
  return size;
}

void WriteContoursTo(slc& model, const std::string& path) {
  int code = trq::slc_file::kCannotOpen;
  errno = 0;
  if (FILE* stream = std::fopen(path.c_str(), "wb")) {
    model.file = stream;
    code = model.writeSlcHeader();
    if (code == trq::slc_file::kOk) code = model.writeReservedSection();
    if (code == trq::slc_file::kOk) code = model.writeTableEntry();
    if (code == trq::slc_file::kOk) code = model.writeContourLayers();
    model.file = nullptr;
    if (std::fclose(stream) != 0 && code == trq::slc_file::kOk) code = trq::slc_file::kContourWriteFailed;
  }
  if (code != trq::slc_file::kOk) {
    Fail(ExitCode::kOutput,
         Message(Code::kOutputUnwritable, path, "cannot be written: " + SystemText(errno)));
  }
}

void WriteContours(slc& model, const std::string& path, bool replace) {
  OutputFile output(path, replace);
  WriteContoursTo(model, output.path());
  output.Expect(ContourFileSize(model));
  output.Commit();
}

}  // namespace trqprep
