#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "host/file_services.h"
#include "trq/foundation.h"

namespace {

using trq::detail::FileHandle;
using Bytes = std::vector<unsigned char>;

FileHandle TemporaryFile(const Bytes& content = {}) {
  FileHandle f(std::tmpfile());
  for (unsigned char byte : content) std::fputc(byte, f.get());
  std::rewind(f.get());
  return f;
}

Bytes Content(std::FILE* f) {
  std::rewind(f);
  Bytes content;
  for (int c; (c = std::fgetc(f)) != EOF;) content.push_back(static_cast<unsigned char>(c));
  return content;
}

TEST(Fread, ReversesEachItem) {
  const FileHandle f = TemporaryFile({1, 2, 3, 4, 5, 6, 7, 8});
  Bytes buffer(8);
  EXPECT_EQ(fread_(buffer.data(), 4, 2, f.get()), 2u);
  EXPECT_EQ(buffer, Bytes({4, 3, 2, 1, 8, 7, 6, 5}));
}

TEST(Fread, ReversesFourBytes) {
  const FileHandle f = TemporaryFile({1, 2, 3, 4});
  Bytes buffer(4);
  EXPECT_EQ(fread_(buffer.data(), 4, 1, f.get()), 1u);
  EXPECT_EQ(buffer, Bytes({4, 3, 2, 1}));
}

TEST(Fread, LeavesSingleBytesAlone) {
  const FileHandle f = TemporaryFile({1, 2, 3, 4});
  Bytes buffer(4);
  EXPECT_EQ(fread_(buffer.data(), 1, 4, f.get()), 4u);
  EXPECT_EQ(buffer, Bytes({1, 2, 3, 4}));
}

TEST(Fread, ReversesItemsOfOddSize) {
  const FileHandle f = TemporaryFile({1, 2, 3, 4, 5, 6});
  Bytes buffer(6);
  EXPECT_EQ(fread_(buffer.data(), 3, 2, f.get()), 2u);
  EXPECT_EQ(buffer, Bytes({3, 2, 1, 6, 5, 4}));
}

TEST(Fread, KeptReversesTheItemsThatWereNotRead) {
  const FileHandle f = TemporaryFile({1, 2, 3, 4});
  Bytes buffer = {0, 0, 0, 0, 10, 11, 12, 13};
  EXPECT_EQ(fread_(buffer.data(), 4, 2, f.get()), 1u);
  EXPECT_EQ(buffer, Bytes({4, 3, 2, 1, 13, 12, 11, 10}));
}

TEST(Fwrite, WritesEachItemReversedAndKeepsTheBuffer) {
  const FileHandle f = TemporaryFile();
  const Bytes buffer = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(_fwrite(buffer.data(), 2, 3, f.get()), 3u);
  EXPECT_EQ(Content(f.get()), Bytes({2, 1, 4, 3, 6, 5}));
  EXPECT_EQ(buffer, Bytes({1, 2, 3, 4, 5, 6}));
}

TEST(Fwrite, WritesAThousandBytesAtOnce) {
  const FileHandle f = TemporaryFile();
  Bytes buffer(1000);
  for (std::size_t i = 0; i < buffer.size(); ++i) buffer[i] = static_cast<unsigned char>(i % 251);
  EXPECT_EQ(_fwrite(buffer.data(), 4, 250, f.get()), 250u);
  const Bytes written = Content(f.get());
  ASSERT_EQ(written.size(), 1000u);
  for (std::size_t i = 0; i < 1000; ++i) EXPECT_EQ(written[i], buffer[i / 4 * 4 + 3 - i % 4]);
}

TEST(Fwrite, NothingIsWrittenForNoItems) {
  const FileHandle f = TemporaryFile();
  EXPECT_EQ(_fwrite(nullptr, 4, 0, f.get()), 0u);
  EXPECT_EQ(_fwrite(nullptr, 0, 4, f.get()), 0u);
  EXPECT_EQ(Content(f.get()), Bytes());
}

TEST(FwriteDeathTest, KeptMoreThanAThousandBytesEndTheProcessWithStatusFour) {
  const FileHandle f = TemporaryFile();
  const Bytes buffer(2000);
  EXPECT_EXIT(_fwrite(buffer.data(), 4, 251, f.get()), testing::ExitedWithCode(4), "");
  EXPECT_EXIT(_fwrite(buffer.data(), 1, 1001, f.get()), testing::ExitedWithCode(4), "");
  EXPECT_EXIT(_fwrite(buffer.data(), 1001, 1, f.get()), testing::ExitedWithCode(4), "");
  // A product that wraps round must not slip through.
  constexpr std::size_t half = std::numeric_limits<std::size_t>::max() / 2 + 1;
  EXPECT_EXIT(_fwrite(buffer.data(), half, 2, f.get()), testing::ExitedWithCode(4), "");
}

TEST(ByteSwap, ReversesEachItemInPlace) {
  Bytes buffer = {1, 2, 3, 4, 5, 6, 7, 8};
  byte_swap(buffer.data(), 4, 2);
  EXPECT_EQ(buffer, Bytes({4, 3, 2, 1, 8, 7, 6, 5}));
  byte_swap(buffer.data(), 8, 1);
  EXPECT_EQ(buffer, Bytes({5, 6, 7, 8, 1, 2, 3, 4}));
  byte_swap(buffer.data(), 1, 8);
  EXPECT_EQ(buffer, Bytes({5, 6, 7, 8, 1, 2, 3, 4}));
}

TEST(ByteSwap, TakesItemsOfAThousandBytesAndAnyNumberOfThem) {
  Bytes buffer(3000);
  buffer[1000] = 7;
  byte_swap(buffer.data(), 1000, 3);
  EXPECT_EQ(buffer[1999], 7);
  EXPECT_EQ(buffer[1000], 0);
}

TEST(ByteSwapDeathTest, KeptAnItemOfMoreThanAThousandBytesEndsTheProcessWithStatusZero) {
  Bytes buffer(1001);
  EXPECT_EXIT(byte_swap(buffer.data(), 1001, 1), testing::ExitedWithCode(0), "");
}

struct Names {
  std::string base, ext;
};

Names Split(const char* path) {
  char base[64] = "?";
  char ext[64] = "unchanged";
  snap_name(path, base, ext);
  return {base, ext};
}

TEST(SnapName, SplitsAtTheLastPeriod) {
  EXPECT_EQ(Split("a.b.stl").base, "a.b");
  EXPECT_EQ(Split("a.b.stl").ext, "stl");
  EXPECT_EQ(Split("part.").base, "part");
  EXPECT_EQ(Split("part.").ext, "");
  EXPECT_EQ(Split(".stl").base, "");
  EXPECT_EQ(Split(".stl").ext, "stl");
}

TEST(SnapName, WithoutAPeriodTheExtensionStays) {
  EXPECT_EQ(Split("noext").base, "noext");
  EXPECT_EQ(Split("noext").ext, "unchanged");
  EXPECT_EQ(Split("").base, "");
  EXPECT_EQ(Split("").ext, "unchanged");
}

TEST(SnapName, KeptAPeriodInADirectoryNameCounts) {
  EXPECT_EQ(Split("v1.2/part").base, "v1");
  EXPECT_EQ(Split("v1.2/part").ext, "2/part");
}

TEST(BinaryPrint, PrintsSixteenDigits) {
  const auto printed = [](unsigned short v) {
    testing::internal::CaptureStdout();
    binary_print(v);
    return testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(printed(5), "0000000000000101\n");
  EXPECT_EQ(printed(0x8000), "1000000000000000\n");
  EXPECT_EQ(printed(0xFFFF), "1111111111111111\n");
  EXPECT_EQ(printed(0), "0000000000000000\n");
}

TEST(StrcasecmpJ, IgnoresTheCaseOfLetters) {
  EXPECT_EQ(strcasecmp_j("ABC", "abc"), 0);
  EXPECT_EQ(strcasecmp_j("abc", "ABC"), 0);
  EXPECT_EQ(strcasecmp_j("Facet", "fACET"), 0);
  EXPECT_EQ(strcasecmp_j("", ""), 0);
}

TEST(StrcasecmpJ, NullIsTheEmptyText) {
  EXPECT_EQ(strcasecmp_j(nullptr, nullptr), 0);
  EXPECT_EQ(strcasecmp_j(nullptr, ""), 0);
  EXPECT_EQ(strcasecmp_j("a", nullptr), 1);
  EXPECT_EQ(strcasecmp_j(nullptr, "a"), 1);
}

TEST(StrcasecmpJ, OrdersByTheFirstDifference) {
  EXPECT_EQ(strcasecmp_j("ab", "ac"), -1);
  EXPECT_EQ(strcasecmp_j("ac", "ab"), 1);
  EXPECT_EQ(strcasecmp_j("aB", "ac"), -1);
  EXPECT_EQ(strcasecmp_j("a1", "b"), -1);
}

TEST(StrcasecmpJ, KeptAnswersOneWhicheverTextEndsFirst) {
  EXPECT_EQ(strcasecmp_j("ab", "abc"), 1);
  EXPECT_EQ(strcasecmp_j("abc", "ab"), 1);
  EXPECT_EQ(strcasecmp_j("", " "), 1);  // 32 apart, but one of them is the end
  EXPECT_EQ(strcasecmp_j(" ", ""), 1);
}

TEST(StrcasecmpJ, KeptAnyCharactersThirtyTwoApartAreEqual) {
  EXPECT_EQ(strcasecmp_j("@", "`"), 0);
  EXPECT_EQ(strcasecmp_j("`", "@"), 0);
  EXPECT_EQ(strcasecmp_j("[", "{"), 0);
  EXPECT_EQ(strcasecmp_j("1", "Q"), 0);
}

TEST(StrcasecmpJ, TakesCharactersAsSigned) {
  EXPECT_EQ(strcasecmp_j("\xE4", "a"), -1);
  EXPECT_EQ(strcasecmp_j("a", "\xE4"), 1);
  EXPECT_EQ(strcasecmp_j("\xC4", "\xE4"), 0);
}

TEST(ConversionFactor, IsAThousandUnitsAMetre) { EXPECT_EQ(conversion_factor(), 1000.0f); }

TEST(MyNewHandler, WritesItsLineAndReturns) {
  testing::internal::CaptureStderr();
  my_new_handler();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to allocate memory\n");
}

}  // namespace
