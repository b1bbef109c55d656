/// The bytes of a CTL file (docs/formats/ctl.md), built without the library.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/byte_builder.h"

namespace test_support {

struct CtlFile {
  std::vector<std::array<float, 3>> vertices;
  std::vector<std::array<int, 4>> triangles;
  std::array<float, 16> matrix{};
  int units = 1;
  int sort_state = 0;
  std::string stl_header;
  int magic = 121;
  int format_word = 12;
  std::array<uint32_t, 2> reserved{};
  std::string reserved_bytes;
  /// What the header claims; as many as there are when empty.
  std::optional<int> claimed_vertices;
  std::optional<int> claimed_triangles;
};

/// The smallest b with 2^b >= vertex_count.
inline int CtlBits(std::size_t vertex_count) {
  int bits = 0;
  while ((uint64_t{1} << bits) < vertex_count) ++bits;
  return bits;
}

/// The packed block: the integers' bits written one after the other, then zeros up to one word more than they
/// fill. Every integer must fit its bits.
inline std::string CtlPackedBytes(const std::vector<std::array<int, 4>>& triangles, int bits,
                                  ByteOrder order = ByteOrder::kLittle) {
  std::string stream;
  for (const std::array<int, 4>& triangle : triangles) {
    for (const int v : triangle) {
      stream +=
          std::bitset<32>(static_cast<uint32_t>(v)).to_string().substr(static_cast<std::size_t>(32 - bits));
    }
  }
  stream.resize((stream.size() / 32 + 1) * 32, '0');
  ByteBuilder bytes(order);
  for (std::size_t at = 0; at < stream.size(); at += 32) {
    bytes.U32(static_cast<uint32_t>(std::bitset<32>(stream, at, 32).to_ulong()));
  }
  return bytes.bytes();
}

inline std::string CtlHeaderBytes(const CtlFile& file, ByteOrder order = ByteOrder::kLittle) {
  ByteBuilder bytes(order);
  bytes.I32(file.claimed_vertices.value_or(static_cast<int>(file.vertices.size())));
  bytes.I32(file.claimed_triangles.value_or(static_cast<int>(file.triangles.size())));
  for (const float v : file.matrix) bytes.F32(v);
  bytes.I32(file.units).I32(file.sort_state).Text(file.stl_header, 80);
  bytes.I32(file.magic).I32(file.format_word).U32(file.reserved[0]).U32(file.reserved[1]);
  return bytes.Text(file.reserved_bytes, 80).bytes();
}

inline std::string CtlBytes(const CtlFile& file, ByteOrder order = ByteOrder::kLittle) {
  ByteBuilder bytes(order);
  bytes.Raw(CtlHeaderBytes(file, order));
  for (const std::array<float, 3>& vertex : file.vertices) {
    for (const float c : vertex) bytes.F32(c);
  }
  return bytes.Raw(CtlPackedBytes(file.triangles, CtlBits(file.vertices.size()), order)).bytes();
}

}  // namespace test_support
