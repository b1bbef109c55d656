/// SLC files (docs/formats/slc.md): a part as a stack of sliced contours.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "trq/core/bytes.h"
#include "trq/core/result.h"
#include "trq/export.h"
#include "trq/slice_contours.h"

namespace trq::core {

/// What a file holds. slc has the same fields; its lists are moved there and back.
struct Contours {
  std::string header;  ///< up to 2048 bytes, without the byte that ends it
  std::array<unsigned char, 256> reserved{};
  std::uint8_t table_count = 0;  ///< as stored: 128 and more read no entries
  std::vector<SlcTableEntry> table;
  std::vector<SlcLayer> layers;  ///< in file order, the terminator last
};

/// Reads a file from the source's position to behind its terminator into `contours`, which holds what was
/// read whole also on failure; a layer that is cut short is dropped. Errors, with place.byte the offset at
/// which the source stood and place.item the slc_file::Result, negated: kUnknownFormat (the header),
/// kCutShort, kBadCount (a table of no entries).
TRQ_EXPORT Result<void> ReadSlc(ByteSource& source, Contours& contours);

/// Writes a file. kBadCount, with nothing written, for a table of no entries; kWriteFailed. Requires: a
/// header that ReadSlc could have read.
TRQ_EXPORT Result<void> WriteSlc(const Contours& contours, ByteSink& sink);

/// Carries every layer through `matrix` (row-major, column vectors; null is the unit matrix; with
/// `mm_to_inch` 1 it is meant for inches while the contours are in millimetres), then reflects a coordinate,
/// 0 x, 1 y or 2 z: c becomes `sum` - c. A layer's z is set once, from its first vertex; a layer without a
/// vertex carries the point (0, 0, z). Every result is rounded to float.
TRQ_EXPORT void MirrorLayers(Span<SlcLayer> layers, const float (*matrix)[4], int mm_to_inch, int coordinate,
                             double sum);

}  // namespace trq::core
