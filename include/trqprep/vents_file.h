/// The vents-and-drains side file (docs/formats/vents-and-drains.md).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "trq/core/side_file.h"
#include "trqprep/matrix4.h"
#include "trqprep/mesh_input.h"

namespace trqprep {

/// A vent or drain as the file has it: a point in model coordinates, and four numbers that the library
/// carries unchanged. This tool writes a direction out of the part and the diameter there.
struct VentEntry {
  trq::core::SideNumbers numbers{};
  std::size_t line = 0;  ///< index into VentsFile::lines

  Point point() const { return {numbers[0], numbers[1], numbers[2]}; }
  /// "vent" when the direction points up, "drain" when it points down, otherwise "unknown".
  const char* kind() const;
};

struct VentsFile {
  std::string path;
  std::vector<std::string> lines;      ///< without line ends
  std::vector<VentEntry> entries;      ///< the lines of seven numbers, in order
  std::vector<std::size_t> bad_lines;  ///< indices of lines that are neither empty nor seven numbers
  std::optional<std::string> read;     ///< the bytes of the file; nothing: there was none

  /// The lines again, each with an end.
  std::string Text() const;
};

/// The side file of a model: its name up to the last period, with ".V_D". A name that ends in ".V_D" is the
/// side file itself.
std::string SideFileOf(const std::string& model);
bool IsSideFileName(const std::string& path);

VentsFile ParseVents(const std::string& path, const std::string& text);

/// By content (every line is seven numbers) or by the ending of the name.
bool LooksLikeVents(const FileHead& file);
/// The bytes of the side file that belongs to a model, or is the named one itself; nothing when there is
/// none. One that stands beside a model and is a symbolic link is refused (exit 3, INPUT-LINK) unless
/// `follow_links`. With a folder, the model is a name in it, and unless links are followed the folder must
/// hold the side file itself.
std::optional<std::string> ReadSideFile(const std::string& model, bool follow_links,
                                        const HeldFolder* folder = nullptr);
/// Reads a side file; exit 3 when it cannot be read. Warns of lines that are not seven numbers.
VentsFile ReadVents(Observer& observer, const std::string& path);
/// The side file of a model as ReadSideFile has it, read likewise.
std::optional<VentsFile> ReadVentsIfThere(Observer& observer, const std::string& model, bool follow_links,
                                          const HeldFolder* folder = nullptr);

/// Which openings a cavity has: a point within its extent in X and Y counts as a vent above its middle, as a
/// drain below.
struct Openings {
  bool vent = false;
  bool drain = false;
};
/// Those of each cavity, told by its box. `factor` takes the file's points to the unit of the boxes. Time
/// grows as the boxes and the points times the square of their logarithm.
std::vector<Openings> OpeningsOf(const VentsFile& vents, double factor, const std::vector<Box>& cavities);

}  // namespace trqprep
