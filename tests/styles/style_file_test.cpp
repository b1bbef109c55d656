/// The container of build style files: layouts, dispatch, CRC, streams, damaged files.
#include <gmock/gmock.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>

#include "tests/styles/style_samples.h"
#include "tests/support/byte_builder.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/temp_dir.h"
#include "trq/styles.h"

namespace {

using test_support::ByteBuilder;
using test_support::BytesOf;
using test_support::DifferingRecords;
using test_support::FillStyle;
using test_support::GoldenStyle;
using test_support::MessageBoxRecorder;
using test_support::Stream;
using test_support::StreamOf;
using test_support::TempDir;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char kCrcMessage[] = "Error in CRC. This style file cannot be used.";
constexpr char kSaveMessage[] = "Error in saving style file.";
constexpr std::size_t kHeaderBytes = 2264;
constexpr std::size_t kEmptyRecord = 23;

/// The 4 bytes of a CRC-32 computed bit by bit, without the table.
std::string CrcBytes(const std::string& bytes) {
  uint32_t sum = 0xFFFFFFFFu;
  for (const char c : bytes) {
    sum ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320u : 0u);
  }
  return ByteBuilder().U32(sum).bytes();
}

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
  const Stream stream(fmemopen(bytes.data(), length, "rb"));
  style.setStyleFilePtr(stream.get());
  const int result = style.binaryReadStyle();
  style.setStyleFilePtr(nullptr);
  return result;
}

std::size_t OpenFiles() {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    static_cast<void>(entry);
    ++count;
  }
  return count;
}

// --- Golden files
// ----------------------------------------------------------------------------------------------

TEST(BuildStyleFile, DefaultStyleMatchesTheGoldenFiles) {
  KVBUILDSTYLE style;
  EXPECT_EQ(WrittenBy(style), GoldenStyle("default_301.sty"));
  KVBUILDSTYLE old;
  old.FileVersion = 2.06f;
  EXPECT_EQ(WrittenBy(old), GoldenStyle("default_206.sty"));
}

TEST(BuildStyleFile, FilledStyleMatchesTheGoldenFiles) {
  KVBUILDSTYLE style;
  FillStyle(style);
  EXPECT_EQ(WrittenBy(style), GoldenStyle("filled_301.sty"));
  KVBUILDSTYLE old;
  FillStyle(old);
  old.FileVersion = 2.06f;
  EXPECT_EQ(WrittenBy(old), GoldenStyle("filled_206.sty"));
}

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
// ---------------------------------------------------------------------------------------------

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
// -----------------------------------------------------------------------------------------------------

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
// -------------------------------------------------------------------------------------

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

// --- CRC, saving and loading
// -----------------------------------------------------------------------------------

TEST(BuildStyleCrc, KeptThereIsNoFinalInversion) {
  EXPECT_EQ(KVBUILDSTYLE::calcCRC("123456789", 9), 0x340BC6D9u);
  EXPECT_EQ(KVBUILDSTYLE::calcCRC("123456789", 0), 0xFFFFFFFFu);
  EXPECT_EQ(KVBUILDSTYLE::calcCRC("123456789", -1), 0xFFFFFFFFu);
  EXPECT_EQ(KVBUILDSTYLE::calcCRC(nullptr, 5), 0xFFFFFFFFu);
}

TEST(BuildStyleCrc, SavedFileEndsWithTheCrcOfAllEarlierBytes) {
  KVBUILDSTYLE style;
  const std::string bytes = WrittenBy(style);
  const std::string earlier = bytes.substr(0, bytes.size() - 4);
  EXPECT_EQ(bytes.substr(earlier.size()), CrcBytes(earlier));
  uint32_t stored;
  std::memcpy(&stored, bytes.data() + earlier.size(), 4);
  EXPECT_EQ(stored, KVBUILDSTYLE::calcCRC(earlier.data(), static_cast<int>(earlier.size())));
  KVBUILDSTYLE read;
  const TempDir dir;
  ASSERT_EQ(read.readBuildStyle(dir.Write("style", bytes)), 0);
  EXPECT_EQ(read.StoredCRC, stored);
  EXPECT_EQ(read.file, nullptr);
}

TEST(BuildStyleCrc, ValueIsAppendedToAnyFile) {
  const TempDir dir;
  KVBUILDSTYLE style;
  EXPECT_EQ(style.writeCrcValue(dir.Write("digits", "123456789")), 0);
  EXPECT_EQ(dir.Read("digits"), "123456789\xD9\xC6\x0B\x34");
  EXPECT_EQ(style.writeCrcValue(dir.Write("empty", "")), 0);
  EXPECT_EQ(dir.Read("empty"), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(style.writeCrcValue(dir.File("missing")), -1);
  EXPECT_FALSE(dir.Has("missing"));
  EXPECT_EQ(style.writeCrcValue(dir.path().string()), -1);
}

TEST(BuildStyleCrc, ComparesTheLow32BitsWithAllButFourBytes) {
  const TempDir dir;
  KVBUILDSTYLE style;
  const std::string path = dir.Write("digits", "123456789????");
  EXPECT_EQ(style.CompareCRC(0x340BC6D9u, path), 0);
  EXPECT_EQ(style.CompareCRC(0x340BC6D8u, path), -2);
  EXPECT_EQ(style.CompareCRC(0xABCD0000340BC6D9ul, path), 0);
  EXPECT_EQ(style.CompareCRC(0, dir.File("missing")), -1);
  EXPECT_EQ(style.CompareCRC(0xFFFFFFFFu, dir.Write("tiny", "abc")), 0) << "no bytes before the last four";
}

TEST(BuildStyleCrc, LargeFilesAreSummedWhole) {
  std::string bytes;
  for (int i = 0; i < 100000; ++i) bytes.push_back(static_cast<char>(i * 7));
  const TempDir dir;
  KVBUILDSTYLE style;
  ASSERT_EQ(style.writeCrcValue(dir.Write("large", bytes)), 0);
  EXPECT_EQ(dir.Read("large"), bytes + CrcBytes(bytes));
}

TEST(BuildStyleSaving, UnopenablePathShowsTheMessage) {
  const TempDir dir;
  MessageBoxRecorder boxes;
  KVBUILDSTYLE style;
  EXPECT_EQ(style.writeBuildStyle(dir.File("missing/style")), -1);
  ASSERT_EQ(boxes.boxes().size(), 1u);
  EXPECT_EQ(boxes.boxes()[0].text, kSaveMessage);
  EXPECT_EQ(boxes.boxes()[0].buttons, 0u);
  EXPECT_EQ(style.binaryWriteStyle(dir.path().string()), -1);
  EXPECT_EQ(boxes.boxes().size(), 1u) << "the writer below shows nothing";
}

TEST(BuildStyleSaving, FailedWritesAreReportedWithoutMessage) {
  MessageBoxRecorder boxes;
  KVBUILDSTYLE style;
  EXPECT_EQ(style.binaryWriteStyle("/dev/full"), -3);
  EXPECT_EQ(style.closeBuildStyleFile(), 0) << "nothing is left to flush";
  EXPECT_EQ(style.writeBuildStyle("/dev/full"), -3);
  style.FileVersion = 2.06f;
  EXPECT_EQ(style.writeBuildStyle("/dev/full"), -3);
  EXPECT_EQ(style.writeCrcValue("/dev/full"), -3);
  EXPECT_THAT(boxes.boxes(), IsEmpty());
}

TEST(BuildStyleSaving, WriterLeavesAFlushedOpenFile) {
  const TempDir dir;
  KVBUILDSTYLE style;
  ASSERT_EQ(style.binaryWriteStyle(dir.File("style")), 0);
  EXPECT_NE(style.file, nullptr);
  const std::string golden = GoldenStyle("default_301.sty");
  EXPECT_EQ(dir.Read("style"), golden.substr(0, golden.size() - 4));
  EXPECT_EQ(style.closeBuildStyleFile(), 0);
  EXPECT_EQ(style.file, nullptr);
}

TEST(BuildStyleLoading, ReaderLeavesTheFileOpenAndTakesTheStoredCrcUnchecked) {
  const TempDir dir;
  std::string bytes = GoldenStyle("default_206.sty");
  bytes.replace(bytes.size() - 4, 4, "\x01\x02\x03\x04");
  KVBUILDSTYLE style;
  EXPECT_EQ(style.binaryReadStyle(dir.Write("style", bytes)), 0);
  EXPECT_EQ(style.StoredCRC, 0x04030201u);
  EXPECT_NE(style.file, nullptr);
}

TEST(BuildStyleLoading, MissingCrcIsAShortReadAndKeepsTheOldOne) {
  const TempDir dir;
  const std::string bytes = GoldenStyle("default_301.sty");
  KVBUILDSTYLE style;
  style.StoredCRC = 5;
  for (std::size_t missing = 1; missing <= 4; ++missing) {
    EXPECT_EQ(style.binaryReadStyle(dir.Write("style", bytes.substr(0, bytes.size() - missing))), -2);
  }
  EXPECT_EQ(style.StoredCRC, 5u);
}

TEST(BuildStyleLoading, EveryFailureEndsInTheMessage) {
  const TempDir dir;
  const std::string bytes = GoldenStyle("default_301.sty");
  const std::string files[] = {dir.File("missing"),
                               dir.path().string(),
                               dir.Write("empty", ""),
                               dir.Write("cut", bytes.substr(0, bytes.size() - 1)),
                               dir.Write("half", bytes.substr(0, 5000)),
                               dir.Write("foreign", std::string(100, '\0')),
                               dir.Write("longer", bytes + "x")};
  for (const std::string& path : files) {
    MessageBoxRecorder boxes;
    KVBUILDSTYLE style;
    EXPECT_EQ(style.readBuildStyle(path), -4) << path;
    ASSERT_EQ(boxes.boxes().size(), 1u) << path;
    EXPECT_EQ(boxes.boxes()[0].text, kCrcMessage);
    EXPECT_EQ(boxes.boxes()[0].buttons, 0u);
    EXPECT_EQ(style.file, nullptr);
  }
}

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

// --- Streams
// ---------------------------------------------------------------------------------------------------

TEST(BuildStyleStream, WithoutStreamReadersAndWritersFail) {
  KVBUILDSTYLE style;
  EXPECT_EQ(style.binaryReadStyle(), -2);
  EXPECT_EQ(style.binaryReadStyleHeader301(), -2);
  EXPECT_EQ(style.binaryReadStyleData301(), -2);
  EXPECT_EQ(style.binaryReadStyleData206(), -2);
  EXPECT_EQ(style.binaryWriteStyleData301(), -3);
  EXPECT_EQ(style.binaryWriteStyleData206(), -3);
  EXPECT_EQ(style.closeBuildStyleFile(), 0);
}

TEST(BuildStyleStream, CallersStreamsAreWrittenFlushedAndLeftOpen) {
  const TempDir dir;
  const Stream stream(std::fopen(dir.File("style").c_str(), "wb"));
  {
    KVBUILDSTYLE style;
    EXPECT_EQ(style.setStyleFilePtr(stream.get()), 0);
    EXPECT_EQ(style.binaryWriteStyleData301(), 0);
    EXPECT_EQ(dir.Read("style").size() + 4, GoldenStyle("default_301.sty").size());
    EXPECT_EQ(style.binaryWriteStyleData206(), 0);
    KVBUILDSTYLE other;
    style = other;  // clears the member without closing
    EXPECT_EQ(style.file, nullptr);
    style.setStyleFilePtr(stream.get());
  }
  EXPECT_EQ(std::fputs("still open", stream.get()), 1);
  EXPECT_EQ(std::fflush(stream.get()), 0);
  const std::string golden = GoldenStyle("default_301.sty");
  const std::string old = GoldenStyle("default_206.sty");
  EXPECT_EQ(dir.Read("style"),
            golden.substr(0, golden.size() - 4) + old.substr(0, old.size() - 4) + "still open");
}

TEST(BuildStyleStream, ClosingClosesTheCallersStreamToo) {
  const std::size_t before = OpenFiles();
  KVBUILDSTYLE style;
  style.setStyleFilePtr(std::tmpfile());
  EXPECT_EQ(OpenFiles(), before + 1);
  EXPECT_EQ(style.closeBuildStyleFile(), 0);
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(OpenFiles(), before);
}

TEST(BuildStyleStream, AssignedStreamsBelongToTheApplication) {
  const std::size_t before = OpenFiles();
  FILE* stream = std::tmpfile();
  {
    KVBUILDSTYLE style;
    style.file = stream;
    EXPECT_EQ(style.binaryWriteStyleData301(), 0);
    const KVBUILDSTYLE copy(style);
    EXPECT_EQ(copy.file, nullptr);
    KVBUILDSTYLE other;
    other.file = stream;
    other = style;
    EXPECT_EQ(other.file, nullptr);
    style.file = stream;  // once more
    std::rewind(style.file);
    EXPECT_EQ(style.binaryReadStyle(), 0);
  }
  EXPECT_EQ(OpenFiles(), before + 1);
  KVBUILDSTYLE style;
  style.file = stream;
  EXPECT_EQ(std::fclose(style.file), 0);
  style.file = NULL;
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(style.binaryReadStyle(), -2);
  EXPECT_EQ(OpenFiles(), before);
}

TEST(BuildStyleStream, StreamsThatTheApplicationClosedAreNotClosedAgain) {
  const TempDir dir;
  const std::string path = dir.Write("style", GoldenStyle("default_301.sty"));
  const std::size_t before = OpenFiles();
  {
    KVBUILDSTYLE style;
    ASSERT_EQ(style.binaryReadStyle(path), 0);  // opens it and leaves it open
    EXPECT_EQ(std::fclose(style.file), 0);
    style.file = NULL;
    ASSERT_EQ(style.binaryReadStyle(path), 0);
    style.file = static_cast<FILE*>(style.file);  // the style's own still
  }
  EXPECT_EQ(OpenFiles(), before);
}

TEST(BuildStyleStream, OwnStreamsAreClosedOnceWhateverHappens) {
  const TempDir dir;
  const std::string path = dir.Write("style", GoldenStyle("default_301.sty"));
  const std::size_t before = OpenFiles();
  {
    KVBUILDSTYLE style;
    ASSERT_EQ(style.binaryReadStyle(path), 0);
    EXPECT_EQ(OpenFiles(), before + 1);
    ASSERT_EQ(style.binaryReadStyle(path), 0);  // a path operation
    EXPECT_EQ(OpenFiles(), before + 1);
    const KVBUILDSTYLE copy(style);
    EXPECT_EQ(copy.file, nullptr);
    EXPECT_EQ(OpenFiles(), before + 1);
    KVBUILDSTYLE& same = style;
    style = same;  // nothing happens
    EXPECT_EQ(OpenFiles(), before + 1);
    KVBUILDSTYLE assigned;
    ASSERT_EQ(assigned.binaryReadStyle(path), 0);
    assigned = style;
    EXPECT_EQ(assigned.file, nullptr);
    EXPECT_EQ(OpenFiles(), before + 1);
    style.setStyleFilePtr(style.file);  // the present one: nothing happens
    EXPECT_EQ(OpenFiles(), before + 1);
    style.setStyleFilePtr(nullptr);
    EXPECT_EQ(OpenFiles(), before);
    ASSERT_EQ(style.binaryReadStyle(path), 0);
  }
  EXPECT_EQ(OpenFiles(), before);
}

TEST(BuildStyleStream, FailedOpenLeavesNoStream) {
  const TempDir dir;
  KVBUILDSTYLE style;
  ASSERT_EQ(style.binaryReadStyle(dir.Write("style", GoldenStyle("default_301.sty"))), 0);
  EXPECT_EQ(style.binaryReadStyle(dir.File("missing")), -1);
  EXPECT_EQ(style.file, nullptr);
}

// --- Damaged files
// ---------------------------------------------------------------------------------------------

TEST(BuildStyleDamage, EveryPrefixIsAShortRead) {
  for (const char* name : {"filled_206.sty", "filled_301.sty"}) {
    std::string bytes = GoldenStyle(name);
    const std::size_t data = bytes.size() - 4;
    KVBUILDSTYLE style;
    for (std::size_t length = 1; length < data; ++length) {
      ASSERT_EQ(ReadFromMemory(style, bytes, length), -2) << name << " cut to " << length;
    }
    for (std::size_t length = data; length <= bytes.size(); ++length) {
      ASSERT_EQ(ReadFromMemory(style, bytes, length), 0) << name << " cut to " << length;
    }
  }
}

TEST(BuildStyleDamage, EveryFlippedByteIsRefused) {
  const TempDir dir;
  const std::string bytes = GoldenStyle("default_206.sty");
  const std::string path = dir.Write("style", bytes);
  MessageBoxRecorder boxes;
  KVBUILDSTYLE style;
  const Stream file(std::fopen(path.c_str(), "rb+"));
  const auto put = [&file](std::size_t offset, int byte) {
    std::fseek(file.get(), static_cast<long>(offset), SEEK_SET);
    std::fputc(byte, file.get());
    std::fflush(file.get());
  };
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    put(i, static_cast<unsigned char>(bytes[i]) ^ 0xFF);
    ASSERT_EQ(style.readBuildStyle(path), -4) << i;
    ASSERT_EQ(boxes.boxes().size(), i + 1);
    ASSERT_EQ(boxes.boxes().back().text, kCrcMessage);
    put(i, static_cast<unsigned char>(bytes[i]));
  }
  EXPECT_EQ(style.readBuildStyle(path), 0);
}

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
