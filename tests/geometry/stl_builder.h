/// Bytes of STL files for tests, without the library.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/byte_builder.h"

namespace test_support {

struct StlFacet {
  float corners[3][3];
  unsigned attribute = 0;
  float normal[3] = {0, 0, 0};
};

/// One solid; `claimed` is the count that the file announces, by default the true one.
inline std::string BinaryStl(const std::vector<StlFacet>& facets, std::string_view header = "a test",
                             int64_t claimed = -1) {
  ByteBuilder out;
  out.Text(header, 80).U32(static_cast<uint32_t>(claimed < 0 ? int64_t(facets.size()) : claimed));
  for (const StlFacet& facet : facets) {
    for (const float n : facet.normal) out.F32(n);
    for (const auto& corner : facet.corners) {
      for (const float c : corner) out.F32(c);
    }
    out.U16(facet.attribute);
  }
  return out.bytes();
}

inline std::string AsciiStl(const std::vector<StlFacet>& facets) {
  std::string text = "solid test\n";
  for (const StlFacet& facet : facets) {
    text += "  facet normal 0 0 0\n    outer loop\n";
    for (const auto& corner : facet.corners) {
      char line[100];
      std::snprintf(line, sizeof line, "      vertex %.9g %.9g %.9g\n", corner[0], corner[1], corner[2]);
      text += line;
    }
    text += "    endloop\n  endfacet\n";
  }
  return text + "endsolid test\n";
}

/// A closed tetrahedron: the corner at (x, y, z) and one step of 1 along each axis; outward.
inline std::vector<StlFacet> TetrahedronFacets(float x = 0, float y = 0, float z = 0) {
  const float o[3] = {x, y, z};
  const float a[3] = {x + 1, y, z};
  const float b[3] = {x, y + 1, z};
  const float c[3] = {x, y, z + 1};
  const auto facet = [](const float* p, const float* q, const float* r) {
    return StlFacet{{{p[0], p[1], p[2]}, {q[0], q[1], q[2]}, {r[0], r[1], r[2]}}, 0, {0, 0, 0}};
  };
  return {facet(o, b, a), facet(o, a, c), facet(o, c, b), facet(a, b, c)};
}

}  // namespace test_support
