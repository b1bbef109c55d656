/// STL files, binary and ASCII (docs/formats/stl.md): reading with a report, and writing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trq/core/bytes.h"
#include "trq/core/mesh.h"
#include "trq/core/result.h"
#include "trq/export.h"

namespace trq::core {

enum class StlForm { kBinary, kAscii };

constexpr std::size_t kStlHeaderSize = 80;  ///< bytes of text before the facet count of a binary solid
constexpr std::size_t kStlHeadSize = kStlHeaderSize + 4;
constexpr std::size_t kStlFacetSize = 50;
/// The largest number of facets that a solid may have.
constexpr std::int64_t kMostStlFacets = 26000000;

struct StlReading {
  int units = units::kMillimetre;  ///< of the coordinates: the file does not say
  bool accept_partial =
      false;                ///< a binary solid with fewer facets than it announces is taken as far as it goes
  float tolerance = 1e-4f;  ///< corners closer than this on every axis become one vertex
};

/// Facets of one binary solid.
struct StlSolid {
  std::int64_t announced = 0;
  std::int64_t present = 0;  ///< at most those announced
};

/// What reading found out, also when it failed.
struct StlReport {
  StlForm form = StlForm::kBinary;
  /// The first line holds a word, and the first word of the second is "facet": what follows is read as ASCII.
  bool begins_as_text = false;
  /// Why a file that begins as text was not read as text; it was tried as a binary file afterwards. The code
  /// is kBadNumber or kCutShort (`place` has line, column and facet, `text` is the line, or says that the
  /// file ends), or kNoSurface.
  std::optional<Error> text_error;
  /// Binary: the solids that stand one after the other, as far as they begin; the last one may be short.
  std::vector<StlSolid> solids;
  /// Offset behind the last facet of the last solid with all its facets; what follows belongs to none. For
  /// ASCII, the end.
  std::uint64_t end = 0;
};

/// Reads every solid from the source's position on into one mesh with normals. ASCII is tried first. The
/// header is that of a new mesh with `units`, the unit matrix and, of a binary file, the first solid's text.
/// Errors: kUnknownFormat (fewer than 80 bytes), kBadCount (a count that is cut short or not positive),
/// kCutShort (fewer facets than announced, and that is not accepted, or the source failed), kNoSurface (no
/// two corners merged: also a single facet), kTooLarge, kBadNumber (a coordinate that is not a number;
/// place as CalculateNormals has it, facets counted over all solids). Those of a solid after the first end
/// the reading without an error.
TRQ_EXPORT Result<Mesh> ReadStl(ByteSource& source, const StlReading& how, StlReport* report = nullptr);
/// The same from the beginning of a file; kCannotOpen besides.
TRQ_EXPORT Result<Mesh> ReadStlFile(const std::string& path, const StlReading& how,
                                    StlReport* report = nullptr);

struct StlWriting {
  StlForm form = StlForm::kBinary;
  /// Row-major, column vectors; null is the unit matrix.
  const float (*matrix)[4] = nullptr;
  /// 1: the matrix is meant for inches while mesh and file are in millimetres.
  int mm_to_inch = 0;
  /// Binary: normals are written as they are. Otherwise they are placed as directions and brought to length
  /// 1, and attributes that are negative as 16 bits become 0.
  bool keep_normals = false;
  /// Binary: the text of the header, cut at 80 bytes, with zeros behind it.
  std::string_view header = "Kestrabin STL";
};

/// Writes the mesh with the normals it has. kWriteFailed when the sink failed.
TRQ_EXPORT Result<void> WriteStl(const MeshView& mesh, const StlWriting& how, ByteSink& sink);

/// A binary file in pieces, for meshes that are not all there at once: its head, which announces
/// `facet_count` facets, and then the facets of each mesh. `form` is not asked.
TRQ_EXPORT Result<void> WriteStlHead(std::uint32_t facet_count, const StlWriting& how, ByteSink& sink);
TRQ_EXPORT Result<void> WriteStlFacets(const MeshView& mesh, const StlWriting& how, ByteSink& sink);

/// The header text of a stamped binary file: program, computer, login name, `number` and "CRC "; then the
/// checksum (CCRC::calcCRC) of the facet count as the file has it, in the last four of 80 bytes.
TRQ_EXPORT std::string StlStamp(int number, std::uint32_t facet_count);
/// Puts the checksum of the facets behind the text of a binary file's header, if that holds "CRC"; digits
/// that find no room are dropped. Requires: the file is no shorter than its head.
TRQ_EXPORT void StampStl(Span<unsigned char> file);
/// Whether the checksum that StampStl wrote is that of the facets. Requires: as StampStl.
TRQ_EXPORT bool StlStampHolds(Bytes file);

/// Bytes of the binary file of so many facets.
constexpr std::uint64_t BinaryStlSize(std::uint64_t facets) { return kStlHeadSize + kStlFacetSize * facets; }

}  // namespace trq::core
