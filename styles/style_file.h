/// The container of style files: opening, version dispatch and CRC, for build and recoat styles alike. A
/// Style has the members `file`, `StoredCRC`, `FileVersion` and `Version`, and StyleTraits.
#pragma once

#include <cstdint>

#include "host/file_services.h"
#include "styles/style_layout.h"
#include "trq/core/style_file.h"
#include "trq/host.h"
#include "trq/styles.h"

namespace trq::detail {

inline constexpr float kVersion205 = 2.05f;
inline constexpr float kVersion206 = 2.06f;
inline constexpr float kVersion301 = 3.01f;
inline constexpr float kVersion400 = 4.0f;

constexpr bool IsVersion301Or400(float version) { return version == kVersion301 || version == kVersion400; }

/// Words and texts before the records of a 301 file.
inline constexpr size_t kHeaderItems = 21;
inline constexpr size_t kHeaderBytes = 2264;

/// What differs between the containers: `Is301(version)`, the first words that announce the 301 layout, and
/// `kVersionRecordAt`, where the "Version" record of other files stands.
template <class Style>
struct StyleTraits;

/// Opens the file and reads four bytes: kOk, kCannotOpen or kReadFailed.
int ProbeFile(const CString& path);

enum class StylePart { kHeader301, kBody301, kWhole301, kWhole206 };

template <class Style>
Span<const StyleLayoutItem> ItemsOf(StylePart part) {
  if (part == StylePart::kWhole206) return core::LayoutOf<Style>(core::StyleLayout::k206);
  const Span<const StyleLayoutItem> items = core::LayoutOf<Style>(core::StyleLayout::k301);
  if (part == StylePart::kHeader301) return items.First(kHeaderItems);
  return part == StylePart::kBody301 ? items.From(kHeaderItems) : items;
}

/// Writes or reads a part of a style; a style_file::Result.
template <class Style>
int WritePart(Style& style, StyleSink sink, StylePart part) {
  const Span<const StyleLayoutItem> items = ItemsOf<Style>(part);
  const bool written = Transfer(sink, style, items) == items.size();
  return written && sink.Flush() ? style_file::kOk : style_file::kWriteFailed;
}
template <class Style>
int ReadPart(Style& style, StyleSource& source, StylePart part) {
  source.version = part == StylePart::kWhole206 ? 0.0f : style.FileVersion;
  const Span<const StyleLayoutItem> items = ItemsOf<Style>(part);
  return Transfer(source, style, items) == items.size() ? style_file::kOk : style_file::kReadFailed;
}
template <class Style>
int ReadPart(Style& style, StylePart part) {
  StyleSource source(style.file);
  return ReadPart(style, source, part);
}

/// Reads a style from the present position: a first word that Is301 accepts announces the 301 layout, a
/// "Version" record of 2.06 the 206 layout.
template <class Style>
int DispatchRead(Style& style, StyleSource& source) {
  const int64_t start = source.Position();
  float version = 0;
  if (start < 0 || !source.Word(&version)) return style_file::kReadFailed;
  if (StyleTraits<Style>::Is301(version)) {
    if (!source.GoTo(start)) return style_file::kReadFailed;
    style.Version.SetValue(version);
    const int header = ReadPart(style, source, StylePart::kHeader301);
    return header == style_file::kOk ? ReadPart(style, source, StylePart::kBody301) : header;
  }
  if (!source.GoTo(start + StyleTraits<Style>::kVersionRecordAt)) return style_file::kReadFailed;
  if (!source.Record(style.Version)) return style_file::kReadFailed;
  if (style.Version.GetValue() != kVersion206) return style_file::kUnknownLayout;
  if (!source.GoTo(start)) return style_file::kReadFailed;
  const int result = ReadPart(style, source, StylePart::kWhole206);
  style.FileVersion = kVersion301;
  style.Version.SetValue(kVersion301);
  style.Version.SetDefaultValue(kVersion301);
  style.ConvertBuildStylesTo301();
  return result;
}

/// Saves with CRC.
template <class Style>
int SaveStyle(Style& style, const CString& given) {
  const CString path = host::SystemPath(given).str();  // every step means this file
  const int written = style.binaryWriteStyle(path);
  if (written == style_file::kCannotOpen) {
    AfxMessageBox("Error in saving style file.");
    return written;
  }
  const int closed = style.file.Close();
  if (written != style_file::kOk || closed != style_file::kOk) return style_file::kWriteFailed;
  return style.writeCrcValue(path);
}

/// Loads and checks the CRC; every failure ends in the message and kCrcRefused.
template <class Style>
int LoadStyle(Style& style, const CString& given) {
  const CString path = host::SystemPath(given).str();  // every step means this file
  const int result = style.binaryReadStyle(path);
  style.file.Close();
  // A read that delivered no stored CRC counts as a mismatch.
  if (result == style_file::kOk && style.CompareCRC(style.StoredCRC, path) == style_file::kOk) {
    return style_file::kOk;
  }
  AfxMessageBox("Error in CRC. This style file cannot be used.");
  return style_file::kCrcRefused;
}

/// What a reading from memory returns.
core::Result<size_t> ReadingOf(int result, const StyleSource& source);

/// The functions of trq/core/style_file.h, for a style with records.
template <class Style>
core::Result<size_t> ReadStyleFromBytes(Bytes bytes, Style& style, bool as_206) {
  StyleSource source(bytes);
  const int result = as_206 ? ReadPart(style, source, StylePart::kWhole206) : DispatchRead(style, source);
  return ReadingOf(result, source);
}

template <class Style>
std::string BytesOfStyle(const Style& style, core::StyleLayout layout) {
  std::string bytes;
  if (layout == core::StyleLayout::kLegacy) return bytes;
  Style written = style;  // writing fits some records to one another
  WritePart(written, StyleSink(bytes),
            layout == core::StyleLayout::k301 ? StylePart::kWhole301 : StylePart::kWhole206);
  const uint32_t crc = style.calcCRC(bytes.data(), int(bytes.size()));
  StyleSink(bytes).Word(&crc);
  return bytes;
}

}  // namespace trq::detail

// The methods of StoredStyle; each class of styles is one instantiation.

template <class Style>
int trq::StoredStyle<Style>::binaryWriteStyle(CString path) {
  if (!file.Open(path, "wb")) return style_file::kCannotOpen;
  return detail::IsVersion301Or400(style().FileVersion) ? binaryWriteStyleData301()
                                                        : binaryWriteStyleData206();
}

template <class Style>
int trq::StoredStyle<Style>::binaryReadStyle(CString path) {
  if (!file.Open(path, "rb")) return style_file::kCannotOpen;
  const int result = binaryReadStyle();
  if (result != style_file::kOk) return result;
  uint32_t stored = 0;
  if (!detail::StyleSource(file).Word(&stored)) return style_file::kReadFailed;
  style().StoredCRC = stored;
  return style_file::kOk;
}

template <class Style>
int trq::StoredStyle<Style>::binaryReadStyle() {
  detail::StyleSource source(file);
  return detail::DispatchRead(style(), source);
}

template <class Style>
int trq::StoredStyle<Style>::binaryReadStyleHeader(CString path) {
  if (!file.Open(path, "rb")) return style_file::kCannotOpen;
  float version = 0;
  int result = style_file::kReadFailed;
  if (detail::StyleSource(file).Word(&version)) {
    result = style_file::kUnknownLayout;
    if (detail::IsVersion301Or400(version)) {
      std::rewind(file);
      result = binaryReadStyleHeader301();
    }
  }
  file.Close();
  return result;
}

template <class Style>
int trq::StoredStyle<Style>::binaryReadStyleHeader301() {
  return detail::ReadPart(style(), detail::StylePart::kHeader301);
}
template <class Style>
int trq::StoredStyle<Style>::binaryReadStyleData301() {
  return detail::ReadPart(style(), detail::StylePart::kBody301);
}
template <class Style>
int trq::StoredStyle<Style>::binaryReadStyleData206() {
  return detail::ReadPart(style(), detail::StylePart::kWhole206);
}
template <class Style>
int trq::StoredStyle<Style>::binaryWriteStyleData301() {
  return detail::WritePart(style(), detail::StyleSink(file), detail::StylePart::kWhole301);
}
template <class Style>
int trq::StoredStyle<Style>::binaryWriteStyleData206() {
  return detail::WritePart(style(), detail::StyleSink(file), detail::StylePart::kWhole206);
}
