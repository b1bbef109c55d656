#include "trqprep/vents_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace trqprep {
namespace fs = std::filesystem;

namespace {

bool IsEmptyLine(std::string_view line) {
  return line.find_first_not_of(" \t\v\f\r") == std::string_view::npos;
}

}  // namespace

const char* VentEntry::kind() const {
  if (numbers[5] > 0) return "vent";
  return numbers[5] < 0 ? "drain" : "unknown";
}

std::string VentsFile::Text() const {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

bool IsSideFileName(const std::string& path) {
  return path.size() >= 4 && path.compare(path.size() - 4, 4, ".V_D") == 0;
}

std::string SideFileOf(const std::string& model) {
  if (IsSideFileName(model)) return model;
  return model.substr(0, model.rfind('.')) + ".V_D";
}

VentsFile ParseVents(const std::string& path, const std::string& text) {
  VentsFile file;
  file.path = path;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    if (const auto numbers = trq::core::ParseSideLine(line, true)) {
      file.entries.push_back({*numbers, file.lines.size()});
    } else if (!IsEmptyLine(line)) {
      file.bad_lines.push_back(file.lines.size());
    }
    file.lines.push_back(line);
    begin = end + 1;
  }
  return file;
}

bool LooksLikeVents(const FileHead& file) {
  if (IsSideFileName(file.path)) return true;
  // The last line of the head may be cut.
  const bool whole = file.size == file.head.size();
  const VentsFile vents =
      ParseVents(file.path, whole ? file.head : file.head.substr(0, file.head.rfind('\n') + 1));
  return vents.bad_lines.empty() && !vents.entries.empty();
}

namespace {

VentsFile TakeVents(Observer& observer, const std::string& path, std::string text) {
  VentsFile file = ParseVents(path, text);
  if (!file.bad_lines.empty()) {
    const size_t first = file.bad_lines.front();
    observer.Warn(
        Message(Code::kVdLine, path,
                fmt::format("line {} does not hold seven numbers{}: {}", first + 1,
                            file.bad_lines.size() > 1
                                ? " (nor do " + Counted(int64_t(file.bad_lines.size()) - 1, "other") + ")"
                                : std::string(),
                            file.lines[first].substr(0, 60)))
            .Hint("no program reads such a line; correct or remove it")
            .At({{"line", first + 1}}));
  }
  file.read = std::move(text);
  return file;
}

}  // namespace

std::optional<std::string> ReadSideFile(const std::string& model, bool follow_links) {
  const std::string path = SideFileOf(model);
  const bool follows = follow_links || IsSideFileName(model);
  std::error_code error;
  if ((follows ? fs::status(path, error) : fs::symlink_status(path, error)).type() ==
      fs::file_type::not_found)
    return std::nullopt;
  return ReadWholeFile(InputFile(path, follows ? Links::kFollow : Links::kRefuse), "a vents-and-drains file");
}

VentsFile ReadVents(Observer& observer, const std::string& path) {
  return TakeVents(observer, path, ReadWholeFile(path, "a vents-and-drains file"));
}

std::optional<VentsFile> ReadVentsIfThere(Observer& observer, const std::string& model, bool follow_links) {
  std::optional<std::string> text = ReadSideFile(model, follow_links);
  if (!text) return std::nullopt;
  return TakeVents(observer, SideFileOf(model), *std::move(text));
}

Openings OpeningsOf(const VentsFile& vents, double factor, const Box& cavity) {
  Openings openings;
  const double middle = (cavity.min[2] + cavity.max[2]) / 2;
  for (const VentEntry& entry : vents.entries) {
    Point p = entry.point();
    for (double& c : p) c *= factor;
    if (!(p[0] >= cavity.min[0] && p[0] <= cavity.max[0] && p[1] >= cavity.min[1] && p[1] <= cavity.max[1]))
      continue;
    if (p[2] >= middle) openings.vent = true;
    if (p[2] < middle) openings.drain = true;
  }
  return openings;
}

}  // namespace trqprep
