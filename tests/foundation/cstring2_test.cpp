#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <type_traits>

#include "trq/foundation.h"

namespace {

std::string Text(const CString2& text) { return static_cast<const char*>(text); }

TEST(CString2, HoldsATextAndTellsWhetherItIsEmpty) {
  CString2 empty;
  EXPECT_EQ(Text(empty), "");
  EXPECT_EQ(empty.IsEmpty(), 1);
  CString2 text("abcdef");
  EXPECT_EQ(Text(text), "abcdef");
  EXPECT_EQ(text.IsEmpty(), 0);
  text.Empty();
  EXPECT_EQ(Text(text), "");
  EXPECT_EQ(text.IsEmpty(), 1);
  EXPECT_EQ(Text(CString2(nullptr)), "");
}

TEST(CString2, FormattedByNullIsEmpty) {
  const char* const null = nullptr;
  CString2 text("before");
  text.Format(null);
  EXPECT_EQ(Text(text), "");
  text = "before";
  text.Format(null, "a");
  EXPECT_EQ(Text(text), "");
  text.Format(null, 1, 2);
  text.Format(null, "a", "b");
  text.Format(null, 1, 2, 3, 4, 5, 6);
  EXPECT_EQ(Text(text), "");
}

TEST(CString2, AssignmentCopiesTextsOfAnyLength) {
  CString2 text;
  const std::string lengths[] = {std::string(63, 'a'), std::string(64, 'b'), std::string(65, 'c'),
                                 std::string(5000, 'd'), "e"};
  for (const std::string& value : lengths) {
    text = value.c_str();
    EXPECT_EQ(Text(text), value);
  }
  CString2 other("first");
  text = other;
  other = "second";
  EXPECT_EQ(Text(text), "first");
  text = static_cast<const char*>(nullptr);
  EXPECT_EQ(Text(text), "");
}

TEST(CString2, AssignsItselfAndPartsOfItself) {
  CString2 text("abcdef");
  const CString2& same = text;
  text = same;
  EXPECT_EQ(Text(text), "abcdef");
  text = static_cast<const char*>(text) + 2;
  EXPECT_EQ(Text(text), "cdef");
  text = text.Left(3);
  EXPECT_EQ(Text(text), "cde");
}

TEST(CString2, KeptACopySharesItsBuffersUntilTheyAreOutgrown) {
  CString2 source;
  CString2 copy(source);
  const std::string fits(64, 'x');
  const std::string outgrows(65, 'y');
  source = fits.c_str();
  EXPECT_EQ(Text(copy), fits);
  copy = outgrows.c_str();
  EXPECT_EQ(Text(copy), outgrows);
  EXPECT_EQ(Text(source), fits);
  source = "apart";
  EXPECT_EQ(Text(copy), outgrows);
}

TEST(CString2, KeptACopySharesItsScratchText) {
  CString2 source("abcdef");
  CString2 copy(source);
  const char* left = source.Left(3);
  EXPECT_STREQ(left, "abc");
  EXPECT_EQ(copy.Mid(4), left);
  EXPECT_STREQ(left, "ef");
}

TEST(CString2, SharedBuffersOutliveEitherOwner) {
  CString2* source = new CString2("still there");
  CString2 copy(*source);
  delete source;
  EXPECT_EQ(Text(copy), "still there");
}

TEST(CString2, FormatsEachKindOfArguments) {
  CString2 text;
  text.Format("plain %%");
  EXPECT_EQ(Text(text), "plain %");
  text.Format("<%s>", "one");
  EXPECT_EQ(Text(text), "<one>");
  text.Format("%d of %i", 3, -7);
  EXPECT_EQ(Text(text), "3 of -7");
  text.Format("%g %g %g %.2f %.0f %g", 1.5f, -2.0f, 0.25f, 4.0f, 5.0f, 6e10f);
  EXPECT_EQ(Text(text), "1.5 -2 0.25 4.00 5 6e+10");
  text.Format("%s-%s", "left", "right");
  EXPECT_EQ(Text(text), "left-right");
}

TEST(CString2, FormatNeverOverruns) {
  const std::string longer(5000, 'z');
  CString2 text;
  text.Format("%s", longer.c_str());
  EXPECT_EQ(Text(text), longer);
  CString2 two;
  two.Format("%s|%s", longer.c_str(), longer.c_str());
  EXPECT_EQ(Text(two), longer + "|" + longer);
  CString2 wide;
  wide.Format("%2000d%2000d", 1, 2);
  EXPECT_EQ(Text(wide), std::string(1999, ' ') + "1" + std::string(1999, ' ') + "2");
  CString2 floats;
  const float big = 3.4e38f;
  floats.Format("%f%f%f%f%f%f", big, big, big, big, big, big);
  EXPECT_EQ(Text(floats).size(), 6u * 46u);  // 39 digits, a point, six digits
}

TEST(CString2, FormatsItsOwnText) {
  CString2 text("abc");
  text.Format("[%s]", text);
  EXPECT_EQ(Text(text), "[abc]");
  text.Format("%s%s", text, text);
  EXPECT_EQ(Text(text), "[abc][abc]");
}

TEST(CString2, FormatShowsANullTextAsPrintfDoes) {
  CString2 text;
  text.Format("<%s>", nullptr);
  EXPECT_EQ(Text(text), "<(null)>");
  text.Format("<%s%s>", nullptr, "b");
  EXPECT_EQ(Text(text), "<(null)b>");
}

TEST(CString2, FormatOfTwoTextsKeepsABufferThatIsLargeEnough) {
  const std::string a(30, 'a');
  const std::string b29(29, 'b');
  const std::string b30(30, 'b');
  CString2 source;
  CString2 copy(source);
  source.Format("%s%s", a.c_str(), b29.c_str());  // 4 + 30 + 29 is below the capacity of 64
  EXPECT_EQ(Text(copy), a + b29);
  source.Format("%s%s", a.c_str(), b30.c_str());  // 64 is not
  EXPECT_EQ(Text(copy), a + b29);
  EXPECT_EQ(Text(source), a + b30);
}

TEST(CString2, FindsTheLastOccurrence) {
  CString2 text("a/b/c");
  EXPECT_EQ(text.ReverseFind('/'), 3);
  EXPECT_EQ(text.ReverseFind('a'), 0);
  EXPECT_EQ(text.ReverseFind('x'), -1);
  EXPECT_EQ(CString2().ReverseFind('x'), -1);
}

TEST(CString2, LeftClampsItsCount) {
  CString2 text("abcdef");
  EXPECT_STREQ(text.Left(2), "ab");
  EXPECT_STREQ(text.Left(0), "");
  EXPECT_STREQ(text.Left(-3), "");
  EXPECT_STREQ(text.Left(INT_MIN), "");
  EXPECT_STREQ(text.Left(6), "abcdef");
  EXPECT_STREQ(text.Left(INT_MAX), "abcdef");
}

TEST(CString2, MidClampsItsRange) {
  CString2 text("abcdef");
  EXPECT_STREQ(text.Mid(4, 10), "ef");
  EXPECT_STREQ(text.Mid(1, 3), "bcd");
  EXPECT_STREQ(text.Mid(-2, 3), "abc");
  EXPECT_STREQ(text.Mid(2, -1), "");
  EXPECT_STREQ(text.Mid(6, 1), "");
  EXPECT_STREQ(text.Mid(7, 1), "");
  EXPECT_STREQ(text.Mid(INT_MAX, INT_MAX), "");
  EXPECT_STREQ(text.Mid(1, INT_MAX), "bcdef");
  EXPECT_STREQ(text.Mid(3), "def");
  EXPECT_STREQ(text.Mid(0), "abcdef");
  EXPECT_STREQ(text.Mid(-4), "abcdef");
  EXPECT_STREQ(text.Mid(INT_MIN), "abcdef");
  EXPECT_STREQ(text.Mid(100), "");
}

TEST(CString2, PartsOfLongTextsFitTheScratchText) {
  for (int length : {63, 64, 65, 200, 5000}) {
    const std::string value(static_cast<std::size_t>(length), 'q');
    CString2 text;
    text = value.c_str();
    EXPECT_EQ(std::string(text.Left(length)), value);
    EXPECT_EQ(std::string(text.Mid(1)), value.substr(1));
    EXPECT_EQ(Text(text), value);
  }
}

TEST(CString2, ComparesBytesAsUnsigned) {
  CString2 text("abc");
  EXPECT_EQ(text.Compare("abc"), 0);
  EXPECT_EQ(text.Compare("abd"), -1);
  EXPECT_EQ(text.Compare("ab"), 1);
  EXPECT_EQ(text.Compare("ABC"), 1);
  EXPECT_EQ(text.Compare("\xE4"), -1);
  EXPECT_EQ(text.Compare(nullptr), 1);
}

TEST(CString2, KeptComparesNoCaseOnlyAsFarAsTheOtherText) {
  CString2 text("abcdef");
  EXPECT_EQ(text.CompareNoCase("ABC"), 0);
  EXPECT_EQ(text.CompareNoCase(""), 0);
  EXPECT_EQ(text.CompareNoCase("ABCDEF"), 0);
  EXPECT_LT(text.CompareNoCase("abcdefg"), 0);
  EXPECT_LT(text.CompareNoCase("abD"), 0);
  EXPECT_GT(text.CompareNoCase("ABB"), 0);
}

TEST(CString2, IsPolymorphic) {
  static_assert(std::is_polymorphic_v<CString2> && std::has_virtual_destructor_v<CString2>);
}

}  // namespace
