#include "geometry/facet_file.h"

#include <cstddef>
#include <cstring>

namespace trq::detail {
namespace {

constexpr std::size_t kRecordSize = 50;
constexpr std::size_t kBlock = kRecordSize * 1024;

#if defined(__BYTE_ORDER__)
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "floats are written as they lie in memory");
#endif

}  // namespace

FacetWriter::FacetWriter(std::FILE* f) : file_(f) { bytes_.reserve(kBlock); }

FacetWriter::~FacetWriter() { Flush(); }

void FacetWriter::Add(const float normal[3], const float a[3], const float b[3], const float c[3]) {
  if (bytes_.size() + kRecordSize > kBlock) Flush();
  const std::size_t start = bytes_.size();
  bytes_.resize(start + kRecordSize);  // the attribute word at its end stays zero
  unsigned char* out = bytes_.data() + start;
  for (const float* triple : {normal, a, b, c}) {
    std::memcpy(out, triple, 12);
    out += 12;
  }
}

void FacetWriter::Flush() {
  if (!bytes_.empty()) std::fwrite(bytes_.data(), 1, bytes_.size(), file_);
  bytes_.clear();
}

}  // namespace trq::detail
