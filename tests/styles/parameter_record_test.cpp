#include <gmock/gmock.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/byte_builder.h"
#include "tests/support/temp_dir.h"
#include "trq/styles.h"

namespace {

using test_support::ByteBuilder;
using test_support::BytesOf;
using test_support::StreamOf;
using testing::ElementsAre;

using FloatRecord = BuildStyleParameterRecordFloat;
using IntRecord = BuildStyleParameterRecordInt;

template <class T>
std::vector<T> ListOf(const trq::StyleParameterRecord<T>& record) {
  std::vector<T> list;
  for (int i = 0; i < record.GetNumElementsInList(); ++i) list.push_back(record.GetAnElementFromList(i));
  return list;
}

/// The bytes of a record in the full form, flags 1, 0, 1.
std::string FloatBytes(float value, float default_value, float minimum, float maximum,
                       const std::vector<float>& list = {}) {
  ByteBuilder bytes;
  bytes.F32(value).F32(default_value).U8(1).U8(0).U8(1).F32(minimum).F32(maximum);
  bytes.U32(static_cast<uint32_t>(list.size()));
  for (const float v : list) bytes.F32(v);
  return bytes.bytes();
}

TEST(ParameterRecord, StartsWithoutRangeAndWithAllFlagsSet) {
  const FloatRecord record;
  EXPECT_EQ(record.GetValue(), 0.0f);
  EXPECT_EQ(record.GetDefaultValue(), 0.0f);
  EXPECT_EQ(record.GetDisplayFlag(), 1);
  EXPECT_EQ(record.GetEditFlag(), 1);
  EXPECT_EQ(record.GetRangeFlag(), 1);
  EXPECT_EQ(record.GetMinRange(), 100000.0f);
  EXPECT_EQ(record.GetMaxRange(), -100000.0f);
  EXPECT_FALSE(record.HasRange());
  EXPECT_EQ(record.GetNumElementsInList(), 0);
  const IntRecord whole;
  EXPECT_EQ(whole.GetMinRange(), 100000);
  EXPECT_EQ(whole.GetMaxRange(), -100000);
}

TEST(ParameterRecord, DefaultFollowsArgumentOrValue) {
  IntRecord record;
  record.SetValue(7);
  record.SetDefaultValue(3);
  EXPECT_EQ(record.GetDefaultValue(), 3);
  record.SetDefaultValue();
  EXPECT_EQ(record.GetDefaultValue(), 7);
  record.SetValue(9);
  record.EquateDefaultToCurrentValue();
  EXPECT_EQ(record.GetDefaultValue(), 9);
}

TEST(ParameterRecord, ListGrowsShrinksAndMovesDown) {
  IntRecord record;
  for (const int v : {1, 2, 3, 4}) record.AddElementToList(v);
  record.RemoveElementAtThisIndex(1);
  EXPECT_THAT(ListOf(record), ElementsAre(1, 3, 4));
  record.SetSizeOfRangeList(5);
  EXPECT_THAT(ListOf(record), ElementsAre(1, 3, 4, 0, 0));
  record.SetSizeOfRangeList(2);
  EXPECT_THAT(ListOf(record), ElementsAre(1, 3));
  record.DeleteEntireRangeList();
  EXPECT_EQ(record.GetNumElementsInList(), 0);
}

TEST(ParameterRecord, IndexesAndSizesOutsideDoNothing) {
  IntRecord record;
  record.AddElementToList(5);
  EXPECT_EQ(record.GetAnElementFromList(-1), 0);
  EXPECT_EQ(record.GetAnElementFromList(1), 0);
  EXPECT_EQ(record.GetAnElementFromList(INT_MAX), 0);
  record.RemoveElementAtThisIndex(-1);
  record.RemoveElementAtThisIndex(1);
  record.RemoveElementAtThisIndex(INT_MIN);
  EXPECT_THAT(ListOf(record), ElementsAre(5));
  record.SetSizeOfRangeList(-3);
  EXPECT_EQ(record.GetNumElementsInList(), 0);
}

TEST(ParameterRecord, AddAndSetMakesValueDefaultAndListedValueAgree) {
  FloatRecord record;
  record.AddAndSetValue(0.5f);
  record.AddAndSetValue(0.75f);
  EXPECT_EQ(record.GetValue(), 0.75f);
  EXPECT_EQ(record.GetDefaultValue(), 0.75f);
  EXPECT_THAT(ListOf(record), ElementsAre(0.5f, 0.75f));
}

TEST(ParameterRecord, ResetTakesOnlyListedValuesFromTwoOn) {
  FloatRecord record;
  record.SetMinRange(0);
  record.SetMaxRange(1);
  record.AddElementToList(0.1f);
  record.AddElementToList(0.2f);
  record.SetValue(0.1f);
  EXPECT_EQ(record.ResetAValue(0.3f), 1);
  EXPECT_EQ(record.GetValue(), 0.1f);
  EXPECT_EQ(record.ResetAValue(0.2f), 0);
  EXPECT_EQ(record.GetValue(), 0.2f);
  EXPECT_EQ(record.GetDefaultValue(), 0.0f);
  EXPECT_THAT(ListOf(record), ElementsAre(0.1f, 0.2f));
}

TEST(ParameterRecord, ResetWithinTheRangeReplacesAListOfOne) {
  FloatRecord record;
  record.SetMinRange(0);
  record.SetMaxRange(1);
  record.AddElementToList(0.1f);
  EXPECT_EQ(record.ResetAValue(0.3f), 0);
  EXPECT_THAT(ListOf(record), ElementsAre(0.3f));
  EXPECT_EQ(record.ResetAValue(0.0f), 0);
  EXPECT_EQ(record.ResetAValue(1.0f), 0);
  EXPECT_EQ(record.ResetAValue(1.0001f), 1);
  EXPECT_EQ(record.ResetAValue(-0.0001f), 1);
  EXPECT_EQ(record.GetValue(), 1.0f);
  EXPECT_EQ(record.GetDefaultValue(), 0.0f);
  EXPECT_THAT(ListOf(record), ElementsAre(1.0f));
}

TEST(ParameterRecord, ResetRefusesEveryNumberWithoutRange) {
  FloatRecord record;
  for (const float v : {-200000.0f, 0.0f, 200000.0f}) EXPECT_EQ(record.ResetAValue(v), 1);
  IntRecord whole;
  for (const int v : {INT_MIN, 0, INT_MAX}) EXPECT_EQ(whole.ResetAValue(v), 1);
}

TEST(ParameterRecord, CopyTakesEverythingAndIsIndependent) {
  IntRecord source;
  source.SetValue(1);
  source.SetDefaultValue(2);
  source.SetDisplayFlag(3);
  source.SetEditFlag(4);
  source.SetRangeFlag(5);
  source.SetMinRange(6);
  source.SetMaxRange(7);
  source.AddElementToList(8);
  IntRecord copy;
  copy.AddElementToList(99);
  copy.CopyRecord(&source);
  source.AddElementToList(9);
  EXPECT_EQ(copy.GetValue(), 1);
  EXPECT_EQ(copy.GetDefaultValue(), 2);
  EXPECT_EQ(copy.GetDisplayFlag(), 3);
  EXPECT_EQ(copy.GetEditFlag(), 4);
  EXPECT_EQ(copy.GetRangeFlag(), 5);
  EXPECT_EQ(copy.GetMinRange(), 6);
  EXPECT_EQ(copy.GetMaxRange(), 7);
  EXPECT_THAT(ListOf(copy), ElementsAre(8));
  IntRecord& same = copy;
  copy = same;
  copy.CopyRecord(&copy);
  copy.CopyRecord(nullptr);
  EXPECT_THAT(ListOf(copy), ElementsAre(8));
}

TEST(ParameterRecord, IntRecordBecomesFloatRecord) {
  IntRecord whole;
  whole.SetValue(3);
  whole.SetDefaultValue(-4);
  whole.SetDisplayFlag(0);
  whole.SetEditFlag(7);
  whole.SetRangeFlag(0);
  whole.SetMinRange(-5);
  whole.SetMaxRange(16777217);  // no float: rounds to 2^24
  whole.AddElementToList(2);
  FloatRecord record;
  record.AddElementToList(1);
  record.ConvertIntRecordIntoFloatRecord(&whole);
  record.ConvertIntRecordIntoFloatRecord(nullptr);
  EXPECT_EQ(record.GetValue(), 3.0f);
  EXPECT_EQ(record.GetDefaultValue(), -4.0f);
  EXPECT_EQ(record.GetDisplayFlag(), 0);
  EXPECT_EQ(record.GetEditFlag(), 7);
  EXPECT_EQ(record.GetRangeFlag(), 0);
  EXPECT_EQ(record.GetMinRange(), -5.0f);
  EXPECT_EQ(record.GetMaxRange(), 16777216.0f);
  EXPECT_THAT(ListOf(record), ElementsAre(2.0f));
}

TEST(ParameterRecord, FloatRecordIsTruncatedAndWhatFitsNoIntIsTheSmallest) {
  FloatRecord record;
  record.SetValue(-2.9f);
  record.SetDefaultValue(2.9f);
  record.SetMinRange(std::numeric_limits<float>::quiet_NaN());
  record.SetMaxRange(2147483648.0f);
  for (const float v :
       {-2147483648.0f, -2147483904.0f, std::numeric_limits<float>::infinity(), 2147483520.0f}) {
    record.AddElementToList(v);
  }
  record.SetEditFlag(0);
  IntRecord whole;
  whole.ConvertFloatRecordIntoIntRecord(&record);
  whole.ConvertFloatRecordIntoIntRecord(nullptr);
  EXPECT_EQ(whole.GetValue(), -2);
  EXPECT_EQ(whole.GetDefaultValue(), 2);
  EXPECT_EQ(whole.GetEditFlag(), 0);
  EXPECT_EQ(whole.GetMinRange(), INT_MIN);
  EXPECT_EQ(whole.GetMaxRange(), INT_MIN);
  EXPECT_THAT(ListOf(whole), ElementsAre(INT_MIN, INT_MIN, INT_MIN, 2147483520));
}

TEST(ParameterRecord, UnitConversionScalesEveryNumber) {
  FloatRecord record;
  record.SetValue(0.004f);
  record.SetDefaultValue(2);
  record.SetMinRange(-1);
  record.SetMaxRange(4);
  record.AddElementToList(10);
  record.ConvertAllValuesToMM();
  EXPECT_EQ(record.GetValue(), 0.101600006f);
  EXPECT_EQ(record.GetDefaultValue(), 50.8f);
  EXPECT_EQ(record.GetMinRange(), -25.4f);
  EXPECT_EQ(record.GetMaxRange(), 101.6f);
  EXPECT_EQ(record.GetAnElementFromList(0), 254.0f);
  FloatRecord inches;
  inches.SetValue(254);
  inches.AddElementToList(100);
  inches.ConvertAllValuesToINCH();
  EXPECT_EQ(inches.GetValue(), 10);
  EXPECT_EQ(inches.GetAnElementFromList(0), 3.937008f);
}

TEST(ParameterRecord, KeptUnitRoundTripIsOnlyNearlyExact) {
  FloatRecord record;
  const float there_and_back[][2] = {{1.0f, 1.0f}, {0.004f, 0.004f}, {7.25f, 7.2499995f}};
  for (const auto& [there, back] : there_and_back) {
    record.SetValue(there);
    record.ConvertAllValuesToMM();
    record.ConvertAllValuesToINCH();
    EXPECT_EQ(record.GetValue(), back);
  }
}

TEST(ParameterRecord, KeptConversionTurnsNoRangeIntoARange) {
  FloatRecord record;
  record.ConvertAllValuesToMM();
  EXPECT_TRUE(record.HasRange());
  EXPECT_EQ(record.GetMinRange(), 2540000.0f);
  EXPECT_EQ(record.GetMaxRange(), -2540000.0f);
}

// --- Binary form
// -----------------------------------------------------------------------------------------------

TEST(ParameterRecordBinary, WritesTheFieldsInOrderWithoutPadding) {
  FloatRecord record;
  record.SetValue(1.5f);
  record.SetDefaultValue(2.5f);
  record.SetDisplayFlag(1);
  record.SetEditFlag(0);
  record.SetRangeFlag(1);
  record.SetMinRange(-1);
  record.SetMaxRange(9);
  record.AddElementToList(0.25f);
  record.AddElementToList(8);
  const auto stream = StreamOf("");
  EXPECT_EQ(record.WriteRecord(stream.get()), 0);
  EXPECT_EQ(BytesOf(stream.get()), FloatBytes(1.5f, 2.5f, -1, 9, {0.25f, 8}));
}

TEST(ParameterRecordBinary, IntRecordWritesItsNumbers) {
  IntRecord record;
  record.SetValue(-2);
  record.SetDefaultValue(3);
  record.AddElementToList(INT_MIN);
  const auto stream = StreamOf("");
  EXPECT_EQ(record.WriteRecord(stream.get()), 0);
  ByteBuilder bytes;
  bytes.I32(-2).I32(3).U8(1).U8(1).U8(1).I32(100000).I32(-100000).I32(1).I32(INT_MIN);
  EXPECT_EQ(BytesOf(stream.get()), bytes.bytes());
}

TEST(ParameterRecordBinary, FlagsAreStoredByTheirLowByteAndReadingReplacesIt) {
  IntRecord record;
  record.SetDisplayFlag(0x12345678);
  record.SetEditFlag(-1);
  record.SetRangeFlag(256);
  const auto stream = StreamOf("");
  ASSERT_EQ(record.WriteRecord(stream.get()), 0);
  EXPECT_EQ(BytesOf(stream.get()).substr(8, 3), std::string("\x78\xFF\x00", 3));
  std::rewind(stream.get());
  IntRecord other;
  other.SetDisplayFlag(0x0AAAAA00);
  other.SetEditFlag(-256);
  other.SetRangeFlag(0x7FFFFFFF);
  ASSERT_EQ(other.ReadRecord(stream.get(), 3.01f), 0);
  EXPECT_EQ(other.GetDisplayFlag(), 0x0AAAAA78);
  EXPECT_EQ(other.GetEditFlag(), -1);
  EXPECT_EQ(other.GetRangeFlag(), 0x7FFFFF00);
}

TEST(ParameterRecordBinary, OldVersionTakesTheDefaultFromTheValue) {
  ByteBuilder bytes;
  bytes.F32(3).U8(0).U8(1).U8(0).F32(1).F32(4).I32(0).Raw("next");
  const auto stream = StreamOf(bytes.bytes());
  FloatRecord record;
  EXPECT_EQ(record.ReadRecord(stream.get(), 2.05f), 0);
  EXPECT_EQ(record.GetValue(), 3.0f);
  EXPECT_EQ(record.GetDefaultValue(), 3.0f);
  EXPECT_EQ(record.GetDisplayFlag(), 0);
  EXPECT_EQ(record.GetMaxRange(), 4.0f);
  EXPECT_EQ(std::ftell(stream.get()), 19);
}

TEST(ParameterRecordBinary, NewVersionReadsADefault) {
  const auto stream = StreamOf(FloatBytes(3, 4, 1, 9));
  FloatRecord record;
  EXPECT_EQ(record.ReadRecord(stream.get(), 2.06f), 0);
  EXPECT_EQ(record.GetDefaultValue(), 4.0f);
  EXPECT_EQ(record.GetEditFlag(), 0);
}

TEST(ParameterRecordBinary, NaNVersionTakesTheShortForm) {
  ByteBuilder bytes;
  bytes.I32(3).U8(1).U8(1).U8(1).I32(0).I32(7).I32(0).Raw("next");
  const auto stream = StreamOf(bytes.bytes());
  IntRecord record;
  EXPECT_EQ(record.ReadRecord(stream.get(), std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(std::ftell(stream.get()), 19);
}

TEST(ParameterRecordBinary, KeptVersionZeroMeansTheFloatRecordsOwnValue) {
  ByteBuilder two;
  two.F32(2).U8(1).U8(1).U8(1).F32(0).F32(5).I32(0);
  auto stream = StreamOf(two.bytes());
  FloatRecord record;
  EXPECT_EQ(record.ReadRecord(stream.get(), 0.0f), 0);
  EXPECT_EQ(record.GetDefaultValue(), 2.0f);
  EXPECT_EQ(record.GetMaxRange(), 5.0f);
  stream = StreamOf(FloatBytes(5, 6, 0, 7));
  EXPECT_EQ(record.ReadRecord(stream.get(), 0.0f), 0);
  EXPECT_EQ(record.GetDefaultValue(), 6.0f);
  EXPECT_EQ(record.GetMaxRange(), 7.0f);
}

TEST(ParameterRecordBinary, KeptIntRecordAlwaysUsesTheVersionGiven) {
  ByteBuilder bytes;
  bytes.I32(5).U8(1).U8(1).U8(1).I32(0).I32(7).I32(0);
  const auto stream = StreamOf(bytes.bytes());
  IntRecord record;
  EXPECT_EQ(record.ReadRecord(stream.get(), 0.0f), 0);
  EXPECT_EQ(record.GetDefaultValue(), 5);
  EXPECT_EQ(record.GetMaxRange(), 7);
}

TEST(ParameterRecordBinary, ListedValuesWidenTheRange) {
  const auto stream = StreamOf(FloatBytes(0, 0, 0.15f, 0.15f, {0.1f, 0.2f}));
  FloatRecord record;
  record.AddElementToList(77);
  EXPECT_EQ(record.ReadRecord(stream.get(), 3.01f), 0);
  EXPECT_EQ(record.GetMinRange(), 0.1f);
  EXPECT_EQ(record.GetMaxRange(), 0.2f);
  EXPECT_THAT(ListOf(record), ElementsAre(0.1f, 0.2f));
}

TEST(ParameterRecordBinary, ListBeyondOnePieceIsReadWhole) {
  std::vector<float> list;
  for (int i = 0; i < 1000; ++i) list.push_back(static_cast<float>(i));
  const auto stream = StreamOf(FloatBytes(0, 0, 0, 0, list));
  FloatRecord record;
  EXPECT_EQ(record.ReadRecord(stream.get(), 3.01f), 0);
  EXPECT_EQ(ListOf(record), list);
  EXPECT_EQ(record.GetMaxRange(), 999.0f);
}

TEST(ParameterRecordBinary, EveryPrefixIsAShortReadAndFillsTheFieldsThatCame) {
  const std::string whole = FloatBytes(1, 2, 3, 4, {3.5f, 3.75f});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const auto stream = StreamOf(whole.substr(0, length));
    FloatRecord record;
    record.SetDisplayFlag(50);
    record.SetEditFlag(50);
    record.SetRangeFlag(50);
    record.AddElementToList(77);
    EXPECT_EQ(record.ReadRecord(stream.get(), 3.01f), -2) << length;
    EXPECT_EQ(record.GetValue(), length >= 4 ? 1.0f : 0.0f) << length;
    EXPECT_EQ(record.GetDefaultValue(), length >= 8 ? 2.0f : 0.0f) << length;
    EXPECT_EQ(record.GetDisplayFlag(), length >= 9 ? 1 : 50) << length;
    EXPECT_EQ(record.GetEditFlag(), length >= 10 ? 0 : 50) << length;
    EXPECT_EQ(record.GetRangeFlag(), length >= 11 ? 1 : 50) << length;
    EXPECT_EQ(record.GetMinRange(), length >= 15 ? 3.0f : 100000.0f) << length;
    EXPECT_EQ(record.GetMaxRange(), length >= 19 ? 4.0f : -100000.0f) << length;
    const std::vector<float> expected = length < 23   ? std::vector<float>{77}
                                        : length < 27 ? std::vector<float>{}
                                                      : std::vector<float>{3.5f};
    EXPECT_EQ(ListOf(record), expected) << length;
  }
}

TEST(ParameterRecordBinary, HugeCountIsAShortReadThatKeepsWhatCame) {
  ByteBuilder bytes;
  bytes.I32(1).I32(2).U8(1).U8(1).U8(1).I32(0).I32(0).I32(INT_MAX).I32(5).I32(6).Raw("xy");
  const auto stream = StreamOf(bytes.bytes());
  IntRecord record;
  EXPECT_EQ(record.ReadRecord(stream.get(), 3.01f), -2);
  EXPECT_THAT(ListOf(record), ElementsAre(5, 6));
  EXPECT_EQ(record.GetMaxRange(), 6);
}

TEST(ParameterRecordBinary, NegativeCountIsAnEmptyList) {
  for (const int count : {-1, INT_MIN}) {
    ByteBuilder bytes;
    bytes.I32(1).I32(2).U8(1).U8(1).U8(1).I32(0).I32(9).I32(count).I32(5);
    const auto stream = StreamOf(bytes.bytes());
    IntRecord record;
    record.AddElementToList(77);
    EXPECT_EQ(record.ReadRecord(stream.get(), 3.01f), 0);
    EXPECT_EQ(record.GetNumElementsInList(), 0);
    EXPECT_EQ(std::ftell(stream.get()), 23);
  }
}

TEST(ParameterRecordBinary, WritingLeavesTheFlushToTheCaller) {
  const test_support::TempDir dir;
  const test_support::Stream stream(std::fopen(dir.File("record").c_str(), "wb"));
  FloatRecord record;
  ASSERT_EQ(record.WriteRecord(stream.get()), 0);
  EXPECT_EQ(dir.Read("record").size(), 0u);
  std::fflush(stream.get());
  EXPECT_EQ(dir.Read("record").size(), 23u);
}

TEST(ParameterRecordBinary, NullAndRefusingStreamsAreReported) {
  FloatRecord record;
  EXPECT_EQ(record.WriteRecord(nullptr), -3);
  EXPECT_EQ(record.ReadRecord(nullptr, 3.01f), -2);
  const test_support::TempDir dir;
  const std::string path = dir.Write("read-only", "");
  const test_support::Stream stream(std::fopen(path.c_str(), "rb"));
  EXPECT_EQ(record.WriteRecord(stream.get()), -3);
}

}  // namespace
