/// Facet soups for the STL benchmarks, and the STL files they make.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "trq/geometry.h"

namespace bench {

using Point = std::array<float, 3>;
using Corners = std::vector<Point>;  ///< three a facet

inline void AddQuad(Corners& out, const Point& a, const Point& b, const Point& c, const Point& d) {
  out.insert(out.end(), {a, b, c, a, c, d});
}

/// A closed sphere of about `facets` facets, radius 50.
inline Corners Sphere(int facets) {
  const double kPi = 3.14159265358979323846;
  const int stacks = static_cast<int>(std::sqrt(facets / 4.0)) + 1;
  const int slices = 2 * stacks;
  const auto at = [&](int i, int j) {
    const double theta = kPi * i / stacks;
    const double phi = 2 * kPi * (j % slices) / slices;
    const double ring = i == 0 || i == stacks ? 0 : std::sin(theta);
    return Point{static_cast<float>(50 * ring * std::cos(phi)), static_cast<float>(50 * ring * std::sin(phi)),
                 static_cast<float>(50 * std::cos(theta))};
  };
  Corners out;
  out.reserve(static_cast<std::size_t>(facets) * 3 + 64);
  for (int i = 0; i < stacks; ++i) {
    for (int j = 0; j < slices; ++j) {
      if (i > 0) out.insert(out.end(), {at(i, j), at(i + 1, j), at(i, j + 1)});
      if (i < stacks - 1) out.insert(out.end(), {at(i, j + 1), at(i + 1, j), at(i + 1, j + 1)});
    }
  }
  return out;
}

/// A flat square plate in the x-z plane.
inline Corners Plate(int facets, double size) {
  const int n = static_cast<int>(std::sqrt(facets / 2.0));
  const auto at = [&](int i, int j) {
    return Point{static_cast<float>(size * i / n), 1.5f, static_cast<float>(size * j / n)};
  };
  Corners out;
  out.reserve(static_cast<std::size_t>(facets) * 3);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) AddQuad(out, at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1));
  }
  return out;
}

/// A gyroid of at least `facets` facets in a cube of 60, by marching through tetrahedra; cut off at the
/// number. `closed`: about as many facets instead, of which those at the cube's sides close it.
inline Corners Gyroid(int facets, bool closed = false) {
  const double kPi = 3.14159265358979323846;
  // Three periods make about 13 facets a grid square of one face.
  const int n = static_cast<int>(std::sqrt(facets / (closed ? 107.0 : 12.0))) + 2;
  const double period = 2 * kPi * 3 / n;
  const auto value = [&](int x, int y, int z) {
    if (closed && (std::min({x, y, z}) == 0 || std::max({x, y, z}) == n)) return 1.0;
    const double a = x * period, b = y * period, c = z * period;
    return std::sin(a) * std::cos(b) + std::sin(b) * std::cos(c) + std::sin(c) * std::cos(a) + 1e-7;
  };
  struct Node {
    int x, y, z;
    double v;
  };
  Corners out;
  const auto cut = [&](Node a, Node b) {
    // The same two nodes give the same bits whichever tetrahedron asks.
    if (std::make_pair(a.z, std::make_pair(a.y, a.x)) > std::make_pair(b.z, std::make_pair(b.y, b.x)))
      std::swap(a, b);
    const double t = a.v / (a.v - b.v);
    return Point{static_cast<float>((a.x + t * (b.x - a.x)) * 60 / n),
                 static_cast<float>((a.y + t * (b.y - a.y)) * 60 / n),
                 static_cast<float>((a.z + t * (b.z - a.z)) * 60 / n)};
  };
  static const int kTetrahedra[6][4] = {{0, 1, 3, 7}, {0, 3, 2, 7}, {0, 2, 6, 7},
                                        {0, 6, 4, 7}, {0, 4, 5, 7}, {0, 5, 1, 7}};
  for (int z = 0; z < n; ++z) {
    for (int y = 0; y < n; ++y) {
      for (int x = 0; x < n; ++x) {
        Node node[8];
        for (int i = 0; i < 8; ++i) {
          node[i] = {x + (i & 1), y + (i >> 1 & 1), z + (i >> 2), 0};
          node[i].v = value(node[i].x, node[i].y, node[i].z);
        }
        for (const auto& tetrahedron : kTetrahedra) {
          Node in[4], outside[4];
          int ins = 0, outs = 0;
          for (const int i : tetrahedron) (node[i].v < 0 ? in[ins++] : outside[outs++]) = node[i];
          if (ins == 1)
            out.insert(out.end(), {cut(in[0], outside[0]), cut(in[0], outside[1]), cut(in[0], outside[2])});
          if (ins == 3)
            out.insert(out.end(), {cut(in[0], outside[0]), cut(in[1], outside[0]), cut(in[2], outside[0])});
          if (ins == 2)
            AddQuad(out, cut(in[0], outside[0]), cut(in[0], outside[1]), cut(in[1], outside[1]),
                    cut(in[1], outside[0]));
        }
      }
    }
  }
  if (!closed && out.size() > static_cast<std::size_t>(facets) * 3)
    out.resize(static_cast<std::size_t>(facets) * 3);
  return out;
}

/// A gyroid whose facets all face where the field grows: Gyroid leaves that open.
inline Corners FacingOut(Corners corners) {
  const double turns = 2 * 3.14159265358979323846 * 3 / 60;
  for (std::size_t i = 0; i < corners.size(); i += 3) {
    const Point &a = corners[i], &b = corners[i + 1], &c = corners[i + 2];
    double u[3], v[3], at[3];
    for (std::size_t k = 0; k < 3; ++k) {
      u[k] = double(b[k]) - double(a[k]);
      v[k] = double(c[k]) - double(a[k]);
      at[k] = (double(a[k]) + double(b[k]) + double(c[k])) / 3 * turns;
    }
    double along = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      const std::size_t next = (k + 1) % 3, last = (k + 2) % 3;
      const double slope = std::cos(at[k]) * std::cos(at[next]) - std::sin(at[last]) * std::sin(at[k]);
      along += (u[next] * v[last] - u[last] * v[next]) * slope;
    }
    if (along < 0) std::swap(corners[i + 1], corners[i + 2]);
  }
  return corners;
}

/// Four facets for each, whose corners are its corners and the middles of its edges.
inline Corners Refined(const Corners& corners) {
  const auto middle = [](const Point& a, const Point& b) {
    Point point;
    for (std::size_t k = 0; k < 3; ++k) point[k] = static_cast<float>((double(a[k]) + double(b[k])) / 2);
    return point;
  };
  Corners out;
  out.reserve(4 * corners.size());
  for (std::size_t i = 0; i + 2 < corners.size(); i += 3) {
    const Point &a = corners[i], &b = corners[i + 1], &c = corners[i + 2];
    const Point ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
    out.insert(out.end(), {a, ab, ca, ab, b, bc, ca, bc, c, ab, bc, ca});
  }
  return out;
}

inline Corners Shuffled(Corners corners) {
  std::mt19937 random(7);
  for (std::size_t i = corners.size() / 3; i > 1; --i) {
    const std::size_t j = random() % i;
    for (std::size_t k = 0; k < 3; ++k) std::swap(corners[3 * (i - 1) + k], corners[3 * j + k]);
  }
  return corners;
}

inline Corners Jittered(Corners corners, float by) {
  std::mt19937 random(8);
  std::uniform_real_distribution<float> offset(-by, by);
  for (Point& p : corners) {
    for (float& c : p) c += offset(random);
  }
  return corners;
}

/// A file that goes away with its object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& name)
      : path_((std::filesystem::temp_directory_path() / ("trq-bench-" + name)).string()) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::remove(path_.c_str()); }
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

inline void WriteBytes(const TemporaryFile& file, const std::string& bytes) {
  std::FILE* const f = std::fopen(file.path(), "wb");
  if (!f || std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size())
    throw std::runtime_error("cannot write a benchmark file");
  std::fclose(f);
}

inline std::string BinaryBytes(const Corners& corners) {
  const uint32_t count = static_cast<uint32_t>(corners.size() / 3);
  std::string bytes(84 + std::size_t{50} * count, '\0');
  std::memcpy(bytes.data() + 80, &count, sizeof count);
  for (std::size_t i = 0; i < count; ++i) std::memcpy(&bytes[84 + 50 * i + 12], &corners[3 * i], 36);
  return bytes;
}

/// The corners as a binary STL file has them, nothing merged.
inline Corners CornersOfBinary(const char* path) {
  std::FILE* const f = std::fopen(path, "rb");
  if (!f) throw std::runtime_error("cannot read the STL file");
  std::string bytes(84, '\0');
  uint32_t count = 0;
  bool read = std::fread(bytes.data(), 1, 84, f) == 84;
  if (read) {
    std::memcpy(&count, bytes.data() + 80, sizeof count);
    bytes.resize(std::size_t{50} * count);
    read = std::fread(bytes.data(), 1, bytes.size(), f) == bytes.size();
  }
  std::fclose(f);
  if (!read) throw std::runtime_error("not a binary STL file");
  Corners corners(std::size_t{3} * count);
  for (std::size_t i = 0; i < count; ++i) std::memcpy(&corners[3 * i], &bytes[50 * i + 12], 36);
  return corners;
}

/// The sphere of about `facets` facets as the library imports it, with normals; one a program.
inline CTL& LoadedSphere(int facets) {
  static CTL* const mesh = [facets] {
    const TemporaryFile file("loaded-sphere");
    WriteBytes(file, BinaryBytes(Sphere(facets)));
    CTL* const loaded = new CTL;
    std::FILE* const f = std::fopen(file.path(), "rb");
    int accept_partial = 0;
    if (!f || loaded->LoadSTLFile(f, trq::units::kMillimetre, &accept_partial, 0, 0, 0) != 0)
      throw std::runtime_error("cannot load a benchmark file");
    std::fclose(f);
    return loaded;
  }();
  return *mesh;
}

inline std::string AsciiBytes(const Corners& corners) {
  std::string bytes = "solid benchmark\n";
  char line[100];
  for (std::size_t i = 0; i < corners.size(); i += 3) {
    bytes += "  facet normal 0.000000e+00 0.000000e+00 1.000000e+00\n    outer loop\n";
    for (std::size_t k = 0; k < 3; ++k) {
      const Point& p = corners[i + k];
      std::snprintf(line, sizeof line, "      vertex   %e %e %e\n", static_cast<double>(p[0]),
                    static_cast<double>(p[1]), static_cast<double>(p[2]));
      bytes += line;
    }
    bytes += "    endloop\n  endfacet\n";
  }
  return bytes + "endsolid benchmark\n";
}

}  // namespace bench
