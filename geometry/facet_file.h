/// Binary STL files of facets that the mesh's own export does not write: a head made by the caller, then
/// records with attribute 0, in blocks.
#pragma once

#include <cstdio>
#include <vector>

#include "trq/foundation.h"

namespace trq::detail {

class FacetWriter {
 public:
  /// The stream stays the caller's, and open until this is gone.
  explicit FacetWriter(std::FILE* f);
  FacetWriter(const FacetWriter&) = delete;
  FacetWriter& operator=(const FacetWriter&) = delete;
  /// Writes what is left. A failure stays on record in the stream.
  ~FacetWriter();
  void Add(const float normal[3], const float a[3], const float b[3], const float c[3]);

 private:
  void Flush();

  std::FILE* file_;
  std::vector<unsigned char> bytes_;
};

}  // namespace trq::detail
