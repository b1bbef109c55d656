/// Styles from and to the bytes of their files, without streams and messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "trq/core/result.h"
#include "trq/core/span.h"
#include "trq/core/style_layout.h"
#include "trq/export.h"

namespace trq::core {

/// The checksum that ends a style file: reflected CRC-32 (polynomial 0xEDB88320, start 0xFFFFFFFF) without
/// final inversion.
TRQ_EXPORT uint32_t StyleChecksum(Bytes bytes);
inline constexpr std::size_t kStyleChecksumBytes = 4;

/// Reads a style from the first of `bytes` as binaryReadStyle() does: a 206 file is converted to the 301
/// layout, a recoat style of version 4.0 is kUnknownVersion. The checksum is neither read nor checked.
/// Returns the bytes used. After an error (kCutShort, kUnknownVersion; the place is the byte at which reading
/// ended) the style holds what was read before.
TRQ_EXPORT Result<std::size_t> ReadStyle(Bytes bytes, KVBUILDSTYLE& style);
TRQ_EXPORT Result<std::size_t> ReadStyle(Bytes bytes, KVRECOATSTYLE& style);
/// The stored full path is taken over; RECOATSTYLE::binaryReadStyle discards it.
TRQ_EXPORT Result<std::size_t> ReadStyle(Bytes bytes, RECOATSTYLE& style);

/// Reads the records of a 206 file as they stand there, without conversion.
TRQ_EXPORT Result<std::size_t> ReadStyle206(Bytes bytes, KVBUILDSTYLE& style);
TRQ_EXPORT Result<std::size_t> ReadStyle206(Bytes bytes, KVRECOATSTYLE& style);

/// The file of a style in a layout (301 or 206), with its checksum. Nothing for the legacy layout.
TRQ_EXPORT std::string StyleFileBytes(const KVBUILDSTYLE& style, StyleLayout layout);
TRQ_EXPORT std::string StyleFileBytes(const KVRECOATSTYLE& style, StyleLayout layout);
/// The legacy file of a style.
TRQ_EXPORT std::string StyleFileBytes(const RECOATSTYLE& style);

/// What writeAsciiBuildStyle and writeAsciiRecoatStyle write, whatever `CommaSeparated` says.
TRQ_EXPORT std::string StyleTextExport(const KVBUILDSTYLE& style, bool comma_separated);
TRQ_EXPORT std::string StyleTextExport(const KVRECOATSTYLE& style, bool comma_separated);

}  // namespace trq::core
