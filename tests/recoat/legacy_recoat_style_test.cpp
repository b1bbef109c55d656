#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/byte_builder.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/recoat.h"

using test_support::ReadFile;
using test_support::TempDir;

namespace {

std::string Golden(const std::string& name) {
  return ReadFile(std::string(TRQ_TEST_DATA) + "/recoat/" + name);
}

/// The style of legacy_sweeps.rcs.
RECOATSTYLE MadeStyle() {
  RECOATSTYLE style("styles/Old.rcs");
  style.StyleName = "Old recoat";
  style.BuildDescription = "flat form";
  style.RecoatType = 1;
  style.StartZ = 0.5f;
  style.EndZ = 12.25f;
  style.ZVelocity = 1;
  style.ZAcceleration = 2;
  style.ZDipDistance = 3;
  style.ZPreDipDelay = 4;
  style.ZPostDipDelay = 5;
  style.ZWait = 6;
  style.PrimaryZVelocity = 7;
  style.PrimaryZAcceleration = 8;
  style.PrimaryZDipDistance = 9;
  style.PrimaryZPreDipDelay = 10;
  style.PrimaryZPostDipDelay = 11;
  style.PrimaryZWait = 12;
  style.SecondaryZVelocity = 13;
  style.SecondaryZAcceleration = 14;
  style.SecondaryZDipDistance = 15;
  style.SecondaryZPreDipDelay = 16;
  style.SecondaryZPostDipDelay = 17;
  style.SecondaryZWait = 18;
  style.NumberOfSecondary = 9;
  return style;
}

std::shared_ptr<std::vector<SWEEPS>> Sweeps(int n, int count) {
  auto list = std::make_shared<std::vector<SWEEPS>>();
  for (int k = 0; k < count; ++k) {
    SWEEPS sweep;
    sweep.BladeGap = 100.0f + 10 * n + k;
    sweep.BladeVelocity = 1.5f + 10 * n + k;
    list->push_back(sweep);
  }
  return list;
}

RECOATSTYLE MadeStyleWithSweeps() {
  RECOATSTYLE style = MadeStyle();
  style.NumSweeps = 2;
  style.NumToolingPrimarySweeps = 1;
  style.NumToolingSecondarySweeps = 3;
  style.SweepList = Sweeps(0, 2);
  style.PrimarySweepList = Sweeps(1, 1);
  style.SecondarySweepList = Sweeps(2, 3);
  return style;
}

}  // namespace

TEST(LegacyRecoatStyle, StartsWithItsDefaults) {
  const RECOATSTYLE style("p/a.rcs");
  EXPECT_EQ(style.StyleName, "None");
  EXPECT_EQ(style.BuildDescription, "None");
  EXPECT_EQ(style.FullPathName, "p/a.rcs");
  EXPECT_EQ(style.Version, 2.03f);
  EXPECT_EQ(style.StartZ, 0);
  EXPECT_EQ(style.EndZ, 1.0f);
  EXPECT_EQ(style.NumSweeps, 0);
  EXPECT_EQ(style.SweepList, nullptr);
  EXPECT_EQ(style.PrimarySweepList, nullptr);
  EXPECT_EQ(style.SecondarySweepList, nullptr);
}

TEST(LegacyRecoatStyle, WritesTheGoldenFiles) {
  const TempDir dir;
  EXPECT_EQ(MadeStyle().binaryWriteStyle(dir.File("a.rcs").c_str()), 0);
  EXPECT_EQ(dir.Read("a.rcs"), Golden("legacy.rcs"));
  EXPECT_EQ(MadeStyleWithSweeps().binaryWriteStyle(dir.File("a.rcs").c_str()), 0);
  EXPECT_EQ(dir.Read("a.rcs"), Golden("legacy_sweeps.rcs"));
}

TEST(LegacyRecoatStyle, KeptReadingDiscardsTheStoredPath) {
  const TempDir dir;
  RECOATSTYLE style(dir.Write("a.rcs", Golden("legacy_sweeps.rcs")).c_str());
  ASSERT_EQ(style.binaryReadStyle(), 0);
  EXPECT_EQ(style.FullPathName, dir.File("a.rcs").c_str());
  EXPECT_EQ(style.StyleName, "Old recoat");
  EXPECT_EQ(style.BuildDescription, "flat form");
  EXPECT_EQ(style.RecoatType, 1);
  EXPECT_EQ(style.StartZ, 0.5f);
  EXPECT_EQ(style.EndZ, 12.25f);
  EXPECT_EQ(style.SecondaryZWait, 18);
  EXPECT_EQ(style.NumberOfSecondary, 9);
  ASSERT_EQ(style.SecondarySweepList->size(), 3u);
  EXPECT_EQ((*style.SecondarySweepList)[2].BladeGap, 122);
  EXPECT_EQ((*style.SecondarySweepList)[2].BladeVelocity, 23.5f);
}

TEST(LegacyRecoatStyle, KeptCountFieldsDecideWhatIsRead) {
  const TempDir dir;
  RECOATSTYLE style = MadeStyle();
  style.NumSweeps = 2;
  style.SweepList = Sweeps(0, 3);
  style.NumToolingPrimarySweeps = 1;
  EXPECT_EQ(style.binaryWriteStyle(dir.File("a.rcs").c_str()), 0);
  RECOATSTYLE back(dir.File("a.rcs").c_str());
  ASSERT_EQ(back.binaryReadStyle(), 0);
  ASSERT_EQ(back.SweepList->size(), 2u);
  ASSERT_EQ(back.PrimarySweepList->size(), 1u);
  EXPECT_EQ((*back.PrimarySweepList)[0].BladeGap, 102);  // the third sweep's bytes
}

TEST(LegacyRecoatStyle, ShortFilesEndInTheirCodes) {
  const TempDir dir;
  const std::string path = dir.Write("a.rcs", Golden("legacy_sweeps.rcs"));
  for (std::size_t length = std::filesystem::file_size(path); length-- > 0;) {
    std::filesystem::resize_file(path, length);
    RECOATSTYLE style(path.c_str());
    ASSERT_EQ(style.binaryReadStyle(), length < 1109 ? -2 : -1) << length;
  }
  RECOATSTYLE missing(dir.File("none.rcs").c_str());
  EXPECT_EQ(missing.binaryReadStyle(), -3);
}

TEST(LegacyRecoatStyle, HostileCountsEndInAShortRead) {
  const TempDir dir;
  std::string bytes = Golden("legacy.rcs");
  int32_t count = INT32_MAX;
  test_support::PutWord(bytes, 1113 + 20 * 4, count);  // the 21st number is the sweep count
  RECOATSTYLE style(dir.Write("a.rcs", bytes).c_str());
  EXPECT_EQ(style.binaryReadStyle(), -1);
  count = INT32_MIN;
  test_support::PutWord(bytes, 1113 + 20 * 4, count);
  dir.Write("a.rcs", bytes);
  EXPECT_EQ(style.binaryReadStyle(), 0);
  EXPECT_TRUE(style.SweepList->empty());
}

TEST(LegacyRecoatStyle, WriteFailuresHaveCodes) {
  const TempDir dir;
  EXPECT_EQ(MadeStyle().binaryWriteStyle(dir.File("none/a.rcs").c_str()), -3);
  EXPECT_EQ(MadeStyle().binaryWriteStyle(test_support::FullDisk()), -1);
  EXPECT_EQ(MadeStyle().writeRecoatStyle(dir.File("none/a.rcs").c_str()), -3);
  EXPECT_EQ(MadeStyle().writeRecoatStyle(test_support::FullDisk()), -1);
}

TEST(LegacyRecoatStyle, TextIsToldByItsFirstWord) {
  const TempDir dir;
  RECOATSTYLE style(dir.Write("a.rcs", "NAME of it").c_str());
  style.FileKind = 1;
  EXPECT_EQ(style.isStyleFileBinary(), 0);
  EXPECT_EQ(style.FileKind, 0);
  dir.Write("a.rcs", "Namx");
  EXPECT_EQ(style.isStyleFileBinary(), 0);
  EXPECT_EQ(style.FileKind, 1);
  dir.Write("a.rcs", Golden("legacy.rcs"));
  EXPECT_EQ(style.isStyleFileBinary(), 0);
  EXPECT_EQ(style.FileKind, 1);
  dir.Write("a.rcs", "Nam");
  EXPECT_EQ(style.isStyleFileBinary(), -1);
  RECOATSTYLE missing(dir.File("none.rcs").c_str());
  EXPECT_EQ(missing.isStyleFileBinary(), -3);
}

TEST(LegacyRecoatStyle, TextFormHasOneFieldALine) {
  const TempDir dir;
  RECOATSTYLE style = MadeStyle();
  style.NumSweeps = 1;
  style.SweepList = Sweeps(0, 1);
  ASSERT_EQ(style.writeRecoatStyle(dir.File("a.txt").c_str()), 0);
  const std::string text = dir.Read("a.txt");
  EXPECT_EQ(text.rfind("Name Old recoat\nFull PathName styles/Old.rcs\nBuild Description flat form\n", 0),
            0u);
  EXPECT_NE(text.find("\nVersion 2.030000\nStart Z 0.500000\nEnd Z 12.250000\n"), std::string::npos);
  EXPECT_NE(text.find("\nZ Pre DipDelay 4\n"), std::string::npos);
  EXPECT_NE(text.find("\nNumber Of Secondary 9\nSweep 100.000000 1.500000\n"), std::string::npos);
  RECOATSTYLE told(dir.File("a.txt").c_str());
  EXPECT_EQ(told.isStyleFileBinary(), 0);
  EXPECT_EQ(told.FileKind, 0);
}

TEST(LegacyRecoatStyle, KeptAssignmentSharesTheLists) {
  const RECOATSTYLE style = MadeStyleWithSweeps();
  RECOATSTYLE assigned("other.rcs");
  assigned = style;
  EXPECT_EQ(assigned.SweepList, style.SweepList);
  (*assigned.SweepList)[0].BladeGap = 77;
  EXPECT_EQ((*style.SweepList)[0].BladeGap, 77);
  const RECOATSTYLE copied(style);
  EXPECT_EQ(copied.SecondarySweepList, style.SecondarySweepList);
}

TEST(LegacyRecoatStyle, CopyMakesListsOfItsOwn) {
  const RECOATSTYLE style = MadeStyleWithSweeps();
  RECOATSTYLE copy("other.rcs");
  copy.copyRecoatStyle(&style);
  EXPECT_EQ(copy.FullPathName, "styles/Old.rcs");
  ASSERT_NE(copy.SweepList, style.SweepList);
  ASSERT_EQ(copy.SweepList->size(), 2u);
  (*copy.SweepList)[0].BladeGap = 77;
  EXPECT_EQ((*style.SweepList)[0].BladeGap, 100);
  copy.copyRecoatStyle(nullptr);
  copy.copyRecoatStyle(&copy);
  EXPECT_EQ((*copy.SweepList)[0].BladeGap, 77);
}

TEST(LegacyRecoatStyle, ClosingOneOfSeveralThatShareTheStreamIsEnough) {
  RECOATSTYLE style = MadeStyle();
  RECOATSTYLE copied(style);
  style.closeBuildStyleFile();
  copied.closeBuildStyleFile();
  const TempDir dir;
  EXPECT_EQ(copied.binaryWriteStyle(dir.File("a.rcs").c_str()), 0);
}

TEST(LegacyRecoatStyle, StructureGivesNumbersAndSevenSweepsAtMost) {
  _rc_style s;
  std::memset(&s, 0, sizeof s);
  std::strcpy(s.style_name, "made");
  s.z_post_dip_delay = 6.9f;
  s.z_pre_dip_delay = -7.9f;
  s.z_wait = 21.5f;
  s.end_z = 3;
  s.primary.wait = 13;
  s.number_of_sweeps = 9;
  s.number_of_secondary_sweeps = 1;
  s.sweeps[6] = {106, 7};
  s.secondary_sweeps[0] = {300, 3};
  const RECOATSTYLE style(&s, 1);
  EXPECT_EQ(style.StyleName, "made");
  EXPECT_EQ(style.Version, 2.03f);
  EXPECT_EQ(style.RecoatType, 1);
  EXPECT_EQ(style.EndZ, 3);
  EXPECT_EQ(style.ZPostDipDelay, 6);
  EXPECT_EQ(style.ZPreDipDelay, -7);
  EXPECT_EQ(style.ZWait, 21);
  EXPECT_EQ(style.PrimaryZWait, 13);
  EXPECT_EQ(style.NumSweeps, 9);
  ASSERT_EQ(style.SweepList->size(), 7u);
  EXPECT_EQ((*style.SweepList)[6].BladeVelocity, 7);
  EXPECT_TRUE(style.PrimarySweepList->empty());
  ASSERT_EQ(style.SecondarySweepList->size(), 1u);
  EXPECT_EQ((*style.SecondarySweepList)[0].BladeGap, 300);
}
