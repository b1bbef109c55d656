#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <vector>

#include "tests/support/message_box_recorder.h"
#include "trq/foundation.h"

TEST(NameUtilities, ExtensionIsWhatFollowsTheLastPeriod) {
  EXPECT_EQ(UTILITY::SetFileExtension("a.b.stl", "ctl"), "a.b.ctl");
  EXPECT_EQ(UTILITY::DetermineFileType("a.b.stl"), ".stl");
}

TEST(NameUtilities, NameWithoutPeriodIsKeptWholeAndHasNoType) {
  EXPECT_EQ(UTILITY::SetFileExtension("gear", "ctl"), "gear.ctl");
  EXPECT_EQ(UTILITY::DetermineFileType("gear"), "");
}

TEST(NameUtilities, KeptPeriodOfADirectoryCounts) {
  EXPECT_EQ(UTILITY::SetFileExtension("v1.5/gear", "ctl"), "v1.ctl");
  EXPECT_EQ(UTILITY::DetermineFileType("v1.5/gear"), ".5/gear");
}

TEST(NameUtilities, DirectoryEndsAtTheLastBackslash) {
  EXPECT_EQ(UTILITY::ExtractDirectoryName("C:\\jobs\\part.stl"), "C:\\jobs\\");
  EXPECT_EQ(UTILITY::GetDirName("C:\\jobs\\part.stl"), "C:\\jobs\\");
  EXPECT_EQ(UTILITY::StripDirectoryNameLeaveExt("C:\\jobs\\part.stl"), "part.stl");
  EXPECT_EQ(UTILITY::StripDirectoryName("C:\\jobs\\part.stl"), "part");
}

TEST(NameUtilities, SlashCutsOnlyWhereThereIsNoBackslash) {
  EXPECT_EQ(UTILITY::ExtractDirectoryName("jobs/part.stl"), "jobs/");
  EXPECT_EQ(UTILITY::StripDirectoryName("jobs/part.stl"), "part");
  EXPECT_EQ(UTILITY::ExtractDirectoryName("root\\jobs/part.stl"), "root\\");
  EXPECT_EQ(UTILITY::StripDirectoryNameLeaveExt("root\\jobs/part.stl"), "jobs/part.stl");
  EXPECT_EQ(UTILITY::ExtractDirectoryName("part.stl"), "");
}

TEST(NameUtilities, DerivesTheCompanionNames) {
  EXPECT_EQ(UTILITY::GetNewNameForSupports("part.stl"), "part_s.stl");
  EXPECT_EQ(UTILITY::GetNewNameForVerifiedModel("part.stl"), "part_v.stl");
  EXPECT_EQ(UTILITY::GetCTLName("part.stl"), "part.ctl");
  EXPECT_EQ(UTILITY::GetODFName("part.stl"), "part.odf");
  EXPECT_EQ(UTILITY::GetVerifyOutputFileName("part.stl"), "partFixed.stl");
}

TEST(NameUtilities, SupportsNameLeadsBackToThePart) {
  EXPECT_EQ(UTILITY::GetSUPPORTSName("C:\\jobs\\part.stl"), "C:\\jobs\\part_s.stl");
  EXPECT_EQ(UTILITY::GetPartNameFromSupports("C:\\jobs\\part_s.stl"), "C:\\jobs\\part.stl");
}

TEST(NameUtilities, ShortNamesLoseAllTheirLeadingBytes) {
  EXPECT_EQ(UTILITY::GetCTLName("ab"), "ctl");
  EXPECT_EQ(UTILITY::GetNewNameForSupports("abc"), "_s.stl");
  EXPECT_EQ(UTILITY::GetSUPPORTSName("ab"), "_s.ab");
  EXPECT_EQ(UTILITY::GetPartNameFromSupports("a.stl"), ".stl");
  EXPECT_EQ(UTILITY::StripDirectoryName("dir/a"), "");
  EXPECT_EQ(UTILITY::GetNewNameForVerifiedModel("abc"), "_v.stl");
  EXPECT_EQ(UTILITY::GetODFName("ab"), "odf");
  EXPECT_EQ(UTILITY::GetVerifyOutputFileName(""), "Fixed.stl");
  EXPECT_FALSE(UTILITY::CheckIfSupportsFileName(""));
  EXPECT_TRUE(UTILITY::CheckIfSupportsFileName("_s.x"));  // n - 6 is below 0: the first two
  EXPECT_FALSE(UTILITY::CheckIfSupportsFileName("a_s.x"));
}

TEST(NameUtilities, SupportsMarkStandsSixBytesBeforeTheEnd) {
  EXPECT_TRUE(UTILITY::CheckIfSupportsFileName("part_s.stl"));
  EXPECT_TRUE(UTILITY::CheckIfSupportsFileName("part_S.stl"));
  EXPECT_FALSE(UTILITY::CheckIfSupportsFileName("part.stl"));
  EXPECT_FALSE(UTILITY::CheckIfSupportsFileName("_s_part.stl"));
}

TEST(NameUtilities, ValidSupportsNamePassesWithoutMessage) {
  test_support::MessageBoxRecorder boxes;
  EXPECT_EQ(UTILITY::CheckIfValidSupportName("part_S.stl"), "part_S.stl");
  EXPECT_TRUE(boxes.boxes().empty());
}

TEST(NameUtilities, OtherNamesAreChangedAndTold) {
  test_support::MessageBoxRecorder boxes;
  EXPECT_EQ(UTILITY::CheckIfValidSupportName("part.stl"), "part_s.stl");
  ASSERT_EQ(boxes.boxes().size(), 1u);
  EXPECT_EQ(boxes.boxes()[0].text,
            "The supports file needs an [_s] at the end. The file name was changed to part_s.stl");
  EXPECT_EQ(boxes.boxes()[0].buttons, 0u);
}

TEST(NameUtilities, ColourSlotsFollowTheRemainder) {
  EXPECT_EQ(UTILITY::FindColorCtr(1), 0);
  EXPECT_EQ(UTILITY::FindColorCtr(2), 1);
  EXPECT_EQ(UTILITY::FindColorCtr(3), 2);
  EXPECT_EQ(UTILITY::FindColorCtr(4), 3);
  EXPECT_EQ(UTILITY::FindColorCtr(5), 4);
  EXPECT_EQ(UTILITY::FindColorCtr(6), 0);
  EXPECT_EQ(UTILITY::FindColorCtr(10), 4);
  EXPECT_EQ(UTILITY::FindColorCtr(-1), 3);  // -1 is congruent to 4
  EXPECT_EQ(UTILITY::FindColorCtr(0), 4);
  EXPECT_EQ(UTILITY::FindColorCtr(-2), 2);
  EXPECT_EQ(UTILITY::FindColorCtr(-3), 1);
  EXPECT_EQ(UTILITY::FindColorCtr(-4), 0);
  EXPECT_EQ(UTILITY::FindColorCtr(-5), 4);
  EXPECT_EQ(UTILITY::FindColorCtr(INT_MIN), 1);  // -2147483648 = 5 * -429496730 + 2
  EXPECT_EQ(UTILITY::FindColorCtr(INT_MAX), 1);  // 2147483647 = 5 * 429496729 + 2
}

TEST(NameUtilities, KeptClearSpacesLeavesOutTheLastByte) {
  std::vector<char> src(1024, '\0');
  std::vector<char> dst(1025, '#');
  std::memcpy(src.data(), "abc def", 7);
  UTILITY::ClearSpacesInName(src.data(), dst.data());
  EXPECT_STREQ(dst.data(), "abc de");
  EXPECT_EQ(dst[7], '#');  // nothing behind the end is touched
  std::fill(src.begin(), src.end(), 'x');
  UTILITY::ClearSpacesInName(src.data(), dst.data());
  EXPECT_EQ(std::string(dst.data()), std::string(1023, 'x'));
  EXPECT_EQ(dst[1024], '#');
  std::memcpy(src.data(), "ab\0", 3);  // what lies behind a NUL counts
  std::fill(src.begin() + 3, src.end(), '\0');
  src[900] = 'y';
  UTILITY::ClearSpacesInName(src.data(), dst.data());
  EXPECT_EQ(dst[899], '\0');
  EXPECT_EQ(dst[900], '\0');
  EXPECT_EQ(dst[901], 'x');
}

TEST(NameUtilities, ClearSpacesOfAnEmptyNameCopiesEverything) {
  std::vector<char> src(1024, '\0');
  src[0] = 'x';  // index 0 is not looked at
  std::vector<char> dst(1025, '#');
  UTILITY::ClearSpacesInName(src.data(), dst.data());
  EXPECT_STREQ(dst.data(), "x");
  EXPECT_EQ(dst[1023], '\0');
  EXPECT_EQ(dst[1024], '\0');
}

TEST(AddFullPath, PutsTheStyleDirectoryBetweenRootAndFile) {
  EXPECT_EQ(UTILITY::AddFullPath("C:\\styles", 1, "Default.sty", 1), "C:\\styles\\trqb2\\b2mm\\Default.sty");
  EXPECT_EQ(UTILITY::AddFullPath("C:\\styles", 1, "Default.sty", 0), "C:\\styles\\trqb2\\b2in\\Default.sty");
}

TEST(AddFullPath, OtherSelectorsAddNothing) {
  for (const int units : {2, -1, 2147483647}) {
    EXPECT_EQ(UTILITY::AddFullPath("B", 1, "Default.sty", units), "BDefault.sty") << units;
  }
}

TEST(AddFullPath, MachinesWithoutDirectoryAddNothing) {
  for (const int machine : {14, 24, 26, -1, 1000}) {
    EXPECT_EQ(UTILITY::AddFullPath("B", machine, "f", 1), "Bf") << machine;
  }
}

TEST(AddFullPath, KeptSomeMachinesShareTheirDirectory) {
  for (const int units : {0, 1}) {
    EXPECT_EQ(UTILITY::AddFullPath("", 3, "f", units), UTILITY::AddFullPath("", 2, "f", units));
    EXPECT_EQ(UTILITY::AddFullPath("", 18, "f", units), UTILITY::AddFullPath("", 13, "f", units));
    EXPECT_EQ(UTILITY::AddFullPath("", 23, "f", units), UTILITY::AddFullPath("", 13, "f", units));
  }
  EXPECT_EQ(UTILITY::AddFullPath("", 2, "f", 1), "\\trqc3\\c3mm\\f");
  EXPECT_EQ(UTILITY::AddFullPath("", 23, "f", 0), "\\MirraMax\\MirraMaxin\\f");
}

TEST(AddFullPath, NullRootIsEmpty) {
  EXPECT_EQ(UTILITY::AddFullPath(nullptr, 0, "f", 0), "\\trqa1\\a1in\\f");
}
