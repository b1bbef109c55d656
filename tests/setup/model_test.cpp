#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <type_traits>

#include "tests/geometry/literal_mesh.h"
#include "tests/setup/bands.h"
#include "tests/support/meshes.h"
#include "tests/support/temp_dir.h"
#include "trq/setup.h"

using test_support::BandsOf;
using test_support::StackStyles;
using test_support::TempDir;
using Expected = std::vector<test_support::Band>;

namespace {

static_assert(!std::is_copy_constructible_v<MODEL> && !std::is_copy_assignable_v<MODEL>);
static_assert(!std::is_move_constructible_v<MODEL> && !std::is_move_assignable_v<MODEL>);
static_assert(std::is_base_of_v<CTL, MODEL>);

void Stack(MODEL& model, const Expected& bands) { StackStyles(model.BuildStyles, bands); }
Expected Bands(const MODEL& model) { return BandsOf(model.BuildStyles); }

void MakeCube(MODEL& model, float size) {
  CTL cube = test_support::Cube(size);
  cube.copy(&model);
}

/// Dp 0.15, Ec 10, layers of 0.1: a depth of 0.3 takes an exposure of 10 e^2.
KVBUILDSTYLE Resin() {
  KVBUILDSTYLE style;
  style.LayerThickness.SetValue(0.1f);
  style.Dp.SetValue(0.15f);
  style.Ec.SetValue(10);
  return style;
}

/// The fourteen records of a spot size that a Z correction comes from, by the names that users see.
struct DownRecords {
  const char* spot;
  TRQ_TYPE machine;

  void SetCount(KVBUILDSTYLE& style, const char* counted, int count) const {
    style.FindInt((Name("Num") + counted).c_str())->SetValue(count);
  }
  /// The first is 1.
  void SetLength(KVBUILDSTYLE& style, const char* what, int number, float length) const {
    style.FindFloat((Name(what) + " " + std::to_string(number)).c_str())->SetValue(length);
  }

 private:
  std::string Name(const char* what) const { return std::string(spot) + " Down " + what; }
};
constexpr DownRecords kDownRecords[] = {{"Small", TRQ_D6}, {"Large", TRQ_E7}};

/// Dp, Ec and layers of 1: a single depth d is d - 1 layers.
KVBUILDSTYLE Unity() {
  KVBUILDSTYLE style;
  style.LayerThickness.SetValue(1);
  style.Dp.SetValue(1);
  style.Ec.SetValue(1);
  return style;
}

}  // namespace

TEST(Model, StartsWithItsDefaults) {
  const MODEL model;
  EXPECT_EQ(model.num_triangles(), 0);
  EXPECT_EQ(model.StateWord, 0);
  EXPECT_EQ(model.ApplicationWord, 2366);
  for (int word : model.ApplicationCounters) EXPECT_EQ(word, 0);
  EXPECT_FALSE(model.Modified);
  EXPECT_FALSE(model.SecondFlag);
  EXPECT_TRUE(model.BuildStyles.empty());
  EXPECT_EQ(std::size(model.FirstInts), 13u);
  EXPECT_EQ(std::size(model.SecondInts), 6u);
  EXPECT_EQ(std::size(model.FirstFloats), 6u);
  EXPECT_EQ(std::size(model.Flags), 11u);
  EXPECT_EQ(std::size(model.SecondFloats), 11u);
  EXPECT_EQ(std::size(model.LastInts), 10u);
  const auto expect_blank = [](const auto& records) {
    for (const auto& record : records) {
      EXPECT_EQ(record.GetValue(), 0);
      EXPECT_EQ(record.GetDefaultValue(), 0);
      EXPECT_FALSE(record.HasRange());
      EXPECT_EQ(record.GetNumElementsInList(), 0);
    }
  };
  expect_blank(model.FirstInts);
  expect_blank(std::array{model.LargeSpot});
  expect_blank(model.SecondInts);
  expect_blank(model.FirstFloats);
  expect_blank(model.Flags);
  expect_blank(model.SecondFloats);
  expect_blank(model.LastInts);
  EXPECT_EQ(model.LastWord, 0);
}

TEST(Model, SetUnitsIsTheMeshesOwn) {
  MODEL model;
  model.SetUnits(1);
  EXPECT_EQ(model.GetUnits(), 1);
  EXPECT_EQ(model.header.units, 1);
}

TEST(Model, ModifiedStateKeepsTheSecondFlagWhenCleared) {
  MODEL model;
  model.setModelModifiedState(true, true);
  EXPECT_TRUE(model.Modified && model.SecondFlag);
  model.setModelModifiedState(false, false);
  EXPECT_FALSE(model.Modified);
  EXPECT_TRUE(model.SecondFlag);
  model.setModelModifiedState(true, false);
  EXPECT_FALSE(model.SecondFlag);
}

TEST(Model, ExtentsAreStoredAsGiven) {
  MODEL model;
  model.SetCTLExtents(1, 2, 3, 4, 5, 6);
  model.SetExtentsValid(1);
  float x, y, z;
  model.get_min(&x, &y, &z);
  EXPECT_EQ(x, 1);
  EXPECT_EQ(y, 2);
  EXPECT_EQ(z, 3);
  model.get_max(&x, &y, &z);
  EXPECT_EQ(x, 4);
  EXPECT_EQ(y, 5);
  EXPECT_EQ(z, 6);
  model.SetExtentsValid(0);
  EXPECT_EQ(model.extents_valid, 0);
}

TEST(Model, AreaFunctionIsTheMeshes) {
  MODEL model;
  MakeCube(model, 2);
  EXPECT_FLOAT_EQ(model.GetCTLArea(0), 16);  // (2 * area)^2 with an area of 2
}

TEST(Model, VolumeAndAreaGoThroughTheCurrentMatrix) {
  MODEL model;
  MakeCube(model, 2);
  float* R = model.ComponentInfo.placement();
  model.CalculateCurrentVolumeAndArea(0);
  EXPECT_FLOAT_EQ(R[28], 24);
  EXPECT_FLOAT_EQ(R[29], 8);
  R[0] = R[5] = R[10] = 2;  // twice as large
  R[3] = 100;               // and moved
  model.CalculateCurrentVolumeAndArea(0);
  EXPECT_FLOAT_EQ(R[28], 96);
  EXPECT_NEAR(R[29], 64, 1e-3);
}

TEST(Model, VolumeAndAreaOfAMatrixInInchesAreRoundedWithEveryCorner) {
  MODEL model;
  MakeCube(model, 2);
  float* R = model.ComponentInfo.placement();
  R[0] = R[5] = R[10] = 2;
  R[3] = 100;
  float matrix[4][4];
  std::memcpy(matrix, R, sizeof matrix);
  double area = 0, volume = 0;
  for (int i = 0; i < model.num_triangles(); ++i) {
    float p[3][3];
    for (int k = 0; k < 3; ++k) literal::Place(matrix, 1, model.vertices()[model.nth(i)[k]].data(), 1, p[k]);
    area += std::sqrt(static_cast<double>(literal::AreaX2sq(p[0], p[1], p[2])));
    volume += literal::VolumeTerm(p[0], p[1], p[2]);
  }
  model.CalculateCurrentVolumeAndArea(1);
  EXPECT_EQ(R[28], static_cast<float>(area * 0.5));
  EXPECT_EQ(R[29], static_cast<float>(volume * 0.16666667));
  EXPECT_NEAR(R[28], 96, 0.02);  // the same size, the move in inches
  EXPECT_NEAR(R[29], 64, 0.05);
}

TEST(Model, MatrixIsTakenByRows) {
  MODEL model;
  MakeCube(model, 2);
  float* R = model.ComponentInfo.placement();
  R[0] = 2;
  R[1] = 1;  // x' = 2 x + y: edges (4, 0, 0), (2, 2, 0) and (0, 0, 2)
  model.CalculateCurrentVolumeAndArea(0);
  EXPECT_FLOAT_EQ(R[28], 2 * (8 + 8 + 4 * std::sqrt(2.0f)));
  EXPECT_FLOAT_EQ(R[29], 16);
  // Facets that wind the other way enclose a negative volume.
  R[0] = -2;
  R[1] = 0;
  model.CalculateCurrentVolumeAndArea(0);
  EXPECT_FLOAT_EQ(R[28], 2 * (8 + 8 + 4));
  EXPECT_FLOAT_EQ(R[29], -16);
}

TEST(Model, StateWordForbidsTheCalculation) {
  MODEL model;
  MakeCube(model, 2);
  float* R = model.ComponentInfo.placement();
  R[28] = R[29] = -1;
  model.StateWord = 2;
  model.CalculateCurrentVolumeAndArea(0);
  EXPECT_EQ(R[28], -1);
  EXPECT_EQ(R[29], -1);
  model.StateWord = 1;
  model.CalculateCurrentVolumeAndArea(0);
  EXPECT_FLOAT_EQ(R[29], 8);
}

TEST(Model, NoTrianglesHaveNoVolume) {
  MODEL model;
  float* R = model.ComponentInfo.placement();
  R[28] = R[29] = -1;
  model.CalculateCurrentVolumeAndArea(0);
  EXPECT_EQ(R[28], 0);
  EXPECT_EQ(R[29], 0);
}

TEST(ModelStack, ReStackingMovesEveryStyleButTheFirst) {
  MODEL model;
  Stack(model, {{0, 1}, {1, 3}, {3, 4}});
  model.KVrecalculateBuildStyle(0.5f, 5);
  EXPECT_EQ(Bands(model), (Expected{{0.5f, 2}, {2, 4}, {4, 5}}));
}

TEST(ModelStack, EndsWithinTheToleranceChangeNothing) {
  MODEL model;
  Stack(model, {{0, 1}, {1, 3}});
  model.KVrecalculateBuildStyle(0.00004f, 3.00004f);
  EXPECT_EQ(Bands(model), (Expected{{0, 1}, {1, 3}}));
  model.KVrecalculateBuildStyle(0.00006f, 3);
  EXPECT_EQ(Bands(model), (Expected{{0.00006f, 1}, {1, 3}}));
  MODEL limit;  // inclusive: 0.00005 in single precision on both sides
  Stack(limit, {{0, 4}});
  limit.KVrecalculateBuildStyle(0.00005f, 4);
  EXPECT_EQ(Bands(limit), (Expected{{0, 4}}));
  limit.KVrecalculateBuildStyle(0, 4.0001f);  // the other end alone
  EXPECT_EQ(Bands(limit), (Expected{{0, 4.0001f}}));
  limit.KVrecalculateBuildStyle(1, 7);
  EXPECT_EQ(Bands(limit), (Expected{{1, 7}}));
  MODEL empty;
  empty.KVrecalculateBuildStyle(0, 1);
  EXPECT_TRUE(empty.BuildStyles.empty());
}

TEST(ModelStack, RangesGiveWayAsInThePlatform) {
  MODEL model;
  PLATFORM platform;
  EXPECT_EQ(model.KVAddBuildStyle(&platform, nullptr, "a.sty", 0, 10, false), 0);
  model.BuildStyles[0]->Dp.SetValue(0.2f);
  EXPECT_EQ(model.KVAddBuildStyle(&platform, nullptr, "b.sty", 2, 3, false), 0);
  EXPECT_EQ(Bands(model), (Expected{{0, 2}, {2, 3}, {3, 10}}));
  EXPECT_EQ(model.BuildStyles[1]->StyleName, "b.sty");
  EXPECT_EQ(model.BuildStyles[2]->Dp.GetValue(), 0.2f);
  model.KVAddBuildStyle(&platform, nullptr, "c.sty", 0, 2, false);
  EXPECT_EQ(model.BuildStyles[0]->StyleName, "c.sty");
  model.KVAddBuildStyle(&platform, nullptr, "d.sty", 3, 5, false);
  model.KVAddBuildStyle(&platform, nullptr, "e.sty", 8, 10, false);
  EXPECT_EQ(Bands(model), (Expected{{0, 2}, {2, 3}, {3, 5}, {5, 8}, {8, 10}}));
  model.KVAddBuildStyle(&platform, nullptr, "f.sty", 12, 13, false);
  model.KVAddBuildStyle(&platform, nullptr, "g.sty", 10.5f, 11, false);
  EXPECT_EQ(model.BuildStyles[5]->StyleName, "g.sty");
  EXPECT_EQ(model.BuildStyles[6]->StyleName, "f.sty");
}

TEST(ModelStack, EveryAffectedStyleIsEditedAndTheNewOneLinkedOnce) {
  MODEL model;
  Stack(model, {{0, 10}, {2, 8}, {1, 3}, {2, 3}});
  model.KVAddBuildStyle(nullptr, nullptr, "new.sty", 2, 3, false);
  // 0..10 is split around the new one; 2..8 starts at 3, 1..3 ends at 2; the exact match goes.
  EXPECT_EQ(Bands(model), (Expected{{0, 2}, {2, 3}, {3, 10}, {3, 8}, {1, 2}}));
  EXPECT_EQ(model.BuildStyles[1]->StyleName, "new.sty");
  model.KVAddBuildStyle(nullptr, nullptr, "flat.sty", 5, 5, false);
  // In 3..10 and 3..8; not in what the splits make, though 5..5 also lies in 5..10 and in itself.
  EXPECT_EQ(Bands(model), (Expected{{0, 2}, {2, 3}, {3, 5}, {5, 5}, {5, 10}, {3, 5}, {5, 8}, {1, 2}}));
}

TEST(ModelStack, OtherModelIsNotLookedAt) {
  PLATFORM platform;
  MODEL model, other;
  Stack(other, {{0, 10}});
  EXPECT_EQ(model.KVAddBuildStyle(&platform, &other, "a.sty", 2, 3, false), 0);
  EXPECT_EQ(Bands(model), (Expected{{2, 3}}));
  EXPECT_EQ(Bands(other), (Expected{{0, 10}}));
}

TEST(ModelStack, ReplacedStyleIsNoLongerCurrent) {
  PLATFORM platform;
  MODEL model;
  model.KVAddBuildStyle(&platform, nullptr, "a.sty", 0, 10, false);
  platform.CurrentBuildStyle = model.BuildStyles[0];
  model.KVAddBuildStyle(&platform, nullptr, "b.sty", 0, 5, false);  // cuts it only
  EXPECT_EQ(platform.CurrentBuildStyle, model.BuildStyles[1]);
  model.KVAddBuildStyle(&platform, nullptr, "c.sty", 5, 10, false);
  EXPECT_EQ(platform.CurrentBuildStyle, nullptr);
}

TEST(ModelStack, StyleDirectoriesWorkUnderARootWithSlashes) {
  const TempDir dir;
  std::filesystem::create_directories(dir.path() / "trqb2" / "b2mm");
  KVBUILDSTYLE saved;
  saved.Dp.SetValue(0.5f);
  ASSERT_EQ(saved.writeBuildStyle(dir.File("trqb2/b2mm/Fine.sty").c_str()), 0);
  MODEL model;
  const CString path = UTILITY::AddFullPath(dir.path().string().c_str(), TRQ_B2, "Fine.sty", 1);
  EXPECT_EQ(path, dir.path().string() + "\\trqb2\\b2mm\\Fine.sty");
  ASSERT_EQ(model.KVAddBuildStyle(nullptr, nullptr, path, 0, 1, true), 0);
  EXPECT_EQ(model.KVgetDp(), 0.5f);
}

TEST(ModelStack, ElevenFlagRecordsOfTheFirstStyleAreCopiedWhole) {
  // In the order of the bits 0x001 to 0x400 of the flags word in 206 files.
  BuildStyleParameterRecordInt KVBUILDSTYLE::*const flags[] = {
      &KVBUILDSTYLE::DHFlag,
      &KVBUILDSTYLE::SmallSpotOnlyFlag,
      &KVBUILDSTYLE::ZSmoothingFlag,
      &KVBUILDSTYLE::HighSpatialToleranceFlag,
      &KVBUILDSTYLE::SmallLineWidthCompenstationFlag,
      &KVBUILDSTYLE::DifferentialShrinkFlag,
      &KVBUILDSTYLE::SmallFeaturePreservationFlag,
      &KVBUILDSTYLE::LargeLineWidthCompenstationFlag,
      &KVBUILDSTYLE::PatternStyleFlag,
      &KVBUILDSTYLE::ShellingFlag,
      &KVBUILDSTYLE::LayerOnlyFlag,
  };
  MODEL model;
  Stack(model, {{0, 10}});
  for (int i = 0; i < 11; ++i) {
    BuildStyleParameterRecordInt& flag = model.BuildStyles[0].get()->*flags[i];
    flag.AddAndSetValue(100 + i);
    flag.SetDefaultValue(200 + i);
    flag.SetEditFlag(0);
    flag.SetMaxRange(300 + i);
  }
  model.KVAddBuildStyle(nullptr, nullptr, "a.sty", 10, 20, false);  // above: not the first
  for (int i = 0; i < 11; ++i) {
    const BuildStyleParameterRecordInt& record = model.Flags[i];
    EXPECT_EQ(record.GetValue(), 100 + i);
    EXPECT_EQ(record.GetDefaultValue(), 200 + i);
    EXPECT_EQ(record.GetEditFlag(), 0);
    EXPECT_EQ(record.GetMaxRange(), 300 + i);
    ASSERT_EQ(record.GetNumElementsInList(), 1);
    EXPECT_EQ(record.GetAnElementFromList(0), 100 + i);
  }
  model.KVAddBuildStyle(nullptr, nullptr, "b.sty", -5, 0, false);  // below: the new first
  EXPECT_EQ(model.Flags[0].GetValue(), 0);
  EXPECT_EQ(model.Flags[4].GetValue(), 1);  // small line width compensation of a new style
}

TEST(ModelStack, ToleranceFollowsThePlatformsUnits) {
  PLATFORM millimetre;
  millimetre.Units = 1;
  MODEL model;
  model.KVAddBuildStyle(&millimetre, nullptr, "a.sty", 0, 10, false);
  model.KVAddBuildStyle(&millimetre, nullptr, "b.sty", 0.001f, 10.001f, false);
  EXPECT_EQ(Bands(model), (Expected{{0.001f, 10.001f}}));
  MODEL inch;
  inch.KVAddBuildStyle(nullptr, nullptr, "a.sty", 0, 10, false);
  inch.KVAddBuildStyle(nullptr, nullptr, "b.sty", 0.001f, 10, false);
  EXPECT_EQ(Bands(inch), (Expected{{0, 0.001f}, {0.001f, 10}}));
}

TEST(ModelStack, MachineAndFirstStyleFillTheModelsRecords) {
  PLATFORM platform;
  MODEL model;
  for (const auto& [machine, large] : {std::pair{TRQ_A1, 0},
                                       {TRQ_D6, 0},
                                       {TRQ_E7, 1},
                                       {TRQ_MIRRA_MAX, 1},
                                       {TRQ_ALTOR900, 1},
                                       {TRQ_ALTOR800, 1},
                                       {TRQ_MIRRA, 0}}) {
    platform.MachineType = machine;
    model.KVAddBuildStyle(&platform, &model, "a.sty", 0, 10, false);
    EXPECT_EQ(model.LargeSpot.GetValue(), large) << machine;
  }
  const TempDir dir;
  KVBUILDSTYLE saved;
  saved.DHFlag.SetValue(1);
  saved.DHFlag.SetDefaultValue(5);
  saved.DifferentialShrinkFlag.SetValue(7);
  saved.LargeLineWidthCompenstationFlag.SetValue(0);
  saved.LayerOnlyFlag.SetValue(1);
  ASSERT_EQ(saved.writeBuildStyle(dir.File("a.sty").c_str()), 0);
  ASSERT_EQ(model.KVAddBuildStyle(nullptr, nullptr, dir.File("a.sty").c_str(), 0, 10, true), 0);
  EXPECT_EQ(model.LargeSpot.GetValue(), 0);
  EXPECT_EQ(model.Flags[0].GetValue(), 1);  // bit 0x001
  EXPECT_EQ(model.Flags[0].GetDefaultValue(), 5);
  EXPECT_EQ(model.Flags[4].GetValue(), 1);   // 0x010, small compensation: 1 in a new style
  EXPECT_EQ(model.Flags[5].GetValue(), 7);   // 0x020
  EXPECT_EQ(model.Flags[7].GetValue(), 0);   // 0x080
  EXPECT_EQ(model.Flags[10].GetValue(), 1);  // 0x400
}

TEST(ModelStack, FailedReadChangesNothing) {
  const TempDir dir;
  PLATFORM platform;
  platform.MachineType = TRQ_E7;
  MODEL model;
  EXPECT_EQ(model.KVAddBuildStyle(&platform, nullptr, dir.File("none.sty").c_str(), 0, 1, true), -1);
  EXPECT_TRUE(model.BuildStyles.empty());
  EXPECT_EQ(model.LargeSpot.GetValue(), 0);
}

TEST(ModelStack, DeletesListedStylesOnly) {
  MODEL model;
  Stack(model, {{0, 1}, {1, 2}});
  const KVBUILDSTYLE other;
  model.KVdeleteBuildStyle(nullptr);
  model.KVdeleteBuildStyle(&other);
  EXPECT_EQ(model.BuildStyles.size(), 2u);
  model.KVdeleteBuildStyle(model.BuildStyles[0].get());
  EXPECT_EQ(Bands(model), (Expected{{1, 2}}));
  model.KVdeleteBuildStyles();
  model.KVdeleteBuildStyles();
  EXPECT_TRUE(model.BuildStyles.empty());
}

TEST(ModelStack, FirstStyleAnswersForTheModel) {
  MODEL model;
  EXPECT_EQ(model.KVGetFirstBuildStyleThickness(), 0);
  EXPECT_EQ(model.KVgetDp(), 0);
  EXPECT_EQ(model.KVgetEc(), 0);
  EXPECT_EQ(model.KVGetZLayerComp(), 0);
  EXPECT_FALSE(model.KVisCaviliteStyle());
  Stack(model, {{0, 1}, {1, 2}});
  KVBUILDSTYLE& first = *model.BuildStyles[0];
  first.LayerThickness.SetValue(0.25f);
  first.Dp.SetValue(0.15f);
  first.Ec.SetValue(11);
  first.ZCompensationLayers.SetValue(3);
  first.HatchType.SetValue(5);
  EXPECT_EQ(model.KVGetFirstBuildStyleThickness(), 0.25f);
  EXPECT_EQ(model.KVgetDp(), 0.15f);
  EXPECT_EQ(model.KVgetEc(), 11);
  EXPECT_EQ(model.KVGetZLayerComp(), 0.75f);
  EXPECT_TRUE(model.KVisCaviliteStyle());
  first.HatchType.SetValue(4);
  EXPECT_FALSE(model.KVisCaviliteStyle());
}

// With these constants a down hatch of depth d cures to d + 0.1, and ln(S / Ec) = depth / 0.15.

TEST(ZCorrection, EachOfTheFourteenRecordsOfASetCounts) {
  for (int set = 0; set < 2; ++set) {
    const DownRecords& used = kDownRecords[set];
    const DownRecords& other = kDownRecords[1 - set];
    KVBUILDSTYLE blank = Unity();
    // What is not asked for would show: the other set cures to 500.
    other.SetCount(blank, "Hatches", 4);
    other.SetCount(blank, "Fills", 4);
    for (int k = 1; k <= 4; ++k) {
      other.SetLength(blank, "Hatch Cure Depth", k, 500);
      other.SetLength(blank, "Fill Cure Depth", k, 500);
      used.SetLength(blank, "Hatch Cure Depth", k, 10.0f * k);
      used.SetLength(blank, "Hatch Spacing", k, 1);  // too far apart for both limits
      used.SetLength(blank, "Fill Cure Depth", k, 10.5f * k);
    }
    for (int k = 1; k <= 4; ++k) {
      SCOPED_TRACE(used.spot + std::to_string(k));
      KVBUILDSTYLE hatch = blank;
      used.SetCount(hatch, "Hatches", 4);
      used.SetLength(hatch, "Hatch Spacing", k, 0.018f);
      // 10 k and a layer, in layers beyond the first.
      EXPECT_EQ(MODEL().KVcalc_zcorrection(used.machine, &hatch, 0.018f), 10 * k);
      used.SetCount(hatch, "Hatches", k - 1);  // the count leaves it out
      EXPECT_EQ(MODEL().KVcalc_zcorrection(used.machine, &hatch, 0.018f), 0);
      KVBUILDSTYLE fills = blank;
      used.SetCount(fills, "Fills", k);
      // The deepest decides: e^-10.5 of it more for the one below. 10.5 k - 1, truncated.
      constexpr int kLayers[] = {9, 20, 30, 41};
      EXPECT_EQ(MODEL().KVcalc_zcorrection(used.machine, &fills, 0), kLayers[k - 1]);
    }
  }
}

TEST(ZCorrection, OneBillionthFromAWholeNumberIsThatNumber) {
  KVBUILDSTYLE style = Unity();
  style.SmallDownNumFills.SetValue(2);
  style.SmallDownFillCureDepth1.SetValue(-1);
  // A second exposure smaller by e^-n adds ln(1 + e^-n) to -1 - 1. e^-21 = 7.6e-10 leaves -2 ...
  style.SmallDownFillCureDepth2.SetValue(-22);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 0), -2);
  // ... and e^-20 = 2.1e-9 truncates toward zero.
  style.SmallDownFillCureDepth2.SetValue(-21);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 0), -1);
}

TEST(ZCorrection, OneSmallHatch) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumHatches.SetValue(1);
  style.SmallDownHatchCureDepth1.SetValue(0.2f);
  style.SmallDownHatchSpacing1.SetValue(0.005f);
  const MODEL model;
  EXPECT_EQ(model.KVcalc_zcorrection(TRQ_C3, &style, 0.005f), 2);  // 0.3 / 0.1 - 1, a whole number
  style.SmallDownHatchCureDepth1.SetValue(0.28f);
  EXPECT_EQ(model.KVcalc_zcorrection(TRQ_C3, &style, 0.005f), 2);  // 3.8 - 1 = 2.8
}

TEST(ZCorrection, FirstTwoMachinesExposeMore) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumHatches.SetValue(1);
  style.SmallDownHatchCureDepth1.SetValue(0.28f);
  const MODEL model;
  // 0.15 * ln(1.27) = 0.03585 deeper: 4.1585 - 1 = 3.1585.
  EXPECT_EQ(model.KVcalc_zcorrection(TRQ_A1, &style, 0), 3);
  EXPECT_EQ(model.KVcalc_zcorrection(TRQ_B2, &style, 0), 3);
  EXPECT_EQ(model.KVcalc_zcorrection(TRQ_C3, &style, 0), 2);
}

TEST(ZCorrection, HatchesAndFillsAddUp) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumHatches.SetValue(2);
  style.SmallDownHatchCureDepth1.SetValue(0.2f);
  style.SmallDownHatchCureDepth2.SetValue(0.2f);
  style.SmallDownNumFills.SetValue(1);
  style.SmallDownFillCureDepth1.SetValue(0.3f);
  // S = 3 * 10 e^2: 0.15 * (2 + 1.0986) = 0.46479, 4.6479 - 1 = 3.6479.
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_D5, &style, 0), 3);
}

TEST(ZCorrection, FillsTakeNoLayerThicknessAndNoFactor) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumFills.SetValue(1);
  style.SmallDownFillCureDepth1.SetValue(0.29f);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_A1, &style, 0), 1);  // 2.9 - 1; with the factor it would be 2.26
  style.SmallDownFillCureDepth1.SetValue(0.05f);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_A1, &style, 0), 0);  // -0.5 truncates toward zero
  style.SmallDownFillCureDepth1.SetValue(-0.15f);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_A1, &style, 0), -2);  // -1.5 - 1 = -2.5
}

TEST(ZCorrection, SpacingLimitsHatches) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumHatches.SetValue(2);
  style.SmallDownHatchCureDepth1.SetValue(0.2f);
  style.SmallDownHatchCureDepth2.SetValue(0.45f);
  style.SmallDownHatchSpacing1.SetValue(0.01f);
  style.SmallDownHatchSpacing2.SetValue(0.02f);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 0.01f), 2);  // the first alone
  // S = 10 (e^2 + e^(0.55/0.15)): 0.15 * ln(7.389 + 39.121) = 0.57598, 5.7598 - 1.
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 0.02f), 4);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 0.005f), 0);  // none: no exposure at all
}

TEST(ZCorrection, HatchesThatCureNothingAreLeftOut) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumHatches.SetValue(1);
  style.SmallDownHatchCureDepth1.SetValue(-0.1f);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 1), 0);
}

TEST(ZCorrection, KeptLargeSetHasASpacingLimitOfItsOwn) {
  KVBUILDSTYLE style = Resin();
  style.LargeDownNumHatches.SetValue(2);
  style.LargeDownHatchCureDepth1.SetValue(0.2f);
  style.LargeDownHatchCureDepth2.SetValue(0.45f);
  style.LargeDownHatchSpacing1.SetValue(0.0179f);
  style.LargeDownHatchSpacing2.SetValue(0.0181f);
  for (const TRQ_TYPE machine : {TRQ_E7, TRQ_MIRRA_MAX, TRQ_ALTOR900, TRQ_ALTOR800}) {
    EXPECT_EQ(MODEL().KVcalc_zcorrection(machine, &style, 100), 2) << machine;  // the first alone
    EXPECT_EQ(MODEL().KVcalc_zcorrection(machine, &style, 0), 2) << machine;
  }
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_D6, &style, 100), 0);  // its small set is blank
  style.LargeDownNumFills.SetValue(1);
  style.LargeDownFillCureDepth1.SetValue(0.3f);
  // S = 2 * 10 e^2: 0.15 * 2.6931 = 0.40397, 4.0397 - 1.
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_E7, &style, 0), 3);
}

TEST(ZCorrection, SmallSpotOnlyTakesTheSmallSetOnEveryMachine) {
  KVBUILDSTYLE style = Resin();
  style.SmallSpotOnlyFlag.SetValue(1);
  style.SmallDownNumHatches.SetValue(1);
  style.SmallDownHatchCureDepth1.SetValue(0.2f);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_E7, &style, 0), 2);
}

TEST(ZCorrection, CountsAboveFourCountAsFour) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumHatches.SetValue(1 << 30);
  style.SmallDownHatchCureDepth1.SetValue(0.2f);
  style.SmallDownHatchCureDepth2.SetValue(0.2f);
  style.SmallDownHatchCureDepth3.SetValue(0.2f);
  style.SmallDownHatchCureDepth4.SetValue(0.2f);
  // S = 4 * 10 e^2: 0.15 * 3.3863 = 0.50794, 5.0794 - 1.
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 0), 4);
  style.SmallDownNumHatches.SetValue(-5);
  EXPECT_EQ(MODEL().KVcalc_zcorrection(TRQ_C3, &style, 0), 0);
  for (const DownRecords& used : kDownRecords) {
    KVBUILDSTYLE fills = Resin();
    used.SetCount(fills, "Fills", 1 << 30);
    for (int k = 1; k <= 4; ++k) used.SetLength(fills, "Fill Cure Depth", k, 0.3f);
    EXPECT_EQ(MODEL().KVcalc_zcorrection(used.machine, &fills, 0), 4) << used.spot;  // the same S
    used.SetCount(fills, "Hatches", 5);
    // Four hatches of depth 0.2 and spacing 0 more: S = 8 * 10 e^2, 0.15 * 4.0794 = 0.61192, 6.1192 - 1.
    for (int k = 1; k <= 4; ++k) used.SetLength(fills, "Hatch Cure Depth", k, 0.2f);
    EXPECT_EQ(MODEL().KVcalc_zcorrection(used.machine, &fills, 0), 5) << used.spot;
  }
}

TEST(ZCorrection, NothingToGoByIsZero) {
  const MODEL model;
  EXPECT_EQ(model.KVcalc_zcorrection(TRQ_C3, nullptr, 0), 0);
  KVBUILDSTYLE good = Resin();
  good.SmallDownNumFills.SetValue(1);
  good.SmallDownFillCureDepth1.SetValue(0.3f);
  ASSERT_EQ(model.KVcalc_zcorrection(TRQ_C3, &good, 0), 2);
  for (auto record : {&KVBUILDSTYLE::LayerThickness, &KVBUILDSTYLE::Dp, &KVBUILDSTYLE::Ec}) {
    for (const float value : {0.0f, -1.0f, std::nanf("")}) {
      KVBUILDSTYLE style = good;
      (style.*record).SetValue(value);
      EXPECT_EQ(model.KVcalc_zcorrection(TRQ_C3, &style, 0), 0);
    }
  }
  good.SmallDownFillCureDepth1.SetValue(1000);  // an exposure beyond all numbers
  EXPECT_EQ(model.KVcalc_zcorrection(TRQ_C3, &good, 0), 0);
}
