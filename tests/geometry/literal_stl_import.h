/// The literal forms of merging corners and of lexing ASCII STL: what the library's faster forms must equal.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "trq/foundation.h"

namespace literal {

inline int32_t HashWord(double v) {
  if (std::isnan(v) || v < -0x1p63 || v >= 0x1p63) return 0;
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<int64_t>(v) & 0xFFFFFFFF));
}

inline int32_t VertexHash(const PbVec3f& p, float tolerance) {
  const double t = tolerance;
  const double ix = HashWord(p[0] / t);
  const double iy = HashWord(p[1] / t);
  const double iz = HashWord(p[2] / t);
  const int32_t hash = HashWord((iz * t * 68.265 + iy * t * 24343.0) + ix * t * 31.3);
  return hash == INT32_MIN ? 0 : std::abs(hash);
}

inline bool SameVertex(const PbVec3f& a, const PbVec3f& b, float tolerance) {
  for (int k = 0; k < 3; ++k) {
    if (!(std::fabs(double(a[k]) - double(b[k])) < double(tolerance))) return false;
  }
  return true;
}

struct Merged {
  std::vector<PbVec3f> vertices;
  std::vector<int32_t> index;  ///< one a point
};

/// Chains of vertex numbers, as the chained hash table holds them: a bucket's first vertex stays at its head,
/// later ones stand behind it, the newest first.
class Chains {
 public:
  Chains(float tolerance, int bucket_count, const std::vector<PbVec3f>& vertices)
      : tolerance_(tolerance), vertices_(vertices), heads_(static_cast<std::size_t>(bucket_count), -1) {}

  int32_t Find(const PbVec3f& p) const {
    for (int32_t v = heads_[Bucket(p)]; v >= 0; v = next_[static_cast<std::size_t>(v)]) {
      if (SameVertex(vertices_[static_cast<std::size_t>(v)], p, tolerance_)) return v;
    }
    return -1;
  }
  /// Adds the vertex with the next number.
  void Add(const PbVec3f& p) {
    const int32_t number = static_cast<int32_t>(next_.size());
    int32_t& head = heads_[Bucket(p)];
    next_.push_back(-1);
    if (head < 0) {
      head = number;
    } else {
      next_.back() = next_[static_cast<std::size_t>(head)];
      next_[static_cast<std::size_t>(head)] = number;
    }
  }

 private:
  std::size_t Bucket(const PbVec3f& p) const {
    return static_cast<std::size_t>(VertexHash(p, tolerance_)) % heads_.size();
  }

  float tolerance_;
  const std::vector<PbVec3f>& vertices_;
  std::vector<int32_t> heads_;
  std::vector<int32_t> next_;
};

inline Merged Merge(const std::vector<PbVec3f>& points, float tolerance, int bucket_count) {
  Merged merged;
  Chains chains(tolerance, bucket_count, merged.vertices);
  std::vector<int32_t> made(points.size(), -1);
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (chains.Find(points[i]) >= 0) continue;
    made[i] = static_cast<int32_t>(merged.vertices.size());
    merged.vertices.push_back(points[i]);
    chains.Add(points[i]);
  }
  for (std::size_t i = 0; i < points.size(); ++i) {
    const int32_t found = chains.Find(points[i]);
    merged.index.push_back(found >= 0 ? found : made[i]);
  }
  return merged;
}

struct AsciiFacets {
  bool is_stl = false;
  std::vector<std::array<float, 9>> facets;
};

/// The text of the line without its trailing CR and LF; false at the end of the file.
inline bool ReadLine(std::FILE* f, std::string& line) {
  char buffer[1024];
  if (!std::fgets(buffer, sizeof buffer, f)) return false;
  line = buffer;
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return true;
}

/// Blanks alone separate; empty when there is no token.
inline std::string FirstToken(const std::string& line) {
  const std::size_t first = line.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return line.substr(first, line.find(' ', first) - first);
}

inline bool ReadNumber(const char*& p, float& value) {
  while (std::isspace(static_cast<unsigned char>(*p))) ++p;
  const char* start = p;
  if (*p == '+' || *p == '-') ++p;
  if (!std::isdigit(static_cast<unsigned char>(p[0])) &&
      !(p[0] == '.' && std::isdigit(static_cast<unsigned char>(p[1]))))
    return false;
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) return false;
  char* end = nullptr;
  value = std::strtof(start, &end);
  p = end;
  // An exponent letter that strtof left behind has no digits, unless it follows a whole exponent.
  if (*p != 'e' && *p != 'E') return true;
  return std::string(start, p).find_first_of("eE") != std::string::npos;
}

inline AsciiFacets ReadAscii(std::FILE* f) {
  AsciiFacets result;
  std::string line;
  if (!ReadLine(f, line) || FirstToken(line).empty()) return result;
  if (!ReadLine(f, line) || strcasecmp_j(FirstToken(line).c_str(), "facet") != 0) return result;
  while (ReadLine(f, line)) {
    if (strcasecmp_j(FirstToken(line).c_str(), "outer") != 0) continue;
    std::array<float, 9> facet;
    for (std::size_t corner = 0; corner < 3; ++corner) {
      if (!ReadLine(f, line)) return result;
      const char* p = line.c_str();
      while (std::isspace(static_cast<unsigned char>(*p))) ++p;
      if (*p == '\0') return result;
      while (*p != '\0' && !std::isspace(static_cast<unsigned char>(*p))) ++p;
      for (std::size_t k = 0; k < 3; ++k) {
        if (!ReadNumber(p, facet[3 * corner + k])) return result;
      }
    }
    result.facets.push_back(facet);
  }
  result.is_stl = true;
  return result;
}

}  // namespace literal
