#include "trq/machine_types.h"

#include <gtest/gtest.h>

#include <string>

#include "trq/styles.h"

namespace {

TEST(MachineTypes, NumbersAreThoseOfTheFiles) {
  EXPECT_EQ(TRQ_A1, 0);
  EXPECT_EQ(TRQ_E7, 6);
  EXPECT_EQ(TRQ_MIRRA, 7);
  EXPECT_EQ(TRQ_MIRRA_MAX, 13);
  EXPECT_EQ(TRQ_ALTOR900, 18);
  EXPECT_EQ(TRQ_ALTOR800, 23);
  EXPECT_EQ(TRQ_NONE, 26);
  EXPECT_EQ(sizeof(TRQ_TYPE), 4u);
}

TEST(MachineTypes, ReservedNumbersHaveNeitherNameNorDirectory) {
  for (const int type : {-1, 14, 15, 16, 17, 19, 20, 21, 22, 24, 25, 27, 2147483647}) {
    EXPECT_EQ(trq::FindMachineType(type), nullptr) << type;
    EXPECT_EQ(trq::StyleDirectory(type, 1), nullptr) << type;
  }
}

TEST(MachineTypes, EveryListedMachineHasBothDirectories) {
  struct Expected {
    int type;
    const char* name;
    const char* mm;
    const char* inch;
  };
  const Expected all[] = {
      {0, "TRQ-A1", R"(\trqa1\a1mm\)", R"(\trqa1\a1in\)"},
      {1, "TRQ-B2", R"(\trqb2\b2mm\)", R"(\trqb2\b2in\)"},
      {2, "TRQ-C3", R"(\trqc3\c3mm\)", R"(\trqc3\c3in\)"},
      {3, "TRQ-C4", R"(\trqc3\c3mm\)", R"(\trqc3\c3in\)"},
      {4, "TRQ-D5", R"(\trqd5\d5mm\)", R"(\trqd5\d5in\)"},
      {5, "TRQ-D6", R"(\trqd6\d6mm\)", R"(\trqd6\d6in\)"},
      {6, "TRQ-E7", R"(\trqe7\e7mm\)", R"(\trqe7\e7in\)"},
      {7, "Mirra", R"(\Mirra\Mirramm\)", R"(\Mirra\Mirrain\)"},
      {8, "MirraFN", R"(\MirraFN\MirraFNmm\)", R"(\MirraFN\MirraFNin\)"},
      {9, "MirraPX (single vat)", R"(\MirraPX_S\MirraPX_Smm\)", R"(\MirraPX_S\MirraPX_Sin\)"},
      {10, "MirraFNPX (single vat)", R"(\MirraFNPX_S\MirraFNPX_Smm\)", R"(\MirraFNPX_S\MirraFNPX_Sin\)"},
      {11, "MirraPX (dual vat)", R"(\MirraPX\MirraPXmm\)", R"(\MirraPX\MirraPXin\)"},
      {12, "MirraFNPX (dual vat)", R"(\MirraFNPX\MirraFNPXmm\)", R"(\MirraFNPX\MirraFNPXin\)"},
      {13, "MirraMax", R"(\MirraMax\MirraMaxmm\)", R"(\MirraMax\MirraMaxin\)"},
      {18, "Altor 900", R"(\MirraMax\MirraMaxmm\)", R"(\MirraMax\MirraMaxin\)"},
      {23, "Altor 800", R"(\MirraMax\MirraMaxmm\)", R"(\MirraMax\MirraMaxin\)"},
  };
  for (const Expected& expected : all) {
    const trq::MachineTypeRow* row = trq::FindMachineType(expected.type);
    ASSERT_NE(row, nullptr) << expected.type;
    EXPECT_STREQ(row->display_name, expected.name);
    EXPECT_STREQ(trq::StyleDirectory(expected.type, trq::kStylesInMillimetres), expected.mm);
    EXPECT_STREQ(trq::StyleDirectory(expected.type, trq::kStylesInInches), expected.inch);
    EXPECT_EQ(trq::StyleDirectory(expected.type, 2), nullptr);
    EXPECT_EQ(trq::StyleDirectory(expected.type, -1), nullptr);
  }
  EXPECT_EQ(trq::StyleDirectory(TRQ_NONE, 1), nullptr);
}

TEST(MachineTypes, KeptNamesOfTheNewestMachinesVary) {
  EXPECT_STREQ(trq::FindMachineType(18)->build_header_name, "Altor900");
  EXPECT_STREQ(trq::FindMachineType(23)->build_header_name, "Altor800");
  EXPECT_STREQ(trq::FindMachineType(18)->recoat_header_name, "Altor 900)");
  EXPECT_STREQ(trq::FindMachineType(23)->recoat_header_name, "Altor 800)");
  EXPECT_STREQ(trq::FindMachineType(18)->comma_name, "Altor 900");
  EXPECT_STREQ(trq::FindMachineType(23)->comma_name, "Altor 800");
  EXPECT_STREQ(trq::FindMachineType(26)->build_header_name, "TRQ_NONE");
  EXPECT_STREQ(trq::FindMachineType(26)->recoat_header_name, "TRQ-UNKNOWN");
  EXPECT_STREQ(trq::FindMachineType(26)->comma_name, "TRQ-UNKNOWN");
}

TEST(Machines, KeptDefaultsDoNotAgreeWithOneAnother) {
  const MACHINES machine;
  EXPECT_EQ(machine.MachineName, "TRQD6");
  EXPECT_EQ(machine.MachineType, 6);
  EXPECT_EQ(machine.RecoaterName, "KALMOR");
  EXPECT_EQ(machine.MaterialName, "RX4410");
}

TEST(Machines, WordsAndTextsStartAsListed) {
  const MACHINES machine;
  const float floats[] = {20.0f, 20.0f, 23.2f, 0, 0, 0, 6.0f};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(machine.Words.Words0To6[i], floats[i]) << i;
  const int integers[] = {0, 0, 1};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(machine.Words.Words7To9[i], integers[i]) << i;
  EXPECT_EQ(machine.Words.Word10, 0.4f);
  EXPECT_EQ(machine.Words.Word11, 0);
  EXPECT_EQ(machine.WordAfterBlock, 0);
  for (const auto& group : machine.Texts) {
    for (const CString& text : group) EXPECT_EQ(text, " ");
  }
  EXPECT_EQ(machine.LastInteger, 0);
}

TEST(Machines, CopiesEveryMember) {
  MACHINES machine;
  machine.MachineName = "A";
  machine.MachineType = 26;
  machine.RecoaterName = "B";
  machine.MaterialName = "C";
  machine.Words.Word10 = 7;
  machine.WordAfterBlock = 8;
  machine.Texts[1][2] = "D";
  machine.LastInteger = 9;
  const MACHINES copy(machine);
  MACHINES assigned;
  assigned = copy;
  EXPECT_EQ(assigned.MachineName, "A");
  EXPECT_EQ(assigned.MachineType, 26);
  EXPECT_EQ(assigned.RecoaterName, "B");
  EXPECT_EQ(assigned.MaterialName, "C");
  EXPECT_EQ(assigned.Words.Word10, 7.0f);
  EXPECT_EQ(assigned.WordAfterBlock, 8);
  EXPECT_EQ(assigned.Texts[1][2], "D");
  EXPECT_EQ(assigned.LastInteger, 9);
}

}  // namespace
