/// The container of style files: opening, version dispatch and CRC, for build and recoat styles alike. A
/// Style has the members `file`, `StoredCRC`, `FileVersion` and `Version` and the file methods of the
/// interface.
#pragma once

#include <cstdint>

#include "trq/host.h"
#include "trq/styles.h"

namespace trq::detail {

inline constexpr float kVersion205 = 2.05f;
inline constexpr float kVersion206 = 2.06f;
inline constexpr float kVersion301 = 3.01f;
inline constexpr float kVersion400 = 4.0f;

constexpr bool IsVersion301(float version) { return version == kVersion301; }
constexpr bool IsVersion301Or400(float version) { return version == kVersion301 || version == kVersion400; }

/// The CRC of the file without its last `all_but` bytes (of no bytes when it is shorter). Returns kOk,
/// kCannotOpen or kReadFailed.
int FileCrc(const CString& path, int64_t all_but, uint32_t& crc);

/// Appends the CRC of the file to it.
int AppendCrc(const CString& path);
/// Compares `expected` with the CRC of all but the last four bytes.
int CompareStoredCrc(uint32_t expected, const CString& path);
/// The CRC of bytes in memory; that of no bytes for null or a length below 1.
uint32_t BytesCrc(const char* bytes, int length);
/// Opens the file and reads four bytes: kOk, kCannotOpen or kReadFailed.
int ProbeFile(const CString& path);

/// `result`, or kWriteFailed when it is kOk and what was written does not reach the file.
int Flushed(FILE* stream, int result);

/// Reads a float and returns whether it came.
bool ReadFloat(FILE* stream, float& number);

/// Adapts a "Version" record for a file of the 206 layout: a copy with value and default 2.06.
template <class Record>
Record Version206Copy(const Record& version) {
  Record copy = version;
  copy.SetValue(kVersion206);
  copy.SetDefaultValue(kVersion206);
  return copy;
}

/// Opens `path` and writes the layout of the style's file version; the stream stays open.
template <class Style>
int WriteStyleTo(Style& style, const CString& path) {
  if (!style.file.Open(path, "wb")) return trq::style_file::kCannotOpen;
  return IsVersion301Or400(style.FileVersion) ? style.binaryWriteStyleData301()
                                              : style.binaryWriteStyleData206();
}

/// Opens `path` and reads a style and the stored CRC; the stream stays open.
template <class Style>
int ReadStyleFrom(Style& style, const CString& path) {
  if (!style.file.Open(path, "rb")) return trq::style_file::kCannotOpen;
  const int result = style.binaryReadStyle();
  if (result != trq::style_file::kOk) return result;
  uint32_t stored = 0;
  if (std::fread(&stored, 1, sizeof stored, style.file) != sizeof stored) return trq::style_file::kReadFailed;
  style.StoredCRC = stored;
  return trq::style_file::kOk;
}

/// Where the version dispatch looks for the "Version" record of a file that is not of the 301 layout.
enum class VersionRecordPlace { kAtStart, kAfterFirstWord };

/// Reads a style from the present position: a first word that `is_301` accepts announces the 301 layout, a
/// "Version" record of 2.06 the 206 layout.
template <class Style>
int DispatchRead(Style& style, bool (*is_301)(float), VersionRecordPlace place) {
  FILE* stream = style.file;
  if (!stream) return trq::style_file::kReadFailed;
  const long start = std::ftell(stream);
  float version = 0;
  if (start < 0 || !ReadFloat(stream, version)) return trq::style_file::kReadFailed;
  const auto go_back = [&] { return std::fseek(stream, start, SEEK_SET) == 0; };
  if (is_301(version)) {
    if (!go_back()) return trq::style_file::kReadFailed;
    style.Version.SetValue(version);
    const int header = style.binaryReadStyleHeader301();
    return header == trq::style_file::kOk ? style.binaryReadStyleData301() : header;
  }
  if (place == VersionRecordPlace::kAtStart && !go_back()) return trq::style_file::kReadFailed;
  const int record = style.Version.ReadRecord(stream, 0.0f);
  if (record != trq::style_file::kOk) return record;
  if (style.Version.GetValue() != kVersion206) return trq::style_file::kUnknownLayout;
  if (!go_back()) return trq::style_file::kReadFailed;
  const int result = style.binaryReadStyleData206();
  style.FileVersion = kVersion301;
  style.Version.SetValue(kVersion301);
  style.Version.SetDefaultValue(kVersion301);
  style.ConvertBuildStylesTo301();
  return result;
}

/// Reads the header of a 301 file and closes it.
template <class Style>
int ReadHeaderFrom(Style& style, const CString& path) {
  if (!style.file.Open(path, "rb")) return trq::style_file::kCannotOpen;
  float version = 0;
  int result = trq::style_file::kReadFailed;
  if (ReadFloat(style.file, version)) {
    result = trq::style_file::kUnknownLayout;
    if (IsVersion301Or400(version)) {
      std::rewind(style.file);
      result = style.binaryReadStyleHeader301();
    }
  }
  style.file.Close();
  return result;
}

/// Saves with CRC.
template <class Style>
int SaveStyle(Style& style, const CString& path) {
  const int written = style.binaryWriteStyle(path);
  if (written == trq::style_file::kCannotOpen) {
    AfxMessageBox("Error in saving style file.");
    return written;
  }
  const int closed = style.file.Close();
  if (written != trq::style_file::kOk || closed != trq::style_file::kOk) return trq::style_file::kWriteFailed;
  return style.writeCrcValue(path);
}

/// Loads and checks the CRC; every failure ends in the message and kCrcRefused.
template <class Style>
int LoadStyle(Style& style, const CString& path) {
  const int result = style.binaryReadStyle(path);
  style.file.Close();
  // A read that delivered no stored CRC counts as a mismatch.
  if (result == trq::style_file::kOk && style.CompareCRC(style.StoredCRC, path) == trq::style_file::kOk) {
    return trq::style_file::kOk;
  }
  AfxMessageBox("Error in CRC. This style file cannot be used.");
  return trq::style_file::kCrcRefused;
}

}  // namespace trq::detail
