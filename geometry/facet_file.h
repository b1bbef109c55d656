/// The records of binary STL files, written in blocks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "foundation/block_writer.h"
#include "foundation/canonical_nan.h"
#include "foundation/host_order.h"
#include "trq/core/stl.h"
#include "trq/foundation.h"

namespace trq::detail {

class FacetWriter {
 public:
  /// Records only. What is left is written when this is gone; a failure stays on record in the sink.
  FacetWriter(core::ByteSink& sink, size_t facet_count) : out_(sink, core::BinaryStlSize(facet_count)) {}
  /// A whole file: also a header of `header_size` bytes, cut at 80 or filled up with zeros, and the count. In
  /// one block with the records, so that the file is written in whole blocks from its start.
  FacetWriter(core::ByteSink& sink, size_t facet_count, const void* header, size_t header_size)
      : FacetWriter(sink, facet_count) {
    WriteHead(header, header_size, uint32_t(facet_count));
  }

  void WriteHead(const void* header, size_t header_size, uint32_t facet_count) {
    unsigned char head[core::kStlHeadSize] = {};
    std::memcpy(head, header, std::min(header_size, core::kStlHeaderSize));
    StoreLittle32(head + core::kStlHeaderSize, facet_count);
    out_.Write(head, sizeof head);
  }
  /// Of any numbers; those that are not one are written as CanonicalNan has them.
  void Add(const VECTOR& n, const float a[3], const float b[3], const float c[3]) {
    const float normal[3] = {n.x, n.y, n.z};
    unsigned char* record = out_.next();
    for (const float* const numbers : {normal, a, b, c}) {
      for (int i = 0; i < 3; ++i, record += sizeof(float)) {
        StoreLittleFloat(record, CanonicalNan(numbers[i]));
      }
    }
    StoreLittle16(record, 0);
    out_.Advance(core::kStlFacetSize);
  }
  /// Of numbers that CanonicalNan leaves as they are, corners with room behind them for a fourth one: fewer
  /// and wider steps.
  void AddPadded(const PbVec3f& normal, const float a[4], const float b[4], const float c[4],
                 uint16_t attribute) {
    unsigned char* const record = out_.next();
    std::memcpy(record, normal.data(), 12);
    std::memcpy(record + 12, a, 16);
    std::memcpy(record + 24, b, 16);
    std::memcpy(record + 36, c, 16);
    WordsToHostOrder(record, 12);
    StoreLittle16(record + 48, attribute);
    out_.Advance(core::kStlFacetSize);
  }
  /// Hands everything to the sink.
  void Flush() { out_.Flush(); }

 private:
  BlockWriter out_;
};

}  // namespace trq::detail
