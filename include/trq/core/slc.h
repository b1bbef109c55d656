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

}  // namespace trq::core
