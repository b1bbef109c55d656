#include <algorithm>
#include <cstring>

#include "foundation/checked_conversions.h"
#include "recoat/recoat_style_table.h"
#include "styles/structure_text.h"
#include "styles/style_file.h"

using namespace trq::detail;

KVRECOATSTYLE::KVRECOATSTYLE() {
  SetAllDefaults(kRecoatRows, *this);
  for (CString& text : HeaderTexts) text = "None";
  HeaderTexts[2] = CString(std::string(32, '\0'));
}

KVRECOATSTYLE::KVRECOATSTYLE(CString) : KVRECOATSTYLE() {}

namespace {

/// Makes the list and the count record's maximum from the structure's sweeps.
void TakeSweeps(std::vector<KVSWEEPS>& list, RecoatStyleParameterRecordInt& count,
                const _rc_style::Sweep (&sweeps)[7]) {
  const int copied = std::clamp(count.GetValue(), 0, static_cast<int>(std::size(sweeps)));
  for (int i = 0; i < copied; ++i) {
    KVSWEEPS sweep;
    sweep.BladeGap.AddAndSetValue(sweeps[i].gap);
    sweep.BladeVelocity.AddAndSetValue(sweeps[i].velocity);
    list.push_back(std::move(sweep));
  }
  count.SetMaxRange(copied);
}

}  // namespace

KVRECOATSTYLE::KVRECOATSTYLE(const _rc_style* structure, int recoat_type) : KVRECOATSTYLE() {
  RecoatType.AddAndSetValue(recoat_type);
  Version.AddAndSetValue(kVersion206);
  if (!structure) return;
  const _rc_style& from = *structure;
  StyleName = StructureText(from.style_name);
  BuildDescription = StructureText(from.build_description);
  FullPathName = StructureText(from.full_path_name);
  StartZ.AddAndSetValue(from.start_z);
  EndZ.AddAndSetValue(from.end_z);
  ZDipDistance.AddAndSetValue(from.z_dip_distance);
  ZVelocity.AddAndSetValue(from.z_velocity);
  ZAcceleration.AddAndSetValue(from.z_acceleration);
  // Kept: of the delays and waits only these three are floats in the structure.
  ZPostDipDelay.AddAndSetValue(ToInt(from.z_post_dip_delay));
  ZPreDipDelay.AddAndSetValue(ToInt(from.z_pre_dip_delay));
  ZWait.AddAndSetValue(ToInt(from.z_wait));
  PrimaryZVelocity.AddAndSetValue(from.primary.velocity);
  PrimaryZAcceleration.AddAndSetValue(from.primary.acceleration);
  PrimaryZDipDistance.AddAndSetValue(from.primary.dip_distance);
  PrimaryZPreDipDelay.AddAndSetValue(from.primary.pre_dip_delay);
  PrimaryZPostDipDelay.AddAndSetValue(from.primary.post_dip_delay);
  PrimaryZWait.AddAndSetValue(from.primary.wait);
  SecondaryZVelocity.AddAndSetValue(from.secondary.velocity);
  SecondaryZAcceleration.AddAndSetValue(from.secondary.acceleration);
  SecondaryZDipDistance.AddAndSetValue(from.secondary.dip_distance);
  SecondaryZPreDipDelay.AddAndSetValue(from.secondary.pre_dip_delay);
  SecondaryZPostDipDelay.AddAndSetValue(from.secondary.post_dip_delay);
  SecondaryZWait.AddAndSetValue(from.secondary.wait);
  NumSweeps.AddAndSetValue(from.number_of_sweeps);
  NumToolingPrimarySweeps.AddAndSetValue(from.number_of_primary_sweeps);
  NumToolingSecondarySweeps.AddAndSetValue(from.number_of_secondary_sweeps);
  NumberOfSecondary.AddAndSetValue(from.number_of_secondary_dips);
  TakeSweeps(SweepList, NumSweeps, from.sweeps);
  TakeSweeps(PrimarySweepList, NumToolingPrimarySweeps, from.primary_sweeps);
  TakeSweeps(SecondarySweepList, NumToolingSecondarySweeps, from.secondary_sweeps);
}

float KVRECOATSTYLE::computedPreferredBladeGap(float layer_thickness) const {
  if (SweepList.empty()) return 0;
  const double gap = SweepList.front().BladeGap.GetValue();
  return static_cast<float>((gap - 100.0) * 0.01 * layer_thickness);
}

namespace {

/// Calls `action` with every sweep of the three lists.
template <class Action>
void ForAllSweeps(KVRECOATSTYLE& style, Action action) {
  for (auto* list : {&style.SweepList, &style.PrimarySweepList, &style.SecondarySweepList}) {
    for (KVSWEEPS& sweep : *list) action(sweep);
  }
}

}  // namespace

// Kept: only the Z range and the blade velocities are converted.
void KVRECOATSTYLE::ConvertAllValuesToMM() {
  ForFloatRecords(
      kRecoatRows, *this, [](const auto& row) { return trq::IsUnitConverted(row.quantity); },
      [](auto& record) { record.ConvertAllValuesToMM(); });
  ForAllSweeps(*this, [](KVSWEEPS& sweep) { sweep.ConvertAllValuesToMM(); });
}

void KVRECOATSTYLE::ConvertAllValuesToINCH() {
  ForFloatRecords(
      kRecoatRows, *this, [](const auto& row) { return trq::IsUnitConverted(row.quantity); },
      [](auto& record) { record.ConvertAllValuesToINCH(); });
  ForAllSweeps(*this, [](KVSWEEPS& sweep) { sweep.ConvertAllValuesToINCH(); });
}

void KVRECOATSTYLE::EquatelAllDefaultsToCurrentValue() {
  for (const trq::RecoatStyleParameterRow& row : kRecoatRows) {
    WithRecord(row, *this, [](auto& record) { record.EquateDefaultToCurrentValue(); });
  }
  ForAllSweeps(*this, [](KVSWEEPS& sweep) { sweep.EquatelAllDefaultsToCurrentValue(); });
}

int KVRECOATSTYLE::ConvertTo205Version(float) {
  for (CString& text : ClosingTexts) text = "None";
  // Kept: the name says 2.05, the version ends as 2.06.
  Version.SetValue(kVersion206);
  Version.SetDefaultValue(kVersion206);
  return trq::style_file::kOk;
}

int KVRECOATSTYLE::ConvertBuildStylesTo301() {
  constexpr int32_t kWords[5] = {4, 6, 7, 3, 2};
  std::copy(std::begin(kWords), std::end(kWords), LayoutWords);
  LayerThickness = 0;
  PreferredBladeGap.SetValue(0);
  PreferredBladeGap.SetDisplayFlag(0);
  PreferredBladeGap.SetEditFlag(1);
  return trq::style_file::kOk;
}
