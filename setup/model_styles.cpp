/// The model's stack of build styles.
#include <cmath>
#include <iterator>

#include "setup/style_stack.h"
#include "styles/build_style_table.h"
#include "trq/setup.h"

using namespace trq::detail;

int MODEL::KVAddBuildStyle(PLATFORM* platform, MODEL*, CString file, float start, float end, bool read) {
  const auto fresh = std::make_shared<KVBUILDSTYLE>(file);
  if (read) {
    const int result = fresh->binaryReadStyle(file);
    fresh->closeBuildStyleFile();
    if (result != 0) return -1;
  }
  fresh->StartZ.SetValue(start);
  fresh->EndZ.SetValue(end);
  LargeSpot.SetValue(HasLargeSpot(platform ? platform->MachineType : TRQ_A1) ? 1 : 0);
  StackStyle(BuildStyles, fresh, trq::core::StackTolerance(platform && platform->Units == 1),
             platform ? &platform->CurrentBuildStyle : nullptr);
  static_assert(std::size(kStyleFlags) == std::extent_v<decltype(MODEL::Flags)>);
  for (size_t i = 0; i < std::size(kStyleFlags); ++i) {
    Flags[i].CopyRecord(&kStyleFlags[i].In(*BuildStyles.front()));
  }
  return 0;
}

void MODEL::KVrecalculateBuildStyle(float bottom, float top) {
  DropNulls(BuildStyles);
  if (BuildStyles.empty()) return;
  const double old_bottom = BuildStyles.front()->StartZ.GetValue();
  const double old_top = BuildStyles.back()->EndZ.GetValue();
  constexpr double kTolerance = 0.00005f;
  if (std::fabs(bottom - old_bottom) <= kTolerance && std::fabs(top - old_top) <= kTolerance) return;
  const double delta = top - old_top;
  BuildStyles.front()->StartZ.SetValue(bottom);
  for (size_t i = 1; i < BuildStyles.size(); ++i) {
    const float start = float(BuildStyles[i]->StartZ.GetValue() + delta);
    BuildStyles[i]->StartZ.SetValue(start);
    BuildStyles[i - 1]->EndZ.SetValue(start);
  }
  BuildStyles.back()->EndZ.SetValue(top);
}

void MODEL::KVdeleteBuildStyle(const KVBUILDSTYLE* style) {
  const auto found = FindInStack(BuildStyles, style);
  if (found != BuildStyles.end()) BuildStyles.erase(found);
}

void MODEL::KVdeleteBuildStyles() { BuildStyles.clear(); }

float MODEL::KVGetFirstBuildStyleThickness() const {
  const KVBUILDSTYLE* first = FirstStyle(BuildStyles.begin(), BuildStyles.end());
  return first ? first->LayerThickness.GetValue() : 0;
}

float MODEL::KVgetDp() const {
  const KVBUILDSTYLE* first = FirstStyle(BuildStyles.begin(), BuildStyles.end());
  return first ? first->Dp.GetValue() : 0;
}

float MODEL::KVgetEc() const {
  const KVBUILDSTYLE* first = FirstStyle(BuildStyles.begin(), BuildStyles.end());
  return first ? first->Ec.GetValue() : 0;
}

float MODEL::KVGetZLayerComp() const {
  const KVBUILDSTYLE* first = FirstStyle(BuildStyles.begin(), BuildStyles.end());
  return first ? trq::core::ZCompensationHeight(*first) : 0;
}

bool MODEL::KVisCaviliteStyle() const {
  const KVBUILDSTYLE* first = FirstStyle(BuildStyles.begin(), BuildStyles.end());
  return first && first->HatchType.GetValue() == 5;
}

int MODEL::KVcalc_zcorrection(TRQ_TYPE machine, const KVBUILDSTYLE* style, float spacing) const {
  return style ? trq::core::ZCorrection(*style, machine, spacing) : 0;
}
