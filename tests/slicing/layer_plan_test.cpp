#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "trqprep/layer_plan.h"

namespace trqprep {
namespace {

LayerPlan Planned(const std::vector<LayerBand>& bands, double low, double high, bool blade = false,
                  LayerCut cut = LayerCut::kMiddle) {
  LayerPlan plan;
  EXPECT_EQ(PlanLayers(bands, low, high, blade, cut, 1e-4, plan), LayerPlanFault::kNone);
  EXPECT_EQ(plan.bottoms.size(), plan.tops.size());
  EXPECT_EQ(plan.bottoms.size(), plan.planes.size());
  return plan;
}

constexpr double kFar = 1e9;

TEST(LayerPlan, LayersLieOnOneAnother) {
  const LayerPlan plan = Planned({{0, kFar, 0.25f}}, 1, 2);
  EXPECT_EQ(plan.bottoms, (std::vector<double>{1, 1.25, 1.5, 1.75}));
  EXPECT_EQ(plan.tops, (std::vector<double>{1.25, 1.5, 1.75, 2}));
  EXPECT_EQ(plan.planes, (std::vector<float>{1.125f, 1.375f, 1.625f, 1.875f}));
  EXPECT_EQ(Planned({{0, kFar, 0.25f}}, 1, 2, false, LayerCut::kBottom).planes,
            (std::vector<float>{1, 1.25f, 1.5f, 1.75f}));
  EXPECT_EQ(Planned({{0, kFar, 0.25f}}, 1, 2, false, LayerCut::kTop).planes,
            (std::vector<float>{1.25f, 1.5f, 1.75f, 2}));
}

TEST(LayerPlan, TheLastLayerEndsWithTheBand) {
  // 0.125 is left over.
  const LayerPlan shorter = Planned({{0, kFar, 0.25f}}, 0, 0.625);
  EXPECT_EQ(shorter.tops, (std::vector<double>{0.25, 0.5, 0.625}));
  EXPECT_EQ(shorter.planes.back(), 0.5625f);
  // Half of a ten thousandth is left over.
  const LayerPlan merged = Planned({{0, kFar, 0.25f}}, 0, 0.50005);
  EXPECT_EQ(merged.tops, (std::vector<double>{0.25, 0.50005}));
  EXPECT_EQ(merged.planes.back(), float(0.25 + 0.5 * (0.50005 - 0.25)));
  // A part lower than a layer is one.
  EXPECT_EQ(Planned({{0, kFar, 0.25f}}, 0, 0.00005).tops, (std::vector<double>{0.00005}));
}

TEST(LayerPlan, BandsBeginAnewAtTheirStart) {
  const LayerPlan plan = Planned({{0, 1, 0.375f}, {1, 2, 0.5f}, {2, kFar, 1.0f}}, 0.125, 3.5);
  // 0.125, 0.5, and 0.125 up to 1; two of 0.5; 1 and the half that is left over.
  EXPECT_EQ(plan.bottoms, (std::vector<double>{0.125, 0.5, 0.875, 1, 1.5, 2, 3}));
  EXPECT_EQ(plan.tops, (std::vector<double>{0.5, 0.875, 1, 1.5, 2, 3, 3.5}));
  ASSERT_EQ(plan.bands.size(), 3u);
  EXPECT_EQ(plan.bands[1].first, 3u);
  EXPECT_EQ(plan.bands[2].first, 5u);
  EXPECT_EQ(plan.bands[0].range.start, 0.125);
  EXPECT_EQ(plan.bands[2].range.end, 3.5);
  // What lies below or above the part is no band of it.
  const LayerPlan upper = Planned({{0, 1, 0.375f}, {1, 2, 0.5f}, {2, 3, 1.0f}}, 1.25, 1.75);
  ASSERT_EQ(upper.bands.size(), 1u);
  EXPECT_EQ(upper.bottoms, (std::vector<double>{1.25}));
}

TEST(LayerPlan, BladePlanesAreSharedByPieces) {
  EXPECT_EQ(Planned({{0, kFar, 0.25f}}, 0.3, 1, true).bottoms.front(), 0.25);
  EXPECT_EQ(Planned({{0, kFar, 0.25f}}, 0.5, 1, true).bottoms.front(), 0.5);
  EXPECT_EQ(Planned({{0, kFar, 0.25f}}, 0, 1, true).bottoms.front(), 0);
  // Multiples of what is stored, not of a tenth.
  const double tenth = double(0.1f);
  EXPECT_EQ(Planned({{0, kFar, 0.1f}}, 3 * tenth, 1, true).bottoms.front(), 3 * tenth);
  EXPECT_EQ(Planned({{0, kFar, 0.1f}}, std::nextafter(3 * tenth, 0.0), 1, true).bottoms.front(), 2 * tenth);
}

TEST(LayerPlan, Faults) {
  LayerPlan plan;
  const auto fault = [&](const std::vector<LayerBand>& bands, double low, double high) {
    return PlanLayers(bands, low, high, false, LayerCut::kMiddle, 1e-4, plan);
  };
  const float none = std::numeric_limits<float>::quiet_NaN(),
              endless = std::numeric_limits<float>::infinity();
  EXPECT_EQ(fault({{0, 1, 0}}, 0, 1), LayerPlanFault::kThickness);
  EXPECT_EQ(fault({{0, 1, -0.1f}}, 0, 1), LayerPlanFault::kThickness);
  EXPECT_EQ(fault({{0, 1, none}}, 0, 1), LayerPlanFault::kThickness);
  EXPECT_EQ(fault({{0, 1, endless}}, 0, 1), LayerPlanFault::kThickness);
  EXPECT_EQ(fault({{0, kFar, 0.25f}}, 0, 25000), LayerPlanFault::kNone);
  EXPECT_EQ(plan.bottoms.size(), kMostLayers);
  EXPECT_EQ(fault({{0, kFar, 0.25f}}, 0, 25000.25), LayerPlanFault::kLayers);
  EXPECT_EQ(fault({{0, kFar, 1e-30f}}, 0, 1), LayerPlanFault::kLayers);
  EXPECT_EQ(fault({{0, kFar, 0.25f}}, 1, 1), LayerPlanFault::kNothing);
  EXPECT_EQ(fault({{5, 6, 0.25f}}, 0, 1), LayerPlanFault::kNothing);
  EXPECT_EQ(fault({}, 0, 1), LayerPlanFault::kNothing);
  std::vector<LayerBand> bands;
  for (int i = 0; i < 128; ++i) bands.push_back({double(i), double(i + 1), 0.5f});
  EXPECT_EQ(fault(bands, 0, 127), LayerPlanFault::kNone);
  EXPECT_EQ(plan.bands.size(), 127u);
  EXPECT_EQ(fault(bands, 0, 128), LayerPlanFault::kBands);
}

TEST(LayerPlan, ContoursOfAFile) {
  LayerPlan plan = Planned({{0, 0.5, 0.25f}, {0.5, 1, 0.5f}}, 0, 1);
  Slices slices;
  slices.layers.resize(3);
  SliceContour closed, open;
  closed.points = {{0, 0}, {1, 0}, {1, 1}, {0, 0}};
  closed.gaps = 2;
  open.points = {{5, 5}, {6, 6}};
  open.closed = false;
  slices.layers[0] = {closed};
  slices.layers[2] = {closed, open};
  const trq::core::Contours contours = ContoursOf(slices, plan, "-SLCVER 2.0");
  ASSERT_EQ(contours.layers.size(), 4u);
  EXPECT_EQ(contours.layers[0].z, 0.0f);
  EXPECT_EQ(contours.layers[1].z, 0.25f);
  EXPECT_EQ(contours.layers[2].z, 0.5f);
  EXPECT_EQ(contours.layers[3].z, 1.0f);
  EXPECT_TRUE(contours.layers[3].is_terminator());
  EXPECT_EQ(contours.layers[1].boundary_count(), 0u);
  ASSERT_EQ(contours.layers[2].boundary_count(), 2u);
  EXPECT_EQ(contours.layers[2].boundaries()[0].vertex_count, 4u);
  EXPECT_EQ(contours.layers[2].boundaries()[0].gap_count, 2u);
  EXPECT_EQ(contours.layers[2].boundaries()[1].gap_count, 1u);
  EXPECT_EQ(contours.layers[2].boundaries()[1].points[3], 6.0f);
  ASSERT_EQ(contours.table.size(), 2u);
  EXPECT_EQ(contours.table_count, 2);
  EXPECT_EQ(contours.table[1].min_z, 0.5f);
  EXPECT_EQ(contours.table[1].layer_thickness, 0.5f);
}

TEST(LayerPlan, Header) {
  EXPECT_EQ(SlcHeader("MM", {-1, 0, 0.5}, {2.25, 3, 4}),
            "-SLCVER 2.0 -UNIT MM -TYPE PART -PACKAGE TRQPREP "
            "-EXTENTS -1.000000,2.250000 0.000000,3.000000 0.500000,4.000000\r\n");
}

}  // namespace
}  // namespace trqprep
