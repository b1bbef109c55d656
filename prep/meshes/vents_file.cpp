#include "trqprep/vents_file.h"

#include <fmt/format.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <memory>

namespace trqprep {
namespace {

constexpr std::size_t kLongestLine = 518;
constexpr std::string_view kBlanks = " \t\v\f\r";

bool IsEmptyLine(std::string_view line) { return line.find_first_not_of(kBlanks) == std::string_view::npos; }

// Seven numbers as a scan with "%f" takes them, and nothing after them.
std::optional<std::array<float, 7>> ParseLine(std::string_view line) {
  if (line.size() > kLongestLine) return std::nullopt;
  std::array<float, 7> numbers{};
  for (float& number : numbers) {
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    if (line.size() > 1 && line[0] == '+' && line[1] != '-') line.remove_prefix(1);
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    if (error != std::errc()) return std::nullopt;
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    if (!line.empty() && kBlanks.find(line[0]) == std::string_view::npos) return std::nullopt;
  }
  if (!IsEmptyLine(line)) return std::nullopt;
  return numbers;
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

std::string VentLine(const std::array<float, 7>& n) {
  return fmt::format("{:.6f} {:.6f} {:.6f}  {:.6f} {:.6f} {:.6f}  {:.6f}", n[0], n[1], n[2], n[3], n[4], n[5],
                     n[6]);
}

VentsFile ParseVents(const std::string& path, const std::string& text) {
  VentsFile file;
  file.path = path;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    if (const auto numbers = ParseLine(line)) {
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

VentsFile ReadVents(Observer& observer, const std::string& path) {
  ReadFileHead(path);
  const std::unique_ptr<FILE, int (*)(FILE*)> stream(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!stream) Fail(ExitCode::kInput, Message(Code::kInputUnreadable, path, SystemText(errno)));
  std::string text;
  std::string block(1 << 16, '\0');
  while (const std::size_t got = std::fread(block.data(), 1, block.size(), stream.get()))
    text.append(block, 0, got);
  if (std::ferror(stream.get()))
    Fail(ExitCode::kInput, Message(Code::kInputUnreadable, path, SystemText(errno)));
  VentsFile file = ParseVents(path, text);
  if (!file.bad_lines.empty()) {
    const std::size_t first = file.bad_lines.front();
    observer.Warn(Message(Code::kVdLine, path,
                          fmt::format("line {} is not seven numbers{}: {}", first + 1,
                                      file.bad_lines.size() > 1
                                          ? fmt::format(" (nor are {} others)", file.bad_lines.size() - 1)
                                          : std::string(),
                                      file.lines[first].substr(0, 60)))
                      .Hint("no program reads such a line; correct or remove it")
                      .At({{"line", first + 1}}));
  }
  return file;
}

std::optional<VentsFile> ReadVentsIfThere(Observer& observer, const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
  return ReadVents(observer, path);
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
