/// Slice-contour files (docs/formats/slc.md) in the tool: reading with messages, what a file holds, writing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "trq/core/slc.h"
#include "trqprep/atomic_output.h"
#include "trqprep/matrix4.h"
#include "trqprep/mesh_input.h"
#include "trqprep/observer.h"

namespace trqprep {

struct ContourFile {
  std::string path;  // as given
  std::uint64_t file_size = 0;
  std::uint64_t end = 0;  ///< the first byte behind the terminator
  Units units = Units::kMillimetre;
  bool units_stated = false;  ///< by the header; otherwise they are --units
  trq::core::Contours contours;

  /// Without the terminator.
  std::size_t layer_count() const { return contours.layers.size() - 1; }
  /// Where the reserved block begins in the file.
  std::size_t reserved_offset() const { return contours.header.size() + 1; }
};

/// By content (a header that names its version), or by name when the content is of no other kind.
bool LooksLikeSlc(const FileHead& file);

/// Reads a file; a header without a unit leaves it at `bare`. Whatever keeps it from being one ends the
/// command with exit 3. Warns of unknown units, and notes a reserved block that is not zero and bytes behind
/// the terminator.
ContourFile ReadContours(Observer& observer, Units bare, const std::string& path);
/// The same of a file that is open already; `path` stands in messages.
ContourFile ReadContours(Observer& observer, Units bare, InputFile& input, const std::string& path);

/// What a layer holds. Lengths are in the file's unit.
struct LayerSummary {
  float z = 0;
  std::size_t boundaries = 0;
  std::size_t clockwise = 0;  ///< boundaries that run clockwise, as holes do
  std::size_t open = 0;       ///< boundaries that do not end on their first vertex
  std::uint64_t vertices = 0;
  std::uint64_t gaps = 0;
  double area = 0;  ///< counterclockwise boundaries less clockwise ones
};

struct ContourSummary {
  std::vector<LayerSummary> layers;  ///< without the terminator
  LayerSummary total;                ///< `area` and `z` are not used
  double volume = 0;                 ///< each layer's area times its distance to the next
  Box box;                           ///< of all finite vertices; a layer reaches up to the next one
  std::size_t not_finite = 0;        ///< boundaries with a vertex that is not finite
};

/// Measures all layers. Warns of vertices that are not finite (they are left out) and of layers whose area is
/// negative.
ContourSummary Summarize(Observer& observer, const ContourFile& file);

/// Twice the area that the boundary encloses, positive when it runs counterclockwise; 0 with a vertex that is
/// not finite.
double TwiceArea(const trq::SlcBoundary& boundary);
bool IsFinite(const trq::SlcBoundary& boundary);

/// What the header says after `-KEY`, up to the next key; nothing without that key. The case of the key does
/// not matter.
std::optional<std::string> HeaderField(const std::string& header, const std::string& key);

/// Puts the pair of numbers for `axis` (0 x, 1 y, 2 z) of the header's `-EXTENTS` through `change`, which
/// gets the lower and the upper one. The header as it is when it has no such pairs.
std::string WithExtents(const std::string& header, std::size_t axis,
                        const std::function<std::array<double, 2>(double, double)>& change);
/// Everything about a file for `info` and `slc info`, into `data`.
void DescribeContours(Json& data, const ContourFile& file, const ContourSummary& summary);

/// Writes a new file, in the place of an old one with `replace` only, and returns its size.
std::uint64_t WriteContours(const trq::core::Contours& contours, const std::string& path, bool replace);

}  // namespace trqprep
