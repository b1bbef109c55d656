#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <string>

#include "tests/support/temp_dir.h"
#include "trq/styles.h"

namespace {

using FloatRecord = BuildStyleParameterRecordFloat;
using IntRecord = BuildStyleParameterRecordInt;

template <class Record>
std::string Text(const Record& record, bool comma_separated) {
  const auto stream = test_support::StreamOf("");
  EXPECT_EQ(record.WriteAsciiRecord(stream.get(), "Some Name", comma_separated), 0);
  return test_support::BytesOf(stream.get());
}

template <class Record>
Record Ranged() {
  Record record;
  record.SetValue(3);
  record.SetDefaultValue(4);
  record.SetMinRange(1);
  record.SetMaxRange(9);
  return record;
}

template <class Record>
Record WithList(Record record) {
  record.AddElementToList(3);
  record.AddElementToList(5);
  return record;
}

TEST(ParameterRecordText, FreshRecordsPrintTheFormsWithoutRange) {
  EXPECT_EQ(Text(FloatRecord(), true), "Some Name, 0.0000,Yes, 0.0000,No Min-Max Range\n");
  EXPECT_EQ(Text(FloatRecord(), false), "Some Name =  0.0000  [No Min-Max , Yes]  0.0000 Full Range\n\n");
  EXPECT_EQ(Text(IntRecord(), true), "Some Name,    0,Yes,    0,No Min-Max Range\n");
  EXPECT_EQ(Text(IntRecord(), false),
            "Some Name =     0  [No Min-Max, Yes]     0\nAllowed Values: Full Range\n\n");
}

TEST(ParameterRecordText, RangesArePrinted) {
  EXPECT_EQ(Text(Ranged<FloatRecord>(), true), "Some Name, 3.0000,Yes, 4.0000, 1.0000, 9.0000\n");
  EXPECT_EQ(Text(Ranged<FloatRecord>(), false),
            "Some Name =  3.0000  [ 1.0000 ,  9.0000, Yes]  4.0000 Full Range\n\n");
  EXPECT_EQ(Text(Ranged<IntRecord>(), true), "Some Name,    3,Yes,    4,    1,    9,\n");
  EXPECT_EQ(Text(Ranged<IntRecord>(), false),
            "Some Name =     3  [    1 ,     9, Yes]     4\nAllowed Values: Full Range\n\n");
}

TEST(ParameterRecordText, KeptListSeparatorsDifferFromFormToForm) {
  EXPECT_EQ(Text(WithList(Ranged<FloatRecord>()), true),
            "Some Name, 3.0000,Yes, 4.0000, 1.0000, 9.0000,3.000000,,5.000000,\n");
  EXPECT_EQ(Text(WithList(Ranged<FloatRecord>()), false),
            "Some Name =  3.0000  [ 1.0000 ,  9.0000, Yes]  4.00003.000000  5.000000  \n\n");
  EXPECT_EQ(Text(WithList(Ranged<IntRecord>()), true), "Some Name,    3,Yes,    4,    1,    9,3,5,\n");
  EXPECT_EQ(Text(WithList(Ranged<IntRecord>()), false),
            "Some Name =     3  [    1 ,     9, Yes]     4\nAllowed Values: 3   5   \n\n");
}

TEST(ParameterRecordText, KeptListFollowsTheWordsOfNoRangeDirectly) {
  EXPECT_EQ(Text(WithList(FloatRecord()), true),
            "Some Name, 0.0000,Yes, 0.0000,No Min-Max Range,3.000000,,5.000000,\n");
  EXPECT_EQ(Text(WithList(IntRecord()), true), "Some Name,    0,Yes,    0,No Min-Max Range3,5,\n");
}

TEST(ParameterRecordText, OnlyTheExactPairIsNoRange) {
  FloatRecord record;
  record.SetMaxRange(-100001);
  EXPECT_EQ(Text(record, true), "Some Name, 0.0000,Yes, 0.0000,100000.0000,-100001.0000\n");
  IntRecord whole;
  whole.SetMinRange(100001);
  EXPECT_EQ(Text(whole, true), "Some Name,    0,Yes,    0,100001,-100000,\n");
}

TEST(ParameterRecordText, EditableMeansExactlyOne) {
  for (const int flag : {0, 2, 257, -1}) {
    IntRecord record;
    record.SetEditFlag(flag);
    EXPECT_EQ(Text(record, true), "Some Name,    0,No,    0,No Min-Max Range\n") << flag;
  }
}

TEST(ParameterRecordText, WideAndNegativeNumbersKeepAllDigits) {
  IntRecord whole;
  whole.SetValue(std::numeric_limits<int>::min());
  whole.SetDefaultValue(1234567);
  EXPECT_EQ(Text(whole, true), "Some Name,-2147483648,Yes,1234567,No Min-Max Range\n");
  FloatRecord record;
  record.SetValue(-12.34567f);
  record.SetDefaultValue(3.402823466e38f);
  EXPECT_EQ(Text(record, true),
            "Some Name,-12.3457,Yes,340282346638528859811704183484516925440.0000,No Min-Max Range\n");
}

TEST(ParameterRecordText, NotANumberAndInfinitiesPrintAsInC) {
  FloatRecord record;
  record.SetValue(std::numeric_limits<float>::quiet_NaN());
  record.SetDefaultValue(-std::numeric_limits<float>::infinity());
  record.AddElementToList(std::numeric_limits<float>::infinity());
  EXPECT_EQ(Text(record, true), "Some Name,    nan,Yes,   -inf,No Min-Max Range,inf,\n");
}

TEST(ParameterRecordText, DoesNotFollowTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  // A locale with a decimal comma where the system has one; the expectation is the same either way.
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_ALL, name)) break;
  }
  FloatRecord record;
  record.SetValue(1.5f);
  const std::string text = Text(record, true);
  std::setlocale(LC_ALL, before.c_str());
  EXPECT_EQ(text, "Some Name, 1.5000,Yes, 0.0000,No Min-Max Range\n");
}

TEST(ParameterRecordText, NullStreamIsAWriteFailure) {
  EXPECT_EQ(FloatRecord().WriteAsciiRecord(nullptr, "x", true), -3);
  EXPECT_EQ(IntRecord().WriteAsciiRecord(nullptr, "x", false), -3);
}

}  // namespace
