/// The file layouts of styles as data: what stands where, under which name, and how wide it is
/// (docs/formats/build-style.md, recoat-style.md, legacy-recoat-style.md).
/// The functions here take the style's class as `Style`: KVBUILDSTYLE, KVRECOATSTYLE or RECOATSTYLE.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trq/core/result.h"
#include "trq/core/span.h"
#include "trq/export.h"

class CString;
class KVBUILDSTYLE;
class KVRECOATSTYLE;
class RECOATSTYLE;

namespace trq::core {

enum class StyleLayout : uint8_t {
  k301,     ///< header, records, checksum: file versions 3.01 and 4.0
  k206,     ///< records and checksum: version 2.06
  kLegacy,  ///< plain numbers, no checksum: RECOATSTYLE's only layout
};

/// A 4-byte number of a style outside its records.
template <class Style>
struct StyleWord {
  const char*
      key;        ///< "file_version", "layout_word_1"; of a legacy style the name of the record it stands for
  bool is_float;  ///< else int32_t
  void* (*in)(Style& style);
};

template <class Style>
struct StyleText {
  const char* key;  ///< "style_name", "header_text_1"
  CString& (*in)(Style& style);
};

/// The words and texts that a style has, in the order in which they are shown; static lifetime.
template <class Style>
Span<const StyleWord<Style>> StyleWords();
template <class Style>
Span<const StyleText<Style>> StyleTexts();

/// One item of a layout.
struct StyleLayoutItem {
  enum class Kind : uint8_t {
    kWord,          ///< 4 bytes
    kText,          ///< a text, cut so that a NUL fits, and zeros
    kBytes,         ///< a text that may use all of its field and hold zeros
    kRecord,        ///< a parameter record: StyleRecordBytes, then the allowed values
    kVersion,       ///< the record "Version", whose value and default are written as 2.06
    kFlags,         ///< a record of its own whose value is a mask of eleven flags
    kInvertedFlag,  ///< a flag's record, its value (not its default) stored inverted
    kSharedRecord,  ///< one record for two parameters, which are equal after writing and after reading
    kCount,         ///< a record whose maximum is the number of sweeps of a list
    kSweeps,        ///< the sweeps of a list: two records each, in the legacy layout two words
  };
  Kind kind = Kind::kWord;
  const char* name = "";   ///< key of a word or text, name of a parameter or sweep list; "flags word"
  std::size_t index = 0;   ///< into words, texts, parameters (kRecord to kCount) or the three sweep lists
  std::size_t size = 0;    ///< bytes; of a record without allowed values, of one sweep
  std::size_t offset = 0;  ///< in a file without allowed values and sweeps
};

/// Where the fields of a record stand in it.
struct StyleRecordBytes {
  static constexpr std::size_t kValue = 0, kDefault = 4, kFlags = 8, kMinimum = 11, kMaximum = 15,
                               kCount = 19, kSize = 23;
};

/// The items of a layout in file order, without the checksum; static lifetime. Empty for a layout that the
/// style does not have.
template <class Style>
Span<const StyleLayoutItem> LayoutOf(StyleLayout layout);

/// True when files of the layout hold a value of the parameter's own (its row in BuildStyleParameters or
/// RecoatStyleParameters; the legacy layout is a KVRECOATSTYLE's here).
template <class Style>
bool StoresParameter(StyleLayout layout, std::size_t parameter);

/// A piece of a file's bytes; each record of a sweep is one, "sweeps[1] gap".
struct StyleFilePiece {
  StyleLayoutItem::Kind kind = StyleLayoutItem::Kind::kWord;
  std::string name;
  std::size_t offset = 0;
  std::size_t size = 0;
};

/// Cuts the bytes of a file (its checksum may follow) at the items of its layout, 301 or 206. kCutShort, with
/// the number of the item, when the bytes end before.
TRQ_EXPORT Result<std::vector<StyleFilePiece>> CutStyleFile(Span<const StyleLayoutItem> layout, Bytes bytes);

template <>
TRQ_EXPORT Span<const StyleWord<KVBUILDSTYLE>> StyleWords<KVBUILDSTYLE>();
template <>
TRQ_EXPORT Span<const StyleText<KVBUILDSTYLE>> StyleTexts<KVBUILDSTYLE>();
template <>
TRQ_EXPORT Span<const StyleLayoutItem> LayoutOf<KVBUILDSTYLE>(StyleLayout layout);
template <>
TRQ_EXPORT bool StoresParameter<KVBUILDSTYLE>(StyleLayout layout, std::size_t parameter);

template <>
TRQ_EXPORT Span<const StyleWord<KVRECOATSTYLE>> StyleWords<KVRECOATSTYLE>();
template <>
TRQ_EXPORT Span<const StyleText<KVRECOATSTYLE>> StyleTexts<KVRECOATSTYLE>();
template <>
TRQ_EXPORT Span<const StyleLayoutItem> LayoutOf<KVRECOATSTYLE>(StyleLayout layout);
template <>
TRQ_EXPORT bool StoresParameter<KVRECOATSTYLE>(StyleLayout layout, std::size_t parameter);

template <>
TRQ_EXPORT Span<const StyleWord<RECOATSTYLE>> StyleWords<RECOATSTYLE>();
template <>
TRQ_EXPORT Span<const StyleText<RECOATSTYLE>> StyleTexts<RECOATSTYLE>();
template <>
TRQ_EXPORT Span<const StyleLayoutItem> LayoutOf<RECOATSTYLE>(StyleLayout layout);

}  // namespace trq::core
