/// Where everything stands in style files. Found out from the library itself: a style full of marks is
/// written and the marks are looked up, so that there is no second description of the layouts.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "trqprep/style_document.h"

namespace trqprep {

/// One item of a layout, in file order.
struct LayoutPiece {
  enum class Kind {
    kWord,     ///< 4 bytes
    kText,     ///< `width` bytes
    kRecord,   ///< a record and its allowed values
    kFlags,    ///< the 206 record whose value is a mask of flags
    kVersion,  ///< the 206 "Version" record
    kSweeps,   ///< the sweeps of list `index`
  };
  Kind kind = Kind::kWord;
  std::size_t index = 0;  ///< into the document's words, texts, parameters or sweep lists
  std::size_t width = 0;
};

/// The items of a layout (301 or 206) of styles of that kind.
const std::vector<LayoutPiece>& LayoutOf(StyleKind kind, StyleLayout layout);

/// A piece of a file's bytes.
struct FilePiece {
  LayoutPiece::Kind kind = LayoutPiece::Kind::kWord;
  std::string name;
  std::size_t offset = 0;
  std::size_t size = 0;
};

/// Cuts the bytes of a complete file (without checksum) at the items of its layout.
std::vector<FilePiece> CutFile(const StyleDocument& style, const std::string& bytes);

/// Bytes of a record in a file: value, default, three flags, bounds, number of allowed values.
struct RecordBytes {
  static constexpr std::size_t kValue = 0, kDefault = 4, kFlags = 8, kMinimum = 11, kMaximum = 15,
                               kCount = 19, kSize = 23;
};

}  // namespace trqprep
