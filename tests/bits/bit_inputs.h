/// What the bit probe and its literal forms share: inputs made of integers alone, so that no compiler and no
/// C library has a say in them, and digests of what comes out.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "trq/geometry.h"
#include "trq/host.h"

namespace bits {

inline float FromBits(uint32_t bits) {
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

inline uint32_t BitsOf(float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

/// Numbers that follow from the seed (SplitMix64). Compilers choose the order of arguments and operands: who
/// needs two numbers asks in two steps.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t Next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return z ^ z >> 31;
  }
  /// 0..n - 1.
  int Below(int n) { return static_cast<int>(Next() % static_cast<uint64_t>(n)); }
  /// All mantissas and both signs; sizes from 2^low up to 2^(high + 1).
  float Float(int low = -5, int high = 6) {
    const uint64_t bits = Next();
    const uint32_t exponent = static_cast<uint32_t>(127 + low + Below(high - low + 1));
    return FromBits(static_cast<uint32_t>(bits >> 63) << 31 | exponent << 23 |
                    (static_cast<uint32_t>(bits) & 0x7FFFFF));
  }
  PbVec2f PlanePoint(int low = -5, int high = 6) {
    const float x = Float(low, high);
    return PbVec2f(x, Float(low, high));
  }
  PbVec3f Point(int low = -5, int high = 6) {
    const float x = Float(low, high), y = Float(low, high);
    return PbVec3f(x, y, Float(low, high));
  }

 private:
  uint64_t state_;
};

/// FNV-1a over what an operation returned, changed or wrote.
class Digest {
 public:
  void Bytes(const void* bytes, std::size_t size) {
    const unsigned char* const p = static_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < size; ++i) value_ = (value_ ^ p[i]) * 0x100000001B3u;
  }
  /// A number, its lowest byte first on every machine.
  template <class T>
  void Value(T v) {
    unsigned char bytes[sizeof v];
    std::memcpy(bytes, &v, sizeof v);
    const uint16_t one = 1;
    unsigned char first;
    std::memcpy(&first, &one, 1);
    if (first == 0) std::reverse(bytes, bytes + sizeof v);
    Bytes(bytes, sizeof v);
  }
  void Int(int64_t v) { Value(v); }
  /// Numbers of 32 bits as they lie in memory, as a file has them.
  void Words(const void* words, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      uint32_t word;
      std::memcpy(&word, static_cast<const char*>(words) + 4 * i, 4);
      Value(word);
    }
  }
  /// In memory one NaN is as good as another.
  void Float(float v) { Value(v == v ? BitsOf(v) : 0x7FC00000u); }
  void Floats(const float* v, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) Float(v[i]);
  }
  void Point(const PbVec3f& p) { Floats(p.data(), 3); }
  void Vector(const VECTOR& v) {
    Float(v.x);
    Float(v.y);
    Float(v.z);
  }
  /// A file as it lies on disk, from a byte on: the stamps in front of some name computer and user.
  void File(const std::string& path, std::size_t from = 0) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("no file " + path);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    Bytes(bytes.data() + from, bytes.size() - from);
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xCBF29CE484222325u;
};

/// An operation and its variants (units 0 and 1, axes); each prints a line "digest name/variant".
struct Operation {
  const char* name;
  int variants;
  void (*run)(Digest& digest, int variant);
};

/// Runs and prints them in an empty folder, since some write files of fixed names.
template <std::size_t kCount>
int PrintInScratchFolder(const Operation (&operations)[kCount]) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::random_device random;
  const auto folder = std::filesystem::temp_directory_path() / ("bits-" + std::to_string(random()));
  if (!std::filesystem::create_directory(folder)) return 1;
  std::filesystem::current_path(folder);
  for (const Operation& operation : operations) {
    for (int variant = 0; variant < operation.variants; ++variant) {
      Digest digest;
      operation.run(digest, variant);
      std::printf("%016llx %s/%d\n", static_cast<unsigned long long>(digest.value()), operation.name,
                  variant);
    }
  }
  std::filesystem::current_path(before);
  std::filesystem::remove_all(folder);
  return 0;
}

// ---------------------------------------------------------------------------------------------------------
// Meshes

inline CTL MeshOf(const std::vector<PbVec3f>& vertices, const std::vector<R_INT4>& triangles) {
  CTL mesh;
  mesh.vertices_.reset(vertices.size() + 1);
  for (std::size_t i = 0; i < vertices.size(); ++i) mesh.vertices_[i] = vertices[i];
  mesh.triangles_.reset(triangles.size());
  for (std::size_t i = 0; i < triangles.size(); ++i) mesh.triangles_[i] = triangles[i];
  mesh.header.num_vertices = static_cast<int32_t>(vertices.size());
  mesh.header.num_triangles = static_cast<int32_t>(triangles.size());
  mesh.SetUnits(trq::units::kMillimetre);
  return mesh;
}

/// Triangles in every direction over vertices of every mantissa, with normals of their own.
inline CTL Soup(uint64_t seed, int vertex_count = 3000, int triangle_count = 6000) {
  Random random(seed);
  std::vector<PbVec3f> vertices;
  for (int i = 0; i < vertex_count; ++i) vertices.push_back(random.Point());
  std::vector<R_INT4> triangles;
  for (int i = 0; i < triangle_count; ++i) {
    const int a = random.Below(vertex_count), b = random.Below(vertex_count), c = random.Below(vertex_count);
    triangles.emplace_back(a, b, c);
    triangles.back()[3] = random.Below(3);
  }
  CTL mesh = MeshOf(vertices, triangles);
  mesh.normals_.reset(triangles.size());
  for (std::size_t i = 0; i < triangles.size(); ++i) {
    const PbVec3f n = random.Point(-3, 0);
    mesh.normals_[i] = VECTOR(n[0], n[1], n[2]);
  }
  return mesh;
}

/// A closed box of n by n by n cells, outward, its vertices off their lattice by some hundredths of a cell.
inline CTL DentedBox(uint64_t seed, int n, float cell = 1.5f) {
  Random random(seed);
  std::vector<PbVec3f> vertices;
  std::vector<int> number(static_cast<std::size_t>((n + 1) * (n + 1) * (n + 1)), -1);
  const auto vertex = [&](const int at[3]) {
    int& index = number[static_cast<std::size_t>((at[0] * (n + 1) + at[1]) * (n + 1) + at[2])];
    if (index < 0) {
      index = static_cast<int>(vertices.size());
      PbVec3f p;
      for (int k = 0; k < 3; ++k) p[k] = static_cast<float>(at[k]) * cell + random.Float(-8, -5);
      vertices.push_back(p);
    }
    return index;
  };
  std::vector<R_INT4> triangles;
  for (int axis = 0; axis < 3; ++axis) {
    for (int side = 0; side < 2; ++side) {
      for (int i = 0; i < n * n; ++i) {
        int corner[4];
        for (int k = 0; k < 4; ++k) {
          int at[3];
          at[axis] = side * n;
          at[(axis + 1) % 3] = i / n + (k == 1 || k == 2);
          at[(axis + 2) % 3] = i % n + (k >= 2);
          corner[k] = vertex(at);
        }
        if (side == 0) std::swap(corner[1], corner[3]);
        triangles.emplace_back(corner[0], corner[1], corner[2]);
        triangles.emplace_back(corner[0], corner[2], corner[3]);
      }
    }
  }
  return MeshOf(vertices, triangles);
}

/// A box so flat that what is pushed inward from above comes out below.
inline CTL ThinBox(uint64_t seed) {
  CTL mesh = DentedBox(seed, 7);
  for (int i = 0; i < mesh.num_vertices(); ++i) mesh.vertices()[i][2] *= 0x1p-4f;
  mesh.Calculate_normals();
  mesh.offset_limit = 2.3f;
  return mesh;
}

inline void AddMesh(Digest& digest, const CTL& mesh) {
  digest.Int(mesh.num_vertices());
  digest.Int(mesh.num_triangles());
  for (int i = 0; i < mesh.num_vertices(); ++i) digest.Point(mesh.vertices()[i]);
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 4; ++k) digest.Value(mesh.triangles()[i][k]);
  }
}

inline void AddNormals(Digest& digest, const CTL& mesh) {
  for (std::size_t i = 0; i < mesh.normals_.size(); ++i) digest.Vector(mesh.normals_[i]);
}

inline void AddBox(Digest& digest, CTL& mesh) {
  float p[6];
  mesh.get_min(p, p + 1, p + 2);
  mesh.get_max(p + 3, p + 4, p + 5);
  digest.Floats(p, 6);
}

inline void AddPlacement(Digest& digest, const COMPONENT_INFO& info) { digest.Floats(info.placement(), 30); }

/// A placement of every mantissa: a turn as good as any, stretched a little, and a move.
struct Matrix {
  explicit Matrix(uint64_t seed) {
    Random random(seed);
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 4; ++j) {
        m[i][j] = j == 3 ? random.Float(0, 5) : random.Float(-4, -1);
        if (random.Below(8) == 0) m[i][j] *= 0;  // of either sign
      }
    }
    for (int i = 0; i < 3; ++i) m[i][i] += 1;
  }
  float m[4][4] = {{}, {}, {}, {0, 0, 0, 1}};
};

/// The record of a part placed by that matrix.
inline COMPONENT_INFO PlacedPart(uint64_t seed, int triangle_count) {
  COMPONENT_INFO info;
  const Matrix matrix(seed);
  std::memcpy(info.placement(), matrix.m, sizeof matrix.m);
  Random random(seed + 1);
  for (int i = 16; i < 30; ++i) info.placement()[i] = random.Float();
  info.word(2) = triangle_count;
  return info;
}

/// An ASCII STL file of few places, so that corners meet; now and then with many digits and an exponent.
inline std::string AsciiStl() {
  Random random(25);
  std::string text = "solid a\n";
  for (int i = 0; i < 4000; ++i) {
    text += "facet normal 0 0 1\n outer loop\n";
    for (int k = 0; k < 3; ++k) {
      text += "vertex";
      for (int j = 0; j < 3; ++j) {
        text += random.Below(2) ? " -" : " ";
        text += std::to_string(random.Below(20)) + ".";
        text += random.Below(4) ? std::to_string(random.Below(3)) : std::to_string(random.Next());
        if (random.Below(4) == 0) text += "e" + std::to_string(random.Below(13) - 6);
      }
      text += "\n";
    }
    text += "endloop\nendfacet\n";
  }
  return text + "endsolid a\n";
}

/// The corners of facets that meet within kMeeting, or do not quite.
constexpr float kMeeting = 0.0017f;
inline std::vector<PbVec3f> NearlyMeeting() {
  Random random(26);
  std::vector<PbVec3f> corners(18000);
  for (PbVec3f& corner : corners) {
    for (int k = 0; k < 3; ++k) {
      corner[k] = static_cast<float>(random.Below(12));
      corner[k] += random.Float(-12, -9);
    }
  }
  return corners;
}

inline void FillContours(slc& contours) {
  Random random(40);
  std::strcpy(contours.header_text, "-UNIT MM");
  contours.header_length = 8;
  for (int i = 0; i < 3; ++i) contours.table.push_back({random.Float(), random.Float(), random.Float(), 0});
  contours.table_count = 3;
  for (int i = 0; i < 40; ++i) {
    contours.layers.emplace_back(random.Float());
    for (int k = i % 4; k > 0; --k) {
      const uint32_t count = static_cast<uint32_t>(random.Below(60));
      float* const points = contours.layers.back().AddBoundary(count, 0);
      for (uint32_t j = 0; j < 2 * count; ++j) points[j] = random.Float();
    }
  }
  contours.layers.push_back(trq::SlcLayer::Terminator(random.Float()));
}

/// Three parts in many copies, placed: where they go.
template <class GridEval>
void Place(Digest& digest, GridEval& grid) {
  std::srand(1);                // for the literal form
  trq::SeededRandom random(1);  // what rand() draws is the system's affair
  trq::SetRandomSource(trq::SeededRandom::Draw, &random);
  for (int part = 0; part < 3; ++part) {
    CTL mesh = DentedBox(static_cast<uint64_t>(part), 3, 3.0f + static_cast<float>(part));
    mesh.scale(1, 2.5f, 1);
    float low[3];
    mesh.get_min(low, low + 1, low + 2);
    mesh.translate(-low[0], -low[1], -low[2]);
    grid.add(mesh, 2 + part);
  }
  digest.Int(grid.find_placement());
  trq::SetRandomSource(nullptr, nullptr);
  for (int part = 0; part < 3; ++part) {
    for (int copy = 0; copy < 2 + part; ++copy) {
      digest.Float(grid.x_shift(part, copy));
      digest.Float(grid.y_shift(part, copy));
      digest.Float(grid.z_rot(part, copy));
    }
  }
}

/// A segment aimed at an edge of a triangle, or past it by about as much as is still taken for a hit: what is
/// found hangs on the last bit.
struct Aimed {
  explicit Aimed(Random& random) {
    for (PbVec3f& corner : corners) corner = random.Point(-2, 3);
    p = random.Point(-2, 3);
    const int first = random.Below(3);
    const float share = static_cast<float>(random.Below(1 << 20)) * 0x1p-20f;
    PbVec3f on_edge = corners[(first + 1) % 3];
    on_edge -= corners[first];
    on_edge *= share;
    on_edge += corners[first];
    PbVec3f past = on_edge;
    past -= corners[(first + 2) % 3];
    past *= static_cast<float>(random.Below(1 << 10)) * 0x1p-25f;
    on_edge += past;
    q = on_edge;
    q -= p;
    q *= 1.25f;
    q += p;
    edge = VECTOR(on_edge[0], on_edge[1], on_edge[2]);
  }
  PbVec3f corners[3];
  PbVec3f p, q;
  VECTOR edge;
};

constexpr int kAimed = 200000;

}  // namespace bits
