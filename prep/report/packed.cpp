#include "prep/report/packed.h"

#include <meshoptimizer.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "trqprep/base64.h"

namespace trqprep {
namespace {

constexpr int kSteps = 65535;  // of a box along an axis
constexpr unsigned kNone = std::numeric_limits<unsigned>::max();
// The simplifier takes time as the square of the facets of a vertex.
constexpr unsigned kMostFacetsOfVertex = 5000;

using Place = std::array<std::uint16_t, 3>;
using Facet = std::array<unsigned, 3>;

// Seven bits a byte, the lowest first; the highest bit says that more follow.
void Put(std::string& bytes, std::uint64_t number) {
  for (; number > 127; number >>= 7) bytes += static_cast<char>(128 | (number & 127));
  bytes += static_cast<char>(number);
}
// 0, -1, 1, -2, ... become 0, 1, 2, 3, ...
void PutSigned(std::string& bytes, std::int64_t number) {
  Put(bytes, number < 0 ? 2 * std::uint64_t(-(number + 1)) + 1 : 2 * std::uint64_t(number));
}

std::string Deflated(const std::string& bytes) {
  uLongf size = compressBound(uLong(bytes.size()));
  std::string packed(size, '\0');
  // Stated, so that the bytes do not follow a library's changing default.
  if (compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
                uLong(bytes.size()), 6) != Z_OK) {
    throw std::bad_alloc();
  }
  packed.resize(size);
  return Base64(packed);
}

std::uint16_t Step(double value, double min, double size) {
  return size > 0 ? std::uint16_t(std::round(std::clamp((value - min) / size, 0.0, 1.0) * kSteps)) : 0;
}

// Two zero bits between any two bits of a 16-bit number.
std::uint64_t Spread(std::uint64_t bits) {
  bits = (bits | bits << 16) & 0x0000FF0000FFull;
  bits = (bits | bits << 8) & 0x00F00F00F00Full;
  bits = (bits | bits << 4) & 0x0C30C30C30C3ull;
  return (bits | bits << 2) & 0x249249249249ull;
}
// Neighbours in this order are mostly neighbours in space (Morton).
std::uint64_t MortonCode(const Place& place) {
  return Spread(place[0]) | Spread(place[1]) << 1 | Spread(place[2]) << 2;
}

bool IsFinite(const PbVec3f& v) { return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]); }

struct Shape {
  std::vector<Place> places;  // by Morton code, each once
  std::vector<Facet> facets;
};

Shape Quantized(const CTL& mesh, PackedMesh& packed) {
  const auto count = std::size_t(mesh.num_vertices());
  std::vector<bool> used(count, false);
  std::vector<Facet> facets;
  facets.reserve(std::size_t(mesh.num_triangles()));
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    const R_INT4& t = mesh.triangles()[i];
    const Facet facet{unsigned(t[0]), unsigned(t[1]), unsigned(t[2])};
    const auto fits = [&](unsigned v) { return v < count && IsFinite(mesh.vertices()[v]); };
    if (!fits(facet[0]) || !fits(facet[1]) || !fits(facet[2])) continue;
    for (const unsigned v : facet) used[v] = true;
    facets.push_back(facet);
  }
  Box box;
  for (std::size_t v = 0; v < count; ++v) {
    if (used[v]) box.Add(PointOf(mesh.vertices()[v]));
  }
  if (box.Empty()) return {};
  packed.min = box.min;
  packed.size = box.Size();

  struct Coded {
    std::uint64_t code;
    unsigned vertex;
  };
  std::vector<Coded> order;
  std::vector<Place> place_of(count);
  for (std::size_t v = 0; v < count; ++v) {
    if (!used[v]) continue;
    const Point point = PointOf(mesh.vertices()[v]);
    for (std::size_t k = 0; k < 3; ++k) place_of[v][k] = Step(point[k], packed.min[k], packed.size[k]);
    order.push_back({MortonCode(place_of[v]), unsigned(v)});
  }
  std::sort(order.begin(), order.end(), [](const Coded& a, const Coded& b) {
    return a.code != b.code ? a.code < b.code : a.vertex < b.vertex;
  });
  Shape shape;
  std::vector<unsigned> number(count, kNone);
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i == 0 || order[i].code != order[i - 1].code) shape.places.push_back(place_of[order[i].vertex]);
    number[order[i].vertex] = unsigned(shape.places.size() - 1);
  }
  shape.facets.reserve(facets.size());
  for (Facet facet : facets) {
    for (unsigned& v : facet) v = number[v];
    if (facet[0] != facet[1] && facet[1] != facet[2] && facet[0] != facet[2]) shape.facets.push_back(facet);
  }
  return shape;
}

void Simplify(Shape& shape, std::size_t most, const Point& size) {
  std::vector<unsigned> indices;
  indices.reserve(3 * shape.facets.size());
  std::vector<unsigned> uses(shape.places.size(), 0);
  for (const Facet& facet : shape.facets) {
    for (const unsigned v : facet) {
      indices.push_back(v);
      ++uses[v];
    }
  }
  const double longest = std::max({size[0], size[1], size[2]});
  std::vector<float> positions;
  positions.reserve(3 * shape.places.size());
  for (const Place& place : shape.places) {
    for (std::size_t k = 0; k < 3; ++k) positions.push_back(float(place[k] * (size[k] / longest)));
  }
  std::vector<unsigned> result(indices.size());
  std::size_t left = indices.size();
  constexpr float kAnyError = std::numeric_limits<float>::max();
  if (*std::max_element(uses.begin(), uses.end()) <= kMostFacetsOfVertex) {
    left = meshopt_simplify(result.data(), indices.data(), indices.size(), positions.data(),
                            shape.places.size(), 3 * sizeof(float), 3 * most, kAnyError, 0, nullptr);
  }
  // Where the surface would have to change its kind, as that of many small bodies, points that lie close
  // together become one.
  if (left > 3 * (most + most / 10)) {
    left = meshopt_simplifySloppy(result.data(), indices.data(), indices.size(), positions.data(),
                                  shape.places.size(), 3 * sizeof(float), 3 * most, kAnyError, nullptr);
  }
  shape.facets.clear();
  for (std::size_t i = 0; i + 2 < left; i += 3) {
    shape.facets.push_back({result[i], result[i + 1], result[i + 2]});
  }
}

}  // namespace

PackedMesh PackMesh(const CTL& mesh, std::int64_t most) {
  PackedMesh packed;
  Shape shape = Quantized(mesh, packed);
  if (most > 0 && shape.facets.size() > std::size_t(most)) Simplify(shape, std::size_t(most), packed.size);

  // Facets in the order of their first corners, then vertices in the order in which facets name them.
  for (Facet& facet : shape.facets) {
    std::rotate(facet.begin(), std::min_element(facet.begin(), facet.end()), facet.end());
  }
  std::sort(shape.facets.begin(), shape.facets.end());
  std::vector<unsigned> number(shape.places.size(), kNone);
  std::vector<Place> places;
  places.reserve(shape.places.size());
  std::string indices;
  indices.reserve(4 * shape.facets.size());
  for (const Facet& facet : shape.facets) {
    for (const unsigned v : facet) {
      const auto next = unsigned(places.size());
      if (number[v] == kNone) {
        number[v] = next;
        places.push_back(shape.places[v]);
      }
      Put(indices, next - number[v]);
    }
  }
  std::string bytes;
  bytes.reserve(4 * places.size() + indices.size());
  for (std::size_t axis = 0; axis < 3; ++axis) {
    int before = 0;
    for (const Place& place : places) {
      PutSigned(bytes, place[axis] - before);
      before = place[axis];
    }
  }
  bytes += indices;
  packed.text = Deflated(bytes);
  packed.vertices = places.size();
  packed.facets = shape.facets.size();
  return packed;
}

std::uint64_t PointCount(const trq::core::Contours& contours) {
  std::uint64_t count = 0;
  for (const trq::SlcLayer& layer : contours.layers) {
    if (layer.is_terminator()) continue;
    for (const trq::SlcBoundary& boundary : layer.boundaries()) count += boundary.vertex_count;
  }
  return count;
}

PackedContours PackContours(const trq::core::Contours& contours, std::size_t step) {
  const auto at = [](const trq::SlcBoundary& boundary, std::size_t i) {
    return std::array<float, 2>{boundary.points[2 * i], boundary.points[2 * i + 1]};
  };
  PackedContours packed;
  Box box;
  std::vector<const trq::SlcLayer*> layers;
  for (std::size_t i = 0; i < contours.layers.size(); ++i) {
    const trq::SlcLayer& layer = contours.layers[i];
    if (layer.is_terminator() || i % step != 0 || !std::isfinite(layer.z)) continue;
    layers.push_back(&layer);
    for (const trq::SlcBoundary& boundary : layer.boundaries()) {
      for (std::size_t k = 0; k < boundary.vertex_count; ++k) {
        const auto [x, y] = at(boundary, k);
        if (std::isfinite(x) && std::isfinite(y)) box.Add(Point{x, y, layer.z});
      }
    }
  }
  packed.layers = layers.size();
  if (!box.Empty()) {
    packed.min = box.min;
    packed.size = box.Size();
  }
  std::string bytes;
  std::int64_t z_before = 0;
  std::array<int, 2> before{};
  for (const trq::SlcLayer* layer : layers) {
    const auto z = std::int64_t(std::round(std::clamp(double(layer->z), -1e9, 1e9) * 1e4));
    PutSigned(bytes, z - z_before);
    z_before = z;
    std::vector<std::vector<std::array<int, 2>>> loops;
    for (const trq::SlcBoundary& boundary : layer->boundaries()) {
      std::vector<std::array<int, 2>> loop;
      for (std::size_t k = 0; k < boundary.vertex_count; ++k) {
        const auto [x, y] = at(boundary, k);
        if (!std::isfinite(x) || !std::isfinite(y)) continue;
        const std::array<int, 2> place{Step(x, packed.min[0], packed.size[0]),
                                       Step(y, packed.min[1], packed.size[1])};
        if (loop.empty() || loop.back() != place) loop.push_back(place);
      }
      if (loop.size() > 2) loops.push_back(std::move(loop));
    }
    Put(bytes, loops.size());
    for (const auto& loop : loops) {
      Put(bytes, loop.size());
      for (const std::array<int, 2>& place : loop) {
        for (std::size_t k = 0; k < 2; ++k) PutSigned(bytes, place[k] - before[k]);
        before = place;
      }
    }
  }
  packed.text = Deflated(bytes);
  return packed;
}

}  // namespace trqprep
