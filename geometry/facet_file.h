/// The records of binary STL files, written in blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "foundation/block_writer.h"
#include "foundation/canonical_nan.h"
#include "foundation/little_endian.h"
#include "trq/foundation.h"

namespace trq::detail {

#if defined(__BYTE_ORDER__)
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "floats are written as they lie in memory");
#endif

class FacetWriter {
 public:
  static constexpr std::size_t kRecordSize = 50;

  /// The stream stays the caller's, and open until this is gone; what is left is written then. A failure
  /// stays on record in the stream.
  FacetWriter(std::FILE* f, std::size_t facet_count) : out_(f, facet_count * kRecordSize) {}

  /// What stands before the records; in their block, so that the file is written in whole blocks from its
  /// start.
  void WriteHead(const void* bytes, std::size_t size) { out_.Write(bytes, size); }
  /// Of any numbers; those that are not one are written as CanonicalNan has them.
  void Add(const float normal[3], const float a[3], const float b[3], const float c[3]) {
    unsigned char* record = out_.next();
    for (const float* const numbers : {normal, a, b, c}) {
      for (int i = 0; i < 3; ++i, record += sizeof(float)) {
        const float written = CanonicalNan(numbers[i]);
        std::memcpy(record, &written, sizeof written);
      }
    }
    StoreLittle16(record, 0);
    out_.Advance(kRecordSize);
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
    StoreLittle16(record + 48, attribute);
    out_.Advance(kRecordSize);
  }
  /// Hands everything to the stream, which may be closed then.
  void Flush() { out_.Flush(); }

 private:
  BlockWriter out_;
};

}  // namespace trq::detail
