#include <gtest/gtest.h>

#include <climits>
#include <type_traits>

#include "host/file_services.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/temp_dir.h"
#include "trq/foundation.h"

TEST(FileUtilities, PermissionOfAMissingFileIsNoQuestion) {
  test_support::MessageBoxRecorder boxes;
  test_support::TempDir dir;
  UTILITY::ConfirmFilePermission(dir.File("none.stl").c_str());
  EXPECT_TRUE(boxes.boxes().empty());
}

TEST(FileUtilities, OverwritingIsAskedOnlyForExistingFiles) {
  test_support::MessageBoxRecorder boxes;
  test_support::TempDir dir;
  EXPECT_EQ(UTILITY::CheckIfOverWriting(dir.File("none.stl").c_str()), 6);
  EXPECT_TRUE(boxes.boxes().empty());
  const CString path = dir.Write("a.stl", "xxx");
  EXPECT_EQ(UTILITY::CheckIfOverWriting(path), 7);
  ASSERT_EQ(boxes.boxes().size(), 1u);
  EXPECT_EQ(boxes.boxes()[0].text, "Do you want to replace " + path.str() + " ?");
  EXPECT_EQ(boxes.boxes()[0].buttons, 4u);
  test_support::MessageBoxRecorder yes(trq::message_box::kYes);
  EXPECT_EQ(UTILITY::CheckIfOverWriting(path), 6);
}

TEST(FileUtilities, ExistenceLooksForThePlaFileToo) {
  test_support::TempDir dir;
  EXPECT_EQ(UTILITY::CheckIfFileExists(dir.File("a").c_str()), 0);
  dir.Write("a.pla", "x");
  EXPECT_EQ(UTILITY::CheckIfFileExists(dir.File("a").c_str()), 101);
  dir.Write("a", "x");
  EXPECT_EQ(UTILITY::CheckIfFileExists(dir.File("a").c_str()), 1);
}

TEST(FileUtilities, FreeSpaceIsKnownForFoldersThatExist) {
  test_support::TempDir dir;
  EXPECT_GE(UTILITY::GetDiskSpaceInKB(dir.File("a.stl").c_str()), 0);
  EXPECT_EQ(UTILITY::GetDiskSpaceInKB((dir.path() / "missing" / "a.stl").string()), -1);
}

TEST(FileUtilities, FreeSpaceIsCountedInKilobytesOf64Bits) {
  static_assert(std::is_same_v<decltype(UTILITY::GetDiskSpaceInKB("")), int64_t>);
  test_support::TempDir dir;
  const double kilobytes = static_cast<double>(std::filesystem::space(dir.path()).available) / 1024;
  const double answer = static_cast<double>(UTILITY::GetDiskSpaceInKB(dir.File("a.stl").c_str()));
  EXPECT_GE(answer, kilobytes / 2);  // others write meanwhile
  EXPECT_LE(answer, kilobytes * 2 + 1024);
}

TEST(FileUtilities, DiskSpaceSufficesForSmallFilesInTheKnownModes) {
  test_support::TempDir dir;
  EXPECT_EQ(UTILITY::CheckDiskSpace(dir.File("none").c_str(), 7), 0);
  const CString path = dir.Write("a.stl", "xxxxxxxxxx");
  for (int mode = 0; mode <= 2; ++mode) EXPECT_EQ(UTILITY::CheckDiskSpace(path, mode), 0);
  EXPECT_EQ(UTILITY::CheckDiskSpace(path, 3), 1);
  EXPECT_EQ(UTILITY::CheckDiskSpace(path, -1), 1);
}

TEST(FileUtilities, DirectoriesDoNotOpen) {
  test_support::TempDir dir;
  EXPECT_EQ(trq::host::OpenFile(dir.path().string(), "rb"), nullptr);
}

TEST(FileUtilities, RoundsToThreeOrFourDecimals) {
  EXPECT_FLOAT_EQ(UTILITY::RoundFloat(1.23456f, 1), 1.235f);
  EXPECT_FLOAT_EQ(UTILITY::RoundFloat(1.23456f, 0), 1.2346f);
}

TEST(FileUtilities, KeptNegativeValuesRoundTowardZeroFromHalfAUnitOff) {
  EXPECT_FLOAT_EQ(UTILITY::RoundFloat(-1.2346f, 1), -1.234f);  // (int)(-1234.6 + 0.5) = -1234
  EXPECT_FLOAT_EQ(UTILITY::RoundFloat(-0.0004f, 1), 0.0f);
  EXPECT_FLOAT_EQ(UTILITY::RoundFloat(-1.23456f, 0), -1.2345f);  // (int)(-12345.6 + 0.5) = -12345
}

TEST(FileUtilities, RoundingBeyondIntegersGivesTheSmallestInteger) {
  EXPECT_FLOAT_EQ(UTILITY::RoundFloat(1e30f, 1), static_cast<float>(INT_MIN * 0.001));
}

TEST(FileUtilities, NormalOfAFacetAndOfAPoint) {
  const float a[3] = {2, 0, 0}, b[3] = {0, 2, 0}, c[3] = {0, 0, 0};
  float n[3];
  UTILITY::get_normal(a, b, c, n);
  EXPECT_EQ(n[0], 0);
  EXPECT_EQ(n[1], 0);
  EXPECT_EQ(n[2], 1);
  UTILITY::get_normal(a, a, a, n);
  EXPECT_EQ(n[0], 0);
  EXPECT_EQ(n[1], 0);
  EXPECT_EQ(n[2], 0);
}
