#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/styles/style_samples.h"
#include "trq/styles.h"

namespace {

using test_support::TempDir;

std::string Export(KVBUILDSTYLE& style, bool comma_separated) {
  const TempDir dir;
  style.CommaSeparated = comma_separated;
  EXPECT_EQ(style.writeAsciiBuildStyle(dir.File("export")), 0);
  EXPECT_EQ(style.file, nullptr);
  return dir.Read("export");
}

std::string MachineLine(int machine, bool comma_separated) {
  KVBUILDSTYLE style;
  style.MachineType = static_cast<TRQ_TYPE>(machine);
  const std::string text = Export(style, comma_separated);
  const std::size_t start = text.find("Machine Type");
  EXPECT_EQ(text.find("Machine Type", start + 1), std::string::npos) << "one machine line a file";
  return text.substr(start, text.find('\n', start) - start);
}

TEST(BuildStyleText, CommaFormHasTheMachineLineAnEmptyLineAndTheHeading) {
  KVBUILDSTYLE style;
  EXPECT_NE(Export(style, true)
                .find("\nMachine Type,TRQ-E7\n\nParameter,Current Value,Editable,Default Value,"
                      "Minimum,Values In List\nStart Z, 0.0000,Yes, 0.0000,No Min-Max Range\n"),
            std::string::npos);
}

TEST(BuildStyleText, LayerBorderPowerPrintsItsRange) {
  KVBUILDSTYLE style;
  EXPECT_NE(Export(style, true).find("\nLayer Border Power,600.0000,Yes,600.0000,50.0000,1200.0000\n"),
            std::string::npos);
}

TEST(BuildStyleText, KeptFirstLinesDifferByAComma) {
  KVBUILDSTYLE style;
  EXPECT_EQ(Export(style, false).rfind("Kestrabin, Inc. Confidential \n", 0), 0u);
  EXPECT_EQ(Export(style, true).rfind("Kestrabin Inc. Confidential \n", 0), 0u);
}

TEST(BuildStyleText, KeptUpFillPowersComeLast) {
  KVBUILDSTYLE style;
  const std::string text = Export(style, true);
  EXPECT_LT(text.find("\nUp Border Power,"), text.find("\nUp Hatch 0 Power,"));
  EXPECT_LT(text.find("\nUp Hatch 3 Power,"), text.find("\nUp Fill 0 Power,"));
}

TEST(BuildStyleText, UserLevelsBeyondOneHaveNoName) {
  KVBUILDSTYLE style;
  EXPECT_NE(Export(style, false).find("\nUser Level: Standard\n"), std::string::npos);
  style.UserLevel = 1;
  EXPECT_NE(Export(style, true).find("\nUser Level,Advanced\n"), std::string::npos);
  for (const int level : {2, -1}) {
    style.UserLevel = level;
    EXPECT_NE(Export(style, false).find("\nUser Level: \n"), std::string::npos);
    EXPECT_NE(Export(style, true).find("\nUser Level,\n"), std::string::npos);
  }
}

TEST(BuildStyleText, MachineLinesOfAllNamedTypes) {
  const std::pair<int, const char*> plain[] = {{0, "TRQ-A1"},
                                               {1, "TRQ-B2"},
                                               {2, "TRQ-C3"},
                                               {3, "TRQ-C4"},
                                               {4, "TRQ-D5"},
                                               {5, "TRQ-D6"},
                                               {6, "TRQ-E7"},
                                               {7, "Mirra"},
                                               {8, "MirraFN"},
                                               {9, "MirraPX (single vat)"},
                                               {10, "MirraFNPX (single vat)"},
                                               {11, "MirraPX (dual vat)"},
                                               {12, "MirraFNPX (dual vat)"},
                                               {14, "TRQ-UNKNOWN"},
                                               {-1, "TRQ-UNKNOWN"},
                                               {27, "TRQ-UNKNOWN"}};
  for (const auto& [machine, name] : plain) {
    EXPECT_EQ(MachineLine(machine, false), std::string("Machine Type: ") + name);
    EXPECT_EQ(MachineLine(machine, true), std::string("Machine Type,") + name);
  }
}

TEST(BuildStyleText, KeptNewestMachinesHaveTheColonInTheCommaForm) {
  EXPECT_EQ(MachineLine(13, false), "Machine Type: MirraMax");
  EXPECT_EQ(MachineLine(13, true), "Machine Type: MirraMax");
  EXPECT_EQ(MachineLine(18, false), "Machine Type: Altor900");
  EXPECT_EQ(MachineLine(18, true), "Machine Type: Altor 900");
  EXPECT_EQ(MachineLine(23, false), "Machine Type: Altor800");
  EXPECT_EQ(MachineLine(23, true), "Machine Type: Altor 800");
}

TEST(BuildStyleText, KeptNoMachineIsNamedInTheReadableFormOnly) {
  EXPECT_EQ(MachineLine(26, false), "Machine Type: TRQ_NONE");
  EXPECT_EQ(MachineLine(26, true), "Machine Type,TRQ-UNKNOWN");
}

}  // namespace
