/// Build style files: layouts, special slots, dispatch, damaged files. What they share with recoat style
/// files stands in tests/recoat/style_container_test.cpp.
#include <gmock/gmock.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "tests/styles/style_samples.h"
#include "tests/support/byte_builder.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/styles.h"

namespace {

using test_support::ByteBuilder;
using test_support::CrcBytes;
using test_support::DifferingRecords;
using test_support::FillStyle;
using test_support::GoldenStyle;
using test_support::Stream;
using test_support::StreamOf;
using test_support::TempDir;
using testing::UnorderedElementsAre;

constexpr std::size_t kHeaderBytes = 2264;
constexpr std::size_t kEmptyRecord = 23;

/// Overwrites bytes and makes the CRC behind them true again.
std::string Patched(std::string bytes, std::size_t offset, const std::string& with) {
  bytes.replace(offset, with.size(), with);
  bytes.resize(bytes.size() - 4);
  return bytes + CrcBytes(bytes);
}

std::string Int32(int32_t v) { return ByteBuilder().I32(v).bytes(); }
std::string Float32(float v) { return ByteBuilder().F32(v).bytes(); }

std::string WrittenBy(KVBUILDSTYLE& style) {
  const TempDir dir;
  EXPECT_EQ(style.writeBuildStyle(dir.File("style")), 0);
  return dir.Read("style");
}

int ReadBytes(KVBUILDSTYLE& style, const std::string& bytes) {
  const Stream stream = StreamOf(bytes);
  style.setStyleFilePtr(stream.get());
  const int result = style.binaryReadStyle();
  style.setStyleFilePtr(nullptr);
  return result;
}

/// As ReadBytes for many short files; memory streams cannot be empty.
int ReadFromMemory(KVBUILDSTYLE& style, std::string& bytes, std::size_t length) {
  const Stream stream = test_support::StreamInMemory(bytes, length);
  style.setStyleFilePtr(stream.get());
  const int result = style.binaryReadStyle();
  style.setStyleFilePtr(nullptr);
  return result;
}

// --- Golden files

TEST(BuildStyleFile, Golden301ReadsBackToEqualRecords) {
  KVBUILDSTYLE expected;
  FillStyle(expected);
  const TempDir dir;
  const std::string path = dir.Write("filled.sty", GoldenStyle("filled_301.sty"));
  KVBUILDSTYLE style;
  ASSERT_EQ(style.readBuildStyle(path), 0);
  // "Version" is a header word, the last six of the run are in no file, the slot holds "Shelling Thickness",
  // and a compensation flag comes back as 1 or 0.
  EXPECT_THAT(DifferingRecords(style, expected),
              UnorderedElementsAre("Version", "AfterSupportCureDepths[15]", "AfterSupportCureDepths[16]",
                                   "AfterSupportCureDepths[17]", "AfterSupportCureDepths[18]",
                                   "AfterSupportCureDepths[19]", "AfterSupportCureDepths[20]",
                                   "QC Min Large Thick Skin Width", "Small Line Width Compenstation Flag"));
  EXPECT_EQ(style.SmallLineWidthCompenstationFlag.GetValue(), 1);
  EXPECT_EQ(style.SmallLineWidthCompenstationFlag.GetDefaultValue(),
            expected.SmallLineWidthCompenstationFlag.GetDefaultValue());
  EXPECT_EQ(style.Version.GetValue(), 4.0f);
  EXPECT_EQ(style.FileVersion, 4.0f);
  EXPECT_TRUE(test_support::EqualRecords(style.QCMinLargeThickSkinWidth, expected.ShellingThickness));
  EXPECT_EQ(style.UserLevel, 1);
  EXPECT_EQ(style.MachineType, TRQ_ALTOR900);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(style.LayoutWords[i], 11 + i);
  EXPECT_EQ(style.FurtherHeaderWords[4], -25);
  EXPECT_EQ(style.StyleName, "Filled style");
  EXPECT_EQ(style.FullPathName, "C:\\styles\\filled.sty");
  EXPECT_EQ(style.HeaderTexts[0], "Header text 1");
  EXPECT_EQ(style.HeaderTexts[1], "Header text 2");
  EXPECT_EQ(style.HeaderTexts[2].str(), test_support::RawHeaderText());
  EXPECT_EQ(style.HeaderTexts[3], std::string(63, 'x'));
  EXPECT_EQ(style.HeaderTexts[4], "Header text 5");
  EXPECT_EQ(style.HeaderTexts[5], "Header text 6");
  EXPECT_EQ(style.NoticeText, std::string(511, 'y'));
  EXPECT_EQ(style.TextsAfterNotice[3], "More text 3");
  // In no build style file:
  EXPECT_EQ(style.BuildDescription, "None");
  EXPECT_EQ(style.Units, "in");
  EXPECT_EQ(style.UnstoredTexts[0], "None");
}

TEST(BuildStyleFile, Golden206ReadsBackAndIsConverted) {
  KVBUILDSTYLE expected;
  FillStyle(expected);
  const TempDir dir;
  const std::string path = dir.Write("filled.sty", GoldenStyle("filled_206.sty"));
  KVBUILDSTYLE style;
  ASSERT_EQ(style.readBuildStyle(path), 0);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 3.01f);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_EQ(style.StyleName, "Filled style");
  EXPECT_EQ(style.FullPathName, "C:\\styles\\filled.sty");
  EXPECT_EQ(style.HeaderTexts[5], "Header text 6");
  EXPECT_EQ(style.HeaderTexts[4], "Header text 5");
  EXPECT_EQ(style.HeaderTexts[0], "None");  // the rest of the header is in no 206 file
  EXPECT_EQ(style.UserLevel, 0);
  EXPECT_EQ(style.MachineType, TRQ_E7);
  for (const char* name :
       {"Start Z", "Small Up Fill Spacing  4", "Large Retract End", "QC LayerDepth", "Dp",
        "Min Width For Small Spot", "Large Support Up Interface Boundary Cure Depth", "Shelling Thickness"}) {
    EXPECT_TRUE(test_support::EqualRecords(*style.FindFloat(name), *expected.FindFloat(name))) << name;
  }
  for (const char* name : {"Small LayerNumHatches", "Additional Boundaries", "UH Flag",
                           "AfterMinLargeNSWidth", "Tooling Sequencing Ratio"}) {
    EXPECT_TRUE(test_support::EqualRecords(*style.FindInt(name), *expected.FindInt(name))) << name;
  }
  // Flags come as bits: one or zero, value only.
  EXPECT_EQ(style.SmallSpotOnlyFlag.GetValue(), expected.SmallSpotOnlyFlag.GetValue() != 0 ? 1 : 0);
  EXPECT_EQ(style.SmallSpotOnlyFlag.GetDefaultValue(), 0);
  EXPECT_EQ(style.LayerBorderPower.GetValue(), 600.0f);
}

TEST(BuildStyleFile, DefaultStyleSurvivesARoundTripWhole) {
  KVBUILDSTYLE style;
  ASSERT_EQ(ReadBytes(style, GoldenStyle("default_301.sty")), 0);
  // The shared slot gives "QC Min Large Thick Skin Width" what "Shelling Thickness" holds.
  EXPECT_THAT(DifferingRecords(style, KVBUILDSTYLE()), UnorderedElementsAre("QC Min Large Thick Skin Width"));
  EXPECT_EQ(WrittenBy(style), GoldenStyle("default_301.sty"));
}

// --- Special slots

TEST(BuildStyleFile, KeptSharedSlotMakesTwoParametersEqual) {
  for (const float version : {3.01f, 2.06f}) {
    KVBUILDSTYLE style;
    style.FileVersion = version;
    style.ShellingThickness.SetValue(0.05f);
    style.QCMinLargeThickSkinWidth.SetValue(0.3f);
    style.QCMinLargeThickSkinWidth.AddElementToList(1);
    const std::string bytes = WrittenBy(style);
    EXPECT_EQ(style.ShellingThickness.GetValue(), 0.05f);
    EXPECT_TRUE(test_support::EqualRecords(style.QCMinLargeThickSkinWidth, style.ShellingThickness));
    KVBUILDSTYLE read;
    ASSERT_EQ(ReadBytes(read, bytes), 0);
    EXPECT_EQ(read.ShellingThickness.GetValue(), 0.05f);
    EXPECT_EQ(read.QCMinLargeThickSkinWidth.GetValue(), 0.05f);
    EXPECT_EQ(read.QCMinLargeThickSkinWidth.GetMaxRange(), 1.0f);
  }
}

/// Where the records of a default file stand: offset of the flags word of the 206 layout.
std::size_t FlagsWordOffset206() {
  // "Version", two texts, "Start Z" to "Additional Boundaries": 3 + 138 + 23 records.
  return kEmptyRecord + 2 * 512 + (3 + 138 + 23) * kEmptyRecord;
}

TEST(BuildStyleFile, KeptFlagsWordInvertsTheCompensationFlags) {
  const std::string golden = GoldenStyle("default_206.sty");
  // A default style: both compensation flags 1, the others 0; the word is a fresh record around its mask.
  EXPECT_EQ(golden.substr(FlagsWordOffset206(), kEmptyRecord),
            ByteBuilder().I32(0).I32(0).U8(1).U8(1).U8(1).I32(100000).I32(-100000).I32(0).bytes());
  for (const bool all : {false, true}) {
    KVBUILDSTYLE style;
    ASSERT_EQ(ReadBytes(style, Patched(golden, FlagsWordOffset206(), Int32(all ? 0x7FF : 0))), 0);
    for (const char* name :
         {"DH Flag", "Small Spot Only Flag", "Z Smoothing Flag", "High Spatial Tolerance Flag",
          "Differential Shrink Flag", "Small Feature Preservation Flag", "Pattern Style Flag",
          "Shelling Flag", "Layer Only Flag"}) {
      EXPECT_EQ(style.FindInt(name)->GetValue(), all ? 1 : 0) << name;
      EXPECT_EQ(style.FindInt(name)->GetDefaultValue(), 0) << name;
    }
    EXPECT_EQ(style.SmallLineWidthCompenstationFlag.GetValue(), all ? 0 : 1);
    EXPECT_EQ(style.LargeLineWidthCompenstationFlag.GetValue(), all ? 0 : 1);
    EXPECT_EQ(style.SmallLineWidthCompenstationFlag.GetDefaultValue(), 1);
  }
}

TEST(BuildStyleFile, KeptFlagBitsHaveAnOrderOfTheirOwn) {
  const std::pair<const char*, int> bits[] = {{"DH Flag", 0x001},
                                              {"Small Spot Only Flag", 0x002},
                                              {"Z Smoothing Flag", 0x004},
                                              {"High Spatial Tolerance Flag", 0x008},
                                              {"Differential Shrink Flag", 0x020},
                                              {"Small Feature Preservation Flag", 0x040},
                                              {"Pattern Style Flag", 0x100},
                                              {"Shelling Flag", 0x200},
                                              {"Layer Only Flag", 0x400}};
  for (const auto& [name, bit] : bits) {
    KVBUILDSTYLE style;
    style.FileVersion = 0;
    style.FindInt(name)->SetValue(-7);  // any value but 0 sets the bit
    EXPECT_EQ(WrittenBy(style).substr(FlagsWordOffset206(), 4), Int32(bit)) << name;
  }
  const std::pair<const char*, int> inverted[] = {{"Small Line Width Compenstation Flag", 0x010},
                                                  {"Large Line Width Compenstation Flag", 0x080}};
  for (const auto& [name, bit] : inverted) {
    KVBUILDSTYLE style;
    style.FileVersion = 0;
    style.FindInt(name)->SetValue(0);
    EXPECT_EQ(WrittenBy(style).substr(FlagsWordOffset206(), 4), Int32(bit)) << name;
  }
}

/// "Small Line Width Compenstation Flag" in a default 301 file.
std::size_t SmallCompensationOffset301() {
  // 20 records and six texts, "Start Z" to "Additional Boundaries", four flags.
  return kHeaderBytes + 20 * kEmptyRecord + 6 * 512 + (3 + 138 + 23 + 4) * kEmptyRecord;
}

TEST(BuildStyleFile, KeptCompensationFlagsAreStoredInverted) {
  for (const int value : {1, 0, 5}) {
    KVBUILDSTYLE style;
    style.SmallLineWidthCompenstationFlag.SetValue(value);
    style.LargeLineWidthCompenstationFlag.SetValue(0);
    const std::string bytes = WrittenBy(style);
    const std::size_t offset = SmallCompensationOffset301();
    EXPECT_EQ(bytes.substr(offset, 8), Int32(value == 0 ? 1 : 0) + Int32(1)) << "the default is not inverted";
    EXPECT_EQ(bytes.substr(offset + kEmptyRecord, 8), Int32(1) + Int32(1));
    EXPECT_EQ(style.SmallLineWidthCompenstationFlag.GetValue(), value) << "memory is unchanged";
    KVBUILDSTYLE read;
    ASSERT_EQ(ReadBytes(read, bytes), 0);
    EXPECT_EQ(read.SmallLineWidthCompenstationFlag.GetValue(), value == 0 ? 0 : 1);
    EXPECT_EQ(read.LargeLineWidthCompenstationFlag.GetValue(), 0);
    EXPECT_EQ(read.LargeLineWidthCompenstationFlag.GetDefaultValue(), 1);
  }
}

TEST(BuildStyleFile, KeptVersionOfA206FileIsWrittenFromACopy) {
  KVBUILDSTYLE style;
  style.FileVersion = 1.0f;
  style.Version.SetValue(7);
  style.Version.SetDefaultValue(8);
  style.Version.AddElementToList(9);
  const std::string bytes = WrittenBy(style);
  EXPECT_EQ(bytes.substr(0, 8), Float32(2.06f) + Float32(2.06f));
  EXPECT_EQ(bytes.substr(19, 8), Int32(1) + Float32(9));
  EXPECT_EQ(style.Version.GetValue(), 7.0f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 8.0f);
}

// --- Texts

TEST(BuildStyleFile, TextFieldsAreCutAndPaddedAndReadWhole) {
  KVBUILDSTYLE style;
  style.StyleName = std::string(512, 'n');
  style.HeaderTexts[0] = std::string("ab\0cd", 5);  // the text ends at its NUL
  style.HeaderTexts[2] = std::string(40, 'r');
  const std::string bytes = WrittenBy(style);
  EXPECT_EQ(bytes.substr(56, 512), std::string(511, 'n') + '\0');
  EXPECT_EQ(bytes.substr(568, 64), "ab" + std::string(62, '\0'));
  EXPECT_EQ(bytes.substr(1144, 32), std::string(32, 'r'));
  const std::string full =
      Patched(Patched(bytes, 56, std::string(512, 'f')), 568, std::string("xy\0junk", 7));
  KVBUILDSTYLE read;
  ASSERT_EQ(ReadBytes(read, full), 0);
  EXPECT_EQ(read.StyleName, std::string(512, 'f'));
  EXPECT_EQ(read.HeaderTexts[0], "xy");
  EXPECT_EQ(read.HeaderTexts[2].str(), std::string(32, 'r'));
}

TEST(BuildStyleFile, TheSecondCopyOfHeaderTextsWins) {
  const std::string golden = GoldenStyle("default_301.sty");
  KVBUILDSTYLE style;
  ASSERT_EQ(ReadBytes(style, Patched(golden, 1752, "header copy")), 0);
  EXPECT_EQ(style.HeaderTexts[5], "None");
}

// --- Versions and dispatch

TEST(BuildStyleFile, OnlyTwoVersionsHaveTheHeader) {
  for (const float version : {3.01f, 4.0f}) {
    KVBUILDSTYLE style;
    style.FileVersion = version;
    EXPECT_EQ(WrittenBy(style).substr(0, 4), Float32(version));
  }
  for (const float version :
       {0.0f, 2.05f, 2.06f, 3.0f, 3.02f, 5.0f, std::numeric_limits<float>::quiet_NaN()}) {
    KVBUILDSTYLE style;
    style.FileVersion = version;
    EXPECT_EQ(WrittenBy(style), GoldenStyle("default_206.sty")) << version;
  }
}

TEST(BuildStyleFile, Version400IsPassedOn) {
  KVBUILDSTYLE style;
  style.FileVersion = 4.0f;
  const std::string bytes = WrittenBy(style);
  KVBUILDSTYLE read;
  ASSERT_EQ(ReadBytes(read, bytes), 0);
  EXPECT_EQ(read.FileVersion, 4.0f);
  EXPECT_EQ(read.Version.GetValue(), 4.0f);
  EXPECT_EQ(WrittenBy(read), bytes);
}

TEST(BuildStyleFile, A206FileGivesTheConversionDefaultsWhateverTheStyleHeld) {
  KVBUILDSTYLE style;
  FillStyle(style);
  ASSERT_EQ(ReadBytes(style, GoldenStyle("default_206.sty")), 0);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_EQ(style.ShellSupportSpacing.GetValue(), 0.4f);
  EXPECT_EQ(style.ShellSupportSpacing.GetMaxRange(), 2.0f);
  EXPECT_EQ(style.SmartBestSurfaceFinishLayers.GetValue(), 10);
  EXPECT_EQ(style.ZFilteringFlag.GetValue(), 1);
  EXPECT_EQ(style.DrawBordersLastFlag.GetValue(), 0);
  EXPECT_EQ(style.LayoutWords[0], 4);
  // Powers are in no 206 file and the conversion leaves them alone.
  EXPECT_NE(style.LayerBorderPower.GetValue(), 600.0f);
}

TEST(BuildStyleFile, VersionRecordCutShortAndOfAnotherValue) {
  KVBUILDSTYLE style;
  const std::string golden = GoldenStyle("default_206.sty");
  EXPECT_EQ(ReadBytes(style, golden.substr(0, 22)), -2);
  for (const float version : {2.05f, 2.07f, 3.0f, 0.0f, -1.0f, 2.0600004f}) {
    EXPECT_EQ(ReadBytes(style, Float32(version) + golden.substr(4)), -5) << version;
  }
}

TEST(BuildStyleFile, FewerThanFourBytesAreAShortRead) {
  KVBUILDSTYLE style;
  const TempDir dir;
  for (int length = 0; length < 4; ++length) {
    EXPECT_EQ(style.binaryReadStyle(dir.Write("short", std::string(static_cast<std::size_t>(length), '\0'))),
              -2);
  }
  EXPECT_EQ(style.binaryReadStyle(dir.File("missing")), -1);
  EXPECT_EQ(style.binaryReadStyle(dir.path().string()), -1) << "a folder";
}

TEST(BuildStyleFile, StylesInsideLargerFilesAreReadFromThePosition) {
  std::string first = GoldenStyle("filled_301.sty");
  std::string second = GoldenStyle("filled_206.sty");
  first.resize(first.size() - 4);
  second.resize(second.size() - 4);
  const Stream stream = StreamOf("lead" + first + second + "tail");
  std::fseek(stream.get(), 4, SEEK_SET);
  KVBUILDSTYLE style;
  style.setStyleFilePtr(stream.get());
  ASSERT_EQ(style.binaryReadStyle(), 0);
  EXPECT_EQ(style.FileVersion, 4.0f);
  EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(4 + first.size()));
  ASSERT_EQ(style.binaryReadStyle(), 0);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(4 + first.size() + second.size()));
  EXPECT_EQ(style.StoredCRC, 0u);
}

TEST(BuildStyleFile, HeaderAndBodyAreReadableByHalves) {
  const Stream stream = StreamOf(GoldenStyle("filled_301.sty"));
  KVBUILDSTYLE style;
  style.setStyleFilePtr(stream.get());
  ASSERT_EQ(style.binaryReadStyleHeader301(), 0);
  EXPECT_EQ(std::ftell(stream.get()), 2264);
  EXPECT_EQ(style.StyleName, "Filled style");
  EXPECT_EQ(style.StartZ.GetValue(), 0.0f);
  ASSERT_EQ(style.binaryReadStyleData301(), 0);
  EXPECT_EQ(style.StartZ.GetValue(), 1.5f);
  EXPECT_EQ(style.Version.GetValue(), 3.01f) << "set by the dispatch only";
}

TEST(BuildStyleFile, HeaderAloneIsReadAndTheFileClosed) {
  const TempDir dir;
  KVBUILDSTYLE style;
  EXPECT_EQ(style.binaryReadStyleHeader(dir.Write("a", GoldenStyle("filled_301.sty"))), 0);
  EXPECT_EQ(style.StyleName, "Filled style");
  EXPECT_EQ(style.FileVersion, 4.0f);
  EXPECT_EQ(style.StartZ.GetValue(), 0.0f);
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(style.binaryReadStyleHeader(dir.Write("b", GoldenStyle("filled_206.sty"))), -5);
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(style.binaryReadStyleHeader(dir.Write("c", "abc")), -2);
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(style.binaryReadStyleHeader(dir.Write("d", GoldenStyle("filled_301.sty").substr(0, 2263))), -2);
  EXPECT_EQ(style.binaryReadStyleHeader(dir.File("missing")), -1);
  EXPECT_EQ(style.FileVersion, 4.0f);
}

// --- Probing

TEST(BuildStyleLoading, ProbeAsksForFourBytesOnly) {
  const TempDir dir;
  KVBUILDSTYLE style;
  style.StyleName = dir.Write("four", "abcd");
  EXPECT_EQ(style.isStyleFileBinary(), 0);
  style.StyleName = dir.Write("three", "abc");
  EXPECT_EQ(style.isStyleFileBinary(), -2);
  style.StyleName = dir.File("missing");
  EXPECT_EQ(style.isStyleFileBinary(), -1);
  style.StyleName = dir.path().string();
  EXPECT_EQ(style.isStyleFileBinary(), -1);
}

// --- Damaged files

TEST(BuildStyleDamage, FlippedBytesWithoutCrcGiveOneOfTheCodes) {
  for (const char* name : {"default_206.sty", "default_301.sty"}) {
    std::string bytes = GoldenStyle(name);
    KVBUILDSTYLE style;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      for (const int flip : {0x01, 0x80}) {
        bytes[i] = static_cast<char>(bytes[i] ^ flip);
        const int result = ReadFromMemory(style, bytes, bytes.size());
        ASSERT_TRUE(result == 0 || result == -2 || result == -5) << name << " at " << i << ": " << result;
        ASSERT_TRUE(result != -5 || i < 4) << "only the version word decides the layout";
        bytes[i] = static_cast<char>(bytes[i] ^ flip);
      }
    }
  }
}

TEST(BuildStyleDamage, HugeCountsAreShortReadsAndNegativeOnesEmpty) {
  const std::string golden = GoldenStyle("default_301.sty");
  const std::size_t counts[] = {kHeaderBytes + 19,                       // the first record
                                kHeaderBytes + 10 * kEmptyRecord + 19,   // an integer record
                                SmallCompensationOffset301() + 19,       // a special slot
                                golden.size() - 4 - kEmptyRecord + 19};  // the last record
  for (const std::size_t offset : counts) {
    for (const int count : {INT_MAX, 0x10000000}) {
      KVBUILDSTYLE style;
      EXPECT_EQ(ReadBytes(style, Patched(golden, offset, Int32(count))), -2) << offset;
    }
    for (const int count : {-1, INT_MIN}) {
      KVBUILDSTYLE style;
      ASSERT_EQ(ReadBytes(style, Patched(golden, offset, Int32(count))), 0) << offset;
      EXPECT_THAT(DifferingRecords(style, KVBUILDSTYLE()),
                  UnorderedElementsAre("QC Min Large Thick Skin Width"));
    }
  }
}

TEST(BuildStyleDamage, ForeignFilesHaveTheirCodes) {
  KVBUILDSTYLE style;
  EXPECT_EQ(ReadBytes(style, std::string(100, '\0')), -5);  // a short record of version 0
  EXPECT_EQ(ReadBytes(style, "solid text of another program, long enough for one record"), -2);
  EXPECT_EQ(ReadBytes(style, std::string(4096, '\xFF')), -5);  // a NaN, an empty list by a negative count
  std::string header = GoldenStyle("default_301.sty");
  EXPECT_EQ(ReadBytes(style, Float32(3.02f) + header.substr(4)), -5);
}

TEST(BuildStyleDamage, FailedReadKeepsWhatWasRead) {
  const std::string bytes = GoldenStyle("filled_301.sty");
  KVBUILDSTYLE style;
  EXPECT_EQ(ReadBytes(style, bytes.substr(0, bytes.size() - 5)), -2);
  EXPECT_EQ(style.StyleName, "Filled style");
  EXPECT_EQ(style.StartZ.GetValue(), 1.5f);
  EXPECT_EQ(style.Version.GetValue(), 4.0f);
}

TEST(BuildStyleDamage, Failed206ReadStillEndsAsVersion301) {
  const std::string bytes = GoldenStyle("filled_206.sty");
  KVBUILDSTYLE style;
  style.FileVersion = 4.0f;
  EXPECT_EQ(ReadBytes(style, bytes.substr(0, 3000)), -2);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.FileVersion, 3.01f);
}

}  // namespace
