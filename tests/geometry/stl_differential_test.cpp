// The library's merging and lexing against the literal forms in literal_stl_import.h, on generated input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include "geometry/stl_text.h"
#include "geometry/vertex_merge.h"
#include "tests/geometry/literal_stl_import.h"
#include "tests/support/meshes.h"
#include "tests/support/rounds.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"

namespace {

using Points = std::vector<PbVec3f>;
using Random = std::mt19937;

constexpr float kTolerance = 1e-4f;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

float Uniform(Random& random, double low, double high) {
  return static_cast<float>(std::uniform_real_distribution<double>(low, high)(random));
}

int Pick(Random& random, int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); }

PbVec3f RandomPoint(Random& random, double low, double high) {
  const float x = Uniform(random, low, high);
  const float y = Uniform(random, low, high);
  return PbVec3f(x, y, Uniform(random, low, high));
}

bool SameBits(const PbVec3f& a, const PbVec3f& b) {
  return std::memcmp(a.data(), b.data(), sizeof(PbVec3f)) == 0;
}

/// Merges the points in pieces of random length and compares with the literal form.
/// Returns the steps that it took.
std::size_t ExpectSameMerge(const Points& points, float tolerance, int bucket_count, Random& random) {
  const literal::Merged expected = literal::Merge(points, tolerance, bucket_count);
  Points vertices(points.size() + 1);
  std::vector<int32_t> answers(points.size());
  trq::detail::VertexMerger merger(tolerance, bucket_count, vertices.data());
  for (std::size_t done = 0; done < points.size();) {
    const std::size_t some = std::min(points.size() - done, static_cast<std::size_t>(1 + Pick(random, 600)));
    merger.Add(points.data() + done, some, answers.data() + done);
    done += some;
  }
  merger.Finish();
  EXPECT_EQ(static_cast<std::size_t>(merger.vertex_count()), expected.vertices.size());
  for (std::size_t i = 0; i < expected.vertices.size(); ++i)
    EXPECT_TRUE(SameBits(vertices[i], expected.vertices[i])) << "vertex " << i;
  for (std::size_t i = 0; i < points.size(); ++i)
    EXPECT_EQ(merger.VertexOf(answers[i]), expected.index[i]) << "point " << i;
  return merger.steps();
}

void ExpectSameMerge(const Points& corners, float tolerance, Random& random) {
  ExpectSameMerge(corners, tolerance, std::max(static_cast<int>(corners.size() / 3), 1), random);
}

Points CornersOf(const CTL& mesh) {
  Points corners;
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) corners.push_back(mesh.vertices()[mesh.triangles()[i][k]]);
  }
  return corners;
}

void ShuffleFacets(Points& corners, Random& random) {
  for (std::size_t i = corners.size() / 3; i > 1; --i) {
    const std::size_t j = static_cast<std::size_t>(Pick(random, static_cast<int>(i)));
    for (std::size_t k = 0; k < 3; ++k) std::swap(corners[3 * (i - 1) + k], corners[3 * j + k]);
  }
}

void Jitter(Points& corners, double by, Random& random) {
  for (PbVec3f& p : corners) {
    for (int k = 0; k < 3; ++k) p[k] = static_cast<float>(p[k] + Uniform(random, -by, by));
  }
}

void Map(Points& corners, const std::function<PbVec3f(const PbVec3f&)>& f) {
  for (PbVec3f& p : corners) p = f(p);
}

Points SpherePoints(float radius, int n, test_support::Point centre = {0, 0, 0}) {
  return CornersOf(test_support::Sphere(radius, n, n, centre));
}

// ---------------------------------------------------------------------------------------------------------

TEST(MergeDifferential, Spheres) {
  Random random(1);
  for (int round = 0; round < test_support::Rounds(3); ++round) {
    for (const float radius : {0.001f, 0.05f, 1.0f, 50.0f, 3000.0f}) {
      Points corners = SpherePoints(radius, 12 + Pick(random, 30), {Uniform(random, -9, 9), 0, 1});
      ExpectSameMerge(corners, kTolerance, random);
      ShuffleFacets(corners, random);
      ExpectSameMerge(corners, kTolerance, random);
    }
  }
}

TEST(MergeDifferential, FlatPlatesInEachAxisPlane) {
  Random random(2);
  for (int round = 0; round < test_support::Rounds(2); ++round) {
    for (const float size : {0.02f, 0.1f, 20.0f, 500.0f}) {
      for (int axis = 0; axis < 3; ++axis) {
        Points corners = CornersOf(test_support::Plate(size, 5 + Pick(random, 25), Uniform(random, -2, 2)));
        Map(corners,
            [axis](const PbVec3f& p) { return PbVec3f(p[axis], p[(axis + 1) % 3], p[(axis + 2) % 3]); });
        ExpectSameMerge(corners, kTolerance, random);
      }
    }
  }
}

TEST(MergeDifferential, JitteredCorners) {
  Random random(3);
  for (int round = 0; round < test_support::Rounds(3); ++round) {
    for (const double by : {0.1, 0.2, 0.5, 1.0, 2.0}) {
      for (const float radius : {0.01f, 1.0f, 40.0f}) {
        Points corners = SpherePoints(radius, 10 + Pick(random, 15));
        Jitter(corners, by * kTolerance, random);
        ShuffleFacets(corners, random);
        ExpectSameMerge(corners, kTolerance, random);
      }
    }
  }
}

TEST(MergeDifferential, LatticesOnMultiplesOfTheTolerance) {
  // Multiples of a tolerance that is a power of two: neighbours lie exactly a whole or half a tolerance
  // apart.
  Random random(4);
  for (int round = 0; round < test_support::Rounds(6); ++round) {
    for (const float step : {0.25f, 0.5f, 0.75f, 1.0f, 1.25f}) {
      const float tolerance = std::ldexp(1.0f, Pick(random, 12) - 10);
      const int spread = 2 + Pick(random, 12);
      Points corners;
      for (int i = 0; i < 1500; ++i) {
        float c[3];
        for (float& v : c) v = static_cast<float>(Pick(random, 2 * spread) - spread) * step * tolerance;
        corners.emplace_back(c);
      }
      ExpectSameMerge(corners, tolerance, random);
    }
  }
}

TEST(MergeDifferential, CrowdedSetsWhereSeveralCandidatesMatch) {
  Random random(5);
  for (int round = 0; round < test_support::Rounds(6); ++round) {
    for (const double width : {0.5, 1.0, 2.0, 4.0, 20.0, 200.0}) {
      const float tolerance =
          round % 2 == 0 ? kTolerance : std::ldexp(Uniform(random, 1, 2), Pick(random, 20) - 12);
      const double offset = round % 3 == 0 ? 0 : Uniform(random, -300, 300);
      Points corners;
      const int flat = Pick(random, 4);
      for (int i = 0; i < 1200; ++i) {
        PbVec3f p = RandomPoint(random, offset * tolerance, (offset + width) * tolerance);
        if (flat < 3) p[flat] = 0;
        corners.push_back(p);
      }
      ExpectSameMerge(corners, tolerance, random);
      // Few buckets: nearly everything shares one.
      ExpectSameMerge(corners, tolerance, 1 + Pick(random, 3), random);
    }
  }
}

TEST(MergeDifferential, CrowdsThatMakeTheCellsShrink) {
  // Thousands of vertices in one of the widest cells, and few of them near each other.
  Random random(6);
  Points corners;
  for (int i = 0; i < 12000; ++i) corners.push_back(RandomPoint(random, 0, 60 * kTolerance));
  for (int i = 0; i < 3000; ++i) corners.push_back(corners[static_cast<std::size_t>(Pick(random, 12000))]);
  ExpectSameMerge(corners, kTolerance, random);
}

TEST(MergeDifferential, CellsMadeToShareTheirSlots) {
  // Of the points on a grid of cells, those that the table of cells would put first of all: a thirty-second
  // of it holds half of what it has room for. They stay few, as the hash is made anew when many find no slot.
  Random random(14);
  Points corners;
  const double cell = 61.8 * double(kTolerance);
  constexpr uint64_t kCellZero = 0x4338000000000000u;
  for (uint64_t x = 0; corners.size() < 9000; ++x) {
    for (uint64_t y = 0; y < 1000; ++y) {
      uint64_t h = (kCellZero + x) * 0x9E3779B97F4A7C15u + (kCellZero + y) * 0xC2B2AE3D27D4EB4Fu +
                   kCellZero * 0x165667B19E3779F9u;
      h = (h ^ h >> 32) * 0xD6E8FEB86659FD93u;
      if (h >> 59 == 0) corners.emplace_back(float(double(x) * cell), float(double(y) * cell), 0.0f);
    }
  }
  const std::size_t count = corners.size();
  for (int i = 0; i < 3000; ++i)
    corners.push_back(corners[static_cast<std::size_t>(Pick(random, static_cast<int>(count)))]);
  const std::size_t steps = ExpectSameMerge(corners, kTolerance, static_cast<int>(count / 3), random);
  EXPECT_LT(steps, 30 * corners.size());
}

TEST(MergeDifferential, MapCoordinates) {
  Random random(7);
  for (int round = 0; round < test_support::Rounds(2); ++round) {
    for (const float far : {2e5f, 3e6f, 26843.5f, 3.4e7f, 1e12f, 1e15f, 3e38f}) {
      Points corners = SpherePoints(50, 12);
      Map(corners, [far](const PbVec3f& p) { return PbVec3f(p[0] + far, p[1] - far, p[2]); });
      Jitter(corners, kTolerance, random);
      ExpectSameMerge(corners, kTolerance, random);
      // Neighbouring floats.
      for (PbVec3f& p : corners) {
        p = PbVec3f(Pick(random, 2) ? far : std::nextafter(far, 0.0f), -far, 1);
      }
      ExpectSameMerge(corners, kTolerance, random);
    }
  }
}

TEST(MergeDifferential, TinyMetreScaleParts) {
  Random random(8);
  for (int round = 0; round < test_support::Rounds(3); ++round) {
    for (const float radius : {1e-5f, 1e-4f, 1e-3f, 0.012f}) {
      Points corners = SpherePoints(radius, 25, {Uniform(random, -0.1, 0.1), 0.05f, 0});
      ExpectSameMerge(corners, kTolerance, random);
    }
  }
}

TEST(MergeDifferential, OddTolerances) {
  Random random(9);
  Points corners = SpherePoints(2, 10);
  Jitter(corners, 0.1, random);
  for (const float tolerance : {0.0f, -0.0f, -1.0f, kNan, kInfinity, -kInfinity, 0x1p-149f, 0x1p-126f, 1e-30f,
                                3.4e38f, 1e20f, 0.05f, 1.0f, 3.0f}) {
    SCOPED_TRACE(tolerance);
    ExpectSameMerge(corners, tolerance, random);
    ExpectSameMerge(corners, tolerance, 1, random);
  }
}

TEST(MergeDifferential, CoordinatesThatAreNoNumbers) {
  Random random(10);
  const float kOdd[] = {kNan,       -kNan, kInfinity, -kInfinity, 0,     -0.0f,   0x1p-149f,
                        -0x1p-149f, 1e-4f, 3.4e38f,   -3.4e38f,   1e16f, 9.3e14f, 2.2e5f};
  for (int round = 0; round < test_support::Rounds(5); ++round) {
    for (const float tolerance : {kTolerance, 0.0f, kNan, kInfinity, 1e-40f, 1.0f}) {
      Points corners;
      for (int i = 0; i < 900; ++i) {
        float c[3];
        for (float& v : c)
          v = Pick(random, 3) == 0 ? kOdd[Pick(random, 14)] : static_cast<float>(Pick(random, 3));
        corners.emplace_back(c);
      }
      ExpectSameMerge(corners, tolerance, random);
    }
  }
}

TEST(MergeDifferential, RandomBits) {
  Random random(11);
  for (int round = 0; round < test_support::Rounds(4); ++round) {
    Points corners;
    for (int i = 0; i < 1500; ++i) {
      float c[3];
      for (float& v : c) {
        const uint32_t bits = static_cast<uint32_t>(random());
        std::memcpy(&v, &bits, sizeof v);
      }
      corners.emplace_back(c);
      if (i > 0 && Pick(random, 2) == 0) corners.back() = corners[static_cast<std::size_t>(Pick(random, i))];
    }
    for (const float tolerance : {kTolerance, 1.0f, 1e30f}) ExpectSameMerge(corners, tolerance, random);
  }
}

TEST(MergeDifferential, CreateEqualsTheLiteralForm) {
  Random random(12);
  for (int round = 0; round < test_support::Rounds(3); ++round) {
    Points corners = SpherePoints(5, 45);  // several blocks of facets
    Jitter(corners, 0.4 * kTolerance, random);
    TriangleBAG bag(4000, 6500);
    for (std::size_t i = 0; i < corners.size(); i += 3) {
      R_TRIANGLE facet;
      for (std::size_t k = 0; k < 3; ++k) std::memcpy(&facet.corner[k][0], corners[i + k].data(), 12);
      bag.append(facet);
    }
    CTL mesh;
    ASSERT_EQ(mesh.create(bag, kTolerance, 1, 0), 0);
    const literal::Merged expected = literal::Merge(corners, kTolerance, mesh.num_triangles());
    ASSERT_EQ(static_cast<std::size_t>(mesh.num_vertices()), expected.vertices.size());
    for (std::size_t i = 0; i < corners.size(); ++i)
      ASSERT_EQ(mesh.nth(static_cast<int>(i / 3))[static_cast<int>(i % 3)], expected.index[i]);
  }
}

TEST(MergeDifferential, ApproximateEqualsTheLiteralForm) {
  Random random(13);
  for (int round = 0; round < test_support::Rounds(2); ++round) {
    for (const int target : {1, 20, 100, 700, 1500}) {
      CTL mesh = test_support::Sphere(10, 30, 30);
      const Points points(mesh.vertices(), mesh.vertices() + mesh.num_vertices());
      const float tolerance = static_cast<float>(std::sqrt(static_cast<double>(mesh.area()) / target));
      const literal::Merged expected = literal::Merge(points, tolerance, mesh.num_vertices());
      CTL coarse = test_support::Sphere(10, 30, 30);
      for (int i = 0; i < mesh.num_triangles(); ++i) {
        for (int k = 0; k < 3; ++k) mesh.nth(i)[k] = expected.index[static_cast<std::size_t>(mesh.nth(i)[k])];
      }
      mesh.eliminate_degenerates();
      ASSERT_EQ(coarse.approximate(target), 1);
      ASSERT_EQ(static_cast<std::size_t>(coarse.num_vertices()), expected.vertices.size());
      for (int i = 0; i < coarse.num_vertices(); ++i)
        ASSERT_TRUE(SameBits(coarse.vertices()[i], expected.vertices[static_cast<std::size_t>(i)]));
      ASSERT_EQ(test_support::TrianglesOf(coarse), test_support::TrianglesOf(mesh));
    }
  }
}

// ---------------------------------------------------------------------------------------------------------
// Text

void ExpectSameText(std::string text) {
  const test_support::Stream literal_stream = test_support::StreamInMemory(text, text.size());
  const literal::AsciiFacets expected = literal::ReadAscii(literal_stream.get());
  const test_support::Stream stream = test_support::StreamInMemory(text, text.size());
  TriangleBAG bag;
  trq::core::FileSource source(stream.get());
  trq::core::StlReport report;
  ASSERT_EQ(trq::detail::ReadAsciiFacets(source, bag, report), expected.is_stl) << text;
  ASSERT_EQ(static_cast<std::size_t>(bag.num()), expected.facets.size()) << text;
  for (int i = 0; i < bag.num(); ++i) {
    for (int k = 0; k < 9; ++k) {
      const float v = expected.facets[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)];
      ASSERT_EQ(std::memcmp(&bag[i].corner[k / 3][k % 3], &v, sizeof v), 0)
          << text << "\nfacet " << i << ": " << v;
    }
  }
}

std::string RandomNumber(Random& random) {
  char text[400];
  switch (Pick(random, 11)) {
    case 10: {
      // As printf("%e") writes floats of any magnitude.
      const uint32_t bits = static_cast<uint32_t>(random());
      float v;
      std::memcpy(&v, &bits, sizeof v);
      std::snprintf(text, sizeof text, Pick(random, 4) ? "%e" : "%E",
                    static_cast<double>(std::isfinite(v) ? v : 1));
      break;
    }
    case 0:
      std::snprintf(text, sizeof text, "%d", Pick(random, 2000) - 1000);
      break;
    case 1:
      std::snprintf(text, sizeof text, "%.9g", Uniform(random, -100, 100));
      break;
    case 2:
      std::snprintf(text, sizeof text, "%e", Uniform(random, -1e3, 1e3));
      break;
    case 3:
      std::snprintf(text, sizeof text, "%.17E", std::uniform_real_distribution<>(-1, 1)(random));
      break;
    case 4: {
      // Exactly half-way between two floats, perhaps with a digit more.
      const uint32_t bits = static_cast<uint32_t>(random()) & 0xBFFFFFFF;
      float v;
      std::memcpy(&v, &bits, sizeof v);
      if (!std::isfinite(v)) v = 1;
      const double next = std::nextafter(v, kInfinity);
      std::snprintf(text, sizeof text, "%.*e", Pick(random, 2) ? 120 : 30, (v + next) / 2);
      break;
    }
    case 5: {
      const uint64_t digits = static_cast<uint64_t>(random()) << 32 | random();
      std::snprintf(text, sizeof text, "%s%llu.%llue%d", Pick(random, 2) ? "+" : "",
                    static_cast<unsigned long long>(digits >> Pick(random, 64)),
                    static_cast<unsigned long long>(random()), Pick(random, 120) - 60);
      break;
    }
    case 6:
      std::snprintf(text, sizeof text, "0.%0*d%d", 1 + Pick(random, 40), 0, Pick(random, 100000));
      break;
    case 7:
      std::snprintf(text, sizeof text, "%d%0*de-%d", 1 + Pick(random, 9), 1 + Pick(random, 60), 0,
                    Pick(random, 70));
      break;
    case 8:
      std::snprintf(text, sizeof text, ".%de%s%d", Pick(random, 1000), Pick(random, 2) ? "+" : "",
                    Pick(random, 50));
      break;
    default:
      std::snprintf(text, sizeof text, "%.6f", Uniform(random, -300, 300));
      break;
  }
  return text;
}

TEST(TextDifferential, Numbers) {
  Random random(21);
  for (int round = 0; round < test_support::Rounds(4); ++round) {
    std::string text = "solid\nfacet\n";
    for (int i = 0; i < 400; ++i) {
      text += "outer\n";
      for (int k = 0; k < 3; ++k)
        text += "v " + RandomNumber(random) + " " + RandomNumber(random) + " " + RandomNumber(random) + "\n";
    }
    ExpectSameText(text);
  }
}

TEST(TextDifferential, OddNumbers) {
  Random random(22);
  const std::string kAlphabet = "0123456789.eE+-xXnaif \t";
  for (int round = 0; round < test_support::Rounds(1000); ++round) {
    std::string line = "v ";
    for (int i = Pick(random, 12); i >= 0; --i)
      line += kAlphabet[static_cast<std::size_t>(
          Pick(random, Pick(random, 2) ? 13 : static_cast<int>(kAlphabet.size())))];
    ExpectSameText("solid\nfacet\nouter\n" + line + " 1 2 3\nv 1 2 3\nv 1 2 3\n");
    ExpectSameText("solid\nfacet\nouter\nv 1 2 3\nv 1 2 3\nv 0 0" + line.substr(1));
  }
}

std::string RandomPiece(Random& random) {
  using namespace std::string_literals;
  static const std::string kPieces[] = {"solid",       "facet",
                                        "FACET",       "facets",
                                        "outer",       "OUTER",
                                        "outer loop",  "outerloop",
                                        "vertex",      "v",
                                        "normal",      " ",
                                        "  ",          "\t",
                                        "\r",          "\n",
                                        "\r\n",        "\n\n",
                                        "\v",          "\f",
                                        "\0"s,         "\n",
                                        "\xFF",        "endloop",
                                        "outer\n",     "\nouter\nv 1 2 3\nv 4 5 6\nv 7 8 9\n",
                                        "\nv 1 2 3\n", "vertex 1e3 -2.5 .5\n"};
  const int which = Pick(random, 32);
  if (which == 28) return RandomNumber(random);
  if (which == 29) return std::string(static_cast<std::size_t>(1000 + Pick(random, 60)), ' ');
  if (which == 30) return std::string(static_cast<std::size_t>(1015 + Pick(random, 12)), ' ') + "outer";
  if (which == 31)
    return "v 1 2 " + std::string(static_cast<std::size_t>(1010 + Pick(random, 15)), '0') + "3\n";
  return kPieces[which];
}

TEST(TextDifferential, Lines) {
  Random random(23);
  for (int round = 0; round < test_support::Rounds(800); ++round) {
    std::string text = Pick(random, 4) ? "solid\nfacet\n" : "";
    for (int i = Pick(random, 40); i > 0; --i) text += RandomPiece(random);
    ExpectSameText(text);
  }
}

TEST(TextDifferential, EveryShorterPrefix) {
  std::string text =
      "solid cut\r\n facet normal 0 0 1\n  OUTER loop\n   vertex 1.5e-1 -2 3\n\tv .5 6. 7e1\n"
      "x 1-2+3\nendloop\nendfacet\nouter\nv 1 2 3 4\nv 5 6 7\nv 8 9 1e01\nendsolid";
  for (std::size_t length = 0; length <= text.size(); ++length) ExpectSameText(text.substr(0, length));
}

TEST(TextDifferential, LinesAcrossBlocks) {
  Random random(24);
  std::string text = "solid\nfacet\n";
  while (text.size() < 700000) {
    text += "outer loop\n";
    for (int k = 0; k < 3; ++k) {
      text += "      vertex ";
      for (int i = 0; i < 3; ++i) text += ' ' + RandomNumber(random);
      text += '\n';
    }
    if (Pick(random, 50) == 0) text += std::string(static_cast<std::size_t>(Pick(random, 3000)), 'x') + '\n';
  }
  ExpectSameText(text);
}

}  // namespace
