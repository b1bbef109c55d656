#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "trq/host.h"

namespace {

TEST(CString, HoldsAText) {
  EXPECT_TRUE(CString().IsEmpty());
  EXPECT_EQ(CString(static_cast<const char*>(nullptr)), "");
  CString text("abc");
  EXPECT_EQ(text.GetLength(), 3);
  EXPECT_STREQ(text, "abc");
  CString copy = text;
  copy.Empty();
  EXPECT_TRUE(copy.IsEmpty());
  EXPECT_EQ(text, "abc");
}

TEST(CString, AnswersBytesInsideAndNulOutside) {
  const CString text("abc");
  EXPECT_EQ(text.GetAt(0), 'a');
  EXPECT_EQ(text.GetAt(2), 'c');
  EXPECT_EQ(text.GetAt(3), '\0');
  EXPECT_EQ(text.GetAt(-1), '\0');
}

TEST(CString, FindsFromEitherEnd) {
  const CString text("a/b/c");
  EXPECT_EQ(text.Find('/'), 1);
  EXPECT_EQ(text.ReverseFind('/'), 3);
  EXPECT_EQ(text.Find("b/"), 2);
  EXPECT_EQ(text.Find('x'), -1);
  EXPECT_EQ(text.Find("bc"), -1);
  EXPECT_EQ(text.ReverseFind('x'), -1);
}

TEST(CString, CutsAndClamps) {
  const CString text("abcdef");
  EXPECT_EQ(text.Left(2), "ab");
  EXPECT_EQ(text.Left(-1), "");
  EXPECT_EQ(text.Left(99), "abcdef");
  EXPECT_EQ(text.Right(2), "ef");
  EXPECT_EQ(text.Right(-1), "");
  EXPECT_EQ(text.Right(99), "abcdef");
  EXPECT_EQ(text.Mid(2), "cdef");
  EXPECT_EQ(text.Mid(6), "");
  EXPECT_EQ(text.Mid(2, 2), "cd");
  EXPECT_EQ(text.Mid(4, INT_MAX), "ef");
  EXPECT_EQ(text.Mid(-3, 2), "ab");
  EXPECT_EQ(text.Mid(1, -1), "");
}

TEST(CString, ComparesBytesAsUnsigned) {
  const CString text("abc");
  EXPECT_EQ(text.Compare("abc"), 0);
  EXPECT_LT(text.Compare("abd"), 0);
  EXPECT_GT(text.Compare("ab"), 0);
  EXPECT_LT(text.Compare("\xE4"), 0);
  EXPECT_TRUE(text == CString("abc"));
  EXPECT_TRUE("abd" != text);
}

TEST(CString, JoinsAndFormatsTextsOfAnyLength) {
  CString text = CString("a") + "b";
  text += CString("c");
  EXPECT_EQ("x" + text, "xabc");
  const std::string longer(5000, 'z');
  text.Format("%s-%d", longer.c_str(), 7);
  EXPECT_EQ(text.str(), longer + "-7");
  text.Format("<%s>", static_cast<const char*>(text));
  EXPECT_EQ(text.str(), "<" + longer + "-7>");
}

}  // namespace
