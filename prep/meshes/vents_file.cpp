#include "trqprep/vents_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

#include "prep/files/system_files.h"

namespace trqprep {
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
  const auto line_count = size_t(std::count(text.begin(), text.end(), '\n')) + 1;
  file.lines.reserve(line_count);
  file.entries.reserve(line_count);
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

std::optional<std::string> ReadSideFile(const std::string& model, bool follow_links,
                                        const HeldFolder* folder) {
  constexpr char kWhat[] = "a vents-and-drains file";
  const std::string name = SideFileOf(model);
  if (folder && !follow_links) {
    if (!folder->Open(name).open() && errno == ENOENT) return std::nullopt;
    return ReadWholeFile(InputFile(*folder, name), kWhat);
  }
  const std::string path = folder ? folder->PathOf(name) : name;
  const bool follows = follow_links || IsSideFileName(model);
  system_files::Status status;
  const int error = system_files::Ask(path, status, follows);
  if (error == ENOENT || error == ENOTDIR) return std::nullopt;
  return ReadWholeFile(InputFile(path, follows ? Links::kFollow : Links::kRefuse), kWhat);
}

VentsFile ReadVents(Observer& observer, const std::string& path) {
  return TakeVents(observer, path, ReadWholeFile(path, "a vents-and-drains file"));
}

std::optional<VentsFile> ReadVentsIfThere(Observer& observer, const std::string& model, bool follow_links,
                                          const HeldFolder* folder) {
  std::optional<std::string> text = ReadSideFile(model, follow_links, folder);
  if (!text) return std::nullopt;
  const std::string name = SideFileOf(model);
  return TakeVents(observer, folder ? folder->PathOf(name) : name, *std::move(text));
}

// Along X the points of a cavity are a range, made of blocks of 1, 2, 4 and so on, at most two of each size.
// One size after another, the points of each block are put in order along Y: there a cavity's are a range
// again, and a tree over all points tells the heights in it.
std::vector<Openings> OpeningsOf(const VentsFile& vents, double factor, const std::vector<Box>& cavities) {
  std::vector<Openings> openings(cavities.size());
  std::vector<Point> points;
  for (const VentEntry& entry : vents.entries) {
    Point p = entry.point();
    for (double& c : p) c *= factor;
    if (std::none_of(p.begin(), p.end(), [](double c) { return std::isnan(c); })) points.push_back(p);
  }
  using Range = std::pair<size_t, size_t>;
  const auto along = [](size_t axis) {
    return [axis](const Point& p, const Point& q) { return p[axis] < q[axis]; };
  };
  // Of the points from `first` to `last`, in order along the axis, those in the box.
  const auto within = [&](size_t axis, size_t first, size_t last, const Box& box) {
    const Point* const all = points.data();
    const Point* const low = std::lower_bound(all + first, all + last, box.min, along(axis));
    return Range(low - all, std::upper_bound(low, all + last, box.max, along(axis)) - all);
  };
  const size_t count = points.size();
  std::sort(points.begin(), points.end(), along(0));
  std::vector<Range> blocks(cavities.size());  // of the present size, of each cavity
  for (size_t c = 0; c < cavities.size(); ++c) blocks[c] = within(0, 0, count, cavities[c]);
  const auto is_left = [](const Range& range) { return range.first < range.second; };
  std::vector<std::pair<double, double>> heights(2 * count);
  for (size_t size = 1; std::any_of(blocks.begin(), blocks.end(), is_left); size *= 2) {
    for (size_t first = 0; first + size / 2 < count && size > 1; first += size) {
      Point* const begin = points.data() + first;
      std::inplace_merge(begin, begin + size / 2, begin + std::min(size, count - first), along(1));
    }
    for (size_t i = 0; i < count; ++i) heights[count + i] = {points[i][2], points[i][2]};
    for (size_t i = count; i-- > 1;) {
      const auto &p = heights[2 * i], &q = heights[2 * i + 1];
      heights[i] = {std::min(p.first, q.first), std::max(p.second, q.second)};
    }
    for (size_t c = 0; c < cavities.size(); ++c) {
      const double middle = (cavities[c].min[2] + cavities[c].max[2]) / 2;
      const auto look_at = [&](size_t node) {
        openings[c].drain = openings[c].drain || heights[node].first < middle;
        openings[c].vent = openings[c].vent || heights[node].second >= middle;
      };
      const auto look_in = [&](size_t block) {
        auto [low, high] = within(1, block * size, (block + 1) * size, cavities[c]);
        for (low += count, high += count; low < high; low /= 2, high /= 2) {
          if (low % 2 == 1) look_at(low++);
          if (high % 2 == 1) look_at(--high);
        }
      };
      auto& [first, last] = blocks[c];
      if (!is_left(blocks[c])) continue;
      if (first % 2 == 1) look_in(first++);
      if (last % 2 == 1) look_in(--last);
      first /= 2;
      last /= 2;
    }
  }
  return openings;
}

}  // namespace trqprep
