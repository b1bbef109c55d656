#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/recoat/recoat_styles.h"
#include "tests/support/byte_builder.h"
#include "tests/support/temp_dir.h"
#include "trq/recoat.h"

using test_support::BytesOf;
using test_support::FilledStyle;
using test_support::GoldenSweep;
using test_support::ReadFile;
using test_support::SameRecord;
using test_support::StreamOf;
using test_support::TempDir;

namespace {

std::string Golden(const std::string& name) {
  return ReadFile(std::string(TRQ_TEST_DATA) + "/recoat/" + name);
}

/// Saves through the checked entry point, in the layout of `file_version`.
std::string Saved(KVRECOATSTYLE style, float file_version) {
  const TempDir dir;
  style.FileVersion = file_version;
  EXPECT_EQ(style.writeRecoatStyle(dir.File("a.rcs").c_str()), 0);
  return dir.Read("a.rcs");
}

int ReadBytes(KVRECOATSTYLE& style, const std::string& bytes) {
  const auto stream = StreamOf(bytes);
  style.setStyleFilePtr(stream.get());
  const int result = style.binaryReadStyle();
  style.setStyleFilePtr(nullptr);
  return result;
}

void ExpectSameSweeps(const std::vector<KVSWEEPS>& a, const std::vector<KVSWEEPS>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_TRUE(SameRecord(a[i].BladeGap, b[i].BladeGap)) << i;
    EXPECT_TRUE(SameRecord(a[i].BladeVelocity, b[i].BladeVelocity)) << i;
  }
}

void ExpectSameRecords(const KVRECOATSTYLE& a, const KVRECOATSTYLE& b, int first = 0, int last = 47) {
  const auto rows = trq::RecoatStyleParameters();
  for (int i = first; i <= last; ++i) {
    const trq::RecoatStyleParameterRow& row = rows[static_cast<std::size_t>(i)];
    if (row.quantity == trq::StyleQuantity::kVersion) continue;
    if (row.member.is_float()) {
      EXPECT_TRUE(SameRecord(*row.member.FloatIn(a), *row.member.FloatIn(b))) << row.name;
    } else {
      EXPECT_TRUE(SameRecord(*row.member.IntIn(a), *row.member.IntIn(b))) << row.name;
    }
  }
  ExpectSameSweeps(a.SweepList, b.SweepList);
  ExpectSameSweeps(a.PrimarySweepList, b.PrimarySweepList);
  ExpectSameSweeps(a.SecondarySweepList, b.SecondarySweepList);
}

/// Where the first count record of a 301 file without sweeps and lists begins: three records of 23 bytes and
/// the sum stand behind it.
constexpr std::size_t kBehindFirstCount = 3 * 23 + 4;

}  // namespace

TEST(RecoatStyleFile, Version40IsWrittenInTheNewLayout) {
  std::string expected = Golden("filled_301.rcs");
  const float version = 4.0f;
  test_support::PutWord(expected, 0, version);
  const std::string saved = Saved(FilledStyle(), 4.0f);
  EXPECT_EQ(saved.substr(0, saved.size() - 4), expected.substr(0, expected.size() - 4));
}

TEST(RecoatStyleFile, ReadsThe301FileBack) {
  KVRECOATSTYLE style;
  const KVRECOATSTYLE filled = FilledStyle();
  ASSERT_EQ(ReadBytes(style, Golden("filled_301.rcs")), 0);
  ExpectSameRecords(style, filled);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.StyleName, filled.StyleName);
  EXPECT_EQ(style.FullPathName, filled.FullPathName);
  EXPECT_EQ(style.BuildDescription, filled.BuildDescription);
  EXPECT_EQ(style.Units, "mm");
  EXPECT_EQ(style.MachineType, TRQ_ALTOR900);
  EXPECT_EQ(style.UserLevel, 1);
  EXPECT_EQ(style.LayerThickness, 0.125f);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(style.LayoutWords[i], filled.LayoutWords[i]);
    EXPECT_EQ(style.FurtherHeaderWords[i], filled.FurtherHeaderWords[i]);
    EXPECT_EQ(style.BodyTexts[i], filled.BodyTexts[i]);
  }
  for (int i = 0; i < 4; ++i) EXPECT_EQ(style.HeaderTexts[i].str(), filled.HeaderTexts[i].str());
  for (int i = 0; i < 2; ++i) EXPECT_EQ(style.ClosingTexts[i], filled.ClosingTexts[i]);
}

TEST(RecoatStyleFile, Reads206FileAndStepsTo301) {
  KVRECOATSTYLE style;
  const KVRECOATSTYLE filled = FilledStyle();
  ASSERT_EQ(ReadBytes(style, Golden("filled_206.rcs")), 0);
  ExpectSameRecords(style, filled, 0, 25);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 3.01f);
  EXPECT_EQ(style.UserLevel, 1);
  EXPECT_EQ(style.MachineType, TRQ_ALTOR900);
  EXPECT_EQ(style.ClosingTexts[1], "further two");
  EXPECT_EQ(style.LayerThickness, 0);
  EXPECT_EQ(style.PreferredBladeGap.GetDisplayFlag(), 0);
  EXPECT_EQ(style.KeptInts[3].GetValue(), 0);
}

TEST(RecoatStyleFile, WritingThe206FormLeavesTheVersionInMemory) {
  const auto stream = StreamOf("");
  KVRECOATSTYLE style;
  style.setStyleFilePtr(stream.get());
  EXPECT_EQ(style.binaryWriteStyleData206(), 0);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 0.0f);
}

TEST(RecoatStyleFile, KeptMaximumZeroWritesNoSweeps) {
  KVRECOATSTYLE style;
  for (int k = 0; k < 3; ++k) style.AddToSweepList(GoldenSweep(k));
  style.NumSweeps.SetValue(3);
  style.NumSweeps.SetMinRange(0);
  style.NumSweeps.SetMaxRange(0);
  const std::string bytes = Saved(style, 3.01f);
  EXPECT_EQ(bytes.size(), Golden("default_301.rcs").size());
  KVRECOATSTYLE back;
  back.AddToSweepList(GoldenSweep(1));
  EXPECT_EQ(ReadBytes(back, bytes), 0);
  EXPECT_EQ(back.GetSweepListSize(), 0);
}

TEST(RecoatStyleFile, WriterMakesAPositiveMaximumTheListsLength) {
  KVRECOATSTYLE style;
  for (int k = 0; k < 3; ++k) style.AddToSweepList(GoldenSweep(k));
  style.NumSweeps.SetMaxRange(1);
  style.NumToolingPrimarySweeps.SetMaxRange(5);  // an empty list
  const auto stream = StreamOf("");
  style.setStyleFilePtr(stream.get());
  EXPECT_EQ(style.binaryWriteStyleData301(), 0);
  style.setStyleFilePtr(nullptr);
  EXPECT_EQ(style.NumSweeps.GetMaxRange(), 3);
  EXPECT_EQ(style.NumToolingPrimarySweeps.GetMaxRange(), 0);
  KVRECOATSTYLE back;
  EXPECT_EQ(ReadBytes(back, BytesOf(stream.get())), 0);
  EXPECT_EQ(back.GetSweepListSize(), 3);
  EXPECT_EQ(back.GetPrimarySweepListSize(), 0);
}

TEST(RecoatStyleFile, CountIsTheStoredMaximumNotTheWidenedOne) {
  KVRECOATSTYLE style;
  style.AddToSweepList(GoldenSweep(0));
  style.NumSweeps.SetMinRange(0);
  style.NumSweeps.SetMaxRange(1);
  style.NumSweeps.AddElementToList(7);
  KVRECOATSTYLE back;
  EXPECT_EQ(ReadBytes(back, Saved(style, 3.01f)), 0);
  EXPECT_EQ(back.GetSweepListSize(), 1);
  EXPECT_EQ(back.NumSweeps.GetMaxRange(), 7);
}

TEST(RecoatStyleFile, HostileCountsEndInAShortRead) {
  const std::string good = Golden("default_301.rcs");
  for (const int32_t maximum : {INT32_MAX, 1, 1 << 20}) {
    std::string bytes = good;
    // The maximum stands 15 bytes into the record "Num Sweeps".
    test_support::PutWord(bytes, bytes.size() - kBehindFirstCount + 15, maximum);
    KVRECOATSTYLE style;
    EXPECT_EQ(ReadBytes(style, bytes), -2) << maximum;
  }
  for (const int32_t maximum : {INT32_MIN, -1, 0}) {
    std::string bytes = good;
    test_support::PutWord(bytes, bytes.size() - kBehindFirstCount + 15, maximum);
    KVRECOATSTYLE style;
    EXPECT_EQ(ReadBytes(style, bytes), 0) << maximum;
    EXPECT_EQ(style.GetSweepListSize(), 0);
  }
}

TEST(RecoatStyleFile, HostileListCountsEndInAShortRead) {
  std::string bytes = Golden("default_301.rcs");
  const int32_t listed = INT32_MAX;
  test_support::PutWord(bytes, bytes.size() - kBehindFirstCount + 19, listed);
  KVRECOATSTYLE style;
  EXPECT_EQ(ReadBytes(style, bytes), -2);
}

TEST(RecoatStyleFile, KeptVersion40IsNoRecoatStyleButHasAHeader) {
  std::string bytes = Golden("filled_301.rcs");
  const float version = 4.0f;
  test_support::PutWord(bytes, 0, version);
  KVRECOATSTYLE style;
  // What stands behind the first word is read as a "Version" record without default (its value is the user
  // level's bits). Its list count is made of the layout words 3 and 4 there: 14 * 256 values do not fit the
  // file.
  EXPECT_EQ(ReadBytes(style, bytes), -2);
  // Here 3 * 256 values do, and the value is not 2.06.
  std::string blank = Golden("default_301.rcs");
  test_support::PutWord(blank, 0, version);
  EXPECT_EQ(ReadBytes(style, blank), -5);
  const TempDir dir;
  const std::string path = dir.Write("a.rcs", bytes);
  KVRECOATSTYLE head;
  EXPECT_EQ(head.binaryReadStyleHeader(path.c_str()), 0);
  EXPECT_EQ(head.FileVersion, 4.0f);
  EXPECT_EQ(head.StyleName, "Slow recoat");
  EXPECT_EQ(head.ClosingTexts[1], "further two");
}

TEST(RecoatStyleFile, HeaderOfOtherVersionsIsRefused) {
  const TempDir dir;
  const std::string path = dir.Write("a.rcs", Golden("filled_206.rcs"));
  KVRECOATSTYLE style;
  EXPECT_EQ(style.binaryReadStyleHeader(path.c_str()), -5);
  const std::string cut = dir.Write("b.rcs", Golden("filled_301.rcs").substr(0, 2263));
  EXPECT_EQ(style.binaryReadStyleHeader(cut.c_str()), -2);
}

TEST(RecoatStyleFile, OtherVersionRecordsAreRefused) {
  std::string bytes = Golden("default_206.rcs");
  for (const float version : {2.05f, 2.07f, std::nanf("")}) {
    test_support::PutWord(bytes, 4, version);
    KVRECOATSTYLE style;
    EXPECT_EQ(ReadBytes(style, bytes), -5) << version;
  }
}

TEST(RecoatStyleFile, UserLevelThatLooksLikeAVersionIsReadAsOne) {
  // The first word of a 206 file is peeked as a float; 0 and 1 are never 3.01.
  KVRECOATSTYLE style;
  style.UserLevel = 1;
  KVRECOATSTYLE back;
  EXPECT_EQ(ReadBytes(back, Saved(style, 2.06f)), 0);
  EXPECT_EQ(back.UserLevel, 1);
  EXPECT_EQ(back.FileVersion, 3.01f);
}

TEST(RecoatStyleText, KeptMachineNamesHaveAStrayParenthesis) {
  const TempDir dir;
  KVRECOATSTYLE style;
  style.MachineType = TRQ_ALTOR800;
  EXPECT_EQ(style.writeAsciiRecoatStyle(dir.File("a.txt").c_str()), 0);
  EXPECT_NE(dir.Read("a.txt").find("\nMachine Type: Altor 800)\n"), std::string::npos);
  style.MachineType = TRQ_NONE;
  EXPECT_EQ(style.writeAsciiRecoatStyle(dir.File("a.txt").c_str()), 0);
  EXPECT_NE(dir.Read("a.txt").find("\nMachine Type: TRQ-UNKNOWN\n"), std::string::npos);
  style.MachineType = TRQ_MIRRA_MAX;
  style.CommaSeparated = true;
  EXPECT_EQ(style.writeAsciiRecoatStyle(dir.File("a.txt").c_str()), 0);
  EXPECT_NE(dir.Read("a.txt").find("\nMachine Type: MirraMax\n\nParameter,"), std::string::npos);
}

TEST(RecoatStyleText, OtherUserLevelsPrintNothing) {
  const TempDir dir;
  KVRECOATSTYLE style;
  style.UserLevel = 2;
  EXPECT_EQ(style.writeAsciiRecoatStyle(dir.File("a.txt").c_str()), 0);
  EXPECT_NE(dir.Read("a.txt").find("\nUser Level: \n"), std::string::npos);
}
