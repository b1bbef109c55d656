/// Text STL files that are not in the form which the library reads: blank lines, tabs, any line ends, UTF-16.
#pragma once

#include <cstdint>

#include "trq/core/stl.h"

namespace trqprep {

/// What an STL file is by its size and its first 64 KiB.
enum class StlContent {
  kBinary,         ///< of the size that its facet count asks for, or nothing else in this list
  kForeignEndian,  ///< of the size that its facet count asks for with the bytes in the other order
  kText,           ///< a byte order mark, UTF-16, or no NUL and 95 % printable
  kSpoiltText,     ///< three quarters text, and letters are two of the bytes where the facet count would be
};
/// Leaves the source at its start.
StlContent LookAtStl(trq::core::ByteSource& source);

/// Whether the last line of a text of bytes that begins with a word of the format begins with `endsolid`.
/// Leaves the source anywhere.
bool EndsWithEndsolid(trq::core::ByteSource& source);

struct TolerantReport {
  std::uint64_t left_at = 0;  ///< the first line that keeps the strict reader from reading all; 0: none
  std::uint64_t lines = 0;    ///< as far as was read; they end in LF, CR LF or CR
  std::uint64_t facets = 0;   ///< whole ones; that of an unfinished last line is none
  bool cut = false;           ///< ends inside a facet or without `endsolid`
};

/// Reads a text from its start. A line is words between any white space, keywords in any case, blank lines
/// count for nothing; by that, facets, corners, numbers and vertices are those of trq::core::ReadStl.
/// Errors: kUnknownFormat (text of something else, or spoilt; place.line and column, `text` says what stands
/// there), kBadNumber (a corner, likewise), kEmpty (no facet), kNoSurface, kTooLarge, kReadFailed.
trq::core::Result<trq::core::Mesh> ReadTolerantStl(trq::core::ByteSource& source,
                                                   const trq::core::StlReading& how, TolerantReport& report);

}  // namespace trqprep
