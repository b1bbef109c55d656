#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "trq/recoat.h"

using test_support::BytesOf;
using test_support::StreamOf;

namespace {

template <class Record>
std::string Text(const Record& record, bool comma) {
  auto stream = StreamOf("");
  EXPECT_EQ(record.WriteAsciiRecord(stream.get(), "Name", comma), 0);
  return BytesOf(stream.get());
}

}  // namespace

TEST(RecoatRecord, FloatCommaFormHasABlankBeforeTheMinimum) {
  RecoatStyleParameterRecordFloat record;
  record.SetValue(1.5f);
  record.SetDefaultValue(2);
  record.SetMinRange(0.25f);
  record.SetMaxRange(9);
  EXPECT_EQ(Text(record, true), "Name, 1.5000,Yes, 2.0000,  0.2500, 9.0000,\n");
  record.AddElementToList(3);
  record.AddElementToList(4.5f);
  EXPECT_EQ(Text(record, true), "Name, 1.5000,Yes, 2.0000,  0.2500, 9.0000,3.000000,4.500000,\n");
}

TEST(RecoatRecord, OnlyTheExactPairMeansNoRange) {
  RecoatStyleParameterRecordFloat record;
  EXPECT_EQ(Text(record, true), "Name, 0.0000,Yes, 0.0000,No Min-Max Range,\n");
  record.SetMaxRange(-99999);
  EXPECT_EQ(Text(record, true), "Name, 0.0000,Yes, 0.0000, 100000.0000,-99999.0000,\n");
}

TEST(RecoatRecord, FloatReadableFormHasTwoBlanksBeforeFullRange) {
  RecoatStyleParameterRecordFloat record;
  record.SetEditFlag(2);  // only 1 is "Yes"
  EXPECT_EQ(Text(record, false),
            "Name =  0.0000  [No Min-Max , No]  0.0000\nOnly Specific Allowed Values :  Full Range\n\n");
  record.SetMinRange(-1);
  record.SetMaxRange(1);
  record.AddElementToList(0.5f);
  EXPECT_EQ(Text(record, false),
            "Name =  0.0000  [-1.0000 ,  1.0000, No]  0.0000\nOnly Specific Allowed Values : 0.500000  \n\n");
}

TEST(RecoatRecord, KeptIntegerCommaFormLeavesTheDefaultOut) {
  RecoatStyleParameterRecordInt record;
  record.SetValue(7);
  record.SetDefaultValue(55);
  EXPECT_EQ(Text(record, true), "Name,    7,No Min-Max,Yes,\n");
  record.SetMinRange(1);
  record.SetMaxRange(9);
  EXPECT_EQ(Text(record, true), "Name,    7,Yes,    1,    9,\n");
  record.AddElementToList(7);
  EXPECT_EQ(Text(record, true), "Name,    7,Yes,    1,    9,7,\n");
}

TEST(RecoatRecord, KeptIntegerReadableFormPrintsTheDefaultAsFloatingPoint) {
  RecoatStyleParameterRecordInt record;
  record.SetValue(7);
  record.SetDefaultValue(55);
  EXPECT_EQ(Text(record, false),
            "Name =     7  [No Min-Max, Yes] 55.0000\nOnly Specific Allowed Values : Full Range\n\n");
  record.SetMinRange(1);
  record.SetMaxRange(9);
  record.AddElementToList(3);
  record.AddElementToList(7);
  EXPECT_EQ(Text(record, false),
            "Name =     7  [    1 ,     9, Yes] 55.0000\nOnly Specific Allowed Values :3 7 \n\n");
}

TEST(RecoatRecord, BinaryFormIsThatOfBuildStyles) {
  RecoatStyleParameterRecordInt recoat;
  BuildStyleParameterRecordInt build;
  for (auto* value : {&recoat}) value->SetValue(5);
  build.SetValue(5);
  recoat.AddElementToList(6);
  build.AddElementToList(6);
  auto a = StreamOf("");
  auto b = StreamOf("");
  EXPECT_EQ(recoat.WriteRecord(a.get()), 0);
  EXPECT_EQ(build.WriteRecord(b.get()), 0);
  EXPECT_EQ(BytesOf(a.get()), BytesOf(b.get()));
}

TEST(RecoatRecord, ConvertsBetweenTheTwoKinds) {
  RecoatStyleParameterRecordFloat real;
  real.SetValue(-2.75f);
  real.SetMaxRange(1e20f);
  real.SetDisplayFlag(0);
  RecoatStyleParameterRecordInt whole;
  whole.ConvertFloatRecordIntoIntRecord(&real);
  EXPECT_EQ(whole.GetValue(), -2);
  EXPECT_EQ(whole.GetMaxRange(), INT32_MIN);
  EXPECT_EQ(whole.GetDisplayFlag(), 0);
  RecoatStyleParameterRecordFloat back;
  back.ConvertIntRecordIntoFloatRecord(&whole);
  EXPECT_EQ(back.GetValue(), -2.0f);
}

TEST(Sweeps, StartAtZero) {
  const KVSWEEPS sweep;
  EXPECT_EQ(sweep.BladeGap.GetValue(), 0);
  EXPECT_EQ(sweep.BladeVelocity.GetValue(), 0);
}

TEST(Sweeps, ConversionTouchesTheVelocityOnly) {
  KVSWEEPS sweep;
  sweep.BladeGap.AddAndSetValue(100);
  sweep.BladeVelocity.AddAndSetValue(2);
  sweep.BladeVelocity.SetMinRange(1);
  sweep.BladeVelocity.SetMaxRange(4);
  sweep.ConvertAllValuesToMM();
  EXPECT_EQ(sweep.BladeVelocity.GetValue(), 50.8f);
  EXPECT_EQ(sweep.BladeVelocity.GetMinRange(), 25.4f);
  EXPECT_EQ(sweep.BladeVelocity.GetMaxRange(), 101.6f);
  EXPECT_EQ(sweep.BladeVelocity.GetAnElementFromList(0), 50.8f);
  EXPECT_EQ(sweep.BladeGap.GetValue(), 100);
  EXPECT_EQ(sweep.BladeGap.GetAnElementFromList(0), 100);
  sweep.ConvertAllValuesToINCH();
  EXPECT_EQ(sweep.BladeVelocity.GetValue(), 2);
}

TEST(Sweeps, DefaultsFollowTheValues) {
  KVSWEEPS sweep;
  sweep.BladeGap.SetValue(120);
  sweep.BladeVelocity.SetValue(3);
  sweep.EquatelAllDefaultsToCurrentValue();
  EXPECT_EQ(sweep.BladeGap.GetDefaultValue(), 120);
  EXPECT_EQ(sweep.BladeVelocity.GetDefaultValue(), 3);
}
