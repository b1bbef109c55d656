#include "trqprep/tolerant_stl.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace trqprep {
namespace {

using trq::core::ErrorCode;
using trq::core::MemorySource;
using trq::core::Mesh;
using trq::core::Result;

trq::Bytes BytesOf(std::string_view text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

Result<Mesh> Read(std::string_view text, TolerantReport& report) {
  MemorySource source(BytesOf(text));
  return ReadTolerantStl(source, {}, report);
}

StlContent Look(std::string_view bytes) {
  MemorySource source(BytesOf(bytes));
  const StlContent content = LookAtStl(source);
  EXPECT_EQ(source.Position(), 0u);
  return content;
}

// A tetrahedron of 10 units, in the strict form.
constexpr char kStrict[] =
    "solid corner\n"
    "  facet normal 0 0 -1\n    outer loop\n"
    "      vertex 0 0 0\n      vertex 0 10 0\n      vertex 10 0 0\n"
    "    endloop\n  endfacet\n"
    "  facet normal 0 -1 0\n    outer loop\n"
    "      vertex 0 0 0\n      vertex 10 0 0\n      vertex 0 0 10.5\n"
    "    endloop\n  endfacet\n"
    "  facet normal -1 0 0\n    outer loop\n"
    "      vertex 0 0 0\n      vertex 0 0 10.5\n      vertex 0 10 0\n"
    "    endloop\n  endfacet\n"
    "  facet normal 0 0 0\n    outer loop\n"
    "      vertex 10 0 0\n      vertex 0 10 0\n      vertex 0 0 10.5\n"
    "    endloop\n  endfacet\n"
    "endsolid corner\n";

std::string Replaced(std::string text, std::string_view from, std::string_view to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  return text;
}

std::string Wide(std::string_view text, bool little, bool mark) {
  std::string wide = !mark ? "" : little ? "\xFF\xFE" : "\xFE\xFF";
  for (const char c : text) wide += little ? std::string{c, '\0'} : std::string{'\0', c};
  return wide;
}

// Facets and vertices are those of the tetrahedron, bit for bit and in their order.
void ExpectTetrahedron(const std::string& text, std::uint64_t left_at) {
  TolerantReport report;
  const Result<Mesh> read = Read(text, report);
  ASSERT_TRUE(read) << read.error().text;
  ASSERT_EQ(read->header.num_triangles, 4);
  ASSERT_EQ(read->header.num_vertices, 4);
  constexpr float kVertices[4][3] = {{0, 0, 0}, {0, 10, 0}, {10, 0, 0}, {0, 0, 10.5}};
  constexpr int kTriangles[4][3] = {{0, 1, 2}, {0, 2, 3}, {0, 3, 1}, {2, 1, 3}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(std::memcmp(read->vertices[i].data(), kVertices[i], sizeof kVertices[i]), 0) << i;
    for (int k = 0; k < 3; ++k) EXPECT_EQ(read->triangles[i][k], kTriangles[i][k]) << i << k;
  }
  EXPECT_EQ(read->normals.size(), 4u);
  EXPECT_FALSE(report.cut);
  EXPECT_EQ(report.facets, 4u);
  EXPECT_EQ(report.left_at, left_at);
}

TEST(TolerantStl, EveryToleranceAlone) {
  const std::string strict = kStrict;
  const struct {
    const char* what;
    std::string text;
    std::uint64_t left_at;
  } cases[] = {
      {"strict form", strict, 0},
      {"strict form without the last line end", strict.substr(0, strict.size() - 1), 0},
      {"CR LF", Replaced(strict, "\n", "\r\n"), 0},
      {"upper case", Upper(strict), 0},
      {"first line blank", "\n" + strict, 1},
      {"second line blank", Replaced(strict, "corner\n  facet", "corner\n\n  facet"), 2},
      {"CR", Replaced(strict, "\n", "\r"), 1},
      {"tabs before words", Replaced(strict, "  ", "\t"), 2},
      {"tabs before outer", Replaced(strict, "    outer", "\touter"), 3},
      {"tabs between words", Replaced(strict, "outer loop", "outer\tloop"), 3},
      {"tabs in corners", Replaced(strict, "vertex ", "vertex\t"), 0},
      {"blank lines before corners", Replaced(strict, "loop\n      vertex", "loop\n \t\n      vertex"), 4},
      {"blank lines in loops", Replaced(strict, "      vertex 0 10 0\n", "\n      vertex 0 10 0\n"), 5},
      {"blank lines between facets", Replaced(strict, "endfacet\n", "endfacet\n\n"), 0},
      {"no indentation", Replaced(strict, "  ", ""), 0},
      {"no normals",
       Replaced(Replaced(strict, "facet normal 0 0 -1", "facet"), "solid corner\n  f", "solid\nf"), 0},
      {"comment first", "# made by hand\n" + strict, 2},
      {"several solids",
       Replaced(strict, "endfacet\n  facet normal -1", "endfacet\nendsolid a\n\n solid b\n  facet"), 0},
      {"a line beyond 1023 characters",
       Replaced(strict, "vertex 10 0 0\n      vertex 0 0 10.5",
                "vertex 10 0 0\n      vertex 0 0 " + std::string(2000, ' ') + "10.5"),
       13},
      {"no facet line", Replaced(strict, "  facet normal 0 0 -1\n", ""), 2},
      {"UTF-8 with a mark", "\xEF\xBB\xBF\n" + strict, 1},
      {"UTF-16 little-endian", Wide(strict, true, false), 1},
      {"UTF-16 little-endian with a mark", Wide(strict, true, true), 1},
      {"UTF-16 big-endian", Wide(strict, false, false), 1},
      {"UTF-16 big-endian with a mark", Wide(strict, false, true), 1},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.what);
    ExpectTetrahedron(one.text, one.left_at);
  }
}

TEST(TolerantStl, TolerancesTogether) {
  std::string text = Upper(kStrict);
  text = Replaced(text, "  ", "\t ");
  text = Replaced(text, "VERTEX 0", "\v\n \nVeRtEx\f0");
  text = Replaced(text, "\n", "\r");
  text = "\r\r\n" + Replaced(text, "ENDFACET\r", "endFacet  \r\n\n\r");
  ExpectTetrahedron(text, 1);
  ExpectTetrahedron(Wide(text, false, true), 1);
  ExpectTetrahedron(Wide(text, true, false), 1);
}

TEST(TolerantStl, NumbersAreTheNearestFloats) {
  const struct {
    const char* text;
    std::uint32_t bits;
  } numbers[] = {{"0.1", 0x3DCCCCCD},
                 {"-0", 0x80000000},
                 {"+.5", 0x3F000000},
                 {"5.", 0x40A00000},
                 {"16777217", 0x4B800000},
                 {"16777219", 0x4B800002},
                 {"1e-45", 0x00000001},
                 {"1E39", 0x7F800000},
                 {"-1e39", 0xFF800000},
                 {"1e-50", 0x00000000},
                 {"3.4028235e+38", 0x7F7FFFFF},
                 {"1.17549435e-38", 0x00800000},
                 {"0.30000001192092896", 0x3E99999A},
                 {"00001.0e+00000", 0x3F800000}};
  for (const auto& number : numbers) {
    // Two facets with an edge in common; the number is the last coordinate of the second vertex.
    const std::string corner = std::string("\tvertex 1 2 ") + number.text + "\n";
    const std::string text = "\nsolid\n\tfacet\nouter\nvertex 5 0 0\n" + corner +
                             "vertex 7 8 9\nendloop\nendfacet\n" + "facet\nouter\nvertex 5 0 0\n" + corner +
                             "vertex 7 9 9\nendloop\nendfacet\nendsolid\n";
    TolerantReport report;
    const Result<Mesh> read = Read(text, report);
    ASSERT_TRUE(read) << number.text;
    EXPECT_EQ(std::memcmp(read->vertices[1].data() + 2, &number.bits, sizeof number.bits), 0) << number.text;
  }
}

TEST(TolerantStl, SaysWhereAndWhatItDoesNotUnderstand) {
  const std::string strict = kStrict;
  const struct {
    std::string text;
    ErrorCode code;
    std::uint64_t line, column;
    const char* found;
  } cases[] = {
      {"(level\n (version 3))\n", ErrorCode::kUnknownFormat, 1, 1, "(level"},
      {"sol", ErrorCode::kUnknownFormat, 1, 1, "sol"},
      {"\n  \t notes on solids\n", ErrorCode::kUnknownFormat, 2, 5, "notes"},
      {"solid a\nfacet normal 0 0 1\n  outr loop\nvertex 0 0 0\nendloop\nendsolid\n",
       ErrorCode::kUnknownFormat, 3, 3, "outr"},
      {Replaced(strict, "vertex 0 0 10.5", "vertex 0 0 blah"), ErrorCode::kBadNumber, 13, 18, "blah"},
      {Replaced(strict, "vertex 0 0 10.5", "vertex\t0  0"), ErrorCode::kBadNumber, 13, 18, ""},
      {Replaced(strict, "vertex 0 10 0", "vertex 0 10,5 0"), ErrorCode::kBadNumber, 5, 16, "10,5"},
      {Replaced(strict, "vertex 0 0 10.5", "vertex 0 0 10,5"), ErrorCode::kBadNumber, 13, 18, "10,5"},
      {Replaced(strict, "vertex 0 0 10.5", "vertex 0,25 0 10,5"), ErrorCode::kBadNumber, 13, 14, "0,25"},
      {Replaced(strict, "vertex 0 0 10.5", "vertex nan 0 0"), ErrorCode::kBadNumber, 13, 14, "nan"},
      {Replaced(strict, "vertex 0 0 10.5", "vertex 0 0x1p3 0"), ErrorCode::kBadNumber, 13, 16, "0x1p3"},
      {Replaced(strict, "vertex 0 0 10.5\n    endloop", "    endloop"), ErrorCode::kBadNumber, 13, 18, ""},
      {Replaced(strict, "vertex 10 0 0", "vertex 1e 0 0"), ErrorCode::kBadNumber, 6, 14, "1e"},
      {Replaced(strict, "vertex 10 0 0", "vertex 10 \x07\xC3 0"), ErrorCode::kBadNumber, 6, 17, "\\x07\\xc3"},
      {Replaced(strict, "vertex 10 0 0", "vertex " + std::string(50, 'x')), ErrorCode::kBadNumber, 6, 14,
       "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx..."},
      {Replaced(Replaced(strict, "vertex 0 0 10.5", "vertex 0 0 blah"), "\n", "\r\r"), ErrorCode::kBadNumber,
       25, 18, "blah"},
      {Wide(Replaced(strict, "vertex 0 10 0", "vertex 0 10,5 0"), true, true), ErrorCode::kBadNumber, 5, 16,
       "10,5"},
      {Replaced(strict, "endloop", std::string("end\0loop", 8)), ErrorCode::kUnknownFormat, 7, 8, "\\x00"},
  };
  for (const auto& one : cases) {
    TolerantReport report;
    const Result<Mesh> read = Read(one.text, report);
    ASSERT_FALSE(read) << one.text;
    EXPECT_EQ(read.error().code, one.code) << one.text;
    EXPECT_EQ(read.error().place.line, one.line) << one.text;
    EXPECT_EQ(read.error().place.column, one.column) << one.text;
    EXPECT_EQ(read.error().text, one.found) << one.text;
  }
}

TEST(TolerantStl, WhatTheLibraryRefusesStaysRefused) {
  const std::string strict = kStrict;
  const std::string one_facet = strict.substr(0, strict.find("  facet normal 0 -1")) + "endsolid\n";
  for (const std::string& text : {one_facet, "\n" + one_facet, Wide(one_facet, true, false)}) {
    TolerantReport report;
    const Result<Mesh> read = Read(text, report);
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().code, ErrorCode::kNoSurface);
    EXPECT_EQ(report.facets, 1u);
    EXPECT_FALSE(report.cut);
  }
  for (const char* empty : {"", " ", "\r\n\t\n", "solid a\nendsolid a\n", "solid\nendsolid",
                            "\n\n solid\n\tEndSolid", "solid a\nby hand\nendsolid"}) {
    TolerantReport report;
    const Result<Mesh> read = Read(empty, report);
    ASSERT_FALSE(read) << empty;
    EXPECT_EQ(read.error().code, ErrorCode::kEmpty) << empty;
    EXPECT_FALSE(report.cut) << empty;
  }
}

// Whole facets are those whose third corner line has its end.
TEST(TolerantStl, EveryPrefixIsCutOrWhole) {
  const std::string strict = kStrict;
  for (const bool spoil : {false, true}) {
    const std::string text = spoil ? "\n" + Replaced(strict, "  ", "\t") : strict;
    std::vector<size_t> ends;
    for (size_t at = 0; (at = text.find("endloop", at)) != std::string::npos; ++at) {
      ends.push_back(text.rfind('\n', at) + 1);
    }
    const size_t named = text.find("solid") + 5, whole = text.find("endsolid") + 8;
    for (size_t length = 0; length <= text.size(); ++length) {
      size_t facets = 0;
      for (const size_t end : ends) facets += length >= end ? 1 : 0;
      TolerantReport report;
      const Result<Mesh> read = Read(std::string_view(text).substr(0, length), report);
      EXPECT_EQ(report.facets, facets) << length;
      EXPECT_EQ(report.cut, length >= named && length < whole) << length;
      if (facets > 1) {
        ASSERT_TRUE(read) << length;
        EXPECT_EQ(read->header.num_triangles, static_cast<int>(facets)) << length;
      } else {
        ASSERT_FALSE(read) << length;
        const bool begun = length > 1 || (length == 1 && !spoil);
        EXPECT_EQ(read.error().code, facets == 1       ? ErrorCode::kNoSurface
                                     : length >= named ? ErrorCode::kEmpty
                                     : begun           ? ErrorCode::kUnknownFormat
                                                       : ErrorCode::kEmpty)
            << length;
      }
    }
  }
}

TEST(TolerantStl, TheLastKeywordLineTellsWhetherATextIsWhole) {
  const struct {
    std::string text;
    bool whole;
  } cases[] = {
      {kStrict, true},
      {"", false},
      {"solid\nendsolid", true},
      {"solid\nendsoli", false},
      {"solid\n\t ENDSOLID name\r\n\r\n made by hand", true},
      {"endsolid a\nsolid b\n", false},
      {"endsolid a\rfacet\r", false},
      {"solid\nendsolid\n" + std::string(200000, ' '), true},
      {"solid\nendsolid\n" + std::string(200000, '\n'), true},
      // The rest that is looked at first begins in the middle of the word.
      {"solid\nendsolid" + std::string((1 << 16) - 5, ' '), true},
      {"endsolid\nendfacet" + std::string((1 << 16) - 5, '\n'), false},
  };
  for (const auto& one : cases) {
    MemorySource source(BytesOf(one.text));
    EXPECT_EQ(EndsWithEndsolid(source), one.whole) << one.text.substr(0, 60);
  }
}

TEST(TolerantStl, ContentIsToldBySizeAndSample) {
  const auto binary = [](std::string count, size_t facets) {
    return std::string(80, '\0') + count + std::string(50 * facets, '\1');
  };
  using std::string_literals::operator""s;
  EXPECT_EQ(Look(binary("\2\0\0\0"s, 2)), StlContent::kBinary);
  EXPECT_EQ(Look(binary("\0\0\0\2"s, 2)), StlContent::kForeignEndian);
  EXPECT_EQ(Look(binary("\3\0\0\0"s, 2)), StlContent::kBinary);
  EXPECT_EQ(Look(binary("\0\0\0\0"s, 0)), StlContent::kBinary);
  EXPECT_EQ(Look("solid" + std::string(75, ' ') + "\2\0\0\0"s + std::string(100, 'a')), StlContent::kBinary);
  EXPECT_EQ(Look("solid" + std::string(75, ' ') + "\0\0\0\2"s + std::string(100, 'a')),
            StlContent::kForeignEndian);
  EXPECT_EQ(Look(kStrict), StlContent::kText);
  EXPECT_EQ(Look("\xEF\xBB\xBF" + std::string(5, '\x80')), StlContent::kText);
  EXPECT_EQ(Look("\xFF\xFE"), StlContent::kText);
  EXPECT_EQ(Look(Wide(kStrict, true, false)), StlContent::kText);
  EXPECT_EQ(Look(Wide(kStrict, false, false)), StlContent::kText);
  EXPECT_EQ(Look(Wide(kStrict, true, false).erase(401, 1)), StlContent::kSpoiltText);
  EXPECT_EQ(Look(std::string(95, 'a') + std::string(5, '\x80')), StlContent::kText);
  EXPECT_EQ(Look(std::string(94, 'a') + std::string(6, '\x80')), StlContent::kSpoiltText);
  EXPECT_EQ(Look(std::string(99, 'a') + std::string(1, '\0')), StlContent::kSpoiltText);
  EXPECT_EQ(Look(std::string(84, 'a') + std::string(30, '\x80')), StlContent::kBinary);
  EXPECT_EQ(Look(std::string(80, 'a') + "\0\1\1a"s + std::string(20, 'a')), StlContent::kBinary);
  // What stands behind the first 64 KiB is not looked at.
  EXPECT_EQ(Look(std::string(1 << 16, 'a') + std::string(1 << 16, '\0')), StlContent::kText);
  EXPECT_EQ(Look(""), StlContent::kBinary);
}

}  // namespace
}  // namespace trqprep
